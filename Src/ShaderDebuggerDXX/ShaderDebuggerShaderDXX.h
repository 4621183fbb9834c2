#ifndef SHADER_DEBUGGER_SHADER_DXX_H
#define SHADER_DEBUGGER_SHADER_DXX_H

#include "ShaderDebuggerDXX/ShaderDebuggerDXX_HLSLInstrumentation.h"
#include "ShaderDebuggerDXX/ShaderDebuggerInstructionDXX.h"
#include "ShaderDebuggerFCConstruct.h"
#include "ShaderDebuggerShader.h"
#include "ShaderUtils/DX10/D3D10ShaderObject.h"

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace XAN_ShaderDebugger
{
// Temps that every patched shader adds for itself, and the most a shader may have.
const std::uint32_t TEMPS_NEEDED = 3;
const std::uint32_t D3D10_COMMONSHADER_TEMP_REGISTER_COUNT = 4096;

// Token writers of patched programs: an opcode token with the test bit in bit 18 and the length
// in bits 24 to 30; a destination of one index dimension; an immediate of one value.
void WriteOpcode(COutputTokenStream<std::uint32_t>& stream, std::uint32_t nOpCode,
                 std::uint32_t nLength, bool bTestNonZero = false, std::uint32_t nExtra = 0);
void WriteDest(COutputTokenStream<std::uint32_t>& stream, std::uint32_t nOperandType,
               std::uint32_t nNumber, std::uint32_t maskBits);
void WriteImmediate1(COutputTokenStream<std::uint32_t>& stream, std::uint32_t nValue);

// The shader object of the DX10 and DX11 debuggers. The analysis reads the tokenized program
// once: the stage, the declared inputs and outputs, the executable instructions with their
// destinations, the tree of flow constructs, and the temps that a patched shader adds behind the
// application's: the captured results, the flag, one temp per output that the patched shader
// redirects, and the loop counters.
class CShaderDebuggerShaderDXX : public CShaderDebuggerShader
{
public:
    CShaderDebuggerShaderDXX(CShaderDebuggerBase* pDebugger, const void* pShaderData, size_t nSize);
    ~CShaderDebuggerShaderDXX() override;

    bool GetShaderText(std::string& strText, unsigned int nType) override;
    bool GetShaderKeywords(std::vector<std::string>& vKeywords, unsigned int nType) override;
    unsigned int GetDefaultDebugMode() override;
    bool SetDebugMode(unsigned int nMode) override;
    unsigned int GetInstructionFromLine(unsigned int nLine) override;
    unsigned int GetLineFromInstruction(unsigned int nInstruction) override;

    virtual bool AnalyzeShader() = 0;
    virtual bool AnalyzeSHDRChunk(const std::uint8_t* pChunk);

    // The destinations of the instruction at a position; g_Reg_NULL without one.
    Register GetRegisterOutput(const ProgramCounter& pc) const;
    Register GetRegisterOutput2(const ProgramCounter& pc) const;
    // The data type of an instruction's result; a type that comes from the texture (2) is
    // resolved through the return type of the resource that the instruction reads.
    std::uint32_t GetRegisterDataType(std::uint32_t nInstruction, const Register& reg) const;
    std::uint32_t GetRegisterDataType(const Register& reg) const;
    Register GetSrcRegister(std::uint32_t nInstruction, std::uint32_t n) const;
    Register GetSrcRegister(std::uint32_t n) const;
    bool HasTwoDestInstructions() const { return m_bHasTwoDestInstructions; }

    std::uint32_t GetInstructionCount() const { return m_nInstructionCount; }
    const std::vector<CShaderDebuggerInstructionDXX>& GetInstructions() const
    {
        return m_Instructions;
    }
    std::uint32_t GetTempRegisterCount() const { return m_nTempRegisterCount; }
    std::uint32_t GetPatchedTempRegisterCount() const { return m_nPatchedTempRegisterCount; }
    std::uint32_t GetOutputTempReg() const { return m_nOutputTempReg; }
    std::uint32_t GetOutputTempReg2() const { return m_nOutputTempReg2; }
    std::uint32_t GetExecMaskTempReg() const { return m_nExecMaskTempReg; }
    std::uint32_t GetOutputRegister0() const { return m_nOutputRegister0; }
    std::uint32_t GetOutputRegister1() const { return m_nOutputRegister1; }
    std::uint32_t GetExecMaskOutputRegister() const { return m_nExecMaskOutputRegister; }
    std::uint32_t GetPositionRegister() const { return m_nPositionRegister; }
    std::uint32_t GetPatchedPositionRegister() const { return m_nPatchedPositionRegister; }
    const std::map<std::uint32_t, std::uint32_t>& GetOutputTemps() const { return m_OutputTemps; }
    const std::map<RegisterID, unsigned short>& GetInputRegisters() const
    {
        return m_InputRegisters;
    }
    // The innermost construct of an instruction; null outside every construct.
    CDXX_FCConstruct* GetConstruct(std::uint32_t nInstruction) const;

    // Builds the shader that stops at a position, or that dumps an input register, and creates
    // it on the device. One of the two must be given.
    bool CreatePatchedShader(const ProgramCounter& nTargetInstruction,
                             const Register& targetInputReg);
    bool PatchSHDRChunk(const std::uint8_t* pOriginalChunkHeader,
                        COutputTokenStream<std::uint32_t>& stream,
                        const ProgramCounter& nTargetInstruction, const Register& targetInputReg);
    bool PatchSHEXChunk(const std::uint8_t* pOriginalChunkHeader,
                        COutputTokenStream<std::uint32_t>& stream,
                        const ProgramCounter& nTargetInstruction, const Register& targetInputReg);
    bool PatchOSGNChunk();
    // Binds the patched shader of a position (kept while the position doesn't change), or a new
    // input dump, in place of the application's shader.
    virtual bool SwitchShader(const ProgramCounter& pc);
    virtual bool SwitchShader(const Register& inputReg);
    bool SwitchShaderToPatchedShader();
    // Binds the application's shaders again; bDiscard also drops the patched ones.
    virtual bool RestoreShader(bool bDiscard);
    const D3D10ShaderObject::CShaderObject& GetPatchedShaderObject() const
    {
        return m_PatchedShaderObject;
    }

protected:
    // Resets the analysis and reads the container, SDBG data included; false without a shader
    // or for a container that doesn't load.
    bool BeginAnalysis();
    // Analyses an SHDR or SHEX chunk; bExtended selects what only SHEX may hold and refuse.
    bool AnalyzeProgramChunk(const std::uint8_t* pChunk, bool bExtended);
    // Clears the debuggable modes and writes the text to the three errors and the log.
    void Refuse(const std::string& strError);
    // Builds both line maps from the disassembly.
    void BuildLineMaps(const std::string& strDisassembly, std::uint32_t nDeclarationLines);

    std::uint32_t m_nInstructionCount;
    std::uint32_t m_nLastInstruction;
    std::uint32_t m_nTempRegisterCount;
    std::uint32_t m_nPatchedTempRegisterCount;
    std::uint32_t m_nOutputTempReg;
    std::uint32_t m_nOutputTempReg2;
    std::uint32_t m_nExecMaskTempReg;
    // Compute only: the temp for the address of the store.
    std::uint32_t m_nAddrTempReg;
    bool m_bHasTwoDestInstructions;
    std::uint32_t m_nOutputRegister0;
    std::uint32_t m_nOutputRegister1;
    std::uint32_t m_nExecMaskOutputRegister;
    std::uint32_t m_nPositionRegister;
    std::uint32_t m_nPatchedPositionRegister;
    std::map<std::uint32_t, std::uint32_t> m_InstructionToLine;
    std::map<std::uint32_t, std::uint32_t> m_LineToInstruction;
    unsigned int m_nDebugMode;
    std::vector<CShaderDebuggerInstructionDXX> m_Instructions;
    // Owns every construct once; m_FCConstructs only points into it.
    std::vector<std::unique_ptr<CDXX_FCConstruct>> m_vConstructs;
    std::map<std::uint32_t, CDXX_FCConstruct*> m_FCConstructs;
    std::map<std::uint32_t, Register> m_RegisterOutput;
    std::map<std::uint32_t, Register> m_RegisterOutput2;
    std::map<RegisterID, unsigned short> m_InputRegisters;
    std::map<std::uint32_t, unsigned short> m_OutputRegisters;
    std::map<std::uint32_t, std::uint32_t> m_OutputTemps;
    DXXDeclaredRegisters m_DeclaredRegisters;
    D3D10ShaderObject::CShaderObject m_ShaderObject;
    D3D10ShaderObject::CShaderObject m_PatchedShaderObject;
    CShaderDebuggerDXX_HLSLInstrumentation m_HLSL;

    bool PatchProgramChunk(const std::uint8_t* pOriginalChunkHeader,
                           COutputTokenStream<std::uint32_t>& stream,
                           const ProgramCounter& nTargetInstruction, const Register& targetInputReg,
                           bool bExtended);
    // Writes the chunk's type, size 0, the version and the length; the program's tokens behind
    // the two header words, null when the sizes disagree.
    const std::uint32_t* WriteProgramHeader(const std::uint8_t* pOriginalChunkHeader,
                                            COutputTokenStream<std::uint32_t>& stream,
                                            bool bExtended, std::uint32_t& nTokens);
    // Sets the chunk's size and the program's length from what was written.
    void FinishProgramChunk(COutputTokenStream<std::uint32_t>& stream);
    bool PatchFlowControlInstruction(COutputTokenStream<std::uint32_t>& stream,
                                     std::uint32_t nCurrentInstruction,
                                     const ProgramCounter& nTargetInstruction,
                                     const CShaderDebuggerInstructionDXX& instruction);
    bool FinalizeFlowControl(CInputTokenStream<std::uint32_t>& input,
                             COutputTokenStream<std::uint32_t>& stream,
                             std::uint32_t nCurrentInstruction, const ProgramCounter& nTarget);
    void WriteDeclarations(COutputTokenStream<std::uint32_t>& stream);
    void WriteInputDump(COutputTokenStream<std::uint32_t>& stream, const Register& inputReg);
    void WriteOutputs(COutputTokenStream<std::uint32_t>& stream);
    void WriteComputeStore(COutputTokenStream<std::uint32_t>& stream, bool bWithFlag);
    void CopyPositionWrites(COutputTokenStream<std::uint32_t>& stream,
                            CInputTokenStream<std::uint32_t>& input,
                            const CShaderDebuggerInstructionDXX& instruction,
                            std::uint32_t nNextInstruction, bool bWithInstruction);
    bool DuplicatePositionWrite(CShaderDebuggerInstructionDXX& instruction) const;
    // Redirects output destinations to their temps; true if one was.
    bool ReplaceOutputs(CShaderDebuggerInstructionDXX& instruction) const;
    // Writes an instruction behind the target's way, with outputs redirected; one without a
    // working destination (a store, an atomic, sync) is left out.
    void WriteKeptInstruction(COutputTokenStream<std::uint32_t>& stream,
                              CShaderDebuggerInstructionDXX& instruction);
    void WriteTarget(COutputTokenStream<std::uint32_t>& stream,
                     const CShaderDebuggerInstructionDXX& instruction);
    // The counter's decrement of a loop that holds the target, in front of its continue.
    void WriteContinueDecrement(COutputTokenStream<std::uint32_t>& stream,
                                std::uint32_t nCurrentInstruction,
                                const ProgramCounter& nTargetInstruction,
                                const CShaderDebuggerInstructionDXX& instruction);
    void ReleasePatchedShaders();
    // Makes the container of m_PatchedShaderObject if patching succeeded, logs its text and
    // creates it on the device as m_pPatchedShader.
    bool CreatePatchedDeviceShader(bool bPatched);
    CDXX_Loop* GetLoopHoldingTarget(std::uint32_t nInstruction,
                                    const ProgramCounter& nTargetInstruction) const;

    std::vector<std::uint32_t> m_FlowControlStack;
    ProgramCounter m_LastPatchTarget;
    void* m_pOriginalShader;
    void* m_pOriginalGeometryShader;
    void* m_pOriginalPixelShader;
    void* m_pPatchedShader;
    void* m_pStreamOutShader;
    // DX10 leaves no pixel shader bound while a vertex shader's results stream out.
    bool m_bUnbindPixelStage;

private:
    // Reads one declaration; false refuses the shader.
    bool AnalyzeDeclaration(const CShaderDebuggerInstructionDXX& instruction, bool bExtended);
    // Keeps the flow construct of an executable instruction; false refuses the shader.
    bool AnalyzeFlow(const CShaderDebuggerInstructionDXX& instruction, std::uint32_t nInstruction,
                     std::vector<CDXX_FCConstruct*>& FCStack, std::uint32_t& dwLoopDepth,
                     std::uint32_t& dwMaxLoopDepth);
    // Numbers the patched shader's temps behind the application's.
    bool LayOutTemps(std::uint32_t dwMaxLoopDepth);
};
} // namespace XAN_ShaderDebugger

#endif
