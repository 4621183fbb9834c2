#ifndef XAN_PLATFORM_CIMAGESAMPLER_H
#define XAN_PLATFORM_CIMAGESAMPLER_H

#include <cstdint>

namespace XAN_Platform
{
// Channel orders and types carry the OpenCL API's numbers, so that the ICD passes an image
// format through unchanged.
enum EChannelOrder : uint32_t
{
    CO_R = 0x10B0,
    CO_A = 0x10B1,
    CO_RG = 0x10B2,
    CO_RA = 0x10B3,
    CO_RGB = 0x10B4,
    CO_RGBA = 0x10B5,
    CO_BGRA = 0x10B6,
    CO_ARGB = 0x10B7,
    CO_Intensity = 0x10B8,
    CO_Luminance = 0x10B9,
};

enum EChannelType : uint32_t
{
    CT_SNormInt8 = 0x10D0,
    CT_SNormInt16 = 0x10D1,
    CT_UNormInt8 = 0x10D2,
    CT_UNormInt16 = 0x10D3,
    CT_SignedInt8 = 0x10D7,
    CT_SignedInt16 = 0x10D8,
    CT_SignedInt32 = 0x10D9,
    CT_UnsignedInt8 = 0x10DA,
    CT_UnsignedInt16 = 0x10DB,
    CT_UnsignedInt32 = 0x10DC,
    CT_Float = 0x10DE,
};

// The sampler bits of OpenCL C's sampler_t constants.
enum ESamplerBits : uint32_t
{
    SB_NormalizedCoords = 0x1,
    SB_AddressMask = 0xE,
    SB_AddressNone = 0x0,
    SB_AddressClampToEdge = 0x2,
    SB_AddressClamp = 0x4,
    SB_AddressRepeat = 0x6,
    SB_AddressMirroredRepeat = 0x8,
    SB_FilterNearest = 0x10,
    SB_FilterLinear = 0x20,
};

// An image bound to a resource id: where its tightly or loosely packed texels are and how
// they are encoded. An image of fewer dimensions has extent 1 in the others.
struct SImageView
{
    const uint8_t* pData = nullptr;
    uint32_t vExtent[3] = {1, 1, 1};
    uint32_t nDimensions = 2;
    uint32_t nChannelOrder = CO_RGBA;
    uint32_t nChannelType = CT_Float;
    uint32_t nRowPitch = 0;
    uint32_t nSlicePitch = 0;
};

// An image a launch binds to a resource id (read by sample and load) or to a UAV id (written
// by uav_store). The view's data pointer is unused: the address locates the texels in the
// launch's memory.
struct SImageBinding
{
    uint32_t nId = 0;
    bool bUAV = false;
    uint64_t nAddress = 0;
    SImageView layout;
};

// Reads and writes texels of an image by the OpenCL 1.2 sampling rules. Results are four
// 32-bit words: floats for normalised and float formats, integers for the integer ones.
class CImageSampler
{
public:
    // Bytes of one texel, 0 for a format the device doesn't have.
    static uint32_t GetElementSize(uint32_t nChannelOrder, uint32_t nChannelType);
    // Whether reads return integers rather than floats.
    static bool IsIntegerType(uint32_t nChannelType);

    // Samples at the coordinates (x, y, z, as many as the image has dimensions) with the
    // sampler bits. Linear filtering applies to float results only; integer formats filter
    // by the nearest texel.
    static void Sample(const SImageView& image, uint32_t nSampler, const float vCoord[3],
                       uint32_t vResult[4]);

    // Reads the texel at integer coordinates, the border colour outside the image.
    static void Load(const SImageView& image, const int32_t vCoord[3], uint32_t vResult[4]);

    // Writes one texel: the words are floats or integers as Sample returns them. Writes
    // outside the image are dropped.
    static void Write(const SImageView& image, const int32_t vCoord[3], const uint32_t vValue[4],
                      uint8_t* pData);

private:
    static void BorderColor(const SImageView& image, uint32_t vResult[4]);
};
} // namespace XAN_Platform

#endif
