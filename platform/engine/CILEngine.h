#ifndef XAN_PLATFORM_CILENGINE_H
#define XAN_PLATFORM_CILENGINE_H

#include "CImageSampler.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Platform
{
class CDeviceMemory;
class CExecutionTrace;
class CILProgram;

enum ELaunchStatus
{
    LS_Success = 0,
    LS_InvalidGeometry, // dimensions, sizes or local size the launch can't have
    LS_InstructionBudgetExceeded,
    LS_OutOfResources, // private or local memory beyond the device's
};

// One NDRange. Constant buffer 0 is built by the engine from the geometry; constant
// buffer 1 holds the kernel's arguments as the caller laid them out.
struct SLaunchDesc
{
    uint32_t nWorkDim = 1;
    uint64_t vGlobalOffset[3] = {0, 0, 0};
    uint64_t vGlobalSize[3] = {1, 1, 1};
    uint64_t vLocalSize[3] = {0, 0, 0}; // all 0: the engine picks one (see ChooseLocalSize)
    std::vector<uint32_t> vConstantBuffer1;
    uint32_t nLocalMemoryBytes = 0;   // __local arguments and static LDS of the kernel's metadata
    uint32_t nPrivateMemoryBytes = 0; // per work-item, at least what the kernel declares
    uint32_t nMaxGroupSize = 256;     // the largest group a null local size may pick
    uint64_t nInstructionBudget = DEFAULT_INSTRUCTION_BUDGET; // per launch, counted per group
    uint32_t nThreads = 0; // 0: every core; 1: one thread, for full determinism
    // The buffer that compiled kernels append their printf records to (0: none), whose address
    // and size a launch puts in row PRINTF_ROW of constant buffer 0.
    uint64_t nPrintfAddress = 0;
    uint32_t nPrintfBytes = 0;
    // The images the kernel reads and writes, and the sampler bits of each sampler id.
    std::vector<SImageBinding> vImages;
    std::vector<uint32_t> vSamplers;
    // Records what the launch executes; a traced launch runs on the calling thread.
    CExecutionTrace* pTrace = nullptr;

    static const uint64_t DEFAULT_INSTRUCTION_BUDGET = 1ull << 32;
};

// The first out-of-bounds access of a launch: of the groups that made one, the earliest in
// group order, so that the report doesn't depend on the number of threads.
struct SOutOfBoundsAccess
{
    bool bStore = false;               // a store or an atomic
    const char* pSpace = "";           // "global", "local" or "private"
    uint64_t nAddress = 0;             // in its space
    uint32_t nLine = 0;                // of the instruction in the canonical IL text
    uint64_t vWorkItem[3] = {0, 0, 0}; // global id, with the offset
};

struct SLaunchResult
{
    ELaunchStatus eStatus = LS_Success;
    std::string strMessage;
    uint64_t vLocalSize[3] = {1, 1, 1};  // the local size the launch ran with
    uint64_t nInstructions = 0;          // group-wide instructions issued
    uint64_t nOutOfBoundsLoads = 0;      // global, local and private loads that hit no memory
    uint64_t nOutOfBoundsStores = 0;     // dropped stores and atomics
    SOutOfBoundsAccess firstOutOfBounds; // set when either count isn't 0
};

// Runs a loaded program over an NDRange, a work-group at a time, groups spread over
// the machine's cores.
class CILEngine
{
public:
    // The deterministic local size of a launch with a null local size: per dimension
    // the largest divisor of the global size that keeps the group within nMaxGroupSize.
    static void ChooseLocalSize(uint32_t nWorkDim, const uint64_t vGlobalSize[3],
                                uint32_t nMaxGroupSize, uint64_t vLocalSize[3]);

    // The row of constant buffer 0 whose .xy a launch sets to CDeviceMemory's lock address.
    static const uint32_t LOCK_ROW = 15;
    // The row of constant buffer 0 that holds SLaunchDesc's printf buffer: .xy its address, .z
    // its size.
    static const uint32_t PRINTF_ROW = 14;

    // The 16 rows of constant buffer 0 for a launch geometry.
    static std::vector<uint32_t> BuildRuntimeConstants(uint32_t nWorkDim,
                                                       const uint64_t vGlobalOffset[3],
                                                       const uint64_t vGlobalSize[3],
                                                       const uint64_t vLocalSize[3]);

    static SLaunchResult Launch(const CILProgram& program, CDeviceMemory& memory,
                                const SLaunchDesc& desc);
};
} // namespace XAN_Platform

#endif
