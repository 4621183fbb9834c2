#ifndef SHADER_DEBUGGER_INSTRUCTION_DXX_H
#define SHADER_DEBUGGER_INSTRUCTION_DXX_H

#include "ShaderDebuggerShader.h"
#include "ShaderDebuggerTokenStream.h"

#include <cstdint>
#include <string>
#include <vector>

namespace XAN_ShaderDebugger
{
const std::uint32_t MAX_SRC_REG_COUNT = 5;
// The most tokens that the 7-bit length field of an opcode token can express.
const std::uint32_t MAX_DXX_INSTRUCTION_TOKENS = 127;
const std::uint32_t DXX_OPCODE_CUSTOMDATA = 53;
const std::uint32_t DXX_OPCODE_COUNT = 208;
// Operand-token type numbers that the codec writes itself.
const std::uint32_t DXX_OPERAND_TEMP = 0;
const std::uint32_t DXX_OPERAND_OUTPUT = 2;
const std::uint32_t DXX_OPERAND_NULL = 13;

// Keyword groups of the opcode table.
enum DXXCategory
{
    DXX_CAT_NONE = 0,
    DXX_CAT_DECLARATION = 1,
    DXX_CAT_ARITHMETIC = 2,
    DXX_CAT_INTEGER = 3,
    DXX_CAT_DOUBLE = 4,
    DXX_CAT_FLOW = 5,
    DXX_CAT_LOAD = 6,
    DXX_CAT_STORE = 7,
    DXX_CAT_ATOMIC = 8,
    DXX_CAT_QUERY = 9
};

// One decoded instruction of the tokenized program. It keeps its tokens as read and the places
// of its destinations and sources, so that it can be written out unchanged or with another
// destination.
class CShaderDebuggerInstructionDXX
{
public:
    // The debugger is asked only for the host that assertions report to; it may be null.
    explicit CShaderDebuggerInstructionDXX(CShaderDebuggerBase* pDebugger);
    CShaderDebuggerInstructionDXX(const CShaderDebuggerInstructionDXX& other);
    CShaderDebuggerInstructionDXX& operator=(const CShaderDebuggerInstructionDXX& other);
    ~CShaderDebuggerInstructionDXX();

    // False at the end of the stream, or if the instruction's tokens run past it.
    bool ReadInstruction(CInputTokenStream<std::uint32_t>& stream);
    bool WriteInstruction(COutputTokenStream<std::uint32_t>& stream) const;

    std::uint32_t GetOpCode() const { return m_nOpCode; }
    std::uint32_t GetLength() const { return static_cast<std::uint32_t>(m_nLength); }
    const std::uint32_t* GetTokens() const { return m_dwTokens; }
    bool ReadToken(std::uint32_t& dwToken);

    bool GetDestRegister(Register& reg) const;
    Register GetDestRegister() const;
    bool GetDestRegister2(Register& reg) const;
    Register GetDestRegister2() const;
    bool HasDestRegister() const;
    bool HasDestRegister2() const;
    std::uint32_t GetDestRegCount() const;
    bool SetDestRegister(const RegisterID& reg, unsigned short nMask);
    bool SetDestRegister2(const RegisterID& reg, unsigned short nMask);
    // Token places of the destinations (0 for none) and of the sources.
    std::uint32_t GetDestRegOffset(std::uint32_t nDest) const { return m_dwDestRegOffset[nDest]; }
    std::uint32_t GetSrcRegOffset(std::uint32_t nSrc) const { return m_dwSrcRegOffset[nSrc]; }

    std::uint32_t GetSrcRegCount() const;
    bool GetSrcRegister(std::uint32_t dwSrcReg, Register& reg) const;
    Register GetSrcRegister(std::uint32_t dwSrcReg) const;

    bool WritesRegister(const RegisterID& reg) const;
    std::uint32_t GetOutputSystemValue() const;
    // The table's data type with the return type of resinfo, bufinfo and sample_info resolved
    // from the opcode token.
    static std::uint32_t GetDataType(std::uint32_t dwOpcodeToken);

private:
    CShaderDebuggerHost* GetHost() const;
    // The type of the operand at a place; RT_Unknown for none or one past the instruction.
    RegisterType OperandTypeAt(std::uint32_t dwOffset) const;
    // The first index of the operand at a place, 0 without one.
    int FirstIndex(std::uint32_t dwOffset) const;
    bool DecodeDestRegister(std::uint32_t dwOffset, Register& reg) const;
    bool ReplaceDestRegister(std::uint32_t dwOffset, const RegisterID& reg, unsigned short nMask);
    void CopyFrom(const CShaderDebuggerInstructionDXX& other);

    std::uint32_t m_nOpCode;
    std::uint32_t* m_dwTokens;
    std::int32_t m_nLength;
    std::uint32_t m_nReadTokens;
    std::uint32_t m_dwDestRegOffset[2];
    std::uint32_t m_dwSrcRegOffset[MAX_SRC_REG_COUNT];
    CShaderDebuggerBase* m_pDebugger;
    // Tokens that m_dwTokens has room for: 127, or more for a customdata block.
    std::uint32_t m_nCapacity;
};

// The opcode table's columns; an opcode without a row gives 0 and "Unknown OpCode".
std::uint32_t GetOpCodeShaderMask(std::uint32_t nOpCode);
std::uint32_t GetOpCodeCategory(std::uint32_t nOpCode);
bool IsDeclaration(std::uint32_t nOpCode);
bool IsInputDeclaration(std::uint32_t nOpCode);
bool IsOutputDeclaration(std::uint32_t nOpCode);
std::uint32_t GetOpCodeDataType(std::uint32_t nOpCode);
std::uint32_t GetOpCodeDestRegCount(std::uint32_t nOpCode);
std::uint32_t GetOpCodeSrcRegCount(std::uint32_t nOpCode);
const char* GetOpCodeName(std::uint32_t nOpCode);
const char* GetOpCodeKeywords(std::uint32_t nOpCode);

bool IsFlowControl(std::uint32_t nOpCode);
bool IsExecutable(std::uint32_t nOpCode);
bool IsUAVDeclaration(std::uint32_t nOpCode);
bool IsUAVBinding(std::uint32_t nBindingType);
std::uint32_t GetComponentCount(std::uint32_t nComponentForm);
std::uint32_t ReturnTypeToDataType(std::uint32_t nReturnType);

// The operand-token type number and the shared register type, both ways.
RegisterType OperandTypeToRegisterType(std::uint32_t nOperandType);
std::uint32_t RegisterTypeToOperandType(RegisterType type);
bool IsOutputRegister(RegisterType type);

// An operand token of one index dimension; maskBits stand at bits 4 to 7 already.
std::uint32_t EncodeOperand(std::uint32_t nOperandType, std::uint32_t maskBits);
// Tokens of the operand whose token pOperand points at, indices and relative operands
// included. It reads no further than nAvailable tokens: an operand that would run past them,
// or that has an undefined index representation, gives 0.
std::uint32_t GetOperandLength(const std::uint32_t* pOperand, std::uint32_t nAvailable);

// The registers a shader declares, for the last keyword list.
struct DXXDeclaredRegisters
{
    std::uint32_t nTemps = 0;
    std::uint32_t nImmediateConstantBuffers = 0;
    std::vector<std::uint32_t> vConstantBuffers;
    std::vector<std::uint32_t> vSamplers;
    std::vector<std::uint32_t> vResources;
    std::vector<std::uint32_t> vUAVs;
    std::vector<std::uint32_t> vGroupShared;
    std::vector<std::uint32_t> vInputs;
    std::vector<std::uint32_t> vOutputs;
    std::vector<std::uint32_t> vIndexableTemps;
    bool bDepth = false;
    bool bCoverageMask = false;
};

// The five keyword lists of the assembly for a stage (ST_*) and shader model: the fixed and
// stage words with the other categories, loads and stores, integer and atomics, double
// precision, and the shader's registers.
std::vector<std::string> GetShaderKeywordsDXX(std::uint32_t nShaderType,
                                              std::uint32_t nVersionMajor,
                                              const DXXDeclaredRegisters& registers);
} // namespace XAN_ShaderDebugger

#endif
