#include "CILProgramLoader.h"

#include "CILExecutor.h"

#include "ShaderUtils/IL/ILFormat.h"
#include "ShaderUtils/IL/ILInstructionLayout.h"
#include "ShaderUtils/IL/ILShaderUtils.h"

#include <algorithm>
#include <set>
#include <sstream>
#include <string_view>

using namespace ShaderUtils;

namespace XAN_Platform
{
namespace
{
const uint32_t MAX_MACRO_OPERANDS = 255;

std::string OpName(uint32_t nOpCode)
{
    return std::string("'") + GetOpCodeName(nOpCode) + "' (" + std::to_string(nOpCode) + ")";
}

std::string RegisterName(uint32_t nType, int nNumber)
{
    const char* pName = GetILRegTypeName(nType);
    return std::string(pName != nullptr ? pName : "?") + std::to_string(nNumber);
}

bool IsIf(uint32_t nOpCode)
{
    return nOpCode == IL_OP_IFC || nOpCode == IL_OP_IFNZ || nOpCode == IL_OP_IF_LOGICALZ ||
           nOpCode == IL_OP_IF_LOGICALNZ;
}

bool IsBreak(uint32_t nOpCode)
{
    return nOpCode == IL_OP_BREAK || nOpCode == IL_OP_BREAKC || nOpCode == IL_OP_BREAK_LOGICALZ ||
           nOpCode == IL_OP_BREAK_LOGICALNZ;
}

bool IsContinue(uint32_t nOpCode)
{
    return nOpCode == IL_OP_CONTINUE || nOpCode == IL_OP_CONTINUEC ||
           nOpCode == IL_OP_CONTINUE_LOGICALZ || nOpCode == IL_OP_CONTINUE_LOGICALNZ;
}

bool IsCall(uint32_t nOpCode)
{
    return nOpCode == IL_OP_CALL || nOpCode == IL_OP_CALLNZ || nOpCode == IL_OP_CALL_LOGICALZ ||
           nOpCode == IL_OP_CALL_LOGICALNZ;
}

bool IsSpecialInput(uint32_t nType)
{
    return nType >= IL_REGTYPE_V_TID_IN_GRP && nType <= IL_REGTYPE_V_THREAD_GRP_ID_FLAT;
}

// The columns of a launch input and the input they need made per group.
std::pair<uint32_t, uint32_t> SpecialColumn(uint32_t nType)
{
    switch (nType)
    {
    case IL_REGTYPE_V_TID_IN_GRP:
        return {CILProgram::COL_TID_IN_GRP, 0};
    case IL_REGTYPE_V_TID_IN_GRP_FLAT:
        return {CILProgram::COL_TID_IN_GRP_FLAT, 0};
    case IL_REGTYPE_V_ABS_TID:
        return {CILProgram::COL_ABS_TID, CILProgram::INPUT_ABS_TID};
    case IL_REGTYPE_V_ABS_TID_FLAT:
        return {CILProgram::COL_ABS_TID_FLAT, CILProgram::INPUT_ABS_TID_FLAT};
    case IL_REGTYPE_V_THREAD_GRP_ID:
        return {CILProgram::COL_THREAD_GRP_ID, CILProgram::INPUT_THREAD_GRP_ID};
    default:
        return {CILProgram::COL_THREAD_GRP_ID_FLAT, CILProgram::INPUT_THREAD_GRP_ID_FLAT};
    }
}

// Declarations that describe bindings the flat address space makes unnecessary,
// or hints without meaning for this device: IGNORED in the instruction list.
bool IsIgnoredDeclaration(uint32_t nOpCode)
{
    static const std::set<uint32_t> s_Codes = []
    {
        std::set<uint32_t> codes;
#define IL_OPCODE(Name, Value, Mnemonic, Operands, Trailing, Modifiers, Text, Engine)              \
    if (std::string_view(#Engine) == "IGNORED")                                                    \
    {                                                                                              \
        codes.insert(IL_OP_##Name);                                                                \
    }
#include "ShaderUtils/IL/ILInstructions.def"
        return codes;
    }();
    return s_Codes.count(nOpCode) != 0;
}

// dcl_wavesize is no declaration to the opcode predicates, but it declares
// (nothing the engine uses).
bool IsDeclarationElement(uint32_t nOpCode)
{
    return ILShaderUtils::IsDeclaration(nOpCode) || IsIgnoredDeclaration(nOpCode);
}
} // namespace

CILProgramLoader::CILProgramLoader(const uint32_t* pTokens, size_t nTokens, CILProgram& program)
    : m_pTokens(pTokens), m_nTokens(pTokens != nullptr ? nTokens : 0), m_nPos(0), m_Program(program)
{
}

bool CILProgramLoader::Load(std::string& strError)
{
    const bool bLoaded =
        Split() && GatherDeclarations() && Build() && ResolveCalls() && CheckRecursion();
    if (bLoaded)
    {
        FindZeroingPrefix();
        FindZeroedColumns();
    }
    strError = m_strError;
    return bLoaded;
}

bool CILProgramLoader::Fail(uint32_t nLine, const std::string& strMessage)
{
    if (m_strError.empty())
    {
        m_strError = "line " + std::to_string(nLine) + ": " + strMessage;
    }
    return false;
}

// ---------------------------------------------------------------------------
// Pass 1: elements.

bool CILProgramLoader::Split()
{
    uint32_t nLine = 1;
    // Leading macros, each from mdef to mend.
    while (m_nPos < m_nTokens && GetILOpCode(m_pTokens[m_nPos]) == IL_OP_MDEF)
    {
        if (!ReadElementsThrough(IL_OP_MEND, nLine, "a macro has no mend"))
        {
            return false;
        }
    }

    SRawElement header;
    header.eElement = E_Header;
    header.nLine = nLine++;
    if (m_nPos + 2 > m_nTokens)
    {
        return Fail(header.nLine, "the program has no language and version tokens");
    }
    const uint32_t nLanguage = m_pTokens[m_nPos++];
    const uint32_t nVersion = m_pTokens[m_nPos++];
    if (nLanguage >= IL_LANGUAGE_LIMIT || (nVersion & 0xFFFFu) == 0)
    {
        return Fail(header.nLine, "the language or version token is not valid");
    }
    if (((nVersion >> IL_VERSION_SHADER_TYPE_SHIFT) & IL_VERSION_FIELD_MASK) != IL_SHADER_COMPUTE)
    {
        return Fail(header.nLine, "only compute kernels (il_cs) can run on this device");
    }
    m_vElements.push_back(std::move(header));

    if (!ReadElementsThrough(IL_OP_END, nLine, "the program has no end"))
    {
        return false;
    }
    if (m_nPos != m_nTokens)
    {
        return Fail(nLine, "tokens follow the end of the program");
    }
    return true;
}

bool CILProgramLoader::ReadElementsThrough(uint32_t nLastOpCode, uint32_t& nLine,
                                           const char* pMissing)
{
    for (;;)
    {
        if (m_nPos >= m_nTokens)
        {
            return Fail(nLine, pMissing);
        }
        SRawElement element;
        element.nLine = nLine++;
        if (!ReadInstruction(element))
        {
            return false;
        }
        const bool bLast = element.OpCode() == nLastOpCode;
        m_vElements.push_back(std::move(element));
        if (bLast)
        {
            return true;
        }
    }
}

bool CILProgramLoader::ReadInstruction(SRawElement& element)
{
    const ILDecodeStatus eStatus =
        DecodeILInstruction(m_pTokens + m_nPos, m_nTokens - m_nPos, m_Layout);
    if (eStatus != IL_DECODE_OK)
    {
        return Fail(element.nLine, GetILDecodeStatusText(eStatus));
    }
    element.nToken = m_Layout.nOpcodeToken;
    element.nInstMod = m_Layout.nInstMod;
    element.bHasDest = m_Layout.bHasDest;
    const uint32_t nOpCode = element.OpCode();
    if (ILShaderUtils::HasModifierTokens(nOpCode) && !HasCountedData(nOpCode) &&
        (m_Layout.nPriModifier != 0 || m_Layout.nSecModifier != 0))
    {
        return Fail(element.nLine, OpName(nOpCode) + " has an instruction modifier");
    }
    element.vOperands.clear();
    if (m_Layout.bHasDest && !ReadOperand(m_Layout.dest, element))
    {
        return false;
    }
    for (const ILOperandLayout& source : m_Layout.vSources)
    {
        if (!ReadOperand(source, element))
        {
            return false;
        }
    }
    if (!HasCountedText(nOpCode))
    {
        const uint32_t* pTrailing = m_pTokens + m_nPos + m_Layout.nTrailingOffset;
        element.vTrailing.assign(pTrailing, pTrailing + m_Layout.nTrailingCount);
    }
    m_nPos += m_Layout.nLength;
    return true;
}

bool CILProgramLoader::ReadOperand(const ILOperandLayout& layout, SRawElement& element)
{
    SRawOperand operand;
    operand.nToken = layout.nToken;
    if ((layout.nToken & IL_REG_EXTENDED) != 0)
    {
        return Fail(element.nLine, "extended operands are not supported");
    }
    if ((layout.nToken & IL_REG_MODIFIER_PRESENT) != 0)
    {
        operand.bModifier = true;
        operand.nModifier = layout.nModifier;
    }
    switch (GetILRelativeAddress(layout.nToken))
    {
    case IL_ADDR_ABSOLUTE:
        if ((layout.nToken & IL_REG_DIMENSION) != 0)
        {
            operand.bHasIndex = true;
            operand.nIndex = layout.nDimension;
        }
        break;
    case IL_ADDR_REG_RELATIVE:
        if (GetILRelativeAddress(layout.nIndexToken) != IL_ADDR_ABSOLUTE ||
            (layout.nIndexToken &
             (IL_REG_DIMENSION | IL_REG_IMMEDIATE_PRESENT | IL_REG_EXTENDED)) != 0)
        {
            return Fail(element.nLine, "the index register of an operand must be a plain register");
        }
        operand.bRegRelative = true;
        operand.nIndexToken = layout.nIndexToken;
        operand.bIndexModifier = (layout.nIndexToken & IL_REG_MODIFIER_PRESENT) != 0;
        operand.nIndexModifier = layout.nIndexModifier;
        break;
    case IL_ADDR_RELATIVE:
        return Fail(element.nLine,
                    "relative addressing through an address register is not supported");
    default:
        break;
    }
    if ((layout.nToken & IL_REG_IMMEDIATE_PRESENT) != 0)
    {
        operand.bHasIndex = true;
        operand.nIndex += layout.nImmediate;
    }
    element.vOperands.push_back(operand);
    return true;
}

// ---------------------------------------------------------------------------
// Pass 2: declarations, registers in use, the register-file layout.

bool CILProgramLoader::GatherDeclarations()
{
    SThreadGroupDeclaration* pGroup = &m_Program.m_MainGroup;
    // A macro runs in the work-group of the function that calls it: what it declares of the
    // group's size is checked and has no effect of its own.
    SThreadGroupDeclaration macroGroup;
    for (const SRawElement& element : m_vElements)
    {
        if (element.eElement == E_Header)
        {
            pGroup = &m_Program.m_MainGroup;
            continue;
        }
        const uint32_t nOpCode = element.OpCode();
        if (nOpCode == IL_OP_MDEF)
        {
            const uint32_t nLabel = GetILControl(element.nToken);
            SMacro macro;
            macro.nLabel = nLabel;
            macro.nInputs = element.nInstMod & IL_INSTMOD_INPUT_MASK;
            macro.nOutputs = element.nInstMod >> IL_INSTMOD_OUTPUT_SHIFT;
            if (macro.nInputs > MAX_MACRO_OPERANDS || macro.nOutputs > 1)
            {
                return Fail(element.nLine,
                            "macro " + std::to_string(nLabel) + " has too many inputs or outputs");
            }
            if (!m_MacroByLabel.emplace(nLabel, m_Program.m_vMacros.size()).second)
            {
                return Fail(element.nLine, "macro " + std::to_string(nLabel) + " is defined twice");
            }
            m_Program.m_vMacros.push_back(macro);
            macroGroup = SThreadGroupDeclaration();
            pGroup = &macroGroup;
        }
        else if (nOpCode == IL_OP_FUNC)
        {
            pGroup = element.vTrailing.empty() ? nullptr
                                               : &m_Program.m_FunctionGroups[element.vTrailing[0]];
        }
        else if (nOpCode == IL_OP_MEND || nOpCode == IL_OP_ENDFUNC || nOpCode == IL_OP_ENDMAIN)
        {
            pGroup = nullptr;
        }
        if (IsDeclarationElement(nOpCode))
        {
            if (!GatherDeclaration(element, pGroup))
            {
                return false;
            }
            continue;
        }
        for (const SRawOperand& operand : element.vOperands)
        {
            if (!GatherOperandUse(operand, element))
            {
                return false;
            }
        }
    }
    LayOutColumns();
    return true;
}

bool CILProgramLoader::GatherDeclaration(const SRawElement& element,
                                         SThreadGroupDeclaration* pGroup)
{
    const uint32_t nOpCode = element.OpCode();
    switch (nOpCode)
    {
    case IL_OP_DCL_LITERAL:
    {
        if (element.vOperands.size() != 1 || element.vTrailing.size() != 4 ||
            GetILRegType(element.vOperands[0].nToken) != IL_REGTYPE_LITERAL)
        {
            return Fail(element.nLine, "dcl_literal must declare one literal and four values");
        }
        const uint32_t nNumber = element.vOperands[0].nToken & IL_REG_NUMBER_MASK;
        auto inserted = m_Literals.emplace(nNumber, element.vTrailing);
        if (!inserted.second && inserted.first->second != element.vTrailing)
        {
            return Fail(element.nLine,
                        "l" + std::to_string(nNumber) + " is declared again with other values");
        }
        return true;
    }
    case IL_OP_DCL_INDEXED_TEMP_ARRAY:
    {
        if (element.vOperands.size() != 1 ||
            GetILRegType(element.vOperands[0].nToken) != IL_REGTYPE_INDEXABLE_TEMP)
        {
            return Fail(element.nLine, "dcl_indexed_temp_array must declare an x register");
        }
        const SRawOperand& operand = element.vOperands[0];
        const uint32_t nNumber = operand.nToken & IL_REG_NUMBER_MASK;
        if (operand.nIndex == 0 || operand.nIndex > CILProgram::MAX_ARRAY_ELEMENTS)
        {
            return Fail(element.nLine, "x" + std::to_string(nNumber) + " must have 1 to " +
                                           std::to_string(CILProgram::MAX_ARRAY_ELEMENTS) +
                                           " elements");
        }
        auto inserted = m_ArrayIds.emplace(nNumber, uint32_t(m_Program.m_vArraySizes.size()));
        if (inserted.second)
        {
            m_Program.m_vArraySizes.push_back(operand.nIndex);
        }
        uint32_t& nSize = m_Program.m_vArraySizes[inserted.first->second];
        nSize = std::max(nSize, operand.nIndex);
        return true;
    }
    case IL_OP_DCL_TYPELESS_UAV:
        if (GetControlType(element.nToken) == 3)
        {
            // Private memory: the second trailing token is its size per work-item.
            const uint32_t nBytes = element.vTrailing.size() == 2 ? element.vTrailing[1] : 0;
            if (nBytes > CILProgram::MAX_PRIVATE_BYTES)
            {
                return Fail(element.nLine, "private memory of " + std::to_string(nBytes) +
                                               " bytes per work-item is more than the " +
                                               std::to_string(CILProgram::MAX_PRIVATE_BYTES) +
                                               " this device has");
            }
            uint32_t& nSize = m_Program.m_PrivateUAVs[GetControlNumber(element.nToken)];
            nSize = std::max(nSize, nBytes);
        }
        return true;
    case IL_OP_DCL_LDS:
    {
        const uint64_t nTotal = uint64_t(m_Program.m_nLocalMemoryBytes) +
                                (element.vTrailing.empty() ? 0u : element.vTrailing[0]);
        if (nTotal > CILProgram::MAX_LOCAL_BYTES)
        {
            return Fail(element.nLine,
                        "local memory of " + std::to_string(nTotal) + " bytes is more than the " +
                            std::to_string(CILProgram::MAX_LOCAL_BYTES) + " this device has");
        }
        m_Program.m_nLocalMemoryBytes = uint32_t(nTotal);
        return true;
    }
    case IL_OP_DCL_MAX_THREAD_PER_GROUP:
        if (pGroup == nullptr || element.vTrailing.size() != 1)
        {
            return Fail(element.nLine, "dcl_max_thread_per_group stands outside a function");
        }
        return SetGroupValue(pGroup->nMaxThreads, element.vTrailing[0], element);
    case IL_OP_DCL_NUM_THREAD_PER_GROUP:
        if (pGroup == nullptr || element.vTrailing.empty() || element.vTrailing.size() > 3)
        {
            return Fail(element.nLine, "dcl_num_thread_per_group needs one to three sizes "
                                       "inside a function");
        }
        for (size_t i = 0; i < 3; ++i)
        {
            const uint32_t nValue = i < element.vTrailing.size() ? element.vTrailing[i] : 1;
            if (!SetGroupValue(pGroup->vNumThreads[i], nValue, element))
            {
                return false;
            }
        }
        return true;
    default:
        if (IsIgnoredDeclaration(nOpCode))
        {
            return true;
        }
        return Fail(element.nLine, OpName(nOpCode) + " cannot be executed on this device");
    }
}

bool CILProgramLoader::SetGroupValue(uint32_t& nValue, uint32_t nNew, const SRawElement& element)
{
    if (nNew == 0)
    {
        return Fail(element.nLine, "a work-group size of 0 is declared");
    }
    if (nValue != 0 && nValue != nNew)
    {
        return Fail(element.nLine, "the function declares its work-group size twice, "
                                   "with different values");
    }
    nValue = nNew;
    return true;
}

bool CILProgramLoader::GatherOperandUse(const SRawOperand& operand, const SRawElement& element)
{
    const uint32_t nTokens[2] = {operand.nToken, operand.nIndexToken};
    for (size_t i = 0; i < (operand.bRegRelative ? 2u : 1u); ++i)
    {
        const uint32_t nType = GetILRegType(nTokens[i]);
        if (nType == IL_REGTYPE_TEMP)
        {
            m_TempSlots.emplace(GetILRegNumber(nTokens[i]), uint32_t(m_TempSlots.size()));
        }
        else if (nType == IL_REGTYPE_LITERAL)
        {
            UniformForLiteral(nTokens[i] & IL_REG_NUMBER_MASK);
        }
    }
    if (GetILRegType(operand.nToken) == IL_REGTYPE_CONST_BUFF && !operand.bRegRelative)
    {
        const uint32_t nBuffer = operand.nToken & IL_REG_NUMBER_MASK;
        if (nBuffer > 1)
        {
            return Fail(element.nLine, "cb" + std::to_string(nBuffer) +
                                           " is not bound on this device (only cb0 and cb1)");
        }
        UniformForConstant(nBuffer, operand.nIndex);
    }
    return true;
}

template <class TKey>
uint32_t CILProgramLoader::FindOrAddUniform(std::map<TKey, uint32_t>& index, const TKey& key,
                                            const SUniformSource& source)
{
    auto inserted = index.emplace(key, uint32_t(m_Program.m_vUniforms.size()));
    if (inserted.second)
    {
        m_Program.m_vUniforms.push_back(source);
    }
    return m_Program.m_vUniforms[inserted.first->second].nColumn;
}

uint32_t CILProgramLoader::UniformForLiteral(uint32_t nNumber)
{
    SUniformSource source;
    source.bLiteral = true;
    source.nRow = nNumber;
    return FindOrAddUniform(m_LiteralUniforms, nNumber, source);
}

uint32_t CILProgramLoader::UniformForConstant(uint32_t nBuffer, uint32_t nRow)
{
    SUniformSource source;
    source.nBuffer = nBuffer;
    source.nRow = nRow;
    return FindOrAddUniform(m_ConstantUniforms, std::make_pair(nBuffer, nRow), source);
}

void CILProgramLoader::LayOutColumns()
{
    uint32_t nColumn = CILProgram::COL_FIRST_UNIFORM;
    for (SUniformSource& uniform : m_Program.m_vUniforms)
    {
        uniform.nColumn = nColumn;
        nColumn += 4;
        if (uniform.bLiteral)
        {
            auto it = m_Literals.find(uniform.nRow);
            if (it != m_Literals.end())
            {
                std::copy(it->second.begin(), it->second.end(), uniform.vValue);
            }
            else
            {
                m_UndeclaredLiterals.insert(uniform.nRow);
            }
        }
    }
    m_Program.m_nFirstTempColumn = nColumn;
    nColumn += uint32_t(m_TempSlots.size()) * 4;
    for (SMacro& macro : m_Program.m_vMacros)
    {
        macro.nInColumn = nColumn;
        nColumn += macro.nInputs * 4;
        macro.nOutColumn = nColumn;
        nColumn += macro.nOutputs * 4;
    }
    m_Program.m_nColumnCount = nColumn;
    for (uint32_t nNumber : m_UndeclaredLiterals)
    {
        m_Program.m_vWarnings.push_back("l" + std::to_string(nNumber) +
                                        " is read but never declared; it reads 0");
    }
}

// ---------------------------------------------------------------------------
// Pass 3: instructions.

bool CILProgramLoader::Build()
{
    SBody body;
    size_t nMacro = 0;
    // The macros are the first nodes of the call graph, in their order, wherever
    // they stand, so that an mcall names its callee's node before its mdef is met.
    m_vCallGraph.resize(m_Program.m_vMacros.size());
    m_vNodeLines.resize(m_Program.m_vMacros.size());
    for (const SRawElement& element : m_vElements)
    {
        const uint32_t nNext = uint32_t(m_Program.m_vInstructions.size());
        if (element.eElement == E_Header)
        {
            body.eKind = SBody::BK_Main;
            body.nNode = m_vCallGraph.size();
            m_vCallGraph.emplace_back();
            m_vNodeLines.push_back(element.nLine);
            m_Program.m_nEntry = nNext;
            continue;
        }
        const uint32_t nOpCode = element.OpCode();
        if (nOpCode == IL_OP_MDEF)
        {
            body.eKind = SBody::BK_Macro;
            body.nMacro = nMacro++;
            body.nNode = body.nMacro;
            m_vNodeLines[body.nNode] = element.nLine;
            m_Program.m_vMacros[body.nMacro].nEntry = nNext;
            continue;
        }
        if (nOpCode == IL_OP_FUNC)
        {
            if (body.eKind != SBody::BK_None)
            {
                return Fail(element.nLine, "func stands inside another function or the main "
                                           "program (endmain or endfunc is missing)");
            }
            body.eKind = SBody::BK_Function;
            body.nLabel = element.vTrailing[0];
            body.nNode = m_vCallGraph.size();
            m_vCallGraph.emplace_back();
            m_vNodeLines.push_back(element.nLine);
            if (!m_FunctionEntries.emplace(body.nLabel, nNext).second)
            {
                return Fail(element.nLine,
                            "function " + std::to_string(body.nLabel) + " is defined twice");
            }
            m_FunctionNodes[body.nLabel] = body.nNode;
            continue;
        }
        if (nOpCode == IL_OP_COMMENT || IsDeclarationElement(nOpCode))
        {
            continue;
        }
        if (body.eKind == SBody::BK_None && nOpCode != IL_OP_END)
        {
            return Fail(element.nLine,
                        OpName(nOpCode) + " stands outside the main program and every function");
        }
        if (!BuildInstruction(element, body))
        {
            return false;
        }
        if (nOpCode == IL_OP_END)
        {
            break;
        }
    }
    return true;
}

bool CILProgramLoader::BuildInstruction(const SRawElement& element, SBody& body)
{
    const uint32_t nOpCode = element.OpCode();
    const SOperationInfo* pInfo = CILExecutor::FindOperation(nOpCode);
    if (pInfo == nullptr)
    {
        return Fail(element.nLine, OpName(nOpCode) + " cannot be executed on this device");
    }
    if ((nOpCode == IL_OP_ENDFUNC && body.eKind != SBody::BK_Function) ||
        (nOpCode == IL_OP_ENDMAIN && body.eKind != SBody::BK_Main) ||
        (nOpCode == IL_OP_MEND && body.eKind != SBody::BK_Macro) ||
        (nOpCode == IL_OP_END && body.eKind != SBody::BK_Main && body.eKind != SBody::BK_None))
    {
        return Fail(element.nLine, OpName(nOpCode) + " doesn't close the body it stands in");
    }

    if (pInfo->bRelation && GetILControl(element.nToken) > REL_LE)
    {
        return Fail(element.nLine, OpName(nOpCode) + " has an unknown relation");
    }

    SInstruction instruction;
    instruction.nOpcode = uint16_t(nOpCode);
    instruction.nControl = GetILControl(element.nToken);
    instruction.nLine = element.nLine;
    instruction.bHasDest = element.bHasDest;
    instruction.nSourceCount = uint16_t(element.vOperands.size() - (element.bHasDest ? 1 : 0));
    instruction.nFirstOperand = uint32_t(m_Program.m_vOperands.size());
    for (size_t i = 0; i < element.vOperands.size(); ++i)
    {
        SOperand operand;
        if (!ResolveOperand(element.vOperands[i], element, body, element.bHasDest && i == 0, *pInfo,
                            operand))
        {
            return false;
        }
        m_Program.m_vOperands.push_back(operand);
    }

    instruction.bDirect =
        pInfo->bLaneWise && element.bHasDest && CanWriteDirectly(instruction, *pInfo);

    if (nOpCode == IL_OP_CASE)
    {
        instruction.nValue = element.vTrailing[0];
    }
    else if (nOpCode == IL_OP_MCALL)
    {
        auto it = m_MacroByLabel.find(instruction.nControl);
        if (it == m_MacroByLabel.end())
        {
            return Fail(element.nLine,
                        "macro " + std::to_string(instruction.nControl) + " is not defined");
        }
        const SMacro& macro = m_Program.m_vMacros[it->second];
        if (macro.nInputs != (element.nInstMod & IL_INSTMOD_INPUT_MASK) ||
            macro.nOutputs != (element.nInstMod >> IL_INSTMOD_OUTPUT_SHIFT))
        {
            return Fail(element.nLine, "mcall passes other inputs or outputs than macro " +
                                           std::to_string(macro.nLabel) + " takes");
        }
        instruction.nTarget = it->second;
        m_vCallGraph[body.nNode].insert(it->second);
    }
    else if (IsCall(nOpCode))
    {
        m_vCalls.push_back(
            {m_Program.m_vInstructions.size(), body.nNode, element.vTrailing[0], element.nLine});
    }
    m_Program.m_vInstructions.push_back(instruction);
    return CheckFlow(element, body);
}

bool CILProgramLoader::CanWriteDirectly(const SInstruction& instruction,
                                        const SOperationInfo& info) const
{
    const SOperand* pOperands = &m_Program.m_vOperands[instruction.nFirstOperand];
    const SOperand& dest = pOperands[0];
    if (dest.nKind != OK_Column)
    {
        return false;
    }
    // 64-bit results are written a whole pair at a time.
    const uint8_t nLow = dest.nMask & 3u;
    const uint8_t nHigh = dest.nMask & 12u;
    if (info.bPairWise && ((nLow != 0 && nLow != 3) || (nHigh != 0 && nHigh != 12)))
    {
        return false;
    }
    // Components are written in order (64-bit ones a pair at a time); no later
    // step may read a component of the destination that an earlier one wrote.
    auto writtenBefore = [&dest, &info](unsigned int k, unsigned int c)
    { return k < 4 && ((dest.nMask >> k) & 1u) != 0 && (info.bPairWise ? k / 2 < c / 2 : k < c); };
    for (uint32_t i = 1; i <= instruction.nSourceCount; ++i)
    {
        const SOperand& source = pOperands[i];
        if (source.bIndexed && source.nIndexColumn - dest.nColumn < 4)
        {
            return false;
        }
        if (source.nKind != OK_Column || source.nColumn != dest.nColumn)
        {
            continue;
        }
        for (unsigned int c = 0; c < 4; ++c)
        {
            if (((dest.nMask >> c) & 1u) != 0 && writtenBefore(source.vSwizzle[c], c))
            {
                return false;
            }
        }
    }
    return true;
}

bool CILProgramLoader::ResolveOperand(const SRawOperand& raw, const SRawElement& element,
                                      const SBody& body, bool bDest, const SOperationInfo& info,
                                      SOperand& operand)
{
    const uint32_t nType = GetILRegType(raw.nToken);
    const int nNumber = GetILRegNumber(raw.nToken);
    const std::string strName = RegisterName(nType, nNumber);

    if (bDest)
    {
        if (raw.bModifier)
        {
            if ((raw.nModifier & ~0xFFu) != 0)
            {
                return Fail(element.nLine, "the destination " + strName +
                                               " has a modifier this device doesn't support");
            }
            operand.nMask = 0;
            for (unsigned int c = 0; c < 4; ++c)
            {
                if (GetILDstComponent(raw.nModifier, c) == IL_DSTMOD_WRITE)
                {
                    operand.nMask |= uint8_t(1u << c);
                }
            }
        }
        if (info.bMemoryDest)
        {
            if (nType != IL_REGTYPE_MEM)
            {
                return Fail(element.nLine,
                            "the destination of " + OpName(element.OpCode()) + " must be mem");
            }
            operand.nKind = OK_Memory;
            return true;
        }
        if (nType != IL_REGTYPE_TEMP && nType != IL_REGTYPE_INDEXABLE_TEMP &&
            nType != IL_REGTYPE_IN && nType != IL_REGTYPE_OUT)
        {
            return Fail(element.nLine, strName + " cannot be written");
        }
    }
    else if (!ResolveSourceModifier(raw, element, info, operand))
    {
        return false;
    }

    if (raw.bRegRelative)
    {
        if (nType != IL_REGTYPE_INDEXABLE_TEMP && nType != IL_REGTYPE_CONST_BUFF)
        {
            return Fail(element.nLine, strName + " cannot be indexed by a register");
        }
        if (!raw.bIndexModifier)
        {
            return Fail(element.nLine, "the index register of " + strName + " has no swizzle");
        }
        const unsigned int nComponent = GetILSwizzle(raw.nIndexModifier, 0);
        bool bReplicated = nComponent <= IL_COMPSEL_W &&
                           (raw.nIndexModifier & ~(0xFFFFu & ~IL_SRC_NEGATE_ALL)) == 0;
        for (unsigned int c = 1; c < 4; ++c)
        {
            bReplicated = bReplicated && GetILSwizzle(raw.nIndexModifier, c) == nComponent;
        }
        if (!bReplicated)
        {
            return Fail(element.nLine,
                        "the index register of " + strName + " must select one component");
        }
        uint32_t nIndexColumn = 0;
        if (!ResolveColumn(GetILRegType(raw.nIndexToken), GetILRegNumber(raw.nIndexToken), element,
                           body, nIndexColumn))
        {
            return false;
        }
        operand.bIndexed = true;
        operand.nIndexColumn = nIndexColumn + nComponent;
    }
    operand.nIndex = raw.nIndex;

    switch (nType)
    {
    case IL_REGTYPE_INDEXABLE_TEMP:
    {
        auto it = m_ArrayIds.find(uint32_t(nNumber));
        if (it == m_ArrayIds.end())
        {
            return Fail(element.nLine, strName + " is used but never declared");
        }
        if (!raw.bHasIndex && !raw.bRegRelative)
        {
            return Fail(element.nLine, strName + " is used without an index");
        }
        operand.nKind = OK_IndexedTemp;
        operand.nColumn = it->second;
        return true;
    }
    case IL_REGTYPE_CONST_BUFF:
        if (nNumber > 1)
        {
            return Fail(element.nLine, "cb" + std::to_string(nNumber) +
                                           " is not bound on this device (only "
                                           "cb0 and cb1)");
        }
        if (raw.bRegRelative)
        {
            operand.nKind = OK_ConstantRelative;
            operand.nColumn = uint32_t(nNumber);
            return true;
        }
        operand.nColumn = UniformForConstant(uint32_t(nNumber), raw.nIndex);
        return true;
    default:
        if (raw.bHasIndex || raw.bRegRelative)
        {
            return Fail(element.nLine, strName + " cannot have an index");
        }
        return ResolveColumn(nType, nNumber, element, body, operand.nColumn);
    }
}

bool CILProgramLoader::ResolveColumn(uint32_t nType, int nNumber, const SRawElement& element,
                                     const SBody& body, uint32_t& nColumn)
{
    const std::string strName = RegisterName(nType, nNumber);
    if (nType == IL_REGTYPE_TEMP)
    {
        nColumn = m_Program.m_nFirstTempColumn + m_TempSlots.at(nNumber) * 4;
        return true;
    }
    if (nType == IL_REGTYPE_LITERAL)
    {
        nColumn = UniformForLiteral(uint32_t(nNumber));
        return true;
    }
    if (IsSpecialInput(nType))
    {
        const std::pair<uint32_t, uint32_t> special = SpecialColumn(nType);
        nColumn = special.first;
        m_Program.m_nUsedInputs |= special.second;
        return true;
    }
    if (nType == IL_REGTYPE_IN || nType == IL_REGTYPE_OUT)
    {
        if (body.eKind != SBody::BK_Macro)
        {
            return Fail(element.nLine, strName + " can only be used inside a macro");
        }
        const SMacro& macro = m_Program.m_vMacros[body.nMacro];
        const bool bIn = nType == IL_REGTYPE_IN;
        if (nNumber < 0 || uint32_t(nNumber) >= (bIn ? macro.nInputs : macro.nOutputs))
        {
            return Fail(element.nLine,
                        "macro " + std::to_string(macro.nLabel) + " has no " + strName);
        }
        nColumn = (bIn ? macro.nInColumn : macro.nOutColumn) + uint32_t(nNumber) * 4;
        return true;
    }
    return Fail(element.nLine, "register " + strName + " cannot be used on this device");
}

bool CILProgramLoader::ResolveSourceModifier(const SRawOperand& raw, const SRawElement& element,
                                             const SOperationInfo& info, SOperand& operand)
{
    if (!raw.bModifier)
    {
        return true;
    }
    const uint32_t nModifier = raw.nModifier;
    if ((nModifier & IL_SRC_MODIFIER_MASK & ~(IL_SRC_NEGATE_ALL | IL_SRC_ABS)) != 0 ||
        (nModifier & ~(0xFFFFu | IL_SRC_MODIFIER_MASK)) != 0)
    {
        return Fail(element.nLine, "a source of " + OpName(element.OpCode()) +
                                       " has a modifier this device doesn't support");
    }
    for (unsigned int c = 0; c < 4; ++c)
    {
        const unsigned int nSwizzle = GetILSwizzle(nModifier, c);
        if (nSwizzle > IL_COMPSEL_1)
        {
            return Fail(element.nLine,
                        "a source of " + OpName(element.OpCode()) + " has an invalid swizzle");
        }
        operand.vSwizzle[c] = uint8_t(nSwizzle);
        if (GetILNegate(nModifier, c))
        {
            operand.nNegate |= uint8_t(1u << c);
        }
    }
    if ((nModifier & IL_SRC_ABS) != 0)
    {
        operand.nAbs = 0xF;
    }
    if (operand.HasModifiers() && info.eClass == VC_Bits)
    {
        return Fail(element.nLine, "the sources of " + OpName(element.OpCode()) +
                                       " cannot be negated or made absolute");
    }
    return true;
}

bool CILProgramLoader::CheckFlow(const SRawElement& element, SBody& body)
{
    std::vector<SInstruction>& vInstructions = m_Program.m_vInstructions;
    const uint32_t nIndex = uint32_t(vInstructions.size() - 1);
    const uint32_t nOpCode = element.OpCode();
    auto topIs = [this, &vInstructions](bool (*pfnTest)(uint32_t))
    { return !m_vOpen.empty() && pfnTest(vInstructions[m_vOpen.back().nInstruction].nOpcode); };
    auto anyOpen = [this, &vInstructions](bool bLoopOnly)
    {
        for (const SOpenConstruct& open : m_vOpen)
        {
            const uint32_t nOpen = vInstructions[open.nInstruction].nOpcode;
            if (nOpen == IL_OP_WHILELOOP || (!bLoopOnly && nOpen == IL_OP_SWITCH))
            {
                return true;
            }
        }
        return false;
    };

    if (IsIf(nOpCode) || nOpCode == IL_OP_WHILELOOP || nOpCode == IL_OP_SWITCH)
    {
        m_vOpen.push_back({nIndex, nIndex, {}, 0});
    }
    else if (nOpCode == IL_OP_ELSE)
    {
        if (!topIs(&IsIf))
        {
            return Fail(element.nLine, "else without an open if");
        }
        vInstructions[m_vOpen.back().nInstruction].nTarget = nIndex;
        m_vOpen.back().nInstruction = nIndex;
    }
    else if (nOpCode == IL_OP_ENDIF)
    {
        if (!topIs([](uint32_t n) { return IsIf(n) || n == IL_OP_ELSE; }))
        {
            return Fail(element.nLine, "endif without an open if");
        }
        vInstructions[m_vOpen.back().nInstruction].nTarget = nIndex;
        m_vOpen.pop_back();
    }
    else if (nOpCode == IL_OP_ENDLOOP)
    {
        if (!topIs([](uint32_t n) { return n == IL_OP_WHILELOOP; }))
        {
            return Fail(element.nLine, "endloop without an open whileloop");
        }
        vInstructions[m_vOpen.back().nInstruction].nTarget = nIndex;
        vInstructions[nIndex].nTarget = m_vOpen.back().nInstruction;
        m_vOpen.pop_back();
    }
    else if (nOpCode == IL_OP_CASE || nOpCode == IL_OP_DEFAULT || nOpCode == IL_OP_ENDSWITCH)
    {
        if (!topIs([](uint32_t n) { return n == IL_OP_SWITCH; }))
        {
            return Fail(element.nLine, OpName(nOpCode) + " without an open switch");
        }
        SOpenConstruct& open = m_vOpen.back();
        vInstructions[open.nLastLabel].nTarget = nIndex;
        open.nLastLabel = nIndex;
        if (nOpCode == IL_OP_CASE)
        {
            open.vCases.push_back(vInstructions[nIndex].nValue);
            open.vCases.push_back(nIndex);
        }
        else if (nOpCode == IL_OP_DEFAULT)
        {
            if (open.nDefault != 0)
            {
                return Fail(element.nLine, "a switch has a second default");
            }
            open.nDefault = nIndex;
        }
        else
        {
            std::vector<uint32_t>& vPool = m_Program.m_vCases;
            vInstructions[open.nInstruction].nValue = uint32_t(vPool.size());
            vPool.push_back(nIndex);
            vPool.push_back(open.nDefault != 0 ? open.nDefault : nIndex);
            vPool.push_back(uint32_t(open.vCases.size() / 2));
            vPool.insert(vPool.end(), open.vCases.begin(), open.vCases.end());
            m_vOpen.pop_back();
        }
    }
    else if (IsBreak(nOpCode) && !anyOpen(false))
    {
        return Fail(element.nLine, OpName(nOpCode) + " outside a whileloop or switch");
    }
    else if (IsContinue(nOpCode) && !anyOpen(true))
    {
        return Fail(element.nLine, OpName(nOpCode) + " outside a whileloop");
    }
    else if (nOpCode == IL_OP_ENDFUNC || nOpCode == IL_OP_ENDMAIN || nOpCode == IL_OP_MEND ||
             nOpCode == IL_OP_END)
    {
        return CloseBody(element, body);
    }
    return true;
}

bool CILProgramLoader::CloseBody(const SRawElement& element, SBody& body)
{
    if (!m_vOpen.empty())
    {
        const SInstruction& open = m_Program.m_vInstructions[m_vOpen.back().nInstruction];
        return Fail(element.nLine, OpName(open.nOpcode) + " of line " + std::to_string(open.nLine) +
                                       " is never closed");
    }
    body.eKind = SBody::BK_None;
    return true;
}

void CILProgramLoader::FindZeroedColumns()
{
    // A column needs zeroing for a new group only where a work-item may read it before writing
    // it. Within one body, lanes join only where a block begins (a construct, else, a case, a
    // loop's next pass, a call), so a read later in the same block as a full write sees that
    // write in every lane that reaches it; writes in callees or across blocks count for nothing.
    const uint32_t nFirst = m_Program.m_nFirstTempColumn;
    std::vector<bool> vZeroed(m_Program.m_nColumnCount, false);
    std::vector<bool> vWritten(m_Program.m_nColumnCount, false);
    std::vector<std::vector<uint32_t>> vBlocks(1);
    std::set<uint32_t> bodyEntries = {m_Program.m_nEntry};
    for (const auto& entry : m_FunctionEntries)
    {
        bodyEntries.insert(entry.second);
    }
    for (const SMacro& macro : m_Program.m_vMacros)
    {
        bodyEntries.insert(macro.nEntry);
    }
    const auto read = [&vZeroed, &vWritten](uint32_t nColumn)
    {
        if (!vWritten[nColumn])
        {
            vZeroed[nColumn] = true;
        }
    };
    const auto closeBlock = [&vBlocks, &vWritten]
    {
        for (uint32_t nColumn : vBlocks.back())
        {
            vWritten[nColumn] = false;
        }
        vBlocks.back().clear();
        if (vBlocks.size() > 1)
        {
            vBlocks.pop_back();
        }
    };
    for (uint32_t nPc = 0; nPc < m_Program.m_vInstructions.size(); ++nPc)
    {
        const SInstruction& instruction = m_Program.m_vInstructions[nPc];
        if (bodyEntries.count(nPc) != 0)
        {
            while (vBlocks.size() > 1 || !vBlocks.back().empty())
            {
                closeBlock();
            }
        }
        const uint32_t nOpCode = instruction.nOpcode;
        if (nOpCode == IL_OP_ELSE || nOpCode == IL_OP_CASE || nOpCode == IL_OP_DEFAULT ||
            nOpCode == IL_OP_ENDIF || nOpCode == IL_OP_ENDLOOP || nOpCode == IL_OP_ENDSWITCH)
        {
            closeBlock();
        }
        const SOperationInfo* pInfo = CILExecutor::FindOperation(nOpCode);
        const SOperand* pDest = instruction.bHasDest && pInfo->bLaneWise
                                    ? &m_Program.m_vOperands[instruction.nFirstOperand]
                                    : nullptr;
        // A lane-wise operation reads only the source components of the positions it writes
        // (of the pairs, for 64-bit ones).
        uint8_t nUsed = 0xF;
        if (pDest != nullptr)
        {
            nUsed = pDest->nMask;
            if (pInfo->bPairWise)
            {
                nUsed |= uint8_t(((nUsed & 0x5) << 1) | ((nUsed & 0xA) >> 1));
            }
        }
        const uint32_t nCount = instruction.nSourceCount + (instruction.bHasDest ? 1u : 0u);
        for (uint32_t i = 0; i < nCount; ++i)
        {
            const SOperand& operand = m_Program.m_vOperands[instruction.nFirstOperand + i];
            if (operand.bIndexed)
            {
                read(operand.nIndexColumn);
            }
            if (operand.nKind != OK_Column || (instruction.bHasDest && i == 0))
            {
                continue;
            }
            for (unsigned int c = 0; c < 4; ++c)
            {
                if (((nUsed >> c) & 1u) != 0 && operand.vSwizzle[c] < 4)
                {
                    read(operand.nColumn + operand.vSwizzle[c]);
                }
            }
        }
        // Only lane-wise operations are sure to write every active lane of their destination;
        // the leading moves of zero are skipped when run untraced.
        const bool bSkipped =
            nPc >= m_Program.m_nEntry && nPc < m_Program.m_nEntry + m_Program.m_nZeroingPrefix;
        if (pDest != nullptr && !bSkipped && pDest->nKind == OK_Column && !pDest->bIndexed &&
            pDest->nColumn >= nFirst)
        {
            for (unsigned int c = 0; c < 4; ++c)
            {
                const uint32_t nColumn = pDest->nColumn + c;
                if (((pDest->nMask >> c) & 1u) != 0 && !vWritten[nColumn])
                {
                    vWritten[nColumn] = true;
                    vBlocks.back().push_back(nColumn);
                }
            }
        }
        if (nOpCode == IL_OP_ELSE || nOpCode == IL_OP_CASE || nOpCode == IL_OP_DEFAULT ||
            IsIf(nOpCode) || nOpCode == IL_OP_WHILELOOP || nOpCode == IL_OP_SWITCH)
        {
            vBlocks.emplace_back();
        }
    }
    // A macro's output is read by the mcall that copies it out.
    for (const SMacro& macro : m_Program.m_vMacros)
    {
        std::fill_n(vZeroed.begin() + macro.nOutColumn, macro.nOutputs * 4, true);
    }
    for (uint32_t nColumn = nFirst; nColumn < vZeroed.size(); ++nColumn)
    {
        if (!vZeroed[nColumn])
        {
            continue;
        }
        if (!m_Program.m_vZeroedColumns.empty() &&
            m_Program.m_vZeroedColumns.back().second == nColumn)
        {
            ++m_Program.m_vZeroedColumns.back().second;
        }
        else
        {
            m_Program.m_vZeroedColumns.emplace_back(nColumn, nColumn + 1);
        }
    }
}

void CILProgramLoader::FindZeroingPrefix()
{
    // A temp starts every work-item at zero, so moving a zero literal into it before anything
    // else runs changes nothing; a patched kernel begins with such moves for all its temps.
    const auto IsZeroLiteral = [this](const SOperand& source, uint8_t nMask)
    {
        const auto it = std::find_if(m_Program.m_vUniforms.begin(), m_Program.m_vUniforms.end(),
                                     [&source](const SUniformSource& uniform)
                                     { return uniform.nColumn == source.nColumn; });
        if (source.nKind != OK_Column || source.bIndexed || source.HasModifiers() ||
            it == m_Program.m_vUniforms.end() || !it->bLiteral)
        {
            return false;
        }
        for (unsigned int c = 0; c < 4; ++c)
        {
            const uint8_t nSwizzle = source.vSwizzle[c];
            const bool bZero = nSwizzle < 4 ? it->vValue[nSwizzle] == 0 : nSwizzle == 4;
            if (((nMask >> c) & 1u) != 0 && !bZero)
            {
                return false;
            }
        }
        return true;
    };
    const std::vector<SInstruction>& vInstructions = m_Program.m_vInstructions;
    uint32_t nPc = m_Program.m_nEntry;
    for (; nPc < vInstructions.size(); ++nPc)
    {
        const SInstruction& instruction = vInstructions[nPc];
        if (instruction.nOpcode != IL_OP_MOV || !instruction.bHasDest ||
            instruction.nSourceCount != 1)
        {
            break;
        }
        const SOperand& dest = m_Program.m_vOperands[instruction.nFirstOperand];
        if (dest.nKind != OK_Column || dest.bIndexed ||
            dest.nColumn < m_Program.m_nFirstTempColumn ||
            !IsZeroLiteral(m_Program.m_vOperands[instruction.nFirstOperand + 1], dest.nMask))
        {
            break;
        }
    }
    m_Program.m_nZeroingPrefix = nPc - m_Program.m_nEntry;
}

bool CILProgramLoader::ResolveCalls()
{
    for (const SCallFixup& call : m_vCalls)
    {
        auto it = m_FunctionEntries.find(call.nLabel);
        if (it == m_FunctionEntries.end())
        {
            return Fail(call.nLine, "call of function " + std::to_string(call.nLabel) +
                                        ", which is not defined");
        }
        m_Program.m_vInstructions[call.nInstruction].nTarget = it->second;
        m_vCallGraph[call.nCaller].insert(m_FunctionNodes.at(call.nLabel));
    }
    return true;
}

bool CILProgramLoader::CheckRecursion()
{
    // Depth-first search over the call graph; a node met again while it is on the
    // path is a recursion, which the lockstep call frames can't hold.
    enum EState : uint8_t
    {
        S_New,
        S_OnPath,
        S_Done,
    };
    std::vector<EState> vState(m_vCallGraph.size(), S_New);
    std::vector<std::pair<size_t, std::set<size_t>::const_iterator>> vPath;
    for (size_t nRoot = 0; nRoot < m_vCallGraph.size(); ++nRoot)
    {
        if (vState[nRoot] != S_New)
        {
            continue;
        }
        vState[nRoot] = S_OnPath;
        vPath.emplace_back(nRoot, m_vCallGraph[nRoot].begin());
        while (!vPath.empty())
        {
            auto& top = vPath.back();
            if (top.second == m_vCallGraph[top.first].end())
            {
                vState[top.first] = S_Done;
                vPath.pop_back();
                continue;
            }
            const size_t nCallee = *top.second++;
            if (vState[nCallee] == S_OnPath)
            {
                return Fail(m_vNodeLines[nCallee], "the function or macro here calls itself, "
                                                   "directly or through others");
            }
            if (vState[nCallee] == S_New)
            {
                vState[nCallee] = S_OnPath;
                vPath.emplace_back(nCallee, m_vCallGraph[nCallee].begin());
            }
        }
    }
    return true;
}
} // namespace XAN_Platform
