#include "ShaderDebuggerBase.h"
#include "ShaderDebuggerDX9/ShaderDebuggerShaderDX9.h"
#include "ShaderDebuggerHost.h"

#include <cstring>
#include <memory>

namespace XAN_ShaderDebugger
{
namespace
{
const std::uint32_t ALL_COMPONENTS = 0xF0000;
const std::uint32_t SWIZZLE_IDENTITY = 0xE40000;
const std::uint32_t SWIZZLE_WWWW = 0xFF0000;
const std::uint32_t MOV_LENGTH = 2;
const std::uint32_t DEF_LENGTH = 5;

bool IsLoopStart(std::uint32_t nOpcode)
{
    return nOpcode == D3DSIO_LOOP || nOpcode == D3DSIO_REP;
}

bool IsLoopEnd(std::uint32_t nOpcode)
{
    return nOpcode == D3DSIO_ENDLOOP || nOpcode == D3DSIO_ENDREP;
}

// Instructions that decide which pixels go on behind them: every pixel that reaches one has
// executed it, so a target of this kind writes its moves in front of it.
bool ChoosesPixels(std::uint32_t nOpcode)
{
    switch (nOpcode)
    {
    case D3DSIO_IF:
    case D3DSIO_IFC:
    case D3DSIO_BREAK:
    case D3DSIO_BREAKC:
    case D3DSIO_BREAKP:
        return true;
    default:
        return IsLoopStart(nOpcode) || IsLoopEnd(nOpcode);
    }
}

// Pops entries up to and including the newest of one of the opcodes; that entry, or none.
bool PopUpTo(std::deque<FlowControlInstruction>& stack, std::uint32_t nFirst, std::uint32_t nSecond,
             std::uint32_t nThird, FlowControlInstruction& popped)
{
    while (!stack.empty())
    {
        popped = stack.back();
        stack.pop_back();
        if (popped.dwOpcode == nFirst || popped.dwOpcode == nSecond || popped.dwOpcode == nThird)
        {
            return true;
        }
    }
    return false;
}
} // namespace

bool CShaderDebuggerShaderDX9::WriteToken(COutputTokenStream<std::uint32_t>& stream,
                                          std::uint32_t dwToken)
{
    const bool bWritten = stream.WriteToken(dwToken);
    SDU_Assert(GetHost(), bWritten);
    return bWritten;
}

bool CShaderDebuggerShaderDX9::WriteInstruction(COutputTokenStream<std::uint32_t>& stream,
                                                std::uint32_t nOpcode, std::uint32_t dwLength)
{
    return WriteToken(stream, nOpcode | (dwLength << 24));
}

bool CShaderDebuggerShaderDX9::WriteDestReg(COutputTokenStream<std::uint32_t>& stream,
                                            std::uint32_t nType, std::uint32_t nIndex,
                                            std::uint32_t dwMask)
{
    return WriteToken(stream, DestRegister(nType, nIndex, dwMask));
}

bool CShaderDebuggerShaderDX9::WriteSrcReg(COutputTokenStream<std::uint32_t>& stream,
                                           std::uint32_t nType, std::uint32_t nIndex,
                                           std::uint32_t dwSwizzle)
{
    return WriteToken(stream, SrcRegister(nType, nIndex, dwSwizzle));
}

bool CShaderDebuggerShaderDX9::WriteConstReg(COutputTokenStream<std::uint32_t>& stream,
                                             std::uint32_t nIndex, float x, float y, float z,
                                             float w)
{
    const float values[4] = {x, y, z, w};
    std::uint32_t dwBits[4];
    std::memcpy(dwBits, values, sizeof(dwBits));
    return WriteDestReg(stream, D3DSPR_CONST, nIndex, ALL_COMPONENTS) &&
           stream.WriteTokens(dwBits, 4);
}

bool CShaderDebuggerShaderDX9::WriteConstIntReg(COutputTokenStream<std::uint32_t>& stream,
                                                std::uint32_t nIndex, std::uint32_t x,
                                                std::uint32_t y, std::uint32_t z, std::uint32_t w)
{
    const std::uint32_t dwValues[4] = {x, y, z, w};
    return WriteDestReg(stream, D3DSPR_CONSTINT, nIndex, ALL_COMPONENTS) &&
           stream.WriteTokens(dwValues, 4);
}

bool CShaderDebuggerShaderDX9::WriteMove(COutputTokenStream<std::uint32_t>& stream,
                                         std::uint32_t nDestType, std::uint32_t nDestIndex,
                                         std::uint32_t dwSrc)
{
    return WriteInstruction(stream, D3DSIO_MOV, MOV_LENGTH) &&
           WriteDestReg(stream, nDestType, nDestIndex, ALL_COMPONENTS) && WriteToken(stream, dwSrc);
}

bool CShaderDebuggerShaderDX9::WriteMove(COutputTokenStream<std::uint32_t>& stream,
                                         std::uint32_t nDestType, std::uint32_t nDestIndex,
                                         std::uint32_t nSrcType, std::uint32_t nSrcIndex,
                                         std::uint32_t dwSwizzle)
{
    return WriteInstruction(stream, D3DSIO_MOV, MOV_LENGTH) &&
           WriteDestReg(stream, nDestType, nDestIndex, ALL_COMPONENTS) &&
           WriteSrcReg(stream, nSrcType, nSrcIndex, dwSwizzle);
}

bool CShaderDebuggerShaderDX9::WritePrologue(COutputTokenStream<std::uint32_t>& stream)
{
    bool bWritten = WriteInstruction(stream, D3DSIO_DEF, DEF_LENGTH) &&
                    WriteConstReg(stream, m_nFreeConstReg, 1.0f, 1.0f, 1.0f, 0.0f);
    for (const std::pair<const std::uint32_t, LoopDX9>& entry : m_Loops)
    {
        const LoopDX9& loop = entry.second;
        bWritten = bWritten && WriteInstruction(stream, D3DSIO_DEFI, DEF_LENGTH) &&
                   WriteConstIntReg(stream, loop.nPatchedConstIntReg, m_nLoopIterations,
                                    loop.nInitialValue, loop.nStep, 0);
    }
    // Both registers start at 0.0, the free constant's w.
    return bWritten &&
           WriteMove(stream, D3DSPR_TEMP, m_nOutputTempReg, D3DSPR_CONST, m_nFreeConstReg,
                     SWIZZLE_WWWW) &&
           WriteMove(stream, D3DSPR_TEMP, m_nFlagTempReg, D3DSPR_CONST, m_nFreeConstReg,
                     SWIZZLE_WWWW);
}

void CShaderDebuggerShaderDX9::HandleFlowControl(CShaderDebuggerInstructionDX9& instr)
{
    FlowControlInstruction entry = {};
    switch (instr.GetOpcode())
    {
    case D3DSIO_LOOP:
    case D3DSIO_REP:
    case D3DSIO_IF:
    case D3DSIO_IFC:
        entry.dwOpcode = instr.GetOpcode();
        entry.nSrcParams = 1;
        SDU_Assert(GetHost(), instr.ReadToken(entry.dwSrcParam[0]));
        m_FlowControlStack.push_back(entry);
        break;
    case D3DSIO_ENDLOOP:
        PopUpTo(m_FlowControlStack, D3DSIO_LOOP, D3DSIO_LOOP, D3DSIO_LOOP, entry);
        break;
    case D3DSIO_ENDREP:
        PopUpTo(m_FlowControlStack, D3DSIO_REP, D3DSIO_REP, D3DSIO_REP, entry);
        break;
    case D3DSIO_ELSE:
        if (PopUpTo(m_FlowControlStack, D3DSIO_IF, D3DSIO_IFC, D3DSIO_IFC, entry))
        {
            entry.dwOpcode = D3DSIO_ELSE;
            m_FlowControlStack.push_back(entry);
        }
        break;
    case D3DSIO_ENDIF:
        PopUpTo(m_FlowControlStack, D3DSIO_IF, D3DSIO_IFC, D3DSIO_ELSE, entry);
        break;
    default:
        break;
    }
}

bool CShaderDebuggerShaderDX9::CloseFlowControl(CInputTokenStream<std::uint32_t>& in,
                                                COutputTokenStream<std::uint32_t>& out,
                                                CShaderDebuggerInstructionDX9& instr)
{
    bool bResult = true;
    while (!m_FlowControlStack.empty())
    {
        const FlowControlInstruction entry = m_FlowControlStack.back();
        m_FlowControlStack.pop_back();
        if (IsLoopStart(entry.dwOpcode))
        {
            // The rest of the loop's body closes whatever opened inside it.
            std::uint32_t nDepth = 1;
            while (nDepth != 0 && instr.ReadInstruction(in) && instr.GetOpcode() != D3DSIO_END)
            {
                if (instr.GetOpcode() == D3DSIO_COMMENT)
                {
                    continue;
                }
                nDepth += IsLoopStart(instr.GetOpcode()) ? 1 : 0;
                nDepth -= IsLoopEnd(instr.GetOpcode()) ? 1 : 0;
                bResult = instr.WriteInstruction(out) && bResult;
            }
            continue;
        }
        bool bInsideLoop = false;
        for (const FlowControlInstruction& below : m_FlowControlStack)
        {
            bInsideLoop = bInsideLoop || IsLoopStart(below.dwOpcode);
        }
        if (!bInsideLoop)
        {
            bResult = WriteInstruction(out, D3DSIO_ENDIF, 0) && bResult;
        }
    }
    return bResult;
}

bool CShaderDebuggerShaderDX9::ConvertDestToSrc(std::uint32_t& dwNewSrcParam,
                                                const CShaderDebuggerInstructionDX9& instr)
{
    Register destReg;
    if (!instr.GetDestRegister(destReg))
    {
        // Nothing is written: the value shown is the free constant's 0.0.
        dwNewSrcParam = SrcRegister(D3DSPR_CONST, m_nFreeConstReg, SWIZZLE_WWWW);
        return true;
    }
    switch (destReg.reg.type)
    {
    case RT_Temp:
        dwNewSrcParam = SrcRegister(D3DSPR_TEMP, static_cast<std::uint32_t>(destReg.reg.number),
                                    SWIZZLE_IDENTITY);
        return true;
    case RT_Output:
        // An output can't be read: the value moved into it stands for it.
        return instr.GetSrcParam(0, dwNewSrcParam);
    default:
        return false;
    }
}

bool CShaderDebuggerShaderDX9::WriteTargetMoves(COutputTokenStream<std::uint32_t>& out,
                                                const CShaderDebuggerInstructionDX9& target)
{
    std::uint32_t dwValueSrc = 0;
    if (!ConvertDestToSrc(dwValueSrc, target))
    {
        SDU_SetContext(GetHost(), false, "", __FILE__, __LINE__, __func__);
        SDU_Log(3, "ConvertDestToSrc failed.\n");
        return false;
    }
    return WriteMove(out, D3DSPR_TEMP, m_nOutputTempReg, dwValueSrc) &&
           WriteMove(out, D3DSPR_TEMP, m_nFlagTempReg, D3DSPR_CONST, m_nFreeConstReg,
                     SWIZZLE_IDENTITY);
}

bool CShaderDebuggerShaderDX9::WritePatchedShader(std::uint32_t nTarget,
                                                  COutputTokenStream<std::uint32_t>& out,
                                                  Register& destReg)
{
    CShaderDebuggerHost* pHost = GetHost();
    if (!IsShaderDebuggable(GetDefaultDebugMode()) || nTarget >= m_nInstructionCount)
    {
        return false;
    }
    const std::uint32_t* pdwSourceToken = reinterpret_cast<const std::uint32_t*>(m_pShaderData);
    SDU_Assert(pHost, pdwSourceToken != NULL);
    if (pdwSourceToken == NULL)
    {
        return false;
    }
    CInputTokenStream<std::uint32_t> in(this, pdwSourceToken, GetTokenCount());
    std::unique_ptr<CShaderDebuggerInstructionDX9> pInstr(
        new CShaderDebuggerInstructionDX9(m_pDebugger));
    CShaderDebuggerInstructionDX9& instruction = *pInstr;
    m_FlowControlStack.clear();

    std::uint32_t nCounter = 0;
    bool bFirst = true;
    bool bWritten = true;
    bool bTargetRead = false;
    bool bMovesWritten = false;
    while (nCounter <= nTarget && instruction.ReadInstruction(in) &&
           instruction.GetOpcode() != D3DSIO_END)
    {
        if (instruction.GetOpcode() == D3DSIO_COMMENT)
        {
            continue;
        }
        if (instruction.GetOpcode() != D3DSIO_PS_VERSION)
        {
            HandleFlowControl(instruction);
        }
        if (instruction.IsExecutable())
        {
            bTargetRead = nCounter == nTarget;
            ++nCounter;
            if (bFirst)
            {
                bFirst = false;
                bWritten = WritePrologue(out) && bWritten;
            }
            if (bTargetRead && ChoosesPixels(instruction.GetOpcode()))
            {
                bWritten = WriteTargetMoves(out, instruction) && bWritten;
                bMovesWritten = true;
            }
        }
        bWritten = instruction.WriteInstruction(out) && bWritten;
        // Each pass of a loop starts with the flag down, so that it shows the last pass.
        if (IsLoopStart(instruction.GetOpcode()) && !bMovesWritten)
        {
            bWritten = WriteMove(out, D3DSPR_TEMP, m_nFlagTempReg, D3DSPR_CONST, m_nFreeConstReg,
                                 SWIZZLE_WWWW) &&
                       bWritten;
        }
    }
    if (!bTargetRead)
    {
        return false;
    }
    destReg = g_Reg_NULL;
    instruction.GetDestRegister(destReg);

    bWritten =
        (bMovesWritten || WriteTargetMoves(out, instruction)) &&
        CloseFlowControl(in, out, instruction) &&
        WriteMove(out, D3DSPR_COLOROUT, 0, D3DSPR_TEMP, m_nOutputTempReg, SWIZZLE_IDENTITY) &&
        WriteMove(out, D3DSPR_COLOROUT, 1, D3DSPR_TEMP, m_nFlagTempReg, SWIZZLE_IDENTITY) &&
        WriteInstruction(out, D3DSIO_END, 0) && bWritten;
    return bWritten;
}

void* CShaderDebuggerShaderDX9::CreatePatchedShader(const ProgramCounter& nTarget,
                                                    Register& destReg)
{
    CShaderDebuggerHost* pHost = GetHost();
    COutputTokenStream<std::uint32_t> out(this, GetTokenCount() + 64);
    if (pHost == NULL || !WritePatchedShader(nTarget.m_nPos, out, destReg))
    {
        return NULL;
    }
    if (m_pDebugger->GetLogLevel() > 1)
    {
        std::string strText;
        pHost->DisassembleShader(out.GetStream(), out.GetTokensWritten() * sizeof(std::uint32_t),
                                 strText);
        SDU_SetContext(pHost, false, "", __FILE__, __LINE__, __func__);
        SDU_Log(5, "ShaderDebugger: Patching shader to instruction %i\n",
                static_cast<int>(nTarget.m_nPos));
        SDU_Log(5, "%s", strText.c_str());
    }
    void* pShader = NULL;
    if (!pHost->CreateShader(GetShaderType(), out.GetStream(), 0, &pShader) || pShader == NULL)
    {
        SDU_SetContext(pHost, false, "", __FILE__, __LINE__, __func__);
        SDU_Log(3, "CreatePixelShader failed.\n");
        return NULL;
    }
    return pShader;
}

// The cache is keyed by position alone, so the iterations aren't asked: a patched shader runs its
// loops in full.
void* CShaderDebuggerShaderDX9::GetPatchedShader(const ProgramCounter& pc, std::uint32_t)
{
    const ProgramCounter nTargetInstruction = pc.m_nPos == NO_REGISTER ? m_nCurrentInstruction : pc;
    const std::map<std::uint32_t, void*>::const_iterator it =
        m_PatchedShaders.find(nTargetInstruction.m_nPos);
    if (it != m_PatchedShaders.end())
    {
        return it->second;
    }
    Register destReg;
    void* pShader = CreatePatchedShader(nTargetInstruction, destReg);
    if (pShader == NULL)
    {
        return NULL;
    }
    m_PatchedShaders[nTargetInstruction.m_nPos] = pShader;
    SDU_Assert(GetHost(), GetRegisterOutput(nTargetInstruction) == destReg);
    return pShader;
}
} // namespace XAN_ShaderDebugger
