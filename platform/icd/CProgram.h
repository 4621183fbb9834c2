#ifndef XAN_PLATFORM_CPROGRAM_H
#define XAN_PLATFORM_CPROGRAM_H

#include "CCLObject.h"
#include "CProgramBuilder.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace XAN_Platform
{
class CContext;
class CDevice;
class CInfoWriter;

typedef void(CL_CALLBACK* PFNProgramNotify)(cl_program program, void* pUserData);

// A program from IL or OpenCL C source, or from kernel binaries, built per
// device. A build replaces the device's earlier state, whether it succeeds or not.
class CProgram : public CCLObject
{
public:
    static constexpr EObjectType OBJECT_TYPE = OT_Program;

    static CProgram* CreateWithSource(CContext* pContext, const std::string& strSource);
    // Each binary must be a kernel binary; pStatus, if not null, gets each one's verdict.
    static CProgram* CreateWithBinary(CContext* pContext, const std::vector<CDevice*>& vDevices,
                                      const std::vector<std::vector<char>>& vBinaries,
                                      cl_int* pStatus, cl_int& nError);

    // Links compiled objects and libraries of the context for each device (all of the context's
    // when vDevices is empty). The program exists even when the link fails, with its log;
    // nError says how it went.
    static CProgram* Link(CContext* pContext, const std::vector<CDevice*>& vDevices,
                          const char* pOptions, const std::vector<CProgram*>& vInputs,
                          cl_int& nError);

    CContext* GetContext() const { return m_pContext.Get(); }
    bool HasDevice(const CDevice* pDevice) const;

    // vDevices empty: every device of the program.
    cl_int Build(const std::vector<CDevice*>& vDevices, const char* pOptions);
    // Compiles OpenCL C source to a compiled object per device, with headers by include name.
    cl_int Compile(const std::vector<CDevice*>& vDevices, const char* pOptions,
                   const std::vector<std::pair<std::string, CProgram*>>& vHeaders);

    // The kernel's image for each device that built it; CL_INVALID_PROGRAM_EXECUTABLE when
    // no device did, CL_INVALID_KERNEL_NAME when none has the kernel.
    cl_int
    FindKernel(const std::string& strName,
               std::vector<std::pair<CDevice*, std::shared_ptr<const CKernelImage>>>& vImages);
    // The names of the kernels of the first device that built.
    cl_int GetKernelNames(std::vector<std::string>& vNames);
    void AttachKernel() { ++m_nKernels; }
    void DetachKernel() { --m_nKernels; }

    cl_int GetInfo(cl_program_info nParam, CInfoWriter& writer);
    cl_int GetBuildInfo(const CDevice* pDevice, cl_program_build_info nParam, CInfoWriter& writer);

private:
    struct SDeviceBuild
    {
        CDevice* pDevice = nullptr;
        cl_build_status nStatus = CL_BUILD_NONE;
        cl_program_binary_type nBinaryType = CL_PROGRAM_BINARY_TYPE_NONE;
        std::string strOptions;
        std::string strLog;
        std::vector<char> vBinary;
        KernelImages vKernels;
    };

    friend class CCLObject;
    CProgram(CContext* pContext, const std::string& strSource, bool bFromSource);
    ~CProgram() override;
    const SDeviceBuild* FirstBuilt() const;
    // Starts the builds of the devices with the options and runs fnBuild on each whose options
    // parse (others get nInvalidOptions); the first failure is the result.
    cl_int EachBuild(const std::vector<CDevice*>& vDevices, const char* pOptions,
                     cl_int nInvalidOptions,
                     const std::function<cl_int(SDeviceBuild&, const SBuildOptions&)>& fnBuild);
    // The builds of vDevices (all when empty), each reset to start again with pOptions.
    std::vector<SDeviceBuild*> StartBuilds(const std::vector<CDevice*>& vDevices,
                                           const std::string& strOptions);
    // The units of the device's compiled object or library; false when it has none.
    bool GetUnits(const CDevice* pDevice, std::vector<std::string>& vUnits);

    CRef<CContext> m_pContext;
    std::string m_strSource;
    bool m_bFromSource;
    std::mutex m_Mutex;
    std::vector<SDeviceBuild> m_vBuilds;
    std::atomic<int> m_nKernels{0};
};
} // namespace XAN_Platform

#endif
