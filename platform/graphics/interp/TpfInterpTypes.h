#ifndef XAN_PLATFORM_TPF_INTERP_TYPES_H
#define XAN_PLATFORM_TPF_INTERP_TYPES_H

// What a caller of the reference interpreter hands in and gets back: bindings, run modes and
// per-thread results. Values travel as 32-bit patterns; floats are their bits.

#include <cstdint>
#include <map>
#include <vector>

namespace XAN_Platform
{
const std::uint32_t TPF_INTERP_NONE = 0xFFFFFFFFu;

struct TpfValue4
{
    std::uint32_t v[4] = {0, 0, 0, 0};

    bool operator==(const TpfValue4& other) const
    {
        return v[0] == other.v[0] && v[1] == other.v[1] && v[2] == other.v[2] && v[3] == other.v[3];
    }
    bool operator!=(const TpfValue4& other) const { return !(*this == other); }
};

// One loop around a position: its `loop` and `endloop` instruction numbers and the pass, from 0.
struct TpfLoopPass
{
    std::uint32_t nStart = 0;
    std::uint32_t nEnd = 0;
    std::uint32_t nPass = 0;

    bool operator==(const TpfLoopPass& other) const
    {
        return nStart == other.nStart && nEnd == other.nEnd && nPass == other.nPass;
    }
};

// A register an instruction wrote, with the whole register after the write.
struct TpfWrittenRegister
{
    std::uint32_t nType = 0;    // operand type: 0 temp, 2 output, 3 indexable temp, 12 oDepth ...
    std::uint32_t nIndex = 0;   // register number; for an indexable temp the array
    std::uint32_t nElement = 0; // element of an indexable temp
    std::uint32_t nMask = 0;    // components written, x in bit 0
    TpfValue4 value;
};

// One executed instruction of a thread. Instructions are numbered as the executable ones of the
// program, declarations and customdata left out. A jump back to a loop's head records the `loop`
// instruction again, with the new pass on top of the stack, marked as a head.
struct TpfTraceStep
{
    std::uint32_t nInstruction = 0;
    bool bPassHead = false;          // a jump back to the head, not an execution of `loop`
    std::vector<TpfLoopPass> vLoops; // outermost first
    std::vector<TpfWrittenRegister> vWritten;
};

// The bounded run: the instruction to watch and, for each loop that holds it (outermost first),
// the last pass to run. Each such loop clears the flag at the head of a pass; the flag is set when
// a thread passes the target, and the target's destination registers are captured whole.
struct TpfBoundedTarget
{
    std::uint32_t nInstruction = 0;
    std::vector<std::uint32_t> vPasses;
    // False for a vertex shader's run: loops end by their own condition and the thread runs on
    // to its end, since the position still has to be written.
    bool bStopAfterTarget = true;
};

struct TpfBoundedResult
{
    bool bFlag = false;
    bool abCaptured[2] = {false, false};
    TpfValue4 aCapture[2];
};

enum ETpfTargetFormat
{
    TPF_TARGET_RGBA32, // the float bits of the four components, 16 bytes a pixel
    TPF_TARGET_RGBA8,  // each component saturated, times 255, rounded: 4 bytes a pixel
};

struct TpfRenderTarget
{
    ETpfTargetFormat eFormat = TPF_TARGET_RGBA32;
    std::vector<std::uint8_t>* pData = nullptr; // W * H pixels, row by row
};

// Resources of a run. Buffers belong to the caller; a write outside one is dropped and a read
// outside gives 0.
struct TpfBindings
{
    std::map<std::uint32_t, std::vector<std::uint32_t>> mapConstantBuffers;    // 4 words a row
    std::map<std::uint32_t, std::vector<std::uint8_t>*> mapRawUAVs;            // u# by slot
    std::map<std::uint32_t, const std::vector<std::uint8_t>*> mapRawResources; // t# by slot
    std::map<std::uint32_t, TpfRenderTarget> mapRenderTargets;                 // o# to slot #
    // Vertex stage with a stream-out geometry shader bound: output register to its buffer,
    // 16 bytes a vertex.
    std::map<std::uint32_t, std::vector<std::uint8_t>*> mapStreamOut;
};

// The outcome for one thread (a pixel, a vertex, a compute thread).
struct TpfThreadResult
{
    bool bDiscarded = false;
    // Output registers by number up to the highest declared, as the thread left them.
    std::vector<TpfValue4> vOutputs;
    std::vector<TpfValue4> vTemps; // temps as the thread left them
    std::uint32_t nDepth = 0;      // oDepth
    std::uint32_t nSampleMask = 0; // oMask
    std::vector<TpfTraceStep> vTrace;
    TpfBoundedResult bounded;
};
} // namespace XAN_Platform

#endif
