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
