#include "CCommandParser.h"

#include <cerrno>
#include <cstdlib>
#include <iterator>
#include <sstream>

namespace XAN_Xancldb
{
namespace
{
struct SName
{
    const char* pName;
    ECommand eCommand;
};

// The words of a command, with gdb's short forms beside the full names.
const SName COMMANDS[] = {
    {"break", CMD_Break},
    {"b", CMD_Break},
    {"br", CMD_Break},
    {"tbreak", CMD_TBreak},
    {"tb", CMD_TBreak},
    {"delete", CMD_Delete},
    {"d", CMD_Delete},
    {"step", CMD_Step},
    {"s", CMD_Step},
    {"stepi", CMD_Step},
    {"si", CMD_Step},
    {"continue", CMD_Continue},
    {"c", CMD_Continue},
    {"back", CMD_Back},
    {"reverse-step", CMD_Back},
    {"rs", CMD_Back},
    {"run-back", CMD_RunBack},
    {"reverse-continue", CMD_RunBack},
    {"rc", CMD_RunBack},
    {"run", CMD_Run},
    {"r", CMD_Run},
    {"print", CMD_Print},
    {"p", CMD_Print},
    {"display", CMD_Display},
    {"undisplay", CMD_Undisplay},
    {"workitem", CMD_WorkItem},
    {"wi", CMD_WorkItem},
    {"x", CMD_Examine},
    {"list", CMD_List},
    {"l", CMD_List},
    {"help", CMD_Help},
    {"h", CMD_Help},
    {"quit", CMD_Quit},
    {"q", CMD_Quit},
};

const SName INFO_TOPICS[] = {
    {"breakpoints", CMD_InfoBreakpoints},
    {"break", CMD_InfoBreakpoints},
    {"b", CMD_InfoBreakpoints},
    {"display", CMD_InfoDisplay},
    {"mask", CMD_InfoMask},
    {"private", CMD_InfoPrivate},
    {"registers", CMD_InfoRegisters},
    {"r", CMD_InfoRegisters},
    {"args", CMD_InfoArgs},
    {"kernel", CMD_InfoKernel},
};

bool ParseNumber(const std::string& strText, uint64_t& nValue)
{
    if (strText.empty() || strText[0] == '-' || strText[0] == '+')
    {
        return false;
    }
    char* pEnd = nullptr;
    errno = 0;
    nValue = std::strtoull(strText.c_str(), &pEnd, 0);
    return *pEnd == '\0' && errno == 0;
}

// A register with an optional component selection: "r0", "r0.xy", "x1[3].w".
bool ParseRegister(const std::string& strText, SCommand& command, std::string& strError)
{
    const size_t nDot = strText.find('.');
    command.strRegister = strText.substr(0, nDot);
    if (command.strRegister.empty())
    {
        strError = "expected a register such as r0 or r0.x";
        return false;
    }
    if (nDot == std::string::npos)
    {
        return true;
    }
    const std::string strComponents = strText.substr(nDot + 1);
    std::string strOrdered;
    for (char c : std::string("xyzw"))
    {
        if (strComponents.find(c) != std::string::npos)
        {
            strOrdered += c;
        }
    }
    if (strComponents.empty() || strComponents.find_first_not_of("xyzw") != std::string::npos)
    {
        strError = "\"" + strComponents + "\" is no component selection: use x, y, z, w";
        return false;
    }
    command.format.strComponents = strOrdered;
    return true;
}

// print/display: [/FMT] REG [@all] [--full]
bool ParseValueCommand(const std::string& strSuffix, const std::vector<std::string>& vWords,
                       SCommand& command, std::string& strError)
{
    if (!strSuffix.empty())
    {
        if (strSuffix.size() != 1 || std::string("duxf").find(strSuffix[0]) == std::string::npos)
        {
            strError = "unknown format /" + strSuffix + ": use /d, /u, /x or /f";
            return false;
        }
        command.format.cFormat = strSuffix[0];
    }
    bool bHasRegister = false;
    for (size_t i = 1; i < vWords.size(); ++i)
    {
        if (vWords[i] == "@all")
        {
            command.bAll = true;
        }
        else if (vWords[i] == "--full" && command.eCommand == CMD_Print)
        {
            command.bFull = command.bAll = true;
        }
        else if (!bHasRegister && vWords[i][0] != '@' && vWords[i][0] != '-')
        {
            bHasRegister = true;
            if (!ParseRegister(vWords[i], command, strError))
            {
                return false;
            }
        }
        else
        {
            strError = "unexpected \"" + vWords[i] + "\"";
            return false;
        }
    }
    if (!bHasRegister)
    {
        strError = "expected a register such as r0 or r0.x";
        return false;
    }
    return true;
}

// x BUFFER[INDEX][@COUNT]
bool ParseExamine(const std::vector<std::string>& vWords, SCommand& command, std::string& strError)
{
    const std::string strUsage = "expected BUFFER[INDEX] or BUFFER[INDEX]@COUNT";
    if (vWords.size() != 2)
    {
        strError = strUsage;
        return false;
    }
    const std::string& strText = vWords[1];
    const size_t nOpen = strText.find('[');
    const size_t nClose = strText.find(']');
    if (nOpen == std::string::npos || nOpen == 0 || nClose == std::string::npos || nClose < nOpen ||
        !ParseNumber(strText.substr(nOpen + 1, nClose - nOpen - 1), command.nNumber))
    {
        strError = strUsage;
        return false;
    }
    command.strBuffer = strText.substr(0, nOpen);
    const std::string strRest = strText.substr(nClose + 1);
    if (!strRest.empty() && (strRest[0] != '@' || !ParseNumber(strRest.substr(1), command.nCount) ||
                             command.nCount == 0))
    {
        strError = strUsage + ", COUNT at least 1";
        return false;
    }
    return true;
}
} // namespace

ECommand CCommandParser::Find(const std::string& strName)
{
    std::istringstream stream(strName);
    std::string strFirst;
    std::string strTopic;
    std::string strRest;
    stream >> strFirst >> strTopic >> strRest;
    const bool bInfo = strFirst == "info" || strFirst == "i";
    if (!strRest.empty() || (!bInfo && !strTopic.empty()))
    {
        return CMD_None;
    }
    const SName* pName = bInfo ? std::begin(INFO_TOPICS) : std::begin(COMMANDS);
    const SName* pEnd = bInfo ? std::end(INFO_TOPICS) : std::end(COMMANDS);
    for (; pName != pEnd; ++pName)
    {
        if ((bInfo ? strTopic : strFirst) == pName->pName)
        {
            return pName->eCommand;
        }
    }
    return CMD_None;
}

bool CCommandParser::Parse(const std::string& strLine, SCommand& command, std::string& strError)
{
    command = SCommand();
    std::istringstream stream(strLine);
    std::vector<std::string> vWords;
    for (std::string strWord; stream >> strWord;)
    {
        vWords.push_back(strWord);
    }
    if (vWords.empty() || vWords[0][0] == '#')
    {
        return true;
    }
    for (const std::string& strWord : vWords)
    {
        command.strText += (command.strText.empty() ? "" : " ") + strWord;
    }
    const size_t nSlash = vWords[0].find('/');
    const std::string strName = vWords[0].substr(0, nSlash);
    const std::string strSuffix =
        nSlash == std::string::npos ? std::string() : vWords[0].substr(nSlash + 1);
    const bool bInfo = strName == "info" || strName == "i";
    if (bInfo && vWords.size() < 2)
    {
        strError = "info what? breakpoints, display, mask, private, registers, args, kernel";
        return false;
    }
    command.eCommand = Find(bInfo ? "info " + vWords[1] : strName);
    if (bInfo && command.eCommand == CMD_None)
    {
        strError = "unknown info topic \"" + vWords[1] +
                   "\": breakpoints, display, mask, private, registers, args, kernel";
        return false;
    }
    if (bInfo)
    {
        vWords.erase(vWords.begin());
    }
    if (command.eCommand == CMD_None)
    {
        strError = "unknown command \"" + strName + "\"; \"help\" lists the commands";
        return false;
    }
    if (!strSuffix.empty() && command.eCommand != CMD_Print && command.eCommand != CMD_Display)
    {
        strError = "\"" + strName + "\" takes no /FMT";
        return false;
    }
    switch (command.eCommand)
    {
    case CMD_Print:
    case CMD_Display:
        return ParseValueCommand(strSuffix, vWords, command, strError);
    case CMD_Examine:
        return ParseExamine(vWords, command, strError);
    case CMD_Help:
        for (size_t i = 1; i < vWords.size(); ++i)
        {
            command.strTopic += (i == 1 ? "" : " ") + vWords[i];
        }
        return true;
    default:
        break;
    }
    // The rest take numbers only: how many depends on the command.
    size_t nMin = 0;
    size_t nMax = 0;
    std::string strWhat;
    switch (command.eCommand)
    {
    case CMD_Break:
    case CMD_TBreak:
        nMin = nMax = 1;
        strWhat = "an IL line number";
        break;
    case CMD_Step:
    case CMD_Back:
        nMax = 1;
        strWhat = "a count of at least 1";
        break;
    case CMD_List:
        nMax = 1;
        strWhat = "an IL line number";
        break;
    case CMD_InfoPrivate:
        nMax = 1;
        strWhat = "a number of bytes";
        break;
    case CMD_Delete:
    case CMD_Undisplay:
        nMax = SIZE_MAX;
        strWhat = "numbers";
        break;
    case CMD_WorkItem:
        nMax = 3;
        strWhat = "1 to 3 coordinates";
        break;
    default:
        strWhat = "nothing";
        break;
    }
    const size_t nArgs = vWords.size() - 1;
    if (nArgs < nMin || nArgs > nMax)
    {
        strError = "\"" + strName + "\" takes " + strWhat;
        return false;
    }
    for (size_t i = 1; i < vWords.size(); ++i)
    {
        uint64_t nValue = 0;
        if (!ParseNumber(vWords[i], nValue))
        {
            strError =
                "\"" + vWords[i] + "\" is not a number; \"" + strName + "\" takes " + strWhat;
            return false;
        }
        command.vNumbers.push_back(nValue);
    }
    command.bHasNumber = !command.vNumbers.empty() && nMax == 1;
    command.nNumber = command.bHasNumber ? command.vNumbers[0] : 0;
    if ((command.eCommand == CMD_Step || command.eCommand == CMD_Back) && command.bHasNumber &&
        command.nNumber == 0)
    {
        strError = "\"" + strName + "\" takes " + strWhat;
        return false;
    }
    return true;
}
} // namespace XAN_Xancldb
