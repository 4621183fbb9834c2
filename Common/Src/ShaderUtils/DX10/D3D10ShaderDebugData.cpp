#include "D3D10ShaderDebugData.h"

#include <cstring>

namespace D3D10ShaderObject
{
namespace
{
const size_t HEADER_WORDS = 21;

// Record sizes in bytes.
const uint64_t FILE_SIZE = 16;
const uint64_t INSTRUCTION_SIZE = 396;
const uint64_t VARIABLE_SIZE = 24;
const uint64_t INPUT_SIZE = 24;
const uint64_t TOKEN_SIZE = 20;
const uint64_t SCOPE_SIZE = 20;
const uint64_t SCOPE_VARIABLE_SIZE = 44;

// Reads nCount records of nRecordSize bytes from nOffset on, each by read(its offset, the
// record, its index); false at the first that fails.
template <class TRecord, class TRead>
bool ReadTable(uint32_t nCount, uint32_t nOffset, uint64_t nRecordSize,
               std::vector<TRecord>& vRecords, TRead read)
{
    vRecords.resize(nCount);
    for (uint32_t i = 0; i < nCount; ++i)
    {
        if (!read(nOffset + i * nRecordSize, vRecords[i], i))
        {
            return false;
        }
    }
    return true;
}
} // namespace

// Byte ranges of the data, checked before anything is read or allocated.
class CDebugDataView
{
public:
    CDebugDataView(const uint8_t* pData, size_t nSize) : m_pData(pData), m_nSize(nSize) {}

    uint32_t Word(uint64_t nOffset) const
    {
        uint32_t nWord = 0;
        std::memcpy(&nWord, m_pData + nOffset, sizeof(nWord));
        return nWord;
    }

    // Whether nCount records of nRecordSize bytes at nOffset lie in the area [0, nEnd).
    static bool Fits(uint64_t nOffset, uint64_t nCount, uint64_t nRecordSize, uint64_t nEnd)
    {
        return nOffset <= nEnd && nCount <= (nEnd - nOffset) / nRecordSize;
    }

    const uint8_t* m_pData;
    size_t m_nSize;
};

// An area of the data behind the tables' base: [m_nStart, m_nEnd).
struct DebugDataArea
{
    uint64_t m_nStart;
    uint64_t m_nEnd;

    bool Holds(uint64_t nOffset, uint64_t nLength) const
    {
        return CDebugDataView::Fits(nOffset, nLength, 1, m_nEnd - m_nStart);
    }
};

namespace
{
// The line breaks of a text, plus one for a last line without one.
uint32_t CountLines(const std::string& strText)
{
    uint32_t nLines = 0;
    for (char c : strText)
    {
        nLines += c == '\n' ? 1 : 0;
    }
    return nLines + (!strText.empty() && strText.back() != '\n' ? 1 : 0);
}

// The line without its comments; a block comment stands as a blank. bInBlock carries an open
// block comment from line to line.
std::string StripComments(const std::string& strLine, bool& bInBlock)
{
    std::string strCode;
    for (size_t i = 0; i < strLine.size(); ++i)
    {
        if (bInBlock)
        {
            if (strLine.compare(i, 2, "*/") == 0)
            {
                bInBlock = false;
                strCode += ' ';
                ++i;
            }
        }
        else if (strLine.compare(i, 2, "/*") == 0)
        {
            bInBlock = true;
            ++i;
        }
        else if (strLine.compare(i, 2, "//") == 0)
        {
            break;
        }
        else
        {
            strCode += strLine[i];
        }
    }
    return strCode;
}

int CountBraces(const std::string& strCode, size_t nEnd)
{
    int nDepth = 0;
    for (size_t i = 0; i < nEnd; ++i)
    {
        nDepth += strCode[i] == '{' ? 1 : (strCode[i] == '}' ? -1 : 0);
    }
    return nDepth;
}

bool IsBlank(char c)
{
    return c == ' ' || c == '\t';
}

// The first place where strName stands as a word of its own, a call or a definition.
size_t FindName(const std::string& strCode, const std::string& strName)
{
    for (size_t nPos = strCode.find(strName); nPos != std::string::npos;
         nPos = strCode.find(strName, nPos + 1))
    {
        const size_t nEnd = nPos + strName.size();
        if ((nPos == 0 || IsBlank(strCode[nPos - 1])) &&
            (nEnd == strCode.size() || IsBlank(strCode[nEnd]) || strCode[nEnd] == '('))
        {
            return nPos;
        }
    }
    return std::string::npos;
}
} // namespace

CShaderDebugData::CShaderDebugData()
    : m_bPresent(false), m_nWord4(0), m_nFileCount(0), m_bHasSource(false), m_nEntryLine(0),
      m_nInputCount(0)
{
}

void CShaderDebugData::Reset()
{
    *this = CShaderDebugData();
}

const std::string& CShaderDebugData::GetHeaderString(unsigned int nString) const
{
    static const std::string s_strNone;
    return nString < 3 ? m_strStrings[nString] : s_strNone;
}

bool CShaderDebugData::Parse(const void* pData, size_t nSize)
{
    Reset();
    std::vector<std::string> vTexts;
    if (pData == nullptr || nSize < HEADER_WORDS * 4 ||
        !ParseTables(static_cast<const uint8_t*>(pData), nSize, vTexts))
    {
        Reset();
        return false;
    }
    ParseSource(vTexts);
    FindEntry();
    m_bPresent = true;
    return true;
}

bool CShaderDebugData::ParseTables(const uint8_t* pData, size_t nSize,
                                   std::vector<std::string>& vTexts)
{
    const CDebugDataView data(pData, nSize);
    uint32_t vHeader[HEADER_WORDS];
    for (size_t i = 0; i < HEADER_WORDS; ++i)
    {
        vHeader[i] = data.Word(i * 4);
    }
    const uint64_t nBase = vHeader[0];
    if (nBase > nSize)
    {
        return false;
    }
    const CDebugDataView tables(pData + nBase, nSize - nBase);
    const uint64_t nTablesSize = tables.m_nSize;
    const struct
    {
        uint32_t nCount;
        uint32_t nOffset;
        uint64_t nRecordSize;
    } layout[] = {{vHeader[5], vHeader[6], FILE_SIZE},
                  {vHeader[7], vHeader[8], INSTRUCTION_SIZE},
                  {vHeader[9], vHeader[10], VARIABLE_SIZE},
                  {vHeader[11], vHeader[12], INPUT_SIZE},
                  {vHeader[13], vHeader[14], TOKEN_SIZE},
                  {vHeader[15], vHeader[16], SCOPE_SIZE},
                  {vHeader[17], vHeader[18], SCOPE_VARIABLE_SIZE}};
    for (const auto& table : layout)
    {
        if (!CDebugDataView::Fits(table.nOffset, table.nCount, table.nRecordSize, nTablesSize))
        {
            return false;
        }
    }
    if (vHeader[19] > nTablesSize || vHeader[20] > nTablesSize)
    {
        return false;
    }
    // Each area ends where the other begins, if that lies behind it, else at the data's end.
    const DebugDataArea indexArea = {vHeader[19],
                                     vHeader[20] > vHeader[19] ? vHeader[20] : nTablesSize};
    const DebugDataArea stringArea = {vHeader[20],
                                      vHeader[19] > vHeader[20] ? vHeader[19] : nTablesSize};
    const char* pStrings = reinterpret_cast<const char*>(tables.m_pData + stringArea.m_nStart);
    auto readString = [&](uint32_t nOffset, uint32_t nLength, std::string& strOut)
    {
        if (nLength > MAX_NAME_LENGTH || !stringArea.Holds(nOffset, nLength))
        {
            return false;
        }
        strOut.assign(pStrings + nOffset, nLength);
        return true;
    };

    // The header's strings end at a NUL or at the area's end.
    for (size_t i = 0; i < 3; ++i)
    {
        const uint32_t nOffset = vHeader[1 + i];
        if (!stringArea.Holds(nOffset, 0))
        {
            return false;
        }
        const uint64_t nAvailable = stringArea.m_nEnd - stringArea.m_nStart - nOffset;
        const void* pEnd = std::memchr(pStrings + nOffset, 0, nAvailable);
        const uint64_t nLength =
            pEnd != nullptr ? static_cast<const char*>(pEnd) - (pStrings + nOffset) : nAvailable;
        m_strStrings[i].assign(pStrings + nOffset, nLength);
    }
    m_nWord4 = vHeader[4];
    m_nFileCount = vHeader[5];

    // A real chunk stores each file's text once: more text than data means overlapping
    // ranges, which would make the concatenated source grow with the square of the data.
    uint64_t nSourceBytes = 0;
    m_vFileNames.resize(vHeader[5]);
    m_vTokenNames.resize(vHeader[13]);
    m_vScopeNames.resize(vHeader[15]);
    m_vInstructionScopes.resize(vHeader[7]);
    m_nInputCount = vHeader[11];
    const bool bRead =
        ReadTable(vHeader[5], vHeader[6], FILE_SIZE, m_vFiles,
                  [&](uint64_t nRecord, DebugFile& file, uint32_t i)
                  {
                      file = {tables.Word(nRecord), tables.Word(nRecord + 4),
                              tables.Word(nRecord + 8), tables.Word(nRecord + 12)};
                      nSourceBytes += file.SourceLength;
                      return readString(file.NameOffset, file.NameLength, m_vFileNames[i]) &&
                             stringArea.Holds(file.SourceOffset, file.SourceLength) &&
                             nSourceBytes <= nSize;
                  }) &&
        ReadTable(vHeader[13], vHeader[14], TOKEN_SIZE, DebugTokens,
                  [&](uint64_t nRecord, DebugToken& token, uint32_t i)
                  {
                      token = {tables.Word(nRecord), tables.Word(nRecord + 4),
                               tables.Word(nRecord + 12), tables.Word(nRecord + 16)};
                      return readString(token.Offset, token.Length, m_vTokenNames[i]);
                  }) &&
        ReadTable(
            vHeader[15], vHeader[16], SCOPE_SIZE, m_vScopes,
            [&](uint64_t nRecord, DebugScope& scope, uint32_t i)
            {
                scope = {tables.Word(nRecord), tables.Word(nRecord + 4), tables.Word(nRecord + 8)};
                return readString(scope.NameOffset, scope.NameLength, m_vScopeNames[i]);
            }) &&
        ReadTable(vHeader[17], vHeader[18], SCOPE_VARIABLE_SIZE, m_vScopeVariables,
                  [&](uint64_t nRecord, DebugScopeVariable& scopeVariable, uint32_t)
                  {
                      scopeVariable = {tables.Word(nRecord + 16), tables.Word(nRecord + 24),
                                       tables.Word(nRecord + 36), tables.m_pData[nRecord + 36]};
                      return true;
                  }) &&
        ReadTable(vHeader[9], vHeader[10], VARIABLE_SIZE, m_vVariables,
                  [&](uint64_t nRecord, DebugVariable& variable, uint32_t)
                  {
                      variable = {tables.Word(nRecord), tables.Word(nRecord + 4),
                                  tables.Word(nRecord + 16), tables.Word(nRecord + 20)};
                      return variable.Token < DebugTokens.size() &&
                             variable.ScopeVariable < m_vScopeVariables.size();
                  }) &&
        ReadTable(vHeader[7], vHeader[8], INSTRUCTION_SIZE, m_vInstructions,
                  [&](uint64_t nRecord, DebugInstruction& instruction, uint32_t i) {
                      return ReadInstruction(tables, nRecord, indexArea, instruction,
                                             m_vInstructionScopes[i]);
                  });
    if (!bRead)
    {
        return false;
    }
    ReadSourceTexts(pStrings, vTexts);
    return true;
}

bool CShaderDebugData::ReadInstruction(const CDebugDataView& tables, uint64_t nRecord,
                                       const DebugDataArea& indexArea,
                                       DebugInstruction& instruction,
                                       std::vector<uint32_t>& vScopes) const
{
    instruction.OpcodeToken = tables.Word(nRecord + 4);
    instruction.DestinationCount = tables.Word(nRecord + 8);
    for (uint64_t nDestination = 0; nDestination < 2; ++nDestination)
    {
        for (uint64_t nComponent = 0; nComponent < 4; ++nComponent)
        {
            const uint64_t nBlock = nRecord + 12 + nDestination * 180 + nComponent * 36;
            DebugComponent& component = instruction.Destinations[nDestination][nComponent];
            component = {tables.Word(nBlock), tables.Word(nBlock + 4), tables.Word(nBlock + 28)};
            if (component.Variable != DEBUG_NO_VARIABLE &&
                component.Variable >= m_vVariables.size())
            {
                return false;
            }
        }
    }
    instruction.uTokenID = tables.Word(nRecord + 93 * 4);
    instruction.ScopeCount = tables.Word(nRecord + 95 * 4);
    instruction.ScopeOffset = tables.Word(nRecord + 96 * 4);
    if (instruction.DestinationCount > 2 || instruction.uTokenID >= DebugTokens.size() ||
        !CDebugDataView::Fits(instruction.ScopeOffset, instruction.ScopeCount, 4,
                              indexArea.m_nEnd - indexArea.m_nStart))
    {
        return false;
    }
    vScopes.resize(instruction.ScopeCount);
    for (uint32_t nScope = 0; nScope < instruction.ScopeCount; ++nScope)
    {
        vScopes[nScope] = tables.Word(indexArea.m_nStart + instruction.ScopeOffset + nScope * 4ull);
        if (vScopes[nScope] >= m_vScopes.size())
        {
            return false;
        }
    }
    return true;
}

void CShaderDebugData::ReadSourceTexts(const char* pStrings, std::vector<std::string>& vTexts) const
{
    for (const DebugFile& file : m_vFiles)
    {
        vTexts.emplace_back(pStrings + file.SourceOffset, file.SourceLength);
    }
}

void CShaderDebugData::ParseSource(const std::vector<std::string>& vTexts)
{
    for (const std::string& strText : vTexts)
    {
        DebugNumberOfLinesInFiles.push_back(CountLines(strText));
        m_bHasSource = m_bHasSource || !strText.empty();
        strSource += strText;
        // A last line without a break is completed, so that the line behind each file is the
        // blank one that its lines + 1 count.
        if (!strText.empty() && strText.back() != '\n')
        {
            strSource += '\n';
        }
        strSource += '\n';
    }
    size_t nStart = 0;
    for (size_t nBreak = strSource.find('\n'); nBreak != std::string::npos;
         nBreak = strSource.find('\n', nStart))
    {
        m_vSourceLines.push_back(strSource.substr(nStart, nBreak - nStart));
        nStart = nBreak + 1;
    }
}

void CShaderDebugData::FindEntry()
{
    const std::string& strEntry = GetEntryFunction();
    for (size_t i = 0; i < DebugTokens.size() && m_nEntryLine == 0; ++i)
    {
        const DebugToken& token = DebugTokens[i];
        if (m_vTokenNames[i] != strEntry || strEntry.empty() ||
            token.File >= DebugNumberOfLinesInFiles.size())
        {
            continue;
        }
        uint64_t nLine = token.Line;
        for (uint32_t nFile = 0; nFile < token.File; ++nFile)
        {
            nLine += DebugNumberOfLinesInFiles[nFile] + 1ull;
        }
        m_nEntryLine = nLine <= 0xFFFFFFFFull ? static_cast<uint32_t>(nLine) : 0;
    }
    if (m_nEntryLine == 0)
    {
        m_nEntryLine = FindEntryLine(strSource, strEntry);
    }
}

uint32_t CShaderDebugData::FindEntryLine(const std::string& strSource, const std::string& strName)
{
    if (strName.empty())
    {
        return 0;
    }
    bool bInBlock = false;
    int nDepth = 0;
    uint32_t nLine = 0;
    size_t nStart = 0;
    while (nStart < strSource.size())
    {
        size_t nBreak = strSource.find('\n', nStart);
        if (nBreak == std::string::npos)
        {
            nBreak = strSource.size();
        }
        const std::string strCode =
            StripComments(strSource.substr(nStart, nBreak - nStart), bInBlock);
        const size_t nPos = FindName(strCode, strName);
        if (nPos != std::string::npos && nDepth + CountBraces(strCode, nPos) == 0)
        {
            return nLine + 1;
        }
        nDepth += CountBraces(strCode, strCode.size());
        ++nLine;
        nStart = nBreak + 1;
    }
    return 0;
}
} // namespace D3D10ShaderObject
