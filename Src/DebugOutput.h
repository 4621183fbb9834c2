#ifndef DEBUG_OUTPUT_H
#define DEBUG_OUTPUT_H

// True while a debugger traces this process.
bool IsDebuggerAttached();

// The process's debug output: the text reaches standard error only while a debugger is
// attached, and is dropped otherwise.
void DebugOutput(const char* pText);

#endif
