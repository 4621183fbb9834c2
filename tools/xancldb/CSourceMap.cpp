#include "CSourceMap.h"

#include "CDebugILText.h"

#include <sstream>

namespace XAN_Xancldb
{
namespace
{
const char* const SOURCE_NAME = "program.cl";

bool StartsWith(const std::string& str, const std::string& strPrefix)
{
    return str.compare(0, strPrefix.size(), strPrefix) == 0;
}
} // namespace

void CSourceMap::Build(const CDebugILText& il, const std::string& strSource)
{
    m_vSources.assign(il.GetLineCount(), SLineSource());
    m_vScopes.clear();
    m_vSourceLines.clear();
    std::istringstream source(strSource);
    for (std::string strLine; std::getline(source, strLine);)
    {
        m_vSourceLines.push_back(strLine);
    }
    SLineSource current;
    std::vector<size_t> vOpen; // scopes not yet ended, innermost last
    for (uint32_t nLine = 0; nLine < il.GetLineCount(); ++nLine)
    {
        const std::string strLine = il.GetLine(nLine);
        if (StartsWith(strLine, "func ") || StartsWith(strLine, "endfunc"))
        {
            current = SLineSource();
            for (size_t nScope : vOpen)
            {
                m_vScopes[nScope].nEnd = nLine;
            }
            vOpen.clear();
        }
        else if (StartsWith(strLine, ";@var:"))
        {
            const size_t nColon = strLine.find(':', 6);
            if (nColon != std::string::npos)
            {
                m_vScopes.push_back(
                    SScope{strLine.substr(6, nColon - 6), strLine.substr(nColon + 1), nLine});
                vOpen.push_back(m_vScopes.size() - 1);
            }
        }
        else if (StartsWith(strLine, ";@endvar:"))
        {
            const std::string strName = strLine.substr(9);
            for (size_t i = vOpen.size(); i-- > 0;)
            {
                if (m_vScopes[vOpen[i]].strName == strName)
                {
                    m_vScopes[vOpen[i]].nEnd = nLine;
                    vOpen.erase(vOpen.begin() + long(i));
                    break;
                }
            }
        }
        else if (StartsWith(strLine, ";@"))
        {
            const size_t nColon = strLine.rfind(':');
            const std::string strNumber =
                nColon != std::string::npos ? strLine.substr(nColon + 1) : "";
            if (!strNumber.empty() && strNumber.size() < 10 &&
                strNumber.find_first_not_of("0123456789") == std::string::npos)
            {
                current =
                    SLineSource{strLine.substr(2, nColon - 2), uint32_t(std::stoul(strNumber))};
            }
        }
        m_vSources[nLine] = current;
    }
}

std::string CSourceMap::SourceLine(uint32_t nLine) const
{
    if (nLine >= m_vSources.size() || m_vSources[nLine].nLine == 0)
    {
        return std::string();
    }
    const SLineSource& source = m_vSources[nLine];
    std::string strText = source.strFile + ":" + std::to_string(source.nLine);
    if (source.strFile == SOURCE_NAME && source.nLine <= m_vSourceLines.size())
    {
        const std::string& strSource = m_vSourceLines[source.nLine - 1];
        const size_t nFirst = strSource.find_first_not_of(" \t");
        strText += ": " + (nFirst == std::string::npos ? std::string() : strSource.substr(nFirst));
    }
    return strText;
}

bool CSourceMap::FindVariable(const std::string& strName, uint32_t nLine, std::string& strRegister,
                              std::string& strComponents, std::string& strError) const
{
    const SScope* pFound = nullptr;
    for (const SScope& scope : m_vScopes)
    {
        if (scope.strName == strName && scope.nBegin <= nLine && nLine < scope.nEnd &&
            (pFound == nullptr || scope.nBegin >= pFound->nBegin))
        {
            pFound = &scope;
        }
    }
    if (pFound == nullptr)
    {
        strError = "no register and no source variable \"" + strName + "\" here";
        return false;
    }
    const size_t nDot = pFound->strPlaces.find('.');
    if (pFound->strPlaces.find(',') != std::string::npos || nDot == std::string::npos ||
        pFound->strPlaces[0] != 'r')
    {
        strError =
            strName + " is held in " + pFound->strPlaces + ": print the registers one by one";
        return false;
    }
    strRegister = pFound->strPlaces.substr(0, nDot);
    strComponents = pFound->strPlaces.substr(nDot + 1);
    return true;
}
} // namespace XAN_Xancldb
