#include "ShaderDebuggerIL/ShaderDebuggerIL.h"

#include "BufferDesc.h"
#include "ShaderDebuggerIL/ShaderDebuggerShaderIL.h"
#include "ShaderDebuggerIL/ShaderDebuggerUtilsIL.h"

#include <algorithm>
#include <bitset>
#include <new>

namespace XAN_ShaderDebugger
{
namespace
{
const char* const CB_DUMP_RESULT = "cb1";
// Every component of an IL result holds raw 32-bit values.
const uint32_t RAW_DATA_TYPE = 4;
const unsigned short ALL_COMPONENTS = 15;

std::string GlobalResultName(size_t nArgument)
{
    return "m" + std::to_string(nArgument);
}

void LogError(CShaderDebuggerHost* pHost, const char* pText)
{
    SDU_SetContext(pHost, false, "", __FILE__, __LINE__, __func__);
    SDU_Log(3, "%s", pText);
}

bool HasMemory(const BufferDesc& desc)
{
    return desc.m_Type != BT_Value && desc.m_Type != BT_LocalBuffer;
}

// Writes a host buffer's whole contents to a device buffer.
bool WriteBuffer(CShaderDebuggerDeviceBuffer* pDevice, const CShaderDebuggerBuffer& data)
{
    return pDevice->UpdateData(data.GetSubResource(0), static_cast<size_t>(data.GetDataSize()));
}
} // namespace

CShaderDebuggerIL::CShaderDebuggerIL(CShaderDebuggerHost* pHost)
    : CShaderDebuggerBase(pHost), m_pLastResult(NULL), m_GlobalResultsPC(0), m_nExecMaskBytes(0)
{
}

CShaderDebuggerIL::~CShaderDebuggerIL()
{
    DeleteResults(m_Results);
    DeleteResults(m_GlobalResults);
}

void CShaderDebuggerIL::DeleteResults(ResultMap& results)
{
    for (const std::pair<const std::string, CShaderDebuggerResult*>& entry : results)
    {
        delete entry.second;
    }
    results.clear();
}

CShaderDebuggerShaderIL* CShaderDebuggerIL::GetILShader() const
{
    return static_cast<CShaderDebuggerShaderIL*>(GetCurrentShader());
}

bool CShaderDebuggerIL::StartDebugging(const void* pShaderData, size_t nSize, const void* pExtra,
                                       const uint32_t* pWorkSize, uint32_t nMode)
{
    SDU_Assert(m_pHost, !m_bIsDebugging);
    if (!CShaderDebuggerBase::StartDebugging(pShaderData, nSize, pExtra, pWorkSize))
    {
        return false;
    }
    m_pLastResult = NULL;
    SetCurrentShader(CreateILShader(pShaderData, nSize, pExtra));
    SDU_Assert(m_pHost, m_pCurrentShader);
    if (m_pCurrentShader == NULL)
    {
        return false;
    }
    ShaderInfo info;
    if (!m_pCurrentShader->GetShaderInfo(&info))
    {
        SetCurrentShader(NULL);
        return false;
    }
    if (info.nShaderType == 0)
    {
        return false;
    }
    if (nMode == 0)
    {
        nMode = GetDefaultDebugMode();
    }
    if (!CreateTargetBuffers() || !CreateCBDumpBuffer() ||
        !m_pCurrentShader->StartDebugging(nMode) ||
        !m_pHost->InitDevice(pShaderData, nSize, pExtra, pWorkSize, nMode))
    {
        return FailStart();
    }
    m_bIsDebugging = true;
    if (!Execute() || !GetILShader()->PostStep())
    {
        m_bIsDebugging = false;
        return FailStart();
    }
    return true;
}

bool CShaderDebuggerIL::FailStart()
{
    ReleaseRun(false);
    return false;
}

void CShaderDebuggerIL::ReleaseRun(bool bUpdateBuffers)
{
    SetCurrentShader(NULL);
    DestroyTargetBuffers(bUpdateBuffers);
    m_pCBBuffer.reset();
    m_pLastResult = NULL;
    DeleteResults(m_Results);
    DeleteResults(m_GlobalResults);
    m_vGlobalResultStale.clear();
}

void CShaderDebuggerIL::EndDebugging(bool bUpdateBuffers)
{
    if (!m_bIsDebugging)
    {
        return;
    }
    m_pHost->ResetDevice();
    ReleaseRun(bUpdateBuffers);
    m_bIsDebugging = false;
}

bool CShaderDebuggerIL::GetShaderText(const void* pShaderData, size_t nSize, const void* pExtra,
                                      std::string& text, uint32_t nType)
{
    std::unique_ptr<CShaderDebuggerShaderIL> pShader(CreateILShader(pShaderData, nSize, pExtra));
    if (pShader == NULL)
    {
        text.clear();
        return false;
    }
    return pShader->GetShaderText(text, nType);
}

bool CShaderDebuggerIL::GetShaderText(std::string& text, uint32_t nType)
{
    return m_pCurrentShader != NULL && m_pCurrentShader->GetShaderText(text, nType);
}

bool CShaderDebuggerIL::GetShaderKeywords(const void* pShaderData, size_t nSize, const void* pExtra,
                                          std::vector<std::string>& list, uint32_t nType)
{
    std::unique_ptr<CShaderDebuggerShaderIL> pShader(CreateILShader(pShaderData, nSize, pExtra));
    if (pShader == NULL)
    {
        list.clear();
        return false;
    }
    return pShader->GetShaderKeywords(list, nType);
}

bool CShaderDebuggerIL::GetShaderKeywords(std::vector<std::string>& list, uint32_t nType)
{
    return m_pCurrentShader != NULL && m_pCurrentShader->GetShaderKeywords(list, nType);
}

bool CShaderDebuggerIL::GetShaderInfo(const void* pShaderData, size_t nSize, ShaderInfo* pInfo)
{
    SDU_Assert(m_pHost, pInfo != NULL);
    if (pInfo == NULL)
    {
        return false;
    }
    std::unique_ptr<CShaderDebuggerShaderIL> pShader(CreateILShader(pShaderData, nSize, NULL));
    pInfo->Reset();
    return pShader != NULL && pShader->GetShaderInfo(pInfo);
}

bool CShaderDebuggerIL::Execute()
{
    return DoExecute(true);
}

bool CShaderDebuggerIL::Draw()
{
    SDU_Assert(m_pHost, m_pHost);
    SDU_Assert(m_pHost, GetCurrentShader());
    return m_pHost != NULL && m_pCurrentShader != NULL && m_pCurrentShader->Draw();
}

bool CShaderDebuggerIL::DoExecute(bool bRecordSteps)
{
    SDU_Assert(m_pHost, m_pHost);
    SDU_Assert(m_pHost, GetCurrentShader());
    return m_pHost != NULL && m_pCurrentShader != NULL && m_pCurrentShader->Execute(bRecordSteps);
}

bool CShaderDebuggerIL::Command(bool (CShaderDebuggerShaderIL::*pMove)(),
                                bool (CShaderDebuggerShaderIL::*pAfter)())
{
    CShaderDebuggerShaderIL* pShader = GetILShader();
    return pShader != NULL && (pShader->*pMove)() && Execute() && (pShader->*pAfter)();
}

bool CShaderDebuggerIL::Step()
{
    return Command(&CShaderDebuggerShaderIL::Step, &CShaderDebuggerShaderIL::PostStep);
}

bool CShaderDebuggerIL::Back()
{
    return Command(&CShaderDebuggerShaderIL::Back, &CShaderDebuggerShaderIL::PostBack);
}

bool CShaderDebuggerIL::Run()
{
    return Command(&CShaderDebuggerShaderIL::Run, &CShaderDebuggerShaderIL::PostStep);
}

bool CShaderDebuggerIL::RunBack()
{
    return Command(&CShaderDebuggerShaderIL::RunBack, &CShaderDebuggerShaderIL::PostBack);
}

uint32_t CShaderDebuggerIL::GetCurrentLine()
{
    return m_pCurrentShader != NULL ? m_pCurrentShader->GetCurrentLine() : 0;
}

uint32_t CShaderDebuggerIL::GetNextLine()
{
    return m_pCurrentShader != NULL ? m_pCurrentShader->GetNextLine() : 0;
}

uint32_t CShaderDebuggerIL::GetPreviousLine()
{
    return m_pCurrentShader != NULL ? m_pCurrentShader->GetPreviousLine() : 0;
}

ProgramCounter CShaderDebuggerIL::GetCurrentInstruction()
{
    return m_pCurrentShader != NULL ? m_pCurrentShader->GetCurrentInstruction() : ProgramCounter(0);
}

uint32_t CShaderDebuggerIL::FindBreakPointLine(uint32_t nLine, uint32_t nSearch)
{
    SDU_Assert(m_pHost, GetCurrentShader());
    CShaderDebuggerShaderIL* pShader = GetILShader();
    return pShader != NULL ? pShader->FindLineNear(nLine, nSearch) : g_nInvalidLine;
}

uint32_t CShaderDebuggerIL::GetLineOfInstruction(uint32_t nInstruction)
{
    return m_pCurrentShader != NULL ? m_pCurrentShader->GetLineFromInstruction(nInstruction)
                                    : g_nInvalidLine;
}

bool CShaderDebuggerIL::AddBreakPointAtLineNumber(uint32_t nLine, uint32_t nSearch,
                                                  uint32_t* pActualLine)
{
    const uint32_t nNearest = FindBreakPointLine(nLine, nSearch);
    if (pActualLine != NULL)
    {
        *pActualLine = nNearest;
    }
    if (nNearest == g_nInvalidLine || (nSearch == 0 && nNearest != nLine))
    {
        return false;
    }
    return CShaderDebuggerBase::AddBreakPointAtLineNumber(nNearest, nSearch, pActualLine);
}

bool CShaderDebuggerIL::AddBreakPoint(uint32_t nInstruction)
{
    return AddBreakPointAtLineNumber(GetLineOfInstruction(nInstruction), 0xFFFFFFFF, NULL);
}

bool CShaderDebuggerIL::RemoveBreakPointAtLineNumber(uint32_t nLine)
{
    const uint32_t nNearest = FindBreakPointLine(nLine, 0xFFFFFFFF);
    if (nNearest == g_nInvalidLine || nNearest != nLine)
    {
        return false;
    }
    return CShaderDebuggerBase::RemoveBreakPointAtLineNumber(nNearest);
}

bool CShaderDebuggerIL::RemoveBreakPoint(uint32_t nInstruction)
{
    return RemoveBreakPointAtLineNumber(GetLineOfInstruction(nInstruction));
}

bool CShaderDebuggerIL::ToggleBreakPointAtLineNumber(uint32_t nLine, bool bSearch)
{
    const uint32_t nNearest = FindBreakPointLine(nLine, 0xFFFFFFFF);
    if (nNearest == g_nInvalidLine || (!bSearch && nNearest != nLine))
    {
        return false;
    }
    if (m_BreakPoints.erase(nNearest) != 0)
    {
        return true;
    }
    // A search may take a breakpoint away behind a blank line, but never sets one there.
    if (nNearest != nLine)
    {
        return false;
    }
    m_BreakPoints.insert(nNearest);
    return true;
}

bool CShaderDebuggerIL::ToggleBreakPoint(uint32_t nInstruction)
{
    return ToggleBreakPointAtLineNumber(GetLineOfInstruction(nInstruction), false);
}

bool CShaderDebuggerIL::IsBreakPoint(uint32_t nInstruction)
{
    return IsBreakPointAtLineNumber(GetLineOfInstruction(nInstruction));
}

bool CShaderDebuggerIL::HasBreakPointBetween(uint32_t nFirstInstruction, uint32_t nLastInstruction)
{
    return HasBreakPointBetweenLines(GetLineOfInstruction(nFirstInstruction),
                                     GetLineOfInstruction(nLastInstruction));
}

uint32_t CShaderDebuggerIL::GetAllBreakpointInstructions(std::set<uint32_t>* pInstructions)
{
    if (pInstructions == NULL)
    {
        return GetAllBreakpoints(NULL);
    }
    pInstructions->clear();
    for (uint32_t nLine : m_BreakPoints)
    {
        pInstructions->insert(m_pCurrentShader != NULL
                                  ? m_pCurrentShader->GetInstructionFromLine(nLine)
                                  : g_nInvalidInstruction);
    }
    return static_cast<uint32_t>(pInstructions->size());
}

CShaderDebuggerVariables* CShaderDebuggerIL::GetVariables(ShaderUtils::ThreadID& id)
{
    if (!id.IsValid())
    {
        id = GetThreadID();
    }
    if (!id.IsValid())
    {
        SelectDefaultThread(id);
    }
    CShaderDebuggerVariables* pVariables = new (std::nothrow) CShaderDebuggerVariables();
    if (pVariables != NULL && m_pCurrentShader != NULL)
    {
        FillVariables(*pVariables, m_Results, id, 5);
    }
    return pVariables;
}

bool CShaderDebuggerIL::SelectDefaultThread(ShaderUtils::ThreadID& id)
{
    if (id.IsValid())
    {
        return true;
    }
    for (const std::pair<const std::string, CShaderDebuggerResult*>& entry : m_Results)
    {
        const CShaderDebuggerBuffer* pMask = entry.second->GetExecMaskBuffer();
        if (pMask == NULL)
        {
            continue;
        }
        ShaderUtils::ThreadID found = ShaderUtils::g_ThreadID_NULL;
        switch (pMask->GetFormat())
        {
        case BF_RGBA8:
        {
            const uint8_t active[4] = {0xFF, 0xFF, 0xFF, 0xFF};
            pMask->FindPixel(found, active, id.nSlice);
            break;
        }
        case BF_RGBA32:
        case BF_RGBA32Alt:
        {
            const float active[4] = {1.0f, 1.0f, 1.0f, 1.0f};
            pMask->FindPixel(found, active, id.nSlice);
            break;
        }
        default:
            break;
        }
        if (found.IsValid())
        {
            id = found;
            SetThreadID(id);
            return true;
        }
    }
    for (const std::pair<const std::string, CShaderDebuggerResult*>& entry : m_Results)
    {
        const CShaderDebuggerBuffer* pBuffer = entry.second->GetResultBuffer();
        if (pBuffer == NULL)
        {
            continue;
        }
        switch (pBuffer->GetType())
        {
        case BT_Buffer:
        case BT_Image1D:
            id.nDimensions = 1;
            break;
        case BT_Image3D:
            id.nDimensions = 3;
            break;
        default:
            id.nDimensions = 2;
            break;
        }
        id.x = 0;
        id.y = 0;
        id.z = 0;
        id.nSlice = 0;
        return true;
    }
    return false;
}

ShaderUtils::SUBuffer* CShaderDebuggerIL::GetRegisterResultsBuffer(const varID& request)
{
    switch (request.nKind)
    {
    case 0:
        return m_pLastResult != NULL ? m_pLastResult->GetResultBuffer() : NULL;
    case 2:
    {
        CShaderDebuggerResult* pResult = FindResult(m_Results, request.strName);
        return pResult != NULL ? pResult->GetResultBuffer() : NULL;
    }
    default:
        return NULL;
    }
}

ShaderUtils::SUBuffer* CShaderDebuggerIL::GetGlobalResultsBuffer(const varID& request)
{
    CShaderDebuggerResult* pResult = FindResult(m_GlobalResults, request.strName);
    if (pResult == NULL)
    {
        return NULL;
    }
    UpdateGlobalResult(pResult);
    return pResult->GetResultBuffer();
}

ShaderUtils::SUBuffer* CShaderDebuggerIL::GetExecMaskBuffer()
{
    return m_pLastResult != NULL ? m_pLastResult->GetExecMaskBuffer() : NULL;
}

CShaderDebuggerShaderIL* CShaderDebuggerIL::CreateILShader(const void* pShaderData, size_t nSize,
                                                           const void*)
{
    return new (std::nothrow) CShaderDebuggerShaderIL(this, pShaderData, nSize);
}

CShaderDebuggerDeviceBuffer* CShaderDebuggerIL::CreateDebuggerBuffer(BufferFormat format,
                                                                     uint32_t nReserved)
{
    BufferDesc desc;
    if (!m_pHost->GetDeviceBufferDesc(ST_Compute, -1, &desc))
    {
        return NULL;
    }
    desc.m_nRowPitch = 0;
    desc.m_Format = format;
    desc.m_nReserved0 = nReserved;
    return m_pHost->CreateDeviceBuffer(desc);
}

bool CShaderDebuggerIL::CreateTargetBuffers()
{
    BufferDesc grid;
    if (!m_pHost->GetDeviceBufferDesc(ST_Compute, -1, &grid))
    {
        LogError(m_pHost, "ShaderDebugger can not get render target description.\n");
        return false;
    }
    m_nWorkSize[0] = grid.m_nWidth;
    m_nWorkSize[1] = grid.m_nHeight;
    m_nWorkSize[2] = grid.m_nDepth;
    m_nWorkSize[3] = grid.m_nArraySize;
    m_nWorkSize[4] = grid.m_Type;
    if (m_pSwitchedTargetBuffers[SD_Results] == NULL)
    {
        m_pSwitchedTargetBuffers[SD_Results].reset(CreateDebuggerBuffer(BF_RGBA32, 1));
        SDU_Assert(m_pHost, m_pSwitchedTargetBuffers[SD_Results]);
    }
    if (m_pSwitchedTargetBuffers[SD_ExecMask] == NULL)
    {
        m_pSwitchedTargetBuffers[SD_ExecMask].reset(CreateDebuggerBuffer(BF_R32, 2));
        SDU_Assert(m_pHost, m_pSwitchedTargetBuffers[SD_ExecMask]);
    }
    if (m_pSwitchedTargetBuffers[SD_Results] == NULL ||
        m_pSwitchedTargetBuffers[SD_ExecMask] == NULL)
    {
        return false;
    }
    m_nExecMaskBytes = static_cast<size_t>(GetBufferFormatElementSize(BF_R32)) *
                       std::max(grid.m_nWidth, 1u) * std::max(grid.m_nHeight, 1u) *
                       std::max(grid.m_nDepth, 1u) * std::max(grid.m_nArraySize, 1u);

    const uint32_t n = m_pHost->GetNumDeviceBuffers(GetShaderType());
    SDU_Assert(m_pHost, m_vpOriginalTargetBuffers.empty());
    SDU_Assert(m_pHost, m_vpOriginalTargetBuffersData.empty());
    SDU_Assert(m_pHost, m_vpModifiedTargetBuffers.empty());
    SDU_Assert(m_pHost, m_GlobalResults.empty());
    m_vpOriginalTargetBuffers.clear();
    m_vpOriginalTargetBuffersData.clear();
    m_vpModifiedTargetBuffers.clear();
    DeleteResults(m_GlobalResults);
    m_vpOriginalTargetBuffers.resize(n);
    m_vpOriginalTargetBuffersData.resize(n);
    m_vpModifiedTargetBuffers.resize(n);
    m_vGlobalResultStale.assign(n, false);

    for (uint32_t i = 0; i < n; ++i)
    {
        m_vpOriginalTargetBuffers[i].reset(m_pHost->GetDeviceBuffer(GetShaderType(), i));
        SDU_Assert(m_pHost, m_vpOriginalTargetBuffers[i] != NULL);
        if (m_vpOriginalTargetBuffers[i] == NULL)
        {
            return false;
        }
        BufferDesc desc;
        if (!m_pHost->GetDeviceBufferDesc(ST_Compute, static_cast<int32_t>(i), &desc) ||
            !HasMemory(desc))
        {
            continue;
        }
        // The memory that each execution starts from. The global result takes a copy of its
        // own, so that reading the working copy into it never changes the starting memory.
        m_vpOriginalTargetBuffersData[i].reset(m_vpOriginalTargetBuffers[i]->GetDataBuffer(NULL));
        SDU_Assert(m_pHost, m_vpOriginalTargetBuffersData[i] != NULL);
        if (m_vpOriginalTargetBuffersData[i] == NULL)
        {
            return false;
        }
        CShaderDebuggerBuffer* pGlobal =
            new (std::nothrow) CShaderDebuggerBuffer(*m_vpOriginalTargetBuffersData[i]);
        m_vpModifiedTargetBuffers[i].reset(m_pHost->CreateDeviceBuffer(desc));
        CShaderDebuggerResult* pResult = GetOrCreateResult(m_GlobalResults, GlobalResultName(i));
        if (pGlobal == NULL || m_vpModifiedTargetBuffers[i] == NULL || pResult == NULL)
        {
            delete pGlobal;
            return false;
        }
        pResult->SetDataType(RAW_DATA_TYPE, ALL_COMPONENTS);
        pResult->SetResultBuffer(pGlobal, NULL, 0, 0, 0);
    }
    return true;
}

void CShaderDebuggerIL::DestroyTargetBuffers(bool bUpdateBuffers)
{
    for (size_t i = 0; bUpdateBuffers && i < m_vpModifiedTargetBuffers.size(); ++i)
    {
        if (m_vpModifiedTargetBuffers[i] == NULL || m_vpOriginalTargetBuffers[i] == NULL)
        {
            continue;
        }
        std::unique_ptr<CShaderDebuggerBuffer> pData(
            m_vpModifiedTargetBuffers[i]->GetDataBuffer(NULL));
        if (pData != NULL)
        {
            WriteBuffer(m_vpOriginalTargetBuffers[i].get(), *pData);
        }
    }
    m_vpModifiedTargetBuffers.clear();
    m_vpOriginalTargetBuffersData.clear();
    m_vpOriginalTargetBuffers.clear();
    m_pSwitchedTargetBuffers[SD_Results].reset();
    m_pSwitchedTargetBuffers[SD_ExecMask].reset();
    m_pSpareBuffers[SD_Results].reset();
    m_pSpareBuffers[SD_ExecMask].reset();
}

bool CShaderDebuggerIL::SwitchTargetBuffers()
{
    SDU_Assert(m_pHost, GetCurrentShader() != NULL);
    SDU_Assert(m_pHost, m_pSwitchedTargetBuffers[SD_Results]);
    SDU_Assert(m_pHost, m_pSwitchedTargetBuffers[SD_ExecMask]);
    if (GetCurrentShader() == NULL || m_pSwitchedTargetBuffers[SD_Results] == NULL ||
        m_pSwitchedTargetBuffers[SD_ExecMask] == NULL)
    {
        return false;
    }
    const size_t numberOfOriginalBuffers = m_vpOriginalTargetBuffers.size();
    const size_t numberOfOriginalBuffersData = m_vpOriginalTargetBuffersData.size();
    const size_t numberOfModifiedBuffers = m_vpModifiedTargetBuffers.size();
    SDU_Assert(m_pHost, numberOfOriginalBuffersData >= numberOfModifiedBuffers);
    if (numberOfOriginalBuffersData < numberOfModifiedBuffers ||
        numberOfOriginalBuffers < numberOfModifiedBuffers)
    {
        return false;
    }
    for (size_t i = 0; i < numberOfModifiedBuffers; ++i)
    {
        if (m_vpModifiedTargetBuffers[i] == NULL)
        {
            continue;
        }
        const CShaderDebuggerBuffer* pOriginalBuffer = m_vpOriginalTargetBuffersData[i].get();
        SDU_Assert(m_pHost, pOriginalBuffer != NULL);
        if (pOriginalBuffer == NULL)
        {
            return false;
        }
        WriteBuffer(m_vpModifiedTargetBuffers[i].get(), *pOriginalBuffer);
    }
    const uint32_t nShaderType = GetShaderType();
    for (size_t i = 0; i < numberOfOriginalBuffers; ++i)
    {
        CShaderDebuggerDeviceBuffer* pBound =
            i < numberOfModifiedBuffers && m_vpModifiedTargetBuffers[i] != NULL
                ? m_vpModifiedTargetBuffers[i].get()
                : m_vpOriginalTargetBuffers[i].get();
        m_pHost->SetDeviceBuffer(nShaderType, static_cast<uint32_t>(i), pBound);
    }
    // Work-items that never reach the capture must read as inactive, not as the last run left
    // them.
    CShaderDebuggerDeviceBuffer* pExecMask = m_pSwitchedTargetBuffers[SD_ExecMask].get();
    if (!pExecMask->ZeroData())
    {
        const std::vector<uint8_t> vZeros(m_nExecMaskBytes, 0);
        pExecMask->UpdateData(vZeros.data(), vZeros.size());
    }
    const uint32_t n = static_cast<uint32_t>(numberOfOriginalBuffers);
    return m_pHost->SetDeviceBuffer(nShaderType, n, m_pSwitchedTargetBuffers[SD_Results].get()) &&
           m_pHost->SetDeviceBuffer(nShaderType, n + 1,
                                    m_pSwitchedTargetBuffers[SD_ExecMask].get());
}

bool CShaderDebuggerIL::RestoreTargetBuffers()
{
    return true;
}

bool CShaderDebuggerIL::SetRegisterSelectorValue(uint32_t nValue)
{
    BufferDesc desc;
    desc.m_Type = BT_Value;
    desc.m_nShaderType = GetShaderType();
    desc.m_nSize = sizeof(nValue);
    desc.m_nArraySize = 1;
    std::unique_ptr<CShaderDebuggerDeviceBuffer> pValueBuffer(m_pHost->CreateDeviceBuffer(desc));
    SDU_Assert(m_pHost, pValueBuffer);
    if (pValueBuffer == NULL)
    {
        return false;
    }
    pValueBuffer->UpdateData(&nValue, sizeof(nValue));
    const uint32_t nShaderType = GetShaderType();
    return m_pHost->SetDeviceBuffer(nShaderType, m_pHost->GetNumDeviceBuffers(nShaderType) + 2,
                                    pValueBuffer.get());
}

bool CShaderDebuggerIL::RetrieveBuffer(uint32_t nWhich, CShaderDebuggerBuffer*& pBuffer)
{
    pBuffer = ReadRecords(nWhich, NULL);
    return pBuffer != NULL;
}

CShaderDebuggerBuffer* CShaderDebuggerIL::ReadRecords(uint32_t nWhich, CShaderDebuggerBuffer* pHeld)
{
    if (m_pSwitchedTargetBuffers[nWhich] == NULL)
    {
        return NULL;
    }
    std::unique_ptr<CShaderDebuggerBuffer> pSpare;
    if (pHeld == NULL)
    {
        pSpare = std::move(m_pSpareBuffers[nWhich]);
        pHeld = pSpare.get();
    }
    CShaderDebuggerBuffer* pBuffer = m_pSwitchedTargetBuffers[nWhich]->GetDataBuffer(pHeld);
    if (pBuffer == pSpare.get())
    {
        pSpare.release();
    }
    return pBuffer;
}

void CShaderDebuggerIL::KeepSpare(uint32_t nWhich, std::unique_ptr<CShaderDebuggerBuffer> pBuffer)
{
    if (pBuffer != NULL)
    {
        m_pSpareBuffers[nWhich] = std::move(pBuffer);
    }
}

bool CShaderDebuggerIL::RetrieveResultBuffer(CShaderDebuggerBuffer*& pResultBuffer)
{
    RetrieveBuffer(SD_Results, pResultBuffer);
    SDU_Assert(m_pHost, pResultBuffer);
    return pResultBuffer != NULL;
}

bool CShaderDebuggerIL::RetrieveExecMaskBuffer(CShaderDebuggerBuffer*& pExecMaskBuffer)
{
    RetrieveBuffer(SD_ExecMask, pExecMaskBuffer);
    SDU_Assert(m_pHost, pExecMaskBuffer);
    return pExecMaskBuffer != NULL;
}

bool CShaderDebuggerIL::RetrieveBuffers(CShaderDebuggerBuffer*& pResultBuffer,
                                        CShaderDebuggerBuffer*& pExecMaskBuffer)
{
    pExecMaskBuffer = NULL;
    const bool bResult = RetrieveResultBuffer(pResultBuffer);
    return RetrieveExecMaskBuffer(pExecMaskBuffer) && bResult;
}

void CShaderDebuggerIL::UpdateResults(const ProgramCounter& pc, const Register& reg)
{
    CShaderDebuggerShaderIL* pShader = GetILShader();
    SDU_Assert(m_pHost, pShader != NULL);
    if (pShader == NULL)
    {
        return;
    }
    // The records go into the buffers that the register's result holds wherever none of their
    // values survive the step: at a million work-items, reading into fresh memory costs more
    // than the patched run.
    Register realReg;
    size_t nFirst = 0;
    size_t nComponents = 0;
    const bool bFiled = FindFilingTarget(reg, realReg, nFirst, nComponents);
    CShaderDebuggerResult* pHeld = NULL;
    if (bFiled)
    {
        pHeld = reg == g_Reg_NULL ? FindResult(m_Results, g_szNoDestinationRegister)
                                  : FindRegisterResult(realReg);
    }
    CShaderDebuggerBuffer* pHeldMask = pHeld != NULL ? pHeld->GetExecMaskBuffer() : NULL;
    CShaderDebuggerBuffer* pExecMaskBuffer = ReadRecords(SD_ExecMask, pHeldMask);
    SDU_Assert(m_pHost, pExecMaskBuffer);
    if (pExecMaskBuffer == NULL)
    {
        return;
    }
    pShader->UpdateExecMaskHistory(pc, pExecMaskBuffer);
    const bool bInPlace =
        pHeld != NULL &&
        !pHeld->KeepsHeldValues(reg == g_Reg_NULL ? NULL : pExecMaskBuffer, nComponents);
    CShaderDebuggerBuffer* pResultBuffer = NULL;
    if (bFiled)
    {
        pResultBuffer = ReadRecords(SD_Results, bInPlace ? pHeld->GetResultBuffer() : NULL);
        SDU_Assert(m_pHost, pResultBuffer);
    }
    if (pResultBuffer == NULL)
    {
        if (pExecMaskBuffer != pHeldMask)
        {
            KeepSpare(SD_ExecMask, std::unique_ptr<CShaderDebuggerBuffer>(pExecMaskBuffer));
        }
        return;
    }
    FileRecords(pc, reg, realReg, nFirst, nComponents, pResultBuffer, pExecMaskBuffer);
}

bool CShaderDebuggerIL::FindFilingTarget(const Register& reg, Register& realReg, size_t& nFirst,
                                         size_t& nComponents)
{
    realReg = reg;
    nFirst = 0;
    nComponents = 0;
    if (reg == g_Reg_NULL)
    {
        return true;
    }
    if (m_bTrackSelectedRegisters &&
        m_vTrackingRegisters.count(GetILRegisterName(reg.reg, false)) == 0)
    {
        return false;
    }
    if (reg.reg.type == RT_PrivateUAVAccess)
    {
        // The index is a byte offset; the result holds the 16-byte block around it.
        const uint32_t nAvail = ((reg.reg.index + 16) & ~15u) - reg.reg.index;
        const uint32_t nBytes = 4 * static_cast<uint32_t>(std::bitset<16>(reg.mask).count());
        if (nBytes > nAvail)
        {
            LogError(m_pHost, "No support for writes across 16 byte private UAV boundaries");
            return false;
        }
        realReg.reg.index = reg.reg.index >> 4;
        nFirst = (reg.reg.index - 16 * realReg.reg.index) >> 2;
        nComponents = nBytes >> 2;
    }
    return true;
}

CShaderDebuggerResult* CShaderDebuggerIL::UpdateResults(const ProgramCounter& pc,
                                                        const Register& reg,
                                                        CShaderDebuggerBuffer* pResultBuffer,
                                                        CShaderDebuggerBuffer* pExecMaskBuffer)
{
    Register realReg;
    size_t nFirst = 0;
    size_t nComponents = 0;
    if (!FindFilingTarget(reg, realReg, nFirst, nComponents))
    {
        KeepSpare(SD_Results, std::unique_ptr<CShaderDebuggerBuffer>(pResultBuffer));
        KeepSpare(SD_ExecMask, std::unique_ptr<CShaderDebuggerBuffer>(pExecMaskBuffer));
        return NULL;
    }
    return FileRecords(pc, reg, realReg, nFirst, nComponents, pResultBuffer, pExecMaskBuffer);
}

CShaderDebuggerResult* CShaderDebuggerIL::FileRecords(const ProgramCounter& pc, const Register& reg,
                                                      const Register& realReg, size_t nFirst,
                                                      size_t nComponents,
                                                      CShaderDebuggerBuffer* pResultBuffer,
                                                      CShaderDebuggerBuffer* pExecMaskBuffer)
{
    std::unique_ptr<CShaderDebuggerBuffer> pResultData(pResultBuffer);
    std::unique_ptr<CShaderDebuggerBuffer> pExecMask(pExecMaskBuffer);
    // A run for the exec mask alone is filed under a name of its own, without a merge.
    const bool bNoDestination = reg == g_Reg_NULL;
    if (!bNoDestination)
    {
        UpdateResultDataType(pc, realReg);
    }
    CShaderDebuggerResult* pResult = bNoDestination
                                         ? GetOrCreateResult(m_Results, g_szNoDestinationRegister)
                                         : GetResult(realReg);
    SDU_Assert(m_pHost, pResult);
    if (pResult == NULL)
    {
        return NULL;
    }
    m_pLastResult = pResult;
    pResult->AddStep(pc, realReg.mask);
    KeepSpare(SD_Results, pResult->SetResultBuffer(pResultData.release(),
                                                   bNoDestination ? NULL : pExecMask.get(), nFirst,
                                                   0, nComponents));
    KeepSpare(SD_ExecMask, pResult->SetExecMaskBuffer(pExecMask.release()));
    return pResult;
}

void CShaderDebuggerIL::UpdateResultDataType(const ProgramCounter&, const Register& reg)
{
    CShaderDebuggerResult* pResult = GetResult(reg);
    SDU_Assert(m_pHost, pResult);
    if (pResult != NULL)
    {
        pResult->SetDataType(RAW_DATA_TYPE, ALL_COMPONENTS);
    }
}

void CShaderDebuggerIL::UpdateResults(const Register& reg)
{
    SDU_Assert(m_pHost, GetCurrentShader() != NULL);
    CShaderDebuggerBuffer* pResultBuffer = NULL;
    CShaderDebuggerBuffer* pExecMaskBuffer = NULL;
    const bool bRetrieved = RetrieveBuffers(pResultBuffer, pExecMaskBuffer);
    delete pExecMaskBuffer;
    if (!bRetrieved)
    {
        delete pResultBuffer;
        return;
    }
    CShaderDebuggerResult* pResult = GetOrCreateResult(m_Results, GetILRegisterName(reg.reg, true));
    SDU_Assert(m_pHost, pResult);
    if (pResult == NULL)
    {
        delete pResultBuffer;
        return;
    }
    pResult->SetResultBuffer(pResultBuffer, NULL, 0, 0, 0);
}

bool CShaderDebuggerIL::FindLastResult(const ProgramCounter& pc)
{
    CShaderDebuggerShaderIL* pShader = GetILShader();
    SDU_Assert(m_pHost, pShader != NULL);
    if (pShader == NULL)
    {
        return false;
    }
    ProgramCounter position = pc;
    for (; position.m_nPos > 0; --position.m_nPos)
    {
        const Register reg = pShader->GetRegisterOutput(position);
        CShaderDebuggerResult* pResult = FindResult(m_Results, GetILRegisterName(reg.reg, true));
        if (pResult != NULL)
        {
            m_pLastResult = pResult;
            return true;
        }
    }
    return false;
}

void CShaderDebuggerIL::DeleteRegisterResult(const Register& reg)
{
    ResultMap::iterator it = m_Results.find(GetILRegisterName(reg.reg, true));
    if (it == m_Results.end())
    {
        return;
    }
    if (m_pLastResult == it->second)
    {
        m_pLastResult = NULL;
    }
    delete it->second;
    m_Results.erase(it);
}

CShaderDebuggerResult* CShaderDebuggerIL::GetResult(const Register& reg)
{
    return GetOrCreateResult(m_Results, GetILRegisterName(reg.reg, true));
}

CShaderDebuggerResult* CShaderDebuggerIL::GetOrCreateResult(ResultMap& results,
                                                            const std::string& strName)
{
    CShaderDebuggerResult* pResult = FindResult(results, strName);
    if (pResult == NULL)
    {
        pResult = new (std::nothrow) CShaderDebuggerResult(m_pHost, strName);
        if (pResult != NULL)
        {
            results[strName] = pResult;
        }
    }
    return pResult;
}

CShaderDebuggerResult* CShaderDebuggerIL::FindRegisterResult(const Register& reg)
{
    return FindResult(m_Results, GetILRegisterName(reg.reg, true));
}

CShaderDebuggerResult* CShaderDebuggerIL::FindResult(ResultMap& results, const std::string& strName)
{
    ResultMap::const_iterator it = results.find(strName);
    return it != results.end() ? it->second : NULL;
}

bool CShaderDebuggerIL::CreateCBDumpBuffer()
{
    CShaderDebuggerShaderIL* pShader = GetILShader();
    SDU_Assert(m_pHost, pShader != NULL);
    if (pShader == NULL)
    {
        return false;
    }
    BufferDesc desc;
    desc.m_Type = BT_Buffer;
    desc.m_Format = BF_RGBA32;
    desc.m_nReserved0 = 1;
    desc.m_nShaderType = ST_Compute;
    desc.m_nWidth = pShader->GetKernelABIConstantBufferSize();
    desc.m_nHeight = 1;
    desc.m_nDepth = 1;
    desc.m_nArraySize = 1;
    m_pCBBuffer.reset(m_pHost->CreateDeviceBuffer(desc));
    SDU_Assert(m_pHost, m_pCBBuffer);
    CShaderDebuggerResult* pResult =
        m_pCBBuffer != NULL ? GetOrCreateResult(m_GlobalResults, CB_DUMP_RESULT) : NULL;
    if (pResult == NULL)
    {
        LogError(m_pHost, "Out of memory.");
        SetLastError("Out of memory.");
        return false;
    }
    pResult->SetDataType(RAW_DATA_TYPE, ALL_COMPONENTS);
    return true;
}

bool CShaderDebuggerIL::BindCBDumpBuffer()
{
    SDU_Assert(m_pHost, NULL != m_pCBBuffer);
    const uint32_t nShaderType = GetShaderType();
    return m_pCBBuffer != NULL &&
           m_pHost->SetDeviceBuffer(nShaderType, m_pHost->GetNumDeviceBuffers(nShaderType),
                                    m_pCBBuffer.get());
}

bool CShaderDebuggerIL::UpdateCBDumpBuffer()
{
    CShaderDebuggerResult* pResult = FindResult(m_GlobalResults, CB_DUMP_RESULT);
    if (pResult == NULL || m_pCBBuffer == NULL)
    {
        return false;
    }
    CShaderDebuggerBuffer* pBuf = m_pCBBuffer->GetDataBuffer(NULL);
    SDU_Assert(m_pHost, pBuf);
    if (pBuf == NULL)
    {
        return false;
    }
    pResult->SetResultBuffer(pBuf, NULL, 0, 0, 0);
    return true;
}

bool CShaderDebuggerIL::UpdateGlobalResult(CShaderDebuggerResult* pUpdateResult)
{
    SDU_Assert(m_pHost, pUpdateResult);
    if (pUpdateResult == NULL)
    {
        return false;
    }
    for (size_t i = 0; i < m_vpModifiedTargetBuffers.size(); ++i)
    {
        if (m_vpModifiedTargetBuffers[i] == NULL)
        {
            continue;
        }
        CShaderDebuggerResult* pResult = FindResult(m_GlobalResults, GlobalResultName(i));
        SDU_Assert(m_pHost, pResult);
        if (pResult != pUpdateResult)
        {
            continue;
        }
        if (!m_vGlobalResultStale[i])
        {
            return true;
        }
        // The whole working copy replaces the held values: it is read over them.
        CShaderDebuggerBuffer* pBuf =
            m_vpModifiedTargetBuffers[i]->GetDataBuffer(pResult->GetResultBuffer());
        SDU_Assert(m_pHost, pBuf);
        if (pBuf == NULL)
        {
            continue;
        }
        pResult->SetResultBuffer(pBuf, NULL, 0, 0, 0);
        m_vGlobalResultStale[i] = false;
        return true;
    }
    return false;
}

void CShaderDebuggerIL::MarkGlobalResultsStale(const ProgramCounter& pc)
{
    m_vGlobalResultStale.assign(m_vGlobalResultStale.size(), true);
    m_GlobalResultsPC = pc;
}
} // namespace XAN_ShaderDebugger
