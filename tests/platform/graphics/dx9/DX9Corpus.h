#ifndef XAN_TEST_DX9_CORPUS_H
#define XAN_TEST_DX9_CORPUS_H

#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Test
{
// The DX9 shaders of tests/corpus/graphics/dx9, by file name ("loops.asm"), sorted.
std::vector<std::string> GetDX9CorpusNames();
std::string ReadDX9Corpus(const std::string& strName);
// The rows of a case table of tests/platform/graphics/dx9/data.
std::vector<std::vector<std::string>> ReadDX9Table(const std::string& strName);
// The tokens of assembly text, which must assemble (a test failure names the error).
std::vector<std::uint32_t> AssembleDX9OrFail(const std::string& strText);
} // namespace XAN_Test

#endif
