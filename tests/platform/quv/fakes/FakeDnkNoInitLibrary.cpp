// A compiler library that offers every name but dnkCompilerInit.

#include "FakeExport.h"

FAKE_EXPORT(dnkGetTargetInfo)
FAKE_EXPORT(dnkCompilerFini)
FAKE_EXPORT(dnkReadFromMem)
FAKE_EXPORT(dnkReadFromFile)
FAKE_EXPORT(dnkBinaryInit)
FAKE_EXPORT(dnkBinaryFini)
FAKE_EXPORT(dnkWriteToMem)
FAKE_EXPORT(dnkWriteToFile)
FAKE_EXPORT(dnkInsertSection)
FAKE_EXPORT(dnkExtractSection)
FAKE_EXPORT(dnkRemoveSection)
FAKE_EXPORT(dnkQueryInfo)
FAKE_EXPORT(dnkDbgAddArgument)
FAKE_EXPORT(dnkExtractSymbol)
FAKE_EXPORT(dnkInsertSymbol)
FAKE_EXPORT(dnkRemoveSymbol)
FAKE_EXPORT(dnkCompile)
FAKE_EXPORT(dnkDisassemble)
