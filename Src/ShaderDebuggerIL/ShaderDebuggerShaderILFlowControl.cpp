// The per-instruction half of the analysis: the tree of flow-control constructs, functions and
// the outline macro, the instructions that the debugger refuses, and the register written.

#include "ShaderDebuggerHost.h"
#include "ShaderDebuggerIL/ShaderDebuggerShaderIL.h"
#include "ShaderUtils/IL/ILFormat.h"
#include "ShaderUtils/IL/ILShaderUtils.h"

#include <new>

namespace XAN_ShaderDebugger
{
using namespace ShaderUtils;

namespace
{
// Analysis refuses an instruction without a text of its own.
const bool REFUSED = false;

// The label of an mdef or mcall.
uint32_t GetMacroLabel(const CShaderDebuggerInstructionIL& instruction)
{
    return GetILControl(instruction.GetOpCodeToken());
}

bool IsIfOpCode(unsigned int nOpCode)
{
    return nOpCode == IL_OP_IFC || nOpCode == IL_OP_IFNZ || nOpCode == IL_OP_IF_LOGICALZ ||
           nOpCode == IL_OP_IF_LOGICALNZ;
}

bool IsRetOpCode(unsigned int nOpCode)
{
    return nOpCode == IL_OP_RET || nOpCode == IL_OP_RET_DYN || nOpCode == IL_OP_RET_LOGICALZ ||
           nOpCode == IL_OP_RET_LOGICALNZ;
}

bool IsGeometryStreamOpCode(unsigned int nOpCode)
{
    return nOpCode == IL_OP_CUT || nOpCode == IL_OP_EMIT || nOpCode == IL_OP_EMITCUT ||
           nOpCode == IL_OP_CUT_STREAM || nOpCode == IL_OP_EMIT_STREAM ||
           nOpCode == IL_OP_EMIT_CUT_SREAM;
}

CIL_FCConstruct* Top(const std::deque<CIL_FCConstruct*>& FCStack)
{
    return FCStack.empty() ? NULL : FCStack.back();
}
} // namespace

template <class TConstruct>
TConstruct* CShaderDebuggerShaderIL::NewConstruct(CIL_FCConstruct* pParent, uint32_t n)
{
    TConstruct* pConstruct = new (std::nothrow) TConstruct(pParent, n);
    if (pConstruct != NULL)
    {
        m_vConstructs.push_back(std::unique_ptr<CIL_FCConstruct>(pConstruct));
    }
    return pConstruct;
}

bool CShaderDebuggerShaderIL::AnalyzeInstruction(const CShaderDebuggerInstructionIL& instruction,
                                                 AnalysisState& state)
{
    const uint32_t n = m_nInstructionCount;
    m_Instructions.push_back(instruction);
    if (state.bInOutlineMacro && m_FunctionStart[m_OutlineMacroLabel] == 0)
    {
        m_FunctionStart[m_OutlineMacroLabel] = n;
    }

    CIL_FCConstruct* pConstruct = Top(state.FCStack);
    bool bHandled = false;
    if (!AnalyzeFlowControl(instruction, n, state, pConstruct, bHandled))
    {
        return false;
    }
    if (!bHandled)
    {
        const unsigned int nOpCode = instruction.GetOpCode();
        if (IsGeometryStreamOpCode(nOpCode) || ILShaderUtils::IsAtomicWithResult(nOpCode))
        {
            return RefuseUnsupported(instruction);
        }
        if (ILShaderUtils::IsUAVStore(nOpCode) && pConstruct != NULL)
        {
            pConstruct->SetHasMemoryWrite();
        }
    }
    if (instruction.GetOpCode() != IL_OP_END)
    {
        m_FCConstructs[n] = pConstruct;
        m_FunctionScope[n] = state.nCurrentFunction;
    }

    AnalyzeDestination(instruction, n, state);
    state.lineNumberMap[0][n] = state.nLineNumber;
    state.lineNumberMap[1][state.nLineNumber] = n;
    ++m_nInstructionCount;
    ++state.nLineNumber;
    return true;
}

bool CShaderDebuggerShaderIL::AnalyzeFlowControl(const CShaderDebuggerInstructionIL& instruction,
                                                 uint32_t n, AnalysisState& state,
                                                 CIL_FCConstruct*& pConstruct, bool& bHandled)
{
    std::deque<CIL_FCConstruct*>& FCStack = state.FCStack;
    CIL_FCConstruct* pTop = Top(FCStack);
    const unsigned int nOpCode = instruction.GetOpCode();
    bHandled = true;

    if (IsIfOpCode(nOpCode) || nOpCode == IL_OP_WHILELOOP || nOpCode == IL_OP_SWITCH)
    {
        CIL_FCConstruct* pNew = NULL;
        if (IsIfOpCode(nOpCode))
        {
            pNew = NewConstruct<CIL_IfElseEndif>(pTop, n);
        }
        else if (nOpCode == IL_OP_SWITCH)
        {
            pNew = NewConstruct<CIL_Switch>(pTop, n);
        }
        else
        {
            pNew = NewConstruct<CIL_Loop>(pTop, n);
            if (pNew != NULL && ++state.nLoopDepth > state.nMaxLoopDepth)
            {
                state.nMaxLoopDepth = state.nLoopDepth;
            }
        }
        if (pNew == NULL)
        {
            return Refuse("Out of memory.", true);
        }
        FCStack.push_back(pNew);
        pConstruct = pNew;
        return true;
    }
    if (IsBreakOpCode(nOpCode))
    {
        if (FCStack.empty())
        {
            return REFUSED;
        }
        // A break leaves the innermost switch or loop; one in an if of a switch is the switch's.
        for (std::deque<CIL_FCConstruct*>::reverse_iterator it = FCStack.rbegin();
             it != FCStack.rend(); ++it)
        {
            if (CIL_Switch* pSwitch = (*it)->AsSwitch())
            {
                pSwitch->m_vBreaks.push_back(n);
                pConstruct = pSwitch;
                break;
            }
            if ((*it)->AsLoop() != NULL)
            {
                break;
            }
        }
        return true;
    }
    if (IsContinueOpCode(nOpCode))
    {
        return !FCStack.empty();
    }
    if (IsRetOpCode(nOpCode))
    {
        return state.bInFunction || state.bInOutlineMacro ? true : Refuse("Invalid shader.", false);
    }

    switch (nOpCode)
    {
    case IL_OP_ELSE:
    case IL_OP_ENDIF:
    {
        CIL_IfElseEndif* pIf = pTop != NULL ? pTop->AsIfElseEndif() : NULL;
        if (pIf == NULL)
        {
            return REFUSED;
        }
        if (nOpCode == IL_OP_ELSE)
        {
            pIf->m_nElse = n;
        }
        else
        {
            pIf->m_nEnd = n;
            FCStack.pop_back();
        }
        return true;
    }
    case IL_OP_LOOP:
        return RefuseUnsupported(instruction);
    case IL_OP_ENDLOOP:
    {
        CIL_Loop* pLoop = pTop != NULL ? pTop->AsLoop() : NULL;
        if (pLoop == NULL)
        {
            return REFUSED;
        }
        pLoop->m_nEnd = n;
        FCStack.pop_back();
        --state.nLoopDepth;
        return true;
    }
    case IL_OP_ENDSWITCH:
    case IL_OP_CASE:
    case IL_OP_DEFAULT:
    {
        CIL_Switch* pSwitch = pTop != NULL ? pTop->AsSwitch() : NULL;
        if (pSwitch == NULL)
        {
            return REFUSED;
        }
        if (nOpCode == IL_OP_ENDSWITCH)
        {
            FCStack.pop_back();
            pSwitch->m_nEnd = n;
        }
        else
        {
            pSwitch->m_vCases.push_back(n);
        }
        return true;
    }
    case IL_OP_END:
        if (!FCStack.empty())
        {
            return Refuse("Invalid shader.", false);
        }
        state.bEndEncountered = true;
        return true;
    case IL_OP_ENDMAIN:
        if (!FCStack.empty())
        {
            return Refuse("Invalid shader.", false);
        }
        state.bEndMainEncountered = true;
        state.bInFunction = false;
        return true;
    case IL_OP_FUNC:
        if (state.bInFunction || state.bInOutlineMacro || !state.bEndMainEncountered)
        {
            return Refuse("Invalid shader.", false);
        }
        state.bInFunction = true;
        state.nCurrentFunction = instruction.GetToken(1);
        m_FunctionStart[state.nCurrentFunction] = n;
        return true;
    case IL_OP_ENDFUNC:
        if (!FCStack.empty())
        {
            return Refuse("Invalid shader.", false);
        }
        state.bInFunction = false;
        return true;
    default:
        // Calls and all other instructions take the innermost construct.
        bHandled = false;
        return true;
    }
}

void CShaderDebuggerShaderIL::AnalyzeDestination(const CShaderDebuggerInstructionIL& instruction,
                                                 uint32_t n, const AnalysisState& state)
{
    const bool bPrivate = IsPrivateUAVWrite(instruction);
    Register reg;
    const bool bHasDest = instruction.GetDestRegister(reg);
    if (bHasDest || bPrivate)
    {
        if (bPrivate)
        {
            Register indexReg = instruction.GetSrcRegister(0);
            if (indexReg.mask == COMP_All)
            {
                indexReg.mask = COMP_x;
            }
            reg.reg = RegisterID(RT_PrivateUAVAccess,
                                 static_cast<int>(GetControlNumber(instruction.GetOpCodeToken())),
                                 0, &indexReg);
        }
        if (reg.reg.pIndexRegister != NULL && !ResolveIndexRegisterToConstant(&reg, n, 100))
        {
            SDU_Log(4,
                    "Indexed temp could not be resolved on line %u, instruction %u. Performance "
                    "may be slow.\n",
                    state.nLineNumber, n);
        }
        m_RegisterOutput[n] = reg;
        for (CIL_FCConstruct* pConstruct : state.FCStack)
        {
            if (CIL_IfElseEndif* pIf = pConstruct->AsIfElseEndif())
            {
                if (pIf->IsInIfBranch(n))
                {
                    pIf->AddIfRegister(reg);
                }
                if (pIf->IsInElseBranch(n))
                {
                    pIf->AddElseRegister(reg);
                }
            }
            else if (CIL_Loop* pLoop = pConstruct->AsLoop())
            {
                pLoop->AddRegister(reg);
            }
            else if (CIL_Switch* pSwitch = pConstruct->AsSwitch())
            {
                pSwitch->AddRegister(reg);
            }
        }
    }

    // A temp that is only read where temps are written stays free for the debugger.
    if (bHasDest && reg.reg.type == RT_Temp)
    {
        if (reg.reg.number >= 0 && static_cast<uint32_t>(reg.reg.number) < NUM_IL_REGISTER_INDICES)
        {
            m_vTempRegisterUsed[reg.reg.number] = true;
        }
        return;
    }
    const unsigned int nSrcCount = instruction.GetSrcRegCount();
    for (unsigned int nSrc = 0; nSrc < nSrcCount; ++nSrc)
    {
        Register src;
        if (instruction.GetSrcRegister(nSrc, src) && src.reg.type == RT_Temp &&
            src.reg.number >= 0 && static_cast<uint32_t>(src.reg.number) < NUM_IL_REGISTER_INDICES)
        {
            m_vTempRegisterUsed[src.reg.number] = true;
        }
    }
}

bool CShaderDebuggerShaderIL::IsPrivateUAVWrite(
    const CShaderDebuggerInstructionIL& instruction) const
{
    const unsigned int nOpCode = instruction.GetOpCode();
    return (nOpCode == IL_OP_UAV_RAW_STORE || nOpCode == IL_OP_UAV_BYTE_STORE ||
            nOpCode == IL_OP_UAV_SHORT_STORE) &&
           m_PrivateUAVs.count(GetControlNumber(instruction.GetOpCodeToken())) != 0;
}

bool CShaderDebuggerShaderIL::AnalyzeMacro(CInputTokenStream<unsigned int>& stream,
                                           const CShaderDebuggerInstructionIL& instruction,
                                           AnalysisState& state)
{
    if (state.bInFunction || state.bInOutlineMacro)
    {
        return REFUSED;
    }
    ++state.nLineNumber;

    std::string strMacroName;
    if (instruction.GetToken(1) & (1u << 16))
    {
        strMacroName = ReadMacroName(stream);
    }
    CShaderDebuggerHost* pHost = GetDebuggerHost();
    const std::string strShaderName =
        pHost != NULL ? pHost->GetShaderName(GetShaderType()) : std::string();
    state.bInOutlineMacro = !strMacroName.empty() && strMacroName == strShaderName;
    if (state.bInOutlineMacro && state.bOutlineMacroEncountered)
    {
        state.bInOutlineMacro = false;
    }
    if (state.bInOutlineMacro)
    {
        state.bOutlineMacroEncountered = true;
        m_OutlineMacroLabel = GetMacroLabel(instruction);
        return true;
    }
    return SkipMacroBody(stream, state) && SkipMacros(stream, state);
}

std::string
CShaderDebuggerShaderIL::ReadMacroName(const CInputTokenStream<unsigned int>& stream) const
{
    unsigned int header[2] = {0, 0};
    if (!stream.PeekTokens(header, 2) || GetILOpCode(header[0]) != IL_OP_COMMENT ||
        header[1] == 0 || header[1] > stream.GetTokenCount())
    {
        return std::string();
    }
    std::vector<unsigned int> vTokens(2 + static_cast<size_t>(header[1]));
    if (!stream.PeekTokens(vTokens.data(), vTokens.size()))
    {
        return std::string();
    }
    const char* pText = reinterpret_cast<const char*>(vTokens.data() + 2);
    const size_t nMax = static_cast<size_t>(header[1]) * sizeof(unsigned int);
    size_t nLength = 0;
    while (nLength < nMax && pText[nLength] != '\0')
    {
        ++nLength;
    }
    return std::string(pText, nLength);
}

bool CShaderDebuggerShaderIL::FindFunctionStart(uint32_t nLabel, uint32_t& nStart) const
{
    std::map<uint32_t, uint32_t>::const_iterator it = m_FunctionStart.find(nLabel);
    if (it == m_FunctionStart.end())
    {
        SDU_Log(4, "Function %u isn't defined, so its call isn't followed.\n", nLabel);
        return false;
    }
    nStart = it->second;
    return true;
}

void CShaderDebuggerShaderIL::AssignOutlineMacroScope(const AnalysisState& state)
{
    if (!state.bOutlineMacroEncountered)
    {
        return;
    }
    const uint32_t nStart = m_FunctionStart[m_OutlineMacroLabel];
    uint32_t nScope = 0;
    for (uint32_t n = 0; n < m_Instructions.size(); ++n)
    {
        const CShaderDebuggerInstructionIL& instruction = m_Instructions[n];
        if (instruction.GetOpCode() == IL_OP_MCALL &&
            GetMacroLabel(instruction) == m_OutlineMacroLabel &&
            (n < nStart || n >= state.nOutlineMacroEnd))
        {
            nScope = m_FunctionScope[n];
            break;
        }
    }
    for (uint32_t n = nStart; n < state.nOutlineMacroEnd; ++n)
    {
        m_FunctionScope[n] = nScope;
    }
}
} // namespace XAN_ShaderDebugger
