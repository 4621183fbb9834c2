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

    uint16_t GetSymbolTableIndex() const { return static_cast<uint16_t>(m_vSections.size() + 2); }

    // bReverseData places the sections' bytes in the file in the opposite order of their
    // headers.
    std::vector<char> Build(bool bReverseData = false) const
    {
        struct Section
        {
            ElfSectionDesc desc;
            uint32_t nLink;
            uint32_t nInfo;
            uint64_t nEntrySize;
            uint32_t nName;
            uint64_t nOffset;
        };
        std::vector<Section> vAll;
        vAll.push_back({{"", SHT_NULL, 0, 0, ""}, 0, 0, 0, 0, 0});
        for (const ElfSectionDesc& desc : m_vSections)
        {
            vAll.push_back({desc, 0, 0, 0, 0, 0});
        }
        if (!m_vSymbols.empty())
        {
            std::string strNames(1, '\0');
            std::string strSymbols(SymbolSize(), '\0');
            uint32_t nLocals = 1;
            for (const ElfSymbolDesc& symbol : m_vSymbols)
            {
                strSymbols += EncodeSymbol(symbol, static_cast<uint32_t>(strNames.size()));
                strNames += symbol.strName + '\0';
                if (symbol.nBind == STB_LOCAL)
                {
                    ++nLocals;
                }
            }
            const uint32_t nStrings = static_cast<uint32_t>(vAll.size());
            vAll.push_back({{".strtab", SHT_STRTAB, 0, 1, strNames}, 0, 0, 0, 0, 0});
            vAll.push_back(
                {{".symtab", SHT_SYMTAB, 0, 8, strSymbols}, nStrings, nLocals, SymbolSize(), 0, 0});
        }
        vAll.push_back({{".shstrtab", SHT_STRTAB, 0, 1, ""}, 0, 0, 0, 0, 0});
        std::string strSectionNames;
        for (Section& section : vAll)
        {
            section.nName = static_cast<uint32_t>(strSectionNames.size());
            strSectionNames += section.desc.strName + '\0';
        }
        vAll.back().desc.strData = strSectionNames;

        std::vector<char> vImage(FileHeaderSize(), '\0');
        for (size_t n = 0; n < vAll.size(); ++n)
        {
            Section& section = vAll[bReverseData ? vAll.size() - 1 - n : n];
            if (section.desc.strData.empty())
            {
                continue;
            }
            const uint64_t nAlign = section.desc.nAlign == 0 ? 1 : section.desc.nAlign;
            vImage.resize((vImage.size() + nAlign - 1) / nAlign * nAlign, '\0');
            section.nOffset = vImage.size();
            vImage.insert(vImage.end(), section.desc.strData.begin(), section.desc.strData.end());
        }
        vImage.resize((vImage.size() + 7) / 8 * 8, '\0');
        const uint64_t nHeaderTable = vImage.size();
        for (const Section& section : vAll)
        {
            AppendSectionHeader(vImage, section.desc, section.nName, section.nOffset, section.nLink,
                                section.nInfo, section.nEntrySize);
        }
        WriteFileHeader(vImage, nHeaderTable, static_cast<uint16_t>(vAll.size()));
        return vImage;
    }

private:
    size_t FileHeaderSize() const { return m_bIsElf64 ? sizeof(Elf64_Ehdr) : sizeof(Elf32_Ehdr); }
    size_t SymbolSize() const { return m_bIsElf64 ? sizeof(Elf64_Sym) : sizeof(Elf32_Sym); }

    template <typename T> static std::string Bytes(const T& value)
    {
        return std::string(reinterpret_cast<const char*>(&value), sizeof(value));
    }

    template <typename TSymbol>
    static TSymbol MakeSymbol(const ElfSymbolDesc& symbol, uint32_t nName)
    {
        TSymbol record = {};
        record.st_name = nName;
        record.st_info = static_cast<unsigned char>(ELF64_ST_INFO(symbol.nBind, symbol.nType));
        record.st_shndx = symbol.nSection;
        record.st_value = static_cast<decltype(record.st_value)>(symbol.nValue);
        record.st_size = static_cast<decltype(record.st_size)>(symbol.nSize);
        return record;
    }

    std::string EncodeSymbol(const ElfSymbolDesc& symbol, uint32_t nName) const
    {
        return m_bIsElf64 ? Bytes(MakeSymbol<Elf64_Sym>(symbol, nName))
                          : Bytes(MakeSymbol<Elf32_Sym>(symbol, nName));
    }

    template <typename THeader>
    static THeader MakeSectionHeader(const ElfSectionDesc& desc, uint32_t nName, uint64_t nOffset,
                                     uint32_t nLink, uint32_t nInfo, uint64_t nEntrySize)
    {
        THeader header = {};
        header.sh_name = nName;
        header.sh_type = desc.nType;
        header.sh_flags = static_cast<decltype(header.sh_flags)>(desc.nFlags);
        header.sh_offset = static_cast<decltype(header.sh_offset)>(nOffset);
        header.sh_size = static_cast<decltype(header.sh_size)>(desc.strData.size());
        header.sh_link = nLink;
        header.sh_info = nInfo;
        header.sh_addralign = static_cast<decltype(header.sh_addralign)>(desc.nAlign);
        header.sh_entsize = static_cast<decltype(header.sh_entsize)>(nEntrySize);
        return header;
    }

    void AppendSectionHeader(std::vector<char>& vImage, const ElfSectionDesc& desc, uint32_t nName,
                             uint64_t nOffset, uint32_t nLink, uint32_t nInfo,
                             uint64_t nEntrySize) const
    {
        const std::string strHeader =
            m_bIsElf64 ? Bytes(MakeSectionHeader<Elf64_Shdr>(desc, nName, nOffset, nLink, nInfo,
                                                             nEntrySize))
                       : Bytes(MakeSectionHeader<Elf32_Shdr>(desc, nName, nOffset, nLink, nInfo,
                                                             nEntrySize));
        vImage.insert(vImage.end(), strHeader.begin(), strHeader.end());
    }

    template <typename THeader>
    static THeader MakeFileHeader(unsigned char nClass, uint64_t nHeaderTable, uint16_t nSections)
    {
        THeader header = {};
        std::memcpy(header.e_ident, ELFMAG, SELFMAG);
        header.e_ident[EI_CLASS] = nClass;
        header.e_ident[EI_DATA] = ELFDATA2LSB;
        header.e_ident[EI_VERSION] = EV_CURRENT;
        header.e_type = ET_REL;
        header.e_machine = EM_NONE;
        header.e_version = EV_CURRENT;
        header.e_shoff = static_cast<decltype(header.e_shoff)>(nHeaderTable);
        header.e_ehsize = sizeof(THeader);
        header.e_shentsize = nClass == ELFCLASS64 ? sizeof(Elf64_Shdr) : sizeof(Elf32_Shdr);
        header.e_shnum = nSections;
        header.e_shstrndx = static_cast<uint16_t>(nSections - 1);
        return header;
    }

    void WriteFileHeader(std::vector<char>& vImage, uint64_t nHeaderTable, uint16_t nSections) const
    {
        const std::string strHeader =
            m_bIsElf64 ? Bytes(MakeFileHeader<Elf64_Ehdr>(ELFCLASS64, nHeaderTable, nSections))
                       : Bytes(MakeFileHeader<Elf32_Ehdr>(ELFCLASS32, nHeaderTable, nSections));
        std::memcpy(vImage.data(), strHeader.data(), strHeader.size());
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
    for (const ElfSymbolDesc& symbol : vSymbols)
    {
        builder.AddSymbol(symbol.strName, symbol.nBind, symbol.nType, symbol.nSection,
                          symbol.nValue, symbol.nSize);
    }
    return builder.Build(bReverseData);
}
} // namespace XAN_Test

#endif
