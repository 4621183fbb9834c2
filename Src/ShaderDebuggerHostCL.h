#ifndef SHADER_DEBUGGER_HOST_CL_H
#define SHADER_DEBUGGER_HOST_CL_H

#include "ShaderDebuggerCL/ShaderDebuggerDeviceCL.h"
#include "ShaderDebuggerHost.h"

#include <XANOpenCLDebug.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

namespace XAN_ShaderDebugger
{
// The host of one debugged OpenCL launch: the launch geometry, a private queue on which the
// re-executions run, the kernel's global buffer arguments, and the debugger's text log.
class CShaderDebuggerHostCL : public CShaderDebuggerHost
{
public:
    // Where a global buffer argument lies as the kernel sees it.
    struct KernelArgInfo
    {
        uint32_t uavID;
        uint64_t baseAddress;
        // 0 for every argument that isn't a global buffer, and for a null buffer: such an
        // argument takes no part in address look-ups.
        uint64_t size;
        ShaderUtils::SUBuffer* pBuffer; // the debugger's copy, owned by the debugger
    };

    // A device for the kernel, a host over it and a debugger of the type registered in the host;
    // null when the device or the host can't be had.
    static CShaderDebuggerHostCL* CreateShaderDebuggerHostCL(uint32_t nType, cl_kernel kernel,
                                                             cl_command_queue commandQueue,
                                                             const std::string& strLogFile);

    // Takes ownership of the device. A failed OpenCL query leaves a host without a queue; an
    // empty log file name writes no log.
    CShaderDebuggerHostCL(cl_kernel kernel, cl_command_queue commandQueue,
                          CShaderDebuggerDevice* pDevice, const std::string& strLogFile);
    ~CShaderDebuggerHostCL() override;

    // Runs the device's current kernel once on the private queue and waits for it.
    bool ExecuteShader() override;
    // The debug output, and the log file when there is one.
    void Log(uint32_t nLevel, const std::string& strText) override;
    void GetDeviceName(std::string& strName) override;
    // The base's device as the OpenCL device; null for a device of another kind, such as a
    // test double's.
    CShaderDebuggerDeviceCL* GetDeviceCL();

    // Stores the launch geometry; at most three dimensions, and a global size is required.
    virtual bool SetEnqueueData(uint32_t nNumDim, const size_t* pGlobalOffset,
                                const size_t* nGlobalSize, const size_t* pLocalSize);
    // Points the non-null out-pointers at the stored geometry.
    virtual bool GetEnqueueData(uint32_t* pNumDim, const size_t** ppGlobalOffset,
                                const size_t** ppGlobalSize, const size_t** ppLocalSize);
    // The kernel binary with its debug IL.
    virtual std::vector<unsigned char>& GetKernelBinary();
    // The host's own queue, on which nothing is intercepted.
    virtual cl_command_queue GetCommandQueue();
    // True for the newer GPU family, which reaches private memory differently.
    virtual bool IsTidalReefs();
    // Makes the kernel's global buffers addressable, from the captured constant buffer "cb1".
    virtual bool InitKernelArgInfo(cl_kernel kernel);
    // The bytes that the kernel sees at an address of a UAV, as of the last execution; with no
    // pOut, the size of the buffer that holds the address.
    virtual bool GetGlobalMemory(uint32_t nUAV, uint64_t nAddress, uint64_t nSize, void* pOut,
                                 size_t* pOutSize);
    // The launch's global buffers; with a null array, only their count.
    virtual bool GetValidGlobalMemoryRegions(size_t nMaxRegions, xanclDebugMemoryRegion* pRegions,
                                             size_t* pNumRegions);
    // The names of the registers live at the current position.
    virtual bool GetActiveRegisters(std::vector<std::string>* pNames);

    cl_kernel GetKernel() const { return m_Kernel; }

protected:
    // A host without OpenCL behind it, for hosts whose device work is done otherwise.
    CShaderDebuggerHostCL(cl_kernel kernel, CShaderDebuggerDevice* pDevice);

private:
    static const uint32_t MAX_DIMENSIONS = 3;

    // The debugger's copy of argument nIndex: "m" followed by the index.
    ShaderUtils::SUBuffer* GetArgumentBuffer(size_t nIndex);
    void WriteLogBanner(const char* pStars, const char* pTitle);

    std::string m_strLogFile;
    std::ofstream m_LogFile;
    uint32_t m_nNumDim;
    size_t m_GlobalOffset[MAX_DIMENSIONS];
    size_t m_GlobalSize[MAX_DIMENSIONS];
    size_t m_LocalSize[MAX_DIMENSIONS]; // all zero: the application gave none
    cl_device_id m_Device;
    cl_context m_Context; // retained
    cl_command_queue m_Queue;
    cl_kernel m_Kernel; // not retained here: the device retains it
    std::vector<KernelArgInfo> m_KernelArgs;
};

} // namespace XAN_ShaderDebugger

#endif
