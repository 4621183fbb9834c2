#ifndef XAN_TEST_SDBG_CORPUS_H
#define XAN_TEST_SDBG_CORPUS_H

#include "CSDBGScenario.h"

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace XAN_Test
{
// One scenario of tests/corpus/graphics/sdbg, read and written as its "SDBG" chunk.
struct SDBGCase
{
    std::string strName; // the file name without ".sdbg"
    XAN_Platform::CSDBGScenario scenario;
    std::vector<uint8_t> vChunk;     // with its 8-byte chunk header
    std::vector<uint8_t> vContainer; // the program's container with the chunk
};

// Every scenario of the corpus, by name; a scenario that doesn't read fails the test.
std::vector<SDBGCase> LoadSDBGCorpus();

// The scenario of that name.
SDBGCase LoadSDBGCase(const std::string& strName);

// For test names, and for the tests' reports in place of the bytes.
inline std::string SDBGCaseName(const SDBGCase& testCase)
{
    return testCase.strName;
}
inline void PrintTo(const SDBGCase& testCase, std::ostream* pStream)
{
    *pStream << testCase.strName;
}
} // namespace XAN_Test

#endif
