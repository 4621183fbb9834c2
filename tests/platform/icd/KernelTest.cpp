// Kernels: their arguments as the metadata declares them, launch geometry and group sizes, and
// the arguments and objects an enqueued launch holds. Local memory arguments are data cases
// (tests/platform/engine/cases/reduce_*).
#include "ICDTestSupport.h"

#include <array>

using namespace XAN_Test;

namespace
{
class KernelTest : public CLFixture
{
protected:
    cl_int LaunchGeometry(cl_kernel kernel, cl_uint nDim, const size_t* pGlobal,
                          const size_t* pLocal)
    {
        return clEnqueueNDRangeKernel(m_Queue, kernel, nDim, nullptr, pGlobal, pLocal, 0, nullptr,
                                      nullptr);
    }
};

} // namespace

TEST_F(KernelTest, ArgumentsFollowTheMetadataAndAreChecked)
{
    cl_kernel kernel = MakeKernel(ReadKernel("vadd.il"), "vadd");
    ASSERT_EQ(4u, Info<cl_uint>(clGetKernelInfo, kernel, CL_KERNEL_NUM_ARGS));
    EXPECT_EQ("c", InfoString(clGetKernelArgInfo, kernel, 2, CL_KERNEL_ARG_NAME));
    EXPECT_EQ("float*", InfoString(clGetKernelArgInfo, kernel, 2, CL_KERNEL_ARG_TYPE_NAME));
    EXPECT_EQ("int", InfoString(clGetKernelArgInfo, kernel, 3, CL_KERNEL_ARG_TYPE_NAME));
    EXPECT_EQ(cl_kernel_arg_address_qualifier(CL_KERNEL_ARG_ADDRESS_GLOBAL),
              Info<cl_kernel_arg_address_qualifier>(clGetKernelArgInfo, kernel, 0,
                                                    CL_KERNEL_ARG_ADDRESS_QUALIFIER));
    char vText[32] = {};
    EXPECT_EQ(CL_INVALID_ARG_INDEX,
              clGetKernelArgInfo(kernel, 4, CL_KERNEL_ARG_NAME, sizeof(vText), vText, nullptr));
    EXPECT_EQ("vadd", InfoString(clGetKernelInfo, kernel, CL_KERNEL_FUNCTION_NAME));

    cl_mem buffer = MakeBuffer(64);
    const cl_int n = 16;
    EXPECT_EQ(CL_INVALID_ARG_VALUE, clSetKernelArg(kernel, 3, sizeof(n), nullptr));
    EXPECT_EQ(CL_INVALID_ARG_SIZE, clSetKernelArg(kernel, 0, 4, &buffer));
    EXPECT_EQ(CL_INVALID_MEM_OBJECT, clSetKernelArg(kernel, 0, sizeof(cl_mem), &kernel));
    EXPECT_EQ(CL_SUCCESS, clSetKernelArg(kernel, 0, sizeof(cl_mem), nullptr));
    const size_t nGlobal = 16;
    EXPECT_EQ(CL_INVALID_KERNEL_ARGS, LaunchGeometry(kernel, 1, &nGlobal, nullptr));

    cl_context other = Made(clCreateContext, nullptr, 1, &m_Device, nullptr, nullptr);
    cl_mem foreign = Made(clCreateBuffer, other, CL_MEM_READ_WRITE, 64, nullptr);
    EXPECT_EQ(CL_INVALID_MEM_OBJECT, clSetKernelArg(kernel, 1, sizeof(cl_mem), &foreign));
    clReleaseMemObject(foreign);
    clReleaseContext(other);
}

TEST_F(KernelTest, GroupSizesFollowTheKernelsDeclarations)
{
    cl_kernel limited =
        MakeKernel(KernelSource("limited", "", "", "dcl_max_thread_per_group 64\n"), "limited");
    EXPECT_EQ(64u,
              Info<size_t>(clGetKernelWorkGroupInfo, limited, m_Device, CL_KERNEL_WORK_GROUP_SIZE));
    const size_t vGlobal[3] = {256, 4, 2};
    const size_t vLocal[3] = {64, 1, 1};
    const size_t vTooMany[3] = {128, 1, 1};
    const size_t vUneven[3] = {48, 1, 1};
    EXPECT_EQ(CL_SUCCESS, LaunchGeometry(limited, 3, vGlobal, vLocal));
    EXPECT_EQ(CL_INVALID_WORK_GROUP_SIZE, LaunchGeometry(limited, 1, vGlobal, vTooMany));
    EXPECT_EQ(CL_INVALID_WORK_GROUP_SIZE, LaunchGeometry(limited, 1, vGlobal, vUneven));
    const size_t vEmpty[3] = {0, 1, 1};
    EXPECT_EQ(CL_INVALID_GLOBAL_WORK_SIZE, LaunchGeometry(limited, 1, vEmpty, nullptr));

    cl_kernel fixed =
        MakeKernel(KernelSource("fixed", "", "", "dcl_num_thread_per_group 8, 2, 1\n"), "fixed");
    using Sizes = std::array<size_t, 3>;
    EXPECT_EQ((Sizes{8, 2, 1}), Info<Sizes>(clGetKernelWorkGroupInfo, fixed, nullptr,
                                            CL_KERNEL_COMPILE_WORK_GROUP_SIZE));
    EXPECT_EQ(16u,
              Info<size_t>(clGetKernelWorkGroupInfo, fixed, nullptr, CL_KERNEL_WORK_GROUP_SIZE));
    EXPECT_EQ(CL_SUCCESS, LaunchGeometry(fixed, 2, vGlobal, nullptr));
    EXPECT_EQ(CL_INVALID_WORK_GROUP_SIZE, LaunchGeometry(fixed, 2, vGlobal, vLocal));
}

TEST_F(KernelTest, ALaunchHoldsItsArgumentsAndObjectsAsTheyWereAtTheEnqueue)
{
    const std::string strSource = ReadKernel("vadd.il");
    const char* pText = strSource.c_str();
    cl_program program = Made(clCreateProgramWithSource, m_Context, 1, &pText, nullptr);
    ASSERT_EQ(CL_SUCCESS, clBuildProgram(program, 0, nullptr, nullptr, nullptr, nullptr));
    cl_kernel kernel = Made(clCreateKernel, program, "vadd");
    const std::vector<float> vOnes(64, 1.0f);
    cl_mem a = Made(clCreateBuffer, m_Context, CL_MEM_COPY_HOST_PTR, 256,
                    const_cast<float*>(vOnes.data()));
    cl_mem c = MakeBuffer(256);
    const cl_int nAll = 64;
    const cl_int nNone = 0;
    SetArgs(kernel, a, a, c, nAll);

    cl_event gate = MakeUserEvent();
    ASSERT_EQ(CL_SUCCESS, Launch(kernel, 64, 0, nullptr, {gate}));
    // Changed and released before the launch may run.
    clSetKernelArg(kernel, 3, sizeof(nNone), &nNone);
    clReleaseMemObject(a);
    clReleaseKernel(kernel);
    clReleaseProgram(program);
    clSetUserEventStatus(gate, CL_COMPLETE);
    EXPECT_EQ(std::vector<float>(64, 2.0f), Read<float>(c, 64));
}
