// Loads arbitrary bytes, or a fixture container with words replaced, as a shader container; a
// container that loads goes through every getter, the rebuilds and CreateBlob, and what
// CreateBlob makes must load again.
#include "FuzzSupport.h"

#include "CDXBCContainerWriter.h"
#include "ShaderUtils/DX10/D3D10ShaderObject.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <vector>

using namespace D3D10ShaderObject;
using XAN_Test::Require;

namespace
{
std::vector<std::vector<uint8_t>>& Seeds()
{
    static std::vector<std::vector<uint8_t>> vSeeds;
    return vSeeds;
}

void Exercise(const std::vector<uint8_t>& vContainer)
{
    CShaderObject shader(vContainer.data(), vContainer.size());
    if (!shader.IsValid())
    {
        return;
    }
    for (uint32_t i = 0; i < CK_Count; ++i)
    {
        Require((shader.GetChunk(ChunkKind(i)) == NULL) ==
                (shader.GetChunkSize(ChunkKind(i)) == 0));
    }
    for (uint32_t nSlot = 0; nSlot < 9; ++nSlot)
    {
        shader.GetTextureReturnType(nSlot);
        shader.GetTextureDimension(nSlot);
    }
    uint32_t nSlot = 0;
    shader.FindFreeOutputSlot(nSlot);
    Require(shader.GetDeclarations().vIndexableTemps.size() ==
            shader.GetDeclarations().nIndexableTempCount);
    const CShaderObject copy(shader);
    Require(copy.IsValid());
    shader.AddBufferBinding(nSlot, "XAN Debug Register");
    shader.RebuildRDEF();
    shader.RebuildISGN();
    shader.RebuildOSGN();
    std::unique_ptr<IBlob> pBlob(shader.CreateBlob(0xFFFFFFFF));
    Require(pBlob != nullptr);
    const CShaderObject reloaded(pBlob.get());
    Require(reloaded.IsValid());
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    for (const auto& entry : std::filesystem::directory_iterator(XAN_DXBC_FIXTURE_DIR))
    {
        if (entry.path().extension() != ".txt")
        {
            continue;
        }
        std::ifstream file(entry.path());
        std::ostringstream text;
        text << file.rdbuf();
        std::string strHeader;
        std::string strError;
        std::vector<uint32_t> vProgram;
        XAN_Platform::CDXBCContainerWriter writer;
        if (XAN_Platform::CDXBCContainerWriter::ReadFixture(text.str(), strHeader, vProgram,
                                                            strError) &&
            writer.ParseHeader(strHeader, strError))
        {
            Seeds().push_back(writer.Write(vProgram));
        }
    }
    return 0;
}

// The first byte chooses: odd, the rest is the container; even, a seed whose words are replaced
// by the input's (word index, value) pairs of 6 bytes.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    if (nSize == 0 || Seeds().empty())
    {
        return 0;
    }
    if (pData[0] & 1)
    {
        Exercise(std::vector<uint8_t>(pData + 1, pData + nSize));
        return 0;
    }
    std::vector<uint8_t> vContainer = Seeds()[(pData[0] >> 1) % Seeds().size()];
    for (size_t i = 1; i + 6 <= nSize; i += 6)
    {
        uint16_t nWord;
        std::memcpy(&nWord, pData + i, 2);
        const size_t nOffset = 4 * (nWord % (vContainer.size() / 4));
        std::memcpy(&vContainer[nOffset], pData + i + 2, 4);
    }
    Exercise(vContainer);
    return 0;
}
