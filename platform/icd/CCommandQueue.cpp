#include "CCommandQueue.h"

#include "CContext.h"
#include "CDevice.h"
#include "CDiagnostics.h"
#include "CEvent.h"
#include "CInfoWriter.h"

#include <new>
#include <system_error>

namespace XAN_Platform
{
namespace
{
const cl_command_queue_properties SUPPORTED_PROPERTIES =
    CL_QUEUE_OUT_OF_ORDER_EXEC_MODE_ENABLE | CL_QUEUE_PROFILING_ENABLE;
} // namespace

CCommandQueue::CCommandQueue(CContext* pContext, CDevice* pDevice,
                             cl_command_queue_properties nProperties)
    : CCLObject(OT_CommandQueue, true), m_pContext(pContext), m_pDevice(pDevice),
      m_nProperties(nProperties)
{
    m_Worker = std::thread(&CCommandQueue::WorkerLoop, this);
}

CCommandQueue::~CCommandQueue() = default;

CCommandQueue* CCommandQueue::Create(CContext* pContext, CDevice* pDevice,
                                     cl_command_queue_properties nProperties, cl_int& nError)
{
    nError = CL_SUCCESS;
    if (!pContext->HasDevice(pDevice))
    {
        nError = CDiagnostics::Refuse(CL_INVALID_DEVICE, "device", "not a device of the context");
        return nullptr;
    }
    // The flag is kept in any context, because a debugger flags every queue of a device that
    // offers interception; only a context with a callback acts on it.
    if ((nProperties & ~(SUPPORTED_PROPERTIES | CL_QUEUE_INTERCEPT_XAN)) != 0)
    {
        nError = CDiagnostics::Refuse(CL_INVALID_VALUE, "properties", "unknown bits");
        return nullptr;
    }
    try
    {
        return CCLObject::New<CCommandQueue>(pContext, pDevice, nProperties);
    }
    catch (const std::system_error&)
    {
        nError = CDiagnostics::Refuse(CL_OUT_OF_RESOURCES, "command_queue",
                                      "no thread for the queue's worker");
        return nullptr;
    }
}

void CCommandQueue::Destroy()
{
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_bStopping = true;
        // Released from one of its own commands' callbacks: the worker finishes the queue
        // and deletes it as it leaves.
        m_bDeleteOnExit = IsWorkerThread();
        m_CommandAdded.notify_all();
    }
    if (m_bDeleteOnExit)
    {
        m_Worker.detach();
        return;
    }
    m_Worker.join();
    delete this;
}

cl_int CCommandQueue::GetWaitList(cl_uint nCount, const cl_event* pList,
                                  std::vector<CRef<CEvent>>& vEvents) const
{
    if ((nCount == 0) != (pList == nullptr))
    {
        return CDiagnostics::Refuse(CL_INVALID_EVENT_WAIT_LIST, "event_wait_list",
                                    nCount == 0 ? "given with a count of 0"
                                                : "null with a count of " + std::to_string(nCount));
    }
    for (cl_uint i = 0; i < nCount; ++i)
    {
        CEvent* pEvent = CCLObject::Find<CEvent>(pList[i]);
        if (pEvent == nullptr)
        {
            return CDiagnostics::Refuse(CL_INVALID_EVENT_WAIT_LIST, "event_wait_list",
                                        "entry " + std::to_string(i) + " is no event");
        }
        if (pEvent->GetContext() != m_pContext.Get())
        {
            return CDiagnostics::Refuse(CL_INVALID_CONTEXT, "event_wait_list",
                                        "entry " + std::to_string(i) +
                                            " belongs to another context");
        }
        vEvents.emplace_back(pEvent);
    }
    return CL_SUCCESS;
}

cl_int CCommandQueue::Enqueue(cl_command_type nType, cl_uint nWaitCount, const cl_event* pWaitList,
                              cl_event* pEventOut, bool bBlocking, FNExecute fnExecute)
{
    if (bBlocking && IsWorkerThread())
    {
        return CDiagnostics::Refuse(CL_INVALID_OPERATION, "blocking",
                                    "a blocking command from a callback would wait for itself");
    }
    SCommand command;
    const cl_int nError = GetWaitList(nWaitCount, pWaitList, command.vWaitList);
    if (nError != CL_SUCCESS)
    {
        return nError;
    }
    CEvent* pEvent =
        CCLObject::New<CEvent>(m_pContext.Get(), static_cast<cl_command_queue>(GetHandle()), nType,
                               (m_nProperties & CL_QUEUE_PROFILING_ENABLE) != 0);
    command.pEvent = CRef<CEvent>(pEvent);
    pEvent->Release(); // the command's reference is the one that stays
    command.fnExecute = std::move(fnExecute);
    CRef<CEvent> pWaitFor(bBlocking ? pEvent : nullptr);
    if (pEventOut != nullptr)
    {
        pEvent->Retain();
        *pEventOut = static_cast<cl_event>(pEvent->GetHandle());
    }
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Commands.push_back(std::move(command));
        m_CommandAdded.notify_one();
    }
    if (pWaitFor)
    {
        const cl_int nStatus = pWaitFor->Wait();
        return nStatus < 0 ? CL_EXEC_STATUS_ERROR_FOR_EVENTS_IN_WAIT_LIST : CL_SUCCESS;
    }
    return CL_SUCCESS;
}

cl_int CCommandQueue::Finish()
{
    if (IsWorkerThread())
    {
        return CDiagnostics::Refuse(CL_INVALID_OPERATION, "command_queue",
                                    "clFinish from a callback of the queue would wait for itself");
    }
    std::unique_lock<std::mutex> lock(m_Mutex);
    m_CommandDone.wait(lock, [this] { return m_Commands.empty(); });
    return CL_SUCCESS;
}

void CCommandQueue::WorkerLoop()
{
    for (;;)
    {
        SCommand* pCommand = nullptr;
        {
            std::unique_lock<std::mutex> lock(m_Mutex);
            m_CommandAdded.wait(lock, [this] { return m_bStopping || !m_Commands.empty(); });
            if (m_Commands.empty())
            {
                break;
            }
            // Only this thread removes commands, so the front stays put while it runs.
            pCommand = &m_Commands.front();
        }
        const cl_int nStatus = RunCommand(*pCommand);
        // The command lets go of what it holds before its event tells anyone it is done.
        pCommand->fnExecute = nullptr;
        pCommand->vWaitList.clear();
        CRef<CEvent> pEvent = std::move(pCommand->pEvent);
        pEvent->SetStatus(nStatus < 0 ? nStatus : CL_COMPLETE);
        {
            std::lock_guard<std::mutex> lock(m_Mutex);
            m_Commands.pop_front();
            m_CommandDone.notify_all();
        }
    }
    if (m_bDeleteOnExit)
    {
        delete this;
    }
}

cl_int CCommandQueue::RunCommand(SCommand& command)
{
    CEvent* pEvent = command.pEvent.Get();
    pEvent->SetStatus(CL_SUBMITTED);
    for (const CRef<CEvent>& pWait : command.vWaitList)
    {
        if (pWait->Wait() < 0)
        {
            return CL_EXEC_STATUS_ERROR_FOR_EVENTS_IN_WAIT_LIST;
        }
    }
    const cl_xan_intercept_callback pfnIntercept = m_pContext->GetInterceptCallback();
    if (pfnIntercept != nullptr && (m_nProperties & CL_QUEUE_INTERCEPT_XAN) != 0)
    {
        cl_int nStatus = CL_SUCCESS;
        if (pfnIntercept(static_cast<cl_event>(pEvent->GetHandle()), &nStatus))
        {
            return nStatus;
        }
    }
    pEvent->SetStatus(CL_RUNNING);
    try
    {
        return command.fnExecute();
    }
    catch (const std::bad_alloc&)
    {
        return CL_OUT_OF_HOST_MEMORY;
    }
}

cl_int CCommandQueue::GetInfo(cl_command_queue_info nParam, CInfoWriter& writer)
{
    switch (nParam)
    {
    case CL_QUEUE_CONTEXT:
        return writer.Value(static_cast<cl_context>(m_pContext->GetHandle()));
    case CL_QUEUE_DEVICE:
        return writer.Value(static_cast<cl_device_id>(m_pDevice->GetHandle()));
    case CL_QUEUE_REFERENCE_COUNT:
        return writer.Value(GetReferenceCount());
    case CL_QUEUE_PROPERTIES:
        return writer.Value(m_nProperties);
    default:
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "param_name", "unknown");
    }
}
} // namespace XAN_Platform
