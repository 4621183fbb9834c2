#ifndef XAN_LIVE_OBJECTS_H
#define XAN_LIVE_OBJECTS_H

// For tests, beside the OpenCL API: the number of OpenCL objects of the Nordvane platform that
// are alive now (contexts, queues, memory objects, samplers, programs, kernels, events), so that
// a test can check that a piece of code releases all it creates. A program that reaches the
// platform through the ICD loader finds the function with dlopen and dlsym.

#include <stddef.h>

#define XAN_COUNT_LIVE_OBJECTS_NAME "xanPlatformCountLiveObjects"

typedef size_t (*PFN_xanPlatformCountLiveObjects)(void);

#endif
