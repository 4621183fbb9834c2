#ifndef XAN_PLATFORM_CILPROGRAMLOADER_H
#define XAN_PLATFORM_CILPROGRAMLOADER_H

#include "CILProgram.h"

#include "ShaderUtils/IL/ILInstructionLayout.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace XAN_Platform
{
struct SOperationInfo;

// Builds a CILProgram in three passes: the tokens are split into raw elements, the
// declarations are gathered (they may stand anywhere, also behind their uses), and
// then the instructions are resolved against the register-file layout.
class CILProgramLoader
{
public:
    CILProgramLoader(const uint32_t* pTokens, size_t nTokens, CILProgram& program);
    CILProgramLoader(const CILProgramLoader&) = delete;
    CILProgramLoader& operator=(const CILProgramLoader&) = delete;

    bool Load(std::string& strError);

private:
    struct SRawOperand
    {
        uint32_t nToken = 0;
        uint32_t nModifier = 0;
        uint32_t nIndex = 0; // dimension token plus immediate
        uint32_t nIndexToken = 0;
        uint32_t nIndexModifier = 0;
        bool bModifier = false;
        bool bHasIndex = false;
        bool bRegRelative = false;
        bool bIndexModifier = false;
    };

    enum EElement : uint8_t
    {
        E_Header,
        E_Instruction,
    };

    struct SRawElement
    {
        EElement eElement = E_Instruction;
        uint32_t nToken = 0;
        uint32_t nInstMod = 0;
        uint32_t nLine = 0;
        bool bHasDest = false;
        std::vector<SRawOperand> vOperands;
        std::vector<uint32_t> vTrailing;
        uint32_t OpCode() const { return nToken & 0xFFFFu; }
    };

    // An open if, else, whileloop or switch while the instructions are resolved.
    struct SOpenConstruct
    {
        uint32_t nInstruction;
        uint32_t nLastLabel;          // switch: the switch or its last case/default
        std::vector<uint32_t> vCases; // value and label of each case
        uint32_t nDefault;            // the default's label, 0 while there is none
    };

    // The body an element belongs to: main, a function or a macro.
    struct SBody
    {
        enum EKind
        {
            BK_None,
            BK_Main,
            BK_Function,
            BK_Macro,
        } eKind = BK_None;
        uint32_t nLabel = 0;
        size_t nMacro = 0;
        size_t nNode = 0; // node in the call graph
    };

    struct SCallFixup
    {
        size_t nInstruction;
        size_t nCaller; // call-graph node
        uint32_t nLabel;
        uint32_t nLine;
    };

    bool Fail(uint32_t nLine, const std::string& strMessage);

    // Pass 1.
    bool Split();
    // Reads elements up to and including one with that opcode.
    bool ReadElementsThrough(uint32_t nLastOpCode, uint32_t& nLine, const char* pMissing);
    bool ReadInstruction(SRawElement& element);
    bool ReadOperand(const ShaderUtils::ILOperandLayout& layout, SRawElement& element);

    // Pass 2.
    bool GatherDeclarations();
    bool GatherDeclaration(const SRawElement& element, SThreadGroupDeclaration* pGroup);
    bool SetGroupValue(uint32_t& nValue, uint32_t nNew, const SRawElement& element);
    bool GatherOperandUse(const SRawOperand& operand, const SRawElement& element);
    void LayOutColumns();

    // Pass 3.
    bool Build();
    bool BuildInstruction(const SRawElement& element, SBody& body);
    bool ResolveOperand(const SRawOperand& raw, const SRawElement& element, const SBody& body,
                        bool bDest, const SOperationInfo& info, SOperand& operand);
    bool ResolveColumn(uint32_t nType, int nNumber, const SRawElement& element, const SBody& body,
                       uint32_t& nColumn);
    bool ResolveSourceModifier(const SRawOperand& raw, const SRawElement& element,
                               const SOperationInfo& info, SOperand& operand);
    bool CanWriteDirectly(const SInstruction& instruction, const SOperationInfo& info) const;
    bool CheckFlow(const SRawElement& element, SBody& body);
    bool CloseBody(const SRawElement& element, SBody& body);
    bool ResolveCalls();
    void FindZeroedColumns();
    // The moves of zero into temps that the main program starts with.
    void FindZeroingPrefix();
    bool CheckRecursion();

    // The column of a literal or of a constant-buffer row read with a constant
    // index, made on first use.
    template <class TKey>
    uint32_t FindOrAddUniform(std::map<TKey, uint32_t>& index, const TKey& key,
                              const SUniformSource& source);
    uint32_t UniformForLiteral(uint32_t nNumber);
    uint32_t UniformForConstant(uint32_t nBuffer, uint32_t nRow);

    const uint32_t* m_pTokens;
    size_t m_nTokens;
    size_t m_nPos;
    CILProgram& m_Program;
    std::string m_strError;

    ShaderUtils::ILInstructionLayout m_Layout;
    std::vector<SRawElement> m_vElements;
    std::map<uint32_t, std::vector<uint32_t>> m_Literals;
    std::map<int, uint32_t> m_TempSlots;
    std::map<uint32_t, uint32_t> m_ArrayIds;
    std::map<uint32_t, uint32_t> m_LiteralUniforms;
    std::map<std::pair<uint32_t, uint32_t>, uint32_t> m_ConstantUniforms;
    std::set<uint32_t> m_UndeclaredLiterals;

    std::vector<SOpenConstruct> m_vOpen;
    std::map<uint32_t, uint32_t> m_FunctionEntries;
    std::map<uint32_t, size_t> m_FunctionNodes;
    std::map<uint32_t, size_t> m_MacroByLabel;
    std::vector<SCallFixup> m_vCalls;
    std::vector<std::set<size_t>> m_vCallGraph;
    std::vector<uint32_t> m_vNodeLines;
};
} // namespace XAN_Platform

#endif
