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
    if (bAnalyzed && (m_Info.nShaderType == ST_Compute || m_Info.nShaderType == ST_Pixel))
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
} // namespace XAN_ShaderDebugger
