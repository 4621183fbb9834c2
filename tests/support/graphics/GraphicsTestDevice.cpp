#include "GraphicsTestDevice.h"

#include "ShaderDebuggerBuffer.h"

#include <algorithm>
#include <cstring>

using namespace XAN_ShaderDebugger;

namespace XAN_Test
{
CGraphicsTestBuffer::CGraphicsTestBuffer(CGraphicsTestDevice* pDevice,
                                         std::shared_ptr<CTestImage> pImage)
    : m_pDevice(pDevice), m_pImage(std::move(pImage))
{
    ++m_pDevice->m_nLiveBuffers;
}

CGraphicsTestBuffer::~CGraphicsTestBuffer()
{
    --m_pDevice->m_nLiveBuffers;
}

bool CGraphicsTestBuffer::Create(const BufferDesc& desc)
{
    m_pImage = std::make_shared<CTestImage>();
    m_pImage->desc = desc;
    m_pImage->vData.assign(static_cast<size_t>(desc.m_nWidth) * desc.m_nHeight *
                               GetBufferFormatElementSize(desc.m_Format),
                           0);
    return !m_pImage->vData.empty();
}

CShaderDebuggerBuffer* CGraphicsTestBuffer::GetDataBuffer(CShaderDebuggerBuffer* pDataBuffer)
{
    CShaderDebuggerBuffer* pBuffer =
        pDataBuffer != NULL ? pDataBuffer : new CShaderDebuggerBuffer(m_pDevice->GetHost());
    BufferDesc desc = m_pImage->desc;
    desc.m_nDepth = 1;
    desc.m_nArraySize = 1;
    desc.m_nRowPitch = 0;
    if (!pBuffer->Create(desc, m_pImage->vData.data()))
    {
        if (pBuffer != pDataBuffer)
        {
            delete pBuffer;
        }
        return NULL;
    }
    return pBuffer;
}

bool CGraphicsTestBuffer::Clear()
{
    std::fill(m_pImage->vData.begin(), m_pImage->vData.end(), 0);
    return true;
}

bool CGraphicsTestBuffer::UpdateData(const void* pData, size_t nBufferSize)
{
    if (pData == NULL || nBufferSize > m_pImage->vData.size())
    {
        return false;
    }
    std::memcpy(m_pImage->vData.data(), pData, nBufferSize);
    return true;
}

CGraphicsTestDevice::CGraphicsTestDevice(uint32_t nWidth, uint32_t nHeight)
    : m_nWidth(nWidth), m_nHeight(nHeight)
{
}

CGraphicsTestDevice::~CGraphicsTestDevice()
{
    for (const std::pair<CTestShader* const, bool>& entry : m_Shaders)
    {
        delete entry.first;
    }
}

void* CGraphicsTestDevice::CreateApplicationShader(uint32_t nShaderType,
                                                   const std::vector<std::uint32_t>& vTokens)
{
    void* pShader = NULL;
    CreateShader(nShaderType, vTokens.data(), vTokens.size() * sizeof(std::uint32_t), &pShader);
    SetShader(nShaderType, pShader, 0);
    m_nCalls.fill(0);
    return pShader;
}

void CGraphicsTestDevice::BindApplicationTarget(uint32_t nIndex, BufferFormat format)
{
    m_Targets[nIndex] = std::make_shared<CTestImage>();
    m_Targets[nIndex]->desc.m_Type = BT_Image2D;
    m_Targets[nIndex]->desc.m_Format = format;
    m_Targets[nIndex]->desc.m_nWidth = m_nWidth;
    m_Targets[nIndex]->desc.m_nHeight = m_nHeight;
    m_Targets[nIndex]->vData.assign(
        static_cast<size_t>(m_nWidth) * m_nHeight * GetBufferFormatElementSize(format), 0);
}

void CGraphicsTestDevice::CaptureApplicationState()
{
    m_ApplicationShaders = m_BoundShaders;
    m_ApplicationTargets = m_Targets;
}

bool CGraphicsTestDevice::Fails(EInjectedFailure failure)
{
    ++m_nCalls[failure];
    if (m_nFailAt[failure] > 0 && --m_nFailAt[failure] == 0)
    {
        return true;
    }
    return false;
}

bool CGraphicsTestDevice::IsLive(const CTestShader* pShader) const
{
    return m_Shaders.count(const_cast<CTestShader*>(pShader)) != 0;
}

void CGraphicsTestDevice::AddReference(CTestShader* pShader)
{
    if (pShader != NULL)
    {
        ++pShader->nReferences;
    }
}

bool CGraphicsTestDevice::Draw()
{
    if (Fails(FAIL_ExecuteShader))
    {
        return false;
    }
    const std::map<uint32_t, CTestShader*>::const_iterator it = m_BoundShaders.find(1);
    return it != m_BoundShaders.end() && DrawShader(it->second->vTokens, m_Targets);
}

::testing::AssertionResult CGraphicsTestDevice::CheckDiscipline(bool bEnded) const
{
    if (m_BoundShaders != m_ApplicationShaders)
    {
        return ::testing::AssertionFailure() << "the application's shader isn't bound";
    }
    if (m_Targets != m_ApplicationTargets)
    {
        return ::testing::AssertionFailure() << "the application's targets aren't bound";
    }
    for (const std::pair<CTestShader* const, bool>& entry : m_Shaders)
    {
        int nExpected = 1; // the application's own, or the debugger's patched shader
        for (const std::pair<const uint32_t, CTestShader*>& binding : m_BoundShaders)
        {
            nExpected += binding.second == entry.first ? 1 : 0;
        }
        if (entry.first->nReferences != nExpected)
        {
            return ::testing::AssertionFailure() << "a shader has " << entry.first->nReferences
                                                 << " references, not " << nExpected;
        }
    }
    if (bEnded)
    {
        if (m_Shaders.size() != m_ApplicationShaders.size())
        {
            return ::testing::AssertionFailure()
                   << m_Shaders.size() - m_ApplicationShaders.size() << " patched shaders live";
        }
        if (m_nLiveBuffers != 0)
        {
            return ::testing::AssertionFailure() << m_nLiveBuffers << " buffers live";
        }
        if (m_nResets == 0)
        {
            return ::testing::AssertionFailure() << "ResetDevice wasn't called";
        }
    }
    return ::testing::AssertionSuccess();
}

const std::shared_ptr<CTestImage>& CGraphicsTestDevice::GetTarget(uint32_t nIndex) const
{
    return m_Targets[nIndex];
}

CTestShader* CGraphicsTestDevice::GetBoundShader(uint32_t nShaderType) const
{
    const std::map<uint32_t, CTestShader*>::const_iterator it = m_BoundShaders.find(nShaderType);
    return it != m_BoundShaders.end() ? it->second : NULL;
}

bool CGraphicsTestDevice::InitDevice()
{
    return true;
}

bool CGraphicsTestDevice::ResetDevice()
{
    ++m_nResets;
    return true;
}

bool CGraphicsTestDevice::GetDeviceBufferDesc(uint32_t nShaderType, int32_t nIndex,
                                              BufferDesc* pDesc)
{
    if (Fails(FAIL_GetDeviceBufferDesc) || pDesc == NULL || nIndex < 0 ||
        static_cast<uint32_t>(nIndex) >= TARGET_COUNT || m_Targets[nIndex] == NULL)
    {
        return false;
    }
    *pDesc = m_Targets[nIndex]->desc;
    pDesc->m_nShaderType = nShaderType;
    pDesc->m_nDepth = 1;
    pDesc->m_nArraySize = 1;
    // The samples and the fifth value of a render target.
    pDesc->m_nReserved3 = 1;
    pDesc->m_nReserved4 = 1;
    return true;
}

CShaderDebuggerDeviceBuffer* CGraphicsTestDevice::CreateDeviceBuffer(const BufferDesc& desc)
{
    if (Fails(FAIL_CreateDeviceBuffer))
    {
        return NULL;
    }
    CGraphicsTestBuffer* pBuffer = new CGraphicsTestBuffer(this, NULL);
    pBuffer->Create(desc);
    return pBuffer;
}

uint32_t CGraphicsTestDevice::GetNumDeviceBuffers(uint32_t)
{
    return TARGET_COUNT;
}

CShaderDebuggerDeviceBuffer* CGraphicsTestDevice::GetDeviceBuffer(uint32_t, uint32_t nIndex)
{
    if (nIndex >= TARGET_COUNT || m_Targets[nIndex] == NULL)
    {
        return NULL;
    }
    return new CGraphicsTestBuffer(this, m_Targets[nIndex]);
}

CShaderDebuggerDeviceBuffer* CGraphicsTestDevice::GetDeviceBuffer(uint32_t, std::string)
{
    return NULL;
}

bool CGraphicsTestDevice::SetDeviceBuffer(uint32_t, uint32_t nIndex,
                                          CShaderDebuggerDeviceBuffer* pBuffer)
{
    if (nIndex >= TARGET_COUNT)
    {
        return false;
    }
    m_Targets[nIndex] =
        pBuffer != NULL ? static_cast<CGraphicsTestBuffer*>(pBuffer)->GetImage() : NULL;
    return true;
}

bool CGraphicsTestDevice::SetDeviceBuffer(uint32_t, std::string, CShaderDebuggerDeviceBuffer*)
{
    return false;
}

bool CGraphicsTestDevice::CreateShader(uint32_t, const void* pData, size_t nSize, void** pExtra)
{
    if (Fails(FAIL_CreateShader) || pData == NULL || pExtra == NULL)
    {
        return false;
    }
    CTestShader* pShader = new CTestShader;
    pShader->vTokens = ReadShaderCode(pData, nSize);
    m_Shaders[pShader] = true;
    *pExtra = pShader;
    return true;
}

bool CGraphicsTestDevice::SetShader(uint32_t nShaderType, const void* pData, size_t nSize)
{
    CTestShader* pShader = static_cast<CTestShader*>(const_cast<void*>(pData));
    if (nSize != 0 || (pShader != NULL && !IsLive(pShader)))
    {
        return false;
    }
    AddReference(pShader);
    CTestShader* pOld = GetBoundShader(nShaderType);
    if (pShader != NULL)
    {
        m_BoundShaders[nShaderType] = pShader;
    }
    else
    {
        m_BoundShaders.erase(nShaderType);
    }
    if (pOld != NULL)
    {
        ReleaseShader(pOld);
    }
    return true;
}

void* CGraphicsTestDevice::GetShader(uint32_t nShaderType)
{
    CTestShader* pShader = GetBoundShader(nShaderType);
    AddReference(pShader);
    return pShader;
}

void CGraphicsTestDevice::ReleaseShader(void* pHandle)
{
    CTestShader* pShader = static_cast<CTestShader*>(pHandle);
    EXPECT_TRUE(pShader != NULL && IsLive(pShader)) << "a handle that isn't live";
    if (pShader == NULL || !IsLive(pShader))
    {
        return;
    }
    if (--pShader->nReferences == 0)
    {
        m_Shaders.erase(pShader);
        delete pShader;
    }
}

std::string CGraphicsTestDevice::GetShaderName(uint32_t)
{
    return std::string();
}

bool CGraphicsTestDevice::DisassembleShader(const void* pData, size_t nSize, std::string& text)
{
    text.clear();
    return pData != NULL && Disassemble(ReadShaderCode(pData, nSize), text);
}

bool CGraphicsTestHost::HasLogged(uint32_t nLevel, const std::string& strText) const
{
    for (const std::pair<uint32_t, std::string>& line : m_vLog)
    {
        if (line.first == nLevel && line.second.find(strText) != std::string::npos)
        {
            return true;
        }
    }
    return false;
}
} // namespace XAN_Test
