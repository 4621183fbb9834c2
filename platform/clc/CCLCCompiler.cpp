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
#include <llvm/Support/raw_ostream.h>

#include <algorithm>

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

bool CCLCCompiler::Compile(const std::string& strSource, const std::vector<std::string>& vOptions,
                           bool bDebug, const SCLCTarget& target, std::string& strIL,
                           std::string& strLog)
{
    std::string strStandard = "-cl-std=CL1.2";
    std::vector<std::string> vArguments;
    for (const std::string& strOption : vOptions)
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
    vArguments.insert(vArguments.begin(),
                      {strStandard, "-x", "cl", "-triple",
                       target.b64Bit ? "spir64-unknown-unknown" : "spir-unknown-unknown",
                       "-finclude-default-header", "-fdeclare-opencl-builtins",
                       "-cl-ext=-all,+cl_khr_fp64,+cl_khr_int64_base_atomics,"
                       "+cl_khr_global_int32_base_atomics,+cl_khr_local_int32_base_atomics,"
                       "+cl_khr_global_int32_extended_atomics,"
                       "+cl_khr_local_int32_extended_atomics,+cl_khr_byte_addressable_store",
                       "-fno-builtin", SOURCE_NAME});
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
        return false;
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
        return false;
    }
    compiler.createFileManager();
    compiler.createSourceManager(compiler.getFileManager());
    compiler.createPreprocessor(clang::TU_Complete);
    compiler.createASTContext();
    compiler.setASTConsumer(std::make_unique<clang::ASTConsumer>());
    compiler.createSema(clang::TU_Complete, nullptr);
    clang::SourceManager& sourceManager = compiler.getSourceManager();
    sourceManager.setMainFileID(
        sourceManager.createFileID(llvm::MemoryBuffer::getMemBufferCopy(strSource, SOURCE_NAME)));
    compiler.getDiagnosticClient().BeginSourceFile(compiler.getLangOpts(),
                                                   &compiler.getPreprocessor());
    llvm::CrashRecoveryContext recovery;
    if (!recovery.RunSafely([&compiler]() { clang::ParseAST(compiler.getSema()); }))
    {
        llvm::BuryPointer(std::move(pCompiler));
        diagnosticStream.flush();
        strLog += strDiagnostics + std::string(SOURCE_NAME) +
                  ": error: the OpenCL C front end (Clang) failed on this source\n";
        return false;
    }
    compiler.getDiagnosticClient().EndSourceFile();
    const bool bParsed = !compiler.getDiagnostics().hasErrorOccurred();
    diagnosticStream.flush();
    strLog += strDiagnostics;
    if (!bParsed)
    {
        return false;
    }
    CILGenerator generator(compiler.getASTContext(), target, bDebug);
    return generator.Generate(strIL, strLog);
}
} // namespace XAN_Platform
