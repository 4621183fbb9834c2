#ifndef XAN_TOOLS_XANCLDB_CVALUESUMMARY_H
#define XAN_TOOLS_XANCLDB_CVALUESUMMARY_H

#include "CWorkItemSpace.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Xancldb
{
// A register's value in one work-item: its four 32-bit components.
typedef std::array<uint32_t, 4> RegisterValue;

// How a register is shown: which components ("xyzw" or a part of it, in that order) and in
// which format, as gdb's print/FMT: 'd' signed, 'u' unsigned, 'x' hexadecimal, 'f' float.
struct SValueFormat
{
    std::string strComponents = "xyzw";
    char cFormat = 'd';
};

// The values of one register across the work-items of a launch.
class CValueSummary
{
public:
    // "(5, 0, 0, 0)", or the bare value for one component.
    static std::string FormatValue(const RegisterValue& value, const SValueFormat& format);

    // The distinct values of the active work-items, each with its count and the work-items that
    // hold it, in the order of their first work-item; then the inactive work-items. At most
    // nMaxValues lines of values, the rest counted.
    static std::string Summarise(const CWorkItemSpace& space,
                                 const std::vector<RegisterValue>& vValues,
                                 const std::vector<bool>& vActive, const SValueFormat& format,
                                 size_t nMaxValues);

    // Every work-item on a line of its own; inactive ones marked.
    static std::string Table(const CWorkItemSpace& space, const std::vector<RegisterValue>& vValues,
                             const std::vector<bool>& vActive, const SValueFormat& format);
};
} // namespace XAN_Xancldb

#endif
