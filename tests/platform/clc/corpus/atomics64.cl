#pragma OPENCL EXTENSION cl_khr_int64_base_atomics : enable
#pragma OPENCL EXTENSION cl_khr_int64_extended_atomics : enable
// 64-bit atomics on global and local memory: sums whose carries cross the low word, extremes,
// tickets that must all differ, and a compare-exchange loop.
__kernel void atomics64(__global const long* in, __global long* totals, __global ulong* tickets,
                        __local long* group)
{
    int i = get_global_id(0);
    int lid = get_local_id(0);
    long x = in[i];
    if (lid == 0)
    {
        group[0] = 0;
        group[1] = LONG_MIN;
    }
    barrier(CLK_LOCAL_MEM_FENCE);
    atom_add(&totals[0], x);
    atom_max(&totals[1], x);
    atom_min(&totals[2], x);
    atom_xor(&totals[3], x);
    atom_or(&totals[4], x & 0x0F0F0F0F0F0F0F0FL);
    atom_and(&totals[5], x | 0x00FF00FF00FF00FFL);
    atom_sub(&totals[6], x);
    tickets[i] = atom_inc((__global ulong*)&totals[7]);
    long seen = totals[8];
    long previous;
    do
    {
        previous = seen;
        seen = atom_cmpxchg(&totals[8], previous, previous + (x >> 8));
    } while (seen != previous);
    atom_add(&group[0], x);
    atom_max(&group[1], x);
    barrier(CLK_LOCAL_MEM_FENCE);
    if (lid == 0)
    {
        atom_add(&totals[9], group[0]);
        atom_max(&totals[10], group[1]);
    }
}
