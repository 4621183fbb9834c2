#ifndef ELF_IMAGE_BUILDER_H
#define ELF_IMAGE_BUILDER_H

// Builds ELF images byte by byte, independently of the reader under test, and kernel binaries
// laid out as the emulated platform makes them. Header-only so that the fuzz targets can seed
// themselves with the same images.
#include <elf.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace XAN_Test
{
struct ElfSectionDesc
{
    std::string strName;
    uint32_t nType;
    uint64_t nFlags;
    uint64_t nAlign;
    std::string strData;
};

struct ElfSymbolDesc
{
    std::string strName;
    unsigned char nBind;
    unsigned char nType;
    uint16_t nSection;
    uint64_t nValue;
    uint64_t nSize;
};

class ElfImageBuilder
{
public:
    explicit ElfImageBuilder(bool bIsElf64) : m_bIsElf64(bIsElf64) {}

    // Sections are numbered from 1 in the order added. Symbols add ".strtab" and ".symtab"
    // behind them, and ".shstrtab" comes last.
    uint16_t AddSection(const std::string& strName, uint32_t nType, uint64_t nFlags,
                        uint64_t nAlign, const std::string& strData)
    {
        m_vSections.push_back({strName, nType, nFlags, nAlign, strData});
        return static_cast<uint16_t>(m_vSections.size());
    }

    // Locals must come first: sh_info counts the leading local symbols.
    void AddSymbol(const std::string& strName, unsigned char nBind, unsigned char nType,
                   uint16_t nSection, uint64_t nValue, uint64_t nSize)
    {
        m_vSymbols.push_back({strName, nBind, nType, nSection, nValue, nSize});
    }
    void AddSymbols(const std::vector<ElfSymbolDesc>& vSymbols)
    {
        m_vSymbols.insert(m_vSymbols.end(), vSymbols.begin(), vSymbols.end());
    }

    uint16_t GetSymbolTableIndex() const { return static_cast<uint16_t>(m_vSections.size() + 2); }

    // bReverseData places the sections' bytes in the file in the opposite order of their
    // headers.
    std::vector<char> Build(bool bReverseData = false) const
    {
        return m_bIsElf64 ? BuildAs<Elf64_Ehdr, Elf64_Shdr, Elf64_Sym>(ELFCLASS64, bReverseData)
                          : BuildAs<Elf32_Ehdr, Elf32_Shdr, Elf32_Sym>(ELFCLASS32, bReverseData);
    }

private:
    template <typename T> static void Append(std::vector<char>& vImage, const T& value)
    {
        const char* pValue = reinterpret_cast<const char*>(&value);
        vImage.insert(vImage.end(), pValue, pValue + sizeof(value));
    }

    template <typename THeader, typename TSection, typename TSymbol>
    std::vector<char> BuildAs(unsigned char nClass, bool bReverseData) const
    {
        std::vector<ElfSectionDesc> vAll = {{"", SHT_NULL, 0, 0, ""}};
        vAll.insert(vAll.end(), m_vSections.begin(), m_vSections.end());
        std::vector<TSection> vHeaders(vAll.size() + (m_vSymbols.empty() ? 1 : 3), TSection());
        if (!m_vSymbols.empty())
        {
            std::string strNames(1, '\0');
            std::vector<char> vSymbols(sizeof(TSymbol), '\0');
            uint32_t nLocals = 1;
            for (const ElfSymbolDesc& symbol : m_vSymbols)
            {
                TSymbol record = {};
                record.st_name = static_cast<uint32_t>(strNames.size());
                record.st_info =
                    static_cast<unsigned char>(ELF64_ST_INFO(symbol.nBind, symbol.nType));
                record.st_shndx = symbol.nSection;
                record.st_value = static_cast<decltype(record.st_value)>(symbol.nValue);
                record.st_size = static_cast<decltype(record.st_size)>(symbol.nSize);
                Append(vSymbols, record);
                strNames += symbol.strName + '\0';
                nLocals += symbol.nBind == STB_LOCAL ? 1 : 0;
            }
            vHeaders[vAll.size() + 1].sh_link = static_cast<uint32_t>(vAll.size());
            vHeaders[vAll.size() + 1].sh_info = nLocals;
            vHeaders[vAll.size() + 1].sh_entsize = sizeof(TSymbol);
            vAll.push_back({".strtab", SHT_STRTAB, 0, 1, strNames});
            vAll.push_back(
                {".symtab", SHT_SYMTAB, 0, 8, std::string(vSymbols.begin(), vSymbols.end())});
        }
        vAll.push_back({".shstrtab", SHT_STRTAB, 0, 1, ""});
        std::string strSectionNames;
        for (size_t n = 0; n < vAll.size(); ++n)
        {
            vHeaders[n].sh_name = static_cast<uint32_t>(strSectionNames.size());
            strSectionNames += vAll[n].strName + '\0';
        }
        vAll.back().strData = strSectionNames;

        std::vector<char> vImage(sizeof(THeader), '\0');
        for (size_t i = 0; i < vAll.size(); ++i)
        {
            const size_t n = bReverseData ? vAll.size() - 1 - i : i;
            const ElfSectionDesc& desc = vAll[n];
            TSection& header = vHeaders[n];
            header.sh_type = desc.nType;
            header.sh_flags = static_cast<decltype(header.sh_flags)>(desc.nFlags);
            header.sh_size = static_cast<decltype(header.sh_size)>(desc.strData.size());
            header.sh_addralign = static_cast<decltype(header.sh_addralign)>(desc.nAlign);
            if (desc.strData.empty())
            {
                continue;
            }
            const uint64_t nAlign = desc.nAlign == 0 ? 1 : desc.nAlign;
            vImage.resize((vImage.size() + nAlign - 1) / nAlign * nAlign, '\0');
            header.sh_offset = static_cast<decltype(header.sh_offset)>(vImage.size());
            vImage.insert(vImage.end(), desc.strData.begin(), desc.strData.end());
        }
        vImage.resize((vImage.size() + 7) / 8 * 8, '\0');

        THeader header = {};
        std::memcpy(header.e_ident, ELFMAG, SELFMAG);
        header.e_ident[EI_CLASS] = nClass;
        header.e_ident[EI_DATA] = ELFDATA2LSB;
        header.e_ident[EI_VERSION] = EV_CURRENT;
        header.e_type = ET_REL;
        header.e_machine = EM_NONE;
        header.e_version = EV_CURRENT;
        header.e_shoff = static_cast<decltype(header.e_shoff)>(vImage.size());
        header.e_ehsize = sizeof(THeader);
        header.e_shentsize = sizeof(TSection);
        header.e_shnum = static_cast<uint16_t>(vAll.size());
        header.e_shstrndx = static_cast<uint16_t>(vAll.size() - 1);
        for (const TSection& section : vHeaders)
        {
            Append(vImage, section);
        }
        std::memcpy(vImage.data(), &header, sizeof(header));
        return vImage;
    }

    bool m_bIsElf64;
    std::vector<ElfSectionDesc> m_vSections;
    std::vector<ElfSymbolDesc> m_vSymbols;
};

// The metadata block of one kernel as the platform writes it, at revision 111.
inline std::string MakeKernelMetadata(const std::string& strKernel, uint32_t nUniqueId)
{
    const std::string strFunction = "__OpenCL_" + strKernel + "_kernel";
    return ";ARGSTART:" + strFunction +
           "\n"
           ";version:3:1:111\n"
           ";device:larkspur\n"
           ";uniqueid:" +
           std::to_string(nUniqueId) +
           "\n"
           ";memory:uavprivate:64\n"
           ";memory:hwlocal:0\n"
           ";memory:64bitABI\n"
           ";uavid:11\n"
           ";privateid:8\n"
           ";pointer:a:float:1:1:0:uav:11:4:RO:0:0\n"
           ";pointer:c:float:1:1:16:uav:11:4:RW:0:0\n"
           ";value:n:i32:1:1:32\n"
           ";function:1:" +
           std::to_string(nUniqueId + 1) + "\n;ARGEND:" + strFunction + "\n";
}

// A kernel binary of several kernels: per kernel a metadata text and a 32-byte header in
// ".rodata" and an IL text in ".xanil", one ".debugil" for all, and a symbol for each piece.
inline std::vector<char> MakeKernelImage(bool bIsElf64, const std::vector<std::string>& vKernels,
                                         bool bReverseData = false)
{
    ElfImageBuilder builder(bIsElf64);
    std::string strRodata;
    std::string strXanil;
    std::string strDebugIL = "il_cs_2_0\ndcl_cb cb0[15]\n;$$$$$$$$$$\nend\n";
    std::vector<ElfSymbolDesc> vSymbols;
    const uint16_t nRodata = 1;
    const uint16_t nXanil = 2;
    for (size_t i = 0; i < vKernels.size(); ++i)
    {
        const uint32_t nUniqueId = static_cast<uint32_t>(1024 + 2 * i);
        const std::string strPrefix = "__OpenCL_" + vKernels[i] + "_";
        const std::string strMetadata = MakeKernelMetadata(vKernels[i], nUniqueId);
        vSymbols.push_back({strPrefix + "metadata", STB_GLOBAL, STT_OBJECT, nRodata,
                            strRodata.size(), strMetadata.size()});
        strRodata += strMetadata;
        std::string strHeader(32, '\0');
        strHeader[12] = static_cast<char>(nUniqueId & 0xFF);
        strHeader[13] = static_cast<char>(nUniqueId >> 8);
        vSymbols.push_back(
            {strPrefix + "header", STB_GLOBAL, STT_OBJECT, nRodata, strRodata.size(), 32});
        strRodata += strHeader;
        const std::string strIL = "func " + std::to_string(nUniqueId) + " ; " + vKernels[i] +
                                  "\nmov r0, r1\nret\nendfunc\n";
        vSymbols.push_back(
            {strPrefix + "xanil", STB_GLOBAL, STT_OBJECT, nXanil, strXanil.size(), strIL.size()});
        strXanil += strIL;
        strDebugIL += strIL;
    }
    builder.AddSection(".rodata", SHT_PROGBITS, SHF_ALLOC, 16, strRodata);
    builder.AddSection(".xanil", SHT_PROGBITS, 0, 1, strXanil);
    builder.AddSection(".debugil", SHT_PROGBITS, 0, 1, strDebugIL);
    builder.AddSection(".llvmir", SHT_PROGBITS, 0, 4, "; ModuleID = 'program'\n");
    builder.AddSymbol("", STB_LOCAL, STT_SECTION, nRodata, 0, 0);
    builder.AddSymbols(vSymbols);
    return builder.Build(bReverseData);
}
} // namespace XAN_Test

#endif
