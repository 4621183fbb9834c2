#include "CCLObject.h"
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

cl_icd_dispatch MakeDispatch()
{
    using namespace Api;
    cl_icd_dispatch d = {};
    d.clGetPlatformIDs = clGetPlatformIDs;
    d.clGetPlatformInfo = clGetPlatformInfo;
    d.clGetDeviceIDs = clGetDeviceIDs;
    d.clGetDeviceInfo = clGetDeviceInfo;
    d.clCreateContext = clCreateContext;
    d.clCreateContextFromType = clCreateContextFromType;
    d.clRetainContext = clRetainContext;
    d.clReleaseContext = clReleaseContext;
    d.clGetContextInfo = clGetContextInfo;
    d.clCreateCommandQueue = clCreateCommandQueue;
    d.clRetainCommandQueue = clRetainCommandQueue;
    d.clReleaseCommandQueue = clReleaseCommandQueue;
    d.clGetCommandQueueInfo = clGetCommandQueueInfo;
    Unsupported(d.clSetCommandQueueProperty);
    d.clCreateBuffer = clCreateBuffer;
    d.clCreateImage2D = clCreateImage2D;
    d.clCreateImage3D = clCreateImage3D;
    d.clRetainMemObject = clRetainMemObject;
    d.clReleaseMemObject = clReleaseMemObject;
    d.clGetSupportedImageFormats = clGetSupportedImageFormats;
    d.clGetMemObjectInfo = clGetMemObjectInfo;
    d.clGetImageInfo = clGetImageInfo;
    d.clCreateSampler = clCreateSampler;
    d.clRetainSampler = clRetainSampler;
    d.clReleaseSampler = clReleaseSampler;
    d.clGetSamplerInfo = clGetSamplerInfo;
    d.clCreateProgramWithSource = clCreateProgramWithSource;
    d.clCreateProgramWithBinary = clCreateProgramWithBinary;
    d.clRetainProgram = clRetainProgram;
    d.clReleaseProgram = clReleaseProgram;
    d.clBuildProgram = clBuildProgram;
    d.clUnloadCompiler = clUnloadCompiler;
    d.clGetProgramInfo = clGetProgramInfo;
    d.clGetProgramBuildInfo = clGetProgramBuildInfo;
    d.clCreateKernel = clCreateKernel;
    d.clCreateKernelsInProgram = clCreateKernelsInProgram;
    d.clRetainKernel = clRetainKernel;
    d.clReleaseKernel = clReleaseKernel;
    d.clSetKernelArg = clSetKernelArg;
    d.clGetKernelInfo = clGetKernelInfo;
    d.clGetKernelWorkGroupInfo = clGetKernelWorkGroupInfo;
    d.clWaitForEvents = clWaitForEvents;
    d.clGetEventInfo = clGetEventInfo;
    d.clRetainEvent = clRetainEvent;
    d.clReleaseEvent = clReleaseEvent;
    d.clGetEventProfilingInfo = clGetEventProfilingInfo;
    d.clFlush = clFlush;
    d.clFinish = clFinish;
    d.clEnqueueReadBuffer = clEnqueueReadBuffer;
    d.clEnqueueWriteBuffer = clEnqueueWriteBuffer;
    d.clEnqueueCopyBuffer = clEnqueueCopyBuffer;
    d.clEnqueueReadImage = clEnqueueReadImage;
    d.clEnqueueWriteImage = clEnqueueWriteImage;
    d.clEnqueueCopyImage = clEnqueueCopyImage;
    d.clEnqueueCopyImageToBuffer = clEnqueueCopyImageToBuffer;
    d.clEnqueueCopyBufferToImage = clEnqueueCopyBufferToImage;
    d.clEnqueueMapBuffer = clEnqueueMapBuffer;
    d.clEnqueueMapImage = clEnqueueMapImage;
    d.clEnqueueUnmapMemObject = clEnqueueUnmapMemObject;
    d.clEnqueueNDRangeKernel = clEnqueueNDRangeKernel;
    d.clEnqueueTask = clEnqueueTask;
    Unsupported(d.clEnqueueNativeKernel);
    d.clEnqueueMarker = clEnqueueMarker;
    d.clEnqueueWaitForEvents = clEnqueueWaitForEvents;
    d.clEnqueueBarrier = clEnqueueBarrier;
    d.clGetExtensionFunctionAddress = clGetExtensionFunctionAddress;
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

    d.clSetEventCallback = clSetEventCallback;
    d.clCreateSubBuffer = clCreateSubBuffer;
    d.clSetMemObjectDestructorCallback = clSetMemObjectDestructorCallback;
    d.clCreateUserEvent = clCreateUserEvent;
    d.clSetUserEventStatus = clSetUserEventStatus;
    d.clEnqueueReadBufferRect = clEnqueueReadBufferRect;
    d.clEnqueueWriteBufferRect = clEnqueueWriteBufferRect;
    d.clEnqueueCopyBufferRect = clEnqueueCopyBufferRect;
    Unsupported<CL_INVALID_DEVICE>(d.clCreateSubDevicesEXT);
    d.clRetainDeviceEXT = clRetainDevice;
    d.clReleaseDeviceEXT = clReleaseDevice;
    Unsupported<CL_INVALID_CONTEXT>(d.clCreateEventFromGLsyncKHR);

    Unsupported<CL_DEVICE_PARTITION_FAILED>(d.clCreateSubDevices);
    d.clRetainDevice = clRetainDevice;
    d.clReleaseDevice = clReleaseDevice;
    d.clCreateImage = clCreateImage;
    Unsupported<CL_INVALID_VALUE>(d.clCreateProgramWithBuiltInKernels);
    Unsupported(d.clCompileProgram);
    Unsupported(d.clLinkProgram);
    d.clUnloadPlatformCompiler = clUnloadPlatformCompiler;
    d.clGetKernelArgInfo = clGetKernelArgInfo;
    d.clEnqueueFillBuffer = clEnqueueFillBuffer;
    d.clEnqueueFillImage = clEnqueueFillImage;
    d.clEnqueueMigrateMemObjects = clEnqueueMigrateMemObjects;
    d.clEnqueueMarkerWithWaitList = clEnqueueMarkerWithWaitList;
    d.clEnqueueBarrierWithWaitList = clEnqueueBarrierWithWaitList;
    d.clGetExtensionFunctionAddressForPlatform = clGetExtensionFunctionAddressForPlatform;
    Unsupported<CL_INVALID_CONTEXT>(d.clCreateFromGLTexture);

    d.clCreateCommandQueueWithProperties = clCreateCommandQueueWithProperties;
    Unsupported(d.clCreatePipe);
    Unsupported(d.clGetPipeInfo);
    Unsupported(d.clSVMAlloc);
    Unsupported(d.clSVMFree);
    Unsupported(d.clEnqueueSVMFree);
    Unsupported(d.clEnqueueSVMMemcpy);
    Unsupported(d.clEnqueueSVMMemFill);
    Unsupported(d.clEnqueueSVMMap);
    Unsupported(d.clEnqueueSVMUnmap);
    d.clCreateSamplerWithProperties = clCreateSamplerWithProperties;
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
