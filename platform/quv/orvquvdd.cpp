// liborvquvdd64.so: the runtime's driver interface, which the emulated device doesn't have.

#include "QuvExport.h"

XAN_QUV_NOT_SUPPORTED(quvddiGetExport)
XAN_QUV_NOT_SUPPORTED(quvddiGetVersion)
XAN_QUV_NOT_SUPPORTED(quvddiInit)
