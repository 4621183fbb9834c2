#include "CPrintfFormatter.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace XAN_Platform
{
namespace
{
const char* const PRINTF_PREFIX = ";printf_fn:";

// The escapes the compiler writes: \\ and \ooo.
bool Unescape(const std::string& str, std::string& strText)
{
    for (size_t i = 0; i < str.size(); ++i)
    {
        if (str[i] != '\\')
        {
            strText += str[i];
        }
        else if (i + 1 < str.size() && str[i + 1] == '\\')
        {
            strText += '\\';
            ++i;
        }
        else if (i + 3 < str.size() && str.find_first_not_of("01234567", i + 1) >= i + 4)
        {
            strText += char(std::stoi(str.substr(i + 1, 3), nullptr, 8));
            i += 3;
        }
        else
        {
            return false;
        }
    }
    return true;
}

// The unsigned number of a field; false when it is none.
bool Number(const std::string& str, uint32_t& n)
{
    if (str.empty() || str.size() > 9 || str.find_first_not_of("0123456789") != std::string::npos)
    {
        return false;
    }
    n = uint32_t(std::stoul(str));
    return true;
}

template <class T> T ValueAt(const uint8_t* p)
{
    T value;
    std::memcpy(&value, p, sizeof(value));
    return value;
}
} // namespace

bool CPrintfFormatter::Read(const std::string& strMetadata, std::string& strError)
{
    std::istringstream lines(strMetadata);
    std::string strLine;
    while (std::getline(lines, strLine))
    {
        if (strLine.compare(0, std::strlen(PRINTF_PREFIX), PRINTF_PREFIX) != 0)
        {
            continue;
        }
        // ID, N, the N sizes and the length are fields of their own; the format is the rest.
        std::vector<uint32_t> vFields;
        size_t nAt = std::strlen(PRINTF_PREFIX);
        uint32_t nValue = 0;
        while (vFields.size() < 2 || vFields.size() < vFields[1] + 3)
        {
            const size_t nEnd = strLine.find(':', nAt);
            if (nEnd == std::string::npos || !Number(strLine.substr(nAt, nEnd - nAt), nValue) ||
                (vFields.size() == 1 && nValue > 1024))
            {
                strError = "a printf line that can't be read: " + strLine;
                return false;
            }
            vFields.push_back(nValue);
            nAt = nEnd + 1;
        }
        SCall call;
        call.vSizes.assign(vFields.begin() + 2, vFields.end() - 1);
        if (!Unescape(strLine.substr(nAt), call.strFormat) ||
            call.strFormat.size() != vFields.back())
        {
            strError = "the format of a printf line doesn't have its length: " + strLine;
            return false;
        }
        m_Calls[vFields[0]] = call;
    }
    return true;
}

std::string CPrintfFormatter::Format(const uint8_t* pRecords, size_t nBytes) const
{
    std::string strText;
    size_t nAt = 0;
    while (nAt + 4 <= nBytes)
    {
        auto it = m_Calls.find(ValueAt<uint32_t>(pRecords + nAt));
        if (it == m_Calls.end())
        {
            break;
        }
        const SCall& call = it->second;
        size_t nRecord = 4;
        for (uint32_t nSize : call.vSizes)
        {
            nRecord += (size_t(nSize) + 3) / 4 * 4;
        }
        if (nRecord > nBytes - nAt)
        {
            break;
        }
        const uint8_t* pArg = pRecords + nAt + 4;
        size_t nArg = 0;
        const std::string& strFormat = call.strFormat;
        for (size_t i = 0; i < strFormat.size(); ++i)
        {
            if (strFormat[i] != '%')
            {
                strText += strFormat[i];
                continue;
            }
            const size_t nEnd = strFormat.find_first_of("diouxXfFeEgGaAcp%", i + 1);
            if (nEnd == std::string::npos)
            {
                break;
            }
            const std::string strConversion = strFormat.substr(i, nEnd - i + 1);
            i = nEnd;
            if (strConversion == "%%")
            {
                strText += '%';
            }
            else if (nArg < call.vSizes.size())
            {
                strText += Conversion(strConversion, pArg, call.vSizes[nArg]);
                pArg += (call.vSizes[nArg] + 3) / 4 * 4;
                ++nArg;
            }
        }
        nAt += nRecord;
    }
    return strText;
}

// One conversion of one argument: a vector's elements joined by commas, each printed with
// the flags, width and precision of the conversion. The element's size comes from the
// argument, so the length modifiers only say what the source meant.
std::string CPrintfFormatter::Conversion(const std::string& strConversion, const uint8_t* pValue,
                                         uint32_t nSize)
{
    std::string strFlags;
    uint32_t nLanes = 1;
    size_t i = 1;
    while (i + 1 < strConversion.size())
    {
        const char c = strConversion[i];
        if (c == 'v')
        {
            char* pEnd = nullptr;
            nLanes = uint32_t(std::strtoul(strConversion.c_str() + i + 1, &pEnd, 10));
            i = size_t(pEnd - strConversion.c_str());
        }
        else
        {
            if (c != 'h' && c != 'l')
            {
                strFlags += c;
            }
            ++i;
        }
    }
    // Binaries are read from anywhere: only flags, width and precision reach snprintf.
    if (strFlags.find_first_not_of("-+ #0123456789.") != std::string::npos)
    {
        return strConversion;
    }
    const char cConversion = strConversion.back();
    const uint32_t nElement = nLanes != 0 && nSize % nLanes == 0 ? nSize / nLanes : 0;
    std::string strText;
    char vBuffer[512];
    for (uint32_t l = 0; l < nLanes && nElement != 0; ++l)
    {
        const uint8_t* p = pValue + l * nElement;
        std::string strPrefix;
        vBuffer[0] = '\0';
        if (std::strchr("fFeEgGaA", cConversion) != nullptr)
        {
            const double d = nElement == 8 ? ValueAt<double>(p) : double(ValueAt<float>(p));
            std::snprintf(vBuffer, sizeof(vBuffer), ("%" + strFlags + cConversion).c_str(), d);
        }
        else if (cConversion == 'p')
        {
            const uint64_t n = nElement == 8 ? ValueAt<uint64_t>(p) : ValueAt<uint32_t>(p);
            std::snprintf(vBuffer, sizeof(vBuffer), ("%" + strFlags + "llx").c_str(),
                          static_cast<unsigned long long>(n));
            strPrefix = "0x";
        }
        else
        {
            // Integers widened to 64 bits as their conversion reads them.
            const bool bSigned = cConversion == 'd' || cConversion == 'i' || cConversion == 'c';
            int64_t n = 0;
            switch (nElement)
            {
            case 1:
                n = bSigned ? ValueAt<int8_t>(p) : ValueAt<uint8_t>(p);
                break;
            case 2:
                n = bSigned ? ValueAt<int16_t>(p) : ValueAt<uint16_t>(p);
                break;
            case 4:
                n = bSigned ? ValueAt<int32_t>(p) : int64_t(ValueAt<uint32_t>(p));
                break;
            default:
                n = ValueAt<int64_t>(p);
                break;
            }
            if (cConversion == 'c')
            {
                std::snprintf(vBuffer, sizeof(vBuffer), ("%" + strFlags + "c").c_str(), int(n));
            }
            else
            {
                std::snprintf(vBuffer, sizeof(vBuffer),
                              ("%" + strFlags + "ll" + cConversion).c_str(),
                              static_cast<long long>(n));
            }
        }
        strText += (l > 0 ? "," : "") + strPrefix + vBuffer;
    }
    return strText;
}
} // namespace XAN_Platform
