#include "DX9Corpus.h"

#include "CDX9Assembler.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace XAN_Test
{
std::vector<std::string> GetDX9CorpusNames()
{
    std::vector<std::string> vNames;
    for (const auto& entry : std::filesystem::directory_iterator(XAN_DX9_CORPUS_DIR))
    {
        if (entry.path().extension() == ".asm")
        {
            vNames.push_back(entry.path().filename().string());
        }
    }
    std::sort(vNames.begin(), vNames.end());
    return vNames;
}

std::string ReadDX9Corpus(const std::string& strName)
{
    std::ifstream file(std::string(XAN_DX9_CORPUS_DIR) + "/" + strName);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::vector<std::vector<std::string>> ReadDX9Table(const std::string& strName)
{
    return ReadTable(std::string(XAN_DX9_TEST_DATA_DIR) + "/" + strName);
}

std::vector<std::uint32_t> AssembleDX9OrFail(const std::string& strText)
{
    XAN_Platform::CDX9Assembler assembler;
    std::vector<std::uint32_t> vTokens;
    EXPECT_TRUE(assembler.Assemble(strText, vTokens)) << assembler.GetError() << "\n" << strText;
    return vTokens;
}
} // namespace XAN_Test
