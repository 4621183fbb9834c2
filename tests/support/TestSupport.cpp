#include "support/TestSupport.h"

#include <gtest/gtest.h>

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

namespace
{
std::string Trimmed(const std::string& strText)
{
    const size_t nBegin = strText.find_first_not_of(" \t");
    return nBegin == std::string::npos
               ? std::string()
               : strText.substr(nBegin, strText.find_last_not_of(" \t") - nBegin + 1);
}

std::string Unescaped(std::string strText)
{
    for (size_t nAt = strText.find("\\n"); nAt != std::string::npos;
         nAt = strText.find("\\n", nAt + 1))
    {
        strText.replace(nAt, 2, "\n");
    }
    return strText;
}
} // namespace

std::vector<std::vector<std::string>> ReadTable(const std::string& strPath)
{
    std::vector<std::vector<std::string>> vRows;
    for (const std::string& strLine : ReadLines(strPath))
    {
        const std::string strRow = Trimmed(strLine);
        if (strRow.empty() || strRow.front() == '#')
        {
            continue;
        }
        std::vector<std::string> vFields;
        size_t nBegin = 0;
        for (size_t nEnd = strRow.find('|'); nBegin != std::string::npos;
             nEnd = strRow.find('|', nBegin))
        {
            vFields.push_back(Unescaped(Trimmed(strRow.substr(nBegin, nEnd - nBegin))));
            nBegin = nEnd == std::string::npos ? nEnd : nEnd + 1;
        }
        vRows.push_back(vFields);
    }
    if (vRows.empty())
    {
        ADD_FAILURE() << strPath << " holds no rows";
    }
    return vRows;
}

std::vector<std::uint64_t> ParseNumbers(const std::string& strText)
{
    std::vector<std::uint64_t> vNumbers;
    std::istringstream stream(strText);
    for (std::string strNumber; stream >> strNumber;)
    {
        vNumbers.push_back(std::strtoull(strNumber.c_str(), nullptr, 0));
    }
    return vNumbers;
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
