#include "CElf.h"
#include "CElfSymbolTable.h"

#include "Common/Src/KernelBinary/ElfImageBuilder.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <iterator>
#include <map>
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

// The file that the object writes, or nothing when it refuses.
std::vector<char> Written(CElf& elf)
{
    std::vector<char> vImage;
    EXPECT_TRUE(elf.Store(vImage)) << elf.GetLastError();
    return vImage;
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
    const int nStatus =
        std::system(("readelf -a -W " + strFile + " > /dev/null 2> readelf.err").c_str());
    return XAN_Test::ReadFile("readelf.err") +
           (nStatus == 0 ? "" : "exit status " + std::to_string(nStatus));
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

    std::vector<char> vWritten = Written(elf);

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
    EXPECT_EQ(Written(reloaded), vWritten);

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

    std::vector<char> vOutput = Written(elf);
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
    std::vector<char> vOutput = Written(elf);
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

TEST(CElfTest, SectionCountStopsBelowTheReservedIndices)
{
    CElf elf(MakeKernelImage(true, {"k"}));
    ASSERT_TRUE(elf.IsInitialized());
    while (elf.GetNumSections() < SHN_LORESERVE - 1)
    {
        ASSERT_NE(elf.AddSection("", SHT_PROGBITS, 0, 0, 1, 0), nullptr);
    }
    std::vector<char> vOutput = Written(elf);
    CElf reloaded(vOutput);
    ASSERT_TRUE(reloaded.IsInitialized());
    EXPECT_EQ(reloaded.GetNumSections(), SHN_LORESERVE - 1u);

    ASSERT_NE(elf.AddSection("", SHT_PROGBITS, 0, 0, 1, 0), nullptr);
    EXPECT_FALSE(elf.Store(vOutput));
    EXPECT_EQ(elf.GetLastError(), "65280 sections reach the reserved indices");
}

TEST(CElfTest, CopiesWriteTheSameFile)
{
    CElf original(MakeKernelImage(true, g_vKernels));
    ASSERT_TRUE(original.IsInitialized());
    const std::vector<char> vOriginal = Written(original);

    CElf copy(original);
    ASSERT_TRUE(copy.IsInitialized());
    // The copy has sections of its own.
    EXPECT_NE(copy.GetSection(".rodata"), original.GetSection(".rodata"));
    EXPECT_EQ(copy.GetSymbolTable()->find("__OpenCL_vadd_header")->section,
              copy.GetSection(".rodata"));
    EXPECT_EQ(Written(copy), vOriginal);

    CElf assigned(MakeKernelImage(false, {"other"}));
    assigned = original;
    const CElf& self = assigned;
    assigned = self;
    EXPECT_EQ(Written(assigned), vOriginal);

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

    CElf missing(std::string("missing.elf"));
    EXPECT_FALSE(missing.IsInitialized());
    EXPECT_EQ(missing.GetLastError(), "file missing.elf can't be opened");
    std::ofstream("empty.elf").close();
    CElf empty(std::string("empty.elf"));
    EXPECT_FALSE(empty.IsInitialized());
    EXPECT_EQ(empty.GetLastError(), "the stream is empty or can't be read");
    EXPECT_FALSE(empty.Store(std::string("never.elf")));
    EXPECT_EQ(empty.GetLastError(), "no file was loaded");
    EXPECT_FALSE(std::ifstream("never.elf").good());
    std::ostringstream broken;
    broken.setstate(std::ios::badbit);
    EXPECT_FALSE(fromStream.Store(broken));
    EXPECT_EQ(fromStream.GetLastError(), "the stream can't be written");
    std::vector<char> vNothing;
    EXPECT_FALSE(fromStream.Store(std::string("no-such-folder/out.elf")));
    EXPECT_EQ(fromStream.GetLastError(), "file no-such-folder/out.elf can't be opened for writing");
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
    std::vector<char> vOutput = Written(elf);
    CElf narrowed(vOutput);
    ASSERT_TRUE(narrowed.IsInitialized());
    EXPECT_EQ(narrowed.GetClass(), ELFCLASS32);
    EXPECT_EQ(narrowed.GetSection(".rodata")->GetOffset() % 32, 0u);
    EXPECT_EQ(SymbolBytes(narrowed, "__OpenCL_reduce_metadata"),
              XAN_Test::MakeKernelMetadata("reduce", 1028));
}

TEST(CElfTest, ANewFileHoldsOnlyItsThreeTables)
{
    CElf elf(ET_REL);
    ASSERT_TRUE(elf.IsInitialized());
    std::vector<char> vImage = Written(elf);
    const Elf64_Ehdr header = ReadAt<Elf64_Ehdr>(vImage, 0);
    EXPECT_EQ(header.e_type, ET_REL);
    EXPECT_EQ(header.e_phoff, 0u);
    EXPECT_EQ(header.e_shstrndx, 1u);

    CElf reloaded(vImage);
    ASSERT_TRUE(reloaded.IsInitialized());
    EXPECT_EQ(reloaded.GetClass(), ELFCLASS64);
    ASSERT_EQ(reloaded.GetNumSections(), 4u);
    EXPECT_EQ(reloaded.GetSection(1)->GetName(), ".shstrtab");
    EXPECT_EQ(reloaded.GetSection(2)->GetName(), ".strtab");
    const CElfSymbolTable* pSymbols = reloaded.GetSymbolTable();
    ASSERT_EQ(pSymbols, reloaded.GetSection(3));
    EXPECT_EQ(pSymbols->GetLinkSection(), reloaded.GetSection(2));
    EXPECT_EQ(pSymbols->GetInfo(), 1u);
    EXPECT_EQ(pSymbols->GetAlign(), 8u);
    ASSERT_EQ(pSymbols->size(), 1u);
    EXPECT_EQ(pSymbols->begin()->st_shndx, SHN_UNDEF);
    EXPECT_EQ(pSymbols->begin()->st_info, 0u);
}

// The images that the refusal tables patch.
namespace
{
// Sections of the good 64-bit image: .data 1, .strtab 2, .symtab 3, .shstrtab 4; symbol 1,
// "sym", lies at 2 for 4 bytes of the 8 of ".data".
std::vector<char> Good(bool bIsElf64 = true)
{
    ElfImageBuilder builder(bIsElf64);
    const uint16_t nData = builder.AddSection(".data", SHT_PROGBITS, 0, 4, "payload!");
    builder.AddSymbol("sym", STB_GLOBAL, STT_OBJECT, nData, 2, 4);
    return builder.Build();
}

Elf64_Shdr Section(const std::vector<char>& vImage, size_t nIndex)
{
    return ReadAt<Elf64_Shdr>(vImage,
                              ReadAt<Elf64_Ehdr>(vImage, 0).e_shoff + nIndex * sizeof(Elf64_Shdr));
}

// Where a field lies in its record, and how wide it is.
template <typename TRecord, typename TField>
std::pair<size_t, size_t> FieldAt(TField TRecord::*pField)
{
    const TRecord record = {};
    return {static_cast<size_t>(reinterpret_cast<const char*>(&(record.*pField)) -
                                reinterpret_cast<const char*>(&record)),
            sizeof(TField)};
}

const std::map<std::string, std::pair<size_t, size_t>> g_Fields = {
    {"e_version", FieldAt(&Elf64_Ehdr::e_version)},
    {"e_phoff", FieldAt(&Elf64_Ehdr::e_phoff)},
    {"e_shoff", FieldAt(&Elf64_Ehdr::e_shoff)},
    {"e_shentsize", FieldAt(&Elf64_Ehdr::e_shentsize)},
    {"e_shnum", FieldAt(&Elf64_Ehdr::e_shnum)},
    {"e_shstrndx", FieldAt(&Elf64_Ehdr::e_shstrndx)},
    {"sh_name", FieldAt(&Elf64_Shdr::sh_name)},
    {"sh_type", FieldAt(&Elf64_Shdr::sh_type)},
    {"sh_offset", FieldAt(&Elf64_Shdr::sh_offset)},
    {"sh_size", FieldAt(&Elf64_Shdr::sh_size)},
    {"sh_link", FieldAt(&Elf64_Shdr::sh_link)},
    {"sh_info", FieldAt(&Elf64_Shdr::sh_info)},
    {"sh_entsize", FieldAt(&Elf64_Shdr::sh_entsize)},
    {"st_name", FieldAt(&Elf64_Sym::st_name)},
    {"st_shndx", FieldAt(&Elf64_Sym::st_shndx)},
    {"st_value", FieldAt(&Elf64_Sym::st_value)},
    {"st_size", FieldAt(&Elf64_Sym::st_size)},
};

// The text with the good image's sizes put in for {size}, {size+1}, {size-4} and {strings-1}.
std::string WithSizes(std::string strText)
{
    const std::vector<char> vGood = Good();
    const uint64_t nStringsEnd = Section(vGood, 2).sh_offset + Section(vGood, 2).sh_size;
    for (const auto& value : std::map<std::string, uint64_t>{{"{size}", vGood.size()},
                                                             {"{size+1}", vGood.size() + 1},
                                                             {"{size-4}", vGood.size() - 4},
                                                             {"{strings-1}", nStringsEnd - 1}})
    {
        for (size_t nAt; (nAt = strText.find(value.first)) != std::string::npos;)
        {
            strText.replace(nAt, value.first.size(), std::to_string(value.second));
        }
    }
    return strText;
}

// The image with the patches of a table row applied (the tables describe them).
std::vector<char> Patched(std::vector<char> vImage, const std::string& strPatches)
{
    const size_t nSections = ReadAt<Elf64_Ehdr>(vImage, 0).e_shoff;
    const size_t nSymbols = Section(vImage, 3).sh_offset;
    std::istringstream patches(WithSizes(strPatches));
    for (std::string strPatch; std::getline(patches, strPatch, ';');)
    {
        std::istringstream patch(strPatch);
        std::string strWhere, strField, strNumber;
        size_t nIndex = 0;
        patch >> strWhere;
        if (strWhere == "sec" || strWhere == "sym")
        {
            patch >> nIndex;
        }
        if (strWhere != "byte")
        {
            patch >> strField;
        }
        const std::vector<uint64_t> vNumbers = XAN_Test::ParseNumbers(
            std::string(std::istreambuf_iterator<char>(patch), std::istreambuf_iterator<char>()));
        const auto field =
            strWhere == "byte" ? std::make_pair(vNumbers.at(0), size_t(1)) : g_Fields.at(strField);
        const size_t nRecord = strWhere == "sec"   ? nSections + nIndex * sizeof(Elf64_Shdr)
                               : strWhere == "sym" ? nSymbols + nIndex * sizeof(Elf64_Sym)
                                                   : 0;
        std::memcpy(vImage.data() + nRecord + field.first, &vNumbers.back(), field.second);
    }
    return vImage;
}

// The reason is checked as a part of the message; no reason, no message.
void ExpectReason(const std::string& strError, const std::string& strReason)
{
    EXPECT_NE(strError.find(strReason), std::string::npos) << strError;
    EXPECT_EQ(strError.empty(), strReason.empty()) << strError;
}

std::vector<std::vector<std::string>> Table(const std::string& strName)
{
    return XAN_Test::ReadTable(XAN_TEST_DATA_DIR "/" + strName);
}
} // namespace

TEST(CElfMalformedTest, EveryTruncationOfAGoodImageIsRefusedWithAReason)
{
    for (bool bIsElf64 : {false, true})
    {
        const std::vector<char> vImage = Good(bIsElf64);
        ASSERT_TRUE(CElf(vImage).IsInitialized());
        for (size_t nSize = 0; nSize < vImage.size(); ++nSize)
        {
            CElf elf(std::vector<char>(vImage.begin(), vImage.begin() + nSize));
            EXPECT_FALSE(elf.IsInitialized()) << nSize;
            EXPECT_FALSE(elf.GetLastError().empty()) << nSize;
        }
    }
    EXPECT_EQ(CElf(std::vector<char>(10)).GetLastError(),
              "the file (10 bytes) is shorter than its 52-byte header");
    std::vector<char> vShort = Good();
    vShort.resize(60);
    EXPECT_EQ(CElf(vShort).GetLastError(),
              "the file (60 bytes) is shorter than its 64-byte header");
}

TEST(CElfMalformedTest, ImagesOutsideTheModelAreRefusedWithTheirReason)
{
    for (const std::vector<std::string>& vRow : Table("elf_load_refusals.txt"))
    {
        ASSERT_EQ(vRow.size(), 2u);
        const std::string strReason = WithSizes(vRow[0]);
        SCOPED_TRACE(vRow[1] + ": " + strReason);
        CElf elf(Patched(Good(), vRow[1]));
        EXPECT_EQ(elf.IsInitialized(), strReason.empty()) << elf.GetLastError();
        ExpectReason(elf.GetLastError(), strReason);
    }
}

TEST(CElfMalformedTest, SectionDataOutsideTheFileIsDropped)
{
    CElf elf(Patched(Good(), "sym 1 st_shndx 0; sec 1 sh_offset {size-4}"));
    ASSERT_TRUE(elf.IsInitialized());
    EXPECT_EQ(elf.GetSection(".data")->GetSize(), 0u);
}

// Each row loads a good image, edits it into one that can't be written, and names why.
TEST(CElfMalformedTest, ImagesThatCannotBeWrittenAreRefusedAtWrite)
{
    struct SEdit
    {
        std::string strReason;
        std::function<void(CElf&)> edit;
    };
    const auto expectStores = [](const std::vector<char>& vImage, const std::vector<SEdit>& vRows)
    {
        for (const SEdit& row : vRows)
        {
            SCOPED_TRACE(row.strReason);
            CElf elf(vImage);
            ASSERT_TRUE(elf.IsInitialized()) << elf.GetLastError();
            row.edit(elf);
            std::vector<char> vOutput;
            EXPECT_EQ(elf.Store(vOutput), row.strReason.empty());
            ExpectReason(elf.GetLastError(), row.strReason);
        }
    };
    const auto nothing = [](CElf&) {};
    const uint64_t nSize = Good().size();
    for (const std::vector<std::string>& vRow : Table("elf_store_refusals.txt"))
    {
        ASSERT_EQ(vRow.size(), 2u);
        expectStores(Patched(Good(), vRow[1]), {{vRow[0], nothing}});
    }
    // The program-header offset, carried over, would lie past the end of the smaller file.
    expectStores(Patched(Good(), "file e_phoff {size}"),
                 {{"program header table offset " + std::to_string(nSize) + " lies past",
                   [](CElf& elf) { elf.RemoveSection(".data"); }}});

    const CElf other(Good());
    const auto symbol = [](CElf& elf) { return elf.GetSymbolTable()->find("sym"); };
    const auto data = [](CElf& elf) { return elf.GetSection(".data"); };
    expectStores(Good(),
                 {
                     // An alignment that would pad the file by more than the largest one writable.
                     {"", [&](CElf& elf) { data(elf)->SetAlign(0x10000); }},
                     {"section 1 (.data): alignment 131072 is above the largest written, 65536",
                      [&](CElf& elf) { data(elf)->SetAlign(0x20000); }},
                     {"section 3 (.symtab): symbol 1 (sym): its section is not part of the file",
                      [&](CElf& elf) { symbol(elf)->section = other.GetSection(".data"); }},
                     {"symbol 1 (sym): value 2 and size 4 lie outside section 1 (.data) of 3 bytes",
                      [&](CElf& elf) { data(elf)->SetData("pay", 3); }},
                     {"section 3 (.symtab): its link is not a string table",
                      [&](CElf& elf) { elf.GetSymbolTable()->SetLinkSection(data(elf)); }},
                     {"section 1 (.data): it refers to a section outside the file",
                      [&](CElf& elf) { data(elf)->SetLinkSection(other.GetSection(".strtab")); }},
                 });
    expectStores(
        Good(false),
        {
            {"section 3 (.symtab): symbol 1 (sym): value 4294967296 or size 4 does not fit a "
             "32-bit file",
             [&](CElf& elf) { symbol(elf)->st_value = 0x100000000ull; }},
            {"symbol 1 (sym): value 2 or size 4294967296 does not fit",
             [&](CElf& elf) { symbol(elf)->st_size = 0x100000000ull; }},
            {"section 1 (.data): a field does not fit a 32-bit file",
             [&](CElf& elf) { data(elf)->SetAddr(0x100000000ull); }},
            {"the entry or a header offset does not fit a 32-bit file",
             [](CElf& elf) { elf.SetEntry(0x100000000ull); }},
        });
}
