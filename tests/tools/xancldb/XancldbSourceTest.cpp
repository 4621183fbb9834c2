// xancldb on a kernel compiled from OpenCL C with -g: every halt shows the source line beside
// the IL line, and print takes a source variable's name, found through the variable map.
#include "XancldbRun.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace XAN_XancldbTest;

namespace
{
const char* const SOURCE = "__kernel void scale(__global uint* data)\n"
                           "{\n"
                           "    uint i = get_global_id(0);\n"
                           "    uint x = data[i] * 3u;\n"
                           "    if (x % 2u == 0u)\n"
                           "        x = x / 2u;\n"
                           "    else\n"
                           "        x = x + 7u;\n"
                           "    data[i] = x + i;\n"
                           "}\n";

// The kernel over 8 work-items of one group, data filled with 5.
std::string WriteLaunch()
{
    std::ofstream("scale.cl") << SOURCE;
    std::ofstream("scale.toml") << "program = \"scale.cl\"\nkernel = \"scale\"\noptions = \"-g\"\n"
                                   "global = [8]\nlocal = [8]\n\n[[args]]\nname = \"data\"\n"
                                   "kind = \"buffer\"\ntype = \"uint\"\ncount = 8\nfill = 5\n";
    return "scale.toml";
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
    // final value: 5 * 3 is odd, so 15 + 7.
    std::string strScript;
    for (uint64_t n = 0; n + 2 < nSteps; ++n)
    {
        strScript += "step\n";
    }
    const SRun run = RunXancldb("--batch " + strLaunch,
                                strScript + "print x\nprint/d x @all\nprint r0\nprint nothing\n");
    EXPECT_NE(std::string::npos,
              run.strOut.find("  source: program.cl:4: uint x = data[i] * 3u;\n"))
        << run.strOut;
    EXPECT_NE(std::string::npos, run.strOut.find("  source: program.cl:8: x = x + 7u;\n"));
    const size_t nPrint = run.strOut.find("x: r");
    ASSERT_NE(std::string::npos, nPrint) << run.strOut;
    const std::string strPrinted =
        run.strOut.substr(nPrint, run.strOut.find('\n', nPrint) - nPrint);
    EXPECT_NE(std::string::npos, strPrinted.find(" = 22")) << strPrinted;
    EXPECT_NE(std::string::npos, run.strOut.find("22")) << run.strOut;
    // Registers keep their meaning; a name that is neither is refused.
    EXPECT_NE(std::string::npos, run.strOut.find("r0 = ")) << run.strOut;
    EXPECT_NE(std::string::npos,
              (run.strOut + run.strErr).find("no register and no source variable \"nothing\" here"))
        << run.strOut << run.strErr;
}
