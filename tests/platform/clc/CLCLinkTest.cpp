// Separate compilation through the ICD loader: clCompileProgram with headers given by include
// name, clLinkProgram of objects and libraries with calls across them, their binaries and
// binary types, and the errors of both steps.
#include "ICDTestSupport.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace XAN_Test;

namespace
{
const char* const HEADER = "#define OFFSET 0.5f\nfloat scale(float x);\n";
const char* const KERNEL = "#include \"util/scale.h\"\n"
                           "__kernel void k(__global float* o)\n"
                           "{\n"
                           "  int i = get_global_id(0);\n"
                           "  o[i] = scale((float)i) + OFFSET;\n"
                           "}\n";
const char* const SCALE = "float twice(float x) { return 2.0f * x; }\n"
                          "float scale(float x)\n"
                          "{\n"
                          "  return twice(x) + 1.0f;\n"
                          "}\n";

class CLCLinkTest : public CLFixture
{
protected:
    cl_program Source(const std::string& strSource)
    {
        const char* pText = strSource.c_str();
        cl_program program = Made(clCreateProgramWithSource, m_Context, 1u, &pText,
                                  static_cast<const size_t*>(nullptr));
        m_vPrograms.push_back(program);
        return program;
    }

    // A compiled object of the source, with the header as "util/scale.h".
    cl_program Compiled(const std::string& strSource, const char* pOptions = "")
    {
        cl_program program = Source(strSource);
        cl_program header = Source(HEADER);
        const char* pName = "util/scale.h";
        EXPECT_EQ(CL_SUCCESS, clCompileProgram(program, 1, &m_Device, pOptions, 1, &header, &pName,
                                               nullptr, nullptr))
            << BuildLog(program);
        return program;
    }

    cl_program Link(const std::vector<cl_program>& vInputs, const char* pOptions, cl_int& nError)
    {
        cl_program program =
            clLinkProgram(m_Context, 1, &m_Device, pOptions, cl_uint(vInputs.size()),
                          vInputs.data(), nullptr, nullptr, &nError);
        if (program != nullptr)
        {
            m_vPrograms.push_back(program);
        }
        return program;
    }

    cl_program_binary_type TypeOf(cl_program program)
    {
        return Info<cl_program_binary_type>(clGetProgramBuildInfo, program, m_Device,
                                            cl_program_build_info(CL_PROGRAM_BINARY_TYPE));
    }

    // Runs kernel k over 8 work-items: o[i] = 2i + 1.5 when the link is right.
    void ExpectScaled(cl_program program)
    {
        cl_kernel kernel = CreateKernel(program, "k");
        cl_mem out = MakeBuffer(8 * sizeof(float));
        SetArgs(kernel, out);
        ASSERT_EQ(CL_SUCCESS, Launch(kernel, 8));
        const std::vector<float> vOut = Read<float>(out, 8);
        for (size_t i = 0; i < vOut.size(); ++i)
        {
            EXPECT_EQ(2.0f * float(i) + 1.5f, vOut[i]) << i;
        }
    }
};
} // namespace

TEST_F(CLCLinkTest, ObjectsLinkWithCallsAcrossThem)
{
    cl_program kernel = Compiled(KERNEL);
    cl_program scale = Compiled(SCALE);
    EXPECT_EQ(cl_program_binary_type(CL_PROGRAM_BINARY_TYPE_COMPILED_OBJECT), TypeOf(kernel));
    // An object has no kernels to make until it is linked.
    cl_int nError = CL_SUCCESS;
    EXPECT_EQ(nullptr, clCreateKernel(kernel, "k", &nError));
    EXPECT_EQ(CL_INVALID_PROGRAM_EXECUTABLE, nError);

    cl_program linked = Link({kernel, scale}, "-cl-fast-relaxed-math", nError);
    ASSERT_EQ(CL_SUCCESS, nError) << BuildLog(linked);
    EXPECT_EQ(cl_program_binary_type(CL_PROGRAM_BINARY_TYPE_EXECUTABLE), TypeOf(linked));
    ExpectScaled(linked);
}

TEST_F(CLCLinkTest, LibrariesAndBinariesOfObjectsLinkAsTheObjectsDo)
{
    cl_int nError = CL_SUCCESS;
    cl_program library = Link({Compiled(SCALE)}, "-create-library", nError);
    ASSERT_EQ(CL_SUCCESS, nError) << BuildLog(library);
    EXPECT_EQ(cl_program_binary_type(CL_PROGRAM_BINARY_TYPE_LIBRARY), TypeOf(library));

    // The object travels as a binary, and comes back as an object.
    cl_program object = FromBinary(ProgramBinary(Compiled(KERNEL)));
    EXPECT_EQ(cl_program_binary_type(CL_PROGRAM_BINARY_TYPE_COMPILED_OBJECT), TypeOf(object));
    cl_program linked = Link({object, FromBinary(ProgramBinary(library))}, "", nError);
    ASSERT_EQ(CL_SUCCESS, nError) << BuildLog(linked);
    ExpectScaled(linked);

    // The executable's binary builds as any other.
    cl_program rebuilt = FromBinary(ProgramBinary(linked));
    ASSERT_EQ(CL_SUCCESS, clBuildProgram(rebuilt, 0, nullptr, "", nullptr, nullptr));
    ExpectScaled(rebuilt);
}

TEST_F(CLCLinkTest, DebugObjectsKeepTheLinesOfEachUnit)
{
    cl_int nError = CL_SUCCESS;
    cl_program linked = Link({Compiled(KERNEL, "-g"), Compiled(SCALE)}, "", nError);
    ASSERT_EQ(CL_SUCCESS, nError) << BuildLog(linked);
    const std::vector<char> vBinary = ProgramBinary(linked);
    const std::string strBinary(vBinary.begin(), vBinary.end());
    // Line 5 of the kernel's unit calls scale, line 4 of the other unit calls twice.
    EXPECT_NE(std::string::npos, strBinary.find(";@program1.cl:5\n")) << strBinary;
    EXPECT_NE(std::string::npos, strBinary.find(";@program2.cl:4\n"));
    ExpectScaled(linked);
}

TEST_F(CLCLinkTest, CompileErrorsNameTheirFileAndLine)
{
    struct SCase
    {
        const char* pSource;
        const char* pOptions;
        cl_int nExpected;
        const char* pLog;
    };
    const SCase cases[] = {
        {"#include \"util/scale.h\"\nfloat f(void) { return scale(nothing); }\n", "",
         CL_COMPILE_PROGRAM_FAILURE, "program.cl:2:30: error: use of undeclared identifier"},
        {"#include \"util/missing.h\"\n", "", CL_COMPILE_PROGRAM_FAILURE,
         "'util/missing.h' file not found"},
        {"float f(void) { return SCALE; }\n", "-D SCALE=2.0f", CL_SUCCESS, ""},
        {"float f(void) { return 1.0f; }\n", "-create-library", CL_INVALID_COMPILER_OPTIONS,
         "unknown build option \"-create-library\""},
    };
    for (const SCase& test : cases)
    {
        cl_program program = Source(test.pSource);
        cl_program header = Source(HEADER);
        const char* pName = "util/scale.h";
        EXPECT_EQ(test.nExpected, clCompileProgram(program, 0, nullptr, test.pOptions, 1, &header,
                                                   &pName, nullptr, nullptr))
            << test.pSource;
        EXPECT_NE(std::string::npos, BuildLog(program).find(test.pLog)) << BuildLog(program);
    }
    // A header with an error is reported in the header's own lines.
    cl_program program = Source("#include \"bad.h\"\n");
    cl_program header = Source("\nint broken(void) { return }\n");
    const char* pName = "bad.h";
    EXPECT_EQ(CL_COMPILE_PROGRAM_FAILURE,
              clCompileProgram(program, 0, nullptr, "", 1, &header, &pName, nullptr, nullptr));
    EXPECT_NE(std::string::npos, BuildLog(program).find("./bad.h:2:27: error: expected expression"))
        << BuildLog(program);
}

TEST_F(CLCLinkTest, LinkErrorsAndRefusals)
{
    cl_int nError = CL_SUCCESS;
    // A function that no unit defines, and one that two define.
    cl_program linked = Link({Compiled(KERNEL)}, "", nError);
    EXPECT_EQ(CL_LINK_PROGRAM_FAILURE, nError);
    ASSERT_NE(nullptr, linked);
    EXPECT_NE(std::string::npos,
              BuildLog(linked).find("program.cl:5:10: error: function 'scale' is declared but no "
                                    "program defines it"))
        << BuildLog(linked);
    EXPECT_EQ(cl_program_binary_type(CL_PROGRAM_BINARY_TYPE_NONE), TypeOf(linked));
    linked = Link({Compiled(KERNEL), Compiled(SCALE), Compiled(SCALE)}, "", nError);
    EXPECT_EQ(CL_LINK_PROGRAM_FAILURE, nError);
    EXPECT_NE(std::string::npos,
              BuildLog(linked).find("program3.cl:1:7: error: 'twice' is defined in more than one "
                                    "program"))
        << BuildLog(linked);

    // Options a link doesn't know, inputs that are no objects, and no inputs: no program.
    cl_program object = Compiled(SCALE);
    EXPECT_EQ(nullptr, Link({object}, "-D X=1", nError));
    EXPECT_EQ(CL_INVALID_LINKER_OPTIONS, nError);
    cl_program source = Source(SCALE);
    EXPECT_EQ(nullptr, Link({object, source}, "", nError));
    EXPECT_EQ(CL_INVALID_OPERATION, nError);
    EXPECT_EQ(nullptr, Link({}, "", nError));
    EXPECT_EQ(CL_INVALID_VALUE, nError);
    EXPECT_EQ(nullptr, clLinkProgram(m_Context, 0, nullptr, "", 1,
                                     reinterpret_cast<const cl_program*>(&m_Queue), nullptr,
                                     nullptr, &nError));
    EXPECT_EQ(CL_INVALID_PROGRAM, nError);

    // An object is linked, not built; a program of binaries has no source to compile.
    cl_program fromObject = FromBinary(ProgramBinary(object));
    EXPECT_EQ(CL_INVALID_BINARY, clBuildProgram(fromObject, 0, nullptr, "", nullptr, nullptr));
    EXPECT_EQ(CL_INVALID_OPERATION,
              clCompileProgram(fromObject, 0, nullptr, "", 0, nullptr, nullptr, nullptr, nullptr));
    // An object whose unit gives its source another length than it has.
    std::vector<char> vDamaged = ProgramBinary(object);
    const std::string strBinary(vDamaged.begin(), vDamaged.end());
    const size_t nSource = strBinary.find("source " + std::to_string(std::strlen(SCALE)) + "\n");
    ASSERT_NE(std::string::npos, nSource);
    vDamaged[nSource + 7] = vDamaged[nSource + 7] == '1' ? '2' : '1';
    ExpectBinaryRefused(vDamaged);
    // Headers without names.
    EXPECT_EQ(CL_INVALID_VALUE,
              clCompileProgram(source, 0, nullptr, "", 1, &object, nullptr, nullptr, nullptr));
}
