#include "DebugOutput.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

bool IsDebuggerAttached()
{
    FILE* pFile = fopen("/proc/self/status", "r");
    if (pFile == NULL)
    {
        return false;
    }
    static const char s_Tag[] = "TracerPid:";
    bool bAttached = false;
    char line[256];
    while (fgets(line, sizeof(line), pFile) != NULL)
    {
        if (strncmp(line, s_Tag, sizeof(s_Tag) - 1) == 0)
        {
            bAttached = atoi(line + sizeof(s_Tag) - 1) != 0;
            break;
        }
    }
    fclose(pFile);
    return bAttached;
}

void DebugOutput(const char* pText)
{
    if (pText != NULL && IsDebuggerAttached())
    {
        fputs(pText, stderr);
        fflush(stderr);
    }
}
