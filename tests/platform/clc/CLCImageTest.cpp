// OpenCL C kernels that read and write images, compiled by the platform, against host
// references.
#include "ICDTestSupport.h"
#include "support/TestSupport.h"

#include <algorithm>
#include <cmath>
#include <vector>

using namespace XAN_Test;

namespace
{
// The blur of image.cl over an RGBA float image on a platform's first device, clamping to the
// edge; empty when something fails.
std::vector<float> BlurOn(cl_platform_id platform, const std::vector<float>& vSource, size_t nWidth,
                          size_t nHeight)
{
    cl_device_id device = FirstDevice(platform, CL_DEVICE_TYPE_ALL);
    cl_int nError = CL_SUCCESS;
    cl_context context = clCreateContext(nullptr, 1, &device, nullptr, nullptr, &nError);
    cl_command_queue queue = clCreateCommandQueue(context, device, 0, &nError);
    const std::string strSource = ReadFile(std::string(XAN_CLC_CORPUS_DIR) + "/image.cl");
    const char* pText = strSource.c_str();
    cl_program program = clCreateProgramWithSource(context, 1, &pText, nullptr, &nError);
    clBuildProgram(program, 1, &device, nullptr, nullptr, nullptr);
    cl_kernel kernel = clCreateKernel(program, "blur", &nError);
    const cl_image_format format = {CL_RGBA, CL_FLOAT};
    cl_mem source =
        clCreateImage2D(context, CL_MEM_READ_ONLY | CL_MEM_COPY_HOST_PTR, &format, nWidth, nHeight,
                        0, const_cast<float*>(vSource.data()), &nError);
    cl_mem target =
        clCreateImage2D(context, CL_MEM_WRITE_ONLY, &format, nWidth, nHeight, 0, nullptr, &nError);
    cl_sampler sampler =
        clCreateSampler(context, CL_FALSE, CL_ADDRESS_CLAMP_TO_EDGE, CL_FILTER_NEAREST, &nError);
    clSetKernelArg(kernel, 0, sizeof(cl_mem), &source);
    clSetKernelArg(kernel, 1, sizeof(cl_mem), &target);
    clSetKernelArg(kernel, 2, sizeof(cl_sampler), &sampler);
    const size_t vGlobal[2] = {nWidth, nHeight};
    std::vector<float> vOut(vSource.size());
    const size_t vOrigin[3] = {0, 0, 0};
    const size_t vRegion[3] = {nWidth, nHeight, 1};
    const bool bOk = clEnqueueNDRangeKernel(queue, kernel, 2, nullptr, vGlobal, nullptr, 0, nullptr,
                                            nullptr) == CL_SUCCESS &&
                     clEnqueueReadImage(queue, target, CL_TRUE, vOrigin, vRegion, 0, 0, vOut.data(),
                                        0, nullptr, nullptr) == CL_SUCCESS;
    clReleaseSampler(sampler);
    clReleaseMemObject(target);
    clReleaseMemObject(source);
    clReleaseKernel(kernel);
    clReleaseProgram(program);
    clReleaseCommandQueue(queue);
    clReleaseContext(context);
    return bOk ? vOut : std::vector<float>();
}

class CLCImageTest : public CLFixture
{
protected:
    void SetUp() override
    {
        CLFixture::SetUp();
        std::string strLog;
        m_Program =
            Build(ReadFile(std::string(XAN_CLC_CORPUS_DIR) + "/image.cl"), nullptr, &strLog);
        ASSERT_NE(nullptr, m_Program) << strLog;
    }
    void TearDown() override
    {
        for (cl_mem image : m_vImages)
        {
            clReleaseMemObject(image);
        }
        CLFixture::TearDown();
    }

    cl_mem Image(cl_channel_order nOrder, cl_channel_type nType, size_t nWidth, size_t nHeight,
                 const void* pData)
    {
        const cl_image_format format = {nOrder, nType};
        m_vImages.push_back(Made(clCreateImage2D, m_Context,
                                 CL_MEM_READ_WRITE | (pData ? CL_MEM_COPY_HOST_PTR : 0), &format,
                                 nWidth, nHeight, 0, const_cast<void*>(pData)));
        return m_vImages.back();
    }

    template <class T>
    std::vector<T> ReadImage(cl_mem image, size_t nWidth, size_t nHeight, size_t nChannels)
    {
        std::vector<T> v(nWidth * nHeight * nChannels);
        const size_t vOrigin[3] = {0, 0, 0};
        const size_t vRegion[3] = {nWidth, nHeight, 1};
        EXPECT_EQ(CL_SUCCESS, clEnqueueReadImage(m_Queue, image, CL_TRUE, vOrigin, vRegion, 0, 0,
                                                 v.data(), 0, nullptr, nullptr));
        return v;
    }

    cl_int Launch2D(cl_kernel kernel, size_t nWidth, size_t nHeight)
    {
        const size_t vGlobal[2] = {nWidth, nHeight};
        return clEnqueueNDRangeKernel(m_Queue, kernel, 2, nullptr, vGlobal, nullptr, 0, nullptr,
                                      nullptr);
    }

    cl_program m_Program = nullptr;
    std::vector<cl_mem> m_vImages;
};
} // namespace

TEST_F(CLCImageTest, BoxBlurClampsToTheEdge)
{
    const size_t W = 7, H = 5;
    std::vector<float> vSource(W * H * 4);
    for (size_t i = 0; i < vSource.size(); ++i)
    {
        vSource[i] = float((i * 37) % 101) / 8.0f;
    }
    cl_mem source = Image(CL_RGBA, CL_FLOAT, W, H, vSource.data());
    cl_mem target = Image(CL_RGBA, CL_FLOAT, W, H, nullptr);
    cl_sampler sampler =
        Made(clCreateSampler, m_Context, CL_FALSE, CL_ADDRESS_CLAMP_TO_EDGE, CL_FILTER_NEAREST);
    cl_kernel kernel = CreateKernel(m_Program, "blur");
    SetArgs(kernel, source, target, sampler);
    ASSERT_EQ(CL_SUCCESS, Launch2D(kernel, W, H));
    const std::vector<float> vOut = ReadImage<float>(target, W, H, 4);
    for (size_t y = 0; y < H; ++y)
    {
        for (size_t x = 0; x < W; ++x)
        {
            for (size_t c = 0; c < 4; ++c)
            {
                float fSum = 0;
                for (int dy = -1; dy <= 1; ++dy)
                {
                    for (int dx = -1; dx <= 1; ++dx)
                    {
                        const size_t sx = size_t(std::clamp(int(x) + dx, 0, int(W) - 1));
                        const size_t sy = size_t(std::clamp(int(y) + dy, 0, int(H) - 1));
                        fSum += vSource[(sy * W + sx) * 4 + c];
                    }
                }
                EXPECT_NEAR(fSum / 9.0f, vOut[(y * W + x) * 4 + c], 1e-5f * fSum)
                    << x << ", " << y << ", " << c;
            }
        }
    }
    clReleaseSampler(sampler);
}

TEST(CLCImageCompareTest, BlurAgreesWithPocl)
{
    cl_platform_id pocl = PoclPlatform();
    if (pocl == nullptr)
    {
        GTEST_SKIP() << "PoCL isn't installed";
    }
    const size_t W = 9, H = 4;
    std::vector<float> vSource(W * H * 4);
    for (size_t i = 0; i < vSource.size(); ++i)
    {
        vSource[i] = float((i * 53) % 97) / 16.0f - 2.0f;
    }
    const std::vector<float> vHere = BlurOn(NordvanePlatform(), vSource, W, H);
    const std::vector<float> vThere = BlurOn(pocl, vSource, W, H);
    ASSERT_EQ(vSource.size(), vHere.size());
    ASSERT_EQ(vSource.size(), vThere.size());
    for (size_t i = 0; i < vHere.size(); ++i)
    {
        EXPECT_NEAR(vThere[i], vHere[i], 1e-5f * (1.0f + std::fabs(vThere[i]))) << i;
    }
}

TEST_F(CLCImageTest, RotationReadsIntegersAndTheImageQueries)
{
    const size_t W = 5, H = 3;
    std::vector<cl_uint> vSource(W * H);
    for (size_t i = 0; i < vSource.size(); ++i)
    {
        vSource[i] = cl_uint(1000 + i * 7919);
    }
    cl_mem source = Image(CL_R, CL_UNSIGNED_INT32, W, H, vSource.data());
    cl_mem target = Image(CL_R, CL_UNSIGNED_INT32, H, W, nullptr);
    cl_mem info = MakeBuffer(6 * sizeof(cl_int));
    cl_kernel kernel = CreateKernel(m_Program, "rotate");
    SetArgs(kernel, source, target, info);
    ASSERT_EQ(CL_SUCCESS, Launch2D(kernel, W, H));
    const std::vector<cl_uint> vOut = ReadImage<cl_uint>(target, H, W, 1);
    for (size_t y = 0; y < H; ++y)
    {
        for (size_t x = 0; x < W; ++x)
        {
            EXPECT_EQ(vSource[y * W + x], vOut[x * H + (H - 1 - y)]) << x << ", " << y;
        }
    }
    std::vector<cl_int> vInfo(6);
    ASSERT_EQ(CL_SUCCESS, clEnqueueReadBuffer(m_Queue, info, CL_TRUE, 0, 6 * sizeof(cl_int),
                                              vInfo.data(), 0, nullptr, nullptr));
    EXPECT_EQ((std::vector<cl_int>{int(W), int(H), CL_R, CL_UNSIGNED_INT32, int(H), int(W)}),
              vInfo);
}

TEST_F(CLCImageTest, ConstantSamplerWrapsNormalisedCoordinates)
{
    const size_t W = 4, H = 2;
    const std::vector<uint8_t> vSource = {0,   10,  20,  255, 40,  50, 60, 255, 80, 90, 100,
                                          255, 120, 130, 140, 255, 1,  2,  3,   4,  5,  6,
                                          7,   8,   9,   10,  11,  12, 13, 14,  15, 16};
    cl_mem source = Image(CL_RGBA, CL_UNORM_INT8, W, H, vSource.data());
    cl_mem out = MakeBuffer(W * 4 * sizeof(float));
    cl_kernel kernel = CreateKernel(m_Program, "wrap");
    SetArgs(kernel, source, out);
    ASSERT_EQ(CL_SUCCESS, Launch(kernel, W, 0));
    std::vector<float> vOut(W * 4);
    ASSERT_EQ(CL_SUCCESS, clEnqueueReadBuffer(m_Queue, out, CL_TRUE, 0, vOut.size() * sizeof(float),
                                              vOut.data(), 0, nullptr, nullptr));
    for (size_t i = 0; i < vOut.size(); ++i)
    {
        EXPECT_FLOAT_EQ(float(vSource[i]) / 255.0f, vOut[i]) << i;
    }
}

TEST_F(CLCImageTest, MisusedImagesAreRefusedWithTheirLine)
{
    const char* const vSources[] = {
        "__kernel void k(__write_only image2d_t i, __global float4* o) { *o = read_imagef(i, "
        "(int2)(0)); }",
        "__kernel void k(__read_only image2d_t i) { write_imagef(i, (int2)(0), (float4)(0)); }",
        "float4 f(__read_only image2d_t i) { return read_imagef(i, (int2)(0)); }\n"
        "__kernel void k(__read_only image2d_t i, __global float4* o) { *o = f(i); }",
    };
    for (const char* pSource : vSources)
    {
        std::string strLog;
        EXPECT_EQ(nullptr, Build(pSource, nullptr, &strLog)) << pSource;
        EXPECT_NE(std::string::npos, strLog.find(":1:")) << strLog;
    }
}
