// The library cleans IL text with its state machine before the compiler-library
// converter sees it: the assembler must give the same tokens for the cleaned
// text as for the text the disassembler printed.
#include "ILCorpus.h"
#include "ILProcessingStateMachine.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace XAN_Test;

namespace
{
// Runs the state machine in place, as the library does.
std::string Prepare(std::string strText)
{
    unsigned int nLength = 0;
    ILProcessingStateMachine machine(strText.data(), static_cast<unsigned int>(strText.size()),
                                     strText.data());
    machine.Process(&nLength);
    strText.resize(nLength);
    return strText;
}

std::string WithCrLf(const std::string& strText)
{
    std::string strResult;
    for (char c : strText)
    {
        if (c == '\n')
        {
            strResult += '\r';
        }
        strResult += c;
    }
    return strResult;
}
} // namespace

TEST(ILPreparationTest, PreparedCorpusAssemblesToTheSameTokens)
{
    const std::vector<unsigned int> vOriginal = AssembleOrFail(GetILCorpusProgram());
    ASSERT_FALSE(vOriginal.empty());
    const std::string strCanonical = DisassembleOrFail(vOriginal);
    ASSERT_FALSE(strCanonical.empty());

    const std::string strPrepared = Prepare(strCanonical);
    EXPECT_NE(strPrepared, strCanonical) << "the corpus has lines the state machine joins";
    EXPECT_EQ(vOriginal, AssembleOrFail(strPrepared));
    EXPECT_EQ(vOriginal, AssembleOrFail(Prepare(WithCrLf(strCanonical))));
}
