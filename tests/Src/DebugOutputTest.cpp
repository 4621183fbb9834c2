#include "DebugOutput.h"

#include <gtest/gtest.h>

#include <string>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

TEST(DebugOutputTest, DroppedWithoutADebugger)
{
    if (IsDebuggerAttached())
    {
        GTEST_SKIP() << "running under a debugger";
    }
    testing::internal::CaptureStderr();
    DebugOutput("ShaderDebugger: Error:   text\n");
    DebugOutput(NULL);
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

TEST(DebugOutputTest, ReachesStandardErrorWhileTraced)
{
    int pipeEnds[2];
    ASSERT_EQ(0, pipe(pipeEnds));
    const pid_t child = fork();
    ASSERT_NE(-1, child);
    if (child == 0)
    {
        // The parent becomes the tracer; the child only writes and exits, so nothing stops it.
        close(pipeEnds[0]);
        if (ptrace(PTRACE_TRACEME, 0, NULL, NULL) != 0)
        {
            _exit(77);
        }
        dup2(pipeEnds[1], STDERR_FILENO);
        const bool bAttached = IsDebuggerAttached();
        DebugOutput("seen by the debugger\n");
        _exit(bAttached ? 0 : 1);
    }
    close(pipeEnds[1]);
    std::string strOutput;
    char buffer[256];
    ssize_t nRead;
    while ((nRead = read(pipeEnds[0], buffer, sizeof(buffer))) > 0)
    {
        strOutput.append(buffer, static_cast<size_t>(nRead));
    }
    close(pipeEnds[0]);
    int nStatus = 0;
    ASSERT_EQ(child, waitpid(child, &nStatus, 0));
    ASSERT_TRUE(WIFEXITED(nStatus));
    if (WEXITSTATUS(nStatus) == 77)
    {
        GTEST_SKIP() << "tracing isn't permitted here";
    }
    EXPECT_EQ(0, WEXITSTATUS(nStatus));
    EXPECT_EQ("seen by the debugger\n", strOutput);
}
