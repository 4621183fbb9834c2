#ifndef XAN_PLATFORM_TPF_INTERP_OPS_H
#define XAN_PLATFORM_TPF_INTERP_OPS_H

// The instructions the interpreter runs, each with how: most work lane by lane on the bits of
// their sources, the rest are told apart by kind. An opcode without a row is refused on load.

#include <cstdint>

namespace XAN_Platform
{
enum ETpfInterpKind
{
    TPF_OP_LANE,      // one result per component from the sources' same component
    TPF_OP_LANE2,     // two destinations, each a lane result (imul, udiv, sincos, swapc ...)
    TPF_OP_DOT,       // dp2, dp3, dp4: one sum into every written component
    TPF_OP_FLOW,      // if, else, loop, break, ret and their kin
    TPF_OP_LOAD_RAW,  // ld_raw
    TPF_OP_STORE_RAW, // store_raw
    TPF_OP_ATOMIC,    // atomic_* without a result
    TPF_OP_NONE,      // nop, sync: no effect on a thread's registers
    TPF_OP_DISCARD,   // discard_z, discard_nz
};

struct TpfInterpOp
{
    std::uint32_t nOpcode;
    ETpfInterpKind eKind;
    // Negate and absolute value act on integers rather than on the float sign.
    bool bIntegerModifiers;
    // TPF_OP_LANE, TPF_OP_ATOMIC (old value, operand): the result's bits.
    std::uint32_t (*pLane)(const std::uint32_t* pSources);
    // TPF_OP_LANE2: both destinations at once.
    void (*pLane2)(const std::uint32_t* pSources, std::uint32_t& nFirst, std::uint32_t& nSecond);
};

// The row of an opcode, or null for one the interpreter doesn't run.
const TpfInterpOp* FindTpfInterpOp(std::uint32_t nOpcode);

float TpfBitsToFloat(std::uint32_t nBits);
std::uint32_t TpfFloatToBits(float f);
// Clamps to [0, 1]; NaN gives 0.
float TpfSaturate(float f);
} // namespace XAN_Platform

#endif
