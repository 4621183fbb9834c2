// The table by source line built from each scenario's debug data, and what stepping by source
// line asks of it.
#include "ShaderDebuggerDXX/ShaderDebuggerDXX_HLSLInstrumentation.h"
#include "CSDBGWriter.h"
#include "SDBGCorpus.h"
#include "ShaderUtils/DX10/D3D10ShaderObject.h"
#include "Src/ShaderDebuggerTestDoubles.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>

using namespace XAN_ShaderDebugger;
using D3D10ShaderObject::CK_SDBG;
using D3D10ShaderObject::CShaderObject;
using XAN_Test::SDBGCase;

namespace
{
const char g_strDefaultError[] =
    "Can not debug this shader in HLSL mode - can not parse instrumentation.";

// A debugger to report to, the scenario's shader, with another debug chunk if given and, if
// asked, a second input TEXCOORD0 of components x and z in v1, and the instrumentation on them.
struct Instrumented
{
    explicit Instrumented(const SDBGCase& testCase, const std::vector<uint8_t>* pChunk = nullptr,
                          bool bSparseInput = false)
        : pDebugger(host.AttachDebugger()), hlsl(pDebugger)
    {
        EXPECT_TRUE(shader.SetShaderData(testCase.vContainer.data(), testCase.vContainer.size()));
        if (pChunk != nullptr)
        {
            // Debug data that doesn't parse leaves the shader debuggable by instruction.
            EXPECT_TRUE(shader.SetChunk(CK_SDBG, pChunk->data()));
            EXPECT_TRUE(shader.IsValid());
        }
        if (bSparseInput)
        {
            D3D10ShaderObject::SignatureEntry input = {};
            input.nRegister = 1;
            input.nMask = 0x5;
            shader.AddInputSignature("TEXCOORD", input);
        }
        bParsed = hlsl.Init(&shader);
    }

    XAN_Test::CRecordingHost host;
    XAN_Test::CTestDebugger* pDebugger;
    CShaderObject shader;
    CShaderDebuggerDXX_HLSLInstrumentation hlsl;
    bool bParsed;
};

std::vector<std::string> Names(const VariableRegisterList& list)
{
    std::vector<std::string> vNames;
    for (const CVariableRegisterMapping& mapping : list)
    {
        vNames.push_back(mapping.strName);
    }
    return vNames;
}

// What each scenario's table must show.
struct Expectation
{
    bool bParses;
    uint32_t nEntryLine;
    uint32_t nFirstLine;
    uint32_t nEndLine;
    uint32_t nLastLine;
    std::map<uint32_t, uint32_t> flowLines; // instruction to line
    // Line to the names of its entries in order, "" for a flow entry.
    std::map<uint32_t, std::vector<std::string>> lines;
};

const std::map<std::string, Expectation> g_Expectations = {
    {"array", {false, 0, 0, 0, 0, {}, {}}},
    // No name token: the source search finds the entry function behind the comments.
    {"entrysearch", {true, 8, 10, 11, 10, {}, {{10, {"r"}}}}},
    // The else line gets an entry; endif goes to the return's line.
    {"ifelse",
     {true,
      2,
      2,
      12,
      11,
      {{4, 7}, {6, 11}},
      {{2, {"c"}}, {3, {""}}, {5, {"c"}}, {7, {""}}, {9, {"c"}}, {11, {""}}}}},
    // The loop line keeps the counter's start and step apart around the loop and its break.
    {"loop",
     {true,
      2,
      2,
      9,
      8,
      {{2, 3}, {4, 3}, {7, 6}, {9, 8}},
      {{2, {"s"}}, {3, {"i", "", "", "i"}}, {5, {"s"}}, {6, {""}}, {8, {""}}}}},
    // Two instructions writing a on line 5 give one entry.
    {"straight", {true, 3, 3, 6, 5, {}, {{3, {"a"}}, {4, {"b"}}, {5, {"a"}}}}},
    // Light's line of the second file counts behind main.hlsl's 6 lines + 1.
    {"twofiles", {true, 1, 3, 4, 9, {}, {{3, {"d"}}, {9, {"l"}}}}},
};

class HLSLInstrumentationTest : public ::testing::TestWithParam<SDBGCase>
{
};

TEST_P(HLSLInstrumentationTest, TableByLine)
{
    const Expectation& expected = g_Expectations.at(GetParam().strName);
    Instrumented instrumented(GetParam());
    const CShaderDebuggerDXX_HLSLInstrumentation& hlsl = instrumented.hlsl;
    ASSERT_EQ(expected.bParses, instrumented.bParsed);
    if (!expected.bParses)
    {
        // An array refuses the whole shader; the log tells why.
        EXPECT_EQ(g_strDefaultError, hlsl.GetLastError());
        EXPECT_TRUE(XAN_Test::HasLineEnding(instrumented.host.m_vLines,
                                            "Warning: HLSL: The shader contains array, matrix, "
                                            "structure variables that are not supported yet.\n"));
        return;
    }
    EXPECT_EQ("", hlsl.GetLastError());
    EXPECT_EQ("main", hlsl.GetEntryFunction());
    EXPECT_EQ(expected.nEntryLine, hlsl.GetEntryLine());
    EXPECT_EQ(expected.nFirstLine, hlsl.GetFirstLine());
    EXPECT_EQ(expected.nEndLine, hlsl.GetEndLine());
    EXPECT_EQ(expected.nLastLine, hlsl.GetLastLine());

    std::map<uint32_t, std::vector<std::string>> lines;
    VariableRegisterList list;
    for (uint32_t nLine = 0; hlsl.GetVariablesAtLine(list, nLine); ++nLine)
    {
        for (const CVariableRegisterMapping& mapping : list)
        {
            lines[nLine].push_back(mapping.strName);
        }
    }
    EXPECT_EQ(expected.lines, lines);

    std::map<uint32_t, uint32_t> flowLines;
    for (uint32_t n = 0; n < GetParam().scenario.m_vInstructions.size(); ++n)
    {
        uint32_t nLine = 0;
        if (hlsl.GetFlowLine(n, nLine))
        {
            flowLines[n] = nLine;
        }
    }
    EXPECT_EQ(expected.flowLines, flowLines);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, HLSLInstrumentationTest,
                         ::testing::ValuesIn(XAN_Test::LoadSDBGCorpus()),
                         [](const auto& info) { return XAN_Test::SDBGCaseName(info.param); });

TEST(HLSLInstrumentationEntriesTest, ComponentsHoldRegistersPositionsAndMaps)
{
    const SDBGCase straightCase = XAN_Test::LoadSDBGCase("straight");
    Instrumented straight(straightCase);
    VariableRegisterList list;
    ASSERT_TRUE(straight.hlsl.GetVariablesAtLine(list, 5));
    ASSERT_EQ(1u, list.size());
    const CVariableRegisterMapping& a = list.front();
    EXPECT_EQ("FLOAT", a.strType);
    EXPECT_EQ("VECTOR", a.strClass);
    EXPECT_EQ("main", a.strFunctionScope);
    EXPECT_EQ(4u, a.uElements);
    EXPECT_EQ(g_PC_NULL, a.pc);
    ASSERT_EQ(1u, a.vRegisters.size());
    const VariableRegisterComponent& component = a.vRegisters[0];
    EXPECT_EQ(Register(RegisterID(RT_Temp, 0, 0, NULL), COMP_z | COMP_w), component.reg);
    EXPECT_EQ(ProgramCounter(3), component.pc);
    EXPECT_EQ(COMP_z | COMP_w, component.mask);
    EXPECT_EQ(4, component.nComponents);
    EXPECT_EQ(0, std::memcmp(component.map, "\4\4\2\3", 4));

    // The type name keeps the blank behind BOOL.
    SDBGCase boolCase = straightCase;
    boolCase.scenario.m_vVariables.back().nType = 1;
    const std::vector<uint8_t> vBoolChunk = XAN_Platform::CSDBGWriter::Write(boolCase.scenario);
    Instrumented withBool(straightCase, &vBoolChunk);
    ASSERT_TRUE(withBool.hlsl.GetVariablesAtLine(list, 4));
    EXPECT_EQ("BOOL ", list.front().strType);

    // An input of components x and z: the register's x holds its first, z its second.
    Instrumented sparse(straightCase, nullptr, true);
    ASSERT_TRUE(sparse.hlsl.GetInputVariables(list));
    ASSERT_EQ((std::vector<std::string>{"COLOR0", "TEXCOORD0"}), Names(list));
    EXPECT_EQ(0, std::memcmp(list.front().vRegisters[0].map, "\0\1\2\3", 4));
    EXPECT_EQ(0, std::memcmp(list.back().vRegisters[0].map, "\0\4\1\4", 4));
    EXPECT_EQ(2u, list.back().uElements);
    std::string strName;
    EXPECT_TRUE(
        sparse.hlsl.FindVariableName(strName, Register(RegisterID(RT_Input, 1, 0, NULL), COMP_z)));
    EXPECT_EQ("TEXCOORD0", strName);
    EXPECT_FALSE(
        sparse.hlsl.FindVariableName(strName, Register(RegisterID(RT_Input, 1, 0, NULL), COMP_y)));
    EXPECT_FALSE(
        sparse.hlsl.FindVariableName(strName, Register(RegisterID(RT_Temp, 0, 0, NULL), COMP_x)));
}

ProgramCounter AtLine(uint32_t nLine, std::vector<LoopState> vLoopStack = {})
{
    ProgramCounter line(nLine);
    line.m_vLoopStack = vLoopStack;
    return line;
}

// Positions with the iteration of their one loop.
std::vector<std::pair<uint32_t, uint32_t>> Positions(const std::list<ProgramCounter>& list)
{
    std::vector<std::pair<uint32_t, uint32_t>> vPositions;
    for (const ProgramCounter& pc : list)
    {
        vPositions.emplace_back(pc.m_nPos,
                                pc.m_vLoopStack.empty() ? 99 : pc.m_vLoopStack.back().nIteration);
    }
    return vPositions;
}

TEST(HLSLInstrumentationStepTest, ExecuteListFollowsTheLoopIteration)
{
    Instrumented loop(XAN_Test::LoadSDBGCase("loop"));
    ASSERT_TRUE(loop.bParsed);
    typedef std::vector<std::pair<uint32_t, uint32_t>> Positions_t;
    const struct
    {
        const char* pWhat;
        ProgramCounter line;
        bool bResult;
        Positions_t positions;
    } cases[] = {
        {"a line without a loop", AtLine(5, {{2, 9, 1}}), true, {{5, 1}}},
        {"first iteration: the counter's start, the loop and its exit",
         AtLine(3, {{2, 9, 0}}),
         true,
         {{1, 0}, {2, 0}, {4, 0}}},
        {"later iteration: the step behind the break belongs to the iteration before",
         AtLine(3, {{2, 9, 2}}),
         true,
         {{2, 2}, {4, 2}, {8, 1}}},
        {"a loop line without a loop stack", AtLine(3), false, {}},
        {"a line past the table", AtLine(100000), false, {}},
    };
    for (const auto& c : cases)
    {
        std::list<ProgramCounter> list = {ProgramCounter(77)};
        EXPECT_EQ(c.bResult, loop.hlsl.GetExecuteList(list, c.line)) << c.pWhat;
        if (c.bResult)
        {
            EXPECT_EQ(c.positions, Positions(list)) << c.pWhat;
        }
    }
}

TEST(HLSLInstrumentationStepTest, LinesAndPositionsAtBothEndsOfTheTable)
{
    Instrumented straight(XAN_Test::LoadSDBGCase("straight"));
    const CShaderDebuggerDXX_HLSLInstrumentation& hlsl = straight.hlsl;
    // Lines with entries: 3, 4, 5.
    const struct
    {
        bool bNext;
        uint32_t nFrom;
        bool bFound;
        uint32_t nLine;
    } steps[] = {
        {true, 0, true, 3},   {true, 4, true, 5},
        {true, 5, false, 6},  {true, 0xFFFFFFF0, false, 0xFFFFFFF1},
        {false, 5, true, 4},  {false, 100000, true, 5},
        {false, 3, false, 3}, // none before the first line: the first line
    };
    uint32_t nLine = 0;
    for (const auto& step : steps)
    {
        const bool bFound = step.bNext ? hlsl.GetNextLine(nLine, step.nFrom)
                                       : hlsl.GetPreviousLine(nLine, step.nFrom);
        EXPECT_EQ(step.bFound, bFound) << step.bNext << " " << step.nFrom;
        EXPECT_EQ(step.nLine, nLine) << step.bNext << " " << step.nFrom;
    }

    // Position 2's write of a.z was merged into position 3's: the search moves on to it.
    const struct
    {
        uint32_t nPos;
        bool bFound;
        uint32_t nLine;
    } finds[] = {{0, true, 3}, {1, true, 4},  {2, true, 5},
                 {3, true, 5}, {4, false, 0}, {99, false, 0}};
    for (const auto& find : finds)
    {
        nLine = 12345;
        EXPECT_EQ(find.bFound, hlsl.FindLine(nLine, ProgramCounter(find.nPos))) << find.nPos;
        if (find.bFound)
        {
            EXPECT_EQ(find.nLine, nLine) << find.nPos;
        }
    }

    ProgramCounter last;
    EXPECT_TRUE(hlsl.GetLastPC(last, ProgramCounter(5)));
    EXPECT_EQ(ProgramCounter(3), last);
    EXPECT_FALSE(hlsl.GetLastPC(last, ProgramCounter(6)));
    EXPECT_FALSE(hlsl.GetLastPC(last, ProgramCounter(100000)));
}

TEST(HLSLInstrumentationStepTest, LiveVariablesAndWrittenMasksOfTheLinesFunction)
{
    Instrumented twoFiles(XAN_Test::LoadSDBGCase("twofiles"));
    const SDBGCase straightCase = XAN_Test::LoadSDBGCase("straight");
    Instrumented straight(straightCase);
    VariableRegisterList list;
    const struct
    {
        const CShaderDebuggerDXX_HLSLInstrumentation& hlsl;
        uint32_t nLine;
        std::vector<std::string> names;
    } cases[] = {
        {twoFiles.hlsl, 9, {"l"}},      // Light's line: main's d isn't live there
        {twoFiles.hlsl, 8, {"d"}},      // the blank and Light's head belong to main's last line
        {twoFiles.hlsl, 100000, {"l"}}, // past the table: from its last line
        {straight.hlsl, 5, {"a", "b"}}, // a once, from its last write
        {straight.hlsl, 2, {}},         // before the first line with entries
    };
    for (const auto& c : cases)
    {
        EXPECT_EQ(!c.names.empty(), c.hlsl.GetLiveVariables(list, c.nLine)) << c.nLine;
        EXPECT_EQ(c.names, Names(list)) << c.nLine;
    }

    ASSERT_TRUE(straight.hlsl.GetVariablesAtLine(list, 3));
    const CVariableRegisterMapping a = list.front();
    EXPECT_EQ(COMP_x | COMP_y, straight.hlsl.GetWrittenMask(a, 3));
    EXPECT_EQ(COMP_x | COMP_y, straight.hlsl.GetWrittenMask(a, 4));
    EXPECT_EQ(COMP_All, straight.hlsl.GetWrittenMask(a, 5));
    CVariableRegisterMapping otherType = a;
    otherType.strType = "INT";
    EXPECT_EQ(0, straight.hlsl.GetWrittenMask(otherType, 5));
}

TEST(HLSLInstrumentationFailureTest, AbsentOrBrokenDebugDataLeavesTheDefaultError)
{
    const SDBGCase straight = XAN_Test::LoadSDBGCase("straight");
    std::vector<uint8_t> vShort(straight.vChunk.begin(), straight.vChunk.begin() + 8 + 83);
    const uint32_t nShortSize = 83;
    std::memcpy(vShort.data() + 4, &nShortSize, 4);
    std::vector<uint8_t> vPastEnd = straight.vChunk;
    const uint32_t nInstructions = 1000;
    std::memcpy(vPastEnd.data() + 8 + 7 * 4, &nInstructions, 4);
    SDBGCase noSource = straight;
    noSource.scenario.m_vFiles.clear();
    SDBGCase pastSource = straight;
    pastSource.scenario.m_vTokens.back().nLine = 50;
    SDBGCase badFile = straight;
    badFile.scenario.m_vTokens.back().nFile = 3;

    const struct
    {
        const char* pWhat;
        std::vector<uint8_t> vChunk;
        bool bParses;
        const char* pAssert;
    } cases[] = {
        {"83 bytes of data", vShort, false, nullptr},
        {"tables past the end", vPastEnd, false, nullptr},
        {"a line past the source", XAN_Platform::CSDBGWriter::Write(pastSource.scenario), false,
         nullptr},
        {"a file past the files", XAN_Platform::CSDBGWriter::Write(badFile.scenario), false,
         "DebugTokens[ uTokenID ].File < DebugNumberOfLinesInFiles.size()"},
        {"no source: lines up to 65535", XAN_Platform::CSDBGWriter::Write(noSource.scenario), true,
         nullptr},
    };
    for (const auto& c : cases)
    {
        Instrumented instrumented(straight, &c.vChunk);
        EXPECT_EQ(c.bParses, instrumented.bParsed) << c.pWhat;
        EXPECT_EQ(c.bParses ? "" : g_strDefaultError, instrumented.hlsl.GetLastError()) << c.pWhat;
        if (c.pAssert != nullptr)
        {
            EXPECT_TRUE(instrumented.host.HasAssert(c.pAssert)) << c.pWhat;
        }
    }
}

TEST(HLSLInstrumentationDumpTest, LevelFiveDumpsOfTheStraightScenario)
{
    Instrumented straight(XAN_Test::LoadSDBGCase("straight"));
    std::string strDump;
    for (const std::string& strLine : straight.host.m_vLines)
    {
        strDump += strLine;
    }
    EXPECT_EQ(XAN_Test::ReadFile(std::string(XAN_TEST_DATA_DIR) + "/straight_dump.txt"), strDump);
}

TEST(HLSLInstrumentationKeywordsTest, FiveListsInOrderWithTheirEnds)
{
    std::vector<std::string> vKeywords;
    CShaderDebuggerDXX_HLSLInstrumentation::GetShaderKeywords(vKeywords);
    ASSERT_EQ(5u, vKeywords.size());
    const struct
    {
        const char* pFirst;
        const char* pLast;
    } ends[] = {
        {"Break Compile Const Continue DepthStencilView Discard Do Else Extern False FALSE For If "
         "In Inline Inout ",
         nullptr},
        {"bool ", " matrix"},
        {"BINORMAL ", " DEPTH3"},
        {"auto ", " virtual"},
        {"abs ", " transpose"},
    };
    for (size_t i = 0; i < 5; ++i)
    {
        const std::string& strList = vKeywords[i];
        EXPECT_EQ(0u, strList.find(ends[i].pFirst)) << i;
        if (ends[i].pLast != nullptr)
        {
            const std::string strLast = ends[i].pLast;
            ASSERT_GE(strList.size(), strLast.size());
            EXPECT_EQ(strLast, strList.substr(strList.size() - strLast.size())) << i;
        }
        EXPECT_EQ(std::string::npos, strList.find("  ")) << i;
    }
    EXPECT_NE(std::string::npos, vKeywords[1].find(" float4x4 "));
    EXPECT_NE(std::string::npos, vKeywords[2].find(" SV_Target "));
}
} // namespace
