#include "ElfUtils.h"
#include "ShaderDebuggerTestDoubles.h"

#include <gtest/gtest.h>

namespace
{
// A kernel binary that the debugger can't read says why in the debugger's log.
TEST(ElfUtilsLogTest, RefusedBinaryLogsItsReason)
{
    XAN_Test::CRecordingHost host;
    XAN_ShaderDebugger::SDU_SetContext(&host, false, "", "", 0, "");
    std::vector<char> vData;
    EXPECT_FALSE(XAN_ElfUtils::GetDataFromSection(".debugil", std::vector<char>(64, 'x'), vData));
    XAN_ShaderDebugger::SDU_ClearContext(&host);
    ASSERT_EQ(1u, host.m_vLines.size());
    EXPECT_NE(std::string::npos, host.m_vLines[0].find("Kernel binary refused: "));
    EXPECT_NE(std::string::npos, host.m_vLines[0].find("ELF"));
}
} // namespace
