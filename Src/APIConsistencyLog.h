#ifndef API_CONSISTENCY_LOG_H
#define API_CONSISTENCY_LOG_H

#include "APIUsageLog.h"

// The log of the IL utilities, which have no host to report to, in
// "XANOpenCLDebugAPIConsistency.log". It takes no lock: the utilities run under the lock of the
// debug run.
class APIConsistencyLog : public CLogFile
{
public:
    static APIConsistencyLog& GetInstance();

    template <typename T> APIConsistencyLog& operator<<(const T& value)
    {
        Write(value);
        return *this;
    }

private:
    APIConsistencyLog();
};

#endif
