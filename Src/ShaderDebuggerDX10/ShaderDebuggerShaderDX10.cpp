#include "ShaderDebuggerDX10/ShaderDebuggerShaderDX10.h"

#include "ShaderDebuggerHost.h"

namespace XAN_ShaderDebugger
{
CShaderDebuggerShaderDX10::CShaderDebuggerShaderDX10(CShaderDebuggerBase* pDebugger,
                                                     const void* pShaderData, size_t nSize)
    : CShaderDebuggerShaderDXX(pDebugger, pShaderData, nSize)
{
    m_bUnbindPixelStage = true;
    AnalyzeShader();
}

bool CShaderDebuggerShaderDX10::AnalyzeShader()
{
    if (!BeginAnalysis())
    {
        return false;
    }
    const std::uint8_t* pChunkHeader = m_ShaderObject.GetChunk(D3D10ShaderObject::CK_SHDR);
    SDU_Assert(GetHost(), pChunkHeader);
    if (pChunkHeader == NULL)
    {
        Refuse("Invalid shader.");
        return false;
    }
    if (!AnalyzeSHDRChunk(pChunkHeader))
    {
        m_Info.nDebuggableModes = 0;
        return false;
    }
    return true;
}
} // namespace XAN_ShaderDebugger
