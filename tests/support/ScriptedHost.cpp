#include "support/ScriptedHost.h"

#include "ShaderDebuggerBuffer.h"
#include "ShaderDebuggerIL/ShaderDebuggerShaderIL.h"

#include <algorithm>
#include <cstring>

namespace XAN_Test
{
using namespace XAN_ShaderDebugger;

namespace
{
uint64_t ByteSize(const BufferDesc& desc)
{
    if (desc.m_Type == BT_Value || desc.m_Format == BF_Bytes)
    {
        return desc.m_nSize;
    }
    return static_cast<uint64_t>(GetBufferFormatElementSize(desc.m_Format)) *
           std::max(desc.m_nWidth, 1u) * std::max(desc.m_nHeight, 1u) *
           std::max(desc.m_nDepth, 1u) * std::max(desc.m_nArraySize, 1u);
}

uint32_t* Words(Bytes& memory)
{
    return reinterpret_cast<uint32_t*>(memory.data());
}
} // namespace

CScriptedDeviceBuffer::CScriptedDeviceBuffer(CShaderDebuggerHost* pHost, const BufferDesc& desc,
                                             std::shared_ptr<Bytes> pMemory,
                                             std::shared_ptr<size_t> pLiveCount)
    : m_pHost(pHost), m_Desc(desc), m_pMemory(pMemory), m_pLiveCount(pLiveCount)
{
    ++*m_pLiveCount;
}

CScriptedDeviceBuffer::~CScriptedDeviceBuffer()
{
    --*m_pLiveCount;
}

bool CScriptedDeviceBuffer::Create(const BufferDesc& desc)
{
    m_Desc = desc;
    m_pMemory->assign(static_cast<size_t>(ByteSize(desc)), 0xAA);
    return true;
}

CShaderDebuggerBuffer* CScriptedDeviceBuffer::GetDataBuffer(CShaderDebuggerBuffer* pDataBuffer)
{
    if (m_Desc.m_Type == BT_Value || m_Desc.m_Type == BT_LocalBuffer)
    {
        return NULL;
    }
    std::unique_ptr<CShaderDebuggerBuffer> pNew;
    if (pDataBuffer == NULL)
    {
        pNew.reset(new CShaderDebuggerBuffer(m_pHost));
        pDataBuffer = pNew.get();
        if (!pDataBuffer->Create(m_Desc, NULL))
        {
            return NULL;
        }
    }
    if (pDataBuffer->GetDataSize() != m_pMemory->size() ||
        !pDataBuffer->UpdateSubResources(m_pMemory->data(), 0, 0, 0xFFFFFFFF))
    {
        return NULL;
    }
    pNew.release();
    return pDataBuffer;
}

bool CScriptedDeviceBuffer::Clear()
{
    return UpdateData(NULL, 0);
}

bool CScriptedDeviceBuffer::UpdateData(const void* pData, size_t nBufferSize)
{
    if (pData == NULL)
    {
        std::fill(m_pMemory->begin(), m_pMemory->end(), 0xAA);
        return true;
    }
    const size_t nCopy = std::min(nBufferSize, m_pMemory->size());
    std::memcpy(m_pMemory->data(), pData, nCopy);
    return nCopy == nBufferSize;
}

CScriptedHost::CScriptedHost(const std::string& strKernel, uint32_t nWidth, uint32_t nHeight,
                             uint32_t nDepth, const std::vector<std::vector<uint32_t>>& vArguments,
                             uint32_t nType)
    : CShaderDebuggerHost(NULL), m_nExecutions(0), m_pDebugger(NULL), m_strKernel(strKernel),
      m_pLiveBuffers(std::make_shared<size_t>(0))
{
    m_Grid.m_Type = BT_Buffer;
    m_Grid.m_nShaderType = ST_Compute;
    m_Grid.m_nWidth = nWidth;
    m_Grid.m_nHeight = std::max(nHeight, 1u);
    m_Grid.m_nDepth = std::max(nDepth, 1u);
    m_Grid.m_nArraySize = 1;
    m_WorkSize[0] = nDepth > 0 ? 3 : (nHeight > 0 ? 2 : 1);
    m_WorkSize[1] = nWidth;
    m_WorkSize[2] = m_Grid.m_nHeight;
    m_WorkSize[3] = m_Grid.m_nDepth;
    m_WorkSize[4] = 1;
    for (const std::vector<uint32_t>& vWords : vArguments)
    {
        std::shared_ptr<Bytes> pMemory = std::make_shared<Bytes>(vWords.size() * 4);
        std::memcpy(pMemory->data(), vWords.data(), pMemory->size());
        m_vArguments.push_back(pMemory);
    }
    m_pDebugger =
        static_cast<CShaderDebuggerIL*>(IShaderDebugger::CreateShaderDebugger(nType, this));
    SDU_SetContext(this, false, "", "", 0, "");
}

bool CScriptedHost::Start(const std::vector<char>& vBinary)
{
    return StartDebugging(vBinary.data(), vBinary.size(), NULL, m_WorkSize, 0);
}

uint32_t CScriptedHost::GetWorkItemCount() const
{
    return m_Grid.m_nWidth * m_Grid.m_nHeight * m_Grid.m_nDepth;
}

std::vector<uint32_t> CScriptedHost::Argument(size_t nIndex) const
{
    const Bytes& memory = *m_vArguments[nIndex];
    std::vector<uint32_t> vWords(memory.size() / 4);
    std::memcpy(vWords.data(), memory.data(), vWords.size() * 4);
    return vWords;
}

uint32_t CScriptedHost::Value(const ProgramCounter& pc, uint32_t nSelector, uint32_t nItem)
{
    uint32_t nIterations = 0;
    for (const LoopState& loop : pc.m_vLoopStack)
    {
        nIterations += loop.nIteration;
    }
    return (pc.m_nPos << 20) | (nIterations << 12) | (nSelector << 8) | (nItem & 0xFF);
}

bool CScriptedHost::Logged(const std::string& strText) const
{
    for (const std::string& strLine : m_vLines)
    {
        if (strLine.find(strText) != std::string::npos)
        {
            return true;
        }
    }
    return false;
}

bool CScriptedHost::InitDevice(const void*, size_t, const void*, const uint32_t*, uint32_t)
{
    m_vCalls.push_back("InitDevice");
    return true;
}

bool CScriptedHost::ResetDevice()
{
    m_vCalls.push_back("ResetDevice");
    return true;
}

const Binding* CScriptedHost::Bound(uint32_t nIndex) const
{
    for (std::vector<Binding>::const_reverse_iterator it = m_vBindings.rbegin();
         it != m_vBindings.rend(); ++it)
    {
        if (it->nIndex == nIndex)
        {
            return &*it;
        }
    }
    return NULL;
}

CScriptedDeviceBuffer* CScriptedHost::BoundBuffer(uint32_t nIndex) const
{
    const Binding* pBinding = Bound(nIndex);
    return pBinding != NULL ? const_cast<CScriptedDeviceBuffer*>(
                                  static_cast<const CScriptedDeviceBuffer*>(pBinding->pBuffer))
                            : NULL;
}

bool CScriptedHost::IsDumpRun() const
{
    const CShaderDebuggerShaderIL* pShader = m_pDebugger->GetILShader();
    const void* pPatched = pShader != NULL ? pShader->GetPatchedShader() : NULL;
    const Bytes& last = m_vShaders.back();
    return pPatched == NULL || pShader->GetPatchedShaderSize() != last.size() ||
           std::memcmp(pPatched, last.data(), last.size()) != 0;
}

bool CScriptedHost::ExecuteShader()
{
    m_vCalls.push_back("ExecuteShader");
    ++m_nExecutions;
    const uint32_t n = static_cast<uint32_t>(m_vArguments.size());
    CScriptedDeviceBuffer* pResult = BoundBuffer(n);
    CScriptedDeviceBuffer* pMask = BoundBuffer(n + 1);
    const Binding* pSelector = Bound(n + 2);
    if (m_vShaders.empty() || pResult == NULL || pMask == NULL || pSelector == NULL ||
        pSelector->value.size() != 4)
    {
        return false;
    }
    if (IsDumpRun())
    {
        // Each cb1 entry names itself.
        Bytes& dump = pResult->Memory();
        for (uint32_t w = 0; w < dump.size() / 4; ++w)
        {
            Words(dump)[w] = 0xCB000000u | w;
        }
        return true;
    }
    uint32_t nSelector = 0;
    std::memcpy(&nSelector, pSelector->value.data(), 4);
    const ProgramCounter pc = m_pDebugger->GetILShader()->GetLastPatchTarget();
    m_vRuns.push_back(std::make_pair(pc, nSelector));
    const uint32_t nActive =
        std::min(GetWorkItemCount(), m_Active ? m_Active(pc, nSelector) : GetWorkItemCount());
    for (uint32_t nItem = 0; nItem < nActive; ++nItem)
    {
        Words(pMask->Memory())[nItem] = 1;
        for (uint32_t c = 0; c < 4; ++c)
        {
            Words(pResult->Memory())[4 * nItem + c] = Value(pc, nSelector, nItem) + c;
        }
    }
    // The kernel updates its buffers in place, as a[i] += 1 does.
    for (uint32_t i = 0; i < n; ++i)
    {
        CScriptedDeviceBuffer* pArgument = BoundBuffer(i);
        for (uint32_t w = 0; pArgument != NULL && w < pArgument->Memory().size() / 4; ++w)
        {
            ++Words(pArgument->Memory())[w];
        }
    }
    return true;
}

bool CScriptedHost::GetDeviceBufferDesc(uint32_t, int32_t nIndex, BufferDesc* pDesc)
{
    if (nIndex < 0)
    {
        *pDesc = m_Grid;
        return true;
    }
    if (static_cast<size_t>(nIndex) >= m_vArguments.size())
    {
        return false;
    }
    *pDesc = BufferDesc();
    pDesc->m_Type = BT_Buffer;
    pDesc->m_Format = BF_Bytes;
    pDesc->m_nShaderType = ST_Compute;
    pDesc->m_nSize = m_vArguments[nIndex]->size();
    pDesc->m_nWidth = static_cast<uint32_t>(pDesc->m_nSize);
    pDesc->m_nHeight = 1;
    pDesc->m_nDepth = 1;
    pDesc->m_nArraySize = 1;
    return true;
}

CShaderDebuggerDeviceBuffer* CScriptedHost::CreateDeviceBuffer(const BufferDesc& desc)
{
    m_vCalls.push_back("CreateDeviceBuffer");
    CScriptedDeviceBuffer* pBuffer =
        new CScriptedDeviceBuffer(this, desc, std::make_shared<Bytes>(), m_pLiveBuffers);
    pBuffer->Create(desc);
    return pBuffer;
}

uint32_t CScriptedHost::GetNumDeviceBuffers(uint32_t)
{
    return static_cast<uint32_t>(m_vArguments.size());
}

CShaderDebuggerDeviceBuffer* CScriptedHost::GetDeviceBuffer(uint32_t nShaderType, uint32_t nIndex)
{
    BufferDesc desc;
    if (!GetDeviceBufferDesc(nShaderType, static_cast<int32_t>(nIndex), &desc))
    {
        return NULL;
    }
    return new CScriptedDeviceBuffer(this, desc, m_vArguments[nIndex], m_pLiveBuffers);
}

bool CScriptedHost::SetDeviceBuffer(uint32_t, uint32_t nIndex, CShaderDebuggerDeviceBuffer* pBuffer)
{
    const CScriptedDeviceBuffer* pScripted = static_cast<const CScriptedDeviceBuffer*>(pBuffer);
    Binding binding = {nIndex, pBuffer,
                       pScripted != NULL ? pScripted->GetDesc().m_Type : BT_Unknown, Bytes()};
    if (pScripted != NULL && binding.type == BT_Value)
    {
        binding.value = pScripted->Memory();
    }
    m_vBindings.push_back(binding);
    return pBuffer != NULL;
}

bool CScriptedHost::SetShader(uint32_t, const void* pData, size_t nSize)
{
    m_vCalls.push_back("SetShader");
    const uint8_t* pBytes = static_cast<const uint8_t*>(pData);
    m_vShaders.push_back(Bytes(pBytes, pBytes + nSize));
    return true;
}
} // namespace XAN_Test
