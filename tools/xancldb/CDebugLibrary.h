#ifndef XAN_TOOLS_XANCLDB_CDEBUGLIBRARY_H
#define XAN_TOOLS_XANCLDB_CDEBUGLIBRARY_H

#include "XANOpenCLDebug.h"

#include <string>

// The exports of the debug library that xancldb calls.
#define XANCLDB_EXPORTS(X)                                                                         \
    X(xanclDebugEnqueueNDRangeKernel)                                                              \
    X(xanclDebugGetProgramCounter)                                                                 \
    X(xanclDebugSetBreakpoint)                                                                     \
    X(xanclDebugClearBreakpoint)                                                                   \
    X(xanclDebugClearAllBreakpoints)                                                               \
    X(xanclDebugGetExecutionMask)                                                                  \
    X(xanclDebugSetTrackingRegisters)                                                              \
    X(xanclDebugGetActiveRegisters)                                                                \
    X(xanclDebugGetNumberOfActiveRegisters)                                                        \
    X(xanclDebugGetRegisterValues)                                                                 \
    X(xanclDebugGetPrivateMemoryValues)                                                            \
    X(xanclDebugGetGlobalMemoryValues)                                                             \
    X(xanclDebugGetValidGlobalMemoryRegions)                                                       \
    X(xanclDebugGetDispatchTable)                                                                  \
    X(xanclDebugSetDispatchTable)                                                                  \
    X(xanclInterceptCreateContext)                                                                 \
    X(xanclInterceptCreateCommandQueue)                                                            \
    X(xanclInterceptCreateKernel)                                                                  \
    X(xanclInterceptReleaseKernel)                                                                 \
    X(xanclInterceptSetKernelArg)                                                                  \
    X(xanclDebugUtilStringToDebugRegisterLocator)                                                  \
    X(xanclDebugUtilDebugRegisterLocatorToString)                                                  \
    X(xanclDebugUtilGetLastError)

namespace XAN_Xancldb
{
// libXANOpenCLDebug.so, bound by name when xancldb starts, so that a library that lacks an
// export is reported by that name instead of stopping the program from loading. It stays loaded
// until the process ends, as a linked library would: its logs live that long.
class CDebugLibrary
{
public:
    CDebugLibrary() = default;
    CDebugLibrary(const CDebugLibrary&) = delete;
    CDebugLibrary& operator=(const CDebugLibrary&) = delete;

    // False with the reason in strError.
    bool Load(std::string& strError);

    // The text of a register locator; empty for one the library can't name.
    std::string LocatorToString(cl_ulong locator) const;
    // The last error the library recorded for a debug run, or for none with a null handle.
    std::string GetLastError(KernelDebugState* pState) const;

#define XANCLDB_DECLARE(name) decltype(&::name) name = nullptr;
    XANCLDB_EXPORTS(XANCLDB_DECLARE)
#undef XANCLDB_DECLARE
};
} // namespace XAN_Xancldb

#endif
