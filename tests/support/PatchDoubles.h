#ifndef XAN_TEST_PATCH_DOUBLES_H
#define XAN_TEST_PATCH_DOUBLES_H

// A host that takes the kernels the patcher loads and disassembles IL, and a corpus kernel
// ready for patching, so that patched kernels are built from real binaries without a device.
// Shared by the patcher's tests and its fuzz target.

#include "BifUtils.h"
#include "ElfUtils.h"
#include "support/AnalysisDoubles.h"

#include <memory>
#include <string>
#include <vector>

namespace XAN_Test
{
class CPatchHost : public CAnalysisHost
{
public:
    explicit CPatchHost(const std::string& strKernel, uint32_t nLogLevel = 8)
        : CAnalysisHost(strKernel, nLogLevel), m_nShaderType(0), m_bSetShaderResult(true)
    {
    }

    bool SetShader(uint32_t nShaderType, const void* pData, size_t nSize) override
    {
        m_nShaderType = nShaderType;
        const char* pBytes = static_cast<const char*>(pData);
        m_vShaders.push_back(std::vector<char>(pBytes, pBytes + nSize));
        return m_bSetShaderResult;
    }

    bool DisassembleShader(const void* pData, size_t nSize, std::string& strText) override
    {
        return XAN_ElfUtils::ILBinaryToText(pData, nSize, strText, "");
    }

    // How many patched kernels were built, by the patcher's log.
    size_t CountBuilds() const
    {
        size_t nBuilds = 0;
        for (const std::string& strLine : m_vLines)
        {
            nBuilds += strLine.find("Patching shader to") != std::string::npos ? 1 : 0;
        }
        return nBuilds;
    }

    uint32_t m_nShaderType;
    bool m_bSetShaderResult;
    std::vector<std::vector<char>> m_vShaders;
};

// The patcher's protected steps, open to tests.
class CPatchShaderIL : public CAnalyzedShaderIL
{
public:
    CPatchShaderIL(CPatchHost* pHost, const std::vector<char>& vBinary)
        : CAnalyzedShaderIL(pHost, vBinary)
    {
    }

    using CShaderDebuggerShaderIL::CreatePatchedShader;
    using CShaderDebuggerShaderIL::m_LastPatchRegisters;
    using CShaderDebuggerShaderIL::m_LastPatchTarget;
    using CShaderDebuggerShaderIL::PatchIL;
    using CShaderDebuggerShaderIL::PatchMetadata;
};

// A corpus kernel analysed twice: once to name instructions by their text, once with a host
// that takes the patched kernels.
class CPatchKernel
{
public:
    CPatchKernel(const std::string& strKernel, const std::vector<char>& vBinary)
        : m_Named(strKernel, vBinary, 0), m_Host(strKernel),
          m_pShader(new CPatchShaderIL(&m_Host, vBinary))
    {
    }

    uint32_t At(const std::string& strText, unsigned int nth = 0) const
    {
        return m_Named.At(strText, nth);
    }

    CAnalyzedKernel m_Named;
    CPatchHost m_Host;
    std::unique_ptr<CPatchShaderIL> m_pShader;
};

// The debug IL text of a kernel image.
inline std::string DebugILText(const std::vector<char>& vImage)
{
    std::vector<char> vText;
    if (!XAN_ElfUtils::GetDataFromSection(".debugil", vImage, vText))
    {
        return std::string();
    }
    std::string strText(vText.begin(), vText.end());
    return strText.substr(0, strText.find('\0'));
}
} // namespace XAN_Test

#endif
