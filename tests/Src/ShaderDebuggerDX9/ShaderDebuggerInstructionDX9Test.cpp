#include "ShaderDebuggerDX9/ShaderDebuggerInstructionDX9.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

using namespace XAN_ShaderDebugger;

namespace
{
const uint32_t NONE = 0xFFFFFFFF;
// Not asked: the tokens of a comment and the literals and usage of declarations aren't registers.
const uint32_t SKIP = 0xFFFFFFFE;

// What the decoder must make of the first instruction of a token stream.
struct CodecCase
{
    const char* pName;
    std::vector<uint32_t> vTokens;
    uint32_t nOpcode;
    uint32_t nLength;
    uint32_t nParamCount;
    bool bExecutable;
    // RT_* and number of the destination, NONE without one.
    uint32_t nDestType;
    uint32_t nDestNumber;
    // RT_* and number of source 0, NONE where GetSrcRegister(0) refuses.
    uint32_t nSrcType;
    uint32_t nSrcNumber;
    // GetSrcParam(0), NONE where it refuses.
    uint32_t dwSrcParam0;
};

const uint32_t END = 0x0000FFFF;

const CodecCase s_Cases[] = {
    {"version", {0xFFFF0300, END}, D3DSIO_PS_VERSION, 1, 0, false, NONE, 0, NONE, 0, NONE},
    {"comment", {0x0003FFFE, 1, 2, 3, END}, D3DSIO_COMMENT, 4, 0, false, NONE, 0, NONE, 0, SKIP},
    {"mov r0, c0",
     {0x02000001, 0x800F0000, 0xA0E40000, END},
     1,
     3,
     1,
     true,
     RT_Temp,
     0,
     RT_ConstantBuffer,
     0,
     0xA0E40000},
    {"def c5",
     {0x05000051, 0xA00F0005, 0x3F800000, 0x40000000, 0x40400000, 0x40800000, END},
     D3DSIO_DEF,
     6,
     4,
     false,
     RT_ConstantBuffer,
     5,
     SKIP,
     0,
     0x3F800000},
    {"dcl without register",
     {0x0100001F, 0x80000000, END},
     D3DSIO_DCL,
     2,
     1,
     false,
     NONE,
     0,
     SKIP,
     0,
     0x80000000},
    {"dcl v1",
     {0x0200001F, 0x80000000, 0x90070001, END},
     D3DSIO_DCL,
     3,
     1,
     false,
     RT_Input,
     1,
     SKIP,
     0,
     0x80000000},
    // The predicate token stands behind the destination.
    {"(p0) mov r0, c0",
     {0x13000001, 0x800F0000, 0xB0E41000, 0xA0E40000, END},
     1,
     4,
     1,
     true,
     RT_Temp,
     0,
     RT_ConstantBuffer,
     0,
     0xA0E40000},
    // The relative-address token is kept and doesn't count as a parameter.
    {"mov r0, c0[aL]",
     {0x03000001, 0x800F0000, 0xA0E42000, 0xF0E40800, END},
     1,
     4,
     1,
     true,
     RT_Temp,
     0,
     RT_ConstantBuffer,
     0,
     0xA0E42000},
    {"add r2, c0[aL], r1",
     {0x04000002, 0x800F0002, 0xA0E42000, 0xF0E40800, 0x80E40001, END},
     2,
     5,
     2,
     true,
     RT_Temp,
     2,
     RT_ConstantBuffer,
     0,
     0xA0E42000},
    // Raw type 12 is the third bank of float constants.
    {"mov r0, c4101",
     {0x02000001, 0x800F0000, 0xC0E40805, END},
     1,
     3,
     1,
     true,
     RT_Temp,
     0,
     RT_ConstantBuffer,
     4101,
     0xC0E40805},
    {"mov oC0, r0",
     {0x02000001, 0x800F0800, 0x80E40000, END},
     1,
     3,
     1,
     true,
     RT_Output,
     0,
     RT_Temp,
     0,
     0x80E40000},
    {"rep i0",
     {0x01000026, 0xF0E40000, END},
     D3DSIO_REP,
     2,
     1,
     true,
     NONE,
     0,
     RT_IntConstant,
     0,
     0xF0E40000},
    {"loop aL, i1",
     {0x0200001B, 0xF0E40800, 0xF0E40001, END},
     D3DSIO_LOOP,
     3,
     1,
     true,
     NONE,
     0,
     RT_IntConstant,
     1,
     0xF0E40001},
    {"if b0",
     {0x01000028, 0xE0E40800, END},
     D3DSIO_IF,
     2,
     1,
     true,
     NONE,
     0,
     RT_BoolConstant,
     0,
     0xE0E40800},
    {"ifc_gt r0.x, r1.x",
     {0x02010029, 0x80000000, 0x80000001, END},
     D3DSIO_IFC,
     3,
     2,
     true,
     NONE,
     0,
     RT_Temp,
     0,
     0x80000000},
    {"else", {0x0000002A, END}, D3DSIO_ELSE, 1, 0, true, NONE, 0, NONE, 0, NONE},
    {"end", {END}, D3DSIO_END, 1, 0, false, NONE, 0, NONE, 0, NONE},
};

class ShaderDebuggerInstructionDX9Test : public ::testing::TestWithParam<CodecCase>
{
};

TEST_P(ShaderDebuggerInstructionDX9Test, DecodesAndWritesBackUnchanged)
{
    const CodecCase& c = GetParam();
    std::unique_ptr<CShaderDebuggerInstructionDX9> pInstr(new CShaderDebuggerInstructionDX9(NULL));
    CInputTokenStream<uint32_t> in(NULL, c.vTokens.data(), c.vTokens.size());
    ASSERT_TRUE(pInstr->ReadInstruction(in));
    EXPECT_EQ(c.nOpcode, pInstr->GetOpcode());
    EXPECT_EQ(c.nLength, pInstr->GetLength());
    EXPECT_EQ(c.nParamCount, pInstr->GetParamCount());
    EXPECT_EQ(c.bExecutable, pInstr->IsExecutable());

    Register dest;
    EXPECT_EQ(c.nDestType != NONE, pInstr->IsInstructionWithDest());
    EXPECT_EQ(c.nDestType != NONE, pInstr->GetDestRegister(dest));
    if (c.nDestType != NONE)
    {
        EXPECT_EQ(c.nDestType, dest.reg.type);
        EXPECT_EQ(static_cast<int>(c.nDestNumber), dest.reg.number);
        EXPECT_EQ(NULL, dest.reg.pIndexRegister);
    }

    Register src;
    if (c.nSrcType != SKIP)
    {
        EXPECT_EQ(c.nSrcType != NONE, pInstr->GetSrcRegister(0, src));
    }
    if (c.nSrcType != NONE && c.nSrcType != SKIP)
    {
        EXPECT_EQ(c.nSrcType, src.reg.type);
        EXPECT_EQ(static_cast<int>(c.nSrcNumber), src.reg.number);
    }
    EXPECT_FALSE(pInstr->GetSrcRegister(c.nParamCount, src));

    uint32_t dwParam = 1;
    if (c.dwSrcParam0 != SKIP)
    {
        EXPECT_EQ(c.dwSrcParam0 != NONE, pInstr->GetSrcParam(0, dwParam));
        EXPECT_EQ(c.dwSrcParam0 != NONE ? c.dwSrcParam0 : 0u, dwParam);
    }
    dwParam = 1;
    EXPECT_FALSE(pInstr->GetSrcParam(9, dwParam));
    EXPECT_EQ(0u, dwParam);

    // The stream stands at the next instruction, and the tokens go out as they came in.
    EXPECT_EQ(c.nLength, in.GetTokensRead());
    COutputTokenStream<uint32_t> out(NULL, 1);
    ASSERT_TRUE(pInstr->WriteInstruction(out));
    EXPECT_EQ(std::vector<uint32_t>(c.vTokens.begin(), c.vTokens.begin() + c.nLength),
              std::vector<uint32_t>(out.GetStream(), out.GetStream() + out.GetTokensWritten()));
    // ReadToken walks the tokens behind the first.
    uint32_t dwToken = 0;
    for (uint32_t i = 1; i < c.nLength; ++i)
    {
        ASSERT_TRUE(pInstr->ReadToken(dwToken));
        EXPECT_EQ(c.vTokens[i], dwToken);
    }
    EXPECT_FALSE(pInstr->ReadToken(dwToken));
}

INSTANTIATE_TEST_SUITE_P(Cases, ShaderDebuggerInstructionDX9Test, ::testing::ValuesIn(s_Cases),
                         [](const ::testing::TestParamInfo<CodecCase>& info)
                         {
                             std::string strName;
                             for (const char* p = info.param.pName; *p != '\0'; ++p)
                             {
                                 strName += isalnum(static_cast<unsigned char>(*p)) ? *p : '_';
                             }
                             return strName;
                         });

TEST(ShaderDebuggerRegisterTokenDX9Test, TokensEncodeTypeNumberAndModifiers)
{
    // Type 8 has only bit 3 set, which lands at bit 11.
    EXPECT_EQ(0x800F0801u, DestRegister(8, 1, 0xF0000));
    EXPECT_EQ(0xA0FF0005u, SrcRegister(2, 5, 0xFF0000));
    EXPECT_EQ(0xF00F0003u, DestRegister(D3DSPR_CONSTINT, 3, 0xF0000));
    for (uint32_t nType = 0; nType < 32; ++nType)
    {
        const uint32_t dwToken = SrcRegister(nType, 0x7FF, 0xE40000);
        EXPECT_EQ(nType >= 11 && nType <= 13 ? 2u : nType, GetRegisterType(dwToken)) << nType;
    }
    EXPECT_EQ(4101u, GetRegisterNumber(0xC0E40805));
    EXPECT_EQ(2048u + 7, GetRegisterNumber(SrcRegister(11, 7, 0)));
    EXPECT_EQ(6144u + 7, GetRegisterNumber(SrcRegister(13, 7, 0)));

    const RegisterType types[] = {
        RT_Temp,    RT_Input,          RT_ConstantBuffer, RT_Resource,       RT_Output,
        RT_Output,  RT_Output,         RT_IntConstant,    RT_Output,         RT_Output,
        RT_Sampler, RT_ConstantBuffer, RT_ConstantBuffer, RT_ConstantBuffer, RT_BoolConstant,
        RT_Unknown, RT_Unknown,        RT_Unknown,        RT_Unknown,        RT_Unknown};
    for (uint32_t nType = 0; nType < sizeof(types) / sizeof(types[0]); ++nType)
    {
        EXPECT_EQ(types[nType], GetRegisterTypeSD(nType)) << nType;
    }
}

TEST(ShaderDebuggerInstructionDX9StreamTest, StreamsEndWhereTheyEnd)
{
    std::unique_ptr<CShaderDebuggerInstructionDX9> pInstr(new CShaderDebuggerInstructionDX9(NULL));
    // Version, then end, then nothing.
    const uint32_t dwShader[] = {0xFFFF0300, END};
    CInputTokenStream<uint32_t> in(NULL, dwShader, 2);
    ASSERT_TRUE(pInstr->ReadInstruction(in));
    EXPECT_EQ(D3DSIO_PS_VERSION, pInstr->GetOpcode());
    ASSERT_TRUE(pInstr->ReadInstruction(in));
    EXPECT_EQ(D3DSIO_END, pInstr->GetOpcode());
    EXPECT_EQ(1u, pInstr->GetLength());
    EXPECT_FALSE(pInstr->ReadInstruction(in));

    // A comment longer than the stream, and an instruction cut behind its destination.
    const uint32_t dwCut[] = {0x0005FFFE, 1, 2};
    CInputTokenStream<uint32_t> cut(NULL, dwCut, 3);
    EXPECT_FALSE(pInstr->ReadInstruction(cut));
    const uint32_t dwCutMov[] = {0x02000001, 0x800F0000};
    CInputTokenStream<uint32_t> cutMov(NULL, dwCutMov, 2);
    ASSERT_TRUE(pInstr->ReadInstruction(cutMov));
    EXPECT_EQ(2u, pInstr->GetLength());
    EXPECT_EQ(0u, pInstr->GetParamCount());
    EXPECT_FALSE(pInstr->ReadInstruction(cutMov));

    // A run of parameter tokens longer than any instruction stops at the token array's end.
    std::vector<uint32_t> vRun(70000, 0x80E40000);
    vRun[0] = 0x00000001;
    CInputTokenStream<uint32_t> run(NULL, vRun.data(), vRun.size());
    ASSERT_TRUE(pInstr->ReadInstruction(run));
    EXPECT_EQ(65536u, pInstr->GetLength());
}
} // namespace
