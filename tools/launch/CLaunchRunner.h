#ifndef XAN_TOOLS_CLAUNCHRUNNER_H
#define XAN_TOOLS_CLAUNCHRUNNER_H

#include "CLaunchDescription.h"

#include <CL/cl.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace XAN_Launch
{
// The OpenCL calls of a run that a debugger or a tracer takes over: the kernel's creation and
// arguments go through a debugger's interception, the launch through its own enqueue.
struct SLaunchCalls
{
    std::function<cl_kernel(cl_program, const char*, cl_int*)> createKernel = clCreateKernel;
    std::function<cl_int(cl_kernel)> releaseKernel = clReleaseKernel;
    std::function<cl_int(cl_kernel, cl_uint, size_t, const void*)> setKernelArg = clSetKernelArg;
    // Enqueues the kernel with the launch's geometry on the queue.
    std::function<cl_int(cl_command_queue, cl_kernel, cl_uint, const size_t*, const size_t*,
                         const size_t*)>
        enqueue = [](cl_command_queue queue, cl_kernel kernel, cl_uint nDimensions,
                     const size_t* pOffset, const size_t* pGlobal, const size_t* pLocal)
    {
        return clEnqueueNDRangeKernel(queue, kernel, nDimensions, pOffset, pGlobal, pLocal, 0,
                                      nullptr, nullptr);
    };
};

// Runs a launch description through the standard OpenCL API on one device: builds the
// program, makes the arguments, enqueues the kernel and reads every buffer and image back.
class CLaunchRunner
{
public:
    // The contents of argument i after the launch; empty for arguments without contents.
    typedef std::vector<std::vector<uint8_t>> Contents;

    CLaunchRunner(cl_context context, cl_device_id device, cl_command_queue queue,
                  SLaunchCalls calls = SLaunchCalls())
        : m_Context(context), m_Device(device), m_Queue(queue), m_Calls(std::move(calls))
    {
    }
    CLaunchRunner(const CLaunchRunner&) = delete;
    CLaunchRunner& operator=(const CLaunchRunner&) = delete;
    ~CLaunchRunner();

    // False with the call that failed, its error and, for a build, the log in strError.
    bool Run(const CLaunchDescription& launch, Contents& vContents, std::string& strError);

    // The arguments whose contents differ from their expected ones, one line each with the
    // first element that differs; empty when everything matches.
    static std::string Compare(const CLaunchDescription& launch, const Contents& vContents);
    // The same against the contents of another run, such as a native one.
    static std::string Compare(const CLaunchDescription& launch, const Contents& vContents,
                               const Contents& vReference);

private:
    bool Check(cl_int nError, const std::string& strCall, std::string& strError);
    void Release();

    cl_context m_Context;
    cl_device_id m_Device;
    cl_command_queue m_Queue;
    SLaunchCalls m_Calls;
    cl_program m_Program = nullptr;
    cl_kernel m_Kernel = nullptr;
    std::vector<cl_mem> m_vMemory;
    std::vector<cl_sampler> m_vSamplers;
};
} // namespace XAN_Launch

#endif
