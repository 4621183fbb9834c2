#ifndef XAN_TEST_ICDTESTSUPPORT_H
#define XAN_TEST_ICDTESTSUPPORT_H

#include "cl_xan_ext.h"

#include <CL/cl.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace XAN_Test
{
// The Nordvane platform as the ICD loader lists it, or null.
cl_platform_id NordvanePlatform();
cl_device_id FirstDevice(cl_platform_id platform, cl_device_type nType = CL_DEVICE_TYPE_GPU);

std::string DeviceString(cl_device_id device, cl_device_info nParam);
std::string PlatformString(cl_platform_id platform, cl_platform_info nParam);

// An example kernel of examples/kernels.
std::string ReadKernel(const std::string& strName);

// IL of one kernel: "kernel" name, its arguments' metadata lines and its body, written for the
// default device (64-bit addresses) with the kernel's function 1024.
std::string KernelSource(const std::string& strName, const std::string& strArguments,
                         const std::string& strBody, const std::string& strDeclarations = "");

// Runs the single test strTest of this executable in a child process with the given
// environment added; the child's exit status, or -1 when it couldn't run. With pStderr, what
// the child wrote to stderr.
int RunInChild(const std::string& strTest,
               const std::vector<std::pair<std::string, std::string>>& vEnvironment,
               std::string* pStderr = nullptr);
// True inside such a child.
bool IsChild();

// Registers a test that only a child process runs: it isn't listed, so that ctest doesn't show
// it as skipped in every run. Its name is "Child.Name".
bool RegisterChildTest(const char* pName, void (*pfnBody)());
#define XAN_CHILD_TEST(Name)                                                                       \
    void Name##ChildBody();                                                                        \
    const bool g_b##Name##Registered = XAN_Test::RegisterChildTest(#Name, Name##ChildBody);        \
    void Name##ChildBody()

// A context and an in-order queue on the default GPU, and helpers to build and run kernels.
class CLFixture : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    // Builds IL source; null with the log on failure.
    cl_program Build(const std::string& strSource, const char* pOptions = nullptr,
                     std::string* pLog = nullptr);
    cl_kernel MakeKernel(const std::string& strSource, const std::string& strName);
    cl_mem MakeBuffer(size_t nSize, const void* pData = nullptr,
                      cl_mem_flags nFlags = CL_MEM_READ_WRITE);
    std::vector<char> ProgramBinary(cl_program program);
    std::string BuildLog(cl_program program);
    template <class T> std::vector<T> Read(cl_mem buffer, size_t nCount)
    {
        std::vector<T> vValues(nCount);
        EXPECT_EQ(CL_SUCCESS, clEnqueueReadBuffer(m_Queue, buffer, CL_TRUE, 0, nCount * sizeof(T),
                                                  vValues.data(), 0, nullptr, nullptr));
        return vValues;
    }

    cl_platform_id m_Platform = nullptr;
    cl_device_id m_Device = nullptr;
    cl_context m_Context = nullptr;
    cl_command_queue m_Queue = nullptr;
    std::vector<cl_program> m_vPrograms;
    std::vector<cl_kernel> m_vKernels;
    std::vector<cl_mem> m_vBuffers;
};
} // namespace XAN_Test

#endif
