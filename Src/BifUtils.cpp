#include "BifUtils.h"

#include "Modules/DNKModule.h"
#include "ShaderDebugger.h"

#include <algorithm>
#include <cstring>
#include <iostream>
#include <limits>

namespace XAN_ElfUtils
{
namespace
{
const int DNK_SUCCESS = 0;
// dnkBinaryInit's answer when the struct size isn't the library's.
const int DNK_ERROR_STRUCT_SIZE = 3;
const int STAGE_IL_TEXT = 6;
const int STAGE_IL_BINARY = 7;
// The section kind of the debug IL symbols.
const int SECTION_KIND_DEBUG_IL = 27;
const char* const SYMBOL_DEBUG_IL_TEXT = "__debugil_text";
const char* const SYMBOL_DEBUG_IL_BINARY = "__debugil_binary";
const int QUERY_METADATA = 1;
const int QUERY_FUNCTION_NUMBER = 4;
const int QUERY_ARGUMENTS = 8;

const uint32_t QUV_EXTENSION_IL_CONVERTER = 0x8013;
// The one format of the converter extension.
const int QUV_IL_FORMAT = 1;

const char* const ENTRY_MARKER = ";$$$$$$$$$$";

bool IsQuvInitSuccess(int nResult)
{
    return nResult == 0 || nResult == 4;
}

void CompilerLog(const char* pText, size_t nSize)
{
    if (pText != NULL && nSize != 0)
    {
        std::cout << "Compiler msg: " << std::string(pText, nSize) << "\n";
    }
}

// The text of a buffer up to its first NUL.
std::string TextUpToNul(const void* pData, size_t nSize)
{
    const char* pText = static_cast<const char*>(pData);
    return std::string(pText, std::find(pText, pText + nSize, '\0'));
}
} // namespace

CILConverter g_ILConverter(g_QUVRTModule, g_DNKModule);

CILConverter::CILConverter(QUVRTModule& runtimeModule, DNKModule& compilerModule)
    : m_RuntimeModule(runtimeModule), m_CompilerModule(compilerModule), m_pCompiler(NULL),
      m_bForced(false), m_bRuntimeUsable(false), m_bProbePending(true), m_bConverterBound(false),
      m_pfnConvertTextToBinary(NULL), m_pfnConvertBinaryToText(NULL), m_pfnFreeTextBinary(NULL)
{
}

bool CILConverter::ILTextToBinary(const std::string& strILText, std::vector<char>& vILBytecode,
                                  const std::string& strTarget)
{
    if (IsQuvILConverterInUse() && BindQuvConverter())
    {
        return QuvTextToBinary(strILText, vILBytecode);
    }
    return Compile(strILText.data(), strILText.size(), true, strTarget, vILBytecode);
}

bool CILConverter::ILBinaryToText(const void* pILBytecode, size_t nSize, std::string& strILText,
                                  const std::string& strTarget)
{
    if (pILBytecode == NULL && nSize != 0)
    {
        return false;
    }
    if (IsQuvILConverterInUse() && BindQuvConverter())
    {
        return QuvBinaryToText(pILBytecode, nSize, strILText);
    }
    std::vector<char> vText;
    if (!Compile(pILBytecode, nSize / 4 * 4, false, strTarget, vText))
    {
        return false;
    }
    strILText = TextUpToNul(vText.data(), vText.size());
    return true;
}

bool CILConverter::IsQuvILConverterInUse()
{
    if (m_bForced && m_bProbePending)
    {
        m_bProbePending = false;
        if (m_RuntimeModule.quvInit != NULL)
        {
            m_bRuntimeUsable = IsQuvInitSuccess(m_RuntimeModule.quvInit());
        }
    }
    return m_bForced || m_bRuntimeUsable;
}

bool CILConverter::EnsureCompiler()
{
    if (m_pCompiler == NULL)
    {
        if (!m_CompilerModule.IsLoaded())
        {
            m_CompilerModule.LoadModule(m_CompilerModule.GetFileName());
        }
        if (!m_CompilerModule.IsLoaded())
        {
            return false;
        }
        m_pCompiler = m_CompilerModule.dnkCompilerInit(NULL, NULL);
    }
    return m_pCompiler != NULL;
}

void CILConverter::ReleaseCompiler()
{
    if (m_pCompiler != NULL && m_CompilerModule.dnkCompilerFini != NULL)
    {
        m_CompilerModule.dnkCompilerFini(m_pCompiler);
    }
    m_pCompiler = NULL;
}

bool CILConverter::BindQuvConverter()
{
    boost::unique_lock<boost::mutex> lock(m_ConverterMutex);
    if (m_bConverterBound)
    {
        return true;
    }
    const QUVRTModule& module = m_RuntimeModule;
    if (module.quvInit == NULL || module.quvExtSupported == NULL || module.quvExtGetProc == NULL ||
        !IsQuvInitSuccess(module.quvInit()) ||
        module.quvExtSupported(QUV_EXTENSION_IL_CONVERTER) != 0)
    {
        return false;
    }
    void* pTextToBinary = NULL;
    void* pBinaryToText = NULL;
    void* pFree = NULL;
    if (module.quvExtGetProc(&pTextToBinary, QUV_EXTENSION_IL_CONVERTER,
                             "quvConvertTextToBinary") != 0 ||
        module.quvExtGetProc(&pBinaryToText, QUV_EXTENSION_IL_CONVERTER,
                             "quvConvertBinaryToText") != 0 ||
        module.quvExtGetProc(&pFree, QUV_EXTENSION_IL_CONVERTER, "quvFreeTextBinary") != 0)
    {
        return false;
    }
    m_pfnConvertTextToBinary = reinterpret_cast<quvConvertTextToBinaryFunc>(pTextToBinary);
    m_pfnConvertBinaryToText = reinterpret_cast<quvConvertBinaryToTextFunc>(pBinaryToText);
    m_pfnFreeTextBinary = reinterpret_cast<quvFreeTextBinaryFunc>(pFree);
    m_bConverterBound = m_pfnConvertTextToBinary != NULL && m_pfnConvertBinaryToText != NULL &&
                        m_pfnFreeTextBinary != NULL;
    return m_bConverterBound;
}

bool CILConverter::QuvTextToBinary(const std::string& strILText, std::vector<char>& vILBytecode)
{
    void* pBinary = NULL;
    uint32_t nSize = 0;
    if (m_pfnConvertTextToBinary(&pBinary, &nSize, QUV_IL_FORMAT, strILText.c_str()) != 0)
    {
        return false;
    }
    const char* pBytes = static_cast<const char*>(pBinary);
    vILBytecode.assign(pBytes, pBytes + (pBytes != NULL ? nSize : 0));
    return m_pfnFreeTextBinary(pBinary) == 0;
}

bool CILConverter::QuvBinaryToText(const void* pILBytecode, size_t nSize, std::string& strILText)
{
    if (nSize > std::numeric_limits<uint32_t>::max())
    {
        return false;
    }
    char* pText = NULL;
    if (m_pfnConvertBinaryToText(pILBytecode, static_cast<uint32_t>(nSize), QUV_IL_FORMAT,
                                 &pText) != 0)
    {
        return false;
    }
    strILText = pText != NULL ? pText : "";
    return m_pfnFreeTextBinary(pText) == 0;
}

void* CILConverter::MakeBinaryObject(const std::string& strTarget)
{
    const DNKModule& module = m_CompilerModule;
    int nError = DNK_SUCCESS;
    const DNKTargetInfo target = module.dnkGetTargetInfo(
        "xanil", strTarget.empty() ? "Larkspur" : strTarget.c_str(), &nError);
    if (nError != DNK_SUCCESS)
    {
        return NULL;
    }
    // The sizes of the object's struct that the library's versions have known.
    static const size_t s_StructSizes[] = {120, 128, 118, 120, 104};
    void* pBinary = NULL;
    for (size_t nStructSize : s_StructSizes)
    {
        if (pBinary != NULL)
        {
            module.dnkBinaryFini(pBinary);
        }
        pBinary = module.dnkBinaryInit(nStructSize, target, NULL, &nError);
        if (nError != DNK_ERROR_STRUCT_SIZE)
        {
            break;
        }
    }
    if (nError != DNK_SUCCESS && pBinary != NULL)
    {
        module.dnkBinaryFini(pBinary);
        pBinary = NULL;
    }
    return pBinary;
}

bool CILConverter::Compile(const void* pInput, size_t nInputSize, bool bTextToBinary,
                           const std::string& strTarget, std::vector<char>& vOutput)
{
    const DNKModule& module = m_CompilerModule;
    if (!EnsureCompiler() || module.dnkGetTargetInfo == NULL || module.dnkBinaryInit == NULL ||
        module.dnkBinaryFini == NULL || module.dnkInsertSymbol == NULL ||
        module.dnkCompile == NULL || module.dnkExtractSymbol == NULL)
    {
        return false;
    }
    void* pBinary = MakeBinaryObject(strTarget);
    if (pBinary == NULL)
    {
        return false;
    }
    const char* pInputSymbol = bTextToBinary ? SYMBOL_DEBUG_IL_TEXT : SYMBOL_DEBUG_IL_BINARY;
    const char* pOutputSymbol = bTextToBinary ? SYMBOL_DEBUG_IL_BINARY : SYMBOL_DEBUG_IL_TEXT;
    bool bResult = false;
    if (module.dnkInsertSymbol(m_pCompiler, pBinary, pInput, nInputSize, SECTION_KIND_DEBUG_IL,
                               pInputSymbol) == DNK_SUCCESS &&
        module.dnkCompile(m_pCompiler, pBinary, "", bTextToBinary ? STAGE_IL_TEXT : STAGE_IL_BINARY,
                          bTextToBinary ? STAGE_IL_BINARY : STAGE_IL_TEXT,
                          &CompilerLog) == DNK_SUCCESS)
    {
        size_t nSize = 0;
        int nError = DNK_SUCCESS;
        const void* pOutput = module.dnkExtractSymbol(
            m_pCompiler, pBinary, &nSize, SECTION_KIND_DEBUG_IL, pOutputSymbol, &nError);
        if (nError == DNK_SUCCESS && pOutput != NULL && nSize >= 4)
        {
            // Tokens are whole 32-bit words; a text is taken as it is.
            const size_t nKept = bTextToBinary ? nSize / 4 * 4 : nSize;
            const char* pBytes = static_cast<const char*>(pOutput);
            vOutput.assign(pBytes, pBytes + nKept);
            bResult = true;
        }
    }
    module.dnkBinaryFini(pBinary);
    return bResult;
}

bool ILTextToBinary(const std::string& strILText, std::vector<char>& vILBytecode,
                    const std::string& strTarget)
{
    return g_ILConverter.ILTextToBinary(strILText, vILBytecode, strTarget);
}

bool ILBinaryToText(const std::vector<char>& vILBytecode, std::string& strILText,
                    const std::string& strTarget)
{
    return g_ILConverter.ILBinaryToText(vILBytecode.data(), vILBytecode.size(), strILText,
                                        strTarget);
}

bool ILBinaryToText(const void* pILBytecode, size_t nSize, std::string& strILText,
                    const std::string& strTarget)
{
    return g_ILConverter.ILBinaryToText(pILBytecode, nSize, strILText, strTarget);
}

bool IsQuvILConverterInUse()
{
    return g_ILConverter.IsQuvILConverterInUse();
}

void SetQuvILConverter(bool bForced)
{
    g_ILConverter.SetQuvILConverter(bForced);
}

void ReleaseCompiler()
{
    g_ILConverter.ReleaseCompiler();
}

int GetSectionKind(const std::string& strSectionName)
{
    if (strSectionName == ".debugil")
    {
        return 12;
    }
    if (strSectionName == ".llvmir")
    {
        return 0;
    }
    if (strSectionName == ".text")
    {
        return 26;
    }
    if (strSectionName == ".xanil")
    {
        return 2;
    }
    return 35;
}

CBifBinary::CBifBinary(const void* pImage, size_t nSize) : m_pBinary(NULL)
{
    const DNKModule& module = g_ILConverter.GetCompilerModule();
    if (g_ILConverter.EnsureCompiler() && module.dnkReadFromMem != NULL)
    {
        int err = DNK_SUCCESS;
        m_pBinary = module.dnkReadFromMem(pImage, nSize, &err);
        SDU_Assert(NULL, err == DNK_SUCCESS);
        if (err != DNK_SUCCESS)
        {
            m_pBinary = NULL;
        }
    }
}

CBifBinary::CBifBinary(const std::string& strPath) : m_pBinary(NULL)
{
    const DNKModule& module = g_ILConverter.GetCompilerModule();
    if (g_ILConverter.EnsureCompiler() && module.dnkReadFromFile != NULL)
    {
        int err = DNK_SUCCESS;
        m_pBinary = module.dnkReadFromFile(strPath.c_str(), &err);
        SDU_Assert(NULL, err == DNK_SUCCESS);
        if (err != DNK_SUCCESS)
        {
            m_pBinary = NULL;
        }
    }
}

CBifBinary::~CBifBinary()
{
    const DNKModule& module = g_ILConverter.GetCompilerModule();
    if (m_pBinary != NULL && module.dnkBinaryFini != NULL)
    {
        module.dnkBinaryFini(m_pBinary);
    }
}

bool CBifBinary::IsUsable() const
{
    return g_ILConverter.GetCompiler() != NULL && m_pBinary != NULL;
}

bool CBifBinary::Query(int nQuery, const std::string& strKernelName,
                       std::vector<unsigned char>& vData)
{
    const DNKModule& module = g_ILConverter.GetCompilerModule();
    if (!IsUsable() || module.dnkQueryInfo == NULL)
    {
        return false;
    }
    void* pCompiler = g_ILConverter.GetCompiler();
    size_t nSize = 0;
    if (module.dnkQueryInfo(pCompiler, m_pBinary, nQuery, strKernelName.c_str(), NULL, &nSize) !=
        DNK_SUCCESS)
    {
        return false;
    }
    // One byte more, so that a text always ends with a NUL.
    vData.assign(nSize + 1, 0);
    size_t nFilled = nSize;
    if (module.dnkQueryInfo(pCompiler, m_pBinary, nQuery, strKernelName.c_str(), vData.data(),
                            &nFilled) != DNK_SUCCESS ||
        nFilled != nSize)
    {
        return false;
    }
    vData.resize(nSize);
    return true;
}

bool CBifBinary::PatchKernelEntry(const std::string& strKernelName)
{
    uint32_t nFunctionNumber = 0;
    return GetKernelFunctionNumber(strKernelName, nFunctionNumber) &&
           FindAndReplaceInDebugIL(ENTRY_MARKER, "call " + std::to_string(nFunctionNumber));
}

bool CBifBinary::UnpatchKernelEntry(const std::string& strKernelName)
{
    uint32_t nFunctionNumber = 0;
    return GetKernelFunctionNumber(strKernelName, nFunctionNumber) &&
           FindAndReplaceInDebugIL("call " + std::to_string(nFunctionNumber), ENTRY_MARKER);
}

bool CBifBinary::GetKernelFunctionNumber(const std::string& strKernelName,
                                         uint32_t& nFunctionNumber)
{
    std::vector<unsigned char> vData;
    if (!Query(QUERY_FUNCTION_NUMBER, strKernelName, vData) ||
        vData.size() != sizeof(nFunctionNumber))
    {
        return false;
    }
    memcpy(&nFunctionNumber, vData.data(), sizeof(nFunctionNumber));
    return true;
}

bool CBifBinary::GetKernelMetadata(const std::string& strKernelName, std::string& strMetadata)
{
    std::vector<unsigned char> vData;
    if (!Query(QUERY_METADATA, strKernelName, vData))
    {
        return false;
    }
    strMetadata = TextUpToNul(vData.data(), vData.size());
    return true;
}

bool CBifBinary::GetKernelArguments(const std::string& strKernelName,
                                    std::vector<const DNKArgumentRecord*>& vArguments)
{
    if (!Query(QUERY_ARGUMENTS, strKernelName, m_vArgList))
    {
        return false;
    }
    static const unsigned char s_Zero[8] = {};
    for (size_t nOffset = 0; nOffset + sizeof(DNKArgumentRecord) <= m_vArgList.size();
         nOffset += sizeof(DNKArgumentRecord))
    {
        const unsigned char* pRecord = m_vArgList.data() + nOffset;
        if (memcmp(pRecord, s_Zero, sizeof(s_Zero)) == 0)
        {
            break;
        }
        vArguments.push_back(reinterpret_cast<const DNKArgumentRecord*>(pRecord));
    }
    return true;
}

bool CBifBinary::GetDebugIL(std::string& strDebugIL)
{
    const DNKModule& module = g_ILConverter.GetCompilerModule();
    if (!IsUsable() || module.dnkExtractSymbol == NULL)
    {
        return false;
    }
    size_t nSize = 0;
    int nError = DNK_SUCCESS;
    const void* pText =
        module.dnkExtractSymbol(g_ILConverter.GetCompiler(), m_pBinary, &nSize,
                                SECTION_KIND_DEBUG_IL, SYMBOL_DEBUG_IL_TEXT, &nError);
    if (nError != DNK_SUCCESS || pText == NULL || nSize < 4)
    {
        return false;
    }
    strDebugIL = TextUpToNul(pText, nSize);
    return true;
}

bool CBifBinary::SetDebugIL(const std::string& strDebugIL)
{
    const DNKModule& module = g_ILConverter.GetCompilerModule();
    return IsUsable() && module.dnkInsertSymbol != NULL &&
           module.dnkInsertSymbol(g_ILConverter.GetCompiler(), m_pBinary, strDebugIL.data(),
                                  strDebugIL.size(), SECTION_KIND_DEBUG_IL,
                                  SYMBOL_DEBUG_IL_TEXT) == DNK_SUCCESS;
}

bool CBifBinary::FindAndReplaceInDebugIL(const std::string& strFind, const std::string& strReplace)
{
    std::string strDebugIL;
    if (!GetDebugIL(strDebugIL))
    {
        return false;
    }
    const size_t nAt = strDebugIL.find(strFind);
    if (nAt == std::string::npos)
    {
        return false;
    }
    strDebugIL.replace(nAt, strFind.size(), strReplace);
    return SetDebugIL(strDebugIL);
}

bool CBifBinary::GetBinaryIL(std::vector<uint32_t>& vTokens)
{
    const DNKModule& module = g_ILConverter.GetCompilerModule();
    if (!IsUsable() || module.dnkCompile == NULL || module.dnkExtractSymbol == NULL)
    {
        return false;
    }
    void* pCompiler = g_ILConverter.GetCompiler();
    if (module.dnkCompile(pCompiler, m_pBinary, "", STAGE_IL_TEXT, STAGE_IL_BINARY, &CompilerLog) !=
        DNK_SUCCESS)
    {
        return false;
    }
    size_t nSize = 0;
    int nError = DNK_SUCCESS;
    const void* pTokens = module.dnkExtractSymbol(
        pCompiler, m_pBinary, &nSize, SECTION_KIND_DEBUG_IL, SYMBOL_DEBUG_IL_BINARY, &nError);
    if (nError != DNK_SUCCESS || (pTokens == NULL && nSize != 0))
    {
        return false;
    }
    vTokens.resize(nSize / sizeof(uint32_t));
    if (!vTokens.empty())
    {
        memcpy(vTokens.data(), pTokens, vTokens.size() * sizeof(uint32_t));
    }
    return true;
}

bool CBifBinary::SetBinaryIL(const uint32_t* pTokens, size_t nCount)
{
    const DNKModule& module = g_ILConverter.GetCompilerModule();
    if (!IsUsable() || (pTokens == NULL && nCount != 0) || module.dnkRemoveSymbol == NULL ||
        module.dnkInsertSymbol == NULL || module.dnkCompile == NULL)
    {
        return false;
    }
    void* pCompiler = g_ILConverter.GetCompiler();
    module.dnkRemoveSymbol(pCompiler, m_pBinary, SECTION_KIND_DEBUG_IL, SYMBOL_DEBUG_IL_TEXT);
    return module.dnkInsertSymbol(pCompiler, m_pBinary, pTokens, nCount * sizeof(uint32_t),
                                  SECTION_KIND_DEBUG_IL, SYMBOL_DEBUG_IL_BINARY) == DNK_SUCCESS &&
           module.dnkCompile(pCompiler, m_pBinary, "", STAGE_IL_BINARY, STAGE_IL_TEXT,
                             &CompilerLog) == DNK_SUCCESS &&
           module.dnkRemoveSymbol(pCompiler, m_pBinary, SECTION_KIND_DEBUG_IL,
                                  SYMBOL_DEBUG_IL_BINARY) == DNK_SUCCESS;
}

bool CBifBinary::AddDebugArgument(const std::string& strName, uint32_t nValue1, uint32_t nValue2)
{
    const DNKModule& module = g_ILConverter.GetCompilerModule();
    return IsUsable() && module.dnkDbgAddArgument != NULL &&
           module.dnkDbgAddArgument(g_ILConverter.GetCompiler(), m_pBinary, strName.c_str(),
                                    nValue1, nValue2) == DNK_SUCCESS;
}

bool CBifBinary::WriteToMemory(void*& pImage, size_t& nSize)
{
    const DNKModule& module = g_ILConverter.GetCompilerModule();
    return IsUsable() && module.dnkWriteToMem != NULL &&
           module.dnkWriteToMem(m_pBinary, &pImage, &nSize) == DNK_SUCCESS;
}
} // namespace XAN_ElfUtils
