#ifndef SHADER_DEBUGGER_INSTRUCTION_IL_H
#define SHADER_DEBUGGER_INSTRUCTION_IL_H

#include "ShaderDebuggerShader.h"
#include "ShaderDebuggerTokenStream.h"

#include <string>

namespace XAN_ShaderDebugger
{
// Sources whose offsets the instruction holds in place; further ones get an array of their own.
const unsigned int MAX_BASE_SRC_REG_COUNT = 6;

// One decoded IL instruction. It keeps its tokens as they were read and knows where the
// destination and each source begin, so that it can be written out unchanged or with another
// destination. Operations aren't interpreted.
class CShaderDebuggerInstructionIL
{
public:
    // The debugger is only asked for the host that assertions report to; it may be null.
    explicit CShaderDebuggerInstructionIL(CShaderDebuggerBase* pDebugger);
    CShaderDebuggerInstructionIL(const CShaderDebuggerInstructionIL& other);
    CShaderDebuggerInstructionIL& operator=(const CShaderDebuggerInstructionIL& other);
    ~CShaderDebuggerInstructionIL();

    // Decodes the next instruction of the stream. False at the end of the stream, for an
    // unknown opcode, for a register-relative operand with a dimension and for an instruction
    // longer than the format allows; the instruction is then empty.
    bool ReadInstruction(CInputTokenStream<unsigned int>& stream);
    bool WriteInstruction(COutputTokenStream<unsigned int>& stream) const;

    unsigned int GetOpCode() const { return m_OpCode; }
    // The mnemonic; "ERROR" for an opcode that the tables don't hold.
    std::string GetOpCodeName() const;
    unsigned int GetOpCodeToken() const { return GetToken(0); }
    unsigned int GetLength() const { return m_nLength; }
    // The token at nIndex, or 0 behind the end.
    unsigned int GetToken(unsigned int nIndex) const;
    // The next token of a walk over the instruction's tokens.
    bool ReadToken(unsigned int& dwToken);
    // Token 1 of mdef and mcall, which counts their operands; 0 for other opcodes.
    unsigned int GetInstMod() const;

    // Whether the opcode has a destination and the register can be decoded.
    bool HasDestReg() const;
    // The IL type field of the destination; IL_REGTYPE_LAST without a destination.
    unsigned int GetDestRegType() const;
    bool GetDestRegister(Register& reg) const;
    Register GetDestRegister() const;
    // Points the destination at another register of the same components. Index tokens of the
    // old destination are dropped together with the addressing bits that asked for them.
    bool ReplaceDestRegister(Register reg);

    unsigned int GetSrcRegCount() const;
    // A source's type, number and components; its addressing stays in the tokens.
    bool GetSrcRegister(unsigned int nSrcReg, Register& reg) const;
    Register GetSrcRegister(unsigned int nSrcReg) const;
    // The token offset of source ind.
    unsigned int& SrcRegTokenOffset(unsigned int ind);
    unsigned int SrcRegTokenOffset(unsigned int ind) const;

    bool WritesRegister(const RegisterID& id) const;
    bool ReadsRegister(const RegisterID& id) const;

private:
    CShaderDebuggerHost* GetHost() const;
    void Reset();
    // Where offset ind is kept, or null for an index beyond the sources.
    const unsigned int* FindSrcRegTokenOffset(unsigned int ind) const;
    // Destination and source count of an opcode token by the description tables. A failed
    // look-up is reported in the name of pAsker.
    bool LookUpOperands(unsigned int nOpcodeToken, unsigned int nInstMod, const char* pAsker,
                        bool& bHasDest, unsigned int& nSrcCount) const;
    bool IsValidOffset(unsigned int nOffset) const { return nOffset != 0 && nOffset < m_nLength; }
    // GetSrcRegister for a source known to exist, so that walks over all sources look the
    // count up only once.
    bool DecodeSrcRegister(unsigned int nSrcReg, Register& reg) const;

    unsigned int m_OpCode;
    unsigned int* m_pTokens;
    unsigned int m_nLength;
    unsigned int m_nReadTokens;
    // 0 without a destination: the opcode token always stands at 0.
    unsigned int m_nDestRegTokenOffset;
    unsigned int m_nSrcRegTokenOffsets[MAX_BASE_SRC_REG_COUNT];
    unsigned int m_nExtendedSrcRegTokenOffsetsCount;
    unsigned int* m_pExtendedSrcRegTokenOffsets;
    CShaderDebuggerBase* m_pDebugger;
};
} // namespace XAN_ShaderDebugger

#endif
