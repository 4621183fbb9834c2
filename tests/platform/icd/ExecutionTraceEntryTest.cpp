// The tests' entry to a traced run of a kernel that the platform built: found by name
// in the platform's library, it runs the kernel with the arguments set on it.
#include "CExecutionTrace.h"
#include "ICDTestSupport.h"
#include "xan_execution_trace.h"

#include <dlfcn.h>

#include <cstring>
#include <fstream>

using namespace XAN_Platform;
using namespace XAN_Test;

namespace
{
class ExecutionTraceEntryTest : public CLFixture
{
protected:
    void SetUp() override
    {
        CLFixture::SetUp();
        // The library the loader was pointed at, as its .icd file names it.
        std::ifstream icd(std::string(XAN_ICD_VENDORS_DIR) + "/nordvane.icd");
        std::string strPath;
        std::getline(icd, strPath);
        m_pLibrary = dlopen(strPath.c_str(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(nullptr, m_pLibrary) << strPath;
        m_pfnRun = reinterpret_cast<PFN_xanPlatformRunTracedKernel>(
            dlsym(m_pLibrary, XAN_RUN_TRACED_KERNEL_NAME));
        ASSERT_NE(nullptr, m_pfnRun);
    }

    void TearDown() override
    {
        CLFixture::TearDown();
        if (m_pLibrary != nullptr)
        {
            dlclose(m_pLibrary);
        }
    }

    // vadd over 64 work-items with n = 50; returns c.
    cl_kernel VectorAdd(std::vector<float>& a, std::vector<float>& b, cl_mem& c)
    {
        cl_kernel kernel = MakeKernel(ReadKernel("vadd.il"), "vadd");
        for (size_t i = 0; i < a.size(); ++i)
        {
            a[i] = float(i) * 0.5f;
            b[i] = 3.0f - float(i);
        }
        cl_mem bufferA = MakeBuffer(a.size() * 4, a.data());
        cl_mem bufferB = MakeBuffer(b.size() * 4, b.data());
        c = MakeBuffer(a.size() * 4);
        const cl_int n = 50;
        SetArgs(kernel, bufferA, bufferB, c, n);
        return kernel;
    }

    void* m_pLibrary = nullptr;
    PFN_xanPlatformRunTracedKernel m_pfnRun = nullptr;
};

uint32_t Bits(float f)
{
    uint32_t n;
    std::memcpy(&n, &f, 4);
    return n;
}
} // namespace

TEST_F(ExecutionTraceEntryTest, RunsTheKernelWithItsArgumentsAndRecordsIt)
{
    std::vector<float> a(64), b(64);
    cl_mem c = nullptr;
    cl_kernel kernel = VectorAdd(a, b, c);
    const size_t nGlobal = 64, nLocal = 16;
    CExecutionTrace trace;
    ASSERT_EQ(CL_SUCCESS, m_pfnRun(m_Queue, kernel, 1, nullptr, &nGlobal, &nLocal, &trace));
    const std::vector<float> vC = Read<float>(c, 64);

    // add is instruction 11: call, endmain, func, then the kernel's eleventh.
    const uint32_t ADD = 11;
    std::vector<uint32_t> vAdded(64, 0);
    size_t nAdds = 0;
    for (const STraceRecord& record : trace.GetRecords())
    {
        if (record.nInstruction == ADD)
        {
            ++nAdds;
            EXPECT_EQ(Bits(a[record.nFlatIndex] + b[record.nFlatIndex]), record.vValue[0]);
        }
    }
    EXPECT_EQ(50u, nAdds);
    for (size_t i = 0; i < 64; ++i)
    {
        EXPECT_EQ(i < 50 ? a[i] + b[i] : 0.0f, vC[i]) << i;
    }
    EXPECT_FALSE(trace.HasOverflowed());
}

TEST_F(ExecutionTraceEntryTest, RefusesWhatItCantRunAndLeavesTheTraceEmpty)
{
    std::vector<float> a(64), b(64);
    cl_mem c = nullptr;
    cl_kernel kernel = VectorAdd(a, b, c);
    const size_t nGlobal = 64, nLocal = 16, nBadLocal = 24;
    CExecutionTrace trace;
    const struct
    {
        cl_command_queue queue;
        cl_kernel kernel;
        cl_uint nDim;
        const size_t* pLocal;
        CExecutionTrace* pTrace;
        cl_int nError;
    } vCases[] = {
        {m_Queue, kernel, 1, &nLocal, nullptr, CL_INVALID_VALUE},
        {m_Queue, nullptr, 1, &nLocal, &trace, CL_INVALID_KERNEL},
        {nullptr, kernel, 1, &nLocal, &trace, CL_INVALID_COMMAND_QUEUE},
        {m_Queue, kernel, 4, &nLocal, &trace, CL_INVALID_WORK_DIMENSION},
        {m_Queue, kernel, 1, &nBadLocal, &trace, CL_INVALID_WORK_GROUP_SIZE},
    };
    for (const auto& test : vCases)
    {
        EXPECT_EQ(test.nError, m_pfnRun(test.queue, test.kernel, test.nDim, nullptr, &nGlobal,
                                        test.pLocal, test.pTrace));
        EXPECT_TRUE(trace.GetRecords().empty());
    }
    EXPECT_EQ(std::vector<float>(64, 0.0f), Read<float>(c, 64));
}
