#include "XANDnkCompiler.h"

#include "CILAssembler.h"
#include "Common/Src/KernelBinary/ElfImageBuilder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <dlfcn.h>
#include <string>
#include <vector>

// The compiler library, loaded by name as the debug library loads it.
namespace
{
#define XAN_DNK_FUNCTIONS(X)                                                                       \
    X(dnkGetTargetInfo)                                                                            \
    X(dnkCompilerInit)                                                                             \
    X(dnkCompilerFini)                                                                             \
    X(dnkReadFromMem)                                                                              \
    X(dnkReadFromFile)                                                                             \
    X(dnkBinaryInit)                                                                               \
    X(dnkBinaryFini)                                                                               \
    X(dnkWriteToMem)                                                                               \
    X(dnkWriteToFile)                                                                              \
    X(dnkInsertSection)                                                                            \
    X(dnkExtractSection)                                                                           \
    X(dnkRemoveSection)                                                                            \
    X(dnkQueryInfo)                                                                                \
    X(dnkDbgAddArgument)                                                                           \
    X(dnkExtractSymbol)                                                                            \
    X(dnkInsertSymbol)                                                                             \
    X(dnkRemoveSymbol)                                                                             \
    X(dnkCompile)                                                                                  \
    X(dnkDisassemble)

struct CompilerLibrary
{
#define XAN_DNK_MEMBER(name) decltype(&::name) name = nullptr;
    XAN_DNK_FUNCTIONS(XAN_DNK_MEMBER)
#undef XAN_DNK_MEMBER
    bool bLoaded = false;

    CompilerLibrary()
    {
        m_hLibrary = dlopen("libxanocl12cl64.so", RTLD_NOW | RTLD_LOCAL);
        bLoaded = m_hLibrary != nullptr;
#define XAN_DNK_BIND(name)                                                                         \
    name = reinterpret_cast<decltype(&::name)>(bLoaded ? dlsym(m_hLibrary, #name) : nullptr);      \
    bLoaded = bLoaded && name != nullptr;
        XAN_DNK_FUNCTIONS(XAN_DNK_BIND)
#undef XAN_DNK_BIND
    }
    ~CompilerLibrary()
    {
        if (m_hLibrary != nullptr)
        {
            dlclose(m_hLibrary);
        }
    }

private:
    void* m_hLibrary = nullptr;
};

const CompilerLibrary& Dnk()
{
    static const CompilerLibrary s_Library;
    return s_Library;
}

std::string s_strLog;

void Log(const char* pText, size_t nSize)
{
    s_strLog.append(pText, nSize);
}

const char* const KERNEL = "il_cs_2_0\n"
                           "dcl_cb cb0[15]\n"
                           ";$$$$$$$$$$\n"
                           "mov r0, r1\n"
                           "end\n";

class DnkCompilerTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(Dnk().bLoaded);
        m_pCompiler = Dnk().dnkCompilerInit(nullptr, nullptr);
        ASSERT_NE(nullptr, m_pCompiler);
        s_strLog.clear();
    }

    void TearDown() override
    {
        for (void* pBinary : m_vBinaries)
        {
            EXPECT_EQ(DNK_SUCCESS, Dnk().dnkBinaryFini(pBinary));
        }
        EXPECT_EQ(DNK_SUCCESS, Dnk().dnkCompilerFini(m_pCompiler));
    }

    void* Keep(void* pBinary)
    {
        EXPECT_NE(nullptr, pBinary);
        if (pBinary != nullptr)
        {
            m_vBinaries.push_back(pBinary);
        }
        return pBinary;
    }

    void* NewBinary()
    {
        int nError = -1;
        const DNKTargetInfo target = Dnk().dnkGetTargetInfo("xanil", "Larkspur", &nError);
        EXPECT_EQ(DNK_SUCCESS, nError);
        void* pBinary = Dnk().dnkBinaryInit(DNK_BINARY_STRUCT_SIZE, target, nullptr, &nError);
        EXPECT_EQ(DNK_SUCCESS, nError);
        return Keep(pBinary);
    }

    void* ReadImage(const std::vector<char>& vImage)
    {
        int nError = -1;
        void* pBinary = Dnk().dnkReadFromMem(vImage.data(), vImage.size(), &nError);
        EXPECT_EQ(DNK_SUCCESS, nError);
        return Keep(pBinary);
    }

    std::string Symbol(void* pBinary, const char* pName, int* pError = nullptr)
    {
        size_t nSize = 0;
        int nError = -1;
        const void* pData = Dnk().dnkExtractSymbol(m_pCompiler, pBinary, &nSize,
                                                   DNK_SECTION_DEBUGIL_SYMBOLS, pName, &nError);
        if (pError != nullptr)
        {
            *pError = nError;
        }
        return pData != nullptr ? std::string(static_cast<const char*>(pData), nSize) : "";
    }

    std::vector<char> Query(void* pBinary, int nQuery, const char* pKernel)
    {
        size_t nSize = 0;
        EXPECT_EQ(DNK_SUCCESS,
                  Dnk().dnkQueryInfo(m_pCompiler, pBinary, nQuery, pKernel, nullptr, &nSize));
        std::vector<char> vAnswer(nSize);
        EXPECT_EQ(DNK_SUCCESS, Dnk().dnkQueryInfo(m_pCompiler, pBinary, nQuery, pKernel,
                                                  vAnswer.data(), &nSize));
        EXPECT_EQ(vAnswer.size(), nSize);
        return vAnswer;
    }

    void* m_pCompiler = nullptr;
    std::vector<void*> m_vBinaries;
};
} // namespace

TEST_F(DnkCompilerTest, TargetsAreGpuFamiliesOfTheXanilArchitecture)
{
    int nError = -1;
    const DNKTargetInfo newer = Dnk().dnkGetTargetInfo("xanil", "Larkspur", &nError);
    EXPECT_EQ(DNK_SUCCESS, nError);
    const DNKTargetInfo older = Dnk().dnkGetTargetInfo("xanil", "fennel", &nError);
    EXPECT_EQ(DNK_SUCCESS, nError);
    EXPECT_NE(0, memcmp(&newer, &older, sizeof(newer)));
    const DNKTargetInfo same = Dnk().dnkGetTargetInfo("XANIL", "LARKSPUR", &nError);
    EXPECT_EQ(DNK_SUCCESS, nError);
    EXPECT_EQ(0, memcmp(&newer, &same, sizeof(newer)));

    for (const char* pDevice : {"", "Lark spur", "gfx9"})
    {
        Dnk().dnkGetTargetInfo("xanil", pDevice, &nError);
        EXPECT_EQ(DNK_ERROR_UNKNOWN_TARGET, nError) << pDevice;
    }
    Dnk().dnkGetTargetInfo("hsail", "Larkspur", &nError);
    EXPECT_EQ(DNK_ERROR_UNKNOWN_TARGET, nError);
    Dnk().dnkGetTargetInfo(nullptr, nullptr, &nError);
    EXPECT_EQ(DNK_ERROR_UNKNOWN_TARGET, nError);

    // Only the library's own struct size and target make an object.
    EXPECT_EQ(nullptr, Dnk().dnkBinaryInit(128, newer, nullptr, &nError));
    EXPECT_EQ(DNK_ERROR_STRUCT_SIZE, nError);
    EXPECT_EQ(nullptr,
              Dnk().dnkBinaryInit(DNK_BINARY_STRUCT_SIZE, DNKTargetInfo{}, nullptr, &nError));
    EXPECT_EQ(DNK_ERROR_UNKNOWN_TARGET, nError);
    EXPECT_EQ(nullptr, Dnk().dnkBinaryInit(DNK_BINARY_STRUCT_SIZE, newer, "-O3", &nError));
    EXPECT_EQ(DNK_ERROR_INVALID_ARGUMENT, nError);
    Keep(Dnk().dnkBinaryInit(DNK_BINARY_STRUCT_SIZE, older, "", &nError));
    EXPECT_EQ(DNK_SUCCESS, nError);
}

TEST_F(DnkCompilerTest, CompilesDebugILTextToTokensAndBack)
{
    void* pBinary = NewBinary();
    ASSERT_EQ(DNK_SUCCESS, Dnk().dnkInsertSymbol(m_pCompiler, pBinary, KERNEL, strlen(KERNEL),
                                                 DNK_SECTION_DEBUGIL_SYMBOLS, "__debugil_text"));
    ASSERT_EQ(DNK_SUCCESS, Dnk().dnkCompile(m_pCompiler, pBinary, "", DNK_STAGE_IL_TEXT,
                                            DNK_STAGE_IL_BINARY, &Log));
    std::vector<unsigned int> vTokens;
    XAN_Platform::CILAssembler assembler;
    ASSERT_TRUE(assembler.Assemble(KERNEL, vTokens));
    const std::string strBinary = Symbol(pBinary, "__debugil_binary");
    ASSERT_EQ(vTokens.size() * 4, strBinary.size());
    EXPECT_EQ(0, memcmp(vTokens.data(), strBinary.data(), strBinary.size()));

    ASSERT_EQ(DNK_SUCCESS, Dnk().dnkRemoveSymbol(m_pCompiler, pBinary, DNK_SECTION_DEBUGIL_SYMBOLS,
                                                 "__debugil_text"));
    int nError = -1;
    Symbol(pBinary, "__debugil_text", &nError);
    EXPECT_EQ(DNK_ERROR_NOT_FOUND, nError);
    ASSERT_EQ(DNK_SUCCESS, Dnk().dnkCompile(m_pCompiler, pBinary, nullptr, DNK_STAGE_IL_BINARY,
                                            DNK_STAGE_IL_TEXT, &Log));
    EXPECT_EQ(KERNEL, Symbol(pBinary, "__debugil_text"));
    EXPECT_EQ("", s_strLog);

    ASSERT_EQ(DNK_SUCCESS, Dnk().dnkDisassemble(m_pCompiler, pBinary, &Log));
    EXPECT_EQ(KERNEL, s_strLog);
}

TEST_F(DnkCompilerTest, RefusedILAndStagesAreReported)
{
    void* pBinary = NewBinary();
    EXPECT_EQ(DNK_ERROR_NOT_FOUND, Dnk().dnkCompile(m_pCompiler, pBinary, "", DNK_STAGE_IL_TEXT,
                                                    DNK_STAGE_IL_BINARY, nullptr));
    const std::string strBad = "il_cs_2_0\nmovv r0, r1\nend\n";
    ASSERT_EQ(DNK_SUCCESS, Dnk().dnkInsertSymbol(m_pCompiler, pBinary, strBad.data(), strBad.size(),
                                                 DNK_SECTION_DEBUGIL_SYMBOLS, "__debugil_text"));
    EXPECT_EQ(DNK_ERROR_COMPILE, Dnk().dnkCompile(m_pCompiler, pBinary, "", DNK_STAGE_IL_TEXT,
                                                  DNK_STAGE_IL_BINARY, &Log));
    EXPECT_EQ(0u, s_strLog.find("line 2, column 1: ")) << s_strLog;
    int nError = -1;
    Symbol(pBinary, "__debugil_binary", &nError);
    EXPECT_EQ(DNK_ERROR_NOT_FOUND, nError);

    EXPECT_EQ(DNK_ERROR_NOT_SUPPORTED, Dnk().dnkCompile(m_pCompiler, pBinary, "", DNK_STAGE_IL_TEXT,
                                                        DNK_STAGE_IL_TEXT, &Log));
    EXPECT_EQ(
        DNK_ERROR_INVALID_ARGUMENT,
        Dnk().dnkCompile(m_pCompiler, pBinary, "-g", DNK_STAGE_IL_TEXT, DNK_STAGE_IL_BINARY, &Log));
    // Symbols are the two debug IL symbols of kind 27.
    EXPECT_EQ(
        DNK_ERROR_NOT_SUPPORTED,
        Dnk().dnkInsertSymbol(m_pCompiler, pBinary, "x", 1, DNK_SECTION_DEBUGIL, "__debugil_text"));
    EXPECT_EQ(DNK_ERROR_NOT_FOUND, Dnk().dnkInsertSymbol(m_pCompiler, pBinary, "x", 1,
                                                         DNK_SECTION_DEBUGIL_SYMBOLS, "other"));
    EXPECT_EQ(DNK_ERROR_INVALID_ARGUMENT,
              Dnk().dnkInsertSymbol(m_pCompiler, pBinary, nullptr, 1, DNK_SECTION_DEBUGIL_SYMBOLS,
                                    "__debugil_text"));
    EXPECT_EQ(DNK_ERROR_NOT_FOUND,
              Dnk().dnkRemoveSymbol(m_pCompiler, pBinary, DNK_SECTION_DEBUGIL_SYMBOLS,
                                    "__debugil_binary"));
}

TEST_F(DnkCompilerTest, WrongHandlesAreErrors)
{
    void* pBinary = NewBinary();
    int nNotAHandle = 0;
    int nError = -1;
    size_t nSize = 0;
    EXPECT_EQ(DNK_ERROR_INVALID_HANDLE,
              Dnk().dnkCompile(&nNotAHandle, pBinary, "", DNK_STAGE_IL_TEXT, DNK_STAGE_IL_BINARY,
                               nullptr));
    EXPECT_EQ(
        DNK_ERROR_INVALID_HANDLE,
        Dnk().dnkQueryInfo(m_pCompiler, &nNotAHandle, DNK_QUERY_METADATA, "k", nullptr, &nSize));
    EXPECT_EQ(nullptr, Dnk().dnkExtractSymbol(nullptr, pBinary, &nSize, DNK_SECTION_DEBUGIL_SYMBOLS,
                                              "__debugil_text", &nError));
    EXPECT_EQ(DNK_ERROR_INVALID_HANDLE, nError);
    EXPECT_EQ(DNK_ERROR_INVALID_HANDLE, Dnk().dnkBinaryFini(&nNotAHandle));
    EXPECT_EQ(DNK_ERROR_INVALID_HANDLE, Dnk().dnkCompilerFini(nullptr));
    EXPECT_EQ(nullptr, Dnk().dnkCompilerInit(&nNotAHandle, nullptr));

    // An ended handle is no longer one.
    void* pOther = Dnk().dnkCompilerInit(nullptr, nullptr);
    ASSERT_EQ(DNK_SUCCESS, Dnk().dnkCompilerFini(pOther));
    EXPECT_EQ(DNK_ERROR_INVALID_HANDLE, Dnk().dnkCompilerFini(pOther));
    EXPECT_EQ(DNK_ERROR_INVALID_HANDLE, Dnk().dnkRemoveSection(pOther, pBinary, DNK_SECTION_TEXT));
}

TEST_F(DnkCompilerTest, ReadsKernelImagesAndAnswersQueries)
{
    int nError = -1;
    const char garbage[] = "not an ELF image";
    EXPECT_EQ(nullptr, Dnk().dnkReadFromMem(garbage, sizeof(garbage), &nError));
    EXPECT_EQ(DNK_ERROR_INVALID_BINARY, nError);
    EXPECT_EQ(nullptr, Dnk().dnkReadFromFile("missing.elf", &nError));
    EXPECT_EQ(DNK_ERROR_INVALID_BINARY, nError);

    void* pBinary = ReadImage(XAN_Test::MakeKernelImage(true, {"first", "second"}));
    const std::vector<char> vMetadata = Query(pBinary, DNK_QUERY_METADATA, "second");
    EXPECT_EQ(XAN_Test::MakeKernelMetadata("second", 1026),
              std::string(vMetadata.begin(), vMetadata.end()));

    const std::vector<char> vNumber = Query(pBinary, DNK_QUERY_FUNCTION_NUMBER, "second");
    ASSERT_EQ(4u, vNumber.size());
    uint32_t nNumber = 0;
    memcpy(&nNumber, vNumber.data(), 4);
    EXPECT_EQ(1026u, nNumber);

    ASSERT_EQ(DNK_SUCCESS,
              Dnk().dnkDbgAddArgument(m_pCompiler, pBinary, "__xan_debug_result", 12, 16));
    EXPECT_EQ(DNK_ERROR_INVALID_ARGUMENT,
              Dnk().dnkDbgAddArgument(m_pCompiler, pBinary, "", 12, 16));
    const std::vector<char> vArguments = Query(pBinary, DNK_QUERY_ARGUMENTS, "first");
    ASSERT_EQ(5 * sizeof(dnk_argument), vArguments.size());
    const dnk_argument* pArguments = reinterpret_cast<const dnk_argument*>(vArguments.data());
    EXPECT_STREQ("a", pArguments[0].pName);
    EXPECT_EQ(uint32_t(DNK_ARGUMENT_POINTER), pArguments[0].nKind);
    EXPECT_EQ(1u, pArguments[0].nAccess);
    EXPECT_EQ(11u, pArguments[0].nResourceId);
    EXPECT_STREQ("c", pArguments[1].pName);
    EXPECT_EQ(16u, pArguments[1].nOffset);
    EXPECT_EQ(3u, pArguments[1].nAccess);
    EXPECT_STREQ("n", pArguments[2].pName);
    EXPECT_STREQ("i32", pArguments[2].pDataType);
    EXPECT_EQ(uint32_t(DNK_ARGUMENT_VALUE), pArguments[2].nKind);
    EXPECT_EQ(32u, pArguments[2].nOffset);
    EXPECT_EQ(16u, pArguments[2].nSize);
    EXPECT_STREQ("__xan_debug_result", pArguments[3].pName);
    EXPECT_EQ(uint32_t(DNK_ARGUMENT_DEBUG), pArguments[3].nKind);
    EXPECT_EQ(3u, pArguments[3].nIndex);
    EXPECT_EQ(48u, pArguments[3].nOffset);
    EXPECT_EQ(12u, pArguments[3].nResourceId);
    EXPECT_EQ(16u, pArguments[3].nAlignment);
    EXPECT_EQ(nullptr, pArguments[4].pName);

    size_t nSize = 4;
    std::vector<char> vSmall(4);
    EXPECT_EQ(DNK_ERROR_BUFFER_TOO_SMALL,
              Dnk().dnkQueryInfo(m_pCompiler, pBinary, DNK_QUERY_METADATA, "first", vSmall.data(),
                                 &nSize));
    EXPECT_EQ(XAN_Test::MakeKernelMetadata("first", 1024).size(), nSize);
    EXPECT_EQ(DNK_ERROR_NOT_FOUND, Dnk().dnkQueryInfo(m_pCompiler, pBinary, DNK_QUERY_METADATA,
                                                      "third", nullptr, &nSize));
    EXPECT_EQ(DNK_ERROR_INVALID_ARGUMENT,
              Dnk().dnkQueryInfo(m_pCompiler, pBinary, 2, "first", nullptr, &nSize));
    EXPECT_EQ(
        DNK_ERROR_INVALID_ARGUMENT,
        Dnk().dnkQueryInfo(m_pCompiler, pBinary, DNK_QUERY_METADATA, "first", nullptr, nullptr));
}

TEST_F(DnkCompilerTest, SectionsAndImagesGoInAndOut)
{
    void* pBinary = ReadImage(XAN_Test::MakeKernelImage(false, {"k"}));
    size_t nSize = 0;
    int nError = -1;
    const void* pXanil =
        Dnk().dnkExtractSection(m_pCompiler, pBinary, &nSize, DNK_SECTION_XANIL, &nError);
    ASSERT_EQ(DNK_SUCCESS, nError);
    ASSERT_NE(nullptr, pXanil);
    EXPECT_EQ(nullptr,
              Dnk().dnkExtractSection(m_pCompiler, pBinary, &nSize, DNK_SECTION_OTHER, &nError));
    EXPECT_EQ(DNK_ERROR_INVALID_ARGUMENT, nError);
    EXPECT_EQ(DNK_ERROR_NOT_FOUND, Dnk().dnkRemoveSection(m_pCompiler, pBinary, DNK_SECTION_TEXT));

    // A new ".debugil" is the debug IL text, and an image of the object carries it.
    ASSERT_EQ(DNK_SUCCESS, Dnk().dnkInsertSection(m_pCompiler, pBinary, KERNEL, strlen(KERNEL),
                                                  DNK_SECTION_DEBUGIL));
    EXPECT_EQ(KERNEL, Symbol(pBinary, "__debugil_text"));
    ASSERT_EQ(DNK_SUCCESS, Dnk().dnkRemoveSection(m_pCompiler, pBinary, DNK_SECTION_XANIL));
    void* pImage = nullptr;
    ASSERT_EQ(DNK_SUCCESS, Dnk().dnkWriteToMem(pBinary, &pImage, &nSize));
    const char* pBytes = static_cast<const char*>(pImage);
    void* pCopy = ReadImage(std::vector<char>(pBytes, pBytes + nSize));
    EXPECT_EQ(KERNEL, Symbol(pCopy, "__debugil_text"));
    Dnk().dnkExtractSection(m_pCompiler, pCopy, &nSize, DNK_SECTION_XANIL, &nError);
    EXPECT_EQ(DNK_ERROR_NOT_FOUND, nError);
    EXPECT_EQ(XAN_Test::MakeKernelMetadata("k", 1024),
              std::string(Query(pCopy, DNK_QUERY_METADATA, "k").data(),
                          Query(pCopy, DNK_QUERY_METADATA, "k").size()));

    ASSERT_EQ(DNK_SUCCESS, Dnk().dnkWriteToFile(pCopy, "copy.elf"));
    void* pFromFile = Keep(Dnk().dnkReadFromFile("copy.elf", &nError));
    EXPECT_EQ(KERNEL, Symbol(pFromFile, "__debugil_text"));
    EXPECT_EQ(DNK_ERROR_IO, Dnk().dnkWriteToFile(pCopy, "no/such/folder/copy.elf"));

    // An empty object is an image too.
    void* pEmpty = NewBinary();
    ASSERT_EQ(DNK_SUCCESS, Dnk().dnkWriteToMem(pEmpty, &pImage, &nSize));
    pBytes = static_cast<const char*>(pImage);
    ReadImage(std::vector<char>(pBytes, pBytes + nSize));
}
