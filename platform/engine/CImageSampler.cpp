#include "CImageSampler.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace XAN_Platform
{
namespace
{
uint32_t ChannelCount(uint32_t nChannelOrder)
{
    switch (nChannelOrder)
    {
    case CO_R:
    case CO_A:
    case CO_Intensity:
    case CO_Luminance:
        return 1;
    case CO_RG:
    case CO_RA:
        return 2;
    case CO_RGB:
        return 3;
    case CO_RGBA:
    case CO_BGRA:
    case CO_ARGB:
        return 4;
    default:
        return 0;
    }
}

uint32_t ChannelBytes(uint32_t nChannelType)
{
    switch (nChannelType)
    {
    case CT_SNormInt8:
    case CT_UNormInt8:
    case CT_SignedInt8:
    case CT_UnsignedInt8:
        return 1;
    case CT_SNormInt16:
    case CT_UNormInt16:
    case CT_SignedInt16:
    case CT_UnsignedInt16:
        return 2;
    case CT_SignedInt32:
    case CT_UnsignedInt32:
    case CT_Float:
        return 4;
    default:
        return 0;
    }
}

uint32_t FloatBits(float f)
{
    uint32_t n = 0;
    std::memcpy(&n, &f, sizeof(n));
    return n;
}

float BitsFloat(uint32_t n)
{
    float f = 0;
    std::memcpy(&f, &n, sizeof(f));
    return f;
}

// The word a channel reads as: normalised types become floats, integers widen by their sign.
uint32_t DecodeChannel(uint32_t nChannelType, const uint8_t* p)
{
    uint8_t n8 = 0;
    uint16_t n16 = 0;
    uint32_t n32 = 0;
    std::memcpy(&n8, p, 1);
    switch (nChannelType)
    {
    case CT_SNormInt8:
        return FloatBits(std::max(-1.0f, float(int8_t(n8)) / 127.0f));
    case CT_UNormInt8:
        return FloatBits(float(n8) / 255.0f);
    case CT_SignedInt8:
        return uint32_t(int32_t(int8_t(n8)));
    case CT_UnsignedInt8:
        return n8;
    default:
        break;
    }
    if (ChannelBytes(nChannelType) == 2)
    {
        std::memcpy(&n16, p, 2);
        switch (nChannelType)
        {
        case CT_SNormInt16:
            return FloatBits(std::max(-1.0f, float(int16_t(n16)) / 32767.0f));
        case CT_UNormInt16:
            return FloatBits(float(n16) / 65535.0f);
        case CT_SignedInt16:
            return uint32_t(int32_t(int16_t(n16)));
        default:
            return n16;
        }
    }
    std::memcpy(&n32, p, 4);
    return n32;
}

// Normalised writes round to nearest even and saturate; integer writes saturate to the
// channel's range, as the write_image functions do.
void EncodeChannel(uint32_t nChannelType, uint32_t nValue, uint8_t* p)
{
    const float f = BitsFloat(nValue);
    const auto Normalise = [f](float fScale, float fMin)
    { return std::isnan(f) ? 0.0f : std::nearbyint(std::min(std::max(f, fMin), 1.0f) * fScale); };
    const auto Store = [p](auto n) { std::memcpy(p, &n, sizeof(n)); };
    const int32_t nSigned = int32_t(nValue);
    switch (nChannelType)
    {
    case CT_SNormInt8:
        return Store(int8_t(Normalise(127.0f, -1.0f)));
    case CT_UNormInt8:
        return Store(uint8_t(Normalise(255.0f, 0.0f)));
    case CT_SNormInt16:
        return Store(int16_t(Normalise(32767.0f, -1.0f)));
    case CT_UNormInt16:
        return Store(uint16_t(Normalise(65535.0f, 0.0f)));
    case CT_SignedInt8:
        return Store(int8_t(std::min(std::max(nSigned, -128), 127)));
    case CT_SignedInt16:
        return Store(int16_t(std::min(std::max(nSigned, -32768), 32767)));
    case CT_UnsignedInt8:
        return Store(uint8_t(std::min(nValue, 0xFFu)));
    case CT_UnsignedInt16:
        return Store(uint16_t(std::min(nValue, 0xFFFFu)));
    default:
        return Store(nValue);
    }
}

// Where channel c of the stored order lands in (r, g, b, a); Intensity and Luminance copy
// their one channel further in Swizzle.
uint32_t ChannelSlot(uint32_t nChannelOrder, uint32_t c)
{
    static const uint32_t vBGRA[4] = {2, 1, 0, 3};
    static const uint32_t vARGB[4] = {3, 0, 1, 2};
    switch (nChannelOrder)
    {
    case CO_A:
        return 3;
    case CO_RA:
        return c == 0 ? 0 : 3;
    case CO_BGRA:
        return vBGRA[c];
    case CO_ARGB:
        return vARGB[c];
    default:
        return c;
    }
}

// Saturating, so that coordinates far outside the image or NaN can't overflow the index.
int32_t Floor(float f)
{
    return std::isnan(f)
               ? 0
               : int32_t(std::min(std::max(std::floor(f), -2147483520.0f), 2147483520.0f));
}

// Mirrors s into [0, 1] around the even integers.
float Mirror(float s)
{
    return std::fabs(s - 2.0f * std::rint(0.5f * s));
}

// The texel indices and weight of one coordinate. Nearest fills only i0.
struct SAxis
{
    int32_t i0 = 0;
    int32_t i1 = 0;
    float fWeight = 0;
};

SAxis Address(uint32_t nSampler, bool bLinear, float s, int32_t nSize)
{
    const bool bNormalized = (nSampler & SB_NormalizedCoords) != 0;
    const uint32_t nMode = nSampler & SB_AddressMask;
    const float fSize = float(nSize);
    SAxis axis;
    if (bNormalized && nMode == SB_AddressRepeat)
    {
        const float u = (s - std::floor(s)) * fSize;
        if (!bLinear)
        {
            axis.i0 = Floor(u) > nSize - 1 ? Floor(u) - nSize : Floor(u);
            return axis;
        }
        axis.i0 = Floor(u - 0.5f);
        axis.i1 = axis.i0 + 1;
        axis.fWeight = (u - 0.5f) - std::floor(u - 0.5f);
        axis.i0 = axis.i0 < 0 ? axis.i0 + nSize : axis.i0;
        axis.i1 = axis.i1 > nSize - 1 ? axis.i1 - nSize : axis.i1;
        return axis;
    }
    if (bNormalized && nMode == SB_AddressMirroredRepeat)
    {
        const float u = Mirror(s) * fSize;
        if (!bLinear)
        {
            axis.i0 = std::min(Floor(u), nSize - 1);
            return axis;
        }
        axis.i0 = std::max(Floor(u - 0.5f), 0);
        axis.i1 = std::min(Floor(u - 0.5f) + 1, nSize - 1);
        axis.fWeight = (u - 0.5f) - std::floor(u - 0.5f);
        return axis;
    }
    const float u = bNormalized ? s * fSize : s;
    // Clamp keeps one texel of border on each side, read as the border colour; no addressing
    // reads outside as the border too rather than fault.
    const int32_t nLow = nMode == SB_AddressClampToEdge ? 0 : -1;
    const int32_t nHigh = nMode == SB_AddressClampToEdge ? nSize - 1 : nSize;
    const auto Clamp = [nLow, nHigh](float f) { return std::min(std::max(Floor(f), nLow), nHigh); };
    if (!bLinear)
    {
        axis.i0 = Clamp(u);
        return axis;
    }
    axis.i0 = Clamp(u - 0.5f);
    axis.i1 = Clamp(u - 0.5f + 1.0f);
    axis.fWeight = (u - 0.5f) - std::floor(u - 0.5f);
    return axis;
}
} // namespace

uint32_t CImageSampler::GetElementSize(uint32_t nChannelOrder, uint32_t nChannelType)
{
    return ChannelCount(nChannelOrder) * ChannelBytes(nChannelType);
}

bool CImageSampler::IsIntegerType(uint32_t nChannelType)
{
    switch (nChannelType)
    {
    case CT_SignedInt8:
    case CT_SignedInt16:
    case CT_SignedInt32:
    case CT_UnsignedInt8:
    case CT_UnsignedInt16:
    case CT_UnsignedInt32:
        return true;
    default:
        return false;
    }
}

void CImageSampler::BorderColor(const SImageView& image, uint32_t vResult[4])
{
    const bool bAlpha = image.nChannelOrder == CO_A || image.nChannelOrder == CO_RA ||
                        image.nChannelOrder == CO_RGBA || image.nChannelOrder == CO_BGRA ||
                        image.nChannelOrder == CO_ARGB || image.nChannelOrder == CO_Intensity;
    const uint32_t nOne = IsIntegerType(image.nChannelType) ? 1u : FloatBits(1.0f);
    vResult[0] = vResult[1] = vResult[2] = 0;
    vResult[3] = bAlpha ? 0 : nOne;
}

void CImageSampler::Load(const SImageView& image, const int32_t vCoord[3], uint32_t vResult[4])
{
    const uint32_t nElement = GetElementSize(image.nChannelOrder, image.nChannelType);
    for (uint32_t d = 0; d < 3; ++d)
    {
        if (nElement == 0 || image.pData == nullptr || vCoord[d] < 0 ||
            uint32_t(vCoord[d]) >= image.vExtent[d])
        {
            BorderColor(image, vResult);
            return;
        }
    }
    const uint8_t* pTexel = image.pData + uint64_t(vCoord[2]) * image.nSlicePitch +
                            uint64_t(vCoord[1]) * image.nRowPitch + uint64_t(vCoord[0]) * nElement;
    const uint32_t nCount = ChannelCount(image.nChannelOrder);
    const uint32_t nBytes = ChannelBytes(image.nChannelType);
    const uint32_t nOne = IsIntegerType(image.nChannelType) ? 1u : FloatBits(1.0f);
    vResult[0] = vResult[1] = vResult[2] = 0;
    vResult[3] = nOne;
    for (uint32_t c = 0; c < nCount; ++c)
    {
        vResult[ChannelSlot(image.nChannelOrder, c)] =
            DecodeChannel(image.nChannelType, pTexel + c * nBytes);
    }
    if (image.nChannelOrder == CO_Intensity)
    {
        vResult[1] = vResult[2] = vResult[3] = vResult[0];
    }
    else if (image.nChannelOrder == CO_Luminance)
    {
        vResult[1] = vResult[2] = vResult[0];
    }
}

void CImageSampler::Sample(const SImageView& image, uint32_t nSampler, const float vCoord[3],
                           uint32_t vResult[4])
{
    const bool bLinear = (nSampler & SB_FilterLinear) != 0 && !IsIntegerType(image.nChannelType);
    const uint32_t nDimensions = std::min(std::max(image.nDimensions, 1u), 3u);
    SAxis vAxis[3];
    for (uint32_t d = 0; d < nDimensions; ++d)
    {
        vAxis[d] = Address(nSampler, bLinear, vCoord[d], int32_t(image.vExtent[d]));
    }
    if (!bLinear)
    {
        const int32_t vTexel[3] = {vAxis[0].i0, vAxis[1].i0, vAxis[2].i0};
        Load(image, vTexel, vResult);
        return;
    }
    // The weighted sum of the 2, 4 or 8 texels around the coordinates.
    float vSum[4] = {0, 0, 0, 0};
    for (uint32_t nCorner = 0; nCorner < (1u << nDimensions); ++nCorner)
    {
        int32_t vTexel[3] = {0, 0, 0};
        float fWeight = 1.0f;
        for (uint32_t d = 0; d < nDimensions; ++d)
        {
            const bool bHigh = (nCorner >> d & 1u) != 0;
            vTexel[d] = bHigh ? vAxis[d].i1 : vAxis[d].i0;
            fWeight *= bHigh ? vAxis[d].fWeight : 1.0f - vAxis[d].fWeight;
        }
        uint32_t vTexelValue[4];
        Load(image, vTexel, vTexelValue);
        for (uint32_t c = 0; c < 4; ++c)
        {
            vSum[c] += fWeight * BitsFloat(vTexelValue[c]);
        }
    }
    for (uint32_t c = 0; c < 4; ++c)
    {
        vResult[c] = FloatBits(vSum[c]);
    }
}

void CImageSampler::Write(const SImageView& image, const int32_t vCoord[3],
                          const uint32_t vValue[4], uint8_t* pData)
{
    const uint32_t nElement = GetElementSize(image.nChannelOrder, image.nChannelType);
    for (uint32_t d = 0; d < 3; ++d)
    {
        if (nElement == 0 || pData == nullptr || vCoord[d] < 0 ||
            uint32_t(vCoord[d]) >= image.vExtent[d])
        {
            return;
        }
    }
    uint8_t* pTexel = pData + uint64_t(vCoord[2]) * image.nSlicePitch +
                      uint64_t(vCoord[1]) * image.nRowPitch + uint64_t(vCoord[0]) * nElement;
    const uint32_t nBytes = ChannelBytes(image.nChannelType);
    for (uint32_t c = 0; c < ChannelCount(image.nChannelOrder); ++c)
    {
        EncodeChannel(image.nChannelType, vValue[ChannelSlot(image.nChannelOrder, c)],
                      pTexel + c * nBytes);
    }
}
} // namespace XAN_Platform
