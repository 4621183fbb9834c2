// Programs written for any OpenCL platform, run against this one: clinfo and pyopencl.
#include "ICDTestSupport.h"

#include <regex>

using namespace XAN_Test;

namespace
{
bool HasLine(const std::string& strOutput, const std::string& strName, const std::string& strValue)
{
    const std::regex line("(^|\n) *" + strName + " +" + strValue + "\n");
    return std::regex_search(strOutput, line);
}
} // namespace

TEST(ToolsTest, ClinfoListsThePlatformAndTheDevice)
{
    std::string strOutput;
    ASSERT_EQ(0, RunCommand("clinfo", strOutput)) << strOutput;
    EXPECT_TRUE(HasLine(strOutput, "Number of platforms", "1")) << strOutput;
    EXPECT_TRUE(HasLine(strOutput, "Platform Vendor", "Nordvane Microsystems"));
    EXPECT_TRUE(HasLine(strOutput, "Platform Version", "OpenCL 1\\.2 XAN \\(2000\\.1\\)"));
    EXPECT_TRUE(HasLine(strOutput, "Platform Extensions function suffix", "XAN"));
    EXPECT_TRUE(HasLine(strOutput, "Device Name", "Larkspur"));
    EXPECT_TRUE(HasLine(strOutput, "Device Type", "GPU"));
    EXPECT_TRUE(HasLine(strOutput, "Max work group size", "256"));
    EXPECT_TRUE(HasLine(strOutput, "Address bits", "64, Little-Endian"));
    EXPECT_TRUE(HasLine(strOutput, "Image support", "Yes"));
    EXPECT_TRUE(HasLine(strOutput, "clCreateContextFromType\\(NULL, CL_DEVICE_TYPE_GPU\\)",
                        "Success \\(1\\)"));
    // No query of clinfo's is refused, and its OpenCL C test kernel builds.
    EXPECT_EQ(std::string::npos, strOutput.find("Invalid value")) << strOutput;
    EXPECT_TRUE(HasLine(strOutput, "Preferred work group size multiple \\(kernel\\)", "64"));
}

TEST(ToolsTest, PyOpenCLRunsAKernel)
{
    std::string strOutput;
    std::string strPython;
    for (const char* pPython : {"/usr/bin/python3", "python3"})
    {
        if (RunCommand(std::string(pPython) + " -c 'import pyopencl'", strOutput) == 0)
        {
            strPython = pPython;
            break;
        }
    }
    if (strPython.empty())
    {
        GTEST_SKIP() << "no python3 here can import pyopencl";
    }
    ASSERT_EQ(0, RunCommand(strPython + " " + XAN_ICD_SCRIPTS_DIR + "/pyopencl_vadd.py " +
                                XAN_EXAMPLE_KERNELS_DIR + "/vadd.il",
                            strOutput))
        << strOutput;
    EXPECT_NE(std::string::npos, strOutput.find("pyopencl vadd: 1000 sums correct"));
}
