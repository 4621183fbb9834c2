// The IL analysis on mutated kernel binaries of the corpus, and on bare token streams. An input
// is a mode byte and then patches of the kernel's debug IL tokens, each an index, a kind and a
// value, so that most inputs stay images that reach the analysis of instructions.

#include "ElfUtils.h"
#include "support/AnalysisDoubles.h"
#include "support/CorpusKernels.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace
{
// A corpus kernel prepared for the debugger, with where its tokens lie in the image.
struct Seed
{
    std::string strName;
    std::vector<char> vBinary;
    size_t nTokenOffset;
    size_t nTokenCount;
};

std::vector<Seed>& Seeds()
{
    static std::vector<Seed> s_vSeeds;
    return s_vSeeds;
}

const size_t PATCH_BYTES = 7;

uint32_t Read32(const void* pData)
{
    uint32_t nValue = 0;
    std::memcpy(&nValue, pData, sizeof(nValue));
    return nValue;
}

void Analyze(const std::string& strName, const std::vector<char>& vBinary)
{
    XAN_Test::CAnalysisHost host(strName, 0);
    XAN_Test::CAnalyzedShaderIL shader(&host, vBinary);
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    for (const std::string& strName : XAN_Test::CorpusKernelNames())
    {
        Seed seed = {strName, XAN_Test::LoadDebugBinary(strName), 0, 0};
        std::vector<unsigned int> vTokens;
        if (seed.vBinary.empty() || !XAN_ElfUtils::ExtractBinaryILFromElf(seed.vBinary, vTokens) ||
            vTokens.empty())
        {
            continue;
        }
        const size_t nBytes = vTokens.size() * sizeof(unsigned int);
        for (size_t nOffset = 0; nOffset + nBytes <= seed.vBinary.size(); ++nOffset)
        {
            if (std::memcmp(seed.vBinary.data() + nOffset, vTokens.data(), nBytes) == 0)
            {
                seed.nTokenOffset = nOffset;
                seed.nTokenCount = vTokens.size();
                Seeds().push_back(seed);
                break;
            }
        }
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    if (nSize == 0 || Seeds().empty())
    {
        return 0;
    }
    const uint8_t nMode = pData[0];
    if (nMode & 1)
    {
        Analyze("bare", std::vector<char>(pData + 1, pData + nSize));
        return 0;
    }
    Seed& seed = Seeds()[(nMode >> 1) % Seeds().size()];
    std::vector<char> vBinary = seed.vBinary;
    for (size_t nPos = 1; nPos + PATCH_BYTES <= nSize; nPos += PATCH_BYTES)
    {
        const size_t nToken = (pData[nPos] | (pData[nPos + 1] << 8)) % seed.nTokenCount;
        char* pToken = vBinary.data() + seed.nTokenOffset + nToken * sizeof(uint32_t);
        uint32_t nValue = Read32(pToken);
        const uint32_t nPatch = Read32(pData + nPos + 3);
        switch (pData[nPos + 2] % 3)
        {
        case 0:
            nValue = nPatch;
            break;
        case 1:
            nValue ^= nPatch;
            break;
        default:
            nValue = (nValue & 0xFFFF0000u) | (nPatch & 0xFFFFu);
            break;
        }
        std::memcpy(pToken, &nValue, sizeof(nValue));
    }
    Analyze(seed.strName, vBinary);
    return 0;
}
