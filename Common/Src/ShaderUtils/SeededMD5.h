#ifndef SU_SEEDED_MD5_H
#define SU_SEEDED_MD5_H

#include <cstddef>
#include <cstdint>

namespace ShaderUtils
{
// An MD5 context whose start can be moved by a seed; seed 0 is the ordinary start.
struct MD5Context
{
    uint32_t nState[4];
    uint32_t nCount[2]; // bits hashed, low word first
    uint8_t buffer[64];
};

void MD5Init(MD5Context& ctx, uint32_t nSeed);
void MD5Update(MD5Context& ctx, const void* pData, uint32_t nLength);

// The final step of the shader container hash, in place of the ordinary padding: the bit length
// goes first in the last block and (bits >> 2) | 1 last. Gives the state's 16 bytes.
void MD5ContainerFinal(MD5Context& ctx, uint8_t (&digest)[16]);

// The container hash of nLength bytes: seed 0, the bytes, the container's final step.
void ComputeContainerHash(const void* pData, uint32_t nLength, uint8_t (&digest)[16]);
} // namespace ShaderUtils

#endif
