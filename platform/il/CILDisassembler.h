#ifndef XAN_PLATFORM_CIL_DISASSEMBLER_H
#define XAN_PLATFORM_CIL_DISASSEMBLER_H

#include "ShaderUtils/IL/ILInstructionLayout.h"

#include <cstddef>
#include <string>

namespace XAN_Platform
{
// Where and why IL tokens were refused.
struct ILDisasmError
{
    std::size_t nToken = 0; // index of the first token of the element
    std::string strMessage;

    // "token 17: unknown opcode 21"
    std::string ToString() const;
};

struct ILTextForm;

// Prints IL tokens as IL text (platform/IL.md): one element per line, so that
// line n is element n, and text that assembles to the same tokens.
class CILDisassembler
{
public:
    // Replaces strText with the program's text. On failure strText is
    // untouched and GetError() tells where and why.
    bool Disassemble(const unsigned int* pTokens, std::size_t nTokens, std::string& strText);

    const ILDisasmError& GetError() const { return m_error; }

private:
    bool PrintHeader(const unsigned int* pTokens, std::size_t nAvailable);
    bool PrintInstruction(const unsigned int* pTokens);
    void PrintComment(const unsigned int* pTokens);
    void PrintMnemonic(const unsigned int* pTokens, const ILTextForm& form);
    bool PrintOperands(const unsigned int* pTokens, const ILTextForm& form);
    bool PrintOperand(const ShaderUtils::ILOperandLayout& operand, bool bDest,
                      const ILTextForm& form);
    bool PrintRegister(unsigned int nToken, unsigned int nAllowedBits);
    bool PrintSourceModifier(unsigned int nModifier, std::size_t nNameAt);
    bool PrintDestModifier(unsigned int nModifier);
    void PrintValue(unsigned int nValue, bool bHex);
    void PrintDecimal(unsigned int nValue);
    void PrintHex(unsigned int nValue);
    bool Fail(const std::string& strMessage);

    std::string m_strText;
    ShaderUtils::ILInstructionLayout m_inst;
    std::size_t m_nPos = 0;
    ILDisasmError m_error;
};
} // namespace XAN_Platform

#endif
