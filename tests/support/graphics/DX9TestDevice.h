#ifndef XAN_TEST_DX9_TEST_DEVICE_H
#define XAN_TEST_DX9_TEST_DEVICE_H

#include "CDX9Executor.h"
#include "GraphicsTestDevice.h"

namespace XAN_Test
{
// The test device of DX9 pixel shaders: the platform's disassembler and executor. Every draw is
// traced, so that a test compares what it shows with what the pixels executed.
class CDX9TestDevice : public CGraphicsTestDevice
{
public:
    CDX9TestDevice(uint32_t nWidth, uint32_t nHeight) : CGraphicsTestDevice(nWidth, nHeight) {}

    // The length of DX9 code up to and including its end token, from the instructions' lengths.
    static size_t CountTokens(const std::uint32_t* pTokens);

    // The application's constant registers.
    XAN_Platform::SDX9Constants m_Constants;

protected:
    std::vector<std::uint32_t> ReadShaderCode(const void* pData, size_t nSize) const override;
    bool Disassemble(const std::vector<std::uint32_t>& vTokens, std::string& text) override;
    bool DrawShader(const std::vector<std::uint32_t>& vTokens,
                    const std::array<std::shared_ptr<CTestImage>, TARGET_COUNT>& targets) override;

private:
    XAN_Platform::CDX9Executor m_Executor;
};
} // namespace XAN_Test

#endif
