#include "ShaderUtils/SUBuffer.h"

#include "ConsistencyAssert.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace ShaderUtils
{
const ThreadID g_ThreadID_NULL(2, -1, -1, -1, 0xFFFFFFFF);

namespace
{
const uint32_t ALL_SUB_RESOURCES = 0xFFFFFFFF;

bool SameDesc(const BufferDesc& a, const BufferDesc& b)
{
    return a.m_Type == b.m_Type && a.m_Format == b.m_Format && a.m_nReserved0 == b.m_nReserved0 &&
           a.m_nReserved1 == b.m_nReserved1 && a.m_nShaderType == b.m_nShaderType &&
           a.m_nWidth == b.m_nWidth && a.m_nHeight == b.m_nHeight && a.m_nDepth == b.m_nDepth &&
           a.m_nReserved2 == b.m_nReserved2 && a.m_nSize == b.m_nSize &&
           a.m_nArraySize == b.m_nArraySize && a.m_nReserved3 == b.m_nReserved3 &&
           a.m_nReserved4 == b.m_nReserved4 && a.m_nRowPitch == b.m_nRowPitch &&
           a.m_nReserved5 == b.m_nReserved5;
}

// A mask element of 16 bytes is active when any of its four floats differs from 0.0.
struct FloatMask
{
    static const size_t nSize = 16;
    static bool IsActive(const uint8_t* p)
    {
        float f[4];
        std::memcpy(f, p, sizeof(f));
        return f[0] != 0.0f || f[1] != 0.0f || f[2] != 0.0f || f[3] != 0.0f;
    }
};

// Any other mask element is active when it isn't 0 as an integer of its size.
template <typename T> struct IntegerMask
{
    static const size_t nSize = sizeof(T);
    static bool IsActive(const uint8_t* p)
    {
        T v;
        std::memcpy(&v, p, sizeof(v));
        return v != 0;
    }
};

// For counting, a 16-byte element is four words: any bit set makes it active.
struct WordsMask
{
    static const size_t nSize = 16;
    static bool IsActive(const uint8_t* p)
    {
        uint32_t w[4];
        std::memcpy(w, p, sizeof(w));
        return (w[0] | w[1] | w[2] | w[3]) != 0;
    }
};

template <class TMask> uint32_t CountPlane(const uint8_t* pMask, uint64_t nElements)
{
    uint32_t nActive = 0;
    for (uint64_t i = 0; i < nElements; ++i, pMask += TMask::nSize)
    {
        if (TMask::IsActive(pMask))
        {
            ++nActive;
        }
    }
    return nActive;
}

// One plane of a merge. Each destination group and mask size has its own instance, so that the
// formats are decided once per merge and not per element.
typedef void (*PlaneMerger)(uint8_t* pDst, const uint8_t* pSrc, const uint8_t* pMask,
                            uint64_t nElements, bool bInvert, size_t nDstComponent,
                            size_t nSrcComponent, size_t nComponents);

template <typename TComponent, size_t C, class TMask>
void MergePlane(uint8_t* pDst, const uint8_t* pSrc, const uint8_t* pMask, uint64_t nElements,
                bool bInvert, size_t nDstComponent, size_t nSrcComponent, size_t nComponents)
{
    const size_t nElementSize = sizeof(TComponent) * C;
    const size_t nDstOffset = nDstComponent * sizeof(TComponent);
    const size_t nSrcOffset = nSrcComponent * sizeof(TComponent);
    const size_t nBytes = nComponents * sizeof(TComponent);
    for (uint64_t i = 0; i < nElements;
         ++i, pDst += nElementSize, pSrc += nElementSize, pMask += TMask::nSize)
    {
        if (TMask::IsActive(pMask) != bInvert)
        {
            std::memcpy(pDst + nDstOffset, pSrc + nSrcOffset, nBytes);
        }
    }
}

// Formats that a merge or a mask can't have; a value outside the enumeration is refused
// silently.
bool ReportUnsupportedFormat(BufferFormat format)
{
    switch (format)
    {
    case BF_RGBA16:
    case BF_RGB32:
    case BF_RGB16:
    case BF_RGB8:
    case BF_RG32:
        SDU_ReportConsistencyAssert(__func__, "Buffer format not supported");
        return false;
    default:
        return false;
    }
}

template <typename TComponent, size_t C> PlaneMerger SelectMaskLoop(BufferFormat maskFormat)
{
    switch (maskFormat)
    {
    case BF_RGBA32:
    case BF_RGBA32Alt:
        return &MergePlane<TComponent, C, FloatMask>;
    case BF_RGBA8:
    case BF_RG16:
    case BF_R32:
        return &MergePlane<TComponent, C, IntegerMask<uint32_t>>;
    case BF_RG8:
    case BF_R16:
        return &MergePlane<TComponent, C, IntegerMask<uint16_t>>;
    case BF_R8:
        return &MergePlane<TComponent, C, IntegerMask<uint8_t>>;
    default:
        ReportUnsupportedFormat(maskFormat);
        return NULL;
    }
}

// The loop for a destination format and a mask format, and the destination's component count.
PlaneMerger SelectMerger(BufferFormat dstFormat, BufferFormat maskFormat, size_t& nComponents)
{
    switch (dstFormat)
    {
    case BF_RGBA32:
    case BF_RGBA32Alt:
        nComponents = 4;
        return SelectMaskLoop<uint32_t, 4>(maskFormat);
    case BF_RGBA8:
        nComponents = 4;
        return SelectMaskLoop<uint8_t, 4>(maskFormat);
    case BF_RG16:
        nComponents = 2;
        return SelectMaskLoop<uint16_t, 2>(maskFormat);
    case BF_RG8:
        nComponents = 2;
        return SelectMaskLoop<uint8_t, 2>(maskFormat);
    case BF_R32:
        nComponents = 1;
        return SelectMaskLoop<uint32_t, 1>(maskFormat);
    case BF_R16:
        nComponents = 1;
        return SelectMaskLoop<uint16_t, 1>(maskFormat);
    case BF_R8:
        nComponents = 1;
        return SelectMaskLoop<uint8_t, 1>(maskFormat);
    default:
        ReportUnsupportedFormat(dstFormat);
        return NULL;
    }
}

bool IsValidFormat(BufferFormat format)
{
    return format != BF_Unknown && format <= BF_RGBA32Alt;
}

bool Multiply(uint64_t a, uint64_t b, uint64_t& nProduct)
{
    return !__builtin_mul_overflow(a, b, &nProduct);
}
} // namespace

SUBuffer::SUBuffer()
    : m_nElementSize(0), m_nSubResourceSize(0), m_nSubResourceCount(0), m_nDataSize(0),
      m_pData(NULL)
{
}

SUBuffer::SUBuffer(const SUBuffer& other) : m_pData(NULL)
{
    CopyFrom(other);
}

SUBuffer& SUBuffer::operator=(const SUBuffer& other)
{
    if (this != &other)
    {
        std::free(m_pData);
        m_pData = NULL;
        CopyFrom(other);
    }
    return *this;
}

SUBuffer::~SUBuffer()
{
    std::free(m_pData);
}

void SUBuffer::CopyFrom(const SUBuffer& other)
{
    m_Desc = other.m_Desc;
    m_nElementSize = other.m_nElementSize;
    m_nSubResourceSize = other.m_nSubResourceSize;
    m_nSubResourceCount = other.m_nSubResourceCount;
    m_nDataSize = other.m_nDataSize;
    if (other.m_pData == NULL)
    {
        return;
    }
    m_pData = static_cast<uint8_t*>(std::malloc(m_nDataSize != 0 ? m_nDataSize : 1));
    SDU_ConsistencyAssert(m_pData != NULL);
    if (m_pData == NULL)
    {
        // An empty copy, as a failed Create leaves it.
        m_Desc.m_nWidth = 0;
        m_Desc.m_nHeight = 0;
        m_nDataSize = 0;
        return;
    }
    std::memcpy(m_pData, other.m_pData, m_nDataSize);
}

bool SUBuffer::Describe(const BufferDesc& desc)
{
    m_Desc = desc;
    m_nElementSize = m_Desc.m_Format == BF_Bytes ? 1 : GetBufferFormatElementSize(m_Desc.m_Format);
    bool bSizes = false;
    if (!IsValidFormat(m_Desc.m_Format))
    {
        SDU_ReportConsistencyAssert(__func__, "m_Format is valid");
        return false;
    }
    if (m_Desc.m_Format == BF_Bytes)
    {
        m_nSubResourceSize = m_Desc.m_nSize;
        bSizes = true;
    }
    else
    {
        const uint64_t nRow = static_cast<uint64_t>(m_Desc.m_nWidth) * m_nElementSize;
        if (m_Desc.m_nRowPitch == 0)
        {
            m_Desc.m_nRowPitch = nRow;
        }
        bSizes = Multiply(m_Desc.m_nRowPitch, m_Desc.m_nHeight, m_nSubResourceSize);
    }
    // One sub-resource per depth slice and array slice.
    uint64_t nCount = 0;
    bSizes = bSizes && Multiply(m_Desc.m_nArraySize, m_Desc.m_nDepth, nCount) &&
             nCount <= 0xFFFFFFFF && Multiply(m_nSubResourceSize, nCount, m_nDataSize);
    m_nSubResourceCount = static_cast<uint32_t>(nCount);
    return bSizes;
}

void SUBuffer::Clear()
{
    std::free(m_pData);
    m_pData = NULL;
    m_Desc.m_nWidth = 0;
    m_Desc.m_nHeight = 0;
    m_nSubResourceSize = 0;
    m_nSubResourceCount = 0;
    m_nDataSize = 0;
}

bool SUBuffer::Create(const BufferDesc& desc, const void* pInitial)
{
    SDU_ConsistencyAssert(m_pData == NULL);
    if (m_pData != NULL)
    {
        return false;
    }
    if (Describe(desc))
    {
        // A buffer of no bytes still gets memory of its own, so that it reads as created. Zeroed
        // by calloc: large blocks come from the system already zero, without a pass over them.
        m_pData = static_cast<uint8_t*>(std::calloc(m_nDataSize != 0 ? m_nDataSize : 1, 1));
    }
    if (IsValidFormat(m_Desc.m_Format))
    {
        // Extents whose size overflows are memory that can't be had.
        SDU_ConsistencyAssert(m_pData != NULL);
    }
    if (m_pData == NULL)
    {
        Clear();
        return false;
    }
    if (pInitial != NULL)
    {
        return UpdateSubResources(pInitial, 0, 0, 1);
    }
    return true;
}

bool SUBuffer::Reshape(const BufferDesc& desc)
{
    if (m_pData == NULL)
    {
        return Create(desc, NULL);
    }
    // Fresh memory costs a page fault per page on its first write, more than the read itself.
    const uint64_t nHeld = m_nDataSize;
    const bool bDescribed = Describe(desc);
    if (bDescribed && m_nDataSize == nHeld)
    {
        return true;
    }
    Clear();
    return bDescribed && Create(desc, NULL);
}

bool SUBuffer::Create(uint32_t nShaderType, uint32_t nWidth, uint32_t nHeight, uint32_t nRowPitch,
                      uint32_t nType, uint32_t nFormat, uint32_t nReserved, const void* pInitial)
{
    BufferDesc desc;
    desc.m_nShaderType = nShaderType;
    desc.m_nWidth = nWidth;
    desc.m_nHeight = nHeight;
    desc.m_nRowPitch = nRowPitch;
    desc.m_Type = static_cast<BufferType>(nType);
    desc.m_Format = static_cast<BufferFormat>(nFormat);
    desc.m_nReserved0 = nReserved;
    desc.m_nReserved5 = 1;
    desc.m_nDepth = 1;
    desc.m_nArraySize = 1;
    return Create(desc, pInitial);
}

bool SUBuffer::UpdateSubResources(const void* pData, size_t nSrcPitch, uint32_t nSubResource,
                                  uint32_t nSubResourceCount)
{
    SDU_ConsistencyAssert(m_pData != NULL);
    if (m_pData == NULL)
    {
        return false;
    }
    SDU_ConsistencyAssert(pData != NULL);
    if (pData == NULL)
    {
        return false;
    }
    SDU_ConsistencyAssert(nSubResource < m_nSubResourceCount);
    if (nSubResource >= m_nSubResourceCount)
    {
        return false;
    }
    const uint32_t nAll = 0xFFFFFFFF;
    const bool bValidCount =
        (nSubResourceCount == nAll) ||
        ((nSubResourceCount != 0) &&
         (static_cast<uint64_t>(nSubResource) + nSubResourceCount <= m_nSubResourceCount));
    if (!bValidCount)
    {
        SDU_ReportConsistencyAssert(__func__,
                                    "(nSubResourceCount == -1) || ((nSubResourceCount != 0) && "
                                    "((nSubResource + nSubResourceCount) <= m_nSubResourceCount))");
        return false;
    }
    if (nSubResourceCount == nAll)
    {
        nSubResourceCount = m_nSubResourceCount - nSubResource;
    }

    const uint64_t nRowPitch = m_Desc.m_nRowPitch;
    if (nSrcPitch == 0 && nRowPitch != 0)
    {
        nSrcPitch = static_cast<size_t>(m_Desc.m_nWidth * m_nElementSize);
    }

    uint8_t* pDst = GetSubResource(nSubResource);
    const uint8_t* pSrc = static_cast<const uint8_t*>(pData);
    const uint64_t nBytes = m_nSubResourceSize * nSubResourceCount;
    if (nSrcPitch == nRowPitch)
    {
        std::memcpy(pDst, pSrc, nBytes);
        return true;
    }

    // Row by row, each row moving the smaller of the two pitches, never past the range.
    const uint8_t* pEnd = pDst + nBytes;
    const uint64_t nRowBytes = std::min<uint64_t>(nRowPitch, nSrcPitch);
    const uint64_t nRows = static_cast<uint64_t>(m_Desc.m_nHeight) * nSubResourceCount;
    for (uint64_t nRow = 0; nRow < nRows; ++nRow, pDst += nRowPitch, pSrc += nSrcPitch)
    {
        if (nRowBytes > static_cast<uint64_t>(pEnd - pDst))
        {
            break;
        }
        std::memcpy(pDst, pSrc, nRowBytes);
    }
    return true;
}

uint8_t* SUBuffer::GetSubResource(uint32_t nSubResource) const
{
    SDU_ConsistencyAssert(nSubResource < m_nSubResourceCount);
    if (nSubResource >= m_nSubResourceCount || m_pData == NULL)
    {
        return NULL;
    }
    return m_pData + nSubResource * m_nSubResourceSize;
}

uint32_t SUBuffer::GetDimensionCount() const
{
    switch (m_Desc.m_Type)
    {
    case BT_Buffer:
        if (m_Desc.m_nDepth >= 2)
        {
            return 3;
        }
        return m_Desc.m_nHeight >= 2 ? 2 : 1;
    case BT_Image1D:
        return 1;
    case BT_Image3D:
        return 3;
    default:
        return 2;
    }
}

bool SUBuffer::IsValidThreadID(const ThreadID& id) const
{
    if (!id.IsValid() || id.nDimensions != GetDimensionCount())
    {
        return false;
    }
    if (id.nDimensions == 3 && static_cast<uint32_t>(id.z) >= m_Desc.m_nDepth)
    {
        return false;
    }
    if (id.nDimensions >= 2 && static_cast<uint32_t>(id.y) >= m_Desc.m_nHeight)
    {
        return false;
    }
    return static_cast<uint32_t>(id.x) < m_Desc.m_nWidth && id.nSlice < m_nSubResourceCount;
}

const uint8_t* SUBuffer::GetElement(const ThreadID& id, BufferFormat format,
                                    BufferFormat altFormat) const
{
    if ((m_Desc.m_Format != format && m_Desc.m_Format != altFormat) || m_pData == NULL ||
        !IsValidThreadID(id))
    {
        return NULL;
    }
    const uint64_t x = static_cast<uint64_t>(std::max(id.x, 0));
    const uint64_t y = static_cast<uint64_t>(std::max(id.y, 0));
    const uint64_t z = static_cast<uint64_t>(std::max(id.z, 0));
    // A slice and a depth that each lie inside may together lie past the end.
    uint64_t nPlane = 0;
    uint64_t nRows = 0;
    uint64_t nElements = 0;
    uint64_t nBytes = 0;
    if (!Multiply(id.nSlice, m_nSubResourceSize, nPlane) || !Multiply(z, m_Desc.m_nHeight, nRows) ||
        !Multiply(nRows + y, m_Desc.m_nWidth, nElements) ||
        !Multiply(nElements + x, m_nElementSize, nBytes) || nPlane > m_nDataSize ||
        nBytes + m_nElementSize > m_nDataSize - nPlane)
    {
        return NULL;
    }
    return m_pData + nPlane + nBytes;
}

bool SUBuffer::GetPixel(float (&value)[4], const ThreadID& id) const
{
    const uint8_t* pElement = GetElement(id, BF_RGBA32, BF_RGBA32Alt);
    if (pElement == NULL)
    {
        return false;
    }
    std::memcpy(value, pElement, sizeof(value));
    return true;
}

bool SUBuffer::GetPixel(uint8_t& value, const ThreadID& id) const
{
    const uint8_t* pElement = GetElement(id, BF_R8, BF_R8);
    if (pElement == NULL)
    {
        return false;
    }
    value = *pElement;
    return true;
}

bool SUBuffer::GetPixel(uint8_t (&value)[4], const ThreadID& id) const
{
    const uint8_t* pElement = GetElement(id, BF_RGBA8, BF_RGBA8);
    if (pElement == NULL)
    {
        return false;
    }
    std::memcpy(value, pElement, sizeof(value));
    return true;
}

template <class TValue>
void SUBuffer::FindValue(ThreadID& id, const TValue& value, uint32_t nSubResource,
                         uint32_t nDimensions) const
{
    uint32_t nFirst = nSubResource;
    uint32_t nEnd = nSubResource + 1;
    if (nSubResource == ALL_SUB_RESOURCES)
    {
        nFirst = 0;
        nEnd = m_nSubResourceCount;
    }
    ThreadID candidate(nDimensions, 0, 0, 0, 0);
    for (uint32_t nSlice = nFirst; nSlice < nEnd; ++nSlice)
    {
        candidate.nSlice = nSlice;
        for (uint32_t x = 0; x < m_Desc.m_nWidth; ++x)
        {
            candidate.x = static_cast<int32_t>(x);
            for (uint32_t y = 0; y < m_Desc.m_nHeight; ++y)
            {
                candidate.y = static_cast<int32_t>(y);
                TValue element;
                if (GetPixel(element, candidate) &&
                    std::memcmp(&element, &value, sizeof(element)) == 0)
                {
                    id = candidate;
                    return;
                }
            }
        }
    }
    id = g_ThreadID_NULL;
}

void SUBuffer::FindPixel(ThreadID& id, const float (&value)[4], uint32_t nSubResource) const
{
    typedef float Words[4];
    FindValue<Words>(id, value, nSubResource, m_Desc.m_Format == BF_RGBA32Alt ? 1 : 2);
}

void SUBuffer::FindPixel(ThreadID& id, uint8_t value, uint32_t nSubResource) const
{
    FindValue(id, value, nSubResource, 2);
}

void SUBuffer::FindPixel(ThreadID& id, const uint8_t (&value)[4], uint32_t nSubResource) const
{
    typedef uint8_t Bytes[4];
    FindValue<Bytes>(id, value, nSubResource, 2);
}

uint32_t SUBuffer::CountActive(const SUBuffer* pMask, uint32_t nSubResource)
{
    if (pMask == NULL)
    {
        return 0;
    }
    const uint8_t* pPlane = pMask->GetSubResource(nSubResource);
    if (pPlane == NULL)
    {
        return 0;
    }
    const uint64_t nElements = GetElementCount(pMask);
    switch (pMask->GetFormat())
    {
    case BF_R8:
        return CountPlane<IntegerMask<uint8_t>>(pPlane, nElements);
    case BF_RG8:
    case BF_R16:
        return CountPlane<IntegerMask<uint16_t>>(pPlane, nElements);
    case BF_RGBA8:
    case BF_RG16:
    case BF_R32:
        return CountPlane<IntegerMask<uint32_t>>(pPlane, nElements);
    case BF_RGBA32:
    case BF_RGBA32Alt:
        return CountPlane<WordsMask>(pPlane, nElements);
    default:
        return 0;
    }
}

uint64_t SUBuffer::GetElementCount(const SUBuffer* pBuffer)
{
    if (pBuffer == NULL || pBuffer->GetFormat() == BF_Bytes || pBuffer->m_nElementSize == 0)
    {
        return 0;
    }
    return pBuffer->m_nSubResourceSize / pBuffer->m_nElementSize;
}

bool SUBuffer::MergeBuffer(SUBuffer* pDst, const SUBuffer* pSrc, const SUBuffer* pMask,
                           bool bInvert, size_t nDstComponent, size_t nSrcComponent,
                           size_t nComponents)
{
    SDU_ConsistencyAssert(pDst != NULL && pSrc != NULL && pMask != NULL);
    if (pDst == NULL || pSrc == NULL || pMask == NULL)
    {
        return false;
    }
    if (pSrc->GetWidth() != pMask->GetWidth() || pSrc->GetHeight() != pMask->GetHeight() ||
        pSrc->GetDepth() != pMask->GetDepth() || !SameDesc(pDst->m_Desc, pSrc->m_Desc))
    {
        return false;
    }

    size_t nElementComponents = 0;
    const PlaneMerger merge =
        SelectMerger(pDst->GetFormat(), pMask->GetFormat(), nElementComponents);
    if (merge == NULL)
    {
        return false;
    }
    if (nComponents == 0)
    {
        nComponents = nElementComponents;
    }
    if (nDstComponent + nComponents > nElementComponents ||
        nSrcComponent + nComponents > nElementComponents)
    {
        return false;
    }
    if (pDst->m_pData == NULL || pSrc->m_pData == NULL || pMask->m_pData == NULL ||
        pMask->m_nSubResourceCount == 0)
    {
        return false;
    }

    const bool bMaskPerPlane = pMask->m_nSubResourceCount == pDst->m_nSubResourceCount;
    // A mask with another row pitch may hold fewer elements; the walk stays inside both.
    const uint64_t nElements = std::min(GetElementCount(pDst), GetElementCount(pMask));
    for (uint32_t p = 0; p < pDst->m_nSubResourceCount; ++p)
    {
        merge(pDst->GetSubResource(p), pSrc->GetSubResource(p),
              pMask->GetSubResource(bMaskPerPlane ? p : 0), nElements, bInvert, nDstComponent,
              nSrcComponent, nComponents);
    }
    return true;
}
} // namespace ShaderUtils
