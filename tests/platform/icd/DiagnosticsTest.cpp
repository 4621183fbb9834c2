// NORDVANE_OCL_DIAGNOSTICS: every refused call prints one line that names the function, the
// argument and the cause; a launch that touched memory outside its buffers prints its first
// such access. Each runs in a child process whose stderr the parent reads.
#include "ICDTestSupport.h"

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>

#include <regex>

using namespace XAN_Test;

namespace
{
// The lines the child's refusals print, in order.
const char* const REFUSALS[] = {
    "clCreateBuffer: size: 0 (CL_INVALID_BUFFER_SIZE)",
    "clCreateBuffer: host_ptr: null, but the flags use a host pointer (CL_INVALID_HOST_PTR)",
    "clCreateSubBuffer: buffer_create_info: origin 4 isn't a multiple of",
    "clReleaseMemObject: memobj: no live object of its type on this platform "
    "(CL_INVALID_MEM_OBJECT)",
    "clCreateProgramWithSource: context: no live object of its type on this platform "
    "(CL_INVALID_CONTEXT)",
    "clBuildProgram: program: error: line 2, column 1: unknown opcode 'bogus_op' "
    "(CL_BUILD_PROGRAM_FAILURE)",
    "clCreateKernel: kernel_name: the program has no kernel \"nope\" (CL_INVALID_KERNEL_NAME)",
    "clSetKernelArg: arg_index: 7, but kernel vadd has 4 arguments (CL_INVALID_ARG_INDEX)",
    "clSetKernelArg: arg_size: 8 doesn't fit argument 3 (n)",
    "clEnqueueNDRangeKernel: work_dim: 4, not 1 to 3 (CL_INVALID_WORK_DIMENSION)",
    "clEnqueueNDRangeKernel: local_work_size: [0]: 4 doesn't divide the global size 10 "
    "(CL_INVALID_WORK_GROUP_SIZE)",
    "clEnqueueNDRangeKernel: kernel: argument 0 (a) of vadd isn't set (CL_INVALID_KERNEL_ARGS)",
    "clCreateCommandQueue: properties: unknown bits (CL_INVALID_VALUE)",
    "clEnqueueMarkerWithWaitList: event_wait_list: null with a count of 1 "
    "(CL_INVALID_EVENT_WAIT_LIST)",
    "clFinish: command_queue: no live object of its type on this platform "
    "(CL_INVALID_COMMAND_QUEUE)",
    "clGetDeviceInfo: param_value_size: 2 bytes, the value takes 9 (CL_INVALID_VALUE)",
    "clGetDeviceInfo: param_name: unknown (CL_INVALID_VALUE)",
};

// The lines of a text that ends with a line end.
std::vector<std::string> Lines(const std::string& strText)
{
    std::vector<std::string> vLines;
    boost::split(vLines, strText, boost::is_any_of("\n"));
    vLines.pop_back();
    return vLines;
}

cl_program BuildProgram(cl_context context, const std::string& strSource)
{
    const char* pText = strSource.c_str();
    cl_int nError = CL_SUCCESS;
    cl_program program = clCreateProgramWithSource(context, 1, &pText, nullptr, &nError);
    clBuildProgram(program, 0, nullptr, nullptr, nullptr, nullptr);
    return program;
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
        EXPECT_EQ(0u, vLines[i].find(std::string("Nordvane OpenCL: ") + REFUSALS[i]))
            << vLines[i] << "\nexpected: " << REFUSALS[i];
    }
}

TEST(DiagnosticsTest, RefusalsAreQuietWithoutTheSetting)
{
    std::string strStderr;
    EXPECT_EQ(0, RunInChild("Child.Refusals", {}, &strStderr));
    EXPECT_EQ("", strStderr);
}

// The calls behind REFUSALS, each refused, between calls that succeed and print nothing.
XAN_CHILD_TEST(Refusals)
{
    cl_device_id device = FirstDevice(NordvanePlatform());
    ASSERT_NE(nullptr, device);
    cl_int nError = CL_SUCCESS;
    cl_context context = clCreateContext(nullptr, 1, &device, nullptr, nullptr, &nError);
    cl_command_queue queue = clCreateCommandQueue(context, device, 0, &nError);
    ASSERT_EQ(CL_SUCCESS, nError);

    EXPECT_EQ(nullptr, clCreateBuffer(context, CL_MEM_READ_WRITE, 0, nullptr, &nError));
    EXPECT_EQ(nullptr, clCreateBuffer(context, CL_MEM_USE_HOST_PTR, 16, nullptr, nullptr));
    cl_mem buffer = clCreateBuffer(context, CL_MEM_READ_WRITE, 1024, nullptr, &nError);
    const cl_buffer_region region = {4, 16};
    EXPECT_EQ(nullptr, clCreateSubBuffer(buffer, CL_MEM_READ_WRITE, CL_BUFFER_CREATE_TYPE_REGION,
                                         &region, &nError));
    EXPECT_EQ(CL_MISALIGNED_SUB_BUFFER_OFFSET, nError);
    // The loader refuses null handles itself: handles of another type reach the platform.
    EXPECT_EQ(CL_INVALID_MEM_OBJECT, clReleaseMemObject(reinterpret_cast<cl_mem>(queue)));

    const char* pText = "il_cs_2_0\n";
    EXPECT_EQ(nullptr, clCreateProgramWithSource(reinterpret_cast<cl_context>(queue), 1, &pText,
                                                 nullptr, &nError));
    cl_program broken = BuildProgram(context, "il_cs_2_0\nbogus_op r0\nend\n");
    cl_program program = BuildProgram(context, ReadKernel("vadd.il"));
    EXPECT_EQ(nullptr, clCreateKernel(program, "nope", &nError));

    cl_kernel kernel = clCreateKernel(program, "vadd", &nError);
    const cl_ulong nWide = 1;
    EXPECT_EQ(CL_INVALID_ARG_INDEX, clSetKernelArg(kernel, 7, sizeof(nWide), &nWide));
    EXPECT_EQ(CL_INVALID_ARG_SIZE, clSetKernelArg(kernel, 3, sizeof(nWide), &nWide));
    const size_t nGlobal = 10;
    const size_t nLocal = 4;
    EXPECT_EQ(CL_INVALID_WORK_DIMENSION, clEnqueueNDRangeKernel(queue, kernel, 4, nullptr, &nGlobal,
                                                                nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(
        CL_INVALID_WORK_GROUP_SIZE,
        clEnqueueNDRangeKernel(queue, kernel, 1, nullptr, &nGlobal, &nLocal, 0, nullptr, nullptr));
    EXPECT_EQ(CL_INVALID_KERNEL_ARGS, clEnqueueNDRangeKernel(queue, kernel, 1, nullptr, &nGlobal,
                                                             nullptr, 0, nullptr, nullptr));

    EXPECT_EQ(nullptr, clCreateCommandQueue(context, device, 0x8000, &nError));
    EXPECT_EQ(CL_INVALID_EVENT_WAIT_LIST, clEnqueueMarkerWithWaitList(queue, 1, nullptr, nullptr));
    EXPECT_EQ(CL_INVALID_COMMAND_QUEUE, clFinish(reinterpret_cast<cl_command_queue>(context)));
    char vName[2];
    EXPECT_EQ(CL_INVALID_VALUE,
              clGetDeviceInfo(device, CL_DEVICE_NAME, sizeof(vName), vName, nullptr));
    EXPECT_EQ(CL_INVALID_VALUE, clGetDeviceInfo(device, 0x7777, sizeof(vName), vName, nullptr));

    clReleaseKernel(kernel);
    clReleaseProgram(program);
    clReleaseProgram(broken);
    clReleaseMemObject(buffer);
    clReleaseCommandQueue(queue);
    clReleaseContext(context);
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
    cl_device_id device = FirstDevice(NordvanePlatform());
    cl_int nError = CL_SUCCESS;
    cl_context context = clCreateContext(nullptr, 1, &device, nullptr, nullptr, &nError);
    cl_command_queue queue = clCreateCommandQueue(context, device, 0, &nError);
    cl_program program = BuildProgram(
        context, KernelSource("oob", ";pointer:out:u32:1:1:0:uav:11:4:RW:0:0\n",
                              "dcl_literal l1, 0x00000002, 0x00000000, 0x00000000, 0x00000000\n"
                              "ishl r1.x, vAbsTid0.x, l1.x\n"
                              "i64add r2.xy, cb1[0].xyxy, r1.x0x0\n"
                              "uav_raw_store_id(11)_a64 mem0.x, r2.xyxy, vAbsTid0.x\n"));
    cl_kernel kernel = clCreateKernel(program, "oob", &nError);
    ASSERT_EQ(CL_SUCCESS, nError);
    cl_mem out = clCreateBuffer(context, CL_MEM_READ_WRITE, 16, nullptr, &nError);
    clSetKernelArg(kernel, 0, sizeof(out), &out);
    const size_t nGlobal = 8;
    EXPECT_EQ(CL_SUCCESS, clEnqueueNDRangeKernel(queue, kernel, 1, nullptr, &nGlobal, &nGlobal, 0,
                                                 nullptr, nullptr));
    EXPECT_EQ(CL_SUCCESS, clFinish(queue));
    clReleaseMemObject(out);
    clReleaseKernel(kernel);
    clReleaseProgram(program);
    clReleaseCommandQueue(queue);
    clReleaseContext(context);
}
