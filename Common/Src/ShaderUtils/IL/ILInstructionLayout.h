#ifndef XAN_IL_INSTRUCTION_LAYOUT_H
#define XAN_IL_INSTRUCTION_LAYOUT_H

// A strict decoder of the token layout of one IL instruction: which token is
// what, nothing interpreted. Unlike a debugger's decoder, which reports a
// short stream and reads on, this one refuses everything that doesn't fit:
// the platform executes and prints only instructions that are whole.

#include <cstddef>
#include <vector>

namespace ShaderUtils
{
// One destination or source with the tokens that follow its operand token.
// A field is valid only when the operand token's bits say it is present.
struct ILOperandLayout
{
    unsigned int nToken = 0;         // the operand token
    unsigned int nModifier = 0;      // IL_REG_MODIFIER_PRESENT
    unsigned int nRelative = 0;      // IL_ADDR_RELATIVE
    unsigned int nIndexToken = 0;    // IL_ADDR_REG_RELATIVE: the index register
    unsigned int nIndexModifier = 0; // ... and its modifier, if it has one
    unsigned int nDimension = 0;     // IL_ADDR_ABSOLUTE with IL_REG_DIMENSION
    unsigned int nImmediate = 0;     // IL_REG_IMMEDIATE_PRESENT
    unsigned int nExtension = 0;     // IL_REG_EXTENDED
    unsigned int nOffset = 0;        // of the operand token within the instruction
    unsigned int nLength = 0;        // tokens of the operand, extras included
};

struct ILInstructionLayout
{
    unsigned int nOpcodeToken = 0;
    unsigned int nOpCode = 0;
    unsigned int nInstMod = 0;      // mdef and mcall
    unsigned int nPriModifier = 0;  // IL_PRI_MODIFIER_PRESENT, where it is a flag
    unsigned int nSecModifier = 0;  // IL_SEC_MODIFIER_PRESENT, where it is a flag
    unsigned int nCbDataOffset = 0; // dcl_cb with a primary modifier: its data
    unsigned int nCbDataCount = 0;  // (nPriModifier tokens)
    bool bHasDest = false;
    ILOperandLayout dest;
    std::vector<ILOperandLayout> vSources;
    unsigned int nTrailingOffset = 0; // tokens after the operands; for comment the
    unsigned int nTrailingCount = 0;  // count token and the text tokens
    unsigned int nLength = 0;         // tokens of the whole instruction
};

enum ILDecodeStatus
{
    IL_DECODE_OK,
    IL_DECODE_END,                    // no token left
    IL_DECODE_UNKNOWN_OPCODE,         // a code that neither table holds
    IL_DECODE_UNKNOWN_KIND,           // a row without operand description ("none")
    IL_DECODE_BAD_MCALL,              // mcall with more than one output
    IL_DECODE_TRUNCATED,              // the stream ends inside the instruction
    IL_DECODE_REG_RELATIVE_DIMENSION, // dimension set on a register-relative operand
    IL_DECODE_TOO_LONG,               // more than IL_MAX_INSTRUCTION_TOKENS
};

// Decodes the instruction at pTokens, of which nAvailable tokens may be read.
// inst is reused so that a walk over a stream allocates only at its start.
ILDecodeStatus DecodeILInstruction(const unsigned int* pTokens, std::size_t nAvailable,
                                   ILInstructionLayout& inst);

// A short English description of a status, for messages.
const char* GetILDecodeStatusText(ILDecodeStatus status);
} // namespace ShaderUtils

#endif
