#ifndef SHADER_DEBUGGER_SHADER_DX11_H
#define SHADER_DEBUGGER_SHADER_DX11_H

#include "ShaderDebuggerDXX/ShaderDebuggerShaderDXX.h"

namespace XAN_ShaderDebugger
{
// A Direct3D 11 shader: pixel, vertex and compute programs, in SHEX or, from model 4, SHDR.
class CShaderDebuggerShaderDX11 : public CShaderDebuggerShaderDXX
{
public:
    CShaderDebuggerShaderDX11(CShaderDebuggerBase* pDebugger, const void* pShaderData,
                              size_t nSize);

    bool AnalyzeShader() override;
    virtual bool AnalyzeSHEXChunk(const std::uint8_t* pChunk);

    bool CanProfile() const { return m_bCanProfile; }
    std::uint32_t GetProfileUAV() const { return m_nProfileUAV; }

protected:
    // A free UAV slot for the profiling counters, pixel and compute only.
    bool m_bCanProfile;
    std::uint32_t m_nProfileUAV;
};
} // namespace XAN_ShaderDebugger

#endif
