#ifndef SHADER_DEBUGGER_SHADER_DX9_H
#define SHADER_DEBUGGER_SHADER_DX9_H

#include "ShaderDebuggerDX9/ShaderDebuggerInstructionDX9.h"
#include "ShaderDebuggerShader.h"
#include "ShaderDebuggerTokenStream.h"

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

namespace ShaderUtils
{
class SUBuffer;
}

namespace XAN_ShaderDebugger
{
class CShaderDebuggerDX9;

// One loop or rep of the shader.
struct LoopDX9
{
    ProgramCounter start;
    ProgramCounter end;
    std::uint32_t nConstIntReg;
    // A free integer constant for the patched shader; 65535 before the assignment.
    std::uint32_t nPatchedConstIntReg;
    // The integer constant's components as the shader defines them; 65535 passes for a count
    // that the application sets.
    std::uint32_t nIterations;
    std::uint32_t nInitialValue;
    std::uint32_t nStep;
};

// An open flow construct while patching.
struct FlowControlInstruction
{
    std::uint32_t dwOpcode;
    std::uint32_t dwReserved;
    std::uint32_t nSrcParams;
    std::uint32_t dwSrcParam[4];
};

// A DX9 pixel shader under debug. For each instruction on show it builds a patched shader: the
// code up to that instruction, then moves of the instruction's result to render target 0 and of
// an executed-flag to render target 1, with the open flow closed behind them. Positions are
// executable instructions counted from 0; a line is the first line plus a position.
class CShaderDebuggerShaderDX9 : public CShaderDebuggerShader
{
public:
    // Float and integer constants that a shader can name, and the two registers that the
    // patched shaders take.
    static const std::uint32_t D3DPS_CONSTREG_MAX_SW_DX9 = 8192;
    static const std::uint32_t D3DPS_CONSTINTREG_MAX_SW_DX9 = 2048;
    static const std::uint32_t NO_REGISTER = 65535;

    // Analyses the shader; a refusal leaves it without debuggable modes.
    CShaderDebuggerShaderDX9(CShaderDebuggerDX9* pDebugger, const void* pShaderData, size_t nSize);
    // Releases the patched shaders and the bindings still held.
    ~CShaderDebuggerShaderDX9() override;

    bool StartDebugging(unsigned int nMode) override;
    bool GetShaderText(std::string& strText, unsigned int nType) override;
    bool GetShaderKeywords(std::vector<std::string>& vKeywords, unsigned int nType) override;
    unsigned int GetDefaultDebugMode() override;
    bool SetDebugMode(unsigned int nMode) override;
    bool Step() override;
    bool Back() override;
    bool Run() override;
    bool RunBack() override;
    bool Execute(bool bRecordSteps) override;
    bool Draw() override;
    unsigned int GetInstructionFromLine(unsigned int nLine) override;
    unsigned int GetLineFromInstruction(unsigned int nInstruction) override;
    unsigned int GetCurrentLine() override;
    unsigned int GetNextLine() override;
    unsigned int GetPreviousLine() override;

    // This engine keeps no history of execution masks.
    virtual void UpdateExecMaskHistory(const ProgramCounter& pc, ShaderUtils::SUBuffer* pExecMask);
    // The destination of the instruction at pc; g_Reg_NULL without one.
    virtual Register GetRegisterOutput(const ProgramCounter& pc);
    virtual bool AnalyzeShader();
    // Binds the patched shader of pc in place of the application's, which is kept.
    virtual bool SwitchShader(const ProgramCounter& pc);
    virtual bool RestoreShader();
    virtual bool UpdateNextInst(bool bClearList);

    // The patched shader of a position (65535: the current one), made once and kept.
    void* GetPatchedShader(const ProgramCounter& pc, std::uint32_t nIterations);
    // A new patched shader for nTarget and the target's destination; null on failure.
    void* CreatePatchedShader(const ProgramCounter& nTarget, Register& destReg);
    // The tokens of the patched shader for nTarget; false if the target can't be patched.
    bool WritePatchedShader(std::uint32_t nTarget, COutputTokenStream<std::uint32_t>& stream,
                            Register& destReg);

    // The key of a result: a letter and the number, "oDepth", or "NoDestinationRegister" for
    // a position that writes no register.
    static std::string GetRegisterName(const Register& reg);
    std::string GetResultName(const ProgramCounter& pc);

    bool WriteInstruction(COutputTokenStream<std::uint32_t>& stream, std::uint32_t nOpcode,
                          std::uint32_t dwLength);
    bool WriteDestReg(COutputTokenStream<std::uint32_t>& stream, std::uint32_t nType,
                      std::uint32_t nIndex, std::uint32_t dwMask);
    bool WriteSrcReg(COutputTokenStream<std::uint32_t>& stream, std::uint32_t nType,
                     std::uint32_t nIndex, std::uint32_t dwSwizzle);
    bool WriteConstReg(COutputTokenStream<std::uint32_t>& stream, std::uint32_t nIndex, float x,
                       float y, float z, float w);
    bool WriteConstIntReg(COutputTokenStream<std::uint32_t>& stream, std::uint32_t nIndex,
                          std::uint32_t x, std::uint32_t y, std::uint32_t z, std::uint32_t w);

    std::uint32_t GetInstructionCount() const { return m_nInstructionCount; }
    std::uint32_t GetFreeConstReg() const { return m_nFreeConstReg; }
    std::uint32_t GetOutputTempReg() const { return m_nOutputTempReg; }
    std::uint32_t GetFlagTempReg() const { return m_nFlagTempReg; }
    std::uint32_t GetInputCount() const { return m_nInputCount; }
    const unsigned short* GetInputMask() const { return m_wInputMask; }
    const unsigned short* GetTextureMask() const { return m_wTextureMask; }
    const std::map<std::uint32_t, LoopDX9>& GetLoops() const { return m_Loops; }

    // Lines of the disassembly above the version line: the comment header and a preshader.
    static std::uint32_t CountHeaderLines(const std::string& strText);

private:
    // A write that the stream refuses is reported.
    bool WriteToken(COutputTokenStream<std::uint32_t>& stream, std::uint32_t dwToken);
    CShaderDebuggerDX9* GetDX9Debugger() const;
    // Records a refusal in the three error texts.
    void Refuse(const std::string& strError);
    // Follows the flow constructs that the patched code opens and closes.
    void HandleFlowControl(CShaderDebuggerInstructionDX9& instr);
    // Ends what is open behind the target: the rest of each open loop is copied from the
    // source, and an if or else outside all loops gets its endif.
    bool CloseFlowControl(CInputTokenStream<std::uint32_t>& in,
                          COutputTokenStream<std::uint32_t>& out,
                          CShaderDebuggerInstructionDX9& instr);
    // The source that stands for the target's destination in the patched shader.
    bool ConvertDestToSrc(std::uint32_t& dwNewSrcParam, const CShaderDebuggerInstructionDX9& instr);
    // A move to all components of a register from a source token, or from a register.
    bool WriteMove(COutputTokenStream<std::uint32_t>& stream, std::uint32_t nDestType,
                   std::uint32_t nDestIndex, std::uint32_t dwSrc);
    bool WriteMove(COutputTokenStream<std::uint32_t>& stream, std::uint32_t nDestType,
                   std::uint32_t nDestIndex, std::uint32_t nSrcType, std::uint32_t nSrcIndex,
                   std::uint32_t dwSwizzle);
    bool WritePrologue(COutputTokenStream<std::uint32_t>& stream);
    // The target's value and the executed-flag into the two free temporaries.
    bool WriteTargetMoves(COutputTokenStream<std::uint32_t>& out,
                          const CShaderDebuggerInstructionDX9& target);
    // Moves one step forward over the loops: a loop's end leads back to its start until its
    // passes reach the count that the shader defines.
    void WrapLoops();
    // The whole tokens of the shader's data.
    size_t GetTokenCount() const { return m_nShaderDataSize / sizeof(std::uint32_t); }

    std::uint32_t m_nCurrentLine;
    std::uint32_t m_nInstructionCount;
    std::uint32_t m_nLastInstruction;
    std::uint32_t m_nFirstLine;
    std::uint32_t m_nFreeConstReg;
    std::uint32_t m_dwUsedTempRegs;
    std::uint32_t m_nOutputTempReg;
    std::uint32_t m_nFlagTempReg;
    std::uint32_t m_nShaderToken;
    std::uint32_t m_nVersionToken;
    std::uint32_t m_nInputCount;
    unsigned short m_wInputMask[14];
    unsigned short m_wTextureMask[8];
    // Owned: one reference each.
    std::map<std::uint32_t, void*> m_PatchedShaders;
    std::map<std::uint32_t, Register> m_RegisterOutput;
    // A reference while a patched shader is bound.
    void* m_pOriginalShader;
    void* m_pPatchedShader; // not owned
    std::deque<FlowControlInstruction> m_FlowControlStack;
    std::map<std::uint32_t, LoopDX9> m_Loops;
    std::uint32_t m_nLoopIterations;
    // Passes of each loop in its present entry, by its start.
    std::map<std::uint32_t, std::uint32_t> m_LoopPasses;
    std::deque<ProgramCounter> m_ExecuteList;
};
} // namespace XAN_ShaderDebugger

#endif
