#ifndef XAN_PLATFORM_CCLCCOMPILER_H
#define XAN_PLATFORM_CCLCCOMPILER_H

#include <string>
#include <utility>
#include <vector>

namespace XAN_Platform
{
// The device a program is compiled for.
struct SCLCTarget
{
    std::string strDevice; // family name, lower case, for the metadata
    bool b64Bit = true;    // 64-bit addresses and private UAV 8; else 32-bit and x1
};

// One OpenCL C source as it is compiled: its text, its compiler options and the headers it
// was given by include name.
struct SCLCUnit
{
    std::string strSource;
    std::vector<std::string> vOptions;
    std::vector<std::pair<std::string, std::string>> vHeaders; // include name, text
};

// Compiles OpenCL C 1.2 to the platform's IL text: Clang (linked, not spawned) parses the source
// with the OpenCL built-in declarations, and each kernel's body is lowered from the syntax tree,
// so the IL keeps the structure the source was written in. Each kernel becomes a func followed
// by its metadata block, as the program builder reads IL source. With -g every source line and
// variable is marked in the IL. What can't be lowered fails the build with a log line naming
// the source line.
class CCLCCompiler
{
public:
    // Takes the OpenCL C option at vWords[i] (with its argument, if it has a separate one) into
    // vOptions and advances i past it; false when vWords[i] is no OpenCL C option.
    static bool TakeOption(const std::vector<std::string>& vWords, size_t& i,
                           std::vector<std::string>& vOptions);

    static bool Compile(const std::string& strSource, const std::vector<std::string>& vOptions,
                        bool bDebug, const SCLCTarget& target, std::string& strIL,
                        std::string& strLog);
    // Several units linked into one program: a function that one unit declares, another may
    // define. A single unit's source is named "program.cl" in messages, the units of a link
    // "program1.cl", "program2.cl"...
    static bool Compile(const std::vector<SCLCUnit>& vUnits, bool bDebug, const SCLCTarget& target,
                        std::string& strIL, std::string& strLog);
    // Only parses: the diagnostics of a unit compiled on its own, before it is linked.
    static bool Check(const SCLCUnit& unit, const SCLCTarget& target, std::string& strLog);

    // A unit as a compiled object keeps it, and back; false when the text is no unit.
    static std::string UnitText(const SCLCUnit& unit);
    static bool ReadUnit(const std::string& strText, SCLCUnit& unit);
};
} // namespace XAN_Platform

#endif
