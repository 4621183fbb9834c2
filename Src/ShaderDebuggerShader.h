#ifndef SHADER_DEBUGGER_SHADER_H
#define SHADER_DEBUGGER_SHADER_H

#include "ShaderDebugger.h"

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

namespace XAN_ShaderDebugger
{
class CShaderDebuggerBase;

// Register components, as a 16-bit mask.
const unsigned short COMP_x = 1;
const unsigned short COMP_y = 2;
const unsigned short COMP_z = 4;
const unsigned short COMP_w = 8;
const unsigned short COMP_xy = COMP_x | COMP_y;
const unsigned short COMP_zw = COMP_z | COMP_w;
const unsigned short COMP_xyz = COMP_x | COMP_y | COMP_z;
const unsigned short COMP_All = COMP_x | COMP_y | COMP_z | COMP_w;

// The mask of component n (0 to 3); 0 for any other index, so that loops over components
// with a mask see no component.
unsigned short GetComponent(unsigned int nComponent);

// The register type of every engine. The IL and DXBC engines convert to and from it.
enum RegisterType : unsigned int
{
    RT_Unknown = 0,
    RT_Temp = 1,
    RT_Input = 2,
    RT_Output = 3,
    RT_IndexableTemp = 4,
    RT_Immediate = 5,
    RT_Sampler = 6,
    RT_Resource = 7,
    RT_ConstantBuffer = 8,
    RT_IntConstant = 9,
    RT_BoolConstant = 10,
    RT_oDepth = 11,
    RT_Null = 12,
    RT_oMask = 13,
    RT_vAbsTid = 16,
    RT_vAbsTidFlat = 17,
    RT_vThreadGrpId = 18,
    RT_vThreadGrpIdFlat = 19,
    RT_vTidInGrp = 20,
    RT_vTidInGrpFlat = 21,
    RT_PrivateUAVAccess = 22,
    RT_In = 23,
    RT_Out = 24,
    RT_ImmConstBuffer = 25,
    RT_CONST_BUFF = 26,
    RT_ConstBool = 27,
    RT_ConstFloat = 28,
    RT_ConstInt = 29,
    RT_Addr = 30,
    RT_LegacyInput = 31,
    RT_vIndex = 32,
    RT_vBaryCoord = 33,
    RT_vPrimIndex = 34,
    RT_vQuadIndex = 35,
    RT_oSprite = 36,
    RT_oPos = 37,
    RT_LegacyOutput = 38,
    RT_vPixIn = 39,
    RT_Interp = 40,
    RT_Fog = 41,
    RT_TexCoord = 42,
    RT_PriColor = 43,
    RT_SecColor = 44,
    RT_oPsFog = 45,
    RT_vObjIndex = 46,
    RT_vSpriteCoord = 47,
    RT_vFace = 48,
    RT_vWinCoord = 49,
    RT_vPrimCoord = 50,
    RT_vPrimType = 51,
    RT_oC = 52,
    RT_oStencil = 53,
    RT_oClip = 54,
    RT_LITERAL = 55,
    RT_Persistent = 59,
    RT_Global = 60,
    RT_Shared = 61,
    RT_Mem = 62,
    RT_vicp = 63,
    RT_vpc = 64,
    RT_vDomain = 65,
    RT_vocp = 66,
    RT_vOutputControlPointID = 67,
    RT_vInstanceID = 68,
    RT_This = 69,
    RT_oEdgeFlag = 70,
    RT_oDepthLE = 71,
    RT_oDepthGE = 72,
    RT_vCoverageMask = 73,
    RT_Tmr = 74,
    RT_vLineStipple = 75
};

// The types whose registers carry an element index behind their number.
bool IsIndexedRegisterType(RegisterType type);

struct Register;

// The identity of a register without regard to components.
struct RegisterID
{
    RegisterID();
    RegisterID(RegisterType type, int number, unsigned int index, const Register* pIndexRegister);
    RegisterID(const RegisterID& other);
    RegisterID& operator=(const RegisterID& other);
    ~RegisterID();

    bool operator==(const RegisterID& other) const;
    bool operator!=(const RegisterID& other) const { return !(*this == other); }
    bool operator<(const RegisterID& other) const;

    RegisterType type;
    // Negative only for IL registers with a relative index.
    int number;
    // Element of a constant buffer or indexable temp, or the constant offset of a relative address.
    unsigned int index;
    // The register through which the access is indexed, owned; null if none.
    Register* pIndexRegister;
};

// A register as an instruction reads or writes it.
struct Register
{
    Register();
    Register(const RegisterID& id, unsigned short nMask);

    bool operator==(const Register& other) const;
    bool operator!=(const Register& other) const { return !(*this == other); }
    bool operator<(const Register& other) const;

    RegisterID reg;
    // Components, a combination of COMP_*.
    unsigned short mask;
};

// No register.
extern const Register g_Reg_NULL;

// Shader types of ShaderInfo::nShaderType.
enum
{
    ST_Pixel = 1,
    ST_Vertex = 2,
    ST_Geometry = 3,
    ST_Hull = 5,
    ST_Domain = 6,
    ST_Compute = 7
};

// What a front-end can ask about a shader.
struct ShaderInfo
{
    ShaderInfo();
    void Reset();

    unsigned int nSupportedModes;
    // Cleared by an analysis that refuses the shader.
    unsigned int nDebuggableModes;
    std::string strTarget;
    unsigned int nTargetValue;
    std::string strHash;
    // Why a mode can't be debugged; a refusal writes the same text to all three.
    std::string strError[3];
    // 0 until an analysis has succeeded.
    unsigned int nShaderType;
    unsigned int nVersionMajor;
    unsigned int nVersionMinor;
    unsigned char nFlags[16];
};

// The base of every engine's shader object: the code, its analysis and the position of the run.
class CShaderDebuggerShader
{
public:
    CShaderDebuggerShader(CShaderDebuggerBase* pDebugger, const void* pShaderData, size_t nSize);
    virtual ~CShaderDebuggerShader();

    CShaderDebuggerShader(const CShaderDebuggerShader&) = delete;
    CShaderDebuggerShader& operator=(const CShaderDebuggerShader&) = delete;

    virtual bool StartDebugging(unsigned int nMode);
    virtual void EndDebugging();
    virtual bool IsDebugging();
    virtual bool IsShaderDebuggable(unsigned int nMode);
    virtual bool GetShaderText(std::string& strText, unsigned int nType) = 0;
    virtual bool GetShaderKeywords(std::vector<std::string>& vKeywords, unsigned int nType) = 0;
    virtual bool GetShaderInfo(ShaderInfo* pInfo);
    virtual unsigned int GetShaderType();
    virtual unsigned int GetDefaultDebugMode() = 0;
    virtual bool SetDebugMode(unsigned int nMode) = 0;
    virtual bool Step() = 0;
    virtual bool Back() = 0;
    virtual bool Run() = 0;
    virtual bool RunBack() = 0;
    virtual bool Execute(bool bRecordSteps) = 0;
    virtual bool Draw() = 0;
    virtual unsigned int GetInstructionFromLine(unsigned int nLine) = 0;
    virtual unsigned int GetLineFromInstruction(unsigned int nInstruction) = 0;
    virtual ProgramCounter GetCurrentInstruction();
    virtual ProgramCounter GetNextInstruction();
    virtual unsigned int GetCurrentLine() = 0;
    virtual unsigned int GetNextLine() = 0;
    virtual unsigned int GetPreviousLine() = 0;

    const unsigned char* GetShaderData() const { return m_pShaderData; }
    size_t GetShaderDataSize() const { return m_nShaderDataSize; }
    CShaderDebuggerBase* GetDebugger() const { return m_pDebugger; }
    // The host that assertions report to; null without a debugger.
    CShaderDebuggerHost* GetHost() const;

protected:
    ShaderInfo m_Info;
    bool m_bIsDebugging;
    ProgramCounter m_nCurrentInstruction;
    ProgramCounter m_nCurrentSourceInstruction;
    ProgramCounter m_nNextInstruction;
    ProgramCounter m_nNextSourceInstruction;
    // Return positions of the calls open at m_nNextInstruction.
    std::deque<ProgramCounter> m_CallStack;
    // The history that Back walks.
    std::deque<ProgramCounter> m_ExecutedSteps;
    // The shader's own copy of its code, from malloc; null for size 0 or when malloc failed.
    unsigned char* m_pShaderData;
    size_t m_nShaderDataSize;
    // Not owned; the debugger owns the shader.
    CShaderDebuggerBase* m_pDebugger;
};
} // namespace XAN_ShaderDebugger

#endif
