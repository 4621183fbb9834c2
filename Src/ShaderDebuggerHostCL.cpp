#include "ShaderDebuggerHostCL.h"

#include "APIUsageLog.h"

#include <cstring>

namespace XAN_ShaderDebugger
{
CShaderDebuggerHostCL::CShaderDebuggerHostCL(cl_kernel kernel, CShaderDebuggerDevice* pDevice)
    : CShaderDebuggerHost(pDevice), m_nNumDim(0), m_Kernel(kernel)
{
    CLD_Assert(kernel != 0);
    memset(m_GlobalOffset, 0, sizeof(m_GlobalOffset));
    memset(m_GlobalSize, 0, sizeof(m_GlobalSize));
    memset(m_LocalSize, 0, sizeof(m_LocalSize));
}

bool CShaderDebuggerHostCL::SetEnqueueData(uint32_t nNumDim, const size_t* pGlobalOffset,
                                           const size_t* nGlobalSize, const size_t* pLocalSize)
{
    m_nNumDim = 0;
    memset(m_GlobalOffset, 0, sizeof(m_GlobalOffset));
    memset(m_GlobalSize, 0, sizeof(m_GlobalSize));
    memset(m_LocalSize, 0, sizeof(m_LocalSize));

    CLD_Assert(nNumDim != 0);
    CLD_Assert(nNumDim <= MAX_DIMENSIONS);
    if (nNumDim == 0 || nNumDim > MAX_DIMENSIONS)
    {
        return false;
    }
    CLD_Assert(nGlobalSize != NULL);
    if (nGlobalSize == NULL)
    {
        return false;
    }

    m_nNumDim = nNumDim;
    memcpy(m_GlobalSize, nGlobalSize, nNumDim * sizeof(size_t));
    if (pGlobalOffset != NULL)
    {
        memcpy(m_GlobalOffset, pGlobalOffset, nNumDim * sizeof(size_t));
    }
    if (pLocalSize != NULL)
    {
        memcpy(m_LocalSize, pLocalSize, nNumDim * sizeof(size_t));
    }
    return true;
}

bool CShaderDebuggerHostCL::GetEnqueueData(uint32_t* pNumDim, const size_t** ppGlobalOffset,
                                           const size_t** ppGlobalSize, const size_t** ppLocalSize)
{
    if (pNumDim != NULL)
    {
        *pNumDim = m_nNumDim;
    }
    if (ppGlobalOffset != NULL)
    {
        *ppGlobalOffset = m_GlobalOffset;
    }
    if (ppGlobalSize != NULL)
    {
        *ppGlobalSize = m_GlobalSize;
    }
    if (ppLocalSize != NULL)
    {
        *ppLocalSize = m_LocalSize;
    }
    return true;
}

} // namespace XAN_ShaderDebugger
