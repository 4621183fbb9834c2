#ifndef XAN_PLATFORM_CDEVICE_H
#define XAN_PLATFORM_CDEVICE_H

#include "CCLObject.h"

#include <string>

namespace XAN_Platform
{
class CInfoWriter;
class CPlatform;

// A device of a platform. Every device runs kernels on the IL engine; they differ in type,
// name and address width.
class CDevice : public CCLObject
{
public:
    static constexpr EObjectType OBJECT_TYPE = OT_Device;

    static constexpr uint32_t MAX_WORK_GROUP_SIZE = 256;
    static constexpr cl_ulong LOCAL_MEMORY_BYTES = 65536;
    static constexpr size_t SUB_BUFFER_ALIGNMENT = 256;

    CDevice(CPlatform* pPlatform, cl_device_type nType, const std::string& strName, bool b64Bit,
            const std::string& strVersion, const std::string& strExtensions,
            const std::string& strBuild);

    CPlatform* GetPlatform() const { return m_pPlatform; }
    cl_device_type GetType() const { return m_nType; }
    // The family name, such as "Larkspur"; kernel metadata names it in lower case.
    const std::string& GetName() const { return m_strName; }
    bool Is64Bit() const { return m_b64Bit; }
    cl_ulong GetMaxAllocation() const;

    cl_int GetInfo(cl_device_info nParam, CInfoWriter& writer) const;

private:
    ~CDevice() override;

    CPlatform* m_pPlatform;
    cl_device_type m_nType;
    std::string m_strName;
    bool m_b64Bit;
    std::string m_strVersion;
    std::string m_strExtensions;
    std::string m_strBuild;
};
} // namespace XAN_Platform

#endif
