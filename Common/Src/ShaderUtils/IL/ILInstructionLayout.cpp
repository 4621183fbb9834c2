#include "ShaderUtils/IL/ILInstructionLayout.h"

#include "ShaderUtils/IL/ILFormat.h"
#include "ShaderUtils/IL/ILShaderUtils.h"

namespace ShaderUtils
{
namespace
{
// Reads the tokens of one instruction; the first failure sticks.
class CLayoutReader
{
public:
    CLayoutReader(const unsigned int* pTokens, std::size_t nAvailable)
        : m_pTokens(pTokens), m_nAvailable(nAvailable)
    {
    }

    unsigned int GetPos() const { return static_cast<unsigned int>(m_nPos); }
    ILDecodeStatus GetStatus() const { return m_status; }
    void Fail(ILDecodeStatus status)
    {
        if (m_status == IL_DECODE_OK)
        {
            m_status = status;
        }
    }

    unsigned int Read()
    {
        const std::size_t nPos = m_nPos;
        Skip(1);
        return m_status == IL_DECODE_OK ? m_pTokens[nPos] : 0;
    }

    // Counts come from the stream and may be anything, so they are checked
    // before anything is read or allocated for them.
    bool Require(unsigned long long nCount)
    {
        const unsigned long long nEnd = m_nPos + nCount;
        if (nEnd > IL_MAX_INSTRUCTION_TOKENS)
        {
            Fail(IL_DECODE_TOO_LONG);
        }
        else if (nEnd > m_nAvailable)
        {
            Fail(IL_DECODE_TRUNCATED);
        }
        return m_status == IL_DECODE_OK;
    }

    void Skip(unsigned long long nCount)
    {
        if (Require(nCount))
        {
            m_nPos += static_cast<std::size_t>(nCount);
        }
    }

    void ReadOperand(ILOperandLayout& op)
    {
        op = ILOperandLayout();
        op.nOffset = GetPos();
        op.nToken = Read();
        if (op.nToken & IL_REG_MODIFIER_PRESENT)
        {
            op.nModifier = Read();
        }
        switch (GetILRelativeAddress(op.nToken))
        {
        case IL_ADDR_ABSOLUTE:
            if (op.nToken & IL_REG_DIMENSION)
            {
                op.nDimension = Read();
            }
            break;
        case IL_ADDR_RELATIVE:
            op.nRelative = Read();
            break;
        case IL_ADDR_REG_RELATIVE:
            if (op.nToken & IL_REG_DIMENSION)
            {
                Fail(IL_DECODE_REG_RELATIVE_DIMENSION);
            }
            op.nIndexToken = Read();
            if (op.nIndexToken & IL_REG_MODIFIER_PRESENT)
            {
                op.nIndexModifier = Read();
            }
            break;
        default:
            break;
        }
        if (op.nToken & IL_REG_IMMEDIATE_PRESENT)
        {
            op.nImmediate = Read();
        }
        if (op.nToken & IL_REG_EXTENDED)
        {
            op.nExtension = Read();
        }
        op.nLength = GetPos() - op.nOffset;
    }

private:
    const unsigned int* m_pTokens;
    std::size_t m_nAvailable;
    std::size_t m_nPos = 0;
    ILDecodeStatus m_status = IL_DECODE_OK;
};

ILDecodeStatus ToDecodeStatus(ILDescStatus status)
{
    switch (status)
    {
    case IL_DESC_UNKNOWN_OPCODE:
        return IL_DECODE_UNKNOWN_OPCODE;
    case IL_DESC_UNKNOWN_KIND:
        return IL_DECODE_UNKNOWN_KIND;
    case IL_DESC_BAD_MCALL:
        return IL_DECODE_BAD_MCALL;
    default:
        return IL_DECODE_OK;
    }
}
} // namespace

ILDecodeStatus DecodeILInstruction(const unsigned int* pTokens, std::size_t nAvailable,
                                   ILInstructionLayout& inst)
{
    if (pTokens == nullptr || nAvailable == 0)
    {
        return IL_DECODE_END;
    }
    CLayoutReader reader(pTokens, nAvailable);
    inst.nOpcodeToken = reader.Read();
    inst.nOpCode = GetILOpCode(inst.nOpcodeToken);
    inst.nInstMod = ILShaderUtils::HasInstMod(inst.nOpCode) ? reader.Read() : 0;
    inst.nPriModifier = 0;
    inst.nSecModifier = 0;
    inst.nCbDataOffset = 0;
    inst.nCbDataCount = 0;
    inst.vSources.clear();

    ILOperandCounts counts{};
    reader.Fail(ToDecodeStatus(GetOperandCounts(inst.nOpcodeToken, inst.nInstMod, counts)));
    if (reader.GetStatus() != IL_DECODE_OK)
    {
        return reader.GetStatus();
    }
    if (ILShaderUtils::HasModifierTokens(inst.nOpCode))
    {
        if (inst.nOpcodeToken & IL_PRI_MODIFIER_PRESENT)
        {
            inst.nPriModifier = reader.Read();
            if (HasCountedData(inst.nOpCode))
            {
                inst.nCbDataOffset = reader.GetPos();
                inst.nCbDataCount = inst.nPriModifier;
                reader.Skip(inst.nPriModifier);
            }
        }
        if (inst.nOpcodeToken & IL_SEC_MODIFIER_PRESENT)
        {
            inst.nSecModifier = reader.Read();
        }
    }
    inst.bHasDest = counts.bHasDest;
    if (inst.bHasDest)
    {
        reader.ReadOperand(inst.dest);
    }
    // mcall's count comes from the stream; each source takes at least a token.
    if (!reader.Require(counts.nSrcCount))
    {
        return reader.GetStatus();
    }
    inst.vSources.resize(counts.nSrcCount);
    for (ILOperandLayout& src : inst.vSources)
    {
        reader.ReadOperand(src);
    }
    inst.nTrailingOffset = reader.GetPos();
    if (HasCountedText(inst.nOpCode))
    {
        reader.Skip(reader.Read());
    }
    else
    {
        reader.Skip(GetTrailingTokenCount(inst.nOpcodeToken));
    }
    inst.nTrailingCount = reader.GetPos() - inst.nTrailingOffset;
    inst.nLength = reader.GetPos();
    return reader.GetStatus();
}

const char* GetILDecodeStatusText(ILDecodeStatus status)
{
    switch (status)
    {
    case IL_DECODE_OK:
        return "ok";
    case IL_DECODE_END:
        return "end of the tokens";
    case IL_DECODE_UNKNOWN_OPCODE:
        return "unknown opcode";
    case IL_DECODE_UNKNOWN_KIND:
        return "opcode without an operand description";
    case IL_DECODE_BAD_MCALL:
        return "mcall with more than one output";
    case IL_DECODE_TRUNCATED:
        return "the tokens end inside the instruction";
    case IL_DECODE_REG_RELATIVE_DIMENSION:
        return "dimension set on a register-relative operand";
    case IL_DECODE_TOO_LONG:
        return "instruction longer than 4100 tokens";
    }
    return "unknown status";
}
} // namespace ShaderUtils
