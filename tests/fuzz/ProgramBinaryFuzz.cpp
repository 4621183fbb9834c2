// Program binaries as clCreateProgramWithBinary receives them, through the ICD loader to the
// build's platform as an application calls it: each is refused, or it is built from its kernel
// IL and from its debug IL, and either build may fail, but nothing faults or leaks.
#include "FuzzSupport.h"

#include <CL/cl.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>

using XAN_Test::Require;

namespace
{
cl_device_id g_Device = nullptr;
cl_context g_Context = nullptr;
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    // OCL_ICD_VENDORS names only the build's platform.
    cl_platform_id platform = nullptr;
    Require(clGetPlatformIDs(1, &platform, nullptr) == CL_SUCCESS);
    Require(clGetDeviceIDs(platform, CL_DEVICE_TYPE_GPU, 1, &g_Device, nullptr) == CL_SUCCESS);
    cl_int nError = CL_SUCCESS;
    g_Context = clCreateContext(nullptr, 1, &g_Device, nullptr, nullptr, &nError);
    Require(nError == CL_SUCCESS);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    const unsigned char* pBinary = pData;
    cl_int nStatus = CL_SUCCESS;
    cl_int nError = CL_SUCCESS;
    cl_program program =
        clCreateProgramWithBinary(g_Context, 1, &g_Device, &nSize, &pBinary, &nStatus, &nError);
    if (program == nullptr)
    {
        // An empty binary is an invalid value; anything else that isn't a kernel binary is
        // refused as such.
        Require(nError == (nSize == 0 ? CL_INVALID_VALUE : CL_INVALID_BINARY));
        return 0;
    }
    Require(nError == CL_SUCCESS && nStatus == CL_SUCCESS);
    for (const char* pOptions : {"", "-use-debugil"})
    {
        const cl_int nBuild = clBuildProgram(program, 1, &g_Device, pOptions, nullptr, nullptr);
        Require(nBuild == CL_SUCCESS || nBuild == CL_BUILD_PROGRAM_FAILURE);
    }
    clReleaseProgram(program);
    return 0;
}
