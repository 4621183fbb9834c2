#include "EmptyKernelImage.h"

#include <cstring>
#include <elf.h>

namespace XAN_Platform
{
namespace
{
template <class T> void Append(std::vector<char>& vImage, const T& value)
{
    const char* pBytes = reinterpret_cast<const char*>(&value);
    vImage.insert(vImage.end(), pBytes, pBytes + sizeof(value));
}

Elf64_Shdr SectionHeader(uint32_t nName, uint32_t nType, uint64_t nOffset, uint64_t nSize,
                         uint64_t nAlign)
{
    Elf64_Shdr header = {};
    header.sh_name = nName;
    header.sh_type = nType;
    header.sh_offset = nOffset;
    header.sh_size = nSize;
    header.sh_addralign = nAlign;
    return header;
}
} // namespace

std::vector<char> MakeEmptyKernelImage(uint16_t nType)
{
    static const char s_Names[] = "\0.shstrtab\0.strtab\0.symtab";
    Elf64_Ehdr header = {};
    std::memcpy(header.e_ident, ELFMAG, SELFMAG);
    header.e_ident[EI_CLASS] = ELFCLASS64;
    header.e_ident[EI_DATA] = ELFDATA2LSB;
    header.e_ident[EI_VERSION] = EV_CURRENT;
    header.e_type = nType;
    header.e_version = EV_CURRENT;
    header.e_ehsize = sizeof(Elf64_Ehdr);
    header.e_shentsize = sizeof(Elf64_Shdr);
    header.e_shnum = 4;
    header.e_shstrndx = 1;
    const uint64_t nNames = sizeof(Elf64_Ehdr);
    const uint64_t nStrings = nNames + sizeof(s_Names);
    const uint64_t nSymbols = (nStrings + 1 + 7) / 8 * 8;
    header.e_shoff = nSymbols + sizeof(Elf64_Sym);

    std::vector<char> vImage;
    Append(vImage, header);
    vImage.insert(vImage.end(), s_Names, s_Names + sizeof(s_Names));
    vImage.resize(nSymbols, '\0');
    Append(vImage, Elf64_Sym{});
    Append(vImage, Elf64_Shdr{});
    Append(vImage, SectionHeader(1, SHT_STRTAB, nNames, sizeof(s_Names), 1));
    Append(vImage, SectionHeader(11, SHT_STRTAB, nStrings, 1, 1));
    Elf64_Shdr symbols = SectionHeader(19, SHT_SYMTAB, nSymbols, sizeof(Elf64_Sym), 8);
    symbols.sh_link = 2;
    symbols.sh_info = 1;
    symbols.sh_entsize = sizeof(Elf64_Sym);
    Append(vImage, symbols);
    return vImage;
}
} // namespace XAN_Platform
