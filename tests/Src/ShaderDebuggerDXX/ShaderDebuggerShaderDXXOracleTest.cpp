// The oracle: at every position that the original reaches, the patched shader run on the
// reference interpreter gives each thread the flag and the values that the original's bounded
// run gives there.
#include "DXXShaderFixture.h"

#include "CTpfInterpreter.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <map>
#include <set>
#include <sstream>

using namespace XAN_ShaderDebugger;
using namespace XAN_Test;
using XAN_Platform::CTpfInterpreter;
using XAN_Platform::TpfBindings;
using XAN_Platform::TpfThreadResult;
using XAN_Platform::TpfValue4;

namespace
{
const std::uint32_t WIDTH = 4;
const std::uint32_t HEIGHT = 4;
const std::uint32_t FLOAT_ONE = 0x3F800000;

std::vector<std::uint32_t> ProgramTokens(const std::vector<std::uint8_t>& vContainer)
{
    D3D10ShaderObject::CShaderObject shader(vContainer.data(), vContainer.size());
    const std::uint8_t* pChunk = shader.GetShaderChunk();
    if (pChunk == nullptr)
    {
        return {};
    }
    std::vector<std::uint32_t> vTokens((shader.GetShaderChunkSize() - 8) / 4);
    std::memcpy(vTokens.data(), pChunk + 8, vTokens.size() * 4);
    return vTokens;
}

// Runs a pixel program over the grid; the render targets by slot, 16 bytes a pixel.
bool RunPixel(CTpfInterpreter& interpreter, const std::vector<std::uint32_t>& vTokens,
              std::map<std::uint32_t, std::vector<std::uint8_t>>& targets,
              std::vector<TpfThreadResult>& vResults)
{
    if (!interpreter.Load(vTokens.data(), vTokens.size()))
    {
        ADD_FAILURE() << interpreter.GetError();
        return false;
    }
    TpfBindings bindings;
    for (auto& target : targets)
    {
        target.second.assign(WIDTH * HEIGHT * 16, 0);
        bindings.mapRenderTargets[target.first] = {XAN_Platform::TPF_TARGET_RGBA32, &target.second};
    }
    const bool bRun = interpreter.RunPixel(WIDTH, HEIGHT, bindings, vResults);
    EXPECT_TRUE(bRun) << interpreter.GetError();
    return bRun;
}

TpfValue4 Pixel(const std::vector<std::uint8_t>& vTarget, std::uint32_t nPixel)
{
    TpfValue4 value;
    std::memcpy(value.v, vTarget.data() + nPixel * 16, 16);
    return value;
}

class DXXOracleTest : public ::testing::TestWithParam<const char*>
{
};

TEST_P(DXXOracleTest, PatchedCapturesWhatTheOriginalHeld)
{
    const std::vector<std::uint8_t> vContainer = BuildDXXContainer(ReadDXXFixture(GetParam()));
    const std::vector<std::uint32_t> vOriginal = ProgramTokens(vContainer);
    CTpfInterpreter original;
    original.SetTrace(true);
    std::map<std::uint32_t, std::vector<std::uint8_t>> applicationTargets = {{0, {}}};
    std::vector<TpfThreadResult> vTraced;
    ASSERT_TRUE(RunPixel(original, vOriginal, applicationTargets, vTraced));

    // Every position reached: an instruction with the passes of its loops.
    typedef std::vector<std::array<std::uint32_t, 3>> LoopPasses; // start, end, pass
    std::set<std::pair<std::uint32_t, LoopPasses>> positions;
    for (const TpfThreadResult& thread : vTraced)
    {
        for (const XAN_Platform::TpfTraceStep& step : thread.vTrace)
        {
            if (!step.bPassHead)
            {
                LoopPasses passes;
                for (const XAN_Platform::TpfLoopPass& pass : step.vLoops)
                {
                    passes.push_back({pass.nStart, pass.nEnd, pass.nPass});
                }
                positions.insert(std::make_pair(step.nInstruction, passes));
            }
        }
    }
    ASSERT_FALSE(positions.empty());

    for (const auto& position : positions)
    {
        ProgramCounter pc(position.first);
        XAN_Platform::TpfBoundedTarget bounded;
        bounded.nInstruction = position.first;
        for (const std::array<std::uint32_t, 3>& pass : position.second)
        {
            pc.m_vLoopStack.push_back(LoopState{pass[0], pass[1], pass[2]});
            bounded.vPasses.push_back(pass[2]);
        }
        std::ostringstream name;
        name << "instruction " << position.first << " passes";
        for (std::uint32_t nPass : bounded.vPasses)
        {
            name << " " << nPass;
        }
        SCOPED_TRACE(name.str());

        CDXXTestHost host;
        CDX11TestShader shader(host.AttachDebugger(), vContainer);
        ASSERT_TRUE(shader.CreatePatchedShader(pc, g_Reg_NULL));
        CTpfInterpreter patched;
        std::map<std::uint32_t, std::vector<std::uint8_t>> debugTargets = {
            {shader.GetOutputRegister0(), {}}, {shader.GetExecMaskOutputRegister(), {}}};
        if (shader.HasTwoDestInstructions())
        {
            debugTargets[shader.GetOutputRegister1()] = {};
        }
        std::vector<TpfThreadResult> vPatched;
        ASSERT_TRUE(RunPixel(patched, ProgramTokens(host.m_vShaders.back()->vBytes), debugTargets,
                             vPatched));

        CTpfInterpreter reference;
        reference.SetBounded(&bounded);
        std::vector<TpfThreadResult> vBounded;
        ASSERT_TRUE(RunPixel(reference, vOriginal, applicationTargets, vBounded));

        for (std::uint32_t nPixel = 0; nPixel < WIDTH * HEIGHT; ++nPixel)
        {
            const XAN_Platform::TpfBoundedResult& expected = vBounded[nPixel].bounded;
            const TpfValue4 flag = Pixel(debugTargets[shader.GetExecMaskOutputRegister()], nPixel);
            EXPECT_EQ(expected.bFlag ? FLOAT_ONE : 0u, flag.v[0]) << "pixel " << nPixel;
            const std::uint32_t results[2] = {shader.GetOutputRegister0(),
                                              shader.GetOutputRegister1()};
            for (int nDest = 0; nDest < 2; ++nDest)
            {
                if (expected.abCaptured[nDest] && (nDest == 0 || shader.HasTwoDestInstructions()))
                {
                    EXPECT_EQ(expected.aCapture[nDest], Pixel(debugTargets[results[nDest]], nPixel))
                        << "pixel " << nPixel << " result " << nDest;
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Fixtures, DXXOracleTest,
                         ::testing::Values("ps_straight.dxx", "ps_divergent.dxx", "ps_nested.dxx",
                                           "ps_trips.dxx", "ps_continue.dxx", "ps_icb.dxx",
                                           "ps_twodest.dxx"),
                         [](const ::testing::TestParamInfo<const char*>& info)
                         {
                             const std::string strName = info.param;
                             return strName.substr(0, strName.find('.'));
                         });
} // namespace
