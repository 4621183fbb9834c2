// Writes the seed corpus of the program binary fuzz target: the -g binary of each IL file
// named on the command line, built by the platform, as <corpus>/<device name>_<file name>.bin. A
// kernel written for another GPU family than the device's doesn't build and is left out; it fails
// when no kernel built.
#include <CL/cl.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace
{
// The binary of the IL text built with -g, or an empty one.
std::vector<unsigned char> BuildBinary(cl_context context, cl_device_id device,
                                       const std::string& strSource)
{
    const char* pSource = strSource.c_str();
    cl_int nError = CL_SUCCESS;
    cl_program program = clCreateProgramWithSource(context, 1, &pSource, nullptr, &nError);
    std::vector<unsigned char> vBinary;
    if (nError == CL_SUCCESS &&
        clBuildProgram(program, 1, &device, "-g", nullptr, nullptr) == CL_SUCCESS)
    {
        size_t nSize = 0;
        clGetProgramInfo(program, CL_PROGRAM_BINARY_SIZES, sizeof(nSize), &nSize, nullptr);
        vBinary.resize(nSize);
        unsigned char* pBinary = vBinary.data();
        clGetProgramInfo(program, CL_PROGRAM_BINARIES, sizeof(pBinary), &pBinary, nullptr);
    }
    if (program != nullptr)
    {
        clReleaseProgram(program);
    }
    return vBinary;
}
} // namespace

int main(int nArgs, char** ppArgs)
{
    if (nArgs < 3)
    {
        std::fprintf(stderr, "usage: %s <corpus folder> <IL file>...\n", ppArgs[0]);
        return 2;
    }
    cl_platform_id platform = nullptr;
    cl_device_id device = nullptr;
    cl_int nError = CL_SUCCESS;
    if (clGetPlatformIDs(1, &platform, nullptr) != CL_SUCCESS ||
        clGetDeviceIDs(platform, CL_DEVICE_TYPE_GPU, 1, &device, nullptr) != CL_SUCCESS)
    {
        std::fprintf(stderr, "no OpenCL GPU device\n");
        return 1;
    }
    char vDeviceName[64] = {};
    clGetDeviceInfo(device, CL_DEVICE_NAME, sizeof(vDeviceName) - 1, vDeviceName, nullptr);
    cl_context context = clCreateContext(nullptr, 1, &device, nullptr, nullptr, &nError);
    int nWritten = 0;
    for (int i = 2; i < nArgs && nError == CL_SUCCESS; ++i)
    {
        const std::string strPath = ppArgs[i];
        std::ifstream file(strPath);
        std::ostringstream text;
        text << file.rdbuf();
        const std::vector<unsigned char> vBinary = BuildBinary(context, device, text.str());
        if (vBinary.empty())
        {
            std::fprintf(stderr, "%s: doesn't build for this device, left out\n", strPath.c_str());
            continue;
        }
        const std::string strOutput = std::string(ppArgs[1]) + "/" + vDeviceName + "_" +
                                      strPath.substr(strPath.find_last_of('/') + 1) + ".bin";
        std::ofstream output(strOutput, std::ios::binary | std::ios::trunc);
        output.write(reinterpret_cast<const char*>(vBinary.data()),
                     static_cast<std::streamsize>(vBinary.size()));
        if (!output)
        {
            std::fprintf(stderr, "%s: can't be written\n", strOutput.c_str());
            nError = CL_OUT_OF_RESOURCES;
        }
        ++nWritten;
    }
    if (context != nullptr)
    {
        clReleaseContext(context);
    }
    return nError == CL_SUCCESS && nWritten > 0 ? 0 : 1;
}
