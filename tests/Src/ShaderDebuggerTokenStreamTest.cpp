#include "ShaderDebuggerTokenStream.h"

#include "Src/ShaderDebuggerTestDoubles.h"

#include <gtest/gtest.h>

#include <vector>

using namespace XAN_ShaderDebugger;

namespace
{
// The largest count, hidden from the optimiser, which would otherwise warn about copies of that
// size on paths that the streams refuse.
size_t HugeCount()
{
    volatile size_t nCount = static_cast<size_t>(-1);
    return nCount;
}

class TokenStreamTest : public ::testing::Test
{
protected:
    TokenStreamTest() : m_Shader(m_Host.AttachDebugger()) {}

    XAN_Test::CRecordingHost m_Host;
    XAN_Test::CTestShader m_Shader;
};
} // namespace

TEST_F(TokenStreamTest, ReadingStopsAtTheEndWithoutTouchingTheOutput)
{
    const unsigned int tokens[3] = {10, 20, 30};
    CInputTokenStream<unsigned int> stream(&m_Shader, tokens, 3);
    EXPECT_EQ(tokens, stream.GetStream());
    EXPECT_EQ(3u, stream.GetTokenCount());

    unsigned int nToken = 0;
    ASSERT_TRUE(stream.PeekToken(nToken));
    EXPECT_EQ(10u, nToken);
    ASSERT_TRUE(stream.PeekToken(nToken));
    EXPECT_EQ(10u, nToken);
    EXPECT_EQ(0u, stream.GetTokensRead());

    for (unsigned int nExpected : tokens)
    {
        ASSERT_TRUE(stream.ReadToken(nToken));
        EXPECT_EQ(nExpected, nToken);
    }
    nToken = 77;
    EXPECT_FALSE(stream.ReadToken(nToken));
    EXPECT_FALSE(stream.PeekToken(nToken));
    EXPECT_EQ(77u, nToken);
    EXPECT_EQ(3u, stream.GetTokensRead());
    EXPECT_EQ(tokens + 3, stream.GetStreamPos());
    // Reaching the end is how a walk ends, not a fault.
    EXPECT_TRUE(m_Host.m_vLines.empty());
}

TEST_F(TokenStreamTest, RunsAreReadWholeOrNotAtAll)
{
    const unsigned int tokens[4] = {1, 2, 3, 4};
    CInputTokenStream<unsigned int> stream(&m_Shader, tokens, 4);
    unsigned int run[4] = {0, 0, 0, 0};

    ASSERT_TRUE(stream.PeekTokens(run, 2));
    EXPECT_EQ(0u, stream.GetTokensRead());
    ASSERT_TRUE(stream.ReadTokens(run, 3));
    EXPECT_EQ(3u, run[2]);
    EXPECT_EQ(3u, stream.GetTokensRead());

    run[0] = 99;
    EXPECT_FALSE(stream.ReadTokens(run, 2));
    EXPECT_EQ(99u, run[0]);
    EXPECT_EQ(3u, stream.GetTokensRead());
    EXPECT_TRUE(m_Host.HasAssert("(m_nTokensRead + nNumTokens) <= this->GetTokenCount()"));

    m_Host.m_vLines.clear();
    EXPECT_FALSE(stream.ReadTokens(NULL, 1));
    EXPECT_TRUE(m_Host.HasAssert("ptTokens"));
    EXPECT_EQ(3u, stream.GetTokensRead());

    // A count that wraps around must not pass for a short run.
    EXPECT_FALSE(stream.PeekTokens(run, HugeCount()));
    ASSERT_TRUE(stream.ReadTokens(run, 1));
    EXPECT_EQ(4u, run[0]);
}

TEST_F(TokenStreamTest, AnEmptyOrNullInputStreamReadsNothing)
{
    const unsigned int token = 5;
    CInputTokenStream<unsigned int> empty(&m_Shader, &token, 0);
    EXPECT_TRUE(m_Host.HasAssert("this->m_nTokenCount > 0"));
    unsigned int nToken = 0;
    EXPECT_FALSE(empty.ReadToken(nToken));
    EXPECT_TRUE(m_Host.HasAssert("this->GetTokenCount()"));
    EXPECT_FALSE(empty.PeekToken(nToken));
    EXPECT_TRUE(m_Host.HasAssert("this->m_nTokenCount"));

    CInputTokenStream<unsigned int> null(&m_Shader, NULL, 4);
    EXPECT_FALSE(null.ReadToken(nToken));
    EXPECT_FALSE(null.ReadTokens(&nToken, 1));
    EXPECT_TRUE(m_Host.HasAssert("m_ptStreamPos"));
    EXPECT_EQ(0u, nToken);

    // Without a shader there is no host to tell, and nothing else changes.
    CInputTokenStream<unsigned int> orphan(NULL, &token, 1);
    EXPECT_EQ(nullptr, orphan.GetHost());
    ASSERT_TRUE(orphan.ReadToken(nToken));
    EXPECT_EQ(5u, nToken);
}

TEST_F(TokenStreamTest, WriteTokenDoublesTheCapacity)
{
    COutputTokenStream<unsigned int> fromZero(&m_Shader, 0);
    EXPECT_EQ(0u, fromZero.GetTokenCount());
    ASSERT_TRUE(fromZero.WriteToken(1));
    EXPECT_EQ(100u, fromZero.GetTokenCount());

    COutputTokenStream<unsigned int> stream(&m_Shader, 8);
    for (unsigned int n = 0; n < 8; ++n)
    {
        ASSERT_TRUE(stream.WriteToken(n));
    }
    EXPECT_EQ(8u, stream.GetTokenCount());
    ASSERT_TRUE(stream.WriteToken(8));
    EXPECT_EQ(16u, stream.GetTokenCount());
    EXPECT_EQ(9u, stream.GetTokensWritten());
    for (unsigned int n = 0; n < 9; ++n)
    {
        EXPECT_EQ(n, stream.GetStream()[n]);
    }
    EXPECT_EQ(stream.GetStream() + 9, stream.GetStreamPos());

    // O(n) copies: a long stream reaches its size in few reallocations.
    COutputTokenStream<unsigned int> grown(&m_Shader, 0);
    for (unsigned int n = 0; n < 100000; ++n)
    {
        ASSERT_TRUE(grown.WriteToken(n));
    }
    EXPECT_EQ(102400u, grown.GetTokenCount());
    EXPECT_TRUE(m_Host.m_vLines.empty());
}

TEST_F(TokenStreamTest, WriteTokensRoundsUpToAPowerOfTwo)
{
    const std::vector<unsigned int> vNine = {1, 2, 3, 4, 5, 6, 7, 8, 9};

    COutputTokenStream<unsigned int> exact(&m_Shader, 8);
    ASSERT_TRUE(exact.WriteTokens(vNine.data(), 8));
    EXPECT_EQ(8u, exact.GetTokenCount());
    EXPECT_EQ(8u, exact.GetTokensWritten());

    COutputTokenStream<unsigned int> roomy(&m_Shader, 16);
    const unsigned int* pBefore = roomy.GetStream();
    ASSERT_TRUE(roomy.WriteTokens(vNine.data(), 8));
    EXPECT_EQ(pBefore, roomy.GetStream());
    EXPECT_EQ(16u, roomy.GetTokenCount());

    COutputTokenStream<unsigned int> small(&m_Shader, 8);
    ASSERT_TRUE(small.WriteTokens(vNine.data(), 9));
    EXPECT_EQ(16u, small.GetTokenCount());
    ASSERT_TRUE(small.WriteTokens(vNine.data(), 9));
    EXPECT_EQ(32u, small.GetTokenCount());
    EXPECT_EQ(9u, small.GetStream()[17]);

    EXPECT_FALSE(small.WriteTokens(vNine.data(), 0));
    EXPECT_TRUE(m_Host.HasAssert("nNumTokens > 0"));
    EXPECT_FALSE(small.WriteTokens(NULL, 1));
    EXPECT_TRUE(m_Host.HasAssert("ptTokens != NULL"));
    EXPECT_EQ(18u, small.GetTokensWritten());
}

TEST_F(TokenStreamTest, ImpossibleSizesFailAndKeepTheStream)
{
    COutputTokenStream<unsigned int> stream(&m_Shader, 4);
    ASSERT_TRUE(stream.WriteToken(1));
    ASSERT_TRUE(stream.WriteToken(2));
    const unsigned int* pStream = stream.GetStream();

    EXPECT_FALSE(stream.Resize(1));
    EXPECT_TRUE(m_Host.HasAssert("nTokenCount >= m_nTokensWritten"));
    EXPECT_FALSE(stream.Resize(HugeCount()));
    EXPECT_TRUE(m_Host.HasAssert("ptNewStream != NULL"));

    const unsigned int token = 3;
    EXPECT_FALSE(stream.WriteTokens(&token, HugeCount()));
    EXPECT_TRUE(m_Host.HasAssert("nValue < ((size_t)1<<((sizeof(size_t) * 8)-1))"));

    EXPECT_EQ(pStream, stream.GetStream());
    EXPECT_EQ(4u, stream.GetTokenCount());
    EXPECT_EQ(2u, stream.GetTokensWritten());
    EXPECT_EQ(2u, stream.GetStream()[1]);

    // Shrinking to the written tokens is allowed.
    ASSERT_TRUE(stream.Resize(2));
    EXPECT_EQ(2u, stream.GetTokenCount());
    EXPECT_EQ(1u, stream.GetStream()[0]);
}

TEST_F(TokenStreamTest, WriteDataAndWriteTokenAt)
{
    COutputTokenStream<unsigned int> stream(&m_Shader, 4);
    EXPECT_FALSE(stream.WriteTokenAt(0, 1));
    EXPECT_TRUE(m_Host.HasAssert("m_nTokensWritten"));

    const unsigned char bytes[8] = {1, 0, 0, 0, 2, 0, 0, 0};
    EXPECT_FALSE(stream.WriteData(bytes, 6));
    EXPECT_TRUE(m_Host.HasAssert("(nNumBytes % sizeof(T)) == 0"));
    EXPECT_EQ(0u, stream.GetTokensWritten());
    ASSERT_TRUE(stream.WriteData(bytes, 8));
    EXPECT_EQ(2u, stream.GetTokensWritten());
    EXPECT_EQ(2u, stream.GetStream()[1]);

    ASSERT_TRUE(stream.WriteTokenAt(0, 42));
    EXPECT_EQ(42u, stream.GetStream()[0]);
    EXPECT_EQ(2u, stream.GetTokensWritten());
    EXPECT_FALSE(stream.WriteTokenAt(2, 43));
    EXPECT_TRUE(m_Host.HasAssert("nOffset < m_nTokensWritten"));
}
