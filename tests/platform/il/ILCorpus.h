#ifndef XAN_TEST_IL_CORPUS_H
#define XAN_TEST_IL_CORPUS_H

#include "ShaderUtils/IL/ILFormat.h"

#include <string>
#include <vector>

namespace XAN_Test
{
// A corpus of IL text for tests of everything that reads IL tokens: every
// opcode that a kernel can contain at least once (extended forms and second
// names included), with every control suffix, and every operand form: write
// masks, swizzles with 0 and 1 selectors, negate and abs, absolute indexes by
// dimension and by immediate, relative and register-relative indexes with
// and without an index modifier, extension tokens, negative temp numbers,
// macros, mcall with and without output, dcl_cb with data, dcl_literal and
// comments of many lengths (the longest becomes several comment elements).

// A statement of the opcode of a row, its operand forms and suffixes chosen
// by nIndex from those of the corpus.
std::string MakeILStatement(const ShaderUtils::ILOpCodeDesc& desc, unsigned int nIndex);

// Whether an opcode is written as a statement of its own: not a comment, a
// hull-shader phase marker or a row without operand description.
bool IsILStatementOpCode(unsigned int nOpCode);

// The statements, each a line of text without the header.
const std::vector<std::string>& GetILCorpusStatements();

// Tokens of IL text and text of IL tokens, which must succeed; with pvLines, the line of each
// element.
std::vector<unsigned int> AssembleOrFail(const std::string& strText,
                                         std::vector<unsigned int>* pvLines = nullptr);
std::string DisassembleOrFail(const std::vector<unsigned int>& vTokens);

// The corpus as one program: a leading macro, the header, the statements
// and end.
const std::string& GetILCorpusProgram();
} // namespace XAN_Test

#endif
