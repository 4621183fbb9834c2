// Patched shaders against goldens: the disassembly, the output signature, the compute binding and
// the program's tokens; every container hashed and taken by vkd3d.
#include "DXXShaderFixture.h"

#include "CDXBCContainerWriter.h"
#include "CTpfDisassembler.h"
#include "support/TestSupport.h"
#include "support/graphics/Vkd3dCheck.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

using namespace XAN_ShaderDebugger;
using namespace XAN_Test;

namespace
{
struct PatchCase
{
    const char* pName;
    const char* pFile;
    bool bDX11;
    std::uint32_t nTarget;
    std::vector<LoopState> vLoops; // outermost first
    Register input;                // an input dump when not null
};

Register Input(RegisterType type, int nNumber, unsigned short nMask)
{
    return Register(RegisterID(type, nNumber, 0, NULL), nMask);
}

const PatchCase s_Cases[] = {
    {"ps_target0", "ps_straight.dxx", false, 0, {}, g_Reg_NULL},
    {"ps_else", "ps_icb.dxx", false, 4, {}, g_Reg_NULL},
    {"ps_odepth", "ps_icb.dxx", false, 6, {}, g_Reg_NULL},
    {"ps_flow_target", "ps_icb.dxx", false, 1, {}, g_Reg_NULL},
    {"ps_nested_2_1", "ps_nested.dxx", false, 9, {{2, 13, 2}, {6, 11, 1}}, g_Reg_NULL},
    {"ps_continue", "ps_continue.dxx", false, 7, {{1, 13, 3}}, g_Reg_NULL},
    {"ps_twodest", "ps_twodest.dxx", true, 1, {}, g_Reg_NULL},
    {"vs_before_position", "vs_position.dxx", false, 0, {}, g_Reg_NULL},
    {"cs_store", "cs_twodest.dxx", true, 0, {}, g_Reg_NULL},
    {"ps_input_dump", "ps_straight.dxx", false, 0, {}, Input(RT_Input, 0, COMP_xy)},
    {"vs_input_dump", "vs_position.dxx", true, 0, {}, Input(RT_Input, 0, COMP_All)},
    {"cs_input_dump", "cs_twodest.dxx", true, 0, {}, Input(RT_vAbsTid, 0, COMP_xy)},
};

void PrintTo(const PatchCase& c, std::ostream* pStream)
{
    *pStream << c.pName;
}

// The patched container as the golden holds it.
std::string Describe(const std::vector<std::uint8_t>& vContainer)
{
    D3D10ShaderObject::CShaderObject shader(vContainer.data(), vContainer.size());
    std::ostringstream out;
    const std::uint8_t* pChunk = shader.GetShaderChunk();
    if (pChunk == nullptr)
    {
        return "no program\n";
    }
    std::vector<std::uint32_t> vTokens((shader.GetShaderChunkSize() - 8) / 4);
    std::memcpy(vTokens.data(), pChunk + 8, vTokens.size() * 4);
    std::string strText;
    XAN_Platform::CTpfDisassembler disassembler;
    if (!disassembler.Disassemble(vTokens.data(), vTokens.size(), strText))
    {
        strText = "disassembly failed: " + disassembler.GetError() + "\n";
    }
    out << std::string(pChunk, pChunk + 4) << "\n" << strText;
    const D3D10ShaderObject::SignatureData& osgn = shader.GetOutputSignature();
    for (size_t i = 0; i < osgn.vEntries.size(); ++i)
    {
        const D3D10ShaderObject::SignatureEntry& entry = osgn.vEntries[i];
        out << "osgn " << osgn.vNames[i] << " " << entry.nSemanticIndex << " " << entry.nSystemValue
            << " " << entry.nComponentType << " " << entry.nRegister << " " << int(entry.nMask)
            << "\n";
    }
    const D3D10ShaderObject::RDEFData& rdef = shader.GetRDEF();
    for (const D3D10ShaderObject::RDEFBinding& binding : rdef.vBindings)
    {
        out << "binding " << rdef.GetName(binding.nNameID) << " type " << binding.nType << " slot "
            << binding.nBindPoint << "\n";
    }
    for (size_t i = 0; i < vTokens.size(); ++i)
    {
        char szToken[12];
        std::snprintf(szToken, sizeof(szToken), "%08x", vTokens[i]);
        out << szToken << ((i % 8 == 7 || i + 1 == vTokens.size()) ? "\n" : " ");
    }
    return out.str();
}

// A patched container has a valid hash, matches its golden and passes vkd3d.
void CheckPatched(const std::vector<std::uint8_t>& vPatched, const std::string& strName)
{
    std::vector<std::uint8_t> vRehashed = vPatched;
    XAN_Platform::CDXBCContainerWriter::WriteHash(vRehashed);
    EXPECT_EQ(vRehashed, vPatched) << "the container's hash";

    const std::string strDescription = Describe(vPatched);
    const std::string strGolden = std::string(XAN_TEST_DATA_DIR) + "/patched/" + strName + ".txt";
    if (std::getenv("XAN_UPDATE_GOLDEN") != NULL)
    {
        std::ofstream(strGolden) << strDescription;
    }
    EXPECT_EQ(ReadFile(strGolden), strDescription);

    if (Vkd3dMissingTools().empty())
    {
        std::string strOutput;
        EXPECT_TRUE(Vkd3dCheck(vPatched, strOutput)) << strOutput;
    }
}

class DXXPatchTest : public ::testing::TestWithParam<PatchCase>
{
};

TEST_P(DXXPatchTest, MatchesGolden)
{
    const PatchCase& c = GetParam();
    CDXXTestHost host;
    CTestDebugger* pDebugger = host.AttachDebugger();
    const uint32_t workSize[5] = {2, 32, 16, 1, 1};
    ASSERT_TRUE(pDebugger->StartDebugging(NULL, 0, NULL, workSize, 0));
    const std::vector<std::uint8_t> vContainer = BuildDXXContainer(ReadDXXFixture(c.pFile));
    std::unique_ptr<CShaderDebuggerShaderDXX> pShader(
        c.bDX11 ? static_cast<CShaderDebuggerShaderDXX*>(new CDX11TestShader(pDebugger, vContainer))
                : new CDX10TestShader(pDebugger, vContainer));
    ProgramCounter pc(c.nTarget);
    pc.m_vLoopStack = c.vLoops;
    ASSERT_TRUE(pShader->CreatePatchedShader(c.input == g_Reg_NULL ? pc : g_PC_NULL, c.input));
    ASSERT_EQ(1u, host.m_vShaders.size());
    const std::vector<std::uint8_t> vPatched = host.m_vShaders.back()->vBytes;

    CheckPatched(vPatched, c.pName);
}

INSTANTIATE_TEST_SUITE_P(Goldens, DXXPatchTest, ::testing::ValuesIn(s_Cases),
                         [](const ::testing::TestParamInfo<PatchCase>& info)
                         { return std::string(info.param.pName); });

// A counter behind every instruction up to the shader's end, in a UAV slot of its own; the
// application's shader comes back after the run.
TEST(DXXProfileTest, CountersUpToTheEnd)
{
    const struct
    {
        const char* pName;
        const char* pFile;
        std::uint32_t nProfileUAV;
    } table[] = {{"cs_profile", "cs_twodest.dxx", 1}, {"ps_profile", "ps_twodest.dxx", 2}};
    for (const auto& c : table)
    {
        SCOPED_TRACE(c.pName);
        CDXXTestHost host;
        const std::vector<std::uint8_t> vContainer = BuildDXXContainer(ReadDXXFixture(c.pFile));
        CDX11TestShader shader(host.AttachDebugger(), vContainer);
        ASSERT_TRUE(shader.CanProfile());
        EXPECT_EQ(c.nProfileUAV, shader.GetProfileUAV());
        void* pApplication = NULL;
        host.CreateShader(shader.GetShaderType(), vContainer.data(), vContainer.size(),
                          &pApplication);
        host.SetShader(shader.GetShaderType(), pApplication, 0);
        host.ReleaseShader(pApplication);
        std::uint32_t nCounters = 0;
        ASSERT_TRUE(shader.AttachProfilePatchedShader(&nCounters));
        // Every instruction but the final ret.
        EXPECT_EQ(shader.GetInstructionCount() - 1, nCounters);
        CheckPatched(host.m_Bound[shader.GetShaderType()]->vBytes, c.pName);
        EXPECT_TRUE(shader.RestoreShader(true));
        EXPECT_EQ(pApplication, host.m_Bound[shader.GetShaderType()]);
        EXPECT_EQ(1u, host.m_vShaders.size());
    }
}

// The application's shader is bound again after each switch, every reference that GetShader
// gave is released once, and a second switch to one position creates nothing.
TEST(DXXSwitchTest, BindingIsRestored)
{
    for (const char* pFile : {"ps_straight.dxx", "vs_position.dxx"})
    {
        for (bool bDX11 : {false, true})
        {
            SCOPED_TRACE(std::string(pFile) + (bDX11 ? " dx11" : " dx10"));
            CDXXTestHost host;
            CTestDebugger* pDebugger = host.AttachDebugger();
            const std::vector<std::uint8_t> vContainer = BuildDXXContainer(ReadDXXFixture(pFile));
            std::unique_ptr<CShaderDebuggerShaderDXX> pShader(
                bDX11 ? static_cast<CShaderDebuggerShaderDXX*>(
                            new CDX11TestShader(pDebugger, vContainer))
                      : new CDX10TestShader(pDebugger, vContainer));
            const uint32_t nStage = pShader->GetShaderType();
            void* pApplication[4] = {};
            for (uint32_t nType : {1u, 2u, 3u})
            {
                host.CreateShader(nType, vContainer.data(), vContainer.size(),
                                  &pApplication[nType]);
                host.SetShader(nType, pApplication[nType], 0);
                host.ReleaseShader(pApplication[nType]);
            }
            for (int nRun = 0; nRun < 2; ++nRun)
            {
                ASSERT_TRUE(pShader->SwitchShader(ProgramCounter(1)));
                EXPECT_NE(pApplication[nStage], host.m_Bound[nStage]);
                EXPECT_EQ(nStage == ST_Vertex, host.m_Bound[ST_Geometry] != pApplication[3]);
                EXPECT_EQ(nStage == ST_Vertex && !bDX11, host.m_Bound[ST_Pixel] == nullptr);
                EXPECT_TRUE(pShader->RestoreShader(false));
                for (uint32_t nType : {1u, 2u, 3u})
                {
                    EXPECT_EQ(pApplication[nType], host.m_Bound[nType]) << nType;
                    EXPECT_EQ(1,
                              static_cast<CDXXTestHost::Shader*>(pApplication[nType])->nReferences);
                }
            }
            // The application's three, the patched shader and a vertex shader's stream-out.
            EXPECT_EQ(nStage == ST_Vertex ? 5 : 4, host.m_nCreated);
            EXPECT_TRUE(pShader->RestoreShader(true));
            EXPECT_EQ(3u, host.m_vShaders.size());
            EXPECT_FALSE(host.m_bMisused);
        }
    }
}
} // namespace
