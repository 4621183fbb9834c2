#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace
{
// The 33 exports of the public header, and nothing else.
const std::set<std::string> EXPORTS = {
    "xanclDebugEnqueueNDRangeKernel",
    "xanclDebugEnqueueTask",
    "xanclDebugGetProgramCounter",
    "xanclDebugSetBreakpoint",
    "xanclDebugClearBreakpoint",
    "xanclDebugClearAllBreakpoints",
    "xanclDebugGetNumBreakpoints",
    "xanclDebugGetAllBreakpoints",
    "xanclDebugGetKernelBinarySize",
    "xanclDebugGetKernelBinary",
    "xanclDebugGetExecutionMask",
    "xanclDebugSetTrackingRegisters",
    "xanclDebugSetTrackPrivateMemory",
    "xanclDebugGetNumberOfActiveRegisters",
    "xanclDebugGetActiveRegisters",
    "xanclDebugGetRegisterValues",
    "xanclDebugGetPrivateMemoryValues",
    "xanclDebugGetGlobalMemoryValues",
    "xanclDebugGetValidGlobalMemoryRegions",
    "xanclDebugGetDispatchTable",
    "xanclDebugSetDispatchTable",
    "xanclInterceptCreateContext",
    "xanclInterceptCreateContextFromType",
    "xanclInterceptCreateCommandQueue",
    "xanclInterceptCreateCommandQueueWithProperties",
    "xanclInterceptCreateKernel",
    "xanclInterceptCreateKernelsInProgram",
    "xanclInterceptRetainKernel",
    "xanclInterceptReleaseKernel",
    "xanclInterceptSetKernelArg",
    "xanclDebugUtilStringToDebugRegisterLocator",
    "xanclDebugUtilDebugRegisterLocatorToString",
    "xanclDebugUtilGetLastError",
};

// The lines that a binutils command prints about the library.
std::vector<std::string> Inspect(const std::string& strCommand)
{
    const std::string strLine = strCommand + " " + XAN_DEBUG_LIBRARY_PATH + " > inspect.out";
    EXPECT_EQ(0, std::system(strLine.c_str())) << strLine;
    return XAN_Test::ReadLines("inspect.out");
}

// The dynamic symbols that the library defines as global or weak.
std::set<std::string> DefinedGlobals()
{
    std::set<std::string> names;
    for (const std::string& strLine : Inspect("nm -D --defined-only -P"))
    {
        const size_t nSpace = strLine.find(' ');
        const char cKind = nSpace + 1 < strLine.size() ? strLine[nSpace + 1] : '?';
        if (std::isupper(static_cast<unsigned char>(cKind)) || cKind == 'v' || cKind == 'w')
        {
            names.insert(strLine.substr(0, nSpace));
        }
    }
    return names;
}

// Given by the build: __FILE__ may be relative (a compiler cache rewrites it), and tests run
// in a temporary directory.
std::string PublicHeaderPath()
{
    return XAN_PUBLIC_HEADER_PATH;
}
} // namespace

TEST(ExportsTest, TheLibraryExportsExactlyTheHeadersFunctions)
{
    EXPECT_EQ(EXPORTS, DefinedGlobals());
}

TEST(ExportsTest, ThePublicHeaderDeclaresExactlyTheExports)
{
    const std::string strHeader = XAN_Test::ReadFile(PublicHeaderPath());
    ASSERT_FALSE(strHeader.empty()) << PublicHeaderPath();
    const std::regex declaration("XANCL_API[^;(]*?\\b(xancl\\w+)\\s*\\(");
    std::set<std::string> declared;
    for (std::sregex_iterator it(strHeader.begin(), strHeader.end(), declaration);
         it != std::sregex_iterator(); ++it)
    {
        declared.insert((*it)[1].str());
    }
    EXPECT_EQ(EXPORTS, declared);
}

TEST(ExportsTest, NoVendorLibraryIsNeeded)
{
    // The OpenCL runtime, the low-level runtime and the compiler library are all bound by name.
    const std::vector<std::string> vForbidden = {"opencl", "orvquvrt", "orvquvcl", "orvquvdd",
                                                 "xanocl", "xanhsacl", "nordvane"};
    std::vector<std::string> vNeeded;
    for (const std::string& strLine : Inspect("objdump -p"))
    {
        if (strLine.find(" NEEDED ") != std::string::npos)
        {
            vNeeded.push_back(strLine.substr(strLine.find_last_of(' ') + 1));
        }
    }
    EXPECT_FALSE(vNeeded.empty());
    for (const std::string& strNeeded : vNeeded)
    {
        std::string strLower = strNeeded;
        std::transform(strLower.begin(), strLower.end(), strLower.begin(), ::tolower);
        for (const std::string& strForbidden : vForbidden)
        {
            EXPECT_EQ(std::string::npos, strLower.find(strForbidden)) << strNeeded;
        }
    }
}
