#include "ILCorpus.h"
#include "ILTextForms.h"
#include "ShaderUtils/IL/ILFormat.h"
#include "ShaderUtils/IL/ILInstructionLayout.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>

using namespace ShaderUtils;
using namespace XAN_Platform;
using namespace XAN_Test;

namespace
{
std::vector<std::string> Lines(const std::string& strText)
{
    std::vector<std::string> vLines;
    std::istringstream stream(strText);
    for (std::string strLine; std::getline(stream, strLine);)
    {
        vLines.push_back(strLine);
    }
    return vLines;
}

// The elements of a program: the header, then each instruction, as token runs.
std::vector<std::vector<unsigned int>> Elements(const std::vector<unsigned int>& vTokens)
{
    std::vector<std::vector<unsigned int>> vElements;
    ILInstructionLayout inst;
    bool bHeader = false;
    bool bMacro = false;
    for (std::size_t nPos = 0; nPos < vTokens.size();)
    {
        std::size_t nLength = 2;
        if (bHeader || bMacro || GetILOpCode(vTokens[nPos]) == IL_OP_MDEF)
        {
            EXPECT_EQ(IL_DECODE_OK,
                      DecodeILInstruction(&vTokens[nPos], vTokens.size() - nPos, inst));
            nLength = inst.nLength;
            bMacro = !bHeader && inst.nOpCode != IL_OP_MEND;
        }
        else
        {
            bHeader = true;
        }
        vElements.emplace_back(vTokens.begin() + nPos, vTokens.begin() + nPos + nLength);
        nPos += nLength;
    }
    return vElements;
}

// The converter's preparation on the low-level path: every "dcl_wavesize"
// to the end of its line becomes a comment, and the line break stays.
std::string RewriteWavesize(std::string strText)
{
    for (std::size_t nPos = strText.find("dcl_wavesize"); nPos != std::string::npos;
         nPos = strText.find("dcl_wavesize", nPos))
    {
        const std::size_t nEnd = strText.find('\n', nPos);
        strText.replace(nPos, nEnd - nPos, "; DCL_WAVESIZE removed\n");
    }
    return strText;
}
} // namespace

TEST(ILRoundTripTest, CorpusTextTokensTextTokensIsIdentical)
{
    const std::vector<unsigned int> vTokens = AssembleOrFail(GetILCorpusProgram());
    const std::string strText = DisassembleOrFail(vTokens);
    std::vector<unsigned int> vLines;
    EXPECT_EQ(vTokens, AssembleOrFail(strText, &vLines));
    EXPECT_EQ(strText, DisassembleOrFail(AssembleOrFail(strText)));

    // One element per line and no blank line: line n is element n.
    const std::size_t nElements = Elements(vTokens).size();
    ASSERT_EQ(nElements, vLines.size());
    for (std::size_t i = 0; i < vLines.size(); ++i)
    {
        ASSERT_EQ(i + 1, vLines[i]);
    }
    EXPECT_EQ(nElements, Lines(strText).size());
}

TEST(ILRoundTripTest, EveryStatementRoundTripsAlone)
{
    for (const std::string& strStatement : GetILCorpusStatements())
    {
        const std::vector<unsigned int> vTokens = AssembleOrFail("il_cs_2_0\n" + strStatement);
        EXPECT_EQ(vTokens, AssembleOrFail(DisassembleOrFail(vTokens)))
            << strStatement.substr(0, 80);
    }
}

TEST(ILRoundTripTest, CorpusCoversEveryOpcodeAndExtendedForm)
{
    std::set<std::string> printed;
    for (const std::vector<unsigned int>& vElement : Elements(AssembleOrFail(GetILCorpusProgram())))
    {
        const unsigned int nToken = vElement[0];
        const ILTextForm& form = GetILTextForm(GetILOpCode(nToken));
        const bool bExtended = form.pExtendedName != nullptr && (nToken & form.nExtendedBit);
        printed.insert(bExtended ? form.pExtendedName : GetOpCodeName(GetILOpCode(nToken)));
    }
    std::set<unsigned int> codes;
    unsigned int nRows = 0;
    for (const auto& table : {std::make_pair(g_ILMainOpCodeTable, g_nILMainOpCodeTableSize),
                              std::make_pair(g_ILDclOpCodeTable, g_nILDclOpCodeTableSize)})
    {
        for (std::size_t i = 0; i < table.second; ++i)
        {
            const ILOpCodeDesc& desc = table.first[i];
            const unsigned int nOpCode = GetILOpCode(desc.nOpCode);
            const bool bPhase = nOpCode >= IL_OP_HS_CP_PHASE && nOpCode <= IL_OP_ENDPHASE;
            if (nOpCode == IL_OP_UNKNOWN || bPhase)
            {
                continue;
            }
            ++nRows;
            // A second name of a code prints as the first.
            const bool bFirstName =
                desc.nOpCode > IL_OPCODE_MASK || std::string(GetOpCodeName(nOpCode)) == desc.pName;
            if (bFirstName)
            {
                EXPECT_EQ(1u, printed.count(desc.pName)) << desc.pName;
            }
        }
    }
    EXPECT_EQ(734u + 23u - 1u - 4u, nRows);
}

TEST(ILRoundTripTest, JoinedCommentsIndentsAndLineEndsAssembleAlike)
{
    const std::vector<unsigned int> vTokens = AssembleOrFail(GetILCorpusProgram());
    const std::vector<std::string> vLines = Lines(DisassembleOrFail(vTokens));

    // Every comment line joined onto the line before it, as the converter's
    // preparation does after func, mdef and mend lines, chains included.
    std::string strJoined;
    std::string strLoose;
    for (std::size_t i = 0; i < vLines.size(); ++i)
    {
        const bool bComment = i > 0 && vLines[i][0] == ';';
        strJoined += (bComment ? (i % 2 ? " " : "\t ") : (i == 0 ? "" : "\n")) + vLines[i];
        strLoose += "  " + vLines[i] + "\t\r\n" + (i % 3 == 0 ? "\r\n \n" : "");
    }
    EXPECT_EQ(vTokens, AssembleOrFail(strJoined));
    EXPECT_EQ(vTokens, AssembleOrFail(strLoose));
}

TEST(ILRoundTripTest, WavesizeRewriteKeepsEveryOtherElementInPlace)
{
    const std::string strText = DisassembleOrFail(AssembleOrFail(GetILCorpusProgram()));
    ASSERT_NE(std::string::npos, strText.find("\ndcl_wavesize 64\n"));
    const std::vector<std::vector<unsigned int>> vOriginal = Elements(AssembleOrFail(strText));
    const std::vector<std::vector<unsigned int>> vRewritten =
        Elements(AssembleOrFail(RewriteWavesize(strText)));
    ASSERT_EQ(vOriginal.size(), vRewritten.size());
    const std::vector<unsigned int> vRemoved = AssembleOrFail("il_cs_2_0\n; DCL_WAVESIZE removed");
    unsigned int nRewritten = 0;
    for (std::size_t i = 0; i < vOriginal.size(); ++i)
    {
        if (GetILOpCode(vOriginal[i][0]) == IL_OP_DCL_WAVESIZE)
        {
            ++nRewritten;
            EXPECT_EQ(std::vector<unsigned int>(vRemoved.begin() + 2, vRemoved.end()),
                      vRewritten[i]);
        }
        else
        {
            EXPECT_EQ(vOriginal[i], vRewritten[i]) << "element " << i;
        }
    }
    EXPECT_EQ(1u, nRewritten);

    // A kernel without the declaration is left as it is.
    const std::string strKernel = "il_cs_2_0\nfunc 1024\n;k\nmov r0, r1\nret\nendfunc\nend\n";
    EXPECT_EQ(AssembleOrFail(strKernel), AssembleOrFail(RewriteWavesize(strKernel)));
}
