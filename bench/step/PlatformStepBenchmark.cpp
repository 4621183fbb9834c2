// What stepping costs on the platform, measured side by side with the native launch: a Step and
// a Continue to a breakpoint, each as a ratio to one native launch of the same kernel at the same
// size, and the time of a Step on a small launch. Everything goes through the public header and
// the ICD loader, as a front-end's would. A Step onto a register's first write also takes host
// memory for that register's values; its time is shown apart, as the slowest Step. Beside the
// elapsed times, the ratios of the process's CPU time: on a shared machine these hold where the
// elapsed times swing with the load.
//
// Usage: PlatformStepBenchmark [work-item counts], default 4096 65536 1048576.

#include "support/CorpusKernels.h"

#include <XANOpenCLDebug.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

namespace
{
typedef std::chrono::steady_clock Clock;

// A moment on the clock and in the CPU time of the process, all its threads.
struct SInstant
{
    Clock::time_point wall;
    double dCpu;
};

// Seconds elapsed and seconds of CPU time.
struct SCost
{
    double dWall;
    double dCpu;
};

SInstant Now()
{
    timespec cpu = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &cpu);
    return {Clock::now(), double(cpu.tv_sec) + double(cpu.tv_nsec) * 1e-9};
}

SCost Since(const SInstant& start)
{
    const SInstant end = Now();
    return {std::chrono::duration<double>(end.wall - start.wall).count(), end.dCpu - start.dCpu};
}

// The median of each of the two.
SCost Median(const std::vector<SCost>& v)
{
    std::vector<double> vWall;
    std::vector<double> vCpu;
    for (const SCost& cost : v)
    {
        vWall.push_back(cost.dWall);
        vCpu.push_back(cost.dCpu);
    }
    std::sort(vWall.begin(), vWall.end());
    std::sort(vCpu.begin(), vCpu.end());
    return v.empty() ? SCost{0.0, 0.0} : SCost{vWall[v.size() / 2], vCpu[v.size() / 2]};
}

// One kernel on the platform, made through the interception exports.
struct Launch
{
    cl_context context = nullptr;
    cl_command_queue queue = nullptr;
    cl_program program = nullptr;
    cl_kernel kernel = nullptr;
    cl_mem buffer = nullptr;
    size_t nItems = 0;

    bool Open(const std::vector<char>& vBinary, const char* pKernel, size_t nWorkItems)
    {
        cl_platform_id platform = nullptr;
        cl_device_id device = nullptr;
        cl_int nError = clGetPlatformIDs(1, &platform, nullptr);
        nError = nError != CL_SUCCESS
                     ? nError
                     : clGetDeviceIDs(platform, CL_DEVICE_TYPE_GPU, 1, &device, nullptr);
        if (nError != CL_SUCCESS)
        {
            return false;
        }
        context = xanclInterceptCreateContext(nullptr, 1, &device, nullptr, nullptr, &nError);
        queue = xanclInterceptCreateCommandQueue(context, device, 0, &nError);
        const unsigned char* pBinary = reinterpret_cast<const unsigned char*>(vBinary.data());
        const size_t nSize = vBinary.size();
        program =
            clCreateProgramWithBinary(context, 1, &device, &nSize, &pBinary, nullptr, &nError);
        if (nError != CL_SUCCESS ||
            clBuildProgram(program, 1, &device, "", nullptr, nullptr) != CL_SUCCESS)
        {
            return false;
        }
        kernel = xanclInterceptCreateKernel(program, pKernel, &nError);
        nItems = nWorkItems;
        buffer = clCreateBuffer(context, CL_MEM_READ_WRITE, nItems * 4, nullptr, &nError);
        return nError == CL_SUCCESS &&
               xanclInterceptSetKernelArg(kernel, 0, sizeof(cl_mem), &buffer) == CL_SUCCESS;
    }

    ~Launch()
    {
        clReleaseMemObject(buffer);
        xanclInterceptReleaseKernel(kernel);
        clReleaseProgram(program);
        clReleaseCommandQueue(queue);
        clReleaseContext(context);
    }

    SCost Native()
    {
        const SInstant start = Now();
        clEnqueueNDRangeKernel(queue, kernel, 1, nullptr, &nItems, nullptr, 0, nullptr, nullptr);
        clFinish(queue);
        return Since(start);
    }
};

// What a debug run measures: the time from each command to the next callback.
struct Timing
{
    cl_uint nBreakpointLine = 0;
    size_t nSteps = 0;
    SInstant command;
    std::vector<SCost> vCosts;
};

cl_uint CL_CALLBACK Time(KernelDebugState* pState, cl_uint nEvent, void* pUserData)
{
    Timing* pTiming = static_cast<Timing*>(pUserData);
    if (nEvent == XANCLDEBUG_EVENT_HALTED)
    {
        pTiming->vCosts.push_back(Since(pTiming->command));
    }
    if (nEvent == XANCLDEBUG_EVENT_STARTED && pTiming->nBreakpointLine != 0)
    {
        xanclDebugSetBreakpoint(pState, pTiming->nBreakpointLine, 0xFFFFFFFF, nullptr);
    }
    const bool bStep = pTiming->vCosts.size() < pTiming->nSteps;
    if (nEvent == XANCLDEBUG_EVENT_HALTED && !bStep)
    {
        // Measured: the rest of the launch runs natively.
        xanclDebugClearAllBreakpoints(pState);
    }
    pTiming->command = Now();
    return bStep ? XANCLDEBUG_COMMAND_STEP : XANCLDEBUG_COMMAND_CONTINUE;
}

bool Debug(Launch& launch, Timing& timing)
{
    cl_event event = nullptr;
    if (xanclDebugEnqueueNDRangeKernel(launch.queue, launch.kernel, 1, nullptr, &launch.nItems,
                                       nullptr, 0, nullptr, &event, Time, &timing) != CL_SUCCESS)
    {
        return false;
    }
    clWaitForEvents(1, &event);
    clReleaseEvent(event);
    return !timing.vCosts.empty();
}
} // namespace

int main(int argc, char** argv)
{
    std::vector<size_t> vSizes;
    for (int i = 1; i < argc; ++i)
    {
        vSizes.push_back(std::strtoull(argv[i], nullptr, 10));
    }
    if (vSizes.empty())
    {
        vSizes = {4096, 65536, 1048576};
    }
    // straight: nine instructions, no flow control; the breakpoint is on its store.
    const std::vector<char> vBinary = XAN_Test::ReadCorpusBinary("straight");
    const cl_uint nStoreLine = 18;
    std::printf("%10s %10s %9s %12s %10s %15s %12s %12s %10s\n", "items", "native ms", "step ms",
                "step/native", "(CPU time)", "first write ms", "continue ms", "cont/native",
                "(CPU time)");
    for (size_t nItems : vSizes)
    {
        Launch launch;
        if (vBinary.empty() || !launch.Open(vBinary, "straight", nItems))
        {
            std::fprintf(stderr, "cannot launch straight on the platform\n");
            return 1;
        }
        std::vector<SCost> vNative;
        for (int i = 0; i < 3; ++i)
        {
            vNative.push_back(launch.Native());
        }
        const SCost native = Median(vNative);
        // Five Steps: the first writes of r0 and r1, then three more writes of r1.
        Timing step;
        step.nSteps = 5;
        Timing run;
        run.nBreakpointLine = nStoreLine;
        run.nSteps = 0;
        if (!Debug(launch, step) || !Debug(launch, run))
        {
            std::fprintf(stderr, "cannot debug straight on the platform\n");
            return 1;
        }
        const SCost stepCost = Median(step.vCosts);
        const SCost continueCost = Median(run.vCosts);
        double dFirstWrite = 0.0;
        for (const SCost& cost : step.vCosts)
        {
            dFirstWrite = std::max(dFirstWrite, cost.dWall);
        }
        std::printf("%10zu %10.2f %9.2f %12.2f %10.2f %15.2f %12.2f %12.2f %10.2f\n", nItems,
                    native.dWall * 1e3, stepCost.dWall * 1e3, stepCost.dWall / native.dWall,
                    stepCost.dCpu / native.dCpu, dFirstWrite * 1e3, continueCost.dWall * 1e3,
                    continueCost.dWall / native.dWall, continueCost.dCpu / native.dCpu);
    }
    return 0;
}
