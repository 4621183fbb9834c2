"""An OpenCL C vector add through pyopencl, with pyopencl's binary cache in use: the second
build of the same source comes from the cache, as a program made from the binary."""
import sys

import numpy as np
import pyopencl as cl

SOURCE = """
__kernel void vadd(__global const float* a, __global const float* b, __global float* c)
{
    int i = get_global_id(0);
    c[i] = a[i] + b[i];
}
"""


def main():
    platform = next(p for p in cl.get_platforms() if p.vendor == "Nordvane Microsystems")
    context = cl.Context(platform.get_devices(cl.device_type.GPU))
    queue = cl.CommandQueue(context)
    a = np.arange(1024, dtype=np.float32)
    b = np.full(1024, 0.5, dtype=np.float32)
    flags = cl.mem_flags
    buffer_a = cl.Buffer(context, flags.READ_ONLY | flags.COPY_HOST_PTR, hostbuf=a)
    buffer_b = cl.Buffer(context, flags.READ_ONLY | flags.COPY_HOST_PTR, hostbuf=b)
    buffer_c = cl.Buffer(context, flags.WRITE_ONLY, a.nbytes)
    for attempt in range(2):
        program = cl.Program(context, SOURCE).build()
        program.vadd(queue, (1024,), None, buffer_a, buffer_b, buffer_c)
        c = np.empty_like(a)
        cl.enqueue_copy(queue, c, buffer_c)
        if not np.array_equal(c, a + b):
            print("pyopencl OpenCL C: wrong sums in build", attempt)
            return 1
    print("pyopencl OpenCL C: sums correct, cached")
    return 0


if __name__ == "__main__":
    sys.exit(main())
