#include "CILDisassembler.h"

#include "ILTextForms.h"

#include <cstdio>

using namespace ShaderUtils;

namespace XAN_Platform
{
namespace
{
const unsigned int ALL_NEGATED = IL_SRC_NEGATE_ALL;
const unsigned int SOURCE_OWN_BITS = 0xFFFFu | IL_SRC_ABS;
const unsigned int DEST_OWN_BITS = 0xFFu;
} // namespace

std::string ILDisasmError::ToString() const
{
    return "token " + std::to_string(nToken) + ": " + strMessage;
}

bool CILDisassembler::Disassemble(const unsigned int* pTokens, std::size_t nTokens,
                                  std::string& strText)
{
    enum
    {
        BEFORE_HEADER,
        LEADING_MACRO,
        PROGRAM,
    } state = BEFORE_HEADER;
    m_strText.clear();
    m_error = ILDisasmError();
    m_nPos = 0;
    if (pTokens == nullptr)
    {
        nTokens = 0;
    }
    while (m_nPos < nTokens)
    {
        const unsigned int* pElement = pTokens + m_nPos;
        if (state == BEFORE_HEADER && GetILOpCode(*pElement) != IL_OP_MDEF)
        {
            if (!PrintHeader(pElement, nTokens - m_nPos))
            {
                return false;
            }
            m_nPos += 2;
            state = PROGRAM;
            continue;
        }
        const ILDecodeStatus status = DecodeILInstruction(pElement, nTokens - m_nPos, m_inst);
        if (status != IL_DECODE_OK)
        {
            return Fail(std::string(GetILDecodeStatusText(status)) + ", opcode " +
                        std::to_string(GetILOpCode(*pElement)));
        }
        if (!PrintInstruction(pElement))
        {
            return false;
        }
        if (state == BEFORE_HEADER)
        {
            state = LEADING_MACRO;
        }
        else if (state == LEADING_MACRO && m_inst.nOpCode == IL_OP_MEND)
        {
            state = BEFORE_HEADER;
        }
        m_nPos += m_inst.nLength;
    }
    if (state != PROGRAM)
    {
        return Fail(state == LEADING_MACRO ? "the tokens end inside a macro, without mend"
                                           : "the tokens have no header");
    }
    strText.swap(m_strText);
    return true;
}

bool CILDisassembler::PrintHeader(const unsigned int* pTokens, std::size_t nAvailable)
{
    if (nAvailable < 2)
    {
        return Fail("the tokens end inside the header");
    }
    const unsigned int nVersion = pTokens[1];
    const unsigned int nShaderType =
        (nVersion >> IL_VERSION_SHADER_TYPE_SHIFT) & IL_VERSION_FIELD_MASK;
    const unsigned int nMajor = (nVersion >> IL_VERSION_MAJOR_SHIFT) & IL_VERSION_FIELD_MASK;
    const unsigned int nMinor = (nVersion >> IL_VERSION_MINOR_SHIFT) & IL_VERSION_FIELD_MASK;
    if (pTokens[0] != 0)
    {
        return Fail("language token " + std::to_string(pTokens[0]) + " has no text form");
    }
    if ((nVersion >> 24) != 0 || GetILShaderTypeName(nShaderType) == nullptr ||
        (nMajor == 0 && nMinor == 0))
    {
        return Fail("version token " + std::to_string(nVersion) + " has no text form");
    }
    m_strText += "il_";
    m_strText += GetILShaderTypeName(nShaderType);
    m_strText += '_';
    PrintDecimal(nMajor);
    m_strText += '_';
    PrintDecimal(nMinor);
    m_strText += '\n';
    return true;
}

bool CILDisassembler::PrintInstruction(const unsigned int* pTokens)
{
    const ILTextForm& form = GetILTextForm(m_inst.nOpCode);
    if (form.shape == IL_SHAPE_COMMENT)
    {
        PrintComment(pTokens);
        return true;
    }
    PrintMnemonic(pTokens, form);
    if (!PrintOperands(pTokens, form))
    {
        return false;
    }
    m_strText += '\n';
    return true;
}

void CILDisassembler::PrintComment(const unsigned int* pTokens)
{
    m_strText += ';';
    const std::size_t nBytes = 4 * static_cast<std::size_t>(m_inst.nTrailingCount - 1);
    const unsigned int* pText = pTokens + m_inst.nTrailingOffset + 1;
    for (std::size_t i = 0; i < nBytes; ++i)
    {
        const char c = static_cast<char>(pText[i / 4] >> (8 * (i % 4)));
        if (c == '\0')
        {
            break;
        }
        // The text can't carry what would end the comment or its line.
        m_strText += (c == ';' || c == '\n' || c == '\r') ? ' ' : c;
    }
    m_strText += '\n';
}

void CILDisassembler::PrintMnemonic(const unsigned int* pTokens, const ILTextForm& form)
{
    const unsigned int nToken = m_inst.nOpcodeToken;
    if (form.pExtendedName != nullptr && (nToken & form.nExtendedBit))
    {
        m_strText += form.pExtendedName;
    }
    else
    {
        m_strText += GetOpCodeName(m_inst.nOpCode);
    }
    if (form.shape == IL_SHAPE_MDEF || form.shape == IL_SHAPE_MCALL)
    {
        m_strText += '(';
        PrintDecimal(GetILControl(nToken));
        m_strText += ')';
    }
    for (unsigned int i = 0; i < form.nFields; ++i)
    {
        const ILControlField& field = *form.ppFields[i];
        const unsigned int nValue = (nToken >> field.nShift) & ((1u << field.nWidth) - 1);
        if (nValue == 0)
        {
            continue;
        }
        m_strText += '_';
        m_strText += field.pKey;
        if (!field.bFlag)
        {
            m_strText += '(';
            if (nValue < field.nValueNames)
            {
                m_strText += field.ppValueNames[nValue];
            }
            else
            {
                PrintDecimal(nValue);
            }
            m_strText += ')';
        }
    }
    const unsigned int nFree = nToken & form.nFreeBits;
    if (nFree != 0)
    {
        m_strText += "_control(";
        PrintHex(nFree >> IL_CONTROL_SHIFT);
        m_strText += ')';
    }
    if (form.bModifierFlags && (nToken & IL_PRI_MODIFIER_PRESENT))
    {
        if (form.shape == IL_SHAPE_CB)
        {
            m_strText += "_data";
        }
        else
        {
            m_strText += "_pri(";
            PrintHex(m_inst.nPriModifier);
            m_strText += ')';
        }
    }
    if (form.bModifierFlags && (nToken & IL_SEC_MODIFIER_PRESENT))
    {
        m_strText += "_sec(";
        PrintHex(m_inst.nSecModifier);
        m_strText += ')';
    }
    if (form.shape == IL_SHAPE_MDEF)
    {
        m_strText += "_out(";
        PrintDecimal(m_inst.nInstMod >> IL_INSTMOD_OUTPUT_SHIFT);
        m_strText += ")_in(";
        PrintDecimal(m_inst.nInstMod & IL_INSTMOD_INPUT_MASK);
        m_strText += ')';
    }
    for (unsigned int i = 0; i < form.nTrailingNames; ++i)
    {
        m_strText += '_';
        m_strText += form.ppTrailingNames[i];
        m_strText += '(';
        PrintDecimal(pTokens[m_inst.nTrailingOffset + i]);
        m_strText += ')';
    }
}

bool CILDisassembler::PrintOperands(const unsigned int* pTokens, const ILTextForm& form)
{
    if (form.shape == IL_SHAPE_MCALL)
    {
        m_strText += " (";
        if (m_inst.bHasDest && !PrintOperand(m_inst.dest, true, form))
        {
            return false;
        }
        m_strText += "), (";
        for (std::size_t i = 0; i < m_inst.vSources.size(); ++i)
        {
            m_strText += i == 0 ? "" : ", ";
            if (!PrintOperand(m_inst.vSources[i], false, form))
            {
                return false;
            }
        }
        m_strText += ')';
        return true;
    }
    bool bFirst = true;
    auto separate = [&]
    {
        m_strText += bFirst ? " " : ", ";
        bFirst = false;
    };
    if (m_inst.bHasDest)
    {
        separate();
        if (!PrintOperand(m_inst.dest, true, form))
        {
            return false;
        }
    }
    for (const ILOperandLayout& source : m_inst.vSources)
    {
        separate();
        if (!PrintOperand(source, false, form))
        {
            return false;
        }
    }
    if (form.shape == IL_SHAPE_CONTROL_VALUE)
    {
        separate();
        PrintDecimal(GetILControl(m_inst.nOpcodeToken));
    }
    const bool bCbData =
        form.shape == IL_SHAPE_CB && (m_inst.nOpcodeToken & IL_PRI_MODIFIER_PRESENT);
    const unsigned int nFirst =
        bCbData ? m_inst.nCbDataOffset : m_inst.nTrailingOffset + form.nTrailingNames;
    const unsigned int nCount =
        bCbData ? m_inst.nCbDataCount : m_inst.nTrailingCount - form.nTrailingNames;
    for (unsigned int i = 0; i < nCount; ++i)
    {
        separate();
        PrintValue(pTokens[nFirst + i], form.bHexValues);
    }
    return true;
}

bool CILDisassembler::PrintOperand(const ILOperandLayout& operand, bool bDest,
                                   const ILTextForm& form)
{
    const unsigned int nToken = operand.nToken;
    const unsigned int nAddressing = GetILRelativeAddress(nToken);
    if (nToken & IL_REG_RESERVED_MASK)
    {
        return Fail("an operand sets reserved bits: " + std::to_string(nToken));
    }
    if (nAddressing > IL_ADDR_REG_RELATIVE ||
        (nAddressing != IL_ADDR_ABSOLUTE && (nToken & IL_REG_DIMENSION)))
    {
        return Fail("an operand's addressing has no text form: " + std::to_string(nToken));
    }
    const std::size_t nNameAt = m_strText.size();
    if (!PrintRegister(nToken, ~0u))
    {
        return false;
    }
    const bool bImmediate = (nToken & IL_REG_IMMEDIATE_PRESENT) != 0;
    const bool bDimension = (nToken & IL_REG_DIMENSION) != 0;
    if (nAddressing == IL_ADDR_REG_RELATIVE)
    {
        // The index register is a plain source: a type, a number, a modifier.
        m_strText += '[';
        const std::size_t nIndexAt = m_strText.size();
        const unsigned int nIndexBits = IL_REG_NUMBER_MASK |
                                        (IL_REG_TYPE_MASK << IL_REG_TYPE_SHIFT) |
                                        IL_REG_MODIFIER_PRESENT | IL_REG_SIGN;
        if (!PrintRegister(operand.nIndexToken, nIndexBits) ||
            ((operand.nIndexToken & IL_REG_MODIFIER_PRESENT) &&
             !PrintSourceModifier(operand.nIndexModifier, nIndexAt)))
        {
            return false;
        }
    }
    else if (nAddressing == IL_ADDR_RELATIVE)
    {
        m_strText += "[rel(";
        PrintDecimal(operand.nRelative);
        m_strText += ')';
    }
    else if (bDimension || bImmediate)
    {
        m_strText += '[';
        const bool bDimensionDefault = IsDimensionIndexDefault(form, GetILRegType(nToken));
        if (bDimension && bImmediate)
        {
            m_strText += "dim(";
            PrintDecimal(operand.nDimension);
            m_strText += ") + imm(";
            PrintDecimal(operand.nImmediate);
            m_strText += ')';
        }
        else
        {
            const bool bDefault = bDimension == bDimensionDefault;
            m_strText += bDefault ? "" : bDimension ? "dim(" : "imm(";
            PrintDecimal(bDimension ? operand.nDimension : operand.nImmediate);
            m_strText += bDefault ? "" : ")";
        }
        m_strText += ']';
    }
    if (nAddressing != IL_ADDR_ABSOLUTE)
    {
        if (bImmediate)
        {
            m_strText += " + ";
            PrintDecimal(operand.nImmediate);
        }
        m_strText += ']';
    }
    if (nToken & IL_REG_MODIFIER_PRESENT)
    {
        if (!(bDest ? PrintDestModifier(operand.nModifier)
                    : PrintSourceModifier(operand.nModifier, nNameAt)))
        {
            return false;
        }
    }
    if (nToken & IL_REG_EXTENDED)
    {
        m_strText += "_ext(";
        PrintHex(operand.nExtension);
        m_strText += ')';
    }
    return true;
}

bool CILDisassembler::PrintRegister(unsigned int nToken, unsigned int nAllowedBits)
{
    const unsigned int nType = GetILRegType(nToken);
    const char* pName = GetILTextRegTypeName(nType);
    if (pName == nullptr)
    {
        return Fail("register type " + std::to_string(nType) + " has no name");
    }
    if ((nToken & IL_REG_SIGN) && nType != IL_REGTYPE_TEMP)
    {
        return Fail("a register of type " + std::string(pName) + " has a sign");
    }
    if (nToken & ~nAllowedBits)
    {
        return Fail("an index register has bits that an index can't carry: " +
                    std::to_string(nToken));
    }
    m_strText += pName;
    m_strText += std::to_string(GetILRegNumber(nToken));
    return true;
}

bool CILDisassembler::PrintSourceModifier(unsigned int nModifier, std::size_t nNameAt)
{
    m_strText += '.';
    for (unsigned int i = 0; i < 4; ++i)
    {
        const unsigned int nSwizzle = GetILSwizzle(nModifier, i);
        if (nSwizzle > IL_COMPSEL_1)
        {
            return Fail("swizzle selector " + std::to_string(nSwizzle) + " has no text form");
        }
        m_strText += g_cILComponentLetters[nSwizzle];
    }
    const unsigned int nNegate = nModifier & ALL_NEGATED;
    if (nNegate == ALL_NEGATED)
    {
        m_strText.insert(nNameAt, 1, '-');
    }
    if (nModifier & IL_SRC_ABS)
    {
        m_strText += "_abs";
    }
    if (nNegate != 0 && nNegate != ALL_NEGATED)
    {
        m_strText += "_neg(";
        for (unsigned int i = 0; i < 4; ++i)
        {
            if (GetILNegate(nModifier, i))
            {
                m_strText += g_cILComponentLetters[i];
            }
        }
        m_strText += ')';
    }
    if (nModifier & ~SOURCE_OWN_BITS)
    {
        m_strText += "_mod(";
        PrintHex(nModifier & ~SOURCE_OWN_BITS);
        m_strText += ')';
    }
    return true;
}

bool CILDisassembler::PrintDestModifier(unsigned int nModifier)
{
    // Letters of the written components, or all four places when a place
    // holds anything else or nothing is written.
    bool bLetters = true;
    bool bAnyWritten = false;
    for (unsigned int i = 0; i < 4; ++i)
    {
        const unsigned int nValue = GetILDstComponent(nModifier, i);
        bLetters = bLetters && nValue <= IL_DSTMOD_WRITE;
        bAnyWritten = bAnyWritten || nValue == IL_DSTMOD_WRITE;
    }
    bLetters = bLetters && bAnyWritten;
    m_strText += '.';
    for (unsigned int i = 0; i < 4; ++i)
    {
        const unsigned int nValue = GetILDstComponent(nModifier, i);
        if (nValue == IL_DSTMOD_WRITE)
        {
            m_strText += g_cILComponentLetters[i];
        }
        else if (!bLetters)
        {
            m_strText += nValue == IL_DSTMOD_NOWRITE ? '_' : static_cast<char>('0' + nValue);
        }
    }
    if (nModifier & ~DEST_OWN_BITS)
    {
        m_strText += "_mod(";
        PrintHex(nModifier & ~DEST_OWN_BITS);
        m_strText += ')';
    }
    return true;
}

void CILDisassembler::PrintValue(unsigned int nValue, bool bHex)
{
    if (bHex)
    {
        char buffer[16];
        std::snprintf(buffer, sizeof(buffer), "0x%08X", nValue);
        m_strText += buffer;
    }
    else
    {
        PrintDecimal(nValue);
    }
}

void CILDisassembler::PrintDecimal(unsigned int nValue)
{
    char buffer[16];
    char* pEnd = buffer + sizeof(buffer);
    char* p = pEnd;
    do
    {
        *--p = static_cast<char>('0' + nValue % 10);
        nValue /= 10;
    } while (nValue != 0);
    m_strText.append(p, pEnd);
}

void CILDisassembler::PrintHex(unsigned int nValue)
{
    char buffer[16];
    std::snprintf(buffer, sizeof(buffer), "0x%X", nValue);
    m_strText += buffer;
}

bool CILDisassembler::Fail(const std::string& strMessage)
{
    m_error.nToken = m_nPos;
    m_error.strMessage = strMessage;
    return false;
}
} // namespace XAN_Platform
