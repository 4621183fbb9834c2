#include "ShaderDebuggerDX11/ShaderDebuggerShaderDX11.h"

#include "ShaderDebuggerHost.h"

namespace XAN_ShaderDebugger
{
CShaderDebuggerShaderDX11::CShaderDebuggerShaderDX11(CShaderDebuggerBase* pDebugger,
                                                     const void* pShaderData, size_t nSize)
    : CShaderDebuggerShaderDXX(pDebugger, pShaderData, nSize), m_bCanProfile(false),
      m_nProfileUAV(0)
{
    AnalyzeShader();
}

bool CShaderDebuggerShaderDX11::AnalyzeSHEXChunk(const std::uint8_t* pChunk)
{
    return AnalyzeProgramChunk(pChunk, true);
}

bool CShaderDebuggerShaderDX11::AnalyzeShader()
{
    m_bCanProfile = false;
    m_nProfileUAV = 0;
    if (!BeginAnalysis())
    {
        return false;
    }
    const std::uint8_t* pSHEX = m_ShaderObject.GetChunk(D3D10ShaderObject::CK_SHEX);
    const std::uint8_t* pSHDR = m_ShaderObject.GetChunk(D3D10ShaderObject::CK_SHDR);
    SDU_Assert(GetHost(), pSHEX != NULL || pSHDR != NULL);
    if (pSHEX == NULL && pSHDR == NULL)
    {
        Refuse("Invalid shader.");
        return false;
    }
    const bool bAnalyzed = pSHEX != NULL ? AnalyzeSHEXChunk(pSHEX) : AnalyzeSHDRChunk(pSHDR);
    // The counters live in a UAV, which only SHEX programs declare.
    if (bAnalyzed && pSHEX != NULL &&
        (m_Info.nShaderType == ST_Compute || m_Info.nShaderType == ST_Pixel))
    {
        m_bCanProfile = m_ShaderObject.FindFreeOutputSlot(m_nProfileUAV);
    }
    if (!bAnalyzed)
    {
        m_Info.nDebuggableModes = 0;
        return false;
    }
    if (m_ShaderObject.GetChunk(D3D10ShaderObject::CK_Aon9) != NULL)
    {
        Refuse("Shaders with SM2 down-level support not supported by the ShaderDebugger.\n");
        return false;
    }
    return true;
}

namespace
{
const std::uint32_t OP_RET = 62;
const std::uint32_t OP_DCL_UAV_RAW = 157;
const std::uint32_t OP_ATOMIC_IADD = 173;
const std::uint32_t OPERAND_UAV = 30;
} // namespace

bool CShaderDebuggerShaderDX11::PatchSHEXChunkForProfiling(
    const std::uint8_t* pOriginalChunkHeader, COutputTokenStream<std::uint32_t>& stream,
    std::uint32_t* pCounters)
{
    std::uint32_t nTokens = 0;
    const std::uint32_t* pTokens =
        pOriginalChunkHeader != NULL
            ? WriteProgramHeader(pOriginalChunkHeader, stream, true, nTokens)
            : NULL;
    if (pTokens == NULL || pCounters == NULL)
    {
        return false;
    }
    CInputTokenStream<std::uint32_t> input(this, pTokens, nTokens);
    CShaderDebuggerInstructionDXX instruction(m_pDebugger);
    std::uint32_t nCounter = 0;
    bool bRead = true;
    while (input.GetTokensRead() < input.GetTokenCount())
    {
        bRead = instruction.ReadInstruction(input);
        if (!bRead)
        {
            break;
        }
        const std::uint32_t nOpCode = instruction.GetOpCode();
        if (nOpCode == DXX_OPCODE_CUSTOMDATA || !IsExecutable(nOpCode))
        {
            instruction.WriteInstruction(stream);
            continue;
        }
        if (nCounter == 0)
        {
            WriteOpcode(stream, OP_DCL_UAV_RAW, 3);
            WriteDest(stream, OPERAND_UAV, m_nProfileUAV, 0);
        }
        instruction.WriteInstruction(stream);
        // The shader's own end: what follows it never runs.
        if (nOpCode == OP_RET && GetConstruct(nCounter) == NULL)
        {
            break;
        }
        WriteOpcode(stream, OP_ATOMIC_IADD, 7);
        WriteDest(stream, OPERAND_UAV, m_nProfileUAV, 0);
        WriteImmediate1(stream, nCounter * 4);
        WriteImmediate1(stream, 1);
        ++nCounter;
    }
    FinishProgramChunk(stream);
    *pCounters = nCounter;
    return bRead && nCounter > 0;
}

bool CShaderDebuggerShaderDX11::CreateProfilePatchedShader(std::uint32_t* pCounters)
{
    CShaderDebuggerHost* pHost = GetHost();
    const std::uint8_t* pChunk = m_ShaderObject.GetChunk(D3D10ShaderObject::CK_SHEX);
    if (pHost == NULL || !m_bCanProfile)
    {
        return false;
    }
    m_PatchedShaderObject = m_ShaderObject;
    COutputTokenStream<std::uint32_t> stream(this, m_ShaderObject.GetShaderChunkSize() / 2);
    const bool bPatched =
        PatchSHEXChunkForProfiling(pChunk, stream, pCounters) &&
        m_PatchedShaderObject.SetShaderChunk(stream.GetStream()) &&
        m_PatchedShaderObject.AddBufferBinding(m_nProfileUAV, "XAN Profiling Register") &&
        m_PatchedShaderObject.RebuildRDEF();
    return CreatePatchedDeviceShader(bPatched);
}

bool CShaderDebuggerShaderDX11::AttachProfilePatchedShader(std::uint32_t* pCounters)
{
    CShaderDebuggerHost* pHost = GetHost();
    RestoreShader(true);
    if (!CreateProfilePatchedShader(pCounters))
    {
        return false;
    }
    m_pOriginalShader = pHost->GetShader(m_Info.nShaderType);
    SDU_Assert(pHost, m_pOriginalShader);
    return pHost->SetShader(m_Info.nShaderType, m_pPatchedShader, 0);
}
} // namespace XAN_ShaderDebugger
