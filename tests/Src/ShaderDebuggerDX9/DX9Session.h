#ifndef XAN_TEST_DX9_SESSION_H
#define XAN_TEST_DX9_SESSION_H

#include "DX9Corpus.h"
#include "DX9TestDevice.h"
#include "ShaderDebuggerDX9/ShaderDebuggerDX9.h"
#include "ShaderDebuggerDX9/ShaderDebuggerShaderDX9.h"

#include <memory>
#include <string>
#include <vector>

namespace XAN_Test
{
// A DX9 debugger on the test device, with an application that has bound a shader and a
// BF_RGBA32 target 0 of W × H pixels.
struct CDX9Session
{
    static const uint32_t WIDTH = 8;
    static const uint32_t HEIGHT = 4;

    explicit CDX9Session(const std::string& strText)
        : m_pDevice(new CDX9TestDevice(WIDTH, HEIGHT)), m_Host(m_pDevice),
          m_pDebugger(static_cast<XAN_ShaderDebugger::CShaderDebuggerDX9*>(
              XAN_ShaderDebugger::IShaderDebugger::CreateShaderDebugger(0, &m_Host))),
          m_vTokens(AssembleDX9OrFail(strText))
    {
        m_pApplicationShader = m_pDevice->CreateApplicationShader(1, m_vTokens);
        m_pDevice->BindApplicationTarget(0, BF_RGBA32);
        m_pDevice->CaptureApplicationState();
    }

    // A shader object on the session's tokens, as the debugger makes one.
    std::unique_ptr<XAN_ShaderDebugger::CShaderDebuggerShaderDX9> MakeShader() const
    {
        return std::unique_ptr<XAN_ShaderDebugger::CShaderDebuggerShaderDX9>(
            new XAN_ShaderDebugger::CShaderDebuggerShaderDX9(m_pDebugger, m_vTokens.data(),
                                                             m_vTokens.size() * sizeof(uint32_t)));
    }

    bool Start()
    {
        const uint32_t nWorkSize[5] = {2, WIDTH, HEIGHT, 1, 1};
        return m_pDebugger->StartDebugging(m_vTokens.data(), m_vTokens.size() * sizeof(uint32_t),
                                           NULL, nWorkSize, 0);
    }

    CDX9TestDevice* m_pDevice; // owned by the host
    CGraphicsTestHost m_Host;
    XAN_ShaderDebugger::CShaderDebuggerDX9* m_pDebugger; // owned by the host
    std::vector<uint32_t> m_vTokens;
    void* m_pApplicationShader;
};
} // namespace XAN_Test

#endif
