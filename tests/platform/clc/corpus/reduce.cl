// A work-group sum in local memory, halving the active work-items after each barrier.
__kernel void reduce(__global const uint* in, __global uint* sums, __local uint* scratch, uint n)
{
    uint lid = get_local_id(0);
    uint gid = get_global_id(0);
    scratch[lid] = gid < n ? in[gid] : 0;
    barrier(CLK_LOCAL_MEM_FENCE);
    for (uint s = get_local_size(0) / 2; s > 0; s >>= 1)
    {
        if (lid < s)
            scratch[lid] += scratch[lid + s];
        barrier(CLK_LOCAL_MEM_FENCE);
    }
    if (lid == 0)
        sums[get_group_id(0)] = scratch[0];
}
