#include "EngineTestSupport.h"

#include "CILAssembler.h"
#include "support/TestSupport.h"

namespace XAN_Test
{
std::string ExampleKernel(const std::string& strName)
{
    return ReadFile(std::string(XAN_EXAMPLE_KERNELS_DIR) + "/" + strName + ".il");
}

std::unique_ptr<XAN_Platform::CILProgram> LoadProgram(const std::string& strText,
                                                      std::string& strError)
{
    XAN_Platform::CILAssembler assembler;
    std::vector<unsigned int> vTokens;
    if (!assembler.Assemble(strText, vTokens))
    {
        strError = "assembler: " + assembler.GetError().ToString();
        return nullptr;
    }
    return XAN_Platform::CILProgram::Load(vTokens.data(), vTokens.size(), strError);
}

void CKernelLaunch::ArgPointer(const std::shared_ptr<XAN_Platform::CDeviceBuffer>& pBuffer)
{
    const uint64_t nAddress = pBuffer ? pBuffer->GetAddress() : 0;
    const uint32_t vRow[4] = {uint32_t(nAddress), uint32_t(nAddress >> 32), 0, 0};
    AddRow(vRow);
}

void CKernelLaunch::AddRow(const uint32_t vRow[4])
{
    m_Desc.vConstantBuffer1.insert(m_Desc.vConstantBuffer1.end(), vRow, vRow + 4);
}

void CKernelLaunch::Range(uint32_t nWorkDim, std::vector<uint64_t> vGlobal,
                          std::vector<uint64_t> vLocal, std::vector<uint64_t> vOffset)
{
    m_Desc.nWorkDim = nWorkDim;
    for (uint32_t d = 0; d < 3; ++d)
    {
        m_Desc.vGlobalSize[d] = d < vGlobal.size() ? vGlobal[d] : 1;
        m_Desc.vLocalSize[d] = d < vLocal.size() ? vLocal[d] : 0;
        m_Desc.vGlobalOffset[d] = d < vOffset.size() ? vOffset[d] : 0;
    }
}

XAN_Platform::SLaunchResult CKernelLaunch::Run(const XAN_Platform::CILProgram& program)
{
    return XAN_Platform::CILEngine::Launch(program, m_Memory, m_Desc);
}
} // namespace XAN_Test
