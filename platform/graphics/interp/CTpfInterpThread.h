#ifndef XAN_PLATFORM_CTPF_INTERP_THREAD_H
#define XAN_PLATFORM_CTPF_INTERP_THREAD_H

#include "CTpfInterpProgram.h"
#include "TpfInterpTypes.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace XAN_Platform
{
struct TpfInterpOp;

// What the threads of one run share: resources, the group's shared memory and the modes.
struct TpfInterpShared
{
    TpfBindings* pBindings = nullptr;
    std::map<std::uint32_t, std::vector<std::uint8_t>>* pGroupShared = nullptr;
    bool bTrace = false;
    const TpfBoundedTarget* pBounded = nullptr;
    // Loops that hold the bounded target, by their `loop` instruction: the last pass to run.
    std::map<std::uint32_t, std::uint32_t> mapPassLimits;
    // The bounded run ends a thread when it gets here or past: behind the target, or behind the
    // outermost loop that holds it.
    std::uint32_t nBoundedEnd = 0;
    std::uint64_t nStepLimit = 0;
};

// One thread of a run: its registers, its place and its loops. It runs until it ends or meets
// a `sync`, so that the threads of a group can wait for each other there.
class CTpfInterpThread
{
public:
    CTpfInterpThread(const CTpfInterpProgram& program, const TpfInterpShared& shared,
                     TpfThreadResult& result);

    void SetInput(std::uint32_t nRegister, const TpfValue4& value);
    // vThreadID, vThreadGroupID, vThreadIDInGroup, and the flat index in the group.
    void SetThreadIDs(const TpfValue4& threadID, const TpfValue4& groupID,
                      const TpfValue4& inGroupID, std::uint32_t nFlat);

    // Runs on; false on a fault, named by GetError().
    bool Run();
    bool IsDone() const { return m_bDone; }
    const std::string& GetError() const { return m_strError; }

private:
    bool Step();
    bool Execute(const TpfInterpInstruction& instruction, std::uint32_t& nNext);
    bool ExecuteFlow(const TpfInterpInstruction& instruction, std::uint32_t& nNext);
    bool ExecuteMemory(const TpfInterpInstruction& instruction);
    // The loop on top of the stack begins a pass (from 0): the bounded run may end it here.
    void BeginPass(std::uint32_t& nNext, bool bRecord);
    void Bound(std::uint32_t nInstruction, std::uint32_t nNext);

    TpfValue4* Locate(const TpfOperand& operand);
    std::uint32_t ReadIndex(const TpfIndex& index);
    TpfValue4 ReadSource(const TpfOperand& operand, bool bIntegerModifiers);
    void WriteDestination(const TpfOperand& operand, const TpfValue4& value, bool bSaturate);
    // The memory that an operand of u# or g# names, or null.
    std::vector<std::uint8_t>* LocateWritable(const TpfOperand& operand);
    // The same, and t# for the loads.
    const std::vector<std::uint8_t>* LocateReadable(const TpfOperand& operand);
    bool IsTrue(const TpfInstruction& decoded);
    bool Fail(std::uint32_t nInstruction, const std::string& strMessage);

    const CTpfInterpProgram& m_program;
    const TpfInterpShared& m_shared;
    TpfThreadResult& m_result;

    std::vector<TpfValue4> m_vTemps;
    std::map<std::uint32_t, std::vector<TpfValue4>> m_mapIndexable;
    std::vector<TpfValue4> m_vInputs;
    TpfValue4 m_aThreadIDs[4];
    TpfValue4 m_depth;
    TpfValue4 m_sampleMask;

    std::uint32_t m_nPc = 0;
    std::vector<TpfLoopPass> m_vLoops;
    bool m_bDone = false;
    bool m_bPaused = false;
    std::uint64_t m_nSteps = 0;
    std::vector<TpfWrittenRegister>* m_pWritten = nullptr; // the trace step being recorded
    std::string m_strError;
};
} // namespace XAN_Platform

#endif
