#include "ShaderUtils/DataBlob.h"
#include "ShaderUtils/KVR_MemoryBuffer.h"
#include "ShaderUtils/SeededMD5.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

using KVR_Memory::KVR_MemoryBuffer;

namespace
{
std::string Hex(const uint8_t* p, size_t n)
{
    std::string str;
    char text[3];
    for (size_t i = 0; i < n; ++i)
    {
        std::snprintf(text, sizeof(text), "%02x", p[i]);
        str += text;
    }
    return str;
}
} // namespace

// Lengths on both sides of 56 and 64 exercise both shapes of the last block.
TEST(SeededMD5Test, ContainerHashOfCountingBytes)
{
    const struct
    {
        uint32_t nLength;
        const char* pHash;
    } cases[] = {
        {0, "140d60f6b775e2ba4e4abed401b2e9a1"},  {55, "842e55534ba93daa93e94bd5af9b0c03"},
        {56, "00f9cc964ff2ec81959d4a3f092ce63f"}, {63, "4400d428a41d0e75dc98b936693f7bfb"},
        {64, "f42eb06ca921c878e435e3b8d4f92b13"}, {120, "882fce4f4c95194392e7adefd53fe343"},
    };
    std::vector<uint8_t> bytes(128);
    for (size_t i = 0; i < bytes.size(); ++i)
    {
        bytes[i] = uint8_t(i);
    }
    for (const auto& c : cases)
    {
        uint8_t digest[16];
        ShaderUtils::ComputeContainerHash(bytes.data(), c.nLength, digest);
        EXPECT_EQ(c.pHash, Hex(digest, 16)) << "length " << c.nLength;

        // Fed in uneven pieces, the buffering gives the same state.
        ShaderUtils::MD5Context ctx;
        ShaderUtils::MD5Init(ctx, 0);
        for (uint32_t nDone = 0, nStep = 1; nDone < c.nLength; nDone += nStep, nStep += 7)
        {
            ShaderUtils::MD5Update(ctx, bytes.data() + nDone, std::min(nStep, c.nLength - nDone));
        }
        uint8_t pieces[16];
        ShaderUtils::MD5ContainerFinal(ctx, pieces);
        EXPECT_EQ(Hex(digest, 16), Hex(pieces, 16)) << "length " << c.nLength;
    }

    ShaderUtils::MD5Context seeded;
    ShaderUtils::MD5Init(seeded, 2);
    EXPECT_EQ(0x67452301u + 22, seeded.nState[0]);
    EXPECT_EQ(0x10325476u + 194, seeded.nState[3]);
}

TEST(DataBlobTest, CreateAndCopy)
{
    const uint8_t bytes[5] = {1, 2, 3, 4, 5};
    std::unique_ptr<IBlob> pCopy(CreateBlobFromData(bytes, sizeof(bytes)));
    ASSERT_NE(nullptr, pCopy);
    ASSERT_EQ(5u, pCopy->GetSize());
    EXPECT_EQ("0102030405", Hex(static_cast<uint8_t*>(pCopy->GetData()), 5));
    EXPECT_EQ(0, pCopy->Clear());
    EXPECT_EQ(0u, pCopy->GetSize());
    EXPECT_EQ(nullptr, pCopy->GetData());

    std::unique_ptr<IBlob> pUninitialised(CreateBlobFromData(NULL, 16));
    ASSERT_NE(nullptr, pUninitialised);
    EXPECT_EQ(16u, pUninitialised->GetSize());
    EXPECT_NE(nullptr, pUninitialised->GetData());
}

TEST(KVR_MemoryBufferTest, GrowWriteAndAlign)
{
    KVR_MemoryBuffer buffer;
    ASSERT_TRUE(buffer.Grow(1));
    EXPECT_EQ(4096u, buffer.GetCapacity());

    std::vector<uint8_t> bytes(5000, 0x11);
    EXPECT_EQ(0u, buffer.Write(NULL, 4));
    EXPECT_EQ(0u, buffer.Write(bytes.data(), 0));
    EXPECT_EQ(5u, buffer.Write(bytes.data(), 5));
    EXPECT_EQ(3u, buffer.Align4(0xAB));
    EXPECT_EQ(0u, buffer.Align4(0xAB));
    EXPECT_EQ(8u, buffer.GetPosition());
    EXPECT_EQ(0xAB, buffer.GetData()[7]);
    EXPECT_EQ(1u, buffer.Write(bytes.data(), 1));
    EXPECT_EQ(1u, buffer.Align2(0));
    EXPECT_EQ(0u, buffer.Align2(0));

    // Crossing the capacity grows by whole blocks.
    EXPECT_EQ(5000u, buffer.Write(bytes.data(), 5000));
    EXPECT_EQ(5010u, buffer.GetPosition());
    EXPECT_EQ(12288u, buffer.GetCapacity());

    // Writing behind the position never moves it back; past it, it moves to the end written.
    EXPECT_EQ(4u, buffer.WriteDwordAt(0, 0x01020304));
    EXPECT_EQ(5010u, buffer.GetPosition());
    EXPECT_EQ(0x04, buffer.GetData()[0]);
    EXPECT_EQ(4u, buffer.WriteDwordAt(6000, 7));
    EXPECT_EQ(6004u, buffer.GetPosition());
    // WriteAt grows by the end, not to it.
    EXPECT_EQ(4u, buffer.WriteDwordAt(20000, 7));
    EXPECT_EQ(12288u + 20480u, buffer.GetCapacity());
    EXPECT_EQ(0u, buffer.WriteAt(SIZE_MAX - 1, bytes.data(), 4));
    std::free(buffer.GetData());
}
