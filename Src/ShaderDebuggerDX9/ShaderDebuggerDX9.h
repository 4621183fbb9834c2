#ifndef SHADER_DEBUGGER_DX9_H
#define SHADER_DEBUGGER_DX9_H

#include "ShaderDebuggerBase.h"
#include "ShaderDebuggerHost.h"

#include <map>
#include <string>
#include <vector>

namespace XAN_ShaderDebugger
{
class CShaderDebuggerShaderDX9;

// The debugger of DX9 pixel shaders. Each step draws a patched shader into two render targets of
// its own, one for the value and one for the executed-flag, reads both back and keeps them as
// the result of the register that the instruction writes. Breakpoints go by line only.
class CShaderDebuggerDX9 : public CShaderDebuggerBase
{
public:
    typedef std::map<std::string, CShaderDebuggerResult*> ResultMap;

    explicit CShaderDebuggerDX9(CShaderDebuggerHost* pHost);
    // Ends a run still open and deletes the results.
    ~CShaderDebuggerDX9() override;

    bool StartDebugging(const void* pShaderData, size_t nSize, const void* pExtra,
                        const uint32_t* pWorkSize, uint32_t nMode) override;
    void EndDebugging(bool bUpdateBuffers) override;
    bool GetShaderText(const void* pShaderData, size_t nSize, const void* pExtra, std::string& text,
                       uint32_t nType) override;
    using CShaderDebuggerBase::GetShaderText;
    bool GetShaderKeywords(const void* pShaderData, size_t nSize, const void* pExtra,
                           std::vector<std::string>& list, uint32_t nType) override;
    bool GetShaderKeywords(std::vector<std::string>& list, uint32_t nType) override;
    bool GetShaderInfo(const void* pShaderData, size_t nSize, ShaderInfo* pInfo) override;
    using CShaderDebuggerBase::GetShaderInfo;
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
    bool AddBreakPoint(uint32_t nInstruction) override;
    bool RemoveBreakPoint(uint32_t nInstruction) override;
    bool ToggleBreakPoint(uint32_t nInstruction) override;
    bool IsBreakPoint(uint32_t nInstruction) override;
    bool HasBreakPointBetween(uint32_t nFirstInstruction, uint32_t nLastInstruction) override;
    uint32_t GetAllBreakpointInstructions(std::set<uint32_t>* pInstructions) override;
    CShaderDebuggerVariables* GetVariables(ShaderUtils::ThreadID& id) override;
    ShaderUtils::SUBuffer* GetRegisterResultsBuffer(const varID& request) override;
    ShaderUtils::SUBuffer* GetGlobalResultsBuffer(const varID& request) override;
    ShaderUtils::SUBuffer* GetExecMaskBuffer() override;

    virtual bool CreateTargetBuffers();
    virtual void ReleaseTargetBuffers();
    // Binds the debugger's two targets in place of the application's first two, which are kept.
    virtual bool SwitchTargetBuffers();
    virtual void RestoreTargetBuffers();
    // The result kept under a name, made on first use.
    virtual CShaderDebuggerResult* GetResult(const std::string& strName);

    // Files the two targets of the draw at pc under the register that the instruction writes.
    void UpdateResults(const ProgramCounter& pc);
    // Forgets a register that no step has written any more.
    void RemoveResult(const std::string& strName);

    CShaderDebuggerShaderDX9* GetDX9Shader() const;
    const ResultMap& GetResults() const { return m_Results; }

private:
    // A temporary shader on the data, for the questions about a shader that isn't current.
    CShaderDebuggerShaderDX9* CreateShader(const void* pShaderData, size_t nSize);
    // The shader's move, then the draw of the position it chose.
    bool Command(bool (CShaderDebuggerShaderDX9::*pMove)());
    // One of the debugger's two targets, by its kind (1 values, 2 flag).
    CShaderDebuggerDeviceBuffer* CreateTargetBuffer(BufferDesc desc, uint32_t nKind);
    void DeleteResults();

    CShaderDebuggerDeviceBuffer* m_pOriginalRenderTarget0;
    CShaderDebuggerDeviceBuffer* m_pOriginalRenderTarget1;
    CShaderDebuggerDeviceBuffer* m_pSwitchedRenderTarget0;
    CShaderDebuggerDeviceBuffer* m_pSwitchedRenderTarget1;
    // Owned; a null entry stands for a result that Back removed.
    ResultMap m_Results;
    CShaderDebuggerResult* m_pLastResult; // not owned
    // The application's targets are saved and the debugger's bound, until the restore.
    bool m_bTargetsSwitched;
};
} // namespace XAN_ShaderDebugger

#endif
