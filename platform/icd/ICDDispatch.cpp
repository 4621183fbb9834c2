#include "CCLObject.h"
#include "CDiagnostics.h"
#include "ICDApi.h"
#include "ReportedEntry.h"

#include <tuple>
#include <type_traits>

namespace XAN_Platform
{
namespace
{
// An entry point the platform doesn't offer (GL sharing, SVM, pipes, native kernels, ...):
// it answers with nError, through errcode_ret when the function returns an object. One per
// slot, so that each reports its own name.
template <cl_int nError, auto pSlot> struct SUnsupported;

template <cl_int nError, class TResult, class... TArgs,
          TResult (CL_API_CALL* cl_icd_dispatch::*pSlot)(TArgs...)>
struct SUnsupported<nError, pSlot>
{
    static TResult CL_API_CALL Call(TArgs... args)
    {
        ((void)args, ...);
        CDiagnostics::Refuse(nError, "", "not supported by this platform");
        if constexpr (std::is_same<TResult, cl_int>::value)
        {
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
            return TResult();
        }
    }
};

template <auto pSlot, cl_int nError = CL_INVALID_OPERATION>
void Unsupported(cl_icd_dispatch& d, const char* pName)
{
    d.*pSlot = Api::ReportedEntry<&SUnsupported<nError, pSlot>::Call>(pName);
}

template <auto pfnEntry, class TFunction> void Reported(TFunction& slot, const char* pName)
{
    slot = Api::ReportedEntry<pfnEntry>(pName);
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
    Unsupported<&cl_icd_dispatch::clSetCommandQueueProperty>(d, "clSetCommandQueueProperty");
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
    Unsupported<&cl_icd_dispatch::clEnqueueNativeKernel>(d, "clEnqueueNativeKernel");
    Reported<&clEnqueueMarker>(d.clEnqueueMarker, "clEnqueueMarker");
    Reported<&clEnqueueWaitForEvents>(d.clEnqueueWaitForEvents, "clEnqueueWaitForEvents");
    Reported<&clEnqueueBarrier>(d.clEnqueueBarrier, "clEnqueueBarrier");
    Reported<&clGetExtensionFunctionAddress>(d.clGetExtensionFunctionAddress,
                                             "clGetExtensionFunctionAddress");
    // No OpenGL context can be shared with this platform.
    Unsupported<&cl_icd_dispatch::clCreateFromGLBuffer, CL_INVALID_CONTEXT>(d,
                                                                            "clCreateFromGLBuffer");
    Unsupported<&cl_icd_dispatch::clCreateFromGLTexture2D, CL_INVALID_CONTEXT>(
        d, "clCreateFromGLTexture2D");
    Unsupported<&cl_icd_dispatch::clCreateFromGLTexture3D, CL_INVALID_CONTEXT>(
        d, "clCreateFromGLTexture3D");
    Unsupported<&cl_icd_dispatch::clCreateFromGLRenderbuffer, CL_INVALID_CONTEXT>(
        d, "clCreateFromGLRenderbuffer");
    Unsupported<&cl_icd_dispatch::clGetGLObjectInfo, CL_INVALID_GL_OBJECT>(d, "clGetGLObjectInfo");
    Unsupported<&cl_icd_dispatch::clGetGLTextureInfo, CL_INVALID_GL_OBJECT>(d,
                                                                            "clGetGLTextureInfo");
    Unsupported<&cl_icd_dispatch::clEnqueueAcquireGLObjects, CL_INVALID_CONTEXT>(
        d, "clEnqueueAcquireGLObjects");
    Unsupported<&cl_icd_dispatch::clEnqueueReleaseGLObjects, CL_INVALID_CONTEXT>(
        d, "clEnqueueReleaseGLObjects");
    Unsupported<&cl_icd_dispatch::clGetGLContextInfoKHR, CL_INVALID_OPERATION>(
        d, "clGetGLContextInfoKHR");

    Reported<&clSetEventCallback>(d.clSetEventCallback, "clSetEventCallback");
    Reported<&clCreateSubBuffer>(d.clCreateSubBuffer, "clCreateSubBuffer");
    Reported<&clSetMemObjectDestructorCallback>(d.clSetMemObjectDestructorCallback,
                                                "clSetMemObjectDestructorCallback");
    Reported<&clCreateUserEvent>(d.clCreateUserEvent, "clCreateUserEvent");
    Reported<&clSetUserEventStatus>(d.clSetUserEventStatus, "clSetUserEventStatus");
    Reported<&clEnqueueReadBufferRect>(d.clEnqueueReadBufferRect, "clEnqueueReadBufferRect");
    Reported<&clEnqueueWriteBufferRect>(d.clEnqueueWriteBufferRect, "clEnqueueWriteBufferRect");
    Reported<&clEnqueueCopyBufferRect>(d.clEnqueueCopyBufferRect, "clEnqueueCopyBufferRect");
    Unsupported<&cl_icd_dispatch::clCreateSubDevicesEXT, CL_INVALID_DEVICE>(
        d, "clCreateSubDevicesEXT");
    Reported<&clRetainDevice>(d.clRetainDeviceEXT, "clRetainDevice");
    Reported<&clReleaseDevice>(d.clReleaseDeviceEXT, "clReleaseDevice");
    Unsupported<&cl_icd_dispatch::clCreateEventFromGLsyncKHR, CL_INVALID_CONTEXT>(
        d, "clCreateEventFromGLsyncKHR");

    Unsupported<&cl_icd_dispatch::clCreateSubDevices, CL_DEVICE_PARTITION_FAILED>(
        d, "clCreateSubDevices");
    Reported<&clRetainDevice>(d.clRetainDevice, "clRetainDevice");
    Reported<&clReleaseDevice>(d.clReleaseDevice, "clReleaseDevice");
    Reported<&clCreateImage>(d.clCreateImage, "clCreateImage");
    Unsupported<&cl_icd_dispatch::clCreateProgramWithBuiltInKernels, CL_INVALID_VALUE>(
        d, "clCreateProgramWithBuiltInKernels");
    Reported<&clCompileProgram>(d.clCompileProgram, "clCompileProgram");
    Reported<&clLinkProgram>(d.clLinkProgram, "clLinkProgram");
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
    Unsupported<&cl_icd_dispatch::clCreateFromGLTexture, CL_INVALID_CONTEXT>(
        d, "clCreateFromGLTexture");

    Reported<&clCreateCommandQueueWithProperties>(d.clCreateCommandQueueWithProperties,
                                                  "clCreateCommandQueueWithProperties");
    Unsupported<&cl_icd_dispatch::clCreatePipe>(d, "clCreatePipe");
    Unsupported<&cl_icd_dispatch::clGetPipeInfo>(d, "clGetPipeInfo");
    Unsupported<&cl_icd_dispatch::clSVMAlloc>(d, "clSVMAlloc");
    Unsupported<&cl_icd_dispatch::clSVMFree>(d, "clSVMFree");
    Unsupported<&cl_icd_dispatch::clEnqueueSVMFree>(d, "clEnqueueSVMFree");
    Unsupported<&cl_icd_dispatch::clEnqueueSVMMemcpy>(d, "clEnqueueSVMMemcpy");
    Unsupported<&cl_icd_dispatch::clEnqueueSVMMemFill>(d, "clEnqueueSVMMemFill");
    Unsupported<&cl_icd_dispatch::clEnqueueSVMMap>(d, "clEnqueueSVMMap");
    Unsupported<&cl_icd_dispatch::clEnqueueSVMUnmap>(d, "clEnqueueSVMUnmap");
    Reported<&clCreateSamplerWithProperties>(d.clCreateSamplerWithProperties,
                                             "clCreateSamplerWithProperties");
    Unsupported<&cl_icd_dispatch::clSetKernelArgSVMPointer>(d, "clSetKernelArgSVMPointer");
    Unsupported<&cl_icd_dispatch::clSetKernelExecInfo>(d, "clSetKernelExecInfo");
    Unsupported<&cl_icd_dispatch::clGetKernelSubGroupInfoKHR>(d, "clGetKernelSubGroupInfoKHR");
    Unsupported<&cl_icd_dispatch::clCloneKernel>(d, "clCloneKernel");
    Unsupported<&cl_icd_dispatch::clCreateProgramWithIL>(d, "clCreateProgramWithIL");
    Unsupported<&cl_icd_dispatch::clEnqueueSVMMigrateMem>(d, "clEnqueueSVMMigrateMem");
    Unsupported<&cl_icd_dispatch::clGetDeviceAndHostTimer>(d, "clGetDeviceAndHostTimer");
    Unsupported<&cl_icd_dispatch::clGetHostTimer>(d, "clGetHostTimer");
    Unsupported<&cl_icd_dispatch::clGetKernelSubGroupInfo>(d, "clGetKernelSubGroupInfo");
    Unsupported<&cl_icd_dispatch::clSetDefaultDeviceCommandQueue>(d,
                                                                  "clSetDefaultDeviceCommandQueue");
    Unsupported<&cl_icd_dispatch::clSetProgramReleaseCallback>(d, "clSetProgramReleaseCallback");
    Unsupported<&cl_icd_dispatch::clSetProgramSpecializationConstant>(
        d, "clSetProgramSpecializationConstant");
    Unsupported<&cl_icd_dispatch::clCreateBufferWithProperties>(d, "clCreateBufferWithProperties");
    Unsupported<&cl_icd_dispatch::clCreateImageWithProperties>(d, "clCreateImageWithProperties");
    Unsupported<&cl_icd_dispatch::clSetContextDestructorCallback>(d,
                                                                  "clSetContextDestructorCallback");
    return d;
}
} // namespace

const cl_icd_dispatch g_Dispatch = MakeDispatch();
} // namespace XAN_Platform
