#include "CEvent.h"

#include "CContext.h"
#include "CDiagnostics.h"
#include "CInfoWriter.h"

#include <chrono>

namespace XAN_Platform
{
namespace
{
cl_ulong Now()
{
    return cl_ulong(std::chrono::duration_cast<std::chrono::nanoseconds>(
                        std::chrono::steady_clock::now().time_since_epoch())
                        .count());
}
} // namespace

CEvent::CEvent(CContext* pContext, cl_command_queue queue, cl_command_type nCommandType,
               bool bProfiling)
    : CCLObject(OT_Event, true), m_pContext(pContext), m_Queue(queue), m_nCommandType(nCommandType),
      m_bProfiling(bProfiling),
      m_nStatus(nCommandType == CL_COMMAND_USER ? CL_SUBMITTED : CL_QUEUED)
{
    m_vTimes[0] = Now();
}

CEvent::~CEvent() = default;

cl_int CEvent::GetStatus()
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_nStatus;
}

bool CEvent::SetStatus(cl_int nStatus)
{
    std::vector<SCallback> vDue;
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        if (m_nStatus <= CL_COMPLETE || nStatus >= m_nStatus)
        {
            return false;
        }
        // Every stage passed on the way gets its time.
        const cl_ulong nNow = Now();
        for (cl_int nStage = CL_SUBMITTED; nStage >= CL_COMPLETE; --nStage)
        {
            if (Reached(nStatus, nStage) && !Reached(m_nStatus, nStage))
            {
                m_vTimes[CL_QUEUED - nStage] = nNow;
            }
        }
        m_nStatus = nStatus;
        for (auto it = m_vCallbacks.begin(); it != m_vCallbacks.end();)
        {
            if (Reached(nStatus, it->nType))
            {
                vDue.push_back(*it);
                it = m_vCallbacks.erase(it);
            }
            else
            {
                ++it;
            }
        }
        m_Changed.notify_all();
    }
    RunCallbacks(vDue, nStatus);
    return true;
}

cl_int CEvent::Wait()
{
    std::unique_lock<std::mutex> lock(m_Mutex);
    m_Changed.wait(lock, [this] { return m_nStatus <= CL_COMPLETE; });
    return m_nStatus;
}

cl_int CEvent::AddCallback(cl_int nType, PFNEventNotify pfnNotify, void* pUserData)
{
    if (pfnNotify == nullptr ||
        (nType != CL_SUBMITTED && nType != CL_RUNNING && nType != CL_COMPLETE))
    {
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "pfn_notify",
                                    "null, or a status other than submitted, running or complete");
    }
    cl_int nStatus = 0;
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        if (!Reached(m_nStatus, nType))
        {
            m_vCallbacks.push_back({nType, pfnNotify, pUserData});
            return CL_SUCCESS;
        }
        nStatus = m_nStatus;
    }
    RunCallbacks({{nType, pfnNotify, pUserData}}, nStatus);
    return CL_SUCCESS;
}

void CEvent::RunCallbacks(const std::vector<SCallback>& vCallbacks, cl_int nStatus)
{
    for (const SCallback& callback : vCallbacks)
    {
        callback.pfnNotify(static_cast<cl_event>(GetHandle()),
                           nStatus < 0 ? nStatus : callback.nType, callback.pUserData);
    }
}

cl_int CEvent::GetInfo(cl_event_info nParam, CInfoWriter& writer)
{
    switch (nParam)
    {
    case CL_EVENT_COMMAND_QUEUE:
        return writer.Value(m_Queue);
    case CL_EVENT_CONTEXT:
        return writer.Value(static_cast<cl_context>(m_pContext->GetHandle()));
    case CL_EVENT_COMMAND_TYPE:
        return writer.Value(m_nCommandType);
    case CL_EVENT_COMMAND_EXECUTION_STATUS:
        return writer.Value(GetStatus());
    case CL_EVENT_REFERENCE_COUNT:
        return writer.Value(GetReferenceCount());
    default:
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "param_name", "unknown");
    }
}

cl_int CEvent::GetProfilingInfo(cl_profiling_info nParam, CInfoWriter& writer)
{
    if (nParam < CL_PROFILING_COMMAND_QUEUED || nParam > CL_PROFILING_COMMAND_COMPLETE)
    {
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "param_name", "unknown");
    }
    std::lock_guard<std::mutex> lock(m_Mutex);
    if (!m_bProfiling || m_nStatus != CL_COMPLETE)
    {
        return CDiagnostics::Refuse(CL_PROFILING_INFO_NOT_AVAILABLE, "event",
                                    "its queue doesn't profile, or it hasn't completed");
    }
    const size_t nIndex =
        nParam == CL_PROFILING_COMMAND_COMPLETE ? 3 : size_t(nParam - CL_PROFILING_COMMAND_QUEUED);
    return writer.Value(m_vTimes[nIndex]);
}
} // namespace XAN_Platform
