#include "DXXShaderFixture.h"

#include "CDXBCContainerWriter.h"
#include "CTpfAssembler.h"
#include "CTpfDisassembler.h"
#include "ShaderUtils/DX10/D3D10ShaderObject.h"
#include "TpfCorpus.h"
#include "support/TestSupport.h"

#include <cstring>
#include <sstream>

namespace XAN_Test
{
std::string ReadDXXFixture(const std::string& strFileName)
{
    return ReadFile(TpfCorpusPath("../dxx/" + strFileName));
}

std::vector<std::uint8_t> BuildDXXContainer(const std::string& strText)
{
    std::string strHeader;
    std::string strProgram;
    std::uint32_t nVersion = 0;
    bool bAon9 = false;
    std::istringstream stream(strText);
    for (std::string strLine; std::getline(stream, strLine);)
    {
        if (strLine.compare(0, 1, "#") == 0)
        {
            strHeader += strLine + "\n";
        }
        else if (strLine.compare(0, 9, "@version ") == 0)
        {
            nVersion = static_cast<std::uint32_t>(std::stoul(strLine.substr(9), nullptr, 16));
        }
        else if (strLine == "@aon9")
        {
            bAon9 = true;
        }
        else
        {
            strProgram += strLine + "\n";
        }
    }
    std::string strError;
    XAN_Platform::CDXBCContainerWriter writer;
    XAN_Platform::CTpfAssembler assembler;
    std::vector<std::uint32_t> vTokens;
    if (!writer.ParseHeader(strHeader, strError) || !assembler.Assemble(strProgram, vTokens))
    {
        ADD_FAILURE() << strError << assembler.GetError();
        return {};
    }
    if (nVersion != 0)
    {
        vTokens[0] = nVersion;
    }
    std::vector<std::uint8_t> vContainer = writer.Write(vTokens);
    if (!bAon9)
    {
        return vContainer;
    }
    D3D10ShaderObject::CShaderObject shader(vContainer.data(), vContainer.size());
    const std::uint32_t chunk[3] = {D3D10ShaderObject::GetChunkFourCC(D3D10ShaderObject::CK_Aon9),
                                    4, 0};
    EXPECT_TRUE(shader.SetChunk(D3D10ShaderObject::CK_Aon9, chunk));
    std::unique_ptr<IBlob> pBlob(shader.CreateBlob(0xFFFFFFFF));
    if (pBlob == nullptr)
    {
        ADD_FAILURE() << "no container with the down-level chunk";
        return {};
    }
    const std::uint8_t* pBytes = static_cast<const std::uint8_t*>(pBlob->GetData());
    return std::vector<std::uint8_t>(pBytes, pBytes + pBlob->GetSize());
}

bool CDXXTestHost::DisassembleShader(const void* pData, size_t nSize, std::string& text)
{
    D3D10ShaderObject::CShaderObject shader(pData, nSize);
    const std::uint8_t* pChunk = shader.GetShaderChunk();
    if (pChunk == nullptr)
    {
        return false;
    }
    std::vector<std::uint32_t> vTokens((shader.GetShaderChunkSize() - 8) / 4);
    std::memcpy(vTokens.data(), pChunk + 8, vTokens.size() * 4);
    XAN_Platform::CTpfDisassembler disassembler;
    const bool bDisassembled = disassembler.Disassemble(vTokens.data(), vTokens.size(), text);
    text = m_strPreamble + text;
    return bDisassembled;
}

bool CDXXTestHost::CreateShader(uint32_t nShaderType, const void* pData, size_t nSize,
                                void** pExtra)
{
    const std::uint8_t* pBytes = static_cast<const std::uint8_t*>(pData);
    m_vShaders.emplace_back(new Shader{nShaderType, {pBytes, pBytes + nSize}, 1});
    *pExtra = m_vShaders.back().get();
    ++m_nCreated;
    return true;
}

bool CDXXTestHost::SetShader(uint32_t nShaderType, const void* pData, size_t)
{
    Shader* pShader = static_cast<Shader*>(const_cast<void*>(pData));
    if (pShader != nullptr)
    {
        ++pShader->nReferences;
    }
    if (m_Bound[nShaderType] != nullptr)
    {
        ReleaseShader(m_Bound[nShaderType]);
    }
    m_Bound[nShaderType] = pShader;
    return true;
}

void* CDXXTestHost::GetShader(uint32_t nShaderType)
{
    Shader* pShader = m_Bound[nShaderType];
    if (pShader != nullptr)
    {
        ++pShader->nReferences;
    }
    return pShader;
}

void CDXXTestHost::ReleaseShader(void* pShader)
{
    for (size_t i = 0; i < m_vShaders.size(); ++i)
    {
        if (m_vShaders[i].get() == pShader)
        {
            if (--m_vShaders[i]->nReferences == 0)
            {
                m_vShaders.erase(m_vShaders.begin() + static_cast<std::ptrdiff_t>(i));
            }
            return;
        }
    }
    m_bMisused = true;
}

bool CDXXTestHost::HasLogged(uint32_t nLevel, const std::string& strText) const
{
    for (const std::pair<uint32_t, std::string>& line : m_vLevels)
    {
        if (line.first == nLevel && line.second.find(strText) != std::string::npos)
        {
            return true;
        }
    }
    return false;
}
} // namespace XAN_Test
