// The debug data parse and the table by source line on mutated chunks of the scenarios, and on
// bare chunk data. An input is a mode byte and then patches of the scenario's chunk words, each
// a 16-bit word index and a value, so that most inputs keep their tables and reach the
// instrumentation. Whatever the input, the memory held at once stays within a bound set by
// the chunk's size: a huge count or line number must be refused, not allocated.

#include "CSDBGWriter.h"
#include "FuzzSupport.h"
#include "ShaderDebuggerDXX/ShaderDebuggerDXX_HLSLInstrumentation.h"
#include "ShaderUtils/DX10/D3D10ShaderObject.h"
#include "support/AnalysisDoubles.h"

#include <sanitizer/allocator_interface.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

using namespace XAN_ShaderDebugger;

namespace
{
// Live bytes allocated while one input runs, and their peak.
bool g_bCounting = false;
size_t g_nLive = 0;
size_t g_nPeak = 0;

void OnMalloc(const volatile void*, size_t nSize)
{
    if (g_bCounting)
    {
        g_nLive += nSize;
        g_nPeak = std::max(g_nPeak, g_nLive);
    }
}

void OnFree(const volatile void* pMemory)
{
    if (g_bCounting && pMemory != nullptr)
    {
        const size_t nSize = __sanitizer_get_allocated_size(const_cast<const void*>(pMemory));
        g_nLive -= std::min(g_nLive, nSize);
    }
}

// A name costs up to its length limit for each small record that holds one (a 20-byte token,
// each entry of a 396-byte instruction, and their copies in a query's list), and a table
// without source may reach 65,535 lines.
size_t AllocationBound(size_t nChunkSize)
{
    return 256 * nChunkSize + (2u << 20);
}

std::vector<std::vector<uint8_t>>& Seeds()
{
    static std::vector<std::vector<uint8_t>> s_vSeeds;
    return s_vSeeds;
}

void Exercise(const CShaderDebuggerDXX_HLSLInstrumentation& hlsl, size_t nInstructions)
{
    VariableRegisterList list;
    std::list<ProgramCounter> positions;
    hlsl.GetInputVariables(list);
    std::string strName;
    hlsl.FindVariableName(strName, Register(RegisterID(RT_Input, 0, 0, NULL), COMP_x));
    // The lines with entries, a few of them: each walk goes back over the whole table.
    uint32_t nLine = 0;
    for (int nVisited = 0; nVisited < 32 && hlsl.GetNextLine(nLine, nLine); ++nVisited)
    {
        ProgramCounter line(nLine);
        hlsl.GetExecuteList(positions, line);
        line.m_vLoopStack.push_back(LoopState{0, 0, 1});
        hlsl.GetExecuteList(positions, line);
        ProgramCounter last;
        hlsl.GetLastPC(last, line);
        uint32_t nPrevious = 0;
        hlsl.GetPreviousLine(nPrevious, nLine);
        hlsl.GetLiveVariables(list, nLine);
        for (const CVariableRegisterMapping& mapping : list)
        {
            hlsl.GetWrittenMask(mapping, nLine);
        }
    }
    for (uint32_t n = 0; n < nInstructions && n < 64; ++n)
    {
        uint32_t nOut = 0;
        hlsl.FindLine(nOut, ProgramCounter(n));
        hlsl.GetFlowLine(n, nOut);
    }
}

void Run(const std::vector<uint8_t>& vData)
{
    std::vector<uint8_t> vChunk(8 + vData.size());
    std::memcpy(vChunk.data(), "SDBG", 4);
    const uint32_t nDataSize = static_cast<uint32_t>(vData.size());
    std::memcpy(vChunk.data() + 4, &nDataSize, 4);
    std::copy(vData.begin(), vData.end(), vChunk.begin() + 8);

    XAN_Test::CAnalysisHost host("sdbg", 0);
    D3D10ShaderObject::CShaderObject shader;
    XAN_Test::Require(shader.SetChunk(D3D10ShaderObject::CK_SDBG, vChunk.data()));
    D3D10ShaderObject::SignatureEntry input = {};
    input.nMask = 0xF;
    shader.AddInputSignature("TEXCOORD", input);
    CShaderDebuggerDXX_HLSLInstrumentation hlsl(host.m_pDebugger);
    if (!hlsl.Init(&shader))
    {
        XAN_Test::Require(!hlsl.GetLastError().empty());
    }
    Exercise(hlsl, shader.GetDebugData().GetDebugInstructions().size());
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    for (const auto& entry : std::filesystem::directory_iterator(XAN_SDBG_CORPUS_DIR))
    {
        std::ifstream file(entry.path());
        std::stringstream text;
        text << file.rdbuf();
        XAN_Platform::CSDBGScenario scenario;
        if (entry.path().extension() == ".sdbg" && scenario.Parse(text.str()))
        {
            const std::vector<uint8_t> vChunk = XAN_Platform::CSDBGWriter::Write(scenario);
            Seeds().emplace_back(vChunk.begin() + 8, vChunk.end());
        }
    }
    XAN_Test::Require(__sanitizer_install_malloc_and_free_hooks(OnMalloc, OnFree) != 0);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    if (nSize == 0 || Seeds().empty())
    {
        return 0;
    }
    std::vector<uint8_t> vData;
    if (pData[0] & 1)
    {
        vData.assign(pData + 1, pData + nSize);
    }
    else
    {
        vData = Seeds()[(pData[0] >> 1) % Seeds().size()];
        const size_t nWords = vData.size() / 4;
        for (size_t nPatch = 1; nPatch + 6 <= nSize; nPatch += 6)
        {
            uint16_t nWord = 0;
            std::memcpy(&nWord, pData + nPatch, 2);
            std::memcpy(vData.data() + (nWord % nWords) * 4, pData + nPatch + 2, 4);
        }
    }
    g_nLive = g_nPeak = 0;
    g_bCounting = true;
    Run(vData);
    g_bCounting = false;
    XAN_Test::Require(g_nPeak <= AllocationBound(vData.size()));
    return 0;
}
