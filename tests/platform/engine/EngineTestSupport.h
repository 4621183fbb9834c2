#ifndef XAN_TEST_ENGINE_TEST_SUPPORT_H
#define XAN_TEST_ENGINE_TEST_SUPPORT_H

#include "CDeviceMemory.h"
#include "CILEngine.h"
#include "CILProgram.h"

#include <cstdint>
#include <cstring>
#include <functional>
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
// The same for text that must load.
std::unique_ptr<XAN_Platform::CILProgram> LoadProgram(const std::string& strText);

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

// Wraps strBody into a kernel whose work-items store r2 to four words of the output buffer;
// r0.x is the work-item's id without the offset, l0 = (4, 1, 2, 3), l1 = (0, 10, 0, 0), r1 is
// scratch. Numbers and lines of the prologue: line 2 call #0, 3 endmain #1, 4 func #2, 8 mov #3;
// the body from line 9, #4. Behind the body: ishl, iadd, uav_raw_store, ret, endfunc,
// strFunctions, end. strMacros lead the program.
std::string OutputKernel(const std::string& strBody, const std::string& strFunctions = "",
                         const std::string& strMacros = "");

struct SOutputRun
{
    XAN_Platform::SLaunchResult result;
    std::vector<uint32_t> vWords; // four per work-item
    std::vector<std::string> vWarnings;
    uint64_t nOutAddress = 0;
};

// Runs such a kernel with 32-bit addresses over nItems work-items in groups of nLocal, after
// fnDesc has changed the launch.
SOutputRun RunOutputKernel(const std::string& strText, uint32_t nItems, uint32_t nLocal,
                           const std::function<void(XAN_Platform::SLaunchDesc&)>& fnDesc = {});
} // namespace XAN_Test

#endif
