#ifndef XAN_PLATFORM_CSDBG_SCENARIO_H
#define XAN_PLATFORM_CSDBG_SCENARIO_H

#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Platform
{
// A component block of a destination that holds no variable.
const uint32_t SDBG_NO_VARIABLE = 0xFFFFFFFF;

struct SDBGFile
{
    std::string strName;
    std::string strSource;
};

// A source position, or a name: variables and the entry function are named by tokens.
struct SDBGToken
{
    uint32_t nFile = 0;
    uint32_t nLine = 0; // from 1
    std::string strText;
};

struct SDBGComponent
{
    uint32_t nKind = 0; // 0 input, 1 output, 4 temp, 7 sampler
    uint32_t nNumber = 0;
    uint32_t nVariable = SDBG_NO_VARIABLE;
};

struct SDBGDestination
{
    SDBGComponent components[4]; // x, y, z, w
};

struct SDBGInstruction
{
    uint32_t nOpcode = 0;
    uint32_t nToken = 0;
    std::vector<SDBGDestination> vDestinations; // 0 to 2
    std::vector<uint32_t> vScopes;
};

// One component of a source variable.
struct SDBGVariable
{
    uint32_t nToken = 0;
    uint32_t nType = 0;
    uint32_t nScopeVariable = 0;
    uint32_t nComponent = 0;
};

struct SDBGScopeVariable
{
    uint32_t nColumns = 0;
    uint32_t nClass = 0;    // 0 for a plain variable
    uint32_t nElements = 0; // its low byte is the component count
};

struct SDBGScope
{
    uint32_t nKind = 0; // 4 for a function
    std::string strName;
};

// The debug data of one compiled shader, as its tables, read from a compact text:
//
//   entry main                    the entry function's name
//   entrytoken 0:2                a name token of the entry function at file 0, line 2
//   source a.hlsl                 a source file; its text follows up to a line "end"
//   scope 4 main                  a scope: kind and name
//   var a FLOAT 4 [class 1]       a variable of 4 components, in a scope variable of its own
//   inst mov 0:3 scopes 0 r0.x=a.0 r0.y=a.1 | o0.x
//   program                       the shader: container header lines ("#isgn ...") and the
//                                 tokenized program's text, up to a line "end"
//
// An instruction names its opcode, file:line, the scopes it lies in and its destinations,
// separated by "|": each component a register (v input, o output, r temp, s sampler) with
// the variable component that it holds, if any. Outside the blocks "#" starts a comment.
class CSDBGScenario
{
public:
    // On failure GetError() says where and why.
    bool Parse(const std::string& strText);
    const std::string& GetError() const { return m_strError; }

    std::string m_strEntry;
    std::vector<SDBGFile> m_vFiles;
    std::vector<SDBGToken> m_vTokens;
    std::vector<SDBGInstruction> m_vInstructions;
    std::vector<SDBGVariable> m_vVariables;
    std::vector<SDBGScopeVariable> m_vScopeVariables;
    std::vector<SDBGScope> m_vScopes;
    std::string m_strProgram;

private:
    bool ParseStatement(const std::vector<std::string>& vWords);
    bool ParseVariable(const std::vector<std::string>& vWords);
    bool ParseInstruction(const std::vector<std::string>& vWords);
    bool ParseComponent(const std::string& strWord, SDBGDestination& destination);
    // The token of a position "file:line", added at its first use.
    bool ParsePosition(const std::string& strWord, const std::string& strText, uint32_t& nToken);
    uint32_t AddToken(uint32_t nFile, uint32_t nLine, const std::string& strText);
    bool Fail(const std::string& strMessage);

    unsigned int m_nLine = 0;
    std::string m_strError;
};
} // namespace XAN_Platform

#endif
