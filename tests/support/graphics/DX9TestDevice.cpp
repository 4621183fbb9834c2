#include "DX9TestDevice.h"

#include "CDX9Disassembler.h"

namespace XAN_Test
{
size_t CDX9TestDevice::CountTokens(const std::uint32_t* pTokens)
{
    const std::uint32_t END = 0x0000FFFF;
    const std::uint32_t COMMENT = 0xFFFE;
    size_t nPos = 1; // behind the version
    while (pTokens[nPos] != END)
    {
        const std::uint32_t dwToken = pTokens[nPos];
        nPos +=
            1 + ((dwToken & 0xFFFF) == COMMENT ? (dwToken >> 16) & 0x7FFF : (dwToken >> 24) & 0xF);
    }
    return nPos + 1;
}

std::vector<std::uint32_t> CDX9TestDevice::ReadShaderCode(const void* pData, size_t nSize) const
{
    const std::uint32_t* pTokens = static_cast<const std::uint32_t*>(pData);
    const size_t nTokens = nSize != 0 ? nSize / sizeof(std::uint32_t) : CountTokens(pTokens);
    return std::vector<std::uint32_t>(pTokens, pTokens + nTokens);
}

bool CDX9TestDevice::Disassemble(const std::vector<std::uint32_t>& vTokens, std::string& text)
{
    XAN_Platform::CDX9Disassembler disassembler;
    return disassembler.Disassemble(vTokens.data(), vTokens.size(), text);
}

bool CDX9TestDevice::DrawShader(
    const std::vector<std::uint32_t>& vTokens,
    const std::array<std::shared_ptr<CTestImage>, TARGET_COUNT>& targets)
{
    std::array<XAN_Platform::SDX9Target, 4> dx9Targets;
    for (size_t i = 0; i < dx9Targets.size(); ++i)
    {
        if (targets[i] == NULL)
        {
            continue;
        }
        dx9Targets[i].pData = targets[i]->vData.data();
        dx9Targets[i].eFormat = targets[i]->desc.m_Format == BF_RGBA8
                                    ? XAN_Platform::DX9_TARGET_RGBA8
                                    : XAN_Platform::DX9_TARGET_RGBA32F;
    }
    return m_Executor.Draw(vTokens.data(), vTokens.size(), m_nWidth, m_nHeight, m_Constants,
                           dx9Targets, true);
}
} // namespace XAN_Test
