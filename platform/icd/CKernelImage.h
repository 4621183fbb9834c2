#ifndef XAN_PLATFORM_CKERNELIMAGE_H
#define XAN_PLATFORM_CKERNELIMAGE_H

#include "CPrintfFormatter.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class CCLMetadata;

namespace XAN_Platform
{
class CDevice;
class CILProgram;

enum EArgKind
{
    AK_Image,
    AK_Value,
    AK_GlobalPointer,
    AK_LocalPointer,
};

// One kernel argument as the kernel's metadata describes it.
struct SKernelArg
{
    EArgKind eKind = AK_Value;
    std::string strName;
    std::string strDataType; // the element type; for an image its dimension, such as "2D"
    uint32_t nCount = 1;     // vector lanes
    uint32_t nOffset = 0;    // bytes into constant buffer 1
    uint32_t nRoom = 0;      // bytes it takes there
    uint32_t nItemSize = 0;  // bytes of one element, 0 for a type without a size
    std::string strMemoryType;
    std::string strAccess;   // "RO", "WO", "RW" or empty
    uint32_t nResource = 0;  // an image's resource id, or UAV id when the kernel writes it
    int32_t nSamplerId = -1; // a sampler_t value: the sampler id it selects

    // Whether clSetKernelArg may give this many bytes for a value.
    bool AcceptsValueSize(size_t nSize) const;
    // The OpenCL C spelling of the argument's type, such as "float4" or "int*".
    std::string GetTypeName() const;
};

// One kernel of a built program: its arguments and memory needs from its metadata, and its IL,
// loaded for the engine with the kernel's function called from the main program.
class CKernelImage
{
public:
    // Null with the reasons in strLog when the kernel can't run on the device.
    static std::unique_ptr<CKernelImage> Create(const std::string& strName,
                                                const std::string& strMetadata,
                                                const std::string& strIL, const CDevice& device,
                                                std::string& strLog);
    ~CKernelImage();
    CKernelImage(const CKernelImage&) = delete;
    CKernelImage& operator=(const CKernelImage&) = delete;

    const std::string& GetName() const { return m_strName; }
    const std::string& GetMetadata() const { return m_strMetadata; }
    const std::vector<SKernelArg>& GetArgs() const { return m_vArgs; }
    const CILProgram& GetProgram() const { return *m_pProgram; }
    uint32_t GetFunctionLabel() const { return m_nLabel; }
    uint32_t GetWorkGroupSize() const { return m_nWorkGroupSize; }
    // All 0 unless the kernel declares the one group size it runs with.
    const uint32_t* GetRequiredLocalSize() const { return m_vRequiredLocalSize; }
    uint32_t GetStaticLocalBytes() const { return m_nStaticLocalBytes; }
    uint32_t GetPrivateBytes() const { return m_nPrivateBytes; }
    uint32_t GetArgBufferBytes() const { return m_nArgBufferBytes; }
    bool Is64BitABI() const { return m_b64BitABI; }
    static const uint32_t MAX_SAMPLERS = 16;
    // The sampler bits of each sampler id the kernel declares as a constant (none, or
    // MAX_SAMPLERS entries).
    const std::vector<uint32_t>& GetSamplers() const { return m_vSamplers; }
    const CPrintfFormatter& GetPrintf() const { return m_Printf; }

private:
    CKernelImage() = default;
    bool ReadMetadata(const std::string& strMetadata, const CDevice& device, std::string& strLog);
    bool ReadSamplers(const CCLMetadata& metadata, const std::string& strWhere,
                      std::string& strLog);

    std::string m_strName;
    std::string m_strMetadata;
    std::vector<SKernelArg> m_vArgs;
    std::unique_ptr<CILProgram> m_pProgram;
    uint32_t m_nLabel = 0;
    uint32_t m_nWorkGroupSize = 0;
    uint32_t m_vRequiredLocalSize[3] = {0, 0, 0};
    uint32_t m_nStaticLocalBytes = 0;
    uint32_t m_nPrivateBytes = 0;
    uint32_t m_nArgBufferBytes = 0;
    bool m_b64BitABI = false;
    CPrintfFormatter m_Printf;
    std::vector<uint32_t> m_vSamplers;
};
} // namespace XAN_Platform

#endif
