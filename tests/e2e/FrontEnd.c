#include "FrontEnd.h"

#include <pthread.h>
#include <stdlib.h>
#include <string.h>

cl_int xfeOpen(xfeSession* pSession, const unsigned char* pProgram, size_t nSize, int bSource,
               const char* pKernelName, const char* pOptions)
{
    cl_int nError = CL_SUCCESS;
    cl_context_properties properties[3] = {CL_CONTEXT_PLATFORM, 0, 0};
    cl_int nBinaryStatus = CL_SUCCESS;
    int i;

    memset(pSession, 0, sizeof(*pSession));
    nError = clGetPlatformIDs(1, &pSession->platform, NULL);
    if (nError == CL_SUCCESS)
    {
        nError = clGetDeviceIDs(pSession->platform, CL_DEVICE_TYPE_GPU, 1, &pSession->device, NULL);
    }
    if (nError != CL_SUCCESS)
    {
        return nError;
    }
    properties[1] = (cl_context_properties)pSession->platform;
    pSession->context =
        xanclInterceptCreateContext(properties, 1, &pSession->device, NULL, NULL, &nError);
    for (i = 0; i < 2 && nError == CL_SUCCESS; ++i)
    {
        pSession->queues[i] =
            xanclInterceptCreateCommandQueue(pSession->context, pSession->device, 0, &nError);
    }
    if (nError != CL_SUCCESS)
    {
        return nError;
    }
    if (bSource)
    {
        const char* pText = (const char*)pProgram;
        pSession->program =
            clCreateProgramWithSource(pSession->context, 1, &pText, &nSize, &nError);
    }
    else
    {
        pSession->program = clCreateProgramWithBinary(pSession->context, 1, &pSession->device,
                                                      &nSize, &pProgram, &nBinaryStatus, &nError);
    }
    if (nError != CL_SUCCESS)
    {
        return nError;
    }
    nError = clBuildProgram(pSession->program, 1, &pSession->device, pOptions, NULL, NULL);
    if (nError != CL_SUCCESS)
    {
        return nError;
    }
    pSession->kernel = xanclInterceptCreateKernel(pSession->program, pKernelName, &nError);
    return nError;
}

void xfeClose(xfeSession* pSession)
{
    cl_uint i;
    for (i = 0; i < pSession->nBuffers; ++i)
    {
        clReleaseMemObject(pSession->buffers[i]);
    }
    if (pSession->kernel != NULL)
    {
        xanclInterceptReleaseKernel(pSession->kernel);
    }
    if (pSession->program != NULL)
    {
        clReleaseProgram(pSession->program);
    }
    for (i = 0; i < 2; ++i)
    {
        if (pSession->queues[i] != NULL)
        {
            clReleaseCommandQueue(pSession->queues[i]);
        }
    }
    if (pSession->context != NULL)
    {
        clReleaseContext(pSession->context);
    }
    memset(pSession, 0, sizeof(*pSession));
}

cl_int xfeAddBuffer(xfeSession* pSession, const void* pContents, size_t nSize)
{
    cl_int nError = CL_SUCCESS;
    cl_mem buffer;
    if (pSession->nBuffers == XFE_MAX_BUFFERS)
    {
        return CL_INVALID_VALUE;
    }
    buffer = clCreateBuffer(pSession->context, CL_MEM_READ_WRITE | CL_MEM_COPY_HOST_PTR, nSize,
                            (void*)pContents, &nError);
    if (nError != CL_SUCCESS)
    {
        return nError;
    }
    pSession->buffers[pSession->nBuffers] = buffer;
    pSession->nBufferSizes[pSession->nBuffers] = nSize;
    nError = xanclInterceptSetKernelArg(pSession->kernel, pSession->nBuffers, sizeof(cl_mem),
                                        &pSession->buffers[pSession->nBuffers]);
    ++pSession->nBuffers;
    return nError;
}

/* Writes or reads every buffer, one after the other in pContents. */
static cl_int TransferBuffers(xfeSession* pSession, int bWrite, unsigned char* pContents)
{
    cl_uint i;
    cl_int nError = CL_SUCCESS;
    for (i = 0; i < pSession->nBuffers && nError == CL_SUCCESS; ++i)
    {
        nError = bWrite
                     ? clEnqueueWriteBuffer(pSession->queues[0], pSession->buffers[i], CL_TRUE, 0,
                                            pSession->nBufferSizes[i], pContents, 0, NULL, NULL)
                     : clEnqueueReadBuffer(pSession->queues[0], pSession->buffers[i], CL_TRUE, 0,
                                           pSession->nBufferSizes[i], pContents, 0, NULL, NULL);
        pContents += pSession->nBufferSizes[i];
    }
    return nError;
}

cl_int xfeResetBuffers(xfeSession* pSession, const unsigned char* pContents)
{
    return TransferBuffers(pSession, 1, (unsigned char*)pContents);
}

cl_int xfeReadBuffers(xfeSession* pSession, unsigned char* pContents)
{
    return TransferBuffers(pSession, 0, pContents);
}

cl_int xfeRunNative(xfeSession* pSession, size_t nItems)
{
    cl_int nError = clEnqueueNDRangeKernel(pSession->queues[0], pSession->kernel, 1, NULL, &nItems,
                                           NULL, 0, NULL, NULL);
    return nError == CL_SUCCESS ? clFinish(pSession->queues[0]) : nError;
}

/* The first failed query of a run is kept; the run goes on. */
static int Check(xfeRun* pRun, xanclDebugStatus status, const char* pQuery)
{
    if (status != XANCLDEBUG_SUCCESS && pRun->queryStatus == XANCLDEBUG_SUCCESS)
    {
        pRun->queryStatus = status;
        pRun->pFailedQuery = pQuery;
    }
    return status == XANCLDEBUG_SUCCESS;
}

static void* Duplicate(const void* pData, size_t nSize)
{
    void* pCopy = malloc(nSize != 0 ? nSize : 1);
    if (pCopy != NULL && nSize != 0)
    {
        memcpy(pCopy, pData, nSize);
    }
    return pCopy;
}

typedef struct OtherThreadQuery
{
    KernelDebugState* pState;
    cl_uint nProgramCounter;
    xanclDebugStatus status;
} OtherThreadQuery;

static void* QueryProgramCounter(void* pArg)
{
    OtherThreadQuery* pQuery = (OtherThreadQuery*)pArg;
    pQuery->status = xanclDebugGetProgramCounter(pQuery->pState, &pQuery->nProgramCounter);
    return NULL;
}

/* Everything that can be read at a halt: position, mask, live registers and their values. */
static void RecordHalt(KernelDebugState* pState, xfeRun* pRun, xfeStop* pStop)
{
    const cl_uint* pMask = NULL;
    size_t nCount = 0;
    size_t i;

    Check(pRun, xanclDebugGetProgramCounter(pState, &pStop->nProgramCounter),
          "xanclDebugGetProgramCounter");
    if (xanclDebugGetExecutionMask(pState, &pMask, &nCount) == XANCLDEBUG_SUCCESS)
    {
        pStop->pMask = (cl_uint*)Duplicate(pMask, nCount * sizeof(cl_uint));
        pStop->nMaskCount = nCount;
    }
    if (!Check(pRun, xanclDebugGetNumberOfActiveRegisters(pState, &pStop->nRegisters),
               "xanclDebugGetNumberOfActiveRegisters"))
    {
        pStop->nRegisters = 0;
        return;
    }
    pStop->pLocators = (cl_ulong*)calloc(pStop->nRegisters + 1, sizeof(cl_ulong));
    pStop->ppValues = (unsigned char**)calloc(pStop->nRegisters + 1, sizeof(unsigned char*));
    pStop->pValueCounts = (size_t*)calloc(pStop->nRegisters + 1, sizeof(size_t));
    if (!Check(pRun, xanclDebugGetActiveRegisters(pState, pStop->pLocators, pStop->nRegisters),
               "xanclDebugGetActiveRegisters"))
    {
        pStop->nRegisters = 0;
        return;
    }
    for (i = 0; i < pStop->nRegisters; ++i)
    {
        const void* pValues = NULL;
        size_t nStride = 0;
        /* A live register that no run has recorded yet has no values. */
        if (xanclDebugGetRegisterValues(pState, pStop->pLocators[i], &pValues, &nStride,
                                        &pStop->pValueCounts[i]) == XANCLDEBUG_SUCCESS)
        {
            pStop->ppValues[i] =
                (unsigned char*)Duplicate(pValues, pStop->pValueCounts[i] * nStride);
        }
        else
        {
            pStop->pValueCounts[i] = 0;
        }
    }
}

static xfeStop* NewStop(xfeRun* pRun, cl_uint nEvent)
{
    xfeStop* pStop;
    if (pRun->nStops == pRun->nCapacity)
    {
        pRun->nCapacity = pRun->nCapacity * 2 + 16;
        pRun->pStops = (xfeStop*)realloc(pRun->pStops, pRun->nCapacity * sizeof(xfeStop));
    }
    pStop = &pRun->pStops[pRun->nStops++];
    memset(pStop, 0, sizeof(*pStop));
    pStop->nEvent = nEvent;
    return pStop;
}

static void SetUpRun(KernelDebugState* pState, xfeRun* pRun)
{
    size_t i;
    Check(pRun, xanclDebugGetKernelBinarySize(pState, &pRun->nBinarySize),
          "xanclDebugGetKernelBinarySize");
    pRun->pBinary = (unsigned char*)malloc(pRun->nBinarySize + 1);
    Check(pRun, xanclDebugGetKernelBinary(pState, pRun->pBinary, pRun->nBinarySize),
          "xanclDebugGetKernelBinary");
    /* Results are kept for every register. */
    Check(pRun, xanclDebugSetTrackingRegisters(pState, NULL, 0), "xanclDebugSetTrackingRegisters");
    pRun->pSetLines = (cl_uint*)calloc(pRun->nBreakpoints + 1, sizeof(cl_uint));
    for (i = 0; i < pRun->nBreakpoints; ++i)
    {
        Check(pRun,
              xanclDebugSetBreakpoint(pState, pRun->pBreakpointLines[i], 0xFFFFFFFF,
                                      &pRun->pSetLines[i]),
              "xanclDebugSetBreakpoint");
    }
}

static cl_uint CL_CALLBACK OnDebugEvent(KernelDebugState* pState, cl_uint nEvent, void* pUserData)
{
    xfeRun* pRun = (xfeRun*)pUserData;
    xfeStop* pStop = NewStop(pRun, nEvent);
    pRun->bOnEnqueueThread = pthread_equal(pthread_self(), pRun->enqueueThread) != 0;
    if (nEvent == XANCLDEBUG_EVENT_STARTED)
    {
        SetUpRun(pState, pRun);
    }
    else if (nEvent == XANCLDEBUG_EVENT_HALTED)
    {
        RecordHalt(pState, pRun, pStop);
        if (pRun->bQueryFromOtherThread)
        {
            OtherThreadQuery query = {pState, 0, XANCLDEBUG_ERROR_INTERNAL};
            pthread_t thread;
            if (pthread_create(&thread, NULL, QueryProgramCounter, &query) == 0)
            {
                pthread_join(thread, NULL);
            }
            pStop->nOtherThreadProgramCounter = query.nProgramCounter;
            pStop->otherThreadStatus = query.status;
        }
    }
    if (nEvent == XANCLDEBUG_EVENT_HALTED && pRun->nStops > pRun->nMaxStops)
    {
        Check(pRun, xanclDebugClearAllBreakpoints(pState), "xanclDebugClearAllBreakpoints");
        return XANCLDEBUG_COMMAND_CONTINUE;
    }
    return pRun->bStep ? XANCLDEBUG_COMMAND_STEP : XANCLDEBUG_COMMAND_CONTINUE;
}

cl_int xfeRunDebug(xfeSession* pSession, size_t nItems, int nQueue, xfeRun* pRun)
{
    cl_event event = NULL;
    cl_int nError;
    pRun->enqueueThread = pthread_self();
    nError = xanclDebugEnqueueNDRangeKernel(pSession->queues[nQueue], pSession->kernel, 1, NULL,
                                            &nItems, NULL, 0, NULL, &event, OnDebugEvent, pRun);
    if (nError != CL_SUCCESS)
    {
        return nError;
    }
    nError = clWaitForEvents(1, &event);
    clReleaseEvent(event);
    return nError;
}

void xfeFreeRun(xfeRun* pRun)
{
    size_t i;
    size_t j;
    for (i = 0; i < pRun->nStops; ++i)
    {
        xfeStop* pStop = &pRun->pStops[i];
        for (j = 0; pStop->ppValues != NULL && j < pStop->nRegisters; ++j)
        {
            free(pStop->ppValues[j]);
        }
        free(pStop->ppValues);
        free(pStop->pLocators);
        free(pStop->pValueCounts);
        free(pStop->pMask);
    }
    free(pRun->pStops);
    free(pRun->pSetLines);
    free(pRun->pBinary);
    pRun->pStops = NULL;
    pRun->pSetLines = NULL;
    pRun->pBinary = NULL;
    pRun->nStops = 0;
    pRun->nCapacity = 0;
}
