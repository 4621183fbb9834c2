#include "BifUtils.h"
#include "CElf.h"
#include "Common/Src/KernelBinary/ElfImageBuilder.h"
#include "Modules/DNKModule.h"
#include "Modules/QUVRTModule.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using namespace XAN_ElfUtils;

// The converter over the stand-in runtime and compiler libraries, loaded by name, with test
// doubles put into their tables where a test needs to see or steer a call.
namespace
{
const char* const KERNEL = "il_cs_2_0\n"
                           "dcl_cb cb0[15]\n"
                           "mov r0, r1\n"
                           "end\n";

// What the doubles saw and what they are to answer. The originals are the library's own.
struct Doubles
{
    int nQuvInitCalls = 0;
    int nQuvInitAnswer = -1; // -1: the library's answer
    int nExtSupportedCalls = 0;
    bool bRefuseExtension = false;
    int nCompileCalls = 0;
    int nBinaryInits = 0;
    int nBinaryFinis = 0;
    int nStructSizeRefusals = 0; // how many first calls answer error 3
    int nOtherInitError = 0;
    std::vector<size_t> vStructSizes;
    std::vector<std::string> vDevices;
    size_t nExtractedSize = 0; // 0: the library's size
    QUVRTFunctionTable runtime;
    DNKFunctionTable compiler;
};
Doubles s_Doubles;

int QuvInit()
{
    ++s_Doubles.nQuvInitCalls;
    const int nAnswer = s_Doubles.runtime.quvInit();
    return s_Doubles.nQuvInitAnswer >= 0 ? s_Doubles.nQuvInitAnswer : nAnswer;
}

int QuvExtSupported(uint32_t nExtension)
{
    ++s_Doubles.nExtSupportedCalls;
    return s_Doubles.bRefuseExtension ? 1 : s_Doubles.runtime.quvExtSupported(nExtension);
}

DNKTargetInfo GetTargetInfo(const char* pArchitecture, const char* pDevice, int* pError)
{
    s_Doubles.vDevices.push_back(pDevice);
    return s_Doubles.compiler.dnkGetTargetInfo(pArchitecture, pDevice, pError);
}

void* BinaryInit(size_t nStructSize, DNKTargetInfo target, const char* pOptions, int* pError)
{
    s_Doubles.vStructSizes.push_back(nStructSize);
    if (static_cast<int>(s_Doubles.vStructSizes.size()) <= s_Doubles.nStructSizeRefusals)
    {
        *pError = 3;
        return nullptr;
    }
    if (s_Doubles.nOtherInitError != 0)
    {
        *pError = s_Doubles.nOtherInitError;
        return nullptr;
    }
    ++s_Doubles.nBinaryInits;
    // The library knows one size only; the double stands for one that knows this one.
    return s_Doubles.compiler.dnkBinaryInit(120, target, pOptions, pError);
}

int BinaryFini(void* pBinary)
{
    ++s_Doubles.nBinaryFinis;
    return s_Doubles.compiler.dnkBinaryFini(pBinary);
}

int Compile(void* pCompiler, void* pBinary, const char* pOptions, int nFrom, int nTo,
            DNKLogFunc pfnLog)
{
    ++s_Doubles.nCompileCalls;
    return s_Doubles.compiler.dnkCompile(pCompiler, pBinary, pOptions, nFrom, nTo, pfnLog);
}

const void* ExtractSymbol(void* pCompiler, void* pBinary, size_t* pnSize, int nKind,
                          const char* pName, int* pError)
{
    const void* pData =
        s_Doubles.compiler.dnkExtractSymbol(pCompiler, pBinary, pnSize, nKind, pName, pError);
    if (s_Doubles.nExtractedSize != 0)
    {
        *pnSize = s_Doubles.nExtractedSize;
    }
    return pData;
}

class BifUtilsTest : public testing::Test
{
protected:
    BifUtilsTest()
        : m_Runtime("liborvquvrt64.so"), m_Compiler("libxanocl12cl64.so"),
          m_Converter(m_Runtime, m_Compiler)
    {
    }

    void SetUp() override
    {
        ASSERT_TRUE(m_Runtime.IsLoaded());
        ASSERT_TRUE(m_Compiler.IsLoaded());
        s_Doubles = Doubles();
        s_Doubles.runtime = m_Runtime;
        s_Doubles.compiler = m_Compiler;
        m_Runtime.quvInit = &QuvInit;
        m_Runtime.quvExtSupported = &QuvExtSupported;
        m_Compiler.dnkGetTargetInfo = &GetTargetInfo;
        m_Compiler.dnkBinaryInit = &BinaryInit;
        m_Compiler.dnkBinaryFini = &BinaryFini;
        m_Compiler.dnkCompile = &Compile;
        m_Compiler.dnkExtractSymbol = &ExtractSymbol;
    }

    void TearDown() override
    {
        m_Converter.ReleaseCompiler();
        EXPECT_EQ(s_Doubles.nBinaryInits, s_Doubles.nBinaryFinis) << "an object was left";
    }

    std::vector<char> Expected(const std::string& strText)
    {
        std::vector<char> vBinary;
        CILConverter reference(m_Runtime, m_Compiler);
        EXPECT_TRUE(reference.ILTextToBinary(strText, vBinary, ""));
        reference.ReleaseCompiler();
        return vBinary;
    }

    QUVRTModule m_Runtime;
    DNKModule m_Compiler;
    CILConverter m_Converter;
};
} // namespace

TEST_F(BifUtilsTest, UnforcedTheRuntimeIsNeverAsked)
{
    std::vector<char> vBinary;
    EXPECT_FALSE(m_Converter.IsQuvILConverterInUse());
    ASSERT_TRUE(m_Converter.ILTextToBinary(KERNEL, vBinary, ""));
    std::string strText;
    ASSERT_TRUE(m_Converter.ILBinaryToText(vBinary.data(), vBinary.size(), strText, "Fennel"));
    EXPECT_EQ(KERNEL, strText);
    EXPECT_EQ(0, s_Doubles.nQuvInitCalls);
    EXPECT_EQ(0, s_Doubles.nExtSupportedCalls);
    EXPECT_EQ(2, s_Doubles.nCompileCalls);
    // An empty target is the default device.
    EXPECT_EQ(std::vector<std::string>({"Larkspur", "Fennel"}), s_Doubles.vDevices);
}

TEST_F(BifUtilsTest, ForcedTheRuntimeConvertsOnceBound)
{
    const std::vector<char> vExpected = Expected(KERNEL);
    s_Doubles.nCompileCalls = 0;
    s_Doubles.vDevices.clear();

    m_Converter.SetQuvILConverter(true);
    EXPECT_TRUE(m_Converter.IsQuvILConverterInUse());
    EXPECT_TRUE(m_Converter.IsQuvILConverterInUse());
    EXPECT_EQ(1, s_Doubles.nQuvInitCalls) << "the probe is made once";

    std::vector<char> vBinary;
    std::string strText;
    for (int n = 0; n < 2; ++n)
    {
        ASSERT_TRUE(m_Converter.ILTextToBinary(KERNEL, vBinary, "Fennel"));
        EXPECT_EQ(vExpected, vBinary);
        ASSERT_TRUE(m_Converter.ILBinaryToText(vBinary.data(), vBinary.size(), strText, ""));
        EXPECT_EQ(KERNEL, strText);
    }
    // quvInit answered 4 to the binding, after the probe's 0; the binding is made once.
    EXPECT_EQ(2, s_Doubles.nQuvInitCalls);
    EXPECT_EQ(1, s_Doubles.nExtSupportedCalls);
    EXPECT_EQ(0, s_Doubles.nCompileCalls);
    EXPECT_TRUE(s_Doubles.vDevices.empty()) << "the target plays no part on the runtime's path";
}

TEST_F(BifUtilsTest, ARefusingExtensionFallsToTheCompilerAndIsAskedAgain)
{
    const std::vector<char> vExpected = Expected(KERNEL);
    s_Doubles.nCompileCalls = 0;
    m_Converter.SetQuvILConverter(true);
    s_Doubles.bRefuseExtension = true;

    std::vector<char> vBinary;
    ASSERT_TRUE(m_Converter.ILTextToBinary(KERNEL, vBinary, ""));
    EXPECT_EQ(vExpected, vBinary);
    ASSERT_TRUE(m_Converter.ILTextToBinary(KERNEL, vBinary, ""));
    EXPECT_EQ(2, s_Doubles.nExtSupportedCalls);
    EXPECT_EQ(2, s_Doubles.nCompileCalls);

    s_Doubles.bRefuseExtension = false;
    ASSERT_TRUE(m_Converter.ILTextToBinary(KERNEL, vBinary, ""));
    EXPECT_EQ(vExpected, vBinary);
    EXPECT_EQ(3, s_Doubles.nExtSupportedCalls);
    EXPECT_EQ(2, s_Doubles.nCompileCalls);
}

TEST_F(BifUtilsTest, AFailingInitOrAMissingRuntimeFallsToTheCompiler)
{
    const std::vector<char> vExpected = Expected(KERNEL);
    m_Converter.SetQuvILConverter(true);
    s_Doubles.nQuvInitAnswer = 2;
    std::vector<char> vBinary;
    ASSERT_TRUE(m_Converter.ILTextToBinary(KERNEL, vBinary, ""));
    EXPECT_EQ(vExpected, vBinary);
    EXPECT_EQ(0, s_Doubles.nExtSupportedCalls);

    QUVRTModule missing("libquvtest_missing.so");
    CILConverter withoutRuntime(missing, m_Compiler);
    withoutRuntime.SetQuvILConverter(true);
    EXPECT_TRUE(withoutRuntime.IsQuvILConverterInUse()) << "forced, whatever the runtime";
    ASSERT_TRUE(withoutRuntime.ILTextToBinary(KERNEL, vBinary, ""));
    EXPECT_EQ(vExpected, vBinary);
    withoutRuntime.ReleaseCompiler();
}

TEST_F(BifUtilsTest, StructSizesAreTriedInOrderWhileTheAnswerIsThree)
{
    const std::vector<size_t> vAll = {120, 128, 118, 120, 104};
    std::vector<char> vBinary;
    for (int nRefusals = 0; nRefusals <= 5; ++nRefusals)
    {
        s_Doubles.vStructSizes.clear();
        s_Doubles.nStructSizeRefusals = nRefusals;
        EXPECT_EQ(nRefusals < 5, m_Converter.ILTextToBinary(KERNEL, vBinary, "")) << nRefusals;
        const size_t nCalls = std::min<size_t>(nRefusals + 1, vAll.size());
        EXPECT_EQ(std::vector<size_t>(vAll.begin(), vAll.begin() + nCalls), s_Doubles.vStructSizes);
    }

    // Any other error ends the attempt at once.
    s_Doubles.vStructSizes.clear();
    s_Doubles.nStructSizeRefusals = 0;
    s_Doubles.nOtherInitError = 5;
    EXPECT_FALSE(m_Converter.ILTextToBinary(KERNEL, vBinary, ""));
    EXPECT_EQ(std::vector<size_t>({120}), s_Doubles.vStructSizes);
}

TEST_F(BifUtilsTest, TheCompilerPathTakesWholeTokensAndAtLeastOne)
{
    const std::vector<char> vExpected = Expected(KERNEL);
    std::vector<char> vBinary;
    s_Doubles.nExtractedSize = 6;
    ASSERT_TRUE(m_Converter.ILTextToBinary(KERNEL, vBinary, ""));
    EXPECT_EQ(std::vector<char>(vExpected.begin(), vExpected.begin() + 4), vBinary);

    s_Doubles.nExtractedSize = 3;
    vBinary.clear();
    EXPECT_FALSE(m_Converter.ILTextToBinary(KERNEL, vBinary, ""));
    EXPECT_TRUE(vBinary.empty());
}

TEST_F(BifUtilsTest, TheCompilersComplaintsArePrinted)
{
    std::vector<char> vBinary;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(m_Converter.ILTextToBinary("il_cs_2_0\nmovv r0, r1\nend\n", vBinary, ""));
    EXPECT_EQ(0u, testing::internal::GetCapturedStdout().find("Compiler msg: line 2, column 1"));

    // An unknown device is refused without another try.
    s_Doubles.vDevices.clear();
    s_Doubles.vStructSizes.clear();
    EXPECT_FALSE(m_Converter.ILTextToBinary(KERNEL, vBinary, "no such device"));
    EXPECT_EQ(std::vector<std::string>({"no such device"}), s_Doubles.vDevices);
    EXPECT_TRUE(s_Doubles.vStructSizes.empty());

    // An odd byte count gives the whole tokens to the compiler.
    const std::vector<char> vExpected = Expected(KERNEL);
    std::vector<char> vOdd = vExpected;
    vOdd.push_back('\x7f');
    std::string strText;
    ASSERT_TRUE(m_Converter.ILBinaryToText(vOdd.data(), vOdd.size(), strText, ""));
    EXPECT_EQ(KERNEL, strText);
    EXPECT_FALSE(m_Converter.ILBinaryToText(nullptr, 4, strText, ""));
}

TEST_F(BifUtilsTest, TheCompilerHandleIsMadeOnceAndReleased)
{
    std::vector<char> vBinary;
    EXPECT_EQ(nullptr, m_Converter.GetCompiler());
    ASSERT_TRUE(m_Converter.ILTextToBinary(KERNEL, vBinary, ""));
    void* pCompiler = m_Converter.GetCompiler();
    ASSERT_NE(nullptr, pCompiler);
    ASSERT_TRUE(m_Converter.ILTextToBinary(KERNEL, vBinary, ""));
    EXPECT_EQ(pCompiler, m_Converter.GetCompiler());
    m_Converter.ReleaseCompiler();
    EXPECT_EQ(nullptr, m_Converter.GetCompiler());
    // The handle is gone from the library too.
    EXPECT_NE(0, s_Doubles.compiler.dnkCompilerFini(pCompiler));

    // An unloaded compiler module is loaded again by its name.
    m_Compiler.UnloadModule();
    ASSERT_TRUE(m_Converter.ILTextToBinary(KERNEL, vBinary, ""));
    EXPECT_TRUE(m_Compiler.IsLoaded());
}

TEST(BifUtilsFreeTest, SectionKinds)
{
    EXPECT_EQ(12, GetSectionKind(".debugil"));
    EXPECT_EQ(0, GetSectionKind(".llvmir"));
    EXPECT_EQ(26, GetSectionKind(".text"));
    EXPECT_EQ(2, GetSectionKind(".xanil"));
    EXPECT_EQ(35, GetSectionKind(".rodata"));
    EXPECT_EQ(35, GetSectionKind(".debugilbin"));
}

TEST(BifUtilsFreeTest, TheProcessConverterServesTheFreeFunctions)
{
    std::vector<char> vBinary;
    ASSERT_TRUE(ILTextToBinary(KERNEL, vBinary, ""));
    std::string strText;
    ASSERT_TRUE(ILBinaryToText(vBinary, strText, ""));
    EXPECT_EQ(KERNEL, strText);
    ASSERT_TRUE(ILBinaryToText(vBinary.data(), vBinary.size(), strText, ""));
    EXPECT_EQ(KERNEL, strText);
    EXPECT_FALSE(IsQuvILConverterInUse());
    SetQuvILConverter(true);
    EXPECT_TRUE(IsQuvILConverterInUse());
    SetQuvILConverter(false);
    ReleaseCompiler();
}

TEST(CBifBinaryTest, ReadsAndRewritesAKernelBinary)
{
    const std::vector<char> vImage = XAN_Test::MakeKernelImage(true, {"first", "second"});
    CBifBinary binary(vImage.data(), vImage.size());

    uint32_t nNumber = 0;
    ASSERT_TRUE(binary.GetKernelFunctionNumber("second", nNumber));
    EXPECT_EQ(1026u, nNumber);
    std::string strMetadata;
    ASSERT_TRUE(binary.GetKernelMetadata("first", strMetadata));
    EXPECT_EQ(XAN_Test::MakeKernelMetadata("first", 1024), strMetadata);
    EXPECT_FALSE(binary.GetKernelMetadata("third", strMetadata));

    std::vector<const DNKArgumentRecord*> vArguments;
    ASSERT_TRUE(binary.AddDebugArgument("__xan_debug_result", 12, 16));
    ASSERT_TRUE(binary.GetKernelArguments("first", vArguments));
    EXPECT_EQ(4u, vArguments.size());

    // The marker becomes the call and back; a second patch finds no marker.
    ASSERT_TRUE(binary.PatchKernelEntry("second"));
    EXPECT_FALSE(binary.PatchKernelEntry("second"));
    std::string strPatched;
    ASSERT_TRUE(binary.GetDebugIL(strPatched));
    EXPECT_EQ(std::string::npos, strPatched.find(";$$$$$$$$$$"));
    EXPECT_NE(std::string::npos, strPatched.find("call 1026"));

    std::vector<uint32_t> vTokens;
    ASSERT_TRUE(binary.GetBinaryIL(vTokens));
    ASSERT_FALSE(vTokens.empty());
    ASSERT_TRUE(binary.SetBinaryIL(vTokens.data(), vTokens.size()));
    ASSERT_TRUE(binary.UnpatchKernelEntry("second"));
    // The text is now the compiler's print of the tokens, with the marker back in place.
    std::string strUnpatched;
    ASSERT_TRUE(binary.GetDebugIL(strUnpatched));
    EXPECT_EQ(0u, strUnpatched.find("il_cs_2_0\ndcl_cb cb0[15]\n;$$$$$$$$$$\nend\nfunc 1024\n"));
    EXPECT_EQ(std::string::npos, strUnpatched.find("call"));

    // The image carries the text the compiler printed.
    ASSERT_TRUE(binary.FindAndReplaceInDebugIL("dcl_cb cb0[15]", "dcl_cb cb0[16]"));
    EXPECT_FALSE(binary.FindAndReplaceInDebugIL("dcl_cb cb0[15]", "dcl_cb cb0[16]"));
    void* pImage = nullptr;
    size_t nSize = 0;
    ASSERT_TRUE(binary.WriteToMemory(pImage, nSize));
    CElf elf(std::vector<char>(static_cast<char*>(pImage), static_cast<char*>(pImage) + nSize));
    ASSERT_NE(nullptr, elf.GetSection(".debugil"));
    const std::vector<char>& vText = elf.GetSection(".debugil")->GetData();
    EXPECT_NE(std::string::npos, std::string(vText.begin(), vText.end()).find("cb0[16]"));
    ReleaseCompiler();
}

TEST(CBifBinaryTest, WithoutAnObjectEverythingIsFalse)
{
    const char garbage[] = "garbage";
    CBifBinary binary(garbage, sizeof(garbage));
    CBifBinary missing(std::string("missing.elf"));
    for (CBifBinary* pBinary : {&binary, &missing})
    {
        uint32_t nNumber = 0;
        std::string strText;
        std::vector<const DNKArgumentRecord*> vArguments;
        std::vector<uint32_t> vTokens;
        void* pImage = nullptr;
        size_t nSize = 0;
        EXPECT_FALSE(pBinary->GetKernelFunctionNumber("k", nNumber));
        EXPECT_FALSE(pBinary->GetKernelMetadata("k", strText));
        EXPECT_FALSE(pBinary->GetKernelArguments("k", vArguments));
        EXPECT_FALSE(pBinary->GetDebugIL(strText));
        EXPECT_FALSE(pBinary->SetDebugIL(KERNEL));
        EXPECT_FALSE(pBinary->GetBinaryIL(vTokens));
        EXPECT_FALSE(pBinary->SetBinaryIL(nullptr, 0));
        EXPECT_FALSE(pBinary->AddDebugArgument("a", 1, 2));
        EXPECT_FALSE(pBinary->WriteToMemory(pImage, nSize));
        EXPECT_FALSE(pBinary->PatchKernelEntry("k"));
    }
    ReleaseCompiler();
}
