#include "APIConsistencyLog.h"

APIConsistencyLog& APIConsistencyLog::GetInstance()
{
    // Never destroyed, like the usage log.
    static APIConsistencyLog* s_pInstance = new APIConsistencyLog();
    return *s_pInstance;
}

APIConsistencyLog::APIConsistencyLog() : CLogFile("XANOpenCLDebugAPIConsistency.log") {}
