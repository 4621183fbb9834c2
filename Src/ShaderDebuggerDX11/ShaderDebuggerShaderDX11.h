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

    // A copy that counts every executed instruction in a UAV of its own, up to the shader's end.
    bool CreateProfilePatchedShader(std::uint32_t* pCounters);
    bool PatchSHEXChunkForProfiling(const std::uint8_t* pOriginalChunkHeader,
                                    COutputTokenStream<std::uint32_t>& stream,
                                    std::uint32_t* pCounters);
    // Builds the counting shader and binds it in place of the application's.
    bool AttachProfilePatchedShader(std::uint32_t* pCounters);

    bool CanProfile() const { return m_bCanProfile; }
    std::uint32_t GetProfileUAV() const { return m_nProfileUAV; }

protected:
    // A free UAV slot for the profiling counters, pixel and compute only.
    bool m_bCanProfile;
    std::uint32_t m_nProfileUAV;
};
} // namespace XAN_ShaderDebugger

#endif
