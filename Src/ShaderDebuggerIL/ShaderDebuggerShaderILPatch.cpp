// The rewrite of a kernel's tokens into a patched kernel: the code up to the target, the
// capture there, the flow control that is still open closed behind it, and the functions
// behind the target's own kept whole. A function that a work-item can enter more than once is
// kept whole itself, so that each call leaves what the kernel's call leaves: the capture stands
// in place, only in the target's passes of its loops, and each return stores it. The walk
// numbers instructions exactly as the analysis did, so that every table of the analysis
// applies to what the walk reads.

#include "ShaderDebuggerHost.h"
#include "ShaderDebuggerIL/ShaderDebuggerShaderIL.h"
#include "ShaderUtils/IL/ILFormat.h"
#include "ShaderUtils/IL/ILShaderUtils.h"

namespace XAN_ShaderDebugger
{
using namespace ShaderUtils;
using namespace ShaderUtils::ILShaderUtils;

namespace
{
bool IsIfOpCode(unsigned int nOpCode)
{
    return nOpCode == IL_OP_IFC || nOpCode == IL_OP_IFNZ || nOpCode == IL_OP_IF_LOGICALZ ||
           nOpCode == IL_OP_IF_LOGICALNZ;
}

bool IsReturnOpCode(unsigned int nOpCode)
{
    return nOpCode == IL_OP_RET || nOpCode == IL_OP_RET_DYN || nOpCode == IL_OP_ENDFUNC;
}

bool IsCallOpCode(unsigned int nOpCode)
{
    return nOpCode == IL_OP_CALL || nOpCode == IL_OP_CALLNZ || nOpCode == IL_OP_CALL_LOGICALZ ||
           nOpCode == IL_OP_CALL_LOGICALNZ;
}

bool IsInLoop(const CIL_FCConstruct* pConstruct)
{
    for (; pConstruct != NULL; pConstruct = pConstruct->GetParent())
    {
        if (pConstruct->GetType() == FCT_Loop)
        {
            return true;
        }
    }
    return false;
}

bool IsOutputDestination(const CShaderDebuggerInstructionIL& instruction)
{
    const unsigned int nType = instruction.GetDestRegType();
    return nType == IL_REGTYPE_LEGACY_OUTPUT || nType == IL_REGTYPE_OUTPUT;
}

// The stack of open constructs is empty between two rewrites, whatever way one ends, and the
// choice of layout belongs to one rewrite.
class CPatchStateReset
{
public:
    CPatchStateReset(std::stack<uint32_t>& stack, bool& bKeepTargetFunction)
        : m_Stack(stack), m_bKeepTargetFunction(bKeepTargetFunction)
    {
    }
    ~CPatchStateReset()
    {
        while (!m_Stack.empty())
        {
            m_Stack.pop();
        }
        m_bKeepTargetFunction = false;
    }

private:
    std::stack<uint32_t>& m_Stack;
    bool& m_bKeepTargetFunction;
};
} // namespace

bool CShaderDebuggerShaderIL::PatchIL(ILInput& src, ILOutput& dest,
                                      const ProgramCounter& nTargetInstruction,
                                      const std::vector<Register>& vTargetRegs)
{
    SDU_Assert(GetHost(), m_FlowControlStack.empty());
    if (!m_FlowControlStack.empty())
    {
        return false;
    }
    CPatchStateReset stateReset(m_FlowControlStack, m_bKeepTargetFunction);
    // The main program ends with its return: no work-item is ever at its endmain, and the
    // capture behind it would stand outside every function.
    if (nTargetInstruction.m_nPos < m_Instructions.size() &&
        m_Instructions[nTargetInstruction.m_nPos].GetOpCode() == IL_OP_ENDMAIN)
    {
        SDU_Log(3, "The end of the main program can't be a target\n");
        return false;
    }
    // Cut short behind the target, a function that runs again would start from another state.
    m_bKeepTargetFunction =
        nTargetInstruction != g_PC_NULL && IsTargetFunctionRepeated(nTargetInstruction);

    if (!CopyProgramHeader(src, dest))
    {
        return false;
    }

    const bool bCompute = GetShaderType() == ST_Compute;
    bool bInOutlineMacro = false;
    bool bOutlineMacroEncountered = false;
    uint32_t nCurrentInstruction = 0;
    CShaderDebuggerInstructionIL instruction(m_pDebugger);
    while (instruction.ReadInstruction(src))
    {
        const unsigned int nOpCode = instruction.GetOpCode();
        const unsigned int nOpcodeToken = instruction.GetOpCodeToken();
        if (IsDeclaration(nOpCode))
        {
            const bool bDropped =
                nOpCode == IL_OP_DCL_OUTPUT ||
                (bCompute &&
                 (nOpCode == IL_OP_DCL_CB || nOpCode == IL_OP_DCL_RESOURCE ||
                  nOpCode == IL_OP_DCL_UAV || nOpCode == IL_OP_DCL_TYPELESS_UAV ||
                  nOpCode == IL_OP_DCL_TYPED_UAV ||
                  (nOpCode == IL_OP_DCL_RAW_UAV && GetILControl(nOpcodeToken) == m_nRawUAVNum) ||
                  (nOpCode == IL_OP_DCL_ARENA_UAV && GetControlNumber(nOpcodeToken) == 8)));
            if (!bDropped && !instruction.WriteInstruction(dest))
            {
                return false;
            }
            continue;
        }
        if (nOpCode == IL_OP_END)
        {
            return instruction.WriteInstruction(dest);
        }
        if (nOpCode == IL_OP_COMMENT)
        {
            if (!instruction.WriteInstruction(dest))
            {
                return false;
            }
            continue;
        }
        if (nOpCode == IL_OP_MDEF)
        {
            if (!PatchMacro(src, dest, nTargetInstruction, instruction, bInOutlineMacro,
                            bOutlineMacroEncountered))
            {
                return false;
            }
            continue;
        }
        if (nOpCode == IL_OP_MEND)
        {
            bInOutlineMacro = false;
            if (!instruction.WriteInstruction(dest))
            {
                return false;
            }
            continue;
        }
        if (!IsInstruction(nOpCode))
        {
            continue;
        }

        if (nCurrentInstruction >= m_Instructions.size() ||
            nOpCode != m_Instructions[nCurrentInstruction].GetOpCode())
        {
            SDU_Log(3, "Instruction %u doesn't match the analysis\n", nCurrentInstruction);
            return false;
        }
        if (nCurrentInstruction == 0)
        {
            if (nTargetInstruction == g_PC_NULL)
            {
                return WriteInputDump(dest, vTargetRegs) && WriteExecMaskFlag(dest, true) &&
                       WriteDebuggerOutput(dest, 0) && dest.WriteToken(IL_OP_RET_DYN) &&
                       dest.WriteToken(IL_OP_END);
            }
            if (!WriteDebuggerDeclarations(dest, true, nTargetInstruction))
            {
                return false;
            }
        }

        const bool bTarget = nCurrentInstruction == nTargetInstruction.m_nPos;
        if (m_bKeepTargetFunction && !PatchKeptFunction(src, dest, nCurrentInstruction,
                                                        nTargetInstruction, vTargetRegs, false))
        {
            return false;
        }
        if (IsFlowControl(nOpCode))
        {
            if (!PatchFlowControlInstruction(src, dest, nCurrentInstruction, nTargetInstruction,
                                             instruction))
            {
                return false;
            }
        }
        else if (!bTarget)
        {
            // A patched kernel's outputs are the debugger's.
            if (!IsOutputDestination(instruction) && !instruction.WriteInstruction(dest))
            {
                return false;
            }
        }
        else if (instruction.HasDestReg() || IsPrivateUAVWrite(instruction) ||
                 nOpCode == IL_OP_MCALL || m_bKeepTargetFunction)
        {
            CShaderDebuggerInstructionIL target(instruction);
            if (IsOutputDestination(target))
            {
                const Register output = target.GetDestRegister();
                target.ReplaceDestRegister(Register(
                    RegisterID(RT_Temp, static_cast<int>(m_nOutputTempReg), 0, NULL), output.mask));
            }
            else if (!IsPrivateUAVWrite(instruction) && instruction.HasDestReg())
            {
                const Register written = GetRegisterOutput(nTargetInstruction);
                const Register dest = instruction.GetDestRegister();
                SDU_Assert(GetHost(), written.reg.type == dest.reg.type &&
                                          written.reg.number == dest.reg.number &&
                                          written.mask == dest.mask);
            }
            if (!target.WriteInstruction(dest))
            {
                return false;
            }
        }

        if (m_bKeepTargetFunction)
        {
            if (!PatchKeptFunction(src, dest, nCurrentInstruction, nTargetInstruction, vTargetRegs,
                                   true))
            {
                return false;
            }
        }
        else if (bTarget)
        {
            return PatchTarget(src, dest, nCurrentInstruction, nTargetInstruction, vTargetRegs,
                               instruction);
        }
        ++nCurrentInstruction;
    }
    return false;
}

bool CShaderDebuggerShaderIL::PatchMacro(ILInput& src, ILOutput& dest,
                                         const ProgramCounter& nTargetInstruction,
                                         const CShaderDebuggerInstructionIL& instruction,
                                         bool& bInOutlineMacro, bool& bOutlineMacroEncountered)
{
    if (!instruction.WriteInstruction(dest) || bInOutlineMacro)
    {
        return false;
    }
    std::string strMacroName;
    if (instruction.GetToken(1) & (1u << 16))
    {
        strMacroName = ReadMacroName(src);
    }
    CShaderDebuggerHost* pHost = GetDebuggerHost();
    const std::string strShaderName =
        pHost != NULL ? pHost->GetShaderName(GetShaderType()) : std::string();
    bInOutlineMacro =
        !strMacroName.empty() && strMacroName == strShaderName && !bOutlineMacroEncountered;
    if (!bInOutlineMacro)
    {
        return CopyMacroBody(src, dest) && CopyMacros(src, dest);
    }
    bOutlineMacroEncountered = true;
    if (GetILControl(instruction.GetOpCodeToken()) != m_OutlineMacroLabel)
    {
        return false;
    }
    return CopyComment(src, dest) && WriteDebuggerLiterals(dest) &&
           WriteDebuggerLoopLiteralDeclarations(dest, nTargetInstruction) &&
           WriteDebuggerTempReset(dest);
}

bool CShaderDebuggerShaderIL::PatchKeptFunction(ILInput& src, ILOutput& dest,
                                                uint32_t nCurrentInstruction,
                                                const ProgramCounter& nTargetInstruction,
                                                const std::vector<Register>& vTargetRegs,
                                                bool bBehind)
{
    const uint32_t nTarget = nTargetInstruction.m_nPos;
    const bool bTarget = nCurrentInstruction == nTarget;
    const unsigned int nOpCode = m_Instructions[nCurrentInstruction].GetOpCode();
    if (bBehind)
    {
        if (bTarget && !IsReturnOpCode(nOpCode) && !IsSwitchOrSwitchBreak(nTargetInstruction))
        {
            return CopyComment(src, dest) &&
                   WriteInlineCapture(dest, nTargetInstruction, &vTargetRegs);
        }
        return nCurrentInstruction != GetFlagPosition(nTargetInstruction) ||
               WriteInlineCapture(dest, nTargetInstruction, NULL);
    }
    // A returning target is captured before it returns, and every return of the function
    // stores what the last capture holds, whichever call made it.
    if (bTarget && IsReturnOpCode(nOpCode) &&
        !WriteInlineCapture(dest, nTargetInstruction, &vTargetRegs))
    {
        return false;
    }
    // An endfunc right behind a return is never reached.
    const bool bReachedEnd = nOpCode != IL_OP_ENDFUNC || nCurrentInstruction == 0 ||
                             (m_Instructions[nCurrentInstruction - 1].GetOpCode() != IL_OP_RET &&
                              m_Instructions[nCurrentInstruction - 1].GetOpCode() != IL_OP_RET_DYN);
    const bool bReturn = (IsReturnOpCode(nOpCode) && bReachedEnd) ||
                         nOpCode == IL_OP_RET_LOGICALZ || nOpCode == IL_OP_RET_LOGICALNZ;
    std::map<uint32_t, uint32_t>::const_iterator itScope =
        m_FunctionScope.find(nCurrentInstruction);
    std::map<uint32_t, uint32_t>::const_iterator itTargetScope = m_FunctionScope.find(nTarget);
    return !bReturn || itScope == m_FunctionScope.end() || itTargetScope == m_FunctionScope.end() ||
           itScope->second != itTargetScope->second ||
           WriteDebuggerOutput(dest, nCurrentInstruction);
}

bool CShaderDebuggerShaderIL::IsTargetFunctionRepeated(
    const ProgramCounter& nTargetInstruction) const
{
    std::map<uint32_t, uint32_t>::const_iterator it =
        m_FunctionScope.find(nTargetInstruction.m_nPos);
    std::set<uint32_t> callers;
    return it != m_FunctionScope.end() && IsFunctionRepeated(it->second, callers);
}

bool CShaderDebuggerShaderIL::IsFunctionRepeated(uint32_t nLabel, std::set<uint32_t>& callers) const
{
    // A function met again on the way to the main program calls itself.
    if (!callers.insert(nLabel).second)
    {
        return true;
    }
    uint32_t nCalls = 0;
    for (uint32_t n = 0; n < m_Instructions.size(); ++n)
    {
        const CShaderDebuggerInstructionIL& instruction = m_Instructions[n];
        if (!IsCallOpCode(instruction.GetOpCode()) ||
            instruction.GetToken(instruction.GetLength() - 1) != nLabel)
        {
            continue;
        }
        std::map<uint32_t, CIL_FCConstruct*>::const_iterator itConstruct = m_FCConstructs.find(n);
        std::map<uint32_t, uint32_t>::const_iterator itScope = m_FunctionScope.find(n);
        if (++nCalls > 1 ||
            (itConstruct != m_FCConstructs.end() && IsInLoop(itConstruct->second)) ||
            (itScope != m_FunctionScope.end() && IsFunctionRepeated(itScope->second, callers)))
        {
            return true;
        }
    }
    return false;
}

bool CShaderDebuggerShaderIL::PatchTarget(ILInput& src, ILOutput& dest,
                                          uint32_t nCurrentInstruction,
                                          const ProgramCounter& nTargetInstruction,
                                          const std::vector<Register>& vTargetRegs,
                                          const CShaderDebuggerInstructionIL& instruction)
{
    // A target that returns goes behind the capture, so that what it would skip is stored.
    const bool bReturn = IsReturnOpCode(instruction.GetOpCode());
    if (!bReturn && !CopyComment(src, dest))
    {
        return false;
    }
    if (!IsSwitchOrSwitchBreak(nTargetInstruction) &&
        !(WriteTargetRegisterSelect(dest, vTargetRegs) && WriteExecMaskFlag(dest, true)))
    {
        return false;
    }
    if (!FinalizeFlowControl(src, dest, nCurrentInstruction, nTargetInstruction) ||
        !WriteDebuggerOutput(dest, nTargetInstruction.m_nPos) || !dest.WriteToken(IL_OP_RET_DYN))
    {
        return false;
    }
    if (bReturn && !(instruction.WriteInstruction(dest) && CopyComment(src, dest)))
    {
        return false;
    }
    return FinalizeFunctions(src, dest, instruction.GetOpCode() == IL_OP_ENDFUNC) &&
           dest.WriteToken(IL_OP_END);
}

bool CShaderDebuggerShaderIL::PatchFlowControlInstruction(
    ILInput& src, ILOutput& dest, uint32_t nCurrentInstruction,
    const ProgramCounter& nTargetInstruction, const CShaderDebuggerInstructionIL& instruction)
{
    const unsigned int nOpCode = instruction.GetOpCode();
    std::map<uint32_t, CIL_FCConstruct*>::const_iterator itConstruct =
        m_FCConstructs.find(nCurrentInstruction);
    CIL_Loop* pLoop = nOpCode == IL_OP_WHILELOOP && itConstruct != m_FCConstructs.end() &&
                              itConstruct->second != NULL
                          ? itConstruct->second->AsLoop()
                          : NULL;
    switch (nOpCode)
    {
    case IL_OP_BREAK:
    case IL_OP_BREAKC:
    case IL_OP_BREAK_LOGICALZ:
    case IL_OP_BREAK_LOGICALNZ:
    case IL_OP_CONTINUE:
    case IL_OP_CONTINUEC:
    case IL_OP_CONTINUE_LOGICALZ:
    case IL_OP_CONTINUE_LOGICALNZ:
    case IL_OP_CALL:
    case IL_OP_CALLNZ:
    case IL_OP_CALL_LOGICALZ:
    case IL_OP_CALL_LOGICALNZ:
    case IL_OP_FUNC:
    case IL_OP_CASE:
    case IL_OP_DEFAULT:
    case IL_OP_RET_LOGICALZ:
    case IL_OP_RET_LOGICALNZ:
        break;
    case IL_OP_IFC:
    case IL_OP_IFNZ:
    case IL_OP_IF_LOGICALZ:
    case IL_OP_IF_LOGICALNZ:
    case IL_OP_SWITCH:
        m_FlowControlStack.push(nCurrentInstruction);
        break;
    case IL_OP_ELSE:
        PopFlowControlUntil({IL_OP_IFC, IL_OP_IFNZ, IL_OP_IF_LOGICALZ, IL_OP_IF_LOGICALNZ});
        m_FlowControlStack.push(nCurrentInstruction);
        break;
    case IL_OP_ENDIF:
        PopFlowControlUntil(
            {IL_OP_IFC, IL_OP_IFNZ, IL_OP_IF_LOGICALZ, IL_OP_IF_LOGICALNZ, IL_OP_ELSE});
        break;
    case IL_OP_ENDLOOP:
        PopFlowControlUntil({IL_OP_WHILELOOP});
        break;
    case IL_OP_ENDSWITCH:
        PopFlowControlUntil({IL_OP_SWITCH});
        break;
    case IL_OP_RET:
    case IL_OP_RET_DYN:
    case IL_OP_ENDFUNC:
        // The tail writes a returning target behind the capture.
        if (nCurrentInstruction == nTargetInstruction.m_nPos && !m_bKeepTargetFunction)
        {
            return true;
        }
        break;
    case IL_OP_WHILELOOP:
    {
        m_FlowControlStack.push(nCurrentInstruction);
        LoopState state;
        if (pLoop != NULL && IsTargetInLoop(nTargetInstruction, *pLoop) &&
            nTargetInstruction.GetLoopState(pLoop->GetStart(), &state) &&
            !WriteLoopCountInit(dest, *pLoop,
                                GetTargetLoopFrom(pLoop->GetParent(), nTargetInstruction)))
        {
            return false;
        }
        break;
    }
    default:
        SDU_ReportAssert(GetHost(), "Unrecognized flow control instruction", __FILE__, __LINE__,
                         __PRETTY_FUNCTION__);
        return false;
    }

    if (!instruction.WriteInstruction(dest))
    {
        return false;
    }

    if (nOpCode == IL_OP_FUNC)
    {
        unsigned int nToken = 0;
        if (!src.PeekToken(nToken) || !CopyComment(src, dest))
        {
            return false;
        }
        std::map<uint32_t, uint32_t>::const_iterator itScope =
            m_FunctionScope.find(nCurrentInstruction);
        // A function without declarations of its own is no failure.
        PatchFunctionDeclarations(dest, itScope != m_FunctionScope.end() ? itScope->second : 0);
    }
    else if (pLoop != NULL && IsTargetInLoop(nTargetInstruction, *pLoop))
    {
        return WriteLoopCountCheck(dest, *pLoop);
    }
    return true;
}

void CShaderDebuggerShaderIL::PopFlowControlUntil(std::initializer_list<unsigned int> opCodes)
{
    while (!m_FlowControlStack.empty())
    {
        const uint32_t nPopped = m_FlowControlStack.top();
        m_FlowControlStack.pop();
        const unsigned int nOpCode =
            nPopped < m_Instructions.size() ? m_Instructions[nPopped].GetOpCode() : IL_OP_END;
        for (unsigned int nWanted : opCodes)
        {
            if (nOpCode == nWanted)
            {
                return;
            }
        }
    }
}

bool CShaderDebuggerShaderIL::IsTargetInLoop(const ProgramCounter& nTargetInstruction,
                                             const CIL_Loop& loop) const
{
    return loop.GetStart() <= nTargetInstruction.m_nPos &&
           nTargetInstruction.m_nPos < loop.GetEnd();
}

const CIL_Loop*
CShaderDebuggerShaderIL::GetTargetLoopFrom(CIL_FCConstruct* pConstruct,
                                           const ProgramCounter& nTargetInstruction) const
{
    for (; pConstruct != NULL; pConstruct = pConstruct->GetParent())
    {
        const CIL_Loop* pLoop = pConstruct->AsLoop();
        if (pLoop != NULL && IsTargetInLoop(nTargetInstruction, *pLoop))
        {
            return pLoop;
        }
    }
    return NULL;
}

const CIL_Loop*
CShaderDebuggerShaderIL::GetInnermostTargetLoop(const ProgramCounter& nTargetInstruction) const
{
    std::map<uint32_t, CIL_FCConstruct*>::const_iterator it =
        m_FCConstructs.find(nTargetInstruction.m_nPos);
    return it != m_FCConstructs.end() ? GetTargetLoopFrom(it->second, nTargetInstruction) : NULL;
}

uint32_t CShaderDebuggerShaderIL::GetFlagPosition(const ProgramCounter& nTargetInstruction) const
{
    const uint32_t nTarget = nTargetInstruction.m_nPos;
    std::map<uint32_t, CIL_FCConstruct*>::const_iterator it = m_FCConstructs.find(nTarget);
    CIL_Switch* pSwitch =
        it != m_FCConstructs.end() && it->second != NULL ? it->second->AsSwitch() : NULL;
    if (pSwitch == NULL || !IsSwitchOrSwitchBreak(nTargetInstruction))
    {
        return g_nInvalidInstruction;
    }
    return m_Instructions[nTarget].GetOpCode() == IL_OP_SWITCH ? pSwitch->m_nEnd
                                                               : pSwitch->GetNextCase(nTarget);
}

bool CShaderDebuggerShaderIL::IsSwitchOrSwitchBreak(const ProgramCounter& nTargetInstruction) const
{
    const uint32_t nPos = nTargetInstruction.m_nPos;
    if (nPos >= m_Instructions.size())
    {
        return false;
    }
    const unsigned int nOpCode = m_Instructions[nPos].GetOpCode();
    if (nOpCode == IL_OP_SWITCH)
    {
        return true;
    }
    std::map<uint32_t, CIL_FCConstruct*>::const_iterator it = m_FCConstructs.find(nPos);
    return nOpCode == IL_OP_BREAK && it != m_FCConstructs.end() && it->second != NULL &&
           it->second->GetType() == FCT_Switch;
}

bool CShaderDebuggerShaderIL::FlowControlStackHolds(unsigned int nOpCode) const
{
    std::stack<uint32_t> stack = m_FlowControlStack;
    for (; !stack.empty(); stack.pop())
    {
        if (stack.top() < m_Instructions.size() &&
            m_Instructions[stack.top()].GetOpCode() == nOpCode)
        {
            return true;
        }
    }
    return false;
}

bool CShaderDebuggerShaderIL::CopyConstruct(ILInput& src, ILOutput& dest,
                                            uint32_t& nCurrentInstruction, unsigned int nOpen,
                                            unsigned int nClose, uint32_t nFlagAt)
{
    uint32_t nNesting = 1;
    CShaderDebuggerInstructionIL instruction(m_pDebugger);
    while (nNesting != 0)
    {
        if (!instruction.ReadInstruction(src))
        {
            return false;
        }
        const unsigned int nOpCode = instruction.GetOpCode();
        // Comments and declarations are copied as they stand; they aren't instructions.
        if (!IsInstruction(nOpCode))
        {
            if (!instruction.WriteInstruction(dest))
            {
                return false;
            }
            continue;
        }
        ++nCurrentInstruction;
        if (nCurrentInstruction >= m_Instructions.size() ||
            m_Instructions[nCurrentInstruction].GetOpCode() != nOpCode || nOpCode == IL_OP_END)
        {
            SDU_Log(3, "Instruction %u doesn't match the analysis\n", nCurrentInstruction);
            return false;
        }
        nNesting += nOpCode == nOpen ? 1 : 0;
        nNesting -= nOpCode == nClose ? 1 : 0;
        if (!instruction.WriteInstruction(dest) ||
            (nCurrentInstruction == nFlagAt && !WriteExecMaskFlag(dest, true)))
        {
            return false;
        }
    }
    return true;
}

bool CShaderDebuggerShaderIL::FinalizeFlowControl(ILInput& src, ILOutput& dest,
                                                  uint32_t& nCurrentInstruction,
                                                  const ProgramCounter& nTargetInstruction)
{
    // Loops first: their copy reaches the endloop, which closes whatever is open inside.
    while (FlowControlStackHolds(IL_OP_WHILELOOP))
    {
        const uint32_t nPopped = m_FlowControlStack.top();
        m_FlowControlStack.pop();
        SDU_Log(5, "\t%s\n", m_Instructions[nPopped].GetOpCodeName().c_str());
        if (m_Instructions[nPopped].GetOpCode() == IL_OP_WHILELOOP &&
            !CopyConstruct(src, dest, nCurrentInstruction, IL_OP_WHILELOOP, IL_OP_ENDLOOP,
                           g_nInvalidInstruction))
        {
            return false;
        }
    }

    // Then switches; the flag tells who comes through the endswitch or enters the next case.
    const uint32_t nFlagAt = GetFlagPosition(nTargetInstruction);
    while (FlowControlStackHolds(IL_OP_SWITCH))
    {
        const uint32_t nPopped = m_FlowControlStack.top();
        m_FlowControlStack.pop();
        SDU_Log(5, "\t%s\n", m_Instructions[nPopped].GetOpCodeName().c_str());
        if (m_Instructions[nPopped].GetOpCode() == IL_OP_SWITCH &&
            !CopyConstruct(src, dest, nCurrentInstruction, IL_OP_SWITCH, IL_OP_ENDSWITCH, nFlagAt))
        {
            return false;
        }
    }

    // What is left is if and else: each closes with one endif.
    for (; !m_FlowControlStack.empty(); m_FlowControlStack.pop())
    {
        const unsigned int nOpCode = m_Instructions[m_FlowControlStack.top()].GetOpCode();
        if (IsIfOpCode(nOpCode) || nOpCode == IL_OP_ELSE)
        {
            if (!dest.WriteToken(IL_OP_ENDIF))
            {
                return false;
            }
        }
        else
        {
            SDU_ReportAssert(GetHost(), "Unhandled flow control op", __FILE__, __LINE__,
                             __PRETTY_FUNCTION__);
        }
    }
    return true;
}

bool CShaderDebuggerShaderIL::FinalizeFunctions(ILInput& src, ILOutput& dest,
                                                bool bEndOfFunctionEncountered)
{
    CShaderDebuggerInstructionIL instruction(m_pDebugger);
    // The rest of the target's function goes, up to its end.
    while (!bEndOfFunctionEncountered)
    {
        if (!instruction.ReadInstruction(src))
        {
            return false;
        }
        const unsigned int nOpCode = instruction.GetOpCode();
        if (nOpCode == IL_OP_END)
        {
            return true;
        }
        if (nOpCode == IL_OP_ENDMAIN || nOpCode == IL_OP_ENDFUNC || nOpCode == IL_OP_MEND)
        {
            if (!instruction.WriteInstruction(dest))
            {
                return false;
            }
            bEndOfFunctionEncountered = true;
        }
    }

    const bool bCompute = GetShaderType() == ST_Compute;
    while (instruction.ReadInstruction(src))
    {
        const unsigned int nOpCode = instruction.GetOpCode();
        if (nOpCode == IL_OP_END)
        {
            return true;
        }
        Register reg;
        const bool bDropped =
            nOpCode == IL_OP_DCL_OUTPUT ||
            (bCompute && nOpCode == IL_OP_DCL_CB && instruction.GetSrcRegister(0, reg) &&
             (reg.reg.number == 0 || reg.reg.number == 1)) ||
            (bCompute && nOpCode == IL_OP_DCL_RAW_UAV &&
             GetILControl(instruction.GetOpCodeToken()) == m_nRawUAVNum);
        if (!bDropped && !instruction.WriteInstruction(dest))
        {
            return false;
        }
    }
    SDU_ReportAssert(GetHost(), "No END encounter before end of shader stream", __FILE__, __LINE__,
                     __PRETTY_FUNCTION__);
    return false;
}
} // namespace XAN_ShaderDebugger
