// The pieces of IL that a patched kernel gets besides the kernel's own code: the debugger's
// declarations and literals, the loop counts, the capture of the target's registers, the
// execution flag and the stores of both into the debugger's buffers.

#include "ShaderDebuggerIL/ShaderDebuggerShaderIL.h"
#include "ShaderDebuggerIL/ShaderDebuggerUtilsIL.h"
#include "ShaderUtils/IL/ILFormat.h"
#include "ShaderUtils/IL/ILShaderUtils.h"

#include <cstring>

namespace XAN_ShaderDebugger
{
using namespace ShaderUtils;

namespace
{
// Entries of the run-time constant buffer that the flat index is made of.
const uint32_t CB0_LAUNCH_SIZE = 0;
const uint32_t CB0_GROUP_SIZE = 1;
const uint32_t CB0_GLOBAL_OFFSET = 6;
const uint32_t CB0_GROUP_OFFSET = 9;
const unsigned int UAV_ADDRESS_64 = 1u << 29;
const unsigned int SAMPLER_SHIFT = 24;
const unsigned int RESOURCE_NUMBER_MASK = 0xFFu;

unsigned int OpcodeToken(unsigned int nOpCode, unsigned int nControl = 0)
{
    return (nOpCode & IL_OPCODE_MASK) | ((nControl & IL_CONTROL_MASK) << IL_CONTROL_SHIFT);
}

// An instruction assembled operand by operand, written in one piece.
class CILTokens
{
public:
    explicit CILTokens(unsigned int nOpcodeToken) : m_vTokens(1, nOpcodeToken) {}

    CILTokens& Dest(unsigned int nILType, uint32_t nNumber, unsigned short mask = COMP_All)
    {
        unsigned int nToken = RegisterToken(nILType, nNumber);
        if (mask == COMP_All)
        {
            m_vTokens.push_back(nToken);
            return *this;
        }
        unsigned int nModifier = 0;
        for (unsigned int nComponent = 0; nComponent < 4; ++nComponent)
        {
            if (mask & GetComponent(nComponent))
            {
                nModifier |= IL_DSTMOD_WRITE << (nComponent * IL_DST_COMPONENT_SHIFT);
            }
        }
        m_vTokens.push_back(nToken | IL_REG_MODIFIER_PRESENT);
        m_vTokens.push_back(nModifier);
        return *this;
    }

    // A source that reads the components of mask, the rest filled by nFillMode.
    CILTokens& Src(unsigned int nILType, uint32_t nNumber, unsigned short mask = COMP_All,
                   unsigned int nFillMode = IL_FILL_FIRST)
    {
        return Operand(nILType, nNumber, mask, nFillMode, 0, false);
    }

    // An entry of a constant buffer: the index goes in the dimension token.
    CILTokens& ConstantBuffer(uint32_t nBuffer, uint32_t nEntry, unsigned short mask = COMP_All)
    {
        return Operand(IL_REGTYPE_CONST_BUFF, nBuffer, mask, IL_FILL_FIRST, nEntry, true);
    }

    // Any register as the analysis names it, all four components.
    CILTokens& Register(const XAN_ShaderDebugger::Register& reg)
    {
        const unsigned int nILType = SDtoILRegisterType(reg.reg.type);
        const uint32_t nNumber = static_cast<uint32_t>(reg.reg.number);
        if (!IsIndexedRegisterType(reg.reg.type))
        {
            return Src(nILType, nNumber);
        }
        if (reg.reg.pIndexRegister == NULL)
        {
            // An indexed temp takes its element as immediate, every other type as dimension.
            unsigned int nToken = RegisterToken(nILType, nNumber);
            nToken |=
                nILType == IL_REGTYPE_INDEXABLE_TEMP ? IL_REG_IMMEDIATE_PRESENT : IL_REG_DIMENSION;
            m_vTokens.push_back(nToken);
            m_vTokens.push_back(reg.reg.index);
            return *this;
        }
        // An index left in a register: register-relative, the index component swizzled in.
        const XAN_ShaderDebugger::Register& index = *reg.reg.pIndexRegister;
        m_vTokens.push_back(RegisterToken(nILType, nNumber) |
                            (IL_ADDR_REG_RELATIVE << IL_REG_RELATIVE_SHIFT) |
                            IL_REG_IMMEDIATE_PRESENT);
        m_vTokens.push_back(RegisterToken(SDtoILRegisterType(index.reg.type),
                                          static_cast<uint32_t>(index.reg.number)) |
                            IL_REG_MODIFIER_PRESENT);
        m_vTokens.push_back(
            GetILSrcMod(index.mask != 0 ? LowestComponent(index.mask) : COMP_x, IL_FILL_FIRST));
        m_vTokens.push_back(reg.reg.index);
        return *this;
    }

    CILTokens& Value(unsigned int nValue)
    {
        m_vTokens.push_back(nValue);
        return *this;
    }

    bool Write(COutputTokenStream<unsigned int>& dest) const
    {
        return dest.WriteTokens(m_vTokens.data(), m_vTokens.size());
    }

private:
    static unsigned int RegisterToken(unsigned int nILType, uint32_t nNumber)
    {
        unsigned int nToken = 0;
        SetRegisterType(nToken, nILType);
        SetRegisterNumber(nToken, nNumber);
        return nToken;
    }

    static unsigned short LowestComponent(unsigned short mask)
    {
        for (unsigned int nComponent = 0; nComponent < 4; ++nComponent)
        {
            if (mask & GetComponent(nComponent))
            {
                return GetComponent(nComponent);
            }
        }
        return COMP_x;
    }

    CILTokens& Operand(unsigned int nILType, uint32_t nNumber, unsigned short mask,
                       unsigned int nFillMode, uint32_t nDimension, bool bDimension)
    {
        unsigned int nToken = RegisterToken(nILType, nNumber);
        const unsigned int nModifier = GetILSrcMod(mask, nFillMode);
        const bool bModifier = nModifier != IL_SRC_IDENTITY_SWIZZLE;
        if (bModifier)
        {
            nToken |= IL_REG_MODIFIER_PRESENT;
        }
        if (bDimension)
        {
            nToken |= IL_REG_DIMENSION;
        }
        m_vTokens.push_back(nToken);
        if (bModifier)
        {
            m_vTokens.push_back(nModifier);
        }
        if (bDimension)
        {
            m_vTokens.push_back(nDimension);
        }
        return *this;
    }

    std::vector<unsigned int> m_vTokens;
};

// A literal with the same value in all four components.
bool WriteSplatLiteral(COutputTokenStream<unsigned int>& dest, uint32_t nLiteral,
                       unsigned int nValue)
{
    return CILTokens(OpcodeToken(IL_OP_DCL_LITERAL))
        .Src(IL_REGTYPE_LITERAL, nLiteral)
        .Value(nValue)
        .Value(nValue)
        .Value(nValue)
        .Value(nValue)
        .Write(dest);
}

bool IsOutputType(RegisterType type)
{
    return type == RT_Output || type == RT_LegacyOutput;
}

// The control of uav_raw_load and uav_raw_store: the UAV, and the 64-bit address flag.
unsigned int RawUAVControl(uint32_t nUAV, bool b64BitPointers)
{
    return (nUAV & IL_CONTROL_NUMBER_MASK) |
           (b64BitPointers ? UAV_ADDRESS_64 >> IL_CONTROL_SHIFT : 0);
}
} // namespace

uint32_t CShaderDebuggerShaderIL::GetResultUAV() const
{
    return m_bSeparateDebugUAVs ? m_nResultUAV : m_nRawUAVNum;
}

uint32_t CShaderDebuggerShaderIL::GetExecMaskUAV() const
{
    return m_bSeparateDebugUAVs ? m_nExecMaskUAV : m_nRawUAVNum;
}

bool CShaderDebuggerShaderIL::WriteDebuggerDeclarations(ILOutput& dest, bool bLoopLiterals,
                                                        const ProgramCounter& nTargetInstruction)
{
    bool bOk = true;
    if (GetShaderType() == ST_Compute)
    {
        bOk = CILTokens(OpcodeToken(IL_OP_DCL_CB))
                  .ConstantBuffer(0, m_nRuntimeABIConstantBufferSize)
                  .Write(dest) &&
              CILTokens(OpcodeToken(IL_OP_DCL_CB))
                  .ConstantBuffer(1, m_nKernelABIConstantBufferSize + 3)
                  .Write(dest);
        if (m_bSeparateDebugUAVs)
        {
            for (uint32_t nUAV : {m_nResultUAV, m_nExecMaskUAV})
            {
                bOk = bOk && CILTokens(OpcodeToken(IL_OP_DCL_TYPELESS_UAV, nUAV))
                                 .Value(4)
                                 .Value(4)
                                 .Write(dest);
            }
        }
        else
        {
            bOk = bOk && dest.WriteToken(OpcodeToken(IL_OP_DCL_RAW_UAV, m_nRawUAVNum)) &&
                  dest.WriteToken(OpcodeToken(IL_OP_DCL_ARENA_UAV, 8));
        }
    }
    else
    {
        bOk = WriteOutputDeclarations(dest);
    }
    bOk = bOk && WriteDebuggerLiterals(dest);

    // Every sampler of the metadata stays referenced, or the build drops it.
    for (const std::pair<const uint32_t, Declarations>& function : m_Declarations)
    {
        if (function.second.resources.empty())
        {
            continue;
        }
        const unsigned int nResource =
            GetILControl(function.second.resources.front().GetOpCodeToken()) & RESOURCE_NUMBER_MASK;
        bOk = bOk && CILTokens(OpcodeToken(IL_OP_MOV))
                         .Dest(IL_REGTYPE_TEMP, m_nExecMaskTempReg)
                         .Src(IL_REGTYPE_LITERAL, m_nLiteralZero)
                         .Write(dest);
        for (uint32_t nSampler : m_SamplerIDs)
        {
            const unsigned int nControl =
                nResource | ((nSampler & 15) << (SAMPLER_SHIFT - IL_CONTROL_SHIFT));
            bOk = bOk && CILTokens(OpcodeToken(IL_OP_SAMPLE, nControl))
                             .Src(IL_REGTYPE_TEMP, m_nExecMaskTempReg)
                             .Dest(IL_REGTYPE_TEMP, m_nOutputTempReg)
                             .Write(dest);
        }
        break;
    }

    for (uint32_t i = 0; i < m_vTempRegisterUsed.size(); ++i)
    {
        if (m_vTempRegisterUsed[i])
        {
            bOk = bOk && CILTokens(OpcodeToken(IL_OP_MOV))
                             .Dest(IL_REGTYPE_TEMP, i)
                             .Src(IL_REGTYPE_LITERAL, m_nLiteralZero)
                             .Write(dest);
        }
    }
    bOk = bOk && WriteDebuggerTempReset(dest);
    if (bLoopLiterals)
    {
        bOk = bOk && WriteDebuggerLoopLiteralDeclarations(dest, nTargetInstruction);
    }
    return bOk;
}

bool CShaderDebuggerShaderIL::WriteDebuggerTempReset(ILOutput& dest)
{
    bool bOk = true;
    for (uint32_t nTemp : m_vDebuggerTempRegs)
    {
        bOk = bOk && CILTokens(OpcodeToken(IL_OP_MOV))
                         .Dest(IL_REGTYPE_TEMP, nTemp)
                         .Src(IL_REGTYPE_LITERAL, m_nLiteralZero)
                         .Write(dest);
    }
    return bOk;
}

bool CShaderDebuggerShaderIL::WriteDebuggerLiterals(ILOutput& dest)
{
    const std::pair<uint32_t, unsigned int> literals[] = {{m_nLiteralZero, 0},
                                                          {m_nLiteralOne, 1},
                                                          {m_nLiteralTwo, 2},
                                                          {m_nLiteralMinusOne, 0xFFFFFFFF},
                                                          {m_nLiteralSixteen, 16}};
    bool bOk = true;
    for (const std::pair<uint32_t, unsigned int>& literal : literals)
    {
        bOk = bOk && WriteSplatLiteral(dest, literal.first, literal.second);
    }
    return bOk;
}

bool CShaderDebuggerShaderIL::WriteDebuggerLoopLiteralDeclarations(
    ILOutput& dest, const ProgramCounter& nTargetInstruction)
{
    bool bOk = true;
    uint32_t nDepth = 0;
    uint32_t nComponent = 0;
    for (const LoopState& state : nTargetInstruction.m_vLoopStack)
    {
        std::map<uint32_t, CIL_FCConstruct*>::const_iterator it = m_FCConstructs.find(state.nStart);
        CIL_Loop* pLoop =
            it != m_FCConstructs.end() && it->second != NULL ? it->second->AsLoop() : NULL;
        SDU_Assert(GetHost(), pLoop != NULL);
        if (pLoop != NULL)
        {
            SDU_Assert(GetHost(), pLoop->GetLoopDepth() - 1 == nDepth);
            SDU_Assert(GetHost(), pLoop->GetCountComponent() == GetComponent(nComponent));
        }
        if (nComponent == 0)
        {
            const uint32_t nLiteral = pLoop != NULL ? pLoop->m_nCountLiteral : 0;
            bOk = bOk && CILTokens(OpcodeToken(IL_OP_DCL_LITERAL))
                             .Src(IL_REGTYPE_LITERAL, nLiteral)
                             .Write(dest);
        }
        bOk = bOk && dest.WriteToken(state.nIteration + 1);
        nComponent = (nComponent + 1) % 4;
        ++nDepth;
    }
    while (nComponent != 0)
    {
        bOk = bOk && dest.WriteToken(0);
        nComponent = (nComponent + 1) % 4;
    }
    return bOk;
}

bool CShaderDebuggerShaderIL::WriteTargetRegisterSelect(ILOutput& dest,
                                                        const std::vector<Register>& vTargetRegs)
{
    if (vTargetRegs.size() == 1)
    {
        std::deque<uint32_t> qLiterals = m_qUnusedLiteralRegs;
        return WriteRegisterCapture(dest, vTargetRegs.front(), qLiterals);
    }
    return WriteRegisterSwitch(dest, vTargetRegs);
}

bool CShaderDebuggerShaderIL::WriteRegisterSwitch(ILOutput& dest,
                                                  const std::vector<Register>& vTargetRegs)
{
    std::deque<uint32_t> qLiterals = m_qUnusedLiteralRegs;
    bool bOk = CILTokens(OpcodeToken(IL_OP_SWITCH))
                   .ConstantBuffer(1, m_nKernelABIConstantBufferSize + 2, COMP_x)
                   .Write(dest);
    for (uint32_t i = 0; i < vTargetRegs.size(); ++i)
    {
        bOk = bOk && CILTokens(OpcodeToken(IL_OP_CASE)).Value(i).Write(dest) &&
              WriteRegisterCapture(dest, vTargetRegs[i], qLiterals) &&
              dest.WriteToken(OpcodeToken(IL_OP_BREAK));
    }
    return bOk && dest.WriteToken(OpcodeToken(IL_OP_DEFAULT)) &&
           CILTokens(OpcodeToken(IL_OP_MOV))
               .Dest(IL_REGTYPE_TEMP, m_nOutputTempReg)
               .Src(IL_REGTYPE_LITERAL, m_nLiteralMinusOne)
               .Write(dest) &&
           dest.WriteToken(OpcodeToken(IL_OP_BREAK)) &&
           dest.WriteToken(OpcodeToken(IL_OP_ENDSWITCH));
}

bool CShaderDebuggerShaderIL::WriteRegisterCapture(ILOutput& dest, const Register& reg,
                                                   std::deque<uint32_t>& qLiterals)
{
    if (reg == g_Reg_NULL || reg.reg.type == RT_Mem || IsOutputType(reg.reg.type))
    {
        return true;
    }
    if (reg.reg.type != RT_PrivateUAVAccess)
    {
        return CILTokens(OpcodeToken(IL_OP_MOV))
            .Dest(IL_REGTYPE_TEMP, m_nOutputTempReg)
            .Register(reg)
            .Write(dest);
    }
    SDU_Assert(GetHost(), !qLiterals.empty());
    if (qLiterals.empty())
    {
        return false;
    }
    const uint32_t nLiteral = qLiterals.front();
    qLiterals.pop_front();
    const unsigned short addressMask = m_b64BitPointers ? COMP_xy : COMP_x;
    return CILTokens(OpcodeToken(IL_OP_DCL_LITERAL))
               .Src(IL_REGTYPE_LITERAL, nLiteral)
               .Value(reg.reg.index)
               .Value(0)
               .Value(0)
               .Value(0)
               .Write(dest) &&
           CILTokens(OpcodeToken(IL_OP_MOV))
               .Dest(IL_REGTYPE_TEMP, m_nOutputAddrTempReg)
               .Src(IL_REGTYPE_LITERAL, nLiteral)
               .Write(dest) &&
           CILTokens(
               OpcodeToken(IL_OP_UAV_RAW_LOAD,
                           RawUAVControl(static_cast<uint32_t>(reg.reg.number), m_b64BitPointers)))
               .Dest(IL_REGTYPE_TEMP, m_nOutputTempReg)
               .Src(IL_REGTYPE_TEMP, m_nOutputAddrTempReg, addressMask)
               .Write(dest);
}

bool CShaderDebuggerShaderIL::WriteExecMaskFlag(ILOutput& dest, bool bSet)
{
    return CILTokens(OpcodeToken(IL_OP_MOV))
        .Dest(IL_REGTYPE_TEMP, m_nExecMaskTempReg)
        .Src(IL_REGTYPE_LITERAL, bSet ? m_nLiteralOne : m_nLiteralZero)
        .Write(dest);
}

bool CShaderDebuggerShaderIL::WriteLoopCountInit(ILOutput& dest, const CIL_Loop& loop,
                                                 const CIL_Loop* pEnclosing)
{
    const unsigned short component = static_cast<unsigned short>(loop.GetCountComponent());
    if (pEnclosing == NULL)
    {
        return CILTokens(OpcodeToken(IL_OP_MOV))
            .Dest(IL_REGTYPE_TEMP, loop.m_nCountRegister, component)
            .Src(IL_REGTYPE_LITERAL, loop.m_nCountLiteral, component)
            .Write(dest);
    }
    // An inner loop counts only in the target's pass of the loop around it, whose count has
    // just run down to 0; in the passes before, it runs as far as the kernel takes it, so that
    // what those passes leave is what the kernel leaves.
    const unsigned short enclosing = static_cast<unsigned short>(pEnclosing->GetCountComponent());
    return CILTokens(OpcodeToken(IL_OP_CMOV_LOGICAL))
        .Dest(IL_REGTYPE_TEMP, loop.m_nCountRegister, component)
        .Src(IL_REGTYPE_TEMP, pEnclosing->m_nCountRegister, enclosing)
        .Src(IL_REGTYPE_LITERAL, m_nLiteralMinusOne, component)
        .Src(IL_REGTYPE_LITERAL, loop.m_nCountLiteral, component)
        .Write(dest);
}

bool CShaderDebuggerShaderIL::WriteLoopCountCheck(ILOutput& dest, const CIL_Loop& loop)
{
    // In a function kept whole the loop runs all its passes; the count only names the
    // target's pass to the capture.
    const unsigned short component = static_cast<unsigned short>(loop.GetCountComponent());
    return (m_bKeepTargetFunction || CILTokens(OpcodeToken(IL_OP_BREAK_LOGICALZ))
                                         .Src(IL_REGTYPE_TEMP, loop.m_nCountRegister, component)
                                         .Write(dest)) &&
           CILTokens(OpcodeToken(IL_OP_IADD))
               .Dest(IL_REGTYPE_TEMP, loop.m_nCountRegister, component)
               .Src(IL_REGTYPE_TEMP, loop.m_nCountRegister, component)
               .Src(IL_REGTYPE_LITERAL, m_nLiteralMinusOne, component)
               .Write(dest) &&
           (m_bKeepTargetFunction || WriteExecMaskFlag(dest, false));
}

bool CShaderDebuggerShaderIL::WriteInlineCapture(ILOutput& dest,
                                                 const ProgramCounter& nTargetInstruction,
                                                 const std::vector<Register>* pTargetRegs)
{
    // Inside loops, only in the target's pass: the innermost count runs down to 0 there alone.
    const CIL_Loop* pLoop = GetInnermostTargetLoop(nTargetInstruction);
    bool bOk = pLoop == NULL || CILTokens(OpcodeToken(IL_OP_IF_LOGICALZ))
                                    .Src(IL_REGTYPE_TEMP, pLoop->m_nCountRegister,
                                         static_cast<unsigned short>(pLoop->GetCountComponent()))
                                    .Write(dest);
    bOk = bOk && (pTargetRegs == NULL || WriteTargetRegisterSelect(dest, *pTargetRegs)) &&
          WriteExecMaskFlag(dest, true);
    return bOk && (pLoop == NULL || dest.WriteToken(OpcodeToken(IL_OP_ENDIF)));
}

bool CShaderDebuggerShaderIL::WriteDebuggerOutput(ILOutput& dest, uint32_t nCurrentInstruction)
{
    if (GetShaderType() != ST_Compute)
    {
        return CILTokens(OpcodeToken(IL_OP_MOV))
                   .Dest(IL_REGTYPE_OUTPUT, m_nOutputRegister0)
                   .Src(IL_REGTYPE_TEMP, m_nOutputTempReg)
                   .Write(dest) &&
               CILTokens(OpcodeToken(IL_OP_MOV))
                   .Dest(IL_REGTYPE_OUTPUT, m_nOutputRegister1)
                   .Src(IL_REGTYPE_TEMP, m_nExecMaskTempReg)
                   .Write(dest);
    }

    bool bOk = true;
    std::map<uint32_t, uint32_t>::const_iterator itScope =
        m_FunctionScope.find(nCurrentInstruction);
    const uint32_t nFunction = itScope != m_FunctionScope.end() ? itScope->second : 0;
    std::map<uint32_t, uint32_t>::const_iterator itMax = m_maxThreadPerGroup.find(nFunction);
    std::map<uint32_t, std::vector<uint32_t>>::const_iterator itNum =
        m_numThreadPerGroup.find(nFunction);
    if (itMax != m_maxThreadPerGroup.end())
    {
        bOk =
            CILTokens(OpcodeToken(IL_OP_DCL_MAX_THREAD_PER_GROUP)).Value(itMax->second).Write(dest);
    }
    else if (itNum != m_numThreadPerGroup.end() && itNum->second.size() == 3)
    {
        bOk = CILTokens(OpcodeToken(IL_OP_DCL_NUM_THREAD_PER_GROUP, 3))
                  .Value(itNum->second[0])
                  .Value(itNum->second[1])
                  .Value(itNum->second[2])
                  .Write(dest);
    }

    const uint32_t rI = m_nThreadIndexTempReg;
    const uint32_t rF = m_nExecMaskAddrTempReg;
    const uint32_t rA = m_nOutputAddrTempReg;
    const uint32_t K = m_nKernelABIConstantBufferSize;
    bOk = bOk &&
          CILTokens(OpcodeToken(IL_OP_IMAD))
              .Dest(IL_REGTYPE_TEMP, rI)
              .Src(IL_REGTYPE_V_THREAD_GRP_ID, 0)
              .ConstantBuffer(0, CB0_GROUP_SIZE)
              .Src(IL_REGTYPE_V_TID_IN_GRP, 0)
              .Write(dest) &&
          CILTokens(OpcodeToken(IL_OP_IADD))
              .Dest(IL_REGTYPE_TEMP, rI)
              .Src(IL_REGTYPE_TEMP, rI)
              .ConstantBuffer(0, CB0_GLOBAL_OFFSET)
              .Write(dest) &&
          CILTokens(OpcodeToken(IL_OP_INEGATE))
              .Dest(IL_REGTYPE_TEMP, rF)
              .ConstantBuffer(0, CB0_GROUP_OFFSET)
              .Write(dest) &&
          CILTokens(OpcodeToken(IL_OP_IADD))
              .Dest(IL_REGTYPE_TEMP, rI)
              .Src(IL_REGTYPE_TEMP, rI)
              .Src(IL_REGTYPE_TEMP, rF)
              .Write(dest) &&
          CILTokens(OpcodeToken(IL_OP_IMAD))
              .Dest(IL_REGTYPE_TEMP, rI, COMP_w)
              .Src(IL_REGTYPE_TEMP, rI, COMP_z)
              .ConstantBuffer(0, CB0_LAUNCH_SIZE, COMP_y)
              .Src(IL_REGTYPE_TEMP, rI, COMP_y)
              .Write(dest) &&
          CILTokens(OpcodeToken(IL_OP_IMAD))
              .Dest(IL_REGTYPE_TEMP, rI, COMP_w)
              .Src(IL_REGTYPE_TEMP, rI, COMP_w)
              .ConstantBuffer(0, CB0_LAUNCH_SIZE, COMP_x)
              .Src(IL_REGTYPE_TEMP, rI, COMP_x)
              .Write(dest);

    // The record offsets: times 4 for the flag, times 16 for the value, added to each base.
    const std::pair<uint32_t, uint32_t> addresses[] = {{rF, K + 1}, {rA, K}};
    for (const std::pair<uint32_t, uint32_t>& address : addresses)
    {
        bOk = bOk && CILTokens(OpcodeToken(IL_OP_ISHL))
                         .Dest(IL_REGTYPE_TEMP, rI, COMP_w)
                         .Src(IL_REGTYPE_TEMP, rI, COMP_w)
                         .Src(IL_REGTYPE_LITERAL, m_nLiteralTwo, COMP_x)
                         .Write(dest);
        if (m_b64BitPointers)
        {
            bOk = bOk && CILTokens(OpcodeToken(IL_OP_I64ADD))
                             .Dest(IL_REGTYPE_TEMP, address.first, COMP_xy)
                             .ConstantBuffer(1, address.second, COMP_xy)
                             .Src(IL_REGTYPE_TEMP, rI, COMP_w, IL_FILL_ZERO)
                             .Write(dest);
        }
        else
        {
            bOk = bOk && CILTokens(OpcodeToken(IL_OP_IADD))
                             .Dest(IL_REGTYPE_TEMP, address.first, COMP_x)
                             .ConstantBuffer(1, address.second, COMP_x)
                             .Src(IL_REGTYPE_TEMP, rI, COMP_w)
                             .Write(dest);
        }
    }

    const unsigned short addressMask = m_b64BitPointers ? COMP_xy : COMP_x;
    return bOk &&
           CILTokens(
               OpcodeToken(IL_OP_UAV_RAW_STORE, RawUAVControl(GetResultUAV(), m_b64BitPointers)))
               .Dest(IL_REGTYPE_MEM, 0)
               .Src(IL_REGTYPE_TEMP, rA, addressMask)
               .Src(IL_REGTYPE_TEMP, m_nOutputTempReg)
               .Write(dest) &&
           CILTokens(
               OpcodeToken(IL_OP_UAV_RAW_STORE, RawUAVControl(GetExecMaskUAV(), m_b64BitPointers)))
               .Dest(IL_REGTYPE_MEM, 0, COMP_x)
               .Src(IL_REGTYPE_TEMP, rF, addressMask)
               .Src(IL_REGTYPE_TEMP, m_nExecMaskTempReg, COMP_x)
               .Write(dest);
}

bool CShaderDebuggerShaderIL::WriteInputDump(ILOutput& dest,
                                             const std::vector<Register>& vTargetRegs)
{
    return WriteOutputDeclarations(dest) && WriteSplatLiteral(dest, m_nLiteralZero, 0) &&
           WriteSplatLiteral(dest, m_nLiteralOne, 1) &&
           CILTokens(OpcodeToken(IL_OP_MOV))
               .Dest(IL_REGTYPE_TEMP, m_nOutputTempReg)
               .Src(IL_REGTYPE_LITERAL, m_nLiteralZero)
               .Write(dest) &&
           WriteRegisterSwitch(dest, vTargetRegs);
}

bool CShaderDebuggerShaderIL::WriteOutputDeclarations(ILOutput& dest)
{
    return CILTokens(OpcodeToken(IL_OP_DCL_OUTPUT))
               .Dest(IL_REGTYPE_OUTPUT, m_nOutputRegister0)
               .Write(dest) &&
           CILTokens(OpcodeToken(IL_OP_DCL_OUTPUT))
               .Dest(IL_REGTYPE_OUTPUT, m_nOutputRegister1)
               .Write(dest);
}

bool CShaderDebuggerShaderIL::WriteCBDumpBody(ILOutput& dest)
{
    const unsigned short addressMask = m_b64BitPointers ? COMP_xy : COMP_x;
    const uint32_t rA = m_nOutputAddrTempReg;
    const uint32_t rV = m_nOutputTempReg;
    bool bOk = CILTokens(OpcodeToken(IL_OP_MOV))
                   .Dest(IL_REGTYPE_TEMP, rA, addressMask)
                   .ConstantBuffer(1, m_nKernelABIConstantBufferSize, addressMask)
                   .Write(dest);
    for (uint32_t i = 0; i < m_nKernelABIConstantBufferSize && bOk; ++i)
    {
        bOk = CILTokens(OpcodeToken(IL_OP_MOV))
                  .Dest(IL_REGTYPE_TEMP, rV)
                  .ConstantBuffer(1, i)
                  .Write(dest) &&
              CILTokens(
                  OpcodeToken(IL_OP_UAV_RAW_STORE, RawUAVControl(GetResultUAV(), m_b64BitPointers)))
                  .Dest(IL_REGTYPE_MEM, 0)
                  .Src(IL_REGTYPE_TEMP, rA, addressMask)
                  .Src(IL_REGTYPE_TEMP, rV)
                  .Write(dest);
        if (m_b64BitPointers)
        {
            bOk = bOk && CILTokens(OpcodeToken(IL_OP_I64ADD))
                             .Dest(IL_REGTYPE_TEMP, rA, COMP_xy)
                             .Src(IL_REGTYPE_TEMP, rA, COMP_xy)
                             .Src(IL_REGTYPE_LITERAL, m_nLiteralSixteen, COMP_x, IL_FILL_ZERO)
                             .Write(dest);
        }
        else
        {
            bOk = bOk && CILTokens(OpcodeToken(IL_OP_IADD))
                             .Dest(IL_REGTYPE_TEMP, rA, COMP_x)
                             .Src(IL_REGTYPE_TEMP, rA, COMP_x)
                             .Src(IL_REGTYPE_LITERAL, m_nLiteralSixteen)
                             .Write(dest);
        }
    }
    return bOk;
}

bool CShaderDebuggerShaderIL::CopyComment(ILInput& src, ILOutput& dest)
{
    unsigned int nToken = 0;
    if (!src.PeekToken(nToken) || GetILOpCode(nToken) != IL_OP_COMMENT)
    {
        return true;
    }
    CShaderDebuggerInstructionIL comment(m_pDebugger);
    return comment.ReadInstruction(src) && comment.WriteInstruction(dest);
}

bool CShaderDebuggerShaderIL::CopyMacroBody(ILInput& src, ILOutput& dest)
{
    CShaderDebuggerInstructionIL instruction(m_pDebugger);
    do
    {
        if (!instruction.ReadInstruction(src) || !instruction.WriteInstruction(dest))
        {
            return false;
        }
    } while (instruction.GetOpCode() != IL_OP_MEND);
    return true;
}

bool CShaderDebuggerShaderIL::CopyMacros(ILInput& src, ILOutput& dest)
{
    unsigned int nToken = 0;
    while (src.PeekToken(nToken) && GetILOpCode(nToken) == IL_OP_MDEF)
    {
        if (!CopyMacroBody(src, dest))
        {
            return false;
        }
    }
    return true;
}

bool CShaderDebuggerShaderIL::CopyProgramHeader(ILInput& src, ILOutput& dest)
{
    unsigned int nToken = 0;
    if (src.PeekToken(nToken) && GetILOpCode(nToken) == IL_OP_MDEF && !CopyMacros(src, dest))
    {
        return false;
    }
    unsigned int header[2] = {0, 0};
    return src.ReadTokens(header, 2) && dest.WriteTokens(header, 2);
}

bool CShaderDebuggerShaderIL::WriteComment(ILOutput& dest, const std::string& strText)
{
    const size_t nBytes = strText.size() + 1;
    std::vector<unsigned int> vText((nBytes + 3) / 4, 0);
    std::memcpy(vText.data(), strText.c_str(), nBytes);
    return dest.WriteToken(OpcodeToken(IL_OP_COMMENT)) &&
           dest.WriteToken(static_cast<unsigned int>(vText.size())) &&
           dest.WriteTokens(vText.data(), vText.size());
}

bool CShaderDebuggerShaderIL::PatchFunctionDeclarations(ILOutput& dest, uint32_t nLabel)
{
    std::map<uint32_t, Declarations>::const_iterator it = m_Declarations.find(nLabel);
    if (it == m_Declarations.end())
    {
        return false;
    }
    bool bOk = true;
    for (const std::pair<const uint32_t, uint32_t>& buffer : it->second.constantBuffers)
    {
        bOk = bOk && CILTokens(OpcodeToken(IL_OP_DCL_CB))
                         .ConstantBuffer(buffer.first, buffer.second)
                         .Write(dest);
    }
    for (const CShaderDebuggerInstructionIL& resource : it->second.resources)
    {
        bOk = bOk && resource.WriteInstruction(dest);
    }
    for (const CShaderDebuggerInstructionIL& uav : it->second.uavs)
    {
        bOk = bOk && uav.WriteInstruction(dest);
    }
    return bOk;
}
} // namespace XAN_ShaderDebugger
