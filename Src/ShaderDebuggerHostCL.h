#ifndef SHADER_DEBUGGER_HOST_CL_H
#define SHADER_DEBUGGER_HOST_CL_H

#include "ShaderDebuggerHost.h"

#include <XANOpenCLDebug.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace XAN_ShaderDebugger
{
// The host of one debugged OpenCL launch: the launch geometry, the kernel, and the operations
// that carry the debugger's requests to OpenCL.
class CShaderDebuggerHostCL : public CShaderDebuggerHost
{
public:
    // Takes ownership of the device.
    CShaderDebuggerHostCL(cl_kernel kernel, CShaderDebuggerDevice* pDevice);

    // Stores the launch geometry; at most three dimensions, and a global size is required.
    virtual bool SetEnqueueData(uint32_t nNumDim, const size_t* pGlobalOffset,
                                const size_t* nGlobalSize, const size_t* pLocalSize);
    // Points the non-null out-pointers at the stored geometry.
    virtual bool GetEnqueueData(uint32_t* pNumDim, const size_t** ppGlobalOffset,
                                const size_t** ppGlobalSize, const size_t** ppLocalSize);
    // The kernel binary with its debug IL.
    virtual std::vector<unsigned char>& GetKernelBinary() = 0;
    // The host's own queue, on which nothing is intercepted.
    virtual cl_command_queue GetCommandQueue() = 0;
    // True for the newer GPU family, which reaches private memory differently.
    virtual bool IsTidalReefs() = 0;
    // Makes the kernel's global buffers addressable.
    virtual bool InitKernelArgInfo(cl_kernel kernel) = 0;
    virtual bool GetGlobalMemory(uint32_t nUAV, uint64_t nAddress, uint64_t nSize, void* pOut,
                                 size_t* pOutSize) = 0;
    virtual bool GetValidGlobalMemoryRegions(size_t nMaxRegions, xanclDebugMemoryRegion* pRegions,
                                             size_t* pNumRegions) = 0;
    // The names of the registers live at the current position.
    virtual bool GetActiveRegisters(std::vector<std::string>* pNames) = 0;

    cl_kernel GetKernel() const { return m_Kernel; }

protected:
    static const uint32_t MAX_DIMENSIONS = 3;

    uint32_t m_nNumDim;
    size_t m_GlobalOffset[MAX_DIMENSIONS];
    size_t m_GlobalSize[MAX_DIMENSIONS];
    size_t m_LocalSize[MAX_DIMENSIONS]; // all zero: the application gave none
    cl_kernel m_Kernel;                 // not retained here
};

} // namespace XAN_ShaderDebugger

#endif
