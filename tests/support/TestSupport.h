#ifndef XAN_TEST_SUPPORT_H
#define XAN_TEST_SUPPORT_H

#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Test
{
// The whole content of a file, or an empty string when it can't be read.
std::string ReadFile(const std::string& strPath);

// The lines of a file without their line ends.
std::vector<std::string> ReadLines(const std::string& strPath);

// The rows of a case table: every line that is neither blank nor a "#" remark, split at '|'
// into trimmed fields, with "\n" standing for a line end so that texts fit one row. A missing or
// empty table fails the test, so that a mistyped path can't pass with no cases.
std::vector<std::vector<std::string>> ReadTable(const std::string& strPath);

// Numbers in C form ("0x1F", "12", "-1"), separated by spaces.
std::vector<std::uint64_t> ParseNumbers(const std::string& strText);

// Sets or clears an environment variable for the lifetime of the object.
class ScopedEnv
{
public:
    ScopedEnv(const char* pName, const char* pValue);
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    std::string m_strName;
    std::string m_strOld;
    bool m_bHadOld;
};
} // namespace XAN_Test

#endif
