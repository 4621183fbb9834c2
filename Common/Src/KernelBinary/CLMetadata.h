#ifndef CL_METADATA_H
#define CL_METADATA_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// One line of a kernel's metadata block: ";" and then tokens separated by ":", the first being
// the entry type. An entry is its tokens and nothing else, so a line that nobody changes is
// written back exactly as it was read.
class CCLMetadataEntry
{
public:
    CCLMetadataEntry();
    virtual ~CCLMetadataEntry();
    CCLMetadataEntry(const CCLMetadataEntry&) = delete;
    CCLMetadataEntry& operator=(const CCLMetadataEntry&) = delete;

    // Copies the tokens of another entry.
    virtual bool Init(const CCLMetadataEntry& other);
    // Splits a line without its newline on every colon; it needs two tokens and the semicolon.
    virtual bool Parse(const std::string& strLine);
    // The line without a newline.
    virtual std::string GetText() const;
    virtual std::string GetEntryType() const;
    virtual const std::vector<std::string>& GetTokens() const;

protected:
    std::vector<std::string> m_vstrTokens;
};

// An entry of a known type with a fixed number of tokens, token 0 included. Its accessors
// answer empty or 0, and its setters do nothing, while the tokens have another length.
class CCLMetadataTypedEntry : public CCLMetadataEntry
{
public:
    bool Init(const CCLMetadataEntry& other) override;
    virtual size_t NumTokens() const = 0;

protected:
    // Sizes the tokens for NumTokens(), with the entry type first.
    void InitTokens(const char* pEntryType);
    bool InitWithCount(const CCLMetadataEntry& other, size_t nCount);

    std::string GetTextToken(size_t nIndex) const;
    void SetTextToken(size_t nIndex, const std::string& str);
    uint32_t GetNumberToken(size_t nIndex) const;
    void SetNumberToken(size_t nIndex, uint32_t nValue);
};

class CCLMetadataArgStartEntry : public CCLMetadataTypedEntry
{
public:
    static constexpr const char* ClassEntryType = "ARGSTART";
    CCLMetadataArgStartEntry() { InitTokens(ClassEntryType); }
    size_t NumTokens() const override { return 2; }
    std::string GetFunctionName() const { return GetTextToken(1); }
    void SetFunctionName(const std::string& str) { SetTextToken(1, str); }
};

class CCLMetadataArgEndEntry : public CCLMetadataTypedEntry
{
public:
    static constexpr const char* ClassEntryType = "ARGEND";
    CCLMetadataArgEndEntry() { InitTokens(ClassEntryType); }
    size_t NumTokens() const override { return 2; }
    std::string GetFunctionName() const { return GetTextToken(1); }
    void SetFunctionName(const std::string& str) { SetTextToken(1, str); }
};

class CCLMetadataVersionEntry : public CCLMetadataTypedEntry
{
public:
    static constexpr const char* ClassEntryType = "version";
    CCLMetadataVersionEntry() { InitTokens(ClassEntryType); }
    size_t NumTokens() const override { return 4; }
    uint32_t GetMajor() const { return GetNumberToken(1); }
    void SetMajor(uint32_t n) { SetNumberToken(1, n); }
    uint32_t GetMinor() const { return GetNumberToken(2); }
    void SetMinor(uint32_t n) { SetNumberToken(2, n); }
    uint32_t GetRevision() const { return GetNumberToken(3); }
    void SetRevision(uint32_t n) { SetNumberToken(3, n); }
};

class CCLMetadataDeviceEntry : public CCLMetadataTypedEntry
{
public:
    static constexpr const char* ClassEntryType = "device";
    CCLMetadataDeviceEntry() { InitTokens(ClassEntryType); }
    size_t NumTokens() const override { return 2; }
    std::string GetDeviceName() const { return GetTextToken(1); }
    void SetDeviceName(const std::string& str) { SetTextToken(1, str); }
};

class CCLMetadataUniqueIdEntry : public CCLMetadataTypedEntry
{
public:
    static constexpr const char* ClassEntryType = "uniqueid";
    CCLMetadataUniqueIdEntry() { InitTokens(ClassEntryType); }
    size_t NumTokens() const override { return 2; }
    uint32_t GetUniqueId() const { return GetNumberToken(1); }
    void SetUniqueId(uint32_t n) { SetNumberToken(1, n); }
};

class CCLMetadataPrivateIdEntry : public CCLMetadataTypedEntry
{
public:
    static constexpr const char* ClassEntryType = "privateid";
    CCLMetadataPrivateIdEntry() { InitTokens(ClassEntryType); }
    size_t NumTokens() const override { return 2; }
    uint32_t GetPrivateId() const { return GetNumberToken(1); }
    void SetPrivateId(uint32_t n) { SetNumberToken(1, n); }
};

class CCLMetadataUavIdEntry : public CCLMetadataTypedEntry
{
public:
    static constexpr const char* ClassEntryType = "uavid";
    CCLMetadataUavIdEntry() { InitTokens(ClassEntryType); }
    size_t NumTokens() const override { return 2; }
    uint32_t GetUavId() const { return GetNumberToken(1); }
    void SetUavId(uint32_t n) { SetNumberToken(1, n); }
};

// A memory declaration; "64bitABI" stands alone, so the size may be absent.
class CCLMetadataMemoryEntry : public CCLMetadataTypedEntry
{
public:
    static constexpr const char* ClassEntryType = "memory";
    CCLMetadataMemoryEntry() { InitTokens(ClassEntryType); }
    bool Init(const CCLMetadataEntry& other) override;
    size_t NumTokens() const override { return 3; }
    std::string GetMemoryName() const;
    void SetMemoryName(const std::string& str);
    uint32_t GetMemorySize() const { return GetNumberToken(2); }
    void SetMemorySize(uint32_t n) { SetNumberToken(2, n); }

private:
    bool HasName() const;
};

// Built in memory only: a text line needs two tokens.
class CCLMetadataMem64bitABIEntry : public CCLMetadataTypedEntry
{
public:
    static constexpr const char* ClassEntryType = "mem64bitABI";
    CCLMetadataMem64bitABIEntry() { InitTokens(ClassEntryType); }
    size_t NumTokens() const override { return 1; }
};

// The ids of the functions that belong to the kernel, joined by colons in one token.
class CCLMetadataFunctionEntry : public CCLMetadataTypedEntry
{
public:
    static constexpr const char* ClassEntryType = "function";
    CCLMetadataFunctionEntry() { InitTokens(ClassEntryType); }
    size_t NumTokens() const override { return 3; }
    uint32_t GetIdCount() const { return GetNumberToken(1); }
    uint32_t GetFirstId() const;
    void SetIds(const std::vector<uint32_t>& vIds);
    void AddId(uint32_t nId);
};

class CCLMetadataConstArgEntry : public CCLMetadataTypedEntry
{
public:
    static constexpr const char* ClassEntryType = "constarg";
    CCLMetadataConstArgEntry() { InitTokens(ClassEntryType); }
    size_t NumTokens() const override { return 3; }
    uint32_t GetArgIndex() const { return GetNumberToken(1); }
    void SetArgIndex(uint32_t n) { SetNumberToken(1, n); }
    std::string GetArgName() const { return GetTextToken(2); }
    void SetArgName(const std::string& str) { SetTextToken(2, str); }
};

class CCLMetadataSamplerEntry : public CCLMetadataTypedEntry
{
public:
    static constexpr const char* ClassEntryType = "sampler";
    CCLMetadataSamplerEntry() { InitTokens(ClassEntryType); }
    size_t NumTokens() const override { return 5; }
    std::string GetName() const { return GetTextToken(1); }
    void SetName(const std::string& str) { SetTextToken(1, str); }
    uint32_t GetSamplerId() const { return GetNumberToken(2); }
    void SetSamplerId(uint32_t n) { SetNumberToken(2, n); }
    uint32_t GetArgFlag() const { return GetNumberToken(3); }
    void SetArgFlag(uint32_t n) { SetNumberToken(3, n); }
    uint32_t GetSamplerValue() const { return GetNumberToken(4); }
    void SetSamplerValue(uint32_t n) { SetNumberToken(4, n); }
};

class CCLMetadataImageEntry : public CCLMetadataTypedEntry
{
public:
    static constexpr const char* ClassEntryType = "image";
    CCLMetadataImageEntry() { InitTokens(ClassEntryType); }
    size_t NumTokens() const override { return 7; }
    // The bytes the argument takes in the argument constant buffer.
    virtual uint32_t GetSize() const { return 32; }
    std::string GetName() const { return GetTextToken(1); }
    void SetName(const std::string& str) { SetTextToken(1, str); }
    std::string GetDimension() const { return GetTextToken(2); }
    void SetDimension(const std::string& str) { SetTextToken(2, str); }
    std::string GetAccess() const { return GetTextToken(3); }
    void SetAccess(const std::string& str) { SetTextToken(3, str); }
    uint32_t GetResourceId() const { return GetNumberToken(4); }
    void SetResourceId(uint32_t n) { SetNumberToken(4, n); }
    uint32_t GetNumber() const { return GetNumberToken(5); }
    void SetNumber(uint32_t n) { SetNumberToken(5, n); }
    uint32_t GetBufferOffset() const { return GetNumberToken(6); }
    void SetBufferOffset(uint32_t n) { SetNumberToken(6, n); }
};

// Value and pointer arguments begin alike: name, data type, count, number, buffer offset.
class CCLMetadataDataArgEntry : public CCLMetadataTypedEntry
{
public:
    std::string GetName() const { return GetTextToken(1); }
    void SetName(const std::string& str) { SetTextToken(1, str); }
    std::string GetDataType() const { return GetTextToken(2); }
    void SetDataType(const std::string& str) { SetTextToken(2, str); }
    uint32_t GetCount() const { return GetNumberToken(3); }
    void SetCount(uint32_t n) { SetNumberToken(3, n); }
    uint32_t GetNumber() const { return GetNumberToken(4); }
    void SetNumber(uint32_t n) { SetNumberToken(4, n); }
    uint32_t GetBufferOffset() const { return GetNumberToken(5); }
    void SetBufferOffset(uint32_t n) { SetNumberToken(5, n); }
};

class CCLMetadataValueEntry : public CCLMetadataDataArgEntry
{
public:
    static constexpr const char* ClassEntryType = "value";
    CCLMetadataValueEntry() { InitTokens(ClassEntryType); }
    size_t NumTokens() const override { return 6; }
    // At least 4 bytes an item, rounded up to whole 16-byte rows.
    virtual uint32_t GetSize() const;

    // The bytes of one item of a data type; 0 for a type without a size.
    static uint32_t GetDataTypeSize(const std::string& strDataType);
};

// A pointer argument of a block below revision 87.
class CCLMetadataPointerEntry : public CCLMetadataDataArgEntry
{
public:
    static constexpr const char* ClassEntryType = "pointer";
    CCLMetadataPointerEntry() { InitTokens(ClassEntryType); }
    size_t NumTokens() const override { return 9; }
    virtual uint32_t GetSize() const { return 16; }
    std::string GetMemoryType() const { return GetTextToken(6); }
    void SetMemoryType(const std::string& str) { SetTextToken(6, str); }
    uint32_t GetResourceId() const { return GetNumberToken(7); }
    void SetResourceId(uint32_t n) { SetNumberToken(7, n); }
    uint32_t GetAlignment() const { return GetNumberToken(8); }
    void SetAlignment(uint32_t n) { SetNumberToken(8, n); }
};

// Revisions 87 to 99 add the access: "RO", "WO" or "RW", as 1, 2 and 3.
class CCLMetadataPointerEntryR87 : public CCLMetadataPointerEntry
{
public:
    CCLMetadataPointerEntryR87() { InitTokens(ClassEntryType); }
    size_t NumTokens() const override { return 10; }
    // 0 for any other text.
    uint32_t GetAccess() const;
    void SetAccess(uint32_t nAccess);
};

// From revision 100 on two flags, "1" or "0", follow the access.
class CCLMetadataPointerEntryR100 : public CCLMetadataPointerEntryR87
{
public:
    CCLMetadataPointerEntryR100() { InitTokens(ClassEntryType); }
    size_t NumTokens() const override { return 12; }
    bool GetFirstFlag() const { return GetNumberToken(10) != 0; }
    void SetFirstFlag(bool b) { SetNumberToken(10, b ? 1 : 0); }
    bool GetSecondFlag() const { return GetNumberToken(11) != 0; }
    void SetSecondFlag(bool b) { SetNumberToken(11, b ? 1 : 0); }
};

class CCLMetadataCounterEntry : public CCLMetadataTypedEntry
{
public:
    static constexpr const char* ClassEntryType = "counter";
    CCLMetadataCounterEntry() { InitTokens(ClassEntryType); }
    size_t NumTokens() const override { return 6; }
    std::string GetName() const { return GetTextToken(1); }
    void SetName(const std::string& str) { SetTextToken(1, str); }
    // The four numbers behind the name, nIndex from 0 to 3.
    uint32_t GetNumber(size_t nIndex) const { return nIndex < 4 ? GetNumberToken(2 + nIndex) : 0; }
    void SetNumber(size_t nIndex, uint32_t n);
};

// The metadata block of one kernel, one entry per line from "ARGSTART" to "ARGEND". The block
// is well-formed when it starts with "ARGSTART" and ends with "ARGEND"; the queries answer a
// neutral value otherwise.
class CCLMetadata
{
public:
    CCLMetadata();
    virtual ~CCLMetadata();
    CCLMetadata(const CCLMetadata&) = delete;
    CCLMetadata& operator=(const CCLMetadata&) = delete;

    // Where a failed check of the metadata code goes, for the whole process: the debug library
    // writes it to its consistency log, the platform to stderr. Until a user sets one, failed
    // checks go nowhere.
    typedef void (*ConsistencyReport)(const char* pFunction, const char* pCondition);
    static void SetConsistencyReport(ConsistencyReport pReport);

    // Replaces the entries by those of the text. Lines before "version" and behind "ARGEND" are
    // dropped.
    bool Parse(const std::string& strText);
    // Every entry's line with a newline behind it.
    std::string GetText() const;

    virtual bool GetVersion(uint32_t* pMajor, uint32_t* pMinor, uint32_t* pRevision) const;
    virtual std::string GetDevice() const;
    virtual std::string GetFunctionName() const;
    virtual uint32_t GetUniqueId() const;
    virtual bool Is64BitABI() const;
    // The first id of the "function" entry; 0xFFFFFFFF without one.
    virtual uint32_t GetFunctionId() const;
    // 1 for "hwprivate", 2 for "uavprivate", 0 without private memory.
    virtual uint32_t GetPrivateMemoryType() const;
    virtual uint32_t GetPrivateId() const;
    virtual uint32_t GetUavId() const;
    virtual bool SetUavId(uint32_t nUavId);
    // Sets every memory entry whose name contains "local".
    virtual bool SetLocalMemorySize(uint32_t nSize);
    // The end of the last argument in the argument constant buffer.
    virtual uint32_t GetArgBufferSize() const;
    virtual const std::vector<CCLMetadataEntry*>& GetEntries() const;

    // The inserting operations always take the entry over: one that they refuse is deleted,
    // unless the block holds it already.
    virtual bool InsertEntryAfterStart(CCLMetadataEntry* pEntry);
    virtual bool AddEntry(CCLMetadataEntry* pEntry);
    // Gives the entry back to the caller.
    virtual bool RemoveEntry(CCLMetadataEntry* pEntry);
    // The "image", "value", "pointer" and "counter" entries, in line order.
    virtual void GetArguments(std::vector<CCLMetadataEntry*>& vArguments) const;
    // Inserts behind the last argument, before the "function" entry.
    virtual bool InsertArgument(CCLMetadataEntry* pEntry);
    virtual bool AddFunctionId(uint32_t nId);

private:
    bool IsWellFormed() const;
    void Clear();
    // Takes the entry over and inserts it before itPosition; refuses null and entries already
    // held.
    bool InsertEntry(std::vector<CCLMetadataEntry*>::iterator itPosition, CCLMetadataEntry* pEntry);
    template <typename TEntry> TEntry* FindFirst() const;

    std::vector<CCLMetadataEntry*> m_vEntries;
};

#endif
