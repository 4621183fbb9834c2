// Patched kernels against the execution trace of the kernel they come from: for every
// instruction of every corpus kernel, in the loop iterations it reaches, the patched kernel is
// built with the debugger's options and run on restored buffers, and its flags and captured
// registers are compared with what the trace shows the original kernel did there.

#include "CExecutionTrace.h"
#include "ElfUtils.h"
#include "ShaderUtils/IL/ILFormat.h"
#include "support/CorpusKernels.h"
#include "support/CorpusProgram.h"
#include "support/PatchDoubles.h"
#include "support/TracedRun.h"
#include "xan_execution_trace.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>

namespace
{
using namespace XAN_ShaderDebugger;
using XAN_Platform::CExecutionTrace;
using XAN_Platform::STraceLoop;
using XAN_Platform::STraceRecord;
using XAN_Test::CNordvaneDevice;
using XAN_Test::CPatchKernel;
using XAN_Test::CPatchShaderIL;
using namespace ShaderUtils;

const size_t ITEMS = 64;
// Loops with more passes are checked in their first three and their last.
const size_t CHECKED_FIRST_ITERATIONS = 3;

// What one run leaves: the kernel's buffer, and for a patched kernel the result records and
// the flags.
struct SRunOutput
{
    std::vector<uint32_t> vOut;
    std::vector<uint32_t> vResults;
    std::vector<uint32_t> vFlags;
};

cl_mem MakeBuffer(const CNordvaneDevice& device, std::vector<uint32_t>& vData)
{
    cl_int nError = CL_SUCCESS;
    cl_mem buffer = clCreateBuffer(device.GetContext(), CL_MEM_READ_WRITE | CL_MEM_COPY_HOST_PTR,
                                   vData.size() * sizeof(uint32_t), vData.data(), &nError);
    EXPECT_EQ(CL_SUCCESS, nError);
    return buffer;
}

void ReadBuffer(const CNordvaneDevice& device, cl_mem buffer, std::vector<uint32_t>& vData)
{
    EXPECT_EQ(CL_SUCCESS, clEnqueueReadBuffer(device.GetQueue(), buffer, CL_TRUE, 0,
                                              vData.size() * sizeof(uint32_t), vData.data(), 0,
                                              nullptr, nullptr));
    clReleaseMemObject(buffer);
}

// Runs a kernel of the corpus on fresh buffers; a patched kernel gets the debugger's three
// arguments behind the kernel's one, with vResultRows result rows.
SRunOutput RunKernel(const CNordvaneDevice& device, cl_kernel kernel, bool bPatched,
                     CExecutionTrace* pTrace = nullptr, size_t nResultRows = ITEMS)
{
    SRunOutput output;
    output.vOut.assign(ITEMS, 0);
    output.vResults.assign(4 * nResultRows, 0);
    output.vFlags.assign(ITEMS, 0);
    cl_mem buffers[] = {MakeBuffer(device, output.vOut), MakeBuffer(device, output.vResults),
                        MakeBuffer(device, output.vFlags)};
    const cl_int nSelector = 0;
    EXPECT_EQ(CL_SUCCESS, clSetKernelArg(kernel, 0, sizeof(cl_mem), &buffers[0]));
    if (bPatched)
    {
        EXPECT_EQ(CL_SUCCESS, clSetKernelArg(kernel, 1, sizeof(cl_mem), &buffers[1]));
        EXPECT_EQ(CL_SUCCESS, clSetKernelArg(kernel, 2, sizeof(cl_mem), &buffers[2]));
        EXPECT_EQ(CL_SUCCESS, clSetKernelArg(kernel, 3, sizeof(nSelector), &nSelector));
    }
    const size_t nItems = ITEMS;
    if (pTrace != nullptr)
    {
        static const PFN_xanPlatformRunTracedKernel pfnRun =
            XAN_Test::FindTracedRun(XAN_ICD_VENDORS_DIR);
        EXPECT_NE(nullptr, pfnRun);
        if (pfnRun != nullptr)
        {
            EXPECT_EQ(CL_SUCCESS,
                      pfnRun(device.GetQueue(), kernel, 1, nullptr, &nItems, nullptr, pTrace));
        }
    }
    else
    {
        EXPECT_EQ(CL_SUCCESS, clEnqueueNDRangeKernel(device.GetQueue(), kernel, 1, nullptr, &nItems,
                                                     nullptr, 0, nullptr, nullptr));
    }
    ReadBuffer(device, buffers[0], output.vOut);
    ReadBuffer(device, buffers[1], output.vResults);
    ReadBuffer(device, buffers[2], output.vFlags);
    return output;
}

// A kernel of a program that the platform builds from a kernel image; null with the build log
// on failure.
cl_kernel BuildKernel(const CNordvaneDevice& device, const std::vector<char>& vImage,
                      const std::string& strKernel, const char* pOptions, std::string& strLog)
{
    cl_program program = device.Build(vImage, pOptions, strLog);
    if (program == nullptr)
    {
        return nullptr;
    }
    cl_int nError = CL_SUCCESS;
    cl_kernel kernel = clCreateKernel(program, strKernel.c_str(), &nError);
    clReleaseProgram(program);
    return nError == CL_SUCCESS ? kernel : nullptr;
}

// One dynamic instance of an instruction as the debugger names it: the instruction and the
// iterations of the loops of its function that hold it.
typedef std::pair<uint32_t, std::vector<uint32_t>> Instance;

class PatchOracleTest : public ::testing::TestWithParam<const char*>
{
protected:
    // The build's platform; the device family comes from each test process's environment.
    static void SetUpTestSuite() { setenv("OCL_ICD_VENDORS", XAN_ICD_VENDORS_DIR, 0); }

    void SetUp() override
    {
        m_strKernel = GetParam();
        ASSERT_TRUE(m_Device.IsValid());
        m_pPatch.reset(new CPatchKernel(m_strKernel, XAN_Test::LoadDebugBinary(m_strKernel)));
        ASSERT_TRUE(m_pPatch->m_pShader->IsShaderDebuggable(1))
            << m_pPatch->m_pShader->Info().strError[0];

        std::string strLog;
        cl_kernel kernel =
            BuildKernel(m_Device, XAN_Test::ReadCorpusBinary(m_strKernel), m_strKernel, "", strLog);
        ASSERT_NE(nullptr, kernel) << strLog;
        m_Trace.SetOutlineMacro(m_pPatch->m_pShader->GetOutlineMacroLabel());
        m_Original = RunKernel(m_Device, kernel, false, &m_Trace);
        clReleaseKernel(kernel);
        ASSERT_FALSE(m_Trace.HasOverflowed());
        GroupRecords();
    }

    // The loops of the debugger's position: those of the instruction's own function that hold
    // it, as the analysis draws their ranges.
    std::vector<LoopState> LoopsOf(uint32_t nInstruction, const std::vector<STraceLoop>& vTrace)
    {
        const std::map<uint32_t, uint32_t>& scope = m_pPatch->m_pShader->GetFunctionScope();
        std::vector<LoopState> vLoops;
        for (const STraceLoop& loop : vTrace)
        {
            CIL_FCConstruct* pConstruct = m_pPatch->m_Named.ConstructAt(loop.nStart);
            CIL_Loop* pLoop = pConstruct != nullptr ? pConstruct->AsLoop() : nullptr;
            if (pLoop != nullptr && pLoop->GetStart() <= nInstruction &&
                nInstruction < pLoop->GetEnd() && scope.at(loop.nStart) == scope.at(nInstruction))
            {
                vLoops.push_back(LoopState{pLoop->GetStart(), pLoop->GetEnd(), loop.nIteration});
            }
        }
        return vLoops;
    }

    // The last record of each work-item at each instance: the last call decides.
    void GroupRecords()
    {
        for (const STraceRecord& record : m_Trace.GetRecords())
        {
            if (record.nInstruction == CExecutionTrace::NO_INSTRUCTION)
            {
                continue;
            }
            std::vector<uint32_t> vIterations;
            const std::vector<LoopState> vLoops =
                LoopsOf(record.nInstruction, m_Trace.GetLoopStack(record));
            for (const LoopState& loop : vLoops)
            {
                vIterations.push_back(loop.nIteration);
            }
            const Instance instance(record.nInstruction, vIterations);
            m_Loops[instance] = vLoops;
            m_Records[instance][record.nFlatIndex] = &record;
            std::vector<uint32_t> vStack;
            for (const STraceLoop& loop : m_Trace.GetLoopStack(record))
            {
                vStack.push_back(loop.nIteration);
            }
            m_bReentered[instance][record.nFlatIndex] =
                m_bReentered[instance][record.nFlatIndex] ||
                ++m_Executions[std::make_pair(instance, vStack)][record.nFlatIndex] > 1;
            for (size_t d = 0; d < vLoops.size(); ++d)
            {
                const LoopKey key(
                    record.nFlatIndex,
                    Instance(vLoops[d].nStart,
                             std::vector<uint32_t>(vIterations.begin(), vIterations.begin() + d)));
                m_LastPass[key] = std::max(m_LastPass[key], vIterations[d]);
                m_MostPasses[std::make_pair(record.nFlatIndex, vLoops[d].nStart)] =
                    std::max(m_MostPasses[std::make_pair(record.nFlatIndex, vLoops[d].nStart)],
                             vIterations[d]);
            }
        }
    }

    // Where the patched kernel can't match the trace by its design: an inner loop that ran
    // more passes in an earlier pass of an outer loop than the target's iteration allows it
    // (the count limits every entry of the loop), or a function that the work-item entered
    // more than once (the rest of the function behind the target is gone in each call).
    bool DivergesByDesign(const Instance& instance, uint32_t nItem) const
    {
        const std::vector<LoopState>& vLoops = m_Loops.at(instance);
        bool bOuterPassed = false;
        for (size_t d = 0; d < vLoops.size(); ++d)
        {
            std::map<std::pair<uint32_t, uint32_t>, uint32_t>::const_iterator it =
                m_MostPasses.find(std::make_pair(nItem, vLoops[d].nStart));
            if (bOuterPassed && it != m_MostPasses.end() && it->second > instance.second[d])
            {
                return true;
            }
            bOuterPassed = bOuterPassed || instance.second[d] > 0;
        }
        std::map<Instance, std::map<uint32_t, bool>>::const_iterator itCalls =
            m_bReentered.find(instance);
        return itCalls != m_bReentered.end() && itCalls->second.count(nItem) != 0 &&
               itCalls->second.at(nItem);
    }

    // The record that a work-item's flag and capture stand for. A work-item that reached the
    // target in an earlier pass and left the loop later in that pass keeps what it had then.
    const STraceRecord* RecordFor(const Instance& instance, uint32_t nItem, uint32_t nFlag) const
    {
        std::map<Instance, std::map<uint32_t, const STraceRecord*>>::const_iterator it =
            m_Records.find(instance);
        if (it != m_Records.end() && it->second.count(nItem) != 0 &&
            (it->second.at(nItem)->nFlags & nFlag) != 0)
        {
            return it->second.at(nItem);
        }
        if (instance.second.empty())
        {
            return nullptr;
        }
        std::vector<uint32_t> vOuter = instance.second;
        const uint32_t nIteration = vOuter.back();
        vOuter.pop_back();
        const LoopKey key(nItem, Instance(m_Loops.at(instance).back().nStart, vOuter));
        std::map<LoopKey, uint32_t>::const_iterator itLast = m_LastPass.find(key);
        if (itLast == m_LastPass.end() || itLast->second >= nIteration)
        {
            return nullptr;
        }
        std::vector<uint32_t> vEarlier = instance.second;
        vEarlier.back() = itLast->second;
        std::map<Instance, std::map<uint32_t, const STraceRecord*>>::const_iterator itEarlier =
            m_Records.find(Instance(instance.first, vEarlier));
        if (itEarlier == m_Records.end() || itEarlier->second.count(nItem) == 0 ||
            (itEarlier->second.at(nItem)->nFlags & nFlag) == 0)
        {
            return nullptr;
        }
        return itEarlier->second.at(nItem);
    }

    // The instances checked: all, or in loops with many passes the first three and the last.
    std::vector<Instance> CheckedInstances() const
    {
        std::map<std::pair<uint32_t, std::vector<uint32_t>>, std::vector<Instance>> byOuter;
        for (const auto& instance : m_Records)
        {
            std::vector<uint32_t> vOuter = instance.first.second;
            if (!vOuter.empty())
            {
                vOuter.pop_back();
            }
            byOuter[std::make_pair(instance.first.first, vOuter)].push_back(instance.first);
        }
        std::vector<Instance> vChecked;
        for (const auto& group : byOuter)
        {
            const std::vector<Instance>& vAll = group.second;
            for (size_t i = 0; i < vAll.size(); ++i)
            {
                if (i < CHECKED_FIRST_ITERATIONS || i + 1 == vAll.size())
                {
                    vChecked.push_back(vAll[i]);
                }
            }
        }
        return vChecked;
    }

    bool IsSwitchOrSwitchBreak(uint32_t n) const
    {
        const unsigned int nOpCode = m_pPatch->m_pShader->GetInstructions()[n].GetOpCode();
        CIL_FCConstruct* pConstruct = m_pPatch->m_Named.ConstructAt(n);
        return nOpCode == IL_OP_SWITCH || (nOpCode == IL_OP_BREAK && pConstruct != nullptr &&
                                           pConstruct->AsSwitch() != nullptr);
    }

    // Where the flag is set: behind the target, except for a switch (behind its endswitch) and
    // a break in a switch (behind the next case), and never for those two inside a loop.
    Instance FlagInstance(const Instance& instance) const
    {
        const uint32_t n = instance.first;
        if (!IsSwitchOrSwitchBreak(n))
        {
            return instance;
        }
        if (!instance.second.empty())
        {
            return Instance(g_nInvalidInstruction, instance.second);
        }
        CIL_Switch* pSwitch = m_pPatch->m_Named.ConstructAt(n)->AsSwitch();
        const bool bSwitch = m_pPatch->m_pShader->GetInstructions()[n].GetOpCode() == IL_OP_SWITCH;
        return Instance(bSwitch ? pSwitch->m_nEnd : pSwitch->GetNextCase(n), instance.second);
    }

    // A returning target is captured before it returns; any other behind it.
    static uint32_t FlagOf(unsigned int nOpCode)
    {
        return nOpCode == IL_OP_RET || nOpCode == IL_OP_RET_DYN || nOpCode == IL_OP_ENDFUNC
                   ? XAN_Platform::TF_Executed
                   : XAN_Platform::TF_ActiveAfter;
    }

    // Builds the patched kernel of a position.
    cl_kernel BuildPatched(const ProgramCounter& pc, const std::vector<Register>& vRegisters)
    {
        return m_pPatch->m_pShader->SwitchShader(pc, vRegisters)
                   ? BuildDebugIL(m_pPatch->m_Host.m_vShaders.back())
                   : nullptr;
    }

    // Builds a kernel image that the debugger wrote, as the debugger's device loads it.
    cl_kernel BuildDebugIL(std::vector<char> vImage)
    {
        EXPECT_TRUE(XAN_ElfUtils::UnpatchKernelEntry(m_strKernel, vImage));
        std::string strLog;
        const std::string strOptions = "-use-debugil -just-kernel=" + m_strKernel;
        cl_kernel kernel = BuildKernel(m_Device, vImage, m_strKernel, strOptions.c_str(), strLog);
        EXPECT_NE(nullptr, kernel) << strLog << "\n" << XAN_Test::DebugILText(vImage);
        return kernel;
    }

    std::string m_strKernel;
    CNordvaneDevice m_Device;
    std::unique_ptr<CPatchKernel> m_pPatch;
    CExecutionTrace m_Trace;
    SRunOutput m_Original;
    std::map<Instance, std::map<uint32_t, const STraceRecord*>> m_Records;
    std::map<Instance, std::vector<LoopState>> m_Loops;
    // Per work-item: executions of each instance with the whole loop stack of the trace, and
    // whether one of them came twice (a second call); the last pass of each loop entry (a loop
    // and the iterations around it), and the most passes of each loop in any entry.
    typedef std::pair<uint32_t, Instance> LoopKey;
    std::map<std::pair<Instance, std::vector<uint32_t>>, std::map<uint32_t, uint32_t>> m_Executions;
    std::map<Instance, std::map<uint32_t, bool>> m_bReentered;
    std::map<LoopKey, uint32_t> m_LastPass;
    std::map<std::pair<uint32_t, uint32_t>, uint32_t> m_MostPasses;
};

std::string Describe(const Instance& instance, const std::string& strText)
{
    std::ostringstream out;
    out << "instruction " << instance.first << " (" << strText << ") iterations";
    for (uint32_t nIteration : instance.second)
    {
        out << " " << nIteration;
    }
    return out.str();
}

TEST_P(PatchOracleTest, EveryCaptureIsWhatTheKernelHeldThere)
{
    CPatchShaderIL& shader = *m_pPatch->m_pShader;
    const std::vector<CShaderDebuggerInstructionIL>& vInstructions = shader.GetInstructions();
    size_t nChecked = 0;
    size_t nDiverging = 0;
    for (const Instance& instance : CheckedInstances())
    {
        const uint32_t n = instance.first;
        const unsigned int nOpCode = vInstructions[n].GetOpCode();
        // The end of the main program is no position of a run.
        if (nOpCode == IL_OP_ENDMAIN)
        {
            continue;
        }
        ProgramCounter pc(n);
        pc.m_vLoopStack = m_Loops[instance];
        const Register reg = shader.GetRegisterOutput(pc);
        // As the stepper does, an index left in a register becomes every element; which one
        // the trace's value is isn't known then, so only the flags are compared. Without the
        // stepper's call stack an array declared by a caller stays indexed by its register.
        std::vector<Register> vRegisters;
        if (!shader.ExpandIndexedRegisters(PatchPoint(pc, reg), std::vector<Register>(1, reg),
                                           &vRegisters) ||
            vRegisters.empty())
        {
            vRegisters.assign(1, reg);
        }
        const bool bValues = vRegisters.size() == 1 && vRegisters[0] == reg && reg != g_Reg_NULL &&
                             reg.reg.type != RT_Mem && !IsSwitchOrSwitchBreak(n);
        const std::string strWhere = Describe(instance, vInstructions[n].GetOpCodeName());
        cl_kernel kernel = BuildPatched(pc, vRegisters);
        ASSERT_NE(nullptr, kernel) << strWhere;
        const SRunOutput first = RunKernel(m_Device, kernel, true);
        const SRunOutput second = RunKernel(m_Device, kernel, true);
        clReleaseKernel(kernel);
        EXPECT_EQ(first.vResults, second.vResults) << strWhere;
        EXPECT_EQ(first.vFlags, second.vFlags) << strWhere;

        const Instance flagAt = FlagInstance(instance);
        const uint32_t nFlag = FlagOf(vInstructions[n].GetOpCode());
        for (uint32_t i = 0; i < ITEMS; ++i)
        {
            if (DivergesByDesign(instance, i))
            {
                ++nDiverging;
                continue;
            }
            const STraceRecord* pRecord =
                flagAt.first != g_nInvalidInstruction ? RecordFor(flagAt, i, nFlag) : nullptr;
            EXPECT_EQ(pRecord != nullptr ? 1u : 0u, first.vFlags[i])
                << strWhere << ", work-item " << i;
            if (pRecord != nullptr && first.vFlags[i] == 1 && bValues &&
                (pRecord->nFlags & XAN_Platform::TF_HasValue) != 0)
            {
                const std::vector<uint32_t> vCaptured(first.vResults.begin() + 4 * i,
                                                      first.vResults.begin() + 4 * i + 4);
                const std::vector<uint32_t> vTraced(pRecord->vValue, pRecord->vValue + 4);
                EXPECT_EQ(vTraced, vCaptured) << strWhere << ", work-item " << i;
            }
        }
        ++nChecked;
    }
    EXPECT_GT(nChecked, 0u);
    RecordProperty("DivergingByDesign", static_cast<int>(nDiverging));
}

// The two places where the flag isn't the trace's "was there": at the loop's own break in the
// pass that ends the loop, the work-items that leave it have no flag, while those that left
// the loop by the kernel's break in pass 7 (k = 8, work-items 0 to 8) still hold the flag and
// the value of that pass.
class PinnedExceptionTest : public PatchOracleTest
{
};

TEST_P(PinnedExceptionTest, ALeavingBreakAndAnEarlierLeave)
{
    CPatchShaderIL& shader = *m_pPatch->m_pShader;
    const uint32_t n = m_pPatch->At("break_logicalnz r2.xxxx");
    const uint32_t nCompare = m_pPatch->At("uge r2.x, r1.xxxx, l0.wwww");
    ProgramCounter pc(n);
    pc.m_vLoopStack = m_Loops.at(Instance(n, {10}));
    cl_kernel kernel = BuildPatched(pc, std::vector<Register>(1, shader.GetRegisterOutput(pc)));
    ASSERT_NE(nullptr, kernel);
    const SRunOutput output = RunKernel(m_Device, kernel, true);
    clReleaseKernel(kernel);
    const std::map<uint32_t, const STraceRecord*>& leaving = m_Records.at(Instance(n, {10}));
    const std::map<uint32_t, const STraceRecord*>& earlier = m_Records.at(Instance(nCompare, {7}));
    for (uint32_t i = 0; i < ITEMS; ++i)
    {
        EXPECT_EQ(i <= 8 ? 1u : 0u, output.vFlags[i]) << "work-item " << i;
        if (i > 8)
        {
            EXPECT_EQ(XAN_Platform::TF_Executed,
                      leaving.at(i)->nFlags &
                          (XAN_Platform::TF_Executed | XAN_Platform::TF_ActiveAfter));
        }
        else
        {
            EXPECT_EQ(0u, leaving.count(i));
            EXPECT_EQ(earlier.at(i)->vValue[0], output.vResults[4 * i]) << "work-item " << i;
        }
    }
}

// The dump kernel's row of the kernel's buffer is the address that the kernel's own load of
// cb1[0] adds each work-item's offset to.
class CBDumpOracleTest : public PatchOracleTest
{
};

TEST_P(CBDumpOracleTest, TheDumpedRowIsTheAddressTheKernelUses)
{
    void* pDump = nullptr;
    size_t nSize = 0;
    ASSERT_TRUE(m_pPatch->m_pShader->CreateCBDumpShader(&pDump, &nSize));
    const std::vector<char> vImage(static_cast<char*>(pDump), static_cast<char*>(pDump) + nSize);
    std::free(pDump);
    cl_kernel kernel = BuildDebugIL(vImage);
    ASSERT_NE(nullptr, kernel);
    const SRunOutput output = RunKernel(m_Device, kernel, true, nullptr, 1);
    clReleaseKernel(kernel);

    const uint32_t nAdd = m_pPatch->At("i64add r2.zw, cb1[0].xyxy, r2.x0x0");
    const std::map<uint32_t, const STraceRecord*>& records = m_Records.at(Instance(nAdd, {}));
    const uint64_t nBase = output.vResults[0] | (uint64_t(output.vResults[1]) << 32);
    for (uint32_t i = 0; i < ITEMS; ++i)
    {
        const STraceRecord& record = *records.at(i);
        EXPECT_EQ(nBase + 4 * i, record.vValue[2] | (uint64_t(record.vValue[3]) << 32))
            << "work-item " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Larkspur, PatchOracleTest,
                         ::testing::Values("straight", "ifelse", "loops", "nested5", "switch",
                                           "functions", "outline", "private_uav"));
INSTANTIATE_TEST_SUITE_P(Larkspur, PinnedExceptionTest, ::testing::Values("loops"));
INSTANTIATE_TEST_SUITE_P(Larkspur, CBDumpOracleTest, ::testing::Values("straight"));
INSTANTIATE_TEST_SUITE_P(Fennel, PatchOracleTest, ::testing::Values("private_x1"));
} // namespace
