#ifndef ELF_UTILS_H
#define ELF_UTILS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Operations on kernel binaries: the ELF images that the OpenCL runtime hands out for a built
// program, holding the metadata, header and IL text of every kernel, reached through symbols
// named "__OpenCL_" + kernel + "_" + extension, and one debug IL text for the whole program.
//
// A function that takes an image as a byte vector loads it, does its work and stores the whole
// file back into the same vector, which is left alone when the answer is false. The forms that
// take a CElf already loaded let several edits share one load and one store. Nothing here logs:
// the callers do. A few functions leave a copy of the image in the current directory
// ("orig.elf", "single.elf", "withbinary.elf", ...), so that a failed debug run can be looked at.
namespace XAN_ElfUtils
{
class CElf;
class CElfSymbolTable;

// The line of the debug IL where the call of the kernel to run goes.
extern const char* const g_strKernelEntryMarker;

// Sections whose whole data one operation replaces, each with the symbol extension that names
// its per-kernel data.
enum KernelSectionKind : uint32_t
{
    KSK_Metadata = 0,
    KSK_DebugILBinary = 1,
    KSK_XanIL = 2,
    KSK_DebugIL = 3,
};

// A single-kernel image: only that kernel's metadata, header and IL text stay, each section
// compacted to them, without device code, compiler intermediate form or function metadata.
bool ExtractKernelFromBinary(const std::string& strKernelName, const std::vector<char>& vBinaryIn,
                             std::vector<char>& vBinaryOut);

// Replaces the entry marker of the debug IL by "call " + the kernel's function number, and back.
bool PatchKernelEntry(const std::string& strKernelName, std::vector<char>& vBinary);
bool UnpatchKernelEntry(const std::string& strKernelName, std::vector<char>& vBinary);

// Removes a section with its symbols; a name that no section has still rewrites the file.
bool RemoveElfSection(std::vector<char>& vBinary, const std::string& strSectionName);
// Removes the first symbol of that name; a missing one changes nothing.
bool RemoveElfSymbol(std::vector<char>& vBinary, const std::string& strSymbolName);

// Fills the section "." + strBinaryStem with the IL tokens of the text in "." + strTextStem,
// adding it with the text section's attributes if needed. With bAddSymbol a kernel symbol of
// the binary stem covers the new data.
bool AddILBinarySection(std::vector<char>& vBinary, const std::string& strTextStem,
                        const std::string& strBinaryStem, bool bAddSymbol,
                        const std::string& strTarget);
bool AddILBinarySection(CElf& elf, const std::string& strTextStem, const std::string& strBinaryStem,
                        bool bAddSymbol, const std::string& strTarget);
// The way back: the text section from the tokens of the binary section.
bool AddILTextSection(CElf& elf, const std::string& strTextStem, const std::string& strBinaryStem,
                      bool bAddSymbol, const std::string& strTarget);

// The tokens of ".debugilbin". False without that section, which tells callers that their data
// is bare tokens rather than an image.
bool ExtractBinaryILFromElf(const std::vector<char>& vInputElf,
                            std::vector<unsigned int>& vOutputIL);

// Appends the names of all kernels that have metadata, in symbol order.
bool ListAvailableMetadata(const std::vector<char>& vBinary,
                           std::vector<std::string>& vstrKernelNames);
// A kernel's metadata text, which ends at the symbol's size or at a NUL.
bool ExtractMetadataFromElf(const std::vector<char>& vBinary, const std::string& strKernelName,
                            std::string& strMetadata);

// Replace one kernel's IL text in ".xanil" or its metadata in ".rodata". Later data of the same
// section moves with the change of length, and so do its symbols.
bool InsertTextXanILIntoElf(std::vector<char>& vBinary, const std::string& strKernelName,
                            const std::string& strText);
bool InsertTextXanILIntoElf(CElf& elf, const std::string& strKernelName,
                            const std::string& strText);
bool InsertMetadataIntoElf(std::vector<char>& vBinary, const std::string& strKernelName,
                           const std::string& strText);
bool InsertMetadataIntoElf(CElf& elf, const std::string& strKernelName, const std::string& strText);

// Replaces the whole debug IL text.
bool InsertTextDebugILIntoElf(std::vector<char>& vBinary, const std::string& strText);
bool InsertTextDebugILIntoElf(CElf& elf, const std::string& strText);

// Replaces the debug IL by the text of the tokens: they go into ".debugilbin", ".debugil" gets
// their text, and ".debugilbin" is removed again, so the image must have it to begin with.
bool InsertBinaryILIntoElf(std::vector<char>& vBinary, const unsigned int* pTokens,
                           size_t nSizeInBytes, const std::string& strTarget);
bool InsertBinaryILIntoElf(CElf& elf, const unsigned int* pTokens, size_t nSizeInBytes,
                           const std::string& strTarget);

// The building blocks of the operations above.

// Keeps in each section only the chosen kernel's data of each extension, in the order of the
// extensions, and removes the symbols of the other kernels with those extensions.
bool ExtractKernelSymbolsFromSections(const std::string& strKernelName,
                                      const std::vector<std::string>& vstrSymbolExts,
                                      CElfSymbolTable& symbolTable);
// Removes the symbols of function metadata.
bool RemoveFunctionMetadataSymbols(CElfSymbolTable& symbolTable);

// The kernel's "uniqueid" from its metadata; pNumber may be null to test for it.
bool GetKernelFunctionNumber(const std::string& strKernelName, const std::vector<char>& vBinary,
                             uint32_t* pNumber);
// Replaces the first occurrence of strFind in ".debugil".
bool FindAndReplaceInDebugIL(std::vector<char>& vBinary, const std::string& strFind,
                             const std::string& strReplace);

// Cleans IL text for the converter in use: the runtime's converter gets every "dcl_wavesize"
// line commented out, the compiler library's the text joined by ILProcessingStateMachine. False
// for a text too long for that machine.
bool PrepareILText(std::string& strText, bool bQuvConverter);
// Converts between IL text and tokens; each checks that its result converts back.
bool ConvertILTextToBinary(const char* pText, size_t nSize, std::vector<char>& vILBytecode,
                           const std::string& strTarget);
bool ConvertILBinaryToText(const char* pBinary, size_t nSize, std::string& strText,
                           const std::string& strTarget);

// Fills the section "." + strDestStem from the converted data of "." + strSourceStem.
bool AddSection(const std::string& strSourceStem, const std::string& strDestStem, CElf& elf,
                bool bConvertToBinary, bool bAddSymbol, const std::string& strTarget);

bool GetDataFromSection(const std::string& strSectionName, const std::vector<char>& vBinary,
                        std::vector<char>& vData);
// The bytes of a symbol's range in its section; pData may be null to test for the symbol.
bool GetDataForSymbol(const std::string& strSymbolName, CElf& elf, std::vector<char>* pData);
bool GetDataForSymbol(const std::string& strSymbolName, const std::vector<char>& vBinary,
                      std::vector<char>* pData);
// Replaces a symbol's range in its section; later symbols of the section move with it.
bool SetDataForSymbol(const std::string& strSymbolName, CElf& elf, const void* pData, size_t nSize);
bool SetDataForSymbol(const std::string& strSymbolName, std::vector<char>& vBinary,
                      const void* pData, size_t nSize);
// Replaces the whole data of the section of that kind.
bool SetDataInSection(KernelSectionKind kind, CElf& elf, const void* pData, size_t nSize,
                      const std::string& strTarget);
bool SetDataInSection(KernelSectionKind kind, std::vector<char>& vBinary, const void* pData,
                      size_t nSize, const std::string& strTarget);
} // namespace XAN_ElfUtils

#endif
