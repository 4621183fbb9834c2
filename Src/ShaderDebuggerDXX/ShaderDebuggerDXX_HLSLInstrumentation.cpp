#include "ShaderDebuggerDXX/ShaderDebuggerDXX_HLSLInstrumentation.h"

#include "ShaderDebuggerBase.h"
#include "ShaderDebuggerDXX/ShaderDebuggerInstructionDXX.h"
#include "ShaderUtils/DX10/D3D10ShaderObject.h"

#include <algorithm>

using D3D10ShaderObject::CShaderDebugData;
using D3D10ShaderObject::DebugComponent;
using D3D10ShaderObject::DebugInstruction;

namespace XAN_ShaderDebugger
{
namespace
{
const uint32_t OPCODE_BREAK = 2;
const uint32_t OPCODE_BREAKC = 3;
const uint32_t OPCODE_ELSE = 18;
const uint32_t OPCODE_ENDIF = 21;
const uint32_t OPCODE_ENDLOOP = 22;
const uint32_t OPCODE_IF = 31;
const uint32_t OPCODE_LOOP = 48;
// The opcode of an entry that no instruction made.
const uint32_t OPCODE_NONE = 107;

// Without source text nothing bounds a line number but this.
const uint32_t MAX_LINE_WITHOUT_SOURCE = 65535;
// The table's first size limit.
const uint32_t INITIAL_TABLE_LIMIT = 256;

// The opcode of an instruction's first token.
uint32_t GetOpcode(uint32_t nOpcodeToken)
{
    return nOpcodeToken & 0x7FF;
}

// The category of the opcode table that holds flow control.
const uint32_t CATEGORY_FLOW = 5;

// clang-format off
const char* const g_TypeNames[] = {
    "VOID", "BOOL ", "INT", "FLOAT", "STRING", "TEXTURE", "TEXTURE1D", "TEXTURE2D", "TEXTURE3D",
    "TEXTURECUBE", "SAMPLER", "UNKNOWN", "UNKNOWN", "UNKNOWN", "UNKNOWN", "PIXELSHADER",
    "VERTEXSHADER", "UNKNOWN", "UNKNOWN", "UINT", "UINT8", "GEOMETRYSHADER", "RASTERIZER",
    "DEPTHSTENCIL", "BLEND", "BUFFER", "CBUFFER", "TBUFFER", "TEXTURE1DARRAY", "TEXTURE2DARRAY",
    "RENDERTARGETVIEW", "DEPTHSTENCILVIEW", "TEXTURE2DMS", "TEXTURE2DMSARRAY",
    "TEXTURECUBEARRAY", "VARIABLE", "FUNCTION", "SCALAR", "VECTOR", "MATRIX_ROWS",
    "MATRIX_COLUMNS", "OBJECT", "STRUCT"};
// clang-format on

const char* GetTypeName(uint32_t nType)
{
    return nType < sizeof(g_TypeNames) / sizeof(g_TypeNames[0]) ? g_TypeNames[nType] : "UNKNOWN";
}

RegisterType GetRegisterType(uint32_t nKind)
{
    switch (nKind)
    {
    case 0:
        return RT_Input;
    case 1:
        return RT_Output;
    case 4:
        return RT_Temp;
    case 7:
        return RT_Sampler;
    default:
        return RT_Unknown;
    }
}

const char g_opKeyWords[] =
    "Break Compile Const Continue DepthStencilView Discard Do Else Extern False FALSE For If In "
    "Inline Inout Matrix Out Pass PixelShader RenderTargetView Return Sampler Shared Static String "
    "Struct Switch Technique Technique10 Texture True TRUE Typedef Uniform Vector VertexShader "
    "Void Volatile While break compile const continue discard do else extern false for if in "
    "inline inout matrix out pass return sampler shared static string struct switch technique "
    "technique10 texture true typedef uniform vector void volatile while";

const char g_typeKeyWords[] =
    "bool int uint half float double bool1 bool2 bool3 bool4 int1 int2 int3 int4 uint1 uint2 "
    "uint3 uint4 half1 half2 half3 half4 float1 float2 float3 float4 double1 double2 double3 "
    "double4 bool1x1 bool1x2 bool1x3 bool1x4 bool2x1 bool2x2 bool2x3 bool2x4 bool3x1 bool3x2 "
    "bool3x3 bool3x4 bool4x1 bool4x2 bool4x3 bool4x4 int1x1 int1x2 int1x3 int1x4 int2x1 "
    "int2x2 int2x3 int2x4 int3x1 int3x2 int3x3 int3x4 int4x1 int4x2 int4x3 int4x4 uint1x1 "
    "uint1x2 uint1x3 uint1x4 uint2x1 uint2x2 uint2x3 uint2x4 uint3x1 uint3x2 uint3x3 uint3x4 "
    "uint4x1 uint4x2 uint4x3 uint4x4 half1x1 half1x2 half1x3 half1x4 half2x1 half2x2 half2x3 "
    "half2x4 half3x1 half3x2 half3x3 half3x4 half4x1 half4x2 half4x3 half4x4 float1x1 "
    "float1x2 float1x3 float1x4 float2x1 float2x2 float2x3 float2x4 float3x1 float3x2 "
    "float3x3 float3x4 float4x1 float4x2 float4x3 float4x4 double1x1 double1x2 double1x3 "
    "double1x4 double2x1 double2x2 double2x3 double2x4 double3x1 double3x2 double3x3 "
    "double3x4 double4x1 double4x2 double4x3 double4x4 vector matrix";

const char g_semanticsKeyWords[] =
    "BINORMAL BLENDINDICES BLENDWEIGHT COLOR NORMAL POSITION POSITIONT PSIZE TANGENT TEXCOORD FOG "
    "TESSFACTOR VFACE VPOS SV_ClipDistance SV_CullDistance SV_Coverage SV_Depth SV_GroupIndex "
    "SV_DispatchThreadID SV_DomainLocation SV_GroupID SV_GroupThreadID SV_GSInstanceID "
    "SV_InsideTessFactor SV_IsFrontFace SV_OutputControlPointID SV_Position SV_PrimitiveID "
    "SV_RenderTargetArrayIndex SV_SampleIndex SV_Target SV_Target0 SV_Target1 SV_Target2 "
    "SV_Target3 SV_Target4 SV_Target5 SV_Target6 SV_Target7 SV_TessFactor SV_VertexID "
    "SV_ViewportArrayIndex SV_InstanceID DEPTH DEPTH0 DEPTH1 DEPTH2 DEPTH3";

const char g_reservedKeyWords[] =
    "auto case catch char class const_cast default delete dynamic_cast enum explicit friend goto "
    "long mutable new operator private protected public reinterpret_cast short signed sizeof "
    "static_cast template this throw try typename union unsigned using virtual";

const char g_functionKeyWords[] =
    "abs acos all any asfloat asin asint asuint atan atan2 ceil clamp clip cos cosh cross "
    "D3DCOLORtoUBYTE4 ddx ddy degrees determinant distance dot exp exp2 faceforward floor fmod "
    "frac frexp fwidth isfinite isinf isnan ldexp length lerp lit log log10 log2 max min modf mul "
    "noise normalize pow radians reflect refract round rsqrt saturate sign sin sincos sinh "
    "smoothstep sqrt step tan tanh tex1D tex1Dbias tex1Dgrad tex1Dlod tex1Dproj tex2D tex2Dbias "
    "tex2Dgrad tex2Dlod tex2Dproj tex3D tex3Dbias tex3Dgrad tex3Dlod tex3Dproj texCUBE texCUBEbias "
    "texCUBEgrad texCUBElod texCUBEproj transpose";

// Leading blanks don't count when a line is classified.
std::string TrimLeft(const std::string& strLine)
{
    const size_t nFirst = strLine.find_first_not_of(" \t\r");
    return nFirst == std::string::npos ? std::string() : strLine.substr(nFirst);
}
} // namespace

VariableRegisterComponent::VariableRegisterComponent()
    : pc(g_PC_NULL), mask(0), nComponents(0), map{4, 4, 4, 4}
{
}

CVariableRegisterMapping::CVariableRegisterMapping()
    : strClass("VECTOR"), nOpCode(OPCODE_NONE), uElements(0), uArrayIndices(0), pc(g_PC_NULL)
{
}

bool CVariableRegisterMapping::AddComponent(size_t nIndex,
                                            const VariableRegisterComponent& component)
{
    if (nIndex >= vRegisters.size())
    {
        return false;
    }
    VariableRegisterComponent& place = vRegisters[nIndex];
    if (place.pc == g_PC_NULL && place.nComponents == 0)
    {
        place = component;
        return true;
    }
    if (place.reg.reg != component.reg.reg || place.pc != component.pc)
    {
        return false;
    }
    place.reg.mask |= component.reg.mask;
    place.mask |= component.mask;
    for (int i = 0; i < 4; ++i)
    {
        if (place.map[i] == 4)
        {
            place.map[i] = component.map[i];
        }
    }
    return true;
}

ProgramCounter CVariableRegisterMapping::GetLastPC() const
{
    if (vRegisters.empty())
    {
        return pc;
    }
    ProgramCounter last = vRegisters.front().pc;
    for (const VariableRegisterComponent& component : vRegisters)
    {
        if (last < component.pc)
        {
            last = component.pc;
        }
    }
    return last;
}

CShaderDebuggerDXX_HLSLInstrumentation::CShaderDebuggerDXX_HLSLInstrumentation(
    CShaderDebuggerBase* pDebugger)
    : m_pDebugger(pDebugger), m_pShaderObject(NULL), m_nFirstLine(0), m_nLastLine(0),
      m_nEntryLine(0), m_nEndLine(0), m_nTableLimit(0)
{
    SDU_Assert(GetHost(), pDebugger != NULL);
}

CShaderDebuggerHost* CShaderDebuggerDXX_HLSLInstrumentation::GetHost() const
{
    return m_pDebugger != NULL ? m_pDebugger->GetHost() : NULL;
}

bool CShaderDebuggerDXX_HLSLInstrumentation::Init(
    const D3D10ShaderObject::CShaderObject* pShaderObject)
{
    m_pShaderObject = pShaderObject;
    return ParseInstrumentation();
}

bool CShaderDebuggerDXX_HLSLInstrumentation::ParseInstrumentation()
{
    m_VariableRegisterTable.clear();
    m_InputVariableRegisterTable.clear();
    m_FlowLines.clear();
    m_strLastError.clear();
    m_strEntryFunction.clear();
    m_nFirstLine = m_nLastLine = m_nEntryLine = m_nEndLine = 0;
    m_nTableLimit = 0;
    SDU_Assert(GetHost(), m_pShaderObject != NULL);
    if (m_pShaderObject == NULL)
    {
        return false;
    }

    const bool bInputs = SemanticParsingShaderInputChunk();
    const bool bDebug = SemanticParsingShaderDebugChunk();
    const bool bResult = bInputs && bDebug;
    if (!bResult && m_strLastError.empty())
    {
        m_strLastError = "Can not debug this shader in HLSL mode - can not parse instrumentation.";
    }
    DumpInputVariableRegisterTable();
    DumpVariableRegisterTable();
    if (!bResult)
    {
        return false;
    }

    const CShaderDebugData& data = m_pShaderObject->GetDebugData();
    m_strEntryFunction = data.GetEntryFunction();
    m_nEntryLine = data.GetEntryLine() > 0 ? data.GetEntryLine() - 1 : 0;
    const uint32_t nLines = static_cast<uint32_t>(m_VariableRegisterTable.size());
    m_nFirstLine = m_nEntryLine;
    while (m_nFirstLine < nLines && m_VariableRegisterTable[m_nFirstLine].empty())
    {
        ++m_nFirstLine;
    }
    if (m_nFirstLine == nLines)
    {
        m_nFirstLine = m_nEntryLine;
    }
    if (m_nEntryLine == 0)
    {
        m_nEntryLine = m_nFirstLine;
    }
    m_nEndLine = m_nEntryLine;
    if (m_nFirstLine < nLines && !m_VariableRegisterTable[m_nFirstLine].empty())
    {
        const std::string strScope = m_VariableRegisterTable[m_nFirstLine].front().strFunctionScope;
        for (uint32_t nLine = m_nFirstLine; nLine < nLines; ++nLine)
        {
            const VariableRegisterList& entries = m_VariableRegisterTable[nLine];
            if (!entries.empty() && entries.front().strFunctionScope == strScope)
            {
                m_nEndLine = nLine + 1;
            }
        }
    }
    for (uint32_t nLine = 0; nLine < nLines; ++nLine)
    {
        if (!m_VariableRegisterTable[nLine].empty())
        {
            m_nLastLine = nLine;
        }
    }
    return true;
}

bool CShaderDebuggerDXX_HLSLInstrumentation::ParseLineNumber(const DebugInstruction& instruction,
                                                             uint32_t& nLine) const
{
    const CShaderDebugData& data = m_pShaderObject->GetDebugData();
    const std::vector<D3D10ShaderObject::DebugToken>& DebugTokens = data.GetDebugTokens();
    const std::vector<uint32_t>& DebugNumberOfLinesInFiles = data.GetDebugNumberOfLinesInFiles();
    const uint32_t uTokenID = instruction.uTokenID;
    if (uTokenID >= DebugTokens.size())
    {
        return false;
    }
    // clang-format off
    SDU_Assert(GetHost(), DebugTokens[ uTokenID ].Line > 0);
    // clang-format on
    if (DebugTokens[uTokenID].Line == 0)
    {
        return false;
    }
    uint64_t nResult = DebugTokens[uTokenID].Line - 1;
    if (DebugTokens[uTokenID].File > 0)
    {
        // clang-format off
        SDU_Assert(GetHost(), DebugTokens[ uTokenID ].File < DebugNumberOfLinesInFiles.size());
        // clang-format on
        if (DebugTokens[uTokenID].File >= DebugNumberOfLinesInFiles.size())
        {
            return false;
        }
        for (uint32_t nFile = 0; nFile < DebugTokens[uTokenID].File; ++nFile)
        {
            nResult += DebugNumberOfLinesInFiles[nFile] + 1ull;
        }
    }
    // A line past the source, or a huge one without source, would only make the table grow.
    const uint64_t nLimit =
        data.HasSource() ? data.GetSourceLines().size() : MAX_LINE_WITHOUT_SOURCE + 1ull;
    if (nResult >= nLimit)
    {
        return false;
    }
    nLine = static_cast<uint32_t>(nResult);
    return true;
}

void CShaderDebuggerDXX_HLSLInstrumentation::GrowTable(uint32_t nLine)
{
    if (m_nTableLimit == 0)
    {
        m_nTableLimit = INITIAL_TABLE_LIMIT;
    }
    if (nLine >= m_nTableLimit)
    {
        m_nTableLimit = nLine + 100;
    }
    if (m_VariableRegisterTable.size() < m_nTableLimit)
    {
        m_VariableRegisterTable.resize(m_nTableLimit);
    }
}

void CShaderDebuggerDXX_HLSLInstrumentation::AddFlowEntry(uint32_t nLine, uint32_t nOpCode,
                                                          uint32_t nInstruction,
                                                          const std::string& strFunctionScope)
{
    GrowTable(nLine);
    CVariableRegisterMapping mapping;
    mapping.strFunctionScope = strFunctionScope;
    mapping.nOpCode = nOpCode;
    mapping.pc = ProgramCounter(nInstruction);
    m_VariableRegisterTable[nLine].push_back(mapping);
}

bool CShaderDebuggerDXX_HLSLInstrumentation::FindNextInstructionLine(uint32_t nInstruction,
                                                                     uint32_t nLine, bool bAnyOther,
                                                                     uint32_t& nOut) const
{
    const std::vector<DebugInstruction>& vInstructions =
        m_pShaderObject->GetDebugData().GetDebugInstructions();
    for (size_t n = nInstruction + 1; n < vInstructions.size(); ++n)
    {
        uint32_t nNext = 0;
        if (!ParseLineNumber(vInstructions[n], nNext))
        {
            return false;
        }
        if (nNext > nLine || (bAnyOther && nNext != nLine))
        {
            nOut = nNext;
            return true;
        }
    }
    return false;
}

bool CShaderDebuggerDXX_HLSLInstrumentation::FindElseLine(uint32_t nFirst, uint32_t& nOut) const
{
    const std::vector<std::string>& vLines = m_pShaderObject->GetDebugData().GetSourceLines();
    for (size_t nLine = nFirst; nLine < vLines.size(); ++nLine)
    {
        const std::string strCode = TrimLeft(vLines[nLine]);
        if (!strCode.empty() && strCode[0] != '/' && strCode[0] != '#' &&
            strCode.find("else") != std::string::npos)
        {
            nOut = static_cast<uint32_t>(nLine);
            return true;
        }
    }
    return false;
}

bool CShaderDebuggerDXX_HLSLInstrumentation::SemanticParsingShaderDebugChunk()
{
    const CShaderDebugData& data = m_pShaderObject->GetDebugData();
    const std::vector<DebugInstruction>& vInstructions = data.GetDebugInstructions();
    if (vInstructions.empty() || data.GetTokenNames().empty() || data.GetDebugVariables().empty())
    {
        return false;
    }
    uint32_t nPrevLine = 0;
    for (uint32_t n = 0; n < vInstructions.size(); ++n)
    {
        const DebugInstruction& instruction = vInstructions[n];
        uint32_t nLine = 0;
        if (!ParseLineNumber(instruction, nLine))
        {
            return false;
        }
        GrowTable(nLine);

        std::string strFunctionScope;
        for (uint32_t nScope : data.GetInstructionScopes()[n])
        {
            if (data.GetDebugScopes()[nScope].Kind == 4)
            {
                strFunctionScope = data.GetScopeNames()[nScope];
                break;
            }
        }

        const uint32_t nOpCode = GetOpcode(instruction.OpcodeToken);
        if (GetOpCodeDestRegCount(nOpCode) > 0)
        {
            for (uint32_t nDestination = 0; nDestination < instruction.DestinationCount;
                 ++nDestination)
            {
                if (!SemanticParsingPerInstructionOutput(instruction, nDestination, nLine, n,
                                                         strFunctionScope))
                {
                    return false;
                }
            }
            continue;
        }
        uint32_t nFlowLine = nLine;
        switch (nOpCode)
        {
        case OPCODE_ELSE:
            if (!FindElseLine(std::max(nLine, nPrevLine) + 1, nFlowLine))
            {
                continue;
            }
            nPrevLine = nFlowLine;
            break;
        case OPCODE_ENDIF:
        case OPCODE_ENDLOOP:
            if (!FindNextInstructionLine(n, nLine, nOpCode == OPCODE_ENDLOOP, nFlowLine))
            {
                continue;
            }
            break;
        case OPCODE_LOOP:
        case OPCODE_BREAK:
        case OPCODE_BREAKC:
            break;
        case OPCODE_IF:
            AddFlowEntry(nLine, nOpCode, n, strFunctionScope);
            continue;
        default:
            if (GetOpCodeCategory(nOpCode) != CATEGORY_FLOW)
            {
                AddFlowEntry(nLine, nOpCode, n, strFunctionScope);
            }
            continue;
        }
        AddFlowEntry(nFlowLine, nOpCode, n, strFunctionScope);
        m_FlowLines[n] = nFlowLine;
    }
    return true;
}

bool CShaderDebuggerDXX_HLSLInstrumentation::SemanticParsingPerInstructionOutput(
    const DebugInstruction& instruction, uint32_t nDestination, uint32_t nLine,
    uint32_t nInstruction, const std::string& strFunctionScope)
{
    const CShaderDebugData& data = m_pShaderObject->GetDebugData();
    for (uint32_t nComponent = 0; nComponent < 4; ++nComponent)
    {
        const DebugComponent& block = instruction.Destinations[nDestination][nComponent];
        if (block.Variable == D3D10ShaderObject::DEBUG_NO_VARIABLE)
        {
            continue;
        }
        const D3D10ShaderObject::DebugVariable& variable = data.GetDebugVariables()[block.Variable];
        const D3D10ShaderObject::DebugScopeVariable& scopeVariable =
            data.GetDebugScopeVariables()[variable.ScopeVariable];
        if (variable.Component > 3 || scopeVariable.Elements > 4 || scopeVariable.Class != 0)
        {
            SDU_SetContext(GetHost(), false, "", __FILE__, __LINE__, __func__);
            SDU_Log(4, "HLSL: The shader contains array, matrix, structure variables that are "
                       "not supported yet.\n");
            return false;
        }

        VariableRegisterComponent entry;
        entry.reg = Register(
            RegisterID(GetRegisterType(block.Kind), static_cast<int>(block.Number), 0, NULL),
            GetComponent(nComponent));
        entry.pc = ProgramCounter(nInstruction);
        entry.mask = GetComponent(variable.Component);
        entry.nComponents = scopeVariable.Components;
        entry.map[variable.Component] = static_cast<unsigned char>(nComponent);

        // A variable that the line writes again in the same register is one entry, at the
        // later position; a flow entry ends the search, so that a loop keeps its writes apart.
        const std::string& strName = data.GetTokenNames()[variable.Token];
        VariableRegisterList& entries = m_VariableRegisterTable[nLine];
        bool bAdded = false;
        for (auto it = entries.rbegin(); it != entries.rend() && !it->vRegisters.empty() && !bAdded;
             ++it)
        {
            if (it->strName != strName)
            {
                continue;
            }
            for (size_t nPlace = 0; nPlace < it->vRegisters.size() && !bAdded; ++nPlace)
            {
                VariableRegisterComponent& place = it->vRegisters[nPlace];
                if (place.reg.reg == entry.reg.reg)
                {
                    if (place.pc < entry.pc)
                    {
                        place.pc = entry.pc;
                    }
                    bAdded = it->AddComponent(nPlace, entry);
                }
            }
        }
        if (bAdded)
        {
            continue;
        }
        CVariableRegisterMapping mapping;
        mapping.strName = strName;
        mapping.strType = GetTypeName(variable.Type);
        mapping.strFunctionScope = strFunctionScope;
        mapping.nOpCode = GetOpcode(instruction.OpcodeToken);
        mapping.uElements = scopeVariable.Components;
        mapping.vRegisters.resize(1);
        mapping.AddComponent(0, entry);
        entries.push_back(mapping);
    }
    return true;
}

bool CShaderDebuggerDXX_HLSLInstrumentation::SemanticParsingShaderInputChunk()
{
    const D3D10ShaderObject::SignatureData& signature = m_pShaderObject->GetInputSignature();
    if (signature.vNames.size() != signature.vEntries.size())
    {
        return false;
    }
    for (size_t i = 0; i < signature.vEntries.size(); ++i)
    {
        const D3D10ShaderObject::SignatureEntry& input = signature.vEntries[i];
        VariableRegisterComponent component;
        component.reg = Register(RegisterID(RT_Input, static_cast<int>(input.nRegister), 0, NULL),
                                 input.nMask & COMP_All);
        component.mask = input.nMask & COMP_All;
        unsigned char nIndex = 0;
        for (int c = 0; c < 4; ++c)
        {
            component.map[c] = (input.nMask & GetComponent(c)) != 0 ? nIndex++ : 4;
        }
        component.nComponents = nIndex;

        CVariableRegisterMapping mapping;
        mapping.strName = signature.vNames[i] + std::to_string(input.nSemanticIndex);
        mapping.strType = "FLOAT";
        mapping.uElements = nIndex;
        mapping.vRegisters.resize(1);
        mapping.AddComponent(0, component);
        m_InputVariableRegisterTable.push_back(mapping);
    }
    return true;
}

bool CShaderDebuggerDXX_HLSLInstrumentation::GetNextLine(uint32_t& nOut, uint32_t nLine) const
{
    for (size_t n = static_cast<size_t>(nLine) + 1; n < m_VariableRegisterTable.size(); ++n)
    {
        if (!m_VariableRegisterTable[n].empty())
        {
            nOut = static_cast<uint32_t>(n);
            return true;
        }
    }
    nOut = nLine + 1;
    return false;
}

bool CShaderDebuggerDXX_HLSLInstrumentation::GetPreviousLine(uint32_t& nOut, uint32_t nLine) const
{
    for (size_t n = std::min<size_t>(nLine, m_VariableRegisterTable.size()); n > 0; --n)
    {
        if (!m_VariableRegisterTable[n - 1].empty())
        {
            nOut = static_cast<uint32_t>(n - 1);
            return true;
        }
    }
    nOut = m_nFirstLine;
    return false;
}

bool CShaderDebuggerDXX_HLSLInstrumentation::FindLine(uint32_t& nOut,
                                                      const ProgramCounter& pc) const
{
    // The first line of each position that a component holds.
    std::map<uint32_t, uint32_t> lines;
    for (size_t nLine = m_VariableRegisterTable.size(); nLine > 0; --nLine)
    {
        for (const CVariableRegisterMapping& mapping : m_VariableRegisterTable[nLine - 1])
        {
            for (const VariableRegisterComponent& component : mapping.vRegisters)
            {
                lines[component.pc.m_nPos] = static_cast<uint32_t>(nLine - 1);
            }
        }
    }
    const size_t nInstructions =
        m_pShaderObject != NULL ? m_pShaderObject->GetDebugData().GetDebugInstructions().size() : 0;
    const auto it = lines.lower_bound(pc.m_nPos);
    if (it == lines.end() || it->first >= nInstructions)
    {
        return false;
    }
    nOut = it->second;
    return true;
}

bool CShaderDebuggerDXX_HLSLInstrumentation::GetLastPC(ProgramCounter& out,
                                                       const ProgramCounter& line) const
{
    if (line.m_nPos >= m_VariableRegisterTable.size() ||
        m_VariableRegisterTable[line.m_nPos].empty())
    {
        return false;
    }
    const VariableRegisterList& entries = m_VariableRegisterTable[line.m_nPos];
    out = entries.front().GetLastPC();
    for (const CVariableRegisterMapping& mapping : entries)
    {
        const ProgramCounter last = mapping.GetLastPC();
        if (out < last)
        {
            out = last;
        }
    }
    return true;
}

bool CShaderDebuggerDXX_HLSLInstrumentation::GetExecuteList(std::list<ProgramCounter>& list,
                                                            const ProgramCounter& line) const
{
    if (line.m_nPos >= m_VariableRegisterTable.size())
    {
        return false;
    }
    list.clear();
    const VariableRegisterList& entries = m_VariableRegisterTable[line.m_nPos];
    auto add =
        [&list](const CVariableRegisterMapping& mapping, const std::vector<LoopState>& vLoopStack)
    {
        for (const VariableRegisterComponent& component : mapping.vRegisters)
        {
            list.push_back(component.pc);
            list.back().m_vLoopStack = vLoopStack;
        }
        if (mapping.vRegisters.empty() && mapping.GetLastPC() != g_PC_NULL)
        {
            list.push_back(mapping.GetLastPC());
            list.back().m_vLoopStack = vLoopStack;
        }
    };
    const auto loop = std::find_if(entries.begin(), entries.end(),
                                   [](const CVariableRegisterMapping& mapping)
                                   { return mapping.nOpCode == OPCODE_LOOP; });
    if (loop == entries.end())
    {
        for (const CVariableRegisterMapping& mapping : entries)
        {
            add(mapping, line.m_vLoopStack);
        }
        return true;
    }
    if (line.m_vLoopStack.empty())
    {
        return false;
    }
    const bool bFirstIteration = line.m_vLoopStack.back().nIteration == 0;
    if (bFirstIteration)
    {
        for (auto it = entries.begin(); it != loop; ++it)
        {
            add(*it, line.m_vLoopStack);
        }
    }
    // Behind a break the line's entries belong to the step of the iteration before.
    std::vector<LoopState> vPreviousIteration = line.m_vLoopStack;
    if (!bFirstIteration)
    {
        --vPreviousIteration.back().nIteration;
    }
    bool bBehindBreak = false;
    for (auto it = loop; it != entries.end(); ++it)
    {
        if (!bBehindBreak)
        {
            add(*it, line.m_vLoopStack);
            bBehindBreak = it->nOpCode == OPCODE_BREAK || it->nOpCode == OPCODE_BREAKC;
        }
        else if (!bFirstIteration)
        {
            add(*it, vPreviousIteration);
        }
    }
    return true;
}

template <class TVisit>
void CShaderDebuggerDXX_HLSLInstrumentation::VisitLiveEntries(uint32_t nLine, TVisit visit) const
{
    if (m_VariableRegisterTable.empty())
    {
        return;
    }
    const uint32_t nLast =
        std::min<uint32_t>(nLine, static_cast<uint32_t>(m_VariableRegisterTable.size() - 1));
    const std::string* pFunction = NULL;
    for (uint32_t n = nLast + 1; n > m_nFirstLine && n > 0; --n)
    {
        for (const CVariableRegisterMapping& mapping : m_VariableRegisterTable[n - 1])
        {
            if (pFunction == NULL)
            {
                pFunction = &mapping.strFunctionScope;
            }
            if (mapping.strFunctionScope == *pFunction && !mapping.vRegisters.empty())
            {
                visit(mapping);
            }
        }
    }
}

bool CShaderDebuggerDXX_HLSLInstrumentation::GetLiveVariables(VariableRegisterList& list,
                                                              uint32_t nLine) const
{
    list.clear();
    VisitLiveEntries(nLine,
                     [&list](const CVariableRegisterMapping& mapping)
                     {
                         for (const CVariableRegisterMapping& seen : list)
                         {
                             if (seen.strName == mapping.strName)
                             {
                                 return;
                             }
                         }
                         list.push_back(mapping);
                     });
    return !list.empty();
}

bool CShaderDebuggerDXX_HLSLInstrumentation::GetVariablesAtLine(VariableRegisterList& list,
                                                                uint32_t nLine) const
{
    if (nLine >= m_VariableRegisterTable.size())
    {
        list.clear();
        return false;
    }
    list = m_VariableRegisterTable[nLine];
    return true;
}

bool CShaderDebuggerDXX_HLSLInstrumentation::GetInputVariables(VariableRegisterList& list) const
{
    list = m_InputVariableRegisterTable;
    return !list.empty();
}

bool CShaderDebuggerDXX_HLSLInstrumentation::FindVariableName(std::string& strOut,
                                                              const Register& reg) const
{
    for (const CVariableRegisterMapping& mapping : m_InputVariableRegisterTable)
    {
        for (const VariableRegisterComponent& component : mapping.vRegisters)
        {
            if (component.reg.reg == reg.reg && (component.reg.mask & reg.mask) != 0)
            {
                strOut = mapping.strName;
                return true;
            }
        }
    }
    return false;
}

unsigned short
CShaderDebuggerDXX_HLSLInstrumentation::GetWrittenMask(const CVariableRegisterMapping& mapping,
                                                       uint32_t nLine) const
{
    unsigned short nMask = 0;
    VisitLiveEntries(nLine,
                     [&](const CVariableRegisterMapping& live)
                     {
                         if (live.strName == mapping.strName && live.strType == mapping.strType &&
                             live.strClass == mapping.strClass &&
                             live.strFunctionScope == mapping.strFunctionScope &&
                             live.uElements == mapping.uElements)
                         {
                             for (const VariableRegisterComponent& component : live.vRegisters)
                             {
                                 nMask |= component.mask;
                             }
                         }
                     });
    return nMask;
}

bool CShaderDebuggerDXX_HLSLInstrumentation::GetFlowLine(uint32_t nInstruction,
                                                         uint32_t& nOut) const
{
    const auto it = m_FlowLines.find(nInstruction);
    if (it == m_FlowLines.end())
    {
        return false;
    }
    nOut = it->second;
    return true;
}

void CShaderDebuggerDXX_HLSLInstrumentation::GetShaderKeywords(std::vector<std::string>& vKeywords)
{
    vKeywords = {g_opKeyWords, g_typeKeyWords, g_semanticsKeyWords, g_reservedKeyWords,
                 g_functionKeyWords};
}

void CShaderDebuggerDXX_HLSLInstrumentation::DumpVariableRegisterItem(
    uint32_t nLine, const CVariableRegisterMapping& mapping) const
{
    SDU_Log(5,
            "HLSL Line# %i, component %i: Var = (%s, %s, %s), opcode = %s, uElements = %d, "
            "uArrayIndices = %d\n",
            static_cast<int>(nLine), static_cast<int>(mapping.vRegisters.size()),
            mapping.strName.c_str(), mapping.strType.c_str(), mapping.strClass.c_str(),
            GetOpCodeName(mapping.nOpCode), static_cast<int>(mapping.uElements),
            static_cast<int>(mapping.uArrayIndices));
}

namespace
{
const char g_Dashes[] = "----------------------------------------------------------------------\n";
}

void CShaderDebuggerDXX_HLSLInstrumentation::DumpVariableRegisterTable() const
{
    SDU_SetContext(GetHost(), false, "", __FILE__, __LINE__, __func__);
    SDU_Log(5, "%s", g_Dashes);
    SDU_Log(5, "HLSL entry function '%s' at line %i\n", m_strEntryFunction.c_str(),
            static_cast<int>(m_nEntryLine));
    SDU_Log(5, "m_VariableRegisterTable size = %i\n",
            static_cast<int>(m_VariableRegisterTable.size()));
    for (size_t nLine = 0; nLine < m_VariableRegisterTable.size(); ++nLine)
    {
        for (const CVariableRegisterMapping& mapping : m_VariableRegisterTable[nLine])
        {
            DumpVariableRegisterItem(static_cast<uint32_t>(nLine), mapping);
        }
    }
    SDU_Log(5, "%s", g_Dashes);
}

void CShaderDebuggerDXX_HLSLInstrumentation::DumpInputVariableRegisterTable() const
{
    SDU_SetContext(GetHost(), false, "", __FILE__, __LINE__, __func__);
    SDU_Log(5, "%s", g_Dashes);
    SDU_Log(5, "m_InputVariableRegisterTable size = %i\n",
            static_cast<int>(m_InputVariableRegisterTable.size()));
    for (const CVariableRegisterMapping& mapping : m_InputVariableRegisterTable)
    {
        DumpVariableRegisterItem(0, mapping);
    }
    SDU_Log(5, "%s", g_Dashes);
}
} // namespace XAN_ShaderDebugger
