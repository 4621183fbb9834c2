#include "CTpfInterpThread.h"

#include "TpfInterpOps.h"

#include <algorithm>
#include <cstring>

namespace XAN_Platform
{
namespace
{
const std::uint32_t TEST_NONZERO_BIT = 1u << 18;
const std::uint32_t SATURATE_BIT = 1u << 13;
const std::uint32_t EXTENDED_MODIFIER = 1;

std::uint32_t ReadWord(const std::vector<std::uint8_t>& vMemory, std::uint64_t nAddress)
{
    std::uint32_t nWord = 0;
    if (nAddress + 4 <= vMemory.size())
    {
        std::memcpy(&nWord, vMemory.data() + nAddress, 4);
    }
    return nWord;
}

void WriteWord(std::vector<std::uint8_t>& vMemory, std::uint64_t nAddress, std::uint32_t nWord)
{
    if (nAddress + 4 <= vMemory.size())
    {
        std::memcpy(vMemory.data() + nAddress, &nWord, 4);
    }
}

// A read operand's components from the register's four: swizzle, one selected, or a scalar.
TpfValue4 Select(const TpfOperand& operand, const TpfValue4& value)
{
    TpfValue4 result;
    for (unsigned int c = 0; c < 4; ++c)
    {
        unsigned int nFrom = c;
        if (operand.nForm != 2)
        {
            nFrom = 0;
        }
        else if (operand.nMode == 1)
        {
            nFrom = (operand.nSelect >> (2 * c)) & 3;
        }
        else if (operand.nMode == 2)
        {
            nFrom = operand.nSelect & 3;
        }
        result.v[c] = value.v[nFrom];
    }
    return result;
}

std::uint32_t WriteMask(const TpfOperand& operand)
{
    if (operand.nForm == 1)
    {
        return 1;
    }
    return operand.nForm == 2 && operand.nMode == 0 ? operand.nSelect & 0xF : 0;
}

bool Saturates(const TpfInstruction& decoded)
{
    return decoded.pInfo->eControls == TPF_CTL_SAT && (decoded.vTokens[0] & SATURATE_BIT) != 0;
}
} // namespace

CTpfInterpThread::CTpfInterpThread(const CTpfInterpProgram& program, const TpfInterpShared& shared,
                                   TpfThreadResult& result)
    : m_program(program), m_shared(shared), m_result(result), m_vTemps(program.GetTempCount()),
      m_vInputs(TPF_INTERP_REGISTERS)
{
    for (const auto& entry : program.GetIndexableTemps())
    {
        m_mapIndexable[entry.first].resize(entry.second);
    }
    m_result = TpfThreadResult();
    m_result.vOutputs.resize(program.GetOutputCount());
}

void CTpfInterpThread::SetInput(std::uint32_t nRegister, const TpfValue4& value)
{
    if (nRegister < TPF_INTERP_REGISTERS)
    {
        m_vInputs[nRegister] = value;
    }
}

void CTpfInterpThread::SetThreadIDs(const TpfValue4& threadID, const TpfValue4& groupID,
                                    const TpfValue4& inGroupID, std::uint32_t nFlat)
{
    m_aThreadIDs[0] = threadID;
    m_aThreadIDs[1] = groupID;
    m_aThreadIDs[2] = inGroupID;
    m_aThreadIDs[3].v[0] = nFlat;
}

bool CTpfInterpThread::Fail(std::uint32_t nInstruction, const std::string& strMessage)
{
    m_strError = m_program.Describe(nInstruction) + ": " + strMessage;
    return false;
}

bool CTpfInterpThread::Run()
{
    m_bPaused = false;
    while (!m_bDone && !m_bPaused)
    {
        if (!Step())
        {
            return false;
        }
    }
    if (m_bDone)
    {
        m_result.vTemps = m_vTemps;
    }
    return true;
}

bool CTpfInterpThread::Step()
{
    const std::vector<TpfInterpInstruction>& vInstructions = m_program.GetInstructions();
    const std::uint32_t n = m_nPc;
    if (n >= vInstructions.size())
    {
        m_bDone = true; // running off the end returns
        return true;
    }
    if (++m_nSteps > m_shared.nStepLimit)
    {
        return Fail(n,
                    "the thread ran past " + std::to_string(m_shared.nStepLimit) + " instructions");
    }
    m_pWritten = nullptr;
    if (m_shared.bTrace)
    {
        TpfTraceStep step;
        step.nInstruction = n;
        step.vLoops = m_vLoops;
        m_result.vTrace.push_back(step);
        m_pWritten = &m_result.vTrace.back().vWritten;
    }
    std::uint32_t nNext = n + 1;
    if (!Execute(vInstructions[n], nNext))
    {
        return false;
    }
    if (m_shared.pBounded != nullptr)
    {
        Bound(n, nNext);
    }
    m_nPc = nNext;
    return true;
}

void CTpfInterpThread::Bound(std::uint32_t nInstruction, std::uint32_t nNext)
{
    const TpfBoundedTarget& target = *m_shared.pBounded;
    TpfBoundedResult& bounded = m_result.bounded;
    if (nInstruction == target.nInstruction)
    {
        const TpfInstruction& decoded = m_program.GetInstructions()[nInstruction].decoded;
        size_t nDestination = 0;
        for (const TpfItem& item : decoded.vItems)
        {
            if (item.cShape != 'd' || nDestination >= 2)
            {
                continue;
            }
            const std::uint32_t nType = item.operand.nType;
            // Indexable temps and memory aren't captured, as the patched shaders don't.
            if (nType == TPF_OPERAND_TEMP || nType == TPF_OPERAND_OUTPUT ||
                nType == TPF_OPERAND_DEPTH || nType == TPF_OPERAND_SAMPLE_MASK)
            {
                if (const TpfValue4* pRegister = Locate(item.operand))
                {
                    bounded.abCaptured[nDestination] = true;
                    bounded.aCapture[nDestination] = *pRegister;
                }
            }
            ++nDestination;
        }
    }
    if (m_bDone)
    {
        return;
    }
    if (nNext == target.nInstruction + 1)
    {
        bounded.bFlag = true;
    }
    if (target.bStopAfterTarget && nNext >= m_shared.nBoundedEnd)
    {
        m_bDone = true;
    }
}

void CTpfInterpThread::BeginPass(std::uint32_t& nNext, bool bRecord)
{
    TpfLoopPass& loop = m_vLoops.back();
    nNext = loop.nStart + 1;
    if (m_shared.pBounded != nullptr)
    {
        const auto it = m_shared.mapPassLimits.find(loop.nStart);
        if (it != m_shared.mapPassLimits.end())
        {
            if (m_shared.pBounded->bStopAfterTarget && loop.nPass > it->second)
            {
                nNext = loop.nEnd + 1;
                m_vLoops.pop_back();
                return;
            }
            m_result.bounded.bFlag = false;
        }
    }
    if (m_shared.bTrace && bRecord)
    {
        TpfTraceStep step;
        step.nInstruction = loop.nStart;
        step.bPassHead = true;
        step.vLoops = m_vLoops;
        m_result.vTrace.push_back(step);
    }
}

bool CTpfInterpThread::IsTrue(const TpfInstruction& decoded)
{
    const bool bNonZero = ReadSource(decoded.vItems[0].operand, true).v[0] != 0;
    return bNonZero == ((decoded.vTokens[0] & TEST_NONZERO_BIT) != 0);
}

bool CTpfInterpThread::ExecuteFlow(const TpfInterpInstruction& instruction, std::uint32_t& nNext)
{
    const TpfInstruction& decoded = instruction.decoded;
    const std::uint32_t nOpcode = decoded.nOpcode;
    // The conditional forms act as their plain kin when the test holds.
    if ((nOpcode == TPF_OP_BREAKC || nOpcode == TPF_OP_CONTINUEC || nOpcode == TPF_OP_RETC) &&
        !IsTrue(decoded))
    {
        return true;
    }
    const bool bLeavesLoop = nOpcode == TPF_OP_BREAK || nOpcode == TPF_OP_BREAKC ||
                             nOpcode == TPF_OP_CONTINUE || nOpcode == TPF_OP_CONTINUEC ||
                             nOpcode == TPF_OP_ENDLOOP;
    if (bLeavesLoop && (m_vLoops.empty() || m_vLoops.back().nStart != instruction.nStart))
    {
        return Fail(m_nPc, "reached outside its loop");
    }
    switch (nOpcode)
    {
    case TPF_OP_IF:
        if (!IsTrue(decoded))
        {
            nNext = instruction.nElse + 1;
        }
        break;
    case TPF_OP_ELSE:
        nNext = instruction.nEnd + 1;
        break;
    case TPF_OP_LOOP:
        m_vLoops.push_back({m_nPc, instruction.nEnd, 0});
        if (m_shared.bTrace)
        {
            m_result.vTrace.back().vLoops = m_vLoops;
        }
        BeginPass(nNext, false);
        break;
    case TPF_OP_BREAK:
    case TPF_OP_BREAKC:
        nNext = instruction.nEnd + 1;
        m_vLoops.pop_back();
        break;
    case TPF_OP_CONTINUE:
    case TPF_OP_CONTINUEC:
    case TPF_OP_ENDLOOP:
        ++m_vLoops.back().nPass;
        m_pWritten = nullptr; // the trace grows by the loop's head
        BeginPass(nNext, true);
        break;
    case TPF_OP_RET:
    case TPF_OP_RETC:
        m_bDone = true;
        break;
    default:
        break;
    }
    return true;
}

bool CTpfInterpThread::Execute(const TpfInterpInstruction& instruction, std::uint32_t& nNext)
{
    const TpfInstruction& decoded = instruction.decoded;
    const TpfInterpOp& op = *instruction.pOp;
    // The instructions that run have operands only, destinations first.
    const std::vector<TpfItem>& vItems = decoded.vItems;
    size_t nDestinations = 0;
    while (nDestinations < decoded.vItems.size() && decoded.vItems[nDestinations].cShape == 'd')
    {
        ++nDestinations;
    }
    const bool bSaturate = Saturates(decoded);
    switch (op.eKind)
    {
    case TPF_OP_FLOW:
        return ExecuteFlow(instruction, nNext);
    case TPF_OP_NONE:
        m_bPaused = decoded.nOpcode == TPF_OP_SYNC;
        return true;
    case TPF_OP_DISCARD:
        if (IsTrue(decoded))
        {
            m_result.bDiscarded = true;
            m_bDone = true;
        }
        return true;
    case TPF_OP_LOAD_RAW:
    case TPF_OP_STORE_RAW:
    case TPF_OP_ATOMIC:
        return ExecuteMemory(instruction);
    default:
        break;
    }
    // Sources are all read before any destination is written, so that they may overlap.
    TpfValue4 aSources[4];
    const size_t nSources = std::min<size_t>(vItems.size() - nDestinations, 4);
    for (size_t n = 0; n < nSources; ++n)
    {
        aSources[n] = ReadSource(vItems[nDestinations + n].operand, op.bIntegerModifiers);
    }
    TpfValue4 aResults[2];
    if (op.eKind == TPF_OP_DOT)
    {
        const unsigned int nCount = decoded.nOpcode - TPF_OP_DP2 + 2;
        // Summed from the first product on, left to right, so that a -0 product stays -0.
        float fSum = TpfBitsToFloat(aSources[0].v[0]) * TpfBitsToFloat(aSources[1].v[0]);
        for (unsigned int c = 1; c < nCount; ++c)
        {
            fSum += TpfBitsToFloat(aSources[0].v[c]) * TpfBitsToFloat(aSources[1].v[c]);
        }
        for (std::uint32_t& nValue : aResults[0].v)
        {
            nValue = TpfFloatToBits(fSum);
        }
    }
    else
    {
        for (unsigned int c = 0; c < 4; ++c)
        {
            std::uint32_t anLane[4] = {0, 0, 0, 0};
            for (size_t n = 0; n < nSources; ++n)
            {
                anLane[n] = aSources[n].v[c];
            }
            if (op.eKind == TPF_OP_LANE2)
            {
                op.pLane2(anLane, aResults[0].v[c], aResults[1].v[c]);
            }
            else
            {
                aResults[0].v[c] = op.pLane(anLane);
            }
        }
    }
    for (size_t n = 0; n < nDestinations && n < 2; ++n)
    {
        WriteDestination(vItems[n].operand, aResults[n], bSaturate);
    }
    return true;
}

std::vector<std::uint8_t>* CTpfInterpThread::LocateWritable(const TpfOperand& operand)
{
    if (operand.vIndices.empty())
    {
        return nullptr;
    }
    const std::uint32_t nSlot = ReadIndex(operand.vIndices[0]);
    if (operand.nType == TPF_OPERAND_GROUP_SHARED)
    {
        const auto it = m_shared.pGroupShared->find(nSlot);
        return it != m_shared.pGroupShared->end() ? &it->second : nullptr;
    }
    const auto it = m_shared.pBindings->mapRawUAVs.find(nSlot);
    return operand.nType == TPF_OPERAND_UAV && it != m_shared.pBindings->mapRawUAVs.end()
               ? it->second
               : nullptr;
}

const std::vector<std::uint8_t>* CTpfInterpThread::LocateReadable(const TpfOperand& operand)
{
    if (operand.nType != TPF_OPERAND_RESOURCE || operand.vIndices.empty())
    {
        return LocateWritable(operand);
    }
    const auto it = m_shared.pBindings->mapRawResources.find(ReadIndex(operand.vIndices[0]));
    return it != m_shared.pBindings->mapRawResources.end() ? it->second : nullptr;
}

bool CTpfInterpThread::ExecuteMemory(const TpfInterpInstruction& instruction)
{
    const TpfInstruction& decoded = instruction.decoded;
    const TpfOperand& destination = decoded.vItems[0].operand;
    // The resource of a load; the value of a store or an atomic.
    const TpfOperand& third = decoded.vItems[2].operand;
    const std::uint64_t nAddress = ReadSource(decoded.vItems[1].operand, true).v[0];
    switch (instruction.pOp->eKind)
    {
    case TPF_OP_LOAD_RAW:
    {
        const std::vector<std::uint8_t>* pMemory = LocateReadable(third);
        TpfValue4 words;
        for (unsigned int c = 0; c < 4; ++c)
        {
            words.v[c] = pMemory != nullptr ? ReadWord(*pMemory, nAddress + 4 * c) : 0;
        }
        WriteDestination(destination, Select(third, words), false);
        return true;
    }
    case TPF_OP_STORE_RAW:
    {
        const TpfValue4 value = ReadSource(third, true);
        std::vector<std::uint8_t>* pMemory = LocateWritable(destination);
        const std::uint32_t nMask = WriteMask(destination);
        for (unsigned int c = 0; c < 4 && pMemory != nullptr; ++c)
        {
            if ((nMask & (1u << c)) != 0)
            {
                WriteWord(*pMemory, nAddress + 4 * c, value.v[c]);
            }
        }
        return true;
    }
    default:
    {
        std::vector<std::uint8_t>* pMemory = LocateWritable(destination);
        if (pMemory != nullptr)
        {
            const std::uint32_t anLane[2] = {ReadWord(*pMemory, nAddress),
                                             ReadSource(third, true).v[0]};
            WriteWord(*pMemory, nAddress, instruction.pOp->pLane(anLane));
        }
        return true;
    }
    }
}

std::uint32_t CTpfInterpThread::ReadIndex(const TpfIndex& index)
{
    std::uint32_t nValue = static_cast<std::uint32_t>(index.nImmediate);
    if (!index.vRelative.empty())
    {
        nValue += ReadSource(index.vRelative[0], true).v[0];
    }
    return nValue;
}

TpfValue4* CTpfInterpThread::Locate(const TpfOperand& operand)
{
    std::uint32_t anIndex[2] = {0, 0};
    for (size_t n = 0; n < operand.vIndices.size() && n < 2; ++n)
    {
        anIndex[n] = ReadIndex(operand.vIndices[n]);
    }
    switch (operand.nType)
    {
    case TPF_OPERAND_TEMP:
        return anIndex[0] < m_vTemps.size() ? &m_vTemps[anIndex[0]] : nullptr;
    case TPF_OPERAND_INPUT:
        return anIndex[0] < m_vInputs.size() ? &m_vInputs[anIndex[0]] : nullptr;
    case TPF_OPERAND_OUTPUT:
        return anIndex[0] < m_result.vOutputs.size() ? &m_result.vOutputs[anIndex[0]] : nullptr;
    case TPF_OPERAND_INDEXABLE:
    {
        const auto it = m_mapIndexable.find(anIndex[0]);
        return it != m_mapIndexable.end() && anIndex[1] < it->second.size()
                   ? &it->second[anIndex[1]]
                   : nullptr;
    }
    case TPF_OPERAND_DEPTH:
        return &m_depth;
    case TPF_OPERAND_SAMPLE_MASK:
        return &m_sampleMask;
    default:
        if (operand.nType >= TPF_OPERAND_THREAD_ID && operand.nType < TPF_OPERAND_THREAD_ID + 5)
        {
            // vThreadID 32, vThreadGroupID 33, vThreadIDInGroup 34, flattened 36.
            const std::uint32_t nWhich = operand.nType - TPF_OPERAND_THREAD_ID;
            return &m_aThreadIDs[nWhich == 4 ? 3 : nWhich];
        }
        return nullptr;
    }
}

TpfValue4 CTpfInterpThread::ReadSource(const TpfOperand& operand, bool bIntegerModifiers)
{
    TpfValue4 value;
    if (operand.nType == TPF_OPERAND_IMMEDIATE)
    {
        for (unsigned int c = 0; c < 4; ++c)
        {
            value.v[c] = static_cast<std::uint32_t>(
                operand.vImmediates.empty()
                    ? 0
                    : operand.vImmediates[operand.vImmediates.size() == 4 ? c : 0]);
        }
        return value;
    }
    if (operand.nType == TPF_OPERAND_CONSTANT_BUFFER ||
        operand.nType == TPF_OPERAND_IMMEDIATE_BUFFER)
    {
        const std::vector<std::uint32_t>* pWords = &m_program.GetImmediateConstants();
        std::uint32_t nRow = operand.vIndices.empty() ? 0 : ReadIndex(operand.vIndices[0]);
        if (operand.nType == TPF_OPERAND_CONSTANT_BUFFER)
        {
            const auto& mapBuffers = m_shared.pBindings->mapConstantBuffers;
            const auto it = mapBuffers.find(nRow);
            pWords = it != mapBuffers.end() ? &it->second : nullptr;
            nRow = operand.vIndices.size() > 1 ? ReadIndex(operand.vIndices[1]) : 0;
        }
        for (unsigned int c = 0; c < 4 && pWords != nullptr; ++c)
        {
            const std::uint64_t nPlace = std::uint64_t(nRow) * 4 + c;
            value.v[c] = nPlace < pWords->size() ? (*pWords)[nPlace] : 0;
        }
    }
    else if (const TpfValue4* pRegister = Locate(operand))
    {
        value = *pRegister;
    }
    value = Select(operand, value);
    if (!operand.bExtended || (operand.nExtendedToken & 0x3F) != EXTENDED_MODIFIER)
    {
        return value;
    }
    const std::uint32_t nModifier = (operand.nExtendedToken >> 6) & 0xFF;
    for (std::uint32_t& nValue : value.v)
    {
        if ((nModifier & 2) != 0)
        {
            nValue = bIntegerModifiers
                         ? (static_cast<std::int32_t>(nValue) < 0 ? 0u - nValue : nValue)
                         : nValue & 0x7FFFFFFFu;
        }
        if ((nModifier & 1) != 0)
        {
            nValue = bIntegerModifiers ? 0u - nValue : nValue ^ 0x80000000u;
        }
    }
    return value;
}

void CTpfInterpThread::WriteDestination(const TpfOperand& operand, const TpfValue4& value,
                                        bool bSaturate)
{
    TpfValue4* pRegister = Locate(operand);
    const std::uint32_t nMask = WriteMask(operand);
    if (pRegister == nullptr || nMask == 0)
    {
        return;
    }
    for (unsigned int c = 0; c < 4; ++c)
    {
        if ((nMask & (1u << c)) != 0)
        {
            pRegister->v[c] =
                bSaturate ? TpfFloatToBits(TpfSaturate(TpfBitsToFloat(value.v[c]))) : value.v[c];
        }
    }
    if (operand.nType == TPF_OPERAND_DEPTH)
    {
        m_result.nDepth = m_depth.v[0];
    }
    if (operand.nType == TPF_OPERAND_SAMPLE_MASK)
    {
        m_result.nSampleMask = m_sampleMask.v[0];
    }
    if (m_pWritten != nullptr)
    {
        TpfWrittenRegister written;
        written.nType = operand.nType;
        written.nIndex = operand.vIndices.empty() ? 0 : ReadIndex(operand.vIndices[0]);
        written.nElement = operand.vIndices.size() > 1 ? ReadIndex(operand.vIndices[1]) : 0;
        written.nMask = nMask;
        written.value = *pRegister;
        m_pWritten->push_back(written);
    }
}
} // namespace XAN_Platform
