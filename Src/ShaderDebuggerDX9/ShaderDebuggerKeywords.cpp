#include "ShaderDebuggerDX9/ShaderDebuggerKeywords.h"

#include <boost/format.hpp>

namespace XAN_ShaderDebugger
{
namespace
{
// Version bits of the tables' masks.
enum : std::uint32_t
{
    V11 = 0x1,
    V12 = 0x2,
    V13 = 0x4,
    V14 = 0x8,
    V20 = 0x10,
    V2X = 0x20,
    V2SW = 0x40,
    V30 = 0x80,
    V3SW = 0x100,
    V1 = V11 | V12 | V13 | V14,
    V11_13 = V11 | V12 | V13,
    V2 = V20 | V2X | V2SW,
    V2XUP = V2X | V2SW | V30 | V3SW,
    V3 = V30 | V3SW,
    V2UP = V2 | V3,
    VALL = V1 | V2UP
};

// Forms that a row's word takes besides itself.
enum : std::uint32_t
{
    F_PP = 0x1,
    F_CENTROID = 0x2,
    F_SAT = 0x4,
    F_ARITH = F_PP | F_SAT
};

struct KeywordRow
{
    const char* pWord;
    std::uint32_t nVersions;
    std::uint32_t nForms;
    // Numbered forms word0 to word(n-1).
    std::uint32_t nNumbered;
};

const KeywordRow s_PixelRows[] = {
    {"ps", VALL, 0, 0},
    {"ps_1_1", VALL, 0, 0},
    {"ps.1.1", VALL, 0, 0},
    {"ps_1_2", VALL, 0, 0},
    {"ps.1.2", VALL, 0, 0},
    {"ps_1_3", VALL, 0, 0},
    {"ps.1.3", VALL, 0, 0},
    {"ps_1_4", VALL, 0, 0},
    {"ps.1.4", VALL, 0, 0},
    {"ps_2_0", VALL, 0, 0},
    {"ps.2.0", VALL, 0, 0},
    {"ps_2_x", VALL, 0, 0},
    {"ps.2.x", VALL, 0, 0},
    {"ps_2_sw", VALL, 0, 0},
    {"ps.2.sw", VALL, 0, 0},
    {"ps_3_0", VALL, 0, 0},
    {"ps.3.0", VALL, 0, 0},
    {"ps_3_sw", VALL, 0, 0},
    {"ps.3.sw", VALL, 0, 0},
    {"abs", V2UP, F_ARITH, 0},
    {"add", VALL, F_ARITH, 0},
    {"bem", V14, F_SAT, 0},
    {"break", V2XUP, 0, 0},
    {"break_gt", V2XUP, 0, 0},
    {"break_lt", V2XUP, 0, 0},
    {"break_ge", V2XUP, 0, 0},
    {"break_le", V2XUP, 0, 0},
    {"break_eq", V2XUP, 0, 0},
    {"break_ne", V2XUP, 0, 0},
    {"breakp", V2XUP, 0, 0},
    {"call", V2XUP, 0, 0},
    {"callnz", V2XUP, 0, 0},
    {"cmp", VALL & ~V11, F_ARITH, 0},
    {"cnd", V1, F_SAT, 0},
    {"crs", V2UP, F_ARITH, 0},
    {"dcl", V2UP, F_PP | F_CENTROID, 0},
    {"dcl_2d", V2UP, 0, 0},
    {"dcl_cube", V2UP, 0, 0},
    {"dcl_volume", V2UP, 0, 0},
    {"dcl_texcoord", V3, F_PP | F_CENTROID, 8},
    {"dcl_color", V3, F_PP | F_CENTROID, 2},
    {"dcl_normal", V3, F_CENTROID, 1},
    {"dcl_tangent", V3, F_CENTROID, 1},
    {"dcl_binormal", V3, F_CENTROID, 1},
    {"dcl_fog", V3, F_CENTROID, 0},
    {"dcl_depth", V3, F_CENTROID, 0},
    {"dcl_position", V3, F_CENTROID, 0},
    {"dcl_psize", V3, F_CENTROID, 0},
    {"dcl_blendweight", V3, F_CENTROID, 0},
    {"dcl_blendindices", V3, F_CENTROID, 0},
    {"def", VALL, 0, 0},
    {"defb", V2XUP, 0, 0},
    {"defi", V2XUP, 0, 0},
    {"dp2add", V2UP, F_ARITH, 0},
    {"dp3", VALL, F_ARITH, 0},
    {"dp4", VALL & ~V11, F_ARITH, 0},
    {"dsx", V2XUP, F_ARITH, 0},
    {"dsy", V2XUP, F_ARITH, 0},
    {"else", V2XUP, 0, 0},
    {"endif", V2XUP, 0, 0},
    {"endloop", V3, 0, 0},
    {"endrep", V2XUP, 0, 0},
    {"exp", V2UP, F_ARITH, 0},
    {"false", V2XUP, 0, 0},
    {"frc", V2UP, F_ARITH, 0},
    {"if", V2XUP, 0, 0},
    {"if_gt", V2XUP, 0, 0},
    {"if_lt", V2XUP, 0, 0},
    {"if_ge", V2XUP, 0, 0},
    {"if_le", V2XUP, 0, 0},
    {"if_eq", V2XUP, 0, 0},
    {"if_ne", V2XUP, 0, 0},
    {"label", V2XUP, 0, 0},
    {"log", V2UP, F_ARITH, 0},
    {"loop", V3, 0, 0},
    {"lrp", VALL, F_ARITH, 0},
    {"m3x2", V2UP, F_ARITH, 0},
    {"m3x3", V2UP, F_ARITH, 0},
    {"m3x4", V2UP, F_ARITH, 0},
    {"m4x3", V2UP, F_ARITH, 0},
    {"m4x4", V2UP, F_ARITH, 0},
    {"mad", VALL, F_ARITH, 0},
    {"max", V2UP, F_ARITH, 0},
    {"min", V2UP, F_ARITH, 0},
    {"mov", VALL, F_ARITH, 0},
    {"mul", VALL, F_ARITH, 0},
    {"nop", VALL, 0, 0},
    {"nrm", V2UP, F_ARITH, 0},
    {"phase", V14, 0, 0},
    {"pow", V2UP, F_ARITH, 0},
    {"rcp", V2UP, F_ARITH, 0},
    {"rep", V2XUP, 0, 0},
    {"ret", V2XUP, 0, 0},
    {"rsq", V2UP, F_ARITH, 0},
    {"setp_gt", V2XUP, 0, 0},
    {"setp_lt", V2XUP, 0, 0},
    {"setp_ge", V2XUP, 0, 0},
    {"setp_le", V2XUP, 0, 0},
    {"setp_eq", V2XUP, 0, 0},
    {"setp_ne", V2XUP, 0, 0},
    {"sincos", V2UP, F_ARITH, 0},
    {"sub", VALL, F_ARITH, 0},
    {"tex", V11_13, 0, 0},
    {"texbem", V11_13, 0, 0},
    {"texbeml", V11_13, 0, 0},
    {"texcoord", V11_13, 0, 0},
    {"texcrd", V14, 0, 0},
    {"texdepth", V14, 0, 0},
    {"texdp3", V12 | V13, 0, 0},
    {"texdp3tex", V12 | V13, 0, 0},
    {"texkill", VALL, 0, 0},
    {"texld", V14 | V2UP, F_PP, 0},
    {"texldb", V2UP, F_PP, 0},
    {"texldd", V2XUP, F_PP, 0},
    {"texldl", V3, F_PP, 0},
    {"texldp", V2UP, F_PP, 0},
    {"texm3x2depth", V13, 0, 0},
    {"texm3x2pad", V11_13, 0, 0},
    {"texm3x2tex", V11_13, 0, 0},
    {"texm3x3", V12 | V13, 0, 0},
    {"texm3x3pad", V11_13, 0, 0},
    {"texm3x3spec", V11_13, 0, 0},
    {"texm3x3tex", V11_13, 0, 0},
    {"texm3x3vspec", V11_13, 0, 0},
    {"texreg2ar", V11_13, 0, 0},
    {"texreg2gb", V11_13, 0, 0},
    {"texreg2rgb", V12 | V13, 0, 0},
    {"true", V2XUP, 0, 0},
};

const KeywordRow s_VertexRows[] = {
    {"vs", VALL, 0, 0},
    {"vs_1_1", VALL, 0, 0},
    {"vs.1.1", VALL, 0, 0},
    {"vs_2_0", VALL, 0, 0},
    {"vs.2.0", VALL, 0, 0},
    {"vs_2_x", VALL, 0, 0},
    {"vs.2.x", VALL, 0, 0},
    {"vs_2_sw", VALL, 0, 0},
    {"vs.2.sw", VALL, 0, 0},
    {"vs_3_0", VALL, 0, 0},
    {"vs.3.0", VALL, 0, 0},
    {"vs_3_sw", VALL, 0, 0},
    {"vs.3.sw", VALL, 0, 0},
    {"abs", V2UP, F_SAT, 0},
    {"add", VALL, F_SAT, 0},
    {"break", V2XUP, 0, 0},
    {"break_gt", V2XUP, 0, 0},
    {"break_lt", V2XUP, 0, 0},
    {"break_ge", V2XUP, 0, 0},
    {"break_le", V2XUP, 0, 0},
    {"break_eq", V2XUP, 0, 0},
    {"break_ne", V2XUP, 0, 0},
    {"breakp", V2XUP, 0, 0},
    {"call", V2UP, 0, 0},
    {"callnz", V2UP, 0, 0},
    {"crs", V2UP, F_SAT, 0},
    {"dcl_position", VALL, 0, 16},
    {"dcl_blendweight", VALL, 0, 16},
    {"dcl_blendindices", VALL, 0, 16},
    {"dcl_normal", VALL, 0, 16},
    {"dcl_psize", VALL, 0, 16},
    {"dcl_texcoord", VALL, 0, 16},
    {"dcl_tangent", VALL, 0, 16},
    {"dcl_binormal", VALL, 0, 16},
    {"dcl_tessfactor", VALL, 0, 16},
    {"dcl_positiont", VALL, 0, 16},
    {"dcl_color", VALL, 0, 16},
    {"dcl_fog", VALL, 0, 16},
    {"dcl_depth", VALL, 0, 16},
    {"dcl_sample", VALL, 0, 16},
    {"dcl_2d", V3, 0, 0},
    {"dcl_cube", V3, 0, 0},
    {"dcl_volume", V3, 0, 0},
    {"def", VALL, 0, 0},
    {"defb", V2UP, 0, 0},
    {"defi", V2UP, 0, 0},
    {"dp3", VALL, F_SAT, 0},
    {"dp4", VALL, F_SAT, 0},
    {"dst", VALL, F_SAT, 0},
    {"else", V2UP, 0, 0},
    {"endif", V2UP, 0, 0},
    {"endloop", V2UP, 0, 0},
    {"endrep", V2UP, 0, 0},
    {"exp", VALL, F_SAT, 0},
    {"expp", VALL, F_SAT, 0},
    {"false", V2UP, 0, 0},
    {"frc", VALL, F_SAT, 0},
    {"if", V2UP, 0, 0},
    {"if_gt", V2XUP, 0, 0},
    {"if_lt", V2XUP, 0, 0},
    {"if_ge", V2XUP, 0, 0},
    {"if_le", V2XUP, 0, 0},
    {"if_eq", V2XUP, 0, 0},
    {"if_ne", V2XUP, 0, 0},
    {"label", V2UP, 0, 0},
    {"lit", VALL, F_SAT, 0},
    {"log", VALL, F_SAT, 0},
    {"logp", VALL, F_SAT, 0},
    {"loop", V2UP, 0, 0},
    {"lrp", V2UP, F_SAT, 0},
    {"m3x2", VALL, F_SAT, 0},
    {"m3x3", VALL, F_SAT, 0},
    {"m3x4", VALL, F_SAT, 0},
    {"m4x3", VALL, F_SAT, 0},
    {"m4x4", VALL, F_SAT, 0},
    {"mad", VALL, F_SAT, 0},
    {"max", VALL, F_SAT, 0},
    {"min", VALL, F_SAT, 0},
    {"mov", VALL, F_SAT, 0},
    {"mova", V2UP, 0, 0},
    {"mul", VALL, F_SAT, 0},
    {"nop", VALL, 0, 0},
    {"nrm", V2UP, F_SAT, 0},
    {"pow", V2UP, F_SAT, 0},
    {"rcp", VALL, F_SAT, 0},
    {"rep", V2UP, 0, 0},
    {"ret", V2UP, 0, 0},
    {"rsq", VALL, F_SAT, 0},
    {"setp_gt", V2XUP, 0, 0},
    {"setp_lt", V2XUP, 0, 0},
    {"setp_ge", V2XUP, 0, 0},
    {"setp_le", V2XUP, 0, 0},
    {"setp_eq", V2XUP, 0, 0},
    {"setp_ne", V2XUP, 0, 0},
    {"sge", VALL, F_SAT, 0},
    {"sgn", V2UP, F_SAT, 0},
    {"sincos", V2UP, F_SAT, 0},
    {"slt", VALL, F_SAT, 0},
    {"sub", VALL, F_SAT, 0},
    {"texldl", V3, 0, 0},
};

// Register words of a model: the prefix, the versions, the count, and the source modifiers of
// the ps_1_x models.
struct RegisterRow
{
    const char* pPrefix;
    std::uint32_t nVersions;
    std::uint32_t nCount;
    std::uint32_t nModifiers;
};

enum : std::uint32_t
{
    M_BIAS = 0x1,
    M_X2 = 0x2,
    M_TEXCOORD = 0x4,
    M_ABS = 0x8
};

const RegisterRow s_PixelRegisters[] = {
    {"c", V1, 8, M_BIAS},
    {"r", V11_13, 2, M_BIAS},
    {"t", V11_13, 4, M_BIAS},
    {"v", V1, 2, M_BIAS},
    {"r", V14, 6, M_X2 | M_TEXCOORD},
    {"t", V14, 6, M_X2 | M_TEXCOORD},
    {"c", V2, 32, 0},
    {"r", V20, 12, 0},
    {"r", V2X | V2SW, 32, 0},
    {"t", V2, 8, 0},
    {"v", V2, 2, 0},
    {"s", V2UP, 16, 0},
    {"oC", V2UP, 4, 0},
    {"b", V2XUP, 16, 0},
    {"i", V2XUP, 16, 0},
    {"p", V2XUP, 1, 0},
    {"c", V3, 224, M_ABS},
    {"r", V3, 32, M_ABS},
    {"v", V3, 10, M_ABS},
};

const RegisterRow s_VertexRegisters[] = {
    {"a", VALL, 1, 0},  {"c", VALL, 256, 0},   {"r", V1 | V2, 12, 0}, {"r", V3, 32, 0},
    {"v", VALL, 16, 0}, {"oD", V1 | V2, 2, 0}, {"oT", V1 | V2, 8, 0}, {"o", V3, 12, 0},
    {"b", V2UP, 16, 0}, {"i", V2UP, 16, 0},    {"p", V2XUP, 1, 0},    {"s", V3, 4, 0},
};

// The version bit of a major and minor version; 0 for one that no table knows.
std::uint32_t GetVersionBit(std::uint32_t nMajor, std::uint32_t nMinor)
{
    static const struct
    {
        std::uint32_t nMajor;
        std::uint32_t nMinor;
        std::uint32_t nBit;
    } s_Versions[] = {{1, 1, V11}, {1, 2, V12},     {1, 3, V13}, {1, 4, V14},    {2, 0, V20},
                      {2, 1, V2X}, {2, 0xFF, V2SW}, {3, 0, V30}, {3, 0xFF, V3SW}};
    for (const auto& version : s_Versions)
    {
        if (version.nMajor == nMajor && version.nMinor == nMinor)
        {
            return version.nBit;
        }
    }
    return 0;
}

std::string Forms(const char* pFormat, const std::string& strWord, int nNumber)
{
    boost::format format(pFormat);
    format.exceptions(boost::io::no_error_bits);
    return (format % strWord % nNumber % strWord % nNumber % strWord % nNumber % strWord % nNumber %
            strWord % nNumber % strWord % nNumber % strWord % nNumber)
        .str();
}

std::string InstructionWords(const KeywordRow& row, std::uint32_t nVersionBit)
{
    const std::string strWord = row.pWord;
    std::string strWords = strWord + " ";
    if ((row.nForms & F_CENTROID) != 0)
    {
        strWords += strWord + "_centroid ";
    }
    if ((row.nForms & F_SAT) != 0)
    {
        if (nVersionBit == V14)
        {
            strWords +=
                Forms("%1%_sat %1%_x2 %1%_x2_sat %1%_x4 %1%_x4_sat %1%_x8 %1%_x8_sat %1%_d2 "
                      "%1%_d2_sat %1%_d4 %1%_d4_sat %1%_d8 %1%_d8_sat ",
                      strWord, 0);
        }
        else if ((nVersionBit & V11_13) != 0)
        {
            strWords +=
                Forms("%1%_sat %1%_x2 %1%_x2_sat %1%_x4 %1%_x4_sat %1%_d2 %1%_d2_sat ", strWord, 0);
        }
        else
        {
            strWords += strWord + "_sat ";
        }
    }
    if ((row.nForms & F_PP) != 0)
    {
        strWords += strWord + "_pp ";
        if ((row.nForms & F_CENTROID) != 0)
        {
            strWords += Forms("%1%_centroid_pp %1%_pp_centroid ", strWord, 0);
        }
        if ((row.nForms & F_SAT) != 0)
        {
            strWords += Forms("%1%_sat_pp %1%_pp_sat ", strWord, 0);
        }
    }
    for (std::uint32_t i = 0; i < row.nNumbered; ++i)
    {
        const int n = static_cast<int>(i);
        strWords += Forms("%1%%2% ", strWord, n);
        if ((row.nForms & F_CENTROID) != 0)
        {
            strWords += Forms("%1%%2%_centroid ", strWord, n);
        }
        if ((row.nForms & F_SAT) != 0)
        {
            strWords += Forms("%1%%2%_sat ", strWord, n);
        }
        if ((row.nForms & F_PP) != 0)
        {
            strWords += Forms("%1%%2%_pp ", strWord, n);
            if ((row.nForms & F_CENTROID) != 0)
            {
                strWords += Forms("%1%%2%_centroid_pp %1%%2%_pp_centroid ", strWord, n);
            }
        }
    }
    return strWords;
}

std::string RegisterWords(const RegisterRow& row)
{
    std::string strWords;
    for (std::uint32_t i = 0; i < row.nCount; ++i)
    {
        const int n = static_cast<int>(i);
        strWords += Forms("%1%%2% ", row.pPrefix, n);
        if ((row.nModifiers & M_BIAS) != 0)
        {
            strWords += Forms("%1%%2%_bias %1%%2%_bx2 ", row.pPrefix, n);
        }
        if ((row.nModifiers & M_X2) != 0)
        {
            strWords += Forms("%1%%2%_bias %1%%2%_bx2 %1%%2%_x2 ", row.pPrefix, n);
        }
        if ((row.nModifiers & M_TEXCOORD) != 0)
        {
            strWords += Forms("%1%%2%_dz %1%%2%_db %1%%2%_dw %1%%2%_da ", row.pPrefix, n);
        }
        if ((row.nModifiers & M_ABS) != 0)
        {
            strWords += Forms("%1%%2%_abs ", row.pPrefix, n);
        }
    }
    return strWords;
}

template <size_t nRows, size_t nRegisters>
void AppendAsm(std::vector<std::string>& vKeywords, const KeywordRow (&rows)[nRows],
               const RegisterRow (&registers)[nRegisters], std::uint32_t nVersionBit,
               const char* pFixedRegisters)
{
    std::string strInstructions;
    for (const KeywordRow& row : rows)
    {
        if ((row.nVersions & nVersionBit) != 0)
        {
            strInstructions += InstructionWords(row, nVersionBit);
        }
    }
    std::string strRegisters;
    for (const RegisterRow& row : registers)
    {
        if ((row.nVersions & nVersionBit) != 0)
        {
            strRegisters += RegisterWords(row);
        }
    }
    strRegisters += pFixedRegisters;
    vKeywords.push_back(MakeKeywordEntry(KC_Keyword, strInstructions));
    vKeywords.push_back(MakeKeywordEntry(KC_Register, strRegisters));
}

// Words with numbered forms from 0 to nCount - 1 behind each.
std::string Numbered(const std::vector<const char*>& vWords, std::uint32_t nCount)
{
    std::string strWords;
    for (const char* pWord : vWords)
    {
        strWords += std::string(pWord) + " ";
        for (std::uint32_t i = 0; i < nCount; ++i)
        {
            strWords += Forms("%1%%2% ", pWord, static_cast<int>(i));
        }
    }
    return strWords;
}

std::string HLSLTypes()
{
    std::string strWords;
    for (const char* pBase : {"bool", "int", "uint", "dword", "half", "float", "double"})
    {
        const std::string strBase = pBase;
        strWords += strBase + " ";
        for (int i = 1; i <= 4; ++i)
        {
            strWords += strBase + std::to_string(i) + " ";
        }
        for (int i = 1; i <= 4; ++i)
        {
            for (int j = 1; j <= 4; ++j)
            {
                strWords += strBase + std::to_string(i) + "x" + std::to_string(j) + " ";
            }
        }
    }
    return strWords + "matrix vector string void sampler sampler1D sampler2D sampler3D samplerCUBE "
                      "sampler_state texture texture1D texture2D texture3D textureCUBE struct ";
}
} // namespace

std::string MakeKeywordEntry(std::uint32_t nClass, const std::string& strWords)
{
    return std::to_string(nClass) + " " + strWords;
}

void AppendHLSLKeywords(std::vector<std::string>& vKeywords)
{
    vKeywords.push_back(MakeKeywordEntry(
        KC_Keyword,
        "asm asm_fragment break buffer case cbuffer centroid column_major compile "
        "compile_fragment const continue default discard do else extern false for if in inline "
        "inout interface linear namespace nointerpolation noperspective out packoffset pass "
        "pixelfragment pixelshader precise register return row_major sample shared snorm "
        "stateblock stateblock_state static switch tbuffer technique technique10 true typedef "
        "uniform unorm vertexfragment vertexshader volatile while "));
    vKeywords.push_back(MakeKeywordEntry(KC_Type, HLSLTypes()));
    vKeywords.push_back(MakeKeywordEntry(
        KC_Semantic,
        Numbered({"BINORMAL", "BLENDINDICES", "BLENDWEIGHT", "COLOR", "NORMAL", "POSITION",
                  "POSITIONT", "PSIZE", "TANGENT", "TEXCOORD", "TESSFACTOR", "FOG", "DEPTH"},
                 8) +
            "VFACE VPOS "));
    vKeywords.push_back(MakeKeywordEntry(
        KC_Reserved, "auto break case catch char class const_cast continue default delete "
                     "dynamic_cast enum explicit friend goto long mutable new operator private "
                     "protected public reinterpret_cast short signed sizeof static_cast template "
                     "this throw try typename union unsigned using virtual "));
    vKeywords.push_back(MakeKeywordEntry(
        KC_Function,
        "abs acos all any asfloat asin asint asuint atan atan2 ceil clamp clip cos cosh cross "
        "D3DCOLORtoUBYTE4 ddx ddy degrees determinant distance dot exp exp2 faceforward floor "
        "fmod frac frexp fwidth isfinite isinf isnan ldexp length lerp lit log log10 log2 max min "
        "modf mul noise normalize pow radians reflect refract round rsqrt saturate sign sin "
        "sincos sinh smoothstep sqrt step tan tanh tex1D tex1Dbias tex1Dgrad tex1Dlod tex1Dproj "
        "tex2D tex2Dbias tex2Dgrad tex2Dlod tex2Dproj tex3D tex3Dbias tex3Dgrad tex3Dlod "
        "tex3Dproj texCUBE texCUBEbias texCUBEgrad texCUBElod texCUBEproj transpose trunc "));
}

bool AppendDX9AsmKeywords(std::vector<std::string>& vKeywords, std::uint32_t nShaderToken,
                          std::uint32_t nVersionToken)
{
    const std::uint32_t nVersionBit =
        GetVersionBit((nVersionToken >> 8) & 0xFF, nVersionToken & 0xFF);
    if (nVersionBit == 0)
    {
        return false;
    }
    if (nShaderToken == 0xFFFF)
    {
        AppendAsm(vKeywords, s_PixelRows, s_PixelRegisters, nVersionBit,
                  (nVersionBit & V3) != 0     ? "oDepth vFace vPos aL "
                  : (nVersionBit & V2UP) != 0 ? "oDepth "
                                              : "");
        return true;
    }
    if (nShaderToken == 0xFFFE)
    {
        AppendAsm(vKeywords, s_VertexRows, s_VertexRegisters, nVersionBit, "oPos oFog oPts aL ");
        return true;
    }
    return false;
}
} // namespace XAN_ShaderDebugger
