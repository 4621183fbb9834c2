#include "APIUsageLog.h"

#include <cstdlib>

int32_t GetLogLevelFromEnvironment()
{
    const char* pValue = getenv("XAN_CL_DEBUG_LOG_LEVEL");
    if (pValue == NULL)
    {
        return 3;
    }
    return atoi(pValue);
}

void OpenLogFile(std::ofstream& file, const char* pFileName)
{
    file.open(pFileName, std::ios::out | std::ios::trunc);
}

APIUsageLog& APIUsageLog::GetInstance()
{
    // Never destroyed: exports may still log while other static objects go away at exit.
    static APIUsageLog* s_pInstance = new APIUsageLog();
    return *s_pInstance;
}

CLogFile::CLogFile(const char* pFileName) : m_nLogLevel(GetLogLevelFromEnvironment())
{
    OpenLogFile(m_File, pFileName);
}

APIUsageLog::APIUsageLog() : CLogFile("XANOpenCLDebugAPIUsage.log") {}

template <typename THandle> static THandle LogHandleReturn(const char* pFunction, THandle handle)
{
    APIUsageLog::GetInstance() << pFunction << "() returned " << static_cast<const void*>(handle)
                               << "\n";
    return handle;
}

cl_context LogReturn(const char* pFunction, cl_context context)
{
    return LogHandleReturn(pFunction, context);
}

cl_command_queue LogReturn(const char* pFunction, cl_command_queue commandQueue)
{
    return LogHandleReturn(pFunction, commandQueue);
}

void CLD_ReportFailure(const char* pFunction, const char* pKind, const char* pText)
{
    APIUsageLog& log = APIUsageLog::GetInstance();
    if (log.IsAssertLoggingEnabled())
    {
        log << "Assert: " << pFunction << " " << pKind << "( " << pText << " )\n";
    }
}
