#include "CKernel.h"

#include "CContext.h"
#include "CDevice.h"
#include "CDiagnostics.h"
#include "CILEngine.h"
#include "CInfoWriter.h"
#include "CKernelImage.h"
#include "CMemObject.h"
#include "CProgram.h"
#include "CSampler.h"

#include <algorithm>
#include <cstring>

namespace XAN_Platform
{
namespace
{
uint32_t RoundUp16(uint32_t nValue)
{
    return (nValue + 15) / 16 * 16;
}

void WriteWords(std::vector<uint32_t>& vBuffer, uint32_t nOffset, const void* pData, size_t nSize)
{
    std::memcpy(reinterpret_cast<unsigned char*>(vBuffer.data()) + nOffset, pData, nSize);
}
// An image argument as the engine reads it: read-only images by resource id, the others by
// the UAV id of the same number. Arrays sample as an image of one more dimension.
SImageBinding BindImage(const SKernelArg& arg, const CMemObject& mem)
{
    SImageBinding binding;
    binding.nId = arg.nResource;
    binding.bUAV = arg.strAccess != "RO";
    binding.nAddress = mem.GetDeviceAddress();
    const cl_mem_object_type nType = mem.GetImageDesc().image_type;
    binding.layout.nDimensions =
        nType == CL_MEM_OBJECT_IMAGE1D || nType == CL_MEM_OBJECT_IMAGE1D_BUFFER  ? 1
        : nType == CL_MEM_OBJECT_IMAGE3D || nType == CL_MEM_OBJECT_IMAGE2D_ARRAY ? 3
                                                                                 : 2;
    for (uint32_t d = 0; d < 3; ++d)
    {
        binding.layout.vExtent[d] = uint32_t(mem.GetExtent()[d]);
    }
    binding.layout.nChannelOrder = mem.GetImageFormat().image_channel_order;
    binding.layout.nChannelType = mem.GetImageFormat().image_channel_data_type;
    binding.layout.nRowPitch = uint32_t(mem.GetRowPitch());
    binding.layout.nSlicePitch = uint32_t(mem.GetSlicePitch());
    return binding;
}
} // namespace

CKernel::CKernel(CProgram* pProgram, const std::string& strName, const Images& vImages)
    : CCLObject(OT_Kernel, true), m_pProgram(pProgram), m_strName(strName), m_vImages(vImages),
      m_vValues(vImages.front().second->GetArgs().size())
{
    pProgram->AttachKernel();
}

CKernel::~CKernel()
{
    m_pProgram->DetachKernel();
}

const std::vector<SKernelArg>& CKernel::GetArgs() const
{
    return m_vImages.front().second->GetArgs();
}

std::shared_ptr<const CKernelImage> CKernel::GetImage(const CDevice* pDevice) const
{
    for (const auto& entry : m_vImages)
    {
        if (entry.first == pDevice)
        {
            return entry.second;
        }
    }
    return nullptr;
}

cl_int CKernel::SetArg(cl_uint nIndex, size_t nSize, const void* pValue)
{
    const std::vector<SKernelArg>& vArgs = GetArgs();
    if (nIndex >= vArgs.size())
    {
        return CDiagnostics::Refuse(CL_INVALID_ARG_INDEX, "arg_index",
                                    std::to_string(nIndex) + ", but kernel " + m_strName + " has " +
                                        std::to_string(vArgs.size()) + " arguments");
    }
    const SKernelArg& arg = vArgs[nIndex];
    const std::string strArg = "argument " + std::to_string(nIndex) + " (" + arg.strName + ")";
    SArgValue value;
    value.bSet = true;
    switch (arg.eKind)
    {
    case AK_GlobalPointer:
    case AK_Image:
    {
        if (nSize != sizeof(cl_mem))
        {
            return CDiagnostics::Refuse(CL_INVALID_ARG_SIZE, "arg_size",
                                        std::to_string(nSize) + " for " + strArg +
                                            ", a memory object takes sizeof(cl_mem)");
        }
        cl_mem mem = nullptr;
        if (pValue != nullptr)
        {
            std::memcpy(&mem, pValue, sizeof(mem));
        }
        if (mem == nullptr && arg.eKind == AK_Image)
        {
            return CDiagnostics::Refuse(CL_INVALID_ARG_VALUE, "arg_value",
                                        "null for image " + strArg);
        }
        const CMemObject* pMem = CCLObject::Find<CMemObject>(mem);
        if (mem != nullptr && (pMem == nullptr || pMem->GetContext() != m_pProgram->GetContext() ||
                               pMem->IsImage() != (arg.eKind == AK_Image)))
        {
            return CDiagnostics::Refuse(
                CL_INVALID_MEM_OBJECT, "arg_value",
                pMem == nullptr ? "no memory object of this platform for " + strArg
                : pMem->GetContext() != m_pProgram->GetContext()
                    ? "a memory object of another context for " + strArg
                    : std::string(arg.eKind == AK_Image ? "a buffer" : "an image") + " for " +
                          strArg);
        }
        value.vBytes.resize(sizeof(mem));
        std::memcpy(value.vBytes.data(), &mem, sizeof(mem));
        break;
    }
    case AK_LocalPointer:
        if (pValue != nullptr)
        {
            return CDiagnostics::Refuse(CL_INVALID_ARG_VALUE, "arg_value",
                                        "must be null for __local " + strArg);
        }
        if (nSize == 0 || nSize > CDevice::LOCAL_MEMORY_BYTES)
        {
            return CDiagnostics::Refuse(
                CL_INVALID_ARG_SIZE, "arg_size",
                std::to_string(nSize) + " bytes of local memory for " + strArg + ", 1 to " +
                    std::to_string(CDevice::LOCAL_MEMORY_BYTES) + " are possible");
        }
        value.nLocalSize = nSize;
        break;
    case AK_Value:
        if (arg.nSamplerId >= 0)
        {
            const cl_int nError = SetSamplerArg(strArg, nSize, pValue, value);
            if (nError != CL_SUCCESS)
            {
                return nError;
            }
            break;
        }
        if (pValue == nullptr)
        {
            return CDiagnostics::Refuse(CL_INVALID_ARG_VALUE, "arg_value",
                                        "null for value " + strArg);
        }
        if (!arg.AcceptsValueSize(nSize))
        {
            return CDiagnostics::Refuse(CL_INVALID_ARG_SIZE, "arg_size",
                                        std::to_string(nSize) + " doesn't fit " + strArg +
                                            " of type " + arg.strDataType);
        }
        value.vBytes.assign(static_cast<const unsigned char*>(pValue),
                            static_cast<const unsigned char*>(pValue) + nSize);
        break;
    }
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_vValues[nIndex] = value;
    return CL_SUCCESS;
}

// A sampler_t argument holds its sampler's bits, which also select how its sampler id reads.
cl_int CKernel::SetSamplerArg(const std::string& strArg, size_t nSize, const void* pValue,
                              SArgValue& value) const
{
    if (nSize != sizeof(cl_sampler))
    {
        return CDiagnostics::Refuse(CL_INVALID_ARG_SIZE, "arg_size",
                                    std::to_string(nSize) + " for " + strArg +
                                        ", a sampler takes sizeof(cl_sampler)");
    }
    cl_sampler sampler = nullptr;
    if (pValue != nullptr)
    {
        std::memcpy(&sampler, pValue, sizeof(sampler));
    }
    const CSampler* pSampler = CCLObject::Find<CSampler>(sampler);
    if (pSampler == nullptr)
    {
        return CDiagnostics::Refuse(CL_INVALID_SAMPLER, "arg_value",
                                    "no sampler of this platform for " + strArg);
    }
    const uint32_t nBits = pSampler->GetBits();
    value.vBytes.resize(sizeof(nBits));
    std::memcpy(value.vBytes.data(), &nBits, sizeof(nBits));
    return CL_SUCCESS;
}

uint32_t CKernel::GetLocalArgBytes() const
{
    uint32_t nBytes = 0;
    for (const SArgValue& value : m_vValues)
    {
        nBytes = RoundUp16(nBytes) + uint32_t(value.nLocalSize);
    }
    return nBytes;
}

cl_int CKernel::Capture(const CDevice* pDevice, SLaunchDesc& desc,
                        std::vector<CRef<CMemObject>>& vMemory)
{
    const std::shared_ptr<const CKernelImage> pImage = GetImage(pDevice);
    const std::vector<SKernelArg>& vArgs = pImage->GetArgs();
    std::lock_guard<std::mutex> lock(m_Mutex);
    desc.vConstantBuffer1.assign(pImage->GetArgBufferBytes() / 4, 0);
    desc.vSamplers = pImage->GetSamplers();
    uint32_t nLocal = RoundUp16(pImage->GetStaticLocalBytes());
    for (size_t i = 0; i < vArgs.size(); ++i)
    {
        const SKernelArg& arg = vArgs[i];
        const SArgValue& value = m_vValues[i];
        if (!value.bSet)
        {
            return CDiagnostics::Refuse(CL_INVALID_KERNEL_ARGS, "kernel",
                                        "argument " + std::to_string(i) + " (" + arg.strName +
                                            ") of " + m_strName + " isn't set");
        }
        if (arg.eKind == AK_Value)
        {
            WriteWords(desc.vConstantBuffer1, arg.nOffset, value.vBytes.data(),
                       value.vBytes.size());
            if (arg.nSamplerId >= 0)
            {
                desc.vSamplers.resize(CKernelImage::MAX_SAMPLERS, 0);
                std::memcpy(&desc.vSamplers[size_t(arg.nSamplerId)], value.vBytes.data(),
                            sizeof(uint32_t));
            }
            continue;
        }
        if (arg.eKind == AK_LocalPointer)
        {
            WriteWords(desc.vConstantBuffer1, arg.nOffset, &nLocal, sizeof(nLocal));
            nLocal = RoundUp16(nLocal + uint32_t(value.nLocalSize));
            continue;
        }
        cl_mem mem = nullptr;
        std::memcpy(&mem, value.vBytes.data(), sizeof(mem));
        if (mem == nullptr)
        {
            continue;
        }
        CMemObject* pMem = CCLObject::Find<CMemObject>(mem);
        if (pMem == nullptr)
        {
            return CDiagnostics::Refuse(CL_INVALID_MEM_OBJECT, "kernel",
                                        "the memory object of argument " + std::to_string(i) +
                                            " was released");
        }
        vMemory.emplace_back(pMem);
        if (arg.eKind == AK_GlobalPointer)
        {
            const uint64_t nAddress = pMem->GetDeviceAddress();
            const uint32_t vAddress[2] = {uint32_t(nAddress),
                                          pImage->Is64BitABI() ? uint32_t(nAddress >> 32) : 0};
            WriteWords(desc.vConstantBuffer1, arg.nOffset, vAddress, sizeof(vAddress));
            continue;
        }
        const size_t* pExtent = pMem->GetExtent();
        const cl_image_format& format = pMem->GetImageFormat();
        const uint32_t vImage[8] = {
            uint32_t(pExtent[0]),           uint32_t(pExtent[1]),
            uint32_t(pExtent[2]),           uint32_t(pMem->GetImageDesc().image_array_size),
            format.image_channel_data_type, format.image_channel_order,
            uint32_t(pMem->GetRowPitch()),  uint32_t(pMem->GetSlicePitch())};
        WriteWords(desc.vConstantBuffer1, arg.nOffset, vImage, sizeof(vImage));
        desc.vImages.push_back(BindImage(arg, *pMem));
    }
    desc.nLocalMemoryBytes = nLocal;
    desc.nPrivateMemoryBytes = pImage->GetPrivateBytes();
    desc.nMaxGroupSize = pImage->GetWorkGroupSize();
    return CL_SUCCESS;
}

cl_int CKernel::GetInfo(cl_kernel_info nParam, CInfoWriter& writer)
{
    switch (nParam)
    {
    case CL_KERNEL_FUNCTION_NAME:
        return writer.String(m_strName);
    case CL_KERNEL_NUM_ARGS:
        return writer.Value(cl_uint(GetArgs().size()));
    case CL_KERNEL_REFERENCE_COUNT:
        return writer.Value(GetReferenceCount());
    case CL_KERNEL_CONTEXT:
        return writer.Value(static_cast<cl_context>(m_pProgram->GetContext()->GetHandle()));
    case CL_KERNEL_PROGRAM:
        return writer.Value(static_cast<cl_program>(m_pProgram->GetHandle()));
    case CL_KERNEL_ATTRIBUTES:
        return writer.String("");
    default:
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "param_name", "unknown");
    }
}

cl_int CKernel::GetArgInfo(cl_uint nIndex, cl_kernel_arg_info nParam, CInfoWriter& writer) const
{
    const std::vector<SKernelArg>& vArgs = GetArgs();
    if (nIndex >= vArgs.size())
    {
        return CDiagnostics::Refuse(CL_INVALID_ARG_INDEX, "arg_index",
                                    std::to_string(nIndex) + ", but kernel " + m_strName + " has " +
                                        std::to_string(vArgs.size()) + " arguments");
    }
    const SKernelArg& arg = vArgs[nIndex];
    const std::string strArg = "argument " + std::to_string(nIndex) + " (" + arg.strName + ")";
    const bool bConstant =
        arg.eKind == AK_GlobalPointer && arg.strMemoryType != "uav" && arg.strMemoryType != "g";
    switch (nParam)
    {
    case CL_KERNEL_ARG_ADDRESS_QUALIFIER:
    {
        cl_kernel_arg_address_qualifier nQualifier = CL_KERNEL_ARG_ADDRESS_PRIVATE;
        if (arg.eKind == AK_LocalPointer)
        {
            nQualifier = CL_KERNEL_ARG_ADDRESS_LOCAL;
        }
        else if (arg.eKind != AK_Value)
        {
            nQualifier = bConstant ? CL_KERNEL_ARG_ADDRESS_CONSTANT : CL_KERNEL_ARG_ADDRESS_GLOBAL;
        }
        return writer.Value(nQualifier);
    }
    case CL_KERNEL_ARG_ACCESS_QUALIFIER:
    {
        cl_kernel_arg_access_qualifier nQualifier = CL_KERNEL_ARG_ACCESS_NONE;
        if (arg.eKind == AK_Image)
        {
            nQualifier = arg.strAccess == "WO"   ? CL_KERNEL_ARG_ACCESS_WRITE_ONLY
                         : arg.strAccess == "RW" ? CL_KERNEL_ARG_ACCESS_READ_WRITE
                                                 : CL_KERNEL_ARG_ACCESS_READ_ONLY;
        }
        return writer.Value(nQualifier);
    }
    case CL_KERNEL_ARG_TYPE_NAME:
        return writer.String(arg.GetTypeName());
    case CL_KERNEL_ARG_TYPE_QUALIFIER:
        return writer.Value(cl_kernel_arg_type_qualifier(bConstant ? CL_KERNEL_ARG_TYPE_CONST
                                                                   : CL_KERNEL_ARG_TYPE_NONE));
    case CL_KERNEL_ARG_NAME:
        return writer.String(arg.strName);
    default:
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "param_name", "unknown");
    }
}

cl_int CKernel::GetWorkGroupInfo(const CDevice* pDevice, cl_kernel_work_group_info nParam,
                                 CInfoWriter& writer)
{
    if (pDevice == nullptr && m_vImages.size() == 1)
    {
        pDevice = m_vImages.front().first;
    }
    const std::shared_ptr<const CKernelImage> pImage = GetImage(pDevice);
    if (!pImage)
    {
        return CDiagnostics::Refuse(CL_INVALID_DEVICE, "device", "the kernel isn't built for it");
    }
    switch (nParam)
    {
    case CL_KERNEL_WORK_GROUP_SIZE:
        return writer.Value(size_t(pImage->GetWorkGroupSize()));
    case CL_KERNEL_COMPILE_WORK_GROUP_SIZE:
    {
        const uint32_t* pRequired = pImage->GetRequiredLocalSize();
        return writer.Array(std::vector<size_t>(pRequired, pRequired + 3));
    }
    case CL_KERNEL_LOCAL_MEM_SIZE:
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        return writer.Value(cl_ulong(pImage->GetStaticLocalBytes() + GetLocalArgBytes()));
    }
    case CL_KERNEL_PREFERRED_WORK_GROUP_SIZE_MULTIPLE:
        return writer.Value(size_t(64));
    case CL_KERNEL_PRIVATE_MEM_SIZE:
        return writer.Value(cl_ulong(pImage->GetPrivateBytes()));
    default:
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "param_name", "unknown");
    }
}
} // namespace XAN_Platform
