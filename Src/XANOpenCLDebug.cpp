#include "KernelDebugState.h"

#include "APIUsageLog.h"
#include "Modules/OpenCLModule.h"

#include <cstring>
#include <new>
#include <sstream>

std::set<KernelDebugState*> g_KernelDebugStates;
boost::mutex g_KernelDebugStatesMutex;

KernelDebugState::KernelDebugState()
    : m_callback(NULL), m_pUserData(NULL), m_pHost(NULL),
      m_debugEvent(XANCLDEBUG_EVENT_UNINITIALIZED), m_workSize{2, 0, 0, 0, 0},
      m_bDebuggingEnded(false), m_bTrackPrivateMemory(true), m_bIsTidalReefs(false)
{
}

KernelDebugState::~KernelDebugState()
{
    delete m_pHost;
    m_pHost = NULL;
}

std::string GetDebugEventText(cl_uint debugEvent)
{
    switch (debugEvent)
    {
    case XANCLDEBUG_EVENT_UNINITIALIZED:
        return "EVENT_UNINITIALIZED";
    case XANCLDEBUG_EVENT_STARTED:
        return "EVENT_STARTED";
    case XANCLDEBUG_EVENT_HALTED:
        return "EVENT_HALTED";
    case XANCLDEBUG_EVENT_FINISHED:
        return "EVENT_FINISHED";
    case XANCLDEBUG_EVENT_ERROR:
        return "EVENT_ERROR";
    default:
        return std::to_string(debugEvent);
    }
}

std::string GetDebugCommandText(cl_uint debugCommand)
{
    switch (debugCommand)
    {
    case XANCLDEBUG_COMMAND_UNINITIALIZED:
        return "COMMAND_UNINITIALIZED";
    case XANCLDEBUG_COMMAND_CONTINUE:
        return "COMMAND_CONTINUE";
    case XANCLDEBUG_COMMAND_STEP:
        return "COMMAND_STEP";
    default:
        return std::to_string(debugCommand);
    }
}

namespace
{
typedef boost::unique_lock<boost::mutex> StatesLock;

// Calls the front-end with the lock released, so that its queries can take it, and takes the
// lock again afterwards unless told not to.
cl_uint CallCallback(KernelDebugState* pKernelDebugState, StatesLock& lock, bool bRelock)
{
    const xanclDebugCallback callback = pKernelDebugState->m_callback;
    const cl_uint debugEvent = pKernelDebugState->m_debugEvent;
    void* const pUserData = pKernelDebugState->m_pUserData;

    APIUsageLog& log = APIUsageLog::GetInstance();
    log << "callback( " << static_cast<const void*>(pKernelDebugState) << ", "
        << GetDebugEventText(debugEvent) << " )\n";
    lock.unlock();
    const cl_uint command = callback != NULL
                                ? callback(pKernelDebugState, debugEvent, pUserData)
                                : static_cast<cl_uint>(XANCLDEBUG_COMMAND_UNINITIALIZED);
    if (bRelock)
    {
        lock.lock();
    }
    log << "callback() returned " << GetDebugCommandText(command) << "\n";
    return command;
}

// The run can't start: the front-end hears of it once, and the lock stays released.
bool ReportStartFailure(KernelDebugState* pKernelDebugState, StatesLock& lock)
{
    pKernelDebugState->m_debugEvent = XANCLDEBUG_EVENT_ERROR;
    CallCallback(pKernelDebugState, lock, false);
    return false;
}

// A local size of zeros means that the application gave none.
bool HasLocalSize(cl_uint nWorkDim, const size_t* pLocalWorkSize)
{
    if (pLocalWorkSize == NULL)
    {
        return false;
    }
    for (cl_uint i = 0; i < nWorkDim; ++i)
    {
        if (pLocalWorkSize[i] != 0)
        {
            return true;
        }
    }
    return false;
}
} // namespace

bool DoDebugging(KernelDebugState* pKernelDebugState)
{
    CLD_Assert(pKernelDebugState != NULL);
    if (pKernelDebugState == NULL)
    {
        return false;
    }

    StatesLock lock(g_KernelDebugStatesMutex);
    // clang-format off
    CLD_Assert(g_KernelDebugStates.find( pKernelDebugState ) != g_KernelDebugStates.end());
    // clang-format on
    if (g_KernelDebugStates.find(pKernelDebugState) == g_KernelDebugStates.end())
    {
        return false;
    }
    CLD_Assert(pKernelDebugState->m_debugEvent == XANCLDEBUG_EVENT_UNINITIALIZED);
    if (pKernelDebugState->m_debugEvent != XANCLDEBUG_EVENT_UNINITIALIZED)
    {
        return false;
    }
    XAN_ShaderDebugger::CShaderDebuggerHostCL* pHost = pKernelDebugState->m_pHost;
    CLD_Assert(pHost != NULL);
    if (pHost == NULL)
    {
        return false;
    }

    const cl_kernel kernel = pHost->GetKernel();
    CLD_Assert(kernel != 0);
    if (kernel == 0)
    {
        return false;
    }
    const cl_command_queue commandQueue = pHost->GetCommandQueue();
    CLD_Assert(commandQueue != 0);
    if (commandQueue == 0)
    {
        return false;
    }
    cl_uint nWorkDim = 0;
    const size_t* pGlobalWorkOffset = NULL;
    const size_t* pGlobalWorkSize = NULL;
    const size_t* pLocalWorkSize = NULL;
    const bool bRet =
        pHost->GetEnqueueData(&nWorkDim, &pGlobalWorkOffset, &pGlobalWorkSize, &pLocalWorkSize);
    CLD_Assert(bRet);
    if (!bRet)
    {
        return false;
    }

    APIUsageLog& log = APIUsageLog::GetInstance();
    const std::vector<unsigned char>& binary = pHost->GetKernelBinary();
    if (binary.empty())
    {
        log << "Error: No kernel binary.\n";
        return ReportStartFailure(pKernelDebugState, lock);
    }
    if (!pHost->StartDebugging(binary.data(), binary.size(), NULL, pKernelDebugState->m_workSize,
                               0))
    {
        log << "Error: Could not start kernel debugging.\n";
        return ReportStartFailure(pKernelDebugState, lock);
    }
    if (!pHost->InitKernelArgInfo(kernel))
    {
        return false;
    }

    pKernelDebugState->m_debugEvent = XANCLDEBUG_EVENT_STARTED;
    bool bRunning = true;
    cl_uint command = CallCallback(pKernelDebugState, lock, true);
    pKernelDebugState->m_debugEvent = XANCLDEBUG_EVENT_HALTED;
    pKernelDebugState->m_bDebuggingEnded = false;
    for (;;)
    {
        switch (command)
        {
        case XANCLDEBUG_COMMAND_CONTINUE:
            bRunning = DoContinue(pKernelDebugState, commandQueue, kernel, nWorkDim,
                                  pGlobalWorkOffset, pGlobalWorkSize, pLocalWorkSize);
            break;
        case XANCLDEBUG_COMMAND_STEP:
            bRunning = pHost->Step();
            break;
        default:
            // The front-end is asked again.
            CLD_Break("Unrecognized debug command");
            break;
        }
        if (!bRunning)
        {
            break;
        }
        command = CallCallback(pKernelDebugState, lock, true);
    }

    pKernelDebugState->m_debugEvent = XANCLDEBUG_EVENT_FINISHED;
    CallCallback(pKernelDebugState, lock, true);
    if (!pKernelDebugState->m_bDebuggingEnded)
    {
        pHost->EndDebugging(true);
    }
    return true;
}

bool DoContinue(KernelDebugState* pKernelDebugState, cl_command_queue commandQueue,
                cl_kernel kernel, cl_uint nWorkDim, const size_t* pGlobalWorkOffset,
                const size_t* pGlobalWorkSize, const size_t* pLocalWorkSize)
{
    CLD_Assert(pKernelDebugState != NULL);
    if (pKernelDebugState == NULL || pKernelDebugState->m_pHost == NULL)
    {
        return false;
    }
    XAN_ShaderDebugger::CShaderDebuggerHostCL* pHost = pKernelDebugState->m_pHost;
    if (pHost->GetAllBreakpoints(NULL) != 0)
    {
        pKernelDebugState->m_bDebuggingEnded = false;
        return pHost->Run();
    }

    // Nothing to stop at: the rest of the run goes at full speed, on the application's buffers
    // as they were before the debugger's first run.
    pHost->EndDebugging(false);
    cl_event event = NULL;
    cl_int ret = g_OpenCLModule.clEnqueueNDRangeKernel(
        commandQueue, kernel, nWorkDim, pGlobalWorkOffset, pGlobalWorkSize,
        HasLocalSize(nWorkDim, pLocalWorkSize) ? pLocalWorkSize : NULL, 0, NULL, &event);
    CLD_Assert(ret == CL_SUCCESS);
    if (ret != CL_SUCCESS)
    {
        return false;
    }
    ret = g_OpenCLModule.clWaitForEvents(1, &event);
    if (ret != CL_SUCCESS)
    {
        g_OpenCLModule.clReleaseEvent(event);
        return false;
    }
    ret = g_OpenCLModule.clReleaseEvent(event);
    if (ret != CL_SUCCESS)
    {
        return false;
    }
    pKernelDebugState->m_bDebuggingEnded = true;
    return false;
}

namespace
{
// The frame of the two dispatch-table exports: the call line, the null test, the copy, one line
// per slot of the table, and the return line.
template <typename TTable, typename TCopy>
cl_int DispatchTableExport(const char* pFunction, TTable pTable, TCopy copyTable)
{
    try
    {
        APIUsageLog& log = APIUsageLog::GetInstance();
        log << pFunction << "( " << static_cast<const void*>(pTable) << " )\n";
        if (pTable == NULL)
        {
            return LogReturn(pFunction, CL_INVALID_VALUE);
        }
        copyTable(pTable);
        std::ostringstream text;
        OpenCLModule::PrintTable(text, pTable, OpenCLModule::NUM_DISPATCH_SLOTS);
        log << text.str();
        return LogReturn(pFunction, CL_SUCCESS);
    }
    catch (const std::bad_alloc&)
    {
        return LogReturn(pFunction, CL_OUT_OF_HOST_MEMORY);
    }
}
} // namespace

XANCL_API xanclDebugStatus xanclDebugUtilGetLastError(KernelDebugState* pKernelDebugState,
                                                      size_t nBufferSize, char* pBuffer,
                                                      size_t* pLength)
{
    try
    {
        APIUsageLog::GetInstance()
            << "xanclDebugUtilGetLastError( " << static_cast<const void*>(pKernelDebugState) << ", "
            << nBufferSize << ", " << static_cast<const void*>(pBuffer) << ", "
            << static_cast<const void*>(pLength) << " )\n";
        if ((nBufferSize > 0 && pBuffer == NULL) || pKernelDebugState == NULL)
        {
            return XANCLDEBUG_ERROR_NULL_ARGUMENT;
        }

        // The handle is looked up, so that a stale one gives an error rather than a crash.
        StatesLock lock(g_KernelDebugStatesMutex);
        if (g_KernelDebugStates.find(pKernelDebugState) == g_KernelDebugStates.end() ||
            pKernelDebugState->m_pHost == NULL)
        {
            return XANCLDEBUG_ERROR_INVALID_STATE;
        }
        std::string strErr;
        pKernelDebugState->m_pHost->GetLastError(strErr);

        if (pLength != NULL)
        {
            *pLength = strErr.empty() ? 0 : strErr.size() + 1;
        }
        if (pBuffer != NULL)
        {
            if (strErr.size() + 1 > nBufferSize)
            {
                return XANCLDEBUG_ERROR_BUFFER_TOO_SMALL;
            }
            if (!strErr.empty())
            {
                memcpy(pBuffer, strErr.c_str(), strErr.size() + 1);
            }
        }
        return XANCLDEBUG_SUCCESS;
    }
    catch (const std::bad_alloc&)
    {
        return XANCLDEBUG_ERROR_OUT_OF_MEMORY;
    }
}

XANCL_API cl_int xanclDebugGetDispatchTable(void* pTable)
{
    return DispatchTableExport("xanclDebugGetDispatchTable", pTable,
                               [](void* pOut) { g_OpenCLModule.GetTable(pOut); });
}

XANCL_API cl_int xanclDebugSetDispatchTable(const void* pTable)
{
    return DispatchTableExport("xanclDebugSetDispatchTable", pTable,
                               [](const void* pIn)
                               {
                                   g_OpenCLModule.SetTable(pIn);
                                   g_DeviceOpenCLModule.SetTable(pIn);
                               });
}
