#include "CILProgram.h"

#include "CILProgramLoader.h"

#include <algorithm>

namespace XAN_Platform
{
std::unique_ptr<CILProgram> CILProgram::Load(const uint32_t* pTokens, size_t nTokens,
                                             std::string& strError)
{
    std::unique_ptr<CILProgram> pProgram(new CILProgram());
    CILProgramLoader loader(pTokens, nTokens, *pProgram);
    if (!loader.Load(strError))
    {
        return nullptr;
    }
    return pProgram;
}

uint32_t CILProgram::GetPrivateMemoryBytes() const
{
    uint32_t nBytes = 0;
    for (const auto& entry : m_PrivateUAVs)
    {
        nBytes = std::max(nBytes, entry.second);
    }
    return nBytes;
}

bool CILProgram::GetThreadGroupDeclaration(uint32_t nLabel,
                                           SThreadGroupDeclaration& declaration) const
{
    auto it = m_FunctionGroups.find(nLabel);
    if (it == m_FunctionGroups.end())
    {
        return false;
    }
    declaration = it->second;
    return true;
}
} // namespace XAN_Platform
