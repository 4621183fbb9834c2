// What a person reads at a stop: work-item ranges, masks by work-group, values summed up.
#include "CValueSummary.h"
#include "CWorkItemSpace.h"

#include <gtest/gtest.h>

using namespace XAN_Xancldb;

namespace
{
const size_t GLOBAL_1D[3] = {8, 1, 1};
const size_t LOCAL_1D[3] = {4, 1, 1};
const size_t OFFSET_1D[3] = {100, 0, 0};
const size_t GLOBAL_2D[3] = {4, 2, 1};
const size_t LOCAL_2D[3] = {2, 2, 1};
} // namespace

TEST(CWorkItemSpaceTest, NamesAndRanges)
{
    const CWorkItemSpace line(1, GLOBAL_1D, LOCAL_1D, OFFSET_1D);
    EXPECT_EQ("103", line.GetName(3));
    EXPECT_EQ("100-102, 104, 106-107", line.FormatRuns({0, 1, 2, 4, 6, 7}));
    EXPECT_EQ("none", line.FormatRuns({}));
    EXPECT_EQ(2u, line.GetGroupCount());

    const CWorkItemSpace plane(2, GLOBAL_2D, LOCAL_2D, nullptr);
    EXPECT_EQ("(1,1)", plane.GetName(5));
    EXPECT_EQ("(0,0)-(3,0)", plane.FormatRuns({0, 1, 2, 3}));
    EXPECT_EQ(2u, plane.GetGroupCount());
}

TEST(CWorkItemSpaceTest, FindsWorkItemsByGlobalId)
{
    struct SCase
    {
        std::vector<uint64_t> vId;
        bool bFound;
        size_t nFlat;
        const char* pError;
    };
    const CWorkItemSpace plane(2, GLOBAL_2D, LOCAL_2D, nullptr);
    const SCase cases[] = {
        {{3, 1}, true, 7, ""},
        {{2}, true, 2, ""},
        {{4, 0}, false, 0, "work-item x = 4 is outside the launch, whose x runs from 0 to 3"},
        {{0, 2}, false, 0, "work-item y = 2 is outside the launch, whose y runs from 0 to 1"},
        {{0, 0, 0}, false, 0, "the launch has 2 dimensions, 3 coordinates given"},
    };
    for (const SCase& test : cases)
    {
        size_t nFlat = 99;
        std::string strError;
        EXPECT_EQ(test.bFound, plane.FindFlat(test.vId, nFlat, strError)) << test.pError;
        EXPECT_EQ(test.pError, strError);
        if (test.bFound)
        {
            EXPECT_EQ(test.nFlat, nFlat);
        }
    }
    const CWorkItemSpace line(1, GLOBAL_1D, LOCAL_1D, OFFSET_1D);
    size_t nFlat = 0;
    std::string strError;
    EXPECT_FALSE(line.FindFlat({99}, nFlat, strError));
    EXPECT_TRUE(line.FindFlat({107}, nFlat, strError));
    EXPECT_EQ(7u, nFlat);
}

TEST(CWorkItemSpaceTest, MaskShowsRangesAndAGroupBitmap)
{
    const CWorkItemSpace line(1, GLOBAL_1D, LOCAL_1D, OFFSET_1D);
    EXPECT_EQ("active: 3 of 8 work-items: 101, 106-107\n"
              "  group 0: .#..\n"
              "  group 1: ..##\n",
              line.FormatMask({false, true, false, false, false, false, true, true}));
    // A group's bitmap follows its local order: row y = 0, then y = 1.
    const CWorkItemSpace plane(2, GLOBAL_2D, LOCAL_2D, nullptr);
    EXPECT_EQ("active: 2 of 8 work-items: (0,0), (1,1)\n"
              "  group (0,0): #..#\n"
              "  group (1,0): ....\n",
              plane.FormatMask({true, false, false, false, false, true, false, false}));
    // Without a local size, rows of 64 work-items.
    const size_t vGlobal[3] = {70, 1, 1};
    const CWorkItemSpace open(1, vGlobal, nullptr, nullptr);
    std::vector<bool> vActive(70, true);
    EXPECT_EQ("active: 70 of 70 work-items: 0-69\n  0: " + std::string(64, '#') +
                  "\n  64: " + std::string(6, '#') + "\n",
              open.FormatMask(vActive));
}

TEST(CValueSummaryTest, FormatsComponentsAsAsked)
{
    const RegisterValue value = {0xFFFFFFFFu, 0x3F800000u, 7, 0};
    struct SCase
    {
        const char* pComponents;
        char cFormat;
        const char* pText;
    };
    const SCase cases[] = {
        {"xyzw", 'd', "(-1, 1065353216, 7, 0)"},
        {"x", 'u', "4294967295"},
        {"xz", 'x', "(0xffffffff, 0x00000007)"},
        {"y", 'f', "1"},
    };
    for (const SCase& test : cases)
    {
        SValueFormat format;
        format.strComponents = test.pComponents;
        format.cFormat = test.cFormat;
        EXPECT_EQ(test.pText, CValueSummary::FormatValue(value, format));
    }
}

TEST(CValueSummaryTest, SummaryGroupsEqualValuesOfActiveWorkItems)
{
    const CWorkItemSpace line(1, GLOBAL_1D, LOCAL_1D, OFFSET_1D);
    const std::vector<RegisterValue> vValues = {{1, 0, 0, 0}, {1, 0, 0, 0}, {2, 0, 0, 0},
                                                {1, 9, 0, 0}, {5, 5, 5, 5}, {2, 0, 0, 0},
                                                {3, 0, 0, 0}, {4, 0, 0, 0}};
    const std::vector<bool> vActive = {true, true, true, true, false, true, true, true};
    SValueFormat format;
    format.strComponents = "x";
    // y differs at work-item 103, but only x is shown: it joins the first value.
    EXPECT_EQ("  1  x3  100-101, 103\n"
              "  2  x2  102, 105\n"
              "  3  x1  106\n"
              "  ... 1 more distinct values (--full shows every work-item)\n"
              "  inactive  x1  104\n",
              CValueSummary::Summarise(line, vValues, vActive, format, 3));
    EXPECT_EQ("  100: 1\n  101: 1\n  102: 2\n  103: 1\n  104: 5  (inactive)\n  105: 2\n"
              "  106: 3\n  107: 4\n",
              CValueSummary::Table(line, vValues, vActive, format));
}
