#include "ShaderDebuggerIL/ShaderDebuggerShaderIL.h"

#include "CLMetadata.h"
#include "ElfUtils.h"
#include "ShaderDebuggerBase.h"
#include "ShaderDebuggerHost.h"
#include "ShaderUtils/IL/ILFormat.h"
#include "ShaderUtils/IL/ILShaderUtils.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

namespace XAN_ShaderDebugger
{
using namespace ShaderUtils;

namespace
{
// Shader types of the version token, by its type byte.
const unsigned int g_ILShaderTypes[] = {ST_Vertex,  ST_Pixel, ST_Geometry,
                                        ST_Compute, ST_Hull,  ST_Domain};

// The first UAV that the debugger's buffers may take, and the last one it may choose.
const uint32_t FIRST_DEBUG_UAV = 12;
const uint32_t LAST_DEBUG_UAV = 32;
// The UAV of global memory on the older families when the kernel declares none.
const uint32_t DEFAULT_RAW_UAV = 11;
// Patched code keeps the iteration counts of four loops in one temp.
const uint32_t LOOPS_PER_COUNT_REGISTER = 4;
// The debugger's own temps and literals besides the loop counts.
const uint32_t DEBUGGER_REGISTER_COUNT = 5;

// Devices that the debugger refuses, and the older families that share global memory with the
// debugger's buffers.
const char* const g_RefusedDevices[] = {"sorrel", "yarrow", "tansy"};
const char* const g_SharedUAVDevices[] = {"borage", "chervil", "lovage", "hyssop", "mallow",
                                          "teasel", "vetch",   "fennel", "sedge"};

template <size_t N> bool IsOneOfNames(const std::string& strName, const char* const (&names)[N])
{
    for (const char* pName : names)
    {
        if (strName == pName)
        {
            return true;
        }
    }
    return false;
}

// The search for a free UAV: the candidate moves up over declared ones, but not past the last.
uint32_t FindFreeUAV(const std::set<uint32_t>& declared, uint32_t nCandidate)
{
    while (declared.count(nCandidate) != 0 && nCandidate < LAST_DEBUG_UAV)
    {
        ++nCandidate;
    }
    return nCandidate;
}
} // namespace

unsigned int& CShaderDebuggerShaderIL::Vec4::operator[](unsigned int n)
{
    switch (n & 3)
    {
    case 0:
        return x;
    case 1:
        return y;
    case 2:
        return z;
    default:
        return w;
    }
}

CShaderDebuggerShaderIL::AnalysisState::AnalysisState()
    : nLoopDepth(0), nMaxLoopDepth(0), nCurrentFunction(0), bEndEncountered(false),
      bEndMainEncountered(false), bInFunction(true), bInOutlineMacro(false),
      bOutlineMacroEncountered(false), nOutlineMacroEnd(0), nLineNumber(0)
{
}

CShaderDebuggerShaderIL::CShaderDebuggerShaderIL(CShaderDebuggerBase* pDebugger,
                                                 const void* pShaderData, size_t nSize)
    : CShaderDebuggerShader(pDebugger, pShaderData, nSize), m_nILVersion(0), m_nInstructionCount(0),
      m_nLastInstruction(0), m_OutlineMacroLabel(0), m_nTempRegisterCount(0),
      m_nPatchedTempRegisterCount(0), m_nLiteralRegisterCount(0), m_nPatchedLiteralRegisterCount(0),
      m_nRuntimeABIConstantBufferSize(0xFFFFFFFF), m_nKernelABIConstantBufferSize(0xFFFFFFFF),
      m_nOutputTempReg(0), m_nOutputAddrTempReg(0), m_nExecMaskTempReg(0),
      m_nExecMaskAddrTempReg(0), m_nThreadIndexTempReg(0), m_nOutputRegister0(0),
      m_nOutputRegister1(1), m_nLiteralZero(0), m_nLiteralOne(0), m_nLiteralTwo(0),
      m_nLiteralMinusOne(0), m_nLiteralSixteen(0), m_nRawUAVNum(0xFFFFFFFF),
      m_nResultUAV(0xFFFFFFFF), m_nExecMaskUAV(0xFFFFFFFF), m_bSeparateDebugUAVs(false),
      m_b64BitPointers(false), m_bDumpInputsPending(false), m_bKernelExecuted(false),
      m_pPatchedShader(NULL), m_nPatchedShaderSize(0), m_LastPatchTarget(g_PC_NULL)
{
    CShaderDebuggerHost* pHost = GetDebuggerHost();
    if (pHost != NULL)
    {
        pHost->GetDeviceName(m_strDeviceName);
    }
    if (!AnalyzeShader())
    {
        m_Info.nDebuggableModes &= ~4u;
    }
    m_pPatchedShader = NULL;
    m_nPatchedShaderSize = 0;
    m_LastMemoryWrite = ProgramCounter(0);
    m_bKernelExecuted = false;
    m_LastPatchTarget = g_PC_NULL;
    m_LastPatchRegisters.clear();
}

CShaderDebuggerShaderIL::~CShaderDebuggerShaderIL()
{
    std::free(m_pPatchedShader);
}

CShaderDebuggerHost* CShaderDebuggerShaderIL::GetDebuggerHost() const
{
    return GetHost();
}

uint32_t CShaderDebuggerShaderIL::GetLogLevel() const
{
    CShaderDebuggerHost* pHost = GetDebuggerHost();
    return pHost != NULL ? pHost->GetLogLevel() : 0;
}

void CShaderDebuggerShaderIL::EndDebugging()
{
    CShaderDebuggerShader::EndDebugging();
    m_bKernelExecuted = false;
}

bool CShaderDebuggerShaderIL::GetShaderText(std::string& strText, unsigned int nType)
{
    if (nType == 0)
    {
        nType = m_pDebugger != NULL && m_pDebugger->GetDefaultDebugMode() == 4 ? 4 : 1;
    }
    if (nType != 1)
    {
        SDU_ReportAssert(GetHost(), "Invalid text type", __FILE__, __LINE__, __PRETTY_FUNCTION__);
        return false;
    }
    CShaderDebuggerHost* pHost = GetDebuggerHost();
    return pHost != NULL && pHost->DisassembleShader(m_pShaderData, m_nShaderDataSize, strText);
}

bool CShaderDebuggerShaderIL::GetShaderKeywords(std::vector<std::string>& vKeywords, unsigned int)
{
    vKeywords.clear();
    return false;
}

unsigned int CShaderDebuggerShaderIL::GetDefaultDebugMode()
{
    return 1;
}

bool CShaderDebuggerShaderIL::SetDebugMode(unsigned int)
{
    return true;
}

bool CShaderDebuggerShaderIL::Draw()
{
    SDU_ReportAssert(GetHost(), "draw?? doesn't have meaning", __FILE__, __LINE__,
                     __PRETTY_FUNCTION__);
    return false;
}

unsigned int CShaderDebuggerShaderIL::GetInstructionFromLine(unsigned int nLine)
{
    std::map<uint32_t, uint32_t>::const_iterator it = m_LineNumberMap[1].find(nLine);
    return it != m_LineNumberMap[1].end() ? it->second : g_nInvalidInstruction;
}

unsigned int CShaderDebuggerShaderIL::GetLineFromInstruction(unsigned int nInstruction)
{
    std::map<uint32_t, uint32_t>::const_iterator it = m_LineNumberMap[0].find(nInstruction);
    return it != m_LineNumberMap[0].end() ? it->second : g_nInvalidLine;
}

unsigned int CShaderDebuggerShaderIL::GetCurrentLine()
{
    return GetLineFromInstruction(m_nCurrentInstruction.m_nPos);
}

unsigned int CShaderDebuggerShaderIL::GetNextLine()
{
    return GetLineFromInstruction(m_nNextInstruction.m_nPos);
}

unsigned int CShaderDebuggerShaderIL::GetPreviousLine()
{
    return GetLineFromInstruction(m_nCurrentInstruction.m_nPos - 1);
}

bool CShaderDebuggerShaderIL::PostBack()
{
    return !m_ExecutedSteps.empty();
}

Register CShaderDebuggerShaderIL::GetRegisterOutput(const ProgramCounter& pc)
{
    std::map<uint32_t, Register>::const_iterator it = m_RegisterOutput.find(pc.m_nPos);
    return it != m_RegisterOutput.end() ? it->second : g_Reg_NULL;
}

Register CShaderDebuggerShaderIL::GetCurrentRegisterOutput()
{
    return GetRegisterOutput(m_nCurrentInstruction);
}

Register CShaderDebuggerShaderIL::GetCurrentSrcRegister(unsigned int nSrc)
{
    return GetSrcRegisterAt(m_nCurrentInstruction, nSrc);
}

Register CShaderDebuggerShaderIL::GetSrcRegisterAt(const ProgramCounter& pc, unsigned int nSrc)
{
    if (pc.m_nPos >= m_Instructions.size())
    {
        return g_Reg_NULL;
    }
    return m_Instructions[pc.m_nPos].GetSrcRegister(nSrc);
}

unsigned int CShaderDebuggerShaderIL::FindLineNear(unsigned int nLine, unsigned int nMaxDistance)
{
    const uint32_t nLineToSerach = nLine != 0 ? nLine - 1 : 0;
    std::map<uint32_t, uint32_t>::const_iterator it = m_LineNumberMap[1].upper_bound(nLineToSerach);
    if (it == m_LineNumberMap[1].end())
    {
        return 0xFFFFFFFF;
    }
    if (nMaxDistance != 0xFFFFFFFF && it->first - nLine > nMaxDistance)
    {
        return 0xFFFFFFFF;
    }
    return it->first;
}

bool CShaderDebuggerShaderIL::Refuse(const std::string& strReason, bool bSetLastError)
{
    for (std::string& strError : m_Info.strError)
    {
        strError = strReason;
    }
    SDU_Log(3, "%s\n", strReason.c_str());
    CShaderDebuggerHost* pHost = GetDebuggerHost();
    if (bSetLastError && pHost != NULL)
    {
        pHost->SetLastError(strReason);
    }
    return false;
}

bool CShaderDebuggerShaderIL::RefuseUnsupported(const CShaderDebuggerInstructionIL& instruction)
{
    return Refuse("IL instruction " + instruction.GetOpCodeName() + " is not yet supported.", true);
}

void CShaderDebuggerShaderIL::ResetAnalysis()
{
    m_Info.Reset();
    m_nILVersion = 0;
    m_nInstructionCount = 0;
    m_nLastInstruction = 0;
    m_OutlineMacroLabel = 0;
    m_LineNumberMap[0].clear();
    m_LineNumberMap[1].clear();
    m_Instructions.clear();
    m_FCConstructs.clear();
    m_vConstructs.clear();
    m_FunctionScope.clear();
    m_FunctionStart.clear();
    m_SamplerIDs.clear();
    m_vTempRegisterUsed.assign(NUM_IL_REGISTER_INDICES, false);
    m_vLiteralRegisterUsed.assign(NUM_IL_REGISTER_INDICES, false);
    m_nTempRegisterCount = 0;
    m_nPatchedTempRegisterCount = 0;
    m_vDebuggerTempRegs.clear();
    m_qUnusedLiteralRegs.clear();
    m_Literals.clear();
    m_nLiteralRegisterCount = 0;
    m_nPatchedLiteralRegisterCount = 0;
    m_Declarations.clear();
    m_nRuntimeABIConstantBufferSize = 0xFFFFFFFF;
    m_nKernelABIConstantBufferSize = 0xFFFFFFFF;
    m_nRawUAVNum = 0xFFFFFFFF;
    m_nResultUAV = 0xFFFFFFFF;
    m_nExecMaskUAV = 0xFFFFFFFF;
    m_DeclaredUAVs.clear();
    m_PrivateUAVs.clear();
    m_nOutputRegister0 = 0;
    m_nOutputRegister1 = 1;
    m_maxThreadPerGroup.clear();
    m_numThreadPerGroup.clear();
    m_RegisterOutput.clear();
    m_InputRegisters.clear();
    m_OutputRegisters.clear();
    m_nCurrentInstruction = ProgramCounter(0);
}

bool CShaderDebuggerShaderIL::AnalyzeShader()
{
    ResetAnalysis();
    if (m_pShaderData == NULL)
    {
        return false;
    }

    const std::vector<char> vInputElf(m_pShaderData, m_pShaderData + m_nShaderDataSize);
    std::vector<unsigned int> vTokens;
    if (XAN_ElfUtils::ExtractBinaryILFromElf(vInputElf, vTokens))
    {
        CShaderDebuggerHost* pHost = GetDebuggerHost();
        const std::string strKernelName =
            pHost != NULL ? pHost->GetShaderName(GetShaderType()) : std::string();
        std::string strMetadata;
        if (!XAN_ElfUtils::ExtractMetadataFromElf(vInputElf, strKernelName, strMetadata) ||
            !AnalyzeMetadata(strMetadata))
        {
            return false;
        }
    }
    else
    {
        vTokens.resize(m_nShaderDataSize / sizeof(unsigned int));
        if (!vTokens.empty())
        {
            std::memcpy(vTokens.data(), m_pShaderData, vTokens.size() * sizeof(unsigned int));
        }
    }

    if (GetLogLevel() >= 7 && GetDebuggerHost() != NULL)
    {
        std::string strText;
        SDU_Log(6, "Analyzing shader\n");
        if (GetDebuggerHost()->DisassembleShader(vTokens.data(),
                                                 vTokens.size() * sizeof(unsigned int), strText))
        {
            SDU_Log(6, "%s", strText.c_str());
        }
    }
    m_Info.nSupportedModes = 1;
    SetDebugMode(1);

    CInputTokenStream<unsigned int> stream(this, vTokens.data(), vTokens.size());
    AnalysisState state;
    if (!ReadHeader(stream, state))
    {
        return false;
    }

    CShaderDebuggerInstructionIL instruction(m_pDebugger);
    while (!state.bEndEncountered && instruction.ReadInstruction(stream))
    {
        const unsigned int nOpCode = instruction.GetOpCode();
        if (ILShaderUtils::IsInstruction(nOpCode))
        {
            if (!AnalyzeInstruction(instruction, state))
            {
                return false;
            }
        }
        else if (nOpCode == IL_OP_MDEF)
        {
            if (!AnalyzeMacro(stream, instruction, state))
            {
                return false;
            }
        }
        else
        {
            if (nOpCode == IL_OP_MEND)
            {
                if (state.bInOutlineMacro)
                {
                    state.nOutlineMacroEnd = m_nInstructionCount;
                }
                state.bInOutlineMacro = false;
            }
            else if (ILShaderUtils::IsDeclaration(nOpCode) &&
                     !AnalyzeDeclaration(instruction, state))
            {
                return false;
            }
            ++state.nLineNumber;
        }
    }

    if (!CloseAnalysis(state) || !ReserveRegisters(state) || !ChooseUAVs())
    {
        return false;
    }
    m_LineNumberMap[0].swap(state.lineNumberMap[0]);
    m_LineNumberMap[1].swap(state.lineNumberMap[1]);
    m_Info.nDebuggableModes |= 1;
    LogInstructions();
    return true;
}

bool CShaderDebuggerShaderIL::ReadHeader(CInputTokenStream<unsigned int>& stream,
                                         AnalysisState& state)
{
    unsigned int nToken = 0;
    if (stream.PeekToken(nToken) && GetILOpCode(nToken) == IL_OP_MDEF && !SkipMacros(stream, state))
    {
        return false;
    }

    unsigned int nLanguage = 0;
    if (!stream.ReadToken(nLanguage) || nLanguage >= IL_LANGUAGE_LIMIT)
    {
        return Refuse("Invalid shader.", false);
    }
    ++state.nLineNumber;

    unsigned int nVersion = 0;
    if (!stream.ReadToken(nVersion))
    {
        return Refuse("Invalid shader.", false);
    }
    const unsigned int nMinor = (nVersion >> IL_VERSION_MINOR_SHIFT) & IL_VERSION_FIELD_MASK;
    const unsigned int nMajor = (nVersion >> IL_VERSION_MAJOR_SHIFT) & IL_VERSION_FIELD_MASK;
    const unsigned int nType = (nVersion >> IL_VERSION_SHADER_TYPE_SHIFT) & IL_VERSION_FIELD_MASK;
    m_nILVersion = (nMajor << 8) + nMinor;
    if (m_nILVersion == 0 || nType >= sizeof(g_ILShaderTypes) / sizeof(g_ILShaderTypes[0]))
    {
        return Refuse("Invalid shader.", false);
    }
    m_Info.nShaderType = g_ILShaderTypes[nType];
    m_Info.nVersionMajor = nMajor;
    m_Info.nVersionMinor = nMinor;
    return true;
}

bool CShaderDebuggerShaderIL::SkipMacroBody(CInputTokenStream<unsigned int>& stream,
                                            AnalysisState& state)
{
    CShaderDebuggerInstructionIL instruction(m_pDebugger);
    do
    {
        if (!instruction.ReadInstruction(stream))
        {
            return false;
        }
        ++state.nLineNumber;
    } while (instruction.GetOpCode() != IL_OP_MEND);
    return true;
}

bool CShaderDebuggerShaderIL::SkipMacros(CInputTokenStream<unsigned int>& stream,
                                         AnalysisState& state)
{
    unsigned int nToken = 0;
    while (stream.PeekToken(nToken) && GetILOpCode(nToken) == IL_OP_MDEF)
    {
        if (!SkipMacroBody(stream, state))
        {
            return false;
        }
    }
    return true;
}

bool CShaderDebuggerShaderIL::AnalyzeDeclaration(const CShaderDebuggerInstructionIL& instruction,
                                                 const AnalysisState& state)
{
    const bool bCompute = GetShaderType() == ST_Compute;
    Declarations& declarations = m_Declarations[state.nCurrentFunction];
    const unsigned int nOpcodeToken = instruction.GetOpCodeToken();
    Register reg;
    switch (instruction.GetOpCode())
    {
    case IL_OP_DCL_LITERAL:
    {
        if (instruction.GetSrcRegCount() != 1 || !instruction.GetSrcRegister(0, reg) ||
            reg.reg.type != RT_LITERAL || instruction.GetLength() < 6)
        {
            return false;
        }
        const uint32_t nLiteral = static_cast<uint32_t>(reg.reg.number) & 0xFFFF;
        m_vLiteralRegisterUsed[nLiteral] = true;
        Vec4 value = {instruction.GetToken(2), instruction.GetToken(3), instruction.GetToken(4),
                      instruction.GetToken(5)};
        m_Literals[nLiteral] = value;
        return true;
    }
    case IL_OP_DCL_RESOURCE:
        declarations.resources.push_back(instruction);
        return true;
    case IL_OP_DCL_INDEXED_TEMP_ARRAY:
        if (instruction.GetSrcRegCount() < 1 || !instruction.GetSrcRegister(0, reg) ||
            instruction.GetLength() < 3)
        {
            return false;
        }
        declarations.indexedTempSizes[static_cast<uint32_t>(reg.reg.number)] =
            instruction.GetToken(2);
        return true;
    case IL_OP_DCL_UAV:
        declarations.uavs.push_back(instruction);
        return true;
    case IL_OP_DCL_TYPELESS_UAV:
    case IL_OP_DCL_TYPED_UAV:
    {
        const bool bTypeless = instruction.GetOpCode() == IL_OP_DCL_TYPELESS_UAV;
        if ((bTypeless && instruction.GetLength() != 3) || instruction.GetLength() < 3)
        {
            return false;
        }
        declarations.uavs.push_back(instruction);
        const uint32_t nUAV = GetControlNumber(nOpcodeToken);
        m_DeclaredUAVs.insert(nUAV);
        if (GetControlType(nOpcodeToken) == 3)
        {
            m_PrivateUAVs.insert(nUAV);
            const uint32_t nSize = instruction.GetToken(2);
            declarations.privateUAVSizes[nUAV] = bTypeless ? (nSize + 15) & ~15u : nSize;
        }
        return true;
    }
    case IL_OP_DCL_MAX_THREAD_PER_GROUP:
        if (!bCompute)
        {
            return true;
        }
        if (instruction.GetLength() != 2 || m_maxThreadPerGroup.count(state.nCurrentFunction))
        {
            return false;
        }
        m_maxThreadPerGroup[state.nCurrentFunction] = instruction.GetToken(1);
        return true;
    case IL_OP_DCL_NUM_THREAD_PER_GROUP:
        if (!bCompute)
        {
            return true;
        }
        if (instruction.GetLength() != 4 || m_numThreadPerGroup.count(state.nCurrentFunction))
        {
            return false;
        }
        m_numThreadPerGroup[state.nCurrentFunction] = {
            instruction.GetToken(1), instruction.GetToken(2), instruction.GetToken(3)};
        return true;
    case IL_OP_DCL_CB:
        if (!bCompute)
        {
            return true;
        }
        if (instruction.GetSrcRegCount() != 1 || !instruction.GetSrcRegister(0, reg) ||
            reg.reg.type != RT_CONST_BUFF)
        {
            return false;
        }
        if (reg.reg.number == 0)
        {
            if (instruction.GetLength() != 3)
            {
                return false;
            }
            m_nRuntimeABIConstantBufferSize = instruction.GetToken(2);
        }
        else if (reg.reg.number >= 2)
        {
            declarations.constantBuffers[static_cast<uint32_t>(reg.reg.number)] =
                instruction.GetToken(2);
        }
        return true;
    case IL_OP_DCL_RAW_UAV:
    {
        if (!bCompute)
        {
            return true;
        }
        const uint32_t nUAV = GetILControl(nOpcodeToken);
        if (instruction.GetLength() != 1 || (m_nRawUAVNum != 0xFFFFFFFF && m_nRawUAVNum != nUAV))
        {
            return false;
        }
        m_nRawUAVNum = nUAV;
        return true;
    }
    case IL_OP_DCL_OUTPUT:
    {
        if (bCompute)
        {
            return true;
        }
        if (!instruction.GetDestRegister(reg))
        {
            return false;
        }
        // The usage of the output stands in the low control bits.
        const unsigned int nUsage = GetILControl(nOpcodeToken) & 0x1F;
        m_OutputRegisters[static_cast<uint32_t>(reg.reg.number)] =
            static_cast<unsigned short>(nUsage);
        if (GetShaderType() == ST_Pixel)
        {
            const unsigned int nFlaggedUsages[] = {3, 11, 13};
            for (unsigned int nFlag = 0; nFlag < 3; ++nFlag)
            {
                if (nUsage == nFlaggedUsages[nFlag])
                {
                    m_Info.nFlags[nFlag] = 1;
                }
            }
        }
        return true;
    }
    case IL_OP_DCL_INPUT:
        if (bCompute)
        {
            return true;
        }
        if (!instruction.GetDestRegister(reg))
        {
            return false;
        }
        if (reg.reg.type != 0 && reg.reg.type != 12)
        {
            m_InputRegisters[reg.reg] |= reg.mask;
        }
        return true;
    default:
        return true;
    }
}

bool CShaderDebuggerShaderIL::CloseAnalysis(const AnalysisState& state)
{
    if (!state.bEndEncountered)
    {
        return false;
    }
    if (GetShaderType() == ST_Compute)
    {
        if ((m_maxThreadPerGroup.empty() && m_numThreadPerGroup.empty()) ||
            m_nRuntimeABIConstantBufferSize == 0xFFFFFFFF ||
            m_nKernelABIConstantBufferSize == 0xFFFFFFFF)
        {
            return false;
        }
        if (!m_bSeparateDebugUAVs && m_nRawUAVNum == 0xFFFFFFFF)
        {
            SDU_Log(4, "No raw UAV declared. Using UAV 11.\n");
            m_nRawUAVNum = DEFAULT_RAW_UAV;
        }
    }
    m_nLastInstruction = m_nInstructionCount - 1;
    AssignOutlineMacroScope(state);
    return true;
}

bool CShaderDebuggerShaderIL::ReserveRegisters(const AnalysisState& state)
{
    std::deque<uint32_t> qUnusedTempRegs;
    for (uint32_t i = 0; i < NUM_IL_REGISTER_INDICES; ++i)
    {
        if (m_vTempRegisterUsed[i])
        {
            ++m_nTempRegisterCount;
        }
        else
        {
            qUnusedTempRegs.push_back(i);
        }
        if (m_vLiteralRegisterUsed[i])
        {
            ++m_nLiteralRegisterCount;
        }
        else
        {
            m_qUnusedLiteralRegs.push_back(i);
        }
    }

    const uint32_t nCountRegisters =
        (state.nMaxLoopDepth + LOOPS_PER_COUNT_REGISTER - 1) / LOOPS_PER_COUNT_REGISTER;
    m_nPatchedTempRegisterCount = m_nTempRegisterCount + nCountRegisters + DEBUGGER_REGISTER_COUNT;
    m_nPatchedLiteralRegisterCount =
        m_nLiteralRegisterCount + nCountRegisters + DEBUGGER_REGISTER_COUNT;
    if (m_nPatchedTempRegisterCount > NUM_IL_REGISTER_INDICES ||
        m_nPatchedLiteralRegisterCount > NUM_IL_REGISTER_INDICES)
    {
        return Refuse("There are insufficient free temp registers.", false);
    }
    // A capture of private memory takes one more literal for its offset, beyond the budget.
    if (!m_PrivateUAVs.empty() && m_nPatchedLiteralRegisterCount == NUM_IL_REGISTER_INDICES)
    {
        return Refuse("There are insufficient free literal registers.", false);
    }

    uint32_t* const pLiterals[] = {&m_nLiteralZero, &m_nLiteralOne, &m_nLiteralTwo,
                                   &m_nLiteralMinusOne, &m_nLiteralSixteen};
    for (uint32_t* pLiteral : pLiterals)
    {
        *pLiteral = m_qUnusedLiteralRegs.front();
        m_qUnusedLiteralRegs.pop_front();
    }
    uint32_t* const pTemps[] = {&m_nOutputTempReg, &m_nOutputAddrTempReg, &m_nExecMaskTempReg,
                                &m_nExecMaskAddrTempReg, &m_nThreadIndexTempReg};
    for (uint32_t* pTemp : pTemps)
    {
        *pTemp = qUnusedTempRegs.front();
        qUnusedTempRegs.pop_front();
        m_vDebuggerTempRegs.push_back(*pTemp);
    }
    std::vector<uint32_t> vLoopTempRegs;
    std::vector<uint32_t> vLoopLiteralRegs;
    for (uint32_t i = 0; i < nCountRegisters; ++i)
    {
        vLoopTempRegs.push_back(qUnusedTempRegs.front());
        m_vDebuggerTempRegs.push_back(qUnusedTempRegs.front());
        qUnusedTempRegs.pop_front();
        vLoopLiteralRegs.push_back(m_qUnusedLiteralRegs.front());
        m_qUnusedLiteralRegs.pop_front();
    }

    for (const std::unique_ptr<CIL_FCConstruct>& pConstruct : m_vConstructs)
    {
        CIL_Loop* pLoop = pConstruct->AsLoop();
        if (pLoop != NULL)
        {
            const uint32_t nDepth = pLoop->GetLoopDepth() - 1;
            pLoop->m_nCountRegister = vLoopTempRegs[nDepth / LOOPS_PER_COUNT_REGISTER];
            pLoop->m_nCountComponent = GetComponent(nDepth % LOOPS_PER_COUNT_REGISTER);
            pLoop->m_nCountLiteral = vLoopLiteralRegs[nDepth / LOOPS_PER_COUNT_REGISTER];
        }
    }
    return true;
}

bool CShaderDebuggerShaderIL::ChooseUAVs()
{
    m_nResultUAV = FindFreeUAV(m_DeclaredUAVs, FIRST_DEBUG_UAV);
    m_nExecMaskUAV = FindFreeUAV(m_DeclaredUAVs, m_nResultUAV + 1);
    if (m_nExecMaskUAV > LAST_DEBUG_UAV)
    {
        SDU_Log(3, "There are insufficient free UAVs.\n");
        return false;
    }
    return true;
}

void CShaderDebuggerShaderIL::LogInstructions() const
{
    if (GetLogLevel() < 5)
    {
        return;
    }
    for (uint32_t n = 0; n < m_Instructions.size(); ++n)
    {
        std::map<uint32_t, uint32_t>::const_iterator itScope = m_FunctionScope.find(n);
        const int nFunction =
            itScope != m_FunctionScope.end() ? static_cast<int>(itScope->second) : 0;
        const std::string strName = m_Instructions[n].GetOpCodeName();
        std::map<uint32_t, CIL_FCConstruct*>::const_iterator it = m_FCConstructs.find(n);
        if (it != m_FCConstructs.end() && it->second != NULL)
        {
            const CIL_FCConstruct* pConstruct = it->second;
            SDU_Log(5, "%i - %i %s %p %i %i %p\n", nFunction, static_cast<int>(n), strName.c_str(),
                    static_cast<const void*>(pConstruct),
                    static_cast<int>(pConstruct->GetLoopDepth()),
                    static_cast<int>(pConstruct->GetType()),
                    static_cast<const void*>(pConstruct->GetParent()));
        }
        else
        {
            SDU_Log(5, "%i - %i %s\n", nFunction, static_cast<int>(n), strName.c_str());
        }
    }
}

bool CShaderDebuggerShaderIL::AnalyzeMetadata(const std::string& strMetadata)
{
    CCLMetadata metadata;
    if (!metadata.Parse(strMetadata))
    {
        return false;
    }

    const std::string strDeviceName = metadata.GetDevice();
    if (IsOneOfNames(strDeviceName, g_RefusedDevices))
    {
        m_bSeparateDebugUAVs = false;
        return false;
    }
    m_bSeparateDebugUAVs = !IsOneOfNames(strDeviceName, g_SharedUAVDevices);

    if (m_strDeviceName.empty())
    {
        m_strDeviceName = strDeviceName;
        if (!m_strDeviceName.empty() && m_strDeviceName[0] >= 'a' && m_strDeviceName[0] <= 'z')
        {
            m_strDeviceName[0] = static_cast<char>(std::toupper(m_strDeviceName[0]));
        }
    }
    m_b64BitPointers = metadata.Is64BitABI();

    const uint32_t nBufOffset = metadata.GetArgBufferSize();
    if (nBufOffset % 16 != 0)
    {
        return false;
    }
    m_nKernelABIConstantBufferSize = nBufOffset >> 4;

    for (const CCLMetadataEntry* pEntry : metadata.GetEntries())
    {
        const CCLMetadataSamplerEntry* pSampler =
            dynamic_cast<const CCLMetadataSamplerEntry*>(pEntry);
        if (pSampler != NULL && pEntry->GetEntryType() == CCLMetadataSamplerEntry::ClassEntryType)
        {
            m_SamplerIDs.insert(pSampler->GetSamplerId());
        }
    }
    return true;
}
} // namespace XAN_ShaderDebugger
