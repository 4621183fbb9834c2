#ifndef XAN_PLATFORM_CPLATFORMSETTINGS_H
#define XAN_PLATFORM_CPLATFORMSETTINGS_H

#include <string>
#include <vector>

namespace XAN_Platform
{
// The platform's configuration, read once from the environment when the library is first
// asked for its platforms (platform/README.md lists the variables).
class CPlatformSettings
{
public:
    static const CPlatformSettings& Get();

    // Reads the given values the way the environment is read; unset is null.
    CPlatformSettings(const char* pDevice, const char* pBuild, const char* pHide,
                      const char* pCPUDevice, const char* pSecondPlatform,
                      const char* pBuildOptions, const char* pDiagnostics,
                      const char* pLiveObjects);

    // The GPU's name, capitalised, such as "Larkspur".
    const std::string& GetDeviceName() const { return m_strDeviceName; }
    // The build number text in the version strings, such as "2000.1".
    const std::string& GetBuild() const { return m_strBuild; }
    bool HidesEventCallback() const { return m_bHideEventCallback; }
    bool HidesObjectMetadata() const { return m_bHideObjectMetadata; }
    bool HasCPUDevice() const { return m_bCPUDevice; }
    bool HasSecondPlatform() const { return m_bSecondPlatform; }
    // Options added to every build that doesn't ask to ignore the environment.
    const std::string& GetBuildOptions() const { return m_strBuildOptions; }
    // Whether refusals and out-of-bounds accesses are reported on stderr.
    bool ReportsDiagnostics() const { return m_bDiagnostics; }
    // Whether the objects still alive when the process exits are counted on stderr.
    bool ReportsLiveObjects() const { return m_bLiveObjects; }
    // What the values held that the platform doesn't know, and what it used instead.
    const std::vector<std::string>& GetWarnings() const { return m_vWarnings; }

private:
    // First: the values below add to it as they are read.
    std::vector<std::string> m_vWarnings;
    std::string m_strDeviceName;
    std::string m_strBuild;
    bool m_bHideEventCallback = false;
    bool m_bHideObjectMetadata = false;
    bool m_bCPUDevice;
    bool m_bSecondPlatform;
    std::string m_strBuildOptions;
    bool m_bDiagnostics;
    bool m_bLiveObjects;
};
} // namespace XAN_Platform

#endif
