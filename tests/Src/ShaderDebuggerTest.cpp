#include "ShaderDebugger.h"
#include "ShaderDebuggerHost.h"

#include "Src/FakeShaderDebugger.h"

#include <gtest/gtest.h>

#include <string>

using XAN_ShaderDebugger::IShaderDebugger;
using XAN_ShaderDebugger::LoopState;
using XAN_ShaderDebugger::ProgramCounter;
using XAN_ShaderDebugger::SDU_EscapePercent;
using XAN_ShaderDebugger::SDU_FunctionName;
using XAN_ShaderDebugger::SDU_Log;
using XAN_ShaderDebugger::SDU_SetContext;

namespace
{
ProgramCounter MakePC(uint32_t nPos, std::initializer_list<LoopState> loops)
{
    ProgramCounter pc(nPos);
    pc.m_vLoopStack.assign(loops);
    return pc;
}

// A host whose log level can be set without a debugger behind it.
class CLevelHost : public XAN_Test::CFakeHostCL
{
public:
    explicit CLevelHost(uint32_t nLevel)
        : CFakeHostCL(reinterpret_cast<cl_kernel>(1), NULL), m_nLevel(nLevel)
    {
    }
    uint32_t GetLogLevel() override { return m_nLevel; }

    uint32_t m_nLevel;
};

typedef std::vector<std::string> Lines;

void LogAtAllLevels(XAN_ShaderDebugger::CShaderDebuggerHost* pHost)
{
    SDU_SetContext(pHost, false, "", "file.cpp", 12, "Function");
    for (uint32_t nLevel = 1; nLevel <= 6; ++nLevel)
    {
        SDU_Log(nLevel, "line %u", nLevel);
    }
}
} // namespace

TEST(ProgramCounterTest, OuterIterationDecidesBeforeInnerEntriesAndPosition)
{
    const ProgramCounter first = MakePC(9, {{2, 20, 1}, {4, 10, 7}});
    const ProgramCounter second = MakePC(9, {{2, 20, 2}, {4, 10, 0}});
    EXPECT_TRUE(first < second);
    EXPECT_FALSE(second < first);
    EXPECT_TRUE(second > first);

    // Iteration 2 at instruction 5 comes after iteration 1 at instruction 9.
    EXPECT_TRUE(MakePC(5, {{2, 20, 2}}) > MakePC(9, {{2, 20, 1}}));
    EXPECT_TRUE(MakePC(9, {{2, 20, 1}}) < MakePC(5, {{2, 20, 2}}));
}

TEST(ProgramCounterTest, LoopStartsOrderBeforeIterationsAndEndsDontCount)
{
    EXPECT_TRUE(MakePC(30, {{2, 20, 9}}) < MakePC(1, {{3, 20, 0}}));
    EXPECT_FALSE(MakePC(5, {{2, 20, 1}}) < MakePC(5, {{2, 99, 1}}));
    EXPECT_FALSE(MakePC(5, {{2, 99, 1}}) < MakePC(5, {{2, 20, 1}}));
    // Equality does compare the ends.
    EXPECT_NE(MakePC(5, {{2, 20, 1}}), MakePC(5, {{2, 99, 1}}));
    EXPECT_EQ(MakePC(5, {{2, 20, 1}}), MakePC(5, {{2, 20, 1}}));
}

TEST(ProgramCounterTest, ShorterStackWithEqualPrefixOrdersByPosition)
{
    const ProgramCounter inner = MakePC(4, {{2, 20, 1}, {3, 10, 5}});
    const ProgramCounter outer = MakePC(6, {{2, 20, 1}});
    EXPECT_TRUE(inner < outer);
    EXPECT_FALSE(outer < inner);
    EXPECT_NE(inner, MakePC(4, {{2, 20, 1}}));
    EXPECT_FALSE(inner < MakePC(4, {{2, 20, 1}}));
    EXPECT_FALSE(MakePC(4, {{2, 20, 1}}) < inner);
}

TEST(ProgramCounterTest, EnterLoopIgnoresAJumpBackToTheRunningLoop)
{
    ProgramCounter pc(3);
    pc.EnterLoop(3, 10);
    pc.m_vLoopStack.back().nIteration = 4;
    pc.EnterLoop(3, 10);
    ASSERT_EQ(1u, pc.m_vLoopStack.size());
    EXPECT_EQ(4u, pc.m_vLoopStack[0].nIteration);

    pc.EnterLoop(5, 8);
    pc.EnterLoop(3, 10); // not the top: a new entry
    EXPECT_EQ(3u, pc.m_vLoopStack.size());

    LoopState state = {0, 0, 0};
    EXPECT_TRUE(pc.GetLoopState(5, &state));
    EXPECT_EQ(8u, state.nEnd);
    EXPECT_TRUE(pc.GetLoopState(3, &state));
    EXPECT_EQ(4u, state.nIteration); // the first from the front
    EXPECT_FALSE(pc.GetLoopState(7, &state));
}

TEST(ThreadIDTest, ValidOnlyWithNonNegativeCoordinatesInUse)
{
    EXPECT_FALSE(ShaderUtils::ThreadID().IsValid());
    EXPECT_TRUE(ShaderUtils::ThreadID(1, 0, -1, -1).IsValid());
    EXPECT_FALSE(ShaderUtils::ThreadID(1, -1, 0, 0).IsValid());
    EXPECT_TRUE(ShaderUtils::ThreadID(2, 3, 0, -5).IsValid());
    EXPECT_FALSE(ShaderUtils::ThreadID(2, 3, -1, 0).IsValid());
    EXPECT_TRUE(ShaderUtils::ThreadID(3, 0, 0, 0).IsValid());
    EXPECT_FALSE(ShaderUtils::ThreadID(3, 0, 0, -1).IsValid());
    EXPECT_FALSE(ShaderUtils::ThreadID(0, 0, 0, 0).IsValid());
    EXPECT_FALSE(ShaderUtils::ThreadID(4, 0, 0, 0).IsValid());
}

TEST(SDULogTest, HostLevelFiltersByLevelLessThree)
{
    CLevelHost quiet(0);
    LogAtAllLevels(&quiet);
    const Lines first = {"line 1", "file.cpp(12) : Function(): Assert:  line 2", "Error:   line 3"};
    EXPECT_EQ(first, quiet.m_vLogLines);

    CLevelHost assertsOnly(static_cast<uint32_t>(-1));
    LogAtAllLevels(&assertsOnly);
    EXPECT_EQ(2u, assertsOnly.m_vLogLines.size());

    CLevelHost silent(static_cast<uint32_t>(-2));
    LogAtAllLevels(&silent);
    EXPECT_EQ(Lines({"line 1"}), silent.m_vLogLines); // raw text isn't filtered

    CLevelHost everything(3);
    LogAtAllLevels(&everything);
    Lines all = first;
    all.insert(all.end(), {"Warning: line 4", "Message: line 5", "Trace:   line 6"});
    EXPECT_EQ(all, everything.m_vLogLines);

    SDU_SetContext(&everything, false, "", "", 0, "");
    SDU_Log(0, "odd");
    EXPECT_EQ("Unknown: odd", everything.m_vLogLines.back());
    SDU_SetContext(NULL, false, "", "", 0, "");
}

TEST(SDULogTest, EchoPrintsToStandardOutput)
{
    CLevelHost host(3);
    SDU_SetContext(&host, true, "", "", 0, "");
    testing::internal::CaptureStdout();
    SDU_Log(1, "raw ");
    SDU_Log(3, "bad");
    EXPECT_EQ("raw ShaderDebugger: Error:   bad", testing::internal::GetCapturedStdout());
    SDU_SetContext(NULL, false, "", "", 0, "");
}

TEST(SDULogTest, OverlongLineIsCutWithAnEllipsis)
{
    CLevelHost host(3);
    SDU_SetContext(&host, false, "", "", 0, "");
    const std::string strLong(0x20000, 'x');
    SDU_Log(3, "%s", strLong.c_str());
    SDU_SetContext(NULL, false, "", "", 0, "");
    ASSERT_EQ(1u, host.m_vLogLines.size());
    const std::string& strLine = host.m_vLogLines[0];
    // The whole line, "ShaderDebugger: " included, fills the buffer less its terminator.
    EXPECT_EQ(0x14000u - 1 - std::string("ShaderDebugger: ").size(), strLine.size());
    EXPECT_EQ(" ... \n", strLine.substr(strLine.size() - 6));
    EXPECT_EQ("Error:   xxx", strLine.substr(0, 12));
}

TEST(SDULogTest, AssertReportsConditionWithFunctionAndCarriesOn)
{
    CLevelHost host(0);
    int nValue = 0;
    SDU_Assert(&host, nValue == 1);
    SDU_Assert(&host, nValue == 0);
    SDU_Assert(NULL, nValue == 1); // no host: nothing to report to, and no crash
    SDU_Assert(&host, 100 % 7 == 3);
    ASSERT_EQ(2u, host.m_vLogLines.size());
    const std::string& strLine = host.m_vLogLines[0];
    EXPECT_NE(std::string::npos, strLine.find("ShaderDebuggerTest.cpp("));
    EXPECT_NE(std::string::npos,
              strLine.find(" : SDULogTest_AssertReportsConditionWithFunctionAndCarriesOn_Test::"
                           "TestBody(): Assert:  nValue == 1"));
    EXPECT_EQ("Assert:  100 % 7 == 3", host.m_vLogLines[1].substr(host.m_vLogLines[1].size() - 21));
}

TEST(SDULogTest, EscapePercentDoublesEveryPercent)
{
    EXPECT_EQ("100%%", SDU_EscapePercent("100%"));
    EXPECT_EQ("%%d%%%%", SDU_EscapePercent("%d%%"));
    EXPECT_EQ("", SDU_EscapePercent(""));

    CLevelHost host(3);
    SDU_SetContext(&host, false, "", "", 0, "");
    SDU_Log(5, SDU_EscapePercent("50% %s done").c_str(), "");
    SDU_SetContext(NULL, false, "", "", 0, "");
    EXPECT_EQ("Message: 50% %s done", host.m_vLogLines.back());
}

TEST(SDULogTest, FunctionNameDropsReturnTypeAndParameters)
{
    EXPECT_EQ("XAN_ShaderDebugger::CShaderDebuggerHost::RegisterDebugger",
              SDU_FunctionName("void XAN_ShaderDebugger::CShaderDebuggerHost::RegisterDebugger("
                               "XAN_ShaderDebugger::IShaderDebugger*)"));
    EXPECT_EQ("A::Make", SDU_FunctionName("std::map<int, std::vector<int> > A::Make(int)"));
    EXPECT_EQ("A::operator()", SDU_FunctionName("bool A::operator()(int) const"));
    EXPECT_EQ("A::A", SDU_FunctionName("A::A(int)"));
    EXPECT_EQ("no parameters", SDU_FunctionName("no parameters"));
}

TEST(ShaderDebuggerFactoryTest, UnknownTypesLogAndLeaveTheHostWithoutDebugger)
{
    // The DX10 and DX11 debuggers (types 1 and 2) aren't built into the factory.
    for (uint32_t nType : {1u, 2u, 6u, 100u})
    {
        XAN_Test::CFakeHostCL host(reinterpret_cast<cl_kernel>(1), NULL);
        EXPECT_EQ(NULL, IShaderDebugger::CreateShaderDebugger(nType, &host));
        // Without a debugger the host's level is 0, which still lets errors through.
        EXPECT_EQ(0u, host.GetLogLevel());
        EXPECT_EQ(Lines({"Error:   Unknown ShaderDebugger requested."}), host.m_vLogLines);
        std::string strError = "untouched";
        EXPECT_FALSE(host.GetLastError(strError));
        EXPECT_EQ("untouched", strError);
    }
    EXPECT_EQ(NULL, IShaderDebugger::CreateShaderDebugger(5, NULL));
}
