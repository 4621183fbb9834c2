#include "ElfUtils.h"

#include "BifUtils.h"
#include "CElf.h"
#include "CElfSymbolTable.h"
#include "CLMetadata.h"
#include "ILProcessingStateMachine.h"
#include "ShaderDebugger.h"

#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <map>

namespace XAN_ElfUtils
{
const char* const g_strKernelEntryMarker = ";$$$$$$$$$$";

namespace
{
const char* const g_strSymbolPrefix = "__OpenCL_";
const char* const g_strDebugILSection = ".debugil";
const char* const g_strDebugILBinarySection = ".debugilbin";
const char* const g_strSymbolTableSection = ".symtab";

struct KernelSectionInfo
{
    const char* pSection;
    const char* pExtension;
};

// Indexed by KernelSectionKind.
const KernelSectionInfo g_KernelSections[] = {{".rodata", "metadata"},
                                              {".debugilbin", "debugilbin"},
                                              {".xanil", "xanil"},
                                              {".debugil", "debugil"}};

std::string GetKernelSymbolName(const std::string& strKernelName, const std::string& strExtension)
{
    return g_strSymbolPrefix + strKernelName + "_" + strExtension;
}

// Splits a symbol name that starts with "__OpenCL_" and ends with strSuffix. A name in which
// prefix and suffix would overlap doesn't fit.
bool MatchSymbolSuffix(const std::string& strSymbolName, const std::string& strSuffix,
                       std::string* pKernelName)
{
    const std::string strPrefix = g_strSymbolPrefix;
    if (strSymbolName.size() < strPrefix.size() + strSuffix.size() ||
        strSymbolName.compare(0, strPrefix.size(), strPrefix) != 0 ||
        strSymbolName.compare(strSymbolName.size() - strSuffix.size(), strSuffix.size(),
                              strSuffix) != 0)
    {
        return false;
    }
    if (pKernelName != nullptr)
    {
        *pKernelName = strSymbolName.substr(
            strPrefix.size(), strSymbolName.size() - strPrefix.size() - strSuffix.size());
    }
    return true;
}

// Splits a symbol name of the form "__OpenCL_" + kernel + "_" + extension.
bool MatchKernelSymbol(const std::string& strSymbolName, const std::string& strExtension,
                       std::string* pKernelName)
{
    return MatchSymbolSuffix(strSymbolName, "_" + strExtension, pKernelName);
}

// Leaves a copy of an image in the current directory; a copy that can't be written is lost.
void WriteDump(const std::string& strFileName, const std::vector<char>& vBinary)
{
    std::ofstream file(strFileName, std::ios::binary | std::ios::trunc);
    file.write(vBinary.data(), static_cast<std::streamsize>(vBinary.size()));
}

// Whether the image loaded; a refused image leaves its reason in the debugger's log.
bool IsLoaded(const CElf& elf)
{
    if (!elf.IsInitialized())
    {
        XAN_ShaderDebugger::SDU_Log(3, "Kernel binary refused: %s\n", elf.GetLastError().c_str());
        return false;
    }
    return true;
}

// Loads the image, runs the edit on it and stores the file back. The vector changes only when
// the edit and the store both succeed.
template <typename TEdit> bool EditImage(std::vector<char>& vBinary, TEdit edit)
{
    CElf elf(vBinary);
    if (!IsLoaded(elf) || !edit(elf))
    {
        return false;
    }
    std::vector<char> vResult;
    if (!elf.Store(vResult))
    {
        XAN_ShaderDebugger::SDU_Log(3, "Kernel binary not written: %s\n",
                                    elf.GetLastError().c_str());
        return false;
    }
    vBinary.swap(vResult);
    return true;
}

// The symbol, its section and its range, checked to lie inside the section's data.
bool FindSymbolRange(CElf& elf, const std::string& strSymbolName,
                     CElfSymbolTable::iterator& itSymbol)
{
    CElfSymbolTable* pSymbolTable = elf.GetSymbolTable();
    if (pSymbolTable == nullptr)
    {
        return false;
    }
    itSymbol = pSymbolTable->find(strSymbolName);
    return itSymbol != pSymbolTable->end() && itSymbol->section != nullptr &&
           RangeInside(itSymbol->st_value, itSymbol->st_size, itSymbol->section->GetSize());
}

// Every symbol of the section still lies inside its data, so that the file loads again.
bool SymbolsFitSection(const CElfSymbolTable& symbolTable, const CElfSection* pSection)
{
    for (const CElfSymbolTable::TableEntry& entry : symbolTable)
    {
        if (entry.section == pSection &&
            !RangeInside(entry.st_value, entry.st_size, pSection->GetSize()))
        {
            return false;
        }
    }
    return true;
}

// Points the symbol of strSymbolExt at the whole of pSection, for the kernel of the first
// symbol of strWalkExt, and adds the symbol with the attributes of that first one if it is new.
bool SetKernelSymbolForSection(CElfSymbolTable& symbolTable, CElfSection* pSection,
                               const std::string& strWalkExt, const std::string& strSymbolExt)
{
    CElfSymbolTable::iterator itFound = symbolTable.begin();
    std::string strKernelName;
    while (itFound != symbolTable.end() &&
           !MatchKernelSymbol(itFound->name, strWalkExt, &strKernelName))
    {
        ++itFound;
    }
    if (itFound == symbolTable.end() || strKernelName.empty())
    {
        return false;
    }
    const unsigned char nBind = ELF64_ST_BIND(itFound->st_info);
    const unsigned char nType = ELF64_ST_TYPE(itFound->st_info);
    const unsigned char nOther = itFound->st_other;

    const std::string strSymbolName = GetKernelSymbolName(strKernelName, strSymbolExt);
    CElfSymbolTable::iterator itSymbol = symbolTable.find(strSymbolName);
    if (itSymbol == symbolTable.end())
    {
        symbolTable.AddSymbol(strSymbolName, nBind, nType, nOther, pSection, 0,
                              pSection->GetSize());
        return true;
    }
    return symbolTable.SetSymbolInfo(itSymbol, strSymbolName, ELF64_ST_BIND(itSymbol->st_info),
                                     ELF64_ST_TYPE(itSymbol->st_info), itSymbol->st_other, pSection,
                                     0, pSection->GetSize());
}

bool ReplaceDebugILEntry(const std::string& strKernelName, std::vector<char>& vBinary, bool bPatch)
{
    uint32_t nNumber = 0;
    if (!GetKernelFunctionNumber(strKernelName, vBinary, &nNumber))
    {
        return false;
    }
    const std::string strCall = "call " + std::to_string(nNumber);
    return bPatch ? FindAndReplaceInDebugIL(vBinary, g_strKernelEntryMarker, strCall)
                  : FindAndReplaceInDebugIL(vBinary, strCall, g_strKernelEntryMarker);
}
} // namespace

bool ExtractKernelFromBinary(const std::string& strKernelName, const std::vector<char>& vBinaryIn,
                             std::vector<char>& vBinaryOut)
{
    WriteDump("orig.elf", vBinaryIn);
    std::vector<char> vSingle = vBinaryIn;
    const bool bExtracted = EditImage(
        vSingle,
        [&strKernelName](CElf& elf)
        {
            const std::vector<std::string> vstrSymbolExts = {"metadata", "header", "xanil"};
            if (elf.GetSymbolTable() == nullptr ||
                !ExtractKernelSymbolsFromSections(strKernelName, vstrSymbolExts,
                                                  *elf.GetSymbolTable()))
            {
                return false;
            }
            elf.RemoveSection(".text");
            elf.RemoveSection(".llvmir");
            return RemoveFunctionMetadataSymbols(*elf.GetSymbolTable());
        });
    if (!bExtracted)
    {
        return false;
    }
    vBinaryOut.swap(vSingle);
    WriteDump("single.elf", vBinaryOut);
    return true;
}

bool PatchKernelEntry(const std::string& strKernelName, std::vector<char>& vBinary)
{
    return ReplaceDebugILEntry(strKernelName, vBinary, true);
}

bool UnpatchKernelEntry(const std::string& strKernelName, std::vector<char>& vBinary)
{
    return ReplaceDebugILEntry(strKernelName, vBinary, false);
}

bool RemoveElfSection(std::vector<char>& vBinary, const std::string& strSectionName)
{
    return EditImage(vBinary,
                     [&strSectionName](CElf& elf)
                     {
                         elf.RemoveSection(strSectionName);
                         return true;
                     });
}

bool RemoveElfSymbol(std::vector<char>& vBinary, const std::string& strSymbolName)
{
    return EditImage(vBinary,
                     [&strSymbolName](CElf& elf)
                     {
                         if (elf.GetSymbolTable() != nullptr)
                         {
                             elf.GetSymbolTable()->RemoveSymbol(strSymbolName);
                         }
                         return true;
                     });
}

bool AddILBinarySection(std::vector<char>& vBinary, const std::string& strTextStem,
                        const std::string& strBinaryStem, bool bAddSymbol,
                        const std::string& strTarget)
{
    if (!EditImage(
            vBinary, [&](CElf& elf)
            { return AddILBinarySection(elf, strTextStem, strBinaryStem, bAddSymbol, strTarget); }))
    {
        return false;
    }
    WriteDump("withbinary.elf", vBinary);
    return true;
}

bool AddILBinarySection(CElf& elf, const std::string& strTextStem, const std::string& strBinaryStem,
                        bool bAddSymbol, const std::string& strTarget)
{
    return AddSection(strTextStem, strBinaryStem, elf, true, bAddSymbol, strTarget);
}

bool AddILTextSection(CElf& elf, const std::string& strTextStem, const std::string& strBinaryStem,
                      bool bAddSymbol, const std::string& strTarget)
{
    return AddSection(strBinaryStem, strTextStem, elf, false, bAddSymbol, strTarget);
}

bool ExtractBinaryILFromElf(const std::vector<char>& vInputElf,
                            std::vector<unsigned int>& vOutputIL)
{
    std::vector<char> vData;
    if (!GetDataFromSection(g_strDebugILBinarySection, vInputElf, vData))
    {
        return false;
    }
    // The tokens are little-endian, as is every image this code accepts.
    vOutputIL.assign(vData.size() / sizeof(unsigned int), 0);
    if (!vOutputIL.empty())
    {
        std::memcpy(vOutputIL.data(), vData.data(), vOutputIL.size() * sizeof(unsigned int));
    }
    return true;
}

bool ListAvailableMetadata(const std::vector<char>& vBinary,
                           std::vector<std::string>& vstrKernelNames)
{
    CElf elf(vBinary);
    if (!IsLoaded(elf) || elf.GetSymbolTable() == nullptr)
    {
        return false;
    }
    std::string strKernelName;
    for (const CElfSymbolTable::TableEntry& entry : *elf.GetSymbolTable())
    {
        if (MatchKernelSymbol(entry.name, "metadata", &strKernelName))
        {
            vstrKernelNames.push_back(strKernelName);
        }
    }
    return true;
}

bool ExtractMetadataFromElf(const std::vector<char>& vBinary, const std::string& strKernelName,
                            std::string& strMetadata)
{
    std::vector<char> vData;
    if (!GetDataForSymbol(GetKernelSymbolName(strKernelName, "metadata"), vBinary, &vData))
    {
        return false;
    }
    strMetadata.assign(vData.begin(), vData.end());
    strMetadata.resize(std::strlen(strMetadata.c_str()));
    return true;
}

bool InsertTextXanILIntoElf(std::vector<char>& vBinary, const std::string& strKernelName,
                            const std::string& strText)
{
    return SetDataForSymbol(GetKernelSymbolName(strKernelName, "xanil"), vBinary, strText.data(),
                            strText.size());
}

bool InsertTextXanILIntoElf(CElf& elf, const std::string& strKernelName, const std::string& strText)
{
    return SetDataForSymbol(GetKernelSymbolName(strKernelName, "xanil"), elf, strText.data(),
                            strText.size());
}

bool InsertMetadataIntoElf(std::vector<char>& vBinary, const std::string& strKernelName,
                           const std::string& strText)
{
    return SetDataForSymbol(GetKernelSymbolName(strKernelName, "metadata"), vBinary, strText.data(),
                            strText.size());
}

bool InsertMetadataIntoElf(CElf& elf, const std::string& strKernelName, const std::string& strText)
{
    return SetDataForSymbol(GetKernelSymbolName(strKernelName, "metadata"), elf, strText.data(),
                            strText.size());
}

bool InsertTextDebugILIntoElf(std::vector<char>& vBinary, const std::string& strText)
{
    return SetDataInSection(KSK_DebugIL, vBinary, strText.data(), strText.size(), "");
}

bool InsertTextDebugILIntoElf(CElf& elf, const std::string& strText)
{
    return SetDataInSection(KSK_DebugIL, elf, strText.data(), strText.size(), "");
}

bool InsertBinaryILIntoElf(std::vector<char>& vBinary, const unsigned int* pTokens,
                           size_t nSizeInBytes, const std::string& strTarget)
{
    return SetDataInSection(KSK_DebugILBinary, vBinary, pTokens, nSizeInBytes, strTarget);
}

bool InsertBinaryILIntoElf(CElf& elf, const unsigned int* pTokens, size_t nSizeInBytes,
                           const std::string& strTarget)
{
    return SetDataInSection(KSK_DebugILBinary, elf, pTokens, nSizeInBytes, strTarget);
}

bool ExtractKernelSymbolsFromSections(const std::string& strKernelName,
                                      const std::vector<std::string>& vstrSymbolExts,
                                      CElfSymbolTable& symbolTable)
{
    std::map<CElfSection*, std::vector<char>> mapSections;
    for (const std::string& strSymExt : vstrSymbolExts)
    {
        CElfSymbolTable::iterator itSymbol =
            symbolTable.find(GetKernelSymbolName(strKernelName, strSymExt));
        if (itSymbol == symbolTable.end() || itSymbol->section == nullptr)
        {
            return false;
        }
        CElfSection* pSec = itSymbol->section;
        const std::vector<char>& vOldData = pSec->GetData();
        if (!RangeInside(itSymbol->st_value, itSymbol->st_size, vOldData.size()))
        {
            return false;
        }
        std::vector<char>& vNewData = mapSections[pSec];
        const std::vector<char>::const_iterator itBegin =
            vOldData.begin() + static_cast<std::ptrdiff_t>(itSymbol->st_value);
        itSymbol->st_value = vNewData.size();
        vNewData.insert(vNewData.end(), itBegin,
                        itBegin + static_cast<std::ptrdiff_t>(itSymbol->st_size));

        std::string strOtherKernel;
        CElfSymbolTable::iterator it = symbolTable.begin();
        while (it != symbolTable.end())
        {
            const bool bOtherKernel = MatchKernelSymbol(it->name, strSymExt, &strOtherKernel) &&
                                      strOtherKernel != strKernelName;
            it = bOtherKernel ? symbolTable.RemoveSymbol(it) : it + 1;
        }
    }
    for (std::pair<CElfSection* const, std::vector<char>>& section : mapSections)
    {
        section.first->SetData(section.second);
    }
    return true;
}

bool RemoveFunctionMetadataSymbols(CElfSymbolTable& symbolTable)
{
    CElfSymbolTable::iterator it = symbolTable.begin();
    while (it != symbolTable.end())
    {
        it = MatchSymbolSuffix(it->name, "_fmetadata", nullptr) ? symbolTable.RemoveSymbol(it)
                                                                : it + 1;
    }
    return true;
}

bool GetKernelFunctionNumber(const std::string& strKernelName, const std::vector<char>& vBinary,
                             uint32_t* pNumber)
{
    WriteDump("orig.elf", vBinary);
    std::vector<char> vData;
    if (!GetDataForSymbol(GetKernelSymbolName(strKernelName, "metadata"), vBinary, &vData))
    {
        return false;
    }
    CCLMetadata metadata;
    if (!metadata.Parse(std::string(vData.begin(), vData.end())))
    {
        return false;
    }
    if (pNumber != nullptr)
    {
        *pNumber = metadata.GetUniqueId();
    }
    return true;
}

bool FindAndReplaceInDebugIL(std::vector<char>& vBinary, const std::string& strFind,
                             const std::string& strReplace)
{
    WriteDump("orig." + strFind + ".elf", vBinary);
    const bool bReplaced =
        EditImage(vBinary,
                  [&strFind, &strReplace](CElf& elf)
                  {
                      CElfSection* pDebugIL = elf.GetSection(g_strDebugILSection);
                      if (pDebugIL == nullptr)
                      {
                          return false;
                      }
                      const std::vector<char>& vData = pDebugIL->GetData();
                      std::string strDebugIL(vData.begin(), vData.end());
                      const std::string::size_type nPos = strDebugIL.find(strFind);
                      if (nPos == std::string::npos)
                      {
                          return false;
                      }
                      strDebugIL.replace(nPos, strFind.size(), strReplace);
                      pDebugIL->SetData(strDebugIL);
                      return true;
                  });
    if (bReplaced)
    {
        WriteDump("entry." + strReplace + ".elf", vBinary);
    }
    return bReplaced;
}

bool PrepareILText(std::string& strText, bool bQuvConverter)
{
    if (bQuvConverter)
    {
        // The runtime's converter doesn't know the declaration; the comment keeps the line count.
        const std::string strDeclaration = "dcl_wavesize";
        const std::string strComment = "; DCL_WAVESIZE removed\n";
        std::string::size_type nPos = 0;
        while ((nPos = strText.find(strDeclaration, nPos)) != std::string::npos)
        {
            std::string::size_type nEnd = strText.find('\n', nPos);
            if (nEnd == std::string::npos)
            {
                nEnd = strText.size();
            }
            strText.replace(nPos, nEnd - nPos, strComment);
            nPos += strComment.size();
        }
        return true;
    }
    if (strText.size() > std::numeric_limits<unsigned int>::max())
    {
        return false;
    }
    unsigned int nLength = 0;
    ILProcessingStateMachine machine(strText.data(), static_cast<unsigned int>(strText.size()),
                                     &strText[0]);
    machine.Process(&nLength);
    if (nLength < strText.size())
    {
        strText.resize(nLength);
    }
    return true;
}

bool ConvertILTextToBinary(const char* pText, size_t nSize, std::vector<char>& vILBytecode,
                           const std::string& strTarget)
{
    if (pText == nullptr && nSize != 0)
    {
        return false;
    }
    std::string strText(pText, nSize);
    std::vector<char> vBinary;
    std::string strCheck;
    if (!PrepareILText(strText, IsQuvILConverterInUse()) ||
        !ILTextToBinary(strText, vBinary, strTarget) ||
        !ILBinaryToText(vBinary, strCheck, strTarget))
    {
        return false;
    }
    vILBytecode.swap(vBinary);
    return true;
}

bool ConvertILBinaryToText(const char* pBinary, size_t nSize, std::string& strText,
                           const std::string& strTarget)
{
    if (pBinary == nullptr && nSize != 0)
    {
        return false;
    }
    std::string strConverted;
    std::vector<char> vCheck;
    if (!ILBinaryToText(pBinary, nSize, strConverted, strTarget) ||
        !PrepareILText(strConverted, IsQuvILConverterInUse()) ||
        !ILTextToBinary(strConverted, vCheck, strTarget))
    {
        return false;
    }
    strText.swap(strConverted);
    return true;
}

bool AddSection(const std::string& strSourceStem, const std::string& strDestStem, CElf& elf,
                bool bConvertToBinary, bool bAddSymbol, const std::string& strTarget)
{
    if (!IsLoaded(elf))
    {
        return false;
    }
    CElfSection* pSource = elf.GetSection("." + strSourceStem);
    if (pSource == nullptr)
    {
        return false;
    }
    const std::vector<char>& vSource = pSource->GetData();
    std::vector<char> vConverted;
    if (bConvertToBinary)
    {
        if (!ConvertILTextToBinary(vSource.data(), vSource.size(), vConverted, strTarget))
        {
            return false;
        }
    }
    else
    {
        std::string strText;
        if (!ConvertILBinaryToText(vSource.data(), vSource.size(), strText, strTarget))
        {
            return false;
        }
        vConverted.assign(strText.begin(), strText.end());
    }

    CElfSection* pDest = elf.GetSection("." + strDestStem);
    if (pDest == nullptr)
    {
        pDest = elf.AddSection("." + strDestStem, pSource->GetType(), pSource->GetFlags(),
                               pSource->GetInfo(), pSource->GetAlign(), pSource->GetEntrySize());
        if (pDest == nullptr)
        {
            return false;
        }
    }
    pDest->SetData(vConverted);

    CElfSymbolTable* pSymbolTable = elf.GetSymbolTable();
    if (bAddSymbol &&
        (pSymbolTable == nullptr ||
         !SetKernelSymbolForSection(*pSymbolTable, pDest, strSourceStem, strDestStem)))
    {
        return false;
    }
    return pSymbolTable == nullptr || SymbolsFitSection(*pSymbolTable, pDest);
}

bool GetDataFromSection(const std::string& strSectionName, const std::vector<char>& vBinary,
                        std::vector<char>& vData)
{
    CElf elf(vBinary);
    if (!IsLoaded(elf))
    {
        return false;
    }
    const CElfSection* pSection = elf.GetSection(strSectionName);
    if (pSection == nullptr)
    {
        return false;
    }
    vData = pSection->GetData();
    return true;
}

bool GetDataForSymbol(const std::string& strSymbolName, CElf& elf, std::vector<char>* pData)
{
    CElfSymbolTable::iterator itSymbol;
    if (!IsLoaded(elf) || !FindSymbolRange(elf, strSymbolName, itSymbol))
    {
        return false;
    }
    if (pData != nullptr)
    {
        const std::vector<char>::const_iterator itBegin =
            itSymbol->section->GetData().begin() + static_cast<std::ptrdiff_t>(itSymbol->st_value);
        pData->assign(itBegin, itBegin + static_cast<std::ptrdiff_t>(itSymbol->st_size));
    }
    return true;
}

bool GetDataForSymbol(const std::string& strSymbolName, const std::vector<char>& vBinary,
                      std::vector<char>* pData)
{
    CElf elf(vBinary);
    return GetDataForSymbol(strSymbolName, elf, pData);
}

bool SetDataForSymbol(const std::string& strSymbolName, CElf& elf, const void* pData, size_t nSize)
{
    CElfSymbolTable::iterator itSymbol;
    if ((pData == nullptr && nSize != 0) || !IsLoaded(elf) ||
        !FindSymbolRange(elf, strSymbolName, itSymbol))
    {
        return false;
    }
    CElfSection* pSection = itSymbol->section;
    const uint64_t nOldValue = itSymbol->st_value;
    const uint64_t nOldEnd = nOldValue + itSymbol->st_size;
    const uint64_t nDelta = nSize - itSymbol->st_size;

    const std::vector<char>& vOldData = pSection->GetData();
    const char* pBytes = static_cast<const char*>(pData);
    std::vector<char> vNewData(vOldData.begin(),
                               vOldData.begin() + static_cast<std::ptrdiff_t>(nOldValue));
    vNewData.insert(vNewData.end(), pBytes, pBytes + nSize);
    vNewData.insert(vNewData.end(), vOldData.begin() + static_cast<std::ptrdiff_t>(nOldEnd),
                    vOldData.end());
    pSection->SetData(vNewData);
    itSymbol->st_size = nSize;

    // Everything behind the old range moves by the change of length; unsigned wrap-around makes
    // the addition a subtraction for shorter data. A symbol that started at the old end moves
    // too, even the replaced one when it was empty.
    for (CElfSymbolTable::TableEntry& entry : *elf.GetSymbolTable())
    {
        if (entry.section == pSection && entry.st_value >= nOldEnd)
        {
            entry.st_value += nDelta;
        }
    }
    return SymbolsFitSection(*elf.GetSymbolTable(), pSection);
}

bool SetDataForSymbol(const std::string& strSymbolName, std::vector<char>& vBinary,
                      const void* pData, size_t nSize)
{
    return EditImage(vBinary,
                     [&](CElf& elf) { return SetDataForSymbol(strSymbolName, elf, pData, nSize); });
}

bool SetDataInSection(KernelSectionKind kind, CElf& elf, const void* pData, size_t nSize,
                      const std::string& strTarget)
{
    if (static_cast<size_t>(kind) >= std::size(g_KernelSections) ||
        (pData == nullptr && nSize != 0) || !IsLoaded(elf))
    {
        return false;
    }
    const KernelSectionInfo& info = g_KernelSections[kind];
    CElfSection* pSection = elf.GetSection(info.pSection);
    if (pSection == nullptr || elf.GetSection(g_strSymbolTableSection) == nullptr ||
        elf.GetSymbolTable() == nullptr)
    {
        return false;
    }
    pSection->SetData(pData, nSize);

    if (kind == KSK_DebugILBinary)
    {
        // The tokens live in the file only until their text has been made from them.
        const bool bResult = AddILTextSection(elf, "debugil", "debugilbin", false, strTarget);
        elf.RemoveSection(g_strDebugILBinarySection);
        return bResult;
    }
    // Meant for a single-kernel image: the section's other data is gone, and with it the place
    // of any other symbol, which makes the replacement fail.
    CElfSymbolTable& symbolTable = *elf.GetSymbolTable();
    if ((kind == KSK_Metadata || kind == KSK_XanIL) &&
        !SetKernelSymbolForSection(symbolTable, pSection, info.pExtension, info.pExtension))
    {
        return false;
    }
    return SymbolsFitSection(symbolTable, pSection);
}

bool SetDataInSection(KernelSectionKind kind, std::vector<char>& vBinary, const void* pData,
                      size_t nSize, const std::string& strTarget)
{
    return EditImage(vBinary, [&](CElf& elf)
                     { return SetDataInSection(kind, elf, pData, nSize, strTarget); });
}
} // namespace XAN_ElfUtils
