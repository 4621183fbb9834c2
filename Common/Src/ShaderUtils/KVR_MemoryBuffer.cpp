#include "ShaderUtils/KVR_MemoryBuffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace KVR_Memory
{
bool KVR_MemoryBuffer::Grow(size_t nExtra)
{
    if (nExtra > SIZE_MAX - m_nCapacity - m_nBlockSize)
    {
        return false;
    }
    const size_t nCapacity =
        (m_nCapacity + nExtra + m_nBlockSize - 1) / m_nBlockSize * m_nBlockSize;
    uint8_t* pData = static_cast<uint8_t*>(std::realloc(m_pData, nCapacity));
    if (pData == NULL)
    {
        return false;
    }
    m_pData = pData;
    m_nCapacity = nCapacity;
    return true;
}

size_t KVR_MemoryBuffer::Write(const void* p, size_t n)
{
    if (p == NULL || n == 0)
    {
        return 0;
    }
    if (m_nCapacity - m_nPosition < n)
    {
        Grow(n);
    }
    const size_t nCopy = std::min<size_t>(m_nCapacity - m_nPosition, n);
    if (nCopy != 0)
    {
        std::memcpy(m_pData + m_nPosition, p, nCopy);
    }
    m_nPosition += nCopy;
    return nCopy;
}

size_t KVR_MemoryBuffer::WriteAt(size_t nOffset, const void* p, size_t n)
{
    if (p == NULL || n == 0 || nOffset > SIZE_MAX - n)
    {
        return 0;
    }
    const size_t nEnd = nOffset + n;
    if (nEnd > m_nCapacity)
    {
        Grow(nEnd);
    }
    if (nOffset >= m_nCapacity)
    {
        return 0;
    }
    const size_t nCopy = std::min<size_t>(m_nCapacity - nOffset, n);
    std::memcpy(m_pData + nOffset, p, nCopy);
    m_nPosition = std::max<size_t>(m_nPosition, nOffset + nCopy);
    return nCopy;
}

size_t KVR_MemoryBuffer::Align2(uint8_t nFill)
{
    return (m_nPosition & 1) != 0 ? Write(&nFill, 1) : 0;
}

size_t KVR_MemoryBuffer::Align4(uint8_t nFill)
{
    size_t nWritten = 0;
    while ((m_nPosition & 3) != 0 && Write(&nFill, 1) == 1)
    {
        ++nWritten;
    }
    return nWritten;
}
} // namespace KVR_Memory
