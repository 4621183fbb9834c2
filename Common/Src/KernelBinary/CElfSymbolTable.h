#ifndef CELF_SYMBOL_TABLE_H
#define CELF_SYMBOL_TABLE_H

#include "CElf.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace XAN_ElfUtils
{
// The symbol table of a file. The entries are the truth about the symbols: the table's own
// bytes and those of its string table are rebuilt from them at every write.
class CElfSymbolTable : public CElfSection
{
public:
    struct TableEntry
    {
        uint32_t st_name;
        uint8_t st_info;
        uint8_t st_other;
        uint16_t st_shndx;
        uint64_t st_value;
        uint64_t st_size;
        std::string name;
        CElfSection* section;
    };
    typedef std::vector<TableEntry>::iterator iterator;
    typedef std::vector<TableEntry>::const_iterator const_iterator;

    iterator begin() { return m_Entries.begin(); }
    iterator end() { return m_Entries.end(); }
    const_iterator begin() const { return m_Entries.begin(); }
    const_iterator end() const { return m_Entries.end(); }
    size_t size() const { return m_Entries.size(); }
    // The first entry of exactly that name, or end().
    iterator find(const std::string& strName);

    bool GetSymbolInfo(const_iterator it, std::string* pName, unsigned char* pBind,
                       unsigned char* pType, unsigned char* pOther, CElfSection** ppSection,
                       uint64_t* pValue, uint64_t* pSize) const;
    // Overwrites everything but st_name and st_shndx, which the next write works out.
    bool SetSymbolInfo(iterator it, const std::string& strName, unsigned char nBind,
                       unsigned char nType, unsigned char nOther, CElfSection* pSection,
                       uint64_t nValue, uint64_t nSize);
    // Appends an entry; sh_info, the index of the first global symbol, is the caller's.
    void AddSymbol(const std::string& strName, unsigned char nBind, unsigned char nType,
                   unsigned char nOther, CElfSection* pSection, uint64_t nValue, uint64_t nSize);
    // Gives the iterator behind the removed entry.
    iterator RemoveSymbol(iterator it);
    bool RemoveSymbol(const std::string& strName);
    void RemoveSymbolsForSection(const CElfSection* pSection);

private:
    friend class CElf;

    // Reads the entries from the loaded bytes; vSections resolves st_shndx. strError gets the
    // reason of a refusal, without the table's own name.
    bool ReadEntries(const std::vector<CElfSection*>& vSections, bool bIsElf64,
                     std::string& strError);
    // Rebuilds the table's bytes and its string table from the entries; false with the reason
    // when a symbol no longer lies inside its section.
    bool WriteEntries(const std::map<const CElfSection*, size_t>& mapIndices, bool bIsElf64,
                      std::string& strError);
    // Whether the entry's value and size lie inside its section, which has index nSection.
    static bool CheckPlace(const TableEntry& entry, size_t nIndex, size_t nSection,
                           std::string& strError);

    std::vector<TableEntry> m_Entries;
};
} // namespace XAN_ElfUtils

#endif
