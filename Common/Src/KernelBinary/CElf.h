#ifndef CELF_H
#define CELF_H

#include <elf.h>

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

namespace XAN_ElfUtils
{
class CElf;
class CElfSymbolTable;

// True when nSize bytes from nOffset lie inside nLimit bytes, without overflow.
inline bool RangeInside(uint64_t nOffset, uint64_t nSize, uint64_t nLimit)
{
    return nOffset <= nLimit && nSize <= nLimit - nOffset;
}

// One section with its own copy of its bytes. Links to other sections are held as pointers
// while the file is in memory, so that sections can be added and removed freely; the numbers
// in the header are worked out again when the file is written.
class CElfSection
{
public:
    CElfSection();
    virtual ~CElfSection();
    CElfSection(const CElfSection&) = delete;
    CElfSection& operator=(const CElfSection&) = delete;

    // Takes the section header at nHeaderOffset (widened from the 32-bit form when bIsElf64 is
    // false) and, when they lie inside the buffer, the section's bytes. False when the header
    // itself doesn't fit into the buffer.
    bool Load(const std::vector<char>& vBuffer, size_t nHeaderOffset, bool bIsElf64);

    const std::string& GetName() const { return m_strName; }
    void SetName(const std::string& strName) { m_strName = strName; }
    // The offset of the name in the section-header string table as last loaded or written.
    uint32_t GetNameOffset() const { return m_Header.sh_name; }
    uint32_t GetType() const { return m_Header.sh_type; }
    void SetType(uint32_t nType) { m_Header.sh_type = nType; }
    uint64_t GetFlags() const { return m_Header.sh_flags; }
    void SetFlags(uint64_t nFlags) { m_Header.sh_flags = nFlags; }
    uint64_t GetAddr() const { return m_Header.sh_addr; }
    void SetAddr(uint64_t nAddr) { m_Header.sh_addr = nAddr; }
    // The file offset as last loaded or written; every write lays the file out anew.
    uint64_t GetOffset() const { return m_Header.sh_offset; }
    // The size of the data held, which is what the next write records.
    uint64_t GetSize() const { return m_vData.size(); }
    uint32_t GetLink() const { return m_Header.sh_link; }
    void SetLink(uint32_t nLink) { m_Header.sh_link = nLink; }
    uint32_t GetInfo() const { return m_Header.sh_info; }
    void SetInfo(uint32_t nInfo) { m_Header.sh_info = nInfo; }
    uint64_t GetAlign() const { return m_Header.sh_addralign; }
    // Only 0 and powers of two are alignments.
    bool SetAlign(uint64_t nAlign);
    // How messages name the section: "section 3 (.symtab)", or "section 3" without a name.
    std::string Describe(size_t nIndex) const;
    uint64_t GetEntrySize() const { return m_Header.sh_entsize; }
    void SetEntrySize(uint64_t nEntrySize) { m_Header.sh_entsize = nEntrySize; }
    CElfSection* GetLinkSection() const { return m_pLinkSection; }
    void SetLinkSection(CElfSection* pSection) { m_pLinkSection = pSection; }
    CElfSection* GetInfoSection() const { return m_pInfoSection; }
    void SetInfoSection(CElfSection* pSection) { m_pInfoSection = pSection; }

    const std::vector<char>& GetData() const { return m_vData; }
    void SetData(const void* pData, size_t nSize);
    void SetData(const std::string& strData);
    void SetData(const std::vector<char>& vData);
    void AppendData(const void* pData, size_t nSize);
    void AppendData(const std::string& strData);
    void AppendData(const std::vector<char>& vData);
    void ClearData() { m_vData.clear(); }

private:
    friend class CElf;

    Elf64_Shdr m_Header;
    CElfSection* m_pLinkSection;
    CElfSection* m_pInfoSection;
    std::string m_strName;
    std::vector<char> m_vData;
};

// A section of NUL-terminated strings.
class CElfStringTable : public CElfSection
{
public:
    // Appends the string and its NUL; gives the offset at which it begins. Equal strings are
    // stored again, not shared.
    uint32_t AddString(const std::string& str);

    // The string at nOffset in pTable, which must end with a NUL inside the table.
    static bool ReadString(const char* pTable, size_t nTableSize, uint64_t nOffset,
                           std::string& str);
};

// The in-memory model of one little-endian ELF file of either class, held in the 64-bit form.
// Writing lays the whole file out again from the sections in their order.
class CElf
{
public:
    typedef std::vector<CElfSection*>::iterator iterator;

    // A new 64-bit file of type nType (ET_EXEC, ET_REL) with no program headers and only its
    // three tables: the section names, the symbol names and a symbol table holding the null
    // symbol.
    explicit CElf(uint16_t nType);
    explicit CElf(const std::string& strFileName);
    explicit CElf(std::istream& stream);
    explicit CElf(const std::vector<char>& vBuffer);
    CElf(const CElf& other);
    CElf& operator=(const CElf& other);
    ~CElf();

    bool IsInitialized() const { return m_Initialized; }
    // Why the last load or write failed, such as "section 3 (.symtab): entry size 20,
    // expected 24"; empty after one that succeeded.
    const std::string& GetLastError() const { return m_strLastError; }

    size_t GetNumSections() const { return m_Sections.size(); }
    // The first section of exactly that name, or null.
    CElfSection* GetSection(const std::string& strName) const;
    // Null past the last section.
    CElfSection* GetSection(size_t nIndex) const;
    iterator begin() { return m_Sections.begin(); }
    iterator end() { return m_Sections.end(); }
    iterator find(const std::string& strName);

    // Appends a plain section with empty data. Null for the types that only a file can bring
    // (symbol and string tables) and for the types this model refuses.
    CElfSection* AddSection(const std::string& strName, uint32_t nType, uint64_t nFlags,
                            uint32_t nInfo, uint64_t nAlign, uint64_t nEntrySize);
    // Removes the first section of that name and its symbols. The two tables that the writer
    // rebuilds can't be removed.
    bool RemoveSection(const std::string& strName);

    CElfSymbolTable* GetSymbolTable() const { return m_SymbolTable; }

    bool Store(std::vector<char>& vBuffer);
    bool Store(std::ostream& stream);
    bool Store(const std::string& strFileName);

    unsigned char GetClass() const { return m_Header.e_ident[EI_CLASS]; }
    // Only ELFCLASS32 can be set: a file is written as 32-bit from then on.
    bool SetClass(unsigned char nClass);
    unsigned char GetData() const { return m_Header.e_ident[EI_DATA]; }
    // Only little-endian can be set.
    bool SetData(unsigned char nData);
    unsigned char GetIdentVersion() const { return m_Header.e_ident[EI_VERSION]; }
    uint16_t GetType() const { return m_Header.e_type; }
    void SetType(uint16_t nType) { m_Header.e_type = nType; }
    uint16_t GetMachine() const { return m_Header.e_machine; }
    void SetMachine(uint16_t nMachine) { m_Header.e_machine = nMachine; }
    uint32_t GetVersion() const { return m_Header.e_version; }
    uint64_t GetEntry() const { return m_Header.e_entry; }
    void SetEntry(uint64_t nEntry) { m_Header.e_entry = nEntry; }
    uint32_t GetFlags() const { return m_Header.e_flags; }
    void SetFlags(uint32_t nFlags) { m_Header.e_flags = nFlags; }

private:
    // Records the reason and answers false, for the check that failed to return.
    bool Refuse(const std::string& strReason);
    // Appends one of the tables that a new file starts with.
    void AddTable(CElfSection* pTable, const char* pName, uint32_t nType, uint64_t nAlign);
    void Parse(std::istream& stream);
    bool Parse(const std::vector<char>& vBuffer);
    bool ReadHeader(const std::vector<char>& vBuffer);
    bool ReadSections(const std::vector<char>& vBuffer);
    bool LinkSections();
    void Clear();
    void CopyFrom(const CElf& other);
    bool AssignNames(const std::map<const CElfSection*, size_t>& mapIndices);
    bool LayOut(uint64_t& nFileSize);
    bool WriteImage(std::vector<char>& vBuffer);

    Elf64_Ehdr m_Header = {};
    bool m_Initialized = false;
    bool m_IsElf64 = false;
    std::vector<CElfSection*> m_Sections;
    CElfStringTable* m_SectionHeaderStringTable = nullptr;
    CElfSymbolTable* m_SymbolTable = nullptr;
    std::string m_strLastError;
};
} // namespace XAN_ElfUtils

#endif
