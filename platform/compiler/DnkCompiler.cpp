// libxanocl12cl64.so: the compiler library's C interface over CDnkBinary. Handles are checked
// against the live ones, so that a wrong or ended handle is an error and not a crash.

#include "CDnkBinary.h"
#include "GPUFamily.h"

#include <cstring>
#include <mutex>
#include <new>
#include <set>
#include <strings.h>

#define DNK_EXPORT extern "C" __attribute__((visibility("default")))

using XAN_Platform::CDnkBinary;

namespace
{
// The first word of every target description of this library: "XANI".
const uint32_t TARGET_MAGIC = 0x494E4158;

// A compiler has no state of its own; the handle only has to be told apart.
struct CompilerHandle
{
    int nUnused;
};

std::mutex s_Mutex;
std::set<const void*> s_Compilers;
std::set<const void*> s_Binaries;

bool IsLive(const std::set<const void*>& handles, const void* pHandle)
{
    std::lock_guard<std::mutex> lock(s_Mutex);
    return pHandle != nullptr && handles.count(pHandle) != 0;
}

// Takes a handle out of the live ones; false if it wasn't one.
bool Unregister(std::set<const void*>& handles, const void* pHandle)
{
    std::lock_guard<std::mutex> lock(s_Mutex);
    return pHandle != nullptr && handles.erase(pHandle) != 0;
}

CDnkBinary* FindBinary(void* pBinary)
{
    return IsLive(s_Binaries, pBinary) ? static_cast<CDnkBinary*>(pBinary) : nullptr;
}

// The object of a call that names a compiler too, or null when either handle isn't live.
CDnkBinary* FindBinary(void* pCompiler, void* pBinary)
{
    return IsLive(s_Compilers, pCompiler) ? FindBinary(pBinary) : nullptr;
}

void SetError(int* pError, int nError)
{
    if (pError != nullptr)
    {
        *pError = nError;
    }
}

// Registers a new object, or deletes it and gives null when it holds no valid image.
void* Register(CDnkBinary* pBinary, int* pError)
{
    if (!pBinary->IsValid())
    {
        delete pBinary;
        SetError(pError, DNK_ERROR_INVALID_BINARY);
        return nullptr;
    }
    std::lock_guard<std::mutex> lock(s_Mutex);
    s_Binaries.insert(pBinary);
    SetError(pError, DNK_SUCCESS);
    return pBinary;
}

// Runs an operation; no exception leaves the library.
template <typename TOperation> int Guarded(TOperation operation)
{
    try
    {
        return operation();
    }
    catch (const std::bad_alloc&)
    {
        return DNK_ERROR_OUT_OF_MEMORY;
    }
}

// The same for an operation that gives a pointer and reports through an error out argument.
template <typename TOperation> void* GuardedPointer(int* pError, TOperation operation)
{
    try
    {
        return operation();
    }
    catch (const std::bad_alloc&)
    {
        SetError(pError, DNK_ERROR_OUT_OF_MEMORY);
        return nullptr;
    }
}

// A GPU family name as devices carry it: letters only, in any case.
bool IsFamilyName(const char* pDevice)
{
    if (pDevice == nullptr || *pDevice == '\0')
    {
        return false;
    }
    for (const char* p = pDevice; *p != '\0'; ++p)
    {
        if (!((*p >= 'a' && *p <= 'z') || (*p >= 'A' && *p <= 'Z')))
        {
            return false;
        }
    }
    return true;
}

// The bytes of an extracted section or symbol, or null with the error.
const void* Extracted(int nError, const void* pData, size_t nSize, size_t* pnSize, int* pError)
{
    SetError(pError, nError);
    if (nError != DNK_SUCCESS)
    {
        return nullptr;
    }
    *pnSize = nSize;
    return pData;
}
} // namespace

DNK_EXPORT void* dnkCompilerInit(void* pReserved1, void* pReserved2)
{
    if (pReserved1 != nullptr || pReserved2 != nullptr)
    {
        return nullptr;
    }
    return GuardedPointer(nullptr,
                          []() -> void*
                          {
                              CompilerHandle* pCompiler = new CompilerHandle();
                              std::lock_guard<std::mutex> lock(s_Mutex);
                              s_Compilers.insert(pCompiler);
                              return pCompiler;
                          });
}

DNK_EXPORT int dnkCompilerFini(void* pCompiler)
{
    if (!Unregister(s_Compilers, pCompiler))
    {
        return DNK_ERROR_INVALID_HANDLE;
    }
    delete static_cast<CompilerHandle*>(pCompiler);
    return DNK_SUCCESS;
}

DNK_EXPORT DNKTargetInfo dnkGetTargetInfo(const char* pArchitecture, const char* pDevice,
                                          int* pError)
{
    DNKTargetInfo target = {};
    if (pArchitecture == nullptr || strcasecmp(pArchitecture, "xanil") != 0 ||
        !IsFamilyName(pDevice))
    {
        SetError(pError, DNK_ERROR_UNKNOWN_TARGET);
        return target;
    }
    const bool bOlder = XAN_Platform::IsOlderGPUFamily(pDevice);
    target.nValues[0] = TARGET_MAGIC;
    target.nValues[1] = bOlder ? 1 : 0;
    target.nValues[2] = bOlder ? 32 : 64;
    SetError(pError, DNK_SUCCESS);
    return target;
}

DNK_EXPORT void* dnkBinaryInit(size_t nStructSize, DNKTargetInfo target, const char* pOptions,
                               int* pError)
{
    if (nStructSize != DNK_BINARY_STRUCT_SIZE)
    {
        SetError(pError, DNK_ERROR_STRUCT_SIZE);
        return nullptr;
    }
    if (target.nValues[0] != TARGET_MAGIC)
    {
        SetError(pError, DNK_ERROR_UNKNOWN_TARGET);
        return nullptr;
    }
    if (pOptions != nullptr && *pOptions != '\0')
    {
        SetError(pError, DNK_ERROR_INVALID_ARGUMENT);
        return nullptr;
    }
    return GuardedPointer(pError, [pError]() { return Register(new CDnkBinary(), pError); });
}

DNK_EXPORT int dnkBinaryFini(void* pBinary)
{
    if (!Unregister(s_Binaries, pBinary))
    {
        return DNK_ERROR_INVALID_HANDLE;
    }
    delete static_cast<CDnkBinary*>(pBinary);
    return DNK_SUCCESS;
}

DNK_EXPORT void* dnkReadFromMem(const void* pImage, size_t nSize, int* pError)
{
    if (pImage == nullptr)
    {
        SetError(pError, DNK_ERROR_INVALID_ARGUMENT);
        return nullptr;
    }
    return GuardedPointer(
        pError,
        [=]()
        {
            const char* pBytes = static_cast<const char*>(pImage);
            return Register(new CDnkBinary(std::vector<char>(pBytes, pBytes + nSize)), pError);
        });
}

DNK_EXPORT void* dnkReadFromFile(const char* pPath, int* pError)
{
    if (pPath == nullptr)
    {
        SetError(pError, DNK_ERROR_INVALID_ARGUMENT);
        return nullptr;
    }
    return GuardedPointer(pError,
                          [=]() { return Register(new CDnkBinary(std::string(pPath)), pError); });
}

DNK_EXPORT int dnkWriteToMem(void* pBinary, void** ppImage, size_t* pnSize)
{
    CDnkBinary* pObject = FindBinary(pBinary);
    if (pObject == nullptr)
    {
        return DNK_ERROR_INVALID_HANDLE;
    }
    if (ppImage == nullptr || pnSize == nullptr)
    {
        return DNK_ERROR_INVALID_ARGUMENT;
    }
    return Guarded(
        [=]()
        {
            const void* pImage = nullptr;
            const int nError = pObject->WriteToMemory(pImage, *pnSize);
            *ppImage = const_cast<void*>(pImage);
            return nError;
        });
}

DNK_EXPORT int dnkWriteToFile(void* pBinary, const char* pPath)
{
    CDnkBinary* pObject = FindBinary(pBinary);
    if (pObject == nullptr)
    {
        return DNK_ERROR_INVALID_HANDLE;
    }
    if (pPath == nullptr)
    {
        return DNK_ERROR_INVALID_ARGUMENT;
    }
    return Guarded([=]() { return pObject->WriteToFile(pPath); });
}

DNK_EXPORT int dnkInsertSection(void* pCompiler, void* pBinary, const void* pData, size_t nSize,
                                int nSectionKind)
{
    CDnkBinary* pObject = FindBinary(pCompiler, pBinary);
    return pObject == nullptr
               ? DNK_ERROR_INVALID_HANDLE
               : Guarded([=]() { return pObject->InsertSection(nSectionKind, pData, nSize); });
}

DNK_EXPORT const void* dnkExtractSection(void* pCompiler, void* pBinary, size_t* pnSize,
                                         int nSectionKind, int* pError)
{
    CDnkBinary* pObject = FindBinary(pCompiler, pBinary);
    if (pObject == nullptr || pnSize == nullptr)
    {
        SetError(pError,
                 pObject == nullptr ? DNK_ERROR_INVALID_HANDLE : DNK_ERROR_INVALID_ARGUMENT);
        return nullptr;
    }
    const void* pData = nullptr;
    size_t nSize = 0;
    const int nError = pObject->ExtractSection(nSectionKind, pData, nSize);
    return Extracted(nError, pData, nSize, pnSize, pError);
}

DNK_EXPORT int dnkRemoveSection(void* pCompiler, void* pBinary, int nSectionKind)
{
    CDnkBinary* pObject = FindBinary(pCompiler, pBinary);
    return pObject == nullptr ? DNK_ERROR_INVALID_HANDLE
                              : Guarded([=]() { return pObject->RemoveSection(nSectionKind); });
}

DNK_EXPORT int dnkInsertSymbol(void* pCompiler, void* pBinary, const void* pData, size_t nSize,
                               int nSectionKind, const char* pName)
{
    CDnkBinary* pObject = FindBinary(pCompiler, pBinary);
    return pObject == nullptr
               ? DNK_ERROR_INVALID_HANDLE
               : Guarded([=]()
                         { return pObject->InsertSymbol(nSectionKind, pName, pData, nSize); });
}

DNK_EXPORT const void* dnkExtractSymbol(void* pCompiler, void* pBinary, size_t* pnSize,
                                        int nSectionKind, const char* pName, int* pError)
{
    CDnkBinary* pObject = FindBinary(pCompiler, pBinary);
    if (pObject == nullptr || pnSize == nullptr)
    {
        SetError(pError,
                 pObject == nullptr ? DNK_ERROR_INVALID_HANDLE : DNK_ERROR_INVALID_ARGUMENT);
        return nullptr;
    }
    const void* pData = nullptr;
    size_t nSize = 0;
    const int nError = pObject->ExtractSymbol(nSectionKind, pName, pData, nSize);
    return Extracted(nError, pData, nSize, pnSize, pError);
}

DNK_EXPORT int dnkRemoveSymbol(void* pCompiler, void* pBinary, int nSectionKind, const char* pName)
{
    CDnkBinary* pObject = FindBinary(pCompiler, pBinary);
    return pObject == nullptr
               ? DNK_ERROR_INVALID_HANDLE
               : Guarded([=]() { return pObject->RemoveSymbol(nSectionKind, pName); });
}

DNK_EXPORT int dnkCompile(void* pCompiler, void* pBinary, const char* pOptions, int nFromStage,
                          int nToStage, dnk_log_fn pfnLog)
{
    CDnkBinary* pObject = FindBinary(pCompiler, pBinary);
    if (pObject == nullptr)
    {
        return DNK_ERROR_INVALID_HANDLE;
    }
    if (pOptions != nullptr && *pOptions != '\0')
    {
        return DNK_ERROR_INVALID_ARGUMENT;
    }
    return Guarded([=]() { return pObject->Compile(nFromStage, nToStage, pfnLog); });
}

DNK_EXPORT int dnkDisassemble(void* pCompiler, void* pBinary, dnk_log_fn pfnLog)
{
    CDnkBinary* pObject = FindBinary(pCompiler, pBinary);
    return pObject == nullptr ? DNK_ERROR_INVALID_HANDLE
                              : Guarded([=]() { return pObject->Disassemble(pfnLog); });
}

DNK_EXPORT int dnkQueryInfo(void* pCompiler, void* pBinary, int nQuery, const char* pKernelName,
                            void* pBuffer, size_t* pnSize)
{
    CDnkBinary* pObject = FindBinary(pCompiler, pBinary);
    return pObject == nullptr
               ? DNK_ERROR_INVALID_HANDLE
               : Guarded([=]()
                         { return pObject->QueryInfo(nQuery, pKernelName, pBuffer, pnSize); });
}

DNK_EXPORT int dnkDbgAddArgument(void* pCompiler, void* pBinary, const char* pName,
                                 uint32_t nResourceId, uint32_t nAlignment)
{
    CDnkBinary* pObject = FindBinary(pCompiler, pBinary);
    return pObject == nullptr
               ? DNK_ERROR_INVALID_HANDLE
               : Guarded([=]()
                         { return pObject->AddDebugArgument(pName, nResourceId, nAlignment); });
}
