#ifndef XAN_PLATFORM_CSAMPLER_H
#define XAN_PLATFORM_CSAMPLER_H

#include "CCLObject.h"

#include <vector>

namespace XAN_Platform
{
class CContext;
class CInfoWriter;

// A sampler: how an image is read. Kernels here take constant samplers only, so the object
// holds its settings for the application to read back.
class CSampler : public CCLObject
{
public:
    static constexpr EObjectType OBJECT_TYPE = OT_Sampler;

    // From a property list ending in 0 (null: the defaults).
    static CSampler* Create(CContext* pContext, const cl_sampler_properties* pProperties,
                            cl_int& nError);

    cl_int GetInfo(cl_sampler_info nParam, CInfoWriter& writer);
    // The sampler as the engine takes it: the bits of OpenCL C's sampler_t constants.
    uint32_t GetBits() const;

private:
    friend class CCLObject;
    CSampler(CContext* pContext, cl_bool bNormalized, cl_addressing_mode nAddressing,
             cl_filter_mode nFilter, const std::vector<cl_sampler_properties>& vProperties);
    ~CSampler() override;

    CRef<CContext> m_pContext;
    cl_bool m_bNormalized;
    cl_addressing_mode m_nAddressing;
    cl_filter_mode m_nFilter;
    std::vector<cl_sampler_properties> m_vProperties;
};
} // namespace XAN_Platform

#endif
