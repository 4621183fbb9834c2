// Assembler and disassembler throughput in lines per second on a generated
// 100,000-line kernel, each also as a ratio to a baseline that only scans
// the same text for its line breaks.

#include "CILAssembler.h"
#include "CILDisassembler.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <unistd.h>

using namespace XAN_Platform;

namespace
{
const unsigned int KERNEL_LINES = 100000;

// Lines as a compiler prints a compute kernel; %u takes a register number.
const char* const g_pLineForms[] = {
    "mov r%u, l0",
    "iadd r%u.x, r1.xxxx, cb1[2].xxxx",
    "imad r%u, vThreadGrpId0, cb0[1], vTidInGrp0",
    "ishl r%u.x, r0.xxxx, l1.xxxx",
    "uav_raw_load_id(11) r%u.x, r2.xxxx",
    "uav_raw_store_id(11) mem0.x, r%u.xxxx, r3.xxxx",
    "mul r%u.xy, -r4.xyxy, r5.wzyx_abs",
    "mov r%u, x1[r0.x + 3]",
    "if_logicalnz r%u.xxxx",
    "endif",
    "dcl_literal l%u, 0x00000000, 0x3F800000, 0x00000010, 0xFFFFFFFF",
    ";line %u of the generated kernel",
    "fma r%u, r6, r7.x0y1, r8",
    "ult r%u.x, r9.xxxx, cb0[0].xxxx",
};

const std::string& KernelText()
{
    static const std::string s_strText = []
    {
        std::string strText = "il_cs_2_0\ndcl_cb cb0[16]\ndcl_cb cb1[4]\n";
        const unsigned int nForms = sizeof(g_pLineForms) / sizeof(g_pLineForms[0]);
        char buffer[128];
        for (unsigned int i = 4; i < KERNEL_LINES; ++i)
        {
            std::snprintf(buffer, sizeof(buffer), g_pLineForms[i % nForms], i % 1000);
            strText += buffer;
            strText += '\n';
        }
        return strText + "end\n";
    }();
    return s_strText;
}

const std::vector<unsigned int>& KernelTokens()
{
    static const std::vector<unsigned int> s_vTokens = []
    {
        CILAssembler assembler;
        std::vector<unsigned int> vTokens;
        if (!assembler.Assemble(KernelText(), vTokens))
        {
            std::fprintf(stderr, "%s\n", assembler.GetError().ToString().c_str());
        }
        return vTokens;
    }();
    return s_vTokens;
}

void BM_Baseline(benchmark::State& state)
{
    const std::string& strText = KernelText();
    const char* pEnd = strText.data() + strText.size();
    for (auto _ : state)
    {
        std::size_t nLines = 0;
        for (const char* p = strText.data();
             (p = static_cast<const char*>(std::memchr(p, '\n', pEnd - p))) != nullptr; ++p)
        {
            ++nLines;
        }
        benchmark::DoNotOptimize(nLines);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * KERNEL_LINES);
}

void BM_Assemble(benchmark::State& state)
{
    const std::string& strText = KernelText();
    CILAssembler assembler;
    std::vector<unsigned int> vTokens;
    for (auto _ : state)
    {
        if (!assembler.Assemble(strText, vTokens))
        {
            state.SkipWithError(assembler.GetError().ToString().c_str());
            break;
        }
        benchmark::DoNotOptimize(vTokens.data());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * KERNEL_LINES);
}

void BM_Disassemble(benchmark::State& state)
{
    const std::vector<unsigned int>& vTokens = KernelTokens();
    CILDisassembler disassembler;
    std::string strText;
    for (auto _ : state)
    {
        if (!disassembler.Disassemble(vTokens.data(), vTokens.size(), strText))
        {
            state.SkipWithError(disassembler.GetError().ToString().c_str());
            break;
        }
        benchmark::DoNotOptimize(strText.data());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * KERNEL_LINES);
}

BENCHMARK(BM_Baseline)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Assemble)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Disassemble)->Unit(benchmark::kMillisecond);

// Prints lines per second of each benchmark and its ratio to the baseline.
// Colours only on a terminal: a pipe or a file gets plain text.
class CRatioReporter : public benchmark::ConsoleReporter
{
public:
    CRatioReporter() : ConsoleReporter(isatty(STDOUT_FILENO) ? OO_ColorTabular : OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
        {
            const auto it = run.counters.find("items_per_second");
            if (it != run.counters.end() && !run.error_occurred)
            {
                m_rates[run.run_name.function_name] = it->second.value;
            }
        }
    }

    void PrintRatios() const
    {
        const auto baseline = m_rates.find("BM_Baseline");
        for (const auto& rate : m_rates)
        {
            std::printf("%-16s %14.0f lines/s", rate.first.c_str(), rate.second);
            if (baseline != m_rates.end() && rate.second > 0)
            {
                std::printf("   %8.1fx the baseline's time per line",
                            baseline->second / rate.second);
            }
            std::printf("\n");
        }
    }

private:
    std::map<std::string, double> m_rates;
};
} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
    {
        return 1;
    }
    CRatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintRatios();
    benchmark::Shutdown();
    return 0;
}
