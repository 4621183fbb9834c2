#ifndef XAN_PLATFORM_EMPTY_KERNEL_IMAGE_H
#define XAN_PLATFORM_EMPTY_KERNEL_IMAGE_H

#include <cstdint>
#include <vector>

namespace XAN_Platform
{
// A 64-bit little-endian ELF image of type nType (ET_EXEC for program binaries, ET_REL for the
// compiler library's objects) with no program headers and only its three tables: the section
// names, the symbol names and a symbol table holding the null symbol. CElf then fills it.
std::vector<char> MakeEmptyKernelImage(uint16_t nType);
} // namespace XAN_Platform

#endif
