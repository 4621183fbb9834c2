#ifndef XAN_TEST_DXBC_FIXTURES_H
#define XAN_TEST_DXBC_FIXTURES_H

#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Test
{
// The names of the container fixtures (without ".txt").
std::vector<std::string> DXBCFixtureNames();
// The container the writer makes of a fixture; a test failure and an empty result when the
// fixture is unreadable.
std::vector<uint8_t> BuildDXBCFixture(const std::string& strName);
struct DXBCContainer
{
    std::string strName;
    std::vector<uint8_t> vBytes;
    // A program that outside compilers aren't meant to take.
    bool bDecodeOnly;
};
// Every fixture, and every program of the tokenized-program corpus in a container with empty
// signatures.
std::vector<DXBCContainer> DXBCCorpusContainers();
// The bytes of a hexadecimal file of the fixture folder.
std::vector<uint8_t> ReadDXBCHex(const std::string& strFileName);
} // namespace XAN_Test

#endif
