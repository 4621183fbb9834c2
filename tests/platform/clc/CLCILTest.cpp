// The IL the OpenCL C compiler writes: one exit per function, loop tests at the top, source
// lines and variables with -g, private memory by device family.
#include "CCLCCompiler.h"
#include "support/TestSupport.h"

#include <boost/algorithm/string.hpp>
#include <gtest/gtest.h>

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

std::string Source()
{
    return XAN_Test::ReadFile(XAN_CLC_CORPUS_DIR "/returns.cl");
}
} // namespace

// The debugger needs one exit per function and the exit test of a loop at its top.
TEST(CLCILTest, SingleExitAndLoopTestsAtTheTop)
{
    std::vector<std::string> vLines;
    const std::string strIL = CompileIL(Source(), false);
    boost::split(vLines, strIL, boost::is_any_of("\n"));
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
    const std::string strIL = CompileIL(Source(), true);
    for (const char* pMark : {";@program.cl:4\n", ";@program.cl:14\n", ";@program.cl:20\n",
                              ";@var:i:r", ";@var:j:r", ";@var:v:r", ";@endvar:j\n"})
    {
        EXPECT_NE(std::string::npos, strIL.find(pMark)) << pMark << "\n" << strIL;
    }
    const std::string strPlain = CompileIL(Source(), false);
    EXPECT_EQ(std::string::npos, strPlain.find(";@"));
}

// Private memory is private UAV 8 on the newer families and the indexed temp x1 on the older.
TEST(CLCILTest, PrivateMemoryByFamily)
{
    const char* pSource = "__kernel void k(__global int* o)\n{\n  int a[4];\n  a[o[0]] = 1;\n"
                          "  o[1] = a[2];\n}\n";
    EXPECT_NE(std::string::npos, CompileIL(pSource, false).find("dcl_typeless_uav_id(8)_type(3)"));
    const std::string strOlder = CompileIL(pSource, false, false);
    EXPECT_NE(std::string::npos, strOlder.find("dcl_indexed_temp_array x1[1]")) << strOlder;
    EXPECT_NE(std::string::npos, strOlder.find(";memory:hwprivate:16")) << strOlder;
    EXPECT_NE(std::string::npos, strOlder.find(", x1[0].zzzz")) << strOlder;

    std::string strIL;
    std::string strLog;
    EXPECT_FALSE(CCLCCompiler::Compile("__kernel void k(__global char* o)\n{\n  char a[4];\n"
                                       "  a[o[0]] = 1;\n  o[1] = a[2];\n}\n",
                                       {}, false, SCLCTarget{"fennel", false}, strIL, strLog));
    EXPECT_NE(std::string::npos,
              strLog.find("program.cl:4:3: error: 8- and 16-bit values in private memory"))
        << strLog;
}
