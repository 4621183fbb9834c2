#include "ElfUtils.h"
#include "BifUtils.h"
#include "CElf.h"
#include "CElfSymbolTable.h"
#include "CLMetadata.h"
#include "Common/Src/KernelBinary/ElfImageBuilder.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

using namespace XAN_ElfUtils;
using XAN_Test::ElfImageBuilder;
using XAN_Test::ReadFile;

namespace
{
const std::vector<std::string> g_vstrKernels = {"vadd", "scale", "sum"};

// The debug IL of the three kernels as the platform writes it: the disassembly of its tokens,
// with the entry marker where the call of the kernel to build goes.
const std::string g_strDebugIL = ReadFile(XAN_TEST_DATA_DIR "/kernels.debugil");

struct ImageOptions
{
    bool bIsElf64 = true;
    std::string strDebugIL = g_strDebugIL;
    // Gives the second kernel's metadata this text instead of the platform's.
    std::string strScaleMetadata;
    bool bWithHeaders = true;
    bool bWithDebugILSymbol = false;
};

// A kernel binary of three kernels laid out as the platform builds it: device code, metadata and
// header blocks in ".rodata", per-kernel IL in ".xanil", the debug IL, compiler intermediate
// form, function metadata of one kernel, and a section that nothing here knows.
std::vector<char> MakeKernelBinary(const ImageOptions& options = ImageOptions())
{
    ElfImageBuilder builder(options.bIsElf64);
    const uint16_t nText = builder.AddSection(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, 4,
                                              std::string(12, '\x11'));
    std::string strRodata;
    std::string strXanil;
    std::vector<XAN_Test::ElfSymbolDesc> vSymbols;
    const uint16_t nRodata = 2;
    const uint16_t nXanil = 3;
    const uint16_t nDebugIL = 4;
    for (size_t i = 0; i < g_vstrKernels.size(); ++i)
    {
        const std::string& strKernel = g_vstrKernels[i];
        const uint32_t nUniqueId = static_cast<uint32_t>(1024 + 2 * i);
        const std::string strPrefix = "__OpenCL_" + strKernel + "_";
        const std::string strMetadata = i == 1 && !options.strScaleMetadata.empty()
                                            ? options.strScaleMetadata
                                            : XAN_Test::MakeKernelMetadata(strKernel, nUniqueId);
        vSymbols.push_back({strPrefix + "metadata", STB_GLOBAL, STT_OBJECT, nRodata,
                            strRodata.size(), strMetadata.size()});
        strRodata += strMetadata;
        if (options.bWithHeaders)
        {
            vSymbols.push_back(
                {strPrefix + "header", STB_GLOBAL, STT_OBJECT, nRodata, strRodata.size(), 32});
            strRodata += std::string(32, static_cast<char>('A' + i));
        }
        const std::string strIL = "func " + std::to_string(nUniqueId) + "\n;" + strKernel +
                                  "\nmov r0, r1\nret\nendfunc\n";
        vSymbols.push_back(
            {strPrefix + "xanil", STB_GLOBAL, STT_OBJECT, nXanil, strXanil.size(), strIL.size()});
        strXanil += strIL;
        if (options.bWithDebugILSymbol)
        {
            vSymbols.push_back({strPrefix + "debugil", STB_GLOBAL, STT_FUNC, nDebugIL, 0,
                                options.strDebugIL.size()});
        }
    }
    vSymbols.push_back(
        {"__OpenCL_sum__fmetadata", STB_GLOBAL, STT_OBJECT, nRodata, strRodata.size(), 8});
    strRodata += ";fdata\n\n";
    vSymbols.push_back({"__OpenCL_vadd_code", STB_GLOBAL, STT_FUNC, nText, 0, 12});

    EXPECT_EQ(nRodata, builder.AddSection(".rodata", SHT_PROGBITS, SHF_ALLOC, 16, strRodata));
    EXPECT_EQ(nXanil, builder.AddSection(".xanil", SHT_PROGBITS, 0, 1, strXanil));
    EXPECT_EQ(nDebugIL, builder.AddSection(".debugil", SHT_PROGBITS, 0, 1, options.strDebugIL));
    builder.AddSection(".llvmir", SHT_PROGBITS, 0, 4, "; ModuleID = 'program'\n");
    builder.AddSection(".xan.build", SHT_NOTE, 0, 4, "build 7");
    builder.AddSymbol("", STB_LOCAL, STT_SECTION, nRodata, 0, 0);
    builder.AddSymbols(vSymbols);
    return builder.Build();
}

std::vector<std::string> SectionNames(const std::vector<char>& vImage)
{
    std::vector<std::string> vstrNames;
    CElf elf(vImage);
    for (size_t i = 0; i < elf.GetNumSections(); ++i)
    {
        vstrNames.push_back(elf.GetSection(i)->GetName());
    }
    return vstrNames;
}

bool HasSection(const std::vector<char>& vImage, const std::string& strName)
{
    CElf elf(vImage);
    return elf.IsInitialized() && elf.GetSection(strName) != nullptr;
}

std::string SectionText(const std::vector<char>& vImage, const std::string& strName)
{
    CElf elf(vImage);
    const CElfSection* pSection = elf.IsInitialized() ? elf.GetSection(strName) : nullptr;
    return pSection == nullptr
               ? std::string()
               : std::string(pSection->GetData().begin(), pSection->GetData().end());
}

struct SymbolView
{
    bool bFound = false;
    std::string strSection;
    uint64_t nValue = 0;
    uint64_t nSize = 0;
    unsigned char nInfo = 0;
};

SymbolView FindSymbol(const std::vector<char>& vImage, const std::string& strName)
{
    CElf elf(vImage);
    CElfSymbolTable* pSymbols = elf.IsInitialized() ? elf.GetSymbolTable() : nullptr;
    CElfSymbolTable::iterator it;
    if (pSymbols == nullptr || (it = pSymbols->find(strName)) == pSymbols->end())
    {
        return SymbolView();
    }
    return {true, it->section == nullptr ? std::string() : it->section->GetName(), it->st_value,
            it->st_size, it->st_info};
}

SymbolView GetSymbol(const std::vector<char>& vImage, const std::string& strName)
{
    const SymbolView view = FindSymbol(vImage, strName);
    EXPECT_TRUE(view.bFound) << strName;
    return view;
}

std::string Replace(std::string strText, const std::string& strFind, const std::string& strWith)
{
    const std::string::size_type nPos = strText.find(strFind);
    EXPECT_NE(std::string::npos, nPos) << strFind;
    return nPos == std::string::npos ? strText : strText.replace(nPos, strFind.size(), strWith);
}

std::string Prepared(std::string strText)
{
    EXPECT_TRUE(PrepareILText(strText, IsQuvILConverterInUse()));
    return strText;
}

std::string AsText(const std::vector<char>& vImage)
{
    return std::string(vImage.begin(), vImage.end());
}
} // namespace

TEST(ElfUtilsTest, ListsKernelsWithMetadataInSymbolOrder)
{
    std::vector<std::string> vstrNames = {"earlier"};
    ASSERT_TRUE(ListAvailableMetadata(MakeKernelBinary(), vstrNames));
    // "__OpenCL_sum__fmetadata" has no underscore right before "metadata".
    EXPECT_EQ((std::vector<std::string>{"earlier", "vadd", "scale", "sum"}), vstrNames);
}

TEST(ElfUtilsTest, ExtractsMetadataUpToItsSizeOrANul)
{
    std::string strMetadata = "untouched";
    EXPECT_FALSE(ExtractMetadataFromElf(MakeKernelBinary(), "nosuchkernel", strMetadata));
    EXPECT_EQ("untouched", strMetadata);

    ASSERT_TRUE(ExtractMetadataFromElf(MakeKernelBinary(), "scale", strMetadata));
    EXPECT_EQ(XAN_Test::MakeKernelMetadata("scale", 1026), strMetadata);

    ImageOptions options;
    const char metadata[] = ";ARGSTART:x\n\0;version:3:1:111\n";
    options.strScaleMetadata = std::string(metadata, sizeof(metadata) - 1);
    ASSERT_TRUE(ExtractMetadataFromElf(MakeKernelBinary(options), "scale", strMetadata));
    EXPECT_EQ(";ARGSTART:x\n", strMetadata);
}

TEST(ElfUtilsTest, ChangedMetadataMovesTheLaterSymbolsOfItsSection)
{
    const std::vector<char> vOriginal = MakeKernelBinary();
    const std::vector<std::string> vstrMoving = {"__OpenCL_scale_header", "__OpenCL_sum_metadata",
                                                 "__OpenCL_sum_header", "__OpenCL_sum__fmetadata"};
    const std::vector<std::string> vstrStaying = {"__OpenCL_vadd_metadata", "__OpenCL_vadd_header",
                                                  "__OpenCL_vadd_xanil",    "__OpenCL_scale_xanil",
                                                  "__OpenCL_sum_xanil",     "__OpenCL_vadd_code"};
    const std::string strOld = XAN_Test::MakeKernelMetadata("scale", 1026);

    for (const std::string& strNew : {strOld + ";reflection:0:float*\n", strOld.substr(0, 40)})
    {
        SCOPED_TRACE(strNew.size());
        const int64_t nDelta = static_cast<int64_t>(strNew.size() - strOld.size());
        std::vector<char> vImage = vOriginal;
        ASSERT_TRUE(InsertMetadataIntoElf(vImage, "scale", strNew));

        const SymbolView oldScale = GetSymbol(vOriginal, "__OpenCL_scale_metadata");
        const SymbolView newScale = GetSymbol(vImage, "__OpenCL_scale_metadata");
        EXPECT_EQ(oldScale.nValue, newScale.nValue);
        EXPECT_EQ(strNew.size(), newScale.nSize);
        for (const std::string& strName : vstrMoving)
        {
            EXPECT_EQ(GetSymbol(vOriginal, strName).nValue + nDelta,
                      GetSymbol(vImage, strName).nValue)
                << strName;
        }
        for (const std::string& strName : vstrStaying)
        {
            EXPECT_EQ(GetSymbol(vOriginal, strName).nValue, GetSymbol(vImage, strName).nValue)
                << strName;
        }

        std::string strMetadata;
        ASSERT_TRUE(ExtractMetadataFromElf(vImage, "scale", strMetadata));
        EXPECT_EQ(strNew, strMetadata);
        ASSERT_TRUE(ExtractMetadataFromElf(vImage, "sum", strMetadata));
        EXPECT_EQ(XAN_Test::MakeKernelMetadata("sum", 1028), strMetadata);
        std::vector<char> vHeader;
        ASSERT_TRUE(GetDataForSymbol("__OpenCL_sum_header", vImage, &vHeader));
        EXPECT_EQ(std::string(32, 'C'), AsText(vHeader));
    }
}

TEST(ElfUtilsTest, XanILTextOfOneKernelIsReplaced)
{
    std::vector<char> vImage = MakeKernelBinary();
    const std::string strIL = "func 1026\n;scale\nret\nendfunc\n";
    ASSERT_TRUE(InsertTextXanILIntoElf(vImage, "scale", strIL));
    std::vector<char> vData;
    ASSERT_TRUE(GetDataForSymbol("__OpenCL_scale_xanil", vImage, &vData));
    EXPECT_EQ(strIL, AsText(vData));
    ASSERT_TRUE(GetDataForSymbol("__OpenCL_sum_xanil", vImage, &vData));
    EXPECT_EQ("func 1028\n;sum\nmov r0, r1\nret\nendfunc\n", AsText(vData));
}

// The marker becomes the call of the chosen kernel and comes back; each way needs what the
// other left.
TEST(ElfUtilsTest, EntryMarkerBecomesTheKernelsCallAndBack)
{
    const std::vector<char> vOriginal = MakeKernelBinary();
    std::vector<char> vImage = vOriginal;
    ASSERT_TRUE(PatchKernelEntry("scale", vImage));
    EXPECT_EQ(Replace(g_strDebugIL, ";$$$$$$$$$$", "call 1026"), SectionText(vImage, ".debugil"));
    EXPECT_EQ(AsText(vOriginal), ReadFile("orig.;$$$$$$$$$$.elf"));
    EXPECT_EQ(AsText(vImage), ReadFile("entry.call 1026.elf"));

    const std::vector<char> vPatched = vImage;
    EXPECT_FALSE(PatchKernelEntry("scale", vImage));
    EXPECT_EQ(vPatched, vImage);
    EXPECT_FALSE(UnpatchKernelEntry("vadd", vImage));
    EXPECT_EQ(vPatched, vImage);

    ASSERT_TRUE(UnpatchKernelEntry("scale", vImage));
    EXPECT_EQ(AsText(vPatched), ReadFile("orig.elf"));
    EXPECT_EQ(g_strDebugIL, SectionText(vImage, ".debugil"));
    EXPECT_FALSE(UnpatchKernelEntry("scale", vImage));
}

TEST(ElfUtilsTest, EntryPatchNeedsKernelMetadataAndDebugIL)
{
    std::vector<char> vImage = MakeKernelBinary();
    const std::vector<char> vOriginal = vImage;
    EXPECT_FALSE(PatchKernelEntry("nosuchkernel", vImage));
    EXPECT_FALSE(PatchKernelEntry("", vImage));
    EXPECT_EQ(vOriginal, vImage);

    ImageOptions options;
    options.strScaleMetadata = ";ARGSTART:__OpenCL_scale_kernel\n;version:3:1:111\n\n";
    vImage = MakeKernelBinary(options);
    EXPECT_FALSE(PatchKernelEntry("scale", vImage));
    EXPECT_TRUE(PatchKernelEntry("sum", vImage));

    ASSERT_TRUE(RemoveElfSection(vImage, ".debugil"));
    EXPECT_FALSE(PatchKernelEntry("vadd", vImage));
}

TEST(ElfUtilsTest, FindAndReplaceChangesOnlyTheFirstOccurrence)
{
    ImageOptions options;
    options.strDebugIL = "il_cs_2_0\n;$$$$$$$$$$\n;$$$$$$$$$$\nend\n";
    std::vector<char> vImage = MakeKernelBinary(options);
    ASSERT_TRUE(FindAndReplaceInDebugIL(vImage, ";$$$$$$$$$$", "call 1024"));
    EXPECT_EQ("il_cs_2_0\ncall 1024\n;$$$$$$$$$$\nend\n", SectionText(vImage, ".debugil"));
    EXPECT_FALSE(FindAndReplaceInDebugIL(vImage, "call 1026", ";$$$$$$$$$$"));
}

TEST(ElfUtilsTest, RemovingAnUnknownSectionStillRewritesTheFile)
{
    ElfImageBuilder builder(true);
    builder.AddSection(".rodata", SHT_PROGBITS, SHF_ALLOC, 16, "metadata");
    builder.AddSection(".debugil", SHT_PROGBITS, 0, 1, "il_cs_2_0\nend\n");
    const std::vector<char> vOriginal = builder.Build(true);
    std::vector<char> vImage = vOriginal;
    ASSERT_TRUE(RemoveElfSection(vImage, ".nosuchsection"));
    EXPECT_NE(vOriginal, vImage);
    EXPECT_EQ(SectionNames(vOriginal), SectionNames(vImage));
    EXPECT_EQ("il_cs_2_0\nend\n", SectionText(vImage, ".debugil"));
}

TEST(ElfUtilsTest, RemovesSectionsAndSymbolsByName)
{
    std::vector<char> vImage = MakeKernelBinary();
    ASSERT_TRUE(RemoveElfSection(vImage, ".xanil"));
    EXPECT_FALSE(HasSection(vImage, ".xanil"));
    EXPECT_FALSE(FindSymbol(vImage, "__OpenCL_vadd_xanil").bFound);
    EXPECT_TRUE(FindSymbol(vImage, "__OpenCL_vadd_metadata").bFound);

    // The tables that every image needs stay.
    ASSERT_TRUE(RemoveElfSection(vImage, ".symtab"));
    EXPECT_TRUE(FindSymbol(vImage, "__OpenCL_vadd_metadata").bFound);

    ASSERT_TRUE(RemoveElfSymbol(vImage, "__OpenCL_vadd_metadata"));
    EXPECT_FALSE(FindSymbol(vImage, "__OpenCL_vadd_metadata").bFound);
    const std::vector<char> vBefore = vImage;
    ASSERT_TRUE(RemoveElfSymbol(vImage, "__OpenCL_vadd_metadata"));
    EXPECT_EQ(SectionNames(vBefore), SectionNames(vImage));
}

TEST(ElfUtilsTest, SingleKernelImageHoldsOnlyThatKernelFromOffsetZero)
{
    const std::vector<char> vOriginal = MakeKernelBinary();
    std::vector<char> vSingle;
    ASSERT_TRUE(ExtractKernelFromBinary("scale", vOriginal, vSingle));
    EXPECT_EQ(AsText(vOriginal), ReadFile("orig.elf"));
    EXPECT_EQ(AsText(vSingle), ReadFile("single.elf"));

    const std::string strMetadata = XAN_Test::MakeKernelMetadata("scale", 1026);
    const SymbolView metadata = GetSymbol(vSingle, "__OpenCL_scale_metadata");
    const SymbolView header = GetSymbol(vSingle, "__OpenCL_scale_header");
    const SymbolView xanil = GetSymbol(vSingle, "__OpenCL_scale_xanil");
    EXPECT_EQ(".rodata", metadata.strSection);
    EXPECT_EQ(0u, metadata.nValue);
    EXPECT_EQ(strMetadata.size(), metadata.nSize);
    EXPECT_EQ(".rodata", header.strSection);
    EXPECT_EQ(strMetadata.size(), header.nValue);
    EXPECT_EQ(32u, header.nSize);
    EXPECT_EQ(".xanil", xanil.strSection);
    EXPECT_EQ(0u, xanil.nValue);
    EXPECT_EQ(strMetadata + std::string(32, 'B'), SectionText(vSingle, ".rodata"));
    EXPECT_EQ("func 1026\n;scale\nmov r0, r1\nret\nendfunc\n", SectionText(vSingle, ".xanil"));

    for (const char* pGone : {"__OpenCL_vadd_metadata", "__OpenCL_sum_header", "__OpenCL_sum_xanil",
                              "__OpenCL_sum__fmetadata"})
    {
        EXPECT_FALSE(FindSymbol(vSingle, pGone).bFound) << pGone;
    }
    EXPECT_FALSE(HasSection(vSingle, ".text"));
    EXPECT_FALSE(HasSection(vSingle, ".llvmir"));
    EXPECT_EQ(g_strDebugIL, SectionText(vSingle, ".debugil"));

    // A second extraction from a single-kernel image, which has neither section to remove.
    std::vector<char> vAgain;
    ASSERT_TRUE(ExtractKernelFromBinary("scale", vSingle, vAgain));
    EXPECT_EQ(SectionText(vSingle, ".rodata"), SectionText(vAgain, ".rodata"));
}

TEST(ElfUtilsTest, SingleKernelImageNeedsAllThreeSymbols)
{
    ImageOptions options;
    options.bWithHeaders = false;
    std::vector<char> vSingle = {'x'};
    EXPECT_FALSE(ExtractKernelFromBinary("scale", MakeKernelBinary(options), vSingle));
    EXPECT_FALSE(ExtractKernelFromBinary("nosuchkernel", MakeKernelBinary(), vSingle));
    EXPECT_EQ(std::vector<char>{'x'}, vSingle);
}

// Replacing a whole section is for a single-kernel image: in one of several kernels the others'
// symbols would point past the new data.
TEST(ElfUtilsTest, WholeSectionReplacementPointsTheKernelsSymbolAtIt)
{
    std::vector<char> vImage = MakeKernelBinary();
    const std::vector<char> vOriginal = vImage;
    const std::string strIL = "func 1026\n;scale\nret\nendfunc\n";
    EXPECT_FALSE(SetDataInSection(KSK_XanIL, vImage, strIL.data(), strIL.size(), ""));
    EXPECT_EQ(vOriginal, vImage);

    ASSERT_TRUE(ExtractKernelFromBinary("scale", vOriginal, vImage));
    ASSERT_TRUE(SetDataInSection(KSK_XanIL, vImage, strIL.data(), strIL.size(), ""));
    EXPECT_EQ(strIL, SectionText(vImage, ".xanil"));
    const SymbolView xanil = GetSymbol(vImage, "__OpenCL_scale_xanil");
    EXPECT_EQ(0u, xanil.nValue);
    EXPECT_EQ(strIL.size(), xanil.nSize);

    ASSERT_TRUE(InsertTextDebugILIntoElf(vImage, "il_cs_2_0\nend\n"));
    EXPECT_EQ("il_cs_2_0\nend\n", SectionText(vImage, ".debugil"));

    const std::vector<char> vBefore = vImage;
    EXPECT_FALSE(SetDataInSection(static_cast<KernelSectionKind>(4), vImage, "x", 1, ""));
    EXPECT_FALSE(SetDataInSection(KSK_DebugIL, vImage, nullptr, 1, ""));
    EXPECT_EQ(vBefore, vImage);

    ImageOptions options;
    options.bWithDebugILSymbol = true;
    vImage = MakeKernelBinary(options);
    EXPECT_FALSE(InsertTextDebugILIntoElf(vImage, "il_cs_2_0\nend\n"));
    EXPECT_TRUE(InsertTextDebugILIntoElf(vImage, g_strDebugIL + ";tail\n"));
}

TEST(ElfUtilsTest, InsertingTokensNeedsTheBinarySection)
{
    std::vector<char> vImage = MakeKernelBinary();
    const std::vector<char> vOriginal = vImage;
    const unsigned int tokens[] = {0u, 0u};
    EXPECT_FALSE(InsertBinaryILIntoElf(vImage, tokens, sizeof(tokens), ""));
    EXPECT_EQ(vOriginal, vImage);
}

// The runtime's converter gets "dcl_wavesize" commented out, the compiler comments joined onto
// the function lines.
TEST(ElfUtilsTest, PreparationSuitsTheConverterInUse)
{
    std::string strText = "il_cs_2_0\ndcl_wavesize 64\r\nmov r0, r1\n  dcl_wavesize 32";
    ASSERT_TRUE(PrepareILText(strText, true));
    EXPECT_EQ("il_cs_2_0\n; DCL_WAVESIZE removed\n\nmov r0, r1\n  ; DCL_WAVESIZE removed\n",
              strText);
    strText = "func 1024\n;vadd\n   mov r0, r1\nret\n";
    ASSERT_TRUE(PrepareILText(strText, false));
    EXPECT_EQ("func 1024 ;vadd\nmov r0, r1\nret", strText);
}

// Images that aren't ELF files are refused by every operation, and the bytes handed in stay as
// they were.
TEST(ElfUtilsTest, MalformedImagesAreRefusedUnchanged)
{
    const std::vector<char> vGood = MakeKernelBinary();
    std::vector<char> vBadMagic = vGood;
    vBadMagic[1] = 'X';
    const std::vector<std::vector<char>> vvImages = {
        {},
        {'n', 'o', 't', ' ', 'E', 'L', 'F'},
        std::vector<char>(vGood.begin(), vGood.begin() + static_cast<std::ptrdiff_t>(60)),
        std::vector<char>(vGood.begin(), vGood.end() - 8),
        vBadMagic};
    const unsigned int tokens[] = {1u};

    for (size_t i = 0; i < vvImages.size(); ++i)
    {
        SCOPED_TRACE(i);
        std::vector<char> vImage = vvImages[i];
        std::string strText = "kept";
        std::vector<std::string> vstrNames;
        std::vector<unsigned int> vTokens;
        std::vector<char> vOut = {'k'};

        EXPECT_FALSE(PatchKernelEntry("scale", vImage));
        EXPECT_FALSE(UnpatchKernelEntry("scale", vImage));
        EXPECT_FALSE(ExtractMetadataFromElf(vImage, "scale", strText));
        EXPECT_FALSE(InsertMetadataIntoElf(vImage, "scale", "x"));
        EXPECT_FALSE(ExtractKernelFromBinary("scale", vImage, vOut));
        EXPECT_FALSE(InsertBinaryILIntoElf(vImage, tokens, sizeof(tokens), ""));
        EXPECT_FALSE(ExtractBinaryILFromElf(vImage, vTokens));
        EXPECT_FALSE(ListAvailableMetadata(vImage, vstrNames));
        EXPECT_FALSE(RemoveElfSection(vImage, ".llvmir"));
        EXPECT_FALSE(RemoveElfSymbol(vImage, "__OpenCL_vadd_xanil"));
        EXPECT_FALSE(InsertTextDebugILIntoElf(vImage, "x"));
        EXPECT_FALSE(InsertTextXanILIntoElf(vImage, "vadd", "x"));
        EXPECT_FALSE(AddILBinarySection(vImage, "debugil", "debugilbin", false, ""));
        EXPECT_EQ(vvImages[i], vImage);
        EXPECT_TRUE(vstrNames.empty());
        EXPECT_EQ("kept", strText);
        EXPECT_EQ(std::vector<char>{'k'}, vOut);
    }
}

TEST(ElfUtilsTest, ImagesWithoutSymbolTableHaveNoKernels)
{
    ElfImageBuilder builder(false);
    builder.AddSection(".debugil", SHT_PROGBITS, 0, 1, g_strDebugIL);
    std::vector<char> vImage = builder.Build();
    std::vector<std::string> vstrNames;
    EXPECT_FALSE(ListAvailableMetadata(vImage, vstrNames));
    EXPECT_FALSE(InsertTextDebugILIntoElf(vImage, "il_cs_2_0\nend\n"));
    EXPECT_FALSE(PatchKernelEntry("vadd", vImage));
    std::vector<char> vOut;
    EXPECT_FALSE(ExtractKernelFromBinary("vadd", vImage, vOut));
}

// Converting needs the converter libraries of the platform; each case runs with the compiler
// library or with the runtime's converter forced on.
class KernelImagePreparationTest : public ::testing::TestWithParam<std::tuple<bool, bool>>
{
protected:
    void SetUp() override { SetQuvILConverter(std::get<1>(GetParam())); }
    void TearDown() override { SetQuvILConverter(false); }
    bool IsElf64() const { return std::get<0>(GetParam()); }
};

// The whole life of an image: prepared once for debugging, then, for each run on the device,
// the patched tokens go back in as text and the marker is restored, which is what the platform
// builds with "-use-debugil -just-kernel=scale".
TEST_P(KernelImagePreparationTest, ImageGoesToTokensAndBackToWhatThePlatformBuilds)
{
    ImageOptions options;
    options.bIsElf64 = IsElf64();
    std::vector<char> vImage = MakeKernelBinary(options);

    ASSERT_TRUE(PatchKernelEntry("scale", vImage));
    for (const char* pSection : {".xanil", ".llvmir", ".text"})
    {
        ASSERT_TRUE(RemoveElfSection(vImage, pSection)) << pSection;
    }
    ASSERT_TRUE(AddILBinarySection(vImage, "debugil", "debugilbin", false, "Larkspur"));
    EXPECT_EQ(AsText(vImage), ReadFile("withbinary.elf"));

    const std::string strPatchedIL = Replace(g_strDebugIL, ";$$$$$$$$$$", "call 1026");
    EXPECT_EQ(strPatchedIL, SectionText(vImage, ".debugil"));
    EXPECT_EQ((std::vector<std::string>{"", ".rodata", ".debugil", ".xan.build", ".strtab",
                                        ".symtab", ".shstrtab", ".debugilbin"}),
              SectionNames(vImage));
    {
        CElf elf(vImage);
        const CElfSection* pText = elf.GetSection(".debugil");
        const CElfSection* pBinary = elf.GetSection(".debugilbin");
        ASSERT_NE(nullptr, pBinary);
        EXPECT_EQ(pText->GetType(), pBinary->GetType());
        EXPECT_EQ(pText->GetFlags(), pBinary->GetFlags());
        EXPECT_EQ(pText->GetAlign(), pBinary->GetAlign());
    }

    std::vector<unsigned int> vTokens;
    ASSERT_TRUE(ExtractBinaryILFromElf(vImage, vTokens));
    std::vector<char> vExpected;
    ASSERT_TRUE(ILTextToBinary(strPatchedIL, vExpected, ""));
    ASSERT_EQ(vExpected.size(), vTokens.size() * sizeof(unsigned int));
    EXPECT_EQ(0, std::memcmp(vExpected.data(), vTokens.data(), vExpected.size()));
    std::string strMetadata;
    ASSERT_TRUE(ExtractMetadataFromElf(vImage, "scale", strMetadata));
    EXPECT_EQ(XAN_Test::MakeKernelMetadata("scale", 1026), strMetadata);

    // A run on the device: a copy receives the tokens; their text replaces the debug IL.
    std::vector<char> vRun = vImage;
    ASSERT_TRUE(InsertBinaryILIntoElf(vRun, vTokens.data(), vTokens.size() * 4, "Larkspur"));
    EXPECT_FALSE(HasSection(vRun, ".debugilbin"));
    EXPECT_EQ(Prepared(strPatchedIL), SectionText(vRun, ".debugil"));
    const std::vector<char> vInserted = vRun;
    EXPECT_FALSE(InsertBinaryILIntoElf(vRun, vTokens.data(), vTokens.size() * 4, "Larkspur"));
    EXPECT_EQ(vInserted, vRun);

    ASSERT_TRUE(UnpatchKernelEntry("scale", vRun));
    EXPECT_EQ(Prepared(g_strDebugIL), SectionText(vRun, ".debugil"));
    EXPECT_EQ((std::vector<std::string>{"", ".rodata", ".debugil", ".xan.build", ".strtab",
                                        ".symtab", ".shstrtab"}),
              SectionNames(vRun));
    std::vector<std::string> vstrKernels;
    ASSERT_TRUE(ListAvailableMetadata(vRun, vstrKernels));
    EXPECT_EQ(g_vstrKernels, vstrKernels);
    uint32_t nNumber = 0;
    ASSERT_TRUE(GetKernelFunctionNumber("scale", vRun, &nNumber));
    EXPECT_EQ(1026u, nNumber);
}

TEST_P(KernelImagePreparationTest, BinarySymbolFollowsTheTextSymbolWhenAsked)
{
    ImageOptions options;
    options.bIsElf64 = IsElf64();
    std::vector<char> vImage = MakeKernelBinary(options);
    ASSERT_TRUE(AddILBinarySection(vImage, "debugil", "debugilbin", false, ""));
    const std::vector<char> vWithoutTextSymbol = vImage;
    EXPECT_FALSE(AddILBinarySection(vImage, "debugil", "debugilbin", true, ""));
    EXPECT_EQ(vWithoutTextSymbol, vImage);

    options.bWithDebugILSymbol = true;
    vImage = MakeKernelBinary(options);
    ASSERT_TRUE(AddILBinarySection(vImage, "debugil", "debugilbin", true, ""));
    const SymbolView binary = GetSymbol(vImage, "__OpenCL_vadd_debugilbin");
    EXPECT_EQ(".debugilbin", binary.strSection);
    EXPECT_EQ(0u, binary.nValue);
    EXPECT_EQ(SectionText(vImage, ".debugilbin").size(), binary.nSize);
    EXPECT_EQ(ELF64_ST_INFO(STB_GLOBAL, STT_FUNC), binary.nInfo);
    EXPECT_FALSE(FindSymbol(vImage, "__OpenCL_scale_debugilbin").bFound);
}

TEST_P(KernelImagePreparationTest, TextThatDoesNotConvertLeavesTheImageAlone)
{
    ImageOptions options;
    options.bIsElf64 = IsElf64();
    options.strDebugIL = "il_cs_2_0\nnosuchinstruction r0\nend\n";
    std::vector<char> vImage = MakeKernelBinary(options);
    const std::vector<char> vOriginal = vImage;
    std::remove("withbinary.elf");
    EXPECT_FALSE(AddILBinarySection(vImage, "debugil", "debugilbin", false, ""));
    EXPECT_EQ(vOriginal, vImage);
    EXPECT_EQ("", ReadFile("withbinary.elf"));
    EXPECT_FALSE(AddILBinarySection(vImage, "nosuchstem", "debugilbin", false, ""));
}

INSTANTIATE_TEST_SUITE_P(ClassesAndConverters, KernelImagePreparationTest,
                         ::testing::Combine(::testing::Bool(), ::testing::Bool()),
                         [](const ::testing::TestParamInfo<std::tuple<bool, bool>>& info)
                         {
                             return std::string(std::get<0>(info.param) ? "Elf64" : "Elf32") +
                                    (std::get<1>(info.param) ? "RuntimeConverter" : "Compiler");
                         });
