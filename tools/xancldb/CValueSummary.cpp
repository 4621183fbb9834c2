#include "CValueSummary.h"

#include <cstdio>
#include <cstring>
#include <map>

namespace XAN_Xancldb
{
namespace
{
std::string FormatComponent(uint32_t nBits, char cFormat)
{
    char vText[32];
    switch (cFormat)
    {
    case 'u':
        std::snprintf(vText, sizeof(vText), "%u", nBits);
        break;
    case 'x':
        std::snprintf(vText, sizeof(vText), "0x%08x", nBits);
        break;
    case 'f':
    {
        float f;
        std::memcpy(&f, &nBits, sizeof(f));
        std::snprintf(vText, sizeof(vText), "%.9g", double(f));
        break;
    }
    default:
        std::snprintf(vText, sizeof(vText), "%d", int32_t(nBits));
        break;
    }
    return vText;
}

// The components a format shows, as one key: values that differ only in hidden components
// are the same value to the reader.
RegisterValue Shown(const RegisterValue& value, const SValueFormat& format)
{
    RegisterValue shown = {0, 0, 0, 0};
    for (char c : format.strComponents)
    {
        const size_t i = size_t(c == 'w' ? 3 : c - 'x');
        shown[i] = value[i];
    }
    return shown;
}
} // namespace

std::string CValueSummary::FormatValue(const RegisterValue& value, const SValueFormat& format)
{
    std::string strText;
    for (char c : format.strComponents)
    {
        const size_t i = size_t(c == 'w' ? 3 : c - 'x');
        strText += (strText.empty() ? "" : ", ") + FormatComponent(value[i], format.cFormat);
    }
    return format.strComponents.size() == 1 ? strText : "(" + strText + ")";
}

std::string CValueSummary::Summarise(const CWorkItemSpace& space,
                                     const std::vector<RegisterValue>& vValues,
                                     const std::vector<bool>& vActive, const SValueFormat& format,
                                     size_t nMaxValues)
{
    std::map<RegisterValue, size_t> order;
    std::vector<std::pair<RegisterValue, std::vector<size_t>>> vGroups;
    std::vector<size_t> vInactive;
    for (size_t i = 0; i < vValues.size(); ++i)
    {
        if (i < vActive.size() && !vActive[i])
        {
            vInactive.push_back(i);
            continue;
        }
        const RegisterValue key = Shown(vValues[i], format);
        auto found = order.find(key);
        if (found == order.end())
        {
            found = order.emplace(key, vGroups.size()).first;
            vGroups.emplace_back(key, std::vector<size_t>());
        }
        vGroups[found->second].second.push_back(i);
    }
    std::string strText;
    for (size_t g = 0; g < vGroups.size() && g < nMaxValues; ++g)
    {
        const std::vector<size_t>& vItems = vGroups[g].second;
        strText += "  " + FormatValue(vGroups[g].first, format) + "  x" +
                   std::to_string(vItems.size()) + "  " + space.FormatRuns(vItems) + "\n";
    }
    if (vGroups.size() > nMaxValues)
    {
        strText += "  ... " + std::to_string(vGroups.size() - nMaxValues) +
                   " more distinct values (--full shows every work-item)\n";
    }
    if (!vInactive.empty())
    {
        strText += "  inactive  x" + std::to_string(vInactive.size()) + "  " +
                   space.FormatRuns(vInactive) + "\n";
    }
    return strText;
}

std::string CValueSummary::Table(const CWorkItemSpace& space,
                                 const std::vector<RegisterValue>& vValues,
                                 const std::vector<bool>& vActive, const SValueFormat& format)
{
    std::string strText;
    for (size_t i = 0; i < vValues.size(); ++i)
    {
        const bool bActive = i >= vActive.size() || vActive[i];
        strText += "  " + space.GetName(i) + ": " + FormatValue(vValues[i], format) +
                   (bActive ? "" : "  (inactive)") + "\n";
    }
    return strText;
}
} // namespace XAN_Xancldb
