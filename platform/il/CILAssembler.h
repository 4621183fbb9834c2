#ifndef XAN_PLATFORM_CIL_ASSEMBLER_H
#define XAN_PLATFORM_CIL_ASSEMBLER_H

#include "CILInstructionParser.h"

#include <string>
#include <string_view>
#include <vector>

namespace XAN_Platform
{
// Where and why IL text was refused.
struct ILAsmError
{
    unsigned int nLine = 0;   // from 1
    unsigned int nColumn = 0; // from 1
    std::string strWord;      // the offending word
    std::string strMessage;

    // "line 3, column 5: unknown opcode 'movv'"
    // Bytes outside printable ASCII in the word show as "\xNN".
    std::string ToString() const;
};

// Assembles IL text (platform/IL.md) into IL tokens.
class CILAssembler
{
public:
    // Assembles the text up to its first NUL. On success vTokens holds the
    // program and, if asked for, pvElementLines the line of each element (the
    // header, each instruction and each comment, in token order). On failure
    // neither is touched and GetError() tells where and why.
    bool Assemble(std::string_view strText, std::vector<unsigned int>& vTokens,
                  std::vector<unsigned int>* pvElementLines = nullptr);

    const ILAsmError& GetError() const { return m_error; }

private:
    enum EState
    {
        STATE_BEFORE_HEADER,
        STATE_LEADING_MACRO,
        STATE_PROGRAM,
    };

    bool AssembleLine(std::string_view line);
    bool AssembleHeader(std::string_view word);
    bool AssembleStatement(std::string_view statement);
    bool AssembleComment(std::string_view text);
    // Records a finished element and moves the program's state along.
    bool AddElement(std::string_view where);
    bool Fail(std::string_view where, const std::string& strMessage);

    std::vector<unsigned int> m_vTokens;
    std::vector<unsigned int> m_vElementLines;
    std::vector<unsigned int> m_vInstruction; // the element being assembled
    CILInstructionParser m_parser;
    std::string_view m_line;
    unsigned int m_nLine = 0;
    EState m_state = STATE_BEFORE_HEADER;
    ILAsmError m_error;
};
} // namespace XAN_Platform

#endif
