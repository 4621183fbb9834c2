#include "ShaderUtils/SeededMD5.h"

#include <cstring>

namespace ShaderUtils
{
namespace
{
uint32_t RotateLeft(uint32_t x, uint32_t n)
{
    return (x << n) | (x >> (32 - n));
}

uint32_t ReadWord(const uint8_t* p)
{
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

void WriteWord(uint8_t* p, uint32_t n)
{
    p[0] = uint8_t(n);
    p[1] = uint8_t(n >> 8);
    p[2] = uint8_t(n >> 16);
    p[3] = uint8_t(n >> 24);
}

const uint32_t g_nShift[64] = {7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22,
                               5, 9,  14, 20, 5, 9,  14, 20, 5, 9,  14, 20, 5, 9,  14, 20,
                               4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23,
                               6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21};

const uint32_t g_nSine[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

void Transform(uint32_t (&state)[4], const uint8_t* pBlock)
{
    uint32_t m[16];
    for (uint32_t i = 0; i < 16; ++i)
    {
        m[i] = ReadWord(pBlock + 4 * i);
    }
    uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
    for (uint32_t i = 0; i < 64; ++i)
    {
        uint32_t f;
        uint32_t g;
        if (i < 16)
        {
            f = (b & c) | (~b & d);
            g = i;
        }
        else if (i < 32)
        {
            f = (d & b) | (~d & c);
            g = (5 * i + 1) & 15;
        }
        else if (i < 48)
        {
            f = b ^ c ^ d;
            g = (3 * i + 5) & 15;
        }
        else
        {
            f = c ^ (b | ~d);
            g = (7 * i) & 15;
        }
        const uint32_t nNext = d;
        d = c;
        c = b;
        b = b + RotateLeft(a + f + g_nSine[i] + m[g], g_nShift[i]);
        a = nNext;
    }
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
}
} // namespace

void MD5Init(MD5Context& ctx, uint32_t nSeed)
{
    ctx.nCount[0] = 0;
    ctx.nCount[1] = 0;
    ctx.nState[0] = nSeed * 11 + 0x67452301;
    ctx.nState[1] = nSeed * 71 + 0xEFCDAB89;
    ctx.nState[2] = nSeed * 37 + 0x98BADCFE;
    ctx.nState[3] = nSeed * 97 + 0x10325476;
}

void MD5Update(MD5Context& ctx, const void* pData, uint32_t nLength)
{
    const uint8_t* pInput = static_cast<const uint8_t*>(pData);
    uint32_t nUsed = (ctx.nCount[0] >> 3) & 63;
    const uint32_t nBits = nLength << 3;
    ctx.nCount[0] += nBits;
    if (ctx.nCount[0] < nBits)
    {
        ++ctx.nCount[1];
    }
    ctx.nCount[1] += nLength >> 29;
    while (nLength != 0)
    {
        const uint32_t nTake = nLength < 64 - nUsed ? nLength : 64 - nUsed;
        std::memcpy(ctx.buffer + nUsed, pInput, nTake);
        nUsed += nTake;
        pInput += nTake;
        nLength -= nTake;
        if (nUsed == 64)
        {
            Transform(ctx.nState, ctx.buffer);
            nUsed = 0;
        }
    }
}

void MD5ContainerFinal(MD5Context& ctx, uint8_t (&digest)[16])
{
    const uint32_t nBits = ctx.nCount[0];
    const uint32_t nRest = (nBits >> 3) & 63;
    uint8_t block[64];
    std::memset(block, 0, sizeof(block));
    if (nRest < 56)
    {
        WriteWord(block, nBits);
        std::memcpy(block + 4, ctx.buffer, nRest);
        block[4 + nRest] = 0x80;
    }
    else
    {
        std::memcpy(block, ctx.buffer, nRest);
        block[nRest] = 0x80;
        Transform(ctx.nState, block);
        std::memset(block, 0, sizeof(block));
        WriteWord(block, nBits);
    }
    WriteWord(block + 60, (nBits >> 2) | 1);
    Transform(ctx.nState, block);
    for (uint32_t i = 0; i < 4; ++i)
    {
        WriteWord(digest + 4 * i, ctx.nState[i]);
    }
}

void ComputeContainerHash(const void* pData, uint32_t nLength, uint8_t (&digest)[16])
{
    MD5Context ctx;
    MD5Init(ctx, 0);
    MD5Update(ctx, pData, nLength);
    MD5ContainerFinal(ctx, digest);
}
} // namespace ShaderUtils
