#include "DX9Format.h"

#include <array>
#include <cstdio>

namespace XAN_Platform
{
namespace DX9
{
namespace
{
constexpr std::uint32_t ANY = 0xFFFF;
constexpr std::uint32_t PS_1_4 = 0x0104;

const SOpcodeInfo g_Opcodes[] = {
    {"nop", 0, 0, SHAPE_PLAIN, false, 0, 0, 0, ANY},
    {"mov", 1, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"add", 2, 0, SHAPE_PLAIN, true, 2, 2, 0, ANY},
    {"sub", 3, 0, SHAPE_PLAIN, true, 2, 2, 0, ANY},
    {"mad", 4, 0, SHAPE_PLAIN, true, 3, 3, 0, ANY},
    {"mul", 5, 0, SHAPE_PLAIN, true, 2, 2, 0, ANY},
    {"rcp", 6, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"rsq", 7, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"dp3", 8, 0, SHAPE_PLAIN, true, 2, 2, 0, ANY},
    {"dp4", 9, 0, SHAPE_PLAIN, true, 2, 2, 0, ANY},
    {"min", 10, 0, SHAPE_PLAIN, true, 2, 2, 0, ANY},
    {"max", 11, 0, SHAPE_PLAIN, true, 2, 2, 0, ANY},
    {"slt", 12, 0, SHAPE_PLAIN, true, 2, 2, 0, ANY},
    {"sge", 13, 0, SHAPE_PLAIN, true, 2, 2, 0, ANY},
    {"exp", 14, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"log", 15, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"lit", 16, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"dst", 17, 0, SHAPE_PLAIN, true, 2, 2, 0, ANY},
    {"lrp", 18, 0, SHAPE_PLAIN, true, 3, 3, 0, ANY},
    {"frc", 19, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"m4x4", 20, 0, SHAPE_PLAIN, true, 2, 2, 0, ANY},
    {"m4x3", 21, 0, SHAPE_PLAIN, true, 2, 2, 0, ANY},
    {"m3x4", 22, 0, SHAPE_PLAIN, true, 2, 2, 0, ANY},
    {"m3x3", 23, 0, SHAPE_PLAIN, true, 2, 2, 0, ANY},
    {"m3x2", 24, 0, SHAPE_PLAIN, true, 2, 2, 0, ANY},
    {"call", 25, 0, SHAPE_PLAIN, false, 1, 1, 0, ANY},
    {"callnz", 26, 0, SHAPE_PLAIN, false, 2, 2, 0, ANY},
    {"loop", 27, 0, SHAPE_PLAIN, false, 2, 2, 0, ANY},
    {"ret", 28, 0, SHAPE_PLAIN, false, 0, 0, 0, ANY},
    {"endloop", 29, 0, SHAPE_PLAIN, false, 0, 0, 0, ANY},
    {"label", 30, 0, SHAPE_PLAIN, false, 1, 1, 0, ANY},
    {"dcl", 31, 0, SHAPE_DCL, true, 0, 0, 0, ANY},
    {"pow", 32, 0, SHAPE_PLAIN, true, 2, 2, 0, ANY},
    {"crs", 33, 0, SHAPE_PLAIN, true, 2, 2, 0, ANY},
    {"sgn", 34, 0, SHAPE_PLAIN, true, 3, 3, 0, ANY},
    {"abs", 35, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"nrm", 36, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"sincos", 37, 0, SHAPE_PLAIN, true, 1, 3, 0, ANY},
    {"rep", 38, 0, SHAPE_PLAIN, false, 1, 1, 0, ANY},
    {"endrep", 39, 0, SHAPE_PLAIN, false, 0, 0, 0, ANY},
    {"if", 40, 0, SHAPE_PLAIN, false, 1, 1, 0, ANY},
    {"if", 41, 0, SHAPE_COMPARE, false, 2, 2, 0, ANY},
    {"else", 42, 0, SHAPE_PLAIN, false, 0, 0, 0, ANY},
    {"endif", 43, 0, SHAPE_PLAIN, false, 0, 0, 0, ANY},
    {"break", 44, 0, SHAPE_PLAIN, false, 0, 0, 0, ANY},
    {"break", 45, 0, SHAPE_COMPARE, false, 2, 2, 0, ANY},
    {"mova", 46, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"defb", 47, 0, SHAPE_DEFB, true, 0, 0, 0, ANY},
    {"defi", 48, 0, SHAPE_DEFI, true, 0, 0, 0, ANY},
    {"texcoord", 64, 0, SHAPE_PLAIN, true, 0, 0, 0, PS_1_4 - 1},
    {"texcrd", 64, 0, SHAPE_PLAIN, true, 1, 1, PS_1_4, PS_1_4},
    {"texkill", 65, 0, SHAPE_PLAIN, true, 0, 0, 0, ANY},
    {"tex", 66, 0, SHAPE_PLAIN, true, 0, 0, 0, PS_1_4 - 1},
    {"texld", 66, 0, SHAPE_PLAIN, true, 1, 2, PS_1_4, ANY},
    {"texldp", 66, 1, SHAPE_PLAIN, true, 2, 2, 0, ANY},
    {"texldb", 66, 2, SHAPE_PLAIN, true, 2, 2, 0, ANY},
    {"texbem", 67, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"texbeml", 68, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"texreg2ar", 69, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"texreg2gb", 70, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"texm3x2pad", 71, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"texm3x2tex", 72, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"texm3x3pad", 73, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"texm3x3tex", 74, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"texm3x3spec", 76, 0, SHAPE_PLAIN, true, 2, 2, 0, ANY},
    {"texm3x3vspec", 77, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"expp", 78, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"logp", 79, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"cnd", 80, 0, SHAPE_PLAIN, true, 3, 3, 0, ANY},
    {"def", 81, 0, SHAPE_DEF, true, 0, 0, 0, ANY},
    {"texreg2rgb", 82, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"texdp3tex", 83, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"texm3x2depth", 84, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"texdp3", 85, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"texm3x3", 86, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"texdepth", 87, 0, SHAPE_PLAIN, true, 0, 0, 0, ANY},
    {"cmp", 88, 0, SHAPE_PLAIN, true, 3, 3, 0, ANY},
    {"bem", 89, 0, SHAPE_PLAIN, true, 2, 2, 0, ANY},
    {"dp2add", 90, 0, SHAPE_PLAIN, true, 3, 3, 0, ANY},
    {"dsx", 91, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"dsy", 92, 0, SHAPE_PLAIN, true, 1, 1, 0, ANY},
    {"texldd", 93, 0, SHAPE_PLAIN, true, 4, 4, 0, ANY},
    {"setp", 94, 0, SHAPE_COMPARE, true, 2, 2, 0, ANY},
    {"texldl", 95, 0, SHAPE_PLAIN, true, 2, 2, 0, ANY},
    {"breakp", 96, 0, SHAPE_PLAIN, false, 1, 1, 0, ANY},
    {"phase", OP_PHASE, 0, SHAPE_PLAIN, false, 0, 0, 0, ANY},
};

bool InVersion(const SOpcodeInfo& info, std::uint32_t nVersion)
{
    return nVersion >= info.nMinVersion && nVersion <= info.nMaxVersion;
}

const char* const g_Comparisons[] = {nullptr, "gt", "eq", "ge", "lt", "ne", "le"};

const char* const g_Usages[] = {
    "position", "blendweight", "blendindices", "normal", "psize", "texcoord", "tangent",
    "binormal", "tessfactor",  "positiont",    "color",  "fog",   "depth",    "sample"};

const char* const g_SamplerTypes[] = {nullptr, nullptr, "2d", "cube", "volume"};

struct SRegisterName
{
    const char* pName;
    std::uint32_t nType;
    std::uint32_t nNumber; // for the unnumbered ones
    bool bNumbered;
};

// Longer names first, so that a prefix doesn't shadow them.
const SRegisterName g_Registers[] = {
    {"oDepth", REG_DEPTHOUT, 0, false}, {"oPos", REG_RASTOUT, 0, false},
    {"oFog", REG_RASTOUT, 1, false},    {"oPts", REG_RASTOUT, 2, false},
    {"vPos", REG_MISC, 0, false},       {"vFace", REG_MISC, 1, false},
    {"oC", REG_COLOROUT, 0, true},      {"oD", REG_ATTROUT, 0, true},
    {"oT", REG_TEXCRDOUT, 0, true},     {"aL", REG_LOOP, 0, false},
    {"r", REG_TEMP, 0, true},           {"v", REG_INPUT, 0, true},
    {"c", REG_CONST, 0, true},          {"t", REG_TEXTURE, 0, true},
    {"a", REG_TEXTURE, 0, true},        {"i", REG_CONSTINT, 0, true},
    {"s", REG_SAMPLER, 0, true},        {"b", REG_CONSTBOOL, 0, true},
    {"p", REG_PREDICATE, 0, true},      {"l", REG_LABEL, 0, true},
    {"o", REG_TEXCRDOUT, 0, true},
};
} // namespace

const SOpcodeInfo* FindOpcode(std::uint32_t nOpcode, std::uint32_t nControl, std::uint32_t nVersion)
{
    for (const SOpcodeInfo& info : g_Opcodes)
    {
        // Only texld keeps variants in the control bits; the comparisons are read apart.
        if (info.nOpcode == nOpcode && (nOpcode != OP_TEX || info.nControl == nControl) &&
            InVersion(info, nVersion))
        {
            return &info;
        }
    }
    return nullptr;
}

const SOpcodeInfo* FindOpcode(std::string_view strName, bool bCompare, std::uint32_t nVersion)
{
    for (const SOpcodeInfo& info : g_Opcodes)
    {
        if (strName == info.pName && (info.eShape == SHAPE_COMPARE) == bCompare &&
            InVersion(info, nVersion))
        {
            return &info;
        }
    }
    return nullptr;
}

const char* ComparisonName(std::uint32_t nComparison)
{
    return nComparison < std::size(g_Comparisons) ? g_Comparisons[nComparison] : nullptr;
}

std::uint32_t ComparisonFromName(std::string_view strName)
{
    for (std::uint32_t n = CMP_GT; n <= CMP_LE; ++n)
    {
        if (strName == g_Comparisons[n])
        {
            return n;
        }
    }
    return 0;
}

bool RegisterFromName(std::string_view strName, bool bPixel, std::uint32_t& nType,
                      std::uint32_t& nNumber, bool& bNumbered)
{
    for (const SRegisterName& reg : g_Registers)
    {
        // "t" and "a" share a type: texture coordinates exist only in a pixel shader, while
        // a0 names an index register in both.
        if (strName == reg.pName && (bPixel || strName != "t"))
        {
            nType = reg.nType;
            nNumber = reg.nNumber;
            bNumbered = reg.bNumbered;
            return true;
        }
    }
    return false;
}

const char* RegisterName(std::uint32_t nType, std::uint32_t nNumber, bool bPixel,
                         bool bRelativeIndex, bool& bNumbered)
{
    bNumbered = true;
    switch (nType)
    {
    case REG_TEMP:
        return "r";
    case REG_INPUT:
        return "v";
    case REG_CONST:
    case REG_CONST2:
    case REG_CONST3:
    case REG_CONST4:
        return "c";
    case REG_TEXTURE:
        // An index register is never a texture coordinate.
        return bPixel && !bRelativeIndex ? "t" : "a";
    case REG_ATTROUT:
        return "oD";
    case REG_TEXCRDOUT:
        return "oT";
    case REG_CONSTINT:
        return "i";
    case REG_COLOROUT:
        return "oC";
    case REG_SAMPLER:
        return "s";
    case REG_CONSTBOOL:
        return "b";
    case REG_LABEL:
        return "l";
    case REG_PREDICATE:
        return "p";
    default:
        break;
    }
    bNumbered = false;
    for (const SRegisterName& reg : g_Registers)
    {
        if (!reg.bNumbered && reg.nType == nType && reg.nNumber == nNumber)
        {
            return reg.pName;
        }
    }
    return nullptr;
}

const char* UsageName(std::uint32_t nUsage)
{
    return nUsage < std::size(g_Usages) ? g_Usages[nUsage] : nullptr;
}

bool UsageFromName(std::string_view strName, std::uint32_t& nUsage)
{
    for (std::uint32_t n = 0; n < std::size(g_Usages); ++n)
    {
        if (strName == g_Usages[n])
        {
            nUsage = n;
            return true;
        }
    }
    return false;
}

const char* SamplerTypeName(std::uint32_t nType)
{
    return nType < std::size(g_SamplerTypes) ? g_SamplerTypes[nType] : nullptr;
}

std::uint32_t SamplerTypeFromName(std::string_view strName)
{
    for (std::uint32_t n = 0; n < std::size(g_SamplerTypes); ++n)
    {
        if (g_SamplerTypes[n] != nullptr && strName == g_SamplerTypes[n])
        {
            return n;
        }
    }
    return 0;
}

std::uint32_t RegisterType(std::uint32_t dwToken)
{
    const std::uint32_t nType = ((dwToken >> 28) & 7) | ((dwToken >> 8) & 0x18);
    return nType >= REG_CONST2 && nType <= REG_CONST4 ? REG_CONST : nType;
}

std::uint32_t RegisterNumber(std::uint32_t dwToken)
{
    const std::uint32_t nType = ((dwToken >> 28) & 7) | ((dwToken >> 8) & 0x18);
    const std::uint32_t nNumber = dwToken & 0x7FF;
    return nType >= REG_CONST2 && nType <= REG_CONST4 ? nNumber + (nType - REG_CONST2 + 1) * 2048
                                                      : nNumber;
}

std::uint32_t MakeRegister(std::uint32_t nType, std::uint32_t nNumber)
{
    // Constants past 2047 live in the banks of types 11 to 13.
    if (nType == REG_CONST && nNumber >= 2048)
    {
        nType = REG_CONST2 + nNumber / 2048 - 1;
    }
    return PARAM_BIT | ((nType & 7) << 28) | ((nType & 0x18) << 8) | (nNumber & 0x7FF);
}

std::string VersionName(std::uint32_t dwToken)
{
    const std::uint32_t nTag = dwToken & 0xFFFF0000;
    if (nTag != PS_VERSION_TAG && nTag != VS_VERSION_TAG)
    {
        return std::string();
    }
    const unsigned int nMajor = (dwToken >> 8) & 0xFF;
    const unsigned int nMinor = dwToken & 0xFF;
    char szName[32];
    const char* pStage = nTag == PS_VERSION_TAG ? "ps" : "vs";
    if (nMinor == 0xFF)
    {
        std::snprintf(szName, sizeof(szName), "%s_%u_sw", pStage, nMajor);
    }
    else if (nMajor == 2 && nMinor == 1)
    {
        std::snprintf(szName, sizeof(szName), "%s_2_x", pStage);
    }
    else
    {
        std::snprintf(szName, sizeof(szName), "%s_%u_%u", pStage, nMajor, nMinor);
    }
    return szName;
}

bool VersionFromName(std::string_view strName, std::uint32_t& dwToken)
{
    static const std::array<std::uint32_t, 10> versions = {0x0101, 0x0102, 0x0103, 0x0104, 0x0200,
                                                           0x0201, 0x02FF, 0x0300, 0x03FF, 0x0100};
    for (std::uint32_t nTag : {PS_VERSION_TAG, VS_VERSION_TAG})
    {
        for (std::uint32_t nVersion : versions)
        {
            if (VersionName(nTag | nVersion) == strName)
            {
                dwToken = nTag | nVersion;
                return true;
            }
        }
    }
    return false;
}
} // namespace DX9
} // namespace XAN_Platform
