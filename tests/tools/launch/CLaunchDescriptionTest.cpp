// Launch files: the values they give, and the file, line and key of every fault.
#include "CLaunchDescription.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstring>
#include <fstream>
#include <set>

using namespace XAN_Launch;

namespace
{
const std::string DATA_DIR = XAN_LAUNCH_TEST_DATA_DIR;

// The head every launch below shares: the program file exists in the test's folder.
const std::string HEAD = "program = \"k.il\"\n"
                         "kernel = \"k\"\n"
                         "global = [8]\n";

class CLaunchDescriptionTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        mkdir("cases", 0755);
        std::ofstream("cases/k.il") << "il_cs_2_0\nend\n";
        std::ofstream("cases/data.bin", std::ios::binary) << std::string("\x01\x02\x03\x04", 4);
    }

    bool Parse(const std::string& strText)
    {
        return m_Launch.Parse(strText, "cases/t.toml", m_strError);
    }

    CLaunchDescription m_Launch;
    std::string m_strError;
};

template <class T> std::vector<T> As(const std::vector<uint8_t>& vBytes)
{
    std::vector<T> v(vBytes.size() / sizeof(T));
    std::memcpy(v.data(), vBytes.data(), v.size() * sizeof(T));
    return v;
}
} // namespace

TEST_F(CLaunchDescriptionTest, EveryArgumentKindAndContentForm)
{
    ASSERT_TRUE(Parse(XAN_Test::ReadFile(DATA_DIR + "/every_kind.toml"))) << m_strError;
    EXPECT_EQ("cases/k.il", m_Launch.GetProgramPath());
    EXPECT_EQ("il_cs_2_0\nend\n", m_Launch.GetProgramText());
    EXPECT_EQ("-g", m_Launch.GetOptions());
    EXPECT_EQ("fennel", m_Launch.GetDevice());
    EXPECT_EQ(2u, m_Launch.GetDimensions());
    EXPECT_EQ(4u, m_Launch.GetGlobalSize()[1]);
    ASSERT_NE(nullptr, m_Launch.GetLocalSize());
    EXPECT_EQ(2u, m_Launch.GetLocalSize()[1]);
    EXPECT_EQ(2u, m_Launch.GetOffset()[1]);
    const std::vector<SLaunchArg>& vArgs = m_Launch.GetArgs();
    ASSERT_EQ(8u, vArgs.size());
    EXPECT_EQ("a", vArgs[0].strName);
    EXPECT_TRUE(vArgs[0].bReadOnly);
    EXPECT_EQ(std::vector<int32_t>({1, -2, -1}), As<int32_t>(vArgs[0].vBytes));
    // Three lanes take the room of four.
    EXPECT_EQ(std::vector<float>({0.5f, 1.5f, 2.5f, 0.0f, 3.5f, 4.5f, 5.5f, 0.0f}),
              As<float>(vArgs[1].vBytes));
    EXPECT_TRUE(vArgs[1].bHasExpected);
    EXPECT_EQ(std::vector<float>({2.5f, 2.5f, 2.5f, 0.0f, 2.5f, 2.5f, 2.5f, 0.0f}),
              As<float>(vArgs[1].vExpected));
    EXPECT_EQ(std::vector<uint8_t>({1, 2, 3, 4}), vArgs[2].vBytes);
    std::vector<uint64_t> vRandom = As<uint64_t>(vArgs[3].vBytes);
    for (uint64_t n : vRandom)
    {
        EXPECT_TRUE(n >= 10 && n <= 12) << n;
    }
    EXPECT_EQ(3u, std::set<uint64_t>(vRandom.begin(), vRandom.end()).size());
    EXPECT_EQ(std::vector<int16_t>({3, -4}), As<int16_t>(vArgs[4].vBytes));
    EXPECT_EQ(AK_Local, vArgs[5].eKind);
    EXPECT_EQ(64u, vArgs[5].nLocalSize);
    EXPECT_EQ(AK_Image, vArgs[6].eKind);
    EXPECT_EQ(std::vector<uint16_t>(12, 9), As<uint16_t>(vArgs[6].vBytes));
    EXPECT_EQ(2u, vArgs[6].nImageDimensions);
    EXPECT_TRUE(vArgs[7].bNormalizedCoords);
    EXPECT_EQ("repeat", vArgs[7].strAddressing);
    EXPECT_EQ("linear", vArgs[7].strFilter);
}

TEST_F(CLaunchDescriptionTest, SeededValuesAreTheSameEveryTime)
{
    const std::string strText = HEAD + "[[args]]\nkind = \"buffer\"\ntype = \"float\"\n"
                                       "count = 16\nrandom = { seed = 3, min = -1, max = 1 }\n";
    ASSERT_TRUE(Parse(strText)) << m_strError;
    const std::vector<uint8_t> vFirst = m_Launch.GetArgs()[0].vBytes;
    ASSERT_TRUE(Parse(strText)) << m_strError;
    EXPECT_EQ(vFirst, m_Launch.GetArgs()[0].vBytes);
    EXPECT_EQ(nullptr, m_Launch.GetLocalSize());
}

TEST_F(CLaunchDescriptionTest, FaultsNameFileLineAndKey)
{
    // Each case of the file: the text of a launch file, then "=> " and its fault.
    size_t nCases = 0;
    std::string strText;
    for (const std::string& strLine : XAN_Test::ReadLines(DATA_DIR + "/faults.txt"))
    {
        if (strLine.compare(0, 3, "=> ") == 0)
        {
            ++nCases;
            EXPECT_FALSE(Parse(strText)) << strText;
            EXPECT_NE(std::string::npos, m_strError.find(strLine.substr(3)))
                << strText << "\ngave: " << m_strError << "\nexpected: " << strLine;
        }
        strText = strLine == "---" ? "" : strText + strLine + "\n";
    }
    EXPECT_EQ(30u, nCases);
}

TEST_F(CLaunchDescriptionTest, MissingLaunchFile)
{
    EXPECT_FALSE(m_Launch.Load("absent.toml", m_strError));
    EXPECT_EQ("absent.toml: can't read the file", m_strError);
}
