#include "XancldbRun.h"

#include "support/TestSupport.h"

#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace XAN_XancldbTest
{
SRun RunXancldb(const std::string& strOptions, const std::string& strScript)
{
    std::ofstream("script.txt") << strScript;
    const std::string strCommand = std::string(XANCLDB_PATH) + " " + strOptions +
                                   " -x script.txt </dev/null >out.txt 2>err.txt";
    SRun run;
    const int nStatus = std::system(strCommand.c_str());
    run.nExit = WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
    run.strOut = XAN_Test::ReadFile("out.txt");
    run.strErr = XAN_Test::ReadFile("err.txt");
    std::istringstream lines(run.strOut);
    for (std::string strLine; std::getline(lines, strLine);)
    {
        if (!strLine.empty() && strLine[0] == '{')
        {
            run.vObjects.push_back(nlohmann::json::parse(strLine, nullptr, false));
        }
    }
    return run;
}

std::string ExampleLaunch(const std::string& strName)
{
    return std::string(XAN_EXAMPLES_DIR) + "/launch/" + strName + ".toml";
}

std::vector<nlohmann::json> Events(const SRun& run, const std::string& strEvent)
{
    std::vector<nlohmann::json> vEvents;
    for (const nlohmann::json& object : run.vObjects)
    {
        if (object.is_object() && object.value("event", "") == strEvent)
        {
            vEvents.push_back(object);
        }
    }
    return vEvents;
}
} // namespace XAN_XancldbTest
