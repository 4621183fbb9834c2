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
#include <deque>
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
const size_t MAX_CALL_DEPTH = 16;

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
                     CExecutionTrace* pTrace = nullptr, size_t nResultRows = ITEMS,
                     cl_int nSelector = 0)
{
    SRunOutput output;
    output.vOut.assign(ITEMS, 0);
    output.vResults.assign(4 * nResultRows, 0);
    output.vFlags.assign(ITEMS, 0);
    cl_mem buffers[] = {MakeBuffer(device, output.vOut), MakeBuffer(device, output.vResults),
                        MakeBuffer(device, output.vFlags)};
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

    // The records of each work-item at each instance, in the order of the calls; and for a
    // write through an index register, the element it reached, from the register's last value.
    void GroupRecords()
    {
        std::map<std::pair<uint32_t, uint32_t>, const STraceRecord*> lastTemp;
        for (const STraceRecord& record : m_Trace.GetRecords())
        {
            if (record.nInstruction == CExecutionTrace::NO_INSTRUCTION)
            {
                continue;
            }
            const Register reg =
                m_pPatch->m_pShader->GetRegisterOutput(ProgramCounter(record.nInstruction));
            const Register* pIndex = reg.reg.pIndexRegister;
            if (pIndex != nullptr && pIndex->reg.type == RT_Temp)
            {
                auto it =
                    lastTemp.find(std::make_pair(record.nFlatIndex, uint32_t(pIndex->reg.number)));
                if (it != lastTemp.end())
                {
                    m_Element[&record] =
                        it->second->vValue[ComponentIndex(pIndex->mask)] + reg.reg.index;
                }
            }
            if ((record.nFlags & XAN_Platform::TF_HasValue) != 0 && reg.reg.type == RT_Temp &&
                reg.reg.pIndexRegister == nullptr)
            {
                lastTemp[std::make_pair(record.nFlatIndex, uint32_t(reg.reg.number))] = &record;
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
            m_Records[instance][record.nFlatIndex].push_back(&record);
            for (size_t d = 0; d < vLoops.size(); ++d)
            {
                const LoopKey key(
                    record.nFlatIndex,
                    Instance(vLoops[d].nStart,
                             std::vector<uint32_t>(vIterations.begin(), vIterations.begin() + d)));
                m_LastPass[key] = std::max(m_LastPass[key], vIterations[d]);
            }
        }
    }

    static unsigned int ComponentIndex(unsigned short mask)
    {
        for (unsigned int c = 0; c < 4; ++c)
        {
            if (mask & (1u << c))
            {
                return c;
            }
        }
        return 0;
    }

    // The work-item's last record at the instance with the flag: the last call decides.
    const STraceRecord* LastWith(const Instance& instance, uint32_t nItem, uint32_t nFlag) const
    {
        std::map<Instance, std::map<uint32_t, std::vector<const STraceRecord*>>>::const_iterator
            it = m_Records.find(instance);
        if (it == m_Records.end() || it->second.count(nItem) == 0)
        {
            return nullptr;
        }
        const std::vector<const STraceRecord*>& vCalls = it->second.at(nItem);
        for (auto itCall = vCalls.rbegin(); itCall != vCalls.rend(); ++itCall)
        {
            if (((*itCall)->nFlags & nFlag) != 0)
            {
                return *itCall;
            }
        }
        return nullptr;
    }

    // The record that a work-item's flag and capture stand for. Where loops are cut behind the
    // target, a work-item that reached it in an earlier pass and left the loop later in that
    // pass keeps what it had then.
    const STraceRecord* RecordFor(const Instance& instance, uint32_t nItem, uint32_t nFlag,
                                  bool bLoopsCut) const
    {
        const STraceRecord* pRecord = LastWith(instance, nItem, nFlag);
        if (pRecord != nullptr || !bLoopsCut || instance.second.empty())
        {
            return pRecord;
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
        return LastWith(Instance(instance.first, vEarlier), nItem, nFlag);
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

    // The call stack of a position in the instruction's function: from the main program, the
    // first call of each function on the way.
    std::deque<ProgramCounter> CallsTo(uint32_t n) const
    {
        const std::vector<CShaderDebuggerInstructionIL>& vInstructions =
            m_pPatch->m_pShader->GetInstructions();
        const std::map<uint32_t, uint32_t>& scope = m_pPatch->m_pShader->GetFunctionScope();
        std::deque<ProgramCounter> calls;
        uint32_t nLabel = scope.at(n);
        for (size_t nDepth = 0; nDepth < MAX_CALL_DEPTH; ++nDepth)
        {
            const auto itCall = std::find_if(vInstructions.begin(), vInstructions.end(),
                                             [nLabel](const CShaderDebuggerInstructionIL& call) {
                                                 return call.GetOpCode() == IL_OP_CALL &&
                                                        call.GetToken(1) == nLabel;
                                             });
            if (itCall == vInstructions.end())
            {
                break;
            }
            const uint32_t nCall = static_cast<uint32_t>(itCall - vInstructions.begin());
            calls.push_front(ProgramCounter(nCall));
            nLabel = scope.at(nCall);
        }
        return calls;
    }

    bool IsSwitchOrSwitchBreak(uint32_t n) const
    {
        const unsigned int nOpCode = m_pPatch->m_pShader->GetInstructions()[n].GetOpCode();
        CIL_FCConstruct* pConstruct = m_pPatch->m_Named.ConstructAt(n);
        return nOpCode == IL_OP_SWITCH || (nOpCode == IL_OP_BREAK && pConstruct != nullptr &&
                                           pConstruct->AsSwitch() != nullptr);
    }

    // Where the flag is set: behind the target, except for a switch (behind its endswitch) and
    // a break in a switch (behind the next case), and for those two inside a loop only in a
    // function kept whole.
    Instance FlagInstance(const Instance& instance, bool bKept) const
    {
        const uint32_t n = instance.first;
        if (!IsSwitchOrSwitchBreak(n))
        {
            return instance;
        }
        if (!instance.second.empty() && !bKept)
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
    std::map<Instance, std::map<uint32_t, std::vector<const STraceRecord*>>> m_Records;
    std::map<Instance, std::vector<LoopState>> m_Loops;
    // Per work-item: the last pass of each loop entry (a loop and the iterations around it).
    typedef std::pair<uint32_t, Instance> LoopKey;
    std::map<LoopKey, uint32_t> m_LastPass;
    // The element (an indexed temp's) or byte address (private memory's) of an indexed write.
    std::map<const STraceRecord*, uint32_t> m_Element;
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
    size_t nElementValues = 0;
    for (const Instance& instance : CheckedInstances())
    {
        const uint32_t n = instance.first;
        const unsigned int nOpCode = vInstructions[n].GetOpCode();
        // The end of the main program is no position of a run; the patcher refuses it.
        if (nOpCode == IL_OP_ENDMAIN)
        {
            continue;
        }
        ProgramCounter pc(n);
        pc.m_vLoopStack = m_Loops[instance];
        const Register reg = shader.GetRegisterOutput(pc);
        // As the stepper does, an index left in a register becomes every element of its array,
        // found through the calls that lead to the function, and the element that the trace's
        // write reached is compared.
        std::vector<Register> vRegisters;
        shader.m_CallStack = CallsTo(n);
        const bool bExpandedOk = shader.ExpandIndexedRegisters(
            PatchPoint(pc, reg), std::vector<Register>(1, reg), &vRegisters);
        shader.m_CallStack.clear();
        ASSERT_TRUE(bExpandedOk) << n;
        ASSERT_FALSE(vRegisters.empty()) << n;
        const bool bExpanded = vRegisters.size() != 1 || !(vRegisters[0] == reg);
        const bool bValues =
            reg != g_Reg_NULL && reg.reg.type != RT_Mem && !IsSwitchOrSwitchBreak(n);
        const bool bKept = shader.IsTargetFunctionRepeated(pc);
        const std::string strWhere = Describe(instance, vInstructions[n].GetOpCodeName());
        cl_kernel kernel = BuildPatched(pc, vRegisters);
        ASSERT_NE(nullptr, kernel) << strWhere;
        std::map<size_t, SRunOutput> runs;
        runs[0] = RunKernel(m_Device, kernel, true);
        const SRunOutput second = RunKernel(m_Device, kernel, true);
        EXPECT_EQ(runs[0].vResults, second.vResults) << strWhere;
        EXPECT_EQ(runs[0].vFlags, second.vFlags) << strWhere;

        const Instance flagAt = FlagInstance(instance, bKept);
        const uint32_t nFlag = FlagOf(nOpCode);
        for (uint32_t i = 0; i < ITEMS; ++i)
        {
            const STraceRecord* pRecord = flagAt.first != g_nInvalidInstruction
                                              ? RecordFor(flagAt, i, nFlag, !bKept)
                                              : nullptr;
            EXPECT_EQ(pRecord != nullptr ? 1u : 0u, runs[0].vFlags[i])
                << strWhere << ", work-item " << i;
            if (pRecord == nullptr || runs[0].vFlags[i] != 1 || !bValues ||
                (pRecord->nFlags & XAN_Platform::TF_HasValue) == 0)
            {
                continue;
            }
            // The element of an expanded write, and where its words start in the capture:
            // private memory is captured in blocks of 16 bytes.
            size_t nRegister = 0;
            uint32_t nWord = 0;
            if (bExpanded)
            {
                std::map<const STraceRecord*, uint32_t>::const_iterator itElement =
                    m_Element.find(pRecord);
                ASSERT_NE(m_Element.end(), itElement) << strWhere << ", work-item " << i;
                uint32_t nElement = itElement->second;
                if (reg.reg.type == RT_PrivateUAVAccess)
                {
                    nWord = (nElement % 16) / 4;
                    nElement -= nElement % 16;
                }
                while (nRegister < vRegisters.size() && vRegisters[nRegister].reg.index != nElement)
                {
                    ++nRegister;
                }
                ASSERT_LT(nRegister, vRegisters.size()) << strWhere << ", work-item " << i;
                if (runs.count(nRegister) == 0)
                {
                    runs[nRegister] = RunKernel(m_Device, kernel, true, nullptr, ITEMS,
                                                static_cast<cl_int>(nRegister));
                }
                ++nElementValues;
            }
            const std::vector<uint32_t>& vResults = runs[nRegister].vResults;
            const std::vector<uint32_t> vCaptured(vResults.begin() + 4 * i + nWord,
                                                  vResults.begin() + 4 * i + 4);
            const std::vector<uint32_t> vTraced(pRecord->vValue, pRecord->vValue + 4 - nWord);
            EXPECT_EQ(vTraced, vCaptured) << strWhere << ", work-item " << i;
        }
        clReleaseKernel(kernel);
        ++nChecked;
    }
    EXPECT_GT(nChecked, 0u);
    RecordProperty("ExpandedElementValues", static_cast<int>(nElementValues));
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
    const std::map<uint32_t, std::vector<const STraceRecord*>>& leaving =
        m_Records.at(Instance(n, {10}));
    const std::map<uint32_t, std::vector<const STraceRecord*>>& earlier =
        m_Records.at(Instance(nCompare, {7}));
    for (uint32_t i = 0; i < ITEMS; ++i)
    {
        EXPECT_EQ(i <= 8 ? 1u : 0u, output.vFlags[i]) << "work-item " << i;
        if (i > 8)
        {
            EXPECT_EQ(XAN_Platform::TF_Executed,
                      leaving.at(i).back()->nFlags &
                          (XAN_Platform::TF_Executed | XAN_Platform::TF_ActiveAfter));
        }
        else
        {
            EXPECT_EQ(0u, leaving.count(i));
            EXPECT_EQ(earlier.at(i).back()->vValue[0], output.vResults[4 * i]) << "work-item " << i;
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
    const std::map<uint32_t, std::vector<const STraceRecord*>>& records =
        m_Records.at(Instance(nAdd, {}));
    const uint64_t nBase = output.vResults[0] | (uint64_t(output.vResults[1]) << 32);
    for (uint32_t i = 0; i < ITEMS; ++i)
    {
        const STraceRecord& record = *records.at(i).back();
        EXPECT_EQ(nBase + 4 * i, record.vValue[2] | (uint64_t(record.vValue[3]) << 32))
            << "work-item " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Larkspur, PatchOracleTest,
                         ::testing::Values("straight", "ifelse", "loops", "nested5", "switch",
                                           "functions", "calls_loop", "outline", "private_uav"));
INSTANTIATE_TEST_SUITE_P(Larkspur, PinnedExceptionTest, ::testing::Values("loops"));
INSTANTIATE_TEST_SUITE_P(Larkspur, CBDumpOracleTest, ::testing::Values("straight"));
INSTANTIATE_TEST_SUITE_P(Fennel, PatchOracleTest, ::testing::Values("private_x1"));
} // namespace
