// What the engine reports about a launch beside the memory it leaves: warnings, out-of-bounds
// accesses, the instruction budget, and results that don't depend on the thread count. Each
// kernel's work-items write r2 to four words of an output buffer. The semantics of single
// instructions are data cases (tests/platform/engine/cases).
#include "EngineTestSupport.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

using namespace XAN_Platform;
using namespace XAN_Test;

namespace
{
// The line of the first instruction of strText that begins with strInstruction, from 1.
uint32_t LineOf(const std::string& strText, const std::string& strInstruction)
{
    const size_t nAt = strText.find("\n" + strInstruction);
    return uint32_t(std::count(strText.begin(), strText.begin() + nAt + 1, '\n')) + 1;
}

// A kernel body of the data folder.
std::string Body(const std::string& strName)
{
    return ReadFile(std::string(XAN_ENGINE_TEST_DATA_DIR) + "/" + strName);
}

// The four words of work-item i.
std::vector<uint32_t> Item(const SOutputRun& run, uint32_t i)
{
    return std::vector<uint32_t>(run.vWords.begin() + 4 * i, run.vWords.begin() + 4 * i + 4);
}

std::vector<uint32_t> Words(uint32_t a, uint32_t b, uint32_t c, uint32_t d)
{
    return {a, b, c, d};
}
} // namespace

TEST(CILExecutor, UndeclaredLiteralReadsZeroWithAWarning)
{
    const SOutputRun run = RunOutputKernel(OutputKernel("mov r2, l77\n"), 8, 8);
    ASSERT_EQ(LS_Success, run.result.eStatus);
    EXPECT_EQ(Words(0, 0, 0, 0), Item(run, 5));
    ASSERT_EQ(1u, run.vWarnings.size());
    EXPECT_NE(std::string::npos, run.vWarnings[0].find("l77"));
}

TEST(CILExecutor, OutOfBoundsAccessesAreCountedNotFatal)
{
    // A load and a store far behind the output buffer, a private access beyond
    // the declared size, a local one beyond the group's memory, and a misaligned
    // atomic: loads give 0, the rest is dropped.
    const SOutputRun run = RunOutputKernel(OutputKernel(Body("out_of_bounds.il")), 8, 8);
    ASSERT_EQ(LS_Success, run.result.eStatus) << run.result.strMessage;
    EXPECT_EQ(Words(0, 0, 0, 0), Item(run, 2));
    EXPECT_EQ(8u * (4 + 1 + 1), run.result.nOutOfBoundsLoads);
    EXPECT_EQ(8u * (1 + 1 + 1), run.result.nOutOfBoundsStores);
    // The first: work-item 0's load of its first component.
    const SOutOfBoundsAccess& first = run.result.firstOutOfBounds;
    EXPECT_FALSE(first.bStore);
    EXPECT_STREQ("global", first.pSpace);
    EXPECT_EQ(run.nOutAddress + 0x100000, first.nAddress);
    EXPECT_EQ(0u, first.vWorkItem[0]);
}

TEST(CILExecutor, FirstOutOfBoundsAccessIsTheEarliestWhateverTheThreads)
{
    // Work-items from 37 on store 1 MiB behind the buffer, in groups that run on any thread.
    const std::string strText = OutputKernel(Body("stores_from_item_37.il"));
    for (int i = 0; i < 4; ++i)
    {
        const SOutputRun run = RunOutputKernel(strText, 64, 8);
        ASSERT_EQ(LS_Success, run.result.eStatus) << run.result.strMessage;
        EXPECT_EQ(64u - 37u, run.result.nOutOfBoundsStores);
        const SOutOfBoundsAccess& first = run.result.firstOutOfBounds;
        EXPECT_TRUE(first.bStore);
        EXPECT_EQ(LineOf(strText, "uav_raw_store_id(11) mem0.x"), first.nLine);
        EXPECT_EQ(37u, first.vWorkItem[0]);
        EXPECT_EQ(run.nOutAddress + 37 * 4 + 0x100000, first.nAddress);
    }
}

TEST(CILExecutor, LoadOverItsOwnAddressWithSomeLanesOutside)
{
    // Lane i loads the word at out + 4 * i into the register that held the
    // address; lanes 5 to 7 point 1 MiB behind the buffer and read 0.
    const SOutputRun run = RunOutputKernel(OutputKernel(Body("loads_over_own_address.il")), 8, 8);
    ASSERT_EQ(LS_Success, run.result.eStatus) << run.result.strMessage;
    EXPECT_EQ(3u, run.result.nOutOfBoundsLoads);
    EXPECT_EQ(5u, run.result.firstOutOfBounds.vWorkItem[0]);
    for (uint32_t i = 0; i < 8; ++i)
    {
        // The buffer starts filled with 0xCCCCCCCC.
        EXPECT_EQ(i < 5 ? 0xCCCCCCCCu : 0u, Item(run, i)[0]) << i;
    }
}

TEST(CILExecutor, RunawayLoopEndsWithTheBudget)
{
    const std::string strSpin = OutputKernel(Body("runaway_loop.il"));
    const SOutputRun run = RunOutputKernel(
        strSpin, 64, 8, [](SLaunchDesc& desc) { desc.nInstructionBudget = 100000; });
    EXPECT_EQ(LS_InstructionBudgetExceeded, run.result.eStatus);
    EXPECT_NE(std::string::npos, run.result.strMessage.find("100000"));
    EXPECT_GT(run.result.nInstructions, 100000u);
}

TEST(CILExecutor, SameLaunchGivesIdenticalMemoryWithAnyThreadCount)
{
    std::unique_ptr<CILProgram> pProgram = LoadProgram(ExampleKernel("histogram"));
    ASSERT_TRUE(pProgram);
    std::vector<std::vector<uint32_t>> vResults;
    for (uint32_t nThreads : {1u, 1u, 3u, 0u})
    {
        CKernelLaunch launch;
        std::vector<uint32_t> data(4096);
        for (uint32_t i = 0; i < data.size(); ++i)
        {
            data[i] = i * i;
        }
        auto pData = launch.Buffer(data);
        auto pBins = launch.Buffer(std::vector<uint32_t>(64, 0));
        launch.ArgPointer(pData);
        launch.ArgPointer(pBins);
        launch.ArgValue<uint32_t>(4096);
        launch.ArgValue<uint32_t>(64);
        launch.Range(1, {4096}, {32});
        launch.Desc().nThreads = nThreads;
        ASSERT_EQ(LS_Success, launch.Run(*pProgram).eStatus);
        vResults.push_back(CKernelLaunch::Read<uint32_t>(pBins));
    }
    for (const std::vector<uint32_t>& vResult : vResults)
    {
        EXPECT_EQ(vResults[0], vResult);
    }
}

// A group's stores land as the lanes' stores one after the other would leave them, whatever the
// pattern of their addresses: spans side by side (the usual store by work-item), reversed,
// shared, overlapping, and with components left out.
TEST(CILExecutor, StoresLeaveWhatLaneOrderLeavesForEveryAddressPattern)
{
    struct Case
    {
        const char* pName;
        const char* pAddress; // r3.x, the byte offset of lane i (r0.x) in the output buffer
        const char* pDest;
        std::function<uint32_t(uint32_t)> fnOffset;
        uint8_t nMask;
    };
    const uint32_t nItems = 16;
    const Case cases[] = {
        {"side by side", "ishl r3.x, r0.x, l0.x\n", "mem0", [](uint32_t i) { return 16 * i; }, 0xF},
        {"side by side, x and z", "ishl r3.x, r0.x, l0.x\n", "mem0.x_z_",
         [](uint32_t i) { return 16 * i; }, 0x5},
        {"one word each", "ishl r3.x, r0.x, l0.z\n", "mem0.x", [](uint32_t i) { return 4 * i; },
         0x1},
        {"reversed", "inegate r3.x, r0.x\niadd r3.x, r3.x, l2.x\nishl r3.x, r3.x, l0.x\n", "mem0",
         [](uint32_t i) { return 16 * (15 - i); }, 0xF},
        {"two lanes a span", "ushr r3.x, r0.x, l0.y\nishl r3.x, r3.x, l0.x\n", "mem0",
         [](uint32_t i) { return 16 * (i / 2); }, 0xF},
        {"overlapping", "ishl r3.x, r0.x, l0.z\n", "mem0", [](uint32_t i) { return 4 * i; }, 0xF},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.pName);
        // The lanes' own store, then the kernel's store of r2 sent out of bounds.
        const std::string strBody = std::string("dcl_literal l2, 15, 100, 200, 300\n"
                                                "dcl_literal l3, 0x10000, 0, 0, 0\n") +
                                    c.pAddress +
                                    "iadd r3.x, r3.x, cb1[0].x\n"
                                    "iadd r2, r0.xxxx, l2.0yzw\n"
                                    "uav_raw_store_id(11) " +
                                    c.pDest +
                                    ", r3.x, r2\n"
                                    "iadd r0.x, r0.x, l3.x\n";
        const SOutputRun run = RunOutputKernel(OutputKernel(strBody), nItems, nItems);
        ASSERT_EQ(LS_Success, run.result.eStatus) << run.result.strMessage;
        std::vector<uint32_t> vExpected(4 * nItems, 0xCCCCCCCC);
        for (uint32_t i = 0; i < nItems; ++i)
        {
            for (uint32_t k = 0; k < 4; ++k)
            {
                if (((c.nMask >> k) & 1u) != 0)
                {
                    vExpected[c.fnOffset(i) / 4 + k] = i + 100 * k;
                }
            }
        }
        EXPECT_EQ(vExpected, run.vWords);
    }
}

// A kernel that begins by moving zero into its temps, as a patched one does, runs with or
// without those moves to the same memory and is charged for them; a move of anything else
// ends the moves that may be left out.
TEST(CILExecutor, LeadingMovesOfZeroChangeNothingAndAreCharged)
{
    const std::string strPrefix = "dcl_literal l5, 0, 7, 0, 0\n"
                                  "mov r2, l5.x0xx\n"
                                  "mov r3.y, l5.z\n"
                                  "mov r4, l5\n"
                                  "mov r5, l5.xxxx\n";
    const std::string strKernel = OutputKernel("iadd r2, r2, r4\n"
                                               "iadd r2, r2, r3\n"
                                               "iadd r2, r2, r5\n");
    std::string strPrefixed = strKernel;
    strPrefixed.replace(strPrefixed.find("call 1024\n"), 0, strPrefix);
    std::unique_ptr<CILProgram> pProgram = LoadProgram(strPrefixed);
    ASSERT_TRUE(pProgram);
    EXPECT_EQ(2u, pProgram->GetZeroingPrefix());

    const SOutputRun plain = RunOutputKernel(strKernel, 32, 8);
    const SOutputRun prefixed = RunOutputKernel(strPrefixed, 32, 8);
    ASSERT_EQ(LS_Success, prefixed.result.eStatus) << prefixed.result.strMessage;
    EXPECT_EQ(Words(0, 7, 0, 0), Item(prefixed, 3));
    EXPECT_EQ(plain.result.nInstructions + 4 * 4, prefixed.result.nInstructions);

    for (const char* pNotZero : {"mov r2, l5.y\n", "mov r2, -l5.x\n", "mov r2.x, l5.1\n"})
    {
        std::string strText = strKernel;
        strText.replace(strText.find("call 1024\n"), 0,
                        std::string("dcl_literal l5, 0, 7, 0, 0\n") + pNotZero);
        std::unique_ptr<CILProgram> pOther = LoadProgram(strText);
        ASSERT_TRUE(pOther) << pNotZero;
        EXPECT_EQ(0u, pOther->GetZeroingPrefix()) << pNotZero;
    }
}

// Registers a work-item may read before it writes them start at zero in every group, even where
// the group before, on the same thread, left values there: r3 = id + 10 is written after the
// read in each body. Reads that a write in the same block covers need no zeroing.
TEST(CILExecutor, ReadsBeforeWritesSeeZeroInEveryGroup)
{
    struct SCase
    {
        const char* pName;
        std::string strBody;
        std::string strFunctions;
        std::function<uint32_t(uint32_t)> fnExpected;
    };
    const std::vector<SCase> vCases = {
        {"written inside an if, read behind it",
         "ilt r4.x, r0.x, l0.x\n"
         "if_logicalnz r4.x\n"
         "iadd r3.x, r0.x, l1.y\n"
         "endif\n"
         "mov r2.x, r3.x\n",
         "", [](uint32_t i) { return i < 4 ? i + 10 : 0u; }},
        {"read in a loop pass before the pass writes it",
         "mov r5.x, l1.x\n"
         "mov r2.x, l1.x\n"
         "whileloop\n"
         "ige r4.x, r5.x, l0.z\n"
         "break_logicalnz r4.x\n"
         "iadd r2.x, r2.x, r3.x\n"
         "iadd r3.x, r0.x, l1.y\n"
         "iadd r5.x, r5.x, l0.y\n"
         "endloop\n",
         "", [](uint32_t i) { return i + 10; }},
        {"read in the else branch, written in the then branch and behind",
         "and r4.x, r0.x, l0.y\n"
         "if_logicalnz r4.x\n"
         "iadd r3.x, r0.x, l1.y\n"
         "else\n"
         "mov r2.x, r3.x\n"
         "endif\n"
         "iadd r3.x, r0.x, l1.y\n",
         "", [](uint32_t) { return 0u; }},
        {"a case falls through into one that reads",
         "and r4.x, r0.x, l0.y\n"
         "switch r4.x\n"
         "case 0\n"
         "iadd r3.x, r0.x, l1.y\n"
         "case 1\n"
         "mov r2.x, r3.x\n"
         "break\n"
         "endswitch\n"
         "iadd r3.x, r0.x, l1.y\n",
         "", [](uint32_t i) { return i % 2 == 0 ? i + 10 : 0u; }},
        {"a function reads what the caller writes later",
         "call 1025\n"
         "iadd r3.x, r0.x, l1.y\n",
         "func 1025\n"
         "mov r2.x, r3.x\n"
         "ret\n"
         "endfunc\n",
         [](uint32_t) { return 0u; }},
        {"written before the read in the same block",
         "iadd r3.x, r0.x, l1.y\n"
         "ilt r4.x, r0.x, l0.x\n"
         "if_logicalnz r4.x\n"
         "iadd r3.x, r3.x, l1.y\n"
         "endif\n"
         "mov r2.x, r3.x\n",
         "", [](uint32_t i) { return i < 4 ? i + 20 : i + 10; }},
    };
    for (const SCase& c : vCases)
    {
        const SOutputRun run = RunOutputKernel(OutputKernel(c.strBody, c.strFunctions), 32, 8,
                                               [](SLaunchDesc& desc) { desc.nThreads = 1; });
        ASSERT_EQ(LS_Success, run.result.eStatus) << c.pName << ": " << run.result.strMessage;
        for (uint32_t i = 0; i < 32; ++i)
        {
            EXPECT_EQ(Words(c.fnExpected(i), 0, 0, 0), Item(run, i)) << c.pName << ", item " << i;
        }
    }
}
