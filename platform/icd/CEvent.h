#ifndef XAN_PLATFORM_CEVENT_H
#define XAN_PLATFORM_CEVENT_H

#include "CCLObject.h"

#include <condition_variable>
#include <mutex>
#include <vector>

namespace XAN_Platform
{
class CContext;
class CInfoWriter;

typedef void(CL_CALLBACK* PFNEventNotify)(cl_event event, cl_int nStatus, void* pUserData);

// The event of a command, or a user event. Its status only moves forward: queued, submitted,
// running, then complete or an error. Callbacks run on the thread that moves the status past
// their threshold, with no lock held.
class CEvent : public CCLObject
{
public:
    static constexpr EObjectType OBJECT_TYPE = OT_Event;

    // A command's event (queue set) or a user event (queue null, type CL_COMMAND_USER).
    CEvent(CContext* pContext, cl_command_queue queue, cl_command_type nCommandType,
           bool bProfiling);

    CContext* GetContext() const { return m_pContext.Get(); }
    cl_command_queue GetQueue() const { return m_Queue; }
    cl_command_type GetCommandType() const { return m_nCommandType; }
    bool IsUserEvent() const { return m_nCommandType == CL_COMMAND_USER; }

    cl_int GetStatus();
    // Moves the status on; a status that doesn't move forward, or any change once the event
    // is complete, is ignored and gives false.
    bool SetStatus(cl_int nStatus);
    // Blocks until the event is complete or failed; gives the final status.
    cl_int Wait();

    cl_int AddCallback(cl_int nType, PFNEventNotify pfnNotify, void* pUserData);

    cl_int GetInfo(cl_event_info nParam, CInfoWriter& writer);
    cl_int GetProfilingInfo(cl_profiling_info nParam, CInfoWriter& writer);

private:
    struct SCallback
    {
        cl_int nType;
        PFNEventNotify pfnNotify;
        void* pUserData;
    };

    ~CEvent() override;
    static bool Reached(cl_int nStatus, cl_int nType) { return nStatus <= nType; }
    void RunCallbacks(const std::vector<SCallback>& vCallbacks, cl_int nStatus);

    CRef<CContext> m_pContext;
    cl_command_queue m_Queue;
    cl_command_type m_nCommandType;
    bool m_bProfiling;
    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    cl_int m_nStatus;
    std::vector<SCallback> m_vCallbacks;
    cl_ulong m_vTimes[4] = {0, 0, 0, 0}; // queued, submitted, started, ended
};
} // namespace XAN_Platform

#endif
