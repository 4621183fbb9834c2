// Pointers moved by signed, unsigned and negative 32-bit indexes over elements of several sizes.
__kernel void indexing(__global const short* s, __global const long* l, __global const float4* v,
                       __global int* out)
{
    int i = get_global_id(0);
    __global const short* pEnd = s + 64;
    __global const long* pMid = l + 32;
    // An unsigned index with its top bit set reaches past 2^31 elements, never behind.
    __global const short* pFar = s - 0x80000000L;
    __global int* pOut = out + 5 * i;
    pOut[0] = pEnd[-1 - i];
    pOut[1] = (int)pMid[i - 32];
    pOut[2] = pFar[0x80000000u + (uint)i];
    pOut[3] = *(pEnd - (uint)(i + 1)) + *(pEnd - (i + 1));
    pOut[4] = (int)v[i].y;
}
