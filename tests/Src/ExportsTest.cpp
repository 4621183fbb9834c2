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
// The exports that the library implements; each must be declared in the public header.
const std::set<std::string> EXPORTS = {
    "xanclDebugUtilGetLastError",
    "xanclDebugGetDispatchTable",
    "xanclDebugSetDispatchTable",
    "xanclDebugUtilStringToDebugRegisterLocator",
    "xanclDebugUtilDebugRegisterLocatorToString",
    "xanclInterceptCreateKernel",
    "xanclInterceptCreateKernelsInProgram",
    "xanclInterceptRetainKernel",
    "xanclInterceptReleaseKernel",
    "xanclInterceptSetKernelArg",
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

TEST(ExportsTest, TheLibraryExportsExactlyTheImplementedFunctions)
{
    EXPECT_EQ(EXPORTS, DefinedGlobals());
}

TEST(ExportsTest, EveryExportIsDeclaredInThePublicHeader)
{
    const std::string strHeader = XAN_Test::ReadFile(PublicHeaderPath());
    ASSERT_FALSE(strHeader.empty()) << PublicHeaderPath();
    for (const std::string& strName : EXPORTS)
    {
        const std::regex declaration("XANCL_API[^;]*\\b" + strName + "\\s*\\(");
        EXPECT_TRUE(std::regex_search(strHeader, declaration)) << strName;
    }
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
