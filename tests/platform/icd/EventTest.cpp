// Events: statuses that move only forward, user events, wait lists across queues, callbacks,
// markers, barriers and profiling.
#include "ICDTestSupport.h"

#include <atomic>
#include <thread>

using namespace XAN_Test;

namespace
{
using EventTest = CLFixture;

struct SNotice
{
    std::atomic<int> nCalls{0};
    std::atomic<cl_int> nStatus{99};
};

void CL_CALLBACK Notice(cl_event, cl_int nStatus, void* pUserData)
{
    SNotice* pNotice = static_cast<SNotice*>(pUserData);
    pNotice->nStatus = nStatus;
    ++pNotice->nCalls;
}
} // namespace

TEST_F(EventTest, AUserEventHoldsBackCommandsOfEveryQueueWaitingForIt)
{
    cl_command_queue other = MakeQueue();
    cl_event gate = MakeUserEvent();
    cl_mem buffer = MakeBuffer(16);
    const std::vector<int> vValues = {1, 2, 3, 4};
    cl_event& written = NewEvent();
    ASSERT_EQ(CL_SUCCESS, clEnqueueWriteBuffer(m_Queue, buffer, CL_FALSE, 0, 16, vValues.data(), 1,
                                               &gate, &written));
    std::vector<int> vRead(4, 0);
    cl_event& read = NewEvent();
    ASSERT_EQ(CL_SUCCESS, clEnqueueReadBuffer(other, buffer, CL_FALSE, 0, 16, vRead.data(), 1,
                                              &written, &read));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(CL_SUBMITTED, StatusOf(gate));
    EXPECT_GT(StatusOf(written), CL_RUNNING);
    EXPECT_GT(StatusOf(read), CL_RUNNING);

    ASSERT_EQ(CL_SUCCESS, clSetUserEventStatus(gate, CL_COMPLETE));
    ASSERT_EQ(CL_SUCCESS, clWaitForEvents(1, &read));
    EXPECT_EQ(vValues, vRead);
    EXPECT_EQ(CL_COMPLETE, StatusOf(written));
    EXPECT_EQ(CL_INVALID_OPERATION, clSetUserEventStatus(gate, CL_COMPLETE));
    EXPECT_EQ(CL_INVALID_EVENT, clSetUserEventStatus(read, CL_COMPLETE));
    EXPECT_EQ(cl_command_type(CL_COMMAND_USER),
              Info<cl_command_type>(clGetEventInfo, gate, CL_EVENT_COMMAND_TYPE));
}

TEST_F(EventTest, AFailedEventFailsTheCommandsWaitingForIt)
{
    cl_event gate = MakeUserEvent();
    cl_event& marker = NewEvent();
    ASSERT_EQ(CL_SUCCESS, clEnqueueMarkerWithWaitList(m_Queue, 1, &gate, &marker));
    EXPECT_EQ(CL_INVALID_VALUE, clSetUserEventStatus(gate, CL_SUBMITTED));
    ASSERT_EQ(CL_SUCCESS, clSetUserEventStatus(gate, -42));
    EXPECT_EQ(CL_EXEC_STATUS_ERROR_FOR_EVENTS_IN_WAIT_LIST, clWaitForEvents(1, &marker));
    EXPECT_EQ(CL_EXEC_STATUS_ERROR_FOR_EVENTS_IN_WAIT_LIST, StatusOf(marker));
    EXPECT_EQ(-42, StatusOf(gate));
    // The queue goes on after the failure.
    cl_event& next = NewEvent();
    ASSERT_EQ(CL_SUCCESS, clEnqueueMarkerWithWaitList(m_Queue, 0, nullptr, &next));
    EXPECT_EQ(CL_SUCCESS, clWaitForEvents(1, &next));
}

TEST_F(EventTest, CallbacksRunOnceWhenTheirStatusIsReached)
{
    cl_event gate = MakeUserEvent();
    cl_event& marker = NewEvent();
    ASSERT_EQ(CL_SUCCESS, clEnqueueMarkerWithWaitList(m_Queue, 1, &gate, &marker));
    SNotice submitted;
    SNotice complete;
    ASSERT_EQ(CL_SUCCESS, clSetEventCallback(marker, CL_SUBMITTED, Notice, &submitted));
    ASSERT_EQ(CL_SUCCESS, clSetEventCallback(marker, CL_COMPLETE, Notice, &complete));
    EXPECT_EQ(CL_INVALID_VALUE, clSetEventCallback(marker, CL_QUEUED, Notice, &complete));
    EXPECT_EQ(CL_INVALID_VALUE, clSetEventCallback(marker, CL_COMPLETE, nullptr, nullptr));
    // The queue's worker submits the marker in its own time: a loaded machine may take a while.
    const std::chrono::steady_clock::time_point deadline =
        std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (submitted.nCalls == 0 && std::chrono::steady_clock::now() < deadline)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(1, submitted.nCalls);
    EXPECT_EQ(CL_SUBMITTED, submitted.nStatus);
    EXPECT_EQ(0, complete.nCalls);

    clSetUserEventStatus(gate, CL_COMPLETE);
    clFinish(m_Queue);
    EXPECT_EQ(1, complete.nCalls);
    EXPECT_EQ(CL_COMPLETE, complete.nStatus);
    // Registered after the fact, it runs at once.
    SNotice late;
    ASSERT_EQ(CL_SUCCESS, clSetEventCallback(marker, CL_RUNNING, Notice, &late));
    EXPECT_EQ(1, late.nCalls);
    EXPECT_EQ(1, submitted.nCalls);
}

TEST_F(EventTest, MarkersBarriersAndProfilingTimes)
{
    cl_command_queue profiled = MakeQueue(CL_QUEUE_PROFILING_ENABLE);
    cl_mem buffer = MakeBuffer(4096);
    const std::vector<uint8_t> vData(4096, 7);
    cl_event& write = NewEvent();
    ASSERT_EQ(CL_SUCCESS, clEnqueueWriteBuffer(profiled, buffer, CL_FALSE, 0, vData.size(),
                                               vData.data(), 0, nullptr, &write));
    ASSERT_EQ(CL_SUCCESS, clEnqueueBarrier(profiled));
    cl_event& marker = NewEvent();
    ASSERT_EQ(CL_SUCCESS, clEnqueueMarker(profiled, &marker));
    ASSERT_EQ(CL_SUCCESS, clWaitForEvents(1, &marker));
    EXPECT_EQ(CL_COMPLETE, StatusOf(write));
    // Queued, submitted, started and ended in that order.
    cl_ulong nLast = 0;
    for (cl_profiling_info nParam = CL_PROFILING_COMMAND_QUEUED; nParam <= CL_PROFILING_COMMAND_END;
         ++nParam)
    {
        const cl_ulong nTime = Info<cl_ulong>(clGetEventProfilingInfo, write, nParam);
        EXPECT_LE(nLast, nTime) << nParam;
        nLast = nTime;
    }

    cl_event& plain = NewEvent();
    ASSERT_EQ(CL_SUCCESS, clEnqueueMarkerWithWaitList(m_Queue, 0, nullptr, &plain));
    clWaitForEvents(1, &plain);
    EXPECT_EQ(CL_PROFILING_INFO_NOT_AVAILABLE,
              clGetEventProfilingInfo(plain, CL_PROFILING_COMMAND_END, sizeof(cl_ulong), &nLast,
                                      nullptr));
    EXPECT_EQ(CL_INVALID_EVENT_WAIT_LIST,
              clEnqueueMarkerWithWaitList(m_Queue, 1, nullptr, nullptr));
    EXPECT_EQ(CL_INVALID_EVENT_WAIT_LIST, clEnqueueMarkerWithWaitList(m_Queue, 0, &plain, nullptr));
    EXPECT_EQ(CL_INVALID_VALUE, clEnqueueMarker(m_Queue, nullptr));

    cl_context other = clCreateContext(nullptr, 1, &m_Device, nullptr, nullptr, nullptr);
    cl_event foreign = clCreateUserEvent(other, nullptr);
    EXPECT_EQ(CL_INVALID_CONTEXT, clEnqueueMarkerWithWaitList(m_Queue, 1, &foreign, nullptr));
    const cl_event vMixed[] = {plain, foreign};
    EXPECT_EQ(CL_INVALID_CONTEXT, clWaitForEvents(2, vMixed));
    clSetUserEventStatus(foreign, CL_COMPLETE);
    clReleaseEvent(foreign);
    clReleaseContext(other);
}

TEST_F(EventTest, AReleasedQueueFinishesItsCommandsFirst)
{
    cl_command_queue queue =
        clCreateCommandQueue(m_Context, m_Device, CL_QUEUE_OUT_OF_ORDER_EXEC_MODE_ENABLE, nullptr);
    cl_event gate = MakeUserEvent();
    cl_mem buffer = MakeBuffer(4);
    const int nValue = 1234;
    cl_event& write = NewEvent();
    ASSERT_EQ(CL_SUCCESS,
              clEnqueueWriteBuffer(queue, buffer, CL_FALSE, 0, 4, &nValue, 1, &gate, &write));
    std::thread release([&] { clReleaseCommandQueue(queue); });
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    clSetUserEventStatus(gate, CL_COMPLETE);
    release.join();
    EXPECT_EQ(CL_COMPLETE, StatusOf(write));
    EXPECT_EQ(nValue, Read<int>(buffer, 1)[0]);
}
