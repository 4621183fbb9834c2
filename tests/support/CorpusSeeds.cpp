#include "support/CorpusSeeds.h"

#include "ElfUtils.h"
#include "support/CorpusKernels.h"

#include <cstring>

namespace XAN_Test
{
namespace
{
uint32_t Read32(const void* pData)
{
    uint32_t nValue = 0;
    std::memcpy(&nValue, pData, sizeof(nValue));
    return nValue;
}
} // namespace

std::vector<CorpusSeed> LoadCorpusSeeds()
{
    std::vector<CorpusSeed> vSeeds;
    for (const std::string& strName : CorpusKernelNames())
    {
        CorpusSeed seed = {strName, LoadDebugBinary(strName), 0, 0};
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
                vSeeds.push_back(seed);
                break;
            }
        }
    }
    return vSeeds;
}

std::vector<char> MutateSeed(const CorpusSeed& seed, const uint8_t* pData, size_t nSize)
{
    std::vector<char> vBinary = seed.vBinary;
    for (size_t nPos = 0; nPos + SEED_PATCH_BYTES <= nSize; nPos += SEED_PATCH_BYTES)
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
    return vBinary;
}
} // namespace XAN_Test
