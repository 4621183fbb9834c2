#include "ShaderDebuggerDX9/ShaderDebuggerDX9.h"

#include "BufferDesc.h"
#include "ShaderDebuggerBuffer.h"
#include "ShaderDebuggerDX9/ShaderDebuggerShaderDX9.h"

#include <memory>
#include <new>

// Reports a check whose text isn't a condition of the code.
#define SDU_AssertText(pHost, pText)                                                               \
    XAN_ShaderDebugger::SDU_ReportAssert((pHost), (pText), __FILE__, __LINE__, __PRETTY_FUNCTION__)

namespace XAN_ShaderDebugger
{
namespace
{
// The kinds of the debugger's targets, in the first reserved word of their description.
const uint32_t TARGET_VALUES = 1;
const uint32_t TARGET_FLAG = 2;
// The work sizes that a view of a pixel takes: the target's width and height.
const uint32_t VIEW_WORK_SIZES = 2;
} // namespace

CShaderDebuggerDX9::CShaderDebuggerDX9(CShaderDebuggerHost* pHost)
    : CShaderDebuggerBase(pHost), m_pOriginalRenderTarget0(NULL), m_pOriginalRenderTarget1(NULL),
      m_pSwitchedRenderTarget0(NULL), m_pSwitchedRenderTarget1(NULL), m_pLastResult(NULL),
      m_bTargetsSwitched(false)
{
}

CShaderDebuggerDX9::~CShaderDebuggerDX9()
{
    SDU_Assert(m_pHost, !m_bIsDebugging);
    if (m_bIsDebugging)
    {
        EndDebugging(false);
    }
    ReleaseTargetBuffers();
    DeleteResults();
}

CShaderDebuggerShaderDX9* CShaderDebuggerDX9::GetDX9Shader() const
{
    return static_cast<CShaderDebuggerShaderDX9*>(GetCurrentShader());
}

CShaderDebuggerShaderDX9* CShaderDebuggerDX9::CreateShader(const void* pShaderData, size_t nSize)
{
    return new (std::nothrow) CShaderDebuggerShaderDX9(this, pShaderData, nSize);
}

void CShaderDebuggerDX9::DeleteResults()
{
    for (const std::pair<const std::string, CShaderDebuggerResult*>& entry : m_Results)
    {
        delete entry.second;
    }
    m_Results.clear();
    m_pLastResult = NULL;
}

bool CShaderDebuggerDX9::StartDebugging(const void* pShaderData, size_t nSize, const void* pExtra,
                                        const uint32_t* pWorkSize, uint32_t nMode)
{
    if (!CShaderDebuggerBase::StartDebugging(pShaderData, nSize, pExtra, pWorkSize))
    {
        return false;
    }
    m_pLastResult = NULL;
    SetCurrentShader(CreateShader(pShaderData, nSize));
    SDU_Assert(m_pHost, m_pCurrentShader);
    if (m_pCurrentShader == NULL)
    {
        return false;
    }
    if (nMode == 0)
    {
        nMode = GetDefaultDebugMode();
    }
    if (!m_pCurrentShader->StartDebugging(nMode))
    {
        SetCurrentShader(NULL);
        return false;
    }
    m_pHost->InitDevice(pShaderData, nSize, pExtra, pWorkSize, nMode);
    m_bIsDebugging = true;
    // Instruction 0 has its results from the start.
    Execute();
    return true;
}

void CShaderDebuggerDX9::EndDebugging(bool)
{
    SDU_Assert(m_pHost, m_bIsDebugging);
    if (!m_bIsDebugging)
    {
        return;
    }
    m_pHost->ResetDevice();
    SetCurrentShader(NULL);
    ReleaseTargetBuffers();
    // A later run starts without this run's values.
    DeleteResults();
    m_bIsDebugging = false;
}

bool CShaderDebuggerDX9::GetShaderText(const void* pShaderData, size_t nSize, const void*,
                                       std::string& text, uint32_t nType)
{
    std::unique_ptr<CShaderDebuggerShaderDX9> pShader(CreateShader(pShaderData, nSize));
    if (pShader == NULL)
    {
        text.clear();
        return false;
    }
    return pShader->GetShaderText(text, nType);
}

bool CShaderDebuggerDX9::GetShaderKeywords(const void* pShaderData, size_t nSize, const void*,
                                           std::vector<std::string>& list, uint32_t nType)
{
    std::unique_ptr<CShaderDebuggerShaderDX9> pShader(CreateShader(pShaderData, nSize));
    if (pShader == NULL)
    {
        list.clear();
        return false;
    }
    return pShader->GetShaderKeywords(list, nType);
}

bool CShaderDebuggerDX9::GetShaderKeywords(std::vector<std::string>& list, uint32_t nType)
{
    if (m_pCurrentShader == NULL)
    {
        list.clear();
        return false;
    }
    return m_pCurrentShader->GetShaderKeywords(list, nType);
}

bool CShaderDebuggerDX9::GetShaderInfo(const void* pShaderData, size_t nSize, ShaderInfo* pInfo)
{
    SDU_Assert(m_pHost, pInfo != NULL);
    if (pInfo == NULL)
    {
        return false;
    }
    pInfo->Reset();
    std::unique_ptr<CShaderDebuggerShaderDX9> pShader(CreateShader(pShaderData, nSize));
    return pShader != NULL && pShader->GetShaderInfo(pInfo);
}

bool CShaderDebuggerDX9::Execute()
{
    SDU_Assert(m_pHost, m_pHost);
    SDU_Assert(m_pHost, GetCurrentShader());
    if (m_pHost == NULL || m_pCurrentShader == NULL)
    {
        return false;
    }
    // Without the debugger's targets a draw would write into the application's.
    const bool bResult = SwitchTargetBuffers() && m_pCurrentShader->Execute(true);
    RestoreTargetBuffers();
    return bResult;
}

bool CShaderDebuggerDX9::Draw()
{
    SDU_Assert(m_pHost, m_pHost);
    SDU_Assert(m_pHost, GetCurrentShader());
    return m_pHost != NULL && m_pCurrentShader != NULL && m_pCurrentShader->Draw();
}

bool CShaderDebuggerDX9::Command(bool (CShaderDebuggerShaderDX9::*pMove)())
{
    CShaderDebuggerShaderDX9* pShader = GetDX9Shader();
    if (pShader == NULL)
    {
        return false;
    }
    return (pShader->*pMove)() && Execute();
}

bool CShaderDebuggerDX9::Step()
{
    return Command(&CShaderDebuggerShaderDX9::Step);
}

bool CShaderDebuggerDX9::Back()
{
    return Command(&CShaderDebuggerShaderDX9::Back);
}

bool CShaderDebuggerDX9::Run()
{
    return Command(&CShaderDebuggerShaderDX9::Run);
}

bool CShaderDebuggerDX9::RunBack()
{
    return Command(&CShaderDebuggerShaderDX9::RunBack);
}

uint32_t CShaderDebuggerDX9::GetCurrentLine()
{
    return m_pCurrentShader != NULL ? m_pCurrentShader->GetCurrentLine() : 0;
}

uint32_t CShaderDebuggerDX9::GetNextLine()
{
    return m_pCurrentShader != NULL ? m_pCurrentShader->GetNextLine() : 0;
}

uint32_t CShaderDebuggerDX9::GetPreviousLine()
{
    return m_pCurrentShader != NULL ? m_pCurrentShader->GetPreviousLine() : 0;
}

ProgramCounter CShaderDebuggerDX9::GetCurrentInstruction()
{
    return m_pCurrentShader != NULL ? m_pCurrentShader->GetCurrentInstruction() : ProgramCounter(0);
}

bool CShaderDebuggerDX9::AddBreakPoint(uint32_t)
{
    return false;
}

bool CShaderDebuggerDX9::RemoveBreakPoint(uint32_t)
{
    return false;
}

bool CShaderDebuggerDX9::ToggleBreakPoint(uint32_t)
{
    return false;
}

bool CShaderDebuggerDX9::IsBreakPoint(uint32_t)
{
    return false;
}

bool CShaderDebuggerDX9::HasBreakPointBetween(uint32_t, uint32_t)
{
    return false;
}

uint32_t CShaderDebuggerDX9::GetAllBreakpointInstructions(std::set<uint32_t>*)
{
    return 0;
}

CShaderDebuggerVariables* CShaderDebuggerDX9::GetVariables(ShaderUtils::ThreadID& id)
{
    if (id.x < 0 || id.y < 0)
    {
        id = GetThreadID();
    }
    CShaderDebuggerVariables* pVariables = new (std::nothrow) CShaderDebuggerVariables();
    if (pVariables == NULL)
    {
        return NULL;
    }
    const uint32_t nCurrentPos = GetCurrentInstruction().m_nPos;
    // The flag that a pixel which reached the instruction wrote.
    const float executed[4] = {1.0f, 1.0f, 1.0f, 0.0f};
    ResultMap shown;
    for (const std::pair<const std::string, CShaderDebuggerResult*>& entry : m_Results)
    {
        CShaderDebuggerResult* pResult = entry.second;
        if (pResult == NULL)
        {
            continue;
        }
        // A run without a destination names no register whose pixels a view could show.
        if ((id.x < 0 || id.y < 0) && pResult->GetExecMaskBuffer() != NULL &&
            entry.first != g_szNoDestinationRegister)
        {
            ShaderUtils::ThreadID found;
            pResult->GetExecMaskBuffer()->FindPixel(found, executed, id.nSlice);
            SetThreadID(found);
            id = found;
        }
        // A result written behind the current instruction is one that Back went past.
        if (pResult->GetLastStep().m_nPos > nCurrentPos)
        {
            SDU_AssertText(m_pHost,
                           "pResult->GetLastStep().m_nPos <= GetCurrentInstruction().m_nPos");
            continue;
        }
        shown.insert(entry);
    }
    FillVariables(*pVariables, shown, id, VIEW_WORK_SIZES);
    return pVariables;
}

ShaderUtils::SUBuffer* CShaderDebuggerDX9::GetRegisterResultsBuffer(const varID& request)
{
    switch (request.nKind)
    {
    case 0:
        return m_pLastResult != NULL ? m_pLastResult->GetResultBuffer() : NULL;
    case 2:
    {
        CShaderDebuggerResult* pResult = GetResult(request.strName);
        SDU_Assert(m_pHost, pResult);
        return pResult != NULL ? pResult->GetResultBuffer() : NULL;
    }
    default:
        return NULL;
    }
}

ShaderUtils::SUBuffer* CShaderDebuggerDX9::GetGlobalResultsBuffer(const varID&)
{
    SDU_AssertText(m_pHost, "Not Implemented");
    return NULL;
}

ShaderUtils::SUBuffer* CShaderDebuggerDX9::GetExecMaskBuffer()
{
    return m_pLastResult != NULL ? m_pLastResult->GetExecMaskBuffer() : NULL;
}

CShaderDebuggerDeviceBuffer* CShaderDebuggerDX9::CreateTargetBuffer(BufferDesc desc, uint32_t nKind)
{
    desc.m_Format = BF_RGBA32;
    desc.m_nReserved0 = nKind;
    return m_pHost->CreateDeviceBuffer(desc);
}

bool CShaderDebuggerDX9::CreateTargetBuffers()
{
    if (m_pSwitchedRenderTarget0 != NULL && m_pSwitchedRenderTarget1 != NULL)
    {
        return true;
    }
    BufferDesc desc;
    if (!m_pHost->GetDeviceBufferDesc(GetShaderType(), 0, &desc))
    {
        return false;
    }
    m_nWorkSize[0] = desc.m_nWidth;
    m_nWorkSize[1] = desc.m_nHeight;
    if (m_pSwitchedRenderTarget0 == NULL)
    {
        m_pSwitchedRenderTarget0 = CreateTargetBuffer(desc, TARGET_VALUES);
        SDU_Assert(m_pHost, m_pSwitchedRenderTarget0);
    }
    if (m_pSwitchedRenderTarget1 == NULL)
    {
        m_pSwitchedRenderTarget1 = CreateTargetBuffer(desc, TARGET_FLAG);
        SDU_Assert(m_pHost, m_pSwitchedRenderTarget1);
    }
    return m_pSwitchedRenderTarget0 != NULL && m_pSwitchedRenderTarget1 != NULL;
}

void CShaderDebuggerDX9::ReleaseTargetBuffers()
{
    delete m_pOriginalRenderTarget0;
    m_pOriginalRenderTarget0 = NULL;
    delete m_pOriginalRenderTarget1;
    m_pOriginalRenderTarget1 = NULL;
    delete m_pSwitchedRenderTarget0;
    m_pSwitchedRenderTarget0 = NULL;
    delete m_pSwitchedRenderTarget1;
    m_pSwitchedRenderTarget1 = NULL;
}

bool CShaderDebuggerDX9::SwitchTargetBuffers()
{
    if (!CreateTargetBuffers())
    {
        return false;
    }
    const uint32_t nType = GetShaderType();
    m_bTargetsSwitched = true;
    m_pOriginalRenderTarget0 = m_pHost->GetDeviceBuffer(nType, 0u);
    m_pOriginalRenderTarget1 = m_pHost->GetDeviceBuffer(nType, 1u);
    const bool bSwitched0 = m_pHost->SetDeviceBuffer(nType, 0u, m_pSwitchedRenderTarget0);
    const bool bSwitched1 = m_pHost->SetDeviceBuffer(nType, 1u, m_pSwitchedRenderTarget1);
    return bSwitched0 && bSwitched1;
}

void CShaderDebuggerDX9::RestoreTargetBuffers()
{
    if (!m_bTargetsSwitched)
    {
        return;
    }
    m_bTargetsSwitched = false;
    const uint32_t nType = GetShaderType();
    CShaderDebuggerDeviceBuffer** ppSaved[2] = {&m_pOriginalRenderTarget0,
                                                &m_pOriginalRenderTarget1};
    for (uint32_t i = 0; i < 2; ++i)
    {
        // A target that the application left unbound is unbound again.
        m_pHost->SetDeviceBuffer(nType, i, *ppSaved[i]);
        delete *ppSaved[i];
        *ppSaved[i] = NULL;
    }
}

CShaderDebuggerResult* CShaderDebuggerDX9::GetResult(const std::string& strName)
{
    CShaderDebuggerResult*& pResult = m_Results[strName];
    if (pResult == NULL)
    {
        pResult = new (std::nothrow) CShaderDebuggerResult(m_pHost, strName);
    }
    return pResult;
}

void CShaderDebuggerDX9::RemoveResult(const std::string& strName)
{
    const ResultMap::iterator it = m_Results.find(strName);
    if (it == m_Results.end())
    {
        return;
    }
    if (m_pLastResult == it->second)
    {
        m_pLastResult = NULL;
    }
    delete it->second;
    it->second = NULL;
}

void CShaderDebuggerDX9::UpdateResults(const ProgramCounter& pc)
{
    CShaderDebuggerShaderDX9* pShader = GetDX9Shader();
    const Register reg = pShader->GetRegisterOutput(pc);
    CShaderDebuggerResult* pResult = GetResult(pShader->GetResultName(pc));
    SDU_Assert(m_pHost, pResult);
    if (pResult == NULL)
    {
        return;
    }
    m_pLastResult = pResult;
    pResult->AddStep(pc, reg.mask);

    CShaderDebuggerBuffer* pExecMaskBuffer = NULL;
    if (m_pSwitchedRenderTarget1 != NULL)
    {
        pExecMaskBuffer = m_pSwitchedRenderTarget1->GetDataBuffer(NULL);
        SDU_Assert(m_pHost, pExecMaskBuffer);
        if (pExecMaskBuffer != NULL)
        {
            pResult->SetExecMaskBuffer(pExecMaskBuffer);
            pShader->UpdateExecMaskHistory(pc, pExecMaskBuffer);
        }
    }
    if (m_pSwitchedRenderTarget0 != NULL)
    {
        CShaderDebuggerBuffer* pResultBuffer = m_pSwitchedRenderTarget0->GetDataBuffer(NULL);
        SDU_Assert(m_pHost, pResultBuffer);
        if (pResultBuffer != NULL)
        {
            // A pixel keeps its older value where this draw didn't reach the instruction.
            pResult->SetResultBuffer(pResultBuffer, pExecMaskBuffer, 0, 0, 0);
        }
    }
}
} // namespace XAN_ShaderDebugger
