// Patched kernels of the corpus kernels, compared as the text of their debug IL with golden
// texts: what is inserted at each kind of target, in which order, and with which registers.

#include "ShaderDebuggerIL/ShaderDebuggerUtilsIL.h"
#include "support/CorpusKernels.h"
#include "support/PatchDoubles.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <sstream>

namespace
{
using namespace XAN_ShaderDebugger;
using XAN_Test::CPatchKernel;

// One target: the instruction by its text (the nth such line), the iteration of each loop
// around it from the outermost, the registers (the target's destination when none is named).
struct PatchCase
{
    const char* pName;
    const char* pKernel;
    const char* pText;
    unsigned int nth;
    std::vector<uint32_t> vIterations;
    std::vector<std::string> vRegisters;
    // Only the text from the target's function on.
    bool bFunctionOnly;
    // The flat index and the stores as they stand, not as one line.
    bool bFullOutput;
};

std::ostream& operator<<(std::ostream& os, const PatchCase& patchCase)
{
    return os << patchCase.pName;
}

ProgramCounter TargetAt(const CPatchKernel& kernel, uint32_t nPos,
                        const std::vector<uint32_t>& vIterations)
{
    ProgramCounter pc(nPos);
    std::vector<LoopState> vLoops;
    for (CIL_FCConstruct* pConstruct = kernel.m_Named.ConstructAt(nPos); pConstruct != NULL;
         pConstruct = pConstruct->GetParent())
    {
        CIL_Loop* pLoop = pConstruct->AsLoop();
        if (pLoop != NULL && pLoop->GetStart() <= nPos && nPos < pLoop->GetEnd())
        {
            vLoops.insert(vLoops.begin(), LoopState{pLoop->GetStart(), pLoop->GetEnd(), 0});
        }
    }
    for (size_t i = 0; i < vLoops.size() && i < vIterations.size(); ++i)
    {
        vLoops[i].nIteration = vIterations[i];
    }
    pc.m_vLoopStack = vLoops;
    return pc;
}

std::vector<Register> RegistersOf(const CPatchKernel& kernel, const ProgramCounter& pc,
                                  const std::vector<std::string>& vNames)
{
    if (vNames.empty())
    {
        return std::vector<Register>(1, kernel.m_pShader->GetRegisterOutput(pc));
    }
    std::vector<Register> vRegisters;
    const std::string strPrivate = "PrivateUAVAccess";
    for (const std::string& strName : vNames)
    {
        // The private-memory register has no text form; "PrivateUAVAccessN[i]" stands for it.
        const RegisterID id =
            strName.compare(0, strPrivate.size(), strPrivate) == 0
                ? RegisterID(
                      RT_PrivateUAVAccess, std::stoi(strName.substr(strPrivate.size())),
                      static_cast<unsigned int>(std::stoul(strName.substr(strName.find('[') + 1))),
                      NULL)
                : ParseILRegisterName(strName);
        vRegisters.push_back(Register(id, COMP_All));
    }
    return vRegisters;
}

// The text from "func <label>" on, or all of it without a label and without the kernel's
// leading comments; with bCollapse the flat index and the two stores behind it are one line
// "<output>".
std::string SelectText(const std::string& strText, const std::string& strFunc, bool bCollapse)
{
    std::istringstream text(strText);
    std::ostringstream out;
    bool bIn = strFunc.empty();
    bool bLeadingComments = true;
    int nOutputLines = 0;
    for (std::string strLine; std::getline(text, strLine);)
    {
        const bool bComment = strLine.compare(0, 1, ";") == 0;
        bLeadingComments = bLeadingComments && (bComment || strLine == "il_cs_2_0");
        if (bLeadingComments && bComment)
        {
            continue;
        }
        bIn = bIn || strLine.compare(0, strFunc.size(), strFunc) == 0;
        if (!bIn)
        {
            continue;
        }
        if (bCollapse && strLine.find("vThreadGrpId0") != std::string::npos)
        {
            nOutputLines = 12;
            out << "<output>\n";
        }
        if (nOutputLines > 0)
        {
            --nOutputLines;
            continue;
        }
        out << strLine << "\n";
    }
    return out.str();
}

class PatchGoldenTest : public ::testing::TestWithParam<PatchCase>
{
};

TEST_P(PatchGoldenTest, PatchedKernelIsTheGoldenText)
{
    const PatchCase& patchCase = GetParam();
    CPatchKernel kernel(patchCase.pKernel, XAN_Test::LoadDebugBinary(patchCase.pKernel));
    const uint32_t nPos = patchCase.pText[0] == '#' ? 0 : kernel.At(patchCase.pText, patchCase.nth);
    ASSERT_NE(g_nInvalidInstruction, nPos) << patchCase.pText;
    const ProgramCounter pc = TargetAt(kernel, nPos, patchCase.vIterations);
    ASSERT_TRUE(kernel.m_pShader->SwitchShader(pc, RegistersOf(kernel, pc, patchCase.vRegisters)));
    ASSERT_EQ(1u, kernel.m_Host.m_vShaders.size());
    const std::string strFunc =
        patchCase.bFunctionOnly
            ? "func " + std::to_string(kernel.m_pShader->GetFunctionScope().at(nPos))
            : std::string();
    const std::string strText = SelectText(XAN_Test::DebugILText(kernel.m_Host.m_vShaders.back()),
                                           strFunc, !patchCase.bFullOutput);
    const std::string strGolden =
        XAN_Test::ReadFile(std::string(XAN_TEST_DATA_DIR "/") + patchCase.pName + ".il");
    ASSERT_FALSE(strGolden.empty()) << patchCase.pName;
    EXPECT_EQ(strGolden, strText);
}

const PatchCase g_PatchCases[] = {
    {"First", "straight", "#0", 0, {}, {"r0"}, false, false},
    {"Func", "straight", "func 1024", 0, {}, {}, true, false},
    {"StraightLine", "straight", "ixor r1.x, r1.xxxx, r1.yyyy", 0, {}, {}, false, true},
    {"LoopIteration", "loops", "iadd r1.x, r1.xxxx, l0.yyyy", 0, {2}, {}, false, false},
    {"FiveNestedLoops",
     "nested5",
     "iadd r2.x, r2.xxxx, l0.yyyy",
     0,
     {1, 0, 1, 0, 1},
     {},
     false,
     false},
    {"Ifnz", "ifelse", "ifnz r1.yyyy", 0, {}, {}, true, false},
    {"Else", "ifelse", "else", 0, {}, {}, true, false},
    {"Endif", "ifelse", "endif", 0, {}, {}, true, false},
    {"Switch", "switch", "switch r1.xxxx", 0, {}, {}, true, false},
    {"Case", "switch", "case 1", 0, {}, {}, true, false},
    {"SwitchBreak", "switch", "break", 0, {}, {}, true, false},
    {"SwitchInLoop", "switch", "break", 2, {1}, {}, true, false},
    {"LoopBreak", "loops", "break", 0, {7}, {}, true, false},
    {"LoopContinue", "loops", "continue", 0, {4}, {}, true, false},
    {"Ret", "functions", "ret", 1, {}, {"r1"}, true, false},
    {"RetDyn", "functions", "ret_dyn", 0, {}, {"r1"}, true, false},
    {"Endfunc", "functions", "endfunc", 0, {}, {"r1"}, true, false},
    {"Call", "functions", "call 1025", 0, {}, {"r1"}, true, false},
    {"KeptFunctionLoop", "calls_loop", "iadd r1.x, r1.xxxx, l5.yyyy", 0, {1}, {}, true, false},
    {"ThreeRegisters",
     "straight",
     "ixor r1.x, r1.xxxx, r1.yyyy",
     0,
     {},
     {"r1", "r0", "cb1[0]"},
     true,
     false},
    {"PrivateUAV",
     "private_uav",
     "uav_raw_load_id(8) r4.x, l1.xxxx",
     0,
     {},
     {"PrivateUAVAccess8[32]"},
     true,
     false},
    {"PrivateX1",
     "private_x1",
     "iadd x1[r1.yyyy].x, x1[3].xxxx, l1.xxxx",
     0,
     {},
     {"x1[3]"},
     false,
     true},
};

INSTANTIATE_TEST_SUITE_P(Targets, PatchGoldenTest, ::testing::ValuesIn(g_PatchCases),
                         [](const ::testing::TestParamInfo<PatchCase>& info)
                         { return std::string(info.param.pName); });
} // namespace
