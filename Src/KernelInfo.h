#ifndef KERNEL_INFO_H
#define KERNEL_INFO_H

#include <CL/cl.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// What the library knows of one argument of a tracked kernel. OpenCL doesn't give a value back
// once it is set, so the interception keeps a copy.
struct CLKernelArg
{
    enum Kind : uint32_t
    {
        KIND_UNKNOWN = 0,
        KIND_IMAGE = 1,
        KIND_VALUE = 2,
        KIND_GLOBAL_POINTER = 3,
        KIND_LOCAL_POINTER = 4,
        KIND_COUNTER = 5
    };

    // The last value given; empty when it was null or of size 0.
    std::vector<unsigned char> vValue;
    // Kept also without a value: a __local argument has only its size.
    size_t nSize = 0;
    uint32_t nKind = KIND_UNKNOWN;
    std::string strName;
    // The UAV or resource id; 0 for values and counters.
    uint32_t nResourceID = 0;

    const void* GetValue() const { return vValue.empty() ? NULL : vValue.data(); }
};

// A tracked kernel: its arguments in the kernel's order.
class KernelInfo
{
public:
    explicit KernelInfo(size_t nNumArgs = 0) : m_vArgs(nNumArgs), m_bHasGPUDevice(false) {}

    std::vector<CLKernelArg>& GetArgInfo() { return m_vArgs; }
    const std::vector<CLKernelArg>& GetArgInfo() const { return m_vArgs; }
    // A kernel of a program without a GPU device has arguments without names or kinds.
    bool HasGPUDevice() const { return m_bHasGPUDevice; }
    void SetHasGPUDevice(bool bHasGPUDevice) { m_bHasGPUDevice = bHasGPUDevice; }

private:
    std::vector<CLKernelArg> m_vArgs;
    bool m_bHasGPUDevice;
};

#endif
