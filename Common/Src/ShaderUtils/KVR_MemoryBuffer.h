#ifndef KVR_MEMORY_BUFFER_H
#define KVR_MEMORY_BUFFER_H

#include <cstddef>
#include <cstdint>

namespace KVR_Memory
{
// A growing byte writer. The memory stays the caller's: the destructor leaves it alone, and the
// caller frees GetData() with free().
class KVR_MemoryBuffer
{
public:
    KVR_MemoryBuffer()
        : m_pData(NULL), m_nReserved(0), m_nPosition(0), m_nCapacity(0), m_nBlockSize(4096)
    {
    }
    virtual ~KVR_MemoryBuffer() {}

    uint8_t* GetData() const { return m_pData; }
    size_t GetPosition() const { return m_nPosition; }
    size_t GetCapacity() const { return m_nCapacity; }

    // Capacity + nExtra, rounded up to whole blocks; false leaves the old block as it was.
    bool Grow(size_t nExtra);
    // Appends; gives the bytes copied, short when memory ran out.
    size_t Write(const void* p, size_t n);
    // Writes at an absolute offset; writing behind the position never moves it back.
    size_t WriteAt(size_t nOffset, const void* p, size_t n);
    // A word at the position, little-endian as the containers want it.
    size_t WriteDword(uint32_t nValue) { return Write(&nValue, sizeof(nValue)); }
    size_t WriteDwordAt(size_t nOffset, uint32_t nValue)
    {
        return WriteAt(nOffset, &nValue, sizeof(nValue));
    }
    size_t Align2(uint8_t nFill);
    size_t Align4(uint8_t nFill);

private:
    uint8_t* m_pData;
    // Unused; the fields keep the order of the original writer.
    [[maybe_unused]] uint64_t m_nReserved;
    uint64_t m_nPosition;
    uint64_t m_nCapacity;
    uint64_t m_nBlockSize;
};
} // namespace KVR_Memory

#endif
