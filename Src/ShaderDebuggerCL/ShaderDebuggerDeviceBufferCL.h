#ifndef SHADER_DEBUGGER_DEVICE_BUFFER_CL_H
#define SHADER_DEBUGGER_DEVICE_BUFFER_CL_H

#include "BufferDesc.h"
#include "ShaderDebuggerHost.h"

#include <CL/cl.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace XAN_ShaderDebugger
{
// One kernel argument as the debugger core sees it: a buffer or image, a value, or a __local
// size. It reads and writes the contents on the host and makes the working copies that stand in
// for the application's buffers during a re-execution. Memory that the host may not touch is
// reached through a staging object.
class CShaderDebuggerDeviceBufferCL : public CShaderDebuggerDeviceBuffer
{
public:
    enum NullBufferState : uint32_t
    {
        CLNB_Unknown = 0,
        CLNB_Is_A_Null_Buffer = 1,
        CLNB_Is_Not_A_Null_Buffer = 2,
    };

    // An empty object, for Create. None of the handles is retained: the device keeps them.
    CShaderDebuggerDeviceBufferCL(CShaderDebuggerDevice* pOwner, cl_device_id device,
                                  cl_context context, cl_command_queue queue);
    // Wraps an application's argument without creating or ever releasing anything.
    CShaderDebuggerDeviceBufferCL(CShaderDebuggerDevice* pOwner, cl_device_id device,
                                  cl_context context, cl_command_queue queue,
                                  const std::vector<uint8_t>& value, size_t nSize, bool bNullBuffer,
                                  const BufferDesc& desc);
    ~CShaderDebuggerDeviceBufferCL() override;

    CShaderDebuggerDeviceBufferCL(const CShaderDebuggerDeviceBufferCL&) = delete;
    CShaderDebuggerDeviceBufferCL& operator=(const CShaderDebuggerDeviceBufferCL&) = delete;

    // Makes a new object filled with the byte 0xAA; a descriptor with no extents and no size
    // makes a null buffer argument.
    bool Create(const BufferDesc& desc) override;
    // A given buffer keeps its memory where the size allows: a read-back each step into fresh
    // memory would pay a page fault per page.
    CShaderDebuggerBuffer* GetDataBuffer(CShaderDebuggerBuffer* pDataBuffer) override;
    // The value pointer for clSetKernelArg; null for a __local size.
    const void* GetDeviceBuffer() override;
    bool Clear() override;
    // Creates the file without contents: nothing reads them.
    bool SaveToFile(const std::string& strName) override;
    // Writes the contents; null data fills with the byte 0xAA.
    bool UpdateData(const void* pData, size_t nBufferSize) override;
    // A fill on the queue: nothing crosses from the host. Buffers only.
    bool ZeroData() override;
    virtual bool Destroy();
    // The size for clSetKernelArg.
    virtual size_t GetArgumentSize();

    const BufferDesc& GetDesc() const { return m_Desc; }

private:
    CShaderDebuggerHost* GetHost() const;
    cl_mem GetMem() const;
    bool IsImage() const;
    // The three extents of an image transfer: rows and slices count 1 where the type has none.
    void GetRegion(size_t (&region)[3]) const;
    cl_mem CreateImage(cl_mem_flags nFlags, const cl_image_format& format, cl_int& nError) const;
    // Copies between mem and its staging object, in either direction.
    bool CopyMem(cl_mem src, cl_mem dst);
    // A staging object that the host can reach with nHostFlags, when mem's own flags deny it.
    bool Stage(cl_mem mem, cl_mem_flags nDenied, cl_mem_flags nHostFlags, cl_mem& staging);
    // Maps the whole object blocking; the pitches stay 0 for a buffer. A failure is reported
    // behind the operation's prefix.
    void* Map(cl_mem mem, cl_map_flags nFlags, const char* pPrefix, size_t& nRowPitch,
              size_t& nSlicePitch);
    bool Release(cl_mem mem);

    CShaderDebuggerDevice* m_pOwner; // not owned
    BufferDesc m_Desc;
    [[maybe_unused]] cl_device_id m_Device; // no transfer needs it: the queue names the device
    cl_context m_Context;
    cl_command_queue m_Queue;
    std::vector<uint8_t> m_Value;
    uint64_t m_nSize;
    NullBufferState m_isNullBuffer;
    bool m_bOwnsMem;
};

} // namespace XAN_ShaderDebugger

#endif
