#include "ILTextForms.h"
#include "ShaderUtils/IL/ILFormat.h"
#include "ShaderUtils/IL/ILShaderUtils.h"

#include <gtest/gtest.h>

using namespace ShaderUtils;
using namespace XAN_Platform;

namespace
{
unsigned int FieldBits(const ILControlField& field)
{
    return ((1u << field.nWidth) - 1) << field.nShift;
}
} // namespace

// Each opcode-token bit has one spelling, or the disassembly of one token
// would assemble to another.
TEST(ILTextFormsTest, EveryBitOfAnOpcodeTokenHasOneSpelling)
{
    for (unsigned int nOpCode = 0; nOpCode < IL_OP_LAST; ++nOpCode)
    {
        const ILTextForm& form = GetILTextForm(nOpCode);
        unsigned int nSpelled = form.nFreeBits;
        EXPECT_EQ(0u, nSpelled & form.nExtendedBit) << nOpCode;
        nSpelled |= form.nExtendedBit;
        for (unsigned int i = 0; i < form.nFields; ++i)
        {
            EXPECT_EQ(0u, nSpelled & FieldBits(*form.ppFields[i])) << nOpCode;
            nSpelled |= FieldBits(*form.ppFields[i]);
        }
        const bool bLabel = form.shape == IL_SHAPE_MDEF || form.shape == IL_SHAPE_MCALL ||
                            form.shape == IL_SHAPE_COUNT || form.shape == IL_SHAPE_CONTROL_VALUE;
        if (bLabel)
        {
            EXPECT_EQ(0u, nSpelled & 0x3FFF0000u) << nOpCode;
            nSpelled |= 0x3FFF0000u;
        }
        const unsigned int nFlags = IL_PRI_MODIFIER_PRESENT | IL_SEC_MODIFIER_PRESENT;
        EXPECT_EQ(form.bModifierFlags, ILShaderUtils::HasModifierTokens(nOpCode)) << nOpCode;
        nSpelled |= form.bModifierFlags ? nFlags : 0;
        if (FindOpCodeDesc(nOpCode) != nullptr && form.shape != IL_SHAPE_COMMENT)
        {
            EXPECT_EQ(0xFFFF0000u, nSpelled) << nOpCode;
        }
    }
}

// The assembler finds a mnemonic by its longest known prefix; a suffix
// must never extend a mnemonic into another one.
TEST(ILTextFormsTest, NoSuffixTurnsAMnemonicIntoAnother)
{
    const char* const pCommonKeys[] = {"control", "pri", "sec",    "data",
                                       "out",     "in",  "stride", "length"};
    for (std::size_t i = 0; i < g_nILMainOpCodeTableSize + g_nILDclOpCodeTableSize; ++i)
    {
        const ILOpCodeDesc& desc = i < g_nILMainOpCodeTableSize
                                       ? g_ILMainOpCodeTable[i]
                                       : g_ILDclOpCodeTable[i - g_nILMainOpCodeTableSize];
        const ILTextForm& form = GetILTextForm(GetILOpCode(desc.nOpCode));
        for (unsigned int n = 0; n < form.nFields; ++n)
        {
            EXPECT_EQ(nullptr,
                      FindOpCodeDescByName(std::string(desc.pName) + "_" + form.ppFields[n]->pKey))
                << desc.pName;
        }
        for (const char* pKey : pCommonKeys)
        {
            EXPECT_EQ(nullptr, FindOpCodeDescByName(std::string(desc.pName) + "_" + pKey))
                << desc.pName;
        }
    }
}

TEST(ILTextFormsTest, RegisterTypeNamesOfTheText)
{
    EXPECT_STREQ("v_in", GetILTextRegTypeName(IL_REGTYPE_INPUT));
    EXPECT_STREQ("o_out", GetILTextRegTypeName(IL_REGTYPE_OUTPUT));
    for (unsigned int nType = 0; nType < IL_REGTYPE_LAST; ++nType)
    {
        const char* pName = GetILTextRegTypeName(nType);
        if (nType == 29)
        {
            EXPECT_EQ(nullptr, pName);
            continue;
        }
        ASSERT_NE(nullptr, pName) << nType;
        EXPECT_EQ(nType, ParseILTextRegTypeName(pName)) << pName;
    }
    EXPECT_EQ(IL_REGTYPE_LAST, ParseILTextRegTypeName("v_out"));
    EXPECT_STREQ("cs", GetILShaderTypeName(IL_SHADER_COMPUTE));
    EXPECT_EQ(nullptr, GetILShaderTypeName(GetILShaderTypeCount()));
}
