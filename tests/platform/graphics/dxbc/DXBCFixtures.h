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
// The bytes of a hexadecimal file of the fixture folder.
std::vector<uint8_t> ReadDXBCHex(const std::string& strFileName);
} // namespace XAN_Test

#endif
