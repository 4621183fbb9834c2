#ifndef XAN_TEST_SCRIPTED_HOST_H
#define XAN_TEST_SCRIPTED_HOST_H

// A host and device for the IL debugger without a GPU: device buffers are host memory, and an
// execution fills the result and exec-mask buffers from a script keyed by the patched kernel's
// target and the selector value. It records every binary loaded, every argument bound and every
// execution, so that tests see what the debugger asked of the device.

#include "BufferDesc.h"
#include "ShaderDebuggerHost.h"
#include "ShaderDebuggerIL/ShaderDebuggerIL.h"
#include "support/AnalysisDoubles.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace XAN_Test
{
typedef std::vector<uint8_t> Bytes;

class CScriptedDeviceBuffer : public XAN_ShaderDebugger::CShaderDebuggerDeviceBuffer
{
public:
    CScriptedDeviceBuffer(XAN_ShaderDebugger::CShaderDebuggerHost* pHost, const BufferDesc& desc,
                          std::shared_ptr<Bytes> pMemory, std::shared_ptr<size_t> pLiveCount);
    ~CScriptedDeviceBuffer() override;

    bool Create(const BufferDesc& desc) override;
    XAN_ShaderDebugger::CShaderDebuggerBuffer*
    GetDataBuffer(XAN_ShaderDebugger::CShaderDebuggerBuffer* pDataBuffer) override;
    const void* GetDeviceBuffer() override { return this; }
    bool Clear() override;
    bool SaveToFile(const std::string&) override { return false; }
    bool UpdateData(const void* pData, size_t nBufferSize) override;

    const BufferDesc& GetDesc() const { return m_Desc; }
    Bytes& Memory() const { return *m_pMemory; }
    // The memory, shared by every wrapper of one application object.
    const std::shared_ptr<Bytes>& SharedMemory() const { return m_pMemory; }

private:
    XAN_ShaderDebugger::CShaderDebuggerHost* m_pHost;
    BufferDesc m_Desc;
    std::shared_ptr<Bytes> m_pMemory;
    std::shared_ptr<size_t> m_pLiveCount;
};

// One SetDeviceBuffer call: the value of a value argument is kept, since the debugger releases
// the buffer behind it at once.
struct Binding
{
    uint32_t nIndex;
    const XAN_ShaderDebugger::CShaderDebuggerDeviceBuffer* pBuffer;
    BufferType type;
    Bytes value;
};

class CScriptedHost : public XAN_ShaderDebugger::CShaderDebuggerHost
{
public:
    // Work-items active at a target, for a selector value: the first ones of the grid.
    typedef std::function<uint32_t(const XAN_ShaderDebugger::ProgramCounter& pc,
                                   uint32_t nSelector)>
        ActiveScript;

    // A launch of the given extents (0 for an unused one) whose arguments are these buffers of
    // 32-bit words; the debugger of factory type nType is registered.
    CScriptedHost(const std::string& strKernel, uint32_t nWidth, uint32_t nHeight, uint32_t nDepth,
                  const std::vector<std::vector<uint32_t>>& vArguments, uint32_t nType = 5);

    // The debugger, registered and owned by this host.
    XAN_ShaderDebugger::CShaderDebuggerIL* Debugger() const { return m_pDebugger; }
    bool Start(const std::vector<char>& vBinary);
    uint32_t GetWorkItemCount() const;
    // An application buffer's words.
    std::vector<uint32_t> Argument(size_t nIndex) const;
    // The value that a run writes for a work-item, component 0.
    static uint32_t Value(const XAN_ShaderDebugger::ProgramCounter& pc, uint32_t nSelector,
                          uint32_t nItem);
    bool Logged(const std::string& strText) const;
    size_t LiveBuffers() const { return *m_pLiveBuffers; }

    bool InitDevice(const void*, size_t, const void*, const uint32_t*, uint32_t) override;
    bool ResetDevice() override;
    bool ExecuteShader() override;
    bool GetDeviceBufferDesc(uint32_t nShaderType, int32_t nIndex, BufferDesc* pDesc) override;
    XAN_ShaderDebugger::CShaderDebuggerDeviceBuffer*
    CreateDeviceBuffer(const BufferDesc& desc) override;
    uint32_t GetNumDeviceBuffers(uint32_t nShaderType) override;
    XAN_ShaderDebugger::CShaderDebuggerDeviceBuffer* GetDeviceBuffer(uint32_t nShaderType,
                                                                     uint32_t nIndex) override;
    using CShaderDebuggerHost::GetDeviceBuffer;
    bool SetDeviceBuffer(uint32_t nShaderType, uint32_t nIndex,
                         XAN_ShaderDebugger::CShaderDebuggerDeviceBuffer* pBuffer) override;
    using CShaderDebuggerHost::SetDeviceBuffer;
    bool SetShader(uint32_t nShaderType, const void* pData, size_t nSize) override;
    std::string GetShaderName(uint32_t) override { return m_strKernel; }
    bool DisassembleShader(const void*, size_t, std::string&) override { return false; }
    void GetDeviceName(std::string&) override {}
    uint32_t GetLogLevel() override { return 8; }
    void SetLastError(const std::string& strError) override { m_strLastError = strError; }
    void Log(uint32_t, const std::string& strText) override { m_vLines.push_back(strText); }

    ActiveScript m_Active;
    // Calls in order: "CreateDeviceBuffer", "SetShader", "ExecuteShader", "InitDevice",
    // "ResetDevice".
    std::vector<std::string> m_vCalls;
    std::vector<Bytes> m_vShaders;
    std::vector<Binding> m_vBindings;
    size_t m_nExecutions;
    // The targets of the patched runs, in order, with their selector.
    std::vector<std::pair<XAN_ShaderDebugger::ProgramCounter, uint32_t>> m_vRuns;
    std::vector<std::string> m_vLines;
    std::string m_strLastError;

private:
    // The binding of an index by the latest SetDeviceBuffer; null if none.
    const Binding* Bound(uint32_t nIndex) const;
    CScriptedDeviceBuffer* BoundBuffer(uint32_t nIndex) const;
    bool IsDumpRun() const;

    XAN_ShaderDebugger::CShaderDebuggerIL* m_pDebugger;
    std::string m_strKernel;
    BufferDesc m_Grid;
    std::vector<std::shared_ptr<Bytes>> m_vArguments;
    std::shared_ptr<size_t> m_pLiveBuffers;
    uint32_t m_WorkSize[5];
};
// A corpus kernel on a scripted launch, with its instructions named by their text.
class CScriptedKernel
{
public:
    CScriptedKernel(const std::string& strKernel, const std::vector<char>& vBinary,
                    uint32_t nWidth = 8, uint32_t nHeight = 0, uint32_t nDepth = 0,
                    const std::vector<std::vector<uint32_t>>& vArguments = {{1, 2, 3, 4}})
        : m_vBinary(vBinary), m_Named(strKernel, vBinary),
          m_Host(strKernel, nWidth, nHeight, nDepth, vArguments)
    {
    }

    bool Start() { return m_Host.Start(m_vBinary); }
    uint32_t At(const std::string& strText, unsigned int nth = 0) const
    {
        return m_Named.At(strText, nth);
    }
    XAN_ShaderDebugger::CShaderDebuggerIL& Debugger() const { return *m_Host.Debugger(); }
    XAN_ShaderDebugger::CShaderDebuggerShaderIL& Shader() const
    {
        return *m_Host.Debugger()->GetILShader();
    }
    uint32_t Position() const { return Debugger().GetCurrentInstruction().m_nPos; }

    std::vector<char> m_vBinary;
    CAnalyzedKernel m_Named;
    CScriptedHost m_Host;
};
} // namespace XAN_Test

#endif
