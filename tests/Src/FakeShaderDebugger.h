#ifndef FAKE_SHADER_DEBUGGER_H
#define FAKE_SHADER_DEBUGGER_H

// A debugger, a device and an OpenCL host without an engine or OpenCL behind them, so that the
// host's forwarding and the command loop can be tested on their own. Each records what it is
// asked into a shared journal.

#include "APIUsageLog.h"
#include "ShaderDebuggerHostCL.h"
#include "Src/LogTail.h"

#include <deque>
#include <set>
#include <string>
#include <vector>

namespace XAN_Test
{
typedef std::vector<std::string> Journal;

class CFakeDebugger : public XAN_ShaderDebugger::IShaderDebugger
{
public:
    explicit CFakeDebugger(Journal* pJournal = NULL)
        : m_pJournal(pJournal), m_bStartResult(true), m_nLogLevel(8), m_bErrorPending(false)
    {
    }
    ~CFakeDebugger() override { Note("~CFakeDebugger"); }

    void Note(const std::string& strEntry)
    {
        if (m_pJournal != NULL)
        {
            m_pJournal->push_back(strEntry);
        }
    }

    // The results of successive Step and Run calls; false once the script runs out.
    static bool Next(std::deque<bool>& script)
    {
        if (script.empty())
        {
            return false;
        }
        const bool bResult = script.front();
        script.pop_front();
        return bResult;
    }

    bool StartDebugging(const void*, size_t nSize, const void*, const uint32_t* pWorkSize,
                        uint32_t) override
    {
        Note("StartDebugging " + std::to_string(nSize) + " " + std::to_string(pWorkSize[0]));
        return m_bStartResult;
    }
    void EndDebugging(bool bUpdateBuffers) override
    {
        Note(bUpdateBuffers ? "EndDebugging(true)" : "EndDebugging(false)");
    }
    bool IsDebugging() override { return false; }
    bool Profile(const void*, size_t, const void*, void*, const uint32_t*, uint32_t) override
    {
        return false;
    }
    bool GetShaderText(const void*, size_t, const void*, std::string&, uint32_t) override
    {
        return false;
    }
    bool GetShaderText(std::string&, uint32_t) override { return false; }
    bool GetShaderKeywords(const void*, size_t, const void*, std::vector<std::string>&,
                           uint32_t) override
    {
        return false;
    }
    bool GetShaderKeywords(std::vector<std::string>&, uint32_t) override { return false; }
    bool GetShaderInfo(const void*, size_t, XAN_ShaderDebugger::ShaderInfo*) override
    {
        return false;
    }
    bool GetShaderInfo(XAN_ShaderDebugger::ShaderInfo*) override { return false; }
    uint32_t GetDefaultDebugMode() override { return 0; }
    bool SetDebugMode(uint32_t) override { return false; }
    bool Execute() override { return false; }
    bool Draw() override { return false; }
    bool Step() override
    {
        Note("Step");
        if (m_StepHook)
        {
            m_StepHook();
        }
        return Next(m_StepResults);
    }
    bool Back() override { return false; }
    bool Run() override
    {
        Note("Run");
        return Next(m_RunResults);
    }
    bool RunBack() override { return false; }
    uint32_t GetCurrentLine() override { return 0; }
    uint32_t GetNextLine() override { return 0; }
    uint32_t GetPreviousLine() override { return 0; }
    XAN_ShaderDebugger::ProgramCounter GetCurrentInstruction() override
    {
        return XAN_ShaderDebugger::ProgramCounter(0);
    }
    void SetThreadID(const ShaderUtils::ThreadID& id) override { m_ThreadID = id; }
    ShaderUtils::ThreadID GetThreadID() override { return m_ThreadID; }
    bool AddBreakPointAtLineNumber(uint32_t nLine, uint32_t, uint32_t* pActualLine) override
    {
        m_BreakPoints.insert(nLine);
        if (pActualLine != NULL)
        {
            *pActualLine = nLine;
        }
        return true;
    }
    bool AddBreakPoint(uint32_t) override { return false; }
    bool RemoveBreakPointAtLineNumber(uint32_t nLine) override
    {
        m_BreakPoints.erase(nLine);
        return true;
    }
    bool RemoveBreakPoint(uint32_t) override { return false; }
    bool RemoveAllBreakPoints() override
    {
        m_BreakPoints.clear();
        return true;
    }
    bool ToggleBreakPointAtLineNumber(uint32_t, bool) override { return false; }
    bool ToggleBreakPoint(uint32_t) override { return false; }
    bool IsBreakPointAtLineNumber(uint32_t nLine) override
    {
        return m_BreakPoints.count(nLine) != 0;
    }
    bool IsBreakPoint(uint32_t) override { return false; }
    bool HasBreakPointBetweenLines(uint32_t, uint32_t) override { return false; }
    bool HasBreakPointBetween(uint32_t, uint32_t) override { return false; }
    uint32_t GetAllBreakpoints(std::set<uint32_t>* pLines) override
    {
        if (pLines != NULL)
        {
            *pLines = m_BreakPoints;
        }
        return static_cast<uint32_t>(m_BreakPoints.size());
    }
    uint32_t GetAllBreakpointInstructions(std::set<uint32_t>*) override { return 0; }
    bool SetTrackingRegisters(const std::set<std::string>& registers) override
    {
        m_TrackingRegisters = registers;
        return true;
    }
    void GetTrackingRegisters(std::set<std::string>& registers) override
    {
        registers = m_TrackingRegisters;
    }
    void SetTrackSelectedRegisters(bool) override {}
    bool IsTrackSelectedRegisters() override { return false; }
    XAN_ShaderDebugger::CShaderDebuggerVariables* GetVariables(ShaderUtils::ThreadID&) override
    {
        return NULL;
    }
    ShaderUtils::SUBuffer* GetRegisterResultsBuffer(const XAN_ShaderDebugger::varID&) override
    {
        return NULL;
    }
    ShaderUtils::SUBuffer* GetGlobalResultsBuffer(const XAN_ShaderDebugger::varID&) override
    {
        return NULL;
    }
    ShaderUtils::SUBuffer* GetExecMaskBuffer() override { return NULL; }
    uint32_t GetWorkSize0() override { return 0; }
    uint32_t GetWorkSize1() override { return 0; }
    uint32_t GetWorkSize2() override { return 0; }
    uint32_t GetWorkSize3() override { return 0; }
    uint32_t GetWorkSize4() override { return 0; }
    bool GetLastError(std::string& strError) override
    {
        strError = m_strLastError;
        const bool bPending = m_bErrorPending;
        m_bErrorPending = false;
        return bPending;
    }
    void SetLastError(const std::string& strError) override
    {
        m_strLastError = strError;
        m_bErrorPending = true;
    }
    uint32_t GetLogLevel() override { return m_nLogLevel; }
    void SetLogLevel(uint32_t nLevel) override { m_nLogLevel = nLevel; }
    XAN_ShaderDebugger::CShaderDebuggerHost* GetHost() override { return NULL; }

    Journal* m_pJournal;
    bool m_bStartResult;
    uint32_t m_nLogLevel;
    std::string m_strLastError;
    bool m_bErrorPending;
    std::set<uint32_t> m_BreakPoints;
    std::set<std::string> m_TrackingRegisters;
    ShaderUtils::ThreadID m_ThreadID;
    std::deque<bool> m_StepResults;
    std::deque<bool> m_RunResults;
    void (*m_StepHook)() = NULL;
};

class CFakeDevice : public XAN_ShaderDebugger::CShaderDebuggerDevice
{
public:
    explicit CFakeDevice(Journal* pJournal = NULL) : m_pJournal(pJournal) {}
    ~CFakeDevice() override
    {
        if (m_pJournal != NULL)
        {
            m_pJournal->push_back("~CFakeDevice");
        }
    }

    bool InitDevice() override { return true; }
    bool ResetDevice() override { return true; }
    bool GetDeviceBufferDesc(uint32_t, int32_t nIndex, BufferDesc*) override
    {
        return nIndex == -1;
    }
    XAN_ShaderDebugger::CShaderDebuggerDeviceBuffer* CreateDeviceBuffer(const BufferDesc&) override
    {
        return NULL;
    }
    uint32_t GetNumDeviceBuffers(uint32_t) override { return 3; }
    XAN_ShaderDebugger::CShaderDebuggerDeviceBuffer* GetDeviceBuffer(uint32_t, uint32_t) override
    {
        return NULL;
    }
    XAN_ShaderDebugger::CShaderDebuggerDeviceBuffer* GetDeviceBuffer(uint32_t, std::string) override
    {
        return NULL;
    }
    bool SetDeviceBuffer(uint32_t, uint32_t,
                         XAN_ShaderDebugger::CShaderDebuggerDeviceBuffer*) override
    {
        return false;
    }
    bool SetDeviceBuffer(uint32_t, std::string,
                         XAN_ShaderDebugger::CShaderDebuggerDeviceBuffer*) override
    {
        return false;
    }
    bool CreateShader(uint32_t, const void*, size_t, const void*) override { return false; }
    bool SetShader(uint32_t, const void*, size_t) override { return false; }
    void* GetShader(uint32_t) override { return NULL; }
    std::string GetShaderName(uint32_t) override { return "fake"; }
    bool DisassembleShader(const void*, size_t, std::string&) override { return false; }

    Journal* m_pJournal;
};

// An OpenCL host whose device work is scripted: a kernel binary, a queue handle and the answer
// of InitKernelArgInfo.
class CFakeHostCL : public XAN_ShaderDebugger::CShaderDebuggerHostCL
{
public:
    CFakeHostCL(cl_kernel kernel, cl_command_queue queue, Journal* pJournal = NULL)
        : CShaderDebuggerHostCL(kernel, new CFakeDevice(pJournal)), m_Queue(queue),
          m_bInitArgsResult(true), m_bEnqueueDataResult(true)
    {
    }

    bool GetEnqueueData(uint32_t* pNumDim, const size_t** ppGlobalOffset,
                        const size_t** ppGlobalSize, const size_t** ppLocalSize) override
    {
        CShaderDebuggerHostCL::GetEnqueueData(pNumDim, ppGlobalOffset, ppGlobalSize, ppLocalSize);
        return m_bEnqueueDataResult;
    }
    std::vector<unsigned char>& GetKernelBinary() override { return m_vBinary; }
    cl_command_queue GetCommandQueue() override { return m_Queue; }
    bool IsTidalReefs() override { return true; }
    bool InitKernelArgInfo(cl_kernel) override { return m_bInitArgsResult; }
    bool GetGlobalMemory(uint32_t, uint64_t, uint64_t, void*, size_t*) override { return false; }
    bool GetValidGlobalMemoryRegions(size_t, xanclDebugMemoryRegion*, size_t*) override
    {
        return false;
    }
    bool GetActiveRegisters(std::vector<std::string>*) override { return false; }
    bool ExecuteShader() override { return false; }
    void Log(uint32_t, const std::string& strText) override { m_vLogLines.push_back(strText); }

    cl_command_queue m_Queue;
    bool m_bInitArgsResult;
    bool m_bEnqueueDataResult;
    std::vector<unsigned char> m_vBinary;
    std::vector<std::string> m_vLogLines;
};

// Text that the usage log received since the object was made.
} // namespace XAN_Test

#endif
