// The scenario text and the chunk layout, checked word by word where a reader that mirrors
// the writer would not notice a shift.
#include "CSDBGWriter.h"
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

TEST(CSDBGWriterTest, BadScenarioTextSaysWhereAndWhy)
{
    const struct
    {
        const char* pText;
        const char* pError;
    } cases[] = {
        {"entry main\nbogus 1\n", "line 2: unknown statement 'bogus'"},
        {"source a.hlsl\nfloat x;\n", "line 2: source without \"end\""},
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
