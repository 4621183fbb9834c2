#ifndef SHADER_DEBUGGER_BASE_H
#define SHADER_DEBUGGER_BASE_H

#include "ShaderDebugger.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace XAN_ShaderDebugger
{
class CShaderDebuggerShader;

// The result under which a run without a destination register keeps its execution mask. A view
// of the variables leaves it out.
inline constexpr char g_szNoDestinationRegister[] = "NoDestinationRegister";

// The values of one register over all threads as the last run that wrote it left them, with the
// positions at which it was written.
class CShaderDebuggerResult
{
public:
    struct ExecutedStep
    {
        ProgramCounter pc;
        // Components written, COMP_*.
        unsigned short mask;
    };

    CShaderDebuggerResult(CShaderDebuggerHost* pHost, const std::string& strName);
    virtual ~CShaderDebuggerResult();

    CShaderDebuggerResult(const CShaderDebuggerResult&) = delete;
    CShaderDebuggerResult& operator=(const CShaderDebuggerResult&) = delete;

    const std::string& GetName() const { return m_strName; }

    // g_PC_NULL and 0 without a step.
    ProgramCounter GetLastStep() const;
    unsigned short GetLastStepMask() const;
    // Forgets the newest step and gives the one before it.
    ProgramCounter PopStep();
    // A re-run of the newest position adds no step.
    void AddStep(const ProgramCounter& pc, unsigned short mask);
    size_t GetStepCount() const { return m_ExecutedSteps.size(); }

    // Takes ownership of pNew. Where pExecMask shows threads that didn't run, or a component
    // window is given, only the active threads' values are taken from pNew; the other threads
    // keep what the held buffer had. Gives back the buffer it no longer holds, for reuse.
    std::unique_ptr<CShaderDebuggerBuffer>
    SetResultBuffer(CShaderDebuggerBuffer* pNew, const ShaderUtils::SUBuffer* pExecMask,
                    size_t nDstComponent, size_t nSrcComponent, size_t nComponents);
    // Whether SetResultBuffer with this mask and component count keeps held values: when not,
    // the held buffer may take the new values in place.
    bool KeepsHeldValues(const ShaderUtils::SUBuffer* pExecMask, size_t nComponents) const;
    // Takes ownership; gives back the buffer it no longer holds.
    std::unique_ptr<CShaderDebuggerBuffer> SetExecMaskBuffer(CShaderDebuggerBuffer* pExecMask);
    CShaderDebuggerBuffer* GetResultBuffer() const { return m_pResultBuffer; }
    CShaderDebuggerBuffer* GetExecMaskBuffer() const { return m_pExecMaskBuffer; }

    // Data types of the components: 1 and 2 are weak, 3 and 4 strong. A weak type 2 leaves a
    // component that already has a strong one alone.
    void SetDataType(uint32_t nType);
    void SetDataType(uint32_t nType, unsigned short mask);
    void CopyDataType(const CShaderDebuggerResult* pOther, unsigned short mask);
    uint32_t GetComponentCount() const { return m_nComponents; }
    const uint32_t* GetDataTypes() const { return m_nDataType; }

private:
    // Whether a component of type nPresent keeps it when nNew arrives.
    static bool KeepsDataType(uint32_t nPresent, uint32_t nNew);

    CShaderDebuggerHost* m_pHost; // not owned
    std::string m_strName;
    std::deque<ExecutedStep> m_ExecutedSteps; // oldest first
    CShaderDebuggerBuffer* m_pResultBuffer;
    CShaderDebuggerBuffer* m_pExecMaskBuffer;
    uint32_t m_nDataType[4];
    uint32_t m_nComponents;
};

// One row of a view of a thread.
struct CShaderDebuggerVariable
{
    std::string strName;
    // The components that the current step wrote; 0 if the last write lies earlier.
    unsigned short mask;
    uint32_t nComponents;
    // Entries from nComponents on are 0.
    uint32_t nDataType[4];
    // Raw bits per component.
    float value[4];
};

// The values that a front-end sees for one thread at one moment.
class CShaderDebuggerVariables
{
public:
    CShaderDebuggerVariables();
    virtual ~CShaderDebuggerVariables();

    void AddVariable(const std::string& strName, unsigned short mask, uint32_t nComponents,
                     const float* pValues, const uint32_t* pDataTypes);
    void AddVariable(const std::string& strName, unsigned short mask, uint32_t nComponents,
                     const float* pValues, uint32_t nDataType);
    // By name, ascending.
    void Sort();

    void SetThreadID(const ShaderUtils::ThreadID& id) { m_ThreadID = id; }
    void SetWorkSize0(uint32_t nSize) { m_nWorkSize[0] = nSize; }
    void SetWorkSize1(uint32_t nSize) { m_nWorkSize[1] = nSize; }
    void SetWorkSize2(uint32_t nSize) { m_nWorkSize[2] = nSize; }
    void SetWorkSize3(uint32_t nSize) { m_nWorkSize[3] = nSize; }
    void SetWorkSize4(uint32_t nSize) { m_nWorkSize[4] = nSize; }

    const ShaderUtils::ThreadID& GetThreadID() const { return m_ThreadID; }
    const uint32_t* GetWorkSize() const { return m_nWorkSize; }
    const std::deque<CShaderDebuggerVariable>& GetVariableList() const { return m_VariableList; }

private:
    ShaderUtils::ThreadID m_ThreadID;
    uint32_t m_nWorkSize[5];
    std::deque<CShaderDebuggerVariable> m_VariableList;
};

// What every debugger shares: breakpoints by line, the selected thread, the tracked registers,
// the work size, the last error and the current shader. The run itself is the derived class's.
class CShaderDebuggerBase : public IShaderDebugger
{
public:
    explicit CShaderDebuggerBase(CShaderDebuggerHost* pHost);
    // Deletes the current shader.
    ~CShaderDebuggerBase() override;

    CShaderDebuggerBase(const CShaderDebuggerBase&) = delete;
    CShaderDebuggerBase& operator=(const CShaderDebuggerBase&) = delete;

    using IShaderDebugger::StartDebugging;
    bool IsDebugging() override;
    bool Profile(const void* pShaderData, size_t nSize, const void* pExtra, void* pOut,
                 const uint32_t* pWorkSize, uint32_t nMode) override;
    using IShaderDebugger::GetShaderText;
    bool GetShaderText(std::string& text, uint32_t nType) override;
    using IShaderDebugger::GetShaderInfo;
    bool GetShaderInfo(ShaderInfo* pInfo) override;
    uint32_t GetDefaultDebugMode() override;
    bool SetDebugMode(uint32_t nMode) override;
    bool Draw() override;
    void SetThreadID(const ShaderUtils::ThreadID& id) override;
    ShaderUtils::ThreadID GetThreadID() override;
    bool AddBreakPointAtLineNumber(uint32_t nLine, uint32_t nSearch,
                                   uint32_t* pActualLine) override;
    bool RemoveBreakPointAtLineNumber(uint32_t nLine) override;
    bool RemoveAllBreakPoints() override;
    bool ToggleBreakPointAtLineNumber(uint32_t nLine, bool bSearch) override;
    bool IsBreakPointAtLineNumber(uint32_t nLine) override;
    bool HasBreakPointBetweenLines(uint32_t nFirst, uint32_t nLast) override;
    uint32_t GetAllBreakpoints(std::set<uint32_t>* pLines) override;
    bool SetTrackingRegisters(const std::set<std::string>& registers) override;
    void GetTrackingRegisters(std::set<std::string>& registers) override;
    void SetTrackSelectedRegisters(bool bTrackSelected) override;
    bool IsTrackSelectedRegisters() override;
    uint32_t GetWorkSize0() override;
    uint32_t GetWorkSize1() override;
    uint32_t GetWorkSize2() override;
    uint32_t GetWorkSize3() override;
    uint32_t GetWorkSize4() override;
    bool GetLastError(std::string& strError) override;
    void SetLastError(const std::string& strError) override;
    uint32_t GetLogLevel() override;
    void SetLogLevel(uint32_t nLevel) override;
    CShaderDebuggerHost* GetHost() override;

    // 0 without a shader.
    virtual uint32_t GetShaderType();
    // Deletes the present shader and takes ownership of the new one, which must not be the
    // present one.
    virtual void SetCurrentShader(CShaderDebuggerShader* pShader);

    CShaderDebuggerShader* GetCurrentShader() const { return m_pCurrentShader; }

protected:
    // What starting shares: refuses a second start, takes the four extents of pWorkSize (behind
    // its dimension count) and deselects the thread. Derived classes call it first.
    bool StartDebugging(const void* pShaderData, size_t nSize, const void* pExtra,
                        const uint32_t* pWorkSize);

    // Fills a view with a row per result but "NoDestinationRegister": the thread's values, and
    // the step's components where the result was written at the current instruction. Then the
    // thread, the first nWorkSizes entries of the work size, and the order by name.
    void FillVariables(CShaderDebuggerVariables& variables,
                       const std::map<std::string, CShaderDebuggerResult*>& results,
                       const ShaderUtils::ThreadID& id, uint32_t nWorkSizes);

    bool m_bIsDebugging;
    // Set by no code of the base: a derived class that times a shader marks the run with it.
    bool m_bIsProfiling;
    std::set<uint32_t> m_BreakPoints;
    CShaderDebuggerHost* m_pHost; // not owned: the host owns the debugger
    CShaderDebuggerShader* m_pCurrentShader;
    ShaderUtils::ThreadID m_ThreadID;
    bool m_bTrackSelectedRegisters;
    std::set<std::string> m_vTrackingRegisters;
    uint32_t m_nWorkSize[5];
    uint32_t m_nLogLevel;
    bool m_bErrorPending;
    std::string m_strLastError;
};
} // namespace XAN_ShaderDebugger

#endif
