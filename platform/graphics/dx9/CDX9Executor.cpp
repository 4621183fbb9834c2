#include "CDX9Executor.h"

#include "CDX9Disassembler.h"

#include <boost/format.hpp>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace XAN_Platform
{
using namespace DX9;

namespace
{
constexpr std::size_t FLOAT_CONSTANTS = 8192;
constexpr std::size_t INT_CONSTANTS = 2048;
constexpr std::int32_t MAX_LOOP_COUNT = 255;
// Nested loops could otherwise run for ages on a damaged shader.
constexpr std::size_t MAX_PIXEL_STEPS = 1u << 20;
const std::array<float, 4> g_Zero{};

bool IsFlow(std::uint32_t nOpcode)
{
    switch (nOpcode)
    {
    case OP_IF:
    case OP_IFC:
    case OP_ELSE:
    case OP_ENDIF:
    case OP_REP:
    case OP_ENDREP:
    case OP_LOOP:
    case OP_ENDLOOP:
    case OP_BREAK:
    case OP_BREAKC:
        return true;
    default:
        return false;
    }
}

bool IsRun(std::uint32_t nOpcode)
{
    switch (nOpcode)
    {
    case OP_MOV:
    case OP_ADD:
    case OP_SUB:
    case OP_MUL:
    case OP_MAD:
    case OP_DP3:
    case OP_DP4:
    case OP_MIN:
    case OP_MAX:
    case OP_RCP:
    case OP_RSQ:
    case OP_FRC:
    case OP_CMP:
    case OP_SETP:
        return true;
    default:
        return IsFlow(nOpcode);
    }
}

bool Compare(std::uint32_t nComparison, float fA, float fB)
{
    switch (nComparison)
    {
    case CMP_GT:
        return fA > fB;
    case CMP_EQ:
        return fA == fB;
    case CMP_GE:
        return fA >= fB;
    case CMP_LT:
        return fA < fB;
    case CMP_NE:
        return fA != fB;
    default:
        return fA <= fB;
    }
}

// A NaN saturates to 0.
float Saturate(float fValue)
{
    return fValue > 0.0f ? (fValue < 1.0f ? fValue : 1.0f) : 0.0f;
}

std::uint32_t SourceModifier(const SDX9Param& param)
{
    return (param.dwToken >> SRC_MOD_SHIFT) & 0xF;
}

std::uint32_t Component(std::uint32_t dwToken, unsigned int n)
{
    return (dwToken >> (SWIZZLE_SHIFT + 2 * n)) & 3;
}
} // namespace

float CDX9Executor::InputValue(unsigned int nX, unsigned int nY, unsigned int nWidth,
                               unsigned int nHeight, std::uint32_t nRegister,
                               unsigned int nComponent)
{
    switch (nComponent)
    {
    case 0:
        return (static_cast<float>(nX) + 0.5f) / static_cast<float>(nWidth) +
               static_cast<float>(nRegister);
    case 1:
        return (static_cast<float>(nY) + 0.5f) / static_cast<float>(nHeight) +
               static_cast<float>(nRegister);
    case 2:
        return static_cast<float>(nX + nY);
    default:
        return static_cast<float>(nRegister + 1);
    }
}

bool CDX9Executor::Draw(const std::uint32_t* pTokens, std::size_t nTokens, unsigned int nWidth,
                        unsigned int nHeight, const SDX9Constants& constants,
                        const std::array<SDX9Target, 4>& targets, bool bTrace)
{
    m_vTrace.clear();
    m_strError.clear();
    m_nWidth = nWidth;
    m_nHeight = nHeight;
    if (!Prepare(pTokens, nTokens, constants))
    {
        return false;
    }
    for (std::size_t n = 0; n < targets.size(); ++n)
    {
        if (targets[n].eFormat != DX9_TARGET_NONE && targets[n].pData == nullptr)
        {
            return Fail(0, (boost::format("target %u has no memory") % n).str());
        }
    }
    if (bTrace)
    {
        m_vTrace.resize(static_cast<std::size_t>(nWidth) * nHeight);
    }
    for (unsigned int nY = 0; nY < nHeight; ++nY)
    {
        for (unsigned int nX = 0; nX < nWidth; ++nX)
        {
            SPixel pixel;
            pixel.nX = nX;
            pixel.nY = nY;
            pixel.pTrace = bTrace ? &m_vTrace[static_cast<std::size_t>(nY) * nWidth + nX] : nullptr;
            if (!RunPixel(pixel))
            {
                return Fail(0, (boost::format("pixel (%u, %u) runs more than %u instructions") %
                                nX % nY % MAX_PIXEL_STEPS)
                                   .str());
            }
            Store(pixel, targets);
        }
    }
    return true;
}

bool CDX9Executor::Prepare(const std::uint32_t* pTokens, std::size_t nTokens,
                           const SDX9Constants& constants)
{
    CDX9Decoder decoder;
    m_vOps.clear();
    m_bWritesTarget.fill(false);
    if (!decoder.Decode(pTokens, nTokens, m_shader))
    {
        return Fail(0, decoder.GetError());
    }
    if (!m_shader.IsPixelShader() || m_shader.GetVersion() < 0x0200 ||
        m_shader.GetVersion() > 0x03FF)
    {
        return Fail(0, "the executor runs pixel shaders of models 2.0 to 3.0, not " +
                           VersionName(m_shader.dwVersion));
    }
    std::vector<unsigned int> vLines;
    CDX9Disassembler::Disassemble(m_shader, vLines);

    m_vFloat.assign(FLOAT_CONSTANTS, g_Zero);
    std::copy_n(constants.vFloat.begin(), std::min(constants.vFloat.size(), FLOAT_CONSTANTS),
                m_vFloat.begin());
    m_vInt.assign(INT_CONSTANTS, {});
    std::copy_n(constants.vInt.begin(), std::min(constants.vInt.size(), INT_CONSTANTS),
                m_vInt.begin());
    m_vBool.assign(INT_CONSTANTS, false);
    std::copy_n(constants.vBool.begin(), std::min(constants.vBool.size(), INT_CONSTANTS),
                m_vBool.begin());

    std::vector<std::size_t> vOpen; // flow constructs not yet closed
    for (std::size_t n = 0; n < m_shader.vInstructions.size(); ++n)
    {
        const SDX9Instruction& inst = m_shader.vInstructions[n];
        const std::uint32_t nNumber = RegisterNumber(inst.dest.dwToken);
        switch (inst.nOpcode)
        {
        case OP_DEF:
            std::memcpy(m_vFloat[nNumber].data(), inst.vValues.data(), sizeof(float) * 4);
            continue;
        case OP_DEFI:
        case OP_DEFB:
            if (nNumber >= INT_CONSTANTS)
            {
                return Fail(vLines[n], "the constant is out of range");
            }
            if (inst.nOpcode == OP_DEFB)
            {
                m_vBool[nNumber] = inst.vValues[0] != 0;
            }
            else
            {
                std::memcpy(m_vInt[nNumber].data(), inst.vValues.data(), sizeof(std::int32_t) * 4);
            }
            continue;
        case OP_DCL:
        case OP_COMMENT:
            continue;
        default:
            break;
        }
        SOperation op;
        op.pInst = &inst;
        op.nLine = vLines[n];
        m_vOps.push_back(op);
        if (!PrepareOperation(m_vOps.back(), vOpen))
        {
            return false;
        }
    }
    if (!vOpen.empty())
    {
        const SOperation& open = m_vOps[vOpen.back()];
        return Fail(open.nLine, std::string(open.pInst->pInfo->pName) + " without its end");
    }
    return true;
}

bool CDX9Executor::PrepareOperation(SOperation& op, std::vector<std::size_t>& vOpen)
{
    const SDX9Instruction& inst = *op.pInst;
    const std::size_t nPos = m_vOps.size() - 1; // op is the last
    if (!IsRun(inst.nOpcode))
    {
        return Fail(op.nLine, std::string("the executor doesn't run ") + inst.pInfo->pName);
    }
    if (inst.bPredicated && IsFlow(inst.nOpcode))
    {
        return Fail(op.nLine, "predicated flow control");
    }
    const auto openTop = [&](std::initializer_list<std::uint32_t> opcodes)
    {
        return !vOpen.empty() && std::find(opcodes.begin(), opcodes.end(),
                                           m_vOps[vOpen.back()].pInst->nOpcode) != opcodes.end();
    };
    const auto innermostLoop = [&](bool bLoopOnly) -> const std::size_t*
    {
        for (auto it = vOpen.rbegin(); it != vOpen.rend(); ++it)
        {
            const std::uint32_t nOpcode = m_vOps[*it].pInst->nOpcode;
            if (nOpcode == OP_LOOP || (!bLoopOnly && nOpcode == OP_REP))
            {
                return &*it;
            }
        }
        return nullptr;
    };
    switch (inst.nOpcode)
    {
    case OP_IF:
    case OP_IFC:
    case OP_REP:
    case OP_LOOP:
        vOpen.push_back(nPos);
        break;
    case OP_ELSE:
        if (!openTop({OP_IF, OP_IFC}))
        {
            return Fail(op.nLine, "else without if");
        }
        m_vOps[vOpen.back()].nMatch = nPos;
        vOpen.back() = nPos;
        break;
    case OP_ENDIF:
    case OP_ENDREP:
    case OP_ENDLOOP:
    {
        const bool bMatch = inst.nOpcode == OP_ENDIF    ? openTop({OP_IF, OP_IFC, OP_ELSE})
                            : inst.nOpcode == OP_ENDREP ? openTop({OP_REP})
                                                        : openTop({OP_LOOP});
        if (!bMatch)
        {
            return Fail(op.nLine, std::string(inst.pInfo->pName) + " without its start");
        }
        m_vOps[vOpen.back()].nMatch = nPos;
        op.nMatch = vOpen.back();
        vOpen.pop_back();
        break;
    }
    case OP_BREAK:
    case OP_BREAKC:
        if (innermostLoop(false) == nullptr)
        {
            return Fail(op.nLine, "break outside a loop");
        }
        op.nMatch = *innermostLoop(false);
        break;
    default:
        break;
    }
    return CheckRegisters(op, innermostLoop(true) != nullptr);
}

bool CDX9Executor::CheckRegisters(const SOperation& op, bool bInLoop)
{
    const SDX9Instruction& inst = *op.pInst;
    const auto refuse = [&]()
    {
        return Fail(op.nLine, "'" + CDX9Disassembler::FormatInstruction(inst, m_shader) +
                                  "' uses a register or modifier that the executor doesn't run");
    };
    if (inst.bHasDest)
    {
        const std::uint32_t nType = RegisterType(inst.dest.dwToken);
        const std::uint32_t nNumber = RegisterNumber(inst.dest.dwToken);
        const bool bGood = inst.nOpcode == OP_SETP ? nType == REG_PREDICATE && nNumber == 0
                                                   : (nType == REG_TEMP && nNumber < 32) ||
                                                         (nType == REG_COLOROUT && nNumber < 4);
        if (!bGood || ((inst.dest.dwToken >> SHIFT_SHIFT) & 0xF) != 0)
        {
            return refuse();
        }
        m_bWritesTarget[nNumber & 3] = m_bWritesTarget[nNumber & 3] || nType == REG_COLOROUT;
    }
    const auto isCondition = [](const SDX9Param& param, std::uint32_t nType)
    {
        return RegisterType(param.dwToken) == nType && !param.bRelative &&
               (SourceModifier(param) == SRC_NONE || SourceModifier(param) == SRC_NOT);
    };
    if (inst.bPredicated && !isCondition(inst.predicate, REG_PREDICATE))
    {
        return refuse();
    }
    for (std::size_t n = 0; n < inst.vSources.size(); ++n)
    {
        const SDX9Param& source = inst.vSources[n];
        const std::uint32_t nType = RegisterType(source.dwToken);
        const std::uint32_t nNumber = RegisterNumber(source.dwToken);
        bool bGood = false;
        if (inst.nOpcode == OP_IF)
        {
            bGood = isCondition(source, REG_CONSTBOOL) || isCondition(source, REG_PREDICATE);
        }
        else if (inst.nOpcode == OP_REP || inst.nOpcode == OP_LOOP)
        {
            const bool bCounter = inst.nOpcode == OP_REP || n == 1;
            bGood = nType == (bCounter ? REG_CONSTINT : REG_LOOP) && nNumber < INT_CONSTANTS &&
                    source.dwToken ==
                        (MakeRegister(nType, nNumber) | (IDENTITY_SWIZZLE << SWIZZLE_SHIFT));
        }
        else
        {
            const std::uint32_t nModifier = SourceModifier(source);
            const bool bRelative =
                !source.bRelative ||
                (nType == REG_CONST && bInLoop && RegisterType(source.dwRelative) == REG_LOOP);
            bGood =
                bRelative &&
                (nModifier == SRC_NONE || nModifier == SRC_NEG || nModifier == SRC_ABS ||
                 nModifier == SRC_ABSNEG) &&
                ((nType == REG_TEMP && nNumber < 32) || nType == REG_INPUT ||
                 nType == REG_TEXTURE || nType == REG_CONST || (nType == REG_MISC && nNumber < 2));
        }
        if (!bGood)
        {
            return refuse();
        }
    }
    return true;
}

bool CDX9Executor::RunPixel(SPixel& pixel) const
{
    std::size_t nSteps = 0;
    for (std::size_t nPos = 0; nPos < m_vOps.size(); ++nSteps)
    {
        if (nSteps == MAX_PIXEL_STEPS)
        {
            return false;
        }
        nPos = Execute(pixel, nPos);
    }
    return true;
}

std::size_t CDX9Executor::Execute(SPixel& pixel, std::size_t nPos) const
{
    const SOperation& op = m_vOps[nPos];
    const SDX9Instruction& inst = *op.pInst;
    std::array<float, 4> src[3];
    for (std::size_t n = 0; n < inst.vSources.size() && !IsFlow(inst.nOpcode); ++n)
    {
        src[n] = Read(pixel, inst.vSources[n]);
    }
    std::array<float, 4> value{};
    switch (inst.nOpcode)
    {
    case OP_IF:
    case OP_IFC:
        Record(pixel, nPos, g_Zero);
        if (Condition(pixel, inst))
        {
            return nPos + 1;
        }
        // The else starts the code that the pixel runs; an endif runs as usual.
        if (m_vOps[op.nMatch].pInst->nOpcode == OP_ELSE)
        {
            Record(pixel, op.nMatch, g_Zero);
            return op.nMatch + 1;
        }
        return op.nMatch;
    case OP_ELSE:
        return op.nMatch;
    case OP_REP:
    case OP_LOOP:
    {
        Record(pixel, nPos, g_Zero);
        const SDX9Param& counter = inst.vSources[inst.nOpcode == OP_LOOP ? 1 : 0];
        const std::array<std::int32_t, 4>& values = m_vInt[RegisterNumber(counter.dwToken)];
        SLoop loop;
        loop.nStart = nPos;
        loop.nCount = static_cast<std::uint32_t>(std::clamp(values[0], 0, MAX_LOOP_COUNT));
        if (inst.nOpcode == OP_LOOP)
        {
            loop.nAL = values[1];
            loop.nStep = values[2];
        }
        if (loop.nCount == 0)
        {
            return op.nMatch + 1;
        }
        pixel.vLoops.push_back(loop);
        return nPos + 1;
    }
    case OP_ENDREP:
    case OP_ENDLOOP:
    {
        Record(pixel, nPos, g_Zero);
        SLoop& loop = pixel.vLoops.back();
        ++loop.nPass;
        // Wrapping, as a register would: the shader's numbers may be anything.
        loop.nAL = static_cast<std::int32_t>(static_cast<std::uint32_t>(loop.nAL) +
                                             static_cast<std::uint32_t>(loop.nStep));
        if (loop.nPass < loop.nCount)
        {
            return loop.nStart + 1;
        }
        pixel.vLoops.pop_back();
        return nPos + 1;
    }
    case OP_BREAK:
    case OP_BREAKC:
        Record(pixel, nPos, g_Zero);
        return inst.nOpcode == OP_BREAK || Condition(pixel, inst) ? Leave(pixel, m_vOps[op.nMatch])
                                                                  : nPos + 1;
    case OP_ENDIF:
        Record(pixel, nPos, g_Zero);
        return nPos + 1;
    case OP_DP3:
    case OP_DP4:
        value.fill(src[0][0] * src[1][0] + src[0][1] * src[1][1] + src[0][2] * src[1][2] +
                   (inst.nOpcode == OP_DP4 ? src[0][3] * src[1][3] : 0.0f));
        break;
    case OP_RCP:
        value.fill(1.0f / src[0][3]);
        break;
    case OP_RSQ:
        value.fill(1.0f / std::sqrt(std::fabs(src[0][3])));
        break;
    default:
        for (unsigned int k = 0; k < 4; ++k)
        {
            const float a = src[0][k];
            const float b = src[1][k];
            const float c = src[2][k];
            switch (inst.nOpcode)
            {
            case OP_MOV:
                value[k] = a;
                break;
            case OP_ADD:
                value[k] = a + b;
                break;
            case OP_SUB:
                value[k] = a - b;
                break;
            case OP_MUL:
                value[k] = a * b;
                break;
            case OP_MAD:
                value[k] = a * b + c;
                break;
            case OP_MIN:
                value[k] = a < b ? a : b;
                break;
            case OP_MAX:
                value[k] = a >= b ? a : b;
                break;
            case OP_FRC:
                value[k] = a - std::floor(a);
                break;
            case OP_CMP:
                value[k] = a >= 0.0f ? b : c;
                break;
            default: // setp
                value[k] = Compare(inst.GetControl(), a, b) ? 1.0f : 0.0f;
                break;
            }
        }
        break;
    }
    Record(pixel, nPos, Write(pixel, inst, value));
    return nPos + 1;
}

std::size_t CDX9Executor::Leave(SPixel& pixel, const SOperation& loop) const
{
    pixel.vLoops.pop_back();
    return loop.nMatch + 1;
}

std::array<float, 4> CDX9Executor::Read(const SPixel& pixel, const SDX9Param& param) const
{
    std::int64_t nNumber = RegisterNumber(param.dwToken);
    if (param.bRelative)
    {
        // aL of the innermost loop (a rep has none).
        for (auto it = pixel.vLoops.rbegin(); it != pixel.vLoops.rend(); ++it)
        {
            if (m_vOps[it->nStart].pInst->nOpcode == OP_LOOP)
            {
                nNumber += it->nAL;
                break;
            }
        }
    }
    const std::array<float, 4> raw = ReadRegister(pixel, RegisterType(param.dwToken), nNumber);
    std::array<float, 4> value{};
    for (unsigned int k = 0; k < 4; ++k)
    {
        value[k] = raw[Component(param.dwToken, k)];
        switch (SourceModifier(param))
        {
        case SRC_NEG:
            value[k] = -value[k];
            break;
        case SRC_ABS:
            value[k] = std::fabs(value[k]);
            break;
        case SRC_ABSNEG:
            value[k] = -std::fabs(value[k]);
            break;
        default:
            break;
        }
    }
    return value;
}

std::array<float, 4> CDX9Executor::ReadRegister(const SPixel& pixel, std::uint32_t nType,
                                                std::int64_t nNumber) const
{
    switch (nType)
    {
    case REG_TEMP:
        return pixel.r[static_cast<std::size_t>(nNumber)];
    case REG_INPUT:
    case REG_TEXTURE:
    {
        std::array<float, 4> value{};
        for (unsigned int k = 0; k < 4; ++k)
        {
            value[k] = InputValue(pixel.nX, pixel.nY, m_nWidth, m_nHeight,
                                  static_cast<std::uint32_t>(nNumber), k);
        }
        return value;
    }
    case REG_CONST:
        // An index out of range reads 0.
        return nNumber >= 0 && nNumber < static_cast<std::int64_t>(FLOAT_CONSTANTS)
                   ? m_vFloat[static_cast<std::size_t>(nNumber)]
                   : g_Zero;
    case REG_MISC:
        return nNumber == 0 ? std::array<float, 4>{static_cast<float>(pixel.nX),
                                                   static_cast<float>(pixel.nY), 0.0f, 1.0f}
                            : std::array<float, 4>{1.0f, 1.0f, 1.0f, 1.0f};
    default: // the predicate
        return {pixel.p[0] ? 1.0f : 0.0f, pixel.p[1] ? 1.0f : 0.0f, pixel.p[2] ? 1.0f : 0.0f,
                pixel.p[3] ? 1.0f : 0.0f};
    }
}

bool CDX9Executor::Condition(const SPixel& pixel, const SDX9Instruction& inst) const
{
    const SDX9Param& first = inst.vSources[0];
    if (inst.nOpcode != OP_IF)
    {
        return Compare(inst.GetControl(), Read(pixel, first)[0], Read(pixel, inst.vSources[1])[0]);
    }
    const bool bValue = RegisterType(first.dwToken) == REG_CONSTBOOL
                            ? m_vBool[RegisterNumber(first.dwToken)]
                            : pixel.p[Component(first.dwToken, 0)];
    return bValue != (SourceModifier(first) == SRC_NOT);
}

std::array<float, 4> CDX9Executor::Write(SPixel& pixel, const SDX9Instruction& inst,
                                         const std::array<float, 4>& value) const
{
    const std::uint32_t nType = RegisterType(inst.dest.dwToken);
    const std::uint32_t nNumber = RegisterNumber(inst.dest.dwToken);
    const bool bSaturate = ((inst.dest.dwToken >> RESULT_MOD_SHIFT) & RESULT_SAT) != 0;
    const bool bNot = SourceModifier(inst.predicate) == SRC_NOT;
    std::array<float, 4>& reg = nType == REG_TEMP ? pixel.r[nNumber] : pixel.oC[nNumber & 3];
    for (unsigned int k = 0; k < 4; ++k)
    {
        const bool bMasked = (inst.dest.dwToken & (1u << (MASK_SHIFT + k))) != 0;
        const bool bPredicate =
            !inst.bPredicated || pixel.p[Component(inst.predicate.dwToken, k)] != bNot;
        if (!bMasked || !bPredicate)
        {
            continue;
        }
        const float fValue = bSaturate ? Saturate(value[k]) : value[k];
        if (nType == REG_PREDICATE)
        {
            pixel.p[k] = fValue != 0.0f;
        }
        else
        {
            reg[k] = fValue;
        }
    }
    return nType == REG_PREDICATE ? ReadRegister(pixel, REG_PREDICATE, 0) : reg;
}

void CDX9Executor::Record(SPixel& pixel, std::size_t nPos, const std::array<float, 4>& value) const
{
    if (pixel.pTrace == nullptr)
    {
        return;
    }
    SDX9TraceEntry entry;
    entry.nInstruction = static_cast<std::uint32_t>(nPos);
    entry.fValue = value;
    for (const SLoop& loop : pixel.vLoops)
    {
        entry.vPasses.push_back(loop.nPass);
    }
    pixel.pTrace->push_back(std::move(entry));
}

void CDX9Executor::Store(const SPixel& pixel, const std::array<SDX9Target, 4>& targets) const
{
    const std::size_t nPixel = static_cast<std::size_t>(pixel.nY) * m_nWidth + pixel.nX;
    for (std::size_t n = 0; n < targets.size(); ++n)
    {
        if (!m_bWritesTarget[n] || targets[n].eFormat == DX9_TARGET_NONE)
        {
            continue;
        }
        if (targets[n].eFormat == DX9_TARGET_RGBA32F)
        {
            std::memcpy(static_cast<float*>(targets[n].pData) + nPixel * 4, pixel.oC[n].data(),
                        sizeof(float) * 4);
            continue;
        }
        std::uint8_t* pBytes = static_cast<std::uint8_t*>(targets[n].pData) + nPixel * 4;
        for (unsigned int k = 0; k < 4; ++k)
        {
            pBytes[k] = static_cast<std::uint8_t>(std::lround(Saturate(pixel.oC[n][k]) * 255.0f));
        }
    }
}

bool CDX9Executor::Fail(unsigned int nLine, const std::string& strCause)
{
    m_strError = nLine != 0 ? (boost::format("line %u: %s") % nLine % strCause).str() : strCause;
    return false;
}
} // namespace XAN_Platform
