#ifndef XAN_PLATFORM_CWORKERPOOL_H
#define XAN_PLATFORM_CWORKERPOOL_H

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <thread>
#include <vector>

namespace XAN_Platform
{
// A process-wide set of helper threads. The thread that calls Run always works on
// its own job too, so a launch makes progress even while every helper is busy with
// the launch of another queue.
class CWorkerPool
{
public:
    explicit CWorkerPool(unsigned nHelpers);
    ~CWorkerPool();
    CWorkerPool(const CWorkerPool&) = delete;
    CWorkerPool& operator=(const CWorkerPool&) = delete;

    // One helper per hardware thread beyond the caller's own.
    static CWorkerPool& Instance();

    unsigned GetHelperCount() const { return static_cast<unsigned>(m_vThreads.size()); }

    // Calls fnTask(nParticipant) on the caller (participant 0) and on up to
    // nParticipants - 1 helpers that are free. Each call is expected to pull its
    // work from a shared counter until none is left. Returns when every call ended.
    void Run(unsigned nParticipants, const std::function<void(unsigned)>& fnTask);

private:
    struct SJob
    {
        const std::function<void(unsigned)>* pTask;
        unsigned nMaxParticipants;
        unsigned nJoined;
        unsigned nRunning;
    };

    void HelperLoop();

    std::mutex m_Mutex;
    std::condition_variable m_JobAvailable;
    std::condition_variable m_JobFinished;
    std::list<SJob*> m_Jobs;
    bool m_bStopping;
    std::vector<std::thread> m_vThreads;
};
} // namespace XAN_Platform

#endif
