#include "ILProcessingStateMachine.h"

#include "ShaderDebuggerIL/ShaderDebuggerUtilsIL.h"

#include <cstddef>

namespace
{
enum
{
    STATE_TEXT = 0,
    STATE_AFTER_LF = 2,
    STATE_AFTER_CR = 3,
    STATE_AFTER_M = 4,
    STATE_AFTER_F = 9,
    STATE_KEYWORD_LINE = 12,
    STATE_KEYWORD_CR = 13,
    STATE_KEYWORD_CRLF = 14,
    STATE_KEYWORD_LF = 15
};

// The partial matches of "mdef", "mend" and "func"; the first letter is matched in state 0.
struct KeywordTransition
{
    unsigned int nState;
    char c;
    unsigned int nNext;
};

const KeywordTransition g_KeywordTransitions[] = {{STATE_AFTER_M, 'd', 5},
                                                  {STATE_AFTER_M, 'e', 7},
                                                  {5, 'e', 6},
                                                  {6, 'f', STATE_KEYWORD_LINE},
                                                  {7, 'n', 8},
                                                  {8, 'd', STATE_KEYWORD_LINE},
                                                  {STATE_AFTER_F, 'u', 10},
                                                  {10, 'n', 11},
                                                  {11, 'c', STATE_KEYWORD_LINE}};
} // namespace

ILProcessingStateMachine::ILProcessingStateMachine(const char* pInput, unsigned int nLength,
                                                   char* pOutput)
    : m_pInput(pInput), m_pOutput(pOutput), m_nLength(nLength), m_nRead(0), m_bDone(false),
      m_bReprocess(false), m_cCurrent(0), m_nState(STATE_TEXT), m_nWritten(0)
{
}

void ILProcessingStateMachine::Process(unsigned int* pOutputLength)
{
    if (m_pInput != NULL && m_pOutput != NULL)
    {
        NextCharacter();
        while (!m_bDone)
        {
            Step();
            NextCharacter();
        }
    }
    if (pOutputLength != NULL)
    {
        *pOutputLength = m_nWritten;
    }
}

// m_pInput points at the character that the next fetch takes.
void ILProcessingStateMachine::NextCharacter()
{
    if (m_bReprocess)
    {
        m_bReprocess = false;
        return;
    }
    if (m_nRead >= m_nLength)
    {
        m_bDone = true;
        return;
    }
    m_cCurrent = *m_pInput++;
    ++m_nRead;
    if (m_cCurrent == '\0')
    {
        Emit(m_cCurrent);
        m_bDone = true;
    }
}

void ILProcessingStateMachine::Emit(char c)
{
    *m_pOutput++ = c;
    ++m_nWritten;
}

bool ILProcessingStateMachine::EnterLineBreak(unsigned int nAfterLF, unsigned int nAfterCR)
{
    if (m_cCurrent == '\n')
    {
        m_nState = nAfterLF;
        return true;
    }
    if (m_cCurrent == '\r')
    {
        m_nState = nAfterCR;
        return true;
    }
    return false;
}

void ILProcessingStateMachine::Step()
{
    const char c = m_cCurrent;
    switch (m_nState)
    {
    case STATE_TEXT:
        if (!EnterLineBreak(STATE_AFTER_LF, STATE_AFTER_CR))
        {
            Emit(c);
            m_nState = c == 'f' ? STATE_AFTER_F : (c == 'm' ? STATE_AFTER_M : STATE_TEXT);
        }
        return;

    case STATE_AFTER_LF:
    case STATE_AFTER_CR:
        // Blanks that begin a line are dropped; the line break comes back before the rest.
        if (c != ' ')
        {
            Emit(m_nState == STATE_AFTER_LF ? '\n' : '\r');
            Hold();
            m_nState = STATE_TEXT;
        }
        return;

    case STATE_KEYWORD_LINE:
        if (!EnterLineBreak(STATE_KEYWORD_LF, STATE_KEYWORD_CR))
        {
            Emit(c);
        }
        return;

    case STATE_KEYWORD_CR:
        if (c == '\n')
        {
            m_nState = STATE_KEYWORD_CRLF;
        }
        else
        {
            Hold();
            m_nState = STATE_TEXT;
        }
        return;

    case STATE_KEYWORD_CRLF:
    case STATE_KEYWORD_LF:
        // A comment on the next line joins the keyword's line; anything else keeps the break.
        if (c == ';')
        {
            Emit(' ');
            Emit(';');
            m_nState = STATE_TEXT;
        }
        else if (c != ' ' && c != '\t')
        {
            if (m_nState == STATE_KEYWORD_CRLF)
            {
                Emit('\r');
            }
            Emit('\n');
            Hold();
            m_nState = STATE_TEXT;
        }
        return;

    default:
        break;
    }

    bool bKnownState = false;
    for (const KeywordTransition& transition : g_KeywordTransitions)
    {
        if (transition.nState != m_nState)
        {
            continue;
        }
        bKnownState = true;
        if (transition.c == c)
        {
            Emit(c);
            m_nState = transition.nNext;
            return;
        }
    }
    if (!bKnownState)
    {
        SDU_ConsistencyAssert(0);
    }
    else
    {
        Hold();
    }
    m_nState = STATE_TEXT;
}
