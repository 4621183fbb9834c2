#include "CILInstructionParser.h"

#include "ShaderUtils/IL/ILShaderUtils.h"

#include <cstdlib>
#include <cstring>

using namespace ShaderUtils;

namespace XAN_Platform
{
namespace
{
const long long INT32_LOWEST = -2147483648LL;
const long long UINT32_HIGHEST = 0xFFFFFFFFLL;

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool IsKeyChar(char c)
{
    return (c >= 'a' && c <= 'z') || IsDigit(c);
}

bool IsNameChar(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

// Calls f with each part of text between separators that stand outside
// brackets and parentheses; nothing for an empty text.
template <typename F> bool ForEachItem(std::string_view text, char cSeparator, F f)
{
    if (TrimILBlanks(text).empty())
    {
        return true;
    }
    int nDepth = 0;
    std::size_t nStart = 0;
    for (std::size_t i = 0; i <= text.size(); ++i)
    {
        const char c = i < text.size() ? text[i] : cSeparator;
        if (c == '(' || c == '[')
        {
            ++nDepth;
        }
        else if ((c == ')' || c == ']') && nDepth > 0)
        {
            --nDepth;
        }
        else if (c == cSeparator && (nDepth == 0 || i == text.size()))
        {
            if (!f(TrimILBlanks(text.substr(nStart, i - nStart))))
            {
                return false;
            }
            nStart = i + 1;
        }
    }
    return true;
}

// Splits "key(value)" suffixes off the front of text: the key, the value and
// whether there was one. False when text doesn't start with a suffix.
bool TakeSuffix(std::string_view& text, std::string_view& key, std::string_view& value,
                bool& bHasValue)
{
    if (text.size() < 2 || text[0] != '_' || !IsKeyChar(text[1]))
    {
        return false;
    }
    std::size_t nEnd = 1;
    while (nEnd < text.size() && IsKeyChar(text[nEnd]))
    {
        ++nEnd;
    }
    key = text.substr(1, nEnd - 1);
    bHasValue = nEnd < text.size() && text[nEnd] == '(';
    if (bHasValue)
    {
        const std::size_t nClose = text.find(')', nEnd);
        if (nClose == std::string_view::npos)
        {
            return false;
        }
        value = text.substr(nEnd + 1, nClose - nEnd - 1);
        nEnd = nClose + 1;
    }
    text.remove_prefix(nEnd);
    return true;
}

// Records the key of a suffix; false if it was given before. The array
// holds more keys than a word has valid suffixes, and an invalid one fails
// once it is recorded, so it doesn't fill up.
template <std::size_t N>
bool RecordSuffix(std::string_view (&seen)[N], unsigned int& nSeen, std::string_view key)
{
    for (unsigned int i = 0; i < nSeen; ++i)
    {
        if (seen[i] == key)
        {
            return false;
        }
    }
    if (nSeen < N)
    {
        seen[nSeen++] = key;
    }
    return true;
}

int ComponentIndex(char c, int nLimit)
{
    for (int i = 0; i < nLimit; ++i)
    {
        if (g_cILComponentLetters[i] == c)
        {
            return i;
        }
    }
    return -1;
}

bool LooksLikeFloat(std::string_view text)
{
    if (!text.empty() && text[0] == '-')
    {
        text.remove_prefix(1);
    }
    if (text.size() > 1 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X'))
    {
        return false;
    }
    return text.find_first_of(".eEf") != std::string_view::npos;
}
} // namespace

bool CILInstructionParser::Fail(std::string_view where, const std::string& strMessage)
{
    m_errorWhere = where;
    m_strError = strMessage;
    return false;
}

bool CILInstructionParser::Parse(std::string_view statement, std::vector<unsigned int>& vTokens)
{
    vTokens.clear();
    statement = TrimILBlanks(statement);
    std::size_t nWordEnd = 0;
    while (nWordEnd < statement.size() && !IsILBlank(statement[nWordEnd]))
    {
        ++nWordEnd;
    }
    Mnemonic mnemonic;
    if (!ParseMnemonic(statement.substr(0, nWordEnd), mnemonic))
    {
        return false;
    }
    const ILTextForm& form = *mnemonic.pForm;
    const std::string_view operands = TrimILBlanks(statement.substr(nWordEnd));
    vTokens.push_back(mnemonic.nOpcodeToken);
    if (form.shape == IL_SHAPE_MDEF)
    {
        vTokens.push_back((mnemonic.nOutputs << IL_INSTMOD_OUTPUT_SHIFT) | mnemonic.nInputs);
    }
    else if (form.shape == IL_SHAPE_MCALL)
    {
        vTokens.push_back(0); // instMod, once the operands are counted
    }
    // Where bits 30 and 31 aren't modifier flags, _control wrote them.
    const bool bPri = form.bModifierFlags && (mnemonic.nOpcodeToken & IL_PRI_MODIFIER_PRESENT);
    const bool bSec = form.bModifierFlags && (mnemonic.nOpcodeToken & IL_SEC_MODIFIER_PRESENT);
    const bool bCbData = form.shape == IL_SHAPE_CB && bPri;
    if (bPri)
    {
        vTokens.push_back(mnemonic.nPri);
    }
    if (bCbData)
    {
        // The primary modifier counts the data, which comes before the
        // secondary modifier.
        const std::size_t nCountAt = vTokens.size() - 1;
        if (!ParseOperands(operands, mnemonic, vTokens))
        {
            return false;
        }
        vTokens[nCountAt] = static_cast<unsigned int>(vTokens.size() - nCountAt - 1);
    }
    if (bSec)
    {
        vTokens.push_back(mnemonic.nSec);
    }
    bool bParsed = true;
    if (form.shape == IL_SHAPE_MDEF)
    {
        bParsed = operands.empty() || Fail(operands, "mdef takes no operands");
    }
    else if (form.shape == IL_SHAPE_MCALL)
    {
        bParsed = ParseMcallOperands(operands, vTokens);
    }
    else if (!bCbData)
    {
        bParsed = ParseOperands(operands, mnemonic, vTokens);
    }
    if (!bParsed)
    {
        return false;
    }
    for (unsigned int i = 0; i < form.nTrailingNames; ++i)
    {
        vTokens.push_back(mnemonic.nTrailing[i]);
    }
    if (vTokens.size() > IL_MAX_INSTRUCTION_TOKENS)
    {
        return Fail(statement, "instruction longer than 4100 tokens");
    }
    return true;
}

bool CILInstructionParser::ParseHeader(std::string_view word, unsigned int& nVersion)
{
    // il_<type>_<major>_<minor>
    const char* const pForm = "not a header of the form il_cs_2_0 (vs, ps, gs, cs, hs or ds; "
                              "major and minor version up to 255, not both 0):";
    const std::size_t nTypeEnd = word.find('_', 3);
    const std::size_t nMajorEnd =
        nTypeEnd == std::string_view::npos ? nTypeEnd : word.find('_', nTypeEnd + 1);
    if (word.substr(0, 3) != "il_" || nMajorEnd == std::string_view::npos)
    {
        return Fail(word, pForm);
    }
    unsigned int nShaderType = 0;
    while (nShaderType < GetILShaderTypeCount() &&
           word.substr(3, nTypeEnd - 3) != GetILShaderTypeName(nShaderType))
    {
        ++nShaderType;
    }
    long long nMajor = 0;
    long long nMinor = 0;
    if (nShaderType == GetILShaderTypeCount() ||
        !ParseNumber(word.substr(nTypeEnd + 1, nMajorEnd - nTypeEnd - 1), 0, 255, nMajor) ||
        !ParseNumber(word.substr(nMajorEnd + 1), 0, 255, nMinor) || (nMajor == 0 && nMinor == 0))
    {
        return Fail(word, pForm);
    }
    nVersion = (nShaderType << IL_VERSION_SHADER_TYPE_SHIFT) |
               (static_cast<unsigned int>(nMajor) << IL_VERSION_MAJOR_SHIFT) |
               (static_cast<unsigned int>(nMinor) << IL_VERSION_MINOR_SHIFT);
    return true;
}

bool CILInstructionParser::ParseMnemonic(std::string_view word, Mnemonic& mnemonic)
{
    // Mnemonics hold underscores, and so do suffixes: try the longest
    // mnemonic first, and shorter ones while the rest isn't a valid suffix.
    bool bFound = false;
    std::string_view firstError;
    std::string strFirstError;
    std::size_t nEnd = word.size();
    while (true)
    {
        const ILOpCodeDesc* pDesc = FindOpCodeDescByName(std::string(word.substr(0, nEnd)));
        if (pDesc != nullptr)
        {
            const unsigned int nOpCode = GetILOpCode(pDesc->nOpCode);
            ILOperandCounts counts{};
            if (nOpCode == IL_OP_COMMENT)
            {
                return Fail(word, "comments are written after ';', not as");
            }
            if ((nOpCode >= IL_OP_HS_CP_PHASE && nOpCode <= IL_OP_ENDPHASE) ||
                GetOperandCounts(nOpCode, 0, counts) == IL_DESC_UNKNOWN_KIND)
            {
                return Fail(word, "opcode that kernels can't contain");
            }
            mnemonic = Mnemonic();
            mnemonic.word = word;
            mnemonic.pName = pDesc->pName;
            mnemonic.pForm = &GetILTextForm(nOpCode);
            mnemonic.nOpcodeToken = pDesc->nOpCode;
            if (ParseSuffixes(word.substr(nEnd), mnemonic))
            {
                return true;
            }
            if (!bFound)
            {
                bFound = true;
                firstError = m_errorWhere;
                strFirstError = m_strError;
            }
        }
        if (nEnd == 0)
        {
            break;
        }
        nEnd = word.find_last_of("_(", nEnd - 1);
        if (nEnd == std::string_view::npos)
        {
            break;
        }
    }
    return bFound ? Fail(firstError, strFirstError) : Fail(word, "unknown opcode");
}

bool CILInstructionParser::ParseSuffixes(std::string_view text, Mnemonic& mnemonic)
{
    const ILTextForm& form = *mnemonic.pForm;
    if (form.shape == IL_SHAPE_MDEF || form.shape == IL_SHAPE_MCALL)
    {
        const std::size_t nClose = text.find(')');
        if (text.empty() || text[0] != '(' || nClose == std::string_view::npos)
        {
            return Fail(mnemonic.word, "a macro needs its label, as in mdef(1) or mcall(1):");
        }
        long long nLabel = 0;
        if (!ParseNumber(text.substr(1, nClose - 1), 0, IL_CONTROL_MASK, nLabel))
        {
            return false;
        }
        mnemonic.nOpcodeToken |= static_cast<unsigned int>(nLabel) << IL_CONTROL_SHIFT;
        text.remove_prefix(nClose + 1);
    }
    std::string_view seen[16];
    unsigned int nSeen = 0;
    while (!text.empty())
    {
        std::string_view key;
        std::string_view value;
        bool bHasValue = false;
        const std::string_view rest = text;
        if (!TakeSuffix(text, key, value, bHasValue))
        {
            return Fail(rest, "not a suffix:");
        }
        if (!RecordSuffix(seen, nSeen, key))
        {
            return Fail(key, "suffix given twice:");
        }
        if (!ParseSuffix(key, value, bHasValue, mnemonic))
        {
            return false;
        }
    }
    for (unsigned int i = 0; i < form.nTrailingNames; ++i)
    {
        if ((mnemonic.nTrailingGiven & (1u << i)) == 0)
        {
            return Fail(mnemonic.word,
                        std::string("missing the suffix _") + form.ppTrailingNames[i] + "(n) in");
        }
    }
    return true;
}

bool CILInstructionParser::ParseSuffix(std::string_view key, std::string_view value, bool bHasValue,
                                       Mnemonic& mnemonic)
{
    const ILTextForm& form = *mnemonic.pForm;
    long long nValue = 0;
    // A flag field and _data take no value; every other suffix needs one.
    auto needsValue = [&](bool bWanted)
    {
        return bWanted == bHasValue || Fail(key, bWanted ? "suffix needs a value in parentheses:"
                                                         : "suffix takes no value:");
    };
    for (unsigned int i = 0; i < form.nFields; ++i)
    {
        const ILControlField& field = *form.ppFields[i];
        if (key != field.pKey)
        {
            continue;
        }
        if (!needsValue(!field.bFlag))
        {
            return false;
        }
        if (field.bFlag)
        {
            nValue = 1;
        }
        else
        {
            bool bNamed = false;
            for (unsigned int n = 0; n < field.nValueNames && !bNamed; ++n)
            {
                bNamed = value == field.ppValueNames[n];
                nValue = n;
            }
            if (!bNamed && !ParseNumber(value, 0, (1LL << field.nWidth) - 1, nValue))
            {
                return false;
            }
        }
        mnemonic.nOpcodeToken |= static_cast<unsigned int>(nValue) << field.nShift;
        return true;
    }
    if (key == "control" && form.nFreeBits != 0)
    {
        if (!needsValue(true) || !ParseNumber(value, 0, 0xFFFF, nValue))
        {
            return false;
        }
        const unsigned int nBits = static_cast<unsigned int>(nValue) << IL_CONTROL_SHIFT;
        if (nBits & ~form.nFreeBits)
        {
            return Fail(value, "control bits that other suffixes of the opcode write:");
        }
        mnemonic.nOpcodeToken |= nBits;
        return true;
    }
    if (form.bModifierFlags && (key == "sec" || (key == "pri" && form.shape != IL_SHAPE_CB)))
    {
        if (!needsValue(true) || !ParseNumber(value, INT32_LOWEST, UINT32_HIGHEST, nValue))
        {
            return false;
        }
        const bool bPri = key == "pri";
        (bPri ? mnemonic.nPri : mnemonic.nSec) = static_cast<unsigned int>(nValue);
        mnemonic.nOpcodeToken |= bPri ? IL_PRI_MODIFIER_PRESENT : IL_SEC_MODIFIER_PRESENT;
        return true;
    }
    if (key == "data" && form.shape == IL_SHAPE_CB)
    {
        mnemonic.nOpcodeToken |= IL_PRI_MODIFIER_PRESENT;
        return needsValue(false);
    }
    if (form.shape == IL_SHAPE_MDEF && (key == "out" || key == "in"))
    {
        if (!needsValue(true) || !ParseNumber(value, 0, IL_INSTMOD_INPUT_MASK, nValue))
        {
            return false;
        }
        (key == "out" ? mnemonic.nOutputs : mnemonic.nInputs) = static_cast<unsigned int>(nValue);
        return true;
    }
    for (unsigned int i = 0; i < form.nTrailingNames; ++i)
    {
        if (key == form.ppTrailingNames[i])
        {
            if (!needsValue(true) || !ParseNumber(value, INT32_LOWEST, UINT32_HIGHEST, nValue))
            {
                return false;
            }
            mnemonic.nTrailing[i] = static_cast<unsigned int>(nValue);
            mnemonic.nTrailingGiven |= 1u << i;
            return true;
        }
    }
    return Fail(key, std::string("unknown suffix of ") + mnemonic.pName + ":");
}

bool CILInstructionParser::ParseOperands(std::string_view text, const Mnemonic& mnemonic,
                                         std::vector<unsigned int>& vTokens)
{
    const ILTextForm& form = *mnemonic.pForm;
    ILOperandCounts counts{};
    GetOperandCounts(mnemonic.nOpcodeToken, 0, counts);
    const unsigned int nRegisters = (counts.bHasDest ? 1 : 0) + counts.nSrcCount;
    // The count shape and dcl_cb data take any number of values.
    const bool bAnyValues =
        form.shape == IL_SHAPE_COUNT || (form.shape == IL_SHAPE_CB && counts.nSrcCount == 0);
    const bool bControlValue = form.shape == IL_SHAPE_CONTROL_VALUE;
    const unsigned int nValues =
        bAnyValues      ? 0
        : bControlValue ? 1
                        : GetTrailingTokenCount(mnemonic.nOpcodeToken) - form.nTrailingNames;
    unsigned int nItem = 0;
    const bool bParsed = ForEachItem(
        text, ',',
        [&](std::string_view item)
        {
            const unsigned int nIndex = nItem++;
            if (nIndex < nRegisters)
            {
                return ParseOperand(item, counts.bHasDest && nIndex == 0, form, vTokens);
            }
            if (!bAnyValues && nIndex >= nRegisters + nValues)
            {
                return Fail(item, std::string("too many operands for ") + mnemonic.pName + ":");
            }
            if (bControlValue)
            {
                long long nControl = 0;
                if (!ParseNumber(item, 0, IL_CONTROL_MASK, nControl))
                {
                    return false;
                }
                vTokens[0] |= static_cast<unsigned int>(nControl) << IL_CONTROL_SHIFT;
                return true;
            }
            unsigned int nValue = 0;
            if (!ParseValue(item, form.bHexValues, nValue))
            {
                return false;
            }
            vTokens.push_back(nValue);
            return true;
        });
    if (!bParsed)
    {
        return false;
    }
    if (!bAnyValues && nItem < nRegisters + nValues)
    {
        return Fail(mnemonic.word, "needs " + std::to_string(nRegisters + nValues) +
                                       " operands, found " + std::to_string(nItem) + ":");
    }
    if (form.shape == IL_SHAPE_COUNT)
    {
        if (nItem > IL_CONTROL_MASK)
        {
            return Fail(text, "too many values");
        }
        vTokens[0] |= nItem << IL_CONTROL_SHIFT;
    }
    return true;
}

bool CILInstructionParser::ParseMcallOperands(std::string_view text,
                                              std::vector<unsigned int>& vTokens)
{
    const ILTextForm& form = GetILTextForm(IL_OP_MCALL);
    std::string_view groups[2];
    unsigned int nGroups = 0;
    const bool bSplit =
        ForEachItem(text, ',',
                    [&](std::string_view item)
                    {
                        if (nGroups == 2)
                        {
                            return Fail(item, "mcall takes (outputs), (inputs); too many groups:");
                        }
                        if (item.size() < 2 || item.front() != '(' || item.back() != ')')
                        {
                            return Fail(item, "mcall operands are grouped as (outputs), (inputs):");
                        }
                        groups[nGroups++] = item.substr(1, item.size() - 2);
                        return true;
                    });
    if (!bSplit)
    {
        return false;
    }
    if (nGroups != 2)
    {
        return Fail(text, "mcall needs (outputs), (inputs):");
    }
    unsigned int nOutputs = 0;
    unsigned int nInputs = 0;
    const bool bParsed = ForEachItem(groups[0], ',',
                                     [&](std::string_view item)
                                     {
                                         return ++nOutputs == 1
                                                    ? ParseOperand(item, true, form, vTokens)
                                                    : Fail(item, "mcall has at most one output:");
                                     }) &&
                         ForEachItem(groups[1], ',',
                                     [&](std::string_view item)
                                     {
                                         ++nInputs;
                                         return nInputs <= IL_INSTMOD_INPUT_MASK
                                                    ? ParseOperand(item, false, form, vTokens)
                                                    : Fail(item, "too many mcall inputs:");
                                     });
    if (!bParsed)
    {
        return false;
    }
    vTokens[1] = (nOutputs << IL_INSTMOD_OUTPUT_SHIFT) | nInputs;
    return true;
}

bool CILInstructionParser::ParseOperand(std::string_view text, bool bDest, const ILTextForm& form,
                                        std::vector<unsigned int>& vTokens)
{
    if (text.empty())
    {
        return Fail(text, "missing operand");
    }
    const std::string_view whole = text;
    Operand operand;
    const bool bNegateAll = text[0] == '-';
    if (bNegateAll)
    {
        if (bDest)
        {
            return Fail(whole, "a destination can't be negated:");
        }
        text.remove_prefix(1);
    }
    if (!ParseRegisterName(text, operand.nToken))
    {
        return false;
    }
    if (!text.empty() && text[0] == '[')
    {
        const std::size_t nClose = text.find(']');
        if (nClose == std::string_view::npos)
        {
            return Fail(whole, "missing ']' in");
        }
        if (!ParseIndex(text.substr(1, nClose - 1), form, operand))
        {
            return false;
        }
        text.remove_prefix(nClose + 1);
    }
    const bool bComponents = !text.empty() && text[0] == '.';
    if (bComponents && !(bDest ? ParseDestComponents(text, operand) : ParseSwizzle(text, operand)))
    {
        return false;
    }
    if (!ParseOperandSuffixes(text, bDest, false, operand))
    {
        return false;
    }
    if (!text.empty())
    {
        return Fail(text, "unexpected text in the operand:");
    }
    if (bNegateAll)
    {
        operand.nModifier |= IL_SRC_NEGATE_ALL;
    }
    if (bComponents || bNegateAll || operand.nModifier != 0)
    {
        operand.nToken |= IL_REG_MODIFIER_PRESENT;
        if (!bComponents)
        {
            operand.nModifier |= bDest ? 0x55u : IL_SRC_IDENTITY_SWIZZLE;
        }
    }
    vTokens.push_back(operand.nToken);
    if (operand.nToken & IL_REG_MODIFIER_PRESENT)
    {
        vTokens.push_back(operand.nModifier);
    }
    vTokens.insert(vTokens.end(), operand.nAddress, operand.nAddress + operand.nAddressCount);
    if (operand.nToken & IL_REG_IMMEDIATE_PRESENT)
    {
        vTokens.push_back(operand.nImmediate);
    }
    if (operand.nToken & IL_REG_EXTENDED)
    {
        vTokens.push_back(operand.nExtension);
    }
    return true;
}

bool CILInstructionParser::ParseRegisterName(std::string_view& text, unsigned int& nToken)
{
    std::size_t nEnd = 0;
    while (nEnd < text.size() && IsNameChar(text[nEnd]))
    {
        ++nEnd;
    }
    const std::string_view name = text.substr(0, nEnd);
    const unsigned int nType = ParseILTextRegTypeName(std::string(name));
    if (nType == IL_REGTYPE_LAST)
    {
        std::size_t nWordEnd = nEnd;
        while (nWordEnd < text.size() && (IsDigit(text[nWordEnd]) || text[nWordEnd] == '-'))
        {
            ++nWordEnd;
        }
        return Fail(text.substr(0, nWordEnd), "unknown register");
    }
    text.remove_prefix(nEnd);
    // A bare name is number 0; only temps have negative numbers.
    std::size_t nDigits = text.size() > 1 && text[0] == '-' && IsDigit(text[1]) ? 1 : 0;
    while (nDigits < text.size() && IsDigit(text[nDigits]))
    {
        ++nDigits;
    }
    long long nNumber = 0;
    const long long nLowest = nType == IL_REGTYPE_TEMP ? -65536 : 0;
    if (nDigits > 0 && !ParseNumber(text.substr(0, nDigits), nLowest, 65535, nNumber))
    {
        return false;
    }
    text.remove_prefix(nDigits);
    nToken = SetILRegNumber(nType << IL_REG_TYPE_SHIFT, static_cast<int>(nNumber));
    return true;
}

bool CILInstructionParser::ParseIndex(std::string_view text, const ILTextForm& form,
                                      Operand& operand)
{
    // Explicit parts: dim(n), imm(n), rel(n); a register; a plain number,
    // which is the immediate beside a register or rel(), else the default
    // slot of the operand's type.
    std::string_view parts[3]; // dim, imm, rel
    unsigned int nParts[3] = {0, 0, 0};
    std::string_view number;
    std::string_view indexRegister;
    unsigned int nNumber = 0;
    const bool bParsed = ForEachItem(
        text, '+',
        [&](std::string_view term)
        {
            if (term.empty())
            {
                return Fail(text, "empty term in the index");
            }
            const bool bNumber =
                IsDigit(term[0]) || (term.size() > 1 && term[0] == '-' && IsDigit(term[1]));
            int nPart = -1;
            if (term.size() > 5 && term[3] == '(' && term.back() == ')')
            {
                const std::string_view kind = term.substr(0, 3);
                nPart = kind == "dim" ? 0 : kind == "imm" ? 1 : kind == "rel" ? 2 : -1;
            }
            std::string_view& seen = bNumber ? number : nPart >= 0 ? parts[nPart] : indexRegister;
            if (!seen.empty())
            {
                return Fail(term, "the index has this part twice:");
            }
            seen = term;
            if (bNumber)
            {
                return ParseValue(term, false, nNumber);
            }
            if (nPart >= 0)
            {
                return ParseValue(term.substr(4, term.size() - 5), false, nParts[nPart]);
            }
            return ParseIndexRegister(term, operand);
        });
    if (!bParsed)
    {
        return false;
    }
    const bool bRegister = !indexRegister.empty();
    const bool bRelative = !parts[2].empty();
    if (!number.empty())
    {
        const bool bDimension =
            !bRegister && !bRelative && IsDimensionIndexDefault(form, GetILRegType(operand.nToken));
        const int nPart = bDimension ? 0 : 1;
        if (!parts[nPart].empty())
        {
            return Fail(number, "the index has this part twice:");
        }
        parts[nPart] = number;
        nParts[nPart] = nNumber;
    }
    if (number.empty() && parts[0].empty() && parts[1].empty() && !bRelative && !bRegister)
    {
        return Fail(text, "empty index");
    }
    if (bRegister && bRelative)
    {
        return Fail(text, "an index is relative to a register or to rel(), not both:");
    }
    if ((bRegister || bRelative) && !parts[0].empty())
    {
        return Fail(parts[0], "a relative index has no dimension:");
    }
    if (bRegister)
    {
        operand.nToken |= IL_ADDR_REG_RELATIVE << IL_REG_RELATIVE_SHIFT;
    }
    else if (bRelative)
    {
        operand.nToken |= IL_ADDR_RELATIVE << IL_REG_RELATIVE_SHIFT;
        operand.nAddress[0] = nParts[2];
        operand.nAddressCount = 1;
    }
    else if (!parts[0].empty())
    {
        operand.nToken |= IL_REG_DIMENSION;
        operand.nAddress[0] = nParts[0];
        operand.nAddressCount = 1;
    }
    if (!parts[1].empty())
    {
        operand.nToken |= IL_REG_IMMEDIATE_PRESENT;
        operand.nImmediate = nParts[1];
    }
    return true;
}

bool CILInstructionParser::ParseIndexRegister(std::string_view text, Operand& operand)
{
    const std::string_view whole = text;
    const bool bNegateAll = text[0] == '-';
    if (bNegateAll)
    {
        text.remove_prefix(1);
    }
    Operand index;
    if (!ParseRegisterName(text, index.nToken))
    {
        return false;
    }
    const bool bSwizzle = !text.empty() && text[0] == '.';
    if ((bSwizzle && !ParseSwizzle(text, index)) || !ParseOperandSuffixes(text, false, true, index))
    {
        return false;
    }
    if (!text.empty())
    {
        return Fail(whole, "not an index register:");
    }
    if (bNegateAll)
    {
        index.nModifier |= IL_SRC_NEGATE_ALL;
    }
    operand.nAddress[0] = index.nToken;
    operand.nAddressCount = 1;
    if (bSwizzle || index.nModifier != 0)
    {
        operand.nAddress[0] |= IL_REG_MODIFIER_PRESENT;
        operand.nAddress[1] = index.nModifier | (bSwizzle ? 0 : IL_SRC_IDENTITY_SWIZZLE);
        operand.nAddressCount = 2;
    }
    return true;
}

bool CILInstructionParser::ParseDestComponents(std::string_view& text, Operand& operand)
{
    const std::string_view whole = text;
    text.remove_prefix(1);
    // Four places of x/y/z/w or '_' (or the raw values 2 and 3) when any
    // place isn't written; else the written letters in order.
    bool bPlaces = text.size() >= 4;
    bool bAnyPlaceholder = false;
    for (std::size_t i = 0; i < 4 && bPlaces; ++i)
    {
        const char c = text[i];
        bPlaces = c == g_cILComponentLetters[i] || c == '_' || c == '2' || c == '3';
        bAnyPlaceholder = bAnyPlaceholder || c != g_cILComponentLetters[i];
    }
    if (bPlaces && bAnyPlaceholder)
    {
        for (unsigned int i = 0; i < 4; ++i)
        {
            const char c = text[i];
            const unsigned int nValue = c == '_' ? 0 : c == '2' ? 2 : c == '3' ? 3 : 1;
            operand.nModifier |= nValue << (i * IL_DST_COMPONENT_SHIFT);
        }
        text.remove_prefix(4);
        return true;
    }
    int nLast = -1;
    while (!text.empty())
    {
        const int nComponent = ComponentIndex(text[0], 4);
        if (nComponent < 0)
        {
            break;
        }
        if (nComponent <= nLast)
        {
            return Fail(whole, "write mask letters go in the order xyzw:");
        }
        nLast = nComponent;
        operand.nModifier |= IL_DSTMOD_WRITE << (nComponent * IL_DST_COMPONENT_SHIFT);
        text.remove_prefix(1);
    }
    return nLast >= 0 || Fail(whole, "empty write mask:");
}

bool CILInstructionParser::ParseSwizzle(std::string_view& text, Operand& operand)
{
    const std::string_view whole = text;
    text.remove_prefix(1);
    int nSelect[4] = {-1, -1, -1, -1};
    unsigned int nCount = 0;
    while (nCount < 4 && !text.empty())
    {
        const int nComponent = ComponentIndex(text[0], 6);
        if (nComponent < 0)
        {
            break;
        }
        nSelect[nCount++] = nComponent;
        text.remove_prefix(1);
    }
    if (nCount == 0)
    {
        return Fail(whole, "empty swizzle:");
    }
    // A short swizzle repeats its last letter.
    for (unsigned int i = 0; i < 4; ++i)
    {
        const unsigned int nValue = static_cast<unsigned int>(nSelect[i < nCount ? i : nCount - 1]);
        operand.nModifier |= nValue << (i * IL_SRC_COMPONENT_SHIFT);
    }
    return true;
}

bool CILInstructionParser::ParseOperandSuffixes(std::string_view& text, bool bDest,
                                                bool bIndexRegister, Operand& operand)
{
    const unsigned int nOwnBits = bDest ? 0xFFu : 0xFFFFu | IL_SRC_ABS;
    std::string_view seen[5];
    unsigned int nSeen = 0;
    while (!text.empty() && text[0] == '_')
    {
        std::string_view key;
        std::string_view value;
        bool bHasValue = false;
        const std::string_view rest = text;
        if (!TakeSuffix(text, key, value, bHasValue))
        {
            return Fail(rest, "not an operand suffix:");
        }
        const std::string_view suffix = rest.substr(0, rest.size() - text.size());
        if (!RecordSuffix(seen, nSeen, key))
        {
            return Fail(suffix, "suffix given twice:");
        }
        long long nValue = 0;
        if (key == "abs" && !bDest && !bHasValue)
        {
            operand.nModifier |= IL_SRC_ABS;
        }
        else if (key == "neg" && !bDest && bHasValue)
        {
            int nLast = -1;
            for (char c : value)
            {
                const int nComponent = ComponentIndex(c, 4);
                if (nComponent <= nLast)
                {
                    return Fail(value, "negate takes component letters in the order xyzw:");
                }
                nLast = nComponent;
                operand.nModifier |= IL_SRC_NEGATE << (nComponent * IL_SRC_COMPONENT_SHIFT);
            }
            if (nLast < 0)
            {
                return Fail(key, "negate needs components, as in _neg(xz):");
            }
        }
        else if (key == "mod" && bHasValue)
        {
            if (!ParseNumber(value, 0, UINT32_HIGHEST, nValue))
            {
                return false;
            }
            if (nValue == 0 || (static_cast<unsigned int>(nValue) & nOwnBits))
            {
                return Fail(value, "modifier bits that the operand's other parts write:");
            }
            operand.nModifier |= static_cast<unsigned int>(nValue);
        }
        else if (key == "ext" && bHasValue && !bIndexRegister)
        {
            if (!ParseNumber(value, INT32_LOWEST, UINT32_HIGHEST, nValue))
            {
                return false;
            }
            operand.nToken |= IL_REG_EXTENDED;
            operand.nExtension = static_cast<unsigned int>(nValue);
        }
        else
        {
            return Fail(suffix, "not a suffix of this operand:");
        }
    }
    return true;
}

bool CILInstructionParser::ParseValue(std::string_view text, bool bBitPattern, unsigned int& nValue)
{
    text = TrimILBlanks(text);
    if (bBitPattern && LooksLikeFloat(text))
    {
        std::string strNumber(text);
        if (!strNumber.empty() && strNumber.back() == 'f')
        {
            strNumber.pop_back();
        }
        char* pEnd = nullptr;
        const float fValue = std::strtof(strNumber.c_str(), &pEnd);
        if (strNumber.empty() || pEnd != strNumber.c_str() + strNumber.size())
        {
            return Fail(text, "not a number:");
        }
        std::memcpy(&nValue, &fValue, sizeof(nValue));
        return true;
    }
    long long nNumber = 0;
    if (!ParseNumber(text, INT32_LOWEST, UINT32_HIGHEST, nNumber))
    {
        return false;
    }
    nValue = static_cast<unsigned int>(nNumber);
    return true;
}

bool CILInstructionParser::ParseNumber(std::string_view text, long long nMin, long long nMax,
                                       long long& nValue)
{
    const std::string_view whole = text;
    const bool bNegative = !text.empty() && text[0] == '-';
    if (bNegative)
    {
        text.remove_prefix(1);
    }
    const bool bHex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    if (bHex)
    {
        text.remove_prefix(2);
    }
    if (text.empty())
    {
        return Fail(whole, "not a number:");
    }
    unsigned long long nMagnitude = 0;
    for (char c : text)
    {
        int nDigit = -1;
        if (IsDigit(c))
        {
            nDigit = c - '0';
        }
        else if (bHex && c >= 'a' && c <= 'f')
        {
            nDigit = c - 'a' + 10;
        }
        else if (bHex && c >= 'A' && c <= 'F')
        {
            nDigit = c - 'A' + 10;
        }
        if (nDigit < 0)
        {
            return Fail(whole, "not a number:");
        }
        nMagnitude = nMagnitude * (bHex ? 16 : 10) + static_cast<unsigned int>(nDigit);
        if (nMagnitude > (1ULL << 40))
        {
            return Fail(whole, "number out of range:");
        }
    }
    nValue = bNegative ? -static_cast<long long>(nMagnitude) : static_cast<long long>(nMagnitude);
    if (nValue < nMin || nValue > nMax)
    {
        return Fail(whole, "number out of range (" + std::to_string(nMin) + " to " +
                               std::to_string(nMax) + "):");
    }
    return true;
}
} // namespace XAN_Platform
