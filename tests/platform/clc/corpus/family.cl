__kernel void k(__global const uint* in, __global uint* out,
                __local uint* scratch)
{
  uint lid = get_local_id(0);
  uint factors[4] = {2u, 2u, 2u, 2u};
  factors[lid & 3u] += 0u;
  scratch[lid] = in[get_global_id(0)] * factors[(lid + 1u) & 3u];
  barrier(CLK_LOCAL_MEM_FENCE);
  if (lid == 0)
  {
    uint sum = 0;
    for (uint i = 0; i < get_local_size(0); ++i)
      sum += scratch[i];
    atomic_add(&out[0], sum);
  }
}
