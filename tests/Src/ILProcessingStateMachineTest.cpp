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

TEST(ILProcessingStateMachineTest, JoinsCommentsDropsBlanksAndKeepsLineEnds)
{
    const std::pair<std::string, std::string> rows[] = {
        // A comment joins a keyword line; blanks and tabs before it go, its own text stays.
        {"func 5\n; comment\n  mov r0, r1", "func 5 ; comment\nmov r0, r1"},
        {"mdef(3)_out(1)_in(2)\n;vadd\nmov r0, r1", "mdef(3)_out(1)_in(2) ;vadd\nmov r0, r1"},
        {"func 1\n \t ;  c", "func 1 ;  c"},
        // A joined comment that holds a keyword joins the next comment too.
        {"func 1\n;mdef\n;x", "func 1 ;mdef ;x"},
        // The keyword need only be part of a word.
        {"dcl_function_body 3\n;x", "dcl_function_body 3 ;x"},
        {"call 1 ; mend\n;y", "call 1 ; mend ;y"},
        // Nothing to join: the line break stays and the next line loses its blanks.
        {"func 1\n   ret", "func 1\nret"},
        {"fun 1\n;x", "fun 1\n;x"},
        {"mde\n;x", "mde\n;x"},
        // CRLF line ends stay.
        {"mend\r\n   ret", "mend\r\nret"},
        {"mend\r\n;x\r\nret", "mend ;x\r\nret"},
        {"mov r0, r1\r\n  add r0, r0, r1\r\n\tret", "mov r0, r1\r\nadd r0, r0, r1\r\n\tret"},
        // A CR waits for the next character that isn't a blank, and the LF follows by state 0.
        {"mov\r  \nadd", "mov\r\nadd"},
        // After a keyword a lone CR is swallowed: the table holds the next character in state 0.
        {"func 1\rret", "func 1ret"},
        // Blanks are dropped only after a line break; tabs don't count as leading blanks.
        {"  mov r0, r1\n     ret", "  mov r0, r1\nret"},
        {"a\n  \n  b", "a\n\nb"},
        {"a\n \tb", "a\n\tb"},
        // A line break pending at the end is dropped.
        {"ret\n", "ret"},
        {"ret\r", "ret"},
        {"ret\n   ", "ret"},
        {"func 1\n", "func 1"},
        {"func 1\r", "func 1"},
        {"func 1\r\n", "func 1"},
        {"func 1\r\n \t", "func 1"},
        {"", ""},
        // A NUL ends the text at once and is copied; a line break still pending is lost.
        {std::string("ab\0cd", 5), std::string("ab\0", 3)},
        {std::string("\0x", 2), std::string("\0", 1)},
        {std::string("a\n\0b", 4), std::string("a\0", 2)},
    };
    for (const auto& row : rows)
    {
        EXPECT_EQ(row.second, Process(row.first)) << "input: " << row.first;
    }
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
