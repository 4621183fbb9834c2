#ifndef OPENCL_MODULE_H
#define OPENCL_MODULE_H

#include <CL/cl_icd.h>

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

// Slots 0 to 108: the classic order of the OpenCL ICD.
#define XAN_OPENCL_SLOTS_0_108(X)                                                                  \
    X(clGetPlatformIDs)                                                                            \
    X(clGetPlatformInfo)                                                                           \
    X(clGetDeviceIDs)                                                                              \
    X(clGetDeviceInfo)                                                                             \
    X(clCreateContext)                                                                             \
    X(clCreateContextFromType)                                                                     \
    X(clRetainContext)                                                                             \
    X(clReleaseContext)                                                                            \
    X(clGetContextInfo)                                                                            \
    X(clCreateCommandQueue)                                                                        \
    X(clRetainCommandQueue)                                                                        \
    X(clReleaseCommandQueue)                                                                       \
    X(clGetCommandQueueInfo)                                                                       \
    X(clSetCommandQueueProperty)                                                                   \
    X(clCreateBuffer)                                                                              \
    X(clCreateImage2D)                                                                             \
    X(clCreateImage3D)                                                                             \
    X(clRetainMemObject)                                                                           \
    X(clReleaseMemObject)                                                                          \
    X(clGetSupportedImageFormats)                                                                  \
    X(clGetMemObjectInfo)                                                                          \
    X(clGetImageInfo)                                                                              \
    X(clCreateSampler)                                                                             \
    X(clRetainSampler)                                                                             \
    X(clReleaseSampler)                                                                            \
    X(clGetSamplerInfo)                                                                            \
    X(clCreateProgramWithSource)                                                                   \
    X(clCreateProgramWithBinary)                                                                   \
    X(clRetainProgram)                                                                             \
    X(clReleaseProgram)                                                                            \
    X(clBuildProgram)                                                                              \
    X(clUnloadCompiler)                                                                            \
    X(clGetProgramInfo)                                                                            \
    X(clGetProgramBuildInfo)                                                                       \
    X(clCreateKernel)                                                                              \
    X(clCreateKernelsInProgram)                                                                    \
    X(clRetainKernel)                                                                              \
    X(clReleaseKernel)                                                                             \
    X(clSetKernelArg)                                                                              \
    X(clGetKernelInfo)                                                                             \
    X(clGetKernelWorkGroupInfo)                                                                    \
    X(clWaitForEvents)                                                                             \
    X(clGetEventInfo)                                                                              \
    X(clRetainEvent)                                                                               \
    X(clReleaseEvent)                                                                              \
    X(clGetEventProfilingInfo)                                                                     \
    X(clFlush)                                                                                     \
    X(clFinish)                                                                                    \
    X(clEnqueueReadBuffer)                                                                         \
    X(clEnqueueWriteBuffer)                                                                        \
    X(clEnqueueCopyBuffer)                                                                         \
    X(clEnqueueReadImage)                                                                          \
    X(clEnqueueWriteImage)                                                                         \
    X(clEnqueueCopyImage)                                                                          \
    X(clEnqueueCopyImageToBuffer)                                                                  \
    X(clEnqueueCopyBufferToImage)                                                                  \
    X(clEnqueueMapBuffer)                                                                          \
    X(clEnqueueMapImage)                                                                           \
    X(clEnqueueUnmapMemObject)                                                                     \
    X(clEnqueueNDRangeKernel)                                                                      \
    X(clEnqueueTask)                                                                               \
    X(clEnqueueNativeKernel)                                                                       \
    X(clEnqueueMarker)                                                                             \
    X(clEnqueueWaitForEvents)                                                                      \
    X(clEnqueueBarrier)                                                                            \
    X(clGetExtensionFunctionAddress)                                                               \
    X(clCreateFromGLBuffer)                                                                        \
    X(clCreateFromGLTexture2D)                                                                     \
    X(clCreateFromGLTexture3D)                                                                     \
    X(clCreateFromGLRenderbuffer)                                                                  \
    X(clGetGLObjectInfo)                                                                           \
    X(clGetGLTextureInfo)                                                                          \
    X(clEnqueueAcquireGLObjects)                                                                   \
    X(clEnqueueReleaseGLObjects)                                                                   \
    X(clGetGLContextInfoKHR)                                                                       \
    X(clGetDeviceIDsFromD3D10KHR)                                                                  \
    X(clCreateFromD3D10BufferKHR)                                                                  \
    X(clCreateFromD3D10Texture2DKHR)                                                               \
    X(clCreateFromD3D10Texture3DKHR)                                                               \
    X(clEnqueueAcquireD3D10ObjectsKHR)                                                             \
    X(clEnqueueReleaseD3D10ObjectsKHR)                                                             \
    X(clSetEventCallback)                                                                          \
    X(clCreateSubBuffer)                                                                           \
    X(clSetMemObjectDestructorCallback)                                                            \
    X(clCreateUserEvent)                                                                           \
    X(clSetUserEventStatus)                                                                        \
    X(clEnqueueReadBufferRect)                                                                     \
    X(clEnqueueWriteBufferRect)                                                                    \
    X(clEnqueueCopyBufferRect)                                                                     \
    X(clCreateSubDevicesEXT)                                                                       \
    X(clRetainDeviceEXT)                                                                           \
    X(clReleaseDeviceEXT)                                                                          \
    X(clCreateEventFromGLsyncKHR)                                                                  \
    X(clCreateSubDevices)                                                                          \
    X(clRetainDevice)                                                                              \
    X(clReleaseDevice)                                                                             \
    X(clCreateImage)                                                                               \
    X(clCreateProgramWithBuiltInKernels)                                                           \
    X(clCompileProgram)                                                                            \
    X(clLinkProgram)                                                                               \
    X(clUnloadPlatformCompiler)                                                                    \
    X(clGetKernelArgInfo)                                                                          \
    X(clEnqueueFillBuffer)                                                                         \
    X(clEnqueueFillImage)                                                                          \
    X(clEnqueueMigrateMemObjects)                                                                  \
    X(clEnqueueMarkerWithWaitList)                                                                 \
    X(clEnqueueBarrierWithWaitList)                                                                \
    X(clGetExtensionFunctionAddressForPlatform)                                                    \
    X(clCreateFromGLTexture)

// Slots 123 to 135: OpenCL 2.0.
#define XAN_OPENCL_SLOTS_123_135(X)                                                                \
    X(clCreateCommandQueueWithProperties)                                                          \
    X(clCreatePipe)                                                                                \
    X(clGetPipeInfo)                                                                               \
    X(clSVMAlloc)                                                                                  \
    X(clSVMFree)                                                                                   \
    X(clEnqueueSVMFree)                                                                            \
    X(clEnqueueSVMMemcpy)                                                                          \
    X(clEnqueueSVMMemFill)                                                                         \
    X(clEnqueueSVMMap)                                                                             \
    X(clEnqueueSVMUnmap)                                                                           \
    X(clCreateSamplerWithProperties)                                                               \
    X(clSetKernelArgSVMPointer)                                                                    \
    X(clSetKernelExecInfo)

// Slots 136 to 164: extensions, asked of the runtime rather than of the library.
#define XAN_OPENCL_SLOTS_136_164(X)                                                                \
    X(clCreatePerfCounterXAN)                                                                      \
    X(clCreateThreadTraceXAN)                                                                      \
    X(clCreateKeyXAN)                                                                              \
    X(clEnqueueBeginPerfCounterXAN)                                                                \
    X(clEnqueueEndPerfCounterXAN)                                                                  \
    X(clEnqueueBindThreadTraceBufferXAN)                                                           \
    X(clEnqueueThreadTraceCommandXAN)                                                              \
    X(clEnqueueWaitSignalXAN)                                                                      \
    X(clEnqueueWriteSignalXAN)                                                                     \
    X(clEnqueueMakeBuffersResidentXAN)                                                             \
    X(clGetKernelInfoXAN)                                                                          \
    X(clGetPerfCounterInfoXAN)                                                                     \
    X(clGetThreadTraceInfoXAN)                                                                     \
    X(clIcdGetPlatformIDsKHR)                                                                      \
    X(clObjectGetValueForKeyXAN)                                                                   \
    X(clObjectSetValueForKeyXAN)                                                                   \
    X(clReleasePerfCounterXAN)                                                                     \
    X(clRetainPerfCounterXAN)                                                                      \
    X(clReleaseThreadTraceXAN)                                                                     \
    X(clRetainThreadTraceXAN)                                                                      \
    X(clSetThreadTraceParamXAN)                                                                    \
    X(clUnloadPlatformXAN)                                                                         \
    X(clGetKernelSubGroupInfoKHR)                                                                  \
    X(clTerminateContextKHR)                                                                       \
    X(clCreateFromDX9MediaSurfaceKHR)                                                              \
    X(clEnqueueAcquireDX9MediaSurfacesKHR)                                                         \
    X(clEnqueueReleaseDX9MediaSurfacesKHR)                                                         \
    X(clGetDeviceIDsFromDX9MediaAdapterKHR)                                                        \
    X(clGetPlaneFromImageXAN)

#define XAN_OPENCL_TYPED_SLOT(name) cl_api_##name name;
#define XAN_OPENCL_UNTYPED_SLOT(name) void* name;

// The 165 function pointers, one per slot. Slots 109 to 122 are never bound; the extension
// slots have no prototype of their own and are cast by whoever calls them. The table holds the
// OpenCL 1.0 and 1.1 functions that later versions deprecate, since runtimes still offer them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
struct OpenCLFunctionTable
{
    XAN_OPENCL_SLOTS_0_108(XAN_OPENCL_TYPED_SLOT)
    void* m_Unused[14];
    XAN_OPENCL_SLOTS_123_135(XAN_OPENCL_TYPED_SLOT)
    XAN_OPENCL_SLOTS_136_164(XAN_OPENCL_UNTYPED_SLOT)
};
#pragma GCC diagnostic pop

#undef XAN_OPENCL_TYPED_SLOT
#undef XAN_OPENCL_UNTYPED_SLOT

// The OpenCL runtime, bound function by function at run time; the library links to none. Code
// calls through the members, e.g. g_OpenCLModule.clFinish(queue).
class OpenCLModule : public OpenCLFunctionTable
{
public:
    enum OpenCLVersion
    {
        OpenCL_None = 0,
        OpenCL_1_0 = 1,
        OpenCL_1_1 = 2,
        OpenCL_1_2 = 3,
        OpenCL_2_0 = 4
    };

    static const size_t NUM_SLOTS = 165;
    // The table that crosses the library's boundary: slots 0 to 135.
    static const size_t NUM_DISPATCH_SLOTS = 136;

    explicit OpenCLModule(const std::string& strFileName);
    // Tries the names in order until one gives a level above OpenCL_None.
    explicit OpenCLModule(const std::vector<std::string>& vFileNames);
    ~OpenCLModule();

    OpenCLModule(const OpenCLModule&) = delete;
    OpenCLModule& operator=(const OpenCLModule&) = delete;

    OpenCLVersion LoadModule(const std::string& strFileName);
    void UnloadModule();

    // Worked out from the pointers at each call, so that a replaced table changes it.
    OpenCLVersion GetVersion() const;

    // Copy slots 0 to 108 and 123 to 135 out of or into a table of NUM_DISPATCH_SLOTS pointers.
    void GetTable(void* pTable) const;
    void SetTable(const void* pTable);

    // Asks the runtime for the extension slots.
    bool LoadExtensions(cl_platform_id platform);
    // 1: the D3D10 functions, 2: device fission, 3: GL sync events.
    bool HasExtensionGroup(int nGroup) const;

    // The name bound at a slot, or null for slots without one.
    static const char* GetSlotName(size_t nSlot);
    // One line per named slot below nSlots: the name without "cl", " = ", the pointer.
    static void PrintTable(std::ostream& stream, const void* pTable, size_t nSlots);

    void* GetSlot(size_t nSlot) const;
    void SetSlot(size_t nSlot, void* pFunction);

private:
    bool AreSlotsBound(size_t nFirst, size_t nLast) const;
    void ClearTable();

    void* m_hModule;
};

std::ostream& operator<<(std::ostream& stream, const OpenCLModule& module);

// The export layer and the host call through the first; the device, its buffers and the kernel
// tracking through the second.
extern OpenCLModule g_OpenCLModule;
extern OpenCLModule g_DeviceOpenCLModule;

#endif
