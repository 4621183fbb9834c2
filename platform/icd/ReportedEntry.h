#ifndef XAN_PLATFORM_REPORTEDENTRY_H
#define XAN_PLATFORM_REPORTEDENTRY_H

#include "CDiagnostics.h"

#include <CL/cl.h>

#include <tuple>
#include <type_traits>

namespace XAN_Platform
{
namespace Api
{
// An entry point as the application reaches it (through the dispatch table or by its name): a
// refusal is reported with the reason its check recorded.
template <auto pfnEntry> struct SReportedEntry;

template <class TResult, class... TArgs, TResult (*pfnEntry)(TArgs...)>
struct SReportedEntry<pfnEntry>
{
    static TResult CL_API_CALL Call(TArgs... args)
    {
        CDiagnostics::BeginCall();
        if constexpr (std::is_same<TResult, cl_int>::value)
        {
            const cl_int nError = pfnEntry(args...);
            CDiagnostics::EndCall(s_pName, nError);
            return nError;
        }
        else if constexpr (sizeof...(TArgs) != 0 &&
                           std::is_same<typename std::tuple_element<sizeof...(TArgs) - 1,
                                                                    std::tuple<TArgs...>>::type,
                                        cl_int*>::value)
        {
            // The status comes back through errcode_ret, which the caller may leave null.
            std::tuple<TArgs...> tupleArgs(args...);
            cl_int*& pErrcodeRet = std::get<sizeof...(TArgs) - 1>(tupleArgs);
            cl_int* const pCallers = pErrcodeRet;
            cl_int nError = CL_SUCCESS;
            pErrcodeRet = &nError;
            TResult result = std::apply(pfnEntry, tupleArgs);
            CDiagnostics::EndCall(s_pName, nError);
            if (pCallers != nullptr)
            {
                *pCallers = nError;
            }
            return result;
        }
        else
        {
            return pfnEntry(args...);
        }
    }

    static const char* s_pName;
};

template <class TResult, class... TArgs, TResult (*pfnEntry)(TArgs...)>
const char* SReportedEntry<pfnEntry>::s_pName = "";

// The reporting form of pfnEntry, under the name the application calls it by.
template <auto pfnEntry> auto ReportedEntry(const char* pName)
{
    SReportedEntry<pfnEntry>::s_pName = pName;
    return &SReportedEntry<pfnEntry>::Call;
}
} // namespace Api
} // namespace XAN_Platform

#endif
