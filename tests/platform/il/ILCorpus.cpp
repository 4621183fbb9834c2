#include "ILCorpus.h"

#include "CILAssembler.h"
#include "CILDisassembler.h"
#include "ILTextForms.h"
#include "ShaderUtils/IL/ILFormat.h"
#include "ShaderUtils/IL/ILShaderUtils.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>

using namespace ShaderUtils;
using namespace XAN_Platform;

namespace XAN_Test
{
namespace
{
// The lines of a file of the corpus's data folder.
std::vector<std::string> DataLines(const std::string& strName)
{
    return ReadLines(std::string(XAN_IL_TEST_DATA_DIR) + "/" + strName);
}

// Operand forms, used in turn by the generated statements.
const std::vector<std::string>& DestForms()
{
    static const std::vector<std::string> s_vForms = DataLines("dest_forms.txt");
    return s_vForms;
}

const std::vector<std::string>& SourceForms()
{
    static const std::vector<std::string> s_vForms = DataLines("source_forms.txt");
    return s_vForms;
}

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
        strOperands = DestForms()[nIndex % DestForms().size()];
    }
    for (unsigned int i = 0; i < counts.nSrcCount; ++i)
    {
        strOperands += strOperands.empty() ? "" : ", ";
        strOperands += SourceForms()[(nIndex * 3 + i) % SourceForms().size()];
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
    const std::vector<std::string> vSpecial = DataLines("special_statements.il");
    vStatements.insert(vStatements.end(), vSpecial.begin(), vSpecial.end());

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

std::vector<unsigned int> AssembleOrFail(const std::string& strText,
                                         std::vector<unsigned int>* pvLines)
{
    CILAssembler assembler;
    std::vector<unsigned int> vTokens;
    EXPECT_TRUE(assembler.Assemble(strText, vTokens, pvLines)) << assembler.GetError().ToString();
    return vTokens;
}

std::string DisassembleOrFail(const std::vector<unsigned int>& vTokens)
{
    CILDisassembler disassembler;
    std::string strText;
    EXPECT_TRUE(disassembler.Disassemble(vTokens.data(), vTokens.size(), strText))
        << disassembler.GetError().ToString();
    return strText;
}

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
