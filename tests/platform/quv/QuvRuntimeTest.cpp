#include "Modules/QUVCLModule.h"
#include "Modules/QUVDDModule.h"
#include "Modules/QUVRTModule.h"
#include "XANQuvRuntime.h"

#include "ILCorpus.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <string>

// The runtime's libraries, bound by the library's own process-wide modules under the names that
// production uses.
namespace
{
typedef int (*NoArgumentFunc)();

struct Converter
{
    quvConvertTextToBinaryFunc pfnTextToBinary = nullptr;
    quvConvertBinaryToTextFunc pfnBinaryToText = nullptr;
    quvFreeTextBinaryFunc pfnFree = nullptr;
};

Converter GetConverter()
{
    Converter converter;
    void* p = nullptr;
    EXPECT_EQ(QUV_SUCCESS,
              g_QUVRTModule.quvExtGetProc(&p, QUV_EXT_IL_CONVERTER, "quvConvertTextToBinary"));
    converter.pfnTextToBinary = reinterpret_cast<quvConvertTextToBinaryFunc>(p);
    EXPECT_EQ(QUV_SUCCESS,
              g_QUVRTModule.quvExtGetProc(&p, QUV_EXT_IL_CONVERTER, "quvConvertBinaryToText"));
    converter.pfnBinaryToText = reinterpret_cast<quvConvertBinaryToTextFunc>(p);
    EXPECT_EQ(QUV_SUCCESS,
              g_QUVRTModule.quvExtGetProc(&p, QUV_EXT_IL_CONVERTER, "quvFreeTextBinary"));
    converter.pfnFree = reinterpret_cast<quvFreeTextBinaryFunc>(p);
    return converter;
}

// Every function of a module outside the given names answers that it isn't supported.
void ExpectNotSupported(const LibraryModule& module, const std::set<std::string>& offered)
{
    ASSERT_TRUE(module.IsLoaded()) << module.GetFileName();
    for (size_t n = 0; n < module.GetNumFunctions(); ++n)
    {
        if (offered.count(module.GetFunctionName(n)) == 0)
        {
            const NoArgumentFunc pfn = reinterpret_cast<NoArgumentFunc>(module.GetFunction(n));
            EXPECT_EQ(QUV_ERROR_NOT_SUPPORTED, pfn()) << module.GetFunctionName(n);
        }
    }
}

const char* const KERNEL = "il_cs_2_0\n"
                           "dcl_cb cb0[15]\n"
                           "mov r0, r1\n"
                           "end\n";
} // namespace

TEST(QuvRuntimeTest, TheThreeLibrariesLoadUnderTheirNames)
{
    EXPECT_TRUE(g_QUVRTModule.IsLoaded());
    EXPECT_TRUE(g_QUVCLModule.IsLoaded());
    EXPECT_TRUE(g_QUVDDModule.IsLoaded());
    ExpectNotSupported(g_QUVRTModule,
                       {"quvInit", "quvShutdown", "quvExtSupported", "quvExtGetProc"});
    ExpectNotSupported(g_QUVCLModule, {});
    ExpectNotSupported(g_QUVDDModule, {});
}

TEST(QuvRuntimeTest, InitAndTheConverterExtension)
{
    const QUVRTModule& runtime = g_QUVRTModule;
    EXPECT_EQ(QUV_SUCCESS, runtime.quvInit());
    EXPECT_EQ(QUV_ALREADY_INITIALIZED, runtime.quvInit());

    EXPECT_EQ(QUV_SUCCESS, runtime.quvExtSupported(0x8013));
    EXPECT_EQ(QUV_ERROR_NOT_SUPPORTED, runtime.quvExtSupported(0x8014));

    void* p = nullptr;
    EXPECT_EQ(QUV_ERROR_NOT_SUPPORTED, runtime.quvExtGetProc(&p, 0x8014, "quvConvertTextToBinary"));
    EXPECT_EQ(QUV_ERROR_INVALID_ARGUMENT, runtime.quvExtGetProc(&p, 0x8013, "quvConvert"));
    EXPECT_EQ(QUV_ERROR_INVALID_ARGUMENT,
              runtime.quvExtGetProc(nullptr, 0x8013, "quvFreeTextBinary"));
    EXPECT_EQ(QUV_ERROR_INVALID_ARGUMENT, runtime.quvExtGetProc(&p, 0x8013, nullptr));
    EXPECT_EQ(nullptr, p);
}

TEST(QuvRuntimeTest, ConvertsTextToTokensAndBack)
{
    const Converter converter = GetConverter();
    void* pBinary = nullptr;
    uint32_t nSize = 0;
    ASSERT_EQ(QUV_SUCCESS, converter.pfnTextToBinary(&pBinary, &nSize, 1, KERNEL));

    const std::vector<unsigned int> vExpected = XAN_Test::AssembleOrFail(KERNEL);
    ASSERT_EQ(vExpected.size() * 4, nSize);
    EXPECT_EQ(0, memcmp(vExpected.data(), pBinary, nSize));

    char* pText = nullptr;
    ASSERT_EQ(QUV_SUCCESS, converter.pfnBinaryToText(pBinary, nSize, 1, &pText));
    EXPECT_STREQ(KERNEL, pText);
    EXPECT_EQ(QUV_SUCCESS, converter.pfnFree(pText));
    EXPECT_EQ(QUV_SUCCESS, converter.pfnFree(pBinary));
}

TEST(QuvRuntimeTest, RefusesBadArgumentsAndBadIL)
{
    const Converter converter = GetConverter();
    void* pBinary = nullptr;
    uint32_t nSize = 0;
    char* pText = nullptr;
    const unsigned int tokens[2] = {0, 0x30200};

    EXPECT_EQ(QUV_ERROR_INVALID_ARGUMENT, converter.pfnTextToBinary(&pBinary, &nSize, 2, KERNEL));
    EXPECT_EQ(QUV_ERROR_INVALID_ARGUMENT, converter.pfnTextToBinary(nullptr, &nSize, 1, KERNEL));
    EXPECT_EQ(QUV_ERROR_INVALID_ARGUMENT, converter.pfnTextToBinary(&pBinary, &nSize, 1, nullptr));
    EXPECT_EQ(QUV_ERROR_INVALID_ARGUMENT, converter.pfnBinaryToText(tokens, 6, 1, &pText));
    EXPECT_EQ(QUV_ERROR_INVALID_ARGUMENT, converter.pfnBinaryToText(nullptr, 8, 1, &pText));
    EXPECT_EQ(QUV_ERROR_INVALID_ARGUMENT, converter.pfnBinaryToText(tokens, 8, 0, &pText));

    testing::internal::CaptureStderr();
    EXPECT_EQ(QUV_ERROR_INVALID_IL,
              converter.pfnTextToBinary(&pBinary, &nSize, 1, "il_cs_2_0\nmovv r0, r1\nend\n"));
    EXPECT_NE(std::string::npos,
              testing::internal::GetCapturedStderr().find("quvConvertTextToBinary: line 2"));
    // A header without end is no program.
    testing::internal::CaptureStderr();
    EXPECT_EQ(QUV_ERROR_INVALID_IL, converter.pfnBinaryToText(tokens, 4, 1, &pText));
    EXPECT_NE(std::string::npos,
              testing::internal::GetCapturedStderr().find("quvConvertBinaryToText: "));
    EXPECT_EQ(nullptr, pBinary);
    EXPECT_EQ(nullptr, pText);
}
