#ifndef SHADER_DEBUGGER_TOKEN_STREAM_H
#define SHADER_DEBUGGER_TOKEN_STREAM_H

#include "ShaderDebugger.h"
#include "ShaderDebuggerShader.h"

#include <cstddef>
#include <cstring>
#include <limits>
#include <new>

namespace XAN_ShaderDebugger
{
// A sequence of tokens, the form in which every engine reads and writes code.
template <class T> class CTokenStream
{
public:
    virtual ~CTokenStream() {}

    virtual const T* GetStream() const = 0;
    virtual const T* GetStreamPos() const = 0;

    size_t GetTokenCount() const { return m_nTokenCount; }
    // The host that assertions report to, reached through the owning shader.
    CShaderDebuggerHost* GetHost() const { return m_pShader != NULL ? m_pShader->GetHost() : NULL; }

    CTokenStream(const CTokenStream&) = delete;
    CTokenStream& operator=(const CTokenStream&) = delete;

protected:
    CTokenStream(CShaderDebuggerShader* pShader, size_t nTokenCount)
        : m_pShader(pShader), m_nTokenCount(nTokenCount)
    {
    }

    CShaderDebuggerShader* m_pShader;
    // Input: the tokens in the stream. Output: the capacity.
    size_t m_nTokenCount;
};

// Reads borrowed tokens; the caller keeps them alive.
template <class T> class CInputTokenStream : public CTokenStream<T>
{
public:
    CInputTokenStream(CShaderDebuggerShader* pShader, const T* ptTokens, size_t nTokenCount)
        : CTokenStream<T>(pShader, nTokenCount), m_ptStream(ptTokens), m_ptStreamPos(ptTokens),
          m_nTokensRead(0)
    {
        SDU_Assert(this->GetHost(), this->m_nTokenCount > 0);
    }

    const T* GetStream() const override { return m_ptStream; }
    const T* GetStreamPos() const override { return m_ptStreamPos; }

    bool PeekToken(T& tToken) const
    {
        SDU_Assert(this->GetHost(), m_ptStreamPos);
        SDU_Assert(this->GetHost(), this->m_nTokenCount);
        return CopyTokens(&tToken, 1);
    }

    bool ReadToken(T& tToken)
    {
        SDU_Assert(this->GetHost(), m_ptStreamPos);
        SDU_Assert(this->GetHost(), this->GetTokenCount());
        return CopyTokens(&tToken, 1) && Advance(1);
    }

    bool PeekTokens(T* ptTokens, size_t nNumTokens) const
    {
        return AssertRun(ptTokens, nNumTokens) && CopyTokens(ptTokens, nNumTokens);
    }

    bool ReadTokens(T* ptTokens, size_t nNumTokens)
    {
        return AssertRun(ptTokens, nNumTokens) && CopyTokens(ptTokens, nNumTokens) &&
               Advance(nNumTokens);
    }

    size_t GetTokensRead() const { return m_nTokensRead; }

private:
    bool AssertRun(const T* ptTokens, size_t nNumTokens) const
    {
        SDU_Assert(this->GetHost(), m_ptStreamPos);
        SDU_Assert(this->GetHost(), this->GetTokenCount());
        SDU_Assert(this->GetHost(), (m_nTokensRead + nNumTokens) <= this->GetTokenCount());
        SDU_Assert(this->GetHost(), ptTokens);
        return ptTokens != NULL;
    }

    // Copies a run from the position if the whole run lies in the stream; nothing otherwise.
    bool CopyTokens(T* ptTokens, size_t nNumTokens) const
    {
        if (m_ptStreamPos == NULL || nNumTokens > this->GetTokenCount() - m_nTokensRead)
        {
            return false;
        }
        std::memcpy(ptTokens, m_ptStreamPos, nNumTokens * sizeof(T));
        return true;
    }

    bool Advance(size_t nNumTokens)
    {
        m_ptStreamPos += nNumTokens;
        m_nTokensRead += nNumTokens;
        return true;
    }

    const T* m_ptStream;
    const T* m_ptStreamPos;
    size_t m_nTokensRead;
};

// Builds new code in a buffer of its own that grows as tokens are written.
template <class T> class COutputTokenStream : public CTokenStream<T>
{
public:
    COutputTokenStream(CShaderDebuggerShader* pShader, size_t nInitialTokenCount)
        : CTokenStream<T>(pShader, 0), m_ptStream(NULL), m_ptStreamPos(NULL), m_nTokensWritten(0)
    {
        SDU_Assert(this->GetHost(), Resize(nInitialTokenCount));
    }

    ~COutputTokenStream() override { delete[] m_ptStream; }

    const T* GetStream() const override { return m_ptStream; }
    const T* GetStreamPos() const override { return m_ptStreamPos; }

    // Moves the written tokens to a new buffer of nTokenCount tokens. On failure the stream
    // stays as it was.
    bool Resize(size_t nTokenCount)
    {
        SDU_Assert(this->GetHost(), nTokenCount >= m_nTokensWritten);
        if (nTokenCount < m_nTokensWritten)
        {
            return false;
        }
        // A size that can't be expressed in bytes fails like an allocation that is too big.
        T* ptNewStream = nTokenCount <= std::numeric_limits<size_t>::max() / sizeof(T)
                             ? new (std::nothrow) T[nTokenCount]
                             : NULL;
        SDU_Assert(this->GetHost(), ptNewStream != NULL);
        if (ptNewStream == NULL)
        {
            return false;
        }
        if (m_ptStream != NULL)
        {
            std::memcpy(ptNewStream, m_ptStream, m_nTokensWritten * sizeof(T));
            delete[] m_ptStream;
        }
        m_ptStream = ptNewStream;
        m_ptStreamPos = ptNewStream + m_nTokensWritten;
        this->m_nTokenCount = nTokenCount;
        return true;
    }

    bool WriteToken(T tToken)
    {
        if (m_nTokensWritten >= this->GetTokenCount())
        {
            const size_t nCapacity = this->GetTokenCount() != 0 ? 2 * this->GetTokenCount() : 100;
            if (!Resize(nCapacity))
            {
                return false;
            }
        }
        SDU_Assert(this->GetHost(), m_ptStreamPos);
        SDU_Assert(this->GetHost(), this->m_nTokenCount);
        SDU_Assert(this->GetHost(), m_nTokensWritten < this->GetTokenCount());
        if (m_ptStreamPos == NULL || m_nTokensWritten >= this->GetTokenCount())
        {
            return false;
        }
        *m_ptStreamPos++ = tToken;
        ++m_nTokensWritten;
        return true;
    }

    bool WriteTokens(const T* ptTokens, size_t nNumTokens)
    {
        SDU_Assert(this->GetHost(), nNumTokens > 0);
        if (nNumTokens == 0)
        {
            return false;
        }
        // A count that overflows can't be reached by any capacity.
        const size_t nMax = std::numeric_limits<size_t>::max();
        const size_t nTokensNeeded =
            nNumTokens <= nMax - m_nTokensWritten ? m_nTokensWritten + nNumTokens : nMax;
        if (nTokensNeeded >= this->GetTokenCount())
        {
            if (!Resize(NextPowerOfTwo(nTokensNeeded)))
            {
                return false;
            }
        }
        SDU_Assert(this->GetHost(), m_ptStreamPos != NULL);
        SDU_Assert(this->GetHost(), this->GetTokenCount() > 0);
        SDU_Assert(this->GetHost(), nTokensNeeded <= this->GetTokenCount());
        SDU_Assert(this->GetHost(), ptTokens != NULL);
        if (m_ptStreamPos == NULL || ptTokens == NULL || nTokensNeeded > this->GetTokenCount())
        {
            return false;
        }
        std::memcpy(m_ptStreamPos, ptTokens, nNumTokens * sizeof(T));
        m_ptStreamPos += nNumTokens;
        m_nTokensWritten += nNumTokens;
        return true;
    }

    bool WriteData(const void* pData, size_t nNumBytes)
    {
        SDU_Assert(this->GetHost(), (nNumBytes % sizeof(T)) == 0);
        if ((nNumBytes % sizeof(T)) != 0)
        {
            return false;
        }
        return WriteTokens(static_cast<const T*>(pData), nNumBytes / sizeof(T));
    }

    // Overwrites a token already written, such as a length known only afterwards.
    bool WriteTokenAt(size_t nOffset, T tToken)
    {
        SDU_Assert(this->GetHost(), m_ptStreamPos);
        SDU_Assert(this->GetHost(), m_nTokensWritten);
        SDU_Assert(this->GetHost(), nOffset < m_nTokensWritten);
        if (m_ptStreamPos == NULL || nOffset >= m_nTokensWritten)
        {
            return false;
        }
        m_ptStream[nOffset] = tToken;
        return true;
    }

    size_t GetTokensWritten() const { return m_nTokensWritten; }

private:
    // The smallest power of two not below nValue; 1 for 0.
    size_t NextPowerOfTwo(size_t nValue) const
    {
        // clang-format off
        SDU_Assert(this->GetHost(), nValue < ((size_t)1<<((sizeof(size_t) * 8)-1)));
        // clang-format on
        if (nValue == 0)
        {
            return 1;
        }
        --nValue;
        for (size_t nShift = 1; nShift < sizeof(size_t) * 8; nShift *= 2)
        {
            nValue |= nValue >> nShift;
        }
        return nValue + 1;
    }

    T* m_ptStream;
    T* m_ptStreamPos;
    size_t m_nTokensWritten;
};

extern template class CInputTokenStream<unsigned int>;
extern template class COutputTokenStream<unsigned int>;
} // namespace XAN_ShaderDebugger

#endif
