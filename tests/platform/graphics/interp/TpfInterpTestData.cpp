#include "TpfInterpTestData.h"

#include "CTpfAssembler.h"
#include "TpfFormat.h"

#include <cstdio>
#include <fstream>
#include <sstream>

namespace XAN_Test
{
std::string ReadInterpData(const std::string& strName)
{
    std::ifstream file(std::string(XAN_TPF_INTERP_TEST_DATA_DIR) + "/" + strName);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

std::vector<TpfInterpCase> ReadInterpCases(const std::string& strName)
{
    std::vector<TpfInterpCase> vCases;
    std::stringstream stream(ReadInterpData(strName));
    for (std::string strLine; std::getline(stream, strLine);)
    {
        if (strLine.compare(0, 3, "== ") == 0)
        {
            vCases.push_back(TpfInterpCase());
            vCases.back().strName = strLine.substr(3);
        }
        else if (!vCases.empty() && strLine.compare(0, 3, "=> ") == 0)
        {
            vCases.back().vExpected.push_back(strLine.substr(3));
        }
        else if (!vCases.empty() && !strLine.empty())
        {
            vCases.back().vLines.push_back(strLine);
        }
    }
    return vCases;
}

std::vector<std::string> SplitList(const std::string& strText, char cSeparator)
{
    std::vector<std::string> vItems;
    std::stringstream stream(strText);
    for (std::string strItem; std::getline(stream, strItem, cSeparator);)
    {
        const size_t nFirst = strItem.find_first_not_of(' ');
        const size_t nLast = strItem.find_last_not_of(' ');
        vItems.push_back(nFirst == std::string::npos ? ""
                                                     : strItem.substr(nFirst, nLast - nFirst + 1));
    }
    return vItems;
}

bool ParseValue4(const std::string& strText, XAN_Platform::TpfValue4& value)
{
    const std::vector<std::string> vItems = SplitList(strText, ',');
    if (vItems.size() != 4)
    {
        return false;
    }
    for (size_t c = 0; c < 4; ++c)
    {
        if (!XAN_Platform::ParseTpfValue32(vItems[c], value.v[c]))
        {
            return false;
        }
    }
    return true;
}

std::string FormatValue4(const XAN_Platform::TpfValue4& value)
{
    char acText[64];
    std::snprintf(acText, sizeof(acText), "%08x %08x %08x %08x", value.v[0], value.v[1], value.v[2],
                  value.v[3]);
    return acText;
}

std::vector<std::uint32_t> AssembleOrFail(const std::string& strText, std::string& strError)
{
    std::vector<std::uint32_t> vTokens;
    XAN_Platform::CTpfAssembler assembler;
    if (!assembler.Assemble(strText, vTokens))
    {
        strError = assembler.GetError();
    }
    return vTokens;
}
} // namespace XAN_Test
