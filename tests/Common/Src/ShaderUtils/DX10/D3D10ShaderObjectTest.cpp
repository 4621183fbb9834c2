#include "ShaderUtils/DX10/D3D10ShaderObject.h"

#include "APIConsistencyLog.h"
#include "CDXBCContainerWriter.h"
#include "DXBCFixtures.h"
#include "Src/LogTail.h"
#include "support/graphics/Vkd3dCheck.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <sstream>

using namespace D3D10ShaderObject;

namespace
{
typedef XAN_Test::CLogTail<APIConsistencyLog> ConsistencyLogTail;

std::vector<uint8_t> Bytes(IBlob* pBlob)
{
    std::unique_ptr<IBlob> pOwned(pBlob);
    if (!pOwned)
    {
        return {};
    }
    const uint8_t* p = static_cast<const uint8_t*>(pOwned->GetData());
    return std::vector<uint8_t>(p, p + pOwned->GetSize());
}

std::vector<uint8_t> Chunk(const uint8_t* p)
{
    uint32_t nSize = 0;
    std::memcpy(&nSize, p + 4, 4);
    return std::vector<uint8_t>(p, p + nSize + 8);
}

std::vector<uint8_t> MakeChunk(const char* pType, uint32_t nWords)
{
    std::vector<uint8_t> v(8 + 4 * nWords, 0x5A);
    std::memcpy(v.data(), pType, 4);
    const uint32_t nSize = 4 * nWords;
    std::memcpy(v.data() + 4, &nSize, 4);
    return v;
}

uint32_t Word(const std::vector<uint8_t>& v, size_t nOffset)
{
    uint32_t n;
    std::memcpy(&n, v.data() + nOffset, 4);
    return n;
}

std::vector<uint8_t> WithIndependentHash(std::vector<uint8_t> v)
{
    XAN_Platform::CDXBCContainerWriter::WriteHash(v);
    return v;
}

void ExpectVkd3dAccepts(const std::vector<uint8_t>& vContainer, const std::string& strWhat)
{
    if (!XAN_Test::Vkd3dMissingTools().empty())
    {
        return;
    }
    std::string strOutput;
    EXPECT_TRUE(XAN_Test::Vkd3dCheck(vContainer, strOutput)) << strWhat << ": " << strOutput;
}

// The resource data with names and types resolved, offsets left out: what a rebuild keeps.
std::string Describe(const RDEFData& data)
{
    std::ostringstream out;
    out << data.nConstantBufferCount << " " << std::hex << data.nVersion << " " << data.nFlags
        << std::dec << " " << data.nVariableCount << " " << data.nTextureCount << " "
        << data.nSamplerCount << " '" << data.strCreator << "'\n";
    for (uint32_t n : data.vExtendedHeader)
    {
        out << n << " ";
    }
    for (const RDEFBinding& b : data.vBindings)
    {
        out << "\nbinding " << data.GetName(b.nNameID) << " " << b.nType << " " << b.nReturnType
            << " " << b.nDimension << " " << b.nSampleCount << " " << b.nBindPoint << " "
            << b.nBindCount << " " << b.nFlags;
    }
    for (const RDEFConstantBuffer& c : data.vConstantBuffers)
    {
        out << "\ncbuffer " << data.GetName(c.nNameID) << " " << c.nVariableCount << " " << c.nSize
            << " " << c.nFlags << " " << c.nType;
    }
    for (const RDEFVariable& v : data.vVariables)
    {
        const RDEFType& type = data.mapTypes.at(v.nTypeOffset);
        out << "\nvariable " << data.GetName(v.nNameID) << " " << v.nStartOffset << " " << v.nSize
            << " " << v.nFlags << " type " << data.GetName(type.nNameID);
        for (size_t i = 0; i < 12; ++i)
        {
            out << " " << int(type.bytes[i]);
        }
    }
    return out.str();
}

std::string Describe(const SignatureData& data)
{
    std::ostringstream out;
    out << data.nEntryCount << " " << data.nRenderTargetCount;
    for (size_t i = 0; i < data.vEntries.size(); ++i)
    {
        const SignatureEntry& e = data.vEntries[i];
        out << "\n'" << data.vNames[i] << "' " << e.nSemanticIndex << " " << e.nSystemValue << " "
            << e.nComponentType << " " << e.nRegister << " " << int(e.nMask) << " "
            << int(e.nReadWriteMask);
    }
    return out.str();
}

size_t Occurrences(const std::vector<uint8_t>& vChunk, const std::string& strName)
{
    const std::string strBytes(vChunk.begin(), vChunk.end());
    const std::string strNeedle = strName + '\0';
    size_t nCount = 0;
    for (size_t nPos = strBytes.find(strNeedle); nPos != std::string::npos;
         nPos = strBytes.find(strNeedle, nPos + 1))
    {
        // Only whole names count, not the tail of a longer one.
        nCount += nPos == 0 || strBytes[nPos - 1] == '\0' || strBytes[nPos - 1] == '\xAB' ||
                  nPos % 4 == 0;
    }
    return nCount;
}
} // namespace

TEST(D3D10ShaderObjectTest, TheKnownContainerRoundTrips)
{
    const std::vector<uint8_t> vContainer = XAN_Test::ReadDXBCHex("cs50_raw_store.hex");
    CShaderObject shader(vContainer.data(), vContainer.size());
    ASSERT_TRUE(shader.IsValid());
    EXPECT_EQ("3b331a7a3fe7899d3219551ae232ae20", shader.GetHash());
    EXPECT_EQ(nullptr, shader.GetChunk(CK_SHDR));
    EXPECT_EQ(108u + 8u, shader.GetShaderChunkSize());
    EXPECT_EQ(vContainer, Bytes(shader.CreateBlob(31)));

    // A copy reparses every chunk and makes the same container.
    const CShaderObject copy(shader);
    EXPECT_EQ(vContainer, Bytes(copy.CreateBlob(0xFFFFFFFF)));
    std::unique_ptr<IBlob> pBlob(CreateBlobFromData(vContainer.data(), vContainer.size()));
    const CShaderObject fromBlob(pBlob.get());
    EXPECT_TRUE(fromBlob.IsValid());
}

// Container-level behaviour, one row per case: each edits a loaded shader and states the
// container that CreateBlob must then give.
TEST(D3D10ShaderObjectTest, ContainerCases)
{
    const std::vector<uint8_t> vCompute = XAN_Test::ReadDXBCHex("cs50_raw_store.hex");
    const std::vector<uint8_t> vPixel = XAN_Test::BuildDXBCFixture("ps40_resources");
    const std::vector<uint8_t> vDebug = MakeChunk("SDBG", 5);
    const std::vector<uint8_t> vAon9 = MakeChunk("Aon9", 2);
    ConsistencyLogTail log("XANOpenCLDebugAPIConsistency.log");

    // SHEX without SHDR is valid, without ISGN nothing is.
    CShaderObject shader(vCompute.data(), vCompute.size());
    EXPECT_TRUE(shader.IsValid());
    EXPECT_TRUE(shader.SetChunk(CK_ISGN, NULL));
    EXPECT_FALSE(shader.IsValid());
    EXPECT_EQ(nullptr, shader.CreateBlob(31));
    EXPECT_EQ(1u, log.Count("SDU_Assert( IsValid() )"));

    // SHEX set over SHDR removes SHDR; a chunk of another type isn't a shader chunk.
    CShaderObject pixel(vPixel.data(), vPixel.size());
    ASSERT_TRUE(pixel.IsValid());
    ASSERT_NE(nullptr, pixel.GetChunk(CK_SHDR));
    EXPECT_FALSE(pixel.SetShaderChunk(vDebug.data()));
    EXPECT_NE(nullptr, pixel.GetChunk(CK_SHDR));
    EXPECT_TRUE(
        pixel.SetShaderChunk(CShaderObject(vCompute.data(), vCompute.size()).GetShaderChunk()));
    EXPECT_EQ(nullptr, pixel.GetChunk(CK_SHDR));
    EXPECT_NE(nullptr, pixel.GetChunk(CK_SHEX));

    // Mask 31 drops SDBG, and the shorter container's hash is right.
    CShaderObject debug(vCompute.data(), vCompute.size());
    ASSERT_TRUE(debug.SetChunk(CK_SDBG, vDebug.data()));
    const std::vector<uint8_t> vAll = Bytes(debug.CreateBlob(0xFFF));
    EXPECT_EQ(vCompute.size() + 4 + vDebug.size(), vAll.size());
    EXPECT_EQ(WithIndependentHash(vAll), vAll);
    EXPECT_EQ(vCompute, Bytes(debug.CreateBlob(31)));
    ExpectVkd3dAccepts(vAll, "with SDBG");

    // Aon9 comes first whatever its place in the input.
    std::vector<uint8_t> vWithAon9 = vAll;
    vWithAon9.insert(vWithAon9.end(), vAon9.begin(), vAon9.end());
    vWithAon9.insert(vWithAon9.begin() + 48, 4, 0);
    const uint32_t nCount = Word(vWithAon9, 28) + 1;
    std::memcpy(&vWithAon9[28], &nCount, 4);
    for (uint32_t i = 0; i < nCount - 1; ++i)
    {
        const uint32_t nOffset = Word(vWithAon9, 32 + 4 * i) + 4;
        std::memcpy(&vWithAon9[32 + 4 * i], &nOffset, 4);
    }
    const uint32_t nAon9 = uint32_t(vWithAon9.size() - vAon9.size());
    std::memcpy(&vWithAon9[32 + 4 * (nCount - 1)], &nAon9, 4);
    CShaderObject aon9(vWithAon9.data(), vWithAon9.size());
    const std::vector<uint8_t> vOrdered = Bytes(aon9.CreateBlob(0x7F));
    ASSERT_EQ(vAll.size() + 4 + vAon9.size(), vOrdered.size());
    EXPECT_EQ(vAon9, Chunk(vOrdered.data() + Word(vOrdered, 32)));

    // An unknown chunk is skipped: loaded, and not in the result.
    std::vector<uint8_t> vUnknown = vWithAon9;
    std::memcpy(&vUnknown[nAon9], "XYZW", 4);
    CShaderObject unknown(vUnknown.data(), vUnknown.size());
    EXPECT_TRUE(unknown.IsValid());
    EXPECT_EQ(vAll, Bytes(unknown.CreateBlob(0xFFF)));

    // Null data and a container whose hash is wrong: the hash isn't checked on load.
    CShaderObject empty;
    EXPECT_FALSE(empty.SetShaderData(NULL, 10));
    EXPECT_FALSE(empty.SetShaderData(vCompute.data(), 0));
    EXPECT_EQ(1u, log.Count("SDU_Assert( pShaderData != NULL )"));
    EXPECT_EQ(1u, log.Count("SDU_Assert( nShaderDataSize != 0 )"));
    std::vector<uint8_t> vWrongHash = vCompute;
    vWrongHash[7] ^= 0x10;
    EXPECT_TRUE(CShaderObject(vWrongHash.data(), vWrongHash.size()).IsValid());
}

// Containers whose hashed length takes each of the 16 residues mod 64 that whole words allow:
// vkd3d-compiler verifies the checksum, and rejects the same container with one bit flipped,
// which our loader still loads.
TEST(D3D10ShaderObjectTest, ChecksumsForEveryResidue)
{
    const std::string strMissing = XAN_Test::Vkd3dMissingTools();
    if (!strMissing.empty())
    {
        GTEST_SKIP() << strMissing;
    }
    const std::vector<uint8_t> vCompute = XAN_Test::ReadDXBCHex("cs50_raw_store.hex");
    std::vector<bool> vSeen(16, false);
    for (uint32_t nWords = 0; nWords < 16; ++nWords)
    {
        CShaderObject shader(vCompute.data(), vCompute.size());
        ASSERT_TRUE(shader.SetChunk(CK_STAT, MakeChunk("STAT", nWords).data()));
        std::vector<uint8_t> vContainer = Bytes(shader.CreateBlob(31));
        vSeen[((vContainer.size() - 20) % 64) / 4] = true;
        EXPECT_EQ(WithIndependentHash(vContainer), vContainer);
        std::string strOutput;
        EXPECT_TRUE(XAN_Test::Vkd3dCheck(vContainer, strOutput)) << nWords << ": " << strOutput;
        vContainer[4 + nWords] ^= 0x04;
        EXPECT_FALSE(XAN_Test::Vkd3dCheck(vContainer, strOutput));
        EXPECT_NE(std::string::npos, strOutput.find("E0003: Invalid DXBC checksum")) << strOutput;
        EXPECT_TRUE(CShaderObject(vContainer.data(), vContainer.size()).IsValid());
    }
    EXPECT_EQ(std::vector<bool>(16, true), vSeen);
}

TEST(D3D10ShaderObjectTest, ResourcesRebuildToTheSameData)
{
    for (const char* pName : {"ps40_resources", "ps50_resources"})
    {
        SCOPED_TRACE(pName);
        const std::vector<uint8_t> vContainer = XAN_Test::BuildDXBCFixture(pName);
        CShaderObject shader(vContainer.data(), vContainer.size());
        ASSERT_TRUE(shader.IsValid());
        const RDEFData& data = shader.GetRDEF();
        const bool bLong = data.IsLong();
        EXPECT_EQ(bLong ? 2u : 1u, data.nConstantBufferCount);
        EXPECT_EQ(3u, data.nVariableCount);
        EXPECT_EQ(1u, data.nTextureCount);
        EXPECT_EQ(bLong ? 0u : 1u, data.nSamplerCount);
        EXPECT_EQ(bLong ? 8u : 0u, data.vExtendedHeader.size());
        EXPECT_EQ(bLong ? 3u : 5u, shader.GetTextureReturnType(bLong ? 2 : 0));
        EXPECT_EQ(bLong ? 9u : 4u, shader.GetTextureDimension(bLong ? 2 : 0));
        EXPECT_EQ(1u, shader.GetTextureReturnType(7));
        EXPECT_EQ(0u, shader.GetTextureDimension(7));
        const std::string strBefore = Describe(data);

        ASSERT_TRUE(shader.RebuildRDEF());
        EXPECT_EQ(strBefore, Describe(shader.GetRDEF()));
        const std::vector<uint8_t> vChunk = Chunk(shader.GetChunk(CK_RDEF));
        // The byte rules: whole words padded with 0xAB, the header as parsed, each name once.
        EXPECT_EQ(0u, vChunk.size() % 4);
        EXPECT_EQ(data.nVersion, Word(vChunk, 8 + 16));
        EXPECT_EQ(bLong ? 60u : 28u, Word(vChunk, 8 + 12));
        for (const auto& name : shader.GetRDEF().mapNames)
        {
            if (!name.second.empty())
            {
                EXPECT_EQ(1u, Occurrences(vChunk, name.second)) << name.second;
            }
        }
        const size_t nCreatorEnd = 8 + Word(vChunk, 8 + 24) + data.strCreator.size() + 1;
        for (size_t i = nCreatorEnd; i < vChunk.size(); ++i)
        {
            EXPECT_EQ(0xAB, vChunk[i]);
        }
        if (bLong)
        {
            // The first variable of the first buffer carries the reserved words.
            const uint32_t nVariables = 8 + Word(vChunk, 8 + Word(vChunk, 12) + 8);
            EXPECT_EQ(0xFFFFFFFFu, Word(vChunk, nVariables + 24));
            EXPECT_EQ(0u, Word(vChunk, nVariables + 28));
            EXPECT_EQ(0xFFFFFFFFu, Word(vChunk, nVariables + 32));
            EXPECT_EQ(0u, Word(vChunk, nVariables + 36));
        }

        // A debug buffer binding survives its own rebuild and reparse.
        ASSERT_TRUE(shader.AddBufferBinding(3, "XAN Debug Register"));
        ASSERT_TRUE(shader.RebuildRDEF());
        const RDEFBinding& added = shader.GetRDEF().vBindings.back();
        EXPECT_EQ("XAN Debug Register", shader.GetRDEF().GetName(added.nNameID));
        EXPECT_EQ(8u, added.nType);
        EXPECT_EQ(3u, added.nBindPoint);
        EXPECT_EQ(1u, added.nBindCount);
        const std::vector<uint8_t> vRebuilt = Bytes(shader.CreateBlob(31));
        ExpectVkd3dAccepts(vRebuilt, pName);
        EXPECT_EQ(Describe(shader.GetRDEF()),
                  Describe(CShaderObject(vRebuilt.data(), vRebuilt.size()).GetRDEF()));
    }
}

TEST(D3D10ShaderObjectTest, LongVariableWithWrongReservedWords)
{
    std::vector<uint8_t> vContainer = XAN_Test::BuildDXBCFixture("ps50_resources");
    CShaderObject shader(vContainer.data(), vContainer.size());
    const uint32_t nRDEF = Word(vContainer, 32);
    const uint32_t nConstantBuffers = Word(vContainer, nRDEF + 12);
    const uint32_t nVariables = nRDEF + 8 + Word(vContainer, nRDEF + 8 + nConstantBuffers + 8);
    vContainer[nVariables + 28] = 1;
    ConsistencyLogTail log("XANOpenCLDebugAPIConsistency.log");
    EXPECT_TRUE(CShaderObject(vContainer.data(), vContainer.size()).IsValid());
    EXPECT_EQ(1u, log.Count("RDEF variable reserved words are 0xFFFFFFFF, 0, 0xFFFFFFFF, 0"));
}

TEST(D3D10ShaderObjectTest, SignaturesRebuild)
{
    const std::vector<uint8_t> vContainer = XAN_Test::BuildDXBCFixture("ps50_resources");
    CShaderObject shader(vContainer.data(), vContainer.size());
    ASSERT_TRUE(shader.IsValid());
    EXPECT_EQ("", shader.GetInputSignature().vNames[1]);
    EXPECT_EQ(2u, shader.GetOutputSignature().nRenderTargetCount);

    SignatureEntry entry = {0, 2, 0, 3, 4, 0x3, 0x3, 0, 0};
    ASSERT_TRUE(shader.AddInputSignature("TEXCOORD", entry));
    entry.nSystemValue = SV_TARGET;
    entry.nRegister = 2;
    ASSERT_TRUE(shader.AddOutputSignature("SV_Target", entry));
    const std::string strInput = Describe(shader.GetInputSignature());
    const std::string strOutput = Describe(shader.GetOutputSignature());
    ASSERT_TRUE(shader.RebuildISGN());
    ASSERT_TRUE(shader.RebuildOSGN());
    EXPECT_EQ(strInput, Describe(shader.GetInputSignature()));
    EXPECT_EQ(strOutput, Describe(shader.GetOutputSignature()));
    EXPECT_EQ(3u, shader.GetOutputSignature().nRenderTargetCount);
    const std::vector<uint8_t> vOutput = Chunk(shader.GetChunk(CK_OSGN));
    EXPECT_EQ(1u, Occurrences(vOutput, "SV_Target"));
    EXPECT_EQ(0u, vOutput.size() % 4);

    ConsistencyLogTail log("XANOpenCLDebugAPIConsistency.log");
    shader.GetInputSignature().vNames.pop_back();
    EXPECT_FALSE(shader.RebuildISGN());
    EXPECT_EQ(1u, log.Count("the names and entries hold the entry count"));
}

TEST(D3D10ShaderObjectTest, Declarations)
{
    const struct
    {
        const char* pFixture;
        uint32_t nImmediateConstants;
        uint32_t nThreadGroup[3];
        std::vector<uint32_t> vIndexableTemps; // register, size, components
        std::vector<uint32_t> vGroupShared;    // id, stride, count
    } cases[] = {
        {"cs50_declarations", 8, {8, 4, 2}, {0, 6, 4}, {0, 0, 256, 1, 16, 4}},
        {"cs50_raw_store", 0, {1, 1, 1}, {}, {}},
        {"ps40_resources", 0, {0, 0, 0}, {}, {}},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.pFixture);
        const std::vector<uint8_t> vContainer = XAN_Test::BuildDXBCFixture(c.pFixture);
        const CShaderObject shader(vContainer.data(), vContainer.size());
        ASSERT_TRUE(shader.IsValid());
        const DeclarationData& data = shader.GetDeclarations();
        EXPECT_EQ(Word(Chunk(shader.GetShaderChunk()), 8), data.nVersion);
        EXPECT_EQ(c.nImmediateConstants, data.nImmediateConstantCount);
        EXPECT_EQ(std::vector<uint32_t>(c.nThreadGroup, c.nThreadGroup + 3),
                  std::vector<uint32_t>(data.nThreadGroup, data.nThreadGroup + 3));
        std::vector<uint32_t> vTemps;
        for (const IndexableTemp& temp : data.vIndexableTemps)
        {
            vTemps.insert(vTemps.end(), {temp.nRegister, temp.nSize, temp.nComponentCount});
        }
        EXPECT_EQ(c.vIndexableTemps, vTemps);
        EXPECT_EQ(c.vIndexableTemps.size() / 3, data.nIndexableTempCount);
        std::vector<uint32_t> vShared;
        for (const GroupSharedMemory& memory : data.vGroupSharedMemory)
        {
            vShared.insert(vShared.end(), {memory.nID, memory.nStride, memory.nCount});
        }
        EXPECT_EQ(c.vGroupShared, vShared);
        EXPECT_EQ(c.vGroupShared.size() / 3, data.nGroupSharedMemoryCount);
        EXPECT_EQ(shader.GetChunk(CK_STAT) != nullptr, shader.GetSTATData() != nullptr);
    }
}

TEST(D3D10ShaderObjectTest, FindFreeOutputSlot)
{
    const struct
    {
        std::vector<uint32_t> vTargets;
        std::vector<uint32_t> vUAVs;
        uint32_t nStart;
        bool bFound;
        uint32_t nSlot;
    } cases[] = {
        {{0, 1}, {2}, 0, true, 3},
        {{0, 1, 2, 3, 4, 5, 6, 7}, {}, 0, false, 7},
        {{0, 1, 2, 3}, {4, 5, 6, 7}, 0, false, 3},
        {{}, {}, 0, true, 0},
        {{0}, {}, 5, true, 5},
        {{0, 0xFFFFFFFF}, {1}, 0, true, 2},
    };
    const std::vector<uint8_t> vContainer = XAN_Test::ReadDXBCHex("cs50_raw_store.hex");
    for (const auto& c : cases)
    {
        CShaderObject shader(vContainer.data(), vContainer.size());
        for (uint32_t nRegister : c.vTargets)
        {
            shader.AddOutputSignature("SV_Target", {0, 0, SV_TARGET, 3, nRegister, 0xF, 0, 0, 0});
        }
        for (uint32_t nBindPoint : c.vUAVs)
        {
            shader.AddBufferBinding(nBindPoint, "uav");
        }
        uint32_t nSlot = c.nStart;
        EXPECT_EQ(c.bFound, shader.FindFreeOutputSlot(nSlot)) << testing::PrintToString(c.vTargets);
        EXPECT_EQ(c.nSlot, nSlot) << testing::PrintToString(c.vTargets);
    }
}

// Every prefix and a set of corrupted words of every fixture container load or are refused
// without reading past the data, each copy in memory of exactly its size.
TEST(D3D10ShaderObjectTest, DamagedContainersAreRefusedSafely)
{
    std::vector<std::vector<uint8_t>> vContainers = {XAN_Test::ReadDXBCHex("cs50_raw_store.hex")};
    for (const std::string& strName : XAN_Test::DXBCFixtureNames())
    {
        vContainers.push_back(XAN_Test::BuildDXBCFixture(strName));
    }
    for (const std::vector<uint8_t>& vContainer : vContainers)
    {
        for (size_t nLength = 0; nLength < vContainer.size(); ++nLength)
        {
            const std::unique_ptr<uint8_t[]> pCopy(new uint8_t[nLength + 1]);
            std::memcpy(pCopy.get(), vContainer.data(), nLength);
            EXPECT_FALSE(CShaderObject(pCopy.get(), nLength).IsValid()) << nLength;
        }
        for (size_t nOffset = 24; nOffset + 4 <= vContainer.size(); nOffset += 4)
        {
            for (uint32_t nValue : {0u, 1u, 0x7FFFFFFFu, 0xFFFFFFFFu, uint32_t(vContainer.size()),
                                    uint32_t(vContainer.size() - nOffset)})
            {
                std::vector<uint8_t> vDamaged = vContainer;
                std::memcpy(&vDamaged[nOffset], &nValue, 4);
                CShaderObject shader(vDamaged.data(), vDamaged.size());
                if (shader.IsValid())
                {
                    shader.RebuildRDEF();
                    shader.RebuildISGN();
                    shader.RebuildOSGN();
                    delete shader.CreateBlob(0xFFFFFFFF);
                }
            }
        }
    }
}

// A refused container names the chunk and the field that lie past the data.
TEST(D3D10ShaderObjectTest, BoundsDiagnosticsNameChunkAndField)
{
    const std::vector<uint8_t> vContainer = XAN_Test::BuildDXBCFixture("ps50_resources");
    const struct
    {
        int nChunk; // -1: the container's own header
        uint32_t nOffset;
        uint32_t nValue;
        const char* pDiagnostic;
    } cases[] = {
        {-1, 28, 0x10000, "DXBC chunk count lies within the data"},
        {-1, 36, 0xFFFFFFF0, "DXBC chunk offset lies within the data"},
        {0, 4, 0x10000, "RDEF chunk size lies within the data"},
        {0, 8 + 4, 0x10000, "RDEF constant buffer offset lies within the data"},
        {0, 8 + 12, 0x10000, "RDEF binding offset lies within the data"},
        {0, 8 + 24, 0x10000, "RDEF creator offset lies within the data"},
        {1, 8, 0x10000, "ISGN entry count lies within the data"},
        {2, 16, 0x10000, "OSGN semantic name offset lies within the data"},
        {3, 16, 0x00000065, "SHEX instruction length lies within the data"},
    };
    for (const auto& c : cases)
    {
        std::vector<uint8_t> vDamaged = vContainer;
        const uint32_t nBase = c.nChunk < 0 ? 0 : Word(vContainer, 32 + 4 * c.nChunk);
        std::memcpy(&vDamaged[nBase + c.nOffset], &c.nValue, 4);
        ConsistencyLogTail log("XANOpenCLDebugAPIConsistency.log");
        CShaderObject shader(vDamaged.data(), vDamaged.size());
        EXPECT_FALSE(shader.IsValid()) << c.pDiagnostic;
        EXPECT_EQ(nullptr, shader.GetChunk(CK_RDEF)) << c.pDiagnostic;
        EXPECT_EQ(1u, log.Count(c.pDiagnostic)) << log.Text();
    }
}
