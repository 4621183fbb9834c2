#ifndef XAN_PLATFORM_TPF_FORMAT_H
#define XAN_PLATFORM_TPF_FORMAT_H

// The toolkit's own view of the tokenized program of shader models 4.0 to 5.0: which opcodes it
// knows, the operands each one takes, and how the bits of a token are spelled in text. The
// assembler and the disassembler share it so that the two can't disagree; the debug library
// keeps a table of its own, and the tests compare the two.

#include <cstdint>
#include <string>

namespace XAN_Platform
{
// Opcode-token fields.
const std::uint32_t TPF_OPCODE_MASK = 0x7FF;
const unsigned int TPF_LENGTH_SHIFT = 24;
const std::uint32_t TPF_LENGTH_MASK = 0x7F;
const std::uint32_t TPF_EXTENDED_BIT = 0x80000000u;
// Bits 11 to 23: what an opcode makes of them is its control kind.
const std::uint32_t TPF_CONTROL_BITS = 0x00FFF800u;
const std::uint32_t TPF_OPCODE_CUSTOMDATA = 53;
const std::uint32_t TPF_CUSTOMDATA_ICB = 3;

// Operand-token fields.
const unsigned int TPF_OPERAND_TYPE_SHIFT = 12;
const unsigned int TPF_OPERAND_DIMS_SHIFT = 20;
const unsigned int TPF_OPERAND_TYPE_IMM32 = 4;
const unsigned int TPF_OPERAND_TYPE_IMM64 = 5;
const unsigned int TPF_OPERAND_TYPE_COUNT = 41;
// Index representations: 32-bit and 64-bit immediates, relative, and a relative operand plus a
// 32-bit or a 64-bit immediate. Wider values of the 3-bit field are undefined.
enum ETpfIndexRep
{
    TPF_INDEX_IMM32 = 0,
    TPF_INDEX_IMM64 = 1,
    TPF_INDEX_RELATIVE = 2,
    TPF_INDEX_IMM32_RELATIVE = 3,
    TPF_INDEX_IMM64_RELATIVE = 4,
};

// How an opcode uses the control bits of its opcode token.
enum ETpfControls
{
    TPF_CTL_NONE,
    TPF_CTL_SAT,         // bit 13: "_sat"
    TPF_CTL_TEST,        // bit 18: "_z" or "_nz", always written
    TPF_CTL_RESINFO,     // bits 11-12: "_rcpFloat" 1, "_uint" 2
    TPF_CTL_SAMPLEINFO,  // bit 11: "_uint"
    TPF_CTL_SYNC,        // bits 11-14: "_uglobal", "_ugroup", "_g", "_t"
    TPF_CTL_RESDIM,      // bits 11-15: "_texture2d" and the other dimensions
    TPF_CTL_UAVDIM,      // the dimension and bit 16, "_glc"
    TPF_CTL_UAVFLAGS,    // bit 16, "_glc"
    TPF_CTL_INTERP,      // bits 11-14: an interpolation word before the operands
    TPF_CTL_CBACCESS,    // bit 11: "immediateIndexed" or "dynamicIndexed" behind the operands
    TPF_CTL_SAMPLERMODE, // bits 11-14: "mode_default" and its kin behind the operands
    TPF_CTL_GLOBALFLAGS, // bits 11-18: flag words joined by " | "
};

// One opcode the toolkit supports. Shape letters, one per item behind the opcode tokens:
// 'd' an operand written to, 's' an operand read, 'n' a number, 'r' a resource return-type
// token, 'v' a system-value name, 'X' an indexable temp and its size ("x0[8]", two tokens).
struct TpfOpcodeInfo
{
    std::uint32_t nOpcode;
    const char* pName;
    const char* pShape;
    ETpfControls eControls;
};

// The row of an opcode, or null for one the toolkit doesn't support.
const TpfOpcodeInfo* FindTpfOpcode(std::uint32_t nOpcode);
// The row with the longest name that is a prefix of strHead ending at its end, '_' or '(',
// or null.
const TpfOpcodeInfo* FindTpfOpcodeByPrefix(const std::string& strHead);
// The supported rows in opcode order, for walks over the whole list.
const TpfOpcodeInfo* GetTpfOpcodes(unsigned int& nCount);

// Register prefixes by operand type ("r", "cb", "vThreadID"); null past the known types.
const char* GetTpfOperandTypeName(unsigned int nType);
// The type of a prefix, or -1.
int FindTpfOperandType(const std::string& strName);
// Whether an operand of the type is single-component when its text shows no components.
bool IsTpfScalarOperandType(unsigned int nType);

// Component letters in order, "xyzw".
extern const char* const g_TpfComponentLetters;
// The selection mode that bare component letters stand for in an operand written to ('d') or
// read ('s'): 0 mask, 1 swizzle, 2 select one; -1 if they can't stand alone.
int InferTpfSelectionMode(char cRole, const std::string& strLetters);

// Names of numbered values, each list indexed from 0 ("" for a value without a name).
struct TpfNameList
{
    const char* const* ppNames;
    unsigned int nCount;

    // The name of a value, or "" for none.
    const char* Name(std::uint32_t nValue) const;
    // The value of a name, or -1.
    int Find(const std::string& strName) const;
};
const TpfNameList& GetTpfResourceDimensions();
const TpfNameList& GetTpfReturnTypes();
const TpfNameList& GetTpfSystemValues();
const TpfNameList& GetTpfInterpolationModes();
const TpfNameList& GetTpfSamplerModes();
// Flag names by bit, from bit 11 of the opcode token.
const TpfNameList& GetTpfGlobalFlags();
// Program types by the version token's high word: "ps", "vs", "gs", "hs", "ds", "cs".
const TpfNameList& GetTpfProgramTypes();

// A 32-bit immediate as text that reads back to the same bits: small values in decimal,
// floats with a short exact form as floats, others in hex.
std::string FormatTpfValue32(std::uint32_t nValue);
std::string FormatTpfValue64(std::uint64_t nValue);
// Reads what the formatters write (and negative decimals); false for anything else.
bool ParseTpfValue32(const std::string& strText, std::uint32_t& nValue);
bool ParseTpfValue64(const std::string& strText, std::uint64_t& nValue);
} // namespace XAN_Platform

#endif
