#ifndef XAN_PLATFORM_CCOMMANDQUEUE_H
#define XAN_PLATFORM_CCOMMANDQUEUE_H

#include "CCLObject.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace XAN_Platform
{
class CContext;
class CDevice;
class CEvent;
class CInfoWriter;

// A command queue with a worker thread of its own, which runs the commands one after the
// other. A command starts when its wait list is complete. On a queue with the intercept flag,
// in a context with an intercept callback, the worker first offers every command to the
// callback, with no lock held, so that the callback may block and use other queues meanwhile.
class CCommandQueue : public CCLObject
{
public:
    static constexpr EObjectType OBJECT_TYPE = OT_CommandQueue;

    // Runs a command; gives CL_SUCCESS or the error its event ends with.
    typedef std::function<cl_int()> FNExecute;

    static CCommandQueue* Create(CContext* pContext, CDevice* pDevice,
                                 cl_command_queue_properties nProperties, cl_int& nError);

    CContext* GetContext() const { return m_pContext.Get(); }
    CDevice* GetDevice() const { return m_pDevice; }

    // The events of a wait list, retained; CL_INVALID_EVENT_WAIT_LIST for a list that doesn't
    // match its count, CL_INVALID_CONTEXT for an event of another context.
    cl_int GetWaitList(cl_uint nCount, const cl_event* pList,
                       std::vector<CRef<CEvent>>& vEvents) const;

    // Queues a command behind the others. pEventOut, if not null, receives its event. A
    // blocking command returns once it completed, with its error if it failed.
    cl_int Enqueue(cl_command_type nType, cl_uint nWaitCount, const cl_event* pWaitList,
                   cl_event* pEventOut, bool bBlocking, FNExecute fnExecute);
    // Waits until every queued command has completed.
    cl_int Finish();

    cl_int GetInfo(cl_command_queue_info nParam, CInfoWriter& writer);

private:
    struct SCommand
    {
        CRef<CEvent> pEvent;
        std::vector<CRef<CEvent>> vWaitList;
        FNExecute fnExecute;
    };

    friend class CCLObject;
    CCommandQueue(CContext* pContext, CDevice* pDevice, cl_command_queue_properties nProperties);
    ~CCommandQueue() override;
    void Destroy() override;
    bool IsWorkerThread() const { return std::this_thread::get_id() == m_Worker.get_id(); }
    void WorkerLoop();
    cl_int RunCommand(SCommand& command);

    CRef<CContext> m_pContext;
    CDevice* m_pDevice;
    cl_command_queue_properties m_nProperties;
    std::mutex m_Mutex;
    std::condition_variable m_CommandAdded;
    std::condition_variable m_CommandDone;
    std::deque<SCommand> m_Commands; // the front one runs
    bool m_bStopping = false;
    bool m_bDeleteOnExit = false;
    std::thread m_Worker;
};
} // namespace XAN_Platform

#endif
