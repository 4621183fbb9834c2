#ifndef XAN_QUV_EXPORT_H
#define XAN_QUV_EXPORT_H

#include "XANQuvRuntime.h"

// Only the API names leave the libraries: they are built with hidden visibility and a version
// script.
#define QUV_EXPORT extern "C" __attribute__((visibility("default")))

// A name that the runtime has for compatibility, whose service this platform doesn't offer.
#define XAN_QUV_NOT_SUPPORTED(name)                                                                \
    QUV_EXPORT int name(void)                                                                      \
    {                                                                                              \
        return QUV_ERROR_NOT_SUPPORTED;                                                            \
    }

#endif
