#ifndef EXPORT_CALL_H
#define EXPORT_CALL_H

#include "APIUsageLog.h"

#include <sstream>
#include <string>

// The first line that every export writes to the usage log: its name and its arguments,
// "f( a, b, c )\n", pointers as addresses.
namespace ExportCall
{
template <typename T> void PutArg(std::ostream& stream, const T& value)
{
    stream << value;
}
template <typename T> void PutArg(std::ostream& stream, T* pValue)
{
    stream << static_cast<const void*>(pValue);
}
inline void PutArgs(std::ostream&) {}
template <typename TFirst, typename... TRest>
void PutArgs(std::ostream& stream, const TFirst& first, const TRest&... rest)
{
    stream << ", ";
    PutArg(stream, first);
    PutArgs(stream, rest...);
}
} // namespace ExportCall

template <typename TFirst, typename... TRest>
void LogCall(const char* pFunction, const TFirst& first, const TRest&... rest)
{
    std::ostringstream line;
    line << pFunction << "( ";
    ExportCall::PutArg(line, first);
    ExportCall::PutArgs(line, rest...);
    line << " )\n";
    APIUsageLog::GetInstance() << line.str();
}

#endif
