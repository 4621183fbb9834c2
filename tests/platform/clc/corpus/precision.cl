// The exponentials, logarithms and powers over wide ranges, where their error bounds are easy
// to miss, and pow's special cases.
__kernel void precision(__global const float* x, __global const float* y, __global float* out)
{
    int i = get_global_id(0);
    float a = x[i];
    float b = y[i];
    out[7 * i] = exp(a);
    out[7 * i + 1] = exp10(a * 0.375f);
    out[7 * i + 2] = log(fabs(b));
    out[7 * i + 3] = log10(fabs(b));
    out[7 * i + 4] = pow(fabs(b), a * 0.125f);
    out[7 * i + 5] = pow(b, (float)(i % 9) - 4.0f);
    out[7 * i + 6] = exp2(a);
}

__kernel void pow_cases(__global const float4* x, __global const float4* y, __global float4* out)
{
    int i = get_global_id(0);
    out[i] = pow(x[i], y[i]);
}
