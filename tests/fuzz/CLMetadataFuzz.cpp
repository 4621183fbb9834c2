// Parses arbitrary text as kernel metadata; a block that parses prints, parses again to the
// same text, answers every query and takes the edits of a patched kernel.
#include "FuzzSupport.h"

#include "CLMetadata.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

using XAN_Test::Require;

namespace
{
CCLMetadataEntry* MakePointer(uint32_t nRevision, uint32_t nOffset)
{
    CCLMetadataPointerEntry* pPointer = nullptr;
    if (nRevision < 87)
    {
        pPointer = new CCLMetadataPointerEntry;
    }
    else
    {
        CCLMetadataPointerEntryR87* pR87 =
            nRevision < 100 ? new CCLMetadataPointerEntryR87 : new CCLMetadataPointerEntryR100;
        pR87->SetAccess(3);
        pPointer = pR87;
    }
    pPointer->SetName("__xan_debug_result");
    pPointer->SetDataType("float");
    pPointer->SetBufferOffset(nOffset);
    pPointer->SetMemoryType("uav");
    return pPointer;
}

void Exercise(const std::string& strText)
{
    CCLMetadata metadata;
    if (!metadata.Parse(strText))
    {
        return;
    }
    // A complete block reads back as it was printed; without its "ARGEND" the empty piece
    // behind the last newline is a line and fails.
    const std::string strPrinted = metadata.GetText();
    const std::vector<CCLMetadataEntry*>& vEntries = metadata.GetEntries();
    if (!vEntries.empty() &&
        vEntries.back()->GetEntryType() == CCLMetadataArgEndEntry::ClassEntryType)
    {
        CCLMetadata again;
        Require(again.Parse(strPrinted) && again.GetText() == strPrinted);
    }

    uint32_t nMajor = 0;
    uint32_t nMinor = 0;
    uint32_t nRevision = 0;
    const bool bVersion = metadata.GetVersion(&nMajor, &nMinor, &nRevision);
    metadata.GetDevice();
    metadata.GetFunctionName();
    metadata.GetUniqueId();
    metadata.Is64BitABI();
    metadata.GetFunctionId();
    metadata.GetPrivateMemoryType();
    metadata.GetPrivateId();
    std::vector<CCLMetadataEntry*> vArguments;
    metadata.GetArguments(vArguments);

    metadata.AddFunctionId(7);
    metadata.SetUavId(metadata.GetUavId() + 1);
    metadata.SetLocalMemorySize(0);
    if (bVersion)
    {
        metadata.InsertArgument(MakePointer(nRevision, metadata.GetArgBufferSize()));
    }
    CCLMetadataValueEntry* pValue = new CCLMetadataValueEntry;
    pValue->SetDataType("i32");
    pValue->SetCount(1);
    pValue->SetBufferOffset(metadata.GetArgBufferSize());
    metadata.InsertArgument(pValue);
    metadata.InsertEntryAfterStart(new CCLMetadataMem64bitABIEntry);
    metadata.GetText();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    const std::string strInput(reinterpret_cast<const char*>(pData), nSize);
    Exercise(strInput);
    // The input also stands as the body of a well-formed block, where every entry type is
    // reached.
    for (const char* pRevision : {"86", "90", "111"})
    {
        Exercise(";ARGSTART:__OpenCL_k_kernel\n;version:3:1:" + std::string(pRevision) + "\n" +
                 strInput + "\n;ARGEND:__OpenCL_k_kernel\n");
    }
    return 0;
}
