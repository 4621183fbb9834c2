#include "support/TestSupport.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

namespace XAN_Test
{
std::string ReadFile(const std::string& strPath)
{
    std::ifstream file(strPath, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

std::vector<std::string> ReadLines(const std::string& strPath)
{
    std::vector<std::string> vLines;
    std::istringstream stream(ReadFile(strPath));
    for (std::string strLine; std::getline(stream, strLine);)
    {
        vLines.push_back(strLine);
    }
    return vLines;
}

ScopedEnv::ScopedEnv(const char* pName, const char* pValue) : m_strName(pName), m_bHadOld(false)
{
    if (const char* pOld = std::getenv(pName))
    {
        m_strOld = pOld;
        m_bHadOld = true;
    }
    if (pValue != nullptr)
    {
        setenv(pName, pValue, 1);
    }
    else
    {
        unsetenv(pName);
    }
}

ScopedEnv::~ScopedEnv()
{
    if (m_bHadOld)
    {
        setenv(m_strName.c_str(), m_strOld.c_str(), 1);
    }
    else
    {
        unsetenv(m_strName.c_str());
    }
}
} // namespace XAN_Test
