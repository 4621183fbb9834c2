#include "SDBGCorpus.h"

#include "CSDBGFixture.h"
#include "CSDBGWriter.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace XAN_Test
{
SDBGCase LoadSDBGCase(const std::string& strName)
{
    SDBGCase testCase;
    testCase.strName = strName;
    const std::string strPath = std::string(XAN_SDBG_CORPUS_DIR) + "/" + strName + ".sdbg";
    EXPECT_TRUE(testCase.scenario.Parse(ReadFile(strPath)))
        << strPath << ": " << testCase.scenario.GetError();
    testCase.vChunk = XAN_Platform::CSDBGWriter::Write(testCase.scenario);
    std::string strError;
    EXPECT_TRUE(
        XAN_Platform::CSDBGFixture::MakeContainer(testCase.scenario, testCase.vContainer, strError))
        << strPath << ": " << strError;
    return testCase;
}

std::vector<SDBGCase> LoadSDBGCorpus()
{
    std::vector<std::string> vNames;
    for (const auto& entry : std::filesystem::directory_iterator(XAN_SDBG_CORPUS_DIR))
    {
        if (entry.path().extension() == ".sdbg")
        {
            vNames.push_back(entry.path().stem().string());
        }
    }
    std::sort(vNames.begin(), vNames.end());
    std::vector<SDBGCase> vCases;
    for (const std::string& strName : vNames)
    {
        vCases.push_back(LoadSDBGCase(strName));
    }
    return vCases;
}
} // namespace XAN_Test
