#include "CPlatform.h"

#include "CDiagnostics.h"
#include "GPUFamily.h"

#include "CDevice.h"
#include "CDeviceMemory.h"
#include "CInfoWriter.h"
#include "CPlatformSettings.h"

namespace XAN_Platform
{
const char* const CPlatform::VENDOR = "Nordvane Microsystems";
const char* const CPlatform::ICD_SUFFIX = "XAN";
const char* const CPlatform::EVENT_CALLBACK_EXTENSION = "cl_xan_event_callback";
const char* const CPlatform::OBJECT_METADATA_EXTENSION = "cl_xan_object_metadata";

namespace
{
// The extensions every device of both platforms has.
const char* const BASE_EXTENSIONS =
    "cl_khr_icd cl_khr_byte_addressable_store cl_khr_fp64 cl_khr_global_int32_base_atomics "
    "cl_khr_global_int32_extended_atomics cl_khr_local_int32_base_atomics "
    "cl_khr_local_int32_extended_atomics cl_khr_int64_base_atomics cl_khr_int64_extended_atomics";
} // namespace

CPlatform::CPlatform(const CPlatformSettings& settings, bool bNordvane)
    : CCLObject(OT_Platform, false)
{
    const std::string& strDeviceName = settings.GetDeviceName();
    const bool b64Bit = !IsOlderGPUFamily(strDeviceName);
    m_pMemory.reset(new CDeviceMemory(b64Bit));
    m_strExtensions = BASE_EXTENSIONS;
    if (bNordvane)
    {
        m_strVendor = VENDOR;
        m_strName = "Nordvane OpenCL";
        m_strSuffix = ICD_SUFFIX;
        m_strVersion = "OpenCL 1.2 XAN (" + settings.GetBuild() + ")";
        if (!settings.HidesEventCallback())
        {
            m_strExtensions += std::string(" ") + EVENT_CALLBACK_EXTENSION;
        }
        if (!settings.HidesObjectMetadata())
        {
            m_strExtensions += std::string(" ") + OBJECT_METADATA_EXTENSION;
        }
    }
    else
    {
        // Another vendor's platform in the same library, for programs that must tell
        // platforms apart.
        m_strVendor = "Harrow Semiconductor";
        m_strName = "Harrow OpenCL";
        m_strSuffix = "HRW";
        m_strVersion = "OpenCL 1.2 HRW (" + settings.GetBuild() + ")";
    }
    m_vDevices.push_back(new CDevice(this, CL_DEVICE_TYPE_GPU, strDeviceName, b64Bit, m_strVersion,
                                     m_strExtensions, settings.GetBuild()));
    if (bNordvane && settings.HasCPUDevice())
    {
        m_vDevices.push_back(new CDevice(this, CL_DEVICE_TYPE_CPU, "Caraway", b64Bit, m_strVersion,
                                         m_strExtensions, settings.GetBuild()));
    }
    Register();
}

CPlatform::~CPlatform() = default;

const std::vector<CPlatform*>& CPlatform::GetAll()
{
    // Never destroyed: queue workers may still run while the process exits.
    static const std::vector<CPlatform*>* pPlatforms = []
    {
        const CPlatformSettings& settings = CPlatformSettings::Get();
        auto* pList = new std::vector<CPlatform*>{new CPlatform(settings, true)};
        if (settings.HasSecondPlatform())
        {
            pList->push_back(new CPlatform(settings, false));
        }
        return pList;
    }();
    return *pPlatforms;
}

bool CPlatform::HasExtension(const std::string& strName) const
{
    const std::string strList = " " + m_strExtensions + " ";
    return strList.find(" " + strName + " ") != std::string::npos;
}

cl_int CPlatform::GetInfo(cl_platform_info nParam, CInfoWriter& writer) const
{
    switch (nParam)
    {
    case CL_PLATFORM_PROFILE:
        return writer.String("FULL_PROFILE");
    case CL_PLATFORM_VERSION:
        return writer.String(m_strVersion);
    case CL_PLATFORM_NAME:
        return writer.String(m_strName);
    case CL_PLATFORM_VENDOR:
        return writer.String(m_strVendor);
    case CL_PLATFORM_EXTENSIONS:
        return writer.String(m_strExtensions);
    case CL_PLATFORM_ICD_SUFFIX_KHR:
        return writer.String(m_strSuffix);
    default:
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "param_name", "unknown");
    }
}
} // namespace XAN_Platform
