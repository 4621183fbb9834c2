/*
 * XANOpenCLDebug: debug one OpenCL kernel launch at the level of its IL.
 *
 * A front-end creates its context, queues and kernels through the
 * xanclIntercept* functions, sets kernel arguments through
 * xanclInterceptSetKernelArg, and launches the kernel to be debugged with
 * xanclDebugEnqueueNDRangeKernel. The library then calls the front-end's
 * callback at every debug event; inside the callback the front-end queries
 * the state with the other functions of this header and answers with a
 * command. The handle passed to the callback is valid only during callbacks.
 */
#ifndef XAN_OPENCL_DEBUG_H
#define XAN_OPENCL_DEBUG_H

#ifndef CL_TARGET_OPENCL_VERSION
#define CL_TARGET_OPENCL_VERSION 300
#endif
#include <CL/cl.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C"
{
#endif

#if defined(XAN_OPENCL_DEBUG_BUILD) && defined(__GNUC__)
#define XANCL_API __attribute__((visibility("default")))
#else
#define XANCL_API
#endif

    /* The record of one debugged launch; opaque to the front-end. */
    typedef struct KernelDebugState KernelDebugState;

    /* Debug events: the second argument of the callback. */
    typedef enum xanclDebugEvent
    {
        XANCLDEBUG_EVENT_UNINITIALIZED = 0,
        XANCLDEBUG_EVENT_STARTED = 1,
        XANCLDEBUG_EVENT_HALTED = 2,
        XANCLDEBUG_EVENT_FINISHED = 3,
        XANCLDEBUG_EVENT_ERROR = 4
    } xanclDebugEvent;

    /* Debug commands: the callback's answer. */
    typedef enum xanclDebugCommand
    {
        XANCLDEBUG_COMMAND_UNINITIALIZED = 0,
        XANCLDEBUG_COMMAND_CONTINUE = 1,
        XANCLDEBUG_COMMAND_STEP = 2
    } xanclDebugCommand;

    /* Status codes of the queries and utilities. Value 8 is unassigned. */
    typedef enum xanclDebugStatus
    {
        XANCLDEBUG_SUCCESS = 0,
        XANCLDEBUG_ERROR_INTERNAL = 1,
        XANCLDEBUG_ERROR_INVALID_STATE = 2,
        XANCLDEBUG_ERROR_WRONG_EVENT = 3,
        XANCLDEBUG_ERROR_OPERATION_FAILED = 4,
        XANCLDEBUG_ERROR_INVALID_REGISTER = 5,
        XANCLDEBUG_ERROR_BUFFER_TOO_SMALL = 6,
        XANCLDEBUG_ERROR_OUT_OF_MEMORY = 7,
        XANCLDEBUG_ERROR_NULL_ARGUMENT = 9
    } xanclDebugStatus;

/* The library's own results of the enqueue calls, beside OpenCL's codes. */
#define XANCLDEBUG_ERROR_FAILURE -5000
#define XANCLDEBUG_ERROR_UNSUPPORTED_PLATFORM -5001
#define XANCLDEBUG_ERROR_UNSUPPORTED_DEVICE -5002
#define XANCLDEBUG_ERROR_NO_DEBUG_INFORMATION -5003
#define XANCLDEBUG_ERROR_QUEUE_NOT_INTERCEPTED -5004

    /* Called at every debug event; returns the next xanclDebugCommand. */
    typedef cl_uint(CL_CALLBACK* xanclDebugCallback)(KernelDebugState* pKernelDebugState,
                                                     cl_uint debugEvent, void* pUserData);

    /* A range of global memory that a query may read; end is inclusive. */
    typedef struct xanclDebugMemoryRegion
    {
        cl_uint uavID;
        size_t start;
        size_t end;
    } xanclDebugMemoryRegion;

    /* Launch. */
    XANCL_API cl_int
    xanclDebugEnqueueNDRangeKernel(cl_command_queue commandQueue, cl_kernel kernel,
                                   cl_uint nWorkDim, const size_t* pGlobalWorkOffset,
                                   const size_t* pGlobalWorkSize, const size_t* pLocalWorkSize,
                                   cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                                   cl_event* event, xanclDebugCallback callback, void* pUserData);
    XANCL_API cl_int xanclDebugEnqueueTask(cl_command_queue commandQueue, cl_kernel kernel,
                                           cl_uint num_events_in_wait_list,
                                           const cl_event* event_wait_list, cl_event* event,
                                           xanclDebugCallback callback, void* pUserData);

    /* Breakpoints and program state. */
    XANCL_API xanclDebugStatus xanclDebugGetProgramCounter(KernelDebugState* pKernelDebugState,
                                                           cl_uint* pProgramCounter);
    XANCL_API xanclDebugStatus xanclDebugSetBreakpoint(KernelDebugState* pKernelDebugState,
                                                       cl_uint nLine, cl_uint nMaxDistance,
                                                       cl_uint* pOutputLine);
    XANCL_API xanclDebugStatus xanclDebugClearBreakpoint(KernelDebugState* pKernelDebugState,
                                                         cl_uint nLine);
    XANCL_API xanclDebugStatus xanclDebugClearAllBreakpoints(KernelDebugState* pKernelDebugState);
    XANCL_API xanclDebugStatus xanclDebugGetNumBreakpoints(KernelDebugState* pKernelDebugState,
                                                           size_t* pCount);
    XANCL_API xanclDebugStatus xanclDebugGetAllBreakpoints(KernelDebugState* pKernelDebugState,
                                                           cl_uint* pBreakpoints, size_t nMaxCount);
    XANCL_API xanclDebugStatus xanclDebugGetKernelBinarySize(KernelDebugState* pKernelDebugState,
                                                             size_t* pSize);
    XANCL_API xanclDebugStatus xanclDebugGetKernelBinary(KernelDebugState* pKernelDebugState,
                                                         void* pBuffer, size_t nBufferSize);
    XANCL_API xanclDebugStatus xanclDebugGetExecutionMask(KernelDebugState* pKernelDebugState,
                                                          const cl_uint** ppMask, size_t* pCount);

    /* Registers and memory. */
    XANCL_API xanclDebugStatus xanclDebugSetTrackingRegisters(KernelDebugState* pKernelDebugState,
                                                              const cl_ulong* pLocators,
                                                              size_t nCount);
    XANCL_API xanclDebugStatus xanclDebugSetTrackPrivateMemory(KernelDebugState* pKernelDebugState,
                                                               cl_bool bTrack);
    XANCL_API xanclDebugStatus
    xanclDebugGetNumberOfActiveRegisters(KernelDebugState* pKernelDebugState, size_t* pCount);
    XANCL_API xanclDebugStatus xanclDebugGetActiveRegisters(KernelDebugState* pKernelDebugState,
                                                            cl_ulong* pLocators, size_t nMaxCount);
    XANCL_API xanclDebugStatus xanclDebugGetRegisterValues(KernelDebugState* pKernelDebugState,
                                                           cl_ulong locator, const void** ppValues,
                                                           size_t* pStride, size_t* pCount);
    XANCL_API xanclDebugStatus xanclDebugGetPrivateMemoryValues(KernelDebugState* pKernelDebugState,
                                                                size_t nAddress, size_t nCount,
                                                                void* pBuffer,
                                                                size_t* pBytesWritten);
    XANCL_API xanclDebugStatus xanclDebugGetGlobalMemoryValues(KernelDebugState* pKernelDebugState,
                                                               cl_uint nUAV, size_t nAddress,
                                                               size_t nCount, void* pBuffer,
                                                               size_t* pBytesWritten);
    XANCL_API xanclDebugStatus
    xanclDebugGetValidGlobalMemoryRegions(KernelDebugState* pKernelDebugState, size_t nMaxRegions,
                                          xanclDebugMemoryRegion* pRegions, size_t* pNumRegions);

    /* Dispatch table: 136 function pointers; slots 109 to 122 are not used. */
    XANCL_API cl_int xanclDebugGetDispatchTable(void* pTable);
    XANCL_API cl_int xanclDebugSetDispatchTable(const void* pTable);

    /* Interception: each behaves as the OpenCL function of the same name. */
    XANCL_API cl_context xanclInterceptCreateContext(
        const cl_context_properties* properties, cl_uint num_devices, const cl_device_id* devices,
        void(CL_CALLBACK* pfn_notify)(const char* errinfo, const void* private_info, size_t cb,
                                      void* user_data),
        void* user_data, cl_int* errcode_ret);
    XANCL_API cl_context xanclInterceptCreateContextFromType(
        const cl_context_properties* properties, cl_device_type device_type,
        void(CL_CALLBACK* pfn_notify)(const char* errinfo, const void* private_info, size_t cb,
                                      void* user_data),
        void* user_data, cl_int* errcode_ret);
    XANCL_API cl_command_queue
    xanclInterceptCreateCommandQueue(cl_context context, cl_device_id device,
                                     cl_command_queue_properties properties, cl_int* errcode_ret);
    XANCL_API cl_command_queue xanclInterceptCreateCommandQueueWithProperties(
        cl_context context, cl_device_id device, const cl_queue_properties* properties,
        cl_int* errcode_ret);
    XANCL_API cl_kernel xanclInterceptCreateKernel(cl_program program, const char* kernel_name,
                                                   cl_int* errcode_ret);
    XANCL_API cl_int xanclInterceptCreateKernelsInProgram(cl_program program, cl_uint num_kernels,
                                                          cl_kernel* kernels,
                                                          cl_uint* num_kernels_ret);
    XANCL_API cl_int xanclInterceptRetainKernel(cl_kernel kernel);
    XANCL_API cl_int xanclInterceptReleaseKernel(cl_kernel kernel);
    XANCL_API cl_int xanclInterceptSetKernelArg(cl_kernel kernel, cl_uint arg_index,
                                                size_t arg_size, const void* arg_value);

    /* Utilities. */
    XANCL_API xanclDebugStatus xanclDebugUtilStringToDebugRegisterLocator(const char* pName,
                                                                          cl_ulong* pLocator);
    XANCL_API xanclDebugStatus xanclDebugUtilDebugRegisterLocatorToString(cl_ulong locator,
                                                                          size_t nBufferSize,
                                                                          char* pBuffer,
                                                                          size_t* pLength);
    XANCL_API xanclDebugStatus xanclDebugUtilGetLastError(KernelDebugState* pKernelDebugState,
                                                          size_t nBufferSize, char* pBuffer,
                                                          size_t* pLength);

#ifdef __cplusplus
}
#endif

#endif /* XAN_OPENCL_DEBUG_H */
