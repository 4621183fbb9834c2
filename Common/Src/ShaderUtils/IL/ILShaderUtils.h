#ifndef XAN_IL_SHADER_UTILS_H
#define XAN_IL_SHADER_UTILS_H

// Classification of IL opcodes. Every predicate takes the code field of an
// opcode token (ShaderUtils::GetILOpCode).

namespace ShaderUtils
{
namespace ILShaderUtils
{
bool IsValidOpCode(unsigned int nOpCode);
bool IsDeclaration(unsigned int nOpCode);
// False for declarations, comment, mdef and mend, and for the hull-shader
// phase markers 305 to 308, which are neither.
bool IsInstruction(unsigned int nOpCode);
bool IsDclInput(unsigned int nOpCode);
bool IsDclOutput(unsigned int nOpCode);
bool IsDclLiteral(unsigned int nOpCode);
bool IsUAVDeclaration(unsigned int nOpCode);
bool IsFlowControl(unsigned int nOpCode);
bool IsBlockFlowControl(unsigned int nOpCode);
bool IsUAVStore(unsigned int nOpCode);
bool IsUAVLoad(unsigned int nOpCode);
bool IsUAVAtomic(unsigned int nOpCode);
bool IsSampleOp(unsigned int nOpCode);
bool IsFetch4Op(unsigned int nOpCode);
bool IsAtomicWithResult(unsigned int nOpCode);
// False where bits 30 and 31 of the opcode token mean something else than
// the primary and secondary modifier flags.
bool HasModifierTokens(unsigned int nOpCode);
// mdef and mcall carry an instMod token after the opcode token.
bool HasInstMod(unsigned int nOpCode);
} // namespace ILShaderUtils
} // namespace ShaderUtils

#endif
