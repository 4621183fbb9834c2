#include "ShaderDebuggerGL/ShaderDebuggerGL.h"
#include "DX9TestDevice.h"
#include "ShaderDebuggerDX9/ShaderDebuggerDX9.h"
#include "ShaderDebuggerGL/ShaderDebuggerShaderGL.h"

#include <gtest/gtest.h>

#include <memory>

using namespace XAN_ShaderDebugger;
using namespace XAN_Test;

namespace
{
const char s_Source[] = "void main() { gl_FragColor = vec4(1.0); }";

TEST(ShaderDebuggerFactoryGraphicsTest, TypesZeroAndThreeGiveTheDX9AndGLDebuggers)
{
    CGraphicsTestHost dx9Host(new CDX9TestDevice(2, 2));
    EXPECT_NE(nullptr, dynamic_cast<CShaderDebuggerDX9*>(
                           IShaderDebugger::CreateShaderDebugger(0, &dx9Host)));
    CGraphicsTestHost glHost(new CDX9TestDevice(2, 2));
    EXPECT_NE(nullptr,
              dynamic_cast<CShaderDebuggerGL*>(IShaderDebugger::CreateShaderDebugger(3, &glHost)));
}

TEST(ShaderDebuggerGLTest, OnlyTheKeywordsWork)
{
    CGraphicsTestHost host(new CDX9TestDevice(2, 2));
    IShaderDebugger* pDebugger = IShaderDebugger::CreateShaderDebugger(3, &host);
    ASSERT_NE(nullptr, pDebugger);
    const uint32_t nWorkSize[5] = {2, 2, 2, 1, 1};
    EXPECT_FALSE(pDebugger->StartDebugging(s_Source, sizeof(s_Source), NULL, nWorkSize, 0));
    EXPECT_FALSE(pDebugger->IsDebugging());
    EXPECT_FALSE(pDebugger->Step());
    EXPECT_FALSE(pDebugger->Draw());
    EXPECT_FALSE(pDebugger->AddBreakPointAtLineNumber(3, 0, NULL));
    EXPECT_EQ(nullptr, pDebugger->GetExecMaskBuffer());
    std::string strText = "old";
    EXPECT_FALSE(pDebugger->GetShaderText(s_Source, sizeof(s_Source), NULL, strText, 4));
    ShaderInfo info;
    EXPECT_FALSE(pDebugger->GetShaderInfo(s_Source, sizeof(s_Source), &info));

    // The same five lists from the debugger without a shader and from a shader of each type.
    const char* beginnings[] = {
        "1 attribute const uniform varying centroid break continue do for while if else in out "
        "inout true false invariant discard return sizeof cast namespace using flat smooth "
        "noperspective lowp mediump highp precision switch case default ",
        "8 mat2 mat3 mat4 mat2x2 mat2x3 mat2x4 mat3x2 mat3x3 mat3x4 mat4x2 mat4x3 mat4x4 float int "
        "void bool vec2 vec3 vec4 ivec2 ivec3 ivec4 bvec2 bvec3 bvec4 struct uint uvec2 uvec3 "
        "uvec4 sampler1D",
        "6 abs acos all any asin atan ceil clamp cos cross degrees dFdx dFdy distance dot equal "
        "exp exp2 faceforward floor fract ftransform fwidth greaterThan greaterThanEqual "
        "inversesqrt length lessThan lessThanEqual log log2 matrixCompMult max min mix ",
        "4 texture1D texture2D textureCube texture3D shadow1D", "10 gl_"};
    std::vector<std::string> vFromDebugger;
    ASSERT_TRUE(pDebugger->GetShaderKeywords(vFromDebugger, 1));
    std::vector<std::string> vFromShader;
    ASSERT_TRUE(pDebugger->GetShaderKeywords(s_Source, sizeof(s_Source), NULL, vFromShader, 0));
    EXPECT_EQ(vFromDebugger, vFromShader);
    ASSERT_EQ(5u, vFromDebugger.size());
    for (size_t i = 0; i < 5; ++i)
    {
        EXPECT_EQ(0u, vFromDebugger[i].find(beginnings[i])) << vFromDebugger[i].substr(0, 60);
    }
    EXPECT_NE(std::string::npos, vFromDebugger[1].find(" usampler2DArray "));
    EXPECT_NE(std::string::npos, vFromDebugger[2].find(" outerProduct transpose "));
    EXPECT_NE(std::string::npos, vFromDebugger[3].find(" shadow2DArray "));
    EXPECT_FALSE(pDebugger->GetShaderKeywords(s_Source, sizeof(s_Source), NULL, vFromShader, 1));
    EXPECT_TRUE(vFromShader.empty());

    CShaderDebuggerShaderGL shader(static_cast<CShaderDebuggerGL*>(pDebugger), s_Source,
                                   sizeof(s_Source));
    EXPECT_EQ(4u, shader.GetDefaultDebugMode());
    EXPECT_TRUE(shader.SetDebugMode(0));
    EXPECT_FALSE(shader.SetDebugMode(1));
}
} // namespace
