#include "support/AnalysisDoubles.h"

#include "ElfUtils.h"

#include <sstream>

namespace XAN_Test
{
CAnalyzedKernel::CAnalyzedKernel(const std::string& strKernel, const std::vector<char>& vBinary,
                                 uint32_t nLogLevel)
    : m_Host(strKernel, nLogLevel), m_pShader(new CAnalyzedShaderIL(&m_Host, vBinary))
{
    std::vector<char> vText;
    if (XAN_ElfUtils::GetDataFromSection(".debugil", vBinary, vText))
    {
        std::istringstream text(std::string(vText.begin(), vText.end()));
        std::string strLine;
        while (std::getline(text, strLine))
        {
            m_vLines.push_back(strLine);
        }
    }
}

uint32_t CAnalyzedKernel::At(const std::string& strText, unsigned int nth) const
{
    for (uint32_t nLine = 0; nLine < m_vLines.size(); ++nLine)
    {
        if (m_vLines[nLine] == strText && nth-- == 0)
        {
            return m_pShader->GetInstructionFromLine(nLine);
        }
    }
    return XAN_ShaderDebugger::g_nInvalidInstruction;
}

XAN_ShaderDebugger::CIL_FCConstruct* CAnalyzedKernel::ConstructAt(uint32_t nInstruction) const
{
    const std::map<uint32_t, XAN_ShaderDebugger::CIL_FCConstruct*>& constructs =
        m_pShader->GetFCConstructs();
    std::map<uint32_t, XAN_ShaderDebugger::CIL_FCConstruct*>::const_iterator it =
        constructs.find(nInstruction);
    return it != constructs.end() ? it->second : NULL;
}
} // namespace XAN_Test
