#ifndef XAN_PLATFORM_CDX9_DISASSEMBLER_H
#define XAN_PLATFORM_CDX9_DISASSEMBLER_H

#include "CDX9Decoder.h"

#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Platform
{
// DX9 tokens to assembly text that CDX9Assembler reads back to the same tokens.
//
// The text has the shape a debugger counts lines by: a header of lines that
// begin with "//" (with the comments that follow the version, and a
// preshader block if one of them is a preshader), then one line for the
// version and one for each instruction. Comments elsewhere ride on the line
// of the instruction before them, so they take no line.
class CDX9Disassembler
{
public:
    bool Disassemble(const std::uint32_t* pTokens, std::size_t nTokens, std::string& strText);
    // The same from a decoded shader; vLines gets the line (from 1) of each
    // of its instructions.
    static std::string Disassemble(const SDX9Shader& shader, std::vector<unsigned int>& vLines);
    const std::string& GetError() const { return m_strError; }

    // One instruction as the text writes it, without comments.
    static std::string FormatInstruction(const SDX9Instruction& inst, const SDX9Shader& shader);

private:
    std::string m_strError;
};
} // namespace XAN_Platform

#endif
