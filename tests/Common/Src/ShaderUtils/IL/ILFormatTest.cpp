#include "ShaderUtils/IL/ILFormat.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

using namespace ShaderUtils;

namespace
{
// The codes that neither table describes.
const std::set<unsigned int>& CodesWithoutRow()
{
    static const std::set<unsigned int> s_codes = []
    {
        const std::pair<unsigned int, unsigned int> ranges[] = {
            {21, 29},   {54, 55},   {59, 59},   {66, 67},   {74, 74},   {79, 80},   {93, 97},
            {120, 120}, {122, 124}, {127, 127}, {190, 190}, {202, 202}, {209, 211}, {213, 213},
            {215, 217}, {302, 303}, {309, 312}, {353, 353}, {468, 478}, {633, 640}, {693, 693}};
        std::set<unsigned int> codes;
        for (const auto& range : ranges)
        {
            for (unsigned int n = range.first; n <= range.second; ++n)
            {
                codes.insert(n);
            }
        }
        return codes;
    }();
    return s_codes;
}

ILOperandCounts Counts(unsigned int nToken, unsigned int nInstMod, ILDescStatus expected)
{
    ILOperandCounts counts{};
    EXPECT_EQ(expected, GetOperandCounts(nToken, nInstMod, counts)) << "token " << nToken;
    return counts;
}
} // namespace

TEST(ILFormatTest, TablesHoldEveryCodeExceptTheGapsOnce)
{
    ASSERT_EQ(734u, g_nILMainOpCodeTableSize);
    ASSERT_EQ(23u, g_nILDclOpCodeTableSize);
    EXPECT_STREQ("none", g_ILMainOpCodeTable[0].pName);

    for (unsigned int nCode = 0; nCode < IL_OP_LAST; ++nCode)
    {
        const bool bGap = CodesWithoutRow().count(nCode) != 0;
        EXPECT_EQ(bGap, FindOpCodeDesc(nCode) == nullptr) << nCode;
        EXPECT_EQ(bGap, std::string(GetOpCodeName(nCode)) == "ERROR") << nCode;
    }
    EXPECT_EQ(nullptr, FindOpCodeDesc(IL_OP_LAST));

    // A code stands in one table only, and mnemonics are unique.
    std::set<std::string> names;
    std::set<unsigned int> mainCodes;
    for (std::size_t i = 0; i < g_nILMainOpCodeTableSize; ++i)
    {
        EXPECT_TRUE(names.insert(g_ILMainOpCodeTable[i].pName).second);
        mainCodes.insert(g_ILMainOpCodeTable[i].nOpCode);
    }
    for (std::size_t i = 0; i < g_nILDclOpCodeTableSize; ++i)
    {
        EXPECT_TRUE(names.insert(g_ILDclOpCodeTable[i].pName).second);
        EXPECT_EQ(0u, mainCodes.count(g_ILDclOpCodeTable[i].nOpCode));
    }
}

TEST(ILFormatTest, FirstRowOfACodeNamesIt)
{
    EXPECT_STREQ("and", GetOpCodeName(172));
    EXPECT_STREQ("ubit_reverse", GetOpCodeName(301));
    EXPECT_STREQ("dfrexp", GetOpCodeName(191));
    EXPECT_STREQ("dldexp", GetOpCodeName(196));
    EXPECT_STREQ("invariant_move", GetOpCodeName(189));
    EXPECT_STREQ("f_2_u4", GetOpCodeName(336));
    EXPECT_STREQ("fence", GetOpCodeName(IL_OP_FENCE));
    EXPECT_STREQ("comment", GetOpCodeName(IL_OP_COMMENT));

    ASSERT_NE(nullptr, FindOpCodeDescByName("iand"));
    EXPECT_EQ(172u, FindOpCodeDescByName("iand")->nOpCode);
    EXPECT_EQ(nullptr, FindOpCodeDescByName("IAND"));
    EXPECT_EQ(nullptr, FindOpCodeDescByName(""));
}

TEST(ILFormatTest, ExtendedFormsAreABaseCodePlusOneControlBit)
{
    unsigned int nExtended = 0;
    for (std::size_t i = 0; i < g_nILMainOpCodeTableSize; ++i)
    {
        const ILOpCodeDesc& desc = g_ILMainOpCodeTable[i];
        if (desc.nOpCode <= IL_OPCODE_MASK)
        {
            continue;
        }
        ++nExtended;
        const ILOpCodeDesc* pBase = FindOpCodeDesc(GetILOpCode(desc.nOpCode));
        ASSERT_NE(nullptr, pBase) << desc.pName;
        EXPECT_EQ(pBase->operands, desc.operands) << desc.pName;
        const unsigned int nControl = GetILControl(desc.nOpCode);
        EXPECT_EQ(desc.nOpCode, pBase->nOpCode | (nControl << IL_CONTROL_SHIFT)) << desc.pName;
        EXPECT_EQ(0u, nControl & (nControl - 1)) << desc.pName;
        EXPECT_EQ(&desc, FindOpCodeDesc(desc.nOpCode));
        EXPECT_EQ(&desc, FindOpCodeDescByName(desc.pName));
    }
    EXPECT_EQ(77u, nExtended);
    EXPECT_EQ(0x10000086u, FindOpCodeDescByName("load_ext")->nOpCode);
}

TEST(ILFormatTest, RowsGiveDestinationSourcesAndTrailingTokens)
{
    // Codes grouped by their destination, source count and trailing tokens.
    struct Case
    {
        bool bDest;
        unsigned int nSrc;
        unsigned int nTrailing;
        std::vector<unsigned int> vOpCodes;
    };
    const Case cases[] = {
        {true, 0, 0, {IL_OP_BUFINFO, IL_OP_LANE_ID, IL_OP_DCL_INPUT}},
        {true, 1, 0, {IL_OP_LOAD, IL_OP_MOV}},
        {true, 2, 0, {IL_OP_SAMPLE_B, IL_OP_IADD, IL_OP_REFLECT}},
        {true, 3, 0, {IL_OP_SAMPLE_G, IL_OP_IMAD}},
        {true, 4, 0, {IL_OP_SAMPLE_C_G, IL_OP_UBIT_INSERT}},
        {false, 0, 0, {IL_OP_MDEF, IL_OP_RET_DYN, IL_OP_DCL_WAVESIZE}},
        {false, 0, 0, {IL_OP_DCL_NUM_THREAD_PER_GROUP}},
        {false, 0, 1, {IL_OP_CALL, IL_OP_FUNC, IL_OP_CASE, IL_OP_COMMENT, IL_OP_DCL_LDS}},
        {false, 0, 1, {IL_OP_DCL_RESOURCE, IL_OP_DCL_TYPED_UAV, IL_OP_DCL_MAX_THREAD_PER_GROUP}},
        {false, 0, 2, {IL_OP_DCL_TYPELESS_UAV}},
        {false, 1, 0, {IL_OP_IFNZ, IL_OP_DCL_INDEXED_TEMP_ARRAY, IL_OP_DCL_CB}},
        {false, 1, 1, {IL_OP_CALLNZ, IL_OP_CALL_LOGICALZ, IL_OP_CALL_LOGICALNZ}},
        {false, 1, 4, {IL_OP_DCL_LITERAL}},
        {false, 2, 0, {IL_OP_IFC}},
        {false, 3, 0, {IL_OP_UAV_CMP}},
    };
    for (const Case& c : cases)
    {
        for (unsigned int nOpCode : c.vOpCodes)
        {
            const ILOperandCounts counts = Counts(nOpCode, 0, IL_DESC_OK);
            EXPECT_EQ(c.bDest, counts.bHasDest) << nOpCode;
            EXPECT_EQ(c.nSrc, counts.nSrcCount) << nOpCode;
            EXPECT_EQ(c.bDest, HasDestReg(nOpCode, 0)) << nOpCode;
            EXPECT_EQ(c.nSrc, GetSrcRegCount(nOpCode, 0)) << nOpCode;
            EXPECT_EQ(c.nTrailing, GetTrailingTokenCount(nOpCode)) << nOpCode;
        }
    }
    // Control bits don't change the operands; only dcl_cb's primary modifier
    // does. They count the trailing tokens of dcl_num_thread_per_group.
    EXPECT_EQ(2u, GetSrcRegCount(IL_OP_IFC | (3u << IL_CONTROL_SHIFT), 0));
    EXPECT_EQ(0u, GetSrcRegCount(IL_OP_DCL_CB | IL_PRI_MODIFIER_PRESENT, 0));
    EXPECT_EQ(1u, GetSrcRegCount(IL_OP_DCL_CB | IL_SEC_MODIFIER_PRESENT, 0));
    EXPECT_EQ(3u, GetTrailingTokenCount(IL_OP_DCL_NUM_THREAD_PER_GROUP | (3u << 16)));
    EXPECT_EQ(0u, GetTrailingTokenCount(IL_OP_MOV | (5u << 16)));
}

TEST(ILFormatTest, McallCountsComeFromInstMod)
{
    ILOperandCounts counts = Counts(IL_OP_MCALL, 0x00010002, IL_DESC_OK);
    EXPECT_TRUE(counts.bHasDest);
    EXPECT_EQ(2u, counts.nSrcCount);
    counts = Counts(IL_OP_MCALL, 0x00000002, IL_DESC_OK);
    EXPECT_FALSE(counts.bHasDest);
    EXPECT_EQ(2u, counts.nSrcCount);
    counts = Counts(IL_OP_MCALL, 0x00020003, IL_DESC_BAD_MCALL);
    EXPECT_FALSE(counts.bHasDest);
    EXPECT_EQ(3u, counts.nSrcCount);
    EXPECT_FALSE(HasDestReg(IL_OP_MCALL, 0x00020003));
    EXPECT_EQ(0u, GetSrcRegCount(IL_OP_MCALL, 0x00020003));
}

TEST(ILFormatTest, UnknownCodesAndTheNoneRowHaveNoOperands)
{
    Counts(21, 0, IL_DESC_UNKNOWN_OPCODE);
    Counts(IL_OP_LAST, 0, IL_DESC_UNKNOWN_OPCODE);
    Counts(0xFFFF, 0, IL_DESC_UNKNOWN_OPCODE);
    Counts(IL_OP_UNKNOWN, 0, IL_DESC_UNKNOWN_KIND);
    EXPECT_FALSE(HasDestReg(IL_OP_UNKNOWN, 0));
    EXPECT_EQ(0u, GetSrcRegCount(213, 0));
}

TEST(ILFormatTest, TempNumbersAreSeventeenBitsSigned)
{
    const unsigned int nTemp = IL_REGTYPE_TEMP << IL_REG_TYPE_SHIFT;
    EXPECT_EQ(-1, GetILRegNumber(nTemp | IL_REG_SIGN | 0xFFFF));
    EXPECT_EQ(-65536, GetILRegNumber(nTemp | IL_REG_SIGN));
    EXPECT_EQ(65535, GetILRegNumber(nTemp | 0xFFFF));

    EXPECT_EQ(nTemp | IL_REG_SIGN | 0xFFFF, SetILRegNumber(nTemp, -1));
    EXPECT_EQ(nTemp | 5, SetILRegNumber(nTemp | IL_REG_SIGN | 0xFFFF, 5));
    for (int n : {-65536, -65535, -2, -1, 0, 1, 65535})
    {
        EXPECT_EQ(n, GetILRegNumber(SetILRegNumber(nTemp, n))) << n;
    }
    // Other types have no sign: the bit neither reads nor gets written.
    const unsigned int nLiteral = IL_REGTYPE_LITERAL << IL_REG_TYPE_SHIFT;
    EXPECT_EQ(0xFFFF, GetILRegNumber(nLiteral | IL_REG_SIGN | 0xFFFF));
    EXPECT_EQ(nLiteral | 0xFFFF, SetILRegNumber(nLiteral, -1));
}

TEST(ILFormatTest, RegisterTypeNamesParseBackInTheirOrder)
{
    EXPECT_EQ(nullptr, GetILRegTypeName(29));
    EXPECT_EQ(nullptr, GetILRegTypeName(IL_REGTYPE_LAST));
    EXPECT_EQ(nullptr, GetILRegTypeName(1000));
    EXPECT_STREQ("o", GetILRegTypeName(IL_REGTYPE_OUTPUT));
    EXPECT_EQ(IL_REGTYPE_LEGACY_INPUT, ParseILRegTypeName("v"));
    EXPECT_EQ(IL_REGTYPE_LEGACY_OUTPUT, ParseILRegTypeName("o"));
    for (unsigned int nType = 0; nType < IL_REGTYPE_LAST; ++nType)
    {
        if (nType == 29 || nType == IL_REGTYPE_INPUT || nType == IL_REGTYPE_OUTPUT)
        {
            continue;
        }
        ASSERT_NE(nullptr, GetILRegTypeName(nType)) << nType;
        EXPECT_EQ(nType, ParseILRegTypeName(GetILRegTypeName(nType))) << nType;
    }
    EXPECT_EQ(IL_REGTYPE_LAST, ParseILRegTypeName("R"));
    EXPECT_EQ(IL_REGTYPE_LAST, ParseILRegTypeName("r0"));
    EXPECT_EQ(IL_REGTYPE_LAST, ParseILRegTypeName(""));
}
