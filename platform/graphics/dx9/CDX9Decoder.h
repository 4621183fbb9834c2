#ifndef XAN_PLATFORM_CDX9_DECODER_H
#define XAN_PLATFORM_CDX9_DECODER_H

#include "DX9Format.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Platform
{
// A parameter token with the relative-address token behind it, if any.
struct SDX9Param
{
    std::uint32_t dwToken = 0;
    bool bRelative = false;
    std::uint32_t dwRelative = 0;
};

// One instruction of the token stream: a declaration, an operation or a comment.
struct SDX9Instruction
{
    std::uint32_t nOpcode = 0;
    std::uint32_t dwToken = 0;               // the instruction token
    std::size_t nOffset = 0;                 // of the instruction token in the stream
    std::size_t nLength = 0;                 // tokens, the instruction token included
    const DX9::SOpcodeInfo* pInfo = nullptr; // null for a comment
    bool bHasDest = false;
    SDX9Param dest;
    bool bPredicated = false;
    SDX9Param predicate;
    std::vector<SDX9Param> vSources;
    // The literals of def, defi and defb, dcl's usage token, or a comment's tokens.
    std::vector<std::uint32_t> vValues;

    bool IsComment() const { return nOpcode == DX9::OP_COMMENT; }
    // Declarations, labels, phases and comments take no step of their own.
    bool IsExecutable() const;
    std::uint32_t GetControl() const { return (dwToken >> DX9::CONTROL_SHIFT) & 0xFF; }
};

struct SDX9Shader
{
    std::uint32_t dwVersion = 0;
    std::vector<SDX9Instruction> vInstructions; // neither the version nor the end token
    std::size_t nTokens = 0;                    // the end token included

    bool IsPixelShader() const { return (dwVersion & 0xFFFF0000) == DX9::PS_VERSION_TAG; }
    std::uint32_t GetVersion() const { return dwVersion & 0xFFFF; }
};

// Splits a DX9 token stream into its instructions, checking what a reader of
// the format relies on: the version first, operand counts, the length field
// from model 2.0 on, and an end token.
class CDX9Decoder
{
public:
    // Reads up to the end token; tokens behind it are ignored.
    bool Decode(const std::uint32_t* pTokens, std::size_t nTokens, SDX9Shader& shader);
    // "token 5: unknown opcode 200"
    const std::string& GetError() const { return m_strError; }

private:
    bool DecodeInstruction(SDX9Instruction& inst);
    bool ReadParam(SDX9Param& param);
    bool Fail(std::size_t nToken, const std::string& strCause);

    const std::uint32_t* m_pTokens = nullptr;
    std::size_t m_nTokens = 0;
    std::size_t m_nPos = 0;
    std::uint32_t m_nVersion = 0;
    std::string m_strError;
};
} // namespace XAN_Platform

#endif
