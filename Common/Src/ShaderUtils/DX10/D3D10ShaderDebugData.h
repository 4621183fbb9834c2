#ifndef D3D10_SHADER_DEBUG_DATA_H
#define D3D10_SHADER_DEBUG_DATA_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace D3D10ShaderObject
{
class CDebugDataView;
struct DebugDataArea;

// A component block of a destination that holds no variable.
const uint32_t DEBUG_NO_VARIABLE = 0xFFFFFFFF;

struct DebugFile
{
    uint32_t NameOffset;
    uint32_t NameLength;
    uint32_t SourceOffset;
    uint32_t SourceLength;
};

// One component of a destination record: where a variable component lands.
struct DebugComponent
{
    uint32_t Kind;
    uint32_t Number;
    uint32_t Variable; // in the variable table, or DEBUG_NO_VARIABLE
};

struct DebugInstruction
{
    uint32_t OpcodeToken;
    uint32_t DestinationCount; // 0 to 2
    DebugComponent Destinations[2][4];
    uint32_t uTokenID;
    uint32_t ScopeCount;
    uint32_t ScopeOffset; // bytes into the index area
};

struct DebugVariable
{
    uint32_t Token;
    uint32_t Type;
    uint32_t ScopeVariable;
    uint32_t Component;
};

struct DebugToken
{
    uint32_t File;
    uint32_t Line; // from 1
    uint32_t Length;
    uint32_t Offset;
};

struct DebugScope
{
    uint32_t Kind; // 4 for a function
    uint32_t NameOffset;
    uint32_t NameLength;
};

struct DebugScopeVariable
{
    uint32_t Columns;
    uint32_t Class;    // 0 for a plain variable
    uint32_t Elements; // over 4 isn't supported
    uint8_t Components;
};

// The "SDBG" debug data of a shader, read into its tables: what ties each instruction to its
// source position, the variables it writes and the scopes it lies in.
class CShaderDebugData
{
public:
    // A name longer than this fails the parse: every variable entry of the source-level tables
    // copies its name, so that a long one would cost its length for each instruction.
    static const uint32_t MAX_NAME_LENGTH = 1024;

    CShaderDebugData();

    // Reads the chunk's data. Data under 84 bytes counts as absent. A string, table, index or
    // scope list that lies past its area fails; either way the object stays empty.
    bool Parse(const void* pData, size_t nSize);
    void Reset();
    bool IsPresent() const { return m_bPresent; }

    // The strings of header words 1 to 3; only the second, the entry function, is read further.
    const std::string& GetHeaderString(unsigned int nString) const;
    const std::string& GetEntryFunction() const { return m_strStrings[1]; }
    const std::vector<std::string>& GetFileNames() const { return m_vFileNames; }
    // Each file's text followed by one line break, so that a line of a later file counts
    // behind the earlier files' lines + 1.
    const std::string& GetSourceText() const { return strSource; }
    const std::vector<std::string>& GetSourceLines() const { return m_vSourceLines; }
    const std::vector<uint32_t>& GetDebugNumberOfLinesInFiles() const
    {
        return DebugNumberOfLinesInFiles;
    }
    bool HasSource() const { return m_bHasSource; }
    // From 1 through the concatenated source; 0 if the entry function wasn't found.
    uint32_t GetEntryLine() const { return m_nEntryLine; }

    const std::vector<DebugFile>& GetDebugFiles() const { return m_vFiles; }
    const std::vector<DebugInstruction>& GetDebugInstructions() const { return m_vInstructions; }
    const std::vector<DebugVariable>& GetDebugVariables() const { return m_vVariables; }
    uint32_t GetDebugInputCount() const { return m_nInputCount; }
    const std::vector<DebugToken>& GetDebugTokens() const { return DebugTokens; }
    const std::vector<DebugScope>& GetDebugScopes() const { return m_vScopes; }
    const std::vector<DebugScopeVariable>& GetDebugScopeVariables() const
    {
        return m_vScopeVariables;
    }
    const std::vector<std::string>& GetTokenNames() const { return m_vTokenNames; }
    const std::vector<std::string>& GetScopeNames() const { return m_vScopeNames; }
    const std::vector<std::vector<uint32_t>>& GetInstructionScopes() const
    {
        return m_vInstructionScopes;
    }

    // The line, from 1, of the first definition of strName at brace depth 0 in the source,
    // outside comments; 0 if there is none.
    static uint32_t FindEntryLine(const std::string& strSource, const std::string& strName);

private:
    // Reads the tables, and the source texts of the files in order into vTexts.
    bool ParseTables(const uint8_t* pData, size_t nSize, std::vector<std::string>& vTexts);
    bool ReadInstruction(const CDebugDataView& tables, uint64_t nRecord,
                         const DebugDataArea& indexArea, DebugInstruction& instruction,
                         std::vector<uint32_t>& vScopes) const;
    void ReadSourceTexts(const char* pStrings, std::vector<std::string>& vTexts) const;
    void ParseSource(const std::vector<std::string>& vTexts);
    void FindEntry();

    bool m_bPresent;
    std::string m_strStrings[3];
    uint32_t m_nWord4;
    uint32_t m_nFileCount;
    std::vector<std::string> m_vFileNames;
    std::string strSource;
    std::vector<uint32_t> DebugNumberOfLinesInFiles;
    bool m_bHasSource;
    uint32_t m_nEntryLine;
    std::vector<DebugFile> m_vFiles;
    std::vector<DebugInstruction> m_vInstructions;
    std::vector<DebugVariable> m_vVariables;
    uint32_t m_nInputCount;
    std::vector<DebugToken> DebugTokens;
    std::vector<DebugScope> m_vScopes;
    std::vector<DebugScopeVariable> m_vScopeVariables;
    std::vector<std::string> m_vTokenNames;
    std::vector<std::string> m_vScopeNames;
    std::vector<std::vector<uint32_t>> m_vInstructionScopes;
    // strSource split at its line breaks, for the searches of the source.
    std::vector<std::string> m_vSourceLines;
};
} // namespace D3D10ShaderObject

#endif
