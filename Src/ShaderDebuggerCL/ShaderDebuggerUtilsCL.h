#ifndef SHADER_DEBUGGER_UTILS_CL_H
#define SHADER_DEBUGGER_UTILS_CL_H

#include "ShaderDebugger.h"

#include <CL/cl.h>

#include <string>

// Reports a failure whose text isn't a condition of the code, through the core's channel.
#define SDU_AssertTextCL(pHost, pText)                                                             \
    XAN_ShaderDebugger::SDU_ReportAssert((pHost), (pText), __FILE__, __LINE__, __PRETTY_FUNCTION__)

// Sends one line to the host's log at the error level.
#define SDU_LogErrorCL(pHost, strText)                                                             \
    XAN_ShaderDebugger::SDU_LogError((pHost), (strText), __FILE__, __LINE__, __PRETTY_FUNCTION__)

namespace XAN_ShaderDebugger
{
void SDU_LogError(CShaderDebuggerHost* pHost, const std::string& strText, const char* pFile,
                  uint32_t nLine, const char* pPrettyFunction);

// The kind of a tracked kernel argument: "globalpointer", "localpointer", "image", "value" or
// "counter".
bool GetKernelArgKind(cl_kernel kernel, uint32_t nIndex, std::string& strKind);
} // namespace XAN_ShaderDebugger

#endif
