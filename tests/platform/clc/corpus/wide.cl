// Vectors of 8 and 16 lanes, char, double and long vectors, a helper function, and a pointer
// into a vector buffer moved by increments.
float scale(float x, float s)
{
    return x * s;
}

__kernel void wide(__global const float8* a, __global float8* b, __global int16* c,
                   __global char4* d, __global double2* e, __global long2* f)
{
    int i = get_global_id(0);
    float8 v = a[i];
    b[i] = v.s76543210 * 2.0f + (float8)(scale(v.s0, 3.0f));
    int16 w = (int16)(i) + (int16)(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    c[i] = w * w - (w >> 1);
    char4 ch = (char4)((char)i, (char)(i * 3), (char)-i, (char)100);
    d[i] = ch + ch;
    double2 dd = (double2)((double)i, 0.5);
    e[i] = dd * dd + (double2)(1.0, 2.0);
    long2 l = (long2)((long)i << 40, -(long)i);
    f[i] = l + (long2)(3, 4);
    __global float* p = (__global float*)&b[i];
    p += 1;
    *p = i > 5 ? 100.0f : -100.0f;
}
