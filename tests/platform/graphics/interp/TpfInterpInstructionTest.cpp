#include "CTpfInterpreter.h"
#include "TpfInterpTestData.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace XAN_Test
{
void PrintTo(const TpfInterpCase& testCase, std::ostream* pStream)
{
    *pStream << testCase.strName;
}
} // namespace XAN_Test

using namespace XAN_Platform;
using XAN_Test::TpfInterpCase;

namespace
{
class TpfInterpInstructionTest : public ::testing::TestWithParam<TpfInterpCase>
{
};

// Each case runs as one compute thread; its temps are compared with hand-computed values.
TEST_P(TpfInterpInstructionTest, GivesTheHandComputedValues)
{
    const TpfInterpCase& testCase = GetParam();
    std::string strDeclarations = "cs_5_0\ndcl_uav_raw u0\ndcl_uav_raw u1\n";
    std::string strCode;
    TpfBindings bindings;
    for (const std::string& strLine : testCase.vLines)
    {
        const size_t nStart = strLine.find_first_not_of(' ');
        if (strLine.compare(0, 3, "<= ") == 0)
        {
            const size_t nSpace = strLine.find(' ', 3);
            TpfValue4 row;
            ASSERT_TRUE(XAN_Test::ParseValue4(strLine.substr(nSpace + 1), row)) << strLine;
            std::vector<std::uint32_t>& vBuffer =
                bindings.mapConstantBuffers[std::atoi(strLine.c_str() + 5)];
            vBuffer.insert(vBuffer.end(), row.v, row.v + 4);
        }
        else if (strLine.compare(nStart, 3, "dcl") == 0 || strLine[nStart] == '{')
        {
            strDeclarations += strLine + "\n";
        }
        else
        {
            strCode += strLine + "\n";
        }
    }
    std::string strError;
    const std::vector<std::uint32_t> vTokens = XAN_Test::AssembleOrFail(
        strDeclarations + "dcl_temps 8\ndcl_thread_group 1, 1, 1\n" + strCode + "ret\n", strError);
    ASSERT_TRUE(strError.empty()) << strError;
    CTpfInterpreter interpreter;
    ASSERT_TRUE(interpreter.Load(vTokens.data(), vTokens.size())) << interpreter.GetError();
    std::vector<std::uint8_t> vView0(64), vView1(64);
    bindings.mapRawUAVs[0] = &vView0;
    bindings.mapRawUAVs[1] = &vView1;
    std::vector<TpfThreadResult> vResults;
    ASSERT_TRUE(interpreter.RunCompute(1, 1, 1, bindings, vResults)) << interpreter.GetError();
    ASSERT_EQ(1u, vResults.size());
    ASSERT_FALSE(testCase.vExpected.empty());
    for (const std::string& strExpected : testCase.vExpected)
    {
        const size_t nSpace = strExpected.find(' ');
        const size_t nRegister = std::strtoul(strExpected.c_str() + 1, nullptr, 10);
        TpfValue4 expected;
        ASSERT_TRUE(XAN_Test::ParseValue4(strExpected.substr(nSpace + 1), expected)) << strExpected;
        ASSERT_LT(nRegister, vResults[0].vTemps.size());
        EXPECT_EQ(XAN_Test::FormatValue4(expected),
                  XAN_Test::FormatValue4(vResults[0].vTemps[nRegister]))
            << "r" << nRegister;
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, TpfInterpInstructionTest,
                         ::testing::ValuesIn(XAN_Test::ReadInterpCases("instructions.txt")));

class TpfInterpRefusalTest : public ::testing::TestWithParam<TpfInterpCase>
{
};

// Refused on load, with the instruction named; nothing runs.
TEST_P(TpfInterpRefusalTest, NamesTheInstruction)
{
    const TpfInterpCase& testCase = GetParam();
    std::string strText;
    for (const std::string& strLine : testCase.vLines)
    {
        strText += strLine + "\n";
    }
    std::string strError;
    const std::vector<std::uint32_t> vTokens = XAN_Test::AssembleOrFail(strText, strError);
    ASSERT_TRUE(strError.empty()) << strError;
    CTpfInterpreter interpreter;
    EXPECT_FALSE(interpreter.Load(vTokens.data(), vTokens.size()));
    ASSERT_EQ(1u, testCase.vExpected.size());
    EXPECT_EQ(testCase.vExpected[0], interpreter.GetError());
    TpfBindings bindings;
    std::vector<TpfThreadResult> vResults;
    EXPECT_FALSE(interpreter.RunCompute(1, 1, 1, bindings, vResults));
    EXPECT_TRUE(vResults.empty());
}

INSTANTIATE_TEST_SUITE_P(Cases, TpfInterpRefusalTest,
                         ::testing::ValuesIn(XAN_Test::ReadInterpCases("refusals.txt")));
} // namespace
