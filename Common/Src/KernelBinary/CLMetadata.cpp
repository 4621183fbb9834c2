#include "CLMetadata.h"

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>

#include <algorithm>
#include <atomic>

namespace
{
// Constant-initialised, so a user may set it from a static initialiser of its own.
std::atomic<CCLMetadata::ConsistencyReport> g_pConsistencyReport{nullptr};

void ReportFailedCheck(const char* pFunction, const char* pCondition)
{
    if (CCLMetadata::ConsistencyReport pReport = g_pConsistencyReport.load())
    {
        pReport(pFunction, pCondition);
    }
}

const uint32_t NO_ID = 0xFFFFFFFFu;

// The revisions at which a pointer line grows.
const uint32_t REVISION_ACCESS = 87;
const uint32_t REVISION_FLAGS = 100;
// Later revisions have a grammar this model doesn't know.
const uint32_t REVISION_LAST_KNOWN = 111;

// Leading decimal digits; text that isn't a number reads as 0, and too many digits as the
// largest value.
uint32_t ReadNumber(const std::string& str)
{
    uint64_t nValue = 0;
    for (char c : str)
    {
        if (c < '0' || c > '9')
        {
            break;
        }
        nValue = std::min<uint64_t>(nValue * 10 + static_cast<uint64_t>(c - '0'), NO_ID);
    }
    return static_cast<uint32_t>(nValue);
}

const char* const g_AccessNames[] = {"RO", "WO", "RW"};

bool IsArgumentType(const std::string& strType)
{
    return strType == CCLMetadataImageEntry::ClassEntryType ||
           strType == CCLMetadataValueEntry::ClassEntryType ||
           strType == CCLMetadataPointerEntry::ClassEntryType ||
           strType == CCLMetadataCounterEntry::ClassEntryType;
}

// Where an argument ends in the argument constant buffer; counters and other entries have no
// place there.
bool GetArgumentEnd(const CCLMetadataEntry* pEntry, uint32_t& nEnd)
{
    if (const CCLMetadataImageEntry* pImage = dynamic_cast<const CCLMetadataImageEntry*>(pEntry))
    {
        nEnd = pImage->GetBufferOffset() + pImage->GetSize();
        return true;
    }
    if (const CCLMetadataValueEntry* pValue = dynamic_cast<const CCLMetadataValueEntry*>(pEntry))
    {
        nEnd = pValue->GetBufferOffset() + pValue->GetSize();
        return true;
    }
    if (const CCLMetadataPointerEntry* pPointer =
            dynamic_cast<const CCLMetadataPointerEntry*>(pEntry))
    {
        nEnd = pPointer->GetBufferOffset() + pPointer->GetSize();
        return true;
    }
    return false;
}

template <typename TEntry> CCLMetadataEntry* MakeEntry()
{
    return new TEntry;
}

// The entry class that a line of this type becomes once the version is known. A type
// without a class of its own is kept as a plain entry.
CCLMetadataEntry* CreateEntry(const std::string& strType, uint32_t nRevision)
{
    static const struct
    {
        const char* pType;
        CCLMetadataEntry* (*pMake)();
    } s_Classes[] = {
        {CCLMetadataDeviceEntry::ClassEntryType, &MakeEntry<CCLMetadataDeviceEntry>},
        {CCLMetadataMem64bitABIEntry::ClassEntryType, &MakeEntry<CCLMetadataMem64bitABIEntry>},
        {CCLMetadataUniqueIdEntry::ClassEntryType, &MakeEntry<CCLMetadataUniqueIdEntry>},
        {CCLMetadataSamplerEntry::ClassEntryType, &MakeEntry<CCLMetadataSamplerEntry>},
        {CCLMetadataImageEntry::ClassEntryType, &MakeEntry<CCLMetadataImageEntry>},
        {CCLMetadataValueEntry::ClassEntryType, &MakeEntry<CCLMetadataValueEntry>},
        {CCLMetadataCounterEntry::ClassEntryType, &MakeEntry<CCLMetadataCounterEntry>},
        {CCLMetadataPrivateIdEntry::ClassEntryType, &MakeEntry<CCLMetadataPrivateIdEntry>},
        {CCLMetadataUavIdEntry::ClassEntryType, &MakeEntry<CCLMetadataUavIdEntry>},
        {CCLMetadataMemoryEntry::ClassEntryType, &MakeEntry<CCLMetadataMemoryEntry>},
        {CCLMetadataArgEndEntry::ClassEntryType, &MakeEntry<CCLMetadataArgEndEntry>},
        {CCLMetadataFunctionEntry::ClassEntryType, &MakeEntry<CCLMetadataFunctionEntry>},
        {CCLMetadataConstArgEntry::ClassEntryType, &MakeEntry<CCLMetadataConstArgEntry>}};

    // The block's revision, not the line's length, decides the form of a pointer.
    if (strType == CCLMetadataPointerEntry::ClassEntryType)
    {
        if (nRevision < REVISION_ACCESS)
        {
            return new CCLMetadataPointerEntry;
        }
        if (nRevision < REVISION_FLAGS)
        {
            return new CCLMetadataPointerEntryR87;
        }
        return new CCLMetadataPointerEntryR100;
    }
    for (const auto& entryClass : s_Classes)
    {
        if (strType == entryClass.pType)
        {
            return entryClass.pMake();
        }
    }
    return new CCLMetadataEntry;
}
} // namespace

CCLMetadataEntry::CCLMetadataEntry() = default;

CCLMetadataEntry::~CCLMetadataEntry() = default;

bool CCLMetadataEntry::Init(const CCLMetadataEntry& other)
{
    if (&other == this)
    {
        return false;
    }
    m_vstrTokens = other.m_vstrTokens;
    return true;
}

bool CCLMetadataEntry::Parse(const std::string& strLine)
{
    boost::split(m_vstrTokens, strLine, boost::is_any_of(":"));
    if (m_vstrTokens.size() < 2 || m_vstrTokens[0].empty() || m_vstrTokens[0][0] != ';')
    {
        return false;
    }
    m_vstrTokens[0].erase(0, 1);
    return true;
}

std::string CCLMetadataEntry::GetText() const
{
    std::string strText = ";";
    for (size_t i = 0; i < m_vstrTokens.size(); ++i)
    {
        if (i > 0)
        {
            strText += ':';
        }
        strText += m_vstrTokens[i];
    }
    return strText;
}

std::string CCLMetadataEntry::GetEntryType() const
{
    return m_vstrTokens.empty() ? std::string() : m_vstrTokens[0];
}

const std::vector<std::string>& CCLMetadataEntry::GetTokens() const
{
    return m_vstrTokens;
}

bool CCLMetadataTypedEntry::Init(const CCLMetadataEntry& other)
{
    return InitWithCount(other, NumTokens());
}

void CCLMetadataTypedEntry::InitTokens(const char* pEntryType)
{
    m_vstrTokens.assign(NumTokens(), std::string());
    m_vstrTokens[0] = pEntryType;
}

bool CCLMetadataTypedEntry::InitWithCount(const CCLMetadataEntry& other, size_t nCount)
{
    // Token 0 of this entry is its class's entry type from construction on.
    const std::vector<std::string>& vstrOther = other.GetTokens();
    if (&other == this || vstrOther.size() != nCount || m_vstrTokens.empty() ||
        vstrOther[0] != m_vstrTokens[0])
    {
        return false;
    }
    m_vstrTokens = vstrOther;
    return true;
}

std::string CCLMetadataTypedEntry::GetTextToken(size_t nIndex) const
{
    return m_vstrTokens.size() == NumTokens() && nIndex < m_vstrTokens.size() ? m_vstrTokens[nIndex]
                                                                              : std::string();
}

void CCLMetadataTypedEntry::SetTextToken(size_t nIndex, const std::string& str)
{
    if (m_vstrTokens.size() == NumTokens() && nIndex < m_vstrTokens.size())
    {
        m_vstrTokens[nIndex] = str;
    }
}

uint32_t CCLMetadataTypedEntry::GetNumberToken(size_t nIndex) const
{
    return ReadNumber(GetTextToken(nIndex));
}

void CCLMetadataTypedEntry::SetNumberToken(size_t nIndex, uint32_t nValue)
{
    SetTextToken(nIndex, std::to_string(nValue));
}

bool CCLMetadataMemoryEntry::Init(const CCLMetadataEntry& other)
{
    return InitWithCount(other, NumTokens()) || InitWithCount(other, NumTokens() - 1);
}

bool CCLMetadataMemoryEntry::HasName() const
{
    return m_vstrTokens.size() == NumTokens() || m_vstrTokens.size() == NumTokens() - 1;
}

std::string CCLMetadataMemoryEntry::GetMemoryName() const
{
    return HasName() ? m_vstrTokens[1] : std::string();
}

void CCLMetadataMemoryEntry::SetMemoryName(const std::string& str)
{
    if (HasName())
    {
        m_vstrTokens[1] = str;
    }
}

uint32_t CCLMetadataFunctionEntry::GetFirstId() const
{
    const std::string strIds = GetTextToken(2);
    return ReadNumber(GetIdCount() > 1 ? strIds.substr(0, strIds.find(':')) : strIds);
}

void CCLMetadataFunctionEntry::SetIds(const std::vector<uint32_t>& vIds)
{
    std::string strIds;
    for (uint32_t nId : vIds)
    {
        strIds += (strIds.empty() ? "" : ":") + std::to_string(nId);
    }
    SetNumberToken(1, static_cast<uint32_t>(vIds.size()));
    SetTextToken(2, strIds);
}

void CCLMetadataFunctionEntry::AddId(uint32_t nId)
{
    SetNumberToken(1, GetIdCount() + 1);
    SetTextToken(2, GetTextToken(2) + ":" + std::to_string(nId));
}

uint32_t CCLMetadataValueEntry::GetSize() const
{
    const uint32_t nItemSize = std::max<uint32_t>(4, GetDataTypeSize(GetDataType()));
    return (nItemSize * GetCount() + 15) / 16 * 16;
}

uint32_t CCLMetadataValueEntry::GetDataTypeSize(const std::string& strDataType)
{
    static const struct
    {
        const char* pName;
        uint32_t nSize;
    } s_Sizes[] = {{"i1", 4},  {"i8", 1},     {"i16", 2},    {"u16", 2},
                   {"i32", 4}, {"u32", 4},    {"float", 4},  {"i64", 8},
                   {"u64", 8}, {"double", 8}, {"struct", 1}, {"union", 1}};
    for (const auto& size : s_Sizes)
    {
        if (strDataType == size.pName)
        {
            return size.nSize;
        }
    }
    if (strDataType == "event")
    {
        ReportFailedCheck(
            __func__,
            "These seem to be passed as pointers rather than values. Explore why you got here.");
    }
    else if (strDataType == "opaque")
    {
        ReportFailedCheck(__func__, "I don't know what this type is so bail.");
    }
    else
    {
        ReportFailedCheck(__func__, "Unrecognized data type");
    }
    return 0;
}

uint32_t CCLMetadataPointerEntryR87::GetAccess() const
{
    const std::string strAccess = GetTextToken(9);
    for (uint32_t i = 0; i < 3; ++i)
    {
        if (strAccess == g_AccessNames[i])
        {
            return i + 1;
        }
    }
    return 0;
}

void CCLMetadataPointerEntryR87::SetAccess(uint32_t nAccess)
{
    if (nAccess < 1 || nAccess > 3)
    {
        ReportFailedCheck(__func__, "Unrecognized access type");
        return;
    }
    SetTextToken(9, g_AccessNames[nAccess - 1]);
}

void CCLMetadataCounterEntry::SetNumber(size_t nIndex, uint32_t n)
{
    if (nIndex < 4)
    {
        SetNumberToken(2 + nIndex, n);
    }
}

void CCLMetadata::SetConsistencyReport(ConsistencyReport pReport)
{
    g_pConsistencyReport.store(pReport);
}

CCLMetadata::CCLMetadata() = default;

CCLMetadata::~CCLMetadata()
{
    Clear();
}

void CCLMetadata::Clear()
{
    for (CCLMetadataEntry* pEntry : m_vEntries)
    {
        delete pEntry;
    }
    m_vEntries.clear();
}

bool CCLMetadata::Parse(const std::string& strText)
{
    Clear();
    std::vector<std::string> vstrLines;
    boost::split(vstrLines, strText, boost::is_any_of("\n"));

    enum
    {
        BEFORE_START,
        BEFORE_VERSION,
        INSIDE
    } state = BEFORE_START;
    std::string strFunctionName;
    uint32_t nRevision = 0;

    for (const std::string& strLine : vstrLines)
    {
        CCLMetadataEntry line;
        if (!line.Parse(strLine))
        {
            return false;
        }
        const std::string strType = line.GetEntryType();

        CCLMetadataEntry* pEntry = nullptr;
        if (state == BEFORE_START)
        {
            if (strType != CCLMetadataArgStartEntry::ClassEntryType)
            {
                continue;
            }
            pEntry = new CCLMetadataArgStartEntry;
        }
        else if (state == BEFORE_VERSION)
        {
            if (strType != CCLMetadataVersionEntry::ClassEntryType)
            {
                continue;
            }
            pEntry = new CCLMetadataVersionEntry;
        }
        else
        {
            pEntry = CreateEntry(strType, nRevision);
        }
        if (!pEntry->Init(line))
        {
            delete pEntry;
            return false;
        }
        m_vEntries.push_back(pEntry);

        if (state == BEFORE_START)
        {
            strFunctionName = static_cast<CCLMetadataArgStartEntry*>(pEntry)->GetFunctionName();
            state = BEFORE_VERSION;
        }
        else if (state == BEFORE_VERSION)
        {
            const CCLMetadataVersionEntry* pVersion = static_cast<CCLMetadataVersionEntry*>(pEntry);
            const uint32_t nMajor = pVersion->GetMajor();
            nRevision = pVersion->GetRevision();
            if (nMajor > 3 || (nMajor == 1 && pVersion->GetMinor() < 4))
            {
                return false;
            }
            if (nRevision > REVISION_LAST_KNOWN)
            {
                ReportFailedCheck(__func__, "nRevision <= 111");
                return false;
            }
            state = INSIDE;
        }
        else if (strType == CCLMetadataArgEndEntry::ClassEntryType)
        {
            return static_cast<CCLMetadataArgEndEntry*>(pEntry)->GetFunctionName() ==
                   strFunctionName;
        }
    }
    return true;
}

std::string CCLMetadata::GetText() const
{
    std::string strText;
    for (const CCLMetadataEntry* pEntry : m_vEntries)
    {
        strText += pEntry->GetText() + "\n";
    }
    return strText;
}

bool CCLMetadata::IsWellFormed() const
{
    return !m_vEntries.empty() &&
           m_vEntries.front()->GetEntryType() == CCLMetadataArgStartEntry::ClassEntryType &&
           m_vEntries.back()->GetEntryType() == CCLMetadataArgEndEntry::ClassEntryType;
}

template <typename TEntry> TEntry* CCLMetadata::FindFirst() const
{
    for (CCLMetadataEntry* pEntry : m_vEntries)
    {
        if (TEntry* pTyped = dynamic_cast<TEntry*>(pEntry))
        {
            return pTyped;
        }
    }
    return nullptr;
}

bool CCLMetadata::GetVersion(uint32_t* pMajor, uint32_t* pMinor, uint32_t* pRevision) const
{
    const CCLMetadataVersionEntry* pVersion = FindFirst<CCLMetadataVersionEntry>();
    if (!IsWellFormed() || pMajor == nullptr || pMinor == nullptr || pRevision == nullptr ||
        pVersion == nullptr)
    {
        return false;
    }
    *pMajor = pVersion->GetMajor();
    *pMinor = pVersion->GetMinor();
    *pRevision = pVersion->GetRevision();
    return true;
}

std::string CCLMetadata::GetDevice() const
{
    const CCLMetadataDeviceEntry* pDevice = FindFirst<CCLMetadataDeviceEntry>();
    return IsWellFormed() && pDevice != nullptr ? pDevice->GetDeviceName() : std::string();
}

std::string CCLMetadata::GetFunctionName() const
{
    const CCLMetadataArgStartEntry* pStart =
        m_vEntries.empty() ? nullptr : dynamic_cast<CCLMetadataArgStartEntry*>(m_vEntries[0]);
    return pStart != nullptr ? pStart->GetFunctionName() : std::string();
}

uint32_t CCLMetadata::GetUniqueId() const
{
    const CCLMetadataUniqueIdEntry* pUniqueId = FindFirst<CCLMetadataUniqueIdEntry>();
    return IsWellFormed() && pUniqueId != nullptr ? pUniqueId->GetUniqueId() : 0;
}

bool CCLMetadata::Is64BitABI() const
{
    if (!IsWellFormed())
    {
        return false;
    }
    for (const CCLMetadataEntry* pEntry : m_vEntries)
    {
        const std::string strType = pEntry->GetEntryType();
        if (strType == CCLMetadataMem64bitABIEntry::ClassEntryType ||
            (strType == CCLMetadataMemoryEntry::ClassEntryType && pEntry->GetTokens().size() > 1 &&
             pEntry->GetTokens()[1] == "64bitABI"))
        {
            return true;
        }
    }
    return false;
}

uint32_t CCLMetadata::GetFunctionId() const
{
    if (!IsWellFormed())
    {
        return 0;
    }
    const CCLMetadataFunctionEntry* pFunction = FindFirst<CCLMetadataFunctionEntry>();
    return pFunction != nullptr ? pFunction->GetFirstId() : NO_ID;
}

uint32_t CCLMetadata::GetPrivateMemoryType() const
{
    if (!IsWellFormed())
    {
        return 0;
    }
    for (const CCLMetadataEntry* pEntry : m_vEntries)
    {
        const CCLMetadataMemoryEntry* pMemory = dynamic_cast<const CCLMetadataMemoryEntry*>(pEntry);
        if (pMemory == nullptr)
        {
            continue;
        }
        if (pMemory->GetMemoryName() == "hwprivate")
        {
            return 1;
        }
        if (pMemory->GetMemoryName() == "uavprivate")
        {
            return 2;
        }
    }
    return 0;
}

uint32_t CCLMetadata::GetPrivateId() const
{
    const CCLMetadataPrivateIdEntry* pPrivateId = FindFirst<CCLMetadataPrivateIdEntry>();
    return IsWellFormed() && pPrivateId != nullptr ? pPrivateId->GetPrivateId() : NO_ID;
}

uint32_t CCLMetadata::GetUavId() const
{
    const CCLMetadataUavIdEntry* pUavId = FindFirst<CCLMetadataUavIdEntry>();
    return IsWellFormed() && pUavId != nullptr ? pUavId->GetUavId() : NO_ID;
}

bool CCLMetadata::SetUavId(uint32_t nUavId)
{
    if (!IsWellFormed())
    {
        return false;
    }
    for (CCLMetadataEntry* pEntry : m_vEntries)
    {
        if (CCLMetadataUavIdEntry* pUavId = dynamic_cast<CCLMetadataUavIdEntry*>(pEntry))
        {
            pUavId->SetUavId(nUavId);
        }
    }
    return true;
}

bool CCLMetadata::SetLocalMemorySize(uint32_t nSize)
{
    if (!IsWellFormed())
    {
        return false;
    }
    for (CCLMetadataEntry* pEntry : m_vEntries)
    {
        CCLMetadataMemoryEntry* pMemory = dynamic_cast<CCLMetadataMemoryEntry*>(pEntry);
        if (pMemory != nullptr && pMemory->GetMemoryName().find("local") != std::string::npos)
        {
            pMemory->SetMemorySize(nSize);
        }
    }
    return true;
}

uint32_t CCLMetadata::GetArgBufferSize() const
{
    if (!IsWellFormed())
    {
        return 0;
    }
    uint32_t nSize = 0;
    for (const CCLMetadataEntry* pEntry : m_vEntries)
    {
        uint32_t nEnd = 0;
        if (GetArgumentEnd(pEntry, nEnd))
        {
            nSize = std::max(nSize, nEnd);
        }
    }
    return nSize;
}

const std::vector<CCLMetadataEntry*>& CCLMetadata::GetEntries() const
{
    return m_vEntries;
}

bool CCLMetadata::InsertEntry(std::vector<CCLMetadataEntry*>::iterator itPosition,
                              CCLMetadataEntry* pEntry)
{
    if (pEntry == nullptr)
    {
        return false;
    }
    // An entry held twice would be deleted twice.
    if (std::find(m_vEntries.begin(), m_vEntries.end(), pEntry) != m_vEntries.end())
    {
        return false;
    }
    m_vEntries.insert(itPosition, pEntry);
    return true;
}

bool CCLMetadata::InsertEntryAfterStart(CCLMetadataEntry* pEntry)
{
    if (!IsWellFormed())
    {
        delete pEntry;
        return false;
    }
    return InsertEntry(m_vEntries.begin() + 1, pEntry);
}

bool CCLMetadata::AddEntry(CCLMetadataEntry* pEntry)
{
    return InsertEntry(m_vEntries.end(), pEntry);
}

bool CCLMetadata::RemoveEntry(CCLMetadataEntry* pEntry)
{
    std::vector<CCLMetadataEntry*>::iterator it =
        std::find(m_vEntries.begin(), m_vEntries.end(), pEntry);
    if (it == m_vEntries.end())
    {
        return false;
    }
    m_vEntries.erase(it);
    return true;
}

void CCLMetadata::GetArguments(std::vector<CCLMetadataEntry*>& vArguments) const
{
    vArguments.clear();
    for (CCLMetadataEntry* pEntry : m_vEntries)
    {
        if (IsArgumentType(pEntry->GetEntryType()))
        {
            vArguments.push_back(pEntry);
        }
    }
}

bool CCLMetadata::InsertArgument(CCLMetadataEntry* pEntry)
{
    if (!IsWellFormed())
    {
        delete pEntry;
        return false;
    }
    bool bSeenArgument = false;
    std::vector<CCLMetadataEntry*>::iterator it = m_vEntries.begin();
    for (; it != m_vEntries.end(); ++it)
    {
        const std::string strType = (*it)->GetEntryType();
        const bool bArgument = IsArgumentType(strType);
        if (strType == CCLMetadataFunctionEntry::ClassEntryType ||
            (bSeenArgument && !bArgument && strType != CCLMetadataConstArgEntry::ClassEntryType))
        {
            break;
        }
        if (strType == CCLMetadataArgEndEntry::ClassEntryType)
        {
            ReportFailedCheck(__func__, "Reached ;argend without finding a ;function");
            delete pEntry;
            return false;
        }
        bSeenArgument = bSeenArgument || bArgument;
    }
    return InsertEntry(it, pEntry);
}

bool CCLMetadata::AddFunctionId(uint32_t nId)
{
    if (!IsWellFormed())
    {
        return false;
    }
    for (size_t i = 0; i + 1 < m_vEntries.size(); ++i)
    {
        if (CCLMetadataFunctionEntry* pFunction =
                dynamic_cast<CCLMetadataFunctionEntry*>(m_vEntries[i]))
        {
            pFunction->AddId(nId);
            return true;
        }
    }
    CCLMetadataFunctionEntry* pFunction = new CCLMetadataFunctionEntry;
    pFunction->SetIds(std::vector<uint32_t>(1, nId));
    return InsertEntry(m_vEntries.end() - 1, pFunction);
}
