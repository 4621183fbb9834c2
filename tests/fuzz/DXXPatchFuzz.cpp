// Analyses mutated DXX containers as DX10 and DX11 shaders and patches random targets of those
// that pass: every patched container must load again.
#include "FuzzSupport.h"

#include "CDXBCContainerWriter.h"
#include "CTpfAssembler.h"
#include "ShaderDebuggerHost.h"
#include "Src/ShaderDebuggerDXX/DXXAnalysedShader.h"
#include "support/TestDebugger.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <vector>

using namespace XAN_ShaderDebugger;
using XAN_Test::Require;

namespace
{
// Takes what the patcher creates and requires that it loads.
class CFuzzHost : public CShaderDebuggerHost
{
public:
    CFuzzHost() : CShaderDebuggerHost(NULL) {}
    bool ExecuteShader() override { return false; }
    void Log(uint32_t, const std::string&) override {}
    bool DisassembleShader(const void*, size_t, std::string& text) override
    {
        text.clear();
        return false;
    }
    bool CreateShader(uint32_t, const void* pData, size_t nSize, void** pExtra) override
    {
        Require(D3D10ShaderObject::CShaderObject(pData, nSize).IsValid());
        *pExtra = &m_nHandle;
        return true;
    }
    bool SetShader(uint32_t, const void*, size_t) override { return true; }
    void* GetShader(uint32_t) override { return NULL; }
    void ReleaseShader(void*) override {}

private:
    int m_nHandle = 0;
};

std::vector<std::vector<uint8_t>>& Seeds()
{
    static std::vector<std::vector<uint8_t>> vSeeds;
    return vSeeds;
}

// A fixture: '#' lines are the container's header, '@' lines directions for tests, the rest the
// program.
void AddSeed(const std::filesystem::path& path)
{
    std::ifstream file(path);
    std::string strHeader;
    std::string strProgram;
    for (std::string strLine; std::getline(file, strLine);)
    {
        if (strLine.compare(0, 1, "#") == 0)
        {
            strHeader += strLine + "\n";
        }
        else if (strLine.compare(0, 1, "@") != 0)
        {
            strProgram += strLine + "\n";
        }
    }
    std::string strError;
    std::vector<uint32_t> vProgram;
    XAN_Platform::CDXBCContainerWriter writer;
    XAN_Platform::CTpfAssembler assembler;
    if (writer.ParseHeader(strHeader, strError) && assembler.Assemble(strProgram, vProgram))
    {
        Seeds().push_back(writer.Write(vProgram));
    }
}

// The position of an instruction with an iteration for each loop around it.
ProgramCounter Target(const CShaderDebuggerShaderDXX& shader, uint32_t nPos, uint8_t nIterations)
{
    ProgramCounter pc(nPos);
    for (CDXX_FCConstruct* pConstruct = shader.GetConstruct(nPos); pConstruct != NULL;
         pConstruct = pConstruct->GetParent())
    {
        CDXX_Loop* pLoop = pConstruct->AsLoop();
        if (pLoop != NULL)
        {
            pc.m_vLoopStack.insert(pc.m_vLoopStack.begin(),
                                   LoopState{pLoop->GetStart(), pLoop->GetEnd(), nIterations % 4u});
            nIterations /= 4;
        }
    }
    return pc;
}

template <class TShader>
void Exercise(const std::vector<uint8_t>& vContainer, const uint8_t* pTargets, size_t nTargets)
{
    CFuzzHost host;
    XAN_Test::CTestDebugger* pDebugger = new XAN_Test::CTestDebugger(&host);
    host.RegisterDebugger(pDebugger);
    const uint32_t workSize[5] = {2, 8, 4, 1, 1};
    pDebugger->StartDebugging(NULL, 0, NULL, workSize, 0);
    XAN_Test::CAnalysedShader<TShader> shader(pDebugger, vContainer);
    ShaderInfo info;
    shader.GetShaderInfo(&info);
    if ((info.nDebuggableModes & 1) == 0 || shader.GetInstructionCount() == 0)
    {
        return;
    }
    for (size_t i = 0; i + 2 <= nTargets && i < 16; i += 2)
    {
        const ProgramCounter pc =
            Target(shader, pTargets[i] % shader.GetInstructionCount(), pTargets[i + 1]);
        shader.CreatePatchedShader(pc, g_Reg_NULL);
        shader.RestoreShader(true);
    }
    if (!shader.GetInputRegisters().empty())
    {
        const auto& input = *shader.GetInputRegisters().begin();
        shader.CreatePatchedShader(g_PC_NULL, Register(input.first, input.second));
        shader.RestoreShader(true);
    }
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    for (const char* pFolder : {XAN_DXX_CORPUS_DIR, XAN_TPF_CORPUS_DIR})
    {
        for (const auto& entry : std::filesystem::directory_iterator(pFolder))
        {
            if (entry.path().extension() == ".dxx" || entry.path().extension() == ".tpf")
            {
                AddSeed(entry.path());
            }
        }
    }
    return 0;
}

// Byte 0 chooses the seed and the class; then (word index, value) pairs of 6 bytes replace words
// of the container, as many as byte 1 says; the rest are targets.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    if (nSize < 2 || Seeds().empty())
    {
        return 0;
    }
    std::vector<uint8_t> vContainer = Seeds()[(pData[0] >> 1) % Seeds().size()];
    size_t nOffset = 2;
    for (size_t n = 0; n < pData[1] % 8 && nOffset + 6 <= nSize; ++n, nOffset += 6)
    {
        uint16_t nWord;
        std::memcpy(&nWord, pData + nOffset, 2);
        std::memcpy(&vContainer[4 * (nWord % (vContainer.size() / 4))], pData + nOffset + 2, 4);
    }
    XAN_Platform::CDXBCContainerWriter::WriteHash(vContainer);
    if (pData[0] & 1)
    {
        Exercise<CShaderDebuggerShaderDX11>(vContainer, pData + nOffset, nSize - nOffset);
    }
    else
    {
        Exercise<CShaderDebuggerShaderDX10>(vContainer, pData + nOffset, nSize - nOffset);
    }
    return 0;
}
