#ifndef XAN_PLATFORM_CDEVICEMEMORY_H
#define XAN_PLATFORM_CDEVICEMEMORY_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace XAN_Platform
{
// One buffer of device memory: zero-filled storage at a fixed device address.
class CDeviceBuffer
{
public:
    CDeviceBuffer(uint64_t nAddress, size_t nSize);
    CDeviceBuffer(const CDeviceBuffer&) = delete;
    CDeviceBuffer& operator=(const CDeviceBuffer&) = delete;

    uint64_t GetAddress() const { return m_nAddress; }
    size_t GetSize() const { return m_nSize; }
    uint8_t* GetData() { return m_pData.get(); }
    const uint8_t* GetData() const { return m_pData.get(); }

private:
    struct SFree
    {
        void operator()(uint8_t* pData) const;
    };

    uint64_t m_nAddress;
    size_t m_nSize;
    // From calloc: large buffers come from the system already zero, without a pass over them.
    std::unique_ptr<uint8_t[], SFree> m_pData;
};

// The device's flat global address space. Every buffer gets a unique, non-zero,
// 256-byte-aligned address that stays valid for its lifetime, with an unmapped gap
// behind it so that running off its end never lands in a neighbour. The 32-bit
// space keeps every address below 2^32; the 64-bit one places every buffer at or
// above 2^32, so that code which drops the high word of an address fails visibly.
class CDeviceMemory
{
public:
    static const uint64_t ALIGNMENT = 256;

    explicit CDeviceMemory(bool b64BitAddresses);
    CDeviceMemory(const CDeviceMemory&) = delete;
    CDeviceMemory& operator=(const CDeviceMemory&) = delete;

    // A new zero-filled buffer, or null when the size is 0 or the space is full.
    std::shared_ptr<CDeviceBuffer> Allocate(size_t nSize);

    // Unmaps a buffer. Launches that are running keep its storage until they end.
    void Release(const std::shared_ptr<CDeviceBuffer>& pBuffer);

    // The buffer that holds the address, or null.
    std::shared_ptr<CDeviceBuffer> Find(uint64_t nAddress) const;

    // Every mapped buffer in address order; a launch works on such a snapshot.
    std::vector<std::shared_ptr<CDeviceBuffer>> Snapshot() const;

    // The device's lock words: below every buffer, at an address that never changes, for the
    // atomics that the IL has no instruction for (compiled kernels lock around them).
    uint64_t GetLockAddress() const { return m_nBase - 2 * ALIGNMENT; }
    uint8_t* GetLockData() { return m_vLock; }

private:
    alignas(8) uint8_t m_vLock[ALIGNMENT] = {};
    uint64_t m_nBase;
    uint64_t m_nLimit;
    mutable std::mutex m_Mutex;
    std::map<uint64_t, std::shared_ptr<CDeviceBuffer>> m_Buffers;
};
} // namespace XAN_Platform

#endif
