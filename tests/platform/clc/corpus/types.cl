// 64-bit integers, doubles, 8- and 16-bit integers, bit operations and conversions.
__kernel void types(__global const long* a, __global const double* d, __global const uchar* c,
                    __global long* outl, __global double* outd, __global short* outs,
                    __global uint* outu)
{
    int i = get_global_id(0);
    long x = a[i];
    outl[i] = (x * 3 - (x >> 2)) / 7 + (long)c[i] + (x ^ 0x5555L) % 1000;
    outd[i] = sqrt(d[i]) * 2.0 + (double)i;
    outs[i] = (short)(c[i] * 300);
    uint u = as_uint((float)c[i]);
    outu[i] = rotate(u, 5u) ^ popcount(u) ^ (clz(u) << 24) ^ (uint)(char)c[i];
}
