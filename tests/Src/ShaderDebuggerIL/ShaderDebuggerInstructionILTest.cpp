#include "ShaderDebuggerIL/ShaderDebuggerInstructionIL.h"

#include "Src/ShaderDebuggerTestDoubles.h"

#include "ShaderUtils/IL/ILFormat.h"
#include "ShaderUtils/IL/ILInstructionLayout.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <vector>

using namespace XAN_ShaderDebugger;
using namespace ShaderUtils;

namespace
{
const unsigned int MOD = IL_REG_MODIFIER_PRESENT;
const unsigned int RELATIVE = IL_ADDR_RELATIVE << IL_REG_RELATIVE_SHIFT;
const unsigned int REG_RELATIVE = IL_ADDR_REG_RELATIVE << IL_REG_RELATIVE_SHIFT;
const unsigned int DIM = IL_REG_DIMENSION;
const unsigned int IMM = IL_REG_IMMEDIATE_PRESENT;
const unsigned int EXT = IL_REG_EXTENDED;
const unsigned int PRI = IL_PRI_MODIFIER_PRESENT;
const unsigned int SEC = IL_SEC_MODIFIER_PRESENT;

// An operand token of an IL register type, number and flags.
unsigned int Operand(unsigned int nType, int nNumber, unsigned int nFlags = 0)
{
    return SetILRegNumber(nFlags | (nType << IL_REG_TYPE_SHIFT), nNumber);
}

// A source modifier from four swizzles, x first.
unsigned int Swizzle(unsigned int x, unsigned int y, unsigned int z, unsigned int w)
{
    return x | (y << 4) | (z << 8) | (w << 12);
}

Register Reg(RegisterType type, int number, unsigned short mask, unsigned int index = 0,
             const Register* pIndexRegister = NULL)
{
    return Register(RegisterID(type, number, index, pIndexRegister), mask);
}

class InstructionILTest : public ::testing::Test
{
protected:
    InstructionILTest() : m_Instruction(m_Host.AttachDebugger()) {}

    // Decodes the first instruction of the tokens; the stream stays for further decodes.
    bool Decode(const std::vector<unsigned int>& vTokens)
    {
        m_vTokens = vTokens;
        m_pStream.reset(
            new CInputTokenStream<unsigned int>(NULL, m_vTokens.data(), m_vTokens.size()));
        return m_Instruction.ReadInstruction(*m_pStream);
    }

    std::vector<unsigned int> Tokens(const CShaderDebuggerInstructionIL& instruction) const
    {
        std::vector<unsigned int> vTokens;
        for (unsigned int n = 0; n < instruction.GetLength(); ++n)
        {
            vTokens.push_back(instruction.GetToken(n));
        }
        return vTokens;
    }

    XAN_Test::CRecordingHost m_Host;
    CShaderDebuggerInstructionIL m_Instruction;
    std::vector<unsigned int> m_vTokens;
    std::unique_ptr<CInputTokenStream<unsigned int>> m_pStream;
};
} // namespace

TEST_F(InstructionILTest, ModifiersSwizzlesAndNegation)
{
    // mov r1.xy, -r2.yyyy
    ASSERT_TRUE(Decode({IL_OP_MOV, Operand(4, 1, MOD), 0x05, Operand(4, 2, MOD),
                        Swizzle(1, 1, 1, 1) | IL_SRC_NEGATE_ALL}));
    EXPECT_EQ(static_cast<unsigned int>(IL_OP_MOV), m_Instruction.GetOpCode());
    EXPECT_EQ("mov", m_Instruction.GetOpCodeName());
    EXPECT_EQ(5u, m_Instruction.GetLength());
    EXPECT_EQ(1u, m_Instruction.GetSrcRegCount());
    EXPECT_EQ(3u, m_Instruction.SrcRegTokenOffset(0));
    EXPECT_TRUE(m_Instruction.HasDestReg());
    EXPECT_EQ(4u, m_Instruction.GetDestRegType());
    EXPECT_EQ(Reg(RT_Temp, 1, COMP_xy), m_Instruction.GetDestRegister());
    // A negated source reads no plain component.
    EXPECT_EQ(Reg(RT_Temp, 2, 0), m_Instruction.GetSrcRegister(0));

    // add r0, r2.yyyy, l3 : without a modifier all components are read.
    ASSERT_TRUE(Decode(
        {IL_OP_ADD, Operand(4, 0), Operand(4, 2, MOD), Swizzle(1, 1, 1, 1), Operand(32, 3)}));
    EXPECT_EQ(Reg(RT_Temp, 0, COMP_All), m_Instruction.GetDestRegister());
    EXPECT_EQ(Reg(RT_Temp, 2, COMP_y), m_Instruction.GetSrcRegister(0));
    EXPECT_EQ(Reg(RT_LITERAL, 3, COMP_All), m_Instruction.GetSrcRegister(1));
    EXPECT_TRUE(m_Instruction.WritesRegister(RegisterID(RT_Temp, 0, 0, NULL)));
    EXPECT_FALSE(m_Instruction.WritesRegister(RegisterID(RT_Temp, 2, 0, NULL)));
    EXPECT_TRUE(m_Instruction.ReadsRegister(RegisterID(RT_LITERAL, 3, 0, NULL)));
    EXPECT_FALSE(m_Instruction.ReadsRegister(RegisterID(RT_Temp, 0, 0, NULL)));
    EXPECT_TRUE(m_Host.m_vLines.empty());
}

TEST_F(InstructionILTest, OperandFormsAndTheirTokenCounts)
{
    // An absolute source with dimension, immediate and extension has four tokens.
    ASSERT_TRUE(
        Decode({IL_OP_MOV, Operand(4, 0), Operand(31, 1, DIM | IMM | EXT), 7, 8, 9, IL_OP_RET}));
    EXPECT_EQ(6u, m_Instruction.GetLength());
    EXPECT_EQ(Reg(RT_CONST_BUFF, 1, COMP_All), m_Instruction.GetSrcRegister(0));

    // A relative source has one index token.
    ASSERT_TRUE(Decode({IL_OP_MOV, Operand(4, 0), Operand(1, 1, RELATIVE | MOD), 0, 5}));
    EXPECT_EQ(5u, m_Instruction.GetLength());

    // A register-relative source with a modifier on its index register: the operand, the
    // index, the index's modifier and the immediate.
    ASSERT_TRUE(Decode({IL_OP_MOV, Operand(4, 0), Operand(30, 1, REG_RELATIVE | IMM),
                        Operand(4, 2, MOD), Swizzle(1, 1, 1, 1), 5, IL_OP_RET}));
    EXPECT_EQ(6u, m_Instruction.GetLength());
    EXPECT_EQ(2u, m_Instruction.SrcRegTokenOffset(0));
    // Sources don't carry their addressing.
    EXPECT_EQ(Reg(RT_IndexableTemp, 1, COMP_All), m_Instruction.GetSrcRegister(0));

    // Relative address 3 adds nothing.
    ASSERT_TRUE(Decode({IL_OP_MOV, Operand(4, 0), Operand(4, 1, 3u << IL_REG_RELATIVE_SHIFT)}));
    EXPECT_EQ(3u, m_Instruction.GetLength());
}

TEST_F(InstructionILTest, RegisterRelativeDestinations)
{
    // mov x1[r2.y + 5], r3
    ASSERT_TRUE(Decode({IL_OP_MOV, Operand(30, 1, REG_RELATIVE | IMM), Operand(4, 2, MOD),
                        Swizzle(1, 1, 1, 1), 5, Operand(4, 3)}));
    EXPECT_EQ(6u, m_Instruction.GetLength());
    EXPECT_EQ(5u, m_Instruction.SrcRegTokenOffset(0));
    const Register index = Reg(RT_Temp, 2, COMP_y);
    const Register dest = m_Instruction.GetDestRegister();
    EXPECT_EQ(Reg(RT_IndexableTemp, 1, COMP_All, 5, &index), dest);
    ASSERT_NE(nullptr, dest.reg.pIndexRegister);
    EXPECT_EQ(index, *dest.reg.pIndexRegister);

    // An output through a register has no number of its own.
    ASSERT_TRUE(Decode({IL_OP_MOV, Operand(34, 7, REG_RELATIVE), Operand(4, 0, MOD),
                        Swizzle(0, 0, 0, 0), Operand(4, 3)}));
    EXPECT_EQ(-1, m_Instruction.GetDestRegister().reg.number);
    EXPECT_EQ(RT_Output, m_Instruction.GetDestRegister().reg.type);

    // The index register must have a modifier, be absolute and have no immediate.
    Register reg;
    ASSERT_TRUE(Decode({IL_OP_MOV, Operand(30, 1, REG_RELATIVE), Operand(4, 2), Operand(4, 3)}));
    EXPECT_FALSE(m_Instruction.GetDestRegister(reg));
    EXPECT_FALSE(m_Instruction.HasDestReg());
    EXPECT_TRUE(m_Host.HasAssert("Modifier not present"));
    // The decoder reads no immediate of an index register.
    ASSERT_TRUE(Decode({IL_OP_MOV, Operand(30, 1, REG_RELATIVE), Operand(4, 2, MOD | IMM),
                        Swizzle(0, 0, 0, 0), Operand(4, 3)}));
    EXPECT_EQ(5u, m_Instruction.GetLength());
    EXPECT_FALSE(m_Instruction.GetDestRegister(reg));
    EXPECT_TRUE(m_Host.HasAssert("indexSrc->bits.relative_address == IL_ADDR_ABSOLUTE && "
                                 "indexSrc->bits.immediate_present == 0"));
    ASSERT_TRUE(Decode({IL_OP_MOV, Operand(30, 1, REG_RELATIVE), Operand(29, 2, MOD),
                        Swizzle(0, 0, 0, 0), Operand(4, 3)}));
    EXPECT_FALSE(m_Instruction.GetDestRegister(reg));
    EXPECT_TRUE(m_Host.HasAssert("indexRegType != RT_Unknown"));

    // A relative destination is read but can't be given as a register.
    m_Host.m_vLines.clear();
    ASSERT_TRUE(Decode({IL_OP_MOV, Operand(4, 1, RELATIVE), 0, Operand(4, 3)}));
    EXPECT_EQ(4u, m_Instruction.GetLength());
    EXPECT_EQ(Register(), m_Instruction.GetDestRegister());
    EXPECT_TRUE(m_Host.HasAssert("dst->bits.relative_address == IL_ADDR_ABSOLUTE || "
                                 "dst->bits.relative_address == IL_ADDR_REG_RELATIVE"));
    EXPECT_TRUE(m_Host.HasAssert("GetDestRegister(reg)"));

    // The immediate of an absolute destination is its index, also behind a dimension token.
    ASSERT_TRUE(Decode({IL_OP_MOV, Operand(30, 2, DIM | IMM), 11, 12, Operand(4, 3)}));
    EXPECT_EQ(Reg(RT_IndexableTemp, 2, COMP_All, 12), m_Instruction.GetDestRegister());
    ASSERT_TRUE(Decode({IL_OP_MOV, Operand(30, 2, MOD | IMM), 0x01, 12, Operand(4, 3)}));
    EXPECT_EQ(Reg(RT_IndexableTemp, 2, COMP_x, 12), m_Instruction.GetDestRegister());
}

TEST_F(InstructionILTest, RegisterRelativeOperandsWithADimensionAreRefused)
{
    EXPECT_FALSE(Decode({IL_OP_MOV, Operand(30, 1, REG_RELATIVE | DIM), Operand(4, 2, MOD),
                         Swizzle(0, 0, 0, 0), Operand(4, 3)}));
    EXPECT_TRUE(m_Host.HasAssert("dst->bits.dimension == 0"));
    EXPECT_EQ(0u, m_Instruction.GetLength());
    EXPECT_EQ(0u, m_Instruction.GetToken(0));

    EXPECT_FALSE(Decode({IL_OP_MOV, Operand(4, 0), Operand(30, 1, REG_RELATIVE | DIM),
                         Operand(4, 2, MOD), Swizzle(0, 0, 0, 0)}));
    EXPECT_TRUE(m_Host.HasAssert("src->bits.dimension == 0"));
    EXPECT_EQ(0u, m_Instruction.GetLength());
}

TEST_F(InstructionILTest, TempNumbersAre17BitSigned)
{
    for (int number : {-1, -2, -32768, -65536, 0, 1, 65535})
    {
        ASSERT_TRUE(Decode({IL_OP_MOV, Operand(4, number), Operand(4, number)}));
        EXPECT_EQ(number, m_Instruction.GetDestRegister().reg.number);
        EXPECT_EQ(number, m_Instruction.GetSrcRegister(0).reg.number);
    }
    // Bit 27 with the field 0xFFFF is -1.
    ASSERT_TRUE(Decode({IL_OP_MOV, (4u << 16) | (1u << 27) | 0xFFFF, Operand(4, 0)}));
    EXPECT_EQ(-1, m_Instruction.GetDestRegister().reg.number);
    // Other types have no sign bit.
    ASSERT_TRUE(Decode({IL_OP_MOV, Operand(4, 0), (32u << 16) | (1u << 27) | 0xFFFF}));
    EXPECT_EQ(65535, m_Instruction.GetSrcRegister(0).reg.number);
}

TEST_F(InstructionILTest, InstModCountsTheOperandsOfMcall)
{
    const unsigned int MCALL = IL_OP_MCALL | (4u << 16);
    ASSERT_TRUE(Decode({MCALL, 0x00010002, Operand(4, 0), Operand(4, 1), Operand(4, 2)}));
    EXPECT_EQ(5u, m_Instruction.GetLength());
    EXPECT_EQ(0x00010002u, m_Instruction.GetInstMod());
    EXPECT_EQ(Reg(RT_Temp, 0, COMP_All), m_Instruction.GetDestRegister());
    EXPECT_EQ(2u, m_Instruction.GetSrcRegCount());
    EXPECT_EQ(4u, m_Instruction.SrcRegTokenOffset(1));

    ASSERT_TRUE(Decode({MCALL, 0x00000002, Operand(4, 1), Operand(4, 2)}));
    EXPECT_EQ(4u, m_Instruction.GetLength());
    EXPECT_FALSE(m_Instruction.HasDestReg());
    EXPECT_EQ(IL_REGTYPE_LAST, m_Instruction.GetDestRegType());
    EXPECT_TRUE(m_Host.HasAssert("m_nDestRegTokenOffset"));
    EXPECT_EQ(Reg(RT_Temp, 1, COMP_All), m_Instruction.GetSrcRegister(0));

    // Two outputs can't be: no destination is read.
    ASSERT_TRUE(Decode({MCALL, 0x00020001, Operand(4, 1)}));
    EXPECT_TRUE(m_Host.HasAssert("nOut < 2"));
    EXPECT_EQ(3u, m_Instruction.GetLength());
    EXPECT_FALSE(m_Instruction.HasDestReg());

    // mdef has its instMod and no modifier tokens, whatever bits 30 and 31 say.
    ASSERT_TRUE(Decode({IL_OP_MDEF | (4u << 16) | PRI, 0x00010002, IL_OP_RET}));
    EXPECT_EQ(2u, m_Instruction.GetLength());
    EXPECT_EQ(0x00010002u, m_Instruction.GetInstMod());
    EXPECT_EQ(0u, m_Instruction.GetSrcRegCount());
}

TEST_F(InstructionILTest, LengthsOfDeclarationsAndTrailingTokens)
{
    struct Case
    {
        std::vector<unsigned int> vTokens;
        unsigned int nLength;
        unsigned int nSrcCount;
    };
    const Case cases[] = {
        {{IL_OP_DCL_CB, Operand(31, 1, DIM), 16}, 3, 1},
        {{IL_OP_DCL_CB | PRI, 2, 0xAAAA, 0xBBBB, IL_OP_RET}, 4, 0},
        {{IL_OP_DCL_LITERAL, Operand(32, 0), 1, 2, 3, 4, IL_OP_RET}, 6, 1},
        {{IL_OP_COMMENT, 3, 0x64636261, 0x68676665, 0, IL_OP_RET}, 5, 0},
        {{IL_OP_COMMENT, 0, IL_OP_RET}, 2, 0},
        {{IL_OP_DCL_NUM_THREAD_PER_GROUP | (3u << 16), 64, 1, 1, IL_OP_RET}, 4, 0},
        {{IL_OP_DCL_MAX_THREAD_PER_GROUP, 256, IL_OP_RET}, 2, 0},
        {{IL_OP_DCL_INDEXED_TEMP_ARRAY, Operand(30, 1, DIM), 64}, 3, 1},
        {{IL_OP_DCL_LDS | (1u << 16), 1024, IL_OP_RET}, 2, 0},
        {{IL_OP_DCL_TYPELESS_UAV | (3u << 26) | (8u << 16), 0, 4096, IL_OP_RET}, 3, 0},
        {{IL_OP_DCL_RESOURCE | PRI | SEC, 0x1111, IL_OP_RET}, 2, 0},
        {{IL_OP_CALL, 4, IL_OP_RET}, 2, 0},
        {{IL_OP_CALL_LOGICALNZ, Operand(4, 0, MOD), Swizzle(0, 0, 0, 0), 4}, 4, 1},
        {{IL_OP_FUNC, 4, IL_OP_RET}, 2, 0},
        {{IL_OP_CASE, 7, IL_OP_RET}, 2, 0},
        // A secondary modifier stands between the opcode token and the destination.
        {{IL_OP_MOV | SEC, 0x1, Operand(4, 0), Operand(4, 1)}, 4, 1},
        {{IL_OP_MOV | PRI | SEC, 0x1, 0x2, Operand(4, 0), Operand(4, 1)}, 5, 1},
    };
    for (const Case& test : cases)
    {
        ASSERT_TRUE(Decode(test.vTokens)) << std::hex << test.vTokens[0];
        EXPECT_EQ(test.nLength, m_Instruction.GetLength()) << std::hex << test.vTokens[0];
        EXPECT_EQ(test.nSrcCount, m_Instruction.GetSrcRegCount()) << std::hex << test.vTokens[0];
        EXPECT_EQ(test.nLength, m_pStream->GetTokensRead()) << std::hex << test.vTokens[0];
    }
    EXPECT_TRUE(m_Host.m_vLines.empty());

    // Code 213 has no description but counts its trailing tokens in the control field.
    ASSERT_TRUE(Decode({213u | (2u << 16), 5, 6, IL_OP_RET}));
    EXPECT_EQ(3u, m_Instruction.GetLength());
}

TEST_F(InstructionILTest, CommentsOfAnyLengthUpToTheLimit)
{
    std::vector<unsigned int> vComment(4100, 0x41414141);
    vComment[0] = IL_OP_COMMENT;
    vComment[1] = 4098;
    ASSERT_TRUE(Decode(vComment));
    EXPECT_EQ(4100u, m_Instruction.GetLength());
    EXPECT_EQ(0x41414141u, m_Instruction.GetToken(4099));
    EXPECT_EQ(0u, m_Instruction.GetToken(4100));

    // One token more doesn't fit the format.
    vComment.push_back(0x41414141);
    vComment[1] = 4099;
    EXPECT_FALSE(Decode(vComment));
    EXPECT_EQ(0u, m_Instruction.GetLength());

    // Nor does a dcl_cb that counts too much data, or a huge count of any kind.
    vComment[0] = IL_OP_DCL_CB | PRI;
    vComment[1] = 0xFFFFFFFF;
    EXPECT_FALSE(Decode(vComment));
    vComment[0] = IL_OP_COMMENT;
    EXPECT_FALSE(Decode(vComment));
}

TEST_F(InstructionILTest, ManySourcesGetExtendedOffsets)
{
    // mcall with eight inputs, of which the second has a modifier.
    std::vector<unsigned int> vTokens = {IL_OP_MCALL, 8};
    for (int nSrc = 0; nSrc < 8; ++nSrc)
    {
        vTokens.push_back(Operand(4, nSrc, nSrc == 1 ? MOD : 0));
        if (nSrc == 1)
        {
            vTokens.push_back(Swizzle(2, 2, 2, 2));
        }
    }
    ASSERT_TRUE(Decode(vTokens));
    EXPECT_EQ(11u, m_Instruction.GetLength());
    EXPECT_EQ(8u, m_Instruction.GetSrcRegCount());
    EXPECT_EQ(5u, m_Instruction.SrcRegTokenOffset(2));
    EXPECT_EQ(9u, m_Instruction.SrcRegTokenOffset(6));
    EXPECT_EQ(10u, m_Instruction.SrcRegTokenOffset(7));
    EXPECT_EQ(Reg(RT_Temp, 1, COMP_z), m_Instruction.GetSrcRegister(1));
    EXPECT_EQ(Reg(RT_Temp, 7, COMP_All), m_Instruction.GetSrcRegister(7));

    Register reg = Reg(RT_Temp, 1, COMP_x);
    EXPECT_FALSE(m_Instruction.GetSrcRegister(8, reg));
    EXPECT_EQ(g_Reg_NULL, reg);
    EXPECT_TRUE(m_Host.HasAssert("nSrcReg < GetSrcRegCount()"));
    EXPECT_EQ(g_Reg_NULL, m_Instruction.GetSrcRegister(8));
    EXPECT_TRUE(m_Host.HasAssert("GetSrcRegister(nSrcReg, reg)"));
    EXPECT_EQ(0u, m_Instruction.SrcRegTokenOffset(8));
    EXPECT_TRUE(m_Host.HasAssert("(MAX_BASE_SRC_REG_COUNT + m_nExtendedSrcRegTokenOffsetsCount) "
                                 "> ind"));

    // Copies have offsets of their own.
    CShaderDebuggerInstructionIL copy(m_Instruction);
    copy.SrcRegTokenOffset(7) = 3;
    EXPECT_EQ(10u, m_Instruction.SrcRegTokenOffset(7));
    // A slot beyond the sources keeps nothing.
    copy.SrcRegTokenOffset(9) = 5;
    EXPECT_EQ(0u, copy.SrcRegTokenOffset(9));
}

TEST_F(InstructionILTest, ReplaceDestRegisterKeepsTheLengthOfAPlainDestination)
{
    const std::vector<unsigned int> vAdd = {IL_OP_ADD, Operand(4, 1, MOD), 0x01, Operand(4, 2),
                                            Operand(4, 3)};
    ASSERT_TRUE(Decode(vAdd));
    ASSERT_TRUE(m_Instruction.ReplaceDestRegister(Reg(RT_Temp, -2, COMP_All)));
    std::vector<unsigned int> vExpected = vAdd;
    vExpected[1] = Operand(4, -2, MOD);
    EXPECT_EQ(vExpected, Tokens(m_Instruction));
    // The mask stays the original's.
    EXPECT_EQ(Reg(RT_Temp, -2, COMP_x), m_Instruction.GetDestRegister());

    ASSERT_TRUE(m_Instruction.ReplaceDestRegister(Reg(RT_Output, 3, COMP_All)));
    EXPECT_EQ(Operand(34, 3, MOD), m_Instruction.GetToken(1));
    EXPECT_EQ(5u, m_Instruction.GetLength());

    // A type that the IL doesn't have is refused and changes nothing.
    EXPECT_FALSE(m_Instruction.ReplaceDestRegister(Reg(RT_PrivateUAVAccess, 8, COMP_All)));
    EXPECT_EQ(Operand(34, 3, MOD), m_Instruction.GetToken(1));

    ASSERT_TRUE(Decode({IL_OP_BREAK}));
    EXPECT_FALSE(m_Instruction.ReplaceDestRegister(Reg(RT_Temp, 1, COMP_All)));
}

TEST_F(InstructionILTest, ReplaceDestRegisterDropsTheIndexTokens)
{
    // mov x1[r2.y + 5], r3  becomes  mov r4, r3
    ASSERT_TRUE(Decode({IL_OP_MOV, Operand(30, 1, REG_RELATIVE | IMM), Operand(4, 2, MOD),
                        Swizzle(1, 1, 1, 1), 5, Operand(4, 3)}));
    ASSERT_TRUE(m_Instruction.ReplaceDestRegister(Reg(RT_Temp, 4, COMP_All)));
    const std::vector<unsigned int> vExpected = {IL_OP_MOV, Operand(4, 4), Operand(4, 3)};
    EXPECT_EQ(vExpected, Tokens(m_Instruction));
    EXPECT_EQ(2u, m_Instruction.SrcRegTokenOffset(0));
    EXPECT_EQ(Reg(RT_Temp, 3, COMP_All), m_Instruction.GetSrcRegister(0));

    // What is written decodes as the same instruction.
    COutputTokenStream<unsigned int> output(NULL, 0);
    ASSERT_TRUE(m_Instruction.WriteInstruction(output));
    const std::vector<unsigned int> vWritten(output.GetStream(),
                                             output.GetStream() + output.GetTokensWritten());
    ASSERT_TRUE(Decode(vWritten));
    EXPECT_EQ(vExpected, Tokens(m_Instruction));
    EXPECT_EQ(Reg(RT_Temp, 4, COMP_All), m_Instruction.GetDestRegister());

    // With a modifier, and without sources behind.
    ASSERT_TRUE(Decode({IL_OP_CU_ID, Operand(30, 1, MOD | DIM | EXT), 0x1, 7, 8, IL_OP_RET}));
    EXPECT_EQ(5u, m_Instruction.GetLength());
    ASSERT_TRUE(m_Instruction.ReplaceDestRegister(Reg(RT_Temp, 9, COMP_All)));
    const std::vector<unsigned int> vCuId = {IL_OP_CU_ID, Operand(4, 9, MOD), 0x1};
    EXPECT_EQ(vCuId, Tokens(m_Instruction));
}

TEST_F(InstructionILTest, TokensCanBeWalkedAndCopied)
{
    ASSERT_TRUE(Decode({IL_OP_ADD, Operand(4, 1), Operand(4, 2), Operand(4, 3)}));
    CShaderDebuggerInstructionIL copy(m_Instruction);
    CShaderDebuggerInstructionIL assigned(NULL);
    assigned = m_Instruction;
    assigned = *&assigned;

    unsigned int nToken = 0;
    for (unsigned int n = 0; n < 4; ++n)
    {
        ASSERT_TRUE(m_Instruction.ReadToken(nToken));
        EXPECT_EQ(m_vTokens[n], nToken);
    }
    EXPECT_FALSE(m_Instruction.ReadToken(nToken));
    EXPECT_TRUE(m_Host.HasAssert("m_nReadTokens < m_nLength"));

    // The next decode replaces the instruction; the copies keep theirs.
    ASSERT_TRUE(Decode({IL_OP_RET}));
    EXPECT_EQ(1u, m_Instruction.GetLength());
    const std::vector<unsigned int> vAdd = {IL_OP_ADD, Operand(4, 1), Operand(4, 2), Operand(4, 3)};
    EXPECT_EQ(vAdd, Tokens(copy));
    EXPECT_EQ(vAdd, Tokens(assigned));
    EXPECT_EQ(Reg(RT_Temp, 3, COMP_All), assigned.GetSrcRegister(1));
    ASSERT_TRUE(copy.ReadToken(nToken));
    EXPECT_EQ(static_cast<unsigned int>(IL_OP_ADD), nToken);

    CShaderDebuggerInstructionIL empty(NULL);
    COutputTokenStream<unsigned int> output(NULL, 4);
    EXPECT_FALSE(empty.WriteInstruction(output));
    copy = empty;
    EXPECT_EQ(0u, copy.GetLength());
    EXPECT_EQ(0u, copy.GetSrcRegCount());
}

TEST_F(InstructionILTest, BadTokensEndTheDecodeWithoutHarm)
{
    // An opcode of 0 or beyond the code range can't be decoded.
    for (unsigned int nToken : {0u, 737u, 0xFFFFu, 0x8000FFFFu})
    {
        EXPECT_FALSE(Decode({nToken, Operand(4, 0)})) << nToken;
        EXPECT_EQ(0u, m_Instruction.GetLength());
    }
    EXPECT_TRUE(m_Host.HasAssert("m_OpCode != IL_OP_UNKNOWN"));

    // A code that no table describes is read alone.
    ASSERT_TRUE(Decode({21u, Operand(4, 0)}));
    EXPECT_EQ(1u, m_Instruction.GetLength());
    EXPECT_TRUE(m_Host.HasAssert("HasDestReg() - unable to find opcode"));
    EXPECT_TRUE(m_Host.HasAssert("GetSrcRegCount() - unable to find opcode"));
    EXPECT_EQ("ERROR", m_Instruction.GetOpCodeName());
    EXPECT_TRUE(m_Host.HasAssert("Didn't find opcode"));

    // A stream that ends inside an instruction gives what there is.
    m_Host.m_vLines.clear();
    ASSERT_TRUE(Decode({IL_OP_ADD, Operand(4, 1), Operand(4, 2, MOD)}));
    EXPECT_EQ(3u, m_Instruction.GetLength());
    EXPECT_TRUE(m_Host.HasAssert("stream.ReadToken(tokens[nSrcRegOffset])"));
    Register reg;
    EXPECT_TRUE(m_Instruction.GetSrcRegister(0, reg));
    EXPECT_FALSE(m_Instruction.GetSrcRegister(1, reg));
    ASSERT_TRUE(Decode({IL_OP_MOV, Operand(4, 1, MOD)}));
    EXPECT_TRUE(
        m_Host.HasAssert("stream.ReadToken(tokens[m_nDestRegTokenOffset + nDestTokenLen])"));
    ASSERT_TRUE(Decode({IL_OP_MCALL}));
    EXPECT_TRUE(m_Host.HasAssert("stream.ReadToken(instMod)"));
    ASSERT_TRUE(Decode({IL_OP_MOV | PRI}));
    EXPECT_TRUE(m_Host.HasAssert("stream.ReadToken(priMod)"));
    ASSERT_TRUE(Decode({IL_OP_DCL_CB | PRI, 3, 1}));
    EXPECT_TRUE(m_Host.HasAssert("stream.ReadToken(tokens[nOpcodeTokenLen])"));
    EXPECT_EQ(3u, m_Instruction.GetLength());
    ASSERT_TRUE(Decode({IL_OP_COMMENT, 5, 1}));
    EXPECT_TRUE(m_Host.HasAssert("stream.ReadToken(tokens[m_nLength])"));
    EXPECT_EQ(3u, m_Instruction.GetLength());

    // The end of the stream ends the walk.
    EXPECT_FALSE(m_Instruction.ReadInstruction(*m_pStream));
    EXPECT_EQ(0u, m_Instruction.GetLength());
}

TEST_F(InstructionILTest, AStreamWrittenBackIsTheSame)
{
    const std::vector<std::vector<unsigned int>> vInstructions = {
        {IL_OP_DCL_LITERAL, Operand(32, 0), 1, 2, 3, 4},
        {IL_OP_MOV, Operand(4, 0, MOD), 0x11, Operand(43, 0, MOD), Swizzle(0, 0, 0, 0)},
        {IL_OP_IADD, Operand(4, 1), Operand(4, 0), Operand(32, 0, MOD), Swizzle(1, 1, 1, 1)},
        {IL_OP_COMMENT, 1, 0x00636261},
        {IL_OP_END}};
    for (const std::vector<unsigned int>& vInstruction : vInstructions)
    {
        m_vTokens.insert(m_vTokens.end(), vInstruction.begin(), vInstruction.end());
    }
    CInputTokenStream<unsigned int> input(NULL, m_vTokens.data(), m_vTokens.size());
    COutputTokenStream<unsigned int> output(NULL, 0);
    for (const std::vector<unsigned int>& vInstruction : vInstructions)
    {
        ASSERT_TRUE(m_Instruction.ReadInstruction(input));
        EXPECT_EQ(vInstruction, Tokens(m_Instruction));
        ASSERT_TRUE(m_Instruction.WriteInstruction(output));
    }
    EXPECT_FALSE(m_Instruction.ReadInstruction(input));
    EXPECT_EQ(m_vTokens, std::vector<unsigned int>(output.GetStream(),
                                                   output.GetStream() + output.GetTokensWritten()));
}

// Random instructions, decoded here and by the format library's strict decoder: where that one
// accepts an instruction, both agree on every offset; where it refuses, this one refuses too
// or reads what the stream holds.
TEST_F(InstructionILTest, AgreesWithTheStrictDecoderOnRandomInstructions)
{
    std::mt19937 random(73);
    std::vector<unsigned int> vCodes;
    for (size_t n = 1; n < g_nILMainOpCodeTableSize; ++n)
    {
        if (g_ILMainOpCodeTable[n].nOpCode < IL_OP_LAST)
        {
            vCodes.push_back(g_ILMainOpCodeTable[n].nOpCode);
        }
    }
    for (size_t n = 0; n < g_nILDclOpCodeTableSize; ++n)
    {
        vCodes.push_back(g_ILDclOpCodeTable[n].nOpCode);
    }
    std::uniform_int_distribution<size_t> pickCode(0, vCodes.size() - 1);
    std::uniform_int_distribution<unsigned int> any;
    std::uniform_int_distribution<unsigned int> small(0, 9);
    std::uniform_int_distribution<unsigned int> type(0, 63);
    std::bernoulli_distribution often(0.3);
    std::bernoulli_distribution rarely(0.05);
    // An operand-like token: a type, a number and some of the flags.
    auto operand = [&]()
    {
        unsigned int nToken = (type(random) << 16) | (any(random) & 0xFFFF);
        for (unsigned int nFlag : {MOD, DIM, IMM, EXT, 1u << 27, 1u << 23, 1u << 24})
        {
            if (often(random))
            {
                nToken |= nFlag;
            }
        }
        return nToken;
    };

    unsigned int nAccepted = 0;
    for (unsigned int nCase = 0; nCase < 20000; ++nCase)
    {
        std::vector<unsigned int> vTokens;
        unsigned int nOpcodeToken = vCodes[pickCode(random)] | (small(random) << 16);
        nOpcodeToken |= often(random) ? PRI : 0;
        nOpcodeToken |= often(random) ? SEC : 0;
        vTokens.push_back(nOpcodeToken);
        const unsigned int nLength = small(random) * 3;
        while (vTokens.size() < nLength + 1)
        {
            // Counts come from the stream too: instMod, dcl_cb's data, a comment's length.
            vTokens.push_back(rarely(random) ? any(random)
                                             : (often(random) ? small(random) : operand()));
        }

        ILInstructionLayout layout;
        const ILDecodeStatus status = DecodeILInstruction(vTokens.data(), vTokens.size(), layout);
        const bool bDecoded = Decode(vTokens);
        ASSERT_LE(m_Instruction.GetLength(), m_pStream->GetTokensRead()) << nCase;
        if (status == IL_DECODE_REG_RELATIVE_DIMENSION)
        {
            ASSERT_FALSE(bDecoded) << nCase;
        }
        // Where the strict decoder gives up early, on a short stream or a bad count, this one
        // reads on and may find anything.
        if (status != IL_DECODE_OK)
        {
            continue;
        }
        ASSERT_TRUE(bDecoded) << nCase;
        ASSERT_EQ(m_Instruction.GetLength(), m_pStream->GetTokensRead()) << nCase;
        ++nAccepted;
        ASSERT_EQ(layout.nLength, m_Instruction.GetLength()) << nCase;
        ASSERT_EQ(layout.bHasDest ? GetILRegType(layout.dest.nToken) : IL_REGTYPE_LAST,
                  m_Instruction.GetDestRegType())
            << nCase;
        ASSERT_EQ(layout.vSources.size(), m_Instruction.GetSrcRegCount()) << nCase;
        for (unsigned int nSrc = 0; nSrc < layout.vSources.size(); ++nSrc)
        {
            ASSERT_EQ(layout.vSources[nSrc].nOffset, m_Instruction.SrcRegTokenOffset(nSrc))
                << nCase;
        }
        Register reg;
        if (layout.bHasDest && GetILRelativeAddress(layout.dest.nToken) == IL_ADDR_ABSOLUTE &&
            m_Instruction.GetDestRegister(reg))
        {
            ASSERT_EQ(layout.dest.nImmediate, reg.reg.index) << nCase;
        }
        for (unsigned int nToken = 0; nToken < layout.nLength; ++nToken)
        {
            ASSERT_EQ(vTokens[nToken], m_Instruction.GetToken(nToken));
        }
    }
    EXPECT_GT(nAccepted, 5000u);
}
