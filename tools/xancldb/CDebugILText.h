#ifndef XAN_TOOLS_XANCLDB_CDEBUGILTEXT_H
#define XAN_TOOLS_XANCLDB_CDEBUGILTEXT_H

#include <CL/cl.h>

#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Xancldb
{
// The debug IL text of a built program, one element per line: the lines that breakpoints and
// the program counter count, read from the ".debugil" section of the program's kernel binary.
class CDebugILText
{
public:
    // False with the reason when the program has no binary or the binary no debug IL.
    bool Load(cl_program program, std::string& strError);
    // The same from the bytes of a kernel binary (an ELF image).
    bool Parse(const std::vector<uint8_t>& vImage, std::string& strError);

    size_t GetLineCount() const { return m_vLines.size(); }
    // The text of line nLine, empty past the end.
    std::string GetLine(uint32_t nLine) const;

private:
    std::vector<std::string> m_vLines;
};
} // namespace XAN_Xancldb

#endif
