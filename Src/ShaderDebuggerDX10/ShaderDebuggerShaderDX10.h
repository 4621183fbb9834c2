#ifndef SHADER_DEBUGGER_SHADER_DX10_H
#define SHADER_DEBUGGER_SHADER_DX10_H

#include "ShaderDebuggerDXX/ShaderDebuggerShaderDXX.h"

namespace XAN_ShaderDebugger
{
// A Direct3D 10 shader: pixel and vertex programs in an SHDR chunk.
class CShaderDebuggerShaderDX10 : public CShaderDebuggerShaderDXX
{
public:
    CShaderDebuggerShaderDX10(CShaderDebuggerBase* pDebugger, const void* pShaderData,
                              size_t nSize);

    bool AnalyzeShader() override;
};
} // namespace XAN_ShaderDebugger

#endif
