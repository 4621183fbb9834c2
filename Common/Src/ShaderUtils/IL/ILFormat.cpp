#include "ShaderUtils/IL/ILFormat.h"

#include <array>
#include <unordered_map>

namespace ShaderUtils
{
#define IL_ROW(Name, Value, Mnemonic, Operands, Trailing, Modifiers)                               \
    {Mnemonic, IL_OP_##Name, IL_OPERANDS_##Operands, IL_TRAILING_##Trailing,                       \
     IL_MODIFIERS_##Modifiers},

namespace
{
constexpr bool IL_MODIFIERS_MOD = true;
constexpr bool IL_MODIFIERS_NOMOD = false;
} // namespace

const ILOpCodeDesc g_ILMainOpCodeTable[] = {
#define IL_OPCODE(Name, Value, Mnemonic, Operands, Trailing, Modifiers, Text, Engine)              \
    IL_ROW(Name, Value, Mnemonic, Operands, Trailing, Modifiers)
#define IL_DCL_OPCODE(...)
#include "ShaderUtils/IL/ILInstructions.def"
};
const std::size_t g_nILMainOpCodeTableSize =
    sizeof(g_ILMainOpCodeTable) / sizeof(g_ILMainOpCodeTable[0]);

const ILOpCodeDesc g_ILDclOpCodeTable[] = {
#define IL_OPCODE(...)
#define IL_DCL_OPCODE(Name, Value, Mnemonic, Operands, Trailing, Modifiers, Text, Engine)          \
    IL_ROW(Name, Value, Mnemonic, Operands, Trailing, Modifiers)
#include "ShaderUtils/IL/ILInstructions.def"
};
const std::size_t g_nILDclOpCodeTableSize =
    sizeof(g_ILDclOpCodeTable) / sizeof(g_ILDclOpCodeTable[0]);
#undef IL_ROW

namespace
{
// Register type names by type number; 29 has none.
const char* const g_pILRegTypeNames[IL_REGTYPE_LAST] = {
    "b",
    "c",
    "i",
    "a",
    "r",
    "v",
    "vIndex",
    "vObjIndex",
    "vBaryCoord",
    "vPrimIndex",
    "vQuadIndex",
    "o",
    "vPixIn",
    "oSprite",
    "oPos",
    "Interp",
    "Fog",
    "T",
    "PriColor",
    "SecColor",
    "vSpriteCoord",
    "vFace",
    "vWinCoord",
    "vPrimCoord",
    "vPrimType",
    "oC",
    "oDepth",
    "oStencil",
    "oClip",
    nullptr,
    "x",
    "cb",
    "l",
    "v",
    "o",
    "icb",
    "oMask",
    "p",
    "g",
    "oPsFog",
    "sr",
    "vTidInGrp",
    "vTidInGrpFlat",
    "vAbsTid",
    "vAbsTidFlat",
    "vThreadGrpId",
    "vThreadGrpIdFlat",
    "mem",
    "vicp",
    "vpc",
    "vDomain",
    "vocp",
    "vOutputControlPointID",
    "vInstanceID",
    "this",
    "oEdgeFlag",
    "oDepthLE",
    "oDepthGE",
    "vCoverageMask",
    "Tmr",
    "vLineStipple",
    "in",
    "out",
};

// The order in which names are tried when text is parsed: the first "v" and
// "o" win, so the later two can't be reached.
const unsigned int g_nILRegTypeParseOrder[] = {
    IL_REGTYPE_IN,
    IL_REGTYPE_OUT,
    IL_REGTYPE_IMM_CONST_BUFFER,
    IL_REGTYPE_CONST_BUFF,
    IL_REGTYPE_INDEXABLE_TEMP,
    IL_REGTYPE_TEMP,
    IL_REGTYPE_CONST_BOOL,
    IL_REGTYPE_CONST_FLOAT,
    IL_REGTYPE_CONST_INT,
    IL_REGTYPE_ADDR,
    IL_REGTYPE_LEGACY_INPUT,
    IL_REGTYPE_V_INDEX,
    IL_REGTYPE_V_BARY_COORD,
    IL_REGTYPE_V_PRIM_INDEX,
    IL_REGTYPE_V_QUAD_INDEX,
    IL_REGTYPE_O_SPRITE,
    IL_REGTYPE_O_POS,
    IL_REGTYPE_LEGACY_OUTPUT,
    IL_REGTYPE_V_PIX_IN,
    IL_REGTYPE_INTERP,
    IL_REGTYPE_FOG,
    IL_REGTYPE_TEX_COORD,
    IL_REGTYPE_PRI_COLOR,
    IL_REGTYPE_SEC_COLOR,
    IL_REGTYPE_O_PS_FOG,
    IL_REGTYPE_V_OBJ_INDEX,
    IL_REGTYPE_V_SPRITE_COORD,
    IL_REGTYPE_V_FACE,
    IL_REGTYPE_V_WIN_COORD,
    IL_REGTYPE_V_PRIM_COORD,
    IL_REGTYPE_V_PRIM_TYPE,
    IL_REGTYPE_O_C,
    IL_REGTYPE_O_DEPTH,
    IL_REGTYPE_O_STENCIL,
    IL_REGTYPE_O_CLIP,
    IL_REGTYPE_LITERAL,
    IL_REGTYPE_OUTPUT,
    IL_REGTYPE_INPUT,
    IL_REGTYPE_O_MASK,
    IL_REGTYPE_PERSISTENT,
    IL_REGTYPE_GLOBAL,
    IL_REGTYPE_SHARED,
    IL_REGTYPE_V_TID_IN_GRP,
    IL_REGTYPE_V_TID_IN_GRP_FLAT,
    IL_REGTYPE_V_ABS_TID,
    IL_REGTYPE_V_ABS_TID_FLAT,
    IL_REGTYPE_V_THREAD_GRP_ID,
    IL_REGTYPE_V_THREAD_GRP_ID_FLAT,
    IL_REGTYPE_MEM,
    IL_REGTYPE_VICP,
    IL_REGTYPE_VPC,
    IL_REGTYPE_V_DOMAIN,
    IL_REGTYPE_VOCP,
    IL_REGTYPE_V_OUTPUT_CONTROL_POINT_ID,
    IL_REGTYPE_V_INSTANCE_ID,
    IL_REGTYPE_THIS,
    IL_REGTYPE_O_EDGE_FLAG,
    IL_REGTYPE_O_DEPTH_LE,
    IL_REGTYPE_O_DEPTH_GE,
    IL_REGTYPE_V_COVERAGE_MASK,
    IL_REGTYPE_TMR,
    IL_REGTYPE_V_LINE_STIPPLE,
};

// Calls f(row) for every row, main table first, until f returns true.
template <typename F> void ForEachOpCodeDesc(F f)
{
    for (std::size_t i = 0; i < g_nILMainOpCodeTableSize; ++i)
    {
        if (f(g_ILMainOpCodeTable[i]))
        {
            return;
        }
    }
    for (std::size_t i = 0; i < g_nILDclOpCodeTableSize; ++i)
    {
        if (f(g_ILDclOpCodeTable[i]))
        {
            return;
        }
    }
}

// The tables are searched once: a direct index for codes, a map for names.
// Both keep the first row of a code or name, as a linear search would.
const std::array<const ILOpCodeDesc*, IL_OP_LAST>& GetCodeIndex()
{
    static const std::array<const ILOpCodeDesc*, IL_OP_LAST> s_index = []
    {
        std::array<const ILOpCodeDesc*, IL_OP_LAST> index{};
        ForEachOpCodeDesc(
            [&index](const ILOpCodeDesc& desc)
            {
                if (desc.nOpCode < IL_OP_LAST && index[desc.nOpCode] == nullptr)
                {
                    index[desc.nOpCode] = &desc;
                }
                return false;
            });
        return index;
    }();
    return s_index;
}

const std::unordered_map<std::string, const ILOpCodeDesc*>& GetNameIndex()
{
    static const std::unordered_map<std::string, const ILOpCodeDesc*> s_index = []
    {
        std::unordered_map<std::string, const ILOpCodeDesc*> index;
        ForEachOpCodeDesc(
            [&index](const ILOpCodeDesc& desc)
            {
                index.emplace(desc.pName, &desc);
                return false;
            });
        return index;
    }();
    return s_index;
}
} // namespace

const ILOpCodeDesc* FindOpCodeDesc(unsigned int nOpCode)
{
    if (nOpCode < IL_OP_LAST)
    {
        // Row 0 ("none") is a row like any other for a lookup.
        return GetCodeIndex()[nOpCode];
    }
    const ILOpCodeDesc* pFound = nullptr;
    ForEachOpCodeDesc(
        [&](const ILOpCodeDesc& desc)
        {
            pFound = desc.nOpCode == nOpCode ? &desc : nullptr;
            return pFound != nullptr;
        });
    return pFound;
}

const ILOpCodeDesc* FindOpCodeDescByName(const std::string& strName)
{
    const auto& index = GetNameIndex();
    const auto it = index.find(strName);
    return it == index.end() ? nullptr : it->second;
}

ILDescStatus GetOperandCounts(unsigned int nOpcodeToken, unsigned int nInstMod,
                              ILOperandCounts& counts)
{
    const unsigned int nOpCode = GetILOpCode(nOpcodeToken);
    const ILOpCodeDesc* pDesc = FindOpCodeDesc(nOpCode);
    if (pDesc == nullptr)
    {
        return IL_DESC_UNKNOWN_OPCODE;
    }
    counts.bHasDest = pDesc->operands >= IL_OPERANDS_D_S0 && pDesc->operands <= IL_OPERANDS_D_S6;
    counts.nSrcCount = 0;
    switch (pDesc->operands)
    {
    case IL_OPERANDS_NONE:
        return IL_DESC_UNKNOWN_KIND;
    case IL_OPERANDS_MCALL:
    {
        const unsigned int nOutputs = nInstMod >> IL_INSTMOD_OUTPUT_SHIFT;
        counts.bHasDest = nOutputs == 1;
        counts.nSrcCount = nInstMod & IL_INSTMOD_INPUT_MASK;
        return nOutputs >= 2 ? IL_DESC_BAD_MCALL : IL_DESC_OK;
    }
    case IL_OPERANDS_CB:
        counts.nSrcCount = (nOpcodeToken & IL_PRI_MODIFIER_PRESENT) ? 0 : 1;
        return IL_DESC_OK;
    default:
        counts.nSrcCount =
            counts.bHasDest ? pDesc->operands - IL_OPERANDS_D_S0 : pDesc->operands - IL_OPERANDS_S0;
        return IL_DESC_OK;
    }
}

bool HasDestReg(unsigned int nOpcodeToken, unsigned int nInstMod)
{
    ILOperandCounts counts{};
    return GetOperandCounts(nOpcodeToken, nInstMod, counts) == IL_DESC_OK && counts.bHasDest;
}

unsigned int GetSrcRegCount(unsigned int nOpcodeToken, unsigned int nInstMod)
{
    ILOperandCounts counts{};
    return GetOperandCounts(nOpcodeToken, nInstMod, counts) == IL_DESC_OK ? counts.nSrcCount : 0;
}

const char* GetOpCodeName(unsigned int nOpCode)
{
    const ILOpCodeDesc* pDesc = FindOpCodeDesc(nOpCode);
    return pDesc != nullptr ? pDesc->pName : "ERROR";
}

unsigned int GetTrailingTokenCount(unsigned int nOpcodeToken)
{
    // Code 213 has no row but, like dcl_num_thread_per_group, counts its
    // trailing tokens in the control field.
    const unsigned int nOpCode = GetILOpCode(nOpcodeToken);
    const ILOpCodeDesc* pDesc = FindOpCodeDesc(nOpCode);
    const ILTrailing trailing = nOpCode == 213     ? IL_TRAILING_TCOUNT
                                : pDesc != nullptr ? pDesc->trailing
                                                   : IL_TRAILING_T0;
    switch (trailing)
    {
    case IL_TRAILING_T0:
        return 0;
    case IL_TRAILING_T1:
    case IL_TRAILING_TTEXT:
        return 1;
    case IL_TRAILING_T2:
        return 2;
    case IL_TRAILING_T4:
        return 4;
    case IL_TRAILING_TCOUNT:
        return GetILControl(nOpcodeToken);
    }
    return 0;
}

bool HasCountedText(unsigned int nOpCode)
{
    const ILOpCodeDesc* pDesc = FindOpCodeDesc(nOpCode);
    return pDesc != nullptr && pDesc->trailing == IL_TRAILING_TTEXT;
}

bool HasCountedData(unsigned int nOpCode)
{
    const ILOpCodeDesc* pDesc = FindOpCodeDesc(nOpCode);
    return pDesc != nullptr && pDesc->operands == IL_OPERANDS_CB;
}

const char* GetILRegTypeName(unsigned int nType)
{
    return nType < IL_REGTYPE_LAST ? g_pILRegTypeNames[nType] : nullptr;
}

unsigned int ParseILRegTypeName(const std::string& strName)
{
    static const std::unordered_map<std::string, unsigned int> s_types = []
    {
        std::unordered_map<std::string, unsigned int> types;
        for (unsigned int nType : g_nILRegTypeParseOrder)
        {
            types.emplace(g_pILRegTypeNames[nType], nType);
        }
        return types;
    }();
    const auto it = s_types.find(strName);
    return it == s_types.end() ? static_cast<unsigned int>(IL_REGTYPE_LAST) : it->second;
}
} // namespace ShaderUtils
