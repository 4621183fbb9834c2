// Runs the same OpenCL C kernels on the engine and, where they are installed, on Oclgrind and
// PoCL, and prints work-items per second with the ratios against ours. Our platform compiles
// the source through the loader like the others; the engine then runs each kernel's IL from the
// binary directly. (The benchmark doesn't link the compiler: PoCL brings an LLVM of its own.)
//
// Usage: EngineBenchmark [--quick] [kernel names]
#include "CDeviceMemory.h"
#include "CElf.h"
#include "CElfSymbolTable.h"
#include "CILAssembler.h"
#include "CILEngine.h"
#include "CILProgram.h"

#include <CL/cl.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

using namespace XAN_Platform;

namespace
{
const char* const OPENCL_SOURCE = R"(
__kernel void vadd(__global const float* a, __global const float* b, __global float* c, int n)
{
    int i = get_global_id(0);
    if (i < n) c[i] = a[i] + b[i];
}
__kernel void saxpy(float a, __global const float* x, __global float* y, int n)
{
    int i = get_global_id(0);
    if (i < n) y[i] = a * x[i] + y[i];
}
__kernel void matmul(__global const float* a, __global const float* b, __global float* c, int n)
{
    int col = get_global_id(0), row = get_global_id(1);
    float sum = 0.0f;
    for (int k = 0; k < n; ++k) sum = a[row * n + k] * b[k * n + col] + sum;
    c[row * n + col] = sum;
}
__kernel void reduce(__global const uint* input, __global uint* sums, __local uint* scratch, int n)
{
    uint lid = get_local_id(0), gid = get_global_id(0);
    scratch[lid] = gid < (uint)n ? input[gid] : 0;
    barrier(CLK_LOCAL_MEM_FENCE);
    for (uint s = get_local_size(0) / 2; s > 0; s >>= 1)
    {
        if (lid < s) scratch[lid] += scratch[lid + s];
        barrier(CLK_LOCAL_MEM_FENCE);
    }
    if (lid == 0) sums[get_group_id(0)] = scratch[0];
}
__kernel void control(__global uint* out)
{
    uint i = get_global_id(0), acc = 0;
    for (uint j = 0; j < 8; ++j)
    {
        if (j == i % 5) continue;
        for (uint k = 0;; ++k)
        {
            if (k > j) break;
            switch ((i + j + k) % 4)
            {
            case 0: acc += 1;
            case 1: acc += 10; break;
            case 2: acc += 100; break;
            default: acc += 1000;
            }
        }
        if (acc > 5000 + i) break;
    }
    out[i] = acc;
}
)";

// One benchmark kernel: its range and its arguments, in kernel order.
struct SArgument
{
    enum EKind
    {
        AK_Buffer,
        AK_Value,
        AK_Local,
    } eKind;
    size_t nBytes; // buffer or local size; value size
    uint64_t nValue;
};

struct SKernel
{
    const char* pName;
    uint32_t nWorkDim;
    size_t vGlobal[2];
    size_t vLocal[2];
    std::vector<SArgument> vArguments;
};

std::vector<SKernel> Kernels(bool bQuick)
{
    const size_t nLarge = bQuick ? (1u << 16) : (1u << 21);
    const size_t nMatrix = bQuick ? 64 : 128;
    const size_t nBranchy = bQuick ? (1u << 13) : (1u << 17);
    auto buffer = [](size_t nBytes) { return SArgument{SArgument::AK_Buffer, nBytes, 0}; };
    auto value = [](uint64_t nValue) { return SArgument{SArgument::AK_Value, 4, nValue}; };
    const uint64_t nFloat2_5 = 0x40200000; // 2.5f
    return {
        {"vadd",
         1,
         {nLarge, 1},
         {256, 1},
         {buffer(4 * nLarge), buffer(4 * nLarge), buffer(4 * nLarge), value(nLarge)}},
        {"saxpy",
         1,
         {nLarge, 1},
         {256, 1},
         {value(nFloat2_5), buffer(4 * nLarge), buffer(4 * nLarge), value(nLarge)}},
        {"matmul",
         2,
         {nMatrix, nMatrix},
         {16, 16},
         {buffer(4 * nMatrix * nMatrix), buffer(4 * nMatrix * nMatrix),
          buffer(4 * nMatrix * nMatrix), value(nMatrix)}},
        {"reduce",
         1,
         {nLarge, 1},
         {256, 1},
         {buffer(4 * nLarge), buffer(4 * nLarge / 256), SArgument{SArgument::AK_Local, 4 * 256, 0},
          value(nLarge)}},
        {"control", 1, {nBranchy, 1}, {64, 1}, {buffer(4 * nBranchy)}},
    };
}

size_t WorkItems(const SKernel& kernel)
{
    return kernel.vGlobal[0] * (kernel.nWorkDim > 1 ? kernel.vGlobal[1] : 1);
}

// Repeats fnRun until half a second has passed; work-items per second.
double Measure(const SKernel& kernel, const std::function<bool()>& fnRun)
{
    if (!fnRun())
    {
        return 0.0;
    }
    const auto start = std::chrono::steady_clock::now();
    size_t nRuns = 0;
    double fSeconds = 0.0;
    do
    {
        if (!fnRun())
        {
            return 0.0;
        }
        ++nRuns;
        fSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    } while (fSeconds < 0.5);
    return double(WorkItems(kernel)) * double(nRuns) / fSeconds;
}

// A kernel's IL in our platform's binary: the text of its symbol in ".xanil".
bool KernelIL(const std::vector<char>& vBinary, const std::string& strKernel, std::string& strIL)
{
    XAN_ElfUtils::CElf elf(vBinary);
    XAN_ElfUtils::CElfSymbolTable* pSymbols = elf.IsInitialized() ? elf.GetSymbolTable() : nullptr;
    if (pSymbols == nullptr)
    {
        return false;
    }
    auto it = pSymbols->find("__OpenCL_" + strKernel + "_xanil");
    if (it == pSymbols->end() || it->section == nullptr)
    {
        return false;
    }
    const std::vector<char>& vData = it->section->GetData();
    strIL.assign(vData.begin() + long(it->st_value),
                 vData.begin() + long(it->st_value + it->st_size));
    return true;
}

double MeasureEngine(const SKernel& kernel, const std::vector<char>& vBinary)
{
    std::string strIL;
    if (!KernelIL(vBinary, kernel.pName, strIL))
    {
        std::fprintf(stderr, "%s: our binary has no IL for it\n", kernel.pName);
        return 0.0;
    }
    CILAssembler assembler;
    std::vector<unsigned int> vTokens;
    std::string strError;
    if (!assembler.Assemble(strIL, vTokens))
    {
        std::fprintf(stderr, "%s: %s\n", kernel.pName, assembler.GetError().ToString().c_str());
        return 0.0;
    }
    std::unique_ptr<CILProgram> pProgram =
        CILProgram::Load(vTokens.data(), vTokens.size(), strError);
    if (!pProgram)
    {
        std::fprintf(stderr, "%s: %s\n", kernel.pName, strError.c_str());
        return 0.0;
    }
    CDeviceMemory memory(true);
    std::vector<std::shared_ptr<CDeviceBuffer>> vBuffers;
    SLaunchDesc desc;
    desc.nWorkDim = kernel.nWorkDim;
    for (uint32_t d = 0; d < kernel.nWorkDim; ++d)
    {
        desc.vGlobalSize[d] = kernel.vGlobal[d];
        desc.vLocalSize[d] = kernel.vLocal[d];
    }
    for (const SArgument& argument : kernel.vArguments)
    {
        uint32_t vRow[4] = {0, 0, 0, 0};
        if (argument.eKind == SArgument::AK_Buffer)
        {
            vBuffers.push_back(memory.Allocate(argument.nBytes));
            vRow[0] = uint32_t(vBuffers.back()->GetAddress());
            vRow[1] = uint32_t(vBuffers.back()->GetAddress() >> 32);
        }
        else if (argument.eKind == SArgument::AK_Local)
        {
            desc.nLocalMemoryBytes += uint32_t(argument.nBytes);
        }
        else
        {
            vRow[0] = uint32_t(argument.nValue);
        }
        desc.vConstantBuffer1.insert(desc.vConstantBuffer1.end(), vRow, vRow + 4);
    }
    return Measure(kernel,
                   [&]
                   {
                       const SLaunchResult result = CILEngine::Launch(*pProgram, memory, desc);
                       if (result.eStatus != LS_Success)
                       {
                           std::fprintf(stderr, "%s: %s\n", kernel.pName,
                                        result.strMessage.c_str());
                       }
                       return result.eStatus == LS_Success;
                   });
}

// The first OpenCL platform whose name contains strName, with one device.
struct SOpenCL
{
    cl_context context = nullptr;
    cl_command_queue queue = nullptr;
    cl_program program = nullptr;
    cl_device_id device = nullptr;

    ~SOpenCL()
    {
        if (program != nullptr)
        {
            clReleaseProgram(program);
        }
        if (queue != nullptr)
        {
            clReleaseCommandQueue(queue);
        }
        if (context != nullptr)
        {
            clReleaseContext(context);
        }
    }

    bool Open(const std::string& strName)
    {
        cl_uint nPlatforms = 0;
        if (clGetPlatformIDs(0, nullptr, &nPlatforms) != CL_SUCCESS || nPlatforms == 0)
        {
            return false;
        }
        std::vector<cl_platform_id> vPlatforms(nPlatforms);
        clGetPlatformIDs(nPlatforms, vPlatforms.data(), nullptr);
        for (cl_platform_id platform : vPlatforms)
        {
            char pName[256] = {0};
            clGetPlatformInfo(platform, CL_PLATFORM_NAME, sizeof(pName) - 1, pName, nullptr);
            if (std::strstr(pName, strName.c_str()) == nullptr ||
                clGetDeviceIDs(platform, CL_DEVICE_TYPE_ALL, 1, &device, nullptr) != CL_SUCCESS)
            {
                continue;
            }
            cl_int nError = CL_SUCCESS;
            context = clCreateContext(nullptr, 1, &device, nullptr, nullptr, &nError);
            queue =
                context != nullptr ? clCreateCommandQueue(context, device, 0, &nError) : nullptr;
            const char* pSource = OPENCL_SOURCE;
            program = queue != nullptr
                          ? clCreateProgramWithSource(context, 1, &pSource, nullptr, &nError)
                          : nullptr;
            return program != nullptr &&
                   clBuildProgram(program, 1, &device, "", nullptr, nullptr) == CL_SUCCESS;
        }
        return false;
    }
};

double MeasureOpenCL(SOpenCL& cl, const SKernel& kernel)
{
    cl_int nError = CL_SUCCESS;
    cl_kernel clKernel = clCreateKernel(cl.program, kernel.pName, &nError);
    if (clKernel == nullptr)
    {
        return 0.0;
    }
    std::vector<cl_mem> vBuffers;
    cl_uint nIndex = 0;
    for (const SArgument& argument : kernel.vArguments)
    {
        if (argument.eKind == SArgument::AK_Buffer)
        {
            vBuffers.push_back(
                clCreateBuffer(cl.context, CL_MEM_READ_WRITE, argument.nBytes, nullptr, &nError));
            std::vector<uint8_t> vZero(argument.nBytes, 0);
            clEnqueueWriteBuffer(cl.queue, vBuffers.back(), CL_TRUE, 0, argument.nBytes,
                                 vZero.data(), 0, nullptr, nullptr);
            clSetKernelArg(clKernel, nIndex++, sizeof(cl_mem), &vBuffers.back());
        }
        else if (argument.eKind == SArgument::AK_Local)
        {
            clSetKernelArg(clKernel, nIndex++, argument.nBytes, nullptr);
        }
        else
        {
            const uint32_t nValue = uint32_t(argument.nValue);
            clSetKernelArg(clKernel, nIndex++, sizeof(nValue), &nValue);
        }
    }
    const double fRate =
        Measure(kernel,
                [&]
                {
                    return clEnqueueNDRangeKernel(cl.queue, clKernel, kernel.nWorkDim, nullptr,
                                                  kernel.vGlobal, kernel.vLocal, 0, nullptr,
                                                  nullptr) == CL_SUCCESS &&
                           clFinish(cl.queue) == CL_SUCCESS;
                });
    for (cl_mem buffer : vBuffers)
    {
        clReleaseMemObject(buffer);
    }
    clReleaseKernel(clKernel);
    return fRate;
}

std::string Rate(double fRate)
{
    char pText[32];
    if (fRate <= 0.0)
    {
        return "-";
    }
    std::snprintf(pText, sizeof(pText), "%.3g", fRate);
    return pText;
}

std::string Ratio(double fA, double fB)
{
    char pText[32];
    if (fA <= 0.0 || fB <= 0.0)
    {
        return "-";
    }
    std::snprintf(pText, sizeof(pText), "%.2fx", fA / fB);
    return pText;
}
} // namespace

int main(int argc, char** argv)
{
    SOpenCL ours;
    std::vector<char> vBinary;
    size_t nSize = 0;
    if (!ours.Open("Nordvane") || clGetProgramInfo(ours.program, CL_PROGRAM_BINARY_SIZES,
                                                   sizeof(nSize), &nSize, nullptr) != CL_SUCCESS)
    {
        std::fprintf(stderr, "our platform isn't listed by the loader, or doesn't build the "
                             "kernels\n");
        return 1;
    }
    vBinary.resize(nSize);
    unsigned char* pBinary = reinterpret_cast<unsigned char*>(vBinary.data());
    clGetProgramInfo(ours.program, CL_PROGRAM_BINARIES, sizeof(pBinary), &pBinary, nullptr);
    bool bQuick = false;
    std::vector<std::string> vOnly;
    for (int i = 1; i < argc; ++i)
    {
        if (std::strcmp(argv[i], "--quick") == 0)
        {
            bQuick = true;
        }
        else
        {
            vOnly.push_back(argv[i]);
        }
    }
    SOpenCL oclgrind;
    SOpenCL pocl;
    const bool bOclgrind = oclgrind.Open("Oclgrind");
    const bool bPocl = pocl.Open("Portable Computing Language");
    if (!bOclgrind || !bPocl)
    {
        std::printf("not available:%s%s\n", bOclgrind ? "" : " Oclgrind", bPocl ? "" : " PoCL");
    }
    std::printf("%-8s %12s %12s %12s %12s %12s\n", "kernel", "ours WI/s", "Oclgrind", "PoCL",
                "ours/Oclg.", "PoCL/ours");
    for (const SKernel& kernel : Kernels(bQuick))
    {
        if (!vOnly.empty() && std::find(vOnly.begin(), vOnly.end(), kernel.pName) == vOnly.end())
        {
            continue;
        }
        // The best of three alternating rounds, so that a busy machine hurts each
        // side alike; Oclgrind is slow enough for one.
        double fOurs = 0.0;
        double fPocl = 0.0;
        const double fOclgrind = bOclgrind ? MeasureOpenCL(oclgrind, kernel) : 0.0;
        for (int nRound = 0; nRound < 3; ++nRound)
        {
            fOurs = std::max(fOurs, MeasureEngine(kernel, vBinary));
            fPocl = std::max(fPocl, bPocl ? MeasureOpenCL(pocl, kernel) : 0.0);
        }
        std::printf("%-8s %12s %12s %12s %12s %12s\n", kernel.pName, Rate(fOurs).c_str(),
                    Rate(fOclgrind).c_str(), Rate(fPocl).c_str(), Ratio(fOurs, fOclgrind).c_str(),
                    Ratio(fPocl, fOurs).c_str());
        std::fflush(stdout);
    }
    return 0;
}
