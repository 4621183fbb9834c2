#include "ShaderUtils/IL/ILShaderUtils.h"
#include "ShaderUtils/IL/ILFormat.h"

#include <gtest/gtest.h>

using namespace ShaderUtils;
using namespace ShaderUtils::ILShaderUtils;

TEST(ILShaderUtilsTest, DeclarationsAndInstructionsSplitAtTheirBoundaries)
{
    for (unsigned int nCode :
         {20u,  29u,  118u, 128u, 202u, 209u, 212u, 215u, 221u, 223u, 230u, 258u, 259u,
          262u, 263u, 302u, 304u, 309u, 315u, 348u, 349u, 352u, 354u, 355u, 423u, 424u})
    {
        EXPECT_TRUE(IsDeclaration(nCode)) << nCode;
        EXPECT_FALSE(IsInstruction(nCode)) << nCode;
    }
    for (unsigned int nCode :
         {19u,  30u,  117u, 129u, 211u, 216u, 220u, 224u, 229u, 231u, 257u, 260u, 261u,
          264u, 301u, 316u, 347u, 350u, 351u, 353u, 356u, 422u, 425u, 660u, 703u})
    {
        EXPECT_FALSE(IsDeclaration(nCode)) << nCode;
    }
    for (unsigned int nCode : {IL_OP_COMMENT, IL_OP_MDEF, IL_OP_MEND, IL_OP_HS_CP_PHASE,
                               IL_OP_HS_FORK_PHASE, IL_OP_HS_JOIN_PHASE, IL_OP_ENDPHASE})
    {
        EXPECT_FALSE(IsInstruction(nCode)) << nCode;
    }
    for (unsigned int nCode :
         {IL_OP_MOV, IL_OP_MCALL, IL_OP_END, IL_OP_FENCE, IL_OP_DCL_USER_DATA, IL_OP_DCL_WAVESIZE})
    {
        EXPECT_TRUE(IsInstruction(nCode)) << nCode;
    }
    EXPECT_TRUE(IsValidOpCode(736));
    EXPECT_FALSE(IsValidOpCode(737));
}

TEST(ILShaderUtilsTest, MemoryOperationFamilies)
{
    EXPECT_FALSE(IsUAVAtomic(232));
    EXPECT_TRUE(IsUAVAtomic(233));
    EXPECT_TRUE(IsUAVAtomic(255));
    EXPECT_FALSE(IsUAVAtomic(256));

    for (unsigned int nCode :
         {244u, 257u, 277u, 288u, 372u, 386u, 394u, 395u, 429u, 430u, 432u, 502u, 516u, 533u, 547u})
    {
        EXPECT_TRUE(IsAtomicWithResult(nCode)) << nCode;
    }
    for (unsigned int nCode :
         {243u, 258u, 276u, 289u, 371u, 387u, 393u, 396u, 431u, 501u, 517u, 532u, 548u})
    {
        EXPECT_FALSE(IsAtomicWithResult(nCode)) << nCode;
    }

    EXPECT_TRUE(IsUAVLoad(IL_OP_UAV_SHORT_LOAD));
    EXPECT_FALSE(IsUAVLoad(IL_OP_UAV_UBYTE_LOAD));
    EXPECT_TRUE(IsUAVStore(IL_OP_UAV_ARENA_STORE));
    EXPECT_FALSE(IsUAVStore(IL_OP_UAV_STORE_MASK));
    EXPECT_TRUE(IsUAVDeclaration(IL_OP_DCL_ARENA_UAV));
    EXPECT_FALSE(IsUAVDeclaration(IL_OP_DCL_TYPELESS_UAV));
    EXPECT_TRUE(IsSampleOp(IL_OP_SAMPLE_C_B));
    EXPECT_FALSE(IsSampleOp(IL_OP_SAMPLEINFO));
    EXPECT_TRUE(IsFetch4Op(IL_OP_FETCH4POC));
    EXPECT_FALSE(IsFetch4Op(IL_OP_FETCH4_B));
}

TEST(ILShaderUtilsTest, FlowControl)
{
    EXPECT_TRUE(IsFlowControl(IL_OP_RET_DYN));
    EXPECT_TRUE(IsFlowControl(IL_OP_CASE));
    EXPECT_FALSE(IsFlowControl(IL_OP_ENDMAIN));
    EXPECT_FALSE(IsFlowControl(IL_OP_MCALL));
    EXPECT_TRUE(IsBlockFlowControl(IL_OP_WHILELOOP));
    EXPECT_FALSE(IsBlockFlowControl(IL_OP_BREAK));
    EXPECT_FALSE(IsBlockFlowControl(IL_OP_CASE));
    EXPECT_FALSE(IsBlockFlowControl(IL_OP_FUNC));
}

TEST(ILShaderUtilsTest, TokenFlagsThatMeanSomethingElse)
{
    for (unsigned int nCode : {IL_OP_MDEF, IL_OP_DCL_TYPED_UAV, IL_OP_DCL_TYPELESS_UAV,
                               IL_OP_SRV_RAW_LOAD, IL_OP_SRV_STRUCT_LOAD, IL_OP_DCL_RESOURCE,
                               IL_OP_UAV_RAW_LOAD, IL_OP_UAV_ARENA_LOAD, IL_OP_UAV_ARENA_STORE})
    {
        EXPECT_FALSE(HasModifierTokens(nCode)) << nCode;
    }
    EXPECT_TRUE(HasModifierTokens(IL_OP_MCALL));
    EXPECT_TRUE(HasModifierTokens(IL_OP_UAV_RAW_STORE));
    EXPECT_TRUE(HasInstMod(IL_OP_MDEF));
    EXPECT_TRUE(HasInstMod(IL_OP_MCALL));
    EXPECT_FALSE(HasInstMod(IL_OP_MEND));
    EXPECT_TRUE(IsDclInput(IL_OP_DCL_INPUT));
    EXPECT_TRUE(IsDclOutput(IL_OP_DCL_OUTPUT));
    EXPECT_TRUE(IsDclLiteral(IL_OP_DCL_LITERAL));
    EXPECT_FALSE(IsDclLiteral(IL_OP_DCL_INPUT));
}
