#include "DXBCFixtures.h"

#include "CDXBCContainerWriter.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace XAN_Test
{
std::vector<std::string> DXBCFixtureNames()
{
    std::vector<std::string> vNames;
    for (const auto& entry : std::filesystem::directory_iterator(XAN_DXBC_FIXTURE_DIR))
    {
        if (entry.path().extension() == ".txt")
        {
            vNames.push_back(entry.path().stem().string());
        }
    }
    std::sort(vNames.begin(), vNames.end());
    return vNames;
}

std::vector<uint8_t> BuildDXBCFixture(const std::string& strName)
{
    const std::string strText =
        ReadFile(std::string(XAN_DXBC_FIXTURE_DIR) + "/" + strName + ".txt");
    std::string strHeader;
    std::string strError;
    std::vector<uint32_t> vProgram;
    XAN_Platform::CDXBCContainerWriter writer;
    if (strText.empty() ||
        !XAN_Platform::CDXBCContainerWriter::ReadFixture(strText, strHeader, vProgram, strError) ||
        !writer.ParseHeader(strHeader, strError))
    {
        ADD_FAILURE() << strName << ": " << strError;
        return {};
    }
    return writer.Write(vProgram);
}

std::vector<uint8_t> ReadDXBCHex(const std::string& strFileName)
{
    const std::string strText = ReadFile(std::string(XAN_DXBC_FIXTURE_DIR) + "/" + strFileName);
    std::vector<uint8_t> vBytes;
    std::string strDigits;
    for (char c : strText)
    {
        if (std::isxdigit(static_cast<unsigned char>(c)))
        {
            strDigits += c;
        }
        if (strDigits.size() == 2)
        {
            vBytes.push_back(uint8_t(std::stoul(strDigits, nullptr, 16)));
            strDigits.clear();
        }
    }
    return vBytes;
}
} // namespace XAN_Test
