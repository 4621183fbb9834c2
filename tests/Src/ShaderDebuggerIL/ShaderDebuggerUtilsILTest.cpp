#include "ShaderDebuggerIL/ShaderDebuggerUtilsIL.h"

#include "APIConsistencyLog.h"
#include "Src/LogTail.h"

#include "ShaderUtils/IL/ILFormat.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

using namespace XAN_ShaderDebugger;

namespace
{
class CConsistencyLogTail : public XAN_Test::CLogTail<APIConsistencyLog>
{
public:
    CConsistencyLogTail() : CLogTail("XANOpenCLDebugAPIConsistency.log") {}
};

const unsigned int IL_REGTYPE_LAST = ShaderUtils::IL_REGTYPE_LAST;

bool IsILType(unsigned int nILType)
{
    return nILType < IL_REGTYPE_LAST && nILType != 29;
}

// A source modifier from four swizzles, x first.
unsigned int Swizzle(unsigned int x, unsigned int y, unsigned int z, unsigned int w)
{
    return x | (y << 4) | (z << 8) | (w << 12);
}
} // namespace

// Every IL type converts one to one, and its name parses back ("v" and "o" to the first of their
// two types).
TEST(ShaderDebuggerUtilsILTest, TypeConversionsAndNamesAreOneToOneOverTheILTypes)
{
    std::set<RegisterType> seen;
    for (unsigned int nILType = 0; nILType < IL_REGTYPE_LAST; ++nILType)
    {
        if (!IsILType(nILType))
        {
            continue;
        }
        SCOPED_TRACE(nILType);
        const RegisterType type = ILtoSDRegisterType(nILType);
        EXPECT_NE(RT_Unknown, type);
        EXPECT_TRUE(seen.insert(type).second);
        EXPECT_EQ(nILType, SDtoILRegisterType(type));
        const std::string strName = GetILRegisterType(nILType);
        EXPECT_EQ(ShaderUtils::GetILRegTypeName(nILType), strName);
        const unsigned int nExpected = nILType == 33 ? 5 : (nILType == 34 ? 11 : nILType);
        EXPECT_EQ(nExpected, ParseILRegisterType(strName));
    }
    EXPECT_EQ(62u, seen.size());

    // Every RT_* value without an IL type answers IL_REGTYPE_LAST, and nothing else does.
    CConsistencyLogTail tail;
    unsigned int nWithoutILType = 0;
    for (unsigned int nType = 0; nType <= RT_vLineStipple + 1; ++nType)
    {
        const RegisterType type = static_cast<RegisterType>(nType);
        if (seen.count(type) == 0)
        {
            EXPECT_EQ(IL_REGTYPE_LAST, SDtoILRegisterType(type)) << nType;
            ++nWithoutILType;
        }
    }
    EXPECT_EQ(
        nWithoutILType,
        tail.Count("Assert: SDtoILRegisterType SDU_Assert( !(regType == IL_REGTYPE_LAST) )\n"));
    EXPECT_EQ(RT_IndexableTemp, ILtoSDRegisterType(30));
    EXPECT_EQ(RT_CONST_BUFF, ILtoSDRegisterType(31));
    EXPECT_EQ(RT_Temp, ILtoSDRegisterType(4));
    EXPECT_EQ(IL_REGTYPE_LAST, SDtoILRegisterType(RT_PrivateUAVAccess));

    CConsistencyLogTail unknown;
    EXPECT_EQ(RT_Unknown, ILtoSDRegisterType(29));
    EXPECT_EQ(RT_Unknown, ILtoSDRegisterType(63));
    EXPECT_EQ(RT_Unknown, ILtoSDRegisterType(0xFFFFFFFF));
    EXPECT_EQ(
        3u, unknown.Count("Assert: ILtoSDRegisterType SDU_Assert( !(rtRegType == RT_Unknown) )\n"));
}

TEST(ShaderDebuggerUtilsILTest, TypeNamesInBothDirections)
{
    EXPECT_EQ("o", GetILRegisterType(34));
    EXPECT_EQ(11u, ParseILRegisterType("o"));
    EXPECT_EQ(5u, ParseILRegisterType("v"));
    EXPECT_EQ(43u, ParseILRegisterType("vAbsTid"));
    EXPECT_EQ(44u, ParseILRegisterType("vAbsTidFlat"));

    CConsistencyLogTail tail;
    EXPECT_EQ("!!!invalidRegType!!!", GetILRegisterType(29));
    EXPECT_EQ("!!!invalidRegType!!!", GetILRegisterType(63));
    EXPECT_EQ(2u, tail.Count("Assert: GetILRegisterType SDU_Assert( "
                             "!(strRegType == \"!!!invalidRegType!!!\") )\n"));
    for (const char* pName : {"", "R", "cb ", "vPrim", "PrivateUAVAccess", "Invalid register type"})
    {
        EXPECT_EQ(IL_REGTYPE_LAST, ParseILRegisterType(pName)) << pName;
    }
    EXPECT_EQ(6u, tail.Count("Assert: ParseILRegisterType SDU_Assert( "
                             "!(fauxString == \"Invalid register type\") )\n"));
}

TEST(ShaderDebuggerUtilsILTest, RegisterNamesRoundTrip)
{
    const Register index(RegisterID(RT_Temp, 1, 0, NULL), COMP_x);
    EXPECT_EQ("x1[5]", GetILRegisterName(RegisterID(RT_IndexableTemp, 1, 5, NULL), true));
    EXPECT_EQ("x1", GetILRegisterName(RegisterID(RT_IndexableTemp, 1, 5, &index), false));
    EXPECT_EQ("cb1[4]", GetILRegisterName(RegisterID(RT_CONST_BUFF, 1, 4, NULL), true));
    EXPECT_EQ("cb1", GetILRegisterName(RegisterID(RT_CONST_BUFF, 1, 4, NULL), false));
    EXPECT_EQ("r7", GetILRegisterName(RegisterID(RT_Temp, 7, 3, NULL), true));
    EXPECT_EQ("r-1", GetILRegisterName(RegisterID(RT_Temp, -1, 0, NULL), true));
    EXPECT_EQ("PrivateUAVAccess8[2]",
              GetILRegisterName(RegisterID(RT_PrivateUAVAccess, 8, 2, NULL), true));

    // Every type with an IL name, with and without an index where the type has one.
    for (unsigned int nILType = 0; nILType < IL_REGTYPE_LAST; ++nILType)
    {
        if (!IsILType(nILType) || nILType == 33 || nILType == 34)
        {
            continue;
        }
        const RegisterType type = ILtoSDRegisterType(nILType);
        for (int number : {0, 9, 65535})
        {
            const RegisterID id(type, number, IsIndexedRegisterType(type) ? 4097 : 0, NULL);
            const std::string strName = GetILRegisterName(id, true);
            EXPECT_EQ(id, ParseILRegisterName(strName)) << strName;
        }
    }

    const RegisterID cb = ParseILRegisterName("cb1[4]");
    EXPECT_EQ(RT_CONST_BUFF, cb.type);
    EXPECT_EQ(1, cb.number);
    EXPECT_EQ(4u, cb.index);
}

TEST(ShaderDebuggerUtilsILTest, RegisterNamesOfTheWrongFormGiveTheNullID)
{
    CConsistencyLogTail tail;
    EXPECT_EQ(RegisterID(), ParseILRegisterName("r3[1]"));
    EXPECT_EQ(1u, tail.Count("Assert: ParseILRegisterName SDU_Assert( "
                             "!(pos != std::string::npos) )\n"));
    EXPECT_EQ(RegisterID(), ParseILRegisterName("cb1"));
    EXPECT_EQ(1u, tail.Count("Assert: ParseILRegisterName SDU_Assert( "
                             "!(pos == std::string::npos) )\n"));
    EXPECT_EQ(RegisterID(), ParseILRegisterName("x2[3"));
    EXPECT_EQ(1u, tail.Count("Assert: ParseILRegisterName SDU_Assert( "
                             "!(pos2 == std::string::npos) )\n"));
    // The private-memory pseudo register has no IL name to parse.
    EXPECT_EQ(RegisterID(), ParseILRegisterName("PrivateUAVAccess8[2]"));
    // No number: the type alone, numbered 0.
    EXPECT_EQ(RegisterID(RT_Temp, 0, 0, NULL), ParseILRegisterName("r"));
    EXPECT_EQ(RegisterID(), ParseILRegisterName(""));
}

TEST(ShaderDebuggerUtilsILTest, SourceModifiersForAMask)
{
    const unsigned int X = 0, Y = 1, Z = 2, W = 3, ZERO = 4, ONE = 5;
    EXPECT_EQ(Swizzle(X, Y, X, Y), GetILSrcMod(COMP_xy, IL_FILL_FIRST));
    EXPECT_EQ(Swizzle(X, Y, Y, Y), GetILSrcMod(COMP_xy, IL_FILL_LAST));
    EXPECT_EQ(Swizzle(X, Y, ZERO, ZERO), GetILSrcMod(COMP_xy, IL_FILL_ZERO));
    EXPECT_EQ(Swizzle(X, Y, ONE, ONE), GetILSrcMod(COMP_xy, IL_FILL_ONE));
    EXPECT_EQ(Swizzle(W, W, W, W), GetILSrcMod(COMP_w, IL_FILL_FIRST));
    EXPECT_EQ(Swizzle(W, W, W, W), GetILSrcMod(COMP_w, IL_FILL_LAST));
    EXPECT_EQ(Swizzle(Z, ONE, ONE, ONE), GetILSrcMod(COMP_z, IL_FILL_ONE));
    EXPECT_EQ(Swizzle(Z, W, Z, W), GetILSrcMod(COMP_zw, IL_FILL_FIRST));
    EXPECT_EQ(Swizzle(Z, W, W, W), GetILSrcMod(COMP_zw, IL_FILL_LAST));
    EXPECT_EQ(Swizzle(X, Y, Z, X), GetILSrcMod(COMP_xyz, IL_FILL_FIRST));
    EXPECT_EQ(Swizzle(X, Y, Z, Z), GetILSrcMod(COMP_xyz, IL_FILL_LAST));
    EXPECT_EQ(Swizzle(X, Y, Z, ZERO), GetILSrcMod(COMP_xyz, IL_FILL_ZERO));
    for (unsigned int nFill = IL_FILL_FIRST; nFill <= IL_FILL_ONE; ++nFill)
    {
        EXPECT_EQ(Swizzle(X, Y, Z, W), GetILSrcMod(COMP_All, nFill));
        // A single component reads back as that component.
        for (unsigned int nComponent = 0; nComponent < 4; ++nComponent)
        {
            const unsigned short mask = GetComponent(nComponent);
            const unsigned int nModifier = GetILSrcMod(mask, nFill);
            EXPECT_EQ(nComponent, nModifier & 0xF);
            EXPECT_EQ(mask, GetSrcMask(nModifier));
        }
    }

    // Masks that aren't contiguous from a pair's start, and bad fill modes, give 0.
    CConsistencyLogTail tail;
    for (unsigned short mask : {0, 5, 6, 9, 10, 11, 13, 14, 16})
    {
        EXPECT_EQ(0u, GetILSrcMod(mask, IL_FILL_FIRST)) << mask;
    }
    EXPECT_EQ(9u, tail.Count("Assert: GetILSrcMod SDU_Assert( nNumCompsSet == 1 || mask == "
                             "COMP_All || mask == COMP_xyz || mask == COMP_xy || mask == "
                             "COMP_zw )\n"));
    EXPECT_EQ(0u, GetILSrcMod(COMP_xy, 4));
}

TEST(ShaderDebuggerUtilsILTest, MasksOfModifierTokens)
{
    EXPECT_EQ(COMP_All, GetDestMask(0x55));
    EXPECT_EQ(COMP_x, GetDestMask(0x01));
    EXPECT_EQ(COMP_w, GetDestMask(0x40));
    EXPECT_EQ(COMP_xy | COMP_w, GetDestMask(0x45));
    // Only the value 1 writes a component.
    EXPECT_EQ(0, GetDestMask(0xAA));
    EXPECT_EQ(0, GetDestMask(0xFF));
    EXPECT_EQ(COMP_All, GetDestMask(0xFFFFFF55));

    EXPECT_EQ(COMP_x, GetSrcMask(Swizzle(0, 0, 0, 0)));
    EXPECT_EQ(COMP_y, GetSrcMask(Swizzle(1, 1, 1, 1)));
    EXPECT_EQ(COMP_z, GetSrcMask(Swizzle(2, 2, 2, 2)));
    EXPECT_EQ(COMP_w, GetSrcMask(Swizzle(3, 3, 3, 3)));
    EXPECT_EQ(0, GetSrcMask(Swizzle(4, 5, 4, 5)));
    // Mixed swizzles give the lowest component read.
    EXPECT_EQ(COMP_x, GetSrcMask(Swizzle(0, 1, 2, 3)));
    EXPECT_EQ(COMP_z, GetSrcMask(Swizzle(3, 2, 4, 3)));
    // Negation and further modifiers leave no plain component.
    EXPECT_EQ(0, GetSrcMask(Swizzle(1, 1, 1, 1) | 0x8000));
    EXPECT_EQ(0, GetSrcMask(Swizzle(1, 1, 1, 1) | 0x10000));
    EXPECT_EQ(0, GetSrcMask(Swizzle(1, 1, 1, 1) | 0x1000000));
    EXPECT_EQ(COMP_y, GetSrcMask(Swizzle(1, 1, 1, 1) | 0x2000000));
}

TEST(ShaderDebuggerUtilsILTest, SettingTypeAndNumberKeepsTheOtherBits)
{
    unsigned int token = 0xFFFFFFFF;
    SetRegisterType(token, 31);
    EXPECT_EQ(0xFFDFFFFFu, token);
    SetRegisterType(token, 0x47);
    EXPECT_EQ(7u, (token >> 16) & 0x3F);
    EXPECT_EQ(0xFFC0FFFFu, token & 0xFFC0FFFF);

    // A temp keeps the sign of its number in bit 27.
    unsigned int temp = 0x80000000u | (4u << 16);
    SetRegisterNumber(temp, static_cast<unsigned int>(-1));
    EXPECT_EQ(0x8804FFFFu, temp);
    EXPECT_EQ(-1, ShaderUtils::GetILRegNumber(temp));
    SetRegisterNumber(temp, 70000);
    EXPECT_EQ(0x80040000u | (70000 & 0xFFFF), temp);

    // Other types have no sign: bit 27 isn't theirs.
    unsigned int literal = (32u << 16) | (1u << 27);
    SetRegisterNumber(literal, static_cast<unsigned int>(-2));
    EXPECT_EQ((32u << 16) | (1u << 27) | 0xFFFE, literal);
}
