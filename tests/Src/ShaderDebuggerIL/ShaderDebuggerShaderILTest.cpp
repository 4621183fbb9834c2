// The analysis of the corpus kernels: line map, construct tree, functions, registers written,
// metadata, reservation of temps, literals and UAVs, and the refusals with their texts.
// Instructions are named by their text in the kernel's debug IL.

#include "ShaderUtils/IL/ILFormat.h"
#include "support/AnalysisDoubles.h"
#include "support/CorpusKernels.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <stdexcept>

namespace
{
using namespace XAN_ShaderDebugger;
using XAN_Test::CAnalyzedKernel;
using XAN_Test::CAnalyzedShaderIL;
using XAN_Test::LoadDebugBinary;
using XAN_Test::LoadEditedDebugBinary;
using XAN_Test::ReplaceFirst;

typedef std::function<void(std::string&)> Edit;

// An edit that replaces the first occurrence of one text.
Edit Replace(const std::string& strFind, const std::string& strReplace)
{
    return [strFind, strReplace](std::string& strText)
    { EXPECT_TRUE(ReplaceFirst(strText, strFind, strReplace)) << strFind; };
}

// An edit that inserts lines before the kernel's ret.
Edit BeforeRet(const std::string& strLines)
{
    return Replace("\nret\n", "\n" + strLines + "ret\n");
}

std::unique_ptr<CAnalyzedKernel> Analyze(const std::string& strName, const Edit& editIL = Edit(),
                                         const Edit& editMetadata = Edit())
{
    const std::vector<char> vBinary = editIL || editMetadata
                                          ? LoadEditedDebugBinary(strName, editIL, editMetadata)
                                          : LoadDebugBinary(strName);
    EXPECT_FALSE(vBinary.empty()) << strName;
    return std::unique_ptr<CAnalyzedKernel>(new CAnalyzedKernel(strName, vBinary));
}

// The construct that an instruction opens; the test fails, by the exception, without one.
CIL_FCConstruct* Opened(const CAnalyzedKernel& kernel, const std::string& strText,
                        unsigned int nth = 0)
{
    CIL_FCConstruct* pConstruct = kernel.ConstructAt(kernel.At(strText, nth));
    if (pConstruct == nullptr)
    {
        throw std::runtime_error("no construct at " + strText);
    }
    return pConstruct;
}

bool IsDebuggable(const CAnalyzedKernel& kernel)
{
    return kernel.m_pShader->IsShaderDebuggable(1);
}

const char* const g_DebuggableKernels[] = {"straight", "ifelse",      "loops",
                                           "nested5",  "switch",      "functions",
                                           "outline",  "private_uav", "private_x1"};

// Every instruction stands on the line of the debug IL that holds its text, and the map goes
// both ways; declarations and comments have no instruction.
class LineMapTest : public ::testing::TestWithParam<const char*>
{
};

TEST_P(LineMapTest, EveryInstructionIsOnItsOwnLineOfTheDebugIL)
{
    const auto pKernel = Analyze(GetParam());
    CAnalyzedShaderIL& shader = *pKernel->m_pShader;
    ASSERT_TRUE(IsDebuggable(*pKernel)) << shader.Info().strError[0];
    const std::vector<CShaderDebuggerInstructionIL>& vInstructions = shader.GetInstructions();
    ASSERT_FALSE(vInstructions.empty());
    EXPECT_EQ("end", pKernel->m_vLines[shader.GetLineFromInstruction(vInstructions.size() - 1)]);
    size_t nMapped = 0;
    for (uint32_t nLine = 0; nLine < pKernel->m_vLines.size(); ++nLine)
    {
        const uint32_t n = shader.GetInstructionFromLine(nLine);
        if (n == g_nInvalidInstruction)
        {
            continue;
        }
        ++nMapped;
        ASSERT_LT(n, vInstructions.size());
        EXPECT_EQ(nLine, shader.GetLineFromInstruction(n));
        const std::string strName = vInstructions[n].GetOpCodeName();
        EXPECT_EQ(0u, pKernel->m_vLines[nLine].compare(0, strName.size(), strName))
            << "line " << nLine << ": " << pKernel->m_vLines[nLine];
    }
    EXPECT_EQ(vInstructions.size(), nMapped);
    EXPECT_EQ(g_nInvalidInstruction, shader.GetInstructionFromLine(0));
}

INSTANTIATE_TEST_SUITE_P(Corpus, LineMapTest, ::testing::ValuesIn(g_DebuggableKernels));

TEST(ShaderDebuggerShaderIL, FindLineNearGivesTheNextInstructionLineWithinTheDistance)
{
    const auto pKernel = Analyze("straight");
    CAnalyzedShaderIL& shader = *pKernel->m_pShader;
    const uint32_t nFirst =
        shader.GetLineFromInstruction(pKernel->At("iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx"));
    const uint32_t nDeclaration = nFirst - 1;
    EXPECT_EQ(nFirst, shader.FindLineNear(nDeclaration, 0xFFFFFFFF));
    EXPECT_EQ(nFirst, shader.FindLineNear(nDeclaration, 1));
    EXPECT_EQ(nFirst, shader.FindLineNear(nFirst, 0));
    EXPECT_EQ(0xFFFFFFFFu, shader.FindLineNear(nDeclaration - 3, 3));
    EXPECT_EQ(0xFFFFFFFFu, shader.FindLineNear(100000, 0xFFFFFFFF));
}

// The start of a construct, whichever kind it is.
uint32_t StartOf(CIL_FCConstruct* pConstruct)
{
    if (CIL_IfElseEndif* pIf = pConstruct->AsIfElseEndif())
    {
        return pIf->m_nStart;
    }
    CIL_Loop* pLoop = pConstruct->AsLoop();
    return pLoop != nullptr ? pLoop->m_nStart : pConstruct->AsSwitch()->m_nStart;
}

TEST(ShaderDebuggerShaderIL, InstructionHasTheInnermostOpenConstruct)
{
    for (const std::vector<std::string>& vRow :
         XAN_Test::ReadTable(XAN_TEST_DATA_DIR "/constructs.txt"))
    {
        ASSERT_EQ(vRow.size(), 5u);
        SCOPED_TRACE(vRow[0] + ": " + vRow[1] + " #" + vRow[2]);
        const auto pKernel = Analyze(vRow[0]);
        const uint32_t n = pKernel->At(vRow[1], std::stoul(vRow[2]));
        ASSERT_NE(g_nInvalidInstruction, n);
        CIL_FCConstruct* pConstruct = pKernel->ConstructAt(n);
        if (vRow[3].empty())
        {
            EXPECT_EQ(nullptr, pConstruct);
            continue;
        }
        ASSERT_NE(nullptr, pConstruct);
        EXPECT_EQ(pKernel->At(vRow[3], std::stoul(vRow[4])), StartOf(pConstruct));
    }
}

TEST(ShaderDebuggerShaderIL, ConstructsHoldTheirPositionsParentsAndWrittenRegisters)
{
    const auto pIfElse = Analyze("ifelse");
    CIL_IfElseEndif* pOuter = Opened(*pIfElse, "if_logicalnz r1.xxxx")->AsIfElseEndif();
    CIL_IfElseEndif* pInner = Opened(*pIfElse, "ifnz r1.yyyy")->AsIfElseEndif();
    ASSERT_NE(nullptr, pOuter);
    ASSERT_NE(nullptr, pInner);
    EXPECT_EQ(pIfElse->At("else", 1), pOuter->m_nElse);
    EXPECT_EQ(pIfElse->At("endif", 2), pOuter->m_nEnd);
    EXPECT_EQ(nullptr, pOuter->GetParent());
    EXPECT_EQ(pOuter, pInner->GetParent());
    const Register r1y(RegisterID(RT_Temp, 1, 0, NULL), COMP_y);
    const Register r1z(RegisterID(RT_Temp, 1, 0, NULL), COMP_z);
    const Register r2x(RegisterID(RT_Temp, 2, 0, NULL), COMP_x);
    EXPECT_EQ((std::vector<Register>{r1y, r2x}), pOuter->m_vIfRegisters);
    EXPECT_EQ((std::vector<Register>{r1z, r2x}), pOuter->m_vElseRegisters);
    EXPECT_EQ((std::vector<Register>{r2x}), pInner->m_vIfRegisters);

    const auto pSwitch = Analyze("switch");
    CIL_Switch* pFirst = Opened(*pSwitch, "switch r1.xxxx")->AsSwitch();
    ASSERT_NE(nullptr, pFirst);
    EXPECT_EQ((std::vector<uint32_t>{pSwitch->At("case 0"), pSwitch->At("case 1"),
                                     pSwitch->At("case 2"), pSwitch->At("default")}),
              pFirst->m_vCases);
    EXPECT_EQ((std::vector<uint32_t>{pSwitch->At("break"), pSwitch->At("break", 1)}),
              pFirst->m_vBreaks);
    EXPECT_EQ(pSwitch->At("endswitch"), pFirst->m_nEnd);
    CIL_Switch* pInLoop = Opened(*pSwitch, "switch r1.yyyy")->AsSwitch();
    ASSERT_NE(nullptr, pInLoop);
    ASSERT_NE(nullptr, pInLoop->GetParent());
    EXPECT_NE(nullptr, pInLoop->GetParent()->AsLoop());
    EXPECT_EQ((std::vector<uint32_t>{pSwitch->At("break", 2)}), pInLoop->m_vBreaks);

    // Stores mark their construct and every one around it.
    const auto pPrivate = Analyze("private_uav");
    CIL_FCConstruct* pStoreLoop = Opened(*pPrivate, "whileloop");
    CIL_FCConstruct* pLoadLoop = Opened(*pPrivate, "whileloop", 1);
    EXPECT_TRUE(pStoreLoop->m_bHasMemoryWrite);
    EXPECT_FALSE(pLoadLoop->m_bHasMemoryWrite);
}

TEST(ShaderDebuggerShaderIL, FiveNestedLoopsTakeTwoCountRegistersAndLiterals)
{
    const auto pKernel = Analyze("nested5");
    CAnalyzedShaderIL& shader = *pKernel->m_pShader;
    ASSERT_TRUE(IsDebuggable(*pKernel));
    // The kernel writes r0 to r6 and declares l0: the debugger's literals come first, then its
    // five temps, then one temp and one literal per four loops.
    EXPECT_EQ(7u, shader.m_nTempRegisterCount);
    EXPECT_EQ((std::vector<uint32_t>{7, 8, 9, 10, 11, 12, 13}), shader.m_vDebuggerTempRegs);
    EXPECT_EQ(14u, shader.m_nPatchedTempRegisterCount);
    EXPECT_EQ(8u, shader.m_nPatchedLiteralRegisterCount);
    EXPECT_EQ(
        (std::vector<uint32_t>{1, 2, 3, 4, 5}),
        (std::vector<uint32_t>{shader.m_nLiteralZero, shader.m_nLiteralOne, shader.m_nLiteralTwo,
                               shader.m_nLiteralMinusOne, shader.m_nLiteralSixteen}));
    EXPECT_EQ(8u, shader.m_qUnusedLiteralRegs.front());
    const unsigned short components[] = {COMP_x, COMP_y, COMP_z, COMP_w, COMP_x};
    for (unsigned int nLoop = 0; nLoop < 5; ++nLoop)
    {
        CIL_Loop* pLoop = Opened(*pKernel, "whileloop", nLoop)->AsLoop();
        ASSERT_NE(nullptr, pLoop);
        EXPECT_EQ(nLoop + 1, pLoop->GetLoopDepth());
        EXPECT_EQ(nLoop < 4 ? 12u : 13u, pLoop->m_nCountRegister) << nLoop;
        EXPECT_EQ(components[nLoop], pLoop->m_nCountComponent) << nLoop;
        EXPECT_EQ(nLoop < 4 ? 6u : 7u, pLoop->m_nCountLiteral) << nLoop;
    }
}

TEST(ShaderDebuggerShaderIL, FunctionsAndTheOutlineMacroHaveTheirStartAndScope)
{
    const auto pFunctions = Analyze("functions");
    const std::map<uint32_t, uint32_t>& start = pFunctions->m_pShader->GetFunctionStart();
    const std::map<uint32_t, uint32_t>& scope = pFunctions->m_pShader->GetFunctionScope();
    EXPECT_EQ((std::map<uint32_t, uint32_t>{{1024, pFunctions->At("func 1024")},
                                            {1025, pFunctions->At("func 1025")},
                                            {1026, pFunctions->At("func 1026")}}),
              start);
    const std::pair<const char*, uint32_t> scopes[] = {{"call 1024", 0},
                                                       {"endmain", 0},
                                                       {"func 1024", 1024},
                                                       {"call 1025", 1024},
                                                       {"iadd r1.x, r1.xxxx, r1.xxxx", 1025},
                                                       {"call 1026", 1025},
                                                       {"ret_dyn", 1026},
                                                       {"endfunc", 1024}};
    for (const std::pair<const char*, uint32_t>& expected : scopes)
    {
        EXPECT_EQ(expected.second, scope.at(pFunctions->At(expected.first))) << expected.first;
    }

    uint32_t nStart = 0;
    EXPECT_TRUE(pFunctions->m_pShader->FindFunctionStart(1026, nStart));
    EXPECT_EQ(pFunctions->At("func 1026"), nStart);
    EXPECT_FALSE(pFunctions->m_pShader->FindFunctionStart(1027, nStart));
    EXPECT_TRUE(pFunctions->m_Host.Logged(
        "Warning: Function 1027 isn't defined, so its call isn't followed."));

    const auto pOutline = Analyze("outline");
    CAnalyzedShaderIL& outline = *pOutline->m_pShader;
    ASSERT_TRUE(IsDebuggable(*pOutline)) << outline.Info().strError[0];
    EXPECT_EQ(1u, outline.GetOutlineMacroLabel());
    const uint32_t nMacroStart = pOutline->At("iadd r0.x, vAbsTid0.xxxx, cb0[6].xxxx");
    EXPECT_EQ(nMacroStart, outline.GetFunctionStart().at(1));
    EXPECT_EQ(1024u, outline.GetFunctionScope().at(nMacroStart));
    EXPECT_EQ(1024u, outline.GetFunctionScope().at(pOutline->At("mov out0, r1.xxxx")));
    EXPECT_EQ(1024u, outline.GetFunctionScope().at(pOutline->At("mcall(1) (r5), ()")));

    // A second macro named like the kernel is passed over, with its lines counted.
    const auto pTwice = Analyze(
        "outline", Replace("mend\n", "mend\nmdef(2)_out(1)_in(0)\n;outline\nmov out0, l0\nmend\n"));
    EXPECT_EQ(1u, pTwice->m_pShader->GetOutlineMacroLabel());
    EXPECT_EQ(g_nInvalidInstruction, pTwice->At("mov out0, l0"));
    EXPECT_NE(g_nInvalidInstruction, pTwice->At("mcall(1) (r5), ()"));
}

// One row: the register that an instruction writes.
struct OutputRow
{
    const char* pKernel;
    const char* pInstruction;
    RegisterType type;
    int number;
    unsigned int index;
    unsigned short mask;
    bool bIndexRegister;
};

const OutputRow g_OutputRows[] = {
    {"straight", "iadd r1.x, r1.xxxx, l0.yyyy", RT_Temp, 1, 0, COMP_x, false},
    {"straight", "i64add r2.zw, cb1[0].xyxy, r2.x0x0", RT_Temp, 2, 0, COMP_zw, false},
    {"straight", "uav_raw_store_id(11)_a64 mem0.x, r2.zwzw, r1.xxxx", RT_Mem, 0, 0, COMP_x, false},
    {"straight", "ret", RT_Unknown, 0, 0, 0, false},
    {"functions", "call 1025", RT_Unknown, 0, 0, 0, false},
    {"private_uav", "uav_raw_store_id(8) mem0.x, l1.xxxx, r0.xxxx", RT_PrivateUAVAccess, 8, 32,
     COMP_x, false},
    {"private_uav", "uav_byte_store_id(8) mem0.x, l1.yyyy, l0.yyyy", RT_PrivateUAVAccess, 8, 36,
     COMP_x, false},
    {"private_uav", "uav_raw_store_id(8) mem0.x, r2.zzzz, r2.yyyy", RT_PrivateUAVAccess, 8, 0,
     COMP_x, true},
    {"private_x1", "iadd x1[r1.yyyy].x, x1[3].xxxx, l1.xxxx", RT_IndexableTemp, 1, 3, COMP_x,
     false},
    {"private_x1", "mov x1[r1.xxxx].x, r2.yyyy", RT_IndexableTemp, 1, 0, COMP_x, true}};

TEST(ShaderDebuggerShaderIL, InstructionWritesItsRegister)
{
    for (const OutputRow& row : g_OutputRows)
    {
        SCOPED_TRACE(::testing::Message() << row.pKernel << ": " << row.pInstruction);
        const auto pKernel = Analyze(row.pKernel);
        const uint32_t n = pKernel->At(row.pInstruction);
        ASSERT_NE(g_nInvalidInstruction, n);
        const Register reg = pKernel->m_pShader->GetRegisterOutput(ProgramCounter(n));
        EXPECT_EQ(row.type, reg.reg.type);
        EXPECT_EQ(row.number, reg.reg.number);
        EXPECT_EQ(row.index, reg.reg.index);
        EXPECT_EQ(row.mask, reg.mask);
        EXPECT_EQ(row.bIndexRegister, reg.reg.pIndexRegister != NULL);
    }
}

TEST(ShaderDebuggerShaderIL, MetadataGivesFamilyAddressesAndConstantBufferSizes)
{
    const auto pNewer = Analyze("straight");
    EXPECT_TRUE(pNewer->m_pShader->m_b64BitPointers);
    EXPECT_TRUE(pNewer->m_pShader->m_bSeparateDebugUAVs);
    EXPECT_EQ("Larkspur", pNewer->m_pShader->m_strDeviceName);
    EXPECT_EQ(16u, pNewer->m_pShader->m_nRuntimeABIConstantBufferSize);
    EXPECT_EQ(1u, pNewer->m_pShader->m_nKernelABIConstantBufferSize);
    EXPECT_EQ(0xFFFFFFFFu, pNewer->m_pShader->m_nRawUAVNum);
    EXPECT_EQ(ST_Compute, pNewer->m_pShader->GetShaderType());

    const auto pOlder = Analyze("private_x1");
    EXPECT_FALSE(pOlder->m_pShader->m_b64BitPointers);
    EXPECT_FALSE(pOlder->m_pShader->m_bSeparateDebugUAVs);
    EXPECT_EQ("Fennel", pOlder->m_pShader->m_strDeviceName);
    EXPECT_EQ(11u, pOlder->m_pShader->m_nRawUAVNum);
    EXPECT_EQ((std::map<uint32_t, uint32_t>{{1, 8}}),
              pOlder->m_pShader->GetDeclarations().at(1024).indexedTempSizes);

    // A cb1 in the IL doesn't change the size that the metadata gives.
    const auto pCb1 = Analyze("straight", Replace("dcl_cb cb1[1]", "dcl_cb cb1[9]"));
    EXPECT_EQ(1u, pCb1->m_pShader->m_nKernelABIConstantBufferSize);

    // Without a raw UAV the older family uses UAV 11, with a warning.
    const auto pNoRaw = Analyze("private_x1", Replace("dcl_raw_uav_id(11)\n", ""),
                                Replace(";device:fennel", ";device:vetch"));
    EXPECT_EQ(11u, pNoRaw->m_pShader->m_nRawUAVNum);
    EXPECT_TRUE(pNoRaw->m_Host.Logged("Warning: No raw UAV declared. Using UAV 11."));
    EXPECT_EQ("Vetch", pNoRaw->m_pShader->m_strDeviceName);
}

TEST(ShaderDebuggerShaderIL, TempReadOnlyWhereTempsAreWrittenStaysFreeForTheDebugger)
{
    // straight writes r0 to r2; mov r3, r4 marks r3 only, a store from r5 marks r5.
    const auto pKernel = Analyze(
        "straight", BeforeRet("mov r3, r4\nuav_raw_store_id(11)_a64 mem0.x, r2.zwzw, r5.x\n"));
    CAnalyzedShaderIL& shader = *pKernel->m_pShader;
    ASSERT_TRUE(IsDebuggable(*pKernel)) << shader.Info().strError[0];
    EXPECT_TRUE(shader.m_vTempRegisterUsed[3]);
    EXPECT_FALSE(shader.m_vTempRegisterUsed[4]);
    EXPECT_TRUE(shader.m_vTempRegisterUsed[5]);
    EXPECT_EQ(5u, shader.m_nTempRegisterCount);
    EXPECT_EQ((std::vector<uint32_t>{4, 6, 7, 8, 9}), shader.m_vDebuggerTempRegs);
    EXPECT_EQ((std::vector<uint32_t>{4, 6, 7, 8, 9}),
              (std::vector<uint32_t>{shader.m_nOutputTempReg, shader.m_nOutputAddrTempReg,
                                     shader.m_nExecMaskTempReg, shader.m_nExecMaskAddrTempReg,
                                     shader.m_nThreadIndexTempReg}));
}

// Lines that write or declare registers n from nFirst below nEnd.
std::string RegisterLines(const char* pFormat, unsigned int nFirst, unsigned int nEnd)
{
    std::string strLines;
    char line[96];
    for (unsigned int n = nFirst; n < nEnd; ++n)
    {
        std::snprintf(line, sizeof(line), pFormat, n);
        strLines += line;
    }
    return strLines;
}

// One row: a kernel with many registers, and what the budget check says.
struct BudgetRow
{
    const char* pName;
    const char* pKernel;
    const char* pFormat;
    unsigned int nEnd;
    const char* pError; // empty: accepted
};

const BudgetRow g_BudgetRows[] = {
    {"AllButFiveTemps", "straight", "mov r%u.x, l0.x\n", 65531, ""},
    {"AllButFourTemps", "straight", "mov r%u.x, l0.x\n", 65532,
     "There are insufficient free temp registers."},
    {"AllButFourLiterals", "straight", "dcl_literal l%u, 0, 0, 0, 0\n", 65534,
     "There are insufficient free temp registers."},
    {"NoLiteralForAPrivateCapture", "private_uav", "dcl_literal l%u, 0, 0, 0, 0\n", 65531,
     "There are insufficient free literal registers."}};

TEST(ShaderDebuggerShaderIL, BudgetIsCheckedBeforeAnythingIsTaken)
{
    for (const BudgetRow& row : g_BudgetRows)
    {
        SCOPED_TRACE(row.pName);
        const auto pKernel =
            Analyze(row.pKernel, BeforeRet(RegisterLines(row.pFormat, 3, row.nEnd)));
        CAnalyzedShaderIL& shader = *pKernel->m_pShader;
        EXPECT_EQ(row.pError, shader.Info().strError[0]);
        EXPECT_EQ(*row.pError == '\0', IsDebuggable(*pKernel));
        if (*row.pError != '\0')
        {
            EXPECT_TRUE(shader.m_vDebuggerTempRegs.empty());
            EXPECT_EQ(0u, shader.m_nLiteralZero);
            EXPECT_TRUE(pKernel->m_Host.Logged("Error:   " + std::string(row.pError)));
            EXPECT_EQ("", pKernel->m_Host.m_strLastError);
        }
    }
}

// One row: UAVs that a kernel declares besides 11, and the debugger's choice.
struct UAVRow
{
    std::vector<unsigned int> vDeclared;
    unsigned int nResultUAV;
    unsigned int nExecMaskUAV;
    bool bAccepted;
};

std::vector<unsigned int> Range(unsigned int nFirst, unsigned int nEnd)
{
    std::vector<unsigned int> vRange;
    for (unsigned int n = nFirst; n < nEnd; ++n)
    {
        vRange.push_back(n);
    }
    return vRange;
}

const UAVRow g_UAVRows[] = {{{}, 12, 13, true},
                            {{12, 13, 15}, 14, 16, true},
                            {Range(12, 31), 31, 32, true},
                            {Range(12, 32), 32, 33, false},
                            {Range(12, 33), 32, 33, false}};

TEST(ShaderDebuggerShaderIL, DebuggerTakesTheFirstFreeUAVsFrom12)
{
    for (const UAVRow& row : g_UAVRows)
    {
        SCOPED_TRACE(::testing::Message() << row.vDeclared.size() << " UAVs");
        std::string strDeclarations;
        for (unsigned int nUAV : row.vDeclared)
        {
            strDeclarations +=
                "dcl_typeless_uav_id(" + std::to_string(nUAV) + ")_type(0)_stride(4)_length(4)\n";
        }
        const auto pKernel =
            Analyze("straight", Replace("dcl_max_thread_per_group",
                                        strDeclarations + "dcl_max_thread_per_group"));
        CAnalyzedShaderIL& shader = *pKernel->m_pShader;
        EXPECT_EQ(row.nResultUAV, shader.m_nResultUAV);
        EXPECT_EQ(row.nExecMaskUAV, shader.m_nExecMaskUAV);
        EXPECT_EQ(row.bAccepted, IsDebuggable(*pKernel));
        EXPECT_EQ(!row.bAccepted,
                  pKernel->m_Host.Logged("Error:   There are insufficient free UAVs."));
        EXPECT_EQ("", shader.Info().strError[0]);
    }
}

// One row: an edit of a corpus kernel that the analysis refuses, and its reason.
struct RefusalRow
{
    const char* pName;
    const char* pKernel;
    Edit editIL;
    Edit editMetadata;
    const char* pError;
    bool bLastError;
};

const RefusalRow g_RefusalRows[] = {
    {"Loop", "loop", Replace("\nwhileloop\n", "\nloop i0\n"), Edit(),
     "IL instruction loop is not yet supported.", true},
    {"LoopThatNeverRuns", "straight", BeforeRet("ret\nloop i0\nendloop\n"), Edit(),
     "IL instruction loop is not yet supported.", true},
    {"ReturningAtomic", "atomic", Edit(), Edit(),
     "IL instruction uav_read_add is not yet supported.", true},
    {"EmitInAComputeKernel", "straight", BeforeRet("emit\n"), Edit(),
     "IL instruction emit is not yet supported.", true},
    {"FuncBeforeEndmain", "straight", Replace("endmain\n", ""), Edit(), "Invalid shader.", false},
    {"RetInMainAfterEndmain", "functions",
     Replace(";__OpenCL_functions_kernel\n", ";__OpenCL_functions_kernel\nret\n"), Edit(),
     "Invalid shader.", false},
    {"EndfuncInALoop", "loop", Replace("endloop\n", ""), Edit(), "Invalid shader.", false},
    {"EndifWithoutIf", "straight", BeforeRet("endif\n"), Edit(), "", false},
    {"EndloopOnASwitch", "switch", Replace("endswitch\niadd r1.y", "endloop\niadd r1.y"), Edit(),
     "", false},
    {"SecondMaxThreadPerGroup", "straight",
     Replace("dcl_literal l0", "dcl_max_thread_per_group 64\ndcl_literal l0"), Edit(), "", false},
    {"NoThreadGroupSize", "straight", Replace("dcl_max_thread_per_group 256\n", ""), Edit(), "",
     false},
    {"ArgumentsEndingAt40", "straight", Edit(), Replace(":u32:1:1:0:uav", ":u32:1:1:24:uav"), "",
     false},
    {"RefusedDevice", "straight", Edit(), Replace(";device:larkspur", ";device:sorrel"), "",
     false}};

TEST(ShaderDebuggerShaderIL, KernelIsRefusedWithItsReason)
{
    for (const RefusalRow& row : g_RefusalRows)
    {
        SCOPED_TRACE(row.pName);
        const auto pKernel = Analyze(row.pKernel, row.editIL, row.editMetadata);
        const ShaderInfo& info = pKernel->m_pShader->Info();
        EXPECT_EQ(0u, info.nDebuggableModes);
        for (const std::string& strError : info.strError)
        {
            EXPECT_EQ(row.pError, strError);
        }
        EXPECT_EQ(row.bLastError ? row.pError : "", pKernel->m_Host.m_strLastError);
        if (*row.pError != '\0')
        {
            EXPECT_TRUE(pKernel->m_Host.Logged("Error:   " + std::string(row.pError)));
        }
    }
}

// Token streams without an image: only the header and the closing checks stand between them
// and the analysis.
struct StreamRow
{
    const char* pName;
    std::vector<unsigned int> vTokens;
    const char* pError;
    bool bAccepted;
};

const unsigned int g_nEnd = ShaderUtils::IL_OP_END;
const unsigned int g_nPixel_2_0 = 0x10200;
const unsigned int g_nCompute_2_0 = 0x30200;

const StreamRow g_StreamRows[] = {
    {"Language256", {256, g_nPixel_2_0, g_nEnd}, "Invalid shader.", false},
    {"Version0", {0, 0x10000, g_nEnd}, "Invalid shader.", false},
    {"ShaderType6", {0, 0x60200, g_nEnd}, "Invalid shader.", false},
    {"NoEnd", {0, g_nPixel_2_0}, "", false},
    {"PixelShader", {0, g_nPixel_2_0, g_nEnd}, "", true},
    {"ComputeWithoutMetadata", {0, g_nCompute_2_0, g_nEnd}, "", false}};

TEST(ShaderDebuggerShaderIL, BareTokensAreAnalysedWithoutMetadata)
{
    for (const StreamRow& row : g_StreamRows)
    {
        SCOPED_TRACE(row.pName);
        const std::vector<char> vData(reinterpret_cast<const char*>(row.vTokens.data()),
                                      reinterpret_cast<const char*>(row.vTokens.data()) +
                                          row.vTokens.size() * sizeof(unsigned int));
        CAnalyzedKernel kernel("bare", vData);
        EXPECT_EQ(row.bAccepted, IsDebuggable(kernel));
        EXPECT_EQ(row.pError, kernel.m_pShader->Info().strError[0]);
        EXPECT_EQ(0xFFFFFFFFu, kernel.m_pShader->m_nKernelABIConstantBufferSize);
    }
}

TEST(ShaderDebuggerShaderIL, OperationsWithoutAnEngineMeaning)
{
    const auto pKernel = Analyze("straight");
    CAnalyzedShaderIL& shader = *pKernel->m_pShader;
    std::vector<std::string> vKeywords(1, "x");
    EXPECT_FALSE(shader.GetShaderKeywords(vKeywords, 1));
    EXPECT_TRUE(vKeywords.empty());
    EXPECT_EQ(1u, shader.GetDefaultDebugMode());
    EXPECT_TRUE(shader.SetDebugMode(7));
    EXPECT_FALSE(shader.Draw());
    EXPECT_TRUE(pKernel->m_Host.Logged("draw?? doesn't have meaning"));
    std::string strText;
    EXPECT_FALSE(shader.GetShaderText(strText, 2));
    EXPECT_TRUE(pKernel->m_Host.Logged("Invalid text type"));
    EXPECT_EQ(g_Reg_NULL, shader.GetRegisterOutput(ProgramCounter(100000)));
    EXPECT_EQ(g_Reg_NULL, shader.GetSrcRegisterAt(ProgramCounter(100000), 0));
    EXPECT_FALSE(shader.PostBack());
}
} // namespace
