// Refusals that reach the platform, each with its status and, under NORDVANE_OCL_DIAGNOSTICS,
// the line that names the function, the argument and the cause; and the report of a launch that
// touched memory outside its buffers. Each runs in a child process whose stderr the parent reads.
#include "ICDTestSupport.h"

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>

#include <regex>

using namespace XAN_Test;

namespace
{
// What the refused calls work on.
struct SObjects
{
    cl_device_id device = nullptr;
    cl_context context = nullptr;
    cl_command_queue queue = nullptr;
    cl_mem buffer = nullptr;
    cl_program program = nullptr; // vadd, built
    cl_kernel kernel = nullptr;   // vadd, no argument set
};

// One refused call: the status it returns (through errcode_ret for the calls that make an
// object) and the start of the line it prints after "Nordvane OpenCL: ".
struct SRefusal
{
    cl_int nStatus;
    const char* pLine;
    cl_int (*pfnCall)(SObjects&);
};

const size_t GLOBAL = 10;
const size_t LOCAL = 4;
const cl_ulong WIDE = 1;
const cl_buffer_region ODD_REGION = {4, 16};
const char* g_pHeaderOnly = "il_cs_2_0\n";
const cl_context_properties UNKNOWN_PROPERTY[] = {0x7777, 1, 0};

// The kernel over GLOBAL work-items.
cl_int Enqueue(SObjects& o, cl_uint nDim, const size_t* pLocal)
{
    return clEnqueueNDRangeKernel(o.queue, o.kernel, nDim, nullptr, &GLOBAL, pLocal, 0, nullptr,
                                  nullptr);
}

const SRefusal REFUSALS[] = {
    // Memory.
    {CL_INVALID_BUFFER_SIZE, "clCreateBuffer: size: 0 (CL_INVALID_BUFFER_SIZE)",
     [](SObjects& o) { return ErrorOf(clCreateBuffer, o.context, CL_MEM_READ_WRITE, 0, nullptr); }},
    {CL_INVALID_HOST_PTR,
     "clCreateBuffer: host_ptr: null, but the flags use a host pointer (CL_INVALID_HOST_PTR)",
     [](SObjects& o)
     { return ErrorOf(clCreateBuffer, o.context, CL_MEM_USE_HOST_PTR, 16, nullptr); }},
    {CL_MISALIGNED_SUB_BUFFER_OFFSET,
     "clCreateSubBuffer: buffer_create_info: origin 4 isn't a multiple of",
     [](SObjects& o)
     {
         return ErrorOf(clCreateSubBuffer, o.buffer, CL_MEM_READ_WRITE,
                        CL_BUFFER_CREATE_TYPE_REGION, &ODD_REGION);
     }},
    // The loader refuses null handles itself; a handle of another type, or one that carries
    // the platform's dispatch table but is no object of it, reaches the platform.
    {CL_INVALID_MEM_OBJECT,
     "clReleaseMemObject: memobj: no live object of its type on this platform "
     "(CL_INVALID_MEM_OBJECT)",
     [](SObjects& o) { return clReleaseMemObject(reinterpret_cast<cl_mem>(o.queue)); }},
    {CL_INVALID_MEM_OBJECT,
     "clGetMemObjectInfo: memobj: no live object of its type on this platform "
     "(CL_INVALID_MEM_OBJECT)",
     [](SObjects& o)
     {
         struct
         {
             void* pDispatch;
             char vRest[64];
         } fake = {*reinterpret_cast<void**>(o.buffer), {}};
         size_t nSize = 0;
         return clGetMemObjectInfo(reinterpret_cast<cl_mem>(&fake), CL_MEM_SIZE, sizeof(nSize),
                                   &nSize, nullptr);
     }},
    // Programs.
    {CL_INVALID_CONTEXT,
     "clCreateProgramWithSource: context: no live object of its type on this platform "
     "(CL_INVALID_CONTEXT)",
     [](SObjects& o)
     {
         return ErrorOf(clCreateProgramWithSource, reinterpret_cast<cl_context>(o.queue), 1,
                        &g_pHeaderOnly, nullptr);
     }},
    {CL_BUILD_PROGRAM_FAILURE,
     "clBuildProgram: program: error: line 2, column 1: unknown opcode 'bogus_op' "
     "(CL_BUILD_PROGRAM_FAILURE)",
     [](SObjects& o)
     {
         const char* pText = "il_cs_2_0\nbogus_op r0\nend\n";
         cl_program broken = clCreateProgramWithSource(o.context, 1, &pText, nullptr, nullptr);
         const cl_int nError = clBuildProgram(broken, 0, nullptr, nullptr, nullptr, nullptr);
         clReleaseProgram(broken);
         return nError;
     }},
    {CL_INVALID_KERNEL_NAME,
     "clCreateKernel: kernel_name: the program has no kernel \"nope\" (CL_INVALID_KERNEL_NAME)",
     [](SObjects& o) { return ErrorOf(clCreateKernel, o.program, "nope"); }},
    // Kernels (KernelTest checks the other refusals of arguments).
    {CL_INVALID_ARG_INDEX,
     "clSetKernelArg: arg_index: 4, but kernel vadd has 4 arguments (CL_INVALID_ARG_INDEX)",
     [](SObjects& o) { return clSetKernelArg(o.kernel, 4, sizeof(WIDE), &WIDE); }},
    {CL_INVALID_ARG_SIZE, "clSetKernelArg: arg_size: 8 doesn't fit argument 3 (n)",
     [](SObjects& o) { return clSetKernelArg(o.kernel, 3, sizeof(WIDE), &WIDE); }},
    {CL_INVALID_WORK_DIMENSION,
     "clEnqueueNDRangeKernel: work_dim: 4, not 1 to 3 (CL_INVALID_WORK_DIMENSION)",
     [](SObjects& o) { return Enqueue(o, 4, nullptr); }},
    {CL_INVALID_WORK_GROUP_SIZE,
     "clEnqueueNDRangeKernel: local_work_size: [0]: 4 doesn't divide the global size 10 "
     "(CL_INVALID_WORK_GROUP_SIZE)",
     [](SObjects& o) { return Enqueue(o, 1, &LOCAL); }},
    {CL_INVALID_KERNEL_ARGS,
     "clEnqueueNDRangeKernel: kernel: argument 0 (a) of vadd isn't set (CL_INVALID_KERNEL_ARGS)",
     [](SObjects& o) { return Enqueue(o, 1, nullptr); }},
    // Queues and the rest.
    {CL_INVALID_VALUE, "clCreateCommandQueue: properties: unknown bits (CL_INVALID_VALUE)",
     [](SObjects& o) { return ErrorOf(clCreateCommandQueue, o.context, o.device, 0x8000); }},
    {CL_INVALID_EVENT_WAIT_LIST,
     "clEnqueueMarkerWithWaitList: event_wait_list: null with a count of 1 "
     "(CL_INVALID_EVENT_WAIT_LIST)",
     [](SObjects& o) { return clEnqueueMarkerWithWaitList(o.queue, 1, nullptr, nullptr); }},
    {CL_INVALID_COMMAND_QUEUE,
     "clFinish: command_queue: no live object of its type on this platform "
     "(CL_INVALID_COMMAND_QUEUE)",
     [](SObjects& o) { return clFinish(reinterpret_cast<cl_command_queue>(o.context)); }},
    {CL_INVALID_VALUE,
     "clGetDeviceInfo: param_value_size: 2 bytes, the value takes 9 (CL_INVALID_VALUE)",
     [](SObjects& o)
     {
         char vName[2];
         return clGetDeviceInfo(o.device, CL_DEVICE_NAME, sizeof(vName), vName, nullptr);
     }},
    {CL_INVALID_VALUE, "clGetDeviceInfo: param_name: unknown (CL_INVALID_VALUE)",
     [](SObjects& o)
     {
         size_t nSize = 0;
         return clGetDeviceInfo(o.device, 0x7FFF, sizeof(nSize), &nSize, nullptr);
     }},
    // Entry points without a check of their own, and those reached by name.
    {CL_INVALID_OPERATION,
     "clEnqueueNativeKernel: not supported by this platform (CL_INVALID_OPERATION)",
     [](SObjects& o)
     {
         return clEnqueueNativeKernel(o.queue, nullptr, nullptr, 0, 0, nullptr, nullptr, 0, nullptr,
                                      nullptr);
     }},
    {CL_INVALID_VALUE,
     "clObjectGetValueForKeyXAN: object: no object of this platform (CL_INVALID_VALUE)",
     [](SObjects&)
     {
         auto pfnGet = reinterpret_cast<clObjectGetValueForKeyXAN_fn>(
             clGetExtensionFunctionAddress("clObjectGetValueForKeyXAN"));
         int nNotAnObject = 0;
         void* pValue = nullptr;
         return pfnGet(&nNotAnObject, 1, &pValue);
     }},
    {CL_INVALID_PROPERTY, "clCreateContext: properties: an unknown property (CL_INVALID_PROPERTY)",
     [](SObjects& o)
     { return ErrorOf(clCreateContext, UNKNOWN_PROPERTY, 1, &o.device, nullptr, nullptr); }},
};

// The lines of a text that ends with a line end.
std::vector<std::string> Lines(const std::string& strText)
{
    std::vector<std::string> vLines;
    boost::split(vLines, strText, boost::is_any_of("\n"));
    vLines.pop_back();
    return vLines;
}
} // namespace

TEST(DiagnosticsTest, EveryRefusalSaysWhichArgumentAndWhy)
{
    std::string strStderr;
    EXPECT_EQ(0, RunInChild("Child.Refusals", {{"NORDVANE_OCL_DIAGNOSTICS", "1"}}, &strStderr));
    const std::vector<std::string> vLines = Lines(strStderr);
    ASSERT_EQ(std::size(REFUSALS), vLines.size()) << strStderr;
    for (size_t i = 0; i < vLines.size(); ++i)
    {
        EXPECT_EQ(0u, vLines[i].find(std::string("Nordvane OpenCL: ") + REFUSALS[i].pLine))
            << vLines[i] << "\nexpected: " << REFUSALS[i].pLine;
    }
}

TEST(DiagnosticsTest, RefusalsAreQuietWithoutTheSetting)
{
    std::string strStderr;
    EXPECT_EQ(0, RunInChild("Child.Refusals", {}, &strStderr));
    EXPECT_EQ("", strStderr);
}

// Every call of REFUSALS gives its status; making and releasing the objects prints nothing.
XAN_CHILD_TEST(Refusals)
{
    SObjects o = {m_Device,         m_Context, m_Queue,
                  MakeBuffer(1024), nullptr,   MakeKernel(ReadKernel("vadd.il"), "vadd")};
    ASSERT_NE(nullptr, o.kernel);
    o.program = m_vPrograms[0];
    for (const SRefusal& refusal : REFUSALS)
    {
        EXPECT_EQ(refusal.nStatus, refusal.pfnCall(o)) << refusal.pLine;
    }
    EXPECT_EQ(CL_SUCCESS, clReleaseMemObject(o.buffer));
    m_vBuffers.clear();
}

TEST(DiagnosticsTest, OutOfBoundsAccessesReportTheirFirstOccurrence)
{
    std::string strStderr;
    EXPECT_EQ(0, RunInChild("Child.OutOfBounds", {{"NORDVANE_OCL_DIAGNOSTICS", "1"}}, &strStderr));
    // Work-items 4 to 7 store behind the 16 bytes of out.
    const std::regex report("Nordvane OpenCL: kernel oob: 0 out-of-bounds loads, 4 stores or "
                            "atomics; the first: a store at line 11 by work-item \\(4, 0, 0\\), "
                            "global address 0x[0-9a-f]+, 0 bytes past the end of argument 0 "
                            "\\(out\\), 16 bytes\n");
    EXPECT_TRUE(std::regex_match(strStderr, report)) << strStderr;
}

XAN_CHILD_TEST(OutOfBounds)
{
    cl_kernel kernel =
        MakeKernel(KernelSource("oob", ";pointer:out:u32:1:1:0:uav:11:4:RW:0:0\n",
                                "dcl_literal l1, 0x00000002, 0x00000000, 0x00000000, 0x00000000\n"
                                "ishl r1.x, vAbsTid0.x, l1.x\n"
                                "i64add r2.xy, cb1[0].xyxy, r1.x0x0\n"
                                "uav_raw_store_id(11)_a64 mem0.x, r2.xyxy, vAbsTid0.x\n"),
                   "oob");
    cl_mem out = MakeBuffer(16);
    ASSERT_EQ(CL_SUCCESS, clSetKernelArg(kernel, 0, sizeof(out), &out));
    EXPECT_EQ(CL_SUCCESS, Launch(kernel, 8, 8));
}
