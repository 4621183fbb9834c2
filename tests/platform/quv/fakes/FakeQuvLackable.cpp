// One name of each of the runtime's three libraries: the lacking fake goes without them.

#include "FakeExport.h"

FAKE_EXPORT(quvCtxCreate)
FAKE_EXPORT(quvclFreeImage)
FAKE_EXPORT(quvddiInit)
