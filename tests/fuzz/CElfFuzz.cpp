// Loads arbitrary bytes as an ELF image; an image that loads is copied, edited and written,
// and what is written must load again and write to the same bytes. A refusal gives a reason.
#include "FuzzSupport.h"

#include "CElf.h"
#include "CElfSymbolTable.h"

#include "../Common/Src/KernelBinary/ElfImageBuilder.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

using namespace XAN_ElfUtils;

using XAN_Test::Require;

namespace
{
// Writing once gives the canonical layout; loading and writing that again changes nothing.
// A copy drops the bytes of string tables that the writer doesn't rebuild, and symbols in
// them no longer fit, so only the original has to read back.
void CheckWrite(CElf& elf, bool bMustReadBack)
{
    std::vector<char> vWritten;
    if (!elf.Store(vWritten))
    {
        Require(!elf.GetLastError().empty());
        return;
    }
    CElf reloaded(vWritten);
    std::vector<char> vAgain;
    const bool bReadBack = reloaded.IsInitialized() && reloaded.Store(vAgain);
    Require(!bMustReadBack || (bReadBack && vAgain == vWritten));
}

void Edit(CElf& elf, uint8_t nChoice)
{
    CElfSymbolTable* pSymbols = elf.GetSymbolTable();
    if (pSymbols != nullptr && pSymbols->size() > 0)
    {
        CElfSymbolTable::iterator it = pSymbols->begin() + nChoice % pSymbols->size();
        std::string strName;
        unsigned char nBind = 0;
        unsigned char nType = 0;
        unsigned char nOther = 0;
        CElfSection* pSection = nullptr;
        uint64_t nValue = 0;
        uint64_t nSize = 0;
        Require(pSymbols->GetSymbolInfo(it, &strName, &nBind, &nType, &nOther, &pSection, &nValue,
                                        &nSize));
        if (nChoice & 1)
        {
            pSymbols->RemoveSymbol(it);
        }
        else
        {
            pSymbols->SetSymbolInfo(it, strName + "_x", nBind, nType, nOther, pSection, nValue,
                                    nSize);
        }
    }
    CElfSection* pVictim = elf.GetSection(nChoice % elf.GetNumSections());
    if (pVictim != nullptr && pVictim != pSymbols && pVictim->GetName() != "")
    {
        elf.RemoveSection(pVictim->GetName());
    }
    if (CElfSection* pAdded = elf.AddSection(".added", SHT_PROGBITS, 0, 0, nChoice & 15, 0))
    {
        pAdded->SetData("added", 5);
    }
}

void Exercise(const std::vector<char>& vImage, uint8_t nChoice)
{
    CElf elf(vImage);
    // Every refusal says why, and only a refusal does.
    Require(elf.IsInitialized() == elf.GetLastError().empty());
    if (!elf.IsInitialized())
    {
        return;
    }
    CElf copy(elf);
    Require(copy.IsInitialized() && copy.GetNumSections() == elf.GetNumSections());
    CheckWrite(elf, true);
    Edit(elf, nChoice);
    CheckWrite(elf, true);
    Edit(copy, static_cast<uint8_t>(nChoice >> 4));
    CheckWrite(copy, false);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    // Good kernel binaries of both classes, which random bytes rarely get close to.
    static const std::vector<char> vSeeds[2] = {
        XAN_Test::MakeKernelImage(false, {"first", "second"}),
        XAN_Test::MakeKernelImage(true, {"first", "second"}, true)};

    Exercise(std::vector<char>(pData, pData + nSize), nSize > 0 ? pData[0] : 0);
    if (nSize == 0)
    {
        return 0;
    }
    // The rest of the input, read as (offset, value) triples, flips bytes of a seed.
    std::vector<char> vImage = vSeeds[pData[0] & 1];
    for (size_t i = 1; i + 2 < nSize; i += 3)
    {
        const size_t nOffset = (pData[i] | static_cast<size_t>(pData[i + 1]) << 8) % vImage.size();
        vImage[nOffset] = static_cast<char>(vImage[nOffset] ^ pData[i + 2]);
    }
    Exercise(vImage, pData[0]);
    return 0;
}
