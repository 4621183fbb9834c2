#ifndef XAN_TEST_VKD3D_CHECK_H
#define XAN_TEST_VKD3D_CHECK_H

#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Test
{
// Empty when vkd3d-compiler and spirv-val can run; otherwise why not, for a test's skip message.
std::string Vkd3dMissingTools();

// Translates a container with vkd3d-compiler to SPIR-V and validates the module with spirv-val.
// False on a non-zero exit, on a signal or on an invalid module; strOutput then holds what the
// failing tool said.
bool Vkd3dCheck(const std::vector<uint8_t>& vContainer, std::string& strOutput);
} // namespace XAN_Test

#endif
