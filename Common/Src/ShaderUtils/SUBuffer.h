#ifndef SU_BUFFER_H
#define SU_BUFFER_H

#include "BufferDesc.h"
#include "ShaderDebugger.h"

#include <cstddef>
#include <cstdint>

namespace ShaderUtils
{
// No thread: two dimensions, every coordinate and the slice -1.
extern const ThreadID g_ThreadID_NULL;

// What one run of a patched shader wrote, on the host: one element per thread in one or more
// sub-resources (planes) that stand one behind the other. Element (x, y, z) of a sub-resource
// is element number (z * height + y) * width + x; the row pitch plays no part in that number.
class SUBuffer
{
public:
    SUBuffer();
    SUBuffer(const SUBuffer& other);
    SUBuffer& operator=(const SUBuffer& other);
    virtual ~SUBuffer();

    // Allocates the sub-resources described, zeroed; pInitial, if given, fills the first.
    bool Create(const BufferDesc& desc, const void* pInitial);
    // Describes the buffer as Create does, for a read that overwrites every byte next: memory
    // of the same size is kept with its contents, any other is created anew.
    bool Reshape(const BufferDesc& desc);
    // The same from single values: depth and array size 1.
    virtual bool Create(uint32_t nShaderType, uint32_t nWidth, uint32_t nHeight, uint32_t nRowPitch,
                        uint32_t nType, uint32_t nFormat, uint32_t nReserved, const void* pInitial);

    // Copies nSubResourceCount sub-resources from nSubResource on (-1: all the rest) out of
    // pData, whose rows lie nSrcPitch bytes apart (0: packed rows).
    bool UpdateSubResources(const void* pData, size_t nSrcPitch, uint32_t nSubResource,
                            uint32_t nSubResourceCount);
    uint8_t* GetSubResource(uint32_t nSubResource) const;

    const BufferDesc& GetDesc() const { return m_Desc; }
    uint64_t GetSubResourceSize() const { return m_nSubResourceSize; }
    uint32_t GetSubResourceCount() const { return m_nSubResourceCount; }
    uint32_t GetWidth() const { return m_Desc.m_nWidth; }
    uint32_t GetHeight() const { return m_Desc.m_nHeight; }
    uint32_t GetDepth() const { return m_Desc.m_nDepth; }
    BufferFormat GetFormat() const { return m_Desc.m_Format; }
    BufferType GetType() const { return m_Desc.m_Type; }
    uint64_t GetDataSize() const { return m_nDataSize; }
    uint32_t GetDimensionCount() const;

    bool IsValidThreadID(const ThreadID& id) const;

    // The element of a thread, for BF_RGBA32 and BF_RGBA32Alt (four words, kept as raw bits in
    // float slots), BF_R8 (one byte) and BF_RGBA8 (four bytes). False for any other format or
    // a thread outside the buffer.
    bool GetPixel(float (&value)[4], const ThreadID& id) const;
    bool GetPixel(uint8_t& value, const ThreadID& id) const;
    bool GetPixel(uint8_t (&value)[4], const ThreadID& id) const;

    // The first thread whose element equals value, searched column by column in sub-resource
    // nSubResource, or in all of them for 0xFFFFFFFF; g_ThreadID_NULL when none does.
    void FindPixel(ThreadID& id, const float (&value)[4], uint32_t nSubResource) const;
    void FindPixel(ThreadID& id, uint8_t value, uint32_t nSubResource) const;
    void FindPixel(ThreadID& id, const uint8_t (&value)[4], uint32_t nSubResource) const;

    // The elements of one sub-resource of a mask that aren't all zero; 0 for a null mask.
    static uint32_t CountActive(const SUBuffer* pMask, uint32_t nSubResource);
    // Elements in one sub-resource; 0 for a null buffer and for BF_Bytes.
    static uint64_t GetElementCount(const SUBuffer* pBuffer);

    // Copies nComponents components (0: all) from component nSrcComponent of each source element
    // to component nDstComponent of the destination element where the mask element is active
    // (inactive with bInvert): a thread that didn't execute keeps its old value. Sub-resource p
    // of the mask serves sub-resource p of the data when both have as many; otherwise the mask's
    // first serves all.
    static bool MergeBuffer(SUBuffer* pDst, const SUBuffer* pSrc, const SUBuffer* pMask,
                            bool bInvert, size_t nDstComponent, size_t nSrcComponent,
                            size_t nComponents);

private:
    void CopyFrom(const SUBuffer& other);
    // Takes desc and derives the sizes from it; false for an invalid format or sizes that
    // overflow.
    bool Describe(const BufferDesc& desc);
    void Clear();
    // The element of a thread if the buffer has one of the two formats; null otherwise.
    const uint8_t* GetElement(const ThreadID& id, BufferFormat format,
                              BufferFormat altFormat) const;
    template <class TValue>
    void FindValue(ThreadID& id, const TValue& value, uint32_t nSubResource,
                   uint32_t nDimensions) const;

    BufferDesc m_Desc;
    uint64_t m_nElementSize;
    uint64_t m_nSubResourceSize;
    uint32_t m_nSubResourceCount;
    uint64_t m_nDataSize;
    uint8_t* m_pData;
};
} // namespace ShaderUtils

#endif
