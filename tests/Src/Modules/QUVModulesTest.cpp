#include "Modules/QUVCLModule.h"
#include "Modules/QUVDDModule.h"
#include "Modules/QUVRTModule.h"

#include <gtest/gtest.h>

#include <initializer_list>

// The libraries are the test's own (tests/platform/quv/fakes): one with every name of the three
// runtime libraries, one that lacks a name of each.
namespace
{
const char* const COMPLETE = "libquvtest_complete.so";
const char* const LACKING = "libquvtest_lacking.so";

// Loaded, a module has every function bound; otherwise none.
void ExpectBound(bool bLoaded, std::initializer_list<const LibraryModule*> modules)
{
    for (const LibraryModule* pModule : modules)
    {
        EXPECT_EQ(bLoaded, pModule->IsLoaded());
        for (size_t n = 0; n < pModule->GetNumFunctions(); ++n)
        {
            EXPECT_EQ(bLoaded, pModule->GetFunction(n) != nullptr) << pModule->GetFunctionName(n);
        }
    }
}
} // namespace

TEST(QUVModulesTest, ACompleteLibraryBindsEveryFunction)
{
    QUVRTModule runtime(COMPLETE);
    QUVCLModule compiler(COMPLETE);
    QUVDDModule driver(COMPLETE);
    ExpectBound(true, {&runtime, &compiler, &driver});

    EXPECT_EQ(38u, runtime.GetNumFunctions());
    EXPECT_EQ(13u, compiler.GetNumFunctions());
    EXPECT_EQ(3u, driver.GetNumFunctions());
    // The typed slots are the table's, in its order.
    EXPECT_STREQ("quvExtGetProc", runtime.GetFunctionName(16));
    EXPECT_EQ(reinterpret_cast<void*>(runtime.quvExtGetProc), runtime.GetFunction(16));
    EXPECT_STREQ("quvExtSupported", runtime.GetFunctionName(18));
    EXPECT_EQ(reinterpret_cast<void*>(runtime.quvExtSupported), runtime.GetFunction(18));
    EXPECT_STREQ("quvInit", runtime.GetFunctionName(23));
    EXPECT_EQ(reinterpret_cast<void*>(runtime.quvInit), runtime.GetFunction(23));
    EXPECT_STREQ("quvShutdown", runtime.GetFunctionName(37));
    EXPECT_STREQ("quvclLink", compiler.GetFunctionName(12));
    EXPECT_STREQ("quvddiInit", driver.GetFunctionName(2));
    EXPECT_EQ(nullptr, driver.GetFunctionName(3));
    EXPECT_EQ(nullptr, driver.GetFunction(3));
}

TEST(QUVModulesTest, ALibraryLackingOneNameCountsAsNotLoaded)
{
    QUVRTModule runtime(LACKING);
    QUVCLModule compiler(LACKING);
    QUVDDModule driver(LACKING);
    QUVRTModule missing("libquvtest_missing.so");
    ExpectBound(false, {&runtime, &compiler, &driver, &missing});
}

TEST(QUVModulesTest, LoadingAgainReplacesWhatWasBound)
{
    QUVCLModule module(COMPLETE);
    ExpectBound(true, {&module});
    EXPECT_FALSE(module.LoadModule(LACKING));
    ExpectBound(false, {&module});
    EXPECT_TRUE(module.LoadModule(COMPLETE));
    ExpectBound(true, {&module});
    module.UnloadModule();
    ExpectBound(false, {&module});
}
