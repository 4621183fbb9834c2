#include "CWorkerPool.h"

namespace XAN_Platform
{
CWorkerPool::CWorkerPool(unsigned nHelpers) : m_bStopping(false)
{
    m_vThreads.reserve(nHelpers);
    for (unsigned i = 0; i < nHelpers; ++i)
    {
        m_vThreads.emplace_back([this] { HelperLoop(); });
    }
}

CWorkerPool::~CWorkerPool()
{
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_bStopping = true;
    }
    m_JobAvailable.notify_all();
    for (std::thread& thread : m_vThreads)
    {
        thread.join();
    }
}

CWorkerPool& CWorkerPool::Instance()
{
    static CWorkerPool pool(
        std::thread::hardware_concurrency() > 1 ? std::thread::hardware_concurrency() - 1 : 0);
    return pool;
}

void CWorkerPool::Run(unsigned nParticipants, const std::function<void(unsigned)>& fnTask)
{
    SJob job = {&fnTask, nParticipants == 0 ? 1 : nParticipants, 1, 0};
    if (job.nMaxParticipants > 1 && !m_vThreads.empty())
    {
        {
            std::lock_guard<std::mutex> lock(m_Mutex);
            m_Jobs.push_back(&job);
        }
        m_JobAvailable.notify_all();
    }
    fnTask(0);
    std::unique_lock<std::mutex> lock(m_Mutex);
    m_Jobs.remove(&job);
    // Nobody joins any more; wait for the helpers that did.
    m_JobFinished.wait(lock, [&job] { return job.nRunning == 0; });
}

void CWorkerPool::HelperLoop()
{
    std::unique_lock<std::mutex> lock(m_Mutex);
    for (;;)
    {
        SJob* pJob = nullptr;
        m_JobAvailable.wait(lock,
                            [this, &pJob]
                            {
                                for (SJob* pCandidate : m_Jobs)
                                {
                                    if (pCandidate->nJoined < pCandidate->nMaxParticipants)
                                    {
                                        pJob = pCandidate;
                                        return true;
                                    }
                                }
                                return m_bStopping;
                            });
        if (pJob == nullptr)
        {
            return;
        }
        const unsigned nParticipant = pJob->nJoined++;
        ++pJob->nRunning;
        lock.unlock();
        (*pJob->pTask)(nParticipant);
        lock.lock();
        if (--pJob->nRunning == 0)
        {
            m_JobFinished.notify_all();
        }
    }
}
} // namespace XAN_Platform
