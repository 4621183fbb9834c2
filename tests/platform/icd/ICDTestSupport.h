#ifndef XAN_TEST_ICDTESTSUPPORT_H
#define XAN_TEST_ICDTESTSUPPORT_H

#include "cl_xan_ext.h"

#include <CL/cl.h>

#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <utility>
#include <vector>

namespace XAN_Test
{
// The Nordvane platform as the ICD loader lists it, or null.
cl_platform_id NordvanePlatform();
// PoCL, when the loader lists it.
cl_platform_id PoclPlatform();
cl_device_id FirstDevice(cl_platform_id platform, cl_device_type nType = CL_DEVICE_TYPE_GPU);

// A query's value of type T: pfnGet(args..., sizeof(T), &value, nullptr), which must succeed.
template <class T, class F, class... A> T Info(F pfnGet, A... args)
{
    T value{};
    EXPECT_EQ(CL_SUCCESS, pfnGet(args..., sizeof(T), &value, nullptr));
    return value;
}

// A string query's value without its terminator, or "" when the query fails.
template <class F, class... A> std::string InfoString(F pfnGet, A... args)
{
    size_t nSize = 0;
    if (pfnGet(args..., 0, nullptr, &nSize) != CL_SUCCESS || nSize == 0)
    {
        return std::string();
    }
    std::string str(nSize, '\0');
    pfnGet(args..., nSize, &str[0], nullptr);
    str.resize(nSize - 1);
    return str;
}

inline std::string DeviceString(cl_device_id device, cl_device_info nParam)
{
    return InfoString(clGetDeviceInfo, device, nParam);
}

inline std::string PlatformString(cl_platform_id platform, cl_platform_info nParam)
{
    return InfoString(clGetPlatformInfo, platform, nParam);
}

// The status that a refused call making an object gives through its last argument; it makes
// nothing.
template <class F, class... A> cl_int ErrorOf(F pfnMake, A... args)
{
    cl_int nError = CL_SUCCESS;
    EXPECT_EQ(nullptr, pfnMake(args..., &nError));
    return nError;
}

// The object that a call making one returns through a call that must succeed.
template <class F, class... A> auto Made(F pfnMake, A... args)
{
    cl_int nError = CL_SUCCESS;
    const auto object = pfnMake(args..., &nError);
    EXPECT_EQ(CL_SUCCESS, nError);
    return object;
}

// The execution status of an event's command.
inline cl_int StatusOf(cl_event event)
{
    return Info<cl_int>(clGetEventInfo, event, cl_event_info(CL_EVENT_COMMAND_EXECUTION_STATUS));
}

// The functions of cl_xan_object_metadata, found through the loader.
struct SKeyFunctions
{
    clCreateKeyXAN_fn pfnCreate =
        reinterpret_cast<clCreateKeyXAN_fn>(clGetExtensionFunctionAddress("clCreateKeyXAN"));
    clObjectGetValueForKeyXAN_fn pfnGet = reinterpret_cast<clObjectGetValueForKeyXAN_fn>(
        clGetExtensionFunctionAddress("clObjectGetValueForKeyXAN"));
    clObjectSetValueForKeyXAN_fn pfnSet = reinterpret_cast<clObjectSetValueForKeyXAN_fn>(
        clGetExtensionFunctionAddress("clObjectSetValueForKeyXAN"));
    bool IsComplete() const { return pfnCreate && pfnGet && pfnSet; }
};

// An example kernel of examples/kernels.
std::string ReadKernel(const std::string& strName);

// IL of one kernel: "kernel" name, its arguments' metadata lines and its body, written for the
// default device (64-bit addresses) with the kernel's function 1024.
std::string KernelSource(const std::string& strName, const std::string& strArguments,
                         const std::string& strBody, const std::string& strDeclarations = "");

// Runs a shell command of the system, which loads the platform; its exit status, or -1 when it
// didn't end normally, and what it wrote to stdout and stderr.
int RunCommand(const std::string& strCommand, std::string& strOutput);

// Runs the single test strTest of this executable in a child process with the given
// environment added; the child's exit status, or -1 when it couldn't run. With pStderr, what
// the child wrote to stderr.
int RunInChild(const std::string& strTest,
               const std::vector<std::pair<std::string, std::string>>& vEnvironment,
               std::string* pStderr = nullptr);
// True inside such a child.
bool IsChild();

// A context and an in-order queue on the default GPU, and helpers to build and run kernels.
class CLFixture : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    // A program of the context from source or from a binary, which must be accepted.
    cl_program CreateProgram(const std::string& strSource);
    cl_program FromBinary(const std::vector<char>& vBinary);
    // A binary that the platform refuses as no kernel binary.
    void ExpectBinaryRefused(const std::vector<char>& vBinary);
    // Builds IL source; null with the log on failure.
    cl_program Build(const std::string& strSource, const char* pOptions = nullptr,
                     std::string* pLog = nullptr);
    cl_kernel MakeKernel(const std::string& strSource, const std::string& strName);
    cl_kernel CreateKernel(cl_program program, const std::string& strName);
    cl_mem MakeBuffer(size_t nSize, const void* pData = nullptr,
                      cl_mem_flags nFlags = CL_MEM_READ_WRITE);
    // Enqueues a kernel on m_Queue over nGlobal work-items of one dimension in groups of nLocal
    // (0: the platform's choice), behind the events of vWait.
    cl_int Launch(cl_kernel kernel, size_t nGlobal, size_t nLocal = 0, cl_event* pEvent = nullptr,
                  const std::vector<cl_event>& vWait = {});
    // A queue of the context and events that the fixture releases: a user event, or the slot of
    // an event that a command returns.
    cl_command_queue MakeQueue(cl_command_queue_properties nProperties = 0);
    cl_event MakeUserEvent();
    cl_event& NewEvent();
    std::vector<char> ProgramBinary(cl_program program);
    std::string BuildLog(cl_program program)
    {
        return InfoString(clGetProgramBuildInfo, program, m_Device, CL_PROGRAM_BUILD_LOG);
    }
    // Sets a kernel's arguments in order, each from a value of its own type.
    template <class... T> void SetArgs(cl_kernel kernel, const T&... args)
    {
        cl_uint nIndex = 0;
        const auto set = [&](size_t nSize, const void* pValue)
        {
            EXPECT_EQ(CL_SUCCESS, clSetKernelArg(kernel, nIndex, nSize, pValue)) << nIndex;
            ++nIndex;
        };
        (set(sizeof(T), &args), ...);
    }
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
    std::vector<cl_command_queue> m_vQueues;
    std::deque<cl_event> m_vEvents;
};

// Registers a test on a CLFixture that only a child process runs: it isn't listed, so that ctest
// doesn't show it as skipped in every run. Its name is "Child.Name".
template <class T> bool RegisterChildTest(const char* pName)
{
    if (IsChild())
    {
        ::testing::RegisterTest("Child", pName, nullptr, nullptr, __FILE__, __LINE__,
                                []() -> CLFixture* { return new T; });
    }
    return true;
}
#define XAN_CHILD_TEST(Name)                                                                       \
    class Name##Child : public XAN_Test::CLFixture                                                 \
    {                                                                                              \
        void TestBody() override;                                                                  \
    };                                                                                             \
    const bool g_b##Name##Registered = XAN_Test::RegisterChildTest<Name##Child>(#Name);            \
    void Name##Child::TestBody()
} // namespace XAN_Test

#endif
