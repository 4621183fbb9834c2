#include "support/CorpusKernels.h"

#include <algorithm>
#include <dirent.h>
#include <fstream>
#include <iterator>

namespace XAN_Test
{
namespace
{
const std::string g_strBinaryExtension = ".elf";
} // namespace

std::vector<std::string> CorpusKernelNames()
{
    std::vector<std::string> vNames;
    DIR* pDir = opendir(XAN_CORPUS_DIR);
    if (pDir == nullptr)
    {
        return vNames;
    }
    while (const dirent* pEntry = readdir(pDir))
    {
        const std::string strFile = pEntry->d_name;
        if (strFile.size() > g_strBinaryExtension.size() &&
            strFile.compare(strFile.size() - g_strBinaryExtension.size(),
                            g_strBinaryExtension.size(), g_strBinaryExtension) == 0)
        {
            vNames.push_back(strFile.substr(0, strFile.size() - g_strBinaryExtension.size()));
        }
    }
    closedir(pDir);
    std::sort(vNames.begin(), vNames.end());
    return vNames;
}

std::vector<char> ReadCorpusBinary(const std::string& strName)
{
    std::ifstream file(std::string(XAN_CORPUS_DIR) + "/" + strName + g_strBinaryExtension,
                       std::ios::binary);
    return std::vector<char>(std::istreambuf_iterator<char>(file),
                             std::istreambuf_iterator<char>());
}

std::string KernelDevice(const std::string& strIL)
{
    const std::string strKey = ";device:";
    const size_t nPos = strIL.find(strKey);
    if (nPos == std::string::npos)
    {
        return "larkspur";
    }
    const size_t nStart = nPos + strKey.size();
    return strIL.substr(nStart, strIL.find_first_of("\r\n", nStart) - nStart);
}

bool ReplaceFirst(std::string& strText, const std::string& strFind, const std::string& strReplace)
{
    const size_t nPos = strText.find(strFind);
    if (nPos == std::string::npos)
    {
        return false;
    }
    strText.replace(nPos, strFind.size(), strReplace);
    return true;
}
} // namespace XAN_Test
