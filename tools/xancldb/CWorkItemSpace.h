#ifndef XAN_TOOLS_XANCLDB_CWORKITEMSPACE_H
#define XAN_TOOLS_XANCLDB_CWORKITEMSPACE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace XAN_Xancldb
{
// The work-items of one launch. The debugger's arrays hold one entry per work-item in flat
// order, (z * global y + y) * global x + x with ids counted from the launch's offset; people
// name a work-item by its global id, as get_global_id gives it.
class CWorkItemSpace
{
public:
    // Without a local size (null) the platform's choice of groups is unknown: the bitmaps of
    // the mask then show rows of 64 work-items instead of work-groups.
    CWorkItemSpace(uint32_t nDimensions, const size_t* pGlobal, const size_t* pLocal,
                   const size_t* pOffset);

    uint32_t GetDimensions() const { return m_nDimensions; }
    size_t GetCount() const { return m_vGlobal[0] * m_vGlobal[1] * m_vGlobal[2]; }
    size_t GetGroupCount() const;
    const size_t* GetGlobal() const { return m_vGlobal; }
    const size_t* GetLocal() const { return m_vLocal; }
    const size_t* GetOffset() const { return m_vOffset; }

    // The global id of a flat index, and its text: "5" or "(5,3)".
    std::vector<size_t> GetId(size_t nFlat) const;
    std::string GetName(size_t nFlat) const;
    // The flat index of a global id given in as many coordinates as the user typed; false with
    // the reason when it lies outside the launch.
    bool FindFlat(const std::vector<uint64_t>& vId, size_t& nFlat, std::string& strError) const;

    // Sorted flat indices as runs of consecutive indices, and as text: "0-15, 32-47".
    static std::vector<std::pair<size_t, size_t>> GetRuns(const std::vector<size_t>& vFlat);
    std::string FormatRuns(const std::vector<size_t>& vFlat) const;

    // The active work-items as ranges, then a bitmap of each work-group: '#' active, '.' not.
    std::string FormatMask(const std::vector<bool>& vActive) const;

private:
    uint32_t m_nDimensions;
    size_t m_vGlobal[3] = {1, 1, 1};
    size_t m_vLocal[3] = {1, 1, 1};
    size_t m_vOffset[3] = {0, 0, 0};
};
} // namespace XAN_Xancldb

#endif
