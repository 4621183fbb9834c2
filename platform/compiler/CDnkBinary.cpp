#include "CDnkBinary.h"

#include "CElfSymbolTable.h"
#include "CILAssembler.h"
#include "CILDisassembler.h"
#include "CLMetadata.h"
#include "PlatformConsistencyReport.h"

#include <algorithm>
#include <cstring>
#include <elf.h>

namespace XAN_Platform
{
namespace
{
const char* const DEBUG_IL_TEXT_SECTION = ".debugil";
const char* const DEBUG_IL_BINARY_SECTION = ".debugilbin";
const char* const DEBUG_IL_TEXT_SYMBOL = "__debugil_text";
const char* const DEBUG_IL_BINARY_SYMBOL = "__debugil_binary";
// The bytes of a debug argument in constant buffer 1: a pointer argument's.
const uint32_t DEBUG_ARGUMENT_SIZE = 16;

uint32_t AccessOfText(const std::string& strAccess)
{
    if (strAccess == "RO")
    {
        return 1;
    }
    if (strAccess == "WO")
    {
        return 2;
    }
    return strAccess == "RW" ? 3 : 0;
}

int Log(dnk_log_fn pfnLog, const std::string& strMessage, int nError)
{
    if (pfnLog != nullptr)
    {
        pfnLog(strMessage.c_str(), strMessage.size());
    }
    return nError;
}
} // namespace

CDnkBinary::CDnkBinary() : m_Elf(ET_REL) {}

CDnkBinary::CDnkBinary(const std::vector<char>& vImage) : m_Elf(vImage) {}

CDnkBinary::CDnkBinary(const std::string& strPath) : m_Elf(strPath) {}

const char* CDnkBinary::GetSectionName(int nKind)
{
    switch (nKind)
    {
    case DNK_SECTION_LLVMIR:
        return ".llvmir";
    case DNK_SECTION_XANIL:
        return ".xanil";
    case DNK_SECTION_DEBUGIL:
        return DEBUG_IL_TEXT_SECTION;
    case DNK_SECTION_TEXT:
        return ".text";
    default:
        return nullptr;
    }
}

int CDnkBinary::InsertSection(int nKind, const void* pData, size_t nSize)
{
    const char* pName = GetSectionName(nKind);
    if (pName == nullptr)
    {
        return DNK_ERROR_INVALID_ARGUMENT;
    }
    // The symbols inside the old bytes would point at arbitrary places of the new ones.
    XAN_ElfUtils::CElfSection* pSection = m_Elf.GetSection(pName);
    if (pSection != nullptr && m_Elf.GetSymbolTable() != nullptr)
    {
        m_Elf.GetSymbolTable()->RemoveSymbolsForSection(pSection);
    }
    return SetSectionData(pName, 1, pData, nSize);
}

int CDnkBinary::ExtractSection(int nKind, const void*& pData, size_t& nSize) const
{
    const char* pName = GetSectionName(nKind);
    return pName == nullptr ? DNK_ERROR_INVALID_ARGUMENT : GetSectionData(pName, pData, nSize);
}

int CDnkBinary::RemoveSection(int nKind)
{
    const char* pName = GetSectionName(nKind);
    if (pName == nullptr)
    {
        return DNK_ERROR_INVALID_ARGUMENT;
    }
    return m_Elf.RemoveSection(pName) ? DNK_SUCCESS : DNK_ERROR_NOT_FOUND;
}

const char* CDnkBinary::GetDebugILSectionName(int nKind, const char* pName, int& nError)
{
    nError = DNK_SUCCESS;
    if (pName == nullptr)
    {
        nError = DNK_ERROR_INVALID_ARGUMENT;
    }
    else if (nKind != DNK_SECTION_DEBUGIL_SYMBOLS)
    {
        nError = DNK_ERROR_NOT_SUPPORTED;
    }
    else if (strcmp(pName, DEBUG_IL_TEXT_SYMBOL) == 0)
    {
        return DEBUG_IL_TEXT_SECTION;
    }
    else if (strcmp(pName, DEBUG_IL_BINARY_SYMBOL) == 0)
    {
        return DEBUG_IL_BINARY_SECTION;
    }
    else
    {
        nError = DNK_ERROR_NOT_FOUND;
    }
    return nullptr;
}

int CDnkBinary::InsertSymbol(int nKind, const char* pName, const void* pData, size_t nSize)
{
    int nError = DNK_SUCCESS;
    const char* pSectionName = GetDebugILSectionName(nKind, pName, nError);
    if (pSectionName == nullptr)
    {
        return nError;
    }
    // Tokens are 32-bit words.
    const bool bTokens = strcmp(pSectionName, DEBUG_IL_BINARY_SECTION) == 0;
    return SetSectionData(pSectionName, bTokens ? 4 : 1, pData, nSize);
}

int CDnkBinary::ExtractSymbol(int nKind, const char* pName, const void*& pData, size_t& nSize) const
{
    int nError = DNK_SUCCESS;
    const char* pSectionName = GetDebugILSectionName(nKind, pName, nError);
    return pSectionName == nullptr ? nError : GetSectionData(pSectionName, pData, nSize);
}

int CDnkBinary::RemoveSymbol(int nKind, const char* pName)
{
    int nError = DNK_SUCCESS;
    const char* pSectionName = GetDebugILSectionName(nKind, pName, nError);
    if (pSectionName == nullptr)
    {
        return nError;
    }
    return m_Elf.RemoveSection(pSectionName) ? DNK_SUCCESS : DNK_ERROR_NOT_FOUND;
}

int CDnkBinary::SetSectionData(const char* pSectionName, uint64_t nAlign, const void* pData,
                               size_t nSize)
{
    if (pData == nullptr && nSize != 0)
    {
        return DNK_ERROR_INVALID_ARGUMENT;
    }
    XAN_ElfUtils::CElfSection* pSection = m_Elf.GetSection(pSectionName);
    if (pSection == nullptr)
    {
        pSection = m_Elf.AddSection(pSectionName, SHT_PROGBITS, 0, 0, nAlign, 0);
        if (pSection == nullptr)
        {
            return DNK_ERROR_INVALID_BINARY;
        }
    }
    pSection->SetData(pData, nSize);
    return DNK_SUCCESS;
}

int CDnkBinary::GetSectionData(const char* pSectionName, const void*& pData, size_t& nSize) const
{
    const XAN_ElfUtils::CElfSection* pSection = m_Elf.GetSection(pSectionName);
    if (pSection == nullptr)
    {
        return DNK_ERROR_NOT_FOUND;
    }
    pData = pSection->GetData().data();
    nSize = pSection->GetData().size();
    return DNK_SUCCESS;
}

int CDnkBinary::AssembleText(std::vector<unsigned int>& vTokens, dnk_log_fn pfnLog) const
{
    const void* pText = nullptr;
    size_t nSize = 0;
    if (GetSectionData(DEBUG_IL_TEXT_SECTION, pText, nSize) != DNK_SUCCESS)
    {
        return Log(pfnLog, "no IL text to compile", DNK_ERROR_NOT_FOUND);
    }
    CILAssembler assembler;
    if (!assembler.Assemble(std::string_view(static_cast<const char*>(pText), nSize), vTokens))
    {
        return Log(pfnLog, assembler.GetError().ToString(), DNK_ERROR_COMPILE);
    }
    return DNK_SUCCESS;
}

int CDnkBinary::DisassembleTokens(std::string& strText, dnk_log_fn pfnLog) const
{
    const void* pBinary = nullptr;
    size_t nSize = 0;
    if (GetSectionData(DEBUG_IL_BINARY_SECTION, pBinary, nSize) != DNK_SUCCESS)
    {
        return Log(pfnLog, "no IL binary to compile", DNK_ERROR_NOT_FOUND);
    }
    std::vector<unsigned int> vTokens(nSize / sizeof(unsigned int));
    if (!vTokens.empty())
    {
        memcpy(vTokens.data(), pBinary, vTokens.size() * sizeof(unsigned int));
    }
    CILDisassembler disassembler;
    if (!disassembler.Disassemble(vTokens.data(), vTokens.size(), strText))
    {
        return Log(pfnLog, disassembler.GetError().ToString(), DNK_ERROR_COMPILE);
    }
    return DNK_SUCCESS;
}

int CDnkBinary::Compile(int nFromStage, int nToStage, dnk_log_fn pfnLog)
{
    if (nFromStage == DNK_STAGE_IL_TEXT && nToStage == DNK_STAGE_IL_BINARY)
    {
        std::vector<unsigned int> vTokens;
        const int nError = AssembleText(vTokens, pfnLog);
        return nError != DNK_SUCCESS ? nError
                                     : SetSectionData(DEBUG_IL_BINARY_SECTION, 4, vTokens.data(),
                                                      vTokens.size() * sizeof(unsigned int));
    }
    if (nFromStage == DNK_STAGE_IL_BINARY && nToStage == DNK_STAGE_IL_TEXT)
    {
        std::string strText;
        const int nError = DisassembleTokens(strText, pfnLog);
        return nError != DNK_SUCCESS
                   ? nError
                   : SetSectionData(DEBUG_IL_TEXT_SECTION, 1, strText.data(), strText.size());
    }
    return DNK_ERROR_NOT_SUPPORTED;
}

int CDnkBinary::Disassemble(dnk_log_fn pfnLog)
{
    if (pfnLog == nullptr)
    {
        return DNK_ERROR_INVALID_ARGUMENT;
    }
    // The tokens, made from the text where the object has only that.
    if (m_Elf.GetSection(DEBUG_IL_BINARY_SECTION) == nullptr)
    {
        const int nError = Compile(DNK_STAGE_IL_TEXT, DNK_STAGE_IL_BINARY, pfnLog);
        if (nError != DNK_SUCCESS)
        {
            return nError;
        }
    }
    std::string strText;
    const int nError = DisassembleTokens(strText, pfnLog);
    return nError != DNK_SUCCESS ? nError : Log(pfnLog, strText, DNK_SUCCESS);
}

int CDnkBinary::GetMetadata(const std::string& strKernelName, std::string& strMetadata) const
{
    // Every reader of metadata comes here first.
    SetPlatformConsistencyReport();
    XAN_ElfUtils::CElfSymbolTable* pSymbols = m_Elf.GetSymbolTable();
    if (pSymbols == nullptr)
    {
        return DNK_ERROR_NOT_FOUND;
    }
    const auto it = pSymbols->find("__OpenCL_" + strKernelName + "_metadata");
    if (it == pSymbols->end() || it->section == nullptr)
    {
        return DNK_ERROR_NOT_FOUND;
    }
    const std::vector<char>& vData = it->section->GetData();
    if (!XAN_ElfUtils::RangeInside(it->st_value, it->st_size, vData.size()))
    {
        return DNK_ERROR_INVALID_BINARY;
    }
    const char* pBegin = vData.data() + it->st_value;
    const char* pEnd = pBegin + it->st_size;
    strMetadata.assign(pBegin, std::find(pBegin, pEnd, '\0'));
    return DNK_SUCCESS;
}

const char* CDnkBinary::KeepName(const std::string& strName)
{
    return m_Names.insert(strName).first->c_str();
}

int CDnkBinary::GetArguments(const std::string& strKernelName,
                             std::vector<dnk_argument>& vArguments)
{
    std::string strMetadata;
    const int nError = GetMetadata(strKernelName, strMetadata);
    CCLMetadata metadata;
    if (nError != DNK_SUCCESS)
    {
        return nError;
    }
    if (!metadata.Parse(strMetadata))
    {
        return DNK_ERROR_INVALID_BINARY;
    }
    std::vector<CCLMetadataEntry*> vEntries;
    metadata.GetArguments(vEntries);
    for (const CCLMetadataEntry* pEntry : vEntries)
    {
        dnk_argument argument = {};
        argument.nIndex = static_cast<uint32_t>(vArguments.size());
        if (const auto* pValue = dynamic_cast<const CCLMetadataValueEntry*>(pEntry))
        {
            argument.nKind = DNK_ARGUMENT_VALUE;
            argument.pName = KeepName(pValue->GetName());
            argument.pDataType = KeepName(pValue->GetDataType());
            argument.nOffset = pValue->GetBufferOffset();
            argument.nSize = pValue->GetSize();
            argument.nCount = pValue->GetCount();
        }
        else if (const auto* pPointer = dynamic_cast<const CCLMetadataPointerEntry*>(pEntry))
        {
            argument.nKind = DNK_ARGUMENT_POINTER;
            argument.pName = KeepName(pPointer->GetName());
            argument.pDataType = KeepName(pPointer->GetDataType());
            argument.nOffset = pPointer->GetBufferOffset();
            argument.nSize = pPointer->GetSize();
            argument.nCount = pPointer->GetCount();
            argument.nResourceId = pPointer->GetResourceId();
            argument.nAlignment = pPointer->GetAlignment();
            if (const auto* pAccess = dynamic_cast<const CCLMetadataPointerEntryR87*>(pEntry))
            {
                argument.nAccess = pAccess->GetAccess();
            }
        }
        else if (const auto* pImage = dynamic_cast<const CCLMetadataImageEntry*>(pEntry))
        {
            argument.nKind = DNK_ARGUMENT_IMAGE;
            argument.pName = KeepName(pImage->GetName());
            argument.pDataType = KeepName(pImage->GetDimension());
            argument.nOffset = pImage->GetBufferOffset();
            argument.nSize = pImage->GetSize();
            argument.nCount = 1;
            argument.nResourceId = pImage->GetResourceId();
            argument.nAccess = AccessOfText(pImage->GetAccess());
        }
        else if (const auto* pCounter = dynamic_cast<const CCLMetadataCounterEntry*>(pEntry))
        {
            argument.nKind = DNK_ARGUMENT_COUNTER;
            argument.pName = KeepName(pCounter->GetName());
            argument.pDataType = KeepName("counter");
            argument.nCount = 1;
        }
        else
        {
            continue;
        }
        vArguments.push_back(argument);
    }
    uint32_t nOffset = metadata.GetArgBufferSize();
    for (const DebugArgument& debugArgument : m_vDebugArguments)
    {
        dnk_argument argument = {};
        argument.nKind = DNK_ARGUMENT_DEBUG;
        argument.nIndex = static_cast<uint32_t>(vArguments.size());
        argument.pName = KeepName(debugArgument.strName);
        argument.pDataType = KeepName("i32");
        argument.nOffset = nOffset;
        argument.nSize = DEBUG_ARGUMENT_SIZE;
        argument.nCount = 1;
        argument.nResourceId = debugArgument.nResourceId;
        argument.nAlignment = debugArgument.nAlignment;
        argument.nAccess = 3;
        nOffset += DEBUG_ARGUMENT_SIZE;
        vArguments.push_back(argument);
    }
    return DNK_SUCCESS;
}

int CDnkBinary::QueryInfo(int nQuery, const char* pKernelName, void* pBuffer, size_t* pnSize)
{
    if (pKernelName == nullptr || pnSize == nullptr)
    {
        return DNK_ERROR_INVALID_ARGUMENT;
    }
    std::vector<char> vAnswer;
    int nError = DNK_SUCCESS;
    switch (nQuery)
    {
    case DNK_QUERY_METADATA:
    {
        std::string strMetadata;
        nError = GetMetadata(pKernelName, strMetadata);
        vAnswer.assign(strMetadata.begin(), strMetadata.end());
        break;
    }
    case DNK_QUERY_FUNCTION_NUMBER:
    {
        std::string strMetadata;
        CCLMetadata metadata;
        nError = GetMetadata(pKernelName, strMetadata);
        if (nError == DNK_SUCCESS && !metadata.Parse(strMetadata))
        {
            nError = DNK_ERROR_INVALID_BINARY;
        }
        const uint32_t nFunctionNumber = metadata.GetUniqueId();
        vAnswer.resize(sizeof(nFunctionNumber));
        memcpy(vAnswer.data(), &nFunctionNumber, sizeof(nFunctionNumber));
        break;
    }
    case DNK_QUERY_ARGUMENTS:
    {
        std::vector<dnk_argument> vArguments;
        nError = GetArguments(pKernelName, vArguments);
        // The record that ends the list.
        vArguments.push_back(dnk_argument{});
        vAnswer.resize(vArguments.size() * sizeof(dnk_argument));
        memcpy(vAnswer.data(), vArguments.data(), vAnswer.size());
        break;
    }
    default:
        return DNK_ERROR_INVALID_ARGUMENT;
    }
    if (nError != DNK_SUCCESS)
    {
        return nError;
    }
    const size_t nCapacity = *pnSize;
    *pnSize = vAnswer.size();
    if (pBuffer == nullptr)
    {
        return DNK_SUCCESS;
    }
    if (nCapacity < vAnswer.size())
    {
        return DNK_ERROR_BUFFER_TOO_SMALL;
    }
    if (!vAnswer.empty())
    {
        memcpy(pBuffer, vAnswer.data(), vAnswer.size());
    }
    return DNK_SUCCESS;
}

int CDnkBinary::AddDebugArgument(const char* pName, uint32_t nResourceId, uint32_t nAlignment)
{
    if (pName == nullptr || *pName == '\0')
    {
        return DNK_ERROR_INVALID_ARGUMENT;
    }
    m_vDebugArguments.push_back(DebugArgument{pName, nResourceId, nAlignment});
    return DNK_SUCCESS;
}

int CDnkBinary::WriteToMemory(const void*& pImage, size_t& nSize)
{
    std::vector<char> vImage;
    if (!m_Elf.Store(vImage))
    {
        return DNK_ERROR_INVALID_BINARY;
    }
    m_vImage.swap(vImage);
    pImage = m_vImage.data();
    nSize = m_vImage.size();
    return DNK_SUCCESS;
}

int CDnkBinary::WriteToFile(const std::string& strPath)
{
    return m_Elf.Store(strPath) ? DNK_SUCCESS : DNK_ERROR_IO;
}
} // namespace XAN_Platform
