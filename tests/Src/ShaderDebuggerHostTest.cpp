#include "ShaderDebuggerHost.h"

#include "Src/FakeShaderDebugger.h"
#include "Src/ShaderDebuggerTestDoubles.h"

#include <gtest/gtest.h>

#include <memory>

using XAN_Test::CFakeDebugger;
using XAN_Test::CFakeDevice;
using XAN_Test::CFakeHostCL;
using XAN_Test::HasLineEnding;
using XAN_Test::Journal;

namespace
{
cl_kernel const KERNEL = reinterpret_cast<cl_kernel>(0x10);
} // namespace

TEST(ShaderDebuggerHostTest, DeletesTheDebuggerBeforeTheDevice)
{
    Journal journal;
    {
        CFakeHostCL host(KERNEL, NULL, &journal);
        host.RegisterDebugger(new CFakeDebugger(&journal));
    }
    EXPECT_EQ(Journal({"~CFakeDebugger", "~CFakeDevice"}), journal);
}

TEST(ShaderDebuggerHostTest, TheDeviceKnowsItsHost)
{
    CFakeHostCL host(KERNEL, NULL);
    ASSERT_NE(nullptr, host.GetDevice());
    EXPECT_EQ(&host, host.GetDevice()->GetHost());
    EXPECT_EQ(&host, host.GetHost());
}

TEST(ShaderDebuggerHostTest, RegisterDebuggerAssertsButStoresAnyway)
{
    CFakeHostCL host(KERNEL, NULL);
    host.RegisterDebugger(NULL);
    EXPECT_TRUE(HasLineEnding(host.m_vLogLines, "Assert:  pDebugger != NULL"));
    EXPECT_FALSE(HasLineEnding(host.m_vLogLines, "Assert:  m_pDebugger == NULL"));

    CFakeDebugger* pFirst = new CFakeDebugger();
    host.RegisterDebugger(pFirst);
    pFirst->SetLogLevel(8);
    host.m_vLogLines.clear();

    // A second debugger replaces the first, which the host no longer owns.
    std::unique_ptr<CFakeDebugger> pOwnedFirst(pFirst);
    CFakeDebugger* pSecond = new CFakeDebugger();
    pSecond->SetLogLevel(42);
    host.RegisterDebugger(pSecond);
    EXPECT_TRUE(HasLineEnding(host.m_vLogLines, "Assert:  m_pDebugger == NULL"));
    EXPECT_EQ(42u, host.GetLogLevel());
}

TEST(ShaderDebuggerHostTest, WithoutDebuggerOnlyTheFourGuardedForwardersAnswer)
{
    CFakeHostCL host(KERNEL, NULL);
    std::string strError = "kept";
    EXPECT_FALSE(host.GetLastError(strError));
    EXPECT_EQ("kept", strError);
    host.SetLastError("lost");
    host.SetLogLevel(5);
    EXPECT_EQ(0u, host.GetLogLevel());
}

TEST(ShaderDebuggerHostTest, ForwardsToTheDebuggerAndTheDevice)
{
    Journal journal;
    CFakeHostCL host(KERNEL, NULL, &journal);
    CFakeDebugger* pDebugger = new CFakeDebugger(&journal);
    host.RegisterDebugger(pDebugger);

    pDebugger->m_StepResults = {true};
    EXPECT_TRUE(host.Step());
    EXPECT_FALSE(host.Step());
    uint32_t nActual = 0;
    EXPECT_TRUE(host.AddBreakPointAtLineNumber(7, 0, &nActual));
    EXPECT_EQ(7u, nActual);
    EXPECT_EQ(1u, host.GetAllBreakpoints(NULL));
    host.SetLastError("failed");
    std::string strError;
    EXPECT_TRUE(host.GetLastError(strError));
    EXPECT_EQ("failed", strError);
    host.SetLogLevel(2);
    EXPECT_EQ(2u, pDebugger->GetLogLevel());
    host.SetThreadID(ShaderUtils::ThreadID(1, 4));
    EXPECT_EQ(4, host.GetThreadID().x);
    host.EndDebugging(true);
    EXPECT_EQ("EndDebugging(true)", journal.back());

    EXPECT_TRUE(host.GetDeviceBufferDesc(7, -1, NULL));
    EXPECT_FALSE(host.GetDeviceBufferDesc(7, 0, NULL));
    EXPECT_EQ(3u, host.GetNumDeviceBuffers(7));
    EXPECT_EQ("fake", host.GetShaderName(7));
    EXPECT_TRUE(host.InitDevice(NULL, 0, NULL, NULL, 0));
}

TEST(ShaderDebuggerHostTest, ADeletedHostIsNoLongerReportedTo)
{
    CFakeHostCL survivor(KERNEL, NULL);
    {
        CFakeHostCL gone(KERNEL, NULL);
        XAN_ShaderDebugger::SDU_SetContext(&gone, false, "", "", 0, "");
    }
    // Under the sanitizers a report to the deleted host would be a use after free.
    XAN_ShaderDebugger::SDU_Log(3, "after");

    XAN_ShaderDebugger::SDU_SetContext(&survivor, false, "", "", 0, "");
    {
        CFakeHostCL other(KERNEL, NULL);
    }
    XAN_ShaderDebugger::SDU_Log(3, "kept");
    ASSERT_EQ(1u, survivor.m_vLogLines.size());
    EXPECT_EQ("Error:   kept", survivor.m_vLogLines[0]);
}
