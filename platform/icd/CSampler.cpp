#include "CSampler.h"

#include "CImageSampler.h"

#include "CContext.h"
#include "CDiagnostics.h"
#include "CInfoWriter.h"

namespace XAN_Platform
{
CSampler::CSampler(CContext* pContext, cl_bool bNormalized, cl_addressing_mode nAddressing,
                   cl_filter_mode nFilter, const std::vector<cl_sampler_properties>& vProperties)
    : CCLObject(OT_Sampler, true), m_pContext(pContext), m_bNormalized(bNormalized),
      m_nAddressing(nAddressing), m_nFilter(nFilter), m_vProperties(vProperties)
{
}

CSampler::~CSampler() = default;

CSampler* CSampler::Create(CContext* pContext, const cl_sampler_properties* pProperties,
                           cl_int& nError)
{
    nError = CL_INVALID_VALUE;
    cl_bool bNormalized = CL_TRUE;
    cl_addressing_mode nAddressing = CL_ADDRESS_CLAMP;
    cl_filter_mode nFilter = CL_FILTER_NEAREST;
    std::vector<cl_sampler_properties> vProperties;
    for (const cl_sampler_properties* p = pProperties; p != nullptr && *p != 0; p += 2)
    {
        switch (p[0])
        {
        case CL_SAMPLER_NORMALIZED_COORDS:
            if (p[1] != CL_TRUE && p[1] != CL_FALSE)
            {
                return nullptr;
            }
            bNormalized = cl_bool(p[1]);
            break;
        case CL_SAMPLER_ADDRESSING_MODE:
            if (p[1] < CL_ADDRESS_NONE || p[1] > CL_ADDRESS_MIRRORED_REPEAT)
            {
                return nullptr;
            }
            nAddressing = cl_addressing_mode(p[1]);
            break;
        case CL_SAMPLER_FILTER_MODE:
            if (p[1] != CL_FILTER_NEAREST && p[1] != CL_FILTER_LINEAR)
            {
                return nullptr;
            }
            nFilter = cl_filter_mode(p[1]);
            break;
        default:
            return nullptr;
        }
        vProperties.push_back(p[0]);
        vProperties.push_back(p[1]);
    }
    if (!bNormalized &&
        (nAddressing == CL_ADDRESS_REPEAT || nAddressing == CL_ADDRESS_MIRRORED_REPEAT))
    {
        return nullptr;
    }
    if (pProperties != nullptr)
    {
        vProperties.push_back(0);
    }
    nError = CL_SUCCESS;
    return CCLObject::New<CSampler>(pContext, bNormalized, nAddressing, nFilter, vProperties);
}

uint32_t CSampler::GetBits() const
{
    // The addressing modes follow each other in the API as they do in steps of 2 in the bits.
    const uint32_t nAddress = uint32_t(m_nAddressing - CL_ADDRESS_NONE) * SB_AddressClampToEdge;
    return (m_bNormalized ? uint32_t(SB_NormalizedCoords) : 0u) | nAddress |
           (m_nFilter == CL_FILTER_LINEAR ? SB_FilterLinear : SB_FilterNearest);
}

cl_int CSampler::GetInfo(cl_sampler_info nParam, CInfoWriter& writer)
{
    switch (nParam)
    {
    case CL_SAMPLER_REFERENCE_COUNT:
        return writer.Value(GetReferenceCount());
    case CL_SAMPLER_CONTEXT:
        return writer.Value(static_cast<cl_context>(m_pContext->GetHandle()));
    case CL_SAMPLER_NORMALIZED_COORDS:
        return writer.Value(m_bNormalized);
    case CL_SAMPLER_ADDRESSING_MODE:
        return writer.Value(m_nAddressing);
    case CL_SAMPLER_FILTER_MODE:
        return writer.Value(m_nFilter);
    case CL_SAMPLER_PROPERTIES:
        return writer.Array(m_vProperties);
    default:
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "param_name", "unknown");
    }
}
} // namespace XAN_Platform
