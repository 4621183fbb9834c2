#include "APIConsistencyLog.h"

#include "ConsistencyAssert.h"

APIConsistencyLog& APIConsistencyLog::GetInstance()
{
    // Never destroyed, like the usage log.
    static APIConsistencyLog* s_pInstance = new APIConsistencyLog();
    return *s_pInstance;
}

APIConsistencyLog::APIConsistencyLog() : CLogFile("XANOpenCLDebugAPIConsistency.log") {}

void SDU_ReportConsistencyAssert(const char* pFunction, const char* pCondition)
{
    APIConsistencyLog::GetInstance()
        << "Assert: " << pFunction << " SDU_Assert( " << pCondition << " )\n";
}
