#ifndef XAN_KERNEL_DEBUG_STATE_H
#define XAN_KERNEL_DEBUG_STATE_H

#include "ShaderDebuggerHostCL.h"

#include "XANOpenCLDebug.h"

#include <boost/thread/mutex.hpp>

#include <set>
#include <string>

// The record of one debugged launch. Its address is the handle that the front-end receives.
struct KernelDebugState
{
    KernelDebugState();
    // Deletes the host, and with it the debugger and the device.
    ~KernelDebugState();

    KernelDebugState(const KernelDebugState&) = delete;
    KernelDebugState& operator=(const KernelDebugState&) = delete;

    xanclDebugCallback m_callback;
    void* m_pUserData;
    XAN_ShaderDebugger::CShaderDebuggerHostCL* m_pHost; // owned
    xanclDebugEvent m_debugEvent;
    // Dimension count, then four extents.
    cl_uint m_workSize[5];
    // DoContinue has ended the debugger and run the kernel natively.
    bool m_bDebuggingEnded;
    bool m_bTrackPrivateMemory;
    bool m_bIsTidalReefs;
};

// The live debug runs: a handle that isn't here is invalid.
extern std::set<KernelDebugState*> g_KernelDebugStates;
// Guards g_KernelDebugStates, the states and their debuggers. Not recursive: the front-end's
// callback is never called with it held, so that the callback's queries can take it.
extern boost::mutex g_KernelDebugStatesMutex;

// Drives one debug run: calls the callback at each event and carries out its commands. True
// when the run reached its end.
bool DoDebugging(KernelDebugState* pKernelDebugState);

// Runs to the next breakpoint under the debugger, or without one ends the debugger and runs the
// kernel natively. True while the debugger has stopped and the run goes on.
bool DoContinue(KernelDebugState* pKernelDebugState, cl_command_queue commandQueue,
                cl_kernel kernel, cl_uint nWorkDim, const size_t* pGlobalWorkOffset,
                const size_t* pGlobalWorkSize, const size_t* pLocalWorkSize);

// The runtime's intercept hook, the value of the intercepting contexts' property: runs the debug
// run of a launch enqueued by xanclDebugEnqueueNDRangeKernel when the launch is ready to
// execute. False lets the runtime execute the command itself.
bool CL_CALLBACK CommandInterceptCallback(cl_event event, cl_int* pStatus);

// Texts of the usage log; values without a name print as decimal numbers.
std::string GetDebugEventText(cl_uint debugEvent);
std::string GetDebugCommandText(cl_uint debugCommand);

#endif
