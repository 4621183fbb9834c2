#include "ShaderDebuggerGL/ShaderDebuggerShaderGL.h"

#include "ShaderDebuggerDX9/ShaderDebuggerKeywords.h"
#include "ShaderDebuggerGL/ShaderDebuggerGL.h"

namespace XAN_ShaderDebugger
{
namespace
{
const unsigned int DEBUG_MODE_ASM = 1;
const unsigned int DEBUG_MODE_SOURCE = 4;
} // namespace

CShaderDebuggerShaderGL::CShaderDebuggerShaderGL(CShaderDebuggerGL* pDebugger,
                                                 const void* pShaderData, size_t nSize)
    : CShaderDebuggerShader(pDebugger, pShaderData, nSize)
{
}

void CShaderDebuggerShaderGL::AppendKeywords(std::vector<std::string>& vKeywords)
{
    vKeywords.push_back(MakeKeywordEntry(
        KC_Keyword,
        "attribute const uniform varying centroid break continue do for while if else in out "
        "inout true false invariant discard return sizeof cast namespace using flat smooth "
        "noperspective lowp mediump highp precision switch case default layout patch sample "
        "subroutine coherent volatile restrict readonly writeonly buffer shared "));
    vKeywords.push_back(MakeKeywordEntry(
        KC_Type,
        "mat2 mat3 mat4 mat2x2 mat2x3 mat2x4 mat3x2 mat3x3 mat3x4 mat4x2 mat4x3 mat4x4 float int "
        "void bool vec2 vec3 vec4 ivec2 ivec3 ivec4 bvec2 bvec3 bvec4 struct uint uvec2 uvec3 "
        "uvec4 sampler1D sampler2D sampler3D samplerCube sampler1DShadow sampler2DShadow "
        "samplerCubeShadow sampler1DArray sampler2DArray sampler1DArrayShadow "
        "sampler2DArrayShadow isampler1D isampler2D isampler3D isamplerCube isampler1DArray "
        "isampler2DArray usampler1D usampler2D usampler3D usamplerCube usampler1DArray "
        "usampler2DArray "));
    vKeywords.push_back(MakeKeywordEntry(
        KC_Function,
        "abs acos all any asin atan ceil clamp cos cross degrees dFdx dFdy distance dot equal "
        "exp exp2 faceforward floor fract ftransform fwidth greaterThan greaterThanEqual "
        "inversesqrt length lessThan lessThanEqual log log2 matrixCompMult max min mix mod "
        "noise1 noise2 noise3 noise4 normalize not notEqual pow radians reflect refract sign sin "
        "smoothstep sqrt step tan acosh asinh atanh cosh sinh tanh round roundEven trunc modf "
        "isinf isnan determinant inverse outerProduct transpose "));
    vKeywords.push_back(MakeKeywordEntry(
        KC_Texture,
        "texture1D texture2D textureCube texture3D shadow1D shadow2D texture1DProj texture2DProj "
        "texture3DProj texture1DLod texture2DLod texture3DLod textureCubeLod texture1DProjLod "
        "texture2DProjLod texture3DProjLod shadow1DProj shadow2DProj shadow1DLod shadow2DLod "
        "shadow1DProjLod shadow2DProjLod texture textureProj textureLod textureOffset texelFetch "
        "texelFetchOffset textureGrad textureSize shadow1DArray shadow2DArray "));
    vKeywords.push_back(MakeKeywordEntry(
        KC_Variable,
        "gl_Position gl_PointSize gl_ClipVertex gl_ClipDistance gl_VertexID gl_InstanceID "
        "gl_FragCoord gl_FrontFacing gl_FragColor gl_FragData gl_FragDepth gl_PointCoord "
        "gl_PrimitiveID gl_Layer gl_Color gl_SecondaryColor gl_Normal gl_Vertex gl_MultiTexCoord0 "
        "gl_MultiTexCoord1 gl_MultiTexCoord2 gl_MultiTexCoord3 gl_MultiTexCoord4 "
        "gl_MultiTexCoord5 gl_MultiTexCoord6 gl_MultiTexCoord7 gl_FogCoord gl_FrontColor "
        "gl_BackColor gl_FrontSecondaryColor gl_BackSecondaryColor gl_TexCoord gl_FogFragCoord "
        "gl_ModelViewMatrix gl_ProjectionMatrix gl_ModelViewProjectionMatrix gl_NormalMatrix "
        "gl_TextureMatrix gl_MaxLights gl_MaxTextureCoords gl_MaxDrawBuffers "));
}

bool CShaderDebuggerShaderGL::StartDebugging(unsigned int)
{
    return false;
}

bool CShaderDebuggerShaderGL::GetShaderText(std::string&, unsigned int)
{
    return false;
}

bool CShaderDebuggerShaderGL::GetShaderKeywords(std::vector<std::string>& vKeywords,
                                                unsigned int nType)
{
    vKeywords.clear();
    if (nType == 0)
    {
        nType = GetDefaultDebugMode() == DEBUG_MODE_SOURCE ? DEBUG_MODE_SOURCE : DEBUG_MODE_ASM;
    }
    if (nType != DEBUG_MODE_SOURCE)
    {
        return false;
    }
    AppendKeywords(vKeywords);
    return true;
}

unsigned int CShaderDebuggerShaderGL::GetDefaultDebugMode()
{
    return DEBUG_MODE_SOURCE;
}

bool CShaderDebuggerShaderGL::SetDebugMode(unsigned int nMode)
{
    return nMode == 0 || nMode == DEBUG_MODE_SOURCE;
}

bool CShaderDebuggerShaderGL::Step()
{
    return false;
}

bool CShaderDebuggerShaderGL::Back()
{
    return false;
}

bool CShaderDebuggerShaderGL::Run()
{
    return false;
}

bool CShaderDebuggerShaderGL::RunBack()
{
    return false;
}

bool CShaderDebuggerShaderGL::Execute(bool)
{
    return false;
}

bool CShaderDebuggerShaderGL::Draw()
{
    return false;
}

unsigned int CShaderDebuggerShaderGL::GetInstructionFromLine(unsigned int)
{
    return 0;
}

unsigned int CShaderDebuggerShaderGL::GetLineFromInstruction(unsigned int)
{
    return 0;
}

unsigned int CShaderDebuggerShaderGL::GetCurrentLine()
{
    return m_nCurrentSourceInstruction.m_nPos;
}

unsigned int CShaderDebuggerShaderGL::GetNextLine()
{
    return m_nNextSourceInstruction.m_nPos;
}

unsigned int CShaderDebuggerShaderGL::GetPreviousLine()
{
    return 0;
}
} // namespace XAN_ShaderDebugger
