#include "CDX9Executor.h"
#include "DX9Corpus.h"

#include <gtest/gtest.h>

#include <cstring>

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

struct SValueCase
{
    const char* pBody;
    unsigned int nX;
    unsigned int nY;
    Value expected;
};

const SValueCase g_ValueCases[] = {
    // Arithmetic, by hand from c0, c1 and c2.
    {"mov oC0, c0", 1, 0, {1, 2, 3, 4}},
    {"add oC0, c0, c1", 1, 0, {0.5f, 2.25f, 11, 1}},
    {"sub oC0, c0, c1", 1, 0, {1.5f, 1.75f, -5, 7}},
    {"mul oC0, c0, c1", 1, 0, {-0.5f, 0.5f, 24, -12}},
    {"mad oC0, c0, c1, c0", 1, 0, {0.5f, 2.5f, 27, -8}},
    {"dp3 oC0, c0, c1", 1, 0, {24, 24, 24, 24}},
    {"dp4 oC0, c0, c1", 1, 0, {12, 12, 12, 12}},
    {"min oC0, c0, c1", 1, 0, {-0.5f, 0.25f, 3, -3}},
    {"max oC0, c0, c1", 1, 0, {1, 2, 8, 4}},
    {"rcp oC0, c1.z", 1, 0, {0.125f, 0.125f, 0.125f, 0.125f}},
    {"rsq oC0.xy, c2.x", 1, 0, {0.5f, 0.5f, 0, 0}}, // of |x|
    {"frc oC0, c2", 1, 0, {0, 0, 0.75f, 0.75f}},
    {"cmp oC0, c1, c0, -c0", 1, 0, {-1, 2, 3, -4}},
    // Modifiers, swizzles and masks.
    {"mov_sat oC0, c1", 1, 0, {0, 0.25f, 1, 0}},
    {"mov oC0, -c1_abs.wzyx", 1, 0, {-3, -8, -0.25f, -0.5f}},
    {"mov oC0, c1_abs.y", 1, 0, {0.25f, 0.25f, 0.25f, 0.25f}},
    {"mov oC0.xz, c0", 1, 0, {1, 0, 3, 0}},
    {"mov r0, c0\nmov r0.yw, c1.x\nmov oC0, r0", 1, 0, {1, -0.5f, 3, -0.5f}},
    // Inputs by the grid rule, and constants from the application.
    {"mov oC0, v0", 1, 0, {0.375f, 0.25f, 1, 1}},
    {"mov oC0, v1", 3, 1, {1.875f, 1.75f, 4, 2}},
    {"dcl vPos.xy\nmov oC0, vPos", 3, 1, {3, 1, 0, 1}},
    {"mov oC0, c5", 1, 0, {5, 6, 7, 8}},
    {"mov oC0, c7", 1, 0, {0, 0, 0, 0}},
    // Predication.
    {"mov r0, c0\nsetp_lt p0, c1, c2\n(p0) mov r0, c1\nmov oC0, r0", 1, 0, {1, 2, 3, -3}},
    {"mov r0, c0\nsetp_lt p0, c1, c2\n(!p0) mov r0, c1\nmov oC0, r0", 1, 0, {-0.5f, 0.25f, 8, 4}},
    {"mov r0, c0\nsetp_ge p0.x, v0.x, c1.y\n(p0.x) mov r0, c1\nmov oC0, r0", 0, 0, {1, 2, 3, 4}},
    {"mov r0, c0\nsetp_ge p0.x, v0.x, c1.y\n(p0.x) mov r0, c1\nmov oC0, r0",
     1,
     0,
     {-0.5f, 0.25f, 8, -3}},
    // if, ifc and else: (0, 0) is left of 0.25, (1, 0) right of it.
    {"if_lt v0.x, c1.y\nmov oC0, c0\nelse\nmov oC0, c1\nendif", 0, 0, {1, 2, 3, 4}},
    {"if_lt v0.x, c1.y\nmov oC0, c0\nelse\nmov oC0, c1\nendif", 1, 0, {-0.5f, 0.25f, 8, -3}},
    {"mov oC0, c2\nif_eq v0.z, c2.y\nmov oC0, c0\nendif", 0, 0, {1, 2, 3, 4}},
    {"mov oC0, c2\nif_eq v0.z, c2.y\nmov oC0, c0\nendif", 1, 0, {-4, 0, 1.75f, -1.25f}},
    {"if b0\nmov oC0, c0\nelse\nmov oC0, c1\nendif", 1, 0, {1, 2, 3, 4}},
    {"if b1\nmov oC0, c0\nelse\nmov oC0, c1\nendif", 1, 0, {-0.5f, 0.25f, 8, -3}},
    {"if !b0\nmov oC0, c0\nelse\nif b0\nmov oC0, c2\nendif\nendif", 1, 0, {-4, 0, 1.75f, -1.25f}},
    {"setp_gt p0, c0, c2\nif p0.z\nmov oC0, c0\nendif", 1, 0, {1, 2, 3, 4}},
    // Loops: i3 from the application runs twice, i0 gives aL 1, 3, 5, i2 never runs.
    {"mov r0, c2.y\nrep i3\nadd r0, r0, c0\nendrep\nmov oC0, r0", 1, 0, {2, 4, 6, 8}},
    {"mov r0, c2.y\nloop aL, i0\nadd r0, r0, c[aL]\nendloop\nmov oC0, r0",
     1,
     0,
     {4.5f, 6.25f, 15, 5}},
    {"mov r0, c2.y\nloop aL, i0\nadd r0, r0, c[aL + 1].x\nendloop\nmov oC0, r0",
     1,
     0,
     {-4, -4, -4, -4}},
    {"mov r0, c0\nrep i2\nmov r0, c1\nendrep\nmov oC0, r0", 1, 0, {1, 2, 3, 4}},
    // break and breakc: v0.z is x + y, the passes that a pixel runs.
    {"mov r0, c2.y\nrep i1\nadd r0, r0, c0.x\nbreak_ge r0.x, v0.z\nendrep\nmov oC0, r0",
     1,
     0,
     {1, 1, 1, 1}},
    {"mov r0, c2.y\nrep i1\nadd r0, r0, c0.x\nbreak_ge r0.x, v0.z\nendrep\nmov oC0, r0",
     3,
     1,
     {4, 4, 4, 4}},
    {"mov r0, c2.y\nrep i1\nbreak_ge r0.x, v0.z\nadd r0, r0, c0.x\nendrep\nmov oC0, r0",
     0,
     0,
     {0, 0, 0, 0}},
    {"mov r0, c2.y\nrep i3\nrep i1\nadd r0, r0, c0.x\nbreak\nendrep\nendrep\nmov oC0, r0",
     1,
     0,
     {2, 2, 2, 2}},
    {"mov r0, c2.y\nloop aL, i0\nrep i3\nadd r0, r0, c[aL].y\nendrep\nendloop\nmov oC0, r0",
     1,
     0,
     {12.5f, 12.5f, 12.5f, 12.5f}},
};

TEST(CDX9ExecutorTest, InstructionsGiveHandComputedValues)
{
    for (const SValueCase& test : g_ValueCases)
    {
        SCOPED_TRACE(test.pBody);
        const SDrawn drawn = Draw(std::string(g_Preamble) + test.pBody + "\n");
        ASSERT_TRUE(drawn.bResult) << drawn.strError;
        EXPECT_EQ(test.expected, drawn.At(test.nX, test.nY));
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
    // Lines of the disassembly: three of header, the version on line 4.
    const struct
    {
        const char* pText;
        const char* pError;
    } cases[] = {
        {"ps_3_0\nmov r0, c0\ntexld r0, v0, s0\n", "line 6: the executor doesn't run texld"},
        {"ps_3_0\nnop\n", "line 5: the executor doesn't run nop"},
        {"ps_3_0\nif b0\nmov r0, c0\n", "line 5: if without its end"},
        {"ps_3_0\nrep i0\nif b0\nendrep\nendif\n", "line 7: endrep without its start"},
        {"ps_3_0\nendif\n", "line 5: endif without its start"},
        {"ps_3_0\nloop aL, i0\nendrep\n", "line 6: endrep without its start"},
        {"ps_3_0\nrep i0\nelse\nendrep\n", "line 6: else without if"},
        {"ps_3_0\nif b0\nbreak\nendif\n", "line 6: break outside a loop"},
        {"ps_3_0\n(p0) break\n", "line 5: predicated flow control"},
        {"ps_3_0\nmov oDepth, c0\n",
         "line 5: 'mov oDepth, c0' uses a register or modifier that the executor doesn't run"},
        {"ps_3_0\nmov r0, c0_bx2\n",
         "line 5: 'mov r0, c0_bx2' uses a register or modifier that the executor doesn't run"},
        {"ps_3_0\nrep i0\nmov r0, c[aL]\nendrep\n",
         "line 6: 'mov r0, c[aL]' uses a register or modifier that the executor doesn't run"},
        {"ps_3_0\nif c0\nendif\n",
         "line 5: 'if c0' uses a register or modifier that the executor doesn't run"},
        {"ps_3_0\nmov oC4, c0\n",
         "line 5: 'mov oC4, c0' uses a register or modifier that the executor doesn't run"},
        {"ps_1_1\nmov r0, c0\n",
         "the executor runs pixel shaders of models 2.0 to 3.0, not ps_1_1"},
        {"vs_3_0\nmov r0, c0\n",
         "the executor runs pixel shaders of models 2.0 to 3.0, not vs_3_0"},
    };
    for (const auto& test : cases)
    {
        const SDrawn drawn = Draw(test.pText);
        EXPECT_FALSE(drawn.bResult) << test.pText;
        EXPECT_EQ(test.pError, drawn.strError) << test.pText;
        EXPECT_EQ(std::vector<float>(WIDTH * HEIGHT * 4, -1.0f), drawn.vTarget)
            << "nothing is drawn: " << test.pText;
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
