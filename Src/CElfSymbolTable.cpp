#include "CElfSymbolTable.h"

#include <algorithm>
#include <cstring>

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

bool CElfSymbolTable::ReadEntries(const std::vector<CElfSection*>& vSections, bool bIsElf64)
{
    const size_t nEntrySize = bIsElf64 ? sizeof(Elf64_Sym) : sizeof(Elf32_Sym);
    const CElfStringTable* pStrings = dynamic_cast<const CElfStringTable*>(GetLinkSection());
    if (GetType() != SHT_SYMTAB || GetEntrySize() != nEntrySize || pStrings == nullptr)
    {
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

        // Reserved indices (absolute, common, extended) have no section to move with.
        if (!CElfStringTable::ReadString(vNames.data(), vNames.size(), entry.st_name, entry.name) ||
            entry.st_shndx >= SHN_LORESERVE || entry.st_shndx >= vSections.size())
        {
            return false;
        }
        entry.section = vSections[entry.st_shndx];
        // A symbol's value and size are a place in its section's data.
        if (entry.st_shndx != SHN_UNDEF &&
            !RangeInside(entry.st_value, entry.st_size, entry.section->GetSize()))
        {
            return false;
        }
        m_Entries.push_back(entry);
    }
    return true;
}

bool CElfSymbolTable::WriteEntries(const std::map<const CElfSection*, size_t>& mapIndices,
                                   bool bIsElf64)
{
    CElfStringTable* pStrings = dynamic_cast<CElfStringTable*>(GetLinkSection());
    if (pStrings == nullptr)
    {
        return false;
    }
    pStrings->ClearData();
    ClearData();
    for (TableEntry& entry : m_Entries)
    {
        entry.st_name = pStrings->AddString(entry.name);
        entry.st_shndx = SHN_UNDEF;
        if (entry.section != nullptr)
        {
            std::map<const CElfSection*, size_t>::const_iterator it =
                mapIndices.find(entry.section);
            if (it == mapIndices.end())
            {
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
            return false;
        }
        AppendRecord<Elf32_Sym>(entry, *this);
    }
    // Edits may have shrunk a symbol's section (even this table): such a file wouldn't load.
    for (const TableEntry& entry : m_Entries)
    {
        if (entry.section != nullptr &&
            !RangeInside(entry.st_value, entry.st_size, entry.section->GetSize()))
        {
            return false;
        }
    }
    return true;
}
} // namespace XAN_ElfUtils
