// The platform as the ICD loader shows it: identity, extensions, the dispatch table, symbol
// hygiene and the answers to handles that aren't the platform's.
#include "ICDTestSupport.h"

#include "support/TestSupport.h"

#include <CL/cl_ext.h>
#include <CL/cl_icd.h>

#include <dlfcn.h>

#include <cstdint>

using namespace XAN_Test;

TEST(ICDLoaderTest, ShowsTheNordvanePlatformAndItsGPU)
{
    cl_platform_id platform = NordvanePlatform();
    ASSERT_NE(nullptr, platform);
    EXPECT_EQ("XAN", PlatformString(platform, CL_PLATFORM_ICD_SUFFIX_KHR));
    EXPECT_EQ("OpenCL 1.2 XAN (2000.1)", PlatformString(platform, CL_PLATFORM_VERSION));
    const std::string strExtensions = PlatformString(platform, CL_PLATFORM_EXTENSIONS);
    EXPECT_NE(std::string::npos, strExtensions.find("cl_xan_event_callback"));
    EXPECT_NE(std::string::npos, strExtensions.find("cl_xan_object_metadata"));

    cl_device_id device = FirstDevice(platform, CL_DEVICE_TYPE_ALL);
    ASSERT_NE(nullptr, device);
    EXPECT_EQ(cl_device_type(CL_DEVICE_TYPE_GPU),
              Info<cl_device_type>(clGetDeviceInfo, device, CL_DEVICE_TYPE));
    EXPECT_EQ("Larkspur", DeviceString(device, CL_DEVICE_NAME));
    EXPECT_EQ("OpenCL 1.2 XAN (2000.1)", DeviceString(device, CL_DEVICE_VERSION));
    EXPECT_EQ(64u, Info<cl_uint>(clGetDeviceInfo, device, CL_DEVICE_ADDRESS_BITS));
    // The same handle every time.
    EXPECT_EQ(device, FirstDevice(platform, CL_DEVICE_TYPE_DEFAULT));
    EXPECT_EQ(nullptr, FirstDevice(platform, CL_DEVICE_TYPE_CPU));
}

TEST(ICDLoaderTest, KeyFunctionsAreFoundThroughTheLoader)
{
    ASSERT_NE(nullptr, NordvanePlatform());
    EXPECT_NE(nullptr, clGetExtensionFunctionAddress("clCreateKeyXAN"));
    EXPECT_NE(nullptr, clGetExtensionFunctionAddress("clObjectGetValueForKeyXAN"));
    EXPECT_NE(nullptr, clGetExtensionFunctionAddress("clObjectSetValueForKeyXAN"));
    EXPECT_EQ(nullptr, clGetExtensionFunctionAddress("clCreatePerfCounterXAN"));
    EXPECT_NE(nullptr,
              clGetExtensionFunctionAddressForPlatform(NordvanePlatform(), "clCreateKeyXAN"));
}

TEST(ICDLoaderTest, EveryCountedDispatchSlotIsFilled)
{
    cl_platform_id platform = NordvanePlatform();
    ASSERT_NE(nullptr, platform);
    // Every object starts with the dispatch table.
    void* const* pTable = *reinterpret_cast<void* const* const*>(platform);
    const size_t vRanges[][2] = {{0, 73}, {81, 88}, {93, 108}, {123, 135}};
    for (const auto& range : vRanges)
    {
        for (size_t nSlot = range[0]; nSlot <= range[1]; ++nSlot)
        {
            EXPECT_NE(nullptr, pTable[nSlot]) << "slot " << nSlot;
        }
    }
}

TEST(ICDLoaderTest, UnsupportedFunctionsAnswerWithAnError)
{
    cl_platform_id platform = NordvanePlatform();
    cl_device_id device = FirstDevice(platform);
    cl_context context = Made(clCreateContext, nullptr, 1, &device, nullptr, nullptr);
    EXPECT_EQ(CL_INVALID_CONTEXT, ErrorOf(clCreateFromGLBuffer, context, CL_MEM_READ_WRITE, 1));
    EXPECT_EQ(nullptr, clSVMAlloc(context, CL_MEM_READ_WRITE, 64, 0));
    // DiagnosticsTest checks clEnqueueNativeKernel.
    clReleaseContext(context);
}

TEST(ICDLoaderTest, OnlyTheLoaderEntryPointsLeaveTheLibrary)
{
    std::string strPath = ReadFile(std::string(XAN_ICD_VENDORS_DIR) + "/nordvane.icd");
    ASSERT_FALSE(strPath.empty());
    strPath.erase(strPath.find_last_not_of("\n") + 1);
    void* pLibrary = dlopen(strPath.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, pLibrary) << dlerror();
    EXPECT_NE(nullptr, dlsym(pLibrary, "clIcdGetPlatformIDsKHR"));
    EXPECT_NE(nullptr, dlsym(pLibrary, "clGetExtensionFunctionAddress"));
    EXPECT_NE(nullptr, dlsym(pLibrary, "clGetPlatformInfo"));
    // Names that a debugger library defines for itself must never be taken from here.
    EXPECT_EQ(nullptr, dlsym(pLibrary, "clGetKernelArgInfo"));
    EXPECT_EQ(nullptr, dlsym(pLibrary, "clCreateContext"));
    EXPECT_EQ(nullptr, dlsym(pLibrary, "clCreateKeyXAN"));
    dlclose(pLibrary);
}

TEST(ICDLoaderTest, CallsWithoutAnObjectOfThePlatformAreAnsweredByTheLoader)
{
    // DiagnosticsTest holds the refusals that reach the platform.
    cl_device_id device = FirstDevice(NordvanePlatform());
    EXPECT_EQ(CL_INVALID_VALUE, clGetPlatformIDs(0, nullptr, nullptr));
    EXPECT_EQ(CL_INVALID_VALUE, ErrorOf(clCreateContext, nullptr, 0, nullptr, nullptr, nullptr));
    // The size query alone succeeds.
    size_t nSize = 0;
    EXPECT_EQ(CL_SUCCESS, clGetDeviceInfo(device, CL_DEVICE_NAME, 0, nullptr, &nSize));
    EXPECT_EQ(sizeof("Larkspur"), nSize);
}
