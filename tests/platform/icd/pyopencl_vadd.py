"""Vector add through pyopencl on the Nordvane platform: the program is IL source."""
import os
import sys

# An uncached build: pyopencl's binary cache would append OpenCL C to the IL source, and would
# write into the home folder.
os.environ["PYOPENCL_NO_CACHE"] = "1"

import numpy as np  # noqa: E402
import pyopencl as cl  # noqa: E402


def main(kernel_path):
    platform = next(p for p in cl.get_platforms() if p.vendor == "Nordvane Microsystems")
    device = platform.get_devices(cl.device_type.GPU)[0]
    context = cl.Context([device])
    queue = cl.CommandQueue(context)
    with open(kernel_path) as source:
        program = cl.Program(context, source.read()).build()
    a = np.arange(1000, dtype=np.float32)
    b = np.full(1000, 0.25, dtype=np.float32)
    flags = cl.mem_flags
    buffer_a = cl.Buffer(context, flags.READ_ONLY | flags.COPY_HOST_PTR, hostbuf=a)
    buffer_b = cl.Buffer(context, flags.READ_ONLY | flags.COPY_HOST_PTR, hostbuf=b)
    buffer_c = cl.Buffer(context, flags.WRITE_ONLY, a.nbytes)
    program.vadd(queue, (1024,), None, buffer_a, buffer_b, buffer_c, np.int32(1000))
    c = np.empty_like(a)
    cl.enqueue_copy(queue, c, buffer_c)
    if not np.array_equal(c, a + b):
        print("pyopencl vadd: wrong sums")
        return 1
    print("pyopencl vadd: 1000 sums correct")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
