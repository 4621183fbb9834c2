#include "CTpfDisassembler.h"

#include <cstdio>

namespace XAN_Platform
{
namespace
{

std::string Hex(std::uint32_t nValue)
{
    char buffer[16];
    std::snprintf(buffer, sizeof(buffer), "0x%08x", nValue);
    return buffer;
}

std::string Join(const std::vector<std::string>& vParts, const char* pSeparator)
{
    std::string strText;
    for (size_t n = 0; n < vParts.size(); ++n)
    {
        strText += (n > 0 ? pSeparator : "") + vParts[n];
    }
    return strText;
}

// "(float,float,float,float)" for four 4-bit types from bit nShift; empty if one has no name.
std::string ReturnTypes(std::uint32_t nBits)
{
    std::vector<std::string> vNames;
    for (unsigned int n = 0; n < 4; ++n)
    {
        const std::string strName = GetTpfReturnTypes().Name((nBits >> (4 * n)) & 0xF);
        if (strName.empty())
        {
            return std::string();
        }
        vNames.push_back(strName);
    }
    return "(" + Join(vNames, ",") + ")";
}

std::string Signed4(std::uint32_t nBits)
{
    return std::to_string(static_cast<int>(nBits & 7) - static_cast<int>(nBits & 8));
}

} // namespace

bool CTpfDisassembler::Disassemble(const std::uint32_t* pTokens, size_t nTokens,
                                   std::string& strText)
{
    TpfProgram program;
    if (!m_decoder.DecodeProgram(pTokens, nTokens, program))
    {
        m_strError = m_decoder.GetError();
        return false;
    }
    const std::uint32_t nVersion = program.nVersionToken;
    const char* pType = GetTpfProgramTypes().Name(nVersion >> 16);
    std::string strVersion = (nVersion & 0xFF00) == 0 && *pType != '\0'
                                 ? std::string(pType) + "_" +
                                       std::to_string((nVersion >> 4) & 0xF) + "_" +
                                       std::to_string(nVersion & 0xF)
                                 : ".version " + Hex(nVersion);
    unsigned int nDeclarations = 0;
    std::string strBody;
    for (const TpfInstruction& instruction : program.vInstructions)
    {
        const std::string strName = instruction.pInfo != nullptr ? instruction.pInfo->pName : "";
        nDeclarations += strName.compare(0, 4, "dcl_") == 0 ? 1 : 0;
        strBody += FormatInstruction(instruction) + "\n";
    }
    strText = "//\n// tokenized program, " + std::to_string(pTokens[1]) + " tokens\n//\n" +
              strVersion + "\n" + strBody + "// " + std::to_string(program.vInstructions.size()) +
              " lines of code, " + std::to_string(nDeclarations) + " declarations\n";
    return true;
}

std::string CTpfDisassembler::FormatInstruction(const TpfInstruction& instruction)
{
    std::string strLine;
    if (instruction.bDecoded)
    {
        if (instruction.nOpcode == TPF_OPCODE_CUSTOMDATA)
        {
            strLine = FormatCustomData(instruction);
        }
        else
        {
            std::string strLeading;
            std::string strTrailing;
            const std::string strHead = FormatHead(instruction, strLeading, strTrailing);
            std::vector<std::string> vItems;
            for (const TpfItem& item : instruction.vItems)
            {
                vItems.push_back(FormatItem(item));
            }
            if (!strTrailing.empty())
            {
                vItems.push_back(strTrailing);
            }
            const std::string strOperands = strLeading + Join(vItems, ", ");
            strLine = strHead + (strOperands.empty() ? "" : " " + strOperands);
        }
        // Whatever the text forms can't carry comes back different; those go out as tokens.
        std::vector<std::uint32_t> vBack;
        if (m_assembler.AssembleStatement(strLine, vBack) && vBack == instruction.vTokens)
        {
            return strLine;
        }
    }
    std::vector<std::string> vTokens;
    for (std::uint32_t nToken : instruction.vTokens)
    {
        vTokens.push_back(Hex(nToken));
    }
    return ".raw " + Join(vTokens, ", ");
}

std::string CTpfDisassembler::FormatHead(const TpfInstruction& instruction, std::string& strLeading,
                                         std::string& strTrailing)
{
    const TpfOpcodeInfo& info = *instruction.pInfo;
    const std::uint32_t nToken0 = instruction.vTokens[0];
    std::uint32_t nControls = nToken0 & TPF_CONTROL_BITS;
    std::string strHead = info.pName;
    // Takes a control field away and gives its value.
    auto Take = [&nControls](unsigned int nShift, std::uint32_t nMask)
    {
        const std::uint32_t nValue = (nControls >> nShift) & nMask;
        nControls &= ~(nMask << nShift);
        return nValue;
    };
    auto Flag = [&](unsigned int nBit, const char* pSuffix)
    {
        if (Take(nBit, 1) != 0)
        {
            strHead += pSuffix;
        }
    };
    switch (info.eControls)
    {
    case TPF_CTL_SAT:
        Flag(13, "_sat");
        break;
    case TPF_CTL_TEST:
        strHead += Take(18, 1) != 0 ? "_nz" : "_z";
        break;
    case TPF_CTL_RESINFO:
        if (((nControls >> 11) & 3) == 1 || ((nControls >> 11) & 3) == 2)
        {
            strHead += Take(11, 3) == 1 ? "_rcpFloat" : "_uint";
        }
        break;
    case TPF_CTL_SAMPLEINFO:
        Flag(11, "_uint");
        break;
    case TPF_CTL_SYNC:
        Flag(14, "_uglobal");
        Flag(13, "_ugroup");
        Flag(12, "_g");
        Flag(11, "_t");
        break;
    case TPF_CTL_RESDIM:
    case TPF_CTL_UAVDIM:
    {
        const std::string strDim = GetTpfResourceDimensions().Name((nControls >> 11) & 0x1F);
        if (!strDim.empty())
        {
            Take(11, 0x1F);
            strHead += "_" + strDim;
        }
        if (info.eControls == TPF_CTL_UAVDIM)
        {
            Flag(16, "_glc");
        }
        break;
    }
    case TPF_CTL_UAVFLAGS:
        Flag(16, "_glc");
        break;
    case TPF_CTL_INTERP:
    {
        const std::string strMode = GetTpfInterpolationModes().Name((nControls >> 11) & 0xF);
        if (!strMode.empty())
        {
            Take(11, 0xF);
            strLeading = strMode + " ";
        }
        break;
    }
    case TPF_CTL_CBACCESS:
        strTrailing = Take(11, 1) != 0 ? "dynamicIndexed" : "immediateIndexed";
        break;
    case TPF_CTL_SAMPLERMODE:
    {
        const std::string strMode = GetTpfSamplerModes().Name((nControls >> 11) & 0xF);
        strTrailing = strMode.empty() ? "mode_default" : strMode;
        if (!strMode.empty())
        {
            Take(11, 0xF);
        }
        break;
    }
    case TPF_CTL_GLOBALFLAGS:
    {
        std::vector<std::string> vFlags;
        const TpfNameList& flags = GetTpfGlobalFlags();
        for (unsigned int n = 0; n < flags.nCount; ++n)
        {
            if (Take(11 + n, 1) != 0)
            {
                vFlags.push_back(flags.ppNames[n]);
            }
        }
        strLeading = Join(vFlags, " | ");
        break;
    }
    default:
        break;
    }
    if (nControls != 0)
    {
        strHead += "_ctl(" + Hex(nControls) + ")";
    }
    for (unsigned int n = 1; n < instruction.nOpcodeTokens; ++n)
    {
        const std::uint32_t nToken = instruction.vTokens[n] & ~TPF_EXTENDED_BIT;
        const std::string strDim = GetTpfResourceDimensions().Name((nToken >> 6) & 0x1F);
        const std::string strTypes = ReturnTypes((nToken >> 6) & 0xFFFF);
        if ((nToken & 0x3F) == 1 && (nToken & ~0x1FFE3Fu) == 0)
        {
            strHead += "_aoffimmi(" + Signed4(nToken >> 9) + "," + Signed4(nToken >> 13) + "," +
                       Signed4(nToken >> 17) + ")";
        }
        else if ((nToken & 0x3F) == 2 && (nToken >> 23) == 0 && !strDim.empty())
        {
            const std::uint32_t nStride = (nToken >> 11) & 0xFFF;
            strHead +=
                "_indexable(" + strDim + (nStride != 0 ? "," + std::to_string(nStride) : "") + ")";
        }
        else if ((nToken & 0x3F) == 3 && (nToken >> 22) == 0 && !strTypes.empty())
        {
            strHead += strTypes;
        }
        else
        {
            strHead += "_ext(" + Hex(nToken) + ")";
        }
    }
    return strHead;
}

std::string CTpfDisassembler::FormatItem(const TpfItem& item)
{
    switch (item.cShape)
    {
    case 'd':
    case 's':
        return FormatOperand(item.operand, item.cShape);
    case 'r':
    {
        const std::string strTypes = (item.nWord >> 16) == 0 ? ReturnTypes(item.nWord) : "";
        return strTypes.empty() ? FormatTpfValue32(item.nWord) : strTypes;
    }
    case 'v':
    {
        const std::string strName = GetTpfSystemValues().Name(item.nWord);
        return strName.empty() ? std::to_string(item.nWord) : strName;
    }
    case 'X':
        return "x" + std::to_string(item.nWord) + "[" + std::to_string(item.nWord2) + "]";
    default:
        return std::to_string(item.nWord);
    }
}

std::string CTpfDisassembler::FormatOperand(const TpfOperand& operand, char cRole)
{
    const char* pName = GetTpfOperandTypeName(operand.nType);
    if (pName == nullptr)
    {
        return "?";
    }
    std::string strText = pName;
    if (operand.nType == TPF_OPERAND_TYPE_IMM32 || operand.nType == TPF_OPERAND_TYPE_IMM64)
    {
        std::vector<std::string> vValues;
        for (std::uint64_t nValue : operand.vImmediates)
        {
            vValues.push_back(operand.nType == TPF_OPERAND_TYPE_IMM64
                                  ? FormatTpfValue64(nValue)
                                  : FormatTpfValue32(static_cast<std::uint32_t>(nValue)));
        }
        strText += "(" + Join(vValues, ", ") + ")";
    }
    for (size_t n = 0; n < operand.vIndices.size(); ++n)
    {
        const TpfIndex& index = operand.vIndices[n];
        strText += n == 0 && index.nRep <= TPF_INDEX_IMM64 ? FormatIndex(index)
                                                           : "[" + FormatIndex(index) + "]";
    }
    std::string strMarks;
    const bool bImmediate =
        operand.nType == TPF_OPERAND_TYPE_IMM32 || operand.nType == TPF_OPERAND_TYPE_IMM64;
    if (operand.nForm == 2 && !bImmediate)
    {
        std::string strLetters;
        if (operand.nMode == 0)
        {
            for (unsigned int n = 0; n < 4; ++n)
            {
                if ((operand.nSelect >> n) & 1)
                {
                    strLetters += g_TpfComponentLetters[n];
                }
            }
        }
        else
        {
            const unsigned int nCount = operand.nMode == 1 ? 4 : 1;
            for (unsigned int n = 0; n < nCount; ++n)
            {
                strLetters += g_TpfComponentLetters[(operand.nSelect >> (2 * n)) & 3];
            }
        }
        strText += "." + strLetters;
        if (InferTpfSelectionMode(cRole, strLetters) != static_cast<int>(operand.nMode))
        {
            strMarks += operand.nMode == 0 ? "!m" : operand.nMode == 1 ? "!s" : "!1";
        }
    }
    else if (operand.nForm < 2 && !bImmediate &&
             operand.nForm != (IsTpfScalarOperandType(operand.nType) ? 1u : 0u))
    {
        strMarks += "!c" + std::to_string(operand.nForm);
    }
    const std::uint32_t nModifier = (operand.nExtendedToken >> 6) & 0xFF;
    if (operand.bExtended && (operand.nExtendedToken & ~0x3FFFu) == 0 &&
        (operand.nExtendedToken & 0x3F) == 1 && nModifier >= 1 && nModifier <= 3)
    {
        strText = (nModifier & 1 ? "-" : "") + (nModifier & 2 ? "|" + strText + "|" : strText);
    }
    else if (operand.bExtended)
    {
        strMarks += "!e(" + Hex(operand.nExtendedToken) + ")";
    }
    return strText + strMarks;
}

std::string CTpfDisassembler::FormatIndex(const TpfIndex& index)
{
    const std::string strImmediate =
        std::to_string(index.nImmediate) +
        (index.nRep == TPF_INDEX_IMM64 || index.nRep == TPF_INDEX_IMM64_RELATIVE ? "L" : "");
    if (index.vRelative.empty())
    {
        return strImmediate;
    }
    const std::string strRelative = FormatOperand(index.vRelative[0], 's');
    return index.nRep == TPF_INDEX_RELATIVE ? strRelative : strRelative + " + " + strImmediate;
}

std::string CTpfDisassembler::FormatCustomData(const TpfInstruction& instruction)
{
    std::string strText = instruction.nCustomDataClass == TPF_CUSTOMDATA_ICB
                              ? std::string("dcl_immediateConstantBuffer {")
                              : "customdata " + std::to_string(instruction.nCustomDataClass) + " {";
    const size_t nValues = instruction.vTokens.size() - 2;
    if (nValues == 0)
    {
        return strText + " }";
    }
    // Four values to a line; the lines behind the first begin with '{'.
    for (size_t n = 0; n < nValues; n += 4)
    {
        std::vector<std::string> vGroup;
        for (size_t m = n; m < nValues && m < n + 4; ++m)
        {
            vGroup.push_back(FormatTpfValue32(instruction.vTokens[2 + m]));
        }
        strText +=
            (n == 0 ? " { " : "\n    { ") + Join(vGroup, ", ") + (n + 4 < nValues ? " }," : " } }");
    }
    return strText;
}
} // namespace XAN_Platform
