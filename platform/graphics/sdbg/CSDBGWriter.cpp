#include "CSDBGWriter.h"

#include <cstring>
#include <string>

namespace XAN_Platform
{
namespace
{
typedef std::vector<uint32_t> Words;

// The string area: strings by offset and length, the header's strings NUL-terminated.
class CStringArea
{
public:
    // Offset 0 holds an empty string, for the header's strings that nothing reads.
    CStringArea() : m_vBytes(1, 0) {}

    uint32_t Add(const std::string& strText, bool bTerminate = false)
    {
        const uint32_t nOffset = static_cast<uint32_t>(m_vBytes.size());
        m_vBytes.insert(m_vBytes.end(), strText.begin(), strText.end());
        if (bTerminate)
        {
            m_vBytes.push_back(0);
        }
        return nOffset;
    }

    const std::vector<uint8_t>& Bytes() const { return m_vBytes; }

private:
    std::vector<uint8_t> m_vBytes;
};

void Append(Words& vTable, std::initializer_list<uint32_t> words)
{
    vTable.insert(vTable.end(), words.begin(), words.end());
}

// 45 words: four component blocks of nine words and nine words that nothing reads.
void AppendDestination(Words& vTable, const SDBGDestination* pDestination)
{
    for (int nComponent = 0; nComponent < 4; ++nComponent)
    {
        const SDBGComponent component =
            pDestination != nullptr ? pDestination->components[nComponent] : SDBGComponent();
        Append(vTable, {component.nKind, component.nNumber, 0, 0, 0, 0, 0, component.nVariable, 0});
    }
    vTable.resize(vTable.size() + 9, 0);
}
} // namespace

std::vector<uint8_t> CSDBGWriter::Write(const CSDBGScenario& scenario)
{
    CStringArea strings;
    const uint32_t nEntryName = strings.Add(scenario.m_strEntry, true);

    Words vFiles;
    for (const SDBGFile& file : scenario.m_vFiles)
    {
        const uint32_t nName = strings.Add(file.strName);
        const uint32_t nSource = strings.Add(file.strSource);
        Append(vFiles, {nName, static_cast<uint32_t>(file.strName.size()), nSource,
                        static_cast<uint32_t>(file.strSource.size())});
    }

    Words vIndexArea;
    Words vInstructions;
    for (const SDBGInstruction& instruction : scenario.m_vInstructions)
    {
        const uint32_t nDestinations = static_cast<uint32_t>(instruction.vDestinations.size());
        Append(vInstructions, {0, instruction.nOpcode, nDestinations});
        for (uint32_t nDestination = 0; nDestination < 2; ++nDestination)
        {
            AppendDestination(vInstructions, nDestination < nDestinations
                                                 ? &instruction.vDestinations[nDestination]
                                                 : nullptr);
        }
        const uint32_t nScopeList = static_cast<uint32_t>(vIndexArea.size() * 4);
        vIndexArea.insert(vIndexArea.end(), instruction.vScopes.begin(), instruction.vScopes.end());
        Append(vInstructions,
               {instruction.nToken, 0, static_cast<uint32_t>(instruction.vScopes.size()),
                nScopeList, 0, 0});
    }

    Words vVariables;
    for (const SDBGVariable& variable : scenario.m_vVariables)
    {
        Append(vVariables, {variable.nToken, variable.nType, 0, 0, variable.nScopeVariable,
                            variable.nComponent});
    }

    Words vTokens;
    for (const SDBGToken& token : scenario.m_vTokens)
    {
        const uint32_t nText = strings.Add(token.strText);
        Append(vTokens,
               {token.nFile, token.nLine, 0, static_cast<uint32_t>(token.strText.size()), nText});
    }

    Words vScopes;
    for (const SDBGScope& scope : scenario.m_vScopes)
    {
        const uint32_t nName = strings.Add(scope.strName);
        Append(vScopes, {scope.nKind, nName, static_cast<uint32_t>(scope.strName.size()), 0, 0});
    }

    Words vScopeVariables;
    for (const SDBGScopeVariable& scopeVariable : scenario.m_vScopeVariables)
    {
        Append(vScopeVariables, {0, 0, 0, 0, scopeVariable.nColumns, 0, scopeVariable.nClass, 0, 0,
                                 scopeVariable.nElements, 0});
    }

    // The tables follow the header in the order of its words, then the two areas.
    Words vHeader(HEADER_SIZE / 4, 0);
    vHeader[0] = HEADER_SIZE;
    vHeader[2] = nEntryName;
    vHeader[5] = static_cast<uint32_t>(scenario.m_vFiles.size());
    Words vBody;
    const struct
    {
        const Words& vTable;
        uint32_t nCount;
        uint32_t nHeaderWord;
    } tables[] = {
        {vFiles, static_cast<uint32_t>(scenario.m_vFiles.size()), 5},
        {vInstructions, static_cast<uint32_t>(scenario.m_vInstructions.size()), 7},
        {vVariables, static_cast<uint32_t>(scenario.m_vVariables.size()), 9},
        {Words(), 0, 11},
        {vTokens, static_cast<uint32_t>(scenario.m_vTokens.size()), 13},
        {vScopes, static_cast<uint32_t>(scenario.m_vScopes.size()), 15},
        {vScopeVariables, static_cast<uint32_t>(scenario.m_vScopeVariables.size()), 17},
    };
    for (const auto& table : tables)
    {
        vHeader[table.nHeaderWord] = table.nCount;
        vHeader[table.nHeaderWord + 1] = static_cast<uint32_t>(vBody.size() * 4);
        vBody.insert(vBody.end(), table.vTable.begin(), table.vTable.end());
    }
    vHeader[19] = static_cast<uint32_t>(vBody.size() * 4);
    vBody.insert(vBody.end(), vIndexArea.begin(), vIndexArea.end());
    vHeader[20] = static_cast<uint32_t>(vBody.size() * 4);

    vHeader.insert(vHeader.end(), vBody.begin(), vBody.end());
    const std::vector<uint8_t>& vStrings = strings.Bytes();
    const size_t nDataSize = vHeader.size() * 4 + vStrings.size();
    const uint32_t nPaddedSize = static_cast<uint32_t>((nDataSize + 3) & ~size_t(3));
    std::vector<uint8_t> vChunk(8 + nPaddedSize, 0);
    std::memcpy(vChunk.data(), "SDBG", 4);
    std::memcpy(vChunk.data() + 4, &nPaddedSize, 4);
    std::memcpy(vChunk.data() + 8, vHeader.data(), vHeader.size() * 4);
    std::memcpy(vChunk.data() + 8 + vHeader.size() * 4, vStrings.data(), vStrings.size());
    return vChunk;
}
} // namespace XAN_Platform
