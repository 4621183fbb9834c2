#include "BifUtils.h"
#include "Modules/DNKModule.h"
#include "Modules/QUVRTModule.h"

#include "ILCorpus.h"

#include <gtest/gtest.h>

using namespace XAN_ElfUtils;

// The library's two converters, the runtime's extension and the compiler library, each bound
// by name, on the whole IL corpus.
TEST(ILConverterCorpusTest, BothConvertersGiveTheAssemblersTokens)
{
    QUVRTModule runtime("liborvquvrt64.so");
    DNKModule compiler("libxanocl12cl64.so");
    ASSERT_TRUE(runtime.IsLoaded());
    ASSERT_TRUE(compiler.IsLoaded());
    CILConverter viaRuntime(runtime, compiler);
    viaRuntime.SetQuvILConverter(true);
    CILConverter viaCompiler(runtime, compiler);
    ASSERT_TRUE(viaRuntime.IsQuvILConverterInUse());
    ASSERT_FALSE(viaCompiler.IsQuvILConverterInUse());

    const std::string& strProgram = XAN_Test::GetILCorpusProgram();
    const std::vector<unsigned int> vTokens = XAN_Test::AssembleOrFail(strProgram);
    ASSERT_FALSE(vTokens.empty());
    const char* pTokens = reinterpret_cast<const char*>(vTokens.data());
    const std::vector<char> vExpected(pTokens, pTokens + vTokens.size() * 4);

    std::vector<char> vFromRuntime;
    std::vector<char> vFromCompiler;
    ASSERT_TRUE(viaRuntime.ILTextToBinary(strProgram, vFromRuntime, ""));
    ASSERT_TRUE(viaCompiler.ILTextToBinary(strProgram, vFromCompiler, "Larkspur"));
    EXPECT_EQ(vExpected, vFromRuntime);
    EXPECT_EQ(vExpected, vFromCompiler);

    // Back to text, and that text to the same tokens again, on either path.
    std::string strFromRuntime;
    std::string strFromCompiler;
    ASSERT_TRUE(viaRuntime.ILBinaryToText(vExpected.data(), vExpected.size(), strFromRuntime, ""));
    ASSERT_TRUE(
        viaCompiler.ILBinaryToText(vExpected.data(), vExpected.size(), strFromCompiler, ""));
    EXPECT_EQ(strFromRuntime, strFromCompiler);
    std::vector<char> vAgain;
    ASSERT_TRUE(viaCompiler.ILTextToBinary(strFromRuntime, vAgain, ""));
    EXPECT_EQ(vExpected, vAgain);
    ASSERT_TRUE(viaRuntime.ILTextToBinary(strFromCompiler, vAgain, ""));
    EXPECT_EQ(vExpected, vAgain);
    viaCompiler.ReleaseCompiler();
}
