#ifndef XAN_IL_FORMAT_H
#define XAN_IL_FORMAT_H

// The IL token format: the opcode description tables, the layout of opcode,
// operand and modifier tokens, and the names of the register types. The debug
// library's codec and the emulated platform both build on this, so nothing
// here logs or depends on either of them.

#include "ShaderUtils/IL/ILOpCodes.h"

#include <cstddef>
#include <string>

namespace ShaderUtils
{
// A program: leading macros, the language token, the version token, then
// declarations and instructions.
constexpr unsigned int IL_LANGUAGE_LIMIT = 256; // a language token is below this
constexpr unsigned int IL_VERSION_MINOR_SHIFT = 0;
constexpr unsigned int IL_VERSION_MAJOR_SHIFT = 8;
constexpr unsigned int IL_VERSION_SHADER_TYPE_SHIFT = 16;
constexpr unsigned int IL_VERSION_FIELD_MASK = 0xFFu;

enum ILShaderType : unsigned int
{
    IL_SHADER_VERTEX = 0,
    IL_SHADER_PIXEL = 1,
    IL_SHADER_GEOMETRY = 2,
    IL_SHADER_COMPUTE = 3,
    IL_SHADER_HULL = 4,
    IL_SHADER_DOMAIN = 5,
};

// Opcode token.
constexpr unsigned int IL_OPCODE_MASK = 0xFFFFu;
constexpr unsigned int IL_CONTROL_SHIFT = 16;
constexpr unsigned int IL_CONTROL_MASK = 0x3FFFu; // 14 bits from IL_CONTROL_SHIFT
constexpr unsigned int IL_CONTROL_NUMBER_MASK = 0x3FFu;
constexpr unsigned int IL_CONTROL_TYPE_SHIFT = 26;
constexpr unsigned int IL_CONTROL_TYPE_MASK = 0x3u;
constexpr unsigned int IL_SEC_MODIFIER_PRESENT = 1u << 30;
constexpr unsigned int IL_PRI_MODIFIER_PRESENT = 1u << 31;

// The longest instruction, in tokens, that a decoder has to accept.
constexpr unsigned int IL_MAX_INSTRUCTION_TOKENS = 4100;

// instMod of mdef and mcall: outputs in the upper half, inputs in the lower.
constexpr unsigned int IL_INSTMOD_OUTPUT_SHIFT = 16;
constexpr unsigned int IL_INSTMOD_INPUT_MASK = 0xFFFFu;

// Operand token: destination, source and the index token of a
// register-relative address share it.
constexpr unsigned int IL_REG_NUMBER_MASK = 0xFFFFu;
constexpr unsigned int IL_REG_TYPE_SHIFT = 16;
constexpr unsigned int IL_REG_TYPE_MASK = 0x3Fu;
constexpr unsigned int IL_REG_MODIFIER_PRESENT = 1u << 22;
constexpr unsigned int IL_REG_RELATIVE_SHIFT = 23;
constexpr unsigned int IL_REG_RELATIVE_MASK = 0x3u;
constexpr unsigned int IL_REG_DIMENSION = 1u << 25;
constexpr unsigned int IL_REG_IMMEDIATE_PRESENT = 1u << 26;
constexpr unsigned int IL_REG_SIGN = 1u << 27;
constexpr unsigned int IL_REG_RESERVED_MASK = 0x7u << 28;
constexpr unsigned int IL_REG_EXTENDED = 1u << 31;

enum ILAddressing : unsigned int
{
    IL_ADDR_ABSOLUTE = 0,
    IL_ADDR_RELATIVE = 1,
    IL_ADDR_REG_RELATIVE = 2,
};

// Destination modifier token: two bits per component, x in the lowest.
constexpr unsigned int IL_DST_COMPONENT_SHIFT = 2;
constexpr unsigned int IL_DST_COMPONENT_MASK = 0x3u;
constexpr unsigned int IL_DSTMOD_NOWRITE = 0;
constexpr unsigned int IL_DSTMOD_WRITE = 1;

// Source modifier token: four bits per component, x in the lowest; the low
// three are the swizzle, the top one negates.
constexpr unsigned int IL_SRC_COMPONENT_SHIFT = 4;
constexpr unsigned int IL_SRC_SWIZZLE_MASK = 0x7u;
constexpr unsigned int IL_SRC_NEGATE = 0x8u;
constexpr unsigned int IL_SRC_NEGATE_ALL = 0x8888u;
constexpr unsigned int IL_SRC_IDENTITY_SWIZZLE = 0x3210u;
constexpr unsigned int IL_SRC_ABS = 1u << 20;
// Negates and the further modifiers of bits 16 to 24, which are tested only
// as a group.
constexpr unsigned int IL_SRC_MODIFIER_MASK = 0x1FF8888u;

enum ILComponentSelect : unsigned int
{
    IL_COMPSEL_X = 0,
    IL_COMPSEL_Y = 1,
    IL_COMPSEL_Z = 2,
    IL_COMPSEL_W = 3,
    IL_COMPSEL_0 = 4,
    IL_COMPSEL_1 = 5,
};

// The register types of the operand token's type field.
enum ILRegType : unsigned int
{
    IL_REGTYPE_CONST_BOOL = 0,
    IL_REGTYPE_CONST_FLOAT = 1,
    IL_REGTYPE_CONST_INT = 2,
    IL_REGTYPE_ADDR = 3,
    IL_REGTYPE_TEMP = 4,
    IL_REGTYPE_LEGACY_INPUT = 5,
    IL_REGTYPE_V_INDEX = 6,
    IL_REGTYPE_V_OBJ_INDEX = 7,
    IL_REGTYPE_V_BARY_COORD = 8,
    IL_REGTYPE_V_PRIM_INDEX = 9,
    IL_REGTYPE_V_QUAD_INDEX = 10,
    IL_REGTYPE_LEGACY_OUTPUT = 11,
    IL_REGTYPE_V_PIX_IN = 12,
    IL_REGTYPE_O_SPRITE = 13,
    IL_REGTYPE_O_POS = 14,
    IL_REGTYPE_INTERP = 15,
    IL_REGTYPE_FOG = 16,
    IL_REGTYPE_TEX_COORD = 17,
    IL_REGTYPE_PRI_COLOR = 18,
    IL_REGTYPE_SEC_COLOR = 19,
    IL_REGTYPE_V_SPRITE_COORD = 20,
    IL_REGTYPE_V_FACE = 21,
    IL_REGTYPE_V_WIN_COORD = 22,
    IL_REGTYPE_V_PRIM_COORD = 23,
    IL_REGTYPE_V_PRIM_TYPE = 24,
    IL_REGTYPE_O_C = 25,
    IL_REGTYPE_O_DEPTH = 26,
    IL_REGTYPE_O_STENCIL = 27,
    IL_REGTYPE_O_CLIP = 28,
    IL_REGTYPE_INDEXABLE_TEMP = 30,
    IL_REGTYPE_CONST_BUFF = 31,
    IL_REGTYPE_LITERAL = 32,
    IL_REGTYPE_INPUT = 33,
    IL_REGTYPE_OUTPUT = 34,
    IL_REGTYPE_IMM_CONST_BUFFER = 35,
    IL_REGTYPE_O_MASK = 36,
    IL_REGTYPE_PERSISTENT = 37,
    IL_REGTYPE_GLOBAL = 38,
    IL_REGTYPE_O_PS_FOG = 39,
    IL_REGTYPE_SHARED = 40,
    IL_REGTYPE_V_TID_IN_GRP = 41,
    IL_REGTYPE_V_TID_IN_GRP_FLAT = 42,
    IL_REGTYPE_V_ABS_TID = 43,
    IL_REGTYPE_V_ABS_TID_FLAT = 44,
    IL_REGTYPE_V_THREAD_GRP_ID = 45,
    IL_REGTYPE_V_THREAD_GRP_ID_FLAT = 46,
    IL_REGTYPE_MEM = 47,
    IL_REGTYPE_VICP = 48,
    IL_REGTYPE_VPC = 49,
    IL_REGTYPE_V_DOMAIN = 50,
    IL_REGTYPE_VOCP = 51,
    IL_REGTYPE_V_OUTPUT_CONTROL_POINT_ID = 52,
    IL_REGTYPE_V_INSTANCE_ID = 53,
    IL_REGTYPE_THIS = 54,
    IL_REGTYPE_O_EDGE_FLAG = 55,
    IL_REGTYPE_O_DEPTH_LE = 56,
    IL_REGTYPE_O_DEPTH_GE = 57,
    IL_REGTYPE_V_COVERAGE_MASK = 58,
    IL_REGTYPE_TMR = 59,
    IL_REGTYPE_V_LINE_STIPPLE = 60,
    IL_REGTYPE_IN = 61,
    IL_REGTYPE_OUT = 62,
    IL_REGTYPE_LAST = 63,
};

inline unsigned int GetILOpCode(unsigned int nToken)
{
    return nToken & IL_OPCODE_MASK;
}

inline unsigned int GetILControl(unsigned int nToken)
{
    return (nToken >> IL_CONTROL_SHIFT) & IL_CONTROL_MASK;
}

// The number of a resource or UAV declaration (bits 16 to 25).
inline unsigned int GetControlNumber(unsigned int nToken)
{
    return (nToken >> IL_CONTROL_SHIFT) & IL_CONTROL_NUMBER_MASK;
}

// The two-bit type of a resource or UAV declaration (bits 26 and 27).
inline unsigned int GetControlType(unsigned int nToken)
{
    return (nToken >> IL_CONTROL_TYPE_SHIFT) & IL_CONTROL_TYPE_MASK;
}

inline unsigned int GetILRegType(unsigned int nToken)
{
    return (nToken >> IL_REG_TYPE_SHIFT) & IL_REG_TYPE_MASK;
}

inline unsigned int GetILRelativeAddress(unsigned int nToken)
{
    return (nToken >> IL_REG_RELATIVE_SHIFT) & IL_REG_RELATIVE_MASK;
}

// A temp's number is 17 bits signed: the sign bit extends the 16-bit field.
inline int GetILRegNumber(unsigned int nToken)
{
    unsigned int nNumber = nToken & IL_REG_NUMBER_MASK;
    if (GetILRegType(nToken) == IL_REGTYPE_TEMP && (nToken & IL_REG_SIGN) != 0)
    {
        nNumber |= ~IL_REG_NUMBER_MASK;
    }
    return static_cast<int>(nNumber);
}

// Stores the low 16 bits of the number and, for a temp, its sign.
inline unsigned int SetILRegNumber(unsigned int nToken, int nNumber)
{
    const unsigned int nValue = static_cast<unsigned int>(nNumber);
    nToken = (nToken & ~IL_REG_NUMBER_MASK) | (nValue & IL_REG_NUMBER_MASK);
    if (GetILRegType(nToken) == IL_REGTYPE_TEMP)
    {
        nToken = (nValue & 0x80000000u) != 0 ? (nToken | IL_REG_SIGN) : (nToken & ~IL_REG_SIGN);
    }
    return nToken;
}

// The written-state of one component (0 x .. 3 w) of a destination modifier.
inline unsigned int GetILDstComponent(unsigned int nModifier, unsigned int nComponent)
{
    return (nModifier >> (nComponent * IL_DST_COMPONENT_SHIFT)) & IL_DST_COMPONENT_MASK;
}

// The swizzle of one component (0 x .. 3 w) of a source modifier.
inline unsigned int GetILSwizzle(unsigned int nModifier, unsigned int nComponent)
{
    return (nModifier >> (nComponent * IL_SRC_COMPONENT_SHIFT)) & IL_SRC_SWIZZLE_MASK;
}

inline bool GetILNegate(unsigned int nModifier, unsigned int nComponent)
{
    return ((nModifier >> (nComponent * IL_SRC_COMPONENT_SHIFT)) & IL_SRC_NEGATE) != 0;
}

// The operands of an opcode (the Operands column of ILInstructions.def).
enum ILOperandShape : unsigned char
{
    IL_OPERANDS_NONE, // no description
    IL_OPERANDS_S0,
    IL_OPERANDS_S1,
    IL_OPERANDS_S2,
    IL_OPERANDS_S3,
    IL_OPERANDS_D_S0,
    IL_OPERANDS_D_S1,
    IL_OPERANDS_D_S2,
    IL_OPERANDS_D_S3,
    IL_OPERANDS_D_S4,
    IL_OPERANDS_D_S5,
    IL_OPERANDS_D_S6,
    IL_OPERANDS_MCALL, // counted by instMod
    IL_OPERANDS_CB,    // one source, or counted data after a primary modifier
};

// The tokens after the operands (the Trailing column).
enum ILTrailing : unsigned char
{
    IL_TRAILING_T0,
    IL_TRAILING_T1,
    IL_TRAILING_T2,
    IL_TRAILING_T4,
    IL_TRAILING_TCOUNT, // as many as the control field says
    IL_TRAILING_TTEXT,  // a count token, then that many text tokens
};

// One row of the opcode description tables, made from ILInstructions.def.
struct ILOpCodeDesc
{
    const char* pName;
    unsigned int nOpCode;
    ILOperandShape operands;
    ILTrailing trailing;
    bool bModifierFlags; // bits 30 and 31 flag the modifier tokens
};

// The main table (row 0 is "none") and the declaration table. A lookup by
// opcode searches the main table first; the first match wins.
extern const ILOpCodeDesc g_ILMainOpCodeTable[];
extern const std::size_t g_nILMainOpCodeTableSize;
extern const ILOpCodeDesc g_ILDclOpCodeTable[];
extern const std::size_t g_nILDclOpCodeTableSize;

// The row of an opcode (a code field, or the id of an extended form), or null.
const ILOpCodeDesc* FindOpCodeDesc(unsigned int nOpCode);

// The row of a mnemonic (exact, with case), extended forms included, or null.
const ILOpCodeDesc* FindOpCodeDescByName(const std::string& strName);

enum ILDescStatus
{
    IL_DESC_OK,
    IL_DESC_UNKNOWN_OPCODE, // neither table holds the code
    IL_DESC_UNKNOWN_KIND,   // the row describes no operands ("none")
    IL_DESC_BAD_MCALL,      // mcall with more than one output
};

struct ILOperandCounts
{
    bool bHasDest;
    unsigned int nSrcCount;
};

// Destination and source count of an instruction from its opcode token and,
// for mdef and mcall, its instMod. Unless the code is unknown the counts are
// filled in, also for a bad mcall, which then has no destination.
ILDescStatus GetOperandCounts(unsigned int nOpcodeToken, unsigned int nInstMod,
                              ILOperandCounts& counts);

// GetOperandCounts without the status: false and 0 where it isn't OK.
bool HasDestReg(unsigned int nOpcodeToken, unsigned int nInstMod);
unsigned int GetSrcRegCount(unsigned int nOpcodeToken, unsigned int nInstMod);

// The mnemonic of an opcode, "ERROR" if neither table holds it.
const char* GetOpCodeName(unsigned int nOpCode);

// Tokens after the last operand. For comment this is its count token; the
// counted text tokens follow it (HasCountedText).
unsigned int GetTrailingTokenCount(unsigned int nOpcodeToken);

// Whether the trailing count token of an opcode counts text tokens after it.
bool HasCountedText(unsigned int nOpCode);

// Whether a primary modifier of the opcode counts data tokens (dcl_cb).
bool HasCountedData(unsigned int nOpCode);

// Text name of a register type, null for 29 and from IL_REGTYPE_LAST on.
// Types 5 and 33 are both "v", 11 and 34 both "o".
const char* GetILRegTypeName(unsigned int nType);

// The type of a name, tried in a fixed order so that "v" is 5 and "o" is 11;
// IL_REGTYPE_LAST when no name matches. Exact, with case.
unsigned int ParseILRegTypeName(const std::string& strName);
} // namespace ShaderUtils

#endif
