#include "CLaunchDescription.h"

#include <toml++/toml.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <set>
#include <sstream>

namespace XAN_Launch
{
namespace
{
// A fault in the launch file: the line and key it is at, and why.
struct SLaunchError
{
    uint32_t nLine;
    std::string strKey;
    std::string strCause;
};

[[noreturn]] void Fail(const toml::node& node, const std::string& strKey,
                       const std::string& strCause)
{
    throw SLaunchError{uint32_t(node.source().begin.line), strKey, strCause};
}

struct SScalarName
{
    const char* pName;
    EScalarType eType;
};

const SScalarName SCALAR_NAMES[] = {
    {"char", ST_Char},   {"uchar", ST_UChar},   {"short", ST_Short}, {"ushort", ST_UShort},
    {"int", ST_Int},     {"uint", ST_UInt},     {"long", ST_Long},   {"ulong", ST_ULong},
    {"float", ST_Float}, {"double", ST_Double},
};

bool IsFloat(EScalarType eType)
{
    return eType == ST_Float || eType == ST_Double;
}

// A table's keys, each checked off as it is read, so that a misspelt key is named rather
// than ignored.
class CKeys
{
public:
    CKeys(const toml::table& table, std::string strPrefix)
        : m_Table(table), m_strPrefix(std::move(strPrefix))
    {
    }

    std::string Name(const std::string& strKey) const { return m_strPrefix + strKey; }
    const toml::table& Table() const { return m_Table; }

    const toml::node* Find(const std::string& strKey)
    {
        m_setRead.insert(strKey);
        return m_Table.get(strKey);
    }
    const toml::node& Need(const std::string& strKey)
    {
        const toml::node* pNode = Find(strKey);
        if (pNode == nullptr)
        {
            Fail(m_Table, Name(strKey), "missing");
        }
        return *pNode;
    }
    std::string String(const std::string& strKey, const std::string& strDefault, bool bNeeded)
    {
        const toml::node* pNode = bNeeded ? &Need(strKey) : Find(strKey);
        if (pNode == nullptr)
        {
            return strDefault;
        }
        if (!pNode->is_string())
        {
            Fail(*pNode, Name(strKey), "expected a string");
        }
        return std::string(*pNode->as_string());
    }
    uint64_t Count(const std::string& strKey, uint64_t nDefault, bool bNeeded)
    {
        const toml::node* pNode = bNeeded ? &Need(strKey) : Find(strKey);
        if (pNode == nullptr)
        {
            return nDefault;
        }
        if (!pNode->is_integer() || pNode->as_integer()->get() < 0)
        {
            Fail(*pNode, Name(strKey), "expected a non-negative integer");
        }
        return uint64_t(pNode->as_integer()->get());
    }
    bool Bool(const std::string& strKey, bool bDefault)
    {
        const toml::node* pNode = Find(strKey);
        if (pNode == nullptr)
        {
            return bDefault;
        }
        if (!pNode->is_boolean())
        {
            Fail(*pNode, Name(strKey), "expected true or false");
        }
        return pNode->as_boolean()->get();
    }
    // One of the names in vAllowed.
    std::string Choice(const std::string& strKey, const std::vector<std::string>& vAllowed,
                       const std::string& strDefault)
    {
        const std::string strValue = String(strKey, strDefault, strDefault.empty());
        for (const std::string& strAllowed : vAllowed)
        {
            if (strValue == strAllowed)
            {
                return strValue;
            }
        }
        std::string strList;
        for (const std::string& strAllowed : vAllowed)
        {
            strList += (strList.empty() ? "" : ", ") + strAllowed;
        }
        Fail(*Find(strKey), Name(strKey), "\"" + strValue + "\" is none of " + strList);
    }
    // Refuses the keys nobody read.
    void CheckAllRead() const
    {
        for (const auto& entry : m_Table)
        {
            const std::string strKey(entry.first.str());
            if (m_setRead.count(strKey) == 0)
            {
                Fail(entry.second, Name(strKey), "unknown key");
            }
        }
    }

private:
    const toml::table& m_Table;
    std::string m_strPrefix;
    std::set<std::string> m_setRead;
};

SElementType ParseType(const toml::node& node, const std::string& strKey)
{
    if (!node.is_string())
    {
        Fail(node, strKey, "expected a type name such as \"float\" or \"uint4\"");
    }
    const std::string strName(*node.as_string());
    for (const SScalarName& scalar : SCALAR_NAMES)
    {
        const size_t nLength = std::strlen(scalar.pName);
        if (strName.compare(0, nLength, scalar.pName) != 0)
        {
            continue;
        }
        const std::string strLanes = strName.substr(nLength);
        SElementType type;
        type.eScalar = scalar.eType;
        type.strName = strName;
        if (strLanes.empty())
        {
            return type;
        }
        for (uint32_t nLanes : {2u, 3u, 4u, 8u, 16u})
        {
            if (strLanes == std::to_string(nLanes))
            {
                type.nLanes = nLanes;
                return type;
            }
        }
    }
    Fail(node, strKey, "unknown type \"" + strName + "\"");
}

// Writes one scalar of the given type from a TOML number, or from a string of hexadecimal
// bits ("0x3F800000"), which also reaches 64-bit values above the signed range.
void StoreScalar(const toml::node& node, const std::string& strKey, EScalarType eType,
                 uint8_t* pOut)
{
    uint64_t nBits = 0;
    double fValue = 0.0;
    bool bBits = false;
    if (node.is_string())
    {
        const std::string strText(*node.as_string());
        char* pEnd = nullptr;
        errno = 0;
        nBits = std::strtoull(strText.c_str(), &pEnd, 16);
        if (strText.compare(0, 2, "0x") != 0 || strText.size() == 2 || *pEnd != '\0' || errno != 0)
        {
            Fail(node, strKey, "expected a number or hexadecimal bits such as \"0x3F800000\"");
        }
        bBits = true;
    }
    else if (node.is_integer())
    {
        nBits = uint64_t(node.as_integer()->get());
        fValue = double(node.as_integer()->get());
    }
    else if (node.is_floating_point() && IsFloat(eType))
    {
        fValue = node.as_floating_point()->get();
    }
    else
    {
        Fail(node, strKey, IsFloat(eType) ? "expected a number" : "expected an integer");
    }
    if (eType == ST_Float && !bBits)
    {
        const float f = float(fValue);
        std::memcpy(pOut, &f, sizeof(f));
        return;
    }
    if (eType == ST_Double && !bBits)
    {
        std::memcpy(pOut, &fValue, sizeof(fValue));
        return;
    }
    SElementType type;
    type.eScalar = eType;
    std::memcpy(pOut, &nBits, type.GetScalarSize()); // little endian: the low bytes
}

// A number a scalar of the type can take: an integer, or for floats any number.
const toml::node& NeedNumber(CKeys& keys, const char* pKey, EScalarType eType)
{
    const toml::node& node = keys.Need(pKey);
    if (!node.is_number() || (!IsFloat(eType) && !node.is_integer()))
    {
        Fail(node, keys.Name(pKey), IsFloat(eType) ? "expected a number" : "expected an integer");
    }
    return node;
}

// The scalars of a range: start, start + step, ...
void FillRange(CKeys& keys, EScalarType eType, size_t nScalars, uint8_t* pOut)
{
    SElementType type;
    type.eScalar = eType;
    const size_t nSize = type.GetScalarSize();
    const toml::node& start = NeedNumber(keys, "start", eType);
    const toml::node& step = NeedNumber(keys, "step", eType);
    for (size_t i = 0; i < nScalars; ++i)
    {
        if (IsFloat(eType))
        {
            const double fValue =
                start.value<double>().value() + double(i) * step.value<double>().value();
            toml::value<double> value(fValue);
            StoreScalar(value, "", eType, pOut + i * nSize);
        }
        else
        {
            const int64_t nValue =
                start.as_integer()->get() + int64_t(i) * step.as_integer()->get();
            toml::value<int64_t> value(nValue);
            StoreScalar(value, "", eType, pOut + i * nSize);
        }
    }
}

// Seeded values: integers in [min, max], floats in [min, max), the same on every machine.
void FillRandom(CKeys& keys, EScalarType eType, size_t nScalars, uint8_t* pOut)
{
    SElementType type;
    type.eScalar = eType;
    const size_t nSize = type.GetScalarSize();
    const uint64_t nSeed = keys.Count("seed", 0, true);
    const toml::node& min = NeedNumber(keys, "min", eType);
    const toml::node& max = NeedNumber(keys, "max", eType);
    if (min.value<double>().value() > max.value<double>().value())
    {
        Fail(max, keys.Name("max"), "below min");
    }
    std::mt19937_64 generator(nSeed);
    for (size_t i = 0; i < nScalars; ++i)
    {
        const uint64_t nRandom = generator();
        if (IsFloat(eType))
        {
            const double fMin = min.value<double>().value();
            const double fUnit = double(nRandom >> 11) * 0x1.0p-53;
            toml::value<double> value(fMin + fUnit * (max.value<double>().value() - fMin));
            StoreScalar(value, "", eType, pOut + i * nSize);
        }
        else
        {
            const int64_t nMin = min.as_integer()->get();
            const uint64_t nSpan = uint64_t(max.as_integer()->get() - nMin) + 1;
            toml::value<int64_t> value(
                int64_t(uint64_t(nMin) + (nSpan != 0 ? nRandom % nSpan : nRandom)));
            StoreScalar(value, "", eType, pOut + i * nSize);
        }
    }
}

std::string FolderOf(const std::string& strPath)
{
    const size_t nSlash = strPath.rfind('/');
    return nSlash == std::string::npos ? std::string() : strPath.substr(0, nSlash + 1);
}

bool ReadFile(const std::string& strPath, std::string& strText)
{
    std::ifstream file(strPath, std::ios::binary);
    if (!file)
    {
        return false;
    }
    std::ostringstream stream;
    stream << file.rdbuf();
    strText = stream.str();
    return true;
}

// Contents of nCount elements of the given type from the one form the table holds:
// values, fill, range, random or file. Zeros when it holds none and bNeeded is false.
std::vector<uint8_t> ParseContents(CKeys& keys, const SElementType& type, uint64_t nCount,
                                   const std::string& strFolder, bool bNeeded)
{
    const size_t nScalarSize = type.GetScalarSize();
    const size_t nStride = type.GetSize();
    const size_t nLanes = type.nLanes;
    std::vector<uint8_t> vBytes(nCount * nStride, 0);
    static const char* const s_Forms[] = {"values", "fill", "range", "random", "file"};
    const char* pForm = nullptr;
    for (const char* pName : s_Forms)
    {
        if (const toml::node* pNode = keys.Find(pName))
        {
            if (pForm != nullptr)
            {
                Fail(*pNode, keys.Name(pName), std::string("given together with ") + pForm);
            }
            pForm = pName;
        }
    }
    if (pForm == nullptr)
    {
        if (bNeeded)
        {
            Fail(keys.Table(), keys.Name("values"),
                 "missing: give one of values, fill, range, random or file");
        }
        return vBytes;
    }
    const toml::node& node = keys.Need(pForm);
    const std::string strKey = keys.Name(pForm);
    // Element e lane l: its bytes; a 3-lane element keeps a fourth lane's room.
    auto scalarAt = [&](size_t nScalar)
    { return vBytes.data() + (nScalar / nLanes) * nStride + (nScalar % nLanes) * nScalarSize; };
    const size_t nScalars = size_t(nCount) * nLanes;
    if (std::strcmp(pForm, "values") == 0 || std::strcmp(pForm, "fill") == 0)
    {
        const bool bFill = std::strcmp(pForm, "fill") == 0;
        const toml::array* pArray = node.as_array();
        if (!bFill && pArray == nullptr)
        {
            Fail(node, strKey, "expected an array of numbers");
        }
        if (!bFill && pArray->size() != nScalars)
        {
            Fail(node, strKey,
                 std::to_string(pArray->size()) + " values for " + std::to_string(nCount) + " " +
                     type.strName +
                     (nLanes > 1 ? " (" + std::to_string(nScalars) + " scalars)" : std::string()));
        }
        for (size_t i = 0; i < nScalars; ++i)
        {
            const toml::node& value = bFill ? node : *pArray->get(i);
            StoreScalar(value, bFill ? strKey : strKey + "[" + std::to_string(i) + "]",
                        type.eScalar, scalarAt(i));
        }
        return vBytes;
    }
    if (std::strcmp(pForm, "file") == 0)
    {
        if (!node.is_string())
        {
            Fail(node, strKey, "expected a file name");
        }
        std::string strData;
        const std::string strName(*node.as_string());
        if (!ReadFile(strFolder + strName, strData))
        {
            Fail(node, strKey, "can't read \"" + strFolder + strName + "\"");
        }
        if (strData.size() != vBytes.size())
        {
            Fail(node, strKey,
                 "\"" + strName + "\" has " + std::to_string(strData.size()) + " bytes, " +
                     std::to_string(vBytes.size()) + " expected");
        }
        std::memcpy(vBytes.data(), strData.data(), strData.size());
        return vBytes;
    }
    const toml::table* pTable = node.as_table();
    if (pTable == nullptr)
    {
        Fail(node, strKey, "expected a table");
    }
    CKeys inner(*pTable, strKey + ".");
    std::vector<uint8_t> vScalars(nScalars * nScalarSize);
    if (std::strcmp(pForm, "range") == 0)
    {
        FillRange(inner, type.eScalar, nScalars, vScalars.data());
    }
    else
    {
        FillRandom(inner, type.eScalar, nScalars, vScalars.data());
    }
    inner.CheckAllRead();
    for (size_t i = 0; i < nScalars; ++i)
    {
        std::memcpy(scalarAt(i), &vScalars[i * nScalarSize], nScalarSize);
    }
    return vBytes;
}

// The channel count of an image channel order, and the element type of a channel type.
struct SChannelOrder
{
    const char* pName;
    uint32_t nChannels;
};
const SChannelOrder CHANNEL_ORDERS[] = {
    {"R", 1},  {"A", 1},   {"INTENSITY", 1}, {"LUMINANCE", 1}, {"RG", 2},   {"RA", 2},
    {"Rx", 2}, {"RGB", 3}, {"RGx", 3},       {"RGBA", 4},      {"BGRA", 4}, {"ARGB", 4},
};

struct SChannelType
{
    const char* pName;
    EScalarType eScalar;
    bool bPacked; // one element holds every channel
};
const SChannelType CHANNEL_TYPES[] = {
    {"SNORM_INT8", ST_Char, false},       {"SNORM_INT16", ST_Short, false},
    {"UNORM_INT8", ST_UChar, false},      {"UNORM_INT16", ST_UShort, false},
    {"UNORM_SHORT_565", ST_UShort, true}, {"UNORM_SHORT_555", ST_UShort, true},
    {"UNORM_INT_101010", ST_UInt, true},  {"SIGNED_INT8", ST_Char, false},
    {"SIGNED_INT16", ST_Short, false},    {"SIGNED_INT32", ST_Int, false},
    {"UNSIGNED_INT8", ST_UChar, false},   {"UNSIGNED_INT16", ST_UShort, false},
    {"UNSIGNED_INT32", ST_UInt, false},   {"HALF_FLOAT", ST_UShort, false},
    {"FLOAT", ST_Float, false},
};

void ParseImage(CKeys& keys, SLaunchArg& arg, uint64_t& nScalars)
{
    std::vector<std::string> vOrders;
    for (const SChannelOrder& order : CHANNEL_ORDERS)
    {
        vOrders.push_back(order.pName);
    }
    std::vector<std::string> vTypes;
    for (const SChannelType& type : CHANNEL_TYPES)
    {
        vTypes.push_back(type.pName);
    }
    arg.strChannelOrder = keys.Choice("order", vOrders, "");
    arg.strChannelType = keys.Choice("channel_type", vTypes, "");
    uint32_t nChannels = 1;
    for (const SChannelOrder& order : CHANNEL_ORDERS)
    {
        nChannels = arg.strChannelOrder == order.pName ? order.nChannels : nChannels;
    }
    for (const SChannelType& type : CHANNEL_TYPES)
    {
        if (arg.strChannelType == type.pName)
        {
            arg.type.eScalar = type.eScalar;
            nChannels = type.bPacked ? 1 : nChannels;
        }
    }
    arg.type.strName = arg.strChannelType;
    static const char* const s_Extents[] = {"width", "height", "depth"};
    arg.nImageDimensions = keys.Table().get("depth") != nullptr    ? 3
                           : keys.Table().get("height") != nullptr ? 2
                                                                   : 1;
    nScalars = nChannels;
    for (uint32_t d = 0; d < arg.nImageDimensions; ++d)
    {
        arg.vImageSize[d] = keys.Count(s_Extents[d], 0, true);
        if (arg.vImageSize[d] == 0)
        {
            Fail(*keys.Find(s_Extents[d]), keys.Name(s_Extents[d]), "must not be 0");
        }
        nScalars *= arg.vImageSize[d];
    }
}

void ParseArg(CKeys& keys, SLaunchArg& arg, const std::string& strFolder)
{
    static const std::vector<std::string> s_Kinds = {"buffer", "scalar", "local", "image",
                                                     "sampler"};
    const std::string strKind = keys.Choice("kind", s_Kinds, "");
    arg.strName = keys.String("name", arg.strName, false);
    if (strKind == "local")
    {
        arg.eKind = AK_Local;
        arg.nLocalSize = keys.Count("size", 0, true);
        if (arg.nLocalSize == 0)
        {
            Fail(*keys.Find("size"), keys.Name("size"), "must not be 0");
        }
        return;
    }
    if (strKind == "sampler")
    {
        arg.eKind = AK_Sampler;
        arg.bNormalizedCoords = keys.Bool("normalized", false);
        arg.strAddressing = keys.Choice(
            "addressing", {"none", "clamp_to_edge", "clamp", "repeat", "mirrored_repeat"},
            "clamp_to_edge");
        arg.strFilter = keys.Choice("filter", {"nearest", "linear"}, "nearest");
        return;
    }
    if (strKind == "scalar")
    {
        arg.eKind = AK_Scalar;
        arg.type = ParseType(keys.Need("type"), keys.Name("type"));
        const toml::node& value = keys.Need("value");
        const toml::array* pArray = value.as_array();
        const size_t nScalars = arg.type.nLanes;
        if ((nScalars > 1) != (pArray != nullptr) || (pArray && pArray->size() != nScalars))
        {
            Fail(value, keys.Name("value"),
                 nScalars > 1 ? "expected " + std::to_string(nScalars) + " numbers"
                              : std::string("expected one number"));
        }
        arg.vBytes.assign(arg.type.GetSize(), 0);
        for (size_t i = 0; i < nScalars; ++i)
        {
            StoreScalar(pArray != nullptr ? *pArray->get(i) : value, keys.Name("value"),
                        arg.type.eScalar, arg.vBytes.data() + i * arg.type.GetScalarSize());
        }
        return;
    }
    uint64_t nCount = 0;
    if (strKind == "image")
    {
        arg.eKind = AK_Image;
        ParseImage(keys, arg, nCount);
    }
    else
    {
        arg.eKind = AK_Buffer;
        arg.type = ParseType(keys.Need("type"), keys.Name("type"));
        nCount = keys.Count("count", 0, true);
        if (nCount == 0)
        {
            Fail(*keys.Find("count"), keys.Name("count"), "must not be 0");
        }
    }
    arg.nCount = nCount;
    arg.bReadOnly = keys.Choice("access", {"read_only", "read_write"}, "read_write") == "read_only";
    arg.vBytes = ParseContents(keys, arg.type, nCount, strFolder, false);
    if (const toml::node* pExpect = keys.Find("expect"))
    {
        if (!pExpect->is_table())
        {
            Fail(*pExpect, keys.Name("expect"), "expected a table");
        }
        CKeys expect(*pExpect->as_table(), keys.Name("expect."));
        arg.bHasExpected = true;
        arg.vExpected = ParseContents(expect, arg.type, nCount, strFolder, true);
        expect.CheckAllRead();
    }
}

// An array of 1 to 3 sizes; nMinimum is the least each may be.
uint32_t ParseSizes(const toml::node& node, const std::string& strKey, size_t vSizes[3],
                    uint64_t nMinimum)
{
    const toml::array* pArray = node.as_array();
    if (pArray == nullptr || pArray->empty() || pArray->size() > 3)
    {
        Fail(node, strKey, "expected an array of 1 to 3 integers");
    }
    for (size_t d = 0; d < pArray->size(); ++d)
    {
        const toml::node& size = *pArray->get(d);
        if (!size.is_integer() || size.as_integer()->get() < int64_t(nMinimum))
        {
            Fail(size, strKey + "[" + std::to_string(d) + "]",
                 "expected an integer of at least " + std::to_string(nMinimum));
        }
        vSizes[d] = size_t(size.as_integer()->get());
    }
    return uint32_t(pArray->size());
}
// One scalar of an element as text: integers in decimal, floats with the digits that
// tell them apart.
std::string FormatScalar(EScalarType eType, const uint8_t* p)
{
    std::ostringstream stream;
    stream.precision(eType == ST_Double ? 17 : 9);
    switch (eType)
    {
    case ST_Char:
        stream << int(int8_t(*p));
        break;
    case ST_UChar:
        stream << unsigned(*p);
        break;
    case ST_Short:
    case ST_UShort:
    {
        uint16_t n;
        std::memcpy(&n, p, sizeof(n));
        stream << (eType == ST_Short ? int(int16_t(n)) : int(n));
        break;
    }
    case ST_Int:
    case ST_UInt:
    {
        uint32_t n;
        std::memcpy(&n, p, sizeof(n));
        stream << (eType == ST_Int ? int64_t(int32_t(n)) : int64_t(n));
        break;
    }
    case ST_Long:
    case ST_ULong:
    {
        uint64_t n;
        std::memcpy(&n, p, sizeof(n));
        if (eType == ST_Long)
        {
            stream << int64_t(n);
        }
        else
        {
            stream << n;
        }
        break;
    }
    case ST_Float:
    {
        float f;
        std::memcpy(&f, p, sizeof(f));
        stream << f;
        break;
    }
    case ST_Double:
    {
        double f;
        std::memcpy(&f, p, sizeof(f));
        stream << f;
        break;
    }
    }
    return stream.str();
}
} // namespace

size_t SElementType::GetScalarSize() const
{
    switch (eScalar)
    {
    case ST_Char:
    case ST_UChar:
        return 1;
    case ST_Short:
    case ST_UShort:
        return 2;
    case ST_Int:
    case ST_UInt:
    case ST_Float:
        return 4;
    default:
        return 8;
    }
}

size_t SElementType::GetSize() const
{
    return GetScalarSize() * (nLanes == 3 ? 4 : nLanes);
}

std::string SElementType::Format(const uint8_t* p) const
{
    std::string strText;
    for (uint32_t l = 0; l < nLanes; ++l)
    {
        strText += (l == 0 ? "" : ", ") + FormatScalar(eScalar, p + l * GetScalarSize());
    }
    return nLanes > 1 ? "(" + strText + ")" : strText;
}

bool CLaunchDescription::Load(const std::string& strPath, std::string& strError)
{
    std::string strText;
    if (!ReadFile(strPath, strText))
    {
        strError = strPath + ": can't read the file";
        return false;
    }
    return Parse(strText, strPath, strError);
}

bool CLaunchDescription::Parse(const std::string& strText, const std::string& strPath,
                               std::string& strError)
{
    *this = CLaunchDescription();
    m_strPath = strPath;
    const std::string strName = strPath.substr(strPath.rfind('/') + 1);
    toml::table root;
    try
    {
        root = toml::parse(strText, strPath);
    }
    catch (const toml::parse_error& error)
    {
        strError = strName + ":" + std::to_string(error.source().begin.line) + ": " +
                   std::string(error.description());
        return false;
    }
    try
    {
        const std::string strFolder = FolderOf(strPath);
        CKeys keys(root, "");
        const std::string strProgram = keys.String("program", "", true);
        m_strProgramPath = strFolder + strProgram;
        if (!ReadFile(m_strProgramPath, m_strProgramText))
        {
            Fail(*keys.Find("program"), "program", "can't read \"" + m_strProgramPath + "\"");
        }
        m_strKernel = keys.String("kernel", "", true);
        m_strOptions = keys.String("options", "", false);
        m_strDevice = keys.String("device", "", false);
        m_nDimensions = ParseSizes(keys.Need("global"), "global", m_vGlobal, 1);
        for (const char* pKey : {"local", "offset"})
        {
            if (const toml::node* pNode = keys.Find(pKey))
            {
                size_t* pSizes = std::strcmp(pKey, "local") == 0 ? m_vLocal : m_vOffset;
                if (ParseSizes(*pNode, pKey, pSizes, pSizes == m_vLocal ? 1 : 0) != m_nDimensions)
                {
                    Fail(*pNode, pKey, "expected as many sizes as global has");
                }
                m_bHasLocal |= pSizes == m_vLocal;
            }
        }
        if (const toml::node* pArgs = keys.Find("args"))
        {
            if (!pArgs->is_array_of_tables())
            {
                Fail(*pArgs, "args", "expected [[args]] tables");
            }
            const toml::array& vTables = *pArgs->as_array();
            for (size_t i = 0; i < vTables.size(); ++i)
            {
                SLaunchArg arg;
                arg.strName = "args[" + std::to_string(i) + "]";
                arg.nLine = uint32_t(vTables.get(i)->source().begin.line);
                CKeys argKeys(*vTables.get(i)->as_table(), arg.strName + ".");
                ParseArg(argKeys, arg, strFolder);
                argKeys.CheckAllRead();
                m_vArgs.push_back(std::move(arg));
            }
        }
        keys.CheckAllRead();
    }
    catch (const SLaunchError& error)
    {
        strError = strName + ":" + std::to_string(error.nLine) + ": " + error.strKey + ": " +
                   error.strCause;
        return false;
    }
    return true;
}
} // namespace XAN_Launch
