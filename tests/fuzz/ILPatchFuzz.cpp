// Patched kernels and dump kernels of mutated corpus kernels, at targets drawn from the input:
// a position, the iterations of the loops around it (and a loop that isn't there), and up to
// three registers of every kind the patcher captures. An input is a header and then patches of
// the kernel's debug IL tokens.

#include "support/CorpusSeeds.h"
#include "support/PatchDoubles.h"

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace
{
using namespace XAN_ShaderDebugger;

// Seed, position (two bytes), loop iterations and a stray loop, register count, three kinds.
const size_t HEADER_BYTES = 8;

std::vector<XAN_Test::CorpusSeed>& Seeds()
{
    static std::vector<XAN_Test::CorpusSeed> s_vSeeds;
    return s_vSeeds;
}

ProgramCounter Target(const CShaderDebuggerShaderIL& shader, uint32_t nPos, uint8_t nLoops)
{
    ProgramCounter pc(nPos);
    for (const auto& construct : shader.GetFCConstructs())
    {
        CIL_Loop* pLoop = construct.second != NULL ? construct.second->AsLoop() : NULL;
        if (pLoop != NULL && construct.first == pLoop->GetStart() && pLoop->GetStart() <= nPos &&
            nPos < pLoop->GetEnd())
        {
            pc.m_vLoopStack.push_back(LoopState{pLoop->GetStart(), pLoop->GetEnd(), nLoops & 3u});
            nLoops = static_cast<uint8_t>(nLoops >> 2);
        }
    }
    if (nLoops & 1)
    {
        pc.m_vLoopStack.push_back(LoopState{nPos, nPos + 1, 0});
    }
    return pc;
}

Register RegisterOfKind(const CShaderDebuggerShaderIL& shader, const ProgramCounter& pc,
                        uint8_t nKind)
{
    const RegisterType types[] = {RT_Temp,   RT_CONST_BUFF, RT_IndexableTemp, RT_PrivateUAVAccess,
                                  RT_Output, RT_Mem};
    const size_t nTypes = sizeof(types) / sizeof(types[0]);
    if (nKind % (nTypes + 2) == nTypes)
    {
        return g_Reg_NULL;
    }
    if (nKind % (nTypes + 2) == nTypes + 1)
    {
        return const_cast<CShaderDebuggerShaderIL&>(shader).GetRegisterOutput(pc);
    }
    return Register(RegisterID(types[nKind % (nTypes + 2)], nKind >> 4, nKind & 7u, NULL),
                    static_cast<unsigned short>(1u + (nKind & 15u) % 15u));
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    Seeds() = XAN_Test::LoadCorpusSeeds();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    if (nSize < HEADER_BYTES || Seeds().empty())
    {
        return 0;
    }
    const XAN_Test::CorpusSeed& seed = Seeds()[pData[0] % Seeds().size()];
    const std::vector<char> vBinary =
        XAN_Test::MutateSeed(seed, pData + HEADER_BYTES, nSize - HEADER_BYTES);
    XAN_Test::CPatchHost host(seed.strName, 0);
    XAN_Test::CPatchShaderIL shader(&host, vBinary);

    // Positions run a little past the last instruction.
    const uint32_t nPos =
        static_cast<uint32_t>((pData[1] | (pData[2] << 8)) % (shader.GetInstructions().size() + 2));
    const ProgramCounter pc = Target(shader, nPos, pData[3]);
    std::vector<Register> vRegisters;
    for (uint8_t i = 0; i < pData[4] % 4; ++i)
    {
        vRegisters.push_back(RegisterOfKind(shader, pc, pData[5 + i]));
    }
    shader.SwitchShader(pc, vRegisters);
    shader.SwitchShader(pc, vRegisters);

    void* pDump = NULL;
    size_t nDumpSize = 0;
    if (shader.CreateCBDumpShader(&pDump, &nDumpSize))
    {
        std::free(pDump);
    }
    return 0;
}
