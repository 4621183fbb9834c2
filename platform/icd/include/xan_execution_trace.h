#ifndef XAN_EXECUTION_TRACE_H
#define XAN_EXECUTION_TRACE_H

// For tests, beside the OpenCL API: runs a kernel of the Nordvane platform with the
// arguments set on it and fills an execution trace (platform/engine/CExecutionTrace.h).
// The platform's library exports the function under this name; a program that
// reaches the platform through the ICD loader finds it with dlopen and dlsym.

#include <CL/cl.h>

namespace XAN_Platform
{
class CExecutionTrace;
}

#define XAN_RUN_TRACED_KERNEL_NAME "xanPlatformRunTracedKernel"

// Enqueues the kernel on the queue as clEnqueueNDRangeKernel does and waits for it.
// Returns the enqueue's error, or the command's status when it failed to run.
typedef cl_int (*PFN_xanPlatformRunTracedKernel)(cl_command_queue queue, cl_kernel kernel,
                                                 cl_uint work_dim, const size_t* global_work_offset,
                                                 const size_t* global_work_size,
                                                 const size_t* local_work_size,
                                                 XAN_Platform::CExecutionTrace* trace);

#endif
