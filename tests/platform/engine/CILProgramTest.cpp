// What the loader refuses, with the line and the cause, and what it gathers from
// the declarations.
#include "EngineTestSupport.h"

#include "CILAssembler.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

using namespace XAN_Platform;
using namespace XAN_Test;

namespace
{
// The loader's message for a program of one kernel function, or "" if it loads.
std::string Refusal(const std::string& strFunctionBody, const std::string& strAfter = "",
                    const std::string& strMain = "call 1024\n")
{
    std::string strError;
    std::unique_ptr<CILProgram> pProgram =
        LoadProgram("il_cs_2_0\n" + strMain + "endmain\nfunc 1024\n" + strFunctionBody +
                        "ret\nendfunc\n" + strAfter + "end\n",
                    strError);
    return pProgram ? std::string() : strError;
}

std::unique_ptr<CILProgram> LoadTokens(const std::vector<uint32_t>& vTokens, std::string& strError)
{
    return CILProgram::Load(vTokens.data(), vTokens.size(), strError);
}
} // namespace

TEST(CILProgram, OpcodesThatCantRunAreRefusedWithLineAndName)
{
    // Line 1 header, 2 call, 3 endmain, 4 func, 5 and on the body.
    EXPECT_EQ("line 6: 'loop' (62) cannot be executed on this device",
              Refusal("mov r0, r1\nloop i0\nendloop\n"));
    EXPECT_EQ("line 5: 'uav_load' (224) cannot be executed on this device",
              Refusal("uav_load_id(1) r0, r1\n"));
    EXPECT_EQ("line 5: 'dcl_input' (126) cannot be executed on this device",
              Refusal("dcl_input v0\n"));
}

TEST(CILProgram, FlowControlMustBeBalanced)
{
    EXPECT_EQ("line 5: else without an open if", Refusal("else\n"));
    EXPECT_EQ("line 6: endif without an open if", Refusal("whileloop\nendif\n"));
    EXPECT_EQ("line 5: endloop without an open whileloop", Refusal("endloop\n"));
    EXPECT_EQ("line 6: 'break' (6) outside a whileloop or switch",
              Refusal("if_logicalnz r0.x\nbreak\nendif\n"));
    EXPECT_EQ("line 7: 'continue' (16) outside a whileloop",
              Refusal("switch r0.x\ncase 1\ncontinue\nendswitch\n"));
    EXPECT_EQ("line 6: 'case' (105) without an open switch", Refusal("mov r0, r1\ncase 3\n"));
    EXPECT_EQ("line 7: a switch has a second default",
              Refusal("switch r0.x\ndefault\ndefault\nendswitch\n"));
    EXPECT_EQ("line 8: 'if_logicalnz' (112) of line 5 is never closed",
              Refusal("if_logicalnz r0.x\nmov r0, r1\n"));
}

TEST(CILProgram, CallsMustReachDefinedFunctionsWithoutRecursion)
{
    EXPECT_EQ("line 5: call of function 7, which is not defined", Refusal("call 7\n"));
    EXPECT_EQ("line 8: the function or macro here calls itself, directly or through others",
              Refusal("call 1025\n", "func 1025\ncall 1026\nret\nendfunc\n"
                                     "func 1026\ncall 1025\nendfunc\n"));
    EXPECT_EQ("line 7: function 1024 is defined twice", Refusal("", "func 1024\nendfunc\n"));
    EXPECT_EQ("line 7: macro 3 is not defined",
              Refusal("mov r0, r1\nmov r1, r2\nmcall(3) (), ()\n"));
}

TEST(CILProgram, DeclarationsThatContradictEachOther)
{
    EXPECT_EQ("line 6: l1 is declared again with other values",
              Refusal("dcl_literal l1, 1, 2, 3, 4\ndcl_literal l1, 1, 2, 3, 5\n"));
    EXPECT_EQ("line 7: the function declares its work-group size twice, with different values",
              Refusal("dcl_max_thread_per_group 64\nmov r0, r1\ndcl_max_thread_per_group 128\n"));
    EXPECT_EQ("", Refusal("dcl_literal l1, 1, 2, 3, 4\ndcl_literal l1, 1, 2, 3, 4\n"
                          "dcl_max_thread_per_group 64\ndcl_max_thread_per_group 64\n"));
    EXPECT_EQ("line 5: x0 must have 1 to 4096 elements",
              Refusal("dcl_indexed_temp_array x0[5000]\n"));
}

TEST(CILProgram, OperandsTheDeviceCantUse)
{
    EXPECT_EQ("line 5: x2 is used but never declared", Refusal("mov r0, x2[1]\n"));
    EXPECT_EQ("line 5: cb2 is not bound on this device (only cb0 and cb1)",
              Refusal("mov r0, cb2[0]\n"));
    EXPECT_EQ("line 5: in0 can only be used inside a macro", Refusal("mov r0, in0\n"));
    EXPECT_EQ("line 5: l1 cannot be written", Refusal("mov l1, r0\n"));
    EXPECT_EQ("line 5: the destination of 'uav_raw_store' (228) must be mem",
              Refusal("uav_raw_store_id(11) r0.x, r1.x, r2.x\n"));
    EXPECT_EQ("line 5: relative addressing through an address register is not supported",
              Refusal("mov r0, cb1[rel(0)]\n"));
    EXPECT_EQ("line 5: extended operands are not supported", Refusal("mov r0, r1_ext(1)\n"));
    EXPECT_EQ("line 5: the sources of 'uav_raw_load' (225) cannot be negated or made absolute",
              Refusal("uav_raw_load_id(11) r0, -r1\n"));

    // A relation beyond le, which the assembler can't write.
    CILAssembler assembler;
    std::vector<uint32_t> vTokens;
    ASSERT_TRUE(assembler.Assemble("il_cs_2_0\nifc_relop(le) r0, r1\nendif\nend\n", vTokens));
    ASSERT_EQ(52u, vTokens[2] & 0xFFFF);
    vTokens[2] |= 7u << 16;
    std::string strError;
    EXPECT_FALSE(LoadTokens(vTokens, strError));
    EXPECT_EQ("line 2: 'ifc' (52) has an unknown relation", strError);
}

TEST(CILProgram, StreamsThatAreNoComputeProgram)
{
    std::string strError;
    EXPECT_FALSE(CILProgram::Load(nullptr, 5, strError));
    EXPECT_EQ("line 1: the program has no language and version tokens", strError);
    EXPECT_FALSE(LoadProgram("il_ps_2_0\nend\n", strError));
    EXPECT_EQ("line 1: only compute kernels (il_cs) can run on this device", strError);

    CILAssembler assembler;
    std::vector<uint32_t> vTokens;
    ASSERT_TRUE(assembler.Assemble("il_cs_2_0\nmov r0, r1\nend\n", vTokens));
    ASSERT_TRUE(LoadTokens(vTokens, strError)) << strError;
    vTokens.pop_back();
    EXPECT_FALSE(LoadTokens(vTokens, strError));
    EXPECT_EQ("line 3: the program has no end", strError);
    vTokens.push_back(0x28);
    vTokens.push_back(0x28);
    EXPECT_FALSE(LoadTokens(vTokens, strError));
    EXPECT_EQ("line 4: tokens follow the end of the program", strError);
    // mov with its source token cut off.
    const std::vector<uint32_t> vTruncated(vTokens.begin(), vTokens.begin() + 4);
    EXPECT_FALSE(LoadTokens(vTruncated, strError));
    EXPECT_EQ(0u, strError.find("line 2: "));
}

TEST(CILProgram, DeclarationsAreGatheredFromAnywhere)
{
    std::string strError;
    std::unique_ptr<CILProgram> pProgram =
        LoadProgram(ReadFile(XAN_ENGINE_TEST_DATA_DIR "/declarations_anywhere.il"), strError);
    ASSERT_TRUE(pProgram) << strError;
    EXPECT_TRUE(pProgram->GetWarnings().empty());
    EXPECT_EQ(40u, pProgram->GetPrivateMemoryBytes());
    EXPECT_TRUE(pProgram->IsPrivateUAV(9));
    EXPECT_FALSE(pProgram->IsPrivateUAV(11));
    EXPECT_EQ(320u, pProgram->GetLocalMemoryBytes());
    SThreadGroupDeclaration group;
    ASSERT_TRUE(pProgram->GetThreadGroupDeclaration(1024, group));
    EXPECT_EQ(128u, group.nMaxThreads);
    EXPECT_FALSE(pProgram->GetThreadGroupDeclaration(1025, group));
    EXPECT_EQ(8u, pProgram->GetMainThreadGroupDeclaration().vNumThreads[0]);
    EXPECT_EQ(2u, pProgram->GetMainThreadGroupDeclaration().vNumThreads[2]);
}
