#ifndef SHADER_DEBUGGER_GL_H
#define SHADER_DEBUGGER_GL_H

#include "ShaderDebuggerBase.h"

#include <string>
#include <vector>

namespace XAN_ShaderDebugger
{
// The place of an OpenGL debugger: a front-end can ask for the GLSL keywords, but no run starts.
class CShaderDebuggerGL : public CShaderDebuggerBase
{
public:
    explicit CShaderDebuggerGL(CShaderDebuggerHost* pHost);
    ~CShaderDebuggerGL() override;

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
    bool AddBreakPointAtLineNumber(uint32_t nLine, uint32_t nSearch,
                                   uint32_t* pActualLine) override;
    bool AddBreakPoint(uint32_t nInstruction) override;
    bool RemoveBreakPoint(uint32_t nInstruction) override;
    bool ToggleBreakPointAtLineNumber(uint32_t nLine, bool bSearch) override;
    bool ToggleBreakPoint(uint32_t nInstruction) override;
    bool IsBreakPoint(uint32_t nInstruction) override;
    bool HasBreakPointBetween(uint32_t nFirstInstruction, uint32_t nLastInstruction) override;
    uint32_t GetAllBreakpointInstructions(std::set<uint32_t>* pInstructions) override;
    CShaderDebuggerVariables* GetVariables(ShaderUtils::ThreadID& id) override;
    ShaderUtils::SUBuffer* GetRegisterResultsBuffer(const varID& request) override;
    ShaderUtils::SUBuffer* GetGlobalResultsBuffer(const varID& request) override;
    ShaderUtils::SUBuffer* GetExecMaskBuffer() override;
};
} // namespace XAN_ShaderDebugger

#endif
