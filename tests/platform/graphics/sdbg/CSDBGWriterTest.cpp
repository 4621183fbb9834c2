// The scenario text and the chunk layout, checked word by word where a reader that mirrors
// the writer would not notice a shift.
#include "CSDBGWriter.h"
#include "CTpfDecoder.h"
#include "SDBGCorpus.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace XAN_Platform;

namespace
{
uint32_t Word(const std::vector<uint8_t>& vChunk, size_t nByte)
{
    uint32_t nWord = 0;
    std::memcpy(&nWord, vChunk.data() + 8 + nByte, 4);
    return nWord;
}

TEST(CSDBGWriterTest, RecordsStandAtTheirWords)
{
    const XAN_Test::SDBGCase testCase = XAN_Test::LoadSDBGCase("ifelse");
    const std::vector<uint8_t>& vChunk = testCase.vChunk;
    ASSERT_EQ(0, std::memcmp(vChunk.data(), "SDBG", 4));
    uint32_t nDataSize = 0;
    std::memcpy(&nDataSize, vChunk.data() + 4, 4);
    EXPECT_EQ(vChunk.size() - 8, nDataSize);
    EXPECT_EQ(0u, vChunk.size() % 4);

    const uint32_t nBase = Word(vChunk, 0);
    const uint32_t nStrings = nBase + Word(vChunk, 80);
    EXPECT_EQ("main", std::string(reinterpret_cast<const char*>(vChunk.data()) + 8 + nStrings +
                                  Word(vChunk, 8)));

    // The fourth instruction: mov 0:6 into r0.x, which holds c.0, in the scopes 1 and 0.
    const uint32_t nInstruction = nBase + Word(vChunk, 32) + 3 * CSDBGWriter::INSTRUCTION_SIZE;
    EXPECT_EQ(54u, Word(vChunk, nInstruction + 4));
    EXPECT_EQ(1u, Word(vChunk, nInstruction + 8));
    EXPECT_EQ(4u, Word(vChunk, nInstruction + 12));                  // x: kind temp
    EXPECT_EQ(0u, Word(vChunk, nInstruction + 12 + 7 * 4));          // x: variable 0
    EXPECT_EQ(0xFFFFFFFFu, Word(vChunk, nInstruction + 48 + 7 * 4)); // y: none
    const uint32_t nToken = Word(vChunk, nInstruction + 93 * 4);
    const uint32_t nTokenRecord = nBase + Word(vChunk, 56) + nToken * CSDBGWriter::TOKEN_SIZE;
    EXPECT_EQ(0u, Word(vChunk, nTokenRecord));
    EXPECT_EQ(6u, Word(vChunk, nTokenRecord + 4));
    EXPECT_EQ(2u, Word(vChunk, nInstruction + 95 * 4));
    const uint32_t nScopeList = nBase + Word(vChunk, 76) + Word(vChunk, nInstruction + 96 * 4);
    EXPECT_EQ(1u, Word(vChunk, nScopeList));
    EXPECT_EQ(0u, Word(vChunk, nScopeList + 4));

    // c.2: its component in word 5, the component count in byte 36 of its scope variable.
    const uint32_t nVariable = nBase + Word(vChunk, 40) + 2 * CSDBGWriter::VARIABLE_SIZE;
    EXPECT_EQ(3u, Word(vChunk, nVariable + 4));
    EXPECT_EQ(2u, Word(vChunk, nVariable + 20));
    const uint32_t nScopeVariable =
        nBase + Word(vChunk, 72) + Word(vChunk, nVariable + 16) * CSDBGWriter::SCOPE_VARIABLE_SIZE;
    EXPECT_EQ(4u, vChunk[8 + nScopeVariable + 36]);
}

// The program's tokens in the container's SHDR chunk.
std::vector<uint32_t> ProgramTokens(const std::vector<uint8_t>& vContainer)
{
    uint32_t nCount = 0;
    std::memcpy(&nCount, vContainer.data() + 28, 4);
    for (uint32_t i = 0; i < nCount; ++i)
    {
        uint32_t nOffset = 0;
        uint32_t nSize = 0;
        std::memcpy(&nOffset, vContainer.data() + 32 + i * 4, 4);
        std::memcpy(&nSize, vContainer.data() + nOffset + 4, 4);
        if (std::memcmp(vContainer.data() + nOffset, "SHDR", 4) == 0)
        {
            std::vector<uint32_t> vTokens(nSize / 4);
            std::memcpy(vTokens.data(), vContainer.data() + nOffset + 8, nSize);
            return vTokens;
        }
    }
    return {};
}

class CSDBGFixtureTest : public ::testing::TestWithParam<XAN_Test::SDBGCase>
{
};

// Each debug record stands for the program's executable instruction of the same place: the
// same opcode, and each register component it names is one that the instruction writes.
TEST_P(CSDBGFixtureTest, DebugRecordsMatchTheProgram)
{
    const XAN_Test::SDBGCase& testCase = GetParam();
    const std::vector<uint32_t> vTokens = ProgramTokens(testCase.vContainer);
    TpfProgram program;
    CTpfDecoder decoder;
    ASSERT_TRUE(decoder.DecodeProgram(vTokens.data(), vTokens.size(), program));
    std::vector<const TpfInstruction*> vExecutable;
    for (const TpfInstruction& instruction : program.vInstructions)
    {
        if (instruction.pInfo != nullptr &&
            std::string(instruction.pInfo->pName).rfind("dcl_", 0) != 0)
        {
            vExecutable.push_back(&instruction);
        }
    }
    const std::vector<SDBGInstruction>& vRecords = testCase.scenario.m_vInstructions;
    ASSERT_EQ(vExecutable.size(), vRecords.size());
    const uint32_t operandTypes[8] = {1, 2, 99, 99, 0, 99, 99, 6}; // by record kind
    for (size_t i = 0; i < vRecords.size(); ++i)
    {
        EXPECT_EQ(vExecutable[i]->nOpcode, vRecords[i].nOpcode) << "instruction " << i;
        std::vector<const TpfOperand*> vDestinations;
        for (const TpfItem& item : vExecutable[i]->vItems)
        {
            if (item.cShape == 'd')
            {
                vDestinations.push_back(&item.operand);
            }
        }
        ASSERT_EQ(vDestinations.size(), vRecords[i].vDestinations.size()) << "instruction " << i;
        for (size_t d = 0; d < vDestinations.size(); ++d)
        {
            const TpfOperand& operand = *vDestinations[d];
            for (unsigned int c = 0; c < 4; ++c)
            {
                const SDBGComponent& component = vRecords[i].vDestinations[d].components[c];
                if (component.nKind == 0 && component.nNumber == 0 &&
                    component.nVariable == SDBG_NO_VARIABLE)
                {
                    continue;
                }
                EXPECT_EQ(operandTypes[component.nKind & 7], operand.nType) << "instruction " << i;
                ASSERT_FALSE(operand.vIndices.empty());
                EXPECT_EQ(component.nNumber, operand.vIndices[0].nImmediate) << "instruction " << i;
                EXPECT_NE(0u, operand.GetComponentMask() & (1u << c)) << "instruction " << i;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Scenarios, CSDBGFixtureTest,
                         ::testing::ValuesIn(XAN_Test::LoadSDBGCorpus()),
                         [](const auto& info) { return XAN_Test::SDBGCaseName(info.param); });

TEST(CSDBGWriterTest, BadScenarioTextSaysWhereAndWhy)
{
    const struct
    {
        const char* pText;
        const char* pError;
    } cases[] = {
        {"entry main\nbogus 1\n", "line 2: unknown statement 'bogus'"},
        {"source a.hlsl\nfloat x;\n", "line 2: block without \"end\""},
        {"inst mov 0-3\n", "line 1: bad position '0-3', expected FILE:LINE"},
        {"inst frobnicate 0:3\n", "line 1: expected: inst OPCODE FILE:LINE ..."},
        {"var a FLOAT 4\ninst mov 0:3 r0.x=a.4\n", "line 2: unknown variable component 'a.4'"},
        {"var a FLOAT 4\ninst mov 0:3 r0.q=a.0\n", "line 2: bad component 'r0.q=a.0'"},
        {"inst mov 0:3 scopes 0 r0.x\n", "line 1: bad scope '0'"},
        {"inst mov 0:3 r0.x | r1.x | r2.x\n", "line 1: more than two destinations"},
        {"var a FLOAT 0\n", "line 1: expected: var NAME TYPE COUNT [class N]"},
    };
    for (const auto& c : cases)
    {
        CSDBGScenario scenario;
        EXPECT_FALSE(scenario.Parse(c.pText)) << c.pText;
        EXPECT_EQ(c.pError, scenario.GetError()) << c.pText;
    }
}
} // namespace
