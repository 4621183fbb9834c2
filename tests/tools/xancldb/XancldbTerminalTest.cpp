// xancldb on a pseudo-terminal, as a person uses it: line editing, history, Ctrl-C on a line
// being typed and Ctrl-C on a long run, which ends at the next stop and leaves the session on.
#include "XancldbRun.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>

using namespace XAN_XancldbTest;

namespace
{
const std::chrono::seconds WAIT(120);
const char* const PROMPT = "(xancldb) ";

class CTerminal
{
public:
    explicit CTerminal(const std::string& strLaunch)
    {
        m_Pid = forkpty(&m_nMaster, nullptr, nullptr, nullptr);
        if (m_Pid == 0)
        {
            setenv("TERM", "xterm", 1);
            execl(XANCLDB_PATH, "xancldb", strLaunch.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
    }
    ~CTerminal()
    {
        if (m_Pid > 0 && !m_bExited)
        {
            kill(m_Pid, SIGKILL);
            waitpid(m_Pid, nullptr, 0);
        }
        if (m_nMaster >= 0)
        {
            close(m_nMaster);
        }
    }

    bool IsValid() const { return m_Pid > 0; }
    void Type(const std::string& strKeys)
    {
        EXPECT_EQ(ssize_t(strKeys.size()), write(m_nMaster, strKeys.data(), strKeys.size()));
    }

    // Reads until strText appears behind what earlier waits consumed; true when it did.
    bool WaitFor(const std::string& strText)
    {
        const auto deadline = std::chrono::steady_clock::now() + WAIT;
        for (;;)
        {
            const size_t nFound = m_strOutput.find(strText, m_nConsumed);
            if (nFound != std::string::npos)
            {
                m_nConsumed = nFound + strText.size();
                return true;
            }
            if (std::chrono::steady_clock::now() > deadline)
            {
                return false;
            }
            pollfd entry = {m_nMaster, POLLIN, 0};
            if (poll(&entry, 1, 100) > 0)
            {
                char vBuffer[4096];
                const ssize_t nRead = read(m_nMaster, vBuffer, sizeof(vBuffer));
                if (nRead <= 0)
                {
                    return m_strOutput.find(strText, m_nConsumed) != std::string::npos;
                }
                m_strOutput.append(vBuffer, size_t(nRead));
            }
        }
    }

    int Wait()
    {
        int nStatus = 0;
        waitpid(m_Pid, &nStatus, 0);
        m_bExited = true;
        return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
    }

    const std::string& Output() const { return m_strOutput; }

private:
    pid_t m_Pid = -1;
    int m_nMaster = -1;
    bool m_bExited = false;
    std::string m_strOutput;
    size_t m_nConsumed = 0;
};
} // namespace

TEST(XancldbTerminalTest, LineEditingHistoryAndCtrlC)
{
    setenv("OCL_ICD_VENDORS", XAN_ICD_VENDORS_DIR, 0);
    CTerminal terminal(ExampleLaunch("control"));
    ASSERT_TRUE(terminal.IsValid());
    ASSERT_TRUE(terminal.WaitFor(PROMPT)) << terminal.Output();

    // Typed without its first letter, which Ctrl-A and "i" put in front.
    terminal.Type("nfo kernel\x01i\r");
    ASSERT_TRUE(terminal.WaitFor("kernel control of")) << terminal.Output();
    ASSERT_TRUE(terminal.WaitFor(PROMPT)) << terminal.Output();
    // Ctrl-P brings the line back from the history.
    terminal.Type("\x10\r");
    ASSERT_TRUE(terminal.WaitFor("kernel control of")) << terminal.Output();
    ASSERT_TRUE(terminal.WaitFor(PROMPT)) << terminal.Output();

    // Ctrl-C drops a line being typed; the session goes on.
    terminal.Type("print r0");
    // As a user would, after the editor has shown what was typed.
    ASSERT_TRUE(terminal.WaitFor("print r0")) << terminal.Output();
    terminal.Type("\x03");
    ASSERT_TRUE(terminal.WaitFor("^C")) << terminal.Output();
    ASSERT_TRUE(terminal.WaitFor(PROMPT)) << terminal.Output();

    // A long run shows its progress and stops at Ctrl-C, at an instruction, with its state.
    terminal.Type("step 1000000\r");
    ASSERT_TRUE(terminal.WaitFor("running: ")) << terminal.Output();
    terminal.Type("\x03");
    ASSERT_TRUE(terminal.WaitFor("Interrupted, line ")) << terminal.Output();
    ASSERT_TRUE(terminal.WaitFor(PROMPT)) << terminal.Output();
    terminal.Type("info mask\r");
    ASSERT_TRUE(terminal.WaitFor("active: ")) << terminal.Output();
    ASSERT_TRUE(terminal.WaitFor(PROMPT)) << terminal.Output();

    terminal.Type("quit\r");
    EXPECT_EQ(0, terminal.Wait()) << terminal.Output();
}
