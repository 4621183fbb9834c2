#ifndef QUVCL_MODULE_H
#define QUVCL_MODULE_H

#include "Modules/LibraryModule.h"

#include <string>

// The runtime's compiler library. Nothing calls through it.
#define XAN_QUVCL_FUNCTIONS(X)                                                                     \
    X(void*, quvclAssembleObject)                                                                  \
    X(void*, quvclCompile)                                                                         \
    X(void*, quvclDisassembleImage)                                                                \
    X(void*, quvclDisassembleObject)                                                               \
    X(void*, quvclExtGetProc)                                                                      \
    X(void*, quvclExtSupported)                                                                    \
    X(void*, quvclFreeImage)                                                                       \
    X(void*, quvclFreeObject)                                                                      \
    X(void*, quvclGetErrorString)                                                                  \
    X(void*, quvclGetVersion)                                                                      \
    X(void*, quvclImageGetSize)                                                                    \
    X(void*, quvclImageWrite)                                                                      \
    X(void*, quvclLink)

struct QUVCLFunctionTable
{
    XAN_QUVCL_FUNCTIONS(XAN_MODULE_SLOT)
};

// Counts as loaded only with all 13 functions.
class QUVCLModule : public CompleteLibraryModule<QUVCLFunctionTable>
{
public:
    explicit QUVCLModule(const std::string& strFileName);
};

// Bound during static initialisation and dropped at exit.
extern QUVCLModule g_QUVCLModule;

#endif
