// The IL the OpenCL C compiler writes: one exit per function, loop tests at the top, source
// lines and variables with -g, private memory by device family.
#include "CCLCCompiler.h"

#include <gtest/gtest.h>

#include <sstream>

using XAN_Platform::CCLCCompiler;
using XAN_Platform::SCLCTarget;

namespace
{
std::string CompileIL(const std::string& strSource, bool bDebug, bool b64Bit = true)
{
    std::string strIL;
    std::string strLog;
    EXPECT_TRUE(
        CCLCCompiler::Compile(strSource, {}, bDebug, SCLCTarget{"larkspur", b64Bit}, strIL, strLog))
        << strLog;
    return strIL;
}

std::vector<std::string> Lines(const std::string& strText)
{
    std::vector<std::string> vLines;
    std::istringstream stream(strText);
    std::string strLine;
    while (std::getline(stream, strLine))
    {
        vLines.push_back(strLine);
    }
    return vLines;
}

const char* const SOURCE = "int find(__global const int* v, int n, int x)\n"
                           "{\n"
                           "  for (int i = 0; i < n; ++i)\n"
                           "  {\n"
                           "    if (v[i] == x)\n"
                           "      return i;\n"
                           "  }\n"
                           "  return -1;\n"
                           "}\n"
                           "__kernel void k(__global const int* v, __global int* o, int n)\n"
                           "{\n"
                           "  int i = get_global_id(0);\n"
                           "  if (i >= n)\n"
                           "    return;\n"
                           "  int j = 0;\n"
                           "  while (j < i)\n"
                           "    j += 2;\n"
                           "  o[i] = find(v, n, i) + j;\n"
                           "}\n";
} // namespace

// The debugger needs one exit per function and the exit test of a loop at its top.
TEST(CLCILTest, SingleExitAndLoopTestsAtTheTop)
{
    const std::vector<std::string> vLines = Lines(CompileIL(SOURCE, false));
    int nFuncs = 0;
    int nRets = 0;
    for (size_t i = 0; i < vLines.size(); ++i)
    {
        nFuncs += vLines[i].compare(0, 5, "func ") == 0 ? 1 : 0;
        if (vLines[i] == "ret" || vLines[i] == "ret_dyn")
        {
            ++nRets;
            EXPECT_EQ("endfunc", vLines[i + 1]) << "a return before the end of a function";
        }
        if (vLines[i] != "whileloop")
        {
            continue;
        }
        // The loop's first branch is its exit test; only its condition's arithmetic comes first.
        size_t j = i + 1;
        while (j < vLines.size() && vLines[j].compare(0, 6, "break_") != 0)
        {
            EXPECT_EQ(std::string::npos, vLines[j].find("if")) << vLines[j];
            EXPECT_EQ(std::string::npos, vLines[j].find("uav_raw_store")) << vLines[j];
            ++j;
        }
        EXPECT_EQ("break_logicalz", vLines[j].substr(0, vLines[j].find(' ')));
    }
    EXPECT_EQ(2, nFuncs);
    EXPECT_EQ(2, nRets);
}

// With -g each statement's IL follows a mark of its source line, and each variable's registers
// are named where it is declared and where its scope ends.
TEST(CLCILTest, DebugMarksSourceLinesAndVariables)
{
    const std::string strIL = CompileIL(SOURCE, true);
    for (const char* pMark : {";@program.cl:3\n", ";@program.cl:12\n", ";@program.cl:18\n",
                              ";@var:i:r", ";@var:j:r", ";@var:v:r", ";@endvar:j\n"})
    {
        EXPECT_NE(std::string::npos, strIL.find(pMark)) << pMark << "\n" << strIL;
    }
    const std::string strPlain = CompileIL(SOURCE, false);
    EXPECT_EQ(std::string::npos, strPlain.find(";@"));
}

TEST(CLCILTest, PrivateMemoryNeedsThePrivateUAV)
{
    const char* pSource = "__kernel void k(__global int* o)\n{\n  int a[4];\n  a[o[0]] = 1;\n"
                          "  o[1] = a[2];\n}\n";
    EXPECT_NE(std::string::npos, CompileIL(pSource, false).find("dcl_typeless_uav_id(8)_type(3)"));
    std::string strIL;
    std::string strLog;
    EXPECT_FALSE(
        CCLCCompiler::Compile(pSource, {}, false, SCLCTarget{"fennel", false}, strIL, strLog));
    EXPECT_NE(std::string::npos,
              strLog.find("program.cl:3:7: error: arrays, structs and variables"))
        << strLog;
}
