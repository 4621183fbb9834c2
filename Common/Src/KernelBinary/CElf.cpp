#include "CElf.h"

#include "CElfSymbolTable.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <istream>
#include <ostream>

namespace XAN_ElfUtils
{
namespace
{
// The largest value that the writer stores: offsets and sizes keep 32 significant bits in
// both classes, and every field of a 32-bit file is that wide.
const uint64_t MAX_FIELD_32 = 0xFFFFFFFFu;
// The largest alignment the writer pads for. Kernel binaries ask for a few bytes; a larger
// value in a hostile file would pad the output by gigabytes.
const uint64_t MAX_ALIGNMENT = 0x10000u;

size_t FileHeaderSize(bool bIsElf64)
{
    return bIsElf64 ? sizeof(Elf64_Ehdr) : sizeof(Elf32_Ehdr);
}

size_t SectionHeaderSize(bool bIsElf64)
{
    return bIsElf64 ? sizeof(Elf64_Shdr) : sizeof(Elf32_Shdr);
}

// Types whose contents depend on file layout or on indices this model doesn't renumber.
bool IsRefusedType(uint32_t nType)
{
    switch (nType)
    {
    case SHT_RELA:
    case SHT_HASH:
    case SHT_DYNAMIC:
    case SHT_SHLIB:
    case SHT_GROUP:
    case SHT_SYMTAB_SHNDX:
        return true;
    default:
        return false;
    }
}

// Sections whose sh_link, and for relocations also sh_info, name another section.
bool HasLinkSection(uint32_t nType)
{
    return nType == SHT_SYMTAB || nType == SHT_DYNSYM || nType == SHT_REL;
}

bool Fits32(uint64_t nValue)
{
    return nValue <= MAX_FIELD_32;
}

std::string PastTheEnd(const char* pWhat, uint64_t nOffset, uint64_t nFileSize)
{
    return std::string(pWhat) + " offset " + std::to_string(nOffset) +
           " lies past the end of the file (" + std::to_string(nFileSize) + " bytes)";
}

// Copy a header between the two classes field by field; a caller that narrows has checked
// the values first.
template <typename TFrom, typename TTo> void CopyFileHeader(const TFrom& from, TTo& to)
{
    std::memcpy(to.e_ident, from.e_ident, EI_NIDENT);
    to.e_type = from.e_type;
    to.e_machine = from.e_machine;
    to.e_version = from.e_version;
    to.e_entry = static_cast<decltype(to.e_entry)>(from.e_entry);
    to.e_phoff = static_cast<decltype(to.e_phoff)>(from.e_phoff);
    to.e_shoff = static_cast<decltype(to.e_shoff)>(from.e_shoff);
    to.e_flags = from.e_flags;
    to.e_ehsize = from.e_ehsize;
    to.e_phentsize = from.e_phentsize;
    to.e_phnum = from.e_phnum;
    to.e_shentsize = from.e_shentsize;
    to.e_shnum = from.e_shnum;
    to.e_shstrndx = from.e_shstrndx;
}

template <typename TFrom, typename TTo> void CopySectionHeader(const TFrom& from, TTo& to)
{
    to.sh_name = from.sh_name;
    to.sh_type = from.sh_type;
    to.sh_flags = static_cast<decltype(to.sh_flags)>(from.sh_flags);
    to.sh_addr = static_cast<decltype(to.sh_addr)>(from.sh_addr);
    to.sh_offset = static_cast<decltype(to.sh_offset)>(from.sh_offset);
    to.sh_size = static_cast<decltype(to.sh_size)>(from.sh_size);
    to.sh_link = from.sh_link;
    to.sh_info = from.sh_info;
    to.sh_addralign = static_cast<decltype(to.sh_addralign)>(from.sh_addralign);
    to.sh_entsize = static_cast<decltype(to.sh_entsize)>(from.sh_entsize);
}

// A reference keeps its number when there is no section behind it, and fails when the
// section isn't part of the file.
bool RenumberReference(const std::map<const CElfSection*, size_t>& mapIndices,
                       const CElfSection* pSection, uint32_t& nIndex)
{
    if (pSection == nullptr)
    {
        return true;
    }
    std::map<const CElfSection*, size_t>::const_iterator it = mapIndices.find(pSection);
    if (it == mapIndices.end())
    {
        return false;
    }
    nIndex = static_cast<uint32_t>(it->second);
    return true;
}
} // namespace

CElfSection::CElfSection() : m_Header(), m_pLinkSection(nullptr), m_pInfoSection(nullptr) {}

CElfSection::~CElfSection() = default;

bool CElfSection::Load(const std::vector<char>& vBuffer, size_t nHeaderOffset, bool bIsElf64)
{
    if (!RangeInside(nHeaderOffset, SectionHeaderSize(bIsElf64), vBuffer.size()))
    {
        return false;
    }
    const char* pHeader = vBuffer.data() + nHeaderOffset;
    if (bIsElf64)
    {
        std::memcpy(&m_Header, pHeader, sizeof(Elf64_Shdr));
    }
    else
    {
        Elf32_Shdr header;
        std::memcpy(&header, pHeader, sizeof(header));
        CopySectionHeader(header, m_Header);
    }

    // Data outside the file is dropped rather than refused: the section itself is still known.
    m_vData.clear();
    if (RangeInside(m_Header.sh_offset, m_Header.sh_size, vBuffer.size()))
    {
        std::vector<char>::const_iterator itBegin = vBuffer.begin() + m_Header.sh_offset;
        m_vData.assign(itBegin, itBegin + m_Header.sh_size);
    }
    return true;
}

std::string CElfSection::Describe(size_t nIndex) const
{
    const std::string strSection = "section " + std::to_string(nIndex);
    return m_strName.empty() ? strSection : strSection + " (" + m_strName + ")";
}

bool CElfSection::SetAlign(uint64_t nAlign)
{
    if ((nAlign & (nAlign - 1)) != 0)
    {
        return false;
    }
    m_Header.sh_addralign = nAlign;
    return true;
}

void CElfSection::SetData(const void* pData, size_t nSize)
{
    m_vData.clear();
    AppendData(pData, nSize);
}

void CElfSection::SetData(const std::string& strData)
{
    SetData(strData.data(), strData.size());
}

void CElfSection::SetData(const std::vector<char>& vData)
{
    SetData(vData.data(), vData.size());
}

void CElfSection::AppendData(const void* pData, size_t nSize)
{
    if (pData == nullptr || nSize == 0)
    {
        return;
    }
    const char* pBytes = static_cast<const char*>(pData);
    m_vData.insert(m_vData.end(), pBytes, pBytes + nSize);
}

void CElfSection::AppendData(const std::string& strData)
{
    AppendData(strData.data(), strData.size());
}

void CElfSection::AppendData(const std::vector<char>& vData)
{
    AppendData(vData.data(), vData.size());
}

uint32_t CElfStringTable::AddString(const std::string& str)
{
    uint32_t nOffset = static_cast<uint32_t>(GetSize());
    AppendData(str.c_str(), str.size() + 1);
    return nOffset;
}

bool CElfStringTable::ReadString(const char* pTable, size_t nTableSize, uint64_t nOffset,
                                 std::string& str)
{
    if (nOffset >= nTableSize)
    {
        return false;
    }
    const char* pBegin = pTable + nOffset;
    const void* pEnd = std::memchr(pBegin, '\0', nTableSize - nOffset);
    if (pEnd == nullptr)
    {
        return false;
    }
    str.assign(pBegin, static_cast<const char*>(pEnd));
    return true;
}

CElf::CElf(uint16_t nType) : m_Initialized(true), m_IsElf64(true)
{
    std::memcpy(m_Header.e_ident, ELFMAG, SELFMAG);
    m_Header.e_ident[EI_CLASS] = ELFCLASS64;
    m_Header.e_ident[EI_DATA] = ELFDATA2LSB;
    m_Header.e_ident[EI_VERSION] = EV_CURRENT;
    m_Header.e_type = nType;
    m_Header.e_version = EV_CURRENT;
    m_Header.e_ehsize = sizeof(Elf64_Ehdr);
    m_Header.e_shentsize = sizeof(Elf64_Shdr);

    m_Sections.push_back(new CElfSection);
    m_SectionHeaderStringTable = new CElfStringTable;
    AddTable(m_SectionHeaderStringTable, ".shstrtab", SHT_STRTAB, 1);
    CElfStringTable* pNames = new CElfStringTable;
    AddTable(pNames, ".strtab", SHT_STRTAB, 1);
    m_SymbolTable = new CElfSymbolTable;
    AddTable(m_SymbolTable, ".symtab", SHT_SYMTAB, 8);
    m_SymbolTable->SetEntrySize(sizeof(Elf64_Sym));
    m_SymbolTable->SetLinkSection(pNames);
    // sh_info: the null symbol is the one local symbol.
    m_SymbolTable->SetInfo(1);
    m_SymbolTable->AddSymbol("", STB_LOCAL, STT_NOTYPE, 0, nullptr, 0, 0);
}

void CElf::AddTable(CElfSection* pTable, const char* pName, uint32_t nType, uint64_t nAlign)
{
    pTable->SetName(pName);
    pTable->SetType(nType);
    pTable->SetAlign(nAlign);
    m_Sections.push_back(pTable);
}

CElf::CElf(const std::string& strFileName)
{
    std::ifstream file(strFileName.c_str(), std::ios::binary);
    if (file)
    {
        Parse(file);
    }
    else
    {
        Refuse("file " + strFileName + " can't be opened");
    }
}

CElf::CElf(std::istream& stream)
{
    Parse(stream);
}

CElf::CElf(const std::vector<char>& vBuffer)
{
    m_Initialized = Parse(vBuffer);
}

CElf::CElf(const CElf& other)
{
    CopyFrom(other);
}

CElf& CElf::operator=(const CElf& other)
{
    if (this != &other)
    {
        Clear();
        CopyFrom(other);
    }
    return *this;
}

CElf::~CElf()
{
    Clear();
}

void CElf::Parse(std::istream& stream)
{
    stream.seekg(0, std::ios::end);
    std::streamoff nSize = stream.tellg();
    stream.seekg(0, std::ios::beg);
    if (nSize <= 0 || !stream)
    {
        Refuse("the stream is empty or can't be read");
        return;
    }
    std::vector<char> vBuffer(static_cast<size_t>(nSize));
    if (stream.read(vBuffer.data(), nSize))
    {
        m_Initialized = Parse(vBuffer);
    }
    else
    {
        Refuse("the stream can't be read");
    }
}

bool CElf::Refuse(const std::string& strReason)
{
    m_strLastError = strReason;
    return false;
}

bool CElf::Parse(const std::vector<char>& vBuffer)
{
    m_strLastError.clear();
    if (!ReadHeader(vBuffer))
    {
        return false;
    }
    if (m_Header.e_shoff > vBuffer.size())
    {
        return Refuse(PastTheEnd("section header table", m_Header.e_shoff, vBuffer.size()));
    }
    if (m_Header.e_phoff > vBuffer.size())
    {
        return Refuse(PastTheEnd("program header table", m_Header.e_phoff, vBuffer.size()));
    }
    if (m_Header.e_shnum == 0)
    {
        return Refuse("the file has no section headers");
    }
    // This also refuses an extended index (SHN_XINDEX), whose real value section 0 would hold.
    if (m_Header.e_shstrndx >= m_Header.e_shnum)
    {
        return Refuse("section name table index " + std::to_string(m_Header.e_shstrndx) +
                      " is not one of the " + std::to_string(m_Header.e_shnum) + " sections");
    }
    if (!ReadSections(vBuffer) || !LinkSections())
    {
        return false;
    }
    std::string strError;
    if (m_SymbolTable != nullptr && !m_SymbolTable->ReadEntries(m_Sections, m_IsElf64, strError))
    {
        const size_t nIndex =
            std::find(m_Sections.begin(), m_Sections.end(), m_SymbolTable) - m_Sections.begin();
        return Refuse(m_SymbolTable->Describe(nIndex) + ": " + strError);
    }
    return true;
}

bool CElf::ReadHeader(const std::vector<char>& vBuffer)
{
    const auto tooShort = [&vBuffer](size_t nHeaderSize)
    {
        return "the file (" + std::to_string(vBuffer.size()) + " bytes) is shorter than its " +
               std::to_string(nHeaderSize) + "-byte header";
    };
    if (vBuffer.size() < sizeof(Elf32_Ehdr))
    {
        return Refuse(tooShort(sizeof(Elf32_Ehdr)));
    }
    m_IsElf64 = vBuffer[EI_CLASS] == ELFCLASS64;
    if (vBuffer.size() < FileHeaderSize(m_IsElf64))
    {
        return Refuse(tooShort(FileHeaderSize(m_IsElf64)));
    }
    if (m_IsElf64)
    {
        std::memcpy(&m_Header, vBuffer.data(), sizeof(Elf64_Ehdr));
    }
    else
    {
        Elf32_Ehdr header;
        std::memcpy(&header, vBuffer.data(), sizeof(header));
        CopyFileHeader(header, m_Header);
    }
    const unsigned char* pIdent = m_Header.e_ident;
    if (std::memcmp(pIdent, ELFMAG, SELFMAG) != 0)
    {
        return Refuse("no ELF magic number");
    }
    if (pIdent[EI_CLASS] != ELFCLASS32 && pIdent[EI_CLASS] != ELFCLASS64)
    {
        return Refuse("class " + std::to_string(pIdent[EI_CLASS]) + " is neither 32- nor 64-bit");
    }
    if (pIdent[EI_DATA] != ELFDATA2LSB)
    {
        return Refuse("byte order " + std::to_string(pIdent[EI_DATA]) + " is not little-endian");
    }
    if (pIdent[EI_VERSION] != EV_CURRENT || m_Header.e_version != EV_CURRENT)
    {
        return Refuse("version " + std::to_string(pIdent[EI_VERSION]) + "/" +
                      std::to_string(m_Header.e_version) + ", expected 1/1");
    }
    return true;
}

bool CElf::ReadSections(const std::vector<char>& vBuffer)
{
    const size_t nHeaderSize = SectionHeaderSize(m_IsElf64);

    const auto headerPastTheEnd = [&vBuffer, this](size_t nIndex, uint64_t nOffset)
    {
        return Refuse("section " + std::to_string(nIndex) + ": " +
                      PastTheEnd("header", nOffset, vBuffer.size()));
    };
    // The section names come from the string table's bytes as they lie in the file.
    CElfSection names;
    const uint64_t nNamesHeader = m_Header.e_shoff + nHeaderSize * m_Header.e_shstrndx;
    if (!names.Load(vBuffer, nNamesHeader, m_IsElf64))
    {
        return headerPastTheEnd(m_Header.e_shstrndx, nNamesHeader);
    }
    const std::vector<char>& vNames = names.GetData();

    m_Sections.assign(m_Header.e_shnum, nullptr);
    for (size_t i = 0; i < m_Sections.size(); ++i)
    {
        const uint64_t nOffset = m_Header.e_shoff + i * nHeaderSize;
        if (!RangeInside(nOffset, nHeaderSize, vBuffer.size()))
        {
            return headerPastTheEnd(i, nOffset);
        }
        uint32_t nType = 0;
        std::memcpy(&nType, vBuffer.data() + nOffset + offsetof(Elf64_Shdr, sh_type),
                    sizeof(nType));
        const std::string strSection = "section " + std::to_string(i);
        if (IsRefusedType(nType))
        {
            return Refuse(strSection + ": type " + std::to_string(nType) + " is not supported");
        }

        CElfSection* pSection = nullptr;
        if (nType == SHT_SYMTAB)
        {
            if (m_SymbolTable != nullptr)
            {
                return Refuse(strSection + ": a second symbol table");
            }
            m_SymbolTable = new CElfSymbolTable;
            pSection = m_SymbolTable;
        }
        else if (i == m_Header.e_shstrndx)
        {
            m_SectionHeaderStringTable = new CElfStringTable;
            pSection = m_SectionHeaderStringTable;
        }
        else if (nType == SHT_STRTAB)
        {
            pSection = new CElfStringTable;
        }
        else
        {
            pSection = new CElfSection;
        }
        m_Sections[i] = pSection;

        // The header fits, as checked above, so the load succeeds.
        pSection->Load(vBuffer, nOffset, m_IsElf64);
        if (!CElfStringTable::ReadString(vNames.data(), vNames.size(), pSection->m_Header.sh_name,
                                         pSection->m_strName))
        {
            return Refuse(strSection + ": name offset " +
                          std::to_string(pSection->m_Header.sh_name) +
                          " is outside the section name table or has no NUL");
        }
    }
    if (m_SectionHeaderStringTable == nullptr)
    {
        return Refuse("section " + std::to_string(m_Header.e_shstrndx) +
                      ": the section name table is a symbol table");
    }
    return true;
}

bool CElf::LinkSections()
{
    for (size_t i = 0; i < m_Sections.size(); ++i)
    {
        CElfSection* pSection = m_Sections[i];
        const Elf64_Shdr& header = pSection->m_Header;
        if (!HasLinkSection(header.sh_type))
        {
            continue;
        }
        const auto refuseReference = [&](const char* pField, uint32_t nReference)
        {
            return Refuse(pSection->Describe(i) + ": " + pField + " " + std::to_string(nReference) +
                          " is not one of the " + std::to_string(m_Sections.size()) + " sections");
        };
        if (header.sh_link >= m_Sections.size())
        {
            return refuseReference("link", header.sh_link);
        }
        pSection->m_pLinkSection = m_Sections[header.sh_link];
        if (header.sh_type == SHT_REL)
        {
            if (header.sh_info >= m_Sections.size())
            {
                return refuseReference("info", header.sh_info);
            }
            pSection->m_pInfoSection = m_Sections[header.sh_info];
        }
    }
    return true;
}

void CElf::Clear()
{
    for (CElfSection* pSection : m_Sections)
    {
        delete pSection;
    }
    m_Sections.clear();
    m_SectionHeaderStringTable = nullptr;
    m_SymbolTable = nullptr;
    m_Initialized = false;
    m_IsElf64 = false;
    m_Header = Elf64_Ehdr();
    m_strLastError.clear();
}

void CElf::CopyFrom(const CElf& other)
{
    m_strLastError = other.m_strLastError;
    if (!other.m_Initialized)
    {
        return;
    }
    m_IsElf64 = other.m_IsElf64;
    m_Header = other.m_Header;

    // The two tables that the writer rebuilds are copied without their bytes.
    std::map<const CElfSection*, CElfSection*> mapCopies;
    for (const CElfSection* pSource : other.m_Sections)
    {
        CElfSection* pSection = nullptr;
        if (pSource->GetType() == SHT_SYMTAB)
        {
            m_SymbolTable = new CElfSymbolTable;
            pSection = m_SymbolTable;
        }
        else if (pSource == other.m_SectionHeaderStringTable)
        {
            m_SectionHeaderStringTable = new CElfStringTable;
            pSection = m_SectionHeaderStringTable;
        }
        else if (pSource->GetType() == SHT_STRTAB)
        {
            pSection = new CElfStringTable;
        }
        else
        {
            pSection = new CElfSection;
            pSection->m_vData = pSource->m_vData;
        }
        m_Sections.push_back(pSection);
        mapCopies[pSource] = pSection;

        Elf64_Shdr& header = pSection->m_Header;
        const Elf64_Shdr& source = pSource->m_Header;
        header.sh_type = source.sh_type;
        header.sh_flags = source.sh_flags;
        header.sh_info = source.sh_info;
        header.sh_addralign = source.sh_addralign;
        header.sh_entsize = source.sh_entsize;
        pSection->m_strName = pSource->m_strName;
    }

    const auto mapped = [&mapCopies](const CElfSection* pSource) -> CElfSection*
    {
        std::map<const CElfSection*, CElfSection*>::const_iterator it = mapCopies.find(pSource);
        return it == mapCopies.end() ? nullptr : it->second;
    };
    for (size_t i = 0; i < m_Sections.size(); ++i)
    {
        m_Sections[i]->m_pLinkSection = mapped(other.m_Sections[i]->m_pLinkSection);
        m_Sections[i]->m_pInfoSection = mapped(other.m_Sections[i]->m_pInfoSection);
    }

    if (other.m_SymbolTable != nullptr)
    {
        for (const CElfSymbolTable::TableEntry& entry : *other.m_SymbolTable)
        {
            m_SymbolTable->AddSymbol(entry.name, ELF64_ST_BIND(entry.st_info),
                                     ELF64_ST_TYPE(entry.st_info), entry.st_other,
                                     mapped(entry.section), entry.st_value, entry.st_size);
        }
    }
    m_Initialized = true;
}

CElfSection* CElf::GetSection(const std::string& strName) const
{
    for (CElfSection* pSection : m_Sections)
    {
        if (pSection->m_strName == strName)
        {
            return pSection;
        }
    }
    return nullptr;
}

CElfSection* CElf::GetSection(size_t nIndex) const
{
    return nIndex < m_Sections.size() ? m_Sections[nIndex] : nullptr;
}

CElf::iterator CElf::find(const std::string& strName)
{
    return std::find_if(m_Sections.begin(), m_Sections.end(),
                        [&strName](const CElfSection* pSection)
                        { return pSection->m_strName == strName; });
}

CElfSection* CElf::AddSection(const std::string& strName, uint32_t nType, uint64_t nFlags,
                              uint32_t nInfo, uint64_t nAlign, uint64_t nEntrySize)
{
    if (!m_Initialized || nType == SHT_SYMTAB || nType == SHT_STRTAB || nType == SHT_DYNSYM ||
        IsRefusedType(nType))
    {
        return nullptr;
    }
    CElfSection* pSection = new CElfSection;
    pSection->m_strName = strName;
    pSection->m_Header.sh_type = nType;
    pSection->m_Header.sh_flags = nFlags;
    pSection->m_Header.sh_info = nInfo;
    pSection->m_Header.sh_addralign = nAlign;
    pSection->m_Header.sh_entsize = nEntrySize;
    m_Sections.push_back(pSection);
    return pSection;
}

bool CElf::RemoveSection(const std::string& strName)
{
    iterator it = find(strName);
    if (it == m_Sections.end())
    {
        return false;
    }
    CElfSection* pRemoved = *it;
    if (pRemoved == m_SymbolTable || pRemoved == m_SectionHeaderStringTable)
    {
        return false;
    }
    if (m_SymbolTable != nullptr)
    {
        m_SymbolTable->RemoveSymbolsForSection(pRemoved);
    }
    // A section that still refers to the removed one keeps its old numbers instead.
    for (CElfSection* pSection : m_Sections)
    {
        if (pSection->m_pLinkSection == pRemoved)
        {
            pSection->m_pLinkSection = nullptr;
        }
        if (pSection->m_pInfoSection == pRemoved)
        {
            pSection->m_pInfoSection = nullptr;
        }
    }
    m_Sections.erase(it);
    delete pRemoved;
    return true;
}

bool CElf::SetClass(unsigned char nClass)
{
    if (!m_Initialized || nClass != ELFCLASS32)
    {
        return false;
    }
    m_Header.e_ident[EI_CLASS] = ELFCLASS32;
    m_IsElf64 = false;
    m_Header.e_ehsize = sizeof(Elf32_Ehdr);
    m_Header.e_shentsize = sizeof(Elf32_Shdr);
    if (m_SymbolTable != nullptr)
    {
        m_SymbolTable->SetEntrySize(sizeof(Elf32_Sym));
    }
    return true;
}

bool CElf::SetData(unsigned char nData)
{
    if (nData != ELFDATA2LSB)
    {
        return false;
    }
    m_Header.e_ident[EI_DATA] = nData;
    return true;
}

bool CElf::Store(std::vector<char>& vBuffer)
{
    if (!m_Initialized)
    {
        return Refuse("no file was loaded");
    }
    m_strLastError.clear();
    vBuffer.clear();
    if (m_Sections.size() >= SHN_LORESERVE)
    {
        return Refuse(std::to_string(m_Sections.size()) + " sections reach the reserved indices");
    }
    // Both names would go into one table, and the section names would be lost.
    if (m_SymbolTable != nullptr && m_SymbolTable->GetLinkSection() == m_SectionHeaderStringTable)
    {
        return Refuse("the symbol names would share the section name table");
    }

    std::map<const CElfSection*, size_t> mapIndices;
    for (size_t i = 0; i < m_Sections.size(); ++i)
    {
        mapIndices[m_Sections[i]] = i;
    }
    if (!AssignNames(mapIndices))
    {
        return false;
    }
    std::string strError;
    if (m_SymbolTable != nullptr && !m_SymbolTable->WriteEntries(mapIndices, m_IsElf64, strError))
    {
        return Refuse(m_SymbolTable->Describe(mapIndices[m_SymbolTable]) + ": " + strError);
    }
    m_Header.e_shnum = static_cast<uint16_t>(m_Sections.size());

    uint64_t nFileSize = 0;
    if (!LayOut(nFileSize))
    {
        return false;
    }
    vBuffer.assign(nFileSize, 0);
    m_Header.e_shstrndx = static_cast<uint16_t>(mapIndices[m_SectionHeaderStringTable]);
    return WriteImage(vBuffer);
}

bool CElf::AssignNames(const std::map<const CElfSection*, size_t>& mapIndices)
{
    m_SectionHeaderStringTable->ClearData();
    for (size_t i = 0; i < m_Sections.size(); ++i)
    {
        CElfSection* pSection = m_Sections[i];
        Elf64_Shdr& header = pSection->m_Header;
        header.sh_name = m_SectionHeaderStringTable->AddString(pSection->m_strName);
        if (!RenumberReference(mapIndices, pSection->m_pLinkSection, header.sh_link) ||
            !RenumberReference(mapIndices, pSection->m_pInfoSection, header.sh_info))
        {
            return Refuse(pSection->Describe(i) + ": it refers to a section outside the file");
        }
    }
    return true;
}

bool CElf::LayOut(uint64_t& nFileSize)
{
    // Nothing is placed beyond 4 GiB: the offsets keep only 32 significant bits.
    uint64_t nOffset = FileHeaderSize(m_IsElf64);
    for (size_t i = 0; i < m_Sections.size(); ++i)
    {
        CElfSection* pSection = m_Sections[i];
        Elf64_Shdr& header = pSection->m_Header;
        header.sh_size = pSection->m_vData.size();
        if (header.sh_size == 0)
        {
            header.sh_offset = 0;
            continue;
        }
        const uint64_t nAlign = header.sh_addralign == 0 ? 1 : header.sh_addralign;
        if (nAlign > MAX_ALIGNMENT)
        {
            return Refuse(pSection->Describe(i) + ": alignment " + std::to_string(nAlign) +
                          " is above the largest written, " + std::to_string(MAX_ALIGNMENT));
        }
        nOffset = (nOffset + nAlign - 1) / nAlign * nAlign;
        header.sh_offset = nOffset;
        nOffset += header.sh_size;
        if (!Fits32(nOffset))
        {
            return Refuse(pSection->Describe(i) + ": it would end past 4 GiB");
        }
    }

    nOffset = (nOffset + 7) / 8 * 8;
    m_Header.e_shoff = nOffset;
    // Headers are spaced by the file's own entry size; any other size than the class's would
    // give a file that reads back differently.
    if (m_Header.e_shentsize != SectionHeaderSize(m_IsElf64))
    {
        return Refuse("section header size " + std::to_string(m_Header.e_shentsize) +
                      ", expected " + std::to_string(SectionHeaderSize(m_IsElf64)));
    }
    nOffset += static_cast<uint64_t>(m_Header.e_shnum) * m_Header.e_shentsize;
    if (!Fits32(nOffset))
    {
        return Refuse("the section headers would end past 4 GiB");
    }
    // The carried program-header offset must still lie inside the file, or it won't load.
    if (m_Header.e_phoff > nOffset)
    {
        return Refuse(PastTheEnd("program header table", m_Header.e_phoff, nOffset));
    }
    nFileSize = nOffset;
    return true;
}

bool CElf::WriteImage(std::vector<char>& vBuffer)
{
    char* pOut = vBuffer.data();
    if (m_IsElf64)
    {
        std::memcpy(pOut, &m_Header, sizeof(Elf64_Ehdr));
    }
    else
    {
        if (!Fits32(m_Header.e_entry) || !Fits32(m_Header.e_phoff) || !Fits32(m_Header.e_shoff))
        {
            return Refuse("the entry or a header offset does not fit a 32-bit file");
        }
        Elf32_Ehdr header;
        CopyFileHeader(m_Header, header);
        std::memcpy(pOut, &header, sizeof(header));
    }

    for (const CElfSection* pSection : m_Sections)
    {
        if (!pSection->m_vData.empty())
        {
            std::memcpy(pOut + pSection->m_Header.sh_offset, pSection->m_vData.data(),
                        pSection->m_vData.size());
        }
    }

    for (size_t i = 0; i < m_Sections.size(); ++i)
    {
        const Elf64_Shdr& source = m_Sections[i]->m_Header;
        char* pHeader = pOut + m_Header.e_shoff + i * m_Header.e_shentsize;
        if (m_IsElf64)
        {
            std::memcpy(pHeader, &source, sizeof(Elf64_Shdr));
            continue;
        }
        if (!Fits32(source.sh_flags) || !Fits32(source.sh_addr) || !Fits32(source.sh_offset) ||
            !Fits32(source.sh_size) || !Fits32(source.sh_addralign) || !Fits32(source.sh_entsize))
        {
            return Refuse(m_Sections[i]->Describe(i) + ": a field does not fit a 32-bit file");
        }
        Elf32_Shdr header;
        CopySectionHeader(source, header);
        std::memcpy(pHeader, &header, sizeof(header));
    }
    return true;
}

bool CElf::Store(std::ostream& stream)
{
    std::vector<char> vBuffer;
    if (!Store(vBuffer))
    {
        return false;
    }
    stream.write(vBuffer.data(), static_cast<std::streamsize>(vBuffer.size()));
    return stream.good() || Refuse("the stream can't be written");
}

bool CElf::Store(const std::string& strFileName)
{
    if (!m_Initialized)
    {
        return Refuse("no file was loaded");
    }
    std::ofstream file(strFileName.c_str(), std::ios::binary | std::ios::trunc);
    if (!file.is_open())
    {
        return Refuse("file " + strFileName + " can't be opened for writing");
    }
    return Store(file);
}
} // namespace XAN_ElfUtils
