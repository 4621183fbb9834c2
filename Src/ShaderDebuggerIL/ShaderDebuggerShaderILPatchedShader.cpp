// Patched kernels as binaries: the one-entry cache, the wrapping of rewritten tokens into the
// kernel's ELF image with the three debugger arguments in its metadata, and the dump kernel
// that copies the argument constant buffer.

#include "BifUtils.h"
#include "CLMetadata.h"
#include "ElfUtils.h"
#include "ShaderDebuggerHost.h"
#include "ShaderDebuggerIL/ShaderDebuggerShaderIL.h"
#include "ShaderUtils/IL/ILFormat.h"

#include <cstdlib>
#include <cstring>
#include <fstream>

namespace XAN_ShaderDebugger
{
using namespace ShaderUtils;

namespace
{
// Pointer entries of these revisions on carry the access, and later also two flags.
const uint32_t ACCESS_REVISION = 87;
const uint32_t FLAGS_REVISION = 100;
const uint32_t ACCESS_READ_WRITE = 3;
const uint32_t DUMP_THREADS_PER_GROUP = 256;
const unsigned int DUMP_WAVE_SIZE = 64;
const char* const CB_DUMP_FILE = "dumpcb.elf";

// The shader's code: the debug IL of its ELF image, or the data itself as bare tokens.
struct ShaderCode
{
    std::vector<char> vImage;
    std::vector<unsigned int> vTokens;
    bool bElf = false;
};

bool ReadShaderCode(const unsigned char* pData, size_t nSize, ShaderCode& code)
{
    if (pData == NULL || nSize == 0)
    {
        return false;
    }
    code.vImage.assign(pData, pData + nSize);
    code.bElf = XAN_ElfUtils::ExtractBinaryILFromElf(code.vImage, code.vTokens);
    if (!code.bElf)
    {
        code.vTokens.resize(nSize / sizeof(unsigned int));
        if (!code.vTokens.empty())
        {
            std::memcpy(code.vTokens.data(), pData, code.vTokens.size() * sizeof(unsigned int));
        }
    }
    return !code.vTokens.empty();
}

// A malloc copy, which the owner frees with free.
void* CopyToMalloc(const void* pData, size_t nSize)
{
    void* pCopy = std::malloc(nSize != 0 ? nSize : 1);
    if (pCopy != NULL && nSize != 0)
    {
        std::memcpy(pCopy, pData, nSize);
    }
    return pCopy;
}

CCLMetadataPointerEntry* NewPointerEntry(uint32_t nRevision)
{
    if (nRevision >= FLAGS_REVISION)
    {
        CCLMetadataPointerEntryR100* pEntry = new CCLMetadataPointerEntryR100();
        pEntry->SetAccess(ACCESS_READ_WRITE);
        pEntry->SetFirstFlag(false);
        pEntry->SetSecondFlag(false);
        return pEntry;
    }
    if (nRevision >= ACCESS_REVISION)
    {
        CCLMetadataPointerEntryR87* pEntry = new CCLMetadataPointerEntryR87();
        pEntry->SetAccess(ACCESS_READ_WRITE);
        return pEntry;
    }
    return new CCLMetadataPointerEntry();
}

void SetArgumentTokens(CCLMetadataDataArgEntry& entry, const char* pName, const char* pDataType,
                       uint32_t nBufferOffset)
{
    entry.SetName(pName);
    entry.SetDataType(pDataType);
    entry.SetCount(1);
    entry.SetNumber(1);
    entry.SetBufferOffset(nBufferOffset);
}
} // namespace

bool CShaderDebuggerShaderIL::SwitchShader(const ProgramCounter& nTargetInstruction,
                                           const std::vector<Register>& vTargetRegs)
{
    const void* pBinary = EnsurePatchedShader(nTargetInstruction, vTargetRegs);
    return pBinary != NULL && SetPatchedBinary(pBinary, m_nPatchedShaderSize);
}

bool CShaderDebuggerShaderIL::SetPatchedBinary(const void* pBinary, size_t nSize)
{
    CShaderDebuggerHost* pHost = GetDebuggerHost();
    return pHost != NULL && pBinary != NULL && pHost->SetShader(GetShaderType(), pBinary, nSize);
}

bool CShaderDebuggerShaderIL::RestoreShader(bool bDiscard)
{
    if (bDiscard)
    {
        std::free(m_pPatchedShader);
        m_pPatchedShader = NULL;
        m_nPatchedShaderSize = 0;
        m_LastPatchTarget = g_PC_NULL;
        m_LastPatchRegisters.clear();
    }
    return true;
}

const void* CShaderDebuggerShaderIL::EnsurePatchedShader(const ProgramCounter& nTargetInstruction,
                                                         const std::vector<Register>& vTargetRegs)
{
    if (m_pPatchedShader != NULL && nTargetInstruction == m_LastPatchTarget &&
        vTargetRegs == m_LastPatchRegisters)
    {
        return m_pPatchedShader;
    }
    m_LastPatchTarget = nTargetInstruction;
    m_LastPatchRegisters = vTargetRegs;
    const void* pBinary = CreatePatchedShader(nTargetInstruction, vTargetRegs);
    if (pBinary == NULL)
    {
        // The next identical request builds again rather than taking the old binary.
        m_LastPatchTarget = g_PC_NULL;
        m_LastPatchRegisters.clear();
    }
    return pBinary;
}

void* CShaderDebuggerShaderIL::CreatePatchedShader(const ProgramCounter& nTargetInstruction,
                                                   const std::vector<Register>& vTargetRegs)
{
    if ((nTargetInstruction == g_PC_NULL && vTargetRegs.empty()) ||
        !IsShaderDebuggable(GetDefaultDebugMode()))
    {
        return NULL;
    }
    if (GetLogLevel() >= 7)
    {
        SDU_Log(7, "Patching shader to %u\n", nTargetInstruction.m_nPos);
    }
    ShaderCode code;
    if (!ReadShaderCode(m_pShaderData, m_nShaderDataSize, code))
    {
        return NULL;
    }
    CInputTokenStream<unsigned int> src(this, code.vTokens.data(), code.vTokens.size());
    COutputTokenStream<unsigned int> dest(this, code.vTokens.size() * 2);
    if (!PatchIL(src, dest, nTargetInstruction, vTargetRegs))
    {
        SDU_Log(3, "Failed to patch IL\n");
        return NULL;
    }

    std::vector<char> vOutput;
    if (!code.bElf)
    {
        const char* pTokens = reinterpret_cast<const char*>(dest.GetStream());
        vOutput.assign(pTokens, pTokens + dest.GetTokensWritten() * sizeof(unsigned int));
    }
    else
    {
        CShaderDebuggerHost* pHost = GetDebuggerHost();
        const std::string strKernelName =
            pHost != NULL ? pHost->GetShaderName(GetShaderType()) : std::string();
        CCLMetadata metadata;
        std::string strMetadata;
        if (!WrapPatchedTokens(code.vImage, dest, strKernelName, m_OutlineMacroLabel, vOutput,
                               strMetadata))
        {
            return NULL;
        }
        // The other kernels of the image give up their local memory to the patched one.
        std::vector<std::string> vstrKernels;
        XAN_ElfUtils::ListAvailableMetadata(code.vImage, vstrKernels);
        for (const std::string& strOther : vstrKernels)
        {
            std::string strOtherMetadata;
            CCLMetadata other;
            if (strOther != strKernelName &&
                !(XAN_ElfUtils::ExtractMetadataFromElf(vOutput, strOther, strOtherMetadata) &&
                  other.Parse(strOtherMetadata) && other.SetLocalMemorySize(0) &&
                  XAN_ElfUtils::InsertMetadataIntoElf(vOutput, strOther, other.GetText())))
            {
                SDU_Log(4, "Could not remove LDS declaration in metadata for kernel %s\n",
                        strOther.c_str());
            }
        }
        if (GetLogLevel() >= 7)
        {
            SDU_Log(7, "%s", strMetadata.c_str());
        }
    }

    void* pCopy = CopyToMalloc(vOutput.data(), vOutput.size());
    if (pCopy == NULL)
    {
        return NULL;
    }
    std::free(m_pPatchedShader);
    m_pPatchedShader = pCopy;
    m_nPatchedShaderSize = vOutput.size();
    LogTokens(dest);
    return m_pPatchedShader;
}

bool CShaderDebuggerShaderIL::WrapPatchedTokens(const std::vector<char>& vImage,
                                                const ILOutput& dest,
                                                const std::string& strKernelName,
                                                uint32_t nFunctionId, std::vector<char>& vOutput,
                                                std::string& strMetadata)
{
    vOutput = vImage;
    if (!XAN_ElfUtils::InsertBinaryILIntoElf(vOutput, dest.GetStream(),
                                             dest.GetTokensWritten() * sizeof(unsigned int),
                                             m_strDeviceName))
    {
        SDU_Log(3, "Failed to insert binary into ELF\n");
        return false;
    }
    std::string strOriginal;
    if (!XAN_ElfUtils::ExtractMetadataFromElf(vImage, strKernelName, strOriginal))
    {
        SDU_Log(3, "Failed to get metadata from ELF\n");
        return false;
    }
    CCLMetadata metadata;
    if (!metadata.Parse(strOriginal))
    {
        return false;
    }
    if (nFunctionId != 0)
    {
        metadata.AddFunctionId(nFunctionId);
    }
    if (!PatchMetadata(metadata, &strMetadata))
    {
        SDU_Log(3, "Failed to patch metadata\n");
        return false;
    }
    if (!XAN_ElfUtils::InsertMetadataIntoElf(vOutput, strKernelName, strMetadata))
    {
        SDU_Log(3, "Failed to insert metadata into ELF\n");
        return false;
    }
    return true;
}

bool CShaderDebuggerShaderIL::PatchMetadata(CCLMetadata& metadata, std::string* pText)
{
    if (pText == NULL)
    {
        return false;
    }
    // The older families reach all global memory through the one raw UAV.
    if (!m_bSeparateDebugUAVs && metadata.GetUavId() != m_nRawUAVNum &&
        !metadata.SetUavId(m_nRawUAVNum))
    {
        return false;
    }
    uint32_t nMajor = 0;
    uint32_t nMinor = 0;
    uint32_t nRevision = 0;
    metadata.GetVersion(&nMajor, &nMinor, &nRevision);

    const struct
    {
        const char* pName;
        const char* pDataType;
        uint32_t nUAV;
        uint32_t nAlignment;
    } pointers[] = {{"__xan_debug_result", "float", GetResultUAV(), 16},
                    {"__xan_debug_execMask", "i32", GetExecMaskUAV(), 4}};
    for (const auto& pointer : pointers)
    {
        CCLMetadataPointerEntry* pEntry = NewPointerEntry(nRevision);
        SetArgumentTokens(*pEntry, pointer.pName, pointer.pDataType, metadata.GetArgBufferSize());
        pEntry->SetMemoryType("uav");
        pEntry->SetResourceId(pointer.nUAV);
        pEntry->SetAlignment(pointer.nAlignment);
        if (!metadata.InsertArgument(pEntry))
        {
            return false;
        }
    }
    CCLMetadataValueEntry* pSelector = new CCLMetadataValueEntry();
    SetArgumentTokens(*pSelector, "__xan_debug_outputSelector", "i32", metadata.GetArgBufferSize());
    if (!metadata.InsertArgument(pSelector))
    {
        return false;
    }
    *pText = metadata.GetText();
    return true;
}

void CShaderDebuggerShaderIL::LogTokens(const ILOutput& dest) const
{
    CShaderDebuggerHost* pHost = GetDebuggerHost();
    std::string strText;
    if (GetLogLevel() >= 7 && pHost != NULL &&
        pHost->DisassembleShader(dest.GetStream(), dest.GetTokensWritten() * sizeof(unsigned int),
                                 strText))
    {
        SDU_Log(7, "%s", strText.c_str());
    }
}

bool CShaderDebuggerShaderIL::CreateCBDumpShader(void** ppPatchedKernel, size_t* pSize)
{
    SDU_Assert(GetHost(), pSize != NULL);
    SDU_Assert(GetHost(), ppPatchedKernel != NULL);
    if (pSize == NULL || ppPatchedKernel == NULL)
    {
        return false;
    }
    ShaderCode code;
    if (!ReadShaderCode(m_pShaderData, m_nShaderDataSize, code))
    {
        return false;
    }
    std::string strKernelName = "main";
    uint32_t nKernelLabel = 0;
    uint32_t nInnerLabel = 0;
    if (code.bElf)
    {
        CShaderDebuggerHost* pHost = GetDebuggerHost();
        strKernelName = pHost != NULL ? pHost->GetShaderName(GetShaderType()) : std::string();
        std::string strMetadata;
        if (!XAN_ElfUtils::ExtractMetadataFromElf(code.vImage, strKernelName, strMetadata))
        {
            SDU_Log(3, "Failed to get metadata from ELF\n");
            return false;
        }
        CCLMetadata metadata;
        if (!metadata.Parse(strMetadata))
        {
            return false;
        }
        nKernelLabel = metadata.GetUniqueId();
        nInnerLabel = metadata.GetFunctionId();
    }

    CInputTokenStream<unsigned int> src(this, code.vTokens.data(), code.vTokens.size());
    COutputTokenStream<unsigned int> dest(this, code.vTokens.size());
    if (!PatchCBDumpIL(src, dest, strKernelName, nKernelLabel, nInnerLabel))
    {
        SDU_Log(3, "Failed to patch IL\n");
        return false;
    }

    std::vector<char> vOutput;
    if (code.bElf)
    {
        std::string strMetadata;
        if (!WrapPatchedTokens(code.vImage, dest, strKernelName, 0, vOutput, strMetadata))
        {
            return false;
        }
        std::ofstream file(CB_DUMP_FILE, std::ios::binary | std::ios::trunc);
        file.write(vOutput.data(), static_cast<std::streamsize>(vOutput.size()));
        if (GetLogLevel() >= 7)
        {
            SDU_Log(7, "%s", strMetadata.c_str());
        }
    }
    else
    {
        const char* pTokens = reinterpret_cast<const char*>(dest.GetStream());
        vOutput.assign(pTokens, pTokens + dest.GetTokensWritten() * sizeof(unsigned int));
    }

    void* pCopy = CopyToMalloc(vOutput.data(), vOutput.size());
    if (pCopy == NULL)
    {
        const std::string strError = "Out of memory.";
        m_Info.strError[0] = strError;
        SDU_Log(3, "%s\n", strError.c_str());
        if (GetDebuggerHost() != NULL)
        {
            GetDebuggerHost()->SetLastError(strError);
        }
        return false;
    }
    *ppPatchedKernel = pCopy;
    *pSize = vOutput.size();
    LogTokens(dest);
    return true;
}

bool CShaderDebuggerShaderIL::PatchCBDumpIL(ILInput& src, ILOutput& dest,
                                            const std::string& strKernelName, uint32_t nKernelLabel,
                                            uint32_t nInnerLabel)
{
    if (!CopyProgramHeader(src, dest))
    {
        return false;
    }
    const std::string strKernelComment = "__OpenCL_" + strKernelName + "_kernel";
    if (!(WriteDebuggerDeclarations(dest, false, ProgramCounter(0)) &&
          dest.WriteToken(IL_OP_CALL) && dest.WriteToken(nKernelLabel) &&
          dest.WriteToken(IL_OP_ENDMAIN) && dest.WriteToken(IL_OP_FUNC) &&
          dest.WriteToken(nKernelLabel) && WriteComment(dest, strKernelComment)))
    {
        return false;
    }
    // A kernel without declarations of its own is no failure.
    PatchFunctionDeclarations(dest, nKernelLabel);
    return dest.WriteToken(IL_OP_DCL_MAX_THREAD_PER_GROUP) &&
           dest.WriteToken(DUMP_THREADS_PER_GROUP) &&
           (XAN_ElfUtils::IsQuvILConverterInUse() ||
            dest.WriteToken(IL_OP_DCL_WAVESIZE | (DUMP_WAVE_SIZE << IL_CONTROL_SHIFT))) &&
           WriteCBDumpBody(dest) && dest.WriteToken(IL_OP_CALL) && dest.WriteToken(nInnerLabel) &&
           dest.WriteToken(IL_OP_RET) && dest.WriteToken(IL_OP_ENDFUNC) &&
           WriteComment(dest, strKernelComment) && dest.WriteToken(IL_OP_FUNC) &&
           dest.WriteToken(nInnerLabel) && WriteComment(dest, strKernelName) &&
           dest.WriteToken(IL_OP_RET) && dest.WriteToken(IL_OP_ENDFUNC) &&
           WriteComment(dest, strKernelName) && dest.WriteToken(IL_OP_END);
}
} // namespace XAN_ShaderDebugger
