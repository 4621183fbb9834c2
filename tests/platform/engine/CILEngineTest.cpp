// Launches the data cases (tests/platform/engine/cases) can't express: a __local argument behind
// other local data, geometries the engine refuses, the local size it picks, and the raw argument
// buffer the debugger's dump kernel copies.
#include "EngineTestSupport.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

using namespace XAN_Platform;
using namespace XAN_Test;

TEST(CILEngine, ReductionThroughLocalMemoryAndBarriers)
{
    std::unique_ptr<CILProgram> pProgram = LoadProgram(ExampleKernel("reduce"));
    ASSERT_TRUE(pProgram);
    const uint32_t n = 1000;
    const uint32_t nGroupSize = 128;
    const uint32_t nGroups = 8;
    std::vector<uint32_t> input(n);
    for (uint32_t i = 0; i < n; ++i)
    {
        input[i] = i * 2654435761u;
    }
    CKernelLaunch launch;
    auto pIn = launch.Buffer(input);
    auto pSums = launch.Buffer(std::vector<uint32_t>(nGroups, 0));
    launch.ArgPointer(pIn);
    launch.ArgPointer(pSums);
    launch.ArgValue<uint32_t>(16); // the scratch array lies behind 16 bytes of other local data
    launch.ArgValue(n);
    launch.Desc().nLocalMemoryBytes = 16 + nGroupSize * 4;
    launch.Range(1, {nGroups * nGroupSize}, {nGroupSize});
    const SLaunchResult result = launch.Run(*pProgram);
    ASSERT_EQ(LS_Success, result.eStatus) << result.strMessage;
    const std::vector<uint32_t> sums = CKernelLaunch::Read<uint32_t>(pSums);
    for (uint32_t g = 0; g < nGroups; ++g)
    {
        uint32_t nExpected = 0;
        for (uint32_t i = g * nGroupSize; i < (g + 1) * nGroupSize && i < n; ++i)
        {
            nExpected += input[i];
        }
        EXPECT_EQ(nExpected, sums[g]) << g;
    }
}

TEST(CILEngine, GeometriesThatCantRun)
{
    std::unique_ptr<CILProgram> pProgram = LoadProgram(ExampleKernel("ids"));
    ASSERT_TRUE(pProgram);
    CKernelLaunch launch(false);
    const std::vector<std::pair<uint32_t, std::vector<uint64_t>>> vBad = {
        {0, {8}}, {4, {8}}, {1, {0}}, {1, {1ull << 32}}};
    for (const auto& bad : vBad)
    {
        launch.Range(bad.first, bad.second);
        EXPECT_EQ(LS_InvalidGeometry, launch.Run(*pProgram).eStatus) << bad.first;
    }
    launch.Range(1, {96}, {64}); // 64 doesn't divide 96
    EXPECT_EQ(LS_InvalidGeometry, launch.Run(*pProgram).eStatus);
    launch.Range(2, {2048, 2048}, {64, 32}); // 2048 work-items in a group
    EXPECT_EQ(LS_InvalidGeometry, launch.Run(*pProgram).eStatus);
    launch.Range(3, {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}, {1, 1, 1});
    EXPECT_EQ(LS_InvalidGeometry, launch.Run(*pProgram).eStatus);
    launch.Range(1, {64});
    launch.Desc().nPrivateMemoryBytes = CILProgram::MAX_PRIVATE_BYTES + 1;
    EXPECT_EQ(LS_OutOfResources, launch.Run(*pProgram).eStatus);
}

TEST(CILEngine, NullLocalSizeIsChosenDeterministically)
{
    uint64_t vLocal[3];
    const uint64_t vGlobal[3] = {1000, 97, 8};
    CILEngine::ChooseLocalSize(3, vGlobal, 256, vLocal);
    EXPECT_EQ(250u, vLocal[0]); // the largest divisor of 1000 within 256
    EXPECT_EQ(1u, vLocal[1]);   // 97 is prime and 256 / 250 leaves 1
    EXPECT_EQ(1u, vLocal[2]);
}

// The dump kernel of cb1 for a kernel of K = 4 argument rows: every work-item
// copies the rows to the result buffer, then calls an inner function whose label
// is 0xFFFFFFFF from inside the kernel's function.
TEST(CILEngine, ConstantBufferDumpKernelOnTheOlderFamily)
{
    std::unique_ptr<CILProgram> pProgram =
        LoadProgram(ReadFile(XAN_ENGINE_TEST_DATA_DIR "/cb1_dump.il"));
    ASSERT_TRUE(pProgram);
    CKernelLaunch launch(false);
    auto pA = launch.Buffer(std::vector<float>(16, 1.0f));
    auto pDump = launch.Buffer(std::vector<uint32_t>(16, 0xAAAAAAAA));
    launch.ArgPointer(pA);
    launch.ArgPointer(nullptr);
    launch.ArgPointer(pA);
    launch.ArgValue<uint32_t>(12345);
    launch.ArgPointer(pDump);
    launch.ArgPointer(nullptr);
    launch.ArgValue<uint32_t>(0);
    launch.Range(1, {64});
    const SLaunchResult result = launch.Run(*pProgram);
    ASSERT_EQ(LS_Success, result.eStatus) << result.strMessage;
    const std::vector<uint32_t> dump = CKernelLaunch::Read<uint32_t>(pDump);
    const std::vector<uint32_t> expected(launch.Desc().vConstantBuffer1.begin(),
                                         launch.Desc().vConstantBuffer1.begin() + 16);
    EXPECT_EQ(expected, dump);
    EXPECT_EQ(uint32_t(pA->GetAddress()), dump[0]);
}
