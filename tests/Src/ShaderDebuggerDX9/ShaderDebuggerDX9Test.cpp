#include "DX9Oracle.h"
#include "DX9Session.h"

#include "ShaderDebuggerBuffer.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <map>

using namespace XAN_ShaderDebugger;
using namespace XAN_Test;

namespace
{
const unsigned int PIXELS = CDX9Session::WIDTH * CDX9Session::HEIGHT;
const std::array<float, 4> FLAG = {1.0f, 1.0f, 1.0f, 0.0f};
const std::array<float, 4> ZERO = {};

std::array<float, 4> PixelOf(const std::vector<float>& vData, unsigned int nPixel)
{
    std::array<float, 4> value;
    std::memcpy(value.data(), &vData[nPixel * 4], sizeof(value));
    return value;
}

std::vector<float> FloatsOf(const ShaderUtils::SUBuffer* pBuffer)
{
    std::vector<float> vData(PIXELS * 4);
    if (pBuffer != NULL && pBuffer->GetDataSize() == vData.size() * sizeof(float))
    {
        std::memcpy(vData.data(), pBuffer->GetSubResource(0), pBuffer->GetDataSize());
    }
    return vData;
}

// For every executable instruction of every corpus shader, the patched shader gives the flag
// exactly where the original reached the instruction in its last pass, with the value there.
class DX9OracleTest : public ::testing::TestWithParam<std::string>
{
};

TEST_P(DX9OracleTest, PatchedShadersShowWhatTheTraceRecorded)
{
    CDX9Session session(ReadDX9Corpus(GetParam()));
    std::unique_ptr<CShaderDebuggerShaderDX9> pShader = session.MakeShader();
    CDX9Oracle oracle(session.m_vTokens, CDX9Session::WIDTH, CDX9Session::HEIGHT, *pShader);
    ASSERT_TRUE(oracle.IsValid());
    for (uint32_t n = 0; n < pShader->GetInstructionCount(); ++n)
    {
        COutputTokenStream<uint32_t> out(pShader.get(), 16);
        Register destReg;
        if (!pShader->WritePatchedShader(n, out, destReg))
        {
            // A predicate register can't be read into a temporary.
            EXPECT_EQ(RT_Unknown, pShader->GetRegisterOutput(ProgramCounter(n)).reg.type) << n;
            continue;
        }
        std::vector<float> vValues(PIXELS * 4, -1.0f);
        std::vector<float> vFlags(PIXELS * 4, -1.0f);
        std::array<XAN_Platform::SDX9Target, 4> targets;
        targets[0] = {XAN_Platform::DX9_TARGET_RGBA32F, vValues.data()};
        targets[1] = {XAN_Platform::DX9_TARGET_RGBA32F, vFlags.data()};
        XAN_Platform::CDX9Executor executor;
        ASSERT_TRUE(executor.Draw(out.GetStream(), out.GetTokensWritten(), CDX9Session::WIDTH,
                                  CDX9Session::HEIGHT, XAN_Platform::SDX9Constants(), targets,
                                  false))
            << executor.GetError();
        const std::vector<SOracleValue> vExpected = oracle.At(n);
        for (unsigned int p = 0; p < PIXELS; ++p)
        {
            EXPECT_EQ(vExpected[p].bReached ? FLAG : ZERO, PixelOf(vFlags, p))
                << "instruction " << n << " pixel " << p;
            if (vExpected[p].bReached)
            {
                EXPECT_EQ(vExpected[p].fValue, PixelOf(vValues, p))
                    << "instruction " << n << " pixel " << p;
            }
        }
    }
}

std::vector<std::string> RunnableCorpus()
{
    std::vector<std::string> vNames;
    for (const std::string& strName : GetDX9CorpusNames())
    {
        if (strName != "ps11.asm")
        {
            vNames.push_back(strName);
        }
    }
    return vNames;
}

INSTANTIATE_TEST_SUITE_P(Corpus, DX9OracleTest, ::testing::ValuesIn(RunnableCorpus()),
                         [](const ::testing::TestParamInfo<std::string>& info)
                         { return info.param.substr(0, info.param.find('.')); });

// A run on the test device, with the device's discipline checked after each call.
class DX9DebuggerTest : public ::testing::Test
{
protected:
    void Open(const std::string& strText)
    {
        m_pSession.reset(new CDX9Session(strText));
        m_pShader = m_pSession->MakeShader();
        m_pOracle.reset(new CDX9Oracle(m_pSession->m_vTokens, CDX9Session::WIDTH,
                                       CDX9Session::HEIGHT, *m_pShader));
        ASSERT_TRUE(Checked([&] { return m_pSession->Start(); }));
    }

    bool Checked(const std::function<bool()>& call)
    {
        const bool bResult = call();
        EXPECT_TRUE(Device().CheckDiscipline(false));
        return bResult;
    }

    void End()
    {
        Debugger().EndDebugging(true);
        EXPECT_TRUE(Device().CheckDiscipline(true));
    }

    CShaderDebuggerDX9& Debugger() { return *m_pSession->m_pDebugger; }
    CDX9TestDevice& Device() { return *m_pSession->m_pDevice; }
    uint32_t Position() { return Debugger().GetCurrentInstruction().m_nPos; }

    std::unique_ptr<CDX9Session> m_pSession;
    std::unique_ptr<CShaderDebuggerShaderDX9> m_pShader;
    std::unique_ptr<CDX9Oracle> m_pOracle;
};

TEST_F(DX9DebuggerTest, StepsThroughBothBranchesKeepOlderValuesWhereTheFlagIsDown)
{
    Open(ReadDX9Corpus("ifelse.asm"));
    // The start draws instruction 0 once.
    EXPECT_EQ(1, Device().GetExecuteCount());
    EXPECT_EQ(1, Device().GetCreateShaderCount());
    EXPECT_TRUE(Debugger().IsDebugging());

    // The values each register must hold: the oracle's where the flag was up, older ones
    // elsewhere.
    std::map<std::string, std::vector<SOracleValue>> expected;
    for (bool bMoved = true; bMoved; bMoved = Checked([&] { return Debugger().Step(); }))
    {
        const uint32_t n = Position();
        const std::vector<SOracleValue> vNow = m_pOracle->At(n);
        const std::string strName = m_pShader->GetResultName(ProgramCounter(n));
        std::vector<SOracleValue>& vHeld = expected[strName];
        vHeld.resize(PIXELS);
        for (unsigned int p = 0; p < PIXELS; ++p)
        {
            if (vNow[p].bReached)
            {
                vHeld[p] = vNow[p];
            }
        }
        const std::vector<float> vFlags = FloatsOf(Debugger().GetExecMaskBuffer());
        const std::vector<float> vValues =
            FloatsOf(Debugger().GetRegisterResultsBuffer({2, strName}));
        EXPECT_EQ(FloatsOf(Debugger().GetRegisterResultsBuffer({0, ""})), vValues);
        for (unsigned int p = 0; p < PIXELS; ++p)
        {
            EXPECT_EQ(vNow[p].bReached ? FLAG : ZERO, PixelOf(vFlags, p)) << n << " " << p;
            if (vHeld[p].bReached && strName != g_szNoDestinationRegister)
            {
                EXPECT_EQ(vHeld[p].fValue, PixelOf(vValues, p)) << n << " " << p;
            }
        }
    }
    // Step at the last instruction draws nothing.
    const int nDraws = Device().GetExecuteCount();
    EXPECT_EQ(m_pShader->GetInstructionCount() - 1, Position());
    EXPECT_FALSE(Checked([&] { return Debugger().Step(); }));
    EXPECT_EQ(nDraws, Device().GetExecuteCount());
    EXPECT_EQ(NULL, Debugger().GetRegisterResultsBuffer({1, "r0"}));
    EXPECT_EQ(NULL, Debugger().GetGlobalResultsBuffer({0, ""}));
    End();
}

TEST_F(DX9DebuggerTest, ViewsFindTheFirstPixelColumnByColumnAndBackRemovesAnOnlyWrite)
{
    Open(ReadFile(std::string(XAN_TEST_DATA_DIR) + "/first_pixel.asm"));
    while (Position() < 4)
    {
        ASSERT_TRUE(Checked([&] { return Debugger().Step(); }));
    }
    // r0 (first by name) was reached by no pixel; r1's first pixel by column is (4, 3).
    ShaderUtils::ThreadID id(2, -1, -1);
    std::unique_ptr<CShaderDebuggerVariables> pView(Debugger().GetVariables(id));
    ASSERT_TRUE(pView);
    EXPECT_EQ(4, id.x);
    EXPECT_EQ(3, id.y);
    EXPECT_EQ(4, Debugger().GetThreadID().x);
    EXPECT_EQ(3, Debugger().GetThreadID().y);
    ASSERT_EQ(2u, pView->GetVariableList().size());
    EXPECT_EQ("r0", pView->GetVariableList()[0].strName);
    EXPECT_EQ(COMP_All, pView->GetVariableList()[0].mask);
    EXPECT_EQ("r1", pView->GetVariableList()[1].strName);
    EXPECT_EQ(0, pView->GetVariableList()[1].mask);
    EXPECT_EQ(
        XAN_Platform::CDX9Executor::InputValue(4, 3, CDX9Session::WIDTH, CDX9Session::HEIGHT, 0, 0),
        pView->GetVariableList()[1].value[0]);

    // Back over r0's only write removes its row.
    ASSERT_TRUE(Checked([&] { return Debugger().Back(); }));
    EXPECT_EQ(3u, Position());
    pView.reset(Debugger().GetVariables(id));
    ASSERT_EQ(1u, pView->GetVariableList().size());
    EXPECT_EQ("r1", pView->GetVariableList()[0].strName);
    while (Position() != 0)
    {
        ASSERT_TRUE(Checked([&] { return Debugger().RunBack(); }));
    }
    EXPECT_FALSE(Checked([&] { return Debugger().Back(); }));
    End();
}

TEST_F(DX9DebuggerTest, BreakpointsGoByLineAndRunEndsOverNestedLoops)
{
    Open(ReadDX9Corpus("loops.asm"));
    EXPECT_FALSE(Debugger().AddBreakPoint(5));
    EXPECT_EQ(0u, Debugger().GetAllBreakpointInstructions(NULL));
    const uint32_t nLine = m_pShader->GetLineFromInstruction(12);
    ASSERT_TRUE(Debugger().AddBreakPointAtLineNumber(nLine, 0, NULL));
    ASSERT_TRUE(Checked([&] { return Debugger().Run(); }));
    EXPECT_EQ(nLine, Debugger().GetNextLine());
    EXPECT_EQ(11u, Position());

    // Without breakpoints the run goes to the end: the loops' passes are bounded by their defi.
    Debugger().RemoveAllBreakPoints();
    EXPECT_FALSE(Checked([&] { return Debugger().Run(); }));
    EXPECT_EQ(m_pShader->GetInstructionCount() - 1, Position());
    End();
}

TEST_F(DX9DebuggerTest, StepWrapsAtALoopsEndUntilItsCount)
{
    Open(ReadDX9Corpus("relative.asm"));
    // loop aL, i0 at 1 to endloop at 3, three passes; loop aL, i1 at 4 to 6, two passes.
    std::vector<uint32_t> vPositions(1, Position());
    while (Checked([&] { return Debugger().Step(); }))
    {
        vPositions.push_back(Position());
    }
    EXPECT_EQ(std::vector<uint32_t>({0, 1, 2, 1, 2, 1, 2, 3, 4, 5, 4, 5, 6, 7}), vPositions);
    End();
}

TEST_F(DX9DebuggerTest, DrawLeavesTheCurrentValuesInTheApplicationsTarget)
{
    Open(ReadDX9Corpus("ifelse.asm"));
    while (Position() < 2)
    {
        ASSERT_TRUE(Checked([&] { return Debugger().Step(); }));
    }
    ASSERT_TRUE(Checked([&] { return Debugger().Draw(); }));
    std::vector<float> vTarget(PIXELS * 4);
    std::memcpy(vTarget.data(), Device().GetTarget(0)->vData.data(), vTarget.size() * 4);
    const std::vector<SOracleValue> vNow = m_pOracle->At(2);
    for (unsigned int p = 0; p < PIXELS; ++p)
    {
        const std::array<float, 4> expected = vNow[p].bReached ? vNow[p].fValue : ZERO;
        EXPECT_EQ(expected, PixelOf(vTarget, p)) << p;
    }
    End();
}

TEST_F(DX9DebuggerTest, PatchedShadersAreMadeOnceAndAFailedCreationFailsTheStep)
{
    Open(ReadDX9Corpus("straight.asm"));
    ASSERT_TRUE(Checked([&] { return Debugger().Step(); }));
    ASSERT_TRUE(Checked([&] { return Debugger().Back(); }));
    ASSERT_TRUE(Checked([&] { return Debugger().Step(); }));
    // Positions 0 and 1, each made once.
    EXPECT_EQ(2, Device().GetCreateShaderCount());

    Device().InjectFailure(FAIL_CreateShader, 1);
    EXPECT_FALSE(Checked([&] { return Debugger().Step(); }));
    EXPECT_TRUE(m_pSession->m_Host.HasLogged(3, "CreatePixelShader failed."));
    // The next attempt makes it.
    ASSERT_TRUE(Checked([&] { return Debugger().Execute(); }));

    Device().InjectFailure(FAIL_ExecuteShader, 1);
    EXPECT_FALSE(Checked([&] { return Debugger().Step(); }));
    End();
}

TEST_F(DX9DebuggerTest, TargetsThatCantBeMadeFailTheDraw)
{
    Open(ReadDX9Corpus("straight.asm"));
    End();
    for (EInjectedFailure failure : {FAIL_GetDeviceBufferDesc, FAIL_CreateDeviceBuffer})
    {
        Device().InjectFailure(failure, 1);
        ASSERT_TRUE(Checked([&] { return m_pSession->Start(); }));
        EXPECT_EQ(NULL, Debugger().GetExecMaskBuffer());
        EXPECT_TRUE(Checked([&] { return Debugger().Step(); }));
        End();
    }
}

TEST(DX9DebuggerTextTest, QuestionsAboutAShaderThatIsntCurrent)
{
    CDX9Session session(ReadDX9Corpus("ifc.asm"));
    IShaderDebugger& debugger = *session.m_pDebugger;
    const size_t nSize = session.m_vTokens.size() * sizeof(uint32_t);
    std::string strText;
    ASSERT_TRUE(debugger.GetShaderText(session.m_vTokens.data(), nSize, NULL, strText, 0));
    EXPECT_EQ(0u, strText.find("//"));
    EXPECT_FALSE(debugger.GetShaderText(session.m_vTokens.data(), nSize, NULL, strText, 4));
    EXPECT_FALSE(debugger.GetShaderText(strText, 1));
    std::vector<std::string> vKeywords;
    EXPECT_TRUE(debugger.GetShaderKeywords(session.m_vTokens.data(), nSize, NULL, vKeywords, 4));
    EXPECT_EQ(5u, vKeywords.size());
    EXPECT_FALSE(debugger.GetShaderKeywords(vKeywords, 1));
    ShaderInfo info;
    ASSERT_TRUE(debugger.GetShaderInfo(session.m_vTokens.data(), nSize, &info));
    EXPECT_EQ(1u, info.nShaderType);
    EXPECT_EQ(3u, info.nVersionMajor);
    EXPECT_EQ(0u, debugger.GetCurrentLine());
    EXPECT_FALSE(debugger.Step());
    EXPECT_EQ(0u, debugger.GetDefaultDebugMode());
}
} // namespace
