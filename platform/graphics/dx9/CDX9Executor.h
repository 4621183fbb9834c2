#ifndef XAN_PLATFORM_CDX9_EXECUTOR_H
#define XAN_PLATFORM_CDX9_EXECUTOR_H

#include "CDX9Decoder.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Platform
{
enum EDX9TargetFormat
{
    DX9_TARGET_NONE,
    DX9_TARGET_RGBA32F, // four floats a pixel, by their bits
    DX9_TARGET_RGBA8,   // four bytes a pixel: each component saturated, times 255, rounded
};

// A render target: width × height pixels, row by row from the top, tightly packed.
struct SDX9Target
{
    EDX9TargetFormat eFormat = DX9_TARGET_NONE;
    void* pData = nullptr;
};

// The application's constant registers; def, defi and defb override them,
// and registers past the end read 0.
struct SDX9Constants
{
    std::vector<std::array<float, 4>> vFloat;
    std::vector<std::array<std::int32_t, 4>> vInt;
    std::vector<std::uint8_t> vBool;
};

// One instruction that a pixel executed.
struct SDX9TraceEntry
{
    std::uint32_t nInstruction = 0;     // counting executable instructions from 0
    std::vector<std::uint32_t> vPasses; // the pass of each enclosing loop, outermost first, from 0
    std::array<float, 4> fValue{};      // the destination register after the write; 0 without one
};

// Draws a DX9 pixel shader (models 2.0 to 3.0) over a grid of pixels, each
// run on its own, and traces what each pixel executed.
//
// Inputs: at pixel (x, y) of a W × H grid, the input register vn and the
// texture coordinate tn hold ((x + 0.5) / W + n, (y + 0.5) / H + n, x + y, n + 1);
// vPos holds (x, y, 0, 1) and vFace 1 in every component.
//
// Outputs: oC0 to oC3 go to targets 0 to 3 for every pixel, if the shader
// writes the register anywhere and the target is bound; components never
// written are 0.
//
// Runs mov, add, sub, mul, mad, dp3, dp4, min, max, rcp, rsq, frc, cmp,
// setp and predicated writes, if (a boolean constant or a predicate), ifc,
// else, endif, rep, endrep, loop, endloop (aL and c[aL + n]), break and
// breakc. Anything else, and unbalanced flow, is refused before any pixel
// runs, naming the line of the disassembly ("line 7: texld is not run").
// Loop counts are clamped to 0..255, and a pixel that runs more than 2^20
// instructions fails the draw, so that every draw ends soon.
class CDX9Executor
{
public:
    bool Draw(const std::uint32_t* pTokens, std::size_t nTokens, unsigned int nWidth,
              unsigned int nHeight, const SDX9Constants& constants,
              const std::array<SDX9Target, 4>& targets, bool bTrace);
    const std::string& GetError() const { return m_strError; }
    // By pixel, y × width + x; empty unless the last Draw traced.
    const std::vector<std::vector<SDX9TraceEntry>>& GetTrace() const { return m_vTrace; }

    // The value of an input or texture register's component at a pixel, by the rule above.
    static float InputValue(unsigned int nX, unsigned int nY, unsigned int nWidth,
                            unsigned int nHeight, std::uint32_t nRegister, unsigned int nComponent);

private:
    struct SOperation
    {
        const SDX9Instruction* pInst = nullptr;
        unsigned int nLine = 0;
        std::size_t nMatch =
            0; // else or endif of an if, end of a loop, start of its end, loop of a break
    };
    struct SLoop
    {
        std::size_t nStart = 0;
        std::uint32_t nCount = 0;
        std::uint32_t nPass = 0;
        std::int32_t nAL = 0;
        std::int32_t nStep = 0;
    };
    struct SPixel
    {
        unsigned int nX = 0;
        unsigned int nY = 0;
        std::array<std::array<float, 4>, 32> r{};
        std::array<std::array<float, 4>, 4> oC{};
        std::array<bool, 4> p{};
        std::vector<SLoop> vLoops;
        std::vector<SDX9TraceEntry>* pTrace = nullptr;
    };

    bool Prepare(const std::uint32_t* pTokens, std::size_t nTokens, const SDX9Constants& constants);
    bool PrepareOperation(SOperation& op, std::vector<std::size_t>& vOpen);
    bool CheckRegisters(const SOperation& op, bool bInLoop);
    // False if the pixel runs past the step limit.
    bool RunPixel(SPixel& pixel) const;
    // Executes the operation at nPos and gives the position of the next one.
    std::size_t Execute(SPixel& pixel, std::size_t nPos) const;
    std::size_t Leave(SPixel& pixel, const SOperation& loop) const;
    std::array<float, 4> Read(const SPixel& pixel, const SDX9Param& param) const;
    std::array<float, 4> ReadRegister(const SPixel& pixel, std::uint32_t nType,
                                      std::int64_t nNumber) const;
    bool Condition(const SPixel& pixel, const SDX9Instruction& inst) const;
    // Gives the register's value after the write.
    std::array<float, 4> Write(SPixel& pixel, const SDX9Instruction& inst,
                               const std::array<float, 4>& value) const;
    void Record(SPixel& pixel, std::size_t nPos, const std::array<float, 4>& value) const;
    void Store(const SPixel& pixel, const std::array<SDX9Target, 4>& targets) const;
    bool Fail(unsigned int nLine, const std::string& strCause);

    SDX9Shader m_shader;
    std::vector<SOperation> m_vOps;
    std::vector<std::array<float, 4>> m_vFloat; // constants as the shader sees them
    std::vector<std::array<std::int32_t, 4>> m_vInt;
    std::vector<bool> m_vBool;
    std::array<bool, 4> m_bWritesTarget{};
    unsigned int m_nWidth = 0;
    unsigned int m_nHeight = 0;
    std::vector<std::vector<SDX9TraceEntry>> m_vTrace;
    std::string m_strError;
};
} // namespace XAN_Platform

#endif
