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
#include <tuple>

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

// Kernels whose stepped walk is compared with the trace on positions and masks only, with why.
const std::map<std::string, std::string> VALUES_DIFFER = {
    {"functions", "a function called more than once shows the last call's values"},
    {"calls_loop", "a function called inside a loop shows the last call's values"}};

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

bool StartsWith(const std::string& strLine, const char* pWord)
{
    return strLine.compare(0, strlen(pWord), pWord) == 0;
}

// A loop around a position: its whileloop's line and the pass it is in, from 0.
typedef std::pair<uint32_t, uint32_t> LoopPass;
// A position of a walk: a line and the passes of the loops around it, outermost first. A function
// keeps its caller's loops, as the trace counts them.
typedef std::pair<uint32_t, std::vector<LoopPass>> Position;

std::string Describe(const Position& position)
{
    std::string strText = "line " + std::to_string(position.first);
    for (const LoopPass& loop : position.second)
    {
        strText += ", pass " + std::to_string(loop.second) + " of the loop at line " +
                   std::to_string(loop.first);
    }
    return strText;
}

// What the trace says a walk shows at one position: the work-items there and, for each of them,
// the temp registers as it left them behind the instruction. A component that it has not written
// yet is absent from the mask.
struct SInstance
{
    std::vector<bool> vActive = std::vector<bool>(ITEMS, false);
    std::map<std::string, std::vector<std::array<uint32_t, 4>>> values;
    std::map<std::string, std::vector<uint32_t>> written;
};
// The trace's positions, and the line where a walk begins.
struct SExpected
{
    std::map<Position, SInstance> instances;
    uint32_t nFirstLine = 0;
    // A work-item's last pass of a loop: by the work-item, the passes of the loops around the
    // loop, and its whileloop.
    std::map<std::tuple<size_t, std::vector<LoopPass>, uint32_t>, uint32_t> lastPasses;

    // What a walk shows at a position. The patched kernel runs a loop up to the pass of the
    // position and keeps, for a work-item that left the loop before, what it captured in its
    // own last pass: such a work-item shows as active where it was active in that pass, with
    // registers that the later passes' reads leave mixed, so that they aren't compared. In a
    // function kept whole the capture is made in the position's pass alone.
    SInstance At(const Position& position, bool bKept) const
    {
        const auto itInstance = instances.find(position);
        SInstance instance = itInstance != instances.end() ? itInstance->second : SInstance();
        if (position.second.empty() || bKept)
        {
            return instance;
        }
        std::vector<LoopPass> vLoops = position.second;
        const LoopPass loop = vLoops.back();
        vLoops.pop_back();
        for (size_t i = 0; i < ITEMS; ++i)
        {
            const auto itLast = lastPasses.find(std::make_tuple(i, vLoops, loop.first));
            if (instance.vActive[i] || itLast == lastPasses.end() || itLast->second >= loop.second)
            {
                continue;
            }
            std::vector<LoopPass> vEarlier = vLoops;
            vEarlier.push_back(LoopPass(loop.first, itLast->second));
            const auto itEarlier = instances.find(Position(position.first, vEarlier));
            if (itEarlier == instances.end() || !itEarlier->second.vActive[i])
            {
                continue;
            }
            instance.vActive[i] = true;
            for (std::pair<const std::string, std::vector<uint32_t>>& written : instance.written)
            {
                written.second[i] = 0;
            }
        }
        return instance;
    }
};

// The line of the first instruction that can run: the main program before it only calls the
// kernel, whose walk begins in the function.
size_t FirstKernelLine(const std::vector<std::string>& vLines)
{
    const auto itEndMain =
        std::find_if(vLines.begin(), vLines.end(),
                     [](const std::string& strLine) { return StartsWith(strLine, "endmain"); });
    return itEndMain == vLines.end() ? 0 : size_t(itEndMain - vLines.begin()) + 1;
}

// The label of the macro that holds the kernel's body, named by a comment behind its mdef; 0 for
// none.
uint32_t OutlineMacroLabel(const std::vector<std::string>& vLines, const std::string& strKernel)
{
    static const std::regex mdef("^mdef\\(([0-9]+)\\)");
    std::smatch match;
    for (size_t n = 0; n + 1 < vLines.size(); ++n)
    {
        if (std::regex_search(vLines[n], match, mdef) && vLines[n + 1] == ";" + strKernel)
        {
            return uint32_t(std::stoul(match[1].str()));
        }
    }
    return 0;
}

// Every position that the trace has, named as a walk names it: an endloop whose loop goes on is
// the whileloop of the next pass, and an endloop that leaves the loop lies outside it.
SExpected ExpectedInstances(const CExecutionTrace& trace, const std::vector<std::string>& vLines)
{
    const size_t nFirstLine = FirstKernelLine(vLines);
    std::vector<const STraceRecord*> vRecords;
    for (const STraceRecord& record : trace.GetRecords())
    {
        if (record.nInstruction != CExecutionTrace::NO_INSTRUCTION && record.nFlatIndex < ITEMS &&
            record.nLine >= nFirstLine && record.nLine < vLines.size())
        {
            vRecords.push_back(&record);
        }
    }
    typedef std::array<uint32_t, 3> Group;
    const auto loopsOf = [&trace](const STraceRecord& record)
    {
        std::vector<LoopPass> vLoops;
        for (const STraceLoop& loop : trace.GetLoopStack(record))
        {
            vLoops.push_back(LoopPass(trace.GetLine(loop.nStart), loop.nIteration));
        }
        return vLoops;
    };
    // The passes that a group began, each with the passes of the loops around it.
    std::set<std::pair<Group, std::vector<LoopPass>>> passes;
    for (const STraceRecord* pRecord : vRecords)
    {
        const Group group = {pRecord->vGroupId[0], pRecord->vGroupId[1], pRecord->vGroupId[2]};
        std::vector<LoopPass> vLoops = loopsOf(*pRecord);
        for (; !vLoops.empty(); vLoops.pop_back())
        {
            passes.insert(std::make_pair(group, vLoops));
        }
    }

    SExpected expected;
    expected.nFirstLine = vRecords.empty() ? 0 : vRecords.front()->nLine;
    // Each work-item's registers as it left them, in its own order of execution.
    std::vector<std::map<std::string, std::pair<std::array<uint32_t, 4>, uint32_t>>> vState(ITEMS);
    for (const STraceRecord* pRecord : vRecords)
    {
        const STraceRecord& record = *pRecord;
        const std::string& strLine = vLines[record.nLine];
        Position position(record.nLine, loopsOf(record));
        if (StartsWith(strLine, "endloop") && !position.second.empty())
        {
            const Group group = {record.vGroupId[0], record.vGroupId[1], record.vGroupId[2]};
            std::vector<LoopPass> vNext = position.second;
            ++vNext.back().second;
            position.second.pop_back();
            if (passes.count(std::make_pair(group, vNext)) != 0)
            {
                position = Position(vNext.back().first, vNext);
            }
        }
        std::map<std::string, std::pair<std::array<uint32_t, 4>, uint32_t>>& state =
            vState[record.nFlatIndex];
        const std::pair<std::string, uint32_t> dest = Destination(strLine);
        if ((record.nFlags & XAN_Platform::TF_HasValue) != 0 && !dest.first.empty())
        {
            std::pair<std::array<uint32_t, 4>, uint32_t>& reg = state[dest.first];
            // An address computed from a buffer argument differs by design: the debugger runs
            // on copies of the application's buffers.
            const bool bAddress = strLine.find("cb1[") != std::string::npos;
            for (int c = 0; c < 4; ++c)
            {
                if ((dest.second & (1u << c)) != 0)
                {
                    reg.first[c] = record.vValue[c];
                }
            }
            reg.second = bAddress ? reg.second & ~dest.second : reg.second | dest.second;
        }
        if (!position.second.empty() && (record.nFlags & XAN_Platform::TF_Executed) != 0)
        {
            std::vector<LoopPass> vLoops = position.second;
            const LoopPass loop = vLoops.back();
            vLoops.pop_back();
            uint32_t& nLast =
                expected.lastPasses[std::make_tuple(size_t(record.nFlatIndex), vLoops, loop.first)];
            nLast = std::max(nLast, loop.second);
        }
        SInstance& instance = expected.instances[position];
        // The mask that the debugger shows at a flow-control instruction is the one behind it,
        // but at a ret the one that reached it.
        const uint32_t nActiveFlag =
            StartsWith(strLine, "ret") ? XAN_Platform::TF_Executed : XAN_Platform::TF_ActiveAfter;
        instance.vActive[record.nFlatIndex] = (record.nFlags & nActiveFlag) != 0;
        for (const auto& reg : state)
        {
            instance.values[reg.first].resize(ITEMS);
            instance.values[reg.first][record.nFlatIndex] = reg.second.first;
            instance.written[reg.first].resize(ITEMS);
            instance.written[reg.first][record.nFlatIndex] = reg.second.second;
        }
    }
    return expected;
}

// What a walk's positions and masks depend on in the IL text.
struct SCodeShape
{
    // The endloop of each whileloop.
    std::map<uint32_t, uint32_t> loopEnds;
    // The function or macro that holds each line, by the line that opens it.
    std::vector<uint32_t> vBody;
    // Lines whose mask the debugger shows from another line: a switch shows the work-items that
    // come through its endswitch, and a break of a switch those that enter the next case; inside
    // a loop only in a function kept whole, and nobody elsewhere in a loop, as the trace does.
    std::map<uint32_t, uint32_t> maskFrom;
    std::set<uint32_t> inLoop;
    // The functions called more than once, whose patched kernels keep them whole: by the line
    // of their func.
    std::set<uint32_t> keptBodies;

    // The loops of a position that lie in the function of its line.
    std::vector<LoopPass> OwnLoops(const Position& position) const
    {
        std::vector<LoopPass> vOwn;
        for (const LoopPass& loop : position.second)
        {
            if (vBody[loop.first] == vBody[position.first])
            {
                vOwn.push_back(loop);
            }
        }
        return vOwn;
    }
};

// The case, default or endswitch that follows a line of a switch.
uint32_t NextLabel(const std::vector<std::string>& vLines, uint32_t nLine)
{
    size_t nNested = 0;
    for (uint32_t n = nLine + 1; n < vLines.size(); ++n)
    {
        const bool bEnd = StartsWith(vLines[n], "endswitch");
        if (nNested == 0 &&
            (bEnd || StartsWith(vLines[n], "case") || StartsWith(vLines[n], "default")))
        {
            return n;
        }
        nNested += StartsWith(vLines[n], "switch") ? 1 : 0;
        nNested -= bEnd ? 1 : 0;
    }
    return nLine;
}

SCodeShape CodeShapeOf(const std::vector<std::string>& vLines)
{
    SCodeShape shape;
    shape.vBody.resize(vLines.size(), 0);
    // The whileloops and switches open at a line.
    std::vector<uint32_t> vOpen;
    const auto inLoop = [&vOpen, &vLines]()
    {
        return std::any_of(vOpen.begin(), vOpen.end(),
                           [&vLines](uint32_t n) { return StartsWith(vLines[n], "whileloop"); });
    };
    uint32_t nBody = 0;
    for (uint32_t n = 0; n < vLines.size(); ++n)
    {
        const std::string& strLine = vLines[n];
        if (StartsWith(strLine, "func ") || StartsWith(strLine, "mdef"))
        {
            nBody = n;
        }
        shape.vBody[n] = nBody;
        if (StartsWith(strLine, "whileloop") || StartsWith(strLine, "switch"))
        {
            vOpen.push_back(n);
        }
        else if ((StartsWith(strLine, "endloop") || StartsWith(strLine, "endswitch")) &&
                 !vOpen.empty())
        {
            const uint32_t nOpen = vOpen.back();
            vOpen.pop_back();
            if (StartsWith(vLines[nOpen], "whileloop"))
            {
                shape.loopEnds[nOpen] = n;
            }
            else
            {
                shape.maskFrom[nOpen] = n;
                if (inLoop())
                {
                    shape.inLoop.insert(nOpen);
                }
            }
        }
        else if ((strLine == "break" || StartsWith(strLine, "break ")) && !vOpen.empty() &&
                 StartsWith(vLines[vOpen.back()], "switch"))
        {
            shape.maskFrom[n] = NextLabel(vLines, n);
            if (inLoop())
            {
                shape.inLoop.insert(n);
            }
        }
    }
    // A function is called more than once from two calls, from a call in a loop, or from a
    // function that is.
    std::map<std::string, uint32_t> funcs;
    std::multimap<std::string, uint32_t> calls;
    for (uint32_t n = 0; n < vLines.size(); ++n)
    {
        if (StartsWith(vLines[n], "func "))
        {
            funcs[vLines[n].substr(5)] = n;
        }
        else if (StartsWith(vLines[n], "call "))
        {
            calls.insert(std::make_pair(vLines[n].substr(5), n));
        }
    }
    for (bool bMore = true; bMore;)
    {
        bMore = false;
        for (const std::pair<const std::string, uint32_t>& func : funcs)
        {
            const auto range = calls.equal_range(func.first);
            bool bKept = std::distance(range.first, range.second) > 1;
            for (auto it = range.first; it != range.second; ++it)
            {
                const uint32_t nCall = it->second;
                bKept = bKept || shape.keptBodies.count(shape.vBody[nCall]) != 0 ||
                        std::any_of(shape.loopEnds.begin(), shape.loopEnds.end(),
                                    [nCall](const std::pair<const uint32_t, uint32_t>& loop)
                                    { return loop.first < nCall && nCall < loop.second; });
            }
            bMore = bMore || (bKept && shape.keptBodies.insert(func.second).second);
        }
    }
    return shape;
}

// The positions of a walk from the lines that it ran, in order: a whileloop met again begins the
// loop's next pass; a line outside a loop's body, its endloop included (a break leads there),
// has left the loop; and a function or macro keeps the loops of its caller, to which it returns
// at the call.
std::vector<Position> WalkPositions(const std::vector<uint32_t>& vRan, const SCodeShape& shape)
{
    std::vector<Position> vPositions;
    std::vector<LoopPass> vLoops;
    // The body of each function entered and the loops open when it was entered.
    std::vector<std::pair<uint32_t, size_t>> vFrames;
    for (const uint32_t nLine : vRan)
    {
        const uint32_t nLineBody = nLine < shape.vBody.size() ? shape.vBody[nLine] : 0;
        if (vFrames.empty() || vFrames.back().first != nLineBody)
        {
            const auto itCaller = std::find_if(vFrames.rbegin(), vFrames.rend(),
                                               [nLineBody](const std::pair<uint32_t, size_t>& frame)
                                               { return frame.first == nLineBody; });
            if (itCaller != vFrames.rend())
            {
                vLoops.resize(std::min(vLoops.size(), itCaller.base()->second));
                vFrames.erase(itCaller.base(), vFrames.end());
            }
            else
            {
                vFrames.push_back(std::make_pair(nLineBody, vLoops.size()));
            }
        }
        const size_t nOwn = vFrames.back().second;
        if (shape.loopEnds.count(nLine) != 0)
        {
            if (vLoops.size() > nOwn && vLoops.back().first == nLine)
            {
                ++vLoops.back().second;
            }
            else
            {
                vLoops.push_back(LoopPass(nLine, 0));
            }
        }
        while (vLoops.size() > nOwn &&
               !(vLoops.back().first <= nLine && nLine < shape.loopEnds.at(vLoops.back().first)))
        {
            vLoops.pop_back();
        }
        vPositions.push_back(Position(nLine, vLoops));
    }
    return vPositions;
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

    SExpected Trace()
    {
        EXPECT_EQ(CL_SUCCESS, xfeResetBuffers(&m_Session, reinterpret_cast<const unsigned char*>(
                                                              m_vInitial.data())));
        static const PFN_xanPlatformRunTracedKernel pfnRun =
            XAN_Test::FindTracedRun(XAN_ICD_VENDORS_DIR);
        m_vLines = DebugILLines(m_Session.program);
        m_Shape = CodeShapeOf(m_vLines);
        CExecutionTrace trace;
        trace.SetOutlineMacro(OutlineMacroLabel(m_vLines, GetParam()));
        const size_t nItems = ITEMS;
        EXPECT_NE(nullptr, pfnRun);
        if (pfnRun != nullptr)
        {
            EXPECT_EQ(CL_SUCCESS, pfnRun(m_Session.queues[1], m_Session.kernel, 1, nullptr, &nItems,
                                         nullptr, &trace));
        }
        EXPECT_EQ(m_vNative, ReadOut());
        return ExpectedInstances(trace, m_vLines);
    }

    // Whether the halts' values are compared; where not, the report says why.
    bool ComparesValues()
    {
        const auto itDiffers = VALUES_DIFFER.find(GetParam());
        if (itDiffers != VALUES_DIFFER.end())
        {
            RecordProperty("values_not_compared", itDiffers->second);
        }
        return itDiffers == VALUES_DIFFER.end();
    }

    // The positions of a stepped run's halts: each halt shows the instruction that ran, which
    // the halt before named as the next.
    std::vector<Position> Walked(const xfeRun& run, const SExpected& expected) const
    {
        std::vector<uint32_t> vRan(1, expected.nFirstLine);
        for (size_t k = 1; k + 2 < run.nStops; ++k)
        {
            vRan.push_back(run.pStops[k].nProgramCounter);
        }
        return WalkPositions(vRan, m_Shape);
    }

    // Compares one halt with the trace at a position: the work-items active there and, unless
    // only the masks are compared, for each of them every component of a temp register that it
    // has written so far. A position that the trace lacks was reached by nobody. The differences
    // are told in one line.
    void ExpectHaltMatches(const xfeStop& stop, const SExpected& expected, const Position& position,
                           bool bValues)
    {
        ASSERT_EQ(ITEMS, stop.nMaskCount);
        // A func never executes: the trace has nothing there.
        if (position.first < m_vLines.size() && StartsWith(m_vLines[position.first], "func "))
        {
            return;
        }
        const bool bKept = m_Shape.keptBodies.count(m_Shape.vBody[position.first]) != 0;
        const SInstance instance = expected.At(position, bKept);
        const auto itMaskFrom = m_Shape.maskFrom.find(position.first);
        const Position maskAt(itMaskFrom != m_Shape.maskFrom.end() &&
                                      (bKept || m_Shape.inLoop.count(position.first) == 0)
                                  ? itMaskFrom->second
                                  : position.first,
                              position.second);
        std::vector<bool> vActive = expected.At(maskAt, bKept).vActive;
        // A function kept whole shows every work-item that any of its calls brought there.
        const std::vector<LoopPass> vOwn = m_Shape.OwnLoops(maskAt);
        for (const std::pair<const Position, SInstance>& other : expected.instances)
        {
            for (size_t i = 0; bKept && other.first.first == maskAt.first && i < ITEMS; ++i)
            {
                vActive[i] = vActive[i] ||
                             (other.second.vActive[i] && m_Shape.OwnLoops(other.first) == vOwn);
            }
        }
        std::ostringstream differences;
        size_t nDifferences = 0;
        for (size_t i = 0; i < ITEMS; ++i)
        {
            if (vActive[i] != (stop.pMask[i] != 0) && nDifferences++ < 4)
            {
                differences << "mask of work-item " << i << " is " << stop.pMask[i] << "; ";
            }
        }
        for (size_t r = 0; r < stop.nRegisters && bValues; ++r)
        {
            const std::string strName = LocatorName(stop.pLocators[r]);
            const auto itValues = instance.values.find(strName);
            if (itValues == instance.values.end() || stop.ppValues[r] == nullptr)
            {
                continue;
            }
            ASSERT_EQ(ITEMS, stop.pValueCounts[r]) << strName;
            for (size_t i = 0; i < ITEMS; ++i)
            {
                const uint32_t nWritten = instance.written.at(strName)[i];
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
        EXPECT_EQ(0u, nDifferences) << Describe(position) << ": " << differences.str();
    }

    std::vector<char> m_vProgram;
    std::vector<std::string> m_vLines;
    SCodeShape m_Shape;
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
    const SExpected expected = Trace();
    xfeRun run = {};
    run.bStep = 1;
    run.bQueryFromOtherThread = 1;
    if (!Debug(run))
    {
        xfeFreeRun(&run);
        return;
    }
    const bool bValues = ComparesValues();
    const std::vector<Position> vWalk = Walked(run, expected);
    std::set<Position> visited(vWalk.begin(), vWalk.end());
    // STARTED, one halt per step, FINISHED.
    for (size_t k = 0; k < vWalk.size(); ++k)
    {
        SCOPED_TRACE("halt " + std::to_string(k) + " at " + Describe(vWalk[k]));
        const xfeStop& stop = run.pStops[k + 1];
        EXPECT_EQ(XANCLDEBUG_SUCCESS, stop.otherThreadStatus);
        EXPECT_EQ(stop.nProgramCounter, stop.nOtherThreadProgramCounter);
        ExpectHaltMatches(stop, expected, vWalk[k], bValues);
    }
    // The walk passes every position where the kernel ran.
    for (const std::pair<const Position, SInstance>& instance : expected.instances)
    {
        EXPECT_EQ(1u, visited.count(instance.first)) << "not visited: " << Describe(instance.first);
    }
    xfeFreeRun(&run);
}

TEST_P(E2ETest, ContinueStopsAtEachBreakpointOnBothQueues)
{
    const SExpected expected = Trace();
    xfeRun stepped = {};
    stepped.bStep = 1;
    if (!Debug(stepped))
    {
        xfeFreeRun(&stepped);
        return;
    }
    const std::vector<Position> vWalk = Walked(stepped, expected);
    xfeFreeRun(&stepped);
    const bool bValues = ComparesValues();
    // Every third line that the walk reaches of the instructions that compute, and every else
    // and endif, each stop following the walk's order. Run passes the other flow control
    // without looking at it: a loop, a switch or a call as a whole, a break or continue by its
    // count.
    static const std::regex flowControl(
        "^(if|end(?!if)|while|break|continue|switch|case|default|ret|func|call|mcall)");
    static const std::regex branch("^(else|endif)");
    std::vector<cl_uint> vLines;
    for (size_t k = 1; k < vWalk.size(); ++k)
    {
        const std::string& strLine = m_vLines[vWalk[k].first];
        if ((k % 3 == 1 && !std::regex_search(strLine, flowControl)) ||
            std::regex_search(strLine, branch))
        {
            vLines.push_back(vWalk[k].first);
        }
    }
    std::sort(vLines.begin(), vLines.end());
    vLines.erase(std::unique(vLines.begin(), vLines.end()), vLines.end());
    std::vector<size_t> vExpected;
    for (size_t k = 1; k < vWalk.size(); ++k)
    {
        if (std::binary_search(vLines.begin(), vLines.end(), vWalk[k].first))
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
            SCOPED_TRACE("stop " + std::to_string(s) + " at " + Describe(vWalk[vExpected[s]]));
            EXPECT_EQ(vWalk[vExpected[s]].first, run.pStops[s + 1].nProgramCounter);
            ExpectHaltMatches(run.pStops[s + 1], expected, vWalk[vExpected[s] - 1], bValues);
        }
        xfeFreeRun(&run);
    }
}

INSTANTIATE_TEST_SUITE_P(Larkspur, E2ETest, ::testing::ValuesIn(KernelsOf("larkspur")));
INSTANTIATE_TEST_SUITE_P(Fennel, E2ETest, ::testing::ValuesIn(KernelsOf("fennel")));
