#ifndef XAN_PLATFORM_CDNK_BINARY_H
#define XAN_PLATFORM_CDNK_BINARY_H

#include "XANDnkCompiler.h"

#include "CElf.h"

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace XAN_Platform
{
// A binary object of the compiler library: a kernel ELF image held as sections and symbols.
// Its debug IL is the ".debugil" text and the ".debugilbin" tokens, which the compile step
// makes from each other. Every operation answers a DNK_* code.
class CDnkBinary
{
public:
    // An empty kernel image, with a symbol table and no kernels.
    CDnkBinary();
    explicit CDnkBinary(const std::vector<char>& vImage);
    explicit CDnkBinary(const std::string& strPath);
    CDnkBinary(const CDnkBinary&) = delete;
    CDnkBinary& operator=(const CDnkBinary&) = delete;

    bool IsValid() const { return m_Elf.IsInitialized(); }

    int InsertSection(int nKind, const void* pData, size_t nSize);
    int ExtractSection(int nKind, const void*& pData, size_t& nSize) const;
    int RemoveSection(int nKind);

    int InsertSymbol(int nKind, const char* pName, const void* pData, size_t nSize);
    int ExtractSymbol(int nKind, const char* pName, const void*& pData, size_t& nSize) const;
    int RemoveSymbol(int nKind, const char* pName);

    int Compile(int nFromStage, int nToStage, dnk_log_fn pfnLog);
    int Disassemble(dnk_log_fn pfnLog);

    int QueryInfo(int nQuery, const char* pKernelName, void* pBuffer, size_t* pnSize);
    int AddDebugArgument(const char* pName, uint32_t nResourceId, uint32_t nAlignment);

    // The image stays the object's until the next write.
    int WriteToMemory(const void*& pImage, size_t& nSize);
    int WriteToFile(const std::string& strPath);

    // The name of a kind's section, or null for a kind that names no single section.
    static const char* GetSectionName(int nKind);

private:
    struct DebugArgument
    {
        std::string strName;
        uint32_t nResourceId;
        uint32_t nAlignment;
    };

    // The section that holds a debug IL symbol, or null for another name.
    static const char* GetDebugILSectionName(int nKind, const char* pName, int& nError);
    int SetSectionData(const char* pSectionName, uint64_t nAlign, const void* pData, size_t nSize);
    int GetSectionData(const char* pSectionName, const void*& pData, size_t& nSize) const;
    int AssembleText(std::vector<unsigned int>& vTokens, dnk_log_fn pfnLog) const;
    int DisassembleTokens(std::string& strText, dnk_log_fn pfnLog) const;
    int GetMetadata(const std::string& strKernelName, std::string& strMetadata) const;
    int GetArguments(const std::string& strKernelName, std::vector<dnk_argument>& vArguments);
    const char* KeepName(const std::string& strName);

    XAN_ElfUtils::CElf m_Elf;
    std::vector<char> m_vImage;
    std::vector<DebugArgument> m_vDebugArguments;
    // The texts that argument records point at; a set keeps them in place.
    std::set<std::string> m_Names;
};
} // namespace XAN_Platform

#endif
