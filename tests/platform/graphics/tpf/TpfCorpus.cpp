#include "TpfCorpus.h"

#include "CTpfAssembler.h"

#include <algorithm>
#include <cctype>
#include <dirent.h>
#include <fstream>
#include <sstream>

namespace XAN_Test
{
std::string TpfCorpusPath(const std::string& strName)
{
    return std::string(XAN_TPF_CORPUS_DIR) + "/" + strName;
}

std::string TpfCorpusTestName(const TpfCorpusProgram& program)
{
    std::string strName = program.strName.substr(0, program.strName.size() - 4);
    for (char& c : strName)
    {
        c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    }
    return strName;
}

void PrintTo(const TpfCorpusProgram& program, std::ostream* pStream)
{
    *pStream << program.strName;
}

std::vector<TpfCorpusProgram> LoadTpfCorpus()
{
    std::vector<TpfCorpusProgram> vPrograms;
    DIR* pDir = opendir(XAN_TPF_CORPUS_DIR);
    if (pDir == nullptr)
    {
        return vPrograms;
    }
    while (const dirent* pEntry = readdir(pDir))
    {
        const std::string strName = pEntry->d_name;
        if (strName.size() < 5 || strName.compare(strName.size() - 4, 4, ".tpf") != 0)
        {
            continue;
        }
        TpfCorpusProgram program;
        program.strName = strName;
        std::ifstream file(TpfCorpusPath(strName));
        std::stringstream text;
        text << file.rdbuf();
        program.strText = text.str();
        program.bDecodeOnly = program.strText.find("// decode-only:") != std::string::npos;
        XAN_Platform::CTpfAssembler assembler;
        if (!assembler.Assemble(program.strText, program.vTokens))
        {
            program.strError = assembler.GetError();
        }
        vPrograms.push_back(program);
    }
    closedir(pDir);
    std::sort(vPrograms.begin(), vPrograms.end(),
              [](const TpfCorpusProgram& a, const TpfCorpusProgram& b)
              { return a.strName < b.strName; });
    return vPrograms;
}
} // namespace XAN_Test
