#ifndef XAN_TEST_TEST_DEBUGGER_H
#define XAN_TEST_TEST_DEBUGGER_H

// A debugger of the base's own behaviour, for the objects that report through a debugger:
// shaders, codecs and the analysis, tested without an engine.

#include "ShaderDebuggerBase.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace XAN_Test
{
// The base's own behaviour: a start takes the base's part and succeeds, the position is set
// from outside, and the view is filled from results that the test holds.
class CTestDebugger : public XAN_ShaderDebugger::CShaderDebuggerBase
{
public:
    explicit CTestDebugger(XAN_ShaderDebugger::CShaderDebuggerHost* pHost)
        : CShaderDebuggerBase(pHost), m_CurrentInstruction(0)
    {
    }
    ~CTestDebugger() override
    {
        for (const auto& entry : m_Results)
        {
            delete entry.second;
        }
    }

    bool StartDebugging(const void* pShaderData, size_t nSize, const void* pExtra,
                        const uint32_t* pWorkSize, uint32_t) override
    {
        if (!CShaderDebuggerBase::StartDebugging(pShaderData, nSize, pExtra, pWorkSize))
        {
            return false;
        }
        m_bIsDebugging = true;
        return true;
    }
    void EndDebugging(bool) override { m_bIsDebugging = false; }
    bool GetShaderText(const void*, size_t, const void*, std::string&, uint32_t) override
    {
        return false;
    }
    using CShaderDebuggerBase::GetShaderText;
    bool GetShaderKeywords(const void*, size_t, const void*, std::vector<std::string>&,
                           uint32_t) override
    {
        return false;
    }
    bool GetShaderKeywords(std::vector<std::string>&, uint32_t) override { return false; }
    bool GetShaderInfo(const void*, size_t, XAN_ShaderDebugger::ShaderInfo*) override
    {
        return false;
    }
    using CShaderDebuggerBase::GetShaderInfo;
    bool Execute() override { return false; }
    bool Step() override { return false; }
    bool Back() override { return false; }
    bool Run() override { return false; }
    bool RunBack() override { return false; }
    uint32_t GetCurrentLine() override { return 0; }
    uint32_t GetNextLine() override { return 0; }
    uint32_t GetPreviousLine() override { return 0; }
    XAN_ShaderDebugger::ProgramCounter GetCurrentInstruction() override
    {
        return m_CurrentInstruction;
    }
    bool AddBreakPoint(uint32_t) override { return false; }
    bool RemoveBreakPoint(uint32_t) override { return false; }
    bool ToggleBreakPoint(uint32_t) override { return false; }
    bool IsBreakPoint(uint32_t) override { return false; }
    bool HasBreakPointBetween(uint32_t, uint32_t) override { return false; }
    uint32_t GetAllBreakpointInstructions(std::set<uint32_t>*) override { return 0; }
    XAN_ShaderDebugger::CShaderDebuggerVariables* GetVariables(ShaderUtils::ThreadID& id) override
    {
        XAN_ShaderDebugger::CShaderDebuggerVariables* pVariables =
            new XAN_ShaderDebugger::CShaderDebuggerVariables();
        FillVariables(*pVariables, m_Results, id, 2);
        return pVariables;
    }
    ShaderUtils::SUBuffer* GetRegisterResultsBuffer(const XAN_ShaderDebugger::varID&) override
    {
        return NULL;
    }
    ShaderUtils::SUBuffer* GetGlobalResultsBuffer(const XAN_ShaderDebugger::varID&) override
    {
        return NULL;
    }
    ShaderUtils::SUBuffer* GetExecMaskBuffer() override { return NULL; }

    XAN_ShaderDebugger::ProgramCounter m_CurrentInstruction;
    // Owned.
    std::map<std::string, XAN_ShaderDebugger::CShaderDebuggerResult*> m_Results;
};

} // namespace XAN_Test

#endif
