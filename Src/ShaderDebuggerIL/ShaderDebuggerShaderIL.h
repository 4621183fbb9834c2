#ifndef SHADER_DEBUGGER_SHADER_IL_H
#define SHADER_DEBUGGER_SHADER_IL_H

#include "ShaderDebuggerFCConstruct.h"
#include "ShaderDebuggerIL/ShaderDebuggerInstructionIL.h"
#include "ShaderDebuggerShader.h"
#include "ShaderDebuggerTokenStream.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <stack>
#include <string>
#include <vector>

class CCLMetadata;

namespace XAN_ShaderDebugger
{
class CShaderDebuggerIL;

// Temp and literal numbers that an IL kernel can name.
const unsigned int NUM_IL_REGISTER_INDICES = 0x10000;

// The forms of break and of continue, for the analysis and the walk alike.
bool IsBreakOpCode(unsigned int nOpCode);
bool IsContinueOpCode(unsigned int nOpCode);

// The target of one patched kernel: a position and the registers to read there. g_Reg_NULL
// stands for no register, when only the execution mask is wanted.
struct PatchPoint
{
    PatchPoint() {}
    PatchPoint(const ProgramCounter& pc, const Register& reg) : pc(pc), m_registers(1, reg) {}

    ProgramCounter pc;
    std::vector<Register> m_registers;
};

// The IL engine's model of one kernel. The constructor analyses the kernel once: the
// instruction list, the line map, the tree of flow-control constructs, the functions, the
// registers each instruction writes, the declarations, and the temps, literals and UAVs that
// patched kernels will use. What the debugger can't handle is refused with its reason in the
// shader info. Stepping and patching read these tables and never parse the IL again.
class CShaderDebuggerShaderIL : public CShaderDebuggerShader
{
public:
    struct Vec4
    {
        unsigned int x;
        unsigned int y;
        unsigned int z;
        unsigned int w;

        // Component n, 0 to 3 for x to w.
        unsigned int& operator[](unsigned int n);
    };

    // What a function declares that patched kernels must declare again.
    struct Declarations
    {
        // dcl_cb of constant buffers 2 and up: number to size.
        std::map<uint32_t, uint32_t> constantBuffers;
        std::vector<CShaderDebuggerInstructionIL> resources;
        std::vector<CShaderDebuggerInstructionIL> uavs;
        // Bytes of each private UAV, by UAV number.
        std::map<uint32_t, uint32_t> privateUAVSizes;
        // dcl_indexed_temp_array: array number to element count.
        std::map<uint32_t, uint32_t> indexedTempSizes;
    };

    // The owning debugger; the host behind it gives names, logging and the last error.
    CShaderDebuggerShaderIL(CShaderDebuggerBase* pDebugger, const void* pShaderData, size_t nSize);
    ~CShaderDebuggerShaderIL() override;

    void EndDebugging() override;
    bool GetShaderText(std::string& strText, unsigned int nType) override;
    bool GetShaderKeywords(std::vector<std::string>& vKeywords, unsigned int nType) override;
    unsigned int GetDefaultDebugMode() override;
    bool SetDebugMode(unsigned int nMode) override;
    bool Draw() override;
    unsigned int GetInstructionFromLine(unsigned int nLine) override;
    unsigned int GetLineFromInstruction(unsigned int nInstruction) override;
    unsigned int GetCurrentLine() override;
    unsigned int GetNextLine() override;
    unsigned int GetPreviousLine() override;

    virtual bool PostBack();
    virtual Register GetRegisterOutput(const ProgramCounter& pc);
    virtual Register GetCurrentRegisterOutput();
    virtual Register GetCurrentSrcRegister(unsigned int nSrc);
    virtual Register GetSrcRegisterAt(const ProgramCounter& pc, unsigned int nSrc);
    virtual unsigned int FindLineNear(unsigned int nLine, unsigned int nMaxDistance);

    bool AnalyzeShader();
    bool AnalyzeMetadata(const std::string& strMetadata);

    // Computes the index of an indexed register by replaying the straight-line code before
    // nInstruction. On success reg holds the index and no index register.
    bool ResolveIndexRegisterToConstant(Register* reg, uint32_t nInstruction,
                                        uint32_t nMaxInstructions);
    // Replaces each register whose index is still a register by every element of its array.
    bool ExpandIndexedRegisters(const PatchPoint& pp, const std::vector<Register>& vRegisters,
                                std::vector<Register>* expandedRegisters);

    // The first instruction of a function or macro. A call of a label that nothing defines isn't
    // followed: false, with a warning in the log.
    bool FindFunctionStart(uint32_t nLabel, uint32_t& nStart) const;

    // Read access for the patcher, the stepper and tests.
    const std::vector<CShaderDebuggerInstructionIL>& GetInstructions() const
    {
        return m_Instructions;
    }
    const std::map<uint32_t, CIL_FCConstruct*>& GetFCConstructs() const { return m_FCConstructs; }
    const std::map<uint32_t, uint32_t>& GetFunctionScope() const { return m_FunctionScope; }
    const std::map<uint32_t, uint32_t>& GetFunctionStart() const { return m_FunctionStart; }
    const std::map<uint32_t, Register>& GetRegisterOutputs() const { return m_RegisterOutput; }
    const std::map<uint32_t, Declarations>& GetDeclarations() const { return m_Declarations; }
    const std::map<uint32_t, Vec4>& GetLiterals() const { return m_Literals; }
    uint32_t GetOutlineMacroLabel() const { return m_OutlineMacroLabel; }
    uint32_t GetKernelABIConstantBufferSize() const { return m_nKernelABIConstantBufferSize; }
    const std::map<ProgramCounter, uint32_t>& GetExecMaskHistory() const
    {
        return m_ExecMaskHistory;
    }
    // The target of the patched kernel last built.
    const ProgramCounter& GetLastPatchTarget() const { return m_LastPatchTarget; }
    const std::vector<Register>& GetLastPatchRegisters() const { return m_LastPatchRegisters; }

    // Stepping: StepAsm or RunAsm chooses the next position and what must run for it, Execute
    // runs the patched kernels, PostStepAsm chooses the position after it from their counts.
    bool StartDebugging(unsigned int nMode) override;
    bool Step() override;
    bool Back() override;
    bool Run() override;
    bool RunBack() override;
    bool Execute(bool bRecordSteps) override;
    virtual bool PostStep();
    bool StepAsm();
    // False at the end of the program.
    bool PostStepAsm();
    // Moves the next position on by one instruction, following calls and loops; false at the
    // end of the program.
    bool UpdateNextInst();
    bool RunAsm();
    bool BackAsm();
    bool RunBackAsm();
    void UpdateExecMaskHistory(const ProgramCounter& pc, const ShaderUtils::SUBuffer* pExecMask);
    bool UpdateExecuteList(bool bClear);
    bool HasBreakpointInFlowControlBlock(const CIL_FCConstruct* pFC, uint32_t nPos);
    // Builds and runs the kernel that copies the argument constant buffer.
    bool DumpKernelABIConstantBuffer();

protected:
    // Registers written while Run passed over code, with where.
    typedef std::map<Register, ProgramCounter> RegPCMap;

    // Reads the registers gathered at the current position; bForce reads the mask without any.
    bool FlushRegPCMap(RegPCMap& regPCMap, bool bForce);
    CShaderDebuggerIL* GetILDebugger() const;
    // Whether a run has to read the register: the debugger may follow selected registers only.
    bool IsTracked(const Register& reg) const;
    void SetCurrentToNext();
    void RecordStep(const ProgramCounter& pc);
    // PostStepAsm's choice by the current instruction and its count.
    bool ChooseNextInstruction();
    // The walk out of the constructs that every active work-item left by break or continue.
    bool LeaveConstructs(CIL_FCConstruct* pConstruct, bool bBreak);
    // Passes a construct without a breakpoint as if it had run, gathering what it writes.
    bool SkipConstruct(CIL_FCConstruct* pConstruct, uint32_t nPos, RegPCMap& regPCMap, bool& bOK);
    // One execution with the selector; false when it didn't run.
    bool ExecuteOne(CShaderDebuggerIL& debugger, uint32_t nSelector, bool& bOK);
    void RestoreBuffers(CShaderDebuggerIL& debugger, bool& bOK);
    // Undoes the newest step; nPreviousInstruction is the older write of its register, or
    // g_PC_NULL.
    bool StepBackOne(CShaderDebuggerIL& debugger, ProgramCounter& nPreviousInstruction);

    // The state of one AnalyzeShader that the per-instruction handling shares.
    struct AnalysisState
    {
        AnalysisState();

        std::deque<CIL_FCConstruct*> FCStack;
        uint32_t nLoopDepth;
        uint32_t nMaxLoopDepth;
        uint32_t nCurrentFunction;
        bool bEndEncountered;
        bool bEndMainEncountered;
        bool bInFunction;
        bool bInOutlineMacro;
        bool bOutlineMacroEncountered;
        // The instruction count at the mend of the outline macro.
        uint32_t nOutlineMacroEnd;
        uint32_t nLineNumber;
        // Instruction to line, then line to instruction.
        std::map<uint32_t, uint32_t> lineNumberMap[2];
    };

    CShaderDebuggerHost* GetDebuggerHost() const;
    uint32_t GetLogLevel() const;
    // Writes the reason of a refusal into the shader info and the log; answers false.
    bool Refuse(const std::string& strReason, bool bSetLastError);
    bool RefuseUnsupported(const CShaderDebuggerInstructionIL& instruction);

    void ResetAnalysis();
    bool ReadHeader(CInputTokenStream<unsigned int>& stream, AnalysisState& state);
    // Passes over macro definitions, from an mdef on, counting each element as a line.
    bool SkipMacros(CInputTokenStream<unsigned int>& stream, AnalysisState& state);
    // Passes over the rest of one macro, up to and including its mend.
    bool SkipMacroBody(CInputTokenStream<unsigned int>& stream, AnalysisState& state);
    bool AnalyzeDeclaration(const CShaderDebuggerInstructionIL& instruction,
                            const AnalysisState& state);
    bool CloseAnalysis(const AnalysisState& state);
    bool ReserveRegisters(const AnalysisState& state);
    bool ChooseUAVs();
    void LogInstructions() const;

    // The per-instruction half: flow control, functions, refusals and the register written.
    bool AnalyzeInstruction(const CShaderDebuggerInstructionIL& instruction, AnalysisState& state);
    bool AnalyzeFlowControl(const CShaderDebuggerInstructionIL& instruction, uint32_t n,
                            AnalysisState& state, CIL_FCConstruct*& pConstruct, bool& bHandled);
    void AnalyzeDestination(const CShaderDebuggerInstructionIL& instruction, uint32_t n,
                            const AnalysisState& state);
    bool AnalyzeMacro(CInputTokenStream<unsigned int>& stream,
                      const CShaderDebuggerInstructionIL& instruction, AnalysisState& state);
    std::string ReadMacroName(const CInputTokenStream<unsigned int>& stream) const;
    // The outline macro's instructions belong to the function that calls the macro.
    void AssignOutlineMacroScope(const AnalysisState& state);
    bool IsPrivateUAVWrite(const CShaderDebuggerInstructionIL& instruction) const;
    // Takes a new construct into the owning list.
    template <class TConstruct> TConstruct* NewConstruct(CIL_FCConstruct* pParent, uint32_t n);

    // Patching: the kernels that run the code up to one target and capture registers there
    // (the patched kernels), and the kernel that copies the argument constant buffer.
public:
    // Builds the patched kernel for the target unless the cache holds it, and loads it.
    bool SwitchShader(const ProgramCounter& nTargetInstruction,
                      const std::vector<Register>& vTargetRegs);
    // Only bDiscard frees the cached binary; no kernel is put back on the device.
    bool RestoreShader(bool bDiscard);
    // Loads a binary on the device as the current kernel, leaving the cache alone.
    bool SetPatchedBinary(const void* pBinary, size_t nSize);
    // The one-entry cache over CreatePatchedShader.
    const void* EnsurePatchedShader(const ProgramCounter& nTargetInstruction,
                                    const std::vector<Register>& vTargetRegs);
    // The dump kernel's binary as a malloc block that the caller frees.
    bool CreateCBDumpShader(void** ppPatchedKernel, size_t* pSize);
    // Whether a work-item can enter the target's function more than once: called from two
    // places, from a loop or from such a function. Its patched kernels keep it whole.
    bool IsTargetFunctionRepeated(const ProgramCounter& nTargetInstruction) const;
    // The patched binary of the cache and its size.
    const void* GetPatchedShader() const { return m_pPatchedShader; }
    size_t GetPatchedShaderSize() const { return m_nPatchedShaderSize; }

protected:
    typedef CInputTokenStream<unsigned int> ILInput;
    typedef COutputTokenStream<unsigned int> ILOutput;

    // Rewrites the kernel and wraps it as the shader data was wrapped; null on failure.
    void* CreatePatchedShader(const ProgramCounter& nTargetInstruction,
                              const std::vector<Register>& vTargetRegs);
    bool PatchIL(ILInput& src, ILOutput& dest, const ProgramCounter& nTargetInstruction,
                 const std::vector<Register>& vTargetRegs);
    bool PatchFlowControlInstruction(ILInput& src, ILOutput& dest, uint32_t nCurrentInstruction,
                                     const ProgramCounter& nTargetInstruction,
                                     const CShaderDebuggerInstructionIL& instruction);
    // Closes what is open behind the target; nCurrentInstruction follows the copied code.
    bool FinalizeFlowControl(ILInput& src, ILOutput& dest, uint32_t& nCurrentInstruction,
                             const ProgramCounter& nTargetInstruction);
    bool FinalizeFunctions(ILInput& src, ILOutput& dest, bool bEndOfFunctionEncountered);
    bool PatchMetadata(CCLMetadata& metadata, std::string* pText);
    bool PatchCBDumpIL(ILInput& src, ILOutput& dest, const std::string& strKernelName,
                       uint32_t nKernelLabel, uint32_t nInnerLabel);
    // The tail at the target: capture, closing of the flow control, output, the rest.
    bool PatchTarget(ILInput& src, ILOutput& dest, uint32_t nCurrentInstruction,
                     const ProgramCounter& nTargetInstruction,
                     const std::vector<Register>& vTargetRegs,
                     const CShaderDebuggerInstructionIL& instruction);
    bool PatchMacro(ILInput& src, ILOutput& dest, const ProgramCounter& nTargetInstruction,
                    const CShaderDebuggerInstructionIL& instruction, bool& bInOutlineMacro,
                    bool& bOutlineMacroEncountered);
    // Copies whole instructions up to the one that closes nOpen, counting nesting; the flag is
    // set behind instruction nFlagAt.
    bool CopyConstruct(ILInput& src, ILOutput& dest, uint32_t& nCurrentInstruction,
                       unsigned int nOpen, unsigned int nClose, uint32_t nFlagAt);
    bool IsSwitchOrSwitchBreak(const ProgramCounter& nTargetInstruction) const;
    bool IsTargetInLoop(const ProgramCounter& nTargetInstruction, const CIL_Loop& loop) const;
    // The innermost loop that holds the target, from pConstruct outwards, or from the target's
    // own construct.
    const CIL_Loop* GetTargetLoopFrom(CIL_FCConstruct* pConstruct,
                                      const ProgramCounter& nTargetInstruction) const;
    const CIL_Loop* GetInnermostTargetLoop(const ProgramCounter& nTargetInstruction) const;
    // Behind which instruction a switch or a break in a switch sets the flag; none otherwise.
    uint32_t GetFlagPosition(const ProgramCounter& nTargetInstruction) const;
    bool IsFunctionRepeated(uint32_t nLabel, std::set<uint32_t>& callers) const;
    // In a function kept whole: the store in front of each of its returns, and the capture at
    // the target (the flag alone behind a switch's flag position), in the target's passes only.
    bool PatchKeptFunction(ILInput& src, ILOutput& dest, uint32_t nCurrentInstruction,
                           const ProgramCounter& nTargetInstruction,
                           const std::vector<Register>& vTargetRegs, bool bBehind);
    bool WriteInlineCapture(ILOutput& dest, const ProgramCounter& nTargetInstruction,
                            const std::vector<Register>* pTargetRegs);
    bool FlowControlStackHolds(unsigned int nOpCode) const;
    // Pops up to and including the first construct whose opcode is one of these.
    void PopFlowControlUntil(std::initializer_list<unsigned int> opCodes);
    // A copy of the kernel's image with the rewritten tokens as its debug IL and the debugger's
    // arguments in its metadata, which gets nFunctionId unless that is 0.
    bool WrapPatchedTokens(const std::vector<char>& vImage, const ILOutput& dest,
                           const std::string& strKernelName, uint32_t nFunctionId,
                           std::vector<char>& vOutput, std::string& strMetadata);
    void LogTokens(const ILOutput& dest) const;

    // Writers of the patched kernel's pieces.
    bool WriteDebuggerDeclarations(ILOutput& dest, bool bLoopLiterals,
                                   const ProgramCounter& nTargetInstruction);
    bool WriteDebuggerLiterals(ILOutput& dest);
    bool WriteDebuggerLoopLiteralDeclarations(ILOutput& dest,
                                              const ProgramCounter& nTargetInstruction);
    bool WriteDebuggerTempReset(ILOutput& dest);
    bool WriteTargetRegisterSelect(ILOutput& dest, const std::vector<Register>& vTargetRegs);
    // The selection in the kernel: a switch on the selector argument, -1 by default.
    bool WriteRegisterSwitch(ILOutput& dest, const std::vector<Register>& vTargetRegs);
    bool WriteOutputDeclarations(ILOutput& dest);
    bool WriteRegisterCapture(ILOutput& dest, const Register& reg, std::deque<uint32_t>& qLiterals);
    bool WriteExecMaskFlag(ILOutput& dest, bool bSet);
    // pEnclosing: the target's loop around this one, or null for the outermost.
    bool WriteLoopCountInit(ILOutput& dest, const CIL_Loop& loop, const CIL_Loop* pEnclosing);
    bool WriteLoopCountCheck(ILOutput& dest, const CIL_Loop& loop);
    bool WriteDebuggerOutput(ILOutput& dest, uint32_t nCurrentInstruction);
    bool WriteInputDump(ILOutput& dest, const std::vector<Register>& vTargetRegs);
    bool WriteCBDumpBody(ILOutput& dest);
    bool CopyComment(ILInput& src, ILOutput& dest);
    // Copies the macros that stand at the stream's position.
    bool CopyMacros(ILInput& src, ILOutput& dest);
    bool CopyMacroBody(ILInput& src, ILOutput& dest);
    // The leading macros, the language token and the version token.
    bool CopyProgramHeader(ILInput& src, ILOutput& dest);
    bool WriteComment(ILOutput& dest, const std::string& strText);
    bool PatchFunctionDeclarations(ILOutput& dest, uint32_t nLabel);
    uint32_t GetResultUAV() const;
    uint32_t GetExecMaskUAV() const;

    uint32_t m_nILVersion;
    uint32_t m_nInstructionCount;
    uint32_t m_nLastInstruction;
    uint32_t m_OutlineMacroLabel;
    std::map<uint32_t, uint32_t> m_LineNumberMap[2];
    std::vector<CShaderDebuggerInstructionIL> m_Instructions;
    // Every construct of the kernel; m_FCConstructs only points into it.
    std::vector<std::unique_ptr<CIL_FCConstruct>> m_vConstructs;
    std::map<uint32_t, CIL_FCConstruct*> m_FCConstructs;
    std::map<uint32_t, uint32_t> m_FunctionScope;
    std::map<uint32_t, uint32_t> m_FunctionStart;
    std::set<uint32_t> m_SamplerIDs;
    ProgramCounter m_LastMemoryWrite;
    std::vector<bool> m_vTempRegisterUsed;
    uint32_t m_nTempRegisterCount;
    uint32_t m_nPatchedTempRegisterCount;
    std::vector<uint32_t> m_vDebuggerTempRegs;
    std::vector<bool> m_vLiteralRegisterUsed;
    std::deque<uint32_t> m_qUnusedLiteralRegs;
    std::map<uint32_t, Vec4> m_Literals;
    uint32_t m_nLiteralRegisterCount;
    uint32_t m_nPatchedLiteralRegisterCount;
    std::map<uint32_t, Declarations> m_Declarations;
    uint32_t m_nRuntimeABIConstantBufferSize;
    uint32_t m_nKernelABIConstantBufferSize;
    uint32_t m_nOutputTempReg;
    uint32_t m_nOutputAddrTempReg;
    uint32_t m_nExecMaskTempReg;
    uint32_t m_nExecMaskAddrTempReg;
    uint32_t m_nThreadIndexTempReg;
    uint32_t m_nOutputRegister0;
    uint32_t m_nOutputRegister1;
    uint32_t m_nLiteralZero;
    uint32_t m_nLiteralOne;
    uint32_t m_nLiteralTwo;
    uint32_t m_nLiteralMinusOne;
    uint32_t m_nLiteralSixteen;
    uint32_t m_nRawUAVNum;
    std::set<uint32_t> m_DeclaredUAVs;
    std::set<uint32_t> m_PrivateUAVs;
    uint32_t m_nResultUAV;
    uint32_t m_nExecMaskUAV;
    bool m_bSeparateDebugUAVs;
    std::string m_strDeviceName;
    bool m_b64BitPointers;
    std::map<uint32_t, uint32_t> m_maxThreadPerGroup;
    std::map<uint32_t, std::vector<uint32_t>> m_numThreadPerGroup;
    bool m_bDumpInputsPending;
    bool m_bKernelExecuted;
    std::stack<uint32_t> m_FlowControlStack;
    // The rewrite keeps the target's function whole (IsTargetFunctionRepeated).
    bool m_bKeepTargetFunction = false;
    std::deque<PatchPoint> m_ExecuteList;
    // The calls open at m_nCurrentInstruction, beside m_CallStack of the next position.
    std::deque<ProgramCounter> m_CurrentCallStack;
    std::map<ProgramCounter, uint32_t> m_ExecMaskHistory;
    std::map<uint32_t, Register> m_RegisterOutput;
    std::map<RegisterID, unsigned short> m_InputRegisters;
    std::map<uint32_t, unsigned short> m_OutputRegisters;
    void* m_pPatchedShader;
    size_t m_nPatchedShaderSize;
    ProgramCounter m_LastPatchTarget;
    std::vector<Register> m_LastPatchRegisters;
};
} // namespace XAN_ShaderDebugger

#endif
