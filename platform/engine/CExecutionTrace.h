#ifndef XAN_PLATFORM_CEXECUTIONTRACE_H
#define XAN_PLATFORM_CEXECUTIONTRACE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <vector>

namespace XAN_Platform
{
class CILProgram;

// A loop that encloses a traced instruction: the number of its whileloop and the
// passes it has completed, from 0.
struct STraceLoop
{
    uint32_t nStart;
    uint32_t nIteration;

    bool operator==(const STraceLoop& other) const
    {
        return nStart == other.nStart && nIteration == other.nIteration;
    }
};

enum ETraceFlag : uint32_t
{
    TF_Executed = 1,    // the work-item was active when the instruction began
    TF_ActiveAfter = 2, // it was active right behind it (flow control changes that)
    TF_HasValue = 4,    // vValue holds the destination
};

// One work-item at one dynamic execution of an instruction.
struct STraceRecord
{
    uint32_t nInstruction; // the debugger's instruction number, or NO_INSTRUCTION
    uint32_t nLine;        // the element's number in the canonical IL text, from 0
    uint32_t nFlags;       // ETraceFlag
    uint32_t nFlatIndex;   // (z * global y + y) * global x + x, ids counted without the offset
    uint32_t vGlobalId[3]; // as get_global_id: with the launch's offset
    uint32_t vLocalId[3];
    uint32_t vGroupId[3];
    // All four components of the destination as they stand behind the instruction,
    // whatever its mask; for a store to private memory the four words from its address.
    uint32_t vValue[4];
    uint32_t nLoopFirst; // the enclosing loops, outermost first: GetLoopStack
    uint32_t nLoopDepth;
};

// What a traced launch recorded. The engine fills it when it is named in the launch
// description; records come in the order the launch ran them: group by group (a
// traced launch runs on one thread), instruction by instruction, work-item by
// work-item.
//
// Instructions are numbered as the debugger numbers them: in the order of the
// stream, declarations, comments, mdef and mend left out, func counted, leading
// macros and every macro behind endmain left out except the outline macro.
class CExecutionTrace
{
public:
    static constexpr uint32_t NO_INSTRUCTION = 0xFFFFFFFF;
    static constexpr uint32_t NO_LINE = 0xFFFFFFFF;
    static constexpr size_t DEFAULT_MAX_RECORDS = 1u << 20;

    explicit CExecutionTrace(size_t nMaxRecords = DEFAULT_MAX_RECORDS);

    // Which instructions record: all (the default, macro bodies without a number
    // included) or those with the given numbers.
    void TraceAll();
    void TraceOnly(const std::set<uint32_t>& instructions);
    // The label of the macro that holds the kernel's body (the first macro behind
    // endmain named like the kernel): its instructions are numbered; 0, none.
    void SetOutlineMacro(uint32_t nLabel) { m_nOutlineMacro = nLabel; }

    const std::vector<STraceRecord>& GetRecords() const { return m_vRecords; }
    std::vector<STraceLoop> GetLoopStack(const STraceRecord& record) const;
    // More records were due than the bound allows; the later ones are missing.
    bool HasOverflowed() const { return m_bOverflowed; }

    // Number and line of the last launched program's instructions; func has a
    // number but no line, since it never executes.
    uint32_t GetLine(uint32_t nInstruction) const;
    uint32_t GetInstruction(uint32_t nLine) const;

    // For the engine: a launch begins, and a group records one execution of the
    // program's instruction nIndex. The loops name their whileloop by its index in
    // the program; ppValues (null: no value) are the columns of the components.
    void Begin(const CILProgram& program, const uint32_t vLocalSize[3],
               const uint64_t vGroupCount[3], const uint64_t vGlobalOffset[3]);
    bool IsTraced(uint32_t nIndex) const { return m_vTraced[nIndex] != 0; }
    void Record(uint32_t nIndex, const std::vector<STraceLoop>& vLoops, const uint64_t vGroupId[3],
                size_t nLanes, const uint32_t* pBefore, const uint32_t* pAfter,
                const uint32_t* const* ppValues);

private:
    void Number(const CILProgram& program);

    size_t m_nMaxRecords;
    bool m_bAll = true;
    std::set<uint32_t> m_Selected;
    uint32_t m_nOutlineMacro = 0;

    std::vector<uint32_t> m_vNumbers; // by program index
    std::vector<uint32_t> m_vLines;
    std::vector<uint8_t> m_vTraced;
    std::map<uint32_t, uint32_t> m_LineOfInstruction;
    std::map<uint32_t, uint32_t> m_InstructionOfLine;
    uint32_t m_vLocalSize[3] = {1, 1, 1};
    uint64_t m_vGlobalSize[3] = {1, 1, 1};
    uint64_t m_vGlobalOffset[3] = {0, 0, 0};

    std::vector<STraceRecord> m_vRecords;
    std::vector<STraceLoop> m_vLoops;
    bool m_bOverflowed = false;
};
} // namespace XAN_Platform

#endif
