#include "DX9Session.h"

#include "CDX9Decoder.h"
#include "CDX9Disassembler.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

using namespace XAN_ShaderDebugger;
using namespace XAN_Test;

namespace
{
struct LoopCase
{
    uint32_t nStart;
    uint32_t nEnd;
    uint32_t nConstIntReg;
    uint32_t nPatchedConstIntReg;
    uint32_t nIterations;
};

struct AnalysisCase
{
    const char* pFile;
    bool bDebuggable;
    uint32_t nFreeConstReg;
    uint32_t nOutputTempReg;
    uint32_t nFlagTempReg;
    std::vector<LoopCase> vLoops;
};

const AnalysisCase s_AnalysisCases[] = {
    {"comments.asm", true, 1, 1, 2, {}},
    {"expression.asm", true, 1, 1, 2, {}},
    {"ifc.asm", true, 1, 1, 2, {}},
    {"ifelse.asm", true, 1, 3, 4, {}},
    {"loops.asm", true, 1, 2, 3, {{2, 10, 0, 2, 3}, {4, 7, 1, 3, 4}, {11, 13, 0, 4, 3}}},
    {"predication.asm", true, 1, 1, 2, {}},
    // Only two temporaries, both written: nothing is free.
    {"ps11.asm", false, 1, 65535, 65535, {}},
    // c[aL].x reads c0, and c[aL + 9] reads c9.
    {"relative.asm", true, 1, 1, 2, {{1, 3, 0, 2, 3}, {4, 6, 1, 3, 2}}},
    {"straight.asm", true, 2, 9, 10, {}},
};

class DX9AnalysisTest : public ::testing::TestWithParam<AnalysisCase>
{
};

TEST_P(DX9AnalysisTest, FindsFreeRegistersLoopsAndLines)
{
    const AnalysisCase& c = GetParam();
    CDX9Session session(ReadDX9Corpus(c.pFile));
    std::unique_ptr<CShaderDebuggerShaderDX9> pShader = session.MakeShader();
    ShaderInfo info;
    ASSERT_TRUE(pShader->GetShaderInfo(&info));
    EXPECT_EQ(c.bDebuggable ? 1u : 0u, info.nDebuggableModes);
    EXPECT_EQ(c.bDebuggable ? 1u : 0u, info.nSupportedModes);
    EXPECT_EQ(c.bDebuggable ? 1u : 0u, info.nShaderType);
    EXPECT_EQ(16u, info.strHash.size());
    EXPECT_EQ(c.nFreeConstReg, pShader->GetFreeConstReg());
    EXPECT_EQ(c.nOutputTempReg, pShader->GetOutputTempReg());
    EXPECT_EQ(c.nFlagTempReg, pShader->GetFlagTempReg());
    ASSERT_EQ(c.vLoops.size(), pShader->GetLoops().size());
    for (const LoopCase& loop : c.vLoops)
    {
        ASSERT_EQ(1u, pShader->GetLoops().count(loop.nStart)) << loop.nStart;
        const LoopDX9& found = pShader->GetLoops().at(loop.nStart);
        EXPECT_EQ(loop.nEnd, found.end.m_nPos);
        EXPECT_EQ(loop.nConstIntReg, found.nConstIntReg);
        EXPECT_EQ(loop.nPatchedConstIntReg, found.nPatchedConstIntReg);
        EXPECT_EQ(loop.nIterations, found.nIterations);
    }

    // Each instruction's line is its line in the disassembly, counted from 0.
    XAN_Platform::SDX9Shader decoded;
    XAN_Platform::CDX9Decoder decoder;
    ASSERT_TRUE(decoder.Decode(session.m_vTokens.data(), session.m_vTokens.size(), decoded));
    std::vector<unsigned int> vLines;
    XAN_Platform::CDX9Disassembler::Disassemble(decoded, vLines);
    uint32_t nInstruction = 0;
    for (size_t i = 0; i < decoded.vInstructions.size(); ++i)
    {
        if (decoded.vInstructions[i].IsExecutable())
        {
            EXPECT_EQ(vLines[i] - 1, pShader->GetLineFromInstruction(nInstruction)) << i;
            ++nInstruction;
        }
    }
    EXPECT_EQ(nInstruction, pShader->GetInstructionCount());

    // The codec writes every instruction back as it read it.
    std::unique_ptr<CShaderDebuggerInstructionDX9> pInstr(
        new CShaderDebuggerInstructionDX9(session.m_pDebugger));
    CInputTokenStream<uint32_t> in(NULL, session.m_vTokens.data(), session.m_vTokens.size());
    COutputTokenStream<uint32_t> out(NULL, 16);
    while (pInstr->ReadInstruction(in))
    {
        ASSERT_TRUE(pInstr->WriteInstruction(out));
    }
    EXPECT_EQ(session.m_vTokens,
              std::vector<uint32_t>(out.GetStream(), out.GetStream() + out.GetTokensWritten()));
}

INSTANTIATE_TEST_SUITE_P(Corpus, DX9AnalysisTest, ::testing::ValuesIn(s_AnalysisCases),
                         [](const ::testing::TestParamInfo<AnalysisCase>& info)
                         {
                             const std::string strFile = info.param.pFile;
                             return strFile.substr(0, strFile.find('.'));
                         });

TEST(DX9AnalysisRefusalTest, VertexShadersAndEmptyDataAreRefusedWithAReason)
{
    CDX9Session session("vs_3_0\nmov r0, v0\n");
    std::unique_ptr<CShaderDebuggerShaderDX9> pShader = session.MakeShader();
    ShaderInfo info;
    pShader->GetShaderInfo(&info);
    EXPECT_EQ(0u, info.nDebuggableModes);
    EXPECT_EQ(0u, info.nShaderType);
    for (const std::string& strError : info.strError)
    {
        EXPECT_EQ("Vertex shaders are not yet supported.", strError);
    }
    EXPECT_FALSE(pShader->StartDebugging(1));
    // Its keywords come from the vertex table.
    std::vector<std::string> vKeywords;
    ASSERT_TRUE(pShader->GetShaderKeywords(vKeywords, 1));
    EXPECT_NE(std::string::npos, vKeywords[0].find(" vs_3_0 "));

    CShaderDebuggerShaderDX9 empty(session.m_pDebugger, NULL, 0);
    EXPECT_FALSE(empty.IsShaderDebuggable(1));
    EXPECT_FALSE(empty.GetShaderText(vKeywords[0], 1));
}

TEST(DX9AnalysisInputTest, DeclaredInputAndTextureRegistersKeepTheirMasks)
{
    // dcl t0.xy and dcl v0.
    CDX9Session session(ReadDX9Corpus("straight.asm"));
    std::unique_ptr<CShaderDebuggerShaderDX9> pShader = session.MakeShader();
    EXPECT_EQ(2u, pShader->GetInputCount());
    EXPECT_EQ(COMP_All, pShader->GetInputMask()[0]);
    EXPECT_EQ(COMP_xy, pShader->GetTextureMask()[0]);
    EXPECT_EQ(0, pShader->GetInputMask()[1]);
}

TEST(DX9AnalysisHeaderTest, HeaderLinesWithAndWithoutPreshader)
{
    const struct
    {
        const char* pText;
        uint32_t nLines;
    } cases[] = {
        {"ps_3_0\nmov r0, c0\n", 0},
        {"// a\n//\n\nps_3_0\n", 3},
        // The block after the first comment run is counted up to the next comment line.
        {"// header\npreshader\n0x1 0x2\n// after\nps_3_0\n", 4},
        {"// header\n// preshader\nmov\nadd\n//\n\nps_3_0\n", 6},
    };
    for (const auto& c : cases)
    {
        EXPECT_EQ(c.nLines, CShaderDebuggerShaderDX9::CountHeaderLines(c.pText)) << c.pText;
    }
}

TEST(DX9KeywordTest, AssemblerWordsFollowTheVersionAndHLSLHasFiveClasses)
{
    const auto has = [](const std::string& strEntry, const std::string& strWord)
    { return strEntry.find(" " + strWord + " ") != std::string::npos; };

    CDX9Session ps3(ReadDX9Corpus("loops.asm"));
    std::vector<std::string> vWords;
    ASSERT_TRUE(ps3.MakeShader()->GetShaderKeywords(vWords, 0));
    ASSERT_EQ(2u, vWords.size());
    EXPECT_EQ("1 ", vWords[0].substr(0, 2));
    EXPECT_EQ("7 ", vWords[1].substr(0, 2));
    for (const char* pWord : {"mov", "mov_sat", "mov_pp", "mov_sat_pp", "loop", "dcl_texcoord3",
                              "dcl_texcoord3_centroid", "setp_gt"})
    {
        EXPECT_TRUE(has(vWords[0], pWord)) << pWord;
    }
    // Words of other models.
    for (const char* pWord : {"texcoord", "phase", "mov_x2", "cnd"})
    {
        EXPECT_FALSE(has(vWords[0], pWord)) << pWord;
    }
    for (const char* pWord : {"r31", "c223", "c100_abs", "oC3", "aL", "vFace"})
    {
        EXPECT_TRUE(has(vWords[1], pWord)) << pWord;
    }

    CDX9Session ps2(ReadDX9Corpus("straight.asm"));
    ASSERT_TRUE(ps2.MakeShader()->GetShaderKeywords(vWords, 1));
    EXPECT_FALSE(has(vWords[0], "loop"));
    EXPECT_FALSE(has(vWords[0], "rep"));
    EXPECT_FALSE(has(vWords[1], "r12"));
    EXPECT_TRUE(has(vWords[1], "r11"));

    ASSERT_TRUE(ps2.MakeShader()->GetShaderKeywords(vWords, 4));
    const char* beginnings[] = {"1 ", "8 bool bool1 bool2 ", "9 BINORMAL BINORMAL0 ",
                                "11 auto break case ", "6 abs acos all "};
    ASSERT_EQ(5u, vWords.size());
    for (size_t i = 0; i < 5; ++i)
    {
        EXPECT_EQ(0u, vWords[i].find(beginnings[i])) << vWords[i].substr(0, 40);
    }
    EXPECT_FALSE(ps2.MakeShader()->GetShaderKeywords(vWords, 2));
    EXPECT_TRUE(vWords.empty());
}

// A patched shader and the text it disassembles to, kept in golden/.
struct GoldenCase
{
    const char* pFile;
    uint32_t nTarget;
    const char* pGolden;
};

const GoldenCase s_GoldenCases[] = {
    {"straight.asm", 0, "straight_0"},
    // mul r1 inside the if, sub r1 inside the else, the if_lt itself.
    {"ifelse.asm", 2, "ifelse_if"},
    {"ifelse.asm", 5, "ifelse_else"},
    {"ifelse.asm", 1, "ifelse_flow"},
    // add r1.y inside the rep inside the loop, and add r0.y behind it in the loop.
    {"loops.asm", 6, "loops_rep"},
    {"loops.asm", 8, "loops_loop"},
    {"golden/if_in_rep.asm", 3, "if_in_rep"},
    // mad oC0 shows its first source, r0.
    {"expression.asm", 1, "expression_oC0"},
};

class DX9GoldenTest : public ::testing::TestWithParam<GoldenCase>
{
};

std::string ReadShaderText(const std::string& strFile)
{
    return strFile.rfind("golden/", 0) == 0
               ? ReadFile(std::string(XAN_TEST_DATA_DIR) + "/" + strFile.substr(7))
               : ReadDX9Corpus(strFile);
}

TEST_P(DX9GoldenTest, PatchedShaderDisassemblesToItsGoldenTextAndDraws)
{
    const GoldenCase& c = GetParam();
    CDX9Session session(ReadShaderText(c.pFile));
    std::unique_ptr<CShaderDebuggerShaderDX9> pShader = session.MakeShader();
    COutputTokenStream<uint32_t> out(pShader.get(), 16);
    Register destReg;
    ASSERT_TRUE(pShader->WritePatchedShader(c.nTarget, out, destReg));
    EXPECT_EQ(pShader->GetRegisterOutput(ProgramCounter(c.nTarget)), destReg);
    const std::vector<uint32_t> vPatched(out.GetStream(), out.GetStream() + out.GetTokensWritten());
    XAN_Platform::CDX9Disassembler disassembler;
    std::string strText;
    ASSERT_TRUE(disassembler.Disassemble(vPatched.data(), vPatched.size(), strText))
        << disassembler.GetError();

    const std::string strGolden = std::string(XAN_TEST_DATA_DIR) + "/" + c.pGolden + ".txt";
    if (std::getenv("XAN_UPDATE_GOLDEN") != NULL)
    {
        std::ofstream(strGolden) << strText;
    }
    EXPECT_EQ(ReadFile(strGolden), strText);

    std::vector<float> vTargets(2 * CDX9Session::WIDTH * CDX9Session::HEIGHT * 4);
    std::array<XAN_Platform::SDX9Target, 4> targets;
    targets[0] = {XAN_Platform::DX9_TARGET_RGBA32F, vTargets.data()};
    targets[1] = {XAN_Platform::DX9_TARGET_RGBA32F, vTargets.data() + vTargets.size() / 2};
    XAN_Platform::CDX9Executor executor;
    EXPECT_TRUE(executor.Draw(vPatched.data(), vPatched.size(), CDX9Session::WIDTH,
                              CDX9Session::HEIGHT, XAN_Platform::SDX9Constants(), targets, false))
        << executor.GetError();
}

INSTANTIATE_TEST_SUITE_P(Targets, DX9GoldenTest, ::testing::ValuesIn(s_GoldenCases),
                         [](const ::testing::TestParamInfo<GoldenCase>& info)
                         { return std::string(info.param.pGolden); });

TEST(DX9PatchTokenTest, PrologueAndEpilogueBits)
{
    CDX9Session session(ReadDX9Corpus("straight.asm"));
    std::unique_ptr<CShaderDebuggerShaderDX9> pShader = session.MakeShader();
    COutputTokenStream<uint32_t> out(pShader.get(), 16);
    Register destReg;
    ASSERT_TRUE(pShader->WritePatchedShader(0, out, destReg));
    const std::vector<uint32_t> vPatched(out.GetStream(), out.GetStream() + out.GetTokensWritten());
    // Free constant c2, temporaries r9 and r10. The prologue stands behind the declarations.
    const std::vector<uint32_t> vPrologue = {0x05000051, 0xA00F0002, 0x3F800000,
                                             0x3F800000, 0x3F800000, 0x00000000,  // def c2
                                             0x02000001, 0x800F0009, 0xA0FF0002,  // mov r9, c2.w
                                             0x02000001, 0x800F000A, 0xA0FF0002}; // mov r10, c2.w
    const std::vector<uint32_t> vEpilogue = {0x02000001, 0x800F0009, 0x80E40000,  // mov r9, r0
                                             0x02000001, 0x800F000A, 0xA0E40002,  // mov r10, c2
                                             0x02000001, 0x800F0800, 0x80E40009,  // mov oC0, r9
                                             0x02000001, 0x800F0801, 0x80E4000A,  // mov oC1, r10
                                             0x0000FFFF};
    const size_t nDeclarations = 3 + 3 + 6; // two dcl and the shader's def
    ASSERT_GT(vPatched.size(), 1 + nDeclarations + vPrologue.size() + vEpilogue.size());
    EXPECT_EQ(vPrologue,
              std::vector<uint32_t>(vPatched.begin() + 1 + nDeclarations,
                                    vPatched.begin() + 1 + nDeclarations + vPrologue.size()));
    EXPECT_EQ(vEpilogue, std::vector<uint32_t>(vPatched.end() - vEpilogue.size(), vPatched.end()));
}
} // namespace
