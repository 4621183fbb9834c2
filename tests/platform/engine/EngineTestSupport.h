#ifndef XAN_TEST_ENGINE_TEST_SUPPORT_H
#define XAN_TEST_ENGINE_TEST_SUPPORT_H

#include "CDeviceMemory.h"
#include "CILEngine.h"
#include "CILProgram.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace XAN_Test
{
// The text of examples/kernels/<strName>.il.
std::string ExampleKernel(const std::string& strName);

// Assembles and loads IL text; null with the assembler's or loader's message.
std::unique_ptr<XAN_Platform::CILProgram> LoadProgram(const std::string& strText,
                                                      std::string& strError);

// One launch of a kernel: device memory of one family, constant buffer 1 built
// argument by argument in 16-byte rows, as the runtime lays out kernel arguments.
class CKernelLaunch
{
public:
    explicit CKernelLaunch(bool b64BitAddresses = true) : m_Memory(b64BitAddresses) {}

    XAN_Platform::CDeviceMemory& Memory() { return m_Memory; }
    XAN_Platform::SLaunchDesc& Desc() { return m_Desc; }

    template <class T> std::shared_ptr<XAN_Platform::CDeviceBuffer> Buffer(const std::vector<T>& v)
    {
        std::shared_ptr<XAN_Platform::CDeviceBuffer> pBuffer =
            m_Memory.Allocate(v.size() * sizeof(T));
        if (pBuffer && !v.empty())
        {
            std::memcpy(pBuffer->GetData(), v.data(), v.size() * sizeof(T));
        }
        return pBuffer;
    }

    template <class T>
    static std::vector<T> Read(const std::shared_ptr<XAN_Platform::CDeviceBuffer>& pBuffer)
    {
        std::vector<T> v(pBuffer->GetSize() / sizeof(T));
        std::memcpy(v.data(), pBuffer->GetData(), v.size() * sizeof(T));
        return v;
    }

    // A global pointer: its address, split into two words with the 64-bit ABI.
    void ArgPointer(const std::shared_ptr<XAN_Platform::CDeviceBuffer>& pBuffer);
    // Raw bytes of a value argument, padded to its row.
    template <class T> void ArgValue(const T& value)
    {
        uint32_t vRow[4] = {0, 0, 0, 0};
        std::memcpy(vRow, &value, sizeof(T) < 16 ? sizeof(T) : 16);
        AddRow(vRow);
    }

    // Sets a 1- to 3-dimensional range with the given local size (0: null).
    void Range(uint32_t nWorkDim, std::vector<uint64_t> vGlobal, std::vector<uint64_t> vLocal = {},
               std::vector<uint64_t> vOffset = {});

    XAN_Platform::SLaunchResult Run(const XAN_Platform::CILProgram& program);

private:
    void AddRow(const uint32_t vRow[4]);

    XAN_Platform::CDeviceMemory m_Memory;
    XAN_Platform::SLaunchDesc m_Desc;
};
} // namespace XAN_Test

#endif
