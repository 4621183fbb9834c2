// Every corpus kernel runs on the family it is written for and leaves what its header comment
// says, so that the tests that compare the debugger's captures with the original kernel start
// from kernels that do something sensible.

#include "support/CorpusKernels.h"
#include "support/CorpusProgram.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace
{
using XAN_Test::CNordvaneDevice;

struct CorpusRun
{
    const char* pName;
    std::function<uint32_t(uint32_t)> expected;
};

std::ostream& operator<<(std::ostream& os, const CorpusRun& run)
{
    return os << run.pName;
}

uint32_t LoopsResult(uint32_t i)
{
    uint32_t k = 0;
    uint32_t acc = 0;
    while (k < 10)
    {
        ++k;
        if (k == 3)
        {
            continue;
        }
        if (k < i)
        {
            acc += k;
            continue;
        }
        acc += 1;
        if (k == 8)
        {
            break;
        }
    }
    return acc;
}

class CorpusRunTest : public ::testing::TestWithParam<CorpusRun>
{
protected:
    // The loader finds the build's platform; the family comes from the test's environment.
    static void SetUpTestSuite() { setenv("OCL_ICD_VENDORS", XAN_ICD_VENDORS_DIR, 0); }
};

TEST_P(CorpusRunTest, RunsWithTheResultItsHeaderGives)
{
    const CorpusRun& run = GetParam();
    const std::vector<char> vBinary = XAN_Test::ReadCorpusBinary(run.pName);
    ASSERT_FALSE(vBinary.empty()) << run.pName;
    CNordvaneDevice device;
    ASSERT_TRUE(device.IsValid());

    std::string strLog;
    cl_program program = device.Build(vBinary, "", strLog);
    ASSERT_NE(nullptr, program) << strLog;
    cl_int nError = CL_SUCCESS;
    cl_kernel kernel = clCreateKernel(program, run.pName, &nError);
    ASSERT_EQ(CL_SUCCESS, nError);

    const size_t nItems = 64;
    std::vector<uint32_t> vOut(nItems, 0);
    cl_mem buffer = clCreateBuffer(device.GetContext(), CL_MEM_READ_WRITE | CL_MEM_COPY_HOST_PTR,
                                   nItems * sizeof(uint32_t), vOut.data(), &nError);
    ASSERT_EQ(CL_SUCCESS, nError);
    EXPECT_EQ(CL_SUCCESS, clSetKernelArg(kernel, 0, sizeof(buffer), &buffer));
    EXPECT_EQ(CL_SUCCESS, clEnqueueNDRangeKernel(device.GetQueue(), kernel, 1, nullptr, &nItems,
                                                 nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(CL_SUCCESS,
              clEnqueueReadBuffer(device.GetQueue(), buffer, CL_TRUE, 0, nItems * sizeof(uint32_t),
                                  vOut.data(), 0, nullptr, nullptr));
    for (uint32_t i = 0; i < nItems; ++i)
    {
        EXPECT_EQ(run.expected(i), vOut[i]) << run.pName << " item " << i;
    }
    clReleaseMemObject(buffer);
    clReleaseKernel(kernel);
    clReleaseProgram(program);
}

INSTANTIATE_TEST_SUITE_P(
    Larkspur, CorpusRunTest,
    ::testing::Values(CorpusRun{"straight", [](uint32_t i) { return (3 * i + 7) ^ (i >> 1); }},
                      CorpusRun{"ifelse", [](uint32_t i)
                                { return i < 4 ? ((i & 1) ? 1u : 2u) : (i == 6 ? 3u : 4u); }},
                      CorpusRun{"loops", LoopsResult},
                      CorpusRun{"nested5", [](uint32_t i) { return i + 32; }},
                      CorpusRun{"switch",
                                [](uint32_t i)
                                {
                                    const uint32_t cases[] = {11, 10, 100, 1000};
                                    return cases[i % 4] + 30003;
                                }},
                      CorpusRun{"functions", [](uint32_t i) { return 4 * i + 3; }},
                      CorpusRun{"calls_loop",
                                [](uint32_t i)
                                {
                                    uint32_t nSum = i;
                                    for (uint32_t nCall = 0; nCall < 3; ++nCall)
                                    {
                                        for (uint32_t j = 0; j <= (i & 3); ++j)
                                        {
                                            nSum += j;
                                            nSum += nSum & 1;
                                            nSum += j == 2 ? 1 : 0;
                                        }
                                    }
                                    return nSum;
                                }},
                      CorpusRun{"outline", [](uint32_t i) { return 5 * i; }},
                      CorpusRun{"private_uav", [](uint32_t i) { return 29 * i + 1; }},
                      CorpusRun{"atomic", [](uint32_t) { return 5u; }},
                      CorpusRun{"loop", [](uint32_t) { return 4u; }}),
    [](const ::testing::TestParamInfo<CorpusRun>& info) { return std::string(info.param.pName); });

INSTANTIATE_TEST_SUITE_P(Fennel, CorpusRunTest,
                         ::testing::Values(CorpusRun{"private_x1",
                                                     [](uint32_t i) { return 28 * i + 1000; }}),
                         [](const ::testing::TestParamInfo<CorpusRun>& info)
                         { return std::string(info.param.pName); });
} // namespace
