// The context and queue exports of the interception: the same calls as OpenCL's, with the
// intercept callback added to the context and the intercept flag to the queue where the device's
// platform offers interception.
#include "CLExtensions.h"
#include "CLInfo.h"
#include "ExportCall.h"
#include "KernelDebugState.h"
#include "Modules/OpenCLModule.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <vector>

namespace
{
typedef void(CL_CALLBACK* ContextNotify)(const char* errinfo, const void* private_info, size_t cb,
                                         void* user_data);

const void* NotifyAddress(ContextNotify pfn_notify)
{
    return reinterpret_cast<const void*>(pfn_notify);
}

// Each device must be one that some platform of the system lists.
bool AreKnownDevices(cl_uint num_devices, const cl_device_id* devices)
{
    if (devices == NULL)
    {
        return false;
    }
    std::vector<cl_device_id> vKnown;
    cl_uint nPlatforms = 0;
    if (g_OpenCLModule.clGetPlatformIDs(0, NULL, &nPlatforms) != CL_SUCCESS)
    {
        return false;
    }
    std::vector<cl_platform_id> vPlatforms(nPlatforms);
    if (nPlatforms == 0 ||
        g_OpenCLModule.clGetPlatformIDs(nPlatforms, vPlatforms.data(), NULL) != CL_SUCCESS)
    {
        return false;
    }
    for (cl_platform_id platform : vPlatforms)
    {
        cl_uint nDevices = 0;
        if (g_OpenCLModule.clGetDeviceIDs(platform, CL_DEVICE_TYPE_ALL, 0, NULL, &nDevices) !=
                CL_SUCCESS ||
            nDevices == 0)
        {
            return false;
        }
        std::vector<cl_device_id> vDevices(nDevices);
        if (g_OpenCLModule.clGetDeviceIDs(platform, CL_DEVICE_TYPE_ALL, nDevices, vDevices.data(),
                                          NULL) != CL_SUCCESS)
        {
            return false;
        }
        vKnown.insert(vKnown.end(), vDevices.begin(), vDevices.end());
    }
    for (cl_uint i = 0; i < num_devices; ++i)
    {
        if (std::find(vKnown.begin(), vKnown.end(), devices[i]) == vKnown.end())
        {
            return false;
        }
    }
    return true;
}

// The application's properties, with the intercept callback behind them when the first device
// offers interception.
std::vector<cl_context_properties> AddInterceptProperty(const cl_context_properties* properties,
                                                        cl_device_id device)
{
    std::vector<cl_context_properties> vProperties;
    for (const cl_context_properties* p = properties; p != NULL && p[0] != 0; p += 2)
    {
        vProperties.push_back(p[0]);
        vProperties.push_back(p[1]);
    }
    if (HasEventCallbackExtension(device))
    {
        vProperties.push_back(CONTEXT_INTERCEPT_CALLBACK_PROPERTY);
        vProperties.push_back(reinterpret_cast<cl_context_properties>(&CommandInterceptCallback));
    }
    vProperties.push_back(0);
    return vProperties;
}

void StoreError(cl_int* errcode_ret, cl_int ret)
{
    if (errcode_ret != NULL)
    {
        *errcode_ret = ret;
    }
}
} // namespace

XANCL_API cl_context xanclInterceptCreateContext(const cl_context_properties* properties,
                                                 cl_uint num_devices, const cl_device_id* devices,
                                                 ContextNotify pfn_notify, void* user_data,
                                                 cl_int* errcode_ret)
{
    const char* const pFunction = "xanclInterceptCreateContext";
    try
    {
        LogCall(pFunction, properties, num_devices, devices, NotifyAddress(pfn_notify), user_data,
                errcode_ret);
        if (!AreKnownDevices(num_devices, devices))
        {
            StoreError(errcode_ret, CL_INVALID_DEVICE);
            return LogReturn(pFunction, static_cast<cl_context>(NULL));
        }
        const std::vector<cl_context_properties> vProperties =
            AddInterceptProperty(properties, devices[0]);
        return LogReturn(pFunction,
                         g_OpenCLModule.clCreateContext(vProperties.data(), num_devices, devices,
                                                        pfn_notify, user_data, errcode_ret));
    }
    catch (const std::bad_alloc&)
    {
        StoreError(errcode_ret, CL_OUT_OF_HOST_MEMORY);
        return LogReturn(pFunction, static_cast<cl_context>(NULL));
    }
}

XANCL_API cl_context xanclInterceptCreateContextFromType(const cl_context_properties* properties,
                                                         cl_device_type device_type,
                                                         ContextNotify pfn_notify, void* user_data,
                                                         cl_int* errcode_ret)
{
    const char* const pFunction = "xanclInterceptCreateContextFromType";
    try
    {
        LogCall(pFunction, properties, device_type, NotifyAddress(pfn_notify), user_data,
                errcode_ret);
        // The devices decide the properties, so a throw-away context finds them.
        cl_int err = CL_SUCCESS;
        cl_context context =
            g_OpenCLModule.clCreateContextFromType(properties, device_type, NULL, NULL, &err);
        if (context == NULL)
        {
            StoreError(errcode_ret, err);
            return LogReturn(pFunction, static_cast<cl_context>(NULL));
        }
        std::vector<cl_device_id> vDevices;
        err =
            GetCLInfoArray(g_OpenCLModule.clGetContextInfo, context, CL_CONTEXT_DEVICES, vDevices);
        if (err == CL_SUCCESS && vDevices.empty())
        {
            err = CL_INVALID_CONTEXT;
        }
        const cl_int releaseErr = g_OpenCLModule.clReleaseContext(context);
        err = err != CL_SUCCESS ? err : releaseErr;
        if (err != CL_SUCCESS)
        {
            StoreError(errcode_ret, err);
            return LogReturn(pFunction, static_cast<cl_context>(NULL));
        }
        const std::vector<cl_context_properties> vProperties =
            AddInterceptProperty(properties, vDevices[0]);
        return LogReturn(pFunction, g_OpenCLModule.clCreateContextFromType(vProperties.data(),
                                                                           device_type, pfn_notify,
                                                                           user_data, errcode_ret));
    }
    catch (const std::bad_alloc&)
    {
        StoreError(errcode_ret, CL_OUT_OF_HOST_MEMORY);
        return LogReturn(pFunction, static_cast<cl_context>(NULL));
    }
}

XANCL_API cl_command_queue xanclInterceptCreateCommandQueue(cl_context context, cl_device_id device,
                                                            cl_command_queue_properties properties,
                                                            cl_int* errcode_ret)
{
    const char* const pFunction = "xanclInterceptCreateCommandQueue";
    try
    {
        LogCall(pFunction, context, device, properties, errcode_ret);
        if (HasEventCallbackExtension(device))
        {
            properties |= QUEUE_INTERCEPT_FLAG;
        }
        cl_int ret = CL_SUCCESS;
        cl_command_queue queue =
            g_OpenCLModule.clCreateCommandQueue(context, device, properties, &ret);
        StoreError(errcode_ret, ret);
        return LogReturn(pFunction, queue);
    }
    catch (const std::bad_alloc&)
    {
        StoreError(errcode_ret, CL_OUT_OF_HOST_MEMORY);
        return LogReturn(pFunction, static_cast<cl_command_queue>(NULL));
    }
}

XANCL_API cl_command_queue xanclInterceptCreateCommandQueueWithProperties(
    cl_context context, cl_device_id device, const cl_queue_properties* properties,
    cl_int* errcode_ret)
{
    const char* const pFunction = "xanclInterceptCreateCommandQueueWithProperties";
    try
    {
        LogCall(pFunction, context, device, properties, errcode_ret);
        std::vector<cl_queue_properties> vProperties;
        size_t nQueueProperties = SIZE_MAX;
        for (const cl_queue_properties* p = properties; p != NULL && p[0] != 0; p += 2)
        {
            if (p[0] == CL_QUEUE_PROPERTIES)
            {
                nQueueProperties = vProperties.size() + 1;
            }
            vProperties.push_back(p[0]);
            vProperties.push_back(p[1]);
        }
        if (HasEventCallbackExtension(device))
        {
            if (nQueueProperties != SIZE_MAX)
            {
                vProperties[nQueueProperties] |= QUEUE_INTERCEPT_FLAG;
            }
            else
            {
                vProperties.push_back(CL_QUEUE_PROPERTIES);
                vProperties.push_back(QUEUE_INTERCEPT_FLAG);
            }
        }
        vProperties.push_back(0);
        if (g_OpenCLModule.clCreateCommandQueueWithProperties == NULL)
        {
            StoreError(errcode_ret, CL_INVALID_OPERATION);
            return LogReturn(pFunction, static_cast<cl_command_queue>(NULL));
        }
        return LogReturn(pFunction, g_OpenCLModule.clCreateCommandQueueWithProperties(
                                        context, device, vProperties.data(), errcode_ret));
    }
    catch (const std::bad_alloc&)
    {
        StoreError(errcode_ret, CL_OUT_OF_HOST_MEMORY);
        return LogReturn(pFunction, static_cast<cl_command_queue>(NULL));
    }
}
