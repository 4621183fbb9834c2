#ifndef SHADER_DEBUGGER_HOST_H
#define SHADER_DEBUGGER_HOST_H

#include "ShaderDebugger.h"

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace XAN_ShaderDebugger
{
// One resource of the compute or graphics API as the debugger sees it.
class CShaderDebuggerDeviceBuffer
{
public:
    virtual ~CShaderDebuggerDeviceBuffer() {}

    virtual bool Create(const BufferDesc& desc) = 0;
    // Reads the contents into pDataBuffer, or into a new buffer when that is null; the caller
    // owns the result.
    virtual CShaderDebuggerBuffer* GetDataBuffer(CShaderDebuggerBuffer* pDataBuffer) = 0;
    // The API's own object, as the API takes it when binding.
    virtual const void* GetDeviceBuffer() = 0;
    virtual bool Clear() = 0;
    virtual bool SaveToFile(const std::string& strName) = 0;
    virtual bool UpdateData(const void* pData, size_t nBufferSize) = 0;
    // Sets every byte to 0 on the device; false where it can't, and the caller writes zeros.
    virtual bool ZeroData() { return false; }
};

// Hides the compute or graphics API from the debugger.
class CShaderDebuggerDevice
{
public:
    CShaderDebuggerDevice() : m_pHost(NULL) {}
    virtual ~CShaderDebuggerDevice() {}

    virtual bool InitDevice() = 0;
    virtual bool ResetDevice() = 0;
    virtual bool GetDeviceBufferDesc(uint32_t nShaderType, int32_t nIndex, BufferDesc* pDesc) = 0;
    // The caller owns the result.
    virtual CShaderDebuggerDeviceBuffer* CreateDeviceBuffer(const BufferDesc& desc) = 0;
    virtual uint32_t GetNumDeviceBuffers(uint32_t nShaderType) = 0;
    virtual CShaderDebuggerDeviceBuffer* GetDeviceBuffer(uint32_t nShaderType, uint32_t nIndex) = 0;
    virtual CShaderDebuggerDeviceBuffer* GetDeviceBuffer(uint32_t nShaderType,
                                                         std::string strName) = 0;
    virtual bool SetDeviceBuffer(uint32_t nShaderType, uint32_t nIndex,
                                 CShaderDebuggerDeviceBuffer* pBuffer) = 0;
    virtual bool SetDeviceBuffer(uint32_t nShaderType, std::string strName,
                                 CShaderDebuggerDeviceBuffer* pBuffer) = 0;
    // Writes a new shader handle, holding one reference, through pExtra (a void**). A graphics
    // shader's size may be 0: its code runs to its end token.
    virtual bool CreateShader(uint32_t nShaderType, const void* pData, size_t nSize,
                              void** pExtra) = 0;
    // Makes a patched shader current. A graphics device binds a handle given with size 0 (the
    // binding holds its own reference); a null handle unbinds.
    virtual bool SetShader(uint32_t nShaderType, const void* pData, size_t nSize) = 0;
    // The patched shader if there is one, else the original. A graphics device adds a reference
    // to the handle, which the caller drops with ReleaseShader.
    virtual void* GetShader(uint32_t nShaderType) = 0;
    // Drops one reference of a shader handle.
    virtual void ReleaseShader(void* pShader) = 0;
    virtual std::string GetShaderName(uint32_t nShaderType) = 0;
    virtual bool DisassembleShader(const void* pData, size_t nSize, std::string& text) = 0;

    CShaderDebuggerHost* GetHost() const { return m_pHost; }

private:
    friend class CShaderDebuggerHost;

    CShaderDebuggerHost* m_pHost; // not owned: the host owns the device
};

// What the outside world holds of a debugger: it forwards the debugger interface to the one
// registered debugger and offers that debugger a device, shader execution and logging.
class CShaderDebuggerHost : public IShaderDebugger
{
public:
    // Takes ownership of the device.
    explicit CShaderDebuggerHost(CShaderDebuggerDevice* pDevice);
    // Deletes the debugger before the device: the debugger's destructor still uses it.
    ~CShaderDebuggerHost() override;

    CShaderDebuggerHost(const CShaderDebuggerHost&) = delete;
    CShaderDebuggerHost& operator=(const CShaderDebuggerHost&) = delete;

    // Takes ownership of the debugger.
    void RegisterDebugger(IShaderDebugger* pDebugger);

    bool StartDebugging(const void* pShaderData, size_t nSize, const void* pExtra,
                        const uint32_t* pWorkSize, uint32_t nMode) override;
    void EndDebugging(bool bUpdateBuffers) override;
    bool IsDebugging() override;
    bool Profile(const void* pShaderData, size_t nSize, const void* pExtra, void* pOut,
                 const uint32_t* pWorkSize, uint32_t nMode) override;
    bool GetShaderText(const void* pShaderData, size_t nSize, const void* pExtra, std::string& text,
                       uint32_t nType) override;
    bool GetShaderText(std::string& text, uint32_t nType) override;
    bool GetShaderKeywords(const void* pShaderData, size_t nSize, const void* pExtra,
                           std::vector<std::string>& list, uint32_t nType) override;
    bool GetShaderKeywords(std::vector<std::string>& list, uint32_t nType) override;
    bool GetShaderInfo(const void* pShaderData, size_t nSize, ShaderInfo* pInfo) override;
    bool GetShaderInfo(ShaderInfo* pInfo) override;
    uint32_t GetDefaultDebugMode() override;
    bool SetDebugMode(uint32_t nMode) override;
    bool Execute() override;
    bool Draw() override;
    bool Step() override;
    bool Back() override;
    bool Run() override;
    bool RunBack() override;
    uint32_t GetCurrentLine() override;
    uint32_t GetNextLine() override;
    uint32_t GetPreviousLine() override;
    ProgramCounter GetCurrentInstruction() override;
    void SetThreadID(const ShaderUtils::ThreadID& id) override;
    ShaderUtils::ThreadID GetThreadID() override;
    bool AddBreakPointAtLineNumber(uint32_t nLine, uint32_t nSearch,
                                   uint32_t* pActualLine) override;
    bool AddBreakPoint(uint32_t nInstruction) override;
    bool RemoveBreakPointAtLineNumber(uint32_t nLine) override;
    bool RemoveBreakPoint(uint32_t nInstruction) override;
    bool RemoveAllBreakPoints() override;
    bool ToggleBreakPointAtLineNumber(uint32_t nLine, bool bSearch) override;
    bool ToggleBreakPoint(uint32_t nInstruction) override;
    bool IsBreakPointAtLineNumber(uint32_t nLine) override;
    bool IsBreakPoint(uint32_t nInstruction) override;
    bool HasBreakPointBetweenLines(uint32_t nFirst, uint32_t nLast) override;
    bool HasBreakPointBetween(uint32_t nFirstInstruction, uint32_t nLastInstruction) override;
    uint32_t GetAllBreakpoints(std::set<uint32_t>* pLines) override;
    uint32_t GetAllBreakpointInstructions(std::set<uint32_t>* pInstructions) override;
    bool SetTrackingRegisters(const std::set<std::string>& registers) override;
    void GetTrackingRegisters(std::set<std::string>& registers) override;
    void SetTrackSelectedRegisters(bool bTrackSelected) override;
    bool IsTrackSelectedRegisters() override;
    CShaderDebuggerVariables* GetVariables(ShaderUtils::ThreadID& id) override;
    ShaderUtils::SUBuffer* GetRegisterResultsBuffer(const varID& request) override;
    ShaderUtils::SUBuffer* GetGlobalResultsBuffer(const varID& request) override;
    ShaderUtils::SUBuffer* GetExecMaskBuffer() override;
    uint32_t GetWorkSize0() override;
    uint32_t GetWorkSize1() override;
    uint32_t GetWorkSize2() override;
    uint32_t GetWorkSize3() override;
    uint32_t GetWorkSize4() override;
    // These four may be called before a debugger is registered.
    bool GetLastError(std::string& strError) override;
    void SetLastError(const std::string& strError) override;
    uint32_t GetLogLevel() override;
    void SetLogLevel(uint32_t nLevel) override;
    CShaderDebuggerHost* GetHost() override;

    virtual bool InitDevice(const void* pShaderData, size_t nSize, const void* pExtra,
                            const uint32_t* pWorkSize, uint32_t nMode);
    virtual bool ResetDevice();
    // Runs the device's current shader once, to completion.
    virtual bool ExecuteShader() = 0;
    virtual bool GetDeviceBufferDesc(uint32_t nShaderType, int32_t nIndex, BufferDesc* pDesc);
    virtual CShaderDebuggerDeviceBuffer* CreateDeviceBuffer(const BufferDesc& desc);
    virtual uint32_t GetNumDeviceBuffers(uint32_t nShaderType);
    virtual CShaderDebuggerDeviceBuffer* GetDeviceBuffer(uint32_t nShaderType, uint32_t nIndex);
    virtual CShaderDebuggerDeviceBuffer* GetDeviceBuffer(uint32_t nShaderType, std::string strName);
    virtual bool SetDeviceBuffer(uint32_t nShaderType, uint32_t nIndex,
                                 CShaderDebuggerDeviceBuffer* pBuffer);
    virtual bool SetDeviceBuffer(uint32_t nShaderType, std::string strName,
                                 CShaderDebuggerDeviceBuffer* pBuffer);
    virtual bool CreateShader(uint32_t nShaderType, const void* pData, size_t nSize, void** pExtra);
    virtual bool SetShader(uint32_t nShaderType, const void* pData, size_t nSize);
    virtual void* GetShader(uint32_t nShaderType);
    virtual void ReleaseShader(void* pShader);
    virtual std::string GetShaderName(uint32_t nShaderType);
    virtual bool DisassembleShader(const void* pData, size_t nSize, std::string& text);
    // The host's log sink; this one sends the text to the debug output.
    virtual void Log(uint32_t nLevel, const std::string& strText);
    virtual void GetDeviceName(std::string& strName);
    virtual CShaderDebuggerDevice* GetDevice();

private:
    IShaderDebugger* m_pDebugger;
    CShaderDebuggerDevice* m_pDevice;
};

} // namespace XAN_ShaderDebugger

#endif
