#ifndef XAN_PLATFORM_CTPF_DECODER_H
#define XAN_PLATFORM_CTPF_DECODER_H

#include "TpfFormat.h"

#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Platform
{
struct TpfOperand;

// One index dimension of an operand: an immediate, a relative operand, or both.
struct TpfIndex
{
    unsigned int nRep = TPF_INDEX_IMM32;
    std::uint64_t nImmediate = 0;
    std::vector<TpfOperand> vRelative; // the one relative operand, if the representation has it
};

// One operand as its tokens say, with its place in the instruction.
struct TpfOperand
{
    unsigned int nOffset = 0; // token place within the instruction
    unsigned int nLength = 0; // tokens, extended token, immediates and indices included
    std::uint32_t nToken = 0;
    bool bExtended = false;
    std::uint32_t nExtendedToken = 0;
    unsigned int nType = 0;
    unsigned int nForm = 0;                 // 0 none, 1 one component, 2 four components
    unsigned int nMode = 0;                 // for four components: 0 mask, 1 swizzle, 2 select one
    unsigned int nSelect = 0;               // bits 4 to 11
    std::vector<std::uint64_t> vImmediates; // 32-bit or 64-bit by the type
    std::vector<TpfIndex> vIndices;

    // The components the operand names as a mask, x in bit 0: the mask, the swizzle's union,
    // the selected one; 1 for one component.
    unsigned int GetComponentMask() const;
};

// One item behind the opcode tokens, by the opcode's shape letter.
struct TpfItem
{
    char cShape = 0;
    std::uint32_t nWord = 0;  // 'n', 'r', 'v'; the register number of 'X'
    std::uint32_t nWord2 = 0; // the size of 'X'
    TpfOperand operand;       // 'd', 's'
};

// One instruction. Without a row for its opcode, or with tokens that its row can't account for,
// it is kept as raw tokens only.
struct TpfInstruction
{
    unsigned int nOffset = 0; // token place in the program
    std::uint32_t nOpcode = 0;
    std::vector<std::uint32_t> vTokens; // all of its tokens
    unsigned int nOpcodeTokens = 1;     // the opcode token and the extended ones
    const TpfOpcodeInfo* pInfo = nullptr;
    bool bDecoded = false;
    std::vector<TpfItem> vItems;
    std::uint32_t nCustomDataClass = 0;

    // Operands only, in order.
    std::vector<const TpfOperand*> GetOperands() const;
};

// The program header and its instructions.
struct TpfProgram
{
    std::uint32_t nVersionToken = 0;
    std::vector<TpfInstruction> vInstructions;
};

// Splits a tokenized program into instructions and their operands. It never reads past the
// tokens it is given; an instruction whose length runs past them is an error.
class CTpfDecoder
{
public:
    bool DecodeProgram(const std::uint32_t* pTokens, size_t nTokens, TpfProgram& program);
    // Decodes the instruction at nOffset of the tokens; false if its length is 0 or runs past.
    bool DecodeInstruction(const std::uint32_t* pTokens, size_t nTokens, size_t nOffset,
                           TpfInstruction& instruction);
    // Decodes one operand from the start of the tokens; false if it runs past them or has an
    // undefined index representation.
    bool DecodeOperand(const std::uint32_t* pTokens, size_t nTokens, TpfOperand& operand);

    const std::string& GetError() const { return m_strError; }

private:
    bool DecodeItems(TpfInstruction& instruction);
    bool Fail(const std::string& strMessage);

    std::string m_strError;
    unsigned int m_nDepth = 0;
};
} // namespace XAN_Platform

#endif
