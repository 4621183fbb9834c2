#ifndef XAN_TEST_CORPUS_SEEDS_H
#define XAN_TEST_CORPUS_SEEDS_H

// Corpus kernels prepared for the debugger as the seeds of fuzz targets, and the mutation of
// their debug IL tokens in place, so that most inputs stay images that reach the IL engine.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Test
{
// A prepared corpus kernel, with where its tokens lie in the image.
struct CorpusSeed
{
    std::string strName;
    std::vector<char> vBinary;
    size_t nTokenOffset;
    size_t nTokenCount;
};

// Every corpus kernel whose debug IL tokens could be found in its image.
std::vector<CorpusSeed> LoadCorpusSeeds();

// Bytes of one patch of the input: a token index, a kind and a value.
const size_t SEED_PATCH_BYTES = 7;

// The seed's image with the input's patches applied to its tokens, one SEED_PATCH_BYTES patch
// after the other: replace the token, flip its bits, or replace its low half.
std::vector<char> MutateSeed(const CorpusSeed& seed, const uint8_t* pData, size_t nSize);
} // namespace XAN_Test

#endif
