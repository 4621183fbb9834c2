#ifndef XAN_TOOLS_XANCLDB_CSOURCEMAP_H
#define XAN_TOOLS_XANCLDB_CSOURCEMAP_H

#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Xancldb
{
class CDebugILText;

// What the marks of IL compiled from OpenCL C with -g say about its source: the source line
// that each IL line came from (";@program.cl:12"), and where each source variable is held over
// which IL lines (";@var:x:r5.x" up to ";@endvar:x" or the end of its function). IL without
// marks has neither.
class CSourceMap
{
public:
    // strSource: the program's OpenCL C text, the file "program.cl" of the marks.
    void Build(const CDebugILText& il, const std::string& strSource);

    // "program.cl:12: x = x / 2u;" for an IL line that came from a source line, the text
    // left out where the line isn't in strSource; empty for other lines.
    std::string SourceLine(uint32_t nLine) const;

    // The register and components that hold a variable of that name in scope at the IL line
    // (the innermost one); false with the reason when there is none or it isn't one register.
    bool FindVariable(const std::string& strName, uint32_t nLine, std::string& strRegister,
                      std::string& strComponents, std::string& strError) const;

private:
    struct SLineSource
    {
        std::string strFile;
        uint32_t nLine = 0; // 0: none
    };
    struct SScope
    {
        std::string strName;
        std::string strPlaces;
        uint32_t nBegin = 0;
        uint32_t nEnd = UINT32_MAX;
    };

    std::vector<SLineSource> m_vSources;
    std::vector<SScope> m_vScopes;
    std::vector<std::string> m_vSourceLines;
};
} // namespace XAN_Xancldb

#endif
