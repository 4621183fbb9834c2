#ifndef XAN_PLATFORM_CDX9_ASSEMBLER_H
#define XAN_PLATFORM_CDX9_ASSEMBLER_H

#include "CDX9Decoder.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace XAN_Platform
{
// DX9 shader assembly text to tokens.
//
// One statement a line: the version ("ps_3_0") first, then instructions in
// the usual DX9 spelling ("(p0) add_sat r0.xy, -c[aL + 2].x, r1_abs").
// "//" starts a remark that makes no token. "/*text*/" makes a comment token
// of the text (NUL-padded to whole tokens) and "/*#0x1 0x2*/" one of those
// tokens; it stands behind the instruction of its line, or behind the
// version if it comes before it. A line "preshader" before the version starts
// a block of hexadecimal tokens, up to the next line that begins with '/',
// which becomes a comment token tagged "PRES". The end token is added.
class CDX9Assembler
{
public:
    bool Assemble(std::string_view strText, std::vector<std::uint32_t>& vTokens);
    // "line 3: unknown instruction 'movv'"
    const std::string& GetError() const { return m_strError; }

private:
    bool AssembleLine(std::string_view line);
    bool AssembleVersion(std::string_view statement);
    bool AssembleStatement(std::string_view statement);
    bool AssembleOperands(const DX9::SOpcodeInfo& info, std::uint32_t dwDestModifiers,
                          std::uint32_t dwUsage, const std::vector<std::string_view>& vOperands,
                          std::vector<std::uint32_t>& vTokens);
    bool ParseRegister(std::string_view& text, std::uint32_t& dwToken);
    bool ParseSwizzle(std::string_view& text, std::uint32_t& dwSwizzle);
    bool ParseDest(std::string_view text, std::uint32_t& dwToken);
    bool ParseSource(std::string_view text, std::vector<std::uint32_t>& vTokens);
    bool ParseLiteral(const DX9::SOpcodeInfo& info, std::string_view text, std::uint32_t& dwValue);
    bool ParseComment(std::string_view text, std::vector<std::uint32_t>& vComment);
    bool ParseHex(std::string_view text, std::vector<std::uint32_t>& vTokens);
    void AppendComment(const std::vector<std::uint32_t>& vTokens);
    bool Fail(const std::string& strCause);

    std::vector<std::uint32_t> m_vTokens;
    std::vector<std::vector<std::uint32_t>> m_vHeaderComments; // met before the version
    std::vector<std::uint32_t> m_vPreshader;
    bool m_bPreshader = false; // inside the preshader block
    bool m_bVersion = false;
    bool m_bPixel = true;
    std::uint32_t m_nVersion = 0;
    unsigned int m_nLine = 0;
    std::string m_strError;
};
} // namespace XAN_Platform

#endif
