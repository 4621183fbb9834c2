#include "ILProcessingStateMachine.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace
{
// Runs the machine over a copy of the text, into a separate buffer or over the copy itself.
std::string Process(std::string strText, bool bInPlace = false)
{
    std::vector<char> vOutput(strText.size() + 1, '#');
    char* pOutput = bInPlace ? &strText[0] : vOutput.data();
    unsigned int nLength = 12345;
    ILProcessingStateMachine(strText.data(), static_cast<unsigned int>(strText.size()), pOutput)
        .Process(&nLength);
    return std::string(pOutput, nLength);
}
} // namespace

TEST(ILProcessingStateMachineTest, JoinsACommentOntoAKeywordLine)
{
    EXPECT_EQ("func 5 ; comment\nmov r0, r1", Process("func 5\n; comment\n  mov r0, r1"));
    EXPECT_EQ("mdef(3)_out(1)_in(2) ;vadd\nmov r0, r1",
              Process("mdef(3)_out(1)_in(2)\n;vadd\nmov r0, r1"));
    // Blanks and tabs before the comment go; the comment's own text stays.
    EXPECT_EQ("func 1 ;  c", Process("func 1\n \t ;  c"));
    // A joined comment that holds a keyword joins the next comment too.
    EXPECT_EQ("func 1 ;mdef ;x", Process("func 1\n;mdef\n;x"));
    // The keyword need only be part of a word.
    EXPECT_EQ("dcl_function_body 3 ;x", Process("dcl_function_body 3\n;x"));
    EXPECT_EQ("call 1 ; mend ;y", Process("call 1 ; mend\n;y"));
    // Nothing to join: the line break stays and the next line loses its blanks.
    EXPECT_EQ("func 1\nret", Process("func 1\n   ret"));
    EXPECT_EQ("fun 1\n;x", Process("fun 1\n;x"));
    EXPECT_EQ("mde\n;x", Process("mde\n;x"));
}

TEST(ILProcessingStateMachineTest, KeepsCRLFLineEnds)
{
    EXPECT_EQ("mend\r\nret", Process("mend\r\n   ret"));
    EXPECT_EQ("mend ;x\r\nret", Process("mend\r\n;x\r\nret"));
    EXPECT_EQ("mov r0, r1\r\nadd r0, r0, r1\r\n\tret",
              Process("mov r0, r1\r\n  add r0, r0, r1\r\n\tret"));
    // A CR waits for the next character that isn't a blank, and the LF follows by state 0.
    EXPECT_EQ("mov\r\nadd", Process("mov\r  \nadd"));
    // After a keyword a lone CR is swallowed: the table holds the next character in state 0.
    EXPECT_EQ("func 1ret", Process("func 1\rret"));
}

TEST(ILProcessingStateMachineTest, DropsBlanksOnlyAfterALineBreak)
{
    EXPECT_EQ("  mov r0, r1\nret", Process("  mov r0, r1\n     ret"));
    EXPECT_EQ("a\n\nb", Process("a\n  \n  b"));
    // Tabs don't count as leading blanks.
    EXPECT_EQ("a\n\tb", Process("a\n \tb"));
}

TEST(ILProcessingStateMachineTest, DropsALineBreakPendingAtTheEnd)
{
    EXPECT_EQ("ret", Process("ret\n"));
    EXPECT_EQ("ret", Process("ret\r"));
    EXPECT_EQ("ret", Process("ret\n   "));
    EXPECT_EQ("func 1", Process("func 1\n"));
    EXPECT_EQ("func 1", Process("func 1\r"));
    EXPECT_EQ("func 1", Process("func 1\r\n"));
    EXPECT_EQ("func 1", Process("func 1\r\n \t"));
    EXPECT_EQ("", Process(""));
}

TEST(ILProcessingStateMachineTest, StopsAtNulAndCopiesIt)
{
    const std::string strInput("ab\0cd", 5);
    EXPECT_EQ(std::string("ab\0", 3), Process(strInput));
    EXPECT_EQ(std::string("\0", 1), Process(std::string("\0x", 2)));
    // A NUL ends the text at once, and a line break still pending is lost.
    EXPECT_EQ(std::string("a\0", 2), Process(std::string("a\n\0b", 4)));
}

TEST(ILProcessingStateMachineTest, NullBuffersProduceNothing)
{
    char output[4] = {'#', '#', '#', '#'};
    unsigned int nLength = 99;
    ILProcessingStateMachine(NULL, 3, output).Process(&nLength);
    EXPECT_EQ(0u, nLength);
    EXPECT_EQ('#', output[0]);

    nLength = 99;
    ILProcessingStateMachine("abc", 3, NULL).Process(&nLength);
    EXPECT_EQ(0u, nLength);

    // The length pointer is optional.
    ILProcessingStateMachine("abc", 3, output).Process(NULL);
    EXPECT_EQ('c', output[2]);
}

TEST(ILProcessingStateMachineTest, WorksInPlaceOnAnyText)
{
    EXPECT_EQ("func 5 ; comment\nmov r0, r1", Process("func 5\n; comment\n  mov r0, r1", true));

    // Texts made of the characters that drive the machine: in place, the output never
    // overtakes the input, so both runs agree, and the text never grows.
    const char alphabet[] = {'f', 'u', 'n', 'c', 'm', 'd', 'e', ' ', '\t', '\r', '\n', ';', 'x'};
    std::mt19937 random(20240611);
    std::uniform_int_distribution<size_t> pick(0, sizeof(alphabet) - 1);
    std::uniform_int_distribution<size_t> length(0, 60);
    for (unsigned int nCase = 0; nCase < 20000; ++nCase)
    {
        std::string strText(length(random), ' ');
        for (char& c : strText)
        {
            c = alphabet[pick(random)];
        }
        const std::string strExpected = Process(strText);
        ASSERT_EQ(strExpected, Process(strText, true)) << "input: " << strText;
        ASSERT_LE(strExpected.size(), strText.size()) << "input: " << strText;
    }
}
