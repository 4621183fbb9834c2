// Indexed registers: the index of a write replayed from the code before it, and the expansion of
// what stays unresolved into every element of its array.

#include "support/AnalysisDoubles.h"
#include "support/CorpusKernels.h"

#include <gtest/gtest.h>

namespace
{
using namespace XAN_ShaderDebugger;
using XAN_Test::CAnalyzedKernel;
using XAN_Test::CAnalyzedShaderIL;

// Literals that the cases below compute their indexes from, declared in the main program.
const char* const g_strLiterals = "dcl_literal l20, 3, 1000, 0, 0\n"
                                  "dcl_literal l21, 0x80000000, 5, 0, 0\n"
                                  "dcl_literal l22, 31, 7, 0, 0\n";

std::string Repeat(const std::string& strLine, unsigned int nCount)
{
    std::string strLines;
    for (unsigned int n = 0; n < nCount; ++n)
    {
        strLines += strLine;
    }
    return strLines;
}

// One row: code of the main program ending in a write to x1 through r7, and what the analysis
// makes of the index.
struct ResolveRow
{
    const char* pName;
    std::string strCode;
    bool bResolved;
    unsigned int nIndex;
    const char* pWarning; // a line that the walk logs, or null
};

const char* const g_strWrite = "mov x1[r7.x].x, r0.x\n";

const ResolveRow g_ResolveRows[] = {
    {"Mov", std::string("mov r7, l20\n") + g_strWrite, true, 3, nullptr},
    {"MovOfY", "mov r7, l20\nmov x1[r7.y].x, r0.x\n", true, 1000, nullptr},
    // The replay copies whole registers: the write of y alone doesn't narrow it.
    {"SwizzleIsIgnored", "mov r7.y, l20.x\nmov x1[r7.y].x, r0.x\n", true, 1000, nullptr},
    {"Iadd", std::string("mov r8, l20\niadd r7, r8, l22\n") + g_strWrite, true, 34, nullptr},
    {"IshrIsLogical", std::string("ishr r7, l21, l22\n") + g_strWrite, true, 1, nullptr},
    {"ElseJumpsOverTheIfBranch",
     "mov r7, l20\nifnz r0.x\nmov r7, l22\nelse\nmov x1[r7.x].x, r0.x\nendif\n", true, 3, nullptr},
    {"EndifStopsTheWalk", std::string("mov r7, l20\nifnz r0.x\nmov r8, l20\nendif\n") + g_strWrite,
     false, 0, nullptr},
    {"AbsTidIsNoLiteral", std::string("mov r7, vAbsTid0\n") + g_strWrite, false, 0,
     "Expression could not be reduced to literals."},
    {"ImulIsNotReplayed", std::string("imul r7, l20, l20\n") + g_strWrite, false, 0,
     "Cannot resolve instruction 149."},
    {"LiteralOverwrittenAsATemp",
     std::string("mov r6, l22\nmov r20.x, l22\niadd r7, r6, l20\n") + g_strWrite, false, 0,
     "Can only track across simple registers."},
    {"HundredSteps", "mov r7, l20\n" + Repeat("mov r8, l20\n", 99) + g_strWrite, true, 3, nullptr},
    {"MoreThanHundredSteps", "mov r7, l20\n" + Repeat("mov r8, l20\n", 100) + g_strWrite, false, 0,
     "Expression could not be reduced to literals."}};

TEST(ResolveIndexRegisterToConstant, WriteThroughARegisterIndexIsReplayed)
{
    for (const ResolveRow& row : g_ResolveRows)
    {
        SCOPED_TRACE(row.pName);
        const std::string strCode = g_strLiterals + row.strCode + ";$$$$$$$$$$";
        const auto insert = [&strCode](std::string& strIL)
        { ASSERT_TRUE(XAN_Test::ReplaceFirst(strIL, ";$$$$$$$$$$", strCode)); };
        CAnalyzedKernel kernel("private_x1", XAN_Test::LoadEditedDebugBinary("private_x1", insert));
        ASSERT_TRUE(kernel.m_pShader->IsShaderDebuggable(1))
            << kernel.m_pShader->Info().strError[0];

        // The main program's one write to x1.
        const std::map<uint32_t, Register>& outputs = kernel.m_pShader->GetRegisterOutputs();
        std::map<uint32_t, Register>::const_iterator it = outputs.begin();
        while (it != outputs.end() && it->second.reg.type != RT_IndexableTemp)
        {
            ++it;
        }
        ASSERT_NE(outputs.end(), it);
        ASSERT_EQ(0u, kernel.m_pShader->GetFunctionScope().at(it->first));
        const Register& reg = it->second;
        EXPECT_EQ(1, reg.reg.number);
        EXPECT_EQ(COMP_x, reg.mask);
        EXPECT_EQ(!row.bResolved, reg.reg.pIndexRegister != NULL);
        if (row.bResolved)
        {
            EXPECT_EQ(row.nIndex, reg.reg.index);
        }
        else
        {
            ASSERT_NE(nullptr, reg.reg.pIndexRegister);
            EXPECT_EQ(Register(RegisterID(RT_Temp, 7, 0, NULL), COMP_x), *reg.reg.pIndexRegister);
            EXPECT_TRUE(kernel.m_Host.Logged(
                "Warning: Indexed temp could not be resolved on line " +
                std::to_string(kernel.m_pShader->GetLineFromInstruction(it->first)) +
                ", instruction " + std::to_string(it->first) + ". Performance may be slow."));
        }
        if (row.pWarning != nullptr)
        {
            EXPECT_TRUE(kernel.m_Host.Logged(std::string("Warning: ") + row.pWarning))
                << row.pWarning;
        }
    }
}

TEST(ResolveIndexRegisterToConstant, RefusesWhatIsNoIndexedRegister)
{
    CAnalyzedKernel kernel("straight", XAN_Test::LoadDebugBinary("straight"));
    CAnalyzedShaderIL& shader = *kernel.m_pShader;
    EXPECT_FALSE(shader.ResolveIndexRegisterToConstant(NULL, 3, 100));
    Register temp(RegisterID(RT_Temp, 1, 0, NULL), COMP_x);
    EXPECT_FALSE(shader.ResolveIndexRegisterToConstant(&temp, 3, 100));
    Register constant(RegisterID(RT_IndexableTemp, 1, 5, NULL), COMP_x);
    EXPECT_TRUE(shader.ResolveIndexRegisterToConstant(&constant, 3, 100));
    EXPECT_EQ(5u, constant.reg.index);
    const Register twoComponents(RegisterID(RT_Temp, 1, 0, NULL), COMP_xy);
    Register indexed(RegisterID(RT_IndexableTemp, 1, 0, &twoComponents), COMP_x);
    EXPECT_FALSE(shader.ResolveIndexRegisterToConstant(&indexed, 3, 100));
}

Register Indexed(RegisterType type, int number, unsigned int index)
{
    return Register(RegisterID(type, number, index, NULL), COMP_All);
}

TEST(ExpandIndexedRegisters, PrivateUAVOf40BytesGivesThreeBlocks)
{
    CAnalyzedKernel kernel("private_uav", XAN_Test::LoadDebugBinary("private_uav"));
    CAnalyzedShaderIL& shader = *kernel.m_pShader;
    const std::map<uint32_t, Register>& outputs = shader.GetRegisterOutputs();
    std::vector<Register> vWrites;
    uint32_t nInLoop = 0;
    for (const std::pair<const uint32_t, Register>& output : outputs)
    {
        if (output.second.reg.type == RT_PrivateUAVAccess)
        {
            vWrites.push_back(output.second);
            nInLoop = output.second.reg.pIndexRegister != NULL ? output.first : nInLoop;
        }
    }
    ASSERT_EQ(3u, vWrites.size());
    EXPECT_EQ((std::map<uint32_t, uint32_t>{{8, 48}}),
              shader.GetDeclarations().at(1024).privateUAVSizes);

    // The two resolved writes stay as they are, the one through a register, given twice,
    // becomes every block; null and plain registers pass, a constant buffer is left out.
    const Register r1(RegisterID(RT_Temp, 1, 0, NULL), COMP_x);
    const std::vector<Register> vRegisters = {
        g_Reg_NULL, vWrites[0], vWrites[2], r1, Indexed(RT_CONST_BUFF, 1, 2),
        vWrites[1], vWrites[2]};
    std::vector<Register> vExpanded;
    ASSERT_TRUE(shader.ExpandIndexedRegisters(PatchPoint(ProgramCounter(nInLoop), g_Reg_NULL),
                                              vRegisters, &vExpanded));
    EXPECT_EQ((std::vector<Register>{
                  g_Reg_NULL, vWrites[0], r1, vWrites[1], Indexed(RT_PrivateUAVAccess, 8, 0),
                  Indexed(RT_PrivateUAVAccess, 8, 16), Indexed(RT_PrivateUAVAccess, 8, 32)}),
              vExpanded);
    EXPECT_TRUE(kernel.m_Host.Logged("unresolved index reg 2 0"));
    EXPECT_FALSE(shader.ExpandIndexedRegisters(PatchPoint(), vRegisters, NULL));
}

TEST(ExpandIndexedRegisters, ArrayOfACallerIsFoundThroughTheCallStack)
{
    CAnalyzedKernel kernel("private_x1", XAN_Test::LoadDebugBinary("private_x1"));
    CAnalyzedShaderIL& shader = *kernel.m_pShader;
    const uint32_t nWrite = kernel.At("mov x1[r1.xxxx].x, r2.yyyy");
    ASSERT_NE(g_nInvalidInstruction, nWrite);
    ASSERT_EQ(1025u, shader.GetFunctionScope().at(nWrite));
    const std::vector<Register> vRegisters = {shader.GetRegisterOutput(ProgramCounter(nWrite))};
    const PatchPoint pp(ProgramCounter(nWrite), vRegisters[0]);

    std::vector<Register> vExpanded;
    EXPECT_FALSE(shader.ExpandIndexedRegisters(pp, vRegisters, &vExpanded));
    EXPECT_TRUE(kernel.m_Host.Logged("Indexed reg decl not found in call stack"));

    shader.m_CallStack.push_back(ProgramCounter(kernel.At("call 1025")));
    vExpanded.clear();
    ASSERT_TRUE(shader.ExpandIndexedRegisters(pp, vRegisters, &vExpanded));
    ASSERT_EQ(8u, vExpanded.size());
    for (unsigned int n = 0; n < 8; ++n)
    {
        EXPECT_EQ(Indexed(RT_IndexableTemp, 1, n), vExpanded[n]);
    }
}
} // namespace
