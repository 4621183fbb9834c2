#ifndef LOG_TAIL_H
#define LOG_TAIL_H

#include "APIUsageLog.h"
#include "support/TestSupport.h"

#include <string>

namespace XAN_Test
{
// What a log file of the library receives from the moment of construction on. The logs are
// process-wide and opened at their first use, which construction forces.
template <class TLog> class CLogTail
{
public:
    explicit CLogTail(const char* pFileName) : m_strFileName(pFileName)
    {
        TLog::GetInstance() << "";
        m_nStart = ReadFile(m_strFileName).size();
    }

    std::string Text() const { return ReadFile(m_strFileName).substr(m_nStart); }

    size_t Count(const std::string& strPart) const
    {
        const std::string strText = Text();
        size_t nCount = 0;
        for (size_t nPos = strText.find(strPart); nPos != std::string::npos;
             nPos = strText.find(strPart, nPos + 1))
        {
            ++nCount;
        }
        return nCount;
    }

private:
    std::string m_strFileName;
    size_t m_nStart;
};

// What the usage log receives from the moment of construction on.
class CUsageLogTail : public CLogTail<APIUsageLog>
{
public:
    CUsageLogTail() : CLogTail("XANOpenCLDebugAPIUsage.log") {}
};
} // namespace XAN_Test

#endif
