#ifndef API_USAGE_LOG_H
#define API_USAGE_LOG_H

#include <XANOpenCLDebug.h>

#include <boost/thread/mutex.hpp>

#include <cstdint>
#include <fstream>
#include <ios>
#include <string>

// The threshold of the debugger's log, from XAN_CL_DEBUG_LOG_LEVEL: 3 when unset, 0 for a text
// that isn't a number.
int32_t GetLogLevelFromEnvironment();

// Opens a log file of the current directory, replacing what an earlier run left there. A file
// that can't be opened leaves the stream failed, and whatever is written to it is lost.
void OpenLogFile(std::ofstream& file, const char* pFileName);

// A log file of the current directory, opened at construction. Every write is flushed, so the
// file is complete when the process crashes.
class CLogFile
{
public:
    bool IsCallLoggingEnabled() const { return true; }
    bool IsAssertLoggingEnabled() const { return true; }
    int32_t GetLogLevel() const { return m_nLogLevel; }

    CLogFile(const CLogFile&) = delete;
    CLogFile& operator=(const CLogFile&) = delete;

protected:
    explicit CLogFile(const char* pFileName);

    // Text, numbers, pointers and the stream manipulators (std::hex, std::setw, ...).
    template <typename T> void Write(const T& value)
    {
        if (IsCallLoggingEnabled() || IsAssertLoggingEnabled())
        {
            m_File << value;
            m_File.flush();
        }
    }

private:
    int32_t m_nLogLevel;
    std::ofstream m_File;
};

// The record of every exported call and its result, in "XANOpenCLDebugAPIUsage.log".
class APIUsageLog : public CLogFile
{
public:
    static APIUsageLog& GetInstance();

    // One insertion is one locked write; a line of several can interleave with another thread's.
    template <typename T> APIUsageLog& operator<<(const T& value)
    {
        boost::unique_lock<boost::mutex> lock(m_Mutex);
        Write(value);
        return *this;
    }

private:
    APIUsageLog();

    boost::mutex m_Mutex;
};

// Writes "<function>() returned <status>" and gives the status back, so that an export can
// return through it.
template <typename TStatus> TStatus LogReturn(const char* pFunction, TStatus status)
{
    APIUsageLog::GetInstance() << pFunction << "() returned " << static_cast<int64_t>(status)
                               << "\n";
    return status;
}
cl_context LogReturn(const char* pFunction, cl_context context);
cl_command_queue LogReturn(const char* pFunction, cl_command_queue commandQueue);

// Writes "Assert: <function> <kind>( <text> )" to the usage log.
void CLD_ReportFailure(const char* pFunction, const char* pKind, const char* pText);

// A failed check is reported, and the code behind it takes its own failure path.
#define CLD_Assert(condition)                                                                      \
    do                                                                                             \
    {                                                                                              \
        if (!(condition))                                                                          \
        {                                                                                          \
            CLD_ReportFailure(__func__, "CLD_Assert", #condition);                                 \
        }                                                                                          \
    } while (0)

// Marks a place that must not be reached; the text is a string literal.
#define CLD_Break(text) CLD_ReportFailure(__func__, "CLD_Break", #text)

#endif
