#ifndef XAN_PLATFORM_CSDBG_FIXTURE_H
#define XAN_PLATFORM_CSDBG_FIXTURE_H

#include "CSDBGScenario.h"

#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Platform
{
// A scenario's shader as a debuggable container: its program assembled, with the signatures
// of its header lines and its debug data as an "SDBG" chunk behind the other chunks.
class CSDBGFixture
{
public:
    // False with a message when the scenario has no program or it doesn't assemble.
    static bool MakeContainer(const CSDBGScenario& scenario, std::vector<uint8_t>& vContainer,
                              std::string& strError);
};
} // namespace XAN_Platform

#endif
