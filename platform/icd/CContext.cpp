#include "CContext.h"

#include "CDevice.h"
#include "CDiagnostics.h"
#include "CInfoWriter.h"
#include "CPlatform.h"

#include <algorithm>

namespace XAN_Platform
{
CContext::CContext(CPlatform* pPlatform, const std::vector<CDevice*>& vDevices,
                   const std::vector<cl_context_properties>& vProperties,
                   cl_xan_intercept_callback pfnIntercept, PFNContextNotify pfnNotify,
                   void* pUserData)
    : CCLObject(OT_Context, true), m_pPlatform(pPlatform), m_vDevices(vDevices),
      m_vProperties(vProperties), m_pfnIntercept(pfnIntercept), m_pfnNotify(pfnNotify),
      m_pUserData(pUserData)
{
}

CContext::~CContext() = default;

CContext* CContext::Create(const cl_context_properties* pProperties,
                           const std::vector<CDevice*>& vDevices, PFNContextNotify pfnNotify,
                           void* pUserData, cl_int& nError)
{
    nError = CL_SUCCESS;
    if (vDevices.empty())
    {
        nError = CDiagnostics::Refuse(CL_INVALID_VALUE, "devices", "none");
        return nullptr;
    }
    CPlatform* pPlatform = vDevices.front()->GetPlatform();
    std::vector<cl_context_properties> vProperties;
    cl_xan_intercept_callback pfnIntercept = nullptr;
    bool bPlatformSeen = false;
    bool bInterceptSeen = false;
    for (const cl_context_properties* p = pProperties; p != nullptr && *p != 0; p += 2)
    {
        const cl_context_properties nName = p[0];
        const cl_context_properties nValue = p[1];
        switch (nName)
        {
        case CL_CONTEXT_PLATFORM:
        {
            CPlatform* pGiven = CCLObject::Find<CPlatform>(reinterpret_cast<const void*>(nValue));
            if (bPlatformSeen)
            {
                nError = CDiagnostics::Refuse(CL_INVALID_PROPERTY, "properties",
                                              "CL_CONTEXT_PLATFORM given twice");
                return nullptr;
            }
            if (pGiven == nullptr)
            {
                nError =
                    CDiagnostics::Refuse(CL_INVALID_PLATFORM, "properties",
                                         "CL_CONTEXT_PLATFORM names no platform of this library");
                return nullptr;
            }
            bPlatformSeen = true;
            pPlatform = pGiven;
            break;
        }
        case CL_CONTEXT_INTERCEPT_CALLBACK_XAN:
            if (bInterceptSeen || nValue == 0 ||
                !pPlatform->HasExtension(CPlatform::EVENT_CALLBACK_EXTENSION))
            {
                nError = CDiagnostics::Refuse(
                    CL_INVALID_PROPERTY, "properties",
                    "the intercept callback is given twice, null, or without its extension");
                return nullptr;
            }
            bInterceptSeen = true;
            pfnIntercept = reinterpret_cast<cl_xan_intercept_callback>(nValue);
            break;
        case CL_CONTEXT_INTEROP_USER_SYNC:
            break;
        default:
            nError = CDiagnostics::Refuse(CL_INVALID_PROPERTY, "properties", "an unknown property");
            return nullptr;
        }
        vProperties.push_back(nName);
        vProperties.push_back(nValue);
    }
    if (pProperties != nullptr)
    {
        vProperties.push_back(0);
    }
    for (const CDevice* pDevice : vDevices)
    {
        if (pDevice->GetPlatform() != pPlatform)
        {
            nError =
                CDiagnostics::Refuse(CL_INVALID_DEVICE, "devices", "a device of another platform");
            return nullptr;
        }
    }
    return CCLObject::New<CContext>(pPlatform, vDevices, vProperties, pfnIntercept, pfnNotify,
                                    pUserData);
}

bool CContext::HasDevice(const CDevice* pDevice) const
{
    return std::find(m_vDevices.begin(), m_vDevices.end(), pDevice) != m_vDevices.end();
}

void CContext::Notify(const std::string& strMessage) const
{
    if (m_pfnNotify != nullptr)
    {
        m_pfnNotify(strMessage.c_str(), nullptr, 0, m_pUserData);
    }
}

cl_int CContext::GetInfo(cl_context_info nParam, CInfoWriter& writer)
{
    switch (nParam)
    {
    case CL_CONTEXT_REFERENCE_COUNT:
        return writer.Value(GetReferenceCount());
    case CL_CONTEXT_NUM_DEVICES:
        return writer.Value(cl_uint(m_vDevices.size()));
    case CL_CONTEXT_DEVICES:
    {
        std::vector<cl_device_id> vHandles;
        for (CDevice* pDevice : m_vDevices)
        {
            vHandles.push_back(static_cast<cl_device_id>(pDevice->GetHandle()));
        }
        return writer.Array(vHandles);
    }
    case CL_CONTEXT_PROPERTIES:
        return writer.Array(m_vProperties);
    default:
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "param_name", "unknown");
    }
}
} // namespace XAN_Platform
