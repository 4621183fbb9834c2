#include "ShaderDebuggerIL/ShaderDebuggerInstructionIL.h"

#include "ShaderDebuggerIL/ShaderDebuggerUtilsIL.h"
#include "ShaderUtils/IL/ILFormat.h"
#include "ShaderUtils/IL/ILShaderUtils.h"

#include <cstring>
#include <vector>

// Reports a failed check whose text isn't a condition of the code.
#define SDU_AssertText(pHost, pText)                                                               \
    XAN_ShaderDebugger::SDU_ReportAssert((pHost), (pText), __FILE__, __LINE__, __PRETTY_FUNCTION__)

namespace XAN_ShaderDebugger
{
using namespace ShaderUtils;

namespace
{
// The tokens of the instruction under decode. One buffer serves every instruction, so that a
// decode allocates only once it knows the length; one thread at a time drives the engine.
unsigned int* GetScratchTokens()
{
    static std::vector<unsigned int> s_vScratch(IL_MAX_INSTRUCTION_TOKENS);
    return s_vScratch.data();
}

// Collects the tokens of one instruction from a stream. A token that can't be read is reported
// with the text given and ends only the step that wanted it; a token beyond the longest
// instruction of the format ends the whole decode.
class CILTokenReader
{
public:
    enum OperandResult
    {
        OPERAND_READ,
        OPERAND_MISSING, // the stream ended before the operand token
        OPERAND_REFUSED  // register-relative with a dimension, or too long
    };

    CILTokenReader(CInputTokenStream<unsigned int>& stream, unsigned int* pTokens,
                   CShaderDebuggerHost* pHost)
        : m_Stream(stream), m_pTokens(pTokens), m_pHost(pHost), m_bTooLong(false)
    {
    }

    bool IsTooLong() const { return m_bTooLong; }
    unsigned int GetToken(unsigned int nIndex) const { return m_pTokens[nIndex]; }

    // Reads up to nCount tokens to nPos, which moves past those read, and stops at the first
    // that can't be read. A null pText reports nothing.
    bool Read(unsigned int& nPos, unsigned long long nCount, const char* pText)
    {
        for (unsigned long long n = 0; n < nCount; ++n)
        {
            if (m_bTooLong)
            {
                return false;
            }
            if (nPos >= IL_MAX_INSTRUCTION_TOKENS)
            {
                SDU_AssertText(m_pHost, "m_nLength <= IL_MAX_INSTRUCTION_TOKENS");
                m_bTooLong = true;
                return false;
            }
            if (!m_Stream.ReadToken(m_pTokens[nPos]))
            {
                if (pText != NULL)
                {
                    SDU_AssertText(m_pHost, pText);
                }
                return false;
            }
            ++nPos;
        }
        return true;
    }

    // Reads an operand token and the tokens behind it, in their order: modifier, relative or
    // dimension index, immediate, extension.
    OperandResult ReadOperand(unsigned int& nPos, const char* pReadText, const char* pDimensionText)
    {
        const unsigned int nStart = nPos;
        if (!Read(nPos, 1, NULL))
        {
            return m_bTooLong ? OPERAND_REFUSED : OPERAND_MISSING;
        }
        const unsigned int nToken = m_pTokens[nStart];
        if (nToken & IL_REG_MODIFIER_PRESENT)
        {
            Read(nPos, 1, pReadText);
        }
        switch (GetILRelativeAddress(nToken))
        {
        case IL_ADDR_ABSOLUTE:
            Read(nPos, (nToken & IL_REG_DIMENSION) ? 1 : 0, pReadText);
            break;
        case IL_ADDR_RELATIVE:
            Read(nPos, 1, pReadText);
            break;
        case IL_ADDR_REG_RELATIVE:
            if (nToken & IL_REG_DIMENSION)
            {
                SDU_AssertText(m_pHost, pDimensionText);
                return OPERAND_REFUSED;
            }
            // The index register has the operand layout, with its own modifier.
            if (Read(nPos, 1, pReadText) && (m_pTokens[nPos - 1] & IL_REG_MODIFIER_PRESENT))
            {
                Read(nPos, 1, pReadText);
            }
            break;
        default:
            break;
        }
        Read(nPos, (nToken & IL_REG_IMMEDIATE_PRESENT) ? 1 : 0, pReadText);
        Read(nPos, (nToken & IL_REG_EXTENDED) ? 1 : 0, pReadText);
        return m_bTooLong ? OPERAND_REFUSED : OPERAND_READ;
    }

private:
    CInputTokenStream<unsigned int>& m_Stream;
    unsigned int* m_pTokens;
    CShaderDebuggerHost* m_pHost;
    bool m_bTooLong;
};

unsigned int* CopyTokens(const unsigned int* pTokens, unsigned int nCount)
{
    if (pTokens == NULL || nCount == 0)
    {
        return NULL;
    }
    unsigned int* pCopy = new unsigned int[nCount];
    std::memcpy(pCopy, pTokens, nCount * sizeof(unsigned int));
    return pCopy;
}
} // namespace

CShaderDebuggerInstructionIL::CShaderDebuggerInstructionIL(IShaderDebugger* pDebugger)
    : m_OpCode(IL_OP_UNKNOWN), m_pTokens(NULL), m_nLength(0), m_nReadTokens(0),
      m_nDestRegTokenOffset(0), m_nSrcRegTokenOffsets(), m_nExtendedSrcRegTokenOffsetsCount(0),
      m_pExtendedSrcRegTokenOffsets(NULL), m_pDebugger(pDebugger)
{
}

CShaderDebuggerInstructionIL::CShaderDebuggerInstructionIL(
    const CShaderDebuggerInstructionIL& other)
    : m_OpCode(other.m_OpCode), m_pTokens(CopyTokens(other.m_pTokens, other.m_nLength)),
      m_nLength(other.m_nLength), m_nReadTokens(other.m_nReadTokens),
      m_nDestRegTokenOffset(other.m_nDestRegTokenOffset),
      m_nExtendedSrcRegTokenOffsetsCount(other.m_nExtendedSrcRegTokenOffsetsCount),
      m_pExtendedSrcRegTokenOffsets(NULL), m_pDebugger(other.m_pDebugger)
{
    std::memcpy(m_nSrcRegTokenOffsets, other.m_nSrcRegTokenOffsets, sizeof(m_nSrcRegTokenOffsets));
    try
    {
        m_pExtendedSrcRegTokenOffsets = CopyTokens(other.m_pExtendedSrcRegTokenOffsets,
                                                   other.m_nExtendedSrcRegTokenOffsetsCount);
    }
    catch (...)
    {
        delete[] m_pTokens;
        throw;
    }
}

CShaderDebuggerInstructionIL&
CShaderDebuggerInstructionIL::operator=(const CShaderDebuggerInstructionIL& other)
{
    if (this != &other)
    {
        // The copy is made first, so that running out of memory leaves this one as it was.
        CShaderDebuggerInstructionIL copy(other);
        std::swap(m_OpCode, copy.m_OpCode);
        std::swap(m_pTokens, copy.m_pTokens);
        std::swap(m_nLength, copy.m_nLength);
        std::swap(m_nReadTokens, copy.m_nReadTokens);
        std::swap(m_nDestRegTokenOffset, copy.m_nDestRegTokenOffset);
        std::swap(m_nSrcRegTokenOffsets, copy.m_nSrcRegTokenOffsets);
        std::swap(m_nExtendedSrcRegTokenOffsetsCount, copy.m_nExtendedSrcRegTokenOffsetsCount);
        std::swap(m_pExtendedSrcRegTokenOffsets, copy.m_pExtendedSrcRegTokenOffsets);
        std::swap(m_pDebugger, copy.m_pDebugger);
    }
    return *this;
}

CShaderDebuggerInstructionIL::~CShaderDebuggerInstructionIL()
{
    Reset();
}

CShaderDebuggerHost* CShaderDebuggerInstructionIL::GetHost() const
{
    return m_pDebugger != NULL ? m_pDebugger->GetHost() : NULL;
}

void CShaderDebuggerInstructionIL::Reset()
{
    delete[] m_pTokens;
    delete[] m_pExtendedSrcRegTokenOffsets;
    m_OpCode = IL_OP_UNKNOWN;
    m_pTokens = NULL;
    m_nLength = 0;
    m_nReadTokens = 0;
    m_nDestRegTokenOffset = 0;
    std::memset(m_nSrcRegTokenOffsets, 0, sizeof(m_nSrcRegTokenOffsets));
    m_nExtendedSrcRegTokenOffsetsCount = 0;
    m_pExtendedSrcRegTokenOffsets = NULL;
}

bool CShaderDebuggerInstructionIL::LookUpOperands(unsigned int nOpcodeToken, unsigned int nInstMod,
                                                  const char* pAsker, bool& bHasDest,
                                                  unsigned int& nSrcCount) const
{
    ILOperandCounts counts = {false, 0};
    switch (GetOperandCounts(nOpcodeToken, nInstMod, counts))
    {
    case IL_DESC_UNKNOWN_OPCODE:
        SDU_AssertText(GetHost(), (std::string(pAsker) + "() - unable to find opcode").c_str());
        break;
    case IL_DESC_UNKNOWN_KIND:
        SDU_AssertText(GetHost(), "Didn't find opcode token description");
        break;
    case IL_DESC_BAD_MCALL:
        SDU_AssertText(GetHost(), "nOut < 2");
        break;
    default:
        break;
    }
    bHasDest = counts.bHasDest;
    nSrcCount = counts.nSrcCount;
    return bHasDest;
}

bool CShaderDebuggerInstructionIL::ReadInstruction(CInputTokenStream<unsigned int>& stream)
{
    Reset();
    unsigned int* tokens = GetScratchTokens();
    CILTokenReader reader(stream, tokens, GetHost());

    unsigned int nOpcodeTokenLen = 0;
    if (!reader.Read(nOpcodeTokenLen, 1, NULL))
    {
        return false;
    }
    const unsigned int nOpcodeToken = tokens[0];
    m_OpCode = GetILOpCode(nOpcodeToken) < IL_OP_LAST ? GetILOpCode(nOpcodeToken) : IL_OP_UNKNOWN;
    SDU_Assert(GetHost(), m_OpCode != IL_OP_UNKNOWN);
    if (m_OpCode == IL_OP_UNKNOWN)
    {
        return false;
    }

    unsigned int instMod = 0;
    if (ILShaderUtils::HasInstMod(m_OpCode) &&
        reader.Read(nOpcodeTokenLen, 1, "stream.ReadToken(instMod)"))
    {
        instMod = tokens[nOpcodeTokenLen - 1];
    }
    if (ILShaderUtils::HasModifierTokens(m_OpCode))
    {
        if ((nOpcodeToken & IL_PRI_MODIFIER_PRESENT) &&
            reader.Read(nOpcodeTokenLen, 1, "stream.ReadToken(priMod)") && HasCountedData(m_OpCode))
        {
            // dcl_cb's primary modifier counts the data that follows it.
            const unsigned int priMod = tokens[nOpcodeTokenLen - 1];
            reader.Read(nOpcodeTokenLen, priMod, "stream.ReadToken(tokens[nOpcodeTokenLen])");
        }
        if (nOpcodeToken & IL_SEC_MODIFIER_PRESENT)
        {
            reader.Read(nOpcodeTokenLen, 1, "stream.ReadToken(tokens[nOpcodeTokenLen])");
        }
    }

    bool bHasDest = false;
    unsigned int nSrcCount = 0;
    unsigned int nSrcRegOffset = nOpcodeTokenLen;
    if (LookUpOperands(nOpcodeToken, instMod, "HasDestReg", bHasDest, nSrcCount))
    {
        m_nDestRegTokenOffset = nOpcodeTokenLen;
        if (reader.ReadOperand(nSrcRegOffset,
                               "stream.ReadToken(tokens[m_nDestRegTokenOffset + nDestTokenLen])",
                               "dst->bits.dimension == 0") == CILTokenReader::OPERAND_REFUSED)
        {
            Reset();
            return false;
        }
    }

    LookUpOperands(nOpcodeToken, instMod, "GetSrcRegCount", bHasDest, nSrcCount);
    if (nSrcCount > MAX_BASE_SRC_REG_COUNT)
    {
        m_nExtendedSrcRegTokenOffsetsCount = nSrcCount - MAX_BASE_SRC_REG_COUNT;
        m_pExtendedSrcRegTokenOffsets = new unsigned int[m_nExtendedSrcRegTokenOffsetsCount]();
    }
    for (unsigned int nSrc = 0; nSrc < nSrcCount; ++nSrc)
    {
        SrcRegTokenOffset(nSrc) = nSrcRegOffset;
        if (reader.ReadOperand(nSrcRegOffset, "stream.ReadToken(tokens[nSrcRegOffset])",
                               "src->bits.dimension == 0") == CILTokenReader::OPERAND_REFUSED)
        {
            Reset();
            return false;
        }
    }

    m_nLength = nSrcRegOffset;
    const char* pTrailingText = "stream.ReadToken(tokens[m_nLength])";
    if (reader.Read(m_nLength, GetTrailingTokenCount(nOpcodeToken), pTrailingText) &&
        HasCountedText(m_OpCode))
    {
        // A comment's count token gives the length of its text.
        reader.Read(m_nLength, tokens[m_nLength - 1], pTrailingText);
    }
    if (reader.IsTooLong())
    {
        Reset();
        return false;
    }

    m_pTokens = CopyTokens(tokens, m_nLength);
    return true;
}

bool CShaderDebuggerInstructionIL::WriteInstruction(COutputTokenStream<unsigned int>& stream) const
{
    return m_nLength != 0 && stream.WriteTokens(m_pTokens, m_nLength);
}

std::string CShaderDebuggerInstructionIL::GetOpCodeName() const
{
    const ILOpCodeDesc* pDesc = FindOpCodeDesc(m_OpCode);
    if (pDesc == NULL)
    {
        SDU_AssertText(GetHost(), "Didn't find opcode");
        return "ERROR";
    }
    return pDesc->pName;
}

unsigned int CShaderDebuggerInstructionIL::GetToken(unsigned int nIndex) const
{
    return nIndex < m_nLength ? m_pTokens[nIndex] : 0;
}

bool CShaderDebuggerInstructionIL::ReadToken(unsigned int& dwToken)
{
    SDU_Assert(GetHost(), m_nReadTokens < m_nLength);
    if (m_nReadTokens >= m_nLength)
    {
        return false;
    }
    dwToken = m_pTokens[m_nReadTokens++];
    return true;
}

unsigned int CShaderDebuggerInstructionIL::GetInstMod() const
{
    return ILShaderUtils::HasInstMod(m_OpCode) ? GetToken(1) : 0;
}

bool CShaderDebuggerInstructionIL::HasDestReg() const
{
    Register reg;
    return GetDestRegister(reg);
}

unsigned int CShaderDebuggerInstructionIL::GetDestRegType() const
{
    SDU_Assert(GetHost(), m_nDestRegTokenOffset);
    if (!IsValidOffset(m_nDestRegTokenOffset))
    {
        return IL_REGTYPE_LAST;
    }
    return GetILRegType(m_pTokens[m_nDestRegTokenOffset]);
}

bool CShaderDebuggerInstructionIL::GetDestRegister(Register& reg) const
{
    if (!IsValidOffset(m_nDestRegTokenOffset))
    {
        return false;
    }
    const unsigned int nDest = m_nDestRegTokenOffset;
    const unsigned int dst = m_pTokens[nDest];
    const RegisterType regType = ILtoSDRegisterType(GetILRegType(dst));
    SDU_Assert(GetHost(), regType != RT_Unknown);
    if (regType == RT_Unknown)
    {
        return false;
    }
    const unsigned int nRelative = GetILRelativeAddress(dst);
    const int number = GetILRegType(dst) == IL_REGTYPE_OUTPUT && nRelative == IL_ADDR_REG_RELATIVE
                           ? -1
                           : GetILRegNumber(dst);

    unsigned int nOffset = 0;
    unsigned short mask = COMP_All;
    if (dst & IL_REG_MODIFIER_PRESENT)
    {
        mask = GetDestMask(GetToken(nDest + ++nOffset));
    }

    if (nRelative != IL_ADDR_ABSOLUTE && nRelative != IL_ADDR_REG_RELATIVE)
    {
        SDU_AssertText(GetHost(), "dst->bits.relative_address == IL_ADDR_ABSOLUTE || "
                                  "dst->bits.relative_address == IL_ADDR_REG_RELATIVE");
        return false;
    }

    Register indexRegister;
    const bool bIndexed = nRelative == IL_ADDR_REG_RELATIVE;
    if (bIndexed)
    {
        const unsigned int indexSrc = GetToken(nDest + ++nOffset);
        const RegisterType indexRegType = ILtoSDRegisterType(GetILRegType(indexSrc));
        SDU_Assert(GetHost(), indexRegType != RT_Unknown);
        if (indexRegType == RT_Unknown)
        {
            return false;
        }
        if (GetILRelativeAddress(indexSrc) != IL_ADDR_ABSOLUTE ||
            (indexSrc & IL_REG_IMMEDIATE_PRESENT) != 0)
        {
            SDU_AssertText(GetHost(), "indexSrc->bits.relative_address == IL_ADDR_ABSOLUTE && "
                                      "indexSrc->bits.immediate_present == 0");
            return false;
        }
        if ((indexSrc & IL_REG_MODIFIER_PRESENT) == 0)
        {
            SDU_AssertText(GetHost(), "Modifier not present");
            return false;
        }
        indexRegister = Register(RegisterID(indexRegType, GetILRegNumber(indexSrc), 0, NULL),
                                 GetSrcMask(GetToken(nDest + ++nOffset)));
    }
    else if (dst & IL_REG_DIMENSION)
    {
        // The dimension index comes before the immediate; it isn't the register's index.
        ++nOffset;
    }

    unsigned int index = 0;
    if (dst & IL_REG_IMMEDIATE_PRESENT)
    {
        index = GetToken(nDest + ++nOffset);
    }
    reg = Register(RegisterID(regType, number, index, bIndexed ? &indexRegister : NULL), mask);
    return true;
}

Register CShaderDebuggerInstructionIL::GetDestRegister() const
{
    Register reg;
    SDU_Assert(GetHost(), GetDestRegister(reg));
    return reg;
}

bool CShaderDebuggerInstructionIL::ReplaceDestRegister(Register reg)
{
    const unsigned int nILType = SDtoILRegisterType(reg.reg.type);
    if (!IsValidOffset(m_nDestRegTokenOffset) || nILType == IL_REGTYPE_LAST)
    {
        return false;
    }
    const unsigned int nSrcCount = GetSrcRegCount();
    const unsigned int nFirstSrc = nSrcCount > 0 ? SrcRegTokenOffset(0) : 0;
    const unsigned int nOldLen = (nFirstSrc != 0 ? nFirstSrc : m_nLength) - m_nDestRegTokenOffset;

    unsigned int& dst = m_pTokens[m_nDestRegTokenOffset];
    // Only a temp has a sign; another type mustn't keep the old one.
    dst &= ~IL_REG_SIGN;
    SetRegisterType(dst, nILType);
    SetRegisterNumber(dst, static_cast<unsigned int>(reg.reg.number));
    const unsigned int nNewLen = (dst & IL_REG_MODIFIER_PRESENT) ? 2 : 1;
    if (nNewLen < nOldLen)
    {
        // Only the register token and its modifier stay, so nothing may ask for more.
        dst &= ~((IL_REG_RELATIVE_MASK << IL_REG_RELATIVE_SHIFT) | IL_REG_DIMENSION |
                 IL_REG_IMMEDIATE_PRESENT | IL_REG_EXTENDED);
        const unsigned int nRemoved = nOldLen - nNewLen;
        const unsigned int nTail = m_nDestRegTokenOffset + nOldLen;
        std::memmove(m_pTokens + nTail - nRemoved, m_pTokens + nTail,
                     (m_nLength - nTail) * sizeof(unsigned int));
        for (unsigned int nSrc = 0; nSrc < nSrcCount; ++nSrc)
        {
            if (SrcRegTokenOffset(nSrc) >= nTail)
            {
                SrcRegTokenOffset(nSrc) -= nRemoved;
            }
        }
        m_nLength -= nRemoved;
    }
    return true;
}

unsigned int CShaderDebuggerInstructionIL::GetSrcRegCount() const
{
    if (m_nLength == 0)
    {
        return 0;
    }
    bool bHasDest = false;
    unsigned int nSrcCount = 0;
    LookUpOperands(m_pTokens[0], GetInstMod(), "GetSrcRegCount", bHasDest, nSrcCount);
    return nSrcCount;
}

bool CShaderDebuggerInstructionIL::GetSrcRegister(unsigned int nSrcReg, Register& reg) const
{
    SDU_Assert(GetHost(), nSrcReg < GetSrcRegCount());
    if (nSrcReg < GetSrcRegCount() && DecodeSrcRegister(nSrcReg, reg))
    {
        return true;
    }
    reg = g_Reg_NULL;
    return false;
}

bool CShaderDebuggerInstructionIL::DecodeSrcRegister(unsigned int nSrcReg, Register& reg) const
{
    const unsigned int* pOffset = FindSrcRegTokenOffset(nSrcReg);
    if (pOffset == NULL || !IsValidOffset(*pOffset))
    {
        return false;
    }
    const unsigned int src = m_pTokens[*pOffset];
    const unsigned short mask =
        (src & IL_REG_MODIFIER_PRESENT) ? GetSrcMask(GetToken(*pOffset + 1)) : COMP_All;
    reg = Register(RegisterID(ILtoSDRegisterType(GetILRegType(src)), GetILRegNumber(src), 0, NULL),
                   mask);
    return true;
}

Register CShaderDebuggerInstructionIL::GetSrcRegister(unsigned int nSrcReg) const
{
    Register reg;
    SDU_Assert(GetHost(), GetSrcRegister(nSrcReg, reg));
    return reg;
}

const unsigned int* CShaderDebuggerInstructionIL::FindSrcRegTokenOffset(unsigned int ind) const
{
    SDU_Assert(GetHost(), (MAX_BASE_SRC_REG_COUNT + m_nExtendedSrcRegTokenOffsetsCount) > ind);
    if (ind < MAX_BASE_SRC_REG_COUNT)
    {
        return &m_nSrcRegTokenOffsets[ind];
    }
    if (ind - MAX_BASE_SRC_REG_COUNT < m_nExtendedSrcRegTokenOffsetsCount)
    {
        return &m_pExtendedSrcRegTokenOffsets[ind - MAX_BASE_SRC_REG_COUNT];
    }
    return NULL;
}

unsigned int& CShaderDebuggerInstructionIL::SrcRegTokenOffset(unsigned int ind)
{
    // An index beyond the sources gets a slot of its own that reads 0 and keeps nothing.
    static unsigned int s_nNoOffset;
    s_nNoOffset = 0;
    const unsigned int* pOffset = FindSrcRegTokenOffset(ind);
    return pOffset != NULL ? *const_cast<unsigned int*>(pOffset) : s_nNoOffset;
}

unsigned int CShaderDebuggerInstructionIL::SrcRegTokenOffset(unsigned int ind) const
{
    const unsigned int* pOffset = FindSrcRegTokenOffset(ind);
    return pOffset != NULL ? *pOffset : 0;
}

bool CShaderDebuggerInstructionIL::WritesRegister(const RegisterID& id) const
{
    Register reg;
    return GetDestRegister(reg) && reg.reg == id;
}

bool CShaderDebuggerInstructionIL::ReadsRegister(const RegisterID& id) const
{
    const unsigned int nSrcCount = GetSrcRegCount();
    for (unsigned int nSrc = 0; nSrc < nSrcCount; ++nSrc)
    {
        Register reg;
        if (DecodeSrcRegister(nSrc, reg) && reg.reg == id)
        {
            return true;
        }
    }
    return false;
}
} // namespace XAN_ShaderDebugger
