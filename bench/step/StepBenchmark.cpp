// What a debug run costs per instruction passed: the patched kernels built and the kernel
// executions, walking each corpus kernel to its end once by Step and once by Continue, on the
// scripted device of the tests: all work-items are active until every loop leaves in its fourth
// iteration. The debug walk's time is
// given as a ratio to one native launch of the same kernel when a device can launch it natively:
// the platform's OpenCL back-end plugs in through NativeLaunch below.
//
// Usage: StepBenchmark [kernel names]

#include "support/CorpusKernels.h"
#include "support/ScriptedHost.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

namespace
{
using XAN_Test::CScriptedKernel;

const uint32_t LOOP_ITERATIONS = 3;

// Seconds of one native launch of a kernel; negative where the device can't launch natively.
typedef std::function<double(const std::string& strKernel)> NativeLaunch;

struct Cost
{
    size_t nInstructions = 0;
    size_t nBuilds = 0;
    size_t nExecutions = 0;
    double dSeconds = 0.0;
};

size_t CountBuilds(const XAN_Test::CScriptedHost& host)
{
    size_t nBuilds = 0;
    for (const std::string& strLine : host.m_vLines)
    {
        nBuilds += strLine.find("Patching shader to") != std::string::npos ? 1 : 0;
    }
    return nBuilds;
}

// Walks a kernel to its end with one command; the start and its dump kernel don't count.
Cost Walk(const std::string& strKernel, const std::vector<char>& vBinary, bool bStep)
{
    const size_t nLimit = 10000;
    Cost cost;
    CScriptedKernel kernel(strKernel, vBinary);
    const uint32_t nItems = kernel.m_Host.GetWorkItemCount();
    kernel.m_Host.m_Active = [nItems](const XAN_ShaderDebugger::ProgramCounter& pc, uint32_t)
    {
        for (const XAN_ShaderDebugger::LoopState& loop : pc.m_vLoopStack)
        {
            if (loop.nIteration >= LOOP_ITERATIONS)
            {
                return 0u;
            }
        }
        return nItems;
    };
    if (!kernel.Start())
    {
        return cost;
    }
    const size_t nBuilds = CountBuilds(kernel.m_Host);
    const size_t nExecutions = kernel.m_Host.m_nExecutions;
    const std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    size_t nCommands = 0;
    while (nCommands < nLimit && (bStep ? kernel.Debugger().Step() : kernel.Debugger().Run()))
    {
        ++nCommands;
    }
    cost.dSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    // Each Step passes one instruction.
    cost.nInstructions = nCommands + 1;
    cost.nBuilds = CountBuilds(kernel.m_Host) - nBuilds;
    cost.nExecutions = kernel.m_Host.m_nExecutions - nExecutions;
    return cost;
}

void Print(const char* pCommand, const Cost& cost, size_t nInstructions, double dNative)
{
    std::printf("  %-8s builds/instr %6.3f  executions/instr %6.3f", pCommand,
                static_cast<double>(cost.nBuilds) / nInstructions,
                static_cast<double>(cost.nExecutions) / nInstructions);
    if (dNative > 0.0)
    {
        std::printf("  time/native launch %8.1f", cost.dSeconds / dNative);
    }
    std::printf("\n");
}
} // namespace

int main(int argc, char** argv)
{
    // The debugger writes its dump kernel into the current directory.
    const std::filesystem::path home = std::filesystem::current_path();
    const std::filesystem::path scratch =
        std::filesystem::temp_directory_path() / ("StepBenchmark." + std::to_string(getpid()));
    std::filesystem::create_directory(scratch);
    std::filesystem::current_path(scratch);

    std::vector<std::string> vKernels(argv + 1, argv + argc);
    if (vKernels.empty())
    {
        vKernels = XAN_Test::CorpusKernelNames();
    }
    // The scripted device has no native launch; the OpenCL back-end gives one.
    const NativeLaunch nativeLaunch = [](const std::string&) { return -1.0; };
    for (const std::string& strKernel : vKernels)
    {
        const std::vector<char> vBinary = XAN_Test::LoadDebugBinary(strKernel);
        const Cost step = Walk(strKernel, vBinary, true);
        if (vBinary.empty() || step.nInstructions <= 1)
        {
            std::printf("%-12s not debuggable on the scripted device\n", strKernel.c_str());
            continue;
        }
        const Cost run = Walk(strKernel, vBinary, false);
        const double dNative = nativeLaunch(strKernel);
        std::printf("%-12s %zu instructions passed\n", strKernel.c_str(), step.nInstructions);
        Print("Step", step, step.nInstructions, dNative);
        Print("Continue", run, step.nInstructions, dNative);
    }
    std::filesystem::current_path(home);
    std::filesystem::remove_all(scratch);
    return 0;
}
