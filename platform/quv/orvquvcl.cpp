// liborvquvcl64.so: the runtime's compiler interface. Kernels are built by the OpenCL platform
// and converted by liborvquvrt64.so, so none of these is offered.

#include "QuvExport.h"

XAN_QUV_NOT_SUPPORTED(quvclAssembleObject)
XAN_QUV_NOT_SUPPORTED(quvclCompile)
XAN_QUV_NOT_SUPPORTED(quvclDisassembleImage)
XAN_QUV_NOT_SUPPORTED(quvclDisassembleObject)
XAN_QUV_NOT_SUPPORTED(quvclExtGetProc)
XAN_QUV_NOT_SUPPORTED(quvclExtSupported)
XAN_QUV_NOT_SUPPORTED(quvclFreeImage)
XAN_QUV_NOT_SUPPORTED(quvclFreeObject)
XAN_QUV_NOT_SUPPORTED(quvclGetErrorString)
XAN_QUV_NOT_SUPPORTED(quvclGetVersion)
XAN_QUV_NOT_SUPPORTED(quvclImageGetSize)
XAN_QUV_NOT_SUPPORTED(quvclImageWrite)
XAN_QUV_NOT_SUPPORTED(quvclLink)
