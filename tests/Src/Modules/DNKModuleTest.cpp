#include "Modules/DNKModule.h"

#include <gtest/gtest.h>

#include <string>

// This executable finds libraries only among the test's own (tests/platform/quv/fakes): a
// compiler library under the last of the library's names, which offers dnkCompilerInit alone,
// and one that offers every other function.
namespace
{
std::string AnsweringLibrary(const DNKModule& module)
{
    return static_cast<const char*>(module.dnkCompilerInit(nullptr, nullptr));
}
} // namespace

TEST(DNKModuleTest, TheLastNameIsFoundWhenTheOthersAreMissing)
{
    const std::vector<std::string> vExpected = {"libxanocl12cl64.so", "libxanoclcl64.so",
                                                "libxanocl64.so", "libxanhsacl64.so"};
    EXPECT_EQ(vExpected, DNKModule::GetFallbackNames());

    DNKModule module("libxanocl12cl64.so");
    ASSERT_TRUE(module.IsLoaded());
    EXPECT_EQ("libxanhsacl64.so", AnsweringLibrary(module));
    EXPECT_EQ("libxanhsacl64.so", AnsweringLibrary(g_DNKModule));

    // A missing first name leads to the same library.
    DNKModule other("libdnktest_missing.so");
    ASSERT_TRUE(other.IsLoaded());
    EXPECT_EQ("libxanhsacl64.so", AnsweringLibrary(other));
}

TEST(DNKModuleTest, OnlyTheCompilerInitDecides)
{
    // Loaded with dnkCompilerInit and nothing else.
    DNKModule module("libxanhsacl64.so");
    EXPECT_TRUE(module.IsLoaded());
    for (size_t n = 0; n < module.GetNumFunctions(); ++n)
    {
        if (std::string(module.GetFunctionName(n)) != "dnkCompilerInit")
        {
            EXPECT_EQ(nullptr, module.GetFunction(n)) << module.GetFunctionName(n);
        }
    }

    // A library that opens ends the search, even without dnkCompilerInit.
    EXPECT_FALSE(module.LoadModule("libdnktest_noinit.so"));
    EXPECT_EQ(nullptr, module.dnkCompilerInit);
    EXPECT_NE(nullptr, module.dnkCompile);
    EXPECT_NE(nullptr, module.dnkDisassemble);

    module.UnloadModule();
    EXPECT_FALSE(module.IsLoaded());
    EXPECT_EQ(nullptr, module.dnkCompile);
}
