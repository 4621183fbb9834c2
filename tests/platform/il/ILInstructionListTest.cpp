// Every row of the instruction list through every part that reads it: the
// names, the assembler, the decoder, the disassembler and the engine's table.
#include "CILAssembler.h"
#include "CILDisassembler.h"
#include "CILExecutor.h"
#include "ILCorpus.h"
#include "ILTextForms.h"
#include "ShaderUtils/IL/ILFormat.h"
#include "ShaderUtils/IL/ILInstructionLayout.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string_view>

using namespace ShaderUtils;
using namespace XAN_Platform;

namespace
{
struct SRow
{
    unsigned int nOpCode;
    const char* pMnemonic;
    bool bEngine; // the row names an operation of the engine
};

// Whether the Engine column names an operation rather than a marker.
constexpr bool IsOperation(std::string_view engine)
{
    return engine != "NONE" && engine != "LOADER" && engine != "IGNORED";
}

const SRow g_Rows[] = {
#define IL_OPCODE(Name, Value, Mnemonic, Operands, Trailing, Modifiers, Text, Engine)              \
    {IL_OP_##Name, Mnemonic, IsOperation(#Engine)},
#include "ShaderUtils/IL/ILInstructions.def"
};

// The codes of which some row names an operation; a second name of a code
// (iand beside and) shares the operation of the first.
bool HasEngineRow(unsigned int nOpCode)
{
    for (const SRow& row : g_Rows)
    {
        if (row.nOpCode == nOpCode && row.bEngine)
        {
            return true;
        }
    }
    return false;
}

class ILInstructionListTest : public testing::TestWithParam<unsigned int>
{
};

TEST_P(ILInstructionListTest, RowAssemblesDecodesAndDisassembles)
{
    const SRow& row = g_Rows[GetParam()];
    const ILOpCodeDesc* pDesc = FindOpCodeDescByName(row.pMnemonic);
    ASSERT_NE(nullptr, pDesc);
    EXPECT_EQ(row.nOpCode, pDesc->nOpCode);
    EXPECT_EQ(HasEngineRow(row.nOpCode), CILExecutor::FindOperation(row.nOpCode) != nullptr);
    const unsigned int nCode = GetILOpCode(row.nOpCode);
    if (!XAN_Test::IsILStatementOpCode(nCode))
    {
        return;
    }

    const std::string strStatement = XAN_Test::MakeILStatement(*pDesc, GetParam());
    CILAssembler assembler;
    std::vector<unsigned int> vTokens;
    ASSERT_TRUE(assembler.Assemble("il_cs_2_0\n" + strStatement, vTokens))
        << strStatement << ": " << assembler.GetError().ToString();

    ILInstructionLayout inst;
    ASSERT_LT(2u, vTokens.size());
    ASSERT_EQ(IL_DECODE_OK, DecodeILInstruction(&vTokens[2], vTokens.size() - 2, inst));
    EXPECT_EQ(nCode, inst.nOpCode);
    EXPECT_EQ(vTokens.size() - 2, inst.nLength);
    EXPECT_EQ(row.nOpCode, vTokens[2] & (row.nOpCode | IL_OPCODE_MASK));

    CILDisassembler disassembler;
    std::string strText;
    ASSERT_TRUE(disassembler.Disassemble(vTokens.data(), vTokens.size(), strText))
        << disassembler.GetError().ToString();
    // A second name prints as the first; an extended form by its own name.
    const ILTextForm& form = GetILTextForm(nCode);
    const std::string strPrinted =
        row.nOpCode > IL_OPCODE_MASK ? form.pExtendedName : GetOpCodeName(nCode);
    EXPECT_EQ(0u, strText.find("il_cs_2_0\n" + strPrinted)) << strText;
    std::vector<unsigned int> vAgain;
    EXPECT_TRUE(assembler.Assemble(strText, vAgain)) << assembler.GetError().ToString();
    EXPECT_EQ(vTokens, vAgain) << strText;
}

INSTANTIATE_TEST_SUITE_P(EveryRow, ILInstructionListTest,
                         testing::Range(0u, static_cast<unsigned int>(std::size(g_Rows))),
                         [](const testing::TestParamInfo<unsigned int>& info)
                         { return std::string(g_Rows[info.param].pMnemonic); });

} // namespace
