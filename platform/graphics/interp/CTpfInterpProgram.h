#ifndef XAN_PLATFORM_CTPF_INTERP_PROGRAM_H
#define XAN_PLATFORM_CTPF_INTERP_PROGRAM_H

#include "CTpfDecoder.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace XAN_Platform
{
struct TpfInterpOp;

// One executable instruction with what running it needs beyond its tokens.
struct TpfInterpInstruction
{
    TpfInstruction decoded;
    const TpfInterpOp* pOp = nullptr;
    std::uint32_t nElse = 0;  // `if`: its `else`, or its `endif` without one
    std::uint32_t nEnd = 0;   // `if`, `else`: the `endif`; `loop`: the `endloop`
    std::uint32_t nStart = 0; // `endloop`, `break*`, `continue*`: the innermost `loop`
};

// A tokenized program checked for what the interpreter can run: every executable instruction
// has a row of its own, flow constructs are balanced, and registers fit their declarations.
class CTpfInterpProgram
{
public:
    // pTokens starts at the version token. On failure GetError() names the instruction.
    bool Load(const std::uint32_t* pTokens, size_t nTokens);

    const std::string& GetError() const { return m_strError; }
    // By the version token's high word: 0 pixel, 1 vertex, 5 compute.
    std::uint32_t GetProgramType() const { return m_nProgramType; }
    const std::vector<TpfInterpInstruction>& GetInstructions() const { return m_vInstructions; }
    std::uint32_t GetTempCount() const { return m_nTemps; }
    const std::map<std::uint32_t, std::uint32_t>& GetIndexableTemps() const
    {
        return m_mapIndexableTemps;
    }
    const std::vector<std::uint32_t>& GetImmediateConstants() const { return m_vImmediates; }
    const std::map<std::uint32_t, std::uint32_t>& GetGroupSharedSizes() const
    {
        return m_mapGroupShared;
    }
    // Input register to its system value (0 for none).
    const std::map<std::uint32_t, std::uint32_t>& GetInputs() const { return m_mapInputs; }
    // Output register to its declared mask.
    const std::map<std::uint32_t, std::uint32_t>& GetOutputs() const { return m_mapOutputs; }
    // Output registers a thread keeps: up to the highest declared.
    std::uint32_t GetOutputCount() const
    {
        return m_mapOutputs.empty() ? 0 : m_mapOutputs.rbegin()->first + 1;
    }
    const std::uint32_t* GetThreadGroupSize() const { return m_anGroupSize; }

    // "instruction 4 'sample'" for messages.
    std::string Describe(std::uint32_t nInstruction) const;

private:
    bool Declare(const TpfInstruction& instruction);
    bool Admit(TpfInterpInstruction& instruction);
    bool MatchFlow();
    bool Fail(std::uint32_t nInstruction, const std::string& strMessage);
    bool Refuse(const std::string& strMessage);

    std::string m_strError;
    std::uint32_t m_nProgramType = 0;
    std::vector<TpfInterpInstruction> m_vInstructions;
    std::uint32_t m_nTemps = 0;
    std::map<std::uint32_t, std::uint32_t> m_mapIndexableTemps;
    std::vector<std::uint32_t> m_vImmediates;
    std::map<std::uint32_t, std::uint32_t> m_mapGroupShared;
    std::map<std::uint32_t, std::uint32_t> m_mapInputs;
    std::map<std::uint32_t, std::uint32_t> m_mapOutputs;
    std::uint32_t m_anGroupSize[3] = {1, 1, 1};
};
} // namespace XAN_Platform

#endif
