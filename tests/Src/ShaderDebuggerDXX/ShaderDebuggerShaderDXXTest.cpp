// The analysis of DX10 and DX11 shaders: what it refuses, and how a patched shader's temps, loop
// counters and lines are laid out.
#include "DXXShaderFixture.h"

#include "SDBGCorpus.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace XAN_ShaderDebugger;
using namespace XAN_Test;

namespace
{
struct RefusalCase
{
    std::string strName;
    bool bDX11;
    std::string strError; // "pass" for a shader that must be accepted
    std::string strText;
};

std::vector<RefusalCase> LoadRefusals()
{
    std::vector<RefusalCase> vCases;
    std::istringstream stream(ReadDXXFixture("refusals.txt"));
    for (std::string strLine; std::getline(stream, strLine);)
    {
        if (strLine.compare(0, 4, "=== ") == 0)
        {
            const size_t nBar1 = strLine.find(" | ");
            const size_t nBar2 = strLine.find(" | ", nBar1 + 3);
            RefusalCase c;
            c.strName = strLine.substr(4, nBar1 - 4);
            c.bDX11 = strLine.substr(nBar1 + 3, nBar2 - nBar1 - 3) == "dx11";
            c.strError = strLine.substr(nBar2 + 3);
            const size_t nNewline = c.strError.find("\\n");
            if (nNewline != std::string::npos)
            {
                c.strError.replace(nNewline, 2, "\n");
            }
            vCases.push_back(c);
        }
        else if (!vCases.empty())
        {
            vCases.back().strText += strLine + "\n";
        }
    }
    return vCases;
}

std::unique_ptr<CShaderDebuggerShaderDXX> MakeShader(CDXXTestHost& host, bool bDX11,
                                                     const std::vector<std::uint8_t>& vContainer)
{
    CShaderDebuggerBase* pDebugger = host.AttachDebugger();
    if (bDX11)
    {
        return std::unique_ptr<CShaderDebuggerShaderDXX>(
            new CDX11TestShader(pDebugger, vContainer));
    }
    return std::unique_ptr<CShaderDebuggerShaderDXX>(new CDX10TestShader(pDebugger, vContainer));
}

// Every refusal leaves no debuggable mode, its text in the three errors and in the log at
// level 3; the one shader that passes proves the temp limit's edge.
TEST(DXXAnalysisTest, Refusals)
{
    const std::vector<RefusalCase> vCases = LoadRefusals();
    ASSERT_EQ(18u, vCases.size());
    for (const RefusalCase& c : vCases)
    {
        SCOPED_TRACE(c.strName);
        CDXXTestHost host;
        std::unique_ptr<CShaderDebuggerShaderDXX> pShader =
            MakeShader(host, c.bDX11, BuildDXXContainer(c.strText));
        ShaderInfo info;
        ASSERT_TRUE(pShader->GetShaderInfo(&info));
        if (c.strError == "pass")
        {
            EXPECT_EQ(1u, info.nDebuggableModes);
            continue;
        }
        EXPECT_EQ(0u, info.nDebuggableModes);
        for (const std::string& strError : info.strError)
        {
            EXPECT_EQ(c.strError, strError);
        }
        EXPECT_TRUE(host.HasLogged(3, c.strError));
    }
}

TEST(DXXAnalysisTest, TempsOfWrongLengthAreLoggedAsSuch)
{
    for (const RefusalCase& c : LoadRefusals())
    {
        if (c.strName == "dcl_temps_length")
        {
            CDXXTestHost host;
            MakeShader(host, false, BuildDXXContainer(c.strText));
            EXPECT_TRUE(host.HasLogged(3, "D3D10 Shader Patcher expects all DCL_TEMPS "
                                          "instructions to have instruction length == 2.\n"));
        }
    }
}

struct LayoutCase
{
    const char* pFile;
    bool bDX11;
    std::uint32_t nType;
    std::uint32_t nInstructions;
    std::uint32_t nPatchedTemps;
    std::uint32_t nOutputTemp;
    std::uint32_t nOutputTemp2; // 0: no second result
    std::uint32_t nExecMaskTemp;
    std::map<std::uint32_t, std::uint32_t> outputTemps;
    std::uint32_t nOutputRegister0;
    std::uint32_t nOutputRegister1;
    std::uint32_t nExecMaskOutput;
    std::uint32_t nPositionRegister;
    std::uint32_t nPatchedPositionRegister;
};

const LayoutCase s_Layouts[] = {
    // n temps, then result, [second result], flag, [address], one temp per output, counters
    {"ps_straight.dxx", false, ST_Pixel, 4, 5, 2, 0, 3, {{0, 4}}, 0, 2, 1, 0, 3},
    {"ps_twodest.dxx", true, ST_Pixel, 5, 8, 3, 4, 5, {{0, 6}, {1, 7}}, 0, 2, 1, 0, 3},
    {"vs_position.dxx", false, ST_Vertex, 4, 5, 1, 0, 2, {{0, 3}, {1, 4}}, 1, 3, 2, 1, 0},
    // u0 is the shader's: the results go to the next free slot.
    {"cs_twodest.dxx", true, ST_Compute, 4, 6, 2, 3, 4, {}, 1, 2, 1, 0, 3},
    // Two counter temps for depth 5.
    {"ps_loops.dxx", false, ST_Pixel, 23, 6, 1, 0, 2, {{0, 3}}, 0, 2, 1, 0, 3},
    // o0 and oDepth share output number 0, and so its temp.
    {"ps_icb.dxx", false, ST_Pixel, 9, 4, 1, 0, 2, {{0, 3}}, 0, 2, 1, 0, 3},
};

void PrintTo(const LayoutCase& c, std::ostream* pStream)
{
    *pStream << c.pFile;
}

class DXXLayoutTest : public ::testing::TestWithParam<LayoutCase>
{
};

TEST_P(DXXLayoutTest, TempsAndOutputs)
{
    const LayoutCase& c = GetParam();
    CDXXTestHost host;
    std::unique_ptr<CShaderDebuggerShaderDXX> pShader =
        MakeShader(host, c.bDX11, BuildDXXContainer(ReadDXXFixture(c.pFile)));
    ShaderInfo info;
    ASSERT_TRUE(pShader->GetShaderInfo(&info));
    ASSERT_EQ(1u, info.nDebuggableModes) << info.strError[0];
    EXPECT_EQ(c.nType, info.nShaderType);
    EXPECT_EQ(32u, info.strHash.size());
    EXPECT_EQ(c.nInstructions, pShader->GetInstructionCount());
    EXPECT_EQ(c.nPatchedTemps, pShader->GetPatchedTempRegisterCount());
    EXPECT_EQ(c.nOutputTemp, pShader->GetOutputTempReg());
    EXPECT_EQ(c.nOutputTemp2 != 0, pShader->HasTwoDestInstructions());
    if (c.nOutputTemp2 != 0)
    {
        EXPECT_EQ(c.nOutputTemp2, pShader->GetOutputTempReg2());
    }
    EXPECT_EQ(c.nExecMaskTemp, pShader->GetExecMaskTempReg());
    EXPECT_EQ(c.outputTemps, pShader->GetOutputTemps());
    EXPECT_EQ(c.nOutputRegister0, pShader->GetOutputRegister0());
    EXPECT_EQ(c.nOutputRegister1, pShader->GetOutputRegister1());
    EXPECT_EQ(c.nExecMaskOutput, pShader->GetExecMaskOutputRegister());
    EXPECT_EQ(c.nPositionRegister, pShader->GetPositionRegister());
    EXPECT_EQ(c.nPatchedPositionRegister, pShader->GetPatchedPositionRegister());

    // Each instruction's line holds that instruction.
    std::string strText;
    ASSERT_TRUE(pShader->GetShaderText(strText, 1));
    std::vector<std::string> vLines;
    std::istringstream stream(strText);
    for (std::string strLine; std::getline(stream, strLine);)
    {
        vLines.push_back(strLine);
    }
    for (std::uint32_t n = 0; n < pShader->GetInstructionCount(); ++n)
    {
        const std::uint32_t nLine = pShader->GetLineFromInstruction(n);
        ASSERT_LT(nLine, vLines.size()) << n;
        EXPECT_EQ(n, pShader->GetInstructionFromLine(nLine));
        std::istringstream words(vLines[nLine]);
        std::string strMnemonic;
        words >> strMnemonic;
        const std::string strKeywords =
            std::string(" ") + GetOpCodeKeywords(pShader->GetInstructions()[n].GetOpCode()) + " ";
        EXPECT_NE(std::string::npos, strKeywords.find(" " + strMnemonic + " "))
            << n << ": " << vLines[nLine];
    }
}

INSTANTIATE_TEST_SUITE_P(Fixtures, DXXLayoutTest, ::testing::ValuesIn(s_Layouts),
                         [](const ::testing::TestParamInfo<LayoutCase>& info)
                         {
                             std::string strName = info.param.pFile;
                             return strName.substr(0, strName.find('.'));
                         });
} // namespace

namespace
{
// Each loop's counter: one component per depth, four depths a temp, loops of one depth sharing.
TEST(DXXAnalysisTest, LoopCounters)
{
    CDXXTestHost host;
    std::unique_ptr<CShaderDebuggerShaderDXX> pShader =
        MakeShader(host, false, BuildDXXContainer(ReadDXXFixture("ps_loops.dxx")));
    const struct
    {
        std::uint32_t nStart, nEnd, nRegister;
        unsigned short nComponent;
    } table[] = {{1, 16, 4, COMP_x}, {2, 14, 4, COMP_y}, {3, 12, 4, COMP_z},
                 {4, 10, 4, COMP_w}, {5, 8, 5, COMP_x},  {17, 20, 4, COMP_x}};
    for (const auto& c : table)
    {
        SCOPED_TRACE(c.nStart);
        CDXX_FCConstruct* pConstruct = pShader->GetConstruct(c.nStart);
        ASSERT_NE(nullptr, pConstruct);
        CDXX_Loop* pLoop = pConstruct->AsLoop();
        ASSERT_NE(nullptr, pLoop);
        EXPECT_EQ(c.nStart, pLoop->GetStart());
        EXPECT_EQ(c.nEnd, pLoop->GetEnd());
        EXPECT_EQ(c.nRegister, pLoop->m_nCountRegister);
        EXPECT_EQ(c.nComponent, pLoop->GetCountComponent());
        // The loop's end and its breaks belong to it.
        EXPECT_EQ(pConstruct, pShader->GetConstruct(c.nEnd));
    }
    EXPECT_EQ(nullptr, pShader->GetConstruct(0));
}

// A preshader block starts the count again behind it, and an indented immediate-constant line
// is no code.
TEST(DXXAnalysisTest, LineMapsSkipAPreshader)
{
    const std::vector<std::uint8_t> vContainer = BuildDXXContainer(ReadDXXFixture("ps_icb.dxx"));
    CDXXTestHost plainHost;
    std::unique_ptr<CShaderDebuggerShaderDXX> pPlain = MakeShader(plainHost, false, vContainer);
    CDXXTestHost host;
    host.m_strPreamble = "// header\npreshader\n  mul c0, c1, c2\n  add c0, c0, c3\n// end\n";
    std::unique_ptr<CShaderDebuggerShaderDXX> pShader = MakeShader(host, false, vContainer);
    for (std::uint32_t n = 0; n < pPlain->GetInstructionCount(); ++n)
    {
        EXPECT_EQ(pPlain->GetLineFromInstruction(n) + 5, pShader->GetLineFromInstruction(n)) << n;
    }
    EXPECT_EQ(g_nInvalidLine, pShader->GetLineFromInstruction(pPlain->GetInstructionCount()));
}

// Debug data makes source mode the default, with the entry function as the target.
TEST(DXXAnalysisTest, SourceModeThroughTheInstrumentation)
{
    for (const SDBGCase& testCase : LoadSDBGCorpus())
    {
        SCOPED_TRACE(testCase.strName);
        CDXXTestHost host;
        std::unique_ptr<CShaderDebuggerShaderDXX> pShader =
            MakeShader(host, true, testCase.vContainer);
        ShaderInfo info;
        ASSERT_TRUE(pShader->GetShaderInfo(&info));
        EXPECT_EQ(5u, info.nSupportedModes);
        // Array variables can't be shown by source line: that shader stays in mode 1.
        if (testCase.strName == "array")
        {
            EXPECT_EQ(1u, info.nDebuggableModes);
            EXPECT_FALSE(info.strError[2].empty());
            EXPECT_TRUE(host.HasLogged(3, info.strError[2]));
            EXPECT_EQ(1u, pShader->GetDefaultDebugMode());
            continue;
        }
        EXPECT_EQ(5u, info.nDebuggableModes) << info.strError[2];
        EXPECT_EQ(4u, pShader->GetDefaultDebugMode());
        EXPECT_FALSE(info.strTarget.empty());
        std::string strSource;
        EXPECT_TRUE(pShader->GetShaderText(strSource, 0));
        EXPECT_NE(std::string::npos, strSource.find(info.strTarget));
        std::vector<std::string> vKeywords;
        EXPECT_TRUE(pShader->GetShaderKeywords(vKeywords, 1));
        EXPECT_TRUE(pShader->SetDebugMode(1));
        EXPECT_EQ(1u, pShader->GetDefaultDebugMode());
    }
}
} // namespace
