#ifndef XAN_PLATFORM_CTPF_DISASSEMBLER_H
#define XAN_PLATFORM_CTPF_DISASSEMBLER_H

#include "CTpfAssembler.h"
#include "CTpfDecoder.h"

#include <cstdint>
#include <string>

namespace XAN_Platform
{
// Writes a tokenized program as text that the assembler reads back to the same tokens: a "//"
// header, the version line, one line per declaration and instruction (an immediate constant
// buffer continues on lines that begin with "{"), and a "//" trailer. An instruction that the
// text forms can't give back exactly is written as ".raw" tokens.
class CTpfDisassembler
{
public:
    bool Disassemble(const std::uint32_t* pTokens, size_t nTokens, std::string& strText);
    // The text of one decoded instruction, without a line end.
    std::string FormatInstruction(const TpfInstruction& instruction);

    const std::string& GetError() const { return m_strError; }

private:
    std::string FormatHead(const TpfInstruction& instruction, std::string& strLeading,
                           std::string& strTrailing);
    std::string FormatOperand(const TpfOperand& operand, char cRole);
    std::string FormatIndex(const TpfIndex& index);
    std::string FormatItem(const TpfItem& item);
    std::string FormatCustomData(const TpfInstruction& instruction);

    CTpfDecoder m_decoder;
    CTpfAssembler m_assembler;
    std::string m_strError;
};
} // namespace XAN_Platform

#endif
