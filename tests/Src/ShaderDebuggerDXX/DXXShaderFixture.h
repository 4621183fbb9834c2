#ifndef XAN_TEST_DXX_SHADER_FIXTURE_H
#define XAN_TEST_DXX_SHADER_FIXTURE_H

// The shaders of tests/corpus/graphics/dxx as containers, and a host that disassembles them
// and keeps every log line with its level, for the DX10 and DX11 shader objects.

#include "DXXAnalysedShader.h"
#include "Src/ShaderDebuggerTestDoubles.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace XAN_Test
{
// A fixture's text: '#' lines are the container's header, "@version HEX" replaces the version
// token, "@aon9" adds a down-level chunk, the rest is the program.
std::vector<std::uint8_t> BuildDXXContainer(const std::string& strText);
// The text of a file of the folder.
std::string ReadDXXFixture(const std::string& strFileName);

class CDXXTestHost : public CRecordingHost
{
public:
    void Log(uint32_t nLevel, const std::string& strText) override
    {
        m_vLevels.push_back(std::make_pair(nLevel, strText));
        CRecordingHost::Log(nLevel, strText);
    }
    // The program chunk in the platform's spelling.
    bool DisassembleShader(const void* pData, size_t nSize, std::string& text) override;
    bool HasLogged(uint32_t nLevel, const std::string& strText) const;

    // Shaders as counted handles: a creation and each GetShader take a reference, a binding
    // holds one.
    bool CreateShader(uint32_t nShaderType, const void* pData, size_t nSize,
                      void** pExtra) override;
    bool SetShader(uint32_t nShaderType, const void* pData, size_t nSize) override;
    void* GetShader(uint32_t nShaderType) override;
    void ReleaseShader(void* pShader) override;

    struct Shader
    {
        uint32_t nType;
        std::vector<std::uint8_t> vBytes;
        int nReferences;
    };
    // Live shaders; a handle is the shader's address.
    std::vector<std::unique_ptr<Shader>> m_vShaders;
    std::map<uint32_t, Shader*> m_Bound;
    int m_nCreated = 0;
    // A reference released twice, or a handle that isn't live.
    bool m_bMisused = false;

    std::vector<std::pair<uint32_t, std::string>> m_vLevels;
    // Text that the disassembly starts with, such as a preshader block.
    std::string m_strPreamble;
};

} // namespace XAN_Test

#endif
