#include "CKernelBinary.h"

#include "CElf.h"
#include "CElfSymbolTable.h"

#include <algorithm>
#include <cstring>

namespace XAN_Platform
{
using XAN_ElfUtils::CElfSection;
using XAN_ElfUtils::CElfSymbolTable;

const char* const CKernelBinary::ENTRY_MARKER = ";$$$$$$$$$$";

namespace
{
const char* const SYMBOL_PREFIX = "__OpenCL_";
const char* const METADATA_SUFFIX = "_metadata";
const char* const UNIT_PREFIX = "__OpenCL_unit_";
const char* const UNIT_SECTION = ".clc";
const size_t HEADER_BYTES = 32;

void AddData(CElfSymbolTable& symbols, CElfSection& section, const std::string& strSymbol,
             const void* pData, size_t nSize)
{
    const uint64_t nOffset = section.GetSize();
    section.AppendData(pData, nSize);
    symbols.AddSymbol(strSymbol, STB_GLOBAL, STT_OBJECT, 0, &section, nOffset, nSize);
}

// Text ends at its first NUL.
std::string TextOf(const char* pData, size_t nSize)
{
    const void* pNul = std::memchr(pData, '\0', nSize);
    return std::string(pData, pNul != nullptr ? static_cast<const char*>(pNul) : pData + nSize);
}

bool EndsWith(const std::string& str, const std::string& strEnd)
{
    return str.size() >= strEnd.size() &&
           str.compare(str.size() - strEnd.size(), strEnd.size(), strEnd) == 0;
}
} // namespace

bool CKernelBinary::Write(const std::vector<SKernel>& vKernels, const std::string& strDebugIL,
                          std::vector<char>& vImage)
{
    CElf elf(ET_EXEC);
    CElfSymbolTable* pSymbols = elf.GetSymbolTable();
    CElfSection* pRodata = elf.AddSection(".rodata", SHT_PROGBITS, SHF_ALLOC, 0, 16, 0);
    CElfSection* pXanIL = elf.AddSection(".xanil", SHT_PROGBITS, 0, 0, 1, 0);
    if (!elf.IsInitialized() || pSymbols == nullptr || pRodata == nullptr || pXanIL == nullptr)
    {
        return false;
    }
    for (const SKernel& kernel : vKernels)
    {
        const std::string strStem = SYMBOL_PREFIX + kernel.strName;
        AddData(*pSymbols, *pRodata, strStem + METADATA_SUFFIX, kernel.strMetadata.data(),
                kernel.strMetadata.size());
        char vHeader[HEADER_BYTES] = {};
        std::memcpy(vHeader, kernel.vHeader, sizeof(kernel.vHeader));
        AddData(*pSymbols, *pRodata, strStem + "_header", vHeader, sizeof(vHeader));
        AddData(*pSymbols, *pXanIL, strStem + "_xanil", kernel.strIL.data(), kernel.strIL.size());
    }
    if (!strDebugIL.empty())
    {
        CElfSection* pDebugIL = elf.AddSection(".debugil", SHT_PROGBITS, 0, 0, 1, 0);
        if (pDebugIL == nullptr)
        {
            return false;
        }
        pDebugIL->SetData(strDebugIL);
    }
    return elf.Store(vImage);
}

bool CKernelBinary::WriteUnits(const std::vector<std::string>& vUnits, EType eType,
                               std::vector<char>& vImage)
{
    CElf elf(eType == T_Library ? ET_DYN : ET_REL);
    CElfSymbolTable* pSymbols = elf.GetSymbolTable();
    CElfSection* pUnits = elf.AddSection(UNIT_SECTION, SHT_PROGBITS, 0, 0, 1, 0);
    if (!elf.IsInitialized() || pSymbols == nullptr || pUnits == nullptr)
    {
        return false;
    }
    for (size_t i = 0; i < vUnits.size(); ++i)
    {
        AddData(*pSymbols, *pUnits, UNIT_PREFIX + std::to_string(i), vUnits[i].data(),
                vUnits[i].size());
    }
    return elf.Store(vImage);
}

bool CKernelBinary::ReadUnits(const CElf& elf, std::string& strError)
{
    m_eType = elf.GetType() == ET_DYN ? T_Library : T_CompiledObject;
    const CElfSymbolTable* pSymbols = elf.GetSymbolTable();
    const CElfSection* pUnits = elf.GetSection(UNIT_SECTION);
    if (pSymbols == nullptr)
    {
        strError = "the compiled object has no symbol table";
        return false;
    }
    std::vector<std::pair<std::string, std::string>> vNamed;
    for (auto it = pSymbols->begin(); it != pSymbols->end(); ++it)
    {
        if (it->name.compare(0, std::strlen(UNIT_PREFIX), UNIT_PREFIX) != 0)
        {
            continue;
        }
        if (it->section != pUnits ||
            !XAN_ElfUtils::RangeInside(it->st_value, it->st_size, pUnits->GetData().size()))
        {
            strError = "symbol " + it->name + " lies outside section " + UNIT_SECTION;
            return false;
        }
        vNamed.emplace_back(it->name,
                            std::string(pUnits->GetData().data() + it->st_value, it->st_size));
    }
    // Units link in the order they were written.
    std::sort(vNamed.begin(), vNamed.end(),
              [](const auto& a, const auto& b) {
                  return a.first.size() != b.first.size() ? a.first.size() < b.first.size()
                                                          : a.first < b.first;
              });
    for (const auto& named : vNamed)
    {
        m_vUnits.push_back(named.second);
    }
    if (m_vUnits.empty())
    {
        strError = "the compiled object holds no unit (__OpenCL_unit_<n> symbols)";
        return false;
    }
    return true;
}

bool CKernelBinary::Read(const std::vector<char>& vImage, std::string& strError)
{
    m_vKernels.clear();
    m_vUnits.clear();
    m_eType = T_Executable;
    m_bHasDebugIL = false;
    m_strDebugIL.clear();
    CElf elf(vImage);
    if (!elf.IsInitialized())
    {
        strError = "the binary is not an ELF image that can be read: " + elf.GetLastError();
        return false;
    }
    if (elf.GetSection(UNIT_SECTION) != nullptr)
    {
        return ReadUnits(elf, strError);
    }
    const CElfSymbolTable* pSymbols = elf.GetSymbolTable();
    if (pSymbols == nullptr || elf.GetSection(".symtab") != pSymbols)
    {
        strError = "the binary has no symbol table \".symtab\"";
        return false;
    }
    // Each symbol's bytes, checked against its section.
    auto readSymbol = [&](const std::string& strName, std::string& strData, bool& bFound)
    {
        bFound = false;
        for (auto it = pSymbols->begin(); it != pSymbols->end(); ++it)
        {
            if (it->name != strName)
            {
                continue;
            }
            const std::vector<char>* pData =
                it->section != nullptr ? &it->section->GetData() : nullptr;
            if (pData == nullptr ||
                !XAN_ElfUtils::RangeInside(it->st_value, it->st_size, pData->size()))
            {
                strError = "symbol " + strName + " lies outside its section";
                return false;
            }
            strData.assign(pData->data() + it->st_value, it->st_size);
            bFound = true;
            return true;
        }
        return true;
    };
    for (auto it = pSymbols->begin(); it != pSymbols->end(); ++it)
    {
        const std::string& strName = it->name;
        if (strName.compare(0, std::strlen(SYMBOL_PREFIX), SYMBOL_PREFIX) != 0 ||
            !EndsWith(strName, METADATA_SUFFIX) ||
            strName.size() <= std::strlen(SYMBOL_PREFIX) + std::strlen(METADATA_SUFFIX))
        {
            continue;
        }
        SKernel kernel = {};
        kernel.strName =
            strName.substr(std::strlen(SYMBOL_PREFIX), strName.size() - std::strlen(SYMBOL_PREFIX) -
                                                           std::strlen(METADATA_SUFFIX));
        const std::string strStem = SYMBOL_PREFIX + kernel.strName;
        std::string strData;
        bool bFound = false;
        if (!readSymbol(strName, strData, bFound))
        {
            return false;
        }
        kernel.strMetadata = TextOf(strData.data(), strData.size());
        if (!readSymbol(strStem + "_xanil", strData, bFound))
        {
            return false;
        }
        kernel.strIL = bFound ? TextOf(strData.data(), strData.size()) : std::string();
        m_vKernels.push_back(kernel);
    }
    if (const CElfSection* pDebugIL = elf.GetSection(".debugil"))
    {
        // The loader drops the bytes of a section that runs past the end of the file.
        if (pDebugIL->GetData().empty())
        {
            strError = "section .debugil holds no text: it is empty or runs past the end of the "
                       "file";
            return false;
        }
        m_bHasDebugIL = true;
        m_strDebugIL = TextOf(pDebugIL->GetData().data(), pDebugIL->GetData().size());
    }
    if (m_vKernels.empty())
    {
        strError = "the binary holds no kernel metadata (__OpenCL_<kernel>_metadata symbols)";
        return false;
    }
    return true;
}
} // namespace XAN_Platform
