#include "CProgram.h"

#include "CContext.h"
#include "CDevice.h"
#include "CDiagnostics.h"
#include "CInfoWriter.h"
#include "CKernelBinary.h"
#include "CKernelImage.h"
#include "CPlatformSettings.h"

#include <algorithm>

namespace XAN_Platform
{
namespace
{
// The first line of a build log: the reason a refusal reports.
std::string FirstLine(const std::string& strLog)
{
    return strLog.substr(0, strLog.find('\n'));
}
} // namespace

CProgram::CProgram(CContext* pContext, const std::string& strSource, bool bFromSource)
    : CCLObject(OT_Program, true), m_pContext(pContext), m_strSource(strSource),
      m_bFromSource(bFromSource)
{
}

CProgram::~CProgram() = default;

CProgram* CProgram::CreateWithSource(CContext* pContext, const std::string& strSource)
{
    Owned<CProgram> pProgram(new CProgram(pContext, strSource, true));
    for (CDevice* pDevice : pContext->GetDevices())
    {
        pProgram->m_vBuilds.emplace_back();
        pProgram->m_vBuilds.back().pDevice = pDevice;
    }
    pProgram->Register();
    return pProgram.release();
}

CProgram* CProgram::CreateWithBinary(CContext* pContext, const std::vector<CDevice*>& vDevices,
                                     const std::vector<std::vector<char>>& vBinaries,
                                     cl_int* pStatus, cl_int& nError)
{
    nError = CL_SUCCESS;
    Owned<CProgram> pProgram(new CProgram(pContext, std::string(), false));
    for (size_t i = 0; i < vDevices.size(); ++i)
    {
        CKernelBinary binary;
        std::string strError;
        const bool bValid = binary.Read(vBinaries[i], strError);
        if (pStatus != nullptr)
        {
            pStatus[i] = bValid ? CL_SUCCESS : CL_INVALID_BINARY;
        }
        if (!bValid)
        {
            nError = CDiagnostics::Refuse(CL_INVALID_BINARY, "binaries",
                                          "binary " + std::to_string(i) + ": " + strError);
        }
        pProgram->m_vBuilds.emplace_back();
        pProgram->m_vBuilds.back().pDevice = vDevices[i];
        pProgram->m_vBuilds.back().vBinary = vBinaries[i];
    }
    if (nError != CL_SUCCESS)
    {
        return nullptr;
    }
    pProgram->Register();
    return pProgram.release();
}

bool CProgram::HasDevice(const CDevice* pDevice) const
{
    return std::any_of(m_vBuilds.begin(), m_vBuilds.end(),
                       [pDevice](const SDeviceBuild& build) { return build.pDevice == pDevice; });
}

cl_int CProgram::Build(const std::vector<CDevice*>& vDevices, const char* pOptions)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_nKernels != 0)
    {
        return CDiagnostics::Refuse(CL_INVALID_OPERATION, "program",
                                    std::to_string(m_nKernels) + " kernels of it are alive");
    }
    const std::string strOptions = pOptions != nullptr ? pOptions : "";
    cl_int nResult = CL_SUCCESS;
    for (SDeviceBuild& build : m_vBuilds)
    {
        if (!vDevices.empty() &&
            std::find(vDevices.begin(), vDevices.end(), build.pDevice) == vDevices.end())
        {
            continue;
        }
        build.strOptions = strOptions;
        build.strLog.clear();
        build.vKernels.clear();
        build.nStatus = CL_BUILD_ERROR;
        SBuildOptions options;
        if (!CProgramBuilder::ParseOptions(strOptions, CPlatformSettings::Get().GetBuildOptions(),
                                           options, build.strLog))
        {
            nResult =
                CDiagnostics::Refuse(CL_INVALID_BUILD_OPTIONS, "options", FirstLine(build.strLog));
            continue;
        }
        if (m_bFromSource)
        {
            build.vBinary.clear();
        }
        const bool bBuilt =
            m_bFromSource
                ? CProgramBuilder::BuildSource(m_strSource, options, *build.pDevice, build.vBinary,
                                               build.vKernels, build.strLog)
                : CProgramBuilder::BuildBinary(build.vBinary, options, *build.pDevice,
                                               build.vKernels, build.strLog);
        if (bBuilt)
        {
            build.nStatus = CL_BUILD_SUCCESS;
        }
        else
        {
            build.vKernels.clear();
            if (nResult == CL_SUCCESS)
            {
                nResult = CDiagnostics::Refuse(CL_BUILD_PROGRAM_FAILURE, "program",
                                               FirstLine(build.strLog));
            }
        }
    }
    return nResult;
}

const CProgram::SDeviceBuild* CProgram::FirstBuilt() const
{
    for (const SDeviceBuild& build : m_vBuilds)
    {
        if (build.nStatus == CL_BUILD_SUCCESS)
        {
            return &build;
        }
    }
    return nullptr;
}

cl_int
CProgram::FindKernel(const std::string& strName,
                     std::vector<std::pair<CDevice*, std::shared_ptr<const CKernelImage>>>& vImages)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    if (FirstBuilt() == nullptr)
    {
        return CDiagnostics::Refuse(CL_INVALID_PROGRAM_EXECUTABLE, "program",
                                    "not built for any device");
    }
    for (const SDeviceBuild& build : m_vBuilds)
    {
        for (const std::shared_ptr<const CKernelImage>& pImage : build.vKernels)
        {
            if (pImage->GetName() == strName)
            {
                vImages.emplace_back(build.pDevice, pImage);
            }
        }
    }
    return vImages.empty() ? CDiagnostics::Refuse(CL_INVALID_KERNEL_NAME, "kernel_name",
                                                  "the program has no kernel \"" + strName + "\"")
                           : CL_SUCCESS;
}

cl_int CProgram::GetKernelNames(std::vector<std::string>& vNames)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    const SDeviceBuild* pBuild = FirstBuilt();
    if (pBuild == nullptr)
    {
        return CDiagnostics::Refuse(CL_INVALID_PROGRAM_EXECUTABLE, "program",
                                    "not built for any device");
    }
    for (const std::shared_ptr<const CKernelImage>& pImage : pBuild->vKernels)
    {
        vNames.push_back(pImage->GetName());
    }
    return CL_SUCCESS;
}

cl_int CProgram::GetInfo(cl_program_info nParam, CInfoWriter& writer)
{
    switch (nParam)
    {
    case CL_PROGRAM_REFERENCE_COUNT:
        return writer.Value(GetReferenceCount());
    case CL_PROGRAM_CONTEXT:
        return writer.Value(static_cast<cl_context>(m_pContext->GetHandle()));
    case CL_PROGRAM_NUM_DEVICES:
        return writer.Value(cl_uint(m_vBuilds.size()));
    case CL_PROGRAM_SOURCE:
        return writer.String(m_strSource);
    case CL_PROGRAM_NUM_KERNELS:
    case CL_PROGRAM_KERNEL_NAMES:
    {
        std::vector<std::string> vNames;
        const cl_int nError = GetKernelNames(vNames);
        if (nError != CL_SUCCESS)
        {
            return nError;
        }
        if (nParam == CL_PROGRAM_NUM_KERNELS)
        {
            return writer.Value(vNames.size());
        }
        std::string strNames;
        for (const std::string& strName : vNames)
        {
            strNames += (strNames.empty() ? "" : ";") + strName;
        }
        return writer.String(strNames);
    }
    default:
        break;
    }
    std::lock_guard<std::mutex> lock(m_Mutex);
    switch (nParam)
    {
    case CL_PROGRAM_DEVICES:
    {
        std::vector<cl_device_id> vHandles;
        for (const SDeviceBuild& build : m_vBuilds)
        {
            vHandles.push_back(static_cast<cl_device_id>(build.pDevice->GetHandle()));
        }
        return writer.Array(vHandles);
    }
    case CL_PROGRAM_BINARY_SIZES:
    {
        std::vector<size_t> vSizes;
        for (const SDeviceBuild& build : m_vBuilds)
        {
            vSizes.push_back(build.vBinary.size());
        }
        return writer.Array(vSizes);
    }
    case CL_PROGRAM_BINARIES:
    {
        // An array of the caller's pointers, each receiving one device's binary.
        const cl_int nError = writer.Reserve(m_vBuilds.size() * sizeof(unsigned char*));
        if (nError != CL_SUCCESS || writer.GetValue() == nullptr)
        {
            return nError;
        }
        unsigned char** ppTargets = static_cast<unsigned char**>(writer.GetValue());
        for (size_t i = 0; i < m_vBuilds.size(); ++i)
        {
            if (ppTargets[i] != nullptr && !m_vBuilds[i].vBinary.empty())
            {
                std::copy(m_vBuilds[i].vBinary.begin(), m_vBuilds[i].vBinary.end(), ppTargets[i]);
            }
        }
        return CL_SUCCESS;
    }
    default:
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "param_name", "unknown");
    }
}

cl_int CProgram::GetBuildInfo(const CDevice* pDevice, cl_program_build_info nParam,
                              CInfoWriter& writer)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    auto it =
        std::find_if(m_vBuilds.begin(), m_vBuilds.end(),
                     [pDevice](const SDeviceBuild& build) { return build.pDevice == pDevice; });
    if (it == m_vBuilds.end())
    {
        return CDiagnostics::Refuse(CL_INVALID_DEVICE, "device", "the program isn't for it");
    }
    switch (nParam)
    {
    case CL_PROGRAM_BUILD_STATUS:
        return writer.Value(it->nStatus);
    case CL_PROGRAM_BUILD_OPTIONS:
        return writer.String(it->strOptions);
    case CL_PROGRAM_BUILD_LOG:
        return writer.String(it->strLog);
    case CL_PROGRAM_BINARY_TYPE:
        return writer.Value(cl_program_binary_type(it->nStatus == CL_BUILD_SUCCESS || !m_bFromSource
                                                       ? CL_PROGRAM_BINARY_TYPE_EXECUTABLE
                                                       : CL_PROGRAM_BINARY_TYPE_NONE));
    default:
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "param_name", "unknown");
    }
}
} // namespace XAN_Platform
