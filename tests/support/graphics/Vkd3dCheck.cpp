#include "support/graphics/Vkd3dCheck.h"

#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

namespace XAN_Test
{
namespace
{
// Runs a tool with its output in a file; gives false with the reason on a non-zero exit or a
// signal.
bool RunTool(const std::vector<std::string>& vArgs, const std::string& strLog,
             std::string& strOutput)
{
    const pid_t child = fork();
    if (child == 0)
    {
        const int nLog = open(strLog.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (nLog >= 0)
        {
            dup2(nLog, STDOUT_FILENO);
            dup2(nLog, STDERR_FILENO);
        }
        std::vector<char*> vArgv;
        for (const std::string& strArg : vArgs)
        {
            vArgv.push_back(const_cast<char*>(strArg.c_str()));
        }
        vArgv.push_back(NULL);
        execvp(vArgv[0], vArgv.data());
        _exit(127);
    }
    int nStatus = 0;
    if (child < 0 || waitpid(child, &nStatus, 0) != child)
    {
        strOutput = vArgs[0] + ": could not be run";
        return false;
    }
    std::ifstream log(strLog);
    std::ostringstream text;
    text << log.rdbuf();
    strOutput = text.str();
    if (WIFSIGNALED(nStatus))
    {
        strOutput =
            vArgs[0] + " died of signal " + std::to_string(WTERMSIG(nStatus)) + ": " + strOutput;
        return false;
    }
    if (WEXITSTATUS(nStatus) != 0)
    {
        strOutput =
            vArgs[0] + " exited with " + std::to_string(WEXITSTATUS(nStatus)) + ": " + strOutput;
        return false;
    }
    return true;
}

bool OnPath(const char* pTool)
{
    std::string strOutput;
    return RunTool({"sh", "-c", std::string("command -v ") + pTool}, "vkd3d_probe.log", strOutput);
}
} // namespace

std::string Vkd3dMissingTools()
{
    std::string strMissing;
    for (const char* pTool : {"vkd3d-compiler", "spirv-val"})
    {
        if (!OnPath(pTool))
        {
            strMissing += std::string(strMissing.empty() ? "" : ", ") + pTool;
        }
    }
    return strMissing.empty() ? ""
                              : strMissing + " not installed (scripts/bootstrap installs them)";
}

bool Vkd3dCheck(const std::vector<uint8_t>& vContainer, std::string& strOutput)
{
    // Tests run in a directory of their own, so fixed names don't collide.
    const std::string strContainer = "vkd3d_check.dxbc";
    const std::string strModule = "vkd3d_check.spv";
    {
        std::ofstream file(strContainer, std::ios::binary);
        file.write(reinterpret_cast<const char*>(vContainer.data()),
                   std::streamsize(vContainer.size()));
    }
    std::remove(strModule.c_str());
    return RunTool({"vkd3d-compiler", "-x", "dxbc-tpf", "-b", "spirv-binary", "-o", strModule,
                    strContainer},
                   "vkd3d_compiler.log", strOutput) &&
           RunTool({"spirv-val", strModule}, "spirv_val.log", strOutput);
}
} // namespace XAN_Test
