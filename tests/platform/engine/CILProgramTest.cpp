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
std::unique_ptr<CILProgram> LoadTokens(const std::vector<uint32_t>& vTokens, std::string& strError)
{
    return CILProgram::Load(vTokens.data(), vTokens.size(), strError);
}
} // namespace

// Opcodes that can't run, unbalanced flow control, calls of undefined functions or recursion,
// contradicting declarations and operands the device can't use.
TEST(CILProgram, RefusalsNameTheLineAndTheCause)
{
    // Each case of the file: a program, then "=> " and the loader's message.
    size_t nCases = 0;
    std::string strText;
    for (const std::string& strLine : ReadLines(XAN_ENGINE_TEST_DATA_DIR "/refusals.il"))
    {
        if (strLine.compare(0, 3, "=> ") == 0)
        {
            ++nCases;
            std::string strError;
            EXPECT_FALSE(LoadProgram(strText, strError)) << strText;
            EXPECT_EQ(strLine.substr(3), strError) << strText;
        }
        strText = strLine == "---" ? "" : strText + strLine + "\n";
    }
    EXPECT_EQ(26u, nCases);

    // The same declaration twice is no contradiction.
    std::string strError;
    EXPECT_TRUE(LoadProgram("il_cs_2_0\ncall 1024\nendmain\nfunc 1024\n"
                            "dcl_literal l1, 1, 2, 3, 4\ndcl_literal l1, 1, 2, 3, 4\n"
                            "dcl_max_thread_per_group 64\ndcl_max_thread_per_group 64\n"
                            "ret\nendfunc\nend\n",
                            strError))
        << strError;

    // A relation beyond le, which the assembler can't write.
    CILAssembler assembler;
    std::vector<uint32_t> vTokens;
    ASSERT_TRUE(assembler.Assemble("il_cs_2_0\nifc_relop(le) r0, r1\nendif\nend\n", vTokens));
    ASSERT_EQ(52u, vTokens[2] & 0xFFFF);
    vTokens[2] |= 7u << 16;
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
    std::unique_ptr<CILProgram> pProgram =
        LoadProgram(ReadFile(XAN_ENGINE_TEST_DATA_DIR "/declarations_anywhere.il"));
    ASSERT_TRUE(pProgram);
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
