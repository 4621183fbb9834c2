#include "ShaderDebuggerCL/ShaderDebuggerDeviceBufferCL.h"

#include "Modules/OpenCLModule.h"
#include "ShaderDebuggerBuffer.h"
#include "ShaderDebuggerCL/ShaderDebuggerUtilsCL.h"

#include <algorithm>
#include <cstring>
#include <fstream>

namespace XAN_ShaderDebugger
{
namespace
{
const uint8_t FILL_BYTE = 0xAA;

const char* const GET_DATA_BUFFER = "CShaderDebuggerDeviceBufferCL::GetDataBuffer() failed. ";
const char* const UPDATE_DATA = "CShaderDebuggerDeviceBufferCL::UpdateData() failed. ";

// The failures of a transfer: the assertion raised and the words of the fuller log line.
enum ETransferFailure
{
    TF_NoQueue,
    TF_NoMem,
    TF_NoDataBuffer,
    TF_DataBufferCreate,
    TF_MemFlags,
    TF_StagingBuffer,
    TF_StagingBufferCopy,
    TF_Version,
    TF_ImageFormat,
    TF_StagingImage,
    TF_StagingImageCopy,
    TF_Map,
    TF_Unmap,
    TF_Release,
    TF_Finish,
};

struct STransferFailure
{
    const char* pAssert;
    const char* pWords;
};

const STransferFailure s_TransferFailures[] = {
    {"m_Queue != 0", "m_Queue == 0"},
    {"mem != 0", "mem == 0"},
    {"pDataBuffer != NULL", "pDataBuffer == NULL"},
    {"pDataBuffer->Create failed", "pDataBuffer->Create failed."},
    {"clGetMemObjectInfo() failed", "clGetMemObjectInfo() failed."},
    {"clCreateBuffer() failed", "clCreateBuffer() failed."},
    {"clEnqueueCopyBuffer() failed", "clEnqueueCopyBuffer() failed."},
    {"version == OpenCLModule::OpenCL_1_2", "Expecting OpenCL 1.2."},
    {"clGetImageInfo() failed", "clGetImageInfo() failed."},
    {"clCreateImage() failed", "clCreateImage() failed."},
    {"clEnqueueCopyImage () failed", "clEnqueueCopyImage () failed."},
    {"clEnqueueMapBuffer() failed", "clEnqueueMapBuffer() failed."},
    {"clEnqueueUnmapMemObject() failed", "clEnqueueUnmapMemObject() failed."},
    {"clReleaseMemObject() failed", "clReleaseMemObject() failed."},
    {"clFinish() failed", "clFinish() failed."},
};

// Raises the failure's assertion and logs the fuller line behind the operation's prefix.
void ReportTransferFailure(CShaderDebuggerHost* pHost, const char* pPrefix,
                           ETransferFailure eFailure)
{
    const STransferFailure& failure = s_TransferFailures[eFailure];
    SDU_AssertTextCL(pHost, failure.pAssert);
    std::string strLine = std::string(pPrefix) + failure.pWords;
    strLine += strLine.back() == '.' ? "\n" : ".\n";
    SDU_LogErrorCL(pHost, strLine);
}
} // namespace

CShaderDebuggerDeviceBufferCL::CShaderDebuggerDeviceBufferCL(CShaderDebuggerDevice* pOwner,
                                                             cl_device_id device,
                                                             cl_context context,
                                                             cl_command_queue queue)
    : m_pOwner(pOwner), m_Device(device), m_Context(context), m_Queue(queue), m_nSize(0),
      m_isNullBuffer(CLNB_Unknown), m_bOwnsMem(false)
{
}

CShaderDebuggerDeviceBufferCL::CShaderDebuggerDeviceBufferCL(
    CShaderDebuggerDevice* pOwner, cl_device_id device, cl_context context, cl_command_queue queue,
    const std::vector<uint8_t>& value, size_t nSize, bool bNullBuffer, const BufferDesc& desc)
    : m_pOwner(pOwner), m_Desc(desc), m_Device(device), m_Context(context), m_Queue(queue),
      m_Value(value), m_nSize(nSize),
      m_isNullBuffer(bNullBuffer ? CLNB_Is_A_Null_Buffer : CLNB_Is_Not_A_Null_Buffer),
      m_bOwnsMem(false)
{
    SDU_Assert(GetHost(), m_Desc.m_Type == BT_LocalBuffer || value.size() == nSize);
}

CShaderDebuggerDeviceBufferCL::~CShaderDebuggerDeviceBufferCL()
{
    Destroy();
}

CShaderDebuggerHost* CShaderDebuggerDeviceBufferCL::GetHost() const
{
    return m_pOwner != NULL ? m_pOwner->GetHost() : NULL;
}

cl_mem CShaderDebuggerDeviceBufferCL::GetMem() const
{
    cl_mem mem = NULL;
    if (m_Value.size() == sizeof(cl_mem))
    {
        memcpy(&mem, m_Value.data(), sizeof(cl_mem));
    }
    return mem;
}

bool CShaderDebuggerDeviceBufferCL::IsImage() const
{
    return m_Desc.m_Type == BT_Image1D || m_Desc.m_Type == BT_Image2D ||
           m_Desc.m_Type == BT_Image3D;
}

bool CShaderDebuggerDeviceBufferCL::Create(const BufferDesc& desc)
{
    NullBufferState isNullBuffer = m_isNullBuffer;
    if (isNullBuffer == CLNB_Unknown)
    {
        const bool bNull = desc.m_Type != BT_Unknown && desc.m_Type != BT_Value &&
                           desc.m_Type != BT_LocalBuffer && desc.m_Format == BF_Bytes &&
                           desc.m_nWidth == 0 && desc.m_nHeight == 0 && desc.m_nDepth == 0 &&
                           desc.m_nSize == 0;
        isNullBuffer = bNull ? CLNB_Is_A_Null_Buffer : CLNB_Is_Not_A_Null_Buffer;
    }
    if (!Destroy())
    {
        return false;
    }
    m_isNullBuffer = isNullBuffer;
    m_Desc = desc;
    const bool bNull = m_isNullBuffer == CLNB_Is_A_Null_Buffer;
    CShaderDebuggerHost* pHost = GetHost();

    cl_mem mem = NULL;
    cl_int nError = CL_SUCCESS;
    switch (m_Desc.m_Type)
    {
    case BT_Value:
        m_Value.resize(m_Desc.m_nSize);
        m_nSize = m_Desc.m_nSize;
        return Clear();
    case BT_LocalBuffer:
        m_nSize = m_Desc.m_nSize;
        return Clear();
    case BT_Buffer:
    {
        if (m_Desc.m_Format != BF_Bytes)
        {
            const uint32_t nElementSize = GetBufferFormatElementSize(m_Desc.m_Format);
            if (nElementSize == 0)
            {
                SDU_AssertTextCL(pHost, "Unsupported CL buffer format");
                return false;
            }
            m_Desc.m_nSize =
                static_cast<uint64_t>(nElementSize) * std::max<uint32_t>(m_Desc.m_nWidth, 1) *
                std::max<uint32_t>(m_Desc.m_nHeight, 1) * std::max<uint32_t>(m_Desc.m_nDepth, 1);
        }
        if (m_Desc.m_nSize > 0 && bNull)
        {
            SDU_AssertTextCL(pHost, "Non-NULL input for a NULL buffer!");
            return false;
        }
        if (m_Desc.m_nSize > 0)
        {
            mem = g_DeviceOpenCLModule.clCreateBuffer(m_Context, CL_MEM_READ_WRITE, m_Desc.m_nSize,
                                                      NULL, &nError);
        }
        else if (!bNull)
        {
            SDU_AssertTextCL(pHost, "NULL input for a non-NULL buffer!");
            return false;
        }
        break;
    }
    case BT_Image1D:
    case BT_Image2D:
    case BT_Image3D:
    {
        if (m_Desc.m_nWidth > 0 && bNull)
        {
            SDU_AssertTextCL(pHost, "non-NULL input for a NULL image!");
            return false;
        }
        if (m_Desc.m_nWidth > 0)
        {
            cl_image_format format;
            if (!GetCLImageFormat(m_Desc.m_Format, format))
            {
                SDU_AssertTextCL(pHost, "Unsupported CL buffer format");
                return false;
            }
            mem = CreateImage(CL_MEM_READ_WRITE, format, nError);
        }
        else if (!bNull)
        {
            SDU_AssertTextCL(pHost, "NULL input for a non-NULL image!");
            return false;
        }
        break;
    }
    default:
        SDU_AssertTextCL(pHost, "Unsupported CL buffer type");
        return false;
    }

    if (nError != CL_SUCCESS || (mem == NULL && !bNull))
    {
        SDU_AssertTextCL(pHost, "Could not allocate CL memory");
        return false;
    }
    m_Value.assign(reinterpret_cast<const uint8_t*>(&mem),
                   reinterpret_cast<const uint8_t*>(&mem) + sizeof(cl_mem));
    m_nSize = sizeof(cl_mem);
    m_bOwnsMem = !bNull;
    return Clear();
}

cl_mem CShaderDebuggerDeviceBufferCL::CreateImage(cl_mem_flags nFlags,
                                                  const cl_image_format& format,
                                                  cl_int& nError) const
{
    const size_t nWidth = m_Desc.m_nWidth;
    if (g_DeviceOpenCLModule.GetVersion() != OpenCLModule::OpenCL_1_2)
    {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
        switch (m_Desc.m_Type)
        {
        case BT_Image1D:
            return g_DeviceOpenCLModule.clCreateImage2D(m_Context, nFlags, &format, nWidth, 1, 0,
                                                        NULL, &nError);
        case BT_Image2D:
            return g_DeviceOpenCLModule.clCreateImage2D(m_Context, nFlags, &format, nWidth,
                                                        m_Desc.m_nHeight, 0, NULL, &nError);
        case BT_Image3D:
            return g_DeviceOpenCLModule.clCreateImage3D(m_Context, nFlags, &format, nWidth,
                                                        m_Desc.m_nHeight, m_Desc.m_nDepth, 0, 0,
                                                        NULL, &nError);
        default:
            break;
        }
#pragma GCC diagnostic pop
    }
    else
    {
        cl_image_desc imageDesc;
        memset(&imageDesc, 0, sizeof(imageDesc));
        const bool bArray = m_Desc.m_nArraySize > 1;
        switch (m_Desc.m_Type)
        {
        case BT_Image1D:
            imageDesc.image_type = bArray ? CL_MEM_OBJECT_IMAGE1D_ARRAY : CL_MEM_OBJECT_IMAGE1D;
            break;
        case BT_Image2D:
            imageDesc.image_type = bArray ? CL_MEM_OBJECT_IMAGE2D_ARRAY : CL_MEM_OBJECT_IMAGE2D;
            break;
        case BT_Image3D:
            imageDesc.image_type = CL_MEM_OBJECT_IMAGE3D;
            break;
        default:
            break;
        }
        if (imageDesc.image_type != 0)
        {
            imageDesc.image_width = nWidth;
            imageDesc.image_height = m_Desc.m_nHeight;
            imageDesc.image_depth = m_Desc.m_nDepth;
            imageDesc.image_array_size = m_Desc.m_nArraySize;
            return g_DeviceOpenCLModule.clCreateImage(m_Context, nFlags, &format, &imageDesc, NULL,
                                                      &nError);
        }
    }
    SDU_AssertTextCL(GetHost(), "Unsupported CL buffer type");
    nError = CL_INVALID_VALUE;
    return NULL;
}

bool CShaderDebuggerDeviceBufferCL::Destroy()
{
    if (m_bOwnsMem)
    {
        SDU_Assert(GetHost(), m_Value.size() == sizeof(cl_mem));
        if (g_DeviceOpenCLModule.clReleaseMemObject(GetMem()) != CL_SUCCESS)
        {
            SDU_AssertTextCL(GetHost(), "Could not release CL memory");
            return false;
        }
        m_bOwnsMem = false;
    }
    m_Value.clear();
    m_nSize = 0;
    m_isNullBuffer = CLNB_Unknown;
    return true;
}

const void* CShaderDebuggerDeviceBufferCL::GetDeviceBuffer()
{
    return m_Desc.m_Type == BT_LocalBuffer || m_Value.empty() ? NULL : m_Value.data();
}

size_t CShaderDebuggerDeviceBufferCL::GetArgumentSize()
{
    SDU_Assert(GetHost(), m_Desc.m_Type == BT_LocalBuffer || m_Value.size() == m_nSize);
    return static_cast<size_t>(m_nSize);
}

bool CShaderDebuggerDeviceBufferCL::Clear()
{
    return UpdateData(NULL, 0);
}

bool CShaderDebuggerDeviceBufferCL::SaveToFile(const std::string& strName)
{
    if (strName.empty())
    {
        return false;
    }
    std::ofstream file(strName.c_str(), std::ios::out | std::ios::binary);
    return file.is_open();
}

void CShaderDebuggerDeviceBufferCL::GetRegion(size_t (&region)[3]) const
{
    region[0] = m_Desc.m_nWidth;
    region[1] = m_Desc.m_Type == BT_Image1D ? 1 : m_Desc.m_nHeight;
    region[2] = m_Desc.m_Type == BT_Image3D ? m_Desc.m_nDepth : 1;
}

bool CShaderDebuggerDeviceBufferCL::CopyMem(cl_mem src, cl_mem dst)
{
    cl_int nError = CL_SUCCESS;
    if (IsImage())
    {
        const size_t origin[3] = {0, 0, 0};
        size_t region[3];
        GetRegion(region);
        nError = g_DeviceOpenCLModule.clEnqueueCopyImage(m_Queue, src, dst, origin, origin, region,
                                                         0, NULL, NULL);
    }
    else
    {
        nError = g_DeviceOpenCLModule.clEnqueueCopyBuffer(m_Queue, src, dst, 0, 0, m_Desc.m_nSize,
                                                          0, NULL, NULL);
    }
    if (nError != CL_SUCCESS)
    {
        ReportTransferFailure(GetHost(), GET_DATA_BUFFER,
                              IsImage() ? TF_StagingImageCopy : TF_StagingBufferCopy);
        return false;
    }
    return true;
}

bool CShaderDebuggerDeviceBufferCL::Stage(cl_mem mem, cl_mem_flags nDenied, cl_mem_flags nHostFlags,
                                          cl_mem& staging)
{
    staging = NULL;
    CShaderDebuggerHost* pHost = GetHost();
    cl_mem_flags nFlags = 0;
    if (g_DeviceOpenCLModule.clGetMemObjectInfo(mem, CL_MEM_FLAGS, sizeof(nFlags), &nFlags, NULL) !=
        CL_SUCCESS)
    {
        ReportTransferFailure(pHost, GET_DATA_BUFFER, TF_MemFlags);
        return false;
    }
    if ((nFlags & nDenied) == 0)
    {
        return true;
    }

    cl_int nError = CL_SUCCESS;
    if (!IsImage())
    {
        staging = g_DeviceOpenCLModule.clCreateBuffer(m_Context, nHostFlags, m_Desc.m_nSize, NULL,
                                                      &nError);
        if (nError != CL_SUCCESS || staging == NULL)
        {
            ReportTransferFailure(pHost, GET_DATA_BUFFER, TF_StagingBuffer);
            staging = NULL;
            return false;
        }
        return true;
    }

    if (g_DeviceOpenCLModule.GetVersion() != OpenCLModule::OpenCL_1_2)
    {
        ReportTransferFailure(pHost, GET_DATA_BUFFER, TF_Version);
        return false;
    }
    cl_image_format format;
    if (g_DeviceOpenCLModule.clGetImageInfo(mem, CL_IMAGE_FORMAT, sizeof(format), &format, NULL) !=
        CL_SUCCESS)
    {
        ReportTransferFailure(pHost, GET_DATA_BUFFER, TF_ImageFormat);
        return false;
    }
    staging = CreateImage(nHostFlags, format, nError);
    if (nError != CL_SUCCESS || staging == NULL)
    {
        ReportTransferFailure(pHost, GET_DATA_BUFFER, TF_StagingImage);
        staging = NULL;
        return false;
    }
    return true;
}

void* CShaderDebuggerDeviceBufferCL::Map(cl_mem mem, cl_map_flags nFlags, const char* pPrefix,
                                         size_t& nRowPitch, size_t& nSlicePitch)
{
    nRowPitch = 0;
    nSlicePitch = 0;
    cl_int nError = CL_SUCCESS;
    void* pMapped = NULL;
    if (IsImage())
    {
        const size_t origin[3] = {0, 0, 0};
        size_t region[3];
        GetRegion(region);
        pMapped = g_DeviceOpenCLModule.clEnqueueMapImage(m_Queue, mem, CL_TRUE, nFlags, origin,
                                                         region, &nRowPitch, &nSlicePitch, 0, NULL,
                                                         NULL, &nError);
    }
    else
    {
        pMapped = g_DeviceOpenCLModule.clEnqueueMapBuffer(m_Queue, mem, CL_TRUE, nFlags, 0,
                                                          m_Desc.m_nSize, 0, NULL, NULL, &nError);
    }
    if (nError != CL_SUCCESS || pMapped == NULL)
    {
        ReportTransferFailure(GetHost(), pPrefix, TF_Map);
        return NULL;
    }
    return pMapped;
}

bool CShaderDebuggerDeviceBufferCL::Release(cl_mem mem)
{
    if (mem != NULL && g_DeviceOpenCLModule.clReleaseMemObject(mem) != CL_SUCCESS)
    {
        ReportTransferFailure(GetHost(), GET_DATA_BUFFER, TF_Release);
        return false;
    }
    return true;
}

CShaderDebuggerBuffer*
CShaderDebuggerDeviceBufferCL::GetDataBuffer(CShaderDebuggerBuffer* pDataBuffer)
{
    CShaderDebuggerHost* pHost = GetHost();
    if (m_Desc.m_Type == BT_Value || m_Desc.m_Type == BT_LocalBuffer)
    {
        SDU_AssertTextCL(pHost, "Can't get buffer for value type buffers or local memory buffers");
        return NULL;
    }
    SDU_Assert(pHost, m_Value.size() == sizeof(cl_mem));
    if (m_Value.size() != sizeof(cl_mem))
    {
        return NULL;
    }
    if (m_Queue == NULL)
    {
        ReportTransferFailure(pHost, GET_DATA_BUFFER, TF_NoQueue);
        return NULL;
    }
    cl_mem mem = GetMem();
    const bool bNull = m_isNullBuffer == CLNB_Is_A_Null_Buffer;
    if (mem == NULL && !bNull)
    {
        ReportTransferFailure(pHost, GET_DATA_BUFFER, TF_NoMem);
        return NULL;
    }

    CShaderDebuggerBuffer* pNewBuffer = NULL;
    if (pDataBuffer == NULL)
    {
        pNewBuffer = new (std::nothrow) CShaderDebuggerBuffer(pHost);
        if (pNewBuffer == NULL)
        {
            ReportTransferFailure(pHost, GET_DATA_BUFFER, TF_NoDataBuffer);
            return NULL;
        }
        pDataBuffer = pNewBuffer;
    }
    if (!pDataBuffer->Reshape(m_Desc))
    {
        ReportTransferFailure(pHost, GET_DATA_BUFFER, TF_DataBufferCreate);
        delete pNewBuffer;
        return NULL;
    }
    if (bNull)
    {
        return pDataBuffer;
    }

    cl_mem staging = NULL;
    bool bRead = Stage(mem, CL_MEM_HOST_WRITE_ONLY | CL_MEM_HOST_NO_ACCESS, CL_MEM_HOST_READ_ONLY,
                       staging) &&
                 (staging == NULL || CopyMem(mem, staging));
    if (bRead)
    {
        cl_mem source = staging != NULL ? staging : mem;
        size_t nRowPitch = 0;
        size_t nSlicePitch = 0;
        void* pMapped = Map(source, CL_MAP_READ, GET_DATA_BUFFER, nRowPitch, nSlicePitch);
        if (pMapped == NULL)
        {
            bRead = false;
        }
        else
        {
            const bool bPitched = m_Desc.m_Type == BT_Image2D || m_Desc.m_Type == BT_Image3D;
            bRead =
                pDataBuffer->UpdateSubResources(pMapped, bPitched ? nRowPitch : 0, 0, 0xFFFFFFFF);
            if (g_DeviceOpenCLModule.clEnqueueUnmapMemObject(m_Queue, source, pMapped, 0, NULL,
                                                             NULL) != CL_SUCCESS)
            {
                ReportTransferFailure(pHost, GET_DATA_BUFFER, TF_Unmap);
                bRead = false;
            }
        }
    }
    bRead = Release(staging) && bRead;
    if (!bRead)
    {
        delete pNewBuffer;
        return NULL;
    }
    return pDataBuffer;
}

bool CShaderDebuggerDeviceBufferCL::ZeroData()
{
    cl_mem mem = GetMem();
    if (m_Desc.m_Type != BT_Buffer || mem == NULL || m_Queue == NULL)
    {
        return false;
    }
    const cl_uint nZero = 0;
    const size_t nPattern = m_Desc.m_nSize % sizeof(nZero) == 0 ? sizeof(nZero) : 1;
    if (g_DeviceOpenCLModule.clEnqueueFillBuffer(m_Queue, mem, &nZero, nPattern, 0, m_Desc.m_nSize,
                                                 0, NULL, NULL) != CL_SUCCESS)
    {
        return false;
    }
    if (g_DeviceOpenCLModule.clFinish(m_Queue) != CL_SUCCESS)
    {
        ReportTransferFailure(GetHost(), UPDATE_DATA, TF_Finish);
        return false;
    }
    return true;
}

bool CShaderDebuggerDeviceBufferCL::UpdateData(const void* pData, size_t nBufferSize)
{
    CShaderDebuggerHost* pHost = GetHost();
    if (m_Desc.m_Type == BT_Value || m_Desc.m_Type == BT_LocalBuffer)
    {
        if (pData == NULL)
        {
            std::fill(m_Value.begin(), m_Value.end(), FILL_BYTE);
            return true;
        }
        SDU_Assert(pHost, nBufferSize == m_Value.size());
        memcpy(m_Value.data(), pData, std::min(nBufferSize, m_Value.size()));
        return true;
    }

    if (m_Queue == NULL)
    {
        ReportTransferFailure(pHost, UPDATE_DATA, TF_NoQueue);
        return false;
    }
    SDU_Assert(pHost, m_Value.size() == sizeof(cl_mem));
    if (m_Value.size() != sizeof(cl_mem))
    {
        return false;
    }
    cl_mem mem = GetMem();
    SDU_Assert(pHost, (0 != mem) != (CLNB_Is_A_Null_Buffer == m_isNullBuffer));
    if (mem == NULL)
    {
        if (m_isNullBuffer == CLNB_Is_A_Null_Buffer)
        {
            return true;
        }
        ReportTransferFailure(pHost, UPDATE_DATA, TF_NoMem);
        return false;
    }

    cl_mem staging = NULL;
    if (!Stage(mem, CL_MEM_HOST_READ_ONLY | CL_MEM_HOST_NO_ACCESS, CL_MEM_HOST_WRITE_ONLY, staging))
    {
        return false;
    }
    cl_mem target = staging != NULL ? staging : mem;
    size_t nRowPitch = 0;
    size_t nSlicePitch = 0;
    void* pMapped = Map(target, CL_MAP_WRITE, UPDATE_DATA, nRowPitch, nSlicePitch);
    if (pMapped == NULL)
    {
        Release(staging);
        return false;
    }

    uint64_t nTargetSize = 0;
    bool bKnownType = true;
    switch (m_Desc.m_Type)
    {
    case BT_Buffer:
        nTargetSize = m_Desc.m_nSize;
        break;
    case BT_Image1D:
        nTargetSize = static_cast<uint64_t>(std::max<uint32_t>(m_Desc.m_nArraySize, 1)) * nRowPitch;
        break;
    case BT_Image2D:
        nTargetSize = static_cast<uint64_t>(m_Desc.m_nHeight) * nRowPitch *
                      std::max<uint32_t>(m_Desc.m_nArraySize, 1);
        break;
    case BT_Image3D:
        nTargetSize = static_cast<uint64_t>(m_Desc.m_nDepth) * nSlicePitch;
        break;
    default:
        SDU_AssertTextCL(pHost, "Unsupported CL buffer type");
        bKnownType = false;
        break;
    }
    if (bKnownType && pData != NULL)
    {
        SDU_Assert(pHost, nBufferSize == nTargetSize);
        memcpy(pMapped, pData, static_cast<size_t>(std::min<uint64_t>(nBufferSize, nTargetSize)));
    }
    else if (bKnownType)
    {
        memset(pMapped, FILL_BYTE, static_cast<size_t>(nTargetSize));
    }

    bool bWritten = bKnownType;
    if (g_DeviceOpenCLModule.clEnqueueUnmapMemObject(m_Queue, target, pMapped, 0, NULL, NULL) !=
        CL_SUCCESS)
    {
        ReportTransferFailure(pHost, UPDATE_DATA, TF_Unmap);
        bWritten = false;
    }
    if (staging != NULL)
    {
        bWritten = CopyMem(staging, mem) && bWritten;
        bWritten = Release(staging) && bWritten;
    }
    if (g_DeviceOpenCLModule.clFinish(m_Queue) != CL_SUCCESS)
    {
        ReportTransferFailure(pHost, UPDATE_DATA, TF_Finish);
        bWritten = false;
    }
    return bWritten && (pData == NULL || nBufferSize == nTargetSize);
}

} // namespace XAN_ShaderDebugger
