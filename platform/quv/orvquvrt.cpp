// liborvquvrt64.so: the low-level compute runtime. Of it the emulated platform offers the IL
// converter extension, which is the platform's own assembler and disassembler; every other
// function answers QUV_ERROR_NOT_SUPPORTED.

#include "QuvExport.h"

#include "CILAssembler.h"
#include "CILDisassembler.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <vector>

namespace
{
std::atomic<bool> s_bInitialized(false);

// A copy in memory that quvFreeTextBinary releases.
void* CopyToHeap(const void* pData, size_t nSize)
{
    void* pCopy = std::malloc(nSize > 0 ? nSize : 1);
    if (pCopy != nullptr && nSize > 0)
    {
        std::memcpy(pCopy, pData, nSize);
    }
    return pCopy;
}

int ConvertTextToBinary(void** ppBinary, uint32_t* pnSizeInBytes, int nFormat, const char* pText)
{
    if (ppBinary == nullptr || pnSizeInBytes == nullptr || pText == nullptr ||
        nFormat != QUV_IL_FORMAT_TOKENS)
    {
        return QUV_ERROR_INVALID_ARGUMENT;
    }
    try
    {
        XAN_Platform::CILAssembler assembler;
        std::vector<unsigned int> vTokens;
        if (!assembler.Assemble(pText, vTokens))
        {
            std::fprintf(stderr, "quvConvertTextToBinary: %s\n",
                         assembler.GetError().ToString().c_str());
            return QUV_ERROR_INVALID_IL;
        }
        const size_t nBytes = vTokens.size() * sizeof(unsigned int);
        if (nBytes > std::numeric_limits<uint32_t>::max())
        {
            return QUV_ERROR_INVALID_IL;
        }
        void* pBinary = CopyToHeap(vTokens.data(), nBytes);
        if (pBinary == nullptr)
        {
            return QUV_ERROR_OUT_OF_MEMORY;
        }
        *ppBinary = pBinary;
        *pnSizeInBytes = static_cast<uint32_t>(nBytes);
        return QUV_SUCCESS;
    }
    catch (const std::bad_alloc&)
    {
        return QUV_ERROR_OUT_OF_MEMORY;
    }
}

int ConvertBinaryToText(const void* pBinary, uint32_t nSizeInBytes, int nFormat, char** ppText)
{
    if ((pBinary == nullptr && nSizeInBytes > 0) || ppText == nullptr ||
        nFormat != QUV_IL_FORMAT_TOKENS || nSizeInBytes % sizeof(unsigned int) != 0)
    {
        return QUV_ERROR_INVALID_ARGUMENT;
    }
    try
    {
        std::vector<unsigned int> vTokens(nSizeInBytes / sizeof(unsigned int));
        if (nSizeInBytes > 0)
        {
            std::memcpy(vTokens.data(), pBinary, nSizeInBytes);
        }
        XAN_Platform::CILDisassembler disassembler;
        std::string strText;
        if (!disassembler.Disassemble(vTokens.data(), vTokens.size(), strText))
        {
            std::fprintf(stderr, "quvConvertBinaryToText: %s\n",
                         disassembler.GetError().ToString().c_str());
            return QUV_ERROR_INVALID_IL;
        }
        void* pText = CopyToHeap(strText.c_str(), strText.size() + 1);
        if (pText == nullptr)
        {
            return QUV_ERROR_OUT_OF_MEMORY;
        }
        *ppText = static_cast<char*>(pText);
        return QUV_SUCCESS;
    }
    catch (const std::bad_alloc&)
    {
        return QUV_ERROR_OUT_OF_MEMORY;
    }
}

int FreeTextBinary(void* pTextOrBinary)
{
    std::free(pTextOrBinary);
    return QUV_SUCCESS;
}
} // namespace

QUV_EXPORT int quvInit(void)
{
    return s_bInitialized.exchange(true) ? QUV_ALREADY_INITIALIZED : QUV_SUCCESS;
}

QUV_EXPORT int quvShutdown(void)
{
    s_bInitialized = false;
    return QUV_SUCCESS;
}

QUV_EXPORT int quvExtSupported(uint32_t nExtension)
{
    return nExtension == QUV_EXT_IL_CONVERTER ? QUV_SUCCESS : QUV_ERROR_NOT_SUPPORTED;
}

QUV_EXPORT int quvExtGetProc(void** ppFunction, uint32_t nExtension, const char* pName)
{
    if (ppFunction == nullptr || pName == nullptr)
    {
        return QUV_ERROR_INVALID_ARGUMENT;
    }
    if (nExtension != QUV_EXT_IL_CONVERTER)
    {
        return QUV_ERROR_NOT_SUPPORTED;
    }
    void* pFunction = nullptr;
    if (std::strcmp(pName, "quvConvertTextToBinary") == 0)
    {
        pFunction = reinterpret_cast<void*>(&ConvertTextToBinary);
    }
    else if (std::strcmp(pName, "quvConvertBinaryToText") == 0)
    {
        pFunction = reinterpret_cast<void*>(&ConvertBinaryToText);
    }
    else if (std::strcmp(pName, "quvFreeTextBinary") == 0)
    {
        pFunction = reinterpret_cast<void*>(&FreeTextBinary);
    }
    else
    {
        return QUV_ERROR_INVALID_ARGUMENT;
    }
    *ppFunction = pFunction;
    return QUV_SUCCESS;
}

// Devices, contexts, memory, modules and images belong to the OpenCL platform here.
XAN_QUV_NOT_SUPPORTED(quvCtxCreate)
XAN_QUV_NOT_SUPPORTED(quvCtxDestroy)
XAN_QUV_NOT_SUPPORTED(quvCtxFlush)
XAN_QUV_NOT_SUPPORTED(quvCtxGetMem)
XAN_QUV_NOT_SUPPORTED(quvCtxIsEventDone)
XAN_QUV_NOT_SUPPORTED(quvCtxReleaseMem)
XAN_QUV_NOT_SUPPORTED(quvCtxRunProgram)
XAN_QUV_NOT_SUPPORTED(quvCtxRunProgramGrid)
XAN_QUV_NOT_SUPPORTED(quvCtxRunProgramGridArray)
XAN_QUV_NOT_SUPPORTED(quvCtxSetMem)
XAN_QUV_NOT_SUPPORTED(quvDeviceClose)
XAN_QUV_NOT_SUPPORTED(quvDeviceGetAttribs)
XAN_QUV_NOT_SUPPORTED(quvDeviceGetCount)
XAN_QUV_NOT_SUPPORTED(quvDeviceGetInfo)
XAN_QUV_NOT_SUPPORTED(quvDeviceGetStatus)
XAN_QUV_NOT_SUPPORTED(quvDeviceOpen)
XAN_QUV_NOT_SUPPORTED(quvExtGetVersion)
XAN_QUV_NOT_SUPPORTED(quvGetErrorString)
XAN_QUV_NOT_SUPPORTED(quvGetVersion)
XAN_QUV_NOT_SUPPORTED(quvImageFree)
XAN_QUV_NOT_SUPPORTED(quvImageRead)
XAN_QUV_NOT_SUPPORTED(quvMemCopy)
XAN_QUV_NOT_SUPPORTED(quvModuleGetEntry)
XAN_QUV_NOT_SUPPORTED(quvModuleGetFuncInfo)
XAN_QUV_NOT_SUPPORTED(quvModuleGetName)
XAN_QUV_NOT_SUPPORTED(quvModuleLoad)
XAN_QUV_NOT_SUPPORTED(quvModuleUnload)
XAN_QUV_NOT_SUPPORTED(quvResAllocLocal1D)
XAN_QUV_NOT_SUPPORTED(quvResAllocLocal2D)
XAN_QUV_NOT_SUPPORTED(quvResAllocRemote1D)
XAN_QUV_NOT_SUPPORTED(quvResAllocRemote2D)
XAN_QUV_NOT_SUPPORTED(quvResFree)
XAN_QUV_NOT_SUPPORTED(quvResMap)
XAN_QUV_NOT_SUPPORTED(quvResUnmap)
