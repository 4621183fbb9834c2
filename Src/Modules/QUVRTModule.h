#ifndef QUVRT_MODULE_H
#define QUVRT_MODULE_H

#include "Modules/LibraryModule.h"

#include <cstdint>
#include <string>

// The functions of the low-level runtime that the library calls, and the three functions of its
// IL converter extension. All answer 0 on success.
typedef int (*quvInitFunc)();
typedef int (*quvExtSupportedFunc)(uint32_t nExtension);
typedef int (*quvExtGetProcFunc)(void** ppFunction, uint32_t nExtension, const char* pName);
typedef int (*quvConvertTextToBinaryFunc)(void** ppBinary, uint32_t* pnSizeInBytes, int nOne,
                                          const char* pText);
typedef int (*quvConvertBinaryToTextFunc)(const void* pBinary, uint32_t nSizeInBytes, int nOne,
                                          char** ppText);
typedef int (*quvFreeTextBinaryFunc)(void* pTextOrBinary);

// The runtime's 38 functions in table order; those that the library never calls stay untyped.
#define XAN_QUVRT_FUNCTIONS(X)                                                                     \
    X(void*, quvCtxCreate)                                                                         \
    X(void*, quvCtxDestroy)                                                                        \
    X(void*, quvCtxFlush)                                                                          \
    X(void*, quvCtxGetMem)                                                                         \
    X(void*, quvCtxIsEventDone)                                                                    \
    X(void*, quvCtxReleaseMem)                                                                     \
    X(void*, quvCtxRunProgram)                                                                     \
    X(void*, quvCtxRunProgramGrid)                                                                 \
    X(void*, quvCtxRunProgramGridArray)                                                            \
    X(void*, quvCtxSetMem)                                                                         \
    X(void*, quvDeviceClose)                                                                       \
    X(void*, quvDeviceGetAttribs)                                                                  \
    X(void*, quvDeviceGetCount)                                                                    \
    X(void*, quvDeviceGetInfo)                                                                     \
    X(void*, quvDeviceGetStatus)                                                                   \
    X(void*, quvDeviceOpen)                                                                        \
    X(quvExtGetProcFunc, quvExtGetProc)                                                            \
    X(void*, quvExtGetVersion)                                                                     \
    X(quvExtSupportedFunc, quvExtSupported)                                                        \
    X(void*, quvGetErrorString)                                                                    \
    X(void*, quvGetVersion)                                                                        \
    X(void*, quvImageFree)                                                                         \
    X(void*, quvImageRead)                                                                         \
    X(quvInitFunc, quvInit)                                                                        \
    X(void*, quvMemCopy)                                                                           \
    X(void*, quvModuleGetEntry)                                                                    \
    X(void*, quvModuleGetFuncInfo)                                                                 \
    X(void*, quvModuleGetName)                                                                     \
    X(void*, quvModuleLoad)                                                                        \
    X(void*, quvModuleUnload)                                                                      \
    X(void*, quvResAllocLocal1D)                                                                   \
    X(void*, quvResAllocLocal2D)                                                                   \
    X(void*, quvResAllocRemote1D)                                                                  \
    X(void*, quvResAllocRemote2D)                                                                  \
    X(void*, quvResFree)                                                                           \
    X(void*, quvResMap)                                                                            \
    X(void*, quvResUnmap)                                                                          \
    X(void*, quvShutdown)

struct QUVRTFunctionTable
{
    XAN_QUVRT_FUNCTIONS(XAN_MODULE_SLOT)
};

// The low-level compute runtime, bound by name. It counts as loaded only with all 38 functions.
class QUVRTModule : public CompleteLibraryModule<QUVRTFunctionTable>
{
public:
    explicit QUVRTModule(const std::string& strFileName);
};

// The process-wide instance, loaded during static initialisation.
extern QUVRTModule g_QUVRTModule;

#endif
