#include "ShaderUtils/IL/ILShaderUtils.h"

#include "ShaderUtils/IL/ILFormat.h"

#include <algorithm>
#include <initializer_list>

namespace ShaderUtils
{
namespace ILShaderUtils
{
namespace
{
bool IsOneOf(unsigned int nOpCode, std::initializer_list<unsigned int> codes)
{
    return std::find(codes.begin(), codes.end(), nOpCode) != codes.end();
}

bool IsBetween(unsigned int nOpCode, unsigned int nFirst, unsigned int nLast)
{
    return nOpCode >= nFirst && nOpCode <= nLast;
}
} // namespace

bool IsValidOpCode(unsigned int nOpCode)
{
    return nOpCode < IL_OP_LAST;
}

bool IsDeclaration(unsigned int nOpCode)
{
    return IsBetween(nOpCode, 20, 29) || IsBetween(nOpCode, 118, 128) ||
           IsBetween(nOpCode, 212, 215) || IsBetween(nOpCode, 221, 223) ||
           IsBetween(nOpCode, 302, 304) || IsBetween(nOpCode, 309, 315) ||
           IsOneOf(nOpCode, {202, 209, 230, 258, 259, 262, 263, 348, 349, 352, 354, 355, 423, 424});
}

bool IsInstruction(unsigned int nOpCode)
{
    return !IsDeclaration(nOpCode) && !IsOneOf(nOpCode, {IL_OP_COMMENT, IL_OP_MDEF, IL_OP_MEND}) &&
           !IsBetween(nOpCode, IL_OP_HS_CP_PHASE, IL_OP_ENDPHASE);
}

bool IsDclInput(unsigned int nOpCode)
{
    return nOpCode == IL_OP_DCL_INPUT;
}

bool IsDclOutput(unsigned int nOpCode)
{
    return nOpCode == IL_OP_DCL_OUTPUT;
}

bool IsDclLiteral(unsigned int nOpCode)
{
    return nOpCode == IL_OP_DCL_LITERAL;
}

bool IsUAVDeclaration(unsigned int nOpCode)
{
    return IsOneOf(nOpCode,
                   {IL_OP_DCL_UAV, IL_OP_DCL_RAW_UAV, IL_OP_DCL_STRUCT_UAV, IL_OP_DCL_ARENA_UAV});
}

bool IsFlowControl(unsigned int nOpCode)
{
    return IsOneOf(nOpCode, {IL_OP_BREAK,
                             IL_OP_BREAKC,
                             IL_OP_CALL,
                             IL_OP_CALLNZ,
                             IL_OP_CONTINUE,
                             IL_OP_CONTINUEC,
                             IL_OP_ELSE,
                             IL_OP_ENDIF,
                             IL_OP_ENDLOOP,
                             IL_OP_FUNC,
                             IL_OP_IFC,
                             IL_OP_IFNZ,
                             IL_OP_LOOP,
                             IL_OP_RET,
                             IL_OP_BREAK_LOGICALZ,
                             IL_OP_BREAK_LOGICALNZ,
                             IL_OP_CALL_LOGICALZ,
                             IL_OP_CALL_LOGICALNZ,
                             IL_OP_CASE,
                             IL_OP_CONTINUE_LOGICALZ,
                             IL_OP_CONTINUE_LOGICALNZ,
                             IL_OP_DEFAULT,
                             IL_OP_ENDSWITCH,
                             IL_OP_ENDFUNC,
                             IL_OP_IF_LOGICALZ,
                             IL_OP_IF_LOGICALNZ,
                             IL_OP_WHILELOOP,
                             IL_OP_SWITCH,
                             IL_OP_RET_DYN,
                             IL_OP_RET_LOGICALZ,
                             IL_OP_RET_LOGICALNZ});
}

bool IsBlockFlowControl(unsigned int nOpCode)
{
    return IsOneOf(nOpCode, {IL_OP_ELSE, IL_OP_ENDIF, IL_OP_ENDLOOP, IL_OP_IFC, IL_OP_IFNZ,
                             IL_OP_LOOP, IL_OP_ENDSWITCH, IL_OP_IF_LOGICALZ, IL_OP_IF_LOGICALNZ,
                             IL_OP_WHILELOOP, IL_OP_SWITCH});
}

bool IsUAVStore(unsigned int nOpCode)
{
    return IsOneOf(nOpCode, {IL_OP_UAV_STORE, IL_OP_UAV_RAW_STORE, IL_OP_UAV_STRUCT_STORE,
                             IL_OP_UAV_ARENA_STORE, IL_OP_UAV_BYTE_STORE, IL_OP_UAV_SHORT_STORE});
}

bool IsUAVLoad(unsigned int nOpCode)
{
    return IsOneOf(nOpCode, {IL_OP_UAV_LOAD, IL_OP_UAV_RAW_LOAD, IL_OP_UAV_STRUCT_LOAD,
                             IL_OP_UAV_ARENA_LOAD, IL_OP_UAV_BYTE_LOAD, IL_OP_UAV_SHORT_LOAD});
}

bool IsUAVAtomic(unsigned int nOpCode)
{
    return IsBetween(nOpCode, IL_OP_UAV_ADD, IL_OP_UAV_READ_CMP_XCHG);
}

bool IsSampleOp(unsigned int nOpCode)
{
    return IsOneOf(nOpCode,
                   {IL_OP_SAMPLE, IL_OP_SAMPLE_B, IL_OP_SAMPLE_G, IL_OP_SAMPLE_L, IL_OP_SAMPLE_C,
                    IL_OP_SAMPLE_C_LZ, IL_OP_SAMPLE_C_L, IL_OP_SAMPLE_C_G, IL_OP_SAMPLE_C_B});
}

bool IsFetch4Op(unsigned int nOpCode)
{
    return IsOneOf(nOpCode, {IL_OP_FETCH4, IL_OP_FETCH4C, IL_OP_FETCH4PO, IL_OP_FETCH4POC});
}

bool IsAtomicWithResult(unsigned int nOpCode)
{
    return IsBetween(nOpCode, 244, 257) || IsBetween(nOpCode, 277, 288) ||
           IsBetween(nOpCode, 372, 386) || IsBetween(nOpCode, 502, 516) ||
           IsBetween(nOpCode, 533, 547) || IsOneOf(nOpCode, {394, 395, 429, 430, 432});
}

bool HasModifierTokens(unsigned int nOpCode)
{
    const ILOpCodeDesc* pDesc = FindOpCodeDesc(nOpCode);
    return pDesc == nullptr || pDesc->bModifierFlags;
}

bool HasInstMod(unsigned int nOpCode)
{
    return nOpCode == IL_OP_MDEF || nOpCode == IL_OP_MCALL;
}
} // namespace ILShaderUtils
} // namespace ShaderUtils
