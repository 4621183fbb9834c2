#include "CCommandQueue.h"
#include "CContext.h"
#include "CDevice.h"
#include "CDeviceMemory.h"
#include "CDiagnostics.h"
#include "CEvent.h"
#include "CILEngine.h"
#include "CInfoWriter.h"
#include "CKernel.h"
#include "CKernelImage.h"
#include "CMemObject.h"
#include "CPlatform.h"
#include "CPrintfBuffer.h"
#include "CProgram.h"
#include "ICDApi.h"

#include <sstream>

namespace XAN_Platform
{
namespace Api
{
namespace
{
const uint64_t MAX_GLOBAL_SIZE = 0xFFFFFFFFull;

cl_command_queue MakeQueue(cl_context context, cl_device_id device,
                           cl_command_queue_properties nProperties, cl_int* errcode_ret)
{
    CContext* pContext = FindOr<CContext>(context, CL_INVALID_CONTEXT, "context", errcode_ret);
    if (pContext == nullptr)
    {
        return nullptr;
    }
    CDevice* pDevice = FindOr<CDevice>(device, CL_INVALID_DEVICE, "device", errcode_ret);
    if (pDevice == nullptr)
    {
        return nullptr;
    }
    cl_int nError = CL_SUCCESS;
    CCommandQueue* pQueue = CCommandQueue::Create(pContext, pDevice, nProperties, nError);
    SetError(errcode_ret, nError);
    return pQueue != nullptr ? static_cast<cl_command_queue>(pQueue->GetHandle()) : nullptr;
}

// A command that only orders: markers, barriers, waits and migrations.
cl_int EnqueueEmpty(cl_command_queue queue, cl_command_type nType, cl_uint nWaitCount,
                    const cl_event* pWaitList, cl_event* pEvent)
{
    CCommandQueue* pQueue = CCLObject::Find<CCommandQueue>(queue);
    if (pQueue == nullptr)
    {
        return BadHandle(CL_INVALID_COMMAND_QUEUE, "command_queue", queue);
    }
    return Guarded(
        [&]
        {
            return pQueue->Enqueue(nType, nWaitCount, pWaitList, pEvent, false,
                                   [] { return CL_SUCCESS; });
        });
}

// Checks a launch's geometry against the device and the kernel and fills it in.
cl_int SetGeometry(const CKernelImage& image, cl_uint nWorkDim, const size_t* pOffset,
                   const size_t* pGlobal, const size_t* pLocal, SLaunchDesc& desc)
{
    if (nWorkDim < 1 || nWorkDim > 3)
    {
        return CDiagnostics::Refuse(CL_INVALID_WORK_DIMENSION, "work_dim",
                                    std::to_string(nWorkDim) + ", not 1 to 3");
    }
    if (pGlobal == nullptr)
    {
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "global_work_size", "null");
    }
    const uint32_t* pRequired = image.GetRequiredLocalSize();
    uint64_t nGroup = 1;
    desc.nWorkDim = nWorkDim;
    for (cl_uint d = 0; d < nWorkDim; ++d)
    {
        const std::string strAt = "[" + std::to_string(d) + "]: ";
        if (pGlobal[d] == 0 || pGlobal[d] > MAX_GLOBAL_SIZE)
        {
            return CDiagnostics::Refuse(CL_INVALID_GLOBAL_WORK_SIZE, "global_work_size",
                                        strAt + std::to_string(pGlobal[d]) + ", not 1 to 2^32 - 1");
        }
        const uint64_t nOffset = pOffset != nullptr ? pOffset[d] : 0;
        if (nOffset > MAX_GLOBAL_SIZE - pGlobal[d])
        {
            return CDiagnostics::Refuse(CL_INVALID_GLOBAL_OFFSET, "global_work_offset",
                                        strAt + "the range ends past 2^32 - 1");
        }
        desc.vGlobalSize[d] = pGlobal[d];
        desc.vGlobalOffset[d] = nOffset;
        // A kernel with a fixed group size runs with it when none is given.
        uint64_t nLocal = pLocal != nullptr ? pLocal[d] : pRequired[d];
        if (pRequired[0] != 0 && nLocal != pRequired[d])
        {
            return CDiagnostics::Refuse(CL_INVALID_WORK_GROUP_SIZE, "local_work_size",
                                        strAt + std::to_string(nLocal) +
                                            ", but the kernel requires " +
                                            std::to_string(pRequired[d]));
        }
        if ((pLocal != nullptr || pRequired[0] != 0) &&
            (nLocal == 0 || pGlobal[d] % nLocal != 0 || nLocal > CDevice::MAX_WORK_GROUP_SIZE))
        {
            return nLocal > CDevice::MAX_WORK_GROUP_SIZE
                       ? CDiagnostics::Refuse(CL_INVALID_WORK_ITEM_SIZE, "local_work_size",
                                              strAt + std::to_string(nLocal) +
                                                  " is above the device's " +
                                                  std::to_string(CDevice::MAX_WORK_GROUP_SIZE))
                       : CDiagnostics::Refuse(CL_INVALID_WORK_GROUP_SIZE, "local_work_size",
                                              strAt + std::to_string(nLocal) +
                                                  " doesn't divide the global size " +
                                                  std::to_string(pGlobal[d]));
        }
        desc.vLocalSize[d] = nLocal;
        nGroup *= nLocal;
    }
    if ((pLocal != nullptr || pRequired[0] != 0) && nGroup > image.GetWorkGroupSize())
    {
        return CDiagnostics::Refuse(CL_INVALID_WORK_GROUP_SIZE, "local_work_size",
                                    "a group of " + std::to_string(nGroup) +
                                        " work-items, the kernel allows " +
                                        std::to_string(image.GetWorkGroupSize()));
    }
    return CL_SUCCESS;
}

// Names the buffer argument an address lies in or behind, such as "8 bytes past the end of
// argument 2 (c), 400 bytes".
std::string DescribeGlobalAddress(const CKernelImage& image, const SLaunchDesc& desc,
                                  const std::vector<CRef<CMemObject>>& vMemory, uint64_t nAddress)
{
    const CMemObject* pNearest = nullptr;
    for (const CRef<CMemObject>& pMem : vMemory)
    {
        const uint64_t nBase = pMem->GetDeviceAddress();
        if (nBase <= nAddress && (pNearest == nullptr || nBase > pNearest->GetDeviceAddress()))
        {
            pNearest = pMem.Get();
        }
    }
    if (pNearest == nullptr)
    {
        return "below every buffer of the kernel";
    }
    std::string strName = "a buffer";
    const std::vector<SKernelArg>& vArgs = image.GetArgs();
    for (size_t i = 0; i < vArgs.size(); ++i)
    {
        const uint32_t nWord = vArgs[i].nOffset / 4;
        if (vArgs[i].eKind != AK_GlobalPointer || nWord + 1 >= desc.vConstantBuffer1.size())
        {
            continue;
        }
        const uint64_t nHigh = image.Is64BitABI() ? desc.vConstantBuffer1[nWord + 1] : 0;
        if (((nHigh << 32) | desc.vConstantBuffer1[nWord]) == pNearest->GetDeviceAddress())
        {
            strName = "argument " + std::to_string(i) + " (" + vArgs[i].strName + ")";
            break;
        }
    }
    const uint64_t nOffset = nAddress - pNearest->GetDeviceAddress();
    const std::string strSize = std::to_string(pNearest->GetSize()) + " bytes";
    return nOffset < pNearest->GetSize()
               ? "byte " + std::to_string(nOffset) + " of " + strName + ", " + strSize
               : std::to_string(nOffset - pNearest->GetSize()) + " bytes past the end of " +
                     strName + ", " + strSize;
}

// The report of a launch's out-of-bounds accesses: their counts and the first one.
std::string DescribeOutOfBounds(const CKernelImage& image, const SLaunchDesc& desc,
                                const std::vector<CRef<CMemObject>>& vMemory,
                                const SLaunchResult& result)
{
    const SOutOfBoundsAccess& first = result.firstOutOfBounds;
    std::ostringstream stream;
    stream << "kernel " << image.GetName() << ": " << result.nOutOfBoundsLoads
           << " out-of-bounds loads, " << result.nOutOfBoundsStores
           << " stores or atomics; the first: a " << (first.bStore ? "store" : "load")
           << " at line " << first.nLine << " by work-item (" << first.vWorkItem[0] << ", "
           << first.vWorkItem[1] << ", " << first.vWorkItem[2] << "), " << first.pSpace
           << " address 0x" << std::hex << first.nAddress << std::dec;
    if (std::string(first.pSpace) == "global")
    {
        stream << ", " << DescribeGlobalAddress(image, desc, vMemory, first.nAddress);
    }
    return stream.str();
}

cl_int ToStatus(const SLaunchResult& result)
{
    return result.eStatus == LS_Success ? CL_SUCCESS : CL_OUT_OF_RESOURCES;
}
} // namespace

cl_command_queue clCreateCommandQueue(cl_context context, cl_device_id device,
                                      cl_command_queue_properties properties, cl_int* errcode_ret)
{
    return GuardedCreate(errcode_ret,
                         [&] { return MakeQueue(context, device, properties, errcode_ret); });
}

cl_command_queue clCreateCommandQueueWithProperties(cl_context context, cl_device_id device,
                                                    const cl_queue_properties* properties,
                                                    cl_int* errcode_ret)
{
    cl_command_queue_properties nProperties = 0;
    for (const cl_queue_properties* p = properties; p != nullptr && *p != 0; p += 2)
    {
        if (p[0] != CL_QUEUE_PROPERTIES)
        {
            SetError(errcode_ret, CDiagnostics::Refuse(CL_INVALID_VALUE, "properties",
                                                       "only CL_QUEUE_PROPERTIES is known"));
            return nullptr;
        }
        nProperties = p[1];
    }
    return Api::clCreateCommandQueue(context, device, nProperties, errcode_ret);
}

cl_int clRetainCommandQueue(cl_command_queue command_queue)
{
    return RetainObject<CCommandQueue>("command_queue", command_queue, CL_INVALID_COMMAND_QUEUE);
}

cl_int clReleaseCommandQueue(cl_command_queue command_queue)
{
    return ReleaseObject<CCommandQueue>("command_queue", command_queue, CL_INVALID_COMMAND_QUEUE);
}

cl_int clGetCommandQueueInfo(cl_command_queue command_queue, cl_command_queue_info param_name,
                             size_t param_value_size, void* param_value,
                             size_t* param_value_size_ret)
{
    return QueryInfo<CCommandQueue>("command_queue", command_queue, CL_INVALID_COMMAND_QUEUE,
                                    param_name, param_value_size, param_value,
                                    param_value_size_ret);
}

cl_int clWaitForEvents(cl_uint num_events, const cl_event* event_list)
{
    if (num_events == 0 || event_list == nullptr)
    {
        return CDiagnostics::Refuse(CL_INVALID_VALUE, num_events == 0 ? "num_events" : "event_list",
                                    num_events == 0 ? "0" : "null");
    }
    return Guarded(
        [&]
        {
            std::vector<CRef<CEvent>> vEvents;
            const CContext* pContext = nullptr;
            for (cl_uint i = 0; i < num_events; ++i)
            {
                CEvent* pEvent = CCLObject::Find<CEvent>(event_list[i]);
                if (pEvent == nullptr)
                {
                    return BadHandle(CL_INVALID_EVENT, "event_list", event_list[i]);
                }
                if (pContext != nullptr && pEvent->GetContext() != pContext)
                {
                    return CDiagnostics::Refuse(CL_INVALID_CONTEXT, "event_list",
                                                "the events belong to different contexts");
                }
                pContext = pEvent->GetContext();
                vEvents.emplace_back(pEvent);
            }
            cl_int nResult = CL_SUCCESS;
            for (const CRef<CEvent>& pEvent : vEvents)
            {
                if (pEvent->Wait() < 0)
                {
                    nResult = CL_EXEC_STATUS_ERROR_FOR_EVENTS_IN_WAIT_LIST;
                }
            }
            return nResult;
        });
}

cl_int clGetEventInfo(cl_event event, cl_event_info param_name, size_t param_value_size,
                      void* param_value, size_t* param_value_size_ret)
{
    return QueryInfo<CEvent>("event", event, CL_INVALID_EVENT, param_name, param_value_size,
                             param_value, param_value_size_ret);
}

cl_int clRetainEvent(cl_event event)
{
    return RetainObject<CEvent>("event", event, CL_INVALID_EVENT);
}

cl_int clReleaseEvent(cl_event event)
{
    return ReleaseObject<CEvent>("event", event, CL_INVALID_EVENT);
}

cl_int clGetEventProfilingInfo(cl_event event, cl_profiling_info param_name,
                               size_t param_value_size, void* param_value,
                               size_t* param_value_size_ret)
{
    CEvent* pEvent = CCLObject::Find<CEvent>(event);
    if (pEvent == nullptr)
    {
        return BadHandle(CL_INVALID_EVENT, "event", event);
    }
    CInfoWriter writer(param_value_size, param_value, param_value_size_ret);
    return pEvent->GetProfilingInfo(param_name, writer);
}

cl_int clFlush(cl_command_queue command_queue)
{
    // Workers take commands as they come.
    return CCLObject::Find<CCommandQueue>(command_queue) != nullptr
               ? CL_SUCCESS
               : BadHandle(CL_INVALID_COMMAND_QUEUE, "command_queue", command_queue);
}

cl_int clFinish(cl_command_queue command_queue)
{
    CCommandQueue* pQueue = CCLObject::Find<CCommandQueue>(command_queue);
    return pQueue != nullptr ? pQueue->Finish()
                             : BadHandle(CL_INVALID_COMMAND_QUEUE, "command_queue", command_queue);
}

cl_int clSetEventCallback(cl_event event, cl_int command_exec_callback_type,
                          void(CL_CALLBACK* pfn_notify)(cl_event, cl_int, void*), void* user_data)
{
    CEvent* pEvent = CCLObject::Find<CEvent>(event);
    if (pEvent == nullptr)
    {
        return BadHandle(CL_INVALID_EVENT, "event", event);
    }
    return Guarded(
        [&] { return pEvent->AddCallback(command_exec_callback_type, pfn_notify, user_data); });
}

cl_event clCreateUserEvent(cl_context context, cl_int* errcode_ret)
{
    return GuardedCreate(errcode_ret,
                         [&]() -> cl_event
                         {
                             CContext* pContext = FindOr<CContext>(context, CL_INVALID_CONTEXT,
                                                                   "context", errcode_ret);
                             if (pContext == nullptr)
                             {
                                 return nullptr;
                             }
                             CEvent* pEvent =
                                 CCLObject::New<CEvent>(pContext, nullptr, CL_COMMAND_USER, false);
                             SetError(errcode_ret, CL_SUCCESS);
                             return static_cast<cl_event>(pEvent->GetHandle());
                         });
}

cl_int clSetUserEventStatus(cl_event event, cl_int execution_status)
{
    CEvent* pEvent = CCLObject::Find<CEvent>(event);
    if (pEvent == nullptr || !pEvent->IsUserEvent())
    {
        return pEvent == nullptr
                   ? BadHandle(CL_INVALID_EVENT, "event", event)
                   : CDiagnostics::Refuse(CL_INVALID_EVENT, "event", "not a user event");
    }
    if (execution_status > CL_COMPLETE)
    {
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "execution_status",
                                    "neither CL_COMPLETE nor an error");
    }
    CRef<CEvent> pHold(pEvent);
    return Guarded(
        [&]
        {
            return pEvent->SetStatus(execution_status)
                       ? CL_SUCCESS
                       : CDiagnostics::Refuse(CL_INVALID_OPERATION, "event",
                                              "its status was set before");
        });
}

cl_int clEnqueueMarker(cl_command_queue command_queue, cl_event* event)
{
    if (event == nullptr)
    {
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "event", "null");
    }
    return EnqueueEmpty(command_queue, CL_COMMAND_MARKER, 0, nullptr, event);
}

cl_int clEnqueueWaitForEvents(cl_command_queue command_queue, cl_uint num_events,
                              const cl_event* event_list)
{
    if (num_events == 0 || event_list == nullptr)
    {
        return CDiagnostics::Refuse(CL_INVALID_VALUE, num_events == 0 ? "num_events" : "event_list",
                                    num_events == 0 ? "0" : "null");
    }
    return EnqueueEmpty(command_queue, CL_COMMAND_BARRIER, num_events, event_list, nullptr);
}

cl_int clEnqueueBarrier(cl_command_queue command_queue)
{
    return EnqueueEmpty(command_queue, CL_COMMAND_BARRIER, 0, nullptr, nullptr);
}

cl_int clEnqueueMarkerWithWaitList(cl_command_queue command_queue, cl_uint num_events_in_wait_list,
                                   const cl_event* event_wait_list, cl_event* event)
{
    return EnqueueEmpty(command_queue, CL_COMMAND_MARKER, num_events_in_wait_list, event_wait_list,
                        event);
}

cl_int clEnqueueBarrierWithWaitList(cl_command_queue command_queue, cl_uint num_events_in_wait_list,
                                    const cl_event* event_wait_list, cl_event* event)
{
    return EnqueueEmpty(command_queue, CL_COMMAND_BARRIER, num_events_in_wait_list, event_wait_list,
                        event);
}

cl_int clEnqueueMigrateMemObjects(cl_command_queue command_queue, cl_uint num_mem_objects,
                                  const cl_mem* mem_objects, cl_mem_migration_flags flags,
                                  cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                                  cl_event* event)
{
    if (num_mem_objects == 0 || mem_objects == nullptr ||
        (flags & ~(CL_MIGRATE_MEM_OBJECT_HOST | CL_MIGRATE_MEM_OBJECT_CONTENT_UNDEFINED)) != 0)
    {
        return CDiagnostics::Refuse(CL_INVALID_VALUE,
                                    num_mem_objects == 0     ? "num_mem_objects"
                                    : mem_objects == nullptr ? "mem_objects"
                                                             : "flags",
                                    num_mem_objects == 0     ? "0"
                                    : mem_objects == nullptr ? "null"
                                                             : "unknown bits");
    }
    for (cl_uint i = 0; i < num_mem_objects; ++i)
    {
        if (CCLObject::Find<CMemObject>(mem_objects[i]) == nullptr)
        {
            return BadHandle(CL_INVALID_MEM_OBJECT, "mem_objects", mem_objects[i]);
        }
    }
    // There is one memory: nothing moves.
    return EnqueueEmpty(command_queue, CL_COMMAND_MIGRATE_MEM_OBJECTS, num_events_in_wait_list,
                        event_wait_list, event);
}

cl_int clEnqueueNDRangeKernel(cl_command_queue command_queue, cl_kernel kernel, cl_uint work_dim,
                              const size_t* global_work_offset, const size_t* global_work_size,
                              const size_t* local_work_size, cl_uint num_events_in_wait_list,
                              const cl_event* event_wait_list, cl_event* event)
{
    return EnqueueKernel(command_queue, kernel, work_dim, global_work_offset, global_work_size,
                         local_work_size, num_events_in_wait_list, event_wait_list, event, nullptr);
}

cl_int EnqueueKernel(cl_command_queue command_queue, cl_kernel kernel, cl_uint work_dim,
                     const size_t* global_work_offset, const size_t* global_work_size,
                     const size_t* local_work_size, cl_uint num_events_in_wait_list,
                     const cl_event* event_wait_list, cl_event* event, CExecutionTrace* pTrace)
{
    CCommandQueue* pQueue = CCLObject::Find<CCommandQueue>(command_queue);
    if (pQueue == nullptr)
    {
        return BadHandle(CL_INVALID_COMMAND_QUEUE, "command_queue", command_queue);
    }
    CKernel* pKernel = CCLObject::Find<CKernel>(kernel);
    if (pKernel == nullptr)
    {
        return BadHandle(CL_INVALID_KERNEL, "kernel", kernel);
    }
    if (pKernel->GetProgram()->GetContext() != pQueue->GetContext())
    {
        return CDiagnostics::Refuse(CL_INVALID_CONTEXT, "kernel",
                                    "its program belongs to another context than the queue");
    }
    return Guarded(
        [&]
        {
            std::shared_ptr<const CKernelImage> pImage = pKernel->GetImage(pQueue->GetDevice());
            if (!pImage)
            {
                return CDiagnostics::Refuse(CL_INVALID_PROGRAM_EXECUTABLE, "kernel",
                                            "its program isn't built for the queue's device");
            }
            SLaunchDesc desc;
            desc.pTrace = pTrace;
            cl_int nError = SetGeometry(*pImage, work_dim, global_work_offset, global_work_size,
                                        local_work_size, desc);
            std::vector<CRef<CMemObject>> vMemory;
            if (nError == CL_SUCCESS)
            {
                nError = pKernel->Capture(pQueue->GetDevice(), desc, vMemory);
            }
            if (nError != CL_SUCCESS)
            {
                return nError;
            }
            // The command holds the kernel, its program and every buffer it names until it
            // has run.
            CRef<CKernel> pHold(pKernel);
            CRef<CContext> pContext(pQueue->GetContext());
            CDeviceMemory* pMemory = &pContext->GetPlatform()->GetMemory();
            return pQueue->Enqueue(
                CL_COMMAND_NDRANGE_KERNEL, num_events_in_wait_list, event_wait_list, event, false,
                [pHold, pImage, desc, vMemory, pContext, pMemory]
                {
                    CPrintfBuffer printfBuffer(pImage->GetPrintf(), *pMemory);
                    SLaunchDesc launch = desc;
                    printfBuffer.Attach(launch);
                    const SLaunchResult result =
                        CILEngine::Launch(pImage->GetProgram(), *pMemory, launch);
                    printfBuffer.Flush();
                    if (result.eStatus != LS_Success)
                    {
                        pContext->Notify("kernel " + pImage->GetName() + ": " + result.strMessage);
                    }
                    if (result.nOutOfBoundsLoads + result.nOutOfBoundsStores != 0 &&
                        CDiagnostics::IsOn())
                    {
                        CDiagnostics::Print(DescribeOutOfBounds(*pImage, desc, vMemory, result));
                    }
                    return ToStatus(result);
                });
        });
}

cl_int clEnqueueTask(cl_command_queue command_queue, cl_kernel kernel,
                     cl_uint num_events_in_wait_list, const cl_event* event_wait_list,
                     cl_event* event)
{
    const size_t nOne = 1;
    return Api::clEnqueueNDRangeKernel(command_queue, kernel, 1, nullptr, &nOne, &nOne,
                                       num_events_in_wait_list, event_wait_list, event);
}
} // namespace Api
} // namespace XAN_Platform
