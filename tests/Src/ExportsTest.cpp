#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <elf.h>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace
{
// The exports that the library implements; each must be declared in the public header.
const std::set<std::string> EXPORTS = {
    "xanclDebugUtilGetLastError",
    "xanclDebugGetDispatchTable",
    "xanclDebugSetDispatchTable",
    "xanclDebugUtilStringToDebugRegisterLocator",
    "xanclDebugUtilDebugRegisterLocatorToString",
};

// The dynamic symbols and needed libraries of a 64-bit ELF shared library.
struct DynamicInfo
{
    bool bValid = false;
    std::set<std::string> definedGlobals;
    std::vector<std::string> needed;
};

template <typename T> bool ReadAt(const std::string& strImage, size_t nOffset, T* pValue)
{
    if (nOffset > strImage.size() || strImage.size() - nOffset < sizeof(T))
    {
        return false;
    }
    memcpy(pValue, strImage.data() + nOffset, sizeof(T));
    return true;
}

std::string StringAt(const std::string& strImage, const Elf64_Shdr& strtab, size_t nIndex)
{
    if (nIndex >= strtab.sh_size || strtab.sh_offset + nIndex >= strImage.size())
    {
        return std::string();
    }
    const size_t nStart = strtab.sh_offset + nIndex;
    const size_t nEnd = strImage.find('\0', nStart);
    return strImage.substr(nStart, nEnd == std::string::npos ? std::string::npos : nEnd - nStart);
}

DynamicInfo ReadDynamicInfo(const std::string& strImage)
{
    DynamicInfo info;
    Elf64_Ehdr header;
    if (!ReadAt(strImage, 0, &header) || memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
        header.e_ident[EI_CLASS] != ELFCLASS64)
    {
        return info;
    }
    std::vector<Elf64_Shdr> sections(header.e_shnum);
    for (size_t i = 0; i < sections.size(); ++i)
    {
        if (!ReadAt(strImage, header.e_shoff + i * header.e_shentsize, &sections[i]))
        {
            return info;
        }
    }
    for (const Elf64_Shdr& section : sections)
    {
        if ((section.sh_type != SHT_DYNSYM && section.sh_type != SHT_DYNAMIC) ||
            section.sh_link >= sections.size())
        {
            continue;
        }
        const Elf64_Shdr& strtab = sections[section.sh_link];
        if (section.sh_type == SHT_DYNSYM)
        {
            for (size_t n = 0; n < section.sh_size / sizeof(Elf64_Sym); ++n)
            {
                Elf64_Sym symbol;
                if (!ReadAt(strImage, section.sh_offset + n * sizeof(Elf64_Sym), &symbol))
                {
                    return info;
                }
                const unsigned char nBinding = ELF64_ST_BIND(symbol.st_info);
                if (symbol.st_shndx != SHN_UNDEF &&
                    (nBinding == STB_GLOBAL || nBinding == STB_WEAK))
                {
                    info.definedGlobals.insert(StringAt(strImage, strtab, symbol.st_name));
                }
            }
        }
        else
        {
            for (size_t n = 0; n < section.sh_size / sizeof(Elf64_Dyn); ++n)
            {
                Elf64_Dyn entry;
                if (!ReadAt(strImage, section.sh_offset + n * sizeof(Elf64_Dyn), &entry))
                {
                    return info;
                }
                if (entry.d_tag == DT_NEEDED)
                {
                    info.needed.push_back(StringAt(strImage, strtab, entry.d_un.d_val));
                }
            }
        }
    }
    info.bValid = true;
    return info;
}

// Given by the build: __FILE__ may be relative (a compiler cache rewrites it), and tests run
// in a temporary directory.
std::string PublicHeaderPath()
{
    return XAN_PUBLIC_HEADER_PATH;
}
} // namespace

TEST(ExportsTest, TheLibraryExportsExactlyTheImplementedFunctions)
{
    const DynamicInfo info = ReadDynamicInfo(XAN_Test::ReadFile(XAN_DEBUG_LIBRARY_PATH));
    ASSERT_TRUE(info.bValid) << XAN_DEBUG_LIBRARY_PATH;
    EXPECT_EQ(EXPORTS, info.definedGlobals);
}

TEST(ExportsTest, EveryExportIsDeclaredInThePublicHeader)
{
    const std::string strHeader = XAN_Test::ReadFile(PublicHeaderPath());
    ASSERT_FALSE(strHeader.empty()) << PublicHeaderPath();
    for (const std::string& strName : EXPORTS)
    {
        const std::regex declaration("XANCL_API[^;]*\\b" + strName + "\\s*\\(");
        EXPECT_TRUE(std::regex_search(strHeader, declaration)) << strName;
    }
}

TEST(ExportsTest, NoVendorLibraryIsNeeded)
{
    // The OpenCL runtime, the low-level runtime and the compiler library are all bound by name.
    const std::vector<std::string> vForbidden = {"opencl", "orvquvrt", "orvquvcl", "orvquvdd",
                                                 "xanocl", "xanhsacl", "nordvane"};
    const DynamicInfo info = ReadDynamicInfo(XAN_Test::ReadFile(XAN_DEBUG_LIBRARY_PATH));
    ASSERT_TRUE(info.bValid);
    EXPECT_FALSE(info.needed.empty());
    for (const std::string& strNeeded : info.needed)
    {
        std::string strLower = strNeeded;
        std::transform(strLower.begin(), strLower.end(), strLower.begin(), ::tolower);
        for (const std::string& strForbidden : vForbidden)
        {
            EXPECT_EQ(std::string::npos, strLower.find(strForbidden)) << strNeeded;
        }
    }
}
