#ifndef XAN_TEST_DXX_ANALYSED_SHADER_H
#define XAN_TEST_DXX_ANALYSED_SHADER_H

#include "ShaderDebuggerDX10/ShaderDebuggerShaderDX10.h"
#include "ShaderDebuggerDX11/ShaderDebuggerShaderDX11.h"

#include <cstdint>
#include <vector>

namespace XAN_Test
{
// The shader classes with stepping left out, which the debugger's stepping adds.
template <class TShader> class CAnalysedShader : public TShader
{
public:
    CAnalysedShader(XAN_ShaderDebugger::CShaderDebuggerBase* pDebugger,
                    const std::vector<std::uint8_t>& vContainer)
        : TShader(pDebugger, vContainer.data(), vContainer.size())
    {
    }

    bool Step() override { return false; }
    bool Back() override { return false; }
    bool Run() override { return false; }
    bool RunBack() override { return false; }
    bool Execute(bool) override { return false; }
    bool Draw() override { return false; }
    unsigned int GetCurrentLine() override { return 0; }
    unsigned int GetNextLine() override { return 0; }
    unsigned int GetPreviousLine() override { return 0; }
};

typedef CAnalysedShader<XAN_ShaderDebugger::CShaderDebuggerShaderDX10> CDX10TestShader;
typedef CAnalysedShader<XAN_ShaderDebugger::CShaderDebuggerShaderDX11> CDX11TestShader;
} // namespace XAN_Test

#endif
