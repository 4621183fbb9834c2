#include "ShaderUtils/DX10/D3D10ShaderObject.h"

#include "ConsistencyAssert.h"
#include "DebugOutput.h"
#include "ShaderUtils/KVR_MemoryBuffer.h"
#include "ShaderUtils/SeededMD5.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace D3D10ShaderObject
{
namespace
{
const uint32_t HEADER_SIZE = 32;
const uint32_t CHUNK_HEADER_SIZE = 8;
const uint32_t BINDING_SIZE = 32;
const uint32_t CONSTANT_BUFFER_SIZE = 24;
const uint32_t SHORT_VARIABLE_SIZE = 24;
const uint32_t LONG_VARIABLE_SIZE = 40;
const uint32_t SHORT_TYPE_SIZE = 16;
const uint32_t LONG_TYPE_SIZE = 36;
const uint32_t TYPE_MEMBER_OFFSET = 12;
const uint32_t TYPE_NAME_OFFSET = 32;
const uint32_t SIGNATURE_ENTRY_SIZE = 24;
const uint8_t PADDING = 0xAB;
const uint32_t LONG_VARIABLE_RESERVED[4] = {0xFFFFFFFF, 0, 0xFFFFFFFF, 0};

const uint32_t BINDING_TEXTURE_BUFFER = 1;
const uint32_t BINDING_TEXTURE = 2;
const uint32_t BINDING_SAMPLER = 3;
const uint32_t BINDING_UAV_BYTE_ADDRESS = 8;

const uint32_t OPCODE_CUSTOMDATA = 53;
const uint32_t OPCODE_DCL_INDEXABLE_TEMP = 105;
const uint32_t OPCODE_DCL_THREAD_GROUP = 155;
const uint32_t OPCODE_DCL_TGSM_RAW = 159;
const uint32_t OPCODE_DCL_TGSM_STRUCTURED = 160;
const uint32_t CUSTOMDATA_IMMEDIATE_CONSTANTS = 3;

const uint32_t MAX_OUTPUT_SLOTS = 8;

const char g_ChunkNames[CK_Count][5] = {"RDEF", "ISGN", "OSGN", "SHDR", "SHEX", "STAT",
                                        "SDBG", "Aon9", "SFI0", "IFCE", "PCSG", "OSG5"};
const uint32_t g_nChunkMasks[CK_Count] = {0x1,  0x2,  0x4,  0x8,   0x8,   0x10,
                                          0x20, 0x40, 0x80, 0x100, 0x200, 0x400};
// The order of the chunks in a new container.
const ChunkKind g_BlobOrder[] = {CK_Aon9, CK_RDEF, CK_ISGN, CK_OSGN, CK_SHDR, CK_SHEX,
                                 CK_STAT, CK_SDBG, CK_SFI0, CK_IFCE, CK_PCSG, CK_OSG5};

uint32_t ReadWord(const uint8_t* p)
{
    uint32_t n;
    std::memcpy(&n, p, sizeof(n));
    return n;
}

bool FindChunkKind(uint32_t nFourCC, ChunkKind& kind)
{
    for (uint32_t i = 0; i < CK_Count; ++i)
    {
        if (GetChunkFourCC(ChunkKind(i)) == nFourCC)
        {
            kind = ChunkKind(i);
            return true;
        }
    }
    return false;
}

void ReportBounds(const char* pFunction, const std::string& strWhat)
{
    SDU_ReportConsistencyAssert(pFunction, (strWhat + " lies within the data").c_str());
}

// Reads one chunk's data, refusing anything that lies past it with a diagnostic naming the chunk
// and the field.
class CChunkReader
{
public:
    CChunkReader(const CShaderChunk& chunk, const char* pFunction)
        : m_pBody(chunk.GetBody()), m_nSize(chunk.GetBodySize()), m_pFunction(pFunction)
    {
        const uint32_t nType = chunk.GetType();
        m_strChunk.assign(reinterpret_cast<const char*>(&nType), 4);
    }

    uint32_t GetSize() const { return m_nSize; }

    bool Range(uint64_t nOffset, uint64_t nBytes, const char* pField) const
    {
        if (nOffset > m_nSize || nBytes > m_nSize - nOffset)
        {
            Report(pField);
            return false;
        }
        return true;
    }

    void Report(const std::string& strField) const
    {
        ReportBounds(m_pFunction, m_strChunk + " " + strField);
    }

    bool Word(uint64_t nOffset, uint32_t& n, const char* pField) const
    {
        if (!Range(nOffset, 4, pField))
        {
            return false;
        }
        n = ReadWord(m_pBody + nOffset);
        return true;
    }

    bool Words(uint64_t nOffset, void* pWords, uint32_t nCount, const char* pField) const
    {
        if (!Range(nOffset, uint64_t(nCount) * 4, pField))
        {
            return false;
        }
        std::memcpy(pWords, m_pBody + nOffset, size_t(nCount) * 4);
        return true;
    }

    // A NUL-terminated string; offset 0 stands for an empty name.
    bool String(uint32_t nOffset, std::string& str, const char* pField) const
    {
        str.clear();
        if (nOffset == 0)
        {
            return true;
        }
        if (!Range(nOffset, 1, pField))
        {
            return false;
        }
        const void* pEnd = std::memchr(m_pBody + nOffset, 0, m_nSize - nOffset);
        if (pEnd == NULL)
        {
            Report(std::string(pField) + " terminator");
            return false;
        }
        str.assign(reinterpret_cast<const char*>(m_pBody + nOffset),
                   static_cast<const uint8_t*>(pEnd) - (m_pBody + nOffset));
        return true;
    }

private:
    const uint8_t* m_pBody;
    uint32_t m_nSize;
    const char* m_pFunction;
    std::string m_strChunk;
};

// Writes a new chunk: its header, words, and names stored once each after the entries that
// refer to them, which are patched when the names are placed.
class CChunkWriter
{
public:
    explicit CChunkWriter(ChunkKind kind)
    {
        m_Buffer.WriteDword(GetChunkFourCC(kind));
        m_Buffer.WriteDword(0);
    }
    ~CChunkWriter() { std::free(m_Buffer.GetData()); }
    CChunkWriter(const CChunkWriter&) = delete;
    CChunkWriter& operator=(const CChunkWriter&) = delete;

    // Offsets count from the start of the chunk's data.
    uint32_t GetOffset() const { return uint32_t(m_Buffer.GetPosition() - CHUNK_HEADER_SIZE); }
    void Word(uint32_t n) { m_bComplete &= m_Buffer.WriteDword(n) == 4; }
    void Bytes(const void* p, size_t n) { m_bComplete &= m_Buffer.Write(p, n) == n; }
    void PatchWord(uint32_t nOffset, uint32_t n)
    {
        m_bComplete &= m_Buffer.WriteDwordAt(nOffset + CHUNK_HEADER_SIZE, n) == 4;
    }
    void Align() { m_Buffer.Align4(PADDING); }
    // A word that will hold the offset of a name; an empty name stays 0.
    void NameReference(const std::string& strName)
    {
        if (!strName.empty())
        {
            m_vPending.emplace_back(strName, GetOffset());
        }
        Word(0);
    }
    // Places the names referred to since the last call, and patches their references.
    void FlushNames()
    {
        for (const auto& pending : m_vPending)
        {
            auto it = m_mapPlaced.find(pending.first);
            if (it == m_mapPlaced.end())
            {
                it = m_mapPlaced.emplace(pending.first, GetOffset()).first;
                Bytes(pending.first.c_str(), pending.first.size() + 1);
            }
            PatchWord(pending.second, it->second);
        }
        m_vPending.clear();
    }
    // Ends the chunk: names placed, padding, the size patched. Gives the memory from malloc,
    // or null if some write fell short.
    uint8_t* Finish()
    {
        FlushNames();
        Align();
        m_bComplete &= m_Buffer.WriteDwordAt(4, uint32_t(m_Buffer.GetPosition() - 8)) == 4;
        if (!m_bComplete)
        {
            return NULL;
        }
        uint8_t* pData = m_Buffer.GetData();
        m_Buffer = KVR_Memory::KVR_MemoryBuffer();
        return pData;
    }

private:
    KVR_Memory::KVR_MemoryBuffer m_Buffer;
    bool m_bComplete = true;
    std::vector<std::pair<std::string, uint32_t>> m_vPending;
    std::map<std::string, uint32_t> m_mapPlaced;
};
} // namespace

uint32_t GetChunkMask(ChunkKind kind)
{
    return g_nChunkMasks[kind];
}

uint32_t GetChunkFourCC(ChunkKind kind)
{
    return ReadWord(reinterpret_cast<const uint8_t*>(g_ChunkNames[kind]));
}

CShaderChunk::~CShaderChunk()
{
    std::free(m_pData);
}

bool CShaderChunk::Copy(const void* pChunk)
{
    std::free(m_pData);
    const uint64_t nSize = uint64_t(ReadWord(static_cast<const uint8_t*>(pChunk) + 4)) + 8;
    m_pData = static_cast<uint8_t*>(std::malloc(nSize));
    if (m_pData != NULL)
    {
        std::memcpy(m_pData, pChunk, nSize);
    }
    return m_pData != NULL;
}

uint32_t CShaderChunk::GetType() const
{
    return ReadWord(m_pData);
}

uint32_t CShaderChunk::GetSize() const
{
    return GetBodySize() + CHUNK_HEADER_SIZE;
}

uint32_t CShaderChunk::GetBodySize() const
{
    return ReadWord(m_pData + 4);
}

uint32_t RDEFData::AddName(const std::string& strName)
{
    for (const auto& entry : mapNames)
    {
        if (entry.second == strName)
        {
            return entry.first;
        }
    }
    const uint32_t nNameID = mapNames.empty() ? 1 : mapNames.rbegin()->first + 1;
    mapNames[nNameID] = strName;
    return nNameID;
}

const std::string& RDEFData::GetName(uint32_t nNameID) const
{
    static const std::string strNone;
    const auto it = mapNames.find(nNameID);
    return it == mapNames.end() ? strNone : it->second;
}

CShaderObject::CShaderObject() : m_pSTATData(NULL) {}

CShaderObject::CShaderObject(const void* pShaderData, size_t nShaderDataSize) : m_pSTATData(NULL)
{
    SetShaderData(pShaderData, nShaderDataSize);
}

CShaderObject::CShaderObject(IBlob* pShaderBlob) : m_pSTATData(NULL)
{
    SDU_ConsistencyAssert(pShaderBlob);
    if (pShaderBlob != NULL)
    {
        SetShaderData(pShaderBlob->GetData(), pShaderBlob->GetSize());
    }
}

CShaderObject::CShaderObject(const CShaderObject& other) : m_pSTATData(NULL)
{
    *this = other;
}

CShaderObject& CShaderObject::operator=(const CShaderObject& other)
{
    if (this != &other)
    {
        Reset();
        m_strHash = other.m_strHash;
        for (uint32_t i = 0; i < CK_Count; ++i)
        {
            if (other.m_pChunks[i])
            {
                SetChunk(ChunkKind(i), other.m_pChunks[i]->GetData());
            }
        }
    }
    return *this;
}

CShaderObject::~CShaderObject() {}

void CShaderObject::Reset()
{
    m_strHash.clear();
    for (auto& pChunk : m_pChunks)
    {
        pChunk.reset();
    }
    m_RDEF = RDEFData();
    m_InputSignature = SignatureData();
    m_OutputSignature = SignatureData();
    m_Declarations = DeclarationData();
    m_pSTATData = NULL;
    m_DebugData.Reset();
}

bool CShaderObject::SetShaderData(const void* pShaderData, size_t nShaderDataSize)
{
    Reset();
    if (!Load(pShaderData, nShaderDataSize))
    {
        // A refused container leaves nothing half loaded.
        Reset();
        return false;
    }
    return IsValid();
}

bool CShaderObject::Load(const void* pShaderData, size_t nShaderDataSize)
{
    SDU_ConsistencyAssert(pShaderData != NULL);
    SDU_ConsistencyAssert(nShaderDataSize != 0);
    if (pShaderData == NULL || nShaderDataSize == 0)
    {
        return false;
    }
    const uint8_t* pData = static_cast<const uint8_t*>(pShaderData);
    if (nShaderDataSize < HEADER_SIZE)
    {
        ReportBounds(__func__, "DXBC header");
        return false;
    }
    char hash[33];
    std::snprintf(hash, sizeof(hash), "%08x%08x%08x%08x", ReadWord(pData + 4), ReadWord(pData + 8),
                  ReadWord(pData + 12), ReadWord(pData + 16));
    m_strHash = hash;
    const uint32_t nChunkCount = ReadWord(pData + 28);
    if (uint64_t(nChunkCount) * 4 > nShaderDataSize - HEADER_SIZE)
    {
        ReportBounds(__func__, "DXBC chunk count");
        return false;
    }
    for (uint32_t i = 0; i < nChunkCount; ++i)
    {
        const uint64_t nOffset = ReadWord(pData + HEADER_SIZE + 4 * i);
        if (nOffset > nShaderDataSize || nShaderDataSize - nOffset < CHUNK_HEADER_SIZE)
        {
            ReportBounds(__func__, "DXBC chunk offset");
            return false;
        }
        const uint8_t* pChunk = pData + nOffset;
        const uint32_t nType = ReadWord(pChunk);
        const std::string strType(reinterpret_cast<const char*>(pChunk), 4);
        if (ReadWord(pChunk + 4) > nShaderDataSize - nOffset - CHUNK_HEADER_SIZE)
        {
            ReportBounds(__func__, strType + " chunk size");
            return false;
        }
        ChunkKind kind;
        if (!FindChunkKind(nType, kind))
        {
            DebugOutput(("Unknown ChunkType - " + strType + "\n").c_str());
            continue;
        }
        if (!SetChunk(kind, pChunk))
        {
            return false;
        }
    }
    return true;
}

bool CShaderObject::IsValid() const
{
    return m_pChunks[CK_ISGN] && (m_pChunks[CK_SHDR] || m_pChunks[CK_SHEX]);
}

bool CShaderObject::SetChunk(ChunkKind kind, const void* pChunk)
{
    if (kind >= CK_Count)
    {
        return false;
    }
    if (kind == CK_SHDR || kind == CK_SHEX)
    {
        m_pChunks[CK_SHDR].reset();
        m_pChunks[CK_SHEX].reset();
    }
    m_pChunks[kind].reset();
    if (pChunk != NULL)
    {
        std::unique_ptr<CShaderChunk> pNewChunk(new (std::nothrow) CShaderChunk());
        if (!pNewChunk || !pNewChunk->Copy(pChunk))
        {
            SDU_ReportConsistencyAssert(__func__, "pNewChunk != NULL");
            Parse(kind);
            return false;
        }
        m_pChunks[kind] = std::move(pNewChunk);
    }
    if (!Parse(kind))
    {
        // What doesn't parse isn't kept, so that parsed data and chunks always agree.
        m_pChunks[kind].reset();
        Parse(kind);
        return false;
    }
    return true;
}

const uint8_t* CShaderObject::GetChunk(ChunkKind kind) const
{
    return kind < CK_Count && m_pChunks[kind] ? m_pChunks[kind]->GetData() : NULL;
}

uint32_t CShaderObject::GetChunkSize(ChunkKind kind) const
{
    return kind < CK_Count && m_pChunks[kind] ? m_pChunks[kind]->GetSize() : 0;
}

const uint8_t* CShaderObject::GetShaderChunk() const
{
    return m_pChunks[CK_SHEX] ? GetChunk(CK_SHEX) : GetChunk(CK_SHDR);
}

uint32_t CShaderObject::GetShaderChunkSize() const
{
    return m_pChunks[CK_SHEX] ? GetChunkSize(CK_SHEX) : GetChunkSize(CK_SHDR);
}

bool CShaderObject::SetShaderChunk(const void* pChunk)
{
    ChunkKind kind;
    if (pChunk == NULL || !FindChunkKind(ReadWord(static_cast<const uint8_t*>(pChunk)), kind) ||
        (kind != CK_SHDR && kind != CK_SHEX))
    {
        return false;
    }
    return SetChunk(kind, pChunk);
}

bool CShaderObject::Parse(ChunkKind kind)
{
    const CShaderChunk* pChunk = m_pChunks[kind].get();
    switch (kind)
    {
    case CK_RDEF:
        m_RDEF = RDEFData();
        return pChunk == NULL || ParseRDEF(*pChunk);
    case CK_ISGN:
        m_InputSignature = SignatureData();
        return pChunk == NULL || ParseSignature(*pChunk, m_InputSignature, false);
    case CK_OSGN:
        m_OutputSignature = SignatureData();
        return pChunk == NULL || ParseSignature(*pChunk, m_OutputSignature, true);
    case CK_SHDR:
    case CK_SHEX:
        m_Declarations = DeclarationData();
        return pChunk == NULL || ParseDeclarations(*pChunk, kind == CK_SHEX);
    case CK_STAT:
        m_pSTATData = pChunk != NULL ? pChunk->GetBody() : NULL;
        return true;
    case CK_SDBG:
        // Debug data that doesn't parse only takes source-level debugging away.
        m_DebugData.Reset();
        if (pChunk != NULL)
        {
            m_DebugData.Parse(pChunk->GetBody(), pChunk->GetBodySize());
        }
        return true;
    default:
        return true;
    }
}

bool CShaderObject::ParseRDEF(const CShaderChunk& chunk)
{
    const CChunkReader reader(chunk, __func__);
    uint32_t header[7];
    if (!reader.Words(0, header, 7, "header"))
    {
        return false;
    }
    RDEFData& data = m_RDEF;
    data.nConstantBufferCount = header[0];
    const uint32_t nConstantBufferOffset = header[1];
    const uint32_t nBindingCount = header[2];
    const uint32_t nBindingOffset = header[3];
    data.nVersion = header[4];
    data.nFlags = header[5];
    if (data.IsLong())
    {
        const uint32_t nExtraWords = (RDEF_LONG_HEADER_SIZE - RDEF_SHORT_HEADER_SIZE) / 4;
        data.vExtendedHeader.resize(nExtraWords);
        if (!reader.Words(RDEF_SHORT_HEADER_SIZE, data.vExtendedHeader.data(), nExtraWords,
                          "long header"))
        {
            return false;
        }
    }
    std::string strName;
    if (!reader.String(header[6], data.strCreator, "creator offset") ||
        !reader.Range(nBindingOffset, uint64_t(nBindingCount) * BINDING_SIZE, "binding offset") ||
        !reader.Range(nConstantBufferOffset,
                      uint64_t(data.nConstantBufferCount) * CONSTANT_BUFFER_SIZE,
                      "constant buffer offset"))
    {
        return false;
    }
    for (uint32_t i = 0; i < nBindingCount; ++i)
    {
        RDEFBinding binding;
        static_assert(sizeof(binding) == BINDING_SIZE, "a binding is read as it lies");
        reader.Words(nBindingOffset + uint64_t(i) * BINDING_SIZE, &binding, 8, "binding");
        if (!reader.String(binding.nNameID, strName, "binding name offset"))
        {
            return false;
        }
        binding.nNameID = data.AddName(strName);
        data.nTextureCount +=
            binding.nType == BINDING_TEXTURE_BUFFER || binding.nType == BINDING_TEXTURE;
        data.nSamplerCount += binding.nType == BINDING_SAMPLER;
        data.vBindings.push_back(binding);
    }
    const uint32_t nVariableSize = data.IsLong() ? LONG_VARIABLE_SIZE : SHORT_VARIABLE_SIZE;
    const uint32_t nTypeSize = data.IsLong() ? LONG_TYPE_SIZE : SHORT_TYPE_SIZE;
    for (uint32_t i = 0; i < data.nConstantBufferCount; ++i)
    {
        RDEFConstantBuffer buffer;
        reader.Words(nConstantBufferOffset + uint64_t(i) * CONSTANT_BUFFER_SIZE, &buffer, 6,
                     "constant buffer");
        if (!reader.String(buffer.nNameID, strName, "constant buffer name offset") ||
            !reader.Range(buffer.nVariableOffset, uint64_t(buffer.nVariableCount) * nVariableSize,
                          "variable offset"))
        {
            return false;
        }
        buffer.nNameID = data.AddName(strName);
        data.nVariableCount += buffer.nVariableCount;
        // Buffers that share their variables would multiply them past the chunk's size.
        if (!reader.Range(0, uint64_t(data.nVariableCount) * nVariableSize, "variable count"))
        {
            return false;
        }
        data.vConstantBuffers.push_back(buffer);
        for (uint32_t j = 0; j < buffer.nVariableCount; ++j)
        {
            const uint64_t nOffset = buffer.nVariableOffset + uint64_t(j) * nVariableSize;
            RDEFVariable variable;
            reader.Words(nOffset, &variable, 6, "variable");
            uint32_t reserved[4];
            if (data.IsLong() &&
                reader.Words(nOffset + SHORT_VARIABLE_SIZE, reserved, 4,
                             "variable reserved words") &&
                std::memcmp(reserved, LONG_VARIABLE_RESERVED, sizeof(reserved)) != 0)
            {
                SDU_ReportConsistencyAssert(__func__, "RDEF variable reserved words are "
                                                      "0xFFFFFFFF, 0, 0xFFFFFFFF, 0");
            }
            if (!reader.String(variable.nNameID, strName, "variable name offset"))
            {
                return false;
            }
            variable.nNameID = data.AddName(strName);
            if (data.mapTypes.count(variable.nTypeOffset) == 0)
            {
                RDEFType type = {};
                if (!reader.Range(variable.nTypeOffset, nTypeSize, "variable type offset"))
                {
                    return false;
                }
                reader.Words(variable.nTypeOffset, type.bytes, nTypeSize / 4, "type");
                if (data.IsLong())
                {
                    if (!reader.String(ReadWord(type.bytes + TYPE_NAME_OFFSET), strName,
                                       "type name offset"))
                    {
                        return false;
                    }
                    type.nNameID = data.AddName(strName);
                }
                data.mapTypes[variable.nTypeOffset] = type;
            }
            data.vVariables.push_back(variable);
        }
    }
    return true;
}

bool CShaderObject::ParseSignature(const CShaderChunk& chunk, SignatureData& data, bool bOutput)
{
    const CChunkReader reader(chunk, __func__);
    if (!reader.Word(0, data.nEntryCount, "entry count") ||
        !reader.Word(4, data.nDword, "header") ||
        !reader.Range(8, uint64_t(data.nEntryCount) * SIGNATURE_ENTRY_SIZE, "entry count"))
    {
        return false;
    }
    for (uint32_t i = 0; i < data.nEntryCount; ++i)
    {
        SignatureEntry entry;
        static_assert(sizeof(entry) == SIGNATURE_ENTRY_SIZE, "the entry is read as it lies");
        reader.Words(8 + uint64_t(i) * SIGNATURE_ENTRY_SIZE, &entry, 6, "entry");
        std::string strName;
        if (!reader.String(entry.nSemanticNameOffset, strName, "semantic name offset"))
        {
            return false;
        }
        data.vNames.push_back(strName);
        data.vEntries.push_back(entry);
        data.nRenderTargetCount += bOutput && entry.nSystemValue == SV_TARGET;
    }
    return true;
}

bool CShaderObject::ParseDeclarations(const CShaderChunk& chunk, bool bExtended)
{
    const CChunkReader reader(chunk, __func__);
    DeclarationData& data = m_Declarations;
    if (!reader.Word(0, data.nVersion, "version token") || !reader.Range(4, 4, "length"))
    {
        return false;
    }
    const uint32_t nWords = reader.GetSize() / 4;
    uint32_t i = 2;
    while (i < nWords)
    {
        uint32_t nToken = 0;
        reader.Word(uint64_t(i) * 4, nToken, "instruction");
        const uint32_t nOpcode = nToken & 0x7FF;
        uint32_t nLength = (nToken >> 24) & 0x7F;
        if (nOpcode == OPCODE_CUSTOMDATA)
        {
            if (!reader.Word(uint64_t(i + 1) * 4, nLength, "custom data length"))
            {
                return false;
            }
            if (nLength < 2 || nLength > nWords - i)
            {
                reader.Report("custom data length");
                return false;
            }
            if ((nToken >> 11) == CUSTOMDATA_IMMEDIATE_CONSTANTS)
            {
                data.nImmediateConstantCount += (nLength - 2) / 4;
            }
            i += nLength;
            continue;
        }
        if (nLength == 0 || nLength > nWords - i)
        {
            reader.Report("instruction length");
            return false;
        }
        const uint8_t* pInstruction = chunk.GetBody() + uint64_t(i) * 4;
        if (nOpcode == OPCODE_DCL_INDEXABLE_TEMP && nLength == 4)
        {
            data.vIndexableTemps.push_back({ReadWord(pInstruction + 4), ReadWord(pInstruction + 8),
                                            ReadWord(pInstruction + 12)});
            ++data.nIndexableTempCount;
        }
        else if (bExtended && nOpcode == OPCODE_DCL_THREAD_GROUP && nLength == 4)
        {
            for (uint32_t j = 0; j < 3; ++j)
            {
                data.nThreadGroup[j] = ReadWord(pInstruction + 4 + 4 * j);
            }
        }
        else if (bExtended && nOpcode == OPCODE_DCL_TGSM_RAW && nLength == 4)
        {
            data.vGroupSharedMemory.push_back(
                {ReadWord(pInstruction + 8), 0, ReadWord(pInstruction + 12)});
            ++data.nGroupSharedMemoryCount;
        }
        else if (bExtended && nOpcode == OPCODE_DCL_TGSM_STRUCTURED && nLength == 5)
        {
            data.vGroupSharedMemory.push_back({ReadWord(pInstruction + 8),
                                               ReadWord(pInstruction + 12),
                                               ReadWord(pInstruction + 16)});
            ++data.nGroupSharedMemoryCount;
        }
        i += nLength;
    }
    return true;
}

IBlob* CShaderObject::CreateBlob(uint32_t nChunkMask) const
{
    SDU_ConsistencyAssert(IsValid());
    if (!IsValid())
    {
        return NULL;
    }
    uint32_t nCount = 0;
    uint64_t nSize = HEADER_SIZE;
    for (ChunkKind kind : g_BlobOrder)
    {
        if (m_pChunks[kind] && (nChunkMask & GetChunkMask(kind)) != 0)
        {
            ++nCount;
            nSize += 4 + uint64_t(m_pChunks[kind]->GetSize());
        }
    }
    IBlob* pBlob = nSize <= UINT32_MAX ? ::CreateBlob(nSize) : NULL;
    SDU_ConsistencyAssert(pBlob);
    if (pBlob == NULL)
    {
        return NULL;
    }
    uint8_t* pData = static_cast<uint8_t*>(pBlob->GetData());
    const uint32_t header[8] = {
        ReadWord(reinterpret_cast<const uint8_t*>("DXBC")), 0, 0, 0, 0, 1, uint32_t(nSize), nCount};
    std::memcpy(pData, header, sizeof(header));
    uint32_t nOffset = HEADER_SIZE + 4 * nCount;
    uint32_t nIndex = 0;
    for (ChunkKind kind : g_BlobOrder)
    {
        if (m_pChunks[kind] && (nChunkMask & GetChunkMask(kind)) != 0)
        {
            std::memcpy(pData + HEADER_SIZE + 4 * nIndex++, &nOffset, 4);
            std::memcpy(pData + nOffset, m_pChunks[kind]->GetData(), m_pChunks[kind]->GetSize());
            nOffset += m_pChunks[kind]->GetSize();
        }
    }
    uint8_t digest[16];
    ShaderUtils::ComputeContainerHash(pData + 20, uint32_t(nSize - 20), digest);
    std::memcpy(pData + 4, digest, sizeof(digest));
    return pBlob;
}

const RDEFBinding* CShaderObject::FindTexture(uint32_t nSlot) const
{
    for (const RDEFBinding& binding : m_RDEF.vBindings)
    {
        if (binding.nType == BINDING_TEXTURE && binding.nBindPoint == nSlot)
        {
            return &binding;
        }
    }
    return NULL;
}

uint32_t CShaderObject::GetTextureReturnType(uint32_t nSlot) const
{
    const RDEFBinding* pBinding = FindTexture(nSlot);
    return pBinding != NULL ? pBinding->nReturnType : 1;
}

uint32_t CShaderObject::GetTextureDimension(uint32_t nSlot) const
{
    const RDEFBinding* pBinding = FindTexture(nSlot);
    return pBinding != NULL ? pBinding->nDimension : 0;
}

bool CShaderObject::FindFreeOutputSlot(uint32_t& dwMaxRenderTarget) const
{
    bool bUsed[MAX_OUTPUT_SLOTS] = {};
    for (const SignatureEntry& entry : m_OutputSignature.vEntries)
    {
        if (entry.nRegister < MAX_OUTPUT_SLOTS)
        {
            bUsed[entry.nRegister] = true;
            dwMaxRenderTarget = std::max(dwMaxRenderTarget, entry.nRegister);
        }
    }
    for (const RDEFBinding& binding : m_RDEF.vBindings)
    {
        // Unordered access views: typed, structured, byte address, append, consume, counter.
        const bool bUAV = binding.nType == 4 || binding.nType == 6 || binding.nType >= 8;
        if (bUAV && binding.nBindPoint < MAX_OUTPUT_SLOTS)
        {
            bUsed[binding.nBindPoint] = true;
        }
    }
    for (uint32_t nSlot = dwMaxRenderTarget; nSlot < MAX_OUTPUT_SLOTS; ++nSlot)
    {
        if (!bUsed[nSlot])
        {
            dwMaxRenderTarget = nSlot;
            return true;
        }
    }
    return false;
}

bool CShaderObject::AddBufferBinding(uint32_t nBindPoint, const char* pName)
{
    if (pName == NULL)
    {
        return false;
    }
    RDEFBinding binding = {};
    binding.nNameID = m_RDEF.AddName(pName);
    binding.nType = BINDING_UAV_BYTE_ADDRESS;
    binding.nBindPoint = nBindPoint;
    binding.nBindCount = 1;
    m_RDEF.vBindings.push_back(binding);
    return true;
}

bool CShaderObject::AddInputSignature(const char* pSemanticName, const SignatureEntry& entry)
{
    return AddSignature(m_InputSignature, pSemanticName, entry);
}

bool CShaderObject::AddOutputSignature(const char* pSemanticName, const SignatureEntry& entry)
{
    const bool bAdded = AddSignature(m_OutputSignature, pSemanticName, entry);
    m_OutputSignature.nRenderTargetCount += bAdded && entry.nSystemValue == SV_TARGET;
    return bAdded;
}

bool CShaderObject::AddSignature(SignatureData& data, const char* pSemanticName,
                                 const SignatureEntry& entry)
{
    if (pSemanticName == NULL)
    {
        return false;
    }
    data.vNames.push_back(pSemanticName);
    data.vEntries.push_back(entry);
    ++data.nEntryCount;
    return true;
}

bool CShaderObject::RebuildISGN()
{
    return RebuildSignature(CK_ISGN, m_InputSignature);
}

bool CShaderObject::RebuildOSGN()
{
    return RebuildSignature(CK_OSGN, m_OutputSignature);
}

bool CShaderObject::RebuildSignature(ChunkKind kind, const SignatureData& data)
{
    if (data.vNames.size() != data.nEntryCount || data.vEntries.size() != data.nEntryCount)
    {
        SDU_ReportConsistencyAssert(__func__, "the names and entries hold the entry count");
        return false;
    }
    CChunkWriter writer(kind);
    writer.Word(data.nEntryCount);
    writer.Word(8);
    for (uint32_t i = 0; i < data.nEntryCount; ++i)
    {
        const SignatureEntry& entry = data.vEntries[i];
        writer.NameReference(data.vNames[i]);
        writer.Bytes(reinterpret_cast<const uint8_t*>(&entry) + 4, SIGNATURE_ENTRY_SIZE - 4);
    }
    return ReplaceChunk(kind, writer.Finish());
}

bool CShaderObject::RebuildRDEF()
{
    // The parsed data is rewritten from a copy, since replacing the chunk reparses it.
    const RDEFData data = m_RDEF;
    CChunkWriter writer(CK_RDEF);
    const uint32_t nHeaderSize = data.IsLong() ? RDEF_LONG_HEADER_SIZE : RDEF_SHORT_HEADER_SIZE;
    const uint32_t nConstantBufferCount = uint32_t(data.vConstantBuffers.size());
    const uint32_t nBindingCount = uint32_t(data.vBindings.size());
    writer.Word(nConstantBufferCount);
    writer.Word(0);
    writer.Word(nBindingCount);
    writer.Word(nBindingCount != 0 ? nHeaderSize : 0);
    writer.Word(data.nVersion);
    writer.Word(data.nFlags);
    writer.Word(0);
    if (data.IsLong())
    {
        std::vector<uint32_t> vExtendedHeader = data.vExtendedHeader;
        vExtendedHeader.resize((RDEF_LONG_HEADER_SIZE - RDEF_SHORT_HEADER_SIZE) / 4);
        writer.Bytes(vExtendedHeader.data(), vExtendedHeader.size() * 4);
    }
    for (const RDEFBinding& binding : data.vBindings)
    {
        writer.NameReference(data.GetName(binding.nNameID));
        writer.Bytes(reinterpret_cast<const uint8_t*>(&binding) + 4, BINDING_SIZE - 4);
    }
    writer.FlushNames();
    writer.Align();
    if (nConstantBufferCount != 0)
    {
        writer.PatchWord(4, writer.GetOffset());
    }
    const uint32_t nConstantBuffers = writer.GetOffset();
    for (const RDEFConstantBuffer& buffer : data.vConstantBuffers)
    {
        writer.NameReference(data.GetName(buffer.nNameID));
        writer.Bytes(reinterpret_cast<const uint8_t*>(&buffer) + 4, CONSTANT_BUFFER_SIZE - 4);
    }
    const uint32_t nTypeSize = data.IsLong() ? LONG_TYPE_SIZE : SHORT_TYPE_SIZE;
    std::map<uint32_t, uint32_t> mapTypeOffsets;
    size_t nVariable = 0;
    for (uint32_t i = 0; i < nConstantBufferCount; ++i)
    {
        const RDEFConstantBuffer& buffer = data.vConstantBuffers[i];
        const size_t nEnd = std::min(data.vVariables.size(), nVariable + buffer.nVariableCount);
        writer.Align();
        writer.PatchWord(nConstantBuffers + i * CONSTANT_BUFFER_SIZE + 4,
                         uint32_t(nEnd - nVariable));
        writer.PatchWord(nConstantBuffers + i * CONSTANT_BUFFER_SIZE + 8, writer.GetOffset());
        std::vector<std::pair<uint32_t, uint32_t>> vTypeReferences;
        for (size_t j = nVariable; j < nEnd; ++j)
        {
            const RDEFVariable& variable = data.vVariables[j];
            writer.NameReference(data.GetName(variable.nNameID));
            writer.Bytes(reinterpret_cast<const uint8_t*>(&variable) + 4, 12);
            vTypeReferences.emplace_back(writer.GetOffset(), variable.nTypeOffset);
            writer.Word(0);
            // Default values aren't carried over.
            writer.Word(0);
            if (data.IsLong())
            {
                writer.Bytes(LONG_VARIABLE_RESERVED, sizeof(LONG_VARIABLE_RESERVED));
            }
        }
        writer.FlushNames();
        for (const auto& reference : vTypeReferences)
        {
            const auto itType = data.mapTypes.find(reference.second);
            if (itType == data.mapTypes.end())
            {
                continue;
            }
            if (mapTypeOffsets.count(reference.second) == 0)
            {
                writer.Align();
                mapTypeOffsets[reference.second] = writer.GetOffset();
                RDEFType type = itType->second;
                // Member lists aren't rebuilt.
                std::memset(type.bytes + TYPE_MEMBER_OFFSET, 0, 4);
                if (data.IsLong())
                {
                    writer.Bytes(type.bytes, TYPE_NAME_OFFSET);
                    writer.NameReference(data.GetName(type.nNameID));
                    writer.FlushNames();
                }
                else
                {
                    writer.Bytes(type.bytes, nTypeSize);
                }
            }
            writer.PatchWord(reference.first, mapTypeOffsets[reference.second]);
        }
        nVariable = nEnd;
    }
    writer.Align();
    writer.PatchWord(24, writer.GetOffset());
    writer.Bytes(data.strCreator.c_str(), data.strCreator.size() + 1);
    return ReplaceChunk(CK_RDEF, writer.Finish());
}

bool CShaderObject::ReplaceChunk(ChunkKind kind, uint8_t* pData)
{
    if (pData == NULL)
    {
        SDU_ReportConsistencyAssert(__func__, "pNewChunk != NULL");
        return false;
    }
    const bool bResult = SetChunk(kind, pData);
    std::free(pData);
    return bResult;
}
} // namespace D3D10ShaderObject
