#include "CILDisassembler.h"
#include "ILTestTokens.h"
#include "ShaderUtils/IL/ILFormat.h"

#include <gtest/gtest.h>

#include <regex>

using namespace ShaderUtils;
using namespace XAN_Platform;
using namespace XAN_Test;

namespace
{
// The text of a program made of the header and these tokens.
std::string Print(std::vector<unsigned int> vTokens)
{
    vTokens.insert(vTokens.begin(), {0, HEADER_CS_2_0});
    CILDisassembler disassembler;
    std::string strText;
    EXPECT_TRUE(disassembler.Disassemble(vTokens.data(), vTokens.size(), strText))
        << disassembler.GetError().ToString();
    return strText.substr(strText.find('\n') + 1);
}
} // namespace

TEST(CILDisassemblerTest, CallsAndMacrosPrintAsTheLibraryFindsThem)
{
    EXPECT_EQ("call 1024\n", Print({IL_OP_CALL, 1024}));
    EXPECT_EQ("call 4294967295\n", Print({IL_OP_CALL, 0xFFFFFFFF}));
    EXPECT_EQ("func 1024\n", Print({IL_OP_FUNC, 1024}));
    // No "call <digits>" anywhere but in call itself.
    const std::string strMcall = Print({IL_OP_MCALL | (1024u << 16), 0x00010001, R0, R1});
    EXPECT_EQ("mcall(1024) (r0), (r1)\n", strMcall);
    EXPECT_FALSE(std::regex_search(strMcall, std::regex("call [0-9]")));
    EXPECT_EQ("mdef(7)_out(1)_in(3)\n", Print({IL_OP_MDEF | (7u << 16), 0x00010003}));
}

TEST(CILDisassemblerTest, OneElementPerLine)
{
    const std::vector<unsigned int> vTokens = {IL_OP_MDEF | (1u << 16),
                                               0,
                                               IL_OP_COMMENT,
                                               1,
                                               0x00006D6D,
                                               IL_OP_MEND,
                                               0,
                                               HEADER_CS_2_0,
                                               IL_OP_COMMENT,
                                               1,
                                               0x0000623B,
                                               IL_OP_END};
    CILDisassembler disassembler;
    std::string strText;
    ASSERT_TRUE(disassembler.Disassemble(vTokens.data(), vTokens.size(), strText));
    // A ';' inside comment text would start another comment; it prints blank.
    EXPECT_EQ("mdef(1)_out(0)_in(0)\n;mm\nmend\nil_cs_2_0\n; b\nend\n", strText);
}

TEST(CILDisassemblerTest, CommentTextStopsAtNulAndLosesLineBreaks)
{
    EXPECT_EQ(";a b\n", Print({IL_OP_COMMENT, 2, 0x620A61, 0x63006363}));
    EXPECT_EQ(";\n", Print({IL_OP_COMMENT, 0}));
}

TEST(CILDisassemblerTest, OperandForms)
{
    const unsigned int nX1 = Operand(IL_REGTYPE_INDEXABLE_TEMP, 1);
    const unsigned int nCb = Operand(IL_REGTYPE_CONST_BUFF, 2);
    EXPECT_EQ("mov r1.xz, -r0.x0y1_abs\n",
              Print({IL_OP_MOV, R1 | IL_REG_MODIFIER_PRESENT, 0x11, R0 | IL_REG_MODIFIER_PRESENT,
                     0x5140 | 0x8888 | IL_SRC_ABS}));
    EXPECT_EQ("mov r1.x_3_, r0.xyzw_neg(y)_mod(0x1000000)\n",
              Print({IL_OP_MOV, R1 | IL_REG_MODIFIER_PRESENT, 0x31, R0 | IL_REG_MODIFIER_PRESENT,
                     0x3290 | 0x1000000}));
    EXPECT_EQ("mov r1.____, x1[3]\n", Print({IL_OP_MOV, R1 | IL_REG_MODIFIER_PRESENT, 0,
                                             nX1 | IL_REG_IMMEDIATE_PRESENT, 3}));
    EXPECT_EQ("mov r1, x1[dim(3)]\n", Print({IL_OP_MOV, R1, nX1 | IL_REG_DIMENSION, 3}));
    EXPECT_EQ("mov r1, cb2[4]\n", Print({IL_OP_MOV, R1, nCb | IL_REG_DIMENSION, 4}));
    EXPECT_EQ("mov r1, cb2[imm(4)]_ext(0x9)\n",
              Print({IL_OP_MOV, R1, nCb | IL_REG_IMMEDIATE_PRESENT | IL_REG_EXTENDED, 4, 9}));
    EXPECT_EQ("dcl_indexed_temp_array x1[64]\n",
              Print({IL_OP_DCL_INDEXED_TEMP_ARRAY, nX1 | IL_REG_DIMENSION, 64}));
    EXPECT_EQ(
        "mov r-1, x1[-r0.yyyy + 2]\n",
        Print({IL_OP_MOV, Operand(IL_REGTYPE_TEMP, 0xFFFF, IL_REG_SIGN),
               nX1 | (IL_ADDR_REG_RELATIVE << IL_REG_RELATIVE_SHIFT) | IL_REG_IMMEDIATE_PRESENT,
               R0 | IL_REG_MODIFIER_PRESENT, 0x9999, 2}));
    EXPECT_EQ("mov r1, cb2[rel(5)]\n",
              Print({IL_OP_MOV, R1, nCb | (IL_ADDR_RELATIVE << IL_REG_RELATIVE_SHIFT), 5}));
    EXPECT_EQ("mov v_in2, o_out3\n",
              Print({IL_OP_MOV, Operand(IL_REGTYPE_INPUT, 2), Operand(IL_REGTYPE_OUTPUT, 3)}));
}

TEST(CILDisassemblerTest, RefusesTokensWithoutTextAndWritesNothing)
{
    const unsigned int nTemp = R0;
    struct Case
    {
        std::vector<unsigned int> vTokens;
        std::size_t nToken;
        const char* pMessage;
    };
    const Case cases[] = {
        {{}, 0, "no header"},
        {{0}, 0, "inside the header"},
        {{IL_OP_MDEF, 0}, 2, "inside a macro"},
        {{1, HEADER_CS_2_0}, 0, "language token 1"},
        {{0, 0x00030000}, 0, "version token"},
        {{0, 0x00060200}, 0, "version token"},
        {{0, 0x01030200}, 0, "version token"},
        {{0, HEADER_CS_2_0, 21}, 2, "unknown opcode, opcode 21"},
        {{0, HEADER_CS_2_0, IL_OP_UNKNOWN}, 2, "operand description"},
        {{0, HEADER_CS_2_0, IL_OP_MOV, nTemp}, 2, "end inside the instruction"},
        // A comment's text is counted: no count, or more text than tokens, prints nothing.
        {{0, HEADER_CS_2_0, IL_OP_COMMENT}, 2, "end inside the instruction"},
        {{0, HEADER_CS_2_0, IL_OP_COMMENT, 2, 0x61}, 2, "end inside the instruction"},
        {{0, HEADER_CS_2_0, IL_OP_COMMENT, 0xFFFFFFFF, 0x61}, 2, "longer than"},
        {{0, HEADER_CS_2_0, IL_OP_END, IL_OP_MOV, nTemp | (1u << 28), nTemp}, 3, "reserved bits"},
        {{0, HEADER_CS_2_0, IL_OP_MOV, nTemp, Operand(29, 0)}, 2, "register type 29"},
        {{0, HEADER_CS_2_0, IL_OP_MOV, nTemp, Operand(IL_REGTYPE_LAST, 0)}, 2, "register type 63"},
        {{0, HEADER_CS_2_0, IL_OP_MOV, nTemp, Operand(IL_REGTYPE_LITERAL, 0, IL_REG_SIGN)},
         2,
         "sign"},
        {{0, HEADER_CS_2_0, IL_OP_MOV, nTemp, nTemp | (3u << IL_REG_RELATIVE_SHIFT)},
         2,
         "addressing"},
        {{0, HEADER_CS_2_0, IL_OP_MOV, nTemp,
          nTemp | (1u << IL_REG_RELATIVE_SHIFT) | IL_REG_DIMENSION, 0},
         2,
         "addressing"},
        {{0, HEADER_CS_2_0, IL_OP_MOV, nTemp, nTemp | IL_REG_MODIFIER_PRESENT, 0x6},
         2,
         "swizzle selector 6"},
        {{0, HEADER_CS_2_0, IL_OP_MOV, nTemp, nTemp | (2u << IL_REG_RELATIVE_SHIFT),
          nTemp | IL_REG_IMMEDIATE_PRESENT},
         2,
         "index register"},
        {{0, HEADER_CS_2_0, IL_OP_MCALL, 0x00020000}, 2, "more than one output"},
    };
    for (const Case& c : cases)
    {
        CILDisassembler disassembler;
        std::string strText = "untouched";
        EXPECT_FALSE(disassembler.Disassemble(c.vTokens.data(), c.vTokens.size(), strText));
        EXPECT_EQ(c.nToken, disassembler.GetError().nToken) << disassembler.GetError().ToString();
        EXPECT_NE(std::string::npos, disassembler.GetError().strMessage.find(c.pMessage))
            << disassembler.GetError().ToString();
        EXPECT_EQ("untouched", strText);
    }
    CILDisassembler disassembler;
    std::string strText;
    EXPECT_FALSE(disassembler.Disassemble(nullptr, 5, strText));
    const std::vector<unsigned int> vUnknown = {0, HEADER_CS_2_0, 21};
    ASSERT_FALSE(disassembler.Disassemble(vUnknown.data(), vUnknown.size(), strText));
    EXPECT_EQ("token 2: unknown opcode, opcode 21", disassembler.GetError().ToString());
}
