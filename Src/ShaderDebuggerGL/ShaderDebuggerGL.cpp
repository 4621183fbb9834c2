#include "ShaderDebuggerGL/ShaderDebuggerGL.h"

#include "ShaderDebuggerGL/ShaderDebuggerShaderGL.h"
#include "ShaderDebuggerHost.h"

#include <memory>
#include <new>

namespace XAN_ShaderDebugger
{
CShaderDebuggerGL::CShaderDebuggerGL(CShaderDebuggerHost* pHost) : CShaderDebuggerBase(pHost) {}

CShaderDebuggerGL::~CShaderDebuggerGL()
{
    SDU_Assert(m_pHost, !m_bIsDebugging);
    if (m_bIsDebugging)
    {
        EndDebugging(false);
    }
}

bool CShaderDebuggerGL::StartDebugging(const void* pShaderData, size_t nSize, const void* pExtra,
                                       const uint32_t* pWorkSize, uint32_t)
{
    SDU_Assert(m_pHost, !m_bIsDebugging);
    // Nothing can be analysed or patched: a run never starts.
    CShaderDebuggerBase::StartDebugging(pShaderData, nSize, pExtra, pWorkSize);
    return false;
}

void CShaderDebuggerGL::EndDebugging(bool)
{
    if (m_bIsDebugging)
    {
        m_pHost->ResetDevice();
        m_bIsDebugging = false;
    }
}

bool CShaderDebuggerGL::GetShaderText(const void* pShaderData, size_t nSize, const void*,
                                      std::string& text, uint32_t nType)
{
    CShaderDebuggerShaderGL shader(this, pShaderData, nSize);
    return shader.GetShaderText(text, nType);
}

bool CShaderDebuggerGL::GetShaderKeywords(const void* pShaderData, size_t nSize, const void*,
                                          std::vector<std::string>& list, uint32_t nType)
{
    CShaderDebuggerShaderGL shader(this, pShaderData, nSize);
    return shader.GetShaderKeywords(list, nType);
}

bool CShaderDebuggerGL::GetShaderKeywords(std::vector<std::string>& list, uint32_t)
{
    list.clear();
    CShaderDebuggerShaderGL::AppendKeywords(list);
    return true;
}

bool CShaderDebuggerGL::GetShaderInfo(const void*, size_t, ShaderInfo*)
{
    return false;
}

bool CShaderDebuggerGL::Execute()
{
    return false;
}

bool CShaderDebuggerGL::Draw()
{
    return false;
}

bool CShaderDebuggerGL::Step()
{
    return false;
}

bool CShaderDebuggerGL::Back()
{
    return false;
}

bool CShaderDebuggerGL::Run()
{
    return false;
}

bool CShaderDebuggerGL::RunBack()
{
    return false;
}

uint32_t CShaderDebuggerGL::GetCurrentLine()
{
    return 0;
}

uint32_t CShaderDebuggerGL::GetNextLine()
{
    return 0;
}

uint32_t CShaderDebuggerGL::GetPreviousLine()
{
    return 0;
}

ProgramCounter CShaderDebuggerGL::GetCurrentInstruction()
{
    return ProgramCounter(0);
}

bool CShaderDebuggerGL::AddBreakPointAtLineNumber(uint32_t, uint32_t, uint32_t*)
{
    return false;
}

bool CShaderDebuggerGL::AddBreakPoint(uint32_t)
{
    return false;
}

bool CShaderDebuggerGL::RemoveBreakPoint(uint32_t)
{
    return false;
}

bool CShaderDebuggerGL::ToggleBreakPointAtLineNumber(uint32_t, bool)
{
    return false;
}

bool CShaderDebuggerGL::ToggleBreakPoint(uint32_t)
{
    return false;
}

bool CShaderDebuggerGL::IsBreakPoint(uint32_t)
{
    return false;
}

bool CShaderDebuggerGL::HasBreakPointBetween(uint32_t, uint32_t)
{
    return false;
}

uint32_t CShaderDebuggerGL::GetAllBreakpointInstructions(std::set<uint32_t>*)
{
    return 0;
}

CShaderDebuggerVariables* CShaderDebuggerGL::GetVariables(ShaderUtils::ThreadID&)
{
    return NULL;
}

ShaderUtils::SUBuffer* CShaderDebuggerGL::GetRegisterResultsBuffer(const varID&)
{
    return NULL;
}

ShaderUtils::SUBuffer* CShaderDebuggerGL::GetGlobalResultsBuffer(const varID&)
{
    SDU_ReportAssert(m_pHost, "Not Implemented", __FILE__, __LINE__, __PRETTY_FUNCTION__);
    return NULL;
}

ShaderUtils::SUBuffer* CShaderDebuggerGL::GetExecMaskBuffer()
{
    return NULL;
}
} // namespace XAN_ShaderDebugger
