// IL text through the assembler and the engine's loader, and whatever loads
// through a small launch with a tight instruction budget, so that every input's
// run is bounded. The first byte picks the form of the rest: whole IL text, the
// body of a kernel function, or raw tokens.
#include "CDeviceMemory.h"
#include "CILAssembler.h"
#include "CILEngine.h"
#include "CILProgram.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace
{
void Launch(const XAN_Platform::CILProgram& program)
{
    XAN_Platform::CDeviceMemory memory(true);
    auto pFirst = memory.Allocate(256);
    auto pSecond = memory.Allocate(64);
    XAN_Platform::SLaunchDesc desc;
    desc.nWorkDim = 2;
    desc.vGlobalSize[0] = 8;
    desc.vGlobalSize[1] = 2;
    desc.vLocalSize[0] = 4;
    desc.vLocalSize[1] = 2;
    desc.vGlobalOffset[0] = 3;
    desc.nLocalMemoryBytes = 64;
    desc.nInstructionBudget = 20000;
    desc.nThreads = 1;
    for (const auto& pBuffer : {pFirst, pSecond})
    {
        desc.vConstantBuffer1.push_back(uint32_t(pBuffer->GetAddress()));
        desc.vConstantBuffer1.push_back(uint32_t(pBuffer->GetAddress() >> 32));
        desc.vConstantBuffer1.push_back(0);
        desc.vConstantBuffer1.push_back(0);
    }
    desc.vConstantBuffer1.insert(desc.vConstantBuffer1.end(), {7, 0, 0, 0});
    XAN_Platform::CILEngine::Launch(program, memory, desc);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    if (nSize == 0)
    {
        return 0;
    }
    const uint8_t nMode = pData[0] % 3;
    const std::string strRest(reinterpret_cast<const char*>(pData + 1), nSize - 1);
    std::vector<unsigned int> vTokens;
    if (nMode == 2)
    {
        vTokens.resize(strRest.size() / 4);
        if (!vTokens.empty())
        {
            std::memcpy(vTokens.data(), strRest.data(), vTokens.size() * 4);
        }
    }
    else
    {
        const std::string strText = nMode == 0 ? strRest
                                               : "il_cs_2_0\ndcl_cb cb0[16]\ncall 1024\nendmain\n"
                                                 "func 1024\n" +
                                                     strRest + "\nret\nendfunc\nend\n";
        XAN_Platform::CILAssembler assembler;
        if (!assembler.Assemble(strText, vTokens))
        {
            return 0;
        }
    }
    std::string strError;
    std::unique_ptr<XAN_Platform::CILProgram> pProgram =
        XAN_Platform::CILProgram::Load(vTokens.data(), vTokens.size(), strError);
    if (pProgram)
    {
        Launch(*pProgram);
    }
    return 0;
}
