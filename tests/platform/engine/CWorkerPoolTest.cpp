#include "CWorkerPool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>

using namespace XAN_Platform;

TEST(CWorkerPool, EveryParticipantGetsItsOwnNumber)
{
    CWorkerPool pool(3);
    std::atomic<int> nWork{1000};
    std::mutex mutex;
    std::set<unsigned int> participants;
    pool.Run(4,
             [&](unsigned int nParticipant)
             {
                 {
                     std::lock_guard<std::mutex> lock(mutex);
                     EXPECT_TRUE(participants.insert(nParticipant).second);
                 }
                 while (nWork.fetch_sub(1) > 0)
                 {
                     std::this_thread::yield();
                 }
             });
    EXPECT_LE(nWork.load(), 0);
    EXPECT_TRUE(participants.count(0) == 1);
    EXPECT_LE(participants.size(), 4u);
}

TEST(CWorkerPool, JobsFromSeveralThreadsAllFinish)
{
    // Two launches at once on a pool with a single helper: each caller works on
    // its own job, so neither waits for the other.
    CWorkerPool pool(1);
    std::atomic<int> nCalls{0};
    auto job = [&pool, &nCalls]
    {
        for (int i = 0; i < 50; ++i)
        {
            pool.Run(2, [&nCalls](unsigned int) { ++nCalls; });
        }
    };
    std::thread first(job);
    std::thread second(job);
    first.join();
    second.join();
    EXPECT_GE(nCalls.load(), 100);
}
