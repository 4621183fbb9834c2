#ifndef XAN_PLATFORM_CPROGRAMBUILDER_H
#define XAN_PLATFORM_CPROGRAMBUILDER_H

#include "CCLCCompiler.h"

#include <memory>
#include <string>
#include <vector>

namespace XAN_Platform
{
class CDevice;
class CKernelImage;

// What a build was asked for.
struct SBuildOptions
{
    bool bDebug = false;                     // -g: the binary carries ".debugil"
    bool bUseDebugIL = false;                // -use-debugil: kernels come from ".debugil"
    bool bIgnoreEnv = false;                 // -ignore-env: no options from the environment
    std::string strJustKernel;               // -just-kernel=NAME: only that kernel is built
    std::vector<std::string> vSourceOptions; // the OpenCL C compiler's options
};

typedef std::vector<std::shared_ptr<const CKernelImage>> KernelImages;

// Builds programs for a device. From source: IL text, whose kernels carry their metadata
// blocks as comment lines right after their func line, becomes a kernel binary; OpenCL C is
// compiled to such IL first. From a binary: each kernel is built from its
// ".xanil" text or from ".debugil", with the entry marker replaced by the call of the kernel.
// Every failure is explained in the build log, with line numbers where there are lines.
class CProgramBuilder
{
public:
    // Reads the given options and, unless they say -ignore-env, those of the environment.
    static bool ParseOptions(const std::string& strOptions, const std::string& strEnvironment,
                             SBuildOptions& options, std::string& strLog);

    // Link options: -create-library sets bLibrary; -g, -ignore-env and the -cl- math flags a
    // link accepts; from the environment only -g.
    static bool ParseLinkOptions(const std::string& strOptions, const std::string& strEnvironment,
                                 SBuildOptions& options, bool& bLibrary, std::string& strLog);

    // The compiler's target for the device.
    static SCLCTarget TargetOf(const CDevice& device);

    static bool BuildSource(const std::string& strSource, const SBuildOptions& options,
                            const CDevice& device, std::vector<char>& vBinary,
                            KernelImages& vKernels, std::string& strLog);

    // OpenCL C units linked into one executable.
    static bool BuildUnits(const std::vector<SCLCUnit>& vUnits, const SBuildOptions& options,
                           const CDevice& device, std::vector<char>& vBinary,
                           KernelImages& vKernels, std::string& strLog);

    static bool BuildBinary(const std::vector<char>& vBinary, const SBuildOptions& options,
                            const CDevice& device, KernelImages& vKernels, std::string& strLog);

private:
    static bool BuildIL(const std::string& strIL, const SBuildOptions& options,
                        const CDevice& device, std::vector<char>& vBinary, KernelImages& vKernels,
                        std::string& strLog);
};
} // namespace XAN_Platform

#endif
