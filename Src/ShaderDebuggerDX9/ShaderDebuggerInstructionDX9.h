#ifndef SHADER_DEBUGGER_INSTRUCTION_DX9_H
#define SHADER_DEBUGGER_INSTRUCTION_DX9_H

#include "ShaderDebuggerShader.h"
#include "ShaderDebuggerTokenStream.h"

#include <cstdint>

namespace XAN_ShaderDebugger
{
class CShaderDebuggerBase;

// Opcodes of the DX9 token format that the engine tells apart.
enum : std::uint32_t
{
    D3DSIO_MOV = 1,
    D3DSIO_CALL = 25,
    D3DSIO_CALLNZ = 26,
    D3DSIO_LOOP = 27,
    D3DSIO_ENDLOOP = 29,
    D3DSIO_LABEL = 30,
    D3DSIO_DCL = 31,
    D3DSIO_REP = 38,
    D3DSIO_ENDREP = 39,
    D3DSIO_IF = 40,
    D3DSIO_IFC = 41,
    D3DSIO_ELSE = 42,
    D3DSIO_ENDIF = 43,
    D3DSIO_BREAK = 44,
    D3DSIO_BREAKC = 45,
    D3DSIO_DEFB = 47,
    D3DSIO_DEFI = 48,
    D3DSIO_DEF = 81,
    D3DSIO_BREAKP = 96,
    D3DSIO_PHASE = 0xFFFD,
    D3DSIO_COMMENT = 0xFFFE,
    D3DSIO_END = 0xFFFF,
    // The opcode that a pixel-shader version token decodes to.
    D3DSIO_PS_VERSION = 0xFFFF0000
};

// Register types of the token format (D3DSPR_*) that the engine writes.
enum : std::uint32_t
{
    D3DSPR_TEMP = 0,
    D3DSPR_CONST = 2,
    D3DSPR_CONSTINT = 7,
    D3DSPR_COLOROUT = 8
};

// The type of a register token: bits 28-30 with bits 11-12 above them. The three upper constant
// banks answer as the first.
std::uint32_t GetRegisterType(std::uint32_t dwToken);
// Bits 0-10, with the bank's offset for the upper constant banks.
std::uint32_t GetRegisterNumber(std::uint32_t dwToken);
RegisterType GetRegisterTypeSD(std::uint32_t nType);
// A destination token; dwMask stands in place (0xF0000 writes all four components).
std::uint32_t DestRegister(std::uint32_t nType, std::uint32_t nIndex, std::uint32_t dwMask);
// A source token; dwSwizzle stands in place (0xE40000 is the identity).
std::uint32_t SrcRegister(std::uint32_t nType, std::uint32_t nIndex, std::uint32_t dwSwizzle);

// One instruction of a DX9 shader as tokens: read from a stream, asked about its registers and
// written back unchanged. The object is reused for a whole pass, since it holds room for the
// longest comment and reading allocates nothing.
class CShaderDebuggerInstructionDX9
{
public:
    // The debugger is only asked for the host that assertions report to; it may be null.
    explicit CShaderDebuggerInstructionDX9(CShaderDebuggerBase* pDebugger);

    CShaderDebuggerInstructionDX9(const CShaderDebuggerInstructionDX9&) = delete;
    CShaderDebuggerInstructionDX9& operator=(const CShaderDebuggerInstructionDX9&) = delete;

    // False only at the end of the stream; a token missing inside the instruction is reported
    // and the instruction ends there.
    bool ReadInstruction(CInputTokenStream<std::uint32_t>& stream);
    bool WriteInstruction(COutputTokenStream<std::uint32_t>& stream) const;

    std::uint32_t GetOpcode() const { return m_nOpcode; }
    std::uint32_t GetInstructionToken() const { return m_dwTokens[0]; }
    std::uint32_t GetLength() const { return m_nLength; }
    // The operands from the first source on, each counted once with its relative address;
    // 4, 4 and 1 literal values of def, defi and defb.
    std::uint32_t GetParamCount() const { return m_nParamCount; }
    bool IsInstructionWithDest() const;
    bool IsExecutable() const;
    // def, defi and defb, whose parameters are literal values, not registers.
    bool IsConstantDefinition() const;

    bool GetDestRegister(Register& reg) const;
    Register GetDestRegister() const;
    bool GetSrcRegister(std::uint32_t nIndex, Register& reg) const;
    Register GetSrcRegister(std::uint32_t nIndex) const;
    // The raw token of parameter nIndex, counted from the first source; false and 0 behind the
    // instruction's end.
    bool GetSrcParam(std::uint32_t nIndex, std::uint32_t& dwToken) const;
    // The next token of a walk over the instruction behind its first token.
    bool ReadToken(std::uint32_t& dwToken);

private:
    CShaderDebuggerHost* GetHost() const;
    // Appends the next token of the stream; a failure is reported with the text given.
    bool ReadParameter(CInputTokenStream<std::uint32_t>& stream, const char* pText);
    // The opcodes whose parameters start with a source instead of a destination.
    bool HasDestToken() const;
    // The place of the first source: behind the destination, the predicate, and aL of a loop.
    std::uint32_t GetFirstSrcPlace() const;

    // The longest instruction is a comment of 32767 tokens behind its first.
    static const std::uint32_t MAX_TOKENS = 65536;

    CShaderDebuggerBase* m_pDebugger; // not owned
    std::uint32_t m_nOpcode;
    std::uint32_t m_dwTokens[MAX_TOKENS];
    std::uint32_t m_nLength;
    std::uint32_t m_nReadTokens;
    std::uint32_t m_nParamCount;
    bool m_bPredicated;
    bool m_bDclHasDest;
};
} // namespace XAN_ShaderDebugger

#endif
