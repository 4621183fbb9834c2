// The shape of --json's lines, which tools and tests read.
#include "CJsonReport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace XAN_Xancldb;

TEST(CJsonReportTest, StopCarriesPositionMaskAndDisplays)
{
    const size_t vGlobal[3] = {6, 1, 1};
    const CWorkItemSpace space(1, vGlobal, nullptr, nullptr);
    SStop stop;
    stop.strEvent = "halted";
    stop.strReason = "breakpoint";
    stop.nBreakpoint = 2;
    stop.bHasLine = true;
    stop.nLine = 31;
    stop.strInstruction = "iadd r0.w, r0.w, l0.z";
    stop.nStep = 12;
    stop.nWorkItem = 4;
    stop.vActive = {true, true, false, true, true, false};
    SDisplayed displayed;
    displayed.strExpression = "r0.w";
    displayed.strRegister = "r0";
    displayed.bLive = true;
    displayed.vValues.assign(6, RegisterValue{1, 2, 3, 0xFFFFFFFFu});
    stop.vDisplayed.push_back(displayed);
    const nlohmann::json object = nlohmann::json::parse(CJsonReport::Stop(space, stop));
    EXPECT_EQ("halted", object["event"]);
    EXPECT_EQ("breakpoint", object["reason"]);
    EXPECT_EQ(2, object["breakpoint"]);
    EXPECT_EQ(31, object["line"]);
    EXPECT_EQ("iadd r0.w, r0.w, l0.z", object["instruction"]);
    EXPECT_EQ(12, object["step"]);
    EXPECT_EQ(nlohmann::json::array({4}), object["workitem"]);
    EXPECT_EQ(4, object["mask"]["active"]);
    EXPECT_EQ(6, object["mask"]["total"]);
    EXPECT_EQ(nlohmann::json::parse("[[0,1],[3,4]]"), object["mask"]["ranges"]);
    ASSERT_EQ(1u, object["display"].size());
    EXPECT_EQ("r0", object["display"][0]["register"]);
    EXPECT_TRUE(object["display"][0]["live"].get<bool>());
    EXPECT_EQ(6u, object["display"][0]["values"].size());
    EXPECT_EQ(4294967295u, object["display"][0]["values"][5][3].get<uint32_t>());
}

TEST(CJsonReportTest, StartHasNoLineNorMask)
{
    const size_t vGlobal[3] = {2, 3, 1};
    const CWorkItemSpace space(2, vGlobal, nullptr, nullptr);
    SStop stop;
    stop.strEvent = "started";
    stop.nWorkItem = 3;
    const nlohmann::json object = nlohmann::json::parse(CJsonReport::Stop(space, stop));
    EXPECT_EQ("started", object["event"]);
    EXPECT_FALSE(object.contains("line"));
    EXPECT_FALSE(object.contains("mask"));
    EXPECT_EQ(nlohmann::json::parse("[1,1]"), object["workitem"]);
}

TEST(CJsonReportTest, OutputErrorAndVerifyLines)
{
    // Text that is not UTF-8 does not break the line.
    const nlohmann::json output =
        nlohmann::json::parse(CJsonReport::Output("print r0 \xff", "r0 = 1\n"));
    EXPECT_EQ("output", output["event"]);
    EXPECT_EQ("r0 = 1\n", output["text"]);
    const nlohmann::json error = nlohmann::json::parse(CJsonReport::Error("x a[9]", "no"));
    EXPECT_EQ("error", error["event"]);
    EXPECT_EQ("x a[9]", error["command"]);
    EXPECT_EQ("no", error["message"]);
    const nlohmann::json verify = nlohmann::json::parse(CJsonReport::Verify(false, "out: 1"));
    EXPECT_FALSE(verify["identical"].get<bool>());
    EXPECT_EQ("out: 1", verify["report"]);
}
