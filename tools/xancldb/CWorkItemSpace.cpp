#include "CWorkItemSpace.h"

namespace XAN_Xancldb
{
namespace
{
const size_t ROW_WITHOUT_GROUPS = 64;
const size_t BITMAP_WIDTH = 64;
} // namespace

CWorkItemSpace::CWorkItemSpace(uint32_t nDimensions, const size_t* pGlobal, const size_t* pLocal,
                               const size_t* pOffset)
    : m_nDimensions(nDimensions)
{
    for (uint32_t d = 0; d < nDimensions && d < 3; ++d)
    {
        m_vGlobal[d] = pGlobal[d];
        m_vOffset[d] = pOffset != nullptr ? pOffset[d] : 0;
        m_vLocal[d] = pLocal != nullptr ? pLocal[d] : 0;
    }
    if (pLocal == nullptr)
    {
        m_vLocal[0] = 0;
    }
}

size_t CWorkItemSpace::GetGroupCount() const
{
    if (m_vLocal[0] == 0)
    {
        return 1;
    }
    size_t nGroups = 1;
    for (int d = 0; d < 3; ++d)
    {
        nGroups *= (m_vGlobal[d] + m_vLocal[d] - 1) / m_vLocal[d];
    }
    return nGroups;
}

std::vector<size_t> CWorkItemSpace::GetId(size_t nFlat) const
{
    std::vector<size_t> vId(m_nDimensions);
    for (uint32_t d = 0; d < m_nDimensions; ++d)
    {
        vId[d] = nFlat % m_vGlobal[d] + m_vOffset[d];
        nFlat /= m_vGlobal[d];
    }
    return vId;
}

std::string CWorkItemSpace::GetName(size_t nFlat) const
{
    const std::vector<size_t> vId = GetId(nFlat);
    if (vId.size() == 1)
    {
        return std::to_string(vId[0]);
    }
    std::string strName;
    for (size_t nCoordinate : vId)
    {
        strName += (strName.empty() ? "(" : ",") + std::to_string(nCoordinate);
    }
    return strName + ")";
}

bool CWorkItemSpace::FindFlat(const std::vector<uint64_t>& vId, size_t& nFlat,
                              std::string& strError) const
{
    if (vId.empty() || vId.size() > m_nDimensions)
    {
        strError = "the launch has " + std::to_string(m_nDimensions) + " dimension" +
                   (m_nDimensions > 1 ? "s" : "") + ", " + std::to_string(vId.size()) +
                   " coordinates given";
        return false;
    }
    static const char* const s_Axes[] = {"x", "y", "z"};
    // Coordinates left out are the first of their dimension: they add nothing.
    nFlat = 0;
    for (size_t d = vId.size(); d-- > 0;)
    {
        if (vId[d] < m_vOffset[d] || vId[d] >= m_vOffset[d] + m_vGlobal[d])
        {
            strError = std::string("work-item ") + s_Axes[d] + " = " + std::to_string(vId[d]) +
                       " is outside the launch, whose " + s_Axes[d] + " runs from " +
                       std::to_string(m_vOffset[d]) + " to " +
                       std::to_string(m_vOffset[d] + m_vGlobal[d] - 1);
            return false;
        }
        nFlat = nFlat * m_vGlobal[d] + size_t(vId[d] - m_vOffset[d]);
    }
    return true;
}

std::vector<std::pair<size_t, size_t>> CWorkItemSpace::GetRuns(const std::vector<size_t>& vFlat)
{
    std::vector<std::pair<size_t, size_t>> vRuns;
    for (size_t nFlat : vFlat)
    {
        if (!vRuns.empty() && vRuns.back().second + 1 == nFlat)
        {
            vRuns.back().second = nFlat;
        }
        else
        {
            vRuns.emplace_back(nFlat, nFlat);
        }
    }
    return vRuns;
}

std::string CWorkItemSpace::FormatRuns(const std::vector<size_t>& vFlat) const
{
    std::string strText;
    for (const std::pair<size_t, size_t>& run : GetRuns(vFlat))
    {
        strText += (strText.empty() ? "" : ", ") + GetName(run.first);
        if (run.second != run.first)
        {
            strText += "-" + GetName(run.second);
        }
    }
    return strText.empty() ? "none" : strText;
}

std::string CWorkItemSpace::FormatMask(const std::vector<bool>& vActive) const
{
    std::vector<size_t> vOn;
    for (size_t i = 0; i < vActive.size(); ++i)
    {
        if (vActive[i])
        {
            vOn.push_back(i);
        }
    }
    std::string strText = "active: " + std::to_string(vOn.size()) + " of " +
                          std::to_string(vActive.size()) + " work-items: " + FormatRuns(vOn) + "\n";
    if (m_vLocal[0] == 0)
    {
        for (size_t nStart = 0; nStart < vActive.size(); nStart += ROW_WITHOUT_GROUPS)
        {
            strText += "  " + GetName(nStart) + ": ";
            for (size_t i = nStart; i < vActive.size() && i < nStart + ROW_WITHOUT_GROUPS; ++i)
            {
                strText += vActive[i] ? '#' : '.';
            }
            strText += "\n";
        }
        return strText;
    }
    // Each group's work-items in their local order, wrapped at the bitmap's width.
    const size_t vGroups[3] = {(m_vGlobal[0] + m_vLocal[0] - 1) / m_vLocal[0],
                               (m_vGlobal[1] + m_vLocal[1] - 1) / m_vLocal[1],
                               (m_vGlobal[2] + m_vLocal[2] - 1) / m_vLocal[2]};
    for (size_t gz = 0; gz < vGroups[2]; ++gz)
    {
        for (size_t gy = 0; gy < vGroups[1]; ++gy)
        {
            for (size_t gx = 0; gx < vGroups[0]; ++gx)
            {
                std::string strGroup = std::to_string(gx);
                if (m_nDimensions > 1)
                {
                    strGroup = "(" + strGroup + "," + std::to_string(gy) +
                               (m_nDimensions > 2 ? "," + std::to_string(gz) : "") + ")";
                }
                std::string strBits;
                for (size_t z = gz * m_vLocal[2]; z < (gz + 1) * m_vLocal[2] && z < m_vGlobal[2];
                     ++z)
                {
                    for (size_t y = gy * m_vLocal[1];
                         y < (gy + 1) * m_vLocal[1] && y < m_vGlobal[1]; ++y)
                    {
                        for (size_t x = gx * m_vLocal[0];
                             x < (gx + 1) * m_vLocal[0] && x < m_vGlobal[0]; ++x)
                        {
                            const size_t nFlat = (z * m_vGlobal[1] + y) * m_vGlobal[0] + x;
                            strBits += nFlat < vActive.size() && vActive[nFlat] ? '#' : '.';
                        }
                    }
                }
                strText += "  group " + strGroup + ":";
                for (size_t i = 0; i < strBits.size(); i += BITMAP_WIDTH)
                {
                    strText += (i == 0 ? " " : "\n    ") + strBits.substr(i, BITMAP_WIDTH);
                }
                strText += "\n";
            }
        }
    }
    return strText;
}
} // namespace XAN_Xancldb
