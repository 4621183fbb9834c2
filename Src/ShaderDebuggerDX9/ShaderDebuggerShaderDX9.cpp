#include "ShaderDebuggerDX9/ShaderDebuggerShaderDX9.h"

#include "ShaderDebuggerBase.h"
#include "ShaderDebuggerDX9/ShaderDebuggerDX9.h"
#include "ShaderDebuggerDX9/ShaderDebuggerKeywords.h"
#include "ShaderDebuggerHost.h"

#include <cinttypes>
#include <cstdio>
#include <memory>
#include <sstream>

namespace XAN_ShaderDebugger
{
namespace
{
const std::uint32_t PIXEL_SHADER_TOKEN = 0xFFFF;
const std::uint32_t VERTEX_SHADER_TOKEN = 0xFFFE;
const unsigned int DEBUG_MODE_ASM = 1;
const unsigned int DEBUG_MODE_SOURCE = 4;

// Temporaries of a pixel shader model, by the version's low 16 bits.
std::uint32_t GetTempRegCount(std::uint32_t nVersion)
{
    switch (nVersion)
    {
    case 0x0101:
    case 0x0102:
    case 0x0103:
        return 2;
    case 0x0104:
        return 6;
    case 0x0200:
        return 12;
    default:
        return 32;
    }
}

bool IsHeaderLine(const std::string& strLine)
{
    return strLine.empty() || strLine[0] == '/';
}
} // namespace

CShaderDebuggerShaderDX9::CShaderDebuggerShaderDX9(CShaderDebuggerDX9* pDebugger,
                                                   const void* pShaderData, size_t nSize)
    : CShaderDebuggerShader(pDebugger, pShaderData, nSize), m_nCurrentLine(0),
      m_nInstructionCount(0), m_nLastInstruction(0), m_nFirstLine(0), m_nFreeConstReg(0),
      m_dwUsedTempRegs(0), m_nOutputTempReg(NO_REGISTER), m_nFlagTempReg(NO_REGISTER),
      m_nShaderToken(0), m_nVersionToken(0), m_nInputCount(0), m_wInputMask(), m_wTextureMask(),
      m_pOriginalShader(NULL), m_pPatchedShader(NULL), m_nLoopIterations(1)
{
    SDU_Assert(GetHost(), AnalyzeShader());
    m_nCurrentLine = 0;
    m_nLoopIterations = 1;
}

CShaderDebuggerShaderDX9::~CShaderDebuggerShaderDX9()
{
    CShaderDebuggerHost* pHost = GetHost();
    if (pHost == NULL)
    {
        return;
    }
    // The application's shader is bound again before the patched ones go.
    RestoreShader();
    for (const std::pair<const std::uint32_t, void*>& entry : m_PatchedShaders)
    {
        pHost->ReleaseShader(entry.second);
    }
}

CShaderDebuggerDX9* CShaderDebuggerShaderDX9::GetDX9Debugger() const
{
    return static_cast<CShaderDebuggerDX9*>(m_pDebugger);
}

void CShaderDebuggerShaderDX9::Refuse(const std::string& strError)
{
    m_Info.nDebuggableModes = 0;
    for (std::string& strModeError : m_Info.strError)
    {
        strModeError = strError;
    }
}

bool CShaderDebuggerShaderDX9::StartDebugging(unsigned int nMode)
{
    if (!CShaderDebuggerShader::StartDebugging(nMode))
    {
        return false;
    }
    m_ExecuteList.clear();
    m_LoopPasses.clear();
    return UpdateNextInst(false);
}

bool CShaderDebuggerShaderDX9::GetShaderText(std::string& strText, unsigned int nType)
{
    strText.clear();
    if (nType == 0)
    {
        nType = GetDefaultDebugMode() == DEBUG_MODE_SOURCE ? DEBUG_MODE_SOURCE : DEBUG_MODE_ASM;
    }
    CShaderDebuggerHost* pHost = GetHost();
    if (nType != DEBUG_MODE_ASM || pHost == NULL || m_pShaderData == NULL)
    {
        return false;
    }
    return pHost->DisassembleShader(m_pShaderData, m_nShaderDataSize, strText);
}

bool CShaderDebuggerShaderDX9::GetShaderKeywords(std::vector<std::string>& vKeywords,
                                                 unsigned int nType)
{
    vKeywords.clear();
    if (nType == 0)
    {
        nType = GetDefaultDebugMode() == DEBUG_MODE_SOURCE ? DEBUG_MODE_SOURCE : DEBUG_MODE_ASM;
    }
    if (nType == DEBUG_MODE_ASM)
    {
        AppendDX9AsmKeywords(vKeywords, m_nShaderToken, m_nVersionToken);
    }
    else if (nType == DEBUG_MODE_SOURCE)
    {
        AppendHLSLKeywords(vKeywords);
    }
    return !vKeywords.empty();
}

unsigned int CShaderDebuggerShaderDX9::GetDefaultDebugMode()
{
    return DEBUG_MODE_ASM;
}

bool CShaderDebuggerShaderDX9::SetDebugMode(unsigned int nMode)
{
    return nMode == 0 || nMode == DEBUG_MODE_ASM;
}

std::uint32_t CShaderDebuggerShaderDX9::CountHeaderLines(const std::string& strText)
{
    std::vector<std::string> vLines;
    std::istringstream stream(strText);
    for (std::string strLine; std::getline(stream, strLine);)
    {
        vLines.push_back(strLine);
    }
    size_t nLine = 0;
    if (strText.find("preshader") != std::string::npos)
    {
        while (nLine < vLines.size() && IsHeaderLine(vLines[nLine]))
        {
            ++nLine;
        }
        while (nLine < vLines.size() && (vLines[nLine].empty() || vLines[nLine][0] != '/'))
        {
            ++nLine;
        }
    }
    while (nLine < vLines.size() && IsHeaderLine(vLines[nLine]))
    {
        ++nLine;
    }
    return static_cast<std::uint32_t>(nLine);
}

bool CShaderDebuggerShaderDX9::AnalyzeShader()
{
    CShaderDebuggerHost* pHost = GetHost();
    m_Info.Reset();
    char szHash[17];
    std::snprintf(szHash, sizeof(szHash), "%016" PRIxPTR, reinterpret_cast<std::uintptr_t>(this));
    m_Info.strHash = szHash;
    m_nInstructionCount = 0;
    m_nLastInstruction = 0;
    m_nFirstLine = 0;
    m_nCurrentLine = 0;
    m_nFreeConstReg = 0;
    m_dwUsedTempRegs = 0;
    m_nInputCount = 0;
    m_nCurrentInstruction = ProgramCounter(0);
    std::fill(std::begin(m_wInputMask), std::end(m_wInputMask), 0);
    std::fill(std::begin(m_wTextureMask), std::end(m_wTextureMask), 0);
    m_Loops.clear();
    m_RegisterOutput.clear();

    std::string strDisassembly;
    if (pHost != NULL && m_pShaderData != NULL)
    {
        pHost->DisassembleShader(m_pShaderData, m_nShaderDataSize, strDisassembly);
    }

    const std::uint32_t* pdwSourceToken = reinterpret_cast<const std::uint32_t*>(m_pShaderData);
    SDU_Assert(pHost, pdwSourceToken != NULL);
    if (pdwSourceToken == NULL || GetTokenCount() == 0)
    {
        Refuse("The shader has no code.");
        return false;
    }
    // The keyword tables serve both kinds of shader, though only pixel shaders are debugged.
    m_nShaderToken = pdwSourceToken[0] >> 16;
    m_nVersionToken = pdwSourceToken[0];
    if (m_nShaderToken == VERTEX_SHADER_TOKEN)
    {
        Refuse("Vertex shaders are not yet supported.");
        return false;
    }

    std::vector<bool> bConstUsed(D3DPS_CONSTREG_MAX_SW_DX9, false);
    std::vector<std::uint32_t> dwConstIntRegIterations(D3DPS_CONSTINTREG_MAX_SW_DX9, 0);
    std::vector<std::uint32_t> dwConstIntRegInitialValue(D3DPS_CONSTINTREG_MAX_SW_DX9, 0);
    std::vector<std::uint32_t> dwConstIntRegStep(D3DPS_CONSTINTREG_MAX_SW_DX9, 0);
    std::vector<std::uint32_t> loopStack;

    std::unique_ptr<CShaderDebuggerInstructionDX9> pInstr(
        new CShaderDebuggerInstructionDX9(m_pDebugger));
    CShaderDebuggerInstructionDX9& instruction = *pInstr;
    CInputTokenStream<std::uint32_t> stream(this, pdwSourceToken, GetTokenCount());
    std::uint32_t nLine = 0;
    bool bFirstExecutable = false;
    while (instruction.ReadInstruction(stream) && instruction.GetOpcode() != D3DSIO_END)
    {
        const std::uint32_t nOpcode = instruction.GetOpcode();
        if (nOpcode == D3DSIO_PS_VERSION)
        {
            m_nShaderToken = instruction.GetInstructionToken() >> 16;
            m_nVersionToken = instruction.GetInstructionToken();
            ++nLine;
            continue;
        }
        if (nOpcode == D3DSIO_COMMENT)
        {
            continue;
        }

        Register destReg;
        const bool bHasDest = instruction.IsInstructionWithDest();
        if (bHasDest)
        {
            SDU_Assert(pHost, instruction.GetDestRegister(destReg));
        }
        if (nOpcode == D3DSIO_DCL)
        {
            // Input and texture masks past the model's registers aren't kept.
            if (bHasDest && destReg.reg.type == RT_Input)
            {
                ++m_nInputCount;
                if (static_cast<std::uint32_t>(destReg.reg.number) < 14)
                {
                    m_wInputMask[destReg.reg.number] = destReg.mask;
                }
            }
            else if (bHasDest && destReg.reg.type == RT_Resource)
            {
                ++m_nInputCount;
                if (static_cast<std::uint32_t>(destReg.reg.number) < 8)
                {
                    m_wTextureMask[destReg.reg.number] = destReg.mask;
                }
            }
        }
        else
        {
            const std::uint32_t nNumber = static_cast<std::uint32_t>(destReg.reg.number);
            if (bHasDest && instruction.IsExecutable())
            {
                m_RegisterOutput[m_nInstructionCount] = destReg;
            }
            if (nOpcode == D3DSIO_DEFI)
            {
                SDU_Assert(pHost, nNumber < D3DPS_CONSTINTREG_MAX_SW_DX9);
                if (nNumber < D3DPS_CONSTINTREG_MAX_SW_DX9)
                {
                    instruction.GetSrcParam(0, dwConstIntRegIterations[nNumber]);
                    instruction.GetSrcParam(1, dwConstIntRegInitialValue[nNumber]);
                    instruction.GetSrcParam(2, dwConstIntRegStep[nNumber]);
                }
            }
            else if (nOpcode == D3DSIO_DEF)
            {
                SDU_Assert(pHost, nNumber < D3DPS_CONSTREG_MAX_SW_DX9);
                if (nNumber < D3DPS_CONSTREG_MAX_SW_DX9)
                {
                    bConstUsed[nNumber] = true;
                }
            }
            else if (bHasDest && destReg.reg.type == RT_Temp)
            {
                m_dwUsedTempRegs |= 1u << (nNumber & 31);
            }

            // The literals of the definitions aren't registers.
            for (std::uint32_t i = 0;
                 !instruction.IsConstantDefinition() && i < instruction.GetParamCount(); ++i)
            {
                Register reg;
                if (!instruction.GetSrcRegister(i, reg))
                {
                    continue;
                }
                const std::uint32_t nSrcNumber = static_cast<std::uint32_t>(reg.reg.number);
                if (reg.reg.type == RT_ConstantBuffer && nSrcNumber < D3DPS_CONSTREG_MAX_SW_DX9)
                {
                    bConstUsed[nSrcNumber] = true;
                }
                // An integer constant that the application sets counts as taken.
                else if (reg.reg.type == RT_IntConstant &&
                         nSrcNumber < D3DPS_CONSTINTREG_MAX_SW_DX9 &&
                         dwConstIntRegIterations[nSrcNumber] == 0)
                {
                    dwConstIntRegIterations[nSrcNumber] = NO_REGISTER;
                }
            }

            if (nOpcode == D3DSIO_LOOP || nOpcode == D3DSIO_REP)
            {
                LoopDX9 loop;
                loop.start = ProgramCounter(m_nInstructionCount);
                loop.end = ProgramCounter(0);
                loop.nConstIntReg =
                    static_cast<std::uint32_t>(instruction.GetSrcRegister(0).reg.number);
                loop.nPatchedConstIntReg = NO_REGISTER;
                const bool bKnown = loop.nConstIntReg < D3DPS_CONSTINTREG_MAX_SW_DX9;
                loop.nIterations = bKnown ? dwConstIntRegIterations[loop.nConstIntReg] : 0;
                loop.nInitialValue = bKnown ? dwConstIntRegInitialValue[loop.nConstIntReg] : 0;
                loop.nStep = bKnown ? dwConstIntRegStep[loop.nConstIntReg] : 0;
                m_Loops[m_nInstructionCount] = loop;
                loopStack.push_back(m_nInstructionCount);
            }
            else if (nOpcode == D3DSIO_ENDLOOP || nOpcode == D3DSIO_ENDREP)
            {
                SDU_Assert(pHost, !loopStack.empty());
                if (!loopStack.empty())
                {
                    LoopDX9* pLoop = &m_Loops[loopStack.back()];
                    loopStack.pop_back();
                    pLoop->end = ProgramCounter(m_nInstructionCount);
                }
            }
        }

        if (instruction.IsExecutable())
        {
            if (!bFirstExecutable)
            {
                bFirstExecutable = true;
                m_nCurrentLine = nLine;
            }
            ++m_nInstructionCount;
        }
        else
        {
            ++nLine;
        }
    }

    std::uint32_t dwConstIntReg = 0;
    for (std::pair<const std::uint32_t, LoopDX9>& entry : m_Loops)
    {
        while (dwConstIntReg < D3DPS_CONSTINTREG_MAX_SW_DX9 &&
               dwConstIntRegIterations[dwConstIntReg] != 0)
        {
            ++dwConstIntReg;
        }
        SDU_Assert(pHost, dwConstIntReg < D3DPS_CONSTINTREG_MAX_SW_DX9);
        if (dwConstIntReg < D3DPS_CONSTINTREG_MAX_SW_DX9)
        {
            entry.second.nPatchedConstIntReg = dwConstIntReg++;
        }
    }

    m_nFreeConstReg = 0;
    while (m_nFreeConstReg < D3DPS_CONSTREG_MAX_SW_DX9 && bConstUsed[m_nFreeConstReg])
    {
        ++m_nFreeConstReg;
    }

    m_nOutputTempReg = NO_REGISTER;
    m_nFlagTempReg = NO_REGISTER;
    const std::uint32_t nTempRegs = GetTempRegCount(m_nVersionToken & 0xFFFF);
    for (std::uint32_t i = 0; i < nTempRegs && m_nFlagTempReg == NO_REGISTER; ++i)
    {
        if ((m_dwUsedTempRegs & (1u << i)) != 0)
        {
            continue;
        }
        if (m_nOutputTempReg == NO_REGISTER)
        {
            m_nOutputTempReg = i;
        }
        else
        {
            m_nFlagTempReg = i;
        }
    }

    m_nCurrentLine += CountHeaderLines(strDisassembly);
    m_nFirstLine = m_nCurrentLine;
    m_nLastInstruction = m_nInstructionCount - 1;

    if (m_pDebugger != NULL && m_pDebugger->GetLogLevel() >= 1)
    {
        SDU_SetContext(pHost, false, "", __FILE__, __LINE__, __func__);
        SDU_Log(5, "ShaderDebugger: Analyzed shader\n");
        SDU_Log(5, "First Line = %i, Instruction Count = %i, Inputs = %i\n",
                static_cast<int>(m_nFirstLine), static_cast<int>(m_nInstructionCount),
                static_cast<int>(m_nInputCount));
        SDU_Log(5, "%s", strDisassembly.c_str());
    }

    m_Info.nVersionMajor = (m_nVersionToken >> 8) & 0xFF;
    m_Info.nVersionMinor = m_nVersionToken & 0xFF;
    if (m_nShaderToken != PIXEL_SHADER_TOKEN)
    {
        Refuse("The shader has no pixel shader version.");
        return false;
    }
    if (m_nFreeConstReg >= D3DPS_CONSTREG_MAX_SW_DX9)
    {
        Refuse("No float constant is free.");
        return false;
    }
    if (m_nOutputTempReg == NO_REGISTER || m_nFlagTempReg == NO_REGISTER)
    {
        Refuse("No two temporary registers are free.");
        return false;
    }
    if (m_nInstructionCount == 0)
    {
        Refuse("The shader has no instruction.");
        return false;
    }
    m_Info.nSupportedModes = DEBUG_MODE_ASM;
    m_Info.nDebuggableModes = DEBUG_MODE_ASM;
    m_Info.nShaderType = ST_Pixel;
    return true;
}

void CShaderDebuggerShaderDX9::UpdateExecMaskHistory(const ProgramCounter&,
                                                     ShaderUtils::SUBuffer* pExecMask)
{
    SDU_Assert(GetHost(), pExecMask != NULL);
}

Register CShaderDebuggerShaderDX9::GetRegisterOutput(const ProgramCounter& pc)
{
    const std::map<std::uint32_t, Register>::const_iterator it = m_RegisterOutput.find(pc.m_nPos);
    return it != m_RegisterOutput.end() ? it->second : g_Reg_NULL;
}

std::string CShaderDebuggerShaderDX9::GetRegisterName(const Register& reg)
{
    char cLetter = '?';
    switch (reg.reg.type)
    {
    case RT_Temp:
        cLetter = 'r';
        break;
    case RT_Input:
        cLetter = 'v';
        break;
    case RT_Output:
        cLetter = 'o';
        break;
    case RT_Sampler:
        cLetter = 's';
        break;
    case RT_Resource:
        cLetter = 't';
        break;
    case RT_ConstantBuffer:
        cLetter = 'c';
        break;
    case RT_IntConstant:
        cLetter = 'i';
        break;
    case RT_BoolConstant:
        cLetter = 'b';
        break;
    case RT_oDepth:
        return "oDepth";
    default:
        break;
    }
    char szName[16];
    std::snprintf(szName, sizeof(szName), "%c%u", cLetter,
                  static_cast<unsigned int>(reg.reg.number));
    return szName;
}

std::string CShaderDebuggerShaderDX9::GetResultName(const ProgramCounter& pc)
{
    if (m_RegisterOutput.find(pc.m_nPos) == m_RegisterOutput.end())
    {
        return g_szNoDestinationRegister;
    }
    return GetRegisterName(GetRegisterOutput(pc));
}

bool CShaderDebuggerShaderDX9::UpdateNextInst(bool bClearList)
{
    m_nCurrentLine = m_nFirstLine + m_nCurrentInstruction.m_nPos;
    if (bClearList)
    {
        m_ExecuteList.clear();
    }
    m_ExecuteList.push_back(m_nCurrentInstruction);
    return true;
}

void CShaderDebuggerShaderDX9::WrapLoops()
{
    for (const std::pair<const std::uint32_t, LoopDX9>& entry : m_Loops)
    {
        const LoopDX9 loop = entry.second;
        if (loop.end.m_nPos != m_nCurrentInstruction.m_nPos)
        {
            continue;
        }
        // A count that the application sets isn't known here: such a loop isn't walked again.
        std::uint32_t& nPasses = m_LoopPasses[loop.start.m_nPos];
        ++nPasses;
        const bool bKnownCount = loop.nIterations != NO_REGISTER;
        if (bKnownCount && nPasses < loop.nIterations)
        {
            m_nCurrentInstruction = loop.start;
            m_nLoopIterations = nPasses + 1;
        }
        else
        {
            nPasses = 0;
            m_nLoopIterations = 1;
        }
        return;
    }
}

bool CShaderDebuggerShaderDX9::Step()
{
    if (m_nCurrentInstruction.m_nPos + 1 >= m_nInstructionCount)
    {
        return false;
    }
    ++m_nCurrentInstruction.m_nPos;
    WrapLoops();
    return UpdateNextInst(true);
}

bool CShaderDebuggerShaderDX9::Back()
{
    if (m_nCurrentInstruction.m_nPos == 0)
    {
        return false;
    }
    CShaderDebuggerDX9* pDebugger = GetDX9Debugger();
    const std::string strName = GetResultName(m_nCurrentInstruction);
    CShaderDebuggerResult* pResult = pDebugger->GetResult(strName);
    SDU_Assert(GetHost(), pResult);
    if (pResult != NULL)
    {
        SDU_Assert(GetHost(), pResult->GetLastStep().m_nPos == m_nCurrentInstruction.m_nPos);
    }

    --m_nCurrentInstruction.m_nPos;
    UpdateNextInst(true);

    if (pResult == NULL)
    {
        return true;
    }
    const ProgramCounter previous = pResult->PopStep();
    if (previous == g_PC_NULL)
    {
        pDebugger->RemoveResult(strName);
    }
    else if (previous != m_nCurrentInstruction)
    {
        m_ExecuteList.push_back(previous);
    }
    return true;
}

bool CShaderDebuggerShaderDX9::Run()
{
    bool bResult = Step();
    while (bResult && !m_pDebugger->IsBreakPointAtLineNumber(GetNextLine()))
    {
        bResult = Step();
    }
    return bResult;
}

bool CShaderDebuggerShaderDX9::RunBack()
{
    bool bResult = Back();
    while (bResult && m_nCurrentInstruction.m_nPos != 0 &&
           !m_pDebugger->IsBreakPointAtLineNumber(GetNextLine()))
    {
        bResult = Back();
    }
    return bResult;
}

bool CShaderDebuggerShaderDX9::Execute(bool)
{
    CShaderDebuggerHost* pHost = GetHost();
    bool bResult = true;
    for (const ProgramCounter& pc : m_ExecuteList)
    {
        // Without its patched shader a position isn't drawn: the application's would fill the
        // targets with values of another instruction.
        const bool bSwitched = SwitchShader(pc);
        SDU_Assert(pHost, bSwitched);
        if (bSwitched && pHost->ExecuteShader())
        {
            GetDX9Debugger()->UpdateResults(pc);
        }
        else
        {
            bResult = false;
        }
        const bool bRestored = RestoreShader();
        SDU_Assert(pHost, bRestored);
    }
    return bResult;
}

bool CShaderDebuggerShaderDX9::Draw()
{
    const bool bSwitched = SwitchShader(GetCurrentInstruction());
    const bool bResult = bSwitched && GetHost()->ExecuteShader();
    RestoreShader();
    return bResult;
}

bool CShaderDebuggerShaderDX9::SwitchShader(const ProgramCounter& pc)
{
    CShaderDebuggerHost* pHost = GetHost();
    m_pPatchedShader = GetPatchedShader(pc, NO_REGISTER);
    m_pOriginalShader = NULL;
    if (m_pPatchedShader == NULL)
    {
        return false;
    }
    m_pOriginalShader = pHost->GetShader(GetShaderType());
    SDU_Assert(pHost, m_pOriginalShader);
    return pHost->SetShader(GetShaderType(), m_pPatchedShader, 0);
}

bool CShaderDebuggerShaderDX9::RestoreShader()
{
    bool bResult = true;
    if (m_pOriginalShader != NULL)
    {
        CShaderDebuggerHost* pHost = GetHost();
        bResult = pHost->SetShader(GetShaderType(), m_pOriginalShader, 0);
        pHost->ReleaseShader(m_pOriginalShader);
        m_pOriginalShader = NULL;
    }
    m_pPatchedShader = NULL;
    return bResult;
}

unsigned int CShaderDebuggerShaderDX9::GetInstructionFromLine(unsigned int)
{
    return g_nInvalidInstruction;
}

unsigned int CShaderDebuggerShaderDX9::GetLineFromInstruction(unsigned int nInstruction)
{
    return m_nFirstLine + nInstruction;
}

unsigned int CShaderDebuggerShaderDX9::GetCurrentLine()
{
    return m_nCurrentLine;
}

unsigned int CShaderDebuggerShaderDX9::GetNextLine()
{
    return m_nCurrentLine + 1;
}

unsigned int CShaderDebuggerShaderDX9::GetPreviousLine()
{
    return m_nCurrentLine - 1;
}
} // namespace XAN_ShaderDebugger
