#include "CILEngine.h"

#include "CDeviceMemory.h"
#include "CExecutionTrace.h"
#include "CILExecutor.h"
#include "CILProgram.h"
#include "CWorkerPool.h"

#include <algorithm>
#include <memory>
#include <new>

namespace XAN_Platform
{
namespace
{
const uint64_t MAX_GROUP_SIZE = 1024;
const uint64_t MAX_DIMENSION = 0xFFFFFFFFull;
// What the registers, arrays and memory of one executor may take.
const uint64_t MAX_EXECUTOR_BYTES = 512ull << 20;

uint64_t RoundUp16(uint64_t nValue)
{
    return (nValue + 15) / 16 * 16;
}

bool Refuse(SLaunchResult& result, ELaunchStatus eStatus, const std::string& strMessage)
{
    result.eStatus = eStatus;
    result.strMessage = strMessage;
    return false;
}

// Fills the geometry of the state; false with the result set when it can't run.
bool SetGeometry(const SLaunchDesc& desc, SLaunchState& state, SLaunchResult& result)
{
    if (desc.nWorkDim < 1 || desc.nWorkDim > 3)
    {
        return Refuse(result, LS_InvalidGeometry, "the work dimension must be 1, 2 or 3");
    }
    uint64_t vGlobal[3] = {1, 1, 1};
    uint64_t vLocal[3] = {1, 1, 1};
    bool bNullLocal = true;
    for (uint32_t d = 0; d < desc.nWorkDim; ++d)
    {
        vGlobal[d] = desc.vGlobalSize[d];
        vLocal[d] = desc.vLocalSize[d];
        bNullLocal = bNullLocal && vLocal[d] == 0;
        if (vGlobal[d] == 0 || vGlobal[d] > MAX_DIMENSION)
        {
            return Refuse(result, LS_InvalidGeometry,
                          "every global size must be between 1 and 2^32 - 1");
        }
    }
    if (bNullLocal)
    {
        CILEngine::ChooseLocalSize(desc.nWorkDim, vGlobal, desc.nMaxGroupSize, vLocal);
    }
    uint64_t nLanes = 1;
    for (uint32_t d = 0; d < 3; ++d)
    {
        if (vLocal[d] == 0 || vLocal[d] > MAX_GROUP_SIZE || vGlobal[d] % vLocal[d] != 0)
        {
            return Refuse(result, LS_InvalidGeometry,
                          "every local size must divide its global size");
        }
        nLanes *= vLocal[d];
        result.vLocalSize[d] = vLocal[d];
        state.vLocalSize[d] = uint32_t(vLocal[d]);
        state.vGroupCount[d] = vGlobal[d] / vLocal[d];
    }
    if (nLanes > MAX_GROUP_SIZE)
    {
        return Refuse(result, LS_InvalidGeometry,
                      "a work-group can't have more than " + std::to_string(MAX_GROUP_SIZE) +
                          " work-items");
    }
    state.nLanes = uint32_t(nLanes);
    if (__builtin_mul_overflow(state.vGroupCount[0], state.vGroupCount[1], &state.nGroupTotal) ||
        __builtin_mul_overflow(state.nGroupTotal, state.vGroupCount[2], &state.nGroupTotal))
    {
        return Refuse(result, LS_InvalidGeometry, "the range has more work-groups than 2^64");
    }
    state.vConstantBuffers[0] =
        CILEngine::BuildRuntimeConstants(desc.nWorkDim, desc.vGlobalOffset, vGlobal, vLocal);
    return true;
}

bool SetMemory(const CILProgram& program, const SLaunchDesc& desc, SLaunchState& state,
               SLaunchResult& result)
{
    const uint64_t nPrivate =
        RoundUp16(std::max<uint64_t>(desc.nPrivateMemoryBytes, program.GetPrivateMemoryBytes()));
    const uint64_t nLocal =
        std::max<uint64_t>(desc.nLocalMemoryBytes, program.GetLocalMemoryBytes());
    if (nPrivate > CILProgram::MAX_PRIVATE_BYTES)
    {
        return Refuse(result, LS_OutOfResources,
                      "private memory of " + std::to_string(nPrivate) +
                          " bytes per work-item is more than the device has");
    }
    if (nLocal > CILProgram::MAX_LOCAL_BYTES)
    {
        return Refuse(result, LS_OutOfResources,
                      "local memory of " + std::to_string(nLocal) +
                          " bytes is more than the device has");
    }
    uint64_t nColumns = program.GetColumnCount();
    for (uint32_t nSize : program.GetArraySizes())
    {
        nColumns += uint64_t(nSize) * 4;
    }
    const uint64_t nStride = RoundUp16(state.nLanes);
    if (nColumns * nStride * 4 + nPrivate * state.nLanes + nLocal > MAX_EXECUTOR_BYTES)
    {
        return Refuse(result, LS_OutOfResources,
                      "the kernel's registers and private arrays need more than the device has");
    }
    state.nPrivateMemoryBytes = uint32_t(nPrivate);
    state.nLocalMemoryBytes = uint32_t(nLocal);
    return true;
}
} // namespace

void CILEngine::ChooseLocalSize(uint32_t nWorkDim, const uint64_t vGlobalSize[3],
                                uint32_t nMaxGroupSize, uint64_t vLocalSize[3])
{
    uint64_t nRoom = std::max<uint64_t>(1, std::min<uint64_t>(nMaxGroupSize, MAX_GROUP_SIZE));
    for (uint32_t d = 0; d < 3; ++d)
    {
        vLocalSize[d] = 1;
        if (d >= nWorkDim || vGlobalSize[d] == 0)
        {
            continue;
        }
        uint64_t nSize = std::min(vGlobalSize[d], nRoom);
        while (vGlobalSize[d] % nSize != 0)
        {
            --nSize;
        }
        vLocalSize[d] = nSize;
        nRoom /= nSize;
    }
}

std::vector<uint32_t> CILEngine::BuildRuntimeConstants(uint32_t nWorkDim,
                                                       const uint64_t vGlobalOffset[3],
                                                       const uint64_t vGlobalSize[3],
                                                       const uint64_t vLocalSize[3])
{
    std::vector<uint32_t> vRows(16 * 4, 0);
    uint32_t nGroupSize = 1;
    for (uint32_t d = 0; d < 3; ++d)
    {
        const bool bUsed = d < nWorkDim;
        const uint64_t nGlobal = bUsed ? vGlobalSize[d] : 1;
        const uint64_t nLocal = bUsed && vLocalSize[d] != 0 ? vLocalSize[d] : 1;
        vRows[0 * 4 + d] = uint32_t(nGlobal);
        vRows[1 * 4 + d] = uint32_t(nLocal);
        vRows[2 * 4 + d] = uint32_t(nGlobal / nLocal);
        vRows[6 * 4 + d] = bUsed ? uint32_t(vGlobalOffset[d]) : 0;
        vRows[9 * 4 + d] = vRows[6 * 4 + d];
        nGroupSize *= uint32_t(nLocal);
    }
    vRows[0 * 4 + 3] = nWorkDim;
    vRows[1 * 4 + 3] = nGroupSize;
    return vRows;
}

SLaunchResult CILEngine::Launch(const CILProgram& program, CDeviceMemory& memory,
                                const SLaunchDesc& desc)
{
    SLaunchResult result;
    SLaunchState state;
    state.pProgram = &program;
    state.nBudget = desc.nInstructionBudget;
    if (!SetGeometry(desc, state, result) || !SetMemory(program, desc, state, result))
    {
        return result;
    }
    state.vConstantBuffers[1] = desc.vConstantBuffer1;
    state.vImages = desc.vImages;
    state.vSamplers = desc.vSamplers;
    state.pTrace = desc.pTrace;
    if (state.pTrace != nullptr)
    {
        uint64_t vOffset[3] = {0, 0, 0};
        std::copy_n(desc.vGlobalOffset, desc.nWorkDim, vOffset);
        state.pTrace->Begin(program, state.vLocalSize, state.vGroupCount, vOffset);
    }

    // The buffers stay alive until the launch ends, even if they are released
    // meanwhile.
    const std::vector<std::shared_ptr<CDeviceBuffer>> vBuffers = memory.Snapshot();
    state.vMemory.reserve(vBuffers.size() + 1);
    state.vMemory.push_back(
        {memory.GetLockAddress(), CDeviceMemory::ALIGNMENT, memory.GetLockData()});
    state.vConstantBuffers[0][LOCK_ROW * 4] = uint32_t(memory.GetLockAddress());
    state.vConstantBuffers[0][LOCK_ROW * 4 + 1] = uint32_t(memory.GetLockAddress() >> 32);
    state.vConstantBuffers[0][PRINTF_ROW * 4] = uint32_t(desc.nPrintfAddress);
    state.vConstantBuffers[0][PRINTF_ROW * 4 + 1] = uint32_t(desc.nPrintfAddress >> 32);
    state.vConstantBuffers[0][PRINTF_ROW * 4 + 2] = desc.nPrintfBytes;
    for (const std::shared_ptr<CDeviceBuffer>& pBuffer : vBuffers)
    {
        state.vMemory.push_back({pBuffer->GetAddress(), pBuffer->GetSize(), pBuffer->GetData()});
    }

    const unsigned int nCores = CWorkerPool::Instance().GetHelperCount() + 1;
    const unsigned int nWanted = state.pTrace != nullptr ? 1 : desc.nThreads;
    const uint64_t nThreads =
        std::min<uint64_t>(nWanted != 0 ? nWanted : nCores, state.nGroupTotal);
    std::atomic<bool> bOutOfMemory{false};
    CWorkerPool::Instance().Run(unsigned(nThreads),
                                [&state, &bOutOfMemory](unsigned int)
                                {
                                    try
                                    {
                                        CILExecutor executor(state);
                                        executor.Run();
                                    }
                                    catch (const std::bad_alloc&)
                                    {
                                        bOutOfMemory = true;
                                        state.bAbort = true;
                                    }
                                });

    result.nInstructions = state.nExecuted;
    result.nOutOfBoundsLoads = state.nOutOfBoundsLoads;
    result.nOutOfBoundsStores = state.nOutOfBoundsStores;
    result.firstOutOfBounds = state.firstOutOfBounds;
    for (uint32_t d = 0; d < 3; ++d)
    {
        result.firstOutOfBounds.vWorkItem[d] += d < desc.nWorkDim ? desc.vGlobalOffset[d] : 0;
    }
    if (bOutOfMemory)
    {
        Refuse(result, LS_OutOfResources, "the host ran out of memory for the launch");
    }
    else if (state.nExecuted > state.nBudget)
    {
        Refuse(result, LS_InstructionBudgetExceeded,
               "the launch ran more than its budget of " + std::to_string(state.nBudget) +
                   " instructions and was stopped");
    }
    return result;
}
} // namespace XAN_Platform
