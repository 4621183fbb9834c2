#include "CDiagnostics.h"

#include "CPlatformSettings.h"

#include <cstdio>

namespace XAN_Platform
{
namespace
{
// The reason of the call in progress on this thread: callbacks and launches run elsewhere.
thread_local std::string t_strReason;
} // namespace

bool CDiagnostics::IsOn()
{
    static const bool s_bOn = CPlatformSettings::Get().ReportsDiagnostics();
    return s_bOn;
}

cl_int CDiagnostics::Refuse(cl_int nError, const char* pArgument, const std::string& strCause)
{
    if (IsOn() && t_strReason.empty())
    {
        t_strReason = *pArgument != '\0' ? std::string(pArgument) + ": " + strCause : strCause;
    }
    return nError;
}

void CDiagnostics::BeginCall()
{
    if (IsOn())
    {
        t_strReason.clear();
    }
}

void CDiagnostics::EndCall(const char* pFunction, cl_int nError)
{
    if (nError == CL_SUCCESS || !IsOn())
    {
        return;
    }
    Print(std::string(pFunction) + ": " + (t_strReason.empty() ? "refused" : t_strReason) + " (" +
          ErrorName(nError) + ")");
}

void CDiagnostics::Print(const std::string& strLine)
{
    std::fprintf(stderr, "Nordvane OpenCL: %s\n", strLine.c_str());
}

std::string CDiagnostics::ErrorName(cl_int nError)
{
    switch (nError)
    {
#define XAN_ERROR_NAME(name)                                                                       \
    case name:                                                                                     \
        return #name;
        XAN_ERROR_NAME(CL_DEVICE_NOT_FOUND)
        XAN_ERROR_NAME(CL_DEVICE_NOT_AVAILABLE)
        XAN_ERROR_NAME(CL_COMPILER_NOT_AVAILABLE)
        XAN_ERROR_NAME(CL_MEM_OBJECT_ALLOCATION_FAILURE)
        XAN_ERROR_NAME(CL_OUT_OF_RESOURCES)
        XAN_ERROR_NAME(CL_OUT_OF_HOST_MEMORY)
        XAN_ERROR_NAME(CL_PROFILING_INFO_NOT_AVAILABLE)
        XAN_ERROR_NAME(CL_IMAGE_FORMAT_MISMATCH)
        XAN_ERROR_NAME(CL_IMAGE_FORMAT_NOT_SUPPORTED)
        XAN_ERROR_NAME(CL_BUILD_PROGRAM_FAILURE)
        XAN_ERROR_NAME(CL_MAP_FAILURE)
        XAN_ERROR_NAME(CL_MISALIGNED_SUB_BUFFER_OFFSET)
        XAN_ERROR_NAME(CL_EXEC_STATUS_ERROR_FOR_EVENTS_IN_WAIT_LIST)
        XAN_ERROR_NAME(CL_DEVICE_PARTITION_FAILED)
        XAN_ERROR_NAME(CL_KERNEL_ARG_INFO_NOT_AVAILABLE)
        XAN_ERROR_NAME(CL_INVALID_VALUE)
        XAN_ERROR_NAME(CL_INVALID_DEVICE_TYPE)
        XAN_ERROR_NAME(CL_INVALID_PLATFORM)
        XAN_ERROR_NAME(CL_INVALID_DEVICE)
        XAN_ERROR_NAME(CL_INVALID_CONTEXT)
        XAN_ERROR_NAME(CL_INVALID_QUEUE_PROPERTIES)
        XAN_ERROR_NAME(CL_INVALID_COMMAND_QUEUE)
        XAN_ERROR_NAME(CL_INVALID_HOST_PTR)
        XAN_ERROR_NAME(CL_INVALID_MEM_OBJECT)
        XAN_ERROR_NAME(CL_INVALID_IMAGE_FORMAT_DESCRIPTOR)
        XAN_ERROR_NAME(CL_INVALID_IMAGE_SIZE)
        XAN_ERROR_NAME(CL_INVALID_SAMPLER)
        XAN_ERROR_NAME(CL_INVALID_BINARY)
        XAN_ERROR_NAME(CL_INVALID_BUILD_OPTIONS)
        XAN_ERROR_NAME(CL_INVALID_PROGRAM)
        XAN_ERROR_NAME(CL_INVALID_PROGRAM_EXECUTABLE)
        XAN_ERROR_NAME(CL_INVALID_KERNEL_NAME)
        XAN_ERROR_NAME(CL_INVALID_KERNEL_DEFINITION)
        XAN_ERROR_NAME(CL_INVALID_KERNEL)
        XAN_ERROR_NAME(CL_INVALID_ARG_INDEX)
        XAN_ERROR_NAME(CL_INVALID_ARG_VALUE)
        XAN_ERROR_NAME(CL_INVALID_ARG_SIZE)
        XAN_ERROR_NAME(CL_INVALID_KERNEL_ARGS)
        XAN_ERROR_NAME(CL_INVALID_WORK_DIMENSION)
        XAN_ERROR_NAME(CL_INVALID_WORK_GROUP_SIZE)
        XAN_ERROR_NAME(CL_INVALID_WORK_ITEM_SIZE)
        XAN_ERROR_NAME(CL_INVALID_GLOBAL_OFFSET)
        XAN_ERROR_NAME(CL_INVALID_EVENT_WAIT_LIST)
        XAN_ERROR_NAME(CL_INVALID_EVENT)
        XAN_ERROR_NAME(CL_INVALID_OPERATION)
        XAN_ERROR_NAME(CL_INVALID_GL_OBJECT)
        XAN_ERROR_NAME(CL_INVALID_BUFFER_SIZE)
        XAN_ERROR_NAME(CL_INVALID_MIP_LEVEL)
        XAN_ERROR_NAME(CL_INVALID_GLOBAL_WORK_SIZE)
        XAN_ERROR_NAME(CL_INVALID_PROPERTY)
        XAN_ERROR_NAME(CL_INVALID_IMAGE_DESCRIPTOR)
#undef XAN_ERROR_NAME
    default:
        return "error " + std::to_string(nError);
    }
}
} // namespace XAN_Platform
