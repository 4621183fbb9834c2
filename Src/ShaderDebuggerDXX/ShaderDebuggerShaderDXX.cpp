#include "ShaderDebuggerDXX/ShaderDebuggerShaderDXX.h"

#include "ShaderDebuggerBase.h"
#include "ShaderDebuggerHost.h"

#include <algorithm>
#include <cstring>
#include <sstream>

namespace XAN_ShaderDebugger
{
namespace
{
const unsigned int DEBUG_MODE_ASM = 1;
const unsigned int DEBUG_MODE_SOURCE = 4;
// Index of mode 4 among the three error texts.
const unsigned int SOURCE_ERROR = 2;

enum DXXOpCode : std::uint32_t
{
    OP_BREAK = 2,
    OP_BREAKC = 3,
    OP_CALL = 4,
    OP_CALLC = 5,
    OP_CASE = 6,
    OP_CUT = 9,
    OP_DEFAULT = 10,
    OP_DISCARD = 13,
    OP_ELSE = 18,
    OP_EMIT = 19,
    OP_EMITTHENCUT = 20,
    OP_ENDIF = 21,
    OP_ENDLOOP = 22,
    OP_ENDSWITCH = 23,
    OP_IF = 31,
    OP_LABEL = 44,
    OP_LOOP = 48,
    OP_RETC = 63,
    OP_SWITCH = 76,
    OP_DCL_OUTPUT_SIV = 103,
    OP_DCL_TEMPS = 104,
    OP_FCALL = 120,
    OP_IMM_ATOMIC_FIRST = 178,
    OP_IMM_ATOMIC_LAST = 189
};

const std::uint32_t SV_POSITION = 1;

bool IsRefusedFlow(std::uint32_t nOpCode)
{
    static const std::uint32_t s_Refused[] = {OP_SWITCH, OP_ENDSWITCH,   OP_CALL,    OP_CALLC,
                                              OP_CASE,   OP_CUT,         OP_DEFAULT, OP_DISCARD,
                                              OP_EMIT,   OP_EMITTHENCUT, OP_LABEL,   OP_RETC};
    return std::find(std::begin(s_Refused), std::end(s_Refused), nOpCode) != std::end(s_Refused);
}

// The stage of the version token's high word; 0 for none.
std::uint32_t StageOfVersion(std::uint32_t nProgramType)
{
    static const std::uint32_t s_Stages[] = {ST_Pixel, ST_Vertex, ST_Geometry,
                                             ST_Hull,  ST_Domain, ST_Compute};
    return nProgramType < 6 ? s_Stages[nProgramType] : 0;
}

std::string LeftTrimmed(const std::string& strLine)
{
    const size_t nFirst = strLine.find_first_not_of(" \t");
    return nFirst == std::string::npos ? std::string() : strLine.substr(nFirst);
}
} // namespace

CShaderDebuggerShaderDXX::CShaderDebuggerShaderDXX(CShaderDebuggerBase* pDebugger,
                                                   const void* pShaderData, size_t nSize)
    : CShaderDebuggerShader(pDebugger, pShaderData, nSize), m_nInstructionCount(0),
      m_nLastInstruction(0), m_nTempRegisterCount(0), m_nPatchedTempRegisterCount(0),
      m_nOutputTempReg(0), m_nOutputTempReg2(0), m_nExecMaskTempReg(0), m_nAddrTempReg(0),
      m_bHasTwoDestInstructions(false), m_nOutputRegister0(0), m_nOutputRegister1(2),
      m_nExecMaskOutputRegister(1), m_nPositionRegister(0), m_nPatchedPositionRegister(3),
      m_nDebugMode(DEBUG_MODE_ASM), m_HLSL(pDebugger)
{
}

CShaderDebuggerShaderDXX::~CShaderDebuggerShaderDXX() {}

void CShaderDebuggerShaderDXX::Refuse(const std::string& strError)
{
    m_Info.nDebuggableModes = 0;
    for (std::string& strModeError : m_Info.strError)
    {
        strModeError = strError;
    }
    SDU_SetContext(GetHost(), false, "", __FILE__, __LINE__, __func__);
    SDU_Log(3, "%s", strError.c_str());
}

bool CShaderDebuggerShaderDXX::BeginAnalysis()
{
    m_nInstructionCount = 0;
    m_nLastInstruction = 0;
    m_nTempRegisterCount = 0;
    m_nPatchedTempRegisterCount = 0;
    m_nOutputTempReg = 0;
    m_nOutputTempReg2 = 0;
    m_nExecMaskTempReg = 0;
    m_nAddrTempReg = 0;
    m_bHasTwoDestInstructions = false;
    m_nOutputRegister0 = 0;
    m_nOutputRegister1 = 2;
    m_nExecMaskOutputRegister = 1;
    m_nPositionRegister = 0;
    m_nPatchedPositionRegister = 3;
    m_FCConstructs.clear();
    m_vConstructs.clear();
    m_RegisterOutput.clear();
    m_RegisterOutput2.clear();
    m_InstructionToLine.clear();
    m_LineToInstruction.clear();
    m_DeclaredRegisters = DXXDeclaredRegisters();
    m_Info.Reset();

    CShaderDebuggerHost* pHost = GetHost();
    if (m_pShaderData == NULL || !m_ShaderObject.SetShaderData(m_pShaderData, m_nShaderDataSize))
    {
        return false;
    }
    std::string strDisassembly;
    if (pHost != NULL)
    {
        pHost->DisassembleShader(m_pShaderData, m_nShaderDataSize, strDisassembly);
    }
    SDU_SetContext(pHost, false, "", __FILE__, __LINE__, __func__);
    SDU_Log(7, "Analyzing shader\n");
    SDU_Log(7, "%s", SDU_EscapePercent(strDisassembly).c_str());

    m_Info.nSupportedModes = DEBUG_MODE_ASM;
    m_Info.strHash = m_ShaderObject.GetHash();
    m_nDebugMode = DEBUG_MODE_ASM;
    if (m_ShaderObject.GetChunk(D3D10ShaderObject::CK_SDBG) != NULL)
    {
        m_Info.nSupportedModes |= DEBUG_MODE_SOURCE;
        if (m_HLSL.Init(&m_ShaderObject))
        {
            m_Info.nDebuggableModes |= DEBUG_MODE_SOURCE;
            m_nDebugMode = DEBUG_MODE_SOURCE;
            m_Info.strTarget = m_HLSL.GetEntryFunction();
            m_Info.nTargetValue = m_HLSL.GetEntryLine();
        }
        else
        {
            m_Info.strError[SOURCE_ERROR] = m_HLSL.GetLastError();
            SDU_SetContext(pHost, false, "", __FILE__, __LINE__, __func__);
            SDU_Log(3, "%s", SDU_EscapePercent(m_HLSL.GetLastError()).c_str());
        }
    }
    // Stripped shaders carry no statistics: dcl_temps gives the count then.
    const std::uint8_t* pSTAT = m_ShaderObject.GetSTATData();
    if (pSTAT != NULL && m_ShaderObject.GetChunkSize(D3D10ShaderObject::CK_STAT) >= 16)
    {
        std::memcpy(&m_nTempRegisterCount, pSTAT + 4, sizeof(m_nTempRegisterCount));
    }
    return true;
}

bool CShaderDebuggerShaderDXX::AnalyzeSHDRChunk(const std::uint8_t* pChunk)
{
    return AnalyzeProgramChunk(pChunk, false);
}

bool CShaderDebuggerShaderDXX::AnalyzeProgramChunk(const std::uint8_t* pChunk, bool bExtended)
{
    CShaderDebuggerHost* pHost = GetHost();
    SDU_Assert(pHost, pChunk);
    std::uint32_t dwChunkDataSize = 0;
    std::uint32_t dwVersion = 0;
    std::uint32_t dwTokenCount = 0;
    if (pChunk != NULL)
    {
        std::memcpy(&dwChunkDataSize, pChunk + 4, 4);
    }
    if (pChunk == NULL || dwChunkDataSize < 8)
    {
        Refuse("Invalid shader.");
        return false;
    }
    std::memcpy(&dwVersion, pChunk + 8, 4);
    std::memcpy(&dwTokenCount, pChunk + 12, 4);

    const std::uint32_t nProgramType = dwVersion >> 16;
    const std::uint32_t nStage = StageOfVersion(nProgramType);
    if (nStage == ST_Geometry)
    {
        Refuse("Geometry shaders are not yet supported.");
        return false;
    }
    if (bExtended && nStage == ST_Hull)
    {
        Refuse("Hull shaders are not yet supported.");
        return false;
    }
    if (bExtended && nStage == ST_Domain)
    {
        Refuse("Domain shaders are not yet supported.");
        return false;
    }
    if (nStage == 0 || (!bExtended && nProgramType >= 3))
    {
        Refuse("Invalid shader.");
        return false;
    }
    m_Info.nShaderType = nStage;
    m_Info.nVersionMajor = (dwVersion >> 4) & 0xF;
    m_Info.nVersionMinor = dwVersion & 0xF;
    if (nStage == ST_Compute)
    {
        const std::uint32_t* pdwThreadGroupSize =
            m_ShaderObject.GetDeclarations().nThreadGroup[0] != 0
                ? m_ShaderObject.GetDeclarations().nThreadGroup
                : NULL;
        SDU_Assert(pHost, pdwThreadGroupSize != NULL);
        if (pdwThreadGroupSize != NULL)
        {
            std::memcpy(&m_Info.nFlags[4], pdwThreadGroupSize, 12);
        }
    }

    SDU_Assert(pHost, dwChunkDataSize == dwTokenCount * sizeof(std::uint32_t));
    if (dwChunkDataSize != dwTokenCount * sizeof(std::uint32_t) || dwTokenCount <= 2)
    {
        Refuse("Invalid shader.");
        return false;
    }

    const std::uint32_t* pTokens = reinterpret_cast<const std::uint32_t*>(pChunk + 16);
    CInputTokenStream<std::uint32_t> stream(this, pTokens, dwTokenCount - 2);
    m_InputRegisters.clear();
    m_OutputRegisters.clear();
    m_OutputTemps.clear();
    m_Instructions.clear();
    std::vector<CDXX_FCConstruct*> FCStack;
    std::uint32_t dwLoopDepth = 0;
    std::uint32_t dwMaxLoopDepth = 0;
    std::uint32_t nDeclarationLines = 0;
    std::uint32_t nDeclaredTemps = 0;

    CShaderDebuggerInstructionDXX instruction(m_pDebugger);
    while (stream.GetTokensRead() < stream.GetTokenCount())
    {
        if (!instruction.ReadInstruction(stream))
        {
            Refuse("Invalid shader.");
            return false;
        }
        const std::uint32_t nOpCode = instruction.GetOpCode();
        if (nOpCode == DXX_OPCODE_CUSTOMDATA)
        {
            nDeclarationLines += m_Instructions.empty() ? 1 : 0;
            continue;
        }
        if (!IsExecutable(nOpCode) && nOpCode != OP_LABEL)
        {
            ++nDeclarationLines;
            if (nOpCode == OP_DCL_TEMPS)
            {
                if (instruction.GetLength() != 2)
                {
                    SDU_SetContext(pHost, false, "", __FILE__, __LINE__, __func__);
                    SDU_Log(3, "D3D10 Shader Patcher expects all DCL_TEMPS instructions to "
                               "have instruction length == 2.\n");
                    Refuse("Invalid shader.");
                    return false;
                }
                nDeclaredTemps = instruction.GetTokens()[1];
                if (nDeclaredTemps > D3D10_COMMONSHADER_TEMP_REGISTER_COUNT - TEMPS_NEEDED)
                {
                    Refuse("There are insufficient free temp registers.");
                    return false;
                }
            }
            if (!AnalyzeDeclaration(instruction, bExtended))
            {
                return false;
            }
            continue;
        }
        if (!AnalyzeFlow(instruction, m_nInstructionCount, FCStack, dwLoopDepth, dwMaxLoopDepth))
        {
            return false;
        }
        m_Instructions.push_back(instruction);
        Register dest;
        Register dest2;
        const bool bDest = instruction.GetDestRegister(dest);
        const bool bDest2 = instruction.GetDestRegister2(dest2);
        if (bDest)
        {
            m_RegisterOutput[m_nInstructionCount] = dest;
            if (bDest2)
            {
                m_RegisterOutput2[m_nInstructionCount] = dest2;
            }
        }
        else if (bDest2)
        {
            m_RegisterOutput[m_nInstructionCount] = dest2;
        }
        if (instruction.GetDestRegCount() == 2)
        {
            m_bHasTwoDestInstructions = true;
        }
        ++m_nInstructionCount;
    }
    // A construct left open can't be closed behind a target.
    if (!FCStack.empty() || m_nInstructionCount == 0)
    {
        Refuse("Invalid shader.");
        return false;
    }
    if (m_ShaderObject.GetSTATData() == NULL)
    {
        m_nTempRegisterCount = nDeclaredTemps;
    }
    m_DeclaredRegisters.nTemps = nDeclaredTemps;
    m_nLastInstruction = m_nInstructionCount - 1;
    if (!LayOutTemps(dwMaxLoopDepth))
    {
        return false;
    }

    std::string strDisassembly;
    if (pHost != NULL)
    {
        pHost->DisassembleShader(m_pShaderData, m_nShaderDataSize, strDisassembly);
    }
    BuildLineMaps(strDisassembly, nDeclarationLines);
    m_Info.nDebuggableModes |= DEBUG_MODE_ASM;
    return true;
}

bool CShaderDebuggerShaderDXX::AnalyzeDeclaration(const CShaderDebuggerInstructionDXX& instruction,
                                                  bool bExtended)
{
    const std::uint32_t nOpCode = instruction.GetOpCode();
    if (bExtended && m_Info.nShaderType == ST_Pixel && IsUAVDeclaration(nOpCode))
    {
        Refuse("Pixel shaders with Unordered Access Views are not supported.");
        return false;
    }
    Register dest;
    if (!instruction.GetDestRegister(dest))
    {
        return true;
    }
    if (IsOutputDeclaration(nOpCode))
    {
        m_OutputRegisters[static_cast<std::uint32_t>(dest.reg.number)] = dest.mask;
        m_DeclaredRegisters.vOutputs.push_back(static_cast<std::uint32_t>(dest.reg.number));
        if (m_Info.nShaderType == ST_Pixel)
        {
            m_Info.nFlags[0] |= dest.reg.type == RT_Output ? 1 : 0;
            m_Info.nFlags[1] |= dest.reg.type == RT_oDepth ? 1 : 0;
            m_Info.nFlags[2] |= dest.reg.type == RT_oMask ? 1 : 0;
            m_DeclaredRegisters.bDepth |= dest.reg.type == RT_oDepth;
            m_DeclaredRegisters.bCoverageMask |= dest.reg.type == RT_oMask;
        }
        else if (m_Info.nShaderType == ST_Vertex && nOpCode == OP_DCL_OUTPUT_SIV &&
                 instruction.GetOutputSystemValue() == SV_POSITION)
        {
            m_nPositionRegister = static_cast<std::uint32_t>(dest.reg.number);
            m_Info.nFlags[0] = 1;
            m_Info.nFlags[3] = static_cast<unsigned char>(m_nPositionRegister);
        }
    }
    else if (IsInputDeclaration(nOpCode) && dest.reg.type != RT_Null)
    {
        m_InputRegisters[dest.reg] |= dest.mask;
        m_DeclaredRegisters.vInputs.push_back(static_cast<std::uint32_t>(dest.reg.number));
    }
    return true;
}

bool CShaderDebuggerShaderDXX::AnalyzeFlow(const CShaderDebuggerInstructionDXX& instruction,
                                           std::uint32_t nInstruction,
                                           std::vector<CDXX_FCConstruct*>& FCStack,
                                           std::uint32_t& dwLoopDepth,
                                           std::uint32_t& dwMaxLoopDepth)
{
    CShaderDebuggerHost* pHost = GetHost();
    const std::uint32_t nOpCode = instruction.GetOpCode();
    const std::string strName = GetOpCodeName(nOpCode);
    if (IsRefusedFlow(nOpCode) || nOpCode >= DXX_OPCODE_COUNT || strName == "Unknown OpCode")
    {
        Refuse("IL instruction " + strName + " is not yet supported.");
        return false;
    }
    if (nOpCode == OP_FCALL)
    {
        Refuse("Dynamic linkage is not supported.");
        return false;
    }
    if (nOpCode >= OP_IMM_ATOMIC_FIRST && nOpCode <= OP_IMM_ATOMIC_LAST)
    {
        Refuse("Immediate atomic operations (" + strName + ") are not supported.");
        return false;
    }
    CDXX_FCConstruct* pTop = FCStack.empty() ? NULL : FCStack.back();
    switch (nOpCode)
    {
    case OP_IF:
    {
        m_vConstructs.emplace_back(new CDXX_IfElseEndif(pTop, nInstruction));
        FCStack.push_back(m_vConstructs.back().get());
        m_FCConstructs[nInstruction] = FCStack.back();
        return true;
    }
    case OP_ELSE:
    case OP_ENDIF:
    {
        SDU_Assert(pHost, !FCStack.empty());
        CDXX_IfElseEndif* pIf = pTop != NULL ? pTop->AsIfElseEndif() : NULL;
        SDU_Assert(pHost, pIf);
        if (pIf == NULL || (nOpCode == OP_ELSE && pIf->HasElse()))
        {
            Refuse("Invalid shader.");
            return false;
        }
        m_FCConstructs[nInstruction] = pIf;
        if (nOpCode == OP_ELSE)
        {
            pIf->m_nElse = nInstruction;
        }
        else
        {
            pIf->m_nEnd = nInstruction;
            FCStack.pop_back();
        }
        return true;
    }
    case OP_LOOP:
    {
        m_vConstructs.emplace_back(new CDXX_Loop(pTop, nInstruction));
        FCStack.push_back(m_vConstructs.back().get());
        m_FCConstructs[nInstruction] = FCStack.back();
        dwMaxLoopDepth = std::max(dwMaxLoopDepth, ++dwLoopDepth);
        return true;
    }
    case OP_ENDLOOP:
    {
        CDXX_Loop* pLoop = pTop != NULL ? pTop->AsLoop() : NULL;
        SDU_Assert(pHost, pLoop);
        if (pLoop == NULL)
        {
            Refuse("Invalid shader.");
            return false;
        }
        m_FCConstructs[nInstruction] = pLoop;
        pLoop->m_nEnd = nInstruction;
        FCStack.pop_back();
        --dwLoopDepth;
        return true;
    }
    case OP_BREAK:
    case OP_BREAKC:
        SDU_Assert(pHost, !FCStack.empty());
        if (FCStack.empty())
        {
            Refuse("Invalid shader.");
            return false;
        }
        m_FCConstructs[nInstruction] = pTop;
        return true;
    default:
        m_FCConstructs[nInstruction] = pTop;
        return true;
    }
}

bool CShaderDebuggerShaderDXX::LayOutTemps(std::uint32_t dwMaxLoopDepth)
{
    const bool bCompute = m_Info.nShaderType == ST_Compute;
    const std::uint32_t nLoopTemps = (dwMaxLoopDepth + 3) / 4;
    m_nPatchedTempRegisterCount = m_nTempRegisterCount + nLoopTemps +
                                  static_cast<std::uint32_t>(m_OutputRegisters.size()) + 2 +
                                  (m_bHasTwoDestInstructions ? 1 : 0) + (bCompute ? 1 : 0);
    std::uint32_t nTemp = m_nTempRegisterCount;
    m_nOutputTempReg = nTemp++;
    if (m_bHasTwoDestInstructions)
    {
        m_nOutputTempReg2 = nTemp++;
    }
    m_nExecMaskTempReg = nTemp++;
    if (bCompute)
    {
        m_nAddrTempReg = nTemp++;
        if (!m_ShaderObject.FindFreeOutputSlot(m_nOutputRegister0))
        {
            Refuse("There is no free UAV slot for the debugger's results.");
            return false;
        }
    }
    for (const std::pair<const std::uint32_t, unsigned short>& output : m_OutputRegisters)
    {
        m_OutputTemps[output.first] = nTemp++;
    }
    if (m_Info.nShaderType == ST_Vertex)
    {
        m_nOutputRegister0 = 1;
        m_nOutputRegister1 = 3;
        m_nExecMaskOutputRegister = 2;
        m_nPatchedPositionRegister = 0;
    }
    // Loops of one depth never run at once, so they share a counter component.
    for (const std::unique_ptr<CDXX_FCConstruct>& pConstruct : m_vConstructs)
    {
        CDXX_Loop* pLoop = pConstruct->AsLoop();
        if (pLoop != NULL)
        {
            const std::uint32_t nDepth = pLoop->GetLoopDepth() - 1;
            pLoop->m_nCountRegister = nTemp + nDepth / 4;
            pLoop->m_nCountComponent = GetComponent(nDepth & 3);
        }
    }
    return true;
}

void CShaderDebuggerShaderDXX::BuildLineMaps(const std::string& strDisassembly,
                                             std::uint32_t nDeclarationLines)
{
    m_InstructionToLine.clear();
    m_LineToInstruction.clear();
    // The version line stands before the declarations.
    const std::uint32_t nSkip = nDeclarationLines + 1;
    std::uint32_t nSkipLeft = nSkip;
    std::uint32_t nInstruction = 0;
    bool bInPreshader = false;
    std::istringstream stream(strDisassembly);
    std::uint32_t nLine = 0;
    for (std::string strRaw; std::getline(stream, strRaw); ++nLine)
    {
        const std::string strLine = LeftTrimmed(strRaw);
        if (bInPreshader)
        {
            bInPreshader = strLine.empty() || strLine[0] != '/';
            continue;
        }
        if (strLine.compare(0, 9, "preshader") == 0)
        {
            m_InstructionToLine.clear();
            m_LineToInstruction.clear();
            nInstruction = 0;
            nSkipLeft = nSkip;
            bInPreshader = true;
            continue;
        }
        if (strLine.empty() || strLine[0] == '/' || strLine[0] == '#' || strLine[0] == '{')
        {
            continue;
        }
        if (nSkipLeft > 0)
        {
            --nSkipLeft;
            continue;
        }
        m_InstructionToLine[nInstruction] = nLine;
        m_LineToInstruction[nLine] = nInstruction;
        ++nInstruction;
    }
}

CDXX_FCConstruct* CShaderDebuggerShaderDXX::GetConstruct(std::uint32_t nInstruction) const
{
    const auto it = m_FCConstructs.find(nInstruction);
    return it != m_FCConstructs.end() ? it->second : NULL;
}

Register CShaderDebuggerShaderDXX::GetRegisterOutput(const ProgramCounter& pc) const
{
    const auto it = m_RegisterOutput.find(pc.m_nPos);
    return it != m_RegisterOutput.end() ? it->second : g_Reg_NULL;
}

Register CShaderDebuggerShaderDXX::GetRegisterOutput2(const ProgramCounter& pc) const
{
    const auto it = m_RegisterOutput2.find(pc.m_nPos);
    return it != m_RegisterOutput2.end() ? it->second : g_Reg_NULL;
}

bool CShaderDebuggerShaderDXX::GetShaderText(std::string& strText, unsigned int nType)
{
    strText.clear();
    if (nType == 0)
    {
        nType = m_nDebugMode;
    }
    CShaderDebuggerHost* pHost = GetHost();
    if (nType == DEBUG_MODE_ASM)
    {
        return pHost != NULL && m_pShaderData != NULL &&
               pHost->DisassembleShader(m_pShaderData, m_nShaderDataSize, strText);
    }
    strText = m_ShaderObject.GetSourceText();
    return !strText.empty();
}

bool CShaderDebuggerShaderDXX::GetShaderKeywords(std::vector<std::string>& vKeywords,
                                                 unsigned int nType)
{
    vKeywords.clear();
    if (nType == 0)
    {
        nType = m_nDebugMode;
    }
    if (nType == DEBUG_MODE_ASM)
    {
        vKeywords =
            GetShaderKeywordsDXX(m_Info.nShaderType, m_Info.nVersionMajor, m_DeclaredRegisters);
    }
    else if (nType == DEBUG_MODE_SOURCE)
    {
        CShaderDebuggerDXX_HLSLInstrumentation::GetShaderKeywords(vKeywords);
    }
    return !vKeywords.empty();
}

unsigned int CShaderDebuggerShaderDXX::GetDefaultDebugMode()
{
    return m_nDebugMode;
}

bool CShaderDebuggerShaderDXX::SetDebugMode(unsigned int nMode)
{
    if (nMode == 0)
    {
        nMode = GetDefaultDebugMode();
    }
    if (!IsShaderDebuggable(nMode))
    {
        return false;
    }
    m_nDebugMode = nMode;
    return true;
}

unsigned int CShaderDebuggerShaderDXX::GetInstructionFromLine(unsigned int nLine)
{
    const auto it = m_LineToInstruction.find(nLine);
    return it != m_LineToInstruction.end() ? it->second : g_nInvalidInstruction;
}

unsigned int CShaderDebuggerShaderDXX::GetLineFromInstruction(unsigned int nInstruction)
{
    const auto it = m_InstructionToLine.find(nInstruction);
    return it != m_InstructionToLine.end() ? it->second : g_nInvalidLine;
}
} // namespace XAN_ShaderDebugger
