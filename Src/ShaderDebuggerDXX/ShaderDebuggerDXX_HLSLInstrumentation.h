#ifndef SHADER_DEBUGGER_DXX_HLSL_INSTRUMENTATION_H
#define SHADER_DEBUGGER_DXX_HLSL_INSTRUMENTATION_H

#include "ShaderDebuggerShader.h"

#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <vector>

namespace D3D10ShaderObject
{
class CShaderObject;
struct DebugInstruction;
} // namespace D3D10ShaderObject

namespace XAN_ShaderDebugger
{
class CShaderDebuggerBase;

// One register that holds components of a variable, as written at one position.
struct VariableRegisterComponent
{
    VariableRegisterComponent();

    Register reg;
    ProgramCounter pc;
    // The variable's components that the register holds.
    unsigned short mask;
    unsigned char nComponents;
    // For each component of the variable the register's component, 4 for none.
    unsigned char map[4];
};

// One variable at one source line, or the flow instruction that stands on it.
class CVariableRegisterMapping
{
public:
    CVariableRegisterMapping();

    // Puts a component at place nIndex: a free place takes it, a place of the same register
    // written at the same position merges it. False otherwise.
    bool AddComponent(size_t nIndex, const VariableRegisterComponent& component);
    // The latest position among the components; pc without components.
    ProgramCounter GetLastPC() const;

    std::string strName;
    std::string strClass;
    std::string strType;
    std::string strFunctionScope;
    uint32_t nOpCode;
    uint32_t uElements;
    uint32_t uArrayIndices;
    ProgramCounter pc;
    std::vector<VariableRegisterComponent> vRegisters;
};

typedef std::list<CVariableRegisterMapping> VariableRegisterList;

// The debug data of a shader turned into a table by source line: for each HLSL line the
// variables that it assigns, with the registers and components that hold them, and the flow
// instruction that stands on it. Stepping by source line runs on this table.
class CShaderDebuggerDXX_HLSLInstrumentation
{
public:
    explicit CShaderDebuggerDXX_HLSLInstrumentation(CShaderDebuggerBase* pDebugger);

    bool Init(const D3D10ShaderObject::CShaderObject* pShaderObject);
    std::string GetLastError() const { return m_strLastError; }
    const std::string& GetEntryFunction() const { return m_strEntryFunction; }
    uint32_t GetEntryLine() const { return m_nEntryLine; }
    uint32_t GetFirstLine() const { return m_nFirstLine; }
    uint32_t GetEndLine() const { return m_nEndLine; }
    uint32_t GetLastLine() const { return m_nLastLine; }

    bool GetNextLine(uint32_t& nOut, uint32_t nLine) const;
    bool GetPreviousLine(uint32_t& nOut, uint32_t nLine) const;
    bool FindLine(uint32_t& nOut, const ProgramCounter& pc) const;
    bool GetLastPC(ProgramCounter& out, const ProgramCounter& line) const;
    // The positions that reach the HLSL line line.m_nPos, in line's loop iteration.
    bool GetExecuteList(std::list<ProgramCounter>& list, const ProgramCounter& line) const;
    bool GetLiveVariables(VariableRegisterList& list, uint32_t nLine) const;
    bool GetVariablesAtLine(VariableRegisterList& list, uint32_t nLine) const;
    bool GetInputVariables(VariableRegisterList& list) const;
    bool FindVariableName(std::string& strOut, const Register& reg) const;
    unsigned short GetWrittenMask(const CVariableRegisterMapping& mapping, uint32_t nLine) const;
    bool GetFlowLine(uint32_t nInstruction, uint32_t& nOut) const;

    // The five word lists of HLSL: operators and flow words, types, semantics, reserved words
    // and intrinsic functions.
    static void GetShaderKeywords(std::vector<std::string>& vKeywords);

protected:
    bool ParseInstrumentation();
    bool SemanticParsingShaderDebugChunk();
    bool SemanticParsingPerInstructionOutput(const D3D10ShaderObject::DebugInstruction& instruction,
                                             uint32_t nDestination, uint32_t nLine,
                                             uint32_t nInstruction,
                                             const std::string& strFunctionScope);
    bool SemanticParsingShaderInputChunk();
    bool ParseLineNumber(const D3D10ShaderObject::DebugInstruction& instruction,
                         uint32_t& nLine) const;
    void DumpVariableRegisterTable() const;
    void DumpInputVariableRegisterTable() const;
    void DumpVariableRegisterItem(uint32_t nLine, const CVariableRegisterMapping& mapping) const;

private:
    // Makes room in the table for nLine.
    void GrowTable(uint32_t nLine);
    void AddFlowEntry(uint32_t nLine, uint32_t nOpCode, uint32_t nInstruction,
                      const std::string& strFunctionScope);
    // The line of the first instruction behind nInstruction whose line is past nLine, or,
    // with bAnyOther, other than nLine.
    bool FindNextInstructionLine(uint32_t nInstruction, uint32_t nLine, bool bAnyOther,
                                 uint32_t& nOut) const;
    // The first source line from nFirst on that holds code with "else".
    bool FindElseLine(uint32_t nFirst, uint32_t& nOut) const;
    // Calls visit for the entries of the live function's lines from nLine back to the first.
    template <class TVisit> void VisitLiveEntries(uint32_t nLine, TVisit visit) const;
    CShaderDebuggerHost* GetHost() const;

    CShaderDebuggerBase* m_pDebugger;
    const D3D10ShaderObject::CShaderObject* m_pShaderObject;
    uint32_t m_nFirstLine;
    uint32_t m_nLastLine;
    std::vector<VariableRegisterList> m_VariableRegisterTable;
    VariableRegisterList m_InputVariableRegisterTable;
    std::string m_strEntryFunction;
    uint32_t m_nEntryLine;
    uint32_t m_nEndLine;
    std::string m_strLastError;
    std::map<uint32_t, uint32_t> m_FlowLines;
    // The table's size limit: it grows to a line + 100 when a line reaches it.
    uint32_t m_nTableLimit;
};
} // namespace XAN_ShaderDebugger

#endif
