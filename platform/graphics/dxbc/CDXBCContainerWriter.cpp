#include "CDXBCContainerWriter.h"

#include <cmath>
#include <cstring>
#include <map>
#include <sstream>

namespace XAN_Platform
{
namespace
{
const uint32_t STAT_WORDS = 37;

void PutWord(std::vector<uint8_t>& v, uint32_t n)
{
    for (int i = 0; i < 4; ++i)
    {
        v.push_back(uint8_t(n >> (8 * i)));
    }
}

void SetWord(std::vector<uint8_t>& v, size_t nOffset, uint32_t n)
{
    for (int i = 0; i < 4; ++i)
    {
        v[nOffset + i] = uint8_t(n >> (8 * i));
    }
}

uint32_t FourCC(const char* p)
{
    return uint32_t(uint8_t(p[0])) | uint32_t(uint8_t(p[1])) << 8 | uint32_t(uint8_t(p[2])) << 16 |
           uint32_t(uint8_t(p[3])) << 24;
}

// A chunk: its four characters, its size, its data padded to whole words with 0xAB.
std::vector<uint8_t> MakeChunk(const char* pType, std::vector<uint8_t> vData)
{
    while (vData.size() % 4 != 0)
    {
        vData.push_back(0xAB);
    }
    std::vector<uint8_t> vChunk;
    PutWord(vChunk, FourCC(pType));
    PutWord(vChunk, uint32_t(vData.size()));
    vChunk.insert(vChunk.end(), vData.begin(), vData.end());
    return vChunk;
}

// Names placed behind the fixed part of a chunk, each once, in the order first asked for.
class CStringPool
{
public:
    explicit CStringPool(uint32_t nStart) : m_nNext(nStart) {}
    uint32_t Offset(const std::string& str)
    {
        const auto it = m_mapOffsets.find(str);
        if (it != m_mapOffsets.end())
        {
            return it->second;
        }
        m_mapOffsets[str] = m_nNext;
        m_vBytes.insert(m_vBytes.end(), str.begin(), str.end());
        m_vBytes.push_back(0);
        const uint32_t nOffset = m_nNext;
        m_nNext += uint32_t(str.size() + 1);
        return nOffset;
    }
    const std::vector<uint8_t>& Bytes() const { return m_vBytes; }

private:
    uint32_t m_nNext;
    std::map<std::string, uint32_t> m_mapOffsets;
    std::vector<uint8_t> m_vBytes;
};

// One MD5 compression of a 64-byte block, round by round.
void Compress(uint32_t (&h)[4], const uint8_t* p)
{
    uint32_t x[16];
    for (int i = 0; i < 16; ++i)
    {
        x[i] = uint32_t(p[4 * i]) | uint32_t(p[4 * i + 1]) << 8 | uint32_t(p[4 * i + 2]) << 16 |
               uint32_t(p[4 * i + 3]) << 24;
    }
    static const int s[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
    uint32_t v[4] = {h[0], h[1], h[2], h[3]};
    for (int i = 0; i < 64; ++i)
    {
        const int nRound = i / 16;
        const uint32_t b = v[1], c = v[2], d = v[3];
        uint32_t f;
        int k;
        switch (nRound)
        {
        case 0:
            f = d ^ (b & (c ^ d));
            k = i;
            break;
        case 1:
            f = c ^ (d & (b ^ c));
            k = (1 + 5 * i) % 16;
            break;
        case 2:
            f = b ^ c ^ d;
            k = (5 + 3 * i) % 16;
            break;
        default:
            f = c ^ (b | ~d);
            k = (7 * i) % 16;
            break;
        }
        // The constants are the integer parts of |sin(i + 1)| * 2^32.
        const uint32_t t = uint32_t(std::floor(std::fabs(std::sin(double(i + 1))) * 4294967296.0));
        const uint32_t nSum = v[0] + f + t + x[k];
        const int r = s[nRound][i % 4];
        v[0] = d;
        v[3] = c;
        v[2] = b;
        v[1] = b + ((nSum << r) | (nSum >> (32 - r)));
    }
    for (int i = 0; i < 4; ++i)
    {
        h[i] += v[i];
    }
}

bool ReadNumber(std::istringstream& in, uint32_t& n)
{
    std::string str;
    if (!(in >> str))
    {
        return false;
    }
    try
    {
        size_t nUsed = 0;
        const unsigned long nValue = std::stoul(str, &nUsed, 0);
        n = uint32_t(nValue);
        return nUsed == str.size() && nValue <= 0xFFFFFFFFul;
    }
    catch (const std::exception&)
    {
        return false;
    }
}

bool ReadNumbers(std::istringstream& in, uint32_t* pNumbers, int nCount)
{
    for (int i = 0; i < nCount; ++i)
    {
        if (!ReadNumber(in, pNumbers[i]))
        {
            return false;
        }
    }
    return true;
}

uint8_t MaskBits(const std::string& str)
{
    uint8_t nMask = 0;
    for (char c : str)
    {
        const char* pComponents = "xyzw";
        const char* p = std::strchr(pComponents, c);
        nMask |= p != NULL && c != 0 ? uint8_t(1u << (p - pComponents)) : 0;
    }
    return nMask;
}
} // namespace

bool CDXBCContainerWriter::ParseHeader(const std::string& strHeader, std::string& strError)
{
    std::istringstream lines(strHeader);
    std::string strLine;
    while (std::getline(lines, strLine))
    {
        std::istringstream in(strLine);
        std::string strKeyword;
        if (!(in >> strKeyword))
        {
            continue;
        }
        bool bRead = false;
        if (strKeyword == "#isgn" || strKeyword == "#osgn")
        {
            SignatureEntry entry;
            std::string strMask, strReadWrite;
            bRead = (in >> entry.strName) && ReadNumbers(in, entry.nWords, 4) &&
                    (in >> strMask >> strReadWrite);
            entry.nWords[4] = 0;
            entry.nMask = MaskBits(strMask);
            entry.nReadWriteMask = MaskBits(strReadWrite);
            if (entry.strName == "-")
            {
                entry.strName.clear();
            }
            (strKeyword == "#isgn" ? m_vInputs : m_vOutputs).push_back(entry);
        }
        else if (strKeyword == "#rdef")
        {
            m_bResources = true;
            bRead = ReadNumber(in, m_nResourceVersion) && ReadNumber(in, m_nResourceFlags);
            std::getline(in >> std::ws, m_strCreator);
        }
        else if (strKeyword == "#binding")
        {
            Binding binding;
            bRead = (in >> binding.strName) && ReadNumbers(in, binding.nWords, 7);
            m_vBindings.push_back(binding);
        }
        else if (strKeyword == "#cbuffer")
        {
            ConstantBuffer buffer;
            bRead = (in >> buffer.strName) && ReadNumber(in, buffer.nSize) &&
                    ReadNumber(in, buffer.nFlags) && ReadNumber(in, buffer.nType);
            m_vConstantBuffers.push_back(buffer);
        }
        else if (strKeyword == "#variable" && !m_vConstantBuffers.empty())
        {
            Variable variable;
            uint32_t nType[5];
            bRead = (in >> variable.strName) && ReadNumber(in, variable.nStart) &&
                    ReadNumber(in, variable.nSize) && ReadNumber(in, variable.nFlags) &&
                    ReadNumbers(in, nType, 5) && (in >> variable.strTypeName);
            for (int i = 0; i < 5; ++i)
            {
                variable.nTypeFields[i] = uint16_t(nType[i]);
            }
            m_vConstantBuffers.back().vVariables.push_back(variable);
        }
        else if (strKeyword == "#stat")
        {
            m_bStatistics = bRead = true;
        }
        if (!bRead)
        {
            strError = "bad header line: " + strLine;
            return false;
        }
    }
    return true;
}

std::vector<uint8_t>
CDXBCContainerWriter::MakeSignature(const char* pType,
                                    const std::vector<SignatureEntry>& vEntries) const
{
    std::vector<uint8_t> vData;
    PutWord(vData, uint32_t(vEntries.size()));
    PutWord(vData, 8);
    CStringPool names(uint32_t(8 + 24 * vEntries.size()));
    for (const SignatureEntry& entry : vEntries)
    {
        PutWord(vData, entry.strName.empty() ? 0 : names.Offset(entry.strName));
        for (int i = 0; i < 4; ++i)
        {
            PutWord(vData, entry.nWords[i]);
        }
        PutWord(vData, uint32_t(entry.nMask) | uint32_t(entry.nReadWriteMask) << 8);
    }
    vData.insert(vData.end(), names.Bytes().begin(), names.Bytes().end());
    return MakeChunk(pType, vData);
}

std::vector<uint8_t> CDXBCContainerWriter::MakeResources() const
{
    const bool bLong = (m_nResourceVersion & 0xFFFF) >= 0x500;
    const uint32_t nHeader = bLong ? 60 : 28;
    const uint32_t nVariableSize = bLong ? 40 : 24;
    const uint32_t nTypeSize = bLong ? 36 : 16;
    const uint32_t nBindings = nHeader;
    const uint32_t nBuffers = nBindings + 32 * uint32_t(m_vBindings.size());
    uint32_t nFixed = nBuffers + 24 * uint32_t(m_vConstantBuffers.size());
    for (const ConstantBuffer& buffer : m_vConstantBuffers)
    {
        nFixed += (nVariableSize + nTypeSize) * uint32_t(buffer.vVariables.size());
    }
    CStringPool names(nFixed);

    std::vector<uint8_t> vData;
    PutWord(vData, uint32_t(m_vConstantBuffers.size()));
    PutWord(vData, m_vConstantBuffers.empty() ? 0 : nBuffers);
    PutWord(vData, uint32_t(m_vBindings.size()));
    PutWord(vData, m_vBindings.empty() ? 0 : nBindings);
    PutWord(vData, m_nResourceVersion);
    PutWord(vData, m_nResourceFlags);
    PutWord(vData, names.Offset(m_strCreator));
    if (bLong)
    {
        // "RD11", then the sizes of the header's records.
        const uint32_t extra[8] = {FourCC("RD11"), 60, 24, 32, 40, 36, 12, 0};
        for (uint32_t n : extra)
        {
            PutWord(vData, n);
        }
    }
    for (const Binding& binding : m_vBindings)
    {
        PutWord(vData, names.Offset(binding.strName));
        for (uint32_t n : binding.nWords)
        {
            PutWord(vData, n);
        }
    }
    uint32_t nNext = nBuffers + 24 * uint32_t(m_vConstantBuffers.size());
    for (const ConstantBuffer& buffer : m_vConstantBuffers)
    {
        PutWord(vData, names.Offset(buffer.strName));
        PutWord(vData, uint32_t(buffer.vVariables.size()));
        PutWord(vData, buffer.vVariables.empty() ? 0 : nNext);
        PutWord(vData, buffer.nSize);
        PutWord(vData, buffer.nFlags);
        PutWord(vData, buffer.nType);
        nNext += (nVariableSize + nTypeSize) * uint32_t(buffer.vVariables.size());
    }
    for (const ConstantBuffer& buffer : m_vConstantBuffers)
    {
        // The variables of a buffer, then one type for each of them.
        uint32_t nType =
            uint32_t(vData.size()) + nVariableSize * uint32_t(buffer.vVariables.size());
        for (const Variable& variable : buffer.vVariables)
        {
            PutWord(vData, names.Offset(variable.strName));
            PutWord(vData, variable.nStart);
            PutWord(vData, variable.nSize);
            PutWord(vData, variable.nFlags);
            PutWord(vData, nType);
            PutWord(vData, 0);
            if (bLong)
            {
                for (uint32_t n : {0xFFFFFFFFu, 0u, 0xFFFFFFFFu, 0u})
                {
                    PutWord(vData, n);
                }
            }
            nType += nTypeSize;
        }
        for (const Variable& variable : buffer.vVariables)
        {
            const uint16_t* p = variable.nTypeFields;
            PutWord(vData, uint32_t(p[0]) | uint32_t(p[1]) << 16);
            PutWord(vData, uint32_t(p[2]) | uint32_t(p[3]) << 16);
            PutWord(vData, p[4]);
            PutWord(vData, 0);
            if (bLong)
            {
                for (int i = 0; i < 4; ++i)
                {
                    PutWord(vData, 0);
                }
                PutWord(vData, names.Offset(variable.strTypeName));
            }
        }
    }
    vData.insert(vData.end(), names.Bytes().begin(), names.Bytes().end());
    return MakeChunk("RDEF", vData);
}

std::vector<uint8_t> CDXBCContainerWriter::Write(const std::vector<uint32_t>& vProgram) const
{
    std::vector<std::vector<uint8_t>> vChunks;
    if (m_bResources)
    {
        vChunks.push_back(MakeResources());
    }
    vChunks.push_back(MakeSignature("ISGN", m_vInputs));
    vChunks.push_back(MakeSignature("OSGN", m_vOutputs));
    std::vector<uint8_t> vCode;
    for (uint32_t n : vProgram)
    {
        PutWord(vCode, n);
    }
    const uint32_t nMajor = vProgram.empty() ? 0 : (vProgram[0] >> 4) & 0xF;
    vChunks.push_back(MakeChunk(nMajor >= 5 ? "SHEX" : "SHDR", vCode));
    if (m_bStatistics)
    {
        vChunks.push_back(MakeChunk("STAT", std::vector<uint8_t>(4 * STAT_WORDS, 0)));
    }

    std::vector<uint8_t> vContainer;
    PutWord(vContainer, FourCC("DXBC"));
    vContainer.resize(20, 0);
    PutWord(vContainer, 1);
    PutWord(vContainer, 0);
    PutWord(vContainer, uint32_t(vChunks.size()));
    uint32_t nOffset = uint32_t(vContainer.size() + 4 * vChunks.size());
    for (const auto& vChunk : vChunks)
    {
        PutWord(vContainer, nOffset);
        nOffset += uint32_t(vChunk.size());
    }
    for (const auto& vChunk : vChunks)
    {
        vContainer.insert(vContainer.end(), vChunk.begin(), vChunk.end());
    }
    SetWord(vContainer, 24, uint32_t(vContainer.size()));
    WriteHash(vContainer);
    return vContainer;
}

void CDXBCContainerWriter::WriteHash(std::vector<uint8_t>& vContainer)
{
    // The message as the hash sees it: the whole blocks, then one or two last blocks that carry
    // the bit count first and (bits >> 2) | 1 last.
    const uint32_t nLength = uint32_t(vContainer.size() - 20);
    const uint32_t nBits = nLength * 8;
    const uint32_t nWhole = nLength & ~63u;
    std::vector<uint8_t> vMessage(vContainer.begin() + 20, vContainer.begin() + 20 + nWhole);
    std::vector<uint8_t> vRest(vContainer.begin() + 20 + nWhole, vContainer.end());
    std::vector<uint8_t> vLast;
    if (vRest.size() >= 56)
    {
        vMessage.insert(vMessage.end(), vRest.begin(), vRest.end());
        vMessage.push_back(0x80);
        vMessage.resize(nWhole + 64, 0);
        PutWord(vLast, nBits);
    }
    else
    {
        PutWord(vLast, nBits);
        vLast.insert(vLast.end(), vRest.begin(), vRest.end());
        vLast.push_back(0x80);
    }
    vLast.resize(60, 0);
    PutWord(vLast, (nBits >> 2) | 1);
    vMessage.insert(vMessage.end(), vLast.begin(), vLast.end());

    uint32_t h[4] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
    for (size_t i = 0; i < vMessage.size(); i += 64)
    {
        Compress(h, &vMessage[i]);
    }
    for (int i = 0; i < 4; ++i)
    {
        SetWord(vContainer, 4 + 4 * i, h[i]);
    }
}

bool CDXBCContainerWriter::ReadFixture(const std::string& strText, std::string& strHeader,
                                       std::vector<uint32_t>& vProgram, std::string& strError)
{
    std::istringstream lines(strText);
    std::string strLine;
    while (std::getline(lines, strLine))
    {
        const size_t nStart = strLine.find_first_not_of(" \t");
        if (nStart != std::string::npos && strLine[nStart] == '#')
        {
            strHeader += strLine.substr(nStart) + "\n";
            continue;
        }
        std::istringstream in(strLine.substr(0, strLine.find("//")));
        std::string strWord;
        while (in >> strWord)
        {
            size_t nUsed = 0;
            unsigned long nValue = 0;
            try
            {
                nValue = std::stoul(strWord, &nUsed, 16);
            }
            catch (const std::exception&)
            {
            }
            if (nUsed != strWord.size() || nValue > 0xFFFFFFFFul)
            {
                strError = "bad program word: " + strWord;
                return false;
            }
            vProgram.push_back(uint32_t(nValue));
        }
    }
    return true;
}
} // namespace XAN_Platform
