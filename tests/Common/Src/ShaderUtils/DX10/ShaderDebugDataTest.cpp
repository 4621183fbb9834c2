// The debug data read back from the chunks of the scenarios, and refused when anything in
// it points past its area.
#include "CSDBGWriter.h"
#include "SDBGCorpus.h"
#include "ShaderUtils/DX10/D3D10ShaderDebugData.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <map>

using namespace D3D10ShaderObject;
using XAN_Test::SDBGCase;

namespace
{
std::vector<uint8_t> ChunkData(const SDBGCase& testCase)
{
    return std::vector<uint8_t>(testCase.vChunk.begin() + 8, testCase.vChunk.end());
}

class ShaderDebugDataTest : public ::testing::TestWithParam<SDBGCase>
{
};

TEST_P(ShaderDebugDataTest, ChunkParsesBackIntoTheScenariosTables)
{
    const SDBGCase& testCase = GetParam();
    const XAN_Platform::CSDBGScenario& scenario = testCase.scenario;
    const std::vector<uint8_t> vData = ChunkData(testCase);
    CShaderDebugData data;
    ASSERT_TRUE(data.Parse(vData.data(), vData.size()));
    EXPECT_TRUE(data.IsPresent());
    EXPECT_EQ(scenario.m_strEntry, data.GetEntryFunction());

    std::string strSource;
    ASSERT_EQ(scenario.m_vFiles.size(), data.GetFileNames().size());
    for (size_t i = 0; i < scenario.m_vFiles.size(); ++i)
    {
        EXPECT_EQ(scenario.m_vFiles[i].strName, data.GetFileNames()[i]);
        strSource += scenario.m_vFiles[i].strSource + "\n";
    }
    EXPECT_EQ(strSource, data.GetSourceText());
    EXPECT_TRUE(data.HasSource());

    ASSERT_EQ(scenario.m_vTokens.size(), data.GetDebugTokens().size());
    for (size_t i = 0; i < scenario.m_vTokens.size(); ++i)
    {
        EXPECT_EQ(scenario.m_vTokens[i].nFile, data.GetDebugTokens()[i].File);
        EXPECT_EQ(scenario.m_vTokens[i].nLine, data.GetDebugTokens()[i].Line);
        EXPECT_EQ(scenario.m_vTokens[i].strText, data.GetTokenNames()[i]);
    }

    ASSERT_EQ(scenario.m_vInstructions.size(), data.GetDebugInstructions().size());
    for (size_t i = 0; i < scenario.m_vInstructions.size(); ++i)
    {
        const XAN_Platform::SDBGInstruction& expected = scenario.m_vInstructions[i];
        const DebugInstruction& instruction = data.GetDebugInstructions()[i];
        EXPECT_EQ(expected.nOpcode, instruction.OpcodeToken & 0x7FF);
        EXPECT_EQ(expected.nToken, instruction.uTokenID);
        EXPECT_EQ(expected.vScopes, data.GetInstructionScopes()[i]);
        ASSERT_EQ(expected.vDestinations.size(), instruction.DestinationCount);
        for (size_t nDestination = 0; nDestination < expected.vDestinations.size(); ++nDestination)
        {
            for (int c = 0; c < 4; ++c)
            {
                const XAN_Platform::SDBGComponent& component =
                    expected.vDestinations[nDestination].components[c];
                const DebugComponent& read = instruction.Destinations[nDestination][c];
                EXPECT_EQ(component.nKind, read.Kind) << "instruction " << i;
                EXPECT_EQ(component.nNumber, read.Number) << "instruction " << i;
                EXPECT_EQ(component.nVariable, read.Variable) << "instruction " << i;
            }
        }
    }

    ASSERT_EQ(scenario.m_vVariables.size(), data.GetDebugVariables().size());
    for (size_t i = 0; i < scenario.m_vVariables.size(); ++i)
    {
        const XAN_Platform::SDBGVariable& expected = scenario.m_vVariables[i];
        const DebugVariable& variable = data.GetDebugVariables()[i];
        EXPECT_EQ(expected.nToken, variable.Token);
        EXPECT_EQ(expected.nType, variable.Type);
        EXPECT_EQ(expected.nScopeVariable, variable.ScopeVariable);
        EXPECT_EQ(expected.nComponent, variable.Component);
    }

    ASSERT_EQ(scenario.m_vScopeVariables.size(), data.GetDebugScopeVariables().size());
    for (size_t i = 0; i < scenario.m_vScopeVariables.size(); ++i)
    {
        const XAN_Platform::SDBGScopeVariable& expected = scenario.m_vScopeVariables[i];
        const DebugScopeVariable& scopeVariable = data.GetDebugScopeVariables()[i];
        EXPECT_EQ(expected.nColumns, scopeVariable.Columns);
        EXPECT_EQ(expected.nClass, scopeVariable.Class);
        EXPECT_EQ(expected.nElements, scopeVariable.Elements);
        EXPECT_EQ(expected.nElements & 0xFF, scopeVariable.Components);
    }

    ASSERT_EQ(scenario.m_vScopes.size(), data.GetDebugScopes().size());
    for (size_t i = 0; i < scenario.m_vScopes.size(); ++i)
    {
        EXPECT_EQ(scenario.m_vScopes[i].nKind, data.GetDebugScopes()[i].Kind);
        EXPECT_EQ(scenario.m_vScopes[i].strName, data.GetScopeNames()[i]);
    }

    // Through a name token of the entry function, or else by the source search.
    const std::map<std::string, uint32_t> entryLines = {{"array", 1},    {"entrysearch", 9},
                                                        {"ifelse", 1},   {"loop", 1},
                                                        {"straight", 1}, {"twofiles", 2}};
    EXPECT_EQ(entryLines.at(testCase.strName), data.GetEntryLine());
}

INSTANTIATE_TEST_SUITE_P(Scenarios, ShaderDebugDataTest,
                         ::testing::ValuesIn(XAN_Test::LoadSDBGCorpus()),
                         [](const auto& info) { return XAN_Test::SDBGCaseName(info.param); });

// Line counts and the concatenated source of files with and without a last line break.
TEST(ShaderDebugDataSourceTest, EachFileAddsItsLinesAndOneBlankLine)
{
    XAN_Platform::CSDBGScenario scenario;
    ASSERT_TRUE(scenario.Parse("entry f\nsource a\nx\ny\nend\nsource b\nend\nsource c\nz\nend\n"));
    scenario.m_vFiles[2].strSource = "z"; // no last line break
    const std::vector<uint8_t> vChunk = XAN_Platform::CSDBGWriter::Write(scenario);
    CShaderDebugData data;
    ASSERT_TRUE(data.Parse(vChunk.data() + 8, vChunk.size() - 8));
    EXPECT_EQ((std::vector<uint32_t>{2, 0, 1}), data.GetDebugNumberOfLinesInFiles());
    EXPECT_EQ("x\ny\n\n\nz\n\n", data.GetSourceText());
    EXPECT_EQ((std::vector<std::string>{"x", "y", "", "", "z", ""}), data.GetSourceLines());
    EXPECT_EQ(0u, data.GetEntryLine());
}

TEST(ShaderDebugDataSourceTest, EntrySearchSkipsCommentsAndInnerBraces)
{
    const struct
    {
        const char* pSource;
        uint32_t nLine;
    } cases[] = {
        {"float4 main(float4 c) : SV_Target\n", 1},
        {"/* a block\n comment */ float4 main (float4 c)\n", 2},
        {"/* main\n main */\nvoid main()\n", 3},
        {"// main (\nvoid main()\n", 2},
        {"void f() { main(); }\nvoid main()\n", 2},
        {"void f()\n{\n    x = main (1);\n}\nvoid main()\n", 5},
        {"{ }   main\n", 1},
        {"void mainly()\nvoid domain()\n", 0},
        {"void f() { main(); }\n", 0},
        {"", 0},
    };
    for (const auto& c : cases)
    {
        EXPECT_EQ(c.nLine, CShaderDebugData::FindEntryLine(c.pSource, "main")) << c.pSource;
    }
    EXPECT_EQ(0u, CShaderDebugData::FindEntryLine("void main()\n", ""));
}

uint32_t GetWord(const std::vector<uint8_t>& vData, size_t nOffset)
{
    uint32_t nWord = 0;
    std::memcpy(&nWord, vData.data() + nOffset, 4);
    return nWord;
}

void SetWord(std::vector<uint8_t>& vData, size_t nOffset, uint32_t nWord)
{
    std::memcpy(vData.data() + nOffset, &nWord, 4);
}

// The byte offset of record nRecord of the table whose offset is header word nOffsetWord.
size_t Record(const std::vector<uint8_t>& vData, int nOffsetWord, size_t nRecord, size_t nSize)
{
    return GetWord(vData, 0) + GetWord(vData, nOffsetWord * 4) + nRecord * nSize;
}

TEST(ShaderDebugDataBoundsTest, AnythingPastItsAreaFailsAndLeavesTheObjectEmpty)
{
    const SDBGCase testCase = XAN_Test::LoadSDBGCase("twofiles");
    typedef std::function<void(std::vector<uint8_t>&)> Mutation;
    const struct
    {
        const char* pWhat;
        Mutation mutate;
    } cases[] = {
        {"83 bytes", [](std::vector<uint8_t>& v) { v.resize(83); }},
        {"tables cut off", [](std::vector<uint8_t>& v) { v.resize(v.size() / 2); }},
        {"base past the end", [](std::vector<uint8_t>& v) { SetWord(v, 0, v.size() + 1); }},
        {"one instruction more",
         [](std::vector<uint8_t>& v) { SetWord(v, 28, GetWord(v, 28) + 1); }},
        {"huge variable count", [](std::vector<uint8_t>& v) { SetWord(v, 36, 0xFFFFFFFF); }},
        {"token table offset", [](std::vector<uint8_t>& v) { SetWord(v, 56, 0xFFFFFFF0); }},
        {"string area past the end", [](std::vector<uint8_t>& v) { SetWord(v, 80, v.size()); }},
        {"entry name offset", [](std::vector<uint8_t>& v) { SetWord(v, 8, 0xFFFFFF00); }},
        {"file source length",
         [](std::vector<uint8_t>& v) { SetWord(v, Record(v, 6, 1, 16) + 12, 0x10000); }},
        {"token name past the area",
         [](std::vector<uint8_t>& v) { SetWord(v, Record(v, 14, 0, 20) + 16, v.size()); }},
        {"name over the length limit", [](std::vector<uint8_t>& v)
         { SetWord(v, Record(v, 14, 0, 20) + 12, CShaderDebugData::MAX_NAME_LENGTH + 1); }},
        {"scope name length",
         [](std::vector<uint8_t>& v) { SetWord(v, Record(v, 16, 1, 20) + 8, 0x7FFFFFFF); }},
        {"instruction token",
         [](std::vector<uint8_t>& v) { SetWord(v, Record(v, 8, 0, 396) + 93 * 4, 99); }},
        {"three destinations",
         [](std::vector<uint8_t>& v) { SetWord(v, Record(v, 8, 0, 396) + 8, 3); }},
        {"destination variable",
         [](std::vector<uint8_t>& v) { SetWord(v, Record(v, 8, 0, 396) + 12 + 28, 2); }},
        {"scope list length",
         [](std::vector<uint8_t>& v) { SetWord(v, Record(v, 8, 0, 396) + 95 * 4, 0x40000000); }},
        {"scope list offset",
         [](std::vector<uint8_t>& v) { SetWord(v, Record(v, 8, 4, 396) + 96 * 4, 0xFFFFFFFC); }},
        {"scope index",
         [](std::vector<uint8_t>& v) { SetWord(v, GetWord(v, 0) + GetWord(v, 76), 2); }},
        {"variable token", [](std::vector<uint8_t>& v) { SetWord(v, Record(v, 10, 1, 24), 50); }},
        {"variable scope variable",
         [](std::vector<uint8_t>& v) { SetWord(v, Record(v, 10, 1, 24) + 16, 2); }},
    };
    for (const auto& c : cases)
    {
        std::vector<uint8_t> vData = ChunkData(testCase);
        c.mutate(vData);
        CShaderDebugData data;
        EXPECT_FALSE(data.Parse(vData.data(), vData.size())) << c.pWhat;
        EXPECT_FALSE(data.IsPresent()) << c.pWhat;
        EXPECT_TRUE(data.GetDebugInstructions().empty() && data.GetSourceText().empty() &&
                    data.GetDebugTokens().empty() && data.GetEntryLine() == 0)
            << c.pWhat;
    }
    const std::vector<uint8_t> vData = ChunkData(testCase);
    CShaderDebugData data;
    EXPECT_TRUE(data.Parse(vData.data(), vData.size()));
    EXPECT_FALSE(data.Parse(nullptr, 100));
}
} // namespace
