#include "ILTextForms.h"

#include "ShaderUtils/IL/ILShaderUtils.h"

#include <array>
#include <cstring>

using namespace ShaderUtils;

namespace XAN_Platform
{
const char g_cILComponentLetters[6] = {'x', 'y', 'z', 'w', '0', '1'};

namespace
{
const char* const g_pRelopNames[] = {"eq", "ne", "gt", "ge", "lt", "le"};

const ILControlField g_IdField = {"id", 16, 10, false, nullptr, 0};
const ILControlField g_A64Field = {"a64", 29, 1, true, nullptr, 0};
const ILControlField g_TypeField = {"type", 26, 2, false, nullptr, 0};
const ILControlField g_ResourceField = {"resource", 16, 8, false, nullptr, 0};
const ILControlField g_SamplerField = {"sampler", 24, 4, false, nullptr, 0};
const ILControlField g_RelopField = {"relop", 16, 3, false, g_pRelopNames, 6};
const ILControlField g_ThreadsField = {"threads", 16, 1, true, nullptr, 0};
const ILControlField g_LdsField = {"lds", 17, 1, true, nullptr, 0};
const ILControlField g_MemoryField = {"memory", 18, 1, true, nullptr, 0};

const ILControlField* const g_pMemoryAccessFields[] = {&g_IdField, &g_A64Field};
const ILControlField* const g_pLocalAccessFields[] = {&g_IdField};
const ILControlField* const g_pResourceDclFields[] = {&g_IdField, &g_TypeField};
const ILControlField* const g_pResourceFields[] = {&g_ResourceField};
const ILControlField* const g_pSampleFields[] = {&g_ResourceField, &g_SamplerField};
const ILControlField* const g_pRelopFields[] = {&g_RelopField};
const ILControlField* const g_pFenceFields[] = {&g_ThreadsField, &g_LdsField, &g_MemoryField};

const char* const g_pTypelessUavTrailing[] = {"stride", "length"};

const char* const g_pShaderTypeNames[] = {"vs", "ps", "gs", "cs", "hs", "ds"};

// The bits of the opcode token in which control fields live: bits 16 to 29,
// and 30 and 31 too where they aren't modifier flags.
const unsigned int CONTROL_BITS = IL_CONTROL_MASK << IL_CONTROL_SHIFT;
const unsigned int ALL_UPPER_BITS = 0xFFFF0000u;

bool StartsWith(const char* pName, const char* pPrefix)
{
    return std::strncmp(pName, pPrefix, std::strlen(pPrefix)) == 0;
}

bool IsOneOf(unsigned int nOpCode, std::initializer_list<unsigned int> codes)
{
    for (unsigned int nCode : codes)
    {
        if (nCode == nOpCode)
        {
            return true;
        }
    }
    return false;
}

template <std::size_t N> void SetFields(ILTextForm& form, const ILControlField* const (&fields)[N])
{
    form.ppFields = fields;
    form.nFields = N;
}

void ChooseFields(unsigned int nOpCode, const char* pName, ILTextForm& form)
{
    if (StartsWith(pName, "uav_") || StartsWith(pName, "srv_") || StartsWith(pName, "append_buf_"))
    {
        SetFields(form, g_pMemoryAccessFields);
    }
    else if (StartsWith(pName, "lds_") || StartsWith(pName, "gds_") ||
             IsOneOf(nOpCode,
                     {IL_OP_DCL_LDS, IL_OP_DCL_GDS, IL_OP_DCL_STRUCT_LDS, IL_OP_DCL_STRUCT_GDS}))
    {
        SetFields(form, g_pLocalAccessFields);
    }
    else if (IsOneOf(nOpCode, {IL_OP_DCL_UAV, IL_OP_DCL_RAW_UAV, IL_OP_DCL_STRUCT_UAV,
                               IL_OP_DCL_ARENA_UAV, IL_OP_DCL_TYPED_UAV, IL_OP_DCL_TYPELESS_UAV,
                               IL_OP_DCL_RESOURCE, IL_OP_DCL_RAW_SRV, IL_OP_DCL_STRUCT_SRV}))
    {
        SetFields(form, g_pResourceDclFields);
    }
    else if (IsOneOf(nOpCode, {IL_OP_LOAD, IL_OP_LOAD_FPTR, IL_OP_RESINFO, IL_OP_BUFINFO,
                               IL_OP_SAMPLEINFO, IL_OP_SAMPLEPOS}))
    {
        SetFields(form, g_pResourceFields);
    }
    else if (ILShaderUtils::IsSampleOp(nOpCode) || StartsWith(pName, "fetch4") ||
             nOpCode == IL_OP_GETLOD)
    {
        SetFields(form, g_pSampleFields);
    }
    else if (IsOneOf(nOpCode, {IL_OP_IFC, IL_OP_BREAKC, IL_OP_CONTINUEC}))
    {
        SetFields(form, g_pRelopFields);
    }
    else if (nOpCode == IL_OP_FENCE)
    {
        SetFields(form, g_pFenceFields);
    }
}

ILTextShape ChooseShape(unsigned int nOpCode)
{
    switch (nOpCode)
    {
    case IL_OP_COMMENT:
        return IL_SHAPE_COMMENT;
    case IL_OP_MDEF:
        return IL_SHAPE_MDEF;
    case IL_OP_MCALL:
        return IL_SHAPE_MCALL;
    case IL_OP_DCL_NUM_THREAD_PER_GROUP:
        return IL_SHAPE_COUNT;
    case IL_OP_DCL_CB:
        return IL_SHAPE_CB;
    case IL_OP_DCL_WAVESIZE:
        return IL_SHAPE_CONTROL_VALUE;
    default:
        return IL_SHAPE_PLAIN;
    }
}

void FindExtendedForm(unsigned int nOpCode, ILTextForm& form)
{
    for (std::size_t i = 0; i < g_nILMainOpCodeTableSize; ++i)
    {
        const ILOpCodeDesc& desc = g_ILMainOpCodeTable[i];
        if (desc.nOpCode > IL_OPCODE_MASK && GetILOpCode(desc.nOpCode) == nOpCode)
        {
            form.pExtendedName = desc.pName;
            form.nExtendedBit = desc.nOpCode & ~IL_OPCODE_MASK;
        }
    }
}

ILTextForm MakeForm(unsigned int nOpCode)
{
    ILTextForm form;
    const ILOpCodeDesc* pDesc = FindOpCodeDesc(nOpCode);
    if (pDesc == nullptr)
    {
        return form;
    }
    form.shape = ChooseShape(nOpCode);
    form.bModifierFlags = ILShaderUtils::HasModifierTokens(nOpCode);
    form.bDeclaration = ILShaderUtils::IsDeclaration(nOpCode);
    form.bHexValues = IsOneOf(
        nOpCode, {IL_OP_DCL_LITERAL, IL_OP_DCL_CB, IL_OP_DCL_RESOURCE, IL_OP_DCL_TYPED_UAV});
    if (nOpCode == IL_OP_DCL_TYPELESS_UAV)
    {
        form.ppTrailingNames = g_pTypelessUavTrailing;
        form.nTrailingNames = 2;
    }
    ChooseFields(nOpCode, pDesc->pName, form);
    FindExtendedForm(nOpCode, form);

    unsigned int nUsed = form.nExtendedBit;
    for (unsigned int i = 0; i < form.nFields; ++i)
    {
        const ILControlField& field = *form.ppFields[i];
        nUsed |= ((1u << field.nWidth) - 1) << field.nShift;
    }
    if (form.shape == IL_SHAPE_MDEF || form.shape == IL_SHAPE_MCALL ||
        form.shape == IL_SHAPE_COUNT || form.shape == IL_SHAPE_CONTROL_VALUE)
    {
        nUsed |= CONTROL_BITS;
    }
    form.nFreeBits = (form.bModifierFlags ? CONTROL_BITS : ALL_UPPER_BITS) & ~nUsed;
    return form;
}
} // namespace

const ILTextForm& GetILTextForm(unsigned int nOpCode)
{
    static const std::array<ILTextForm, IL_OP_LAST> s_forms = []
    {
        std::array<ILTextForm, IL_OP_LAST> forms;
        for (unsigned int nCode = 0; nCode < IL_OP_LAST; ++nCode)
        {
            forms[nCode] = MakeForm(nCode);
        }
        return forms;
    }();
    static const ILTextForm s_plain;
    return nOpCode < IL_OP_LAST ? s_forms[nOpCode] : s_plain;
}

const char* GetILTextRegTypeName(unsigned int nType)
{
    switch (nType)
    {
    case IL_REGTYPE_INPUT:
        return "v_in";
    case IL_REGTYPE_OUTPUT:
        return "o_out";
    default:
        return GetILRegTypeName(nType);
    }
}

unsigned int ParseILTextRegTypeName(const std::string& strName)
{
    if (strName == "v_in")
    {
        return IL_REGTYPE_INPUT;
    }
    if (strName == "o_out")
    {
        return IL_REGTYPE_OUTPUT;
    }
    return ParseILRegTypeName(strName);
}

std::string_view TrimILBlanks(std::string_view text)
{
    while (!text.empty() && IsILBlank(text.front()))
    {
        text.remove_prefix(1);
    }
    while (!text.empty() && IsILBlank(text.back()))
    {
        text.remove_suffix(1);
    }
    return text;
}

const char* GetILShaderTypeName(unsigned int nShaderType)
{
    return nShaderType < GetILShaderTypeCount() ? g_pShaderTypeNames[nShaderType] : nullptr;
}

unsigned int GetILShaderTypeCount()
{
    return sizeof(g_pShaderTypeNames) / sizeof(g_pShaderTypeNames[0]);
}
} // namespace XAN_Platform
