#ifndef XAN_PLATFORM_CILEXECUTOR_H
#define XAN_PLATFORM_CILEXECUTOR_H

#include "CExecutionTrace.h"
#include "CILEngine.h"
#include "CILProgram.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

namespace XAN_Platform
{
class CILExecutor;

// How the negate and abs source modifiers act on an operation's inputs.
enum EValueClass : uint8_t
{
    VC_Bits,   // no modifiers allowed
    VC_Float,  // sign bit of each component
    VC_Int,    // two's complement of each component
    VC_Double, // sign bit of the high word of each pair
};

struct SOperationInfo
{
    void (CILExecutor::*pfnExecute)(const SInstruction&) = nullptr;
    EValueClass eClass = VC_Bits;
    bool bMemoryDest = false; // the destination is "mem": only its mask counts
    bool bRelation = false;   // the control field is a relation (ifc, breakc, continuec)
    // Each lane's result depends only on the same lane's components of the same
    // position (or, for 64-bit operations, of the same pair), so that it can be
    // written over its sources.
    bool bLaneWise = false;
    bool bPairWise = false;
};

// The relations of ifc, breakc and continuec, in their control field.
enum ERelation : uint32_t
{
    REL_EQ = 0,
    REL_NE = 1,
    REL_GT = 2,
    REL_GE = 3,
    REL_LT = 4,
    REL_LE = 5,
};

// One mapped buffer of the launch's address space.
struct SMemoryRange
{
    uint64_t nBase;
    uint64_t nSize;
    uint8_t* pData;
};

// What every executor of a launch shares. Fixed before the first group runs, apart
// from the counters.
struct SLaunchState
{
    const CILProgram* pProgram = nullptr;
    uint32_t vLocalSize[3] = {1, 1, 1};
    uint32_t nLanes = 1;
    uint64_t vGroupCount[3] = {1, 1, 1};
    uint64_t nGroupTotal = 1;
    std::vector<uint32_t> vConstantBuffers[2];
    std::vector<SMemoryRange> vMemory; // in address order
    uint32_t nLocalMemoryBytes = 0;
    uint32_t nPrivateMemoryBytes = 0; // per work-item, a multiple of 16
    std::vector<SImageBinding> vImages;
    std::vector<uint32_t> vSamplers;
    uint64_t nBudget = 0;
    CExecutionTrace* pTrace = nullptr;

    std::atomic<uint64_t> nNextGroup{0};
    std::atomic<uint64_t> nExecuted{0};
    std::atomic<bool> bAbort{false};
    std::atomic<uint64_t> nOutOfBoundsLoads{0};
    std::atomic<uint64_t> nOutOfBoundsStores{0};
    // The first out-of-bounds access; its work-item without the offset.
    std::mutex OutOfBoundsMutex;
    uint64_t nFirstOutOfBoundsGroup = UINT64_MAX;
    SOutOfBoundsAccess firstOutOfBounds;
};

// Runs work-groups of one launch, one at a time, with all work-items of a group in
// lockstep under an execution mask. Registers are held per lane in columns, so that
// one instruction runs over all lanes in a tight loop. One executor per thread.
class CILExecutor
{
public:
    explicit CILExecutor(SLaunchState& state);
    CILExecutor(const CILExecutor&) = delete;
    CILExecutor& operator=(const CILExecutor&) = delete;

    // How the executor runs an opcode, or null for one it can't run.
    static const SOperationInfo* FindOperation(unsigned int nOpCode);
    // The entry of every opcode below ShaderUtils::IL_OP_LAST, indexed by opcode.
    static const SOperationInfo* OperationTable();

    // Takes groups from the shared counter until none is left or the launch is
    // aborted.
    void Run();

private:
    enum EFrameType : uint8_t
    {
        FT_If,
        FT_Else,
        FT_Loop,
        FT_Switch,
        FT_Call,
        FT_Macro,
    };

    // An open construct or call. Its masks live in m_vFrameMasks at its depth:
    // If: 0 entry lanes, 1 lanes of the else branch.
    // Loop: 1 lanes that left by break, 2 lanes that continue.
    // Switch: 1 lanes that left by break, 2 lanes that haven't entered a case yet,
    //         3 the label each lane enters at.
    // Call, Macro: 0 the caller's lanes.
    struct SFrame
    {
        EFrameType eType;
        uint32_t nConstruct; // instruction that opened it
        uint32_t nReturn;    // call: the instruction to continue with
        uint32_t nIteration; // loop: the passes completed
        size_t nPending;     // switch: lanes that haven't entered a case yet
    };

    static const unsigned int MASKS_PER_FRAME = 4;
    // Scratch columns: four per source, then the result, then a condition.
    static const unsigned int MAX_GATHERED_SOURCES = 4;
    static const unsigned int SLOT_RESULT = MAX_GATHERED_SOURCES * 4;
    static const unsigned int SLOT_CONDITION = SLOT_RESULT + 4;
    static const unsigned int SLOT_COUNT = SLOT_CONDITION + 1;
    // Instructions counted locally before they are charged to the launch's budget.
    static const uint64_t CHARGE_INTERVAL = 4096;

    void RunGroup(uint64_t nGroup);
    // The instruction loop; the traced one records around each instruction.
    template <bool bTraced> void RunInstructions();
    void TraceInstruction(const SInstruction& instruction);
    void CollectLoops();
    // Records an execution with the loops that enclose it now and the lanes that
    // were active before it (pBefore) and are now.
    void RecordExecution(const SInstruction& instruction, uint32_t nIndex, const uint32_t* pBefore);
    const uint32_t* const* TraceValues(const SInstruction& instruction);
    void PrepareGroup(uint64_t nGroup);
    bool ChargeBudget();
    bool Resume();

    // Register file.
    uint32_t* Column(uint32_t nColumn) { return &m_vRegisters[size_t(nColumn) * m_nStride]; }
    uint32_t* Scratch(unsigned int nSlot) { return &m_vScratch[size_t(nSlot) * m_nStride]; }
    uint32_t* FrameMask(size_t nDepth, unsigned int nMask)
    {
        return &m_vFrameMasks[(nDepth * MASKS_PER_FRAME + nMask) * m_nStride];
    }
    const SOperand& Operand(const SInstruction& instruction, unsigned int nIndex) const
    {
        return m_Operands[instruction.nFirstOperand + nIndex];
    }
    const SOperand& Source(const SInstruction& instruction, unsigned int nSource) const
    {
        return Operand(instruction, (instruction.bHasDest ? 1u : 0u) + nSource);
    }
    // Component c of a source, with its swizzle and modifiers applied: usually a
    // register column as it stands.
    const uint32_t* Fetch(const SInstruction& instruction, unsigned int nSource,
                          unsigned int nComponent)
    {
        const SOperand& operand = Source(instruction, nSource);
        const unsigned int nSwizzle = operand.vSwizzle[nComponent];
        if (operand.nKind == OK_Column && nSwizzle < 4 && !operand.HasModifiers())
        {
            return Column(operand.nColumn + nSwizzle);
        }
        return FetchModified(instruction, nSource, nComponent);
    }
    const uint32_t* FetchModified(const SInstruction& instruction, unsigned int nSource,
                                  unsigned int nComponent);
    template <class F>
    void WriteLanes(const SInstruction& instruction, unsigned int nComponent, F fnValue);
    template <class F>
    void WritePairLanes(const SInstruction& instruction, unsigned int nPair, F fnValue);
    void Finish(const SInstruction& instruction, uint8_t nMask);
    const uint32_t* FetchRaw(const SOperand& operand, unsigned int nComponent, uint32_t* pScratch);
    void Commit(const SInstruction& instruction, uint8_t nMask);
    void CommitOperand(const SOperand& operand, uint8_t nMask, uint32_t* const* ppValues);
    uint8_t DestMask(const SInstruction& instruction) const
    {
        return Operand(instruction, 0).nMask;
    }
    // Sets the execution mask and counts its lanes.
    void SetExec(const uint32_t* pMask);
    void RemoveFromExec(const uint32_t* pLanes);

    // Flow control.
    SFrame& PushFrame(EFrameType eType, uint32_t nConstruct);
    void RemoveFromFrames(size_t nFrom, const uint32_t* pLanes);
    size_t FindFrame(bool bLoopOnly) const;
    void LeaveLanes(const uint32_t* pLanes, bool bContinue);
    void ReturnLanes(const uint32_t* pLanes);
    // The active lanes for which a flow instruction's condition holds (all of
    // them for the unconditional forms).
    const uint32_t* ConditionLanes(const SInstruction& instruction);
    void EnterCall(uint32_t nEntry, EFrameType eType, const uint32_t* pLanes);
    void ReturnFromFrame();

    void ExecIf(const SInstruction& instruction);
    void ExecElse(const SInstruction& instruction);
    void ExecEndIf(const SInstruction& instruction);
    void ExecWhileLoop(const SInstruction& instruction);
    void ExecEndLoop(const SInstruction& instruction);
    void ExecBreak(const SInstruction& instruction);
    void ExecContinue(const SInstruction& instruction);
    void ExecSwitch(const SInstruction& instruction);
    void ExecLabel(const SInstruction& instruction);
    void ExecEndSwitch(const SInstruction& instruction);
    void ExecCall(const SInstruction& instruction);
    void ExecMacroCall(const SInstruction& instruction);
    void ExecReturn(const SInstruction& instruction);
    void ExecEndMain(const SInstruction& instruction);
    void ExecNop(const SInstruction& instruction);

    // Arithmetic: one template per operand shape, an operation type per opcode.
    template <class TOp> void ExecUnary(const SInstruction& instruction);
    template <class TOp> void ExecBinary(const SInstruction& instruction);
    template <class TOp> void ExecTernary(const SInstruction& instruction);
    template <class TOp> void ExecUnary64(const SInstruction& instruction);
    template <class TOp> void ExecBinary64(const SInstruction& instruction);
    template <class TOp> void ExecTernary64(const SInstruction& instruction);
    template <class TOp> void ExecShift64(const SInstruction& instruction);
    template <class TOp> void ExecToDouble(const SInstruction& instruction);
    template <class TOp> void ExecFromDouble(const SInstruction& instruction);
    template <unsigned int N> void ExecDot(const SInstruction& instruction);
    template <bool bModulo> void ExecUnsignedDivide(const SInstruction& instruction);
    void ExecFirstBit(const SInstruction& instruction);
    void ExecSample(const SInstruction& instruction);
    void ExecImageLoad(const SInstruction& instruction);
    void ExecImageStore(const SInstruction& instruction);
    // The image bound to a resource or UAV id and its data in the launch's memory: null when
    // none is bound or its bytes aren't all there.
    uint8_t* FindImage(uint32_t nId, bool bUAV, SImageView& view);

    // Memory.
    enum EMemorySpace : uint8_t
    {
        MS_Global,
        MS_Private,
        MS_Local,
    };
    struct SAddress
    {
        EMemorySpace eSpace;
        uint64_t nAddress;
    };
    // The addresses of an access, per lane: a UAV's control field chooses global or
    // private memory and 32- or 64-bit addresses; local memory takes .x.
    struct SAddressSource
    {
        EMemorySpace eSpace;
        const uint32_t* pLow;
        const uint32_t* pHigh; // null: 32-bit addresses
    };
    SAddressSource FetchAddress(const SInstruction& instruction, unsigned int nSource, bool bLocal);
    static uint64_t AddressOf(const SAddressSource& source, size_t nLane)
    {
        return source.pHigh != nullptr ? (uint64_t(source.pHigh[nLane]) << 32) | source.pLow[nLane]
                                       : source.pLow[nLane];
    }
    uint8_t* Translate(EMemorySpace eSpace, uint64_t nAddress, size_t nLane, uint32_t nBytes);
    uint8_t* TranslateGlobal(uint64_t nAddress, uint32_t nBytes);
    // Every lane of an access usually hits one buffer: the range found for the
    // first lane serves the others without a search.
    uint8_t* TranslateCached(SMemoryRange& range, EMemorySpace eSpace, uint64_t nAddress,
                             size_t nLane, uint32_t nBytes)
    {
        const uint64_t nOffset = nAddress - range.nBase;
        if (eSpace == MS_Global && nOffset < range.nSize && range.nSize - nOffset >= nBytes)
        {
            return range.pData + nOffset;
        }
        return TranslateMiss(range, eSpace, nAddress, nLane, nBytes);
    }
    uint8_t* TranslateMiss(SMemoryRange& range, EMemorySpace eSpace, uint64_t nAddress,
                           size_t nLane, uint32_t nBytes);
    void LoadTargets(const SInstruction& instruction, uint8_t nMask, uint32_t** ppOut);
    bool FirstLaneRange(const SAddressSource& address, const uint32_t* pOffsets, uint32_t nSpan,
                        SMemoryRange& range);
    // Element c of the mask comes from or goes to address + offset + c * size; a
    // broadcast load reads one element into every component.
    template <class TElement>
    void LoadElements(const SAddressSource& address, const uint32_t* pOffsets,
                      uint32_t* const* ppOut, bool bBroadcast);
    template <uint32_t nBytes>
    void StoreElements(const SAddressSource& address, const uint32_t* pOffsets, uint8_t nMask,
                       const uint32_t* const* ppValues);

    template <class TElement, bool bLocal> void ExecLoad(const SInstruction& instruction);
    template <uint32_t nBytes, bool bLocal> void ExecStore(const SInstruction& instruction);
    void ExecLoadVec(const SInstruction& instruction);
    void ExecStoreVec(const SInstruction& instruction);
    template <class TOp, bool bLocal> void ExecAtomic(const SInstruction& instruction);
    // Counts an access that hits no memory; the executor's first one is recorded for the
    // report, the others cost only the count.
    void CountOutOfBounds(uint64_t& nCount, EMemorySpace eSpace, uint64_t nAddress, size_t nLane)
    {
        if (m_nOutOfBoundsLoads + m_nOutOfBoundsStores == 0)
        {
            RecordOutOfBounds(&nCount == &m_nOutOfBoundsStores, eSpace, nAddress, nLane);
        }
        ++nCount;
    }
    void RecordOutOfBounds(bool bStore, EMemorySpace eSpace, uint64_t nAddress, size_t nLane);

    SLaunchState& m_State;
    const CILProgram& m_Program;
    const std::vector<SInstruction>& m_Instructions;
    const std::vector<SOperand>& m_Operands;
    size_t m_nLanes;
    size_t m_nStride;

    std::vector<uint32_t> m_vRegisters;
    std::vector<std::vector<uint32_t>> m_vArrays;
    std::vector<uint32_t> m_vScratch; // gathered sources, results, conditions
    std::vector<uint32_t> m_vExec;    // 0xFFFFFFFF for an active lane
    size_t m_nActive;
    std::vector<SFrame> m_vFrames;
    std::vector<uint32_t> m_vFrameMasks;
    std::vector<uint8_t> m_vLocal;
    std::vector<uint8_t> m_vPrivate;
    uint32_t m_nPc;
    uint64_t m_nGroup; // flat
    uint64_t m_nGroupId[3];

    // Tracing only: the execution mask before the instruction, the values recorded,
    // the enclosing loops.
    std::vector<uint32_t> m_vTraceBefore;
    std::vector<uint32_t> m_vTraceValues;
    std::vector<STraceLoop> m_vTraceLoops;
    const uint32_t* m_ppTraceValues[4] = {nullptr, nullptr, nullptr, nullptr};

    SMemoryRange m_LastRange; // the range of the last global access
    uint64_t m_nPendingInstructions;
    uint64_t m_nOutOfBoundsLoads;
    uint64_t m_nOutOfBoundsStores;
};
} // namespace XAN_Platform

#endif
