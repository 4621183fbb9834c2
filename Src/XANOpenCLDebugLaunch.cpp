// The launch entry: checks that a launch can be debugged, builds its debug state, and has the
// debug run happen where the launch would start: in the runtime's intercept hook when the
// runtime offers it, else on the caller's thread behind a dummy kernel.
#include "CLExtensions.h"
#include "CLInfo.h"
#include "CLWrappers.h"
#include "ExportCall.h"
#include "KernelBinary/CElf.h"
#include "KernelDebugState.h"
#include "Modules/OpenCLModule.h"

#include <algorithm>
#include <memory>
#include <new>
#include <vector>

namespace
{
typedef boost::unique_lock<boost::mutex> StatesLock;

const char* const ENQUEUE_FUNCTION = "xanclDebugEnqueueNDRangeKernel";

// The arguments of the application's clEnqueueNDRangeKernel.
struct LaunchArgs
{
    cl_command_queue commandQueue;
    cl_kernel kernel;
    cl_uint nWorkDim;
    const size_t* pGlobalWorkOffset;
    const size_t* pGlobalWorkSize;
    const size_t* pLocalWorkSize;
    cl_uint num_events_in_wait_list;
    const cl_event* event_wait_list;
    cl_event* event;
};

// Enqueues a kernel with the launch's geometry and wait list.
cl_int EnqueueLike(const LaunchArgs& launch, cl_kernel kernel, cl_event* pEvent)
{
    return g_OpenCLModule.clEnqueueNDRangeKernel(
        launch.commandQueue, kernel, launch.nWorkDim, launch.pGlobalWorkOffset,
        launch.pGlobalWorkSize, launch.pLocalWorkSize, launch.num_events_in_wait_list,
        launch.event_wait_list, pEvent);
}

// -5001 for another vendor's platform, or the runtime's code when it can't be read.
cl_int CheckPlatform(cl_command_queue commandQueue)
{
    cl_device_id device = NULL;
    cl_platform_id platform = NULL;
    std::string strPlatformVendor;
    cl_int ret =
        GetCLInfo(g_OpenCLModule.clGetCommandQueueInfo, commandQueue, CL_QUEUE_DEVICE, device);
    if (ret == CL_SUCCESS)
    {
        ret = GetCLInfo(g_OpenCLModule.clGetDeviceInfo, device, CL_DEVICE_PLATFORM, platform);
    }
    if (ret == CL_SUCCESS)
    {
        ret = GetCLInfoText(g_OpenCLModule.clGetPlatformInfo, platform, CL_PLATFORM_VENDOR,
                            strPlatformVendor);
    }
    if (ret == CL_SUCCESS && strPlatformVendor != "Nordvane Microsystems")
    {
        ret = XANCLDEBUG_ERROR_UNSUPPORTED_PLATFORM;
    }
    return ret;
}

// Whether the kernel's binary for the device is an ELF image with debug IL.
bool HasDebugInformation(cl_kernel kernel, cl_device_id device)
{
    cl_program program = NULL;
    if (GetCLInfo(g_OpenCLModule.clGetKernelInfo, kernel, CL_KERNEL_PROGRAM, program) != CL_SUCCESS)
    {
        return false;
    }
    std::vector<cl_device_id> vDevices;
    std::vector<std::vector<char>> vvBinaries;
    if (GetProgramBinaries(g_OpenCLModule, program, vDevices, vvBinaries) != CL_SUCCESS)
    {
        return false;
    }
    const std::vector<cl_device_id>::const_iterator itDevice =
        std::find(vDevices.begin(), vDevices.end(), device);
    if (itDevice == vDevices.end())
    {
        return false;
    }
    const XAN_ElfUtils::CElf elf(vvBinaries[itDevice - vDevices.begin()]);
    return elf.IsInitialized() && elf.GetSection(".debugil") != NULL;
}

// Registers a state that must not be registered yet.
bool RegisterState(KernelDebugState* pKernelDebugState)
{
    // clang-format off
    CLD_Assert(g_KernelDebugStates.find( pKernelDebugState ) == g_KernelDebugStates.end());
    // clang-format on
    if (g_KernelDebugStates.find(pKernelDebugState) != g_KernelDebugStates.end())
    {
        APIUsageLog::GetInstance() << "Error: Kernel debug state has already been created.\n";
        return false;
    }
    g_KernelDebugStates.insert(pKernelDebugState);
    return true;
}

// Takes a state out of the registry after its run; false when it wasn't there.
bool UnregisterState(KernelDebugState* pKernelDebugState)
{
    StatesLock lock(g_KernelDebugStatesMutex);
    // clang-format off
    CLD_Assert(g_KernelDebugStates.find( pKernelDebugState ) != g_KernelDebugStates.end());
    // clang-format on
    return g_KernelDebugStates.erase(pKernelDebugState) != 0;
}

// Hands the application's event over, or releases it when the application wants none.
void GiveEvent(cl_event myEvent, cl_event* event)
{
    if (event == NULL)
    {
        g_OpenCLModule.clReleaseEvent(myEvent);
    }
    else
    {
        *event = myEvent;
    }
}

// Enqueues the launch, binds the state to its event and registers it, all under the states'
// lock, so that the hook can't find the event before the state.
cl_int EnqueueIntercepted(std::unique_ptr<KernelDebugState>& pState, const LaunchArgs& launch)
{
    APIUsageLog& log = APIUsageLog::GetInstance();
    if (!InitMetadataKey(launch.commandQueue))
    {
        log << "Error: Failed to initialize metadata extension.\n";
        return XANCLDEBUG_ERROR_FAILURE;
    }
    StatesLock lock(g_KernelDebugStatesMutex);
    cl_event myEvent = NULL;
    cl_int ret = EnqueueLike(launch, launch.kernel, &myEvent);
    if (ret != CL_SUCCESS)
    {
        log << "Error: Failed to enqueue kernel.\n";
        return ret;
    }
    ret = SetEventValue(myEvent, pState.get());
    if (ret != CL_SUCCESS)
    {
        log << "Error: Failed to set object key value.\n";
        g_OpenCLModule.clReleaseEvent(myEvent);
        return ret;
    }
    GiveEvent(myEvent, launch.event);
    if (!RegisterState(pState.get()))
    {
        pState.release();
        return XANCLDEBUG_ERROR_FAILURE;
    }
    pState.release();
    return CL_SUCCESS;
}

// Runs a kernel that does nothing on the application's queue behind its wait list, and waits
// for it, so that the debug run starts when the launch would have.
cl_int EnqueueDummy(const LaunchArgs& launch, cl_event* pEvent)
{
    cl_context context = NULL;
    cl_int ret =
        GetCLInfo(g_OpenCLModule.clGetKernelInfo, launch.kernel, CL_KERNEL_CONTEXT, context);
    if (ret != CL_SUCCESS)
    {
        return ret;
    }
    const char* kernelSource = "__kernel void dummy( void ) { }\n";
    cl_program program =
        g_OpenCLModule.clCreateProgramWithSource(context, 1, &kernelSource, NULL, &ret);
    if (program == NULL)
    {
        return ret;
    }
    ret = g_OpenCLModule.clBuildProgram(program, 0, NULL, NULL, NULL, NULL);
    cl_kernel dummy = NULL;
    if (ret == CL_SUCCESS)
    {
        dummy = g_OpenCLModule.clCreateKernel(program, "dummy", &ret);
    }
    if (dummy != NULL)
    {
        ret = EnqueueLike(launch, dummy, pEvent);
        g_OpenCLModule.clReleaseKernel(dummy);
    }
    g_OpenCLModule.clReleaseProgram(program);
    return ret;
}

// Debugs the launch on this thread, once its wait list is honoured.
cl_int DebugInFallback(std::unique_ptr<KernelDebugState>& pState, const LaunchArgs& launch)
{
    APIUsageLog& log = APIUsageLog::GetInstance();
    log << "Warning: Fallback path unable to support user events.\n";
    if (launch.num_events_in_wait_list != 0 && launch.event_wait_list == NULL)
    {
        return CL_INVALID_EVENT_WAIT_LIST;
    }
    for (cl_uint i = 0; i < launch.num_events_in_wait_list; ++i)
    {
        cl_command_type cmdType = 0;
        const cl_int ret = GetCLInfo(g_OpenCLModule.clGetEventInfo, launch.event_wait_list[i],
                                     CL_EVENT_COMMAND_TYPE, cmdType);
        if (ret != CL_SUCCESS)
        {
            log << "Error: Failed to get event info.\n";
            return ret;
        }
        if (cmdType == CL_COMMAND_USER)
        {
            log << "Error: User events are not supported.\n";
            return XANCLDEBUG_ERROR_FAILURE;
        }
    }

    cl_event myEvent = NULL;
    cl_int ret = EnqueueDummy(launch, &myEvent);
    if (ret != CL_SUCCESS)
    {
        log << "Error: Failed to enqueu dummy kernel.\n";
        return ret;
    }
    ret = g_OpenCLModule.clWaitForEvents(1, &myEvent);
    if (ret != CL_SUCCESS)
    {
        log << "Error: Failed to wait for events.\n";
        g_OpenCLModule.clReleaseEvent(myEvent);
        return ret;
    }
    GiveEvent(myEvent, launch.event);

    {
        StatesLock lock(g_KernelDebugStatesMutex);
        if (!RegisterState(pState.get()))
        {
            pState.release();
            return XANCLDEBUG_ERROR_FAILURE;
        }
    }
    const bool bDebugged = DoDebugging(pState.get());
    if (!UnregisterState(pState.get()))
    {
        log << "Error: Kernel debug state has not been created.\n";
        return XANCLDEBUG_ERROR_FAILURE;
    }
    if (!bDebugged)
    {
        log << "Error: Debugging failed.\n";
        return XANCLDEBUG_ERROR_FAILURE;
    }
    return CL_SUCCESS;
}

// Everything behind the argument test of the export; the state is deleted on every failure.
cl_int EnqueueForDebugging(const LaunchArgs& launch, xanclDebugCallback callback, void* pUserData)
{
    APIUsageLog& log = APIUsageLog::GetInstance();
    const cl_int platformCheck = CheckPlatform(launch.commandQueue);
    if (platformCheck != CL_SUCCESS)
    {
        log << "Error: Failed to check CL platform info.\n";
        return platformCheck;
    }
    cl_command_queue_properties qprops = 0;
    if (GetCLInfo(g_OpenCLModule.clGetCommandQueueInfo, launch.commandQueue, CL_QUEUE_PROPERTIES,
                  qprops) != CL_SUCCESS)
    {
        log << "Error: Failed to check CL queue info.\n";
        return XANCLDEBUG_ERROR_FAILURE;
    }
    if (static_cast<int64_t>(qprops) >= 0)
    {
        log << "Error: Command queue not created with intercept flag.\n";
        return XANCLDEBUG_ERROR_QUEUE_NOT_INTERCEPTED;
    }
    cl_device_id device = NULL;
    if (GetCLInfo(g_OpenCLModule.clGetCommandQueueInfo, launch.commandQueue, CL_QUEUE_DEVICE,
                  device) != CL_SUCCESS)
    {
        log << "Error: Failed to check CL queue info.\n";
        return XANCLDEBUG_ERROR_FAILURE;
    }
    cl_device_type deviceType = 0;
    if (GetCLInfo(g_OpenCLModule.clGetDeviceInfo, device, CL_DEVICE_TYPE, deviceType) != CL_SUCCESS)
    {
        log << "Error: Failed to check CL device info.\n";
        return XANCLDEBUG_ERROR_FAILURE;
    }
    if (deviceType != CL_DEVICE_TYPE_GPU)
    {
        return XANCLDEBUG_ERROR_UNSUPPORTED_DEVICE;
    }
    if (!HasDebugInformation(launch.kernel, device))
    {
        return XANCLDEBUG_ERROR_NO_DEBUG_INFORMATION;
    }

    std::unique_ptr<KernelDebugState> pState(new KernelDebugState());
    pState->m_callback = callback;
    pState->m_pUserData = pUserData;
    const int32_t nLogLevel = GetLogLevelFromEnvironment();
    pState->m_pHost = XAN_ShaderDebugger::CShaderDebuggerHostCL::CreateShaderDebuggerHostCL(
        5, launch.kernel, launch.commandQueue, "XANOpenCLDebug.log");
    if (pState->m_pHost == NULL)
    {
        log << "Error: Failed to create debugger host.\n";
        return XANCLDEBUG_ERROR_FAILURE;
    }
    pState->m_bIsTidalReefs = pState->m_pHost->IsTidalReefs();
    pState->m_pHost->SetLogLevel(static_cast<uint32_t>(nLogLevel));
    std::fill(pState->m_workSize, pState->m_workSize + 5, 1u);
    pState->m_workSize[0] = std::min<cl_uint>(std::max<cl_uint>(launch.nWorkDim, 1), 3);
    for (cl_uint i = 0; i < pState->m_workSize[0]; ++i)
    {
        pState->m_workSize[1 + i] = static_cast<cl_uint>(launch.pGlobalWorkSize[i]);
    }
    if (!pState->m_pHost->SetEnqueueData(launch.nWorkDim, launch.pGlobalWorkOffset,
                                         launch.pGlobalWorkSize, launch.pLocalWorkSize))
    {
        log << "Error: Failed to set enqueue data.\n";
        return XANCLDEBUG_ERROR_FAILURE;
    }

    if (HasObjectMetadataExtension(device) && HasEventCallbackExtension(device))
    {
        return EnqueueIntercepted(pState, launch);
    }
    return DebugInFallback(pState, launch);
}
} // namespace

XANCL_API cl_int xanclDebugEnqueueNDRangeKernel(cl_command_queue commandQueue, cl_kernel kernel,
                                                cl_uint nWorkDim, const size_t* pGlobalWorkOffset,
                                                const size_t* pGlobalWorkSize,
                                                const size_t* pLocalWorkSize,
                                                cl_uint num_events_in_wait_list,
                                                const cl_event* event_wait_list, cl_event* event,
                                                xanclDebugCallback callback, void* pUserData)
{
    try
    {
        LogCall(ENQUEUE_FUNCTION, commandQueue, kernel, nWorkDim, pGlobalWorkOffset,
                pGlobalWorkSize, pLocalWorkSize, num_events_in_wait_list, event_wait_list, event,
                reinterpret_cast<const void*>(callback), pUserData);
        if (callback == NULL || pGlobalWorkSize == NULL)
        {
            return CL_INVALID_VALUE;
        }
        const LaunchArgs launch = {commandQueue,
                                   kernel,
                                   nWorkDim,
                                   pGlobalWorkOffset,
                                   pGlobalWorkSize,
                                   pLocalWorkSize,
                                   num_events_in_wait_list,
                                   event_wait_list,
                                   event};
        return LogReturn(ENQUEUE_FUNCTION, EnqueueForDebugging(launch, callback, pUserData));
    }
    catch (const std::bad_alloc&)
    {
        return LogReturn(ENQUEUE_FUNCTION, static_cast<cl_int>(CL_OUT_OF_HOST_MEMORY));
    }
}

XANCL_API cl_int xanclDebugEnqueueTask(cl_command_queue commandQueue, cl_kernel kernel,
                                       cl_uint num_events_in_wait_list,
                                       const cl_event* event_wait_list, cl_event* event,
                                       xanclDebugCallback callback, void* pUserData)
{
    const size_t nOne = 1;
    return xanclDebugEnqueueNDRangeKernel(commandQueue, kernel, 1, NULL, &nOne, &nOne,
                                          num_events_in_wait_list, event_wait_list, event, callback,
                                          pUserData);
}

bool CL_CALLBACK CommandInterceptCallback(cl_event event, cl_int* pStatus)
{
    try
    {
        LogCall("CommandInterceptCallback", event, pStatus);
        if (g_OpenCLModule.GetVersion() == OpenCLModule::OpenCL_None)
        {
            return false;
        }
        // Every other command of an intercepted queue passes untouched.
        cl_command_type type = 0;
        if (GetCLInfo(g_OpenCLModule.clGetEventInfo, event, CL_EVENT_COMMAND_TYPE, type) !=
                CL_SUCCESS ||
            type != CL_COMMAND_NDRANGE_KERNEL)
        {
            return false;
        }
        KernelDebugState* pKernelDebugState = NULL;
        {
            StatesLock lock(g_KernelDebugStatesMutex);
            void* pValue = NULL;
            if (GetEventValue(event, &pValue) != CL_SUCCESS)
            {
                return false;
            }
            // A launch that didn't come through the debugger has no registered state.
            pKernelDebugState = static_cast<KernelDebugState*>(pValue);
            if (g_KernelDebugStates.find(pKernelDebugState) == g_KernelDebugStates.end())
            {
                return false;
            }
        }
        const bool bDebugged = DoDebugging(pKernelDebugState);
        // A run that couldn't start leaves the kernel to the runtime; its state goes all the same,
        // since nothing would erase it later.
        if (UnregisterState(pKernelDebugState))
        {
            delete pKernelDebugState;
        }
        if (!bDebugged)
        {
            return false;
        }
        if (pStatus != NULL)
        {
            *pStatus = CL_SUCCESS;
        }
        return true;
    }
    catch (const std::bad_alloc&)
    {
        return false;
    }
}
