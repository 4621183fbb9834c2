#include "PlatformConsistencyReport.h"

#include "CLMetadata.h"

#include <cstdio>

namespace XAN_Platform
{
namespace
{
// The platform has no log files of its own: a failed metadata check is a diagnostic for the
// person running the program, and the build that met it fails with its own build log.
void ReportOnStderr(const char* pFunction, const char* pCondition)
{
    std::fprintf(stderr, "Nordvane OpenCL: kernel metadata check failed in %s(): %s\n", pFunction,
                 pCondition);
}
} // namespace

void SetPlatformConsistencyReport()
{
    CCLMetadata::SetConsistencyReport(&ReportOnStderr);
}
} // namespace XAN_Platform
