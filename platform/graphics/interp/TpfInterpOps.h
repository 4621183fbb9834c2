#ifndef XAN_PLATFORM_TPF_INTERP_OPS_H
#define XAN_PLATFORM_TPF_INTERP_OPS_H

// The instructions the interpreter runs, each with how: most work lane by lane on the bits of
// their sources, the rest are told apart by kind. An opcode without a row is refused on load.

#include <cstdint>

namespace XAN_Platform
{
// Opcodes that the interpreter treats by name.
enum ETpfInterpOpcode : std::uint32_t
{
    TPF_OP_BREAK = 2,
    TPF_OP_BREAKC = 3,
    TPF_OP_CONTINUE = 7,
    TPF_OP_CONTINUEC = 8,
    TPF_OP_DP2 = 15,
    TPF_OP_ELSE = 18,
    TPF_OP_ENDIF = 21,
    TPF_OP_ENDLOOP = 22,
    TPF_OP_IF = 31,
    TPF_OP_LABEL = 44,
    TPF_OP_LOOP = 48,
    TPF_OP_RET = 62,
    TPF_OP_RETC = 63,
    TPF_OP_SYNC = 190,
    TPF_OP_DCL_INPUT = 95,
    TPF_OP_DCL_INPUT_PS_SIV = 100,
    TPF_OP_DCL_OUTPUT = 101,
    TPF_OP_DCL_OUTPUT_SIV = 103,
    TPF_OP_DCL_TEMPS = 104,
    TPF_OP_DCL_INDEXABLE_TEMP = 105,
    TPF_OP_DCL_THREAD_GROUP = 155,
    TPF_OP_DCL_TGSM_RAW = 159,
    TPF_OP_DCL_TGSM_STRUCTURED = 160,
};

// Input and output registers a thread has.
const std::uint32_t TPF_INTERP_REGISTERS = 32;

// Operand types that the interpreter reads or writes.
enum ETpfInterpOperand : std::uint32_t
{
    TPF_OPERAND_TEMP = 0,
    TPF_OPERAND_INPUT = 1,
    TPF_OPERAND_OUTPUT = 2,
    TPF_OPERAND_INDEXABLE = 3,
    TPF_OPERAND_IMMEDIATE = 4,
    TPF_OPERAND_RESOURCE = 7,
    TPF_OPERAND_CONSTANT_BUFFER = 8,
    TPF_OPERAND_IMMEDIATE_BUFFER = 9,
    TPF_OPERAND_DEPTH = 12,
    TPF_OPERAND_NULL = 13,
    TPF_OPERAND_SAMPLE_MASK = 15,
    TPF_OPERAND_UAV = 30,
    TPF_OPERAND_GROUP_SHARED = 31,
    TPF_OPERAND_THREAD_ID = 32,
    TPF_OPERAND_GROUP_ID = 33,
    TPF_OPERAND_THREAD_ID_IN_GROUP = 34,
    TPF_OPERAND_COVERAGE = 35,
    TPF_OPERAND_THREAD_ID_FLAT = 36,
};

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
