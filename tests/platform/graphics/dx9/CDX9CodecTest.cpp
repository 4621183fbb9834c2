#include "CDX9Assembler.h"
#include "CDX9Disassembler.h"
#include "DX9Corpus.h"

#include <gtest/gtest.h>

using namespace XAN_Platform;
using namespace XAN_Test;

namespace
{
struct STokenCase
{
    const char* pVersion;
    const char* pLine;
    std::vector<std::uint32_t> vTokens; // between the version and the end token
};

// Bit layouts worked out by hand, so that the assembler and the disassembler
// can't agree on a wrong one.
const STokenCase g_TokenCases[] = {
    {"ps_3_0", "", {}},
    {"ps_3_0", "mov r0, c0", {0x02000001, 0x800F0000, 0xA0E40000}},
    {"ps_3_0",
     "def c5, 1, 2, 3.0, 4",
     {0x05000051, 0xA00F0005, 0x3F800000, 0x40000000, 0x40400000, 0x40800000}},
    {"ps_3_0",
     "def c1, -0.5, 0x7fc00001, 0, -0",
     {0x05000051, 0xA00F0001, 0xBF000000, 0x7FC00001, 0, 0x80000000}},
    {"ps_3_0", "defi i1, 3, -1, 1, 0", {0x05000030, 0xF00F0001, 3, 0xFFFFFFFF, 1, 0}},
    {"ps_3_0", "defb b0, true", {0x0200002F, 0xE00F0800, 1}},
    {"ps_3_0", "dcl_texcoord0 v0.xy", {0x0200001F, 0x80000005, 0x90030000}},
    {"ps_3_0", "dcl_color1 v1", {0x0200001F, 0x8001000A, 0x900F0001}},
    {"ps_3_0", "dcl_2d s0", {0x0200001F, 0x90000000, 0xA00F0800}},
    {"ps_3_0", "dcl_cube", {0x0100001F, 0x98000000}},
    {"ps_2_0", "dcl t0.xy", {0x0200001F, 0x80000000, 0xB0030000}},
    {"ps_3_0", "dcl vPos.xy", {0x0200001F, 0x80000000, 0x90031000}},
    {"ps_3_0",
     "(p0) add r0.x, r1, c2",
     {0x14000002, 0x80010000, 0xB0E41000, 0x80E40001, 0xA0E40002}},
    {"ps_3_0", "(!p0.y) mov r1, r2", {0x13000001, 0x800F0001, 0xBD551000, 0x80E40002}},
    {"ps_3_0", "mov r0, c[aL + 2].x", {0x03000001, 0x800F0000, 0xA0002002, 0xF0E40800}},
    {"ps_3_0", "mov r0, c[a0.x]", {0x03000001, 0x800F0000, 0xA0E42000, 0xB0000000}},
    {"ps_3_0", "mov r0, c4101", {0x02000001, 0x800F0000, 0xC0E40805}},
    {"ps_3_0", "mov_sat_pp oC0, -r1_abs", {0x02000001, 0x803F0800, 0x8CE40001}},
    {"ps_3_0", "mul r0.yw, r1.xy, -r2.wzyx", {0x03000005, 0x800A0000, 0x80540001, 0x811B0002}},
    {"ps_3_0", "if_gt r0.x, c0.y", {0x02010029, 0x80000000, 0xA0550000}},
    {"ps_3_0", "if b0", {0x01000028, 0xE0E40800}},
    {"ps_3_0", "break_ge r1.y, v0.z", {0x0203002D, 0x80550001, 0x90AA0000}},
    {"ps_3_0", "setp_gt p0, v0, c0", {0x0301005E, 0xB00F1000, 0x90E40000, 0xA0E40000}},
    {"ps_3_0", "rep i0", {0x01000026, 0xF0E40000}},
    {"ps_3_0", "loop aL, i1", {0x0200001B, 0xF0E40800, 0xF0E40001}},
    {"ps_3_0", "else", {0x0000002A}},
    {"ps_3_0", "endif", {0x0000002B}},
    {"ps_3_0", "texldp r0, v0, s1", {0x03010042, 0x800F0000, 0x90E40000, 0xA0E40801}},
    {"ps_3_0", "/*abc*/", {0x0001FFFE, 0x00636261}},
    {"ps_3_0", "/*abcd*/", {0x0002FFFE, 0x64636261, 0}},
    {"ps_3_0", "/*#0x1 0xffffffff*/", {0x0002FFFE, 1, 0xFFFFFFFF}},
    {"ps_1_1", "add r0, r1, c0", {0x00000002, 0x800F0000, 0x80E40001, 0xA0E40000}},
    {"ps_1_1", "tex t0", {0x00000042, 0xB00F0000}},
    {"ps_1_1", "+mul_x2 r0.w, 1-t0, v0_bx2", {0x40000005, 0x81080000, 0xB6E40000, 0x94E40000}},
};

TEST(CDX9CodecTest, LinesMakeTheirTokensAndComeBack)
{
    for (const STokenCase& test : g_TokenCases)
    {
        SCOPED_TRACE(test.pLine);
        const std::string strText = std::string(test.pVersion) + "\n" + test.pLine + "\n";
        std::vector<std::uint32_t> vTokens = AssembleDX9OrFail(strText);
        ASSERT_GE(vTokens.size(), 2u);
        EXPECT_EQ(0x0000FFFFu, vTokens.back());
        const std::vector<std::uint32_t> vBody(vTokens.begin() + 1, vTokens.end() - 1);
        EXPECT_EQ(test.vTokens, vBody);
        CDX9Disassembler disassembler;
        std::string strDisassembly;
        ASSERT_TRUE(disassembler.Disassemble(vTokens.data(), vTokens.size(), strDisassembly))
            << disassembler.GetError();
        EXPECT_EQ(vTokens, AssembleDX9OrFail(strDisassembly)) << strDisassembly;
    }
}

TEST(CDX9CodecTest, BadTextNamesItsLine)
{
    const struct
    {
        const char* pText;
        const char* pError;
    } cases[] = {
        {"", "line 1: no version"},
        {"// only a remark\nmov r0, c0\n", "line 2: expected the version, found 'mov r0, c0'"},
        {"ps_3_0\nmovv r0, c0\n", "line 2: unknown instruction 'movv'"},
        {"ps_3_0\n\nmov r0\n", "line 3: mov with 0 sources"},
        {"ps_3_0\nadd r0, r1, r2, r3\n", "line 2: add with 3 sources"},
        {"ps_3_0\nmov x0, c0\n", "line 2: unknown register 'x0'"},
        {"ps_3_0\nmov r0, c9000\n", "line 2: bad register number in 'c9000'"},
        {"ps_3_0\nmov r0.yx, c0\n", "line 2: bad write mask in 'r0.yx'"},
        {"ps_3_0\nmov r0, c0.xq\n", "line 2: bad swizzle '.xq'"},
        {"ps_3_0\nmov r0, 1-c0_abs\n", "line 2: bad source modifier in '1-c0_abs'"},
        {"ps_3_0\nmov r0, c[aL + x]\n", "line 2: bad relative address in 'c[aL + x]'"},
        {"ps_3_0\nmov_foo r0, c0\n", "line 2: unknown modifier '_foo' in 'mov_foo'"},
        {"ps_3_0\nendif_sat\n", "line 2: endif takes no modifiers"},
        {"ps_3_0\ndef c0, 1, 2, x, 4\n", "line 2: bad value 'x' for def"},
        {"ps_3_0\ndefi i0, 1, 2, 3\n", "line 2: defi with 3 values"},
        {"ps_3_0\n(p0) def c0, 1, 2, 3, 4\n", "line 2: def can't be predicated"},
        {"ps_3_0\nmov r0, c0 /* open\n", "line 2: a comment without its end"},
        {"preshader\n0x1 zz\n//\nps_3_0\n", "line 2: bad token 'zz'"},
        {"preshader\n0x1\n", "line 3: the preshader block has no end"},
        {"ps_3_0\nvs_3_0\n", "line 2: unknown instruction 'vs_3_0'"},
    };
    for (const auto& test : cases)
    {
        CDX9Assembler assembler;
        std::vector<std::uint32_t> vTokens{42};
        EXPECT_FALSE(assembler.Assemble(test.pText, vTokens)) << test.pText;
        EXPECT_EQ(test.pError, assembler.GetError()) << test.pText;
        EXPECT_EQ(std::vector<std::uint32_t>{42}, vTokens) << "the output is left alone on failure";
    }
}

TEST(CDX9CodecTest, BadTokensAreRefusedWithTheirPlace)
{
    const struct
    {
        std::vector<std::uint32_t> vTokens;
        const char* pError;
    } cases[] = {
        {{}, "token 0: the shader is empty"},
        {{0x12345678, 0xFFFF}, "token 0: 0x12345678 is no version token"},
        {{0xFFFF0300, 0x02000001, 0x800F0000, 0xA0E40000}, "token 4: no end token"},
        {{0xFFFF0300, 0x03000001, 0x800F0000, 0xA0E40000, 0xFFFF},
         "token 1: the length field says 3 tokens, 2 follow"},
        {{0xFFFF0300, 0x000000C8, 0xFFFF}, "token 1: unknown opcode 200"},
        {{0xFFFF0300, 0x800F0000, 0xFFFF},
         "token 1: 0x800f0000 is a parameter token where an instruction starts"},
        {{0xFFFF0300, 0x03000001, 0x800F0000, 0xA0E42000, 0xFFFF},
         "token 4: the relative-address token is missing"},
        {{0xFFFF0300, 0x0005FFFE, 1, 2, 0xFFFF}, "token 1: comment of 5 tokens runs past the end"},
        {{0xFFFF0300, 0x04000051, 0xA00F0000, 0, 0}, "token 1: the instruction runs past the end"},
        {{0xFFFF0300, 0x01000001, 0x800F0000, 0xFFFF}, "token 1: mov with 0 sources"},
        {{0xFFFF0300, 0x02070029, 0x80000000, 0xA0550000, 0xFFFF}, "token 1: unknown comparison 7"},
        {{0xFFFF0300, 0x0000002A, 0xFFFF, 0xDEAD}, nullptr}, // what follows the end is not read
    };
    for (const auto& test : cases)
    {
        CDX9Disassembler disassembler;
        std::string strText;
        const bool bResult =
            disassembler.Disassemble(test.vTokens.data(), test.vTokens.size(), strText);
        EXPECT_EQ(test.pError == nullptr, bResult) << disassembler.GetError();
        EXPECT_EQ(test.pError == nullptr ? "" : test.pError, disassembler.GetError());
    }
}
} // namespace
