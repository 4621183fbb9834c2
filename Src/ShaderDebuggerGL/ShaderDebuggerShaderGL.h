#ifndef SHADER_DEBUGGER_SHADER_GL_H
#define SHADER_DEBUGGER_SHADER_GL_H

#include "ShaderDebuggerShader.h"

#include <string>
#include <vector>

namespace XAN_ShaderDebugger
{
class CShaderDebuggerGL;

// The place of an OpenGL shader: only its language's keywords are known, nothing is analysed.
class CShaderDebuggerShaderGL : public CShaderDebuggerShader
{
public:
    CShaderDebuggerShaderGL(CShaderDebuggerGL* pDebugger, const void* pShaderData, size_t nSize);

    // The five GLSL lists, which need no shader.
    static void AppendKeywords(std::vector<std::string>& vKeywords);

    bool StartDebugging(unsigned int nMode) override;
    bool GetShaderText(std::string& strText, unsigned int nType) override;
    bool GetShaderKeywords(std::vector<std::string>& vKeywords, unsigned int nType) override;
    unsigned int GetDefaultDebugMode() override;
    bool SetDebugMode(unsigned int nMode) override;
    bool Step() override;
    bool Back() override;
    bool Run() override;
    bool RunBack() override;
    bool Execute(bool bRecordSteps) override;
    bool Draw() override;
    unsigned int GetInstructionFromLine(unsigned int nLine) override;
    unsigned int GetLineFromInstruction(unsigned int nInstruction) override;
    unsigned int GetCurrentLine() override;
    unsigned int GetNextLine() override;
    unsigned int GetPreviousLine() override;
};
} // namespace XAN_ShaderDebugger

#endif
