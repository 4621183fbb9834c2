#include "CDebugSession.h"

#include "HelpText.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iostream>

namespace XAN_Xancldb
{
using XAN_Launch::AK_Buffer;
using XAN_Launch::AK_Image;
using XAN_Launch::AK_Local;
using XAN_Launch::AK_Sampler;
using XAN_Launch::AK_Scalar;
using XAN_Launch::CLaunchRunner;
using XAN_Launch::SLaunchArg;

namespace
{
const cl_ulong INVALID_LOCATOR = ~cl_ulong(0);
const cl_uint NO_BOUND = 0xFFFFFFFF;
const uint32_t NO_LINE = 0xFFFFFFFF;
const size_t MAX_SUMMARY_VALUES = 16;
const uint64_t DEFAULT_PRIVATE_BYTES = 64;
const size_t MAX_PRIVATE_READ = size_t(64) << 20;
const uint32_t LIST_CONTEXT = 5;
const size_t EXAMINE_PER_LINE = 8;

// The library's own results of an enqueue, in words.
std::string DescribeEnqueueError(cl_int nError)
{
    switch (nError)
    {
    case XANCLDEBUG_ERROR_UNSUPPORTED_PLATFORM:
        return "the platform is not one the debugger supports";
    case XANCLDEBUG_ERROR_UNSUPPORTED_DEVICE:
        return "the device is not one the debugger supports";
    case XANCLDEBUG_ERROR_NO_DEBUG_INFORMATION:
        return "the kernel has no debug IL: build it with -g (options = \"-g\")";
    case XANCLDEBUG_ERROR_QUEUE_NOT_INTERCEPTED:
        return "the queue is not intercepted";
    default:
        return "the debug launch failed with error " + std::to_string(nError);
    }
}

// The OpenCL C text of a program, empty for one made from binaries or IL.
std::string ProgramSource(cl_program program)
{
    size_t nSize = 0;
    if (clGetProgramInfo(program, CL_PROGRAM_SOURCE, 0, nullptr, &nSize) != CL_SUCCESS ||
        nSize == 0)
    {
        return std::string();
    }
    std::string strSource(nSize, '\0');
    clGetProgramInfo(program, CL_PROGRAM_SOURCE, nSize, &strSource[0], nullptr);
    strSource.resize(nSize - 1);
    return strSource;
}

std::string Plural(uint64_t nCount, const std::string& strWord)
{
    return std::to_string(nCount) + " " + strWord + (nCount == 1 ? "" : "s");
}
} // namespace

CDebugSession::CDebugSession(const XAN_Launch::CLaunchDescription& launch,
                             const CDebugLibrary& library, CLineReader& input,
                             const SSessionOptions& options)
    : m_Launch(launch), m_Library(library), m_Input(input), m_Options(options),
      m_Space(launch.GetDimensions(), launch.GetGlobalSize(), launch.GetLocalSize(),
              launch.GetOffset()),
      m_Progress(options.bShowProgress)
{
}

bool CDebugSession::Run(cl_context context, cl_device_id device, cl_command_queue queue,
                        CLaunchRunner::Contents& vContents, std::string& strError)
{
    XAN_Launch::SLaunchCalls calls;
    calls.createKernel = m_Library.xanclInterceptCreateKernel;
    calls.releaseKernel = m_Library.xanclInterceptReleaseKernel;
    calls.setKernelArg = m_Library.xanclInterceptSetKernelArg;
    calls.enqueue = [this](cl_command_queue queue, cl_kernel kernel, cl_uint nDimensions,
                           const size_t* pOffset, const size_t* pGlobal, const size_t* pLocal)
    {
        if (!m_bILRead)
        {
            cl_program program = nullptr;
            clGetKernelInfo(kernel, CL_KERNEL_PROGRAM, sizeof(program), &program, nullptr);
            m_IL.Load(program, m_strILError);
            m_Source.Build(m_IL, ProgramSource(program));
            m_bILRead = true;
        }
        const cl_int nError = m_Library.xanclDebugEnqueueNDRangeKernel(
            queue, kernel, nDimensions, pOffset, pGlobal, pLocal, 0, nullptr, nullptr,
            &CDebugSession::Callback, this);
        m_strEnqueueError = nError == CL_SUCCESS ? std::string() : DescribeEnqueueError(nError);
        return nError;
    };
    for (;;)
    {
        m_bRestart = false;
        m_bFinishing = false;
        m_eMotion = MO_None;
        CLaunchRunner runner(context, device, queue, calls);
        if (!runner.Run(m_Launch, vContents, strError))
        {
            strError = m_strEnqueueError.empty() ? strError : m_strEnqueueError;
            return false;
        }
        if (!m_bRestart)
        {
            return true;
        }
    }
}

void CDebugSession::Out(const std::string& strText)
{
    if (m_Options.bJson)
    {
        std::cout << CJsonReport::Output(m_strCommand, strText) << std::endl;
    }
    else
    {
        std::cout << strText << std::flush;
    }
}

void CDebugSession::Fail(const std::string& strMessage)
{
    m_bFailed |= m_Options.bStopAtError || !m_Input.IsInteractive();
    if (m_Options.bJson)
    {
        std::cout << CJsonReport::Error(m_strCommand, strMessage) << std::endl;
    }
    else
    {
        std::cout << std::flush;
        std::cerr << "error: " << strMessage << std::endl;
    }
}

cl_uint CL_CALLBACK CDebugSession::Callback(KernelDebugState* pState, cl_uint nEvent,
                                            void* pUserData)
{
    return static_cast<CDebugSession*>(pUserData)->OnEvent(pState, nEvent);
}

cl_uint CDebugSession::OnEvent(KernelDebugState* pState, cl_uint nEvent)
{
    m_pState = pState;
    m_nEvent = nEvent;
    switch (nEvent)
    {
    case XANCLDEBUG_EVENT_STARTED:
        return OnStarted();
    case XANCLDEBUG_EVENT_HALTED:
        return OnHalted();
    case XANCLDEBUG_EVENT_FINISHED:
        m_Progress.Clear();
        if (!m_bRestart)
        {
            ReportStop("", 0);
            if (!m_bFinishing)
            {
                Interact();
            }
        }
        return XANCLDEBUG_COMMAND_CONTINUE;
    default:
    {
        const std::string strCause = m_Library.GetLastError(pState);
        m_bFailed = true;
        m_strCommand.clear();
        Fail("the library could not debug the launch" +
             (strCause.empty() ? std::string() : ": " + strCause));
        return XANCLDEBUG_COMMAND_CONTINUE;
    }
    }
}

cl_uint CDebugSession::OnStarted()
{
    m_nSteps = 0;
    m_vLines.assign(1, NO_LINE);
    m_nLine = NO_LINE;
    // Every register keeps its values, so that any of them can be printed at any stop.
    m_Library.xanclDebugSetTrackingRegisters(m_pState, nullptr, 0);
    for (SBreakpoint& breakpoint : m_vBreakpoints)
    {
        cl_uint nLine = NO_LINE;
        const bool bSet = m_Library.xanclDebugSetBreakpoint(m_pState, breakpoint.nLine,
                                                            breakpoint.bPending ? NO_BOUND : 0,
                                                            &nLine) == XANCLDEBUG_SUCCESS;
        if (breakpoint.bPending)
        {
            breakpoint.bPending = false;
            if (!bSet)
            {
                Fail("breakpoint " + std::to_string(breakpoint.nNumber) +
                     ": no instruction at or behind line " + std::to_string(breakpoint.nLine));
                breakpoint.nLine = NO_LINE;
                continue;
            }
            Out("Breakpoint " + std::to_string(breakpoint.nNumber) + " at " +
                FormatBreakpointLine(nLine) + "\n");
            breakpoint.nLine = nLine;
        }
    }
    m_vBreakpoints.erase(std::remove_if(m_vBreakpoints.begin(), m_vBreakpoints.end(),
                                        [](const SBreakpoint& breakpoint)
                                        { return breakpoint.nLine == NO_LINE; }),
                         m_vBreakpoints.end());
    if (m_nTarget > 0)
    {
        return XANCLDEBUG_COMMAND_STEP;
    }
    ReportStop("", 0);
    return Interact();
}

cl_uint CDebugSession::OnHalted()
{
    ++m_nSteps;
    cl_uint nLine = NO_LINE;
    m_Library.xanclDebugGetProgramCounter(m_pState, &nLine);
    m_nLine = nLine;
    m_vLines.push_back(nLine);
    if (m_bFinishing)
    {
        return Finish();
    }
    if (m_nTarget > 0)
    {
        if (m_nSteps < m_nTarget)
        {
            m_Progress.Update(m_nSteps, m_nLine);
            return XANCLDEBUG_COMMAND_STEP;
        }
        m_nTarget = 0;
        m_Progress.Clear();
        ReportStop("back", 0);
        return Interact();
    }
    const bool bInterrupted = CLineReader::TakeInterrupt();
    if (SBreakpoint* pBreakpoint = FindBreakpointAt(m_nLine))
    {
        ++pBreakpoint->nHits;
        const uint32_t nNumber = pBreakpoint->nNumber;
        if (pBreakpoint->bTemporary)
        {
            m_vBreakpoints.erase(m_vBreakpoints.begin() + (pBreakpoint - m_vBreakpoints.data()));
            if (FindBreakpointAt(m_nLine) == nullptr)
            {
                m_Library.xanclDebugClearBreakpoint(m_pState, m_nLine);
            }
        }
        m_Progress.Clear();
        ReportStop("breakpoint", nNumber);
        return Interact();
    }
    if (!bInterrupted && ((m_eMotion == MO_Step && --m_nStepsLeft > 0) || m_eMotion == MO_Continue))
    {
        m_Progress.Update(m_nSteps, m_nLine);
        return XANCLDEBUG_COMMAND_STEP;
    }
    m_Progress.Clear();
    ReportStop(bInterrupted ? "interrupt" : "step", 0);
    return Interact();
}

cl_uint CDebugSession::Interact()
{
    m_eMotion = MO_None;
    for (;;)
    {
        if (m_bQuit)
        {
            return Finish();
        }
        std::string strLine;
        if (!m_Input.ReadLine(strLine))
        {
            m_bQuit = true;
            continue;
        }
        if (m_Input.IsInteractive() && strLine.find_first_not_of(" \t") == std::string::npos)
        {
            strLine = m_strRepeat;
        }
        SCommand command;
        std::string strError;
        m_strCommand = strLine;
        const size_t nFirst = strLine.find_first_not_of(" \t");
        if (m_Options.bEcho && !m_Input.IsInteractive() && nFirst != std::string::npos &&
            strLine[nFirst] != '#')
        {
            Out("(xancldb) " + strLine + "\n");
        }
        if (!CCommandParser::Parse(strLine, command, strError))
        {
            Fail(strError);
        }
        else
        {
            m_strRepeat = command.eCommand == CMD_Step || command.eCommand == CMD_Continue ||
                                  command.eCommand == CMD_Back
                              ? command.strText
                              : std::string();
            cl_uint nAnswer = XANCLDEBUG_COMMAND_CONTINUE;
            if (Execute(command, nAnswer))
            {
                return nAnswer;
            }
        }
        m_bQuit |= m_bFailed && m_Options.bStopAtError;
    }
}

cl_uint CDebugSession::Finish()
{
    if (m_nEvent != XANCLDEBUG_EVENT_FINISHED && !m_bFinishing)
    {
        // Without breakpoints the library ends the debugger and runs the kernel natively.
        m_Library.xanclDebugClearAllBreakpoints(m_pState);
        m_bFinishing = true;
    }
    return XANCLDEBUG_COMMAND_CONTINUE;
}

cl_uint CDebugSession::Restart(uint64_t nTarget)
{
    m_nTarget = nTarget;
    m_bRestart = true;
    return Finish();
}

bool CDebugSession::NeedHalted()
{
    if (m_nEvent == XANCLDEBUG_EVENT_HALTED)
    {
        return true;
    }
    Fail(m_nEvent == XANCLDEBUG_EVENT_STARTED
             ? "the kernel has not run yet: step or continue first"
             : "the kernel has finished: \"run\", \"back\" or \"run-back\" go back into it");
    return false;
}

std::vector<bool> CDebugSession::GetMask()
{
    const cl_uint* pMask = nullptr;
    size_t nCount = 0;
    std::vector<bool> vActive;
    if (m_nEvent == XANCLDEBUG_EVENT_HALTED &&
        m_Library.xanclDebugGetExecutionMask(m_pState, &pMask, &nCount) == XANCLDEBUG_SUCCESS &&
        pMask != nullptr)
    {
        for (size_t i = 0; i < nCount; ++i)
        {
            vActive.push_back(pMask[i] != 0);
        }
    }
    return vActive;
}

bool CDebugSession::GetValues(const std::string& strRegister, std::vector<RegisterValue>& vValues,
                              std::string& strError)
{
    cl_ulong locator = INVALID_LOCATOR;
    m_Library.xanclDebugUtilStringToDebugRegisterLocator(strRegister.c_str(), &locator);
    if (locator == INVALID_LOCATOR || m_Library.LocatorToString(locator) != strRegister)
    {
        strError = "\"" + strRegister + "\" is no register name (such as r0, x1[3], cb0[6])";
        return false;
    }
    const void* pValues = nullptr;
    size_t nStride = 0;
    size_t nCount = 0;
    if (m_Library.xanclDebugGetRegisterValues(m_pState, locator, &pValues, &nStride, &nCount) !=
            XANCLDEBUG_SUCCESS ||
        pValues == nullptr || nStride < sizeof(RegisterValue))
    {
        strError = strRegister + " is not live here: no instruction before this point wrote it";
        return false;
    }
    vValues.resize(nCount);
    for (size_t i = 0; i < nCount; ++i)
    {
        std::memcpy(vValues[i].data(), static_cast<const uint8_t*>(pValues) + i * nStride,
                    sizeof(RegisterValue));
    }
    return true;
}

std::string CDebugSession::FormatRegister(const SCommand& command,
                                          const std::vector<RegisterValue>& vValues,
                                          const std::vector<bool>& vActive) const
{
    std::string strName = command.strRegister;
    if (command.format.strComponents != "xyzw")
    {
        strName += "." + command.format.strComponents;
    }
    if (command.bFull)
    {
        return strName + " of every work-item:\n" +
               CValueSummary::Table(m_Space, vValues, vActive, command.format);
    }
    if (command.bAll)
    {
        return strName + " @all:\n" +
               CValueSummary::Summarise(m_Space, vValues, vActive, command.format,
                                        MAX_SUMMARY_VALUES);
    }
    if (m_nWorkItem >= vValues.size())
    {
        return strName + " = <no value for work-item " + m_Space.GetName(m_nWorkItem) + ">\n";
    }
    const bool bActive = m_nWorkItem >= vActive.size() || vActive[m_nWorkItem];
    return strName + " = " + CValueSummary::FormatValue(vValues[m_nWorkItem], command.format) +
           (bActive ? "" : "  (work-item " + m_Space.GetName(m_nWorkItem) + " is inactive here)") +
           "\n";
}

void CDebugSession::ReportStop(const std::string& strReason, uint32_t nBreakpoint)
{
    SStop stop;
    stop.strReason = strReason;
    stop.nBreakpoint = nBreakpoint;
    stop.nStep = m_nSteps;
    stop.nWorkItem = m_nWorkItem;
    stop.strEvent = m_nEvent == XANCLDEBUG_EVENT_STARTED  ? "started"
                    : m_nEvent == XANCLDEBUG_EVENT_HALTED ? "halted"
                                                          : "finished";
    std::string strText;
    if (m_nEvent == XANCLDEBUG_EVENT_STARTED)
    {
        strText = "Kernel " + m_Launch.GetKernel() +
                  " started: " + Plural(m_Space.GetCount(), "work-item") + " in " +
                  Plural(m_Space.GetGroupCount(), "work-group") +
                  ", stopped before its first "
                  "instruction.\n";
    }
    else if (m_nEvent == XANCLDEBUG_EVENT_FINISHED)
    {
        strText = "Kernel " + m_Launch.GetKernel() + " finished.\n";
    }
    else
    {
        stop.bHasLine = true;
        stop.nLine = m_nLine;
        stop.strInstruction = m_IL.GetLine(m_nLine);
        stop.vActive = GetMask();
        const size_t nActive = size_t(std::count(stop.vActive.begin(), stop.vActive.end(), true));
        if (nBreakpoint != 0)
        {
            strText = "Breakpoint " + std::to_string(nBreakpoint) + ", ";
        }
        else if (strReason == "interrupt")
        {
            strText = "Interrupted, ";
        }
        const std::string strSource = m_Source.SourceLine(m_nLine);
        strText += "line " + std::to_string(m_nLine) + ": " + stop.strInstruction + "\n" +
                   (strSource.empty() ? "" : "  source: " + strSource + "\n") +
                   "  active: " + std::to_string(nActive) + " of " +
                   Plural(stop.vActive.size(), "work-item") + "\n";
        for (const SDisplay& display : m_vDisplays)
        {
            SDisplayed displayed;
            displayed.strExpression =
                display.command.strText.substr(display.command.strText.find(' ') + 1);
            displayed.strRegister = display.command.strRegister;
            std::string strError;
            displayed.bLive = GetValues(display.command.strRegister, displayed.vValues, strError);
            strText +=
                std::to_string(display.nNumber) + ": " +
                (displayed.bLive ? FormatRegister(display.command, displayed.vValues, stop.vActive)
                                 : display.command.strRegister + " = <not live>\n");
            stop.vDisplayed.push_back(displayed);
        }
    }
    if (m_Options.bJson)
    {
        std::cout << CJsonReport::Stop(m_Space, stop) << std::endl;
    }
    else
    {
        std::cout << strText << std::flush;
    }
}

std::string CDebugSession::FormatBreakpointLine(uint32_t nLine) const
{
    const std::string strText = m_IL.GetLine(nLine);
    return "line " + std::to_string(nLine) + (strText.empty() ? "" : ": " + strText);
}

CDebugSession::SBreakpoint* CDebugSession::FindBreakpointAt(uint32_t nLine)
{
    for (SBreakpoint& breakpoint : m_vBreakpoints)
    {
        if (breakpoint.nLine == nLine && !breakpoint.bPending)
        {
            return &breakpoint;
        }
    }
    return nullptr;
}

bool CDebugSession::Execute(const SCommand& command, cl_uint& nAnswer)
{
    const bool bFinished = m_nEvent == XANCLDEBUG_EVENT_FINISHED;
    const uint64_t nCount = command.bHasNumber ? command.nNumber : 1;
    // Steps back are counted from the last stop; at the end, the end is one step behind it.
    const uint64_t nPosition = m_nSteps + (bFinished ? 1 : 0);
    switch (command.eCommand)
    {
    case CMD_None:
        return false;
    case CMD_Step:
    case CMD_Continue:
        if (bFinished)
        {
            Fail("the kernel has finished: \"run\" starts it again");
            return false;
        }
        if (command.eCommand == CMD_Continue && m_vBreakpoints.empty())
        {
            // Nothing to stop at: the library runs the rest at full speed.
            nAnswer = XANCLDEBUG_COMMAND_CONTINUE;
            return true;
        }
        m_eMotion = command.eCommand == CMD_Step ? MO_Step : MO_Continue;
        m_nStepsLeft = nCount;
        nAnswer = XANCLDEBUG_COMMAND_STEP;
        return true;
    case CMD_Back:
        if (nPosition == 0)
        {
            Fail("the kernel is at its start: there is nothing to go back to");
            return false;
        }
        nAnswer = Restart(nCount >= nPosition ? 0 : nPosition - nCount);
        return true;
    case CMD_RunBack:
    {
        if (nPosition == 0)
        {
            Fail("the kernel is at its start: there is nothing to go back to");
            return false;
        }
        uint64_t nTarget = nPosition - 1;
        while (nTarget > 0 && FindBreakpointAt(m_vLines[nTarget]) == nullptr)
        {
            --nTarget;
        }
        nAnswer = Restart(nTarget);
        return true;
    }
    case CMD_Run:
        nAnswer = Restart(0);
        return true;
    case CMD_Quit:
        m_bQuit = true;
        nAnswer = Finish();
        return true;
    case CMD_Break:
    case CMD_TBreak:
        AddBreakpoint(command);
        return false;
    case CMD_Delete:
        DeleteBreakpoints(command);
        return false;
    case CMD_InfoBreakpoints:
    {
        std::string strText =
            m_vBreakpoints.empty() ? "No breakpoints.\n" : "Num  Type    Hits  Line\n";
        for (const SBreakpoint& breakpoint : m_vBreakpoints)
        {
            char vHead[64];
            std::snprintf(vHead, sizeof(vHead), "%-4u %-7s %-5u ", breakpoint.nNumber,
                          breakpoint.bTemporary ? "tbreak" : "break", breakpoint.nHits);
            strText +=
                vHead +
                (breakpoint.bPending ? "line " + std::to_string(breakpoint.nLine) + " (pending)"
                                     : FormatBreakpointLine(breakpoint.nLine)) +
                "\n";
        }
        Out(strText);
        return false;
    }
    case CMD_Print:
        Print(command, "");
        return false;
    case CMD_Display:
        m_vDisplays.push_back(SDisplay{m_nNextDisplay, command});
        if (m_nEvent == XANCLDEBUG_EVENT_HALTED)
        {
            Print(command, std::to_string(m_nNextDisplay) + ": ");
        }
        ++m_nNextDisplay;
        return false;
    case CMD_Undisplay:
        if (command.vNumbers.empty())
        {
            m_vDisplays.clear();
        }
        for (uint64_t nNumber : command.vNumbers)
        {
            const size_t nBefore = m_vDisplays.size();
            m_vDisplays.erase(std::remove_if(m_vDisplays.begin(), m_vDisplays.end(),
                                             [nNumber](const SDisplay& display)
                                             { return display.nNumber == nNumber; }),
                              m_vDisplays.end());
            if (m_vDisplays.size() == nBefore)
            {
                Fail("no display number " + std::to_string(nNumber));
            }
        }
        return false;
    case CMD_InfoDisplay:
    {
        std::string strText = m_vDisplays.empty() ? "Nothing is displayed.\n" : "";
        for (const SDisplay& display : m_vDisplays)
        {
            strText += std::to_string(display.nNumber) + ": " + display.command.strText + "\n";
        }
        Out(strText);
        return false;
    }
    case CMD_InfoMask:
        if (NeedHalted())
        {
            const std::vector<bool> vActive = GetMask();
            if (vActive.empty())
            {
                Fail("the library has no execution mask at this point");
                return false;
            }
            Out("line " + std::to_string(m_nLine) + ", " + m_Space.FormatMask(vActive));
        }
        return false;
    case CMD_WorkItem:
        SelectWorkItem(command);
        return false;
    case CMD_Examine:
        Examine(command);
        return false;
    case CMD_InfoPrivate:
        ShowPrivate(command);
        return false;
    case CMD_List:
        List(command);
        return false;
    case CMD_InfoRegisters:
        ShowRegisters();
        return false;
    case CMD_InfoArgs:
        ShowArgs();
        return false;
    case CMD_InfoKernel:
        ShowKernel();
        return false;
    case CMD_Help:
    {
        const std::string strText = GetHelpText(command.strTopic);
        if (strText.empty())
        {
            Fail("no command \"" + command.strTopic + "\"; \"help\" lists them all");
        }
        else
        {
            Out(strText);
        }
        return false;
    }
    }
    return false;
}

void CDebugSession::AddBreakpoint(const SCommand& command)
{
    SBreakpoint breakpoint = {m_nNextBreakpoint, uint32_t(command.nNumber),
                              command.eCommand == CMD_TBreak, false, 0};
    if (command.nNumber >= NO_LINE)
    {
        Fail("line " + std::to_string(command.nNumber) + " is past the end of the kernel's IL");
        return;
    }
    if (m_nEvent == XANCLDEBUG_EVENT_FINISHED)
    {
        breakpoint.bPending = true;
        ++m_nNextBreakpoint;
        m_vBreakpoints.push_back(breakpoint);
        Out("Breakpoint " + std::to_string(breakpoint.nNumber) + " at line " +
            std::to_string(breakpoint.nLine) + ", pending: placed when the kernel runs again\n");
        return;
    }
    cl_uint nLine = NO_LINE;
    if (m_Library.xanclDebugSetBreakpoint(m_pState, breakpoint.nLine, NO_BOUND, &nLine) !=
        XANCLDEBUG_SUCCESS)
    {
        Fail("no instruction at or behind line " + std::to_string(command.nNumber) +
             (m_IL.GetLineCount() > 0
                  ? ": the kernel's IL ends at line " + std::to_string(m_IL.GetLineCount() - 1)
                  : std::string()));
        return;
    }
    ++m_nNextBreakpoint;
    breakpoint.nLine = nLine;
    m_vBreakpoints.push_back(breakpoint);
    Out(std::string(breakpoint.bTemporary ? "Temporary breakpoint " : "Breakpoint ") +
        std::to_string(breakpoint.nNumber) + " at " + FormatBreakpointLine(nLine) +
        (nLine != command.nNumber
             ? " (line " + std::to_string(command.nNumber) + " has no instruction)"
             : std::string()) +
        "\n");
}

void CDebugSession::DeleteBreakpoints(const SCommand& command)
{
    const bool bLive = m_nEvent == XANCLDEBUG_EVENT_STARTED || m_nEvent == XANCLDEBUG_EVENT_HALTED;
    if (command.vNumbers.empty())
    {
        m_vBreakpoints.clear();
        if (bLive)
        {
            m_Library.xanclDebugClearAllBreakpoints(m_pState);
        }
        return;
    }
    for (uint64_t nNumber : command.vNumbers)
    {
        auto found = std::find_if(m_vBreakpoints.begin(), m_vBreakpoints.end(),
                                  [nNumber](const SBreakpoint& breakpoint)
                                  { return breakpoint.nNumber == nNumber; });
        if (found == m_vBreakpoints.end())
        {
            Fail("no breakpoint number " + std::to_string(nNumber));
            continue;
        }
        const uint32_t nLine = found->nLine;
        const bool bPending = found->bPending;
        m_vBreakpoints.erase(found);
        if (bLive && !bPending && FindBreakpointAt(nLine) == nullptr)
        {
            m_Library.xanclDebugClearBreakpoint(m_pState, nLine);
        }
    }
}

void CDebugSession::Print(const SCommand& command, const std::string& strPrefix)
{
    if (!NeedHalted())
    {
        return;
    }
    std::vector<RegisterValue> vValues;
    std::string strError;
    if (GetValues(command.strRegister, vValues, strError))
    {
        Out(strPrefix + FormatRegister(command, vValues, GetMask()));
        return;
    }
    // Not a register: a source variable of -g IL, shown with the register that holds it.
    SCommand variable = command;
    std::string strComponents;
    std::string strVariableError;
    if (!m_Source.FindVariable(command.strRegister, m_nLine, variable.strRegister, strComponents,
                               strVariableError))
    {
        Fail(m_Source.SourceLine(m_nLine).empty() ? strError : strVariableError);
        return;
    }
    if (command.format.strComponents == "xyzw")
    {
        variable.format.strComponents = strComponents;
    }
    if (!GetValues(variable.strRegister, vValues, strError))
    {
        Fail(strError);
        return;
    }
    Out(strPrefix + command.strRegister + ": " + FormatRegister(variable, vValues, GetMask()));
}

void CDebugSession::SelectWorkItem(const SCommand& command)
{
    if (!command.vNumbers.empty())
    {
        size_t nFlat = 0;
        std::string strError;
        if (!m_Space.FindFlat(command.vNumbers, nFlat, strError))
        {
            Fail(strError);
            return;
        }
        m_nWorkItem = nFlat;
    }
    Out("work-item " + m_Space.GetName(m_nWorkItem) + "\n");
}

void CDebugSession::Examine(const SCommand& command)
{
    if (!NeedHalted())
    {
        return;
    }
    const std::vector<SLaunchArg>& vArgs = m_Launch.GetArgs();
    // The library lists the regions of the global buffers in the order of the arguments.
    size_t nRegion = 0;
    const SLaunchArg* pArg = nullptr;
    for (const SLaunchArg& arg : vArgs)
    {
        if (arg.strName == command.strBuffer)
        {
            pArg = &arg;
            break;
        }
        nRegion += arg.eKind == AK_Buffer ? 1 : 0;
    }
    if (pArg == nullptr || pArg->eKind != AK_Buffer)
    {
        std::string strNames;
        for (const SLaunchArg& arg : vArgs)
        {
            strNames += arg.eKind == AK_Buffer ? (strNames.empty() ? "" : ", ") + arg.strName : "";
        }
        Fail("no buffer argument \"" + command.strBuffer +
             "\"; the buffers are: " + (strNames.empty() ? "none" : strNames));
        return;
    }
    if (command.nNumber >= pArg->nCount || command.nCount > pArg->nCount - command.nNumber)
    {
        Fail(command.strBuffer + "[" + std::to_string(command.nNumber) + "]@" +
             std::to_string(command.nCount) + " is out of range: " + command.strBuffer + " has " +
             Plural(pArg->nCount, "element") + ", 0 to " + std::to_string(pArg->nCount - 1));
        return;
    }
    size_t nRegions = 0;
    m_Library.xanclDebugGetValidGlobalMemoryRegions(m_pState, 0, nullptr, &nRegions);
    std::vector<xanclDebugMemoryRegion> vRegions(nRegions);
    if (nRegion >= nRegions ||
        m_Library.xanclDebugGetValidGlobalMemoryRegions(m_pState, nRegions, vRegions.data(),
                                                        &nRegions) != XANCLDEBUG_SUCCESS)
    {
        Fail("the library knows no memory of " + command.strBuffer);
        return;
    }
    const size_t nStride = pArg->type.GetSize();
    std::vector<uint8_t> vBytes(size_t(command.nCount) * nStride);
    size_t nWritten = 0;
    if (m_Library.xanclDebugGetGlobalMemoryValues(
            m_pState, vRegions[nRegion].uavID,
            vRegions[nRegion].start + size_t(command.nNumber) * nStride, vBytes.size(),
            vBytes.data(), &nWritten) != XANCLDEBUG_SUCCESS ||
        nWritten != vBytes.size())
    {
        Fail("the library could not read " + command.strBuffer);
        return;
    }
    std::string strText;
    for (size_t i = 0; i < command.nCount; ++i)
    {
        if (i % EXAMINE_PER_LINE == 0)
        {
            strText += (i == 0 ? "" : "\n") + command.strBuffer + "[" +
                       std::to_string(command.nNumber + i) + "]:";
        }
        strText += " " + pArg->type.Format(&vBytes[i * nStride]);
    }
    Out(strText + "\n");
}

void CDebugSession::ShowPrivate(const SCommand& command)
{
    if (!NeedHalted())
    {
        return;
    }
    const size_t nBytes = size_t(command.bHasNumber ? command.nNumber : DEFAULT_PRIVATE_BYTES);
    const size_t nItems = m_Space.GetCount();
    // The library answers for every work-item at once.
    const size_t nMaxBytes = std::max<size_t>(MAX_PRIVATE_READ / nItems, 16);
    if (nBytes == 0 || nBytes > nMaxBytes)
    {
        Fail("info private takes 1 to " + std::to_string(nMaxBytes) + " bytes in this launch");
        return;
    }
    std::vector<uint8_t> vBytes(nItems * nBytes);
    size_t nWritten = 0;
    if (m_Library.xanclDebugGetPrivateMemoryValues(m_pState, 0, nBytes, vBytes.data(), &nWritten) !=
            XANCLDEBUG_SUCCESS ||
        nWritten != vBytes.size())
    {
        Fail("the library could not read private memory");
        return;
    }
    std::string strText = "private memory of work-item " + m_Space.GetName(m_nWorkItem) + ":\n";
    const uint8_t* pItem = vBytes.data() + m_nWorkItem * nBytes;
    for (size_t nAddress = 0; nAddress < nBytes; nAddress += 16)
    {
        char vLine[32];
        std::snprintf(vLine, sizeof(vLine), "  0x%04zx:", nAddress);
        strText += vLine;
        for (size_t i = nAddress; i < nBytes && i < nAddress + 16; ++i)
        {
            std::snprintf(vLine, sizeof(vLine), " %02x", pItem[i]);
            strText += vLine;
        }
        strText += "\n";
    }
    Out(strText);
}

void CDebugSession::List(const SCommand& command)
{
    if (m_IL.GetLineCount() == 0)
    {
        Fail("no IL text to list: " +
             (m_strILError.empty() ? "the kernel has not been built" : m_strILError));
        return;
    }
    const uint32_t nCenter = command.bHasNumber
                                 ? uint32_t(std::min<uint64_t>(command.nNumber, NO_LINE - 1))
                             : m_nLine != NO_LINE ? m_nLine
                                                  : 0;
    if (nCenter >= m_IL.GetLineCount())
    {
        Fail("line " + std::to_string(nCenter) + " is past the end: the kernel's IL ends at line " +
             std::to_string(m_IL.GetLineCount() - 1));
        return;
    }
    const uint32_t nFirst = nCenter > LIST_CONTEXT ? nCenter - LIST_CONTEXT : 0;
    const uint32_t nLast =
        uint32_t(std::min<size_t>(nCenter + LIST_CONTEXT, m_IL.GetLineCount() - 1));
    std::string strText;
    for (uint32_t nLine = nFirst; nLine <= nLast; ++nLine)
    {
        char vHead[32];
        std::snprintf(vHead, sizeof(vHead), "%s%c%5u  ",
                      m_nEvent == XANCLDEBUG_EVENT_HALTED && nLine == m_nLine ? "=>" : "  ",
                      FindBreakpointAt(nLine) != nullptr ? '*' : ' ', nLine);
        strText += vHead + m_IL.GetLine(nLine) + "\n";
    }
    Out(strText);
}

void CDebugSession::ShowRegisters()
{
    if (!NeedHalted())
    {
        return;
    }
    size_t nCount = 0;
    if (m_Library.xanclDebugGetNumberOfActiveRegisters(m_pState, &nCount) != XANCLDEBUG_SUCCESS)
    {
        Fail("the library could not list the live registers");
        return;
    }
    std::vector<cl_ulong> vLocators(nCount);
    if (nCount > 0 && m_Library.xanclDebugGetActiveRegisters(m_pState, vLocators.data(), nCount) !=
                          XANCLDEBUG_SUCCESS)
    {
        Fail("the library could not list the live registers");
        return;
    }
    std::string strText = "registers of work-item " + m_Space.GetName(m_nWorkItem) + ":\n";
    const std::vector<bool> vActive = GetMask();
    for (cl_ulong locator : vLocators)
    {
        SCommand command;
        command.strRegister = m_Library.LocatorToString(locator);
        std::vector<RegisterValue> vValues;
        std::string strError;
        if (!command.strRegister.empty() && GetValues(command.strRegister, vValues, strError))
        {
            strText += "  " + FormatRegister(command, vValues, vActive);
        }
    }
    Out(nCount == 0 ? "No register is live here.\n" : strText);
}

void CDebugSession::ShowArgs()
{
    std::string strText;
    const std::vector<SLaunchArg>& vArgs = m_Launch.GetArgs();
    for (size_t i = 0; i < vArgs.size(); ++i)
    {
        const SLaunchArg& arg = vArgs[i];
        strText += "  " + std::to_string(i) + " " + arg.strName + ": ";
        switch (arg.eKind)
        {
        case AK_Buffer:
            strText += "buffer of " + std::to_string(arg.nCount) + " " + arg.type.strName +
                       (arg.bReadOnly ? ", read-only" : ", read-write");
            break;
        case AK_Scalar:
            strText += arg.type.strName + " " + arg.type.Format(arg.vBytes.data());
            break;
        case AK_Local:
            strText += "__local, " + Plural(arg.nLocalSize, "byte");
            break;
        case AK_Image:
            strText += std::to_string(arg.nImageDimensions) + "D image " + arg.strChannelOrder +
                       " " + arg.strChannelType + " " + std::to_string(arg.vImageSize[0]);
            for (uint32_t d = 1; d < arg.nImageDimensions; ++d)
            {
                strText += "x" + std::to_string(arg.vImageSize[d]);
            }
            break;
        case AK_Sampler:
            strText += std::string("sampler, ") +
                       (arg.bNormalizedCoords ? "normalized" : "unnormalized") + ", " +
                       arg.strAddressing + ", " + arg.strFilter;
            break;
        }
        strText += "\n";
    }
    Out(strText.empty() ? "The kernel has no arguments.\n" : strText);
}

void CDebugSession::ShowKernel()
{
    auto sizes = [this](const size_t* pSizes)
    {
        std::string strText;
        for (uint32_t d = 0; d < m_Space.GetDimensions(); ++d)
        {
            strText += (d == 0 ? "" : " x ") + std::to_string(pSizes[d]);
        }
        return strText;
    };
    std::string strText =
        "kernel " + m_Launch.GetKernel() + " of " + m_Launch.GetProgramPath() +
        (m_Launch.GetOptions().empty() ? "" : ", built with " + m_Launch.GetOptions()) +
        "\n  global " + sizes(m_Space.GetGlobal()) + ", local " +
        (m_Launch.GetLocalSize() != nullptr ? sizes(m_Space.GetLocal())
                                            : std::string("chosen by the platform")) +
        ", offset " + sizes(m_Space.GetOffset()) + "\n  " +
        Plural(m_Space.GetCount(), "work-item") + " in " +
        Plural(m_Space.GetGroupCount(), "work-group") + ", " +
        Plural(m_IL.GetLineCount(), "IL line") + "\n  ";
    switch (m_nEvent)
    {
    case XANCLDEBUG_EVENT_HALTED:
        strText += "stopped at line " + std::to_string(m_nLine) + " after " +
                   Plural(m_nSteps, "step") + "\n";
        break;
    case XANCLDEBUG_EVENT_STARTED:
        strText += "stopped before its first instruction\n";
        break;
    default:
        strText += "finished\n";
        break;
    }
    Out(strText);
}
} // namespace XAN_Xancldb
