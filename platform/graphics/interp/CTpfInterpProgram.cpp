#include "CTpfInterpProgram.h"

#include "TpfInterpOps.h"
#include "TpfInterpTypes.h"

namespace XAN_Platform
{
namespace
{
const std::uint32_t MAX_TEMPS = 4096;
const std::uint64_t MAX_GROUP_THREADS = 1024;
const std::uint64_t MAX_GROUP_SHARED_BYTES = 32768;

bool IsExecutable(const TpfInstruction& instruction)
{
    if (instruction.nOpcode == TPF_OPCODE_CUSTOMDATA || instruction.nOpcode == TPF_OP_LABEL)
    {
        return false;
    }
    // Declarations and the hull-shader phase markers carry no work of their own.
    const TpfOpcodeInfo* pInfo = instruction.pInfo;
    if (pInfo == nullptr)
    {
        return true;
    }
    const std::string strName = pInfo->pName;
    return strName.compare(0, 4, "dcl_") != 0 && strName.compare(0, 3, "hs_") != 0;
}

// Whether the operand is one the interpreter can read or write in its place.
bool IsRunnableOperand(const TpfOperand& operand, ETpfInterpKind eKind, size_t nPlace)
{
    const bool bMemory =
        eKind == TPF_OP_LOAD_RAW || eKind == TPF_OP_STORE_RAW || eKind == TPF_OP_ATOMIC;
    switch (operand.nType)
    {
    case TPF_OPERAND_TEMP:
    case TPF_OPERAND_INPUT:
    case TPF_OPERAND_OUTPUT:
    case TPF_OPERAND_INDEXABLE:
    case TPF_OPERAND_IMMEDIATE:
    case TPF_OPERAND_CONSTANT_BUFFER:
    case TPF_OPERAND_IMMEDIATE_BUFFER:
    case TPF_OPERAND_DEPTH:
    case TPF_OPERAND_NULL:
    case TPF_OPERAND_SAMPLE_MASK:
        return true;
    case TPF_OPERAND_RESOURCE:
        return eKind == TPF_OP_LOAD_RAW && nPlace == 2;
    case TPF_OPERAND_UAV:
    case TPF_OPERAND_GROUP_SHARED:
        return bMemory && nPlace == (eKind == TPF_OP_LOAD_RAW ? 2 : 0);
    default:
        // Thread-ID registers take no index dimension or one.
        return operand.nType >= TPF_OPERAND_THREAD_ID &&
               operand.nType <= TPF_OPERAND_THREAD_ID_FLAT &&
               operand.nType != TPF_OPERAND_COVERAGE && operand.vIndices.size() <= 1;
    }
}
} // namespace

bool CTpfInterpProgram::Refuse(const std::string& strMessage)
{
    m_strError = strMessage;
    return false;
}

bool CTpfInterpProgram::Fail(std::uint32_t nInstruction, const std::string& strMessage)
{
    m_strError = Describe(nInstruction) + ": " + strMessage;
    return false;
}

std::string CTpfInterpProgram::Describe(std::uint32_t nInstruction) const
{
    std::string strText = "instruction " + std::to_string(nInstruction);
    if (nInstruction < m_vInstructions.size())
    {
        const TpfInstruction& decoded = m_vInstructions[nInstruction].decoded;
        strText += decoded.pInfo != nullptr ? " '" + std::string(decoded.pInfo->pName) + "'"
                                            : " (opcode " + std::to_string(decoded.nOpcode) + ")";
    }
    return strText;
}

bool CTpfInterpProgram::Load(const std::uint32_t* pTokens, size_t nTokens)
{
    *this = CTpfInterpProgram();
    TpfProgram program;
    CTpfDecoder decoder;
    if (pTokens == nullptr || !decoder.DecodeProgram(pTokens, nTokens, program))
    {
        m_strError = pTokens == nullptr ? "no program" : decoder.GetError();
        return false;
    }
    m_nProgramType = program.nVersionToken >> 16;
    if (m_nProgramType != 0 && m_nProgramType != 1 && m_nProgramType != 5)
    {
        return Refuse("program type " + std::to_string(m_nProgramType) +
                      " is none of pixel, vertex and compute");
    }
    for (TpfInstruction& decoded : program.vInstructions)
    {
        if (!IsExecutable(decoded))
        {
            if (!Declare(decoded))
            {
                return false;
            }
            continue;
        }
        TpfInterpInstruction instruction;
        instruction.decoded = std::move(decoded);
        m_vInstructions.push_back(std::move(instruction));
        if (!Admit(m_vInstructions.back()))
        {
            return false;
        }
    }
    return MatchFlow();
}

bool CTpfInterpProgram::Declare(const TpfInstruction& instruction)
{
    if (instruction.nOpcode == TPF_OPCODE_CUSTOMDATA)
    {
        if (instruction.nCustomDataClass == TPF_CUSTOMDATA_ICB)
        {
            m_vImmediates.assign(instruction.vTokens.begin() + 2, instruction.vTokens.end());
        }
        return true;
    }
    if (!instruction.bDecoded)
    {
        return Refuse("declaration with opcode " + std::to_string(instruction.nOpcode) +
                      " at token " + std::to_string(instruction.nOffset) + " isn't known");
    }
    const std::vector<TpfItem>& vItems = instruction.vItems;
    const std::uint32_t nOpcode = instruction.nOpcode;
    // The hardware's limits bound what a thread allocates, whatever a hostile program declares.
    if (nOpcode == TPF_OP_DCL_TEMPS)
    {
        m_nTemps = vItems[0].nWord;
        return m_nTemps <= MAX_TEMPS || Refuse("dcl_temps beyond 4096");
    }
    if (nOpcode == TPF_OP_DCL_INDEXABLE_TEMP)
    {
        m_mapIndexableTemps[vItems[0].nWord] = vItems[0].nWord2;
        return vItems[0].nWord2 <= MAX_TEMPS || Refuse("an indexable temp beyond 4096 registers");
    }
    if (nOpcode == TPF_OP_DCL_THREAD_GROUP)
    {
        for (int i = 0; i < 3; ++i)
        {
            m_anGroupSize[i] = vItems[i].nWord;
        }
        return std::uint64_t(m_anGroupSize[0]) * m_anGroupSize[1] * m_anGroupSize[2] <=
                   MAX_GROUP_THREADS ||
               Refuse("a thread group beyond 1024 threads");
    }
    if (nOpcode == TPF_OP_DCL_TGSM_RAW || nOpcode == TPF_OP_DCL_TGSM_STRUCTURED)
    {
        const TpfOperand& operand = vItems[0].operand;
        const std::uint64_t nBytes = nOpcode == TPF_OP_DCL_TGSM_RAW
                                         ? vItems[1].nWord
                                         : std::uint64_t(vItems[1].nWord) * vItems[2].nWord;
        if (operand.vIndices.empty() || nBytes > MAX_GROUP_SHARED_BYTES)
        {
            return Refuse("group-shared memory beyond 32768 bytes");
        }
        m_mapGroupShared[static_cast<std::uint32_t>(operand.vIndices[0].nImmediate)] =
            static_cast<std::uint32_t>(nBytes);
    }
    else if (nOpcode >= TPF_OP_DCL_INPUT && nOpcode <= TPF_OP_DCL_OUTPUT_SIV)
    {
        const TpfOperand& operand = vItems[0].operand;
        const std::uint32_t nValue =
            vItems.size() > 1 && vItems[1].cShape == 'v' ? vItems[1].nWord : 0;
        if (operand.nType == TPF_OPERAND_INPUT && !operand.vIndices.empty() &&
            operand.vIndices.back().nImmediate < TPF_INTERP_REGISTERS &&
            nOpcode <= TPF_OP_DCL_INPUT_PS_SIV)
        {
            m_mapInputs[static_cast<std::uint32_t>(operand.vIndices.back().nImmediate)] = nValue;
        }
        if (operand.nType == TPF_OPERAND_OUTPUT && !operand.vIndices.empty() &&
            operand.vIndices[0].nImmediate < TPF_INTERP_REGISTERS && nOpcode >= TPF_OP_DCL_OUTPUT)
        {
            m_mapOutputs[static_cast<std::uint32_t>(operand.vIndices[0].nImmediate)] =
                operand.GetComponentMask();
        }
    }
    return true;
}

bool CTpfInterpProgram::Admit(TpfInterpInstruction& instruction)
{
    const std::uint32_t nNumber = static_cast<std::uint32_t>(m_vInstructions.size() - 1);
    const TpfInstruction& decoded = instruction.decoded;
    instruction.pOp = FindTpfInterpOp(decoded.nOpcode);
    if (decoded.pInfo == nullptr)
    {
        return Fail(nNumber, "unknown opcode");
    }
    if (instruction.pOp == nullptr)
    {
        return Fail(nNumber, "not supported by the interpreter");
    }
    if (!decoded.bDecoded)
    {
        return Fail(nNumber, "its tokens don't match its operands");
    }
    const std::vector<const TpfOperand*> vOperands = decoded.GetOperands();
    for (size_t nPlace = 0; nPlace < vOperands.size(); ++nPlace)
    {
        const TpfOperand& operand = *vOperands[nPlace];
        if (!IsRunnableOperand(operand, instruction.pOp->eKind, nPlace))
        {
            const char* pName = GetTpfOperandTypeName(operand.nType);
            return Fail(nNumber, "operand " + std::to_string(nPlace) + " of type " +
                                     (pName != nullptr ? pName : std::to_string(operand.nType)) +
                                     " not supported by the interpreter");
        }
        if (operand.nType == TPF_OPERAND_TEMP &&
            (operand.vIndices.size() != 1 || operand.vIndices[0].nRep != TPF_INDEX_IMM32 ||
             operand.vIndices[0].nImmediate >= m_nTemps))
        {
            return Fail(nNumber, "temp register beyond dcl_temps " + std::to_string(m_nTemps));
        }
        if (operand.nType == TPF_OPERAND_INDEXABLE &&
            (operand.vIndices.size() != 2 || m_mapIndexableTemps.count(static_cast<std::uint32_t>(
                                                 operand.vIndices[0].nImmediate)) == 0))
        {
            return Fail(nNumber, "indexable temp without its declaration");
        }
        if (operand.nType == TPF_OPERAND_GROUP_SHARED && !operand.vIndices.empty() &&
            m_mapGroupShared.count(static_cast<std::uint32_t>(operand.vIndices[0].nImmediate)) == 0)
        {
            return Fail(nNumber, "group-shared memory without its declaration");
        }
    }
    return true;
}

bool CTpfInterpProgram::MatchFlow()
{
    // Open `if`, `else` and `loop` instructions, innermost last.
    std::vector<std::uint32_t> vOpen;
    for (std::uint32_t n = 0; n < m_vInstructions.size(); ++n)
    {
        TpfInterpInstruction& instruction = m_vInstructions[n];
        const std::uint32_t nOpcode = instruction.decoded.nOpcode;
        const std::uint32_t nTopOpcode =
            vOpen.empty() ? TPF_INTERP_NONE : m_vInstructions[vOpen.back()].decoded.nOpcode;
        if (nOpcode == TPF_OP_IF || nOpcode == TPF_OP_LOOP)
        {
            vOpen.push_back(n);
        }
        else if (nOpcode == TPF_OP_ELSE)
        {
            if (nTopOpcode != TPF_OP_IF)
            {
                return Fail(n, "unbalanced flow: no open 'if'");
            }
            m_vInstructions[vOpen.back()].nElse = n;
            instruction.nStart = vOpen.back();
            vOpen.back() = n;
        }
        else if (nOpcode == TPF_OP_ENDIF)
        {
            if (nTopOpcode != TPF_OP_IF && nTopOpcode != TPF_OP_ELSE)
            {
                return Fail(n, "unbalanced flow: no open 'if'");
            }
            TpfInterpInstruction& open = m_vInstructions[vOpen.back()];
            open.nEnd = n;
            if (nTopOpcode == TPF_OP_IF)
            {
                open.nElse = n;
            }
            else
            {
                m_vInstructions[open.nStart].nEnd = n;
            }
            vOpen.pop_back();
        }
        else if (nOpcode == TPF_OP_ENDLOOP)
        {
            if (nTopOpcode != TPF_OP_LOOP)
            {
                return Fail(n, "unbalanced flow: no open 'loop'");
            }
            m_vInstructions[vOpen.back()].nEnd = n;
            instruction.nStart = vOpen.back();
            vOpen.pop_back();
        }
        else if (nOpcode == TPF_OP_BREAK || nOpcode == TPF_OP_BREAKC ||
                 nOpcode == TPF_OP_CONTINUE || nOpcode == TPF_OP_CONTINUEC)
        {
            size_t nLoop = vOpen.size();
            while (nLoop > 0 && m_vInstructions[vOpen[nLoop - 1]].decoded.nOpcode != TPF_OP_LOOP)
            {
                --nLoop;
            }
            if (nLoop == 0)
            {
                return Fail(n, "unbalanced flow: outside any 'loop'");
            }
            instruction.nStart = vOpen[nLoop - 1];
        }
    }
    if (!vOpen.empty())
    {
        return Fail(vOpen.back(), "unbalanced flow: never closed");
    }
    // `break` and `continue` learn their loop's end now that every loop has one.
    for (TpfInterpInstruction& instruction : m_vInstructions)
    {
        const std::uint32_t nOpcode = instruction.decoded.nOpcode;
        if (nOpcode == TPF_OP_BREAK || nOpcode == TPF_OP_BREAKC || nOpcode == TPF_OP_CONTINUE ||
            nOpcode == TPF_OP_CONTINUEC || nOpcode == TPF_OP_ENDLOOP)
        {
            instruction.nEnd = m_vInstructions[instruction.nStart].nEnd;
        }
    }
    return true;
}
} // namespace XAN_Platform
