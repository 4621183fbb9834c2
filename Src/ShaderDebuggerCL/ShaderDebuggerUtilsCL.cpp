#include "ShaderDebuggerCL/ShaderDebuggerUtilsCL.h"

#include "CLInfo.h"
#include "CLWrappers.h"

namespace XAN_ShaderDebugger
{
void SDU_LogError(CShaderDebuggerHost* pHost, const std::string& strText, const char* pFile,
                  uint32_t nLine, const char* pPrettyFunction)
{
    if (!SDU_SetContext(pHost, false, "", pFile, nLine, SDU_FunctionName(pPrettyFunction)))
    {
        SDU_Log(3, "%s", strText.c_str());
    }
}

bool GetKernelArgKind(cl_kernel kernel, uint32_t nIndex, std::string& strKind)
{
    const auto query =
        [kernel](cl_uint nArg, cl_uint nParam, size_t nSize, void* pValue, size_t* pSizeRet)
    { return clGetKernelArgInfo(kernel, nArg, nParam, nSize, pValue, pSizeRet); };
    return GetCLInfoText(query, nIndex, XAN_KERNEL_ARG_KIND, strKind) == CL_SUCCESS;
}
} // namespace XAN_ShaderDebugger
