#include "APIUsageLog.h"
#include "APIConsistencyLog.h"

#include "Src/FakeShaderDebugger.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>
#include <thread>

namespace
{
using XAN_Test::CUsageLogTail;
using XAN_Test::PointerText;

bool CheckPositive(int nValue)
{
    CLD_Assert(nValue > 0);
    return nValue > 0;
}

void ReachTheUnreachable()
{
    CLD_Break("Unreachable place");
}
} // namespace

TEST(APIUsageLogTest, LevelComesFromTheEnvironment)
{
    const std::pair<const char*, int> cases[] = {{NULL, 3}, {"abc", 0}, {"7", 7}, {"-2", -2}};
    for (const std::pair<const char*, int>& c : cases)
    {
        XAN_Test::ScopedEnv env("XAN_CL_DEBUG_LOG_LEVEL", c.first);
        EXPECT_EQ(c.second, GetLogLevelFromEnvironment()) << (c.first ? c.first : "unset");
    }
}

TEST(APIUsageLogTest, ReturnLinesCarryStatusOrHandle)
{
    CUsageLogTail tail;
    EXPECT_EQ(XANCLDEBUG_ERROR_BUFFER_TOO_SMALL,
              LogReturn("xanclDebugSomething", XANCLDEBUG_ERROR_BUFFER_TOO_SMALL));
    EXPECT_EQ(-5003, LogReturn("xanclDebugEnqueue", static_cast<cl_int>(-5003)));
    cl_context context = reinterpret_cast<cl_context>(0x1234);
    EXPECT_EQ(context, LogReturn("xanclInterceptCreateContext", context));
    cl_command_queue queue = NULL;
    EXPECT_EQ(queue, LogReturn("xanclInterceptCreateCommandQueue", queue));

    EXPECT_EQ("xanclDebugSomething() returned 6\n"
              "xanclDebugEnqueue() returned -5003\n"
              "xanclInterceptCreateContext() returned " +
                  PointerText(context) +
                  "\n"
                  "xanclInterceptCreateCommandQueue() returned " +
                  PointerText(NULL) + "\n",
              tail.Text());
}

TEST(APIUsageLogTest, AssertionsWriteTheirConditionAndTheCodeGoesOn)
{
    CUsageLogTail tail;
    EXPECT_TRUE(CheckPositive(1));
    EXPECT_FALSE(CheckPositive(0));
    ReachTheUnreachable();
    EXPECT_EQ("Assert: CheckPositive CLD_Assert( nValue > 0 )\n"
              "Assert: ReachTheUnreachable CLD_Break( \"Unreachable place\" )\n",
              tail.Text());
}

TEST(APIUsageLogTest, InsertionsTakeNumbersManipulatorsAndStrings)
{
    CUsageLogTail tail;
    APIUsageLog::GetInstance() << std::string("value ") << std::hex << std::setfill('0')
                               << std::setw(4) << 0xABu << std::dec << " " << -7 << " "
                               << static_cast<uint64_t>(1) << 40 << "\n";
    EXPECT_EQ("value 00ab -7 140\n", tail.Text());
}

TEST(APIUsageLogTest, ConcurrentLinesArriveWhole)
{
    // Each insertion is one unit; lines of one insertion each can't be torn.
    CUsageLogTail tail;
    auto writer = [](char c)
    {
        const std::string strLine = std::string(64, c) + "\n";
        for (int i = 0; i < 200; ++i)
        {
            APIUsageLog::GetInstance() << strLine;
        }
    };
    std::thread first(writer, 'a');
    std::thread second(writer, 'b');
    first.join();
    second.join();

    std::istringstream lines(tail.Text());
    std::string strLine;
    int nLines = 0;
    while (std::getline(lines, strLine))
    {
        ++nLines;
        EXPECT_TRUE(strLine == std::string(64, 'a') || strLine == std::string(64, 'b'));
    }
    EXPECT_EQ(400, nLines);
}

TEST(APIUsageLogTest, OpeningALogReplacesTheOldFile)
{
    {
        std::ofstream old("replaced.log");
        old << "from an earlier run\n";
    }
    std::ofstream file;
    OpenLogFile(file, "replaced.log");
    file << "new\n";
    file.close();
    EXPECT_EQ("new\n", XAN_Test::ReadFile("replaced.log"));
}

TEST(APIConsistencyLogTest, WritesAreFlushedToItsOwnFile)
{
    APIConsistencyLog& log = APIConsistencyLog::GetInstance();
    EXPECT_EQ(&log, &APIConsistencyLog::GetInstance());
    const size_t nStart = XAN_Test::ReadFile("XANOpenCLDebugAPIConsistency.log").size();
    log << "Assert: "
        << "Function"
        << " SDU_Assert( "
        << "x != 0"
        << " )\n";
    EXPECT_EQ("Assert: Function SDU_Assert( x != 0 )\n",
              XAN_Test::ReadFile("XANOpenCLDebugAPIConsistency.log").substr(nStart));
}
