// Building OpenCL C through the ICD loader: options, Clang's diagnostics and the compiler's
// refusals in the build log, and the source lines that -g puts into the binary.
#include "ICDTestSupport.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

using namespace XAN_Test;

namespace
{
struct SBuildCase
{
    const char* pName;
    const char* pSource;
    const char* pOptions;
    cl_int nExpected;
    const char* pLog; // a text the log must contain ("" = none)
};

const SBuildCase BUILD_CASES[] = {
    {"diagnostic with line and column",
     "__kernel void k(__global int* o)\n{\n  o[0] = nothing;\n}\n", "", CL_BUILD_PROGRAM_FAILURE,
     "program.cl:3:10: error: use of undeclared identifier 'nothing'"},
    {"unknown option", "__kernel void k(void) { }\n", "-cl-bogus", CL_INVALID_BUILD_OPTIONS,
     "unknown build option \"-cl-bogus\""},
    {"OpenCL C 2.0", "__kernel void k(void) { }\n", "-cl-std=CL2.0", CL_INVALID_BUILD_OPTIONS,
     "-cl-std=CL2.0"},
    {"-D without its value", "__kernel void k(void) { }\n", "-D", CL_INVALID_BUILD_OPTIONS, ""},
    {"recursion",
     "int f(int n)\n{\n  return n <= 1 ? 1 : n * f(n - 1);\n}\n"
     "__kernel void k(__global int* o) { o[0] = f(5); }\n",
     "", CL_BUILD_PROGRAM_FAILURE, "program.cl:3:27: error: recursion is not supported"},
    {"mutual recursion",
     "int g(int n);\nint f(int n) { return n > 0 ? g(n - 1) : 0; }\n"
     "int g(int n) { return f(n); }\n"
     "__kernel void k(__global int* o) { o[0] = f(5); }\n",
     "", CL_BUILD_PROGRAM_FAILURE, "error: recursion is not supported"},
    {"goto",
     "__kernel void k(__global int* o)\n{\n  int i = 0;\nagain:\n  if (++i < 3) goto again;\n"
     "  o[0] = i;\n}\n",
     "", CL_BUILD_PROGRAM_FAILURE, "program.cl:4:1: error: goto and labels are not supported"},
    {"printf without a literal format",
     "__kernel void k(__constant char* f)\n{\n  printf(f, 1);\n}\n", "", CL_BUILD_PROGRAM_FAILURE,
     "program.cl:3:3: error: printf needs a literal string as its format"},
    {"printf with a width from the arguments",
     "__kernel void k(void)\n{\n  printf(\"%*d\", 3, 1);\n}\n", "", CL_BUILD_PROGRAM_FAILURE,
     "program.cl:3:3: error: printf: the conversion %*d is not supported"},
    {"warning", "__kernel void k(__global int* o) { int x = 1.5; o[0] = x; }\n", "", CL_SUCCESS,
     "program.cl:1:44: warning: implicit conversion from 'double' to 'int'"},
    {"-Werror", "__kernel void k(__global int* o) { int x = 1.5; o[0] = x; }\n", "-Werror",
     CL_BUILD_PROGRAM_FAILURE, "error: implicit conversion"},
    {"-w", "__kernel void k(__global int* o) { int x = 1.5; o[0] = x; }\n", "-w -Werror",
     CL_SUCCESS, ""},
    {"-D as two words", "__kernel void k(__global int* o) { o[0] = SCALE; }\n", "-D SCALE=3",
     CL_SUCCESS, ""},
    {"-D missing", "__kernel void k(__global int* o) { o[0] = SCALE; }\n", "",
     CL_BUILD_PROGRAM_FAILURE, "program.cl:1:43: error: use of undeclared identifier 'SCALE'"},
    {"every math flag", "__kernel void k(__global float* o) { o[0] = sqrt(o[1]); }\n",
     "-cl-opt-disable -cl-mad-enable -cl-no-signed-zeros -cl-unsafe-math-optimizations "
     "-cl-finite-math-only -cl-fast-relaxed-math -cl-single-precision-constant "
     "-cl-denorms-are-zero -cl-fp32-correctly-rounded-divide-sqrt -cl-std=CL1.2 "
     "-cl-kernel-arg-info "
     "-g -DA=1 -I.",
     CL_SUCCESS, ""},
    {"struct parameter",
     "typedef struct { int a; } S;\nint f(S s) { return s.a; }\n"
     "__kernel void k(__global int* o) { S s; s.a = o[1]; o[0] = f(s); }\n",
     "", CL_BUILD_PROGRAM_FAILURE, "program.cl:2:9: error: parameters of type 'S'"},
    {"half pointer", "__kernel void k(__global half* p) { }\n", "", CL_BUILD_PROGRAM_FAILURE,
     "program.cl:1:32: error: values of type 'half' are not supported"},
    {"a source Clang 14 crashes on",
     "__kernel void k(__global int* d) { float2 v = (float2)(d); }\n", "", CL_BUILD_PROGRAM_FAILURE,
     "error: the OpenCL C front end (Clang) failed on this source"},
    {"the library's dummy kernel", "__kernel void dummy( void ) { }\n", nullptr, CL_SUCCESS, ""},
};

class CLCBuildTest : public CLFixture, public ::testing::WithParamInterface<SBuildCase>
{
};

} // namespace

TEST_P(CLCBuildTest, Log)
{
    const SBuildCase& buildCase = GetParam();
    cl_program program = CreateProgram(buildCase.pSource);
    EXPECT_EQ(buildCase.nExpected,
              clBuildProgram(program, 1, &m_Device, buildCase.pOptions, nullptr, nullptr));
    const std::string strLog = BuildLog(program);
    EXPECT_NE(std::string::npos, strLog.find(buildCase.pLog)) << strLog;
    if (buildCase.pLog[0] == '\0' && buildCase.nExpected == CL_SUCCESS)
    {
        EXPECT_EQ(std::string::npos, strLog.find("warning")) << strLog;
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, CLCBuildTest, ::testing::ValuesIn(BUILD_CASES),
                         [](const ::testing::TestParamInfo<SBuildCase>& info)
                         {
                             std::string strName = info.param.pName;
                             for (char& c : strName)
                             {
                                 c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
                             }
                             return strName;
                         });

// The older family has 32-bit addresses; its device is chosen before the platform loads.
TEST(CLCFamilyTest, OlderFamilyRunsCompiledKernels)
{
    EXPECT_EQ(0, RunInChild("Child.CompiledKernelsOnTheOlderFamily",
                            {{"NORDVANE_OCL_DEVICE", "fennel"}}));
}

XAN_CHILD_TEST(CompiledKernelsOnTheOlderFamily)
{
    ASSERT_EQ("Fennel", DeviceString(m_Device, CL_DEVICE_NAME));
    cl_kernel kernel = MakeKernel(XAN_Test::ReadFile(XAN_CLC_CORPUS_DIR "/family.cl"), "k");
    ASSERT_NE(nullptr, kernel);
    std::vector<cl_uint> in(256);
    for (cl_uint i = 0; i < 256; ++i)
    {
        in[i] = i;
    }
    cl_mem input = MakeBuffer(in.size() * sizeof(cl_uint), in.data());
    const cl_uint nZero = 0;
    cl_mem output = MakeBuffer(sizeof(cl_uint), &nZero);
    clSetKernelArg(kernel, 0, sizeof(cl_mem), &input);
    clSetKernelArg(kernel, 1, sizeof(cl_mem), &output);
    clSetKernelArg(kernel, 2, 64 * sizeof(cl_uint), nullptr);
    ASSERT_EQ(CL_SUCCESS, Launch(kernel, 256, 64));
    EXPECT_EQ(std::vector<cl_uint>{255u * 256u}, Read<cl_uint>(output, 1));
}

// pyopencl keeps its binary cache switched on for OpenCL C (in the test's own folder).
TEST(CLCToolsTest, PyOpenCLBuildsOpenCLCWithItsCache)
{
#ifdef XAN_SANITIZED_BUILD
    GTEST_SKIP() << "a sanitized platform can't be loaded into the system's python";
#endif
    std::string strOutput;
    if (RunCommand("/usr/bin/python3 -c 'import pyopencl'", strOutput) != 0)
    {
        GTEST_SKIP() << "/usr/bin/python3 can't import pyopencl";
    }
    EXPECT_EQ(0, RunCommand(std::string("XDG_CACHE_HOME=$PWD/cache /usr/bin/python3 ") +
                                XAN_CLC_SCRIPTS_DIR + "/pyopencl_clc.py",
                            strOutput))
        << strOutput;
    EXPECT_NE(std::string::npos, strOutput.find("sums correct, cached")) << strOutput;
}
