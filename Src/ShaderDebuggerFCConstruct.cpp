#include "ShaderDebuggerFCConstruct.h"

#include <algorithm>

namespace XAN_ShaderDebugger
{
void AddRegister(std::vector<Register>& vRegisters, const Register& reg)
{
    for (Register& entry : vRegisters)
    {
        if (entry.reg == reg.reg)
        {
            entry.mask |= reg.mask;
            return;
        }
    }
    vRegisters.push_back(reg);
}

void CIL_FCConstruct::SetHasMemoryWrite()
{
    for (CIL_FCConstruct* pConstruct = this; pConstruct != NULL; pConstruct = pConstruct->m_pParent)
    {
        pConstruct->m_bHasMemoryWrite = true;
    }
}

unsigned int CIL_Switch::GetNextCase(unsigned int nPos) const
{
    for (unsigned int nCase : m_vCases)
    {
        if (nCase > nPos)
        {
            return nCase;
        }
    }
    return m_nEnd;
}

unsigned int CIL_Switch::GetPreviousCase(unsigned int nPos) const
{
    for (std::vector<unsigned int>::const_reverse_iterator it = m_vCases.rbegin();
         it != m_vCases.rend(); ++it)
    {
        if (*it < nPos)
        {
            return *it;
        }
    }
    return m_nStart;
}

bool CIL_Switch::IsBreak(unsigned int nPos) const
{
    return std::find(m_vBreaks.begin(), m_vBreaks.end(), nPos) != m_vBreaks.end();
}
} // namespace XAN_ShaderDebugger
