#include "ShaderDebuggerShader.h"

#include "ShaderDebuggerBase.h"

#include <cstdlib>
#include <cstring>
#include <functional>

namespace XAN_ShaderDebugger
{
const Register g_Reg_NULL;

unsigned short GetComponent(unsigned int nComponent)
{
    return nComponent < 4 ? static_cast<unsigned short>(1u << nComponent) : 0;
}

bool IsIndexedRegisterType(RegisterType type)
{
    return type == RT_CONST_BUFF || type == RT_IndexableTemp || type == RT_PrivateUAVAccess;
}

namespace
{
Register* CopyIndexRegister(const Register* pIndexRegister)
{
    return pIndexRegister != NULL ? new Register(*pIndexRegister) : NULL;
}
} // namespace

RegisterID::RegisterID() : type(RT_Unknown), number(0), index(0), pIndexRegister(NULL) {}

RegisterID::RegisterID(RegisterType type, int number, unsigned int index,
                       const Register* pIndexRegister)
    : type(type), number(number), index(index), pIndexRegister(CopyIndexRegister(pIndexRegister))
{
}

RegisterID::RegisterID(const RegisterID& other)
    : type(other.type), number(other.number), index(other.index),
      pIndexRegister(CopyIndexRegister(other.pIndexRegister))
{
}

RegisterID& RegisterID::operator=(const RegisterID& other)
{
    if (this != &other)
    {
        // Copy first, so that a failed allocation leaves this register as it was.
        Register* pCopy = CopyIndexRegister(other.pIndexRegister);
        delete pIndexRegister;
        pIndexRegister = pCopy;
        type = other.type;
        number = other.number;
        index = other.index;
    }
    return *this;
}

RegisterID::~RegisterID()
{
    delete pIndexRegister;
}

bool RegisterID::operator==(const RegisterID& other) const
{
    if (type != other.type || number != other.number || index != other.index)
    {
        return false;
    }
    if (pIndexRegister == NULL || other.pIndexRegister == NULL)
    {
        return pIndexRegister == other.pIndexRegister;
    }
    return *pIndexRegister == *other.pIndexRegister;
}

bool RegisterID::operator<(const RegisterID& other) const
{
    if (type != other.type)
    {
        return type < other.type;
    }
    if (number != other.number)
    {
        return number < other.number;
    }
    if (index != other.index)
    {
        return index < other.index;
    }
    if (pIndexRegister != NULL && other.pIndexRegister != NULL)
    {
        return *pIndexRegister < *other.pIndexRegister;
    }
    return std::less<const Register*>()(pIndexRegister, other.pIndexRegister);
}

Register::Register() : mask(0) {}

Register::Register(const RegisterID& id, unsigned short nMask) : reg(id), mask(nMask) {}

bool Register::operator==(const Register& other) const
{
    return reg == other.reg && mask == other.mask;
}

bool Register::operator<(const Register& other) const
{
    if (reg == other.reg)
    {
        return mask < other.mask;
    }
    return reg < other.reg;
}

ShaderInfo::ShaderInfo()
{
    Reset();
}

void ShaderInfo::Reset()
{
    nSupportedModes = 0;
    nDebuggableModes = 0;
    strTarget.clear();
    nTargetValue = 0;
    strHash.clear();
    for (std::string& strError : this->strError)
    {
        strError.clear();
    }
    nShaderType = 0;
    nVersionMajor = 0;
    nVersionMinor = 0;
    std::memset(nFlags, 0, sizeof(nFlags));
}

CShaderDebuggerShader::CShaderDebuggerShader(CShaderDebuggerBase* pDebugger,
                                             const void* pShaderData, size_t nSize)
    : m_bIsDebugging(false), m_nCurrentInstruction(0), m_nCurrentSourceInstruction(0),
      m_nNextInstruction(0), m_nNextSourceInstruction(0), m_pShaderData(NULL),
      m_nShaderDataSize(nSize), m_pDebugger(pDebugger)
{
    SDU_Assert(GetHost(), m_pDebugger);
    if (nSize != 0)
    {
        m_pShaderData = static_cast<unsigned char*>(std::malloc(nSize));
        SDU_Assert(GetHost(), m_pShaderData);
        if (m_pShaderData != NULL && pShaderData != NULL)
        {
            std::memcpy(m_pShaderData, pShaderData, nSize);
        }
    }
}

CShaderDebuggerShader::~CShaderDebuggerShader()
{
    // A virtual call in a destructor reaches this class's own EndDebugging; derived engines
    // end their part in their own destructors.
    CShaderDebuggerShader::EndDebugging();
    std::free(m_pShaderData);
}

CShaderDebuggerHost* CShaderDebuggerShader::GetHost() const
{
    return m_pDebugger != NULL ? m_pDebugger->GetHost() : NULL;
}

bool CShaderDebuggerShader::StartDebugging(unsigned int mode)
{
    SDU_Assert(GetHost(), !IsDebugging());
    if (IsDebugging())
    {
        return false;
    }
    SDU_Assert(GetHost(), IsShaderDebuggable(mode));
    if (!IsShaderDebuggable(mode))
    {
        return false;
    }
    m_bIsDebugging = true;
    m_nCurrentInstruction = ProgramCounter(0);
    m_nCurrentSourceInstruction = ProgramCounter(0);
    m_nNextInstruction = ProgramCounter(0);
    m_nNextSourceInstruction = ProgramCounter(0);
    m_CallStack.clear();
    std::deque<ProgramCounter>().swap(m_ExecutedSteps);
    return SetDebugMode(mode);
}

void CShaderDebuggerShader::EndDebugging()
{
    m_bIsDebugging = false;
}

bool CShaderDebuggerShader::IsDebugging()
{
    return m_bIsDebugging;
}

bool CShaderDebuggerShader::IsShaderDebuggable(unsigned int nMode)
{
    return (m_Info.nDebuggableModes & nMode) != 0;
}

bool CShaderDebuggerShader::GetShaderInfo(ShaderInfo* pInfo)
{
    SDU_Assert(GetHost(), pInfo != NULL);
    if (pInfo == NULL)
    {
        return false;
    }
    *pInfo = m_Info;
    return true;
}

unsigned int CShaderDebuggerShader::GetShaderType()
{
    return m_Info.nShaderType;
}

ProgramCounter CShaderDebuggerShader::GetCurrentInstruction()
{
    return m_nCurrentInstruction;
}

ProgramCounter CShaderDebuggerShader::GetNextInstruction()
{
    return m_nNextInstruction;
}
} // namespace XAN_ShaderDebugger
