// Registers whose number is only known at run time: elements of indexed temps and locations of
// private memory. A patched kernel can only copy a register it names, so the index is computed
// by replaying the code before the write, or the register is expanded to its whole array.

#include "ShaderDebuggerIL/ShaderDebuggerShaderIL.h"
#include "ShaderUtils/IL/ILFormat.h"

#include <set>

namespace XAN_ShaderDebugger
{
using namespace ShaderUtils;

namespace
{
// A private UAV is read back in blocks of four dwords.
const uint32_t PRIVATE_UAV_ELEMENT_BYTES = 16;

bool HasNonLiteral(const std::set<Register>& registers)
{
    for (const Register& reg : registers)
    {
        if (reg.reg.type != RT_LITERAL)
        {
            return true;
        }
    }
    return false;
}

// The component of a single-component mask, 0 to 3; 4 for any other mask.
unsigned int GetMaskComponent(unsigned short mask)
{
    switch (mask)
    {
    case COMP_x:
        return 0;
    case COMP_y:
        return 1;
    case COMP_z:
        return 2;
    case COMP_w:
        return 3;
    default:
        return 4;
    }
}
} // namespace

bool CShaderDebuggerShaderIL::ResolveIndexRegisterToConstant(Register* reg, uint32_t nInstruction,
                                                             uint32_t nMaxInstructions)
{
    if (reg == NULL || !IsIndexedRegisterType(reg->reg.type))
    {
        return false;
    }
    if (reg->reg.pIndexRegister == NULL)
    {
        return true;
    }
    const Register indexReg = *reg->reg.pIndexRegister;
    const unsigned int nComponent = GetMaskComponent(indexReg.mask);
    if (nComponent > 3)
    {
        return false;
    }

    std::set<Register> registersToResolve;
    registersToResolve.insert(indexReg);
    std::vector<const CShaderDebuggerInstructionIL*> execList;
    execList.reserve(nMaxInstructions);
    uint32_t nSteps = 0;
    if (nInstruction > m_Instructions.size())
    {
        return false;
    }

    // Backward: each register still to resolve is replaced by the sources of its last writer.
    while (nInstruction > 0)
    {
        --nInstruction;
        const CShaderDebuggerInstructionIL& instruction = m_Instructions[nInstruction];
        const unsigned int nOpCode = instruction.GetOpCode();
        if (nOpCode == IL_OP_FUNC || nOpCode == IL_OP_WHILELOOP || nOpCode == IL_OP_ENDLOOP ||
            nOpCode == IL_OP_ENDIF || nOpCode == IL_OP_ENDSWITCH)
        {
            return false;
        }
        if (nOpCode == IL_OP_ELSE || nOpCode == IL_OP_CASE || nOpCode == IL_OP_DEFAULT)
        {
            // The branches before this one didn't run on this path.
            std::map<uint32_t, CIL_FCConstruct*>::const_iterator it =
                m_FCConstructs.find(nInstruction);
            CIL_FCConstruct* pConstruct = it != m_FCConstructs.end() ? it->second : NULL;
            if (pConstruct != NULL && pConstruct->AsIfElseEndif() != NULL)
            {
                nInstruction = pConstruct->AsIfElseEndif()->m_nStart;
            }
            else if (pConstruct != NULL && pConstruct->AsSwitch() != NULL)
            {
                nInstruction = pConstruct->AsSwitch()->m_nStart;
            }
            else
            {
                return false;
            }
        }
        else
        {
            Register dest;
            if (instruction.GetDestRegister(dest))
            {
                std::set<Register>::iterator itFound = registersToResolve.begin();
                while (itFound != registersToResolve.end() &&
                       (itFound->reg.number != dest.reg.number || (itFound->mask & dest.mask) == 0))
                {
                    ++itFound;
                }
                if (itFound != registersToResolve.end())
                {
                    if (itFound->reg.type != RT_Temp)
                    {
                        SDU_Log(4, "Can only track across simple registers.\n");
                        return false;
                    }
                    registersToResolve.erase(itFound);
                    const unsigned int nSrcCount = instruction.GetSrcRegCount();
                    for (unsigned int nSrc = 0; nSrc < nSrcCount; ++nSrc)
                    {
                        registersToResolve.insert(instruction.GetSrcRegister(nSrc));
                    }
                    execList.push_back(&instruction);
                }
                ++nSteps;
            }
        }
        if (!HasNonLiteral(registersToResolve) || nSteps >= nMaxInstructions)
        {
            break;
        }
    }
    if (HasNonLiteral(registersToResolve))
    {
        SDU_Log(4, "Expression could not be reduced to literals.\n");
        return false;
    }

    // Forward, in program order, on all four components.
    std::map<RegisterID, Vec4> registerToValue;
    for (const Register& literal : registersToResolve)
    {
        std::map<uint32_t, Vec4>::const_iterator it =
            m_Literals.find(static_cast<uint32_t>(literal.reg.number));
        if (it == m_Literals.end())
        {
            return false;
        }
        registerToValue[literal.reg] = it->second;
    }
    for (std::vector<const CShaderDebuggerInstructionIL*>::reverse_iterator it = execList.rbegin();
         it != execList.rend(); ++it)
    {
        const CShaderDebuggerInstructionIL& instruction = **it;
        const unsigned int nOpCode = instruction.GetOpCode();
        if (nOpCode != IL_OP_MOV && nOpCode != IL_OP_IADD && nOpCode != IL_OP_ISHR)
        {
            SDU_Log(4, "Cannot resolve instruction %u.\n", nOpCode);
            return false;
        }
        Vec4 sources[2] = {};
        const unsigned int nSrcCount = nOpCode == IL_OP_MOV ? 1 : 2;
        for (unsigned int nSrc = 0; nSrc < nSrcCount; ++nSrc)
        {
            std::map<RegisterID, Vec4>::const_iterator itValue =
                registerToValue.find(instruction.GetSrcRegister(nSrc).reg);
            if (itValue == registerToValue.end())
            {
                return false;
            }
            sources[nSrc] = itValue->second;
        }
        Vec4 result = sources[0];
        for (unsigned int nComp = 0; nComp < 4 && nOpCode != IL_OP_MOV; ++nComp)
        {
            result[nComp] = nOpCode == IL_OP_IADD ? sources[0][nComp] + sources[1][nComp]
                                                  : sources[0][nComp] >> (sources[1][nComp] & 31);
        }
        registerToValue[instruction.GetDestRegister().reg] = result;
    }

    std::map<RegisterID, Vec4>::iterator itIndex = registerToValue.find(indexReg.reg);
    if (itIndex == registerToValue.end())
    {
        return false;
    }
    reg->reg.index = itIndex->second[nComponent];
    delete reg->reg.pIndexRegister;
    reg->reg.pIndexRegister = NULL;
    return true;
}

bool CShaderDebuggerShaderIL::ExpandIndexedRegisters(const PatchPoint& pp,
                                                     const std::vector<Register>& vRegisters,
                                                     std::vector<Register>* expandedRegisters)
{
    if (expandedRegisters == NULL)
    {
        return false;
    }

    // Writes through different indexes to one array count once.
    std::set<Register> indexedRegs;
    for (const Register& reg : vRegisters)
    {
        if (reg == g_Reg_NULL || !IsIndexedRegisterType(reg.reg.type))
        {
            expandedRegisters->push_back(reg);
        }
        else if (reg.reg.type != RT_IndexableTemp && reg.reg.type != RT_PrivateUAVAccess)
        {
            continue;
        }
        else if (reg.reg.pIndexRegister == NULL)
        {
            expandedRegisters->push_back(reg);
        }
        else
        {
            SDU_Log(6, "unresolved index reg %d %d\n", reg.reg.pIndexRegister->reg.number,
                    static_cast<int>(reg.reg.pIndexRegister->reg.index));
            indexedRegs.insert(
                Register(RegisterID(reg.reg.type, reg.reg.number, 0, NULL), COMP_All));
        }
    }

    for (const Register& reg : indexedRegs)
    {
        const bool bPrivate = reg.reg.type == RT_PrivateUAVAccess;
        const uint32_t nNumber = static_cast<uint32_t>(reg.reg.number);
        std::map<uint32_t, uint32_t>::const_iterator itScope = m_FunctionScope.find(pp.pc.m_nPos);
        uint32_t nCurrentScope = itScope != m_FunctionScope.end() ? itScope->second : 0;
        std::deque<ProgramCounter>::const_reverse_iterator callStackIter = m_CallStack.rbegin();
        uint32_t nSize = 0;
        for (;;)
        {
            std::map<uint32_t, Declarations>::const_iterator itDecl =
                m_Declarations.find(nCurrentScope);
            if (itDecl != m_Declarations.end())
            {
                const std::map<uint32_t, uint32_t>& sizes =
                    bPrivate ? itDecl->second.privateUAVSizes : itDecl->second.indexedTempSizes;
                std::map<uint32_t, uint32_t>::const_iterator itSize = sizes.find(nNumber);
                if (itSize != sizes.end())
                {
                    nSize = itSize->second;
                    break;
                }
            }
            if (callStackIter == m_CallStack.rend())
            {
                SDU_ReportAssert(GetHost(), "Indexed reg decl not found in call stack", __FILE__,
                                 __LINE__, __PRETTY_FUNCTION__);
                return false;
            }
            itScope = m_FunctionScope.find(callStackIter->m_nPos);
            nCurrentScope = itScope != m_FunctionScope.end() ? itScope->second : 0;
            ++callStackIter;
        }

        const uint32_t nStep = bPrivate ? PRIVATE_UAV_ELEMENT_BYTES : 1;
        for (uint64_t i = 0; i < nSize; i += nStep)
        {
            Register element = reg;
            element.reg.index = static_cast<unsigned int>(i);
            expandedRegisters->push_back(element);
        }
    }
    return true;
}
} // namespace XAN_ShaderDebugger
