#ifndef BUFFER_DESC_H
#define BUFFER_DESC_H

#include <CL/cl.h>

#include <cstdint>

// Kinds of device buffer. The numbers are shared by every back-end of the debugger core.
enum BufferType : uint32_t
{
    BT_Unknown = 0,
    BT_Buffer = 1,
    BT_Image1D = 2,
    BT_Image2D = 3,
    BT_Image3D = 5,
    BT_Value = 6,
    BT_LocalBuffer = 7,
};

// Element formats of device buffers, shared by every back-end.
enum BufferFormat : uint32_t
{
    BF_Unknown = 0,
    BF_RGBA32 = 1,
    BF_RGBA16 = 2,
    BF_RGBA8 = 3,
    BF_RGB32 = 4,
    BF_RGB16 = 5,
    BF_RGB8 = 6,
    BF_RG32 = 7,
    BF_RG16 = 8,
    BF_RG8 = 9,
    BF_R32 = 10,
    BF_R16 = 11,
    BF_R8 = 12,
    BF_Bytes = 13,
    BF_RGBA32Alt = 14,
};

// Describes one device resource, from a kernel argument to the debugger's own result buffers.
// A new descriptor is zero-filled: no type, no format, no extents.
struct BufferDesc
{
    BufferType m_Type = BT_Unknown;
    BufferFormat m_Format = BF_Unknown;
    // The first marks the debugger's result buffers; the OpenCL back-end reads neither.
    uint32_t m_nReserved0 = 0;
    uint32_t m_nReserved1 = 0;
    uint32_t m_nShaderType = 0;
    uint32_t m_nWidth = 0;
    uint32_t m_nHeight = 0;
    uint32_t m_nDepth = 0;
    uint64_t m_nReserved2 = 0;
    // Bytes of a buffer or a value.
    uint64_t m_nSize = 0;
    // Slices of an image array.
    uint32_t m_nArraySize = 0;
    uint32_t m_nReserved3 = 0;
    uint32_t m_nReserved4 = 0;
    uint64_t m_nRowPitch = 0;
    uint64_t m_nReserved5 = 0;
};

// Bytes of one element; 0 for BF_Unknown, for BF_Bytes, whose length is the descriptor's size,
// and for a value outside the enumeration.
uint32_t GetBufferFormatElementSize(BufferFormat format);

// The image format that a device image of this format is created with. False for BF_Unknown,
// BF_Bytes and values outside the enumeration, which no image can have.
bool GetCLImageFormat(BufferFormat format, cl_image_format& imageFormat);

// The format of an OpenCL image, by its number of channels and bits per channel alone: whether
// the channels hold floats or integers is lost. BF_Unknown when no format fits.
BufferFormat GetBufferFormat(const cl_image_format& imageFormat);

#endif
