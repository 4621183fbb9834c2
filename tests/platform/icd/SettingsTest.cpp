// The platform's settings, read from the environment when the library first loads; each case
// runs in a child process of its own.
#include "ICDTestSupport.h"

#include <CL/cl_ext.h>

using namespace XAN_Test;

namespace
{
// The Khronos extensions, which no setting hides.
const char* const KHR_EXTENSIONS =
    "cl_khr_icd cl_khr_byte_addressable_store cl_khr_fp64 cl_khr_global_int32_base_atomics "
    "cl_khr_global_int32_extended_atomics cl_khr_local_int32_base_atomics "
    "cl_khr_local_int32_extended_atomics cl_khr_int64_base_atomics cl_khr_int64_extended_atomics";
} // namespace

TEST(SettingsTest, EachSettingTakesEffect)
{
    const struct
    {
        const char* pChild;
        std::vector<std::pair<std::string, std::string>> vEnvironment;
    } vCases[] = {
        {"Child.OlderFamily",
         {{"NORDVANE_OCL_DEVICE", "fennel"}, {"NORDVANE_OCL_BUILD", "1445.5"}}},
        {"Child.HiddenExtensions",
         {{"NORDVANE_OCL_HIDE_EXTENSIONS", "cl_xan_event_callback,cl_xan_object_metadata"}}},
        {"Child.ExtraCPUDeviceAndSecondPlatform",
         {{"NORDVANE_OCL_CPU_DEVICE", "1"}, {"NORDVANE_OCL_SECOND_PLATFORM", "1"}}},
        {"Child.BuildOptionsFromTheEnvironment", {{"NORDVANE_OCL_BUILD_OPTIONS", "-g -bogus"}}},
    };
    for (const auto& test : vCases)
    {
        EXPECT_EQ(0, RunInChild(test.pChild, test.vEnvironment)) << test.pChild;
    }
}

// The older family's launches are data cases (ids_2d and others with device = "fennel").
XAN_CHILD_TEST(OlderFamily)
{
    EXPECT_EQ("Fennel", DeviceString(m_Device, CL_DEVICE_NAME));
    EXPECT_EQ("OpenCL 1.2 XAN (1445.5)", DeviceString(m_Device, CL_DEVICE_VERSION));
    EXPECT_EQ(32u, Info<cl_uint>(clGetDeviceInfo, m_Device, CL_DEVICE_ADDRESS_BITS));
}

XAN_CHILD_TEST(HiddenExtensions)
{
    EXPECT_EQ(KHR_EXTENSIONS, PlatformString(m_Platform, CL_PLATFORM_EXTENSIONS));
    EXPECT_EQ(nullptr, clGetExtensionFunctionAddress("clCreateKeyXAN"));
    const cl_context_properties vProperties[] = {CL_CONTEXT_INTERCEPT_CALLBACK_XAN, 1, 0};
    EXPECT_EQ(CL_INVALID_PROPERTY,
              ErrorOf(clCreateContext, vProperties, 1, &m_Device, nullptr, nullptr));
}

XAN_CHILD_TEST(ExtraCPUDeviceAndSecondPlatform)
{
    cl_uint nCount = 0;
    clGetPlatformIDs(0, nullptr, &nCount);
    ASSERT_EQ(2u, nCount);
    std::vector<cl_platform_id> vPlatforms(2);
    clGetPlatformIDs(2, vPlatforms.data(), nullptr);
    cl_platform_id nordvane = NordvanePlatform();
    cl_platform_id other = vPlatforms[0] == nordvane ? vPlatforms[1] : vPlatforms[0];
    EXPECT_EQ("Harrow Semiconductor", PlatformString(other, CL_PLATFORM_VENDOR));
    EXPECT_EQ(std::string::npos,
              PlatformString(other, CL_PLATFORM_EXTENSIONS).find("cl_xan_event_callback"));

    cl_device_id cpu = FirstDevice(nordvane, CL_DEVICE_TYPE_CPU);
    ASSERT_NE(nullptr, cpu);
    EXPECT_EQ(cl_device_type(CL_DEVICE_TYPE_CPU),
              Info<cl_device_type>(clGetDeviceInfo, cpu, CL_DEVICE_TYPE));
    cl_uint nDevices = 0;
    clGetDeviceIDs(nordvane, CL_DEVICE_TYPE_ALL, 0, nullptr, &nDevices);
    EXPECT_EQ(2u, nDevices);

    // Both devices of the other platform and the CPU run kernels.
    for (cl_device_id device : {cpu, FirstDevice(other)})
    {
        cl_context context = Made(clCreateContext, nullptr, 1, &device, nullptr, nullptr);
        const char* pDummy = "__kernel void dummy( void ) { }\n";
        cl_program program = Made(clCreateProgramWithSource, context, 1, &pDummy, nullptr);
        EXPECT_EQ(CL_SUCCESS, clBuildProgram(program, 0, nullptr, nullptr, nullptr, nullptr));
        clReleaseProgram(program);
        clReleaseContext(context);
    }
    // Devices of two platforms don't share a context.
    cl_device_id vMixed[] = {FirstDevice(nordvane), FirstDevice(other)};
    EXPECT_EQ(CL_INVALID_DEVICE, ErrorOf(clCreateContext, nullptr, 2, vMixed, nullptr, nullptr));
}

XAN_CHILD_TEST(BuildOptionsFromTheEnvironment)
{
    std::string strLog;
    EXPECT_EQ(nullptr, Build(ReadKernel("vadd.il"), nullptr, &strLog));
    EXPECT_NE(std::string::npos, strLog.find("\"-bogus\"")) << strLog;
    EXPECT_EQ(CL_INVALID_BUILD_OPTIONS,
              clBuildProgram(m_vPrograms[0], 0, nullptr, nullptr, nullptr, nullptr));
    EXPECT_NE(nullptr, Build(ReadKernel("vadd.il"), "-ignore-env"));
}

TEST(SettingsTest, UnknownValuesWarnOnceAndSayWhatIsUsed)
{
    std::string strStderr;
    EXPECT_EQ(0, RunInChild("Child.UnknownValues",
                            {{"NORDVANE_OCL_DEVICE", "parsnip"},
                             {"NORDVANE_OCL_HIDE_EXTENSIONS", "cl_xan_event_callback,cl_bogus"}},
                            &strStderr));
    const char* const vWarnings[] = {
        "NORDVANE_OCL_DEVICE: unknown GPU family \"parsnip\", using \"Larkspur\"\n",
        "NORDVANE_OCL_HIDE_EXTENSIONS: unknown extension \"cl_bogus\" ignored; only "
        "cl_xan_event_callback and cl_xan_object_metadata can be hidden\n"};
    for (const char* pWarning : vWarnings)
    {
        const size_t nAt = strStderr.find(pWarning);
        EXPECT_NE(std::string::npos, nAt) << strStderr;
        EXPECT_EQ(std::string::npos, strStderr.find(pWarning, nAt + 1)) << "twice: " << strStderr;
    }
}

XAN_CHILD_TEST(UnknownValues)
{
    for (int i = 0; i < 2; ++i)
    {
        cl_platform_id platform = NordvanePlatform();
        ASSERT_NE(nullptr, platform);
        EXPECT_EQ("Larkspur", DeviceString(FirstDevice(platform), CL_DEVICE_NAME));
        EXPECT_EQ(std::string(KHR_EXTENSIONS) + " cl_xan_object_metadata",
                  PlatformString(platform, CL_PLATFORM_EXTENSIONS));
    }
}
