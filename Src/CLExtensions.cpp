#include "CLExtensions.h"

#include "CLInfo.h"
#include "Modules/OpenCLModule.h"

#include <boost/thread/mutex.hpp>

#include <string>

namespace
{
// The key's type is the runtime's; both families use a 32-bit value, 0 being no key.
typedef cl_uint MetadataKey;
typedef MetadataKey(CL_API_CALL* CreateKeyFunction)(cl_platform_id platform,
                                                    void(CL_CALLBACK* destructor)(void* value),
                                                    cl_int* errcode_ret);
typedef cl_int(CL_API_CALL* GetValueForKeyFunction)(void* object, MetadataKey key, void** value);
typedef cl_int(CL_API_CALL* SetValueForKeyFunction)(void* object, MetadataKey key, void* value);

// One family of the object-metadata functions.
struct MetadataFamily
{
    const char* pSuffix;
    CreateKeyFunction clCreateKey;
    GetValueForKeyFunction clObjectGetValueForKey;
    SetValueForKeyFunction clObjectSetValueForKey;
    bool bInitialized;
};

MetadataKey g_key = 0;
MetadataFamily g_XANFamily = {"XAN", NULL, NULL, NULL, false};
MetadataFamily g_EXTFamily = {"EXT", NULL, NULL, NULL, false};
// Only one thread ever creates the key.
boost::mutex g_MetadataKeyMutex;

cl_platform_id GetDevicePlatform(cl_device_id device)
{
    cl_platform_id platform = NULL;
    return GetCLInfo(g_OpenCLModule.clGetDeviceInfo, device, CL_DEVICE_PLATFORM, platform) ==
                   CL_SUCCESS
               ? platform
               : NULL;
}

// An empty text when the platform can't be read.
std::string GetPlatformExtensions(cl_device_id device)
{
    std::string strExtensions;
    const cl_platform_id platform = GetDevicePlatform(device);
    if (platform != NULL)
    {
        GetCLInfoText(g_OpenCLModule.clGetPlatformInfo, platform, CL_PLATFORM_EXTENSIONS,
                      strExtensions);
    }
    return strExtensions;
}

// The platform form of the lookup only at exactly OpenCL 1.2.
void* LookUpFunction(cl_platform_id platform, const std::string& strName)
{
    if (g_OpenCLModule.GetVersion() == OpenCLModule::OpenCL_1_2)
    {
        return g_OpenCLModule.clGetExtensionFunctionAddressForPlatform(platform, strName.c_str());
    }
    return g_OpenCLModule.clGetExtensionFunctionAddress != NULL
               ? g_OpenCLModule.clGetExtensionFunctionAddress(strName.c_str())
               : NULL;
}

// Finds the three functions of a family and creates the key with them.
bool InitFamily(cl_platform_id platform, MetadataFamily& family)
{
    const std::string strSuffix = family.pSuffix;
    family.clCreateKey =
        reinterpret_cast<CreateKeyFunction>(LookUpFunction(platform, "clCreateKey" + strSuffix));
    family.clObjectGetValueForKey = reinterpret_cast<GetValueForKeyFunction>(
        LookUpFunction(platform, "clObjectGetValueForKey" + strSuffix));
    family.clObjectSetValueForKey = reinterpret_cast<SetValueForKeyFunction>(
        LookUpFunction(platform, "clObjectSetValueForKey" + strSuffix));
    if (family.clCreateKey == NULL || family.clObjectGetValueForKey == NULL ||
        family.clObjectSetValueForKey == NULL)
    {
        return false;
    }
    cl_int ret = CL_SUCCESS;
    g_key = family.clCreateKey(platform, NULL, &ret);
    family.bInitialized = g_key != 0;
    return family.bInitialized;
}
} // namespace

bool HasEventCallbackExtension(cl_device_id device)
{
    return GetPlatformExtensions(device).find("cl_xan_event_callback") != std::string::npos;
}

bool HasObjectMetadataExtension(cl_device_id device)
{
    const cl_platform_id platform = GetDevicePlatform(device);
    if (platform == NULL)
    {
        return false;
    }
    const std::string strExtensions = GetPlatformExtensions(device);
    return strExtensions.find("cl_xan_object_metadata") != std::string::npos ||
           strExtensions.find("cl_ext_object_metadata") != std::string::npos ||
           LookUpFunction(platform, "clCreateKeyXAN") != NULL ||
           LookUpFunction(platform, "clCreateKeyEXT") != NULL;
}

bool InitMetadataKey(cl_command_queue commandQueue)
{
    boost::unique_lock<boost::mutex> lock(g_MetadataKeyMutex);
    if (g_XANFamily.bInitialized || g_EXTFamily.bInitialized)
    {
        return true;
    }
    cl_device_id device = NULL;
    if (GetCLInfo(g_OpenCLModule.clGetCommandQueueInfo, commandQueue, CL_QUEUE_DEVICE, device) !=
        CL_SUCCESS)
    {
        return false;
    }
    const cl_platform_id platform = GetDevicePlatform(device);
    if (platform == NULL)
    {
        return false;
    }
    return InitFamily(platform, g_XANFamily) || InitFamily(platform, g_EXTFamily);
}

cl_int SetEventValue(cl_event event, void* pValue)
{
    if (g_XANFamily.clObjectSetValueForKey != NULL)
    {
        return g_XANFamily.clObjectSetValueForKey(event, g_key, pValue);
    }
    if (g_EXTFamily.clObjectSetValueForKey != NULL)
    {
        return g_EXTFamily.clObjectSetValueForKey(event, g_key, pValue);
    }
    return -1;
}

cl_int GetEventValue(cl_event event, void** ppValue)
{
    if (g_XANFamily.clObjectGetValueForKey != NULL)
    {
        return g_XANFamily.clObjectGetValueForKey(event, g_key, ppValue);
    }
    if (g_EXTFamily.clObjectGetValueForKey != NULL)
    {
        return g_EXTFamily.clObjectGetValueForKey(event, g_key, ppValue);
    }
    return -1;
}
