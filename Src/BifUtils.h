#ifndef BIF_UTILS_H
#define BIF_UTILS_H

#include "Modules/QUVRTModule.h"

#include <boost/thread/mutex.hpp>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class DNKModule;

namespace XAN_ElfUtils
{
// IL text to IL tokens and back through a borrowed translator: the low-level runtime's
// converter extension, or the compiler library's compile step between its IL text and IL binary
// stages. One instance serves the process; it holds the compiler handle and the binding of the
// extension.
class CILConverter
{
public:
    CILConverter(QUVRTModule& runtimeModule, DNKModule& compilerModule);
    CILConverter(const CILConverter&) = delete;
    CILConverter& operator=(const CILConverter&) = delete;

    // An empty strTarget stands for "Larkspur" on the compiler library's path.
    bool ILTextToBinary(const std::string& strILText, std::vector<char>& vILBytecode,
                        const std::string& strTarget);
    bool ILBinaryToText(const void* pILBytecode, size_t nSize, std::string& strILText,
                        const std::string& strTarget);

    // Whether the runtime's converter is to be tried: forced, or found usable by quvInit. The
    // runtime is asked once, and only when forced.
    bool IsQuvILConverterInUse();
    void SetQuvILConverter(bool bForced) { m_bForced = bForced; }

    // Makes the compiler handle at the first need; false without the compiler library.
    bool EnsureCompiler();
    void* GetCompiler() const { return m_pCompiler; }
    DNKModule& GetCompilerModule() const { return m_CompilerModule; }
    // Ends the compiler, if there is one.
    void ReleaseCompiler();

private:
    bool BindQuvConverter();
    bool QuvTextToBinary(const std::string& strILText, std::vector<char>& vILBytecode);
    bool QuvBinaryToText(const void* pILBytecode, size_t nSize, std::string& strILText);
    // Runs the compiler from one stage to the other on an object that holds pInput under the
    // input symbol, and copies what the output symbol holds then.
    bool Compile(const void* pInput, size_t nInputSize, bool bTextToBinary,
                 const std::string& strTarget, std::vector<char>& vOutput);
    void* MakeBinaryObject(const std::string& strTarget);

    QUVRTModule& m_RuntimeModule;
    DNKModule& m_CompilerModule;
    void* m_pCompiler;
    bool m_bForced;
    bool m_bRuntimeUsable;
    bool m_bProbePending;
    bool m_bConverterBound;
    quvConvertTextToBinaryFunc m_pfnConvertTextToBinary;
    quvConvertBinaryToTextFunc m_pfnConvertBinaryToText;
    quvFreeTextBinaryFunc m_pfnFreeTextBinary;
    boost::mutex m_ConverterMutex;
};

// The process's converter, over the process-wide runtime and compiler modules.
extern CILConverter g_ILConverter;

bool ILTextToBinary(const std::string& strILText, std::vector<char>& vILBytecode,
                    const std::string& strTarget);
bool ILBinaryToText(const std::vector<char>& vILBytecode, std::string& strILText,
                    const std::string& strTarget);
bool ILBinaryToText(const void* pILBytecode, size_t nSize, std::string& strILText,
                    const std::string& strTarget);
bool IsQuvILConverterInUse();
void SetQuvILConverter(bool bForced);
void ReleaseCompiler();

// The compiler library's section kind of a section name.
int GetSectionKind(const std::string& strSectionName);

// One argument record of the compiler library; only the zero test of its first 8 bytes is ours.
struct DNKArgumentRecord
{
    unsigned char bytes[88];
};

// A kernel binary read and rewritten through the compiler library's binary object.
class CBifBinary
{
public:
    CBifBinary(const void* pImage, size_t nSize);
    explicit CBifBinary(const std::string& strPath);
    ~CBifBinary();
    CBifBinary(const CBifBinary&) = delete;
    CBifBinary& operator=(const CBifBinary&) = delete;

    // The debug IL's entry marker becomes the call of the kernel, and back.
    bool PatchKernelEntry(const std::string& strKernelName);
    bool UnpatchKernelEntry(const std::string& strKernelName);
    bool GetKernelFunctionNumber(const std::string& strKernelName, uint32_t& nFunctionNumber);
    bool GetKernelMetadata(const std::string& strKernelName, std::string& strMetadata);
    // Appends the records, which stay valid until the next call or the object's end.
    bool GetKernelArguments(const std::string& strKernelName,
                            std::vector<const DNKArgumentRecord*>& vArguments);
    bool GetDebugIL(std::string& strDebugIL);
    bool SetDebugIL(const std::string& strDebugIL);
    // Replaces the first occurrence; false if there is none.
    bool FindAndReplaceInDebugIL(const std::string& strFind, const std::string& strReplace);
    bool GetBinaryIL(std::vector<uint32_t>& vTokens);
    bool SetBinaryIL(const uint32_t* pTokens, size_t nCount);
    bool AddDebugArgument(const std::string& strName, uint32_t nValue1, uint32_t nValue2);
    // The image stays the object's.
    bool WriteToMemory(void*& pImage, size_t& nSize);

private:
    bool IsUsable() const;
    bool Query(int nQuery, const std::string& strKernelName, std::vector<unsigned char>& vData);

    void* m_pBinary;
    std::vector<unsigned char> m_vArgList;
};
} // namespace XAN_ElfUtils

#endif
