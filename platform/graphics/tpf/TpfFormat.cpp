#include "TpfFormat.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace XAN_Platform
{
namespace
{
// Opcodes in order. Two-destination rows name both operands written; a store's resource is
// the operand written and the immediate atomics return the old value through their first.
const TpfOpcodeInfo g_TpfOpcodes[] = {
    {0, "add", "dss", TPF_CTL_SAT},
    {1, "and", "dss", TPF_CTL_NONE},
    {2, "break", "", TPF_CTL_NONE},
    {3, "breakc", "s", TPF_CTL_TEST},
    {4, "call", "s", TPF_CTL_NONE},
    {5, "callc", "ss", TPF_CTL_TEST},
    {6, "case", "s", TPF_CTL_NONE},
    {7, "continue", "", TPF_CTL_NONE},
    {8, "continuec", "s", TPF_CTL_TEST},
    {9, "cut", "", TPF_CTL_NONE},
    {10, "default", "", TPF_CTL_NONE},
    {11, "deriv_rtx", "ds", TPF_CTL_SAT},
    {12, "deriv_rty", "ds", TPF_CTL_SAT},
    {13, "discard", "s", TPF_CTL_TEST},
    {14, "div", "dss", TPF_CTL_SAT},
    {15, "dp2", "dss", TPF_CTL_SAT},
    {16, "dp3", "dss", TPF_CTL_SAT},
    {17, "dp4", "dss", TPF_CTL_SAT},
    {18, "else", "", TPF_CTL_NONE},
    {19, "emit", "", TPF_CTL_NONE},
    {20, "emitthencut", "", TPF_CTL_NONE},
    {21, "endif", "", TPF_CTL_NONE},
    {22, "endloop", "", TPF_CTL_NONE},
    {23, "endswitch", "", TPF_CTL_NONE},
    {24, "eq", "dss", TPF_CTL_NONE},
    {25, "exp", "ds", TPF_CTL_SAT},
    {26, "frc", "ds", TPF_CTL_SAT},
    {27, "ftoi", "ds", TPF_CTL_NONE},
    {28, "ftou", "ds", TPF_CTL_NONE},
    {29, "ge", "dss", TPF_CTL_NONE},
    {30, "iadd", "dss", TPF_CTL_NONE},
    {31, "if", "s", TPF_CTL_TEST},
    {32, "ieq", "dss", TPF_CTL_NONE},
    {33, "ige", "dss", TPF_CTL_NONE},
    {34, "ilt", "dss", TPF_CTL_NONE},
    {35, "imad", "dsss", TPF_CTL_NONE},
    {36, "imax", "dss", TPF_CTL_NONE},
    {37, "imin", "dss", TPF_CTL_NONE},
    {38, "imul", "ddss", TPF_CTL_NONE},
    {39, "ine", "dss", TPF_CTL_NONE},
    {40, "ineg", "ds", TPF_CTL_NONE},
    {41, "ishl", "dss", TPF_CTL_NONE},
    {42, "ishr", "dss", TPF_CTL_NONE},
    {43, "itof", "ds", TPF_CTL_NONE},
    {44, "label", "s", TPF_CTL_NONE},
    {45, "ld", "dss", TPF_CTL_SAT},
    {46, "ld_ms", "dsss", TPF_CTL_SAT},
    {47, "log", "ds", TPF_CTL_SAT},
    {48, "loop", "", TPF_CTL_NONE},
    {49, "lt", "dss", TPF_CTL_NONE},
    {50, "mad", "dsss", TPF_CTL_SAT},
    {51, "min", "dss", TPF_CTL_SAT},
    {52, "max", "dss", TPF_CTL_SAT},
    {53, "customdata", "", TPF_CTL_NONE},
    {54, "mov", "ds", TPF_CTL_SAT},
    {55, "movc", "dsss", TPF_CTL_SAT},
    {56, "mul", "dss", TPF_CTL_SAT},
    {57, "ne", "dss", TPF_CTL_NONE},
    {58, "nop", "", TPF_CTL_NONE},
    {59, "not", "ds", TPF_CTL_NONE},
    {60, "or", "dss", TPF_CTL_NONE},
    {61, "resinfo", "dss", TPF_CTL_RESINFO},
    {62, "ret", "", TPF_CTL_NONE},
    {63, "retc", "s", TPF_CTL_TEST},
    {64, "round_ne", "ds", TPF_CTL_SAT},
    {65, "round_ni", "ds", TPF_CTL_SAT},
    {66, "round_pi", "ds", TPF_CTL_SAT},
    {67, "round_z", "ds", TPF_CTL_SAT},
    {68, "rsq", "ds", TPF_CTL_SAT},
    {69, "sample", "dsss", TPF_CTL_SAT},
    {70, "sample_c", "dssss", TPF_CTL_SAT},
    {71, "sample_c_lz", "dssss", TPF_CTL_SAT},
    {72, "sample_l", "dssss", TPF_CTL_SAT},
    {73, "sample_d", "dsssss", TPF_CTL_SAT},
    {74, "sample_b", "dssss", TPF_CTL_SAT},
    {75, "sqrt", "ds", TPF_CTL_SAT},
    {76, "switch", "s", TPF_CTL_NONE},
    {77, "sincos", "dds", TPF_CTL_SAT},
    {78, "udiv", "ddss", TPF_CTL_NONE},
    {79, "ult", "dss", TPF_CTL_NONE},
    {80, "uge", "dss", TPF_CTL_NONE},
    {81, "umul", "ddss", TPF_CTL_NONE},
    {82, "umad", "dsss", TPF_CTL_NONE},
    {83, "umax", "dss", TPF_CTL_NONE},
    {84, "umin", "dss", TPF_CTL_NONE},
    {85, "ushr", "dss", TPF_CTL_NONE},
    {86, "utof", "ds", TPF_CTL_NONE},
    {87, "xor", "dss", TPF_CTL_NONE},
    {88, "dcl_resource", "dr", TPF_CTL_RESDIM},
    {89, "dcl_constant_buffer", "s", TPF_CTL_CBACCESS},
    {90, "dcl_sampler", "d", TPF_CTL_SAMPLERMODE},
    {91, "dcl_index_range", "dn", TPF_CTL_NONE},
    {92, "dcl_gs_output_primitive_topology", "", TPF_CTL_NONE},
    {93, "dcl_gs_input_primitive", "", TPF_CTL_NONE},
    {94, "dcl_max_output_vertex_count", "n", TPF_CTL_NONE},
    {95, "dcl_input", "d", TPF_CTL_NONE},
    {96, "dcl_input_sgv", "dv", TPF_CTL_NONE},
    {97, "dcl_input_siv", "dv", TPF_CTL_NONE},
    {98, "dcl_input_ps", "d", TPF_CTL_INTERP},
    {99, "dcl_input_ps_sgv", "dv", TPF_CTL_INTERP},
    {100, "dcl_input_ps_siv", "dv", TPF_CTL_INTERP},
    {101, "dcl_output", "d", TPF_CTL_NONE},
    {102, "dcl_output_sgv", "dv", TPF_CTL_NONE},
    {103, "dcl_output_siv", "dv", TPF_CTL_NONE},
    {104, "dcl_temps", "n", TPF_CTL_NONE},
    {105, "dcl_indexable_temp", "Xn", TPF_CTL_NONE},
    {106, "dcl_global_flags", "", TPF_CTL_GLOBALFLAGS},
    {108, "lod", "dsss", TPF_CTL_SAT},
    {109, "gather4", "dsss", TPF_CTL_SAT},
    {110, "sample_pos", "dss", TPF_CTL_NONE},
    {111, "sample_info", "ds", TPF_CTL_SAMPLEINFO},
    {113, "hs_decls", "", TPF_CTL_NONE},
    {114, "hs_control_point_phase", "", TPF_CTL_NONE},
    {115, "hs_fork_phase", "", TPF_CTL_NONE},
    {116, "hs_join_phase", "", TPF_CTL_NONE},
    {117, "emit_stream", "s", TPF_CTL_NONE},
    {118, "cut_stream", "s", TPF_CTL_NONE},
    {119, "emitthencut_stream", "s", TPF_CTL_NONE},
    {121, "bufinfo", "ds", TPF_CTL_RESINFO},
    {122, "deriv_rtx_coarse", "ds", TPF_CTL_SAT},
    {123, "deriv_rtx_fine", "ds", TPF_CTL_SAT},
    {124, "deriv_rty_coarse", "ds", TPF_CTL_SAT},
    {125, "deriv_rty_fine", "ds", TPF_CTL_SAT},
    {126, "gather4_c", "dssss", TPF_CTL_SAT},
    {127, "gather4_po", "dssss", TPF_CTL_SAT},
    {128, "gather4_po_c", "dsssss", TPF_CTL_SAT},
    {129, "rcp", "ds", TPF_CTL_SAT},
    {130, "f32tof16", "ds", TPF_CTL_NONE},
    {131, "f16tof32", "ds", TPF_CTL_NONE},
    {132, "uaddc", "ddss", TPF_CTL_NONE},
    {133, "usubb", "ddss", TPF_CTL_NONE},
    {134, "countbits", "ds", TPF_CTL_NONE},
    {135, "firstbit_hi", "ds", TPF_CTL_NONE},
    {136, "firstbit_lo", "ds", TPF_CTL_NONE},
    {137, "firstbit_shi", "ds", TPF_CTL_NONE},
    {138, "ubfe", "dsss", TPF_CTL_NONE},
    {139, "ibfe", "dsss", TPF_CTL_NONE},
    {140, "bfi", "dssss", TPF_CTL_NONE},
    {141, "bfrev", "ds", TPF_CTL_NONE},
    {142, "swapc", "ddsss", TPF_CTL_NONE},
    {143, "dcl_stream", "d", TPF_CTL_NONE},
    {147, "dcl_input_control_point_count", "", TPF_CTL_NONE},
    {148, "dcl_output_control_point_count", "", TPF_CTL_NONE},
    {149, "dcl_tessellator_domain", "", TPF_CTL_NONE},
    {150, "dcl_tessellator_partitioning", "", TPF_CTL_NONE},
    {151, "dcl_tessellator_output_primitive", "", TPF_CTL_NONE},
    {152, "dcl_hs_max_tessfactor", "s", TPF_CTL_NONE},
    {153, "dcl_hs_fork_phase_instance_count", "n", TPF_CTL_NONE},
    {154, "dcl_hs_join_phase_instance_count", "n", TPF_CTL_NONE},
    {155, "dcl_thread_group", "nnn", TPF_CTL_NONE},
    {156, "dcl_uav_typed", "dr", TPF_CTL_UAVDIM},
    {157, "dcl_uav_raw", "d", TPF_CTL_UAVFLAGS},
    {158, "dcl_uav_structured", "dn", TPF_CTL_UAVFLAGS},
    {159, "dcl_tgsm_raw", "dn", TPF_CTL_NONE},
    {160, "dcl_tgsm_structured", "dnn", TPF_CTL_NONE},
    {161, "dcl_resource_raw", "d", TPF_CTL_NONE},
    {162, "dcl_resource_structured", "dn", TPF_CTL_NONE},
    {163, "ld_uav_typed", "dss", TPF_CTL_NONE},
    {164, "store_uav_typed", "dss", TPF_CTL_NONE},
    {165, "ld_raw", "dss", TPF_CTL_NONE},
    {166, "store_raw", "dss", TPF_CTL_NONE},
    {167, "ld_structured", "dsss", TPF_CTL_NONE},
    {168, "store_structured", "dsss", TPF_CTL_NONE},
    {169, "atomic_and", "dss", TPF_CTL_NONE},
    {170, "atomic_or", "dss", TPF_CTL_NONE},
    {171, "atomic_xor", "dss", TPF_CTL_NONE},
    {172, "atomic_cmp_store", "dsss", TPF_CTL_NONE},
    {173, "atomic_iadd", "dss", TPF_CTL_NONE},
    {174, "atomic_imax", "dss", TPF_CTL_NONE},
    {175, "atomic_imin", "dss", TPF_CTL_NONE},
    {176, "atomic_umax", "dss", TPF_CTL_NONE},
    {177, "atomic_umin", "dss", TPF_CTL_NONE},
    {178, "imm_atomic_alloc", "ds", TPF_CTL_NONE},
    {179, "imm_atomic_consume", "ds", TPF_CTL_NONE},
    {180, "imm_atomic_iadd", "ddss", TPF_CTL_NONE},
    {181, "imm_atomic_and", "ddss", TPF_CTL_NONE},
    {182, "imm_atomic_or", "ddss", TPF_CTL_NONE},
    {183, "imm_atomic_xor", "ddss", TPF_CTL_NONE},
    {184, "imm_atomic_exch", "ddss", TPF_CTL_NONE},
    {185, "imm_atomic_cmp_exch", "ddsss", TPF_CTL_NONE},
    {186, "imm_atomic_imax", "ddss", TPF_CTL_NONE},
    {187, "imm_atomic_imin", "ddss", TPF_CTL_NONE},
    {188, "imm_atomic_umax", "ddss", TPF_CTL_NONE},
    {189, "imm_atomic_umin", "ddss", TPF_CTL_NONE},
    {190, "sync", "", TPF_CTL_SYNC},
    {191, "dadd", "dss", TPF_CTL_SAT},
    {192, "dmax", "dss", TPF_CTL_SAT},
    {193, "dmin", "dss", TPF_CTL_SAT},
    {194, "dmul", "dss", TPF_CTL_SAT},
    {195, "deq", "dss", TPF_CTL_NONE},
    {196, "dge", "dss", TPF_CTL_NONE},
    {197, "dlt", "dss", TPF_CTL_NONE},
    {198, "dne", "dss", TPF_CTL_NONE},
    {199, "dmov", "ds", TPF_CTL_SAT},
    {200, "dmovc", "dsss", TPF_CTL_SAT},
    {201, "dtof", "ds", TPF_CTL_NONE},
    {202, "ftod", "ds", TPF_CTL_NONE},
    {203, "eval_snapped", "dss", TPF_CTL_NONE},
    {204, "eval_sample_index", "dss", TPF_CTL_NONE},
    {205, "eval_centroid", "ds", TPF_CTL_NONE},
    {206, "dcl_gs_instance_count", "n", TPF_CTL_NONE},
};
const unsigned int g_nTpfOpcodes = sizeof(g_TpfOpcodes) / sizeof(g_TpfOpcodes[0]);

const char* const g_OperandTypeNames[TPF_OPERAND_TYPE_COUNT] = {
    "r",
    "v",
    "o",
    "x",
    "l",
    "d",
    "s",
    "t",
    "cb",
    "icb",
    "label",
    "vPrim",
    "oDepth",
    "null",
    "rasterizer",
    "oMask",
    "m",
    "fb",
    "ft",
    "fp",
    "fi",
    "fo",
    "vOutputControlPointID",
    "vForkInstanceID",
    "vJoinInstanceID",
    "vicp",
    "vocp",
    "vpc",
    "vDomain",
    "this",
    "u",
    "g",
    "vThreadID",
    "vThreadGroupID",
    "vThreadIDInGroup",
    "vCoverage",
    "vThreadIDInGroupFlattened",
    "vGSInstanceID",
    "oDepthGE",
    "oDepthLE",
    "vCycleCounter",
};

#define TPF_NAMES(list)                                                                            \
    {                                                                                              \
        list, sizeof(list) / sizeof(list[0])                                                       \
    }

const char* const g_ResourceDimensions[] = {"",
                                            "buffer",
                                            "texture1d",
                                            "texture2d",
                                            "texture2dms",
                                            "texture3d",
                                            "texturecube",
                                            "texture1darray",
                                            "texture2darray",
                                            "texture2dmsarray",
                                            "texturecubearray",
                                            "raw_buffer",
                                            "structured_buffer"};
const char* const g_ReturnTypes[] = {"",      "unorm", "snorm",  "sint",      "uint",
                                     "float", "mixed", "double", "continued", "unused"};
const char* const g_SystemValues[] = {"undefined",
                                      "position",
                                      "clip_distance",
                                      "cull_distance",
                                      "rendertarget_array_index",
                                      "viewport_array_index",
                                      "vertex_id",
                                      "primitive_id",
                                      "instance_id",
                                      "is_front_face",
                                      "sampleIndex"};
const char* const g_InterpolationModes[] = {"",
                                            "constant",
                                            "linear",
                                            "linearCentroid",
                                            "linearNoperspective",
                                            "linearNoperspectiveCentroid",
                                            "linearSample",
                                            "linearNoperspectiveSample"};
const char* const g_SamplerModes[] = {"mode_default", "mode_comparison", "mode_mono"};
const char* const g_GlobalFlags[] = {"refactoringAllowed",         "enableDoublePrecisionFloatOps",
                                     "forceEarlyDepthStencil",     "enableRawAndStructuredBuffers",
                                     "skipOptimization",           "enableMinimumPrecision",
                                     "enable11_1DoubleExtensions", "enable11_1ShaderExtensions"};
const char* const g_ProgramTypes[] = {"ps", "vs", "gs", "hs", "ds", "cs"};

const TpfNameList g_ResourceDimensionList = TPF_NAMES(g_ResourceDimensions);
const TpfNameList g_ReturnTypeList = TPF_NAMES(g_ReturnTypes);
const TpfNameList g_SystemValueList = TPF_NAMES(g_SystemValues);
const TpfNameList g_InterpolationModeList = TPF_NAMES(g_InterpolationModes);
const TpfNameList g_SamplerModeList = TPF_NAMES(g_SamplerModes);
const TpfNameList g_GlobalFlagList = TPF_NAMES(g_GlobalFlags);
const TpfNameList g_ProgramTypeList = TPF_NAMES(g_ProgramTypes);

// Whether a text is a hexadecimal, decimal or floating-point number, and reads it.
bool ParseInteger(const std::string& strText, unsigned long long& nValue, bool& bNegative)
{
    if (strText.empty())
    {
        return false;
    }
    bNegative = strText[0] == '-';
    const char* pStart = strText.c_str() + (bNegative ? 1 : 0);
    if (*pStart < '0' || *pStart > '9')
    {
        return false;
    }
    char* pEnd = nullptr;
    errno = 0;
    nValue = std::strtoull(pStart, &pEnd, 0);
    return errno == 0 && *pEnd == '\0';
}

bool IsFloatText(const std::string& strText)
{
    return strText.find_first_of(".eE") != std::string::npos &&
           strText.find("0x") == std::string::npos;
}

// The shortest "%.Ng" form of a value that reads back exactly, with a point so that it reads
// as a float; empty if no form of up to nMaxDigits digits does.
template <class T> std::string ShortFloat(T value, int nMaxDigits)
{
    if (!std::isfinite(value))
    {
        return std::string();
    }
    char buffer[64];
    for (int nDigits = 1; nDigits <= nMaxDigits; ++nDigits)
    {
        std::snprintf(buffer, sizeof(buffer), "%.*g", nDigits, static_cast<double>(value));
        const T back = static_cast<T>(std::strtod(buffer, nullptr));
        if (std::memcmp(&back, &value, sizeof(T)) == 0)
        {
            std::string strText = buffer;
            if (strText.find_first_of(".e") == std::string::npos)
            {
                strText += ".0";
            }
            return strText;
        }
    }
    return std::string();
}
} // namespace

const char* const g_TpfComponentLetters = "xyzw";

int InferTpfSelectionMode(char cRole, const std::string& strLetters)
{
    bool bAscending = true;
    for (size_t n = 1; n < strLetters.size(); ++n)
    {
        bAscending = bAscending && std::strchr(g_TpfComponentLetters, strLetters[n - 1]) <
                                       std::strchr(g_TpfComponentLetters, strLetters[n]);
    }
    if (cRole == 's' && strLetters.size() == 1)
    {
        return 2;
    }
    if (cRole == 's' && strLetters.size() == 4)
    {
        return 1;
    }
    if (bAscending)
    {
        return 0;
    }
    return strLetters.size() == 4 ? 1 : -1;
}

const TpfOpcodeInfo* FindTpfOpcode(std::uint32_t nOpcode)
{
    for (const TpfOpcodeInfo& info : g_TpfOpcodes)
    {
        if (info.nOpcode == nOpcode)
        {
            return &info;
        }
    }
    return nullptr;
}

const TpfOpcodeInfo* FindTpfOpcodeByPrefix(const std::string& strHead)
{
    const TpfOpcodeInfo* pBest = nullptr;
    size_t nBest = 0;
    for (const TpfOpcodeInfo& info : g_TpfOpcodes)
    {
        const size_t nLength = std::strlen(info.pName);
        if (nLength <= nBest || strHead.compare(0, nLength, info.pName) != 0)
        {
            continue;
        }
        if (nLength == strHead.size() || strHead[nLength] == '_' || strHead[nLength] == '(')
        {
            pBest = &info;
            nBest = nLength;
        }
    }
    return pBest;
}

const TpfOpcodeInfo* GetTpfOpcodes(unsigned int& nCount)
{
    nCount = g_nTpfOpcodes;
    return g_TpfOpcodes;
}

const char* GetTpfOperandTypeName(unsigned int nType)
{
    return nType < TPF_OPERAND_TYPE_COUNT ? g_OperandTypeNames[nType] : nullptr;
}

int FindTpfOperandType(const std::string& strName)
{
    for (unsigned int nType = 0; nType < TPF_OPERAND_TYPE_COUNT; ++nType)
    {
        if (strName == g_OperandTypeNames[nType])
        {
            return static_cast<int>(nType);
        }
    }
    return -1;
}

bool IsTpfScalarOperandType(unsigned int nType)
{
    switch (nType)
    {
    case 11: // vPrim
    case 12: // oDepth
    case 15: // oMask
    case 22: // vOutputControlPointID
    case 23: // vForkInstanceID
    case 24: // vJoinInstanceID
    case 35: // vCoverage
    case 36: // vThreadIDInGroupFlattened
    case 37: // vGSInstanceID
    case 38: // oDepthGE
    case 39: // oDepthLE
        return true;
    default:
        return false;
    }
}

const char* TpfNameList::Name(std::uint32_t nValue) const
{
    return nValue < nCount ? ppNames[nValue] : "";
}

int TpfNameList::Find(const std::string& strName) const
{
    for (unsigned int n = 0; n < nCount; ++n)
    {
        if (!strName.empty() && strName == ppNames[n])
        {
            return static_cast<int>(n);
        }
    }
    return -1;
}

const TpfNameList& GetTpfResourceDimensions()
{
    return g_ResourceDimensionList;
}
const TpfNameList& GetTpfReturnTypes()
{
    return g_ReturnTypeList;
}
const TpfNameList& GetTpfSystemValues()
{
    return g_SystemValueList;
}
const TpfNameList& GetTpfInterpolationModes()
{
    return g_InterpolationModeList;
}
const TpfNameList& GetTpfSamplerModes()
{
    return g_SamplerModeList;
}
const TpfNameList& GetTpfGlobalFlags()
{
    return g_GlobalFlagList;
}
const TpfNameList& GetTpfProgramTypes()
{
    return g_ProgramTypeList;
}

std::string FormatTpfValue32(std::uint32_t nValue)
{
    if (nValue < 0x10000)
    {
        return std::to_string(nValue);
    }
    // Small negative integers are NaNs as floats, so the signed form can't be misread.
    if (nValue >= 0xFFFF0000u)
    {
        return std::to_string(static_cast<std::int32_t>(nValue));
    }
    float fValue;
    std::memcpy(&fValue, &nValue, sizeof(fValue));
    std::string strText = ShortFloat(fValue, 7);
    if (strText.empty())
    {
        char buffer[16];
        std::snprintf(buffer, sizeof(buffer), "0x%08x", nValue);
        strText = buffer;
    }
    return strText;
}

std::string FormatTpfValue64(std::uint64_t nValue)
{
    if (nValue < 0x10000)
    {
        return std::to_string(nValue);
    }
    double dValue;
    std::memcpy(&dValue, &nValue, sizeof(dValue));
    std::string strText = ShortFloat(dValue, 15);
    if (strText.empty())
    {
        char buffer[24];
        std::snprintf(buffer, sizeof(buffer), "0x%016llx", static_cast<unsigned long long>(nValue));
        strText = buffer;
    }
    return strText;
}

bool ParseTpfValue32(const std::string& strText, std::uint32_t& nValue)
{
    if (IsFloatText(strText))
    {
        char* pEnd = nullptr;
        const float fValue = std::strtof(strText.c_str(), &pEnd);
        std::memcpy(&nValue, &fValue, sizeof(nValue));
        return !strText.empty() && *pEnd == '\0';
    }
    unsigned long long nRead = 0;
    bool bNegative = false;
    if (!ParseInteger(strText, nRead, bNegative) || nRead > 0xFFFFFFFFull ||
        (bNegative && nRead > 0x80000000ull))
    {
        return false;
    }
    nValue = static_cast<std::uint32_t>(bNegative ? 0 - nRead : nRead);
    return true;
}

bool ParseTpfValue64(const std::string& strText, std::uint64_t& nValue)
{
    if (IsFloatText(strText))
    {
        char* pEnd = nullptr;
        const double dValue = std::strtod(strText.c_str(), &pEnd);
        std::memcpy(&nValue, &dValue, sizeof(nValue));
        return !strText.empty() && *pEnd == '\0';
    }
    unsigned long long nRead = 0;
    bool bNegative = false;
    if (!ParseInteger(strText, nRead, bNegative))
    {
        return false;
    }
    nValue = bNegative ? 0 - nRead : nRead;
    return true;
}
} // namespace XAN_Platform
