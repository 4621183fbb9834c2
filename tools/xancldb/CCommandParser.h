#ifndef XAN_TOOLS_XANCLDB_CCOMMANDPARSER_H
#define XAN_TOOLS_XANCLDB_CCOMMANDPARSER_H

#include "CValueSummary.h"

#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Xancldb
{
enum ECommand
{
    CMD_None, // an empty line or a comment
    CMD_Break,
    CMD_TBreak,
    CMD_Delete,
    CMD_InfoBreakpoints,
    CMD_Step,
    CMD_Continue,
    CMD_Back,
    CMD_RunBack,
    CMD_Run,
    CMD_Print,
    CMD_Display,
    CMD_Undisplay,
    CMD_InfoDisplay,
    CMD_InfoMask,
    CMD_WorkItem,
    CMD_Examine,
    CMD_InfoPrivate,
    CMD_List,
    CMD_InfoRegisters,
    CMD_InfoArgs,
    CMD_InfoKernel,
    CMD_Help,
    CMD_Quit,
};

// One command line, parsed.
struct SCommand
{
    ECommand eCommand = CMD_None;
    std::string strText;     // the line as typed, trimmed
    bool bHasNumber = false; // a line, a count, a number of bytes
    uint64_t nNumber = 0;
    std::vector<uint64_t> vNumbers; // breakpoint or display numbers; work-item coordinates
    std::string strRegister;        // print, display: "r0", "x1[3]"
    SValueFormat format;            // the components the register text names, and /FMT
    bool bAll = false;              // @all: every work-item
    bool bFull = false;             // --full: the whole table
    std::string strBuffer;          // x: the argument's name
    uint64_t nCount = 1;            // x: @COUNT
    std::string strTopic;           // help: the command asked about
};

// Parses the commands of xancldb, with gdb's names and short forms ("b", "c", "p/x", "i r").
class CCommandParser
{
public:
    // False with a message that says what is wrong; an empty line or a comment gives CMD_None.
    static bool Parse(const std::string& strLine, SCommand& command, std::string& strError);
    // The command that a name, or "info" and a topic, stands for: "p", "i r"; CMD_None for none.
    static ECommand Find(const std::string& strName);
};
} // namespace XAN_Xancldb

#endif
