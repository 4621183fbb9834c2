#include "CDX9Assembler.h"
#include "CDX9Disassembler.h"
#include "DX9Corpus.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

using namespace XAN_Platform;
using namespace XAN_Test;

namespace
{
std::vector<std::uint32_t> Words(const std::string& strText)
{
    const std::vector<std::uint64_t> vNumbers = ParseNumbers(strText);
    return std::vector<std::uint32_t>(vNumbers.begin(), vNumbers.end());
}

TEST(CDX9CodecTest, LinesMakeTheirTokensAndComeBack)
{
    for (const std::vector<std::string>& vRow : ReadDX9Table("tokens.txt"))
    {
        ASSERT_EQ(vRow.size(), 3u);
        SCOPED_TRACE(vRow[1]);
        std::vector<std::uint32_t> vTokens = AssembleDX9OrFail(vRow[0] + "\n" + vRow[1] + "\n");
        ASSERT_GE(vTokens.size(), 2u);
        EXPECT_EQ(0x0000FFFFu, vTokens.back());
        const std::vector<std::uint32_t> vBody(vTokens.begin() + 1, vTokens.end() - 1);
        EXPECT_EQ(Words(vRow[2]), vBody);
        CDX9Disassembler disassembler;
        std::string strDisassembly;
        ASSERT_TRUE(disassembler.Disassemble(vTokens.data(), vTokens.size(), strDisassembly))
            << disassembler.GetError();
        EXPECT_EQ(vTokens, AssembleDX9OrFail(strDisassembly)) << strDisassembly;
    }
}

TEST(CDX9CodecTest, BadTextNamesItsLine)
{
    for (const std::vector<std::string>& vRow : ReadDX9Table("text_errors.txt"))
    {
        ASSERT_EQ(vRow.size(), 2u);
        CDX9Assembler assembler;
        std::vector<std::uint32_t> vTokens{42};
        EXPECT_FALSE(assembler.Assemble(vRow[0], vTokens)) << vRow[0];
        EXPECT_EQ(vRow[1], assembler.GetError()) << vRow[0];
        EXPECT_EQ(std::vector<std::uint32_t>{42}, vTokens) << "the output is left alone on failure";
    }
}

TEST(CDX9CodecTest, BadTokensAreRefusedWithTheirPlace)
{
    for (const std::vector<std::string>& vRow : ReadDX9Table("token_errors.txt"))
    {
        ASSERT_EQ(vRow.size(), 2u);
        const std::vector<std::uint32_t> vTokens = Words(vRow[0]);
        CDX9Disassembler disassembler;
        std::string strText;
        EXPECT_EQ(vRow[1].empty(),
                  disassembler.Disassemble(vTokens.data(), vTokens.size(), strText))
            << disassembler.GetError();
        EXPECT_EQ(vRow[1], disassembler.GetError());
    }
}
} // namespace
