#ifndef XAN_PLATFORM_CCLCCOMPILER_H
#define XAN_PLATFORM_CCLCCOMPILER_H

#include <string>
#include <vector>

namespace XAN_Platform
{
// The device a program is compiled for.
struct SCLCTarget
{
    std::string strDevice; // family name, lower case, for the metadata
    bool b64Bit = true;    // 64-bit addresses and private UAV 8; else 32-bit and x1
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
};
} // namespace XAN_Platform

#endif
