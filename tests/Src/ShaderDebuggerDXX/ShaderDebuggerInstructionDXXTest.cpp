#include "ShaderDebuggerDXX/ShaderDebuggerInstructionDXX.h"

#include "Src/ShaderDebuggerTestDoubles.h"

#include "CTpfAssembler.h"
#include "CTpfDecoder.h"
#include "TpfCorpus.h"
#include "TpfFormat.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>

using namespace XAN_ShaderDebugger;
using XAN_Test::CRecordingHost;
using XAN_Test::TpfCorpusProgram;

namespace
{
// The instruction texts of golden/codec_cases.txt by case name, assembled by the toolkit.
std::map<std::string, std::vector<std::uint32_t>> LoadCodecCases()
{
    std::map<std::string, std::vector<std::uint32_t>> cases;
    std::ifstream file(std::string(XAN_TEST_DATA_DIR) + "/codec_cases.txt");
    for (std::string strLine; std::getline(file, strLine);)
    {
        const size_t nBar = strLine.find('|');
        if (strLine.empty() || strLine[0] == '#' || nBar == std::string::npos)
        {
            continue;
        }
        const std::string strName = strLine.substr(0, strLine.find(' '));
        XAN_Platform::CTpfAssembler assembler;
        EXPECT_TRUE(assembler.AssembleStatement(strLine.substr(nBar + 2), cases[strName]))
            << strName << ": " << assembler.GetError();
    }
    return cases;
}

std::vector<std::uint32_t> Written(const CShaderDebuggerInstructionDXX& instruction)
{
    COutputTokenStream<std::uint32_t> stream(NULL, 16);
    EXPECT_TRUE(instruction.WriteInstruction(stream));
    return std::vector<std::uint32_t>(stream.GetStream(),
                                      stream.GetStream() + stream.GetTokensWritten());
}

class InstructionDXXTest : public ::testing::Test
{
protected:
    InstructionDXXTest() : m_Instruction(m_Host.AttachDebugger()) {}

    bool Decode(const std::vector<std::uint32_t>& vTokens)
    {
        m_vTokens = vTokens;
        CInputTokenStream<std::uint32_t> stream(NULL, m_vTokens.data(), m_vTokens.size());
        return m_Instruction.ReadInstruction(stream);
    }

    bool HasAnyAssert() const
    {
        for (const std::string& strLine : m_Host.m_vLines)
        {
            if (strLine.find("Assert:") != std::string::npos)
            {
                return true;
            }
        }
        return false;
    }

    CRecordingHost m_Host;
    CShaderDebuggerInstructionDXX m_Instruction;
    std::vector<std::uint32_t> m_vTokens;
};

Register Reg(RegisterType type, int number, unsigned short mask)
{
    return Register(RegisterID(type, number, 0, NULL), mask);
}

// The codec cases: where operands stand, what they decode to, and replacements that
// change the length.
TEST_F(InstructionDXXTest, CodecCases)
{
    const std::map<std::string, std::vector<std::uint32_t>> cases = LoadCodecCases();
    struct Case
    {
        const char* pName;
        std::uint32_t nDest0;     // place of the first destination, 0 for none
        std::uint32_t nDestCount; // GetDestRegCount
        Register dest;            // the working destination
        std::uint32_t nSrc;       // source checked
        Register src;
    } table[] = {
        {"extended", 2, 1, Reg(RT_Temp, 1, COMP_All), 1, Reg(RT_Resource, 0, COMP_All)},
        {"imul_null", 0, 1, Reg(RT_Temp, 1, COMP_x), 1, Reg(RT_Temp, 3, COMP_x)},
        {"odepth", 1, 1, Reg(RT_oDepth, 0, COMP_x), 0, Reg(RT_Temp, 2, COMP_y)},
        {"cb_index", 1, 1, Reg(RT_Temp, 0, COMP_All), 0, Reg(RT_ConstantBuffer, 2, COMP_x)},
        {"swizzle", 1, 1, Reg(RT_Temp, 0, COMP_All), 0, Reg(RT_Temp, 1, COMP_xy)},
        {"immediate", 1, 1, Reg(RT_Temp, 0, COMP_x), 0, Register(g_Reg_NULL.reg, COMP_x)},
        {"bufinfo", 1, 1, Reg(RT_Temp, 0, COMP_x), 0, Reg(RT_Resource, 0, COMP_All)},
        {"ishl", 1, 1, Reg(RT_Temp, 0, COMP_x), 1, Register(g_Reg_NULL.reg, COMP_x)},
        {"negated", 1, 1, Reg(RT_Temp, 0, COMP_x), 1, Reg(RT_ConstantBuffer, 0, COMP_y)},
        {"thread_id", 1, 1, Reg(RT_Temp, 0, COMP_x), 0, Reg(RT_vAbsTid, 0, COMP_x)},
    };
    for (const Case& c : table)
    {
        SCOPED_TRACE(c.pName);
        ASSERT_TRUE(cases.count(c.pName));
        ASSERT_TRUE(Decode(cases.at(c.pName)));
        EXPECT_EQ(m_vTokens.size(), m_Instruction.GetLength());
        EXPECT_EQ(c.nDest0, m_Instruction.GetDestRegOffset(0));
        EXPECT_EQ(c.nDestCount, m_Instruction.GetDestRegCount());
        Register dest;
        EXPECT_TRUE(c.nDest0 != 0 ? m_Instruction.GetDestRegister(dest)
                                  : m_Instruction.GetDestRegister2(dest));
        EXPECT_EQ(c.dest, dest);
        Register src;
        EXPECT_TRUE(m_Instruction.GetSrcRegister(c.nSrc, src));
        EXPECT_EQ(c.src, src);
        EXPECT_EQ(m_vTokens, Written(m_Instruction));
        EXPECT_FALSE(HasAnyAssert());
    }

    // oDepth -> r3 grows by the number word, in token 0 as well; r3 -> null shrinks it again.
    ASSERT_TRUE(Decode(cases.at("odepth")));
    ASSERT_TRUE(m_Instruction.SetDestRegister(RegisterID(RT_Temp, 3, 0, NULL), COMP_x));
    EXPECT_EQ(cases.at("odepth_r3"), Written(m_Instruction));
    EXPECT_EQ(Reg(RT_Temp, 2, COMP_y), m_Instruction.GetSrcRegister(0));
    ASSERT_TRUE(m_Instruction.SetDestRegister(RegisterID(RT_Null, 0, 0, NULL), 0));
    EXPECT_EQ(cases.at("r3_null"), Written(m_Instruction));
    EXPECT_EQ(Reg(RT_Temp, 2, COMP_y), m_Instruction.GetSrcRegister(0));
    EXPECT_FALSE(m_Instruction.SetDestRegister2(RegisterID(RT_Temp, 1, 0, NULL), COMP_x));
    EXPECT_FALSE(HasAnyAssert());

    // A customdata block of 500 tokens reads whole, writes whole and survives a copy.
    std::vector<std::uint32_t> vBlock(500, 7);
    vBlock[0] = DXX_OPCODE_CUSTOMDATA;
    vBlock[1] = 500;
    ASSERT_TRUE(Decode(vBlock));
    EXPECT_EQ(500u, m_Instruction.GetLength());
    EXPECT_EQ(vBlock, Written(m_Instruction));
    const CShaderDebuggerInstructionDXX copy(m_Instruction);
    EXPECT_EQ(vBlock, Written(copy));
    std::uint32_t dwToken = 0;
    ASSERT_TRUE(m_Instruction.ReadToken(dwToken));
    EXPECT_EQ(7u, dwToken);
}

// The return type in the opcode token decides what resinfo, bufinfo and sample_info give.
TEST_F(InstructionDXXTest, DataTypeOfQueriesFollowsTheReturnType)
{
    const std::map<std::string, std::vector<std::uint32_t>> cases = LoadCodecCases();
    const std::pair<const char*, std::uint32_t> table[] = {
        {"resinfo", 11},    {"resinfo_f", 8},    {"bufinfo_u", 11}, {"bufinfo", 8},
        {"sampleinfo", 11}, {"sampleinfo_f", 8}, {"ishl", 10},      {"odepth", 4},
    };
    for (const auto& c : table)
    {
        EXPECT_EQ(c.second, CShaderDebuggerInstructionDXX::GetDataType(cases.at(c.first)[0]))
            << c.first;
    }
    EXPECT_EQ(0u, CShaderDebuggerInstructionDXX::GetDataType(208));
}

// An instruction of 127 tokens has no room for a number word; one of 126 takes it.
TEST_F(InstructionDXXTest, SetDestRegisterAt127Tokens)
{
    for (std::uint32_t nLength : {126u, 127u})
    {
        // mov oDepth, l(...) padded by a source whose relative index chain fills the length
        std::vector<std::uint32_t> vTokens(nLength, 0);
        vTokens[0] = 54 | (nLength << 24);
        vTokens[1] = 12 << 12 | 1;
        vTokens[2] = 0x00004001;
        Decode(vTokens);
        const bool bGrown = m_Instruction.SetDestRegister(RegisterID(RT_Temp, 3, 0, NULL), COMP_x);
        EXPECT_EQ(nLength < 127, bGrown) << nLength;
        EXPECT_EQ(bGrown ? nLength + 1 : nLength, m_Instruction.GetLength());
    }
}

// Spot checks of the table's columns, and the toolkit's independent list agreeing with it on
// every opcode both know.
TEST(OpCodeTableDXX, ColumnsAgreeWithTheToolkit)
{
    for (std::uint32_t nOpCode : {38u, 77u, 78u, 81u, 132u, 133u, 142u, 158u, 159u, 162u})
    {
        EXPECT_EQ(2u, GetOpCodeDestRegCount(nOpCode)) << nOpCode;
    }
    std::uint32_t nTwo = 0;
    for (std::uint32_t nOpCode = 0; nOpCode < DXX_OPCODE_COUNT; ++nOpCode)
    {
        nTwo += GetOpCodeDestRegCount(nOpCode) == 2 ? 1 : 0;
    }
    EXPECT_EQ(10u, nTwo);
    for (std::uint32_t nOpCode : {107u, 112u, 207u})
    {
        EXPECT_EQ(0u, GetOpCodeShaderMask(nOpCode) | GetOpCodeCategory(nOpCode) |
                          GetOpCodeDataType(nOpCode) | GetOpCodeDestRegCount(nOpCode) |
                          GetOpCodeSrcRegCount(nOpCode));
        EXPECT_FALSE(IsDeclaration(nOpCode) || IsInputDeclaration(nOpCode) ||
                     IsOutputDeclaration(nOpCode));
        EXPECT_STREQ("", GetOpCodeKeywords(nOpCode));
    }
    EXPECT_EQ(65535u, GetOpCodeSrcRegCount(145));
    EXPECT_EQ(65535u, GetOpCodeSrcRegCount(146));
    const std::pair<std::uint32_t, std::uint32_t> masks[] = {
        {0, 63},   {11, 1},   {69, 1},   {9, 4},    {143, 4},  {113, 8}, {152, 8},
        {155, 32}, {173, 32}, {190, 32}, {156, 33}, {103, 30}, {72, 63}};
    for (const auto& m : masks)
    {
        EXPECT_EQ(m.second, GetOpCodeShaderMask(m.first)) << m.first;
    }
    EXPECT_STREQ("Unknown OpCode", GetOpCodeName(208));
    EXPECT_EQ(0u, GetOpCodeSrcRegCount(208));

    unsigned int nRows = 0;
    const XAN_Platform::TpfOpcodeInfo* pRows = XAN_Platform::GetTpfOpcodes(nRows);
    for (unsigned int n = 0; n < nRows; ++n)
    {
        const XAN_Platform::TpfOpcodeInfo& row = pRows[n];
        EXPECT_STREQ(row.pName, GetOpCodeName(row.nOpcode));
        const std::string strShape = row.pShape;
        // A declaration's column counts its operands by rules of its own.
        if (strShape.find_first_not_of("ds") == std::string::npos && !IsDeclaration(row.nOpcode))
        {
            EXPECT_EQ(strShape.size(),
                      GetOpCodeDestRegCount(row.nOpcode) + GetOpCodeSrcRegCount(row.nOpcode))
                << row.pName;
        }
    }
}

TEST(OperandDXX, EncodeAndLength)
{
    EXPECT_EQ(0x0000D000u, EncodeOperand(13, 0xF0));
    EXPECT_EQ(0x001000F2u, EncodeOperand(0, 0xF0));
    EXPECT_EQ(0x00102012u, EncodeOperand(2, 0x10));
    EXPECT_EQ(0x0011E000u, EncodeOperand(30, 0));
    // r1.x; l(1,2,3,4); x0[r1.x + 2]; the last cut short; an index representation of 5
    const std::uint32_t tokens[] = {0x0010000a, 1,          0x00004002, 1, 2,          3,
                                    4,          0x0620300a, 0,          2, 0x0010000a, 1};
    EXPECT_EQ(2u, GetOperandLength(tokens, 2));
    EXPECT_EQ(5u, GetOperandLength(tokens + 2, 5));
    EXPECT_EQ(5u, GetOperandLength(tokens + 7, 5));
    EXPECT_EQ(0u, GetOperandLength(tokens + 7, 4));
    const std::uint32_t dwBadRep = 0x0150100a;
    EXPECT_EQ(0u, GetOperandLength(&dwBadRep, 1));
}

// The registers that a program's declarations name, read with the codec.
DXXDeclaredRegisters DeclaredRegisters(const std::vector<std::uint32_t>& vProgram)
{
    DXXDeclaredRegisters registers;
    CInputTokenStream<std::uint32_t> stream(NULL, vProgram.data() + 2, vProgram.size() - 2);
    CShaderDebuggerInstructionDXX instruction(NULL);
    while (instruction.ReadInstruction(stream))
    {
        const std::uint32_t nOpCode = instruction.GetOpCode();
        const std::uint32_t nNumber = instruction.GetLength() > 2 ? instruction.GetTokens()[2] : 0;
        if (nOpCode == 104)
        {
            instruction.ReadToken(registers.nTemps);
        }
        else if (nOpCode == 161 || nOpCode == 162)
        {
            registers.vResources.push_back(nNumber);
        }
        else if (IsUAVDeclaration(nOpCode))
        {
            registers.vUAVs.push_back(nNumber);
        }
        else if (nOpCode == 159 || nOpCode == 160)
        {
            registers.vGroupShared.push_back(nNumber);
        }
    }
    return registers;
}

// Keyword list 5 names the registers a corpus shader declares; the instruction lists hold the
// rows of the stage only.
TEST(KeywordsDXX, LastListNamesTheDeclaredRegisters)
{
    std::vector<std::uint32_t> vProgram;
    for (const TpfCorpusProgram& program : XAN_Test::LoadTpfCorpus())
    {
        vProgram = program.strName == "cs_5_0_groupshared.tpf" ? program.vTokens : vProgram;
    }
    ASSERT_FALSE(vProgram.empty());
    const std::vector<std::string> vLists =
        GetShaderKeywordsDXX(ST_Compute, 5, DeclaredRegisters(vProgram));
    ASSERT_EQ(5u, vLists.size());
    EXPECT_EQ("r0 r1 r2 null l icb this vThreadID vThreadGroupID vThreadIDInGroupFlattened "
              "vThreadIDInGroup t0 t1 u0 u1 u2 g0 g1 ",
              vLists[4]);
    EXPECT_NE(std::string::npos, vLists[0].find("cs_5_0 "));
    EXPECT_NE(std::string::npos, vLists[1].find("store_raw "));
    EXPECT_NE(std::string::npos, vLists[2].find("imm_atomic_iadd "));
    EXPECT_NE(std::string::npos, vLists[3].find("dadd "));
    EXPECT_EQ(std::string::npos, vLists[1].find(" sample "));
    const std::vector<std::string> vPixel =
        GetShaderKeywordsDXX(ST_Pixel, 4, DXXDeclaredRegisters());
    EXPECT_EQ("null l icb ", vPixel[4]);
    EXPECT_NE(std::string::npos, vPixel[1].find("sample "));
    EXPECT_EQ(std::string::npos, vPixel[2].find("atomic"));
}

class CorpusDXXTest : public ::testing::TestWithParam<TpfCorpusProgram>
{
};

// Every corpus instruction: the same length and tokens as the toolkit reads, operands where
// the toolkit finds them and ending at the instruction's end, each decoding as the toolkit
// reads it, and the whole program written back byte for byte.
TEST_P(CorpusDXXTest, DecodesAsTheToolkitReads)
{
    const TpfCorpusProgram& program = GetParam();
    ASSERT_FALSE(program.vTokens.empty()) << program.strError;
    XAN_Platform::TpfProgram decoded;
    XAN_Platform::CTpfDecoder decoder;
    ASSERT_TRUE(decoder.DecodeProgram(program.vTokens.data(), program.vTokens.size(), decoded));
    CInputTokenStream<std::uint32_t> stream(NULL, program.vTokens.data() + 2,
                                            program.vTokens.size() - 2);
    COutputTokenStream<std::uint32_t> output(NULL, 16);
    CShaderDebuggerInstructionDXX instruction(NULL);
    size_t nCompared = 0;
    for (const XAN_Platform::TpfInstruction& expected : decoded.vInstructions)
    {
        SCOPED_TRACE(std::string(GetOpCodeName(expected.nOpcode)) + " at token " +
                     std::to_string(expected.nOffset));
        ASSERT_TRUE(instruction.ReadInstruction(stream));
        ASSERT_TRUE(instruction.WriteInstruction(output));
        ASSERT_EQ(expected.vTokens.size(), instruction.GetLength());
        const std::vector<const XAN_Platform::TpfOperand*> vOperands = expected.GetOperands();
        const std::uint32_t nDests = GetOpCodeDestRegCount(expected.nOpcode);
        const std::uint32_t nSrcs = GetOpCodeSrcRegCount(expected.nOpcode);
        if (!expected.bDecoded || vOperands.size() != expected.vItems.size() ||
            vOperands.size() != nDests + nSrcs)
        {
            continue;
        }
        ++nCompared;
        for (std::uint32_t n = 0; n < nDests; ++n)
        {
            const std::uint32_t nPlace = instruction.GetDestRegOffset(n);
            EXPECT_TRUE(nPlace == 0 || nPlace == vOperands[n]->nOffset) << "destination " << n;
        }
        for (std::uint32_t n = 0; n < nSrcs; ++n)
        {
            const XAN_Platform::TpfOperand& operand = *vOperands[nDests + n];
            const std::uint32_t nPlace = instruction.GetSrcRegOffset(n);
            ASSERT_EQ(operand.nOffset, nPlace) << "source " << n;
            const std::uint32_t nEnd = nPlace + GetOperandLength(instruction.GetTokens() + nPlace,
                                                                 instruction.GetLength() - nPlace);
            EXPECT_EQ(n + 1 < nSrcs ? vOperands[nDests + n + 1]->nOffset : instruction.GetLength(),
                      nEnd);
            Register reg;
            const bool bImmediate = operand.nType == 4 || operand.nType == 5;
            const RegisterType type = OperandTypeToRegisterType(operand.nType);
            EXPECT_EQ(type != RT_Unknown && operand.nForm != 3, instruction.GetSrcRegister(n, reg));
            if (type == RT_Unknown)
            {
                continue;
            }
            EXPECT_EQ(bImmediate ? g_Reg_NULL.reg.type : type, reg.reg.type) << "source " << n;
            EXPECT_EQ(bImmediate ? (operand.nForm == 2 ? COMP_All : COMP_x)
                                 : operand.GetComponentMask(),
                      reg.mask)
                << "source " << n;
            if (!operand.vIndices.empty() &&
                (operand.vIndices[0].nRep == 0 || operand.vIndices[0].nRep == 3))
            {
                EXPECT_EQ(static_cast<int>(operand.vIndices[0].nImmediate), reg.reg.number);
            }
        }
        if (nSrcs == 0 && nDests > 0)
        {
            const std::uint32_t nLast = vOperands.back()->nOffset;
            EXPECT_EQ(instruction.GetLength(),
                      nLast + GetOperandLength(instruction.GetTokens() + nLast,
                                               instruction.GetLength() - nLast));
        }
    }
    EXPECT_GT(nCompared, decoded.vInstructions.size() / 2);
    EXPECT_FALSE(instruction.ReadInstruction(stream));
    EXPECT_EQ(std::vector<std::uint32_t>(program.vTokens.begin() + 2, program.vTokens.end()),
              std::vector<std::uint32_t>(output.GetStream(),
                                         output.GetStream() + output.GetTokensWritten()));
}

INSTANTIATE_TEST_SUITE_P(Corpus, CorpusDXXTest, ::testing::ValuesIn(XAN_Test::LoadTpfCorpus()),
                         [](const ::testing::TestParamInfo<TpfCorpusProgram>& info)
                         { return XAN_Test::TpfCorpusTestName(info.param); });
} // namespace
