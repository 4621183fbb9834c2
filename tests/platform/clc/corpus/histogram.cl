// A histogram with global atomics, and a local one merged at the end of each group.
__kernel void histogram(__global const uchar* data, __global uint* bins, int n)
{
    int i = get_global_id(0);
    if (i < n)
        atomic_inc(&bins[data[i] % 16]);
}

__kernel void histogram_local(__global const uchar* data, __global uint* bins,
                              __global uint* order)
{
    __local uint local_bins[16];
    uint lid = get_local_id(0);
    if (lid < 16)
        local_bins[lid] = 0;
    barrier(CLK_LOCAL_MEM_FENCE);
    atomic_add(&local_bins[data[get_global_id(0)] >> 4], 1u);
    barrier(CLK_LOCAL_MEM_FENCE);
    if (lid < 16)
    {
        uint old = atomic_add(&bins[lid], local_bins[lid]);
        atomic_max(&order[lid], old + local_bins[lid]);
    }
}
