#include "ILTextForms.h"

#include "ShaderUtils/IL/ILShaderUtils.h"

#include <array>

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

template <std::size_t N> void SetFields(ILTextForm& form, const ILControlField* const (&fields)[N])
{
    form.ppFields = fields;
    form.nFields = N;
}

// The Text column of ILInstructions.def.
enum ERowText
{
    TEXT_PLAIN,
    TEXT_MEMORY,           // uav_, srv_ and append_buf_ operations: id, a64
    TEXT_LOCAL,            // lds_ and gds_ operations and declarations: id
    TEXT_RESOURCE_DCL,     // UAV and resource declarations: id, type
    TEXT_RESOURCE_DCL_HEX, // ... with bit-pattern values
    TEXT_TYPELESS_UAV,     // ... with stride and length as suffixes
    TEXT_RESOURCE,         // load and the resource queries: resource
    TEXT_SAMPLE,           // sample, fetch4 and getlod: resource, sampler
    TEXT_RELOP,
    TEXT_FENCE,
    TEXT_LITERAL, // bit-pattern values
    TEXT_COMMENT,
    TEXT_MDEF,
    TEXT_MCALL,
    TEXT_COUNT,
    TEXT_CB,
    TEXT_CONTROL_VALUE,
};

struct SRowText
{
    unsigned int nOpCode;
    ERowText text;
};

const SRowText g_RowTexts[] = {
#define IL_OPCODE(Name, Value, Mnemonic, Operands, Trailing, Modifiers, Text, Engine)              \
    {IL_OP_##Name, TEXT_##Text},
#include "ShaderUtils/IL/ILInstructions.def"
};

void ApplyRowText(ERowText text, ILTextForm& form)
{
    switch (text)
    {
    case TEXT_PLAIN:
        break;
    case TEXT_MEMORY:
        SetFields(form, g_pMemoryAccessFields);
        break;
    case TEXT_LOCAL:
        SetFields(form, g_pLocalAccessFields);
        break;
    case TEXT_RESOURCE_DCL_HEX:
        form.bHexValues = true;
        SetFields(form, g_pResourceDclFields);
        break;
    case TEXT_TYPELESS_UAV:
        form.ppTrailingNames = g_pTypelessUavTrailing;
        form.nTrailingNames = 2;
        SetFields(form, g_pResourceDclFields);
        break;
    case TEXT_RESOURCE_DCL:
        SetFields(form, g_pResourceDclFields);
        break;
    case TEXT_RESOURCE:
        SetFields(form, g_pResourceFields);
        break;
    case TEXT_SAMPLE:
        SetFields(form, g_pSampleFields);
        break;
    case TEXT_RELOP:
        SetFields(form, g_pRelopFields);
        break;
    case TEXT_FENCE:
        SetFields(form, g_pFenceFields);
        break;
    case TEXT_LITERAL:
        form.bHexValues = true;
        break;
    case TEXT_COMMENT:
        form.shape = IL_SHAPE_COMMENT;
        break;
    case TEXT_MDEF:
        form.shape = IL_SHAPE_MDEF;
        break;
    case TEXT_MCALL:
        form.shape = IL_SHAPE_MCALL;
        break;
    case TEXT_COUNT:
        form.shape = IL_SHAPE_COUNT;
        break;
    case TEXT_CB:
        form.shape = IL_SHAPE_CB;
        form.bHexValues = true;
        break;
    case TEXT_CONTROL_VALUE:
        form.shape = IL_SHAPE_CONTROL_VALUE;
        break;
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

ILTextForm MakeForm(unsigned int nOpCode, ERowText text)
{
    ILTextForm form;
    form.bModifierFlags = ILShaderUtils::HasModifierTokens(nOpCode);
    form.bDeclaration = ILShaderUtils::IsDeclaration(nOpCode);
    ApplyRowText(text, form);
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
        // A code without a row keeps the plain form; of a code's rows the
        // first one counts.
        std::array<ILTextForm, IL_OP_LAST> forms;
        std::array<bool, IL_OP_LAST> made{};
        for (const SRowText& row : g_RowTexts)
        {
            if (row.nOpCode < IL_OP_LAST && !made[row.nOpCode])
            {
                forms[row.nOpCode] = MakeForm(row.nOpCode, row.text);
                made[row.nOpCode] = true;
            }
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
