// xancldb end to end: its batch and --json answers checked against the platform's execution
// trace of the same launch, stepping back, the comparison with a native run, and bad input.
#include "CDebugILText.h"
#include "CExecutionTrace.h"
#include "CLaunchDescription.h"
#include "CLaunchRunner.h"
#include "XancldbRun.h"
#include "support/TestSupport.h"
#include "support/TracedRun.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

using namespace XAN_XancldbTest;
using XAN_Platform::CExecutionTrace;
using XAN_Platform::STraceRecord;

namespace
{
// What the original kernel did: its trace, and its debug IL text by line.
struct SOracle
{
    CExecutionTrace trace;
    XAN_Xancldb::CDebugILText il;
    size_t nItems = 0;

    // The records of the first execution of a line (the first call of its function, every
    // enclosing loop in its first pass), by work-item.
    std::map<uint32_t, const STraceRecord*> FirstPass(uint32_t nLine) const
    {
        std::map<uint32_t, const STraceRecord*> records;
        for (const STraceRecord& record : trace.GetRecords())
        {
            bool bFirst = record.nLine == nLine;
            for (const XAN_Platform::STraceLoop& loop : trace.GetLoopStack(record))
            {
                bFirst = bFirst && loop.nIteration == 0;
            }
            if (bFirst)
            {
                records.emplace(record.nFlatIndex, &record);
            }
        }
        return records;
    }
};

void RunTraced(const std::string& strLaunch, SOracle& oracle)
{
    XAN_Launch::CLaunchDescription launch;
    std::string strError;
    ASSERT_TRUE(launch.Load(strLaunch, strError)) << strError;
    oracle.nItems =
        launch.GetGlobalSize()[0] * launch.GetGlobalSize()[1] * launch.GetGlobalSize()[2];
    cl_platform_id platform = nullptr;
    ASSERT_EQ(CL_SUCCESS, clGetPlatformIDs(1, &platform, nullptr));
    cl_device_id device = nullptr;
    ASSERT_EQ(CL_SUCCESS, clGetDeviceIDs(platform, CL_DEVICE_TYPE_GPU, 1, &device, nullptr));
    cl_int nError = CL_SUCCESS;
    cl_context context = clCreateContext(nullptr, 1, &device, nullptr, nullptr, &nError);
    cl_command_queue queue = clCreateCommandQueue(context, device, 0, &nError);
    static const PFN_xanPlatformRunTracedKernel s_pfnRun =
        XAN_Test::FindTracedRun(XAN_ICD_VENDORS_DIR);
    ASSERT_NE(nullptr, s_pfnRun);
    XAN_Launch::SLaunchCalls calls;
    calls.enqueue = [&oracle](cl_command_queue queue, cl_kernel kernel, cl_uint nDimensions,
                              const size_t* pOffset, const size_t* pGlobal, const size_t* pLocal)
    {
        cl_program program = nullptr;
        clGetKernelInfo(kernel, CL_KERNEL_PROGRAM, sizeof(program), &program, nullptr);
        std::string strError;
        EXPECT_TRUE(oracle.il.Load(program, strError)) << strError;
        return s_pfnRun(queue, kernel, nDimensions, pOffset, pGlobal, pLocal, &oracle.trace);
    };
    {
        XAN_Launch::CLaunchRunner runner(context, device, queue, calls);
        XAN_Launch::CLaunchRunner::Contents vContents;
        EXPECT_TRUE(runner.Run(launch, vContents, strError)) << strError;
    }
    clReleaseCommandQueue(queue);
    clReleaseContext(context);
    ASSERT_FALSE(oracle.trace.HasOverflowed());
}

// The work-items whose record has the flag.
std::set<size_t> ItemsWith(const std::map<uint32_t, const STraceRecord*>& records, uint32_t nFlag)
{
    std::set<size_t> items;
    for (const auto& entry : records)
    {
        if ((entry.second->nFlags & nFlag) != 0)
        {
            items.insert(entry.first);
        }
    }
    return items;
}

std::set<size_t> MaskOf(const nlohmann::json& stop)
{
    std::set<size_t> active;
    for (const nlohmann::json& range : stop["mask"]["ranges"])
    {
        for (size_t i = range[0].get<size_t>(); i <= range[1].get<size_t>(); ++i)
        {
            active.insert(i);
        }
    }
    return active;
}

// The IL line whose text starts so.
uint32_t LineOf(const SOracle& oracle, const std::string& strStart)
{
    for (uint32_t n = 0; n < oracle.il.GetLineCount(); ++n)
    {
        if (oracle.il.GetLine(n).compare(0, strStart.size(), strStart) == 0)
        {
            return n;
        }
    }
    ADD_FAILURE() << "no line " << strStart;
    return 0;
}

// The temp register an instruction writes ("r3" of "iadd r3.x, ..."); empty for others.
std::string Destination(const std::string& strInstruction)
{
    std::istringstream words(strInstruction);
    std::string strOpcode;
    std::string strDestination;
    words >> strOpcode >> strDestination;
    const std::string strRegister = strDestination.substr(0, strDestination.find_first_of(".,"));
    return strRegister.size() > 1 && strRegister[0] == 'r' &&
                   strRegister.find_first_not_of("0123456789", 1) == std::string::npos
               ? strRegister
               : std::string();
}

bool IsFlowControl(const std::string& strInstruction)
{
    static const char* const s_Words[] = {"if",        "ifnz",    "ifc",   "else",    "endif",
                                          "whileloop", "endloop", "break", "breakc",  "continue",
                                          "continuec", "switch",  "case",  "default", "endswitch",
                                          "call",      "callnz",  "ret",   "func",    "endfunc"};
    const std::string strOpcode = strInstruction.substr(0, strInstruction.find_first_of(" _"));
    for (const char* pWord : s_Words)
    {
        if (strOpcode == pWord)
        {
            return true;
        }
    }
    return false;
}

class XancldbSessionTest : public ::testing::TestWithParam<const char*>
{
protected:
    static void SetUpTestSuite() { setenv("OCL_ICD_VENDORS", XAN_ICD_VENDORS_DIR, 0); }
};

const char* const STEPPED_LAUNCHES[] = {"demo", "straight", "ifelse", "loops", "nested5"};
const size_t DISPLAYED_REGISTERS = 5;
} // namespace

// Every step of the kernel: each ordinary instruction's first execution leaves the mask and
// the register values that the trace shows behind it.
TEST_P(XancldbSessionTest, EveryStepMatchesTheTrace)
{
    const std::string strLaunch = ExampleLaunch(GetParam());
    SOracle oracle;
    RunTraced(strLaunch, oracle);
    const SRun whole = RunXancldb("--batch --json " + strLaunch, "step 1000000\n");
    ASSERT_EQ(0, whole.nExit) << whole.strErr;
    const std::vector<nlohmann::json> vEnd = Events(whole, "finished");
    ASSERT_EQ(1u, vEnd.size()) << whole.strOut;
    const uint64_t nSteps = vEnd[0]["step"].get<uint64_t>();
    ASSERT_GT(nSteps, 2u);

    std::string strScript;
    for (size_t r = 0; r < DISPLAYED_REGISTERS; ++r)
    {
        strScript += "display r" + std::to_string(r) + "\n";
    }
    for (uint64_t i = 0; i <= nSteps; ++i)
    {
        strScript += "step\n";
    }
    const SRun run = RunXancldb("--batch --json " + strLaunch, strScript);
    ASSERT_EQ(0, run.nExit) << run.strErr;
    const std::vector<nlohmann::json> vStops = Events(run, "halted");
    ASSERT_EQ(nSteps, vStops.size());
    ASSERT_EQ(1u, Events(run, "finished").size());

    std::set<uint32_t> seen;
    size_t nChecked = 0;
    for (size_t k = 1; k < vStops.size(); ++k)
    {
        const uint32_t nCurrent = vStops[k - 1]["line"].get<uint32_t>();
        const std::string strInstruction = oracle.il.GetLine(nCurrent);
        EXPECT_EQ(strInstruction, vStops[k - 1]["instruction"].get<std::string>());
        if (!seen.insert(nCurrent).second || IsFlowControl(strInstruction))
        {
            continue;
        }
        const std::map<uint32_t, const STraceRecord*> records = oracle.FirstPass(nCurrent);
        ASSERT_FALSE(records.empty()) << "line " << nCurrent << " " << strInstruction;
        const std::set<size_t> expected = ItemsWith(records, XAN_Platform::TF_ActiveAfter);
        EXPECT_EQ(expected, MaskOf(vStops[k]))
            << "behind line " << nCurrent << ": " << strInstruction;
        // The buffers' device addresses (in cb1) differ between the traced run and the
        // debugged one: values computed from them can't be compared.
        const std::string strDestination = strInstruction.find("cb1[") == std::string::npos
                                               ? Destination(strInstruction)
                                               : std::string();
        for (const nlohmann::json& displayed : vStops[k]["display"])
        {
            if (displayed["register"] != strDestination)
            {
                continue;
            }
            ASSERT_TRUE(displayed["live"].get<bool>()) << strInstruction;
            for (size_t nItem : expected)
            {
                const STraceRecord& record = *records.at(uint32_t(nItem));
                for (size_t c = 0; c < 4; ++c)
                {
                    EXPECT_EQ(record.vValue[c], displayed["values"][nItem][c].get<uint32_t>())
                        << strInstruction << " work-item " << nItem << " component " << c;
                }
            }
            ++nChecked;
        }
    }
    EXPECT_GT(nChecked, 2u);
}

INSTANTIATE_TEST_SUITE_P(Examples, XancldbSessionTest, ::testing::ValuesIn(STEPPED_LAUNCHES));

class XancldbDemoTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { setenv("OCL_ICD_VENDORS", XAN_ICD_VENDORS_DIR, 0); }
    void SetUp() override { RunTraced(ExampleLaunch("demo"), m_Oracle); }

    SOracle m_Oracle;
};

// A breakpoint inside the if: the mask holds the work-items that take the branch, and one step
// on the register holds what each of them computed there.
TEST_F(XancldbDemoTest, BreakpointInsideABranch)
{
    const uint32_t nLine = LineOf(m_Oracle, "imul r0.w");
    const SRun run =
        RunXancldb("--batch --json --verify " + ExampleLaunch("demo"),
                   "display r0 @all\nbreak " + std::to_string(nLine) + "\ncontinue\nstep\n");
    ASSERT_EQ(0, run.nExit) << run.strErr << run.strOut;
    const std::vector<nlohmann::json> vStops = Events(run, "halted");
    ASSERT_EQ(2u, vStops.size()) << run.strOut;
    EXPECT_EQ("breakpoint", vStops[0]["reason"]);
    EXPECT_EQ(nLine, vStops[0]["line"].get<uint32_t>());
    const std::map<uint32_t, const STraceRecord*> records = m_Oracle.FirstPass(nLine);
    const std::set<size_t> taking = ItemsWith(records, XAN_Platform::TF_Executed);
    EXPECT_EQ(m_Oracle.nItems / 2, taking.size());
    EXPECT_EQ(taking, MaskOf(vStops[0]));
    EXPECT_EQ(taking, MaskOf(vStops[1]));
    for (size_t nItem : taking)
    {
        EXPECT_EQ(records.at(uint32_t(nItem))->vValue[3],
                  vStops[1]["display"][0]["values"][nItem][3].get<uint32_t>());
    }
    const std::vector<nlohmann::json> vVerify = Events(run, "verify");
    ASSERT_EQ(1u, vVerify.size());
    EXPECT_TRUE(vVerify[0]["identical"].get<bool>()) << vVerify[0]["report"];
}

// Back re-runs the launch to the step before: the same position, mask and values as the first
// time there; run-back returns to the last breakpoint passed.
TEST_F(XancldbDemoTest, BackAndRunBackReturnToEarlierStops)
{
    const uint32_t nLine = LineOf(m_Oracle, "and r2.x");
    const SRun run = RunXancldb("--batch --json " + ExampleLaunch("demo"),
                                "display r2\nbreak " + std::to_string(nLine) +
                                    "\ncontinue\nstep 3\nback\nrun-back\n");
    ASSERT_EQ(0, run.nExit) << run.strErr << run.strOut;
    const std::vector<nlohmann::json> vStops = Events(run, "halted");
    ASSERT_EQ(4u, vStops.size()) << run.strOut;
    const uint64_t nBreak = vStops[0]["step"].get<uint64_t>();
    EXPECT_EQ(nBreak + 3, vStops[1]["step"].get<uint64_t>());
    EXPECT_EQ("back", vStops[2]["reason"]);
    EXPECT_EQ(nBreak + 2, vStops[2]["step"].get<uint64_t>());
    EXPECT_EQ("back", vStops[3]["reason"]);
    EXPECT_EQ(nBreak, vStops[3]["step"].get<uint64_t>());
    EXPECT_EQ(vStops[0]["line"], vStops[3]["line"]);
    EXPECT_EQ(vStops[0]["mask"], vStops[3]["mask"]);
    EXPECT_EQ(vStops[0]["display"], vStops[3]["display"]);
}

// Text mode, as the README's demo shows it: a summary by value and a mask by work-group.
TEST_F(XancldbDemoTest, SummaryAndMaskText)
{
    const uint32_t nLine = LineOf(m_Oracle, "imul r0.w");
    const SRun run = RunXancldb("--batch " + ExampleLaunch("demo"),
                                "break " + std::to_string(nLine) +
                                    "\ncontinue\ninfo mask\nprint r4.x @all\nx in[1]@3\n");
    ASSERT_EQ(0, run.nExit) << run.strErr << run.strOut;
    for (const std::string& strText :
         {"Breakpoint 1, line " + std::to_string(nLine),
          std::string("active: 16 of 32 work-items: 1, 3, 5, 7, 9, 11, 13, 15, 17"),
          std::string("  group 0: .#.#.#.#.#.#.#.#\n"), std::string("  3  x1  3\n"),
          std::string("  inactive  x16  0, 2, 4"), std::string("in[1]: 1 2 3\n")})
    {
        EXPECT_NE(std::string::npos, run.strOut.find(strText)) << strText << " in\n" << run.strOut;
    }
}

// Each bad input of the table: a clear message and the exit status that tells its kind.
TEST(XancldbBadInputTest, MessagesAndExitStatus)
{
    setenv("OCL_ICD_VENDORS", XAN_ICD_VENDORS_DIR, 0);
    std::ofstream("demo.il") << XAN_Test::ReadFile(std::string(XAN_EXAMPLES_DIR) +
                                                   "/kernels/demo.il");
    std::ofstream("broken.il") << "il_cs_2_0\nthis is no instruction\nend\n";
    std::string strLaunch;
    std::string strLaunchText;
    std::string strScript;
    int nExit = 0;
    size_t nCases = 0;
    for (const std::string& strLine :
         XAN_Test::ReadLines(std::string(XAN_XANCLDB_TEST_DATA_DIR) + "/bad_input.txt"))
    {
        const std::string strWord = strLine.substr(0, strLine.find(' '));
        const std::string strRest =
            strLine.find(' ') == std::string::npos ? "" : strLine.substr(strLine.find(' ') + 1);
        if (strWord == "launch")
        {
            strLaunch = strRest == "absent" ? "absent.toml" : ExampleLaunch(strRest);
        }
        else if (strWord == "|")
        {
            strLaunch = "bad.toml";
            strLaunchText += strRest + "\n";
        }
        else if (strWord == "script")
        {
            strScript += strRest + "\n";
        }
        else if (strWord == "exit")
        {
            nExit = std::stoi(strRest);
        }
        else if (strWord == "message")
        {
            ++nCases;
            std::ofstream("bad.toml") << strLaunchText;
            const SRun run = RunXancldb("--batch " + strLaunch, strScript);
            EXPECT_EQ(nExit, run.nExit) << strLaunchText << strScript << run.strErr;
            EXPECT_NE(std::string::npos, run.strErr.find(strRest))
                << strLaunchText << strScript << "gave: " << run.strErr;
            strLaunchText.clear();
            strScript.clear();
        }
    }
    EXPECT_EQ(15u, nCases);
}

// Every bundled launch file reads, and names a kernel its program holds.
TEST(XancldbExamplesTest, BundledLaunchFilesRead)
{
    size_t nFiles = 0;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::string(XAN_EXAMPLES_DIR) + "/launch"))
    {
        if (entry.path().extension() != ".toml")
        {
            continue;
        }
        ++nFiles;
        XAN_Launch::CLaunchDescription launch;
        std::string strError;
        ASSERT_TRUE(launch.Load(entry.path().string(), strError)) << strError;
        EXPECT_NE(std::string::npos,
                  launch.GetProgramText().find("__OpenCL_" + launch.GetKernel() + "_kernel"))
            << entry.path();
        EXPECT_EQ("-g", launch.GetOptions()) << entry.path();
    }
    EXPECT_GE(nFiles, 10u);
}
