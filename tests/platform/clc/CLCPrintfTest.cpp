// printf in compiled kernels, through the ICD loader: what a launch prints on stdout when the
// kernel has run, the conversions of scalars, vectors and literal strings, formats with the
// characters that metadata comments can't hold, and a buffer that runs full.
#include "ICDTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>

using namespace XAN_Test;

namespace
{
class CLCPrintfTest : public CLFixture
{
protected:
    // Builds the source, runs kernel k over nGlobal work-items in groups of nLocal and
    // returns what the launch printed.
    std::string Printed(const std::string& strSource, size_t nGlobal, size_t nLocal,
                        const char* pOptions = "", cl_mem extra = nullptr)
    {
        cl_program program = Build(strSource, pOptions);
        if (program == nullptr)
        {
            ADD_FAILURE() << "the program doesn't build";
            return std::string();
        }
        cl_kernel kernel = CreateKernel(program, "k");
        if (extra != nullptr)
        {
            SetArgs(kernel, extra);
        }
        testing::internal::CaptureStdout();
        const cl_int nError = Launch(kernel, nGlobal, nLocal);
        clFinish(m_Queue);
        const std::string strOut = testing::internal::GetCapturedStdout();
        EXPECT_EQ(CL_SUCCESS, nError);
        return strOut;
    }
};

std::string Formatted(const char* pFormat, ...) __attribute__((format(printf, 1, 2)));
std::string Formatted(const char* pFormat, ...)
{
    char vBuffer[512];
    va_list args;
    va_start(args, pFormat);
    std::vsnprintf(vBuffer, sizeof(vBuffer), pFormat, args);
    va_end(args);
    return vBuffer;
}
} // namespace

TEST_F(CLCPrintfTest, ScalarsVectorsAndStringsPrintInLaneOrder)
{
    const std::string strOut = Printed(
        "void note(int i) { printf(\"item %d of %s\\n\", i, \"four\"); }\n"
        "__kernel void k(void)\n"
        "{\n"
        "  int i = get_global_id(0);\n"
        "  float f = 1.5f * i;\n"
        "  long big = (long)i << 40;\n"
        "  int r = printf(\"%d %5.2f %e %ld %x %c %% %u\\n\", i - 2, f, f, big, 255 + i, 'a' + i,"
        " (uint)i);\n"
        "  printf(\"%v4hlf|%v2hld|%#v3hx|%v2f\\n\", (float4)(f, 1.0f, -2.0f, 0.25f),"
        " (int2)(i, -i), (uint3)(10, 11, 12 + i), (double2)(0.5, f));\n"
        "  printf(\"r=%d %s|%-6s|\\n\", r, \"literal %d\", \"ab\");\n"
        "  note(i);\n"
        "}\n",
        4, 4);
    // The group runs in lockstep: each call prints for every work-item, in lane order.
    std::string vLines[4];
    for (int i = 0; i < 4; ++i)
    {
        const float f = 1.5f * float(i);
        vLines[0] += Formatted("%d %5.2f %e %ld %x %c %% %u\n", i - 2, double(f), double(f),
                               long(i) << 40, 255 + i, 'a' + i, unsigned(i));
        vLines[1] += Formatted("%f,%f,%f,%f|%d,%d|%#x,%#x,%#x|%f,%f\n", double(f), 1.0, -2.0, 0.25,
                               i, -i, 10, 11, 12 + i, 0.5, double(f));
        vLines[2] += "r=0 literal %d|ab    |\n";
        vLines[3] += Formatted("item %d of four\n", i);
    }
    const std::string strExpected = vLines[0] + vLines[1] + vLines[2] + vLines[3];
    EXPECT_EQ(strExpected, strOut);
}

TEST_F(CLCPrintfTest, FormatsKeepWhatMetadataCommentsCantHold)
{
    // ";", a backslash, a tab, "call" before a number and blanks at the end, with and
    // without -g.
    for (const char* pOptions : {"", "-g"})
    {
        const std::string strOut =
            Printed("__kernel void k(void)\n"
                    "{\n"
                    "  printf(\"a;b\\\\c\\td call 5 \xc3\xa9 %d  \\n  \", 7);\n"
                    "}\n",
                    1, 1, pOptions);
        EXPECT_EQ("a;b\\c\td call 5 \xc3\xa9 7  \n  ", strOut) << pOptions;
    }
}

TEST_F(CLCPrintfTest, AFullBufferDropsTheRestAndPrintfSaysSo)
{
    EXPECT_EQ(size_t(1) << 20, Info<size_t>(clGetDeviceInfo, m_Device,
                                            cl_device_info(CL_DEVICE_PRINTF_BUFFER_SIZE)));
    // 64 work-items of 3000 records of 8 bytes: more than the buffer holds.
    cl_mem failures = MakeBuffer(64 * sizeof(cl_int));
    testing::internal::CaptureStderr();
    const std::string strOut = Printed("__kernel void k(__global int* failures)\n"
                                       "{\n"
                                       "  int n = 0;\n"
                                       "  for (int j = 0; j < 3000; ++j)\n"
                                       "    n += printf(\"%d\\n\", j) != 0;\n"
                                       "  failures[get_global_id(0)] = n;\n"
                                       "}\n",
                                       64, 64, "", failures);
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find(
                                     "the printf buffer of 1048576 bytes ran full"));
    const std::vector<cl_int> vFailures = Read<cl_int>(failures, 64);
    cl_int nFailed = 0;
    for (cl_int n : vFailures)
    {
        nFailed += n;
    }
    const size_t nLines = size_t(std::count(strOut.begin(), strOut.end(), '\n'));
    EXPECT_GT(nFailed, 0);
    EXPECT_EQ(64u * 3000u, nLines + size_t(nFailed));
    // The records that fit: the buffer less its header, 8 bytes each.
    EXPECT_EQ(((size_t(1) << 20) - 8) / 8, nLines);
}

// A binary's printf line may hold any format: what isn't flags, a width, a precision, a vector
// size and a length prints as written, and never reaches the C library.
TEST_F(CLCPrintfTest, ConversionsBeyondFlagsAndWidthPrintAsWritten)
{
    // One record: call 0 and four ints of 42.
    const std::string strBody = "mov r0.x, cb0[14].zzzz\n"
                                "if_logicalnz r0.x\n"
                                "mov r1.xy, cb0[14].xyxy\n"
                                "uav_read_add_id(11)_a64 r2.x, r1.xyxy, l0\n"
                                "mov r2.y, l1\n"
                                "i64add r3.xy, r1.xyxy, r2.xyxy\n"
                                "uav_raw_store_id(11)_a64 mem0.xyzw, r3.xyxy, l2\n"
                                "i64add r3.xy, r3.xyxy, l3\n"
                                "uav_raw_store_id(11)_a64 mem0.x, r3.xyxy, l4\n"
                                "endif\n";
    const std::string strSource =
        KernelSource("k", ";printf_fn:0:4:4:4:4:4:17:%5d|%*d|%nd|%-3d\\012\n", strBody,
                     "dcl_literal l0, 20, 20, 20, 20\ndcl_literal l1, 0, 0, 0, 0\n"
                     "dcl_literal l2, 0, 42, 42, 42\ndcl_literal l3, 16, 0, 16, 0\n"
                     "dcl_literal l4, 42, 42, 42, 42\n");
    EXPECT_EQ("   42|%*d|%nd|42 \n", Printed(strSource, 1, 1));
}

TEST_F(CLCPrintfTest, MalformedPrintfMetadataFailsTheBuild)
{
    const char* const vLines[] = {
        ";printf_fn:0:1:4:3:ab\n", // the format is shorter than its length
        ";printf_fn:x:0:1:a\n",    // no number
        ";printf_fn:0:5:4:1:a\n",  // fewer sizes than arguments
        ";printf_fn:0:0:2:\\9z\n", // an escape that isn't one
        ";printf_fn:0:99999:1\n",  // more arguments than a call can have
    };
    for (const char* pLine : vLines)
    {
        std::string strLog;
        EXPECT_EQ(nullptr, Build(KernelSource("k", pLine, ""), nullptr, &strLog)) << pLine;
        EXPECT_NE(std::string::npos, strLog.find("printf line")) << strLog;
    }
}
