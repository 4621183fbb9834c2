#include "CElf.h"
#include "CElfSymbolTable.h"

#include "Common/Src/KernelBinary/ElfImageBuilder.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
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

// Each row differs from a good image in one respect and names it in its refusal; a row without
// a reason loads.
namespace
{
// Where a patch writes: a byte of the file, or a field of the file header, of section header
// nIndex or of symbol nIndex.
enum EWhere
{
    W_Byte,
    W_File,
    W_Section,
    W_Symbol
};

struct SPatch
{
    EWhere eWhere;
    size_t nIndex;
    size_t nField;
    uint64_t nValue;
    size_t nBytes;
};

// A patch of the field of a record, as wide as the field.
template <typename TRecord, typename TField>
SPatch Field(EWhere eWhere, size_t nIndex, TField TRecord::*pField, uint64_t nValue)
{
    const TRecord record = {};
    const char* pRecord = reinterpret_cast<const char*>(&record);
    const size_t nField =
        static_cast<size_t>(reinterpret_cast<const char*>(&(record.*pField)) - pRecord);
    return {eWhere, nIndex, nField, nValue, sizeof(TField)};
}

template <typename TField> SPatch File(TField Elf64_Ehdr::*pField, uint64_t nValue)
{
    return Field(W_File, 0, pField, nValue);
}

template <typename TField> SPatch Sec(size_t nIndex, TField Elf64_Shdr::*pField, uint64_t nValue)
{
    return Field(W_Section, nIndex, pField, nValue);
}

template <typename TField> SPatch Sym(size_t nIndex, TField Elf64_Sym::*pField, uint64_t nValue)
{
    return Field(W_Symbol, nIndex, pField, nValue);
}

SPatch Byte(size_t nOffset, uint8_t nValue)
{
    return {W_Byte, nOffset, 0, nValue, 1};
}

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

std::vector<char> Patched(std::vector<char> vImage, const std::vector<SPatch>& vPatches)
{
    const size_t nSections = ReadAt<Elf64_Ehdr>(vImage, 0).e_shoff;
    const size_t nSymbols = Section(vImage, 3).sh_offset;
    for (const SPatch& patch : vPatches)
    {
        const size_t nOffsets[] = {patch.nIndex, 0, nSections + patch.nIndex * sizeof(Elf64_Shdr),
                                   nSymbols + patch.nIndex * sizeof(Elf64_Sym)};
        std::memcpy(vImage.data() + nOffsets[patch.eWhere] + patch.nField, &patch.nValue,
                    patch.nBytes);
    }
    return vImage;
}

// The reason is checked as a part of the message; no reason, no message.
void ExpectReason(const std::string& strError, const std::string& strReason)
{
    EXPECT_NE(strError.find(strReason), std::string::npos) << strError;
    EXPECT_EQ(strError.empty(), strReason.empty()) << strError;
}

struct SRefusal
{
    std::string strReason;
    std::vector<SPatch> vPatches;
};

void ExpectLoads(const std::vector<SRefusal>& vRows)
{
    for (size_t n = 0; n < vRows.size(); ++n)
    {
        SCOPED_TRACE(::testing::Message() << "row " << n << ": " << vRows[n].strReason);
        CElf elf(Patched(Good(), vRows[n].vPatches));
        EXPECT_EQ(elf.IsInitialized(), vRows[n].strReason.empty()) << elf.GetLastError();
        ExpectReason(elf.GetLastError(), vRows[n].strReason);
    }
}

const uint64_t SHSTRTAB_SIZE = 33; // "", ".data", ".strtab", ".symtab", ".shstrtab"
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

TEST(CElfMalformedTest, FileHeadersOutsideTheFormatAreRefused)
{
    const uint64_t nSize = Good().size();
    const std::string strSize = std::to_string(nSize);
    const std::string strPast = std::to_string(nSize + 1);
    ExpectLoads({
        {"no ELF magic number", {Byte(0, '\x7E')}},
        {"no ELF magic number", {Byte(3, 'G')}},
        {"class 0 is neither", {Byte(EI_CLASS, ELFCLASSNONE)}},
        {"class 3 is neither", {Byte(EI_CLASS, 3)}},
        {"byte order 2 is not", {Byte(EI_DATA, ELFDATA2MSB)}},
        {"version 2/1, expected 1/1", {Byte(EI_VERSION, 2)}},
        {"version 1/2", {File(&Elf64_Ehdr::e_version, 2)}},
        {"section header table offset " + strPast + " lies past the end of the file (" + strSize +
             " bytes)",
         {File(&Elf64_Ehdr::e_shoff, nSize + 1)}},
        {"section header table offset 18446744073709551552 lies past",
         {File(&Elf64_Ehdr::e_shoff, 0xFFFFFFFFFFFFFFC0ull)}},
        {"program header table offset " + strPast + " lies past",
         {File(&Elf64_Ehdr::e_phoff, nSize + 1)}},
        {"", {File(&Elf64_Ehdr::e_phoff, nSize)}},
        {"no section headers", {File(&Elf64_Ehdr::e_shnum, 0)}},
        {"section 5: header offset " + strSize + " lies past the end",
         {File(&Elf64_Ehdr::e_shnum, 6)}},
        {"section 5: header offset " + strSize + " lies past the end",
         {File(&Elf64_Ehdr::e_shnum, 6), File(&Elf64_Ehdr::e_shstrndx, 5)}},
        {"section name table index 65535 is not one of the 5 sections",
         {File(&Elf64_Ehdr::e_shstrndx, SHN_XINDEX)}},
        {"section name table index 5 is not one of the 5 sections",
         {File(&Elf64_Ehdr::e_shstrndx, 5)}},
        {"section 3: the section name table is a symbol table", {File(&Elf64_Ehdr::e_shstrndx, 3)}},
        // A 32-bit class byte on a 64-bit layout reads nonsense.
        {"the file has no section headers", {Byte(EI_CLASS, ELFCLASS32)}},
    });
}

TEST(CElfMalformedTest, SectionsOutsideTheModelAreRefused)
{
    const SPatch toRelocations = Sec(1, &Elf64_Shdr::sh_type, SHT_REL);
    const SPatch ofSymbols = Sec(1, &Elf64_Shdr::sh_link, 3);
    std::vector<SRefusal> vRows = {
        {"", {Sec(1, &Elf64_Shdr::sh_type, SHT_LOPROC + 5)}},
        {"", {Sec(1, &Elf64_Shdr::sh_type, SHT_DYNSYM)}},
        {"section 3: a second symbol table", {Sec(1, &Elf64_Shdr::sh_type, SHT_SYMTAB)}},
        {"section 1: name offset 33 is outside the section name table",
         {Sec(1, &Elf64_Shdr::sh_name, SHSTRTAB_SIZE)}},
        {"section 4: name offset 23 is outside the section name table or has no NUL",
         {Sec(4, &Elf64_Shdr::sh_size, SHSTRTAB_SIZE - 1)}},
        {"section 0: name offset 0 is outside",
         {Sec(4, &Elf64_Shdr::sh_offset, uint64_t(Good().size()))}},
        {"section 3 (.symtab): link 1 is not a string table", {Sec(3, &Elf64_Shdr::sh_link, 1)}},
        {"section 3 (.symtab): link 9 is not one of the 5 sections",
         {Sec(3, &Elf64_Shdr::sh_link, 9)}},
        {"section 3 (.symtab): entry size 16, expected 24", {Sec(3, &Elf64_Shdr::sh_entsize, 16)}},
        {"", {toRelocations, ofSymbols}},
        {"section 1 (.data): info 5 is not one of the 5 sections",
         {toRelocations, ofSymbols, Sec(1, &Elf64_Shdr::sh_info, 5)}},
    };
    for (uint32_t nRefused :
         {SHT_RELA, SHT_HASH, SHT_DYNAMIC, SHT_SHLIB, SHT_GROUP, SHT_SYMTAB_SHNDX})
    {
        vRows.push_back({"section 1: type " + std::to_string(nRefused) + " is not supported",
                         {Sec(1, &Elf64_Shdr::sh_type, nRefused)}});
    }
    ExpectLoads(vRows);
}

TEST(CElfMalformedTest, SymbolsOutsideTheirPlaceAreRefused)
{
    const std::vector<char> vGood = Good();
    const size_t nStringsEnd = Section(vGood, 2).sh_offset + Section(vGood, 2).sh_size;
    const std::string strSymbol = "section 3 (.symtab): symbol 1 (sym): ";
    ExpectLoads({
        {"section 3 (.symtab): symbol 1: name offset 100 is outside the string table",
         {Sym(1, &Elf64_Sym::st_name, 100)}},
        {"symbol 1: name offset 1 is outside the string table or has no NUL",
         {Byte(nStringsEnd - 1, 'x')}},
        {strSymbol + "section index 5 is not one of the 5 sections",
         {Sym(1, &Elf64_Sym::st_shndx, 5)}},
        {strSymbol + "section index 65521 is reserved", {Sym(1, &Elf64_Sym::st_shndx, SHN_ABS)}},
        {strSymbol + "section index 65535 is reserved", {Sym(1, &Elf64_Sym::st_shndx, SHN_XINDEX)}},
        {strSymbol + "value 5 and size 4 lie outside section 1 (.data) of 8 bytes",
         {Sym(1, &Elf64_Sym::st_value, 5)}},
        {strSymbol + "value 2 and size 7 lie outside", {Sym(1, &Elf64_Sym::st_size, 7)}},
        {"size 18446744073709551615 lie outside", {Sym(1, &Elf64_Sym::st_size, ~0ull)}},
        {"", {Sym(1, &Elf64_Sym::st_size, 6)}},
        // A symbol of no section has no place to keep.
        {"", {Sym(1, &Elf64_Sym::st_shndx, SHN_UNDEF)}},
        // The loader drops the bytes of a section past the end, so a symbol in it is refused.
        {strSymbol + "value 2 and size 4 lie outside section 1 (.data) of 0 bytes",
         {Sec(1, &Elf64_Shdr::sh_offset, uint64_t(vGood.size() - 4))}},
    });
}

TEST(CElfMalformedTest, SectionDataOutsideTheFileIsDropped)
{
    std::vector<char> vImage = Patched(Good(), {Sym(1, &Elf64_Sym::st_shndx, SHN_UNDEF)});
    vImage = Patched(vImage, {Sec(1, &Elf64_Shdr::sh_offset, uint64_t(vImage.size() - 4))});
    CElf elf(vImage);
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
    for (const SRefusal& row : std::vector<SRefusal>{
             // Symbol names and section names in one table would lose the section names.
             {"the symbol names would share the section name table",
              {Sec(3, &Elf64_Shdr::sh_link, 4)}},
             {"section header size 40, expected 64", {File(&Elf64_Ehdr::e_shentsize, 40)}},
             {"section header size 65, expected 64", {File(&Elf64_Ehdr::e_shentsize, 65)}},
             {"", {File(&Elf64_Ehdr::e_phoff, nSize)}},
         })
    {
        expectStores(Patched(Good(), row.vPatches), {{row.strReason, nothing}});
    }
    // The program-header offset, carried over, would lie past the end of the smaller file.
    expectStores(Patched(Good(), {File(&Elf64_Ehdr::e_phoff, nSize)}),
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
