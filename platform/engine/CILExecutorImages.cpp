// The image instructions of the executor: sample and load read an image bound to a resource
// id, uav_store writes one bound to a UAV id. An unbound id or an image outside the launch's
// memory reads the border colour and drops writes: an image instruction never faults.
#include "CILExecutor.h"

#include <algorithm>
#include <cstring>

namespace XAN_Platform
{
uint8_t* CILExecutor::FindImage(uint32_t nId, bool bUAV, SImageView& view)
{
    for (const SImageBinding& binding : m_State.vImages)
    {
        if (binding.nId != nId || binding.bUAV != bUAV)
        {
            continue;
        }
        view = binding.layout;
        // Up to the last texel, so that pitches of unused dimensions don't matter.
        const uint64_t nBytes =
            uint64_t(view.nSlicePitch) * (view.vExtent[2] - 1) +
            uint64_t(view.nRowPitch) * (view.vExtent[1] - 1) +
            uint64_t(view.vExtent[0]) *
                CImageSampler::GetElementSize(view.nChannelOrder, view.nChannelType);
        uint8_t* pData =
            nBytes <= UINT32_MAX ? TranslateGlobal(binding.nAddress, uint32_t(nBytes)) : nullptr;
        view.pData = pData;
        return pData;
    }
    return nullptr;
}

// sample_resource(r)_sampler(s) dst, coordinates: float coordinates in x, y, z.
void CILExecutor::ExecSample(const SInstruction& instruction)
{
    SImageView view;
    FindImage(instruction.nControl & 0xFFu, false, view);
    const uint32_t nSamplerId = instruction.nControl >> 8 & 0xFu;
    const uint32_t nSampler =
        nSamplerId < m_State.vSamplers.size() ? m_State.vSamplers[nSamplerId] : 0;
    const uint32_t* ppCoord[3] = {Fetch(instruction, 0, 0), Fetch(instruction, 0, 1),
                                  Fetch(instruction, 0, 2)};
    uint32_t* ppResult[4];
    for (unsigned int c = 0; c < 4; ++c)
    {
        ppResult[c] = Scratch(SLOT_RESULT + c);
    }
    for (size_t l = 0; l < m_nLanes; ++l)
    {
        float vCoord[3];
        for (unsigned int d = 0; d < 3; ++d)
        {
            std::memcpy(&vCoord[d], &ppCoord[d][l], sizeof(float));
        }
        uint32_t vTexel[4];
        CImageSampler::Sample(view, nSampler, vCoord, vTexel);
        for (unsigned int c = 0; c < 4; ++c)
        {
            ppResult[c][l] = vTexel[c];
        }
    }
    Commit(instruction, DestMask(instruction));
}

// load_resource(r) dst, coordinates: integer coordinates, no filtering.
void CILExecutor::ExecImageLoad(const SInstruction& instruction)
{
    SImageView view;
    FindImage(instruction.nControl & 0xFFu, false, view);
    const uint32_t* ppCoord[3] = {Fetch(instruction, 0, 0), Fetch(instruction, 0, 1),
                                  Fetch(instruction, 0, 2)};
    uint32_t* ppResult[4];
    for (unsigned int c = 0; c < 4; ++c)
    {
        ppResult[c] = Scratch(SLOT_RESULT + c);
    }
    for (size_t l = 0; l < m_nLanes; ++l)
    {
        const int32_t vCoord[3] = {int32_t(ppCoord[0][l]),
                                   view.nDimensions > 1 ? int32_t(ppCoord[1][l]) : 0,
                                   view.nDimensions > 2 ? int32_t(ppCoord[2][l]) : 0};
        uint32_t vTexel[4];
        CImageSampler::Load(view, vCoord, vTexel);
        for (unsigned int c = 0; c < 4; ++c)
        {
            ppResult[c][l] = vTexel[c];
        }
    }
    Commit(instruction, DestMask(instruction));
}

// uav_store_id(u) mem, coordinates, value: one texel per active work-item, lanes in order.
void CILExecutor::ExecImageStore(const SInstruction& instruction)
{
    SImageView view;
    uint8_t* pData = FindImage(instruction.nControl & 0x3FFu, true, view);
    if (pData == nullptr)
    {
        return;
    }
    const uint32_t* ppCoord[3] = {Fetch(instruction, 0, 0), Fetch(instruction, 0, 1),
                                  Fetch(instruction, 0, 2)};
    const uint32_t* ppValue[4] = {Fetch(instruction, 1, 0), Fetch(instruction, 1, 1),
                                  Fetch(instruction, 1, 2), Fetch(instruction, 1, 3)};
    for (size_t l = 0; l < m_nLanes; ++l)
    {
        if (m_vExec[l] == 0)
        {
            continue;
        }
        const int32_t vCoord[3] = {int32_t(ppCoord[0][l]),
                                   view.nDimensions > 1 ? int32_t(ppCoord[1][l]) : 0,
                                   view.nDimensions > 2 ? int32_t(ppCoord[2][l]) : 0};
        const uint32_t vValue[4] = {ppValue[0][l], ppValue[1][l], ppValue[2][l], ppValue[3][l]};
        CImageSampler::Write(view, vCoord, vValue, pData);
    }
}
} // namespace XAN_Platform
