#include "ShaderDebuggerBase.h"
#include "ShaderDebuggerBuffer.h"
#include "ShaderDebuggerShader.h"
#include "Src/ShaderDebuggerTestDoubles.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <numeric>
#include <vector>

using namespace XAN_ShaderDebugger;

namespace
{
class BaseTest : public ::testing::Test
{
protected:
    BaseTest() : m_pDebugger(m_Host.AttachDebugger()) {}

    XAN_Test::CRecordingHost m_Host;
    XAN_Test::CTestDebugger* m_pDebugger;
};

// A shader that tells when it is deleted.
class CWatchedShader : public XAN_Test::CTestShader
{
public:
    CWatchedShader(CShaderDebuggerBase* pDebugger, bool* pDeleted)
        : CTestShader(pDebugger), m_pDeleted(pDeleted)
    {
    }
    ~CWatchedShader() override { *m_pDeleted = true; }

private:
    bool* m_pDeleted;
};
} // namespace

TEST_F(BaseTest, StartsDeselectedWithNothingSet)
{
    const ShaderUtils::ThreadID id = m_pDebugger->GetThreadID();
    EXPECT_EQ(2u, id.nDimensions);
    EXPECT_EQ(-1, id.x);
    EXPECT_EQ(-1, id.y);
    EXPECT_FALSE(id.IsValid());
    EXPECT_EQ(8u, m_pDebugger->GetLogLevel());
    EXPECT_FALSE(m_pDebugger->IsDebugging());
    EXPECT_FALSE(m_pDebugger->IsTrackSelectedRegisters());
    EXPECT_EQ(0u, m_pDebugger->GetWorkSize0() + m_pDebugger->GetWorkSize4());
    EXPECT_EQ(0u, m_pDebugger->GetShaderType());
    EXPECT_EQ(nullptr, m_pDebugger->GetCurrentShader());
    EXPECT_EQ(&m_Host, m_pDebugger->GetHost());
    EXPECT_FALSE(m_pDebugger->Profile(NULL, 0, NULL, NULL, NULL, 0));
}

TEST_F(BaseTest, StartTakesTheExtentsAndDeselectsTheThread)
{
    m_pDebugger->SetThreadID(ShaderUtils::ThreadID(3, 4, 5, 6, 7));
    const uint32_t workSize[5] = {3, 10, 20, 30, 40};
    ASSERT_TRUE(m_pDebugger->StartDebugging(NULL, 0, NULL, workSize, 1));
    EXPECT_EQ(10u, m_pDebugger->GetWorkSize0());
    EXPECT_EQ(20u, m_pDebugger->GetWorkSize1());
    EXPECT_EQ(30u, m_pDebugger->GetWorkSize2());
    EXPECT_EQ(40u, m_pDebugger->GetWorkSize3());
    EXPECT_EQ(0u, m_pDebugger->GetWorkSize4());
    const ShaderUtils::ThreadID id = m_pDebugger->GetThreadID();
    EXPECT_EQ(2u, id.nDimensions);
    EXPECT_EQ(-1, id.x);
    EXPECT_EQ(-1, id.y);
    // The other two fields stay.
    EXPECT_EQ(6, id.z);
    EXPECT_EQ(7u, id.nSlice);

    EXPECT_FALSE(m_pDebugger->StartDebugging(NULL, 0, NULL, NULL, 1));
    EXPECT_TRUE(m_Host.HasAssert("!m_bIsDebugging"));
    EXPECT_EQ(10u, m_pDebugger->GetWorkSize0());

    m_pDebugger->EndDebugging(false);
    ASSERT_TRUE(m_pDebugger->StartDebugging(NULL, 0, NULL, NULL, 1));
    EXPECT_EQ(0u, m_pDebugger->GetWorkSize0());
    EXPECT_EQ(0u, m_pDebugger->GetWorkSize3());
}

TEST_F(BaseTest, BreakpointsByLine)
{
    enum Op
    {
        Add,
        Remove,
        Toggle,
        Clear
    };
    struct Step
    {
        Op op;
        uint32_t nLine;
        std::set<uint32_t> lines;
    };
    const Step steps[] = {
        {Add, 4, {4}},       {Add, 4, {4}},
        {Add, 9, {4, 9}},    {Toggle, 9, {4}},
        {Toggle, 2, {2, 4}}, {Remove, 7, {2, 4}},
        {Remove, 2, {4}},    {Add, 0, {0, 4}},
        {Clear, 0, {}},      {Toggle, 0xFFFFFFFF, {0xFFFFFFFF}},
    };
    for (const Step& s : steps)
    {
        bool bResult = false;
        switch (s.op)
        {
        case Add:
            bResult = m_pDebugger->AddBreakPointAtLineNumber(s.nLine, 0, NULL);
            break;
        case Remove:
            bResult = m_pDebugger->RemoveBreakPointAtLineNumber(s.nLine);
            break;
        case Toggle:
            bResult = m_pDebugger->ToggleBreakPointAtLineNumber(s.nLine, false);
            break;
        case Clear:
            bResult = m_pDebugger->RemoveAllBreakPoints();
            break;
        }
        EXPECT_TRUE(bResult);
        std::set<uint32_t> lines;
        EXPECT_EQ(s.lines.size(), m_pDebugger->GetAllBreakpoints(&lines));
        EXPECT_EQ(s.lines, lines) << s.op << " " << s.nLine;
        EXPECT_EQ(s.lines.size(), m_pDebugger->GetAllBreakpoints(NULL));
        EXPECT_EQ(s.lines.count(s.nLine) != 0, m_pDebugger->IsBreakPointAtLineNumber(s.nLine));
    }
}

TEST_F(BaseTest, BreakpointBetweenLinesExcludesBothEnds)
{
    struct Case
    {
        std::set<uint32_t> lines;
        uint32_t nFirst;
        uint32_t nLast;
        bool bBetween;
    };
    const Case cases[] = {
        {{3}, 3, 5, false},      {{4}, 3, 5, true},     {{5}, 3, 5, false}, {{3, 5}, 3, 5, false},
        {{3, 4, 5}, 3, 5, true}, {{1, 9}, 3, 5, false}, {{4}, 5, 3, false}, {{}, 0, 100, false},
    };
    for (const Case& c : cases)
    {
        m_pDebugger->RemoveAllBreakPoints();
        for (uint32_t nLine : c.lines)
        {
            m_pDebugger->AddBreakPointAtLineNumber(nLine, 0, NULL);
        }
        EXPECT_EQ(c.bBetween, m_pDebugger->HasBreakPointBetweenLines(c.nFirst, c.nLast))
            << c.nFirst << " " << c.nLast;
    }
}

TEST_F(BaseTest, LastErrorIsPendingOnce)
{
    std::string strError = "old";
    EXPECT_FALSE(m_pDebugger->GetLastError(strError));
    EXPECT_EQ("", strError);
    m_pDebugger->SetLastError("x");
    EXPECT_TRUE(m_pDebugger->GetLastError(strError));
    EXPECT_EQ("x", strError);
    strError.clear();
    EXPECT_FALSE(m_pDebugger->GetLastError(strError));
    EXPECT_EQ("x", strError);

    // The host forwards to the registered debugger.
    m_Host.SetLogLevel(0);
    EXPECT_EQ(0u, m_pDebugger->GetLogLevel());
    m_Host.SetLastError("y");
    EXPECT_TRUE(m_pDebugger->GetLastError(strError));
    EXPECT_EQ("y", strError);
}

TEST_F(BaseTest, ShaderQueriesForwardToTheCurrentShader)
{
    std::string strText = "stale";
    EXPECT_FALSE(m_pDebugger->GetShaderText(strText, 1));
    EXPECT_EQ("", strText);
    ShaderInfo info;
    info.nShaderType = 9;
    EXPECT_FALSE(m_pDebugger->GetShaderInfo(&info));
    EXPECT_EQ(0u, info.nShaderType);
    EXPECT_FALSE(m_pDebugger->GetShaderInfo(NULL));
    EXPECT_TRUE(m_Host.HasAssert("pInfo != NULL"));
    EXPECT_EQ(0u, m_pDebugger->GetDefaultDebugMode());
    EXPECT_FALSE(m_pDebugger->SetDebugMode(1));

    bool bFirstDeleted = false;
    bool bSecondDeleted = false;
    CWatchedShader* pFirst = new CWatchedShader(m_pDebugger, &bFirstDeleted);
    pFirst->Info().nShaderType = ST_Compute;
    pFirst->Info().strTarget = "main";
    m_pDebugger->SetCurrentShader(pFirst);
    EXPECT_EQ(pFirst, m_pDebugger->GetCurrentShader());
    EXPECT_EQ(static_cast<uint32_t>(ST_Compute), m_pDebugger->GetShaderType());
    ASSERT_TRUE(m_pDebugger->GetShaderInfo(&info));
    EXPECT_EQ("main", info.strTarget);
    EXPECT_EQ(1u, m_pDebugger->GetDefaultDebugMode());
    EXPECT_TRUE(m_pDebugger->SetDebugMode(4));
    EXPECT_EQ(4u, pFirst->m_nLastMode);

    m_pDebugger->SetCurrentShader(new CWatchedShader(m_pDebugger, &bSecondDeleted));
    EXPECT_TRUE(bFirstDeleted);
    EXPECT_FALSE(bSecondDeleted);
    m_pDebugger->SetCurrentShader(NULL);
    EXPECT_TRUE(bSecondDeleted);
    EXPECT_EQ(0u, m_pDebugger->GetShaderType());

    // The debugger deletes the shader it still holds when it goes.
    bool bThirdDeleted = false;
    {
        XAN_Test::CRecordingHost host;
        XAN_Test::CTestDebugger* pDebugger = host.AttachDebugger();
        pDebugger->SetCurrentShader(new CWatchedShader(pDebugger, &bThirdDeleted));
    }
    EXPECT_TRUE(bThirdDeleted);
}

namespace
{
// A result whose buffer holds, for each of two threads, four words from nBase on.
CShaderDebuggerResult* MakeResult(CShaderDebuggerHost* pHost, const std::string& strName,
                                  uint32_t nBase, const ProgramCounter& lastStep,
                                  unsigned short mask)
{
    CShaderDebuggerResult* pResult = new CShaderDebuggerResult(pHost, strName);
    std::vector<uint32_t> vWords(8);
    std::iota(vWords.begin(), vWords.end(), nBase);
    pResult->SetResultBuffer(XAN_Test::MakeWordBuffer(pHost, BF_RGBA32, vWords), NULL, 0, 0, 0);
    pResult->AddStep(lastStep, mask);
    pResult->SetDataType(4, COMP_All);
    return pResult;
}

uint32_t Bits(float f)
{
    uint32_t n;
    std::memcpy(&n, &f, 4);
    return n;
}

struct ExpectedRow
{
    const char* pName;
    unsigned short mask;
    uint32_t nComponents;
    // The raw bits of the four values.
    std::vector<uint32_t> vValues;
    std::vector<uint32_t> vTypes;
};

void ExpectRows(const std::deque<CShaderDebuggerVariable>& rows,
                const std::vector<ExpectedRow>& expected)
{
    ASSERT_EQ(expected.size(), rows.size());
    for (size_t i = 0; i < rows.size(); ++i)
    {
        const CShaderDebuggerVariable& row = rows[i];
        SCOPED_TRACE(::testing::Message() << "row " << i << " " << row.strName);
        EXPECT_EQ(expected[i].pName, row.strName);
        EXPECT_EQ(expected[i].mask, row.mask);
        EXPECT_EQ(expected[i].nComponents, row.nComponents);
        std::vector<uint32_t> vValues;
        for (float f : row.value)
        {
            vValues.push_back(Bits(f));
        }
        EXPECT_EQ(expected[i].vValues, vValues);
        EXPECT_EQ(expected[i].vTypes, std::vector<uint32_t>(row.nDataType, row.nDataType + 4));
    }
}
} // namespace

TEST_F(BaseTest, TheViewHoldsTheThreadsValuesSortedByName)
{
    const uint32_t workSize[5] = {1, 2, 1, 1, 1};
    ASSERT_TRUE(m_pDebugger->StartDebugging(NULL, 0, NULL, workSize, 1));
    m_pDebugger->m_CurrentInstruction = ProgramCounter(7);
    m_pDebugger->m_Results["r1"] = MakeResult(&m_Host, "r1", 100, ProgramCounter(7), COMP_xy);
    m_pDebugger->m_Results["r0"] = MakeResult(&m_Host, "r0", 200, ProgramCounter(3), COMP_x);
    m_pDebugger->m_Results[g_szNoDestinationRegister] =
        MakeResult(&m_Host, g_szNoDestinationRegister, 300, ProgramCounter(7), COMP_All);
    CShaderDebuggerResult* pNarrow = MakeResult(&m_Host, "m0", 400, ProgramCounter(7), COMP_x);
    pNarrow->SetDataType(3);
    m_pDebugger->m_Results["m0"] = pNarrow;

    ShaderUtils::ThreadID id(1, 1);
    std::unique_ptr<CShaderDebuggerVariables> pView(m_pDebugger->GetVariables(id));
    ASSERT_NE(nullptr, pView);
    ExpectRows(pView->GetVariableList(),
               {
                   {"m0", COMP_x, 1, {404, 0, 0, 0}, {3, 0, 0, 0}},
                   // Written at an earlier instruction: no components of this step.
                   {"r0", 0, 4, {204, 205, 206, 207}, {4, 4, 4, 4}},
                   {"r1", COMP_xy, 4, {104, 105, 106, 107}, {4, 4, 4, 4}},
               });
    EXPECT_EQ(1, pView->GetThreadID().x);
    EXPECT_EQ(2u, pView->GetWorkSize()[0]);
    EXPECT_EQ(1u, pView->GetWorkSize()[1]);
    EXPECT_EQ(0u, pView->GetWorkSize()[2]);

    // A thread that the buffers don't hold reads as zeros.
    ShaderUtils::ThreadID outside(1, 5);
    pView.reset(m_pDebugger->GetVariables(outside));
    ASSERT_EQ(3u, pView->GetVariableList().size());
    EXPECT_EQ(0u, Bits(pView->GetVariableList()[2].value[0]));
}

TEST(VariablesTest, RowsKeepOnlyTheComponentsInUse)
{
    CShaderDebuggerVariables view;
    const float values[4] = {1.0f, 2.0f, 3.0f, 4.0f};
    const uint32_t types[4] = {4, 3, 2, 1};
    view.AddVariable("b", COMP_xy, 2, values, types);
    view.AddVariable("a", COMP_x, 3, values, 2u);
    view.AddVariable("c", 0, 9, NULL, 4u);
    view.AddVariable("a", COMP_w, 1, values, 1u);

    const uint32_t n1 = Bits(1.0f);
    const uint32_t n2 = Bits(2.0f);
    const uint32_t n3 = Bits(3.0f);
    ExpectRows(view.GetVariableList(),
               {
                   {"b", COMP_xy, 2, {n1, n2, 0, 0}, {4, 3, 0, 0}},
                   {"a", COMP_x, 3, {n1, n2, n3, 0}, {2, 2, 2, 0}},
                   // More than four components count as four; no values read as zeros.
                   {"c", 0, 4, {0, 0, 0, 0}, {4, 4, 4, 4}},
                   {"a", COMP_w, 1, {n1, 0, 0, 0}, {1, 0, 0, 0}},
               });

    // Ascending by name; rows of one name keep their order.
    view.Sort();
    const char* sorted[] = {"a", "a", "b", "c"};
    const unsigned short masks[] = {COMP_x, COMP_w, COMP_xy, 0};
    for (size_t i = 0; i < 4; ++i)
    {
        EXPECT_EQ(sorted[i], view.GetVariableList()[i].strName);
        EXPECT_EQ(masks[i], view.GetVariableList()[i].mask);
    }
    EXPECT_EQ(0u, view.GetWorkSize()[1]);
}
