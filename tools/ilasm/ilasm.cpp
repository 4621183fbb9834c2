// ilasm: assembles IL text into IL tokens, and disassembles tokens back.

#include "CILAssembler.h"
#include "CILDisassembler.h"

#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

using namespace XAN_Platform;

namespace
{
const char* const USAGE = "usage: ilasm FILE.il -o FILE.bin     assemble IL text into tokens\n"
                          "       ilasm -d FILE.bin [-o FILE.il] disassemble tokens into IL text\n"
                          "Tokens are 32-bit little-endian words. The text is described in "
                          "platform/IL.md.\n";

int Usage(const char* pProblem)
{
    std::cerr << "ilasm: " << pProblem << "\n" << USAGE;
    return 2;
}

bool ReadBytes(const std::string& strPath, std::string& strBytes)
{
    std::ifstream file(strPath, std::ios::binary);
    if (!file)
    {
        return false;
    }
    strBytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    return !file.bad();
}

bool WriteBytes(const std::string& strPath, const std::string& strBytes)
{
    std::ofstream file(strPath, std::ios::binary | std::ios::trunc);
    file.write(strBytes.data(), static_cast<std::streamsize>(strBytes.size()));
    file.close();
    return static_cast<bool>(file);
}

int Assemble(const std::string& strInput, const std::string& strOutput)
{
    std::string strText;
    if (!ReadBytes(strInput, strText))
    {
        std::cerr << "ilasm: can't read " << strInput << "\n";
        return 1;
    }
    CILAssembler assembler;
    std::vector<unsigned int> vTokens;
    if (!assembler.Assemble(strText, vTokens))
    {
        std::cerr << strInput << ": error: " << assembler.GetError().ToString() << "\n";
        return 1;
    }
    std::string strBytes;
    strBytes.reserve(vTokens.size() * 4);
    for (unsigned int nToken : vTokens)
    {
        for (unsigned int nByte = 0; nByte < 4; ++nByte)
        {
            strBytes += static_cast<char>((nToken >> (8 * nByte)) & 0xFF);
        }
    }
    if (!WriteBytes(strOutput, strBytes))
    {
        std::cerr << "ilasm: can't write " << strOutput << "\n";
        return 1;
    }
    return 0;
}

int Disassemble(const std::string& strInput, const std::string& strOutput)
{
    std::string strBytes;
    if (!ReadBytes(strInput, strBytes))
    {
        std::cerr << "ilasm: can't read " << strInput << "\n";
        return 1;
    }
    if (strBytes.size() % 4 != 0)
    {
        std::cerr << strInput << ": error: " << strBytes.size()
                  << " bytes are no whole number of 32-bit tokens\n";
        return 1;
    }
    std::vector<unsigned int> vTokens(strBytes.size() / 4);
    for (std::size_t i = 0; i < strBytes.size(); ++i)
    {
        vTokens[i / 4] |= static_cast<unsigned int>(static_cast<unsigned char>(strBytes[i]))
                          << (8 * (i % 4));
    }
    CILDisassembler disassembler;
    std::string strText;
    if (!disassembler.Disassemble(vTokens.data(), vTokens.size(), strText))
    {
        std::cerr << strInput << ": error: " << disassembler.GetError().ToString() << "\n";
        return 1;
    }
    if (strOutput.empty())
    {
        std::cout << strText;
        return std::cout ? 0 : 1;
    }
    if (!WriteBytes(strOutput, strText))
    {
        std::cerr << "ilasm: can't write " << strOutput << "\n";
        return 1;
    }
    return 0;
}
} // namespace

int main(int argc, char** argv)
{
    bool bDisassemble = false;
    std::string strInput;
    std::string strOutput;
    for (int i = 1; i < argc; ++i)
    {
        const std::string strArg = argv[i];
        if (strArg == "-h" || strArg == "--help")
        {
            std::cout << USAGE;
            return 0;
        }
        if (strArg == "-d")
        {
            bDisassemble = true;
        }
        else if (strArg == "-o")
        {
            if (i + 1 == argc)
            {
                return Usage("-o needs a file name");
            }
            strOutput = argv[++i];
        }
        else if (!strArg.empty() && strArg[0] == '-')
        {
            return Usage(("unknown option " + strArg).c_str());
        }
        else if (strInput.empty())
        {
            strInput = strArg;
        }
        else
        {
            return Usage("more than one input file");
        }
    }
    if (strInput.empty())
    {
        return Usage("no input file");
    }
    if (bDisassemble)
    {
        return Disassemble(strInput, strOutput);
    }
    if (strOutput.empty())
    {
        return Usage("assembling needs -o FILE.bin");
    }
    return Assemble(strInput, strOutput);
}
