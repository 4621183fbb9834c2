#ifndef XAN_TEST_ANALYSIS_DOUBLES_H
#define XAN_TEST_ANALYSIS_DOUBLES_H

// A host that names the kernel and records the log and the last error, and an IL shader that
// opens its tables to tests, so that the IL analysis runs on real kernel binaries without a
// device. Shared by the analysis tests and the fuzz targets.

#include "ShaderDebuggerHost.h"
#include "ShaderDebuggerIL/ShaderDebuggerShaderIL.h"
#include "support/TestDebugger.h"

#include <memory>
#include <string>
#include <vector>

namespace XAN_Test
{
class CAnalysisHost : public XAN_ShaderDebugger::CShaderDebuggerHost
{
public:
    explicit CAnalysisHost(const std::string& strKernel, uint32_t nLogLevel = 8)
        : CShaderDebuggerHost(NULL), m_pDebugger(new CTestDebugger(this)), m_strKernel(strKernel),
          m_nLogLevel(nLogLevel)
    {
        RegisterDebugger(m_pDebugger);
        XAN_ShaderDebugger::SDU_SetContext(this, false, "", "", 0, "");
    }
    ~CAnalysisHost() override { XAN_ShaderDebugger::SDU_ClearContext(this); }

    bool ExecuteShader() override { return false; }
    std::string GetShaderName(uint32_t) override { return m_strKernel; }
    bool DisassembleShader(const void*, size_t, std::string&) override { return false; }
    void GetDeviceName(std::string&) override {}
    uint32_t GetLogLevel() override { return m_nLogLevel; }
    void SetLastError(const std::string& strError) override { m_strLastError = strError; }
    void Log(uint32_t, const std::string& strText) override
    {
        if (m_nLogLevel != 0)
        {
            m_vLines.push_back(strText);
        }
    }

    // Whether a logged line contains the text.
    bool Logged(const std::string& strText) const
    {
        for (const std::string& strLine : m_vLines)
        {
            if (strLine.find(strText) != std::string::npos)
            {
                return true;
            }
        }
        return false;
    }

    // Owned by the host, as a registered debugger is.
    CTestDebugger* m_pDebugger;
    std::string m_strKernel;
    uint32_t m_nLogLevel;
    std::string m_strLastError;
    std::vector<std::string> m_vLines;
};

// Stepping isn't the analysis's part; these stand in for it.
class CAnalyzedShaderIL : public XAN_ShaderDebugger::CShaderDebuggerShaderIL
{
public:
    CAnalyzedShaderIL(CAnalysisHost* pHost, const std::vector<char>& vBinary)
        : CShaderDebuggerShaderIL(pHost->m_pDebugger, vBinary.data(), vBinary.size())
    {
    }

    bool Step() override { return false; }
    bool Back() override { return false; }
    bool Run() override { return false; }
    bool RunBack() override { return false; }
    bool Execute(bool) override { return false; }

    const XAN_ShaderDebugger::ShaderInfo& Info() const { return m_Info; }

    using CShaderDebuggerShaderIL::m_b64BitPointers;
    using CShaderDebuggerShaderIL::m_bSeparateDebugUAVs;
    using CShaderDebuggerShaderIL::m_CallStack;
    using CShaderDebuggerShaderIL::m_DeclaredUAVs;
    using CShaderDebuggerShaderIL::m_nExecMaskAddrTempReg;
    using CShaderDebuggerShaderIL::m_nExecMaskTempReg;
    using CShaderDebuggerShaderIL::m_nExecMaskUAV;
    using CShaderDebuggerShaderIL::m_nKernelABIConstantBufferSize;
    using CShaderDebuggerShaderIL::m_nLiteralMinusOne;
    using CShaderDebuggerShaderIL::m_nLiteralOne;
    using CShaderDebuggerShaderIL::m_nLiteralRegisterCount;
    using CShaderDebuggerShaderIL::m_nLiteralSixteen;
    using CShaderDebuggerShaderIL::m_nLiteralTwo;
    using CShaderDebuggerShaderIL::m_nLiteralZero;
    using CShaderDebuggerShaderIL::m_nOutputAddrTempReg;
    using CShaderDebuggerShaderIL::m_nOutputTempReg;
    using CShaderDebuggerShaderIL::m_nPatchedLiteralRegisterCount;
    using CShaderDebuggerShaderIL::m_nPatchedTempRegisterCount;
    using CShaderDebuggerShaderIL::m_nRawUAVNum;
    using CShaderDebuggerShaderIL::m_nResultUAV;
    using CShaderDebuggerShaderIL::m_nRuntimeABIConstantBufferSize;
    using CShaderDebuggerShaderIL::m_nTempRegisterCount;
    using CShaderDebuggerShaderIL::m_nThreadIndexTempReg;
    using CShaderDebuggerShaderIL::m_PrivateUAVs;
    using CShaderDebuggerShaderIL::m_qUnusedLiteralRegs;
    using CShaderDebuggerShaderIL::m_strDeviceName;
    using CShaderDebuggerShaderIL::m_vDebuggerTempRegs;
    using CShaderDebuggerShaderIL::m_vTempRegisterUsed;
};

// A kernel binary analysed, with the lines of its debug IL text, so that tests name
// instructions by their text.
class CAnalyzedKernel
{
public:
    CAnalyzedKernel(const std::string& strKernel, const std::vector<char>& vBinary,
                    uint32_t nLogLevel = 8);

    // The instruction on the nth line (from 0) whose text is strText; the invalid instruction
    // number when there is none.
    uint32_t At(const std::string& strText, unsigned int nth = 0) const;
    // The innermost construct of an instruction; null when it has none.
    XAN_ShaderDebugger::CIL_FCConstruct* ConstructAt(uint32_t nInstruction) const;

    CAnalysisHost m_Host;
    std::unique_ptr<CAnalyzedShaderIL> m_pShader;
    std::vector<std::string> m_vLines;
};
} // namespace XAN_Test

#endif
