// The library's own header of this name, not the public one.
#include "KernelDebugState.h"

#include "CLWrappers.h"
#include "ConvertRegister.h"

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
#include <set>
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
cl_kernel const QUEUE_AS_KERNEL = reinterpret_cast<cl_kernel>(0x20);

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

namespace
{
// Results of nItems work-items, 16 bytes each, byte k of item i being i * 16 + k + nBase.
ShaderUtils::SUBuffer MakeValues(uint32_t nItems, uint8_t nBase)
{
    std::vector<uint8_t> vBytes(nItems * 16);
    for (size_t k = 0; k < vBytes.size(); ++k)
    {
        vBytes[k] = static_cast<uint8_t>(k + nBase);
    }
    ShaderUtils::SUBuffer buffer;
    buffer.Create(0, nItems, 1, 0, BT_Buffer, BF_RGBA32, 0, vBytes.data());
    return buffer;
}

cl_ulong Locator(const char* pName)
{
    return stringToDebugRegisterLocator(pName);
}

typedef std::function<xanclDebugStatus(KernelDebugState*)> QueryCall;

// One export of the queries: the events at which it answers, a call with good arguments and,
// for those that take pointers, one with a null where a pointer is required.
struct QueryCase
{
    const char* pName;
    std::set<cl_uint> allowed;
    QueryCall good;
    QueryCall null;
};

const std::set<cl_uint> BEFORE_END = {XANCLDEBUG_EVENT_STARTED, XANCLDEBUG_EVENT_HALTED};
const std::set<cl_uint> ANY_EVENT = {XANCLDEBUG_EVENT_STARTED, XANCLDEBUG_EVENT_HALTED,
                                     XANCLDEBUG_EVENT_FINISHED, XANCLDEBUG_EVENT_ERROR};

std::vector<QueryCase> QueryCases()
{
    static cl_uint nValue;
    static size_t nSize;
    static cl_uint lines[4];
    static unsigned char bytes[64];
    static const cl_uint* pMask;
    static const void* pValues;
    static cl_ulong locators[4];
    static xanclDebugMemoryRegion regions[2];
    const std::set<cl_uint> halted = {XANCLDEBUG_EVENT_HALTED};
    const std::set<cl_uint> started = {XANCLDEBUG_EVENT_STARTED};
    const cl_ulong r1 = Locator("r1");
    return {
        {"GetProgramCounter", halted,
         [](KernelDebugState* p) { return xanclDebugGetProgramCounter(p, &nValue); },
         [](KernelDebugState* p) { return xanclDebugGetProgramCounter(p, NULL); }},
        {"SetBreakpoint", BEFORE_END,
         [](KernelDebugState* p) { return xanclDebugSetBreakpoint(p, 5, 0, NULL); }, QueryCall()},
        {"ClearBreakpoint", BEFORE_END,
         [](KernelDebugState* p) { return xanclDebugClearBreakpoint(p, 5); }, QueryCall()},
        {"ClearAllBreakpoints", BEFORE_END,
         [](KernelDebugState* p) { return xanclDebugClearAllBreakpoints(p); }, QueryCall()},
        {"GetNumBreakpoints", BEFORE_END,
         [](KernelDebugState* p) { return xanclDebugGetNumBreakpoints(p, &nSize); },
         [](KernelDebugState* p) { return xanclDebugGetNumBreakpoints(p, NULL); }},
        {"GetAllBreakpoints", BEFORE_END,
         [](KernelDebugState* p) { return xanclDebugGetAllBreakpoints(p, lines, 4); },
         [](KernelDebugState* p) { return xanclDebugGetAllBreakpoints(p, NULL, 0); }},
        {"GetKernelBinarySize", ANY_EVENT,
         [](KernelDebugState* p) { return xanclDebugGetKernelBinarySize(p, &nSize); },
         [](KernelDebugState* p) { return xanclDebugGetKernelBinarySize(p, NULL); }},
        {"GetKernelBinary", ANY_EVENT,
         [](KernelDebugState* p) { return xanclDebugGetKernelBinary(p, bytes, sizeof(bytes)); },
         [](KernelDebugState* p) { return xanclDebugGetKernelBinary(p, NULL, 64); }},
        {"GetExecutionMask", halted,
         [](KernelDebugState* p) { return xanclDebugGetExecutionMask(p, &pMask, &nSize); },
         [](KernelDebugState* p) { return xanclDebugGetExecutionMask(p, &pMask, NULL); }},
        {"SetTrackingRegisters", started,
         [r1](KernelDebugState* p) { return xanclDebugSetTrackingRegisters(p, &r1, 1); },
         [](KernelDebugState* p) { return xanclDebugSetTrackingRegisters(p, NULL, 1); }},
        {"SetTrackPrivateMemory", started,
         [](KernelDebugState* p) { return xanclDebugSetTrackPrivateMemory(p, CL_TRUE); },
         QueryCall()},
        {"GetNumberOfActiveRegisters", halted,
         [](KernelDebugState* p) { return xanclDebugGetNumberOfActiveRegisters(p, &nSize); },
         [](KernelDebugState* p) { return xanclDebugGetNumberOfActiveRegisters(p, NULL); }},
        {"GetActiveRegisters", halted,
         [](KernelDebugState* p) { return xanclDebugGetActiveRegisters(p, locators, 4); },
         [](KernelDebugState* p) { return xanclDebugGetActiveRegisters(p, NULL, 4); }},
        {"GetRegisterValues", halted,
         [r1](KernelDebugState* p)
         { return xanclDebugGetRegisterValues(p, r1, &pValues, &nSize, &nSize); },
         [r1](KernelDebugState* p)
         { return xanclDebugGetRegisterValues(p, r1, &pValues, NULL, &nSize); }},
        {"GetPrivateMemoryValues", halted,
         [](KernelDebugState* p)
         { return xanclDebugGetPrivateMemoryValues(p, 0, 0, NULL, &nSize); },
         [](KernelDebugState* p)
         { return xanclDebugGetPrivateMemoryValues(p, 0, 4, NULL, &nSize); }},
        {"GetGlobalMemoryValues", halted,
         [](KernelDebugState* p)
         { return xanclDebugGetGlobalMemoryValues(p, 11, 0, 0, NULL, &nSize); },
         [](KernelDebugState* p)
         { return xanclDebugGetGlobalMemoryValues(p, 11, 0, 4, NULL, &nSize); }},
        {"GetValidGlobalMemoryRegions", halted,
         [](KernelDebugState* p)
         { return xanclDebugGetValidGlobalMemoryRegions(p, 2, regions, &nSize); },
         [](KernelDebugState* p)
         { return xanclDebugGetValidGlobalMemoryRegions(p, 2, NULL, &nSize); }},
    };
}
} // namespace

TEST_F(DebugLoopTest, QueriesCheckTheHandleTheEventAndTheirPointers)
{
    KernelDebugState* pState = MakeState();
    m_pDebugger->m_Values["r1"] = MakeValues(64, 0);
    ShaderUtils::SUBuffer mask = MakeValues(4, 0);
    m_pDebugger->m_pMask = &mask;
    m_pHost->m_nReadableUAV = 11;
    KernelDebugState unregistered;
    for (const QueryCase& c : QueryCases())
    {
        SCOPED_TRACE(c.pName);
        EXPECT_EQ(XANCLDEBUG_ERROR_INVALID_STATE, c.good(NULL));
        EXPECT_EQ(XANCLDEBUG_ERROR_INVALID_STATE, c.good(&unregistered));
        for (cl_uint debugEvent : ANY_EVENT)
        {
            pState->m_debugEvent = static_cast<xanclDebugEvent>(debugEvent);
            const xanclDebugStatus status = c.good(pState);
            if (c.allowed.count(debugEvent) == 0)
            {
                EXPECT_EQ(XANCLDEBUG_ERROR_WRONG_EVENT, status) << debugEvent;
            }
            else
            {
                EXPECT_NE(XANCLDEBUG_ERROR_WRONG_EVENT, status) << debugEvent;
                if (c.null)
                {
                    EXPECT_EQ(XANCLDEBUG_ERROR_NULL_ARGUMENT, c.null(pState)) << debugEvent;
                }
            }
        }
    }
    // A debug run that has ended has left the set.
    boost::unique_lock<boost::mutex> lock(g_KernelDebugStatesMutex);
    g_KernelDebugStates.erase(pState);
    lock.unlock();
    for (const QueryCase& c : QueryCases())
    {
        EXPECT_EQ(XANCLDEBUG_ERROR_INVALID_STATE, c.good(pState)) << c.pName;
    }
}

TEST_F(DebugLoopTest, BreakpointsAndKernelBinary)
{
    KernelDebugState* pState = MakeState();
    pState->m_debugEvent = XANCLDEBUG_EVENT_STARTED;
    cl_uint nLine = 0;
    for (cl_uint n : {9u, 3u, 5u})
    {
        ASSERT_EQ(XANCLDEBUG_SUCCESS, xanclDebugSetBreakpoint(pState, n, 0, &nLine));
        EXPECT_EQ(n, nLine);
    }
    size_t nCount = 0;
    EXPECT_EQ(XANCLDEBUG_SUCCESS, xanclDebugGetNumBreakpoints(pState, &nCount));
    EXPECT_EQ(3u, nCount);
    cl_uint lines[3] = {};
    EXPECT_EQ(XANCLDEBUG_ERROR_BUFFER_TOO_SMALL, xanclDebugGetAllBreakpoints(pState, lines, 2));
    EXPECT_EQ(std::vector<cl_uint>({3, 5, 0}), std::vector<cl_uint>(lines, lines + 3));
    EXPECT_EQ(XANCLDEBUG_SUCCESS, xanclDebugGetAllBreakpoints(pState, lines, 3));
    EXPECT_EQ(std::vector<cl_uint>({3, 5, 9}), std::vector<cl_uint>(lines, lines + 3));
    EXPECT_EQ(XANCLDEBUG_SUCCESS, xanclDebugClearBreakpoint(pState, 5));
    EXPECT_EQ(XANCLDEBUG_SUCCESS, xanclDebugClearAllBreakpoints(pState));
    EXPECT_EQ(XANCLDEBUG_SUCCESS, xanclDebugGetNumBreakpoints(pState, &nCount));
    EXPECT_EQ(0u, nCount);

    // The binary of 3 bytes fits exactly; one byte less writes nothing.
    unsigned char binary[3] = {0xAA, 0xAA, 0xAA};
    EXPECT_EQ(XANCLDEBUG_ERROR_BUFFER_TOO_SMALL, xanclDebugGetKernelBinary(pState, binary, 2));
    EXPECT_EQ(0xAA, binary[0]);
    EXPECT_EQ(XANCLDEBUG_SUCCESS, xanclDebugGetKernelBinary(pState, binary, 3));
    EXPECT_EQ(std::vector<unsigned char>({1, 2, 3}),
              std::vector<unsigned char>(binary, binary + 3));
}

TEST_F(DebugLoopTest, ProgramCounterMaskAndRegisterValues)
{
    KernelDebugState* pState = MakeState();
    pState->m_debugEvent = XANCLDEBUG_EVENT_HALTED;
    m_pDebugger->m_nNextLine = 17;
    cl_uint nLine = 0;
    EXPECT_EQ(XANCLDEBUG_SUCCESS, xanclDebugGetProgramCounter(pState, &nLine));
    EXPECT_EQ(17u, nLine);

    const cl_uint* pMask = NULL;
    size_t nCount = 0;
    // Before the kernel first ran there is no mask.
    EXPECT_EQ(XANCLDEBUG_ERROR_WRONG_EVENT, xanclDebugGetExecutionMask(pState, &pMask, &nCount));
    const cl_uint vMask[4] = {1, 0, 1, 1};
    ShaderUtils::SUBuffer mask;
    mask.Create(0, 4, 1, 0, BT_Buffer, BF_R32, 0, vMask);
    m_pDebugger->m_pMask = &mask;
    EXPECT_EQ(XANCLDEBUG_SUCCESS, xanclDebugGetExecutionMask(pState, &pMask, &nCount));
    EXPECT_EQ(std::vector<cl_uint>(vMask, vMask + 4), std::vector<cl_uint>(pMask, pMask + nCount));

    m_pDebugger->m_Values["x1[2]"] = MakeValues(4, 7);
    const void* pValues = NULL;
    size_t nStride = 0;
    EXPECT_EQ(XANCLDEBUG_SUCCESS,
              xanclDebugGetRegisterValues(pState, Locator("x1[2]"), &pValues, &nStride, &nCount));
    EXPECT_EQ(m_pDebugger->m_Values["x1[2]"].GetSubResource(0), pValues);
    EXPECT_EQ(16u, nStride);
    EXPECT_EQ(4u, nCount);
    for (cl_ulong locator : {Locator("r9"), DL_LOCATOR_INVALID, cl_ulong(0x20000)})
    {
        EXPECT_EQ(XANCLDEBUG_ERROR_INVALID_REGISTER,
                  xanclDebugGetRegisterValues(pState, locator, &pValues, &nStride, &nCount));
    }

    m_pHost->m_vActiveRegisters = {"r0", "x1[2]", "cb2[5]"};
    EXPECT_EQ(XANCLDEBUG_SUCCESS, xanclDebugGetNumberOfActiveRegisters(pState, &nCount));
    EXPECT_EQ(3u, nCount);
    cl_ulong locators[3] = {};
    EXPECT_EQ(XANCLDEBUG_ERROR_BUFFER_TOO_SMALL, xanclDebugGetActiveRegisters(pState, locators, 2));
    EXPECT_EQ(0u, locators[0]);
    EXPECT_EQ(XANCLDEBUG_SUCCESS, xanclDebugGetActiveRegisters(pState, locators, 3));
    EXPECT_EQ(std::vector<cl_ulong>({0, Locator("x1[2]"), Locator("cb2[5]")}),
              std::vector<cl_ulong>(locators, locators + 3));
    m_pHost->m_bActiveResult = false;
    EXPECT_EQ(XANCLDEBUG_ERROR_OPERATION_FAILED, xanclDebugGetActiveRegisters(pState, locators, 3));
}

TEST_F(DebugLoopTest, TrackingSetsAreReplacedWholeAndCarryPrivateMemory)
{
    KernelDebugState* pState = MakeState();
    pState->m_debugEvent = XANCLDEBUG_EVENT_STARTED;
    pState->m_bIsTidalReefs = false;
    const cl_ulong element[2] = {Locator("x1[3]"), Locator("r2")};
    ASSERT_EQ(XANCLDEBUG_SUCCESS, xanclDebugSetTrackingRegisters(pState, element, 2));
    std::set<std::string> names;
    m_pHost->GetTrackingRegisters(names);
    EXPECT_EQ(std::set<std::string>({"x1", "x1[3]", "r2"}), names);
    EXPECT_TRUE(m_pHost->IsTrackSelectedRegisters());

    // An invalid locator anywhere leaves the former set alone.
    const cl_ulong bad[2] = {Locator("r5"), 0x20000};
    EXPECT_EQ(XANCLDEBUG_ERROR_INVALID_REGISTER, xanclDebugSetTrackingRegisters(pState, bad, 2));
    m_pHost->GetTrackingRegisters(names);
    EXPECT_EQ(std::set<std::string>({"x1", "x1[3]", "r2"}), names);

    EXPECT_EQ(XANCLDEBUG_SUCCESS, xanclDebugSetTrackPrivateMemory(pState, CL_FALSE));
    m_pHost->GetTrackingRegisters(names);
    EXPECT_EQ(std::set<std::string>({"x1[3]", "r2"}), names);

    // The newer family follows private memory through its own register.
    pState->m_bIsTidalReefs = true;
    EXPECT_EQ(XANCLDEBUG_SUCCESS, xanclDebugSetTrackPrivateMemory(pState, CL_TRUE));
    m_pHost->GetTrackingRegisters(names);
    EXPECT_EQ(1u, names.count("PrivateUAVAccess8"));

    // Off: results are kept for all registers, and the wish for private memory waits.
    EXPECT_EQ(XANCLDEBUG_SUCCESS, xanclDebugSetTrackingRegisters(pState, NULL, 0));
    EXPECT_FALSE(m_pHost->IsTrackSelectedRegisters());
    EXPECT_EQ(XANCLDEBUG_SUCCESS, xanclDebugSetTrackPrivateMemory(pState, CL_FALSE));
    EXPECT_FALSE(pState->m_bTrackPrivateMemory);
    ASSERT_EQ(XANCLDEBUG_SUCCESS, xanclDebugSetTrackingRegisters(pState, element + 1, 1));
    m_pHost->GetTrackingRegisters(names);
    EXPECT_EQ(std::set<std::string>({"r2"}), names);
}

TEST_F(DebugLoopTest, PrivateMemoryIsReadWorkItemMajorAcrossIndexes)
{
    KernelDebugState* pState = MakeState();
    pState->m_debugEvent = XANCLDEBUG_EVENT_HALTED;
    const cl_uint workSize[5] = {2, 2, 2, 1, 1};
    std::copy(workSize, workSize + 5, pState->m_workSize);
    for (bool bIsTidalReefs : {false, true})
    {
        SCOPED_TRACE(bIsTidalReefs);
        pState->m_bIsTidalReefs = bIsTidalReefs;
        const std::string strName = bIsTidalReefs ? "PrivateUAVAccess8" : "x1";
        m_pDebugger->m_Values.clear();
        m_pDebugger->m_Values[strName + "[0]"] = MakeValues(4, 0);
        m_pDebugger->m_Values[strName + "[1]"] = MakeValues(4, 100);

        // 20 bytes from 12: 4 of index 0 and 16 of index 1, for each of the 4 work-items.
        std::vector<uint8_t> vOut(4 * 20, 0xEE);
        size_t nWritten = 0;
        ASSERT_EQ(XANCLDEBUG_SUCCESS,
                  xanclDebugGetPrivateMemoryValues(pState, 12, 20, vOut.data(), &nWritten));
        EXPECT_EQ(80u, nWritten);
        for (size_t i = 0; i < 4; ++i)
        {
            for (size_t k = 0; k < 20; ++k)
            {
                const size_t nExpected = k < 4 ? i * 16 + 12 + k : 100 + i * 16 + k - 4;
                EXPECT_EQ(static_cast<uint8_t>(nExpected), vOut[i * 20 + k]) << i << " " << k;
            }
        }
        // An index never written reads as zeros.
        ASSERT_EQ(XANCLDEBUG_SUCCESS,
                  xanclDebugGetPrivateMemoryValues(pState, 40, 4, vOut.data(), &nWritten));
        EXPECT_EQ(16u, nWritten);
        EXPECT_EQ(std::vector<uint8_t>(16, 0),
                  std::vector<uint8_t>(vOut.begin(), vOut.begin() + 16));
        EXPECT_EQ(XANCLDEBUG_SUCCESS,
                  xanclDebugGetPrivateMemoryValues(pState, 40, 0, NULL, &nWritten));
        EXPECT_EQ(0u, nWritten);
    }
    // A result of the wrong size is an inconsistency.
    m_pDebugger->m_Values["PrivateUAVAccess8[0]"] = MakeValues(3, 0);
    std::vector<uint8_t> vOut(64);
    size_t nWritten = 0;
    EXPECT_EQ(XANCLDEBUG_ERROR_INTERNAL,
              xanclDebugGetPrivateMemoryValues(pState, 0, 4, vOut.data(), &nWritten));
}

TEST_F(DebugLoopTest, GlobalReadsRetryOtherUAVsOnTheOlderFamilyOnly)
{
    KernelDebugState* pState = MakeState();
    pState->m_debugEvent = XANCLDEBUG_EVENT_HALTED;
    struct Case
    {
        bool bIsTidalReefs;
        cl_uint nUAV;
        uint32_t nReadable;
        xanclDebugStatus status;
        std::vector<uint32_t> vTried;
    };
    for (const Case& c : {Case{false, 0, 8, XANCLDEBUG_SUCCESS, {0, 11, 8}},
                          Case{false, 0, 11, XANCLDEBUG_SUCCESS, {0, 11}},
                          Case{false, 8, 99, XANCLDEBUG_ERROR_INVALID_REGISTER, {8, 11, 8}},
                          Case{false, 3, 11, XANCLDEBUG_ERROR_INVALID_REGISTER, {3}},
                          Case{true, 0, 11, XANCLDEBUG_ERROR_INVALID_REGISTER, {0}},
                          Case{true, 11, 11, XANCLDEBUG_SUCCESS, {11}}})
    {
        pState->m_bIsTidalReefs = c.bIsTidalReefs;
        m_pHost->m_nReadableUAV = c.nReadable;
        m_pHost->m_vTriedUAVs.clear();
        size_t nSize = 0;
        EXPECT_EQ(c.status, xanclDebugGetGlobalMemoryValues(pState, c.nUAV, 0, 0, NULL, &nSize));
        EXPECT_EQ(c.vTried, m_pHost->m_vTriedUAVs) << c.bIsTidalReefs << " " << c.nUAV;
    }
}

namespace
{
// The runtime's side of the kernel functions: an argument count of 2, a reference count, and a
// clSetKernelArg that refuses index 1.
cl_uint g_nReferenceCount = 1;

cl_int CL_API_CALL FakeSetKernelArg(cl_kernel, cl_uint nIndex, size_t, const void*)
{
    return nIndex == 1 ? CL_INVALID_ARG_VALUE : CL_SUCCESS;
}

cl_int CL_API_CALL FakeReleaseKernel(cl_kernel)
{
    return CL_SUCCESS;
}

cl_int CL_API_CALL FakeGetKernelInfo(cl_kernel, cl_kernel_info nParam, size_t, void* pValue,
                                     size_t*)
{
    if (nParam != CL_KERNEL_REFERENCE_COUNT)
    {
        return CL_INVALID_VALUE;
    }
    memcpy(pValue, &g_nReferenceCount, sizeof(cl_uint));
    return CL_SUCCESS;
}

class KernelTrackingTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        g_DeviceOpenCLModule.GetTable(&m_SavedTable);
        cl_icd_dispatch fake = m_SavedTable;
        fake.clSetKernelArg = FakeSetKernelArg;
        fake.clReleaseKernel = FakeReleaseKernel;
        fake.clGetKernelInfo = FakeGetKernelInfo;
        g_DeviceOpenCLModule.SetTable(&fake);
        KernelInfo info(2);
        info.GetArgInfo()[0].strName = "out";
        info.GetArgInfo()[0].nKind = CLKernelArg::KIND_GLOBAL_POINTER;
        info.GetArgInfo()[0].nResourceID = 11;
        g_mapKernelToInfo[KERNEL] = info;
    }
    void TearDown() override
    {
        g_DeviceOpenCLModule.SetTable(&m_SavedTable);
        g_mapKernelToInfo.clear();
    }

    cl_icd_dispatch m_SavedTable;
};
} // namespace

TEST_F(KernelTrackingTest, ArgumentsAreRecordedOnlyWhenTheRuntimeTakesThem)
{
    const uint64_t nValue = 0x1122334455667788ULL;
    ASSERT_EQ(CL_SUCCESS, xanclInterceptSetKernelArg(KERNEL, 0, sizeof(nValue), &nValue));
    const void* pValue = NULL;
    size_t nSize = 0;
    ASSERT_EQ(CL_SUCCESS, clGetKernelArg(KERNEL, 0, &pValue, &nSize));
    EXPECT_EQ(sizeof(nValue), nSize);
    EXPECT_NE(static_cast<const void*>(&nValue), pValue); // a copy
    EXPECT_EQ(0, memcmp(&nValue, pValue, sizeof(nValue)));

    // A __local argument: no value, its size kept.
    ASSERT_EQ(CL_SUCCESS, xanclInterceptSetKernelArg(KERNEL, 0, 256, NULL));
    ASSERT_EQ(CL_SUCCESS, clGetKernelArg(KERNEL, 0, &pValue, &nSize));
    EXPECT_EQ(NULL, pValue);
    EXPECT_EQ(256u, nSize);

    // Refused by the runtime, or beyond the arguments: the status, nothing recorded.
    EXPECT_EQ(CL_INVALID_ARG_VALUE, xanclInterceptSetKernelArg(KERNEL, 1, 4, &nValue));
    EXPECT_EQ(CL_SUCCESS, xanclInterceptSetKernelArg(KERNEL, 7, 4, &nValue));
    ASSERT_EQ(CL_SUCCESS, clGetKernelArg(KERNEL, 1, &pValue, &nSize));
    EXPECT_EQ(0u, nSize);
    EXPECT_EQ(CL_INVALID_ARG_INDEX, clGetKernelArg(KERNEL, 2, &pValue, &nSize));
    EXPECT_EQ(CL_INVALID_KERNEL, clGetKernelArg(QUEUE_AS_KERNEL, 0, &pValue, &nSize));

    // Releasing one of two references keeps the entry; the last removes it.
    g_nReferenceCount = 2;
    EXPECT_EQ(CL_SUCCESS, xanclInterceptReleaseKernel(KERNEL));
    EXPECT_EQ(1u, g_mapKernelToInfo.count(KERNEL));
    g_nReferenceCount = 1;
    EXPECT_EQ(CL_SUCCESS, xanclInterceptReleaseKernel(KERNEL));
    EXPECT_EQ(0u, g_mapKernelToInfo.count(KERNEL));
}

TEST_F(KernelTrackingTest, ArgumentInfoAnswersFromTheTrackedArguments)
{
    struct Case
    {
        cl_uint nIndex;
        cl_uint nParam;
        size_t nValueSize;
        bool bValue;
        cl_int status;
        std::string strText;
        size_t nSizeRet;
    };
    for (const Case& c : {Case{0, 0x21A3, 16, true, CL_SUCCESS, "out", 4},
                          Case{0, 0x21A3, 3, true, CL_SUCCESS, "ou", 3},
                          Case{0, 0x21A4, 0, false, CL_SUCCESS, "", 14},
                          Case{0, 0x21A4, 32, true, CL_SUCCESS, "globalpointer", 14},
                          Case{1, 0x21A4, 32, true, CL_SUCCESS, "unknown", 8},
                          Case{0, 0x21A5, 2, true, CL_INVALID_VALUE, "", 4},
                          Case{0, 0x21A0, 32, true, -2065, "", 99},
                          Case{0, 0x1196, 32, true, CL_INVALID_VALUE, "", 99},
                          Case{2, 0x21A3, 32, true, CL_INVALID_ARG_INDEX, "", 99}})
    {
        char text[32] = {};
        size_t nSizeRet = 99;
        EXPECT_EQ(c.status, clGetKernelArgInfo(KERNEL, c.nIndex, c.nParam, c.nValueSize,
                                               c.bValue ? text : NULL, &nSizeRet))
            << c.nParam;
        EXPECT_EQ(c.strText, text) << c.nParam;
        EXPECT_EQ(c.nSizeRet, nSizeRet) << c.nParam;
    }
    uint32_t nResourceID = 0;
    EXPECT_EQ(CL_SUCCESS, clGetKernelArgInfo(KERNEL, 0, 0x21A5, 4, &nResourceID, NULL));
    EXPECT_EQ(11u, nResourceID);
}
