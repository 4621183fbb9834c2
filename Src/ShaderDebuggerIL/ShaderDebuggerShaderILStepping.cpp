// Stepping: the position of a run is simulated here for all work-items together, instruction
// by instruction; the device is asked only what the registers held and how many work-items got
// to a position, and that count decides every branch.

#include "ShaderDebuggerHost.h"
#include "ShaderDebuggerIL/ShaderDebuggerIL.h"
#include "ShaderDebuggerIL/ShaderDebuggerShaderIL.h"

#include "ShaderDebuggerIL/ShaderDebuggerUtilsIL.h"
#include "ShaderUtils/IL/ILFormat.h"
#include "ShaderUtils/IL/ILShaderUtils.h"
#include <algorithm>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <iterator>
#include <map>

namespace XAN_ShaderDebugger
{
using namespace ShaderUtils;

namespace
{
void Log(CShaderDebuggerHost* pHost, uint32_t nLevel, const char* pText)
{
    SDU_SetContext(pHost, false, "", __FILE__, __LINE__, __func__);
    SDU_Log(nLevel, "%s", pText);
}

// Returns to the call or mcall on top of the call stack; false with none open.
bool ReturnToCaller(ProgramCounter& next, std::deque<ProgramCounter>& callStack)
{
    if (callStack.empty())
    {
        return false;
    }
    next = callStack.back();
    callStack.pop_back();
    return true;
}

// The walk is back at an mcall: the outputs of the macro exist only inside it, and no kernel
// could read them here. The mcall's destination holds their values.
void DropMacroOutputs(std::map<Register, ProgramCounter>& regPCMap)
{
    for (std::map<Register, ProgramCounter>::iterator it = regPCMap.begin(); it != regPCMap.end();)
    {
        it = it->first.reg.type == RT_Out ? regPCMap.erase(it) : std::next(it);
    }
}

// Goes to the start of the innermost loop for its next iteration.
void NextIteration(ProgramCounter& pc)
{
    LoopState& top = pc.m_vLoopStack.back();
    ++top.nIteration;
    pc.m_nPos = top.nStart;
}

// Goes to the innermost loop's endloop, out of the loop.
void LeaveLoop(ProgramCounter& pc, const CIL_Loop& loop)
{
    pc.m_nPos = loop.m_nEnd;
    pc.m_vLoopStack.pop_back();
}

// Whether a break or continue inside an if or a switch leads out of it to a loop around it. Run
// walks such a construct: the work-items that stay in the loop decide its passes, and a
// work-item that left the loop in an earlier pass still counts at the loop's head.
bool LeadsOutToALoop(const CShaderDebuggerShaderIL& shader, CIL_FCConstruct* pConstruct)
{
    uint32_t nFirst = 0;
    uint32_t nLast = 0;
    if (const CIL_IfElseEndif* pIf = pConstruct->AsIfElseEndif())
    {
        nFirst = pIf->m_nStart;
        nLast = pIf->m_nEnd;
    }
    else if (const CIL_Switch* pSwitch = pConstruct->AsSwitch())
    {
        nFirst = pSwitch->m_nStart;
        nLast = pSwitch->m_nEnd;
    }
    const std::map<uint32_t, CIL_FCConstruct*>& constructs = shader.GetFCConstructs();
    for (uint32_t nPos = nFirst + 1; nPos < nLast; ++nPos)
    {
        const unsigned int nOpCode = shader.GetInstructions()[nPos].GetOpCode();
        const bool bBreak = IsBreakOpCode(nOpCode);
        if (!bBreak && !IsContinueOpCode(nOpCode))
        {
            continue;
        }
        // A break ends the innermost switch or loop, a continue the innermost loop.
        const std::map<uint32_t, CIL_FCConstruct*>::const_iterator it = constructs.find(nPos);
        CIL_FCConstruct* pInner = it != constructs.end() ? it->second : NULL;
        for (; pInner != NULL && pInner != pConstruct && pInner->AsLoop() == NULL &&
               !(bBreak && pInner->AsSwitch() != NULL);
             pInner = pInner->GetParent())
        {
        }
        if (pInner == pConstruct && !(bBreak && pConstruct->AsSwitch() != NULL))
        {
            return true;
        }
    }
    return false;
}

// Whether this pass of the walk found nobody entering the branch or case that holds pc's
// position, inside the loop: a Step runs every if, else and case that it passes.
bool NobodyEntered(const CShaderDebuggerShaderIL& shader, const CIL_Loop& loop, ProgramCounter pc)
{
    const uint32_t nPos = pc.m_nPos;
    const std::map<uint32_t, CIL_FCConstruct*>::const_iterator itConstruct =
        shader.GetFCConstructs().find(nPos);
    CIL_FCConstruct* pConstruct =
        itConstruct != shader.GetFCConstructs().end() ? itConstruct->second : NULL;
    for (; pConstruct != NULL && pConstruct->AsLoop() != &loop;
         pConstruct = pConstruct->GetParent())
    {
        if (const CIL_IfElseEndif* pIf = pConstruct->AsIfElseEndif())
        {
            pc.m_nPos = pIf->IsInElseBranch(nPos) ? pIf->m_nElse : pIf->m_nStart;
        }
        else if (const CIL_Switch* pSwitch = pConstruct->AsSwitch())
        {
            // The case that the position falls under, fall-through included.
            pc.m_nPos = pSwitch->m_nStart;
            for (unsigned int nCase : pSwitch->m_vCases)
            {
                pc.m_nPos = nCase < nPos ? nCase : pc.m_nPos;
            }
        }
        else
        {
            continue;
        }
        const std::map<ProgramCounter, uint32_t>::const_iterator itCount =
            shader.GetExecMaskHistory().find(pc);
        if (itCount != shader.GetExecMaskHistory().end() && itCount->second == 0)
        {
            return true;
        }
    }
    return false;
}

// Whether work-items may have left the pass at pc by a continue of its loop before pc: they come
// back for the next pass though a break has emptied this one. A continue is known to have been
// taken by nobody if this pass ran it with as many work-items behind it as before it, or found
// nobody entering the branch that holds it. Where a Run passed it without a run, the next pass
// is walked to find out.
bool MayHaveContinued(const CShaderDebuggerShaderIL& shader, const CIL_Loop& loop,
                      const ProgramCounter& pc)
{
    const std::map<uint32_t, CIL_FCConstruct*>& constructs = shader.GetFCConstructs();
    const std::map<ProgramCounter, uint32_t>& history = shader.GetExecMaskHistory();
    ProgramCounter at = pc;
    ProgramCounter before = pc;
    for (uint32_t nPos = loop.m_nStart + 1; nPos < pc.m_nPos; ++nPos)
    {
        const std::map<uint32_t, CIL_FCConstruct*>::const_iterator itConstruct =
            constructs.find(nPos);
        const CIL_Loop* pInner = itConstruct != constructs.end() && itConstruct->second != NULL
                                     ? itConstruct->second->AsLoop()
                                     : NULL;
        if (pInner != NULL && pInner->m_nStart == nPos)
        {
            // An inner loop's continues stay in that loop.
            nPos = pInner->m_nEnd;
            continue;
        }
        if (!IsContinueOpCode(shader.GetInstructions()[nPos].GetOpCode()))
        {
            continue;
        }
        at.m_nPos = nPos;
        before.m_nPos = nPos - 1;
        const std::map<ProgramCounter, uint32_t>::const_iterator itAt = history.find(at);
        const std::map<ProgramCounter, uint32_t>::const_iterator itBefore = history.find(before);
        const bool bRanByNobody =
            itAt != history.end() && itBefore != history.end() && itAt->second == itBefore->second;
        if (!bRanByNobody && !NobodyEntered(shader, loop, at))
        {
            return true;
        }
    }
    return false;
}
} // namespace

bool IsBreakOpCode(unsigned int nOpCode)
{
    return nOpCode == IL_OP_BREAK || nOpCode == IL_OP_BREAKC || nOpCode == IL_OP_BREAK_LOGICALZ ||
           nOpCode == IL_OP_BREAK_LOGICALNZ;
}

bool IsContinueOpCode(unsigned int nOpCode)
{
    return nOpCode == IL_OP_CONTINUE || nOpCode == IL_OP_CONTINUEC ||
           nOpCode == IL_OP_CONTINUE_LOGICALZ || nOpCode == IL_OP_CONTINUE_LOGICALNZ;
}

CShaderDebuggerIL* CShaderDebuggerShaderIL::GetILDebugger() const
{
    CShaderDebuggerIL* pDebugger = dynamic_cast<CShaderDebuggerIL*>(m_pDebugger);
    SDU_Assert(GetHost(), pDebugger != NULL);
    return pDebugger;
}

bool CShaderDebuggerShaderIL::IsTracked(const Register& reg) const
{
    if (!m_pDebugger->IsTrackSelectedRegisters())
    {
        return true;
    }
    std::set<std::string> tracked;
    m_pDebugger->GetTrackingRegisters(tracked);
    return tracked.count(GetILRegisterName(reg.reg, false)) != 0;
}

bool CShaderDebuggerShaderIL::StartDebugging(unsigned int nMode)
{
    if (!CShaderDebuggerShader::StartDebugging(nMode))
    {
        return false;
    }
    m_CurrentCallStack.clear();
    const bool didDumpCB = DumpKernelABIConstantBuffer();
    SDU_Assert(GetHost(), didDumpCB);
    if (!didDumpCB)
    {
        return false;
    }
    m_bDumpInputsPending = true;
    m_ExecuteList.clear();
    const uint32_t nPos = m_nCurrentInstruction.m_nPos;
    uint32_t nStart = 0;
    if (nPos < m_Instructions.size() && m_Instructions[nPos].GetOpCode() == IL_OP_CALL &&
        FindFunctionStart(m_Instructions[nPos].GetToken(1), nStart))
    {
        // A run begins in the kernel function, not at the main program's call.
        m_CallStack.push_back(m_nCurrentInstruction);
        m_nCurrentInstruction = ProgramCounter(nStart);
        m_nNextInstruction = m_nCurrentInstruction;
        m_CurrentCallStack = m_CallStack;
    }
    return UpdateExecuteList(false);
}

bool CShaderDebuggerShaderIL::DumpKernelABIConstantBuffer()
{
    CShaderDebuggerIL* pDebugger = GetILDebugger();
    CShaderDebuggerHost* pHost = GetHost();
    if (pDebugger == NULL || pHost == NULL)
    {
        return false;
    }
    void* pDumpCBKernel = NULL;
    size_t nSize = 0;
    if (!CreateCBDumpShader(&pDumpCBKernel, &nSize))
    {
        Log(pHost, 3, "Failed to create cb1 dump kernel.");
        return false;
    }
    const char* pFailure = NULL;
    if (!SetPatchedBinary(pDumpCBKernel, nSize))
    {
        pFailure = "Failed to switch to cb1 dump kernel.";
    }
    else if (!pDebugger->SwitchTargetBuffers())
    {
        pFailure = "Failed to switch target buffer.";
    }
    else if (!pDebugger->SetRegisterSelectorValue(0))
    {
        pFailure = "Failed to set register selector value";
    }
    else if (!pDebugger->BindCBDumpBuffer())
    {
        pFailure = "Failed to bind cbdump device buffer.";
    }
    else if (!pHost->ExecuteShader())
    {
        pFailure = "Failed to execute cb1 dump kernel.";
    }
    else if (!pDebugger->UpdateCBDumpBuffer())
    {
        pFailure = "Failed to update CBDump buffer.";
    }
    std::free(pDumpCBKernel);
    if (pFailure != NULL)
    {
        Log(pHost, 3, pFailure);
        return false;
    }
    return true;
}

bool CShaderDebuggerShaderIL::PostStep()
{
    return PostStepAsm();
}

bool CShaderDebuggerShaderIL::Step()
{
    return StepAsm();
}

bool CShaderDebuggerShaderIL::Back()
{
    return BackAsm();
}

bool CShaderDebuggerShaderIL::Run()
{
    return RunAsm();
}

bool CShaderDebuggerShaderIL::RunBack()
{
    return RunBackAsm();
}

void CShaderDebuggerShaderIL::SetCurrentToNext()
{
    m_nCurrentInstruction = m_nNextInstruction;
    m_CurrentCallStack = m_CallStack;
}

void CShaderDebuggerShaderIL::RecordStep(const ProgramCounter& pc)
{
    if (m_ExecutedSteps.empty() || m_ExecutedSteps.back() != pc)
    {
        m_ExecutedSteps.push_back(pc);
    }
}

bool CShaderDebuggerShaderIL::UpdateNextInst()
{
    ProgramCounter& next = m_nNextInstruction;
    ++next.m_nPos;
    if (next.m_nPos >= m_Instructions.size())
    {
        return false;
    }
    const CShaderDebuggerInstructionIL& instruction = m_Instructions[next.m_nPos];
    const unsigned int nOpCode = instruction.GetOpCode();
    uint32_t nStart = 0;
    switch (nOpCode)
    {
    case IL_OP_CALL:
        if (FindFunctionStart(instruction.GetToken(1), nStart))
        {
            m_CallStack.push_back(next);
            next = ProgramCounter(nStart);
        }
        return true;
    case IL_OP_CALLNZ:
    case IL_OP_CALL_LOGICALZ:
    case IL_OP_CALL_LOGICALNZ:
        Log(GetHost(), 4, "Conditional calls are unsupported");
        return true;
    case IL_OP_MCALL:
        if (GetILControl(instruction.GetOpCodeToken()) == m_OutlineMacroLabel &&
            FindFunctionStart(m_OutlineMacroLabel, nStart))
        {
            m_CallStack.push_back(next);
            next = ProgramCounter(nStart);
        }
        return true;
    case IL_OP_ENDMAIN:
        return false;
    case IL_OP_ENDLOOP:
        if (!next.m_vLoopStack.empty())
        {
            NextIteration(next);
        }
        return true;
    case IL_OP_WHILELOOP:
    {
        CIL_FCConstruct* pConstruct = m_FCConstructs[next.m_nPos];
        CIL_Loop* pLoop = pConstruct != NULL ? pConstruct->AsLoop() : NULL;
        SDU_Assert(GetHost(), pLoop != NULL && pLoop->GetStart() == next.m_nPos);
        if (pLoop != NULL)
        {
            next.EnterLoop(pLoop->m_nStart, pLoop->m_nEnd);
        }
        return true;
    }
    case IL_OP_ENDFUNC:
        return ReturnToCaller(next, m_CallStack);
    // The outline macro's mend isn't an instruction, so the walk on from the macro's last
    // instruction arrives at the func or end behind it. No other walk arrives there: a call
    // jumps to its func directly, and endmain and endfunc end a walk before the end. The macro
    // returns to its mcall, as a function to its call.
    case IL_OP_FUNC:
    case IL_OP_END:
        return !m_CallStack.empty() &&
               m_Instructions[m_CallStack.back().m_nPos].GetOpCode() == IL_OP_MCALL &&
               ReturnToCaller(next, m_CallStack);
    case IL_OP_RET_LOGICALZ:
    case IL_OP_RET_LOGICALNZ:
        Log(GetHost(), 4, "Conditional returns are unsupported");
        return true;
    default:
        if (ILShaderUtils::IsUAVStore(nOpCode))
        {
            m_LastMemoryWrite = next;
        }
        return true;
    }
}

bool CShaderDebuggerShaderIL::PostStepAsm()
{
    if (m_nCurrentInstruction.m_nPos >= m_nLastInstruction)
    {
        return false;
    }
    // The walk starts from the current position, whatever an earlier walk from it did.
    m_nNextInstruction = m_nCurrentInstruction;
    m_CallStack = m_CurrentCallStack;
    if (ChooseNextInstruction())
    {
        return true;
    }
    // Finished: the next position stays the current one, so that a further step answers false.
    m_nNextInstruction = m_nCurrentInstruction;
    m_CallStack = m_CurrentCallStack;
    return false;
}

bool CShaderDebuggerShaderIL::ChooseNextInstruction()
{
    ProgramCounter& next = m_nNextInstruction;
    const uint32_t nPos = m_nCurrentInstruction.m_nPos;
    const unsigned int nOpCode = m_Instructions[nPos].GetOpCode();
    const uint32_t count = m_ExecMaskHistory[m_nCurrentInstruction];
    CIL_FCConstruct* pConstruct = m_FCConstructs[nPos];

    if (nOpCode == IL_OP_RET || nOpCode == IL_OP_RET_DYN)
    {
        return ReturnToCaller(next, m_CallStack);
    }
    if (count > 0)
    {
        return UpdateNextInst();
    }
    CIL_IfElseEndif* pIf = pConstruct != NULL ? pConstruct->AsIfElseEndif() : NULL;
    CIL_Switch* pSwitch = pConstruct != NULL ? pConstruct->AsSwitch() : NULL;
    switch (nOpCode)
    {
    case IL_OP_IFC:
    case IL_OP_IFNZ:
    case IL_OP_IF_LOGICALZ:
    case IL_OP_IF_LOGICALNZ:
        // Nobody takes the branch.
        if (pIf == NULL)
        {
            break;
        }
        next.m_nPos = pIf->GetElseOrEnd();
        return true;
    case IL_OP_ELSE:
        if (pIf == NULL)
        {
            break;
        }
        next.m_nPos = pIf->m_nEnd;
        return true;
    case IL_OP_CASE:
    case IL_OP_DEFAULT:
        if (pSwitch == NULL)
        {
            break;
        }
        next.m_nPos = pSwitch->GetNextCase(nPos);
        return true;
    case IL_OP_ENDLOOP:
        if (next.m_vLoopStack.empty())
        {
            return false;
        }
        ++next.m_nPos;
        next.m_vLoopStack.pop_back();
        return true;
    case IL_OP_WHILELOOP:
    {
        // Nobody began this pass, so nobody is left in the loop: a break emptied the last one.
        CIL_Loop* pLoop = pConstruct != NULL ? pConstruct->AsLoop() : NULL;
        if (pLoop == NULL || next.m_vLoopStack.empty() ||
            next.m_vLoopStack.back().nStart != pLoop->m_nStart)
        {
            break;
        }
        LeaveLoop(next, *pLoop);
        return true;
    }
    // The capture of a break or continue lies behind it: a count of 0 means that every active
    // work-item left.
    default:
        if (IsBreakOpCode(nOpCode) || IsContinueOpCode(nOpCode))
        {
            return LeaveConstructs(pConstruct, IsBreakOpCode(nOpCode));
        }
        break;
    }
    return UpdateNextInst();
}

bool CShaderDebuggerShaderIL::LeaveConstructs(CIL_FCConstruct* pConstruct, bool bBreak)
{
    ProgramCounter& next = m_nNextInstruction;
    const uint32_t nPos = m_nCurrentInstruction.m_nPos;
    for (; pConstruct != NULL; pConstruct = pConstruct->GetParent())
    {
        if (CIL_IfElseEndif* pIf = pConstruct->AsIfElseEndif())
        {
            if (pIf->IsInElseBranch(nPos))
            {
                continue;
            }
            ProgramCounter before = m_nCurrentInstruction;
            before.m_nPos = pIf->m_nStart - 1;
            ProgramCounter at = m_nCurrentInstruction;
            at.m_nPos = pIf->m_nStart;
            // Work-items that didn't take this branch still have to be walked.
            if (m_ExecMaskHistory[at] != m_ExecMaskHistory[before])
            {
                next.m_nPos = pIf->GetElseOrEnd();
                return true;
            }
        }
        else if (CIL_Loop* pLoop = pConstruct->AsLoop())
        {
            if (next.m_vLoopStack.empty())
            {
                return false;
            }
            if (bBreak && !MayHaveContinued(*this, *pLoop, m_nCurrentInstruction))
            {
                LeaveLoop(next, *pLoop);
            }
            else
            {
                // Everybody continued, or broke while others may have continued before: the
                // next pass is a new iteration, or Step would repeat this one forever.
                NextIteration(next);
            }
            return true;
        }
        else if (CIL_Switch* pSwitch = pConstruct->AsSwitch())
        {
            next.m_nPos = pSwitch->GetNextCase(nPos);
            return true;
        }
    }
    return UpdateNextInst();
}

bool CShaderDebuggerShaderIL::StepAsm()
{
    if (m_nNextInstruction == m_nCurrentInstruction ||
        m_nNextInstruction.m_nPos >= m_nLastInstruction)
    {
        return false;
    }
    SetCurrentToNext();
    const unsigned int nOpCode = m_Instructions[m_nCurrentInstruction.m_nPos].GetOpCode();
    const Register reg = GetCurrentRegisterOutput();
    const bool bRunNeeded = reg != g_Reg_NULL && IsTracked(reg);
    if (m_bKernelExecuted && !ILShaderUtils::IsFlowControl(nOpCode) && !bRunNeeded)
    {
        CShaderDebuggerIL* pDebugger = GetILDebugger();
        CShaderDebuggerBuffer* pExecMask = NULL;
        if (pDebugger != NULL && pDebugger->RetrieveExecMaskBuffer(pExecMask))
        {
            // Nothing to read here: the position inherits the mask of the last real run.
            m_ExecuteList.clear();
            UpdateExecMaskHistory(m_nCurrentInstruction, pExecMask);
            delete pExecMask;
            RecordStep(m_nCurrentInstruction);
            return true;
        }
    }
    return UpdateExecuteList(true);
}

bool CShaderDebuggerShaderIL::UpdateExecuteList(bool bClear)
{
    if (bClear)
    {
        m_ExecuteList.clear();
    }
    m_ExecuteList.push_back(PatchPoint(m_nCurrentInstruction, GetCurrentRegisterOutput()));
    return true;
}

void CShaderDebuggerShaderIL::UpdateExecMaskHistory(const ProgramCounter& pc,
                                                    const SUBuffer* pExecMask)
{
    SDU_Assert(GetHost(), pExecMask != NULL);
    if (pExecMask == NULL)
    {
        return;
    }
    // Every plane of a three-dimensional launch counts.
    uint32_t nActive = 0;
    for (uint32_t p = 0; p < pExecMask->GetSubResourceCount(); ++p)
    {
        nActive += SUBuffer::CountActive(pExecMask, p);
    }
    m_ExecMaskHistory[pc] = nActive;
}

bool CShaderDebuggerShaderIL::Execute(bool bRecordSteps)
{
    CShaderDebuggerIL* pDebugger = GetILDebugger();
    if (pDebugger == NULL || GetHost() == NULL)
    {
        return false;
    }
    bool bOK = true;
    if (m_bDumpInputsPending)
    {
        m_bDumpInputsPending = false;
        if (!m_InputRegisters.empty())
        {
            std::vector<Register> vInputRegs;
            for (const std::pair<const RegisterID, unsigned short>& input : m_InputRegisters)
            {
                vInputRegs.push_back(Register(input.first, input.second));
            }
            if (!SwitchShader(g_PC_NULL, vInputRegs))
            {
                Log(GetHost(), 3, "Failed to switch shader");
                bOK = false;
            }
            for (uint32_t i = 0; i < vInputRegs.size(); ++i)
            {
                if (ExecuteOne(*pDebugger, i, bOK))
                {
                    pDebugger->UpdateResults(vInputRegs[i]);
                }
                RestoreBuffers(*pDebugger, bOK);
            }
            if (!RestoreShader(true))
            {
                Log(GetHost(), 3, "Failed to restore shader");
                bOK = false;
            }
        }
    }

    for (const PatchPoint& pp : m_ExecuteList)
    {
        std::vector<Register> vRegisters;
        if (!ExpandIndexedRegisters(pp, pp.m_registers, &vRegisters))
        {
            Log(GetHost(), 3, "Failed to expanded indexed registers");
            bOK = false;
        }
        if (!SwitchShader(pp.pc, vRegisters))
        {
            Log(GetHost(), 3, "Failed to switch shader");
            bOK = false;
        }
        for (uint32_t i = 0; i < vRegisters.size(); ++i)
        {
            if (ExecuteOne(*pDebugger, i, bOK))
            {
                pDebugger->UpdateResults(pp.pc, vRegisters[i]);
                if (m_LastMemoryWrite > pDebugger->GetGlobalResultsPC())
                {
                    pDebugger->MarkGlobalResultsStale(m_LastMemoryWrite);
                }
                if (bRecordSteps)
                {
                    RecordStep(pp.pc);
                }
            }
            RestoreBuffers(*pDebugger, bOK);
        }
        if (!RestoreShader(false))
        {
            Log(GetHost(), 3, "Failed to restore shaders");
            bOK = false;
        }
    }
    return bOK;
}

bool CShaderDebuggerShaderIL::ExecuteOne(CShaderDebuggerIL& debugger, uint32_t nSelector, bool& bOK)
{
    if (!debugger.SwitchTargetBuffers())
    {
        Log(GetHost(), 3, "Failed to switch buffers");
        bOK = false;
    }
    if (!debugger.SetRegisterSelectorValue(nSelector))
    {
        Log(GetHost(), 3, "Failed to set register selector value");
        bOK = false;
    }
    if (!GetHost()->ExecuteShader())
    {
        Log(GetHost(), 3, "Failed to execute shader");
        bOK = false;
        return false;
    }
    m_bKernelExecuted = true;
    return true;
}

void CShaderDebuggerShaderIL::RestoreBuffers(CShaderDebuggerIL& debugger, bool& bOK)
{
    if (!debugger.RestoreTargetBuffers())
    {
        Log(GetHost(), 3, "Failed to restore buffers");
        bOK = false;
    }
}

bool CShaderDebuggerShaderIL::RunAsm()
{
    if (m_nNextInstruction == m_nCurrentInstruction ||
        m_nNextInstruction.m_nPos >= m_nLastInstruction || m_nNextInstruction.m_nPos == 0)
    {
        return false;
    }
    CShaderDebuggerIL* pDebugger = GetILDebugger();
    if (pDebugger == NULL)
    {
        return false;
    }
    RegPCMap regPCMap;
    bool bOK = true;
    bool bMore = true;
    while (bMore)
    {
        const uint32_t nPos = m_nNextInstruction.m_nPos;
        const unsigned int nOpCode = m_Instructions[nPos].GetOpCode();
        CIL_FCConstruct* pConstruct = m_FCConstructs[nPos];
        if (!ILShaderUtils::IsFlowControl(nOpCode))
        {
            SetCurrentToNext();
            if (ILShaderUtils::IsUAVStore(nOpCode))
            {
                m_LastMemoryWrite = m_nCurrentInstruction;
            }
            if (nOpCode == IL_OP_MCALL)
            {
                DropMacroOutputs(regPCMap);
            }
            const Register reg = GetCurrentRegisterOutput();
            if (reg != g_Reg_NULL)
            {
                regPCMap[reg] = m_nCurrentInstruction;
            }
            RecordStep(m_nCurrentInstruction);
            bMore = UpdateNextInst();
        }
        else if (ILShaderUtils::IsBlockFlowControl(nOpCode) &&
                 !HasBreakpointInFlowControlBlock(pConstruct, nPos) &&
                 !LeadsOutToALoop(*this, pConstruct))
        {
            if (!SkipConstruct(pConstruct, nPos, regPCMap, bOK))
            {
                return false;
            }
        }
        else
        {
            bOK = FlushRegPCMap(regPCMap, false) && bOK;
            regPCMap.clear();
            bOK = StepAsm() && pDebugger->DoExecute(true) && PostStepAsm() && bOK;
        }
        if (m_pDebugger->IsBreakPointAtLineNumber(GetNextLine()) ||
            m_nNextInstruction.m_nPos >= m_nLastInstruction)
        {
            break;
        }
        if (!bOK)
        {
            return false;
        }
    }
    if (bOK)
    {
        bOK = FlushRegPCMap(regPCMap, true);
    }
    return bOK;
}

bool CShaderDebuggerShaderIL::SkipConstruct(CIL_FCConstruct* pConstruct, uint32_t nPos,
                                            RegPCMap& regPCMap, bool& bOK)
{
    std::vector<Register> vRegs;
    uint32_t nTarget = 0;
    if (CIL_IfElseEndif* pIf = pConstruct->AsIfElseEndif())
    {
        if (nPos == pIf->m_nStart)
        {
            vRegs = pIf->m_vIfRegisters;
            nTarget = pIf->m_nEnd;
            if (pIf->HasElse() && HasBreakpointInFlowControlBlock(pIf, pIf->m_nElse))
            {
                bOK = FlushRegPCMap(regPCMap, false) && bOK;
                regPCMap.clear();
                nTarget = pIf->m_nElse - 1;
            }
            else if (pIf->HasElse())
            {
                vRegs.insert(vRegs.end(), pIf->m_vElseRegisters.begin(),
                             pIf->m_vElseRegisters.end());
            }
        }
        else if (pIf->HasElse() && nPos == pIf->m_nElse)
        {
            bOK = FlushRegPCMap(regPCMap, false) && bOK;
            regPCMap.clear();
            vRegs = pIf->m_vElseRegisters;
            nTarget = pIf->m_nEnd - 1;
        }
        else if (nPos == pIf->m_nEnd)
        {
            nTarget = pIf->m_nEnd;
        }
        else
        {
            Log(GetHost(), 4, "Not at if, else or endif");
            return true;
        }
    }
    else if (CIL_Loop* pLoop = pConstruct->AsLoop())
    {
        if (nPos != pLoop->m_nStart && nPos != pLoop->m_nEnd)
        {
            Log(GetHost(), 4, "Not at while or endloop");
            return true;
        }
        if (nPos == pLoop->m_nStart)
        {
            vRegs = pLoop->m_vRegisters;
        }
        nTarget = pLoop->m_nEnd;
        // A break has already left the loop; an enclosing loop's state stays.
        std::vector<LoopState>& loops = m_nNextInstruction.m_vLoopStack;
        if (!loops.empty() && loops.back().nStart == pLoop->m_nStart)
        {
            loops.pop_back();
        }
    }
    else if (CIL_Switch* pSwitch = pConstruct->AsSwitch())
    {
        vRegs = pSwitch->m_vRegisters;
        nTarget = pSwitch->m_nEnd;
    }
    else
    {
        Log(GetHost(), 3, "Bad flow control type");
        return false;
    }
    m_nNextInstruction.m_nPos = nTarget;
    SetCurrentToNext();
    UpdateNextInst();
    for (const Register& reg : vRegs)
    {
        regPCMap[reg] = m_nNextInstruction;
    }
    if (pConstruct->m_bHasMemoryWrite)
    {
        m_LastMemoryWrite = m_nCurrentInstruction;
    }
    return true;
}

bool CShaderDebuggerShaderIL::FlushRegPCMap(RegPCMap& regPCMap, bool bForce)
{
    m_ExecuteList.clear();
    PatchPoint pp;
    pp.pc = m_nCurrentInstruction;
    // One run per register, not per written mask: a capture holds the whole register, so r1.x
    // and r1.y written on the way are read together.
    for (const std::pair<const Register, ProgramCounter>& entry : regPCMap)
    {
        if (!IsTracked(entry.first))
        {
            continue;
        }
        std::vector<Register>::iterator it =
            std::find_if(pp.m_registers.begin(), pp.m_registers.end(),
                         [&entry](const Register& reg) { return reg.reg == entry.first.reg; });
        if (it != pp.m_registers.end())
        {
            it->mask |= entry.first.mask;
        }
        else
        {
            pp.m_registers.push_back(entry.first);
        }
    }
    if (bForce && pp.m_registers.empty())
    {
        pp.m_registers.push_back(g_Reg_NULL);
    }
    bool bOK = true;
    if (!pp.m_registers.empty())
    {
        m_ExecuteList.push_back(pp);
        CShaderDebuggerIL* pDebugger = GetILDebugger();
        bOK = pDebugger != NULL && pDebugger->DoExecute(false) && PostStepAsm();
    }
    return UpdateExecuteList(true) && bOK;
}

bool CShaderDebuggerShaderIL::HasBreakpointInFlowControlBlock(const CIL_FCConstruct* pFC,
                                                              uint32_t nPos)
{
    if (pFC == NULL)
    {
        return true;
    }
    uint32_t nFirst = 0;
    uint32_t nLast = 0;
    if (const CIL_IfElseEndif* pIf = const_cast<CIL_FCConstruct*>(pFC)->AsIfElseEndif())
    {
        // The lines between the bounds count: the else block's own else and endif lines are
        // stops that Run must not skip.
        if (nPos == pIf->m_nStart)
        {
            nFirst = pIf->m_nStart;
            nLast = pIf->HasElse() ? pIf->m_nElse : pIf->m_nEnd + 1;
        }
        else if (pIf->HasElse() && nPos == pIf->m_nElse)
        {
            nFirst = pIf->m_nElse - 1;
            nLast = pIf->m_nEnd + 1;
        }
        else if (nPos == pIf->m_nEnd)
        {
            return false;
        }
        else
        {
            Log(GetHost(), 4, "Not at if, else or endif");
            return true;
        }
    }
    else if (const CIL_Loop* pLoop = const_cast<CIL_FCConstruct*>(pFC)->AsLoop())
    {
        if (nPos != pLoop->m_nStart && nPos != pLoop->m_nEnd)
        {
            Log(GetHost(), 4, "Not at while or endloop");
            return true;
        }
        nFirst = pLoop->m_nStart;
        nLast = pLoop->m_nEnd;
    }
    else if (const CIL_Switch* pSwitch = const_cast<CIL_FCConstruct*>(pFC)->AsSwitch())
    {
        if (nPos == pSwitch->m_nEnd)
        {
            return false;
        }
        if (nPos != pSwitch->m_nStart)
        {
            Log(GetHost(), 4, "Not at switch or endswitch");
            return true;
        }
        nFirst = pSwitch->m_nStart;
        nLast = pSwitch->m_nEnd;
    }
    else
    {
        Log(GetHost(), 3, "Bad flow control type");
        return true;
    }
    return m_pDebugger->HasBreakPointBetween(nFirst, nLast);
}

bool CShaderDebuggerShaderIL::StepBackOne(CShaderDebuggerIL& debugger,
                                          ProgramCounter& nPreviousInstruction)
{
    nPreviousInstruction = g_PC_NULL;
    m_nNextInstruction = m_nCurrentInstruction;
    m_CallStack = m_CurrentCallStack;
    m_ExecutedSteps.pop_back();
    m_nCurrentInstruction = m_ExecutedSteps.back();
    const Register destReg = GetRegisterOutput(m_nNextInstruction);
    CShaderDebuggerResult* pResult =
        destReg.mask != 0 ? debugger.FindRegisterResult(destReg) : NULL;
    // A register that a Run passed over has no step of its own here: nothing to undo.
    if (pResult == NULL || pResult->GetLastStep().m_nPos != m_nNextInstruction.m_nPos)
    {
        return debugger.FindLastResult(m_nCurrentInstruction);
    }
    nPreviousInstruction = pResult->PopStep();
    if (nPreviousInstruction == g_PC_NULL)
    {
        // Nothing wrote the register before.
        debugger.DeleteRegisterResult(destReg);
        return debugger.FindLastResult(m_nCurrentInstruction);
    }
    return true;
}

bool CShaderDebuggerShaderIL::BackAsm()
{
    CShaderDebuggerIL* pDebugger = GetILDebugger();
    if (pDebugger == NULL || m_ExecutedSteps.size() < 2)
    {
        return false;
    }
    ProgramCounter nPreviousInstruction;
    StepBackOne(*pDebugger, nPreviousInstruction);
    return UpdateExecuteList(true);
}

bool CShaderDebuggerShaderIL::RunBackAsm()
{
    CShaderDebuggerIL* pDebugger = GetILDebugger();
    if (pDebugger == NULL)
    {
        return false;
    }
    RegPCMap regPCMap;
    while (m_ExecutedSteps.size() > 1 && m_nCurrentInstruction.m_nPos != 0)
    {
        ProgramCounter nPreviousInstruction;
        StepBackOne(*pDebugger, nPreviousInstruction);
        if (nPreviousInstruction != g_PC_NULL && nPreviousInstruction != m_nCurrentInstruction)
        {
            regPCMap[GetRegisterOutput(m_nNextInstruction)] = nPreviousInstruction;
        }
        if (m_pDebugger->IsBreakPointAtLineNumber(GetNextLine()))
        {
            break;
        }
    }
    m_ExecuteList.clear();
    for (const std::pair<const Register, ProgramCounter>& entry : regPCMap)
    {
        m_ExecuteList.push_back(PatchPoint(entry.second, entry.first));
    }
    const bool bOK = pDebugger->DoExecute(false) && PostBack();
    return UpdateExecuteList(true) && bOK;
}
} // namespace XAN_ShaderDebugger
