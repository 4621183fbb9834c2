#include "CCommandQueue.h"
#include "CContext.h"
#include "CEvent.h"
#include "CImageFormat.h"
#include "CMemObject.h"
#include "ICDApi.h"

#include <algorithm>
#include <cstring>

namespace XAN_Platform
{
namespace Api
{
namespace
{
typedef std::vector<CRef<CMemObject>> MemoryRefs;

// The queue and memory objects of a transfer command, checked and held.
struct STransfer
{
    CCommandQueue* pQueue = nullptr;
    MemoryRefs vMemory;

    // What a command accepts of each memory object.
    enum EKind
    {
        MK_Any,
        MK_Buffer,
        MK_Image,
    };
    struct SMemory
    {
        cl_mem mem;
        EKind eKind;
    };

    cl_int Open(cl_command_queue queue, std::initializer_list<SMemory> memories)
    {
        pQueue = CCLObject::Find<CCommandQueue>(queue);
        if (pQueue == nullptr)
        {
            return BadHandle(CL_INVALID_COMMAND_QUEUE, "command_queue", queue);
        }
        for (const SMemory& memory : memories)
        {
            CMemObject* pMem = CCLObject::Find<CMemObject>(memory.mem);
            if (pMem == nullptr || (memory.eKind == MK_Buffer && !pMem->IsBuffer()) ||
                (memory.eKind == MK_Image && !pMem->IsImage()))
            {
                return CDiagnostics::Refuse(CL_INVALID_MEM_OBJECT, "memobj",
                                            "not a memory object of the kind the command takes");
            }
            if (pMem->GetContext() != pQueue->GetContext())
            {
                return CDiagnostics::Refuse(CL_INVALID_CONTEXT, "memobj",
                                            "belongs to another context than the queue");
            }
            vMemory.emplace_back(pMem);
        }
        return CL_SUCCESS;
    }
    CMemObject* operator[](size_t nIndex) const { return vMemory[nIndex].Get(); }

    // Queues the copy; the memory objects stay alive until it has run.
    cl_int Enqueue(cl_command_type nType, cl_bool bBlocking, cl_uint nWaitCount,
                   const cl_event* pWaitList, cl_event* pEvent, std::function<void()> fnCopy)
    {
        MemoryRefs vHeld = vMemory;
        return pQueue->Enqueue(nType, nWaitCount, pWaitList, pEvent, bBlocking != CL_FALSE,
                               [vHeld, fnCopy]
                               {
                                   fnCopy();
                                   return CL_SUCCESS;
                               });
    }
};

// Repeats the pattern over nSize bytes, a whole number of patterns: a fill of a large buffer
// copies blocks that double in size rather than one small pattern at a time.
void FillPattern(uint8_t* pBytes, size_t nSize, const std::vector<uint8_t>& vPattern)
{
    if (nSize == 0)
    {
        return;
    }
    if (std::all_of(vPattern.begin(), vPattern.end(),
                    [&vPattern](uint8_t nByte) { return nByte == vPattern[0]; }))
    {
        std::memset(pBytes, vPattern[0], nSize);
        return;
    }
    std::memcpy(pBytes, vPattern.data(), vPattern.size());
    for (size_t nDone = vPattern.size(); nDone < nSize;)
    {
        const size_t nCopy = std::min(nDone, nSize - nDone);
        std::memcpy(pBytes + nDone, pBytes, nCopy);
        nDone += nCopy;
    }
}

bool RangeInside(size_t nOffset, size_t nSize, size_t nLimit)
{
    return nSize != 0 && nOffset <= nLimit && nSize <= nLimit - nOffset;
}

// Fills in default pitches of a rectangle and checks them; false for pitches too small.
bool SetPitches(const size_t* pRegion, size_t& nRowPitch, size_t& nSlicePitch)
{
    nRowPitch = nRowPitch != 0 ? nRowPitch : pRegion[0];
    nSlicePitch = nSlicePitch != 0 ? nSlicePitch : pRegion[1] * nRowPitch;
    return nRowPitch >= pRegion[0] && nSlicePitch >= pRegion[1] * nRowPitch &&
           nSlicePitch % nRowPitch == 0;
}

// A rectangle of a buffer: its byte offset, and whether it lies inside nSize bytes.
bool BufferRect(const size_t* pOrigin, const size_t* pRegion, size_t nRowPitch, size_t nSlicePitch,
                size_t nSize, size_t& nOffset, SBox& box)
{
    if (pOrigin == nullptr || pRegion == nullptr || pRegion[0] == 0 || pRegion[1] == 0 ||
        pRegion[2] == 0)
    {
        return false;
    }
    nOffset = pOrigin[2] * nSlicePitch + pOrigin[1] * nRowPitch + pOrigin[0];
    box = {{pRegion[0], pRegion[1], pRegion[2]}, nRowPitch, nSlicePitch};
    return RangeInside(nOffset, box.GetSpan(), nSize);
}

bool Overlap(uint64_t nFirst, size_t nFirstSize, uint64_t nSecond, size_t nSecondSize)
{
    return nFirst < nSecond + nSecondSize && nSecond < nFirst + nFirstSize;
}

cl_int ReadWriteBufferRect(cl_command_queue queue, cl_mem buffer, cl_bool bBlocking,
                           const size_t* pBufferOrigin, const size_t* pHostOrigin,
                           const size_t* pRegion, size_t nBufferRow, size_t nBufferSlice,
                           size_t nHostRow, size_t nHostSlice, const void* pHost,
                           cl_command_type nType, cl_uint nWaitCount, const cl_event* pWaitList,
                           cl_event* pEvent)
{
    const bool bWrite = nType == CL_COMMAND_WRITE_BUFFER || nType == CL_COMMAND_WRITE_BUFFER_RECT;
    STransfer transfer;
    cl_int nError = transfer.Open(queue, {{buffer, STransfer::MK_Buffer}});
    if (nError != CL_SUCCESS)
    {
        return nError;
    }
    CMemObject* pBuffer = transfer[0];
    size_t nBufferOffset = 0;
    SBox bufferBox;
    if (pHost == nullptr || pRegion == nullptr || pHostOrigin == nullptr ||
        !SetPitches(pRegion, nBufferRow, nBufferSlice) ||
        !SetPitches(pRegion, nHostRow, nHostSlice) ||
        !BufferRect(pBufferOrigin, pRegion, nBufferRow, nBufferSlice, pBuffer->GetSize(),
                    nBufferOffset, bufferBox))
    {
        return CDiagnostics::Refuse(
            CL_INVALID_VALUE, "region",
            "the rectangle, its pitches or its host pointer leave the buffer");
    }
    if (bWrite ? !pBuffer->HostMayWrite() : !pBuffer->HostMayRead())
    {
        return CDiagnostics::Refuse(CL_INVALID_OPERATION, "buffer",
                                    "its flags don't let the host reach it this way");
    }
    const size_t nHostOffset =
        pHostOrigin[2] * nHostSlice + pHostOrigin[1] * nHostRow + pHostOrigin[0];
    uint8_t* pHostBytes = static_cast<uint8_t*>(const_cast<void*>(pHost)) + nHostOffset;
    const size_t vSize[3] = {pRegion[0], pRegion[1], pRegion[2]};
    return transfer.Enqueue(nType, bBlocking, nWaitCount, pWaitList, pEvent,
                            [=]
                            {
                                uint8_t* pDevice = pBuffer->GetData() + nBufferOffset;
                                const size_t vBox[3] = {vSize[0], vSize[1], vSize[2]};
                                if (bWrite)
                                {
                                    CMemObject::CopyBox(pHostBytes, nHostRow, nHostSlice, pDevice,
                                                        nBufferRow, nBufferSlice, vBox);
                                }
                                else
                                {
                                    CMemObject::CopyBox(pDevice, nBufferRow, nBufferSlice,
                                                        pHostBytes, nHostRow, nHostSlice, vBox);
                                }
                            });
}

cl_int ReadWriteImage(cl_command_queue queue, cl_mem image, cl_bool bBlocking,
                      const size_t* pOrigin, const size_t* pRegion, size_t nRowPitch,
                      size_t nSlicePitch, const void* pHost, bool bWrite, cl_uint nWaitCount,
                      const cl_event* pWaitList, cl_event* pEvent)
{
    STransfer transfer;
    cl_int nError = transfer.Open(queue, {{image, STransfer::MK_Image}});
    if (nError != CL_SUCCESS)
    {
        return nError;
    }
    CMemObject* pImage = transfer[0];
    size_t nOffset = 0;
    SBox box;
    nError = pImage->GetImageBox(pOrigin, pRegion, nOffset, box);
    if (nError != CL_SUCCESS || pHost == nullptr)
    {
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "region",
                                    "the box leaves the image, or the host pointer is null");
    }
    // A 1D array's layers are rows of the host memory too.
    const size_t vHostRegion[2] = {
        box.vSize[0], pImage->GetMemType() == CL_MEM_OBJECT_IMAGE1D_ARRAY ? 1 : box.vSize[1]};
    if (!SetPitches(vHostRegion, nRowPitch, nSlicePitch))
    {
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "row_pitch",
                                    "pitches smaller than the region");
    }
    if (pImage->GetMemType() == CL_MEM_OBJECT_IMAGE1D_ARRAY)
    {
        nRowPitch = nSlicePitch;
    }
    if (bWrite ? !pImage->HostMayWrite() : !pImage->HostMayRead())
    {
        return CDiagnostics::Refuse(CL_INVALID_OPERATION, "image",
                                    "its flags don't let the host reach it this way");
    }
    uint8_t* pHostBytes = static_cast<uint8_t*>(const_cast<void*>(pHost));
    return transfer.Enqueue(bWrite ? CL_COMMAND_WRITE_IMAGE : CL_COMMAND_READ_IMAGE, bBlocking,
                            nWaitCount, pWaitList, pEvent,
                            [=]
                            {
                                uint8_t* pDevice = pImage->GetData() + nOffset;
                                if (bWrite)
                                {
                                    CMemObject::CopyBox(pHostBytes, nRowPitch, nSlicePitch, pDevice,
                                                        box.nRowPitch, box.nSlicePitch, box.vSize);
                                }
                                else
                                {
                                    CMemObject::CopyBox(pDevice, box.nRowPitch, box.nSlicePitch,
                                                        pHostBytes, nRowPitch, nSlicePitch,
                                                        box.vSize);
                                }
                            });
}

// Copies between an image and a buffer, whose bytes are the region tightly packed.
cl_int CopyImageBuffer(cl_command_queue queue, cl_mem image, cl_mem buffer, const size_t* pOrigin,
                       const size_t* pRegion, size_t nBufferOffset, bool bToBuffer,
                       cl_uint nWaitCount, const cl_event* pWaitList, cl_event* pEvent)
{
    STransfer transfer;
    cl_int nError =
        transfer.Open(queue, {{image, STransfer::MK_Image}, {buffer, STransfer::MK_Buffer}});
    if (nError != CL_SUCCESS)
    {
        return nError;
    }
    CMemObject* pImage = transfer[0];
    CMemObject* pBuffer = transfer[1];
    size_t nImageOffset = 0;
    SBox box;
    nError = pImage->GetImageBox(pOrigin, pRegion, nImageOffset, box);
    const size_t nRow = box.vSize[0];
    const size_t nSlice = nRow * box.vSize[1];
    if (nError != CL_SUCCESS ||
        !RangeInside(nBufferOffset, nSlice * box.vSize[2], pBuffer->GetSize()))
    {
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "region", "the bytes leave the buffer");
    }
    return transfer.Enqueue(bToBuffer ? CL_COMMAND_COPY_IMAGE_TO_BUFFER
                                      : CL_COMMAND_COPY_BUFFER_TO_IMAGE,
                            CL_FALSE, nWaitCount, pWaitList, pEvent,
                            [=]
                            {
                                uint8_t* pImageBytes = pImage->GetData() + nImageOffset;
                                uint8_t* pBufferBytes = pBuffer->GetData() + nBufferOffset;
                                if (bToBuffer)
                                {
                                    CMemObject::CopyBox(pImageBytes, box.nRowPitch, box.nSlicePitch,
                                                        pBufferBytes, nRow, nSlice, box.vSize);
                                }
                                else
                                {
                                    CMemObject::CopyBox(pBufferBytes, nRow, nSlice, pImageBytes,
                                                        box.nRowPitch, box.nSlicePitch, box.vSize);
                                }
                            });
}

void* MapMemory(cl_command_queue queue, cl_mem memobj, bool bImage, cl_bool bBlocking,
                cl_map_flags nFlags, const size_t* pOrigin, const size_t* pRegion,
                size_t* pRowPitch, size_t* pSlicePitch, cl_uint nWaitCount,
                const cl_event* pWaitList, cl_event* pEvent, cl_int* errcode_ret)
{
    STransfer transfer;
    cl_int nError =
        transfer.Open(queue, {{memobj, bImage ? STransfer::MK_Image : STransfer::MK_Buffer}});
    if (nError != CL_SUCCESS)
    {
        SetError(errcode_ret, nError);
        return nullptr;
    }
    CMemObject* pMem = transfer[0];
    if (bImage && pRowPitch == nullptr)
    {
        SetError(errcode_ret, CDiagnostics::Refuse(CL_INVALID_VALUE, "image_row_pitch", "null"));
        return nullptr;
    }
    size_t nRowPitch = 0;
    size_t nSlicePitch = 0;
    void* pMapped = pMem->Map(pOrigin, pRegion, nFlags, nRowPitch, nSlicePitch, nError);
    if (pMapped == nullptr)
    {
        SetError(errcode_ret, nError);
        return nullptr;
    }
    if (pRowPitch != nullptr)
    {
        *pRowPitch = nRowPitch;
    }
    if (pSlicePitch != nullptr)
    {
        *pSlicePitch = nSlicePitch;
    }
    nError = transfer.Enqueue(bImage ? CL_COMMAND_MAP_IMAGE : CL_COMMAND_MAP_BUFFER, bBlocking,
                              nWaitCount, pWaitList, pEvent,
                              [pMem, pMapped] { pMem->FillMapping(pMapped); });
    if (nError != CL_SUCCESS)
    {
        pMem->Unmap(pMapped);
        pMapped = nullptr;
    }
    SetError(errcode_ret, nError);
    return pMapped;
}
// Copies a rectangle between buffers; nType tells which command the application gave.
cl_int CopyBuffers(cl_command_type nType, cl_command_queue command_queue, cl_mem src_buffer,
                   cl_mem dst_buffer, const size_t* src_origin, const size_t* dst_origin,
                   const size_t* region, size_t src_row_pitch, size_t src_slice_pitch,
                   size_t dst_row_pitch, size_t dst_slice_pitch, cl_uint num_events_in_wait_list,
                   const cl_event* event_wait_list, cl_event* event)
{
    STransfer transfer;
    cl_int nError = transfer.Open(
        command_queue, {{src_buffer, STransfer::MK_Buffer}, {dst_buffer, STransfer::MK_Buffer}});
    if (nError != CL_SUCCESS)
    {
        return nError;
    }
    CMemObject* pSource = transfer[0];
    CMemObject* pDest = transfer[1];
    size_t nSourceOffset = 0;
    size_t nDestOffset = 0;
    SBox sourceBox;
    SBox destBox;
    if (region == nullptr || !SetPitches(region, src_row_pitch, src_slice_pitch) ||
        !SetPitches(region, dst_row_pitch, dst_slice_pitch) ||
        !BufferRect(src_origin, region, src_row_pitch, src_slice_pitch, pSource->GetSize(),
                    nSourceOffset, sourceBox) ||
        !BufferRect(dst_origin, region, dst_row_pitch, dst_slice_pitch, pDest->GetSize(),
                    nDestOffset, destBox))
    {
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "region", "a rectangle leaves its buffer");
    }
    if (Overlap(pSource->GetDeviceAddress() + nSourceOffset, sourceBox.GetSpan(),
                pDest->GetDeviceAddress() + nDestOffset, destBox.GetSpan()))
    {
        return CL_MEM_COPY_OVERLAP;
    }
    return transfer.Enqueue(nType, CL_FALSE, num_events_in_wait_list, event_wait_list, event,
                            [=]
                            {
                                CMemObject::CopyBox(
                                    pSource->GetData() + nSourceOffset, sourceBox.nRowPitch,
                                    sourceBox.nSlicePitch, pDest->GetData() + nDestOffset,
                                    destBox.nRowPitch, destBox.nSlicePitch, sourceBox.vSize);
                            });
}

} // namespace

cl_int clEnqueueReadBuffer(cl_command_queue command_queue, cl_mem buffer, cl_bool blocking_read,
                           size_t offset, size_t cb, void* ptr, cl_uint num_events_in_wait_list,
                           const cl_event* event_wait_list, cl_event* event)
{
    const size_t vOrigin[3] = {offset, 0, 0};
    const size_t vHostOrigin[3] = {0, 0, 0};
    const size_t vRegion[3] = {cb, 1, 1};
    return Guarded(
        [&]
        {
            return ReadWriteBufferRect(command_queue, buffer, blocking_read, vOrigin, vHostOrigin,
                                       vRegion, 0, 0, 0, 0, ptr, CL_COMMAND_READ_BUFFER,
                                       num_events_in_wait_list, event_wait_list, event);
        });
}

cl_int clEnqueueWriteBuffer(cl_command_queue command_queue, cl_mem buffer, cl_bool blocking_write,
                            size_t offset, size_t cb, const void* ptr,
                            cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                            cl_event* event)
{
    const size_t vOrigin[3] = {offset, 0, 0};
    const size_t vHostOrigin[3] = {0, 0, 0};
    const size_t vRegion[3] = {cb, 1, 1};
    return Guarded(
        [&]
        {
            return ReadWriteBufferRect(command_queue, buffer, blocking_write, vOrigin, vHostOrigin,
                                       vRegion, 0, 0, 0, 0, ptr, CL_COMMAND_WRITE_BUFFER,
                                       num_events_in_wait_list, event_wait_list, event);
        });
}

cl_int clEnqueueReadBufferRect(cl_command_queue command_queue, cl_mem buffer, cl_bool blocking_read,
                               const size_t* buffer_origin, const size_t* host_origin,
                               const size_t* region, size_t buffer_row_pitch,
                               size_t buffer_slice_pitch, size_t host_row_pitch,
                               size_t host_slice_pitch, void* ptr, cl_uint num_events_in_wait_list,
                               const cl_event* event_wait_list, cl_event* event)
{
    return Guarded(
        [&]
        {
            return ReadWriteBufferRect(
                command_queue, buffer, blocking_read, buffer_origin, host_origin, region,
                buffer_row_pitch, buffer_slice_pitch, host_row_pitch, host_slice_pitch, ptr,
                CL_COMMAND_READ_BUFFER_RECT, num_events_in_wait_list, event_wait_list, event);
        });
}

cl_int clEnqueueWriteBufferRect(cl_command_queue command_queue, cl_mem buffer,
                                cl_bool blocking_read, const size_t* buffer_origin,
                                const size_t* host_origin, const size_t* region,
                                size_t buffer_row_pitch, size_t buffer_slice_pitch,
                                size_t host_row_pitch, size_t host_slice_pitch, const void* ptr,
                                cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                                cl_event* event)
{
    return Guarded(
        [&]
        {
            return ReadWriteBufferRect(
                command_queue, buffer, blocking_read, buffer_origin, host_origin, region,
                buffer_row_pitch, buffer_slice_pitch, host_row_pitch, host_slice_pitch, ptr,
                CL_COMMAND_WRITE_BUFFER_RECT, num_events_in_wait_list, event_wait_list, event);
        });
}

cl_int clEnqueueCopyBuffer(cl_command_queue command_queue, cl_mem src_buffer, cl_mem dst_buffer,
                           size_t src_offset, size_t dst_offset, size_t cb,
                           cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                           cl_event* event)
{
    const size_t vSource[3] = {src_offset, 0, 0};
    const size_t vDest[3] = {dst_offset, 0, 0};
    const size_t vRegion[3] = {cb, 1, 1};
    return Guarded(
        [&]
        {
            return CopyBuffers(CL_COMMAND_COPY_BUFFER, command_queue, src_buffer, dst_buffer,
                               vSource, vDest, vRegion, 0, 0, 0, 0, num_events_in_wait_list,
                               event_wait_list, event);
        });
}

cl_int clEnqueueCopyBufferRect(cl_command_queue command_queue, cl_mem src_buffer, cl_mem dst_buffer,
                               const size_t* src_origin, const size_t* dst_origin,
                               const size_t* region, size_t src_row_pitch, size_t src_slice_pitch,
                               size_t dst_row_pitch, size_t dst_slice_pitch,
                               cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                               cl_event* event)
{
    return Guarded(
        [&]
        {
            return CopyBuffers(CL_COMMAND_COPY_BUFFER_RECT, command_queue, src_buffer, dst_buffer,
                               src_origin, dst_origin, region, src_row_pitch, src_slice_pitch,
                               dst_row_pitch, dst_slice_pitch, num_events_in_wait_list,
                               event_wait_list, event);
        });
}

cl_int clEnqueueFillBuffer(cl_command_queue command_queue, cl_mem buffer, const void* pattern,
                           size_t pattern_size, size_t offset, size_t cb,
                           cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                           cl_event* event)
{
    return Guarded(
        [&]
        {
            STransfer transfer;
            cl_int nError = transfer.Open(command_queue, {{buffer, STransfer::MK_Buffer}});
            if (nError != CL_SUCCESS)
            {
                return nError;
            }
            CMemObject* pBuffer = transfer[0];
            if (pattern == nullptr || pattern_size == 0 || pattern_size > 128 ||
                (pattern_size & (pattern_size - 1)) != 0 || offset % pattern_size != 0 ||
                cb % pattern_size != 0 || !RangeInside(offset, cb, pBuffer->GetSize()))
            {
                return CDiagnostics::Refuse(CL_INVALID_VALUE, "pattern_size",
                                            "the pattern, its size, the offset or the size don't "
                                            "fit each other or the buffer");
            }
            const std::vector<uint8_t> vPattern(static_cast<const uint8_t*>(pattern),
                                                static_cast<const uint8_t*>(pattern) +
                                                    pattern_size);
            return transfer.Enqueue(
                CL_COMMAND_FILL_BUFFER, CL_FALSE, num_events_in_wait_list, event_wait_list, event,
                [=] { FillPattern(pBuffer->GetData() + offset, cb, vPattern); });
        });
}

cl_int clEnqueueReadImage(cl_command_queue command_queue, cl_mem image, cl_bool blocking_read,
                          const size_t* origin, const size_t* region, size_t row_pitch,
                          size_t slice_pitch, void* ptr, cl_uint num_events_in_wait_list,
                          const cl_event* event_wait_list, cl_event* event)
{
    return Guarded(
        [&]
        {
            return ReadWriteImage(command_queue, image, blocking_read, origin, region, row_pitch,
                                  slice_pitch, ptr, false, num_events_in_wait_list, event_wait_list,
                                  event);
        });
}

cl_int clEnqueueWriteImage(cl_command_queue command_queue, cl_mem image, cl_bool blocking_write,
                           const size_t* origin, const size_t* region, size_t input_row_pitch,
                           size_t input_slice_pitch, const void* ptr,
                           cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                           cl_event* event)
{
    return Guarded(
        [&]
        {
            return ReadWriteImage(command_queue, image, blocking_write, origin, region,
                                  input_row_pitch, input_slice_pitch, ptr, true,
                                  num_events_in_wait_list, event_wait_list, event);
        });
}

cl_int clEnqueueCopyImage(cl_command_queue command_queue, cl_mem src_image, cl_mem dst_image,
                          const size_t* src_origin, const size_t* dst_origin, const size_t* region,
                          cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                          cl_event* event)
{
    return Guarded(
        [&]
        {
            STransfer transfer;
            cl_int nError = transfer.Open(command_queue, {{src_image, STransfer::MK_Image},
                                                          {dst_image, STransfer::MK_Image}});
            if (nError != CL_SUCCESS)
            {
                return nError;
            }
            CMemObject* pSource = transfer[0];
            CMemObject* pDest = transfer[1];
            const cl_image_format& source = pSource->GetImageFormat();
            const cl_image_format& dest = pDest->GetImageFormat();
            if (source.image_channel_order != dest.image_channel_order ||
                source.image_channel_data_type != dest.image_channel_data_type)
            {
                return CL_IMAGE_FORMAT_MISMATCH;
            }
            size_t nSourceOffset = 0;
            size_t nDestOffset = 0;
            SBox sourceBox;
            SBox destBox;
            if (pSource->GetImageBox(src_origin, region, nSourceOffset, sourceBox) != CL_SUCCESS ||
                pDest->GetImageBox(dst_origin, region, nDestOffset, destBox) != CL_SUCCESS)
            {
                return CDiagnostics::Refuse(CL_INVALID_VALUE, "region", "a box leaves its image");
            }
            if (pSource == pDest &&
                Overlap(nSourceOffset, sourceBox.GetSpan(), nDestOffset, destBox.GetSpan()))
            {
                return CL_MEM_COPY_OVERLAP;
            }
            return transfer.Enqueue(
                CL_COMMAND_COPY_IMAGE, CL_FALSE, num_events_in_wait_list, event_wait_list, event,
                [=]
                {
                    CMemObject::CopyBox(pSource->GetData() + nSourceOffset, sourceBox.nRowPitch,
                                        sourceBox.nSlicePitch, pDest->GetData() + nDestOffset,
                                        destBox.nRowPitch, destBox.nSlicePitch, sourceBox.vSize);
                });
        });
}

cl_int clEnqueueFillImage(cl_command_queue command_queue, cl_mem image, const void* fill_color,
                          const size_t origin[3], const size_t region[3],
                          cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                          cl_event* event)
{
    return Guarded(
        [&]
        {
            STransfer transfer;
            cl_int nError = transfer.Open(command_queue, {{image, STransfer::MK_Image}});
            if (nError != CL_SUCCESS)
            {
                return nError;
            }
            CMemObject* pImage = transfer[0];
            size_t nOffset = 0;
            SBox box;
            if (fill_color == nullptr ||
                pImage->GetImageBox(origin, region, nOffset, box) != CL_SUCCESS)
            {
                return CDiagnostics::Refuse(CL_INVALID_VALUE, "region",
                                            "the fill colour is null or the box leaves the image");
            }
            std::vector<uint8_t> vPixel(pImage->GetElementSize());
            CImageFormat::EncodeColor(pImage->GetImageFormat(), fill_color, vPixel.data());
            return transfer.Enqueue(
                CL_COMMAND_FILL_IMAGE, CL_FALSE, num_events_in_wait_list, event_wait_list, event,
                [=]
                {
                    // The first row is filled pixel by pixel, and copied to every other row.
                    uint8_t* pFirst = pImage->GetData() + nOffset;
                    for (size_t x = 0; x < box.vSize[0]; x += vPixel.size())
                    {
                        std::memcpy(pFirst + x, vPixel.data(), vPixel.size());
                    }
                    for (size_t z = 0; z < box.vSize[2]; ++z)
                    {
                        for (size_t y = 0; y < box.vSize[1]; ++y)
                        {
                            std::memmove(pFirst + z * box.nSlicePitch + y * box.nRowPitch, pFirst,
                                         box.vSize[0]);
                        }
                    }
                });
        });
}

cl_int clEnqueueCopyImageToBuffer(cl_command_queue command_queue, cl_mem src_image,
                                  cl_mem dst_buffer, const size_t* src_origin, const size_t* region,
                                  size_t dst_offset, cl_uint num_events_in_wait_list,
                                  const cl_event* event_wait_list, cl_event* event)
{
    return Guarded(
        [&]
        {
            return CopyImageBuffer(command_queue, src_image, dst_buffer, src_origin, region,
                                   dst_offset, true, num_events_in_wait_list, event_wait_list,
                                   event);
        });
}

cl_int clEnqueueCopyBufferToImage(cl_command_queue command_queue, cl_mem src_buffer,
                                  cl_mem dst_image, size_t src_offset, const size_t* dst_origin,
                                  const size_t* region, cl_uint num_events_in_wait_list,
                                  const cl_event* event_wait_list, cl_event* event)
{
    return Guarded(
        [&]
        {
            return CopyImageBuffer(command_queue, dst_image, src_buffer, dst_origin, region,
                                   src_offset, false, num_events_in_wait_list, event_wait_list,
                                   event);
        });
}

void* clEnqueueMapBuffer(cl_command_queue command_queue, cl_mem buffer, cl_bool blocking_map,
                         cl_map_flags map_flags, size_t offset, size_t cb,
                         cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                         cl_event* event, cl_int* errcode_ret)
{
    const size_t vOrigin[3] = {offset, 0, 0};
    const size_t vRegion[3] = {cb, 1, 1};
    return GuardedCreate(errcode_ret,
                         [&]
                         {
                             return MapMemory(command_queue, buffer, false, blocking_map, map_flags,
                                              vOrigin, vRegion, nullptr, nullptr,
                                              num_events_in_wait_list, event_wait_list, event,
                                              errcode_ret);
                         });
}

void* clEnqueueMapImage(cl_command_queue command_queue, cl_mem image, cl_bool blocking_map,
                        cl_map_flags map_flags, const size_t* origin, const size_t* region,
                        size_t* image_row_pitch, size_t* image_slice_pitch,
                        cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                        cl_event* event, cl_int* errcode_ret)
{
    return GuardedCreate(errcode_ret,
                         [&]
                         {
                             return MapMemory(command_queue, image, true, blocking_map, map_flags,
                                              origin, region, image_row_pitch, image_slice_pitch,
                                              num_events_in_wait_list, event_wait_list, event,
                                              errcode_ret);
                         });
}

cl_int clEnqueueUnmapMemObject(cl_command_queue command_queue, cl_mem memobj, void* mapped_ptr,
                               cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                               cl_event* event)
{
    return Guarded(
        [&]
        {
            STransfer transfer;
            cl_int nError = transfer.Open(command_queue, {{memobj, STransfer::MK_Any}});
            if (nError != CL_SUCCESS)
            {
                return nError;
            }
            CMemObject* pMem = transfer[0];
            nError = pMem->CheckMapped(mapped_ptr);
            if (nError != CL_SUCCESS)
            {
                return nError;
            }
            return transfer.Enqueue(CL_COMMAND_UNMAP_MEM_OBJECT, CL_FALSE, num_events_in_wait_list,
                                    event_wait_list, event,
                                    [pMem, mapped_ptr] { pMem->Unmap(mapped_ptr); });
        });
}
} // namespace Api
} // namespace XAN_Platform
