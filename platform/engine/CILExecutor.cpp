#include "CILExecutor.h"

#include "ShaderUtils/IL/ILOpCodes.h"

#include <algorithm>
#include <cstring>

using namespace ShaderUtils;

namespace XAN_Platform
{
namespace
{
const uint32_t FLOAT_ONE = 0x3F800000u;
const uint32_t ALL_ONES = 0xFFFFFFFFu;

float AsFloat(uint32_t nBits)
{
    float f;
    std::memcpy(&f, &nBits, sizeof(f));
    return f;
}
} // namespace

CILExecutor::CILExecutor(SLaunchState& state)
    : m_State(state), m_Program(*state.pProgram), m_Instructions(m_Program.GetInstructions()),
      m_Operands(m_Program.GetOperands()), m_nLanes(state.nLanes),
      m_nStride((state.nLanes + 15) / 16 * 16), m_nActive(0), m_nPc(0),
      m_nGroup(0), m_nGroupId{0, 0, 0}, m_LastRange{0, 0, nullptr}, m_nPendingInstructions(0),
      m_nOutOfBoundsLoads(0), m_nOutOfBoundsStores(0)
{
    m_vRegisters.assign(size_t(m_Program.GetColumnCount()) * m_nStride, 0);
    std::fill_n(Column(CILProgram::COL_ONE), m_nStride, FLOAT_ONE);
    const uint32_t nSizeX = state.vLocalSize[0];
    const uint32_t nSizeXY = state.vLocalSize[0] * state.vLocalSize[1];
    for (size_t l = 0; l < m_nLanes; ++l)
    {
        const uint32_t nLane = uint32_t(l);
        Column(CILProgram::COL_TID_IN_GRP)[l] = nLane % nSizeX;
        Column(CILProgram::COL_TID_IN_GRP + 1)[l] = (nLane / nSizeX) % state.vLocalSize[1];
        Column(CILProgram::COL_TID_IN_GRP + 2)[l] = nLane / nSizeXY;
        for (unsigned int c = 0; c < 4; ++c)
        {
            Column(CILProgram::COL_TID_IN_GRP_FLAT + c)[l] = nLane;
        }
    }
    // Literals and constant-buffer rows read with a constant index don't change
    // during the launch: one column each, filled once.
    for (const SUniformSource& uniform : m_Program.GetUniforms())
    {
        for (unsigned int c = 0; c < 4; ++c)
        {
            uint32_t nValue = uniform.vValue[c];
            if (!uniform.bLiteral)
            {
                const std::vector<uint32_t>& vBuffer = state.vConstantBuffers[uniform.nBuffer];
                const uint64_t nWord = uint64_t(uniform.nRow) * 4 + c;
                nValue = nWord < vBuffer.size() ? vBuffer[nWord] : 0;
            }
            std::fill_n(Column(uniform.nColumn + c), m_nStride, nValue);
        }
    }
    for (uint32_t nSize : m_Program.GetArraySizes())
    {
        m_vArrays.emplace_back(size_t(nSize) * 4 * m_nStride, 0);
    }
    m_vScratch.assign(size_t(SLOT_COUNT) * m_nStride, 0);
    m_vExec.assign(m_nStride, 0);
    m_vLocal.assign(state.nLocalMemoryBytes, 0);
    m_vPrivate.assign(size_t(state.nPrivateMemoryBytes) * m_nLanes, 0);
    if (state.pTrace != nullptr)
    {
        m_vTraceBefore.assign(m_nStride, 0);
        m_vTraceValues.assign(4 * m_nStride, 0);
    }
}

void CILExecutor::Run()
{
    while (!m_State.bAbort.load(std::memory_order_relaxed))
    {
        const uint64_t nGroup = m_State.nNextGroup.fetch_add(1);
        if (nGroup >= m_State.nGroupTotal)
        {
            break;
        }
        RunGroup(nGroup);
        if (m_nPendingInstructions >= CHARGE_INTERVAL)
        {
            ChargeBudget();
        }
    }
    ChargeBudget();
    m_State.nOutOfBoundsLoads += m_nOutOfBoundsLoads;
    m_State.nOutOfBoundsStores += m_nOutOfBoundsStores;
    m_nOutOfBoundsLoads = 0;
    m_nOutOfBoundsStores = 0;
}

void CILExecutor::RecordOutOfBounds(bool bStore, EMemorySpace eSpace, uint64_t nAddress,
                                    size_t nLane)
{
    static const char* const s_Spaces[] = {"global", "private", "local"};
    std::lock_guard<std::mutex> lock(m_State.OutOfBoundsMutex);
    if (m_nGroup >= m_State.nFirstOutOfBoundsGroup)
    {
        return;
    }
    m_State.nFirstOutOfBoundsGroup = m_nGroup;
    SOutOfBoundsAccess& access = m_State.firstOutOfBounds;
    access.bStore = bStore;
    access.pSpace = s_Spaces[eSpace];
    access.nAddress = nAddress;
    access.nLine = m_Instructions[m_nPc - 1].nLine;
    for (unsigned int d = 0; d < 3; ++d)
    {
        access.vWorkItem[d] =
            m_nGroupId[d] * m_State.vLocalSize[d] + Column(CILProgram::COL_TID_IN_GRP + d)[nLane];
    }
}

bool CILExecutor::ChargeBudget()
{
    const uint64_t nTotal =
        m_State.nExecuted.fetch_add(m_nPendingInstructions) + m_nPendingInstructions;
    m_nPendingInstructions = 0;
    if (nTotal > m_State.nBudget)
    {
        m_State.bAbort = true;
    }
    return !m_State.bAbort.load(std::memory_order_relaxed);
}

void CILExecutor::PrepareGroup(uint64_t nGroup)
{
    const uint64_t* vCount = m_State.vGroupCount;
    m_nGroup = nGroup;
    m_nGroupId[0] = nGroup % vCount[0];
    m_nGroupId[1] = (nGroup / vCount[0]) % vCount[1];
    m_nGroupId[2] = nGroup / (vCount[0] * vCount[1]);
    // Only the inputs the program reads are made.
    const uint32_t nUsed = m_Program.GetUsedInputs();
    for (unsigned int d = 0; d < 3; ++d)
    {
        if ((nUsed & CILProgram::INPUT_THREAD_GRP_ID) != 0)
        {
            std::fill_n(Column(CILProgram::COL_THREAD_GRP_ID + d), m_nStride,
                        uint32_t(m_nGroupId[d]));
        }
        if ((nUsed & (CILProgram::INPUT_ABS_TID | CILProgram::INPUT_ABS_TID_FLAT)) != 0)
        {
            const uint32_t nBase = uint32_t(m_nGroupId[d] * m_State.vLocalSize[d]);
            const uint32_t* pTid = Column(CILProgram::COL_TID_IN_GRP + d);
            uint32_t* pAbs = Column(CILProgram::COL_ABS_TID + d);
            for (size_t l = 0; l < m_nLanes; ++l)
            {
                pAbs[l] = nBase + pTid[l];
            }
        }
    }
    if ((nUsed & CILProgram::INPUT_THREAD_GRP_ID_FLAT) != 0)
    {
        for (unsigned int c = 0; c < 4; ++c)
        {
            std::fill_n(Column(CILProgram::COL_THREAD_GRP_ID_FLAT + c), m_nStride,
                        uint32_t(nGroup));
        }
    }
    if ((nUsed & CILProgram::INPUT_ABS_TID_FLAT) != 0)
    {
        // Flat ids wrap modulo 2^32, as every 32-bit register does.
        const uint32_t nGlobalX = uint32_t(vCount[0] * m_State.vLocalSize[0]);
        const uint32_t nGlobalY = uint32_t(vCount[1] * m_State.vLocalSize[1]);
        const uint32_t* pX = Column(CILProgram::COL_ABS_TID);
        const uint32_t* pY = Column(CILProgram::COL_ABS_TID + 1);
        const uint32_t* pZ = Column(CILProgram::COL_ABS_TID + 2);
        for (unsigned int c = 0; c < 4; ++c)
        {
            uint32_t* pFlat = Column(CILProgram::COL_ABS_TID_FLAT + c);
            for (size_t l = 0; l < m_nLanes; ++l)
            {
                pFlat[l] = (pZ[l] * nGlobalY + pY[l]) * nGlobalX + pX[l];
            }
        }
    }

    // Every work-item starts with zeroed registers and memory of its own. A trace shows whole
    // registers, also components that are never written, so then all temps are zeroed.
    if (m_State.pTrace != nullptr)
    {
        std::fill(m_vRegisters.begin() + ptrdiff_t(m_Program.GetFirstTempColumn() * m_nStride),
                  m_vRegisters.end(), 0);
    }
    for (const std::pair<uint32_t, uint32_t>& columns : m_Program.GetZeroedColumns())
    {
        std::fill(m_vRegisters.begin() + ptrdiff_t(columns.first * m_nStride),
                  m_vRegisters.begin() + ptrdiff_t(columns.second * m_nStride), 0);
    }
    for (std::vector<uint32_t>& vArray : m_vArrays)
    {
        std::fill(vArray.begin(), vArray.end(), 0);
    }
    std::fill(m_vLocal.begin(), m_vLocal.end(), 0);
    std::fill(m_vPrivate.begin(), m_vPrivate.end(), 0);

    std::fill_n(m_vExec.begin(), m_nLanes, ALL_ONES);
    m_nActive = m_nLanes;
    m_vFrames.clear();
    m_nPc = m_Program.GetEntry();
    if (m_State.pTrace == nullptr)
    {
        // Skipped, but charged to the budget as if run.
        m_nPc += m_Program.GetZeroingPrefix();
        m_nPendingInstructions += m_Program.GetZeroingPrefix();
    }
}

void CILExecutor::RunGroup(uint64_t nGroup)
{
    PrepareGroup(nGroup);
    if (m_State.pTrace != nullptr)
    {
        RunInstructions<true>();
        return;
    }
    RunInstructions<false>();
}

template <bool bTraced> void CILExecutor::RunInstructions()
{
    const SInstruction* pInstructions = m_Instructions.data();
    const SOperationInfo* pTable = OperationTable();
    for (;;)
    {
        if (++m_nPendingInstructions >= CHARGE_INTERVAL && !ChargeBudget())
        {
            return;
        }
        const SInstruction& instruction = pInstructions[m_nPc++];
        if constexpr (bTraced)
        {
            TraceInstruction(instruction);
        }
        else
        {
            (this->*pTable[instruction.nOpcode].pfnExecute)(instruction);
        }
        if (m_nActive == 0 && !Resume())
        {
            return;
        }
    }
}

// ---------------------------------------------------------------------------
// Tracing. An instruction's loops are those open when it begins, and a whileloop
// is in its own loop: the positions the debugger names.

void CILExecutor::TraceInstruction(const SInstruction& instruction)
{
    const uint32_t nIndex = m_nPc - 1;
    const auto pfnExecute = OperationTable()[instruction.nOpcode].pfnExecute;
    if (!m_State.pTrace->IsTraced(nIndex))
    {
        (this->*pfnExecute)(instruction);
        return;
    }
    std::copy_n(m_vExec.begin(), m_nLanes, m_vTraceBefore.begin());
    CollectLoops();
    if (instruction.nOpcode == IL_OP_WHILELOOP)
    {
        m_vTraceLoops.push_back({nIndex, 0});
    }
    (this->*pfnExecute)(instruction);
    // A macro's outputs reach the destination when it returns, which records then.
    if (instruction.nOpcode != IL_OP_MCALL || !instruction.bHasDest)
    {
        RecordExecution(instruction, nIndex, m_vTraceBefore.data());
    }
}

void CILExecutor::CollectLoops()
{
    m_vTraceLoops.clear();
    for (const SFrame& frame : m_vFrames)
    {
        if (frame.eType == FT_Loop)
        {
            m_vTraceLoops.push_back({frame.nConstruct, frame.nIteration});
        }
    }
}

void CILExecutor::RecordExecution(const SInstruction& instruction, uint32_t nIndex,
                                  const uint32_t* pBefore)
{
    m_State.pTrace->Record(nIndex, m_vTraceLoops, m_nGroupId, m_nLanes, pBefore, m_vExec.data(),
                           TraceValues(instruction));
}

const uint32_t* const* CILExecutor::TraceValues(const SInstruction& instruction)
{
    const uint32_t nOpCode = instruction.nOpcode;
    if (nOpCode == IL_OP_UAV_RAW_STORE || nOpCode == IL_OP_UAV_BYTE_STORE ||
        nOpCode == IL_OP_UAV_SHORT_STORE)
    {
        // What the debugger shows of a store to private memory: the four words at
        // its address.
        const SAddressSource address = FetchAddress(instruction, 0, false);
        if (address.eSpace != MS_Private)
        {
            return nullptr;
        }
        for (unsigned int c = 0; c < 4; ++c)
        {
            uint32_t* pColumn = &m_vTraceValues[c * m_nStride];
            for (size_t l = 0; l < m_nLanes; ++l)
            {
                const uint8_t* pWord = Translate(MS_Private, AddressOf(address, l) + 4 * c, l, 4);
                pColumn[l] = 0;
                if (pWord != nullptr)
                {
                    std::memcpy(&pColumn[l], pWord, 4);
                }
            }
            m_ppTraceValues[c] = pColumn;
        }
        return m_ppTraceValues;
    }
    if (!instruction.bHasDest || Operand(instruction, 0).nKind == OK_Memory)
    {
        return nullptr;
    }
    // The whole register, whatever the instruction's mask.
    SOperand whole = Operand(instruction, 0);
    for (unsigned int c = 0; c < 4; ++c)
    {
        whole.vSwizzle[c] = uint8_t(c);
    }
    for (unsigned int c = 0; c < 4; ++c)
    {
        m_ppTraceValues[c] = FetchRaw(whole, c, &m_vTraceValues[c * m_nStride]);
    }
    return m_ppTraceValues;
}

// ---------------------------------------------------------------------------
// Operands.

const uint32_t* CILExecutor::FetchModified(const SInstruction& instruction, unsigned int nSource,
                                           unsigned int nComponent)
{
    const SOperand& operand = Source(instruction, nSource);
    uint32_t* pScratch = Scratch(nSource * 4 + nComponent);
    const uint32_t* pValues = FetchRaw(operand, nComponent, pScratch);
    if (!operand.HasModifiers())
    {
        return pValues;
    }
    const bool bNegate = ((operand.nNegate >> nComponent) & 1u) != 0;
    const bool bAbs = ((operand.nAbs >> nComponent) & 1u) != 0;
    const EValueClass eClass = OperationTable()[instruction.nOpcode].eClass;
    if (eClass == VC_Int)
    {
        for (size_t l = 0; l < m_nLanes; ++l)
        {
            uint32_t nValue = pValues[l];
            if (bAbs && (nValue & 0x80000000u) != 0)
            {
                nValue = 0u - nValue;
            }
            pScratch[l] = bNegate ? 0u - nValue : nValue;
        }
        return pScratch;
    }
    // Floats keep their sign in bit 31; a double in the high word of its pair.
    if (eClass == VC_Double && (nComponent & 1u) == 0)
    {
        return pValues;
    }
    const uint32_t nClear = bAbs ? 0x7FFFFFFFu : ALL_ONES;
    const uint32_t nFlip = bNegate ? 0x80000000u : 0u;
    for (size_t l = 0; l < m_nLanes; ++l)
    {
        pScratch[l] = (pValues[l] & nClear) ^ nFlip;
    }
    return pScratch;
}

const uint32_t* CILExecutor::FetchRaw(const SOperand& operand, unsigned int nComponent,
                                      uint32_t* pScratch)
{
    const unsigned int nSwizzle = operand.vSwizzle[nComponent];
    if (nSwizzle >= 4)
    {
        return Column(nSwizzle == 4 ? CILProgram::COL_ZERO : CILProgram::COL_ONE);
    }
    switch (operand.nKind)
    {
    case OK_Column:
        return Column(operand.nColumn + nSwizzle);
    case OK_IndexedTemp:
    {
        const std::vector<uint32_t>& vArray = m_vArrays[operand.nColumn];
        const uint32_t nSize = m_Program.GetArraySizes()[operand.nColumn];
        if (!operand.bIndexed)
        {
            return operand.nIndex < nSize
                       ? &vArray[(size_t(operand.nIndex) * 4 + nSwizzle) * m_nStride]
                       : Column(CILProgram::COL_ZERO);
        }
        const uint32_t* pIndex = Column(operand.nIndexColumn);
        for (size_t l = 0; l < m_nLanes; ++l)
        {
            const uint32_t nElement = pIndex[l] + operand.nIndex;
            pScratch[l] =
                nElement < nSize ? vArray[(size_t(nElement) * 4 + nSwizzle) * m_nStride + l] : 0;
        }
        return pScratch;
    }
    case OK_ConstantRelative:
    {
        const std::vector<uint32_t>& vBuffer = m_State.vConstantBuffers[operand.nColumn];
        const uint64_t nRows = vBuffer.size() / 4;
        const uint32_t* pIndex = Column(operand.nIndexColumn);
        for (size_t l = 0; l < m_nLanes; ++l)
        {
            const uint32_t nRow = pIndex[l] + operand.nIndex;
            pScratch[l] = nRow < nRows ? vBuffer[size_t(nRow) * 4 + nSwizzle] : 0;
        }
        return pScratch;
    }
    default:
        return Column(CILProgram::COL_ZERO);
    }
}

void CILExecutor::Commit(const SInstruction& instruction, uint8_t nMask)
{
    uint32_t* ppValues[4] = {Scratch(SLOT_RESULT), Scratch(SLOT_RESULT + 1),
                             Scratch(SLOT_RESULT + 2), Scratch(SLOT_RESULT + 3)};
    const SOperand& dest = Operand(instruction, 0);
    CommitOperand(dest, uint8_t(dest.nMask & nMask), ppValues);
}

void CILExecutor::CommitOperand(const SOperand& operand, uint8_t nMask, uint32_t* const* ppValues)
{
    const bool bAll = m_nActive == m_nLanes;
    const uint32_t* pExec = m_vExec.data();
    if (operand.nKind == OK_IndexedTemp && operand.bIndexed)
    {
        std::vector<uint32_t>& vArray = m_vArrays[operand.nColumn];
        const uint32_t nSize = m_Program.GetArraySizes()[operand.nColumn];
        const uint32_t* pIndex = Column(operand.nIndexColumn);
        for (size_t l = 0; l < m_nLanes; ++l)
        {
            const uint32_t nElement = pIndex[l] + operand.nIndex;
            if (pExec[l] == 0 || nElement >= nSize)
            {
                continue;
            }
            for (unsigned int c = 0; c < 4; ++c)
            {
                if ((nMask >> c) & 1u)
                {
                    vArray[(size_t(nElement) * 4 + c) * m_nStride + l] = ppValues[c][l];
                }
            }
        }
        return;
    }
    for (unsigned int c = 0; c < 4; ++c)
    {
        if (((nMask >> c) & 1u) == 0)
        {
            continue;
        }
        uint32_t* pDest = nullptr;
        if (operand.nKind == OK_Column)
        {
            pDest = Column(operand.nColumn + c);
        }
        else if (operand.nKind == OK_IndexedTemp &&
                 operand.nIndex < m_Program.GetArraySizes()[operand.nColumn])
        {
            pDest = &m_vArrays[operand.nColumn][(size_t(operand.nIndex) * 4 + c) * m_nStride];
        }
        if (pDest == nullptr)
        {
            continue;
        }
        const uint32_t* pValues = ppValues[c];
        if (bAll)
        {
            std::memcpy(pDest, pValues, m_nLanes * sizeof(uint32_t));
            continue;
        }
        for (size_t l = 0; l < m_nLanes; ++l)
        {
            pDest[l] = (pValues[l] & pExec[l]) | (pDest[l] & ~pExec[l]);
        }
    }
}

void CILExecutor::SetExec(const uint32_t* pMask)
{
    uint32_t nActive = 0;
    for (size_t l = 0; l < m_nLanes; ++l)
    {
        m_vExec[l] = pMask[l];
        nActive += pMask[l] & 1u;
    }
    m_nActive = nActive;
}

// ---------------------------------------------------------------------------
// Flow control. Lanes that leave a construct early (break, continue, ret) are
// taken out of the masks of every construct they leave, so that closing one of
// those constructs doesn't bring them back.

CILExecutor::SFrame& CILExecutor::PushFrame(EFrameType eType, uint32_t nConstruct)
{
    const size_t nDepth = m_vFrames.size();
    m_vFrames.push_back({eType, nConstruct, 0, 0, 0});
    const size_t nNeeded = (nDepth + 1) * MASKS_PER_FRAME * m_nStride;
    if (m_vFrameMasks.size() < nNeeded)
    {
        m_vFrameMasks.resize(nNeeded, 0);
    }
    return m_vFrames.back();
}

void CILExecutor::RemoveFromFrames(size_t nFrom, const uint32_t* pLanes)
{
    for (size_t d = nFrom; d < m_vFrames.size(); ++d)
    {
        for (unsigned int m = 0; m < 3; ++m)
        {
            uint32_t* pMask = FrameMask(d, m);
            for (size_t l = 0; l < m_nLanes; ++l)
            {
                pMask[l] &= ~pLanes[l];
            }
        }
    }
}

size_t CILExecutor::FindFrame(bool bLoopOnly) const
{
    size_t d = m_vFrames.size();
    while (d-- > 0)
    {
        const EFrameType eType = m_vFrames[d].eType;
        if (eType == FT_Loop || (!bLoopOnly && eType == FT_Switch))
        {
            return d;
        }
    }
    return 0; // the loader guarantees an enclosing construct
}

const uint32_t* CILExecutor::ConditionLanes(const SInstruction& instruction)
{
    const uint32_t* pExec = m_vExec.data();
    uint32_t* pLanes = Scratch(SLOT_CONDITION);
    switch (instruction.nOpcode)
    {
    case IL_OP_IFNZ:
    case IL_OP_CALLNZ:
    {
        const uint32_t* pValue = Fetch(instruction, 0, 0);
        for (size_t l = 0; l < m_nLanes; ++l)
        {
            pLanes[l] = AsFloat(pValue[l]) != 0.0f ? pExec[l] : 0;
        }
        return pLanes;
    }
    case IL_OP_IF_LOGICALNZ:
    case IL_OP_BREAK_LOGICALNZ:
    case IL_OP_CONTINUE_LOGICALNZ:
    case IL_OP_RET_LOGICALNZ:
    case IL_OP_CALL_LOGICALNZ:
    case IL_OP_IF_LOGICALZ:
    case IL_OP_BREAK_LOGICALZ:
    case IL_OP_CONTINUE_LOGICALZ:
    case IL_OP_RET_LOGICALZ:
    case IL_OP_CALL_LOGICALZ:
    {
        // The z forms take the lanes whose bits are all zero.
        const bool bZero = instruction.nOpcode == IL_OP_IF_LOGICALZ ||
                           instruction.nOpcode == IL_OP_BREAK_LOGICALZ ||
                           instruction.nOpcode == IL_OP_CONTINUE_LOGICALZ ||
                           instruction.nOpcode == IL_OP_RET_LOGICALZ ||
                           instruction.nOpcode == IL_OP_CALL_LOGICALZ;
        const uint32_t nFlip = bZero ? 0u : ALL_ONES;
        const uint32_t* pValue = Fetch(instruction, 0, 0);
        for (size_t l = 0; l < m_nLanes; ++l)
        {
            pLanes[l] = pExec[l] & ((pValue[l] == 0 ? ALL_ONES : 0u) ^ nFlip);
        }
        return pLanes;
    }
    case IL_OP_IFC:
    case IL_OP_BREAKC:
    case IL_OP_CONTINUEC:
    {
        const uint32_t* pA = Fetch(instruction, 0, 0);
        const uint32_t* pB = Fetch(instruction, 1, 0);
        for (size_t l = 0; l < m_nLanes; ++l)
        {
            const float a = AsFloat(pA[l]);
            const float b = AsFloat(pB[l]);
            bool bTrue = false;
            switch (instruction.nControl)
            {
            case REL_EQ:
                bTrue = a == b;
                break;
            case REL_NE:
                bTrue = a != b;
                break;
            case REL_GT:
                bTrue = a > b;
                break;
            case REL_GE:
                bTrue = a >= b;
                break;
            case REL_LT:
                bTrue = a < b;
                break;
            default:
                bTrue = a <= b;
                break;
            }
            pLanes[l] = bTrue ? pExec[l] : 0;
        }
        return pLanes;
    }
    default:
        return pExec; // unconditional: every active lane
    }
}

void CILExecutor::ExecIf(const SInstruction& instruction)
{
    const uint32_t* pCondition = ConditionLanes(instruction);
    PushFrame(FT_If, m_nPc - 1);
    const size_t nDepth = m_vFrames.size() - 1;
    uint32_t* pEntry = FrameMask(nDepth, 0);
    uint32_t* pElse = FrameMask(nDepth, 1);
    for (size_t l = 0; l < m_nLanes; ++l)
    {
        pEntry[l] = m_vExec[l];
        pElse[l] = m_vExec[l] & ~pCondition[l];
    }
    SetExec(pCondition);
}

void CILExecutor::ExecElse(const SInstruction& instruction)
{
    (void)instruction;
    SFrame& frame = m_vFrames.back();
    frame.eType = FT_Else;
    frame.nConstruct = m_nPc - 1;
    SetExec(FrameMask(m_vFrames.size() - 1, 1));
}

void CILExecutor::ExecEndIf(const SInstruction& instruction)
{
    (void)instruction;
    SetExec(FrameMask(m_vFrames.size() - 1, 0));
    m_vFrames.pop_back();
}

void CILExecutor::ExecWhileLoop(const SInstruction& instruction)
{
    (void)instruction;
    PushFrame(FT_Loop, m_nPc - 1);
    const size_t nDepth = m_vFrames.size() - 1;
    std::fill_n(FrameMask(nDepth, 1), m_nLanes, 0);
    std::fill_n(FrameMask(nDepth, 2), m_nLanes, 0);
}

void CILExecutor::ExecEndLoop(const SInstruction& instruction)
{
    const size_t nDepth = m_vFrames.size() - 1;
    uint32_t* pContinue = FrameMask(nDepth, 2);
    uint32_t nActive = 0;
    for (size_t l = 0; l < m_nLanes; ++l)
    {
        m_vExec[l] |= pContinue[l];
        pContinue[l] = 0;
        nActive += m_vExec[l] & 1u;
    }
    m_nActive = nActive;
    if (m_nActive != 0)
    {
        ++m_vFrames[nDepth].nIteration;
        m_nPc = instruction.nTarget + 1;
        return;
    }
    SetExec(FrameMask(nDepth, 1));
    m_vFrames.pop_back();
}

void CILExecutor::LeaveLanes(const uint32_t* pLanes, bool bContinue)
{
    const size_t nTarget = FindFrame(bContinue);
    RemoveFromFrames(nTarget + 1, pLanes);
    uint32_t* pTarget = FrameMask(nTarget, bContinue ? 2 : 1);
    for (size_t l = 0; l < m_nLanes; ++l)
    {
        pTarget[l] |= pLanes[l];
    }
    RemoveFromExec(pLanes);
}

void CILExecutor::RemoveFromExec(const uint32_t* pLanes)
{
    uint32_t nActive = 0;
    for (size_t l = 0; l < m_nLanes; ++l)
    {
        m_vExec[l] &= ~pLanes[l];
        nActive += m_vExec[l] & 1u;
    }
    m_nActive = nActive;
}

void CILExecutor::ExecBreak(const SInstruction& instruction)
{
    LeaveLanes(ConditionLanes(instruction), false);
}

void CILExecutor::ExecContinue(const SInstruction& instruction)
{
    LeaveLanes(ConditionLanes(instruction), true);
}

// Every lane learns at once which label it enters at, and waits for it; Resume
// goes to the first label.
void CILExecutor::ExecSwitch(const SInstruction& instruction)
{
    const uint32_t* pSelector = Fetch(instruction, 0, 0);
    const uint32_t* pLabels = &m_Program.GetCases()[instruction.nValue];
    const uint32_t nOther = pLabels[1];
    const uint32_t nCases = pLabels[2];
    const uint32_t* pCases = pLabels + 3;
    PushFrame(FT_Switch, m_nPc - 1).nPending = m_nActive;
    const size_t nDepth = m_vFrames.size() - 1;
    uint32_t* pTargets = FrameMask(nDepth, 3);
    // The cases from the last to the first, so that the first match wins.
    std::fill_n(pTargets, m_nLanes, nOther);
    for (uint32_t k = nCases; k-- > 0;)
    {
        const uint32_t nValue = pCases[2 * k];
        const uint32_t nLabel = pCases[2 * k + 1];
        for (size_t l = 0; l < m_nLanes; ++l)
        {
            pTargets[l] = pSelector[l] == nValue ? nLabel : pTargets[l];
        }
    }
    std::fill_n(FrameMask(nDepth, 1), m_nLanes, 0);
    std::copy_n(m_vExec.begin(), m_nLanes, FrameMask(nDepth, 2));
    std::fill_n(m_vExec.begin(), m_nLanes, 0);
    m_nActive = 0;
}

// case and default: the waiting lanes whose label this is join those that fall
// through.
void CILExecutor::ExecLabel(const SInstruction& instruction)
{
    (void)instruction;
    SFrame& frame = m_vFrames.back();
    if (frame.nPending == 0)
    {
        return;
    }
    const size_t nDepth = m_vFrames.size() - 1;
    uint32_t* pPending = FrameMask(nDepth, 2);
    const uint32_t* pTargets = FrameMask(nDepth, 3);
    const uint32_t nLabel = m_nPc - 1;
    uint32_t nActive = 0;
    for (size_t l = 0; l < m_nLanes; ++l)
    {
        const uint32_t nMatch = pTargets[l] == nLabel ? pPending[l] : 0;
        m_vExec[l] |= nMatch;
        pPending[l] &= ~nMatch;
        nActive += m_vExec[l] & 1u;
    }
    frame.nPending -= nActive - m_nActive;
    m_nActive = nActive;
}

void CILExecutor::ExecEndSwitch(const SInstruction& instruction)
{
    (void)instruction;
    const size_t nDepth = m_vFrames.size() - 1;
    const uint32_t* pBreak = FrameMask(nDepth, 1);
    const uint32_t* pPending = FrameMask(nDepth, 2);
    uint32_t nActive = 0;
    for (size_t l = 0; l < m_nLanes; ++l)
    {
        m_vExec[l] |= pBreak[l] | pPending[l];
        nActive += m_vExec[l] & 1u;
    }
    m_nActive = nActive;
    m_vFrames.pop_back();
}

void CILExecutor::EnterCall(uint32_t nEntry, EFrameType eType, const uint32_t* pLanes)
{
    SFrame& frame = PushFrame(eType, m_nPc - 1);
    frame.nReturn = m_nPc;
    std::copy_n(m_vExec.begin(), m_nLanes, FrameMask(m_vFrames.size() - 1, 0));
    SetExec(pLanes);
    m_nPc = nEntry;
}

void CILExecutor::ExecCall(const SInstruction& instruction)
{
    const uint32_t* pLanes = ConditionLanes(instruction);
    bool bAny = false;
    for (size_t l = 0; l < m_nLanes && !bAny; ++l)
    {
        bAny = pLanes[l] != 0;
    }
    if (bAny)
    {
        EnterCall(instruction.nTarget, FT_Call, pLanes);
    }
}

void CILExecutor::ExecMacroCall(const SInstruction& instruction)
{
    const SMacro& macro = m_Program.GetMacros()[instruction.nTarget];
    for (uint32_t i = 0; i < macro.nInputs; ++i)
    {
        const SOperand& source = Source(instruction, i);
        for (unsigned int c = 0; c < 4; ++c)
        {
            const uint32_t* pValues = FetchRaw(source, c, Scratch(SLOT_CONDITION));
            std::copy_n(pValues, m_nLanes, Column(macro.nInColumn + i * 4 + c));
        }
    }
    EnterCall(macro.nEntry, FT_Macro, m_vExec.data());
}

void CILExecutor::ReturnLanes(const uint32_t* pLanes)
{
    size_t nFrom = 0;
    for (size_t d = m_vFrames.size(); d-- > 0;)
    {
        if (m_vFrames[d].eType == FT_Call || m_vFrames[d].eType == FT_Macro)
        {
            nFrom = d + 1;
            break;
        }
    }
    RemoveFromFrames(nFrom, pLanes);
    RemoveFromExec(pLanes);
}

void CILExecutor::ExecReturn(const SInstruction& instruction)
{
    ReturnLanes(ConditionLanes(instruction));
}

void CILExecutor::ExecEndMain(const SInstruction& instruction)
{
    (void)instruction;
    std::fill_n(m_vExec.begin(), m_nLanes, 0);
    m_vFrames.clear();
    m_nActive = 0;
}

void CILExecutor::ExecNop(const SInstruction& instruction)
{
    (void)instruction;
}

void CILExecutor::ReturnFromFrame()
{
    const SFrame frame = m_vFrames.back();
    SetExec(FrameMask(m_vFrames.size() - 1, 0));
    m_vFrames.pop_back();
    m_nPc = frame.nReturn;
    if (frame.eType != FT_Macro)
    {
        return;
    }
    const SInstruction& call = m_Instructions[frame.nConstruct];
    if (!call.bHasDest)
    {
        return;
    }
    const SMacro& macro = m_Program.GetMacros()[call.nTarget];
    uint32_t* ppValues[4];
    for (unsigned int c = 0; c < 4; ++c)
    {
        ppValues[c] = Column(macro.nOutColumn + c);
    }
    const SOperand& dest = Operand(call, 0);
    CommitOperand(dest, dest.nMask, ppValues);
    if (m_State.pTrace != nullptr && m_State.pTrace->IsTraced(frame.nConstruct))
    {
        CollectLoops();
        RecordExecution(call, frame.nConstruct, m_vExec.data());
    }
}

bool CILExecutor::Resume()
{
    while (m_nActive == 0)
    {
        if (m_vFrames.empty())
        {
            return false;
        }
        const SFrame& frame = m_vFrames.back();
        switch (frame.eType)
        {
        case FT_If:
        case FT_Else:
        case FT_Loop:
            // To the else, endif or endloop, which brings lanes back.
            m_nPc = m_Instructions[frame.nConstruct].nTarget;
            return true;
        case FT_Switch:
        {
            // To the next case, default or endswitch; when every lane has found its
            // case, straight to the endswitch.
            const SInstruction& switchInstruction = m_Instructions[frame.nConstruct];
            if (frame.nPending == 0)
            {
                m_nPc = m_Program.GetCases()[switchInstruction.nValue];
                return true;
            }
            uint32_t nLabel = switchInstruction.nTarget;
            while (nLabel < m_nPc)
            {
                nLabel = m_Instructions[nLabel].nTarget;
            }
            m_nPc = nLabel;
            return true;
        }
        default:
            ReturnFromFrame();
            break;
        }
    }
    return true;
}
} // namespace XAN_Platform
