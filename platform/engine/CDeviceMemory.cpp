#include "CDeviceMemory.h"

#include <cstdlib>
#include <new>

namespace XAN_Platform
{
namespace
{
uint64_t RoundUp(uint64_t nValue, uint64_t nAlignment)
{
    return (nValue + nAlignment - 1) / nAlignment * nAlignment;
}
} // namespace

CDeviceBuffer::CDeviceBuffer(uint64_t nAddress, size_t nSize)
    : m_nAddress(nAddress), m_nSize(nSize),
      m_pData(static_cast<uint8_t*>(std::calloc(nSize != 0 ? nSize : 1, 1)))
{
    if (!m_pData)
    {
        throw std::bad_alloc();
    }
}

void CDeviceBuffer::SFree::operator()(uint8_t* pData) const
{
    std::free(pData);
}

CDeviceMemory::CDeviceMemory(bool b64BitAddresses)
    : m_nBase(b64BitAddresses ? 0x100000000ull : 0x10000ull),
      m_nLimit(b64BitAddresses ? 0x0000800000000000ull : 0x100000000ull)
{
}

std::shared_ptr<CDeviceBuffer> CDeviceMemory::Allocate(size_t nSize)
{
    if (nSize == 0 || nSize > m_nLimit - m_nBase)
    {
        return nullptr;
    }
    // The footprint includes one unmapped alignment unit as a guard gap.
    const uint64_t nFootprint = RoundUp(nSize, ALIGNMENT) + ALIGNMENT;
    std::lock_guard<std::mutex> lock(m_Mutex);
    // First fit from the bottom: addresses freed by released buffers are reused.
    uint64_t nCandidate = m_nBase;
    for (const auto& entry : m_Buffers)
    {
        if (entry.first - nCandidate >= nFootprint && entry.first >= nCandidate)
        {
            break;
        }
        nCandidate = entry.first + RoundUp(entry.second->GetSize(), ALIGNMENT) + ALIGNMENT;
    }
    if (nCandidate > m_nLimit || m_nLimit - nCandidate < nFootprint)
    {
        return nullptr;
    }
    std::shared_ptr<CDeviceBuffer> pBuffer;
    try
    {
        pBuffer = std::make_shared<CDeviceBuffer>(nCandidate, nSize);
    }
    catch (const std::bad_alloc&)
    {
        return nullptr;
    }
    m_Buffers.emplace(nCandidate, pBuffer);
    return pBuffer;
}

void CDeviceMemory::Release(const std::shared_ptr<CDeviceBuffer>& pBuffer)
{
    if (!pBuffer)
    {
        return;
    }
    std::lock_guard<std::mutex> lock(m_Mutex);
    auto it = m_Buffers.find(pBuffer->GetAddress());
    if (it != m_Buffers.end() && it->second == pBuffer)
    {
        m_Buffers.erase(it);
    }
}

std::shared_ptr<CDeviceBuffer> CDeviceMemory::Find(uint64_t nAddress) const
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    auto it = m_Buffers.upper_bound(nAddress);
    if (it == m_Buffers.begin())
    {
        return nullptr;
    }
    --it;
    if (nAddress - it->first < it->second->GetSize())
    {
        return it->second;
    }
    return nullptr;
}

std::vector<std::shared_ptr<CDeviceBuffer>> CDeviceMemory::Snapshot() const
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    std::vector<std::shared_ptr<CDeviceBuffer>> vBuffers;
    vBuffers.reserve(m_Buffers.size());
    for (const auto& entry : m_Buffers)
    {
        vBuffers.push_back(entry.second);
    }
    return vBuffers;
}
} // namespace XAN_Platform
