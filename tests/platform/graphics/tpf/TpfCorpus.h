#ifndef XAN_TESTS_TPF_CORPUS_H
#define XAN_TESTS_TPF_CORPUS_H

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace XAN_Test
{
// One program of tests/corpus/graphics/tpf, as text and assembled.
struct TpfCorpusProgram
{
    std::string strName; // the file name
    std::string strText;
    std::vector<std::uint32_t> vTokens; // empty if the text doesn't assemble
    std::string strError;
    // Marked "// decode-only:" in its text: not meant for an outside compiler.
    bool bDecodeOnly = false;
};

// Every program of the corpus, sorted by name.
std::vector<TpfCorpusProgram> LoadTpfCorpus();
// The path of a file beside the corpus programs.
std::string TpfCorpusPath(const std::string& strName);
// The file name without ".tpf", in the characters a test name allows.
std::string TpfCorpusTestName(const TpfCorpusProgram& program);
// Test output names a program by its file.
void PrintTo(const TpfCorpusProgram& program, std::ostream* pStream);
} // namespace XAN_Test

#endif
