#ifndef FAKE_SHADER_DEBUGGER_H
#define FAKE_SHADER_DEBUGGER_H

// A debugger, a device and an OpenCL host without an engine or OpenCL behind them, so that the
// host's forwarding and the command loop can be tested on their own. Each records what it is
// asked into a shared journal.

#include "APIUsageLog.h"
#include "ShaderDebuggerHostCL.h"
#include "ShaderUtils/SUBuffer.h"
#include "Src/LogTail.h"
#include "support/TestDebugger.h"

#include <deque>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace XAN_Test
{
typedef std::vector<std::string> Journal;

// A pointer as the logs write it.
inline std::string PointerText(const void* p)
{
    std::ostringstream text;
    text << p;
    return text.str();
}

// The base's own behaviour, with the start, the end, the steps and the runs scripted and noted.
class CFakeDebugger : public CTestDebugger
{
public:
    explicit CFakeDebugger(Journal* pJournal = NULL)
        : CTestDebugger(NULL), m_pJournal(pJournal), m_bStartResult(true)
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
    bool Step() override
    {
        Note("Step");
        if (m_StepHook)
        {
            m_StepHook();
        }
        return Next(m_StepResults);
    }
    bool Run() override
    {
        Note("Run");
        return Next(m_RunResults);
    }
    bool AddBreakPointAtLineNumber(uint32_t nLine, uint32_t nSearch, uint32_t* pActualLine) override
    {
        if (pActualLine != NULL)
        {
            *pActualLine = nLine;
        }
        return CTestDebugger::AddBreakPointAtLineNumber(nLine, nSearch, pActualLine);
    }

    uint32_t GetNextLine() override { return m_nNextLine; }
    ShaderUtils::SUBuffer* GetRegisterResultsBuffer(const XAN_ShaderDebugger::varID& id) override
    {
        std::map<std::string, ShaderUtils::SUBuffer>::iterator it = m_Values.find(id.strName);
        return it != m_Values.end() ? &it->second : NULL;
    }
    ShaderUtils::SUBuffer* GetExecMaskBuffer() override { return m_pMask; }

    Journal* m_pJournal;
    bool m_bStartResult;
    std::deque<bool> m_StepResults;
    std::deque<bool> m_RunResults;
    void (*m_StepHook)() = NULL;
    uint32_t m_nNextLine = 0;
    // Results by register name; the execution mask is not owned.
    std::map<std::string, ShaderUtils::SUBuffer> m_Values;
    ShaderUtils::SUBuffer* m_pMask = NULL;
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
    bool CreateShader(uint32_t, const void*, size_t, void**) override { return false; }
    void ReleaseShader(void*) override {}
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
    // Reads succeed on one UAV only, and every UAV tried is noted.
    bool GetGlobalMemory(uint32_t nUAV, uint64_t, uint64_t, void*, size_t* pOutSize) override
    {
        m_vTriedUAVs.push_back(nUAV);
        if (nUAV == m_nReadableUAV && pOutSize != NULL)
        {
            *pOutSize = 0;
        }
        return nUAV == m_nReadableUAV;
    }
    bool GetValidGlobalMemoryRegions(size_t, xanclDebugMemoryRegion*, size_t*) override
    {
        return false;
    }
    bool GetActiveRegisters(std::vector<std::string>* pNames) override
    {
        *pNames = m_vActiveRegisters;
        return m_bActiveResult;
    }
    bool ExecuteShader() override { return false; }
    void Log(uint32_t, const std::string& strText) override { m_vLogLines.push_back(strText); }

    cl_command_queue m_Queue;
    bool m_bInitArgsResult;
    bool m_bEnqueueDataResult;
    std::vector<unsigned char> m_vBinary;
    std::vector<std::string> m_vLogLines;
    uint32_t m_nReadableUAV = 0xFFFFFFFF;
    std::vector<uint32_t> m_vTriedUAVs;
    std::vector<std::string> m_vActiveRegisters;
    bool m_bActiveResult = true;
};

} // namespace XAN_Test

#endif
