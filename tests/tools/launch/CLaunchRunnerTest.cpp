// Comparing a run's contents with a launch file's expectations or with another run's.
#include "CLaunchRunner.h"
#include "CLaunchDescription.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstring>
#include <fstream>

using namespace XAN_Launch;

namespace
{
std::vector<uint8_t> Floats(const std::vector<float>& vValues)
{
    std::vector<uint8_t> vBytes(vValues.size() * sizeof(float));
    std::memcpy(vBytes.data(), vValues.data(), vBytes.size());
    return vBytes;
}
} // namespace

TEST(CLaunchRunnerTest, CompareNamesTheFirstDifferingElement)
{
    mkdir("runner", 0755);
    std::ofstream("runner/k.il") << "il_cs_2_0\nend\n";
    CLaunchDescription launch;
    std::string strError;
    ASSERT_TRUE(launch.Parse("program = \"k.il\"\nkernel = \"k\"\nglobal = [4]\n"
                             "[[args]]\nname = \"v\"\nkind = \"buffer\"\ntype = \"float2\"\n"
                             "count = 2\nexpect.values = [1, 2, 3, 4]\n"
                             "[[args]]\nkind = \"scalar\"\ntype = \"int\"\nvalue = 3\n",
                             "runner/t.toml", strError))
        << strError;
    const CLaunchRunner::Contents vRight = {Floats({1, 2, 3, 4}), {}};
    const CLaunchRunner::Contents vWrong = {Floats({1, 2, 3, 4.5f}), {}};
    EXPECT_EQ("", CLaunchRunner::Compare(launch, vRight));
    EXPECT_EQ("v: 1 of 2 elements differ; the first, element 1, is (3, 4.5), expected (3, 4)\n",
              CLaunchRunner::Compare(launch, vWrong));
    // Against another run: the arguments without contents are left out.
    EXPECT_EQ("", CLaunchRunner::Compare(launch, vWrong, vWrong));
    EXPECT_EQ("v: 1 of 2 elements differ; the first, element 1, is (3, 4), expected (3, 4.5)\n",
              CLaunchRunner::Compare(launch, vRight, vWrong));
    EXPECT_EQ("v: 2 of 2 elements differ; the first, element 0, is missing, expected (1, 2)\n",
              CLaunchRunner::Compare(launch, {{}, {}}, vRight));
}
