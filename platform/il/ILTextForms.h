#ifndef XAN_PLATFORM_IL_TEXT_FORMS_H
#define XAN_PLATFORM_IL_TEXT_FORMS_H

// How the bits of IL tokens are spelled in IL text, shared by the assembler
// and the disassembler so that the two can't disagree. platform/IL.md
// describes the grammar.

#include "ShaderUtils/IL/ILFormat.h"

#include <string>
#include <string_view>

namespace XAN_Platform
{
// A named part of the control bits of an opcode token, written as a mnemonic
// suffix: "_id(11)", or "_a64" for a one-bit flag.
struct ILControlField
{
    const char* pKey;
    unsigned int nShift; // first bit within the opcode token
    unsigned int nWidth;
    bool bFlag;
    const char* const* ppValueNames; // names of the values 0.., or null
    unsigned int nValueNames;
};

// Opcodes whose text is more than mnemonic, suffixes, operands and values.
enum ILTextShape
{
    IL_SHAPE_PLAIN,
    IL_SHAPE_COMMENT,       // ";text"
    IL_SHAPE_MDEF,          // "mdef(label)_out(n)_in(n)"
    IL_SHAPE_MCALL,         // "mcall(label) (dest), (sources)"
    IL_SHAPE_COUNT,         // the control field counts the values (dcl_num_thread_per_group)
    IL_SHAPE_CONTROL_VALUE, // the control field is written as a value ("dcl_wavesize 64")
    IL_SHAPE_CB,            // dcl_cb: "_data" and values instead of a primary modifier
};

// The text form of one opcode.
struct ILTextForm
{
    ILTextShape shape = IL_SHAPE_PLAIN;
    const ILControlField* const* ppFields = nullptr;
    unsigned int nFields = 0;
    // Opcode-token bits that only "_control(n)" can carry.
    unsigned int nFreeBits = 0;
    // Bits 30 and 31 flag the primary and secondary modifier tokens.
    bool bModifierFlags = true;
    // The extended mnemonic of the opcode and the control bit it stands for.
    const char* pExtendedName = nullptr;
    unsigned int nExtendedBit = 0;
    // Trailing tokens written as suffixes ("_stride(4)_length(64)"); the
    // others are written as values after the operands.
    const char* const* ppTrailingNames = nullptr;
    unsigned int nTrailingNames = 0;
    // Values are bit patterns (hexadecimal, and floats accepted) rather than
    // numbers (decimal).
    bool bHexValues = false;
    // Whether a lone "[n]" index of an operand of the given type is the
    // dimension token (declarations, most types) or the immediate (indexed
    // temps in instructions).
    bool bDeclaration = false;
};

// The form of a code field below IL_OP_LAST, by the Text column of its first
// row in ILInstructions.def; other codes get a plain form.
const ILTextForm& GetILTextForm(unsigned int nOpCode);

// Register type names of the text. Types 33 and 34 share "v" and "o" with 5
// and 11 in the format, so the text spells them "v_in" and "o_out".
const char* GetILTextRegTypeName(unsigned int nType);
// IL_REGTYPE_LAST when the name is none of them.
unsigned int ParseILTextRegTypeName(const std::string& strName);

// "vs", "ps", "gs", "cs", "hs", "ds" by shader type, or null.
const char* GetILShaderTypeName(unsigned int nShaderType);
unsigned int GetILShaderTypeCount();

// Whether a lone index "[n]" of an operand means the dimension token.
inline bool IsDimensionIndexDefault(const ILTextForm& form, unsigned int nRegType)
{
    return form.bDeclaration || nRegType != ShaderUtils::IL_REGTYPE_INDEXABLE_TEMP;
}

// Blanks of the text: space, tab and a carriage return, which is no line
// break of its own.
inline bool IsILBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r';
}

std::string_view TrimILBlanks(std::string_view text);

// The component letters of masks and swizzles: x, y, z, w, then 0 and 1.
extern const char g_cILComponentLetters[6];
} // namespace XAN_Platform

#endif
