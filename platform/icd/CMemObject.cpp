#include "CMemObject.h"

#include "CContext.h"
#include "CDevice.h"
#include "CDeviceMemory.h"
#include "CDiagnostics.h"
#include "CImageFormat.h"
#include "CInfoWriter.h"
#include "CPlatform.h"

#include <algorithm>
#include <cstring>

namespace XAN_Platform
{
namespace
{
const cl_mem_flags ACCESS_FLAGS = CL_MEM_READ_WRITE | CL_MEM_WRITE_ONLY | CL_MEM_READ_ONLY;
const cl_mem_flags HOST_POINTER_FLAGS =
    CL_MEM_USE_HOST_PTR | CL_MEM_ALLOC_HOST_PTR | CL_MEM_COPY_HOST_PTR;
const cl_mem_flags HOST_ACCESS_FLAGS =
    CL_MEM_HOST_WRITE_ONLY | CL_MEM_HOST_READ_ONLY | CL_MEM_HOST_NO_ACCESS;
const cl_mem_flags ALL_FLAGS = ACCESS_FLAGS | HOST_POINTER_FLAGS | HOST_ACCESS_FLAGS;

bool AtMostOne(cl_mem_flags nFlags)
{
    return (nFlags & (nFlags - 1)) == 0;
}

size_t LimitFor(cl_mem_object_type nType, size_t nDimension)
{
    if (nType == CL_MEM_OBJECT_IMAGE3D)
    {
        return 2048;
    }
    if (nType == CL_MEM_OBJECT_IMAGE1D_BUFFER)
    {
        return 65536;
    }
    const bool bLayers = (nType == CL_MEM_OBJECT_IMAGE1D_ARRAY && nDimension == 1) ||
                         (nType == CL_MEM_OBJECT_IMAGE2D_ARRAY && nDimension == 2);
    return bLayers ? 2048 : 16384;
}
} // namespace

size_t SBox::GetSpan() const
{
    return (vSize[2] - 1) * nSlicePitch + (vSize[1] - 1) * nRowPitch + vSize[0];
}

CMemObject::CMemObject(CContext* pContext, cl_mem_object_type nType, cl_mem_flags nFlags,
                       size_t nSize, void* pHostPtr)
    : CCLObject(OT_MemObject, true), m_pContext(pContext), m_nType(nType), m_nFlags(nFlags),
      m_nSize(nSize), m_pHostPtr(pHostPtr)
{
}

CMemObject::~CMemObject()
{
    for (auto it = m_vDestructorCallbacks.rbegin(); it != m_vDestructorCallbacks.rend(); ++it)
    {
        it->first(static_cast<cl_mem>(GetHandle()), it->second);
    }
    if (m_pStorage && !m_pParent)
    {
        m_pContext->GetPlatform()->GetMemory().Release(m_pStorage);
    }
}

cl_int CMemObject::CheckFlags(cl_mem_flags nFlags, const void* pHostPtr)
{
    if ((nFlags & ~ALL_FLAGS) != 0 || !AtMostOne(nFlags & ACCESS_FLAGS) ||
        !AtMostOne(nFlags & HOST_ACCESS_FLAGS) ||
        ((nFlags & CL_MEM_USE_HOST_PTR) != 0 &&
         (nFlags & (CL_MEM_ALLOC_HOST_PTR | CL_MEM_COPY_HOST_PTR)) != 0))
    {
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "flags",
                                    "unknown bits or a combination that contradicts itself");
    }
    const bool bNeedsHostPtr = (nFlags & (CL_MEM_USE_HOST_PTR | CL_MEM_COPY_HOST_PTR)) != 0;
    if (bNeedsHostPtr != (pHostPtr != nullptr))
    {
        return CDiagnostics::Refuse(CL_INVALID_HOST_PTR, "host_ptr",
                                    bNeedsHostPtr ? "null, but the flags use a host pointer"
                                                  : "given, but no flag uses it");
    }
    return CL_SUCCESS;
}

bool CMemObject::Allocate(cl_int& nError)
{
    m_pStorage = m_pContext->GetPlatform()->GetMemory().Allocate(m_nSize);
    if (!m_pStorage)
    {
        nError =
            CDiagnostics::Refuse(CL_MEM_OBJECT_ALLOCATION_FAILURE, "size",
                                 std::to_string(m_nSize) + " bytes don't fit the device memory");
        return false;
    }
    return true;
}

CMemObject* CMemObject::CreateBuffer(CContext* pContext, cl_mem_flags nFlags, size_t nSize,
                                     void* pHostPtr, cl_int& nError)
{
    nError = CheckFlags(nFlags, pHostPtr);
    if (nError != CL_SUCCESS)
    {
        return nullptr;
    }
    if (nSize == 0 || nSize > pContext->GetDevices().front()->GetMaxAllocation())
    {
        nError = CDiagnostics::Refuse(
            CL_INVALID_BUFFER_SIZE, "size",
            nSize == 0 ? "0" : std::to_string(nSize) + " is above the largest allocation");
        return nullptr;
    }
    Owned<CMemObject> pBuffer(
        new CMemObject(pContext, CL_MEM_OBJECT_BUFFER, nFlags, nSize,
                       (nFlags & CL_MEM_USE_HOST_PTR) != 0 ? pHostPtr : nullptr));
    if (!pBuffer->Allocate(nError))
    {
        return nullptr;
    }
    if (pHostPtr != nullptr)
    {
        std::memcpy(pBuffer->GetData(), pHostPtr, nSize);
    }
    pBuffer->Register();
    return pBuffer.release();
}

CMemObject* CMemObject::CreateSubBuffer(CMemObject* pParent, cl_mem_flags nFlags, size_t nOrigin,
                                        size_t nSize, cl_int& nError)
{
    nError = CL_SUCCESS;
    if (!pParent->IsBuffer() || pParent->m_pParent)
    {
        nError = CDiagnostics::Refuse(CL_INVALID_MEM_OBJECT, "buffer",
                                      pParent->IsBuffer() ? "a sub-buffer" : "not a buffer");
        return nullptr;
    }
    const cl_mem_flags nParentFlags = pParent->m_nFlags;
    const cl_mem_flags nParentAccess = nParentFlags & ACCESS_FLAGS;
    const cl_mem_flags nAccess = nFlags & ACCESS_FLAGS;
    const cl_mem_flags nParentHost = nParentFlags & HOST_ACCESS_FLAGS;
    const cl_mem_flags nHost = nFlags & HOST_ACCESS_FLAGS;
    const bool bAccessClash =
        (nParentAccess == CL_MEM_WRITE_ONLY && (nAccess & ~CL_MEM_WRITE_ONLY) != 0) ||
        (nParentAccess == CL_MEM_READ_ONLY && (nAccess & ~CL_MEM_READ_ONLY) != 0);
    const bool bHostClash =
        (nParentHost == CL_MEM_HOST_NO_ACCESS && nHost != 0 && nHost != CL_MEM_HOST_NO_ACCESS) ||
        (nParentHost == CL_MEM_HOST_READ_ONLY && (nHost & ~CL_MEM_HOST_READ_ONLY) != 0) ||
        (nParentHost == CL_MEM_HOST_WRITE_ONLY && (nHost & ~CL_MEM_HOST_WRITE_ONLY) != 0);
    if ((nFlags & ~(ACCESS_FLAGS | HOST_ACCESS_FLAGS)) != 0 || !AtMostOne(nAccess) ||
        !AtMostOne(nHost) || bAccessClash || bHostClash)
    {
        nError = CDiagnostics::Refuse(CL_INVALID_VALUE, "flags",
                                      "unknown bits, or access the parent buffer doesn't grant");
        return nullptr;
    }
    if (nSize == 0)
    {
        nError = CDiagnostics::Refuse(CL_INVALID_BUFFER_SIZE, "buffer_create_info", "size 0");
        return nullptr;
    }
    if (nOrigin > pParent->m_nSize || nSize > pParent->m_nSize - nOrigin)
    {
        nError = CDiagnostics::Refuse(CL_INVALID_VALUE, "buffer_create_info",
                                      "region ends past the parent's " +
                                          std::to_string(pParent->m_nSize) + " bytes");
        return nullptr;
    }
    if (nOrigin % CDevice::SUB_BUFFER_ALIGNMENT != 0)
    {
        nError =
            CDiagnostics::Refuse(CL_MISALIGNED_SUB_BUFFER_OFFSET, "buffer_create_info",
                                 "origin " + std::to_string(nOrigin) + " isn't a multiple of " +
                                     std::to_string(CDevice::SUB_BUFFER_ALIGNMENT));
        return nullptr;
    }
    const cl_mem_flags nInherited = (nAccess != 0 ? nAccess : nParentAccess) |
                                    (nParentFlags & HOST_POINTER_FLAGS) |
                                    (nHost != 0 ? nHost : nParentHost);
    void* pHostPtr = pParent->m_pHostPtr != nullptr
                         ? static_cast<uint8_t*>(pParent->m_pHostPtr) + nOrigin
                         : nullptr;
    CMemObject* pBuffer = new CMemObject(pParent->m_pContext.Get(), CL_MEM_OBJECT_BUFFER,
                                         nInherited, nSize, pHostPtr);
    pBuffer->m_pParent = CRef<CMemObject>(pParent);
    pBuffer->m_nOffset = nOrigin;
    pBuffer->m_pStorage = pParent->m_pStorage;
    pBuffer->Register();
    return pBuffer;
}

void CMemObject::SetImageLayout(const cl_image_format& format, const cl_image_desc& desc,
                                size_t nElementSize)
{
    m_Format = format;
    m_Desc = desc;
    m_Desc.buffer = nullptr;
    m_nElementSize = nElementSize;
    m_nRowPitch = desc.image_width * nElementSize;
    m_vExtent[0] = desc.image_width;
    switch (desc.image_type)
    {
    case CL_MEM_OBJECT_IMAGE1D_ARRAY:
        m_vExtent[1] = desc.image_array_size;
        m_nSlicePitch = m_nRowPitch;
        break;
    case CL_MEM_OBJECT_IMAGE2D:
        m_vExtent[1] = desc.image_height;
        break;
    case CL_MEM_OBJECT_IMAGE2D_ARRAY:
        m_vExtent[1] = desc.image_height;
        m_vExtent[2] = desc.image_array_size;
        m_nSlicePitch = m_nRowPitch * desc.image_height;
        break;
    case CL_MEM_OBJECT_IMAGE3D:
        m_vExtent[1] = desc.image_height;
        m_vExtent[2] = desc.image_depth;
        m_nSlicePitch = m_nRowPitch * desc.image_height;
        break;
    default:
        break;
    }
    m_nSize = m_nRowPitch * m_vExtent[1] * m_vExtent[2];
    // The application's memory may have wider rows and slices.
    m_nHostRowPitch = desc.image_row_pitch != 0 ? desc.image_row_pitch : m_nRowPitch;
    const size_t nTightSlice = desc.image_type == CL_MEM_OBJECT_IMAGE1D_ARRAY
                                   ? m_nHostRowPitch
                                   : m_nHostRowPitch * m_vExtent[1];
    m_nHostSlicePitch = desc.image_slice_pitch != 0 ? desc.image_slice_pitch : nTightSlice;
}

CMemObject* CMemObject::CreateImage(CContext* pContext, cl_mem_flags nFlags,
                                    const cl_image_format* pFormat, const cl_image_desc* pDesc,
                                    void* pHostPtr, cl_int& nError)
{
    nError = CheckFlags(nFlags, pHostPtr);
    if (nError != CL_SUCCESS)
    {
        return nullptr;
    }
    if (pFormat == nullptr)
    {
        nError = CDiagnostics::Refuse(CL_INVALID_IMAGE_FORMAT_DESCRIPTOR, "image_format", "null");
        return nullptr;
    }
    const size_t nElementSize = CImageFormat::GetElementSize(*pFormat);
    if (nElementSize == 0)
    {
        nError = CDiagnostics::Refuse(CL_IMAGE_FORMAT_NOT_SUPPORTED, "image_format",
                                      "no format the device offers");
        return nullptr;
    }
    nError =
        CDiagnostics::Refuse(CL_INVALID_IMAGE_DESCRIPTOR, "image_desc", "an unknown image type");
    if (pDesc == nullptr || pDesc->num_mip_levels != 0 || pDesc->num_samples != 0)
    {
        return nullptr;
    }
    const cl_mem_object_type nType = pDesc->image_type;
    const bool bArray =
        nType == CL_MEM_OBJECT_IMAGE1D_ARRAY || nType == CL_MEM_OBJECT_IMAGE2D_ARRAY;
    const bool bHeight = nType == CL_MEM_OBJECT_IMAGE2D || nType == CL_MEM_OBJECT_IMAGE2D_ARRAY ||
                         nType == CL_MEM_OBJECT_IMAGE3D;
    const bool bBuffer = nType == CL_MEM_OBJECT_IMAGE1D_BUFFER;
    if (nType != CL_MEM_OBJECT_IMAGE1D && !bArray && !bHeight && !bBuffer)
    {
        return nullptr;
    }
    if ((pDesc->buffer != nullptr) != bBuffer ||
        (pHostPtr == nullptr && (pDesc->image_row_pitch != 0 || pDesc->image_slice_pitch != 0)))
    {
        return nullptr;
    }
    CMemObject* pBuffer = nullptr;
    if (bBuffer)
    {
        pBuffer = CCLObject::Find<CMemObject>(pDesc->buffer);
        if (pBuffer == nullptr || !pBuffer->IsBuffer() || pBuffer->m_pParent ||
            pBuffer->m_pContext.Get() != pContext || pHostPtr != nullptr)
        {
            nError = CDiagnostics::Refuse(CL_INVALID_IMAGE_DESCRIPTOR, "image_desc",
                                          "the buffer of a 1D buffer image must be a buffer of the "
                                          "context without a host pointer");
            return nullptr;
        }
    }
    Owned<CMemObject> pImage(new CMemObject(
        pContext, nType, nFlags, 0, (nFlags & CL_MEM_USE_HOST_PTR) != 0 ? pHostPtr : nullptr));
    pImage->SetImageLayout(*pFormat, *pDesc, nElementSize);
    for (size_t d = 0; d < 3; ++d)
    {
        const size_t nExtent = pImage->m_vExtent[d];
        const bool bUsed =
            d == 0 || (d == 1 && (bHeight || bArray)) ||
            (d == 2 && (nType == CL_MEM_OBJECT_IMAGE3D || nType == CL_MEM_OBJECT_IMAGE2D_ARRAY));
        if (bUsed && (nExtent == 0 || nExtent > LimitFor(nType, d)))
        {
            nError = CDiagnostics::Refuse(CL_INVALID_IMAGE_SIZE, "image_desc",
                                          "an extent of 0 or beyond the device's limit");
            return nullptr;
        }
    }
    if (pImage->m_nHostRowPitch < pImage->m_nRowPitch ||
        pImage->m_nHostRowPitch % nElementSize != 0 ||
        (pImage->m_nSlicePitch != 0 && pImage->m_nHostSlicePitch % pImage->m_nHostRowPitch != 0))
    {
        return nullptr;
    }
    if (pBuffer != nullptr)
    {
        if (pImage->m_nSize > pBuffer->m_nSize)
        {
            nError = CDiagnostics::Refuse(CL_INVALID_IMAGE_SIZE, "image_desc",
                                          "the image is larger than its buffer");
            return nullptr;
        }
        pImage->m_pParent = CRef<CMemObject>(pBuffer);
        pImage->m_pStorage = pBuffer->m_pStorage;
        pImage->m_Desc.buffer = static_cast<cl_mem>(pBuffer->GetHandle());
    }
    else if (!pImage->Allocate(nError))
    {
        return nullptr;
    }
    if (pHostPtr != nullptr)
    {
        CopyBox(static_cast<const uint8_t*>(pHostPtr), pImage->m_nHostRowPitch,
                pImage->m_nHostSlicePitch, pImage->GetData(), pImage->m_nRowPitch,
                pImage->m_nSlicePitch,
                std::vector<size_t>{pImage->m_nRowPitch, pImage->m_vExtent[1], pImage->m_vExtent[2]}
                    .data());
    }
    nError = CL_SUCCESS;
    pImage->Register();
    return pImage.release();
}

uint64_t CMemObject::GetDeviceAddress() const
{
    return m_pStorage->GetAddress() + m_nOffset;
}

uint8_t* CMemObject::GetData() const
{
    return m_pStorage->GetData() + m_nOffset;
}

bool CMemObject::HostMayRead() const
{
    return (m_nFlags & (CL_MEM_HOST_WRITE_ONLY | CL_MEM_HOST_NO_ACCESS)) == 0;
}

bool CMemObject::HostMayWrite() const
{
    return (m_nFlags & (CL_MEM_HOST_READ_ONLY | CL_MEM_HOST_NO_ACCESS)) == 0;
}

cl_int CMemObject::GetImageBox(const size_t* pOrigin, const size_t* pRegion, size_t& nOffset,
                               SBox& box) const
{
    if (pOrigin == nullptr || pRegion == nullptr)
    {
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "origin", "null origin or region");
    }
    for (size_t d = 0; d < 3; ++d)
    {
        if (pRegion[d] == 0 || pOrigin[d] > m_vExtent[d] || pRegion[d] > m_vExtent[d] - pOrigin[d])
        {
            return CDiagnostics::Refuse(CL_INVALID_VALUE, "region", "empty, or leaves the image");
        }
    }
    // A 1D array keeps its layers as rows.
    nOffset = pOrigin[0] * m_nElementSize + pOrigin[1] * m_nRowPitch + pOrigin[2] * m_nSlicePitch;
    box = {{pRegion[0] * m_nElementSize, pRegion[1], pRegion[2]}, m_nRowPitch, m_nSlicePitch};
    return CL_SUCCESS;
}

void CMemObject::CopyBox(const uint8_t* pSource, size_t nSourceRowPitch, size_t nSourceSlicePitch,
                         uint8_t* pDest, size_t nDestRowPitch, size_t nDestSlicePitch,
                         const size_t vSize[3])
{
    for (size_t z = 0; z < vSize[2]; ++z)
    {
        for (size_t y = 0; y < vSize[1]; ++y)
        {
            std::memmove(pDest + z * nDestSlicePitch + y * nDestRowPitch,
                         pSource + z * nSourceSlicePitch + y * nSourceRowPitch, vSize[0]);
        }
    }
}

void* CMemObject::Map(const size_t* pOrigin, const size_t* pRegion, cl_map_flags nFlags,
                      size_t& nRowPitch, size_t& nSlicePitch, cl_int& nError)
{
    const cl_map_flags nWrite = CL_MAP_WRITE | CL_MAP_WRITE_INVALIDATE_REGION;
    if ((nFlags & ~(CL_MAP_READ | nWrite)) != 0 ||
        ((nFlags & CL_MAP_WRITE_INVALIDATE_REGION) != 0 && (nFlags & ~nWrite) != 0))
    {
        nError = CDiagnostics::Refuse(
            CL_INVALID_VALUE, "map_flags",
            "unknown bits, or CL_MAP_WRITE_INVALIDATE_REGION with another flag");
        return nullptr;
    }
    if (((nFlags & CL_MAP_READ) != 0 && !HostMayRead()) ||
        ((nFlags & nWrite) != 0 && !HostMayWrite()))
    {
        nError = CDiagnostics::Refuse(CL_INVALID_OPERATION, "buffer",
                                      "its flags don't let the host map it this way");
        return nullptr;
    }
    SMapping mapping = {0, 0, {{0, 1, 1}, 0, 0}, nFlags, false};
    if (IsBuffer())
    {
        if (pRegion[0] == 0 || pOrigin[0] > m_nSize || pRegion[0] > m_nSize - pOrigin[0])
        {
            nError = CDiagnostics::Refuse(CL_INVALID_VALUE, "size",
                                          "the region is empty or leaves the buffer");
            return nullptr;
        }
        mapping.nDeviceOffset = mapping.nHostOffset = pOrigin[0];
        mapping.box.vSize[0] = pRegion[0];
    }
    else
    {
        nError = GetImageBox(pOrigin, pRegion, mapping.nDeviceOffset, mapping.box);
        if (nError != CL_SUCCESS)
        {
            return nullptr;
        }
        mapping.nHostOffset = pOrigin[0] * m_nElementSize + pOrigin[1] * m_nHostRowPitch +
                              pOrigin[2] * m_nHostSlicePitch;
    }
    nError = CL_SUCCESS;
    nRowPitch = MapsHostMemory() ? m_nHostRowPitch : m_nRowPitch;
    nSlicePitch = MapsHostMemory() ? m_nHostSlicePitch : m_nSlicePitch;
    if (m_nType == CL_MEM_OBJECT_IMAGE1D_ARRAY)
    {
        nSlicePitch = nRowPitch;
    }
    uint8_t* pMapped = MapsHostMemory() ? static_cast<uint8_t*>(m_pHostPtr) + mapping.nHostOffset
                                        : GetData() + mapping.nDeviceOffset;
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_Mappings.emplace(pMapped, mapping);
    return pMapped;
}

void CMemObject::CopyMapping(const SMapping& mapping, bool bToHost)
{
    const size_t nHostRow = IsBuffer() ? mapping.box.nRowPitch : m_nHostRowPitch;
    const size_t nHostSlice = IsBuffer() ? mapping.box.nSlicePitch : m_nHostSlicePitch;
    uint8_t* pHost = static_cast<uint8_t*>(m_pHostPtr) + mapping.nHostOffset;
    uint8_t* pDevice = GetData() + mapping.nDeviceOffset;
    if (bToHost)
    {
        CopyBox(pDevice, mapping.box.nRowPitch, mapping.box.nSlicePitch, pHost, nHostRow,
                nHostSlice, mapping.box.vSize);
    }
    else
    {
        CopyBox(pHost, nHostRow, nHostSlice, pDevice, mapping.box.nRowPitch,
                mapping.box.nSlicePitch, mapping.box.vSize);
    }
}

void CMemObject::FillMapping(void* pMapped)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    auto range = m_Mappings.equal_range(pMapped);
    for (auto it = range.first; it != range.second; ++it)
    {
        SMapping& mapping = it->second;
        if (!mapping.bFilled && MapsHostMemory() &&
            (mapping.nFlags & CL_MAP_WRITE_INVALIDATE_REGION) == 0)
        {
            CopyMapping(mapping, true);
        }
        mapping.bFilled = true;
    }
}

cl_int CMemObject::CheckMapped(void* pMapped)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Mappings.count(pMapped) != 0
               ? CDiagnostics::Refuse(CL_SUCCESS, "mapped_ptr",
                                      "not a mapping of this memory object")
               : CL_INVALID_VALUE;
}

void CMemObject::Unmap(void* pMapped)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    auto it = m_Mappings.find(pMapped);
    if (it == m_Mappings.end())
    {
        return;
    }
    if (MapsHostMemory() &&
        (it->second.nFlags & (CL_MAP_WRITE | CL_MAP_WRITE_INVALIDATE_REGION)) != 0)
    {
        CopyMapping(it->second, false);
    }
    m_Mappings.erase(it);
}

cl_int CMemObject::AddDestructorCallback(PFNMemNotify pfnNotify, void* pUserData)
{
    if (pfnNotify == nullptr)
    {
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "pfn_notify", "null");
    }
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_vDestructorCallbacks.emplace_back(pfnNotify, pUserData);
    return CL_SUCCESS;
}

cl_int CMemObject::GetInfo(cl_mem_info nParam, CInfoWriter& writer)
{
    switch (nParam)
    {
    case CL_MEM_TYPE:
        return writer.Value(m_nType);
    case CL_MEM_FLAGS:
        return writer.Value(m_nFlags);
    case CL_MEM_SIZE:
        return writer.Value(m_nSize);
    case CL_MEM_HOST_PTR:
        return writer.Value(m_pHostPtr);
    case CL_MEM_MAP_COUNT:
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        return writer.Value(cl_uint(m_Mappings.size()));
    }
    case CL_MEM_REFERENCE_COUNT:
        return writer.Value(GetReferenceCount());
    case CL_MEM_CONTEXT:
        return writer.Value(static_cast<cl_context>(m_pContext->GetHandle()));
    case CL_MEM_ASSOCIATED_MEMOBJECT:
        return writer.Value(m_pParent ? static_cast<cl_mem>(m_pParent->GetHandle()) : nullptr);
    case CL_MEM_OFFSET:
        return writer.Value(IsBuffer() ? m_nOffset : size_t(0));
    default:
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "param_name", "unknown");
    }
}

cl_int CMemObject::GetImageInfo(cl_image_info nParam, CInfoWriter& writer) const
{
    const cl_mem_object_type nType = m_nType;
    const bool bHeight = nType == CL_MEM_OBJECT_IMAGE2D || nType == CL_MEM_OBJECT_IMAGE2D_ARRAY ||
                         nType == CL_MEM_OBJECT_IMAGE3D;
    const bool bArray =
        nType == CL_MEM_OBJECT_IMAGE1D_ARRAY || nType == CL_MEM_OBJECT_IMAGE2D_ARRAY;
    switch (nParam)
    {
    case CL_IMAGE_FORMAT:
        return writer.Value(m_Format);
    case CL_IMAGE_ELEMENT_SIZE:
        return writer.Value(m_nElementSize);
    case CL_IMAGE_ROW_PITCH:
        return writer.Value(m_nRowPitch);
    case CL_IMAGE_SLICE_PITCH:
        return writer.Value(m_nSlicePitch);
    case CL_IMAGE_WIDTH:
        return writer.Value(m_Desc.image_width);
    case CL_IMAGE_HEIGHT:
        return writer.Value(bHeight ? m_Desc.image_height : size_t(0));
    case CL_IMAGE_DEPTH:
        return writer.Value(nType == CL_MEM_OBJECT_IMAGE3D ? m_Desc.image_depth : size_t(0));
    case CL_IMAGE_ARRAY_SIZE:
        return writer.Value(bArray ? m_Desc.image_array_size : size_t(0));
    case CL_IMAGE_BUFFER:
        return writer.Value(m_Desc.buffer);
    case CL_IMAGE_NUM_MIP_LEVELS:
    case CL_IMAGE_NUM_SAMPLES:
        return writer.Value(cl_uint(0));
    default:
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "param_name", "unknown");
    }
}
} // namespace XAN_Platform
