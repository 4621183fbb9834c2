// Patched kernels as binaries: the one-entry cache, the loading through the host, the
// debugger's arguments in the metadata, and the dump kernel of the argument constant buffer.

#include "ElfUtils.h"
#include "support/CorpusKernels.h"
#include "support/PatchDoubles.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <sstream>

namespace
{
using namespace XAN_ShaderDebugger;
using XAN_Test::CPatchKernel;
using XAN_Test::CPatchShaderIL;

const std::vector<Register> g_NoRegister(1, g_Reg_NULL);

std::unique_ptr<CPatchKernel>
Kernel(const std::string& strName,
       const std::function<void(std::string&)>& editMetadata = std::function<void(std::string&)>())
{
    const std::vector<char> vBinary =
        editMetadata ? XAN_Test::LoadEditedDebugBinary(strName, std::function<void(std::string&)>(),
                                                       editMetadata)
                     : XAN_Test::LoadDebugBinary(strName);
    EXPECT_FALSE(vBinary.empty()) << strName;
    return std::unique_ptr<CPatchKernel>(new CPatchKernel(strName, vBinary));
}

// The metadata lines of a kernel image that name one of the debugger's arguments, or "uavid".
std::vector<std::string> DebuggerMetadata(const std::vector<char>& vImage,
                                          const std::string& strKernel)
{
    std::string strMetadata;
    EXPECT_TRUE(XAN_ElfUtils::ExtractMetadataFromElf(vImage, strKernel, strMetadata));
    std::vector<std::string> vLines;
    std::istringstream text(strMetadata);
    for (std::string strLine; std::getline(text, strLine);)
    {
        if (strLine.find("__xan_debug") != std::string::npos ||
            strLine.compare(0, 7, ";uavid:") == 0)
        {
            vLines.push_back(strLine);
        }
    }
    return vLines;
}

// The one-entry cache of the patched kernel, on the kernel "straight" and a target in its body.
class PatchCacheTest : public ::testing::Test
{
protected:
    std::unique_ptr<CPatchKernel> m_pKernel = Kernel("straight");
    CPatchShaderIL& m_Shader = *m_pKernel->m_pShader;
    const ProgramCounter m_Pc{m_pKernel->At("ixor r1.x, r1.xxxx, r1.yyyy")};
};

TEST_F(PatchCacheTest, TheSameTargetTwiceBuildsOnceAndLoadsTwice)
{
    const std::vector<Register> vRegisters = {m_Shader.GetRegisterOutput(m_Pc)};
    ASSERT_TRUE(m_Shader.SwitchShader(m_Pc, vRegisters));
    ASSERT_TRUE(m_Shader.SwitchShader(m_Pc, vRegisters));
    EXPECT_EQ(1u, m_pKernel->m_Host.CountBuilds());
    ASSERT_EQ(2u, m_pKernel->m_Host.m_vShaders.size());
    EXPECT_EQ(m_pKernel->m_Host.m_vShaders[0], m_pKernel->m_Host.m_vShaders[1]);
    EXPECT_EQ(static_cast<uint32_t>(ST_Compute), m_pKernel->m_Host.m_nShaderType);

    // Another register list or another iteration is another kernel.
    ASSERT_TRUE(m_Shader.SwitchShader(m_Pc, g_NoRegister));
    EXPECT_EQ(2u, m_pKernel->m_Host.CountBuilds());
}

TEST_F(PatchCacheTest, ALoadedBinaryOfItsOwnLeavesTheCacheAlone)
{
    ASSERT_TRUE(m_Shader.SwitchShader(m_Pc, g_NoRegister));
    const char other[] = "other";
    ASSERT_TRUE(m_Shader.SetPatchedBinary(other, sizeof(other)));
    ASSERT_TRUE(m_Shader.SwitchShader(m_Pc, g_NoRegister));
    EXPECT_EQ(1u, m_pKernel->m_Host.CountBuilds());
    ASSERT_EQ(3u, m_pKernel->m_Host.m_vShaders.size());
    EXPECT_EQ(std::vector<char>(other, other + sizeof(other)), m_pKernel->m_Host.m_vShaders[1]);
    EXPECT_EQ(m_pKernel->m_Host.m_vShaders[0], m_pKernel->m_Host.m_vShaders[2]);
}

TEST_F(PatchCacheTest, AFailedBuildIsTriedAgainByTheSameRequest)
{
    ASSERT_TRUE(m_Shader.SwitchShader(ProgramCounter(0), g_NoRegister));

    // Without metadata under the kernel's name the image can't be patched.
    m_pKernel->m_Host.m_strKernel = "missing";
    EXPECT_FALSE(m_Shader.SwitchShader(m_Pc, g_NoRegister));
    EXPECT_TRUE(m_pKernel->m_Host.Logged("Failed to get metadata from ELF"));
    EXPECT_EQ(g_PC_NULL, m_Shader.m_LastPatchTarget);
    EXPECT_TRUE(m_Shader.m_LastPatchRegisters.empty());
    EXPECT_EQ(1u, m_pKernel->m_Host.m_vShaders.size());

    m_pKernel->m_Host.m_strKernel = "straight";
    EXPECT_TRUE(m_Shader.SwitchShader(m_Pc, g_NoRegister));
    EXPECT_EQ(3u, m_pKernel->m_Host.CountBuilds());
}

TEST_F(PatchCacheTest, RestoreFreesTheBinaryOnlyWhenDiscarding)
{
    ASSERT_TRUE(m_Shader.SwitchShader(ProgramCounter(0), g_NoRegister));
    EXPECT_TRUE(m_Shader.RestoreShader(false));
    EXPECT_NE(nullptr, m_Shader.GetPatchedShader());
    EXPECT_TRUE(m_Shader.RestoreShader(true));
    EXPECT_EQ(nullptr, m_Shader.GetPatchedShader());
    EXPECT_EQ(0u, m_Shader.GetPatchedShaderSize());
    EXPECT_EQ(g_PC_NULL, m_Shader.m_LastPatchTarget);
    ASSERT_TRUE(m_Shader.SwitchShader(ProgramCounter(0), g_NoRegister));
    EXPECT_EQ(2u, m_pKernel->m_Host.CountBuilds());
}

TEST_F(PatchCacheTest, RefusedRequestsLoadNothing)
{
    EXPECT_EQ(nullptr, m_Shader.EnsurePatchedShader(g_PC_NULL, std::vector<Register>()));
    m_pKernel->m_Host.m_bSetShaderResult = false;
    EXPECT_FALSE(m_Shader.SwitchShader(ProgramCounter(0), g_NoRegister));
    m_pKernel->m_Host.m_bSetShaderResult = true;

    // The end of the main program is no position of a run.
    EXPECT_FALSE(m_Shader.SwitchShader(ProgramCounter(m_pKernel->At("endmain")), g_NoRegister));
    EXPECT_TRUE(m_pKernel->m_Host.Logged("The end of the main program can't be a target"));
    EXPECT_EQ(1u, m_pKernel->m_Host.m_vShaders.size());

    // A kernel that the analysis refused isn't patched.
    std::unique_ptr<CPatchKernel> pRefused =
        Kernel("straight", [](std::string& strText)
               { EXPECT_TRUE(XAN_Test::ReplaceFirst(strText, "larkspur", "sorrel")); });
    ASSERT_FALSE(pRefused->m_pShader->IsShaderDebuggable(1));
    EXPECT_FALSE(pRefused->m_pShader->SwitchShader(ProgramCounter(0), g_NoRegister));
    EXPECT_TRUE(pRefused->m_Host.m_vShaders.empty());
}

// The bits that the text shows only in passing: the 64-bit address flag of the stores, the
// write mask .xy and the zero fill .w000 of the 64-bit address, the dimension of cb1.
TEST(PatchTokenTest, TheAddressOfARecordHasItsBits)
{
    std::unique_ptr<CPatchKernel> pKernel = Kernel("straight");
    CPatchShaderIL& shader = *pKernel->m_pShader;
    const char* pData = reinterpret_cast<const char*>(shader.GetShaderData());
    std::vector<unsigned int> vTokens;
    ASSERT_TRUE(XAN_ElfUtils::ExtractBinaryILFromElf(
        std::vector<char>(pData, pData + shader.GetShaderDataSize()), vTokens));
    CInputTokenStream<unsigned int> src(&shader, vTokens.data(), vTokens.size());
    COutputTokenStream<unsigned int> dest(&shader, vTokens.size());
    ASSERT_TRUE(shader.PatchIL(src, dest, ProgramCounter(0), g_NoRegister));
    const std::vector<unsigned int> vOut(dest.GetStream(),
                                         dest.GetStream() + dest.GetTokensWritten());

    // i64add r6.xy, cb1[2].xyxy, r7.w000: rF, the exec-mask base at K + 1, rI.
    const unsigned int i64add[] = {408, 0x00440006, 0x5, 0x025F0001, 0x1010, 2, 0x00440007, 0x4443};
    // uav_raw_store_id(12)_a64 mem0, r4.xyxy, r3 and uav_raw_store_id(13)_a64 mem0.x, ...
    const unsigned int stores[] = {228 | (12u << 16) | (1u << 29), 0x002F0000,
                                   228 | (13u << 16) | (1u << 29), 0x006F0000, 0x1};
    EXPECT_NE(vOut.end(),
              std::search(vOut.begin(), vOut.end(), std::begin(i64add), std::end(i64add)));
    EXPECT_NE(vOut.end(), std::search(vOut.begin(), vOut.end(), stores, stores + 2));
    EXPECT_NE(vOut.end(), std::search(vOut.begin(), vOut.end(), stores + 2, stores + 5));
}

struct MetadataCase
{
    const char* pKernel;
    // Replaces the kernel's "uavid" entry when not null.
    const char* pUavId;
    std::vector<std::string> vExpected;
};

class PatchMetadataTest : public ::testing::TestWithParam<MetadataCase>
{
};

TEST_P(PatchMetadataTest, TheDebuggerArgumentsFollowTheKernelsOwn)
{
    const MetadataCase& metadataCase = GetParam();
    std::function<void(std::string&)> edit;
    if (metadataCase.pUavId != nullptr)
    {
        const std::string strUavId = metadataCase.pUavId;
        edit = [strUavId](std::string& strText)
        { EXPECT_TRUE(XAN_Test::ReplaceFirst(strText, ";uavid:11", strUavId)); };
    }
    std::unique_ptr<CPatchKernel> pKernel = Kernel(metadataCase.pKernel, edit);
    ASSERT_TRUE(pKernel->m_pShader->SwitchShader(ProgramCounter(0), g_NoRegister));
    EXPECT_EQ(metadataCase.vExpected,
              DebuggerMetadata(pKernel->m_Host.m_vShaders.back(), metadataCase.pKernel));
}

// Offsets 16K, 16K + 16 and 16K + 32 behind the kernel's K rows; the older family stores through
// the one raw UAV, to which the kernel's own buffers move.
INSTANTIATE_TEST_SUITE_P(
    Families, PatchMetadataTest,
    ::testing::Values(
        MetadataCase{"straight",
                     nullptr,
                     {";uavid:11", ";pointer:__xan_debug_result:float:1:1:16:uav:12:16:RW:0:0",
                      ";pointer:__xan_debug_execMask:i32:1:1:32:uav:13:4:RW:0:0",
                      ";value:__xan_debug_outputSelector:i32:1:1:48"}},
        MetadataCase{"private_x1",
                     ";uavid:9",
                     {";uavid:11", ";pointer:__xan_debug_result:float:1:1:16:uav:11:16:RW:0:0",
                      ";pointer:__xan_debug_execMask:i32:1:1:32:uav:11:4:RW:0:0",
                      ";value:__xan_debug_outputSelector:i32:1:1:48"}}));

struct DumpCase
{
    const char* pName;
    // Replaces the kernel's pointer entry.
    const char* pArguments;
};

std::ostream& operator<<(std::ostream& os, const DumpCase& dumpCase)
{
    return os << dumpCase.pName;
}

class CBDumpTest : public ::testing::TestWithParam<DumpCase>
{
};

TEST_P(CBDumpTest, TheDumpKernelCopiesEachArgumentRow)
{
    const std::string strArguments = GetParam().pArguments;
    std::unique_ptr<CPatchKernel> pKernel =
        Kernel("straight",
               [strArguments](std::string& strText)
               {
                   EXPECT_TRUE(XAN_Test::ReplaceFirst(
                       strText, ";pointer:out:u32:1:1:0:uav:11:4:RW:0:0\n", strArguments));
               });
    CPatchShaderIL& shader = *pKernel->m_pShader;
    void* pKernelBinary = nullptr;
    size_t nSize = 0;
    ASSERT_TRUE(shader.CreateCBDumpShader(&pKernelBinary, &nSize));
    const char* pBytes = static_cast<const char*>(pKernelBinary);
    const std::vector<char> vImage(pBytes, pBytes + nSize);
    std::free(pKernelBinary);
    const std::string strGolden =
        XAN_Test::ReadFile(std::string(XAN_TEST_DATA_DIR "/Dump") + GetParam().pName + ".il");
    ASSERT_FALSE(strGolden.empty()) << GetParam().pName;
    EXPECT_EQ(strGolden, XAN_Test::DebugILText(vImage));

    EXPECT_EQ(std::string(vImage.begin(), vImage.end()), XAN_Test::ReadFile("dumpcb.elf"));
    // The dump kernel isn't the cached patched kernel.
    EXPECT_EQ(nullptr, shader.GetPatchedShader());
    EXPECT_EQ(0u, pKernel->m_Host.CountBuilds());
}

INSTANTIATE_TEST_SUITE_P(Rows, CBDumpTest,
                         ::testing::Values(DumpCase{"K0", ";function:1:1025\n"},
                                           DumpCase{"K3", ";pointer:out:u32:1:1:0:uav:11:4:RW:0:0\n"
                                                          ";value:a:i32:1:1:16\n"
                                                          ";value:b:i32:4:1:32\n"}),
                         [](const ::testing::TestParamInfo<DumpCase>& info)
                         { return std::string(info.param.pName); });
} // namespace
