// float4 swizzles, vector literals, comparisons as masks, vload and vstore.
__kernel void vectors(__global const float4* a, __global float4* b, __global int* c,
                      __global float* packed)
{
    int i = get_global_id(0);
    float4 v = a[i];
    float4 w = v.wzyx * 2.0f + (float4)(1.0f, 2.0f, 3.0f, 4.0f);
    w.xy = w.yx;
    b[i] = w + (float4)(dot(v, v));
    int4 m = v > (float4)(0.5f);
    c[i] = m.x + m.y * 2 + m.z * 4 + m.w * 8;
    vstore3(w.xyz + vload3(i, packed), i, packed);
}
