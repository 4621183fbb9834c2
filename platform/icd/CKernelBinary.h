#ifndef XAN_PLATFORM_CKERNELBINARY_H
#define XAN_PLATFORM_CKERNELBINARY_H

#include <cstdint>
#include <string>
#include <vector>

namespace XAN_ElfUtils
{
class CElf;
}

namespace XAN_Platform
{
using XAN_ElfUtils::CElf;

// The kernel binary of a program: an ELF image whose ".rodata" holds each kernel's metadata
// text and header, whose ".xanil" holds each kernel's IL text, and whose ".debugil", in a
// debug build, holds the IL text of the whole program with the entry marker in its main
// program. A compiled object or a library (ELF type shared) holds instead, in ".clc", the
// OpenCL C units a link compiles, one symbol each. Everything is found by section name and symbol,
// never by position, because debuggers rewrite and re-lay out these files.
class CKernelBinary
{
public:
    struct SKernel
    {
        std::string strName;
        std::string strMetadata;
        std::string strIL; // empty when the binary has no ".xanil" text for the kernel
        // Written only: private bytes, local bytes, group size, function label.
        uint32_t vHeader[4];
    };

    enum EType
    {
        T_Executable,
        T_CompiledObject,
        T_Library
    };

    // The line of the main program where the call of the kernel to run goes.
    static const char* const ENTRY_MARKER;

    // Writes an image; strDebugIL empty leaves ".debugil" out.
    static bool Write(const std::vector<SKernel>& vKernels, const std::string& strDebugIL,
                      std::vector<char>& vImage);

    // Writes a compiled object or library of units, each as CCLCCompiler::UnitText writes it.
    static bool WriteUnits(const std::vector<std::string>& vUnits, EType eType,
                           std::vector<char>& vImage);

    // Reads an image; false with the reason when it isn't a kernel binary.
    bool Read(const std::vector<char>& vImage, std::string& strError);

    EType GetType() const { return m_eType; }
    const std::vector<SKernel>& GetKernels() const { return m_vKernels; }
    const std::vector<std::string>& GetUnits() const { return m_vUnits; }
    bool HasDebugIL() const { return m_bHasDebugIL; }
    const std::string& GetDebugIL() const { return m_strDebugIL; }

private:
    bool ReadUnits(const CElf& elf, std::string& strError);

    EType m_eType = T_Executable;
    std::vector<SKernel> m_vKernels;
    std::vector<std::string> m_vUnits;
    bool m_bHasDebugIL = false;
    std::string m_strDebugIL;
};
} // namespace XAN_Platform

#endif
