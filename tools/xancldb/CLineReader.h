#ifndef XAN_TOOLS_XANCLDB_CLINEREADER_H
#define XAN_TOOLS_XANCLDB_CLINEREADER_H

#include <atomic>
#include <cstdio>
#include <string>

struct editline;
struct history;

namespace XAN_Xancldb
{
// Where commands come from: a script file (-x), then a terminal with line editing and history
// (libedit), or a plain stream (--batch, or input that is no terminal).
class CLineReader
{
public:
    CLineReader() = default;
    CLineReader(const CLineReader&) = delete;
    CLineReader& operator=(const CLineReader&) = delete;
    ~CLineReader();

    // Commands of a script, read before the terminal's; false when it can't be opened.
    bool OpenScript(const std::string& strPath);
    // Reads the terminal (or standard input) once the script is done; with bEdit, through
    // libedit. Ctrl-C then cancels the line being typed, and interrupts a running kernel.
    void UseInput(bool bInput, bool bEdit);

    // The next line; false at the end of all input.
    bool ReadLine(std::string& strLine);
    // Whether the last line came from the terminal that a person types at.
    bool IsInteractive() const { return m_bInteractiveLine; }

    // Ctrl-C since the last call.
    static bool TakeInterrupt() { return s_bInterrupted.exchange(false); }
    static bool IsInterrupted() { return s_bInterrupted; }

private:
    static void OnInterrupt(int nSignal);
    static const char* Prompt(editline* pEditLine);

    FILE* m_pScript = nullptr;
    bool m_bInput = false;
    bool m_bEdit = false;
    bool m_bInteractiveLine = false;
    editline* m_pEditLine = nullptr;
    history* m_pHistory = nullptr;
    static std::atomic<bool> s_bInterrupted;
};
} // namespace XAN_Xancldb

#endif
