#include "TpfInterpOps.h"

#include <cmath>
#include <cstring>

namespace XAN_Platform
{
float TpfBitsToFloat(std::uint32_t nBits)
{
    float f;
    std::memcpy(&f, &nBits, sizeof(f));
    return f;
}

std::uint32_t TpfFloatToBits(float f)
{
    std::uint32_t nBits;
    std::memcpy(&nBits, &f, sizeof(f));
    return nBits;
}

float TpfSaturate(float f)
{
    if (!(f > 0.0f))
    {
        return 0.0f;
    }
    return f < 1.0f ? f : 1.0f;
}

namespace
{
typedef std::uint32_t U;
const U TRUE_BITS = 0xFFFFFFFFu;

float F(U n)
{
    return TpfBitsToFloat(n);
}
U B(float f)
{
    return TpfFloatToBits(f);
}
U Bool(bool b)
{
    return b ? TRUE_BITS : 0;
}
std::int32_t I(U n)
{
    return static_cast<std::int32_t>(n);
}

// Leading zeros from the top bit; n is not 0.
U LeadingZeros(U n)
{
    U nCount = 0;
    for (U nBit = 0x80000000u; (n & nBit) == 0; nBit >>= 1)
    {
        ++nCount;
    }
    return nCount;
}

U TrailingZeros(U n)
{
    U nCount = 0;
    for (; (n & 1) == 0; n >>= 1)
    {
        ++nCount;
    }
    return nCount;
}

U FloatToInt(float f)
{
    if (std::isnan(f))
    {
        return 0;
    }
    if (f >= 2147483648.0f)
    {
        return 0x7FFFFFFFu;
    }
    if (f <= -2147483648.0f)
    {
        return 0x80000000u;
    }
    return static_cast<U>(static_cast<std::int32_t>(f));
}

U FloatToUint(float f)
{
    if (std::isnan(f) || f <= 0.0f)
    {
        return 0;
    }
    if (f >= 4294967296.0f)
    {
        return TRUE_BITS;
    }
    return static_cast<U>(f);
}

// Rounds to the nearest half, ties to even, as the conversion instructions do.
U FloatToHalf(U nFloat)
{
    const U nSign = (nFloat >> 16) & 0x8000;
    const std::int32_t nExponent = static_cast<std::int32_t>((nFloat >> 23) & 0xFF);
    U nMantissa = nFloat & 0x7FFFFF;
    if (nExponent == 0xFF)
    {
        return nSign | 0x7C00 | (nMantissa != 0 ? 0x200 | (nMantissa >> 13) : 0);
    }
    const std::int32_t nHalfExponent = nExponent - 127 + 15;
    if (nHalfExponent >= 31)
    {
        return nSign | 0x7C00;
    }
    U nShift = 13;
    U nHalf = 0;
    if (nHalfExponent <= 0)
    {
        if (nHalfExponent < -10)
        {
            return nSign;
        }
        nMantissa |= 0x800000;
        nShift = static_cast<U>(14 - nHalfExponent);
    }
    else
    {
        nHalf = static_cast<U>(nHalfExponent) << 10;
    }
    nHalf |= nMantissa >> nShift;
    const U nRest = nMantissa & ((1u << nShift) - 1);
    const U nMiddle = 1u << (nShift - 1);
    if (nRest > nMiddle || (nRest == nMiddle && (nHalf & 1) != 0))
    {
        ++nHalf; // a carry into the exponent is the right result, infinity included
    }
    return nSign | nHalf;
}

U HalfToFloat(U nHalf)
{
    const U nSign = (nHalf & 0x8000) << 16;
    const U nExponent = (nHalf >> 10) & 0x1F;
    const U nMantissa = nHalf & 0x3FF;
    if (nExponent == 0x1F)
    {
        return nSign | 0x7F800000u | (nMantissa << 13);
    }
    if (nExponent == 0)
    {
        return nSign | B(std::ldexp(static_cast<float>(nMantissa), -24));
    }
    return nSign | ((nExponent + 112) << 23) | (nMantissa << 13);
}

U BitfieldExtract(U nWidth, U nOffset, U nValue, bool bSigned)
{
    nWidth &= 31;
    nOffset &= 31;
    if (nWidth == 0)
    {
        return 0;
    }
    if (nWidth + nOffset < 32)
    {
        const U nUp = nValue << (32 - nWidth - nOffset);
        return bSigned ? static_cast<U>(I(nUp) >> (32 - nWidth)) : nUp >> (32 - nWidth);
    }
    return bSigned ? static_cast<U>(I(nValue) >> nOffset) : nValue >> nOffset;
}

U BitReverse(U n)
{
    U nResult = 0;
    for (int i = 0; i < 32; ++i, n >>= 1)
    {
        nResult = (nResult << 1) | (n & 1);
    }
    return nResult;
}

U CountBits(U n)
{
    U nCount = 0;
    for (; n != 0; n &= n - 1)
    {
        ++nCount;
    }
    return nCount;
}

#define LANE(body) [](const U* s) -> U { return body; }
#define LANE2(first, second)                                                                       \
    [](const U* s, U& a, U& b)                                                                     \
    {                                                                                              \
        a = first;                                                                                 \
        b = second;                                                                                \
    }

const TpfInterpOp g_Ops[] = {
    {0, TPF_OP_LANE, false, LANE(B(F(s[0]) + F(s[1]))), nullptr},
    {1, TPF_OP_LANE, true, LANE(s[0] & s[1]), nullptr},
    {2, TPF_OP_FLOW, false, nullptr, nullptr},
    {3, TPF_OP_FLOW, false, nullptr, nullptr},
    {7, TPF_OP_FLOW, false, nullptr, nullptr},
    {8, TPF_OP_FLOW, false, nullptr, nullptr},
    {13, TPF_OP_DISCARD, false, nullptr, nullptr},
    {14, TPF_OP_LANE, false, LANE(B(F(s[0]) / F(s[1]))), nullptr},
    {15, TPF_OP_DOT, false, nullptr, nullptr},
    {16, TPF_OP_DOT, false, nullptr, nullptr},
    {17, TPF_OP_DOT, false, nullptr, nullptr},
    {18, TPF_OP_FLOW, false, nullptr, nullptr},
    {21, TPF_OP_FLOW, false, nullptr, nullptr},
    {22, TPF_OP_FLOW, false, nullptr, nullptr},
    {24, TPF_OP_LANE, false, LANE(Bool(F(s[0]) == F(s[1]))), nullptr},
    {25, TPF_OP_LANE, false, LANE(B(std::exp2(F(s[0])))), nullptr},
    {26, TPF_OP_LANE, false, LANE(B(F(s[0]) - std::floor(F(s[0])))), nullptr},
    {27, TPF_OP_LANE, false, LANE(FloatToInt(F(s[0]))), nullptr},
    {28, TPF_OP_LANE, false, LANE(FloatToUint(F(s[0]))), nullptr},
    {29, TPF_OP_LANE, false, LANE(Bool(F(s[0]) >= F(s[1]))), nullptr},
    {30, TPF_OP_LANE, true, LANE(s[0] + s[1]), nullptr},
    {31, TPF_OP_FLOW, false, nullptr, nullptr},
    {32, TPF_OP_LANE, true, LANE(Bool(s[0] == s[1])), nullptr},
    {33, TPF_OP_LANE, true, LANE(Bool(I(s[0]) >= I(s[1]))), nullptr},
    {34, TPF_OP_LANE, true, LANE(Bool(I(s[0]) < I(s[1]))), nullptr},
    {35, TPF_OP_LANE, true, LANE(s[0] * s[1] + s[2]), nullptr},
    {36, TPF_OP_LANE, true, LANE(I(s[0]) > I(s[1]) ? s[0] : s[1]), nullptr},
    {37, TPF_OP_LANE, true, LANE(I(s[0]) < I(s[1]) ? s[0] : s[1]), nullptr},
    {38, TPF_OP_LANE2, true, nullptr,
     LANE2(static_cast<U>(static_cast<std::uint64_t>(std::int64_t(I(s[0])) * I(s[1])) >> 32),
           s[0] * s[1])},
    {39, TPF_OP_LANE, true, LANE(Bool(s[0] != s[1])), nullptr},
    {40, TPF_OP_LANE, true, LANE(0u - s[0]), nullptr},
    {41, TPF_OP_LANE, true, LANE(s[0] << (s[1] & 31)), nullptr},
    {42, TPF_OP_LANE, true, LANE(static_cast<U>(I(s[0]) >> (s[1] & 31))), nullptr},
    {43, TPF_OP_LANE, true, LANE(B(static_cast<float>(I(s[0])))), nullptr},
    {47, TPF_OP_LANE, false, LANE(B(std::log2(F(s[0])))), nullptr},
    {48, TPF_OP_FLOW, false, nullptr, nullptr},
    {49, TPF_OP_LANE, false, LANE(Bool(F(s[0]) < F(s[1]))), nullptr},
    // The product is rounded before the sum: no fused multiply-add.
    {50, TPF_OP_LANE, false, LANE(B(F(B(F(s[0]) * F(s[1]))) + F(s[2]))), nullptr},
    {51, TPF_OP_LANE, false, LANE(B(std::fmin(F(s[0]), F(s[1])))), nullptr},
    {52, TPF_OP_LANE, false, LANE(B(std::fmax(F(s[0]), F(s[1])))), nullptr},
    {54, TPF_OP_LANE, false, LANE(s[0]), nullptr},
    {55, TPF_OP_LANE, false, LANE(s[0] != 0 ? s[1] : s[2]), nullptr},
    {56, TPF_OP_LANE, false, LANE(B(F(s[0]) * F(s[1]))), nullptr},
    {57, TPF_OP_LANE, false, LANE(Bool(F(s[0]) != F(s[1]))), nullptr},
    {58, TPF_OP_NONE, false, nullptr, nullptr},
    {59, TPF_OP_LANE, true, LANE(~s[0]), nullptr},
    {60, TPF_OP_LANE, true, LANE(s[0] | s[1]), nullptr},
    {62, TPF_OP_FLOW, false, nullptr, nullptr},
    {63, TPF_OP_FLOW, false, nullptr, nullptr},
    {64, TPF_OP_LANE, false, LANE(B(std::nearbyint(F(s[0])))), nullptr},
    {65, TPF_OP_LANE, false, LANE(B(std::floor(F(s[0])))), nullptr},
    {66, TPF_OP_LANE, false, LANE(B(std::ceil(F(s[0])))), nullptr},
    {67, TPF_OP_LANE, false, LANE(B(std::trunc(F(s[0])))), nullptr},
    {68, TPF_OP_LANE, false, LANE(B(1.0f / std::sqrt(F(s[0])))), nullptr},
    {75, TPF_OP_LANE, false, LANE(B(std::sqrt(F(s[0])))), nullptr},
    {77, TPF_OP_LANE2, false, nullptr, LANE2(B(std::sin(F(s[0]))), B(std::cos(F(s[0]))))},
    {78, TPF_OP_LANE2, true, nullptr,
     LANE2(s[1] != 0 ? s[0] / s[1] : TRUE_BITS, s[1] != 0 ? s[0] % s[1] : TRUE_BITS)},
    {79, TPF_OP_LANE, true, LANE(Bool(s[0] < s[1])), nullptr},
    {80, TPF_OP_LANE, true, LANE(Bool(s[0] >= s[1])), nullptr},
    {81, TPF_OP_LANE2, true, nullptr,
     LANE2(static_cast<U>((std::uint64_t(s[0]) * s[1]) >> 32), s[0] * s[1])},
    {82, TPF_OP_LANE, true, LANE(s[0] * s[1] + s[2]), nullptr},
    {83, TPF_OP_LANE, true, LANE(s[0] > s[1] ? s[0] : s[1]), nullptr},
    {84, TPF_OP_LANE, true, LANE(s[0] < s[1] ? s[0] : s[1]), nullptr},
    {85, TPF_OP_LANE, true, LANE(s[0] >> (s[1] & 31)), nullptr},
    {86, TPF_OP_LANE, true, LANE(B(static_cast<float>(s[0]))), nullptr},
    {87, TPF_OP_LANE, true, LANE(s[0] ^ s[1]), nullptr},
    {129, TPF_OP_LANE, false, LANE(B(1.0f / F(s[0]))), nullptr},
    {130, TPF_OP_LANE, false, LANE(FloatToHalf(s[0])), nullptr},
    {131, TPF_OP_LANE, true, LANE(HalfToFloat(s[0] & 0xFFFF)), nullptr},
    {132, TPF_OP_LANE2, true, nullptr, LANE2(s[0] + s[1], Bool(s[0] + s[1] < s[0]) & 1)},
    {133, TPF_OP_LANE2, true, nullptr, LANE2(s[0] - s[1], Bool(s[0] < s[1]) & 1)},
    {134, TPF_OP_LANE, true, LANE(CountBits(s[0])), nullptr},
    {135, TPF_OP_LANE, true, LANE(s[0] == 0 ? TRUE_BITS : LeadingZeros(s[0])), nullptr},
    {136, TPF_OP_LANE, true, LANE(s[0] == 0 ? TRUE_BITS : TrailingZeros(s[0])), nullptr},
    {137, TPF_OP_LANE, true,
     LANE((s[0] == 0 || s[0] == TRUE_BITS) ? TRUE_BITS : LeadingZeros(I(s[0]) < 0 ? ~s[0] : s[0])),
     nullptr},
    {138, TPF_OP_LANE, true, LANE(BitfieldExtract(s[0], s[1], s[2], false)), nullptr},
    {139, TPF_OP_LANE, true, LANE(BitfieldExtract(s[0], s[1], s[2], true)), nullptr},
    {140, TPF_OP_LANE, true,
     LANE(((s[2] << (s[1] & 31)) & ((((1u << (s[0] & 31)) - 1)) << (s[1] & 31))) |
          (s[3] & ~((((1u << (s[0] & 31)) - 1)) << (s[1] & 31)))),
     nullptr},
    {141, TPF_OP_LANE, true, LANE(BitReverse(s[0])), nullptr},
    {142, TPF_OP_LANE2, false, nullptr, LANE2(s[0] != 0 ? s[2] : s[1], s[0] != 0 ? s[1] : s[2])},
    {165, TPF_OP_LOAD_RAW, true, nullptr, nullptr},
    {166, TPF_OP_STORE_RAW, true, nullptr, nullptr},
    {169, TPF_OP_ATOMIC, true, LANE(s[0] & s[1]), nullptr},
    {170, TPF_OP_ATOMIC, true, LANE(s[0] | s[1]), nullptr},
    {171, TPF_OP_ATOMIC, true, LANE(s[0] ^ s[1]), nullptr},
    {173, TPF_OP_ATOMIC, true, LANE(s[0] + s[1]), nullptr},
    {174, TPF_OP_ATOMIC, true, LANE(I(s[0]) > I(s[1]) ? s[0] : s[1]), nullptr},
    {175, TPF_OP_ATOMIC, true, LANE(I(s[0]) < I(s[1]) ? s[0] : s[1]), nullptr},
    {176, TPF_OP_ATOMIC, true, LANE(s[0] > s[1] ? s[0] : s[1]), nullptr},
    {177, TPF_OP_ATOMIC, true, LANE(s[0] < s[1] ? s[0] : s[1]), nullptr},
    {190, TPF_OP_NONE, false, nullptr, nullptr},
};

#undef LANE
#undef LANE2
} // namespace

const TpfInterpOp* FindTpfInterpOp(std::uint32_t nOpcode)
{
    for (const TpfInterpOp& op : g_Ops)
    {
        if (op.nOpcode == nOpcode)
        {
            return &op;
        }
    }
    return nullptr;
}
} // namespace XAN_Platform
