#ifndef XAN_PLATFORM_CCONTEXT_H
#define XAN_PLATFORM_CCONTEXT_H

#include "CCLObject.h"

#include <string>
#include <vector>

namespace XAN_Platform
{
class CDevice;
class CInfoWriter;
class CPlatform;

typedef void(CL_CALLBACK* PFNContextNotify)(const char* pErrorInfo, const void* pPrivateInfo,
                                            size_t nPrivateSize, void* pUserData);

// A context: devices of one platform, the properties it was made with, and the intercept
// callback among them.
class CContext : public CCLObject
{
public:
    static constexpr EObjectType OBJECT_TYPE = OT_Context;

    // Checks the property list and the devices; on success the context, else null and the
    // error.
    static CContext* Create(const cl_context_properties* pProperties,
                            const std::vector<CDevice*>& vDevices, PFNContextNotify pfnNotify,
                            void* pUserData, cl_int& nError);

    CPlatform* GetPlatform() const { return m_pPlatform; }
    const std::vector<CDevice*>& GetDevices() const { return m_vDevices; }
    bool HasDevice(const CDevice* pDevice) const;
    // Null when the context has none or the platform doesn't offer interception.
    cl_xan_intercept_callback GetInterceptCallback() const { return m_pfnIntercept; }
    // Tells the application about a failure through its notify callback, if it gave one.
    void Notify(const std::string& strMessage) const;

    cl_int GetInfo(cl_context_info nParam, CInfoWriter& writer);

private:
    friend class CCLObject;
    CContext(CPlatform* pPlatform, const std::vector<CDevice*>& vDevices,
             const std::vector<cl_context_properties>& vProperties,
             cl_xan_intercept_callback pfnIntercept, PFNContextNotify pfnNotify, void* pUserData);
    ~CContext() override;

    CPlatform* m_pPlatform;
    std::vector<CDevice*> m_vDevices;
    std::vector<cl_context_properties> m_vProperties; // as given, with the final 0
    cl_xan_intercept_callback m_pfnIntercept;
    PFNContextNotify m_pfnNotify;
    void* m_pUserData;
};
} // namespace XAN_Platform

#endif
