/* The public header is plain C: this file is built with -std=c99 -pedantic
 * and checks the values that front-ends compile into their code. */
#include "XANOpenCLDebug.h"

#include <stdio.h>

static cl_uint CL_CALLBACK OnEvent(KernelDebugState* pKernelDebugState, cl_uint debugEvent,
                                   void* pUserData)
{
    (void)pKernelDebugState;
    (void)pUserData;
    return debugEvent == XANCLDEBUG_EVENT_STARTED ? XANCLDEBUG_COMMAND_STEP
                                                  : XANCLDEBUG_COMMAND_CONTINUE;
}

#define CHECK(condition)                                                                           \
    do                                                                                             \
    {                                                                                              \
        if (!(condition))                                                                          \
        {                                                                                          \
            printf("failed: %s\n", #condition);                                                    \
            ++nFailures;                                                                           \
        }                                                                                          \
    } while (0)

int main(void)
{
    int nFailures = 0;
    xanclDebugCallback callback = OnEvent;
    xanclDebugMemoryRegion region = {1u, 0u, 15u};

    CHECK(callback(NULL, XANCLDEBUG_EVENT_STARTED, NULL) == XANCLDEBUG_COMMAND_STEP);
    CHECK(region.end - region.start + 1 == 16);
    CHECK(XANCLDEBUG_EVENT_UNINITIALIZED == 0 && XANCLDEBUG_EVENT_STARTED == 1);
    CHECK(XANCLDEBUG_EVENT_HALTED == 2 && XANCLDEBUG_EVENT_FINISHED == 3);
    CHECK(XANCLDEBUG_EVENT_ERROR == 4);
    CHECK(XANCLDEBUG_COMMAND_UNINITIALIZED == 0 && XANCLDEBUG_COMMAND_CONTINUE == 1);
    CHECK(XANCLDEBUG_COMMAND_STEP == 2);
    CHECK(XANCLDEBUG_SUCCESS == 0 && XANCLDEBUG_ERROR_INTERNAL == 1);
    CHECK(XANCLDEBUG_ERROR_INVALID_STATE == 2 && XANCLDEBUG_ERROR_WRONG_EVENT == 3);
    CHECK(XANCLDEBUG_ERROR_OPERATION_FAILED == 4 && XANCLDEBUG_ERROR_INVALID_REGISTER == 5);
    CHECK(XANCLDEBUG_ERROR_BUFFER_TOO_SMALL == 6 && XANCLDEBUG_ERROR_OUT_OF_MEMORY == 7);
    CHECK(XANCLDEBUG_ERROR_NULL_ARGUMENT == 9);
    CHECK(XANCLDEBUG_ERROR_FAILURE == -5000 && XANCLDEBUG_ERROR_UNSUPPORTED_PLATFORM == -5001);
    CHECK(XANCLDEBUG_ERROR_UNSUPPORTED_DEVICE == -5002);
    CHECK(XANCLDEBUG_ERROR_NO_DEBUG_INFORMATION == -5003);
    CHECK(XANCLDEBUG_ERROR_QUEUE_NOT_INTERCEPTED == -5004);
    CHECK(sizeof(xanclDebugEvent) == 4 && sizeof(xanclDebugStatus) == 4);

    return nFailures == 0 ? 0 : 1;
}
