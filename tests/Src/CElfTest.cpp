#include "CElf.h"
#include "CElfSymbolTable.h"

#include "ElfImageBuilder.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>

using namespace XAN_ElfUtils;
using XAN_Test::ElfImageBuilder;
using XAN_Test::MakeKernelImage;

namespace
{
const std::vector<std::string> g_vKernels = {"vadd", "scale", "reduce"};

template <typename T> T ReadAt(const std::vector<char>& vImage, size_t nOffset)
{
    T value;
    std::memcpy(&value, vImage.data() + nOffset, sizeof(value));
    return value;
}

std::string SymbolBytes(CElf& elf, const std::string& strSymbol)
{
    CElfSymbolTable::iterator it = elf.GetSymbolTable()->find(strSymbol);
    if (it == elf.GetSymbolTable()->end() || it->section == nullptr)
    {
        return "<missing " + strSymbol + ">";
    }
    const std::vector<char>& vData = it->section->GetData();
    return std::string(vData.data() + it->st_value, it->st_size);
}

// Replaces a symbol's bytes inside its section and moves every later symbol of that section,
// as a kernel binary edit does when a metadata text grows.
void ReplaceSymbolBytes(CElf& elf, const std::string& strSymbol, const std::string& strBytes)
{
    CElfSymbolTable* pSymbols = elf.GetSymbolTable();
    CElfSymbolTable::iterator it = pSymbols->find(strSymbol);
    ASSERT_NE(it, pSymbols->end());
    CElfSection* pSection = it->section;
    const uint64_t nOldEnd = it->st_value + it->st_size;
    const int64_t nDelta =
        static_cast<int64_t>(strBytes.size()) - static_cast<int64_t>(it->st_size);
    std::string strData(pSection->GetData().begin(), pSection->GetData().end());
    strData.replace(it->st_value, it->st_size, strBytes);
    pSection->SetData(strData);
    it->st_size = strBytes.size();
    for (CElfSymbolTable::TableEntry& entry : *pSymbols)
    {
        if (entry.section == pSection && entry.st_value >= nOldEnd)
        {
            entry.st_value += nDelta;
        }
    }
}

// readelf's complaints about the file, or "" when it reads it cleanly.
std::string ReadelfComplaints(const std::string& strFile)
{
    std::string strCommand = "readelf -a -W " + strFile + " 2>&1";
    FILE* pPipe = popen(strCommand.c_str(), "r");
    if (pPipe == nullptr)
    {
        return "readelf did not start";
    }
    std::string strOutput;
    char buffer[4096];
    size_t nRead = 0;
    while ((nRead = fread(buffer, 1, sizeof(buffer), pPipe)) > 0)
    {
        strOutput.append(buffer, nRead);
    }
    const int nStatus = pclose(pPipe);
    std::string strComplaints;
    std::istringstream lines(strOutput);
    std::string strLine;
    while (std::getline(lines, strLine))
    {
        if (strLine.find("Warning") != std::string::npos ||
            strLine.find("Error") != std::string::npos || strLine.find("readelf:") == 0)
        {
            strComplaints += strLine + "\n";
        }
    }
    return nStatus == 0 ? strComplaints : strComplaints + "exit status " + std::to_string(nStatus);
}

bool HaveReadelf()
{
    return std::system("command -v readelf > /dev/null 2>&1") == 0;
}

class CElfClassTest : public ::testing::TestWithParam<bool>
{
};

INSTANTIATE_TEST_SUITE_P(BothClasses, CElfClassTest, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& info)
                         { return info.param ? "Elf64" : "Elf32"; });
} // namespace

TEST_P(CElfClassTest, KernelBinaryEditedAndWrittenLoadsWithEverythingInPlace)
{
    const bool bIsElf64 = GetParam();
    CElf elf(MakeKernelImage(bIsElf64, g_vKernels));
    ASSERT_TRUE(elf.IsInitialized());
    EXPECT_EQ(elf.GetClass(), bIsElf64 ? ELFCLASS64 : ELFCLASS32);
    ASSERT_NE(elf.GetSymbolTable(), nullptr);
    EXPECT_EQ(elf.GetSymbolTable()->size(), 11u);
    const std::string strScaleMetadata = SymbolBytes(elf, "__OpenCL_scale_metadata");
    EXPECT_EQ(strScaleMetadata, XAN_Test::MakeKernelMetadata("scale", 1026));

    // The edits of a debug image: IL sections go, the binary IL joins, metadata grows.
    ASSERT_TRUE(elf.RemoveSection(".xanil"));
    ASSERT_TRUE(elf.RemoveSection(".llvmir"));
    const CElfSection* pDebugIL = elf.GetSection(".debugil");
    ASSERT_NE(pDebugIL, nullptr);
    CElfSection* pBinary =
        elf.AddSection(".debugilbin", pDebugIL->GetType(), pDebugIL->GetFlags(),
                       pDebugIL->GetInfo(), pDebugIL->GetAlign(), pDebugIL->GetEntrySize());
    ASSERT_NE(pBinary, nullptr);
    const std::string strTokens("\x01\x00\x00\x00\x02\x00\x00\x00", 8);
    pBinary->SetData(strTokens);
    const std::string strLonger =
        XAN_Test::MakeKernelMetadata("vadd", 1024) + ";reflection:0:float*\n";
    ReplaceSymbolBytes(elf, "__OpenCL_vadd_metadata", strLonger);

    std::vector<char> vWritten;
    ASSERT_TRUE(elf.Store(vWritten));

    CElf reloaded(vWritten);
    ASSERT_TRUE(reloaded.IsInitialized());
    EXPECT_EQ(reloaded.GetSection(".xanil"), nullptr);
    EXPECT_EQ(reloaded.GetSection(".llvmir"), nullptr);
    ASSERT_NE(reloaded.GetSection(".debugilbin"), nullptr);
    EXPECT_EQ(reloaded.GetSection(reloaded.GetNumSections() - 1),
              reloaded.GetSection(".debugilbin"));
    EXPECT_EQ(std::string(reloaded.GetSection(".debugilbin")->GetData().data(), 8), strTokens);
    // The ".xanil" symbols left with their section; the rest moved or stayed as edited.
    EXPECT_EQ(reloaded.GetSymbolTable()->size(), 8u);
    EXPECT_EQ(reloaded.GetSymbolTable()->find("__OpenCL_scale_xanil"),
              reloaded.GetSymbolTable()->end());
    EXPECT_EQ(SymbolBytes(reloaded, "__OpenCL_vadd_metadata"), strLonger);
    EXPECT_EQ(SymbolBytes(reloaded, "__OpenCL_scale_metadata"), strScaleMetadata);
    EXPECT_EQ(SymbolBytes(reloaded, "__OpenCL_reduce_metadata"),
              XAN_Test::MakeKernelMetadata("reduce", 1028));
    EXPECT_EQ(SymbolBytes(reloaded, "__OpenCL_reduce_header").substr(12, 2),
              std::string("\x04\x04", 2));
    EXPECT_EQ(reloaded.GetSymbolTable()->GetInfo(), 2u);
    EXPECT_EQ(reloaded.GetSymbolTable()->GetLinkSection(), reloaded.GetSection(".strtab"));
    EXPECT_EQ(reloaded.GetSymbolTable()->find("__OpenCL_vadd_header")->section,
              reloaded.GetSection(".rodata"));

    // Writing what was read gives the same bytes again.
    std::vector<char> vAgain;
    ASSERT_TRUE(reloaded.Store(vAgain));
    EXPECT_EQ(vAgain, vWritten);

    if (!HaveReadelf())
    {
        GTEST_SKIP() << "readelf is not installed";
    }
    ASSERT_TRUE(reloaded.Store(std::string("edited.elf")));
    EXPECT_EQ(ReadelfComplaints("edited.elf"), "");
}

TEST_P(CElfClassTest, WriteLaysSectionsOutInHeaderOrderWithTheirAlignment)
{
    const bool bIsElf64 = GetParam();
    ElfImageBuilder builder(bIsElf64);
    builder.AddSection(".a", SHT_PROGBITS, 0, 1, "abc");
    builder.AddSection(".empty", SHT_PROGBITS, 0, 64, "");
    builder.AddSection(".b", SHT_PROGBITS, 0, 16, "0123456789");
    builder.AddSection(".c", SHT_PROGBITS, 0, 0, "x");
    const std::vector<char> vInput = builder.Build(true);
    CElf elf(vInput);
    ASSERT_TRUE(elf.IsInitialized());
    // The input had its data backwards, so ".a" lay behind ".b".
    EXPECT_GT(elf.GetSection(".a")->GetOffset(), elf.GetSection(".b")->GetOffset());

    std::vector<char> vOutput;
    ASSERT_TRUE(elf.Store(vOutput));
    const uint64_t nHeader = bIsElf64 ? 64 : 52;
    EXPECT_EQ(elf.GetSection(".a")->GetOffset(), nHeader);
    EXPECT_EQ(elf.GetSection(".empty")->GetOffset(), 0u);
    EXPECT_EQ(elf.GetSection(".b")->GetOffset(), bIsElf64 ? 80u : 64u);
    EXPECT_EQ(elf.GetSection(".c")->GetOffset(), elf.GetSection(".b")->GetOffset() + 10);
    const uint64_t nStringTable = elf.GetSection(".c")->GetOffset() + 1;
    EXPECT_EQ(elf.GetSection(".shstrtab")->GetOffset(), nStringTable);

    const uint64_t nSectionHeaders =
        bIsElf64 ? ReadAt<Elf64_Ehdr>(vOutput, 0).e_shoff : ReadAt<Elf32_Ehdr>(vOutput, 0).e_shoff;
    EXPECT_EQ(nSectionHeaders % 8, 0u);
    EXPECT_GE(nSectionHeaders, nStringTable + elf.GetSection(".shstrtab")->GetSize());
    EXPECT_LT(nSectionHeaders, nStringTable + elf.GetSection(".shstrtab")->GetSize() + 8);
    EXPECT_EQ(vOutput.size(), nSectionHeaders + 6 * (bIsElf64 ? 64 : 40));
    // The first name is the null section's empty one, and the gaps are zero.
    EXPECT_EQ(elf.GetSection(".shstrtab")->GetData()[0], '\0');
    EXPECT_EQ(vOutput[nHeader + 3], '\0');

    CElf reloaded(vOutput);
    ASSERT_TRUE(reloaded.IsInitialized());
    EXPECT_EQ(reloaded.GetNumSections(), 6u);
    EXPECT_EQ(reloaded.GetSection(".b")->GetData(), elf.GetSection(".b")->GetData());
    EXPECT_EQ(reloaded.GetSymbolTable(), nullptr);
}

TEST_P(CElfClassTest, RemovingASectionRenumbersLinksAndSymbols)
{
    const bool bIsElf64 = GetParam();
    ElfImageBuilder builder(bIsElf64);
    builder.AddSection(".first", SHT_PROGBITS, 0, 1, "first");
    const uint16_t nSecond = builder.AddSection(".second", SHT_PROGBITS, 0, 1, "second");
    builder.AddSymbol("s", STB_GLOBAL, STT_OBJECT, nSecond, 1, 3);
    CElf elf(builder.Build());
    ASSERT_TRUE(elf.IsInitialized());
    EXPECT_EQ(elf.GetSymbolTable()->GetLink(), 3u);

    ASSERT_TRUE(elf.RemoveSection(".first"));
    EXPECT_FALSE(elf.RemoveSection(".first"));
    std::vector<char> vOutput;
    ASSERT_TRUE(elf.Store(vOutput));
    EXPECT_EQ(elf.GetSymbolTable()->GetLink(), 2u);
    EXPECT_EQ(elf.GetSymbolTable()->find("s")->st_shndx, 1u);

    CElf reloaded(vOutput);
    ASSERT_TRUE(reloaded.IsInitialized());
    EXPECT_EQ(SymbolBytes(reloaded, "s"), "eco");
    EXPECT_EQ(reloaded.GetSection(1)->GetName(), ".second");
}

TEST(CElfTest, RemovingADuplicatedNameRemovesOnlyTheFirst)
{
    ElfImageBuilder builder(true);
    builder.AddSection(".twin", SHT_PROGBITS, 0, 1, "one");
    builder.AddSection(".twin", SHT_PROGBITS, 0, 1, "two");
    CElf elf(builder.Build());
    ASSERT_TRUE(elf.IsInitialized());
    ASSERT_TRUE(elf.RemoveSection(".twin"));
    ASSERT_NE(elf.GetSection(".twin"), nullptr);
    EXPECT_EQ(std::string(elf.GetSection(".twin")->GetData().data(), 3), "two");
    EXPECT_EQ(elf.find(".twin"), elf.begin() + 1);
    EXPECT_EQ(elf.find(".none"), elf.end());
}

TEST(CElfTest, TheRebuiltTablesCanNeitherBeRemovedNorAdded)
{
    CElf elf(MakeKernelImage(true, g_vKernels));
    ASSERT_TRUE(elf.IsInitialized());
    EXPECT_FALSE(elf.RemoveSection(".symtab"));
    EXPECT_FALSE(elf.RemoveSection(".shstrtab"));
    for (uint32_t nType : {SHT_SYMTAB, SHT_STRTAB, SHT_DYNSYM, SHT_RELA, SHT_HASH, SHT_DYNAMIC,
                           SHT_SHLIB, SHT_GROUP, SHT_SYMTAB_SHNDX})
    {
        EXPECT_EQ(elf.AddSection(".new", nType, 0, 0, 1, 0), nullptr) << nType;
    }
    const size_t nSections = elf.GetNumSections();
    CElfSection* pNote = elf.AddSection(".note", SHT_NOTE, SHF_ALLOC, 7, 4, 0);
    ASSERT_NE(pNote, nullptr);
    EXPECT_EQ(elf.GetSection(nSections), pNote);
    EXPECT_EQ(elf.GetSection(nSections + 1), nullptr);
    EXPECT_EQ(pNote->GetInfo(), 7u);
    EXPECT_EQ(pNote->GetSize(), 0u);
}

TEST(CElfTest, AThirtyTwoBitFileRefusesValuesItCannotHold)
{
    ElfImageBuilder builder(false);
    const uint16_t nData = builder.AddSection(".data", SHT_PROGBITS, 0, 1, "data");
    builder.AddSymbol("big", STB_GLOBAL, STT_OBJECT, nData, 0, 4);
    CElf elf(builder.Build());
    ASSERT_TRUE(elf.IsInitialized());
    CElfSymbolTable::iterator it = elf.GetSymbolTable()->find("big");
    it->st_value = 0x100000000ull;
    std::vector<char> vOutput;
    EXPECT_FALSE(elf.Store(vOutput));
    it->st_value = 0;
    EXPECT_TRUE(elf.Store(vOutput));

    elf.GetSection(".data")->SetAddr(0x100000000ull);
    EXPECT_FALSE(elf.Store(vOutput));
    elf.GetSection(".data")->SetAddr(0);
    elf.SetEntry(0x100000000ull);
    EXPECT_FALSE(elf.Store(vOutput));
}

TEST(CElfTest, SectionCountStopsBelowTheReservedIndices)
{
    CElf elf(MakeKernelImage(true, {"k"}));
    ASSERT_TRUE(elf.IsInitialized());
    while (elf.GetNumSections() < SHN_LORESERVE - 1)
    {
        ASSERT_NE(elf.AddSection("", SHT_PROGBITS, 0, 0, 1, 0), nullptr);
    }
    std::vector<char> vOutput;
    ASSERT_TRUE(elf.Store(vOutput));
    CElf reloaded(vOutput);
    ASSERT_TRUE(reloaded.IsInitialized());
    EXPECT_EQ(reloaded.GetNumSections(), SHN_LORESERVE - 1u);

    ASSERT_NE(elf.AddSection("", SHT_PROGBITS, 0, 0, 1, 0), nullptr);
    EXPECT_FALSE(elf.Store(vOutput));
}

TEST(CElfTest, CopiesWriteTheSameFile)
{
    CElf original(MakeKernelImage(true, g_vKernels));
    ASSERT_TRUE(original.IsInitialized());
    std::vector<char> vOriginal;
    ASSERT_TRUE(original.Store(vOriginal));

    CElf copy(original);
    ASSERT_TRUE(copy.IsInitialized());
    // The copy has sections of its own.
    EXPECT_NE(copy.GetSection(".rodata"), original.GetSection(".rodata"));
    EXPECT_EQ(copy.GetSymbolTable()->find("__OpenCL_vadd_header")->section,
              copy.GetSection(".rodata"));
    std::vector<char> vCopy;
    ASSERT_TRUE(copy.Store(vCopy));
    EXPECT_EQ(vCopy, vOriginal);

    CElf assigned(MakeKernelImage(false, {"other"}));
    assigned = original;
    const CElf& self = assigned;
    assigned = self;
    std::vector<char> vAssigned;
    ASSERT_TRUE(assigned.Store(vAssigned));
    EXPECT_EQ(vAssigned, vOriginal);

    CElf empty(std::vector<char>{});
    EXPECT_FALSE(empty.IsInitialized());
    assigned = empty;
    EXPECT_FALSE(assigned.IsInitialized());
    EXPECT_EQ(assigned.GetNumSections(), 0u);
    EXPECT_FALSE(CElf(empty).IsInitialized());
}

TEST(CElfTest, FilesAndStreamsReadAndWriteTheSameImage)
{
    const std::vector<char> vImage = MakeKernelImage(false, g_vKernels);
    {
        std::ofstream file("input.elf", std::ios::binary);
        file.write(vImage.data(), static_cast<std::streamsize>(vImage.size()));
    }
    CElf fromFile(std::string("input.elf"));
    ASSERT_TRUE(fromFile.IsInitialized());
    ASSERT_TRUE(fromFile.Store(std::string("output.elf")));

    std::ifstream stream("output.elf", std::ios::binary);
    CElf fromStream(stream);
    ASSERT_TRUE(fromStream.IsInitialized());
    std::ostringstream written;
    ASSERT_TRUE(fromStream.Store(written));
    EXPECT_EQ(written.str(), XAN_Test::ReadFile("output.elf"));

    EXPECT_FALSE(CElf(std::string("missing.elf")).IsInitialized());
    std::ofstream("empty.elf").close();
    CElf empty(std::string("empty.elf"));
    EXPECT_FALSE(empty.IsInitialized());
    EXPECT_FALSE(empty.Store(std::string("never.elf")));
    EXPECT_FALSE(std::ifstream("never.elf").good());
    std::vector<char> vNothing;
    EXPECT_FALSE(empty.Store(vNothing));
}

TEST(CElfTest, HeaderAndSectionSettersKeepTheFileValid)
{
    CElf elf(MakeKernelImage(true, g_vKernels));
    ASSERT_TRUE(elf.IsInitialized());
    CElfSection* pRodata = elf.GetSection(".rodata");
    EXPECT_TRUE(pRodata->SetAlign(0));
    EXPECT_TRUE(pRodata->SetAlign(32));
    EXPECT_FALSE(pRodata->SetAlign(24));
    EXPECT_EQ(pRodata->GetAlign(), 32u);
    EXPECT_FALSE(elf.SetData(ELFDATA2MSB));
    EXPECT_TRUE(elf.SetData(ELFDATA2LSB));
    EXPECT_FALSE(elf.SetClass(ELFCLASS64));
    EXPECT_EQ(elf.GetClass(), ELFCLASS64);

    // Made 32-bit, the file is written and read back in that class.
    ASSERT_TRUE(elf.SetClass(ELFCLASS32));
    std::vector<char> vOutput;
    ASSERT_TRUE(elf.Store(vOutput));
    CElf narrowed(vOutput);
    ASSERT_TRUE(narrowed.IsInitialized());
    EXPECT_EQ(narrowed.GetClass(), ELFCLASS32);
    EXPECT_EQ(narrowed.GetSection(".rodata")->GetOffset() % 32, 0u);
    EXPECT_EQ(SymbolBytes(narrowed, "__OpenCL_reduce_metadata"),
              XAN_Test::MakeKernelMetadata("reduce", 1028));
}

// Each of these images differs from a good one in one respect, and none of them loads.
class CElfMalformedTest : public ::testing::Test
{
protected:
    static std::vector<char> Good(bool bIsElf64 = true)
    {
        ElfImageBuilder builder(bIsElf64);
        const uint16_t nData = builder.AddSection(".data", SHT_PROGBITS, 0, 4, "payload!");
        builder.AddSymbol("sym", STB_GLOBAL, STT_OBJECT, nData, 2, 4);
        return builder.Build();
    }

    template <typename T> static void Patch(std::vector<char>& vImage, size_t nOffset, T value)
    {
        std::memcpy(vImage.data() + nOffset, &value, sizeof(value));
    }

    // Section headers of the good 64-bit image: .data 1, .strtab 2, .symtab 3, .shstrtab 4.
    static size_t SectionHeader(const std::vector<char>& vImage, size_t nIndex)
    {
        return ReadAt<Elf64_Ehdr>(vImage, 0).e_shoff + nIndex * sizeof(Elf64_Shdr);
    }

    static size_t Symbol(const std::vector<char>& vImage, size_t nIndex)
    {
        const Elf64_Shdr symtab = ReadAt<Elf64_Shdr>(vImage, SectionHeader(vImage, 3));
        return symtab.sh_offset + nIndex * sizeof(Elf64_Sym);
    }

    static bool Loads(const std::vector<char>& vImage) { return CElf(vImage).IsInitialized(); }
};

TEST_F(CElfMalformedTest, EveryTruncationOfAGoodImageIsRefused)
{
    for (bool bIsElf64 : {false, true})
    {
        const std::vector<char> vImage = Good(bIsElf64);
        ASSERT_TRUE(Loads(vImage));
        for (size_t nSize = 0; nSize < vImage.size(); ++nSize)
        {
            EXPECT_FALSE(Loads(std::vector<char>(vImage.begin(), vImage.begin() + nSize))) << nSize;
        }
    }
}

TEST_F(CElfMalformedTest, FileHeadersOutsideTheFormatAreRefused)
{
    const std::vector<char> vGood = Good();
    const auto refused = [&vGood](size_t nOffset, auto value)
    {
        std::vector<char> vImage = vGood;
        Patch(vImage, nOffset, value);
        return !Loads(vImage);
    };
    EXPECT_TRUE(refused(0, '\x7E'));
    EXPECT_TRUE(refused(3, 'G'));
    EXPECT_TRUE(refused(EI_CLASS, static_cast<char>(ELFCLASSNONE)));
    EXPECT_TRUE(refused(EI_CLASS, static_cast<char>(3)));
    EXPECT_TRUE(refused(EI_DATA, static_cast<char>(ELFDATA2MSB)));
    EXPECT_TRUE(refused(EI_VERSION, static_cast<char>(2)));
    EXPECT_TRUE(refused(offsetof(Elf64_Ehdr, e_version), uint32_t(2)));
    EXPECT_TRUE(refused(offsetof(Elf64_Ehdr, e_shoff), uint64_t(vGood.size() + 1)));
    EXPECT_TRUE(refused(offsetof(Elf64_Ehdr, e_shoff), uint64_t(0xFFFFFFFFFFFFFFC0ull)));
    EXPECT_TRUE(refused(offsetof(Elf64_Ehdr, e_phoff), uint64_t(vGood.size() + 1)));
    EXPECT_TRUE(refused(offsetof(Elf64_Ehdr, e_shnum), uint16_t(0)));
    EXPECT_TRUE(refused(offsetof(Elf64_Ehdr, e_shnum), uint16_t(6)));
    EXPECT_TRUE(refused(offsetof(Elf64_Ehdr, e_shstrndx), uint16_t(SHN_XINDEX)));
    EXPECT_TRUE(refused(offsetof(Elf64_Ehdr, e_shstrndx), uint16_t(5)));
    // The section-header string table must not be the symbol table.
    EXPECT_TRUE(refused(offsetof(Elf64_Ehdr, e_shstrndx), uint16_t(3)));
    // A 32-bit class byte on a 64-bit layout reads nonsense and is refused too.
    EXPECT_TRUE(refused(EI_CLASS, static_cast<char>(ELFCLASS32)));
    EXPECT_FALSE(refused(offsetof(Elf64_Ehdr, e_phoff), uint64_t(vGood.size())));
}

TEST_F(CElfMalformedTest, SectionsOutsideTheModelAreRefused)
{
    const std::vector<char> vGood = Good();
    const auto refused = [&vGood](size_t nSection, size_t nField, auto value)
    {
        std::vector<char> vImage = vGood;
        Patch(vImage, SectionHeader(vImage, nSection) + nField, value);
        return !Loads(vImage);
    };
    for (uint32_t nType : {SHT_RELA, SHT_HASH, SHT_DYNAMIC, SHT_SHLIB, SHT_GROUP, SHT_SYMTAB_SHNDX})
    {
        EXPECT_TRUE(refused(1, offsetof(Elf64_Shdr, sh_type), nType)) << nType;
    }
    EXPECT_FALSE(refused(1, offsetof(Elf64_Shdr, sh_type), uint32_t(SHT_LOPROC + 5)));
    EXPECT_FALSE(refused(1, offsetof(Elf64_Shdr, sh_type), uint32_t(SHT_DYNSYM)));
    // A second symbol table.
    EXPECT_TRUE(refused(1, offsetof(Elf64_Shdr, sh_type), uint32_t(SHT_SYMTAB)));
    // Names outside the section-header string table or without their end.
    const Elf64_Shdr names = ReadAt<Elf64_Shdr>(vGood, SectionHeader(vGood, 4));
    EXPECT_TRUE(refused(1, offsetof(Elf64_Shdr, sh_name), uint32_t(names.sh_size)));
    EXPECT_TRUE(refused(4, offsetof(Elf64_Shdr, sh_size), uint64_t(names.sh_size - 1)));
    EXPECT_TRUE(refused(4, offsetof(Elf64_Shdr, sh_offset), uint64_t(vGood.size())));
    // The symbol table's link, entry size and references.
    EXPECT_TRUE(refused(3, offsetof(Elf64_Shdr, sh_link), uint32_t(1)));
    EXPECT_TRUE(refused(3, offsetof(Elf64_Shdr, sh_link), uint32_t(9)));
    EXPECT_TRUE(refused(3, offsetof(Elf64_Shdr, sh_entsize), uint64_t(16)));
    // A relocation section whose target doesn't exist.
    std::vector<char> vRelocation = vGood;
    Patch(vRelocation, SectionHeader(vRelocation, 1) + offsetof(Elf64_Shdr, sh_type),
          uint32_t(SHT_REL));
    Patch(vRelocation, SectionHeader(vRelocation, 1) + offsetof(Elf64_Shdr, sh_link), uint32_t(3));
    EXPECT_TRUE(Loads(vRelocation));
    Patch(vRelocation, SectionHeader(vRelocation, 1) + offsetof(Elf64_Shdr, sh_info), uint32_t(5));
    EXPECT_FALSE(Loads(vRelocation));
}

TEST_F(CElfMalformedTest, SymbolsOutsideTheirPlaceAreRefused)
{
    const std::vector<char> vGood = Good();
    const auto refused = [&vGood](size_t nField, auto value)
    {
        std::vector<char> vImage = vGood;
        Patch(vImage, Symbol(vImage, 1) + nField, value);
        return !Loads(vImage);
    };
    EXPECT_TRUE(refused(offsetof(Elf64_Sym, st_name), uint32_t(100)));
    EXPECT_TRUE(refused(offsetof(Elf64_Sym, st_shndx), uint16_t(5)));
    EXPECT_TRUE(refused(offsetof(Elf64_Sym, st_shndx), uint16_t(SHN_ABS)));
    EXPECT_TRUE(refused(offsetof(Elf64_Sym, st_shndx), uint16_t(SHN_XINDEX)));
    EXPECT_TRUE(refused(offsetof(Elf64_Sym, st_value), uint64_t(5)));
    EXPECT_TRUE(refused(offsetof(Elf64_Sym, st_size), uint64_t(7)));
    EXPECT_TRUE(refused(offsetof(Elf64_Sym, st_size), uint64_t(0xFFFFFFFFFFFFFFFFull)));
    EXPECT_FALSE(refused(offsetof(Elf64_Sym, st_size), uint64_t(6)));
    // A symbol of no section has no place to keep.
    EXPECT_FALSE(refused(offsetof(Elf64_Sym, st_shndx), uint16_t(SHN_UNDEF)));

    // The last string without its NUL.
    std::vector<char> vImage = vGood;
    const Elf64_Shdr strings = ReadAt<Elf64_Shdr>(vImage, SectionHeader(vImage, 2));
    vImage[strings.sh_offset + strings.sh_size - 1] = 'x';
    EXPECT_FALSE(Loads(vImage));
}

TEST_F(CElfMalformedTest, SectionDataOutsideTheFileIsDropped)
{
    std::vector<char> vImage = Good();
    // Without a symbol in it, the section loads empty.
    Patch(vImage, Symbol(vImage, 1) + offsetof(Elf64_Sym, st_shndx), uint16_t(SHN_UNDEF));
    Patch(vImage, SectionHeader(vImage, 1) + offsetof(Elf64_Shdr, sh_offset),
          uint64_t(vImage.size() - 4));
    CElf elf(vImage);
    ASSERT_TRUE(elf.IsInitialized());
    EXPECT_EQ(elf.GetSection(".data")->GetSize(), 0u);

    // A symbol inside it is past its section.
    Patch(vImage, Symbol(vImage, 1) + offsetof(Elf64_Sym, st_shndx), uint16_t(1));
    EXPECT_FALSE(Loads(vImage));
}

TEST_F(CElfMalformedTest, ImagesThatCannotBeWrittenAreRefusedAtWrite)
{
    std::vector<char> vImage = Good();
    // Symbol names and section names in one table would lose the section names.
    Patch(vImage, SectionHeader(vImage, 3) + offsetof(Elf64_Shdr, sh_link), uint32_t(4));
    CElf shared(vImage);
    ASSERT_TRUE(shared.IsInitialized());
    std::vector<char> vOutput;
    EXPECT_FALSE(shared.Store(vOutput));

    // Section headers spaced otherwise than by their size.
    for (uint16_t nEntrySize : {40, 65})
    {
        vImage = Good();
        Patch(vImage, offsetof(Elf64_Ehdr, e_shentsize), nEntrySize);
        CElf spaced(vImage);
        ASSERT_TRUE(spaced.IsInitialized());
        EXPECT_FALSE(spaced.Store(vOutput));
    }

    // The program-header offset, carried over, would lie past the end of the smaller file.
    vImage = Good();
    Patch(vImage, offsetof(Elf64_Ehdr, e_phoff), uint64_t(vImage.size()));
    CElf shrunk(vImage);
    ASSERT_TRUE(shrunk.IsInitialized());
    ASSERT_TRUE(shrunk.Store(vOutput));
    ASSERT_TRUE(shrunk.RemoveSection(".data"));
    EXPECT_FALSE(shrunk.Store(vOutput));

    // An alignment that would pad the file by more than the largest one writable.
    CElf aligned(Good());
    ASSERT_TRUE(aligned.IsInitialized());
    ASSERT_TRUE(aligned.GetSection(".data")->SetAlign(0x10000));
    EXPECT_TRUE(aligned.Store(vOutput));
    EXPECT_EQ(aligned.GetSection(".data")->GetOffset(), 0x10000u);
    ASSERT_TRUE(aligned.GetSection(".data")->SetAlign(0x20000));
    EXPECT_FALSE(aligned.Store(vOutput));
}
