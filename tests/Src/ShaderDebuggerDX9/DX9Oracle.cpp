#include "DX9Oracle.h"

#include "ShaderDebuggerDX9/ShaderDebuggerInstructionDX9.h"

#include <algorithm>
#include <limits>

using namespace XAN_ShaderDebugger;

namespace XAN_Test
{
namespace
{
bool HasPrefix(const std::vector<std::uint32_t>& vPasses, const std::vector<std::uint32_t>& vPrefix)
{
    return vPasses.size() >= vPrefix.size() &&
           std::equal(vPrefix.begin(), vPrefix.end(), vPasses.begin());
}

bool WritesTemp(const XAN_Platform::SDX9Instruction& inst, std::uint32_t nRegister)
{
    return inst.bHasDest && GetRegisterType(inst.dest.dwToken) == D3DSPR_TEMP &&
           GetRegisterNumber(inst.dest.dwToken) == nRegister;
}
} // namespace

CDX9Oracle::CDX9Oracle(const std::vector<std::uint32_t>& vTokens, unsigned int nWidth,
                       unsigned int nHeight, const CShaderDebuggerShaderDX9& shader)
{
    XAN_Platform::CDX9Decoder decoder;
    if (!decoder.Decode(vTokens.data(), vTokens.size(), m_Decoded))
    {
        return;
    }
    for (const XAN_Platform::SDX9Instruction& inst : m_Decoded.vInstructions)
    {
        if (inst.IsExecutable())
        {
            m_vExecutable.push_back(&inst);
        }
    }
    for (const std::pair<const std::uint32_t, LoopDX9>& entry : shader.GetLoops())
    {
        m_vLoops.push_back(entry.second);
    }
    std::vector<float> vTarget(nWidth * nHeight * 4);
    std::array<XAN_Platform::SDX9Target, 4> targets;
    targets[0] = {XAN_Platform::DX9_TARGET_RGBA32F, vTarget.data()};
    XAN_Platform::CDX9Executor executor;
    m_bValid = executor.Draw(vTokens.data(), vTokens.size(), nWidth, nHeight,
                             XAN_Platform::SDX9Constants(), targets, true);
    m_vTrace = executor.GetTrace();
}

std::vector<SOracleValue> CDX9Oracle::At(std::uint32_t nInstruction) const
{
    std::vector<SOracleValue> vValues;
    for (const std::vector<XAN_Platform::SDX9TraceEntry>& vTrace : m_vTrace)
    {
        vValues.push_back(AtPixel(nInstruction, vTrace));
    }
    return vValues;
}

SOracleValue CDX9Oracle::AtPixel(std::uint32_t nInstruction,
                                 const std::vector<XAN_Platform::SDX9TraceEntry>& vTrace) const
{
    // The last pass of each enclosing loop, outermost first: the pass of the last entry inside
    // that loop's body within the passes chosen so far.
    std::vector<std::uint32_t> vPasses;
    for (const LoopDX9& loop : m_vLoops)
    {
        if (loop.start.m_nPos >= nInstruction || loop.end.m_nPos < nInstruction)
        {
            continue;
        }
        const XAN_Platform::SDX9TraceEntry* pLast = nullptr;
        for (const XAN_Platform::SDX9TraceEntry& entry : vTrace)
        {
            if (entry.nInstruction > loop.start.m_nPos && entry.nInstruction <= loop.end.m_nPos &&
                entry.vPasses.size() > vPasses.size() && HasPrefix(entry.vPasses, vPasses))
            {
                pLast = &entry;
            }
        }
        if (pLast == nullptr)
        {
            return SOracleValue();
        }
        vPasses.push_back(pLast->vPasses[vPasses.size()]);
    }

    SOracleValue value;
    for (size_t i = 0; i < vTrace.size(); ++i)
    {
        if (vTrace[i].nInstruction == nInstruction && HasPrefix(vTrace[i].vPasses, vPasses))
        {
            value.bReached = true;
            value.fValue = vTrace[i].fValue;
            const XAN_Platform::SDX9Instruction& inst = *m_vExecutable[nInstruction];
            if (inst.bHasDest && GetRegisterTypeSD(GetRegisterType(inst.dest.dwToken)) == RT_Output)
            {
                value.fValue = SourceValue(nInstruction, vTrace, i);
            }
        }
    }
    return value;
}

std::array<float, 4>
CDX9Oracle::SourceValue(std::uint32_t nInstruction,
                        const std::vector<XAN_Platform::SDX9TraceEntry>& vTrace,
                        size_t nEntry) const
{
    // The corpus writes outputs from temporaries, which the trace holds whole after each write.
    const std::uint32_t dwSource = m_vExecutable[nInstruction]->vSources[0].dwToken;
    std::array<float, 4> value{};
    if (GetRegisterType(dwSource) != D3DSPR_TEMP || ((dwSource >> 24) & 0xF) != 0)
    {
        value.fill(std::numeric_limits<float>::quiet_NaN());
        return value;
    }
    std::array<float, 4> registerValue{};
    for (size_t i = 0; i < nEntry; ++i)
    {
        if (WritesTemp(*m_vExecutable[vTrace[i].nInstruction], GetRegisterNumber(dwSource)))
        {
            registerValue = vTrace[i].fValue;
        }
    }
    for (unsigned int k = 0; k < 4; ++k)
    {
        value[k] = registerValue[(dwSource >> (16 + 2 * k)) & 3];
    }
    return value;
}
} // namespace XAN_Test
