// xancldb on a kernel compiled from OpenCL C with -g: every halt shows the source line beside
// the IL line, and print takes a source variable's name, found through the variable map.
#include "XancldbRun.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace XAN_XancldbTest;

namespace
{
const char* const SOURCE = "__kernel void shift(__global uint* data)\n"
                           "{\n"
                           "    uint x = data[get_global_id(0)] + 4u;\n"
                           "    if (x > 8u)\n"
                           "        x -= 8u;\n"
                           "    else\n"
                           "        x *= 2u;\n"
                           "    data[get_global_id(0)] = x;\n"
                           "}\n";

// The kernel over 8 work-items of one group, data filled with 5.
std::string WriteLaunch()
{
    std::ofstream("shift.cl") << SOURCE;
    std::ofstream("shift.toml") << "program = \"shift.cl\"\nkernel = \"shift\"\noptions = \"-g\"\n"
                                   "global = [8]\nlocal = [8]\n\n[[args]]\nname = \"data\"\n"
                                   "kind = \"buffer\"\ntype = \"uint\"\ncount = 8\nfill = 5\n";
    return "shift.toml";
}
} // namespace

TEST(XancldbSourceTest, HaltsShowTheSourceLineAndPrintTakesSourceVariables)
{
    const std::string strLaunch = WriteLaunch();
    const SRun whole = RunXancldb("--batch --json " + strLaunch, "step 1000000\n");
    ASSERT_EQ(0, whole.nExit) << whole.strErr;
    const std::vector<nlohmann::json> vEnd = Events(whole, "finished");
    ASSERT_EQ(1u, vEnd.size()) << whole.strOut;
    const uint64_t nSteps = vEnd[0]["step"].get<uint64_t>();

    // Step by step to the store of data[i], the last line where x is in scope and holds its
    // final value: 5 + 4 is above 8, so 1.
    std::string strScript;
    for (uint64_t n = 0; n + 2 < nSteps; ++n)
    {
        strScript += "step\n";
    }
    const SRun run = RunXancldb("--batch " + strLaunch,
                                strScript + "print x\nprint/d x @all\nprint r0\nprint nothing\n");
    EXPECT_NE(std::string::npos,
              run.strOut.find("  source: program.cl:3: uint x = data[get_global_id(0)] + 4u;\n"))
        << run.strOut;
    EXPECT_NE(std::string::npos, run.strOut.find("  source: program.cl:5: x -= 8u;\n"));
    const size_t nPrint = run.strOut.find("x: r");
    ASSERT_NE(std::string::npos, nPrint) << run.strOut;
    const std::string strPrinted =
        run.strOut.substr(nPrint, run.strOut.find('\n', nPrint) - nPrint);
    EXPECT_EQ(" = 1", strPrinted.substr(strPrinted.find(" = "))) << strPrinted;
    // Registers keep their meaning; a name that is neither is refused.
    EXPECT_NE(std::string::npos, run.strOut.find("r0 = ")) << run.strOut;
    EXPECT_NE(std::string::npos,
              (run.strOut + run.strErr).find("no register and no source variable \"nothing\" here"))
        << run.strOut << run.strErr;
}
