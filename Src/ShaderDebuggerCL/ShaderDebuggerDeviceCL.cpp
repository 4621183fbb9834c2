#include "ShaderDebuggerCL/ShaderDebuggerDeviceCL.h"

#include "APIUsageLog.h"
#include "BifUtils.h"
#include "CLInfo.h"
#include "CLMetadata.h"
#include "CLWrappers.h"
#include "ElfUtils.h"
#include "Modules/OpenCLModule.h"
#include "ShaderDebuggerCL/ShaderDebuggerDeviceBufferCL.h"
#include "ShaderDebuggerCL/ShaderDebuggerUtilsCL.h"

#include <boost/format.hpp>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace XAN_ShaderDebugger
{
namespace
{
// Runtimes below this build number convert IL with the low-level runtime's converter.
const int32_t FIRST_BUILD_WITH_COMPILER_CONVERTER = 1500;

// Numbers the patched kernel images dumped in this process.
uint32_t g_nSetShaderDumpCounter = 0;

// The debugger's build options, from the most specific to the most lenient.
std::vector<std::string> PatchedBuildOptions(const std::string& strKernelName)
{
    return {"-ignore-env -use-debugil -just-kernel=" + strKernelName,
            "-use-debugil -just-kernel=" + strKernelName, "-use-debugil"};
}

BufferType GetImageBufferType(cl_mem_object_type nType)
{
    switch (nType)
    {
    case CL_MEM_OBJECT_IMAGE2D:
    case CL_MEM_OBJECT_IMAGE2D_ARRAY:
        return BT_Image2D;
    case CL_MEM_OBJECT_IMAGE1D:
    case CL_MEM_OBJECT_IMAGE1D_ARRAY:
        return BT_Image1D;
    case CL_MEM_OBJECT_IMAGE3D:
        return BT_Image3D;
    default:
        return BT_Unknown;
    }
}

template <typename T> bool GetImageInfo(cl_mem mem, cl_image_info nParam, T& value)
{
    return g_DeviceOpenCLModule.clGetImageInfo(mem, nParam, sizeof(T), &value, NULL) == CL_SUCCESS;
}
} // namespace

CShaderDebuggerDeviceCL::CShaderDebuggerDeviceCL(cl_kernel kernel, cl_command_queue commandQueue)
    : m_Device(NULL), m_Context(NULL), m_Queue(NULL), m_OriginalKernel(kernel),
      m_PatchedKernel(NULL), m_b64BitABI(false)
{
    CLD_Assert(kernel != 0);
    if (kernel == NULL || g_DeviceOpenCLModule.clRetainKernel(kernel) != CL_SUCCESS)
    {
        m_OriginalKernel = NULL;
        return;
    }
    if (GetCLInfoText(g_DeviceOpenCLModule.clGetKernelInfo, kernel, CL_KERNEL_FUNCTION_NAME,
                      m_strKernelName) != CL_SUCCESS)
    {
        CLD_Break("Error: clGetKernelInfo() failed.\n");
        return;
    }
    cl_int err = g_DeviceOpenCLModule.clGetKernelInfo(kernel, CL_KERNEL_CONTEXT, sizeof(m_Context),
                                                      &m_Context, NULL);
    CLD_Assert(err == CL_SUCCESS);
    if (err != CL_SUCCESS || g_DeviceOpenCLModule.clRetainContext(m_Context) != CL_SUCCESS)
    {
        m_Context = NULL;
        return;
    }
    err = g_DeviceOpenCLModule.clGetCommandQueueInfo(commandQueue, CL_QUEUE_DEVICE,
                                                     sizeof(m_Device), &m_Device, NULL);
    CLD_Assert(err == CL_SUCCESS);
    cl_device_type deviceType = 0;
    if (err != CL_SUCCESS ||
        g_DeviceOpenCLModule.clGetDeviceInfo(m_Device, CL_DEVICE_TYPE, sizeof(deviceType),
                                             &deviceType, NULL) != CL_SUCCESS ||
        deviceType != CL_DEVICE_TYPE_GPU)
    {
        return;
    }
    GetCLInfoText(g_DeviceOpenCLModule.clGetDeviceInfo, m_Device, CL_DEVICE_NAME, m_strDeviceName);

    std::string strVersion;
    if (GetCLInfoText(g_DeviceOpenCLModule.clGetDeviceInfo, m_Device, CL_DEVICE_VERSION,
                      strVersion) == CL_SUCCESS)
    {
        const int32_t nBuild = GetRuntimeBuild(strVersion);
        if (nBuild > 0 && nBuild < FIRST_BUILD_WITH_COMPILER_CONVERTER)
        {
            XAN_ElfUtils::SetQuvILConverter(true);
        }
    }

    m_Queue = g_DeviceOpenCLModule.clCreateCommandQueue(m_Context, m_Device, 0, &err);
    CLD_Assert(err == CL_SUCCESS);
    if (err != CL_SUCCESS)
    {
        m_Queue = NULL;
    }
}

CShaderDebuggerDeviceCL::~CShaderDebuggerDeviceCL()
{
    if (m_Context != NULL && g_DeviceOpenCLModule.clReleaseContext(m_Context) != CL_SUCCESS)
    {
        CLD_Break("Error: clReleaseContext() failed.\n");
    }
    m_Context = NULL;
    if (m_Queue != NULL && g_DeviceOpenCLModule.clReleaseCommandQueue(m_Queue) != CL_SUCCESS)
    {
        CLD_Break("Error: clReleaseCommandQueue() failed.\n");
    }
    m_Queue = NULL;
    if (m_OriginalKernel != NULL &&
        g_DeviceOpenCLModule.clReleaseKernel(m_OriginalKernel) != CL_SUCCESS)
    {
        CLD_Break("Error: clReleaseKernel() failed.\n");
    }
    m_OriginalKernel = NULL;
    ReleasePatchedKernels();
    m_strKernelName.clear();
}

int32_t CShaderDebuggerDeviceCL::GetRuntimeBuild(const std::string& strVersion)
{
    const size_t nOpen = strVersion.rfind('(');
    const size_t nClose = strVersion.rfind(')');
    if (nOpen == std::string::npos || nClose == std::string::npos || nClose < nOpen + 2)
    {
        return 0;
    }
    return static_cast<int32_t>(
        std::atoi(strVersion.substr(nOpen + 1, nClose - nOpen - 1).c_str()));
}

bool CShaderDebuggerDeviceCL::InitDevice()
{
    return InitKernelABIAndArgCBInfo();
}

bool CShaderDebuggerDeviceCL::ResetDevice()
{
    m_ArgCBInfo.clear();
    return true;
}

bool CShaderDebuggerDeviceCL::InitKernelABIAndArgCBInfo()
{
    const std::vector<char> vOriginalElf(GetShaderData().begin(), GetShaderData().end());
    const std::string strKernelName = m_strKernelName;
    std::string strOriginalMetadata;
    if (!XAN_ElfUtils::ExtractMetadataFromElf(vOriginalElf, strKernelName, strOriginalMetadata))
    {
        SDU_LogErrorCL(GetHost(), "Failed to get metadata from ELF");
        return false;
    }
    CCLMetadata metadata;
    if (!metadata.Parse(strOriginalMetadata))
    {
        return false;
    }
    m_b64BitABI = metadata.Is64BitABI();
    m_ArgCBInfo.clear();

    std::vector<CCLMetadataEntry*> vArguments;
    metadata.GetArguments(vArguments);
    ArgCBInfo cbEntry = {0, 0};
    for (const CCLMetadataEntry* pEntry : vArguments)
    {
        if (const CCLMetadataImageEntry* pImage =
                dynamic_cast<const CCLMetadataImageEntry*>(pEntry))
        {
            cbEntry = {pImage->GetSize(), pImage->GetBufferOffset()};
        }
        else if (const CCLMetadataValueEntry* pValue =
                     dynamic_cast<const CCLMetadataValueEntry*>(pEntry))
        {
            cbEntry = {pValue->GetSize(), pValue->GetBufferOffset()};
        }
        else if (const CCLMetadataPointerEntry* pPointer =
                     dynamic_cast<const CCLMetadataPointerEntry*>(pEntry))
        {
            cbEntry = {pPointer->GetSize(), pPointer->GetBufferOffset()};
        }
        // A counter takes its place with what the entry before it gave: nothing reads it.
        m_ArgCBInfo.push_back(cbEntry);
    }
    return true;
}

bool CShaderDebuggerDeviceCL::GetArgumentValueAndTypeFromOriginalKernel(
    uint32_t nIndex, std::vector<uint8_t>* pValue, size_t* pSize, BufferType* pType,
    bool* pbNullBuffer)
{
    CShaderDebuggerHost* pHost = GetHost();
    SDU_Assert(pHost, m_OriginalKernel);
    if (m_OriginalKernel == NULL)
    {
        return false;
    }
    if (nIndex >= GetNumDeviceBuffers(0))
    {
        return false;
    }
    const void* pArgValue = NULL;
    size_t nArgSize = 0;
    if (clGetKernelArg(m_OriginalKernel, nIndex, &pArgValue, &nArgSize) != CL_SUCCESS)
    {
        SDU_AssertTextCL(pHost, "Error: clGetKernelArg() failed.\n");
        return false;
    }
    std::string strType;
    if (!GetKernelArgKind(m_OriginalKernel, nIndex, strType))
    {
        SDU_AssertTextCL(pHost, "Error: clGetKernelArgInfo() failed.\n");
        return false;
    }

    bool bNullBuffer = false;
    if (pValue != NULL)
    {
        if (pArgValue != NULL)
        {
            const uint8_t* pBytes = static_cast<const uint8_t*>(pArgValue);
            pValue->assign(pBytes, pBytes + nArgSize);
        }
        else
        {
            pValue->clear();
        }
    }
    if (pSize != NULL)
    {
        *pSize = nArgSize;
    }

    BufferType type = BT_Unknown;
    cl_mem mem = NULL;
    if (pArgValue != NULL && nArgSize == sizeof(cl_mem))
    {
        memcpy(&mem, pArgValue, sizeof(cl_mem));
    }
    bool bResult = true;
    if (strType == "localpointer")
    {
        SDU_Assert(pHost, pArgValue == NULL);
        bResult = pArgValue == NULL;
        type = BT_LocalBuffer;
    }
    else if (strType == "globalpointer" || strType == "counter" || strType == "image")
    {
        SDU_Assert(pHost, nArgSize == sizeof(cl_mem));
        bResult = nArgSize == sizeof(cl_mem);
        type = strType == "image" ? BT_Image2D : BT_Buffer;
        bNullBuffer = bResult && mem == NULL;
        if (bResult && !bNullBuffer && strType == "image" && pType != NULL)
        {
            cl_mem_object_type nImageType = 0;
            if (g_DeviceOpenCLModule.clGetMemObjectInfo(mem, CL_MEM_TYPE, sizeof(nImageType),
                                                        &nImageType, NULL) != CL_SUCCESS)
            {
                SDU_AssertTextCL(pHost, "Error: clGetMemObjectInfo() failed.\n");
                return false;
            }
            type = GetImageBufferType(nImageType);
            if (type == BT_Unknown)
            {
                SDU_AssertTextCL(pHost, "Error: unknown image type.\n");
                return false;
            }
        }
    }
    else if (strType == "value")
    {
        type = BT_Value;
    }
    else
    {
        SDU_AssertTextCL(pHost, "Error: clGetKernelArgInfo() returned an unknown argument type.\n");
        bResult = false;
    }
    if (pbNullBuffer != NULL)
    {
        *pbNullBuffer = bNullBuffer;
    }
    if (pType != NULL)
    {
        *pType = type;
    }
    return bResult;
}

bool CShaderDebuggerDeviceCL::GetDeviceBufferDesc(uint32_t nShaderType, int32_t nIndex,
                                                  BufferDesc* pDesc)
{
    if (pDesc == NULL)
    {
        return false;
    }
    *pDesc = BufferDesc();
    pDesc->m_nShaderType = nShaderType;
    pDesc->m_nArraySize = 1;
    CShaderDebuggerHost* pHost = GetHost();

    if (nIndex < 0)
    {
        pDesc->m_Type = BT_Buffer;
        pDesc->m_nWidth = pHost->GetWorkSize0();
        pDesc->m_nHeight = pHost->GetWorkSize1();
        pDesc->m_nDepth = pHost->GetWorkSize2();
        return true;
    }

    std::vector<uint8_t> vValue;
    size_t nSize = 0;
    BufferType type = BT_Unknown;
    bool bNullBuffer = false;
    if (!GetArgumentValueAndTypeFromOriginalKernel(static_cast<uint32_t>(nIndex), &vValue, &nSize,
                                                   &type, &bNullBuffer))
    {
        return false;
    }
    if (type == BT_Value || type == BT_LocalBuffer)
    {
        pDesc->m_Type = type;
        pDesc->m_nSize = type == BT_Value ? vValue.size() : nSize;
        return true;
    }
    SDU_Assert(pHost, vValue.size() == sizeof(cl_mem));
    if (vValue.size() != sizeof(cl_mem))
    {
        return false;
    }
    cl_mem mem = NULL;
    memcpy(&mem, vValue.data(), sizeof(cl_mem));
    if (mem == NULL)
    {
        if (!bNullBuffer)
        {
            SDU_AssertTextCL(pHost, "Non-NULL buffer created from NULL buffer!");
            return false;
        }
        pDesc->m_Type = type;
        pDesc->m_Format = BF_Bytes;
        return true;
    }
    if (bNullBuffer)
    {
        SDU_AssertTextCL(pHost, "NULL buffer created from non-NULL buffer!");
        return false;
    }

    cl_mem_object_type memType = 0;
    if (g_DeviceOpenCLModule.clGetMemObjectInfo(mem, CL_MEM_TYPE, sizeof(memType), &memType,
                                                NULL) != CL_SUCCESS)
    {
        SDU_AssertTextCL(pHost, "Error: clGetMemObjectInfo() failed.\n");
        return false;
    }
    if (memType == CL_MEM_OBJECT_BUFFER)
    {
        size_t memSize = 0;
        if (g_DeviceOpenCLModule.clGetMemObjectInfo(mem, CL_MEM_SIZE, sizeof(memSize), &memSize,
                                                    NULL) != CL_SUCCESS)
        {
            SDU_AssertTextCL(pHost, "Error: clGetMemObjectInfo() failed.\n");
            return false;
        }
        pDesc->m_Type = BT_Buffer;
        pDesc->m_Format = BF_Bytes;
        pDesc->m_nSize = memSize;
        pDesc->m_nDepth = 1;
        return true;
    }
    if (memType == CL_MEM_OBJECT_PIPE)
    {
        SDU_AssertTextCL(pHost, "Pipe Objects are not supported.\n");
        return false;
    }

    pDesc->m_Type = GetImageBufferType(memType);
    if (pDesc->m_Type == BT_Unknown)
    {
        SDU_AssertTextCL(pHost, "Error: unsupported image format.\n");
    }
    pDesc->m_nDepth = pDesc->m_Type == BT_Image3D ? 0 : 1;
    pDesc->m_nHeight = pDesc->m_Type == BT_Image1D ? 1 : 0;

    cl_image_format imgFormat;
    size_t nWidth = 0;
    size_t nHeight = 0;
    size_t nRowPitch = 0;
    size_t nDepth = 0;
    size_t nArraySize = 0;
    const bool bPlanar = pDesc->m_Type == BT_Image2D || pDesc->m_Type == BT_Image3D;
    const bool bArray =
        memType == CL_MEM_OBJECT_IMAGE1D_ARRAY || memType == CL_MEM_OBJECT_IMAGE2D_ARRAY;
    if (!GetImageInfo(mem, CL_IMAGE_FORMAT, imgFormat))
    {
        SDU_AssertTextCL(pHost, "Error: clGetImageInfo() failed.\n");
        return false;
    }
    pDesc->m_Format = GetBufferFormat(imgFormat);
    if (pDesc->m_Format == BF_Unknown)
    {
        SDU_AssertTextCL(pHost, "Error: Image format unknown");
        return false;
    }
    if (!GetImageInfo(mem, CL_IMAGE_WIDTH, nWidth) ||
        (bPlanar && (!GetImageInfo(mem, CL_IMAGE_HEIGHT, nHeight) ||
                     !GetImageInfo(mem, CL_IMAGE_ROW_PITCH, nRowPitch))) ||
        (pDesc->m_Type == BT_Image3D && !GetImageInfo(mem, CL_IMAGE_DEPTH, nDepth)) ||
        (bArray && !GetImageInfo(mem, CL_IMAGE_ARRAY_SIZE, nArraySize)))
    {
        SDU_AssertTextCL(pHost, "Error: clGetImageInfo() failed.\n");
        return false;
    }
    pDesc->m_nWidth = static_cast<uint32_t>(nWidth);
    if (bPlanar)
    {
        pDesc->m_nHeight = static_cast<uint32_t>(nHeight);
        pDesc->m_nRowPitch = nRowPitch;
    }
    if (pDesc->m_Type == BT_Image3D)
    {
        pDesc->m_nDepth = static_cast<uint32_t>(nDepth);
    }
    if (bArray)
    {
        pDesc->m_nArraySize = static_cast<uint32_t>(nArraySize);
    }
    return true;
}

CShaderDebuggerDeviceBuffer* CShaderDebuggerDeviceCL::CreateDeviceBuffer(const BufferDesc& desc)
{
    SDU_Assert(GetHost(), m_Context);
    if (m_Context == NULL)
    {
        return NULL;
    }
    CShaderDebuggerDeviceBufferCL* pBuffer =
        new (std::nothrow) CShaderDebuggerDeviceBufferCL(this, m_Device, m_Context, m_Queue);
    if (pBuffer != NULL && !pBuffer->Create(desc))
    {
        delete pBuffer;
        pBuffer = NULL;
    }
    return pBuffer;
}

uint32_t CShaderDebuggerDeviceCL::GetNumDeviceBuffers(uint32_t)
{
    cl_uint nNumArgs = 0;
    if (m_OriginalKernel == NULL ||
        g_DeviceOpenCLModule.clGetKernelInfo(m_OriginalKernel, CL_KERNEL_NUM_ARGS, sizeof(nNumArgs),
                                             &nNumArgs, NULL) != CL_SUCCESS)
    {
        return 0;
    }
    return nNumArgs;
}

CShaderDebuggerDeviceBuffer* CShaderDebuggerDeviceCL::GetDeviceBuffer(uint32_t nShaderType,
                                                                      uint32_t nIndex)
{
    CShaderDebuggerHost* pHost = GetHost();
    std::vector<uint8_t> vValue;
    size_t nSize = 0;
    BufferType type = BT_Unknown;
    bool bNullBuffer = false;
    if (!GetArgumentValueAndTypeFromOriginalKernel(nIndex, &vValue, &nSize, &type, &bNullBuffer))
    {
        SDU_AssertTextCL(pHost,
                         "CShaderDebuggerDeviceCL: GetArgumentValueAndTypeFromOriginalKernel() "
                         "failed.");
        return NULL;
    }
    BufferDesc desc;
    if (!GetDeviceBufferDesc(nShaderType, static_cast<int32_t>(nIndex), &desc))
    {
        SDU_AssertTextCL(pHost, "CShaderDebuggerDeviceCL: GetDeviceBufferDesc() failed.");
        return NULL;
    }
    SDU_Assert(pHost, desc.m_Type == type);
    return new (std::nothrow) CShaderDebuggerDeviceBufferCL(this, m_Device, m_Context, m_Queue,
                                                            vValue, nSize, bNullBuffer, desc);
}

CShaderDebuggerDeviceBuffer* CShaderDebuggerDeviceCL::GetDeviceBuffer(uint32_t, std::string)
{
    CLD_Break("not implemented");
    return NULL;
}

bool CShaderDebuggerDeviceCL::SetDeviceBuffer(uint32_t, uint32_t nIndex,
                                              CShaderDebuggerDeviceBuffer* pDeviceBuffer)
{
    CShaderDebuggerHost* pHost = GetHost();
    SDU_Assert(pHost, pDeviceBuffer);
    SDU_Assert(pHost, m_PatchedKernel);
    if (pDeviceBuffer == NULL || m_PatchedKernel == NULL)
    {
        return false;
    }
    cl_uint nNumArgs = 0;
    if (g_DeviceOpenCLModule.clGetKernelInfo(m_PatchedKernel, CL_KERNEL_NUM_ARGS, sizeof(nNumArgs),
                                             &nNumArgs, NULL) != CL_SUCCESS)
    {
        SDU_AssertTextCL(pHost, "Error: clGetKernelInfo() failed.\n");
        return false;
    }
    if (nIndex >= nNumArgs)
    {
        return false;
    }
    CShaderDebuggerDeviceBufferCL* pBuffer =
        dynamic_cast<CShaderDebuggerDeviceBufferCL*>(pDeviceBuffer);
    SDU_Assert(pHost, pBuffer != NULL);
    if (pBuffer == NULL)
    {
        return false;
    }
    if (g_DeviceOpenCLModule.clSetKernelArg(m_PatchedKernel, nIndex, pBuffer->GetArgumentSize(),
                                            pBuffer->GetDeviceBuffer()) != CL_SUCCESS)
    {
        SDU_AssertTextCL(pHost, "Error: clSetKernelArg() failed.\n");
        return false;
    }
    return true;
}

bool CShaderDebuggerDeviceCL::SetDeviceBuffer(uint32_t, std::string, CShaderDebuggerDeviceBuffer*)
{
    CLD_Break("not implemented");
    return false;
}

bool CShaderDebuggerDeviceCL::CreateShader(uint32_t, const void*, size_t, void**)
{
    SDU_AssertTextCL(GetHost(), "shouldn't be using this function");
    return false;
}

void CShaderDebuggerDeviceCL::ReleaseShader(void*)
{
    SDU_AssertTextCL(GetHost(), "shouldn't be using this function");
}

bool CShaderDebuggerDeviceCL::SetShader(uint32_t, const void* pData, size_t nSize)
{
    m_PatchedKernel = NULL;
    if (pData == NULL || nSize == 0)
    {
        return false;
    }
    const char* pBytes = static_cast<const char*>(pData);
    std::vector<char> vImage(pBytes, pBytes + nSize);
    // Stepping comes back to the same patched kernels (each step of a loop, Continue after Step):
    // a build costs more than a run of a small launch, so each image is built once. The image
    // as given is the key, since taking the entry patch out costs a conversion of its IL.
    const std::map<std::vector<char>, cl_kernel>::const_iterator it = m_PatchedKernels.find(vImage);
    if (it != m_PatchedKernels.end())
    {
        m_PatchedKernel = it->second;
        return true;
    }
    std::vector<char> vShader(vImage);
    XAN_ElfUtils::UnpatchKernelEntry(m_strKernelName, vShader);
    if (m_PatchedKernels.size() >= MAX_PATCHED_KERNELS && !ReleasePatchedKernels())
    {
        return false;
    }

    CShaderDebuggerHost* pHost = GetHost();
    const uint32_t nInst = pHost->GetCurrentInstruction().m_nPos;
    const uint32_t nPC = pHost->GetCurrentLine();
    const std::string strDumpName =
        "patched.SetShader." +
        (boost::format("%03d.%03d.%03d") % g_nSetShaderDumpCounter % nInst % nPC).str() + ".elf";
    ++g_nSetShaderDumpCounter;
    std::ofstream dump(strDumpName.c_str(), std::ios::out | std::ios::binary | std::ios::trunc);
    dump.write(vShader.data(), static_cast<std::streamsize>(vShader.size()));
    dump.close();

    m_PatchedKernel = BuildPatchedKernel(vShader);
    if (m_PatchedKernel == NULL)
    {
        return false;
    }
    m_PatchedKernels.emplace(std::move(vImage), m_PatchedKernel);
    return true;
}

bool CShaderDebuggerDeviceCL::ReleasePatchedKernels()
{
    bool bReleased = true;
    for (const std::pair<const std::vector<char>, cl_kernel>& entry : m_PatchedKernels)
    {
        if (g_DeviceOpenCLModule.clReleaseKernel(entry.second) != CL_SUCCESS)
        {
            SDU_AssertTextCL(GetHost(), "Error: clReleaseKernel() failed.\n");
            bReleased = false;
        }
    }
    m_PatchedKernels.clear();
    m_PatchedKernel = NULL;
    return bReleased;
}

cl_kernel CShaderDebuggerDeviceCL::BuildPatchedKernel(const std::vector<char>& vShader)
{
    CShaderDebuggerHost* pHost = GetHost();
    const size_t nLength = vShader.size();
    const unsigned char* pBinary = reinterpret_cast<const unsigned char*>(vShader.data());
    cl_int status = CL_SUCCESS;
    cl_program program = g_DeviceOpenCLModule.clCreateProgramWithBinary(
        m_Context, 1, &m_Device, &nLength, &pBinary, NULL, &status);
    if (status != CL_SUCCESS || program == NULL)
    {
        SDU_AssertTextCL(pHost, "Error: clCreateProgramWithBinary() failed.\n");
        return NULL;
    }

    bool bBuilt = false;
    for (const std::string& strOptions : PatchedBuildOptions(m_strKernelName))
    {
        if (g_DeviceOpenCLModule.clBuildProgram(program, 1, &m_Device, strOptions.c_str(), NULL,
                                                NULL) == CL_SUCCESS)
        {
            bBuilt = true;
            break;
        }
    }
    if (!bBuilt)
    {
        std::string strLog;
        size_t nLogSize = 0;
        if (g_DeviceOpenCLModule.clGetProgramBuildInfo(program, m_Device, CL_PROGRAM_BUILD_LOG, 0,
                                                       NULL, &nLogSize) == CL_SUCCESS &&
            nLogSize != 0)
        {
            std::vector<char> vLog(nLogSize + 1, '\0');
            g_DeviceOpenCLModule.clGetProgramBuildInfo(program, m_Device, CL_PROGRAM_BUILD_LOG,
                                                       nLogSize, vLog.data(), NULL);
            strLog = vLog.data();
            SDU_AssertTextCL(pHost, strLog.c_str());
            // The message box of the build log: on this system a person sees it on stderr.
            std::fprintf(stderr, "%s\n", strLog.c_str());
        }
        SDU_AssertTextCL(pHost, "Error: clBuildProgram() failed.\n");
        g_DeviceOpenCLModule.clReleaseProgram(program);
        return NULL;
    }

    cl_kernel kernel =
        g_DeviceOpenCLModule.clCreateKernel(program, m_strKernelName.c_str(), &status);
    if (status != CL_SUCCESS || kernel == NULL)
    {
        SDU_AssertTextCL(pHost, "Error: clCreateKernel() failed.\n");
        g_DeviceOpenCLModule.clReleaseProgram(program);
        return NULL;
    }
    if (g_DeviceOpenCLModule.clReleaseProgram(program) != CL_SUCCESS)
    {
        SDU_AssertTextCL(pHost, "Error: clReleaseProgram() failed.\n");
        g_DeviceOpenCLModule.clReleaseKernel(kernel);
        return NULL;
    }
    return kernel;
}

void* CShaderDebuggerDeviceCL::GetShader(uint32_t)
{
    return m_PatchedKernel != NULL ? m_PatchedKernel : m_OriginalKernel;
}

std::string CShaderDebuggerDeviceCL::GetShaderName(uint32_t)
{
    return m_strKernelName;
}

bool CShaderDebuggerDeviceCL::DisassembleShader(const void* pData, size_t nSize, std::string& text)
{
    return XAN_ElfUtils::ConvertILBinaryToText(static_cast<const char*>(pData), nSize, text, "");
}

std::vector<unsigned char>& CShaderDebuggerDeviceCL::GetShaderData()
{
    if (!m_vShaderData.empty())
    {
        return m_vShaderData;
    }
    const std::string strFunction = "XAN_ShaderDebugger::CShaderDebuggerDeviceCL::GetShaderData";
    CShaderDebuggerHost* pHost = GetHost();
    cl_program program = NULL;
    if (m_OriginalKernel == NULL ||
        g_DeviceOpenCLModule.clGetKernelInfo(m_OriginalKernel, CL_KERNEL_PROGRAM, sizeof(program),
                                             &program, NULL) != CL_SUCCESS)
    {
        SDU_LogErrorCL(pHost, strFunction + "(), GetKernelInfo() failed.");
        return m_vShaderData;
    }

    std::vector<cl_device_id> vDevices;
    std::vector<std::vector<char>> vvBinaries;
    std::vector<char> vKernelBinary;
    if (GetProgramBinaries(g_DeviceOpenCLModule, program, vDevices, vvBinaries) == CL_SUCCESS)
    {
        for (size_t i = 0; i < vDevices.size(); ++i)
        {
            if (vDevices[i] == m_Device)
            {
                vKernelBinary.swap(vvBinaries[i]);
                break;
            }
        }
    }
    if (vKernelBinary.empty())
    {
        SDU_LogErrorCL(pHost, strFunction + "(), GetProgramBinary() failed.");
        return m_vShaderData;
    }
    if (!XAN_ElfUtils::PatchKernelEntry(m_strKernelName, vKernelBinary))
    {
        SDU_LogErrorCL(pHost, strFunction + "(), PatchKernelEntry() failed.");
        return m_vShaderData;
    }
    for (const char* pSection : {".xanil", ".llvmir", ".text"})
    {
        if (!XAN_ElfUtils::RemoveElfSection(vKernelBinary, pSection))
        {
            SDU_LogErrorCL(pHost, strFunction + "(), RemoveElfSection() failed.");
            return m_vShaderData;
        }
    }
    if (!XAN_ElfUtils::AddILBinarySection(vKernelBinary, "debugil", "debugilbin", false,
                                          m_strDeviceName))
    {
        SDU_LogErrorCL(pHost, strFunction + "(), AddILBinarySection() failed.");
        return m_vShaderData;
    }
    m_vShaderData.assign(vKernelBinary.begin(), vKernelBinary.end());
    return m_vShaderData;
}

} // namespace XAN_ShaderDebugger
