// Command lines as gdb users type them, and the messages for those that are wrong.
#include "CCommandParser.h"
#include "HelpText.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

using namespace XAN_Xancldb;

namespace
{
struct SGoodCase
{
    const char* pLine;
    ECommand eCommand;
    std::vector<uint64_t> vNumbers;
    const char* pRegister;
    const char* pComponents;
    char cFormat;
    bool bAll;
    bool bFull;
};

const SGoodCase GOOD_CASES[] = {
    {"", CMD_None, {}, "", "xyzw", 'd', false, false},
    {"   # a comment", CMD_None, {}, "", "xyzw", 'd', false, false},
    {"break 12", CMD_Break, {12}, "", "xyzw", 'd', false, false},
    {"b 0x10", CMD_Break, {16}, "", "xyzw", 'd', false, false},
    {"tb 3", CMD_TBreak, {3}, "", "xyzw", 'd', false, false},
    {"delete", CMD_Delete, {}, "", "xyzw", 'd', false, false},
    {"d 1 2 3", CMD_Delete, {1, 2, 3}, "", "xyzw", 'd', false, false},
    {"info breakpoints", CMD_InfoBreakpoints, {}, "", "xyzw", 'd', false, false},
    {"i b", CMD_InfoBreakpoints, {}, "", "xyzw", 'd', false, false},
    {"step", CMD_Step, {}, "", "xyzw", 'd', false, false},
    {"si 4", CMD_Step, {4}, "", "xyzw", 'd', false, false},
    {"c", CMD_Continue, {}, "", "xyzw", 'd', false, false},
    {"back 2", CMD_Back, {2}, "", "xyzw", 'd', false, false},
    {"reverse-continue", CMD_RunBack, {}, "", "xyzw", 'd', false, false},
    {"run-back", CMD_RunBack, {}, "", "xyzw", 'd', false, false},
    {"print r0", CMD_Print, {}, "r0", "xyzw", 'd', false, false},
    {"p/x r12.wx @all", CMD_Print, {}, "r12", "xw", 'x', true, false},
    {"p/f x1[3].y --full", CMD_Print, {}, "x1[3]", "y", 'f', true, true},
    {"display/u r2.z", CMD_Display, {}, "r2", "z", 'u', false, false},
    {"undisplay 2", CMD_Undisplay, {2}, "", "xyzw", 'd', false, false},
    {"info mask", CMD_InfoMask, {}, "", "xyzw", 'd', false, false},
    {"workitem 3 1", CMD_WorkItem, {3, 1}, "", "xyzw", 'd', false, false},
    {"wi", CMD_WorkItem, {}, "", "xyzw", 'd', false, false},
    {"info private 32", CMD_InfoPrivate, {32}, "", "xyzw", 'd', false, false},
    {"list", CMD_List, {}, "", "xyzw", 'd', false, false},
    {"l 40", CMD_List, {40}, "", "xyzw", 'd', false, false},
    {"i r", CMD_InfoRegisters, {}, "", "xyzw", 'd', false, false},
    {"info args", CMD_InfoArgs, {}, "", "xyzw", 'd', false, false},
    {"info kernel", CMD_InfoKernel, {}, "", "xyzw", 'd', false, false},
    {"q", CMD_Quit, {}, "", "xyzw", 'd', false, false},
};
} // namespace

TEST(CCommandParserTest, CommandsAndShortForms)
{
    for (const SGoodCase& test : GOOD_CASES)
    {
        SCommand command;
        std::string strError;
        ASSERT_TRUE(CCommandParser::Parse(test.pLine, command, strError))
            << test.pLine << ": " << strError;
        EXPECT_EQ(test.eCommand, command.eCommand) << test.pLine;
        EXPECT_EQ(test.vNumbers, command.vNumbers) << test.pLine;
        EXPECT_EQ(test.pRegister, command.strRegister) << test.pLine;
        EXPECT_EQ(test.pComponents, command.format.strComponents) << test.pLine;
        EXPECT_EQ(test.cFormat, command.format.cFormat) << test.pLine;
        EXPECT_EQ(test.bAll, command.bAll) << test.pLine;
        EXPECT_EQ(test.bFull, command.bFull) << test.pLine;
    }
}

TEST(CCommandParserTest, ExamineTakesBufferIndexAndCount)
{
    SCommand command;
    std::string strError;
    ASSERT_TRUE(CCommandParser::Parse("x out[5]@3", command, strError)) << strError;
    EXPECT_EQ(CMD_Examine, command.eCommand);
    EXPECT_EQ("out", command.strBuffer);
    EXPECT_EQ(5u, command.nNumber);
    EXPECT_EQ(3u, command.nCount);
    ASSERT_TRUE(CCommandParser::Parse("x in[0]", command, strError)) << strError;
    EXPECT_EQ(1u, command.nCount);
    ASSERT_TRUE(CCommandParser::Parse("help info  mask", command, strError)) << strError;
    EXPECT_EQ("info mask", command.strTopic);
}

TEST(CCommandParserTest, BadLinesSayWhatIsWrong)
{
    for (const std::vector<std::string>& vRow :
         XAN_Test::ReadTable(XAN_XANCLDB_TEST_DATA_DIR "/command_errors.txt"))
    {
        ASSERT_EQ(vRow.size(), 2u);
        SCommand command;
        std::string strError;
        EXPECT_FALSE(CCommandParser::Parse(vRow[0], command, strError)) << vRow[0];
        EXPECT_EQ(0u, strError.find(vRow[1])) << vRow[0] << "\ngave: " << strError;
    }
}

TEST(CCommandParserTest, EveryCommandHasItsManualEntry)
{
    for (const char* pTopic : {"break",        "tb",     "delete",   "info breakpoints",
                               "step",         "c",      "back",     "run-back",
                               "run",          "p",      "display",  "undisplay",
                               "info display", "i mask", "workitem", "x",
                               "info private", "list",   "i r",      "info args",
                               "info kernel",  "help",   "quit"})
    {
        EXPECT_FALSE(GetHelpText(pTopic).empty()) << pTopic;
    }
    EXPECT_TRUE(GetHelpText("frobnicate").empty());
    const std::string strManual = GetHelpText("");
    for (const char* pSection : {"SYNOPSIS", "COMMANDS", "LIMITS", "EXIT STATUS"})
    {
        EXPECT_NE(std::string::npos, strManual.find(pSection)) << pSection;
    }
}
