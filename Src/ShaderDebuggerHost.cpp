#include "ShaderDebuggerHost.h"

#include "DebugOutput.h"

namespace XAN_ShaderDebugger
{
CShaderDebuggerHost::CShaderDebuggerHost(CShaderDebuggerDevice* pDevice)
    : m_pDebugger(NULL), m_pDevice(pDevice)
{
    if (m_pDevice != NULL)
    {
        m_pDevice->m_pHost = this;
    }
}

CShaderDebuggerHost::~CShaderDebuggerHost()
{
    delete m_pDebugger;
    m_pDebugger = NULL;
    delete m_pDevice;
    m_pDevice = NULL;
    SDU_ClearContext(this);
}

void CShaderDebuggerHost::RegisterDebugger(IShaderDebugger* pDebugger)
{
    SDU_Assert(this, m_pDebugger == NULL);
    SDU_Assert(this, pDebugger != NULL);
    m_pDebugger = pDebugger;
}

bool CShaderDebuggerHost::StartDebugging(const void* pShaderData, size_t nSize, const void* pExtra,
                                         const uint32_t* pWorkSize, uint32_t nMode)
{
    return m_pDebugger->StartDebugging(pShaderData, nSize, pExtra, pWorkSize, nMode);
}

void CShaderDebuggerHost::EndDebugging(bool bUpdateBuffers)
{
    m_pDebugger->EndDebugging(bUpdateBuffers);
}

bool CShaderDebuggerHost::IsDebugging()
{
    return m_pDebugger->IsDebugging();
}

bool CShaderDebuggerHost::Profile(const void* pShaderData, size_t nSize, const void* pExtra,
                                  void* pOut, const uint32_t* pWorkSize, uint32_t nMode)
{
    return m_pDebugger->Profile(pShaderData, nSize, pExtra, pOut, pWorkSize, nMode);
}

bool CShaderDebuggerHost::GetShaderText(const void* pShaderData, size_t nSize, const void* pExtra,
                                        std::string& text, uint32_t nType)
{
    return m_pDebugger->GetShaderText(pShaderData, nSize, pExtra, text, nType);
}

bool CShaderDebuggerHost::GetShaderText(std::string& text, uint32_t nType)
{
    return m_pDebugger->GetShaderText(text, nType);
}

bool CShaderDebuggerHost::GetShaderKeywords(const void* pShaderData, size_t nSize,
                                            const void* pExtra, std::vector<std::string>& list,
                                            uint32_t nType)
{
    return m_pDebugger->GetShaderKeywords(pShaderData, nSize, pExtra, list, nType);
}

bool CShaderDebuggerHost::GetShaderKeywords(std::vector<std::string>& list, uint32_t nType)
{
    return m_pDebugger->GetShaderKeywords(list, nType);
}

bool CShaderDebuggerHost::GetShaderInfo(const void* pShaderData, size_t nSize, ShaderInfo* pInfo)
{
    return m_pDebugger->GetShaderInfo(pShaderData, nSize, pInfo);
}

bool CShaderDebuggerHost::GetShaderInfo(ShaderInfo* pInfo)
{
    return m_pDebugger->GetShaderInfo(pInfo);
}

uint32_t CShaderDebuggerHost::GetDefaultDebugMode()
{
    return m_pDebugger->GetDefaultDebugMode();
}

bool CShaderDebuggerHost::SetDebugMode(uint32_t nMode)
{
    return m_pDebugger->SetDebugMode(nMode);
}

bool CShaderDebuggerHost::Execute()
{
    return m_pDebugger->Execute();
}

bool CShaderDebuggerHost::Draw()
{
    return m_pDebugger->Draw();
}

bool CShaderDebuggerHost::Step()
{
    return m_pDebugger->Step();
}

bool CShaderDebuggerHost::Back()
{
    return m_pDebugger->Back();
}

bool CShaderDebuggerHost::Run()
{
    return m_pDebugger->Run();
}

bool CShaderDebuggerHost::RunBack()
{
    return m_pDebugger->RunBack();
}

uint32_t CShaderDebuggerHost::GetCurrentLine()
{
    return m_pDebugger->GetCurrentLine();
}

uint32_t CShaderDebuggerHost::GetNextLine()
{
    return m_pDebugger->GetNextLine();
}

uint32_t CShaderDebuggerHost::GetPreviousLine()
{
    return m_pDebugger->GetPreviousLine();
}

ProgramCounter CShaderDebuggerHost::GetCurrentInstruction()
{
    return m_pDebugger->GetCurrentInstruction();
}

void CShaderDebuggerHost::SetThreadID(const ShaderUtils::ThreadID& id)
{
    m_pDebugger->SetThreadID(id);
}

ShaderUtils::ThreadID CShaderDebuggerHost::GetThreadID()
{
    return m_pDebugger->GetThreadID();
}

bool CShaderDebuggerHost::AddBreakPointAtLineNumber(uint32_t nLine, uint32_t nSearch,
                                                    uint32_t* pActualLine)
{
    return m_pDebugger->AddBreakPointAtLineNumber(nLine, nSearch, pActualLine);
}

bool CShaderDebuggerHost::AddBreakPoint(uint32_t nInstruction)
{
    return m_pDebugger->AddBreakPoint(nInstruction);
}

bool CShaderDebuggerHost::RemoveBreakPointAtLineNumber(uint32_t nLine)
{
    return m_pDebugger->RemoveBreakPointAtLineNumber(nLine);
}

bool CShaderDebuggerHost::RemoveBreakPoint(uint32_t nInstruction)
{
    return m_pDebugger->RemoveBreakPoint(nInstruction);
}

bool CShaderDebuggerHost::RemoveAllBreakPoints()
{
    return m_pDebugger->RemoveAllBreakPoints();
}

bool CShaderDebuggerHost::ToggleBreakPointAtLineNumber(uint32_t nLine, bool bSearch)
{
    return m_pDebugger->ToggleBreakPointAtLineNumber(nLine, bSearch);
}

bool CShaderDebuggerHost::ToggleBreakPoint(uint32_t nInstruction)
{
    return m_pDebugger->ToggleBreakPoint(nInstruction);
}

bool CShaderDebuggerHost::IsBreakPointAtLineNumber(uint32_t nLine)
{
    return m_pDebugger->IsBreakPointAtLineNumber(nLine);
}

bool CShaderDebuggerHost::IsBreakPoint(uint32_t nInstruction)
{
    return m_pDebugger->IsBreakPoint(nInstruction);
}

bool CShaderDebuggerHost::HasBreakPointBetweenLines(uint32_t nFirst, uint32_t nLast)
{
    return m_pDebugger->HasBreakPointBetweenLines(nFirst, nLast);
}

bool CShaderDebuggerHost::HasBreakPointBetween(uint32_t nFirstInstruction,
                                               uint32_t nLastInstruction)
{
    return m_pDebugger->HasBreakPointBetween(nFirstInstruction, nLastInstruction);
}

uint32_t CShaderDebuggerHost::GetAllBreakpoints(std::set<uint32_t>* pLines)
{
    return m_pDebugger->GetAllBreakpoints(pLines);
}

uint32_t CShaderDebuggerHost::GetAllBreakpointInstructions(std::set<uint32_t>* pInstructions)
{
    return m_pDebugger->GetAllBreakpointInstructions(pInstructions);
}

bool CShaderDebuggerHost::SetTrackingRegisters(const std::set<std::string>& registers)
{
    return m_pDebugger->SetTrackingRegisters(registers);
}

void CShaderDebuggerHost::GetTrackingRegisters(std::set<std::string>& registers)
{
    m_pDebugger->GetTrackingRegisters(registers);
}

void CShaderDebuggerHost::SetTrackSelectedRegisters(bool bTrackSelected)
{
    m_pDebugger->SetTrackSelectedRegisters(bTrackSelected);
}

bool CShaderDebuggerHost::IsTrackSelectedRegisters()
{
    return m_pDebugger->IsTrackSelectedRegisters();
}

CShaderDebuggerVariables* CShaderDebuggerHost::GetVariables(ShaderUtils::ThreadID& id)
{
    return m_pDebugger->GetVariables(id);
}

ShaderUtils::SUBuffer* CShaderDebuggerHost::GetRegisterResultsBuffer(const varID& request)
{
    return m_pDebugger->GetRegisterResultsBuffer(request);
}

ShaderUtils::SUBuffer* CShaderDebuggerHost::GetGlobalResultsBuffer(const varID& request)
{
    return m_pDebugger->GetGlobalResultsBuffer(request);
}

ShaderUtils::SUBuffer* CShaderDebuggerHost::GetExecMaskBuffer()
{
    return m_pDebugger->GetExecMaskBuffer();
}

uint32_t CShaderDebuggerHost::GetWorkSize0()
{
    return m_pDebugger->GetWorkSize0();
}

uint32_t CShaderDebuggerHost::GetWorkSize1()
{
    return m_pDebugger->GetWorkSize1();
}

uint32_t CShaderDebuggerHost::GetWorkSize2()
{
    return m_pDebugger->GetWorkSize2();
}

uint32_t CShaderDebuggerHost::GetWorkSize3()
{
    return m_pDebugger->GetWorkSize3();
}

uint32_t CShaderDebuggerHost::GetWorkSize4()
{
    return m_pDebugger->GetWorkSize4();
}

bool CShaderDebuggerHost::GetLastError(std::string& strError)
{
    return m_pDebugger != NULL && m_pDebugger->GetLastError(strError);
}

void CShaderDebuggerHost::SetLastError(const std::string& strError)
{
    if (m_pDebugger != NULL)
    {
        m_pDebugger->SetLastError(strError);
    }
}

uint32_t CShaderDebuggerHost::GetLogLevel()
{
    return m_pDebugger != NULL ? m_pDebugger->GetLogLevel() : 0;
}

void CShaderDebuggerHost::SetLogLevel(uint32_t nLevel)
{
    if (m_pDebugger != NULL)
    {
        m_pDebugger->SetLogLevel(nLevel);
    }
}

CShaderDebuggerHost* CShaderDebuggerHost::GetHost()
{
    return this;
}

bool CShaderDebuggerHost::InitDevice(const void*, size_t, const void*, const uint32_t*, uint32_t)
{
    return m_pDevice->InitDevice();
}

bool CShaderDebuggerHost::ResetDevice()
{
    return m_pDevice->ResetDevice();
}

bool CShaderDebuggerHost::GetDeviceBufferDesc(uint32_t nShaderType, int32_t nIndex,
                                              BufferDesc* pDesc)
{
    return m_pDevice->GetDeviceBufferDesc(nShaderType, nIndex, pDesc);
}

CShaderDebuggerDeviceBuffer* CShaderDebuggerHost::CreateDeviceBuffer(const BufferDesc& desc)
{
    return m_pDevice->CreateDeviceBuffer(desc);
}

uint32_t CShaderDebuggerHost::GetNumDeviceBuffers(uint32_t nShaderType)
{
    return m_pDevice->GetNumDeviceBuffers(nShaderType);
}

CShaderDebuggerDeviceBuffer* CShaderDebuggerHost::GetDeviceBuffer(uint32_t nShaderType,
                                                                  uint32_t nIndex)
{
    return m_pDevice->GetDeviceBuffer(nShaderType, nIndex);
}

CShaderDebuggerDeviceBuffer* CShaderDebuggerHost::GetDeviceBuffer(uint32_t nShaderType,
                                                                  std::string strName)
{
    return m_pDevice->GetDeviceBuffer(nShaderType, strName);
}

bool CShaderDebuggerHost::SetDeviceBuffer(uint32_t nShaderType, uint32_t nIndex,
                                          CShaderDebuggerDeviceBuffer* pBuffer)
{
    return m_pDevice->SetDeviceBuffer(nShaderType, nIndex, pBuffer);
}

bool CShaderDebuggerHost::SetDeviceBuffer(uint32_t nShaderType, std::string strName,
                                          CShaderDebuggerDeviceBuffer* pBuffer)
{
    return m_pDevice->SetDeviceBuffer(nShaderType, strName, pBuffer);
}

bool CShaderDebuggerHost::CreateShader(uint32_t nShaderType, const void* pData, size_t nSize,
                                       void** pExtra)
{
    return m_pDevice->CreateShader(nShaderType, pData, nSize, pExtra);
}

bool CShaderDebuggerHost::SetShader(uint32_t nShaderType, const void* pData, size_t nSize)
{
    return m_pDevice->SetShader(nShaderType, pData, nSize);
}

void* CShaderDebuggerHost::GetShader(uint32_t nShaderType)
{
    return m_pDevice->GetShader(nShaderType);
}

void CShaderDebuggerHost::ReleaseShader(void* pShader)
{
    m_pDevice->ReleaseShader(pShader);
}

std::string CShaderDebuggerHost::GetShaderName(uint32_t nShaderType)
{
    return m_pDevice->GetShaderName(nShaderType);
}

bool CShaderDebuggerHost::DisassembleShader(const void* pData, size_t nSize, std::string& text)
{
    return m_pDevice->DisassembleShader(pData, nSize, text);
}

void CShaderDebuggerHost::Log(uint32_t, const std::string& strText)
{
    DebugOutput(strText.c_str());
}

void CShaderDebuggerHost::GetDeviceName(std::string&) {}

CShaderDebuggerDevice* CShaderDebuggerHost::GetDevice()
{
    return m_pDevice;
}

} // namespace XAN_ShaderDebugger
