#include "ShaderDebuggerBase.h"
#include "ShaderDebuggerBuffer.h"
#include "ShaderDebuggerShader.h"
#include "Src/ShaderDebuggerTestDoubles.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

using namespace XAN_ShaderDebugger;

namespace
{
ProgramCounter InLoop(uint32_t nPos, uint32_t nIteration)
{
    ProgramCounter pc(nPos);
    pc.EnterLoop(1, 9);
    pc.m_vLoopStack.back().nIteration = nIteration;
    return pc;
}

class ResultTest : public ::testing::Test
{
protected:
    ResultTest() : m_Result(&m_Host, "r0") {}

    CShaderDebuggerBuffer* MakeBuffer(BufferFormat format, const std::vector<uint32_t>& vWords,
                                      uint32_t nPlanes = 1, bool bArray = false)
    {
        return XAN_Test::MakeWordBuffer(&m_Host, format, vWords, nPlanes, bArray);
    }

    static std::vector<uint32_t> Words(const CShaderDebuggerBuffer* pBuffer)
    {
        std::vector<uint32_t> vWords(pBuffer->GetDataSize() / 4);
        std::memcpy(vWords.data(), pBuffer->GetSubResource(0), pBuffer->GetDataSize());
        return vWords;
    }

    XAN_Test::CRecordingHost m_Host;
    CShaderDebuggerResult m_Result;
};
} // namespace

TEST_F(ResultTest, StepsAreKeptOncePerPosition)
{
    EXPECT_EQ(g_PC_NULL, m_Result.GetLastStep());
    EXPECT_EQ(0, m_Result.GetLastStepMask());
    EXPECT_EQ(g_PC_NULL, m_Result.PopStep());

    struct Step
    {
        ProgramCounter pc;
        unsigned short mask;
        size_t nSteps;
        unsigned short lastMask;
    };
    const Step steps[] = {
        {ProgramCounter(3), COMP_x, 1, COMP_x},
        // A re-run of the same position keeps the first mask.
        {ProgramCounter(3), COMP_All, 1, COMP_x},
        {InLoop(5, 0), COMP_y, 2, COMP_y},
        // Another iteration of the loop is another step.
        {InLoop(5, 1), COMP_z, 3, COMP_z},
        {InLoop(5, 1), COMP_w, 3, COMP_z},
        // Only the newest step is compared: an old position can come again.
        {ProgramCounter(3), COMP_w, 4, COMP_w},
    };
    for (const Step& s : steps)
    {
        m_Result.AddStep(s.pc, s.mask);
        EXPECT_EQ(s.nSteps, m_Result.GetStepCount()) << s.pc.m_nPos;
        EXPECT_EQ(s.pc, m_Result.GetLastStep());
        EXPECT_EQ(s.lastMask, m_Result.GetLastStepMask());
    }

    EXPECT_EQ(InLoop(5, 1), m_Result.PopStep());
    EXPECT_EQ(InLoop(5, 0), m_Result.PopStep());
    EXPECT_EQ(ProgramCounter(3), m_Result.PopStep());
    EXPECT_EQ(COMP_x, m_Result.GetLastStepMask());
    EXPECT_EQ(g_PC_NULL, m_Result.PopStep());
    EXPECT_EQ(0u, m_Result.GetStepCount());
    EXPECT_EQ(0, m_Result.GetLastStepMask());
}

TEST_F(ResultTest, DataTypesWeakAndStrong)
{
    EXPECT_EQ(4u, m_Result.GetComponentCount());
    EXPECT_EQ((std::vector<uint32_t>{1, 1, 1, 1}),
              std::vector<uint32_t>(m_Result.GetDataTypes(), m_Result.GetDataTypes() + 4));

    struct Case
    {
        uint32_t nType;
        unsigned short mask;
        std::vector<uint32_t> vTypes;
    };
    const Case cases[] = {
        {3, COMP_xy, {3, 3, 1, 1}},
        // A weak type leaves the strong ones.
        {2, COMP_All, {3, 3, 2, 2}},
        {1, COMP_x, {1, 3, 2, 2}},
        {4, COMP_zw, {1, 3, 4, 4}},
        {2, COMP_w, {1, 3, 4, 4}},
        {3, COMP_w, {1, 3, 4, 3}},
        {2, 0, {1, 3, 4, 3}},
    };
    for (const Case& c : cases)
    {
        m_Result.SetDataType(c.nType, c.mask);
        EXPECT_EQ(c.vTypes,
                  std::vector<uint32_t>(m_Result.GetDataTypes(), m_Result.GetDataTypes() + 4))
            << c.nType << " " << c.mask;
    }
    EXPECT_EQ(4u, m_Result.GetComponentCount());

    CShaderDebuggerResult other(&m_Host, "r1");
    other.SetDataType(2, COMP_All);
    other.SetDataType(4, COMP_x);
    m_Result.CopyDataType(NULL, COMP_All);
    m_Result.CopyDataType(&other, COMP_x | COMP_y | COMP_z);
    // x takes 4, y keeps its 3 and z its 4 against a weak 2, w isn't in the mask.
    EXPECT_EQ((std::vector<uint32_t>{4, 3, 4, 3}),
              std::vector<uint32_t>(m_Result.GetDataTypes(), m_Result.GetDataTypes() + 4));

    m_Result.SetDataType(2);
    EXPECT_EQ(2u, m_Result.GetDataTypes()[0]);
    EXPECT_EQ(1u, m_Result.GetComponentCount());
}

TEST_F(ResultTest, SetResultBufferReplacesOrMerges)
{
    struct Case
    {
        const char* pName;
        std::vector<uint32_t> vMask; // empty: no mask
        size_t nDst;
        size_t nSrc;
        size_t nComponents;
        bool bMerge;
        std::vector<uint32_t> vExpected;
    };
    // The held buffer has words 0..7 (two threads), the new one 100..107.
    const Case cases[] = {
        {"no mask", {}, 0, 0, 0, false, {100, 101, 102, 103, 104, 105, 106, 107}},
        {"all active", {1, 1}, 0, 0, 0, false, {100, 101, 102, 103, 104, 105, 106, 107}},
        {"second active", {0, 7}, 0, 0, 0, true, {0, 1, 2, 3, 104, 105, 106, 107}},
        {"none active", {0, 0}, 0, 0, 0, true, {0, 1, 2, 3, 4, 5, 6, 7}},
        // A component window merges even with every thread active.
        {"window", {1, 1}, 2, 0, 1, true, {0, 1, 100, 3, 4, 5, 104, 7}},
        {"window, first active", {1, 0}, 1, 1, 2, true, {0, 101, 102, 3, 4, 5, 6, 7}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.pName);
        CShaderDebuggerResult result(&m_Host, "r0");
        CShaderDebuggerBuffer* pHeld = MakeBuffer(BF_RGBA32, {0, 1, 2, 3, 4, 5, 6, 7});
        EXPECT_EQ(nullptr, result.SetResultBuffer(pHeld, NULL, 0, 0, 0));
        CShaderDebuggerBuffer* pNew =
            MakeBuffer(BF_RGBA32, {100, 101, 102, 103, 104, 105, 106, 107});
        CShaderDebuggerBuffer* pMask = c.vMask.empty() ? NULL : MakeBuffer(BF_R32, c.vMask);
        const bool bMerge = result.KeepsHeldValues(pMask, c.nComponents);
        EXPECT_EQ(c.bMerge, bMerge);
        std::unique_ptr<CShaderDebuggerBuffer> pGivenBack =
            result.SetResultBuffer(pNew, pMask, c.nDst, c.nSrc, c.nComponents);
        // A replacement keeps the new buffer, a merge copies into the held one; the other one
        // comes back for reuse.
        EXPECT_EQ(bMerge ? pHeld : pNew, result.GetResultBuffer());
        EXPECT_EQ(bMerge ? pNew : pHeld, pGivenBack.get());
        EXPECT_EQ(c.vExpected, Words(result.GetResultBuffer()));
        EXPECT_EQ(&m_Host, result.GetResultBuffer()->GetHost());
        EXPECT_EQ(nullptr, result.SetExecMaskBuffer(pMask));
        EXPECT_EQ(pMask, result.GetExecMaskBuffer());
    }
}

TEST_F(ResultTest, AFirstBufferIsKeptOrMergedIntoZeros)
{
    // A partial mask without a held buffer: nothing to keep, the buffer is taken whole.
    CShaderDebuggerBuffer* pFirst = MakeBuffer(BF_RGBA32, {1, 2, 3, 4, 5, 6, 7, 8});
    CShaderDebuggerBuffer* pMask = MakeBuffer(BF_R32, {0, 1});
    m_Result.SetResultBuffer(pFirst, pMask, 0, 0, 0);
    EXPECT_EQ((std::vector<uint32_t>{1, 2, 3, 4, 5, 6, 7, 8}), Words(m_Result.GetResultBuffer()));
    // Passing the held buffer again changes nothing.
    m_Result.SetResultBuffer(pFirst, pMask, 0, 0, 0);
    EXPECT_EQ(pFirst, m_Result.GetResultBuffer());

    // A window without a held buffer lands in zeros.
    CShaderDebuggerResult windowed(&m_Host, "x1");
    windowed.SetResultBuffer(MakeBuffer(BF_RGBA32, {1, 2, 3, 4, 5, 6, 7, 8}), pMask, 3, 0, 1);
    EXPECT_EQ((std::vector<uint32_t>{0, 0, 0, 0, 0, 0, 0, 5}), Words(windowed.GetResultBuffer()));

    m_Result.SetExecMaskBuffer(pMask);
    m_Result.SetExecMaskBuffer(pMask);
    EXPECT_EQ(pMask, m_Result.GetExecMaskBuffer());
    m_Result.SetExecMaskBuffer(MakeBuffer(BF_R32, {1, 1}));
    EXPECT_NE(pMask, m_Result.GetExecMaskBuffer());

    m_Result.SetResultBuffer(NULL, NULL, 0, 0, 0);
    EXPECT_EQ(pFirst, m_Result.GetResultBuffer());
    EXPECT_TRUE(m_Host.HasAssert("pNew != NULL"));
}

TEST_F(ResultTest, PlanesMergeEachUnderItsOwnMaskPlane)
{
    // Two planes of two threads. Where the mask's first plane is all active and its second
    // isn't, the merge is needed though the first plane alone would say otherwise.
    struct Case
    {
        const char* pName;
        std::vector<uint32_t> vMask;
        uint32_t nMaskPlanes;
        bool bArray;
        std::vector<uint32_t> vExpected;
    };
    const Case cases[] = {
        {"a mask slice per data slice", {1, 1, 0, 1}, 2, false, {100, 101, 2, 103}},
        {"all slices active", {1, 1, 1, 1}, 2, false, {100, 101, 102, 103}},
        {"a mask plane per array plane", {0, 1, 1, 0}, 2, true, {0, 101, 102, 3}},
        // A mask of fewer planes serves every plane with its first.
        {"one mask plane for both", {0, 1}, 1, true, {0, 101, 2, 103}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.pName);
        CShaderDebuggerResult result(&m_Host, "r0");
        result.SetResultBuffer(MakeBuffer(BF_R32, {0, 1, 2, 3}, 2, c.bArray), NULL, 0, 0, 0);
        CShaderDebuggerBuffer* pMask = MakeBuffer(BF_R32, c.vMask, c.nMaskPlanes, c.bArray);
        result.SetResultBuffer(MakeBuffer(BF_R32, {100, 101, 102, 103}, 2, c.bArray), pMask, 0, 0,
                               0);
        EXPECT_EQ(c.vExpected, Words(result.GetResultBuffer()));
        result.SetExecMaskBuffer(pMask);
    }
}

TEST_F(ResultTest, BufferCopiesKeepTheHostAndOwnTheirData)
{
    CShaderDebuggerBuffer* pBuffer = MakeBuffer(BF_R32, {1, 2, 3});
    CShaderDebuggerBuffer copy(*pBuffer);
    pBuffer->GetSubResource(0)[0] = 9;
    EXPECT_EQ(&m_Host, copy.GetHost());
    EXPECT_EQ((std::vector<uint32_t>{1, 2, 3}), Words(&copy));

    XAN_Test::CRecordingHost otherHost;
    CShaderDebuggerBuffer assigned(&otherHost);
    assigned = *pBuffer;
    EXPECT_EQ(&m_Host, assigned.GetHost());
    EXPECT_EQ((std::vector<uint32_t>{9, 2, 3}), Words(&assigned));
    CShaderDebuggerBuffer& self = assigned;
    assigned = self;
    EXPECT_EQ((std::vector<uint32_t>{9, 2, 3}), Words(&assigned));
    delete pBuffer;
}
