// Arbitrary text, seeded with the corpus of kernels, through the OpenCL C compiler for both
// device families: it compiles or explains itself in the log, and never crashes or hangs. The
// same text read as the unit of a compiled object is refused, or reads back as it writes.
#include "CCLCCompiler.h"

#include <cstddef>
#include <cstdint>
#include <string>

using XAN_Platform::CCLCCompiler;
using XAN_Platform::SCLCTarget;
using XAN_Platform::SCLCUnit;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    if (nSize > (1 << 14))
    {
        return 0;
    }
    const std::string strSource(reinterpret_cast<const char*>(pData), nSize);
    SCLCUnit unit;
    SCLCUnit again;
    if (CCLCCompiler::ReadUnit(strSource, unit) &&
        (!CCLCCompiler::ReadUnit(CCLCCompiler::UnitText(unit), again) ||
         again.strSource != unit.strSource || again.vOptions != unit.vOptions ||
         again.vHeaders != unit.vHeaders))
    {
        __builtin_trap();
    }
    for (const bool b64Bit : {true, false})
    {
        std::string strIL;
        std::string strLog;
        const bool bBuilt = CCLCCompiler::Compile(strSource, {"-g"}, true,
                                                  SCLCTarget{"larkspur", b64Bit}, strIL, strLog);
        if (bBuilt == strIL.empty() || (!bBuilt && strLog.empty()))
        {
            __builtin_trap();
        }
    }
    return 0;
}
