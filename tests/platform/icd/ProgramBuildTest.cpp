// Programs: IL source becomes a kernel binary with metadata, per-kernel IL and (with -g) the
// canonical debug IL; binaries rebuild from either, with the debugger's options; errors come
// with a readable log.
#include "ICDTestSupport.h"
#include "support/TestSupport.h"

#include "CElf.h"
#include "CElfSymbolTable.h"

#include <algorithm>

using namespace XAN_Test;
using XAN_ElfUtils::CElf;
using XAN_ElfUtils::CElfSection;
using XAN_ElfUtils::CElfSymbolTable;

namespace
{
// Two kernels that fill their buffer with 1.0 and 2.0.
std::string TwoKernels()
{
    return ReadFile(std::string(XAN_ICD_TEST_DATA_DIR) + "/two_kernels.il");
}

std::string SectionText(const CElf& elf, const std::string& strName)
{
    const CElfSection* pSection = elf.GetSection(strName);
    return pSection != nullptr ? std::string(pSection->GetData().begin(), pSection->GetData().end())
                               : std::string();
}

std::string SymbolText(CElf& elf, const std::string& strSymbol)
{
    CElfSymbolTable* pSymbols = elf.GetSymbolTable();
    auto it = pSymbols->find(strSymbol);
    if (it == pSymbols->end())
    {
        return std::string();
    }
    const std::vector<char>& vData = it->section->GetData();
    return std::string(vData.begin() + long(it->st_value),
                       vData.begin() + long(it->st_value + it->st_size));
}

class ProgramBuildTest : public CLFixture
{
protected:
    // Runs a kernel with one float buffer argument over 64 work-items.
    std::vector<float> RunFill(cl_program program, const char* pName)
    {
        cl_kernel kernel = CreateKernel(program, pName);
        cl_mem out = MakeBuffer(64 * sizeof(float));
        clSetKernelArg(kernel, 0, sizeof(cl_mem), &out);
        EXPECT_EQ(CL_SUCCESS, Launch(kernel, 64));
        return Read<float>(out, 64);
    }
};
} // namespace

TEST_F(ProgramBuildTest, SourceBecomesAKernelBinaryFoundBySectionAndSymbol)
{
    cl_program program = Build(ReadKernel("vadd.il"), "-g");
    ASSERT_NE(nullptr, program);
    CElf elf(ProgramBinary(program));
    ASSERT_TRUE(elf.IsInitialized());
    EXPECT_EQ(ELFCLASS64, elf.GetClass());
    for (const char* pName : {".shstrtab", ".strtab", ".symtab", ".rodata", ".xanil", ".debugil"})
    {
        EXPECT_NE(nullptr, elf.GetSection(pName)) << pName;
    }
    const std::string strMetadata = SymbolText(elf, "__OpenCL_vadd_metadata");
    EXPECT_EQ(0u, strMetadata.find(";ARGSTART:__OpenCL_vadd_kernel\n;version:3:1:111\n"));
    EXPECT_NE(std::string::npos, strMetadata.find(";device:larkspur\n"));
    EXPECT_EQ(";ARGEND:__OpenCL_vadd_kernel\n", strMetadata.substr(strMetadata.size() - 29));
    EXPECT_EQ(32u, SymbolText(elf, "__OpenCL_vadd_header").size());
    EXPECT_NE(std::string::npos, SymbolText(elf, "__OpenCL_vadd_xanil").find("\ncall 1024\n"));

    // Without -g there is no debug IL.
    cl_program plain = Build(ReadKernel("vadd.il"));
    ASSERT_NE(nullptr, plain);
    CElf plainElf(ProgramBinary(plain));
    EXPECT_EQ(nullptr, plainElf.GetSection(".debugil"));
}

TEST_F(ProgramBuildTest, DebugILIsOneElementPerLineWithTheEntryMarker)
{
    cl_program program = Build(TwoKernels(), "-g");
    ASSERT_NE(nullptr, program);
    CElf elf(ProgramBinary(program));
    const std::string strDebugIL = SectionText(elf, ".debugil");
    EXPECT_EQ(0u, strDebugIL.find("il_cs_2_0\ndcl_cb cb0[16]\n;$$$$$$$$$$\nendmain\nfunc 1024\n"));
    EXPECT_EQ(std::string::npos, strDebugIL.find("\n\n"));
    EXPECT_EQ(std::string::npos, strDebugIL.find("ARGSTART"));
    EXPECT_EQ(std::string::npos, strDebugIL.find("call 1024"));
    EXPECT_NE(std::string::npos, strDebugIL.find("\nfunc 1025\n"));
    EXPECT_NE(std::string::npos, SymbolText(elf, "__OpenCL_second_xanil").find("\ncall 1025\n"));
}

TEST_F(ProgramBuildTest, ABinaryBuildsOneKernelFromItsDebugIL)
{
    cl_program source = Build(TwoKernels(), "-g");
    ASSERT_NE(nullptr, source);
    EXPECT_EQ(std::vector<float>(64, 1.0f), RunFill(source, "first"));
    EXPECT_EQ(std::vector<float>(64, 2.0f), RunFill(source, "second"));

    const std::vector<char> vBinary = ProgramBinary(source);
    cl_program program = FromBinary(vBinary);
    // A failed build leaves the program ready for the next attempt.
    EXPECT_EQ(CL_BUILD_PROGRAM_FAILURE,
              clBuildProgram(program, 1, &m_Device, "-just-kernel=third", nullptr, nullptr));
    EXPECT_NE(std::string::npos, BuildLog(program).find("third"));
    ASSERT_EQ(CL_SUCCESS,
              clBuildProgram(program, 1, &m_Device, "-ignore-env -use-debugil -just-kernel=second",
                             nullptr, nullptr));
    EXPECT_EQ(CL_INVALID_KERNEL_NAME, ErrorOf(clCreateKernel, program, "first"));
    EXPECT_EQ(std::vector<float>(64, 2.0f), RunFill(program, "second"));
    // The binary of a program made from one is that binary, unchanged.
    EXPECT_EQ(vBinary, ProgramBinary(program));
}

TEST_F(ProgramBuildTest, ADebuggerRewrittenBinaryWithThreeMoreArgumentsBuilds)
{
    cl_program source = Build(ReadKernel("vadd.il"), "-g");
    ASSERT_NE(nullptr, source);
    CElf elf(ProgramBinary(source));
    // The debugger appends its arguments to the metadata, which moves it within ".rodata",
    // and lays the whole file out anew.
    std::string strMetadata = SymbolText(elf, "__OpenCL_vadd_metadata");
    strMetadata.insert(strMetadata.find(";ARGEND"),
                       ";pointer:__xan_debug_result:float:1:1:64:uav:12:16:RW:0:0\n"
                       ";pointer:__xan_debug_execMask:i32:1:1:80:uav:13:4:RW:0:0\n"
                       ";value:__xan_debug_outputSelector:i32:1:1:96\n");
    CElfSection* pRodata = elf.GetSection(".rodata");
    CElfSymbolTable* pSymbols = elf.GetSymbolTable();
    auto it = pSymbols->find("__OpenCL_vadd_metadata");
    const uint64_t nOffset = pRodata->GetSize();
    pRodata->AppendData(strMetadata);
    ASSERT_TRUE(pSymbols->SetSymbolInfo(it, it->name, ELF64_ST_BIND(it->st_info),
                                        ELF64_ST_TYPE(it->st_info), it->st_other, pRodata, nOffset,
                                        strMetadata.size()));
    ASSERT_TRUE(elf.RemoveSection(".xanil"));
    std::vector<char> vPatched;
    ASSERT_TRUE(elf.Store(vPatched));

    cl_program program = FromBinary(vPatched);
    ASSERT_EQ(CL_SUCCESS, clBuildProgram(program, 1, &m_Device, "-use-debugil -just-kernel=vadd",
                                         nullptr, nullptr))
        << BuildLog(program);
    cl_kernel kernel = CreateKernel(program, "vadd");
    ASSERT_NE(nullptr, kernel);
    EXPECT_EQ(7u, Info<cl_uint>(clGetKernelInfo, kernel, CL_KERNEL_NUM_ARGS));
    EXPECT_EQ("__xan_debug_outputSelector",
              InfoString(clGetKernelArgInfo, kernel, 6, CL_KERNEL_ARG_NAME));

    // It still adds, with the debug arguments set as the debugger sets them.
    const std::vector<float> vA(16, 1.5f);
    cl_mem a = MakeBuffer(sizeof(float) * 16, vA.data());
    cl_mem c = MakeBuffer(sizeof(float) * 16);
    cl_mem result = MakeBuffer(256);
    const cl_int n = 16;
    const cl_int nSelector = 0;
    SetArgs(kernel, a, a, c, n, result, cl_mem(nullptr), nSelector);
    ASSERT_EQ(CL_SUCCESS, Launch(kernel, 16));
    EXPECT_EQ(std::vector<float>(16, 3.0f), Read<float>(c, 16));
}

TEST_F(ProgramBuildTest, TheFallbackDummyKernelBuildsAndRunsAndSoDoesOtherOpenCLC)
{
    cl_kernel kernel = MakeKernel("__kernel void dummy( void ) { }\n", "dummy");
    ASSERT_NE(nullptr, kernel);
    EXPECT_EQ(0u, Info<cl_uint>(clGetKernelInfo, kernel, CL_KERNEL_NUM_ARGS));
    cl_event& done = NewEvent();
    ASSERT_EQ(CL_SUCCESS, Launch(kernel, 128, 0, &done));
    EXPECT_EQ(CL_SUCCESS, clWaitForEvents(1, &done));

    std::string strLog;
    EXPECT_NE(nullptr,
              Build("__kernel void add(__global float* a) { a[0] += 1.0f; }", nullptr, &strLog))
        << strLog;
}

TEST_F(ProgramBuildTest, BuildErrorsExplainThemselvesWithSourceLines)
{
    std::string strLog;
    std::string strSource = ReadKernel("vadd.il");
    const size_t nAt = strSource.find("add r3.x, r3.x, r4.x");
    strSource.replace(nAt, 3, "addd");
    const std::string strLine =
        "line " +
        std::to_string(std::count(strSource.begin(), strSource.begin() + long(nAt), '\n') + 1);
    EXPECT_EQ(nullptr, Build(strSource, nullptr, &strLog));
    EXPECT_NE(std::string::npos, strLog.find(strLine + ", column 1: unknown opcode 'addd'"))
        << strLog;

    EXPECT_EQ(nullptr, Build(KernelSource("k", ";pointer:p:float:1:1:0:xyz:11:4:RW:0:0\n", ""),
                             nullptr, &strLog));
    EXPECT_NE(std::string::npos, strLog.find("unknown type \"xyz\"")) << strLog;

    std::string strNoEnd = KernelSource("k", "", "");
    strNoEnd.erase(strNoEnd.find(";ARGEND"),
                   strNoEnd.find("dcl_cb cb1") - strNoEnd.find(";ARGEND"));
    EXPECT_EQ(nullptr, Build(strNoEnd, nullptr, &strLog));
    EXPECT_NE(std::string::npos, strLog.find("line 6: the metadata block")) << strLog;

    std::string strOlder = KernelSource("k", "", "");
    strOlder.erase(strOlder.find(";memory:64bitABI\n"), 17);
    EXPECT_EQ(nullptr, Build(strOlder, nullptr, &strLog));
    EXPECT_NE(std::string::npos, strLog.find("32-bit addresses")) << strLog;

    cl_program program = CreateProgram("il_cs_2_0\nend\n");
    EXPECT_EQ(CL_INVALID_BUILD_OPTIONS,
              clBuildProgram(program, 0, nullptr, "-no-such-option", nullptr, nullptr));
    EXPECT_EQ(CL_BUILD_PROGRAM_FAILURE, clBuildProgram(program, 0, nullptr, "", nullptr, nullptr));
    EXPECT_EQ(CL_BUILD_ERROR, Info<cl_build_status>(clGetProgramBuildInfo, program, m_Device,
                                                    CL_PROGRAM_BUILD_STATUS));
    EXPECT_EQ(CL_INVALID_PROGRAM_EXECUTABLE, ErrorOf(clCreateKernel, program, "k"));

    const std::string strJunk = "not an ELF image";
    ExpectBinaryRefused(std::vector<char>(strJunk.begin(), strJunk.end()));
}

TEST_F(ProgramBuildTest, ProgramsListTheirKernelsAndHoldTheirBuildWhileKernelsLive)
{
    cl_program program = Build(TwoKernels());
    ASSERT_NE(nullptr, program);
    EXPECT_EQ(2u, Info<size_t>(clGetProgramInfo, program, CL_PROGRAM_NUM_KERNELS));
    EXPECT_EQ("first;second", InfoString(clGetProgramInfo, program, CL_PROGRAM_KERNEL_NAMES));

    cl_kernel vKernels[2] = {};
    cl_uint nCreated = 0;
    ASSERT_EQ(CL_SUCCESS, clCreateKernelsInProgram(program, 2, vKernels, &nCreated));
    EXPECT_EQ(2u, nCreated);
    EXPECT_EQ(CL_INVALID_OPERATION, clBuildProgram(program, 0, nullptr, nullptr, nullptr, nullptr));
    // A kernel keeps its program.
    EXPECT_EQ(program, Info<cl_program>(clGetKernelInfo, vKernels[1], CL_KERNEL_PROGRAM));
    for (cl_kernel kernel : vKernels)
    {
        clReleaseKernel(kernel);
    }
    EXPECT_EQ(CL_SUCCESS, clBuildProgram(program, 0, nullptr, nullptr, nullptr, nullptr));
}
