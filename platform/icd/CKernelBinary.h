#ifndef XAN_PLATFORM_CKERNELBINARY_H
#define XAN_PLATFORM_CKERNELBINARY_H

#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Platform
{
// The kernel binary of a program: an ELF image whose ".rodata" holds each kernel's metadata
// text and header, whose ".xanil" holds each kernel's IL text, and whose ".debugil", in a
// debug build, holds the IL text of the whole program with the entry marker in its main
// program. Everything is found by section name and symbol, never by position, because
// debuggers rewrite and re-lay out these files.
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

    // The line of the main program where the call of the kernel to run goes.
    static const char* const ENTRY_MARKER;

    // Writes an image; strDebugIL empty leaves ".debugil" out.
    static bool Write(const std::vector<SKernel>& vKernels, const std::string& strDebugIL,
                      std::vector<char>& vImage);

    // Reads an image; false with the reason when it isn't a kernel binary.
    bool Read(const std::vector<char>& vImage, std::string& strError);

    const std::vector<SKernel>& GetKernels() const { return m_vKernels; }
    bool HasDebugIL() const { return m_bHasDebugIL; }
    const std::string& GetDebugIL() const { return m_strDebugIL; }

private:
    std::vector<SKernel> m_vKernels;
    bool m_bHasDebugIL = false;
    std::string m_strDebugIL;
};
} // namespace XAN_Platform

#endif
