#include "CDebugLibrary.h"

#include <dlfcn.h>

namespace XAN_Xancldb
{
namespace
{
const char* const LIBRARY_NAME = "libXANOpenCLDebug.so";
} // namespace

bool CDebugLibrary::Load(std::string& strError)
{
    void* pHandle = dlopen(LIBRARY_NAME, RTLD_NOW | RTLD_LOCAL);
    if (pHandle == nullptr)
    {
        const char* pError = dlerror();
        strError = std::string("can't load ") + LIBRARY_NAME + ": " +
                   (pError != nullptr ? pError : "not found");
        return false;
    }
#define XANCLDB_BIND(name)                                                                         \
    name = reinterpret_cast<decltype(name)>(dlsym(pHandle, #name));                                \
    if (name == nullptr)                                                                           \
    {                                                                                              \
        strError = std::string(LIBRARY_NAME) + " lacks the export " #name;                         \
        return false;                                                                              \
    }
    XANCLDB_EXPORTS(XANCLDB_BIND)
#undef XANCLDB_BIND
    return true;
}

std::string CDebugLibrary::LocatorToString(cl_ulong locator) const
{
    size_t nLength = 0;
    if (xanclDebugUtilDebugRegisterLocatorToString(locator, 0, nullptr, &nLength) !=
            XANCLDEBUG_SUCCESS ||
        nLength <= 1)
    {
        return std::string();
    }
    std::string strName(nLength, '\0');
    if (xanclDebugUtilDebugRegisterLocatorToString(locator, nLength, &strName[0], nullptr) !=
        XANCLDEBUG_SUCCESS)
    {
        return std::string();
    }
    strName.resize(nLength - 1);
    return strName;
}

std::string CDebugLibrary::GetLastError(KernelDebugState* pState) const
{
    size_t nLength = 0;
    if (xanclDebugUtilGetLastError(pState, 0, nullptr, &nLength) != XANCLDEBUG_SUCCESS ||
        nLength <= 1)
    {
        return std::string();
    }
    std::string strText(nLength, '\0');
    if (xanclDebugUtilGetLastError(pState, nLength, &strText[0], nullptr) != XANCLDEBUG_SUCCESS)
    {
        return std::string();
    }
    return strText.substr(0, strText.find('\0'));
}
} // namespace XAN_Xancldb
