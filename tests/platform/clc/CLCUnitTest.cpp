// The text in which a compiled object keeps an OpenCL C unit: it reads back as it was written,
// whatever the bytes of its parts, and text that isn't one is refused.
#include "CCLCCompiler.h"

#include <gtest/gtest.h>

using XAN_Platform::CCLCCompiler;
using XAN_Platform::SCLCUnit;

TEST(CLCUnitTest, UnitsReadBackAsWritten)
{
    const SCLCUnit units[] = {
        {"__kernel void k(void) { }\n", {}, {}},
        {"", {"-DX=1", "-cl-std=CL1.1", "-g"}, {{"a.h", "#define A 1\n"}, {"dir/b.h", ""}}},
        // Parts that look like fields, with line breaks and NULs.
        {std::string("source 3\nabc\0x", 14), {"option 1\n"}, {{"header 1 1\n", "\n\n"}}},
    };
    for (const SCLCUnit& unit : units)
    {
        SCLCUnit read;
        ASSERT_TRUE(CCLCCompiler::ReadUnit(CCLCCompiler::UnitText(unit), read));
        EXPECT_EQ(unit.strSource, read.strSource);
        EXPECT_EQ(unit.vOptions, read.vOptions);
        EXPECT_EQ(unit.vHeaders, read.vHeaders);
    }
}

TEST(CLCUnitTest, TextThatIsNoUnitIsRefused)
{
    const char* const vTexts[] = {
        "",                              // no source
        "source 5\nabc",                 // a part longer than the text
        "source 3\nabcdef",              // text behind the source
        "option 1\nx",                   // no source at the end
        "source\n",                      // the source without its length
        "header 1\nab source 0\n",       // a header without its text
        "source -1\n",                   // no length
        "sauce 0\n",                     // an unknown field
        "source 99999999999999999999\n", // a length beyond any text
    };
    for (const char* pText : vTexts)
    {
        SCLCUnit unit;
        EXPECT_FALSE(CCLCCompiler::ReadUnit(pText, unit)) << pText;
    }
}
