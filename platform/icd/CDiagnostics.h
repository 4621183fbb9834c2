#ifndef XAN_PLATFORM_CDIAGNOSTICS_H
#define XAN_PLATFORM_CDIAGNOSTICS_H

#include <CL/cl.h>

#include <string>

namespace XAN_Platform
{
// Reasons for refused calls and reports of faults the application can't see, printed on stderr
// when NORDVANE_OCL_DIAGNOSTICS asks for them; otherwise they cost one test of a flag.
class CDiagnostics
{
public:
    static bool IsOn();

    // Records why the current call is refused (the first reason of a call counts) and
    // returns nError, so that a check reads "return CDiagnostics::Refuse(...)". An empty
    // pArgument: the cause concerns the whole call.
    static cl_int Refuse(cl_int nError, const char* pArgument, const std::string& strCause);

    // Around each entry point: forgets the reason of the last call, then prints one line for a
    // refusal, "clCreateBuffer: size: must not be 0 (CL_INVALID_BUFFER_SIZE)".
    static void BeginCall();
    static void EndCall(const char* pFunction, cl_int nError);

    // Prints one line as it is.
    static void Print(const std::string& strLine);

    // The name of an OpenCL error code, such as "CL_INVALID_VALUE".
    static std::string ErrorName(cl_int nError);
};
} // namespace XAN_Platform

#endif
