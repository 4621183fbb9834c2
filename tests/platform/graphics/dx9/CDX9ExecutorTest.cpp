#include "CDX9Executor.h"
#include "DX9Corpus.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

using namespace XAN_Platform;
using namespace XAN_Test;

namespace
{
constexpr unsigned int WIDTH = 4;
constexpr unsigned int HEIGHT = 2;
using Value = std::array<float, 4>;

// At pixel (1, 0) of the 4 × 2 grid v0 is (0.375, 0.25, 1, 1); at (0, 0) it is (0.125, 0.25, 0, 1).
const char g_Preamble[] = "ps_3_0\n"
                          "dcl_texcoord0 v0\n"
                          "def c0, 1, 2, 3, 4\n"
                          "def c1, -0.5, 0.25, 8, -3\n"
                          "def c2, -4, 0, 1.75, -1.25\n"
                          "defi i0, 3, 1, 2, 0\n"
                          "defi i1, 10, 0, 0, 0\n"
                          "defi i2, -1, 0, 0, 0\n";

// The application's registers: c0 is hidden by the shader's def.
SDX9Constants AppConstants()
{
    SDX9Constants constants;
    constants.vFloat = {{9, 9, 9, 9}, {}, {}, {}, {}, {5, 6, 7, 8}};
    constants.vInt = {{}, {}, {}, {2, 0, 0, 0}};
    constants.vBool = {1, 0};
    return constants;
}

struct SDrawn
{
    bool bResult = false;
    std::string strError;
    std::vector<float> vTarget = std::vector<float>(WIDTH * HEIGHT * 4, -1.0f);
    std::vector<std::vector<SDX9TraceEntry>> vTrace;

    Value At(unsigned int nX, unsigned int nY) const
    {
        Value value;
        std::memcpy(value.data(), &vTarget[(nY * WIDTH + nX) * 4], sizeof(value));
        return value;
    }
};

SDrawn Draw(const std::string& strText)
{
    SDrawn drawn;
    const std::vector<std::uint32_t> vTokens = AssembleDX9OrFail(strText);
    CDX9Executor executor;
    std::array<SDX9Target, 4> targets;
    targets[0] = {DX9_TARGET_RGBA32F, drawn.vTarget.data()};
    drawn.bResult =
        executor.Draw(vTokens.data(), vTokens.size(), WIDTH, HEIGHT, AppConstants(), targets, true);
    drawn.strError = executor.GetError();
    drawn.vTrace = executor.GetTrace();
    return drawn;
}

TEST(CDX9ExecutorTest, InstructionsGiveHandComputedValues)
{
    for (const std::vector<std::string>& vRow : ReadDX9Table("values.txt"))
    {
        ASSERT_EQ(vRow.size(), 3u);
        SCOPED_TRACE(vRow[0]);
        const SDrawn drawn = Draw(std::string(g_Preamble) + vRow[0] + "\n");
        ASSERT_TRUE(drawn.bResult) << drawn.strError;
        const std::vector<std::uint64_t> vPixel = ParseNumbers(vRow[1]);
        ASSERT_EQ(vPixel.size(), 2u);
        Value expected;
        std::istringstream values(vRow[2]);
        for (float& fValue : expected)
        {
            values >> fValue;
        }
        EXPECT_EQ(expected, drawn.At(vPixel[0], vPixel[1]));
    }
}

TEST(CDX9ExecutorTest, TraceHoldsEachExecutedInstructionWithItsPassesAndValue)
{
    const SDrawn drawn = Draw(std::string(g_Preamble) + "mov r0, c2.y\n"     // 0
                                                        "rep i3\n"           // 1
                                                        "if_lt v0.x, c1.y\n" // 2
                                                        "add r0, r0, c0\n"   // 3
                                                        "else\n"             // 4
                                                        "sub r0, r0, c0\n"   // 5
                                                        "endif\n"            // 6
                                                        "endrep\n"           // 7
                                                        "mov oC0, r0\n");    // 8
    ASSERT_TRUE(drawn.bResult) << drawn.strError;
    const struct
    {
        unsigned int nX;
        std::vector<std::pair<std::uint32_t, std::vector<std::uint32_t>>> vSteps;
        std::vector<Value> vValues; // of the steps with a destination, in order
    } pixels[] = {
        {0,
         {{0, {}},
          {1, {}},
          {2, {0}},
          {3, {0}},
          {6, {0}},
          {7, {0}},
          {2, {1}},
          {3, {1}},
          {6, {1}},
          {7, {1}},
          {8, {}}},
         {{0, 0, 0, 0}, {1, 2, 3, 4}, {2, 4, 6, 8}, {2, 4, 6, 8}}},
        {1,
         {{0, {}},
          {1, {}},
          {2, {0}},
          {4, {0}},
          {5, {0}},
          {6, {0}},
          {7, {0}},
          {2, {1}},
          {4, {1}},
          {5, {1}},
          {6, {1}},
          {7, {1}},
          {8, {}}},
         {{0, 0, 0, 0}, {-1, -2, -3, -4}, {-2, -4, -6, -8}, {-2, -4, -6, -8}}},
    };
    ASSERT_EQ(WIDTH * HEIGHT, drawn.vTrace.size());
    for (const auto& pixel : pixels)
    {
        std::vector<std::pair<std::uint32_t, std::vector<std::uint32_t>>> vSteps;
        std::vector<Value> vValues;
        for (const SDX9TraceEntry& entry : drawn.vTrace[pixel.nX])
        {
            vSteps.emplace_back(entry.nInstruction, entry.vPasses);
            if (entry.nInstruction == 0 || entry.nInstruction == 3 || entry.nInstruction == 5 ||
                entry.nInstruction == 8)
            {
                vValues.push_back(entry.fValue);
            }
            else
            {
                EXPECT_EQ(Value{}, entry.fValue) << "flow has no value";
            }
        }
        EXPECT_EQ(pixel.vSteps, vSteps) << "pixel " << pixel.nX;
        EXPECT_EQ(pixel.vValues, vValues) << "pixel " << pixel.nX;
    }
}

TEST(CDX9ExecutorTest, TargetsTakeFloatBitsOrSaturatedBytes)
{
    const std::vector<std::uint32_t> vTokens =
        AssembleDX9OrFail("ps_3_0\ndef c0, -0.5, 0.25, 1.5, 0.5\nmov oC1, c0\nmov oC2, c0.wzyx\n");
    std::vector<float> vFloat(WIDTH * HEIGHT * 4, 7.0f);
    std::vector<std::uint8_t> vBytes(WIDTH * HEIGHT * 4, 7);
    std::vector<float> vUnwritten(WIDTH * HEIGHT * 4, 7.0f);
    std::array<SDX9Target, 4> targets;
    targets[0] = {DX9_TARGET_RGBA32F, vUnwritten.data()};
    targets[1] = {DX9_TARGET_RGBA8, vBytes.data()};
    targets[2] = {DX9_TARGET_RGBA32F, vFloat.data()};
    CDX9Executor executor;
    ASSERT_TRUE(executor.Draw(vTokens.data(), vTokens.size(), WIDTH, HEIGHT, SDX9Constants(),
                              targets, false))
        << executor.GetError();
    EXPECT_TRUE(executor.GetTrace().empty());
    for (unsigned int n = 0; n < WIDTH * HEIGHT; ++n)
    {
        EXPECT_EQ((std::vector<std::uint8_t>{0, 64, 255, 128}),
                  std::vector<std::uint8_t>(&vBytes[n * 4], &vBytes[n * 4 + 4]));
        EXPECT_EQ((std::vector<float>{0.5f, 1.5f, 0.25f, -0.5f}),
                  std::vector<float>(&vFloat[n * 4], &vFloat[n * 4 + 4]));
    }
    EXPECT_EQ(std::vector<float>(WIDTH * HEIGHT * 4, 7.0f), vUnwritten) << "oC0 is never written";

    targets[3] = {DX9_TARGET_RGBA8, nullptr};
    EXPECT_FALSE(executor.Draw(vTokens.data(), vTokens.size(), WIDTH, HEIGHT, SDX9Constants(),
                               targets, false));
    EXPECT_EQ("target 3 has no memory", executor.GetError());
}

TEST(CDX9ExecutorTest, RefusesWhatItDoesntRunNamingTheLine)
{
    for (const std::vector<std::string>& vRow : ReadDX9Table("executor_refusals.txt"))
    {
        ASSERT_EQ(vRow.size(), 2u);
        const SDrawn drawn = Draw(vRow[0]);
        EXPECT_FALSE(drawn.bResult) << vRow[0];
        EXPECT_EQ(vRow[1], drawn.strError) << vRow[0];
        EXPECT_EQ(std::vector<float>(WIDTH * HEIGHT * 4, -1.0f), drawn.vTarget)
            << "nothing is drawn: " << vRow[0];
    }
    CDX9Executor executor;
    std::array<SDX9Target, 4> targets;
    EXPECT_FALSE(executor.Draw(nullptr, 0, WIDTH, HEIGHT, SDX9Constants(), targets, true));
    EXPECT_EQ("token 0: the shader is empty", executor.GetError());
    const std::vector<std::uint32_t> vEndless = AssembleDX9OrFail(
        "ps_3_0\ndefi i0, 255, 0, 0, 0\nrep i0\nrep i0\nrep i0\nendrep\nendrep\nendrep\n");
    EXPECT_FALSE(executor.Draw(vEndless.data(), vEndless.size(), WIDTH, HEIGHT, SDX9Constants(),
                               targets, false));
    EXPECT_EQ("pixel (0, 0) runs more than 1048576 instructions", executor.GetError());
}
} // namespace
