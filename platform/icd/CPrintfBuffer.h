#ifndef XAN_PLATFORM_CPRINTFBUFFER_H
#define XAN_PLATFORM_CPRINTFBUFFER_H

#include <memory>

namespace XAN_Platform
{
class CDeviceBuffer;
class CDeviceMemory;
class CPrintfFormatter;
struct SLaunchDesc;

// The printf buffer of one launch of a kernel that calls printf: device memory for the launch,
// whose records go to stdout when the kernel has run, as OpenCL 1.2 prints them.
class CPrintfBuffer
{
public:
    // No buffer for a kernel without printf calls.
    CPrintfBuffer(const CPrintfFormatter& formatter, CDeviceMemory& memory);
    ~CPrintfBuffer();
    CPrintfBuffer(const CPrintfBuffer&) = delete;
    CPrintfBuffer& operator=(const CPrintfBuffer&) = delete;

    void Attach(SLaunchDesc& desc) const;
    // Prints the records on stdout; a buffer that ran full says so on stderr.
    void Flush() const;

private:
    const CPrintfFormatter& m_Formatter;
    CDeviceMemory& m_Memory;
    std::shared_ptr<CDeviceBuffer> m_pBuffer;
};
} // namespace XAN_Platform

#endif
