// The exports on the platform through the ICD loader: what the interception adds, and every
// export given bad input, answering with its status without a crash or a leak (the asan preset
// runs this too). The process has the platform's CPU device and its second platform of another
// vendor, which it asks for before the platform is loaded.

#include "FrontEnd.h"
#include "support/CorpusKernels.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace
{
const size_t ITEMS = 64;

// A callback that answers with a script of commands and runs a probe at every event.
struct SProbe
{
    std::function<void(KernelDebugState*, cl_uint)> fnOnEvent;
    KernelDebugState* pLastState = nullptr;
};

cl_uint CL_CALLBACK Probe(KernelDebugState* pState, cl_uint nEvent, void* pUserData)
{
    SProbe* pProbe = static_cast<SProbe*>(pUserData);
    pProbe->pLastState = pState;
    if (pProbe->fnOnEvent)
    {
        pProbe->fnOnEvent(pState, nEvent);
    }
    return XANCLDEBUG_COMMAND_STEP;
}

class PlatformExportsTest : public ::testing::Test
{
protected:
    // The platform reads its settings when the loader first loads it, which is still to come.
    static void SetUpTestSuite()
    {
        setenv("OCL_ICD_VENDORS", XAN_ICD_VENDORS_DIR, 0);
        setenv("NORDVANE_OCL_CPU_DEVICE", "1", 0);
        setenv("NORDVANE_OCL_SECOND_PLATFORM", "1", 0);
    }

    void SetUp() override
    {
        m_vBinary = XAN_Test::ReadCorpusBinary("straight");
        ASSERT_EQ(CL_SUCCESS,
                  xfeOpen(&m_Session, reinterpret_cast<const unsigned char*>(m_vBinary.data()),
                          m_vBinary.size(), 0, "straight", ""));
        const std::vector<cl_uint> vZeros(ITEMS, 0);
        ASSERT_EQ(CL_SUCCESS, xfeAddBuffer(&m_Session, vZeros.data(), ITEMS * sizeof(cl_uint)));
    }

    void TearDown() override { xfeClose(&m_Session); }

    cl_int Enqueue(cl_command_queue queue, cl_kernel kernel, SProbe* pProbe = nullptr)
    {
        const size_t nItems = ITEMS;
        SProbe probe;
        return xanclDebugEnqueueNDRangeKernel(queue, kernel, 1, nullptr, &nItems, nullptr, 0,
                                              nullptr, nullptr, Probe,
                                              pProbe != nullptr ? pProbe : &probe);
    }

    // A device of the given type on the platform of the given vendor, or null.
    static cl_device_id FindDevice(const std::string& strVendor, cl_device_type type)
    {
        cl_platform_id platforms[4];
        cl_uint nPlatforms = 0;
        clGetPlatformIDs(4, platforms, &nPlatforms);
        for (cl_uint i = 0; i < nPlatforms && i < 4; ++i)
        {
            char vendor[128] = {};
            cl_device_id device = nullptr;
            clGetPlatformInfo(platforms[i], CL_PLATFORM_VENDOR, sizeof(vendor), vendor, nullptr);
            if (strVendor == vendor &&
                clGetDeviceIDs(platforms[i], type, 1, &device, nullptr) == CL_SUCCESS)
            {
                return device;
            }
        }
        return nullptr;
    }

    std::vector<char> m_vBinary;
    xfeSession m_Session;
};
} // namespace

TEST_F(PlatformExportsTest, TheEnqueueRefusesWhatItCanNotDebug)
{
    const size_t nItems = ITEMS;
    SProbe probe;
    EXPECT_EQ(CL_INVALID_VALUE, xanclDebugEnqueueNDRangeKernel(
                                    m_Session.queues[0], m_Session.kernel, 1, nullptr, &nItems,
                                    nullptr, 0, nullptr, nullptr, nullptr, &probe));
    EXPECT_EQ(CL_INVALID_VALUE,
              xanclDebugEnqueueNDRangeKernel(m_Session.queues[0], m_Session.kernel, 1, nullptr,
                                             nullptr, nullptr, 0, nullptr, nullptr, Probe, &probe));
    EXPECT_EQ(CL_INVALID_COMMAND_QUEUE, Enqueue(nullptr, m_Session.kernel));

    // A queue made without the interception: -5004, even on the CPU device.
    cl_int nError = CL_SUCCESS;
    cl_command_queue plain =
        clCreateCommandQueueWithProperties(m_Session.context, m_Session.device, nullptr, &nError);
    ASSERT_EQ(CL_SUCCESS, nError);
    EXPECT_EQ(XANCLDEBUG_ERROR_QUEUE_NOT_INTERCEPTED, Enqueue(plain, m_Session.kernel));
    clReleaseCommandQueue(plain);

    const struct
    {
        const char* pVendor;
        cl_device_type type;
        cl_int nExpected;
    } devices[] = {
        {"Nordvane Microsystems", CL_DEVICE_TYPE_CPU, XANCLDEBUG_ERROR_UNSUPPORTED_DEVICE},
        {"Harrow Semiconductor", CL_DEVICE_TYPE_ALL, XANCLDEBUG_ERROR_UNSUPPORTED_PLATFORM}};
    for (const auto& d : devices)
    {
        SCOPED_TRACE(d.pVendor);
        cl_device_id device = FindDevice(d.pVendor, d.type);
        ASSERT_NE(nullptr, device);
        cl_context context =
            xanclInterceptCreateContext(nullptr, 1, &device, nullptr, nullptr, &nError);
        ASSERT_EQ(CL_SUCCESS, nError);
        // Flagged by hand where the platform lacks the extension.
        cl_command_queue queue =
            clCreateCommandQueue(context, device, 0x8000000000000000ULL, &nError);
        ASSERT_EQ(CL_SUCCESS, nError);
        EXPECT_EQ(d.nExpected, Enqueue(queue, m_Session.kernel));
        clReleaseCommandQueue(queue);
        clReleaseContext(context);
    }

    // A kernel built without debug IL.
    std::ifstream file(XAN_E2E_DIR "/inplace.il");
    const std::string strIL((std::istreambuf_iterator<char>(file)),
                            std::istreambuf_iterator<char>());
    xfeSession plainSession;
    ASSERT_EQ(CL_SUCCESS,
              xfeOpen(&plainSession, reinterpret_cast<const unsigned char*>(strIL.data()),
                      strIL.size(), 1, "inplace", ""));
    EXPECT_EQ(XANCLDEBUG_ERROR_NO_DEBUG_INFORMATION,
              Enqueue(plainSession.queues[0], plainSession.kernel));
    xfeClose(&plainSession);
}

TEST_F(PlatformExportsTest, TheInterceptionPassesTheRuntimesRefusalsOn)
{
    cl_int nError = CL_SUCCESS;
    cl_device_id unknown = reinterpret_cast<cl_device_id>(&nError);
    EXPECT_EQ(nullptr, xanclInterceptCreateContext(nullptr, 1, nullptr, nullptr, nullptr, &nError));
    EXPECT_EQ(CL_INVALID_DEVICE, nError);
    EXPECT_EQ(nullptr,
              xanclInterceptCreateContext(nullptr, 1, &unknown, nullptr, nullptr, &nError));
    EXPECT_EQ(CL_INVALID_DEVICE, nError);
    EXPECT_EQ(nullptr, xanclInterceptCreateContextFromType(nullptr, CL_DEVICE_TYPE_ACCELERATOR,
                                                           nullptr, nullptr, &nError));
    EXPECT_EQ(CL_DEVICE_NOT_FOUND, nError);
    EXPECT_EQ(nullptr, xanclInterceptCreateCommandQueue(nullptr, m_Session.device, 0, &nError));
    EXPECT_EQ(CL_INVALID_CONTEXT, nError);
    EXPECT_EQ(nullptr, xanclInterceptCreateCommandQueueWithProperties(nullptr, m_Session.device,
                                                                      nullptr, &nError));
    EXPECT_EQ(CL_INVALID_CONTEXT, nError);

    EXPECT_EQ(nullptr, xanclInterceptCreateKernel(m_Session.program, "absent", &nError));
    EXPECT_EQ(CL_INVALID_KERNEL_NAME, nError);
    cl_kernel kernels[1] = {};
    cl_uint nKernels = 0;
    EXPECT_EQ(CL_INVALID_VALUE,
              xanclInterceptCreateKernelsInProgram(m_Session.program, 0, kernels, &nKernels));
    EXPECT_EQ(nullptr, kernels[0]);
    EXPECT_EQ(CL_INVALID_PROGRAM,
              xanclInterceptCreateKernelsInProgram(nullptr, 1, kernels, nullptr));
    const cl_uint nValue = 0;
    EXPECT_EQ(CL_INVALID_ARG_INDEX,
              xanclInterceptSetKernelArg(m_Session.kernel, 9, sizeof(nValue), &nValue));
    EXPECT_EQ(CL_INVALID_KERNEL, xanclInterceptRetainKernel(nullptr));
    EXPECT_EQ(CL_INVALID_KERNEL, xanclInterceptReleaseKernel(nullptr));
    EXPECT_EQ(CL_INVALID_VALUE, xanclDebugGetDispatchTable(nullptr));
    EXPECT_EQ(CL_INVALID_VALUE, xanclDebugSetDispatchTable(nullptr));

    cl_ulong locator = 0;
    size_t nLength = 0;
    char name[4] = {};
    EXPECT_EQ(XANCLDEBUG_ERROR_NULL_ARGUMENT,
              xanclDebugUtilStringToDebugRegisterLocator(nullptr, &locator));
    EXPECT_EQ(XANCLDEBUG_ERROR_NULL_ARGUMENT,
              xanclDebugUtilStringToDebugRegisterLocator("r1", nullptr));
    // A value that is no locator has an empty name.
    EXPECT_EQ(XANCLDEBUG_ERROR_BUFFER_TOO_SMALL,
              xanclDebugUtilDebugRegisterLocatorToString(0x10005, sizeof(name), name, &nLength));
    EXPECT_EQ(XANCLDEBUG_SUCCESS,
              xanclDebugUtilDebugRegisterLocatorToString(0x20000, sizeof(name), name, &nLength));
    EXPECT_EQ(1u, nLength);
    EXPECT_EQ(XANCLDEBUG_ERROR_NULL_ARGUMENT,
              xanclDebugUtilGetLastError(nullptr, 0, nullptr, &nLength));
}

TEST_F(PlatformExportsTest, QueriesOutsideTheRunOrWithBadArgumentsAreRefused)
{
    // At the first halt: every pointer that a query needs given as null, every buffer one
    // element too small, and locators that name nothing; each status with the one expected.
    const xanclDebugStatus N = XANCLDEBUG_ERROR_NULL_ARGUMENT;
    const xanclDebugStatus S = XANCLDEBUG_ERROR_BUFFER_TOO_SMALL;
    const xanclDebugStatus R = XANCLDEBUG_ERROR_INVALID_REGISTER;
    const xanclDebugStatus E = XANCLDEBUG_ERROR_WRONG_EVENT;
    const xanclDebugStatus F = XANCLDEBUG_ERROR_OPERATION_FAILED;
    std::vector<std::pair<xanclDebugStatus, xanclDebugStatus>> vSeen;
    SProbe probe;
    probe.fnOnEvent = [&](KernelDebugState* pState, cl_uint nEvent)
    {
        if (nEvent != XANCLDEBUG_EVENT_HALTED || !vSeen.empty())
        {
            return;
        }
        size_t nCount = 0;
        size_t nSize = 0;
        const void* pValues = nullptr;
        cl_uint nLine = 0;
        std::vector<unsigned char> vBinary;
        xanclDebugGetKernelBinarySize(pState, &nSize);
        vBinary.resize(nSize);
        xanclDebugGetNumberOfActiveRegisters(pState, &nCount);
        std::vector<cl_ulong> vLocators(nCount + 1);
        xanclDebugMemoryRegion region;
        vSeen = {
            {N, xanclDebugGetProgramCounter(pState, nullptr)},
            {N, xanclDebugGetNumBreakpoints(pState, nullptr)},
            {N, xanclDebugGetAllBreakpoints(pState, nullptr, 4)},
            {N, xanclDebugGetKernelBinarySize(pState, nullptr)},
            {N, xanclDebugGetKernelBinary(pState, nullptr, nSize)},
            {S, xanclDebugGetKernelBinary(pState, vBinary.data(), nSize - 1)},
            {N, xanclDebugGetExecutionMask(pState, nullptr, &nCount)},
            {N, xanclDebugGetNumberOfActiveRegisters(pState, nullptr)},
            {N, xanclDebugGetActiveRegisters(pState, nullptr, 1)},
            {S, nCount != 0 ? xanclDebugGetActiveRegisters(pState, vLocators.data(), nCount - 1)
                            : XANCLDEBUG_ERROR_BUFFER_TOO_SMALL},
            {N, xanclDebugGetRegisterValues(pState, 0, nullptr, &nSize, &nCount)},
            {R, xanclDebugGetRegisterValues(pState, 0x20000, &pValues, &nSize, &nCount)},
            {R, xanclDebugGetRegisterValues(pState, ~0ULL, &pValues, &nSize, &nCount)},
            {N, xanclDebugGetPrivateMemoryValues(pState, 0, 16, nullptr, &nSize)},
            {N, xanclDebugGetGlobalMemoryValues(pState, 11, 0, 16, nullptr, &nSize)},
            {R, xanclDebugGetGlobalMemoryValues(pState, 11, ~size_t(0) - 8, 4, &nLine, &nSize)},
            {N, xanclDebugGetValidGlobalMemoryRegions(pState, 1, nullptr, &nSize)},
            {S, xanclDebugGetValidGlobalMemoryRegions(pState, 0, &region, &nSize)},
            {F, xanclDebugSetBreakpoint(pState, 0xFFFFFFF0, 0, &nLine)},
            // Tracking belongs to the start.
            {E, xanclDebugSetTrackingRegisters(pState, nullptr, 0)},
            {E, xanclDebugSetTrackPrivateMemory(pState, CL_TRUE)},
        };
    };
    ASSERT_EQ(CL_SUCCESS, Enqueue(m_Session.queues[0], m_Session.kernel, &probe));
    ASSERT_EQ(CL_SUCCESS, clFinish(m_Session.queues[0]));
    EXPECT_EQ(21u, vSeen.size());
    for (size_t i = 0; i < vSeen.size(); ++i)
    {
        EXPECT_EQ(vSeen[i].first, vSeen[i].second) << "query " << i;
    }

    // After the run, and for a handle never issued, every query finds no state.
    KernelDebugState* pStale = probe.pLastState;
    ASSERT_NE(nullptr, pStale);
    size_t nCount = 0;
    cl_uint nLine = 0;
    for (KernelDebugState* pState : {pStale, static_cast<KernelDebugState*>(nullptr)})
    {
        EXPECT_EQ(XANCLDEBUG_ERROR_INVALID_STATE, xanclDebugGetProgramCounter(pState, &nLine));
        EXPECT_EQ(XANCLDEBUG_ERROR_INVALID_STATE, xanclDebugGetKernelBinarySize(pState, &nCount));
        EXPECT_EQ(XANCLDEBUG_ERROR_INVALID_STATE, xanclDebugSetBreakpoint(pState, 1, 0, nullptr));
        EXPECT_EQ(XANCLDEBUG_ERROR_INVALID_STATE,
                  xanclDebugGetNumberOfActiveRegisters(pState, &nCount));
        EXPECT_EQ(XANCLDEBUG_ERROR_INVALID_STATE, xanclDebugSetTrackPrivateMemory(pState, CL_TRUE));
    }
}

TEST_F(PlatformExportsTest, InterceptedObjectsCarryTheCallbackAndTheFlag)
{
    cl_context_properties properties[8] = {};
    size_t nSize = 0;
    ASSERT_EQ(CL_SUCCESS, clGetContextInfo(m_Session.context, CL_CONTEXT_PROPERTIES,
                                           sizeof(properties), properties, &nSize));
    ASSERT_EQ(5 * sizeof(cl_context_properties), nSize);
    EXPECT_EQ(CL_CONTEXT_PLATFORM, properties[0]);
    EXPECT_EQ(0x403D, properties[2]);
    EXPECT_NE(0, properties[3]);

    const cl_command_queue_properties FLAG = 0x8000000000000000ULL;
    const cl_queue_properties withProfiling[] = {CL_QUEUE_PROPERTIES, CL_QUEUE_PROFILING_ENABLE, 0};
    const struct
    {
        const cl_queue_properties* pList;
        cl_command_queue_properties expected;
    } cases[] = {{nullptr, FLAG}, {withProfiling, FLAG | CL_QUEUE_PROFILING_ENABLE}};
    for (const auto& c : cases)
    {
        cl_int nError = CL_SUCCESS;
        cl_command_queue queue = xanclInterceptCreateCommandQueueWithProperties(
            m_Session.context, m_Session.device, c.pList, &nError);
        ASSERT_EQ(CL_SUCCESS, nError);
        cl_command_queue_properties actual = 0;
        clGetCommandQueueInfo(queue, CL_QUEUE_PROPERTIES, sizeof(actual), &actual, nullptr);
        EXPECT_EQ(c.expected, actual);
        clReleaseCommandQueue(queue);
    }
    cl_int nError = CL_SUCCESS;
    const cl_context_properties platform[] = {
        CL_CONTEXT_PLATFORM, reinterpret_cast<cl_context_properties>(m_Session.platform), 0};
    cl_context context = xanclInterceptCreateContextFromType(platform, CL_DEVICE_TYPE_GPU, nullptr,
                                                             nullptr, &nError);
    ASSERT_EQ(CL_SUCCESS, nError);
    EXPECT_EQ(CL_SUCCESS, clGetContextInfo(context, CL_CONTEXT_PROPERTIES, sizeof(properties),
                                           properties, &nSize));
    EXPECT_EQ(5 * sizeof(cl_context_properties), nSize);
    EXPECT_EQ(0x403D, properties[2]);
    clReleaseContext(context);
}
