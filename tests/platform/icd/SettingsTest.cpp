// The platform's settings, read from the environment when the library first loads; each case
// runs in a child process of its own.
#include "ICDTestSupport.h"

#include <CL/cl_ext.h>

#include <cstring>

using namespace XAN_Test;

TEST(SettingsTest, OlderFamilyDevice)
{
    EXPECT_EQ(0, RunInChild("Child.OlderFamily",
                            {{"NORDVANE_OCL_DEVICE", "fennel"}, {"NORDVANE_OCL_BUILD", "1445.5"}}));
}

XAN_CHILD_TEST(OlderFamily)
{
    cl_device_id device = FirstDevice(NordvanePlatform());
    ASSERT_NE(nullptr, device);
    EXPECT_EQ("Fennel", DeviceString(device, CL_DEVICE_NAME));
    EXPECT_EQ("OpenCL 1.2 XAN (1445.5)", DeviceString(device, CL_DEVICE_VERSION));
    cl_uint nBits = 0;
    clGetDeviceInfo(device, CL_DEVICE_ADDRESS_BITS, sizeof(nBits), &nBits, nullptr);
    EXPECT_EQ(32u, nBits);

    // The older family's example kernel: 32-bit addresses, global ids with an offset.
    cl_int nError = CL_SUCCESS;
    cl_context context = clCreateContext(nullptr, 1, &device, nullptr, nullptr, &nError);
    cl_command_queue queue = clCreateCommandQueue(context, device, 0, &nError);
    const std::string strSource = ReadKernel("ids.il");
    const char* pText = strSource.c_str();
    cl_program program = clCreateProgramWithSource(context, 1, &pText, nullptr, &nError);
    ASSERT_EQ(CL_SUCCESS, clBuildProgram(program, 0, nullptr, nullptr, nullptr, nullptr));
    cl_kernel kernel = clCreateKernel(program, "ids", &nError);
    const size_t vOffset[2] = {10, 20};
    const size_t vGlobal[2] = {8, 4};
    const size_t vLocal[2] = {4, 2};
    cl_mem out = clCreateBuffer(context, CL_MEM_READ_WRITE, 32 * 16, nullptr, &nError);
    clSetKernelArg(kernel, 0, sizeof(cl_mem), &out);
    ASSERT_EQ(CL_SUCCESS, clEnqueueNDRangeKernel(queue, kernel, 2, vOffset, vGlobal, vLocal, 0,
                                                 nullptr, nullptr));
    std::vector<uint32_t> vIds(32 * 4);
    clEnqueueReadBuffer(queue, out, CL_TRUE, 0, vIds.size() * 4, vIds.data(), 0, nullptr, nullptr);
    // Work-item (x, y) = (3, 2): index 19, global id (13, 22).
    EXPECT_EQ(13u, vIds[19 * 4]);
    EXPECT_EQ(22u, vIds[19 * 4 + 1]);
    clReleaseMemObject(out);
    clReleaseKernel(kernel);
    clReleaseProgram(program);
    clReleaseCommandQueue(queue);
    clReleaseContext(context);
}

TEST(SettingsTest, HiddenExtensions)
{
    EXPECT_EQ(0, RunInChild("Child.HiddenExtensions",
                            {{"NORDVANE_OCL_HIDE_EXTENSIONS",
                              "cl_xan_event_callback,cl_xan_object_metadata"}}));
}

XAN_CHILD_TEST(HiddenExtensions)
{
    cl_platform_id platform = NordvanePlatform();
    ASSERT_NE(nullptr, platform);
    EXPECT_EQ("cl_khr_icd cl_khr_byte_addressable_store cl_khr_fp64",
              PlatformString(platform, CL_PLATFORM_EXTENSIONS));
    EXPECT_EQ(nullptr, clGetExtensionFunctionAddress("clCreateKeyXAN"));
    cl_device_id device = FirstDevice(platform);
    const cl_context_properties vProperties[] = {CL_CONTEXT_INTERCEPT_CALLBACK_XAN, 1, 0};
    cl_int nError = CL_SUCCESS;
    EXPECT_EQ(nullptr, clCreateContext(vProperties, 1, &device, nullptr, nullptr, &nError));
    EXPECT_EQ(CL_INVALID_PROPERTY, nError);
}

TEST(SettingsTest, ExtraCPUDeviceAndSecondPlatform)
{
    EXPECT_EQ(
        0, RunInChild("Child.ExtraCPUDeviceAndSecondPlatform",
                      {{"NORDVANE_OCL_CPU_DEVICE", "1"}, {"NORDVANE_OCL_SECOND_PLATFORM", "1"}}));
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
    cl_device_type nType = 0;
    clGetDeviceInfo(cpu, CL_DEVICE_TYPE, sizeof(nType), &nType, nullptr);
    EXPECT_EQ(cl_device_type(CL_DEVICE_TYPE_CPU), nType);
    cl_uint nDevices = 0;
    clGetDeviceIDs(nordvane, CL_DEVICE_TYPE_ALL, 0, nullptr, &nDevices);
    EXPECT_EQ(2u, nDevices);

    // Both devices of the other platform and the CPU run kernels.
    for (cl_device_id device : {cpu, FirstDevice(other)})
    {
        cl_int nError = CL_SUCCESS;
        cl_context context = clCreateContext(nullptr, 1, &device, nullptr, nullptr, &nError);
        ASSERT_EQ(CL_SUCCESS, nError);
        const char* pDummy = "__kernel void dummy( void ) { }\n";
        cl_program program = clCreateProgramWithSource(context, 1, &pDummy, nullptr, &nError);
        EXPECT_EQ(CL_SUCCESS, clBuildProgram(program, 0, nullptr, nullptr, nullptr, nullptr));
        clReleaseProgram(program);
        clReleaseContext(context);
    }
    // Devices of two platforms don't share a context.
    cl_device_id vMixed[] = {FirstDevice(nordvane), FirstDevice(other)};
    cl_int nError = CL_SUCCESS;
    EXPECT_EQ(nullptr, clCreateContext(nullptr, 2, vMixed, nullptr, nullptr, &nError));
    EXPECT_EQ(CL_INVALID_DEVICE, nError);
}

TEST(SettingsTest, BuildOptionsFromTheEnvironment)
{
    EXPECT_EQ(0, RunInChild("Child.BuildOptionsFromTheEnvironment",
                            {{"NORDVANE_OCL_BUILD_OPTIONS", "-g -bogus"}}));
}

XAN_CHILD_TEST(BuildOptionsFromTheEnvironment)
{
    cl_device_id device = FirstDevice(NordvanePlatform());
    cl_int nError = CL_SUCCESS;
    cl_context context = clCreateContext(nullptr, 1, &device, nullptr, nullptr, &nError);
    const std::string strSource = ReadKernel("vadd.il");
    const char* pText = strSource.c_str();
    cl_program program = clCreateProgramWithSource(context, 1, &pText, nullptr, &nError);
    EXPECT_EQ(CL_INVALID_BUILD_OPTIONS,
              clBuildProgram(program, 0, nullptr, nullptr, nullptr, nullptr));
    char vLog[256] = {};
    clGetProgramBuildInfo(program, device, CL_PROGRAM_BUILD_LOG, sizeof(vLog), vLog, nullptr);
    EXPECT_NE(nullptr, std::strstr(vLog, "\"-bogus\""));
    EXPECT_EQ(CL_SUCCESS, clBuildProgram(program, 0, nullptr, "-ignore-env", nullptr, nullptr));
    clReleaseProgram(program);
    clReleaseContext(context);
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
        EXPECT_EQ("cl_khr_icd cl_khr_byte_addressable_store cl_khr_fp64 cl_xan_object_metadata",
                  PlatformString(platform, CL_PLATFORM_EXTENSIONS));
    }
}
