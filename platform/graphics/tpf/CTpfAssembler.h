#ifndef XAN_PLATFORM_CTPF_ASSEMBLER_H
#define XAN_PLATFORM_CTPF_ASSEMBLER_H

#include "TpfFormat.h"

#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Platform
{
// Assembles the text of a tokenized program (platform/graphics/README.md) into its tokens: the
// version token, the length token, and the instructions.
class CTpfAssembler
{
public:
    // On failure vTokens is untouched and GetError() names the line.
    bool Assemble(const std::string& strText, std::vector<std::uint32_t>& vTokens);
    // Appends the tokens of one statement (an instruction, a declaration, a customdata block
    // over all its lines, or ".raw"). On failure vTokens is untouched.
    bool AssembleStatement(const std::string& strStatement, std::vector<std::uint32_t>& vTokens);

    const std::string& GetError() const { return m_strError; }

private:
    bool AssembleVersion(const std::string& strLine, std::uint32_t& nVersion);
    bool AssembleCustomData(std::uint32_t nClass, const std::string& strBody,
                            std::vector<std::uint32_t>& vTokens);
    bool AssembleRaw(const std::string& strBody, std::vector<std::uint32_t>& vTokens);
    bool AssembleHead(const TpfOpcodeInfo& info, const std::string& strSuffixes,
                      std::uint32_t& nControls, std::vector<std::uint32_t>& vExtended);
    // Reads one operand; cRole 'd' or 's' decides which component selection a bare ".x" or
    // ".xyzw" means.
    bool AssembleOperand(const std::string& strText, char cRole,
                         std::vector<std::uint32_t>& vTokens);
    bool AssembleIndex(const std::string& strText, std::uint32_t& nRep,
                       std::vector<std::uint32_t>& vTokens);
    bool AssembleItem(char cShape, const std::string& strText, std::vector<std::uint32_t>& vTokens);
    bool Fail(const std::string& strMessage);

    std::string m_strError;
    unsigned int m_nDepth = 0;
};
} // namespace XAN_Platform

#endif
