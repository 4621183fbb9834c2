#include "BufferDesc.h"

#include <iterator>

namespace
{
struct FormatInfo
{
    BufferFormat format;
    uint32_t nElementSize;
    uint32_t nChannels;
    uint32_t nBitsPerChannel;
    cl_channel_order channelOrder;
    cl_channel_type channelType;
};

// Indexed by the format's value. BF_RGBA32 stands before BF_RGBA32Alt, so that an image of four
// 32-bit channels maps to the first.
const FormatInfo g_FormatInfo[] = {
    {BF_Unknown, 0, 0, 0, 0, 0},
    {BF_RGBA32, 16, 4, 32, CL_RGBA, CL_FLOAT},
    {BF_RGBA16, 8, 4, 16, CL_RGBA, CL_UNSIGNED_INT16},
    {BF_RGBA8, 4, 4, 8, CL_RGBA, CL_UNSIGNED_INT8},
    {BF_RGB32, 12, 3, 32, CL_RGB, CL_UNSIGNED_INT32},
    {BF_RGB16, 6, 3, 16, CL_RGB, CL_UNSIGNED_INT16},
    {BF_RGB8, 3, 3, 8, CL_RGB, CL_UNSIGNED_INT8},
    {BF_RG32, 8, 2, 32, CL_RG, CL_UNSIGNED_INT32},
    {BF_RG16, 4, 2, 16, CL_RG, CL_UNSIGNED_INT16},
    {BF_RG8, 2, 2, 8, CL_RG, CL_UNSIGNED_INT8},
    {BF_R32, 4, 1, 32, CL_R, CL_UNSIGNED_INT32},
    {BF_R16, 2, 1, 16, CL_R, CL_UNSIGNED_INT16},
    {BF_R8, 1, 1, 8, CL_R, CL_UNSIGNED_INT8},
    {BF_Bytes, 0, 0, 0, 0, 0},
    {BF_RGBA32Alt, 16, 4, 32, CL_RGBA, CL_FLOAT},
};

const FormatInfo* FindFormatInfo(BufferFormat format)
{
    if (format >= std::size(g_FormatInfo))
    {
        return nullptr;
    }
    return &g_FormatInfo[format];
}

uint32_t GetChannelCount(cl_channel_order order)
{
    switch (order)
    {
    case CL_R:
    case CL_A:
    case CL_INTENSITY:
    case CL_LUMINANCE:
    case CL_DEPTH:
        return 1;
    case CL_RG:
    case CL_RA:
    case CL_Rx:
    case CL_DEPTH_STENCIL:
        return 2;
    case CL_RGB:
    case CL_RGx:
    case CL_sRGB:
        return 3;
    case CL_RGBA:
    case CL_BGRA:
    case CL_ARGB:
    case CL_RGBx:
    case CL_sRGBx:
    case CL_sRGBA:
    case CL_sBGRA:
    case CL_ABGR:
        return 4;
    default:
        return 0;
    }
}

uint32_t GetBitsPerChannel(cl_channel_type type)
{
    switch (type)
    {
    case CL_SNORM_INT8:
    case CL_UNORM_INT8:
    case CL_SIGNED_INT8:
    case CL_UNSIGNED_INT8:
        return 8;
    case CL_SNORM_INT16:
    case CL_UNORM_INT16:
    case CL_UNORM_SHORT_565:
    case CL_UNORM_SHORT_555:
    case CL_SIGNED_INT16:
    case CL_UNSIGNED_INT16:
    case CL_HALF_FLOAT:
        return 16;
    case CL_UNORM_INT_101010:
    case CL_SIGNED_INT32:
    case CL_UNSIGNED_INT32:
    case CL_FLOAT:
        return 32;
    case CL_UNORM_INT24:
        return 24;
    default:
        return 0;
    }
}
} // namespace

uint32_t GetBufferFormatElementSize(BufferFormat format)
{
    const FormatInfo* pInfo = FindFormatInfo(format);
    return pInfo == nullptr ? 0 : pInfo->nElementSize;
}

bool GetCLImageFormat(BufferFormat format, cl_image_format& imageFormat)
{
    const FormatInfo* pInfo = FindFormatInfo(format);
    if (pInfo == nullptr || pInfo->nChannels == 0)
    {
        return false;
    }
    imageFormat.image_channel_order = pInfo->channelOrder;
    imageFormat.image_channel_data_type = pInfo->channelType;
    return true;
}

BufferFormat GetBufferFormat(const cl_image_format& imageFormat)
{
    const uint32_t nChannels = GetChannelCount(imageFormat.image_channel_order);
    const uint32_t nBits = GetBitsPerChannel(imageFormat.image_channel_data_type);
    for (const FormatInfo& info : g_FormatInfo)
    {
        if (info.nChannels != 0 && info.nChannels == nChannels && info.nBitsPerChannel == nBits)
        {
            return info.format;
        }
    }
    return BF_Unknown;
}
