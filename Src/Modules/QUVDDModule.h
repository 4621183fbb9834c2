#ifndef QUVDD_MODULE_H
#define QUVDD_MODULE_H

#include "Modules/LibraryModule.h"

#include <string>

// The runtime's driver interface. Nothing calls through it.
#define XAN_QUVDD_FUNCTIONS(X)                                                                     \
    X(void*, quvddiGetExport)                                                                      \
    X(void*, quvddiGetVersion)                                                                     \
    X(void*, quvddiInit)

struct QUVDDFunctionTable
{
    XAN_QUVDD_FUNCTIONS(XAN_MODULE_SLOT)
};

// Counts as loaded only with all 3 functions.
class QUVDDModule : public CompleteLibraryModule<QUVDDFunctionTable>
{
public:
    explicit QUVDDModule(const std::string& strFileName);
};

// Bound during static initialisation and dropped at exit.
extern QUVDDModule g_QUVDDModule;

#endif
