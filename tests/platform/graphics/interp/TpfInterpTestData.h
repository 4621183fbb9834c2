#ifndef XAN_TESTS_TPF_INTERP_TEST_DATA_H
#define XAN_TESTS_TPF_INTERP_TEST_DATA_H

#include "TpfInterpTypes.h"

#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Test
{
// One "== name" block of a fixture file: its lines, "=>" lines apart.
struct TpfInterpCase
{
    std::string strName;
    std::vector<std::string> vLines;
    std::vector<std::string> vExpected;
};

std::string ReadInterpData(const std::string& strName);
std::vector<TpfInterpCase> ReadInterpCases(const std::string& strName);
std::vector<std::string> SplitList(const std::string& strText, char cSeparator);
// "a, b, c, d" in the assembler's number forms.
bool ParseValue4(const std::string& strText, XAN_Platform::TpfValue4& value);
std::string FormatValue4(const XAN_Platform::TpfValue4& value);
std::vector<std::uint32_t> AssembleOrFail(const std::string& strText, std::string& strError);
} // namespace XAN_Test

#endif
