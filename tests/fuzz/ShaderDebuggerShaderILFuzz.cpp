// The IL analysis on mutated kernel binaries of the corpus, and on bare token streams. An input
// is a mode byte and then patches of the kernel's debug IL tokens, each an index, a kind and a
// value, so that most inputs stay images that reach the analysis of instructions.

#include "support/AnalysisDoubles.h"
#include "support/CorpusSeeds.h"

#include <cstdint>
#include <string>
#include <vector>

namespace
{
std::vector<XAN_Test::CorpusSeed>& Seeds()
{
    static std::vector<XAN_Test::CorpusSeed> s_vSeeds;
    return s_vSeeds;
}

void Analyze(const std::string& strName, const std::vector<char>& vBinary)
{
    XAN_Test::CAnalysisHost host(strName, 0);
    XAN_Test::CAnalyzedShaderIL shader(&host, vBinary);
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    Seeds() = XAN_Test::LoadCorpusSeeds();
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
    const XAN_Test::CorpusSeed& seed = Seeds()[(nMode >> 1) % Seeds().size()];
    const std::vector<char> vBinary = XAN_Test::MutateSeed(seed, pData + 1, nSize - 1);
    Analyze(seed.strName, vBinary);
    return 0;
}
