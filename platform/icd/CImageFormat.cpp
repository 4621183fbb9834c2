#include "CImageFormat.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace XAN_Platform
{
namespace
{
const cl_channel_order ORDERS[] = {CL_R,    CL_A,         CL_RG,        CL_RA,   CL_RGB,
                                   CL_RGBA, CL_INTENSITY, CL_LUMINANCE, CL_BGRA, CL_ARGB};
const cl_channel_type TYPES[] = {CL_SNORM_INT8,     CL_SNORM_INT16,   CL_UNORM_INT8,
                                 CL_UNORM_INT16,    CL_SIGNED_INT8,   CL_SIGNED_INT16,
                                 CL_SIGNED_INT32,   CL_UNSIGNED_INT8, CL_UNSIGNED_INT16,
                                 CL_UNSIGNED_INT32, CL_HALF_FLOAT,    CL_FLOAT};

size_t ChannelCount(cl_channel_order nOrder)
{
    switch (nOrder)
    {
    case CL_R:
    case CL_A:
    case CL_INTENSITY:
    case CL_LUMINANCE:
        return 1;
    case CL_RG:
    case CL_RA:
        return 2;
    case CL_RGB:
        return 3;
    case CL_RGBA:
    case CL_BGRA:
    case CL_ARGB:
        return 4;
    default:
        return 0;
    }
}

size_t ChannelSize(cl_channel_type nType)
{
    switch (nType)
    {
    case CL_SNORM_INT8:
    case CL_UNORM_INT8:
    case CL_SIGNED_INT8:
    case CL_UNSIGNED_INT8:
        return 1;
    case CL_SNORM_INT16:
    case CL_UNORM_INT16:
    case CL_SIGNED_INT16:
    case CL_UNSIGNED_INT16:
    case CL_HALF_FLOAT:
        return 2;
    case CL_SIGNED_INT32:
    case CL_UNSIGNED_INT32:
    case CL_FLOAT:
        return 4;
    default:
        return 0;
    }
}

bool IsSupported(cl_channel_order nOrder, cl_channel_type nType)
{
    if (ChannelCount(nOrder) == 0 || ChannelSize(nType) == 0)
    {
        return false;
    }
    switch (nOrder)
    {
    case CL_BGRA:
    case CL_ARGB:
        return ChannelSize(nType) == 1;
    case CL_INTENSITY:
    case CL_LUMINANCE:
        return nType == CL_UNORM_INT8 || nType == CL_UNORM_INT16 || nType == CL_SNORM_INT8 ||
               nType == CL_SNORM_INT16 || nType == CL_HALF_FLOAT || nType == CL_FLOAT;
    default:
        return true;
    }
}

// The RGBA component each channel of the order stores, in memory order.
void ChannelSources(cl_channel_order nOrder, int vSource[4])
{
    static const int RGBA[] = {0, 1, 2, 3};
    static const int BGRA[] = {2, 1, 0, 3};
    static const int ARGB[] = {3, 0, 1, 2};
    static const int RA[] = {0, 3, 0, 0};
    static const int A[] = {3, 0, 0, 0};
    const int* pSource = RGBA;
    switch (nOrder)
    {
    case CL_BGRA:
        pSource = BGRA;
        break;
    case CL_ARGB:
        pSource = ARGB;
        break;
    case CL_RA:
        pSource = RA;
        break;
    case CL_A:
        pSource = A;
        break;
    default:
        break;
    }
    std::copy(pSource, pSource + 4, vSource);
}

uint16_t FloatToHalf(float fValue)
{
    uint32_t nBits = 0;
    std::memcpy(&nBits, &fValue, sizeof(nBits));
    const uint32_t nSign = (nBits >> 16) & 0x8000u;
    const int nExponent = int((nBits >> 23) & 0xFF) - 127 + 15;
    const uint32_t nMantissa = nBits & 0x7FFFFFu;
    if (((nBits >> 23) & 0xFF) == 0xFF)
    {
        return uint16_t(nSign | 0x7C00u | (nMantissa != 0 ? 0x200u : 0));
    }
    if (nExponent >= 31)
    {
        return uint16_t(nSign | 0x7C00u);
    }
    if (nExponent <= 0)
    {
        if (nExponent < -10)
        {
            return uint16_t(nSign);
        }
        const uint32_t nFull = nMantissa | 0x800000u;
        return uint16_t(nSign | (nFull >> uint32_t(14 - nExponent)));
    }
    return uint16_t(nSign | uint32_t(nExponent) << 10 | nMantissa >> 13);
}

template <class T> void Store(uint8_t* pOut, T value)
{
    std::memcpy(pOut, &value, sizeof(value));
}

float Clamp(float fValue, float fLow, float fHigh)
{
    return std::isnan(fValue) ? 0.0f : std::min(std::max(fValue, fLow), fHigh);
}

template <class T> T ClampInt(int64_t nValue)
{
    return T(std::min<int64_t>(std::max<int64_t>(nValue, std::numeric_limits<T>::min()),
                               std::numeric_limits<T>::max()));
}
} // namespace

const std::vector<cl_image_format>& CImageFormat::GetSupported()
{
    static const std::vector<cl_image_format> vFormats = []
    {
        std::vector<cl_image_format> vList;
        for (cl_channel_order nOrder : ORDERS)
        {
            for (cl_channel_type nType : TYPES)
            {
                if (IsSupported(nOrder, nType))
                {
                    vList.push_back({nOrder, nType});
                }
            }
        }
        return vList;
    }();
    return vFormats;
}

size_t CImageFormat::GetElementSize(const cl_image_format& format)
{
    if (!IsSupported(format.image_channel_order, format.image_channel_data_type))
    {
        return 0;
    }
    return ChannelCount(format.image_channel_order) * ChannelSize(format.image_channel_data_type);
}

void CImageFormat::EncodeColor(const cl_image_format& format, const void* pColor, uint8_t* pPixel)
{
    int vSource[4];
    ChannelSources(format.image_channel_order, vSource);
    const size_t nSize = ChannelSize(format.image_channel_data_type);
    float vFloat[4];
    int32_t vInt[4];
    uint32_t vUint[4];
    std::memcpy(vFloat, pColor, sizeof(vFloat));
    std::memcpy(vInt, pColor, sizeof(vInt));
    std::memcpy(vUint, pColor, sizeof(vUint));
    for (size_t c = 0; c < ChannelCount(format.image_channel_order); ++c)
    {
        const int nIn = vSource[c];
        uint8_t* pOut = pPixel + c * nSize;
        switch (format.image_channel_data_type)
        {
        case CL_SNORM_INT8:
            Store(pOut, int8_t(std::lround(Clamp(vFloat[nIn], -1.0f, 1.0f) * 127.0f)));
            break;
        case CL_SNORM_INT16:
            Store(pOut, int16_t(std::lround(Clamp(vFloat[nIn], -1.0f, 1.0f) * 32767.0f)));
            break;
        case CL_UNORM_INT8:
            Store(pOut, uint8_t(std::lround(Clamp(vFloat[nIn], 0.0f, 1.0f) * 255.0f)));
            break;
        case CL_UNORM_INT16:
            Store(pOut, uint16_t(std::lround(Clamp(vFloat[nIn], 0.0f, 1.0f) * 65535.0f)));
            break;
        case CL_SIGNED_INT8:
            Store(pOut, ClampInt<int8_t>(vInt[nIn]));
            break;
        case CL_SIGNED_INT16:
            Store(pOut, ClampInt<int16_t>(vInt[nIn]));
            break;
        case CL_SIGNED_INT32:
            Store(pOut, vInt[nIn]);
            break;
        case CL_UNSIGNED_INT8:
            Store(pOut, ClampInt<uint8_t>(vUint[nIn]));
            break;
        case CL_UNSIGNED_INT16:
            Store(pOut, ClampInt<uint16_t>(vUint[nIn]));
            break;
        case CL_UNSIGNED_INT32:
            Store(pOut, vUint[nIn]);
            break;
        case CL_HALF_FLOAT:
            Store(pOut, FloatToHalf(vFloat[nIn]));
            break;
        default:
            Store(pOut, vFloat[nIn]);
            break;
        }
    }
}
} // namespace XAN_Platform
