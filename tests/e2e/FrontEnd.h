/* A debugger front-end in C, as an application would write one: the public header of the
 * debug library and the standard OpenCL API through the ICD loader, nothing else. The tests
 * drive it and compare what it saw with the engine's execution trace. */
#ifndef XAN_E2E_FRONT_END_H
#define XAN_E2E_FRONT_END_H

#include <XANOpenCLDebug.h>

#include <pthread.h>

#ifdef __cplusplus
extern "C"
{
#endif

#define XFE_MAX_BUFFERS 4

    /* One kernel with its buffers, made through the interception functions. */
    typedef struct xfeSession
    {
        cl_platform_id platform;
        cl_device_id device;
        cl_context context;
        /* Two queues of the context, both with the intercept flag. */
        cl_command_queue queues[2];
        cl_program program;
        cl_kernel kernel;
        cl_mem buffers[XFE_MAX_BUFFERS];
        size_t nBufferSizes[XFE_MAX_BUFFERS];
        cl_uint nBuffers;
    } xfeSession;

    /* Builds the program, from a binary or from IL text, with the options, and creates the
     * kernel; CL_SUCCESS or the first failure. */
    cl_int xfeOpen(xfeSession* pSession, const unsigned char* pProgram, size_t nSize, int bSource,
                   const char* pKernelName, const char* pOptions);
    void xfeClose(xfeSession* pSession);
    /* A buffer of the given contents as the next kernel argument. */
    cl_int xfeAddBuffer(xfeSession* pSession, const void* pContents, size_t nSize);
    /* Rewrites every buffer with the contents given, one after the other in pContents. */
    cl_int xfeResetBuffers(xfeSession* pSession, const unsigned char* pContents);
    /* Reads every buffer into pContents, one after the other. */
    cl_int xfeReadBuffers(xfeSession* pSession, unsigned char* pContents);
    cl_int xfeRunNative(xfeSession* pSession, size_t nItems);

    /* What the front-end saw at one debug event. */
    typedef struct xfeStop
    {
        cl_uint nEvent;
        cl_uint nProgramCounter;
        /* The execution mask, one value per work-item. */
        cl_uint* pMask;
        size_t nMaskCount;
        /* The active registers and, for each, 16 bytes per work-item. */
        size_t nRegisters;
        cl_ulong* pLocators;
        unsigned char** ppValues;
        size_t* pValueCounts;
        /* The answer of a second thread to the program counter query, made during the
         * callback. */
        cl_uint nOtherThreadProgramCounter;
        xanclDebugStatus otherThreadStatus;
    } xfeStop;

    /* A debug run: how to drive it, and what was seen. */
    typedef struct xfeRun
    {
        /* Step through every instruction, or continue from breakpoint to breakpoint. */
        int bStep;
        const cl_uint* pBreakpointLines;
        size_t nBreakpoints;
        /* Ask a second thread for the program counter at every halt. */
        int bQueryFromOtherThread;
        /* At most this many halts; then the run continues to its end. */
        size_t nMaxStops;

        /* The lines on which the breakpoints were set. */
        cl_uint* pSetLines;
        xfeStop* pStops;
        size_t nStops;
        size_t nCapacity;
        /* The kernel binary as the debugger holds it. */
        unsigned char* pBinary;
        size_t nBinarySize;
        /* Whether the callbacks came on the thread that enqueued the launch. */
        pthread_t enqueueThread;
        int bOnEnqueueThread;
        /* The first query that failed, or XANCLDEBUG_SUCCESS. */
        xanclDebugStatus queryStatus;
        const char* pFailedQuery;
    } xfeRun;

    /* Debugs a launch of nItems work-items on one of the two queues; the enqueue's result. */
    cl_int xfeRunDebug(xfeSession* pSession, size_t nItems, int nQueue, xfeRun* pRun);
    void xfeFreeRun(xfeRun* pRun);

#ifdef __cplusplus
}
#endif

#endif
