#ifndef XAN_TEST_SUPPORT_H
#define XAN_TEST_SUPPORT_H

#include <string>
#include <vector>

namespace XAN_Test
{
// The whole content of a file, or an empty string when it can't be read.
std::string ReadFile(const std::string& strPath);

// The lines of a file without their line ends.
std::vector<std::string> ReadLines(const std::string& strPath);

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
