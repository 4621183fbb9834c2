#ifndef XAN_PLATFORM_CTPF_INTERPRETER_H
#define XAN_PLATFORM_CTPF_INTERPRETER_H

#include "CTpfInterpProgram.h"
#include "CTpfInterpThread.h"
#include "TpfInterpTypes.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace XAN_Platform
{
// The reference interpreter of the tokenized program: runs a pixel, vertex or compute program
// over all its threads, in single precision without flushing denormals, optionally recording a
// trace per thread or running bounded at a target (platform/graphics/README.md).
class CTpfInterpreter
{
public:
    // pTokens starts at the version token. False names the refused instruction in GetError().
    bool Load(const std::uint32_t* pTokens, size_t nTokens);
    const CTpfInterpProgram& GetProgram() const { return m_program; }
    const std::string& GetError() const { return m_strError; }

    // Records each executed instruction of each thread.
    void SetTrace(bool bTrace) { m_bTrace = bTrace; }
    // Runs bounded at the target; null runs freely.
    void SetBounded(const TpfBoundedTarget* pTarget);
    // Instructions a thread may execute before the run is given up as endless.
    void SetStepLimit(std::uint64_t nLimit) { m_nStepLimit = nLimit; }

    // Threads in the order of vThreadID: x fastest, then y, then z, over the whole dispatch.
    bool RunCompute(std::uint32_t nGroupsX, std::uint32_t nGroupsY, std::uint32_t nGroupsZ,
                    TpfBindings& bindings, std::vector<TpfThreadResult>& vResults);
    // One thread a pixel, row by row; o# goes to render target slot #.
    bool RunPixel(std::uint32_t nWidth, std::uint32_t nHeight, TpfBindings& bindings,
                  std::vector<TpfThreadResult>& vResults);
    // One thread a vertex; outputs go to the stream-out buffers that the bindings hold.
    bool RunVertex(std::uint32_t nVertices, TpfBindings& bindings,
                   std::vector<TpfThreadResult>& vResults);

    // The input rule: what input register nRegister with system value nSystemValue holds for
    // pixel (nX, nY) of a nWidth x nHeight grid, or for vertex nX.
    static TpfValue4 GetPixelInput(std::uint32_t nX, std::uint32_t nY, std::uint32_t nWidth,
                                   std::uint32_t nHeight, std::uint32_t nRegister,
                                   std::uint32_t nSystemValue);
    static TpfValue4 GetVertexInput(std::uint32_t nVertex, std::uint32_t nRegister,
                                    std::uint32_t nSystemValue);

private:
    bool Prepare(std::uint32_t nProgramType, TpfBindings& bindings, std::uint64_t nThreads,
                 std::vector<TpfThreadResult>& vResults);
    // Runs the threads until each has ended, all of them up to each `sync` before any goes on.
    bool RunTogether(std::vector<CTpfInterpThread>& vThreads, std::uint64_t nFirst);
    bool Fail(const std::string& strMessage);

    CTpfInterpProgram m_program;
    std::string m_strError;
    bool m_bLoaded = false;
    bool m_bTrace = false;
    bool m_bBounded = false;
    TpfBoundedTarget m_bounded;
    std::uint64_t m_nStepLimit = 1u << 20;
    TpfInterpShared m_shared;
    std::map<std::uint32_t, std::vector<std::uint8_t>> m_mapGroupShared;
};
} // namespace XAN_Platform

#endif
