// Decodes arbitrary tokenized programs instruction by instruction with the library's codec,
// replaces destinations and writes them back; the same tokens go through the toolkit, whose
// text must give them back exactly. The assembled corpus programs are the seeds.
#include "ShaderDebuggerDXX/ShaderDebuggerInstructionDXX.h"

#include "CTpfAssembler.h"
#include "CTpfDisassembler.h"
#include "FuzzSupport.h"
#include "TpfCorpus.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

using namespace XAN_ShaderDebugger;
using XAN_Test::Require;

namespace
{
// Writes the corpus programs' instruction tokens into the fuzzer's corpus folder.
void WriteSeeds(const std::string& strFolder)
{
    for (const XAN_Test::TpfCorpusProgram& program : XAN_Test::LoadTpfCorpus())
    {
        if (program.vTokens.size() <= 2)
        {
            continue;
        }
        std::ofstream file(strFolder + "/seed_" + program.strName, std::ios::binary);
        file.write(reinterpret_cast<const char*>(program.vTokens.data() + 2),
                   static_cast<std::streamsize>((program.vTokens.size() - 2) * 4));
    }
}

void Exercise(CShaderDebuggerInstructionDXX& instruction)
{
    const std::uint32_t nLength = instruction.GetLength();
    Register reg;
    instruction.HasDestRegister();
    instruction.HasDestRegister2();
    instruction.GetDestRegCount();
    instruction.GetOutputSystemValue();
    CShaderDebuggerInstructionDXX::GetDataType(instruction.GetTokens()[0]);
    const std::uint32_t nSrcCount = instruction.GetSrcRegCount();
    // dcl_interface counts 65,535 sources: a few, and the one behind the last, suffice.
    for (std::uint32_t nSrc = 0; nSrc < nSrcCount && nSrc < 8; ++nSrc)
    {
        instruction.GetSrcRegister(nSrc, reg);
        const std::uint32_t nOffset = instruction.GetSrcRegOffset(nSrc < 5 ? nSrc : 0);
        if (nOffset < nLength)
        {
            Require(GetOperandLength(instruction.GetTokens() + nOffset, nLength - nOffset) <=
                    nLength - nOffset);
        }
    }
    instruction.GetSrcRegister(nSrcCount, reg);
    std::uint32_t dwToken = 0;
    std::uint32_t nRead = 0;
    while (instruction.ReadToken(dwToken))
    {
        ++nRead;
    }
    Require(nRead <= nLength);

    CShaderDebuggerInstructionDXX copy(instruction);
    const RegisterID temp(RT_Temp, 3, 0, NULL);
    const RegisterID null(RT_Null, 0, 0, NULL);
    if (copy.GetDestRegister(reg))
    {
        copy.WritesRegister(reg.reg);
        copy.SetDestRegister(temp, COMP_x);
        copy.SetDestRegister(null, 0);
    }
    if (copy.GetDestRegister2(reg))
    {
        copy.SetDestRegister2(null, 0);
        copy.SetDestRegister2(temp, COMP_All);
    }
    COutputTokenStream<std::uint32_t> output(NULL, 16);
    if (copy.WriteInstruction(output))
    {
        Require(output.GetTokensWritten() == copy.GetLength());
    }
    copy = instruction;
    COutputTokenStream<std::uint32_t> again(NULL, 16);
    Require(copy.WriteInstruction(again) && again.GetTokensWritten() == nLength &&
            std::memcmp(again.GetStream(), instruction.GetTokens(), nLength * 4) == 0);
}

// The toolkit's text of a program assembles back to the same tokens.
void RoundTrip(const std::vector<std::uint32_t>& vBody)
{
    std::vector<std::uint32_t> vProgram = {0x00050050,
                                           static_cast<std::uint32_t>(vBody.size() + 2)};
    vProgram.insert(vProgram.end(), vBody.begin(), vBody.end());
    XAN_Platform::CTpfDisassembler disassembler;
    std::string strText;
    if (!disassembler.Disassemble(vProgram.data(), vProgram.size(), strText))
    {
        return;
    }
    XAN_Platform::CTpfAssembler assembler;
    std::vector<std::uint32_t> vBack;
    Require(assembler.Assemble(strText, vBack) && vBack == vProgram);
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int* pArgc, char*** pArgv)
{
    for (int n = 1; n < *pArgc; ++n)
    {
        if ((*pArgv)[n][0] != '-')
        {
            WriteSeeds((*pArgv)[n]);
        }
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    const size_t nTokens = nSize / sizeof(std::uint32_t);
    if (nTokens == 0)
    {
        return 0;
    }
    std::vector<std::uint32_t> vTokens(nTokens);
    std::memcpy(vTokens.data(), pData, nTokens * sizeof(std::uint32_t));

    CInputTokenStream<std::uint32_t> stream(NULL, vTokens.data(), vTokens.size());
    CShaderDebuggerInstructionDXX instruction(NULL);
    while (instruction.ReadInstruction(stream))
    {
        Exercise(instruction);
    }
    RoundTrip(vTokens);
    return 0;
}
