#ifndef XAN_IL_OPCODES_H
#define XAN_IL_OPCODES_H

namespace ShaderUtils
{
// Every IL opcode by its mnemonic. Codes below 737 are the code field of an
// opcode token; the *_EXT forms, LOOP_REP and MOVA_ROUND are whole opcode
// tokens (a code plus one control bit) that exist for their text names.
// Pairs of names for one code (IL_OP_AND and IL_OP_IAND, ...) both appear.
enum ILOpCode : unsigned int
{
#define IL_OPCODE(Name, Value, ...) IL_OP_##Name = Value,
#include "ShaderUtils/IL/ILInstructions.def"
    IL_OP_LAST = 737,
};
} // namespace ShaderUtils

#endif
