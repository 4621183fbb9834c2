#ifndef SHADER_DEBUGGER_TEST_DOUBLES_H
#define SHADER_DEBUGGER_TEST_DOUBLES_H

// A host that records what reaches its log, and a debugger and a shader with nothing of an
// engine, so that the core's records and streams can be tested with their assertions and
// without a device.

#include "ShaderDebuggerBase.h"
#include "ShaderDebuggerBuffer.h"
#include "ShaderDebuggerHost.h"
#include "ShaderDebuggerShader.h"
#include "support/TestDebugger.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace XAN_Test
{
// Whether one of the lines ends with the text.
inline bool HasLineEnding(const std::vector<std::string>& vLines, const std::string& strTail)
{
    for (const std::string& strLine : vLines)
    {
        if (strLine.size() >= strTail.size() &&
            strLine.compare(strLine.size() - strTail.size(), strTail.size(), strTail) == 0)
        {
            return true;
        }
    }
    return false;
}

// The descriptor of a buffer of the format and extents given.
inline BufferDesc MakeDesc(BufferFormat format, uint32_t nWidth, uint32_t nHeight,
                           uint32_t nDepth = 1, uint32_t nArraySize = 1,
                           BufferType type = BT_Buffer)
{
    BufferDesc desc;
    desc.m_Type = type;
    desc.m_Format = format;
    desc.m_nWidth = nWidth;
    desc.m_nHeight = nHeight;
    desc.m_nDepth = nDepth;
    desc.m_nArraySize = nArraySize;
    return desc;
}

// A one-row buffer of the words given, in nPlanes planes: depth slices, or with bArray slices of
// an array.
inline XAN_ShaderDebugger::CShaderDebuggerBuffer*
MakeWordBuffer(XAN_ShaderDebugger::CShaderDebuggerHost* pHost, BufferFormat format,
               const std::vector<uint32_t>& vWords, uint32_t nPlanes = 1, bool bArray = false)
{
    const uint32_t nWidth =
        static_cast<uint32_t>(vWords.size()) / (GetBufferFormatElementSize(format) / 4) / nPlanes;
    auto* pBuffer = new XAN_ShaderDebugger::CShaderDebuggerBuffer(pHost);
    EXPECT_TRUE(pBuffer->Create(
        MakeDesc(format, nWidth, 1, bArray ? 1 : nPlanes, bArray ? nPlanes : 1), NULL));
    std::memcpy(pBuffer->GetSubResource(0), vWords.data(), vWords.size() * 4);
    return pBuffer;
}

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
        return HasLineEnding(m_vLines, "Assert:  " + strCondition);
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
