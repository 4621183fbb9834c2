#ifndef XAN_PLATFORM_CSDBG_WRITER_H
#define XAN_PLATFORM_CSDBG_WRITER_H

#include "CSDBGScenario.h"

#include <cstdint>
#include <vector>

namespace XAN_Platform
{
// Writes the "SDBG" chunk of a scenario: the chunk header, the 21-word header, the seven
// tables, the index area of the scope lists and the string area. Words that no reader
// interprets are 0.
class CSDBGWriter
{
public:
    // Record sizes in bytes.
    static const uint32_t HEADER_SIZE = 84;
    static const uint32_t FILE_SIZE = 16;
    static const uint32_t INSTRUCTION_SIZE = 396;
    static const uint32_t VARIABLE_SIZE = 24;
    static const uint32_t INPUT_SIZE = 24;
    static const uint32_t TOKEN_SIZE = 20;
    static const uint32_t SCOPE_SIZE = 20;
    static const uint32_t SCOPE_VARIABLE_SIZE = 44;

    // The whole chunk, its size a multiple of 4.
    static std::vector<uint8_t> Write(const CSDBGScenario& scenario);
};
} // namespace XAN_Platform

#endif
