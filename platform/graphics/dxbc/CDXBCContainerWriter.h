#ifndef XAN_PLATFORM_CDXBC_CONTAINER_WRITER_H
#define XAN_PLATFORM_CDXBC_CONTAINER_WRITER_H

#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Platform
{
// Makes a DXBC container from a fixture header and a program's tokens. Header lines, each
// starting with '#':
//   #isgn|#osgn NAME INDEX SYSVALUE COMPTYPE REGISTER MASK RWMASK   one signature entry ("-": no
//   name) #rdef VERSIONTOKEN FLAGS CREATOR...       a resource chunk; the long form from version
//   0x500 on #binding NAME TYPE RETURN DIMENSION SAMPLES BINDPOINT BINDCOUNT FLAGS #cbuffer NAME
//   SIZE FLAGS TYPE             variables that follow belong to it #variable NAME START SIZE FLAGS
//   CLASS TYPE ROWS COLUMNS ELEMENTS TYPENAME #stat                                     a
//   statistics chunk of 37 zero words
// Numbers take C notation. ISGN and OSGN are always written, empty without entries; the program
// goes into SHEX from shader model 5 on, else SHDR.
class CDXBCContainerWriter
{
public:
    // Reads the header lines; false with a message naming the line.
    bool ParseHeader(const std::string& strHeader, std::string& strError);
    std::vector<uint8_t> Write(const std::vector<uint32_t>& vProgram) const;

    // Splits a fixture into its '#' header lines and its program, given as hexadecimal words;
    // "//" starts a comment.
    static bool ReadFixture(const std::string& strText, std::string& strHeader,
                            std::vector<uint32_t>& vProgram, std::string& strError);
    // The container hash of bytes 20 on, written at offset 4.
    static void WriteHash(std::vector<uint8_t>& vContainer);

private:
    struct SignatureEntry
    {
        std::string strName;
        uint32_t nWords[5];
        uint8_t nMask;
        uint8_t nReadWriteMask;
    };
    struct Variable
    {
        std::string strName;
        uint32_t nStart, nSize, nFlags;
        uint16_t nTypeFields[5];
        std::string strTypeName;
    };
    struct ConstantBuffer
    {
        std::string strName;
        uint32_t nSize, nFlags, nType;
        std::vector<Variable> vVariables;
    };
    struct Binding
    {
        std::string strName;
        uint32_t nWords[7];
    };

    std::vector<uint8_t> MakeSignature(const char* pType,
                                       const std::vector<SignatureEntry>& vEntries) const;
    std::vector<uint8_t> MakeResources() const;

    std::vector<SignatureEntry> m_vInputs;
    std::vector<SignatureEntry> m_vOutputs;
    bool m_bResources = false;
    uint32_t m_nResourceVersion = 0;
    uint32_t m_nResourceFlags = 0;
    std::string m_strCreator;
    std::vector<Binding> m_vBindings;
    std::vector<ConstantBuffer> m_vConstantBuffers;
    bool m_bStatistics = false;
};
} // namespace XAN_Platform

#endif
