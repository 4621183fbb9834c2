#ifndef SHADER_DEBUGGER_BUFFER_H
#define SHADER_DEBUGGER_BUFFER_H

#include "ShaderUtils/SUBuffer.h"

namespace XAN_ShaderDebugger
{
class CShaderDebuggerHost;

// A host-side buffer of the debugger core, which knows the host that it reports to.
class CShaderDebuggerBuffer : public ShaderUtils::SUBuffer
{
public:
    explicit CShaderDebuggerBuffer(CShaderDebuggerHost* pHost);
    // Copies take the description, the host and their own copy of the data.
    CShaderDebuggerBuffer(const CShaderDebuggerBuffer& other) = default;
    CShaderDebuggerBuffer& operator=(const CShaderDebuggerBuffer& other) = default;
    ~CShaderDebuggerBuffer() override = default;

    CShaderDebuggerHost* GetHost() const { return m_pHost; }

private:
    CShaderDebuggerHost* m_pHost; // not owned
};
} // namespace XAN_ShaderDebugger

#endif
