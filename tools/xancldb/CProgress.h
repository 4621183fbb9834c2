#ifndef XAN_TOOLS_XANCLDB_CPROGRESS_H
#define XAN_TOOLS_XANCLDB_CPROGRESS_H

#include "CDebugLibrary.h"

#include <atomic>
#include <chrono>
#include <cstdint>

namespace XAN_Xancldb
{
// The progress of a long continue on a terminal: the steps passed and the patched kernels the
// library has run, counted through its dispatch table, on one line of standard error.
class CProgress
{
public:
    // Routes the library's clEnqueueNDRangeKernel through a counter; before the first launch.
    static void CountKernels(const CDebugLibrary& library);
    static uint64_t GetKernelsRun() { return s_nKernels.load(); }

    explicit CProgress(bool bShow) : m_bShow(bShow) {}
    // A step passed; redraws the line a few times a second.
    void Update(uint64_t nSteps, uint32_t nLine);
    // Wipes the line before the stop is printed.
    void Clear();

private:
    static cl_int CL_API_CALL CountedEnqueue(cl_command_queue queue, cl_kernel kernel,
                                             cl_uint nDimensions, const size_t* pOffset,
                                             const size_t* pGlobal, const size_t* pLocal,
                                             cl_uint nEvents, const cl_event* pWaitList,
                                             cl_event* pEvent);

    bool m_bShow;
    bool m_bShown = false;
    std::chrono::steady_clock::time_point m_Last = std::chrono::steady_clock::now();
    static std::atomic<uint64_t> s_nKernels;
    static decltype(&clEnqueueNDRangeKernel) s_pfnEnqueue;
};
} // namespace XAN_Xancldb

#endif
