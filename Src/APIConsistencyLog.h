#ifndef API_CONSISTENCY_LOG_H
#define API_CONSISTENCY_LOG_H

#include <cstdint>
#include <fstream>

// The log of the IL utilities, which have no host to report to, in
// "XANOpenCLDebugAPIConsistency.log". It takes no lock: the utilities run under the lock of the
// debug run.
class APIConsistencyLog
{
public:
    static APIConsistencyLog& GetInstance();

    bool IsCallLoggingEnabled() const { return true; }
    bool IsAssertLoggingEnabled() const { return true; }
    int32_t GetLogLevel() const { return m_nLogLevel; }

    // Text, numbers, pointers and the stream manipulators (std::hex, std::setw, ...).
    template <typename T> APIConsistencyLog& operator<<(const T& value)
    {
        if (IsCallLoggingEnabled() || IsAssertLoggingEnabled())
        {
            m_File << value;
            m_File.flush();
        }
        return *this;
    }

    APIConsistencyLog(const APIConsistencyLog&) = delete;
    APIConsistencyLog& operator=(const APIConsistencyLog&) = delete;

private:
    APIConsistencyLog();

    int32_t m_nLogLevel;
    std::ofstream m_File;
};

#endif
