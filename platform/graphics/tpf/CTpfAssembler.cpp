#include "CTpfAssembler.h"

#include <cctype>
#include <cstring>

namespace XAN_Platform
{
namespace
{
const unsigned int MAX_RELATIVE_DEPTH = 8;

std::string Trim(const std::string& strText)
{
    const size_t nBegin = strText.find_first_not_of(" \t\r");
    if (nBegin == std::string::npos)
    {
        return std::string();
    }
    const size_t nEnd = strText.find_last_not_of(" \t\r");
    return strText.substr(nBegin, nEnd - nBegin + 1);
}

// Splits at each separator outside parentheses and brackets; an empty text gives no parts.
std::vector<std::string> SplitTopLevel(const std::string& strText, char cSeparator)
{
    std::vector<std::string> vParts;
    if (Trim(strText).empty())
    {
        return vParts;
    }
    int nDepth = 0;
    std::string strPart;
    for (char c : strText)
    {
        if (c == '(' || c == '[')
        {
            ++nDepth;
        }
        else if (c == ')' || c == ']')
        {
            --nDepth;
        }
        if (c == cSeparator && nDepth == 0)
        {
            vParts.push_back(Trim(strPart));
            strPart.clear();
            continue;
        }
        strPart += c;
    }
    vParts.push_back(Trim(strPart));
    return vParts;
}

// The text between the parenthesis at nOpen and its partner; npos in nClose if unbalanced.
std::string Enclosed(const std::string& strText, size_t nOpen, size_t& nClose)
{
    int nDepth = 0;
    for (size_t n = nOpen; n < strText.size(); ++n)
    {
        if (strText[n] == '(' || strText[n] == '[')
        {
            ++nDepth;
        }
        else if ((strText[n] == ')' || strText[n] == ']') && --nDepth == 0)
        {
            nClose = n;
            return strText.substr(nOpen + 1, n - nOpen - 1);
        }
    }
    nClose = std::string::npos;
    return std::string();
}

// A name list's value for a word, written either by name or as a number.
bool NamedValue(const TpfNameList& names, const std::string& strWord, std::uint32_t& nValue)
{
    const int nFound = names.Find(strWord);
    if (nFound >= 0)
    {
        nValue = static_cast<std::uint32_t>(nFound);
        return true;
    }
    return ParseTpfValue32(strWord, nValue);
}

// Four 4-bit return types from "(float,float,float,float)".
bool ReturnTypes(const std::string& strList, std::uint32_t& nValue)
{
    const std::vector<std::string> vNames = SplitTopLevel(strList, ',');
    if (vNames.size() != 4)
    {
        return false;
    }
    nValue = 0;
    for (size_t n = 0; n < 4; ++n)
    {
        std::uint32_t nType = 0;
        if (!NamedValue(GetTpfReturnTypes(), vNames[n], nType) || nType > 15)
        {
            return false;
        }
        nValue |= nType << (4 * n);
    }
    return true;
}

// A number with an optional "L" for a 64-bit index.
bool IndexNumber(const std::string& strText, bool& bWide, std::uint64_t& nValue)
{
    bWide = !strText.empty() && strText.back() == 'L';
    const std::string strDigits = bWide ? strText.substr(0, strText.size() - 1) : strText;
    if (strDigits.empty() || !std::isdigit(static_cast<unsigned char>(strDigits[0])))
    {
        return false;
    }
    if (bWide)
    {
        return ParseTpfValue64(strDigits, nValue);
    }
    std::uint32_t nValue32 = 0;
    const bool bRead = ParseTpfValue32(strDigits, nValue32);
    nValue = nValue32;
    return bRead;
}

void AppendIndexValue(bool bWide, std::uint64_t nValue, std::vector<std::uint32_t>& vTokens)
{
    if (bWide)
    {
        vTokens.push_back(static_cast<std::uint32_t>(nValue >> 32));
    }
    vTokens.push_back(static_cast<std::uint32_t>(nValue));
}

// Bits 4 to 11 of an operand token for the letters in a mode; false if they don't fit it.
bool SelectionBits(int nMode, const std::string& strLetters, std::uint32_t& nBits)
{
    nBits = 0;
    for (size_t n = 0; n < strLetters.size(); ++n)
    {
        const char* pLetter = std::strchr(g_TpfComponentLetters, strLetters[n]);
        if (strLetters[n] == '\0' || pLetter == nullptr)
        {
            return false;
        }
        const std::uint32_t nComponent =
            static_cast<std::uint32_t>(pLetter - g_TpfComponentLetters);
        nBits |= nMode == 0 ? 1u << nComponent : nComponent << (2 * n);
    }
    switch (nMode)
    {
    case 0:
        return InferTpfSelectionMode('d', strLetters) == 0;
    case 1:
        return strLetters.size() == 4;
    case 2:
        return strLetters.size() == 1;
    default:
        return false;
    }
}
} // namespace

bool CTpfAssembler::Fail(const std::string& strMessage)
{
    m_strError = strMessage;
    return false;
}

bool CTpfAssembler::Assemble(const std::string& strText, std::vector<std::uint32_t>& vTokens)
{
    std::vector<std::uint32_t> vProgram;
    std::string strStatement;
    unsigned int nStatementLine = 0;
    int nBraces = 0;
    unsigned int nLine = 0;
    size_t nPos = 0;
    while (nPos <= strText.size())
    {
        size_t nEnd = strText.find('\n', nPos);
        if (nEnd == std::string::npos)
        {
            nEnd = strText.size();
        }
        std::string strLine = strText.substr(nPos, nEnd - nPos);
        nPos = nEnd + 1;
        ++nLine;
        const size_t nComment = strLine.find("//");
        if (nComment != std::string::npos)
        {
            strLine.erase(nComment);
        }
        strLine = Trim(strLine);
        if (strLine.empty())
        {
            continue;
        }
        if (strStatement.empty())
        {
            nStatementLine = nLine;
        }
        strStatement += (strStatement.empty() ? "" : " ") + strLine;
        for (char c : strLine)
        {
            nBraces += c == '{' ? 1 : c == '}' ? -1 : 0;
        }
        // A customdata block runs on until its braces close.
        if (nBraces > 0)
        {
            continue;
        }
        bool bDone = false;
        if (vProgram.empty())
        {
            std::uint32_t nVersion = 0;
            bDone = AssembleVersion(strStatement, nVersion);
            vProgram.push_back(nVersion);
            vProgram.push_back(0);
        }
        else
        {
            bDone = nBraces == 0 && AssembleStatement(strStatement, vProgram);
            if (nBraces < 0)
            {
                m_strError = "a '}' without its '{'";
            }
        }
        if (!bDone)
        {
            m_strError = "line " + std::to_string(nStatementLine) + ": " + m_strError;
            return false;
        }
        strStatement.clear();
    }
    if (!strStatement.empty())
    {
        return Fail("line " + std::to_string(nStatementLine) + ": a '{' that isn't closed");
    }
    if (vProgram.empty())
    {
        return Fail("line " + std::to_string(nLine) + ": no version line");
    }
    vProgram[1] = static_cast<std::uint32_t>(vProgram.size());
    vTokens.swap(vProgram);
    return true;
}

bool CTpfAssembler::AssembleVersion(const std::string& strLine, std::uint32_t& nVersion)
{
    if (strLine.compare(0, 9, ".version ") == 0)
    {
        return ParseTpfValue32(Trim(strLine.substr(9)), nVersion) ||
               Fail("bad version token '" + strLine + "'");
    }
    const int nType = GetTpfProgramTypes().Find(strLine.substr(0, 2));
    if (nType < 0 || strLine.size() != 6 || strLine[2] != '_' || strLine[4] != '_' ||
        !std::isdigit(static_cast<unsigned char>(strLine[3])) ||
        !std::isdigit(static_cast<unsigned char>(strLine[5])))
    {
        return Fail("expected a version such as 'ps_5_0', not '" + strLine + "'");
    }
    nVersion = (static_cast<std::uint32_t>(nType) << 16) |
               (static_cast<std::uint32_t>(strLine[3] - '0') << 4) |
               static_cast<std::uint32_t>(strLine[5] - '0');
    return true;
}

bool CTpfAssembler::AssembleStatement(const std::string& strStatement,
                                      std::vector<std::uint32_t>& vTokens)
{
    m_nDepth = 0;
    // The head runs to the first blank outside parentheses.
    size_t nHeadEnd = 0;
    int nDepth = 0;
    while (nHeadEnd < strStatement.size() && (nDepth > 0 || strStatement[nHeadEnd] != ' '))
    {
        nDepth += strStatement[nHeadEnd] == '(' ? 1 : strStatement[nHeadEnd] == ')' ? -1 : 0;
        ++nHeadEnd;
    }
    const std::string strHead = strStatement.substr(0, nHeadEnd);
    std::string strRest = Trim(strStatement.substr(nHeadEnd));
    if (strHead == ".raw")
    {
        return AssembleRaw(strRest, vTokens);
    }
    if (strHead == "dcl_immediateConstantBuffer")
    {
        return AssembleCustomData(TPF_CUSTOMDATA_ICB, strRest, vTokens);
    }
    if (strHead == "customdata")
    {
        const size_t nBrace = strRest.find('{');
        std::uint32_t nClass = 0;
        if (nBrace == std::string::npos ||
            !ParseTpfValue32(Trim(strRest.substr(0, nBrace)), nClass) || nClass >= (1u << 21))
        {
            return Fail("customdata needs its class and a '{' block");
        }
        return AssembleCustomData(nClass, strRest.substr(nBrace), vTokens);
    }
    const TpfOpcodeInfo* pInfo = FindTpfOpcodeByPrefix(strHead);
    if (pInfo == nullptr || pInfo->nOpcode == TPF_OPCODE_CUSTOMDATA)
    {
        return Fail("unknown instruction '" + strHead + "'");
    }
    std::uint32_t nControls = 0;
    std::vector<std::uint32_t> vInstruction(1, 0);
    if (!AssembleHead(*pInfo, strHead.substr(std::strlen(pInfo->pName)), nControls, vInstruction))
    {
        return false;
    }
    const bool bExtendedOpcode = vInstruction.size() > 1;
    // Words that stand for control bits before or behind the operands.
    if (pInfo->eControls == TPF_CTL_INTERP)
    {
        const size_t nBlank = strRest.find(' ');
        const int nMode = GetTpfInterpolationModes().Find(strRest.substr(0, nBlank));
        if (nMode > 0)
        {
            nControls |= static_cast<std::uint32_t>(nMode) << 11;
            strRest = nBlank == std::string::npos ? std::string() : Trim(strRest.substr(nBlank));
        }
    }
    std::vector<std::string> vParts = SplitTopLevel(strRest, ',');
    if (pInfo->eControls == TPF_CTL_GLOBALFLAGS)
    {
        for (const std::string& strFlag : SplitTopLevel(strRest, '|'))
        {
            const int nFlag = GetTpfGlobalFlags().Find(strFlag);
            if (nFlag < 0)
            {
                return Fail("unknown global flag '" + strFlag + "'");
            }
            nControls |= 1u << (11 + nFlag);
        }
        vParts.clear();
    }
    if (pInfo->eControls == TPF_CTL_CBACCESS || pInfo->eControls == TPF_CTL_SAMPLERMODE)
    {
        const TpfNameList& words = GetTpfSamplerModes();
        const std::string strWord = vParts.empty() ? std::string() : vParts.back();
        int nValue = pInfo->eControls == TPF_CTL_SAMPLERMODE ? words.Find(strWord)
                     : strWord == "immediateIndexed"         ? 0
                     : strWord == "dynamicIndexed"           ? 1
                                                             : -1;
        if (nValue < 0)
        {
            return Fail("'" + strHead + "' ends with its access or mode word");
        }
        nControls |= static_cast<std::uint32_t>(nValue) << 11;
        vParts.pop_back();
    }
    const std::string strShape = pInfo->pShape;
    if (vParts.size() != strShape.size())
    {
        return Fail("'" + strHead + "' takes " + std::to_string(strShape.size()) +
                    " operands, not " + std::to_string(vParts.size()));
    }
    for (size_t n = 0; n < vParts.size(); ++n)
    {
        if (!AssembleItem(strShape[n], vParts[n], vInstruction))
        {
            return false;
        }
    }
    if (vInstruction.size() > TPF_LENGTH_MASK)
    {
        return Fail("'" + strHead + "' is longer than 127 tokens");
    }
    vInstruction[0] = pInfo->nOpcode | nControls |
                      (static_cast<std::uint32_t>(vInstruction.size()) << TPF_LENGTH_SHIFT);
    if (bExtendedOpcode)
    {
        vInstruction[0] |= TPF_EXTENDED_BIT;
    }
    vTokens.insert(vTokens.end(), vInstruction.begin(), vInstruction.end());
    return true;
}

bool CTpfAssembler::AssembleHead(const TpfOpcodeInfo& info, const std::string& strSuffixes,
                                 std::uint32_t& nControls, std::vector<std::uint32_t>& vExtended)
{
    // Words by kind and the control bits each one sets.
    struct Word
    {
        const char* pText;
        std::uint32_t nBits;
    };
    static const Word sat[] = {{"sat", 1u << 13}};
    static const Word test[] = {{"z", 0}, {"nz", 1u << 18}};
    static const Word resinfo[] = {{"rcpFloat", 1u << 11}, {"uint", 2u << 11}};
    static const Word sampleinfo[] = {{"uint", 1u << 11}};
    static const Word sync[] = {
        {"uglobal", 1u << 14}, {"ugroup", 1u << 13}, {"g", 1u << 12}, {"t", 1u << 11}};
    static const Word uav[] = {{"glc", 1u << 16}};
    std::vector<Word> vWords;
    auto Add = [&vWords](const Word* pWords, size_t nCount)
    {
        for (size_t n = 0; n < nCount; ++n)
        {
            vWords.push_back(pWords[n]);
        }
    };
    switch (info.eControls)
    {
    case TPF_CTL_SAT:
        Add(sat, 1);
        break;
    case TPF_CTL_TEST:
        Add(test, 2);
        break;
    case TPF_CTL_RESINFO:
        Add(resinfo, 2);
        break;
    case TPF_CTL_SAMPLEINFO:
        Add(sampleinfo, 1);
        break;
    case TPF_CTL_SYNC:
        Add(sync, 4);
        break;
    case TPF_CTL_UAVDIM:
    case TPF_CTL_UAVFLAGS:
        Add(uav, 1);
        break;
    default:
        break;
    }
    if (info.eControls == TPF_CTL_RESDIM || info.eControls == TPF_CTL_UAVDIM)
    {
        const TpfNameList& dims = GetTpfResourceDimensions();
        for (unsigned int n = 1; n < dims.nCount; ++n)
        {
            vWords.push_back({dims.ppNames[n], n << 11});
        }
    }
    bool bTested = info.eControls != TPF_CTL_TEST;
    size_t nPos = 0;
    while (nPos < strSuffixes.size())
    {
        if (strSuffixes[nPos] == '(')
        {
            size_t nClose = 0;
            std::uint32_t nTypes = 0;
            if (!ReturnTypes(Enclosed(strSuffixes, nPos, nClose), nTypes))
            {
                return Fail("bad return types in '" + strSuffixes + "'");
            }
            vExtended.push_back(3 | (nTypes << 6));
            nPos = nClose + 1;
            continue;
        }
        ++nPos; // the '_'
        const std::string strRest = strSuffixes.substr(nPos);
        size_t nBest = 0;
        std::uint32_t nBits = 0;
        for (const Word& word : vWords)
        {
            const size_t nLength = std::strlen(word.pText);
            if (nLength > nBest && strRest.compare(0, nLength, word.pText) == 0 &&
                (nLength == strRest.size() || strRest[nLength] == '_' || strRest[nLength] == '('))
            {
                nBest = nLength;
                nBits = word.nBits;
            }
        }
        if (nBest > 0)
        {
            nControls |= nBits;
            bTested = true;
            nPos += nBest;
            continue;
        }
        const size_t nOpen = strRest.find('(');
        const std::string strName = strRest.substr(0, nOpen);
        size_t nClose = 0;
        const std::string strArgs =
            nOpen == std::string::npos ? std::string() : Enclosed(strRest, nOpen, nClose);
        if (nOpen == std::string::npos || nClose == std::string::npos ||
            strName.find('_') != std::string::npos)
        {
            return Fail("unknown suffix in '" + strSuffixes + "'");
        }
        const std::vector<std::string> vArgs = SplitTopLevel(strArgs, ',');
        std::uint32_t nValue = 0;
        if (strName == "ctl" && vArgs.size() == 1 && ParseTpfValue32(vArgs[0], nValue) &&
            (nValue & ~TPF_CONTROL_BITS) == 0)
        {
            nControls |= nValue;
        }
        else if (strName == "ext" && vArgs.size() == 1 && ParseTpfValue32(vArgs[0], nValue) &&
                 (nValue & TPF_EXTENDED_BIT) == 0)
        {
            vExtended.push_back(nValue);
        }
        else if (strName == "aoffimmi" && vArgs.size() == 3)
        {
            std::uint32_t nOffsets = 1;
            for (size_t n = 0; n < 3; ++n)
            {
                std::uint32_t nOffset = 0;
                if (!ParseTpfValue32(vArgs[n], nOffset) ||
                    static_cast<std::int32_t>(nOffset) + 8 > 15 ||
                    static_cast<std::int32_t>(nOffset) < -8)
                {
                    return Fail("offsets run from -8 to 7 in '" + strSuffixes + "'");
                }
                nOffsets |= (nOffset & 0xF) << (9 + 4 * n);
            }
            vExtended.push_back(nOffsets);
        }
        else if (strName == "indexable" && (vArgs.size() == 1 || vArgs.size() == 2))
        {
            const int nDim = GetTpfResourceDimensions().Find(vArgs[0]);
            std::uint32_t nStride = 0;
            if (nDim < 0 ||
                (vArgs.size() == 2 && (!ParseTpfValue32(vArgs[1], nStride) || nStride > 0xFFF)))
            {
                return Fail("bad resource dimension in '" + strSuffixes + "'");
            }
            vExtended.push_back(2 | (static_cast<std::uint32_t>(nDim) << 6) | (nStride << 11));
        }
        else
        {
            return Fail("unknown suffix '" + strName + "' in '" + strSuffixes + "'");
        }
        nPos += nClose + 1;
    }
    if (!bTested)
    {
        return Fail("'" + std::string(info.pName) + "' needs '_z' or '_nz'");
    }
    for (size_t n = 1; n + 1 < vExtended.size(); ++n)
    {
        vExtended[n] |= TPF_EXTENDED_BIT;
    }
    return true;
}

bool CTpfAssembler::AssembleItem(char cShape, const std::string& strText,
                                 std::vector<std::uint32_t>& vTokens)
{
    std::uint32_t nValue = 0;
    switch (cShape)
    {
    case 'd':
    case 's':
        return AssembleOperand(strText, cShape, vTokens);
    case 'r':
        if (!(strText.size() > 2 && strText.front() == '(' && strText.back() == ')' &&
              ReturnTypes(strText.substr(1, strText.size() - 2), nValue)) &&
            !ParseTpfValue32(strText, nValue))
        {
            return Fail("bad return types '" + strText + "'");
        }
        break;
    case 'v':
        if (!NamedValue(GetTpfSystemValues(), strText, nValue))
        {
            return Fail("unknown system value '" + strText + "'");
        }
        break;
    case 'X':
    {
        // "x3[16]": the register and its size.
        const size_t nOpen = strText.find('[');
        std::uint32_t nSize = 0;
        if (strText.size() < 5 || strText[0] != 'x' || nOpen == std::string::npos ||
            strText.back() != ']' || !ParseTpfValue32(strText.substr(1, nOpen - 1), nValue) ||
            !ParseTpfValue32(strText.substr(nOpen + 1, strText.size() - nOpen - 2), nSize))
        {
            return Fail("expected an indexable temp such as 'x0[4]', not '" + strText + "'");
        }
        vTokens.push_back(nValue);
        nValue = nSize;
        break;
    }
    default:
        if (!ParseTpfValue32(strText, nValue))
        {
            return Fail("expected a number, not '" + strText + "'");
        }
        break;
    }
    vTokens.push_back(nValue);
    return true;
}

bool CTpfAssembler::AssembleOperand(const std::string& strOperand, char cRole,
                                    std::vector<std::uint32_t>& vTokens)
{
    std::string strText = Trim(strOperand);
    // Marks behind the first '!' outside brackets: the selection mode, the component form, the
    // extended token.
    int nModeOverride = -1;
    int nFormOverride = -1;
    bool bMarkedExtension = false;
    std::uint32_t nExtended = 0;
    int nDepth = 0;
    size_t nBang = 0;
    while (nBang < strText.size() && (nDepth > 0 || strText[nBang] != '!'))
    {
        nDepth += (strText[nBang] == '[' || strText[nBang] == '(')   ? 1
                  : (strText[nBang] == ']' || strText[nBang] == ')') ? -1
                                                                     : 0;
        ++nBang;
    }
    if (nBang < strText.size())
    {
        std::string strMarks = strText.substr(nBang + 1);
        strText.erase(nBang);
        for (const std::string& strMark : SplitTopLevel(strMarks, '!'))
        {
            if (strMark == "m" || strMark == "s" || strMark == "1")
            {
                nModeOverride = strMark == "m" ? 0 : strMark == "s" ? 1 : 2;
            }
            else if (strMark == "c0" || strMark == "c1")
            {
                nFormOverride = strMark[1] - '0';
            }
            else if (strMark.size() > 3 && strMark.compare(0, 2, "e(") == 0 &&
                     strMark.back() == ')' &&
                     ParseTpfValue32(strMark.substr(2, strMark.size() - 3), nExtended))
            {
                bMarkedExtension = true;
            }
            else
            {
                return Fail("unknown operand mark '!" + strMark + "' in '" + strOperand + "'");
            }
        }
    }
    std::uint32_t nModifier = 0;
    if (!strText.empty() && strText[0] == '-')
    {
        nModifier = 1;
        strText = strText.substr(1);
    }
    if (strText.size() > 2 && strText.front() == '|' && strText.back() == '|')
    {
        nModifier |= 2;
        strText = strText.substr(1, strText.size() - 2);
    }
    if (nModifier != 0 && bMarkedExtension)
    {
        return Fail("a modifier and an extended token in '" + strOperand + "'");
    }
    const bool bExtended = nModifier != 0 || bMarkedExtension;
    if (nModifier != 0)
    {
        nExtended = 1 | (nModifier << 6);
    }
    size_t nPos = 0;
    while (nPos < strText.size() && std::isalpha(static_cast<unsigned char>(strText[nPos])))
    {
        ++nPos;
    }
    const int nType = FindTpfOperandType(strText.substr(0, nPos));
    if (nType < 0)
    {
        return Fail("unknown register in '" + strOperand + "'");
    }
    std::uint32_t nToken = static_cast<std::uint32_t>(nType) << TPF_OPERAND_TYPE_SHIFT;
    std::vector<std::uint32_t> vData;
    std::uint32_t nForm = IsTpfScalarOperandType(static_cast<unsigned int>(nType)) ? 1 : 0;
    if (nType == TPF_OPERAND_TYPE_IMM32 || nType == TPF_OPERAND_TYPE_IMM64)
    {
        size_t nClose = 0;
        const std::vector<std::string> vValues =
            nPos < strText.size() && strText[nPos] == '('
                ? SplitTopLevel(Enclosed(strText, nPos, nClose), ',')
                : std::vector<std::string>();
        if (nPos >= strText.size() || strText[nPos] != '(' || nClose + 1 != strText.size() ||
            vValues.size() == 2 || vValues.size() == 3 || vValues.size() > 4)
        {
            return Fail("an immediate holds 0, 1 or 4 values: '" + strOperand + "'");
        }
        nForm = vValues.size() == 4 ? 2 : static_cast<std::uint32_t>(vValues.size());
        for (const std::string& strValue : vValues)
        {
            std::uint64_t nValue = 0;
            std::uint32_t nValue32 = 0;
            const bool bRead = nType == TPF_OPERAND_TYPE_IMM64
                                   ? ParseTpfValue64(strValue, nValue)
                                   : ParseTpfValue32(strValue, nValue32);
            if (!bRead)
            {
                return Fail("bad value '" + strValue + "' in '" + strOperand + "'");
            }
            vData.push_back(nType == TPF_OPERAND_TYPE_IMM64 ? static_cast<std::uint32_t>(nValue)
                                                            : nValue32);
            if (nType == TPF_OPERAND_TYPE_IMM64)
            {
                vData.push_back(static_cast<std::uint32_t>(nValue >> 32));
            }
        }
        nPos = strText.size();
    }
    // The first index may follow the name directly; others stand in brackets.
    unsigned int nDims = 0;
    size_t nDigits = nPos;
    while (nDigits < strText.size() && (std::isalnum(static_cast<unsigned char>(strText[nDigits]))))
    {
        ++nDigits;
    }
    if (nDigits > nPos)
    {
        bool bWide = false;
        std::uint64_t nValue = 0;
        if (!IndexNumber(strText.substr(nPos, nDigits - nPos), bWide, nValue))
        {
            return Fail("bad register number in '" + strOperand + "'");
        }
        AppendIndexValue(bWide, nValue, vData);
        nToken |= (bWide ? TPF_INDEX_IMM64 : TPF_INDEX_IMM32) << 22;
        ++nDims;
        nPos = nDigits;
    }
    while (nPos < strText.size() && strText[nPos] == '[')
    {
        size_t nClose = 0;
        const std::string strIndex = Enclosed(strText, nPos, nClose);
        std::uint32_t nRep = 0;
        if (nClose == std::string::npos || nDims == 3 || !AssembleIndex(strIndex, nRep, vData))
        {
            return Fail(m_strError.empty() ? "bad index in '" + strOperand + "'" : m_strError);
        }
        nToken |= nRep << (22 + 3 * nDims);
        ++nDims;
        nPos = nClose + 1;
    }
    if (nPos < strText.size() && strText[nPos] == '.')
    {
        const std::string strLetters = strText.substr(nPos + 1);
        const int nMode =
            nModeOverride >= 0 ? nModeOverride : InferTpfSelectionMode(cRole, strLetters);
        std::uint32_t nBits = 0;
        if (!SelectionBits(nMode, strLetters, nBits))
        {
            return Fail("bad components in '" + strOperand + "'");
        }
        nForm = 2;
        nToken |= (static_cast<std::uint32_t>(nMode) << 2) | (nBits << 4);
        nPos = strText.size();
    }
    else if (nModeOverride >= 0)
    {
        return Fail("a selection mode without components in '" + strOperand + "'");
    }
    if (nPos != strText.size())
    {
        return Fail("unexpected '" + strText.substr(nPos) + "' in '" + strOperand + "'");
    }
    if (nFormOverride >= 0)
    {
        nForm = static_cast<std::uint32_t>(nFormOverride);
    }
    nToken |= nForm | (nDims << TPF_OPERAND_DIMS_SHIFT) | (bExtended ? TPF_EXTENDED_BIT : 0);
    vTokens.push_back(nToken);
    if (bExtended)
    {
        vTokens.push_back(nExtended);
    }
    vTokens.insert(vTokens.end(), vData.begin(), vData.end());
    return true;
}

bool CTpfAssembler::AssembleIndex(const std::string& strText, std::uint32_t& nRep,
                                  std::vector<std::uint32_t>& vTokens)
{
    // "17", "17L", "r1.x", "r1.x + 17", "r1.x + 17L"
    const std::vector<std::string> vParts = SplitTopLevel(strText, '+');
    bool bWide = false;
    std::uint64_t nValue = 0;
    if (vParts.size() == 1 && IndexNumber(vParts[0], bWide, nValue))
    {
        nRep = bWide ? TPF_INDEX_IMM64 : TPF_INDEX_IMM32;
        AppendIndexValue(bWide, nValue, vTokens);
        return true;
    }
    if (vParts.empty() || vParts.size() > 2 ||
        (vParts.size() == 2 && !IndexNumber(vParts[1], bWide, nValue)))
    {
        return Fail("bad index '" + strText + "'");
    }
    if (m_nDepth >= MAX_RELATIVE_DEPTH)
    {
        return Fail("relative indices nested too deep");
    }
    nRep = vParts.size() == 1 ? TPF_INDEX_RELATIVE
           : bWide            ? TPF_INDEX_IMM64_RELATIVE
                              : TPF_INDEX_IMM32_RELATIVE;
    if (vParts.size() == 2)
    {
        AppendIndexValue(bWide, nValue, vTokens);
    }
    ++m_nDepth;
    const bool bRead = AssembleOperand(vParts[0], 's', vTokens);
    --m_nDepth;
    return bRead;
}

bool CTpfAssembler::AssembleCustomData(std::uint32_t nClass, const std::string& strBody,
                                       std::vector<std::uint32_t>& vTokens)
{
    const std::string strTrimmed = Trim(strBody);
    if (strTrimmed.size() < 2 || strTrimmed.front() != '{' || strTrimmed.back() != '}')
    {
        return Fail("a customdata block stands in '{' and '}'");
    }
    // The values stand in groups of up to four, "{ a, b, c, d }", separated by commas.
    std::string strValues = strTrimmed.substr(1, strTrimmed.size() - 2);
    for (char& c : strValues)
    {
        c = (c == '{' || c == '}' || c == ',' || c == '\n') ? ' ' : c;
    }
    std::vector<std::uint32_t> vBlock = {TPF_OPCODE_CUSTOMDATA | (nClass << 11), 0};
    size_t nPos = 0;
    while ((nPos = strValues.find_first_not_of(' ', nPos)) != std::string::npos)
    {
        const size_t nEnd = strValues.find(' ', nPos);
        const std::string strValue = strValues.substr(nPos, nEnd - nPos);
        std::uint32_t nValue = 0;
        if (!ParseTpfValue32(strValue, nValue))
        {
            return Fail("bad value '" + strValue + "' in a customdata block");
        }
        vBlock.push_back(nValue);
        nPos = nEnd;
    }
    vBlock[1] = static_cast<std::uint32_t>(vBlock.size());
    vTokens.insert(vTokens.end(), vBlock.begin(), vBlock.end());
    return true;
}

bool CTpfAssembler::AssembleRaw(const std::string& strBody, std::vector<std::uint32_t>& vTokens)
{
    std::vector<std::uint32_t> vRaw;
    for (const std::string& strValue : SplitTopLevel(strBody, ','))
    {
        std::uint32_t nValue = 0;
        if (!ParseTpfValue32(strValue, nValue))
        {
            return Fail("bad token '" + strValue + "' in '.raw'");
        }
        vRaw.push_back(nValue);
    }
    if (vRaw.empty())
    {
        return Fail("'.raw' needs its tokens");
    }
    vTokens.insert(vTokens.end(), vRaw.begin(), vRaw.end());
    return true;
}
} // namespace XAN_Platform
