#include "DX9Corpus.h"
#include "CDX9Decoder.h"
#include "CDX9Disassembler.h"
#include "CDX9Executor.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <sstream>

using namespace XAN_Platform;
using namespace XAN_Test;

namespace
{
std::vector<std::string> Lines(const std::string& strText)
{
    std::vector<std::string> vLines;
    std::istringstream stream(strText);
    for (std::string strLine; std::getline(stream, strLine);)
    {
        vLines.push_back(strLine);
    }
    return vLines;
}

// How the DX9 debugger counts the lines in front of the version: the "//"
// lines, a preshader block if the text has one, and the "//" lines after it.
std::size_t CountHeaderLines(const std::vector<std::string>& vLines)
{
    const auto isHeader = [](const std::string& strLine)
    { return strLine.empty() || strLine[0] == '/'; };
    std::size_t n = 0;
    bool bPreshader = false;
    for (const std::string& strLine : vLines)
    {
        bPreshader = bPreshader || strLine.find("preshader") != std::string::npos;
    }
    if (bPreshader)
    {
        while (n < vLines.size() && isHeader(vLines[n]))
        {
            ++n;
        }
        while (n < vLines.size() && (vLines[n].empty() || vLines[n][0] != '/'))
        {
            ++n;
        }
    }
    while (n < vLines.size() && isHeader(vLines[n]))
    {
        ++n;
    }
    return n;
}

// Draws a corpus shader over 4 × 4 pixels with b0 set, giving the pixels'
// executed instruction sequences.
bool DrawCorpus(const std::string& strName, std::set<std::vector<std::uint32_t>>& sequences,
                std::string& strError)
{
    const std::vector<std::uint32_t> vTokens = AssembleDX9OrFail(ReadDX9Corpus(strName));
    std::vector<float> vTarget0(16 * 4);
    std::vector<std::uint8_t> vTarget1(16 * 4);
    std::array<SDX9Target, 4> targets;
    targets[0] = {DX9_TARGET_RGBA32F, vTarget0.data()};
    targets[1] = {DX9_TARGET_RGBA8, vTarget1.data()};
    SDX9Constants constants;
    constants.vBool = {1};
    CDX9Executor executor;
    const bool bResult =
        executor.Draw(vTokens.data(), vTokens.size(), 4, 4, constants, targets, true);
    strError = executor.GetError();
    for (const std::vector<SDX9TraceEntry>& vEntries : executor.GetTrace())
    {
        std::vector<std::uint32_t> vSequence;
        for (const SDX9TraceEntry& entry : vEntries)
        {
            vSequence.push_back(entry.nInstruction);
        }
        sequences.insert(vSequence);
    }
    return bResult;
}

class DX9CorpusTest : public ::testing::TestWithParam<std::string>
{
};

TEST_P(DX9CorpusTest, RoundTripsByteForByteInTheDebuggersLineShape)
{
    const std::vector<std::uint32_t> vTokens = AssembleDX9OrFail(ReadDX9Corpus(GetParam()));
    SDX9Shader shader;
    CDX9Decoder decoder;
    ASSERT_TRUE(decoder.Decode(vTokens.data(), vTokens.size(), shader)) << decoder.GetError();
    EXPECT_EQ(vTokens.size(), shader.nTokens);
    std::vector<unsigned int> vInstructionLines;
    const std::string strText = CDX9Disassembler::Disassemble(shader, vInstructionLines);
    EXPECT_EQ(vTokens, AssembleDX9OrFail(strText)) << strText;

    // One line for the version and one for each instruction, comments taking none.
    const std::vector<std::string> vLines = Lines(strText);
    const std::size_t nHeader = CountHeaderLines(vLines);
    ASSERT_LT(nHeader, vLines.size()) << strText;
    EXPECT_EQ("    " + DX9::VersionName(shader.dwVersion), vLines[nHeader]) << strText;
    unsigned int nLine = static_cast<unsigned int>(nHeader) + 1; // from 1, at the version
    for (std::size_t n = 0; n < shader.vInstructions.size(); ++n)
    {
        const SDX9Instruction& inst = shader.vInstructions[n];
        if (!inst.IsComment())
        {
            ++nLine;
            EXPECT_EQ(nLine, vInstructionLines[n]);
            EXPECT_EQ(0u, vLines[nLine - 1].find("    " +
                                                 CDX9Disassembler::FormatInstruction(inst, shader)))
                << vLines[nLine - 1];
        }
    }
    EXPECT_EQ(nLine, vLines.size()) << strText;
}

TEST_P(DX9CorpusTest, DrawsUnlessItIsOfModelOne)
{
    std::set<std::vector<std::uint32_t>> sequences;
    std::string strError;
    if (GetParam() == "ps11.asm")
    {
        EXPECT_FALSE(DrawCorpus(GetParam(), sequences, strError));
        return;
    }
    EXPECT_TRUE(DrawCorpus(GetParam(), sequences, strError)) << strError;
    EXPECT_FALSE(sequences.empty());
    EXPECT_EQ(0u, sequences.count({})) << "every pixel runs something";
    // The flow shaders are there for pixels that part ways.
    if (GetParam() == "ifelse.asm" || GetParam() == "ifc.asm" || GetParam() == "loops.asm")
    {
        EXPECT_LE(2u, sequences.size());
    }
}

INSTANTIATE_TEST_SUITE_P(Corpus, DX9CorpusTest, ::testing::ValuesIn(GetDX9CorpusNames()),
                         [](const ::testing::TestParamInfo<std::string>& info)
                         { return info.param.substr(0, info.param.find('.')); });

TEST(DX9CorpusTest, CommentsAndPreshaderStayInTheHeader)
{
    const std::vector<std::uint32_t> vTokens = AssembleDX9OrFail(ReadDX9Corpus("comments.asm"));
    CDX9Disassembler disassembler;
    std::string strText;
    ASSERT_TRUE(disassembler.Disassemble(vTokens.data(), vTokens.size(), strText));
    const std::vector<std::string> vLines = Lines(strText);
    ASSERT_GE(vLines.size(), 14u) << strText;
    EXPECT_EQ("    preshader", vLines[4]) << strText;
    EXPECT_EQ(9u, CountHeaderLines(vLines)) << strText;
    EXPECT_EQ("    mov r0, v0 /**/ /* between */ /* two */", vLines[12]) << strText;
}
} // namespace

namespace
{
// Damaged shaders are refused or read, never a crash or a read out of bounds
// (the asan preset checks the latter).
TEST(DX9CorpusTest, DamagedTokensAreRefusedOrReadSafely)
{
    std::mt19937 random(21);
    for (const std::string& strName : GetDX9CorpusNames())
    {
        const std::vector<std::uint32_t> vTokens = AssembleDX9OrFail(ReadDX9Corpus(strName));
        for (unsigned int nRound = 0; nRound < 300; ++nRound)
        {
            std::vector<std::uint32_t> vDamaged = vTokens;
            const std::size_t nAt = random() % vDamaged.size();
            vDamaged[nAt] ^= 1u << (random() % 32);
            vDamaged.resize(vDamaged.size() - (nRound % 7 == 0 ? random() % vDamaged.size() : 0));
            CDX9Disassembler disassembler;
            std::string strText;
            if (disassembler.Disassemble(vDamaged.data(), vDamaged.size(), strText))
            {
                EXPECT_TRUE(disassembler.GetError().empty());
            }
            else
            {
                EXPECT_EQ(0u, disassembler.GetError().find("token ")) << disassembler.GetError();
            }
            std::vector<float> vTarget(2 * 2 * 4);
            std::array<SDX9Target, 4> targets;
            targets[0] = {DX9_TARGET_RGBA32F, vTarget.data()};
            CDX9Executor executor;
            if (!executor.Draw(vDamaged.data(), vDamaged.size(), 2, 2, SDX9Constants(), targets,
                               true))
            {
                EXPECT_FALSE(executor.GetError().empty());
            }
        }
    }
}
} // namespace
