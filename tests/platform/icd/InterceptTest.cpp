// cl_xan_event_callback: one call per command of a flagged queue, on the queue's worker,
// never inside the enqueue, with no platform lock held, so that the callback may block and use
// other queues of the context.
#include "ICDTestSupport.h"

#include <array>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

using namespace XAN_Test;

namespace
{
struct SCall
{
    cl_event event;
    cl_command_type nType;
    std::thread::id thread;
};

cl_command_type TypeOf(cl_event event)
{
    return Info<cl_command_type>(clGetEventInfo, event, CL_EVENT_COMMAND_TYPE);
}

// What the callback does, set by each test.
std::mutex g_CallsMutex;
std::vector<SCall> g_vCalls;
std::function<bool(cl_event, cl_int*)> g_fnDecide;

bool CL_CALLBACK Intercept(cl_event event, cl_int* pStatus)
{
    const SCall call = {event, TypeOf(event), std::this_thread::get_id()};
    {
        std::lock_guard<std::mutex> lock(g_CallsMutex);
        g_vCalls.push_back(call);
    }
    return g_fnDecide ? g_fnDecide(event, pStatus) : false;
}

class InterceptTest : public CLFixture
{
protected:
    void SetUp() override
    {
        CLFixture::SetUp();
        g_vCalls.clear();
        g_fnDecide = nullptr;
        const cl_context_properties vProperties[] = {
            CL_CONTEXT_PLATFORM, reinterpret_cast<cl_context_properties>(m_Platform),
            CL_CONTEXT_INTERCEPT_CALLBACK_XAN, reinterpret_cast<cl_context_properties>(&Intercept),
            0};
        cl_int nError = CL_SUCCESS;
        clReleaseCommandQueue(m_Queue);
        clReleaseContext(m_Context);
        m_Context = clCreateContext(vProperties, 1, &m_Device, nullptr, nullptr, &nError);
        ASSERT_EQ(CL_SUCCESS, nError);
        m_Queue = clCreateCommandQueue(m_Context, m_Device, CL_QUEUE_INTERCEPT_XAN, &nError);
        ASSERT_EQ(CL_SUCCESS, nError);
        m_Kernel = MakeKernel(ReadKernel("vadd.il"), "vadd");
        std::vector<float> vA(COUNT, 1.0f);
        std::vector<float> vB(COUNT, 2.0f);
        m_A = MakeBuffer(COUNT * sizeof(float), vA.data());
        m_B = MakeBuffer(COUNT * sizeof(float), vB.data());
        m_C = MakeBuffer(COUNT * sizeof(float));
        const cl_int n = COUNT;
        SetArgs(m_Kernel, m_A, m_B, m_C, n);
    }

    void TearDown() override
    {
        CLFixture::TearDown();
        g_fnDecide = nullptr;
    }

    cl_int Launch(cl_command_queue queue, cl_event* pEvent)
    {
        const size_t nGlobal = COUNT;
        return clEnqueueNDRangeKernel(queue, m_Kernel, 1, nullptr, &nGlobal, nullptr, 0, nullptr,
                                      pEvent);
    }

    std::vector<SCall> Calls()
    {
        std::lock_guard<std::mutex> lock(g_CallsMutex);
        return g_vCalls;
    }

    static const int COUNT = 256;
    cl_kernel m_Kernel = nullptr;
    cl_mem m_A = nullptr;
    cl_mem m_B = nullptr;
    cl_mem m_C = nullptr;
};

} // namespace

TEST_F(InterceptTest, TheQueueReportsItsFlagAndTheContextItsCallback)
{
    EXPECT_LT(int64_t(Info<cl_command_queue_properties>(clGetCommandQueueInfo, m_Queue,
                                                        CL_QUEUE_PROPERTIES)),
              0);
    const auto vProperties = Info<std::array<cl_context_properties, 5>>(clGetContextInfo, m_Context,
                                                                        CL_CONTEXT_PROPERTIES);
    EXPECT_EQ(CL_CONTEXT_INTERCEPT_CALLBACK_XAN, vProperties[2]);
    EXPECT_EQ(reinterpret_cast<cl_context_properties>(&Intercept), vProperties[3]);

    const cl_queue_properties vQueue[] = {CL_QUEUE_PROPERTIES, CL_QUEUE_INTERCEPT_XAN, 0};
    cl_int nError = CL_SUCCESS;
    cl_command_queue queue =
        clCreateCommandQueueWithProperties(m_Context, m_Device, vQueue, &nError);
    ASSERT_EQ(CL_SUCCESS, nError);
    EXPECT_EQ(CL_QUEUE_INTERCEPT_XAN,
              Info<cl_command_queue_properties>(clGetCommandQueueInfo, queue, CL_QUEUE_PROPERTIES));
    clReleaseCommandQueue(queue);
}

TEST_F(InterceptTest, EveryCommandIsOfferedOnceOffTheEnqueueThread)
{
    cl_event& launch = NewEvent();
    std::vector<float> vHost(COUNT, 5.0f);
    ASSERT_EQ(CL_SUCCESS, clEnqueueWriteBuffer(m_Queue, m_C, CL_FALSE, 0, COUNT * sizeof(float),
                                               vHost.data(), 0, nullptr, nullptr));
    ASSERT_EQ(CL_SUCCESS, Launch(m_Queue, &launch));
    cl_event& marker = NewEvent();
    ASSERT_EQ(CL_SUCCESS, clEnqueueMarkerWithWaitList(m_Queue, 0, nullptr, &marker));
    ASSERT_EQ(CL_SUCCESS, clFinish(m_Queue));

    const std::vector<SCall> vCalls = Calls();
    ASSERT_EQ(3u, vCalls.size());
    EXPECT_EQ(cl_command_type(CL_COMMAND_WRITE_BUFFER), vCalls[0].nType);
    EXPECT_EQ(cl_command_type(CL_COMMAND_NDRANGE_KERNEL), vCalls[1].nType);
    EXPECT_EQ(launch, vCalls[1].event);
    EXPECT_EQ(cl_command_type(CL_COMMAND_MARKER), vCalls[2].nType);
    EXPECT_EQ(marker, vCalls[2].event);
    for (const SCall& call : vCalls)
    {
        EXPECT_NE(std::this_thread::get_id(), call.thread);
    }
    // Every call returned false, so every command ran.
    EXPECT_EQ(std::vector<float>(COUNT, 3.0f), Read<float>(m_C, COUNT));
}

TEST_F(InterceptTest, TrueCompletesTheCommandWithTheGivenStatusWithoutRunningIt)
{
    g_fnDecide = [](cl_event event, cl_int* pStatus)
    {
        if (TypeOf(event) != CL_COMMAND_NDRANGE_KERNEL)
        {
            return false;
        }
        EXPECT_EQ(CL_SUCCESS, *pStatus);
        return true;
    };
    cl_event& launch = NewEvent();
    ASSERT_EQ(CL_SUCCESS, Launch(m_Queue, &launch));
    ASSERT_EQ(CL_SUCCESS, clWaitForEvents(1, &launch));
    EXPECT_EQ(CL_COMPLETE, StatusOf(launch));
    EXPECT_EQ(std::vector<float>(COUNT, 0.0f), Read<float>(m_C, COUNT));

    g_fnDecide = [](cl_event, cl_int* pStatus)
    {
        *pStatus = CL_OUT_OF_RESOURCES;
        return true;
    };
    cl_event& failed = NewEvent();
    ASSERT_EQ(CL_SUCCESS, Launch(m_Queue, &failed));
    EXPECT_EQ(CL_EXEC_STATUS_ERROR_FOR_EVENTS_IN_WAIT_LIST, clWaitForEvents(1, &failed));
    EXPECT_EQ(CL_OUT_OF_RESOURCES, StatusOf(failed));
}

TEST_F(InterceptTest, ABlockingCallbackRunsWorkOnAnotherQueueOfTheContext)
{
    cl_command_queue privateQueue = MakeQueue();
    std::atomic<bool> bDone{false};
    g_fnDecide = [&](cl_event event, cl_int*)
    {
        if (TypeOf(event) != CL_COMMAND_NDRANGE_KERNEL)
        {
            return false;
        }
        // A kernel of its own on the private queue, into a buffer of its own.
        cl_mem result =
            clCreateBuffer(m_Context, CL_MEM_READ_WRITE, COUNT * sizeof(float), nullptr, nullptr);
        clSetKernelArg(m_Kernel, 2, sizeof(cl_mem), &result);
        const size_t nGlobal = COUNT;
        EXPECT_EQ(CL_SUCCESS, clEnqueueNDRangeKernel(privateQueue, m_Kernel, 1, nullptr, &nGlobal,
                                                     nullptr, 0, nullptr, nullptr));
        EXPECT_EQ(CL_SUCCESS, clFinish(privateQueue));
        float* pResult = static_cast<float*>(
            clEnqueueMapBuffer(privateQueue, result, CL_TRUE, CL_MAP_READ, 0, COUNT * sizeof(float),
                               0, nullptr, nullptr, nullptr));
        EXPECT_EQ(3.0f, pResult[COUNT - 1]);
        clEnqueueUnmapMemObject(privateQueue, result, pResult, 0, nullptr, nullptr);
        // The intercepted command's own argument buffer can be written meanwhile.
        float* pC = static_cast<float*>(clEnqueueMapBuffer(privateQueue, m_C, CL_TRUE, CL_MAP_WRITE,
                                                           0, COUNT * sizeof(float), 0, nullptr,
                                                           nullptr, nullptr));
        std::fill(pC, pC + COUNT, 7.0f);
        clEnqueueUnmapMemObject(privateQueue, m_C, pC, 0, nullptr, nullptr);
        EXPECT_EQ(CL_SUCCESS, clFinish(privateQueue));
        clReleaseMemObject(result);
        bDone = true;
        return true;
    };
    ASSERT_EQ(CL_SUCCESS, Launch(m_Queue, nullptr));
    ASSERT_EQ(CL_SUCCESS, clFinish(m_Queue));
    EXPECT_TRUE(bDone);
    EXPECT_EQ(std::vector<float>(COUNT, 7.0f), Read<float>(m_C, COUNT));
    // Only the flagged queue's commands were offered.
    for (const SCall& call : Calls())
    {
        EXPECT_NE(cl_command_type(CL_COMMAND_MAP_BUFFER), call.nType);
    }
}

TEST_F(InterceptTest, LaterCommandsWaitBehindTheInterceptedOne)
{
    std::mutex mutex;
    std::condition_variable released;
    bool bRelease = false;
    g_fnDecide = [&](cl_event, cl_int*)
    {
        std::unique_lock<std::mutex> lock(mutex);
        released.wait(lock, [&] { return bRelease; });
        return false;
    };
    cl_event& launch = NewEvent();
    cl_event& marker = NewEvent();
    ASSERT_EQ(CL_SUCCESS, Launch(m_Queue, &launch));
    ASSERT_EQ(CL_SUCCESS, clEnqueueMarkerWithWaitList(m_Queue, 0, nullptr, &marker));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_GT(StatusOf(launch), CL_COMPLETE);
    EXPECT_GT(StatusOf(marker), CL_COMPLETE);
    {
        std::lock_guard<std::mutex> lock(mutex);
        bRelease = true;
    }
    released.notify_all();
    ASSERT_EQ(CL_SUCCESS, clWaitForEvents(1, &marker));
    EXPECT_EQ(CL_COMPLETE, StatusOf(launch));
}

TEST_F(InterceptTest, AKeySetRightAfterTheEnqueueIsSeenByTheCallback)
{
    const SKeyFunctions keys;
    ASSERT_TRUE(keys.IsComplete());
    const cl_key_xan nKey = keys.pfnCreate(m_Platform, nullptr, nullptr);
    ASSERT_NE(0u, nKey);

    // As a debugger does: the enqueue and the tagging under one lock, which the callback takes.
    std::mutex debuggerMutex;
    std::vector<void*> vSeen;
    g_fnDecide = [&](cl_event event, cl_int*)
    {
        std::lock_guard<std::mutex> lock(debuggerMutex);
        void* pValue = reinterpret_cast<void*>(1);
        EXPECT_EQ(CL_SUCCESS, keys.pfnGet(event, nKey, &pValue));
        vSeen.push_back(pValue);
        return false;
    };
    int nTag = 0;
    cl_event& launch = NewEvent();
    {
        std::lock_guard<std::mutex> lock(debuggerMutex);
        ASSERT_EQ(CL_SUCCESS, Launch(m_Queue, &launch));
        ASSERT_EQ(CL_SUCCESS, keys.pfnSet(launch, nKey, &nTag));
    }
    // A command without an event of the application's gets one of its own for the callback.
    ASSERT_EQ(CL_SUCCESS, clEnqueueBarrier(m_Queue));
    ASSERT_EQ(CL_SUCCESS, clFinish(m_Queue));
    ASSERT_EQ(2u, vSeen.size());
    EXPECT_EQ(&nTag, vSeen[0]);
    EXPECT_EQ(nullptr, vSeen[1]);
}

TEST_F(InterceptTest, QueuesWithoutTheFlagAreNeverIntercepted)
{
    cl_command_queue plain = MakeQueue();
    ASSERT_EQ(CL_SUCCESS, Launch(plain, nullptr));
    ASSERT_EQ(CL_SUCCESS, clFinish(plain));
    EXPECT_TRUE(Calls().empty());
    EXPECT_EQ(std::vector<float>(COUNT, 3.0f), Read<float>(m_C, COUNT));

    // A flagged queue in a context without a callback keeps its flag and is never intercepted.
    const size_t nCalls = Calls().size();
    cl_int nError = CL_SUCCESS;
    cl_context context = clCreateContext(nullptr, 1, &m_Device, nullptr, nullptr, &nError);
    ASSERT_EQ(CL_SUCCESS, nError);
    cl_command_queue flagged =
        clCreateCommandQueue(context, m_Device, CL_QUEUE_INTERCEPT_XAN, &nError);
    ASSERT_EQ(CL_SUCCESS, nError);
    EXPECT_EQ(CL_QUEUE_INTERCEPT_XAN, Info<cl_command_queue_properties>(
                                          clGetCommandQueueInfo, flagged, CL_QUEUE_PROPERTIES));
    cl_mem buffer = clCreateBuffer(context, CL_MEM_READ_WRITE, sizeof(cl_int), nullptr, &nError);
    ASSERT_EQ(CL_SUCCESS, nError);
    const cl_int nWritten = 42;
    cl_int nRead = 0;
    EXPECT_EQ(CL_SUCCESS, clEnqueueWriteBuffer(flagged, buffer, CL_FALSE, 0, sizeof(cl_int),
                                               &nWritten, 0, nullptr, nullptr));
    EXPECT_EQ(CL_SUCCESS, clEnqueueReadBuffer(flagged, buffer, CL_TRUE, 0, sizeof(cl_int), &nRead,
                                              0, nullptr, nullptr));
    EXPECT_EQ(nWritten, nRead);
    EXPECT_EQ(nCalls, Calls().size());
    clReleaseMemObject(buffer);
    clReleaseCommandQueue(flagged);
    clReleaseContext(context);
}
