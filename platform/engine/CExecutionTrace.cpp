#include "CExecutionTrace.h"

#include "CILProgram.h"

#include "ShaderUtils/IL/ILOpCodes.h"

using namespace ShaderUtils;

namespace XAN_Platform
{
CExecutionTrace::CExecutionTrace(size_t nMaxRecords) : m_nMaxRecords(nMaxRecords) {}

void CExecutionTrace::TraceAll()
{
    m_bAll = true;
    m_Selected.clear();
}

void CExecutionTrace::TraceOnly(const std::set<uint32_t>& instructions)
{
    m_bAll = false;
    m_Selected = instructions;
}

std::vector<STraceLoop> CExecutionTrace::GetLoopStack(const STraceRecord& record) const
{
    return std::vector<STraceLoop>(m_vLoops.begin() + record.nLoopFirst,
                                   m_vLoops.begin() + record.nLoopFirst + record.nLoopDepth);
}

uint32_t CExecutionTrace::GetLine(uint32_t nInstruction) const
{
    auto it = m_LineOfInstruction.find(nInstruction);
    return it != m_LineOfInstruction.end() ? it->second : NO_LINE;
}

uint32_t CExecutionTrace::GetInstruction(uint32_t nLine) const
{
    auto it = m_InstructionOfLine.find(nLine);
    return it != m_InstructionOfLine.end() ? it->second : NO_INSTRUCTION;
}

void CExecutionTrace::Begin(const CILProgram& program, const uint32_t vLocalSize[3],
                            const uint64_t vGroupCount[3], const uint64_t vGlobalOffset[3])
{
    Number(program);
    m_vTraced.assign(m_vNumbers.size(), 0);
    for (size_t i = 0; i < m_vNumbers.size(); ++i)
    {
        m_vTraced[i] = m_bAll || m_Selected.count(m_vNumbers[i]) != 0;
    }
    for (unsigned int d = 0; d < 3; ++d)
    {
        m_vLocalSize[d] = vLocalSize[d];
        m_vGlobalSize[d] = vGroupCount[d] * vLocalSize[d];
        m_vGlobalOffset[d] = vGlobalOffset[d];
    }
    m_vRecords.clear();
    m_vLoops.clear();
    m_bOverflowed = false;
}

// The engine runs what the debugger doesn't number (leading macros, macros behind
// endmain, mend) and doesn't keep func, which the debugger numbers: a func stands
// before the first instruction behind endmain or endfunc that isn't end or in a
// macro.
void CExecutionTrace::Number(const CILProgram& program)
{
    const std::vector<SInstruction>& vInstructions = program.GetInstructions();
    std::vector<uint32_t> vMacroLabel(vInstructions.size(), 0);
    std::vector<uint8_t> vInMacro(vInstructions.size(), 0);
    for (const SMacro& macro : program.GetMacros())
    {
        for (size_t i = macro.nEntry; i < vInstructions.size(); ++i)
        {
            vInMacro[i] = 1;
            vMacroLabel[i] = macro.nLabel;
            if (vInstructions[i].nOpcode == IL_OP_MEND)
            {
                break;
            }
        }
    }
    m_vNumbers.assign(vInstructions.size(), NO_INSTRUCTION);
    m_vLines.assign(vInstructions.size(), NO_LINE);
    m_LineOfInstruction.clear();
    m_InstructionOfLine.clear();
    uint32_t nNext = 0;
    bool bFunctionNext = false;
    for (size_t i = 0; i < vInstructions.size(); ++i)
    {
        const uint16_t nOpCode = vInstructions[i].nOpcode;
        m_vLines[i] = vInstructions[i].nLine - 1;
        if (vInMacro[i] != 0)
        {
            const bool bOutline = m_nOutlineMacro != 0 && vMacroLabel[i] == m_nOutlineMacro &&
                                  i >= program.GetEntry();
            if (!bOutline || nOpCode == IL_OP_MEND)
            {
                continue;
            }
        }
        else if (bFunctionNext && nOpCode != IL_OP_END)
        {
            ++nNext;
            bFunctionNext = false;
        }
        m_vNumbers[i] = nNext++;
        m_LineOfInstruction[m_vNumbers[i]] = m_vLines[i];
        m_InstructionOfLine[m_vLines[i]] = m_vNumbers[i];
        if (nOpCode == IL_OP_ENDMAIN || nOpCode == IL_OP_ENDFUNC)
        {
            bFunctionNext = true;
        }
    }
}

void CExecutionTrace::Record(uint32_t nIndex, const std::vector<STraceLoop>& vLoops,
                             const uint64_t vGroupId[3], size_t nLanes, const uint32_t* pBefore,
                             const uint32_t* pAfter, const uint32_t* const* ppValues)
{
    const uint32_t nLoopFirst = uint32_t(m_vLoops.size());
    bool bLoopsStored = false;
    const uint32_t nSizeX = m_vLocalSize[0];
    const uint32_t nSizeXY = m_vLocalSize[0] * m_vLocalSize[1];
    for (size_t l = 0; l < nLanes; ++l)
    {
        const uint32_t nFlags = (pBefore[l] != 0 ? TF_Executed : 0u) |
                                (pAfter[l] != 0 ? TF_ActiveAfter : 0u) |
                                (ppValues != nullptr ? TF_HasValue : 0u);
        if ((nFlags & (TF_Executed | TF_ActiveAfter)) == 0)
        {
            continue;
        }
        if (m_vRecords.size() >= m_nMaxRecords)
        {
            m_bOverflowed = true;
            return;
        }
        // The loops are stored once for all the work-items of this execution.
        if (!bLoopsStored)
        {
            for (const STraceLoop& loop : vLoops)
            {
                m_vLoops.push_back({m_vNumbers[loop.nStart], loop.nIteration});
            }
            bLoopsStored = true;
        }
        STraceRecord record;
        record.nInstruction = m_vNumbers[nIndex];
        record.nLine = m_vLines[nIndex];
        record.nFlags = nFlags;
        const uint32_t nLane = uint32_t(l);
        const uint32_t vLocal[3] = {nLane % nSizeX, (nLane / nSizeX) % m_vLocalSize[1],
                                    nLane / nSizeXY};
        uint64_t vId[3];
        for (unsigned int d = 0; d < 3; ++d)
        {
            vId[d] = vGroupId[d] * m_vLocalSize[d] + vLocal[d];
            record.vLocalId[d] = vLocal[d];
            record.vGroupId[d] = uint32_t(vGroupId[d]);
            record.vGlobalId[d] = uint32_t(vId[d] + m_vGlobalOffset[d]);
        }
        record.nFlatIndex =
            uint32_t((vId[2] * m_vGlobalSize[1] + vId[1]) * m_vGlobalSize[0] + vId[0]);
        for (unsigned int c = 0; c < 4; ++c)
        {
            record.vValue[c] = ppValues != nullptr ? ppValues[c][l] : 0;
        }
        record.nLoopFirst = nLoopFirst;
        record.nLoopDepth = uint32_t(vLoops.size());
        m_vRecords.push_back(record);
    }
}
} // namespace XAN_Platform
