#include "CExecutionTrace.h"
#include "ICDApi.h"
#include "xan_execution_trace.h"

using namespace XAN_Platform;

// The tests' way to a trace of a kernel that the platform built, with its real
// arguments: the same launch as clEnqueueNDRangeKernel, awaited.
extern "C" __attribute__((visibility("default"))) cl_int
xanPlatformRunTracedKernel(cl_command_queue queue, cl_kernel kernel, cl_uint work_dim,
                           const size_t* global_work_offset, const size_t* global_work_size,
                           const size_t* local_work_size, CExecutionTrace* trace)
{
    if (trace == nullptr)
    {
        return CL_INVALID_VALUE;
    }
    cl_event event = nullptr;
    cl_int nError =
        Api::EnqueueKernel(queue, kernel, work_dim, global_work_offset, global_work_size,
                           local_work_size, 0, nullptr, &event, trace);
    if (nError != CL_SUCCESS)
    {
        return nError;
    }
    Api::clWaitForEvents(1, &event);
    cl_int nStatus = CL_SUCCESS;
    nError = Api::clGetEventInfo(event, CL_EVENT_COMMAND_EXECUTION_STATUS, sizeof(nStatus),
                                 &nStatus, nullptr);
    Api::clReleaseEvent(event);
    return nError != CL_SUCCESS ? nError : (nStatus < 0 ? nStatus : CL_SUCCESS);
}
