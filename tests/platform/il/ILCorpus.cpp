#include "ILCorpus.h"

#include "ILTextForms.h"
#include "ShaderUtils/IL/ILFormat.h"
#include "ShaderUtils/IL/ILShaderUtils.h"

#include <cstdio>

using namespace ShaderUtils;
using namespace XAN_Platform;

namespace XAN_Test
{
namespace
{
// Operand forms, used in turn by the generated statements.
const char* const g_pDestForms[] = {
    "r0",
    "r1.x",
    "r2.xy",
    "r3.xzw",
    "r4.w",
    "r-1.y",
    "x1[2].x",
    "x1[r0.x + 1].y",
    "mem0.xyzw",
    "r65535",
    "r-65536",
    "r5.x_2_",
    "r6.____",
    "r7.xy_mod(0x100)",
    "r8_ext(0x9)",
    "v_in0",
    "o_out3",
    "x2[dim(2) + imm(1)]",
    "cb3[rel(7)].z",
    "x1[r2 + 4]",
};

const char* const g_pSourceForms[] = {
    "r1",
    "r2.xxxx",
    "-r3",
    "r4.x0y1",
    "r5.wzyx_abs",
    "r6.y_neg(xz)",
    "l0",
    "cb1[2].x",
    "x1[3]",
    "x1[r0.x + 3]",
    "cb0[r1.y]",
    "vAbsTid0.xyz1",
    "r-2.z",
    "cb1[rel(1) + 2]",
    "r7_mod(0x10000)",
    "r8_ext(0x5)",
    "x1[dim(1) + imm(2)]",
    "cb2[imm(4)]",
    "vThreadGrpId0",
    "-x1[-r9.y_abs + 4].w_neg(x)",
    "cb1[r3]",
    "x3[dim(5)]",
    "r-65536.0011",
    "vTidInGrp",
    "Tmr1.w_abs_mod(0x1000000)",
};

std::string Hex(unsigned int nValue)
{
    char buffer[16];
    std::snprintf(buffer, sizeof(buffer), "0x%X", nValue);
    return buffer;
}

// The control suffixes of an opcode, varied by the statement's number.
std::string Suffixes(const ILTextForm& form, unsigned int nIndex)
{
    std::string strText;
    for (unsigned int i = 0; i < form.nFields; ++i)
    {
        const ILControlField& field = *form.ppFields[i];
        if ((nIndex + i) % 3 == 2)
        {
            continue;
        }
        strText += "_" + std::string(field.pKey);
        if (field.nValueNames != 0)
        {
            strText += "(" + std::string(field.ppValueNames[nIndex % field.nValueNames]) + ")";
        }
        else if (!field.bFlag)
        {
            strText += "(" + std::to_string(nIndex % ((1u << field.nWidth) - 1) + 1) + ")";
        }
    }
    if (form.nFreeBits != 0 && nIndex % 4 == 0)
    {
        const unsigned int nLowest = form.nFreeBits & (~form.nFreeBits + 1);
        strText += "_control(" + Hex(nLowest >> IL_CONTROL_SHIFT) + ")";
    }
    if (form.bModifierFlags && form.shape != IL_SHAPE_CB && nIndex % 5 == 0)
    {
        strText += "_pri(" + Hex(nIndex) + ")";
    }
    if (form.bModifierFlags && nIndex % 7 == 0)
    {
        strText += "_sec(" + Hex(nIndex * 3) + ")";
    }
    for (unsigned int i = 0; i < form.nTrailingNames; ++i)
    {
        strText +=
            "_" + std::string(form.ppTrailingNames[i]) + "(" + std::to_string(4 + i * 60) + ")";
    }
    return strText;
}

std::string Values(unsigned int nCount, bool bHex, unsigned int nIndex)
{
    std::string strText;
    for (unsigned int i = 0; i < nCount; ++i)
    {
        strText += i == 0 ? "" : ", ";
        strText += bHex ? (i % 2 == 0 ? Hex(nIndex * 0x01010101u + i) : "1.5")
                        : std::to_string(1024 + nIndex + i);
    }
    return strText;
}

} // namespace

std::string MakeILStatement(const ILOpCodeDesc& desc, unsigned int nIndex)
{
    const unsigned int nOpCode = GetILOpCode(desc.nOpCode);
    const ILTextForm& form = GetILTextForm(nOpCode);
    std::string strText = desc.pName;
    switch (form.shape)
    {
    case IL_SHAPE_MDEF:
        return strText + "(" + std::to_string(nIndex % 100) + ")_out(1)_in(2)";
    case IL_SHAPE_MCALL:
        return strText + "(" + std::to_string(nIndex % 100) + ")" + Suffixes(form, nIndex) +
               " (r0), (r1, -x1[r2.x + 1])";
    case IL_SHAPE_COUNT:
        return strText + Suffixes(form, nIndex) + " 64, 2, 1";
    case IL_SHAPE_CONTROL_VALUE:
        return strText + Suffixes(form, nIndex) + " 64";
    default:
        break;
    }
    strText += Suffixes(form, nIndex);
    ILOperandCounts counts{};
    GetOperandCounts(desc.nOpCode, 0, counts);
    std::string strOperands;
    if (counts.bHasDest)
    {
        strOperands = g_pDestForms[nIndex % (sizeof(g_pDestForms) / sizeof(g_pDestForms[0]))];
    }
    const std::size_t nSourceForms = sizeof(g_pSourceForms) / sizeof(g_pSourceForms[0]);
    for (unsigned int i = 0; i < counts.nSrcCount; ++i)
    {
        strOperands += strOperands.empty() ? "" : ", ";
        strOperands += g_pSourceForms[(nIndex * 3 + i) % nSourceForms];
    }
    const unsigned int nValues = GetTrailingTokenCount(nOpCode) - form.nTrailingNames;
    if (nValues != 0)
    {
        strOperands += strOperands.empty() ? "" : ", ";
        strOperands += Values(nValues, form.bHexValues, nIndex);
    }
    return strOperands.empty() ? strText : strText + " " + strOperands;
}

bool IsILStatementOpCode(unsigned int nOpCode)
{
    ILOperandCounts counts{};
    return nOpCode != IL_OP_COMMENT &&
           !(nOpCode >= IL_OP_HS_CP_PHASE && nOpCode <= IL_OP_ENDPHASE) &&
           GetOperandCounts(nOpCode, 0, counts) == IL_DESC_OK;
}

namespace
{
std::vector<std::string> MakeStatements()
{
    std::vector<std::string> vStatements;
    unsigned int nIndex = 0;
    auto addTable = [&](const ILOpCodeDesc* pTable, std::size_t nSize)
    {
        for (std::size_t i = 0; i < nSize; ++i)
        {
            if (IsILStatementOpCode(GetILOpCode(pTable[i].nOpCode)))
            {
                vStatements.push_back(MakeILStatement(pTable[i], nIndex++));
            }
        }
    };
    addTable(g_ILMainOpCodeTable, g_nILMainOpCodeTableSize);
    addTable(g_ILDclOpCodeTable, g_nILDclOpCodeTableSize);

    // Forms that the generated statements don't reach.
    const char* const pSpecial[] = {
        ";$$$$$$$$$$",
        "call 1024",
        "call 4294967295",
        "func 1024",
        "mcall(5) (), (r1)",
        "mcall(6) (r1.x), ()",
        "mcall(7)_pri(0x3)_sec(0x4) (r2), (r3, r4, r5, r6, r7, r8, r9, r10)",
        "dcl_cb cb0[16]",
        "dcl_cb_data 0x1, 2.5, -3",
        "dcl_cb_data",
        "dcl_cb_data_sec(0x9) 7",
        "dcl_literal l1, 0x3F800000, -1.0, 0xFFFFFFFF, 16",
        "dcl_indexed_temp_array x1[64]",
        "dcl_num_thread_per_group 64",
        "dcl_num_thread_per_group",
        "mov r-1, r-65536.x0y1",
        "mov r65535.x, r-1",
        "mov r0.x_z_, r1.yyyy_neg(yw)",
        "mov r0.x2_3, r1.01zw",
        "mov r0, r1.xyzw",
        "mov x1[r0.x + 4294967295], x1[rel(4294967295) + 1]",
        "uav_raw_store_id(11)_a64 mem0.x, r7.xxxx, r6.xxxx",
        "mdef(9)_out(0)_in(0)_control(0xC000)",
        "ifc_relop(7) r0.x, r1.x",
        "fence_threads_lds_memory_control(0x8)",
        "dcl_typeless_uav_id(8)_type(3)_stride(4)_length(64)",
    };
    vStatements.insert(vStatements.end(), std::begin(pSpecial), std::end(pSpecial));

    // Comments around the sizes where the token count steps, and past the
    // length of one comment element, with blanks where it is split.
    for (std::size_t nLength : {0, 1, 2, 3, 4, 5, 7, 8, 9, 100, 16000, 16001, 40000})
    {
        std::string strComment(nLength, 'c');
        for (std::size_t i = 7; i < nLength; i += 13)
        {
            strComment[i] = ' ';
        }
        if (nLength > 16010)
        {
            strComment.replace(15990, 20, 20, ' ');
        }
        if (!strComment.empty())
        {
            strComment.back() = 'e';
        }
        vStatements.push_back(";" + strComment);
    }
    vStatements.push_back(";  leading blanks stay, tabs\ttoo");
    return vStatements;
}
} // namespace

const std::vector<std::string>& GetILCorpusStatements()
{
    static const std::vector<std::string> s_vStatements = MakeStatements();
    return s_vStatements;
}

const std::string& GetILCorpusProgram()
{
    static const std::string s_strProgram = []
    {
        std::string strProgram = "mdef(0)_out(1)_in(2)\n;corpus_macro\niadd out0, in0, in1\n"
                                 "ret\nmend\nil_cs_2_0\n";
        for (const std::string& strStatement : GetILCorpusStatements())
        {
            strProgram += strStatement + "\n";
        }
        return strProgram + "end\n";
    }();
    return s_strProgram;
}
} // namespace XAN_Test
