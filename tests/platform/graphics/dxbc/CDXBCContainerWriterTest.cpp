#include "CDXBCContainerWriter.h"
#include "DXBCFixtures.h"
#include "support/graphics/Vkd3dCheck.h"

#include <gtest/gtest.h>

using XAN_Platform::CDXBCContainerWriter;

TEST(CDXBCContainerWriterTest, MakesTheKnownContainerByteForByte)
{
    const std::vector<uint8_t> vExpected = XAN_Test::ReadDXBCHex("cs50_raw_store.hex");
    ASSERT_EQ(192u, vExpected.size());
    EXPECT_EQ(vExpected, XAN_Test::BuildDXBCFixture("cs50_raw_store"));
    // The same program as assembly text, through the tokenized-program assembler.
    size_t nAssembled = 0;
    for (const XAN_Test::DXBCContainer& container : XAN_Test::DXBCCorpusContainers())
    {
        if (container.strName == "cs_5_0_store.tpf")
        {
            EXPECT_EQ(vExpected, container.vBytes);
            ++nAssembled;
        }
    }
    EXPECT_EQ(1u, nAssembled);

    // The hash alone, recomputed over a copy whose hash was wiped.
    std::vector<uint8_t> vCopy = vExpected;
    std::fill(vCopy.begin() + 4, vCopy.begin() + 20, 0);
    CDXBCContainerWriter::WriteHash(vCopy);
    EXPECT_EQ(vExpected, vCopy);
}

TEST(CDXBCContainerWriterTest, EveryCorpusContainerPassesVkd3d)
{
    const std::string strMissing = XAN_Test::Vkd3dMissingTools();
    if (!strMissing.empty())
    {
        GTEST_SKIP() << strMissing;
    }
    for (const XAN_Test::DXBCContainer& container : XAN_Test::DXBCCorpusContainers())
    {
        std::string strOutput;
        const bool bAccepted = XAN_Test::Vkd3dCheck(container.vBytes, strOutput);
        EXPECT_EQ(!container.bDecodeOnly, bAccepted) << container.strName << ": " << strOutput;
    }
}

TEST(CDXBCContainerWriterTest, RefusesBadFixtures)
{
    const struct
    {
        const char* pText;
        const char* pError;
    } cases[] = {
        {"#isgn POSITION 0 1 3\n", "bad header line: #isgn POSITION 0 1 3"},
        {"#rdef 0x500\n", "bad header line: #rdef 0x500"},
        {"#binding t 2 5 4 1 0 1\n", "bad header line: #binding t 2 5 4 1 0 1"},
        {"#variable v 0 4 0 0 3 1 1 0 float\n",
         "bad header line: #variable v 0 4 0 0 3 1 1 0 float"},
        {"#cbuffer cb 16 0 0x1ffffffff\n", "bad header line: #cbuffer cb 16 0 0x1ffffffff"},
        {"#bogus\n", "bad header line: #bogus"},
        {"00000040 0000000g\n", "bad program word: 0000000g"},
        {"100000000\n", "bad program word: 100000000"},
    };
    for (const auto& c : cases)
    {
        std::string strHeader;
        std::string strError;
        std::vector<uint32_t> vProgram;
        CDXBCContainerWriter writer;
        EXPECT_FALSE(CDXBCContainerWriter::ReadFixture(c.pText, strHeader, vProgram, strError) &&
                     writer.ParseHeader(strHeader, strError))
            << c.pText;
        EXPECT_EQ(c.pError, strError);
    }
}

TEST(Vkd3dCheckTest, RejectsWhatTheToolRejects)
{
    const std::string strMissing = XAN_Test::Vkd3dMissingTools();
    if (!strMissing.empty())
    {
        GTEST_SKIP() << strMissing;
    }
    std::vector<uint8_t> vContainer = XAN_Test::ReadDXBCHex("cs50_raw_store.hex");
    vContainer[4] ^= 1;
    std::string strOutput;
    EXPECT_FALSE(XAN_Test::Vkd3dCheck(vContainer, strOutput));
    EXPECT_NE(std::string::npos, strOutput.find("E0003: Invalid DXBC checksum")) << strOutput;
    EXPECT_FALSE(XAN_Test::Vkd3dCheck({}, strOutput));
}
