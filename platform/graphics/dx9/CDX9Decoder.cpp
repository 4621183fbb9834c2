#include "CDX9Decoder.h"

#include <boost/format.hpp>

namespace XAN_Platform
{
using namespace DX9;

bool SDX9Instruction::IsExecutable() const
{
    switch (nOpcode)
    {
    case OP_DCL:
    case OP_DEF:
    case OP_DEFI:
    case OP_DEFB:
    case OP_LABEL:
    case OP_PHASE:
    case OP_COMMENT:
        return false;
    default:
        return true;
    }
}

bool CDX9Decoder::Decode(const std::uint32_t* pTokens, std::size_t nTokens, SDX9Shader& shader)
{
    shader = SDX9Shader();
    m_strError.clear();
    m_pTokens = pTokens;
    m_nTokens = pTokens != nullptr ? nTokens : 0;
    if (m_nTokens == 0)
    {
        return Fail(0, "the shader is empty");
    }
    shader.dwVersion = pTokens[0];
    if (VersionName(shader.dwVersion).empty())
    {
        return Fail(0, (boost::format("0x%08x is no version token") % shader.dwVersion).str());
    }
    m_nVersion = shader.GetVersion();
    for (m_nPos = 1; m_nPos < m_nTokens;)
    {
        if (pTokens[m_nPos] == END_TOKEN)
        {
            shader.nTokens = m_nPos + 1;
            return true;
        }
        SDX9Instruction inst;
        if (!DecodeInstruction(inst))
        {
            return false;
        }
        shader.vInstructions.push_back(std::move(inst));
    }
    return Fail(m_nTokens, "no end token");
}

bool CDX9Decoder::DecodeInstruction(SDX9Instruction& inst)
{
    const std::size_t nStart = m_nPos;
    inst.nOffset = nStart;
    inst.dwToken = m_pTokens[m_nPos++];
    inst.nOpcode = inst.dwToken & 0xFFFF;
    if (inst.nOpcode == OP_COMMENT)
    {
        const std::size_t nCount = (inst.dwToken >> 16) & 0x7FFF;
        if ((inst.dwToken & PARAM_BIT) != 0 || nCount > m_nTokens - m_nPos)
        {
            return Fail(nStart,
                        (boost::format("comment of %u tokens runs past the end") % nCount).str());
        }
        inst.vValues.assign(m_pTokens + m_nPos, m_pTokens + m_nPos + nCount);
        m_nPos += nCount;
        inst.nLength = nCount + 1;
        return true;
    }
    if ((inst.dwToken & PARAM_BIT) != 0)
    {
        return Fail(nStart, (boost::format("0x%08x is a parameter token where an instruction "
                                           "starts") %
                             inst.dwToken)
                                .str());
    }
    inst.pInfo = FindOpcode(inst.nOpcode, inst.GetControl(), m_nVersion);
    if (inst.pInfo == nullptr)
    {
        return Fail(nStart, (boost::format("unknown opcode %u") % inst.nOpcode).str());
    }
    const EOpcodeShape eShape = inst.pInfo->eShape;
    if (eShape == SHAPE_COMPARE && ComparisonName(inst.GetControl()) == nullptr)
    {
        return Fail(nStart, (boost::format("unknown comparison %u") % inst.GetControl()).str());
    }
    const bool bHasParam = m_nPos < m_nTokens && (m_pTokens[m_nPos] & PARAM_BIT) != 0;
    std::size_t nValues = 0;
    if (eShape == SHAPE_DCL)
    {
        // The usage token is always there; the register may be left out.
        nValues = 1;
    }
    else if (eShape == SHAPE_DEF || eShape == SHAPE_DEFI || eShape == SHAPE_DEFB)
    {
        inst.bHasDest = true;
        nValues = eShape == SHAPE_DEFB ? 1 : 4;
    }
    else
    {
        inst.bHasDest = inst.pInfo->bDest && bHasParam;
    }
    if (inst.bHasDest && !ReadParam(inst.dest))
    {
        return false;
    }
    if (nValues > m_nTokens - m_nPos)
    {
        return Fail(nStart, "the instruction runs past the end");
    }
    inst.vValues.assign(m_pTokens + m_nPos, m_pTokens + m_nPos + nValues);
    m_nPos += nValues;
    if (eShape == SHAPE_DCL)
    {
        inst.bHasDest = m_nPos < m_nTokens && (m_pTokens[m_nPos] & PARAM_BIT) != 0;
        if (inst.bHasDest && !ReadParam(inst.dest))
        {
            return false;
        }
    }
    if ((inst.dest.bRelative))
    {
        return Fail(nStart, "a destination with a relative address");
    }
    inst.bPredicated = (inst.dwToken & PREDICATED_BIT) != 0;
    if (inst.bPredicated && !ReadParam(inst.predicate))
    {
        return false;
    }
    const bool bOperands = eShape == SHAPE_PLAIN || eShape == SHAPE_COMPARE;
    while (bOperands && m_nPos < m_nTokens && (m_pTokens[m_nPos] & PARAM_BIT) != 0)
    {
        inst.vSources.emplace_back();
        if (!ReadParam(inst.vSources.back()))
        {
            return false;
        }
    }
    inst.nLength = m_nPos - nStart;
    if (inst.pInfo->bDest && !inst.bHasDest && eShape != SHAPE_DCL)
    {
        return Fail(nStart, std::string(inst.pInfo->pName) + " without a destination");
    }
    if (bOperands && (inst.vSources.size() < inst.pInfo->nMinSources ||
                      inst.vSources.size() > inst.pInfo->nMaxSources))
    {
        return Fail(
            nStart,
            (boost::format("%s with %u sources") % inst.pInfo->pName % inst.vSources.size()).str());
    }
    // Models 2.0 and up count the tokens behind the instruction token.
    const std::size_t nLengthField = (inst.dwToken >> LENGTH_SHIFT) & 0xF;
    if (m_nVersion >= 0x0200 && nLengthField != inst.nLength - 1)
    {
        return Fail(nStart, (boost::format("the length field says %u tokens, %u follow") %
                             nLengthField % (inst.nLength - 1))
                                .str());
    }
    return true;
}

bool CDX9Decoder::ReadParam(SDX9Param& param)
{
    if (m_nPos >= m_nTokens || (m_pTokens[m_nPos] & PARAM_BIT) == 0)
    {
        return Fail(m_nPos, "a parameter token is missing");
    }
    param.dwToken = m_pTokens[m_nPos++];
    param.bRelative = (param.dwToken & RELATIVE_BIT) != 0;
    if (param.bRelative)
    {
        if (m_nPos >= m_nTokens || (m_pTokens[m_nPos] & PARAM_BIT) == 0)
        {
            return Fail(m_nPos, "the relative-address token is missing");
        }
        param.dwRelative = m_pTokens[m_nPos++];
    }
    return true;
}

bool CDX9Decoder::Fail(std::size_t nToken, const std::string& strCause)
{
    m_strError = (boost::format("token %u: %s") % nToken % strCause).str();
    return false;
}
} // namespace XAN_Platform
