#include "ShaderDebugger.h"

#include "DebugOutput.h"
#include "ShaderDebuggerDX9/ShaderDebuggerDX9.h"
#include "ShaderDebuggerGL/ShaderDebuggerGL.h"
#include "ShaderDebuggerHost.h"
#include "ShaderDebuggerIL/ShaderDebuggerIL.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>

bool ShaderUtils::ThreadID::IsValid() const
{
    switch (nDimensions)
    {
    case 1:
        return x >= 0;
    case 2:
        return x >= 0 && y >= 0;
    case 3:
        return x >= 0 && y >= 0 && z >= 0;
    default:
        return false;
    }
}

namespace XAN_ShaderDebugger
{
const ProgramCounter g_PC_NULL(0xFFFFFFFF);
const uint32_t g_nInvalidLine = 0xFFFFFFFF;
const uint32_t g_nInvalidInstruction = 0xFFFFFFFF;

bool ProgramCounter::operator==(const ProgramCounter& other) const
{
    if (m_nPos != other.m_nPos || m_vLoopStack.size() != other.m_vLoopStack.size())
    {
        return false;
    }
    for (size_t i = 0; i < m_vLoopStack.size(); ++i)
    {
        const LoopState& mine = m_vLoopStack[i];
        const LoopState& theirs = other.m_vLoopStack[i];
        if (mine.nStart != theirs.nStart || mine.nEnd != theirs.nEnd ||
            mine.nIteration != theirs.nIteration)
        {
            return false;
        }
    }
    return true;
}

bool ProgramCounter::operator<(const ProgramCounter& other) const
{
    // Loops order before positions: an earlier iteration of an enclosing loop is earlier in
    // time whatever instruction it is at.
    const size_t nCommon = std::min(m_vLoopStack.size(), other.m_vLoopStack.size());
    for (size_t i = 0; i < nCommon; ++i)
    {
        const LoopState& mine = m_vLoopStack[i];
        const LoopState& theirs = other.m_vLoopStack[i];
        if (mine.nStart != theirs.nStart)
        {
            return mine.nStart < theirs.nStart;
        }
        if (mine.nIteration != theirs.nIteration)
        {
            return mine.nIteration < theirs.nIteration;
        }
    }
    return m_nPos < other.m_nPos;
}

void ProgramCounter::EnterLoop(uint32_t nStart, uint32_t nEnd)
{
    if (!m_vLoopStack.empty() && m_vLoopStack.back().nStart == nStart)
    {
        return;
    }
    LoopState state = {nStart, nEnd, 0};
    m_vLoopStack.push_back(state);
}

bool ProgramCounter::GetLoopState(uint32_t nStart, LoopState* pState) const
{
    for (const LoopState& state : m_vLoopStack)
    {
        if (state.nStart == nStart)
        {
            if (pState != NULL)
            {
                *pState = state;
            }
            return true;
        }
    }
    return false;
}

IShaderDebugger* IShaderDebugger::CreateShaderDebugger(uint32_t nType, CShaderDebuggerHost* pHost)
{
    SDU_Assert(pHost, pHost);
    if (pHost == NULL)
    {
        return NULL;
    }

    IShaderDebugger* pShaderDebugger = NULL;
    switch (nType)
    {
    case 0:
        pShaderDebugger = new (std::nothrow) CShaderDebuggerDX9(pHost);
        break;
    case 3:
        pShaderDebugger = new (std::nothrow) CShaderDebuggerGL(pHost);
        break;
    case 4:
    case 5:
        pShaderDebugger = new (std::nothrow) CShaderDebuggerIL(pHost);
        break;
    default:
        SDU_SetContext(pHost, false, "", __FILE__, __LINE__, __func__);
        SDU_Log(3, "Unknown ShaderDebugger requested.");
        return NULL;
    }

    SDU_Assert(pHost, pShaderDebugger);
    if (pShaderDebugger == NULL)
    {
        return NULL;
    }
    pHost->RegisterDebugger(pShaderDebugger);
    return pShaderDebugger;
}

namespace
{
// The context of the logging channel. One debug run at a time uses it, under the lock of the
// command loop.
CShaderDebuggerHost* g_pLogHost = NULL;
bool g_bLogEcho = false;
std::string g_strLogExpression;
std::string g_strLogFile;
uint32_t g_nLogLine = 0;
std::string g_strLogFunction;

const size_t LOG_BUFFER_SIZE = 0x14000;

const char* GetLevelTag(uint32_t nLevel)
{
    switch (nLevel)
    {
    case 1:
        return "";
    case 2:
        return "Assert:  ";
    case 3:
        return "Error:   ";
    case 4:
        return "Warning: ";
    case 5:
        return "Message: ";
    case 6:
        return "Trace:   ";
    default:
        return "Unknown: ";
    }
}

// A line built piece by piece in a fixed buffer; a piece that doesn't fit is cut and the line
// remembers it.
class CLogLine
{
public:
    explicit CLogLine(char* pBuffer) : m_pBuffer(pBuffer), m_nPos(0), m_bTruncated(false)
    {
        memset(m_pBuffer, 0, LOG_BUFFER_SIZE);
    }

    void AppendV(const char* pFormat, va_list args)
    {
        const size_t nSpace = LOG_BUFFER_SIZE - m_nPos;
        const int nWritten = vsnprintf(m_pBuffer + m_nPos, nSpace, pFormat, args);
        if (nWritten < 0 || static_cast<size_t>(nWritten) >= nSpace)
        {
            m_bTruncated = true;
            m_nPos = LOG_BUFFER_SIZE - 1;
        }
        else
        {
            m_nPos += static_cast<size_t>(nWritten);
        }
    }

    void Append(const char* pFormat, ...) __attribute__((format(printf, 2, 3)))
    {
        va_list args;
        va_start(args, pFormat);
        AppendV(pFormat, args);
        va_end(args);
    }

    // Marks a cut line by its end.
    void Finish()
    {
        if (m_bTruncated)
        {
            static const char s_Ellipsis[] = " ... \n";
            memcpy(m_pBuffer + LOG_BUFFER_SIZE - sizeof(s_Ellipsis), s_Ellipsis,
                   sizeof(s_Ellipsis));
        }
    }

    size_t GetPos() const { return m_nPos; }

private:
    char* m_pBuffer;
    size_t m_nPos;
    bool m_bTruncated;
};
} // namespace

bool SDU_SetContext(CShaderDebuggerHost* pHost, bool bEcho, const std::string& strExpression,
                    const std::string& strFile, uint32_t nLine, const std::string& strFunction)
{
    g_pLogHost = pHost;
    g_bLogEcho = bEcho;
    g_strLogExpression = strExpression;
    g_strLogFile = strFile;
    g_nLogLine = nLine;
    g_strLogFunction = strFunction;
    return false;
}

void SDU_ClearContext(const CShaderDebuggerHost* pHost)
{
    if (g_pLogHost == pHost)
    {
        g_pLogHost = NULL;
    }
}

void SDU_Log(uint32_t nLevel, const char* pFormat, ...)
{
    char buffer[LOG_BUFFER_SIZE];
    CLogLine line(buffer);

    line.Append("ShaderDebugger: ");
    const size_t nHostText = line.GetPos();
    if (nLevel == 2)
    {
        line.Append("%s(%d) : %s(): ", g_strLogFile.c_str(), static_cast<int>(g_nLogLine),
                    g_strLogFunction.c_str());
    }
    line.Append("%s", GetLevelTag(nLevel));
    const size_t nRawText = line.GetPos();

    va_list args;
    va_start(args, pFormat);
    line.AppendV(pFormat, args);
    va_end(args);
    line.Finish();

    if (nLevel == 1)
    {
        if (g_bLogEcho)
        {
            fputs(buffer + nRawText, stdout);
        }
        if (g_pLogHost != NULL)
        {
            g_pLogHost->Log(1, buffer + nRawText);
        }
        return;
    }

    if (g_bLogEcho)
    {
        fputs(buffer, stdout);
    }
    if (g_pLogHost != NULL &&
        static_cast<int32_t>(nLevel) - 3 <= static_cast<int32_t>(g_pLogHost->GetLogLevel()))
    {
        g_pLogHost->Log(nLevel, buffer + nHostText);
        DebugOutput(buffer);
    }
}

std::string SDU_EscapePercent(const std::string& strText)
{
    std::string strResult;
    strResult.reserve(strText.size());
    for (char c : strText)
    {
        strResult += c;
        if (c == '%')
        {
            strResult += '%';
        }
    }
    return strResult;
}

std::string SDU_FunctionName(const char* pPrettyFunction)
{
    const std::string strSignature(pPrettyFunction);
    size_t nParams = strSignature.find('(');
    static const std::string s_Operator = "operator";
    if (nParams != std::string::npos && nParams >= s_Operator.size() &&
        strSignature.compare(nParams - s_Operator.size(), s_Operator.size(), s_Operator) == 0)
    {
        nParams = strSignature.find('(', nParams + 2);
    }
    if (nParams == std::string::npos)
    {
        return strSignature;
    }

    // The return type ends at the last blank outside template brackets.
    size_t nStart = 0;
    int nDepth = 0;
    for (size_t i = nParams; i > 0; --i)
    {
        const char c = strSignature[i - 1];
        if (c == '>')
        {
            ++nDepth;
        }
        else if (c == '<')
        {
            --nDepth;
        }
        else if (c == ' ' && nDepth == 0)
        {
            nStart = i;
            break;
        }
    }
    return strSignature.substr(nStart, nParams - nStart);
}

void SDU_ReportAssert(CShaderDebuggerHost* pHost, const char* pCondition, const char* pFile,
                      uint32_t nLine, const char* pPrettyFunction)
{
    if (!SDU_SetContext(pHost, false, "", pFile, nLine, SDU_FunctionName(pPrettyFunction)))
    {
        SDU_Log(2, "%s", pCondition);
    }
}

} // namespace XAN_ShaderDebugger
