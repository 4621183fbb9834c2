// A compiler library that offers dnkCompilerInit alone, whose handle tells which library
// answered; built with XAN_FAKE_NO_INIT it offers every other name instead.

#include <cstddef>

#define FAKE_EXPORT extern "C" __attribute__((visibility("default")))

#ifdef XAN_FAKE_NO_INIT
#define FAKE_FUNCTION(name)                                                                        \
    FAKE_EXPORT int name(void)                                                                     \
    {                                                                                              \
        return 0;                                                                                  \
    }

FAKE_FUNCTION(dnkGetTargetInfo)
FAKE_FUNCTION(dnkCompilerFini)
FAKE_FUNCTION(dnkReadFromMem)
FAKE_FUNCTION(dnkReadFromFile)
FAKE_FUNCTION(dnkBinaryInit)
FAKE_FUNCTION(dnkBinaryFini)
FAKE_FUNCTION(dnkWriteToMem)
FAKE_FUNCTION(dnkWriteToFile)
FAKE_FUNCTION(dnkInsertSection)
FAKE_FUNCTION(dnkExtractSection)
FAKE_FUNCTION(dnkRemoveSection)
FAKE_FUNCTION(dnkQueryInfo)
FAKE_FUNCTION(dnkDbgAddArgument)
FAKE_FUNCTION(dnkExtractSymbol)
FAKE_FUNCTION(dnkInsertSymbol)
FAKE_FUNCTION(dnkRemoveSymbol)
FAKE_FUNCTION(dnkCompile)
FAKE_FUNCTION(dnkDisassemble)
#else
namespace
{
char s_Handle[] = XAN_FAKE_LIBRARY_NAME;
}

FAKE_EXPORT void* dnkCompilerInit(void*, void*)
{
    return s_Handle;
}
#endif
