#ifndef XAN_PLATFORM_CPRINTFFORMATTER_H
#define XAN_PLATFORM_CPRINTFFORMATTER_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace XAN_Platform
{
// The printf calls of a compiled kernel, read from the ";printf_fn:ID:N:SIZE...:LENGTH:FORMAT"
// lines of its metadata, and the text of the records that a launch leaves in its printf buffer:
// each record is the call's ID, then its N arguments, each padded to whole words.
class CPrintfFormatter
{
public:
    static const uint32_t BUFFER_BYTES = 1u << 20;
    // The buffer starts with the offset of its free space, which its records follow.
    static const uint32_t HEADER_BYTES = 8;

    // False with the reason when a printf line can't be read.
    bool Read(const std::string& strMetadata, std::string& strError);
    bool IsEmpty() const { return m_Calls.empty(); }

    // What the records of the buffer print. A record of no known call, or cut off by the end,
    // ends the text.
    std::string Format(const uint8_t* pRecords, size_t nBytes) const;

private:
    struct SCall
    {
        std::vector<uint32_t> vSizes;
        std::string strFormat;
    };

    static std::string Conversion(const std::string& strConversion, const uint8_t* pValue,
                                  uint32_t nSize);

    std::map<uint32_t, SCall> m_Calls;
};
} // namespace XAN_Platform

#endif
