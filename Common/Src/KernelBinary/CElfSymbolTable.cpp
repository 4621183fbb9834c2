#include "CElfSymbolTable.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace XAN_ElfUtils
{
namespace
{
// Copies a symbol between a file record of either class and a table entry; a caller that
// narrows has checked the values first.
template <typename TFrom, typename TTo> void CopySymbol(const TFrom& from, TTo& to)
{
    to.st_name = from.st_name;
    to.st_info = from.st_info;
    to.st_other = from.st_other;
    to.st_shndx = from.st_shndx;
    to.st_value = static_cast<decltype(to.st_value)>(from.st_value);
    to.st_size = static_cast<decltype(to.st_size)>(from.st_size);
}

template <typename TSymbol> void ReadRecord(const char* pRecord, CElfSymbolTable::TableEntry& entry)
{
    TSymbol symbol;
    std::memcpy(&symbol, pRecord, sizeof(symbol));
    CopySymbol(symbol, entry);
}

template <typename TSymbol>
void AppendRecord(const CElfSymbolTable::TableEntry& entry, CElfSection& table)
{
    TSymbol symbol;
    CopySymbol(entry, symbol);
    table.AppendData(&symbol, sizeof(symbol));
}
} // namespace

CElfSymbolTable::iterator CElfSymbolTable::find(const std::string& strName)
{
    return std::find_if(m_Entries.begin(), m_Entries.end(),
                        [&strName](const TableEntry& entry) { return entry.name == strName; });
}

bool CElfSymbolTable::GetSymbolInfo(const_iterator it, std::string* pName, unsigned char* pBind,
                                    unsigned char* pType, unsigned char* pOther,
                                    CElfSection** ppSection, uint64_t* pValue,
                                    uint64_t* pSize) const
{
    if (pName == nullptr || pBind == nullptr || pType == nullptr || pOther == nullptr ||
        ppSection == nullptr || pValue == nullptr || pSize == nullptr || it == m_Entries.end())
    {
        return false;
    }
    *pName = it->name;
    *pBind = ELF64_ST_BIND(it->st_info);
    *pType = ELF64_ST_TYPE(it->st_info);
    *pOther = it->st_other;
    *ppSection = it->section;
    *pValue = it->st_value;
    *pSize = it->st_size;
    return true;
}

bool CElfSymbolTable::SetSymbolInfo(iterator it, const std::string& strName, unsigned char nBind,
                                    unsigned char nType, unsigned char nOther,
                                    CElfSection* pSection, uint64_t nValue, uint64_t nSize)
{
    if (it == m_Entries.end())
    {
        return false;
    }
    it->name = strName;
    it->st_info = ELF64_ST_INFO(nBind, nType);
    it->st_other = nOther;
    it->section = pSection;
    it->st_value = nValue;
    it->st_size = nSize;
    return true;
}

void CElfSymbolTable::AddSymbol(const std::string& strName, unsigned char nBind,
                                unsigned char nType, unsigned char nOther, CElfSection* pSection,
                                uint64_t nValue, uint64_t nSize)
{
    TableEntry entry = {};
    m_Entries.push_back(entry);
    SetSymbolInfo(m_Entries.end() - 1, strName, nBind, nType, nOther, pSection, nValue, nSize);
}

CElfSymbolTable::iterator CElfSymbolTable::RemoveSymbol(iterator it)
{
    if (it == m_Entries.end())
    {
        return it;
    }
    // sh_info is the index of the first global symbol; it follows the symbols it counts.
    if (static_cast<uint64_t>(it - m_Entries.begin()) < GetInfo())
    {
        SetInfo(GetInfo() - 1);
    }
    return m_Entries.erase(it);
}

bool CElfSymbolTable::RemoveSymbol(const std::string& strName)
{
    iterator it = find(strName);
    if (it == m_Entries.end())
    {
        return false;
    }
    RemoveSymbol(it);
    return true;
}

void CElfSymbolTable::RemoveSymbolsForSection(const CElfSection* pSection)
{
    iterator it = m_Entries.begin();
    while (it != m_Entries.end())
    {
        it = it->section == pSection ? RemoveSymbol(it) : it + 1;
    }
}

bool CElfSymbolTable::ReadEntries(const std::vector<CElfSection*>& vSections, bool bIsElf64,
                                  std::string& strError)
{
    const size_t nEntrySize = bIsElf64 ? sizeof(Elf64_Sym) : sizeof(Elf32_Sym);
    if (GetEntrySize() != nEntrySize)
    {
        strError = "entry size " + std::to_string(GetEntrySize()) + ", expected " +
                   std::to_string(nEntrySize);
        return false;
    }
    const CElfStringTable* pStrings = dynamic_cast<const CElfStringTable*>(GetLinkSection());
    if (pStrings == nullptr)
    {
        strError = "link " + std::to_string(GetLink()) + " is not a string table";
        return false;
    }
    const std::vector<char>& vNames = pStrings->GetData();
    const std::vector<char>& vData = GetData();
    const size_t nCount = vData.size() / nEntrySize;

    m_Entries.clear();
    m_Entries.reserve(nCount);
    for (size_t i = 0; i < nCount; ++i)
    {
        TableEntry entry = {};
        const char* pRecord = vData.data() + i * nEntrySize;
        if (bIsElf64)
        {
            ReadRecord<Elf64_Sym>(pRecord, entry);
        }
        else
        {
            ReadRecord<Elf32_Sym>(pRecord, entry);
        }

        const std::string strSymbol = "symbol " + std::to_string(i);
        if (!CElfStringTable::ReadString(vNames.data(), vNames.size(), entry.st_name, entry.name))
        {
            strError = strSymbol + ": name offset " + std::to_string(entry.st_name) +
                       " is outside the string table or has no NUL";
            return false;
        }
        // Reserved indices (absolute, common, extended) have no section to move with.
        if (entry.st_shndx >= SHN_LORESERVE || entry.st_shndx >= vSections.size())
        {
            strError =
                strSymbol + " (" + entry.name + "): section index " +
                std::to_string(entry.st_shndx) +
                (entry.st_shndx >= SHN_LORESERVE
                     ? " is reserved"
                     : " is not one of the " + std::to_string(vSections.size()) + " sections");
            return false;
        }
        entry.section = vSections[entry.st_shndx];
        // A symbol's value and size are a place in its section's data.
        if (entry.st_shndx != SHN_UNDEF && !CheckPlace(entry, i, entry.st_shndx, strError))
        {
            return false;
        }
        m_Entries.push_back(entry);
    }
    return true;
}

bool CElfSymbolTable::CheckPlace(const TableEntry& entry, size_t nIndex, size_t nSection,
                                 std::string& strError)
{
    if (RangeInside(entry.st_value, entry.st_size, entry.section->GetSize()))
    {
        return true;
    }
    strError = "symbol " + std::to_string(nIndex) + " (" + entry.name + "): value " +
               std::to_string(entry.st_value) + " and size " + std::to_string(entry.st_size) +
               " lie outside " + entry.section->Describe(nSection) + " of " +
               std::to_string(entry.section->GetSize()) + " bytes";
    return false;
}

bool CElfSymbolTable::WriteEntries(const std::map<const CElfSection*, size_t>& mapIndices,
                                   bool bIsElf64, std::string& strError)
{
    CElfStringTable* pStrings = dynamic_cast<CElfStringTable*>(GetLinkSection());
    if (pStrings == nullptr)
    {
        strError = "its link is not a string table";
        return false;
    }
    pStrings->ClearData();
    ClearData();
    for (size_t i = 0; i < m_Entries.size(); ++i)
    {
        TableEntry& entry = m_Entries[i];
        entry.st_name = pStrings->AddString(entry.name);
        entry.st_shndx = SHN_UNDEF;
        const std::string strSymbol = "symbol " + std::to_string(i) + " (" + entry.name + ")";
        if (entry.section != nullptr)
        {
            std::map<const CElfSection*, size_t>::const_iterator it =
                mapIndices.find(entry.section);
            if (it == mapIndices.end())
            {
                strError = strSymbol + ": its section is not part of the file";
                return false;
            }
            entry.st_shndx = static_cast<uint16_t>(it->second);
        }

        if (bIsElf64)
        {
            AppendRecord<Elf64_Sym>(entry, *this);
            continue;
        }
        if (entry.st_value > 0xFFFFFFFFu || entry.st_size > 0xFFFFFFFFu)
        {
            strError = strSymbol + ": value " + std::to_string(entry.st_value) + " or size " +
                       std::to_string(entry.st_size) + " does not fit a 32-bit file";
            return false;
        }
        AppendRecord<Elf32_Sym>(entry, *this);
    }
    // Edits may have shrunk a symbol's section (even this table): such a file wouldn't load.
    for (size_t i = 0; i < m_Entries.size(); ++i)
    {
        const TableEntry& entry = m_Entries[i];
        if (entry.section != nullptr && !CheckPlace(entry, i, entry.st_shndx, strError))
        {
            return false;
        }
    }
    return true;
}
} // namespace XAN_ElfUtils
