// DX9 token streams through the codec, the analysis and the patcher: a corpus shader with bytes
// of the input laid over its tokens, or the input's own tokens, patched at a target drawn from the
// input. An input is a header and then the bytes.

#include "FuzzSupport.h"

#include "CDX9Assembler.h"
#include "DX9Corpus.h"
#include "DX9TestDevice.h"
#include "ShaderDebuggerDX9/ShaderDebuggerDX9.h"
#include "ShaderDebuggerDX9/ShaderDebuggerShaderDX9.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace
{
using namespace XAN_ShaderDebugger;

// Seed, how the bytes are used, target (two bytes).
const size_t HEADER_BYTES = 4;

std::vector<std::vector<uint32_t>>& Seeds()
{
    static std::vector<std::vector<uint32_t>> s_vSeeds;
    return s_vSeeds;
}

std::vector<uint32_t> MakeTokens(const uint8_t* pData, size_t nSize)
{
    const uint8_t nMode = pData[1];
    const uint8_t* pBytes = pData + HEADER_BYTES;
    const size_t nBytes = nSize - HEADER_BYTES;
    if ((nMode & 1) == 0 || Seeds().empty())
    {
        std::vector<uint32_t> vTokens(nBytes / sizeof(uint32_t));
        if (!vTokens.empty())
        {
            std::memcpy(vTokens.data(), pBytes, vTokens.size() * sizeof(uint32_t));
        }
        return vTokens;
    }
    std::vector<uint32_t> vTokens = Seeds()[pData[0] % Seeds().size()];
    uint8_t* pTarget = reinterpret_cast<uint8_t*>(vTokens.data());
    const size_t nTargetBytes = vTokens.size() * sizeof(uint32_t);
    const size_t nOffset = (static_cast<size_t>(nMode >> 1) * sizeof(uint32_t)) % nTargetBytes;
    for (size_t i = 0; i < nBytes && nOffset + i < nTargetBytes; ++i)
    {
        pTarget[nOffset + i] ^= pBytes[i];
    }
    return vTokens;
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    for (const std::string& strName : XAN_Test::GetDX9CorpusNames())
    {
        XAN_Platform::CDX9Assembler assembler;
        std::vector<uint32_t> vTokens;
        if (assembler.Assemble(XAN_Test::ReadDX9Corpus(strName), vTokens))
        {
            Seeds().push_back(vTokens);
        }
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    if (nSize < HEADER_BYTES)
    {
        return 0;
    }
    const std::vector<uint32_t> vTokens = MakeTokens(pData, nSize);
    if (vTokens.empty())
    {
        return 0;
    }
    XAN_Test::CGraphicsTestHost host(new XAN_Test::CDX9TestDevice(4, 2));
    CShaderDebuggerDX9* pDebugger =
        static_cast<CShaderDebuggerDX9*>(IShaderDebugger::CreateShaderDebugger(0, &host));
    pDebugger->SetLogLevel(0);

    // Every instruction goes out as it came in.
    std::unique_ptr<CShaderDebuggerInstructionDX9> pInstr(
        new CShaderDebuggerInstructionDX9(pDebugger));
    CInputTokenStream<uint32_t> in(NULL, vTokens.data(), vTokens.size());
    COutputTokenStream<uint32_t> copy(NULL, vTokens.size());
    while (pInstr->ReadInstruction(in))
    {
        XAN_Test::Require(pInstr->WriteInstruction(copy));
        Register reg;
        for (uint32_t i = 0; i < pInstr->GetParamCount(); ++i)
        {
            pInstr->GetSrcRegister(i, reg);
        }
    }
    // A comment longer than the rest of the stream ends the decoding before it.
    XAN_Test::Require(copy.GetTokensWritten() <= vTokens.size());
    XAN_Test::Require(copy.GetTokensWritten() == 0 ||
                      std::memcmp(copy.GetStream(), vTokens.data(),
                                  copy.GetTokensWritten() * sizeof(uint32_t)) == 0);

    CShaderDebuggerShaderDX9 shader(pDebugger, vTokens.data(), vTokens.size() * sizeof(uint32_t));
    if (shader.GetInstructionCount() == 0)
    {
        return 0;
    }
    const uint32_t nTarget = (pData[2] | (pData[3] << 8)) % shader.GetInstructionCount();
    COutputTokenStream<uint32_t> out(&shader, 16);
    Register destReg;
    if (shader.WritePatchedShader(nTarget, out, destReg))
    {
        // The patched shader ends with its end token, within a bound of the shader's size.
        XAN_Test::Require(out.GetTokensWritten() <=
                          2 * vTokens.size() + 64 + 8 * shader.GetLoops().size());
        XAN_Test::Require(out.GetStream()[out.GetTokensWritten() - 1] == 0x0000FFFF);
    }
    return 0;
}
