// The engine's cases as data: each launch file of the cases folder names an IL program, the
// launch and the buffers it must leave. Cases for another GPU family run in a child process
// with that family.
#include "CLaunchRunner.h"
#include "ICDTestSupport.h"

#include <dirent.h>
#include <strings.h>

#include <algorithm>
#include <cstring>
#include <fstream>

using namespace XAN_Launch;
using namespace XAN_Test;

namespace
{
const std::string CASES_DIR = XAN_LAUNCH_CASES_DIR;

std::vector<std::string> CaseNames()
{
    std::vector<std::string> vNames;
    if (DIR* pDir = opendir(CASES_DIR.c_str()))
    {
        while (const dirent* pEntry = readdir(pDir))
        {
            const std::string strName = pEntry->d_name;
            if (strName.size() > 5 && strName.compare(strName.size() - 5, 5, ".toml") == 0)
            {
                vNames.push_back(strName.substr(0, strName.size() - 5));
            }
        }
        closedir(pDir);
    }
    std::sort(vNames.begin(), vNames.end());
    return vNames;
}

class LaunchCase : public CLFixture, public ::testing::WithParamInterface<std::string>
{
};

class LaunchCaseRunner : public CLFixture
{
};
} // namespace

TEST_P(LaunchCase, LeavesTheExpectedBuffers)
{
    CLaunchDescription launch;
    std::string strError;
    ASSERT_TRUE(launch.Load(CASES_DIR + "/" + GetParam() + ".toml", strError)) << strError;
    const std::string& strFamily = launch.GetDevice();
    if (!strFamily.empty() &&
        strcasecmp(strFamily.c_str(), DeviceString(m_Device, CL_DEVICE_NAME).c_str()) != 0)
    {
        EXPECT_EQ(0, RunInChild("Cases/LaunchCase.LeavesTheExpectedBuffers/" + GetParam(),
                                {{"NORDVANE_OCL_DEVICE", strFamily}}));
        return;
    }
    CLaunchRunner runner(m_Context, m_Device, m_Queue);
    CLaunchRunner::Contents vContents;
    ASSERT_TRUE(runner.Run(launch, vContents, strError)) << strError;
    EXPECT_EQ("", CLaunchRunner::Compare(launch, vContents));
}

INSTANTIATE_TEST_SUITE_P(Cases, LaunchCase, ::testing::ValuesIn(CaseNames()),
                         [](const ::testing::TestParamInfo<std::string>& info)
                         { return info.param; });

TEST(LaunchCases, NoneAccessesMemoryOutOfBounds)
{
    ASSERT_FALSE(CaseNames().empty()) << CASES_DIR;
    std::string strStderr;
    EXPECT_EQ(0, RunInChild("Cases/*", {{"NORDVANE_OCL_DIAGNOSTICS", "1"}}, &strStderr));
    EXPECT_EQ(std::string::npos, strStderr.find("out-of-bounds")) << strStderr;
}

TEST_F(LaunchCaseRunner, ADifferenceNamesTheArgumentAndItsFirstElement)
{
    CLaunchDescription launch;
    std::string strError;
    ASSERT_TRUE(launch.Load(CASES_DIR + "/vadd.toml", strError)) << strError;
    CLaunchRunner runner(m_Context, m_Device, m_Queue);
    CLaunchRunner::Contents vContents;
    ASSERT_TRUE(runner.Run(launch, vContents, strError)) << strError;
    const float vWrong[2] = {1.5f, -0.25f};
    std::memcpy(&vContents[2][4 * 4], vWrong, sizeof(vWrong));
    EXPECT_EQ("c: 2 of 1024 elements differ; the first, element 4, is 1.5, expected -5\n",
              CLaunchRunner::Compare(launch, vContents));
}

TEST_F(LaunchCaseRunner, AFailedBuildShowsItsLog)
{
    CLaunchDescription launch;
    std::string strError;
    std::ofstream("broken.il") << "il_cs_2_0\nbogus_op r0\nend\n";
    ASSERT_TRUE(launch.Parse("program = \"broken.il\"\nkernel = \"k\"\nglobal = [1]\n",
                             "broken.toml", strError))
        << strError;
    CLaunchRunner runner(m_Context, m_Device, m_Queue);
    CLaunchRunner::Contents vContents;
    EXPECT_FALSE(runner.Run(launch, vContents, strError));
    EXPECT_NE(std::string::npos, strError.find("clBuildProgram failed with error -11:\n"))
        << strError;
    EXPECT_NE(std::string::npos, strError.find("unknown opcode 'bogus_op'")) << strError;
}
