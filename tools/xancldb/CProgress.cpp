#include "CProgress.h"

#include <cstdio>

namespace XAN_Xancldb
{
namespace
{
// The dispatch table of the library: 136 slots in the order of the OpenCL ICD.
const size_t DISPATCH_SLOTS = 136;
const size_t SLOT_ENQUEUE_NDRANGE_KERNEL = 59;
const std::chrono::milliseconds REDRAW_INTERVAL(200);
} // namespace

std::atomic<uint64_t> CProgress::s_nKernels(0);
decltype(&clEnqueueNDRangeKernel) CProgress::s_pfnEnqueue = nullptr;

void CProgress::CountKernels(const CDebugLibrary& library)
{
    void* vTable[DISPATCH_SLOTS] = {};
    if (library.xanclDebugGetDispatchTable(vTable) != CL_SUCCESS ||
        vTable[SLOT_ENQUEUE_NDRANGE_KERNEL] == nullptr)
    {
        return;
    }
    s_pfnEnqueue =
        reinterpret_cast<decltype(&clEnqueueNDRangeKernel)>(vTable[SLOT_ENQUEUE_NDRANGE_KERNEL]);
    vTable[SLOT_ENQUEUE_NDRANGE_KERNEL] = reinterpret_cast<void*>(&CProgress::CountedEnqueue);
    library.xanclDebugSetDispatchTable(vTable);
}

cl_int CL_API_CALL CProgress::CountedEnqueue(cl_command_queue queue, cl_kernel kernel,
                                             cl_uint nDimensions, const size_t* pOffset,
                                             const size_t* pGlobal, const size_t* pLocal,
                                             cl_uint nEvents, const cl_event* pWaitList,
                                             cl_event* pEvent)
{
    ++s_nKernels;
    return s_pfnEnqueue(queue, kernel, nDimensions, pOffset, pGlobal, pLocal, nEvents, pWaitList,
                        pEvent);
}

void CProgress::Update(uint64_t nSteps, uint32_t nLine)
{
    const std::chrono::steady_clock::time_point now = std::chrono::steady_clock::now();
    if (!m_bShow || now - m_Last < REDRAW_INTERVAL)
    {
        return;
    }
    m_Last = now;
    m_bShown = true;
    std::fprintf(stderr,
                 "\r\033[Krunning: %llu instructions passed, %llu kernels run, at line %u"
                 " (Ctrl-C stops)",
                 (unsigned long long)nSteps, (unsigned long long)GetKernelsRun(), nLine);
    std::fflush(stderr);
}

void CProgress::Clear()
{
    if (m_bShown)
    {
        std::fprintf(stderr, "\r\033[K");
        std::fflush(stderr);
        m_bShown = false;
    }
}
} // namespace XAN_Xancldb
