// The IL debugger on a scripted device: the start of a run, the binding of each execution, the
// results it files, breakpoint snapping, and the application's buffers after the run.

#include "ShaderDebuggerIL/ShaderDebuggerShaderIL.h"
#include "ShaderDebuggerIL/ShaderDebuggerUtilsIL.h"
#include "support/CorpusKernels.h"
#include "support/ScriptedHost.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{
using namespace XAN_ShaderDebugger;
using XAN_Test::Binding;
using XAN_Test::Bytes;
using XAN_Test::CScriptedHost;
using XAN_Test::CScriptedKernel;
using XAN_Test::LoadDebugBinary;

std::unique_ptr<CScriptedKernel> Kernel(const std::string& strName, uint32_t nWidth = 8,
                                        uint32_t nHeight = 0, uint32_t nDepth = 0)
{
    const std::vector<char> vBinary = LoadDebugBinary(strName);
    EXPECT_FALSE(vBinary.empty()) << strName;
    return std::unique_ptr<CScriptedKernel>(
        new CScriptedKernel(strName, vBinary, nWidth, nHeight, nDepth));
}

// All planes of a buffer, as words.
std::vector<uint32_t> Words(const ShaderUtils::SUBuffer* pBuffer)
{
    const uint32_t* pWords = reinterpret_cast<const uint32_t*>(pBuffer->GetSubResource(0));
    return std::vector<uint32_t>(pWords, pWords + pBuffer->GetDataSize() / 4);
}

TEST(ShaderDebuggerILTest, FactoryTypesFourAndFiveGiveTheILDebugger)
{
    for (uint32_t nType : {4u, 5u})
    {
        CScriptedHost host("straight", 4, 0, 0, {}, nType);
        EXPECT_NE(nullptr, dynamic_cast<CShaderDebuggerIL*>(host.Debugger())) << nType;
    }
    CScriptedHost host("straight", 4, 0, 0, {}, 6);
    EXPECT_EQ(nullptr, host.Debugger());
    EXPECT_TRUE(host.Logged("Unknown ShaderDebugger requested."));
}

TEST(ShaderDebuggerILTest, StartBuildsBuffersDumpsCb1InitialisesAndRunsTheFirstPosition)
{
    std::unique_ptr<CScriptedKernel> pKernel = Kernel("straight");
    CShaderDebuggerIL& debugger = pKernel->Debugger();
    EXPECT_EQ(nullptr, debugger.GetExecMaskBuffer());
    ASSERT_TRUE(pKernel->Start());

    // Result, exec mask, working copy, dump buffer; the dump run; then the first position.
    const std::vector<std::string> vExpected = {
        "CreateDeviceBuffer", "CreateDeviceBuffer", "CreateDeviceBuffer", "CreateDeviceBuffer",
        "SetShader",          "CreateDeviceBuffer", "ExecuteShader",      "InitDevice",
        "SetShader",          "CreateDeviceBuffer", "ExecuteShader"};
    EXPECT_EQ(vExpected, pKernel->m_Host.m_vCalls);
    EXPECT_TRUE(debugger.IsDebugging());
    EXPECT_EQ(pKernel->At("func 1024"), pKernel->Position());

    // The dump kernel found cb1's copy where the result buffer goes; it is the "cb1" result.
    const varID cb1 = {0, "cb1"};
    ASSERT_NE(nullptr, debugger.GetGlobalResultsBuffer(cb1));
    EXPECT_EQ(0xCB000000u, Words(debugger.GetGlobalResultsBuffer(cb1))[0]);
    EXPECT_EQ(0xCB000003u, Words(debugger.GetGlobalResultsBuffer(cb1))[3]);
    // The first position has no destination: its mask is filed under a name of its own.
    ASSERT_NE(nullptr, debugger.GetExecMaskBuffer());
    EXPECT_EQ(1u, debugger.GetResults().count(g_szNoDestinationRegister));
    EXPECT_EQ(1u, debugger.GetGlobalResults().count("m0"));
}

TEST(ShaderDebuggerILTest, EachExecutionBindsArgumentsResultMaskAndSelectorBehindTheKernels)
{
    std::unique_ptr<CScriptedKernel> pKernel = Kernel("straight");
    ASSERT_TRUE(pKernel->Start());
    ASSERT_TRUE(pKernel->Debugger().Step());
    const std::vector<Binding>& vBindings = pKernel->m_Host.m_vBindings;

    // Two runs after the dump: each binds four arguments, the dump five (its buffer at n).
    ASSERT_EQ(5u + 4u + 4u, vBindings.size());
    const Binding* pDumpWorkingCopy = &vBindings[0];
    for (size_t nRun = 0; nRun < 3; ++nRun)
    {
        const Binding* pRun = &vBindings[nRun == 0 ? 0 : 1 + 4 * nRun];
        EXPECT_EQ(0u, pRun[0].nIndex);
        EXPECT_EQ(pDumpWorkingCopy->pBuffer, pRun[0].pBuffer) << "the working copy, every run";
        EXPECT_EQ(1u, pRun[1].nIndex);
        EXPECT_EQ(2u, pRun[2].nIndex);
        EXPECT_EQ(3u, pRun[3].nIndex);
        EXPECT_EQ(BT_Value, pRun[3].type);
        EXPECT_EQ(Bytes(4, 0), pRun[3].value);
    }
    EXPECT_EQ(1u, vBindings[4].nIndex) << "the dump buffer replaces the result buffer";
    EXPECT_NE(vBindings[1].pBuffer, vBindings[4].pBuffer);
}

TEST(ShaderDebuggerILTest, EveryExecutionStartsFromTheSnapshotAndTheEndLeavesOneNativeUpdate)
{
    std::unique_ptr<CScriptedKernel> pKernel = Kernel("straight");
    ASSERT_TRUE(pKernel->Start());
    CShaderDebuggerIL& debugger = pKernel->Debugger();
    const std::vector<uint32_t> vNative = {2, 3, 4, 5}; // the double's kernel adds 1 in place
    while (debugger.GetCurrentInstruction().m_nPos < pKernel->At("uav_raw_store_id(11)_a64 "
                                                                 "mem0.x, r2.zwzw, r1.xxxx"))
    {
        ASSERT_TRUE(debugger.Step());
    }
    ASSERT_TRUE(debugger.Step());
    EXPECT_GT(pKernel->m_Host.m_nExecutions, 3u);

    // Read back after the store: once, as a native run leaves it, however often it ran.
    const varID m0 = {0, "m0"};
    EXPECT_EQ(vNative, Words(debugger.GetGlobalResultsBuffer(m0)));
    EXPECT_EQ(std::vector<uint32_t>({1, 2, 3, 4}), pKernel->m_Host.Argument(0));
    debugger.EndDebugging(true);
    EXPECT_EQ(vNative, pKernel->m_Host.Argument(0));
    EXPECT_EQ(0u, pKernel->m_Host.LiveBuffers());
}

TEST(ShaderDebuggerILTest, ResultsAreFiledByRegisterAndTrackedModeDropsOthers)
{
    std::unique_ptr<CScriptedKernel> pKernel = Kernel("straight");
    ASSERT_TRUE(pKernel->Start());
    CShaderDebuggerIL& debugger = pKernel->Debugger();
    ASSERT_TRUE(debugger.Step()); // iadd r0.x
    const uint32_t nIadd = pKernel->At("iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx");
    ASSERT_EQ(nIadd, pKernel->Position());
    CShaderDebuggerResult* pR0 = debugger.GetLastResult();
    ASSERT_NE(nullptr, pR0);
    EXPECT_EQ("r0", pR0->GetName());
    EXPECT_EQ(ProgramCounter(nIadd), pR0->GetLastStep());
    EXPECT_EQ(CScriptedHost::Value(ProgramCounter(nIadd), 0, 5),
              Words(debugger.GetRegisterResultsBuffer({0, ""}))[4 * 5]);
    EXPECT_EQ(pR0->GetResultBuffer(), debugger.GetRegisterResultsBuffer({2, "r0"}));
    EXPECT_EQ(nullptr, debugger.GetRegisterResultsBuffer({1, "r0"}));

    debugger.SetTrackSelectedRegisters(true);
    debugger.SetTrackingRegisters({"r0"});
    const size_t nRuns = pKernel->m_Host.m_nExecutions;
    ASSERT_TRUE(debugger.Step()); // imul r1.x: not tracked, so nothing runs
    EXPECT_EQ(nRuns, pKernel->m_Host.m_nExecutions);
    EXPECT_EQ(pR0, debugger.GetLastResult());
    EXPECT_EQ(0u, debugger.GetResults().count("r1"));

    // A run that delivers a register nobody tracks is dropped.
    Register r1(RegisterID(RT_Temp, 1, 0, nullptr), COMP_x);
    EXPECT_EQ(nullptr, debugger.UpdateResults(ProgramCounter(9), r1,
                                              new CShaderDebuggerBuffer(&pKernel->m_Host),
                                              new CShaderDebuggerBuffer(&pKernel->m_Host)));
    EXPECT_EQ(pR0, debugger.GetLastResult());
}

// A register written again is read back into the buffers its result holds: in place while every
// work-item ran, merged into the held values while some didn't. Either way the values are those
// of the last run for the active work-items and of the run before for the others.
TEST(ShaderDebuggerILTest, ARegisterWrittenAgainIsReadIntoTheBuffersItHolds)
{
    std::unique_ptr<CScriptedKernel> pKernel = Kernel("straight");
    ASSERT_TRUE(pKernel->Start());
    CShaderDebuggerIL& debugger = pKernel->Debugger();
    ASSERT_TRUE(debugger.Step()); // iadd r0.x
    ASSERT_TRUE(debugger.Step()); // imul r1.x
    CShaderDebuggerResult* pR1 = debugger.GetLastResult();
    ASSERT_NE(nullptr, pR1);
    ASSERT_EQ("r1", pR1->GetName());
    const CShaderDebuggerBuffer* pValues = pR1->GetResultBuffer();
    const CShaderDebuggerBuffer* pMask = pR1->GetExecMaskBuffer();

    struct Case
    {
        const char* pInstruction;
        uint32_t nActive;
    };
    const Case cases[] = {
        {"iadd r1.x, r1.xxxx, l0.yyyy", 8},
        {"ushr r1.y, r0.xxxx, l0.zzzz", 3},
        {"ixor r1.x, r1.xxxx, r1.yyyy", 0},
    };
    std::vector<ProgramCounter> vWritten(8, debugger.GetCurrentInstruction());
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.pInstruction);
        pKernel->m_Host.m_Active = [&c](const ProgramCounter&, uint32_t) { return c.nActive; };
        ASSERT_TRUE(debugger.Step());
        const ProgramCounter pc = debugger.GetCurrentInstruction();
        ASSERT_EQ(pKernel->At(c.pInstruction), pc.m_nPos);
        EXPECT_EQ(pR1, debugger.GetLastResult());
        EXPECT_EQ(pValues, pR1->GetResultBuffer());
        EXPECT_EQ(pMask, pR1->GetExecMaskBuffer());
        const std::vector<uint32_t> vWords = Words(pR1->GetResultBuffer());
        for (uint32_t nItem = 0; nItem < 8; ++nItem)
        {
            if (nItem < c.nActive)
            {
                vWritten[nItem] = pc;
            }
            EXPECT_EQ(CScriptedHost::Value(vWritten[nItem], 0, nItem) + 1, vWords[4 * nItem + 1])
                << nItem;
            EXPECT_EQ(nItem < c.nActive ? 1u : 0u, Words(pMask)[nItem]) << nItem;
        }
    }
}

TEST(ShaderDebuggerILTest, PrivateStoreAcrossASixteenByteBoundaryIsReportedAndDropped)
{
    std::unique_ptr<CScriptedKernel> pKernel = Kernel("straight");
    ASSERT_TRUE(pKernel->Start());
    CShaderDebuggerIL& debugger = pKernel->Debugger();
    CShaderDebuggerResult* pLast = debugger.GetLastResult();
    Register store(RegisterID(RT_PrivateUAVAccess, 8, 8, nullptr), COMP_All);
    EXPECT_EQ(nullptr, debugger.UpdateResults(ProgramCounter(9), store,
                                              new CShaderDebuggerBuffer(&pKernel->m_Host),
                                              new CShaderDebuggerBuffer(&pKernel->m_Host)));
    EXPECT_TRUE(pKernel->m_Host.Logged("No support for writes across 16 byte private UAV "
                                       "boundaries"));
    EXPECT_EQ(pLast, debugger.GetLastResult());
}

TEST(ShaderDebuggerILTest, BreakpointsSnapToLinesWithInstructions)
{
    std::unique_ptr<CScriptedKernel> pKernel = Kernel("straight");
    ASSERT_TRUE(pKernel->Start());
    CShaderDebuggerIL& debugger = pKernel->Debugger();
    CShaderDebuggerShaderIL& shader = pKernel->Shader();
    const uint32_t nImul =
        shader.GetLineFromInstruction(pKernel->At("imul r1.x, r0.xxxx, l0.xxxx"));
    const uint32_t nComment = shader.GetLineFromInstruction(pKernel->At("func 1024")) + 1;
    const uint32_t nAfterComment = shader.FindLineNear(nComment, 0xFFFFFFFF);
    ASSERT_EQ(g_nInvalidInstruction, shader.GetInstructionFromLine(nComment));

    uint32_t nActual = 0;
    EXPECT_FALSE(debugger.AddBreakPointAtLineNumber(nComment, 0, &nActual));
    EXPECT_EQ(0xFFFFFFFFu, nActual);
    EXPECT_TRUE(debugger.AddBreakPointAtLineNumber(nComment, 0xFFFFFFFF, &nActual));
    EXPECT_EQ(nAfterComment, nActual);
    EXPECT_TRUE(debugger.IsBreakPointAtLineNumber(nAfterComment));
    EXPECT_FALSE(debugger.RemoveBreakPointAtLineNumber(nComment));

    // A toggle with a search removes the breakpoint behind a blank line, but never sets one.
    EXPECT_FALSE(debugger.ToggleBreakPointAtLineNumber(nComment, false));
    EXPECT_TRUE(debugger.ToggleBreakPointAtLineNumber(nComment, true));
    EXPECT_FALSE(debugger.IsBreakPointAtLineNumber(nAfterComment));
    EXPECT_FALSE(debugger.ToggleBreakPointAtLineNumber(nComment, true));
    EXPECT_TRUE(debugger.ToggleBreakPointAtLineNumber(nImul, false));
    EXPECT_TRUE(debugger.IsBreakPoint(pKernel->At("imul r1.x, r0.xxxx, l0.xxxx")));
    std::set<uint32_t> instructions;
    EXPECT_EQ(1u, debugger.GetAllBreakpointInstructions(&instructions));
    EXPECT_EQ(std::set<uint32_t>({pKernel->At("imul r1.x, r0.xxxx, l0.xxxx")}), instructions);
}

TEST(ShaderDebuggerILTest, LaunchesOfTwoAndThreeDimensionsCountAndMergePerPlane)
{
    struct Case
    {
        uint32_t nWidth, nHeight, nDepth;
    };
    for (const Case& c : {Case{4, 2, 0}, Case{2, 2, 2}})
    {
        std::unique_ptr<CScriptedKernel> pKernel =
            Kernel("straight", c.nWidth, c.nHeight, c.nDepth);
        ASSERT_TRUE(pKernel->Start());
        CShaderDebuggerIL& debugger = pKernel->Debugger();
        ASSERT_TRUE(debugger.Step()); // iadd r0.x
        ASSERT_TRUE(debugger.Step()); // imul r1.x, all eight active
        const ProgramCounter imul = debugger.GetCurrentInstruction();
        // The next write of r1 reaches five work-items, the last of them in the second plane of
        // the three-dimensional launch.
        pKernel->m_Host.m_Active = [](const ProgramCounter&, uint32_t) { return 5u; };
        ASSERT_TRUE(debugger.Step()); // iadd r1.x
        const ProgramCounter iadd = debugger.GetCurrentInstruction();
        EXPECT_EQ(5u, pKernel->Shader().GetExecMaskHistory().at(iadd)) << c.nDepth;

        const ShaderUtils::SUBuffer* pR1 = debugger.GetRegisterResultsBuffer({2, "r1"});
        ASSERT_NE(nullptr, pR1);
        EXPECT_EQ(std::max(c.nDepth, 1u), pR1->GetSubResourceCount());
        const std::vector<uint32_t> vWords = Words(pR1);
        for (uint32_t nItem = 0; nItem < 8; ++nItem)
        {
            EXPECT_EQ(CScriptedHost::Value(nItem < 5 ? iadd : imul, 0, nItem), vWords[4 * nItem])
                << c.nDepth << " item " << nItem;
        }
    }
}

TEST(ShaderDebuggerILTest, AKernelRefusedAfterItsBuffersExistLeavesNothingAllocated)
{
    std::unique_ptr<CScriptedKernel> pKernel = Kernel("atomic");
    EXPECT_FALSE(pKernel->Start());
    EXPECT_EQ("CreateDeviceBuffer", pKernel->m_Host.m_vCalls.at(0));
    EXPECT_EQ(nullptr, pKernel->Debugger().GetCurrentShader());
    EXPECT_FALSE(pKernel->Debugger().IsDebugging());
    EXPECT_EQ(0u, pKernel->m_Host.LiveBuffers());
    EXPECT_TRUE(pKernel->Debugger().GetGlobalResults().empty());
}
} // namespace
