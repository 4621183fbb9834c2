#ifndef XAN_TEST_CORPUS_KERNELS_H
#define XAN_TEST_CORPUS_KERNELS_H

#include <functional>
#include <string>
#include <vector>

// The shared corpus of small IL kernels in tests/corpus. The build turns each file into a
// kernel binary with the platform's own program builder (tests/support/CorpusBuild.cpp), for
// the device family that the kernel's metadata names, so that every test reads the binary that
// the platform itself makes.
namespace XAN_Test
{
// The corpus kernels' names, one per built binary, sorted.
std::vector<std::string> CorpusKernelNames();

// The program binary of a corpus kernel as the platform built it; empty when it is missing.
std::vector<char> ReadCorpusBinary(const std::string& strName);

// The device family that a kernel's IL text names in its metadata ("larkspur" without one).
std::string KernelDevice(const std::string& strIL);

// Prepares a program binary as the debugger does before it analyses a kernel: the kernel's
// entry is called from the main program, the compiled sections go, and the debug IL is added
// as tokens.
bool PrepareDebugBinary(const std::string& strKernel, std::vector<char>& vBinary);

// A corpus kernel prepared for the debugger; empty on failure.
std::vector<char> LoadDebugBinary(const std::string& strName);

// A corpus kernel whose debug IL text an edit has changed before it is prepared, so that tests
// derive the odd cases from real binaries; empty on failure.
std::vector<char> LoadEditedDebugBinary(
    const std::string& strName, const std::function<void(std::string&)>& editIL,
    const std::function<void(std::string&)>& editMetadata = std::function<void(std::string&)>());

// Replaces the first occurrence of strFind; false when there is none.
bool ReplaceFirst(std::string& strText, const std::string& strFind, const std::string& strReplace);
} // namespace XAN_Test

#endif
