#include "ShaderUtils/SUBuffer.h"

#include "APIConsistencyLog.h"
#include "Src/LogTail.h"
#include "Src/ShaderDebuggerTestDoubles.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <sstream>
#include <vector>

using ShaderUtils::SUBuffer;
using ShaderUtils::ThreadID;
using XAN_Test::MakeDesc;

namespace
{
typedef XAN_Test::CLogTail<APIConsistencyLog> ConsistencyLogTail;

std::vector<uint8_t> Bytes(const SUBuffer& buffer)
{
    const uint8_t* p = buffer.GetSubResource(0);
    return std::vector<uint8_t>(p, p + buffer.GetDataSize());
}

void Fill(SUBuffer& buffer, std::mt19937& random)
{
    uint8_t* p = buffer.GetSubResource(0);
    for (uint64_t i = 0; i < buffer.GetDataSize(); ++i)
    {
        p[i] = static_cast<uint8_t>(random());
    }
}

// A word buffer of one row whose elements are {n * 4, n * 4 + 1, n * 4 + 2, n * 4 + 3} + nBase.
void MakeWords(SUBuffer& buffer, uint32_t nWidth, uint32_t nBase)
{
    ASSERT_TRUE(buffer.Create(MakeDesc(BF_RGBA32, nWidth, 1), NULL));
    uint32_t* pWords = reinterpret_cast<uint32_t*>(buffer.GetSubResource(0));
    for (uint32_t i = 0; i < nWidth * 4; ++i)
    {
        pWords[i] = nBase + i;
    }
}

void MakeMask(SUBuffer& mask, const std::vector<uint32_t>& vActive)
{
    ASSERT_TRUE(mask.Create(MakeDesc(BF_R32, static_cast<uint32_t>(vActive.size()), 1), NULL));
    std::memcpy(mask.GetSubResource(0), vActive.data(), vActive.size() * 4);
}

uint32_t Word(const SUBuffer& buffer, uint32_t nElement, uint32_t nComponent)
{
    uint32_t nWord;
    std::memcpy(&nWord, buffer.GetSubResource(0) + nElement * 16 + nComponent * 4, 4);
    return nWord;
}
// Where FindPixel finds the value, as "dimensions: x y z slice".
template <typename TValue>
std::string Found(const SUBuffer& buffer, const TValue& value, uint32_t nSubResource)
{
    ThreadID id;
    buffer.FindPixel(id, value, nSubResource);
    std::ostringstream text;
    text << id.nDimensions << ": " << id.x << " " << id.y << " " << id.z << " " << id.nSlice;
    return text.str();
}
} // namespace

TEST(SUBufferTest, CreateSizesTheSubResources)
{
    struct Case
    {
        BufferDesc desc;
        uint64_t nSize;
        uint64_t nSubResourceSize;
        uint32_t nSubResourceCount;
        uint64_t nRowPitch;
        uint64_t nElements;
    };
    BufferDesc bytes = MakeDesc(BF_Bytes, 0, 0);
    bytes.m_nSize = 100;
    BufferDesc pitched = MakeDesc(BF_R32, 3, 2);
    pitched.m_nRowPitch = 16;
    const Case cases[] = {
        {bytes, 0, 100, 1, 0, 0},
        {MakeDesc(BF_RGBA8, 4, 2), 0, 32, 1, 16, 8},
        {MakeDesc(BF_RGBA32, 5, 1, 3), 0, 80, 3, 80, 5},
        {MakeDesc(BF_RGB8, 2, 2, 1, 4), 0, 12, 4, 6, 4},
        {MakeDesc(BF_R8, 7, 1), 0, 7, 1, 7, 7},
        {pitched, 0, 32, 1, 16, 8},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.desc.m_Format);
        SUBuffer buffer;
        ASSERT_TRUE(buffer.Create(c.desc, NULL));
        EXPECT_EQ(c.nSubResourceSize, buffer.GetSubResourceSize());
        EXPECT_EQ(c.nSubResourceCount, buffer.GetSubResourceCount());
        EXPECT_EQ(c.nSubResourceSize * c.nSubResourceCount, buffer.GetDataSize());
        EXPECT_EQ(c.nRowPitch, buffer.GetDesc().m_nRowPitch);
        EXPECT_EQ(c.nElements, SUBuffer::GetElementCount(&buffer));
        EXPECT_EQ(std::vector<uint8_t>(buffer.GetDataSize(), 0), Bytes(buffer));
    }
    EXPECT_EQ(0u, SUBuffer::GetElementCount(NULL));
}

TEST(SUBufferTest, CreateRefusesBadFormatsAndASecondCreate)
{
    ConsistencyLogTail log("XANOpenCLDebugAPIConsistency.log");
    for (uint32_t nFormat : {0u, 15u, 200u})
    {
        SUBuffer buffer;
        EXPECT_FALSE(buffer.Create(MakeDesc(static_cast<BufferFormat>(nFormat), 4, 4), NULL));
        EXPECT_EQ(0u, buffer.GetWidth());
        EXPECT_EQ(0u, buffer.GetHeight());
        EXPECT_EQ(0u, buffer.GetDataSize());
        EXPECT_EQ(nullptr, buffer.GetSubResource(0));
    }
    EXPECT_EQ(3u, log.Count("SDU_Assert( m_Format is valid )"));

    // Extents whose product overflows are refused like memory that can't be had.
    SUBuffer huge;
    EXPECT_FALSE(huge.Create(MakeDesc(BF_RGBA32, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF), NULL));
    EXPECT_EQ(0u, huge.GetDataSize());
    EXPECT_EQ(1u, log.Count("SDU_Assert( m_pData != NULL )"));

    SUBuffer twice;
    ASSERT_TRUE(twice.Create(MakeDesc(BF_R8, 4, 1), NULL));
    EXPECT_FALSE(twice.Create(MakeDesc(BF_R8, 8, 1), NULL));
    EXPECT_EQ(4u, twice.GetWidth());
    EXPECT_EQ(1u, log.Count("SDU_Assert( m_pData == NULL )"));
}

// A read-back each step goes into the buffer of the step before: the memory and its contents stay
// where the size does, whatever the new shape; any other size gets fresh zeroed memory.
TEST(SUBufferTest, ReshapeKeepsMemoryOfTheSameSize)
{
    struct Case
    {
        const char* pName;
        BufferDesc desc;
        bool bKept;
    };
    BufferDesc bytes = MakeDesc(BF_Bytes, 0, 0);
    bytes.m_nSize = 64;
    const Case cases[] = {
        {"same shape", MakeDesc(BF_RGBA32, 4, 1), true},
        {"other shape, same size", MakeDesc(BF_R32, 4, 4), true},
        {"bytes of the same size", bytes, true},
        {"smaller", MakeDesc(BF_RGBA32, 3, 1), false},
        {"larger", MakeDesc(BF_RGBA32, 4, 2), false},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.pName);
        SUBuffer buffer;
        MakeWords(buffer, 4, 100);
        const std::vector<uint8_t> vBefore = Bytes(buffer);
        const uint8_t* pBefore = buffer.GetSubResource(0);
        ASSERT_TRUE(buffer.Reshape(c.desc));
        EXPECT_EQ(c.desc.m_Format, buffer.GetFormat());
        EXPECT_EQ(c.desc.m_nWidth, buffer.GetWidth());
        EXPECT_EQ(c.bKept ? 64u : 16u * c.desc.m_nWidth * c.desc.m_nHeight, buffer.GetDataSize());
        if (c.bKept)
        {
            EXPECT_EQ(pBefore, buffer.GetSubResource(0));
            EXPECT_EQ(vBefore, Bytes(buffer));
        }
        else
        {
            EXPECT_EQ(std::vector<uint8_t>(buffer.GetDataSize(), 0), Bytes(buffer));
        }
    }

    // An empty buffer is created; a bad format leaves it empty, reported once.
    ConsistencyLogTail log("XANOpenCLDebugAPIConsistency.log");
    SUBuffer empty;
    ASSERT_TRUE(empty.Reshape(MakeDesc(BF_R8, 5, 1)));
    EXPECT_EQ(std::vector<uint8_t>(5, 0), Bytes(empty));
    EXPECT_FALSE(empty.Reshape(MakeDesc(static_cast<BufferFormat>(200), 5, 1)));
    EXPECT_EQ(0u, empty.GetDataSize());
    EXPECT_EQ(nullptr, empty.GetSubResource(0));
    EXPECT_EQ(1u, log.Count("SDU_Assert( m_Format is valid )"));
}

TEST(SUBufferTest, UpdateSubResourcesCopiesRangesAndPitches)
{
    ConsistencyLogTail log("XANOpenCLDebugAPIConsistency.log");
    SUBuffer buffer;
    ASSERT_TRUE(buffer.Create(MakeDesc(BF_R8, 2, 2, 2), NULL));
    const uint8_t all[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_TRUE(buffer.UpdateSubResources(all, 0, 0, 0xFFFFFFFF));
    EXPECT_EQ(std::vector<uint8_t>(all, all + 8), Bytes(buffer));

    // Rows three bytes apart in the source: the third byte of each is skipped.
    const uint8_t wide[6] = {10, 11, 99, 12, 13, 99};
    EXPECT_TRUE(buffer.UpdateSubResources(wide, 3, 1, 1));
    EXPECT_EQ((std::vector<uint8_t>{1, 2, 3, 4, 10, 11, 12, 13}), Bytes(buffer));

    struct Refusal
    {
        const void* pData;
        uint32_t nSubResource;
        uint32_t nCount;
        const char* pDiagnostic;
    };
    const Refusal refusals[] = {
        {all, 0, 0, "(nSubResourceCount == -1) || ((nSubResourceCount != 0) && "},
        {all, 1, 2, "(nSubResourceCount == -1) || ((nSubResourceCount != 0) && "},
        {all, 2, 1, "SDU_Assert( nSubResource < m_nSubResourceCount )"},
        {NULL, 0, 1, "SDU_Assert( pData != NULL )"},
    };
    for (const Refusal& r : refusals)
    {
        const size_t nBefore = log.Count(r.pDiagnostic);
        EXPECT_FALSE(buffer.UpdateSubResources(r.pData, 0, r.nSubResource, r.nCount));
        EXPECT_EQ(nBefore + 1, log.Count(r.pDiagnostic)) << r.pDiagnostic;
    }
    EXPECT_EQ((std::vector<uint8_t>{1, 2, 3, 4, 10, 11, 12, 13}), Bytes(buffer));

    SUBuffer empty;
    EXPECT_FALSE(empty.UpdateSubResources(all, 0, 0, 1));
}

TEST(SUBufferTest, DimensionsAndValidThreads)
{
    struct Case
    {
        BufferType type;
        uint32_t nHeight;
        uint32_t nDepth;
        uint32_t nDimensions;
    };
    const Case cases[] = {
        {BT_Buffer, 1, 1, 1},  {BT_Buffer, 2, 1, 2},  {BT_Buffer, 1, 2, 3}, {BT_Image1D, 4, 4, 1},
        {BT_Image3D, 1, 1, 3}, {BT_Image2D, 1, 1, 2}, {BT_Value, 1, 1, 2},
    };
    for (const Case& c : cases)
    {
        SUBuffer buffer;
        ASSERT_TRUE(buffer.Create(MakeDesc(BF_R8, 4, c.nHeight, c.nDepth, 1, c.type), NULL));
        EXPECT_EQ(c.nDimensions, buffer.GetDimensionCount()) << c.type;
    }

    SUBuffer grid;
    ASSERT_TRUE(grid.Create(MakeDesc(BF_R8, 4, 3, 2), NULL));
    struct Thread
    {
        ThreadID id;
        bool bValid;
    };
    const Thread threads[] = {
        {ThreadID(3, 3, 2, 1, 1), true},   {ThreadID(3, 4, 0, 0, 0), false},
        {ThreadID(3, 0, 3, 0, 0), false},  {ThreadID(3, 0, 0, 2, 0), false},
        {ThreadID(3, 0, 0, 0, 2), false},  {ThreadID(2, 0, 0, 0, 0), false},
        {ThreadID(3, -1, 0, 0, 0), false},
    };
    for (const Thread& t : threads)
    {
        EXPECT_EQ(t.bValid, grid.IsValidThreadID(t.id))
            << t.id.x << " " << t.id.y << " " << t.id.z << " " << t.id.nSlice;
    }
}

TEST(SUBufferTest, GetPixelReadsItsThreeFormats)
{
    SUBuffer words;
    MakeWords(words, 3, 100);
    float value[4];
    ASSERT_TRUE(words.GetPixel(value, ThreadID(1, 2, -1)));
    uint32_t nBits[4];
    std::memcpy(nBits, value, sizeof(nBits));
    EXPECT_EQ(108u, nBits[0]);
    EXPECT_EQ(111u, nBits[3]);

    uint8_t rgba8[4] = {0, 0, 0, 0};
    uint8_t r8 = 0;
    EXPECT_FALSE(words.GetPixel(rgba8, ThreadID(1, 0)));
    EXPECT_FALSE(words.GetPixel(r8, ThreadID(1, 0)));
    EXPECT_FALSE(words.GetPixel(value, ThreadID(1, 3)));
    EXPECT_FALSE(words.GetPixel(value, ThreadID(2, 0, 0)));

    const uint8_t bytes[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    SUBuffer image;
    ASSERT_TRUE(image.Create(MakeDesc(BF_RGBA8, 1, 2, 1, 1, BT_Image2D), bytes));
    ASSERT_TRUE(image.GetPixel(rgba8, ThreadID(2, 0, 1)));
    EXPECT_EQ(5, rgba8[0]);
    EXPECT_EQ(8, rgba8[3]);

    SUBuffer single;
    ASSERT_TRUE(single.Create(MakeDesc(BF_R8, 4, 2), bytes));
    ASSERT_TRUE(single.GetPixel(r8, ThreadID(2, 3, 1)));
    EXPECT_EQ(8, r8);
    EXPECT_FALSE(SUBuffer().GetPixel(r8, ThreadID(2, 0, 0)));

    // A slice and a depth that are each inside the buffer but together lie past its end.
    SUBuffer grid;
    ASSERT_TRUE(grid.Create(MakeDesc(BF_R8, 4, 3, 2), NULL));
    EXPECT_TRUE(grid.GetPixel(r8, ThreadID(3, 3, 2, 1, 0)));
    EXPECT_TRUE(grid.GetPixel(r8, ThreadID(3, 3, 2, 0, 1)));
    EXPECT_FALSE(grid.GetPixel(r8, ThreadID(3, 3, 2, 1, 1)));
}

TEST(SUBufferTest, FindPixelSearchesColumnByColumn)
{
    const std::string strNone = Found(SUBuffer(), uint8_t(0), 0);
    EXPECT_EQ("2: -1 -1 -1 4294967295", strNone);
    // Width 3, height 2: the value stands at (2, 0) and at (1, 1). A row-by-row search would
    // find (2, 0); the search goes down each column and finds (1, 1).
    uint8_t bytes[6] = {0, 0, 9, 0, 9, 0};
    SUBuffer single;
    ASSERT_TRUE(single.Create(MakeDesc(BF_R8, 3, 2), bytes));
    EXPECT_EQ("2: 1 1 0 0", Found(single, uint8_t(9), 0));
    EXPECT_EQ(strNone, Found(single, uint8_t(7), 0));

    // An all-zero buffer has no element of four 0xFF bytes.
    SUBuffer zeros;
    ASSERT_TRUE(zeros.Create(MakeDesc(BF_RGBA8, 2, 2, 1, 1, BT_Image2D), NULL));
    const uint8_t ones[4] = {0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(strNone, Found(zeros, ones, 0xFFFFFFFF));

    // All sub-resources: the match in the second gives its slice.
    SUBuffer slices;
    ASSERT_TRUE(slices.Create(MakeDesc(BF_RGBA8, 2, 2, 1, 2, BT_Image2D), NULL));
    std::memcpy(slices.GetSubResource(1) + 4, ones, 4);
    EXPECT_EQ("2: 1 0 0 1", Found(slices, ones, 0xFFFFFFFF));
    EXPECT_EQ(strNone, Found(slices, ones, 0));

    // Words: the second format is searched as one-dimensional.
    float one[4] = {1.0f, 1.0f, 1.0f, 1.0f};
    SUBuffer alt;
    BufferDesc row = MakeDesc(BF_RGBA32Alt, 3, 1);
    ASSERT_TRUE(alt.Create(row, NULL));
    std::memcpy(alt.GetSubResource(0) + 32, one, 16);
    EXPECT_EQ("1: 2 0 0 0", Found(alt, one, 0));
    SUBuffer plain;
    row.m_Format = BF_RGBA32;
    row.m_Type = BT_Image2D;
    ASSERT_TRUE(plain.Create(row, NULL));
    std::memcpy(plain.GetSubResource(0) + 16, one, 16);
    EXPECT_EQ("2: 1 0 0 0", Found(plain, one, 0));
    // Another format finds nothing.
    EXPECT_EQ(strNone, Found(single, one, 0));
}

TEST(SUBufferTest, CountActiveByTheMaskElementSize)
{
    struct Case
    {
        BufferFormat format;
        std::vector<uint8_t> bytes;
        uint32_t nActive;
    };
    const Case cases[] = {
        {BF_R8, {0, 1, 0, 2}, 2},
        {BF_R16, {0, 1, 0, 0, 0, 0, 2, 0}, 2},
        {BF_RG8, {0, 0, 0, 1}, 1},
        {BF_R32, {0, 0, 0, 1, 0, 0, 0, 0}, 1},
        {BF_RGBA8, {0, 0, 0, 0, 1, 0, 0, 0}, 1},
        {BF_RG16, {0, 0, 1, 0, 0, 0, 0, 0}, 1},
        // Four words, any bit counts, also the sign of -0.0.
        {BF_RGBA32,
         {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x80, 0, 0, 0, 0,
          0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,    0, 0, 0, 0},
         1},
        {BF_RGBA32Alt, {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 1},
        {BF_RG32, {1, 1, 1, 1, 1, 1, 1, 1}, 0},
    };
    for (const Case& c : cases)
    {
        SUBuffer mask;
        const uint32_t nWidth =
            static_cast<uint32_t>(c.bytes.size()) / GetBufferFormatElementSize(c.format);
        ASSERT_TRUE(mask.Create(MakeDesc(c.format, nWidth, 1), c.bytes.data()));
        EXPECT_EQ(c.nActive, SUBuffer::CountActive(&mask, 0)) << c.format;
    }
    EXPECT_EQ(0u, SUBuffer::CountActive(NULL, 0));

    SUBuffer planes;
    ASSERT_TRUE(planes.Create(MakeDesc(BF_R8, 2, 1, 2), NULL));
    planes.GetSubResource(1)[0] = 1;
    EXPECT_EQ(0u, SUBuffer::CountActive(&planes, 0));
    EXPECT_EQ(1u, SUBuffer::CountActive(&planes, 1));
    EXPECT_EQ(0u, SUBuffer::CountActive(&planes, 2));
}

TEST(SUBufferTest, MergeRefusesWhatItCantMerge)
{
    ConsistencyLogTail log("XANOpenCLDebugAPIConsistency.log");
    SUBuffer mask;
    MakeMask(mask, {1, 1});

    // A destination of a format without a loop is left as it was.
    SUBuffer dst16;
    SUBuffer src16;
    ASSERT_TRUE(dst16.Create(MakeDesc(BF_RGBA16, 2, 1), NULL));
    ASSERT_TRUE(src16.Create(MakeDesc(BF_RGBA16, 2, 1), NULL));
    src16.GetSubResource(0)[0] = 5;
    EXPECT_FALSE(SUBuffer::MergeBuffer(&dst16, &src16, &mask, false, 0, 0, 0));
    EXPECT_EQ(std::vector<uint8_t>(16, 0), Bytes(dst16));
    EXPECT_EQ(1u, log.Count("SDU_Assert( Buffer format not supported )"));

    // So is a mask of such a format, and other mismatches.
    SUBuffer dst;
    SUBuffer src;
    MakeWords(dst, 2, 0);
    MakeWords(src, 2, 100);
    SUBuffer mask16;
    ASSERT_TRUE(mask16.Create(MakeDesc(BF_RG32, 2, 1), NULL));
    EXPECT_FALSE(SUBuffer::MergeBuffer(&dst, &src, &mask16, false, 0, 0, 0));
    EXPECT_EQ(2u, log.Count("SDU_Assert( Buffer format not supported )"));

    SUBuffer wideMask;
    MakeMask(wideMask, {1, 1, 1});
    SUBuffer otherSrc;
    ASSERT_TRUE(otherSrc.Create(MakeDesc(BF_RGBA32Alt, 2, 1), NULL));
    SUBuffer bytesDst;
    BufferDesc bytes = MakeDesc(BF_Bytes, 2, 1);
    bytes.m_nSize = 8;
    ASSERT_TRUE(bytesDst.Create(bytes, NULL));
    EXPECT_FALSE(SUBuffer::MergeBuffer(&dst, &src, &wideMask, false, 0, 0, 0));
    EXPECT_FALSE(SUBuffer::MergeBuffer(&dst, &otherSrc, &mask, false, 0, 0, 0));
    EXPECT_FALSE(SUBuffer::MergeBuffer(&bytesDst, &bytesDst, &mask, false, 0, 0, 0));
    EXPECT_FALSE(SUBuffer::MergeBuffer(&dst, &src, NULL, false, 0, 0, 0));
    EXPECT_FALSE(SUBuffer::MergeBuffer(NULL, &src, &mask, false, 0, 0, 0));
    // Component windows that reach past the element's four components.
    EXPECT_FALSE(SUBuffer::MergeBuffer(&dst, &src, &mask, false, 2, 0, 3));
    EXPECT_FALSE(SUBuffer::MergeBuffer(&dst, &src, &mask, false, 0, 2, 3));
    EXPECT_FALSE(SUBuffer::MergeBuffer(&dst, &src, &mask, false, 4, 0, 0));
    EXPECT_EQ(2u, log.Count("SDU_Assert( Buffer format not supported )"));
    EXPECT_EQ(7u, Word(dst, 1, 3));
}

namespace
{
// Whether a mask element is active, told without the merge's typed loops.
bool ReferenceActive(const uint8_t* pElement, BufferFormat format)
{
    if (format == BF_RGBA32 || format == BF_RGBA32Alt)
    {
        for (int k = 0; k < 4; ++k)
        {
            float f;
            std::memcpy(&f, pElement + 4 * k, 4);
            if (f != 0.0f)
            {
                return true;
            }
        }
        return false;
    }
    for (uint32_t k = 0; k < GetBufferFormatElementSize(format); ++k)
    {
        if (pElement[k] != 0)
        {
            return true;
        }
    }
    return false;
}

// A random mask element: inactive, active, or for float masks a negative zero, which is
// inactive though its bits aren't 0.
void RandomMaskElement(uint8_t* pElement, BufferFormat format, std::mt19937& random)
{
    const uint32_t nSize = GetBufferFormatElementSize(format);
    std::memset(pElement, 0, nSize);
    switch (random() % 3)
    {
    case 0:
        break;
    case 1:
        pElement[random() % nSize] = static_cast<uint8_t>(1 + random() % 255);
        break;
    default:
        if (nSize == 16)
        {
            pElement[4 * (random() % 4) + 3] = 0x80;
        }
        else
        {
            pElement[nSize - 1] = 0x40;
        }
        break;
    }
}
} // namespace

TEST(SUBufferTest, MergeMatchesAPlainLoopForEveryFormatAndMask)
{
    struct DstFormat
    {
        BufferFormat format;
        uint32_t nComponents;
    };
    const DstFormat dstFormats[] = {{BF_RGBA32, 4}, {BF_RGBA32Alt, 4}, {BF_RGBA8, 4}, {BF_RG16, 2},
                                    {BF_RG8, 2},    {BF_R32, 1},       {BF_R16, 1},   {BF_R8, 1}};
    const BufferFormat maskFormats[] = {BF_RGBA32, BF_RGBA32Alt, BF_RGBA8, BF_RG16,
                                        BF_R32,    BF_RG8,       BF_R16,   BF_R8};
    std::mt19937 random(1234);
    const uint32_t nWidth = 13;
    const uint32_t nHeight = 3;
    for (const DstFormat& d : dstFormats)
    {
        const uint32_t nComponentSize = GetBufferFormatElementSize(d.format) / d.nComponents;
        for (BufferFormat maskFormat : maskFormats)
        {
            for (int nRound = 0; nRound < 8; ++nRound)
            {
                SCOPED_TRACE(::testing::Message()
                             << d.format << " " << maskFormat << " " << nRound);
                // Two planes of data; the mask has one or two.
                const uint32_t nMaskPlanes = 1 + nRound % 2;
                SUBuffer dst;
                SUBuffer src;
                SUBuffer mask;
                ASSERT_TRUE(dst.Create(MakeDesc(d.format, nWidth, nHeight, 1, 2), NULL));
                ASSERT_TRUE(src.Create(MakeDesc(d.format, nWidth, nHeight, 1, 2), NULL));
                ASSERT_TRUE(
                    mask.Create(MakeDesc(maskFormat, nWidth, nHeight, 1, nMaskPlanes), NULL));
                Fill(dst, random);
                Fill(src, random);
                const uint32_t nMaskSize = GetBufferFormatElementSize(maskFormat);
                for (uint64_t i = 0; i < mask.GetDataSize() / nMaskSize; ++i)
                {
                    RandomMaskElement(mask.GetSubResource(0) + i * nMaskSize, maskFormat, random);
                }
                const bool bInvert = random() % 2 == 1;
                // A count of 0 stands for the whole element.
                const size_t nAsked = random() % (d.nComponents + 1);
                const size_t nCount = nAsked == 0 ? d.nComponents : nAsked;
                const size_t nDst = random() % (d.nComponents - nCount + 1);
                const size_t nSrc = random() % (d.nComponents - nCount + 1);

                SUBuffer expected(dst);
                const uint32_t nElementSize = nComponentSize * d.nComponents;
                for (uint32_t p = 0; p < 2; ++p)
                {
                    const uint8_t* pMask = mask.GetSubResource(nMaskPlanes == 2 ? p : 0);
                    for (uint32_t i = 0; i < nWidth * nHeight; ++i)
                    {
                        if (ReferenceActive(pMask + i * nMaskSize, maskFormat) != bInvert)
                        {
                            std::memcpy(expected.GetSubResource(p) + i * nElementSize +
                                            nDst * nComponentSize,
                                        src.GetSubResource(p) + i * nElementSize +
                                            nSrc * nComponentSize,
                                        nCount * nComponentSize);
                        }
                    }
                }

                ASSERT_TRUE(SUBuffer::MergeBuffer(&dst, &src, &mask, bInvert, nDst, nSrc, nAsked));
                EXPECT_EQ(Bytes(expected), Bytes(dst));
            }
        }
    }
}
