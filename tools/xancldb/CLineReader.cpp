#include "CLineReader.h"

#include <histedit.h>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <iostream>

namespace XAN_Xancldb
{
std::atomic<bool> CLineReader::s_bInterrupted(false);

namespace
{
// The thread that reads the terminal: the library may call xancldb back on a thread of the
// platform, and only a signal that reaches the reading thread ends its read.
std::atomic<bool> g_bReading(false);
pthread_t g_Reader;

// The editor's character source. A Ctrl-C that lands between the editor's output and its read
// would leave a blocking read waiting for a key, so the terminal is polled and the flag checked
// between polls; the interrupt then ends the read as an interrupted system call does.
int ReadCharacter(EditLine*, wchar_t* pChar)
{
    for (;;)
    {
        if (CLineReader::IsInterrupted())
        {
            errno = EINTR;
            return -1;
        }
        pollfd entry = {STDIN_FILENO, POLLIN, 0};
        const int nReady = poll(&entry, 1, 50);
        if (nReady < 0 && errno != EINTR)
        {
            return -1;
        }
        if (nReady <= 0)
        {
            continue;
        }
        char c = 0;
        const ssize_t nRead = read(STDIN_FILENO, &c, 1);
        if (nRead < 0 && errno == EINTR)
        {
            continue;
        }
        if (nRead <= 0)
        {
            return int(nRead);
        }
        *pChar = wchar_t(static_cast<unsigned char>(c));
        return 1;
    }
}

bool ReadStreamLine(FILE* pFile, std::string& strLine)
{
    strLine.clear();
    int c = 0;
    while ((c = std::fgetc(pFile)) != EOF && c != '\n')
    {
        strLine += char(c);
    }
    return c != EOF || !strLine.empty();
}
} // namespace

CLineReader::~CLineReader()
{
    if (m_pEditLine != nullptr)
    {
        el_end(m_pEditLine);
    }
    if (m_pHistory != nullptr)
    {
        history_end(m_pHistory);
    }
    if (m_pScript != nullptr)
    {
        std::fclose(m_pScript);
    }
}

bool CLineReader::OpenScript(const std::string& strPath)
{
    m_pScript = std::fopen(strPath.c_str(), "r");
    return m_pScript != nullptr;
}

void CLineReader::UseInput(bool bInput, bool bEdit)
{
    m_bInput = bInput;
    m_bEdit = bInput && bEdit;
    if (!m_bEdit)
    {
        return;
    }
    // Without SA_RESTART, so that Ctrl-C ends the read of a line being typed.
    struct sigaction action;
    std::memset(&action, 0, sizeof(action));
    action.sa_handler = &CLineReader::OnInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    m_pHistory = history_init();
    HistEvent event;
    history(m_pHistory, &event, H_SETSIZE, 1000);
    m_pEditLine = el_init("xancldb", stdin, stdout, stderr);
    el_set(m_pEditLine, EL_EDITOR, "emacs");
    el_set(m_pEditLine, EL_PROMPT, &CLineReader::Prompt);
    el_set(m_pEditLine, EL_HIST, history, m_pHistory);
    el_set(m_pEditLine, EL_GETCFN, &ReadCharacter);
    el_source(m_pEditLine, nullptr);
}

bool CLineReader::ReadLine(std::string& strLine)
{
    if (m_pScript != nullptr)
    {
        if (ReadStreamLine(m_pScript, strLine))
        {
            m_bInteractiveLine = false;
            return true;
        }
        std::fclose(m_pScript);
        m_pScript = nullptr;
    }
    if (!m_bInput)
    {
        return false;
    }
    m_bInteractiveLine = m_bEdit;
    if (!m_bEdit)
    {
        return ReadStreamLine(stdin, strLine);
    }
    for (;;)
    {
        int nCount = 0;
        s_bInterrupted = false;
        g_Reader = pthread_self();
        g_bReading = true;
        const char* pLine = el_gets(m_pEditLine, &nCount);
        g_bReading = false;
        if (pLine == nullptr && nCount < 0 && errno == EINTR && TakeInterrupt())
        {
            // Ctrl-C drops the line being typed, as a shell does.
            el_reset(m_pEditLine);
            std::cout << "^C" << std::endl;
            continue;
        }
        if (pLine == nullptr)
        {
            std::cout << std::endl;
            return false;
        }
        strLine.assign(pLine, size_t(nCount));
        while (!strLine.empty() && (strLine.back() == '\n' || strLine.back() == '\r'))
        {
            strLine.pop_back();
        }
        if (strLine.find_first_not_of(" \t") != std::string::npos)
        {
            HistEvent event;
            history(m_pHistory, &event, H_ENTER, strLine.c_str());
        }
        return true;
    }
}

void CLineReader::OnInterrupt(int nSignal)
{
    s_bInterrupted = true;
    if (g_bReading && !pthread_equal(pthread_self(), g_Reader))
    {
        pthread_kill(g_Reader, nSignal);
    }
}

const char* CLineReader::Prompt(editline*)
{
    return "(xancldb) ";
}
} // namespace XAN_Xancldb
