#include "BifUtils.h"
#include "Modules/DNKModule.h"
#include "Modules/QUVRTModule.h"

#include "CILAssembler.h"
#include "ILCorpus.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace XAN_ElfUtils;

// The library's two converters, the runtime's extension and the compiler library, each bound
// by name, on the whole IL corpus.
namespace
{
std::vector<char> Bytes(const std::vector<unsigned int>& vTokens)
{
    std::vector<char> vBytes(vTokens.size() * 4);
    memcpy(vBytes.data(), vTokens.data(), vBytes.size());
    return vBytes;
}
} // namespace

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
    std::vector<unsigned int> vTokens;
    XAN_Platform::CILAssembler assembler;
    ASSERT_TRUE(assembler.Assemble(strProgram, vTokens)) << assembler.GetError().ToString();
    const std::vector<char> vExpected = Bytes(vTokens);

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
