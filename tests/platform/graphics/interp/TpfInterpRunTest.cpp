#include "CTpfInterpreter.h"
#include "TpfCorpus.h"
#include "TpfInterpTestData.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

using namespace XAN_Platform;
using XAN_Test::FormatValue4;
using XAN_Test::TpfInterpCase;

namespace
{
void LoadText(CTpfInterpreter& interpreter, const std::string& strText)
{
    std::string strError;
    const std::vector<std::uint32_t> vTokens = XAN_Test::AssembleOrFail(strText, strError);
    ASSERT_TRUE(strError.empty()) << strError;
    ASSERT_TRUE(interpreter.Load(vTokens.data(), vTokens.size())) << interpreter.GetError();
}

TpfValue4 Word4(const std::vector<std::uint8_t>& vData, size_t nOffset)
{
    TpfValue4 value;
    std::memcpy(value.v, vData.data() + nOffset, 16);
    return value;
}

TpfValue4 Values(const std::string& strText)
{
    TpfValue4 value;
    EXPECT_TRUE(XAN_Test::ParseValue4(strText, value)) << strText;
    return value;
}

std::string Joined(const std::vector<std::string>& vLines)
{
    std::string strText;
    for (const std::string& strLine : vLines)
    {
        strText += strLine + "\n";
    }
    return strText;
}

// Two groups by two of four threads: IDs by the dispatch-wide position, one index dimension on
// vThreadID read like none, and the barrier holding every thread until all have stored.
TEST(TpfInterpStageTest, ComputeGivesThreadIDsAndWaitsAtTheBarrier)
{
    CTpfInterpreter interpreter;
    ASSERT_NO_FATAL_FAILURE(LoadText(interpreter, XAN_Test::ReadInterpData("compute.tpf")));
    std::vector<std::uint8_t> vView(16 * 16, 0xAB);
    TpfBindings bindings;
    bindings.mapRawUAVs[0] = &vView;
    std::vector<TpfThreadResult> vResults;
    ASSERT_TRUE(interpreter.RunCompute(2, 2, 1, bindings, vResults)) << interpreter.GetError();
    ASSERT_EQ(16u, vResults.size());
    const struct
    {
        unsigned int nX, nY;
        const char* pExpected;
    } aRows[] = {{0, 0, "0, 0, 0, 101"},
                 {3, 0, "3, 0, 0, 100"},
                 {5, 1, "5, 1, 1, 102"},
                 {7, 1, "7, 1, 1, 100"}};
    for (const auto& row : aRows)
    {
        const size_t nThread = row.nY * 8 + row.nX;
        EXPECT_EQ(FormatValue4(Values(row.pExpected)), FormatValue4(Word4(vView, nThread * 16)))
            << row.nX << ", " << row.nY;
        EXPECT_EQ(FormatValue4(Values(row.pExpected)), FormatValue4(vResults[nThread].vTemps[1]));
    }
}

// A 3 x 2 grid: float bits into the 32-bit target, saturated x 255 into the 8-bit one, and the
// discarded pixel leaves both targets as they were.
TEST(TpfInterpStageTest, PixelWritesTargetsByFormatAndSkipsTheDiscarded)
{
    CTpfInterpreter interpreter;
    ASSERT_NO_FATAL_FAILURE(LoadText(interpreter, XAN_Test::ReadInterpData("pixel.tpf")));
    std::vector<std::uint8_t> vFloats(6 * 16, 0xAB), vBytes(6 * 4, 0xAB), vUnused(16, 0xAB);
    TpfBindings bindings;
    bindings.mapRenderTargets[0] = {TPF_TARGET_RGBA32, &vFloats};
    bindings.mapRenderTargets[1] = {TPF_TARGET_RGBA8, &vBytes};
    bindings.mapRenderTargets[5] = {TPF_TARGET_RGBA32, &vUnused};
    std::vector<TpfThreadResult> vResults;
    ASSERT_TRUE(interpreter.RunPixel(3, 2, bindings, vResults)) << interpreter.GetError();
    ASSERT_EQ(6u, vResults.size());
    // Pixel (2, 1): position (2.5, 1.5), input (2.5 / 3, 0.75).
    EXPECT_EQ(FormatValue4(Values("2.5, 1.5, 0x3f555555, 0.75")), FormatValue4(Word4(vFloats, 80)));
    EXPECT_EQ((std::vector<std::uint8_t>{128, 255, 0, 191}),
              std::vector<std::uint8_t>(vBytes.begin() + 20, vBytes.begin() + 24));
    EXPECT_EQ((std::vector<std::uint8_t>{128, 255, 0, 64}),
              std::vector<std::uint8_t>(vBytes.begin(), vBytes.begin() + 4));
    EXPECT_TRUE(vResults[1].bDiscarded);
    EXPECT_EQ(std::vector<std::uint8_t>(16, 0xAB),
              std::vector<std::uint8_t>(vFloats.begin() + 16, vFloats.begin() + 32));
    EXPECT_EQ(std::vector<std::uint8_t>(4, 0xAB),
              std::vector<std::uint8_t>(vBytes.begin() + 4, vBytes.begin() + 8));
    EXPECT_EQ(std::vector<std::uint8_t>(16, 0xAB), vUnused);
}

// Three vertices: the outputs stay in the results, and reach the stream-out buffers bound to
// their registers, 16 bytes a vertex.
TEST(TpfInterpStageTest, VertexOutputsReachStreamOut)
{
    CTpfInterpreter interpreter;
    ASSERT_NO_FATAL_FAILURE(LoadText(interpreter, XAN_Test::ReadInterpData("vertex.tpf")));
    std::vector<std::uint8_t> vPositions(3 * 16), vScaled(2 * 16);
    TpfBindings bindings;
    bindings.mapStreamOut[0] = &vPositions;
    bindings.mapStreamOut[1] = &vScaled; // one vertex short: the third is dropped
    std::vector<TpfThreadResult> vResults;
    ASSERT_TRUE(interpreter.RunVertex(3, bindings, vResults)) << interpreter.GetError();
    ASSERT_EQ(3u, vResults.size());
    EXPECT_EQ(FormatValue4(Values("2.0, 0.0, 1.0, 1.0")), FormatValue4(Word4(vPositions, 32)));
    EXPECT_EQ(FormatValue4(Values("1.0, 2.0, 3.0, 4.0")), FormatValue4(Word4(vScaled, 16)));
    EXPECT_EQ(FormatValue4(Values("2.0, 4.0, 6.0, 8.0")), FormatValue4(vResults[2].vOutputs[1]));
}

std::string FormatStep(const TpfTraceStep& step)
{
    std::ostringstream text;
    text << step.nInstruction << (step.bPassHead ? " head" : "");
    for (const TpfLoopPass& loop : step.vLoops)
    {
        text << " " << loop.nStart << "-" << loop.nEnd << ":" << loop.nPass;
    }
    for (const TpfWrittenRegister& written : step.vWritten)
    {
        text << " r" << written.nIndex << ".";
        for (unsigned int c = 0; c < 4; ++c)
        {
            if ((written.nMask & (1u << c)) != 0)
            {
                text << "xyzw"[c];
            }
        }
        text << "=" << FormatValue4(written.value);
    }
    return text.str();
}

class TpfInterpTraceTest : public ::testing::TestWithParam<TpfInterpCase>
{
};

// The trace of the last thread, step by step.
TEST_P(TpfInterpTraceTest, RecordsStepsLoopPassesAndWrites)
{
    CTpfInterpreter interpreter;
    ASSERT_NO_FATAL_FAILURE(LoadText(interpreter, Joined(GetParam().vLines)));
    interpreter.SetTrace(true);
    TpfBindings bindings;
    std::vector<TpfThreadResult> vResults;
    ASSERT_TRUE(interpreter.RunCompute(1, 1, 1, bindings, vResults)) << interpreter.GetError();
    std::vector<std::string> vSteps;
    for (const TpfTraceStep& step : vResults.back().vTrace)
    {
        vSteps.push_back(FormatStep(step));
    }
    EXPECT_EQ(GetParam().vExpected, vSteps);
}

INSTANTIATE_TEST_SUITE_P(Cases, TpfInterpTraceTest,
                         ::testing::ValuesIn(XAN_Test::ReadInterpCases("trace.txt")));

// bounded.tpf run bounded at the target.
void RunBounded(const TpfBoundedTarget& target, std::vector<TpfThreadResult>& vResults)
{
    CTpfInterpreter interpreter;
    ASSERT_NO_FATAL_FAILURE(LoadText(interpreter, XAN_Test::ReadInterpData("bounded.tpf")));
    interpreter.SetBounded(&target);
    TpfBindings bindings;
    ASSERT_TRUE(interpreter.RunCompute(1, 1, 1, bindings, vResults)) << interpreter.GetError();
}

class TpfInterpBoundedTest : public ::testing::TestWithParam<TpfInterpCase>
{
};

// Per thread, the flag and the last capture of the target, loops cut after the given passes.
TEST_P(TpfInterpBoundedTest, GivesFlagAndLastCapture)
{
    std::istringstream name(GetParam().strName);
    std::string strWord;
    TpfBoundedTarget target;
    name >> strWord >> target.nInstruction >> strWord;
    for (std::uint32_t nPass = 0; name >> nPass;)
    {
        target.vPasses.push_back(nPass);
    }
    std::vector<TpfThreadResult> vResults;
    ASSERT_NO_FATAL_FAILURE(RunBounded(target, vResults));
    std::vector<std::string> vThreads;
    for (const TpfThreadResult& result : vResults)
    {
        std::string strThread = result.bounded.bFlag ? "1" : "0";
        if (result.bounded.abCaptured[0])
        {
            const std::uint32_t* pValue = result.bounded.aCapture[0].v;
            strThread += " " + std::to_string(pValue[0]) + "," + std::to_string(pValue[1]) + "," +
                         std::to_string(pValue[2]) + "," + std::to_string(pValue[3]);
        }
        vThreads.push_back(strThread);
    }
    EXPECT_EQ(GetParam().vExpected, vThreads);
}

INSTANTIATE_TEST_SUITE_P(Cases, TpfInterpBoundedTest,
                         ::testing::ValuesIn(XAN_Test::ReadInterpCases("bounded.txt")));

// Per thread, what a patched program stored (its capture at nCapture + 16 n, its flag at nFlag +
// nFlagStride n) is what the bounded run of the original reports.
void ExpectPatchedAgrees(const std::vector<TpfThreadResult>& vBounded,
                         const std::vector<std::uint8_t>& vCaptures,
                         const std::vector<std::uint8_t>& vFlags, size_t nFlagOffset,
                         size_t nFlagStride)
{
    for (size_t n = 0; n < vBounded.size(); ++n)
    {
        const TpfBoundedResult& bounded = vBounded[n].bounded;
        EXPECT_EQ(FormatValue4(bounded.abCaptured[0] ? bounded.aCapture[0] : TpfValue4()),
                  FormatValue4(Word4(vCaptures, n * 16)))
            << "thread " << n;
        EXPECT_EQ(bounded.bFlag, Word4(vFlags, nFlagOffset + n * nFlagStride).v[0] != 0)
            << "thread " << n;
    }
}

// A compute program patched the way the debug library patches, run freely, agrees with the
// bounded run of the original on what loop heads, continue and break do to the flag.
TEST(TpfInterpBoundedTest, AgreesWithAPatchedComputeProgram)
{
    TpfBoundedTarget target;
    target.nInstruction = 10;
    target.vPasses = {2, 1};
    std::vector<TpfThreadResult> vBounded;
    ASSERT_NO_FATAL_FAILURE(RunBounded(target, vBounded));
    CTpfInterpreter patched;
    ASSERT_NO_FATAL_FAILURE(LoadText(patched, XAN_Test::ReadInterpData("bounded_patched.tpf")));
    TpfBindings bindings;
    std::vector<std::uint8_t> vStore(128);
    bindings.mapRawUAVs[0] = &vStore;
    std::vector<TpfThreadResult> vPatched;
    ASSERT_TRUE(patched.RunCompute(1, 1, 1, bindings, vPatched)) << patched.GetError();
    ASSERT_EQ(4u, vBounded.size());
    ExpectPatchedAgrees(vBounded, vStore, vStore, 64, 4);
}

// The same for a pixel shader with its target in an else, through two render targets.
TEST(TpfInterpBoundedTest, AgreesWithAPatchedPixelShader)
{
    TpfBoundedTarget target;
    target.nInstruction = 4;
    CTpfInterpreter original;
    ASSERT_NO_FATAL_FAILURE(LoadText(original, XAN_Test::ReadInterpData("pixel_else.tpf")));
    original.SetBounded(&target);
    TpfBindings bindings;
    std::vector<TpfThreadResult> vBounded;
    ASSERT_TRUE(original.RunPixel(4, 2, bindings, vBounded)) << original.GetError();
    CTpfInterpreter patched;
    ASSERT_NO_FATAL_FAILURE(LoadText(patched, XAN_Test::ReadInterpData("pixel_else_patched.tpf")));
    std::vector<std::uint8_t> vResults(8 * 16), vFlags(8 * 16);
    bindings.mapRenderTargets[0] = {TPF_TARGET_RGBA32, &vResults};
    bindings.mapRenderTargets[1] = {TPF_TARGET_RGBA32, &vFlags};
    std::vector<TpfThreadResult> vPatched;
    ASSERT_TRUE(patched.RunPixel(4, 2, bindings, vPatched)) << patched.GetError();
    ASSERT_EQ(8u, vBounded.size());
    EXPECT_FALSE(vBounded[1].bounded.bFlag);
    EXPECT_TRUE(vBounded[2].bounded.bFlag);
    ExpectPatchedAgrees(vBounded, vResults, vFlags, 0, 16);
}

// A vertex shader's bounded run lets the loop end by its own condition and runs on to the
// position write; the stopping run ends behind the loop's first pass instead.
TEST(TpfInterpBoundedVertexTest, RunsOnToThePosition)
{
    CTpfInterpreter interpreter;
    ASSERT_NO_FATAL_FAILURE(LoadText(interpreter, XAN_Test::ReadInterpData("bounded_vertex.tpf")));
    TpfBoundedTarget target;
    target.nInstruction = 4;
    target.vPasses = {0};
    TpfBindings bindings;
    std::vector<TpfThreadResult> vResults;
    const struct
    {
        bool bStop;
        bool bFlag;
        std::uint32_t nCapture;
        const char* pPosition;
    } aRows[] = {{false, false, 3, "1.0, 0.0, 0.5, 1.0"}, {true, true, 1, "0, 0, 0, 0"}};
    for (const auto& row : aRows)
    {
        target.bStopAfterTarget = row.bStop;
        interpreter.SetBounded(&target);
        ASSERT_TRUE(interpreter.RunVertex(2, bindings, vResults)) << interpreter.GetError();
        EXPECT_EQ(row.bFlag, vResults[1].bounded.bFlag) << row.bStop;
        EXPECT_EQ(row.nCapture, vResults[1].bounded.aCapture[0].v[0]) << row.bStop;
        EXPECT_EQ(FormatValue4(Values(row.pPosition)), FormatValue4(vResults[1].vOutputs[0]))
            << row.bStop;
    }
}

// Faults of a run, not of the program: an endless loop, another stage, a target past the end.
TEST(TpfInterpRunTest, RefusesRunsItCannotFinish)
{
    CTpfInterpreter interpreter;
    ASSERT_NO_FATAL_FAILURE(LoadText(interpreter, "cs_5_0\ndcl_thread_group 2, 1, 1\nloop\n"
                                                  "endloop\nret\n"));
    interpreter.SetStepLimit(1000);
    TpfBindings bindings;
    std::vector<TpfThreadResult> vResults;
    EXPECT_FALSE(interpreter.RunCompute(1, 1, 1, bindings, vResults));
    EXPECT_EQ("thread 0, instruction 1 'endloop': the thread ran past 1000 instructions",
              interpreter.GetError());
    EXPECT_FALSE(interpreter.RunPixel(1, 1, bindings, vResults));
    EXPECT_EQ("the program is of another stage", interpreter.GetError());
    TpfBoundedTarget target;
    target.nInstruction = 3;
    interpreter.SetBounded(&target);
    EXPECT_FALSE(interpreter.RunCompute(1, 1, 1, bindings, vResults));
    EXPECT_EQ("the bounded target 3 is past the program", interpreter.GetError());
    EXPECT_FALSE(interpreter.RunCompute(0xFFFFFFFFu, 0xFFFFFFFFu, 1, bindings, vResults));
}

class TpfInterpCorpusTest : public ::testing::TestWithParam<XAN_Test::TpfCorpusProgram>
{
};

// Every corpus program either runs on its stage or is refused with the instruction named,
// as the table beside the tests says.
TEST_P(TpfInterpCorpusTest, RunsOrIsRefusedByName)
{
    const XAN_Test::TpfCorpusProgram& program = GetParam();
    std::string strExpected = "(not in corpus.txt)";
    std::istringstream table(XAN_Test::ReadInterpData("corpus.txt"));
    for (std::string strLine; std::getline(table, strLine);)
    {
        if (strLine.compare(0, program.strName.size() + 4, program.strName + " => ") == 0)
        {
            strExpected = strLine.substr(program.strName.size() + 4);
        }
    }
    ASSERT_FALSE(program.vTokens.empty()) << program.strError;
    CTpfInterpreter interpreter;
    if (!interpreter.Load(program.vTokens.data(), program.vTokens.size()))
    {
        EXPECT_EQ(strExpected, interpreter.GetError());
        return;
    }
    EXPECT_EQ(strExpected, "runs");
    interpreter.SetTrace(true);
    std::vector<std::uint8_t> vView(256);
    TpfBindings bindings;
    bindings.mapRawUAVs[0] = &vView;
    bindings.mapConstantBuffers[0].assign(64, 0x3F800000u);
    std::vector<TpfThreadResult> vResults;
    const std::uint32_t nType = interpreter.GetProgram().GetProgramType();
    const bool bRan = nType == 5   ? interpreter.RunCompute(2, 1, 1, bindings, vResults)
                      : nType == 1 ? interpreter.RunVertex(3, bindings, vResults)
                                   : interpreter.RunPixel(2, 2, bindings, vResults);
    ASSERT_TRUE(bRan) << interpreter.GetError();
    ASSERT_FALSE(vResults.empty());
    EXPECT_FALSE(vResults[0].vTrace.empty());
}

INSTANTIATE_TEST_SUITE_P(Corpus, TpfInterpCorpusTest,
                         ::testing::ValuesIn(XAN_Test::LoadTpfCorpus()),
                         [](const ::testing::TestParamInfo<XAN_Test::TpfCorpusProgram>& info)
                         { return XAN_Test::TpfCorpusTestName(info.param); });
} // namespace
