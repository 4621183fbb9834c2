// Images and samplers as kernel arguments: the platform binds an image to the resource or UAV
// id of its metadata, a sampler argument to its sampler id, and constant samplers from the
// kernel's ;sampler: lines.
#include "ICDTestSupport.h"

#include <array>

using namespace XAN_Test;

namespace
{
// A 4 × 1 RGBA float source whose red channel holds k × 2 / 255 for k = 0, 10, 20, 30, and a
// 4 × 1 RGBA unorm8 target. Work-item x writes to texel x: red, the argument's sampler at
// x + 1 (linear, unnormalised, clamp to edge: the mean of texels x and x + 1); green, the
// constant sampler 3 (normalised, repeat, nearest) one period to the right of texel x.
const char* const ARGUMENTS = ";image:src:2D:RO:0:1:0\n"
                              ";image:dst:2D:WO:1:1:32\n"
                              ";value:smp:u32:1:1:64\n"
                              ";sampler:smp:2:1:0\n"
                              ";sampler:wrap:3:0:23\n";
const char* const BODY = "dcl_literal l0, 0x3F800000, 0x3F000000, 0x3E800000, 0\n"
                         "mov r0.x, vAbsTid0.x\n"
                         "mov r0.y, l0.w\n"
                         "itof r1.x, r0.x\n"
                         "add r2.x, r1.x, l0.x\n"
                         "mov r2.y, l0.y\n"
                         "sample_resource(0)_sampler(2) r3, r2\n"
                         "add r4.x, r1.x, l0.y\n"
                         "mad r4.x, r4.x, l0.z, l0.x\n"
                         "mov r4.y, l0.y\n"
                         "sample_resource(0)_sampler(3) r5, r4\n"
                         "mov r3.y, r5.x\n"
                         "uav_store_id(1) r0, r3\n";
} // namespace

class ImageArgumentTest : public CLFixture
{
};

TEST_F(ImageArgumentTest, ImagesAndSamplersReachTheKernel)
{
    cl_kernel kernel = MakeKernel(KernelSource("images", ARGUMENTS, BODY), "images");
    ASSERT_NE(nullptr, kernel);
    ASSERT_EQ(3u, Info<cl_uint>(clGetKernelInfo, kernel, CL_KERNEL_NUM_ARGS));
    EXPECT_EQ("sampler_t", InfoString(clGetKernelArgInfo, kernel, 2, CL_KERNEL_ARG_TYPE_NAME));

    std::array<float, 16> vSource = {};
    for (size_t x = 0; x < 4; ++x)
    {
        vSource[4 * x] = float(x * 20) / 255.0f;
        vSource[4 * x + 3] = 1.0f;
    }
    const cl_image_format floatFormat = {CL_RGBA, CL_FLOAT};
    const cl_image_format byteFormat = {CL_RGBA, CL_UNORM_INT8};
    cl_mem source = Made(clCreateImage2D, m_Context, CL_MEM_READ_WRITE | CL_MEM_COPY_HOST_PTR,
                         &floatFormat, 4, 1, 0, vSource.data());
    cl_mem target =
        Made(clCreateImage2D, m_Context, CL_MEM_READ_WRITE, &byteFormat, 4, 1, 0, nullptr);
    cl_sampler sampler =
        Made(clCreateSampler, m_Context, CL_FALSE, CL_ADDRESS_CLAMP_TO_EDGE, CL_FILTER_LINEAR);

    EXPECT_EQ(CL_INVALID_ARG_SIZE, clSetKernelArg(kernel, 2, sizeof(cl_uint), &sampler));
    EXPECT_EQ(CL_INVALID_SAMPLER, clSetKernelArg(kernel, 2, sizeof(cl_sampler), &source));
    SetArgs(kernel, source, target, sampler);
    ASSERT_EQ(CL_SUCCESS, Launch(kernel, 4, 4));
    std::array<uint8_t, 16> vTarget = {};
    const size_t vOrigin[3] = {0, 0, 0};
    const size_t vRegion[3] = {4, 1, 1};
    ASSERT_EQ(CL_SUCCESS, clEnqueueReadImage(m_Queue, target, CL_TRUE, vOrigin, vRegion, 0, 0,
                                             vTarget.data(), 0, nullptr, nullptr));
    const uint8_t vRed[4] = {10, 30, 50, 60};
    for (size_t x = 0; x < 4; ++x)
    {
        EXPECT_EQ(vRed[x], vTarget[4 * x]) << x;
        EXPECT_EQ(x * 20, vTarget[4 * x + 1]) << x;
    }
    clReleaseSampler(sampler);
    clReleaseMemObject(target);
    clReleaseMemObject(source);
}

TEST_F(ImageArgumentTest, SamplerLinesThatNameNoArgumentOrIdAreRefused)
{
    std::string strLog;
    EXPECT_EQ(nullptr, Build(KernelSource("k", ";sampler:nothing:1:1:0\n", ""), nullptr, &strLog));
    EXPECT_NE(std::string::npos, strLog.find("no value argument")) << strLog;
    EXPECT_EQ(nullptr, Build(KernelSource("k", ";sampler:far:16:0:0\n", ""), nullptr, &strLog));
    EXPECT_NE(std::string::npos, strLog.find("beyond")) << strLog;
}
