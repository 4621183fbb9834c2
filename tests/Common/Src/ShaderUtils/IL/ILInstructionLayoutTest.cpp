#include "ShaderUtils/IL/ILInstructionLayout.h"
#include "ShaderUtils/IL/ILFormat.h"

#include <gtest/gtest.h>

#include <vector>

using namespace ShaderUtils;

namespace
{
unsigned int Operand(unsigned int nType, unsigned int nNumber, unsigned int nFlags = 0)
{
    return (nType << IL_REG_TYPE_SHIFT) | nNumber | nFlags;
}

const unsigned int REG_RELATIVE = IL_ADDR_REG_RELATIVE << IL_REG_RELATIVE_SHIFT;

ILDecodeStatus Decode(const std::vector<unsigned int>& vTokens, ILInstructionLayout& inst)
{
    return DecodeILInstruction(vTokens.data(), vTokens.size(), inst);
}
} // namespace

TEST(ILInstructionLayoutTest, CountedTrailingTokens)
{
    ILInstructionLayout inst;
    ASSERT_EQ(IL_DECODE_OK, Decode({IL_OP_COMMENT, 3, 1, 2, 3, IL_OP_END}, inst));
    EXPECT_EQ(5u, inst.nLength);
    EXPECT_EQ(1u, inst.nTrailingOffset);
    EXPECT_EQ(4u, inst.nTrailingCount);

    ASSERT_EQ(IL_DECODE_OK, Decode({IL_OP_COMMENT, 0}, inst));
    EXPECT_EQ(2u, inst.nLength);

    // A count that passes the stream or the instruction limit is refused
    // before anything is read.
    EXPECT_EQ(IL_DECODE_TRUNCATED, Decode({IL_OP_COMMENT, 3, 1, 2}, inst));
    EXPECT_EQ(IL_DECODE_TOO_LONG, Decode({IL_OP_COMMENT, 0xFFFFFFFFu, 1}, inst));
    std::vector<unsigned int> vLongest(IL_MAX_INSTRUCTION_TOKENS, 0);
    vLongest[0] = IL_OP_COMMENT;
    vLongest[1] = IL_MAX_INSTRUCTION_TOKENS - 2;
    ASSERT_EQ(IL_DECODE_OK, Decode(vLongest, inst));
    EXPECT_EQ(IL_MAX_INSTRUCTION_TOKENS, inst.nLength);
    vLongest[1] += 1;
    vLongest.push_back(0);
    EXPECT_EQ(IL_DECODE_TOO_LONG, Decode(vLongest, inst));

    const unsigned int nThreeValues = IL_OP_DCL_NUM_THREAD_PER_GROUP | (3u << IL_CONTROL_SHIFT);
    ASSERT_EQ(IL_DECODE_OK, Decode({nThreeValues, 64, 1, 1}, inst));
    EXPECT_EQ(4u, inst.nLength);
}

TEST(ILInstructionLayoutTest, DeclarationLengths)
{
    ILInstructionLayout inst;
    const unsigned int nLiteral = Operand(IL_REGTYPE_LITERAL, 2);
    ASSERT_EQ(IL_DECODE_OK, Decode({IL_OP_DCL_LITERAL, nLiteral, 1, 2, 3, 4}, inst));
    EXPECT_EQ(6u, inst.nLength);
    ASSERT_EQ(1u, inst.vSources.size());
    EXPECT_EQ(nLiteral, inst.vSources[0].nToken);
    EXPECT_EQ(2u, inst.nTrailingOffset);

    const unsigned int nCb = Operand(IL_REGTYPE_CONST_BUFF, 0, IL_REG_DIMENSION);
    ASSERT_EQ(IL_DECODE_OK, Decode({IL_OP_DCL_CB, nCb, 16}, inst));
    EXPECT_EQ(3u, inst.nLength);
    ASSERT_EQ(1u, inst.vSources.size());
    EXPECT_EQ(16u, inst.vSources[0].nDimension);

    // With a primary modifier dcl_cb counts data and has no source.
    ASSERT_EQ(IL_DECODE_OK, Decode({IL_OP_DCL_CB | IL_PRI_MODIFIER_PRESENT, 2, 7, 8}, inst));
    EXPECT_EQ(4u, inst.nLength);
    EXPECT_TRUE(inst.vSources.empty());
    EXPECT_EQ(2u, inst.nCbDataOffset);
    EXPECT_EQ(2u, inst.nCbDataCount);
    EXPECT_EQ(IL_DECODE_TRUNCATED, Decode({IL_OP_DCL_CB | IL_PRI_MODIFIER_PRESENT, 5, 7}, inst));

    const unsigned int nTypeless = IL_OP_DCL_TYPELESS_UAV | IL_PRI_MODIFIER_PRESENT;
    ASSERT_EQ(IL_DECODE_OK, Decode({nTypeless, 4, 64}, inst));
    EXPECT_EQ(3u, inst.nLength) << "bit 31 isn't a modifier flag here";
}

TEST(ILInstructionLayoutTest, McallOperandsFollowInstMod)
{
    ILInstructionLayout inst;
    const unsigned int r0 = Operand(IL_REGTYPE_TEMP, 0);
    ASSERT_EQ(IL_DECODE_OK, Decode({IL_OP_MCALL, 0x00010002, r0, r0, r0}, inst));
    EXPECT_TRUE(inst.bHasDest);
    EXPECT_EQ(2u, inst.vSources.size());
    EXPECT_EQ(5u, inst.nLength);

    ASSERT_EQ(IL_DECODE_OK, Decode({IL_OP_MCALL, 0x00000002, r0, r0}, inst));
    EXPECT_FALSE(inst.bHasDest);
    EXPECT_EQ(4u, inst.nLength);

    EXPECT_EQ(IL_DECODE_BAD_MCALL, Decode({IL_OP_MCALL, 0x00020000}, inst));
    EXPECT_EQ(IL_DECODE_TRUNCATED, Decode({IL_OP_MCALL, 0x00000003, r0, r0}, inst));
    EXPECT_EQ(IL_DECODE_TOO_LONG, Decode({IL_OP_MCALL, 0x0000FFFF, r0}, inst));
    EXPECT_EQ(IL_DECODE_TRUNCATED, Decode({IL_OP_MCALL}, inst));
}

TEST(ILInstructionLayoutTest, OperandExtrasInOrder)
{
    ILInstructionLayout inst;
    const unsigned int r1 = Operand(IL_REGTYPE_TEMP, 1);
    const unsigned int nAbsolute = Operand(IL_REGTYPE_CONST_BUFF, 1,
                                           IL_REG_MODIFIER_PRESENT | IL_REG_DIMENSION |
                                               IL_REG_IMMEDIATE_PRESENT | IL_REG_EXTENDED);
    ASSERT_EQ(IL_DECODE_OK, Decode({IL_OP_MOV, r1, nAbsolute, 0x3210, 4, 5, 6}, inst));
    ASSERT_EQ(1u, inst.vSources.size());
    const ILOperandLayout& src = inst.vSources[0];
    EXPECT_EQ(2u, src.nOffset);
    EXPECT_EQ(5u, src.nLength);
    EXPECT_EQ(0x3210u, src.nModifier);
    EXPECT_EQ(4u, src.nDimension);
    EXPECT_EQ(5u, src.nImmediate);
    EXPECT_EQ(6u, src.nExtension);

    // Register-relative: the index token, its modifier, then the immediate.
    const unsigned int nIndex = Operand(IL_REGTYPE_TEMP, 0, IL_REG_MODIFIER_PRESENT);
    const unsigned int nRelative =
        Operand(IL_REGTYPE_INDEXABLE_TEMP, 1, REG_RELATIVE | IL_REG_IMMEDIATE_PRESENT);
    ASSERT_EQ(IL_DECODE_OK, Decode({IL_OP_MOV, r1, nRelative, nIndex, 0, 3}, inst));
    EXPECT_EQ(4u, inst.vSources[0].nLength);
    EXPECT_EQ(nIndex, inst.vSources[0].nIndexToken);
    EXPECT_EQ(3u, inst.vSources[0].nImmediate);

    EXPECT_EQ(IL_DECODE_REG_RELATIVE_DIMENSION,
              Decode({IL_OP_MOV, r1, nRelative | IL_REG_DIMENSION, nIndex, 0, 3}, inst));

    const unsigned int nLoopRelative =
        Operand(IL_REGTYPE_CONST_BUFF, 0, 1u << IL_REG_RELATIVE_SHIFT);
    ASSERT_EQ(IL_DECODE_OK, Decode({IL_OP_MOV, r1, nLoopRelative, 9}, inst));
    EXPECT_EQ(9u, inst.vSources[0].nRelative);

    const unsigned int nModeThree = Operand(IL_REGTYPE_TEMP, 0, 3u << IL_REG_RELATIVE_SHIFT);
    ASSERT_EQ(IL_DECODE_OK, Decode({IL_OP_MOV, r1, nModeThree | IL_REG_DIMENSION}, inst));
    EXPECT_EQ(3u, inst.nLength);
}

TEST(ILInstructionLayoutTest, ModifierFlagsOfTheOpcodeToken)
{
    ILInstructionLayout inst;
    const unsigned int r0 = Operand(IL_REGTYPE_TEMP, 0);
    const unsigned int nBoth = IL_OP_MOV | IL_PRI_MODIFIER_PRESENT | IL_SEC_MODIFIER_PRESENT;
    ASSERT_EQ(IL_DECODE_OK, Decode({nBoth, 11, 22, r0, r0}, inst));
    EXPECT_EQ(11u, inst.nPriModifier);
    EXPECT_EQ(22u, inst.nSecModifier);
    EXPECT_EQ(3u, inst.dest.nOffset);
    EXPECT_EQ(5u, inst.nLength);

    // uav_raw_load uses bit 31 for something else.
    const unsigned int nLoad = IL_OP_UAV_RAW_LOAD | IL_PRI_MODIFIER_PRESENT;
    ASSERT_EQ(IL_DECODE_OK, Decode({nLoad, r0, r0}, inst));
    EXPECT_EQ(3u, inst.nLength);
}

TEST(ILInstructionLayoutTest, RefusesWhatIsNoInstruction)
{
    ILInstructionLayout inst;
    EXPECT_EQ(IL_DECODE_END, DecodeILInstruction(nullptr, 4, inst));
    EXPECT_EQ(IL_DECODE_END, Decode({}, inst));
    EXPECT_EQ(IL_DECODE_UNKNOWN_OPCODE, Decode({21}, inst));
    EXPECT_EQ(IL_DECODE_UNKNOWN_OPCODE, Decode({IL_OP_LAST}, inst));
    EXPECT_EQ(IL_DECODE_UNKNOWN_KIND, Decode({IL_OP_UNKNOWN}, inst));
    EXPECT_EQ(IL_DECODE_TRUNCATED, Decode({IL_OP_MOV, Operand(IL_REGTYPE_TEMP, 0)}, inst));
    EXPECT_EQ(IL_DECODE_TRUNCATED, Decode({IL_OP_MOV | IL_PRI_MODIFIER_PRESENT}, inst));
    EXPECT_EQ(IL_DECODE_TRUNCATED, Decode({IL_OP_CALL}, inst));
    EXPECT_STREQ("dimension set on a register-relative operand",
                 GetILDecodeStatusText(IL_DECODE_REG_RELATIVE_DIMENSION));
}
