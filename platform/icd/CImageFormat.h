#ifndef XAN_PLATFORM_CIMAGEFORMAT_H
#define XAN_PLATFORM_CIMAGEFORMAT_H

#include <CL/cl.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace XAN_Platform
{
// The image formats of the device: every channel order with every plain channel type it can
// hold, including the three-channel integer formats that OpenCL leaves out.
class CImageFormat
{
public:
    static const std::vector<cl_image_format>& GetSupported();
    // Bytes of one pixel; 0 for a format the device doesn't have.
    static size_t GetElementSize(const cl_image_format& format);
    // Writes the pixel of a fill color (four floats, ints or uints, by the channel type).
    static void EncodeColor(const cl_image_format& format, const void* pColor, uint8_t* pPixel);
};
} // namespace XAN_Platform

#endif
