// Element-wise arithmetic with an early return.
__kernel void vadd(__global const float* a, __global const float* b, __global float* c, int n)
{
    int i = get_global_id(0);
    if (i >= n)
        return;
    c[i] = a[i] + b[i];
}

__kernel void saxpy(float alpha, __global const float* x, __global float* y)
{
    size_t i = get_global_id(0);
    y[i] = alpha * x[i] + y[i];
}
