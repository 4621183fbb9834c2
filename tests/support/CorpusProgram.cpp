#include "support/CorpusProgram.h"

#include <cstring>

namespace XAN_Test
{
CNordvaneDevice::CNordvaneDevice() : m_Device(nullptr), m_Context(nullptr), m_Queue(nullptr)
{
    cl_uint nPlatforms = 0;
    if (clGetPlatformIDs(0, nullptr, &nPlatforms) != CL_SUCCESS || nPlatforms == 0)
    {
        return;
    }
    std::vector<cl_platform_id> vPlatforms(nPlatforms);
    clGetPlatformIDs(nPlatforms, vPlatforms.data(), nullptr);
    for (cl_platform_id platform : vPlatforms)
    {
        char vendor[256] = {};
        clGetPlatformInfo(platform, CL_PLATFORM_VENDOR, sizeof(vendor) - 1, vendor, nullptr);
        if (std::strcmp(vendor, "Nordvane Microsystems") == 0 &&
            clGetDeviceIDs(platform, CL_DEVICE_TYPE_GPU, 1, &m_Device, nullptr) == CL_SUCCESS)
        {
            break;
        }
        m_Device = nullptr;
    }
    if (m_Device == nullptr)
    {
        return;
    }
    cl_int nError = CL_SUCCESS;
    m_Context = clCreateContext(nullptr, 1, &m_Device, nullptr, nullptr, &nError);
    if (m_Context != nullptr)
    {
        m_Queue = clCreateCommandQueue(m_Context, m_Device, 0, &nError);
    }
}

CNordvaneDevice::~CNordvaneDevice()
{
    if (m_Queue != nullptr)
    {
        clReleaseCommandQueue(m_Queue);
    }
    if (m_Context != nullptr)
    {
        clReleaseContext(m_Context);
    }
}

std::string CNordvaneDevice::GetName() const
{
    char name[256] = {};
    if (m_Device != nullptr)
    {
        clGetDeviceInfo(m_Device, CL_DEVICE_NAME, sizeof(name) - 1, name, nullptr);
    }
    return name;
}

cl_program CNordvaneDevice::Build(const std::string& strSource, const char* pOptions,
                                  std::string& strLog) const
{
    const char* pSource = strSource.c_str();
    const size_t nLength = strSource.size();
    cl_int nError = CL_SUCCESS;
    return Finish(clCreateProgramWithSource(m_Context, 1, &pSource, &nLength, &nError), pOptions,
                  strLog);
}

cl_program CNordvaneDevice::Build(const std::vector<char>& vBinary, const char* pOptions,
                                  std::string& strLog) const
{
    const unsigned char* pBinary = reinterpret_cast<const unsigned char*>(vBinary.data());
    const size_t nSize = vBinary.size();
    cl_int nStatus = CL_SUCCESS;
    cl_int nError = CL_SUCCESS;
    return Finish(
        clCreateProgramWithBinary(m_Context, 1, &m_Device, &nSize, &pBinary, &nStatus, &nError),
        pOptions, strLog);
}

cl_program CNordvaneDevice::Finish(cl_program program, const char* pOptions,
                                   std::string& strLog) const
{
    if (program == nullptr)
    {
        strLog = "the program could not be created";
        return nullptr;
    }
    if (clBuildProgram(program, 1, &m_Device, pOptions, nullptr, nullptr) == CL_SUCCESS)
    {
        return program;
    }
    size_t nSize = 0;
    clGetProgramBuildInfo(program, m_Device, CL_PROGRAM_BUILD_LOG, 0, nullptr, &nSize);
    std::vector<char> vLog(nSize + 1);
    clGetProgramBuildInfo(program, m_Device, CL_PROGRAM_BUILD_LOG, nSize, vLog.data(), nullptr);
    strLog = vLog.data();
    clReleaseProgram(program);
    return nullptr;
}

std::vector<char> CNordvaneDevice::GetBinary(cl_program program) const
{
    size_t nSize = 0;
    if (clGetProgramInfo(program, CL_PROGRAM_BINARY_SIZES, sizeof(nSize), &nSize, nullptr) !=
        CL_SUCCESS)
    {
        return std::vector<char>();
    }
    std::vector<char> vBinary(nSize);
    unsigned char* pBinary = reinterpret_cast<unsigned char*>(vBinary.data());
    if (clGetProgramInfo(program, CL_PROGRAM_BINARIES, sizeof(pBinary), &pBinary, nullptr) !=
        CL_SUCCESS)
    {
        return std::vector<char>();
    }
    return vBinary;
}
} // namespace XAN_Test
