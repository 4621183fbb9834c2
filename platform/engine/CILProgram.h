#ifndef XAN_PLATFORM_CILPROGRAM_H
#define XAN_PLATFORM_CILPROGRAM_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace XAN_Platform
{
// Where an operand's four components live at run time.
enum EOperandKind : uint8_t
{
    OK_Column, // four consecutive register-file columns (temps, literals, cb constants, inputs)
    OK_IndexedTemp,      // an element of an indexed temp array, constant or register-relative index
    OK_ConstantRelative, // a constant-buffer row chosen by a register
    OK_Memory,           // the "mem" destination of a store: only its mask counts
};

// One decoded operand. Swizzle values 0-3 select a component, 4 reads 0.0 and 5 reads 1.0.
struct SOperand
{
    EOperandKind nKind = OK_Column;
    uint8_t nMask = 0xF; // destination write mask
    uint8_t nNegate = 0; // per component
    uint8_t nAbs = 0;    // per component
    uint8_t vSwizzle[4] = {0, 1, 2, 3};
    uint8_t nIndexComponent = 0;
    bool bIndexed = false; // register-relative: the index column below is added
    uint32_t nColumn =
        0; // OK_Column: first column; OK_IndexedTemp: array; OK_ConstantRelative: buffer
    uint32_t nIndex = 0;       // constant part of an index
    uint32_t nIndexColumn = 0; // column of the index register's chosen component

    bool HasModifiers() const { return (nNegate | nAbs) != 0; }
};

// One executable instruction. Declarations and comments don't appear here; they are
// applied when the program is loaded.
struct SInstruction
{
    uint16_t nOpcode = 0;
    bool bHasDest = false;
    uint16_t nSourceCount = 0;
    bool bDirect = false;       // results may go straight to the destination registers
    uint32_t nControl = 0;      // bits 16-29 of the opcode token
    uint32_t nLine = 0;         // line of the instruction in the canonical IL text
    uint32_t nFirstOperand = 0; // destination first, then the sources
    uint32_t nTarget = 0;       // flow: matching instruction, callee entry or macro
    uint32_t nValue = 0;        // case value; the address form of memory operations
};

// A leading macro: its body is called like a function, with its own in/out columns.
struct SMacro
{
    uint32_t nLabel = 0;
    uint32_t nEntry = 0;
    uint32_t nInputs = 0;
    uint32_t nOutputs = 0;
    uint32_t nInColumn = 0;
    uint32_t nOutColumn = 0;
};

// Group-size declarations of one function.
struct SThreadGroupDeclaration
{
    uint32_t nMaxThreads = 0;            // 0: not declared
    uint32_t vNumThreads[3] = {0, 0, 0}; // all 0: not declared
};

// A uniform column filled once per launch from a literal or a constant-buffer row.
struct SUniformSource
{
    uint32_t nColumn = 0;
    bool bLiteral = false;
    uint32_t nBuffer = 0; // constant buffer number
    uint32_t nRow = 0;    // row of the constant buffer
    uint32_t vValue[4] = {0, 0, 0, 0};
};
// A kernel's IL, decoded once into the form the executor runs: instructions with
// resolved operands and flow-control partners, and the register-file layout. Every
// check that can refuse a program is made here, so that a loaded program never
// fails for its form at run time.
class CILProgram
{
public:
    // Register-file columns that every program has, four per register.
    enum EFixedColumn : uint32_t
    {
        COL_ZERO = 0, // reads 0.0 (swizzle 4)
        COL_ONE = 1,  // reads 1.0 (swizzle 5)
        COL_TID_IN_GRP = 2,
        COL_TID_IN_GRP_FLAT = 6,
        COL_ABS_TID = 10,
        COL_ABS_TID_FLAT = 14,
        COL_THREAD_GRP_ID = 18,
        COL_THREAD_GRP_ID_FLAT = 22,
        COL_FIRST_UNIFORM = 26,
    };

    // The launch inputs a program reads (GetUsedInputs); vTidInGrp and its flat
    // form are always there.
    enum EInput : uint32_t
    {
        INPUT_ABS_TID = 1,
        INPUT_ABS_TID_FLAT = 2,
        INPUT_THREAD_GRP_ID = 4,
        INPUT_THREAD_GRP_ID_FLAT = 8,
    };

    // The largest indexed temp array, in elements, and private memory, in bytes.
    static const uint32_t MAX_ARRAY_ELEMENTS = 4096;
    static const uint32_t MAX_PRIVATE_BYTES = 65536;
    static const uint32_t MAX_LOCAL_BYTES = 1u << 20;

    // Decodes a token stream. On refusal the result is null and strError names the
    // line (the element's number in the canonical IL text) and the cause.
    static std::unique_ptr<CILProgram> Load(const uint32_t* pTokens, size_t nTokens,
                                            std::string& strError);

    const std::vector<SInstruction>& GetInstructions() const { return m_vInstructions; }
    const std::vector<SOperand>& GetOperands() const { return m_vOperands; }
    const std::vector<SUniformSource>& GetUniforms() const { return m_vUniforms; }
    const std::vector<SMacro>& GetMacros() const { return m_vMacros; }
    const std::vector<uint32_t>& GetArraySizes() const { return m_vArraySizes; }
    // The labels of a switch, from the offset in its nValue: the endswitch, where
    // a value without a case goes (the default, else the endswitch), the number
    // of cases, then the value and the label of each case.
    const std::vector<uint32_t>& GetCases() const { return m_vCases; }
    uint32_t GetColumnCount() const { return m_nColumnCount; }
    // Columns from here to the end hold temps and macro inputs and outputs, which
    // start every work-item at zero.
    uint32_t GetFirstTempColumn() const { return m_nFirstTempColumn; }
    // The instruction the main program starts with.
    uint32_t GetEntry() const { return m_nEntry; }
    // How many instructions from the entry on only move zero into temps, which hold zero
    // already: a run that records no trace may start behind them.
    uint32_t GetZeroingPrefix() const { return m_nZeroingPrefix; }
    uint32_t GetUsedInputs() const { return m_nUsedInputs; }
    // The temp and macro columns that a work-item may read before it writes them,
    // as [first, end) runs: only those need zeroing for a new group.
    const std::vector<std::pair<uint32_t, uint32_t>>& GetZeroedColumns() const
    {
        return m_vZeroedColumns;
    }

    // Whether a UAV id was declared as private memory.
    bool IsPrivateUAV(uint32_t nId) const { return m_PrivateUAVs.count(nId) != 0; }
    uint32_t GetPrivateMemoryBytes() const;
    // Bytes of local memory the kernel declares with dcl_lds.
    uint32_t GetLocalMemoryBytes() const { return m_nLocalMemoryBytes; }

    // Group-size declarations of the function with that label; the main program's
    // are those of GetMainThreadGroupDeclaration.
    bool GetThreadGroupDeclaration(uint32_t nLabel, SThreadGroupDeclaration& declaration) const;
    const SThreadGroupDeclaration& GetMainThreadGroupDeclaration() const { return m_MainGroup; }

    // Things that run but look wrong, such as reads of undeclared literals.
    const std::vector<std::string>& GetWarnings() const { return m_vWarnings; }

private:
    friend class CILProgramLoader;
    CILProgram() = default;

    std::vector<SInstruction> m_vInstructions;
    std::vector<SOperand> m_vOperands;
    std::vector<SUniformSource> m_vUniforms;
    std::vector<SMacro> m_vMacros;
    std::vector<uint32_t> m_vArraySizes;
    std::vector<uint32_t> m_vCases;
    uint32_t m_nColumnCount = COL_FIRST_UNIFORM;
    uint32_t m_nFirstTempColumn = COL_FIRST_UNIFORM;
    uint32_t m_nEntry = 0;
    uint32_t m_nZeroingPrefix = 0;
    uint32_t m_nUsedInputs = 0;
    std::vector<std::pair<uint32_t, uint32_t>> m_vZeroedColumns;
    std::map<uint32_t, uint32_t> m_PrivateUAVs;
    uint32_t m_nLocalMemoryBytes = 0;
    std::map<uint32_t, SThreadGroupDeclaration> m_FunctionGroups;
    SThreadGroupDeclaration m_MainGroup;
    std::vector<std::string> m_vWarnings;
};
} // namespace XAN_Platform

#endif
