#include "ShaderDebuggerFCConstruct.h"

#include <gtest/gtest.h>

using namespace XAN_ShaderDebugger;

namespace
{
Register MakeRegister(RegisterType type, int number, unsigned short mask)
{
    return Register(RegisterID(type, number, 0, NULL), mask);
}
} // namespace

TEST(FCConstructTest, LoopDepthCountsEnclosingLoopsAndCastsAreChecked)
{
    CIL_Loop outer(NULL, 1);
    CIL_IfElseEndif branch(&outer, 2);
    CIL_Loop inner(&branch, 3);
    CIL_Switch choice(&inner, 4);

    EXPECT_EQ(1u, outer.GetLoopDepth());
    EXPECT_EQ(1u, branch.GetLoopDepth());
    EXPECT_EQ(2u, inner.GetLoopDepth());
    EXPECT_EQ(2u, choice.GetLoopDepth());
    EXPECT_EQ(&inner, choice.GetParent());
    EXPECT_EQ(nullptr, outer.GetParent());

    CIL_FCConstruct* pConstructs[] = {&branch, &outer, &choice};
    for (unsigned int nType = 0; nType < 3; ++nType)
    {
        CIL_FCConstruct* pConstruct = pConstructs[nType];
        EXPECT_EQ(nType, pConstruct->GetType());
        EXPECT_EQ(nType == FCT_IfElseEndif, pConstruct->AsIfElseEndif() == pConstruct);
        EXPECT_EQ(nType == FCT_Loop, pConstruct->AsLoop() == pConstruct);
        EXPECT_EQ(nType == FCT_Switch, pConstruct->AsSwitch() == pConstruct);
        EXPECT_EQ(nType != FCT_IfElseEndif, pConstruct->AsIfElseEndif() == nullptr);
        EXPECT_EQ(nType != FCT_Loop, pConstruct->AsLoop() == nullptr);
        EXPECT_EQ(nType != FCT_Switch, pConstruct->AsSwitch() == nullptr);
    }

    CDXX_Loop dxxOuter(NULL, 0);
    CDXX_Loop dxxInner(&dxxOuter, 1);
    CDXX_IfElseEndif dxxIf(&dxxInner, 2);
    EXPECT_EQ(2u, dxxIf.GetLoopDepth());
    EXPECT_EQ(&dxxInner, dxxIf.GetParent()->AsLoop());
    EXPECT_EQ(nullptr, dxxIf.GetParent()->AsSwitch());
    EXPECT_EQ(0u, dxxInner.m_nCountRegister);
}

TEST(FCConstructTest, IfElseEndifBranches)
{
    CIL_IfElseEndif noElse(NULL, 10);
    noElse.m_nEnd = 20;
    EXPECT_EQ(g_nInvalidInstruction, noElse.m_nElse);
    EXPECT_EQ(20u, noElse.GetElseOrEnd());
    for (unsigned int nPos = 0; nPos < 30; ++nPos)
    {
        EXPECT_FALSE(noElse.IsInElseBranch(nPos)) << nPos;
        EXPECT_EQ(nPos > 10 && nPos < 20, noElse.IsInIfBranch(nPos)) << nPos;
    }
    EXPECT_FALSE(noElse.IsInElseBranch(g_nInvalidInstruction));

    CDXX_IfElseEndif withElse(NULL, 10);
    withElse.m_nElse = 15;
    withElse.m_nEnd = 20;
    EXPECT_EQ(15u, withElse.GetElseOrEnd());
    for (unsigned int nPos = 0; nPos < 30; ++nPos)
    {
        EXPECT_EQ(nPos > 10 && nPos < 15, withElse.IsInIfBranch(nPos)) << nPos;
        EXPECT_EQ(nPos > 15 && nPos < 20, withElse.IsInElseBranch(nPos)) << nPos;
    }
}

TEST(FCConstructTest, SwitchCasesAndBreaks)
{
    CIL_Switch choice(NULL, 5);
    choice.m_nEnd = 40;
    choice.m_vCases = {7, 12, 30};
    choice.m_vBreaks = {11, 29};

    EXPECT_EQ(7u, choice.GetNextCase(5));
    EXPECT_EQ(12u, choice.GetNextCase(7));
    EXPECT_EQ(30u, choice.GetNextCase(12));
    EXPECT_EQ(40u, choice.GetNextCase(30));
    EXPECT_EQ(40u, choice.GetNextCase(35));

    EXPECT_EQ(30u, choice.GetPreviousCase(35));
    EXPECT_EQ(12u, choice.GetPreviousCase(30));
    EXPECT_EQ(7u, choice.GetPreviousCase(8));
    EXPECT_EQ(5u, choice.GetPreviousCase(7));

    EXPECT_TRUE(choice.IsBreak(11));
    EXPECT_TRUE(choice.IsBreak(29));
    EXPECT_FALSE(choice.IsBreak(12));

    CIL_Switch empty(NULL, 3);
    empty.m_nEnd = 4;
    EXPECT_EQ(4u, empty.GetNextCase(3));
    EXPECT_EQ(3u, empty.GetPreviousCase(4));
}

TEST(FCConstructTest, AddRegisterKeepsOneEntryWithTheUnionOfMasks)
{
    CIL_Loop loop(NULL, 0);
    loop.AddRegister(MakeRegister(RT_Temp, 1, COMP_x));
    loop.AddRegister(MakeRegister(RT_Temp, 1, COMP_zw));
    loop.AddRegister(MakeRegister(RT_Temp, 2, COMP_y));
    ASSERT_EQ(2u, loop.m_vRegisters.size());
    EXPECT_EQ(13, loop.m_vRegisters[0].mask);
    EXPECT_EQ(COMP_y, loop.m_vRegisters[1].mask);

    // An indexed access through another register is another register.
    const Register index = MakeRegister(RT_Temp, 0, COMP_x);
    CIL_Switch choice(NULL, 0);
    choice.AddRegister(Register(RegisterID(RT_IndexableTemp, 1, 0, NULL), COMP_x));
    choice.AddRegister(Register(RegisterID(RT_IndexableTemp, 1, 0, &index), COMP_y));
    EXPECT_EQ(2u, choice.m_vRegisters.size());

    CIL_IfElseEndif branch(NULL, 0);
    branch.AddIfRegister(MakeRegister(RT_Temp, 1, COMP_x));
    branch.AddElseRegister(MakeRegister(RT_Temp, 1, COMP_w));
    branch.AddIfRegister(MakeRegister(RT_Temp, 1, COMP_y));
    ASSERT_EQ(1u, branch.m_vIfRegisters.size());
    ASSERT_EQ(1u, branch.m_vElseRegisters.size());
    EXPECT_EQ(COMP_xy, branch.m_vIfRegisters[0].mask);
    EXPECT_EQ(COMP_w, branch.m_vElseRegisters[0].mask);
}

TEST(FCConstructTest, SetHasMemoryWriteMarksParentsButNotSiblings)
{
    CIL_Loop root(NULL, 0);
    CIL_IfElseEndif left(&root, 1);
    CIL_Switch leftInner(&left, 2);
    CIL_IfElseEndif right(&root, 9);

    leftInner.SetHasMemoryWrite();
    EXPECT_TRUE(leftInner.m_bHasMemoryWrite);
    EXPECT_TRUE(left.m_bHasMemoryWrite);
    EXPECT_TRUE(root.m_bHasMemoryWrite);
    EXPECT_FALSE(right.m_bHasMemoryWrite);
}
