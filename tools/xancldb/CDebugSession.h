#ifndef XAN_TOOLS_XANCLDB_CDEBUGSESSION_H
#define XAN_TOOLS_XANCLDB_CDEBUGSESSION_H

#include "CCommandParser.h"
#include "CDebugILText.h"
#include "CDebugLibrary.h"
#include "CJsonReport.h"
#include "CLaunchRunner.h"
#include "CLineReader.h"
#include "CProgress.h"
#include "CSourceMap.h"
#include "CWorkItemSpace.h"

#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Xancldb
{
struct SSessionOptions
{
    bool bJson = false;         // one JSON object per stop and per command
    bool bStopAtError = false;  // --batch: the first failing command ends the session
    bool bEcho = false;         // print the commands read from a script
    bool bShowProgress = false; // a terminal watches long runs
};

// One debug session of a launch: runs it through the library, answers the library's callback
// with the user's commands, and runs the launch again to step back.
class CDebugSession
{
public:
    CDebugSession(const XAN_Launch::CLaunchDescription& launch, const CDebugLibrary& library,
                  CLineReader& input, const SSessionOptions& options);

    // Debugs the launch until the user leaves; the final buffers land in vContents. False with
    // the reason when the launch could not run at all (a build error, a refused enqueue).
    bool Run(cl_context context, cl_device_id device, cl_command_queue queue,
             XAN_Launch::CLaunchRunner::Contents& vContents, std::string& strError);

    // A command failed in a batch, or the library could not debug the launch.
    bool HasFailed() const { return m_bFailed; }

    // Output of the session: text, or JSON lines with --json.
    void Out(const std::string& strText);
    void Fail(const std::string& strMessage);

private:
    struct SBreakpoint
    {
        uint32_t nNumber;
        uint32_t nLine;
        bool bTemporary;
        bool bPending; // set while no kernel ran: placed when the launch starts again
        uint32_t nHits;
    };
    struct SDisplay
    {
        uint32_t nNumber;
        SCommand command;
    };
    enum EMotion
    {
        MO_None,
        MO_Step,
        MO_Continue,
    };

    static cl_uint CL_CALLBACK Callback(KernelDebugState* pState, cl_uint nEvent, void* pUserData);
    cl_uint OnEvent(KernelDebugState* pState, cl_uint nEvent);
    cl_uint OnStarted();
    cl_uint OnHalted();
    cl_uint Interact();
    // Carries out a command; true with the library's next command in nAnswer when it resumes.
    bool Execute(const SCommand& command, cl_uint& nAnswer);
    // Lets the kernel run natively to its end.
    cl_uint Finish();
    // Ends this run and runs the launch again to the step nTarget.
    cl_uint Restart(uint64_t nTarget);

    bool NeedHalted();
    std::vector<bool> GetMask();
    bool GetValues(const std::string& strRegister, std::vector<RegisterValue>& vValues,
                   std::string& strError);
    void ReportStop(const std::string& strReason, uint32_t nBreakpoint);
    std::string FormatRegister(const SCommand& command, const std::vector<RegisterValue>& vValues,
                               const std::vector<bool>& vActive) const;
    std::string FormatBreakpointLine(uint32_t nLine) const;
    SBreakpoint* FindBreakpointAt(uint32_t nLine);

    void AddBreakpoint(const SCommand& command);
    void DeleteBreakpoints(const SCommand& command);
    void Print(const SCommand& command, const std::string& strPrefix);
    void Examine(const SCommand& command);
    void ShowPrivate(const SCommand& command);
    void List(const SCommand& command);
    void ShowRegisters();
    void ShowArgs();
    void ShowKernel();
    void SelectWorkItem(const SCommand& command);

    const XAN_Launch::CLaunchDescription& m_Launch;
    const CDebugLibrary& m_Library;
    CLineReader& m_Input;
    SSessionOptions m_Options;
    CWorkItemSpace m_Space;
    CDebugILText m_IL;
    CSourceMap m_Source;
    bool m_bILRead = false;
    std::string m_strILError;
    std::string m_strEnqueueError;
    CProgress m_Progress;

    KernelDebugState* m_pState = nullptr;
    cl_uint m_nEvent = XANCLDEBUG_EVENT_UNINITIALIZED;
    uint64_t m_nSteps = 0;
    std::vector<uint32_t> m_vLines; // the next line at each step; 0 is the start
    uint32_t m_nLine = 0;
    EMotion m_eMotion = MO_None;
    uint64_t m_nStepsLeft = 0;
    uint64_t m_nTarget = 0; // replaying to this step
    bool m_bRestart = false;
    bool m_bFinishing = false;
    bool m_bQuit = false;
    bool m_bFailed = false;

    std::vector<SBreakpoint> m_vBreakpoints;
    uint32_t m_nNextBreakpoint = 1;
    std::vector<SDisplay> m_vDisplays;
    uint32_t m_nNextDisplay = 1;
    size_t m_nWorkItem = 0;
    std::string m_strCommand; // the command being carried out, for --json
    std::string m_strRepeat;  // what an empty line repeats
};
} // namespace XAN_Xancldb

#endif
