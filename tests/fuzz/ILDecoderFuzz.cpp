// Decodes arbitrary token streams instruction by instruction, and puts every decoded
// instruction through the operations that the analysis and the patcher use.
#include "ShaderDebuggerIL/ShaderDebuggerInstructionIL.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <unistd.h>
#include <vector>

using namespace XAN_ShaderDebugger;

namespace
{
// Failed checks of the IL utilities go to the consistency log in the current directory, once
// for each unknown register type; the fuzzer finds millions of those, which go nowhere.
bool DiscardConsistencyLog()
{
    return symlink("/dev/null", "XANOpenCLDebugAPIConsistency.log") == 0;
}

void Exercise(CShaderDebuggerInstructionIL& instruction)
{
    instruction.GetOpCodeName();
    instruction.GetInstMod();
    instruction.GetDestRegType();
    Register reg;
    const bool bHasDest = instruction.GetDestRegister(reg);
    const unsigned int nSrcCount = instruction.GetSrcRegCount();
    // mcall may count 65,535 sources: a few of them, and the one behind the last, suffice.
    for (unsigned int nSrc = 0; nSrc <= nSrcCount && nSrc < 8; ++nSrc)
    {
        instruction.GetSrcRegister(nSrc, reg);
    }
    instruction.GetSrcRegister(nSrcCount, reg);
    instruction.ReadsRegister(reg.reg);
    unsigned int nToken = 0;
    while (instruction.ReadToken(nToken))
    {
    }

    CShaderDebuggerInstructionIL copy(instruction);
    if (bHasDest)
    {
        copy.ReplaceDestRegister(Register(RegisterID(RT_Temp, -3, 0, NULL), COMP_All));
        copy.WritesRegister(RegisterID(RT_Temp, -3, 0, NULL));
    }
    COutputTokenStream<unsigned int> output(NULL, 0);
    copy.WriteInstruction(output);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    static const bool s_bDiscarded = DiscardConsistencyLog();
    (void)s_bDiscarded;

    const size_t nTokens = nSize / sizeof(unsigned int);
    if (nTokens == 0)
    {
        return 0;
    }
    std::vector<unsigned int> vTokens(nTokens);
    std::memcpy(vTokens.data(), pData, nTokens * sizeof(unsigned int));

    CInputTokenStream<unsigned int> stream(NULL, vTokens.data(), vTokens.size());
    CShaderDebuggerInstructionIL instruction(NULL);
    while (instruction.ReadInstruction(stream))
    {
        Exercise(instruction);
    }
    return 0;
}
