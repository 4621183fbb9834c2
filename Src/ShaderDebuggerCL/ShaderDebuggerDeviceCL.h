#ifndef SHADER_DEBUGGER_DEVICE_CL_H
#define SHADER_DEBUGGER_DEVICE_CL_H

#include "BufferDesc.h"
#include "ShaderDebuggerHost.h"

#include <CL/cl.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace XAN_ShaderDebugger
{
// The kernel and its resources as the debugger core sees them: the application's kernel, whose
// arguments stay the only source of argument values, and the patched kernel that replaces it on
// each re-execution. It prepares the kernel binary that the IL debugger works on.
class CShaderDebuggerDeviceCL : public CShaderDebuggerDevice
{
public:
    // The size and the place in the argument constant buffer "cb1" of one kernel argument.
    struct ArgCBInfo
    {
        uint32_t nSize;
        uint32_t nOffset;
    };

    CShaderDebuggerDeviceCL(cl_kernel kernel, cl_command_queue commandQueue);
    ~CShaderDebuggerDeviceCL() override;

    CShaderDebuggerDeviceCL(const CShaderDebuggerDeviceCL&) = delete;
    CShaderDebuggerDeviceCL& operator=(const CShaderDebuggerDeviceCL&) = delete;

    bool InitDevice() override;
    bool ResetDevice() override;
    // A negative index describes the work grid rather than an argument.
    bool GetDeviceBufferDesc(uint32_t nShaderType, int32_t nIndex, BufferDesc* pDesc) override;
    CShaderDebuggerDeviceBuffer* CreateDeviceBuffer(const BufferDesc& desc) override;
    uint32_t GetNumDeviceBuffers(uint32_t nShaderType) override;
    // A wrapper around the application's argument, which it never releases.
    CShaderDebuggerDeviceBuffer* GetDeviceBuffer(uint32_t nShaderType, uint32_t nIndex) override;
    CShaderDebuggerDeviceBuffer* GetDeviceBuffer(uint32_t nShaderType,
                                                 std::string strName) override;
    // Binds the buffer to an argument of the patched kernel.
    bool SetDeviceBuffer(uint32_t nShaderType, uint32_t nIndex,
                         CShaderDebuggerDeviceBuffer* pBuffer) override;
    bool SetDeviceBuffer(uint32_t nShaderType, std::string strName,
                         CShaderDebuggerDeviceBuffer* pBuffer) override;
    // Kernels have no shader handles: CreateShader and ReleaseShader are refused.
    bool CreateShader(uint32_t nShaderType, const void* pData, size_t nSize,
                      void** pExtra) override;
    // Builds a patched kernel image into the kernel that replaces the application's.
    bool SetShader(uint32_t nShaderType, const void* pData, size_t nSize) override;
    // The kernel itself, without a reference of its own.
    void* GetShader(uint32_t nShaderType) override;
    void ReleaseShader(void* pShader) override;
    std::string GetShaderName(uint32_t nShaderType) override;
    bool DisassembleShader(const void* pData, size_t nSize, std::string& text) override;

    // The program's binary rewritten to hold the debug IL as tokens; built on the first call,
    // empty after a failure.
    std::vector<unsigned char>& GetShaderData();
    // One argument of the application's kernel; every out-pointer may be null.
    bool GetArgumentValueAndTypeFromOriginalKernel(uint32_t nIndex, std::vector<uint8_t>* pValue,
                                                   size_t* pSize, BufferType* pType,
                                                   bool* pbNullBuffer);

    const std::string& GetDeviceName() const { return m_strDeviceName; }
    bool Is64BitABI() const { return m_b64BitABI; }
    const std::vector<ArgCBInfo>& GetArgCBInfo() const { return m_ArgCBInfo; }

    // The runtime's build number in the brackets of a CL_DEVICE_VERSION text; 0 without one.
    static int32_t GetRuntimeBuild(const std::string& strVersion);

private:
    bool InitKernelABIAndArgCBInfo();
    // A kernel of the context from the image; null with the failure reported.
    cl_kernel BuildPatchedKernel(const std::vector<char>& vShader);
    // Releases every cached patched kernel; false if one could not be released.
    bool ReleasePatchedKernels();

    // Enough for every patched kernel of a long stepping session, bounded against runaway growth.
    static const size_t MAX_PATCHED_KERNELS = 256;

    cl_device_id m_Device;
    std::string m_strDeviceName;
    cl_context m_Context;
    cl_command_queue m_Queue;
    cl_kernel m_OriginalKernel;
    // The patched kernel to run, one of the cache; null runs the original.
    cl_kernel m_PatchedKernel;
    // By the image as SetShader received it.
    std::map<std::vector<char>, cl_kernel> m_PatchedKernels;
    std::string m_strKernelName;
    std::vector<ArgCBInfo> m_ArgCBInfo;
    std::vector<unsigned char> m_vShaderData;
    bool m_b64BitABI;
};

} // namespace XAN_ShaderDebugger

#endif
