#ifndef XAN_TEST_DX9_ORACLE_H
#define XAN_TEST_DX9_ORACLE_H

#include "CDX9Decoder.h"
#include "CDX9Executor.h"
#include "ShaderDebuggerDX9/ShaderDebuggerShaderDX9.h"

#include <array>
#include <cstdint>
#include <vector>

namespace XAN_Test
{
// What the original shader's trace says of one instruction at one pixel.
struct SOracleValue
{
    bool bReached = false;
    std::array<float, 4> fValue{};
};

// The trace of a shader drawn on the executor, read as the debugger must show it: for each
// instruction and pixel, whether the pixel reached it in its last pass of the enclosing loops, and
// the value there (the first source for an output).
class CDX9Oracle
{
public:
    CDX9Oracle(const std::vector<std::uint32_t>& vTokens, unsigned int nWidth, unsigned int nHeight,
               const XAN_ShaderDebugger::CShaderDebuggerShaderDX9& shader);

    bool IsValid() const { return m_bValid; }
    // By pixel, y × width + x.
    std::vector<SOracleValue> At(std::uint32_t nInstruction) const;

private:
    SOracleValue AtPixel(std::uint32_t nInstruction,
                         const std::vector<XAN_Platform::SDX9TraceEntry>& vTrace) const;
    // The value of an output's first source before the entry at nEntry.
    std::array<float, 4> SourceValue(std::uint32_t nInstruction,
                                     const std::vector<XAN_Platform::SDX9TraceEntry>& vTrace,
                                     size_t nEntry) const;

    bool m_bValid = false;
    XAN_Platform::SDX9Shader m_Decoded;
    // The decoded executable instructions, by position.
    std::vector<const XAN_Platform::SDX9Instruction*> m_vExecutable;
    std::vector<XAN_ShaderDebugger::LoopDX9> m_vLoops;
    std::vector<std::vector<XAN_Platform::SDX9TraceEntry>> m_vTrace;
};
} // namespace XAN_Test

#endif
