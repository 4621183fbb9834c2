#include "CCLCCompiler.h"

#include "CILGenerator.h"

#include <clang/AST/ASTConsumer.h>
#include <clang/AST/ASTContext.h>
#include <clang/Basic/DiagnosticOptions.h>
#include <clang/Basic/TargetInfo.h>
#include <clang/Frontend/CompilerInstance.h>
#include <clang/Frontend/CompilerInvocation.h>
#include <clang/Frontend/TextDiagnosticPrinter.h>
#include <clang/Parse/ParseAST.h>
#include <llvm/Support/BuryPointer.h>
#include <llvm/Support/CrashRecoveryContext.h>
#include <llvm/Support/MemoryBuffer.h>
#include <llvm/Support/VirtualFileSystem.h>
#include <llvm/Support/raw_ostream.h>

#include <algorithm>
#include <memory>
#include <sstream>

namespace XAN_Platform
{
namespace
{
// The name the source has in diagnostics and in the IL's line marks.
const char* const SOURCE_NAME = "program.cl";

bool StartsWith(const std::string& str, const char* pPrefix)
{
    return str.compare(0, std::char_traits<char>::length(pPrefix), pPrefix) == 0;
}

// The -cl- options of OpenCL C 1.2 that take no argument. They only permit optimisations, so
// the compiler accepts them without changing the code it writes.
bool IsFlag(const std::string& strWord)
{
    static const char* const s_Flags[] = {"-g",
                                          "-w",
                                          "-Werror",
                                          "-cl-opt-disable",
                                          "-cl-single-precision-constant",
                                          "-cl-denorms-are-zero",
                                          "-cl-fp32-correctly-rounded-divide-sqrt",
                                          "-cl-mad-enable",
                                          "-cl-no-signed-zeros",
                                          "-cl-unsafe-math-optimizations",
                                          "-cl-finite-math-only",
                                          "-cl-fast-relaxed-math",
                                          "-cl-kernel-arg-info",
                                          "-cl-strict-aliasing"};
    return std::any_of(std::begin(s_Flags), std::end(s_Flags),
                       [&strWord](const char* pFlag) { return strWord == pFlag; });
}
} // namespace

bool CCLCCompiler::TakeOption(const std::vector<std::string>& vWords, size_t& i,
                              std::vector<std::string>& vOptions)
{
    const std::string& strWord = vWords[i];
    if (strWord == "-D" || strWord == "-I")
    {
        if (i + 1 == vWords.size())
        {
            return false;
        }
        vOptions.push_back(strWord + vWords[i + 1]);
        i += 2;
        return true;
    }
    const bool bStandard =
        strWord == "-cl-std=CL1.0" || strWord == "-cl-std=CL1.1" || strWord == "-cl-std=CL1.2";
    if ((StartsWith(strWord, "-D") || StartsWith(strWord, "-I") || bStandard || IsFlag(strWord) ||
         StartsWith(strWord, "-O")))
    {
        vOptions.push_back(strWord);
        ++i;
        return true;
    }
    return false;
}

namespace
{
// Parses a unit; null, with the diagnostics in strLog, when it has errors. Input headers are
// files of an in-memory folder in front of the real file system, found from "." by include
// name.
std::unique_ptr<clang::CompilerInstance> Parse(const SCLCUnit& unit, const std::string& strName,
                                               const SCLCTarget& target, std::string& strLog)
{
    std::string strStandard = "-cl-std=CL1.2";
    std::vector<std::string> vArguments;
    for (const std::string& strOption : unit.vOptions)
    {
        if (StartsWith(strOption, "-cl-std="))
        {
            strStandard = strOption;
        }
        else if (StartsWith(strOption, "-D") || StartsWith(strOption, "-I") || strOption == "-w" ||
                 strOption == "-Werror")
        {
            vArguments.push_back(strOption);
        }
    }
    if (!unit.vHeaders.empty())
    {
        vArguments.push_back("-I.");
    }
    vArguments.insert(
        vArguments.begin(),
        {strStandard, "-x", "cl", "-triple",
         target.b64Bit ? "spir64-unknown-unknown" : "spir-unknown-unknown",
         "-finclude-default-header", "-fdeclare-opencl-builtins",
         "-cl-ext=-all,+cl_khr_fp64,+cl_khr_int64_base_atomics,+cl_khr_int64_extended_atomics,"
         "+cl_khr_global_int32_base_atomics,+cl_khr_local_int32_base_atomics,"
         "+cl_khr_global_int32_extended_atomics,"
         "+cl_khr_local_int32_extended_atomics,+cl_khr_byte_addressable_store",
         "-fno-builtin", strName});
    std::vector<const char*> vArgumentTexts;
    for (const std::string& strArgument : vArguments)
    {
        vArgumentTexts.push_back(strArgument.c_str());
    }

    std::string strDiagnostics;
    llvm::raw_string_ostream diagnosticStream(strDiagnostics);
    clang::IntrusiveRefCntPtr<clang::DiagnosticOptions> pDiagnosticOptions =
        new clang::DiagnosticOptions();
    pDiagnosticOptions->ShowColors = false;
    auto* pPrinter = new clang::TextDiagnosticPrinter(diagnosticStream, pDiagnosticOptions.get());

    // Clang 14 crashes on a few malformed sources (a one-element vector literal of a pointer):
    // the parse runs under crash recovery, and a compiler that crashed is left alive, never
    // destroyed, as Clang's own tools do.
    static const bool s_bRecovery = (llvm::CrashRecoveryContext::Enable(), true);
    (void)s_bRecovery;
    auto pCompiler = std::make_unique<clang::CompilerInstance>();
    clang::CompilerInstance& compiler = *pCompiler;
    compiler.createDiagnostics(pPrinter, true);
    auto pInvocation = std::make_shared<clang::CompilerInvocation>();
    if (!clang::CompilerInvocation::CreateFromArgs(*pInvocation, vArgumentTexts,
                                                   compiler.getDiagnostics()))
    {
        diagnosticStream.flush();
        strLog += strDiagnostics + "error: the build options could not be applied\n";
        return nullptr;
    }
    pInvocation->getHeaderSearchOpts().ResourceDir = XAN_CLANG_RESOURCE_DIR;
    pInvocation->getFrontendOpts().Inputs.clear();
    compiler.setInvocation(pInvocation);
    // The diagnostics again, now with the options (-w, -Werror) of the invocation.
    compiler.createDiagnostics(
        new clang::TextDiagnosticPrinter(diagnosticStream, &compiler.getDiagnosticOpts()), true);

    compiler.setTarget(clang::TargetInfo::CreateTargetInfo(compiler.getDiagnostics(),
                                                           compiler.getInvocation().TargetOpts));
    if (!compiler.hasTarget())
    {
        diagnosticStream.flush();
        strLog += strDiagnostics;
        return nullptr;
    }
    // The real file system's own copy, so that its working folder is not the process's.
    auto pOverlay = llvm::makeIntrusiveRefCnt<llvm::vfs::OverlayFileSystem>(
        llvm::vfs::createPhysicalFileSystem());
    if (!unit.vHeaders.empty())
    {
        auto pHeaders = llvm::makeIntrusiveRefCnt<llvm::vfs::InMemoryFileSystem>();
        const llvm::ErrorOr<std::string> folder = pOverlay->getCurrentWorkingDirectory();
        pHeaders->setCurrentWorkingDirectory(folder ? *folder : std::string("/"));
        for (const auto& header : unit.vHeaders)
        {
            pHeaders->addFile(header.first, 0,
                              llvm::MemoryBuffer::getMemBufferCopy(header.second, header.first));
        }
        pOverlay->pushOverlay(pHeaders);
    }
    compiler.createFileManager(pOverlay);
    compiler.createSourceManager(compiler.getFileManager());
    compiler.createPreprocessor(clang::TU_Complete);
    compiler.createASTContext();
    compiler.setASTConsumer(std::make_unique<clang::ASTConsumer>());
    compiler.createSema(clang::TU_Complete, nullptr);
    clang::SourceManager& sourceManager = compiler.getSourceManager();
    sourceManager.setMainFileID(
        sourceManager.createFileID(llvm::MemoryBuffer::getMemBufferCopy(unit.strSource, strName)));
    compiler.getDiagnosticClient().BeginSourceFile(compiler.getLangOpts(),
                                                   &compiler.getPreprocessor());
    llvm::CrashRecoveryContext recovery;
    if (!recovery.RunSafely([&compiler]() { clang::ParseAST(compiler.getSema()); }))
    {
        llvm::BuryPointer(std::move(pCompiler));
        diagnosticStream.flush();
        strLog += strDiagnostics + strName +
                  ": error: the OpenCL C front end (Clang) failed on this source\n";
        return nullptr;
    }
    compiler.getDiagnosticClient().EndSourceFile();
    const bool bParsed = !compiler.getDiagnostics().hasErrorOccurred();
    diagnosticStream.flush();
    strLog += strDiagnostics;
    return bParsed ? std::move(pCompiler) : nullptr;
}

// Fields of a unit's text: a word, the lengths of its parts, a line break, then the parts.
void AddField(std::string& strText, const char* pWord, const std::vector<std::string>& vParts)
{
    strText += pWord;
    for (const std::string& strPart : vParts)
    {
        strText += " " + std::to_string(strPart.size());
    }
    strText += "\n";
    for (const std::string& strPart : vParts)
    {
        strText += strPart;
    }
}
} // namespace

bool CCLCCompiler::Compile(const std::string& strSource, const std::vector<std::string>& vOptions,
                           bool bDebug, const SCLCTarget& target, std::string& strIL,
                           std::string& strLog)
{
    return Compile({SCLCUnit{strSource, vOptions, {}}}, bDebug, target, strIL, strLog);
}

bool CCLCCompiler::Compile(const std::vector<SCLCUnit>& vUnits, bool bDebug,
                           const SCLCTarget& target, std::string& strIL, std::string& strLog)
{
    std::vector<std::unique_ptr<clang::CompilerInstance>> vCompilers;
    std::vector<clang::ASTContext*> vContexts;
    for (size_t i = 0; i < vUnits.size(); ++i)
    {
        const std::string strName =
            vUnits.size() == 1 ? SOURCE_NAME : "program" + std::to_string(i + 1) + ".cl";
        vCompilers.push_back(Parse(vUnits[i], strName, target, strLog));
        if (!vCompilers.back())
        {
            return false;
        }
        vContexts.push_back(&vCompilers.back()->getASTContext());
    }
    if (vContexts.empty())
    {
        strLog += "error: no program to compile\n";
        return false;
    }
    CILGenerator generator(vContexts, target, bDebug);
    return generator.Generate(strIL, strLog);
}

bool CCLCCompiler::Check(const SCLCUnit& unit, const SCLCTarget& target, std::string& strLog)
{
    return Parse(unit, SOURCE_NAME, target, strLog) != nullptr;
}

std::string CCLCCompiler::UnitText(const SCLCUnit& unit)
{
    std::string strText;
    for (const std::string& strOption : unit.vOptions)
    {
        AddField(strText, "option", {strOption});
    }
    for (const auto& header : unit.vHeaders)
    {
        AddField(strText, "header", {header.first, header.second});
    }
    AddField(strText, "source", {unit.strSource});
    return strText;
}

bool CCLCCompiler::ReadUnit(const std::string& strText, SCLCUnit& unit)
{
    unit = SCLCUnit();
    size_t nAt = 0;
    while (nAt < strText.size())
    {
        const size_t nEnd = strText.find('\n', nAt);
        if (nEnd == std::string::npos)
        {
            return false;
        }
        std::istringstream line(strText.substr(nAt, nEnd - nAt));
        nAt = nEnd + 1;
        std::string strWord;
        line >> strWord;
        std::vector<std::string> vParts;
        unsigned long long nLength = 0;
        while (line >> nLength)
        {
            if (nLength > strText.size() - nAt)
            {
                return false;
            }
            vParts.push_back(strText.substr(nAt, nLength));
            nAt += nLength;
        }
        if (!line.eof())
        {
            return false;
        }
        if (strWord == "option" && vParts.size() == 1)
        {
            unit.vOptions.push_back(vParts[0]);
        }
        else if (strWord == "header" && vParts.size() == 2)
        {
            unit.vHeaders.emplace_back(vParts[0], vParts[1]);
        }
        else if (strWord == "source" && vParts.size() == 1 && nAt == strText.size())
        {
            unit.strSource = vParts[0];
            return true;
        }
        else
        {
            return false;
        }
    }
    return false;
}
} // namespace XAN_Platform
