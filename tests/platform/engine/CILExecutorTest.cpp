// Semantics of single instructions and of flow control, each checked through a
// small kernel whose work-items write r80 to four words of an output buffer.
#include "EngineTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace XAN_Platform;
using namespace XAN_Test;

namespace
{
struct SRun
{
    SLaunchResult result;
    std::vector<uint32_t> vWords; // four per work-item
    std::vector<std::string> vWarnings;
};

// Wraps strBody into a kernel: r90.x is the work-item's index, r80 its output.
// strFunctions follow the kernel's function, strMacros lead the program.
std::string Kernel(const std::string& strBody, const std::string& strFunctions = "",
                   const std::string& strMacros = "")
{
    return strMacros +
           "il_cs_2_0\n"
           "dcl_cb cb0[16]\n"
           "call 1024\n"
           "endmain\n"
           "func 1024\n"
           "dcl_raw_uav_id(11)\n"
           "dcl_literal l90, 0x00000004, 0x00000001, 0x00000000, 0x00000000\n"
           "mov r90.x, vAbsTid0.x\n" +
           strBody +
           "ishl r91.x, r90.x, l90.x\n"
           "iadd r91.x, r91.x, cb1[0].x\n"
           "uav_raw_store_id(11) mem0, r91.x, r80\n"
           "ret\n"
           "endfunc\n" +
           strFunctions + "end\n";
}

// Runs a kernel over nItems work-items in groups of nLocal; cb1 row 0 is the
// output buffer, the rows of vRows follow.
SRun RunKernel(const std::string& strText, uint32_t nItems = 8, uint32_t nLocal = 8,
               const std::vector<uint32_t>& vRows = {}, uint64_t nBudget = 1u << 20)
{
    SRun run;
    std::string strError;
    std::unique_ptr<CILProgram> pProgram = LoadProgram(strText, strError);
    EXPECT_TRUE(pProgram) << strError;
    if (!pProgram)
    {
        run.result.eStatus = LS_InvalidGeometry;
        return run;
    }
    run.vWarnings = pProgram->GetWarnings();
    CKernelLaunch launch(false);
    auto pOut = launch.Buffer(std::vector<uint32_t>(4 * nItems, 0xCCCCCCCC));
    launch.ArgPointer(pOut);
    launch.Desc().vConstantBuffer1.insert(launch.Desc().vConstantBuffer1.end(), vRows.begin(),
                                          vRows.end());
    launch.Desc().nInstructionBudget = nBudget;
    launch.Range(1, {nItems}, {nLocal});
    run.result = launch.Run(*pProgram);
    run.vWords = CKernelLaunch::Read<uint32_t>(pOut);
    return run;
}

uint32_t Bits(float f)
{
    uint32_t n;
    std::memcpy(&n, &f, 4);
    return n;
}

// The four words of work-item i.
std::vector<uint32_t> Item(const SRun& run, uint32_t i)
{
    return std::vector<uint32_t>(run.vWords.begin() + 4 * i, run.vWords.begin() + 4 * i + 4);
}

std::vector<uint32_t> Words(uint32_t a, uint32_t b, uint32_t c, uint32_t d)
{
    return {a, b, c, d};
}
} // namespace

TEST(CILExecutor, SwizzlesMasksAndSourceModifiers)
{
    const SRun run =
        RunKernel(Kernel("dcl_literal l1, 0x3FC00000, 0xC0000000, 0x40400000, 0x00000007\n"
                         "mov r80, l1.wzyx\n"
                         "mov r80.y, l1.0\n"
                         "mov r80.z, l1.1\n"
                         // swap through one instruction: the sources are read first
                         "mov r81, l1\n"
                         "mov r81, r81.yxwz\n"
                         "add r80.x, r81.x, -r81.y\n"
                         "add r82.x, l1.y_abs, l1.x_neg(x)\n"
                         "mov r80.w, r82.x\n"
                         "iadd r83.x, l1.w, -l1.w\n"
                         "iadd r83.x, r83.x, l1.w_neg(x)\n"
                         "mov r80.y, r83.x\n"));
    ASSERT_EQ(LS_Success, run.result.eStatus) << run.result.strMessage;
    // x: -2 - 1.5; y: 0 - 7 (integer negate); z: 1.0; w: |-2| + -1.5
    EXPECT_EQ(Words(Bits(-3.5f), uint32_t(-7), Bits(1.0f), Bits(0.5f)), Item(run, 3));
}

TEST(CILExecutor, IntegerEdgeCases)
{
    const SRun run =
        RunKernel(Kernel("dcl_literal l1, 0x80000000, 0xFFFFFFFF, 0x00000000, 0x00000021\n"
                         "idiv r80.x, l1.x, l1.y\n"      // INT_MIN / -1 wraps
                         "udiv r80.y, l1.y, l1.z\n"      // / 0
                         "imod r80.z, l1.x, l1.y\n"      // INT_MIN % -1
                         "ishr r80.w, l1.x, l1.w\n"      // arithmetic, count & 31 = 1
                         "ushr r81.x, l1.x, l1.w\n"      // logical
                         "imul_high r81.y, l1.x, l1.x\n" // (-2^31)^2 >> 32
                         "umul_high r81.z, l1.y, l1.y\n" // (2^32-1)^2 >> 32
                         "imod r81.w, l1.y, l1.z\n"      // % 0
                         "mov r82, r80\n"
                         "mov r80, r81\n"
                         "iadd r80.x, r80.x, r82.x\n"    // 0x40000000 + 0x80000000
                         "ixor r80.y, r80.y, r82.y\n"    // 0x40000000 ^ 0xFFFFFFFF
                         "iadd r80.z, r80.z, r82.z\n"    // 0xFFFFFFFE + 0
                         "iadd r80.w, r80.w, r82.w\n")); // 0xFFFFFFFF + 0xC0000000
    ASSERT_EQ(LS_Success, run.result.eStatus) << run.result.strMessage;
    EXPECT_EQ(Words(0xC0000000u, 0xBFFFFFFFu, 0xFFFFFFFEu, 0xBFFFFFFFu), Item(run, 0));
}

TEST(CILExecutor, UnsignedDivisionByLiteralsAndRegisters)
{
    // A literal power of two takes the shift-and-mask path, the others divide.
    const SRun run =
        RunKernel(Kernel("dcl_literal l1, 0x00000008, 0x00000006, 0x00000025, 0x00000000\n"
                         "imad r81.x, r90.x, l1.z, l1.y\n"
                         "mov r82.x, l1.x\n"
                         "udiv r80.x, r81.x, l1.x\n"
                         "umod r80.y, r81.x, l1.xxxx\n"
                         "udiv r80.z, r81.x, l1.y\n"
                         "umod r80.w, r81.x, r82.x\n"));
    ASSERT_EQ(LS_Success, run.result.eStatus) << run.result.strMessage;
    for (uint32_t i = 0; i < 8; ++i)
    {
        const uint32_t n = i * 37 + 6;
        EXPECT_EQ(Words(n / 8, n % 8, n / 6, n % 8), Item(run, i)) << i;
    }
}

TEST(CILExecutor, BitFieldsAndConversions)
{
    const SRun run =
        RunKernel(Kernel("dcl_literal l1, 0x00000008, 0x00000004, 0xABCDEF12, 0x0000F000\n"
                         "dcl_literal l2, 0x7FC00000, 0x4F800000, 0xC2F60000, 0x3F800001\n"
                         "ubit_extract r80.x, l1.x, l1.y, l1.z\n" // bits 4..11 of 0xABCDEF12
                         "ibit_extract r80.y, l1.y, l1.x, l1.z\n" // bits 8..11, sign-extended
                         "bfi r80.z, l1.w, l1.z, l1.x\n"
                         "icbits r80.w, l1.z\n"
                         "ftoi r81.x, l2.x\n"  // NaN
                         "ftou r81.y, l2.y\n"  // 2^32 saturates
                         "ftoi r81.z, l2.z\n"  // -123 truncates
                         "f2f16 r81.w, l2.w\n" // rounds to 1.0
                         "f162f r81.w, r81.w\n"
                         "iadd r80.x, r80.x, r81.x\n"
                         "ixor r80.y, r80.y, r81.y\n"
                         "iadd r80.z, r80.z, r81.z\n"
                         "ffb r82.x, l1.w\n"            // lowest set bit: 12
                         "ffb_control(1) r82.y, l1.w\n" // from bit 31: 16
                         "imad r80.w, r82.x, r82.y, r80.w\n"),
                  1, 1);
    ASSERT_EQ(LS_Success, run.result.eStatus) << run.result.strMessage;
    const std::vector<uint32_t> v = Item(run, 0);
    EXPECT_EQ(0xF1u + 0u, v[0]);
    EXPECT_EQ(0xFFFFFFFFu ^ 0xFFFFFFFFu, v[1]); // 0xF sign-extends to all ones
    EXPECT_EQ(((0xF000u & 0xABCDEF12u) | (~0xF000u & 8u)) + uint32_t(-123), v[2]);
    EXPECT_EQ(12u * 16u + uint32_t(__builtin_popcount(0xABCDEF12u)), v[3]);
}

TEST(CILExecutor, HalfConversionRoundsToNearestEven)
{
    const SRun run =
        RunKernel(Kernel("dcl_literal l1, 0x3F800001, 0x33000000, 0x477FF000, 0x38800000\n"
                         "f2f16 r81, l1\n"
                         "f162f r80, r81\n"),
                  1, 1);
    ASSERT_EQ(LS_Success, run.result.eStatus) << run.result.strMessage;
    // 1 + 2^-23 rounds to 1; 2^-25 to 0 (half of the smallest subnormal, even);
    // 65520 overflows to infinity; 2^-14 is the smallest normal half.
    EXPECT_EQ(
        Words(Bits(1.0f), 0u, Bits(std::numeric_limits<float>::infinity()), Bits(6.103515625e-05f)),
        Item(run, 0));
}

TEST(CILExecutor, NestedCallsWithEarlyAndConditionalReturns)
{
    // 1025 returns early for odd items; 1026 is called only for items > 3 and
    // returns at once for item 6; callers go on behind their calls.
    const SRun run =
        RunKernel(Kernel("dcl_literal l1, 0x00000001, 0x00000003, 0x00000006, 0x0000000A\n"
                         "mov r80, l90.z\n"
                         "call 1025\n"
                         "iadd r80.w, r80.w, l1.w\n"
                         "ult r85.x, l1.y, r90.x\n"
                         "call_logicalnz r85.x, 1026\n"
                         "iadd r80.w, r80.w, l1.x\n",
                         "func 1025\n"
                         "and r84.x, r90.x, l1.x\n"
                         "if_logicalnz r84.x\n"
                         "mov r80.x, l1.x\n"
                         "ret_dyn\n"
                         "endif\n"
                         "mov r80.y, l1.x\n"
                         "call 1026\n"
                         "ret\n"
                         "endfunc\n"
                         "func 1026\n"
                         "ieq r86.x, r90.x, l1.z\n"
                         "ret_logicalnz r86.x\n"
                         "iadd r80.z, r80.z, l1.x\n"
                         "endfunc\n"));
    ASSERT_EQ(LS_Success, run.result.eStatus) << run.result.strMessage;
    for (uint32_t i = 0; i < 8; ++i)
    {
        const bool bOdd = (i & 1) != 0;
        const uint32_t nInner = (!bOdd && i != 6 ? 1u : 0u) + (i > 3 && i != 6 ? 1u : 0u);
        EXPECT_EQ(Words(bOdd ? 1u : 0u, bOdd ? 0u : 1u, nInner, 11u), Item(run, i)) << i;
    }
}

TEST(CILExecutor, MacrosWithInputsOutputAndReturn)
{
    // Macro 1 returns in0 + in1, or in0 alone when in1 is 0 (by ret); macro 2
    // has no output and calls macro 1. Temps are shared with the caller.
    const std::string strMacros = "mdef(1)_out(1)_in(2)\n"
                                  ";add_unless_zero\n"
                                  "mov out0, in0\n"
                                  "ieq r87.x, in1.x, l90.z\n"
                                  "ret_logicalnz r87.x\n"
                                  "iadd out0, in0, in1\n"
                                  "mend\n"
                                  "mdef(2)_out(0)_in(1)\n"
                                  "mcall(1) (r88), (in0, in0)\n"
                                  "mov r80.w, r88.x\n"
                                  "mend\n";
    const SRun run = RunKernel(Kernel("mov r80, l90.z\n"
                                      "mcall(1) (r80.x), (r90.x, l90.y)\n"
                                      "mcall(1) (r80.y), (r90.x, l90.z)\n"
                                      "mcall(2) (), (r90.x)\n",
                                      "", strMacros));
    ASSERT_EQ(LS_Success, run.result.eStatus) << run.result.strMessage;
    for (uint32_t i = 0; i < 8; ++i)
    {
        EXPECT_EQ(Words(i + 1, i, 0, i == 0 ? 0 : 2 * i), Item(run, i)) << i;
    }
}

TEST(CILExecutor, ConditionsOnFloatsAndRelations)
{
    // Items 0..7 as floats: ifnz takes all but 0; ifc_relop(ge) 4.0 takes 4..7;
    // breakc leaves a counting loop at 3; continuec skips counting below 2.
    const SRun run =
        RunKernel(Kernel("dcl_literal l1, 0x40800000, 0x40400000, 0x40000000, 0x3F800000\n"
                         "itof r81.x, r90.x\n"
                         "mov r80, l90.z\n"
                         "ifnz r81.x\n"
                         "mov r80.x, l90.y\n"
                         "else\n"
                         "mov r80.x, l90.x\n"
                         "endif\n"
                         "ifc_relop(ge) r81.x, l1.x\n"
                         "mov r80.y, l90.y\n"
                         "endif\n"
                         "mov r82.x, l90.z\n"
                         "whileloop\n"
                         "breakc_relop(eq) r82.x, l1.y\n"
                         "add r82.x, r82.x, l1.w\n"
                         "continuec_relop(lt) r82.x, l1.z\n"
                         "iadd r80.z, r80.z, l90.y\n"
                         "endloop\n"
                         "ftoi r80.w, r82.x\n"));
    ASSERT_EQ(LS_Success, run.result.eStatus) << run.result.strMessage;
    for (uint32_t i = 0; i < 8; ++i)
    {
        EXPECT_EQ(Words(i == 0 ? 4u : 1u, i >= 4 ? 1u : 0u, 2u, 3u), Item(run, i)) << i;
    }
}

TEST(CILExecutor, SwitchWithoutDefaultAndWithDefaultFirst)
{
    const SRun run =
        RunKernel(Kernel("dcl_literal l1, 0x00000003, 0x00000005, 0x00000000, 0x00000000\n"
                         "mov r80, l90.z\n"
                         "umod r81.x, r90.x, l1.x\n"
                         "switch r81.x\n"
                         "case 1\n"
                         "mov r80.x, l1.y\n"
                         "break\n"
                         "case 2\n"
                         "mov r80.x, l1.x\n"
                         "endswitch\n"
                         "switch r90.x\n"
                         "default\n"
                         "iadd r80.y, r80.y, l90.y\n"
                         "case 2\n"
                         "iadd r80.y, r80.y, l90.x\n"
                         "break\n"
                         "case 5\n"
                         "mov r80.y, l1.x\n"
                         "endswitch\n"));
    ASSERT_EQ(LS_Success, run.result.eStatus) << run.result.strMessage;
    for (uint32_t i = 0; i < 8; ++i)
    {
        const uint32_t x = i % 3 == 1 ? 5u : i % 3 == 2 ? 3u : 0u;
        const uint32_t y = i == 2 ? 4u : i == 5 ? 3u : 5u;
        EXPECT_EQ(Words(x, y, 0, 0), Item(run, i)) << i;
    }
}

TEST(CILExecutor, IndexedTempsAndConstantsOutOfRange)
{
    // x2[4]: an index of 4 and beyond reads 0 and a write there is dropped; a
    // row of cb1 beyond the rows given reads 0.
    const SRun run = RunKernel(Kernel("dcl_indexed_temp_array x2[4]\n"
                                      "mov x2[0], l90.yyyy\n"
                                      "mov x2[r90.x].x, r90.x\n"
                                      "mov x2[r90.x+1].y, l90.x\n"
                                      "iadd r81.x, r90.x, l90.y\n"
                                      "iadd r81.y, r90.x, l90.x\n"
                                      "mov r80.x, x2[r81.x+3].x\n"
                                      "mov r80.y, x2[r90.x+1].y\n"
                                      "mov r80.z, cb1[r90.x+1].x\n"
                                      "mov r80.w, x2[r81.y].x\n"),
                               8, 8, {100, 0, 0, 0, 101, 0, 0, 0, 102, 0, 0, 0});
    ASSERT_EQ(LS_Success, run.result.eStatus) << run.result.strMessage;
    for (uint32_t i = 0; i < 8; ++i)
    {
        EXPECT_EQ(Words(0, i + 1 < 4 ? 4u : 0u, i < 3 ? 100 + i : 0, 0), Item(run, i)) << i;
    }
}

TEST(CILExecutor, RegistersStartAtZeroInEveryGroup)
{
    // r85 is read before it is written; the group before left 1s in it.
    const SRun run = RunKernel(Kernel("dcl_indexed_temp_array x3[2]\n"
                                      "mov r80, r85\n"
                                      "mov r80.w, x3[1].x\n"
                                      "mov r85, l90.yyyy\n"
                                      "mov x3[1], l90.yyyy\n"),
                               16, 4);
    ASSERT_EQ(LS_Success, run.result.eStatus) << run.result.strMessage;
    EXPECT_EQ(std::vector<uint32_t>(64, 0), run.vWords);
}

TEST(CILExecutor, UndeclaredLiteralReadsZeroWithAWarning)
{
    const SRun run = RunKernel(Kernel("mov r80, l77\n"));
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
    const SRun run =
        RunKernel(Kernel("dcl_typeless_uav_id(8)_type(3)_stride(4)_length(16)\n"
                         "dcl_literal l1, 0x00100000, 0x00000010, 0x00000002, 0x00000000\n"
                         "iadd r81.x, cb1[0].x, l1.x\n"
                         "uav_raw_load_id(11) r80, r81.x\n"
                         "uav_raw_store_id(11) mem0.x, r81.x, l1.y\n"
                         "uav_raw_store_id(8) mem0.x, l1.y, l1.y\n"
                         "uav_raw_load_id(8) r82.x, l1.y\n"
                         "lds_load_id(1) r82.y, l1.x\n"
                         "iadd r81.y, cb1[0].x, l1.z\n"
                         "uav_add_id(11) r81.y, l1.y\n"
                         "iadd r80.w, r82.x, r82.y\n"));
    ASSERT_EQ(LS_Success, run.result.eStatus) << run.result.strMessage;
    EXPECT_EQ(Words(0, 0, 0, 0), Item(run, 2));
    EXPECT_EQ(8u * (4 + 1 + 1), run.result.nOutOfBoundsLoads);
    EXPECT_EQ(8u * (1 + 1 + 1), run.result.nOutOfBoundsStores);
}

TEST(CILExecutor, LoadOverItsOwnAddressWithSomeLanesOutside)
{
    // Lane i loads the word at out + 4 * i into the register that held the
    // address; lanes 5 to 7 point 1 MiB behind the buffer and read 0.
    const SRun run =
        RunKernel(Kernel("dcl_literal l1, 0x00000002, 0x00000005, 0x00100000, 0x00000000\n"
                         "ishl r81.x, r90.x, l1.x\n"
                         "iadd r81.x, r81.x, cb1[0].x\n"
                         "uge r82.x, r90.x, l1.y\n"
                         "and r82.x, r82.x, l1.z\n"
                         "iadd r81.x, r81.x, r82.x\n"
                         "uav_raw_load_id(11) r81.x, r81.x\n"
                         "mov r80, r81.xxxx\n"));
    ASSERT_EQ(LS_Success, run.result.eStatus) << run.result.strMessage;
    EXPECT_EQ(3u, run.result.nOutOfBoundsLoads);
    for (uint32_t i = 0; i < 8; ++i)
    {
        // The buffer starts filled with 0xCCCCCCCC.
        EXPECT_EQ(i < 5 ? 0xCCCCCCCCu : 0u, Item(run, i)[0]) << i;
    }
}

TEST(CILExecutor, RunawayLoopEndsWithTheBudget)
{
    const std::string strSpin = Kernel("mov r80, l90.z\n"
                                       "whileloop\n"
                                       "iadd r80.x, r80.x, l90.y\n"
                                       "continue\n"
                                       "endloop\n");
    const SRun run = RunKernel(strSpin, 64, 8, {}, 100000);
    EXPECT_EQ(LS_InstructionBudgetExceeded, run.result.eStatus);
    EXPECT_NE(std::string::npos, run.result.strMessage.find("100000"));
    EXPECT_GT(run.result.nInstructions, 100000u);
}

TEST(CILExecutor, BarrierWithWorkItemsThatLeftTheLoop)
{
    // Each item loops i + 1 times with a barrier in the loop; items leave one by
    // one, and those still looping go on past the barrier.
    const SRun run = RunKernel(Kernel("mov r80, l90.z\n"
                                      "whileloop\n"
                                      "ult r81.x, r90.x, r80.x\n"
                                      "break_logicalnz r81.x\n"
                                      "fence_threads_lds\n"
                                      "iadd r80.x, r80.x, l90.y\n"
                                      "endloop\n"));
    ASSERT_EQ(LS_Success, run.result.eStatus);
    for (uint32_t i = 0; i < 8; ++i)
    {
        EXPECT_EQ(i + 1, Item(run, i)[0]);
    }
}

TEST(CILExecutor, SameLaunchGivesIdenticalMemoryWithAnyThreadCount)
{
    const std::string strText = ExampleKernel("histogram");
    std::string strError;
    std::unique_ptr<CILProgram> pProgram = LoadProgram(strText, strError);
    ASSERT_TRUE(pProgram) << strError;
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
