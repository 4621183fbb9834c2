#ifndef XAN_PLATFORM_CMEMOBJECT_H
#define XAN_PLATFORM_CMEMOBJECT_H

#include "CCLObject.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace XAN_Platform
{
class CContext;
class CDeviceBuffer;
class CInfoWriter;

typedef void(CL_CALLBACK* PFNMemNotify)(cl_mem memobj, void* pUserData);

// A box of memory: a row length in bytes, a number of rows and a number of slices, laid out
// with a row pitch and a slice pitch.
struct SBox
{
    size_t vSize[3];
    size_t nRowPitch;
    size_t nSlicePitch;

    // The bytes from the first to one past the last byte of the box.
    size_t GetSpan() const;
};

// A buffer, sub-buffer or image. Its bytes live in the platform's flat device memory, at an
// address that stays the same for its lifetime; a sub-buffer and an image made from a buffer
// share their parent's bytes. Images are tightly packed: the row pitch is the width times the
// pixel size. Memory made with CL_MEM_USE_HOST_PTR is copied to and from the application's
// memory when it is mapped and unmapped.
class CMemObject : public CCLObject
{
public:
    static constexpr EObjectType OBJECT_TYPE = OT_MemObject;

    static CMemObject* CreateBuffer(CContext* pContext, cl_mem_flags nFlags, size_t nSize,
                                    void* pHostPtr, cl_int& nError);
    static CMemObject* CreateSubBuffer(CMemObject* pParent, cl_mem_flags nFlags, size_t nOrigin,
                                       size_t nSize, cl_int& nError);
    static CMemObject* CreateImage(CContext* pContext, cl_mem_flags nFlags,
                                   const cl_image_format* pFormat, const cl_image_desc* pDesc,
                                   void* pHostPtr, cl_int& nError);

    CContext* GetContext() const { return m_pContext.Get(); }
    cl_mem_object_type GetMemType() const { return m_nType; }
    bool IsBuffer() const { return m_nType == CL_MEM_OBJECT_BUFFER; }
    bool IsImage() const { return !IsBuffer(); }
    cl_mem_flags GetFlags() const { return m_nFlags; }
    size_t GetSize() const { return m_nSize; }
    uint64_t GetDeviceAddress() const;
    uint8_t* GetData() const;
    // False for memory the host was told it won't read (or write).
    bool HostMayRead() const;
    bool HostMayWrite() const;

    // Images: pixel size, pitches and extent (width, then height or layers, then depth or
    // layers), each at least 1.
    const cl_image_format& GetImageFormat() const { return m_Format; }
    size_t GetElementSize() const { return m_nElementSize; }
    size_t GetRowPitch() const { return m_nRowPitch; }
    size_t GetSlicePitch() const { return m_nSlicePitch; }
    const size_t* GetExtent() const { return m_vExtent; }
    const cl_image_desc& GetImageDesc() const { return m_Desc; }
    // Checks an origin and region in pixels and gives them as a byte offset and a box.
    cl_int GetImageBox(const size_t* pOrigin, const size_t* pRegion, size_t& nOffset,
                       SBox& box) const;

    // Maps a region: for a buffer, origin[0] is the offset and region[0] the size in bytes;
    // for an image both are in pixels. The pointer is valid at once, its contents once the
    // map command has run FillMapping.
    void* Map(const size_t* pOrigin, const size_t* pRegion, cl_map_flags nFlags, size_t& nRowPitch,
              size_t& nSlicePitch, cl_int& nError);
    void FillMapping(void* pMapped);
    // CL_INVALID_VALUE for a pointer that isn't mapped.
    cl_int CheckMapped(void* pMapped);
    // Ends the oldest mapping at that pointer, writing it back where the host had its own copy.
    void Unmap(void* pMapped);

    cl_int AddDestructorCallback(PFNMemNotify pfnNotify, void* pUserData);

    cl_int GetInfo(cl_mem_info nParam, CInfoWriter& writer);
    cl_int GetImageInfo(cl_image_info nParam, CInfoWriter& writer) const;

    // Copies a box between two places, the pointers at its first byte.
    static void CopyBox(const uint8_t* pSource, size_t nSourceRowPitch, size_t nSourceSlicePitch,
                        uint8_t* pDest, size_t nDestRowPitch, size_t nDestSlicePitch,
                        const size_t vSize[3]);

private:
    struct SMapping
    {
        size_t nDeviceOffset;
        size_t nHostOffset;
        SBox box; // with the device's pitches
        cl_map_flags nFlags;
        bool bFilled;
    };

    friend class CCLObject;
    CMemObject(CContext* pContext, cl_mem_object_type nType, cl_mem_flags nFlags, size_t nSize,
               void* pHostPtr);
    ~CMemObject() override;
    static cl_int CheckFlags(cl_mem_flags nFlags, const void* pHostPtr);
    bool Allocate(cl_int& nError);
    void SetImageLayout(const cl_image_format& format, const cl_image_desc& desc,
                        size_t nElementSize);
    // Whether mappings go through the application's own memory.
    bool MapsHostMemory() const { return (m_nFlags & CL_MEM_USE_HOST_PTR) != 0; }
    void CopyMapping(const SMapping& mapping, bool bToHost);

    CRef<CContext> m_pContext;
    cl_mem_object_type m_nType;
    cl_mem_flags m_nFlags;
    size_t m_nSize;
    void* m_pHostPtr;
    CRef<CMemObject> m_pParent; // the buffer of a sub-buffer or image buffer
    size_t m_nOffset = 0;       // in the parent's bytes
    std::shared_ptr<CDeviceBuffer> m_pStorage;

    cl_image_format m_Format = {0, 0};
    cl_image_desc m_Desc = {};
    size_t m_nElementSize = 0;
    size_t m_nRowPitch = 0;
    size_t m_nSlicePitch = 0;
    size_t m_nHostRowPitch = 0;
    size_t m_nHostSlicePitch = 0;
    size_t m_vExtent[3] = {1, 1, 1};

    std::mutex m_Mutex;
    std::multimap<void*, SMapping> m_Mappings;
    std::vector<std::pair<PFNMemNotify, void*>> m_vDestructorCallbacks;
};
} // namespace XAN_Platform

#endif
