// The debugger end to end, as a front-end uses it: the C front-end of FrontEnd.c drives every
// corpus kernel through the public header and the ICD loader, natively and under the debugger,
// and what it saw is compared with the engine's execution trace of the same launch. Each test
// process serves one device family and one launch path, chosen by its environment.

#include "CExecutionTrace.h"
#include "FrontEnd.h"
#include "KernelBinary/CElf.h"
#include "support/CorpusKernels.h"
#include "support/TracedRun.h"
#include "xan_execution_trace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <sstream>

namespace
{
using XAN_Platform::CExecutionTrace;
using XAN_Platform::STraceLoop;
using XAN_Platform::STraceRecord;

const size_t ITEMS = 64;

// The lines of the debug IL text of a built program.
std::vector<std::string> DebugILLines(cl_program program)
{
    size_t nSize = 0;
    EXPECT_EQ(CL_SUCCESS,
              clGetProgramInfo(program, CL_PROGRAM_BINARY_SIZES, sizeof(nSize), &nSize, nullptr));
    std::vector<char> vBinary(nSize);
    char* pBinary = vBinary.data();
    EXPECT_EQ(CL_SUCCESS,
              clGetProgramInfo(program, CL_PROGRAM_BINARIES, sizeof(pBinary), &pBinary, nullptr));
    XAN_ElfUtils::CElf elf(vBinary);
    const XAN_ElfUtils::CElfSection* pSection = elf.GetSection(".debugil");
    std::vector<std::string> vLines;
    if (pSection == nullptr)
    {
        return vLines;
    }
    std::istringstream text(std::string(pSection->GetData().begin(), pSection->GetData().end()));
    for (std::string strLine; std::getline(text, strLine);)
    {
        vLines.push_back(strLine);
    }
    return vLines;
}

std::string ReadText(const std::string& strPath)
{
    std::ifstream file(strPath);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

// Kernels whose walk the debugger shows otherwise than the trace, so that only the buffers and the
// frame of their stepped run are checked:
// - functions, calls_loop: a function called more than once is kept whole and shows the last
//   call's values, where the trace has each call's own.
// - outline: the trace numbers the body of an outline macro only when told its label.
// - loops: the walk leaves the loop at a break that empties the mask, though work-items that took
//   a continue are still in it.
// - switch: the walk's positions through the cases differ from the trace's.
const std::set<std::string> WALK_DIFFERS = {"functions", "calls_loop", "outline", "loops",
                                            "switch"};

// The kernels of the e2e folder, built from their IL text, beside the corpus's binaries.
const char* const INPLACE_KERNEL = "inplace";

// The temp register that an IL line writes and the components it writes ("r3", 0b1100 for
// ".zw"); an empty name for any other destination.
std::pair<std::string, uint32_t> Destination(const std::string& strLine)
{
    static const std::regex destination("^\\s*[a-z_0-9()]+\\s+(r[0-9]+)(\\.([xyzw_]{1,4}))?[ ,]");
    std::smatch match;
    if (!std::regex_search(strLine, match, destination))
    {
        return std::make_pair(std::string(), 0u);
    }
    uint32_t nMask = match[3].matched ? 0 : 0xF;
    const std::string strComponents = match[3].str();
    for (size_t i = 0; i < strComponents.size(); ++i)
    {
        const size_t nComponent = std::string("xyzw").find(strComponents[i]);
        // A mask written "x_z_" keeps the places; a short one "zw" names the components.
        const size_t nBit = strComponents.size() == 4 && strComponents[i] == '_' ? 4 : nComponent;
        nMask |= nBit < 4 ? 1u << nBit : 0u;
    }
    return std::make_pair(match[1].str(), nMask);
}

// A dynamic instance of an instruction: its number and its loop iterations.
typedef std::pair<uint32_t, std::vector<uint32_t>> Instance;

// What the trace says a step-by-step walk sees: the instances in the order that the work-items
// ran them in lockstep, the work-items that ran each, and each work-item's temp registers behind
// each instance.
struct SExpectedWalk
{
    struct SStep
    {
        Instance instance;
        // The whileloops of the enclosing loops, outermost first.
        std::vector<uint32_t> vLoopStarts;
        uint32_t nLine;
        std::vector<bool> vActive;
        // Register name to per-work-item values; a component that no instruction has written yet
        // is absent from the mask.
        std::map<std::string, std::vector<std::array<uint32_t, 4>>> values;
        std::map<std::string, std::vector<uint32_t>> written;
    };
    std::vector<SStep> vSteps;
};

SExpectedWalk ExpectedWalk(const CExecutionTrace& trace, const std::vector<std::string>& vLines)
{
    SExpectedWalk walk;
    // The main program only calls the kernel's function: a walk begins in the function.
    const size_t nFirstFunction = std::find_if(vLines.begin(), vLines.end(),
                                               [](const std::string& strLine)
                                               { return strLine.compare(0, 5, "func ") == 0; }) -
                                  vLines.begin();
    std::map<std::string, std::vector<std::array<uint32_t, 4>>> values;
    std::map<std::string, std::vector<uint32_t>> written;
    for (const STraceRecord& record : trace.GetRecords())
    {
        if (record.nInstruction == CExecutionTrace::NO_INSTRUCTION || record.nFlatIndex >= ITEMS ||
            record.nLine < nFirstFunction)
        {
            continue;
        }
        std::vector<uint32_t> vIterations;
        std::vector<uint32_t> vLoopStarts;
        for (const STraceLoop& loop : trace.GetLoopStack(record))
        {
            vIterations.push_back(loop.nIteration);
            vLoopStarts.push_back(loop.nStart);
        }
        const Instance instance(record.nInstruction, vIterations);
        if (walk.vSteps.empty() || walk.vSteps.back().instance != instance)
        {
            walk.vSteps.push_back(SExpectedWalk::SStep{
                instance, vLoopStarts, record.nLine, std::vector<bool>(ITEMS, false), {}, {}});
        }
        SExpectedWalk::SStep& step = walk.vSteps.back();
        // The mask that the debugger shows at a flow-control instruction is the one behind it,
        // but at a ret the one that reached it.
        const bool bRet =
            record.nLine < vLines.size() && vLines[record.nLine].compare(0, 3, "ret") == 0;
        step.vActive[record.nFlatIndex] =
            (record.nFlags & (bRet ? XAN_Platform::TF_Executed : XAN_Platform::TF_ActiveAfter)) !=
            0;
        if ((record.nFlags & XAN_Platform::TF_HasValue) != 0 && record.nLine < vLines.size())
        {
            const std::pair<std::string, uint32_t> dest = Destination(vLines[record.nLine]);
            // An address computed from a buffer argument differs by design: the debugger runs on
            // copies of the application's buffers.
            if (!dest.first.empty() && vLines[record.nLine].find("cb1[") != std::string::npos)
            {
                written[dest.first].resize(ITEMS);
                written[dest.first][record.nFlatIndex] &= ~dest.second;
            }
            else if (!dest.first.empty())
            {
                std::vector<std::array<uint32_t, 4>>& vRegister = values[dest.first];
                std::vector<uint32_t>& vWritten = written[dest.first];
                vRegister.resize(ITEMS);
                vWritten.resize(ITEMS);
                for (int c = 0; c < 4; ++c)
                {
                    if ((dest.second & (1u << c)) != 0)
                    {
                        vRegister[record.nFlatIndex][c] = record.vValue[c];
                    }
                }
                vWritten[record.nFlatIndex] |= dest.second;
            }
        }
        step.values = values;
        step.written = written;
    }
    // The debugger names a loop's next pass by its whileloop, where the trace has the endloop
    // that leads there.
    for (size_t k = 0; k + 1 < walk.vSteps.size(); ++k)
    {
        SExpectedWalk::SStep& step = walk.vSteps[k];
        const std::vector<uint32_t>& vNext = walk.vSteps[k + 1].instance.second;
        if (step.nLine < vLines.size() && vLines[step.nLine].compare(0, 7, "endloop") == 0 &&
            !step.vLoopStarts.empty() && vNext.size() == step.instance.second.size() &&
            vNext.back() == step.instance.second.back() + 1)
        {
            step.nLine = trace.GetLine(step.vLoopStarts.back());
        }
    }
    return walk;
}

// The name of a locator, as the library gives it.
std::string LocatorName(cl_ulong locator)
{
    char buffer[64] = {};
    size_t nLength = 0;
    xanclDebugUtilDebugRegisterLocatorToString(locator, sizeof(buffer), buffer, &nLength);
    return buffer;
}

class E2ETest : public ::testing::TestWithParam<std::string>
{
protected:
    static void SetUpTestSuite() { setenv("OCL_ICD_VENDORS", XAN_ICD_VENDORS_DIR, 0); }

    void SetUp() override
    {
        if (GetParam() == INPLACE_KERNEL)
        {
            const std::string strIL = ReadText(std::string(XAN_E2E_DIR) + "/inplace.il");
            m_vProgram.assign(strIL.begin(), strIL.end());
        }
        else
        {
            m_vProgram = XAN_Test::ReadCorpusBinary(GetParam());
        }
        ASSERT_FALSE(m_vProgram.empty());
        const bool bSource = GetParam() == INPLACE_KERNEL;
        ASSERT_EQ(CL_SUCCESS,
                  xfeOpen(&m_Session, reinterpret_cast<const unsigned char*>(m_vProgram.data()),
                          m_vProgram.size(), bSource, GetParam().c_str(), bSource ? "-g" : ""));
        for (size_t i = 0; i < ITEMS; ++i)
        {
            m_vInitial.push_back(static_cast<uint32_t>(i * 7 + 3));
        }
        ASSERT_EQ(CL_SUCCESS,
                  xfeAddBuffer(&m_Session, m_vInitial.data(), ITEMS * sizeof(uint32_t)));
        ASSERT_EQ(CL_SUCCESS, xfeRunNative(&m_Session, ITEMS));
        m_vNative = ReadOut();
        ASSERT_NE(m_vInitial, m_vNative);
    }

    void TearDown() override { xfeClose(&m_Session); }

    std::vector<uint32_t> ReadOut()
    {
        std::vector<uint32_t> vOut(ITEMS);
        EXPECT_EQ(CL_SUCCESS,
                  xfeReadBuffers(&m_Session, reinterpret_cast<unsigned char*>(vOut.data())));
        return vOut;
    }

    // A debug run from the initial contents; the application's buffer must end as natively. False
    // when the debugger refused the kernel: the launch then runs natively on the intercept path,
    // and not at all on the fallback path, which reports the failure.
    bool Debug(xfeRun& run, int nQueue = 0)
    {
        EXPECT_EQ(CL_SUCCESS, xfeResetBuffers(&m_Session, reinterpret_cast<const unsigned char*>(
                                                              m_vInitial.data())));
        if (run.nMaxStops == 0)
        {
            run.nMaxStops = 1000;
        }
        const cl_int nResult = xfeRunDebug(&m_Session, ITEMS, nQueue, &run);
        EXPECT_NE(0u, run.nStops);
        if (run.nStops != 0 && run.pStops[0].nEvent == XANCLDEBUG_EVENT_ERROR)
        {
            EXPECT_EQ(1u, run.nStops);
            EXPECT_EQ(IsFallback() ? XANCLDEBUG_ERROR_FAILURE : CL_SUCCESS, nResult);
            EXPECT_EQ(IsFallback() ? m_vInitial : m_vNative, ReadOut());
            return false;
        }
        EXPECT_EQ(CL_SUCCESS, nResult);
        // The hook runs the debug run on the runtime's thread, the fallback on the caller's.
        EXPECT_EQ(IsFallback(), run.bOnEnqueueThread != 0);
        EXPECT_EQ(XANCLDEBUG_SUCCESS, run.queryStatus) << run.pFailedQuery;
        EXPECT_LE(2u, run.nStops);
        EXPECT_EQ(XANCLDEBUG_EVENT_STARTED, run.pStops[0].nEvent);
        EXPECT_EQ(XANCLDEBUG_EVENT_FINISHED, run.pStops[run.nStops - 1].nEvent);
        EXPECT_EQ(m_vNative, ReadOut());
        return !HasFailure();
    }

    static bool IsFallback()
    {
        const char* pHidden = std::getenv("NORDVANE_OCL_HIDE_EXTENSIONS");
        return pHidden != nullptr && std::string(pHidden).find("metadata") != std::string::npos;
    }

    SExpectedWalk Trace()
    {
        EXPECT_EQ(CL_SUCCESS, xfeResetBuffers(&m_Session, reinterpret_cast<const unsigned char*>(
                                                              m_vInitial.data())));
        static const PFN_xanPlatformRunTracedKernel pfnRun =
            XAN_Test::FindTracedRun(XAN_ICD_VENDORS_DIR);
        CExecutionTrace trace;
        const size_t nItems = ITEMS;
        EXPECT_NE(nullptr, pfnRun);
        if (pfnRun != nullptr)
        {
            EXPECT_EQ(CL_SUCCESS, pfnRun(m_Session.queues[1], m_Session.kernel, 1, nullptr, &nItems,
                                         nullptr, &trace));
        }
        EXPECT_EQ(m_vNative, ReadOut());
        m_vLines = DebugILLines(m_Session.program);
        return ExpectedWalk(trace, m_vLines);
    }

    // Compares one halt with the trace's step: the work-items active there and, for each of
    // them, every component of a temp register that the kernel has written so far. The
    // differences are told in one line.
    void ExpectHaltMatches(const xfeStop& stop, const SExpectedWalk::SStep& step)
    {
        ASSERT_EQ(ITEMS, stop.nMaskCount);
        std::ostringstream differences;
        size_t nDifferences = 0;
        for (size_t i = 0; i < ITEMS; ++i)
        {
            if (step.vActive[i] != (stop.pMask[i] != 0) && nDifferences++ < 4)
            {
                differences << "mask of work-item " << i << " is " << stop.pMask[i] << "; ";
            }
        }
        for (size_t r = 0; r < stop.nRegisters; ++r)
        {
            const std::string strName = LocatorName(stop.pLocators[r]);
            const auto itValues = step.values.find(strName);
            if (itValues == step.values.end() || stop.ppValues[r] == nullptr)
            {
                continue;
            }
            ASSERT_EQ(ITEMS, stop.pValueCounts[r]) << strName;
            for (size_t i = 0; i < ITEMS; ++i)
            {
                const uint32_t nWritten = step.written.at(strName)[i];
                for (int c = 0; c < 4 && stop.pMask[i] != 0; ++c)
                {
                    uint32_t nShown = 0;
                    memcpy(&nShown, stop.ppValues[r] + i * 16 + c * 4, 4);
                    if ((nWritten & (1u << c)) != 0 && itValues->second[i][c] != nShown &&
                        nDifferences++ < 4)
                    {
                        differences << strName << "."
                                    << "xyzw"[c] << " of work-item " << i << " is " << nShown
                                    << ", not " << itValues->second[i][c] << "; ";
                    }
                }
            }
        }
        EXPECT_EQ(0u, nDifferences) << differences.str();
    }

    std::vector<char> m_vProgram;
    std::vector<std::string> m_vLines;
    xfeSession m_Session;
    std::vector<uint32_t> m_vInitial;
    std::vector<uint32_t> m_vNative;
};

std::vector<std::string> KernelsOf(const std::string& strFamily)
{
    std::vector<std::string> vKernels;
    for (const std::string& strName : XAN_Test::CorpusKernelNames())
    {
        if (XAN_Test::KernelDevice(
                ReadText(std::string(XAN_CORPUS_SOURCE_DIR) + "/" + strName + ".il")) == strFamily)
        {
            vKernels.push_back(strName);
        }
    }
    if (strFamily == "larkspur")
    {
        vKernels.push_back(INPLACE_KERNEL);
    }
    return vKernels;
}
} // namespace

TEST_P(E2ETest, SteppingShowsWhatTheKernelDidAtEveryInstruction)
{
    const SExpectedWalk walk = Trace();
    xfeRun run = {};
    run.bStep = 1;
    run.bQueryFromOtherThread = 1;
    if (!Debug(run))
    {
        xfeFreeRun(&run);
        return;
    }
    if (WALK_DIFFERS.count(GetParam()) != 0)
    {
        xfeFreeRun(&run);
        return;
    }
    // STARTED, one halt per step, FINISHED.
    ASSERT_EQ(walk.vSteps.size() + 2, run.nStops);
    for (size_t k = 0; k < walk.vSteps.size(); ++k)
    {
        SCOPED_TRACE("step " + std::to_string(k) + ", line " +
                     std::to_string(walk.vSteps[k].nLine));
        const xfeStop& stop = run.pStops[k + 1];
        if (k + 1 < walk.vSteps.size())
        {
            EXPECT_EQ(walk.vSteps[k + 1].nLine, stop.nProgramCounter);
        }
        EXPECT_EQ(XANCLDEBUG_SUCCESS, stop.otherThreadStatus);
        EXPECT_EQ(stop.nProgramCounter, stop.nOtherThreadProgramCounter);
        ExpectHaltMatches(stop, walk.vSteps[k]);
    }
    xfeFreeRun(&run);
}

TEST_P(E2ETest, ContinueStopsAtEachBreakpointOnBothQueues)
{
    if (WALK_DIFFERS.count(GetParam()) != 0)
    {
        return;
    }
    const SExpectedWalk walk = Trace();
    // Every third line that the walk reaches, of the instructions that compute (the debugger
    // snaps a breakpoint on flow control elsewhere), each stop following the walk's order.
    static const std::regex flowControl(
        "^(if|else|end|while|break|continue|switch|case|default|ret)");
    std::vector<cl_uint> vLines;
    for (size_t k = 1; k < walk.vSteps.size(); k += 3)
    {
        if (!std::regex_search(m_vLines[walk.vSteps[k].nLine], flowControl))
        {
            vLines.push_back(walk.vSteps[k].nLine);
        }
    }
    std::sort(vLines.begin(), vLines.end());
    vLines.erase(std::unique(vLines.begin(), vLines.end()), vLines.end());
    std::vector<size_t> vExpected;
    for (size_t k = 1; k < walk.vSteps.size(); ++k)
    {
        if (std::binary_search(vLines.begin(), vLines.end(), walk.vSteps[k].nLine))
        {
            vExpected.push_back(k);
        }
    }
    for (int nQueue : {0, 1})
    {
        SCOPED_TRACE("queue " + std::to_string(nQueue));
        xfeRun run = {};
        run.pBreakpointLines = vLines.data();
        run.nBreakpoints = vLines.size();
        if (!Debug(run, nQueue))
        {
            xfeFreeRun(&run);
            continue;
        }
        EXPECT_EQ(vLines, std::vector<cl_uint>(run.pSetLines, run.pSetLines + vLines.size()));
        ASSERT_EQ(vExpected.size() + 2, run.nStops);
        for (size_t s = 0; s < vExpected.size(); ++s)
        {
            // Stopped in front of the breakpoint's instruction: the state is the one before it.
            EXPECT_EQ(walk.vSteps[vExpected[s]].nLine, run.pStops[s + 1].nProgramCounter);
            ExpectHaltMatches(run.pStops[s + 1], walk.vSteps[vExpected[s] - 1]);
        }
        xfeFreeRun(&run);
    }
}

INSTANTIATE_TEST_SUITE_P(Larkspur, E2ETest, ::testing::ValuesIn(KernelsOf("larkspur")));
INSTANTIATE_TEST_SUITE_P(Fennel, E2ETest, ::testing::ValuesIn(KernelsOf("fennel")));
