// Arbitrary text through the IL assembler; what assembles goes through the
// disassembler and back and must give the same tokens. Arbitrary tokens go
// through the disassembler, which must refuse or print them, never crash.

#include "FuzzSupport.h"

#include "CILAssembler.h"
#include "CILDisassembler.h"
#include "ShaderUtils/IL/ILFormat.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

using namespace XAN_Platform;

using XAN_Test::Require;

namespace
{
// The input as the body of a function, so that most inputs get past the
// header to the instruction parser.
const char* const KERNEL_HEAD = "il_cs_2_0\ndcl_cb cb0[16]\nfunc 1024\n";
const char* const KERNEL_TAIL = "\nret\nendfunc\nend\n";
const std::size_t MAX_INPUT = 1 << 16;

// Words of the text, so that inputs reach the operand parser: mnemonics and
// register names are looked up by hash, which gives the fuzzer no hint.
const char* const g_pWords[] = {
    "r",          "x",           "cb",        "l",
    "v_in",       "o_out",       "mem",       "vAbsTid",
    "0",          "1",           "3",         "-",
    "[",          "]",           " + ",       ".",
    "xyzw",       "x0y1",        "x_z_",      "_abs",
    "_neg(",      "xz",          ")",         "_mod(",
    "0x10000",    "_ext(",       ", ",        " ",
    "(",          "dim(",        "imm(",      "rel(",
    ";",          "\n",          "_id(",      "_a64",
    "_relop(",    "ge",          "_control(", "_pri(",
    "_sec(",      "_data",       "_stride(",  "_length(",
    "_out(",      "_in(",        "65535",     "-65536",
    "4294967295", "1.5",         "r0.x",      "x1[r0.y + 2]",
    "_type(",     "_resource(",  "_sampler(", "_threads",
    "0x8000",     "il_cs_2_0\n", "\r\n",      "\t",
};

// Text from the input: a byte below 0x80 is a word, others with the next
// byte pick a mnemonic.
std::string WordsOf(const std::string& strInput)
{
    const std::size_t nWords = sizeof(g_pWords) / sizeof(g_pWords[0]);
    const std::size_t nNames =
        ShaderUtils::g_nILMainOpCodeTableSize + ShaderUtils::g_nILDclOpCodeTableSize;
    std::string strText;
    for (std::size_t i = 0; i < strInput.size(); ++i)
    {
        const unsigned char c = static_cast<unsigned char>(strInput[i]);
        if (c < 0x80 || i + 1 == strInput.size())
        {
            strText += g_pWords[c % nWords];
            continue;
        }
        const std::size_t nName =
            (((c & 0x7Fu) << 8) | static_cast<unsigned char>(strInput[++i])) % nNames;
        strText +=
            nName < ShaderUtils::g_nILMainOpCodeTableSize
                ? ShaderUtils::g_ILMainOpCodeTable[nName].pName
                : ShaderUtils::g_ILDclOpCodeTable[nName - ShaderUtils::g_nILMainOpCodeTableSize]
                      .pName;
    }
    return strText;
}

void RoundTrip(const std::string& strText)
{
    CILAssembler assembler;
    std::vector<unsigned int> vTokens;
    std::vector<unsigned int> vLines;
    if (!assembler.Assemble(strText, vTokens, &vLines))
    {
        return;
    }
    CILDisassembler disassembler;
    std::string strPrinted;
    Require(disassembler.Disassemble(vTokens.data(), vTokens.size(), strPrinted));
    std::vector<unsigned int> vAgain;
    std::vector<unsigned int> vAgainLines;
    Require(assembler.Assemble(strPrinted, vAgain, &vAgainLines));
    Require(vAgain == vTokens);
    // The printed text has one element per line.
    Require(vAgainLines.size() == vLines.size());
    for (std::size_t i = 0; i < vAgainLines.size(); ++i)
    {
        Require(vAgainLines[i] == i + 1);
    }
}

void PrintTokens(const std::string& strBytes)
{
    std::vector<unsigned int> vTokens(strBytes.size() / 4);
    for (std::size_t i = 0; i < vTokens.size() * 4; ++i)
    {
        vTokens[i / 4] |= static_cast<unsigned int>(static_cast<unsigned char>(strBytes[i]))
                          << (8 * (i % 4));
    }
    CILDisassembler disassembler;
    std::string strText;
    if (disassembler.Disassemble(vTokens.data(), vTokens.size(), strText))
    {
        CILAssembler assembler;
        std::vector<unsigned int> vAgain;
        assembler.Assemble(strText, vAgain);
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    if (nSize == 0 || nSize > MAX_INPUT)
    {
        return 0;
    }
    const std::string strInput(reinterpret_cast<const char*>(pData) + 1, nSize - 1);
    switch (pData[0] % 4)
    {
    case 0:
        RoundTrip(strInput);
        break;
    case 1:
        RoundTrip(KERNEL_HEAD + strInput + KERNEL_TAIL);
        break;
    case 2:
        RoundTrip(KERNEL_HEAD + WordsOf(strInput) + KERNEL_TAIL);
        break;
    default:
        PrintTokens(strInput);
        break;
    }
    return 0;
}
