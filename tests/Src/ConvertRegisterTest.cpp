#include "ConvertRegister.h"

#include "APIUsageLog.h"
#include "Src/LogTail.h"

#include <XANOpenCLDebug.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace
{
using XAN_Test::CUsageLogTail;

const char* const INVALID_TYPE_BREAK = "CLD_Break( \"Invalid register type\" )";

// What parsing the name of a type gives: "v" and "o" stand for two types, of which parsing
// gives the first, and "vPrim" has no parse.
DLRegType ParsedType(DLRegType type)
{
    switch (type)
    {
    case 29:
        return DL_REGTYPE_UNKNOWN;
    case 33:
        return 5;
    case 34:
        return 11;
    default:
        return type;
    }
}

bool IsIndexed(DLRegType type)
{
    return type == 30 || type == 31 || type == 63;
}
} // namespace

TEST(ConvertRegisterTest, TypeNamesInBothDirections)
{
    EXPECT_EQ("vPrim", DLRegTypeToString(29));
    EXPECT_EQ("v", DLRegTypeToString(33));
    EXPECT_EQ("PrivateUAVAccess", DLRegTypeToString(63));

    CUsageLogTail tail;
    for (DLRegType type = 0; type < DL_REGTYPE_UNKNOWN; ++type)
    {
        const std::string strName = DLRegTypeToString(type);
        EXPECT_FALSE(strName.empty()) << type;
        EXPECT_EQ(std::string::npos, strName.find_first_of("0123456789[")) << strName;
        EXPECT_EQ(ParsedType(type), StringToDLRegType(strName)) << strName;
    }
    // "vPrim" is the one name that can't be parsed.
    EXPECT_EQ(1u, tail.Count(INVALID_TYPE_BREAK));

    for (DLRegType type : {64u, 65u, 255u, 0xFFFFFFFFu})
    {
        EXPECT_EQ("!!!invalidRegType!!!", DLRegTypeToString(type));
    }
    EXPECT_EQ(DL_REGTYPE_UNKNOWN, StringToDLRegType(""));
    EXPECT_EQ(DL_REGTYPE_UNKNOWN, StringToDLRegType("R"));
    EXPECT_EQ(DL_REGTYPE_UNKNOWN, StringToDLRegType("r "));
    for (const char* pFunction : {"DLRegTypeToString", "StringToDLRegType"})
    {
        EXPECT_LT(0u, tail.Count("Assert: " + std::string(pFunction) + " " + INVALID_TYPE_BREAK))
            << pFunction;
    }
}

TEST(ConvertRegisterTest, ShortFormsRoundTripOverTheirWholeRange)
{
    for (cl_ulong locator = 0; locator < 0x20000; ++locator)
    {
        const std::string strName = debugRegisterLocatorToString(locator);
        ASSERT_EQ(locator, stringToDebugRegisterLocator(strName)) << strName;
    }
    EXPECT_EQ("r0", debugRegisterLocatorToString(0));
    EXPECT_EQ("r65535", debugRegisterLocatorToString(0xFFFF));
    EXPECT_EQ("cb2[5]", debugRegisterLocatorToString(0x12005));
    EXPECT_EQ("cb15[4095]", debugRegisterLocatorToString(0x1FFFF));
    EXPECT_EQ(0x12005u, stringToDebugRegisterLocator("cb2[5]"));
    EXPECT_EQ(0u, stringToDebugRegisterLocator("r0"));
    // Numbers that don't fit are cut to the field.
    EXPECT_EQ(4464u, stringToDebugRegisterLocator("r70000"));
    EXPECT_EQ(0x11001u, stringToDebugRegisterLocator("cb17[4097]"));
}

TEST(ConvertRegisterTest, GeneralFormsRoundTripForEveryType)
{
    for (DLRegType type = 0; type < DL_REGTYPE_UNKNOWN; ++type)
    {
        for (cl_ulong nNumber : {0ull, 1ull, 255ull, 4096ull, 65535ull})
        {
            for (cl_ulong nIndex : {0ull, 1ull, 4095ull, 4096ull, 0xFFFFFFFFull})
            {
                if (!IsIndexed(type) && nIndex != 0)
                {
                    continue;
                }
                const cl_ulong locator =
                    DL_LOCATOR_GENERAL | type | (nNumber << 8) | (nIndex << 24);
                const std::string strName = debugRegisterLocatorToString(locator);
                std::string strExpected = DLRegTypeToString(type) + std::to_string(nNumber);
                if (IsIndexed(type))
                {
                    strExpected += "[" + std::to_string(nIndex) + "]";
                }
                ASSERT_EQ(strExpected, strName);

                // "r" and "cb" always take the short form; "v", "o" and "vPrim" parse to
                // another type.
                cl_ulong expected =
                    DL_LOCATOR_GENERAL | ParsedType(type) | (nNumber << 8) | (nIndex << 24);
                if (type == 4)
                {
                    expected = nNumber;
                }
                else if (type == 31)
                {
                    expected = 0x10000 + ((nNumber & 0xF) << 12) + (nIndex & 0xFFF);
                }
                ASSERT_EQ(expected, stringToDebugRegisterLocator(strName)) << strName;
            }
        }
    }

    EXPECT_EQ(0x800000000300011Eull, stringToDebugRegisterLocator("x1[3]"));
    EXPECT_EQ("x1[3]", debugRegisterLocatorToString(0x800000000300011Eull));
    EXPECT_EQ(0x800000000200083Full, stringToDebugRegisterLocator("PrivateUAVAccess8[2]"));
    EXPECT_EQ("PrivateUAVAccess8[2]", debugRegisterLocatorToString(0x800000000200083Full));
    EXPECT_EQ(0x8000000000000305ull, stringToDebugRegisterLocator("v3"));
    EXPECT_EQ(0x8000000000002B2Bull, stringToDebugRegisterLocator("vAbsTid43"));
}

TEST(ConvertRegisterTest, NamesOfTheWrongFormGiveTheInvalidLocator)
{
    for (const char* pName : {"", "r", "x1", "x1[3", "cb2", "r1[2]", "v3[0]", "PrivateUAVAccess8"})
    {
        EXPECT_EQ(DL_LOCATOR_INVALID, stringToDebugRegisterLocator(pName)) << pName;
    }

    // A type name that isn't known still gives a general locator, of the unknown type, and
    // is reported once for each look-up.
    CUsageLogTail tail;
    EXPECT_EQ(DL_LOCATOR_GENERAL | 64 | (12 << 8), stringToDebugRegisterLocator("12"));
    EXPECT_EQ(2u, tail.Count(INVALID_TYPE_BREAK));
    EXPECT_EQ(DL_LOCATOR_GENERAL | 64 | (3 << 8), stringToDebugRegisterLocator("vPrim3"));
    // Text behind the number is ignored, and a missing number reads as 0.
    EXPECT_EQ(5u, stringToDebugRegisterLocator("r5abc"));
    EXPECT_EQ(0x800000000000001Eull, stringToDebugRegisterLocator("x0[]"));
}

TEST(ConvertRegisterTest, ValuesThatAreNoLocators)
{
    CUsageLogTail tail;
    EXPECT_EQ("!!!invalidRegType!!!65535", debugRegisterLocatorToString(DL_LOCATOR_INVALID));
    EXPECT_EQ("", debugRegisterLocatorToString(0x20000));
    EXPECT_EQ("", debugRegisterLocatorToString(0x7FFFFFFFFFFFFFFFull));
    EXPECT_LT(0u, tail.Count("Assert: debugRegisterLocatorToString CLD_Break( \"Unrecognized "
                             "register\" )\n"));
    // Bits 56 to 62 are not read.
    EXPECT_EQ("r3", debugRegisterLocatorToString(0xFF00000000000304ull));
}

TEST(ConvertRegisterTest, StringToLocatorExport)
{
    cl_ulong locator = 0;
    {
        CUsageLogTail tail;
        EXPECT_EQ(XANCLDEBUG_SUCCESS,
                  xanclDebugUtilStringToDebugRegisterLocator("x1[3]", &locator));
        EXPECT_EQ(0x800000000300011Eull, locator);
        EXPECT_EQ(0u, tail.Text().find("xanclDebugUtilStringToDebugRegisterLocator( 0x"));
        EXPECT_EQ(1u, tail.Count("Register name = x1[3]\nRegister locator = 9223372036905107742\n"
                                 "xanclDebugUtilStringToDebugRegisterLocator() returned 0\n"));
    }

    // A name that can't be parsed isn't an error of the call.
    EXPECT_EQ(XANCLDEBUG_SUCCESS, xanclDebugUtilStringToDebugRegisterLocator("x1", &locator));
    EXPECT_EQ(DL_LOCATOR_INVALID, locator);

    CUsageLogTail tail;
    locator = 7;
    EXPECT_EQ(XANCLDEBUG_ERROR_NULL_ARGUMENT,
              xanclDebugUtilStringToDebugRegisterLocator(NULL, &locator));
    EXPECT_EQ(7u, locator);
    EXPECT_EQ(XANCLDEBUG_ERROR_NULL_ARGUMENT,
              xanclDebugUtilStringToDebugRegisterLocator("r1", NULL));
    EXPECT_EQ(2u, tail.Count("xanclDebugUtilStringToDebugRegisterLocator() returned 9\n"));
    EXPECT_EQ(std::string::npos, tail.Text().find("Register name"));
}

TEST(ConvertRegisterTest, LocatorToStringExport)
{
    size_t nLength = 0;
    {
        CUsageLogTail tail;
        EXPECT_EQ(XANCLDEBUG_SUCCESS,
                  xanclDebugUtilDebugRegisterLocatorToString(0x12005, 0, NULL, &nLength));
        EXPECT_EQ(7u, nLength);
        EXPECT_EQ(0u,
                  tail.Text().find("xanclDebugUtilDebugRegisterLocatorToString( 73733, 0, 0, 0x"));
        EXPECT_EQ(1u, tail.Count("Register name = cb2[5], Length = 7\n"
                                 "xanclDebugUtilDebugRegisterLocatorToString() returned 0\n"));
    }

    char buffer[8];
    std::memset(buffer, '#', sizeof(buffer));
    nLength = 0;
    EXPECT_EQ(XANCLDEBUG_ERROR_BUFFER_TOO_SMALL,
              xanclDebugUtilDebugRegisterLocatorToString(0x12005, 6, buffer, &nLength));
    EXPECT_EQ(7u, nLength);
    EXPECT_EQ('#', buffer[0]);

    EXPECT_EQ(XANCLDEBUG_SUCCESS,
              xanclDebugUtilDebugRegisterLocatorToString(0x12005, 7, buffer, NULL));
    EXPECT_STREQ("cb2[5]", buffer);
    EXPECT_EQ('#', buffer[7]);

    EXPECT_EQ(XANCLDEBUG_ERROR_NULL_ARGUMENT,
              xanclDebugUtilDebugRegisterLocatorToString(0x12005, 1, NULL, &nLength));
    // Nothing asked for is no error.
    EXPECT_EQ(XANCLDEBUG_SUCCESS, xanclDebugUtilDebugRegisterLocatorToString(0, 0, NULL, NULL));

    // A value that isn't a locator has the empty text.
    nLength = 0;
    EXPECT_EQ(XANCLDEBUG_SUCCESS, xanclDebugUtilDebugRegisterLocatorToString(
                                      0x20000, sizeof(buffer), buffer, &nLength));
    EXPECT_EQ(1u, nLength);
    EXPECT_STREQ("", buffer);
}
