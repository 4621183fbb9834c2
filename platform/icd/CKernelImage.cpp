#include "CKernelImage.h"

#include "CDevice.h"
#include "CILAssembler.h"
#include "CILProgram.h"
#include "CLMetadata.h"
#include "PlatformConsistencyReport.h"

#include <algorithm>

namespace XAN_Platform
{
namespace
{
bool IsGlobalMemory(const std::string& strType)
{
    return strType == "uav" || strType == "g" || strType == "c" || strType == "hc" ||
           strType == "uc";
}

bool IsLocalMemory(const std::string& strType)
{
    return strType == "hl" || strType == "l";
}

std::string CTypeName(const std::string& strDataType)
{
    static const char* const NAMES[][2] = {
        {"i1", "bool"},    {"i8", "char"},     {"u8", "uchar"},     {"i16", "short"},
        {"u16", "ushort"}, {"i32", "int"},     {"u32", "uint"},     {"i64", "long"},
        {"u64", "ulong"},  {"float", "float"}, {"double", "double"}};
    for (const auto& name : NAMES)
    {
        if (strDataType == name[0])
        {
            return name[1];
        }
    }
    return strDataType;
}
} // namespace

bool SKernelArg::AcceptsValueSize(size_t nSize) const
{
    if (nItemSize == 0)
    {
        return nSize != 0 && nSize <= nRoom;
    }
    // A three-lane vector is stored as four lanes.
    return nSize == size_t(nItemSize) * nCount || (nCount == 4 && nSize == size_t(nItemSize) * 3);
}

std::string SKernelArg::GetTypeName() const
{
    if (nSamplerId >= 0)
    {
        return "sampler_t";
    }
    if (eKind == AK_Image)
    {
        std::string strDimension = strDataType;
        std::transform(strDimension.begin(), strDimension.end(), strDimension.begin(),
                       [](unsigned char c) { return char(std::tolower(c)); });
        return "image" + strDimension + "_t";
    }
    std::string strType = CTypeName(strDataType);
    if (nCount > 1)
    {
        strType += std::to_string(nCount);
    }
    return eKind == AK_Value ? strType : strType + "*";
}

CKernelImage::~CKernelImage() = default;

bool CKernelImage::ReadMetadata(const std::string& strMetadata, const CDevice& device,
                                std::string& strLog)
{
    const std::string strWhere = "kernel " + m_strName + ": ";
    SetPlatformConsistencyReport();
    CCLMetadata metadata;
    if (!metadata.Parse(strMetadata) || metadata.GetEntries().empty() ||
        metadata.GetEntries().back()->GetEntryType() != CCLMetadataArgEndEntry::ClassEntryType)
    {
        strLog += strWhere + "its metadata block can't be read (it needs ;ARGSTART, ;version, "
                             "its entries and ;ARGEND, with no blank line)\n";
        return false;
    }
    if (metadata.GetFunctionName() != "__OpenCL_" + m_strName + "_kernel")
    {
        strLog += strWhere + "its metadata names the function \"" + metadata.GetFunctionName() +
                  "\" instead of \"__OpenCL_" + m_strName + "_kernel\"\n";
        return false;
    }
    bool bHasLabel = false;
    for (const CCLMetadataEntry* pEntry : metadata.GetEntries())
    {
        if (const auto* pMemory = dynamic_cast<const CCLMetadataMemoryEntry*>(pEntry))
        {
            const std::string strMemory = pMemory->GetMemoryName();
            if (strMemory.find("local") != std::string::npos)
            {
                m_nStaticLocalBytes += pMemory->GetMemorySize();
            }
            else if (strMemory == "uavprivate" || strMemory == "hwprivate")
            {
                m_nPrivateBytes = std::max(m_nPrivateBytes, pMemory->GetMemorySize());
            }
        }
        bHasLabel = bHasLabel || dynamic_cast<const CCLMetadataUniqueIdEntry*>(pEntry) != nullptr;
    }
    if (!bHasLabel)
    {
        strLog += strWhere + "its metadata has no ;uniqueid line\n";
        return false;
    }
    m_nLabel = metadata.GetUniqueId();
    m_b64BitABI = metadata.Is64BitABI();
    if (m_b64BitABI != device.Is64Bit())
    {
        strLog += strWhere + "it is written for " + (m_b64BitABI ? "64" : "32") +
                  "-bit addresses, and device " + device.GetName() + " has " +
                  (device.Is64Bit() ? "64" : "32") + "-bit addresses\n";
        return false;
    }

    std::vector<CCLMetadataEntry*> vArguments;
    metadata.GetArguments(vArguments);
    for (const CCLMetadataEntry* pEntry : vArguments)
    {
        SKernelArg arg;
        if (const auto* pImage = dynamic_cast<const CCLMetadataImageEntry*>(pEntry))
        {
            arg.eKind = AK_Image;
            arg.strName = pImage->GetName();
            arg.strDataType = pImage->GetDimension();
            arg.strAccess = pImage->GetAccess();
            arg.nOffset = pImage->GetBufferOffset();
            arg.nRoom = pImage->GetSize();
            arg.nResource = pImage->GetResourceId();
        }
        else if (const auto* pValue = dynamic_cast<const CCLMetadataValueEntry*>(pEntry))
        {
            arg.eKind = AK_Value;
            arg.strName = pValue->GetName();
            arg.strDataType = pValue->GetDataType();
            arg.nCount = pValue->GetCount();
            arg.nItemSize = CCLMetadataValueEntry::GetDataTypeSize(arg.strDataType);
            arg.nOffset = pValue->GetBufferOffset();
            arg.nRoom = pValue->GetSize();
        }
        else if (const auto* pPointer = dynamic_cast<const CCLMetadataPointerEntry*>(pEntry))
        {
            arg.strMemoryType = pPointer->GetMemoryType();
            if (!IsGlobalMemory(arg.strMemoryType) && !IsLocalMemory(arg.strMemoryType))
            {
                strLog += strWhere + "argument " + pPointer->GetName() +
                          " points to memory of the unknown type \"" + arg.strMemoryType + "\"\n";
                return false;
            }
            arg.eKind = IsGlobalMemory(arg.strMemoryType) ? AK_GlobalPointer : AK_LocalPointer;
            arg.strName = pPointer->GetName();
            arg.strDataType = pPointer->GetDataType();
            arg.nCount = pPointer->GetCount();
            arg.nItemSize = CCLMetadataValueEntry::GetDataTypeSize(arg.strDataType);
            arg.nOffset = pPointer->GetBufferOffset();
            arg.nRoom = pPointer->GetSize();
            if (pEntry->GetTokens().size() > 9)
            {
                arg.strAccess = pEntry->GetTokens()[9];
            }
        }
        else
        {
            strLog += strWhere + "counter arguments are not supported\n";
            return false;
        }
        if (arg.nOffset % 16 != 0)
        {
            strLog += strWhere + "argument " + arg.strName + " starts at byte " +
                      std::to_string(arg.nOffset) +
                      " of the argument buffer, which is not a multiple of 16\n";
            return false;
        }
        m_vArgs.push_back(arg);
    }
    if (!ReadSamplers(metadata, strWhere, strLog))
    {
        return false;
    }
    m_nArgBufferBytes = metadata.GetArgBufferSize();
    if (m_nArgBufferBytes % 16 != 0)
    {
        strLog += strWhere + "its arguments end at byte " + std::to_string(m_nArgBufferBytes) +
                  ", which is not a multiple of 16\n";
        return false;
    }
    return true;
}

// A ;sampler: line either gives a constant sampler's bits or names the sampler_t value argument
// that selects the sampler id at launch.
bool CKernelImage::ReadSamplers(const CCLMetadata& metadata, const std::string& strWhere,
                                std::string& strLog)
{
    for (const CCLMetadataEntry* pEntry : metadata.GetEntries())
    {
        const auto* pSampler = dynamic_cast<const CCLMetadataSamplerEntry*>(pEntry);
        if (pSampler == nullptr)
        {
            continue;
        }
        const uint32_t nId = pSampler->GetSamplerId();
        if (nId >= MAX_SAMPLERS)
        {
            strLog += strWhere + "sampler " + pSampler->GetName() + " has the id " +
                      std::to_string(nId) + ", beyond the " + std::to_string(MAX_SAMPLERS) +
                      " the device has\n";
            return false;
        }
        m_vSamplers.resize(MAX_SAMPLERS, 0);
        if (pSampler->GetArgFlag() == 0)
        {
            m_vSamplers[nId] = pSampler->GetSamplerValue();
            continue;
        }
        auto it =
            std::find_if(m_vArgs.begin(), m_vArgs.end(),
                         [pSampler](const SKernelArg& arg)
                         { return arg.eKind == AK_Value && arg.strName == pSampler->GetName(); });
        if (it == m_vArgs.end())
        {
            strLog += strWhere + "sampler " + pSampler->GetName() +
                      " is marked as an argument, and no value argument has that name\n";
            return false;
        }
        it->nSamplerId = int32_t(nId);
    }
    return true;
}

std::unique_ptr<CKernelImage> CKernelImage::Create(const std::string& strName,
                                                   const std::string& strMetadata,
                                                   const std::string& strIL, const CDevice& device,
                                                   std::string& strLog)
{
    std::unique_ptr<CKernelImage> pImage(new CKernelImage);
    pImage->m_strName = strName;
    pImage->m_strMetadata = strMetadata;
    if (!pImage->ReadMetadata(strMetadata, device, strLog))
    {
        return nullptr;
    }
    const std::string strWhere = "kernel " + strName + ": ";
    std::string strError;
    if (!pImage->m_Printf.Read(strMetadata, strError))
    {
        strLog += strWhere + strError + "\n";
        return nullptr;
    }
    CILAssembler assembler;
    std::vector<unsigned int> vTokens;
    if (!assembler.Assemble(strIL, vTokens))
    {
        strLog += strWhere + "error: " + assembler.GetError().ToString() + "\n";
        return nullptr;
    }
    pImage->m_pProgram = CILProgram::Load(vTokens.data(), vTokens.size(), strError);
    if (!pImage->m_pProgram)
    {
        strLog += strWhere + "error: " + strError + "\n";
        return nullptr;
    }
    for (const std::string& strWarning : pImage->m_pProgram->GetWarnings())
    {
        strLog += strWhere + "warning: " + strWarning + "\n";
    }
    SThreadGroupDeclaration group;
    if (!pImage->m_pProgram->GetThreadGroupDeclaration(pImage->m_nLabel, group))
    {
        strLog += strWhere + "its IL has no function " + std::to_string(pImage->m_nLabel) +
                  ", the label its metadata names\n";
        return nullptr;
    }
    const uint32_t nDeviceMaximum = CDevice::MAX_WORK_GROUP_SIZE;
    pImage->m_nWorkGroupSize = nDeviceMaximum;
    if (group.vNumThreads[0] != 0)
    {
        const uint64_t nProduct =
            uint64_t(group.vNumThreads[0]) * group.vNumThreads[1] * group.vNumThreads[2];
        if (nProduct == 0 || nProduct > nDeviceMaximum)
        {
            strLog += strWhere + "it declares groups of " + std::to_string(nProduct) +
                      " work-items; the device runs 1 to " + std::to_string(nDeviceMaximum) + "\n";
            return nullptr;
        }
        std::copy(group.vNumThreads, group.vNumThreads + 3, pImage->m_vRequiredLocalSize);
        pImage->m_nWorkGroupSize = uint32_t(nProduct);
    }
    if (group.nMaxThreads != 0)
    {
        pImage->m_nWorkGroupSize = std::min(group.nMaxThreads, nDeviceMaximum);
    }
    return pImage;
}
} // namespace XAN_Platform
