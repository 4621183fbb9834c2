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
      m_nDebugMode(DEBUG_MODE_ASM), m_HLSL(pDebugger), m_LastPatchTarget(g_PC_NULL),
      m_pOriginalShader(NULL), m_pOriginalGeometryShader(NULL), m_pOriginalPixelShader(NULL),
      m_pPatchedShader(NULL), m_pStreamOutShader(NULL), m_bUnbindPixelStage(false)
{
}

// The application's shaders are bound again before the patched ones go.
CShaderDebuggerShaderDXX::~CShaderDebuggerShaderDXX()
{
    RestoreShader(true);
}

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

std::uint32_t CShaderDebuggerShaderDXX::GetRegisterDataType(std::uint32_t nInstruction,
                                                            const Register& reg) const
{
    if (nInstruction >= m_Instructions.size())
    {
        return 0;
    }
    const CShaderDebuggerInstructionDXX& instruction = m_Instructions[nInstruction];
    const std::uint32_t nDataType =
        CShaderDebuggerInstructionDXX::GetDataType(instruction.GetTokens()[0]);
    if (nDataType != 2)
    {
        return nDataType;
    }
    std::uint32_t nSlot = static_cast<std::uint32_t>(reg.reg.number);
    for (std::uint32_t n = 0; n < instruction.GetSrcRegCount(); ++n)
    {
        Register src;
        if (instruction.GetSrcRegister(n, src) && src.reg.type == RT_Resource)
        {
            nSlot = static_cast<std::uint32_t>(src.reg.number);
            break;
        }
    }
    return ReturnTypeToDataType(m_ShaderObject.GetTextureReturnType(nSlot));
}

std::uint32_t CShaderDebuggerShaderDXX::GetRegisterDataType(const Register& reg) const
{
    return GetRegisterDataType(m_nCurrentInstruction.m_nPos, reg);
}

Register CShaderDebuggerShaderDXX::GetSrcRegister(std::uint32_t nInstruction, std::uint32_t n) const
{
    return nInstruction < m_Instructions.size() ? m_Instructions[nInstruction].GetSrcRegister(n)
                                                : g_Reg_NULL;
}

Register CShaderDebuggerShaderDXX::GetSrcRegister(std::uint32_t n) const
{
    return GetSrcRegister(m_nCurrentInstruction.m_nPos, n);
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

namespace XAN_ShaderDebugger
{
namespace
{
typedef COutputTokenStream<std::uint32_t> OutStream;

enum PatchOpCode : std::uint32_t
{
    OP_CONTINUE = 7,
    OP_CONTINUEC = 8,
    OP_IADD = 30,
    OP_IMAD = 35,
    OP_ISHL = 41,
    OP_MOV = 54,
    OP_RET = 62,
    OP_DCL_OUTPUT = 101,
    OP_DCL_UAV_RAW = 157,
    OP_STORE_RAW = 166
};

const std::uint32_t OPERAND_UAV = 30;
const std::uint32_t OPERAND_THREAD_ID = 32;
const std::uint32_t ALL_COMPONENTS = 0xF0;
const std::uint32_t IDENTITY_SWIZZLE = 0xE40;
const std::uint32_t FLOAT_ONE = 0x3F800000;

std::uint32_t ChunkFourCC(const char* pName)
{
    std::uint32_t nFourCC = 0;
    std::memcpy(&nFourCC, pName, 4);
    return nFourCC;
}

} // namespace

void WriteOpcode(OutStream& stream, std::uint32_t nOpCode, std::uint32_t nLength, bool bTestNonZero,
                 std::uint32_t nExtra)
{
    stream.WriteToken(nOpCode | (bTestNonZero ? 1u << 18 : 0u) | (nExtra & 0x7800) |
                      (nLength << 24));
}

// WriteTempDest, WriteOutputDest and WriteUAVDest by their operand type.
void WriteDest(OutStream& stream, std::uint32_t nOperandType, std::uint32_t nNumber,
               std::uint32_t maskBits)
{
    stream.WriteToken(EncodeOperand(nOperandType, maskBits));
    stream.WriteToken(nNumber);
}

namespace
{
void WriteSelectSource(OutStream& stream, std::uint32_t nOperandType, std::uint32_t nNumber,
                       std::uint32_t nComponent)
{
    stream.WriteToken(0x10000A | (nOperandType << 12) | (nComponent << 4));
    stream.WriteToken(nNumber);
}

void WriteSwizzleSource(OutStream& stream, std::uint32_t nOperandType, std::uint32_t nNumber,
                        std::uint32_t nSwizzle)
{
    stream.WriteToken(0x100006 | (nOperandType << 12) | nSwizzle);
    stream.WriteToken(nNumber);
}

} // namespace

void WriteImmediate1(OutStream& stream, std::uint32_t nValue)
{
    stream.WriteToken(0x4001);
    stream.WriteToken(nValue);
}

namespace
{

void WriteImmediate4(OutStream& stream, std::uint32_t nValue)
{
    stream.WriteToken(0x4002);
    for (int i = 0; i < 4; ++i)
    {
        stream.WriteToken(nValue);
    }
}

// mov r[n].xyzw, l(v, v, v, v)
void WriteTempFill(OutStream& stream, std::uint32_t nTemp, std::uint32_t nValue)
{
    WriteOpcode(stream, OP_MOV, 8);
    WriteDest(stream, DXX_OPERAND_TEMP, nTemp, ALL_COMPONENTS);
    WriteImmediate4(stream, nValue);
}

// mov dest[n].mask, src[m].xyzw
void WriteMove(OutStream& stream, std::uint32_t nDestType, std::uint32_t nDest,
               std::uint32_t maskBits, std::uint32_t nSrcType, std::uint32_t nSrc)
{
    WriteOpcode(stream, OP_MOV, 5);
    WriteDest(stream, nDestType, nDest, maskBits);
    WriteSwizzleSource(stream, nSrcType, nSrc, IDENTITY_SWIZZLE);
}

std::uint32_t ComponentIndex(std::uint32_t nComponentMask)
{
    std::uint32_t nIndex = 0;
    while (nIndex < 3 && (nComponentMask & (1u << nIndex)) == 0)
    {
        ++nIndex;
    }
    return nIndex;
}

// iadd r[n].c, r[n].c, l(-1): one pass of a loop counted.
void WriteCounterDecrement(OutStream& stream, const CDXX_Loop& loop)
{
    const std::uint32_t nComponent = ComponentIndex(loop.GetCountComponent());
    WriteOpcode(stream, OP_IADD, 7);
    WriteDest(stream, DXX_OPERAND_TEMP, loop.m_nCountRegister, loop.GetCountComponent() << 4);
    WriteSelectSource(stream, DXX_OPERAND_TEMP, loop.m_nCountRegister, nComponent);
    WriteImmediate1(stream, 0xFFFFFFFF);
}

bool IsOpen(std::uint32_t nOpCode, std::uint32_t nFirst, std::uint32_t nSecond)
{
    return nOpCode == nFirst || nOpCode == nSecond;
}
} // namespace

CDXX_Loop*
CShaderDebuggerShaderDXX::GetLoopHoldingTarget(std::uint32_t nInstruction,
                                               const ProgramCounter& nTargetInstruction) const
{
    for (CDXX_FCConstruct* pConstruct = GetConstruct(nInstruction); pConstruct != NULL;
         pConstruct = pConstruct->GetParent())
    {
        CDXX_Loop* pLoop = pConstruct->AsLoop();
        if (pLoop != NULL)
        {
            return nTargetInstruction.m_nPos >= pLoop->GetStart() &&
                           nTargetInstruction.m_nPos < pLoop->GetEnd()
                       ? pLoop
                       : NULL;
        }
    }
    return NULL;
}

void CShaderDebuggerShaderDXX::WriteContinueDecrement(
    OutStream& stream, std::uint32_t nCurrentInstruction, const ProgramCounter& nTargetInstruction,
    const CShaderDebuggerInstructionDXX& instruction)
{
    const CDXX_Loop* pLoop = GetLoopHoldingTarget(nCurrentInstruction, nTargetInstruction);
    if (pLoop == NULL)
    {
        return;
    }
    if (instruction.GetOpCode() == OP_CONTINUE)
    {
        WriteCounterDecrement(stream, *pLoop);
        return;
    }
    // continuec: the decrement under an if of the same test and condition.
    std::vector<std::uint32_t> vIf(instruction.GetTokens(),
                                   instruction.GetTokens() + instruction.GetLength());
    vIf[0] = (vIf[0] & ~0x7FFu) | OP_IF;
    stream.WriteTokens(vIf.data(), vIf.size());
    WriteCounterDecrement(stream, *pLoop);
    WriteOpcode(stream, OP_ENDIF, 1);
}

bool CShaderDebuggerShaderDXX::ReplaceOutputs(CShaderDebuggerInstructionDXX& instruction) const
{
    bool bReplaced = false;
    for (int nDest = 0; nDest < 2; ++nDest)
    {
        Register dest;
        const bool bDecoded =
            nDest == 0 ? instruction.GetDestRegister(dest) : instruction.GetDestRegister2(dest);
        if (!bDecoded || !IsOutputRegister(dest.reg.type))
        {
            continue;
        }
        const auto it = m_OutputTemps.find(static_cast<std::uint32_t>(dest.reg.number));
        const RegisterID temp = it != m_OutputTemps.end()
                                    ? RegisterID(RT_Temp, static_cast<int>(it->second), 0, NULL)
                                    : RegisterID(RT_Null, 0, 0, NULL);
        const unsigned short nMask = it != m_OutputTemps.end() ? dest.mask : 0;
        bReplaced = true;
        if (nDest == 0)
        {
            instruction.SetDestRegister(temp, nMask);
        }
        else
        {
            instruction.SetDestRegister2(temp, nMask);
        }
    }
    return bReplaced;
}

void CShaderDebuggerShaderDXX::WriteKeptInstruction(OutStream& stream,
                                                    CShaderDebuggerInstructionDXX& instruction)
{
    const bool bReplaced = ReplaceOutputs(instruction);
    Register dest;
    Register dest2;
    const bool bDest = instruction.GetDestRegister(dest) && dest.reg.type != RT_Null;
    const bool bDest2 = instruction.GetDestRegister2(dest2) && dest2.reg.type != RT_Null;
    if (bReplaced || bDest || bDest2)
    {
        instruction.WriteInstruction(stream);
    }
}

bool CShaderDebuggerShaderDXX::DuplicatePositionWrite(
    CShaderDebuggerInstructionDXX& instruction) const
{
    bool bKept = false;
    bool bAnyDest = false;
    for (int nDest = 0; nDest < 2; ++nDest)
    {
        Register dest;
        if (!(nDest == 0 ? instruction.GetDestRegister(dest) : instruction.GetDestRegister2(dest)))
        {
            continue;
        }
        bAnyDest = true;
        if (!IsOutputRegister(dest.reg.type))
        {
            bKept = true;
            continue;
        }
        const bool bPosition = dest.reg.type == RT_Output &&
                               static_cast<std::uint32_t>(dest.reg.number) == m_nPositionRegister;
        const RegisterID newReg =
            bPosition ? RegisterID(RT_Output, static_cast<int>(m_nPatchedPositionRegister), 0, NULL)
                      : RegisterID(RT_Null, 0, 0, NULL);
        const unsigned short nMask = bPosition ? dest.mask : 0;
        bKept |= bPosition;
        if (nDest == 0)
        {
            instruction.SetDestRegister(newReg, nMask);
        }
        else
        {
            instruction.SetDestRegister2(newReg, nMask);
        }
    }
    return bKept || !bAnyDest;
}

void CShaderDebuggerShaderDXX::CopyPositionWrites(OutStream& stream,
                                                  CInputTokenStream<std::uint32_t>& input,
                                                  const CShaderDebuggerInstructionDXX& instruction,
                                                  std::uint32_t nNextInstruction,
                                                  bool bWithInstruction)
{
    // A target counts only when it writes the position: one that writes a temp must not run
    // twice.
    CShaderDebuggerInstructionDXX copy(instruction);
    const RegisterID position(RT_Output, static_cast<int>(m_nPositionRegister), 0, NULL);
    if ((bWithInstruction || instruction.WritesRegister(position)) && DuplicatePositionWrite(copy))
    {
        copy.WriteInstruction(stream);
    }
    CShaderDebuggerInstructionDXX next(m_pDebugger);
    std::uint32_t nCurrent = nNextInstruction;
    while (input.GetTokensRead() < input.GetTokenCount() && next.ReadInstruction(input))
    {
        if (next.GetOpCode() == DXX_OPCODE_CUSTOMDATA)
        {
            next.WriteInstruction(stream);
            continue;
        }
        // The shader's own end; a ret inside a construct is copied with it.
        if (next.GetOpCode() == OP_RET && GetConstruct(nCurrent) == NULL)
        {
            break;
        }
        if (DuplicatePositionWrite(next))
        {
            next.WriteInstruction(stream);
        }
        ++nCurrent;
    }
}

} // namespace XAN_ShaderDebugger

namespace XAN_ShaderDebugger
{
void CShaderDebuggerShaderDXX::WriteTarget(OutStream& stream,
                                           const CShaderDebuggerInstructionDXX& instruction)
{
    Register dest;
    Register dest2;
    const bool bDest = instruction.GetDestRegister(dest);
    const bool bDest2 = instruction.GetDestRegister2(dest2);
    if (!bDest && !bDest2)
    {
        return;
    }
    CShaderDebuggerInstructionDXX copy(instruction);
    ReplaceOutputs(copy);
    copy.WriteInstruction(stream);
    // The first working destination goes to the first result, a second one to the second.
    std::uint32_t nResultTemp = m_nOutputTempReg;
    for (int nDest = 0; nDest < 2; ++nDest)
    {
        const Register& original = nDest == 0 ? dest : dest2;
        Register patched;
        if (!(nDest == 0 ? bDest : bDest2) ||
            !(nDest == 0 ? copy.GetDestRegister(patched) : copy.GetDestRegister2(patched)))
        {
            continue;
        }
        if (patched.reg.type != RT_Null && original.reg.type != RT_IndexableTemp)
        {
            WriteMove(stream, DXX_OPERAND_TEMP, nResultTemp, ALL_COMPONENTS,
                      RegisterTypeToOperandType(patched.reg.type),
                      static_cast<std::uint32_t>(patched.reg.number));
        }
        nResultTemp = m_nOutputTempReg2;
    }
}

bool CShaderDebuggerShaderDXX::PatchFlowControlInstruction(
    OutStream& stream, std::uint32_t nCurrentInstruction, const ProgramCounter& nTargetInstruction,
    const CShaderDebuggerInstructionDXX& instruction)
{
    CShaderDebuggerHost* pHost = GetHost();
    const std::uint32_t nOpCode = instruction.GetOpCode();
    // Pops entries up to the first of the two opcodes.
    const auto PopUntil = [this](std::uint32_t nFirst, std::uint32_t nSecond)
    {
        while (!m_FlowControlStack.empty())
        {
            const std::uint32_t nTop = m_FlowControlStack.back();
            m_FlowControlStack.pop_back();
            if (IsOpen(m_Instructions[nTop].GetOpCode(), nFirst, nSecond))
            {
                return;
            }
        }
    };
    CDXX_Loop* pTargetLoop = NULL;
    switch (nOpCode)
    {
    case OP_IF:
        m_FlowControlStack.push_back(nCurrentInstruction);
        break;
    case OP_ELSE:
        PopUntil(OP_IF, OP_IF);
        m_FlowControlStack.push_back(nCurrentInstruction);
        break;
    case OP_ENDIF:
        PopUntil(OP_IF, OP_ELSE);
        break;
    case OP_LOOP:
    {
        m_FlowControlStack.push_back(nCurrentInstruction);
        CDXX_FCConstruct* pConstruct = GetConstruct(nCurrentInstruction);
        CDXX_Loop* pLoop = pConstruct != NULL ? pConstruct->AsLoop() : NULL;
        SDU_Assert(pHost, pLoop != NULL);
        if (pLoop != NULL && nTargetInstruction.m_nPos >= pLoop->GetStart() &&
            nTargetInstruction.m_nPos < pLoop->GetEnd())
        {
            pTargetLoop = pLoop;
            LoopState state = {pLoop->GetStart(), pLoop->GetEnd(), 0};
            const bool bGotLoopState = nTargetInstruction.GetLoopState(pLoop->GetStart(), &state);
            SDU_Assert(pHost, bGotLoopState);
            WriteOpcode(stream, OP_MOV, 5);
            WriteDest(stream, DXX_OPERAND_TEMP, pLoop->m_nCountRegister,
                      pLoop->GetCountComponent() << 4);
            WriteImmediate1(stream, state.nIteration + 1);
        }
        break;
    }
    case OP_ENDLOOP:
    {
        PopUntil(OP_LOOP, OP_LOOP);
        const CDXX_Loop* pLoop = GetLoopHoldingTarget(nCurrentInstruction, nTargetInstruction);
        if (pLoop != NULL)
        {
            WriteCounterDecrement(stream, *pLoop);
        }
        break;
    }
    case OP_CONTINUE:
    case OP_CONTINUEC:
        WriteContinueDecrement(stream, nCurrentInstruction, nTargetInstruction, instruction);
        break;
    default:
        break;
    }
    instruction.WriteInstruction(stream);
    if (pTargetLoop != NULL)
    {
        // The pass limit, and the flag cleared at the head of every pass.
        WriteOpcode(stream, OP_BREAKC, 3);
        WriteSelectSource(stream, DXX_OPERAND_TEMP, pTargetLoop->m_nCountRegister,
                          ComponentIndex(pTargetLoop->GetCountComponent()));
        WriteTempFill(stream, m_nExecMaskTempReg, 0);
    }
    return true;
}

bool CShaderDebuggerShaderDXX::FinalizeFlowControl(CInputTokenStream<std::uint32_t>& input,
                                                   OutStream& stream,
                                                   std::uint32_t nCurrentInstruction,
                                                   const ProgramCounter& nTarget)
{
    CShaderDebuggerHost* pHost = GetHost();
    const auto HoldsLoop = [this]()
    {
        for (std::uint32_t nEntry : m_FlowControlStack)
        {
            if (m_Instructions[nEntry].GetOpCode() == OP_LOOP)
            {
                return true;
            }
        }
        return false;
    };
    // The rest of each open loop's body is copied, so that what it opened closes by itself.
    CShaderDebuggerInstructionDXX instruction(m_pDebugger);
    while (HoldsLoop())
    {
        const std::uint32_t nTop = m_FlowControlStack.back();
        m_FlowControlStack.pop_back();
        if (m_Instructions[nTop].GetOpCode() != OP_LOOP)
        {
            continue;
        }
        std::uint32_t dwDepth = 1;
        while (dwDepth > 0)
        {
            if (input.GetTokensRead() >= input.GetTokenCount() ||
                !instruction.ReadInstruction(input))
            {
                return false;
            }
            const std::uint32_t nOpCode = instruction.GetOpCode();
            if (nOpCode == DXX_OPCODE_CUSTOMDATA)
            {
                instruction.WriteInstruction(stream);
                continue;
            }
            SDU_Assert(pHost, m_Instructions[nCurrentInstruction].GetOpCode() == nOpCode);
            if (nOpCode == OP_ENDLOOP)
            {
                const CDXX_Loop* pLoop = GetLoopHoldingTarget(nCurrentInstruction, nTarget);
                if (pLoop != NULL)
                {
                    WriteCounterDecrement(stream, *pLoop);
                }
                --dwDepth;
            }
            else if (nOpCode == OP_LOOP)
            {
                ++dwDepth;
            }
            else if (nOpCode == OP_CONTINUE || nOpCode == OP_CONTINUEC)
            {
                WriteContinueDecrement(stream, nCurrentInstruction, nTarget, instruction);
            }
            if (IsFlowControl(nOpCode))
            {
                instruction.WriteInstruction(stream);
            }
            else
            {
                WriteKeptInstruction(stream, instruction);
            }
            ++nCurrentInstruction;
        }
    }
    while (!m_FlowControlStack.empty())
    {
        const std::uint32_t nOpCode = m_Instructions[m_FlowControlStack.back()].GetOpCode();
        m_FlowControlStack.pop_back();
        SDU_Assert(pHost, (nOpCode == OP_IF || nOpCode == OP_ELSE) && "Unhandled flow control op");
        WriteOpcode(stream, OP_ENDIF, 1);
    }
    return true;
}

void CShaderDebuggerShaderDXX::WriteDeclarations(OutStream& stream)
{
    if (m_Info.nShaderType == ST_Compute)
    {
        WriteOpcode(stream, OP_DCL_UAV_RAW, 3);
        WriteDest(stream, OPERAND_UAV, m_nOutputRegister0, 0);
    }
    else
    {
        if (m_Info.nShaderType == ST_Vertex)
        {
            WriteOpcode(stream, OP_DCL_OUTPUT_SIV, 4);
            WriteDest(stream, DXX_OPERAND_OUTPUT, m_nPatchedPositionRegister, ALL_COMPONENTS);
            stream.WriteToken(SV_POSITION);
        }
        WriteOpcode(stream, OP_DCL_OUTPUT, 3);
        WriteDest(stream, DXX_OPERAND_OUTPUT, m_nOutputRegister0, ALL_COMPONENTS);
        if (m_bHasTwoDestInstructions)
        {
            WriteOpcode(stream, OP_DCL_OUTPUT, 3);
            WriteDest(stream, DXX_OPERAND_OUTPUT, m_nOutputRegister1, ALL_COMPONENTS);
        }
        WriteOpcode(stream, OP_DCL_OUTPUT, 3);
        WriteDest(stream, DXX_OPERAND_OUTPUT, m_nExecMaskOutputRegister, ALL_COMPONENTS);
    }
    WriteOpcode(stream, OP_DCL_TEMPS, 2);
    stream.WriteToken(m_nPatchedTempRegisterCount);
    for (std::uint32_t nTemp = 0; nTemp < m_nPatchedTempRegisterCount; ++nTemp)
    {
        WriteTempFill(stream, nTemp, 0);
    }
}

void CShaderDebuggerShaderDXX::WriteInputDump(OutStream& stream, const Register& inputReg)
{
    if (m_Info.nShaderType == ST_Vertex)
    {
        WriteOpcode(stream, OP_DCL_OUTPUT_SIV, 4);
        WriteDest(stream, DXX_OPERAND_OUTPUT, m_nPatchedPositionRegister, ALL_COMPONENTS);
        stream.WriteToken(SV_POSITION);
    }
    if (m_Info.nShaderType == ST_Compute)
    {
        WriteOpcode(stream, OP_DCL_UAV_RAW, 3);
        WriteDest(stream, OPERAND_UAV, m_nOutputRegister0, 0);
    }
    else
    {
        WriteOpcode(stream, OP_DCL_OUTPUT, 3);
        WriteDest(stream, DXX_OPERAND_OUTPUT, m_nOutputRegister0, ALL_COMPONENTS);
    }
    WriteOpcode(stream, OP_DCL_TEMPS, 2);
    stream.WriteToken(m_nPatchedTempRegisterCount);
    WriteTempFill(stream, m_nOutputTempReg, 0);
    WriteMove(stream, DXX_OPERAND_TEMP, m_nOutputTempReg,
              static_cast<std::uint32_t>(inputReg.mask) << 4,
              RegisterTypeToOperandType(inputReg.reg.type),
              static_cast<std::uint32_t>(inputReg.reg.number));
    if (m_Info.nShaderType == ST_Compute)
    {
        WriteComputeStore(stream, false);
    }
    else
    {
        WriteMove(stream, DXX_OPERAND_OUTPUT, m_nOutputRegister0, ALL_COMPONENTS, DXX_OPERAND_TEMP,
                  m_nOutputTempReg);
    }
}

void CShaderDebuggerShaderDXX::WriteOutputs(OutStream& stream)
{
    WriteMove(stream, DXX_OPERAND_OUTPUT, m_nOutputRegister0, ALL_COMPONENTS, DXX_OPERAND_TEMP,
              m_nOutputTempReg);
    if (m_bHasTwoDestInstructions)
    {
        WriteMove(stream, DXX_OPERAND_OUTPUT, m_nOutputRegister1, ALL_COMPONENTS, DXX_OPERAND_TEMP,
                  m_nOutputTempReg2);
    }
    WriteMove(stream, DXX_OPERAND_OUTPUT, m_nExecMaskOutputRegister, ALL_COMPONENTS,
              DXX_OPERAND_TEMP, m_nExecMaskTempReg);
}

void CShaderDebuggerShaderDXX::WriteComputeStore(OutStream& stream, bool bWithFlag)
{
    const std::uint32_t nWidth = m_pDebugger != NULL ? m_pDebugger->GetWorkSize0() : 0;
    const std::uint32_t nHeight = m_pDebugger != NULL ? m_pDebugger->GetWorkSize1() : 0;
    const std::uint32_t nBlock = nWidth * nHeight * 16;
    const std::uint32_t a = m_nAddrTempReg;
    // r[a].x: the thread's index; r[a].y: the byte address of its results.
    WriteOpcode(stream, OP_IMAD, 9);
    WriteDest(stream, DXX_OPERAND_TEMP, a, 0x10);
    WriteSelectSource(stream, OPERAND_THREAD_ID, 0, 1);
    WriteImmediate1(stream, nWidth);
    WriteSelectSource(stream, OPERAND_THREAD_ID, 0, 0);
    WriteOpcode(stream, OP_ISHL, 7);
    WriteDest(stream, DXX_OPERAND_TEMP, a, 0x20);
    WriteSelectSource(stream, DXX_OPERAND_TEMP, a, 0);
    WriteImmediate1(stream, 4);
    WriteOpcode(stream, OP_STORE_RAW, 7);
    WriteDest(stream, OPERAND_UAV, m_nOutputRegister0, ALL_COMPONENTS);
    WriteSelectSource(stream, DXX_OPERAND_TEMP, a, 1);
    WriteSwizzleSource(stream, DXX_OPERAND_TEMP, m_nOutputTempReg, IDENTITY_SWIZZLE);
    if (!bWithFlag)
    {
        return;
    }
    if (m_bHasTwoDestInstructions)
    {
        WriteOpcode(stream, OP_IADD, 7);
        WriteDest(stream, DXX_OPERAND_TEMP, a, 0x20);
        WriteSelectSource(stream, DXX_OPERAND_TEMP, a, 1);
        WriteImmediate1(stream, nBlock);
        WriteOpcode(stream, OP_STORE_RAW, 7);
        WriteDest(stream, OPERAND_UAV, m_nOutputRegister0, ALL_COMPONENTS);
        WriteSelectSource(stream, DXX_OPERAND_TEMP, a, 1);
        WriteSwizzleSource(stream, DXX_OPERAND_TEMP, m_nOutputTempReg2, IDENTITY_SWIZZLE);
    }
    WriteOpcode(stream, OP_IMAD, 9);
    WriteDest(stream, DXX_OPERAND_TEMP, a, 0x20);
    WriteSelectSource(stream, DXX_OPERAND_TEMP, a, 0);
    WriteImmediate1(stream, 4);
    WriteImmediate1(stream, (m_bHasTwoDestInstructions ? 2 : 1) * nBlock);
    WriteOpcode(stream, OP_STORE_RAW, 7);
    WriteDest(stream, OPERAND_UAV, m_nOutputRegister0, 0x10);
    WriteSelectSource(stream, DXX_OPERAND_TEMP, a, 1);
    WriteSelectSource(stream, DXX_OPERAND_TEMP, m_nExecMaskTempReg, 0);
}

bool CShaderDebuggerShaderDXX::PatchSHDRChunk(const std::uint8_t* pOriginalChunkHeader,
                                              OutStream& stream,
                                              const ProgramCounter& nTargetInstruction,
                                              const Register& targetInputReg)
{
    return PatchProgramChunk(pOriginalChunkHeader, stream, nTargetInstruction, targetInputReg,
                             false);
}

bool CShaderDebuggerShaderDXX::PatchSHEXChunk(const std::uint8_t* pOriginalChunkHeader,
                                              OutStream& stream,
                                              const ProgramCounter& nTargetInstruction,
                                              const Register& targetInputReg)
{
    return PatchProgramChunk(pOriginalChunkHeader, stream, nTargetInstruction, targetInputReg,
                             true);
}

bool CShaderDebuggerShaderDXX::PatchProgramChunk(const std::uint8_t* pOriginalChunkHeader,
                                                 OutStream& stream,
                                                 const ProgramCounter& nTargetInstruction,
                                                 const Register& targetInputReg, bool bExtended)
{
    CShaderDebuggerHost* pHost = GetHost();
    const bool bInputDump = targetInputReg != g_Reg_NULL;
    if (pOriginalChunkHeader == NULL ||
        (!bInputDump && nTargetInstruction.m_nPos >= m_nInstructionCount))
    {
        return false;
    }
    std::uint32_t nTokens = 0;
    const std::uint32_t* pTokens =
        WriteProgramHeader(pOriginalChunkHeader, stream, bExtended, nTokens);
    if (pTokens == NULL)
    {
        return false;
    }
    CInputTokenStream<std::uint32_t> input(this, pTokens, nTokens);
    SDU_Assert(pHost, m_FlowControlStack.empty());
    m_FlowControlStack.clear();

    std::uint32_t nCurrentInstruction = 0;
    bool bDeclared = false;
    bool bPatched = true;
    CShaderDebuggerInstructionDXX instruction(m_pDebugger);
    while (input.GetTokensRead() < input.GetTokenCount())
    {
        if (!instruction.ReadInstruction(input))
        {
            bPatched = false;
            break;
        }
        const std::uint32_t nOpCode = instruction.GetOpCode();
        if (nOpCode == DXX_OPCODE_CUSTOMDATA)
        {
            instruction.WriteInstruction(stream);
            continue;
        }
        if (!IsExecutable(nOpCode))
        {
            const bool bDropped =
                (IsOutputDeclaration(nOpCode) && !(bExtended && IsUAVDeclaration(nOpCode))) ||
                nOpCode == OP_DCL_TEMPS;
            if (!bDropped)
            {
                instruction.WriteInstruction(stream);
            }
            continue;
        }
        if (!bDeclared)
        {
            bDeclared = true;
            if (bInputDump)
            {
                WriteInputDump(stream, targetInputReg);
                if (m_Info.nShaderType == ST_Vertex)
                {
                    CopyPositionWrites(stream, input, instruction, 1, true);
                }
                WriteOpcode(stream, OP_RET, 1);
                break;
            }
            WriteDeclarations(stream);
        }
        const bool bTarget = nCurrentInstruction == nTargetInstruction.m_nPos;
        if (IsFlowControl(nOpCode))
        {
            PatchFlowControlInstruction(stream, nCurrentInstruction, nTargetInstruction,
                                        instruction);
        }
        else if (bTarget)
        {
            SDU_Assert(pHost, GetRegisterOutput(nTargetInstruction) ==
                                  (instruction.HasDestRegister() ? instruction.GetDestRegister()
                                                                 : instruction.GetDestRegister2()));
            WriteTarget(stream, instruction);
        }
        else
        {
            const RegisterID position(RT_Output, static_cast<int>(m_nPositionRegister), 0, NULL);
            if (m_Info.nShaderType == ST_Vertex && instruction.WritesRegister(position))
            {
                CShaderDebuggerInstructionDXX copy(instruction);
                if (DuplicatePositionWrite(copy))
                {
                    copy.WriteInstruction(stream);
                }
            }
            WriteKeptInstruction(stream, instruction);
        }
        if (bTarget)
        {
            WriteTempFill(stream, m_nExecMaskTempReg, FLOAT_ONE);
            if (m_Info.nShaderType == ST_Vertex)
            {
                CopyPositionWrites(stream, input, instruction, nCurrentInstruction + 1, false);
            }
            else
            {
                bPatched =
                    FinalizeFlowControl(input, stream, nCurrentInstruction + 1, nTargetInstruction);
            }
            if (m_Info.nShaderType == ST_Compute)
            {
                WriteComputeStore(stream, true);
            }
            else
            {
                WriteOutputs(stream);
            }
            WriteOpcode(stream, OP_RET, 1);
            break;
        }
        ++nCurrentInstruction;
    }
    m_FlowControlStack.clear();
    FinishProgramChunk(stream);
    return bPatched && bDeclared;
}

const std::uint32_t*
CShaderDebuggerShaderDXX::WriteProgramHeader(const std::uint8_t* pOriginalChunkHeader,
                                             OutStream& stream, bool bExtended,
                                             std::uint32_t& nTokens)
{
    std::uint32_t dwHeader[4];
    std::memcpy(dwHeader, pOriginalChunkHeader, sizeof(dwHeader));
    SDU_Assert(GetHost(), dwHeader[1] == dwHeader[3] * sizeof(std::uint32_t));
    if (dwHeader[1] != dwHeader[3] * sizeof(std::uint32_t) || dwHeader[3] <= 2)
    {
        return NULL;
    }
    stream.WriteToken(ChunkFourCC(bExtended ? "SHEX" : "SHDR"));
    stream.WriteToken(0);
    stream.WriteToken(dwHeader[2]);
    stream.WriteToken(dwHeader[3]);
    nTokens = dwHeader[3] - 2;
    return reinterpret_cast<const std::uint32_t*>(pOriginalChunkHeader + 16);
}

void CShaderDebuggerShaderDXX::FinishProgramChunk(OutStream& stream)
{
    const std::uint32_t nWritten = static_cast<std::uint32_t>(stream.GetTokensWritten());
    stream.WriteTokenAt(1, (nWritten - 2) * sizeof(std::uint32_t));
    stream.WriteTokenAt(3, nWritten - 2);
}

bool CShaderDebuggerShaderDXX::PatchOSGNChunk()
{
    D3D10ShaderObject::SignatureData& signature = m_PatchedShaderObject.GetOutputSignature();
    const std::uint32_t nStage = m_Info.nShaderType;
    if (nStage == ST_Compute)
    {
        return true;
    }
    SDU_Assert(GetHost(), (nStage == ST_Pixel || nStage == ST_Vertex) && "Unsupported shader type");
    if (nStage != ST_Pixel && nStage != ST_Vertex)
    {
        return false;
    }
    signature = D3D10ShaderObject::SignatureData();
    const auto Add = [this](const char* pName, std::uint32_t nIndex, std::uint32_t nSystemValue,
                            std::uint32_t nRegister)
    {
        D3D10ShaderObject::SignatureEntry entry = {};
        entry.nSemanticIndex = nIndex;
        entry.nSystemValue = nSystemValue;
        entry.nComponentType = 3;
        entry.nRegister = nRegister;
        entry.nMask = 15;
        m_PatchedShaderObject.AddOutputSignature(pName, entry);
    };
    if (nStage == ST_Pixel)
    {
        Add("SV_Target", m_nOutputRegister0, D3D10ShaderObject::SV_TARGET, m_nOutputRegister0);
        Add("SV_Target", m_nExecMaskOutputRegister, D3D10ShaderObject::SV_TARGET,
            m_nExecMaskOutputRegister);
        if (m_bHasTwoDestInstructions)
        {
            Add("SV_Target", m_nOutputRegister1, D3D10ShaderObject::SV_TARGET, m_nOutputRegister1);
        }
    }
    else
    {
        Add("SV_Position", 0, SV_POSITION, 0);
        Add("DBG_OUTPUT", 0, 0, m_nOutputRegister0);
        Add("DBG_EXEC_MASK", 0, 0, m_nExecMaskOutputRegister);
        Add("DBG_OUTPUT", 1, 0, m_nOutputRegister1);
    }
    return m_PatchedShaderObject.RebuildOSGN();
}

bool CShaderDebuggerShaderDXX::CreatePatchedShader(const ProgramCounter& nTargetInstruction,
                                                   const Register& targetInputReg)
{
    CShaderDebuggerHost* pHost = GetHost();
    SDU_Assert(pHost, nTargetInstruction != g_PC_NULL || targetInputReg != g_Reg_NULL);
    if ((nTargetInstruction == g_PC_NULL && targetInputReg == g_Reg_NULL) || pHost == NULL ||
        !IsShaderDebuggable(GetDefaultDebugMode()))
    {
        return false;
    }
    m_PatchedShaderObject = m_ShaderObject;
    SDU_SetContext(pHost, false, "", __FILE__, __LINE__, __func__);
    SDU_Log(7, "Patching shader to %i\n", static_cast<int>(nTargetInstruction.m_nPos));
    const std::uint8_t* pChunk = m_ShaderObject.GetShaderChunk();
    if (pChunk == NULL)
    {
        return false;
    }
    const bool bExtended = ChunkFourCC("SHEX") == *reinterpret_cast<const std::uint32_t*>(pChunk);
    OutStream stream(this, m_ShaderObject.GetShaderChunkSize() / sizeof(std::uint32_t));
    const bool bPatched = bExtended
                              ? PatchSHEXChunk(pChunk, stream, nTargetInstruction, targetInputReg)
                              : PatchSHDRChunk(pChunk, stream, nTargetInstruction, targetInputReg);
    bool bBuilt = bPatched && m_PatchedShaderObject.SetShaderChunk(stream.GetStream());
    if (bBuilt && m_Info.nShaderType == ST_Compute)
    {
        bBuilt = m_PatchedShaderObject.AddBufferBinding(m_nOutputRegister0, "XAN Debug Register") &&
                 m_PatchedShaderObject.RebuildRDEF();
    }
    return CreatePatchedDeviceShader(bBuilt && PatchOSGNChunk());
}

bool CShaderDebuggerShaderDXX::CreatePatchedDeviceShader(bool bPatched)
{
    CShaderDebuggerHost* pHost = GetHost();
    std::unique_ptr<IBlob> pBlob(bPatched ? m_PatchedShaderObject.CreateBlob(31) : NULL);
    SDU_Assert(pHost, pBlob != NULL && "pPatchedShaderObject != NULL");
    SDU_SetContext(pHost, false, "", __FILE__, __LINE__, __func__);
    if (pBlob == NULL || pHost == NULL)
    {
        SDU_Log(3, "Shader patching failed.\n");
        return false;
    }
    std::string strText;
    pHost->DisassembleShader(pBlob->GetData(), pBlob->GetSize(), strText);
    SDU_SetContext(pHost, false, "", __FILE__, __LINE__, __func__);
    SDU_Log(7, "%s", SDU_EscapePercent(strText).c_str());
    if (!pHost->CreateShader(m_Info.nShaderType, pBlob->GetData(), pBlob->GetSize(),
                             &m_pPatchedShader) ||
        m_pPatchedShader == NULL)
    {
        SDU_SetContext(pHost, false, "", __FILE__, __LINE__, __func__);
        SDU_Log(3, "CreateShader failed.\n");
        m_pPatchedShader = NULL;
        return false;
    }
    return true;
}

bool CShaderDebuggerShaderDXX::SwitchShader(const ProgramCounter& pc)
{
    if (pc != m_LastPatchTarget || m_pPatchedShader == NULL)
    {
        ReleasePatchedShaders();
        m_LastPatchTarget = pc;
        CreatePatchedShader(pc, g_Reg_NULL);
    }
    return SwitchShaderToPatchedShader();
}

bool CShaderDebuggerShaderDXX::SwitchShader(const Register& inputReg)
{
    ReleasePatchedShaders();
    m_LastPatchTarget = g_PC_NULL;
    CreatePatchedShader(g_PC_NULL, inputReg);
    return SwitchShaderToPatchedShader();
}

void CShaderDebuggerShaderDXX::ReleasePatchedShaders()
{
    CShaderDebuggerHost* pHost = GetHost();
    for (void** ppShader : {&m_pPatchedShader, &m_pStreamOutShader})
    {
        if (*ppShader != NULL && pHost != NULL)
        {
            pHost->ReleaseShader(*ppShader);
        }
        *ppShader = NULL;
    }
}

bool CShaderDebuggerShaderDXX::SwitchShaderToPatchedShader()
{
    CShaderDebuggerHost* pHost = GetHost();
    m_pOriginalShader = NULL;
    if (m_pPatchedShader == NULL || pHost == NULL)
    {
        return false;
    }
    const std::uint32_t nStage = m_Info.nShaderType;
    m_pOriginalShader = pHost->GetShader(nStage);
    SDU_Assert(pHost, m_pOriginalShader);
    bool bResult = pHost->SetShader(nStage, m_pPatchedShader, 0);
    if (nStage == ST_Vertex)
    {
        if (m_pStreamOutShader == NULL)
        {
            std::unique_ptr<IBlob> pBlob(m_PatchedShaderObject.CreateBlob(31));
            bResult =
                bResult && pBlob != NULL &&
                pHost->CreateShader(4, pBlob->GetData(), pBlob->GetSize(), &m_pStreamOutShader);
        }
        m_pOriginalGeometryShader = pHost->GetShader(ST_Geometry);
        bResult = pHost->SetShader(ST_Geometry, m_pStreamOutShader, 0) && bResult;
        if (m_bUnbindPixelStage)
        {
            m_pOriginalPixelShader = pHost->GetShader(ST_Pixel);
            bResult = pHost->SetShader(ST_Pixel, NULL, 0) && bResult;
        }
    }
    return bResult;
}

bool CShaderDebuggerShaderDXX::RestoreShader(bool bDiscard)
{
    CShaderDebuggerHost* pHost = GetHost();
    const std::pair<std::uint32_t, void**> saved[] = {{m_Info.nShaderType, &m_pOriginalShader},
                                                      {ST_Geometry, &m_pOriginalGeometryShader},
                                                      {ST_Pixel, &m_pOriginalPixelShader}};
    bool bResult = true;
    for (const std::pair<std::uint32_t, void**>& entry : saved)
    {
        if (*entry.second != NULL && pHost != NULL)
        {
            bResult = pHost->SetShader(entry.first, *entry.second, 0) && bResult;
            pHost->ReleaseShader(*entry.second);
        }
        *entry.second = NULL;
    }
    if (bDiscard)
    {
        ReleasePatchedShaders();
        m_LastPatchTarget = g_PC_NULL;
    }
    return bResult;
}
} // namespace XAN_ShaderDebugger
