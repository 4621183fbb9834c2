#ifndef XAN_PLATFORM_PLATFORM_CONSISTENCY_REPORT_H
#define XAN_PLATFORM_PLATFORM_CONSISTENCY_REPORT_H

namespace XAN_Platform
{
// Sends failed checks of the kernel metadata code to stderr. The ICD and the compiler library
// call it before they read metadata; calling it again does no harm.
void SetPlatformConsistencyReport();
} // namespace XAN_Platform

#endif
