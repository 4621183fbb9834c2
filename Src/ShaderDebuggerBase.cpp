#include "ShaderDebuggerBase.h"

#include "ShaderDebuggerBuffer.h"
#include "ShaderDebuggerShader.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace XAN_ShaderDebugger
{
namespace
{
// Whether every element of every plane of a mask is set.
bool AreAllActive(const ShaderUtils::SUBuffer* pExecMask)
{
    const uint32_t nPlanes = pExecMask->GetSubResourceCount();
    uint64_t nActive = 0;
    for (uint32_t p = 0; p < nPlanes; ++p)
    {
        nActive += ShaderUtils::SUBuffer::CountActive(pExecMask, p);
    }
    return nActive == ShaderUtils::SUBuffer::GetElementCount(pExecMask) * nPlanes;
}
} // namespace

CShaderDebuggerResult::CShaderDebuggerResult(CShaderDebuggerHost* pHost, const std::string& strName)
    : m_pHost(pHost), m_strName(strName), m_pResultBuffer(NULL),
      m_pExecMaskBuffer(NULL), m_nDataType{1, 1, 1, 1}, m_nComponents(4)
{
}

CShaderDebuggerResult::~CShaderDebuggerResult()
{
    delete m_pResultBuffer;
    delete m_pExecMaskBuffer;
}

ProgramCounter CShaderDebuggerResult::GetLastStep() const
{
    return m_ExecutedSteps.empty() ? g_PC_NULL : m_ExecutedSteps.back().pc;
}

unsigned short CShaderDebuggerResult::GetLastStepMask() const
{
    return m_ExecutedSteps.empty() ? 0 : m_ExecutedSteps.back().mask;
}

ProgramCounter CShaderDebuggerResult::PopStep()
{
    if (!m_ExecutedSteps.empty())
    {
        m_ExecutedSteps.pop_back();
    }
    return GetLastStep();
}

void CShaderDebuggerResult::AddStep(const ProgramCounter& pc, unsigned short mask)
{
    if (!m_ExecutedSteps.empty() && GetLastStep() == pc)
    {
        return;
    }
    ExecutedStep step = {pc, mask};
    m_ExecutedSteps.push_back(step);
}

bool CShaderDebuggerResult::KeepsHeldValues(const ShaderUtils::SUBuffer* pExecMask,
                                            size_t nComponents) const
{
    return nComponents != 0 ||
           (m_pResultBuffer != NULL && pExecMask != NULL && !AreAllActive(pExecMask));
}

std::unique_ptr<CShaderDebuggerBuffer>
CShaderDebuggerResult::SetResultBuffer(CShaderDebuggerBuffer* pNew,
                                       const ShaderUtils::SUBuffer* pExecMask, size_t nDstComponent,
                                       size_t nSrcComponent, size_t nComponents)
{
    SDU_Assert(m_pHost, pNew != NULL);
    if (pNew == NULL || pNew == m_pResultBuffer)
    {
        return NULL;
    }
    if (!KeepsHeldValues(pExecMask, nComponents))
    {
        std::unique_ptr<CShaderDebuggerBuffer> pOld(m_pResultBuffer);
        m_pResultBuffer = pNew;
        return pOld;
    }
    std::unique_ptr<CShaderDebuggerBuffer> pMerged(pNew);
    if (m_pResultBuffer == NULL)
    {
        m_pResultBuffer = new (std::nothrow) CShaderDebuggerBuffer(m_pHost);
        SDU_Assert(m_pHost, m_pResultBuffer != NULL);
        if (m_pResultBuffer == NULL)
        {
            // Without a buffer to merge into, the new values are the best there is.
            m_pResultBuffer = pMerged.release();
            return NULL;
        }
        m_pResultBuffer->Create(pNew->GetDesc(), NULL);
    }
    ShaderUtils::SUBuffer::MergeBuffer(m_pResultBuffer, pNew, pExecMask, false, nDstComponent,
                                       nSrcComponent, nComponents);
    return pMerged;
}

std::unique_ptr<CShaderDebuggerBuffer>
CShaderDebuggerResult::SetExecMaskBuffer(CShaderDebuggerBuffer* pExecMask)
{
    if (pExecMask == m_pExecMaskBuffer)
    {
        return NULL;
    }
    std::unique_ptr<CShaderDebuggerBuffer> pOld(m_pExecMaskBuffer);
    m_pExecMaskBuffer = pExecMask;
    return pOld;
}

void CShaderDebuggerResult::SetDataType(uint32_t nType)
{
    m_nDataType[0] = nType;
    m_nComponents = 1;
}

bool CShaderDebuggerResult::KeepsDataType(uint32_t nPresent, uint32_t nNew)
{
    return nNew == 2 && (nPresent == 3 || nPresent == 4);
}

void CShaderDebuggerResult::SetDataType(uint32_t nType, unsigned short mask)
{
    for (unsigned int i = 0; i < 4; ++i)
    {
        if ((GetComponent(i) & mask) != 0 && !KeepsDataType(m_nDataType[i], nType))
        {
            m_nDataType[i] = nType;
        }
    }
}

void CShaderDebuggerResult::CopyDataType(const CShaderDebuggerResult* pOther, unsigned short mask)
{
    if (pOther == NULL)
    {
        return;
    }
    for (unsigned int i = 0; i < 4; ++i)
    {
        if ((GetComponent(i) & mask) != 0 && !KeepsDataType(m_nDataType[i], pOther->m_nDataType[i]))
        {
            m_nDataType[i] = pOther->m_nDataType[i];
        }
    }
}

CShaderDebuggerVariables::CShaderDebuggerVariables() : m_nWorkSize() {}

CShaderDebuggerVariables::~CShaderDebuggerVariables() {}

void CShaderDebuggerVariables::AddVariable(const std::string& strName, unsigned short mask,
                                           uint32_t nComponents, const float* pValues,
                                           const uint32_t* pDataTypes)
{
    CShaderDebuggerVariable row;
    row.strName = strName;
    row.mask = mask;
    row.nComponents = std::min<uint32_t>(nComponents, 4);
    for (uint32_t i = 0; i < 4; ++i)
    {
        const bool bUsed = i < row.nComponents;
        row.nDataType[i] = bUsed && pDataTypes != NULL ? pDataTypes[i] : 0;
        row.value[i] = bUsed && pValues != NULL ? pValues[i] : 0.0f;
    }
    m_VariableList.push_back(row);
}

void CShaderDebuggerVariables::AddVariable(const std::string& strName, unsigned short mask,
                                           uint32_t nComponents, const float* pValues,
                                           uint32_t nDataType)
{
    const uint32_t nDataTypes[4] = {nDataType, nDataType, nDataType, nDataType};
    AddVariable(strName, mask, nComponents, pValues, nDataTypes);
}

void CShaderDebuggerVariables::Sort()
{
    std::stable_sort(m_VariableList.begin(), m_VariableList.end(),
                     [](const CShaderDebuggerVariable& a, const CShaderDebuggerVariable& b)
                     { return a.strName < b.strName; });
}

CShaderDebuggerBase::CShaderDebuggerBase(CShaderDebuggerHost* pHost)
    : m_bIsDebugging(false), m_bIsProfiling(false), m_pHost(pHost), m_pCurrentShader(NULL),
      m_ThreadID(2, -1, -1, 0, 0), m_bTrackSelectedRegisters(false), m_nWorkSize(), m_nLogLevel(8),
      m_bErrorPending(false)
{
}

CShaderDebuggerBase::~CShaderDebuggerBase()
{
    delete m_pCurrentShader;
}

bool CShaderDebuggerBase::StartDebugging(const void*, size_t, const void*,
                                         const uint32_t* pWorkSize)
{
    SDU_Assert(m_pHost, !m_bIsDebugging);
    if (m_bIsDebugging)
    {
        return false;
    }
    // The first entry, the dimension count, isn't kept.
    for (size_t i = 0; i < 4; ++i)
    {
        m_nWorkSize[i] = pWorkSize != NULL ? pWorkSize[i + 1] : 0;
    }
    m_nWorkSize[4] = 0;
    m_ThreadID.nDimensions = 2;
    m_ThreadID.x = -1;
    m_ThreadID.y = -1;
    return true;
}

bool CShaderDebuggerBase::IsDebugging()
{
    return m_bIsDebugging;
}

bool CShaderDebuggerBase::Profile(const void*, size_t, const void*, void*, const uint32_t*,
                                  uint32_t)
{
    return false;
}

bool CShaderDebuggerBase::GetShaderText(std::string& text, uint32_t nType)
{
    if (m_pCurrentShader == NULL)
    {
        text.clear();
        return false;
    }
    return m_pCurrentShader->GetShaderText(text, nType);
}

bool CShaderDebuggerBase::GetShaderInfo(ShaderInfo* pInfo)
{
    SDU_Assert(m_pHost, pInfo != NULL);
    if (pInfo == NULL)
    {
        return false;
    }
    pInfo->Reset();
    return m_pCurrentShader != NULL && m_pCurrentShader->GetShaderInfo(pInfo);
}

uint32_t CShaderDebuggerBase::GetDefaultDebugMode()
{
    return m_pCurrentShader != NULL ? m_pCurrentShader->GetDefaultDebugMode() : 0;
}

bool CShaderDebuggerBase::SetDebugMode(uint32_t nMode)
{
    return m_pCurrentShader != NULL && m_pCurrentShader->SetDebugMode(nMode);
}

bool CShaderDebuggerBase::Draw()
{
    return Execute();
}

void CShaderDebuggerBase::SetThreadID(const ShaderUtils::ThreadID& id)
{
    m_ThreadID = id;
}

ShaderUtils::ThreadID CShaderDebuggerBase::GetThreadID()
{
    return m_ThreadID;
}

bool CShaderDebuggerBase::AddBreakPointAtLineNumber(uint32_t nLine, uint32_t, uint32_t*)
{
    m_BreakPoints.insert(nLine);
    return true;
}

bool CShaderDebuggerBase::RemoveBreakPointAtLineNumber(uint32_t nLine)
{
    m_BreakPoints.erase(nLine);
    return true;
}

bool CShaderDebuggerBase::RemoveAllBreakPoints()
{
    m_BreakPoints.clear();
    return true;
}

bool CShaderDebuggerBase::ToggleBreakPointAtLineNumber(uint32_t nLine, bool)
{
    if (m_BreakPoints.erase(nLine) == 0)
    {
        m_BreakPoints.insert(nLine);
    }
    return true;
}

bool CShaderDebuggerBase::IsBreakPointAtLineNumber(uint32_t nLine)
{
    return m_BreakPoints.count(nLine) != 0;
}

bool CShaderDebuggerBase::HasBreakPointBetweenLines(uint32_t nFirst, uint32_t nLast)
{
    const std::set<uint32_t>::const_iterator it = m_BreakPoints.upper_bound(nFirst);
    return it != m_BreakPoints.end() && *it < nLast;
}

uint32_t CShaderDebuggerBase::GetAllBreakpoints(std::set<uint32_t>* pLines)
{
    if (pLines != NULL)
    {
        *pLines = m_BreakPoints;
    }
    return static_cast<uint32_t>(m_BreakPoints.size());
}

bool CShaderDebuggerBase::SetTrackingRegisters(const std::set<std::string>& registers)
{
    m_vTrackingRegisters = registers;
    return true;
}

void CShaderDebuggerBase::GetTrackingRegisters(std::set<std::string>& registers)
{
    registers = m_vTrackingRegisters;
}

void CShaderDebuggerBase::SetTrackSelectedRegisters(bool bTrackSelected)
{
    m_bTrackSelectedRegisters = bTrackSelected;
}

bool CShaderDebuggerBase::IsTrackSelectedRegisters()
{
    return m_bTrackSelectedRegisters;
}

uint32_t CShaderDebuggerBase::GetWorkSize0()
{
    return m_nWorkSize[0];
}

uint32_t CShaderDebuggerBase::GetWorkSize1()
{
    return m_nWorkSize[1];
}

uint32_t CShaderDebuggerBase::GetWorkSize2()
{
    return m_nWorkSize[2];
}

uint32_t CShaderDebuggerBase::GetWorkSize3()
{
    return m_nWorkSize[3];
}

uint32_t CShaderDebuggerBase::GetWorkSize4()
{
    return m_nWorkSize[4];
}

bool CShaderDebuggerBase::GetLastError(std::string& strError)
{
    strError = m_strLastError;
    const bool bWasPending = m_bErrorPending;
    m_bErrorPending = false;
    return bWasPending;
}

void CShaderDebuggerBase::SetLastError(const std::string& strError)
{
    m_strLastError = strError;
    m_bErrorPending = true;
}

uint32_t CShaderDebuggerBase::GetLogLevel()
{
    return m_nLogLevel;
}

void CShaderDebuggerBase::SetLogLevel(uint32_t nLevel)
{
    m_nLogLevel = nLevel;
}

CShaderDebuggerHost* CShaderDebuggerBase::GetHost()
{
    return m_pHost;
}

uint32_t CShaderDebuggerBase::GetShaderType()
{
    return m_pCurrentShader != NULL ? m_pCurrentShader->GetShaderType() : 0;
}

void CShaderDebuggerBase::SetCurrentShader(CShaderDebuggerShader* pShader)
{
    delete m_pCurrentShader;
    m_pCurrentShader = pShader;
}

void CShaderDebuggerBase::FillVariables(
    CShaderDebuggerVariables& variables,
    const std::map<std::string, CShaderDebuggerResult*>& results, const ShaderUtils::ThreadID& id,
    uint32_t nWorkSizes)
{
    const uint32_t nCurrentPos = GetCurrentInstruction().m_nPos;
    for (const std::pair<const std::string, CShaderDebuggerResult*>& entry : results)
    {
        const CShaderDebuggerResult* pResult = entry.second;
        if (pResult == NULL || entry.first == g_szNoDestinationRegister)
        {
            continue;
        }
        // A thread that the buffer doesn't hold reads as zeros.
        float values[4] = {0.0f, 0.0f, 0.0f, 0.0f};
        if (pResult->GetResultBuffer() != NULL)
        {
            pResult->GetResultBuffer()->GetPixel(values, id);
        }
        const unsigned short mask =
            pResult->GetLastStep().m_nPos == nCurrentPos ? pResult->GetLastStepMask() : 0;
        variables.AddVariable(entry.first, mask, pResult->GetComponentCount(), values,
                              pResult->GetDataTypes());
    }

    variables.SetThreadID(id);
    typedef void (CShaderDebuggerVariables::*WorkSizeSetter)(uint32_t);
    static const WorkSizeSetter s_Setters[5] = {
        &CShaderDebuggerVariables::SetWorkSize0, &CShaderDebuggerVariables::SetWorkSize1,
        &CShaderDebuggerVariables::SetWorkSize2, &CShaderDebuggerVariables::SetWorkSize3,
        &CShaderDebuggerVariables::SetWorkSize4};
    for (uint32_t i = 0; i < nWorkSizes && i < 5; ++i)
    {
        (variables.*s_Setters[i])(m_nWorkSize[i]);
    }
    variables.Sort();
}
} // namespace XAN_ShaderDebugger
