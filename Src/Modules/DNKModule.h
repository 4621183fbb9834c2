#ifndef DNK_MODULE_H
#define DNK_MODULE_H

#include "Modules/LibraryModule.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// The compiler library's target description, which it hands out and takes back by value. The
// name is the library's own, so that the function types agree with those of its definitions.
struct DNKTargetInfo
{
    uint32_t nValues[4];
};
static_assert(sizeof(DNKTargetInfo) == 16, "a 16-byte target description");

// Takes what the compiler says: a text and its size.
typedef void (*DNKLogFunc)(const char* pText, size_t nSize);

// The compiler library's functions. Handles and binary objects are opaque; every function
// reports through an error out argument or its result, where 0 is DNK_SUCCESS.
typedef DNKTargetInfo (*dnkGetTargetInfoFunc)(const char* pArchitecture, const char* pDevice,
                                              int* pError);
typedef void* (*dnkCompilerInitFunc)(void* pReserved1, void* pReserved2);
typedef int (*dnkCompilerFiniFunc)(void* pCompiler);
typedef void* (*dnkReadFromMemFunc)(const void* pImage, size_t nSize, int* pError);
typedef void* (*dnkReadFromFileFunc)(const char* pPath, int* pError);
typedef void* (*dnkBinaryInitFunc)(size_t nStructSize, DNKTargetInfo target, const char* pOptions,
                                   int* pError);
typedef int (*dnkBinaryFiniFunc)(void* pBinary);
typedef int (*dnkWriteToMemFunc)(void* pBinary, void** ppImage, size_t* pnSize);
typedef int (*dnkWriteToFileFunc)(void* pBinary, const char* pPath);
typedef int (*dnkInsertSectionFunc)(void* pCompiler, void* pBinary, const void* pData, size_t nSize,
                                    int nSectionKind);
typedef const void* (*dnkExtractSectionFunc)(void* pCompiler, void* pBinary, size_t* pnSize,
                                             int nSectionKind, int* pError);
typedef int (*dnkRemoveSectionFunc)(void* pCompiler, void* pBinary, int nSectionKind);
typedef int (*dnkQueryInfoFunc)(void* pCompiler, void* pBinary, int nQuery, const char* pKernelName,
                                void* pBuffer, size_t* pnSize);
typedef int (*dnkDbgAddArgumentFunc)(void* pCompiler, void* pBinary, const char* pName,
                                     uint32_t nValue1, uint32_t nValue2);
typedef const void* (*dnkExtractSymbolFunc)(void* pCompiler, void* pBinary, size_t* pnSize,
                                            int nSectionKind, const char* pName, int* pError);
typedef int (*dnkInsertSymbolFunc)(void* pCompiler, void* pBinary, const void* pData, size_t nSize,
                                   int nSectionKind, const char* pName);
typedef int (*dnkRemoveSymbolFunc)(void* pCompiler, void* pBinary, int nSectionKind,
                                   const char* pName);
typedef int (*dnkCompileFunc)(void* pCompiler, void* pBinary, const char* pOptions, int nFromStage,
                              int nToStage, DNKLogFunc pfnLog);
typedef int (*dnkDisassembleFunc)(void* pCompiler, void* pBinary, DNKLogFunc pfnLog);

// The compiler library's 19 functions in table order.
#define XAN_DNK_FUNCTIONS(X)                                                                       \
    X(dnkGetTargetInfoFunc, dnkGetTargetInfo)                                                      \
    X(dnkCompilerInitFunc, dnkCompilerInit)                                                        \
    X(dnkCompilerFiniFunc, dnkCompilerFini)                                                        \
    X(dnkReadFromMemFunc, dnkReadFromMem)                                                          \
    X(dnkReadFromFileFunc, dnkReadFromFile)                                                        \
    X(dnkBinaryInitFunc, dnkBinaryInit)                                                            \
    X(dnkBinaryFiniFunc, dnkBinaryFini)                                                            \
    X(dnkWriteToMemFunc, dnkWriteToMem)                                                            \
    X(dnkWriteToFileFunc, dnkWriteToFile)                                                          \
    X(dnkInsertSectionFunc, dnkInsertSection)                                                      \
    X(dnkExtractSectionFunc, dnkExtractSection)                                                    \
    X(dnkRemoveSectionFunc, dnkRemoveSection)                                                      \
    X(dnkQueryInfoFunc, dnkQueryInfo)                                                              \
    X(dnkDbgAddArgumentFunc, dnkDbgAddArgument)                                                    \
    X(dnkExtractSymbolFunc, dnkExtractSymbol)                                                      \
    X(dnkInsertSymbolFunc, dnkInsertSymbol)                                                        \
    X(dnkRemoveSymbolFunc, dnkRemoveSymbol)                                                        \
    X(dnkCompileFunc, dnkCompile)                                                                  \
    X(dnkDisassembleFunc, dnkDisassemble)

struct DNKFunctionTable
{
    XAN_DNK_FUNCTIONS(XAN_MODULE_SLOT)
};

// The compiler library, bound by name. It counts as loaded when dnkCompilerInit is bound,
// whatever the other slots hold.
class DNKModule : public DNKFunctionTable, public LibraryModule
{
public:
    static const size_t NUM_FUNCTIONS = sizeof(DNKFunctionTable) / sizeof(void*);

    explicit DNKModule(const std::string& strFileName);

    // Tries the given name and then, while nothing has loaded, the library's other names.
    bool LoadModule(const std::string& strFileName);

    // The names under which the library is looked for after the given one, in order.
    static const std::vector<std::string>& GetFallbackNames();
};

// The process-wide instance, constructed during static initialisation with the first name.
extern DNKModule g_DNKModule;

#endif
