#include "CSDBGFixture.h"

#include "CDXBCContainerWriter.h"
#include "CSDBGWriter.h"
#include "CTpfAssembler.h"

#include <cstring>
#include <sstream>

namespace XAN_Platform
{
namespace
{
uint32_t GetWord(const std::vector<uint8_t>& vBytes, size_t nOffset)
{
    uint32_t nWord = 0;
    std::memcpy(&nWord, vBytes.data() + nOffset, 4);
    return nWord;
}

void SetWord(std::vector<uint8_t>& vBytes, size_t nOffset, uint32_t nWord)
{
    std::memcpy(vBytes.data() + nOffset, &nWord, 4);
}

// Appends a chunk: the offset table grows by one entry, which moves every chunk 4 bytes on.
void AppendChunk(std::vector<uint8_t>& vContainer, const std::vector<uint8_t>& vChunk)
{
    const uint32_t nCount = GetWord(vContainer, 28);
    const size_t nTableEnd = 32 + nCount * 4;
    for (uint32_t i = 0; i < nCount; ++i)
    {
        SetWord(vContainer, 32 + i * 4, GetWord(vContainer, 32 + i * 4) + 4);
    }
    vContainer.insert(vContainer.begin() + nTableEnd, 4, 0);
    SetWord(vContainer, nTableEnd, static_cast<uint32_t>(vContainer.size()));
    vContainer.insert(vContainer.end(), vChunk.begin(), vChunk.end());
    SetWord(vContainer, 24, static_cast<uint32_t>(vContainer.size()));
    SetWord(vContainer, 28, nCount + 1);
    CDXBCContainerWriter::WriteHash(vContainer);
}
} // namespace

bool CSDBGFixture::MakeContainer(const CSDBGScenario& scenario, std::vector<uint8_t>& vContainer,
                                 std::string& strError)
{
    std::string strHeader;
    std::string strProgram;
    std::istringstream stream(scenario.m_strProgram);
    for (std::string strLine; std::getline(stream, strLine);)
    {
        (strLine.compare(0, 1, "#") == 0 ? strHeader : strProgram) += strLine + "\n";
    }
    if (strProgram.empty())
    {
        strError = "no program";
        return false;
    }
    CDXBCContainerWriter writer;
    if (!writer.ParseHeader(strHeader, strError))
    {
        return false;
    }
    CTpfAssembler assembler;
    std::vector<uint32_t> vTokens;
    if (!assembler.Assemble(strProgram, vTokens))
    {
        strError = assembler.GetError();
        return false;
    }
    vContainer = writer.Write(vTokens);
    AppendChunk(vContainer, CSDBGWriter::Write(scenario));
    return true;
}
} // namespace XAN_Platform
