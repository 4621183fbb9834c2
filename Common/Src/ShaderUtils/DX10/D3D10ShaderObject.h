#ifndef D3D10_SHADER_OBJECT_H
#define D3D10_SHADER_OBJECT_H

#include "ShaderUtils/DX10/D3D10ShaderDebugData.h"
#include "ShaderUtils/DataBlob.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace D3D10ShaderObject
{
// The chunks a shader container may hold, in the order of their selection bits (SHDR and SHEX
// share one bit).
enum ChunkKind : uint32_t
{
    CK_RDEF,
    CK_ISGN,
    CK_OSGN,
    CK_SHDR,
    CK_SHEX,
    CK_STAT,
    CK_SDBG,
    CK_Aon9,
    CK_SFI0,
    CK_IFCE,
    CK_PCSG,
    CK_OSG5,
    CK_Count
};

// The selection bit of a chunk kind in CreateBlob's mask.
uint32_t GetChunkMask(ChunkKind kind);
// The four characters of a kind as the container's little-endian word.
uint32_t GetChunkFourCC(ChunkKind kind);

// The owner of one heap copy of a whole chunk, header included.
class CShaderChunk
{
public:
    CShaderChunk() : m_pData(NULL) {}
    virtual ~CShaderChunk();
    CShaderChunk(const CShaderChunk&) = delete;
    CShaderChunk& operator=(const CShaderChunk&) = delete;

    // Copies the chunk at pChunk, which must hold its header's size plus 8 bytes.
    bool Copy(const void* pChunk);
    const uint8_t* GetData() const { return m_pData; }
    uint32_t GetType() const;
    // Bytes with the header.
    uint32_t GetSize() const;
    const uint8_t* GetBody() const { return m_pData + 8; }
    uint32_t GetBodySize() const;

private:
    uint8_t* m_pData;
};

struct RDEFBinding
{
    uint32_t nNameID;
    uint32_t nType;
    uint32_t nReturnType;
    uint32_t nDimension;
    uint32_t nSampleCount;
    uint32_t nBindPoint;
    uint32_t nBindCount;
    uint32_t nFlags;
};

struct RDEFConstantBuffer
{
    uint32_t nNameID;
    uint32_t nVariableCount;
    uint32_t nVariableOffset;
    uint32_t nSize;
    uint32_t nFlags;
    uint32_t nType;
};

struct RDEFVariable
{
    uint32_t nNameID;
    uint32_t nStartOffset;
    uint32_t nSize;
    uint32_t nFlags;
    uint32_t nTypeOffset;
    uint32_t nDefaultValueOffset;
};

// A type as read: its 16 or 36 bytes, whose name offset gives way to nNameID.
struct RDEFType
{
    uint8_t bytes[36];
    uint32_t nNameID;
};

// Type descriptions are 36 bytes from this version's low word on, 16 below it; it also marks the
// 60-byte header and the long variable form.
const uint32_t RDEF_LONG_VERSION = 0x500;
const uint32_t RDEF_SHORT_HEADER_SIZE = 28;
const uint32_t RDEF_LONG_HEADER_SIZE = 60;

struct RDEFData
{
    uint32_t nConstantBufferCount = 0;
    uint32_t nVersion = 0;
    uint32_t nFlags = 0;
    uint32_t nVariableCount = 0;
    uint32_t nTextureCount = 0;
    uint32_t nSamplerCount = 0;
    std::string strCreator;
    std::vector<RDEFBinding> vBindings;
    std::vector<RDEFConstantBuffer> vConstantBuffers;
    std::vector<RDEFVariable> vVariables;
    std::map<uint32_t, std::string> mapNames;
    std::map<uint32_t, RDEFType> mapTypes;
    // Words 7 to 14 of the 60-byte header, kept as they stand; empty with the short header.
    std::vector<uint32_t> vExtendedHeader;

    bool IsLong() const { return (nVersion & 0xFFFF) >= RDEF_LONG_VERSION; }
    // The id of a name, added to the pool if new; 0 stands for no name.
    uint32_t AddName(const std::string& strName);
    const std::string& GetName(uint32_t nNameID) const;
};

// One 24-byte signature entry; the name offset is the one read, rewritten by a rebuild.
struct SignatureEntry
{
    uint32_t nSemanticNameOffset;
    uint32_t nSemanticIndex;
    uint32_t nSystemValue;
    uint32_t nComponentType;
    uint32_t nRegister;
    uint8_t nMask;
    uint8_t nReadWriteMask;
    uint8_t nStream;
    uint8_t nMinPrecision;
};

// The system value of a render target output.
const uint32_t SV_TARGET = 64;

struct SignatureData
{
    uint32_t nEntryCount = 0;
    uint32_t nDword = 8;
    std::vector<std::string> vNames;
    std::vector<SignatureEntry> vEntries;
    // Entries of system value SV_TARGET; counted for the output side only.
    uint32_t nRenderTargetCount = 0;
};

struct IndexableTemp
{
    uint32_t nRegister;
    uint32_t nSize;
    uint32_t nComponentCount;
};

// Raw group shared memory has stride 0 and its byte size as count.
struct GroupSharedMemory
{
    uint32_t nID;
    uint32_t nStride;
    uint32_t nCount;
};

struct DeclarationData
{
    uint32_t nVersion = 0;
    uint32_t nImmediateConstantCount = 0;
    uint32_t nIndexableTempCount = 0;
    std::vector<IndexableTemp> vIndexableTemps;
    uint32_t nThreadGroup[3] = {0, 0, 0};
    uint32_t nGroupSharedMemoryCount = 0;
    std::vector<GroupSharedMemory> vGroupSharedMemory;
};

// A compiled shader container taken apart into private copies of its chunks, with the chunks the
// debugger needs parsed; chunks can be replaced, resources and signature entries added, and a new
// container made with a correct hash.
class CShaderObject
{
public:
    CShaderObject();
    CShaderObject(const void* pShaderData, size_t nShaderDataSize);
    explicit CShaderObject(IBlob* pShaderBlob);
    CShaderObject(const CShaderObject& other);
    CShaderObject& operator=(const CShaderObject& other);
    ~CShaderObject();

    // Drops the earlier state and loads a container; false for a header, offset table or chunk
    // past the data, for a chunk that doesn't parse, or when the result isn't valid.
    bool SetShaderData(const void* pShaderData, size_t nShaderDataSize);
    bool IsValid() const;
    // A new container of the chunks selected by nChunkMask, hashed; null when invalid.
    IBlob* CreateBlob(uint32_t nChunkMask) const;

    // Replaces a chunk (null removes it) and parses it; SHDR and SHEX replace each other.
    bool SetChunk(ChunkKind kind, const void* pChunk);
    const uint8_t* GetChunk(ChunkKind kind) const;
    uint32_t GetChunkSize(ChunkKind kind) const;
    // Whichever of SHDR and SHEX is there; the setter ignores a chunk of another type.
    const uint8_t* GetShaderChunk() const;
    uint32_t GetShaderChunkSize() const;
    bool SetShaderChunk(const void* pChunk);

    const std::string& GetHash() const { return m_strHash; }
    RDEFData& GetRDEF() { return m_RDEF; }
    const RDEFData& GetRDEF() const { return m_RDEF; }
    SignatureData& GetInputSignature() { return m_InputSignature; }
    const SignatureData& GetInputSignature() const { return m_InputSignature; }
    SignatureData& GetOutputSignature() { return m_OutputSignature; }
    const SignatureData& GetOutputSignature() const { return m_OutputSignature; }
    const DeclarationData& GetDeclarations() const { return m_Declarations; }
    // The STAT chunk's data, without its header; null without one.
    const uint8_t* GetSTATData() const { return m_pSTATData; }
    // The SDBG chunk's tables; not present without the chunk or when it doesn't parse.
    const CShaderDebugData& GetDebugData() const { return m_DebugData; }
    const std::string& GetSourceText() const { return m_DebugData.GetSourceText(); }

    // The texture bound at a slot: its return type (1 without one) and dimension (0 without).
    uint32_t GetTextureReturnType(uint32_t nSlot) const;
    uint32_t GetTextureDimension(uint32_t nSlot) const;
    // The first of slots 0-7 from dwMaxRenderTarget on that no render target and no UAV uses.
    bool FindFreeOutputSlot(uint32_t& dwMaxRenderTarget) const;
    // A byte-address UAV binding at nBindPoint.
    bool AddBufferBinding(uint32_t nBindPoint, const char* pName);
    bool AddInputSignature(const char* pSemanticName, const SignatureEntry& entry);
    bool AddOutputSignature(const char* pSemanticName, const SignatureEntry& entry);

    // Write the parsed data back into new chunks.
    bool RebuildISGN();
    bool RebuildOSGN();
    bool RebuildRDEF();

private:
    void Reset();
    // Hands every chunk of a container to its setter; false for anything past the data.
    bool Load(const void* pShaderData, size_t nShaderDataSize);
    bool Parse(ChunkKind kind);
    bool ParseRDEF(const CShaderChunk& chunk);
    bool ParseSignature(const CShaderChunk& chunk, SignatureData& data, bool bOutput);
    bool ParseDeclarations(const CShaderChunk& chunk, bool bExtended);
    bool RebuildSignature(ChunkKind kind, const SignatureData& data);
    static bool AddSignature(SignatureData& data, const char* pSemanticName,
                             const SignatureEntry& entry);
    const RDEFBinding* FindTexture(uint32_t nSlot) const;
    // Takes over a chunk written in memory from malloc.
    bool ReplaceChunk(ChunkKind kind, uint8_t* pData);

    std::string m_strHash;
    std::unique_ptr<CShaderChunk> m_pChunks[CK_Count];
    RDEFData m_RDEF;
    SignatureData m_InputSignature;
    SignatureData m_OutputSignature;
    DeclarationData m_Declarations;
    const uint8_t* m_pSTATData;
    CShaderDebugData m_DebugData;
};
} // namespace D3D10ShaderObject

#endif
