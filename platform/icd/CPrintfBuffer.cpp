#include "CPrintfBuffer.h"

#include "CDeviceMemory.h"
#include "CILEngine.h"
#include "CPrintfFormatter.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace XAN_Platform
{
CPrintfBuffer::CPrintfBuffer(const CPrintfFormatter& formatter, CDeviceMemory& memory)
    : m_Formatter(formatter), m_Memory(memory)
{
    if (formatter.IsEmpty())
    {
        return;
    }
    m_pBuffer = memory.Allocate(CPrintfFormatter::BUFFER_BYTES);
    if (m_pBuffer)
    {
        const uint32_t nStart = CPrintfFormatter::HEADER_BYTES;
        std::memcpy(m_pBuffer->GetData(), &nStart, sizeof(nStart));
    }
}

CPrintfBuffer::~CPrintfBuffer()
{
    if (m_pBuffer)
    {
        m_Memory.Release(m_pBuffer);
    }
}

// Without a buffer the kernel's records find no room, and printf returns -1.
void CPrintfBuffer::Attach(SLaunchDesc& desc) const
{
    if (m_pBuffer)
    {
        desc.nPrintfAddress = m_pBuffer->GetAddress();
        desc.nPrintfBytes = uint32_t(m_pBuffer->GetSize());
    }
}

void CPrintfBuffer::Flush() const
{
    if (!m_pBuffer)
    {
        return;
    }
    uint32_t nEnd = 0;
    std::memcpy(&nEnd, m_pBuffer->GetData(), sizeof(nEnd));
    const size_t nUsed = std::min<size_t>(nEnd, m_pBuffer->GetSize());
    const uint32_t nHeader = CPrintfFormatter::HEADER_BYTES;
    const std::string strText =
        nUsed > nHeader ? m_Formatter.Format(m_pBuffer->GetData() + nHeader, nUsed - nHeader)
                        : std::string();
    std::fwrite(strText.data(), 1, strText.size(), stdout);
    std::fflush(stdout);
    if (nEnd > m_pBuffer->GetSize())
    {
        std::fprintf(stderr,
                     "Nordvane OpenCL: the printf buffer of %zu bytes ran full; later "
                     "printf calls of the kernel printed nothing\n",
                     m_pBuffer->GetSize());
    }
}
} // namespace XAN_Platform
