// A tile of the input copied into local memory by the whole group, a neighbour sum over it,
// and the result copied back with a stride; prefetch is a hint only.
__kernel void async_tile(__global const float* in, __global float* out, __global float* columns,
                         __local float* tile, int width)
{
    int lid = get_local_id(0);
    int size = get_local_size(0);
    int base = get_group_id(0) * size;
    prefetch(in + base, size);
    event_t copied = async_work_group_copy(tile, in + base, (size_t)size, 0);
    wait_group_events(1, &copied);
    float left = lid > 0 ? tile[lid - 1] : 0.0f;
    float right = lid + 1 < size ? tile[lid + 1] : 0.0f;
    barrier(CLK_LOCAL_MEM_FENCE);
    tile[lid] = left + tile[lid] * 2.0f + right;
    barrier(CLK_LOCAL_MEM_FENCE);
    event_t back = async_work_group_copy(out + base, tile, (size_t)size, 0);
    back = async_work_group_strided_copy(columns + get_group_id(0), tile, (size_t)size,
                                         (size_t)width, back);
    wait_group_events(1, &back);
}

// Every other element of a row gathered into local memory.
__kernel void async_gather(__global const int2* in, __global int2* out, __local int2* gathered)
{
    int size = get_local_size(0);
    event_t e = async_work_group_strided_copy(gathered, in + get_group_id(0) * size * 2,
                                              (size_t)size, 2, 0);
    wait_group_events(1, &e);
    out[get_global_id(0)] = gathered[size - 1 - get_local_id(0)] * 3;
}
