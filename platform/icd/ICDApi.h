#ifndef XAN_PLATFORM_ICDAPI_H
#define XAN_PLATFORM_ICDAPI_H

#include "CCLObject.h"
#include "CDiagnostics.h"
#include "CInfoWriter.h"
#include "cl_xan_ext.h"

#include <CL/cl.h>

#include <new>

// The platform's OpenCL functions, reached through the dispatch table; the library exports
// none of them under their own names, so that they never stand in for another library's.
namespace XAN_Platform
{
class CExecutionTrace;

namespace Api
{
// Platforms, devices, contexts, extensions: ApiPlatform.cpp
cl_int clGetPlatformIDs(cl_uint num_entries, cl_platform_id* platforms, cl_uint* num_platforms);
cl_int clGetPlatformInfo(cl_platform_id platform, cl_platform_info param_name,
                         size_t param_value_size, void* param_value, size_t* param_value_size_ret);
cl_int clGetDeviceIDs(cl_platform_id platform, cl_device_type device_type, cl_uint num_entries,
                      cl_device_id* devices, cl_uint* num_devices);
cl_int clGetDeviceInfo(cl_device_id device, cl_device_info param_name, size_t param_value_size,
                       void* param_value, size_t* param_value_size_ret);
cl_int clRetainDevice(cl_device_id device);
cl_int clReleaseDevice(cl_device_id device);
cl_context clCreateContext(const cl_context_properties* properties, cl_uint num_devices,
                           const cl_device_id* devices,
                           void(CL_CALLBACK* pfn_notify)(const char*, const void*, size_t, void*),
                           void* user_data, cl_int* errcode_ret);
cl_context
clCreateContextFromType(const cl_context_properties* properties, cl_device_type device_type,
                        void(CL_CALLBACK* pfn_notify)(const char*, const void*, size_t, void*),
                        void* user_data, cl_int* errcode_ret);
cl_int clRetainContext(cl_context context);
cl_int clReleaseContext(cl_context context);
cl_int clGetContextInfo(cl_context context, cl_context_info param_name, size_t param_value_size,
                        void* param_value, size_t* param_value_size_ret);
void* clGetExtensionFunctionAddress(const char* function_name);
void* clGetExtensionFunctionAddressForPlatform(cl_platform_id platform, const char* function_name);
cl_int clUnloadCompiler(void);
cl_int clUnloadPlatformCompiler(cl_platform_id platform);

// Queues, events, synchronisation and kernel launches: ApiQueue.cpp
cl_command_queue clCreateCommandQueue(cl_context context, cl_device_id device,
                                      cl_command_queue_properties properties, cl_int* errcode_ret);
cl_command_queue clCreateCommandQueueWithProperties(cl_context context, cl_device_id device,
                                                    const cl_queue_properties* properties,
                                                    cl_int* errcode_ret);
cl_int clRetainCommandQueue(cl_command_queue command_queue);
cl_int clReleaseCommandQueue(cl_command_queue command_queue);
cl_int clGetCommandQueueInfo(cl_command_queue command_queue, cl_command_queue_info param_name,
                             size_t param_value_size, void* param_value,
                             size_t* param_value_size_ret);
cl_int clWaitForEvents(cl_uint num_events, const cl_event* event_list);
cl_int clGetEventInfo(cl_event event, cl_event_info param_name, size_t param_value_size,
                      void* param_value, size_t* param_value_size_ret);
cl_int clRetainEvent(cl_event event);
cl_int clReleaseEvent(cl_event event);
cl_int clGetEventProfilingInfo(cl_event event, cl_profiling_info param_name,
                               size_t param_value_size, void* param_value,
                               size_t* param_value_size_ret);
cl_int clFlush(cl_command_queue command_queue);
cl_int clFinish(cl_command_queue command_queue);
cl_int clSetEventCallback(cl_event event, cl_int command_exec_callback_type,
                          void(CL_CALLBACK* pfn_notify)(cl_event, cl_int, void*), void* user_data);
cl_event clCreateUserEvent(cl_context context, cl_int* errcode_ret);
cl_int clSetUserEventStatus(cl_event event, cl_int execution_status);
cl_int clEnqueueMarker(cl_command_queue command_queue, cl_event* event);
cl_int clEnqueueWaitForEvents(cl_command_queue command_queue, cl_uint num_events,
                              const cl_event* event_list);
cl_int clEnqueueBarrier(cl_command_queue command_queue);
cl_int clEnqueueMarkerWithWaitList(cl_command_queue command_queue, cl_uint num_events_in_wait_list,
                                   const cl_event* event_wait_list, cl_event* event);
cl_int clEnqueueBarrierWithWaitList(cl_command_queue command_queue, cl_uint num_events_in_wait_list,
                                    const cl_event* event_wait_list, cl_event* event);
cl_int clEnqueueNDRangeKernel(cl_command_queue command_queue, cl_kernel kernel, cl_uint work_dim,
                              const size_t* global_work_offset, const size_t* global_work_size,
                              const size_t* local_work_size, cl_uint num_events_in_wait_list,
                              const cl_event* event_wait_list, cl_event* event);
cl_int clEnqueueTask(cl_command_queue command_queue, cl_kernel kernel,
                     cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                     cl_event* event);
// clEnqueueNDRangeKernel whose launch fills an execution trace (none if null).
cl_int EnqueueKernel(cl_command_queue command_queue, cl_kernel kernel, cl_uint work_dim,
                     const size_t* global_work_offset, const size_t* global_work_size,
                     const size_t* local_work_size, cl_uint num_events_in_wait_list,
                     const cl_event* event_wait_list, cl_event* event, CExecutionTrace* pTrace);
cl_int clEnqueueMigrateMemObjects(cl_command_queue command_queue, cl_uint num_mem_objects,
                                  const cl_mem* mem_objects, cl_mem_migration_flags flags,
                                  cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                                  cl_event* event);

// Memory objects and samplers: ApiMemory.cpp; their commands: ApiTransfer.cpp
cl_mem clCreateBuffer(cl_context context, cl_mem_flags flags, size_t size, void* host_ptr,
                      cl_int* errcode_ret);
cl_mem clCreateSubBuffer(cl_mem buffer, cl_mem_flags flags,
                         cl_buffer_create_type buffer_create_type, const void* buffer_create_info,
                         cl_int* errcode_ret);
cl_mem clCreateImage(cl_context context, cl_mem_flags flags, const cl_image_format* image_format,
                     const cl_image_desc* image_desc, void* host_ptr, cl_int* errcode_ret);
cl_mem clCreateImage2D(cl_context context, cl_mem_flags flags, const cl_image_format* image_format,
                       size_t image_width, size_t image_height, size_t image_row_pitch,
                       void* host_ptr, cl_int* errcode_ret);
cl_mem clCreateImage3D(cl_context context, cl_mem_flags flags, const cl_image_format* image_format,
                       size_t image_width, size_t image_height, size_t image_depth,
                       size_t image_row_pitch, size_t image_slice_pitch, void* host_ptr,
                       cl_int* errcode_ret);
cl_int clRetainMemObject(cl_mem memobj);
cl_int clReleaseMemObject(cl_mem memobj);
cl_int clGetSupportedImageFormats(cl_context context, cl_mem_flags flags,
                                  cl_mem_object_type image_type, cl_uint num_entries,
                                  cl_image_format* image_formats, cl_uint* num_image_formats);
cl_int clGetMemObjectInfo(cl_mem memobj, cl_mem_info param_name, size_t param_value_size,
                          void* param_value, size_t* param_value_size_ret);
cl_int clGetImageInfo(cl_mem image, cl_image_info param_name, size_t param_value_size,
                      void* param_value, size_t* param_value_size_ret);
cl_int clSetMemObjectDestructorCallback(
    cl_mem memobj, void(CL_CALLBACK* pfn_notify)(cl_mem memobj, void* user_data), void* user_data);
cl_sampler clCreateSampler(cl_context context, cl_bool normalized_coords,
                           cl_addressing_mode addressing_mode, cl_filter_mode filter_mode,
                           cl_int* errcode_ret);
cl_sampler clCreateSamplerWithProperties(cl_context context,
                                         const cl_sampler_properties* sampler_properties,
                                         cl_int* errcode_ret);
cl_int clRetainSampler(cl_sampler sampler);
cl_int clReleaseSampler(cl_sampler sampler);
cl_int clGetSamplerInfo(cl_sampler sampler, cl_sampler_info param_name, size_t param_value_size,
                        void* param_value, size_t* param_value_size_ret);
cl_int clEnqueueReadBuffer(cl_command_queue command_queue, cl_mem buffer, cl_bool blocking_read,
                           size_t offset, size_t cb, void* ptr, cl_uint num_events_in_wait_list,
                           const cl_event* event_wait_list, cl_event* event);
cl_int clEnqueueWriteBuffer(cl_command_queue command_queue, cl_mem buffer, cl_bool blocking_write,
                            size_t offset, size_t cb, const void* ptr,
                            cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                            cl_event* event);
cl_int clEnqueueCopyBuffer(cl_command_queue command_queue, cl_mem src_buffer, cl_mem dst_buffer,
                           size_t src_offset, size_t dst_offset, size_t cb,
                           cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                           cl_event* event);
cl_int clEnqueueReadBufferRect(cl_command_queue command_queue, cl_mem buffer, cl_bool blocking_read,
                               const size_t* buffer_origin, const size_t* host_origin,
                               const size_t* region, size_t buffer_row_pitch,
                               size_t buffer_slice_pitch, size_t host_row_pitch,
                               size_t host_slice_pitch, void* ptr, cl_uint num_events_in_wait_list,
                               const cl_event* event_wait_list, cl_event* event);
cl_int clEnqueueWriteBufferRect(cl_command_queue command_queue, cl_mem buffer,
                                cl_bool blocking_read, const size_t* buffer_origin,
                                const size_t* host_origin, const size_t* region,
                                size_t buffer_row_pitch, size_t buffer_slice_pitch,
                                size_t host_row_pitch, size_t host_slice_pitch, const void* ptr,
                                cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                                cl_event* event);
cl_int clEnqueueCopyBufferRect(cl_command_queue command_queue, cl_mem src_buffer, cl_mem dst_buffer,
                               const size_t* src_origin, const size_t* dst_origin,
                               const size_t* region, size_t src_row_pitch, size_t src_slice_pitch,
                               size_t dst_row_pitch, size_t dst_slice_pitch,
                               cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                               cl_event* event);
cl_int clEnqueueFillBuffer(cl_command_queue command_queue, cl_mem buffer, const void* pattern,
                           size_t pattern_size, size_t offset, size_t cb,
                           cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                           cl_event* event);
cl_int clEnqueueReadImage(cl_command_queue command_queue, cl_mem image, cl_bool blocking_read,
                          const size_t* origin, const size_t* region, size_t row_pitch,
                          size_t slice_pitch, void* ptr, cl_uint num_events_in_wait_list,
                          const cl_event* event_wait_list, cl_event* event);
cl_int clEnqueueWriteImage(cl_command_queue command_queue, cl_mem image, cl_bool blocking_write,
                           const size_t* origin, const size_t* region, size_t input_row_pitch,
                           size_t input_slice_pitch, const void* ptr,
                           cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                           cl_event* event);
cl_int clEnqueueCopyImage(cl_command_queue command_queue, cl_mem src_image, cl_mem dst_image,
                          const size_t* src_origin, const size_t* dst_origin, const size_t* region,
                          cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                          cl_event* event);
cl_int clEnqueueFillImage(cl_command_queue command_queue, cl_mem image, const void* fill_color,
                          const size_t origin[3], const size_t region[3],
                          cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                          cl_event* event);
cl_int clEnqueueCopyImageToBuffer(cl_command_queue command_queue, cl_mem src_image,
                                  cl_mem dst_buffer, const size_t* src_origin, const size_t* region,
                                  size_t dst_offset, cl_uint num_events_in_wait_list,
                                  const cl_event* event_wait_list, cl_event* event);
cl_int clEnqueueCopyBufferToImage(cl_command_queue command_queue, cl_mem src_buffer,
                                  cl_mem dst_image, size_t src_offset, const size_t* dst_origin,
                                  const size_t* region, cl_uint num_events_in_wait_list,
                                  const cl_event* event_wait_list, cl_event* event);
void* clEnqueueMapBuffer(cl_command_queue command_queue, cl_mem buffer, cl_bool blocking_map,
                         cl_map_flags map_flags, size_t offset, size_t cb,
                         cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                         cl_event* event, cl_int* errcode_ret);
void* clEnqueueMapImage(cl_command_queue command_queue, cl_mem image, cl_bool blocking_map,
                        cl_map_flags map_flags, const size_t* origin, const size_t* region,
                        size_t* image_row_pitch, size_t* image_slice_pitch,
                        cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                        cl_event* event, cl_int* errcode_ret);
cl_int clEnqueueUnmapMemObject(cl_command_queue command_queue, cl_mem memobj, void* mapped_ptr,
                               cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                               cl_event* event);

// Programs and kernels: ApiProgram.cpp
cl_program clCreateProgramWithSource(cl_context context, cl_uint count, const char** strings,
                                     const size_t* lengths, cl_int* errcode_ret);
cl_program clCreateProgramWithBinary(cl_context context, cl_uint num_devices,
                                     const cl_device_id* device_list, const size_t* lengths,
                                     const unsigned char** binaries, cl_int* binary_status,
                                     cl_int* errcode_ret);
cl_int clRetainProgram(cl_program program);
cl_int clReleaseProgram(cl_program program);
cl_int clBuildProgram(cl_program program, cl_uint num_devices, const cl_device_id* device_list,
                      const char* options,
                      void(CL_CALLBACK* pfn_notify)(cl_program program, void* user_data),
                      void* user_data);
cl_int clCompileProgram(cl_program program, cl_uint num_devices, const cl_device_id* device_list,
                        const char* options, cl_uint num_input_headers,
                        const cl_program* input_headers, const char** header_include_names,
                        void(CL_CALLBACK* pfn_notify)(cl_program program, void* user_data),
                        void* user_data);
cl_program clLinkProgram(cl_context context, cl_uint num_devices, const cl_device_id* device_list,
                         const char* options, cl_uint num_input_programs,
                         const cl_program* input_programs,
                         void(CL_CALLBACK* pfn_notify)(cl_program program, void* user_data),
                         void* user_data, cl_int* errcode_ret);
cl_int clGetProgramInfo(cl_program program, cl_program_info param_name, size_t param_value_size,
                        void* param_value, size_t* param_value_size_ret);
cl_int clGetProgramBuildInfo(cl_program program, cl_device_id device,
                             cl_program_build_info param_name, size_t param_value_size,
                             void* param_value, size_t* param_value_size_ret);
cl_kernel clCreateKernel(cl_program program, const char* kernel_name, cl_int* errcode_ret);
cl_int clCreateKernelsInProgram(cl_program program, cl_uint num_kernels, cl_kernel* kernels,
                                cl_uint* num_kernels_ret);
cl_int clRetainKernel(cl_kernel kernel);
cl_int clReleaseKernel(cl_kernel kernel);
cl_int clSetKernelArg(cl_kernel kernel, cl_uint arg_index, size_t arg_size, const void* arg_value);
cl_int clGetKernelInfo(cl_kernel kernel, cl_kernel_info param_name, size_t param_value_size,
                       void* param_value, size_t* param_value_size_ret);
cl_int clGetKernelArgInfo(cl_kernel kernel, cl_uint arg_indx, cl_kernel_arg_info param_name,
                          size_t param_value_size, void* param_value, size_t* param_value_size_ret);
cl_int clGetKernelWorkGroupInfo(cl_kernel kernel, cl_device_id device,
                                cl_kernel_work_group_info param_name, size_t param_value_size,
                                void* param_value, size_t* param_value_size_ret);

// Object metadata, reached by name only: ApiPlatform.cpp
cl_key_xan clCreateKeyXAN(cl_platform_id platform, void(CL_CALLBACK* destructor)(void* value),
                          cl_int* errcode_ret);
cl_int clObjectGetValueForKeyXAN(void* object, cl_key_xan key, void** value);
cl_int clObjectSetValueForKeyXAN(void* object, cl_key_xan key, void* value);

inline void SetError(cl_int* pErrcodeRet, cl_int nError)
{
    if (pErrcodeRet != nullptr)
    {
        *pErrcodeRet = nError;
    }
}

// Runs an entry point that returns a status; running out of memory becomes its error.
template <class F> cl_int Guarded(F&& fn)
{
    try
    {
        return fn();
    }
    catch (const std::bad_alloc&)
    {
        return CL_OUT_OF_HOST_MEMORY;
    }
}

// Runs an entry point that returns an object and reports through errcode_ret.
template <class F> auto GuardedCreate(cl_int* pErrcodeRet, F&& fn) -> decltype(fn())
{
    try
    {
        return fn();
    }
    catch (const std::bad_alloc&)
    {
        SetError(pErrcodeRet, CL_OUT_OF_HOST_MEMORY);
        return nullptr;
    }
}
// The refusal of a handle, argument pArgument, that names no live object of the type asked for.
inline cl_int BadHandle(cl_int nInvalid, const char* pArgument, const void* pHandle)
{
    return CDiagnostics::Refuse(nInvalid, pArgument,
                                pHandle == nullptr ? "null"
                                                   : "no live object of its type on this platform");
}

// The live object of type T a handle names, or null with the refusal set through pErrcodeRet.
template <class T>
T* FindOr(const void* pHandle, cl_int nInvalid, const char* pArgument, cl_int* pErrcodeRet)
{
    T* pObject = CCLObject::Find<T>(pHandle);
    if (pObject == nullptr)
    {
        SetError(pErrcodeRet, BadHandle(nInvalid, pArgument, pHandle));
    }
    return pObject;
}

// clRetain* of an object of type T; nInvalid for a handle that isn't one.
template <class T> cl_int RetainObject(const char* pArgument, const void* pHandle, cl_int nInvalid)
{
    T* pObject = CCLObject::Find<T>(pHandle);
    if (pObject == nullptr)
    {
        return BadHandle(nInvalid, pArgument, pHandle);
    }
    pObject->Retain();
    return CL_SUCCESS;
}

template <class T> cl_int ReleaseObject(const char* pArgument, const void* pHandle, cl_int nInvalid)
{
    T* pObject = CCLObject::Find<T>(pHandle);
    if (pObject == nullptr)
    {
        return BadHandle(nInvalid, pArgument, pHandle);
    }
    pObject->Release();
    return CL_SUCCESS;
}

// clGet*Info of an object of type T, answered by its GetInfo.
template <class T, class TParam>
cl_int QueryInfo(const char* pArgument, const void* pHandle, cl_int nInvalid, TParam nParam,
                 size_t nValueSize, void* pValue, size_t* pSizeRet)
{
    T* pObject = CCLObject::Find<T>(pHandle);
    if (pObject == nullptr)
    {
        return BadHandle(nInvalid, pArgument, pHandle);
    }
    CInfoWriter writer(nValueSize, pValue, pSizeRet);
    return Guarded([&] { return pObject->GetInfo(nParam, writer); });
}
} // namespace Api
} // namespace XAN_Platform

#endif
