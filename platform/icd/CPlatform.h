#ifndef XAN_PLATFORM_CPLATFORM_H
#define XAN_PLATFORM_CPLATFORM_H

#include "CCLObject.h"

#include <memory>
#include <string>
#include <vector>

namespace XAN_Platform
{
class CDevice;
class CDeviceMemory;
class CInfoWriter;
class CPlatformSettings;

// One platform of the library: its strings, its devices and the flat device memory that all
// of them share. The platforms are made once, from the settings, and live as long as the
// library.
class CPlatform : public CCLObject
{
public:
    static constexpr EObjectType OBJECT_TYPE = OT_Platform;

    static const char* const VENDOR;
    static const char* const ICD_SUFFIX;
    static const char* const EVENT_CALLBACK_EXTENSION;
    static const char* const OBJECT_METADATA_EXTENSION;

    // The Nordvane platform first, then the other vendor's when the settings ask for it.
    static const std::vector<CPlatform*>& GetAll();

    const std::vector<CDevice*>& GetDevices() const { return m_vDevices; }
    CDeviceMemory& GetMemory() const { return *m_pMemory; }
    const std::string& GetVendor() const { return m_strVendor; }
    const std::string& GetVersion() const { return m_strVersion; }
    const std::string& GetExtensions() const { return m_strExtensions; }
    bool HasExtension(const std::string& strName) const;

    cl_int GetInfo(cl_platform_info nParam, CInfoWriter& writer) const;

private:
    CPlatform(const CPlatformSettings& settings, bool bNordvane);
    ~CPlatform() override;

    std::string m_strVendor;
    std::string m_strName;
    std::string m_strVersion;
    std::string m_strExtensions;
    std::string m_strSuffix;
    std::unique_ptr<CDeviceMemory> m_pMemory;
    std::vector<CDevice*> m_vDevices;
};
} // namespace XAN_Platform

#endif
