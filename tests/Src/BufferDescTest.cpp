#include "BufferDesc.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>

namespace
{
cl_image_format MakeImageFormat(cl_channel_order order, cl_channel_type type)
{
    cl_image_format format = {};
    format.image_channel_order = order;
    format.image_channel_data_type = type;
    return format;
}
} // namespace

TEST(BufferDescTest, NewDescriptorIsZeroFilled)
{
    alignas(BufferDesc) unsigned char storage[sizeof(BufferDesc)];
    std::memset(storage, 0xAA, sizeof(storage));
    const BufferDesc* pDesc = new (storage) BufferDesc;

    EXPECT_EQ(BT_Unknown, pDesc->m_Type);
    EXPECT_EQ(BF_Unknown, pDesc->m_Format);
    EXPECT_EQ(0u, pDesc->m_nReserved0 | pDesc->m_nReserved1 | pDesc->m_nReserved3 |
                      pDesc->m_nReserved4);
    EXPECT_EQ(0u, pDesc->m_nShaderType | pDesc->m_nWidth | pDesc->m_nHeight | pDesc->m_nDepth |
                      pDesc->m_nArraySize);
    EXPECT_EQ(0u, pDesc->m_nReserved2 | pDesc->m_nSize | pDesc->m_nRowPitch | pDesc->m_nReserved5);
}

// Every format that an image can have maps to an image format that maps back to it, and its
// element is as large as the channels and bits of that image format say.
TEST(BufferDescTest, ImageFormatsMapBackToTheirBufferFormat)
{
    for (uint32_t n = BF_RGBA32; n <= BF_RGBA32Alt; ++n)
    {
        const BufferFormat format = static_cast<BufferFormat>(n);
        SCOPED_TRACE(n);
        cl_image_format imageFormat = {};
        if (format == BF_Bytes)
        {
            EXPECT_FALSE(GetCLImageFormat(format, imageFormat));
            continue;
        }
        ASSERT_TRUE(GetCLImageFormat(format, imageFormat));
        EXPECT_EQ(format == BF_RGBA32Alt ? BF_RGBA32 : format, GetBufferFormat(imageFormat));

        const uint32_t nChannels = imageFormat.image_channel_order == CL_RGBA  ? 4
                                   : imageFormat.image_channel_order == CL_RGB ? 3
                                   : imageFormat.image_channel_order == CL_RG  ? 2
                                                                               : 1;
        const uint32_t nBytes = imageFormat.image_channel_data_type == CL_UNSIGNED_INT8    ? 1
                                : imageFormat.image_channel_data_type == CL_UNSIGNED_INT16 ? 2
                                                                                           : 4;
        EXPECT_EQ(nChannels * nBytes, GetBufferFormatElementSize(format));
    }
}

TEST(BufferDescTest, FormatsWithoutElementsHaveNoImageFormat)
{
    cl_image_format imageFormat = MakeImageFormat(CL_R, CL_FLOAT);
    EXPECT_FALSE(GetCLImageFormat(BF_Unknown, imageFormat));
    EXPECT_FALSE(GetCLImageFormat(static_cast<BufferFormat>(15), imageFormat));
    EXPECT_EQ(static_cast<cl_channel_order>(CL_R), imageFormat.image_channel_order);

    EXPECT_EQ(0u, GetBufferFormatElementSize(BF_Unknown));
    EXPECT_EQ(0u, GetBufferFormatElementSize(BF_Bytes));
    EXPECT_EQ(0u, GetBufferFormatElementSize(static_cast<BufferFormat>(15)));
}

// Only the number of channels and the bits per channel decide: order, normalisation and the
// float or integer nature are lost.
TEST(BufferDescTest, ImageFormatIsFoundByChannelsAndBitsAloneOrIsUnknown)
{
    EXPECT_EQ(BF_RGBA8, GetBufferFormat(MakeImageFormat(CL_BGRA, CL_UNORM_INT8)));
    EXPECT_EQ(BF_RGBA8, GetBufferFormat(MakeImageFormat(CL_sRGBA, CL_SNORM_INT8)));
    EXPECT_EQ(BF_RGBA32, GetBufferFormat(MakeImageFormat(CL_ABGR, CL_SIGNED_INT32)));
    EXPECT_EQ(BF_RGBA16, GetBufferFormat(MakeImageFormat(CL_ARGB, CL_HALF_FLOAT)));
    EXPECT_EQ(BF_RGB16, GetBufferFormat(MakeImageFormat(CL_RGB, CL_UNORM_SHORT_565)));
    EXPECT_EQ(BF_RGB32, GetBufferFormat(MakeImageFormat(CL_sRGB, CL_FLOAT)));
    EXPECT_EQ(BF_RG32, GetBufferFormat(MakeImageFormat(CL_DEPTH_STENCIL, CL_UNORM_INT_101010)));
    EXPECT_EQ(BF_RG8, GetBufferFormat(MakeImageFormat(CL_Rx, CL_UNSIGNED_INT8)));
    EXPECT_EQ(BF_R16, GetBufferFormat(MakeImageFormat(CL_DEPTH, CL_UNORM_INT16)));
    EXPECT_EQ(BF_R32, GetBufferFormat(MakeImageFormat(CL_INTENSITY, CL_FLOAT)));
    EXPECT_EQ(BF_R8, GetBufferFormat(MakeImageFormat(CL_A, CL_SIGNED_INT8)));
    // Bits or channels that no format has.
    EXPECT_EQ(BF_Unknown, GetBufferFormat(MakeImageFormat(CL_RGB, CL_UNORM_INT24)));
    EXPECT_EQ(BF_Unknown, GetBufferFormat(MakeImageFormat(0x4242, CL_FLOAT)));
    EXPECT_EQ(BF_Unknown, GetBufferFormat(MakeImageFormat(CL_RGBA, 0x4242)));
}
