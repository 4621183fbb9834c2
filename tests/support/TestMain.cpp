// Runs every test process in a fresh temporary directory: the library writes
// its logs and patched kernels into the current directory.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);

    const char* pTmp = std::getenv("TMPDIR");
    std::string strTemplate = std::string(pTmp != nullptr ? pTmp : "/tmp") + "/xancl-test-XXXXXX";
    std::filesystem::path previous = std::filesystem::current_path();
    if (mkdtemp(strTemplate.data()) == nullptr || chdir(strTemplate.c_str()) != 0)
    {
        return 2;
    }

    int nResult = RUN_ALL_TESTS();

    std::error_code ec;
    std::filesystem::current_path(previous, ec);
    std::filesystem::remove_all(strTemplate, ec);
    return nResult;
}
