#ifndef XAN_TESTS_TOOLS_XANCLDB_XANCLDBRUN_H
#define XAN_TESTS_TOOLS_XANCLDB_XANCLDBRUN_H

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

// Runs the built xancldb as a person or a tool would, from the test's temporary folder.
namespace XAN_XancldbTest
{
struct SRun
{
    int nExit = -1;
    std::string strOut;
    std::string strErr;
    // The JSON objects of the output, one a line, with --json.
    std::vector<nlohmann::json> vObjects;
};

// xancldb with the options, the commands of strScript given by -x, and no terminal.
SRun RunXancldb(const std::string& strOptions, const std::string& strScript);

// The launch file of examples/launch.
std::string ExampleLaunch(const std::string& strName);

// The objects of one event ("halted", "error"...).
std::vector<nlohmann::json> Events(const SRun& run, const std::string& strEvent);
} // namespace XAN_XancldbTest

#endif
