#include "CDX9Assembler.h"

#include <cctype>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace XAN_Platform
{
using namespace DX9;

namespace
{
std::string_view Trim(std::string_view text)
{
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())))
    {
        text.remove_prefix(1);
    }
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())))
    {
        text.remove_suffix(1);
    }
    return text;
}

std::vector<std::string_view> Split(std::string_view text, char cSeparator)
{
    std::vector<std::string_view> vParts;
    for (std::size_t nPos = 0;;)
    {
        const std::size_t nEnd = text.find(cSeparator, nPos);
        vParts.push_back(text.substr(nPos, nEnd - nPos));
        if (nEnd == std::string_view::npos)
        {
            return vParts;
        }
        nPos = nEnd + 1;
    }
}

int IsAlpha(int c)
{
    return std::isalpha(c);
}

int IsDigit(int c)
{
    return std::isdigit(c);
}

int IsAlnum(int c)
{
    return std::isalnum(c);
}

std::string_view TakeWhile(std::string_view& text, int (*pPredicate)(int))
{
    std::size_t n = 0;
    while (n < text.size() && pPredicate(static_cast<unsigned char>(text[n])) != 0)
    {
        ++n;
    }
    std::string_view taken = text.substr(0, n);
    text.remove_prefix(n);
    return taken;
}

bool ParseUnsigned(std::string_view text, std::uint32_t nMax, std::uint32_t& nValue)
{
    if (text.empty() || text.size() > 9)
    {
        return false;
    }
    nValue = 0;
    for (char c : text)
    {
        if (!std::isdigit(static_cast<unsigned char>(c)))
        {
            return false;
        }
        nValue = nValue * 10 + static_cast<std::uint32_t>(c - '0');
    }
    return nValue <= nMax;
}

int ComponentIndex(char c)
{
    static const char components[] = "xyzwrgba";
    const char* p = c != '\0' ? std::strchr(components, c) : nullptr;
    return p != nullptr ? static_cast<int>(p - components) % 4 : -1;
}

// Destination modifiers as suffixes of the mnemonic: result bits at 20, shift at 24.
bool ModifierFromName(std::string_view strName, std::uint32_t& dwBits)
{
    static const struct
    {
        const char* pName;
        std::uint32_t dwBits;
    } modifiers[] = {
        {"sat", RESULT_SAT << RESULT_MOD_SHIFT},
        {"pp", RESULT_PP << RESULT_MOD_SHIFT},
        {"centroid", RESULT_CENTROID << RESULT_MOD_SHIFT},
        {"x2", 1u << SHIFT_SHIFT},
        {"x4", 2u << SHIFT_SHIFT},
        {"x8", 3u << SHIFT_SHIFT},
        {"d2", 0xFu << SHIFT_SHIFT},
        {"d4", 0xEu << SHIFT_SHIFT},
        {"d8", 0xDu << SHIFT_SHIFT},
    };
    for (const auto& modifier : modifiers)
    {
        if (strName == modifier.pName)
        {
            dwBits |= modifier.dwBits;
            return true;
        }
    }
    return false;
}
} // namespace

bool CDX9Assembler::Assemble(std::string_view strText, std::vector<std::uint32_t>& vTokens)
{
    *this = CDX9Assembler();
    for (std::string_view line : Split(strText, '\n'))
    {
        ++m_nLine;
        if (!line.empty() && line.back() == '\r')
        {
            line.remove_suffix(1);
        }
        if (!AssembleLine(line))
        {
            return false;
        }
    }
    if (m_bPreshader)
    {
        return Fail("the preshader block has no end");
    }
    if (!m_bVersion)
    {
        return Fail("no version");
    }
    m_vTokens.push_back(END_TOKEN);
    vTokens.swap(m_vTokens);
    return true;
}

bool CDX9Assembler::AssembleLine(std::string_view line)
{
    if (m_bPreshader)
    {
        if (line.empty() || line.front() != '/')
        {
            return ParseHex(line, m_vPreshader);
        }
        m_bPreshader = false;
        m_vHeaderComments.push_back(m_vPreshader);
    }
    // Remarks go, comments become tokens behind the statement.
    std::string strStatement;
    std::vector<std::vector<std::uint32_t>> vComments;
    for (std::size_t nPos = 0; nPos < line.size();)
    {
        const std::size_t nBlock = line.find("/*", nPos);
        const std::size_t nRemark = line.find("//", nPos);
        strStatement += line.substr(nPos, std::min(nBlock, nRemark) - nPos);
        if (nRemark < nBlock || nBlock == std::string_view::npos)
        {
            break;
        }
        const std::size_t nEnd = line.find("*/", nBlock + 2);
        if (nEnd == std::string_view::npos)
        {
            return Fail("a comment without its end");
        }
        vComments.emplace_back();
        if (!ParseComment(line.substr(nBlock + 2, nEnd - nBlock - 2), vComments.back()))
        {
            return false;
        }
        nPos = nEnd + 2;
    }
    const std::string_view statement = Trim(strStatement);
    if (!m_bVersion)
    {
        m_vHeaderComments.insert(m_vHeaderComments.end(), vComments.begin(), vComments.end());
        return statement.empty() || AssembleVersion(statement);
    }
    if (!statement.empty() && !AssembleStatement(statement))
    {
        return false;
    }
    for (const std::vector<std::uint32_t>& vComment : vComments)
    {
        AppendComment(vComment);
    }
    return true;
}

bool CDX9Assembler::AssembleVersion(std::string_view statement)
{
    if (statement == "preshader")
    {
        m_bPreshader = true;
        m_vPreshader.assign(1, PRESHADER_TAG);
        return true;
    }
    std::uint32_t dwVersion = 0;
    if (!VersionFromName(statement, dwVersion))
    {
        return Fail("expected the version, found '" + std::string(statement) + "'");
    }
    m_bVersion = true;
    m_bPixel = (dwVersion & 0xFFFF0000) == PS_VERSION_TAG;
    m_nVersion = dwVersion & 0xFFFF;
    m_vTokens.push_back(dwVersion);
    for (const std::vector<std::uint32_t>& vComment : m_vHeaderComments)
    {
        AppendComment(vComment);
    }
    return true;
}

void CDX9Assembler::AppendComment(const std::vector<std::uint32_t>& vTokens)
{
    m_vTokens.push_back(OP_COMMENT | static_cast<std::uint32_t>(vTokens.size() << 16));
    m_vTokens.insert(m_vTokens.end(), vTokens.begin(), vTokens.end());
}

bool CDX9Assembler::AssembleStatement(std::string_view statement)
{
    std::vector<std::uint32_t> vPredicate;
    if (statement.front() == '(')
    {
        const std::size_t nClose = statement.find(')');
        if (nClose == std::string_view::npos ||
            !ParseSource(Trim(statement.substr(1, nClose - 1)), vPredicate))
        {
            return nClose == std::string_view::npos ? Fail("a predicate without ')'") : false;
        }
        statement = Trim(statement.substr(nClose + 1));
    }
    const bool bCoissue = !statement.empty() && statement.front() == '+';
    statement.remove_prefix(bCoissue ? 1 : 0);
    std::string_view mnemonic = statement.substr(0, statement.find_first_of(" \t"));
    const std::string_view operands = Trim(statement.substr(mnemonic.size()));
    if (mnemonic.empty())
    {
        return Fail("an instruction is missing");
    }

    const std::vector<std::string_view> vParts = Split(mnemonic, '_');
    std::size_t nPart = 1;
    std::uint32_t dwUsage = PARAM_BIT;
    if (vParts[0] == "dcl" && nPart < vParts.size())
    {
        std::string_view part = vParts[nPart];
        const std::string_view name = TakeWhile(part, IsAlpha);
        std::uint32_t nUsage = 0;
        std::uint32_t nIndex = 0;
        if (const std::uint32_t nSampler = SamplerTypeFromName(vParts[nPart]))
        {
            dwUsage |= nSampler << 27;
            ++nPart;
        }
        else if (UsageFromName(name, nUsage) && (part.empty() || ParseUnsigned(part, 15, nIndex)))
        {
            dwUsage |= nUsage | (nIndex << 16);
            ++nPart;
        }
    }
    std::uint32_t nControl = 0;
    const bool bCompare = nPart < vParts.size() && ComparisonFromName(vParts[nPart]) != 0 &&
                          FindOpcode(vParts[0], true, m_nVersion) != nullptr;
    if (bCompare)
    {
        nControl = ComparisonFromName(vParts[nPart++]);
    }
    const SOpcodeInfo* pInfo = FindOpcode(vParts[0], bCompare, m_nVersion);
    if (pInfo == nullptr)
    {
        return Fail("unknown instruction '" + std::string(mnemonic) + "'");
    }
    nControl |= pInfo->nControl;
    std::uint32_t dwModifiers = 0;
    for (; nPart < vParts.size(); ++nPart)
    {
        if (!ModifierFromName(vParts[nPart], dwModifiers))
        {
            return Fail("unknown modifier '_" + std::string(vParts[nPart]) + "' in '" +
                        std::string(mnemonic) + "'");
        }
    }

    std::vector<std::string_view> vOperands;
    if (!operands.empty())
    {
        for (std::string_view operand : Split(operands, ','))
        {
            vOperands.push_back(Trim(operand));
            if (vOperands.back().empty())
            {
                return Fail("an empty operand");
            }
        }
    }
    const bool bDeclaration = pInfo->eShape != SHAPE_PLAIN && pInfo->eShape != SHAPE_COMPARE;
    if (bDeclaration && !vPredicate.empty())
    {
        return Fail(std::string(pInfo->pName) + " can't be predicated");
    }
    std::vector<std::uint32_t> vTokens(1, 0);
    if (!AssembleOperands(*pInfo, dwModifiers, dwUsage, vOperands, vTokens))
    {
        return false;
    }
    // The predicate stands behind the destination.
    vTokens.insert(vTokens.begin() + (pInfo->bDest ? 2 : 1), vPredicate.begin(), vPredicate.end());
    const std::size_t nFollowing = vTokens.size() - 1;
    if (nFollowing > 15)
    {
        return Fail("too many operands");
    }
    // Models before 2.0 leave the length field 0.
    vTokens[0] =
        pInfo->nOpcode | (nControl << CONTROL_SHIFT) | (vPredicate.empty() ? 0 : PREDICATED_BIT) |
        (bCoissue ? COISSUE_BIT : 0) |
        (m_nVersion >= 0x0200 ? static_cast<std::uint32_t>(nFollowing) << LENGTH_SHIFT : 0);
    m_vTokens.insert(m_vTokens.end(), vTokens.begin(), vTokens.end());
    return true;
}

bool CDX9Assembler::AssembleOperands(const SOpcodeInfo& info, std::uint32_t dwDestModifiers,
                                     std::uint32_t dwUsage,
                                     const std::vector<std::string_view>& vOperands,
                                     std::vector<std::uint32_t>& vTokens)
{
    std::size_t nOperand = 0;
    if (info.eShape == SHAPE_DCL)
    {
        vTokens.push_back(dwUsage);
        if (vOperands.size() > 1)
        {
            return Fail("dcl takes one register");
        }
    }
    if (info.bDest && (info.eShape != SHAPE_DCL || !vOperands.empty()))
    {
        std::uint32_t dwDest = 0;
        if (vOperands.empty() || !ParseDest(vOperands[0], dwDest))
        {
            return vOperands.empty() ? Fail(std::string(info.pName) + " without a destination")
                                     : false;
        }
        vTokens.push_back(dwDest | dwDestModifiers);
        ++nOperand;
    }
    else if (dwDestModifiers != 0)
    {
        return Fail(std::string(info.pName) + " takes no modifiers");
    }
    const std::size_t nRest = vOperands.size() - nOperand;
    switch (info.eShape)
    {
    case SHAPE_DCL:
        return true;
    case SHAPE_DEF:
    case SHAPE_DEFI:
    case SHAPE_DEFB:
        if (nRest != (info.eShape == SHAPE_DEFB ? 1u : 4u))
        {
            return Fail(std::string(info.pName) + " with " + std::to_string(nRest) + " values");
        }
        for (; nOperand < vOperands.size(); ++nOperand)
        {
            vTokens.push_back(0);
            if (!ParseLiteral(info, vOperands[nOperand], vTokens.back()))
            {
                return false;
            }
        }
        return true;
    default:
        break;
    }
    if (nRest < info.nMinSources || nRest > info.nMaxSources)
    {
        return Fail(std::string(info.pName) + " with " + std::to_string(nRest) + " sources");
    }
    for (; nOperand < vOperands.size(); ++nOperand)
    {
        if (!ParseSource(vOperands[nOperand], vTokens))
        {
            return false;
        }
    }
    return true;
}

bool CDX9Assembler::ParseRegister(std::string_view& text, std::uint32_t& dwToken)
{
    const std::string_view original = text;
    const std::string_view name = TakeWhile(text, IsAlpha);
    const std::string_view digits = TakeWhile(text, IsDigit);
    std::uint32_t nType = 0;
    std::uint32_t nNumber = 0;
    bool bNumbered = false;
    if (!RegisterFromName(name, m_bPixel, nType, nNumber, bNumbered))
    {
        return Fail("unknown register '" + std::string(original) + "'");
    }
    // "c[aL]" leaves the number out: it is the base of the index.
    const bool bIndexed = !text.empty() && text.front() == '[';
    if (bNumbered && !(digits.empty() && bIndexed) &&
        !ParseUnsigned(digits, nType == REG_CONST ? 8191 : 2047, nNumber))
    {
        return Fail("bad register number in '" + std::string(original) + "'");
    }
    if (!bNumbered && !digits.empty())
    {
        return Fail("'" + std::string(name) + "' takes no number");
    }
    dwToken = MakeRegister(nType, nNumber);
    return true;
}

bool CDX9Assembler::ParseSwizzle(std::string_view& text, std::uint32_t& dwSwizzle)
{
    dwSwizzle = IDENTITY_SWIZZLE << SWIZZLE_SHIFT;
    if (text.empty() || text.front() != '.')
    {
        return true;
    }
    text.remove_prefix(1);
    const std::string_view letters = TakeWhile(text, IsAlpha);
    if (letters.empty() || letters.size() > 4)
    {
        return Fail("bad swizzle '." + std::string(letters) + "'");
    }
    std::uint32_t nSwizzle = 0;
    for (unsigned int n = 0; n < 4; ++n)
    {
        // A short swizzle repeats its last component.
        const int nComponent =
            ComponentIndex(letters[std::min<std::size_t>(n, letters.size() - 1)]);
        if (nComponent < 0)
        {
            return Fail("bad swizzle '." + std::string(letters) + "'");
        }
        nSwizzle |= static_cast<std::uint32_t>(nComponent) << (2 * n);
    }
    dwSwizzle = nSwizzle << SWIZZLE_SHIFT;
    return true;
}

bool CDX9Assembler::ParseDest(std::string_view text, std::uint32_t& dwToken)
{
    const std::string_view original = text;
    if (!ParseRegister(text, dwToken))
    {
        return false;
    }
    std::uint32_t nMask = 0xF;
    if (!text.empty() && text.front() == '.')
    {
        text.remove_prefix(1);
        nMask = 0;
        int nLast = -1;
        for (char c : TakeWhile(text, IsAlpha))
        {
            const int nComponent = ComponentIndex(c);
            if (nComponent <= nLast)
            {
                return Fail("bad write mask in '" + std::string(original) + "'");
            }
            nMask |= 1u << nComponent;
            nLast = nComponent;
        }
    }
    if (!text.empty() || nMask == 0)
    {
        return Fail("bad destination '" + std::string(original) + "'");
    }
    dwToken |= nMask << MASK_SHIFT;
    return true;
}

bool CDX9Assembler::ParseSource(std::string_view text, std::vector<std::uint32_t>& vTokens)
{
    const std::string original(text);
    bool bNegate = false;
    std::uint32_t nModifier = SRC_NONE;
    if (text.substr(0, 2) == "1-")
    {
        nModifier = SRC_COMP;
        text.remove_prefix(2);
    }
    else if (!text.empty() && (text.front() == '-' || text.front() == '!'))
    {
        bNegate = text.front() == '-';
        nModifier = bNegate ? SRC_NEG : SRC_NOT;
        text.remove_prefix(1);
    }
    text = Trim(text);
    std::uint32_t dwToken = 0;
    if (!ParseRegister(text, dwToken))
    {
        return false;
    }
    std::uint32_t dwRelative = 0;
    if (!text.empty() && text.front() == '[')
    {
        const std::size_t nClose = text.find(']');
        if (nClose == std::string_view::npos)
        {
            return Fail("a relative address without ']' in '" + original + "'");
        }
        std::string_view index = Trim(text.substr(1, nClose - 1));
        text.remove_prefix(nClose + 1);
        std::uint32_t dwSwizzle = 0;
        if (!ParseRegister(index, dwRelative) || !ParseSwizzle(index, dwSwizzle))
        {
            return false;
        }
        dwRelative |= dwSwizzle;
        index = Trim(index);
        std::uint32_t nOffset = 0;
        if (!index.empty() &&
            (index.front() != '+' || !ParseUnsigned(Trim(index.substr(1)), 8191, nOffset)))
        {
            return Fail("bad relative address in '" + original + "'");
        }
        // The offset is the register's number.
        const std::uint32_t nType = RegisterType(dwToken);
        const std::uint32_t nNumber = RegisterNumber(dwToken) + nOffset;
        if (nNumber >= (nType == REG_CONST ? 8192u : 2048u))
        {
            return Fail("bad register number in '" + original + "'");
        }
        dwToken = MakeRegister(nType, nNumber) | RELATIVE_BIT;
    }
    if (!text.empty() && text.front() == '_')
    {
        static const struct
        {
            const char* pName;
            std::uint32_t nModifier;
            std::uint32_t nNegated;
        } suffixes[] = {{"_bias", SRC_BIAS, SRC_BIASNEG},
                        {"_bx2", SRC_SIGN, SRC_SIGNNEG},
                        {"_x2", SRC_X2, SRC_X2NEG},
                        {"_dz", SRC_DZ, 0},
                        {"_db", SRC_DZ, 0},
                        {"_dw", SRC_DW, 0},
                        {"_da", SRC_DW, 0},
                        {"_abs", SRC_ABS, SRC_ABSNEG}};
        text.remove_prefix(1);
        const std::string suffix = "_" + std::string(TakeWhile(text, IsAlnum));
        bool bFound = false;
        for (const auto& entry : suffixes)
        {
            if (suffix == entry.pName && (nModifier == SRC_NONE || (bNegate && entry.nNegated)))
            {
                nModifier = bNegate ? entry.nNegated : entry.nModifier;
                bFound = true;
            }
        }
        if (!bFound)
        {
            return Fail("bad source modifier in '" + original + "'");
        }
    }
    std::uint32_t dwSwizzle = 0;
    if (!ParseSwizzle(text, dwSwizzle))
    {
        return false;
    }
    if (!text.empty())
    {
        return Fail("bad source '" + original + "'");
    }
    vTokens.push_back(dwToken | dwSwizzle | (nModifier << SRC_MOD_SHIFT));
    if ((dwToken & RELATIVE_BIT) != 0)
    {
        vTokens.push_back(dwRelative);
    }
    return true;
}

bool CDX9Assembler::ParseLiteral(const SOpcodeInfo& info, std::string_view text,
                                 std::uint32_t& dwValue)
{
    const std::string strText(text);
    char* pEnd = nullptr;
    bool bGood = false;
    if (info.eShape == SHAPE_DEFB)
    {
        bGood = strText == "true" || strText == "false";
        dwValue = strText == "true" ? 1 : 0;
    }
    else if (info.eShape == SHAPE_DEFI)
    {
        const long nValue = std::strtol(strText.c_str(), &pEnd, 10);
        bGood = *pEnd == '\0' && nValue >= INT_MIN && nValue <= INT_MAX;
        dwValue = static_cast<std::uint32_t>(static_cast<std::int32_t>(nValue));
    }
    else if (strText.rfind("0x", 0) == 0)
    {
        // Raw bits, for values that no decimal spells, such as a NaN's payload.
        const unsigned long nBits = std::strtoul(strText.c_str() + 2, &pEnd, 16);
        bGood = *pEnd == '\0' && strText.size() > 2 && nBits <= 0xFFFFFFFFul;
        dwValue = static_cast<std::uint32_t>(nBits);
    }
    else
    {
        const float fValue = std::strtof(strText.c_str(), &pEnd);
        bGood = !strText.empty() && *pEnd == '\0';
        std::memcpy(&dwValue, &fValue, sizeof(dwValue));
    }
    return bGood || Fail("bad value '" + strText + "' for " + info.pName);
}

bool CDX9Assembler::ParseComment(std::string_view text, std::vector<std::uint32_t>& vComment)
{
    if (!text.empty() && text.front() == '#')
    {
        return ParseHex(text.substr(1), vComment);
    }
    // The text with at least one NUL, padded to whole tokens.
    vComment.assign(text.size() / 4 + 1, 0);
    std::memcpy(vComment.data(), text.data(), text.size());
    return vComment.size() <= 0x7FFF || Fail("the comment is too long");
}

bool CDX9Assembler::ParseHex(std::string_view text, std::vector<std::uint32_t>& vTokens)
{
    for (std::string_view word : Split(text, ' '))
    {
        word = Trim(word);
        if (word.empty())
        {
            continue;
        }
        const std::string strWord(word);
        char* pEnd = nullptr;
        const unsigned long nValue = std::strtoul(strWord.c_str(), &pEnd, 16);
        if (strWord.rfind("0x", 0) != 0 || strWord.size() < 3 || *pEnd != '\0' ||
            nValue > 0xFFFFFFFFul)
        {
            return Fail("bad token '" + strWord + "'");
        }
        vTokens.push_back(static_cast<std::uint32_t>(nValue));
    }
    return vTokens.size() <= 0x7FFF || Fail("the comment is too long");
}

bool CDX9Assembler::Fail(const std::string& strCause)
{
    m_strError = "line " + std::to_string(m_nLine) + ": " + strCause;
    return false;
}
} // namespace XAN_Platform
