#include "CDX9Disassembler.h"

#include <boost/format.hpp>

#include <cmath>
#include <cstring>

namespace XAN_Platform
{
using namespace DX9;

namespace
{
const char g_Components[] = "xyzw";

// The register's name and, apart, its number ("" for the unnumbered ones).
std::string RegisterText(std::uint32_t dwToken, const SDX9Shader& shader, bool bRelativeIndex,
                         std::string& strNumber)
{
    bool bNumbered = false;
    const std::uint32_t nType = ((dwToken >> 28) & 7) | ((dwToken >> 8) & 0x18);
    const char* pName =
        RegisterName(nType, dwToken & 0x7FF, shader.IsPixelShader(), bRelativeIndex, bNumbered);
    strNumber = bNumbered || pName == nullptr ? std::to_string(RegisterNumber(dwToken)) : "";
    return pName != nullptr ? pName : (boost::format("?%u_") % nType).str();
}

std::string RegisterText(std::uint32_t dwToken, const SDX9Shader& shader, bool bRelativeIndex)
{
    std::string strNumber;
    const std::string strName = RegisterText(dwToken, shader, bRelativeIndex, strNumber);
    return strName + strNumber;
}

// ".xy" stands for ".xyyy": trailing repeats are left out.
std::string SwizzleText(std::uint32_t dwToken)
{
    const std::uint32_t nSwizzle = (dwToken >> SWIZZLE_SHIFT) & 0xFF;
    if (nSwizzle == IDENTITY_SWIZZLE)
    {
        return std::string();
    }
    std::string strText = ".";
    for (unsigned int n = 0; n < 4; ++n)
    {
        strText += g_Components[(nSwizzle >> (2 * n)) & 3];
    }
    while (strText.size() > 2 && strText.back() == strText[strText.size() - 2])
    {
        strText.pop_back();
    }
    return strText;
}

std::string DestText(const SDX9Param& param, const SDX9Shader& shader)
{
    std::string strText = RegisterText(param.dwToken, shader, false);
    const std::uint32_t nMask = (param.dwToken >> MASK_SHIFT) & 0xF;
    if (nMask != 0xF)
    {
        strText += '.';
        for (unsigned int n = 0; n < 4; ++n)
        {
            if ((nMask & (1u << n)) != 0)
            {
                strText += g_Components[n];
            }
        }
    }
    return strText;
}

std::string SourceText(const SDX9Param& param, const SDX9Shader& shader)
{
    static const char* const prefixes[] = {"",  "-", "", "-", "",  "-", "1-", "",
                                           "-", "",  "", "",  "-", "!", "",   ""};
    static const char* const suffixes[] = {"",     "",    "_bias", "_bias", "_bx2", "_bx2",
                                           "",     "_x2", "_x2",   "_dz",   "_dw",  "_abs",
                                           "_abs", "",    "",      ""};
    const std::uint32_t nModifier = (param.dwToken >> SRC_MOD_SHIFT) & 0xF;
    std::string strNumber;
    std::string strText =
        prefixes[nModifier] + RegisterText(param.dwToken, shader, false, strNumber);
    if (param.bRelative)
    {
        // The base number goes behind the index: "c[aL + 2]".
        strText += "[" + RegisterText(param.dwRelative, shader, true) +
                   SwizzleText(param.dwRelative) +
                   (strNumber == "0" || strNumber.empty() ? "" : " + " + strNumber) + "]";
    }
    else
    {
        strText += strNumber;
    }
    return strText + suffixes[nModifier] + SwizzleText(param.dwToken);
}

std::string ModifierText(std::uint32_t dwDest)
{
    static const char* const shifts[] = {"", "_x2", "_x4", "_x8", "", "",    "",    "",
                                         "", "",    "",    "",    "", "_d8", "_d4", "_d2"};
    const std::uint32_t nResult = (dwDest >> RESULT_MOD_SHIFT) & 0xF;
    std::string strText;
    strText += (nResult & RESULT_SAT) != 0 ? "_sat" : "";
    strText += (nResult & RESULT_PP) != 0 ? "_pp" : "";
    strText += (nResult & RESULT_CENTROID) != 0 ? "_centroid" : "";
    return strText + shifts[(dwDest >> SHIFT_SHIFT) & 0xF];
}

std::string FloatText(std::uint32_t dwBits)
{
    float fValue = 0;
    std::memcpy(&fValue, &dwBits, sizeof(fValue));
    // A NaN's payload survives only as bits.
    if (std::isnan(fValue))
    {
        return (boost::format("0x%08x") % dwBits).str();
    }
    return (boost::format("%.9g") % fValue).str();
}

std::string DclText(const SDX9Instruction& inst)
{
    const std::uint32_t dwUsage = inst.vValues[0];
    std::string strText = "dcl";
    const char* pSampler = SamplerTypeName((dwUsage >> 27) & 0xF);
    const char* pUsage = UsageName(dwUsage & 0x1F);
    const std::uint32_t nIndex = (dwUsage >> 16) & 0xF;
    if (pSampler != nullptr)
    {
        strText += std::string("_") + pSampler;
    }
    else if (dwUsage != PARAM_BIT && pUsage != nullptr)
    {
        strText += std::string("_") + pUsage + (nIndex != 0 ? std::to_string(nIndex) : "");
    }
    return strText;
}

// Comments as "/*text*/" when the text reads back to the same tokens, else as
// "/*#0x... 0x...*/". The word "preshader" is kept out of the text, since a
// reader of the header looks for it.
std::string CommentText(const std::vector<std::uint32_t>& vTokens)
{
    const std::size_t nBytes = vTokens.size() * 4;
    std::string strBytes(nBytes, '\0');
    if (nBytes != 0)
    {
        std::memcpy(&strBytes[0], vTokens.data(), nBytes);
    }
    const std::size_t nText = strBytes.find('\0');
    bool bText = nText != std::string::npos && nBytes - nText <= 4 &&
                 strBytes.find_first_not_of('\0', nText) == std::string::npos;
    const std::string strText = bText ? strBytes.substr(0, nText) : std::string();
    for (char c : strText)
    {
        bText = bText && c >= 0x20 && c < 0x7F;
    }
    if (bText && strText.find("*/") == std::string::npos &&
        strText.find("preshader") == std::string::npos && strText.rfind('#', 0) != 0)
    {
        return "/*" + strText + "*/";
    }
    std::string strHex = "/*#";
    for (std::size_t n = 0; n < vTokens.size(); ++n)
    {
        strHex += (boost::format(n == 0 ? "0x%08x" : " 0x%08x") % vTokens[n]).str();
    }
    return strHex + "*/";
}

std::string PreshaderText(const std::vector<std::uint32_t>& vTokens)
{
    std::string strText = "    preshader\n";
    for (std::size_t n = 1; n < vTokens.size(); ++n)
    {
        strText += (boost::format((n - 1) % 8 == 0 ? "    0x%08x" : " 0x%08x") % vTokens[n]).str();
        strText += n % 8 == 0 || n + 1 == vTokens.size() ? "\n" : "";
    }
    return strText + "//\n";
}
} // namespace

std::string CDX9Disassembler::FormatInstruction(const SDX9Instruction& inst,
                                                const SDX9Shader& shader)
{
    std::string strText = inst.bPredicated ? "(" + SourceText(inst.predicate, shader) + ") " : "";
    strText += (inst.dwToken & COISSUE_BIT) != 0 ? "+" : "";
    if (inst.pInfo->eShape == SHAPE_DCL)
    {
        strText += DclText(inst);
    }
    else
    {
        strText += inst.pInfo->pName;
    }
    if (inst.pInfo->eShape == SHAPE_COMPARE)
    {
        strText += std::string("_") + ComparisonName(inst.GetControl());
    }
    const char* pSeparator = " ";
    if (inst.bHasDest)
    {
        strText += ModifierText(inst.dest.dwToken) + " " + DestText(inst.dest, shader);
        pSeparator = ", ";
    }
    for (std::uint32_t dwValue : inst.vValues)
    {
        switch (inst.pInfo->eShape)
        {
        case SHAPE_DEF:
            strText += pSeparator + FloatText(dwValue);
            break;
        case SHAPE_DEFI:
            strText += pSeparator + std::to_string(static_cast<std::int32_t>(dwValue));
            break;
        case SHAPE_DEFB:
            strText += pSeparator + std::string(dwValue != 0 ? "true" : "false");
            break;
        default:
            break;
        }
        pSeparator = ", ";
    }
    for (const SDX9Param& source : inst.vSources)
    {
        strText += pSeparator + SourceText(source, shader);
        pSeparator = ", ";
    }
    return strText;
}

std::string CDX9Disassembler::Disassemble(const SDX9Shader& shader,
                                          std::vector<unsigned int>& vLines)
{
    std::size_t nExecutable = 0;
    for (const SDX9Instruction& inst : shader.vInstructions)
    {
        nExecutable += inst.IsExecutable() ? 1 : 0;
    }
    std::string strText = (boost::format("//\n// %s, %u instructions\n//\n") %
                           VersionName(shader.dwVersion) % nExecutable)
                              .str();
    unsigned int nLine = 4;
    vLines.assign(shader.vInstructions.size(), 0);
    // The comments that follow the version belong to the header.
    std::size_t nFirst = 0;
    bool bPreshader = false;
    for (; nFirst < shader.vInstructions.size() && shader.vInstructions[nFirst].IsComment();
         ++nFirst)
    {
        const std::vector<std::uint32_t>& vTokens = shader.vInstructions[nFirst].vValues;
        vLines[nFirst] = nLine;
        if (!bPreshader && !vTokens.empty() && vTokens[0] == PRESHADER_TAG)
        {
            bPreshader = true;
            strText += PreshaderText(vTokens);
            nLine += 2 + static_cast<unsigned int>(vTokens.size() + 6) / 8;
        }
        else
        {
            strText += CommentText(vTokens) + "\n";
            ++nLine;
        }
    }
    strText += "    " + VersionName(shader.dwVersion);
    for (std::size_t n = nFirst; n < shader.vInstructions.size(); ++n)
    {
        const SDX9Instruction& inst = shader.vInstructions[n];
        if (inst.IsComment())
        {
            strText += " " + CommentText(inst.vValues);
        }
        else
        {
            strText += "\n    " + FormatInstruction(inst, shader);
            ++nLine;
        }
        vLines[n] = nLine;
    }
    return strText + "\n";
}

bool CDX9Disassembler::Disassemble(const std::uint32_t* pTokens, std::size_t nTokens,
                                   std::string& strText)
{
    SDX9Shader shader;
    CDX9Decoder decoder;
    if (!decoder.Decode(pTokens, nTokens, shader))
    {
        m_strError = decoder.GetError();
        return false;
    }
    std::vector<unsigned int> vLines;
    strText = Disassemble(shader, vLines);
    m_strError.clear();
    return true;
}
} // namespace XAN_Platform
