#ifndef SHADER_DEBUGGER_TEST_DOUBLES_H
#define SHADER_DEBUGGER_TEST_DOUBLES_H

// A host that records what reaches its log, and a debugger and a shader with nothing of an
// engine, so that the core's records and streams can be tested with their assertions and
// without a device.

#include "ShaderDebuggerBase.h"
#include "ShaderDebuggerHost.h"
#include "ShaderDebuggerShader.h"

#include <map>
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

class CRecordingHost : public XAN_ShaderDebugger::CShaderDebuggerHost
{
public:
    CRecordingHost() : CShaderDebuggerHost(NULL) {}

    // Registers a debugger of the base's own behaviour, for objects that report through one.
    CTestDebugger* AttachDebugger()
    {
        CTestDebugger* pDebugger = new CTestDebugger(this);
        RegisterDebugger(pDebugger);
        return pDebugger;
    }

    bool ExecuteShader() override { return false; }
    void Log(uint32_t, const std::string& strText) override { m_vLines.push_back(strText); }

    // Whether an assertion with exactly this condition text was reported.
    bool HasAssert(const std::string& strCondition) const
    {
        const std::string strTail = "Assert:  " + strCondition;
        for (const std::string& strLine : m_vLines)
        {
            if (strLine.size() >= strTail.size() &&
                strLine.compare(strLine.size() - strTail.size(), strTail.size(), strTail) == 0)
            {
                return true;
            }
        }
        return false;
    }

    std::vector<std::string> m_vLines;
};

class CTestShader : public XAN_ShaderDebugger::CShaderDebuggerShader
{
public:
    CTestShader(XAN_ShaderDebugger::CShaderDebuggerBase* pDebugger, const void* pData = NULL,
                size_t nSize = 0)
        : CShaderDebuggerShader(pDebugger, pData, nSize), m_bSetDebugModeResult(true),
          m_nLastMode(0)
    {
    }

    XAN_ShaderDebugger::ShaderInfo& Info() { return m_Info; }
    const std::deque<XAN_ShaderDebugger::ProgramCounter>& CallStack() const { return m_CallStack; }
    std::deque<XAN_ShaderDebugger::ProgramCounter>& ExecutedSteps() { return m_ExecutedSteps; }
    void MoveTo(uint32_t nPos)
    {
        m_nCurrentInstruction = XAN_ShaderDebugger::ProgramCounter(nPos);
        m_nNextInstruction = XAN_ShaderDebugger::ProgramCounter(nPos + 1);
        m_CallStack.push_back(XAN_ShaderDebugger::ProgramCounter(nPos));
        m_ExecutedSteps.push_back(XAN_ShaderDebugger::ProgramCounter(nPos));
    }

    bool GetShaderText(std::string&, unsigned int) override { return false; }
    bool GetShaderKeywords(std::vector<std::string>&, unsigned int) override { return false; }
    unsigned int GetDefaultDebugMode() override { return 1; }
    bool SetDebugMode(unsigned int nMode) override
    {
        m_nLastMode = nMode;
        return m_bSetDebugModeResult;
    }
    bool Step() override { return false; }
    bool Back() override { return false; }
    bool Run() override { return false; }
    bool RunBack() override { return false; }
    bool Execute(bool) override { return false; }
    bool Draw() override { return false; }
    unsigned int GetInstructionFromLine(unsigned int) override { return 0; }
    unsigned int GetLineFromInstruction(unsigned int) override { return 0; }
    unsigned int GetCurrentLine() override { return 0; }
    unsigned int GetNextLine() override { return 0; }
    unsigned int GetPreviousLine() override { return 0; }

    bool m_bSetDebugModeResult;
    unsigned int m_nLastMode;
};
} // namespace XAN_Test

#endif
