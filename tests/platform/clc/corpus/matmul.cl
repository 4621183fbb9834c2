// Tiled matrix multiply with kernel-scope local tiles.
#ifndef TILE
#define TILE 8
#endif
__kernel void matmul(__global const float* A, __global const float* B, __global float* C, int N)
{
    __local float tA[TILE][TILE];
    __local float tB[TILE][TILE];
    int row = get_global_id(1), col = get_global_id(0);
    int ly = get_local_id(1), lx = get_local_id(0);
    float acc = 0.0f;
    for (int t = 0; t < N / TILE; ++t)
    {
        tA[ly][lx] = A[row * N + t * TILE + lx];
        tB[ly][lx] = B[(t * TILE + ly) * N + col];
        barrier(CLK_LOCAL_MEM_FENCE);
        for (int k = 0; k < TILE; ++k)
            acc += tA[ly][k] * tB[k][lx];
        barrier(CLK_LOCAL_MEM_FENCE);
    }
    C[row * N + col] = acc;
}
