#include "CProgramBuilder.h"

#include "CCLCCompiler.h"
#include "CDevice.h"
#include "CILAssembler.h"
#include "CILDisassembler.h"
#include "CILProgram.h"
#include "CKernelBinary.h"
#include "CKernelImage.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <set>
#include <sstream>

namespace XAN_Platform
{
namespace
{
const char* const SYMBOL_PREFIX = "__OpenCL_";
const char* const KERNEL_SUFFIX = "_kernel";

bool StartsWith(const std::string& str, const std::string& strPrefix)
{
    return str.compare(0, strPrefix.size(), strPrefix) == 0;
}

bool EndsWith(const std::string& str, const std::string& strEnd)
{
    return str.size() >= strEnd.size() &&
           str.compare(str.size() - strEnd.size(), strEnd.size(), strEnd) == 0;
}

std::vector<std::string> SplitWords(const std::string& str)
{
    std::istringstream stream(str);
    std::vector<std::string> vWords;
    std::string strWord;
    while (stream >> strWord)
    {
        vWords.push_back(strWord);
    }
    return vWords;
}

std::vector<std::string> SplitLines(const std::string& strText)
{
    std::vector<std::string> vLines;
    std::istringstream stream(strText);
    std::string strLine;
    while (std::getline(stream, strLine))
    {
        vLines.push_back(strLine);
    }
    return vLines;
}

std::string JoinLines(const std::vector<std::string>& vLines)
{
    std::string strText;
    for (const std::string& strLine : vLines)
    {
        strText += strLine + "\n";
    }
    return strText;
}

bool IsIdentifier(const std::string& str)
{
    if (str.empty() || std::isdigit(static_cast<unsigned char>(str[0])))
    {
        return false;
    }
    return std::all_of(str.begin(), str.end(),
                       [](unsigned char c) { return std::isalnum(c) || c == '_'; });
}

// The number behind a word such as "func" or "call" on a line of exactly two words.
bool ReadLabel(const std::string& strLine, const char* pWord, uint32_t& nLabel)
{
    const std::vector<std::string> vWords = SplitWords(strLine);
    if (vWords.size() != 2 || vWords[0] != pWord || vWords[1].empty() ||
        !std::all_of(vWords[1].begin(), vWords[1].end(),
                     [](unsigned char c) { return std::isdigit(c); }) ||
        vWords[1].size() > 10)
    {
        return false;
    }
    const unsigned long long nValue = std::strtoull(vWords[1].c_str(), nullptr, 10);
    nLabel = uint32_t(nValue);
    return nValue <= 0xFFFFFFFFull;
}

// A loader message "line N: ..." names line N of the assembled text; this gives the line of
// the source that element came from.
std::string SourceLineMessage(const std::string& strError,
                              const std::vector<unsigned int>& vElementLines)
{
    if (!StartsWith(strError, "line "))
    {
        return strError;
    }
    const size_t nColon = strError.find(':');
    const unsigned long nLine = std::strtoul(strError.c_str() + 5, nullptr, 10);
    if (nColon == std::string::npos || nLine == 0 || nLine > vElementLines.size())
    {
        return strError;
    }
    return "line " + std::to_string(vElementLines[nLine - 1]) + strError.substr(nColon);
}

std::string Lower(std::string str)
{
    std::transform(str.begin(), str.end(), str.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    return str;
}

struct SSourceKernel
{
    std::string strName;
    uint32_t nLabel;
    std::vector<std::string> vMetadata;
};

// Checks a metadata block taken from the source and fits its device line to the device.
bool AdoptMetadata(SSourceKernel& kernel, unsigned int nSourceLine, const CDevice& device,
                   std::string& strLog)
{
    const std::string strWhere = "error: line " + std::to_string(nSourceLine) + ": ";
    const std::string strFunction =
        kernel.vMetadata.front().substr(std::string(";ARGSTART:").size());
    if (!StartsWith(strFunction, SYMBOL_PREFIX) || !EndsWith(strFunction, KERNEL_SUFFIX))
    {
        strLog += strWhere + "the metadata block names \"" + strFunction +
                  "\"; it must name __OpenCL_<kernel>_kernel\n";
        return false;
    }
    kernel.strName = strFunction.substr(std::string(SYMBOL_PREFIX).size(),
                                        strFunction.size() - std::string(SYMBOL_PREFIX).size() -
                                            std::string(KERNEL_SUFFIX).size());
    if (!IsIdentifier(kernel.strName) || EndsWith(kernel.strName, "_fmetadata"))
    {
        strLog += strWhere + "\"" + kernel.strName + "\" is no name for a kernel\n";
        return false;
    }
    bool bLabel = false;
    size_t nVersion = 0;
    size_t nDevice = 0;
    for (size_t i = 0; i < kernel.vMetadata.size(); ++i)
    {
        const std::string& strLine = kernel.vMetadata[i];
        uint32_t nLabel = 0;
        if (StartsWith(strLine, ";uniqueid:"))
        {
            bLabel = ReadLabel("uniqueid " + strLine.substr(10), "uniqueid", nLabel) &&
                     nLabel == kernel.nLabel;
            if (!bLabel)
            {
                strLog += strWhere + "the ;uniqueid of kernel " + kernel.strName + " must be " +
                          std::to_string(kernel.nLabel) + ", the label of its func\n";
                return false;
            }
        }
        nVersion = nVersion == 0 && StartsWith(strLine, ";version:") ? i : nVersion;
        nDevice = nDevice == 0 && StartsWith(strLine, ";device:") ? i : nDevice;
    }
    if (!bLabel || nVersion == 0)
    {
        strLog += strWhere + "the metadata block of kernel " + kernel.strName +
                  " needs a ;version and a ;uniqueid line\n";
        return false;
    }
    const std::string strDevice = ";device:" + Lower(device.GetName());
    if (nDevice != 0)
    {
        kernel.vMetadata[nDevice] = strDevice;
    }
    else
    {
        kernel.vMetadata.insert(kernel.vMetadata.begin() + long(nVersion) + 1, strDevice);
    }
    return true;
}

// Takes each kernel's metadata block out of the canonical lines, where it follows the func
// line and any comments directly behind it.
bool ExtractKernels(std::vector<std::string>& vLines, std::vector<unsigned int>& vElementLines,
                    const CDevice& device, std::vector<SSourceKernel>& vKernels,
                    std::string& strLog)
{
    std::set<std::string> names;
    for (size_t i = 0; i < vLines.size(); ++i)
    {
        uint32_t nLabel = 0;
        if (!ReadLabel(vLines[i], "func", nLabel))
        {
            continue;
        }
        size_t nStart = i + 1;
        while (nStart < vLines.size() && StartsWith(vLines[nStart], ";") &&
               !StartsWith(vLines[nStart], ";ARGSTART:"))
        {
            ++nStart;
        }
        if (nStart == vLines.size() || !StartsWith(vLines[nStart], ";ARGSTART:"))
        {
            continue;
        }
        size_t nEnd = nStart;
        while (nEnd < vLines.size() && StartsWith(vLines[nEnd], ";") &&
               !StartsWith(vLines[nEnd], ";ARGEND:"))
        {
            ++nEnd;
        }
        if (nEnd == vLines.size() || !StartsWith(vLines[nEnd], ";ARGEND:"))
        {
            strLog += "error: line " + std::to_string(vElementLines[nStart]) +
                      ": the metadata block of func " + std::to_string(nLabel) +
                      " has no ;ARGEND line before the next instruction\n";
            return false;
        }
        SSourceKernel kernel;
        kernel.nLabel = nLabel;
        kernel.vMetadata.assign(vLines.begin() + long(nStart), vLines.begin() + long(nEnd) + 1);
        if (!AdoptMetadata(kernel, vElementLines[nStart], device, strLog))
        {
            return false;
        }
        if (!names.insert(kernel.strName).second)
        {
            strLog += "error: line " + std::to_string(vElementLines[nStart]) + ": kernel " +
                      kernel.strName + " is defined twice\n";
            return false;
        }
        vKernels.push_back(kernel);
        vLines.erase(vLines.begin() + long(nStart), vLines.begin() + long(nEnd) + 1);
        vElementLines.erase(vElementLines.begin() + long(nStart),
                            vElementLines.begin() + long(nEnd) + 1);
    }
    if (vKernels.empty())
    {
        strLog += "error: the program has no kernel: a kernel is a func followed by its "
                  "metadata block, ;ARGSTART:__OpenCL_<kernel>_kernel ... ;ARGEND:...\n";
        return false;
    }
    return true;
}

// The main program gets the entry marker where it calls a kernel, or keeps the one it has,
// or gets one as its last instruction.
void PlaceEntryMarker(std::vector<std::string>& vLines, const std::vector<SSourceKernel>& vKernels)
{
    size_t nMain = 0;
    while (nMain < vLines.size() && !StartsWith(vLines[nMain], "il_"))
    {
        ++nMain;
    }
    for (size_t i = nMain; i < vLines.size() && vLines[i] != "endmain"; ++i)
    {
        uint32_t nLabel = 0;
        if (vLines[i] == CKernelBinary::ENTRY_MARKER)
        {
            return;
        }
        if (ReadLabel(vLines[i], "call", nLabel) &&
            std::any_of(vKernels.begin(), vKernels.end(),
                        [nLabel](const SSourceKernel& kernel) { return kernel.nLabel == nLabel; }))
        {
            vLines[i] = CKernelBinary::ENTRY_MARKER;
            return;
        }
        if (i + 1 == vLines.size() || vLines[i + 1] == "endmain")
        {
            vLines.insert(vLines.begin() + long(i) + 1, CKernelBinary::ENTRY_MARKER);
            return;
        }
    }
}

// The IL of one kernel: the program with the call of its function in place of the marker.
bool EnterKernel(const std::string& strText, uint32_t nLabel, std::string& strIL)
{
    const size_t nMarker = strText.find(CKernelBinary::ENTRY_MARKER);
    if (nMarker == std::string::npos)
    {
        return false;
    }
    strIL = strText;
    strIL.replace(nMarker, std::string(CKernelBinary::ENTRY_MARKER).size(),
                  "call " + std::to_string(nLabel));
    return true;
}

// The function label a metadata block names, read without judging the rest of the block.
bool MetadataLabel(const std::string& strMetadata, uint32_t& nLabel)
{
    for (const std::string& strLine : SplitLines(strMetadata))
    {
        if (StartsWith(strLine, ";uniqueid:"))
        {
            return ReadLabel("uniqueid " + strLine.substr(10), "uniqueid", nLabel);
        }
    }
    return false;
}

void SelectKernels(const SBuildOptions& options, KernelImages& vKernels)
{
    if (options.strJustKernel.empty())
    {
        return;
    }
    vKernels.erase(std::remove_if(vKernels.begin(), vKernels.end(),
                                  [&options](const std::shared_ptr<const CKernelImage>& pImage)
                                  { return pImage->GetName() != options.strJustKernel; }),
                   vKernels.end());
}
} // namespace

bool CProgramBuilder::ParseOptions(const std::string& strOptions, const std::string& strEnvironment,
                                   SBuildOptions& options, std::string& strLog)
{
    options = SBuildOptions();
    std::vector<std::string> vWords = SplitWords(strOptions);
    if (std::find(vWords.begin(), vWords.end(), "-ignore-env") == vWords.end())
    {
        const std::vector<std::string> vEnvironment = SplitWords(strEnvironment);
        vWords.insert(vWords.end(), vEnvironment.begin(), vEnvironment.end());
    }
    for (size_t i = 0; i < vWords.size(); ++i)
    {
        const std::string& strWord = vWords[i];
        if (strWord == "-g")
        {
            options.bDebug = true;
        }
        else if (strWord == "-use-debugil")
        {
            options.bUseDebugIL = true;
        }
        else if (strWord == "-ignore-env")
        {
            options.bIgnoreEnv = true;
        }
        else if (StartsWith(strWord, "-just-kernel="))
        {
            options.strJustKernel = strWord.substr(13);
        }
        else if (CCLCCompiler::TakeOption(vWords, i, options.vSourceOptions))
        {
            --i;
        }
        else
        {
            strLog += "error: unknown build option \"" + strWord + "\"\n";
            return false;
        }
    }
    return true;
}

bool CProgramBuilder::ParseLinkOptions(const std::string& strOptions,
                                       const std::string& strEnvironment, SBuildOptions& options,
                                       bool& bLibrary, std::string& strLog)
{
    options = SBuildOptions();
    bLibrary = false;
    static const char* const s_LinkOptions[] = {
        "-enable-link-options",          "-cl-denorms-are-zero", "-cl-no-signed-zeros",
        "-cl-unsafe-math-optimizations", "-cl-finite-math-only", "-cl-fast-relaxed-math"};
    const std::vector<std::string> vWords = SplitWords(strOptions);
    for (const std::string& strWord : vWords)
    {
        if (strWord == "-create-library")
        {
            bLibrary = true;
        }
        else if (strWord == "-g")
        {
            options.bDebug = true;
        }
        else if (strWord == "-ignore-env")
        {
            options.bIgnoreEnv = true;
        }
        else if (std::none_of(std::begin(s_LinkOptions), std::end(s_LinkOptions),
                              [&strWord](const char* pOption) { return strWord == pOption; }))
        {
            strLog += "error: unknown link option \"" + strWord + "\"\n";
            return false;
        }
    }
    // Of the environment's options only -g means something to a link.
    const std::vector<std::string> vEnvironment = SplitWords(strEnvironment);
    options.bDebug = options.bDebug ||
                     (!options.bIgnoreEnv && std::find(vEnvironment.begin(), vEnvironment.end(),
                                                       "-g") != vEnvironment.end());
    return true;
}

SCLCTarget CProgramBuilder::TargetOf(const CDevice& device)
{
    return SCLCTarget{Lower(device.GetName()), device.Is64Bit()};
}

bool CProgramBuilder::BuildSource(const std::string& strSource, const SBuildOptions& options,
                                  const CDevice& device, std::vector<char>& vBinary,
                                  KernelImages& vKernels, std::string& strLog)
{
    const std::vector<std::string> vFirst = SplitWords(strSource.substr(0, 256));
    if (!vFirst.empty() && (StartsWith(vFirst[0], "il_") || StartsWith(vFirst[0], "mdef")))
    {
        return BuildIL(strSource, options, device, vBinary, vKernels, strLog);
    }
    return BuildUnits({SCLCUnit{strSource, options.vSourceOptions, {}}}, options, device, vBinary,
                      vKernels, strLog);
}

bool CProgramBuilder::BuildUnits(const std::vector<SCLCUnit>& vUnits, const SBuildOptions& options,
                                 const CDevice& device, std::vector<char>& vBinary,
                                 KernelImages& vKernels, std::string& strLog)
{
    std::string strIL;
    return CCLCCompiler::Compile(vUnits, options.bDebug, TargetOf(device), strIL, strLog) &&
           BuildIL(strIL, options, device, vBinary, vKernels, strLog);
}

bool CProgramBuilder::BuildIL(const std::string& strIL, const SBuildOptions& options,
                              const CDevice& device, std::vector<char>& vBinary,
                              KernelImages& vKernels, std::string& strLog)
{
    CILAssembler assembler;
    std::vector<unsigned int> vTokens;
    std::vector<unsigned int> vElementLines;
    if (!assembler.Assemble(strIL, vTokens, &vElementLines))
    {
        strLog += "error: " + assembler.GetError().ToString() + "\n";
        return false;
    }
    // Everything the engine refuses is reported against the source's lines.
    std::string strError;
    if (!CILProgram::Load(vTokens.data(), vTokens.size(), strError))
    {
        strLog += "error: " + SourceLineMessage(strError, vElementLines) + "\n";
        return false;
    }
    CILDisassembler disassembler;
    std::string strCanonical;
    if (!disassembler.Disassemble(vTokens.data(), vTokens.size(), strCanonical))
    {
        strLog += "error: " + disassembler.GetError().ToString() + "\n";
        return false;
    }
    std::vector<std::string> vLines = SplitLines(strCanonical);
    std::vector<SSourceKernel> vSourceKernels;
    if (!ExtractKernels(vLines, vElementLines, device, vSourceKernels, strLog))
    {
        return false;
    }
    PlaceEntryMarker(vLines, vSourceKernels);
    const std::string strDebugIL = JoinLines(vLines);

    std::vector<CKernelBinary::SKernel> vBinaryKernels;
    KernelImages vImages;
    for (const SSourceKernel& kernel : vSourceKernels)
    {
        CKernelBinary::SKernel entry;
        entry.strName = kernel.strName;
        entry.strMetadata = JoinLines(kernel.vMetadata);
        EnterKernel(strDebugIL, kernel.nLabel, entry.strIL);
        std::shared_ptr<const CKernelImage> pImage =
            CKernelImage::Create(entry.strName, entry.strMetadata, entry.strIL, device, strLog);
        if (!pImage)
        {
            return false;
        }
        entry.vHeader[0] = pImage->GetPrivateBytes();
        entry.vHeader[1] = pImage->GetStaticLocalBytes();
        entry.vHeader[2] = pImage->GetWorkGroupSize();
        entry.vHeader[3] = kernel.nLabel;
        vBinaryKernels.push_back(entry);
        vImages.push_back(pImage);
    }
    if (!CKernelBinary::Write(vBinaryKernels, options.bDebug ? strDebugIL : std::string(), vBinary))
    {
        strLog += "error: the kernel binary could not be written\n";
        return false;
    }
    SelectKernels(options, vImages);
    if (!options.strJustKernel.empty() && vImages.empty())
    {
        strLog += "error: the program has no kernel " + options.strJustKernel + "\n";
        return false;
    }
    vKernels = vImages;
    return true;
}

bool CProgramBuilder::BuildBinary(const std::vector<char>& vBinary, const SBuildOptions& options,
                                  const CDevice& device, KernelImages& vKernels,
                                  std::string& strLog)
{
    CKernelBinary binary;
    std::string strError;
    if (!binary.Read(vBinary, strError))
    {
        strLog += "error: " + strError + "\n";
        return false;
    }
    if (options.bUseDebugIL && !binary.HasDebugIL())
    {
        strLog += "error: -use-debugil: the binary has no \".debugil\" section\n";
        return false;
    }
    KernelImages vImages;
    for (const CKernelBinary::SKernel& kernel : binary.GetKernels())
    {
        if (!options.strJustKernel.empty() && kernel.strName != options.strJustKernel)
        {
            continue;
        }
        std::string strIL = kernel.strIL;
        if (options.bUseDebugIL || strIL.empty())
        {
            uint32_t nLabel = 0;
            if (!binary.HasDebugIL())
            {
                strLog += "error: kernel " + kernel.strName +
                          " has neither \".xanil\" text nor \".debugil\" to build from\n";
                return false;
            }
            if (!MetadataLabel(kernel.strMetadata, nLabel))
            {
                strLog += "error: kernel " + kernel.strName + ": its metadata has no ;uniqueid\n";
                return false;
            }
            if (!EnterKernel(binary.GetDebugIL(), nLabel, strIL))
            {
                strLog += std::string("error: \".debugil\" has no entry marker ") +
                          CKernelBinary::ENTRY_MARKER + " in its main program\n";
                return false;
            }
        }
        std::shared_ptr<const CKernelImage> pImage =
            CKernelImage::Create(kernel.strName, kernel.strMetadata, strIL, device, strLog);
        if (!pImage)
        {
            return false;
        }
        vImages.push_back(pImage);
    }
    if (vImages.empty())
    {
        strLog += "error: the binary has no kernel " + options.strJustKernel + "\n";
        return false;
    }
    vKernels = vImages;
    return true;
}
} // namespace XAN_Platform
