#include "HelpText.h"

#include "CCommandParser.h"

#include <sstream>

namespace XAN_Xancldb
{
namespace
{
const char* const MANUAL_HEAD = R"(NAME
    xancldb - debug one OpenCL kernel launch at the level of its IL

SYNOPSIS
    xancldb [--batch] [--json] [--verify] [-x SCRIPT] LAUNCH.toml

DESCRIPTION
    xancldb launches the kernel that LAUNCH.toml describes (program, kernel, range and
    arguments; see tools/launch/README.md) on the emulated platform through
    libXANOpenCLDebug.so, and stops before its first instruction. Every stop shows the
    values of all work-items and the execution mask: which work-items take part in the
    instruction about to run. Lines are those of the kernel's debug IL, as "list" shows them.

    The library never stops the device: each state shown comes from re-running a patched
    kernel from the start. Stepping back re-runs the launch to the step before.

OPTIONS
    --batch      Read commands from SCRIPT or standard input, never from a terminal; the
                 first failing command ends the session with exit status 1.
    -x SCRIPT    Run the commands of SCRIPT first, then read the terminal (unless --batch).
    --json       Write one JSON object per line: each stop ("event", "reason", "line",
                 "instruction", "step", "workitem", "mask" with "active", "total" and
                 "ranges", "display" with each displayed register's values for every
                 work-item), each command's output and each error.
    --verify     At the end, run the same launch natively and say whether the final
                 buffers and images are identical.
    -h, --help   This text.

COMMANDS
)";

struct SEntry
{
    ECommand eCommand;
    const char* pText;
};

const SEntry ENTRIES[] = {
    {CMD_Break, "break LINE\n    Stops at IL line LINE, or at the first instruction behind it; "
                "says where it landed."},
    {CMD_TBreak, "tbreak LINE\n    As break, deleted when it is hit."},
    {CMD_Delete, "delete [N...]\n    Deletes breakpoints N, or all of them."},
    {CMD_InfoBreakpoints, "info breakpoints\n    Lists the breakpoints: number, kind, line, hits."},
    {CMD_Step, "step [N]\n    Runs N instructions (1) of all work-items together."},
    {CMD_Continue, "continue\n    Runs to the next breakpoint or to the end. On a terminal a "
                   "long run shows its progress;\n    Ctrl-C stops it at the next instruction."},
    {CMD_Back, "back [N]\n    Steps N instructions (1) back."},
    {CMD_RunBack, "run-back\n    Runs back to the last stop at a breakpoint, or to the start."},
    {CMD_Run, "run\n    Starts the launch again from its beginning; breakpoints and displays "
              "stay."},
    {CMD_Print, "print[/FMT] REG[.xyzw] [@all] [--full]\n    The register of the selected "
                "work-item; with @all of every work-item, summed up as\n    distinct values "
                "with their counts and work-items; --full lists every work-item.\n    FMT: d "
                "signed (default), u unsigned, x hexadecimal, f float.\n    REG may be a "
                "variable of OpenCL C compiled with -g: the register that holds it here."},
    {CMD_Display, "display[/FMT] REG[.xyzw] [@all]\n    Prints the register at every stop."},
    {CMD_Undisplay, "undisplay [N...]\n    Stops displaying N, or everything."},
    {CMD_InfoDisplay, "info display\n    Lists what is displayed."},
    {CMD_InfoMask, "info mask\n    The active work-items as ranges, and a bitmap of each "
                   "work-group ('#' active)."},
    {CMD_WorkItem, "workitem [X [Y [Z]]]\n    Selects the work-item by its global id, or shows "
                   "the selected one."},
    {CMD_Examine,
     "x BUFFER[INDEX][@COUNT]\n    COUNT elements (1) of a buffer argument, by its name in "
     "the launch file,\n    as they are at this point of the kernel."},
    {CMD_InfoPrivate, "info private [BYTES]\n    The first BYTES (64) of the selected "
                      "work-item's private memory."},
    {CMD_List, "list [LINE]\n    The IL around LINE or the current line; '=>' marks the next "
               "instruction, '*' breakpoints."},
    {CMD_InfoRegisters, "info registers\n    The registers live here, with the selected "
                        "work-item's values."},
    {CMD_InfoArgs, "info args\n    The kernel's arguments as the launch file gives them."},
    {CMD_InfoKernel, "info kernel\n    The kernel, its program, range, work-groups and position."},
    {CMD_Help, "help [COMMAND]\n    This text, or one command's entry."},
    {CMD_Quit, "quit\n    Lets the kernel run to its end natively and leaves."},
};

const char* const MANUAL_TAIL = R"(
    An empty line on the terminal repeats step, continue and back. Lines starting with #
    are comments.

LIMITS
    These follow from how the library walks the kernel: it simulates the flow of all
    work-items together and re-runs patched kernels to see values.
    - A ret inside an if (an early return) is followed as the return of every work-item
      in the function: the stops behind it may not show the work-items that went on.
    - A function called in a loop: its stops are told apart by the loops inside the
      function only, so values and masks there may belong to another pass of the caller's
      loop.
    - Registers hold four 32-bit components; a 64-bit value shows as two of them.
    - An instruction that needs no re-run shows the mask of the instruction before it.

EXIT STATUS
    0   the session ended normally (and --verify found the buffers identical)
    1   a command failed in batch mode, the debug run failed, or --verify found differences
    2   bad usage, an unreadable or malformed launch file, no device, a kernel that does not
        build, or a library that can't be loaded
)";

} // namespace

std::string GetHelpText(const std::string& strTopic)
{
    const ECommand eTopic = CCommandParser::Find(strTopic);
    std::string strText;
    for (const SEntry& entry : ENTRIES)
    {
        if (strTopic.empty())
        {
            std::istringstream lines(entry.pText);
            for (std::string strLine; std::getline(lines, strLine);)
            {
                strText += "    " + strLine + "\n";
            }
        }
        else if (entry.eCommand == eTopic && eTopic != CMD_None)
        {
            return std::string(entry.pText) + "\n";
        }
    }
    return strTopic.empty() ? MANUAL_HEAD + strText + MANUAL_TAIL : std::string();
}
} // namespace XAN_Xancldb
