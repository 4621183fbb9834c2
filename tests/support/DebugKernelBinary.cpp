// The debugger's preparation of corpus binaries; apart from CorpusKernels.cpp because it needs
// the debug library's kernel binary operations.

#include "ElfUtils.h"
#include "support/CorpusKernels.h"

namespace XAN_Test
{
bool PrepareDebugBinary(const std::string& strKernel, std::vector<char>& vBinary)
{
    using namespace XAN_ElfUtils;
    if (!PatchKernelEntry(strKernel, vBinary))
    {
        return false;
    }
    for (const char* pSection : {".xanil", ".llvmir", ".text"})
    {
        if (!RemoveElfSection(vBinary, pSection))
        {
            return false;
        }
    }
    return AddILBinarySection(vBinary, "debugil", "debugilbin", false, "");
}

std::vector<char> LoadDebugBinary(const std::string& strName)
{
    return LoadEditedDebugBinary(strName, std::function<void(std::string&)>());
}

std::vector<char> LoadEditedDebugBinary(const std::string& strName,
                                        const std::function<void(std::string&)>& editIL,
                                        const std::function<void(std::string&)>& editMetadata)
{
    std::vector<char> vBinary = ReadCorpusBinary(strName);
    if (editIL)
    {
        std::vector<char> vText;
        if (!XAN_ElfUtils::GetDataFromSection(".debugil", vBinary, vText))
        {
            return std::vector<char>();
        }
        std::string strText(vText.begin(), vText.end());
        strText.resize(strText.find('\0') != std::string::npos ? strText.find('\0')
                                                               : strText.size());
        editIL(strText);
        if (!XAN_ElfUtils::InsertTextDebugILIntoElf(vBinary, strText))
        {
            return std::vector<char>();
        }
    }
    if (editMetadata)
    {
        std::string strMetadata;
        if (!XAN_ElfUtils::ExtractMetadataFromElf(vBinary, strName, strMetadata))
        {
            return std::vector<char>();
        }
        editMetadata(strMetadata);
        if (!XAN_ElfUtils::InsertMetadataIntoElf(vBinary, strName, strMetadata))
        {
            return std::vector<char>();
        }
    }
    if (vBinary.empty() || !PrepareDebugBinary(strName, vBinary))
    {
        return std::vector<char>();
    }
    return vBinary;
}
} // namespace XAN_Test
