// A library with the names of the low-level runtime's three libraries, all of them, or, built
// with XAN_FAKE_LACKING, all but one name of each.

#define FAKE_EXPORT(name)                                                                          \
    extern "C" __attribute__((visibility("default"))) int name(void)                               \
    {                                                                                              \
        return 0;                                                                                  \
    }

#ifdef XAN_FAKE_LACKING
#define FAKE_LACKABLE(name)
#else
#define FAKE_LACKABLE(name) FAKE_EXPORT(name)
#endif

FAKE_LACKABLE(quvCtxCreate)
FAKE_EXPORT(quvCtxDestroy)
FAKE_EXPORT(quvCtxFlush)
FAKE_EXPORT(quvCtxGetMem)
FAKE_EXPORT(quvCtxIsEventDone)
FAKE_EXPORT(quvCtxReleaseMem)
FAKE_EXPORT(quvCtxRunProgram)
FAKE_EXPORT(quvCtxRunProgramGrid)
FAKE_EXPORT(quvCtxRunProgramGridArray)
FAKE_EXPORT(quvCtxSetMem)
FAKE_EXPORT(quvDeviceClose)
FAKE_EXPORT(quvDeviceGetAttribs)
FAKE_EXPORT(quvDeviceGetCount)
FAKE_EXPORT(quvDeviceGetInfo)
FAKE_EXPORT(quvDeviceGetStatus)
FAKE_EXPORT(quvDeviceOpen)
FAKE_EXPORT(quvExtGetProc)
FAKE_EXPORT(quvExtGetVersion)
FAKE_EXPORT(quvExtSupported)
FAKE_EXPORT(quvGetErrorString)
FAKE_EXPORT(quvGetVersion)
FAKE_EXPORT(quvImageFree)
FAKE_EXPORT(quvImageRead)
FAKE_EXPORT(quvInit)
FAKE_EXPORT(quvMemCopy)
FAKE_EXPORT(quvModuleGetEntry)
FAKE_EXPORT(quvModuleGetFuncInfo)
FAKE_EXPORT(quvModuleGetName)
FAKE_EXPORT(quvModuleLoad)
FAKE_EXPORT(quvModuleUnload)
FAKE_EXPORT(quvResAllocLocal1D)
FAKE_EXPORT(quvResAllocLocal2D)
FAKE_EXPORT(quvResAllocRemote1D)
FAKE_EXPORT(quvResAllocRemote2D)
FAKE_EXPORT(quvResFree)
FAKE_EXPORT(quvResMap)
FAKE_EXPORT(quvResUnmap)
FAKE_EXPORT(quvShutdown)

FAKE_EXPORT(quvclAssembleObject)
FAKE_EXPORT(quvclCompile)
FAKE_EXPORT(quvclDisassembleImage)
FAKE_EXPORT(quvclDisassembleObject)
FAKE_EXPORT(quvclExtGetProc)
FAKE_EXPORT(quvclExtSupported)
FAKE_LACKABLE(quvclFreeImage)
FAKE_EXPORT(quvclFreeObject)
FAKE_EXPORT(quvclGetErrorString)
FAKE_EXPORT(quvclGetVersion)
FAKE_EXPORT(quvclImageGetSize)
FAKE_EXPORT(quvclImageWrite)
FAKE_EXPORT(quvclLink)

FAKE_EXPORT(quvddiGetExport)
FAKE_EXPORT(quvddiGetVersion)
FAKE_LACKABLE(quvddiInit)
