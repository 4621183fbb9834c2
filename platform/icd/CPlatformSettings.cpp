#include "CPlatformSettings.h"

#include <cctype>
#include <cstdlib>
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

// A family name as devices carry it: letters only, first capital, the rest small.
std::string DeviceName(const char* pValue)
{
    std::string strName = pValue != nullptr ? pValue : "";
    for (size_t i = 0; i < strName.size(); ++i)
    {
        if (!std::isalpha(static_cast<unsigned char>(strName[i])))
        {
            return DEFAULT_DEVICE;
        }
        strName[i] = char(i == 0 ? std::toupper(static_cast<unsigned char>(strName[i]))
                                 : std::tolower(static_cast<unsigned char>(strName[i])));
    }
    return strName.empty() ? DEFAULT_DEVICE : strName;
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

bool ListHas(const char* pList, const std::string& strItem)
{
    std::stringstream stream(pList != nullptr ? pList : "");
    std::string strEntry;
    while (std::getline(stream, strEntry, ','))
    {
        if (strEntry == strItem)
        {
            return true;
        }
    }
    return false;
}
} // namespace

CPlatformSettings::CPlatformSettings(const char* pDevice, const char* pBuild, const char* pHide,
                                     const char* pCPUDevice, const char* pSecondPlatform,
                                     const char* pBuildOptions)
    : m_strDeviceName(DeviceName(pDevice)), m_strBuild(Build(pBuild)),
      m_bHideEventCallback(ListHas(pHide, "cl_xan_event_callback")),
      m_bHideObjectMetadata(ListHas(pHide, "cl_xan_object_metadata")),
      m_bCPUDevice(IsSet(pCPUDevice)), m_bSecondPlatform(IsSet(pSecondPlatform)),
      m_strBuildOptions(pBuildOptions != nullptr ? pBuildOptions : "")
{
}

const CPlatformSettings& CPlatformSettings::Get()
{
    static const CPlatformSettings settings(
        std::getenv("NORDVANE_OCL_DEVICE"), std::getenv("NORDVANE_OCL_BUILD"),
        std::getenv("NORDVANE_OCL_HIDE_EXTENSIONS"), std::getenv("NORDVANE_OCL_CPU_DEVICE"),
        std::getenv("NORDVANE_OCL_SECOND_PLATFORM"), std::getenv("NORDVANE_OCL_BUILD_OPTIONS"));
    return settings;
}

} // namespace XAN_Platform
