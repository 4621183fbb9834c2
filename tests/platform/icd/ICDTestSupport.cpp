#include "ICDTestSupport.h"

#include "support/TestSupport.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

extern char** environ;

namespace XAN_Test
{
namespace
{
const char* const CHILD_MARKER = "XAN_ICD_TEST_CHILD";
const char* const CHILD_STDERR = "child-stderr.txt";
} // namespace

cl_platform_id PoclPlatform()
{
    cl_uint nCount = 0;
    clGetPlatformIDs(0, nullptr, &nCount);
    std::vector<cl_platform_id> vPlatforms(nCount);
    clGetPlatformIDs(nCount, vPlatforms.data(), nullptr);
    for (cl_platform_id platform : vPlatforms)
    {
        if (PlatformString(platform, CL_PLATFORM_NAME).find("Portable Computing Language") !=
            std::string::npos)
        {
            return platform;
        }
    }
    return nullptr;
}

cl_platform_id NordvanePlatform()
{
    cl_uint nCount = 0;
    if (clGetPlatformIDs(0, nullptr, &nCount) != CL_SUCCESS || nCount == 0)
    {
        return nullptr;
    }
    std::vector<cl_platform_id> vPlatforms(nCount);
    clGetPlatformIDs(nCount, vPlatforms.data(), nullptr);
    for (cl_platform_id platform : vPlatforms)
    {
        if (PlatformString(platform, CL_PLATFORM_VENDOR) == "Nordvane Microsystems")
        {
            return platform;
        }
    }
    return nullptr;
}

cl_device_id FirstDevice(cl_platform_id platform, cl_device_type nType)
{
    cl_device_id device = nullptr;
    return clGetDeviceIDs(platform, nType, 1, &device, nullptr) == CL_SUCCESS ? device : nullptr;
}

std::string ReadKernel(const std::string& strName)
{
    return ReadFile(std::string(XAN_EXAMPLE_KERNELS_DIR) + "/" + strName);
}

std::string KernelSource(const std::string& strName, const std::string& strArguments,
                         const std::string& strBody, const std::string& strDeclarations)
{
    const std::string strFunction = "__OpenCL_" + strName + "_kernel";
    return "il_cs_2_0\n"
           "dcl_cb cb0[16]\n"
           "call 1024\n"
           "endmain\n"
           "func 1024\n"
           ";ARGSTART:" +
           strFunction +
           "\n"
           ";version:3:1:111\n"
           ";uniqueid:1024\n"
           ";memory:uavprivate:0\n"
           ";memory:hwlocal:0\n"
           ";memory:64bitABI\n" +
           strArguments + ";ARGEND:" + strFunction +
           "\n"
           "dcl_cb cb1[8]\n"
           "dcl_typeless_uav_id(11)_type(0)_stride(4)_length(4)\n" +
           strDeclarations + strBody +
           "ret\n"
           "endfunc\n"
           "end\n";
}

int RunCommand(const std::string& strCommand, std::string& strOutput)
{
    // A sanitized platform needs the sanitizer's runtime in the program; leaks of the program
    // itself are not the platform's.
#ifdef XAN_SANITIZER_RUNTIME
    const std::string strRun = std::string("LD_PRELOAD=") + XAN_SANITIZER_RUNTIME +
                               " ASAN_OPTIONS=detect_leaks=0 " + strCommand + " 2>&1";
#else
    const std::string strRun = strCommand + " 2>&1";
#endif
    strOutput.clear();
    FILE* pPipe = popen(strRun.c_str(), "r");
    if (pPipe == nullptr)
    {
        return -1;
    }
    char vBuffer[4096];
    size_t nRead = 0;
    while ((nRead = fread(vBuffer, 1, sizeof(vBuffer), pPipe)) != 0)
    {
        strOutput.append(vBuffer, nRead);
    }
    const int nStatus = pclose(pPipe);
    return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
}

bool IsChild()
{
    return std::getenv(CHILD_MARKER) != nullptr;
}

int RunInChild(const std::string& strTest,
               const std::vector<std::pair<std::string, std::string>>& vEnvironment,
               std::string* pStderr)
{
    std::vector<std::string> vStrings;
    for (char** pp = environ; *pp != nullptr; ++pp)
    {
        vStrings.push_back(*pp);
    }
    vStrings.push_back(std::string(CHILD_MARKER) + "=1");
    for (const auto& entry : vEnvironment)
    {
        vStrings.push_back(entry.first + "=" + entry.second);
    }
    std::vector<char*> vEnv;
    for (std::string& str : vStrings)
    {
        vEnv.push_back(&str[0]);
    }
    vEnv.push_back(nullptr);
    std::string strExecutable = "/proc/self/exe";
    std::string strFilter = "--gtest_filter=" + strTest;
    char* vArgs[] = {&strExecutable[0], &strFilter[0], nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (pStderr != nullptr)
    {
        posix_spawn_file_actions_addopen(&actions, 2, CHILD_STDERR, O_WRONLY | O_CREAT | O_TRUNC,
                                         0644);
    }
    pid_t pid = 0;
    const int nSpawn =
        posix_spawn(&pid, strExecutable.c_str(), &actions, nullptr, vArgs, vEnv.data());
    posix_spawn_file_actions_destroy(&actions);
    int nStatus = 0;
    if (nSpawn != 0 || waitpid(pid, &nStatus, 0) != pid || !WIFEXITED(nStatus))
    {
        return -1;
    }
    if (pStderr != nullptr)
    {
        *pStderr = ReadFile(CHILD_STDERR);
    }
    return WEXITSTATUS(nStatus);
}

void CLFixture::SetUp()
{
    m_Platform = NordvanePlatform();
    ASSERT_NE(nullptr, m_Platform) << "OCL_ICD_VENDORS must name the build's icd folder";
    m_Device = FirstDevice(m_Platform);
    ASSERT_NE(nullptr, m_Device);
    m_Context = Made(clCreateContext, nullptr, 1, &m_Device, nullptr, nullptr);
    ASSERT_NE(nullptr, m_Context);
    m_Queue = Made(clCreateCommandQueue, m_Context, m_Device, 0);
    ASSERT_NE(nullptr, m_Queue);
}

void CLFixture::TearDown()
{
    if (m_Queue != nullptr)
    {
        EXPECT_EQ(CL_SUCCESS, clFinish(m_Queue));
        clReleaseCommandQueue(m_Queue);
    }
    for (cl_command_queue queue : m_vQueues)
    {
        clReleaseCommandQueue(queue);
    }
    for (cl_event event : m_vEvents)
    {
        if (event != nullptr)
        {
            clReleaseEvent(event);
        }
    }
    for (cl_kernel kernel : m_vKernels)
    {
        clReleaseKernel(kernel);
    }
    for (cl_program program : m_vPrograms)
    {
        clReleaseProgram(program);
    }
    for (cl_mem buffer : m_vBuffers)
    {
        clReleaseMemObject(buffer);
    }
    if (m_Context != nullptr)
    {
        clReleaseContext(m_Context);
    }
}

cl_program CLFixture::CreateProgram(const std::string& strSource)
{
    const char* pText = strSource.c_str();
    m_vPrograms.push_back(Made(clCreateProgramWithSource, m_Context, 1, &pText, nullptr));
    return m_vPrograms.back();
}

cl_program CLFixture::FromBinary(const std::vector<char>& vBinary)
{
    const size_t nSize = vBinary.size();
    const unsigned char* pBinary = reinterpret_cast<const unsigned char*>(vBinary.data());
    cl_int nStatus = 1;
    m_vPrograms.push_back(
        Made(clCreateProgramWithBinary, m_Context, 1, &m_Device, &nSize, &pBinary, &nStatus));
    EXPECT_EQ(CL_SUCCESS, nStatus);
    return m_vPrograms.back();
}

void CLFixture::ExpectBinaryRefused(const std::vector<char>& vBinary)
{
    const size_t nSize = vBinary.size();
    const unsigned char* pBinary = reinterpret_cast<const unsigned char*>(vBinary.data());
    cl_int nStatus = CL_SUCCESS;
    EXPECT_EQ(CL_INVALID_BINARY, ErrorOf(clCreateProgramWithBinary, m_Context, 1, &m_Device, &nSize,
                                         &pBinary, &nStatus));
    EXPECT_EQ(CL_INVALID_BINARY, nStatus);
}

cl_program CLFixture::Build(const std::string& strSource, const char* pOptions, std::string* pLog)
{
    cl_program program = CreateProgram(strSource);
    const cl_int nError = clBuildProgram(program, 1, &m_Device, pOptions, nullptr, nullptr);
    if (pLog != nullptr)
    {
        *pLog = BuildLog(program);
    }
    return nError == CL_SUCCESS ? program : nullptr;
}

cl_kernel CLFixture::MakeKernel(const std::string& strSource, const std::string& strName)
{
    std::string strLog;
    cl_program program = Build(strSource, nullptr, &strLog);
    EXPECT_NE(nullptr, program) << strLog;
    return program != nullptr ? CreateKernel(program, strName) : nullptr;
}

cl_kernel CLFixture::CreateKernel(cl_program program, const std::string& strName)
{
    m_vKernels.push_back(Made(clCreateKernel, program, strName.c_str()));
    return m_vKernels.back();
}

cl_mem CLFixture::MakeBuffer(size_t nSize, const void* pData, cl_mem_flags nFlags)
{
    m_vBuffers.push_back(Made(clCreateBuffer, m_Context,
                              nFlags | (pData != nullptr ? CL_MEM_COPY_HOST_PTR : 0), nSize,
                              const_cast<void*>(pData)));
    return m_vBuffers.back();
}

cl_int CLFixture::Launch(cl_kernel kernel, size_t nGlobal, size_t nLocal, cl_event* pEvent,
                         const std::vector<cl_event>& vWait)
{
    return clEnqueueNDRangeKernel(m_Queue, kernel, 1, nullptr, &nGlobal,
                                  nLocal != 0 ? &nLocal : nullptr, cl_uint(vWait.size()),
                                  vWait.empty() ? nullptr : vWait.data(), pEvent);
}

cl_command_queue CLFixture::MakeQueue(cl_command_queue_properties nProperties)
{
    m_vQueues.push_back(Made(clCreateCommandQueue, m_Context, m_Device, nProperties));
    return m_vQueues.back();
}

cl_event CLFixture::MakeUserEvent()
{
    return NewEvent() = Made(clCreateUserEvent, m_Context);
}

cl_event& CLFixture::NewEvent()
{
    m_vEvents.push_back(nullptr);
    return m_vEvents.back();
}

std::vector<char> CLFixture::ProgramBinary(cl_program program)
{
    std::vector<char> vBinary(Info<size_t>(clGetProgramInfo, program, CL_PROGRAM_BINARY_SIZES));
    unsigned char* pTarget = reinterpret_cast<unsigned char*>(vBinary.data());
    EXPECT_EQ(CL_SUCCESS,
              clGetProgramInfo(program, CL_PROGRAM_BINARIES, sizeof(pTarget), &pTarget, nullptr));
    return vBinary;
}
} // namespace XAN_Test
