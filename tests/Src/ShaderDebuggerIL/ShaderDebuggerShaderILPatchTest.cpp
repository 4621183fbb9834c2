// Patched kernels of the corpus kernels, compared as the text of their debug IL with golden
// texts: what is inserted at each kind of target, in which order, and with which registers.

#include "ShaderDebuggerIL/ShaderDebuggerUtilsIL.h"
#include "support/CorpusKernels.h"
#include "support/PatchDoubles.h"

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
    const char* pGolden;
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
    EXPECT_EQ(patchCase.pGolden, strText);
}

const PatchCase g_PatchCases[] = {
    {"First",
     "straight",
     "#0",
     0,
     {},
     {"r0"},
     false,
     false,
     R"(il_cs_2_0
dcl_cb cb0[16]
dcl_cb cb1[4]
dcl_typeless_uav_id(12)_stride(4)_length(4)
dcl_typeless_uav_id(13)_stride(4)_length(4)
dcl_literal l1, 0x00000000, 0x00000000, 0x00000000, 0x00000000
dcl_literal l2, 0x00000001, 0x00000001, 0x00000001, 0x00000001
dcl_literal l3, 0x00000002, 0x00000002, 0x00000002, 0x00000002
dcl_literal l4, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF
dcl_literal l5, 0x00000010, 0x00000010, 0x00000010, 0x00000010
mov r0, l1
mov r1, l1
mov r2, l1
mov r3, l1
mov r4, l1
mov r5, l1
mov r6, l1
mov r7, l1
call 1024
mov r3, r0
mov r5, l2
<output>
ret_dyn
endmain
func 1024
dcl_typeless_uav_id(11)_stride(4)_length(4)
dcl_max_thread_per_group 256
dcl_literal l0, 0x00000003, 0x00000007, 0x00000001, 0x00000002
iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx
imul r1.x, r0.xxxx, l0.xxxx
iadd r1.x, r1.xxxx, l0.yyyy
ushr r1.y, r0.xxxx, l0.zzzz
ixor r1.x, r1.xxxx, r1.yyyy
ishl r2.x, r0.xxxx, l0.wwww
i64add r2.zw, cb1[0].xyxy, r2.x0x0
uav_raw_store_id(11)_a64 mem0.x, r2.zwzw, r1.xxxx
ret
endfunc ;__OpenCL_straight_kernel
end
)"},
    {"Func",
     "straight",
     "func 1024",
     0,
     {},
     {},
     true,
     false,
     R"(func 1024
dcl_typeless_uav_id(11)_stride(4)_length(4)
mov r5, l2
dcl_max_thread_per_group 256
<output>
ret_dyn
endfunc ;__OpenCL_straight_kernel
end
)"},
    {"StraightLine",
     "straight",
     "ixor r1.x, r1.xxxx, r1.yyyy",
     0,
     {},
     {},
     false,
     true,
     R"(il_cs_2_0
dcl_cb cb0[16]
dcl_cb cb1[4]
dcl_typeless_uav_id(12)_stride(4)_length(4)
dcl_typeless_uav_id(13)_stride(4)_length(4)
dcl_literal l1, 0x00000000, 0x00000000, 0x00000000, 0x00000000
dcl_literal l2, 0x00000001, 0x00000001, 0x00000001, 0x00000001
dcl_literal l3, 0x00000002, 0x00000002, 0x00000002, 0x00000002
dcl_literal l4, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF
dcl_literal l5, 0x00000010, 0x00000010, 0x00000010, 0x00000010
mov r0, l1
mov r1, l1
mov r2, l1
mov r3, l1
mov r4, l1
mov r5, l1
mov r6, l1
mov r7, l1
call 1024
endmain
func 1024
dcl_typeless_uav_id(11)_stride(4)_length(4)
dcl_max_thread_per_group 256
dcl_literal l0, 0x00000003, 0x00000007, 0x00000001, 0x00000002
iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx
imul r1.x, r0.xxxx, l0.xxxx
iadd r1.x, r1.xxxx, l0.yyyy
ushr r1.y, r0.xxxx, l0.zzzz
ixor r1.x, r1.xxxx, r1.yyyy
mov r3, r1
mov r5, l2
dcl_max_thread_per_group 256
imad r7, vThreadGrpId0, cb0[1], vTidInGrp0
iadd r7, r7, cb0[6]
inegate r6, cb0[9]
iadd r7, r7, r6
imad r7.w, r7.zzzz, cb0[0].yyyy, r7.yyyy
imad r7.w, r7.wwww, cb0[0].xxxx, r7.xxxx
ishl r7.w, r7.wwww, l3.xxxx
i64add r6.xy, cb1[2].xyxy, r7.w000
ishl r7.w, r7.wwww, l3.xxxx
i64add r4.xy, cb1[1].xyxy, r7.w000
uav_raw_store_id(12)_a64 mem0, r4.xyxy, r3
uav_raw_store_id(13)_a64 mem0.x, r6.xyxy, r5.xxxx
ret_dyn
endfunc ;__OpenCL_straight_kernel
end
)"},
    {"LoopIteration",
     "loops",
     "iadd r1.x, r1.xxxx, l0.yyyy",
     0,
     {2},
     {},
     false,
     false,
     R"(il_cs_2_0
dcl_cb cb0[16]
dcl_cb cb1[4]
dcl_typeless_uav_id(12)_stride(4)_length(4)
dcl_typeless_uav_id(13)_stride(4)_length(4)
dcl_literal l2, 0x00000000, 0x00000000, 0x00000000, 0x00000000
dcl_literal l3, 0x00000001, 0x00000001, 0x00000001, 0x00000001
dcl_literal l4, 0x00000002, 0x00000002, 0x00000002, 0x00000002
dcl_literal l5, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF
dcl_literal l6, 0x00000010, 0x00000010, 0x00000010, 0x00000010
mov r0, l2
mov r1, l2
mov r2, l2
mov r3, l2
mov r4, l2
mov r5, l2
mov r6, l2
mov r7, l2
mov r8, l2
mov r9, l2
dcl_literal l7, 0x00000003, 0x00000000, 0x00000000, 0x00000000
call 1024
endmain
func 1024
dcl_typeless_uav_id(11)_stride(4)_length(4)
dcl_max_thread_per_group 256
dcl_literal l0, 0x00000002, 0x00000001, 0x00000000, 0x0000000A
dcl_literal l1, 0x00000003, 0x00000008, 0x00000000, 0x00000000
iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx
mov r1.x, l0.zzzz
mov r1.y, l0.zzzz
mov r9.x, l7.xxxx
whileloop
break_logicalz r9.xxxx
iadd r9.x, r9.xxxx, l5.xxxx
mov r6, l2
uge r2.x, r1.xxxx, l0.wwww
break_logicalnz r2.xxxx
iadd r1.x, r1.xxxx, l0.yyyy
mov r4, r1
mov r6, l3
ieq r2.y, r1.xxxx, l1.xxxx
continue_logicalnz r2.yyyy
ult r2.z, r1.xxxx, r0.xxxx
if_logicalnz r2.zzzz
iadd r1.y, r1.yyyy, r1.xxxx
continue
endif
iadd r1.y, r1.yyyy, l0.yyyy
ieq r2.w, r1.xxxx, l1.yyyy
if_logicalnz r2.wwww
break
endif
endloop
dcl_max_thread_per_group 256
<output>
ret_dyn
endfunc ;__OpenCL_loops_kernel
end
)"},
    {"FiveNestedLoops",
     "nested5",
     "iadd r2.x, r2.xxxx, l0.yyyy",
     0,
     {1, 0, 1, 0, 1},
     {},
     false,
     false,
     R"(il_cs_2_0
dcl_cb cb0[16]
dcl_cb cb1[4]
dcl_typeless_uav_id(12)_stride(4)_length(4)
dcl_typeless_uav_id(13)_stride(4)_length(4)
dcl_literal l1, 0x00000000, 0x00000000, 0x00000000, 0x00000000
dcl_literal l2, 0x00000001, 0x00000001, 0x00000001, 0x00000001
dcl_literal l3, 0x00000002, 0x00000002, 0x00000002, 0x00000002
dcl_literal l4, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF
dcl_literal l5, 0x00000010, 0x00000010, 0x00000010, 0x00000010
mov r0, l1
mov r1, l1
mov r2, l1
mov r3, l1
mov r4, l1
mov r5, l1
mov r6, l1
mov r7, l1
mov r8, l1
mov r9, l1
mov r10, l1
mov r11, l1
mov r12, l1
mov r13, l1
dcl_literal l6, 0x00000002, 0x00000001, 0x00000002, 0x00000001
dcl_literal l7, 0x00000002, 0x00000000, 0x00000000, 0x00000000
call 1024
endmain
func 1024
dcl_typeless_uav_id(11)_stride(4)_length(4)
dcl_max_thread_per_group 256
dcl_literal l0, 0x00000002, 0x00000001, 0x00000000, 0x00000002
iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx
mov r2.x, r0.xxxx
mov r1.x, l0.zzzz
mov r12.x, l6.xxxx
whileloop
break_logicalz r12.xxxx
iadd r12.x, r12.xxxx, l4.xxxx
mov r9, l1
uge r4.x, r1.xxxx, l0.wwww
break_logicalnz r4.xxxx
mov r1.y, l0.zzzz
mov r12.y, l6.yyyy
whileloop
break_logicalz r12.yyyy
iadd r12.y, r12.yyyy, l4.yyyy
mov r9, l1
uge r4.y, r1.yyyy, l0.wwww
break_logicalnz r4.yyyy
mov r1.z, l0.zzzz
mov r12.z, l6.zzzz
whileloop
break_logicalz r12.zzzz
iadd r12.z, r12.zzzz, l4.zzzz
mov r9, l1
uge r4.z, r1.zzzz, l0.wwww
break_logicalnz r4.zzzz
mov r1.w, l0.zzzz
mov r12.w, l6.wwww
whileloop
break_logicalz r12.wwww
iadd r12.w, r12.wwww, l4.wwww
mov r9, l1
uge r4.w, r1.wwww, l0.wwww
break_logicalnz r4.wwww
mov r3.x, l0.zzzz
mov r13.x, l7.xxxx
whileloop
break_logicalz r13.xxxx
iadd r13.x, r13.xxxx, l4.xxxx
mov r9, l1
uge r5.x, r3.xxxx, l0.wwww
break_logicalnz r5.xxxx
iadd r2.x, r2.xxxx, l0.yyyy
mov r7, r2
mov r9, l2
iadd r3.x, r3.xxxx, l0.yyyy
endloop
iadd r1.w, r1.wwww, l0.yyyy
endloop
iadd r1.z, r1.zzzz, l0.yyyy
endloop
iadd r1.y, r1.yyyy, l0.yyyy
endloop
iadd r1.x, r1.xxxx, l0.yyyy
endloop
dcl_max_thread_per_group 256
<output>
ret_dyn
endfunc ;__OpenCL_nested5_kernel
end
)"},
    {"Ifnz",
     "ifelse",
     "ifnz r1.yyyy",
     0,
     {},
     {},
     true,
     false,
     R"(func 1024
dcl_typeless_uav_id(11)_stride(4)_length(4)
dcl_max_thread_per_group 256
dcl_literal l0, 0x00000004, 0x00000001, 0x00000002, 0x00000006
dcl_literal l1, 0x00000003, 0x00000004, 0x00000000, 0x00000000
iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx
ult r1.x, r0.xxxx, l0.xxxx
if_logicalnz r1.xxxx
and r1.y, r0.xxxx, l0.yyyy
itof r1.y, r1.yyyy
ifnz r1.yyyy
mov r6, l3
endif
endif
dcl_max_thread_per_group 256
<output>
ret_dyn
endfunc ;__OpenCL_ifelse_kernel
end
)"},
    {"Else",
     "ifelse",
     "else",
     0,
     {},
     {},
     true,
     false,
     R"(func 1024
dcl_typeless_uav_id(11)_stride(4)_length(4)
dcl_max_thread_per_group 256
dcl_literal l0, 0x00000004, 0x00000001, 0x00000002, 0x00000006
dcl_literal l1, 0x00000003, 0x00000004, 0x00000000, 0x00000000
iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx
ult r1.x, r0.xxxx, l0.xxxx
if_logicalnz r1.xxxx
and r1.y, r0.xxxx, l0.yyyy
itof r1.y, r1.yyyy
ifnz r1.yyyy
mov r2.x, l0.yyyy
else
mov r6, l3
endif
endif
dcl_max_thread_per_group 256
<output>
ret_dyn
endfunc ;__OpenCL_ifelse_kernel
end
)"},
    {"Endif",
     "ifelse",
     "endif",
     0,
     {},
     {},
     true,
     false,
     R"(func 1024
dcl_typeless_uav_id(11)_stride(4)_length(4)
dcl_max_thread_per_group 256
dcl_literal l0, 0x00000004, 0x00000001, 0x00000002, 0x00000006
dcl_literal l1, 0x00000003, 0x00000004, 0x00000000, 0x00000000
iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx
ult r1.x, r0.xxxx, l0.xxxx
if_logicalnz r1.xxxx
and r1.y, r0.xxxx, l0.yyyy
itof r1.y, r1.yyyy
ifnz r1.yyyy
mov r2.x, l0.yyyy
else
mov r2.x, l0.zzzz
endif
mov r6, l3
endif
dcl_max_thread_per_group 256
<output>
ret_dyn
endfunc ;__OpenCL_ifelse_kernel
end
)"},
    {"Switch",
     "switch",
     "switch r1.xxxx",
     0,
     {},
     {},
     true,
     false,
     R"(func 1024
dcl_typeless_uav_id(11)_stride(4)_length(4)
dcl_max_thread_per_group 256
dcl_literal l0, 0x00000004, 0x00000001, 0x00000000, 0x00000002
dcl_literal l1, 0x0000000A, 0x00000064, 0x000003E8, 0x00000000
dcl_literal l2, 0x00002710, 0x00004E20, 0x00000000, 0x00000000
iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx
umod r1.x, r0.xxxx, l0.xxxx
mov r2.x, l0.zzzz
switch r1.xxxx
case 0
; falls through into case 1
iadd r2.x, r2.xxxx, l0.yyyy
case 1
iadd r2.x, r2.xxxx, l1.xxxx
break
case 2
iadd r2.x, r2.xxxx, l1.yyyy
break
default
iadd r2.x, r2.xxxx, l1.zzzz
endswitch
mov r7, l4
dcl_max_thread_per_group 256
<output>
ret_dyn
endfunc ;__OpenCL_switch_kernel
end
)"},
    {"Case",
     "switch",
     "case 1",
     0,
     {},
     {},
     true,
     false,
     R"(func 1024
dcl_typeless_uav_id(11)_stride(4)_length(4)
dcl_max_thread_per_group 256
dcl_literal l0, 0x00000004, 0x00000001, 0x00000000, 0x00000002
dcl_literal l1, 0x0000000A, 0x00000064, 0x000003E8, 0x00000000
dcl_literal l2, 0x00002710, 0x00004E20, 0x00000000, 0x00000000
iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx
umod r1.x, r0.xxxx, l0.xxxx
mov r2.x, l0.zzzz
switch r1.xxxx
case 0
; falls through into case 1
iadd r2.x, r2.xxxx, l0.yyyy
case 1
mov r7, l4
iadd r2.x, r2.xxxx, l1.xxxx
break
case 2
iadd r2.x, r2.xxxx, l1.yyyy
break
default
iadd r2.x, r2.xxxx, l1.zzzz
endswitch
dcl_max_thread_per_group 256
<output>
ret_dyn
endfunc ;__OpenCL_switch_kernel
end
)"},
    {"SwitchBreak",
     "switch",
     "break",
     0,
     {},
     {},
     true,
     false,
     R"(func 1024
dcl_typeless_uav_id(11)_stride(4)_length(4)
dcl_max_thread_per_group 256
dcl_literal l0, 0x00000004, 0x00000001, 0x00000000, 0x00000002
dcl_literal l1, 0x0000000A, 0x00000064, 0x000003E8, 0x00000000
dcl_literal l2, 0x00002710, 0x00004E20, 0x00000000, 0x00000000
iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx
umod r1.x, r0.xxxx, l0.xxxx
mov r2.x, l0.zzzz
switch r1.xxxx
case 0
; falls through into case 1
iadd r2.x, r2.xxxx, l0.yyyy
case 1
iadd r2.x, r2.xxxx, l1.xxxx
break
case 2
mov r7, l4
iadd r2.x, r2.xxxx, l1.yyyy
break
default
iadd r2.x, r2.xxxx, l1.zzzz
endswitch
dcl_max_thread_per_group 256
<output>
ret_dyn
endfunc ;__OpenCL_switch_kernel
end
)"},
    {"SwitchInLoop",
     "switch",
     "break",
     2,
     {1},
     {},
     true,
     false,
     R"(func 1024
dcl_typeless_uav_id(11)_stride(4)_length(4)
dcl_max_thread_per_group 256
dcl_literal l0, 0x00000004, 0x00000001, 0x00000000, 0x00000002
dcl_literal l1, 0x0000000A, 0x00000064, 0x000003E8, 0x00000000
dcl_literal l2, 0x00002710, 0x00004E20, 0x00000000, 0x00000000
iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx
umod r1.x, r0.xxxx, l0.xxxx
mov r2.x, l0.zzzz
switch r1.xxxx
case 0
; falls through into case 1
iadd r2.x, r2.xxxx, l0.yyyy
case 1
iadd r2.x, r2.xxxx, l1.xxxx
break
case 2
iadd r2.x, r2.xxxx, l1.yyyy
break
default
iadd r2.x, r2.xxxx, l1.zzzz
endswitch
mov r1.y, l0.zzzz
mov r10.x, l8.xxxx
whileloop
break_logicalz r10.xxxx
iadd r10.x, r10.xxxx, l6.xxxx
mov r7, l3
uge r3.x, r1.yyyy, l0.xxxx
break_logicalnz r3.xxxx
switch r1.yyyy
case 1
iadd r2.x, r2.xxxx, l2.xxxx
break
case 3
; falls through into default
iadd r2.x, r2.xxxx, l2.yyyy
default
iadd r2.x, r2.xxxx, l0.yyyy
endswitch
iadd r1.y, r1.yyyy, l0.yyyy
endloop
dcl_max_thread_per_group 256
<output>
ret_dyn
endfunc ;__OpenCL_switch_kernel
end
)"},
    {"LoopBreak",
     "loops",
     "break",
     0,
     {7},
     {},
     true,
     false,
     R"(func 1024
dcl_typeless_uav_id(11)_stride(4)_length(4)
dcl_max_thread_per_group 256
dcl_literal l0, 0x00000002, 0x00000001, 0x00000000, 0x0000000A
dcl_literal l1, 0x00000003, 0x00000008, 0x00000000, 0x00000000
iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx
mov r1.x, l0.zzzz
mov r1.y, l0.zzzz
mov r9.x, l7.xxxx
whileloop
break_logicalz r9.xxxx
iadd r9.x, r9.xxxx, l5.xxxx
mov r6, l2
uge r2.x, r1.xxxx, l0.wwww
break_logicalnz r2.xxxx
iadd r1.x, r1.xxxx, l0.yyyy
ieq r2.y, r1.xxxx, l1.xxxx
continue_logicalnz r2.yyyy
ult r2.z, r1.xxxx, r0.xxxx
if_logicalnz r2.zzzz
iadd r1.y, r1.yyyy, r1.xxxx
continue
endif
iadd r1.y, r1.yyyy, l0.yyyy
ieq r2.w, r1.xxxx, l1.yyyy
if_logicalnz r2.wwww
break
mov r6, l3
endif
endloop
dcl_max_thread_per_group 256
<output>
ret_dyn
endfunc ;__OpenCL_loops_kernel
end
)"},
    {"LoopContinue",
     "loops",
     "continue",
     0,
     {4},
     {},
     true,
     false,
     R"(func 1024
dcl_typeless_uav_id(11)_stride(4)_length(4)
dcl_max_thread_per_group 256
dcl_literal l0, 0x00000002, 0x00000001, 0x00000000, 0x0000000A
dcl_literal l1, 0x00000003, 0x00000008, 0x00000000, 0x00000000
iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx
mov r1.x, l0.zzzz
mov r1.y, l0.zzzz
mov r9.x, l7.xxxx
whileloop
break_logicalz r9.xxxx
iadd r9.x, r9.xxxx, l5.xxxx
mov r6, l2
uge r2.x, r1.xxxx, l0.wwww
break_logicalnz r2.xxxx
iadd r1.x, r1.xxxx, l0.yyyy
ieq r2.y, r1.xxxx, l1.xxxx
continue_logicalnz r2.yyyy
ult r2.z, r1.xxxx, r0.xxxx
if_logicalnz r2.zzzz
iadd r1.y, r1.yyyy, r1.xxxx
continue
mov r6, l3
endif
iadd r1.y, r1.yyyy, l0.yyyy
ieq r2.w, r1.xxxx, l1.yyyy
if_logicalnz r2.wwww
break
endif
endloop
dcl_max_thread_per_group 256
<output>
ret_dyn
endfunc ;__OpenCL_loops_kernel
end
)"},
    {"Ret",
     "functions",
     "ret",
     1,
     {},
     {"r1"},
     true,
     false,
     R"(func 1025
iadd r1.x, r1.xxxx, r1.xxxx
call 1026
mov r3, r1
mov r5, l2
<output>
ret_dyn
ret
endfunc
func 1026
dcl_literal l5, 0x00000001, 0x00000000, 0x00000000, 0x00000000
iadd r1.x, r1.xxxx, l5.xxxx
ret_dyn
endfunc
end
)"},
    {"RetDyn",
     "functions",
     "ret_dyn",
     0,
     {},
     {"r1"},
     true,
     false,
     R"(func 1026
dcl_literal l5, 0x00000001, 0x00000000, 0x00000000, 0x00000000
iadd r1.x, r1.xxxx, l5.xxxx
mov r3, r1
mov r5, l2
<output>
ret_dyn
ret_dyn
endfunc
end
)"},
    {"Endfunc",
     "functions",
     "endfunc",
     0,
     {},
     {"r1"},
     true,
     false,
     R"(func 1024
dcl_typeless_uav_id(11)_stride(4)_length(4)
dcl_max_thread_per_group 256
dcl_literal l0, 0x00000002, 0x00000001, 0x00000000, 0x00000000
iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx
mov r1.x, r0.xxxx
call 1025
call 1025
ishl r2.x, r0.xxxx, l0.xxxx
i64add r2.zw, cb1[0].xyxy, r2.x0x0
uav_raw_store_id(11)_a64 mem0.x, r2.zwzw, r1.xxxx
ret
mov r3, r1
mov r5, l2
dcl_max_thread_per_group 256
<output>
ret_dyn
endfunc ;__OpenCL_functions_kernel
func 1025
iadd r1.x, r1.xxxx, r1.xxxx
call 1026
ret
endfunc
func 1026
dcl_literal l5, 0x00000001, 0x00000000, 0x00000000, 0x00000000
iadd r1.x, r1.xxxx, l5.xxxx
ret_dyn
endfunc
end
)"},
    {"Call",
     "functions",
     "call 1025",
     0,
     {},
     {"r1"},
     true,
     false,
     R"(func 1024
dcl_typeless_uav_id(11)_stride(4)_length(4)
dcl_max_thread_per_group 256
dcl_literal l0, 0x00000002, 0x00000001, 0x00000000, 0x00000000
iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx
mov r1.x, r0.xxxx
call 1025
mov r3, r1
mov r5, l2
dcl_max_thread_per_group 256
<output>
ret_dyn
endfunc ;__OpenCL_functions_kernel
func 1025
iadd r1.x, r1.xxxx, r1.xxxx
call 1026
ret
endfunc
func 1026
dcl_literal l5, 0x00000001, 0x00000000, 0x00000000, 0x00000000
iadd r1.x, r1.xxxx, l5.xxxx
ret_dyn
endfunc
end
)"},
    {"ThreeRegisters",
     "straight",
     "ixor r1.x, r1.xxxx, r1.yyyy",
     0,
     {},
     {"r1", "r0", "cb1[0]"},
     true,
     false,
     R"(func 1024
dcl_typeless_uav_id(11)_stride(4)_length(4)
dcl_max_thread_per_group 256
dcl_literal l0, 0x00000003, 0x00000007, 0x00000001, 0x00000002
iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx
imul r1.x, r0.xxxx, l0.xxxx
iadd r1.x, r1.xxxx, l0.yyyy
ushr r1.y, r0.xxxx, l0.zzzz
ixor r1.x, r1.xxxx, r1.yyyy
switch cb1[3].xxxx
case 0
mov r3, r1
break
case 1
mov r3, r0
break
case 2
mov r3, cb1[0]
break
default
mov r3, l4
break
endswitch
mov r5, l2
dcl_max_thread_per_group 256
<output>
ret_dyn
endfunc ;__OpenCL_straight_kernel
end
)"},
    {"PrivateUAV",
     "private_uav",
     "uav_raw_load_id(8) r4.x, l1.xxxx",
     0,
     {},
     {"PrivateUAVAccess8[32]"},
     true,
     false,
     R"(func 1024
dcl_typeless_uav_id(11)_stride(4)_length(4)
dcl_typeless_uav_id(8)_type(3)_stride(4)_length(40)
dcl_max_thread_per_group 256
dcl_literal l0, 0x00000002, 0x00000001, 0x00000000, 0x00000008
dcl_literal l1, 0x00000020, 0x00000024, 0x00000000, 0x00000000
iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx
uav_raw_store_id(8) mem0.x, l1.xxxx, r0.xxxx
uav_byte_store_id(8) mem0.x, l1.yyyy, l0.yyyy
mov r1.x, l0.zzzz
whileloop
uge r2.x, r1.xxxx, l0.wwww
break_logicalnz r2.xxxx
imul r2.y, r0.xxxx, r1.xxxx
ishl r2.z, r1.xxxx, l0.xxxx
uav_raw_store_id(8) mem0.x, r2.zzzz, r2.yyyy
iadd r1.x, r1.xxxx, l0.yyyy
endloop
mov r3.x, l0.zzzz
mov r1.x, l0.zzzz
whileloop
uge r2.x, r1.xxxx, l0.wwww
break_logicalnz r2.xxxx
ishl r2.z, r1.xxxx, l0.xxxx
uav_raw_load_id(8) r4.x, r2.zzzz
iadd r3.x, r3.xxxx, r4.xxxx
iadd r1.x, r1.xxxx, l0.yyyy
endloop
uav_raw_load_id(8) r4.x, l1.xxxx
dcl_literal l8, 0x00000020, 0x00000000, 0x00000000, 0x00000000
mov r7, l8
uav_raw_load_id(8)_a64 r6, r7.xyxy
mov r8, l3
dcl_max_thread_per_group 256
<output>
ret_dyn
endfunc ;__OpenCL_private_uav_kernel
end
)"},
    {"PrivateX1",
     "private_x1",
     "iadd x1[r1.yyyy].x, x1[3].xxxx, l1.xxxx",
     0,
     {},
     {"x1[3]"},
     false,
     true,
     R"(il_cs_2_0
dcl_cb cb0[16]
dcl_cb cb1[4]
dcl_raw_uav_id(11)
dcl_arena_uav_id(8)
dcl_literal l2, 0x00000000, 0x00000000, 0x00000000, 0x00000000
dcl_literal l3, 0x00000001, 0x00000001, 0x00000001, 0x00000001
dcl_literal l4, 0x00000002, 0x00000002, 0x00000002, 0x00000002
dcl_literal l5, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF
dcl_literal l6, 0x00000010, 0x00000010, 0x00000010, 0x00000010
mov r0, l2
mov r1, l2
mov r2, l2
mov r3, l2
mov r4, l2
mov r5, l2
mov r6, l2
mov r7, l2
mov r8, l2
mov r9, l2
mov r10, l2
call 1024
endmain
func 1024
dcl_indexed_temp_array x1[8]
dcl_max_thread_per_group 256
dcl_literal l0, 0x00000002, 0x00000001, 0x00000000, 0x00000008
dcl_literal l1, 0x000003E8, 0x00000003, 0x00000000, 0x00000000
iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx
call 1025
mov r1.y, l1.yyyy
iadd x1[r1.yyyy].x, x1[3].xxxx, l1.xxxx
mov r5, x1[3]
mov r7, l3
dcl_max_thread_per_group 256
imad r9, vThreadGrpId0, cb0[1], vTidInGrp0
iadd r9, r9, cb0[6]
inegate r8, cb0[9]
iadd r9, r9, r8
imad r9.w, r9.zzzz, cb0[0].yyyy, r9.yyyy
imad r9.w, r9.wwww, cb0[0].xxxx, r9.xxxx
ishl r9.w, r9.wwww, l4.xxxx
iadd r8.x, cb1[2].xxxx, r9.wwww
ishl r9.w, r9.wwww, l4.xxxx
iadd r6.x, cb1[1].xxxx, r9.wwww
uav_raw_store_id(11) mem0, r6.xxxx, r5
uav_raw_store_id(11) mem0.x, r8.xxxx, r7.xxxx
ret_dyn
endfunc ;__OpenCL_private_x1_kernel
func 1025
mov r1.x, l0.zzzz
whileloop
uge r2.x, r1.xxxx, l0.wwww
break_logicalnz r2.xxxx
imul r2.y, r0.xxxx, r1.xxxx
mov x1[r1.xxxx].x, r2.yyyy
iadd r1.x, r1.xxxx, l0.yyyy
endloop
ret
endfunc
end
)"},
};

INSTANTIATE_TEST_SUITE_P(Targets, PatchGoldenTest, ::testing::ValuesIn(g_PatchCases),
                         [](const ::testing::TestParamInfo<PatchCase>& info)
                         { return std::string(info.param.pName); });
} // namespace
