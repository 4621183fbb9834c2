// Stepping on a scripted device: what a step costs, where each branch leads by the counts the
// device reports, Run to and past breakpoints, and the way back.

#include "ShaderDebuggerIL/ShaderDebuggerShaderIL.h"
#include "support/CorpusKernels.h"
#include "support/ScriptedHost.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <utility>

namespace
{
using namespace XAN_ShaderDebugger;
using XAN_Test::CScriptedHost;
using XAN_Test::CScriptedKernel;

const uint32_t ALL = 8;

class StepTest : public ::testing::Test
{
protected:
    // Starts a corpus kernel on eight work-items; counts by instruction text, with "#n" behind it
    // for the nth one of that text, and all active elsewhere.
    void Start(const std::string& strName, const std::map<std::string, uint32_t>& counts = {})
    {
        const std::vector<char> vBinary = XAN_Test::LoadDebugBinary(strName);
        ASSERT_FALSE(vBinary.empty()) << strName;
        m_pKernel.reset(new CScriptedKernel(strName, vBinary));
        std::map<uint32_t, uint32_t> byPosition;
        for (const std::pair<const std::string, uint32_t>& entry : counts)
        {
            const size_t nHash = entry.first.find('#');
            byPosition[nHash == std::string::npos ? At(entry.first)
                                                  : At(entry.first.substr(0, nHash),
                                                       std::stoul(entry.first.substr(nHash + 1)))] =
                entry.second;
        }
        Host().m_Active = [byPosition](const ProgramCounter& pc, uint32_t)
        {
            std::map<uint32_t, uint32_t>::const_iterator it = byPosition.find(pc.m_nPos);
            return it != byPosition.end() ? it->second : ALL;
        };
        ASSERT_TRUE(m_pKernel->Start());
    }

    uint32_t At(const std::string& strText, unsigned int nth = 0) const
    {
        const uint32_t nPos = m_pKernel->At(strText, nth);
        EXPECT_NE(g_nInvalidInstruction, nPos) << strText;
        return nPos;
    }
    CScriptedHost& Host() const { return m_pKernel->m_Host; }
    CShaderDebuggerIL& Debugger() const { return m_pKernel->Debugger(); }
    ProgramCounter Current() const { return Debugger().GetCurrentInstruction(); }
    ProgramCounter Next() const { return m_pKernel->Shader().GetNextInstruction(); }
    size_t Builds() const
    {
        size_t nBuilds = 0;
        for (const std::string& strLine : Host().m_vLines)
        {
            nBuilds += strLine.find("Patching shader to") != std::string::npos ? 1 : 0;
        }
        return nBuilds;
    }
    // Steps until the current instruction is the one with this text.
    void StepTo(const std::string& strText, unsigned int nth = 0)
    {
        const uint32_t nTarget = At(strText, nth);
        for (int i = 0; i < 100 && Current().m_nPos != nTarget; ++i)
        {
            ASSERT_TRUE(Debugger().Step()) << "stepping to " << strText;
        }
        ASSERT_EQ(nTarget, Current().m_nPos) << strText;
    }
    void BreakAt(const std::string& strText, unsigned int nth = 0)
    {
        ASSERT_TRUE(Debugger().AddBreakPoint(At(strText, nth)));
    }
    // The values of a register for work-item 0, component 0.
    uint32_t ValueOf(const std::string& strRegister) const
    {
        const ShaderUtils::SUBuffer* pBuffer =
            Debugger().GetRegisterResultsBuffer({2, strRegister});
        return pBuffer != nullptr ? *reinterpret_cast<const uint32_t*>(pBuffer->GetSubResource(0))
                                  : 0xFFFFFFFF;
    }

    std::unique_ptr<CScriptedKernel> m_pKernel;
};

TEST_F(StepTest, AStepCostsOneBuildPerTargetAndOneExecutionPerRegisterOrNothing)
{
    Start("straight");
    struct Case
    {
        const char* pInstruction;
        bool bTrackAll;
        size_t nBuilds;
        size_t nExecutions;
    };
    const Case cases[] = {
        {"iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx", true, 1, 1},
        {"imul r1.x, r0.xxxx, l0.xxxx", false, 0, 0}, // r1 isn't tracked: free
        {"iadd r1.x, r1.xxxx, l0.yyyy", true, 1, 1},
        {"ushr r1.y, r0.xxxx, l0.zzzz", true, 1, 1},
    };
    Debugger().SetTrackingRegisters({"r0"});
    for (const Case& c : cases)
    {
        Debugger().SetTrackSelectedRegisters(!c.bTrackAll);
        const size_t nBuilds = Builds();
        const size_t nExecutions = Host().m_nExecutions;
        ASSERT_TRUE(Debugger().Step());
        EXPECT_EQ(At(c.pInstruction), Current().m_nPos);
        EXPECT_EQ(c.nBuilds, Builds() - nBuilds) << c.pInstruction;
        EXPECT_EQ(c.nExecutions, Host().m_nExecutions - nExecutions) << c.pInstruction;
    }
    // The free step inherited the mask of the run before it.
    EXPECT_EQ(ALL, m_pKernel->Shader().GetExecMaskHistory().at(
                       ProgramCounter(At("imul r1.x, r0.xxxx, l0.xxxx"))));
}

TEST_F(StepTest, CountsDecideWhereBranchesLead)
{
    struct Case
    {
        const char* pKernel;
        std::map<std::string, uint32_t> counts;
        const char* pFrom;
        unsigned int nFrom;
        const char* pTo;
        unsigned int nTo;
        // Loops open at the new position, with the innermost iteration.
        size_t nLoops;
        uint32_t nIteration;
    };
    const Case cases[] = {
        // Nobody takes the if: the else; nobody enters the else: the endif.
        {"ifelse", {{"ifnz r1.yyyy", 0}}, "ifnz r1.yyyy", 0, "else", 0, 0, 0},
        {"ifelse", {{"if_logicalnz r1.xxxx", 0}}, "if_logicalnz r1.xxxx", 0, "else", 1, 0, 0},
        {"ifelse", {{"if_logicalnz r1.xxxx", 0}, {"else#1", 0}}, "else", 1, "endif", 2, 0, 0},
        // Everybody leaves by the break in iteration 0: the endloop, outside the loop.
        {"loop",
         {{"break_logicalnz r2.xxxx", 0}},
         "break_logicalnz r2.xxxx",
         0,
         "endloop",
         0,
         0,
         0},
        // Only some took the if around the break: the others go on behind its endif.
        {"loops",
         {{"ieq r2.w, r1.xxxx, l1.yyyy", ALL}, {"if_logicalnz r2.wwww", 3}, {"break", 0}},
         "break",
         0,
         "endif",
         1,
         1,
         0},
        // All took the if around the break, and the pass ran both continues with nobody
        // taking them: the loop is left.
        {"loops", {{"break", 0}}, "break", 0, "endloop", 0, 0, 0},
        // Nobody entered the if around the second continue, which didn't run: the same.
        {"loops", {{"if_logicalnz r2.zzzz", 0}, {"break", 0}}, "break", 0, "endloop", 0, 0, 0},
        // The break emptied the pass, but some had continued before it: they make the next
        // pass.
        {"loops",
         {{"continue_logicalnz r2.yyyy", 3}, {"break", 0}},
         "break",
         0,
         "whileloop",
         0,
         1,
         1},
        // Nobody began the pass: the loop is over.
        {"loops", {{"whileloop", 0}}, "whileloop", 0, "endloop", 0, 0, 0},
        // Everybody continued: the next iteration, at the loop's start.
        {"loops",
         {{"continue_logicalnz r2.yyyy", 0}},
         "continue_logicalnz r2.yyyy",
         0,
         "whileloop",
         0,
         1,
         1},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(std::string(c.pKernel) + " " + c.pFrom);
        Start(c.pKernel, c.counts);
        StepTo(c.pFrom, c.nFrom);
        const ProgramCounter next = Next();
        EXPECT_EQ(At(c.pTo, c.nTo), next.m_nPos);
        ASSERT_EQ(c.nLoops, next.m_vLoopStack.size());
        if (c.nLoops != 0)
        {
            EXPECT_EQ(c.nIteration, next.m_vLoopStack.back().nIteration);
        }
        ASSERT_TRUE(Debugger().Step());
        EXPECT_EQ(next, Current());
    }
}

TEST_F(StepTest, ACallLeadsIntoTheCalleeAndReturnsToTheCallOnce)
{
    Start("functions");
    StepTo("mov r1.x, r0.xxxx");
    ASSERT_TRUE(Debugger().Step());
    EXPECT_EQ(At("func 1025"), Current().m_nPos);
    StepTo("ret_dyn");
    ASSERT_TRUE(Debugger().Step());
    EXPECT_EQ(At("call 1026"), Current().m_nPos) << "back at the call, which runs once more";
    ASSERT_TRUE(Debugger().Step());
    EXPECT_EQ(At("ret", 1), Current().m_nPos);
    ASSERT_TRUE(Debugger().Step());
    EXPECT_EQ(At("call 1025"), Current().m_nPos);
    ASSERT_TRUE(Debugger().Step());
    EXPECT_EQ(At("func 1025"), Current().m_nPos) << "the second call";
}

TEST_F(StepTest, TheOutlineMacroReturnsToItsMcallOnce)
{
    const char* const pFirst = "iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx";
    Start("outline");
    // The macro has no mend among the instructions: its last one leads back to the mcall.
    const std::pair<const char*, unsigned int> stops[] = {{pFirst, 0},
                                                          {"imul r1.x, r0.xxxx, l0.yyyy", 0},
                                                          {"mov out0, r1.xxxx", 0},
                                                          {"mcall(1) (r5), ()", 0},
                                                          {pFirst, 1},
                                                          {"ishl r2.x, r0.xxxx, l1.xxxx", 0}};
    for (const std::pair<const char*, unsigned int>& stop : stops)
    {
        ASSERT_TRUE(Debugger().Step());
        EXPECT_EQ(At(stop.first, stop.second), Current().m_nPos) << stop.first;
    }

    // Run stopping behind the macro, at the mcall and one further: the macro's out0 exists only
    // inside it, so its value is gathered as the mcall's r5 with r0 and r1, and read third.
    for (unsigned int nBehind : {0u, 1u})
    {
        SCOPED_TRACE(nBehind);
        Start("outline");
        BreakAt(nBehind == 0 ? pFirst : "ishl r2.x, r0.xxxx, l1.xxxx", 1 - nBehind);
        const size_t nRuns = Host().m_vRuns.size();
        ASSERT_TRUE(Debugger().Run());
        EXPECT_EQ(nBehind == 0 ? At("mcall(1) (r5), ()") : At(pFirst, 1), Current().m_nPos);
        std::vector<uint32_t> vSelectors;
        for (size_t i = nRuns; i < Host().m_vRuns.size(); ++i)
        {
            EXPECT_EQ(Current(), Host().m_vRuns[i].first);
            vSelectors.push_back(Host().m_vRuns[i].second);
        }
        // Then the stop's own register, which at the mcall is r5 again.
        EXPECT_EQ(std::vector<uint32_t>({0, 1, 2, 0}), vSelectors);
        EXPECT_EQ(CScriptedHost::Value(Current(), 2 - 2 * (1 - nBehind), 0), ValueOf("r5"));
    }
}

TEST_F(StepTest, RunPastALoopGathersRegistersAndRunsOnlyAtTheStop)
{
    Start("loop");
    BreakAt("ishl r3.x, r0.xxxx, l0.xxxx");
    const size_t nRuns = Host().m_vRuns.size();
    ASSERT_TRUE(Debugger().Run());
    EXPECT_EQ(At("ishl r3.x, r0.xxxx, l0.xxxx"), Next().m_nPos);
    // r0, r1 and r2 are read where the walk stopped; then the stop's own run.
    std::vector<std::pair<ProgramCounter, uint32_t>> vRuns(Host().m_vRuns.begin() + nRuns,
                                                           Host().m_vRuns.end());
    ASSERT_EQ(4u, vRuns.size());
    for (uint32_t i = 0; i < vRuns.size(); ++i)
    {
        EXPECT_EQ(Current(), vRuns[i].first);
        EXPECT_EQ(i < 3 ? i : 0, vRuns[i].second);
    }
    for (const char* pRegister : {"r0", "r1", "r2"})
    {
        EXPECT_EQ(CScriptedHost::Value(Current(), pRegister[1] - '0', 0), ValueOf(pRegister))
            << pRegister;
    }
}

TEST_F(StepTest, RunOverStraightCodeReadsEachRegisterOnce)
{
    Start("straight");
    BreakAt("ishl r2.x, r0.xxxx, l0.wwww");
    const size_t nBuilds = Builds();
    const size_t nExecutions = Host().m_nExecutions;
    ASSERT_TRUE(Debugger().Run());
    EXPECT_EQ(At("ixor r1.x, r1.xxxx, r1.yyyy"), Current().m_nPos);
    // Five instructions: one kernel reads r0 and r1 (its .x and .y together) at the stop, then
    // one more the stop's own register.
    EXPECT_EQ(2u, Builds() - nBuilds);
    EXPECT_EQ(3u, Host().m_nExecutions - nExecutions);
}

TEST_F(StepTest, RunStopsAtABreakpointInsideALoopInEveryIteration)
{
    Start("loop");
    // The loop is left in iteration 3.
    const uint32_t nBreak = At("break_logicalnz r2.xxxx");
    Host().m_Active = [nBreak](const ProgramCounter& pc, uint32_t)
    {
        return pc.m_nPos == nBreak && !pc.m_vLoopStack.empty() &&
                       pc.m_vLoopStack.back().nIteration == 3
                   ? 0u
                   : ALL;
    };
    BreakAt("iadd r1.x, r1.xxxx, l0.yyyy");
    for (uint32_t nIteration = 0; nIteration < 3; ++nIteration)
    {
        ASSERT_TRUE(Debugger().Run());
        EXPECT_EQ(At("iadd r1.x, r1.xxxx, l0.yyyy"), Next().m_nPos);
        ASSERT_EQ(1u, Next().m_vLoopStack.size());
        EXPECT_EQ(nIteration, Next().m_vLoopStack.back().nIteration);
    }
    // On to the end: the main program's call, where the kernel returned to.
    EXPECT_FALSE(Debugger().Run());
    EXPECT_EQ(At("call 1024"), Current().m_nPos);
}

TEST_F(StepTest, RunStopsAtABreakpointOnAnElseOrEndif)
{
    // The inner if's else and endif, the outer else, the endif of the if in the outer else.
    const std::pair<const char*, unsigned int> stops[] = {
        {"else", 0}, {"endif", 0}, {"else", 1}, {"endif", 1}};
    for (const std::pair<const char*, unsigned int>& stop : stops)
    {
        SCOPED_TRACE(std::string(stop.first) + " " + std::to_string(stop.second));
        Start("ifelse");
        BreakAt(stop.first, stop.second);
        ASSERT_TRUE(Debugger().Run());
        EXPECT_EQ(At(stop.first, stop.second), Next().m_nPos);
    }
}

TEST_F(StepTest, RunOverAFunctionCallStopsBehindIt)
{
    Start("functions");
    BreakAt("ishl r2.x, r0.xxxx, l0.xxxx");
    ASSERT_TRUE(Debugger().Run());
    EXPECT_EQ(At("ishl r2.x, r0.xxxx, l0.xxxx"), Next().m_nPos);
    EXPECT_EQ(At("call 1025", 1), Current().m_nPos);
    EXPECT_TRUE(m_pKernel->Shader().GetExecMaskHistory().count(ProgramCounter(At("ret_dyn"))));
}

TEST_F(StepTest, BackRetracesStepsWithTheirValuesAndRunBackStopsAtABreakpoint)
{
    Start("straight");
    EXPECT_FALSE(Debugger().Back()) << "nothing before the first position";
    const char* const steps[] = {"func 1024", "iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx",
                                 "imul r1.x, r0.xxxx, l0.xxxx", "iadd r1.x, r1.xxxx, l0.yyyy"};
    for (size_t i = 1; i < 4; ++i)
    {
        ASSERT_TRUE(Debugger().Step());
    }
    EXPECT_EQ(CScriptedHost::Value(ProgramCounter(At(steps[3])), 0, 0), ValueOf("r1"));
    for (int i = 2; i >= 0; --i)
    {
        Debugger().Back();
        EXPECT_EQ(At(steps[i]), Current().m_nPos);
    }
    EXPECT_EQ(0u, Debugger().GetResults().count("r1")) << "no write of r1 before here";
    EXPECT_FALSE(Debugger().Back());

    for (size_t i = 1; i < 4; ++i)
    {
        ASSERT_TRUE(Debugger().Step());
    }
    Debugger().Back();
    EXPECT_EQ(At(steps[2]), Current().m_nPos);
    EXPECT_EQ(CScriptedHost::Value(ProgramCounter(At(steps[2])), 0, 0), ValueOf("r1"));

    ASSERT_TRUE(Debugger().Step());
    ASSERT_TRUE(Debugger().Step());
    BreakAt(steps[2]);
    Debugger().RunBack();
    EXPECT_EQ(At(steps[1]), Current().m_nPos);
    EXPECT_EQ(At(steps[2]), Next().m_nPos);
}

TEST_F(StepTest, StepAndRunReachTheEndOfEveryCorpusKernel)
{
    // Every loop is left in its second iteration, where nobody is active any more.
    const CScriptedHost::ActiveScript secondIterationLeaves = [](const ProgramCounter& pc, uint32_t)
    {
        for (const LoopState& loop : pc.m_vLoopStack)
        {
            if (loop.nIteration >= 1)
            {
                return 0u;
            }
        }
        return ALL;
    };
    for (const std::string& strName : XAN_Test::CorpusKernelNames())
    {
        const char* pName = strName.c_str();
        // Its returning atomic makes the debugger refuse it.
        if (strName == "atomic")
        {
            continue;
        }
        SCOPED_TRACE(pName);
        for (bool bStep : {true, false})
        {
            Start(pName);
            Host().m_Active = secondIterationLeaves;
            int nCommands = 0;
            while ((bStep ? Debugger().Step() : Debugger().Run()) && nCommands < 1000)
            {
                ++nCommands;
            }
            EXPECT_LT(nCommands, bStep ? 1000 : 1);
            EXPECT_EQ(Current(), Next()) << "finished";
            EXPECT_FALSE(Debugger().Step());
            // Where Step doesn't reach the end, Run would spin.
            ASSERT_FALSE(HasFailure());
        }
    }
}
} // namespace
