#ifndef XAN_PLATFORM_GPU_FAMILY_H
#define XAN_PLATFORM_GPU_FAMILY_H

#include <string>

namespace XAN_Platform
{
// Whether a GPU family name (a device name such as "Fennel", or the lower-case name of a
// metadata "device" line) belongs to the older family: 32-bit addresses, private memory in
// indexed temps. The case of the letters doesn't matter.
bool IsOlderGPUFamily(const std::string& strName);
} // namespace XAN_Platform

#endif
