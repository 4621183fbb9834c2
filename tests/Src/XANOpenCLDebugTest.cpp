// The library's own header of this name, not the public one.
#include "KernelDebugState.h"

#include "Modules/OpenCLModule.h"
#include "Src/FakeShaderDebugger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <deque>
#include <functional>
#include <future>
#include <thread>

using XAN_Test::CFakeDebugger;
using XAN_Test::CFakeHostCL;
using XAN_Test::CUsageLogTail;
using XAN_Test::Journal;
using XAN_Test::PointerText;

namespace
{
cl_kernel const KERNEL = reinterpret_cast<cl_kernel>(0x10);
cl_command_queue const QUEUE = reinterpret_cast<cl_command_queue>(0x20);
cl_event const EVENT = reinterpret_cast<cl_event>(0x30);

// What the fake OpenCL functions saw, and what they answer.
struct FakeOpenCL
{
    int nEnqueues = 0;
    int nWaits = 0;
    int nReleases = 0;
    cl_command_queue queue = NULL;
    cl_kernel kernel = NULL;
    cl_uint nWorkDim = 0;
    size_t nGlobal0 = 0;
    const size_t* pLocal = NULL;
    cl_int enqueueResult = CL_SUCCESS;
    cl_int waitResult = CL_SUCCESS;
    cl_int releaseResult = CL_SUCCESS;
};
FakeOpenCL g_Fake;

cl_int CL_API_CALL FakeEnqueueNDRangeKernel(cl_command_queue queue, cl_kernel kernel,
                                            cl_uint nWorkDim, const size_t*, const size_t* pGlobal,
                                            const size_t* pLocal, cl_uint, const cl_event*,
                                            cl_event* pEvent)
{
    ++g_Fake.nEnqueues;
    g_Fake.queue = queue;
    g_Fake.kernel = kernel;
    g_Fake.nWorkDim = nWorkDim;
    g_Fake.nGlobal0 = pGlobal[0];
    g_Fake.pLocal = pLocal;
    if (g_Fake.enqueueResult == CL_SUCCESS)
    {
        *pEvent = EVENT;
    }
    return g_Fake.enqueueResult;
}

cl_int CL_API_CALL FakeWaitForEvents(cl_uint nEvents, const cl_event* pEvents)
{
    ++g_Fake.nWaits;
    EXPECT_EQ(1u, nEvents);
    EXPECT_EQ(EVENT, pEvents[0]);
    return g_Fake.waitResult;
}

cl_int CL_API_CALL FakeReleaseEvent(cl_event event)
{
    ++g_Fake.nReleases;
    EXPECT_EQ(EVENT, event);
    return g_Fake.releaseResult;
}

cl_int CL_API_CALL FakeFinish(cl_command_queue)
{
    return CL_SUCCESS;
}

class DebugLoopTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        g_Fake = FakeOpenCL();
        g_OpenCLModule.GetTable(&m_SavedTable);
        cl_icd_dispatch fake = m_SavedTable;
        fake.clEnqueueNDRangeKernel = FakeEnqueueNDRangeKernel;
        fake.clWaitForEvents = FakeWaitForEvents;
        fake.clReleaseEvent = FakeReleaseEvent;
        g_OpenCLModule.SetTable(&fake);
    }

    void TearDown() override
    {
        g_OpenCLModule.SetTable(&m_SavedTable);
        boost::unique_lock<boost::mutex> lock(g_KernelDebugStatesMutex);
        for (KernelDebugState* pState : m_vStates)
        {
            g_KernelDebugStates.erase(pState);
            delete pState;
        }
    }

    // A registered state with a fake host and debugger, a binary of 3 bytes and a launch of 64
    // work-items in one dimension.
    KernelDebugState* MakeState(cl_kernel kernel = KERNEL, cl_command_queue queue = QUEUE)
    {
        KernelDebugState* pState = new KernelDebugState();
        m_vStates.push_back(pState);
        m_pHost = new CFakeHostCL(kernel, queue, &m_Journal);
        m_pDebugger = new CFakeDebugger(&m_Journal);
        m_pHost->RegisterDebugger(m_pDebugger);
        m_pHost->m_vBinary = {1, 2, 3};
        const size_t global[1] = {64};
        m_pHost->SetEnqueueData(1, NULL, global, NULL);
        pState->m_pHost = m_pHost;
        pState->m_callback = Callback;
        pState->m_pUserData = this;
        const cl_uint workSize[5] = {1, 64, 1, 1, 1};
        std::copy(workSize, workSize + 5, pState->m_workSize);
        boost::unique_lock<boost::mutex> lock(g_KernelDebugStatesMutex);
        g_KernelDebugStates.insert(pState);
        return pState;
    }

    static cl_uint CL_CALLBACK Callback(KernelDebugState* pState, cl_uint debugEvent,
                                        void* pUserData)
    {
        DebugLoopTest* pTest = static_cast<DebugLoopTest*>(pUserData);
        pTest->m_Journal.push_back("callback " + GetDebugEventText(debugEvent));
        // The lock is released around every callback.
        EXPECT_TRUE(g_KernelDebugStatesMutex.try_lock());
        g_KernelDebugStatesMutex.unlock();
        if (pTest->m_OnCallback)
        {
            pTest->m_OnCallback(pState, debugEvent);
        }
        if (pTest->m_Commands.empty())
        {
            return XANCLDEBUG_COMMAND_CONTINUE;
        }
        const cl_uint command = pTest->m_Commands.front();
        pTest->m_Commands.pop_front();
        return command;
    }

    cl_icd_dispatch m_SavedTable;
    std::vector<KernelDebugState*> m_vStates;
    CFakeHostCL* m_pHost = NULL;
    CFakeDebugger* m_pDebugger = NULL;
    Journal m_Journal;
    std::deque<cl_uint> m_Commands;
    std::function<void(KernelDebugState*, cl_uint)> m_OnCallback;
};

bool IsCallback(const std::string& strEntry)
{
    return strEntry.compare(0, 8, "callback") == 0;
}

std::string CallbackLines(KernelDebugState* pState, const char* pEvent, const char* pCommand)
{
    return "callback( " + PointerText(pState) + ", " + pEvent + " )\ncallback() returned " +
           pCommand + "\n";
}
} // namespace

TEST_F(DebugLoopTest, ContinueWithoutBreakpointRunsNativelyAfterTwoCallbacks)
{
    KernelDebugState* pState = MakeState();
    m_Commands = {XANCLDEBUG_COMMAND_CONTINUE};
    CUsageLogTail tail;
    EXPECT_TRUE(DoDebugging(pState));

    EXPECT_EQ(Journal({"StartDebugging 3 1", "callback EVENT_STARTED", "EndDebugging(false)",
                       "callback EVENT_FINISHED"}),
              m_Journal);
    EXPECT_EQ(1, g_Fake.nEnqueues);
    EXPECT_EQ(QUEUE, g_Fake.queue);
    EXPECT_EQ(KERNEL, g_Fake.kernel);
    EXPECT_EQ(1u, g_Fake.nWorkDim);
    EXPECT_EQ(64u, g_Fake.nGlobal0);
    EXPECT_EQ(NULL, g_Fake.pLocal); // the application gave no local size
    EXPECT_EQ(1, g_Fake.nWaits);
    EXPECT_EQ(1, g_Fake.nReleases);
    EXPECT_EQ(XANCLDEBUG_EVENT_FINISHED, pState->m_debugEvent);
    EXPECT_TRUE(pState->m_bDebuggingEnded);
    EXPECT_EQ(CallbackLines(pState, "EVENT_STARTED", "COMMAND_CONTINUE") +
                  CallbackLines(pState, "EVENT_FINISHED", "COMMAND_CONTINUE"),
              tail.Text());
}

TEST_F(DebugLoopTest, BreakpointKeepsTheRunUnderTheDebugger)
{
    KernelDebugState* pState = MakeState();
    m_OnCallback = [](KernelDebugState* pCalled, cl_uint debugEvent)
    {
        if (debugEvent == XANCLDEBUG_EVENT_STARTED)
        {
            pCalled->m_pHost->AddBreakPointAtLineNumber(5, 0, NULL);
        }
    };
    m_pDebugger->m_RunResults = {true, false};
    EXPECT_TRUE(DoDebugging(pState));

    EXPECT_EQ(
        Journal({"StartDebugging 3 1", "callback EVENT_STARTED", "Run", "callback EVENT_HALTED",
                 "Run", "callback EVENT_FINISHED", "EndDebugging(true)"}),
        m_Journal);
    EXPECT_EQ(0, g_Fake.nEnqueues);
    EXPECT_FALSE(pState->m_bDebuggingEnded);
}

TEST_F(DebugLoopTest, InvalidCommandsAreAskedAgainThroughCLDBreak)
{
    KernelDebugState* pState = MakeState();
    m_Commands = {XANCLDEBUG_COMMAND_STEP, XANCLDEBUG_COMMAND_UNINITIALIZED,
                  XANCLDEBUG_COMMAND_UNINITIALIZED, 7, XANCLDEBUG_COMMAND_STEP};
    m_pDebugger->m_StepResults = {true, false};
    CUsageLogTail tail;
    EXPECT_TRUE(DoDebugging(pState));

    EXPECT_EQ(
        Journal({"StartDebugging 3 1", "callback EVENT_STARTED", "Step", "callback EVENT_HALTED",
                 "callback EVENT_HALTED", "callback EVENT_HALTED", "callback EVENT_HALTED", "Step",
                 "callback EVENT_FINISHED", "EndDebugging(true)"}),
        m_Journal);
    EXPECT_EQ(3u, tail.Count("Assert: DoDebugging CLD_Break( \"Unrecognized debug command\" )\n"));
    EXPECT_EQ(2u, tail.Count("callback() returned COMMAND_UNINITIALIZED\n"));
    EXPECT_EQ(1u, tail.Count("callback() returned 7\n"));
}

TEST_F(DebugLoopTest, InvalidFirstCommandStillReachesTheFirstHalt)
{
    KernelDebugState* pState = MakeState();
    m_Commands = {XANCLDEBUG_COMMAND_UNINITIALIZED, XANCLDEBUG_COMMAND_STEP};
    CUsageLogTail tail;
    EXPECT_TRUE(DoDebugging(pState));

    EXPECT_EQ(Journal({"StartDebugging 3 1", "callback EVENT_STARTED", "callback EVENT_HALTED",
                       "Step", "callback EVENT_FINISHED", "EndDebugging(true)"}),
              m_Journal);
    EXPECT_EQ(1u, tail.Count("CLD_Break( \"Unrecognized debug command\" )"));
}

TEST_F(DebugLoopTest, StartFailuresReportTheErrorEventOnceAndReleaseTheLock)
{
    struct Case
    {
        bool bBinary;
        bool bStart;
        const char* pMessage;
    };
    for (const Case& c : {Case{false, true, "Error: No kernel binary.\n"},
                          Case{true, false, "Error: Could not start kernel debugging.\n"}})
    {
        m_Journal.clear();
        KernelDebugState* pState = MakeState();
        if (!c.bBinary)
        {
            m_pHost->m_vBinary.clear();
        }
        m_pDebugger->m_bStartResult = c.bStart;
        CUsageLogTail tail;
        EXPECT_FALSE(DoDebugging(pState));

        EXPECT_EQ("callback EVENT_ERROR", m_Journal.back());
        EXPECT_EQ(1, std::count_if(m_Journal.begin(), m_Journal.end(), IsCallback));
        EXPECT_EQ(XANCLDEBUG_EVENT_ERROR, pState->m_debugEvent);
        EXPECT_EQ(std::string(c.pMessage) +
                      CallbackLines(pState, "EVENT_ERROR", "COMMAND_CONTINUE"),
                  tail.Text());
        EXPECT_TRUE(g_KernelDebugStatesMutex.try_lock());
        g_KernelDebugStatesMutex.unlock();
    }
}

TEST_F(DebugLoopTest, EarlyFailuresReturnWithoutCallback)
{
    CUsageLogTail tail;
    EXPECT_FALSE(DoDebugging(NULL));

    KernelDebugState unregistered;
    EXPECT_FALSE(DoDebugging(&unregistered));

    KernelDebugState* pStarted = MakeState();
    pStarted->m_debugEvent = XANCLDEBUG_EVENT_HALTED;
    EXPECT_FALSE(DoDebugging(pStarted));

    EXPECT_FALSE(DoDebugging(MakeState(NULL, QUEUE)));
    EXPECT_FALSE(DoDebugging(MakeState(KERNEL, NULL)));

    KernelDebugState* pNoGeometry = MakeState();
    m_pHost->m_bEnqueueDataResult = false;
    EXPECT_FALSE(DoDebugging(pNoGeometry));

    KernelDebugState* pNoArgs = MakeState();
    m_pHost->m_bInitArgsResult = false;
    EXPECT_FALSE(DoDebugging(pNoArgs));
    EXPECT_EQ(XANCLDEBUG_EVENT_UNINITIALIZED, pNoArgs->m_debugEvent);

    EXPECT_EQ(0, std::count_if(m_Journal.begin(), m_Journal.end(), IsCallback));
    for (const char* pCondition :
         {"pKernelDebugState != NULL",
          "g_KernelDebugStates.find( pKernelDebugState ) != g_KernelDebugStates.end()",
          "pKernelDebugState->m_debugEvent == XANCLDEBUG_EVENT_UNINITIALIZED", "kernel != 0",
          "commandQueue != 0", "bRet"})
    {
        EXPECT_EQ(
            1u, tail.Count("Assert: DoDebugging CLD_Assert( " + std::string(pCondition) + " )\n"));
    }
}

TEST_F(DebugLoopTest, NativeRunFailuresStopTheLoop)
{
    KernelDebugState* pState = MakeState();
    const size_t global[2] = {8, 8};
    const size_t local[2] = {4, 0};
    CUsageLogTail tail;

    g_Fake.enqueueResult = CL_INVALID_KERNEL;
    EXPECT_FALSE(DoContinue(pState, QUEUE, KERNEL, 2, NULL, global, local));
    EXPECT_FALSE(pState->m_bDebuggingEnded);
    EXPECT_EQ(0, g_Fake.nWaits);
    EXPECT_EQ(local, g_Fake.pLocal);
    EXPECT_EQ("Assert: DoContinue CLD_Assert( ret == CL_SUCCESS )\n", tail.Text());

    g_Fake.enqueueResult = CL_SUCCESS;
    g_Fake.waitResult = CL_INVALID_EVENT;
    EXPECT_FALSE(DoContinue(pState, QUEUE, KERNEL, 2, NULL, global, local));
    EXPECT_EQ(1, g_Fake.nReleases); // the event is released all the same
    EXPECT_FALSE(pState->m_bDebuggingEnded);

    g_Fake.waitResult = CL_SUCCESS;
    g_Fake.releaseResult = CL_INVALID_EVENT;
    EXPECT_FALSE(DoContinue(pState, QUEUE, KERNEL, 2, NULL, global, local));
    EXPECT_FALSE(pState->m_bDebuggingEnded);

    g_Fake.releaseResult = CL_SUCCESS;
    EXPECT_FALSE(DoContinue(pState, QUEUE, KERNEL, 2, NULL, global, local));
    EXPECT_TRUE(pState->m_bDebuggingEnded);
    EXPECT_EQ(4, std::count(m_Journal.begin(), m_Journal.end(), "EndDebugging(false)"));

    EXPECT_FALSE(DoContinue(NULL, QUEUE, KERNEL, 2, NULL, global, local));
}

TEST_F(DebugLoopTest, AQueryFromAnotherThreadIsServedDuringTheCallback)
{
    KernelDebugState* pState = MakeState();
    std::vector<cl_uint> vSeen;
    m_OnCallback = [&vSeen](KernelDebugState* pCalled, cl_uint)
    {
        std::future<cl_uint> query =
            std::async(std::launch::async,
                       [pCalled]()
                       {
                           boost::unique_lock<boost::mutex> lock(g_KernelDebugStatesMutex);
                           return static_cast<cl_uint>(pCalled->m_debugEvent);
                       });
        ASSERT_EQ(std::future_status::ready, query.wait_for(std::chrono::seconds(20)));
        vSeen.push_back(query.get());
    };
    m_Commands = {XANCLDEBUG_COMMAND_STEP, XANCLDEBUG_COMMAND_STEP};
    m_pDebugger->m_StepResults = {true, false};
    EXPECT_TRUE(DoDebugging(pState));
    EXPECT_EQ(std::vector<cl_uint>(
                  {XANCLDEBUG_EVENT_STARTED, XANCLDEBUG_EVENT_HALTED, XANCLDEBUG_EVENT_FINISHED}),
              vSeen);
}

namespace
{
std::atomic<bool> g_bStepDone(false);
std::atomic<bool> g_bQueryServed(false);
std::atomic<bool> g_bServedAfterStep(false);
std::thread g_QueryThread;

// Inside a step: the loop holds the lock, so a query issued now must wait for the next callback.
void StepWithConcurrentQuery()
{
    EXPECT_FALSE(g_KernelDebugStatesMutex.try_lock());
    g_QueryThread = std::thread(
        []()
        {
            boost::unique_lock<boost::mutex> lock(g_KernelDebugStatesMutex);
            g_bServedAfterStep = g_bStepDone.load();
            g_bQueryServed = true;
        });
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_FALSE(g_bQueryServed.load());
    g_bStepDone = true;
}
} // namespace

TEST_F(DebugLoopTest, AQueryWaitsWhileDoDebuggingWorks)
{
    KernelDebugState* pState = MakeState();
    m_Commands = {XANCLDEBUG_COMMAND_STEP};
    m_pDebugger->m_StepHook = StepWithConcurrentQuery;
    EXPECT_TRUE(DoDebugging(pState));
    g_QueryThread.join();
    EXPECT_TRUE(g_bQueryServed.load());
    EXPECT_TRUE(g_bServedAfterStep.load());
}

TEST(DebugLoopTexts, EventAndCommandTexts)
{
    EXPECT_EQ("EVENT_UNINITIALIZED", GetDebugEventText(XANCLDEBUG_EVENT_UNINITIALIZED));
    EXPECT_EQ("EVENT_ERROR", GetDebugEventText(XANCLDEBUG_EVENT_ERROR));
    EXPECT_EQ("5", GetDebugEventText(5));
    EXPECT_EQ("COMMAND_STEP", GetDebugCommandText(XANCLDEBUG_COMMAND_STEP));
    EXPECT_EQ("4294967295", GetDebugCommandText(0xFFFFFFFF));
}

TEST_F(DebugLoopTest, GetLastErrorSizesAndCopiesTheText)
{
    KernelDebugState* pState = MakeState();
    m_pDebugger->SetLastError("boom");

    size_t nLength = 99;
    CUsageLogTail tail;
    EXPECT_EQ(XANCLDEBUG_SUCCESS, xanclDebugUtilGetLastError(pState, 0, NULL, &nLength));
    EXPECT_EQ(5u, nLength);
    EXPECT_EQ("xanclDebugUtilGetLastError( " + PointerText(pState) + ", 0, " + PointerText(NULL) +
                  ", " + PointerText(&nLength) + " )\n",
              tail.Text());

    char buffer[8] = "xxxxxxx";
    nLength = 0;
    EXPECT_EQ(XANCLDEBUG_ERROR_BUFFER_TOO_SMALL,
              xanclDebugUtilGetLastError(pState, 4, buffer, &nLength));
    EXPECT_EQ(5u, nLength);
    EXPECT_STREQ("xxxxxxx", buffer);
    // The text stays, so the call can be repeated with a buffer of exactly its size.
    EXPECT_EQ(XANCLDEBUG_SUCCESS, xanclDebugUtilGetLastError(pState, 5, buffer, NULL));
    EXPECT_STREQ("boom", buffer);

    EXPECT_EQ(XANCLDEBUG_ERROR_NULL_ARGUMENT, xanclDebugUtilGetLastError(NULL, 0, NULL, NULL));
    EXPECT_EQ(XANCLDEBUG_ERROR_NULL_ARGUMENT, xanclDebugUtilGetLastError(pState, 1, NULL, NULL));
    KernelDebugState unregistered;
    EXPECT_EQ(XANCLDEBUG_ERROR_INVALID_STATE,
              xanclDebugUtilGetLastError(&unregistered, 0, NULL, NULL));

    // Without a text: length 0, and nothing is written.
    KernelDebugState* pEmpty = MakeState();
    nLength = 99;
    EXPECT_EQ(XANCLDEBUG_SUCCESS, xanclDebugUtilGetLastError(pEmpty, 0, NULL, &nLength));
    EXPECT_EQ(0u, nLength);
    nLength = 99;
    EXPECT_EQ(XANCLDEBUG_ERROR_BUFFER_TOO_SMALL,
              xanclDebugUtilGetLastError(pEmpty, 0, buffer, &nLength));
    EXPECT_EQ(0u, nLength);
    EXPECT_EQ(XANCLDEBUG_SUCCESS, xanclDebugUtilGetLastError(pEmpty, 2, buffer, &nLength));
    EXPECT_STREQ("boom", buffer);
}

TEST_F(DebugLoopTest, GetLastErrorDuringTheErrorCallback)
{
    KernelDebugState* pState = MakeState();
    m_pHost->m_vBinary.clear();
    m_pDebugger->SetLastError("no binary");
    std::string strSeen;
    m_OnCallback = [&strSeen](KernelDebugState* pCalled, cl_uint)
    {
        char buffer[32] = {};
        EXPECT_EQ(XANCLDEBUG_SUCCESS,
                  xanclDebugUtilGetLastError(pCalled, sizeof(buffer), buffer, NULL));
        strSeen = buffer;
    };
    EXPECT_FALSE(DoDebugging(pState));
    EXPECT_EQ("no binary", strSeen);
}

TEST_F(DebugLoopTest, DispatchExportsRejectNullAndLogTheirTables)
{
    CUsageLogTail tail;
    EXPECT_EQ(CL_INVALID_VALUE, xanclDebugGetDispatchTable(NULL));
    EXPECT_EQ(CL_INVALID_VALUE, xanclDebugSetDispatchTable(NULL));
    EXPECT_EQ("xanclDebugGetDispatchTable( " + PointerText(NULL) +
                  " )\nxanclDebugGetDispatchTable() returned -30\n"
                  "xanclDebugSetDispatchTable( " +
                  PointerText(NULL) + " )\nxanclDebugSetDispatchTable() returned -30\n",
              tail.Text());

    cl_icd_dispatch table;
    memset(&table, 0xEE, sizeof(table));
    CUsageLogTail getTail;
    ASSERT_EQ(CL_SUCCESS, xanclDebugGetDispatchTable(&table));
    EXPECT_EQ(FakeEnqueueNDRangeKernel, table.clEnqueueNDRangeKernel);
    void* pUntouched = NULL;
    memcpy(&pUntouched, reinterpret_cast<const char*>(&table) + 110 * sizeof(void*), sizeof(void*));
    EXPECT_EQ(reinterpret_cast<void*>(~uintptr_t(0) / 0xFF * 0xEE), pUntouched);
    const std::string strGet = getTail.Text();
    EXPECT_EQ(0u, strGet.find("xanclDebugGetDispatchTable( " + PointerText(&table) +
                              " )\nGetPlatformIDs = "));
    EXPECT_EQ(1u,
              getTail.Count("EnqueueNDRangeKernel = " +
                            PointerText(reinterpret_cast<void*>(FakeEnqueueNDRangeKernel)) + "\n"));
    EXPECT_EQ(122u, getTail.Count(" = "));
    EXPECT_EQ(1u, getTail.Count("SetKernelExecInfo = "));
    EXPECT_EQ(0u, getTail.Count("CreateKeyXAN"));
    EXPECT_EQ(1u, getTail.Count("xanclDebugGetDispatchTable() returned 0\n"));

    table.clFinish = FakeFinish;
    CUsageLogTail setTail;
    ASSERT_EQ(CL_SUCCESS, xanclDebugSetDispatchTable(&table));
    EXPECT_EQ(FakeFinish, g_OpenCLModule.clFinish);
    EXPECT_EQ(FakeFinish, g_DeviceOpenCLModule.clFinish);
    EXPECT_EQ(1u, setTail.Count("Finish = " + PointerText(reinterpret_cast<void*>(FakeFinish))));
    EXPECT_EQ(122u, setTail.Count(" = "));
    EXPECT_EQ(1u, setTail.Count("xanclDebugSetDispatchTable() returned 0\n"));
    g_DeviceOpenCLModule.SetTable(&m_SavedTable);
}
