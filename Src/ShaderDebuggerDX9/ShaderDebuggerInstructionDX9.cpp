#include "ShaderDebuggerDX9/ShaderDebuggerInstructionDX9.h"

#include "ShaderDebuggerBase.h"

// Reports a failed step of the decoder by the expression that failed.
#define SDU_AssertText(pHost, pText)                                                               \
    XAN_ShaderDebugger::SDU_ReportAssert((pHost), (pText), __FILE__, __LINE__, __PRETTY_FUNCTION__)

namespace XAN_ShaderDebugger
{
namespace
{
const std::uint32_t PARAM_TOKEN_BIT = 0x80000000u;
const std::uint32_t RELATIVE_ADDRESS_BIT = 0x2000u;
const std::uint32_t PREDICATED_BIT = 0x10000000u;
const std::uint32_t COMPONENT_MASK_SHIFT = 16;

// Raw types 11 to 13 are the upper banks of the float constants, 2048 registers each.
const std::uint32_t D3DSPR_CONST2 = 11;
const std::uint32_t D3DSPR_CONST4 = 13;
const std::uint32_t CONST_BANK_SIZE = 2048;

std::uint32_t GetRawRegisterType(std::uint32_t dwToken)
{
    return ((dwToken >> 28) & 0x7) | ((dwToken >> 8) & 0x18);
}

std::uint32_t EncodeRegister(std::uint32_t nType, std::uint32_t nIndex, std::uint32_t dwModifiers)
{
    return PARAM_TOKEN_BIT | ((nType & 0x7) << 28) | ((nType & 0x18) << 8) | (nIndex & 0x7FF) |
           dwModifiers;
}

Register MakeRegister(std::uint32_t dwToken, std::uint32_t dwMaskToken)
{
    RegisterID id(GetRegisterTypeSD(GetRegisterType(dwToken)),
                  static_cast<int>(GetRegisterNumber(dwToken)), 0, NULL);
    return Register(id, static_cast<unsigned short>((dwMaskToken >> COMPONENT_MASK_SHIFT) & 0xF));
}
} // namespace

std::uint32_t GetRegisterType(std::uint32_t dwToken)
{
    const std::uint32_t nType = GetRawRegisterType(dwToken);
    return nType >= D3DSPR_CONST2 && nType <= D3DSPR_CONST4 ? D3DSPR_CONST : nType;
}

std::uint32_t GetRegisterNumber(std::uint32_t dwToken)
{
    const std::uint32_t nType = GetRawRegisterType(dwToken);
    const std::uint32_t nNumber = dwToken & 0x7FF;
    if (nType >= D3DSPR_CONST2 && nType <= D3DSPR_CONST4)
    {
        return nNumber + (nType - D3DSPR_CONST2 + 1) * CONST_BANK_SIZE;
    }
    return nNumber;
}

RegisterType GetRegisterTypeSD(std::uint32_t nType)
{
    switch (nType)
    {
    case 0:
        return RT_Temp;
    case 1:
        return RT_Input;
    case 2:
    case 11:
    case 12:
    case 13:
        return RT_ConstantBuffer;
    case 3:
        return RT_Resource;
    case 4:
    case 5:
    case 6:
    case 8:
    case 9:
        return RT_Output;
    case 7:
        return RT_IntConstant;
    case 10:
        return RT_Sampler;
    case 14:
        return RT_BoolConstant;
    default:
        return RT_Unknown;
    }
}

std::uint32_t DestRegister(std::uint32_t nType, std::uint32_t nIndex, std::uint32_t dwMask)
{
    return EncodeRegister(nType, nIndex, dwMask);
}

std::uint32_t SrcRegister(std::uint32_t nType, std::uint32_t nIndex, std::uint32_t dwSwizzle)
{
    return EncodeRegister(nType, nIndex, dwSwizzle);
}

CShaderDebuggerInstructionDX9::CShaderDebuggerInstructionDX9(CShaderDebuggerBase* pDebugger)
    : m_pDebugger(pDebugger), m_nOpcode(0), m_dwTokens(), m_nLength(0), m_nReadTokens(0),
      m_nParamCount(0), m_bPredicated(false), m_bDclHasDest(false)
{
}

CShaderDebuggerHost* CShaderDebuggerInstructionDX9::GetHost() const
{
    return m_pDebugger != NULL ? m_pDebugger->GetHost() : NULL;
}

bool CShaderDebuggerInstructionDX9::ReadInstruction(CInputTokenStream<std::uint32_t>& stream)
{
    m_nReadTokens = 0;
    m_nParamCount = 0;
    m_bPredicated = false;
    m_bDclHasDest = false;
    m_nLength = 0;
    if (!stream.ReadToken(m_dwTokens[0]))
    {
        return false;
    }
    const std::uint32_t dwToken0 = m_dwTokens[0];
    m_nReadTokens = 1;
    m_nOpcode = dwToken0 & 0xFFFF;
    m_nLength = 1;
    if ((dwToken0 & 0xFFFF0000u) == 0xFFFF0000u)
    {
        m_nOpcode = D3DSIO_PS_VERSION;
        return true;
    }
    if (dwToken0 == D3DSIO_END)
    {
        return true;
    }

    if (m_nOpcode == D3DSIO_COMMENT)
    {
        const std::uint32_t nCommentTokens = (dwToken0 >> 16) & 0x7FFF;
        if (nCommentTokens == 0)
        {
            return true;
        }
        if (!stream.ReadTokens(&m_dwTokens[1], nCommentTokens))
        {
            return false;
        }
        m_nLength += nCommentTokens;
        return true;
    }

    std::uint32_t dwNext = 0;
    if (m_nOpcode == D3DSIO_DCL)
    {
        m_nParamCount = 1;
        if (!ReadParameter(stream, "stream.ReadToken(m_dwTokens[m_nLength++])"))
        {
            return true;
        }
        if (!stream.PeekToken(dwNext))
        {
            SDU_AssertText(GetHost(), "stream.PeekToken(m_dwTokens[m_nLength])");
            return true;
        }
        if ((dwNext & PARAM_TOKEN_BIT) != 0)
        {
            m_bDclHasDest = ReadParameter(stream, "stream.ReadToken(m_dwTokens[m_nLength++])");
        }
        return true;
    }

    if (!stream.PeekToken(dwNext))
    {
        SDU_AssertText(GetHost(), "stream.PeekToken(dwToken)");
        return true;
    }
    if ((dwNext & PARAM_TOKEN_BIT) == 0)
    {
        return true;
    }

    // The destination and the literal values behind it.
    std::uint32_t nFixedTokens = HasDestToken() ? 1 : 0;
    if (m_nOpcode == D3DSIO_DEFB)
    {
        nFixedTokens = 2;
        m_nParamCount = 1;
    }
    else if (m_nOpcode == D3DSIO_DEFI || m_nOpcode == D3DSIO_DEF)
    {
        nFixedTokens = 5;
        m_nParamCount = 4;
    }
    for (std::uint32_t i = 0; i < nFixedTokens; ++i)
    {
        if (!ReadParameter(stream, "stream.ReadToken(m_dwTokens[m_nLength++])"))
        {
            return true;
        }
    }

    if ((dwToken0 & PREDICATED_BIT) != 0)
    {
        m_bPredicated = true;
        std::uint32_t dwToken1 = 0;
        if (!stream.PeekToken(dwToken1))
        {
            SDU_AssertText(GetHost(), "stream.PeekToken(dwToken1)");
            return true;
        }
        SDU_Assert(GetHost(), dwToken1 & (1L << 31));
        if (!ReadParameter(stream, "stream.ReadToken(m_dwTokens[m_nLength++])"))
        {
            return true;
        }
    }

    // Operands, each with its relative-address token, up to the next instruction token.
    while (stream.PeekToken(dwNext) && (dwNext & PARAM_TOKEN_BIT) != 0)
    {
        if (!ReadParameter(stream, "stream.ReadToken(m_dwTokens[m_nLength])"))
        {
            return true;
        }
        if ((dwNext & RELATIVE_ADDRESS_BIT) != 0 &&
            !ReadParameter(stream, "stream.ReadToken(m_dwTokens[m_nLength])"))
        {
            return true;
        }
    }

    if (!IsConstantDefinition())
    {
        for (std::uint32_t nPlace = GetFirstSrcPlace(); nPlace < m_nLength; ++nPlace)
        {
            ++m_nParamCount;
            if ((m_dwTokens[nPlace] & RELATIVE_ADDRESS_BIT) != 0)
            {
                ++nPlace;
            }
        }
    }
    return true;
}

bool CShaderDebuggerInstructionDX9::ReadParameter(CInputTokenStream<std::uint32_t>& stream,
                                                  const char* pText)
{
    // A run of parameter tokens longer than any instruction is malformed input.
    if (m_nLength >= MAX_TOKENS)
    {
        SDU_AssertText(GetHost(), "m_nLength < MAX_TOKENS");
        return false;
    }
    if (!stream.ReadToken(m_dwTokens[m_nLength]))
    {
        SDU_AssertText(GetHost(), pText);
        return false;
    }
    ++m_nLength;
    return true;
}

bool CShaderDebuggerInstructionDX9::WriteInstruction(
    COutputTokenStream<std::uint32_t>& stream) const
{
    if (m_nLength == 0)
    {
        return false;
    }
    return stream.WriteTokens(m_dwTokens, m_nLength);
}

bool CShaderDebuggerInstructionDX9::HasDestToken() const
{
    switch (m_nOpcode)
    {
    case D3DSIO_CALL:
    case D3DSIO_CALLNZ:
    case D3DSIO_LOOP:
    case D3DSIO_LABEL:
    case D3DSIO_REP:
    case D3DSIO_IF:
    case D3DSIO_IFC:
    case D3DSIO_BREAKC:
    case D3DSIO_BREAKP:
        return false;
    default:
        return true;
    }
}

bool CShaderDebuggerInstructionDX9::IsConstantDefinition() const
{
    return m_nOpcode == D3DSIO_DEF || m_nOpcode == D3DSIO_DEFI || m_nOpcode == D3DSIO_DEFB;
}

std::uint32_t CShaderDebuggerInstructionDX9::GetFirstSrcPlace() const
{
    if (m_nOpcode == D3DSIO_DCL)
    {
        return 1;
    }
    std::uint32_t nPlace = 1;
    if (HasDestToken())
    {
        ++nPlace;
    }
    if (m_bPredicated)
    {
        ++nPlace;
    }
    // The first operand of a loop is aL, which counts the passes.
    if (m_nOpcode == D3DSIO_LOOP)
    {
        ++nPlace;
    }
    return nPlace;
}

bool CShaderDebuggerInstructionDX9::IsInstructionWithDest() const
{
    if (m_nOpcode == D3DSIO_DCL)
    {
        return m_bDclHasDest;
    }
    // Without parameter tokens (else, endif, ret, the version, the end) no token can be read as
    // a register; a comment's tokens are text.
    if (m_nLength < 2 || m_nOpcode == D3DSIO_COMMENT)
    {
        return false;
    }
    return HasDestToken();
}

bool CShaderDebuggerInstructionDX9::IsExecutable() const
{
    switch (m_nOpcode)
    {
    case D3DSIO_DCL:
    case D3DSIO_DEFB:
    case D3DSIO_DEFI:
    case D3DSIO_DEF:
    case D3DSIO_LABEL:
    case D3DSIO_PHASE:
    case D3DSIO_COMMENT:
    case D3DSIO_END:
    case D3DSIO_PS_VERSION:
        return false;
    default:
        return true;
    }
}

bool CShaderDebuggerInstructionDX9::GetDestRegister(Register& reg) const
{
    if (!IsInstructionWithDest())
    {
        return false;
    }
    const std::uint32_t dwToken = m_dwTokens[m_nOpcode == D3DSIO_DCL ? 2 : 1];
    reg = MakeRegister(dwToken, dwToken);
    return true;
}

Register CShaderDebuggerInstructionDX9::GetDestRegister() const
{
    Register reg;
    if (!GetDestRegister(reg))
    {
        SDU_AssertText(GetHost(), "GetDestRegister(reg)");
        return Register();
    }
    return reg;
}

bool CShaderDebuggerInstructionDX9::GetSrcRegister(std::uint32_t nIndex, Register& reg) const
{
    if (nIndex >= m_nParamCount)
    {
        return false;
    }
    std::uint32_t nPlace = GetFirstSrcPlace();
    for (std::uint32_t i = 0; i < nIndex && nPlace < m_nLength; ++i)
    {
        nPlace += (m_dwTokens[nPlace] & RELATIVE_ADDRESS_BIT) != 0 ? 2 : 1;
    }
    if (nPlace >= m_nLength)
    {
        return false;
    }
    // The source is read in the components that the instruction writes.
    reg = MakeRegister(m_dwTokens[nPlace], m_dwTokens[1]);
    return true;
}

Register CShaderDebuggerInstructionDX9::GetSrcRegister(std::uint32_t nIndex) const
{
    Register reg;
    if (!GetSrcRegister(nIndex, reg))
    {
        SDU_AssertText(GetHost(), "GetSrcRegister(dwIndex, reg)");
        return Register();
    }
    return reg;
}

bool CShaderDebuggerInstructionDX9::GetSrcParam(std::uint32_t nIndex, std::uint32_t& dwToken) const
{
    const std::uint32_t nPlace = GetFirstSrcPlace() + nIndex;
    if (nIndex >= m_nLength || nPlace >= m_nLength)
    {
        SDU_AssertText(GetHost(), "dwTokenIndex < m_nLength");
        dwToken = 0;
        return false;
    }
    dwToken = m_dwTokens[nPlace];
    return true;
}

bool CShaderDebuggerInstructionDX9::ReadToken(std::uint32_t& dwToken)
{
    SDU_Assert(GetHost(), m_nReadTokens <= m_nLength);
    if (m_nReadTokens >= m_nLength)
    {
        return false;
    }
    dwToken = m_dwTokens[m_nReadTokens++];
    return true;
}
} // namespace XAN_ShaderDebugger
