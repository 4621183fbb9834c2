#include "CTpfAssembler.h"
#include "CTpfDecoder.h"
#include "CTpfDisassembler.h"
#include "TpfCorpus.h"

#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <set>
#include <sstream>

using namespace XAN_Platform;
using XAN_Test::LoadTpfCorpus;
using XAN_Test::TpfCorpusProgram;

namespace
{
std::string ReadData(const std::string& strName)
{
    std::ifstream file(std::string(XAN_TPF_TEST_DATA_DIR) + "/" + strName);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

std::vector<std::string> Lines(const std::string& strText)
{
    std::vector<std::string> vLines;
    std::stringstream stream(strText);
    for (std::string strLine; std::getline(stream, strLine);)
    {
        vLines.push_back(strLine);
    }
    return vLines;
}

class TpfCorpusTest : public ::testing::TestWithParam<TpfCorpusProgram>
{
};

// Assemble, disassemble, assemble: the same tokens, and every line that the corpus writes in
// the text forms comes back in them rather than as raw tokens.
TEST_P(TpfCorpusTest, RoundTripsByteForByte)
{
    const TpfCorpusProgram& program = GetParam();
    ASSERT_FALSE(program.vTokens.empty()) << program.strError;
    CTpfDisassembler disassembler;
    std::string strText;
    ASSERT_TRUE(disassembler.Disassemble(program.vTokens.data(), program.vTokens.size(), strText))
        << disassembler.GetError();
    CTpfAssembler assembler;
    std::vector<std::uint32_t> vBack;
    ASSERT_TRUE(assembler.Assemble(strText, vBack)) << assembler.GetError() << "\n" << strText;
    EXPECT_EQ(program.vTokens, vBack) << strText;
    EXPECT_EQ(program.strText.find(".raw") != std::string::npos,
              strText.find(".raw") != std::string::npos)
        << strText;
}

// The line shape that the library's line maps count: "//" header, the version line, one line
// per declaration and instruction, "{" continuation lines, "//" trailer.
TEST_P(TpfCorpusTest, DisassemblyHasOneLinePerInstruction)
{
    const TpfCorpusProgram& program = GetParam();
    ASSERT_FALSE(program.vTokens.empty()) << program.strError;
    TpfProgram decoded;
    CTpfDecoder decoder;
    ASSERT_TRUE(decoder.DecodeProgram(program.vTokens.data(), program.vTokens.size(), decoded));
    std::string strText;
    CTpfDisassembler disassembler;
    ASSERT_TRUE(disassembler.Disassemble(program.vTokens.data(), program.vTokens.size(), strText));
    const std::vector<std::string> vLines = Lines(strText);
    ASSERT_GE(vLines.size(), 3u);
    EXPECT_EQ(0u, vLines.front().rfind("//", 0));
    EXPECT_EQ(0u, vLines.back().rfind("//", 0));
    size_t nCode = 0;
    size_t nContinuations = 0;
    bool bVersionSeen = false;
    for (const std::string& strLine : vLines)
    {
        const std::string strStart = strLine.substr(
            strLine.find_first_not_of(' ') == std::string::npos ? strLine.size()
                                                                : strLine.find_first_not_of(' '));
        if (strStart.empty() || strStart[0] == '/')
        {
            EXPECT_TRUE(bVersionSeen || nCode == 0);
            continue;
        }
        if (strStart[0] == '{')
        {
            ++nContinuations;
            continue;
        }
        bVersionSeen = true;
        ++nCode;
    }
    EXPECT_EQ(decoded.vInstructions.size() + 1, nCode);
    size_t nExpectedContinuations = 0;
    for (const TpfInstruction& instruction : decoded.vInstructions)
    {
        if (instruction.nOpcode == TPF_OPCODE_CUSTOMDATA && instruction.vTokens.size() > 6)
        {
            nExpectedContinuations += (instruction.vTokens.size() - 2 + 3) / 4 - 1;
        }
    }
    EXPECT_EQ(nExpectedContinuations, nContinuations);
}

INSTANTIATE_TEST_SUITE_P(Corpus, TpfCorpusTest, ::testing::ValuesIn(LoadTpfCorpus()),
                         [](const ::testing::TestParamInfo<TpfCorpusProgram>& info)
                         { return XAN_Test::TpfCorpusTestName(info.param); });

// The corpus as a whole holds what the codec's tests rely on.
TEST(TpfCorpus, CoversTheFormsTheCodecTestsNeed)
{
    std::set<std::string> seen;
    std::set<std::string> stages;
    for (const TpfCorpusProgram& program : LoadTpfCorpus())
    {
        ASSERT_FALSE(program.vTokens.empty()) << program.strName << ": " << program.strError;
        stages.insert(program.strName.substr(0, 6));
        TpfProgram decoded;
        CTpfDecoder decoder;
        ASSERT_TRUE(decoder.DecodeProgram(program.vTokens.data(), program.vTokens.size(), decoded));
        for (const TpfInstruction& instruction : decoded.vInstructions)
        {
            const std::uint32_t nOp = instruction.nOpcode;
            const std::vector<const TpfOperand*> vOperands = instruction.GetOperands();
            if (nOp > 207)
            {
                seen.insert("opcode past 207");
            }
            if (nOp == 38 && vOperands.size() == 4 && vOperands[0]->nType == 13)
            {
                seen.insert("imul null");
            }
            if (instruction.nOpcodeTokens > 1)
            {
                seen.insert("extended opcode");
            }
            if (nOp == TPF_OPCODE_CUSTOMDATA)
            {
                seen.insert(instruction.nCustomDataClass == TPF_CUSTOMDATA_ICB ? "icb"
                                                                               : "customdata");
                if (instruction.vTokens.size() == 500)
                {
                    seen.insert("customdata of 500");
                }
            }
            for (const TpfOperand* pOperand : vOperands)
            {
                for (const TpfIndex& index : pOperand->vIndices)
                {
                    if (!index.vRelative.empty())
                    {
                        seen.insert("relative index");
                    }
                }
                seen.insert(pOperand->bExtended ? "operand modifier" : "plain operand");
            }
            seen.insert(nOp == 105 ? "indexable temp" : nOp == 159 || nOp == 160 ? "tgsm" : "");
            seen.insert(nOp >= 191 && nOp <= 202 ? "double" : "");
        }
    }
    for (const char* pForm : {"opcode past 207", "imul null", "extended opcode", "icb",
                              "customdata", "customdata of 500", "relative index",
                              "operand modifier", "indexable temp", "tgsm", "double"})
    {
        EXPECT_TRUE(seen.count(pForm)) << pForm;
    }
    EXPECT_EQ((std::set<std::string>{"cs_5_0", "ps_4_0", "ps_5_0", "vs_4_0", "vs_5_0"}), stages);
}

// The text of a program that a compiler made comes out as the compiler's tokens.
TEST(TpfAssembler, MatchesTheCompilersTokens)
{
    std::vector<std::uint32_t> vExpected;
    std::stringstream hex(ReadData("cs_5_0_store.hex"));
    for (std::string strWord; hex >> strWord;)
    {
        if (strWord[0] == '#')
        {
            std::getline(hex, strWord);
            continue;
        }
        vExpected.push_back(static_cast<std::uint32_t>(std::stoul(strWord, nullptr, 16)));
    }
    CTpfAssembler assembler;
    std::vector<std::uint32_t> vTokens;
    std::ifstream file(XAN_Test::TpfCorpusPath("cs_5_0_store.tpf"));
    std::stringstream text;
    text << file.rdbuf();
    ASSERT_TRUE(assembler.Assemble(text.str(), vTokens)) << assembler.GetError();
    EXPECT_EQ(vExpected, vTokens);
}

// Refused text names its line and the reason, and leaves the output alone.
TEST(TpfAssembler, ErrorsNameTheLine)
{
    std::stringstream cases(ReadData("errors.txt"));
    size_t nCases = 0;
    std::string strText;
    for (std::string strLine; std::getline(cases, strLine);)
    {
        if (strLine.rfind("text: ", 0) == 0)
        {
            strText.clear();
            for (size_t n = 6; n < strLine.size(); ++n)
            {
                const bool bBreak = strLine.compare(n, 2, "\\n") == 0;
                strText += bBreak ? '\n' : strLine[n];
                n += bBreak ? 1 : 0;
            }
        }
        else if (strLine.rfind("error: ", 0) == 0)
        {
            CTpfAssembler assembler;
            std::vector<std::uint32_t> vTokens = {7};
            EXPECT_FALSE(assembler.Assemble(strText, vTokens)) << strText;
            EXPECT_NE(std::string::npos, assembler.GetError().find(strLine.substr(7)))
                << assembler.GetError();
            EXPECT_EQ(std::vector<std::uint32_t>{7}, vTokens);
            ++nCases;
        }
    }
    EXPECT_EQ(12u, nCases);
}

// Tokens that no text form carries still come back exactly, as raw lines; streams that end
// inside an instruction are refused.
TEST(TpfDisassembler, KeepsWhatTheTextFormsCantCarry)
{
    struct Case
    {
        std::vector<std::uint32_t> vTokens;
        bool bDisassembles;
        bool bRaw;
    } cases[] = {
        // ret with control bits nobody names
        {{0x00040050, 3, 0x0100003e | (1u << 20)}, true, false},
        // mov r0.x, r1.x with an operand token past the known selection bits
        {{0x00040050, 7, 0x05000036, 0x00100012, 0, 0x00101f0a, 1}, true, true},
        // an index representation of 5
        {{0x00040050, 7, 0x05000036, 0x00100012, 0, 0x0150100a, 1}, true, true},
        // length 0
        {{0x00040050, 3, 0x0000003e}, false, false},
        // mov whose length runs past the program
        {{0x00040050, 4, 0x05000036, 0x00100012}, false, false},
        // customdata whose length runs past the program
        {{0x00040050, 4, 0x00000035, 9}, false, false},
        // the program's length past the tokens
        {{0x00040050, 9, 0x0100003e}, false, false},
    };
    for (const Case& c : cases)
    {
        CTpfDisassembler disassembler;
        std::string strText;
        ASSERT_EQ(c.bDisassembles,
                  disassembler.Disassemble(c.vTokens.data(), c.vTokens.size(), strText))
            << strText;
        if (!c.bDisassembles)
        {
            continue;
        }
        EXPECT_EQ(c.bRaw, strText.find(".raw") != std::string::npos) << strText;
        CTpfAssembler assembler;
        std::vector<std::uint32_t> vBack;
        ASSERT_TRUE(assembler.Assemble(strText, vBack)) << assembler.GetError();
        EXPECT_EQ(c.vTokens, vBack) << strText;
    }
}
} // namespace
