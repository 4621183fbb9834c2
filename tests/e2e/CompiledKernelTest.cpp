// A kernel written in OpenCL C, compiled by the platform with -g, debugged end to end through
// the C front-end: every step halts where the engine's execution trace says the group went
// next, and the register that the variable map names for a source variable holds, at every
// halt, what the trace says the kernel had written there.

#include "CExecutionTrace.h"
#include "FrontEnd.h"
#include "KernelBinary/CElf.h"
#include "support/TracedRun.h"
#include "xan_execution_trace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace
{
using XAN_Platform::CExecutionTrace;
using XAN_Platform::STraceRecord;

const size_t ITEMS = 64;

const char* const SOURCE = "__kernel void scale(__global uint* data)\n"
                           "{\n"
                           "    uint i = get_global_id(0);\n"
                           "    uint x = data[i] * 3u;\n"
                           "    if (x % 2u == 0u)\n"
                           "        x = x / 2u;\n"
                           "    else\n"
                           "        x = x + 7u;\n"
                           "    data[i] = x + i;\n"
                           "}\n";

// What the kernel leaves in x for an input.
uint32_t FinalX(uint32_t nInput)
{
    const uint32_t x = nInput * 3u;
    return x % 2u == 0u ? x / 2u : x + 7u;
}

// A register component, such as r5.x, as its register's name and component number.
struct SPlace
{
    std::string strRegister;
    int nComponent = -1;
};

// The place of a variable as the variable map of the debug IL gives it (";@var:x:r5.x").
SPlace VariablePlace(const std::vector<std::string>& vLines, const std::string& strName)
{
    const std::string strMark = ";@var:" + strName + ":";
    for (const std::string& strLine : vLines)
    {
        const size_t nDot = strLine.find('.');
        if (strLine.compare(0, strMark.size(), strMark) == 0 && nDot != std::string::npos &&
            nDot + 1 < strLine.size())
        {
            return SPlace{strLine.substr(strMark.size(), nDot - strMark.size()),
                          int(std::string("xyzw").find(strLine[nDot + 1]))};
        }
    }
    return SPlace();
}

// Whether an IL line writes the place: the compiler writes its destination first, as "rN.xz".
bool Writes(const std::string& strLine, const SPlace& place)
{
    std::istringstream words(strLine);
    std::string strOp;
    std::string strDest;
    words >> strOp >> strDest;
    const size_t nDot = strDest.find('.');
    return nDot != std::string::npos && strDest.substr(0, nDot) == place.strRegister &&
           strDest.find("xyzw"[place.nComponent], nDot) != std::string::npos;
}

class CompiledKernelTest : public ::testing::TestWithParam<const char*>
{
protected:
    static void SetUpTestSuite() { setenv("OCL_ICD_VENDORS", XAN_ICD_VENDORS_DIR, 0); }

    void SetUp() override
    {
        ASSERT_EQ(CL_SUCCESS, xfeOpen(&m_Session, reinterpret_cast<const unsigned char*>(SOURCE),
                                      std::strlen(SOURCE), 1, "scale", GetParam()));
        for (size_t i = 0; i < ITEMS; ++i)
        {
            m_vInitial.push_back(uint32_t(i * 5 + 1));
        }
        ASSERT_EQ(CL_SUCCESS,
                  xfeAddBuffer(&m_Session, m_vInitial.data(), ITEMS * sizeof(uint32_t)));
    }

    void TearDown() override { xfeClose(&m_Session); }

    void Reset()
    {
        EXPECT_EQ(CL_SUCCESS, xfeResetBuffers(&m_Session, reinterpret_cast<const unsigned char*>(
                                                              m_vInitial.data())));
    }

    std::vector<uint32_t> ReadOut()
    {
        std::vector<uint32_t> vOut(ITEMS);
        EXPECT_EQ(CL_SUCCESS,
                  xfeReadBuffers(&m_Session, reinterpret_cast<unsigned char*>(vOut.data())));
        return vOut;
    }

    xfeSession m_Session;
    std::vector<uint32_t> m_vInitial;
};
} // namespace

TEST_P(CompiledKernelTest, SteppingFollowsTheTraceAndShowsTheSourceVariable)
{
    Reset();
    const PFN_xanPlatformRunTracedKernel pfnRun = XAN_Test::FindTracedRun(XAN_ICD_VENDORS_DIR);
    ASSERT_NE(nullptr, pfnRun);
    CExecutionTrace trace;
    const size_t nItems = ITEMS;
    ASSERT_EQ(CL_SUCCESS,
              pfnRun(m_Session.queues[1], m_Session.kernel, 1, nullptr, &nItems, nullptr, &trace));
    std::vector<uint32_t> vExpected(ITEMS);
    for (size_t i = 0; i < ITEMS; ++i)
    {
        vExpected[i] = FinalX(m_vInitial[i]) + uint32_t(i);
    }
    EXPECT_EQ(vExpected, ReadOut());

    Reset();
    xfeRun run = {};
    run.bStep = 1;
    run.nMaxStops = 1000;
    ASSERT_EQ(CL_SUCCESS, xfeRunDebug(&m_Session, ITEMS, 0, &run));
    EXPECT_EQ(vExpected, ReadOut());
    ASSERT_LE(2u, run.nStops);
    EXPECT_EQ(XANCLDEBUG_EVENT_STARTED, run.pStops[0].nEvent);
    EXPECT_EQ(XANCLDEBUG_EVENT_FINISHED, run.pStops[run.nStops - 1].nEvent);

    // The debug IL of the binary that the debugger holds, with its source marks.
    const XAN_ElfUtils::CElf elf(std::vector<char>(run.pBinary, run.pBinary + run.nBinarySize));
    const XAN_ElfUtils::CElfSection* pDebugIL = elf.GetSection(".debugil");
    ASSERT_NE(nullptr, pDebugIL);
    std::istringstream text(std::string(pDebugIL->GetData().begin(), pDebugIL->GetData().end()));
    std::vector<std::string> vLines;
    for (std::string strLine; std::getline(text, strLine);)
    {
        vLines.push_back(strLine);
    }
    EXPECT_NE(vLines.end(), std::find(vLines.begin(), vLines.end(), ";@program.cl:6"));
    const SPlace x = VariablePlace(vLines, "x");
    ASSERT_GE(x.nComponent, 0);

    // The trace's instructions of the kernel's function (the main program only calls it) in the
    // order the group ran them (the kernel has no loop, so an instruction runs once), and x of
    // each work-item behind each.
    const uint32_t nFunction = uint32_t(std::find_if(vLines.begin(), vLines.end(),
                                                     [](const std::string& strLine) {
                                                         return strLine.compare(0, 5, "func ") == 0;
                                                     }) -
                                        vLines.begin());
    std::vector<uint32_t> vSteps;
    std::vector<std::vector<uint32_t>> vX;
    std::vector<uint32_t> vCurrent(ITEMS, 0);
    std::vector<bool> vWritten(ITEMS, false);
    for (const STraceRecord& record : trace.GetRecords())
    {
        if (record.nInstruction == CExecutionTrace::NO_INSTRUCTION || record.nFlatIndex >= ITEMS ||
            record.nLine >= vLines.size() || record.nLine < nFunction)
        {
            continue;
        }
        if (vSteps.empty() || vSteps.back() != record.nLine)
        {
            vSteps.push_back(record.nLine);
            vX.push_back(vCurrent);
        }
        if ((record.nFlags & XAN_Platform::TF_HasValue) != 0 && Writes(vLines[record.nLine], x))
        {
            vCurrent[record.nFlatIndex] = record.vValue[x.nComponent];
            vWritten[record.nFlatIndex] = true;
            vX.back() = vCurrent;
        }
    }
    ASSERT_EQ(vSteps.size() + 2, run.nStops);
    for (size_t k = 0; k < vSteps.size(); ++k)
    {
        SCOPED_TRACE("step " + std::to_string(k) + ": " + vLines[vSteps[k]]);
        const xfeStop& stop = run.pStops[k + 1];
        if (k + 1 < vSteps.size())
        {
            EXPECT_EQ(vSteps[k + 1], stop.nProgramCounter);
        }
        for (size_t r = 0; r < stop.nRegisters; ++r)
        {
            char vName[64] = {};
            size_t nLength = 0;
            xanclDebugUtilDebugRegisterLocatorToString(stop.pLocators[r], sizeof(vName), vName,
                                                       &nLength);
            if (x.strRegister != vName || stop.ppValues[r] == nullptr)
            {
                continue;
            }
            for (size_t i = 0; i < ITEMS; ++i)
            {
                uint32_t nShown = 0;
                std::memcpy(&nShown, stop.ppValues[r] + i * 16 + size_t(x.nComponent) * 4, 4);
                if (stop.pMask[i] != 0)
                {
                    EXPECT_EQ(vX[k][i], nShown) << "x of work-item " << i;
                }
            }
        }
    }
    for (size_t i = 0; i < ITEMS; ++i)
    {
        EXPECT_TRUE(vWritten[i]);
        EXPECT_EQ(FinalX(m_vInitial[i]), vX.back()[i]) << i;
    }
    xfeFreeRun(&run);
}

// The older families keep private memory elsewhere; the kernel has none, so one family serves.
INSTANTIATE_TEST_SUITE_P(Larkspur, CompiledKernelTest, ::testing::Values("-g"));
