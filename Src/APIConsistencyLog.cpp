#include "APIConsistencyLog.h"

#include "CLMetadata.h"
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

// The kernel metadata code, shared with the platform, reports its failed checks through a hook
// of its own; the library sends them where the IL utilities send theirs.
[[maybe_unused]] static const bool g_bMetadataReportSet =
    (CCLMetadata::SetConsistencyReport(&SDU_ReportConsistencyAssert), true);
