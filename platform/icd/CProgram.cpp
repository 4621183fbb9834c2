#include "CProgram.h"

#include "CContext.h"
#include "CDevice.h"
#include "CDiagnostics.h"
#include "CInfoWriter.h"
#include "CKernelBinary.h"
#include "CKernelImage.h"
#include "CPlatformSettings.h"

#include <algorithm>
#include <functional>

namespace XAN_Platform
{
namespace
{
// The first line of a build log: the reason a refusal reports.
std::string FirstLine(const std::string& strLog)
{
    return strLog.substr(0, strLog.find('\n'));
}

cl_program_binary_type TypeOf(CKernelBinary::EType eType)
{
    switch (eType)
    {
    case CKernelBinary::T_CompiledObject:
        return CL_PROGRAM_BINARY_TYPE_COMPILED_OBJECT;
    case CKernelBinary::T_Library:
        return CL_PROGRAM_BINARY_TYPE_LIBRARY;
    default:
        return CL_PROGRAM_BINARY_TYPE_EXECUTABLE;
    }
}

const char* const DEBUG_OPTION = "-g";
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
        bool bValid = binary.Read(vBinaries[i], strError);
        SCLCUnit unit;
        for (const std::string& strUnit : binary.GetUnits())
        {
            if (bValid && !CCLCCompiler::ReadUnit(strUnit, unit))
            {
                bValid = false;
                strError = "a unit of the compiled object is damaged";
            }
        }
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
        pProgram->m_vBuilds.back().nBinaryType = TypeOf(binary.GetType());
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

std::vector<CProgram::SDeviceBuild*> CProgram::StartBuilds(const std::vector<CDevice*>& vDevices,
                                                           const std::string& strOptions)
{
    std::vector<SDeviceBuild*> vBuilds;
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
        if (m_bFromSource)
        {
            build.vBinary.clear();
            build.nBinaryType = CL_PROGRAM_BINARY_TYPE_NONE;
        }
        vBuilds.push_back(&build);
    }
    return vBuilds;
}

cl_int
CProgram::EachBuild(const std::vector<CDevice*>& vDevices, const char* pOptions,
                    cl_int nInvalidOptions,
                    const std::function<cl_int(SDeviceBuild&, const SBuildOptions&)>& fnBuild)
{
    if (m_nKernels != 0)
    {
        return CDiagnostics::Refuse(CL_INVALID_OPERATION, "program",
                                    std::to_string(m_nKernels) + " kernels of it are alive");
    }
    const std::string strOptions = pOptions != nullptr ? pOptions : "";
    cl_int nResult = CL_SUCCESS;
    for (SDeviceBuild* pBuild : StartBuilds(vDevices, strOptions))
    {
        SBuildOptions options;
        const cl_int nError =
            CProgramBuilder::ParseOptions(strOptions, CPlatformSettings::Get().GetBuildOptions(),
                                          options, pBuild->strLog)
                ? fnBuild(*pBuild, options)
                : CDiagnostics::Refuse(nInvalidOptions, "options", FirstLine(pBuild->strLog));
        nResult = nResult == CL_SUCCESS ? nError : nResult;
    }
    return nResult;
}

cl_int CProgram::Build(const std::vector<CDevice*>& vDevices, const char* pOptions)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return EachBuild(
        vDevices, pOptions, CL_INVALID_BUILD_OPTIONS,
        [this](SDeviceBuild& build, const SBuildOptions& options)
        {
            if (!m_bFromSource && build.nBinaryType != CL_PROGRAM_BINARY_TYPE_EXECUTABLE)
            {
                build.strLog = "error: a compiled object or library is linked, not built\n";
                return CDiagnostics::Refuse(CL_INVALID_BINARY, "program", FirstLine(build.strLog));
            }
            const bool bBuilt =
                m_bFromSource
                    ? CProgramBuilder::BuildSource(m_strSource, options, *build.pDevice,
                                                   build.vBinary, build.vKernels, build.strLog)
                    : CProgramBuilder::BuildBinary(build.vBinary, options, *build.pDevice,
                                                   build.vKernels, build.strLog);
            if (!bBuilt)
            {
                build.vKernels.clear();
                return CDiagnostics::Refuse(CL_BUILD_PROGRAM_FAILURE, "program",
                                            FirstLine(build.strLog));
            }
            build.nStatus = CL_BUILD_SUCCESS;
            build.nBinaryType = CL_PROGRAM_BINARY_TYPE_EXECUTABLE;
            return CL_SUCCESS;
        });
}

cl_int CProgram::Compile(const std::vector<CDevice*>& vDevices, const char* pOptions,
                         const std::vector<std::pair<std::string, CProgram*>>& vHeaders)
{
    std::vector<std::pair<std::string, std::string>> vHeaderTexts;
    for (const auto& header : vHeaders)
    {
        if (!header.second->m_bFromSource)
        {
            return CDiagnostics::Refuse(CL_INVALID_VALUE, "input_headers",
                                        "header \"" + header.first + "\" has no source");
        }
        vHeaderTexts.emplace_back(header.first, header.second->m_strSource);
    }
    std::lock_guard<std::mutex> lock(m_Mutex);
    if (!m_bFromSource)
    {
        return CDiagnostics::Refuse(CL_INVALID_OPERATION, "program",
                                    "it was made from binaries: there is no source to compile");
    }
    return EachBuild(vDevices, pOptions, CL_INVALID_COMPILER_OPTIONS,
                     [&](SDeviceBuild& build, const SBuildOptions& options)
                     {
                         SCLCUnit unit{m_strSource, options.vSourceOptions, vHeaderTexts};
                         if (options.bDebug)
                         {
                             unit.vOptions.push_back(DEBUG_OPTION);
                         }
                         if (!CCLCCompiler::Check(unit, CProgramBuilder::TargetOf(*build.pDevice),
                                                  build.strLog) ||
                             !CKernelBinary::WriteUnits({CCLCCompiler::UnitText(unit)},
                                                        CKernelBinary::T_CompiledObject,
                                                        build.vBinary))
                         {
                             return CDiagnostics::Refuse(CL_COMPILE_PROGRAM_FAILURE, "program",
                                                         FirstLine(build.strLog));
                         }
                         build.nStatus = CL_BUILD_SUCCESS;
                         build.nBinaryType = CL_PROGRAM_BINARY_TYPE_COMPILED_OBJECT;
                         return CL_SUCCESS;
                     });
}

bool CProgram::GetUnits(const CDevice* pDevice, std::vector<std::string>& vUnits)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    for (const SDeviceBuild& build : m_vBuilds)
    {
        CKernelBinary binary;
        std::string strError;
        if (build.pDevice == pDevice &&
            (build.nBinaryType == CL_PROGRAM_BINARY_TYPE_COMPILED_OBJECT ||
             build.nBinaryType == CL_PROGRAM_BINARY_TYPE_LIBRARY) &&
            binary.Read(build.vBinary, strError))
        {
            vUnits.insert(vUnits.end(), binary.GetUnits().begin(), binary.GetUnits().end());
            return true;
        }
    }
    return false;
}

CProgram* CProgram::Link(CContext* pContext, const std::vector<CDevice*>& vDevices,
                         const char* pOptions, const std::vector<CProgram*>& vInputs,
                         cl_int& nError)
{
    const std::string strOptions = pOptions != nullptr ? pOptions : "";
    SBuildOptions options;
    bool bLibrary = false;
    std::string strLog;
    if (!CProgramBuilder::ParseLinkOptions(strOptions, CPlatformSettings::Get().GetBuildOptions(),
                                           options, bLibrary, strLog))
    {
        nError = CDiagnostics::Refuse(CL_INVALID_LINKER_OPTIONS, "options", FirstLine(strLog));
        return nullptr;
    }
    Owned<CProgram> pProgram(new CProgram(pContext, std::string(), false));
    std::vector<std::vector<std::string>> vDeviceUnits;
    for (CDevice* pDevice : vDevices.empty() ? pContext->GetDevices() : vDevices)
    {
        std::vector<std::string> vUnits;
        for (size_t i = 0; i < vInputs.size(); ++i)
        {
            if (!vInputs[i]->GetUnits(pDevice, vUnits))
            {
                nError = CDiagnostics::Refuse(CL_INVALID_OPERATION, "input_programs",
                                              "program " + std::to_string(i) +
                                                  " is no compiled object or library for device " +
                                                  pDevice->GetName());
                return nullptr;
            }
        }
        pProgram->m_vBuilds.emplace_back();
        pProgram->m_vBuilds.back().pDevice = pDevice;
        vDeviceUnits.push_back(vUnits);
    }
    nError = CL_SUCCESS;
    for (size_t d = 0; d < vDeviceUnits.size(); ++d)
    {
        SDeviceBuild& build = pProgram->m_vBuilds[d];
        build.strOptions = strOptions;
        build.nStatus = CL_BUILD_ERROR;
        std::vector<SCLCUnit> vUnits(vDeviceUnits[d].size());
        bool bDebug = options.bDebug;
        for (size_t i = 0; i < vUnits.size(); ++i)
        {
            CCLCCompiler::ReadUnit(vDeviceUnits[d][i], vUnits[i]);
            bDebug = bDebug || std::find(vUnits[i].vOptions.begin(), vUnits[i].vOptions.end(),
                                         DEBUG_OPTION) != vUnits[i].vOptions.end();
        }
        SBuildOptions linkOptions = options;
        linkOptions.bDebug = bDebug;
        const bool bLinked =
            bLibrary ? CKernelBinary::WriteUnits(vDeviceUnits[d], CKernelBinary::T_Library,
                                                 build.vBinary)
                     : CProgramBuilder::BuildUnits(vUnits, linkOptions, *build.pDevice,
                                                   build.vBinary, build.vKernels, build.strLog);
        if (bLinked)
        {
            build.nStatus = CL_BUILD_SUCCESS;
            build.nBinaryType =
                bLibrary ? CL_PROGRAM_BINARY_TYPE_LIBRARY : CL_PROGRAM_BINARY_TYPE_EXECUTABLE;
        }
        else if (nError == CL_SUCCESS)
        {
            build.vKernels.clear();
            nError =
                CDiagnostics::Refuse(CL_LINK_PROGRAM_FAILURE, "program", FirstLine(build.strLog));
        }
    }
    pProgram->Register();
    return pProgram.release();
}

const CProgram::SDeviceBuild* CProgram::FirstBuilt() const
{
    for (const SDeviceBuild& build : m_vBuilds)
    {
        if (build.nStatus == CL_BUILD_SUCCESS &&
            build.nBinaryType == CL_PROGRAM_BINARY_TYPE_EXECUTABLE)
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
        return writer.Value(it->nBinaryType);
    default:
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "param_name", "unknown");
    }
}
} // namespace XAN_Platform
