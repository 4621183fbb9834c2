#ifndef XAN_PLATFORM_DX9_FORMAT_H
#define XAN_PLATFORM_DX9_FORMAT_H

// The DX9 shader token format and its spelling in assembly text, shared by
// the assembler, the disassembler and the executor so that they can't
// disagree on a bit.

#include <cstdint>
#include <string>
#include <string_view>

namespace XAN_Platform
{
namespace DX9
{
constexpr std::uint32_t PS_VERSION_TAG = 0xFFFF0000;
constexpr std::uint32_t VS_VERSION_TAG = 0xFFFE0000;
constexpr std::uint32_t END_TOKEN = 0x0000FFFF;
constexpr std::uint32_t PRESHADER_TAG =
    0x53455250; // "PRES", the first token of a preshader comment

enum EOpcode : std::uint32_t
{
    OP_NOP = 0,
    OP_MOV = 1,
    OP_ADD = 2,
    OP_SUB = 3,
    OP_MAD = 4,
    OP_MUL = 5,
    OP_RCP = 6,
    OP_RSQ = 7,
    OP_DP3 = 8,
    OP_DP4 = 9,
    OP_MIN = 10,
    OP_MAX = 11,
    OP_FRC = 19,
    OP_LOOP = 27,
    OP_ENDLOOP = 29,
    OP_LABEL = 30,
    OP_DCL = 31,
    OP_REP = 38,
    OP_ENDREP = 39,
    OP_IF = 40,
    OP_IFC = 41,
    OP_ELSE = 42,
    OP_ENDIF = 43,
    OP_BREAK = 44,
    OP_BREAKC = 45,
    OP_DEFB = 47,
    OP_DEFI = 48,
    OP_TEX = 66,
    OP_DEF = 81,
    OP_CMP = 88,
    OP_SETP = 94,
    OP_PHASE = 0xFFFD,
    OP_COMMENT = 0xFFFE,
    OP_END = 0xFFFF,
};

enum ERegisterType : std::uint32_t
{
    REG_TEMP = 0,
    REG_INPUT = 1,
    REG_CONST = 2,
    REG_TEXTURE = 3, // the address register a0 in vertex shaders
    REG_RASTOUT = 4,
    REG_ATTROUT = 5,
    REG_TEXCRDOUT = 6,
    REG_CONSTINT = 7,
    REG_COLOROUT = 8,
    REG_DEPTHOUT = 9,
    REG_SAMPLER = 10,
    REG_CONST2 = 11,
    REG_CONST3 = 12,
    REG_CONST4 = 13,
    REG_CONSTBOOL = 14,
    REG_LOOP = 15,
    REG_MISC = 17, // vPos (0), vFace (1)
    REG_LABEL = 18,
    REG_PREDICATE = 19,
};

// Parameter-token fields.
constexpr std::uint32_t PARAM_BIT = 0x80000000;
constexpr std::uint32_t RELATIVE_BIT = 1u << 13;
constexpr std::uint32_t PREDICATED_BIT = 1u << 28;
constexpr std::uint32_t COISSUE_BIT = 1u << 30;
constexpr std::uint32_t MASK_SHIFT = 16;
constexpr std::uint32_t SWIZZLE_SHIFT = 16;
constexpr std::uint32_t IDENTITY_SWIZZLE = 0xE4;
constexpr std::uint32_t RESULT_MOD_SHIFT = 20;
constexpr std::uint32_t RESULT_SAT = 1;
constexpr std::uint32_t RESULT_PP = 2;
constexpr std::uint32_t RESULT_CENTROID = 4;
constexpr std::uint32_t SHIFT_SHIFT = 24;
constexpr std::uint32_t SRC_MOD_SHIFT = 24;
constexpr std::uint32_t CONTROL_SHIFT = 16;
constexpr std::uint32_t LENGTH_SHIFT = 24;

enum ESourceModifier : std::uint32_t
{
    SRC_NONE = 0,
    SRC_NEG = 1,
    SRC_BIAS = 2,
    SRC_BIASNEG = 3,
    SRC_SIGN = 4,
    SRC_SIGNNEG = 5,
    SRC_COMP = 6,
    SRC_X2 = 7,
    SRC_X2NEG = 8,
    SRC_DZ = 9,
    SRC_DW = 10,
    SRC_ABS = 11,
    SRC_ABSNEG = 12,
    SRC_NOT = 13,
};

// The comparison of ifc, breakc and setp, in the instruction token's control bits.
enum EComparison : std::uint32_t
{
    CMP_GT = 1,
    CMP_EQ = 2,
    CMP_GE = 3,
    CMP_LT = 4,
    CMP_NE = 5,
    CMP_LE = 6,
};

// How an opcode's operands and text look.
enum EOpcodeShape
{
    SHAPE_PLAIN,
    SHAPE_COMPARE, // the comparison is a mnemonic suffix: "if_gt"
    SHAPE_DCL,
    SHAPE_DEF,  // four float literals
    SHAPE_DEFI, // four integer literals
    SHAPE_DEFB, // one boolean literal
};

struct SOpcodeInfo
{
    const char* pName;
    std::uint32_t nOpcode;
    std::uint32_t nControl; // texld's variants
    EOpcodeShape eShape;
    bool bDest;
    unsigned int nMinSources;
    unsigned int nMaxSources;
    std::uint32_t nMinVersion; // low 16 bits of the version token; "tex" is texld before 1.4
    std::uint32_t nMaxVersion;
};

// The row that spells an opcode (with its control bits) in a shader of the given version.
const SOpcodeInfo* FindOpcode(std::uint32_t nOpcode, std::uint32_t nControl,
                              std::uint32_t nVersion);
// The row of a mnemonic without suffixes ("if", "texldp"); for a shape with a
// comparison, bCompare picks the form that takes one.
const SOpcodeInfo* FindOpcode(std::string_view strName, bool bCompare, std::uint32_t nVersion);

const char* ComparisonName(std::uint32_t nComparison);      // null if not one
std::uint32_t ComparisonFromName(std::string_view strName); // 0 if not one

// The register spelled by a name without its number; bNumbered tells whether
// a number follows. Type 3 is "t" in a pixel shader and "a" elsewhere.
bool RegisterFromName(std::string_view strName, bool bPixel, std::uint32_t& nType,
                      std::uint32_t& nNumber, bool& bNumbered);
// "r", "oC", "vPos"...; bNumbered tells whether the number is written after
// it. Null for a type without a name.
const char* RegisterName(std::uint32_t nType, std::uint32_t nNumber, bool bPixel,
                         bool bRelativeIndex, bool& bNumbered);

// dcl's usage names, by D3DDECLUSAGE value.
const char* UsageName(std::uint32_t nUsage); // null past the table
bool UsageFromName(std::string_view strName, std::uint32_t& nUsage);
// dcl's sampler texture types ("2d" is 2).
const char* SamplerTypeName(std::uint32_t nType);
std::uint32_t SamplerTypeFromName(std::string_view strName); // 0 if not one

// Register type and number as the parameter token holds them; the types of
// the high constant banks fold into REG_CONST with the bank's offset.
std::uint32_t RegisterType(std::uint32_t dwToken);
std::uint32_t RegisterNumber(std::uint32_t dwToken);
std::uint32_t MakeRegister(std::uint32_t nType, std::uint32_t nNumber);

// "ps_3_0" from 0xFFFF0300; empty for a token that is no version.
std::string VersionName(std::uint32_t dwToken);
bool VersionFromName(std::string_view strName, std::uint32_t& dwToken);
} // namespace DX9
} // namespace XAN_Platform

#endif
