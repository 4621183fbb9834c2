#include "ShaderDebuggerBuffer.h"

namespace XAN_ShaderDebugger
{
CShaderDebuggerBuffer::CShaderDebuggerBuffer(CShaderDebuggerHost* pHost) : m_pHost(pHost)
{
    SDU_Assert(m_pHost, m_pHost != NULL);
}
} // namespace XAN_ShaderDebugger
