// The debug loop with the IL debugger behind it, on the scripted device: the front-end's step
// and continue reach the stepping, a continue without breakpoints ends the debugger and runs the
// kernel natively, and commands that aren't understood leave the position where it was.

#include "KernelDebugState.h"
#include "Modules/OpenCLModule.h"
#include "Src/LogTail.h"
#include "support/CorpusKernels.h"
#include "support/ScriptedHost.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <memory>
#include <utility>
#include <vector>

namespace
{
using XAN_Test::CScriptedKernel;

// The native launches of the kernel, with the queue and kernel of the last one.
struct NativeRuns
{
    int nRuns = 0;
    cl_command_queue queue = NULL;
    cl_kernel kernel = NULL;
};
NativeRuns g_Native;

cl_int CL_API_CALL CountNativeRun(cl_command_queue queue, cl_kernel kernel, cl_uint nWorkDim,
                                  const size_t*, const size_t* pGlobal, const size_t*, cl_uint,
                                  const cl_event*, cl_event* pEvent)
{
    ++g_Native.nRuns;
    g_Native.queue = queue;
    g_Native.kernel = kernel;
    EXPECT_EQ(1u, nWorkDim);
    EXPECT_EQ(8u, pGlobal[0]);
    *pEvent = reinterpret_cast<cl_event>(0x30);
    return CL_SUCCESS;
}

cl_int CL_API_CALL WaitForEvents(cl_uint, const cl_event*)
{
    return CL_SUCCESS;
}

cl_int CL_API_CALL ReleaseEvent(cl_event)
{
    return CL_SUCCESS;
}

// What the front-end saw at one callback: the event and the current instruction (none at the
// end, where the position no longer counts).
typedef std::pair<cl_uint, uint32_t> Seen;

class ILDebugLoopTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        g_OpenCLModule.GetTable(&m_SavedTable);
        cl_icd_dispatch fake = m_SavedTable;
        fake.clEnqueueNDRangeKernel = CountNativeRun;
        fake.clWaitForEvents = WaitForEvents;
        fake.clReleaseEvent = ReleaseEvent;
        g_OpenCLModule.SetTable(&fake);
    }
    void TearDown() override { g_OpenCLModule.SetTable(&m_SavedTable); }

    static cl_uint CL_CALLBACK Callback(KernelDebugState* pState, cl_uint debugEvent,
                                        void* pUserData)
    {
        ILDebugLoopTest* pTest = static_cast<ILDebugLoopTest*>(pUserData);
        pTest->m_vSeen.push_back(
            Seen(debugEvent, debugEvent == XANCLDEBUG_EVENT_FINISHED
                                 ? XAN_ShaderDebugger::g_nInvalidInstruction
                                 : pState->m_pHost->GetCurrentInstruction().m_nPos));
        if (debugEvent == XANCLDEBUG_EVENT_STARTED && pTest->m_pBreakAt != nullptr)
        {
            EXPECT_TRUE(pState->m_pHost->AddBreakPoint(pTest->m_pKernel->At(pTest->m_pBreakAt)));
        }
        if (pTest->m_Commands.empty())
        {
            return XANCLDEBUG_COMMAND_CONTINUE;
        }
        const cl_uint command = pTest->m_Commands.front();
        pTest->m_Commands.pop_front();
        return command;
    }

    // One debug run of m_pKernel through DoDebugging, registered as the library registers a
    // launch.
    void DebugRun()
    {
        KernelDebugState state;
        state.m_pHost = &m_pKernel->m_Host;
        state.m_callback = Callback;
        state.m_pUserData = this;
        std::copy(m_pKernel->m_Host.GetWorkSize(), m_pKernel->m_Host.GetWorkSize() + 5,
                  state.m_workSize);
        {
            boost::unique_lock<boost::mutex> lock(g_KernelDebugStatesMutex);
            g_KernelDebugStates.insert(&state);
        }
        EXPECT_TRUE(DoDebugging(&state));
        m_bDebuggingEnded = state.m_bDebuggingEnded;
        boost::unique_lock<boost::mutex> lock(g_KernelDebugStatesMutex);
        g_KernelDebugStates.erase(&state);
        // The kernel owns the host.
        state.m_pHost = NULL;
    }

    cl_icd_dispatch m_SavedTable;
    std::unique_ptr<CScriptedKernel> m_pKernel;
    std::deque<cl_uint> m_Commands;
    const char* m_pBreakAt = nullptr;
    std::vector<Seen> m_vSeen;
    bool m_bDebuggingEnded = false;
};

TEST_F(ILDebugLoopTest, CommandsReachTheSteppingAndContinueEndsNativelyWithoutABreakpoint)
{
    const cl_uint STARTED = XANCLDEBUG_EVENT_STARTED;
    const cl_uint HALTED = XANCLDEBUG_EVENT_HALTED;
    const cl_uint FINISHED = XANCLDEBUG_EVENT_FINISHED;
    const cl_uint STEP = XANCLDEBUG_COMMAND_STEP;
    const cl_uint INVALID = XANCLDEBUG_COMMAND_UNINITIALIZED;
    const char* const pFunc = "func 1024";
    const char* const pFirst = "iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx";
    struct Case
    {
        const char* pCase;
        // Then continue, to the end.
        std::vector<cl_uint> commands;
        const char* pBreakAt;
        // Events with the current instruction's text; none at the end.
        std::vector<std::pair<cl_uint, const char*>> seen;
        int nNativeRuns;
        size_t nInvalid;
        // The application's buffer at the end: a native run is faked, the debugger's end
        // leaves what one run of the scripted kernel leaves.
        std::vector<uint32_t> vArgument;
    };
    const std::vector<uint32_t> vUntouched = {1, 2, 3, 4};
    const Case cases[] = {
        {"continue without a breakpoint",
         {},
         nullptr,
         {{STARTED, pFunc}, {FINISHED, nullptr}},
         1,
         0,
         vUntouched},
        {"a breakpoint keeps the run under the debugger",
         {},
         "ishl r2.x, r0.xxxx, l0.wwww",
         {{STARTED, pFunc}, {HALTED, "ixor r1.x, r1.xxxx, r1.yyyy"}, {FINISHED, nullptr}},
         0,
         0,
         {2, 3, 4, 5}},
        {"invalid commands are asked again",
         {STEP, INVALID, INVALID, 7, STEP},
         nullptr,
         {{STARTED, pFunc},
          {HALTED, pFirst},
          {HALTED, pFirst},
          {HALTED, pFirst},
          {HALTED, pFirst},
          {HALTED, "imul r1.x, r0.xxxx, l0.xxxx"},
          {FINISHED, nullptr}},
         1,
         3,
         vUntouched},
        {"an invalid first command still halts",
         {INVALID, STEP},
         nullptr,
         {{STARTED, pFunc}, {HALTED, pFunc}, {HALTED, pFirst}, {FINISHED, nullptr}},
         1,
         1,
         vUntouched},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.pCase);
        m_pKernel.reset(new CScriptedKernel("straight", XAN_Test::LoadDebugBinary("straight")));
        ASSERT_FALSE(m_pKernel->m_Host.m_vKernelBinary.empty());
        std::vector<Seen> vExpected;
        for (const std::pair<cl_uint, const char*>& seen : c.seen)
        {
            vExpected.push_back(Seen(seen.first, seen.second != nullptr
                                                     ? m_pKernel->At(seen.second)
                                                     : XAN_ShaderDebugger::g_nInvalidInstruction));
        }
        g_Native = NativeRuns();
        m_Commands.assign(c.commands.begin(), c.commands.end());
        m_pBreakAt = c.pBreakAt;
        m_vSeen.clear();
        XAN_Test::CUsageLogTail tail;
        DebugRun();
        EXPECT_EQ(vExpected, m_vSeen);
        EXPECT_EQ(c.nNativeRuns, g_Native.nRuns);
        if (g_Native.nRuns != 0)
        {
            EXPECT_EQ(m_pKernel->m_Host.GetCommandQueue(), g_Native.queue);
            EXPECT_EQ(m_pKernel->m_Host.GetKernel(), g_Native.kernel);
        }
        EXPECT_EQ(c.nNativeRuns == 1, m_bDebuggingEnded);
        EXPECT_EQ(c.nInvalid, tail.Count("CLD_Break( \"Unrecognized debug command\" )"));
        EXPECT_FALSE(m_pKernel->Debugger().IsDebugging());
        EXPECT_EQ(c.vArgument, m_pKernel->m_Host.Argument(0));
        EXPECT_EQ(0u, m_pKernel->m_Host.LiveBuffers());
    }
}
} // namespace
