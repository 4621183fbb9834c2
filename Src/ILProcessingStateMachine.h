#ifndef IL_PROCESSING_STATE_MACHINE_H
#define IL_PROCESSING_STATE_MACHINE_H

// Cleans IL text before it goes to the assembler: drops the blanks that follow a line break
// and joins a comment line onto a preceding "func", "mdef" or "mend" line. The assembler
// then sees one line for each instruction that the debugger counts. The output may be the
// input buffer: the machine never writes ahead of what it has read.
class ILProcessingStateMachine
{
public:
    ILProcessingStateMachine(const char* pInput, unsigned int nLength, char* pOutput);

    // Runs over the whole text; stores the number of characters written when pOutputLength
    // isn't null. Nothing runs for a null input or output, and the length is then 0.
    void Process(unsigned int* pOutputLength);

private:
    void Step();
    // Moves to the state that waits behind a line break, if the character is one.
    bool EnterLineBreak(unsigned int nAfterLF, unsigned int nAfterCR);
    void NextCharacter();
    void Emit(char c);
    void Hold() { m_bReprocess = true; }

    const char* m_pInput;
    char* m_pOutput;
    unsigned int m_nLength;
    unsigned int m_nRead;
    bool m_bDone;
    bool m_bReprocess;
    char m_cCurrent;
    unsigned int m_nState;
    unsigned int m_nWritten;
};

#endif
