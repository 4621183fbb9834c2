#ifndef SHADER_DEBUGGER_IL_H
#define SHADER_DEBUGGER_IL_H

#include "ShaderDebuggerBase.h"
#include "ShaderDebuggerBuffer.h"
#include "ShaderDebuggerHost.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace XAN_ShaderDebugger
{
class CShaderDebuggerShaderIL;

// The debugger of IL kernels. Every state it shows comes from a patched kernel run from the
// start on restored copies of the kernel's buffers: it owns those copies, the two buffers the
// patched kernels write their records into, and the results that accumulate from step to step.
class CShaderDebuggerIL : public CShaderDebuggerBase
{
public:
    // The debugger's own buffers, in the order of the arguments behind the kernel's own.
    enum
    {
        SD_Results = 0,
        SD_ExecMask = 1
    };

    typedef std::map<std::string, CShaderDebuggerResult*> ResultMap;

    explicit CShaderDebuggerIL(CShaderDebuggerHost* pHost);
    // Releases what a start that failed half-way left behind.
    ~CShaderDebuggerIL() override;

    bool StartDebugging(const void* pShaderData, size_t nSize, const void* pExtra,
                        const uint32_t* pWorkSize, uint32_t nMode) override;
    void EndDebugging(bool bUpdateBuffers) override;
    bool GetShaderText(const void* pShaderData, size_t nSize, const void* pExtra, std::string& text,
                       uint32_t nType) override;
    bool GetShaderText(std::string& text, uint32_t nType) override;
    bool GetShaderKeywords(const void* pShaderData, size_t nSize, const void* pExtra,
                           std::vector<std::string>& list, uint32_t nType) override;
    bool GetShaderKeywords(std::vector<std::string>& list, uint32_t nType) override;
    bool GetShaderInfo(const void* pShaderData, size_t nSize, ShaderInfo* pInfo) override;
    using CShaderDebuggerBase::GetShaderInfo;
    bool Execute() override;
    bool Draw() override;
    bool Step() override;
    bool Back() override;
    bool Run() override;
    bool RunBack() override;
    uint32_t GetCurrentLine() override;
    uint32_t GetNextLine() override;
    uint32_t GetPreviousLine() override;
    ProgramCounter GetCurrentInstruction() override;
    bool AddBreakPointAtLineNumber(uint32_t nLine, uint32_t nSearch,
                                   uint32_t* pActualLine) override;
    bool AddBreakPoint(uint32_t nInstruction) override;
    bool RemoveBreakPointAtLineNumber(uint32_t nLine) override;
    bool RemoveBreakPoint(uint32_t nInstruction) override;
    bool ToggleBreakPointAtLineNumber(uint32_t nLine, bool bSearch) override;
    bool ToggleBreakPoint(uint32_t nInstruction) override;
    bool IsBreakPoint(uint32_t nInstruction) override;
    bool HasBreakPointBetween(uint32_t nFirstInstruction, uint32_t nLastInstruction) override;
    uint32_t GetAllBreakpointInstructions(std::set<uint32_t>* pInstructions) override;
    CShaderDebuggerVariables* GetVariables(ShaderUtils::ThreadID& id) override;
    ShaderUtils::SUBuffer* GetRegisterResultsBuffer(const varID& request) override;
    ShaderUtils::SUBuffer* GetGlobalResultsBuffer(const varID& request) override;
    ShaderUtils::SUBuffer* GetExecMaskBuffer() override;

    // The shader of a run; null on out of memory. The constructor analyses the kernel.
    virtual CShaderDebuggerShaderIL* CreateILShader(const void* pShaderData, size_t nSize,
                                                    const void* pExtra);
    virtual bool DoExecute(bool bRecordSteps);
    virtual bool CreateTargetBuffers();
    virtual void DestroyTargetBuffers(bool bUpdateBuffers);
    // Restores the working copies and binds the kernel's arguments and both record buffers;
    // called before each execution.
    virtual bool SwitchTargetBuffers();
    virtual bool RestoreTargetBuffers();
    virtual bool SetRegisterSelectorValue(uint32_t nValue);
    // Reads the records of the last execution back and files them under the register.
    virtual void UpdateResults(const ProgramCounter& pc, const Register& reg);
    virtual bool RetrieveBuffers(CShaderDebuggerBuffer*& pResultBuffer,
                                 CShaderDebuggerBuffer*& pExecMaskBuffer);
    // The caller owns the buffer.
    virtual bool RetrieveResultBuffer(CShaderDebuggerBuffer*& pResultBuffer);
    virtual bool RetrieveExecMaskBuffer(CShaderDebuggerBuffer*& pExecMaskBuffer);
    virtual CShaderDebuggerResult* GetResult(const Register& reg);
    virtual CShaderDebuggerResult* GetOrCreateResult(ResultMap& results,
                                                     const std::string& strName);
    virtual CShaderDebuggerResult* FindRegisterResult(const Register& reg);
    virtual CShaderDebuggerResult* FindResult(ResultMap& results, const std::string& strName);
    virtual bool CreateCBDumpBuffer();
    virtual bool UpdateCBDumpBuffer();
    // Reads the working copy behind a global result into it, if a store may have changed it.
    virtual bool UpdateGlobalResult(CShaderDebuggerResult* pUpdateResult);
    virtual void MarkGlobalResultsStale(const ProgramCounter& pc);

    // The declared inputs, read without a step.
    void UpdateResults(const Register& reg);
    // Files the two buffers, which this takes over, under the register; the result that took
    // them, or null.
    CShaderDebuggerResult* UpdateResults(const ProgramCounter& pc, const Register& reg,
                                         CShaderDebuggerBuffer* pResultBuffer,
                                         CShaderDebuggerBuffer* pExecMaskBuffer);
    void UpdateResultDataType(const ProgramCounter& pc, const Register& reg);
    // Makes the newest result written at or before pc the last one.
    bool FindLastResult(const ProgramCounter& pc);
    // Binds the dump buffer where the result buffer goes.
    bool BindCBDumpBuffer();
    // Deletes a register's result, which no step has written any more.
    void DeleteRegisterResult(const Register& reg);
    // Chooses the thread that a view shows when the caller names none.
    bool SelectDefaultThread(ShaderUtils::ThreadID& id);

    const ProgramCounter& GetGlobalResultsPC() const { return m_GlobalResultsPC; }
    CShaderDebuggerShaderIL* GetILShader() const;
    const ResultMap& GetResults() const { return m_Results; }
    const ResultMap& GetGlobalResults() const { return m_GlobalResults; }
    CShaderDebuggerResult* GetLastResult() const { return m_pLastResult; }

private:
    typedef std::unique_ptr<CShaderDebuggerDeviceBuffer> DeviceBufferPtr;

    // Ends a start that failed from the creation of the target buffers on: no shader stays.
    bool FailStart();
    // A command: the shader's move, the execution of what it chose, and the choice behind it.
    bool Command(bool (CShaderDebuggerShaderIL::*pMove)(),
                 bool (CShaderDebuggerShaderIL::*pAfter)());
    // Releases the shader, the buffers and the results of a run.
    void ReleaseRun(bool bUpdateBuffers);
    static void DeleteResults(ResultMap& results);
    // The breakpoint line nearest nLine within nSearch lines; invalid without a shader.
    uint32_t FindBreakPointLine(uint32_t nLine, uint32_t nSearch);
    uint32_t GetLineOfInstruction(uint32_t nInstruction);
    bool RetrieveBuffer(uint32_t nWhich, CShaderDebuggerBuffer*& pBuffer);
    // Reads one of the debugger's buffers into pHeld, or into the spare buffer of its kind, or
    // into a new one; null on failure, with pHeld's contents undefined.
    CShaderDebuggerBuffer* ReadRecords(uint32_t nWhich, CShaderDebuggerBuffer* pHeld);
    // Keeps a buffer that a result gave back for the next read of its kind.
    void KeepSpare(uint32_t nWhich, std::unique_ptr<CShaderDebuggerBuffer> pBuffer);
    // Where a register's records are filed: the register of its result and the component
    // window that a private UAV store writes; false for a register not filed at all.
    bool FindFilingTarget(const Register& reg, Register& realReg, size_t& nFirst,
                          size_t& nComponents);
    // Files the two buffers, which this takes over, under the result of realReg.
    CShaderDebuggerResult* FileRecords(const ProgramCounter& pc, const Register& reg,
                                       const Register& realReg, size_t nFirst, size_t nComponents,
                                       CShaderDebuggerBuffer* pResultBuffer,
                                       CShaderDebuggerBuffer* pExecMaskBuffer);
    CShaderDebuggerDeviceBuffer* CreateDebuggerBuffer(BufferFormat format, uint32_t nReserved);

    // One per kernel argument: the application's object.
    std::vector<DeviceBufferPtr> m_vpOriginalTargetBuffers;
    // One per argument with memory: its contents at the start of the run, never written again.
    std::vector<std::unique_ptr<CShaderDebuggerBuffer>> m_vpOriginalTargetBuffersData;
    // One per argument with memory: the copy that the patched kernels run on.
    std::vector<DeviceBufferPtr> m_vpModifiedTargetBuffers;
    DeviceBufferPtr m_pSwitchedTargetBuffers[2];
    // Owned; by register name with index.
    ResultMap m_Results;
    // Owned; "m" with the argument index, and "cb1".
    ResultMap m_GlobalResults;
    CShaderDebuggerResult* m_pLastResult; // not owned
    DeviceBufferPtr m_pCBBuffer;
    std::vector<bool> m_vGlobalResultStale;
    ProgramCounter m_GlobalResultsPC;
    // The size of the exec-mask buffer.
    size_t m_nExecMaskBytes;
    // Per debugger buffer, one host buffer that no result holds any more.
    std::unique_ptr<CShaderDebuggerBuffer> m_pSpareBuffers[2];
};
} // namespace XAN_ShaderDebugger

#endif
