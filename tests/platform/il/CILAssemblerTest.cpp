#include "CILAssembler.h"
#include "ILCorpus.h"
#include "ILTestTokens.h"
#include "ShaderUtils/IL/ILFormat.h"

#include "support/TestSupport.h"

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/replace.hpp>
#include <boost/algorithm/string/split.hpp>
#include <gtest/gtest.h>

using namespace ShaderUtils;
using namespace XAN_Platform;
using namespace XAN_Test;

namespace
{
const unsigned int MOD = IL_REG_MODIFIER_PRESENT;

// The tokens of one statement in a program, without the header.
std::vector<unsigned int> Statement(const std::string& strStatement)
{
    SCOPED_TRACE(strStatement.substr(0, 80));
    const std::vector<unsigned int> vTokens = AssembleOrFail("il_cs_2_0\n" + strStatement);
    if (vTokens.size() < 2)
    {
        return {};
    }
    EXPECT_EQ(0u, vTokens[0]);
    EXPECT_EQ(HEADER_CS_2_0, vTokens[1]);
    return std::vector<unsigned int>(vTokens.begin() + 2, vTokens.end());
}

std::vector<unsigned int> Comment(const std::string& strText)
{
    std::vector<unsigned int> vTokens = {IL_OP_COMMENT,
                                         static_cast<unsigned int>((strText.size() + 4) / 4)};
    vTokens.resize(2 + vTokens[1], 0);
    for (std::size_t i = 0; i < strText.size(); ++i)
    {
        vTokens[2 + i / 4] |= static_cast<unsigned int>(static_cast<unsigned char>(strText[i]))
                              << (8 * (i % 4));
    }
    return vTokens;
}

// Each statement of a table assembles to its tokens.
void ExpectTokens(const std::vector<std::pair<const char*, std::vector<unsigned int>>>& vRows)
{
    for (const auto& row : vRows)
    {
        EXPECT_EQ(row.second, Statement(row.first)) << row.first;
    }
}
} // namespace

TEST(CILAssemblerTest, HeaderMacrosAndElementLines)
{
    CILAssembler assembler;
    std::vector<unsigned int> vTokens;
    std::vector<unsigned int> vLines;
    ASSERT_TRUE(assembler.Assemble("mdef(3)_out(1)_in(2)\n;name\nmend\n\nil_ps_1_4 ; after\nend\n",
                                   vTokens, &vLines));
    const unsigned int nMdef = IL_OP_MDEF | (3u << IL_CONTROL_SHIFT);
    const std::vector<unsigned int> vName = Comment("name");
    std::vector<unsigned int> vExpected = {nMdef, 0x00010002};
    vExpected.insert(vExpected.end(), vName.begin(), vName.end());
    vExpected.insert(vExpected.end(), {IL_OP_MEND, 0, 0x00010104});
    const std::vector<unsigned int> vAfter = Comment(" after");
    vExpected.insert(vExpected.end(), vAfter.begin(), vAfter.end());
    vExpected.push_back(IL_OP_END);
    EXPECT_EQ(vExpected, vTokens);
    EXPECT_EQ((std::vector<unsigned int>{1, 2, 3, 5, 5, 6}), vLines);

    // Text ends at its first NUL.
    const std::string strWithNul("il_cs_2_0\nend\0garbage", 21);
    ASSERT_TRUE(assembler.Assemble(strWithNul, vTokens));
    EXPECT_EQ((std::vector<unsigned int>{0, HEADER_CS_2_0, IL_OP_END}), vTokens);
}

TEST(CILAssemblerTest, OperandEncodings)
{
    const unsigned int nX1 = Operand(IL_REGTYPE_INDEXABLE_TEMP, 1);
    const unsigned int nCb1 = Operand(IL_REGTYPE_CONST_BUFF, 1);
    const unsigned int nRegRelative = IL_ADDR_REG_RELATIVE << IL_REG_RELATIVE_SHIFT;
    ExpectTokens({
        {"mov r1, r2", {IL_OP_MOV, R1, R2}},
        {"mov r1.x, r2", {IL_OP_MOV, R1 | MOD, 0x01, R2}},
        {"mov r1.x_z_, r2", {IL_OP_MOV, R1 | MOD, 0x11, R2}},
        {"mov r1.x_23, r2", {IL_OP_MOV, R1 | MOD, 0xE1, R2}},
        {"mov r1, r2.x0y1", {IL_OP_MOV, R1, R2 | MOD, 0x5140}},
        {"mov r1, r2.x", {IL_OP_MOV, R1, R2 | MOD, 0x0000}},
        {"mov r1, r2.xy", {IL_OP_MOV, R1, R2 | MOD, 0x1110}},
        {"mov r1, -r2", {IL_OP_MOV, R1, R2 | MOD, 0xBA98}},
        {"mov r1, r2_neg(xz)_abs", {IL_OP_MOV, R1, R2 | MOD, 0x3A18 | IL_SRC_ABS}},
        // A lone index is the immediate of an indexed temp in an instruction and the dimension
        // token everywhere else.
        {"mov r1, x1[3]", {IL_OP_MOV, R1, nX1 | IL_REG_IMMEDIATE_PRESENT, 3}},
        {"mov r1, cb1[4]", {IL_OP_MOV, R1, nCb1 | IL_REG_DIMENSION, 4}},
        {"dcl_indexed_temp_array x1[64]",
         {IL_OP_DCL_INDEXED_TEMP_ARRAY, nX1 | IL_REG_DIMENSION, 64}},
        {"mov r1, cb1[imm(4)]", {IL_OP_MOV, R1, nCb1 | IL_REG_IMMEDIATE_PRESENT, 4}},
        {"mov r1, x1[imm(6) + dim(5)]_ext(7)",
         {IL_OP_MOV, R1, nX1 | IL_REG_DIMENSION | IL_REG_IMMEDIATE_PRESENT | IL_REG_EXTENDED, 5, 6,
          7}},
        // Register-relative: the index register with its modifier, then the immediate;
        // relative: its token, then the immediate.
        {"mov r1, x1[r0.y + 3]",
         {IL_OP_MOV, R1, nX1 | nRegRelative | IL_REG_IMMEDIATE_PRESENT, R0 | MOD, 0x1111, 3}},
        {"mov x1[r0], r2", {IL_OP_MOV, nX1 | nRegRelative, R0, R2}},
        {"mov r1, cb1[2 + rel(9)]",
         {IL_OP_MOV, R1, nCb1 | (1u << IL_REG_RELATIVE_SHIFT) | IL_REG_IMMEDIATE_PRESENT, 9, 2}},
        // Temp numbers are 17 bits, signed.
        {"mov r-1, r-65536",
         {IL_OP_MOV, Operand(IL_REGTYPE_TEMP, 0xFFFF, IL_REG_SIGN),
          Operand(IL_REGTYPE_TEMP, 0, IL_REG_SIGN)}},
        {"mov r65535, r-1",
         {IL_OP_MOV, Operand(IL_REGTYPE_TEMP, 0xFFFF),
          Operand(IL_REGTYPE_TEMP, 0xFFFF, IL_REG_SIGN)}},
    });
    // Bare compute input names are number 0.
    EXPECT_EQ(Statement("mov r0, vAbsTid0"), Statement("mov r0, vAbsTid"));
}

TEST(CILAssemblerTest, LengthsOfCountedInstructions)
{
    for (std::size_t nLength : {0u, 1u, 2u, 3u, 4u, 7u, 8u})
    {
        const std::string strText(nLength, 'a');
        const std::vector<unsigned int> vTokens = Statement(";" + strText);
        EXPECT_EQ(Comment(strText), vTokens);
        EXPECT_EQ(2 + (nLength + 4) / 4, vTokens.size()) << nLength;
    }
    // Blanks and tabs after a ';' stay, trailing ones go, and so does a CR.
    EXPECT_EQ(Comment(" \ta b"), Statement("; \ta b \t\r"));
    EXPECT_EQ(Comment("a b"), Statement(";a\rb"));

    // 16,000 bytes fit one comment element; more become several, each
    // ending in a non-blank so that reading it back keeps it.
    EXPECT_EQ(Comment(std::string(16000, 'a')), Statement(";" + std::string(16000, 'a')));
    std::string strLong = std::string(15998, 'a') + "    " + std::string(10, 'b');
    std::vector<unsigned int> vSplit = Comment(std::string(15998, 'a'));
    const std::vector<unsigned int> vRest = Comment("    " + std::string(10, 'b'));
    vSplit.insert(vSplit.end(), vRest.begin(), vRest.end());
    EXPECT_EQ(vSplit, Statement(";" + strLong));

    const unsigned int nCb0 = Operand(IL_REGTYPE_CONST_BUFF, 0, IL_REG_DIMENSION);
    const unsigned int nMcall = IL_OP_MCALL | (4u << IL_CONTROL_SHIFT);
    ExpectTokens({
        {"dcl_literal l1, 1.0, -1, -1.0f, 0x10",
         {IL_OP_DCL_LITERAL, Operand(IL_REGTYPE_LITERAL, 1), 0x3F800000, 0xFFFFFFFF, 0xBF800000,
          16}},
        {"dcl_cb cb0[16]", {IL_OP_DCL_CB, nCb0, 16}},
        {"dcl_cb_data 7, 8", {IL_OP_DCL_CB | IL_PRI_MODIFIER_PRESENT, 2, 7, 8}},
        {"dcl_cb_data_sec(5)",
         {IL_OP_DCL_CB | IL_PRI_MODIFIER_PRESENT | IL_SEC_MODIFIER_PRESENT, 0, 5}},
        {"mcall(4) (r0), (r1, r2)", {nMcall, 0x00010002, R0, R1, R2}},
        {"mcall(4) (), (r1)", {nMcall, 0x00000001, R1}},
        {"mcall(4) (r0), ()", {nMcall, 0x00010000, R0}},
        {"dcl_num_thread_per_group 64, 2, 1",
         {IL_OP_DCL_NUM_THREAD_PER_GROUP | (3u << IL_CONTROL_SHIFT), 64, 2, 1}},
        {"call 1024", {IL_OP_CALL, 1024}},
        {"func 4294967295", {IL_OP_FUNC, 0xFFFFFFFF}},
        {"dcl_wavesize 64", {IL_OP_DCL_WAVESIZE | (64u << IL_CONTROL_SHIFT)}},
    });
}

TEST(CILAssemblerTest, ControlSuffixes)
{
    ExpectTokens({
        {"uav_raw_store_id(11)_a64 mem0.x, r1, r2",
         {IL_OP_UAV_RAW_STORE | (11u << 16) | (1u << 29), Operand(IL_REGTYPE_MEM, 0, MOD), 0x01, R1,
          R2}},
        {"ifc_relop(ge) r0, r1", {IL_OP_IFC | (3u << 16), R0, R1}},
        {"fence_memory_threads_lds", {IL_OP_FENCE | (0x7u << 16)}},
        {"load_ext_resource(3) r0, r1", {0x10000086u | (3u << 16), R0, R1}},
        {"dcl_typeless_uav_length(64)_type(3)_id(8)_stride(4)",
         {IL_OP_DCL_TYPELESS_UAV | (8u << 16) | (3u << 26), 4, 64}},
        {"mov_pri(0x10)_control(5) r0, r1",
         {IL_OP_MOV | IL_PRI_MODIFIER_PRESENT | (5u << 16), 0x10, R0, R1}},
        // Bits 30 and 31 of uav_raw_load aren't modifier flags.
        {"uav_raw_load_control(0x8000) r0, r1", {IL_OP_UAV_RAW_LOAD | 0x80000000u, R0, R1}},
    });
    EXPECT_EQ(Statement("and r0, r1, r2"), Statement("iand r0, r1, r2"));
}

TEST(CILAssemblerTest, BadTextNamesLineColumnAndWordAndWritesNothing)
{
    // Each row: the text (with "\\n" for a line end), the line, column and word the error names,
    // and a part of its message, separated by tabs.
    const std::vector<std::string> vRows = ReadLines(XAN_IL_TEST_DATA_DIR "/bad_text.tsv");
    ASSERT_EQ(35u, vRows.size());
    for (const std::string& strRow : vRows)
    {
        std::vector<std::string> vFields;
        boost::split(vFields, strRow, boost::is_any_of("\t"));
        ASSERT_EQ(5u, vFields.size()) << strRow;
        const std::string strText = boost::replace_all_copy(vFields[0], "\\n", "\n");
        CILAssembler assembler;
        std::vector<unsigned int> vTokens = {42};
        std::vector<unsigned int> vLines = {7};
        EXPECT_FALSE(assembler.Assemble(strText, vTokens, &vLines)) << strRow;
        const ILAsmError& error = assembler.GetError();
        EXPECT_EQ(vFields[1], std::to_string(error.nLine)) << strRow;
        EXPECT_EQ(vFields[2], std::to_string(error.nColumn)) << strRow;
        EXPECT_EQ(vFields[3], error.strWord) << strRow;
        EXPECT_NE(std::string::npos, error.strMessage.find(vFields[4]))
            << strRow << ": " << error.strMessage;
        EXPECT_EQ(std::vector<unsigned int>{42}, vTokens) << strRow;
        EXPECT_EQ(std::vector<unsigned int>{7}, vLines) << strRow;
    }
    CILAssembler assembler;
    std::vector<unsigned int> vTokens;
    ASSERT_FALSE(assembler.Assemble("il_cs_2_0\nmov r0, q1", vTokens));
    EXPECT_EQ("line 2, column 9: unknown register 'q1'", assembler.GetError().ToString());
    // A binary given as text: its bytes are shown, not sent to the terminal.
    ASSERT_FALSE(assembler.Assemble(std::string("\x7f"
                                                "ELF\x02\x01\\",
                                                8),
                                    vTokens));
    EXPECT_EQ("line 1, column 1: unknown opcode '\\x7fELF\\x02\\x01\\x5c'",
              assembler.GetError().ToString());
}

TEST(CILAssemblerTest, InstructionsPastTheDecoderLimitAreRefused)
{
    std::string strInputs = "r0";
    for (unsigned int i = 1; i < IL_MAX_INSTRUCTION_TOKENS - 2; ++i)
    {
        strInputs += ", r0";
    }
    // mcall: opcode, instMod, then one token per input.
    EXPECT_EQ(IL_MAX_INSTRUCTION_TOKENS, Statement("mcall(1) (), (" + strInputs + ")").size());
    CILAssembler assembler;
    std::vector<unsigned int> vTokens;
    EXPECT_FALSE(assembler.Assemble("il_cs_2_0\nmcall(1) (), (" + strInputs + ", r0)", vTokens));
    EXPECT_NE(std::string::npos, assembler.GetError().strMessage.find("longer than 4100"));
}
