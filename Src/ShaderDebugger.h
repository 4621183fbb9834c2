#ifndef SHADER_DEBUGGER_H
#define SHADER_DEBUGGER_H

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace ShaderUtils
{
class SUBuffer;

// Selects one thread of a launch. Invalid while a coordinate in use is negative.
struct ThreadID
{
    ThreadID(uint32_t nDims = 2, int32_t nX = -1, int32_t nY = -1, int32_t nZ = 0,
             uint32_t nPlane = 0)
        : nDimensions(nDims), x(nX), y(nY), z(nZ), nSlice(nPlane)
    {
    }

    bool IsValid() const;

    uint32_t nDimensions;
    int32_t x;
    int32_t y;
    int32_t z;
    uint32_t nSlice;
};
} // namespace ShaderUtils

struct BufferDesc;

namespace XAN_ShaderDebugger
{
class CShaderDebuggerHost;
class CShaderDebuggerVariables;
class CShaderDebuggerResult;
class CShaderDebuggerBuffer;
struct ShaderInfo;
struct Register;

// One loop that encloses a position of a run.
struct LoopState
{
    uint32_t nStart;
    uint32_t nEnd;
    uint32_t nIteration;
};

// A position in a run, not merely in the code: the same instruction in two iterations of a loop
// gives two program counters, so that results can be kept apart and ordered in time.
class ProgramCounter
{
public:
    ProgramCounter() : m_nPos(0) {}
    explicit ProgramCounter(uint32_t nPos) : m_nPos(nPos) {}

    bool operator==(const ProgramCounter& other) const;
    bool operator!=(const ProgramCounter& other) const { return !(*this == other); }
    bool operator<(const ProgramCounter& other) const;
    bool operator>(const ProgramCounter& other) const { return other < *this; }

    // A jump back to the start of the running loop isn't a new entry.
    void EnterLoop(uint32_t nStart, uint32_t nEnd);
    bool GetLoopState(uint32_t nStart, LoopState* pState) const;

    uint32_t m_nPos;
    std::vector<LoopState> m_vLoopStack; // outermost first
};

// No position.
extern const ProgramCounter g_PC_NULL;
extern const uint32_t g_nInvalidLine;
extern const uint32_t g_nInvalidInstruction;

// Names a debugger variable: kind 0 is the current result, kind 2 a variable by name.
struct varID
{
    uint32_t nKind;
    std::string strName;
};

// The abstract debugger. Whoever drives a run sees only this interface.
class IShaderDebugger
{
public:
    virtual ~IShaderDebugger() {}

    virtual bool StartDebugging(const void* pShaderData, size_t nSize, const void* pExtra,
                                const uint32_t* pWorkSize, uint32_t nMode) = 0;
    virtual void EndDebugging(bool bUpdateBuffers) = 0;
    virtual bool IsDebugging() = 0;
    virtual bool Profile(const void* pShaderData, size_t nSize, const void* pExtra, void* pOut,
                         const uint32_t* pWorkSize, uint32_t nMode) = 0;
    virtual bool GetShaderText(const void* pShaderData, size_t nSize, const void* pExtra,
                               std::string& text, uint32_t nType) = 0;
    virtual bool GetShaderText(std::string& text, uint32_t nType) = 0;
    virtual bool GetShaderKeywords(const void* pShaderData, size_t nSize, const void* pExtra,
                                   std::vector<std::string>& list, uint32_t nType) = 0;
    virtual bool GetShaderKeywords(std::vector<std::string>& list, uint32_t nType) = 0;
    virtual bool GetShaderInfo(const void* pShaderData, size_t nSize, ShaderInfo* pInfo) = 0;
    virtual bool GetShaderInfo(ShaderInfo* pInfo) = 0;
    virtual uint32_t GetDefaultDebugMode() = 0;
    virtual bool SetDebugMode(uint32_t nMode) = 0;
    virtual bool Execute() = 0;
    virtual bool Draw() = 0;
    virtual bool Step() = 0;
    virtual bool Back() = 0;
    virtual bool Run() = 0;
    virtual bool RunBack() = 0;
    virtual uint32_t GetCurrentLine() = 0;
    virtual uint32_t GetNextLine() = 0;
    virtual uint32_t GetPreviousLine() = 0;
    virtual ProgramCounter GetCurrentInstruction() = 0;
    virtual void SetThreadID(const ShaderUtils::ThreadID& id) = 0;
    virtual ShaderUtils::ThreadID GetThreadID() = 0;
    virtual bool AddBreakPointAtLineNumber(uint32_t nLine, uint32_t nSearch,
                                           uint32_t* pActualLine) = 0;
    virtual bool AddBreakPoint(uint32_t nInstruction) = 0;
    virtual bool RemoveBreakPointAtLineNumber(uint32_t nLine) = 0;
    virtual bool RemoveBreakPoint(uint32_t nInstruction) = 0;
    virtual bool RemoveAllBreakPoints() = 0;
    virtual bool ToggleBreakPointAtLineNumber(uint32_t nLine, bool bSearch) = 0;
    virtual bool ToggleBreakPoint(uint32_t nInstruction) = 0;
    virtual bool IsBreakPointAtLineNumber(uint32_t nLine) = 0;
    virtual bool IsBreakPoint(uint32_t nInstruction) = 0;
    virtual bool HasBreakPointBetweenLines(uint32_t nFirst, uint32_t nLast) = 0;
    virtual bool HasBreakPointBetween(uint32_t nFirstInstruction, uint32_t nLastInstruction) = 0;
    virtual uint32_t GetAllBreakpoints(std::set<uint32_t>* pLines) = 0;
    virtual uint32_t GetAllBreakpointInstructions(std::set<uint32_t>* pInstructions) = 0;
    virtual bool SetTrackingRegisters(const std::set<std::string>& registers) = 0;
    virtual void GetTrackingRegisters(std::set<std::string>& registers) = 0;
    virtual void SetTrackSelectedRegisters(bool bTrackSelected) = 0;
    virtual bool IsTrackSelectedRegisters() = 0;
    // The caller owns the result.
    virtual CShaderDebuggerVariables* GetVariables(ShaderUtils::ThreadID& id) = 0;
    // The debugger keeps the buffers that these three hand out.
    virtual ShaderUtils::SUBuffer* GetRegisterResultsBuffer(const varID& request) = 0;
    virtual ShaderUtils::SUBuffer* GetGlobalResultsBuffer(const varID& request) = 0;
    virtual ShaderUtils::SUBuffer* GetExecMaskBuffer() = 0;
    virtual uint32_t GetWorkSize0() = 0;
    virtual uint32_t GetWorkSize1() = 0;
    virtual uint32_t GetWorkSize2() = 0;
    virtual uint32_t GetWorkSize3() = 0;
    virtual uint32_t GetWorkSize4() = 0;
    virtual bool GetLastError(std::string& strError) = 0;
    virtual void SetLastError(const std::string& strError) = 0;
    virtual uint32_t GetLogLevel() = 0;
    virtual void SetLogLevel(uint32_t nLevel) = 0;
    virtual CShaderDebuggerHost* GetHost() = 0;

    // A new debugger of the given type, registered in the host, or null.
    static IShaderDebugger* CreateShaderDebugger(uint32_t nType, CShaderDebuggerHost* pHost);
};

// Sets the context of the one logging channel: the host to report to, whether to echo to
// standard output, and the assertion under way. Returns false: nothing has handled it yet.
bool SDU_SetContext(CShaderDebuggerHost* pHost, bool bEcho, const std::string& strExpression,
                    const std::string& strFile, uint32_t nLine, const std::string& strFunction);

// Forgets the host if the context names it, so that a deleted host is never reported to.
void SDU_ClearContext(const CShaderDebuggerHost* pHost);

// Builds one line from a printf format and delivers it. Levels: 1 raw text, 2 assertion,
// 3 error, 4 warning, 5 message, 6 trace. A line goes to the context's host when its level less 3
// is at most the host's log level, and then also to the debug output.
void SDU_Log(uint32_t nLevel, const char* pFormat, ...) __attribute__((format(printf, 2, 3)));

// A copy with every "%" doubled, so that a text can pass through SDU_Log as a format.
std::string SDU_EscapePercent(const std::string& strText);

// The qualified name of a function, from the compiler's decorated signature.
std::string SDU_FunctionName(const char* pPrettyFunction);

// Reports a failed assertion through the channel, at level 2.
void SDU_ReportAssert(CShaderDebuggerHost* pHost, const char* pCondition, const char* pFile,
                      uint32_t nLine, const char* pPrettyFunction);

} // namespace XAN_ShaderDebugger

// Reports a failed condition to the host's log; the code behind it takes its own failure path.
// pHost may be null.
#define SDU_Assert(pHost, condition)                                                               \
    do                                                                                             \
    {                                                                                              \
        if (!(condition))                                                                          \
        {                                                                                          \
            XAN_ShaderDebugger::SDU_ReportAssert((pHost), #condition, __FILE__, __LINE__,          \
                                                 __PRETTY_FUNCTION__);                             \
        }                                                                                          \
    } while (0)

#endif
