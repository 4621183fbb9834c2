#include "Modules/OpenCLModule.h"

#include <gtest/gtest.h>

#include <cstring>
#include <dlfcn.h>
#include <sstream>

namespace
{
cl_int CL_API_CALL Dummy()
{
    return CL_SUCCESS;
}
void* const BOUND = reinterpret_cast<void*>(Dummy);
void* const SENTINEL = reinterpret_cast<void*>(0x5E);

// A table of the boundary's 136 slots with the given ranges bound.
struct HandTable
{
    void* slots[OpenCLModule::NUM_DISPATCH_SLOTS] = {};

    HandTable& Bind(size_t nFirst, size_t nLast)
    {
        for (size_t n = nFirst; n <= nLast; ++n)
        {
            slots[n] = BOUND;
        }
        return *this;
    }
    HandTable& Clear(size_t nSlot)
    {
        slots[nSlot] = NULL;
        return *this;
    }
};

HandTable FullTable()
{
    return HandTable().Bind(0, 108).Bind(123, 135);
}

std::string ExtensionName;

void* CL_API_CALL FakeAddressForPlatform(cl_platform_id, const char* pName)
{
    return std::string(pName) == ExtensionName ? SENTINEL : NULL;
}

void* CL_API_CALL FakeAddress(const char* pName)
{
    return std::string(pName) == "clGetPlaneFromImageXAN" ? SENTINEL : NULL;
}
} // namespace

TEST(OpenCLModuleTest, LevelsBuildOnEachOther)
{
    OpenCLModule module("libdoesnotexist.so");
    EXPECT_EQ(OpenCLModule::OpenCL_None, module.GetVersion());
    const auto level = [&module](const HandTable& table)
    {
        module.SetTable(table.slots);
        return module.GetVersion();
    };
    EXPECT_EQ(OpenCLModule::OpenCL_2_0, level(FullTable()));
    // Without clCreateSubBuffer the level is 1, whatever later slots hold.
    EXPECT_EQ(OpenCLModule::OpenCL_1_0, level(FullTable().Clear(82)));
    EXPECT_EQ(OpenCLModule::OpenCL_1_1, level(FullTable().Clear(100)));
    EXPECT_EQ(OpenCLModule::OpenCL_1_2, level(FullTable().Clear(135)));
    EXPECT_EQ(OpenCLModule::OpenCL_None, level(FullTable().Clear(73)));
    EXPECT_EQ(OpenCLModule::OpenCL_None, level(FullTable().Clear(0)));
    // Slots 74 to 80 and 89 to 92 don't count.
    EXPECT_EQ(OpenCLModule::OpenCL_2_0,
              level(FullTable().Clear(74).Clear(75).Clear(80).Clear(89).Clear(92)));
}

TEST(OpenCLModuleTest, SetTableLeavesSlotsOutsideTheBoundaryAlone)
{
    OpenCLModule module("libdoesnotexist.so");
    module.SetSlot(110, SENTINEL);
    module.SetSlot(140, SENTINEL);
    HandTable table = FullTable().Bind(109, 122);
    module.SetTable(table.slots);
    EXPECT_EQ(SENTINEL, module.GetSlot(110));
    EXPECT_EQ(SENTINEL, module.GetSlot(140));
    EXPECT_EQ(BOUND, module.GetSlot(108));
    EXPECT_EQ(NULL, module.GetSlot(OpenCLModule::NUM_SLOTS));

    // Reading out leaves those slots of the caller's table alone too.
    HandTable out;
    out.slots[115] = SENTINEL;
    module.GetTable(out.slots);
    EXPECT_EQ(SENTINEL, out.slots[115]);
    EXPECT_EQ(BOUND, out.slots[123]);
}

TEST(OpenCLModuleTest, GetThenSetKeepsTheLevel)
{
    OpenCLModule module("libdoesnotexist.so");
    module.SetTable(FullTable().Clear(90).Clear(100).slots);
    const OpenCLModule::OpenCLVersion level = module.GetVersion();
    HandTable copy;
    module.GetTable(copy.slots);
    module.SetTable(copy.slots);
    EXPECT_EQ(level, module.GetVersion());
    EXPECT_EQ(OpenCLModule::OpenCL_1_1, level);
}

TEST(OpenCLModuleTest, SlotsFollowTheICDOrder)
{
    EXPECT_STREQ("clGetPlatformIDs", OpenCLModule::GetSlotName(0));
    EXPECT_STREQ("clEnqueueNDRangeKernel", OpenCLModule::GetSlotName(59));
    EXPECT_STREQ("clGetGLContextInfoKHR", OpenCLModule::GetSlotName(74));
    EXPECT_STREQ("clCreateFromGLTexture", OpenCLModule::GetSlotName(108));
    EXPECT_EQ(NULL, OpenCLModule::GetSlotName(109));
    EXPECT_EQ(NULL, OpenCLModule::GetSlotName(122));
    EXPECT_STREQ("clCreateCommandQueueWithProperties", OpenCLModule::GetSlotName(123));
    EXPECT_STREQ("clCreateKeyXAN", OpenCLModule::GetSlotName(138));
    EXPECT_STREQ("clGetPlaneFromImageXAN", OpenCLModule::GetSlotName(164));
    EXPECT_EQ(NULL, OpenCLModule::GetSlotName(165));

    // The boundary's table is laid out as the ICD loader's dispatch table.
    cl_icd_dispatch dispatch;
    memset(&dispatch, 0, sizeof(dispatch));
    dispatch.clFinish = reinterpret_cast<cl_api_clFinish>(BOUND);
    dispatch.clGetKernelArgInfo = reinterpret_cast<cl_api_clGetKernelArgInfo>(BOUND);
    dispatch.clSetKernelExecInfo = reinterpret_cast<cl_api_clSetKernelExecInfo>(BOUND);
    OpenCLModule module("libdoesnotexist.so");
    module.SetTable(&dispatch);
    EXPECT_EQ(BOUND, reinterpret_cast<void*>(module.clFinish));
    EXPECT_EQ(BOUND, reinterpret_cast<void*>(module.clGetKernelArgInfo));
    EXPECT_EQ(BOUND, reinterpret_cast<void*>(module.clSetKernelExecInfo));
    EXPECT_EQ(NULL, module.clFlush);
}

TEST(OpenCLModuleTest, ExtensionGroups)
{
    OpenCLModule module("libdoesnotexist.so");
    EXPECT_FALSE(module.HasExtensionGroup(1));
    module.SetTable(HandTable().Bind(75, 80).Bind(89, 91).slots);
    EXPECT_TRUE(module.HasExtensionGroup(1));
    EXPECT_TRUE(module.HasExtensionGroup(2));
    EXPECT_FALSE(module.HasExtensionGroup(3));
    module.SetTable(HandTable().Bind(92, 92).Bind(76, 80).slots);
    EXPECT_FALSE(module.HasExtensionGroup(1));
    EXPECT_TRUE(module.HasExtensionGroup(3));
    EXPECT_FALSE(module.HasExtensionGroup(0));
    EXPECT_FALSE(module.HasExtensionGroup(4));
}

TEST(OpenCLModuleTest, ExtensionsAreAskedOfTheRuntime)
{
    OpenCLModule module("libdoesnotexist.so");
    EXPECT_FALSE(module.LoadExtensions(NULL));

    module.clGetExtensionFunctionAddress = FakeAddress;
    EXPECT_TRUE(module.LoadExtensions(NULL));
    EXPECT_EQ(SENTINEL, module.GetSlot(164));
    EXPECT_EQ(NULL, module.GetSlot(138));

    // The platform's lookup is preferred when it is bound.
    ExtensionName = "clCreateKeyXAN";
    module.clGetExtensionFunctionAddressForPlatform = FakeAddressForPlatform;
    EXPECT_TRUE(module.LoadExtensions(NULL));
    EXPECT_EQ(SENTINEL, module.clCreateKeyXAN);
    EXPECT_EQ(NULL, module.GetSlot(164));
}

TEST(OpenCLModuleTest, PrintsOneLinePerNamedSlot)
{
    OpenCLModule module("libdoesnotexist.so");
    module.SetSlot(0, BOUND);
    module.SetSlot(164, SENTINEL);
    std::ostringstream text;
    text << module;
    const std::string strText = text.str();
    std::ostringstream first;
    first << "GetPlatformIDs = " << BOUND << "\n";
    EXPECT_EQ(0u, strText.find(first.str()));
    std::ostringstream last;
    last << "GetPlaneFromImageXAN = " << SENTINEL << "\n";
    EXPECT_EQ(strText.size() - last.str().size(), strText.rfind(last.str()));
    size_t nLines = 0;
    for (char c : strText)
    {
        nLines += c == '\n';
    }
    EXPECT_EQ(109u + 13u + 29u, nLines);
}

TEST(OpenCLModuleTest, LoadsTheSystemRuntime)
{
    OpenCLModule module(std::vector<std::string>({"libdoesnotexist.so", "libOpenCL.so.1"}));
    ASSERT_NE(OpenCLModule::OpenCL_None, module.GetVersion());
    void* hLibrary = dlopen("libOpenCL.so.1", RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, hLibrary);
    EXPECT_EQ(dlsym(hLibrary, "clGetPlatformIDs"),
              reinterpret_cast<void*>(module.clGetPlatformIDs));
    EXPECT_EQ(dlsym(hLibrary, "clEnqueueNDRangeKernel"),
              reinterpret_cast<void*>(module.clEnqueueNDRangeKernel));
    dlclose(hLibrary);
    EXPECT_EQ(NULL, module.GetSlot(138)); // extensions aren't exported by the library

    HandTable table;
    module.GetTable(table.slots);
    EXPECT_NE(nullptr, table.slots[0]);

    module.UnloadModule();
    EXPECT_EQ(OpenCLModule::OpenCL_None, module.GetVersion());
    EXPECT_EQ(NULL, module.GetSlot(0));

    // The process-wide instances are loaded before any test runs.
    EXPECT_NE(OpenCLModule::OpenCL_None, g_OpenCLModule.GetVersion());
    EXPECT_NE(OpenCLModule::OpenCL_None, g_DeviceOpenCLModule.GetVersion());
}
