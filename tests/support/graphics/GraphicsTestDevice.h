#ifndef XAN_TEST_GRAPHICS_TEST_DEVICE_H
#define XAN_TEST_GRAPHICS_TEST_DEVICE_H

#include "BufferDesc.h"
#include "ShaderDebuggerHost.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace XAN_Test
{
// A resource of the test device: a description and its bytes. Bindings and wrappers share it, so
// that deleting a wrapper never frees what is bound.
struct CTestImage
{
    BufferDesc desc;
    std::vector<std::uint8_t> vData;
};

// A shader object of the test device, counted by reference.
struct CTestShader
{
    std::vector<std::uint32_t> vTokens;
    int nReferences = 1;
};

class CGraphicsTestDevice;

// A wrapper of one image, as the device hands it out.
class CGraphicsTestBuffer : public XAN_ShaderDebugger::CShaderDebuggerDeviceBuffer
{
public:
    CGraphicsTestBuffer(CGraphicsTestDevice* pDevice, std::shared_ptr<CTestImage> pImage);
    ~CGraphicsTestBuffer() override;

    bool Create(const BufferDesc& desc) override;
    XAN_ShaderDebugger::CShaderDebuggerBuffer*
    GetDataBuffer(XAN_ShaderDebugger::CShaderDebuggerBuffer* pDataBuffer) override;
    const void* GetDeviceBuffer() override { return m_pImage.get(); }
    bool Clear() override;
    bool SaveToFile(const std::string&) override { return false; }
    bool UpdateData(const void* pData, size_t nBufferSize) override;

    const std::shared_ptr<CTestImage>& GetImage() const { return m_pImage; }

private:
    CGraphicsTestDevice* m_pDevice; // not owned
    std::shared_ptr<CTestImage> m_pImage;
};

// The operations whose Nth call a test can make fail.
enum EInjectedFailure
{
    FAIL_CreateShader,
    FAIL_ExecuteShader,
    FAIL_CreateDeviceBuffer,
    FAIL_GetDeviceBufferDesc,
    FAIL_Count
};

// A graphics device for the debuggers' tests: the application's bound state (a shader per stage,
// render targets 0-7, constants, the draw to re-issue), reference-counted shader handles, and a
// draw through a reference executor, which a derived device supplies.
class CGraphicsTestDevice : public XAN_ShaderDebugger::CShaderDebuggerDevice
{
public:
    static const uint32_t TARGET_COUNT = 8;

    CGraphicsTestDevice(uint32_t nWidth, uint32_t nHeight);
    ~CGraphicsTestDevice() override;

    // What the application does before the debugger comes: create and bind its shader, bind
    // targets of a format (BF_RGBA32 or BF_RGBA8).
    void* CreateApplicationShader(uint32_t nShaderType, const std::vector<std::uint32_t>& vTokens);
    void BindApplicationTarget(uint32_t nIndex, BufferFormat format);
    // Remembers the application's bindings, which the discipline check compares with.
    void CaptureApplicationState();

    // The Nth call from now of an operation fails (1: the next one).
    void InjectFailure(EInjectedFailure failure, int nCall) { m_nFailAt[failure] = nCall; }

    // Draws the bound shader of a stage into the bound targets.
    bool Draw();

    // After each debugger call: the application's shader and targets are bound, and no shader
    // reference is held beyond the application's, the bindings' and the patched shaders'. After
    // the end of a run: no buffer of the debugger lives, and ResetDevice was called.
    ::testing::AssertionResult CheckDiscipline(bool bEnded) const;

    const std::shared_ptr<CTestImage>& GetTarget(uint32_t nIndex) const;
    CTestShader* GetBoundShader(uint32_t nShaderType) const;
    size_t GetLiveShaderCount() const { return m_Shaders.size(); }
    int GetCreateShaderCount() const { return m_nCalls[FAIL_CreateShader]; }
    int GetExecuteCount() const { return m_nCalls[FAIL_ExecuteShader]; }

    bool InitDevice() override;
    bool ResetDevice() override;
    bool GetDeviceBufferDesc(uint32_t nShaderType, int32_t nIndex, BufferDesc* pDesc) override;
    XAN_ShaderDebugger::CShaderDebuggerDeviceBuffer*
    CreateDeviceBuffer(const BufferDesc& desc) override;
    uint32_t GetNumDeviceBuffers(uint32_t nShaderType) override;
    XAN_ShaderDebugger::CShaderDebuggerDeviceBuffer* GetDeviceBuffer(uint32_t nShaderType,
                                                                     uint32_t nIndex) override;
    XAN_ShaderDebugger::CShaderDebuggerDeviceBuffer* GetDeviceBuffer(uint32_t nShaderType,
                                                                     std::string strName) override;
    bool SetDeviceBuffer(uint32_t nShaderType, uint32_t nIndex,
                         XAN_ShaderDebugger::CShaderDebuggerDeviceBuffer* pBuffer) override;
    bool SetDeviceBuffer(uint32_t nShaderType, std::string strName,
                         XAN_ShaderDebugger::CShaderDebuggerDeviceBuffer* pBuffer) override;
    bool CreateShader(uint32_t nShaderType, const void* pData, size_t nSize,
                      void** pExtra) override;
    bool SetShader(uint32_t nShaderType, const void* pData, size_t nSize) override;
    void* GetShader(uint32_t nShaderType) override;
    void ReleaseShader(void* pShader) override;
    std::string GetShaderName(uint32_t nShaderType) override;
    bool DisassembleShader(const void* pData, size_t nSize, std::string& text) override;

    // Buffers that the device handed out and nobody deleted yet.
    int m_nLiveBuffers = 0;

protected:
    // The tokens of shader code given with a size, or read to its end token for size 0.
    virtual std::vector<std::uint32_t> ReadShaderCode(const void* pData, size_t nSize) const = 0;
    virtual bool Disassemble(const std::vector<std::uint32_t>& vTokens, std::string& text) = 0;
    // Draws a shader over the grid into the bound targets.
    virtual bool
    DrawShader(const std::vector<std::uint32_t>& vTokens,
               const std::array<std::shared_ptr<CTestImage>, TARGET_COUNT>& targets) = 0;

    uint32_t m_nWidth;
    uint32_t m_nHeight;

private:
    // Counts a call; true when it is the one that must fail.
    bool Fails(EInjectedFailure failure);
    void AddReference(CTestShader* pShader);
    bool IsLive(const CTestShader* pShader) const;

    std::map<uint32_t, CTestShader*> m_BoundShaders; // each binding holds a reference
    std::map<CTestShader*, bool> m_Shaders;          // live shaders
    std::array<std::shared_ptr<CTestImage>, TARGET_COUNT> m_Targets;
    std::map<uint32_t, CTestShader*> m_ApplicationShaders;
    std::array<std::shared_ptr<CTestImage>, TARGET_COUNT> m_ApplicationTargets;
    std::array<int, FAIL_Count> m_nFailAt{};
    std::array<int, FAIL_Count> m_nCalls{};
    int m_nResets = 0;
};

// The host over a test device: it draws through the device and keeps every log line.
class CGraphicsTestHost : public XAN_ShaderDebugger::CShaderDebuggerHost
{
public:
    // Takes ownership of the device.
    explicit CGraphicsTestHost(CGraphicsTestDevice* pDevice)
        : CShaderDebuggerHost(pDevice), m_pTestDevice(pDevice)
    {
    }

    bool ExecuteShader() override { return m_pTestDevice->Draw(); }
    void Log(uint32_t nLevel, const std::string& strText) override
    {
        m_vLog.push_back(std::make_pair(nLevel, strText));
    }
    // Whether a line at the level holds the text.
    bool HasLogged(uint32_t nLevel, const std::string& strText) const;

    CGraphicsTestDevice& Device() const { return *m_pTestDevice; }

    std::vector<std::pair<uint32_t, std::string>> m_vLog;

private:
    CGraphicsTestDevice* m_pTestDevice; // owned by the base
};
} // namespace XAN_Test

#endif
