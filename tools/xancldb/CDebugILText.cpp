#include "CDebugILText.h"

#include <elf.h>

#include <cstring>

namespace XAN_Xancldb
{
bool CDebugILText::Load(cl_program program, std::string& strError)
{
    size_t nSize = 0;
    if (clGetProgramInfo(program, CL_PROGRAM_BINARY_SIZES, sizeof(nSize), &nSize, nullptr) !=
            CL_SUCCESS ||
        nSize == 0)
    {
        strError = "the program has no kernel binary";
        return false;
    }
    std::vector<uint8_t> vImage(nSize);
    unsigned char* pImage = vImage.data();
    if (clGetProgramInfo(program, CL_PROGRAM_BINARIES, sizeof(pImage), &pImage, nullptr) !=
        CL_SUCCESS)
    {
        strError = "the program's kernel binary can't be read";
        return false;
    }
    return Parse(vImage, strError);
}

bool CDebugILText::Parse(const std::vector<uint8_t>& vImage, std::string& strError)
{
    m_vLines.clear();
    Elf64_Ehdr header;
    strError = "the kernel binary is no 64-bit ELF image";
    if (vImage.size() < sizeof(header) || std::memcmp(vImage.data(), ELFMAG, SELFMAG) != 0 ||
        vImage[EI_CLASS] != ELFCLASS64)
    {
        return false;
    }
    std::memcpy(&header, vImage.data(), sizeof(header));
    const uint64_t nTableEnd =
        uint64_t(header.e_shoff) + uint64_t(header.e_shnum) * sizeof(Elf64_Shdr);
    if (header.e_shentsize != sizeof(Elf64_Shdr) || nTableEnd > vImage.size() ||
        header.e_shstrndx >= header.e_shnum)
    {
        return false;
    }
    auto section = [&](size_t i)
    {
        Elf64_Shdr entry;
        std::memcpy(&entry, vImage.data() + header.e_shoff + i * sizeof(entry), sizeof(entry));
        return entry;
    };
    const Elf64_Shdr names = section(header.e_shstrndx);
    for (size_t i = 0; i < header.e_shnum; ++i)
    {
        const Elf64_Shdr entry = section(i);
        static const char s_Name[] = ".debugil";
        if (uint64_t(names.sh_offset) + entry.sh_name + sizeof(s_Name) > vImage.size() ||
            std::memcmp(vImage.data() + names.sh_offset + entry.sh_name, s_Name, sizeof(s_Name)) !=
                0)
        {
            continue;
        }
        if (uint64_t(entry.sh_offset) + entry.sh_size > vImage.size())
        {
            return false;
        }
        const std::string strText(reinterpret_cast<const char*>(vImage.data()) + entry.sh_offset,
                                  size_t(entry.sh_size));
        for (size_t nStart = 0; nStart < strText.size();)
        {
            size_t nEnd = strText.find('\n', nStart);
            nEnd = nEnd == std::string::npos ? strText.size() : nEnd;
            std::string strLine = strText.substr(nStart, nEnd - nStart);
            strLine = strLine.substr(0, strLine.find('\0'));
            m_vLines.push_back(strLine.substr(0, strLine.find_last_not_of("\r ") + 1));
            nStart = nEnd + 1;
        }
        return true;
    }
    strError = "the kernel binary has no debug IL: build it with -g";
    return false;
}

std::string CDebugILText::GetLine(uint32_t nLine) const
{
    return nLine < m_vLines.size() ? m_vLines[nLine] : std::string();
}
} // namespace XAN_Xancldb
