// The execution trace: which work-items record at which dynamic instance of an
// instruction, with the debugger's numbering, the loop iterations around it and
// the destination's value.
#include "CExecutionTrace.h"
#include "EngineTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

using namespace XAN_Platform;
using namespace XAN_Test;

namespace
{
const uint32_t ALL_FLAGS = TF_Executed | TF_ActiveAfter | TF_HasValue;

// for (strCounter = 0; strCounter < strLimit; ++strCounter) strBody; with r5.x as
// scratch: mov, whileloop, ige, break_logicalnz, the body, iadd, endloop.
std::string CountedLoop(const std::string& strCounter, const std::string& strLimit,
                        const std::string& strBody)
{
    return "mov " + strCounter + ", l1.x\n" + "whileloop\n" + "ige r5.x, " + strCounter + ", " +
           strLimit + "\n" + "break_logicalnz r5.x\n" + strBody + "iadd " + strCounter + ", " +
           strCounter + ", l0.y\n" + "endloop\n";
}

// Work-item i makes i % 3 + 1 passes, leaving by break at the next one; the
// whileloop is the body's third instruction, the passes count in r2.x.
std::string UnevenLoop()
{
    return OutputKernel("umod r3.x, r0.x, l0.w\n"
                        "mov r4.x, l1.x\n"
                        "whileloop\n"
                        "ilt r5.x, r3.x, r4.x\n"
                        "break_logicalnz r5.x\n"
                        "iadd r2.x, r2.x, l0.y\n"
                        "iadd r4.x, r4.x, l0.y\n"
                        "endloop\n");
}

const uint32_t BODY = 4;      // number of the body's first instruction
const uint32_t BODY_LINE = 9; // and its line

// Runs a kernel over eight work-items in groups of nLocal into the trace.
void RunTraced(const std::string& strText, CExecutionTrace* pTrace, uint32_t nLocal = 4,
               uint64_t nOffset = 0)
{
    const SOutputRun run = RunOutputKernel(strText, 8, nLocal,
                                           [&](SLaunchDesc& desc)
                                           {
                                               desc.pTrace = pTrace;
                                               desc.vGlobalOffset[0] = nOffset;
                                           });
    EXPECT_EQ(LS_Success, run.result.eStatus) << run.result.strMessage;
}

std::vector<STraceRecord> At(const CExecutionTrace& trace, uint32_t nInstruction)
{
    std::vector<STraceRecord> vRecords;
    for (const STraceRecord& record : trace.GetRecords())
    {
        if (record.nInstruction == nInstruction)
        {
            vRecords.push_back(record);
        }
    }
    return vRecords;
}

// What a work-item recorded at an instruction, in order: the x component, the
// flags and the loop stack of each record.
struct SInstance
{
    uint32_t nX;
    uint32_t nFlags;
    std::vector<STraceLoop> vLoops;

    bool operator==(const SInstance& other) const
    {
        return nX == other.nX && nFlags == other.nFlags && vLoops == other.vLoops;
    }
};

std::ostream& operator<<(std::ostream& out, const SInstance& instance)
{
    out << "{x " << instance.nX << ", flags " << instance.nFlags << ", loops";
    for (const STraceLoop& loop : instance.vLoops)
    {
        out << " #" << loop.nStart << ":" << loop.nIteration;
    }
    return out << "}";
}

std::map<uint32_t, std::vector<SInstance>> Instances(const CExecutionTrace& trace,
                                                     uint32_t nInstruction)
{
    std::map<uint32_t, std::vector<SInstance>> instances;
    for (const STraceRecord& record : At(trace, nInstruction))
    {
        instances[record.nFlatIndex].push_back(
            {record.vValue[0], record.nFlags, trace.GetLoopStack(record)});
    }
    return instances;
}
} // namespace

TEST(ExecutionTrace, StraightLineRecordsEveryWorkItemWithItsIdsAndValue)
{
    CExecutionTrace trace;
    RunTraced(OutputKernel("iadd r2.x, r0.x, l0.y\n"
                           "imul r2.y, r0.x, r0.x\n"),
              &trace, 2, 100);
    ASSERT_FALSE(trace.HasOverflowed());

    // Group by group in order, each instruction for all the group's work-items.
    const std::vector<uint32_t> vOrder = {0, 3, BODY, BODY + 1, 6, 7, 8, 9, 1};
    ASSERT_EQ(4 * vOrder.size() * 2, trace.GetRecords().size());
    for (size_t i = 0; i < trace.GetRecords().size(); ++i)
    {
        const STraceRecord& record = trace.GetRecords()[i];
        const uint32_t nGroup = uint32_t(i / (2 * vOrder.size()));
        const uint32_t nLocal = uint32_t(i % 2);
        const uint32_t nItem = nGroup * 2 + nLocal;
        EXPECT_EQ(vOrder[(i / 2) % vOrder.size()], record.nInstruction) << i;
        EXPECT_EQ(nItem, record.nFlatIndex) << i;
        EXPECT_EQ(nItem + 100, record.vGlobalId[0]) << i;
        EXPECT_EQ(nLocal, record.vLocalId[0]) << i;
        EXPECT_EQ(nGroup, record.vGroupId[0]) << i;
        EXPECT_EQ(0u, record.vGlobalId[1] + record.vLocalId[2] + record.vGroupId[1]) << i;
        EXPECT_EQ(0u, record.nLoopDepth) << i;
    }

    // The whole register, whatever the mask; no value where nothing is written.
    for (const STraceRecord& record : At(trace, BODY))
    {
        const uint32_t i = record.nFlatIndex;
        EXPECT_EQ(BODY_LINE, record.nLine);
        EXPECT_EQ(ALL_FLAGS, record.nFlags);
        EXPECT_EQ((std::vector<uint32_t>{i + 1, 0, 0, 0}),
                  std::vector<uint32_t>(record.vValue, record.vValue + 4));
    }
    for (const STraceRecord& record : At(trace, BODY + 1))
    {
        const uint32_t i = record.nFlatIndex;
        EXPECT_EQ((std::vector<uint32_t>{i + 1, i * i, 0, 0}),
                  std::vector<uint32_t>(record.vValue, record.vValue + 4));
    }
    // The call and a store to global memory; ret and endmain, which every
    // work-item leaves by.
    const struct
    {
        uint32_t nInstruction;
        uint32_t nFlags;
    } vNoValue[] = {{0, TF_Executed | TF_ActiveAfter},
                    {8, TF_Executed | TF_ActiveAfter},
                    {9, TF_Executed},
                    {1, TF_Executed}};
    for (const auto& test : vNoValue)
    {
        const std::vector<STraceRecord> vRecords = At(trace, test.nInstruction);
        EXPECT_EQ(8u, vRecords.size()) << test.nInstruction;
        for (const STraceRecord& record : vRecords)
        {
            EXPECT_EQ(test.nFlags, record.nFlags) << test.nInstruction;
        }
    }
}

TEST(ExecutionTrace, SixtyFourBitResultsRecordTheirWords)
{
    // i + 0xFFFFFFFF as a 64-bit sum, low word first.
    CExecutionTrace trace;
    RunTraced(OutputKernel("dcl_literal l2, 0xFFFFFFFF, 0x00000000, 0x00000000, 0x00000000\n"
                           "i64add r2.xy, r0.x0x0, l2.xyxy\n"),
              &trace);
    const std::vector<STraceRecord> vRecords = At(trace, BODY);
    ASSERT_EQ(8u, vRecords.size());
    for (const STraceRecord& record : vRecords)
    {
        const uint64_t nSum = record.nFlatIndex + 0xFFFFFFFFull;
        EXPECT_EQ((std::vector<uint32_t>{uint32_t(nSum), uint32_t(nSum >> 32), 0, 0}),
                  std::vector<uint32_t>(record.vValue, record.vValue + 4));
    }
}

TEST(ExecutionTrace, NumbersAndLinesMapBothWays)
{
    // A declaration in the body takes a line and no number; func takes a number
    // and has no line.
    CExecutionTrace trace;
    RunTraced(OutputKernel("dcl_literal l2, 0x00000005, 0x00000005, 0x00000005, 0x00000005\n"
                           "mov r2, l2\n"),
              &trace);
    const struct
    {
        uint32_t nInstruction;
        uint32_t nLine;
    } vCases[] = {
        {0, 2}, {1, 3}, {3, 8}, {BODY, BODY_LINE + 1}, {BODY + 5, BODY_LINE + 6}, {BODY + 6, 16},
    };
    for (const auto& test : vCases)
    {
        EXPECT_EQ(test.nLine, trace.GetLine(test.nInstruction)) << test.nInstruction;
        EXPECT_EQ(test.nInstruction, trace.GetInstruction(test.nLine)) << test.nLine;
    }
    EXPECT_EQ(CExecutionTrace::NO_LINE, trace.GetLine(2));
    EXPECT_EQ(CExecutionTrace::NO_LINE, trace.GetLine(BODY + 7));
    for (uint32_t nLine : {0u, 1u, 4u, 5u, 6u, BODY_LINE, 17u})
    {
        EXPECT_EQ(CExecutionTrace::NO_INSTRUCTION, trace.GetInstruction(nLine)) << nLine;
    }
    for (const STraceRecord& record : trace.GetRecords())
    {
        EXPECT_EQ(record.nLine, trace.GetLine(record.nInstruction));
    }
}

TEST(ExecutionTrace, IfAndElseRecordOnlyTheWorkItemsThatRunThem)
{
    CExecutionTrace trace;
    RunTraced(OutputKernel("iand r3.x, r0.x, l0.y\n"
                           "if_logicalnz r3.x\n"
                           "iadd r2.x, r0.x, l0.z\n"
                           "else\n"
                           "imul r2.x, r0.x, l0.w\n"
                           "endif\n"),
              &trace);
    const std::map<uint32_t, std::vector<SInstance>> vIf = Instances(trace, BODY + 1);
    const std::map<uint32_t, std::vector<SInstance>> vThen = Instances(trace, BODY + 2);
    const std::map<uint32_t, std::vector<SInstance>> vElse = Instances(trace, BODY + 3);
    const std::map<uint32_t, std::vector<SInstance>> vElseBody = Instances(trace, BODY + 4);
    const std::map<uint32_t, std::vector<SInstance>> vEndIf = Instances(trace, BODY + 5);
    for (uint32_t i = 0; i < 8; ++i)
    {
        const bool bOdd = (i & 1) != 0;
        // The flow instructions: who ran them, and who is active behind them.
        EXPECT_EQ(TF_Executed | (bOdd ? TF_ActiveAfter : 0u), vIf.at(i).at(0).nFlags) << i;
        EXPECT_EQ(bOdd ? uint32_t(TF_Executed) : uint32_t(TF_ActiveAfter), vElse.at(i).at(0).nFlags)
            << i;
        EXPECT_EQ(TF_ActiveAfter | (bOdd ? 0u : TF_Executed), vEndIf.at(i).at(0).nFlags) << i;
        // Each branch only for its own work-items.
        EXPECT_EQ(bOdd ? 1u : 0u, vThen.count(i)) << i;
        EXPECT_EQ(bOdd ? 0u : 1u, vElseBody.count(i)) << i;
        const std::vector<SInstance>& vBranch = bOdd ? vThen.at(i) : vElseBody.at(i);
        EXPECT_EQ((std::vector<SInstance>{{bOdd ? i + 2 : 3 * i, ALL_FLAGS, {}}}), vBranch) << i;
    }
}

TEST(ExecutionTrace, SwitchLabelsRecordTheWorkItemsThatEnterThere)
{
    // i % 3 chooses: 0 enters at case 0 and falls through case 1, 1 enters at
    // case 1, 2 at the default.
    CExecutionTrace trace;
    RunTraced(OutputKernel("umod r3.x, r0.x, l0.w\n"
                           "switch r3.x\n"
                           "case 0\n"
                           "iadd r2.x, r0.x, l0.y\n"
                           "case 1\n"
                           "iadd r2.y, r0.x, l0.z\n"
                           "break\n"
                           "default\n"
                           "imul r2.x, r0.x, l0.w\n"
                           "break\n"
                           "endswitch\n"),
              &trace);
    const uint32_t E = TF_Executed, A = TF_ActiveAfter, N = 0; // N: no record
    const struct
    {
        uint32_t nInstruction;
        uint32_t vFlags[3]; // by i % 3
    } vCases[] = {
        {BODY + 1, {E, E, E}},             // switch: everybody waits for a label
        {BODY + 2, {A, N, N}},             // case 0
        {BODY + 3, {E | A, N, N}},         //
        {BODY + 4, {E | A, A, N}},         // case 1: falls through, enters
        {BODY + 6, {E, E, N}},             // break
        {BODY + 7, {N, N, A}},             // default
        {BODY + 9, {N, N, E}},             // break
        {BODY + 10, {A, A, A}},            // endswitch: everybody back
        {BODY + 11, {E | A, E | A, E | A}} // behind it
    };
    for (const auto& test : vCases)
    {
        const std::map<uint32_t, std::vector<SInstance>> instances =
            Instances(trace, test.nInstruction);
        for (uint32_t i = 0; i < 8; ++i)
        {
            const uint32_t nFlags = test.vFlags[i % 3];
            ASSERT_EQ(nFlags == N ? 0u : 1u, instances.count(i)) << test.nInstruction << " " << i;
            if (nFlags != N)
            {
                EXPECT_EQ(nFlags, instances.at(i).at(0).nFlags & ~TF_HasValue)
                    << test.nInstruction << " " << i;
            }
        }
    }
}

TEST(ExecutionTrace, LoopRecordsEveryPassWithItsIteration)
{
    CExecutionTrace trace;
    RunTraced(UnevenLoop(), &trace);
    const uint32_t nLoop = BODY + 2;
    const std::map<uint32_t, std::vector<SInstance>> vWhile = Instances(trace, nLoop);
    const std::map<uint32_t, std::vector<SInstance>> vBreak = Instances(trace, BODY + 4);
    const std::map<uint32_t, std::vector<SInstance>> vBody = Instances(trace, BODY + 5);
    const std::map<uint32_t, std::vector<SInstance>> vEnd = Instances(trace, BODY + 7);
    const std::map<uint32_t, std::vector<SInstance>> vBehind = Instances(trace, BODY + 8);
    for (uint32_t i = 0; i < 8; ++i)
    {
        const uint32_t nPasses = i % 3 + 1;
        EXPECT_EQ((std::vector<SInstance>{{0, TF_Executed | TF_ActiveAfter, {{nLoop, 0}}}}),
                  vWhile.at(i))
            << i;
        std::vector<SInstance> vExpectBody, vExpectBreak, vExpectEnd;
        for (uint32_t k = 0; k < nPasses; ++k)
        {
            vExpectBody.push_back({k + 1, ALL_FLAGS, {{nLoop, k}}});
            vExpectBreak.push_back({0, TF_Executed | TF_ActiveAfter, {{nLoop, k}}});
            vExpectEnd.push_back({0, TF_Executed | TF_ActiveAfter, {{nLoop, k}}});
        }
        vExpectBreak.push_back({0, TF_Executed, {{nLoop, nPasses}}});
        EXPECT_EQ(vExpectBody, vBody.at(i)) << i;
        EXPECT_EQ(vExpectBreak, vBreak.at(i)) << i;
        // The group's last pass, in which everybody left, reaches the endloop with
        // nobody active, and the endloop brings back those who broke out.
        vExpectEnd.push_back({0, TF_ActiveAfter, {{nLoop, 3}}});
        EXPECT_EQ(vExpectEnd, vEnd.at(i)) << i;
        EXPECT_EQ((std::vector<SInstance>{{i << 4, ALL_FLAGS, {}}}), vBehind.at(i)) << i;
    }
}

TEST(ExecutionTrace, NestedLoopsStackTheirIterationsOutermostFirst)
{
    CExecutionTrace trace;
    RunTraced(OutputKernel(CountedLoop(
                  "r4.x", "l0.w", CountedLoop("r6.x", "l0.z", "imad r2.x, r4.x, l1.y, r6.x\n"))),
              &trace);
    const uint32_t nOuter = BODY + 1;
    const uint32_t nInner = BODY + 5;
    const std::map<uint32_t, std::vector<SInstance>> vInnerWhile = Instances(trace, nInner);
    const std::map<uint32_t, std::vector<SInstance>> vInnerBody = Instances(trace, BODY + 8);
    const std::map<uint32_t, std::vector<SInstance>> vOuterTail = Instances(trace, BODY + 11);
    ASSERT_EQ(8u, vInnerBody.size());
    for (uint32_t i = 0; i < 8; ++i)
    {
        std::vector<SInstance> vExpectWhile, vExpectBody, vExpectTail;
        for (uint32_t j = 0; j < 3; ++j)
        {
            vExpectWhile.push_back({0, TF_Executed | TF_ActiveAfter, {{nOuter, j}, {nInner, 0}}});
            for (uint32_t k = 0; k < 2; ++k)
            {
                vExpectBody.push_back({10 * j + k, ALL_FLAGS, {{nOuter, j}, {nInner, k}}});
            }
            vExpectTail.push_back({j + 1, ALL_FLAGS, {{nOuter, j}}});
        }
        EXPECT_EQ(vExpectWhile, vInnerWhile.at(i)) << i;
        EXPECT_EQ(vExpectBody, vInnerBody.at(i)) << i;
        EXPECT_EQ(vExpectTail, vOuterTail.at(i)) << i;
    }
}

TEST(ExecutionTrace, CallInALoopKeepsTheCallersLoopsBeneathTheCallees)
{
    // The function behind the kernel's: func 1025 is #16 (no line), its mov #17 at
    // line 22.
    CExecutionTrace trace;
    RunTraced(OutputKernel(CountedLoop("r4.x", "l0.z", "call 1025\n"),
                           "func 1025\n" +
                               CountedLoop("r6.x", "l0.z", "imad r2.x, r4.x, l1.y, r6.x\n") +
                               "ret\nendfunc\n"),
              &trace);
    EXPECT_EQ(CExecutionTrace::NO_LINE, trace.GetLine(16));
    EXPECT_EQ(22u, trace.GetLine(17));
    EXPECT_EQ(26u, trace.GetInstruction(31)); // end
    const uint32_t nCaller = BODY + 1;
    const uint32_t nCallee = 18;
    const std::map<uint32_t, std::vector<SInstance>> vCall = Instances(trace, BODY + 4);
    const std::map<uint32_t, std::vector<SInstance>> vCalleeWhile = Instances(trace, nCallee);
    const std::map<uint32_t, std::vector<SInstance>> vCalleeBody = Instances(trace, 21);
    const std::map<uint32_t, std::vector<SInstance>> vReturn = Instances(trace, 24);
    for (uint32_t i = 0; i < 8; ++i)
    {
        std::vector<SInstance> vExpectCall, vExpectWhile, vExpectBody, vExpectReturn;
        for (uint32_t k = 0; k < 2; ++k)
        {
            vExpectCall.push_back({0, TF_Executed | TF_ActiveAfter, {{nCaller, k}}});
            vExpectWhile.push_back({0, TF_Executed | TF_ActiveAfter, {{nCaller, k}, {nCallee, 0}}});
            for (uint32_t m = 0; m < 2; ++m)
            {
                vExpectBody.push_back({10 * k + m, ALL_FLAGS, {{nCaller, k}, {nCallee, m}}});
            }
            vExpectReturn.push_back({0, TF_Executed, {{nCaller, k}}});
        }
        EXPECT_EQ(vExpectCall, vCall.at(i)) << i;
        EXPECT_EQ(vExpectWhile, vCalleeWhile.at(i)) << i;
        EXPECT_EQ(vExpectBody, vCalleeBody.at(i)) << i;
        EXPECT_EQ(vExpectReturn, vReturn.at(i)) << i;
    }
}

TEST(ExecutionTrace, MacrosAreNumberedOnlyAsTheOutlineMacro)
{
    // A leading macro and one behind the kernel's function, which the trace may be
    // told holds the kernel's body. mcall records its output when the macro returns.
    const std::string strText = OutputKernel("mcall(1) (r2.y), (r0.x)\n"
                                             "mcall(5) (r2.x), (r0.x)\n",
                                             "mdef(5)_out(1)_in(1)\n"
                                             ";k\n"
                                             "imul out0, in0, in0\n"
                                             "mend\n",
                                             "mdef(1)_out(1)_in(1)\n"
                                             "iadd out0, in0, in0\n"
                                             "mend\n");
    const struct
    {
        uint32_t nOutline;
        uint32_t nMacroInstruction; // the imul of macro 5
        uint32_t nEnd;
    } vCases[] = {
        {0, CExecutionTrace::NO_INSTRUCTION, BODY + 7},
        {5, BODY + 7, BODY + 8},
    };
    for (const auto& test : vCases)
    {
        CExecutionTrace trace;
        trace.SetOutlineMacro(test.nOutline);
        RunTraced(strText, &trace);
        // Lines are counted from the leading macro on.
        EXPECT_EQ(BODY_LINE + 3, trace.GetLine(BODY)) << test.nOutline;
        EXPECT_EQ(test.nEnd, trace.GetInstruction(BODY_LINE + 3 + 11)) << test.nOutline;
        std::vector<uint32_t> vOrder;
        for (const STraceRecord& record : trace.GetRecords())
        {
            if (record.nFlatIndex == 5)
            {
                vOrder.push_back(record.nInstruction);
            }
        }
        const uint32_t NO = CExecutionTrace::NO_INSTRUCTION;
        EXPECT_EQ((std::vector<uint32_t>{0, 3, NO, NO, BODY, test.nMacroInstruction, NO, BODY + 1,
                                         BODY + 2, BODY + 3, BODY + 4, BODY + 5, 1}),
                  vOrder)
            << test.nOutline;
        const std::vector<STraceRecord> vMacroCall = At(trace, BODY + 1);
        ASSERT_EQ(8u, vMacroCall.size());
        for (const STraceRecord& record : vMacroCall)
        {
            const uint32_t i = record.nFlatIndex;
            EXPECT_EQ((std::vector<uint32_t>{i * i, 2 * i, 0, 0}),
                      std::vector<uint32_t>(record.vValue, record.vValue + 4));
            EXPECT_EQ(ALL_FLAGS, record.nFlags);
        }
    }
}

TEST(ExecutionTrace, PrivateStoreRecordsTheFourWordsAtItsAddress)
{
    CExecutionTrace trace;
    RunTraced(OutputKernel("dcl_typeless_uav_id(8)_type(3)_stride(4)_length(16)\n"
                           "imul r3.x, r0.x, l0.x\n"
                           "uav_raw_store_id(8) mem0.x, l0.x, r3.x\n"
                           "uav_raw_store_id(8) mem0.x, l1.x, r0.x\n"),
              &trace);
    EXPECT_EQ(CExecutionTrace::NO_INSTRUCTION, trace.GetInstruction(BODY_LINE));
    EXPECT_EQ(BODY, trace.GetInstruction(BODY_LINE + 1));
    const std::vector<STraceRecord> vAt4 = At(trace, BODY + 1);
    const std::vector<STraceRecord> vAt0 = At(trace, BODY + 2);
    ASSERT_EQ(8u, vAt4.size());
    ASSERT_EQ(8u, vAt0.size());
    for (uint32_t i = 0; i < 8; ++i)
    {
        // The word behind the 16 bytes of private memory reads 0.
        EXPECT_EQ((std::vector<uint32_t>{4 * i, 0, 0, 0}),
                  std::vector<uint32_t>(vAt4[i].vValue, vAt4[i].vValue + 4));
        EXPECT_EQ((std::vector<uint32_t>{i, 4 * i, 0, 0}),
                  std::vector<uint32_t>(vAt0[i].vValue, vAt0[i].vValue + 4));
        EXPECT_EQ(ALL_FLAGS, vAt0[i].nFlags);
    }
}

TEST(ExecutionTrace, FilterAndBoundLimitTheRecords)
{
    const std::string strLoop = UnevenLoop();
    CExecutionTrace full;
    RunTraced(strLoop, &full);
    const size_t nAll = full.GetRecords().size();
    // 8 work-items of 1, 2, 3, 1, 2, 3, 1, 2 passes: 15 passes through the body.
    const struct
    {
        std::set<uint32_t> instructions;
        size_t nMaxRecords;
        size_t nRecords;
        bool bOverflowed;
    } vCases[] = {
        {{BODY + 5}, 1000, 15, false}, {{BODY + 2, BODY + 5}, 1000, 23, false},
        {{2, 1000}, 1000, 0, false}, // func and a number beyond the program never record
        {{}, 1000, 0, false},          {{BODY + 5}, 15, 15, false},
        {{BODY + 5}, 14, 14, true},    {{BODY + 5}, 0, 0, true},
    };
    for (const auto& test : vCases)
    {
        CExecutionTrace trace(test.nMaxRecords);
        trace.TraceOnly(test.instructions);
        RunTraced(strLoop, &trace);
        EXPECT_EQ(test.nRecords, trace.GetRecords().size()) << test.nMaxRecords;
        EXPECT_EQ(test.bOverflowed, trace.HasOverflowed()) << test.nMaxRecords;
        for (const STraceRecord& record : trace.GetRecords())
        {
            EXPECT_EQ(1u, test.instructions.count(record.nInstruction));
        }
        trace.TraceAll();
        RunTraced(strLoop, &trace);
        EXPECT_EQ(std::min(nAll, test.nMaxRecords), trace.GetRecords().size());
    }
}

TEST(ExecutionTrace, TracedRunLeavesTheSameBuffersAsAnUntracedOne)
{
    for (const char* pName : {"control", "private_uav", "matmul"})
    {
        std::unique_ptr<CILProgram> pProgram = LoadProgram(ExampleKernel(pName));
        ASSERT_TRUE(pProgram) << pName;
        std::vector<std::vector<uint32_t>> vvResults;
        std::vector<uint64_t> vInstructions;
        for (bool bTraced : {false, true})
        {
            CExecutionTrace trace;
            CKernelLaunch launch;
            std::vector<std::shared_ptr<CDeviceBuffer>> vBuffers;
            const bool bMatrix = std::string(pName) == "matmul";
            const uint32_t nItems = bMatrix ? 16 * 16 : 256;
            std::vector<uint32_t> vInput(4 * nItems);
            for (uint32_t i = 0; i < vInput.size(); ++i)
            {
                vInput[i] = 0x3F800000u + i * 0x1000u;
            }
            for (int b = 0; b < (bMatrix ? 3 : 1); ++b)
            {
                vBuffers.push_back(launch.Buffer(vInput));
                launch.ArgPointer(vBuffers.back());
            }
            if (bMatrix)
            {
                launch.ArgValue<uint32_t>(16);
                launch.Range(2, {16, 16}, {8, 8});
            }
            else
            {
                launch.Range(1, {nItems}, {64});
            }
            launch.Desc().pTrace = bTraced ? &trace : nullptr;
            const SLaunchResult result = launch.Run(*pProgram);
            ASSERT_EQ(LS_Success, result.eStatus) << pName << ": " << result.strMessage;
            EXPECT_EQ(bTraced, !trace.GetRecords().empty()) << pName;
            vvResults.push_back(CKernelLaunch::Read<uint32_t>(vBuffers.back()));
            vInstructions.push_back(result.nInstructions);
        }
        EXPECT_EQ(vvResults[0], vvResults[1]) << pName;
        EXPECT_EQ(vInstructions[0], vInstructions[1]) << pName;
    }
}
