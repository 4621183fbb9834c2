#include "CElfSymbolTable.h"
#include "CElf.h"

#include "Common/Src/KernelBinary/ElfImageBuilder.h"

#include <gtest/gtest.h>

#include <memory>

using namespace XAN_ElfUtils;
using XAN_Test::ElfImageBuilder;

namespace
{
// Locals "l1", "l2" in ".a", then globals "g1" in ".a", "g2" and "g3" in ".b".
class CElfSymbolTableTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ElfImageBuilder builder(true);
        const uint16_t nA = builder.AddSection(".a", SHT_PROGBITS, 0, 1, "aaaaaaaa");
        const uint16_t nB = builder.AddSection(".b", SHT_PROGBITS, 0, 1, "bbbbbbbb");
        builder.AddSymbol("l1", STB_LOCAL, STT_NOTYPE, nA, 0, 1);
        builder.AddSymbol("l2", STB_LOCAL, STT_NOTYPE, nA, 1, 1);
        builder.AddSymbol("g1", STB_GLOBAL, STT_OBJECT, nA, 2, 2);
        builder.AddSymbol("g2", STB_GLOBAL, STT_FUNC, nB, 0, 4);
        builder.AddSymbol("g3", STB_WEAK, STT_OBJECT, nB, 4, 4);
        m_pElf.reset(new CElf(builder.Build()));
        ASSERT_TRUE(m_pElf->IsInitialized());
        m_pSymbols = m_pElf->GetSymbolTable();
        ASSERT_NE(m_pSymbols, nullptr);
        ASSERT_EQ(m_pSymbols->size(), 6u);
        ASSERT_EQ(m_pSymbols->GetInfo(), 3u);
    }

    std::vector<std::string> Names() const
    {
        std::vector<std::string> vNames;
        for (const CElfSymbolTable::TableEntry& entry : *m_pSymbols)
        {
            vNames.push_back(entry.name);
        }
        return vNames;
    }

    // Writes and reads the file again.
    void Reload()
    {
        std::vector<char> vImage;
        ASSERT_TRUE(m_pElf->Store(vImage));
        m_pElf.reset(new CElf(vImage));
        ASSERT_TRUE(m_pElf->IsInitialized());
        m_pSymbols = m_pElf->GetSymbolTable();
    }

    std::unique_ptr<CElf> m_pElf;
    CElfSymbolTable* m_pSymbols = nullptr;
};
} // namespace

TEST_F(CElfSymbolTableTest, RemovingALocalSymbolKeepsTheFirstGlobalInPlace)
{
    EXPECT_TRUE(m_pSymbols->RemoveSymbol("g2"));
    EXPECT_EQ(m_pSymbols->GetInfo(), 3u);
    EXPECT_FALSE(m_pSymbols->RemoveSymbol("g2"));

    CElfSymbolTable::iterator itNext = m_pSymbols->RemoveSymbol(m_pSymbols->find("l2"));
    EXPECT_EQ(itNext->name, "g1");
    EXPECT_EQ(m_pSymbols->GetInfo(), 2u);
    EXPECT_EQ(m_pSymbols->RemoveSymbol(m_pSymbols->end()), m_pSymbols->end());
    EXPECT_EQ(Names(), (std::vector<std::string>{"", "l1", "g1", "g3"}));

    Reload();
    EXPECT_EQ(Names(), (std::vector<std::string>{"", "l1", "g1", "g3"}));
    EXPECT_EQ(m_pSymbols->GetInfo(), 2u);
}

TEST_F(CElfSymbolTableTest, RemovingASectionsSymbolsWalksTheWholeTable)
{
    m_pSymbols->RemoveSymbolsForSection(m_pElf->GetSection(".a"));
    EXPECT_EQ(Names(), (std::vector<std::string>{"", "g2", "g3"}));
    EXPECT_EQ(m_pSymbols->GetInfo(), 1u);

    // Removing the section takes its symbols along.
    ASSERT_TRUE(m_pElf->RemoveSection(".b"));
    EXPECT_EQ(Names(), (std::vector<std::string>{""}));
}

TEST_F(CElfSymbolTableTest, SymbolInfoSplitsAndJoinsBindAndType)
{
    std::string strName;
    unsigned char nBind = 0;
    unsigned char nType = 0;
    unsigned char nOther = 0;
    CElfSection* pSection = nullptr;
    uint64_t nValue = 0;
    uint64_t nSize = 0;
    CElfSymbolTable::iterator it = m_pSymbols->find("g3");
    ASSERT_TRUE(m_pSymbols->GetSymbolInfo(it, &strName, &nBind, &nType, &nOther, &pSection, &nValue,
                                          &nSize));
    EXPECT_EQ(strName, "g3");
    EXPECT_EQ(nBind, STB_WEAK);
    EXPECT_EQ(nType, STT_OBJECT);
    EXPECT_EQ(pSection, m_pElf->GetSection(".b"));
    EXPECT_EQ(nValue, 4u);
    EXPECT_EQ(nSize, 4u);
    EXPECT_FALSE(m_pSymbols->GetSymbolInfo(it, &strName, &nBind, &nType, nullptr, &pSection,
                                           &nValue, &nSize));
    EXPECT_FALSE(m_pSymbols->GetSymbolInfo(m_pSymbols->end(), &strName, &nBind, &nType, &nOther,
                                           &pSection, &nValue, &nSize));

    // Moved into ".a" under a new name; the write works out its section index and name.
    ASSERT_TRUE(m_pSymbols->SetSymbolInfo(it, "moved", STB_GLOBAL, STT_FUNC, STV_HIDDEN,
                                          m_pElf->GetSection(".a"), 6, 2));
    EXPECT_FALSE(m_pSymbols->SetSymbolInfo(m_pSymbols->end(), "x", 0, 0, 0, nullptr, 0, 0));
    Reload();
    it = m_pSymbols->find("moved");
    ASSERT_NE(it, m_pSymbols->end());
    EXPECT_EQ(it->st_info, ELF64_ST_INFO(STB_GLOBAL, STT_FUNC));
    EXPECT_EQ(it->st_other, STV_HIDDEN);
    EXPECT_EQ(it->st_shndx, 1u);
    EXPECT_EQ(it->section, m_pElf->GetSection(".a"));
    EXPECT_EQ(it->st_value, 6u);
    EXPECT_EQ(m_pSymbols->find("g3"), m_pSymbols->end());
}

TEST_F(CElfSymbolTableTest, AddedSymbolsComeLastAndSurviveAWrite)
{
    m_pSymbols->AddSymbol("new", STB_GLOBAL, STT_OBJECT, 0, m_pElf->GetSection(".b"), 1, 2);
    m_pSymbols->AddSymbol("undefined", STB_GLOBAL, STT_NOTYPE, 0, nullptr, 0, 0);
    EXPECT_EQ(m_pSymbols->GetInfo(), 3u);
    // Equal names are stored twice in the rebuilt string table.
    m_pSymbols->AddSymbol("new", STB_GLOBAL, STT_OBJECT, 0, m_pElf->GetSection(".a"), 0, 1);

    Reload();
    ASSERT_EQ(m_pSymbols->size(), 9u);
    CElfSymbolTable::iterator it = m_pSymbols->find("new");
    EXPECT_EQ(it - m_pSymbols->begin(), 6);
    EXPECT_EQ(it->section, m_pElf->GetSection(".b"));
    EXPECT_EQ((it + 1)->name, "undefined");
    EXPECT_EQ((it + 1)->st_shndx, SHN_UNDEF);
    EXPECT_NE((it + 2)->st_name, it->st_name);
    // "", "l1", "l2", "g1", "g2", "g3", "new", "undefined", "new", each with its NUL.
    EXPECT_EQ(m_pElf->GetSection(".strtab")->GetSize(), 34u);
}

TEST_F(CElfSymbolTableTest, ASymbolLeftOutsideItsShrunkSectionFailsTheWrite)
{
    // "g3" covers bytes 4 to 7 of ".b".
    m_pElf->GetSection(".b")->SetData("bb", 2);
    std::vector<char> vImage;
    EXPECT_FALSE(m_pElf->Store(vImage));
    EXPECT_EQ(m_pElf->GetLastError(), "section 4 (.symtab): symbol 4 (g2): value 0 and size 4 "
                                      "lie outside section 2 (.b) of 2 bytes");
    m_pElf->GetSection(".b")->SetData("bbbbbbbb", 8);

    // A symbol placed in the symbol table itself falls outside it once symbols are removed.
    ASSERT_TRUE(m_pSymbols->RemoveSymbol("g3"));
    m_pSymbols->AddSymbol("inside", STB_GLOBAL, STT_OBJECT, 0, m_pSymbols,
                          m_pSymbols->GetSize() - 8, 8);
    ASSERT_TRUE(m_pSymbols->RemoveSymbol("g1"));
    EXPECT_FALSE(m_pElf->Store(vImage));
    EXPECT_NE(m_pElf->GetLastError().find("symbol 4 (inside): value 136 and size 8 lie outside "
                                          "section 4 (.symtab) of 120 bytes"),
              std::string::npos)
        << m_pElf->GetLastError();
}
