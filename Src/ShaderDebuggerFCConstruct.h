#ifndef SHADER_DEBUGGER_FC_CONSTRUCT_H
#define SHADER_DEBUGGER_FC_CONSTRUCT_H

#include "ShaderDebuggerShader.h"

#include <vector>

namespace XAN_ShaderDebugger
{
// What GetType() answers for each class of construct.
enum FCConstructType : unsigned int
{
    FCT_IfElseEndif = 0,
    FCT_Loop = 1,
    FCT_Switch = 2
};

// Adds reg to a list of written registers: an entry with an equal RegisterID takes the union
// of the masks, so that each register stands in the list once.
void AddRegister(std::vector<Register>& vRegisters, const Register& reg);

// One node of the tree of flow-control constructs that an analysis builds. The IL and DXBC
// families share the tree walk; TConstruct is the family's base, the other three its classes.
template <class TConstruct, class TIfElseEndif, class TLoop, class TSwitch> class CFCConstructNode
{
public:
    virtual ~CFCConstructNode() {}
    virtual unsigned int GetType() const = 0;

    TConstruct* GetParent() const { return m_pParent; }

    // The loops from this construct up to the root, this one included.
    unsigned int GetLoopDepth() const
    {
        unsigned int nDepth = 0;
        for (const CFCConstructNode* pConstruct = this; pConstruct != NULL;
             pConstruct = pConstruct->m_pParent)
        {
            if (pConstruct->GetType() == FCT_Loop)
            {
                ++nDepth;
            }
        }
        return nDepth;
    }

    TIfElseEndif* AsIfElseEndif()
    {
        return GetType() == FCT_IfElseEndif ? static_cast<TIfElseEndif*>(this) : NULL;
    }
    TLoop* AsLoop() { return GetType() == FCT_Loop ? static_cast<TLoop*>(this) : NULL; }
    TSwitch* AsSwitch() { return GetType() == FCT_Switch ? static_cast<TSwitch*>(this) : NULL; }

    // The enclosing construct, not owned.
    TConstruct* m_pParent;

protected:
    explicit CFCConstructNode(TConstruct* pParent) : m_pParent(pParent) {}
};

// The positions of an if-else-endif, in either family.
template <class TConstruct> class CFCIfElseEndif : public TConstruct
{
public:
    CFCIfElseEndif(TConstruct* pParent, unsigned int nStart)
        : TConstruct(pParent), m_nStart(nStart), m_nElse(g_nInvalidInstruction),
          m_nEnd(g_nInvalidInstruction)
    {
    }

    unsigned int GetType() const override { return FCT_IfElseEndif; }

    bool HasElse() const { return m_nElse != g_nInvalidInstruction; }
    unsigned int GetElseOrEnd() const { return HasElse() ? m_nElse : m_nEnd; }
    bool IsInIfBranch(unsigned int nPos) const { return nPos > m_nStart && nPos < GetElseOrEnd(); }
    bool IsInElseBranch(unsigned int nPos) const
    {
        return HasElse() && nPos > m_nElse && nPos < m_nEnd;
    }

    unsigned int m_nStart;
    // The invalid instruction number while there is no else, or no endif yet.
    unsigned int m_nElse;
    unsigned int m_nEnd;
};

// The positions of a loop and the counter that the patched code keeps for it.
template <class TConstruct> class CFCLoop : public TConstruct
{
public:
    CFCLoop(TConstruct* pParent, unsigned int nStart)
        : TConstruct(pParent), m_nStart(nStart), m_nEnd(g_nInvalidInstruction), m_nCountRegister(0),
          m_nCountComponent(0)
    {
    }

    unsigned int GetType() const override { return FCT_Loop; }

    unsigned int GetStart() const { return m_nStart; }
    unsigned int GetEnd() const { return m_nEnd; }
    // The counter's component, as a COMP_* mask.
    unsigned int GetCountComponent() const { return m_nCountComponent; }

    unsigned int m_nStart;
    unsigned int m_nEnd;
    // Temp register that the patched code counts iterations in.
    unsigned int m_nCountRegister;
    unsigned int m_nCountComponent;
};

// The positions of a switch.
template <class TConstruct> class CFCSwitch : public TConstruct
{
public:
    CFCSwitch(TConstruct* pParent, unsigned int nStart)
        : TConstruct(pParent), m_nStart(nStart), m_nEnd(g_nInvalidInstruction)
    {
    }

    unsigned int GetType() const override { return FCT_Switch; }

    unsigned int m_nStart;
    unsigned int m_nEnd;
};

class CIL_IfElseEndif;
class CIL_Loop;
class CIL_Switch;

// The IL family: each construct also knows whether memory is written inside it.
class CIL_FCConstruct
    : public CFCConstructNode<CIL_FCConstruct, CIL_IfElseEndif, CIL_Loop, CIL_Switch>
{
public:
    // Marks this construct and every enclosing one.
    void SetHasMemoryWrite();

    bool m_bHasMemoryWrite;

protected:
    explicit CIL_FCConstruct(CIL_FCConstruct* pParent)
        : CFCConstructNode(pParent), m_bHasMemoryWrite(false)
    {
    }
};

class CIL_IfElseEndif : public CFCIfElseEndif<CIL_FCConstruct>
{
public:
    CIL_IfElseEndif(CIL_FCConstruct* pParent, unsigned int nStart) : CFCIfElseEndif(pParent, nStart)
    {
    }

    void AddIfRegister(const Register& reg) { AddRegister(m_vIfRegisters, reg); }
    void AddElseRegister(const Register& reg) { AddRegister(m_vElseRegisters, reg); }

    // Registers written in each branch.
    std::vector<Register> m_vIfRegisters;
    std::vector<Register> m_vElseRegisters;
};

class CIL_Loop : public CFCLoop<CIL_FCConstruct>
{
public:
    CIL_Loop(CIL_FCConstruct* pParent, unsigned int nStart)
        : CFCLoop(pParent, nStart), m_nCountLiteral(0)
    {
    }

    void AddRegister(const Register& reg) { XAN_ShaderDebugger::AddRegister(m_vRegisters, reg); }

    // Literal register that holds the counter's constants.
    unsigned int m_nCountLiteral;
    // Registers written in the loop.
    std::vector<Register> m_vRegisters;
};

class CIL_Switch : public CFCSwitch<CIL_FCConstruct>
{
public:
    CIL_Switch(CIL_FCConstruct* pParent, unsigned int nStart) : CFCSwitch(pParent, nStart) {}

    // The first case or default behind nPos, or the endswitch.
    unsigned int GetNextCase(unsigned int nPos) const;
    // The last case or default before nPos, or the switch.
    unsigned int GetPreviousCase(unsigned int nPos) const;
    // Whether nPos is a break that leaves this switch.
    bool IsBreak(unsigned int nPos) const;

    void AddRegister(const Register& reg) { XAN_ShaderDebugger::AddRegister(m_vRegisters, reg); }

    // Positions of case and default, in source order.
    std::vector<unsigned int> m_vCases;
    std::vector<unsigned int> m_vBreaks;
    // Registers written in the switch.
    std::vector<Register> m_vRegisters;
};

class CDXX_IfElseEndif;
class CDXX_Loop;
class CDXX_Switch;

// The DXBC family: positions only.
class CDXX_FCConstruct
    : public CFCConstructNode<CDXX_FCConstruct, CDXX_IfElseEndif, CDXX_Loop, CDXX_Switch>
{
protected:
    explicit CDXX_FCConstruct(CDXX_FCConstruct* pParent) : CFCConstructNode(pParent) {}
};

class CDXX_IfElseEndif : public CFCIfElseEndif<CDXX_FCConstruct>
{
public:
    CDXX_IfElseEndif(CDXX_FCConstruct* pParent, unsigned int nStart)
        : CFCIfElseEndif(pParent, nStart)
    {
    }
};

class CDXX_Loop : public CFCLoop<CDXX_FCConstruct>
{
public:
    CDXX_Loop(CDXX_FCConstruct* pParent, unsigned int nStart) : CFCLoop(pParent, nStart) {}
};

class CDXX_Switch : public CFCSwitch<CDXX_FCConstruct>
{
public:
    CDXX_Switch(CDXX_FCConstruct* pParent, unsigned int nStart) : CFCSwitch(pParent, nStart) {}
};
} // namespace XAN_ShaderDebugger

#endif
