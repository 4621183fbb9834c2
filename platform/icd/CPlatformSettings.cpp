#include "CPlatformSettings.h"

#include "CCLObject.h"
#include "CPlatform.h"
#include "GPUFamily.h"

#include <strings.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <sstream>

namespace XAN_Platform
{
namespace
{
const char* const DEFAULT_DEVICE = "Larkspur";
const char* const DEFAULT_BUILD = "2000.1";

bool IsSet(const char* pValue)
{
    return pValue != nullptr && *pValue != '\0' && std::string(pValue) != "0";
}

// The newer families the platform knows; the older ones are listed with
// the kernel-binary code, which needs them for the address width.
bool IsKnownFamily(const std::string& strName)
{
    static const char* const s_Newer[] = {"larkspur", "sorrel", "yarrow", "tansy"};
    for (const char* pName : s_Newer)
    {
        if (strcasecmp(pName, strName.c_str()) == 0)
        {
            return true;
        }
    }
    return IsOlderGPUFamily(strName);
}

// A family name as devices carry it: first letter capital, the rest small.
std::string DeviceName(const char* pValue, std::vector<std::string>& vWarnings)
{
    std::string strName = pValue != nullptr ? pValue : "";
    if (strName.empty())
    {
        return DEFAULT_DEVICE;
    }
    if (!IsKnownFamily(strName))
    {
        vWarnings.push_back("NORDVANE_OCL_DEVICE: unknown GPU family \"" + strName +
                            "\", using \"" + DEFAULT_DEVICE + "\"");
        return DEFAULT_DEVICE;
    }
    for (size_t i = 0; i < strName.size(); ++i)
    {
        strName[i] = char(i == 0 ? std::toupper(static_cast<unsigned char>(strName[i]))
                                 : std::tolower(static_cast<unsigned char>(strName[i])));
    }
    return strName;
}

// A build number: digits with at most one dot inside.
std::string Build(const char* pValue)
{
    const std::string strBuild = pValue != nullptr ? pValue : "";
    size_t nDots = 0;
    for (char c : strBuild)
    {
        if (c == '.')
        {
            ++nDots;
        }
        else if (!std::isdigit(static_cast<unsigned char>(c)))
        {
            return DEFAULT_BUILD;
        }
    }
    if (strBuild.empty() || nDots > 1 || strBuild.front() == '.' || strBuild.back() == '.')
    {
        return DEFAULT_BUILD;
    }
    return strBuild;
}

const char* const OBJECT_TYPE_NAMES[] = {"platform",      "device",        "context",
                                         "command queue", "memory object", "sampler",
                                         "program",       "kernel",        "event"};

// One line on stderr: the count of live objects, and of each type that has any.
void ReportLiveObjects()
{
    const std::map<EObjectType, size_t> counts = CCLObject::CountLiveObjects();
    size_t nTotal = 0;
    std::string strTypes;
    for (const auto& entry : counts)
    {
        nTotal += entry.second;
        strTypes += std::string(strTypes.empty() ? " (" : ", ") + OBJECT_TYPE_NAMES[entry.first] +
                    " " + std::to_string(entry.second);
    }
    std::fprintf(stderr, "Nordvane OpenCL: live objects at exit: %zu%s\n", nTotal,
                 strTypes.empty() ? "" : (strTypes + ")").c_str());
}

// The names of the comma list; unknown names are left out with a warning.
std::set<std::string> HiddenExtensions(const char* pList, std::vector<std::string>& vWarnings)
{
    std::set<std::string> setNames;
    std::stringstream stream(pList != nullptr ? pList : "");
    std::string strEntry;
    while (std::getline(stream, strEntry, ','))
    {
        if (strEntry == CPlatform::EVENT_CALLBACK_EXTENSION ||
            strEntry == CPlatform::OBJECT_METADATA_EXTENSION)
        {
            setNames.insert(strEntry);
        }
        else if (!strEntry.empty())
        {
            vWarnings.push_back("NORDVANE_OCL_HIDE_EXTENSIONS: unknown extension \"" + strEntry +
                                "\" ignored; only " + CPlatform::EVENT_CALLBACK_EXTENSION +
                                " and " + CPlatform::OBJECT_METADATA_EXTENSION + " can be hidden");
        }
    }
    return setNames;
}
} // namespace

CPlatformSettings::CPlatformSettings(const char* pDevice, const char* pBuild, const char* pHide,
                                     const char* pCPUDevice, const char* pSecondPlatform,
                                     const char* pBuildOptions, const char* pDiagnostics,
                                     const char* pLiveObjects)
    : m_strDeviceName(DeviceName(pDevice, m_vWarnings)), m_strBuild(Build(pBuild)),
      m_bCPUDevice(IsSet(pCPUDevice)), m_bSecondPlatform(IsSet(pSecondPlatform)),
      m_strBuildOptions(pBuildOptions != nullptr ? pBuildOptions : ""),
      m_bDiagnostics(IsSet(pDiagnostics)), m_bLiveObjects(IsSet(pLiveObjects))
{
    const std::set<std::string> setHidden = HiddenExtensions(pHide, m_vWarnings);
    m_bHideEventCallback = setHidden.count(CPlatform::EVENT_CALLBACK_EXTENSION) != 0;
    m_bHideObjectMetadata = setHidden.count(CPlatform::OBJECT_METADATA_EXTENSION) != 0;
}

const CPlatformSettings& CPlatformSettings::Get()
{
    static const CPlatformSettings settings = []
    {
        CPlatformSettings read(
            std::getenv("NORDVANE_OCL_DEVICE"), std::getenv("NORDVANE_OCL_BUILD"),
            std::getenv("NORDVANE_OCL_HIDE_EXTENSIONS"), std::getenv("NORDVANE_OCL_CPU_DEVICE"),
            std::getenv("NORDVANE_OCL_SECOND_PLATFORM"), std::getenv("NORDVANE_OCL_BUILD_OPTIONS"),
            std::getenv("NORDVANE_OCL_DIAGNOSTICS"), std::getenv("NORDVANE_OCL_LIVE_OBJECTS"));
        for (const std::string& strWarning : read.GetWarnings())
        {
            std::fprintf(stderr, "Nordvane OpenCL: %s\n", strWarning.c_str());
        }
        if (read.ReportsLiveObjects())
        {
            std::atexit(ReportLiveObjects);
        }
        return read;
    }();
    return settings;
}
} // namespace XAN_Platform
