#include "EngineTestSupport.h"

#include "CILAssembler.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

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

std::unique_ptr<XAN_Platform::CILProgram> LoadProgram(const std::string& strText)
{
    std::string strError;
    std::unique_ptr<XAN_Platform::CILProgram> pProgram = LoadProgram(strText, strError);
    EXPECT_TRUE(pProgram) << strError;
    return pProgram;
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

std::string OutputKernel(const std::string& strBody, const std::string& strFunctions,
                         const std::string& strMacros)
{
    return strMacros +
           "il_cs_2_0\n"
           "dcl_cb cb0[16]\n"
           "call 1024\n"
           "endmain\n"
           "func 1024\n"
           "dcl_raw_uav_id(11)\n"
           "dcl_literal l0, 0x00000004, 0x00000001, 0x00000002, 0x00000003\n"
           "dcl_literal l1, 0x00000000, 0x0000000A, 0x00000000, 0x00000000\n"
           "mov r0.x, vAbsTid0.x\n" +
           strBody +
           "ishl r1.x, r0.x, l0.x\n"
           "iadd r1.x, r1.x, cb1[0].x\n"
           "uav_raw_store_id(11) mem0, r1.x, r2\n"
           "ret\n"
           "endfunc\n" +
           strFunctions + "end\n";
}

SOutputRun RunOutputKernel(const std::string& strText, uint32_t nItems, uint32_t nLocal,
                           const std::function<void(XAN_Platform::SLaunchDesc&)>& fnDesc)
{
    SOutputRun run;
    std::unique_ptr<XAN_Platform::CILProgram> pProgram = LoadProgram(strText);
    if (!pProgram)
    {
        run.result.eStatus = XAN_Platform::LS_InvalidGeometry;
        return run;
    }
    run.vWarnings = pProgram->GetWarnings();
    CKernelLaunch launch(false);
    auto pOut = launch.Buffer(std::vector<uint32_t>(4 * nItems, 0xCCCCCCCC));
    launch.ArgPointer(pOut);
    launch.Range(1, {nItems}, {nLocal});
    if (fnDesc)
    {
        fnDesc(launch.Desc());
    }
    run.result = launch.Run(*pProgram);
    run.vWords = CKernelLaunch::Read<uint32_t>(pOut);
    run.nOutAddress = pOut->GetAddress();
    return run;
}
} // namespace XAN_Test
