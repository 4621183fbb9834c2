#include "APIConsistencyLog.h"

#include "APIUsageLog.h"

APIConsistencyLog& APIConsistencyLog::GetInstance()
{
    // Never destroyed, like the usage log.
    static APIConsistencyLog* s_pInstance = new APIConsistencyLog();
    return *s_pInstance;
}

APIConsistencyLog::APIConsistencyLog() : m_nLogLevel(GetLogLevelFromEnvironment())
{
    OpenLogFile(m_File, "XANOpenCLDebugAPIConsistency.log");
}
