#include "ShaderDebuggerHostCL.h"

#include "APIUsageLog.h"
#include "CLInfo.h"
#include "CLWrappers.h"
#include "Modules/OpenCLModule.h"
#include "ShaderDebuggerBase.h"
#include "ShaderDebuggerCL/ShaderDebuggerDeviceCL.h"
#include "ShaderDebuggerCL/ShaderDebuggerUtilsCL.h"
#include "ShaderDebuggerShader.h"
#include "ShaderUtils/SUBuffer.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>

namespace XAN_ShaderDebugger
{
namespace
{
const char* const OPENING_STARS = "*************************************";
const char* const CLOSING_STARS = "***********************************";

// The devices of the older GPU families, by CL_DEVICE_NAME; every other name is the newer
// family. The lower-case names are those of kernel metadata.
const char* const g_OlderFamilyDevices[] = {
    "borage", "chervil", "lovage", "hyssop", "mallow", "teasel", "vetch", "fennel", "sedge",
    "Borage", "Chervil", "Lovage", "Hyssop", "Mallow", "Teasel", "Vetch", "Fennel", "Sedge"};

ShaderUtils::SUBuffer* GetGlobalResult(CShaderDebuggerHost& host, const std::string& strName)
{
    varID request;
    request.nKind = 2;
    request.strName = strName;
    return host.GetGlobalResultsBuffer(request);
}
} // namespace

CShaderDebuggerHostCL* CShaderDebuggerHostCL::CreateShaderDebuggerHostCL(
    uint32_t nType, cl_kernel kernel, cl_command_queue commandQueue, const std::string& strLogFile)
{
    CShaderDebuggerDeviceCL* pSDDevice =
        new (std::nothrow) CShaderDebuggerDeviceCL(kernel, commandQueue);
    CLD_Assert(pSDDevice != NULL);
    if (pSDDevice == NULL)
    {
        return NULL;
    }
    CShaderDebuggerHostCL* pHost =
        new (std::nothrow) CShaderDebuggerHostCL(kernel, commandQueue, pSDDevice, strLogFile);
    CLD_Assert(pHost != NULL);
    if (pHost == NULL)
    {
        delete pSDDevice;
        return NULL;
    }
    IShaderDebugger::CreateShaderDebugger(nType, pHost);
    return pHost;
}

CShaderDebuggerHostCL::CShaderDebuggerHostCL(cl_kernel kernel, CShaderDebuggerDevice* pDevice)
    : CShaderDebuggerHost(pDevice), m_nNumDim(0), m_GlobalOffset(), m_GlobalSize(), m_LocalSize(),
      m_Device(NULL), m_Context(NULL), m_Queue(NULL), m_Kernel(kernel)
{
    CLD_Assert(kernel != 0);
}

CShaderDebuggerHostCL::CShaderDebuggerHostCL(cl_kernel kernel, cl_command_queue commandQueue,
                                             CShaderDebuggerDevice* pDevice,
                                             const std::string& strLogFile)
    : CShaderDebuggerHostCL(kernel, pDevice)
{
    m_strLogFile = strLogFile;
    if (!m_strLogFile.empty())
    {
        m_LogFile.open(m_strLogFile.c_str(), std::ios::out | std::ios::app);
        WriteLogBanner(OPENING_STARS, "Log started: ");
    }
    if (kernel == NULL)
    {
        return;
    }

    cl_int err = g_OpenCLModule.clGetKernelInfo(kernel, CL_KERNEL_CONTEXT, sizeof(m_Context),
                                                &m_Context, NULL);
    CLD_Assert(err == CL_SUCCESS);
    if (err != CL_SUCCESS)
    {
        m_Context = NULL;
        return;
    }
    err = g_OpenCLModule.clRetainContext(m_Context);
    CLD_Assert(err == CL_SUCCESS);
    if (err != CL_SUCCESS)
    {
        m_Context = NULL;
        return;
    }

    cl_device_type deviceType = 0;
    err = g_OpenCLModule.clGetCommandQueueInfo(commandQueue, CL_QUEUE_DEVICE, sizeof(m_Device),
                                               &m_Device, NULL);
    CLD_Assert(err == CL_SUCCESS);
    if (err == CL_SUCCESS)
    {
        err = g_OpenCLModule.clGetDeviceInfo(m_Device, CL_DEVICE_TYPE, sizeof(deviceType),
                                             &deviceType, NULL);
        CLD_Assert(err == CL_SUCCESS);
    }
    if (err == CL_SUCCESS && deviceType == CL_DEVICE_TYPE_GPU)
    {
        m_Queue = g_OpenCLModule.clCreateCommandQueue(m_Context, m_Device, 0, &err);
        CLD_Assert(err == CL_SUCCESS);
    }
    if (err != CL_SUCCESS || m_Queue == NULL)
    {
        m_Queue = NULL;
        g_OpenCLModule.clReleaseContext(m_Context);
        m_Context = NULL;
    }
}

CShaderDebuggerHostCL::~CShaderDebuggerHostCL()
{
    try
    {
        m_Kernel = NULL;
        m_Device = NULL;
        if (m_Queue != NULL && g_OpenCLModule.clReleaseCommandQueue(m_Queue) != CL_SUCCESS)
        {
            CLD_Break("Error: clReleaseCommandQueue() failed.");
        }
        m_Queue = NULL;
        if (m_Context != NULL && g_OpenCLModule.clReleaseContext(m_Context) != CL_SUCCESS)
        {
            CLD_Break("Error: clReleaseContext() failed.");
        }
        m_Context = NULL;
        if (m_LogFile.is_open())
        {
            WriteLogBanner(CLOSING_STARS, "Log ended: ");
            m_LogFile.close();
        }
    }
    catch (...)
    {
        CLD_Break("Exception in ~CShaderDebuggerHostCL()");
    }
}

void CShaderDebuggerHostCL::WriteLogBanner(const char* pStars, const char* pTitle)
{
    const time_t now = time(NULL);
    char timeText[64] = "";
    ctime_r(&now, timeText);
    m_LogFile << "\n"
              << pStars << "\n"
              << pTitle << timeText << "\n"
              << "\n"
              << pStars << "\n\n";
    m_LogFile.flush();
}

void CShaderDebuggerHostCL::Log(uint32_t nLevel, const std::string& strText)
{
    CShaderDebuggerHost::Log(nLevel, strText);
    if (m_LogFile.is_open())
    {
        m_LogFile << strText << "\n";
        m_LogFile.flush();
    }
}

void CShaderDebuggerHostCL::GetDeviceName(std::string& strName)
{
    CShaderDebuggerDeviceCL* pDevice = GetDeviceCL();
    if (pDevice != NULL)
    {
        strName = pDevice->GetDeviceName();
    }
}

CShaderDebuggerDeviceCL* CShaderDebuggerHostCL::GetDeviceCL()
{
    return dynamic_cast<CShaderDebuggerDeviceCL*>(CShaderDebuggerHost::GetDevice());
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

std::vector<unsigned char>& CShaderDebuggerHostCL::GetKernelBinary()
{
    return GetDeviceCL()->GetShaderData();
}

cl_command_queue CShaderDebuggerHostCL::GetCommandQueue()
{
    return m_Queue;
}

bool CShaderDebuggerHostCL::ExecuteShader()
{
    cl_kernel kernel = static_cast<cl_kernel>(GetShader(ST_Compute));
    CLD_Assert(kernel != NULL);
    if (kernel == NULL)
    {
        return false;
    }
    size_t nMaxGroupSize = 0;
    if (g_OpenCLModule.clGetKernelWorkGroupInfo(kernel, m_Device, CL_KERNEL_WORK_GROUP_SIZE,
                                                sizeof(nMaxGroupSize), &nMaxGroupSize,
                                                NULL) != CL_SUCCESS)
    {
        CLD_Break("Error: clGetKernelWorkGroupInfo() failed.");
        return false;
    }
    size_t nLocalProduct = m_LocalSize[0];
    if (m_nNumDim > 1)
    {
        nLocalProduct *= m_LocalSize[1];
    }
    if (m_nNumDim > 2)
    {
        nLocalProduct *= m_LocalSize[2];
    }
    if (nLocalProduct > nMaxGroupSize)
    {
        CLD_Break("Error: Local group size is too large.");
        return false;
    }
    if (g_OpenCLModule.clEnqueueNDRangeKernel(m_Queue, kernel, m_nNumDim, m_GlobalOffset,
                                              m_GlobalSize, nLocalProduct != 0 ? m_LocalSize : NULL,
                                              0, NULL, NULL) != CL_SUCCESS)
    {
        return false;
    }
    return g_OpenCLModule.clFinish(m_Queue) == CL_SUCCESS;
}

bool CShaderDebuggerHostCL::IsTidalReefs()
{
    CLD_Assert(m_Device != 0);
    if (m_Device == NULL)
    {
        return false;
    }
    std::string strName;
    const cl_int ret =
        GetCLInfoText(g_OpenCLModule.clGetDeviceInfo, m_Device, CL_DEVICE_NAME, strName);
    CLD_Assert(ret == CL_SUCCESS);
    return std::find(std::begin(g_OlderFamilyDevices), std::end(g_OlderFamilyDevices), strName) ==
           std::end(g_OlderFamilyDevices);
}

ShaderUtils::SUBuffer* CShaderDebuggerHostCL::GetArgumentBuffer(size_t nIndex)
{
    return GetGlobalResult(*this, "m" + std::to_string(nIndex));
}

bool CShaderDebuggerHostCL::InitKernelArgInfo(cl_kernel kernel)
{
    cl_uint numArgs = 0;
    if (g_OpenCLModule.clGetKernelInfo(kernel, CL_KERNEL_NUM_ARGS, sizeof(numArgs), &numArgs,
                                       NULL) != CL_SUCCESS)
    {
        return false;
    }
    if (numArgs == 0)
    {
        return true;
    }
    m_KernelArgs.assign(numArgs, KernelArgInfo());

    CShaderDebuggerDeviceCL* pDevice = GetDeviceCL();
    if (pDevice == NULL)
    {
        return false;
    }
    const std::vector<CShaderDebuggerDeviceCL::ArgCBInfo> cbEntries = pDevice->GetArgCBInfo();
    const ShaderUtils::SUBuffer* pCB1 = GetGlobalResult(*this, "cb1");
    const uint8_t* pCB1Data = pCB1 != NULL ? pCB1->GetSubResource(0) : NULL;
    if (pCB1Data == NULL)
    {
        return false;
    }
    const size_t nAddressBytes = pDevice->Is64BitABI() ? 8 : 4;

    for (cl_uint i = 0; i < numArgs; ++i)
    {
        KernelArgInfo& arg = m_KernelArgs[i];
        std::string strType;
        if (!GetKernelArgKind(kernel, i, strType))
        {
            return false;
        }
        if (strType != "globalpointer")
        {
            continue;
        }
        size_t nUAVSize = 0;
        if (clGetKernelArgInfo(kernel, i, XAN_KERNEL_ARG_RESOURCE_ID, sizeof(arg.uavID), &arg.uavID,
                               &nUAVSize) != CL_SUCCESS)
        {
            return false;
        }
        const void* argValue = NULL;
        size_t argSize = 0;
        if (clGetKernelArg(kernel, i, &argValue, &argSize) != CL_SUCCESS || argValue == NULL)
        {
            return false;
        }
        CLD_Assert(argSize == sizeof(cl_mem));
        if (argSize != sizeof(cl_mem))
        {
            return false;
        }
        cl_mem mem = NULL;
        memcpy(&mem, argValue, sizeof(cl_mem));
        size_t memSize = 0;
        if (mem != NULL && g_OpenCLModule.clGetMemObjectInfo(mem, CL_MEM_SIZE, sizeof(memSize),
                                                             &memSize, NULL) != CL_SUCCESS)
        {
            return false;
        }
        arg.baseAddress = 0;
        if (i < cbEntries.size() && cbEntries[i].nOffset + nAddressBytes <= pCB1->GetDataSize())
        {
            memcpy(&arg.baseAddress, pCB1Data + cbEntries[i].nOffset, nAddressBytes);
        }
        arg.size = memSize;
        arg.pBuffer = GetArgumentBuffer(i);
        if (arg.pBuffer == NULL && m_LogFile.is_open())
        {
            m_LogFile << "Failed to retrieve Global buffer.\n";
        }
    }
    return true;
}

bool CShaderDebuggerHostCL::GetGlobalMemory(uint32_t nUAV, uint64_t nAddress, uint64_t nSize,
                                            void* pOut, size_t* pOutSize)
{
    for (size_t i = 0; i < m_KernelArgs.size(); ++i)
    {
        const KernelArgInfo& arg = m_KernelArgs[i];
        if (arg.size == 0 || arg.uavID != nUAV || arg.baseAddress > nAddress ||
            arg.baseAddress + arg.size <= nAddress)
        {
            continue;
        }
        const ShaderUtils::SUBuffer* pBuf = GetArgumentBuffer(i);
        CLD_Assert(pBuf != NULL);
        if (pBuf == NULL)
        {
            return false;
        }
        CLD_Assert(pBuf->GetDataSize() == arg.size);
        if (pBuf->GetDataSize() != arg.size)
        {
            return false;
        }
        if (pOut != NULL)
        {
            const uint64_t nOffset = nAddress - arg.baseAddress;
            const uint64_t nCopied = std::min(nSize, arg.size - nOffset);
            memcpy(pOut, pBuf->GetSubResource(0) + nOffset, static_cast<size_t>(nCopied));
            if (pOutSize != NULL)
            {
                *pOutSize = static_cast<size_t>(nCopied);
            }
            return true;
        }
        if (pOutSize != NULL)
        {
            *pOutSize = static_cast<size_t>(arg.size);
            return true;
        }
    }
    return false;
}

bool CShaderDebuggerHostCL::GetValidGlobalMemoryRegions(size_t nMaxRegions,
                                                        xanclDebugMemoryRegion* pRegions,
                                                        size_t* pNumRegions)
{
    size_t nCount = 0;
    for (const KernelArgInfo& arg : m_KernelArgs)
    {
        if (arg.size == 0)
        {
            continue;
        }
        if (pRegions != NULL && nCount < nMaxRegions)
        {
            pRegions[nCount].uavID = arg.uavID;
            pRegions[nCount].start = static_cast<size_t>(arg.baseAddress);
            pRegions[nCount].end = static_cast<size_t>(arg.baseAddress + arg.size - 1);
        }
        ++nCount;
    }
    if (pNumRegions != NULL)
    {
        *pNumRegions = nCount;
    }
    return pRegions == NULL || nCount <= nMaxRegions;
}

bool CShaderDebuggerHostCL::GetActiveRegisters(std::vector<std::string>* pNames)
{
    if (pNames == NULL)
    {
        return false;
    }
    ShaderUtils::ThreadID id = GetThreadID();
    std::unique_ptr<CShaderDebuggerVariables> pVariables(GetVariables(id));
    if (!pVariables)
    {
        return false;
    }
    pNames->clear();
    for (const CShaderDebuggerVariable& variable : pVariables->GetVariableList())
    {
        pNames->push_back(variable.strName);
    }
    return true;
}

} // namespace XAN_ShaderDebugger
