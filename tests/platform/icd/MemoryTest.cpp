// Buffers, sub-buffers and images: their flags, their bytes through every transfer command,
// mappings, and the tight image layout a debugger's working copies rely on.
#include "ICDTestSupport.h"

#include <cstring>
#include <numeric>

using namespace XAN_Test;

namespace
{
class MemoryTest : public CLFixture
{
protected:
    // A memory object that the fixture releases.
    cl_mem Kept(cl_mem memory)
    {
        m_vBuffers.push_back(memory);
        return memory;
    }

    cl_mem MakeImage(const cl_image_format& format, const cl_image_desc& desc,
                     void* pData = nullptr, cl_mem_flags nFlags = CL_MEM_READ_WRITE)
    {
        return Kept(Made(clCreateImage, m_Context, nFlags, &format, &desc, pData));
    }

    static cl_image_desc Desc(cl_mem_object_type nType, size_t nWidth, size_t nHeight = 0,
                              size_t nDepth = 0, size_t nLayers = 0)
    {
        cl_image_desc desc = {};
        desc.image_type = nType;
        desc.image_width = nWidth;
        desc.image_height = nHeight;
        desc.image_depth = nDepth;
        desc.image_array_size = nLayers;
        return desc;
    }
};

std::vector<uint8_t> Bytes(size_t nCount)
{
    std::vector<uint8_t> vBytes(nCount);
    std::iota(vBytes.begin(), vBytes.end(), uint8_t(1));
    return vBytes;
}

void CL_CALLBACK CountDestruction(cl_mem, void* pUserData)
{
    ++*static_cast<int*>(pUserData);
}
} // namespace

TEST_F(MemoryTest, BuffersKeepTheirFlagsAndRefuseWhatTheyDontAllow)
{
    const std::vector<uint8_t> vData = Bytes(64);
    cl_mem copied = MakeBuffer(64, vData.data(), CL_MEM_READ_ONLY);
    EXPECT_EQ(vData, Read<uint8_t>(copied, 64));
    EXPECT_EQ(std::vector<uint8_t>(32, 0), Read<uint8_t>(MakeBuffer(32), 32));

    cl_mem staging = MakeBuffer(64, nullptr, CL_MEM_HOST_WRITE_ONLY);
    EXPECT_EQ(cl_mem_flags(CL_MEM_HOST_WRITE_ONLY),
              Info<cl_mem_flags>(clGetMemObjectInfo, staging, CL_MEM_FLAGS));
    std::vector<uint8_t> vOut(64);
    EXPECT_EQ(CL_INVALID_OPERATION, clEnqueueReadBuffer(m_Queue, staging, CL_TRUE, 0, 64,
                                                        vOut.data(), 0, nullptr, nullptr));
    EXPECT_EQ(CL_INVALID_OPERATION, ErrorOf(clEnqueueMapBuffer, m_Queue, staging, CL_TRUE,
                                            CL_MAP_READ, 0, 64, 0, nullptr, nullptr));

    struct SCase
    {
        cl_mem_flags nFlags;
        size_t nSize;
        bool bHostPtr;
        cl_int nError;
    } vCases[] = {{CL_MEM_READ_ONLY | CL_MEM_WRITE_ONLY, 64, false, CL_INVALID_VALUE},
                  {CL_MEM_USE_HOST_PTR | CL_MEM_COPY_HOST_PTR, 64, true, CL_INVALID_VALUE},
                  {CL_MEM_HOST_READ_ONLY | CL_MEM_HOST_NO_ACCESS, 64, false, CL_INVALID_VALUE},
                  {CL_MEM_READ_WRITE, 64, true, CL_INVALID_HOST_PTR},
                  {CL_MEM_COPY_HOST_PTR, 64, false, CL_INVALID_HOST_PTR},
                  {CL_MEM_READ_WRITE, size_t(1) << 40, false, CL_INVALID_BUFFER_SIZE}};
    for (const SCase& test : vCases)
    {
        void* pHost = test.bHostPtr ? const_cast<uint8_t*>(vData.data()) : nullptr;
        EXPECT_EQ(test.nError, ErrorOf(clCreateBuffer, m_Context, test.nFlags, test.nSize, pHost))
            << "flags " << test.nFlags;
    }
}

TEST_F(MemoryTest, SubBuffersShareTheirParentsBytes)
{
    cl_mem parent = MakeBuffer(1024, Bytes(1024).data());
    cl_buffer_region region = {256, 128};
    cl_mem sub = Kept(
        Made(clCreateSubBuffer, parent, CL_MEM_READ_WRITE, CL_BUFFER_CREATE_TYPE_REGION, &region));
    EXPECT_EQ(uint8_t(257 % 256), Read<uint8_t>(sub, 1)[0]);
    const std::vector<uint8_t> vZeros(128, 0);
    ASSERT_EQ(CL_SUCCESS, clEnqueueWriteBuffer(m_Queue, sub, CL_TRUE, 0, 128, vZeros.data(), 0,
                                               nullptr, nullptr));
    const std::vector<uint8_t> vParent = Read<uint8_t>(parent, 1024);
    EXPECT_EQ(0, vParent[256]);
    EXPECT_EQ(0, vParent[383]);
    EXPECT_NE(0, vParent[384]);
    EXPECT_EQ(parent, Info<cl_mem>(clGetMemObjectInfo, sub, CL_MEM_ASSOCIATED_MEMOBJECT));
    EXPECT_EQ(256u, Info<size_t>(clGetMemObjectInfo, sub, CL_MEM_OFFSET));

    region = {768, 512};
    EXPECT_EQ(CL_INVALID_VALUE,
              ErrorOf(clCreateSubBuffer, parent, 0, CL_BUFFER_CREATE_TYPE_REGION, &region));
    region = {0, 16};
    EXPECT_EQ(CL_INVALID_MEM_OBJECT,
              ErrorOf(clCreateSubBuffer, sub, 0, CL_BUFFER_CREATE_TYPE_REGION, &region));
}

TEST_F(MemoryTest, RectanglesFillsAndCopiesMoveTheRightBytes)
{
    // A 4 x 3 box of bytes at (2, 1) of a buffer with rows of 8.
    cl_mem buffer = MakeBuffer(8 * 4);
    const std::vector<uint8_t> vBox = Bytes(12);
    const size_t vOrigin[3] = {2, 1, 0};
    const size_t vHostOrigin[3] = {0, 0, 0};
    const size_t vRegion[3] = {4, 3, 1};
    ASSERT_EQ(CL_SUCCESS,
              clEnqueueWriteBufferRect(m_Queue, buffer, CL_TRUE, vOrigin, vHostOrigin, vRegion, 8,
                                       0, 0, 0, vBox.data(), 0, nullptr, nullptr));
    const std::vector<uint8_t> vAll = Read<uint8_t>(buffer, 32);
    EXPECT_EQ(0, vAll[9]);
    EXPECT_EQ(1, vAll[10]);
    EXPECT_EQ(4, vAll[13]);
    EXPECT_EQ(5, vAll[18]);
    EXPECT_EQ(12, vAll[29]);
    std::vector<uint8_t> vBack(12);
    ASSERT_EQ(CL_SUCCESS,
              clEnqueueReadBufferRect(m_Queue, buffer, CL_TRUE, vOrigin, vHostOrigin, vRegion, 8, 0,
                                      0, 0, vBack.data(), 0, nullptr, nullptr));
    EXPECT_EQ(vBox, vBack);

    cl_mem target = MakeBuffer(12);
    const size_t vZero[3] = {0, 0, 0};
    ASSERT_EQ(CL_SUCCESS, clEnqueueCopyBufferRect(m_Queue, buffer, target, vOrigin, vZero, vRegion,
                                                  8, 0, 4, 0, 0, nullptr, nullptr));
    EXPECT_EQ(vBox, Read<uint8_t>(target, 12));

    const uint16_t nPattern = 0xBEEF;
    ASSERT_EQ(CL_SUCCESS,
              clEnqueueFillBuffer(m_Queue, target, &nPattern, 2, 4, 8, 0, nullptr, nullptr));
    const std::vector<uint16_t> vFilled = Read<uint16_t>(target, 6);
    EXPECT_EQ(0x0201, vFilled[0]);
    EXPECT_EQ(0xBEEF, vFilled[2]);
    EXPECT_EQ(0xBEEF, vFilled[5]);
    EXPECT_EQ(CL_INVALID_VALUE,
              clEnqueueFillBuffer(m_Queue, target, &nPattern, 2, 1, 8, 0, nullptr, nullptr));
    EXPECT_EQ(CL_MEM_COPY_OVERLAP,
              clEnqueueCopyBuffer(m_Queue, buffer, buffer, 0, 4, 8, 0, nullptr, nullptr));
    EXPECT_EQ(CL_INVALID_VALUE,
              clEnqueueCopyBuffer(m_Queue, buffer, target, 0, 8, 8, 0, nullptr, nullptr));
}

// A fill repeats its pattern over exactly its range, for every pattern size, for patterns of one
// repeated byte, and for ranges that aren't a power of two of patterns.
TEST_F(MemoryTest, FillsRepeatThePatternOverTheirRangeOnly)
{
    struct Case
    {
        size_t nPattern;
        size_t nOffset;
        size_t nCount; // patterns
        bool bOneByte;
    };
    const Case cases[] = {
        {1, 3, 1000, false}, {2, 2, 7, false},    {4, 0, 1000, true}, {4, 8, 5, false},
        {8, 16, 3, false},   {16, 32, 33, false}, {64, 64, 3, true},  {128, 128, 2, false},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.nPattern);
        const size_t nSize = c.nOffset + c.nPattern * c.nCount + 40;
        cl_mem buffer = MakeBuffer(nSize, Bytes(nSize).data());
        std::vector<uint8_t> vPattern(c.nPattern);
        for (size_t i = 0; i < c.nPattern; ++i)
        {
            vPattern[i] = c.bOneByte ? 0x5A : uint8_t(0xA0 + i);
        }
        ASSERT_EQ(CL_SUCCESS,
                  clEnqueueFillBuffer(m_Queue, buffer, vPattern.data(), c.nPattern, c.nOffset,
                                      c.nPattern * c.nCount, 0, nullptr, nullptr));
        std::vector<uint8_t> vExpected = Bytes(nSize);
        for (size_t i = 0; i < c.nPattern * c.nCount; ++i)
        {
            vExpected[c.nOffset + i] = vPattern[i % c.nPattern];
        }
        EXPECT_EQ(vExpected, Read<uint8_t>(buffer, nSize));
    }
}

TEST_F(MemoryTest, MappingsShowAndTakeTheBytes)
{
    cl_mem buffer = MakeBuffer(256, Bytes(256).data());
    uint8_t* pMapped =
        static_cast<uint8_t*>(Made(clEnqueueMapBuffer, m_Queue, buffer, CL_TRUE,
                                   CL_MAP_READ | CL_MAP_WRITE, 16, 32, 0, nullptr, nullptr));
    ASSERT_NE(nullptr, pMapped);
    EXPECT_EQ(17, pMapped[0]);
    pMapped[0] = 0xEE;
    EXPECT_EQ(1u, Info<cl_uint>(clGetMemObjectInfo, buffer, CL_MEM_MAP_COUNT));
    EXPECT_EQ(CL_INVALID_VALUE,
              clEnqueueUnmapMemObject(m_Queue, buffer, pMapped + 1, 0, nullptr, nullptr));
    ASSERT_EQ(CL_SUCCESS, clEnqueueUnmapMemObject(m_Queue, buffer, pMapped, 0, nullptr, nullptr));
    EXPECT_EQ(0xEE, Read<uint8_t>(buffer, 17)[16]);

    // With the application's own memory, a mapping is that memory, brought up to date.
    std::vector<uint8_t> vHost(64, 0);
    cl_mem shared =
        Kept(Made(clCreateBuffer, m_Context, CL_MEM_USE_HOST_PTR, vHost.size(), vHost.data()));
    const std::vector<uint8_t> vNew(64, 9);
    ASSERT_EQ(CL_SUCCESS, clEnqueueWriteBuffer(m_Queue, shared, CL_TRUE, 0, 64, vNew.data(), 0,
                                               nullptr, nullptr));
    pMapped = static_cast<uint8_t*>(Made(clEnqueueMapBuffer, m_Queue, shared, CL_TRUE, CL_MAP_WRITE,
                                         8, 8, 0, nullptr, nullptr));
    EXPECT_EQ(vHost.data() + 8, pMapped);
    EXPECT_EQ(9, vHost[8]);
    pMapped[0] = 1;
    clEnqueueUnmapMemObject(m_Queue, shared, pMapped, 0, nullptr, nullptr);
    EXPECT_EQ(1, Read<uint8_t>(shared, 9)[8]);
}

TEST_F(MemoryTest, EveryWorkingCopyFormatIsOfferedAndPacksTightly)
{
    cl_uint nCount = 0;
    ASSERT_EQ(CL_SUCCESS, clGetSupportedImageFormats(m_Context, CL_MEM_READ_WRITE,
                                                     CL_MEM_OBJECT_IMAGE2D, 0, nullptr, &nCount));
    std::vector<cl_image_format> vFormats(nCount);
    clGetSupportedImageFormats(m_Context, CL_MEM_READ_WRITE, CL_MEM_OBJECT_IMAGE2D, nCount,
                               vFormats.data(), nullptr);
    const cl_channel_order vOrders[] = {CL_R, CL_RG, CL_RGB, CL_RGBA};
    const cl_channel_type vTypes[] = {CL_UNSIGNED_INT8, CL_UNSIGNED_INT16, CL_UNSIGNED_INT32};
    for (size_t c = 0; c < 4; ++c)
    {
        for (size_t t = 0; t < 3; ++t)
        {
            const cl_image_format format = {vOrders[c], vTypes[t]};
            EXPECT_TRUE(
                std::any_of(vFormats.begin(), vFormats.end(),
                            [&](const cl_image_format& f)
                            {
                                return f.image_channel_order == format.image_channel_order &&
                                       f.image_channel_data_type == format.image_channel_data_type;
                            }));
            cl_mem image = MakeImage(format, Desc(CL_MEM_OBJECT_IMAGE2D, 5, 3));
            EXPECT_EQ(5 * (c + 1) * (size_t(1) << t),
                      Info<size_t>(clGetImageInfo, image, CL_IMAGE_ROW_PITCH));
        }
    }
    const cl_image_format packed = {CL_RGB, CL_UNORM_SHORT_565};
    const cl_image_desc desc = Desc(CL_MEM_OBJECT_IMAGE2D, 4, 4);
    EXPECT_EQ(CL_IMAGE_FORMAT_NOT_SUPPORTED,
              ErrorOf(clCreateImage, m_Context, CL_MEM_READ_WRITE, &packed, &desc, nullptr));
}

TEST_F(MemoryTest, ImagesMoveTheirPixelsThroughEveryCommand)
{
    const cl_image_format rgba8 = {CL_RGBA, CL_UNORM_INT8};
    // Host rows of 24 bytes for 5 pixels of 4 bytes.
    std::vector<uint8_t> vHost = Bytes(24 * 3);
    cl_image_desc desc = Desc(CL_MEM_OBJECT_IMAGE2D, 5, 3);
    desc.image_row_pitch = 24;
    cl_mem image = MakeImage(rgba8, desc, vHost.data(), CL_MEM_READ_WRITE | CL_MEM_COPY_HOST_PTR);
    const size_t vOrigin[3] = {1, 1, 0};
    const size_t vRegion[3] = {2, 2, 1};
    std::vector<uint8_t> vBlock(16);
    ASSERT_EQ(CL_SUCCESS, clEnqueueReadImage(m_Queue, image, CL_TRUE, vOrigin, vRegion, 0, 0,
                                             vBlock.data(), 0, nullptr, nullptr));
    EXPECT_EQ(vHost[24 + 4], vBlock[0]);
    EXPECT_EQ(vHost[48 + 4 + 7], vBlock[15]);

    size_t nRowPitch = 0;
    size_t nSlicePitch = 1;
    const size_t vAll[3] = {5, 3, 1};
    const size_t vZero[3] = {0, 0, 0};
    uint8_t* pMapped =
        static_cast<uint8_t*>(Made(clEnqueueMapImage, m_Queue, image, CL_TRUE, CL_MAP_READ, vZero,
                                   vAll, &nRowPitch, &nSlicePitch, 0, nullptr, nullptr));
    ASSERT_NE(nullptr, pMapped);
    EXPECT_EQ(20u, nRowPitch);
    EXPECT_EQ(0u, nSlicePitch);
    EXPECT_EQ(vHost[24], pMapped[20]);
    clEnqueueUnmapMemObject(m_Queue, image, pMapped, 0, nullptr, nullptr);

    // Copies to an image of the same layout and through a buffer keep every byte.
    const cl_image_format uint8 = {CL_RGBA, CL_UNSIGNED_INT8};
    cl_mem copy = MakeImage(uint8, Desc(CL_MEM_OBJECT_IMAGE2D, 5, 3));
    EXPECT_EQ(CL_IMAGE_FORMAT_MISMATCH,
              clEnqueueCopyImage(m_Queue, image, copy, vZero, vZero, vAll, 0, nullptr, nullptr));
    cl_mem same = MakeImage(rgba8, Desc(CL_MEM_OBJECT_IMAGE2D, 5, 3));
    ASSERT_EQ(CL_SUCCESS,
              clEnqueueCopyImage(m_Queue, image, same, vZero, vZero, vAll, 0, nullptr, nullptr));
    cl_mem linear = MakeBuffer(60);
    ASSERT_EQ(CL_SUCCESS, clEnqueueCopyImageToBuffer(m_Queue, same, linear, vZero, vAll, 0, 0,
                                                     nullptr, nullptr));
    const std::vector<uint8_t> vLinear = Read<uint8_t>(linear, 60);
    for (size_t y = 0; y < 3; ++y)
    {
        EXPECT_EQ(0, std::memcmp(&vHost[y * 24], &vLinear[y * 20], 20)) << "row " << y;
    }
    ASSERT_EQ(CL_SUCCESS, clEnqueueCopyBufferToImage(m_Queue, linear, copy, 0, vZero, vAll, 0,
                                                     nullptr, nullptr));
    std::vector<uint8_t> vCopy(60);
    clEnqueueReadImage(m_Queue, copy, CL_TRUE, vZero, vAll, 0, 0, vCopy.data(), 0, nullptr,
                       nullptr);
    EXPECT_EQ(vLinear, vCopy);

    const float vColor[4] = {1.0f, 0.0f, 0.5f, 1.0f};
    ASSERT_EQ(CL_SUCCESS,
              clEnqueueFillImage(m_Queue, same, vColor, vOrigin, vRegion, 0, nullptr, nullptr));
    clEnqueueReadImage(m_Queue, same, CL_TRUE, vOrigin, vRegion, 0, 0, vBlock.data(), 0, nullptr,
                       nullptr);
    EXPECT_EQ((std::vector<uint8_t>{255, 0, 128, 255}),
              std::vector<uint8_t>(vBlock.begin() + 12, vBlock.end()));
    const size_t vOutside[3] = {4, 0, 0};
    EXPECT_EQ(CL_INVALID_VALUE, clEnqueueReadImage(m_Queue, same, CL_TRUE, vOutside, vRegion, 0, 0,
                                                   vBlock.data(), 0, nullptr, nullptr));
}

TEST_F(MemoryTest, ImagesOfEveryDimensionReportTheirShape)
{
    const cl_image_format format = {CL_R, CL_FLOAT};
    Kept(Made(clCreateImage2D, m_Context, CL_MEM_READ_WRITE, &format, 7, 1, 0, nullptr));
    cl_mem image3D =
        Kept(Made(clCreateImage3D, m_Context, CL_MEM_READ_WRITE, &format, 4, 3, 2, 0, 0, nullptr));
    cl_mem layers = MakeImage(format, Desc(CL_MEM_OBJECT_IMAGE1D_ARRAY, 6, 0, 0, 4));

    EXPECT_EQ(cl_mem_object_type(CL_MEM_OBJECT_IMAGE3D),
              Info<cl_mem_object_type>(clGetMemObjectInfo, image3D, CL_MEM_TYPE));
    EXPECT_EQ(4u * 4 * 3, Info<size_t>(clGetImageInfo, image3D, CL_IMAGE_SLICE_PITCH));
    EXPECT_EQ(4u * 4 * 3 * 2, Info<size_t>(clGetMemObjectInfo, image3D, CL_MEM_SIZE));
    EXPECT_EQ(4u, Info<size_t>(clGetImageInfo, layers, CL_IMAGE_ARRAY_SIZE));
    EXPECT_EQ(0u, Info<size_t>(clGetImageInfo, layers, CL_IMAGE_HEIGHT));
    size_t nValue = 0;
    EXPECT_EQ(CL_INVALID_MEM_OBJECT,
              clGetImageInfo(MakeBuffer(4), CL_IMAGE_WIDTH, sizeof(nValue), &nValue, nullptr));

    // Layer 2 of the array, written and read back as a row.
    const std::vector<float> vRow = {1, 2, 3, 4, 5, 6};
    const size_t vOrigin[3] = {0, 2, 0};
    const size_t vRegion[3] = {6, 1, 1};
    ASSERT_EQ(CL_SUCCESS, clEnqueueWriteImage(m_Queue, layers, CL_TRUE, vOrigin, vRegion, 0, 0,
                                              vRow.data(), 0, nullptr, nullptr));
    std::vector<float> vAll(24);
    const size_t vZero[3] = {0, 0, 0};
    const size_t vEverything[3] = {6, 4, 1};
    clEnqueueReadImage(m_Queue, layers, CL_TRUE, vZero, vEverything, 0, 0, vAll.data(), 0, nullptr,
                       nullptr);
    EXPECT_EQ(vRow, std::vector<float>(vAll.begin() + 12, vAll.begin() + 18));

    const cl_image_desc tooWide = Desc(CL_MEM_OBJECT_IMAGE2D, 20000, 2);
    EXPECT_EQ(CL_INVALID_IMAGE_SIZE,
              ErrorOf(clCreateImage, m_Context, CL_MEM_READ_WRITE, &format, &tooWide, nullptr));
}

TEST_F(MemoryTest, SamplersAndDestructorCallbacks)
{
    cl_sampler sampler =
        Made(clCreateSampler, m_Context, CL_FALSE, CL_ADDRESS_CLAMP_TO_EDGE, CL_FILTER_LINEAR);
    EXPECT_EQ(cl_addressing_mode(CL_ADDRESS_CLAMP_TO_EDGE),
              Info<cl_addressing_mode>(clGetSamplerInfo, sampler, CL_SAMPLER_ADDRESSING_MODE));
    clReleaseSampler(sampler);
    EXPECT_EQ(CL_INVALID_VALUE,
              ErrorOf(clCreateSampler, m_Context, CL_FALSE, CL_ADDRESS_REPEAT, CL_FILTER_NEAREST));

    int nDestroyed = 0;
    cl_mem buffer = Made(clCreateBuffer, m_Context, CL_MEM_READ_WRITE, 16, nullptr);
    ASSERT_EQ(CL_SUCCESS, clSetMemObjectDestructorCallback(buffer, CountDestruction, &nDestroyed));
    clRetainMemObject(buffer);
    clReleaseMemObject(buffer);
    EXPECT_EQ(0, nDestroyed);
    clReleaseMemObject(buffer);
    EXPECT_EQ(1, nDestroyed);
}
