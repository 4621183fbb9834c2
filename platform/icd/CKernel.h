#ifndef XAN_PLATFORM_CKERNEL_H
#define XAN_PLATFORM_CKERNEL_H

#include "CCLObject.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace XAN_Platform
{
class CDevice;
class CInfoWriter;
class CKernelImage;
class CMemObject;
class CProgram;
struct SKernelArg;
struct SLaunchDesc;

// A kernel of a built program, with the argument values set so far. An enqueue takes a copy
// of them (Capture), so that later changes don't reach commands already queued.
class CKernel : public CCLObject
{
public:
    static constexpr EObjectType OBJECT_TYPE = OT_Kernel;

    typedef std::vector<std::pair<CDevice*, std::shared_ptr<const CKernelImage>>> Images;

    CKernel(CProgram* pProgram, const std::string& strName, const Images& vImages);

    CProgram* GetProgram() const { return m_pProgram.Get(); }
    const std::string& GetName() const { return m_strName; }
    // Null for a device the kernel wasn't built for.
    std::shared_ptr<const CKernelImage> GetImage(const CDevice* pDevice) const;

    cl_int SetArg(cl_uint nIndex, size_t nSize, const void* pValue);

    // Fills the launch's argument buffer and memory sizes for the device, and retains every
    // memory object the arguments name; CL_INVALID_KERNEL_ARGS while an argument isn't set.
    cl_int Capture(const CDevice* pDevice, SLaunchDesc& desc,
                   std::vector<CRef<CMemObject>>& vMemory);

    cl_int GetInfo(cl_kernel_info nParam, CInfoWriter& writer);
    cl_int GetArgInfo(cl_uint nIndex, cl_kernel_arg_info nParam, CInfoWriter& writer) const;
    cl_int GetWorkGroupInfo(const CDevice* pDevice, cl_kernel_work_group_info nParam,
                            CInfoWriter& writer);

private:
    struct SArgValue
    {
        bool bSet = false;
        std::vector<unsigned char> vBytes; // values and memory handles
        size_t nLocalSize = 0;
    };

    ~CKernel() override;
    const std::vector<SKernelArg>& GetArgs() const;
    uint32_t GetLocalArgBytes() const;
    cl_int SetSamplerArg(const std::string& strArg, size_t nSize, const void* pValue,
                         SArgValue& value) const;

    CRef<CProgram> m_pProgram;
    std::string m_strName;
    Images m_vImages;
    std::mutex m_Mutex;
    std::vector<SArgValue> m_vValues;
};
} // namespace XAN_Platform

#endif
