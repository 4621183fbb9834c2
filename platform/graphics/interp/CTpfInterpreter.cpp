#include "CTpfInterpreter.h"

#include "TpfInterpOps.h"

#include <cmath>
#include <cstring>

namespace XAN_Platform
{
namespace
{
const std::uint32_t PROGRAM_PIXEL = 0, PROGRAM_VERTEX = 1, PROGRAM_COMPUTE = 5;
const std::uint32_t SV_POSITION = 1, SV_VERTEX_ID = 6, SV_IS_FRONT_FACE = 9;
// Results keep each thread's temps and outputs: a run that would keep more is refused rather
// than exhausting memory.
const std::uint64_t MAX_RESULT_BYTES = 1u << 30;

TpfValue4 Floats(float a, float b, float c, float d)
{
    TpfValue4 value;
    value.v[0] = TpfFloatToBits(a);
    value.v[1] = TpfFloatToBits(b);
    value.v[2] = TpfFloatToBits(c);
    value.v[3] = TpfFloatToBits(d);
    return value;
}

TpfValue4 Words(std::uint32_t x, std::uint32_t y, std::uint32_t z)
{
    TpfValue4 value;
    value.v[0] = x;
    value.v[1] = y;
    value.v[2] = z;
    return value;
}
} // namespace

bool CTpfInterpreter::Fail(const std::string& strMessage)
{
    m_strError = strMessage;
    return false;
}

bool CTpfInterpreter::Load(const std::uint32_t* pTokens, size_t nTokens)
{
    m_bLoaded = m_program.Load(pTokens, nTokens);
    m_strError = m_program.GetError();
    return m_bLoaded;
}

void CTpfInterpreter::SetBounded(const TpfBoundedTarget* pTarget)
{
    m_bBounded = pTarget != nullptr;
    if (pTarget != nullptr)
    {
        m_bounded = *pTarget;
    }
}

TpfValue4 CTpfInterpreter::GetPixelInput(std::uint32_t nX, std::uint32_t nY, std::uint32_t nWidth,
                                         std::uint32_t nHeight, std::uint32_t nRegister,
                                         std::uint32_t nSystemValue)
{
    const float fX = static_cast<float>(nX) + 0.5f;
    const float fY = static_cast<float>(nY) + 0.5f;
    if (nSystemValue == SV_POSITION)
    {
        return Floats(fX, fY, 0.0f, 1.0f);
    }
    if (nSystemValue == SV_IS_FRONT_FACE)
    {
        return Words(0xFFFFFFFFu, 0, 0);
    }
    if (nSystemValue != 0)
    {
        return TpfValue4();
    }
    return Floats(fX / static_cast<float>(nWidth), fY / static_cast<float>(nHeight),
                  static_cast<float>(nRegister), 1.0f);
}

TpfValue4 CTpfInterpreter::GetVertexInput(std::uint32_t nVertex, std::uint32_t nRegister,
                                          std::uint32_t nSystemValue)
{
    if (nSystemValue == SV_VERTEX_ID)
    {
        return Words(nVertex, 0, 0);
    }
    if (nSystemValue != 0)
    {
        return TpfValue4();
    }
    const float fVertex = static_cast<float>(nVertex);
    return Floats(fVertex, static_cast<float>(nRegister), fVertex * 0.5f, 1.0f);
}

bool CTpfInterpreter::Prepare(std::uint32_t nProgramType, TpfBindings& bindings,
                              std::uint64_t nThreads, std::vector<TpfThreadResult>& vResults)
{
    vResults.clear();
    if (!m_bLoaded)
    {
        return Fail("no program loaded");
    }
    if (m_program.GetProgramType() != nProgramType)
    {
        return Fail("the program is of another stage");
    }
    const std::uint64_t nRegisters = m_program.GetTempCount() + m_program.GetOutputCount() + 1;
    if (nThreads > MAX_RESULT_BYTES / (nRegisters * sizeof(TpfValue4)))
    {
        return Fail(std::to_string(nThreads) + " threads are more than the interpreter keeps");
    }
    m_shared = TpfInterpShared();
    m_shared.pBindings = &bindings;
    m_shared.pGroupShared = &m_mapGroupShared;
    m_shared.bTrace = m_bTrace;
    m_shared.nStepLimit = m_nStepLimit;
    if (m_bBounded)
    {
        const std::vector<TpfInterpInstruction>& vInstructions = m_program.GetInstructions();
        const std::uint32_t nTarget = m_bounded.nInstruction;
        if (nTarget >= vInstructions.size())
        {
            return Fail("the bounded target " + std::to_string(nTarget) + " is past the program");
        }
        m_shared.pBounded = &m_bounded;
        m_shared.nBoundedEnd = nTarget + 1;
        for (std::uint32_t n = 0; n <= nTarget; ++n)
        {
            if (vInstructions[n].decoded.nOpcode == TPF_OP_LOOP && vInstructions[n].nEnd > nTarget)
            {
                const size_t nDepth = m_shared.mapPassLimits.size();
                m_shared.mapPassLimits[n] =
                    nDepth < m_bounded.vPasses.size() ? m_bounded.vPasses[nDepth] : TPF_INTERP_NONE;
                if (nDepth == 0)
                {
                    m_shared.nBoundedEnd = vInstructions[n].nEnd + 1;
                }
            }
        }
    }
    vResults.resize(static_cast<size_t>(nThreads));
    return true;
}

bool CTpfInterpreter::RunTogether(std::vector<CTpfInterpThread>& vThreads, std::uint64_t nFirst)
{
    for (bool bRunning = true; bRunning;)
    {
        bRunning = false;
        for (size_t n = 0; n < vThreads.size(); ++n)
        {
            if (vThreads[n].IsDone())
            {
                continue;
            }
            if (!vThreads[n].Run())
            {
                return Fail("thread " + std::to_string(nFirst + n) + ", " + vThreads[n].GetError());
            }
            bRunning = bRunning || !vThreads[n].IsDone();
        }
    }
    return true;
}

bool CTpfInterpreter::RunCompute(std::uint32_t nGroupsX, std::uint32_t nGroupsY,
                                 std::uint32_t nGroupsZ, TpfBindings& bindings,
                                 std::vector<TpfThreadResult>& vResults)
{
    const std::uint32_t* pSize = m_program.GetThreadGroupSize();
    const std::uint64_t nWidth = std::uint64_t(nGroupsX) * pSize[0];
    const std::uint64_t nHeight = std::uint64_t(nGroupsY) * pSize[1];
    const std::uint64_t nDepth = std::uint64_t(nGroupsZ) * pSize[2];
    if (!Prepare(PROGRAM_COMPUTE, bindings, nWidth * nHeight * nDepth, vResults))
    {
        return false;
    }
    std::vector<CTpfInterpThread> vThreads;
    for (std::uint32_t gz = 0; gz < nGroupsZ; ++gz)
    {
        for (std::uint32_t gy = 0; gy < nGroupsY; ++gy)
        {
            for (std::uint32_t gx = 0; gx < nGroupsX; ++gx)
            {
                // Each group starts with its shared memory cleared.
                m_mapGroupShared.clear();
                for (const auto& entry : m_program.GetGroupSharedSizes())
                {
                    m_mapGroupShared[entry.first].assign(entry.second, 0);
                }
                vThreads.clear();
                vThreads.reserve(std::uint64_t(pSize[0]) * pSize[1] * pSize[2]);
                std::uint32_t nFlat = 0;
                for (std::uint32_t tz = 0; tz < pSize[2]; ++tz)
                {
                    for (std::uint32_t ty = 0; ty < pSize[1]; ++ty)
                    {
                        for (std::uint32_t tx = 0; tx < pSize[0]; ++tx, ++nFlat)
                        {
                            const std::uint32_t x = gx * pSize[0] + tx;
                            const std::uint32_t y = gy * pSize[1] + ty;
                            const std::uint32_t z = gz * pSize[2] + tz;
                            vThreads.emplace_back(m_program, m_shared,
                                                  vResults[(z * nHeight + y) * nWidth + x]);
                            vThreads.back().SetThreadIDs(Words(x, y, z), Words(gx, gy, gz),
                                                         Words(tx, ty, tz), nFlat);
                        }
                    }
                }
                if (!RunTogether(vThreads, 0))
                {
                    return false;
                }
            }
        }
    }
    return true;
}

bool CTpfInterpreter::RunPixel(std::uint32_t nWidth, std::uint32_t nHeight, TpfBindings& bindings,
                               std::vector<TpfThreadResult>& vResults)
{
    if (!Prepare(PROGRAM_PIXEL, bindings, std::uint64_t(nWidth) * nHeight, vResults))
    {
        return false;
    }
    for (std::uint32_t y = 0; y < nHeight; ++y)
    {
        for (std::uint32_t x = 0; x < nWidth; ++x)
        {
            const size_t nPixel = size_t(y) * nWidth + x;
            std::vector<CTpfInterpThread> vThread;
            vThread.emplace_back(m_program, m_shared, vResults[nPixel]);
            for (const auto& input : m_program.GetInputs())
            {
                vThread[0].SetInput(
                    input.first, GetPixelInput(x, y, nWidth, nHeight, input.first, input.second));
            }
            if (!RunTogether(vThread, nPixel))
            {
                return false;
            }
            const TpfThreadResult& result = vResults[nPixel];
            for (auto& entry : bindings.mapRenderTargets)
            {
                const auto itOutput = m_program.GetOutputs().find(entry.first);
                if (result.bDiscarded || itOutput == m_program.GetOutputs().end() ||
                    entry.second.pData == nullptr)
                {
                    continue;
                }
                const bool bFloat = entry.second.eFormat == TPF_TARGET_RGBA32;
                const size_t nBytes = bFloat ? 4 : 1;
                std::vector<std::uint8_t>& vData = *entry.second.pData;
                for (unsigned int c = 0; c < 4; ++c)
                {
                    const size_t nPlace = (nPixel * 4 + c) * nBytes;
                    if ((itOutput->second & (1u << c)) == 0 || nPlace + nBytes > vData.size())
                    {
                        continue;
                    }
                    const std::uint32_t nValue = result.vOutputs[entry.first].v[c];
                    if (bFloat)
                    {
                        std::memcpy(&vData[nPlace], &nValue, 4);
                    }
                    else
                    {
                        vData[nPlace] = static_cast<std::uint8_t>(
                            std::lround(TpfSaturate(TpfBitsToFloat(nValue)) * 255.0f));
                    }
                }
            }
        }
    }
    return true;
}

bool CTpfInterpreter::RunVertex(std::uint32_t nVertices, TpfBindings& bindings,
                                std::vector<TpfThreadResult>& vResults)
{
    if (!Prepare(PROGRAM_VERTEX, bindings, nVertices, vResults))
    {
        return false;
    }
    for (std::uint32_t n = 0; n < nVertices; ++n)
    {
        std::vector<CTpfInterpThread> vThread;
        vThread.emplace_back(m_program, m_shared, vResults[n]);
        for (const auto& input : m_program.GetInputs())
        {
            vThread[0].SetInput(input.first, GetVertexInput(n, input.first, input.second));
        }
        if (!RunTogether(vThread, n))
        {
            return false;
        }
        for (auto& entry : bindings.mapStreamOut)
        {
            const size_t nPlace = size_t(n) * 16;
            if (entry.second != nullptr && entry.first < vResults[n].vOutputs.size() &&
                nPlace + 16 <= entry.second->size())
            {
                std::memcpy(entry.second->data() + nPlace, vResults[n].vOutputs[entry.first].v, 16);
            }
        }
    }
    return true;
}
} // namespace XAN_Platform
