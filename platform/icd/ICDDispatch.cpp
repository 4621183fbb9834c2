#include "CCLObject.h"
#include "CDiagnostics.h"
#include "ICDApi.h"

#include <tuple>
#include <type_traits>

namespace XAN_Platform
{
namespace
{
// An entry point the platform doesn't offer (GL sharing, SVM, pipes, native kernels, ...):
// it answers with nError, through errcode_ret when the function returns an object.
template <cl_int nError, class TFunction> struct SUnsupported;

template <cl_int nError, class TResult, class... TArgs>
struct SUnsupported<nError, TResult(CL_API_CALL*)(TArgs...)>
{
    static TResult CL_API_CALL Call(TArgs... args)
    {
        if constexpr (std::is_same<TResult, cl_int>::value)
        {
            ((void)args, ...);
            return nError;
        }
        else
        {
            constexpr size_t nCount = sizeof...(TArgs);
            if constexpr (nCount != 0)
            {
                auto last = std::get<nCount - 1>(std::forward_as_tuple(args...));
                if constexpr (std::is_same<decltype(last), cl_int*>::value)
                {
                    if (last != nullptr)
                    {
                        *last = nError;
                    }
                }
            }
            ((void)args, ...);
            return TResult();
        }
    }
};

template <cl_int nError = CL_INVALID_OPERATION, class TFunction> void Unsupported(TFunction& slot)
{
    slot = &SUnsupported<nError, TFunction>::Call;
}

// An entry point as the dispatch table offers it: a refusal is reported with its reason.
template <auto pfnEntry> struct SReported;

template <class TResult, class... TArgs, TResult (*pfnEntry)(TArgs...)> struct SReported<pfnEntry>
{
    static TResult CL_API_CALL Call(TArgs... args)
    {
        CDiagnostics::BeginCall();
        if constexpr (std::is_same<TResult, cl_int>::value)
        {
            const cl_int nError = pfnEntry(args...);
            CDiagnostics::EndCall(s_pName, nError);
            return nError;
        }
        else if constexpr (sizeof...(TArgs) != 0 &&
                           std::is_same<typename std::tuple_element<sizeof...(TArgs) - 1,
                                                                    std::tuple<TArgs...>>::type,
                                        cl_int*>::value)
        {
            // The status comes back through errcode_ret, which the caller may leave null.
            std::tuple<TArgs...> tupleArgs(args...);
            cl_int*& pErrcodeRet = std::get<sizeof...(TArgs) - 1>(tupleArgs);
            cl_int* const pCallers = pErrcodeRet;
            cl_int nError = CL_SUCCESS;
            pErrcodeRet = &nError;
            TResult result = std::apply(pfnEntry, tupleArgs);
            CDiagnostics::EndCall(s_pName, nError);
            if (pCallers != nullptr)
            {
                *pCallers = nError;
            }
            return result;
        }
        else
        {
            return pfnEntry(args...);
        }
    }

    static const char* s_pName;
};

template <class TResult, class... TArgs, TResult (*pfnEntry)(TArgs...)>
const char* SReported<pfnEntry>::s_pName = "";

template <auto pfnEntry, class TFunction> void Reported(TFunction& slot, const char* pName)
{
    SReported<pfnEntry>::s_pName = pName;
    slot = &SReported<pfnEntry>::Call;
}

cl_icd_dispatch MakeDispatch()
{
    using namespace Api;
    cl_icd_dispatch d = {};
    Reported<&clGetPlatformIDs>(d.clGetPlatformIDs, "clGetPlatformIDs");
    Reported<&clGetPlatformInfo>(d.clGetPlatformInfo, "clGetPlatformInfo");
    Reported<&clGetDeviceIDs>(d.clGetDeviceIDs, "clGetDeviceIDs");
    Reported<&clGetDeviceInfo>(d.clGetDeviceInfo, "clGetDeviceInfo");
    Reported<&clCreateContext>(d.clCreateContext, "clCreateContext");
    Reported<&clCreateContextFromType>(d.clCreateContextFromType, "clCreateContextFromType");
    Reported<&clRetainContext>(d.clRetainContext, "clRetainContext");
    Reported<&clReleaseContext>(d.clReleaseContext, "clReleaseContext");
    Reported<&clGetContextInfo>(d.clGetContextInfo, "clGetContextInfo");
    Reported<&clCreateCommandQueue>(d.clCreateCommandQueue, "clCreateCommandQueue");
    Reported<&clRetainCommandQueue>(d.clRetainCommandQueue, "clRetainCommandQueue");
    Reported<&clReleaseCommandQueue>(d.clReleaseCommandQueue, "clReleaseCommandQueue");
    Reported<&clGetCommandQueueInfo>(d.clGetCommandQueueInfo, "clGetCommandQueueInfo");
    Unsupported(d.clSetCommandQueueProperty);
    Reported<&clCreateBuffer>(d.clCreateBuffer, "clCreateBuffer");
    Reported<&clCreateImage2D>(d.clCreateImage2D, "clCreateImage2D");
    Reported<&clCreateImage3D>(d.clCreateImage3D, "clCreateImage3D");
    Reported<&clRetainMemObject>(d.clRetainMemObject, "clRetainMemObject");
    Reported<&clReleaseMemObject>(d.clReleaseMemObject, "clReleaseMemObject");
    Reported<&clGetSupportedImageFormats>(d.clGetSupportedImageFormats,
                                          "clGetSupportedImageFormats");
    Reported<&clGetMemObjectInfo>(d.clGetMemObjectInfo, "clGetMemObjectInfo");
    Reported<&clGetImageInfo>(d.clGetImageInfo, "clGetImageInfo");
    Reported<&clCreateSampler>(d.clCreateSampler, "clCreateSampler");
    Reported<&clRetainSampler>(d.clRetainSampler, "clRetainSampler");
    Reported<&clReleaseSampler>(d.clReleaseSampler, "clReleaseSampler");
    Reported<&clGetSamplerInfo>(d.clGetSamplerInfo, "clGetSamplerInfo");
    Reported<&clCreateProgramWithSource>(d.clCreateProgramWithSource, "clCreateProgramWithSource");
    Reported<&clCreateProgramWithBinary>(d.clCreateProgramWithBinary, "clCreateProgramWithBinary");
    Reported<&clRetainProgram>(d.clRetainProgram, "clRetainProgram");
    Reported<&clReleaseProgram>(d.clReleaseProgram, "clReleaseProgram");
    Reported<&clBuildProgram>(d.clBuildProgram, "clBuildProgram");
    Reported<&clUnloadCompiler>(d.clUnloadCompiler, "clUnloadCompiler");
    Reported<&clGetProgramInfo>(d.clGetProgramInfo, "clGetProgramInfo");
    Reported<&clGetProgramBuildInfo>(d.clGetProgramBuildInfo, "clGetProgramBuildInfo");
    Reported<&clCreateKernel>(d.clCreateKernel, "clCreateKernel");
    Reported<&clCreateKernelsInProgram>(d.clCreateKernelsInProgram, "clCreateKernelsInProgram");
    Reported<&clRetainKernel>(d.clRetainKernel, "clRetainKernel");
    Reported<&clReleaseKernel>(d.clReleaseKernel, "clReleaseKernel");
    Reported<&clSetKernelArg>(d.clSetKernelArg, "clSetKernelArg");
    Reported<&clGetKernelInfo>(d.clGetKernelInfo, "clGetKernelInfo");
    Reported<&clGetKernelWorkGroupInfo>(d.clGetKernelWorkGroupInfo, "clGetKernelWorkGroupInfo");
    Reported<&clWaitForEvents>(d.clWaitForEvents, "clWaitForEvents");
    Reported<&clGetEventInfo>(d.clGetEventInfo, "clGetEventInfo");
    Reported<&clRetainEvent>(d.clRetainEvent, "clRetainEvent");
    Reported<&clReleaseEvent>(d.clReleaseEvent, "clReleaseEvent");
    Reported<&clGetEventProfilingInfo>(d.clGetEventProfilingInfo, "clGetEventProfilingInfo");
    Reported<&clFlush>(d.clFlush, "clFlush");
    Reported<&clFinish>(d.clFinish, "clFinish");
    Reported<&clEnqueueReadBuffer>(d.clEnqueueReadBuffer, "clEnqueueReadBuffer");
    Reported<&clEnqueueWriteBuffer>(d.clEnqueueWriteBuffer, "clEnqueueWriteBuffer");
    Reported<&clEnqueueCopyBuffer>(d.clEnqueueCopyBuffer, "clEnqueueCopyBuffer");
    Reported<&clEnqueueReadImage>(d.clEnqueueReadImage, "clEnqueueReadImage");
    Reported<&clEnqueueWriteImage>(d.clEnqueueWriteImage, "clEnqueueWriteImage");
    Reported<&clEnqueueCopyImage>(d.clEnqueueCopyImage, "clEnqueueCopyImage");
    Reported<&clEnqueueCopyImageToBuffer>(d.clEnqueueCopyImageToBuffer,
                                          "clEnqueueCopyImageToBuffer");
    Reported<&clEnqueueCopyBufferToImage>(d.clEnqueueCopyBufferToImage,
                                          "clEnqueueCopyBufferToImage");
    Reported<&clEnqueueMapBuffer>(d.clEnqueueMapBuffer, "clEnqueueMapBuffer");
    Reported<&clEnqueueMapImage>(d.clEnqueueMapImage, "clEnqueueMapImage");
    Reported<&clEnqueueUnmapMemObject>(d.clEnqueueUnmapMemObject, "clEnqueueUnmapMemObject");
    Reported<&clEnqueueNDRangeKernel>(d.clEnqueueNDRangeKernel, "clEnqueueNDRangeKernel");
    Reported<&clEnqueueTask>(d.clEnqueueTask, "clEnqueueTask");
    Unsupported(d.clEnqueueNativeKernel);
    Reported<&clEnqueueMarker>(d.clEnqueueMarker, "clEnqueueMarker");
    Reported<&clEnqueueWaitForEvents>(d.clEnqueueWaitForEvents, "clEnqueueWaitForEvents");
    Reported<&clEnqueueBarrier>(d.clEnqueueBarrier, "clEnqueueBarrier");
    Reported<&clGetExtensionFunctionAddress>(d.clGetExtensionFunctionAddress,
                                             "clGetExtensionFunctionAddress");
    // No OpenGL context can be shared with this platform.
    Unsupported<CL_INVALID_CONTEXT>(d.clCreateFromGLBuffer);
    Unsupported<CL_INVALID_CONTEXT>(d.clCreateFromGLTexture2D);
    Unsupported<CL_INVALID_CONTEXT>(d.clCreateFromGLTexture3D);
    Unsupported<CL_INVALID_CONTEXT>(d.clCreateFromGLRenderbuffer);
    Unsupported<CL_INVALID_GL_OBJECT>(d.clGetGLObjectInfo);
    Unsupported<CL_INVALID_GL_OBJECT>(d.clGetGLTextureInfo);
    Unsupported<CL_INVALID_CONTEXT>(d.clEnqueueAcquireGLObjects);
    Unsupported<CL_INVALID_CONTEXT>(d.clEnqueueReleaseGLObjects);
    Unsupported<CL_INVALID_OPERATION>(d.clGetGLContextInfoKHR);

    Reported<&clSetEventCallback>(d.clSetEventCallback, "clSetEventCallback");
    Reported<&clCreateSubBuffer>(d.clCreateSubBuffer, "clCreateSubBuffer");
    Reported<&clSetMemObjectDestructorCallback>(d.clSetMemObjectDestructorCallback,
                                                "clSetMemObjectDestructorCallback");
    Reported<&clCreateUserEvent>(d.clCreateUserEvent, "clCreateUserEvent");
    Reported<&clSetUserEventStatus>(d.clSetUserEventStatus, "clSetUserEventStatus");
    Reported<&clEnqueueReadBufferRect>(d.clEnqueueReadBufferRect, "clEnqueueReadBufferRect");
    Reported<&clEnqueueWriteBufferRect>(d.clEnqueueWriteBufferRect, "clEnqueueWriteBufferRect");
    Reported<&clEnqueueCopyBufferRect>(d.clEnqueueCopyBufferRect, "clEnqueueCopyBufferRect");
    Unsupported<CL_INVALID_DEVICE>(d.clCreateSubDevicesEXT);
    Reported<&clRetainDevice>(d.clRetainDeviceEXT, "clRetainDevice");
    Reported<&clReleaseDevice>(d.clReleaseDeviceEXT, "clReleaseDevice");
    Unsupported<CL_INVALID_CONTEXT>(d.clCreateEventFromGLsyncKHR);

    Unsupported<CL_DEVICE_PARTITION_FAILED>(d.clCreateSubDevices);
    Reported<&clRetainDevice>(d.clRetainDevice, "clRetainDevice");
    Reported<&clReleaseDevice>(d.clReleaseDevice, "clReleaseDevice");
    Reported<&clCreateImage>(d.clCreateImage, "clCreateImage");
    Unsupported<CL_INVALID_VALUE>(d.clCreateProgramWithBuiltInKernels);
    Unsupported(d.clCompileProgram);
    Unsupported(d.clLinkProgram);
    Reported<&clUnloadPlatformCompiler>(d.clUnloadPlatformCompiler, "clUnloadPlatformCompiler");
    Reported<&clGetKernelArgInfo>(d.clGetKernelArgInfo, "clGetKernelArgInfo");
    Reported<&clEnqueueFillBuffer>(d.clEnqueueFillBuffer, "clEnqueueFillBuffer");
    Reported<&clEnqueueFillImage>(d.clEnqueueFillImage, "clEnqueueFillImage");
    Reported<&clEnqueueMigrateMemObjects>(d.clEnqueueMigrateMemObjects,
                                          "clEnqueueMigrateMemObjects");
    Reported<&clEnqueueMarkerWithWaitList>(d.clEnqueueMarkerWithWaitList,
                                           "clEnqueueMarkerWithWaitList");
    Reported<&clEnqueueBarrierWithWaitList>(d.clEnqueueBarrierWithWaitList,
                                            "clEnqueueBarrierWithWaitList");
    Reported<&clGetExtensionFunctionAddressForPlatform>(d.clGetExtensionFunctionAddressForPlatform,
                                                        "clGetExtensionFunctionAddressForPlatform");
    Unsupported<CL_INVALID_CONTEXT>(d.clCreateFromGLTexture);

    Reported<&clCreateCommandQueueWithProperties>(d.clCreateCommandQueueWithProperties,
                                                  "clCreateCommandQueueWithProperties");
    Unsupported(d.clCreatePipe);
    Unsupported(d.clGetPipeInfo);
    Unsupported(d.clSVMAlloc);
    Unsupported(d.clSVMFree);
    Unsupported(d.clEnqueueSVMFree);
    Unsupported(d.clEnqueueSVMMemcpy);
    Unsupported(d.clEnqueueSVMMemFill);
    Unsupported(d.clEnqueueSVMMap);
    Unsupported(d.clEnqueueSVMUnmap);
    Reported<&clCreateSamplerWithProperties>(d.clCreateSamplerWithProperties,
                                             "clCreateSamplerWithProperties");
    Unsupported(d.clSetKernelArgSVMPointer);
    Unsupported(d.clSetKernelExecInfo);
    Unsupported(d.clGetKernelSubGroupInfoKHR);
    Unsupported(d.clCloneKernel);
    Unsupported(d.clCreateProgramWithIL);
    Unsupported(d.clEnqueueSVMMigrateMem);
    Unsupported(d.clGetDeviceAndHostTimer);
    Unsupported(d.clGetHostTimer);
    Unsupported(d.clGetKernelSubGroupInfo);
    Unsupported(d.clSetDefaultDeviceCommandQueue);
    Unsupported(d.clSetProgramReleaseCallback);
    Unsupported(d.clSetProgramSpecializationConstant);
    Unsupported(d.clCreateBufferWithProperties);
    Unsupported(d.clCreateImageWithProperties);
    Unsupported(d.clSetContextDestructorCallback);
    return d;
}
} // namespace

const cl_icd_dispatch g_Dispatch = MakeDispatch();
} // namespace XAN_Platform
