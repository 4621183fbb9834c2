#ifndef XAN_PLATFORM_CILGENERATOR_H
#define XAN_PLATFORM_CILGENERATOR_H

#include "CCLCCompiler.h"

#include <clang/AST/ASTContext.h>
#include <clang/AST/Decl.h>
#include <clang/AST/Expr.h>
#include <clang/AST/Stmt.h>

#include <cstdint>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace XAN_Platform
{
// Lowers the kernels of a parsed OpenCL C program, and the functions they call, to IL text.
// Statements map to IL's structured flow as written: if/else, whileloop with its exit test at
// the top, switch; a return before a function's end becomes a flag that later statements are
// guarded by, so every function has one exit. Each value lives in registers of its own (temps
// are shared by all functions, and a register is never reused), 32-bit lanes four to a
// register, 64-bit lanes two; arrays, structs and variables whose address is taken live in
// private memory.
class CILGenerator
{
public:
    // Several units make one program: a function one declares may be defined by another.
    CILGenerator(const std::vector<clang::ASTContext*>& vUnits, const SCLCTarget& target,
                 bool bDebug);

    bool Generate(std::string& strIL, std::string& strLog);

private:
    enum EElement
    {
        E_I8,
        E_U8,
        E_I16,
        E_U16,
        E_I32,
        E_U32,
        E_I64,
        E_U64,
        E_F32,
        E_F64
    };
    enum ESpace
    {
        S_Global,
        S_Local,
        S_Private
    };

    // The rounding of a conversion to an integer: the order of the round_ instructions first.
    enum ERounding
    {
        R_Even,
        R_Up,
        R_Down,
        R_Zero
    };

    // A value in registers (or a literal): nLanes lanes of eElement.
    struct SValue
    {
        EElement eElement = E_I32;
        unsigned int nLanes = 1;
        int nRegister = 0;
        bool bLiteral = false;
        uint64_t nBits = 0; // a literal's value
    };
    // Where an assignable expression lives: lanes of a register variable, or memory.
    struct SLValue
    {
        bool bMemory = false;
        SValue value;                 // the variable (registers) or the address (memory)
        std::vector<unsigned> vLanes; // selected lanes of a register variable, empty: all
        ESpace eSpace = S_Private;
        clang::QualType type;
    };
    struct SVariable
    {
        bool bMemory = false;
        SValue value; // registers of the variable
        ESpace eSpace = S_Private;
        uint32_t nOffset = 0; // byte offset in private or local memory
    };
    struct SFunction
    {
        const clang::FunctionDecl* pDecl = nullptr;
        uint32_t nLabel = 0;
        std::vector<SValue> vParameters;
        SValue result;
        bool bKernel = false;
        uint32_t nLocalBytes = 0; // of the kernel's __local variables
        // The bits of the kernel's constant samplers, whose ids follow its sampler arguments'.
        std::vector<uint32_t> vConstantSamplers;
    };
    struct SImageArg
    {
        uint32_t nId = 0;  // resource id, or UAV id of a written image
        uint32_t nRow = 0; // of its width, height, depth, layers; then type, order, pitches
        bool bWrite = false;
    };
    struct SBreakable
    {
        bool bLoop = false;
        const clang::Expr* pIncrement = nullptr; // of a for loop, run before a continue
    };
    struct SRefusal
    {
        clang::SourceLocation location;
        const clang::SourceManager* pSources; // of the location's unit
        std::string strMessage;
    };

    // Program structure.
    void CollectFunctions(const clang::FunctionDecl* pFunction, const clang::Stmt* pStmt,
                          std::vector<const clang::FunctionDecl*>& vPath);
    void FindAddressTaken(const clang::Stmt* pStmt);
    void GenerateFunction(SFunction& function);
    std::string ProgramText();
    std::string KernelMetadata(const SFunction& function, uint32_t& nCb1Rows);
    static std::string Where(const SRefusal& refusal);
    const clang::FunctionDecl* DefinitionOf(const clang::FunctionDecl* pCallee) const;
    bool IsUserFunction(const clang::FunctionDecl* pFunction) const;
    [[noreturn]] void Refuse(const clang::Stmt* pStmt, const std::string& strMessage) const;
    [[noreturn]] void Refuse(const clang::Decl* pDecl, const std::string& strMessage) const;

    // Types.
    std::string TypeName(clang::QualType type) const;
    bool IsPointer(clang::QualType type) const;
    ESpace SpaceOf(clang::QualType pointee) const;
    EElement AddressElement(ESpace eSpace) const;
    EElement ElementOf(clang::QualType type, const clang::Stmt* pWhere) const;
    unsigned int LanesOf(clang::QualType type) const;
    SValue ShapeOf(clang::QualType type, const clang::Stmt* pWhere) const;
    static bool Is64(EElement e) { return e == E_I64 || e == E_U64 || e == E_F64; }
    static bool IsFloat(EElement e) { return e == E_F32 || e == E_F64; }
    static bool IsSigned(EElement e) { return e == E_I8 || e == E_I16 || e == E_I32 || e == E_I64; }
    static unsigned int ElementBytes(EElement e);

    // Registers, literals and instructions.
    SValue Temp(EElement eElement, unsigned int nLanes);
    SValue Literal(EElement eElement, uint64_t nBits);
    uint32_t LiteralNumber(uint32_t a, uint32_t b, uint32_t c, uint32_t d);
    static unsigned int LanesPerRegister(EElement e) { return Is64(e) ? 2 : 4; }
    static unsigned int Chunks(const SValue& value);
    static std::string Dest(const SValue& value, unsigned int nChunk);
    static std::string Source(const SValue& value, unsigned int nChunk);
    static std::string LaneDest(const SValue& value, unsigned int nLane);
    // The low or high word of one lane of a 64-bit value, as a destination.
    static std::string WordDest(const SValue& value, unsigned int nLane, bool bHigh);
    static std::string LaneSource(const SValue& value, unsigned int nLane);
    static SValue AsWords(const SValue& value);
    void Emit(const std::string& strLine);
    void Lanewise(const char* pOp, const SValue& dest, const std::vector<SValue>& vSources);
    SValue Apply(const char* pOp, EElement eResult, const std::vector<SValue>& vSources);
    SValue Materialize(const SValue& value);
    SValue Splat(const SValue& scalar, unsigned int nLanes);
    SValue Normalize(const SValue& value);
    SValue Convert(const SValue& value, EElement eTo, const clang::Stmt* pWhere);
    SValue ToCondition(const SValue& value);
    SValue Word(const SValue& value, bool bHigh);
    SValue Join(const SValue& low, const SValue& high);
    SValue Int64ToDouble(const SValue& value);
    SValue Int64ToFloat(const SValue& value);
    SValue DoubleToInt64(const SValue& value, bool bSigned);
    SValue DoubleMagnitude(const SValue& value);
    SValue Exp2Precise(const SValue& t);
    SValue Log2Precise(const SValue& x);
    SValue Power(const SValue& x, const SValue& y, bool bPowr);
    SValue RoundDouble(const SValue& value, ERounding eRounding);
    SValue CompareResult(const SValue& mask, clang::QualType type);
    void Copy(const SValue& dest, const SValue& source);
    SValue Extract(const SValue& value, const std::vector<unsigned>& vLanes);
    void Insert(const SValue& dest, const std::vector<unsigned>& vLanes, const SValue& source);
    SValue AddressAdd(const SValue& address, const SValue& byteOffset);
    SValue AddressAddConstant(const SValue& address, int64_t nOffset);

    // Memory.
    std::string MemoryOp(const char* pGlobal, const char* pLocal, ESpace eSpace) const;
    std::string AddressOperand(const SValue& address) const;
    std::string IndexedWord(const SValue& address, std::string& strComponent, SValue& component);
    void LoadIndexedWords(const SValue& address, const SValue& words);
    void StoreIndexedWords(const SValue& address, const SValue& words);
    SValue LoadMemory(ESpace eSpace, const SValue& address, EElement eElement, unsigned int nLanes);
    void StoreMemory(ESpace eSpace, const SValue& address, const SValue& value);
    // Scalars, vectors and events: what a register holds.
    static bool IsRegisterType(clang::QualType type);
    SValue Load(const SLValue& lvalue, const clang::Stmt* pWhere);
    void Store(const SLValue& lvalue, const SValue& value, const clang::Stmt* pWhere);
    uint32_t AllocatePrivate(uint64_t nBytes);
    void CopyMemory(const SLValue& dest, const SLValue& source, uint64_t nBytes);
    SValue MemoryAddress(const SLValue& lvalue, const clang::Stmt* pWhere) const;

    // Statements.
    bool EmitStatement(const clang::Stmt* pStmt);
    bool EmitCompound(const clang::CompoundStmt* pCompound);
    bool EmitStatementsGuarded(const std::vector<const clang::Stmt*>& vStatements, size_t nFirst);
    void EmitDeclaration(const clang::VarDecl* pVar);
    void InitializeMemory(ESpace eSpace, const SValue& address, clang::QualType type,
                          const clang::Expr* pInit);
    bool EmitFor(const clang::ForStmt* pFor);
    bool EmitWhile(const clang::WhileStmt* pWhile);
    bool EmitDo(const clang::DoStmt* pDo);
    bool EmitSwitch(const clang::SwitchStmt* pSwitch);
    bool EmitReturn(const clang::ReturnStmt* pReturn);
    void EmitContinue(const clang::Stmt* pStmt);
    std::string Condition(const clang::Expr* pExpr);
    void MarkLine(clang::SourceLocation location);

    // Expressions.
    SValue EmitExpr(const clang::Expr* pExpr);
    SLValue EmitLValue(const clang::Expr* pExpr);
    SValue EmitCast(const clang::CastExpr* pCast);
    SValue EmitUnary(const clang::UnaryOperator* pUnary);
    SValue EmitBinary(const clang::BinaryOperator* pBinary);
    SValue EmitAssignment(const clang::BinaryOperator* pBinary);
    SValue Arithmetic(clang::BinaryOperatorKind eOp, const SValue& a, const SValue& b,
                      clang::QualType resultType, const clang::Stmt* pWhere);
    SValue PointerArithmetic(clang::BinaryOperatorKind eOp, const clang::Expr* pPointer,
                             const SValue& pointer, const SValue& index, const clang::Stmt* pWhere);
    SValue EmitLogical(const clang::BinaryOperator* pBinary);
    SValue EmitConditional(const clang::ConditionalOperator* pConditional);
    SValue EmitInitList(const clang::InitListExpr* pInit, clang::QualType type);
    SValue EmitCall(const clang::CallExpr* pCall);
    SValue EmitBuiltin(const clang::CallExpr* pCall, const std::string& strName);
    SValue WorkItem(const std::string& strName, const clang::CallExpr* pCall);
    SValue Atomic(const std::string& strName, const clang::CallExpr* pCall);
    SValue Atomic64(const std::string& strOp, const clang::CallExpr* pCall, EElement eElement,
                    ESpace eSpace, const SValue& address);
    SValue Printf(const clang::CallExpr* pCall);
    // Images and samplers.
    static bool IsImageArgument(clang::QualType type);
    uint32_t BindImageArgument(const clang::ParmVarDecl* pParameter, uint32_t nRow);
    std::string ImageMetadata(const clang::ParmVarDecl* pParameter, uint32_t& nOffset) const;
    std::string SamplerMetadata(const SFunction& function) const;
    const SImageArg& ImageOf(const clang::Expr* pExpr, const clang::CallExpr* pCall) const;
    uint32_t SamplerId(const clang::Expr* pExpr, const clang::CallExpr* pCall);
    SValue ImageBuiltin(const std::string& strName, const clang::CallExpr* pCall);
    SValue AsyncCopy(const clang::CallExpr* pCall, bool bStrided);
    SValue Math(const std::string& strName, const std::vector<SValue>& vArgs,
                const clang::CallExpr* pCall);
    SValue IncrementDecrement(const clang::UnaryOperator* pUnary);
    uint64_t TypeSize(clang::QualType type) const;

    std::vector<clang::ASTContext*> m_vUnits;
    clang::ASTContext* m_pContext; // of the function being lowered
    std::map<std::string, const clang::FunctionDecl*> m_Definitions; // external, by name
    SCLCTarget m_Target;
    bool m_bDebug;

    std::map<const clang::FunctionDecl*, SFunction> m_Functions;
    std::vector<const clang::FunctionDecl*> m_vOrder;
    std::set<const clang::VarDecl*> m_AddressTaken;
    std::map<const clang::VarDecl*, SVariable> m_Variables;
    std::map<std::vector<uint32_t>, uint32_t> m_Literals;
    std::vector<std::string> m_vPrintfSites; // the ";printf_fn" lines, by call number
    std::map<const clang::ParmVarDecl*, SImageArg> m_ImageArgs;
    std::map<const clang::ParmVarDecl*, uint32_t> m_SamplerArgs; // their sampler ids
    uint32_t m_nImageArgs = 0;                                   // of the kernel being generated
    uint32_t m_nSamplerArgs = 0;                                 // of the kernel being generated

    // The function being generated.
    SFunction* m_pFunction = nullptr;
    std::ostringstream m_Body;
    std::set<uint32_t> m_UsedLiterals;
    std::vector<SBreakable> m_vBreakables;
    int m_nReturnFlag = -1;
    int m_nNextRegister = 0;
    uint32_t m_nPrivateBytes = 0;
    uint32_t m_nLocalBytes = 0;
    unsigned int m_nLastLine = 0;
    std::string m_strLastFile;
    bool m_bPrivateUsed = false;
    const clang::Stmt* m_pStatement = nullptr; // the statement being lowered, for messages
    bool m_bDiscard = false;                   // the expression statement's value is not used
    bool m_bAtomicUnused = false;              // the atomic being lowered has its value discarded
    std::map<const SFunction*, std::string> m_Bodies;
    std::map<const SFunction*, std::set<uint32_t>> m_FunctionLiterals;
};
} // namespace XAN_Platform

#endif
