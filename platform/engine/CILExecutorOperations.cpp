// The arithmetic and memory operations of CILExecutor, and the table that maps
// every opcode to its operation.
#include "CILExecutor.h"

#include "ShaderUtils/IL/ILOpCodes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>
#include <type_traits>

using namespace ShaderUtils;

namespace XAN_Platform
{
namespace
{
const uint32_t TRUE_BITS = 0xFFFFFFFFu;

float F(uint32_t nBits)
{
    float f;
    std::memcpy(&f, &nBits, sizeof(f));
    return f;
}

uint32_t U(float f)
{
    uint32_t nBits;
    std::memcpy(&nBits, &f, sizeof(f));
    return nBits;
}

double D(uint64_t nBits)
{
    double d;
    std::memcpy(&d, &nBits, sizeof(d));
    return d;
}

uint64_t B(double d)
{
    uint64_t nBits;
    std::memcpy(&nBits, &d, sizeof(d));
    return nBits;
}

uint32_t Bool32(bool b)
{
    return b ? TRUE_BITS : 0;
}

uint64_t Bool64(bool b)
{
    return b ? ~0ull : 0;
}

// Conversions to integers truncate, saturate and give 0 for NaN.
template <class TInt, class TFloat> TInt Saturate(TFloat f)
{
    if (std::isnan(f))
    {
        return 0;
    }
    if (f <= TFloat(std::numeric_limits<TInt>::min()))
    {
        return std::numeric_limits<TInt>::min();
    }
    if (f >= TFloat(std::numeric_limits<TInt>::max()))
    {
        return std::numeric_limits<TInt>::max();
    }
    return TInt(f);
}

// IEEE half precision, rounded to nearest even.
uint32_t FloatToHalf(float f)
{
    const uint32_t nBits = U(f);
    const uint32_t nSign = (nBits >> 16) & 0x8000u;
    const int nExponent = int((nBits >> 23) & 0xFFu);
    uint32_t nMantissa = nBits & 0x7FFFFFu;
    if (nExponent == 0xFF)
    {
        return nSign | 0x7C00u | (nMantissa != 0 ? 0x200u : 0u);
    }
    const int nHalfExponent = nExponent - 127 + 15;
    if (nHalfExponent >= 0x1F)
    {
        return nSign | 0x7C00u;
    }
    if (nHalfExponent <= 0)
    {
        if (nHalfExponent < -10)
        {
            return nSign;
        }
        nMantissa |= 0x800000u;
        const unsigned int nShift = unsigned(14 - nHalfExponent);
        uint32_t nHalf = nMantissa >> nShift;
        const uint32_t nRest = nMantissa & ((1u << nShift) - 1);
        const uint32_t nHalfway = 1u << (nShift - 1);
        if (nRest > nHalfway || (nRest == nHalfway && (nHalf & 1u) != 0))
        {
            ++nHalf;
        }
        return nSign | nHalf;
    }
    uint32_t nHalf = (uint32_t(nHalfExponent) << 10) | (nMantissa >> 13);
    const uint32_t nRest = nMantissa & 0x1FFFu;
    if (nRest > 0x1000u || (nRest == 0x1000u && (nHalf & 1u) != 0))
    {
        ++nHalf; // may carry into the exponent, up to infinity, as it should
    }
    return nSign | nHalf;
}

float HalfToFloat(uint32_t nHalf)
{
    const uint32_t nSign = (nHalf & 0x8000u) << 16;
    const uint32_t nExponent = (nHalf >> 10) & 0x1Fu;
    const uint32_t nMantissa = nHalf & 0x3FFu;
    if (nExponent == 0x1F)
    {
        return F(nSign | 0x7F800000u | (nMantissa << 13));
    }
    if (nExponent != 0)
    {
        return F(nSign | ((nExponent + 127 - 15) << 23) | (nMantissa << 13));
    }
    const float fValue = std::ldexp(float(nMantissa), -24);
    return nSign != 0 ? -fValue : fValue;
}

template <class TInt> TInt Divide(TInt a, TInt b)
{
    if (b == 0)
    {
        return TInt(~TInt(0));
    }
    if (std::is_signed<TInt>::value && b == TInt(-1))
    {
        return TInt(0 - std::make_unsigned_t<TInt>(a)); // the minimum divided by -1 wraps
    }
    return TInt(a / b);
}

template <class TInt> TInt Modulo(TInt a, TInt b)
{
    if (b == 0)
    {
        return TInt(~TInt(0));
    }
    if (std::is_signed<TInt>::value && b == TInt(-1))
    {
        return 0;
    }
    return TInt(a % b);
}

uint32_t BitExtract(uint32_t nWidth, uint32_t nOffset, uint32_t nValue, bool bSigned)
{
    nWidth &= 31;
    nOffset &= 31;
    if (nWidth == 0)
    {
        return 0;
    }
    const uint32_t nLeft = nWidth + nOffset < 32 ? nValue << (32 - nWidth - nOffset) : nValue;
    const unsigned int nRight = nWidth + nOffset < 32 ? 32 - nWidth : nOffset;
    return bSigned ? uint32_t(int32_t(nLeft) >> nRight) : nLeft >> nRight;
}

// One functor per operation: Apply over 32-bit words, 64-bit pairs or memory.
#define XAN_OPERATION(Name, Result, Parameters, Expression)                                        \
    struct Name                                                                                    \
    {                                                                                              \
        static Result Apply Parameters { return Expression; }                                      \
    };
#define XAN_UNARY(Name, Expression) XAN_OPERATION(Name, uint32_t, (uint32_t a), Expression)
#define XAN_BINARY(Name, Expression)                                                               \
    XAN_OPERATION(Name, uint32_t, (uint32_t a, uint32_t b), Expression)
#define XAN_TERNARY(Name, Expression)                                                              \
    XAN_OPERATION(Name, uint32_t, (uint32_t a, uint32_t b, uint32_t c), Expression)
#define XAN_UNARY64(Name, Expression) XAN_OPERATION(Name, uint64_t, (uint64_t a), Expression)
#define XAN_BINARY64(Name, Expression)                                                             \
    XAN_OPERATION(Name, uint64_t, (uint64_t a, uint64_t b), Expression)
#define XAN_TERNARY64(Name, Expression)                                                            \
    XAN_OPERATION(Name, uint64_t, (uint64_t a, uint64_t b, uint64_t c), Expression)
#define XAN_TO64(Name, Expression) XAN_OPERATION(Name, uint64_t, (uint32_t a), Expression)
#define XAN_FROM64(Name, Expression) XAN_OPERATION(Name, uint32_t, (uint64_t a), Expression)
// An atomic update: the new value from the old one, the operand and, for the
// compare-and-exchange forms, the compare value.
#define XAN_ATOMIC(Name, Expression)                                                               \
    XAN_OPERATION(Name, uint32_t,                                                                  \
                  ([[maybe_unused]] uint32_t o, uint32_t v, [[maybe_unused]] uint32_t c),          \
                  Expression)

XAN_UNARY(OpMov, a)
XAN_UNARY(OpAbs, U(std::fabs(F(a))))
XAN_UNARY(OpRcp, U(1.0f / F(a)))
XAN_UNARY(OpRsq, U(1.0f / std::sqrt(F(a))))
XAN_UNARY(OpSqrt, U(std::sqrt(F(a))))
XAN_UNARY(OpExp, U(std::exp2(F(a))))
XAN_UNARY(OpLog, U(std::log2(F(a))))
XAN_UNARY(OpSin, U(std::sin(F(a))))
XAN_UNARY(OpCos, U(std::cos(F(a))))
XAN_UNARY(OpFloor, U(std::floor(F(a))))
XAN_UNARY(OpFraction, U(F(a) - std::floor(F(a))))
XAN_UNARY(OpRoundNearest, U(std::nearbyint(F(a))))
XAN_UNARY(OpRoundUp, U(std::ceil(F(a))))
XAN_UNARY(OpRoundZero, U(std::trunc(F(a))))
XAN_UNARY(OpFloatToInt, uint32_t(Saturate<int32_t>(F(a))))
XAN_UNARY(OpFloatToUInt, Saturate<uint32_t>(F(a)))
XAN_UNARY(OpIntToFloat, U(float(int32_t(a))))
XAN_UNARY(OpUIntToFloat, U(float(a)))
XAN_UNARY(OpFloatToHalf, FloatToHalf(F(a)))
XAN_UNARY(OpHalfToFloat, U(HalfToFloat(a)))
XAN_UNARY(OpINegate, 0u - a)
XAN_UNARY(OpINot, ~a)
XAN_UNARY(OpBitCount, uint32_t(__builtin_popcount(a)))

XAN_BINARY(OpAdd, U(F(a) + F(b)))
XAN_BINARY(OpSub, U(F(a) - F(b)))
XAN_BINARY(OpMul, U(F(a) * F(b)))
XAN_BINARY(OpDiv, U(F(a) / F(b)))
XAN_BINARY(OpMin, U(std::fmin(F(a), F(b))))
XAN_BINARY(OpMax, U(std::fmax(F(a), F(b))))
XAN_BINARY(OpEq, Bool32(F(a) == F(b)))
XAN_BINARY(OpNe, Bool32(F(a) != F(b)))
XAN_BINARY(OpLt, Bool32(F(a) < F(b)))
XAN_BINARY(OpGe, Bool32(F(a) >= F(b)))
XAN_BINARY(OpIAdd, a + b)
XAN_BINARY(OpISub, a - b)
XAN_BINARY(OpIMul, a* b)
XAN_BINARY(OpIMulHigh, uint32_t(uint64_t(int64_t(int32_t(a)) * int32_t(b)) >> 32))
XAN_BINARY(OpUMulHigh, uint32_t((uint64_t(a) * b) >> 32))
XAN_BINARY(OpIDiv, uint32_t(Divide<int32_t>(int32_t(a), int32_t(b))))
XAN_BINARY(OpIMod, uint32_t(Modulo<int32_t>(int32_t(a), int32_t(b))))
XAN_BINARY(OpAnd, a& b)
XAN_BINARY(OpOr, a | b)
XAN_BINARY(OpXor, a ^ b)
XAN_BINARY(OpShl, a << (b & 31))
XAN_BINARY(OpShr, uint32_t(int32_t(a) >> (b & 31)))
XAN_BINARY(OpUShr, a >> (b & 31))
XAN_BINARY(OpIMin, uint32_t(std::min(int32_t(a), int32_t(b))))
XAN_BINARY(OpIMax, uint32_t(std::max(int32_t(a), int32_t(b))))
XAN_BINARY(OpUMin, std::min(a, b))
XAN_BINARY(OpUMax, std::max(a, b))
XAN_BINARY(OpIEq, Bool32(a == b))
XAN_BINARY(OpINe, Bool32(a != b))
XAN_BINARY(OpILt, Bool32(int32_t(a) < int32_t(b)))
XAN_BINARY(OpIGe, Bool32(int32_t(a) >= int32_t(b)))
XAN_BINARY(OpULt, Bool32(a < b))
XAN_BINARY(OpUGe, Bool32(a >= b))
XAN_BINARY(OpBitMask, ((1u << (a & 31)) - 1) << (b & 31))

XAN_TERNARY(OpMad, U(F(a) * F(b) + F(c)))
XAN_TERNARY(OpFma, U(std::fma(F(a), F(b), F(c))))
XAN_TERNARY(OpIMad, a* b + c)
XAN_TERNARY(OpUBitExtract, BitExtract(a, b, c, false))
XAN_TERNARY(OpIBitExtract, BitExtract(a, b, c, true))
XAN_TERNARY(OpBitInsert, (a & b) | (~a & c))
XAN_TERNARY(OpSelect, a != 0 ? b : c)

XAN_UNARY64(OpI64Negate, 0ull - a)
XAN_UNARY64(OpDMov, a)
XAN_UNARY64(OpDSqrt, B(std::sqrt(D(a))))
XAN_BINARY64(OpI64Add, a + b)
XAN_BINARY64(OpI64Sub, a - b)
XAN_BINARY64(OpI64Mul, a* b)
XAN_BINARY64(OpI64Eq, Bool64(a == b))
XAN_BINARY64(OpI64Ne, Bool64(a != b))
XAN_BINARY64(OpI64Lt, Bool64(int64_t(a) < int64_t(b)))
XAN_BINARY64(OpI64Ge, Bool64(int64_t(a) >= int64_t(b)))
XAN_BINARY64(OpU64Lt, Bool64(a < b))
XAN_BINARY64(OpU64Ge, Bool64(a >= b))
XAN_BINARY64(OpI64Min, uint64_t(std::min(int64_t(a), int64_t(b))))
XAN_BINARY64(OpI64Max, uint64_t(std::max(int64_t(a), int64_t(b))))
XAN_BINARY64(OpU64Min, std::min(a, b))
XAN_BINARY64(OpU64Max, std::max(a, b))
XAN_BINARY64(OpI64Div, uint64_t(Divide<int64_t>(int64_t(a), int64_t(b))))
XAN_BINARY64(OpU64Div, Divide<uint64_t>(a, b))
XAN_BINARY64(OpI64Mod, uint64_t(Modulo<int64_t>(int64_t(a), int64_t(b))))
XAN_BINARY64(OpU64Mod, Modulo<uint64_t>(a, b))
XAN_BINARY64(OpI64Shl, a << (b & 63))
XAN_BINARY64(OpI64Shr, uint64_t(int64_t(a) >> (b & 63)))
XAN_BINARY64(OpU64Shr, a >> (b & 63))
XAN_BINARY64(OpDAdd, B(D(a) + D(b)))
XAN_BINARY64(OpDSub, B(D(a) - D(b)))
XAN_BINARY64(OpDMul, B(D(a) * D(b)))
XAN_BINARY64(OpDDiv, B(D(a) / D(b)))
XAN_BINARY64(OpDMin, B(std::fmin(D(a), D(b))))
XAN_BINARY64(OpDMax, B(std::fmax(D(a), D(b))))
XAN_BINARY64(OpDEq, Bool64(D(a) == D(b)))
XAN_BINARY64(OpDNe, Bool64(D(a) != D(b)))
XAN_BINARY64(OpDLt, Bool64(D(a) < D(b)))
XAN_BINARY64(OpDGe, Bool64(D(a) >= D(b)))
XAN_TERNARY64(OpDMad, B(D(a) * D(b) + D(c)))
XAN_TERNARY64(OpDFma, B(std::fma(D(a), D(b), D(c))))
XAN_TO64(OpFloatToDouble, B(double(F(a))))
XAN_TO64(OpIntToDouble, B(double(int32_t(a))))
XAN_TO64(OpUIntToDouble, B(double(a)))
XAN_FROM64(OpDoubleToFloat, U(float(D(a))))
XAN_FROM64(OpDoubleToInt, uint32_t(Saturate<int32_t>(D(a))))
XAN_FROM64(OpDoubleToUInt, Saturate<uint32_t>(D(a)))

XAN_ATOMIC(AtomicAdd, o + v)
XAN_ATOMIC(AtomicSub, o - v)
XAN_ATOMIC(AtomicRSub, v - o)
XAN_ATOMIC(AtomicMin, uint32_t(std::min(int32_t(o), int32_t(v))))
XAN_ATOMIC(AtomicMax, uint32_t(std::max(int32_t(o), int32_t(v))))
XAN_ATOMIC(AtomicUMin, std::min(o, v))
XAN_ATOMIC(AtomicUMax, std::max(o, v))
XAN_ATOMIC(AtomicAnd, o& v)
XAN_ATOMIC(AtomicOr, o | v)
XAN_ATOMIC(AtomicXor, o ^ v)
XAN_ATOMIC(AtomicExchange, v)
XAN_ATOMIC(AtomicCompareExchange, o == c ? v : o)
XAN_ATOMIC(AtomicIncrement, o >= v ? 0u : o + 1)
XAN_ATOMIC(AtomicDecrement, (o == 0 || o > v) ? v : o - 1)

#undef XAN_UNARY
#undef XAN_BINARY
#undef XAN_TERNARY
#undef XAN_UNARY64
#undef XAN_BINARY64
#undef XAN_TERNARY64
#undef XAN_TO64
#undef XAN_FROM64
#undef XAN_ATOMIC
#undef XAN_OPERATION

// Global memory is shared with the groups that other threads run.
template <class TOp> uint32_t AtomicUpdate(uint32_t* p, uint32_t v, uint32_t c, bool bShared)
{
    if (!bShared)
    {
        const uint32_t nOld = *p;
        *p = TOp::Apply(nOld, v, c);
        return nOld;
    }
    uint32_t nOld = __atomic_load_n(p, __ATOMIC_RELAXED);
    while (!__atomic_compare_exchange_n(p, &nOld, TOp::Apply(nOld, v, c), false, __ATOMIC_SEQ_CST,
                                        __ATOMIC_RELAXED))
    {
    }
    return nOld;
}

bool HasComponent(uint8_t nMask, unsigned int c)
{
    return ((nMask >> c) & 1u) != 0;
}

// Four words per lane, one from each column, lane after lane from pOut on.
void StoreWholeElements(uint8_t* pOut, const uint32_t* const* ppValues, size_t nLanes)
{
    const uint32_t* pX = ppValues[0];
    const uint32_t* pY = ppValues[1];
    const uint32_t* pZ = ppValues[2];
    const uint32_t* pW = ppValues[3];
    for (size_t l = 0; l < nLanes; ++l)
    {
        const uint32_t vElement[4] = {pX[l], pY[l], pZ[l], pW[l]};
        std::memcpy(pOut + l * sizeof(vElement), vElement, sizeof(vElement));
    }
}

// The low nBytes of each value, nSpan bytes apart from pOut on.
template <uint32_t nBytes>
void StorePacked(uint8_t* pOut, uint32_t nSpan, const uint32_t* pValues, size_t nLanes)
{
    if (nSpan == nBytes && nBytes == sizeof(uint32_t))
    {
        std::memcpy(pOut, pValues, nLanes * sizeof(uint32_t));
        return;
    }
    for (size_t l = 0; l < nLanes; ++l)
    {
        std::memcpy(pOut + l * nSpan, &pValues[l], nBytes); // little endian: the low bytes
    }
}
} // namespace

// ---------------------------------------------------------------------------
// Arithmetic.

// Component c of a result goes straight to the destination when the instruction
// allows it, blended under the execution mask while some lanes are inactive;
// otherwise into scratch, which Finish commits.
template <class F>
void CILExecutor::WriteLanes(const SInstruction& instruction, unsigned int nComponent, F fnValue)
{
    if (!instruction.bDirect)
    {
        uint32_t* pResult = Scratch(SLOT_RESULT + nComponent);
        for (size_t l = 0; l < m_nLanes; ++l)
        {
            pResult[l] = fnValue(l);
        }
        return;
    }
    uint32_t* pResult = Column(Operand(instruction, 0).nColumn + nComponent);
    if (m_nActive == m_nLanes)
    {
        for (size_t l = 0; l < m_nLanes; ++l)
        {
            pResult[l] = fnValue(l);
        }
        return;
    }
    const uint32_t* pExec = m_vExec.data();
    for (size_t l = 0; l < m_nLanes; ++l)
    {
        pResult[l] = (fnValue(l) & pExec[l]) | (pResult[l] & ~pExec[l]);
    }
}

// 64-bit values are the pairs (x, y) and (z, w), low word first. A pair is
// computed when its destination mask has either of its components.
namespace
{
uint64_t Pair(const uint32_t* pLow, const uint32_t* pHigh, size_t l)
{
    return (uint64_t(pHigh[l]) << 32) | pLow[l];
}

bool HasPair(uint8_t nMask, unsigned int nPair)
{
    return ((nMask >> (2 * nPair)) & 3u) != 0;
}
} // namespace

template <class F>
void CILExecutor::WritePairLanes(const SInstruction& instruction, unsigned int nPair, F fnValue)
{
    const unsigned int nLow = 2 * nPair;
    uint32_t* pLow = instruction.bDirect ? Column(Operand(instruction, 0).nColumn + nLow)
                                         : Scratch(SLOT_RESULT + nLow);
    uint32_t* pHigh = instruction.bDirect ? Column(Operand(instruction, 0).nColumn + nLow + 1)
                                          : Scratch(SLOT_RESULT + nLow + 1);
    if (!instruction.bDirect || m_nActive == m_nLanes)
    {
        for (size_t l = 0; l < m_nLanes; ++l)
        {
            const uint64_t nResult = fnValue(l);
            pLow[l] = uint32_t(nResult);
            pHigh[l] = uint32_t(nResult >> 32);
        }
        return;
    }
    const uint32_t* pExec = m_vExec.data();
    for (size_t l = 0; l < m_nLanes; ++l)
    {
        const uint64_t nResult = fnValue(l);
        pLow[l] = (uint32_t(nResult) & pExec[l]) | (pLow[l] & ~pExec[l]);
        pHigh[l] = (uint32_t(nResult >> 32) & pExec[l]) | (pHigh[l] & ~pExec[l]);
    }
}

void CILExecutor::Finish(const SInstruction& instruction, uint8_t nMask)
{
    if (!instruction.bDirect)
    {
        Commit(instruction, nMask);
    }
}

template <class TOp> void CILExecutor::ExecUnary(const SInstruction& instruction)
{
    const uint8_t nMask = DestMask(instruction);
    for (unsigned int c = 0; c < 4; ++c)
    {
        if (HasComponent(nMask, c))
        {
            const uint32_t* pA = Fetch(instruction, 0, c);
            WriteLanes(instruction, c, [pA](size_t l) { return TOp::Apply(pA[l]); });
        }
    }
    Finish(instruction, nMask);
}

template <class TOp> void CILExecutor::ExecBinary(const SInstruction& instruction)
{
    const uint8_t nMask = DestMask(instruction);
    for (unsigned int c = 0; c < 4; ++c)
    {
        if (HasComponent(nMask, c))
        {
            const uint32_t* pA = Fetch(instruction, 0, c);
            const uint32_t* pB = Fetch(instruction, 1, c);
            WriteLanes(instruction, c, [pA, pB](size_t l) { return TOp::Apply(pA[l], pB[l]); });
        }
    }
    Finish(instruction, nMask);
}

template <class TOp> void CILExecutor::ExecTernary(const SInstruction& instruction)
{
    const uint8_t nMask = DestMask(instruction);
    for (unsigned int c = 0; c < 4; ++c)
    {
        if (HasComponent(nMask, c))
        {
            const uint32_t* pA = Fetch(instruction, 0, c);
            const uint32_t* pB = Fetch(instruction, 1, c);
            const uint32_t* pC = Fetch(instruction, 2, c);
            WriteLanes(instruction, c,
                       [pA, pB, pC](size_t l) { return TOp::Apply(pA[l], pB[l], pC[l]); });
        }
    }
    Finish(instruction, nMask);
}

template <class TOp> void CILExecutor::ExecUnary64(const SInstruction& instruction)
{
    const uint8_t nMask = DestMask(instruction);
    for (unsigned int p = 0; p < 2; ++p)
    {
        if (HasPair(nMask, p))
        {
            const uint32_t* pALow = Fetch(instruction, 0, 2 * p);
            const uint32_t* pAHigh = Fetch(instruction, 0, 2 * p + 1);
            WritePairLanes(instruction, p,
                           [=](size_t l) { return TOp::Apply(Pair(pALow, pAHigh, l)); });
        }
    }
    Finish(instruction, nMask);
}

template <class TOp> void CILExecutor::ExecBinary64(const SInstruction& instruction)
{
    const uint8_t nMask = DestMask(instruction);
    for (unsigned int p = 0; p < 2; ++p)
    {
        if (HasPair(nMask, p))
        {
            const uint32_t* pALow = Fetch(instruction, 0, 2 * p);
            const uint32_t* pAHigh = Fetch(instruction, 0, 2 * p + 1);
            const uint32_t* pBLow = Fetch(instruction, 1, 2 * p);
            const uint32_t* pBHigh = Fetch(instruction, 1, 2 * p + 1);
            WritePairLanes(instruction, p,
                           [=](size_t l)
                           { return TOp::Apply(Pair(pALow, pAHigh, l), Pair(pBLow, pBHigh, l)); });
        }
    }
    Finish(instruction, nMask);
}

template <class TOp> void CILExecutor::ExecTernary64(const SInstruction& instruction)
{
    const uint8_t nMask = DestMask(instruction);
    for (unsigned int p = 0; p < 2; ++p)
    {
        if (HasPair(nMask, p))
        {
            const uint32_t* pALow = Fetch(instruction, 0, 2 * p);
            const uint32_t* pAHigh = Fetch(instruction, 0, 2 * p + 1);
            const uint32_t* pBLow = Fetch(instruction, 1, 2 * p);
            const uint32_t* pBHigh = Fetch(instruction, 1, 2 * p + 1);
            const uint32_t* pCLow = Fetch(instruction, 2, 2 * p);
            const uint32_t* pCHigh = Fetch(instruction, 2, 2 * p + 1);
            WritePairLanes(instruction, p,
                           [=](size_t l) {
                               return TOp::Apply(Pair(pALow, pAHigh, l), Pair(pBLow, pBHigh, l),
                                                 Pair(pCLow, pCHigh, l));
                           });
        }
    }
    Finish(instruction, nMask);
}

// The shift count of a pair is the low word of the second source's pair.
template <class TOp> void CILExecutor::ExecShift64(const SInstruction& instruction)
{
    const uint8_t nMask = DestMask(instruction);
    for (unsigned int p = 0; p < 2; ++p)
    {
        if (HasPair(nMask, p))
        {
            const uint32_t* pALow = Fetch(instruction, 0, 2 * p);
            const uint32_t* pAHigh = Fetch(instruction, 0, 2 * p + 1);
            const uint32_t* pCount = Fetch(instruction, 1, 2 * p);
            WritePairLanes(instruction, p,
                           [=](size_t l) { return TOp::Apply(Pair(pALow, pAHigh, l), pCount[l]); });
        }
    }
    Finish(instruction, nMask);
}

// A 32-bit value becomes a pair: the pair's first component is the source.
template <class TOp> void CILExecutor::ExecToDouble(const SInstruction& instruction)
{
    const uint8_t nMask = DestMask(instruction);
    for (unsigned int p = 0; p < 2; ++p)
    {
        if (HasPair(nMask, p))
        {
            const uint32_t* pA = Fetch(instruction, 0, 2 * p);
            WritePairLanes(instruction, p, [pA](size_t l) { return TOp::Apply(pA[l]); });
        }
    }
    Finish(instruction, nMask);
}

// Unsigned division and modulo. A divisor that is the same power of two for every
// lane, such as a literal, becomes a shift or a mask.
template <bool bModulo> void CILExecutor::ExecUnsignedDivide(const SInstruction& instruction)
{
    const uint8_t nMask = DestMask(instruction);
    const SOperand& divisor = Source(instruction, 1);
    for (unsigned int c = 0; c < 4; ++c)
    {
        if (!HasComponent(nMask, c))
        {
            continue;
        }
        const uint32_t* pA = Fetch(instruction, 0, c);
        const uint32_t* pB = Fetch(instruction, 1, c);
        const uint32_t nColumn = divisor.nColumn + divisor.vSwizzle[c];
        const bool bUniform = divisor.nKind == OK_Column && !divisor.HasModifiers() &&
                              divisor.vSwizzle[c] < 4 && nColumn >= CILProgram::COL_FIRST_UNIFORM &&
                              nColumn < m_Program.GetFirstTempColumn();
        const uint32_t nDivisor = pB[0];
        if (bUniform && nDivisor != 0 && (nDivisor & (nDivisor - 1)) == 0)
        {
            const uint32_t nShift = uint32_t(__builtin_ctz(nDivisor));
            WriteLanes(instruction, c,
                       [pA, nDivisor, nShift](size_t l)
                       { return bModulo ? pA[l] & (nDivisor - 1) : pA[l] >> nShift; });
            continue;
        }
        WriteLanes(instruction, c,
                   [pA, pB](size_t l) {
                       return bModulo ? Modulo<uint32_t>(pA[l], pB[l])
                                      : Divide<uint32_t>(pA[l], pB[l]);
                   });
    }
    Finish(instruction, nMask);
}

// A pair becomes a 32-bit value: components x and y read the first pair, z and w
// the second.
template <class TOp> void CILExecutor::ExecFromDouble(const SInstruction& instruction)
{
    const uint8_t nMask = DestMask(instruction);
    for (unsigned int c = 0; c < 4; ++c)
    {
        if (!HasComponent(nMask, c))
        {
            continue;
        }
        const unsigned int nPair = c / 2;
        const uint32_t* pLow = Fetch(instruction, 0, 2 * nPair);
        const uint32_t* pHigh = Fetch(instruction, 0, 2 * nPair + 1);
        uint32_t* pResult = Scratch(SLOT_RESULT + c);
        for (size_t l = 0; l < m_nLanes; ++l)
        {
            pResult[l] = TOp::Apply(Pair(pLow, pHigh, l));
        }
    }
    Commit(instruction, nMask);
}

template <unsigned int N> void CILExecutor::ExecDot(const SInstruction& instruction)
{
    uint32_t* pResult = Scratch(SLOT_RESULT);
    std::fill_n(pResult, m_nLanes, 0u);
    for (unsigned int c = 0; c < N; ++c)
    {
        const uint32_t* pA = Fetch(instruction, 0, c);
        const uint32_t* pB = Fetch(instruction, 1, c);
        for (size_t l = 0; l < m_nLanes; ++l)
        {
            pResult[l] = U(F(pResult[l]) + F(pA[l]) * F(pB[l]));
        }
    }
    for (unsigned int c = 1; c < 4; ++c)
    {
        std::copy_n(pResult, m_nLanes, Scratch(SLOT_RESULT + c));
    }
    Commit(instruction, 0xF);
}

// ffb: control 0 finds the lowest set bit, 1 the highest (counted from bit 31),
// 2 the highest bit that differs from the sign; none found gives 0xFFFFFFFF.
void CILExecutor::ExecFirstBit(const SInstruction& instruction)
{
    const uint8_t nMask = DestMask(instruction);
    for (unsigned int c = 0; c < 4; ++c)
    {
        if (!HasComponent(nMask, c))
        {
            continue;
        }
        const uint32_t* pA = Fetch(instruction, 0, c);
        uint32_t* pResult = Scratch(SLOT_RESULT + c);
        for (size_t l = 0; l < m_nLanes; ++l)
        {
            uint32_t nValue = pA[l];
            if (instruction.nControl == 2 && (nValue & 0x80000000u) != 0)
            {
                nValue = ~nValue;
            }
            if (nValue == 0)
            {
                pResult[l] = 0xFFFFFFFFu;
            }
            else
            {
                pResult[l] = instruction.nControl == 0 ? uint32_t(__builtin_ctz(nValue))
                                                       : uint32_t(__builtin_clz(nValue));
            }
        }
    }
    Commit(instruction, nMask);
}

// ---------------------------------------------------------------------------
// Memory.

CILExecutor::SAddressSource CILExecutor::FetchAddress(const SInstruction& instruction,
                                                      unsigned int nSource, bool bLocal)
{
    if (bLocal)
    {
        return {MS_Local, Fetch(instruction, nSource, 0), nullptr};
    }
    // Control bits: the UAV id in 0 to 9, 64-bit addresses in bit 13.
    const uint32_t nId = instruction.nControl & 0x3FFu;
    const bool b64 = (instruction.nControl & (1u << 13)) != 0;
    const EMemorySpace eSpace = m_Program.IsPrivateUAV(nId) ? MS_Private : MS_Global;
    return {eSpace, Fetch(instruction, nSource, 0), b64 ? Fetch(instruction, nSource, 1) : nullptr};
}

uint8_t* CILExecutor::Translate(EMemorySpace eSpace, uint64_t nAddress, size_t nLane,
                                uint32_t nBytes)
{
    switch (eSpace)
    {
    case MS_Global:
        return TranslateGlobal(nAddress, nBytes);
    case MS_Private:
    {
        const uint64_t nSize = m_State.nPrivateMemoryBytes;
        if (nAddress > nSize || nSize - nAddress < nBytes)
        {
            return nullptr;
        }
        return &m_vPrivate[nLane * nSize + nAddress];
    }
    default:
    {
        const uint64_t nSize = m_vLocal.size();
        if (nAddress > nSize || nSize - nAddress < nBytes)
        {
            return nullptr;
        }
        return &m_vLocal[nAddress];
    }
    }
}

uint8_t* CILExecutor::TranslateGlobal(uint64_t nAddress, uint32_t nBytes)
{
    uint64_t nOffset = nAddress - m_LastRange.nBase;
    if (nOffset < m_LastRange.nSize && m_LastRange.nSize - nOffset >= nBytes)
    {
        return m_LastRange.pData + nOffset;
    }
    const std::vector<SMemoryRange>& vMemory = m_State.vMemory;
    auto it =
        std::upper_bound(vMemory.begin(), vMemory.end(), nAddress,
                         [](uint64_t n, const SMemoryRange& range) { return n < range.nBase; });
    if (it == vMemory.begin())
    {
        return nullptr;
    }
    --it;
    nOffset = nAddress - it->nBase;
    if (nOffset >= it->nSize || it->nSize - nOffset < nBytes)
    {
        return nullptr;
    }
    m_LastRange = *it;
    return it->pData + nOffset;
}

uint8_t* CILExecutor::TranslateMiss(SMemoryRange& range, EMemorySpace eSpace, uint64_t nAddress,
                                    size_t nLane, uint32_t nBytes)
{
    if (eSpace != MS_Global)
    {
        return Translate(eSpace, nAddress, nLane, nBytes);
    }
    uint8_t* p = TranslateGlobal(nAddress, nBytes);
    range = m_LastRange;
    return p;
}

// The usual access of a whole group: every lane active, each in the buffer of the
// first lane. That buffer's range is found here; nSpan is the bytes each lane
// touches from its address on.
bool CILExecutor::FirstLaneRange(const SAddressSource& address, const uint32_t* pOffsets,
                                 uint32_t nSpan, SMemoryRange& range)
{
    return address.eSpace == MS_Global && pOffsets == nullptr && m_nActive == m_nLanes &&
           TranslateCached(range, MS_Global, AddressOf(address, 0), 0, nSpan) != nullptr;
}

template <class TElement>
void CILExecutor::LoadElements(const SAddressSource& address, const uint32_t* pOffsets,
                               uint32_t* const* ppOut, bool bBroadcast)
{
    const unsigned int nLast = ppOut[3] != nullptr   ? 3
                               : ppOut[2] != nullptr ? 2
                               : ppOut[1] != nullptr ? 1
                                                     : 0;
    SMemoryRange range = m_LastRange;
    const uint32_t nSpan = (nLast + 1) * sizeof(TElement);
    // The careful loop reads the addresses again, so they mustn't be overwritten.
    const bool bOverwritesAddress =
        std::find(ppOut, ppOut + 4, address.pLow) != ppOut + 4 ||
        (address.pHigh != nullptr && std::find(ppOut, ppOut + 4, address.pHigh) != ppOut + 4);
    if (!bBroadcast && !bOverwritesAddress && FirstLaneRange(address, pOffsets, nSpan, range))
    {
        // A lane outside the range reads the range's start instead and is
        // counted; if there is one, the careful loop below does every lane again.
        const uint64_t nLimit = range.nSize - nSpan;
        size_t nOutside = 0;
        for (size_t l = 0; l < m_nLanes; ++l)
        {
            uint64_t nOffset = AddressOf(address, l) - range.nBase;
            const bool bInside = nOffset <= nLimit;
            nOutside += bInside ? 0 : 1;
            nOffset = bInside ? nOffset : 0;
            for (unsigned int c = 0; c <= nLast; ++c)
            {
                if (ppOut[c] != nullptr)
                {
                    TElement value;
                    std::memcpy(&value, range.pData + nOffset + c * sizeof(TElement),
                                sizeof(TElement));
                    ppOut[c][l] = uint32_t(value);
                }
            }
        }
        if (nOutside == 0)
        {
            return;
        }
    }
    const unsigned int nElements = bBroadcast ? 1 : 4;
    for (size_t l = 0; l < m_nLanes; ++l)
    {
        if (m_vExec[l] == 0)
        {
            continue;
        }
        const uint64_t nBase = AddressOf(address, l) + (pOffsets != nullptr ? pOffsets[l] : 0);
        for (unsigned int c = 0; c < nElements; ++c)
        {
            if (!bBroadcast && ppOut[c] == nullptr)
            {
                continue;
            }
            TElement value = 0;
            const uint8_t* p = TranslateCached(range, address.eSpace, nBase + c * sizeof(TElement),
                                               l, sizeof(TElement));
            if (p != nullptr)
            {
                std::memcpy(&value, p, sizeof(TElement));
            }
            else
            {
                CountOutOfBounds(m_nOutOfBoundsLoads, address.eSpace, nBase + c * sizeof(TElement),
                                 l);
            }
            // Signed elements are sign-extended, unsigned ones zero-extended.
            if (!bBroadcast)
            {
                ppOut[c][l] = uint32_t(value);
                continue;
            }
            for (unsigned int k = 0; k < 4; ++k)
            {
                if (ppOut[k] != nullptr)
                {
                    ppOut[k][l] = uint32_t(value);
                }
            }
        }
    }
}

template <uint32_t nBytes>
void CILExecutor::StoreElements(const SAddressSource& address, const uint32_t* pOffsets,
                                uint8_t nMask, const uint32_t* const* ppValues)
{
    const unsigned int nLast = (nMask & 8u) != 0   ? 3
                               : (nMask & 4u) != 0 ? 2
                               : (nMask & 2u) != 0 ? 1
                                                   : 0;
    SMemoryRange range = m_LastRange;
    const uint32_t nSpan = (nLast + 1) * nBytes;
    if (FirstLaneRange(address, pOffsets, nSpan, range))
    {
        // Each lane's span right behind the previous one's, as a store indexed by the
        // work-item writes: no two lanes meet, so a component at a time will do, and the
        // range holds them all if it holds the last.
        const uint64_t nFirst = AddressOf(address, 0);
        uint64_t nApart = 0;
        for (size_t l = 0; l < m_nLanes; ++l)
        {
            nApart |= AddressOf(address, l) - nFirst - l * nSpan;
        }
        if (nApart == 0 && range.nSize - (nFirst - range.nBase) >= m_nLanes * nSpan)
        {
            uint8_t* pFirst = range.pData + (nFirst - range.nBase);
            if (nMask == 0xF && nBytes == sizeof(uint32_t))
            {
                StoreWholeElements(pFirst, ppValues, m_nLanes);
                return;
            }
            for (unsigned int c = 0; c <= nLast; ++c)
            {
                if (HasComponent(nMask, c))
                {
                    StorePacked<nBytes>(pFirst + c * nBytes, nSpan, ppValues[c], m_nLanes);
                }
            }
            return;
        }
        const uint64_t nLimit = range.nSize - nSpan;
        bool bInside = true;
        for (size_t l = 0; l < m_nLanes; ++l)
        {
            bInside &= AddressOf(address, l) - range.nBase <= nLimit;
        }
        if (bInside)
        {
            // Lanes store in order, so that the last of several to one place wins.
            for (size_t l = 0; l < m_nLanes; ++l)
            {
                uint8_t* p = range.pData + (AddressOf(address, l) - range.nBase);
                for (unsigned int c = 0; c <= nLast; ++c)
                {
                    if (HasComponent(nMask, c))
                    {
                        std::memcpy(p + c * nBytes, &ppValues[c][l], nBytes);
                    }
                }
            }
            return;
        }
    }
    for (size_t l = 0; l < m_nLanes; ++l)
    {
        if (m_vExec[l] == 0)
        {
            continue;
        }
        const uint64_t nBase = AddressOf(address, l) + (pOffsets != nullptr ? pOffsets[l] : 0);
        for (unsigned int c = 0; c < 4; ++c)
        {
            if (!HasComponent(nMask, c))
            {
                continue;
            }
            uint8_t* p = TranslateCached(range, address.eSpace, nBase + c * nBytes, l, nBytes);
            if (p != nullptr)
            {
                std::memcpy(p, &ppValues[c][l], nBytes); // little endian: the low bytes
            }
            else
            {
                CountOutOfBounds(m_nOutOfBoundsStores, address.eSpace, nBase + c * nBytes, l);
            }
        }
    }
}

// Where a load puts component c: straight into a plain destination register,
// which only the active lanes' writes reach, or into scratch for Commit.
void CILExecutor::LoadTargets(const SInstruction& instruction, uint8_t nMask, uint32_t** ppOut)
{
    const SOperand& dest = Operand(instruction, 0);
    for (unsigned int c = 0; c < 4; ++c)
    {
        ppOut[c] = !HasComponent(nMask, c)   ? nullptr
                   : dest.nKind == OK_Column ? Column(dest.nColumn + c)
                                             : Scratch(SLOT_RESULT + c);
    }
}

// A word load through a UAV fills every component of the destination mask from
// consecutive words; the other loads read one element for every component.
template <class TElement, bool bLocal> void CILExecutor::ExecLoad(const SInstruction& instruction)
{
    const SAddressSource address = FetchAddress(instruction, 0, bLocal);
    const uint8_t nMask = DestMask(instruction);
    uint32_t* ppOut[4];
    LoadTargets(instruction, nMask, ppOut);
    LoadElements<TElement>(address, nullptr, ppOut, sizeof(TElement) != 4 || bLocal);
    if (Operand(instruction, 0).nKind != OK_Column)
    {
        Commit(instruction, nMask);
    }
}

// Stores with a "mem" destination write the components of its mask; the others x.
template <uint32_t nBytes, bool bLocal> void CILExecutor::ExecStore(const SInstruction& instruction)
{
    const SAddressSource address = FetchAddress(instruction, 0, bLocal);
    const uint8_t nMask = instruction.bHasDest ? DestMask(instruction) : uint8_t(1);
    const uint32_t* ppValues[4] = {nullptr, nullptr, nullptr, nullptr};
    for (unsigned int c = 0; c < 4; ++c)
    {
        if (HasComponent(nMask, c))
        {
            ppValues[c] = Fetch(instruction, 1, c);
        }
    }
    StoreElements<nBytes>(address, nullptr, nMask, ppValues);
}

// lds_load_vec dst, address, offset: the words at address.x + offset.x onwards.
void CILExecutor::ExecLoadVec(const SInstruction& instruction)
{
    const SAddressSource address = FetchAddress(instruction, 0, true);
    const uint32_t* pOffsets = Fetch(instruction, 1, 0);
    const uint8_t nMask = DestMask(instruction);
    uint32_t* ppOut[4];
    LoadTargets(instruction, nMask, ppOut);
    LoadElements<uint32_t>(address, pOffsets, ppOut, false);
    if (Operand(instruction, 0).nKind != OK_Column)
    {
        Commit(instruction, nMask);
    }
}

// lds_store_vec mem, address, offset, value.
void CILExecutor::ExecStoreVec(const SInstruction& instruction)
{
    const SAddressSource address = FetchAddress(instruction, 0, true);
    const uint32_t* pOffsets = Fetch(instruction, 1, 0);
    const uint8_t nMask = DestMask(instruction);
    const uint32_t* ppValues[4] = {nullptr, nullptr, nullptr, nullptr};
    for (unsigned int c = 0; c < 4; ++c)
    {
        if (HasComponent(nMask, c))
        {
            ppValues[c] = Fetch(instruction, 2, c);
        }
    }
    StoreElements<4>(address, pOffsets, nMask, ppValues);
}

// Atomics: address, value and, for compare-and-exchange, the compare value. The
// forms with a destination return the old value in x. Work-items of a group
// apply theirs in lane order.
template <class TOp, bool bLocal> void CILExecutor::ExecAtomic(const SInstruction& instruction)
{
    const SAddressSource address = FetchAddress(instruction, 0, bLocal);
    const uint32_t* pValue = Fetch(instruction, 1, 0);
    const uint32_t* pCompare = instruction.nSourceCount > 2 ? Fetch(instruction, 2, 0) : pValue;
    uint32_t* pResult = Scratch(SLOT_RESULT);
    SMemoryRange range = m_LastRange;
    for (size_t l = 0; l < m_nLanes; ++l)
    {
        if (m_vExec[l] == 0)
        {
            continue;
        }
        const uint64_t nAddress = AddressOf(address, l);
        uint8_t* p =
            (nAddress & 3u) == 0 ? TranslateCached(range, address.eSpace, nAddress, l, 4) : nullptr;
        if (p == nullptr)
        {
            CountOutOfBounds(m_nOutOfBoundsStores, address.eSpace, nAddress, l);
            pResult[l] = 0;
            continue;
        }
        pResult[l] = AtomicUpdate<TOp>(reinterpret_cast<uint32_t*>(p), pValue[l], pCompare[l],
                                       address.eSpace == MS_Global);
    }
    if (instruction.bHasDest)
    {
        Commit(instruction, 1);
    }
}

// ---------------------------------------------------------------------------
// The operation table.

const SOperationInfo* CILExecutor::OperationTable()
{
    static const std::array<SOperationInfo, IL_OP_LAST> s_Table = []
    {
        std::array<SOperationInfo, IL_OP_LAST> table{};
        auto set = [&table](unsigned int nOpCode, void (CILExecutor::*pfn)(const SInstruction&),
                            EValueClass eClass)
        {
            table[nOpCode].pfnExecute = pfn;
            table[nOpCode].eClass = eClass;
        };
        auto setLaneWise = [&table, &set](unsigned int nOpCode,
                                          void (CILExecutor::*pfn)(const SInstruction&),
                                          EValueClass eClass, bool bPairs)
        {
            set(nOpCode, pfn, eClass);
            table[nOpCode].bLaneWise = true;
            table[nOpCode].bPairWise = bPairs;
        };
        auto setMemory =
            [&table, &set](unsigned int nOpCode, void (CILExecutor::*pfn)(const SInstruction&))
        {
            set(nOpCode, pfn, VC_Bits);
            table[nOpCode].bMemoryDest = true;
        };

        auto setRelation = [&table, &set](unsigned int nOpCode,
                                          void (CILExecutor::*pfn)(const SInstruction&),
                                          EValueClass eClass)
        {
            set(nOpCode, pfn, eClass);
            table[nOpCode].bRelation = true;
        };
        // The Engine column of the instruction list. The group runs in
        // lockstep, so fence is a no-op: at a barrier every write before it is
        // already visible to every work-item, and nobody can be left waiting.
#define NONE
#define LOADER
#define IGNORED
#define OP(Class, ...) set(nOpCode, &CILExecutor::__VA_ARGS__, VC_##Class)
#define LANE(Class, ...) setLaneWise(nOpCode, &CILExecutor::__VA_ARGS__, VC_##Class, false)
#define PAIRS(Class, ...) setLaneWise(nOpCode, &CILExecutor::__VA_ARGS__, VC_##Class, true)
#define MEMORY(...) setMemory(nOpCode, &CILExecutor::__VA_ARGS__)
#define RELATION(Class, ...) setRelation(nOpCode, &CILExecutor::__VA_ARGS__, VC_##Class)
#define IL_OPCODE(Name, Value, Mnemonic, Operands, Trailing, Modifiers, Text, Engine)              \
    {                                                                                              \
        static_assert(IL_OP_##Name < IL_OP_LAST || std::string_view(#Engine) == "NONE",            \
                      "an extended form has no operation of its own");                             \
        [[maybe_unused]] const unsigned int nOpCode = IL_OP_##Name;                                \
        Engine;                                                                                    \
    }
#include "ShaderUtils/IL/ILInstructions.def"
#undef NONE
#undef LOADER
#undef IGNORED
#undef OP
#undef LANE
#undef PAIRS
#undef MEMORY
#undef RELATION
        return table;
    }();
    return s_Table.data();
}

const SOperationInfo* CILExecutor::FindOperation(unsigned int nOpCode)
{
    if (nOpCode >= IL_OP_LAST)
    {
        return nullptr;
    }
    const SOperationInfo* pInfo = &OperationTable()[nOpCode];
    return pInfo->pfnExecute != nullptr ? pInfo : nullptr;
}
} // namespace XAN_Platform
