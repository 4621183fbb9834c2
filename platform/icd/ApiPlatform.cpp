#include "CContext.h"
#include "CDevice.h"
#include "CInfoWriter.h"
#include "CPlatform.h"
#include "ICDApi.h"
#include "ReportedEntry.h"

#include <CL/cl_ext.h>

#include <cstring>

namespace XAN_Platform
{
namespace Api
{
namespace
{
CPlatform* DefaultPlatform()
{
    return CPlatform::GetAll().front();
}

bool MatchesType(const CDevice* pDevice, cl_device_type nType)
{
    if (nType == CL_DEVICE_TYPE_ALL)
    {
        return true;
    }
    // The platform's first device is its default.
    const bool bDefault = (nType & CL_DEVICE_TYPE_DEFAULT) != 0 &&
                          pDevice == pDevice->GetPlatform()->GetDevices().front();
    return bDefault || (pDevice->GetType() & nType) != 0;
}

const cl_device_type KNOWN_TYPES = CL_DEVICE_TYPE_DEFAULT | CL_DEVICE_TYPE_CPU |
                                   CL_DEVICE_TYPE_GPU | CL_DEVICE_TYPE_ACCELERATOR |
                                   CL_DEVICE_TYPE_CUSTOM;

// The platform a context property list names, or the default one; null for a bad handle.
CPlatform* PlatformOfProperties(const cl_context_properties* pProperties)
{
    for (const cl_context_properties* p = pProperties; p != nullptr && *p != 0; p += 2)
    {
        if (p[0] == CL_CONTEXT_PLATFORM)
        {
            return CCLObject::Find<CPlatform>(reinterpret_cast<const void*>(p[1]));
        }
    }
    return DefaultPlatform();
}

cl_int ListPlatforms(cl_uint nEntries, cl_platform_id* pPlatforms, cl_uint* pCount)
{
    if ((nEntries == 0 && pPlatforms != nullptr) || (pPlatforms == nullptr && pCount == nullptr))
    {
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "num_entries",
                                    "platforms given with 0 entries, or nothing to answer into");
    }
    const std::vector<CPlatform*>& vPlatforms = CPlatform::GetAll();
    for (cl_uint i = 0; pPlatforms != nullptr && i < nEntries && i < vPlatforms.size(); ++i)
    {
        pPlatforms[i] = static_cast<cl_platform_id>(vPlatforms[i]->GetHandle());
    }
    if (pCount != nullptr)
    {
        *pCount = cl_uint(vPlatforms.size());
    }
    return CL_SUCCESS;
}

void* FindFunction(const CPlatform* pPlatform, const char* pName)
{
    if (pName == nullptr)
    {
        return nullptr;
    }
    const std::string strName = pName;
    if (strName == "clIcdGetPlatformIDsKHR")
    {
        return reinterpret_cast<void*>(&::clIcdGetPlatformIDsKHR);
    }
    if (strName == "clGetPlatformInfo")
    {
        return reinterpret_cast<void*>(&Api::clGetPlatformInfo);
    }
    if (pPlatform == nullptr || !pPlatform->HasExtension(CPlatform::OBJECT_METADATA_EXTENSION))
    {
        return nullptr;
    }
    if (strName == "clCreateKeyXAN")
    {
        return reinterpret_cast<void*>(ReportedEntry<&clCreateKeyXAN>("clCreateKeyXAN"));
    }
    if (strName == "clObjectGetValueForKeyXAN")
    {
        return reinterpret_cast<void*>(
            ReportedEntry<&clObjectGetValueForKeyXAN>("clObjectGetValueForKeyXAN"));
    }
    if (strName == "clObjectSetValueForKeyXAN")
    {
        return reinterpret_cast<void*>(
            ReportedEntry<&clObjectSetValueForKeyXAN>("clObjectSetValueForKeyXAN"));
    }
    return nullptr;
}
} // namespace

cl_int clGetPlatformIDs(cl_uint num_entries, cl_platform_id* platforms, cl_uint* num_platforms)
{
    return Guarded([&] { return ListPlatforms(num_entries, platforms, num_platforms); });
}

cl_int clGetPlatformInfo(cl_platform_id platform, cl_platform_info param_name,
                         size_t param_value_size, void* param_value, size_t* param_value_size_ret)
{
    const CPlatform* pPlatform =
        platform == nullptr ? DefaultPlatform() : CCLObject::Find<CPlatform>(platform);
    if (pPlatform == nullptr)
    {
        return CDiagnostics::Refuse(CL_INVALID_PLATFORM, "platform", "no platform of this library");
    }
    CInfoWriter writer(param_value_size, param_value, param_value_size_ret);
    return Guarded([&] { return pPlatform->GetInfo(param_name, writer); });
}

cl_int clGetDeviceIDs(cl_platform_id platform, cl_device_type device_type, cl_uint num_entries,
                      cl_device_id* devices, cl_uint* num_devices)
{
    const CPlatform* pPlatform =
        platform == nullptr ? DefaultPlatform() : CCLObject::Find<CPlatform>(platform);
    if (pPlatform == nullptr)
    {
        return CDiagnostics::Refuse(CL_INVALID_PLATFORM, "platform", "no platform of this library");
    }
    if (device_type == 0 ||
        (device_type != CL_DEVICE_TYPE_ALL && (device_type & ~KNOWN_TYPES) != 0))
    {
        return CDiagnostics::Refuse(CL_INVALID_DEVICE_TYPE, "device_type", "no known type");
    }
    if ((num_entries == 0 && devices != nullptr) || (devices == nullptr && num_devices == nullptr))
    {
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "num_entries",
                                    "devices given with 0 entries, or nothing to answer into");
    }
    cl_uint nFound = 0;
    for (CDevice* pDevice : pPlatform->GetDevices())
    {
        if (!MatchesType(pDevice, device_type))
        {
            continue;
        }
        if (devices != nullptr && nFound < num_entries)
        {
            devices[nFound] = static_cast<cl_device_id>(pDevice->GetHandle());
        }
        ++nFound;
    }
    if (num_devices != nullptr)
    {
        *num_devices = nFound;
    }
    return nFound != 0 ? CDiagnostics::Refuse(CL_SUCCESS, "device_type",
                                              "the platform has no device of that type")
                       : CL_DEVICE_NOT_FOUND;
}

cl_int clGetDeviceInfo(cl_device_id device, cl_device_info param_name, size_t param_value_size,
                       void* param_value, size_t* param_value_size_ret)
{
    return QueryInfo<CDevice>("device", device, CL_INVALID_DEVICE, param_name, param_value_size,
                              param_value, param_value_size_ret);
}

cl_int clRetainDevice(cl_device_id device)
{
    return CCLObject::Find<CDevice>(device) != nullptr
               ? CDiagnostics::Refuse(CL_SUCCESS, "device", "no device of this platform")
               : CL_INVALID_DEVICE;
}

cl_int clReleaseDevice(cl_device_id device)
{
    return Api::clRetainDevice(device);
}

cl_context clCreateContext(const cl_context_properties* properties, cl_uint num_devices,
                           const cl_device_id* devices,
                           void(CL_CALLBACK* pfn_notify)(const char*, const void*, size_t, void*),
                           void* user_data, cl_int* errcode_ret)
{
    return GuardedCreate(
        errcode_ret,
        [&]() -> cl_context
        {
            if (num_devices == 0 || devices == nullptr ||
                (pfn_notify == nullptr && user_data != nullptr))
            {
                SetError(errcode_ret,
                         CDiagnostics::Refuse(CL_INVALID_VALUE, "devices",
                                              "no devices, or user_data without pfn_notify"));
                return nullptr;
            }
            std::vector<CDevice*> vDevices;
            for (cl_uint i = 0; i < num_devices; ++i)
            {
                CDevice* pDevice = CCLObject::Find<CDevice>(devices[i]);
                if (pDevice == nullptr)
                {
                    SetError(errcode_ret, BadHandle(CL_INVALID_DEVICE, "devices", devices[i]));
                    return nullptr;
                }
                vDevices.push_back(pDevice);
            }
            cl_int nError = CL_SUCCESS;
            CContext* pContext =
                CContext::Create(properties, vDevices, pfn_notify, user_data, nError);
            SetError(errcode_ret, nError);
            return pContext != nullptr ? static_cast<cl_context>(pContext->GetHandle()) : nullptr;
        });
}

cl_context
clCreateContextFromType(const cl_context_properties* properties, cl_device_type device_type,
                        void(CL_CALLBACK* pfn_notify)(const char*, const void*, size_t, void*),
                        void* user_data, cl_int* errcode_ret)
{
    return GuardedCreate(
        errcode_ret,
        [&]() -> cl_context
        {
            const CPlatform* pPlatform = PlatformOfProperties(properties);
            if (pPlatform == nullptr)
            {
                SetError(errcode_ret, CDiagnostics::Refuse(CL_INVALID_PLATFORM, "properties",
                                                           "no platform of this library"));
                return nullptr;
            }
            std::vector<cl_device_id> vDevices(pPlatform->GetDevices().size());
            cl_uint nDevices = 0;
            const cl_int nError = Api::clGetDeviceIDs(
                static_cast<cl_platform_id>(const_cast<CPlatform*>(pPlatform)->GetHandle()),
                device_type, cl_uint(vDevices.size()), vDevices.data(), &nDevices);
            if (nError != CL_SUCCESS)
            {
                SetError(errcode_ret, nError);
                return nullptr;
            }
            return Api::clCreateContext(properties, nDevices, vDevices.data(), pfn_notify,
                                        user_data, errcode_ret);
        });
}

cl_int clRetainContext(cl_context context)
{
    return RetainObject<CContext>("context", context, CL_INVALID_CONTEXT);
}

cl_int clReleaseContext(cl_context context)
{
    return ReleaseObject<CContext>("context", context, CL_INVALID_CONTEXT);
}

cl_int clGetContextInfo(cl_context context, cl_context_info param_name, size_t param_value_size,
                        void* param_value, size_t* param_value_size_ret)
{
    return QueryInfo<CContext>("context", context, CL_INVALID_CONTEXT, param_name, param_value_size,
                               param_value, param_value_size_ret);
}

void* clGetExtensionFunctionAddress(const char* function_name)
{
    return FindFunction(DefaultPlatform(), function_name);
}

void* clGetExtensionFunctionAddressForPlatform(cl_platform_id platform, const char* function_name)
{
    const CPlatform* pPlatform = CCLObject::Find<CPlatform>(platform);
    return pPlatform != nullptr ? FindFunction(pPlatform, function_name) : nullptr;
}

cl_int clUnloadCompiler(void)
{
    return CL_SUCCESS;
}

cl_int clUnloadPlatformCompiler(cl_platform_id platform)
{
    return CCLObject::Find<CPlatform>(platform) != nullptr
               ? CDiagnostics::Refuse(CL_SUCCESS, "platform", "no platform of this library")
               : CL_INVALID_PLATFORM;
}

cl_key_xan clCreateKeyXAN(cl_platform_id platform, void(CL_CALLBACK* destructor)(void* value),
                          cl_int* errcode_ret)
{
    const CPlatform* pPlatform = CCLObject::Find<CPlatform>(platform);
    if (pPlatform == nullptr || !pPlatform->HasExtension(CPlatform::OBJECT_METADATA_EXTENSION))
    {
        SetError(
            errcode_ret,
            CDiagnostics::Refuse(CL_INVALID_PLATFORM, "platform",
                                 "no platform of this library with the object metadata extension"));
        return 0;
    }
    try
    {
        const cl_key_xan nKey = CCLObject::CreateKey(destructor);
        SetError(errcode_ret, CL_SUCCESS);
        return nKey;
    }
    catch (const std::bad_alloc&)
    {
        SetError(errcode_ret, CL_OUT_OF_HOST_MEMORY);
        return 0;
    }
}

cl_int clObjectGetValueForKeyXAN(void* object, cl_key_xan key, void** value)
{
    CCLObject* pObject = CCLObject::Find(object);
    return pObject != nullptr
               ? pObject->GetValueForKey(key, value)
               : CDiagnostics::Refuse(CL_INVALID_VALUE, "object", "no object of this platform");
}

cl_int clObjectSetValueForKeyXAN(void* object, cl_key_xan key, void* value)
{
    CCLObject* pObject = CCLObject::Find(object);
    return pObject != nullptr
               ? Guarded([&] { return pObject->SetValueForKey(key, value); })
               : CDiagnostics::Refuse(CL_INVALID_VALUE, "object", "no object of this platform");
}
} // namespace Api
} // namespace XAN_Platform

// The three names the ICD loader looks up in the library; everything else it reaches through
// the dispatch table at the start of every object.
extern "C" __attribute__((visibility("default"))) cl_int
clIcdGetPlatformIDsKHR(cl_uint num_entries, cl_platform_id* platforms, cl_uint* num_platforms)
{
    return XAN_Platform::Api::clGetPlatformIDs(num_entries, platforms, num_platforms);
}

extern "C" __attribute__((visibility("default"))) void*
clGetExtensionFunctionAddress(const char* function_name)
{
    return XAN_Platform::Api::clGetExtensionFunctionAddress(function_name);
}

extern "C" __attribute__((visibility("default"))) cl_int
clGetPlatformInfo(cl_platform_id platform, cl_platform_info param_name, size_t param_value_size,
                  void* param_value, size_t* param_value_size_ret)
{
    return XAN_Platform::Api::clGetPlatformInfo(platform, param_name, param_value_size, param_value,
                                                param_value_size_ret);
}
