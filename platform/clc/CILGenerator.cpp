#include "CILGenerator.h"

#include <clang/AST/Attr.h>
#include <clang/AST/RecordLayout.h>
#include <clang/Basic/SourceManager.h>

#include <algorithm>
#include <cstring>

namespace XAN_Platform
{
namespace
{
const uint32_t FIRST_LABEL = 1024;
const uint32_t GLOBAL_UAV = 11;
const uint32_t PRIVATE_UAV = 8;
const uint32_t LDS_ID = 1;
const char* const COMPONENTS = "xyzw";
// The row of cb0 whose .xy hold the address of the device's lock word.
const uint32_t LOCK_ROW = 15;
// The row of cb0 that holds the printf buffer: its address in .xy, its size in bytes in .z.
const uint32_t PRINTF_ROW = 14;

// printf's format as a metadata comment line may hold: C escapes for the backslash, ";",
// characters that aren't printable, blanks at the end (which comments lose) and the "c" of
// "call" (which comments may not hold before a number).
std::string EscapeFormat(const std::string& str)
{
    std::string strEscaped;
    for (size_t i = 0; i < str.size(); ++i)
    {
        const char c = str[i];
        const unsigned char u = static_cast<unsigned char>(c);
        if (c == '\\')
        {
            strEscaped += "\\\\";
        }
        else if (c == ';' || u < 0x20 || u >= 0x7F || str.compare(i, 4, "call") == 0 ||
                 (c == ' ' && str.find_first_not_of(' ', i) == std::string::npos))
        {
            char vOctal[8];
            std::snprintf(vOctal, sizeof(vOctal), "\\%03o", u);
            strEscaped += vOctal;
        }
        else
        {
            strEscaped += c;
        }
    }
    return strEscaped;
}

std::string Hex(uint32_t n)
{
    char buffer[16];
    std::snprintf(buffer, sizeof(buffer), "0x%08X", n);
    return buffer;
}

uint32_t FloatBits(float f)
{
    uint32_t n = 0;
    std::memcpy(&n, &f, sizeof(n));
    return n;
}

uint64_t DoubleBits(double d)
{
    uint64_t n = 0;
    std::memcpy(&n, &d, sizeof(n));
    return n;
}

// Comment text may hold neither ";" nor a line break, and never "call" before a number.
std::string CommentText(std::string str)
{
    for (char& c : str)
    {
        c = (c == ';' || c == '\n' || c == '\r') ? ' ' : c;
    }
    return str;
}
} // namespace

CILGenerator::CILGenerator(const std::vector<clang::ASTContext*>& vUnits, const SCLCTarget& target,
                           bool bDebug)
    : m_vUnits(vUnits), m_pContext(vUnits.front()), m_Target(target), m_bDebug(bDebug)
{
}

// ---------------------------------------------------------------------------------------------
// Diagnostics.

std::string CILGenerator::Where(const SRefusal& refusal)
{
    const clang::PresumedLoc presumed = refusal.pSources != nullptr
                                            ? refusal.pSources->getPresumedLoc(refusal.location)
                                            : clang::PresumedLoc();
    if (presumed.isInvalid())
    {
        return "program.cl";
    }
    return std::string(presumed.getFilename()) + ":" + std::to_string(presumed.getLine()) + ":" +
           std::to_string(presumed.getColumn());
}

// Without a statement of its own, a refusal names the statement being lowered.
void CILGenerator::Refuse(const clang::Stmt* pStmt, const std::string& strMessage) const
{
    pStmt = pStmt != nullptr ? pStmt : m_pStatement;
    throw SRefusal{pStmt != nullptr ? pStmt->getBeginLoc() : clang::SourceLocation(),
                   &m_pContext->getSourceManager(), strMessage};
}

void CILGenerator::Refuse(const clang::Decl* pDecl, const std::string& strMessage) const
{
    throw SRefusal{pDecl != nullptr ? pDecl->getLocation() : clang::SourceLocation(),
                   pDecl != nullptr ? &pDecl->getASTContext().getSourceManager() : nullptr,
                   strMessage};
}

// ---------------------------------------------------------------------------------------------
// Types.

// A type as OpenCL C spells it, without its address space.
std::string CILGenerator::TypeName(clang::QualType type) const
{
    return type.getUnqualifiedType().getAsString(m_pContext->getPrintingPolicy());
}

bool CILGenerator::IsPointer(clang::QualType type) const
{
    return type->isPointerType() || type->isArrayType();
}

CILGenerator::ESpace CILGenerator::SpaceOf(clang::QualType pointee) const
{
    switch (pointee.getAddressSpace())
    {
    case clang::LangAS::opencl_global:
    case clang::LangAS::opencl_constant:
        return S_Global;
    case clang::LangAS::opencl_local:
        return S_Local;
    default:
        return S_Private;
    }
}

CILGenerator::EElement CILGenerator::AddressElement(ESpace eSpace) const
{
    return eSpace == S_Global && m_Target.b64Bit ? E_U64 : E_U32;
}

unsigned int CILGenerator::ElementBytes(EElement e)
{
    switch (e)
    {
    case E_I8:
    case E_U8:
        return 1;
    case E_I16:
    case E_U16:
        return 2;
    case E_I64:
    case E_U64:
    case E_F64:
        return 8;
    default:
        return 4;
    }
}

CILGenerator::EElement CILGenerator::ElementOf(clang::QualType type,
                                               const clang::Stmt* pWhere) const
{
    type = type.getCanonicalType();
    if (const auto* pVector = type->getAs<clang::VectorType>())
    {
        type = pVector->getElementType().getCanonicalType();
    }
    if (IsPointer(type))
    {
        const clang::QualType pointee =
            type->isPointerType() ? type->getPointeeType()
                                  : clang::QualType(type->getArrayElementTypeNoTypeQual(), 0);
        return AddressElement(SpaceOf(pointee));
    }
    if (const auto* pEnum = type->getAs<clang::EnumType>())
    {
        type = pEnum->getDecl()->getIntegerType().getCanonicalType();
    }
    // Copies between global and local memory are done when they return: their events are 0.
    if (type->isEventT())
    {
        return E_U32;
    }
    const auto* pBuiltin = type->getAs<clang::BuiltinType>();
    if (pBuiltin == nullptr)
    {
        Refuse(pWhere, "values of type '" + TypeName(type) + "' are not supported here");
    }
    switch (pBuiltin->getKind())
    {
    case clang::BuiltinType::Bool:
    case clang::BuiltinType::Int:
        return E_I32;
    case clang::BuiltinType::UInt:
        return E_U32;
    case clang::BuiltinType::Char_S:
    case clang::BuiltinType::SChar:
        return E_I8;
    case clang::BuiltinType::Char_U:
    case clang::BuiltinType::UChar:
        return E_U8;
    case clang::BuiltinType::Short:
        return E_I16;
    case clang::BuiltinType::UShort:
        return E_U16;
    case clang::BuiltinType::Long:
    case clang::BuiltinType::LongLong:
        return E_I64;
    case clang::BuiltinType::ULong:
    case clang::BuiltinType::ULongLong:
        return E_U64;
    case clang::BuiltinType::Float:
        return E_F32;
    case clang::BuiltinType::Double:
        return E_F64;
    default:
        Refuse(pWhere, "values of type '" + TypeName(type) + "' are not supported");
    }
}

unsigned int CILGenerator::LanesOf(clang::QualType type) const
{
    const auto* pVector = type.getCanonicalType()->getAs<clang::VectorType>();
    return pVector != nullptr ? pVector->getNumElements() : 1;
}

CILGenerator::SValue CILGenerator::ShapeOf(clang::QualType type, const clang::Stmt* pWhere) const
{
    SValue value;
    value.eElement = ElementOf(type, pWhere);
    value.nLanes = LanesOf(type);
    return value;
}

uint64_t CILGenerator::TypeSize(clang::QualType type) const
{
    return uint64_t(m_pContext->getTypeSizeInChars(type).getQuantity());
}

// ---------------------------------------------------------------------------------------------
// Registers, literals and instructions.

CILGenerator::SValue CILGenerator::Temp(EElement eElement, unsigned int nLanes)
{
    SValue value;
    value.eElement = eElement;
    value.nLanes = nLanes;
    value.nRegister = m_nNextRegister;
    m_nNextRegister += int(Chunks(value));
    return value;
}

uint32_t CILGenerator::LiteralNumber(uint32_t a, uint32_t b, uint32_t c, uint32_t d)
{
    const std::vector<uint32_t> vKey = {a, b, c, d};
    auto it = m_Literals.find(vKey);
    if (it == m_Literals.end())
    {
        it = m_Literals.emplace(vKey, uint32_t(m_Literals.size())).first;
    }
    m_UsedLiterals.insert(it->second);
    return it->second;
}

// A literal holds a scalar in every lane: 32-bit values in all four components, 64-bit ones
// as (low, high, low, high).
CILGenerator::SValue CILGenerator::Literal(EElement eElement, uint64_t nBits)
{
    SValue value;
    value.eElement = eElement;
    value.bLiteral = true;
    value.nBits = Is64(eElement) ? nBits : (nBits & 0xFFFFFFFFu);
    const uint32_t nLow = uint32_t(nBits);
    const uint32_t nHigh = uint32_t(nBits >> 32);
    value.nRegister = int(Is64(eElement) ? LiteralNumber(nLow, nHigh, nLow, nHigh)
                                         : LiteralNumber(nLow, nLow, nLow, nLow));
    return value;
}

unsigned int CILGenerator::Chunks(const SValue& value)
{
    const unsigned int nPer = LanesPerRegister(value.eElement);
    return (value.nLanes + nPer - 1) / nPer;
}

std::string CILGenerator::Dest(const SValue& value, unsigned int nChunk)
{
    const unsigned int nPer = LanesPerRegister(value.eElement);
    const unsigned int nLanes = std::min(nPer, value.nLanes - nChunk * nPer);
    const unsigned int nComponents = Is64(value.eElement) ? 2 * nLanes : nLanes;
    return "r" + std::to_string(value.nRegister + int(nChunk)) + "." +
           std::string(COMPONENTS, nComponents);
}

std::string CILGenerator::Source(const SValue& value, unsigned int nChunk)
{
    return (value.bLiteral ? "l" : "r") +
           std::to_string(value.nRegister + (value.bLiteral ? 0 : int(nChunk)));
}

std::string CILGenerator::LaneDest(const SValue& value, unsigned int nLane)
{
    const unsigned int nPer = LanesPerRegister(value.eElement);
    const std::string strRegister = "r" + std::to_string(value.nRegister + int(nLane / nPer));
    return Is64(value.eElement) ? strRegister + ((nLane % 2) == 0 ? ".xy" : ".zw")
                                : strRegister + "." + COMPONENTS[nLane % 4];
}

// A lane as a source, in .x (and .y for 64-bit lanes) of the operand.
std::string CILGenerator::LaneSource(const SValue& value, unsigned int nLane)
{
    if (value.bLiteral)
    {
        return "l" + std::to_string(value.nRegister);
    }
    const unsigned int nPer = LanesPerRegister(value.eElement);
    const std::string strRegister = "r" + std::to_string(value.nRegister + int(nLane / nPer));
    if (Is64(value.eElement))
    {
        return strRegister + ((nLane % 2) == 0 ? ".xyxy" : ".zwzw");
    }
    return strRegister + "." + std::string(4, COMPONENTS[nLane % 4]);
}

// The same registers seen as 32-bit words, for the operations that work on bits.
CILGenerator::SValue CILGenerator::AsWords(const SValue& value)
{
    SValue words = value;
    if (Is64(value.eElement))
    {
        words.eElement = E_U32;
        words.nLanes = value.nLanes * 2;
    }
    return words;
}

void CILGenerator::Emit(const std::string& strLine)
{
    m_Body << strLine << "\n";
}

// One instruction per register of the destination; the sources have the destination's shape,
// or are literals.
void CILGenerator::Lanewise(const char* pOp, const SValue& dest,
                            const std::vector<SValue>& vSources)
{
    for (unsigned int c = 0; c < Chunks(dest); ++c)
    {
        std::string strLine = std::string(pOp) + " " + Dest(dest, c);
        for (const SValue& source : vSources)
        {
            strLine += ", " + Source(source, c);
        }
        Emit(strLine);
    }
}

CILGenerator::SValue CILGenerator::Apply(const char* pOp, EElement eResult,
                                         const std::vector<SValue>& vSources)
{
    unsigned int nLanes = 1;
    for (const SValue& source : vSources)
    {
        nLanes = std::max(nLanes, source.bLiteral ? 1u : source.nLanes);
    }
    const SValue result = Temp(eResult, nLanes);
    Lanewise(pOp, result, vSources);
    return result;
}

CILGenerator::SValue CILGenerator::Materialize(const SValue& value)
{
    if (!value.bLiteral)
    {
        return value;
    }
    const SValue result = Temp(value.eElement, value.nLanes);
    Lanewise("mov", result, {value});
    return result;
}

CILGenerator::SValue CILGenerator::Splat(const SValue& scalar, unsigned int nLanes)
{
    SValue result = Temp(scalar.eElement, nLanes);
    if (scalar.bLiteral)
    {
        Lanewise("mov", result, {scalar});
        return result;
    }
    for (unsigned int c = 0; c < Chunks(result); ++c)
    {
        Emit("mov " + Dest(result, c) + ", " + LaneSource(scalar, 0));
    }
    return result;
}

void CILGenerator::Copy(const SValue& dest, const SValue& source)
{
    Lanewise("mov", dest, {source});
}

// 8- and 16-bit values are kept sign- or zero-extended to 32 bits.
CILGenerator::SValue CILGenerator::Normalize(const SValue& value)
{
    const unsigned int nBytes = ElementBytes(value.eElement);
    if (nBytes >= 4)
    {
        return value;
    }
    if (!IsSigned(value.eElement))
    {
        SValue result =
            Apply("iand", value.eElement, {value, Literal(E_U32, nBytes == 1 ? 0xFFu : 0xFFFFu)});
        return result;
    }
    const SValue shift = Literal(E_U32, nBytes == 1 ? 24 : 16);
    SValue shifted = Apply("ishl", value.eElement, {value, shift});
    return Apply("ishr", value.eElement, {shifted, shift});
}

CILGenerator::SValue CILGenerator::Convert(const SValue& value, EElement eTo,
                                           const clang::Stmt* pWhere)
{
    const EElement eFrom = value.eElement;
    if (eFrom == eTo)
    {
        return value;
    }
    SValue result;
    if (!IsFloat(eFrom) && !IsFloat(eTo))
    {
        if (Is64(eFrom) == Is64(eTo))
        {
            SValue retyped = value;
            retyped.eElement = eTo;
            return ElementBytes(eTo) < ElementBytes(eFrom) ||
                           (ElementBytes(eTo) == ElementBytes(eFrom) && ElementBytes(eTo) < 4)
                       ? Normalize(retyped)
                       : retyped;
        }
        if (Is64(eTo))
        {
            result = Join(value, IsSigned(eFrom) ? Apply("ishr", E_I32, {value, Literal(E_U32, 31)})
                                                 : Literal(E_U32, 0));
            result.eElement = eTo;
            return result;
        }
        result = Word(value, false);
        result.eElement = eTo;
        return Normalize(result);
    }
    const char* pOp = nullptr;
    if (eFrom == E_F32 && eTo == E_F64)
    {
        pOp = "f2d";
    }
    else if (eFrom == E_F64 && eTo == E_F32)
    {
        pOp = "d2f";
    }
    else if (IsFloat(eTo) && Is64(eFrom))
    {
        return eTo == E_F64 ? Int64ToDouble(value) : Int64ToFloat(value);
    }
    else if (IsFloat(eFrom) && Is64(eTo))
    {
        return DoubleToInt64(Convert(value, E_F64, pWhere), IsSigned(eTo));
    }
    else if (eTo == E_F32)
    {
        pOp = IsSigned(eFrom) ? "itof" : "utof";
    }
    else if (eTo == E_F64)
    {
        pOp = IsSigned(eFrom) ? "itod" : "utod";
    }
    else if (eFrom == E_F32)
    {
        pOp = IsSigned(eTo) ? "ftoi" : "ftou";
    }
    else
    {
        pOp = IsSigned(eTo) ? "dtoi" : "dtou";
    }
    // The lane layouts differ between 32- and 64-bit elements: convert lane by lane.
    result = Temp(eTo, value.nLanes);
    if (Is64(eFrom) == Is64(eTo))
    {
        Lanewise(pOp, result, {value});
    }
    else
    {
        for (unsigned int l = 0; l < value.nLanes; ++l)
        {
            Emit(std::string(pOp) + " " + LaneDest(result, l) + ", " + LaneSource(value, l));
        }
    }
    return ElementBytes(eTo) < 4 ? Normalize(result) : result;
}

// The high or the low 32-bit word of each 64-bit lane, signed where the high word of a
// signed value is.
CILGenerator::SValue CILGenerator::Word(const SValue& value, bool bHigh)
{
    const SValue source = Materialize(value);
    const SValue result = Temp(bHigh && IsSigned(value.eElement) ? E_I32 : E_U32, value.nLanes);
    for (unsigned int l = 0; l < value.nLanes; ++l)
    {
        const std::string strSource = LaneSource(source, l);
        const std::string strRegister = strSource.substr(0, strSource.find('.'));
        const char cComponent = strSource[strSource.find('.') + (bHigh ? 2 : 1)];
        Emit("mov " + LaneDest(result, l) + ", " + strRegister + "." + std::string(4, cComponent));
    }
    return result;
}

// hi * 2^32 + lo: the product is exact, so the sum is the one rounding.
CILGenerator::SValue CILGenerator::Int64ToDouble(const SValue& value)
{
    const SValue high = Convert(Word(value, true), E_F64, nullptr);
    const SValue low = Convert(Word(value, false), E_F64, nullptr);
    return Apply("dadd", E_F64,
                 {Apply("dmul", E_F64, {high, Literal(E_F64, DoubleBits(4294967296.0))}), low});
}

// Through a double, which holds magnitudes below 2^53 exactly; above, the magnitude keeps its
// top 53 bits and folds the others into a sticky bit, so that the rounding to float, the only
// one, still sees them.
CILGenerator::SValue CILGenerator::Int64ToFloat(const SValue& value)
{
    const SValue source = Materialize(value);
    SValue magnitude = source;
    magnitude.eElement = E_U64;
    const bool bSigned = IsSigned(value.eElement);
    if (bSigned)
    {
        const SValue negative = Apply("i64lt", E_U64, {source, Literal(E_I64, 0)});
        magnitude = Apply("cmov_logical", E_U64,
                          {negative, Apply("i64negate", E_U64, {source}), magnitude});
    }
    const SValue rest = Apply("iand", E_U32, {Word(magnitude, false), Literal(E_U32, 0x7FF)});
    const SValue sticky = Convert(Apply("umin", E_U32, {rest, Literal(E_U32, 1)}), E_U64, nullptr);
    const SValue folded =
        Apply("ior", E_U64, {Apply("u64shr", E_U64, {magnitude, Literal(E_U64, 11)}), sticky});
    const SValue big =
        Apply("dmul", E_F64, {Int64ToDouble(folded), Literal(E_F64, DoubleBits(2048.0))});
    const SValue isBig = Apply("u64ge", E_U64, {magnitude, Literal(E_U64, uint64_t(1) << 53)});
    SValue result = Convert(Apply("cmov_logical", E_F64, {isBig, big, Int64ToDouble(magnitude)}),
                            E_F32, nullptr);
    if (bSigned)
    {
        // A magnitude's float has no sign bit: the value's own goes there.
        const SValue sign = Apply("iand", E_U32, {Word(source, true), Literal(E_U32, 0x80000000u)});
        result = Apply("ior", E_U32, {result, sign});
        result.eElement = E_F32;
    }
    return result;
}

// |value| of doubles: the sign bit cleared.
CILGenerator::SValue CILGenerator::DoubleMagnitude(const SValue& value)
{
    SValue result = Apply("iand", E_U32, {AsWords(value), Literal(E_U64, 0x7FFFFFFFFFFFFFFFull)});
    result.eElement = E_F64;
    result.nLanes = value.nLanes;
    return result;
}

// Truncated and saturated, NaN to 0, as the 32-bit conversions are: the high word is the
// magnitude / 2^32, the low word what remains, both converted by the saturating dtou.
CILGenerator::SValue CILGenerator::DoubleToInt64(const SValue& valueIn, bool bSigned)
{
    const SValue value = Materialize(valueIn);
    const SValue wide = bSigned ? DoubleMagnitude(value) : value;
    const SValue highWord =
        Convert(Apply("dmul", E_F64, {wide, Literal(E_F64, DoubleBits(1.0 / 4294967296.0))}), E_U32,
                nullptr);
    const SValue rest = Apply("dsub", E_F64,
                              {wide, Apply("dmul", E_F64,
                                           {Convert(highWord, E_F64, nullptr),
                                            Literal(E_F64, DoubleBits(4294967296.0))})});
    SValue result = Join(Convert(rest, E_U32, nullptr), highWord);
    if (!bSigned)
    {
        return result;
    }
    const SValue negative = Apply("dlt", E_U64, {value, Literal(E_F64, 0)});
    const SValue positive = Apply("u64min", E_U64, {result, Literal(E_U64, 0x7FFFFFFFFFFFFFFFull)});
    const SValue negated =
        Apply("i64negate", E_U64,
              {Apply("u64min", E_U64, {result, Literal(E_U64, 0x8000000000000000ull)})});
    result = Apply("cmov_logical", E_I64, {negative, negated, positive});
    return result;
}

// A double rounded to an integral double. Below 2^52 through its truncation, a 64-bit integer,
// and the fraction that remains; from 2^52 up (and NaN, the infinities) it is integral already.
CILGenerator::SValue CILGenerator::RoundDouble(const SValue& valueIn, ERounding eRounding)
{
    const SValue value = Materialize(valueIn);
    const SValue integer = DoubleToInt64(value, true);
    const SValue truncated = Int64ToDouble(integer);
    const SValue fraction = Apply("dsub", E_F64, {value, truncated});
    auto constant = [this](double d) { return Literal(E_F64, DoubleBits(d)); };
    auto step = [&](const SValue& mask) {
        return Apply("cmov_logical", E_F64, {mask, constant(1.0), constant(0.0)});
    };
    SValue up;
    SValue down;
    if (eRounding == R_Up)
    {
        up = Apply("dlt", E_U64, {constant(0.0), fraction});
    }
    else if (eRounding == R_Down)
    {
        down = Apply("dlt", E_U64, {fraction, constant(0.0)});
    }
    else
    {
        // Halves go to the even neighbour.
        const SValue odd =
            Apply("i64ne", E_U64,
                  {Apply("iand", E_U64, {integer, Literal(E_U64, 1)}), Literal(E_U64, 0)});
        auto beyond = [&](const SValue& above, const SValue& below, double dHalf)
        {
            return Apply(
                "ior", E_U64,
                {Apply("dlt", E_U64, {above, below}),
                 Apply("iand", E_U64, {Apply("deq", E_U64, {fraction, constant(dHalf)}), odd})});
        };
        up = beyond(constant(0.5), fraction, 0.5);
        down = beyond(fraction, constant(-0.5), -0.5);
    }
    SValue rounded = truncated;
    if (eRounding != R_Down)
    {
        rounded = Apply("dadd", E_F64, {rounded, step(up)});
    }
    if (eRounding != R_Up)
    {
        rounded = Apply("dsub", E_F64, {rounded, step(down)});
    }
    const SValue small =
        Apply("dlt", E_U64, {DoubleMagnitude(value), constant(4503599627370496.0)});
    return Apply("cmov_logical", E_F64, {small, rounded, value});
}

// 2^t of doubles t, as floats within about 1.5 ulp: t = hi + lo with hi a float, 2^hi from
// exp_vec and 2^lo ~ 1 + lo ln 2, since lo is below 2^-17. Beyond +-200 every float result is 0
// or infinite, which keeps lo finite.
CILGenerator::SValue CILGenerator::Exp2Precise(const SValue& t)
{
    auto constant = [this](double d) { return Literal(E_F64, DoubleBits(d)); };
    const SValue clamped =
        Apply("dmin", E_F64, {Apply("dmax", E_F64, {t, constant(-200.0)}), constant(200.0)});
    const SValue high = Convert(clamped, E_F32, nullptr);
    const SValue low =
        Convert(Apply("dsub", E_F64, {clamped, Convert(high, E_F64, nullptr)}), E_F32, nullptr);
    const SValue power = Apply("exp_vec", E_F32, {high});
    SValue result = Apply(
        "mad", E_F32,
        {power, Apply("mul", E_F32, {low, Literal(E_F32, FloatBits(0.6931471805599453f))}), power});
    // An infinite 2^hi stays infinite whatever the sign of lo.
    result = Apply("cmov_logical", E_F32,
                   {Apply("eq", E_U32, {power, Literal(E_F32, 0x7F800000u)}), power, result});
    const SValue nan = Word(Apply("dne", E_U64, {t, t}), false);
    return Apply("cmov_logical", E_F32, {nan, Literal(E_F32, 0x7FC00000u), result});
}

// log2 of positive floats as doubles, to about 2^-50: x = m 2^e with m in [sqrt(1/2), sqrt(2)),
// and ln m = 2 atanh(s), s = (m - 1) / (m + 1), by its series to s^17. Zero, the infinities and
// NaN take log_vec's answer, which is exact for them.
CILGenerator::SValue CILGenerator::Log2Precise(const SValue& x)
{
    auto word = [this](uint32_t n) { return Literal(E_U32, n); };
    auto constant = [this](double d) { return Literal(E_F64, DoubleBits(d)); };
    // Subnormals are scaled by 2^24 first.
    const SValue subnormal = Apply("ult", E_U32, {x, word(0x00800000u)});
    const SValue scaled =
        Apply("cmov_logical", E_U32,
              {subnormal, Apply("mul", E_F32, {x, Literal(E_F32, FloatBits(16777216.0f))}), x});
    const SValue bias = Apply("cmov_logical", E_I32, {subnormal, word(127 + 24), word(127)});
    SValue mantissa =
        Apply("ior", E_U32, {Apply("iand", E_U32, {scaled, word(0x007FFFFFu)}), word(0x3F800000u)});
    const SValue large = Apply("ult", E_U32, {word(0x3FB504F3u), mantissa});
    mantissa = Apply("isub", E_U32, {mantissa, Apply("iand", E_U32, {large, word(0x00800000u)})});
    mantissa.eElement = E_F32;
    const SValue exponent =
        Apply("iadd", E_I32,
              {Apply("isub", E_I32, {Apply("ushr", E_U32, {scaled, word(23)}), bias}),
               Apply("iand", E_U32, {large, word(1)})});
    const SValue m = Convert(mantissa, E_F64, nullptr);
    const SValue s =
        Apply("ddiv", E_F64,
              {Apply("dsub", E_F64, {m, constant(1.0)}), Apply("dadd", E_F64, {m, constant(1.0)})});
    const SValue s2 = Apply("dmul", E_F64, {s, s});
    SValue series = constant(1.0 / 17.0);
    for (int n = 15; n >= 1; n -= 2)
    {
        series = Apply("dmad", E_F64, {s2, Materialize(series), constant(1.0 / n)});
    }
    const SValue logM = Apply("dmul", E_F64, {Apply("dadd", E_F64, {s, s}), series});
    const SValue result = Apply(
        "dmad", E_F64, {logM, constant(1.4426950408889634), Convert(exponent, E_F64, nullptr)});
    const SValue finite = Apply("iand", E_U32,
                                {Apply("lt", E_U32, {Literal(E_F32, 0), x}),
                                 Apply("lt", E_U32, {x, Literal(E_F32, 0x7F800000u)})});
    const SValue special = Convert(Apply("log_vec", E_F32, {x}), E_F64, nullptr);
    return Apply("cmov_logical", E_F64, {Join(finite, finite), result, special});
}

// pow as 2^(y log2 |x|) in double precision, then C's special cases: the sign of odd integer
// powers of negative x, NaN for negative x to a finite non-integer power, and 1 for y = 0,
// x = 1, and |x| = 1 to an infinite power. powr is NaN for every negative x.
CILGenerator::SValue CILGenerator::Power(const SValue& x, const SValue& y, bool bPowr)
{
    auto word = [this](uint32_t n) { return Literal(E_U32, n); };
    auto constant = [this](float f) { return Literal(E_F32, FloatBits(f)); };
    const SValue magnitude = Apply("abs", E_F32, {x});
    SValue result =
        Exp2Precise(Apply("dmul", E_F64, {Convert(y, E_F64, nullptr), Log2Precise(magnitude)}));
    const SValue yMagnitude = Apply("abs", E_F32, {y});
    const SValue integral = Apply("eq", E_U32, {Apply("round_z", E_F32, {y}), y});
    const SValue odd = Apply(
        "iand", E_U32,
        {Apply("iand", E_U32, {integral, Apply("lt", E_U32, {yMagnitude, constant(16777216.0f)})}),
         Apply("ine", E_U32,
               {Apply("iand", E_U32, {Apply("ftoi", E_I32, {y}), word(1)}), word(0)})});
    const SValue negative =
        Apply("ine", E_U32, {Apply("iand", E_U32, {x, word(0x80000000u)}), word(0)});
    result = Apply(
        "ixor", E_F32,
        {result, Apply("iand", E_U32, {Apply("iand", E_U32, {negative, odd}), word(0x80000000u)})});
    SValue invalid = Apply("lt", E_U32, {x, constant(0.0f)});
    if (!bPowr)
    {
        invalid =
            Apply("iand", E_U32,
                  {invalid, Apply("iand", E_U32,
                                  {Apply("lt", E_U32, {magnitude, Literal(E_F32, 0x7F800000u)}),
                                   Apply("ieq", E_U32, {integral, word(0)})})});
    }
    result = Apply("cmov_logical", E_F32, {invalid, Literal(E_F32, 0x7FC00000u), result});
    if (bPowr)
    {
        return result;
    }
    const SValue unit = Apply(
        "ior", E_U32,
        {Apply("ior", E_U32,
               {Apply("eq", E_U32, {y, constant(0.0f)}), Apply("eq", E_U32, {x, constant(1.0f)})}),
         Apply("iand", E_U32,
               {Apply("eq", E_U32, {magnitude, constant(1.0f)}),
                Apply("eq", E_U32, {yMagnitude, Literal(E_F32, 0x7F800000u)})})});
    return Apply("cmov_logical", E_F32, {unit, constant(1.0f), result});
}

// A 64-bit value per lane from its low and high words.
CILGenerator::SValue CILGenerator::Join(const SValue& low, const SValue& high)
{
    const SValue result = Temp(E_U64, low.nLanes);
    for (unsigned int l = 0; l < low.nLanes; ++l)
    {
        Emit("mov " + WordDest(result, l, false) + ", " + LaneSource(low, l));
        Emit("mov " + WordDest(result, l, true) + ", " + LaneSource(high, l));
    }
    return result;
}

std::string CILGenerator::WordDest(const SValue& value, unsigned int nLane, bool bHigh)
{
    const std::string strDest = LaneDest(value, nLane);
    const bool bFirst = strDest.substr(strDest.find('.') + 1) == "xy";
    return strDest.substr(0, strDest.find('.')) +
           (bFirst ? (bHigh ? ".y" : ".x") : (bHigh ? ".w" : ".z"));
}

// A 32-bit value per lane that is not zero exactly where the value is not zero.
CILGenerator::SValue CILGenerator::ToCondition(const SValue& value)
{
    if (value.eElement == E_F32)
    {
        return Apply("ne", E_I32, {value, Literal(E_F32, 0)});
    }
    if (value.eElement == E_F64)
    {
        const SValue mask = Apply("dne", E_I64, {value, Literal(E_F64, 0)});
        SValue low = Temp(E_I32, value.nLanes);
        for (unsigned int l = 0; l < value.nLanes; ++l)
        {
            Emit("mov " + LaneDest(low, l) + ", " + LaneSource(mask, l));
        }
        return low;
    }
    if (Is64(value.eElement))
    {
        SValue low = Temp(E_I32, value.nLanes);
        for (unsigned int l = 0; l < value.nLanes; ++l)
        {
            const std::string strSource = LaneSource(value, l);
            const std::string strRegister = strSource.substr(0, strSource.find('.'));
            const std::string strSwizzle = strSource.substr(strSource.find('.') + 1);
            Emit("ior " + LaneDest(low, l) + ", " + strRegister + "." +
                 std::string(4, strSwizzle[0]) + ", " + strRegister + "." +
                 std::string(4, strSwizzle[1]));
        }
        return low;
    }
    return value;
}

// Comparison masks are -1 per lane; a scalar comparison gives 1.
CILGenerator::SValue CILGenerator::CompareResult(const SValue& mask, clang::QualType type)
{
    if (LanesOf(type) > 1)
    {
        SValue result = mask;
        result.eElement = ElementOf(type, nullptr);
        return result;
    }
    SValue low = mask;
    if (Is64(mask.eElement))
    {
        low = Temp(E_I32, 1);
        Emit("mov " + LaneDest(low, 0) + ", " + LaneSource(mask, 0));
    }
    low.eElement = E_I32;
    return Convert(Apply("iand", E_I32, {low, Literal(E_I32, 1)}), ElementOf(type, nullptr),
                   nullptr);
}

CILGenerator::SValue CILGenerator::Extract(const SValue& value, const std::vector<unsigned>& vLanes)
{
    SValue result = Temp(value.eElement, unsigned(vLanes.size()));
    for (size_t l = 0; l < vLanes.size(); ++l)
    {
        Emit("mov " + LaneDest(result, unsigned(l)) + ", " + LaneSource(value, vLanes[l]));
    }
    return result;
}

void CILGenerator::Insert(const SValue& dest, const std::vector<unsigned>& vLanes,
                          const SValue& source)
{
    for (size_t l = 0; l < vLanes.size(); ++l)
    {
        Emit("mov " + LaneDest(dest, vLanes[l]) + ", " +
             LaneSource(source, source.nLanes == 1 ? 0 : unsigned(l)));
    }
}

CILGenerator::SValue CILGenerator::AddressAdd(const SValue& address, const SValue& byteOffset)
{
    if (Is64(address.eElement))
    {
        return Apply("i64add", address.eElement, {address, byteOffset});
    }
    return Apply("iadd", address.eElement, {address, byteOffset});
}

CILGenerator::SValue CILGenerator::AddressAddConstant(const SValue& address, int64_t nOffset)
{
    if (nOffset == 0)
    {
        return address;
    }
    if (address.bLiteral)
    {
        return Literal(address.eElement, address.nBits + uint64_t(nOffset));
    }
    return AddressAdd(address, Literal(address.eElement, uint64_t(nOffset)));
}

// ---------------------------------------------------------------------------------------------
// Memory: global memory through UAV 11, private memory through private UAV 8, local memory
// through the LDS. Words go four to an instruction; bytes and shorts one lane at a time.

std::string CILGenerator::MemoryOp(const char* pGlobal, const char* pLocal, ESpace eSpace) const
{
    if (eSpace == S_Local)
    {
        return std::string(pLocal) + "_id(" + std::to_string(LDS_ID) + ")";
    }
    if (eSpace == S_Private)
    {
        return std::string(pGlobal) + "_id(" + std::to_string(PRIVATE_UAV) + ")";
    }
    return std::string(pGlobal) + "_id(" + std::to_string(GLOBAL_UAV) + ")" +
           (m_Target.b64Bit ? "_a64" : "");
}

std::string CILGenerator::AddressOperand(const SValue& address) const
{
    return LaneSource(address, 0);
}

// Private memory of the older families is the indexed temp x1, 16 bytes to an element: a word's
// element and component come from its byte address.
std::string CILGenerator::IndexedWord(const SValue& address, std::string& strComponent,
                                      SValue& component)
{
    if (address.bLiteral)
    {
        strComponent = std::string(1, COMPONENTS[(address.nBits / 4) % 4]);
        return "x1[" + std::to_string(address.nBits / 16) + "]";
    }
    const SValue index = Apply("ushr", E_U32, {address, Literal(E_U32, 4)});
    component = Apply("iand", E_U32,
                      {Apply("ushr", E_U32, {address, Literal(E_U32, 2)}), Literal(E_U32, 3)});
    strComponent.clear();
    return "x1[" + LaneDest(index, 0) + "]";
}

void CILGenerator::LoadIndexedWords(const SValue& address, const SValue& words)
{
    for (unsigned int w = 0; w < words.nLanes; ++w)
    {
        std::string strComponent;
        SValue component;
        const std::string strElement =
            IndexedWord(AddressAddConstant(address, 4 * int64_t(w)), strComponent, component);
        if (!strComponent.empty())
        {
            Emit("mov " + LaneDest(words, w) + ", " + strElement + "." +
                 std::string(4, strComponent[0]));
            continue;
        }
        const SValue element = Temp(E_U32, 4);
        Emit("mov " + Dest(element, 0) + ", " + strElement);
        Emit("mov " + LaneDest(words, w) + ", " + LaneSource(element, 0));
        for (unsigned int c = 1; c < 4; ++c)
        {
            const SValue match = Apply("ieq", E_U32, {component, Literal(E_U32, c)});
            Emit("cmov_logical " + LaneDest(words, w) + ", " + LaneSource(match, 0) + ", " +
                 LaneSource(element, c) + ", " + LaneSource(words, w));
        }
    }
}

void CILGenerator::StoreIndexedWords(const SValue& address, const SValue& words)
{
    for (unsigned int w = 0; w < words.nLanes; ++w)
    {
        std::string strComponent;
        SValue component;
        const std::string strElement =
            IndexedWord(AddressAddConstant(address, 4 * int64_t(w)), strComponent, component);
        if (!strComponent.empty())
        {
            Emit("mov " + strElement + "." + strComponent + ", " + LaneSource(words, w));
            continue;
        }
        const SValue element = Temp(E_U32, 4);
        Emit("mov " + Dest(element, 0) + ", " + strElement);
        for (unsigned int c = 0; c < 4; ++c)
        {
            const SValue match = Apply("ieq", E_U32, {component, Literal(E_U32, c)});
            Emit("cmov_logical " + LaneDest(element, c) + ", " + LaneSource(match, 0) + ", " +
                 LaneSource(words, w) + ", " + LaneSource(element, c));
        }
        Emit("mov " + strElement + ", " + Source(element, 0));
    }
}

CILGenerator::SValue CILGenerator::LoadMemory(ESpace eSpace, const SValue& address,
                                              EElement eElement, unsigned int nLanes)
{
    SValue result = Temp(eElement, nLanes);
    const unsigned int nBytes = ElementBytes(eElement);
    if (eSpace == S_Private && !m_Target.b64Bit)
    {
        if (nBytes < 4)
        {
            Refuse(static_cast<const clang::Stmt*>(nullptr),
                   "8- and 16-bit values in private memory need the private UAV of the "
                   "64-bit families");
        }
        LoadIndexedWords(address, AsWords(result));
        return result;
    }
    if (nBytes >= 4)
    {
        for (unsigned int c = 0; c < Chunks(result); ++c)
        {
            const SValue chunkAddress = AddressAddConstant(address, 16 * int64_t(c));
            if (eSpace == S_Local)
            {
                Emit(MemoryOp("", "lds_load_vec", eSpace) + " " + Dest(result, c) + ", " +
                     AddressOperand(chunkAddress) + ", " + Source(Literal(E_U32, 0), 0));
            }
            else
            {
                Emit(MemoryOp("uav_raw_load", "", eSpace) + " " + Dest(result, c) + ", " +
                     AddressOperand(chunkAddress));
            }
        }
        return result;
    }
    const bool bSigned = IsSigned(eElement);
    const char* pGlobal = nBytes == 1 ? (bSigned ? "uav_byte_load" : "uav_ubyte_load")
                                      : (bSigned ? "uav_short_load" : "uav_ushort_load");
    const char* pLocal = nBytes == 1 ? (bSigned ? "lds_load_byte" : "lds_load_ubyte")
                                     : (bSigned ? "lds_load_short" : "lds_load_ushort");
    for (unsigned int l = 0; l < nLanes; ++l)
    {
        const SValue laneAddress = AddressAddConstant(address, int64_t(l) * nBytes);
        Emit(MemoryOp(pGlobal, pLocal, eSpace) + " " + LaneDest(result, l) + ", " +
             AddressOperand(laneAddress));
    }
    return result;
}

void CILGenerator::StoreMemory(ESpace eSpace, const SValue& address, const SValue& value)
{
    const unsigned int nBytes = ElementBytes(value.eElement);
    if (eSpace == S_Private && !m_Target.b64Bit)
    {
        if (nBytes < 4)
        {
            Refuse(static_cast<const clang::Stmt*>(nullptr),
                   "8- and 16-bit values in private memory need the private UAV of the "
                   "64-bit families");
        }
        StoreIndexedWords(address, AsWords(value));
        return;
    }
    if (nBytes >= 4)
    {
        for (unsigned int c = 0; c < Chunks(value); ++c)
        {
            const SValue chunkAddress = AddressAddConstant(address, 16 * int64_t(c));
            const std::string strDest = Dest(value, c);
            const std::string strMask = "mem0" + strDest.substr(strDest.find('.'));
            if (eSpace == S_Local)
            {
                Emit(MemoryOp("", "lds_store_vec", eSpace) + " " + strMask + ", " +
                     AddressOperand(chunkAddress) + ", " + Source(Literal(E_U32, 0), 0) + ", " +
                     Source(value, c));
            }
            else
            {
                Emit(MemoryOp("uav_raw_store", "", eSpace) + " " + strMask + ", " +
                     AddressOperand(chunkAddress) + ", " + Source(value, c));
            }
        }
        return;
    }
    for (unsigned int l = 0; l < value.nLanes; ++l)
    {
        const SValue laneAddress = AddressAddConstant(address, int64_t(l) * nBytes);
        if (eSpace == S_Local)
        {
            Emit(MemoryOp("", nBytes == 1 ? "lds_store_byte" : "lds_store_short", eSpace) + " " +
                 AddressOperand(laneAddress) + ", " + LaneSource(value, l));
        }
        else
        {
            Emit(MemoryOp(nBytes == 1 ? "uav_byte_store" : "uav_short_store", "", eSpace) +
                 " mem0.x, " + AddressOperand(laneAddress) + ", " + LaneSource(value, l));
        }
    }
}

bool CILGenerator::IsRegisterType(clang::QualType type)
{
    return type->isScalarType() || type->isVectorType() || type->isEventT();
}

CILGenerator::SValue CILGenerator::Load(const SLValue& lvalue, const clang::Stmt* pWhere)
{
    if (!lvalue.bMemory)
    {
        return lvalue.vLanes.empty() ? lvalue.value : Extract(lvalue.value, lvalue.vLanes);
    }
    const clang::QualType type = lvalue.type.getCanonicalType();
    if (!IsRegisterType(type))
    {
        Refuse(pWhere, "a value of type '" + TypeName(lvalue.type) +
                           "' can't be held in registers; copy its members one by one");
    }
    const SValue shape = ShapeOf(type, pWhere);
    SValue result = LoadMemory(lvalue.eSpace, lvalue.value, shape.eElement, shape.nLanes);
    if (!lvalue.vLanes.empty())
    {
        result = Extract(result, lvalue.vLanes);
    }
    return result;
}

void CILGenerator::Store(const SLValue& lvalue, const SValue& value, const clang::Stmt* pWhere)
{
    if (!lvalue.bMemory)
    {
        if (lvalue.vLanes.empty())
        {
            Copy(lvalue.value, value);
        }
        else
        {
            Insert(lvalue.value, lvalue.vLanes, value);
        }
        return;
    }
    const clang::QualType type = lvalue.type.getCanonicalType();
    if (!IsRegisterType(type))
    {
        Refuse(pWhere, "assignment of a whole '" + TypeName(lvalue.type) +
                           "' is not supported; assign its members one by one");
    }
    if (lvalue.vLanes.empty())
    {
        StoreMemory(lvalue.eSpace, lvalue.value, Materialize(value));
        return;
    }
    // A swizzle of a vector in memory: read, change the lanes, write back.
    const SValue shape = ShapeOf(type, pWhere);
    const SValue whole = LoadMemory(lvalue.eSpace, lvalue.value, shape.eElement, shape.nLanes);
    Insert(whole, lvalue.vLanes, value);
    StoreMemory(lvalue.eSpace, lvalue.value, whole);
}

uint32_t CILGenerator::AllocatePrivate(uint64_t nBytes)
{
    const uint32_t nOffset = m_nPrivateBytes;
    m_nPrivateBytes += uint32_t((nBytes + 15) / 16 * 16);
    m_bPrivateUsed = true;
    return nOffset;
}

CILGenerator::SValue CILGenerator::MemoryAddress(const SLValue& lvalue,
                                                 const clang::Stmt* pWhere) const
{
    if (!lvalue.bMemory || !lvalue.vLanes.empty())
    {
        Refuse(pWhere, "the address of a value held in registers can't be taken here");
    }
    return lvalue.value;
}

void CILGenerator::CopyMemory(const SLValue& dest, const SLValue& source, uint64_t nBytes)
{
    for (uint64_t nOffset = 0; nOffset < nBytes;)
    {
        const unsigned int nWords = unsigned(std::min<uint64_t>(4, (nBytes - nOffset) / 4));
        const EElement eElement = nWords > 0 ? E_U32 : E_U8;
        const unsigned int nLanes = nWords > 0 ? nWords : 1;
        const SValue value = LoadMemory(
            source.eSpace, AddressAddConstant(source.value, int64_t(nOffset)), eElement, nLanes);
        StoreMemory(dest.eSpace, AddressAddConstant(dest.value, int64_t(nOffset)), value);
        nOffset += nWords > 0 ? 4 * nWords : 1;
    }
}

// ---------------------------------------------------------------------------------------------
// The program.

namespace
{
void ForEachCall(const clang::Stmt* pStmt, const std::function<void(const clang::CallExpr*)>& fn)
{
    if (pStmt == nullptr)
    {
        return;
    }
    if (const auto* pCall = llvm::dyn_cast<clang::CallExpr>(pStmt))
    {
        fn(pCall);
    }
    for (const clang::Stmt* pChild : pStmt->children())
    {
        ForEachCall(pChild, fn);
    }
}

bool HasReturnBeforeEnd(const clang::Stmt* pStmt, bool bLast)
{
    if (pStmt == nullptr)
    {
        return false;
    }
    if (llvm::isa<clang::ReturnStmt>(pStmt))
    {
        return !bLast;
    }
    if (const auto* pCompound = llvm::dyn_cast<clang::CompoundStmt>(pStmt))
    {
        size_t i = 0;
        for (const clang::Stmt* pChild : pCompound->body())
        {
            ++i;
            if (HasReturnBeforeEnd(pChild, bLast && i == pCompound->size()))
            {
                return true;
            }
        }
        return false;
    }
    for (const clang::Stmt* pChild : pStmt->children())
    {
        if (HasReturnBeforeEnd(pChild, false))
        {
            return true;
        }
    }
    return false;
}
} // namespace

// The body a call runs: the callee's own, or the one another unit gives a function of that name.
const clang::FunctionDecl* CILGenerator::DefinitionOf(const clang::FunctionDecl* pCallee) const
{
    const clang::FunctionDecl* pDefinition = pCallee->getDefinition();
    if (pDefinition == nullptr && IsUserFunction(pCallee) && pCallee->isExternallyVisible())
    {
        auto it = m_Definitions.find(pCallee->getNameAsString());
        pDefinition = it != m_Definitions.end() ? it->second : nullptr;
    }
    return pDefinition != nullptr && pDefinition->hasBody() ? pDefinition : nullptr;
}

// Declared by the program rather than by the OpenCL C headers, which declare the built-ins.
bool CILGenerator::IsUserFunction(const clang::FunctionDecl* pFunction) const
{
    return !pFunction->isImplicit() &&
           !pFunction->getASTContext().getSourceManager().isInSystemHeader(
               pFunction->getLocation());
}

void CILGenerator::CollectFunctions(const clang::FunctionDecl* pFunction, const clang::Stmt* pStmt,
                                    std::vector<const clang::FunctionDecl*>& vPath)
{
    ForEachCall(pStmt,
                [&](const clang::CallExpr* pCall)
                {
                    m_pContext = &pFunction->getASTContext();
                    const clang::FunctionDecl* pCallee = pCall->getDirectCallee();
                    if (pCallee == nullptr)
                    {
                        Refuse(pCall, "calls through function pointers are not supported");
                    }
                    const clang::FunctionDecl* pDefinition = DefinitionOf(pCallee);
                    if (pDefinition == nullptr && IsUserFunction(pCallee))
                    {
                        Refuse(pCall, "function '" + pCallee->getNameAsString() +
                                          "' is declared but no program defines it");
                    }
                    if (pDefinition == nullptr)
                    {
                        return;
                    }
                    if (std::find(vPath.begin(), vPath.end(), pDefinition) != vPath.end())
                    {
                        Refuse(pCall, "recursion is not supported: '" +
                                          pDefinition->getNameAsString() +
                                          "' is called while it runs (from '" +
                                          pFunction->getNameAsString() + "')");
                    }
                    if (pDefinition->hasAttr<clang::OpenCLKernelAttr>())
                    {
                        Refuse(pCall, "calling kernel '" + pDefinition->getNameAsString() +
                                          "' from a function is not supported");
                    }
                    if (m_Functions.count(pDefinition) == 0)
                    {
                        SFunction& function = m_Functions[pDefinition];
                        function.pDecl = pDefinition;
                        m_vOrder.push_back(pDefinition);
                    }
                    vPath.push_back(pDefinition);
                    CollectFunctions(pDefinition, pDefinition->getBody(), vPath);
                    vPath.pop_back();
                });
}

void CILGenerator::FindAddressTaken(const clang::Stmt* pStmt)
{
    if (pStmt == nullptr)
    {
        return;
    }
    if (const auto* pUnary = llvm::dyn_cast<clang::UnaryOperator>(pStmt))
    {
        if (pUnary->getOpcode() == clang::UO_AddrOf)
        {
            const clang::Expr* pTarget = pUnary->getSubExpr()->IgnoreParenImpCasts();
            while (true)
            {
                if (const auto* pMember = llvm::dyn_cast<clang::MemberExpr>(pTarget))
                {
                    pTarget = pMember->getBase()->IgnoreParenImpCasts();
                }
                else if (const auto* pElement =
                             llvm::dyn_cast<clang::ExtVectorElementExpr>(pTarget))
                {
                    pTarget = pElement->getBase()->IgnoreParenImpCasts();
                }
                else
                {
                    break;
                }
            }
            if (const auto* pRef = llvm::dyn_cast<clang::DeclRefExpr>(pTarget))
            {
                if (const auto* pVar = llvm::dyn_cast<clang::VarDecl>(pRef->getDecl()))
                {
                    m_AddressTaken.insert(pVar);
                }
            }
        }
    }
    for (const clang::Stmt* pChild : pStmt->children())
    {
        FindAddressTaken(pChild);
    }
}

bool CILGenerator::Generate(std::string& strIL, std::string& strLog)
{
    try
    {
        std::vector<const clang::FunctionDecl*> vKernels;
        for (clang::ASTContext* pUnit : m_vUnits)
        {
            for (const clang::Decl* pDecl : pUnit->getTranslationUnitDecl()->decls())
            {
                const auto* pFunction = llvm::dyn_cast<clang::FunctionDecl>(pDecl);
                if (pFunction == nullptr || !pFunction->doesThisDeclarationHaveABody())
                {
                    continue;
                }
                // Functions of external linkage are what other units may call.
                if (pFunction->isExternallyVisible() &&
                    !m_Definitions.emplace(pFunction->getNameAsString(), pFunction).second)
                {
                    Refuse(pFunction, "'" + pFunction->getNameAsString() +
                                          "' is defined in more than one program");
                }
                if (pFunction->hasAttr<clang::OpenCLKernelAttr>())
                {
                    vKernels.push_back(pFunction);
                    SFunction& kernel = m_Functions[pFunction];
                    kernel.pDecl = pFunction;
                    kernel.bKernel = true;
                }
            }
        }
        if (vKernels.empty())
        {
            strLog += "error: the program has no kernel\n";
            return false;
        }
        m_vOrder = vKernels;
        for (const clang::FunctionDecl* pKernel : vKernels)
        {
            std::vector<const clang::FunctionDecl*> vPath = {pKernel};
            CollectFunctions(pKernel, pKernel->getBody(), vPath);
        }
        uint32_t nLabel = FIRST_LABEL;
        for (const clang::FunctionDecl* pDecl : m_vOrder)
        {
            SFunction& function = m_Functions[pDecl];
            function.nLabel = nLabel++;
            m_pContext = &pDecl->getASTContext();
            FindAddressTaken(pDecl->getBody());
            if (function.bKernel)
            {
                continue;
            }
            for (const clang::ParmVarDecl* pParameter : pDecl->parameters())
            {
                if (m_AddressTaken.count(pParameter) != 0)
                {
                    Refuse(pParameter, "taking the address of a parameter is not supported");
                }
                if (!pParameter->getType()->isScalarType() &&
                    !pParameter->getType()->isVectorType())
                {
                    Refuse(pParameter, "parameters of type '" + TypeName(pParameter->getType()) +
                                           "' are not supported; pass a pointer");
                }
                const SValue shape = ShapeOf(pParameter->getType(), nullptr);
                function.vParameters.push_back(Temp(shape.eElement, shape.nLanes));
            }
            if (!pDecl->getReturnType()->isVoidType())
            {
                if (!pDecl->getReturnType()->isScalarType() &&
                    !pDecl->getReturnType()->isVectorType())
                {
                    Refuse(pDecl, "functions returning '" + TypeName(pDecl->getReturnType()) +
                                      "' are not supported");
                }
                const SValue shape = ShapeOf(pDecl->getReturnType(), nullptr);
                function.result = Temp(shape.eElement, shape.nLanes);
            }
        }
        for (const clang::FunctionDecl* pDecl : m_vOrder)
        {
            GenerateFunction(m_Functions[pDecl]);
        }
        strIL = ProgramText();
        return true;
    }
    catch (const SRefusal& refusal)
    {
        strLog += Where(refusal) + ": error: " + refusal.strMessage + "\n";
        return false;
    }
}

// The IL of the whole program: the main program with the entry marker, then each function.
std::string CILGenerator::ProgramText()
{
    std::ostringstream il;
    il << "il_cs_2_0\ndcl_cb cb0[16]\n;$$$$$$$$$$\nendmain\n";
    std::map<uint32_t, std::vector<uint32_t>> literals;
    for (const auto& entry : m_Literals)
    {
        literals[entry.second] = entry.first;
    }
    for (const clang::FunctionDecl* pDecl : m_vOrder)
    {
        const SFunction& function = m_Functions[pDecl];
        il << "func " << function.nLabel << "\n";
        if (function.bKernel)
        {
            uint32_t nRows = 0;
            il << KernelMetadata(function, nRows);
            if (nRows > 0)
            {
                il << "dcl_cb cb1[" << nRows << "]\n";
            }
            il << (m_Target.b64Bit ? "dcl_typeless_uav_id(11)_type(0)_stride(4)_length(4)\n"
                                   : "dcl_raw_uav_id(11)\n");
            if (m_bPrivateUsed && !m_Target.b64Bit)
            {
                il << "dcl_indexed_temp_array x1[" << m_nPrivateBytes / 16 << "]\n";
            }
            else if (m_bPrivateUsed)
            {
                il << "dcl_typeless_uav_id(" << PRIVATE_UAV << ")_type(3)_stride(4)_length("
                   << m_nPrivateBytes << ")\n";
            }
            il << "dcl_max_thread_per_group 256\n";
        }
        else
        {
            il << ";" << CommentText(pDecl->getNameAsString()) << "\n";
        }
        for (uint32_t nLiteral : m_FunctionLiterals[&function])
        {
            const std::vector<uint32_t>& vValues = literals[nLiteral];
            il << "dcl_literal l" << nLiteral << ", " << Hex(vValues[0]) << ", " << Hex(vValues[1])
               << ", " << Hex(vValues[2]) << ", " << Hex(vValues[3]) << "\n";
        }
        il << m_Bodies[&function] << "ret\nendfunc\n";
    }
    il << "end\n";
    return il.str();
}

std::string CILGenerator::KernelMetadata(const SFunction& function, uint32_t& nCb1Rows)
{
    const std::string strFunction = "__OpenCL_" + function.pDecl->getNameAsString() + "_kernel";
    std::ostringstream metadata;
    metadata << ";ARGSTART:" << strFunction << "\n;version:3:1:111\n;device:" << m_Target.strDevice
             << "\n;uniqueid:" << function.nLabel << "\n";
    if (m_Target.b64Bit)
    {
        metadata << ";memory:uavprivate:" << m_nPrivateBytes << "\n";
    }
    else
    {
        metadata << ";memory:hwprivate:" << m_nPrivateBytes << "\n";
    }
    metadata << ";memory:hwlocal:" << function.nLocalBytes << "\n";
    if (m_Target.b64Bit)
    {
        metadata << ";memory:64bitABI\n";
    }
    metadata << ";uavid:" << GLOBAL_UAV << "\n";
    if (m_Target.b64Bit)
    {
        metadata << ";privateid:" << PRIVATE_UAV << "\n";
    }
    uint32_t nOffset = 0;
    for (const clang::ParmVarDecl* pParameter : function.pDecl->parameters())
    {
        const clang::QualType type = pParameter->getType().getCanonicalType();
        const std::string strName = pParameter->getNameAsString();
        auto typeName = [this, pParameter](clang::QualType element) -> std::string
        {
            element = element.getCanonicalType();
            if (element->isRecordType() || element->isArrayType())
            {
                return "struct";
            }
            if (element->isVoidType())
            {
                return "i8";
            }
            switch (ElementOf(element, nullptr))
            {
            case E_I8:
            case E_U8:
                return "i8";
            case E_I16:
                return "i16";
            case E_U16:
                return "u16";
            case E_I32:
                return "i32";
            case E_U32:
                return "u32";
            case E_I64:
                return "i64";
            case E_U64:
                return "u64";
            case E_F32:
                return "float";
            case E_F64:
                return "double";
            }
            Refuse(pParameter, "unsupported argument type");
        };
        if (IsImageArgument(type))
        {
            metadata << ImageMetadata(pParameter, nOffset);
            continue;
        }
        if (type->isPointerType())
        {
            const clang::QualType pointee = type->getPointeeType();
            const bool bLocal = SpaceOf(pointee) == S_Local;
            const uint64_t nAlign =
                pointee->isVoidType() ? 1 : std::max<uint64_t>(1, TypeSize(pointee));
            metadata << ";pointer:" << strName << ":" << typeName(pointee) << ":1:1:" << nOffset
                     << ":" << (bLocal ? "hl:1" : "uav:11") << ":" << nAlign << ":"
                     << (pointee.isConstQualified() ||
                                 pointee.getAddressSpace() == clang::LangAS::opencl_constant
                             ? "RO"
                             : "RW")
                     << ":0:0\n";
            nOffset += 16;
            continue;
        }
        const unsigned int nLanes = LanesOf(type);
        const unsigned int nCount = nLanes == 3 ? 4 : nLanes;
        const clang::QualType element =
            nLanes > 1 ? type->getAs<clang::VectorType>()->getElementType() : type;
        const uint64_t nItem = TypeSize(element);
        metadata << ";value:" << strName << ":" << typeName(element) << ":" << nCount
                 << ":1:" << nOffset << "\n";
        nOffset += uint32_t((std::max<uint64_t>(4, nItem) * nCount + 15) / 16 * 16);
    }
    metadata << SamplerMetadata(function);
    for (const std::string& strSite : m_vPrintfSites)
    {
        metadata << strSite;
    }
    metadata << ";ARGEND:" << strFunction << "\n";
    nCb1Rows = nOffset / 16;
    return metadata.str();
}

void CILGenerator::GenerateFunction(SFunction& function)
{
    m_pFunction = &function;
    m_pContext = &function.pDecl->getASTContext();
    m_Body.str("");
    m_UsedLiterals.clear();
    m_vBreakables.clear();
    m_nLastLine = 0;
    m_strLastFile.clear();
    const clang::FunctionDecl* pDecl = function.pDecl;
    if (function.bKernel)
    {
        m_nLocalBytes = 0;
        m_nImageArgs = 0;
        m_nSamplerArgs = 0;
    }
    MarkLine(pDecl->getLocation());
    m_nReturnFlag = -1;
    if (HasReturnBeforeEnd(pDecl->getBody(), true))
    {
        m_nReturnFlag = Temp(E_I32, 1).nRegister;
        Emit("mov r" + std::to_string(m_nReturnFlag) + ".x, " + Source(Literal(E_I32, 0), 0));
    }
    uint32_t nRow = 0;
    size_t nIndex = 0;
    for (const clang::ParmVarDecl* pParameter : pDecl->parameters())
    {
        const clang::QualType type = pParameter->getType().getCanonicalType();
        if (m_AddressTaken.count(pParameter) != 0)
        {
            Refuse(pParameter, "taking the address of a parameter is not supported");
        }
        if (function.bKernel && IsImageArgument(type))
        {
            nRow += BindImageArgument(pParameter, nRow);
            continue;
        }
        SVariable variable;
        if (!function.bKernel)
        {
            variable.value = function.vParameters[nIndex++];
        }
        else if (type->isPointerType())
        {
            const clang::QualType pointee = type->getPointeeType();
            if (!pointee->isVoidType() && !pointee->isRecordType() && !pointee->isArrayType())
            {
                try
                {
                    ElementOf(pointee, nullptr);
                }
                catch (SRefusal& refusal)
                {
                    refusal.location = pParameter->getLocation();
                    throw;
                }
            }
            const ESpace eSpace = SpaceOf(pointee);
            variable.value = Temp(AddressElement(eSpace), 1);
            Emit("mov " + LaneDest(variable.value, 0) + ", cb1[" + std::to_string(nRow) + "]" +
                 (Is64(variable.value.eElement) ? ".xyxy" : ".xxxx"));
            ++nRow;
        }
        else if (type->isScalarType() || type->isVectorType())
        {
            const SValue shape = ShapeOf(type, nullptr);
            if (ElementBytes(shape.eElement) < 4 && shape.nLanes > 1)
            {
                Refuse(pParameter, "kernel arguments that are vectors of 8- or 16-bit elements "
                                   "are not supported");
            }
            variable.value = Temp(shape.eElement, shape.nLanes);
            for (unsigned int c = 0; c < Chunks(variable.value); ++c)
            {
                Emit("mov " + Dest(variable.value, c) + ", cb1[" + std::to_string(nRow + c) + "]");
            }
            variable.value = Normalize(variable.value);
            const unsigned int nCount = shape.nLanes == 3 ? 4 : shape.nLanes;
            nRow += (std::max(4u, ElementBytes(shape.eElement)) * nCount + 15) / 16;
        }
        else
        {
            Refuse(pParameter, "kernel arguments of type '" + TypeName(pParameter->getType()) +
                                   "' are not supported");
        }
        m_Variables[pParameter] = variable;
        if (m_bDebug)
        {
            std::string strLocation;
            for (unsigned int c = 0; c < Chunks(variable.value); ++c)
            {
                strLocation += (c > 0 ? "," : "") + Dest(variable.value, c);
            }
            Emit(";@var:" + CommentText(pParameter->getNameAsString()) + ":" + strLocation);
        }
    }
    EmitStatement(pDecl->getBody());
    function.nLocalBytes = m_nLocalBytes;
    m_Bodies[&function] = m_Body.str();
    m_FunctionLiterals[&function] = m_UsedLiterals;
}

void CILGenerator::MarkLine(clang::SourceLocation location)
{
    if (!m_bDebug || location.isInvalid())
    {
        return;
    }
    const clang::SourceManager& sourceManager = m_pContext->getSourceManager();
    const clang::PresumedLoc presumed =
        sourceManager.getPresumedLoc(sourceManager.getExpansionLoc(location));
    if (presumed.isInvalid())
    {
        return;
    }
    const std::string strFile = CommentText(presumed.getFilename());
    if (presumed.getLine() == m_nLastLine && strFile == m_strLastFile)
    {
        return;
    }
    m_nLastLine = presumed.getLine();
    m_strLastFile = strFile;
    Emit(";@" + strFile + ":" + std::to_string(presumed.getLine()));
}

// ---------------------------------------------------------------------------------------------
// Statements. Each returns whether a return may have happened inside it; the statements after
// it then run only for the work-items that haven't returned.

bool CILGenerator::EmitStatement(const clang::Stmt* pStmt)
{
    if (pStmt == nullptr || llvm::isa<clang::NullStmt>(pStmt))
    {
        return false;
    }
    if (const auto* pCompound = llvm::dyn_cast<clang::CompoundStmt>(pStmt))
    {
        return EmitCompound(pCompound);
    }
    MarkLine(pStmt->getBeginLoc());
    m_pStatement = pStmt;
    if (const auto* pDeclStmt = llvm::dyn_cast<clang::DeclStmt>(pStmt))
    {
        for (const clang::Decl* pDecl : pDeclStmt->decls())
        {
            if (const auto* pVar = llvm::dyn_cast<clang::VarDecl>(pDecl))
            {
                EmitDeclaration(pVar);
            }
            else if (!llvm::isa<clang::TypeDecl>(pDecl))
            {
                Refuse(pDecl, "this declaration is not supported inside a function");
            }
        }
        return false;
    }
    if (const auto* pIf = llvm::dyn_cast<clang::IfStmt>(pStmt))
    {
        if (pIf->getConditionVariable() != nullptr || pIf->getInit() != nullptr)
        {
            Refuse(pStmt, "declarations in an if condition are not supported");
        }
        Emit("if_logicalnz " + Condition(pIf->getCond()));
        bool bReturns = EmitStatement(pIf->getThen());
        if (pIf->getElse() != nullptr)
        {
            Emit("else");
            bReturns = EmitStatement(pIf->getElse()) || bReturns;
        }
        Emit("endif");
        return bReturns;
    }
    if (const auto* pFor = llvm::dyn_cast<clang::ForStmt>(pStmt))
    {
        return EmitFor(pFor);
    }
    if (const auto* pWhile = llvm::dyn_cast<clang::WhileStmt>(pStmt))
    {
        return EmitWhile(pWhile);
    }
    if (const auto* pDo = llvm::dyn_cast<clang::DoStmt>(pStmt))
    {
        return EmitDo(pDo);
    }
    if (const auto* pSwitch = llvm::dyn_cast<clang::SwitchStmt>(pStmt))
    {
        return EmitSwitch(pSwitch);
    }
    if (const auto* pReturn = llvm::dyn_cast<clang::ReturnStmt>(pStmt))
    {
        return EmitReturn(pReturn);
    }
    if (llvm::isa<clang::BreakStmt>(pStmt))
    {
        Emit("break");
        return false;
    }
    if (llvm::isa<clang::ContinueStmt>(pStmt))
    {
        EmitContinue(pStmt);
        return false;
    }
    if (llvm::isa<clang::GotoStmt>(pStmt) || llvm::isa<clang::IndirectGotoStmt>(pStmt) ||
        llvm::isa<clang::LabelStmt>(pStmt))
    {
        Refuse(pStmt, "goto and labels are not supported: the IL has only structured flow");
    }
    if (llvm::isa<clang::CaseStmt>(pStmt) || llvm::isa<clang::DefaultStmt>(pStmt))
    {
        Refuse(pStmt, "a case label inside a nested statement of its switch is not supported");
    }
    if (const auto* pExpr = llvm::dyn_cast<clang::Expr>(pStmt))
    {
        m_bDiscard = true;
        EmitExpr(pExpr);
        m_bDiscard = false;
        return false;
    }
    Refuse(pStmt,
           std::string("statements of kind ") + pStmt->getStmtClassName() + " are not supported");
}

bool CILGenerator::EmitCompound(const clang::CompoundStmt* pCompound)
{
    const std::vector<const clang::Stmt*> vStatements(pCompound->body_begin(),
                                                      pCompound->body_end());
    const bool bReturns = EmitStatementsGuarded(vStatements, 0);
    if (m_bDebug)
    {
        for (const clang::Stmt* pStmt : vStatements)
        {
            if (const auto* pDeclStmt = llvm::dyn_cast<clang::DeclStmt>(pStmt))
            {
                for (const clang::Decl* pDecl : pDeclStmt->decls())
                {
                    if (const auto* pVar = llvm::dyn_cast<clang::VarDecl>(pDecl))
                    {
                        Emit(";@endvar:" + CommentText(pVar->getNameAsString()));
                    }
                }
            }
        }
    }
    return bReturns;
}

bool CILGenerator::EmitStatementsGuarded(const std::vector<const clang::Stmt*>& vStatements,
                                         size_t nFirst)
{
    bool bReturns = false;
    for (size_t i = nFirst; i < vStatements.size(); ++i)
    {
        if (!EmitStatement(vStatements[i]))
        {
            continue;
        }
        bReturns = true;
        if (i + 1 == vStatements.size())
        {
            break;
        }
        const std::string strFlag = "r" + std::to_string(m_nReturnFlag) + ".x";
        if (!m_vBreakables.empty())
        {
            Emit("break_logicalnz " + strFlag);
            continue;
        }
        Emit("if_logicalz " + strFlag);
        EmitStatementsGuarded(vStatements, i + 1);
        Emit("endif");
        break;
    }
    return bReturns;
}

void CILGenerator::EmitDeclaration(const clang::VarDecl* pVar)
{
    const clang::QualType type = pVar->getType().getCanonicalType();
    // A sampler variable is a constant that its uses read from its initialiser.
    if (type->isSamplerT())
    {
        return;
    }
    SVariable variable;
    const bool bLocal = type.getAddressSpace() == clang::LangAS::opencl_local;
    if (pVar->isStaticLocal() && !bLocal)
    {
        Refuse(pVar, "static variables are not supported");
    }
    const bool bMemory =
        bLocal || type->isArrayType() || type->isRecordType() || m_AddressTaken.count(pVar) != 0;
    std::string strLocation;
    if (bMemory)
    {
        variable.bMemory = true;
        const uint64_t nBytes = TypeSize(type);
        if (bLocal)
        {
            if (!m_pFunction->bKernel)
            {
                Refuse(pVar, "__local variables belong in a kernel's outermost scope");
            }
            variable.eSpace = S_Local;
            variable.nOffset = m_nLocalBytes;
            m_nLocalBytes += uint32_t((nBytes + 15) / 16 * 16);
            strLocation = "local+" + std::to_string(variable.nOffset);
        }
        else
        {
            variable.eSpace = S_Private;
            variable.nOffset = AllocatePrivate(nBytes);
            strLocation = "private+" + std::to_string(variable.nOffset);
        }
    }
    else
    {
        const SValue shape = ShapeOf(type, nullptr);
        variable.value = Temp(shape.eElement, shape.nLanes);
        for (unsigned int c = 0; c < Chunks(variable.value); ++c)
        {
            strLocation += (c > 0 ? "," : "") + Dest(variable.value, c);
        }
    }
    m_Variables[pVar] = variable;
    if (m_bDebug)
    {
        Emit(";@var:" + CommentText(pVar->getNameAsString()) + ":" + strLocation);
    }
    const clang::Expr* pInit = pVar->getInit();
    if (pInit == nullptr)
    {
        return;
    }
    if (bLocal)
    {
        Refuse(pVar, "__local variables can't be initialised");
    }
    if (bMemory)
    {
        InitializeMemory(S_Private, Literal(E_U32, variable.nOffset), type, pInit);
        return;
    }
    Copy(variable.value, EmitExpr(pInit));
}

void CILGenerator::InitializeMemory(ESpace eSpace, const SValue& address, clang::QualType type,
                                    const clang::Expr* pInit)
{
    type = type.getCanonicalType();
    const uint64_t nBytes = TypeSize(type);
    const auto* pList = llvm::dyn_cast<clang::InitListExpr>(pInit->IgnoreParenImpCasts());
    if (llvm::isa<clang::ImplicitValueInitExpr>(pInit))
    {
        pList = nullptr;
    }
    if (llvm::isa<clang::ImplicitValueInitExpr>(pInit) ||
        (pList != nullptr && pList->getNumInits() == 0))
    {
        for (uint64_t nOffset = 0; nOffset < nBytes; nOffset += 4)
        {
            StoreMemory(eSpace, AddressAddConstant(address, int64_t(nOffset)),
                        Literal(nBytes - nOffset >= 4 ? E_U32 : E_U8, 0));
        }
        return;
    }
    if (pList != nullptr && type->isArrayType())
    {
        const clang::QualType element(type->getArrayElementTypeNoTypeQual(), 0);
        const uint64_t nElement = TypeSize(element);
        const uint64_t nCount = nElement == 0 ? 0 : nBytes / nElement;
        for (uint64_t i = 0; i < nCount; ++i)
        {
            const SValue elementAddress = AddressAddConstant(address, int64_t(i * nElement));
            if (i < pList->getNumInits())
            {
                InitializeMemory(eSpace, elementAddress, element, pList->getInit(unsigned(i)));
            }
            else if (pList->hasArrayFiller())
            {
                InitializeMemory(eSpace, elementAddress, element, pList->getArrayFiller());
            }
        }
        return;
    }
    if (pList != nullptr && type->isRecordType())
    {
        const clang::RecordDecl* pRecord = type->getAs<clang::RecordType>()->getDecl();
        const clang::ASTRecordLayout& layout = m_pContext->getASTRecordLayout(pRecord);
        unsigned int nField = 0;
        for (const clang::FieldDecl* pField : pRecord->fields())
        {
            if (nField >= pList->getNumInits())
            {
                break;
            }
            if (pField->isBitField())
            {
                Refuse(pField, "bit-fields are not supported");
            }
            InitializeMemory(
                eSpace, AddressAddConstant(address, int64_t(layout.getFieldOffset(nField) / 8)),
                pField->getType(), pList->getInit(nField));
            ++nField;
        }
        return;
    }
    if (type->isRecordType() || type->isArrayType())
    {
        SLValue dest;
        dest.bMemory = true;
        dest.eSpace = eSpace;
        dest.value = address;
        const SLValue source = EmitLValue(pInit->IgnoreParenImpCasts());
        if (!source.bMemory)
        {
            Refuse(pInit, "this initialiser is not supported");
        }
        CopyMemory(dest, source, nBytes);
        return;
    }
    StoreMemory(eSpace, address, Materialize(EmitExpr(pInit)));
}

bool CILGenerator::EmitFor(const clang::ForStmt* pFor)
{
    if (pFor->getConditionVariable() != nullptr)
    {
        Refuse(pFor, "declarations in a for condition are not supported");
    }
    EmitStatement(pFor->getInit());
    MarkLine(pFor->getBeginLoc());
    Emit("whileloop");
    m_vBreakables.push_back(SBreakable{true, pFor->getInc()});
    if (pFor->getCond() != nullptr)
    {
        Emit("break_logicalz " + Condition(pFor->getCond()));
    }
    const bool bReturns = EmitStatement(pFor->getBody());
    if (pFor->getInc() != nullptr)
    {
        MarkLine(pFor->getInc()->getBeginLoc());
        m_bDiscard = true;
        EmitExpr(pFor->getInc());
        m_bDiscard = false;
    }
    m_vBreakables.pop_back();
    Emit("endloop");
    return bReturns;
}

bool CILGenerator::EmitWhile(const clang::WhileStmt* pWhile)
{
    if (pWhile->getConditionVariable() != nullptr)
    {
        Refuse(pWhile, "declarations in a while condition are not supported");
    }
    Emit("whileloop");
    m_vBreakables.push_back(SBreakable{true, nullptr});
    Emit("break_logicalz " + Condition(pWhile->getCond()));
    const bool bReturns = EmitStatement(pWhile->getBody());
    m_vBreakables.pop_back();
    Emit("endloop");
    return bReturns;
}

// The test of a do loop stays at the top of the loop body, skipped on the first pass.
bool CILGenerator::EmitDo(const clang::DoStmt* pDo)
{
    const SValue first = Temp(E_I32, 1);
    const SValue go = Temp(E_I32, 1);
    Emit("mov " + LaneDest(first, 0) + ", " + Source(Literal(E_I32, 0xFFFFFFFFu), 0));
    Emit("whileloop");
    m_vBreakables.push_back(SBreakable{true, nullptr});
    Emit("mov " + LaneDest(go, 0) + ", " + Source(Literal(E_I32, 0xFFFFFFFFu), 0));
    Emit("if_logicalz " + LaneDest(first, 0));
    MarkLine(pDo->getCond()->getBeginLoc());
    Emit("mov " + LaneDest(go, 0) + ", " + Condition(pDo->getCond()));
    Emit("endif");
    Emit("break_logicalz " + LaneDest(go, 0));
    Emit("mov " + LaneDest(first, 0) + ", " + Source(Literal(E_I32, 0), 0));
    const bool bReturns = EmitStatement(pDo->getBody());
    m_vBreakables.pop_back();
    Emit("endloop");
    return bReturns;
}

bool CILGenerator::EmitSwitch(const clang::SwitchStmt* pSwitch)
{
    if (pSwitch->getConditionVariable() != nullptr || pSwitch->getInit() != nullptr)
    {
        Refuse(pSwitch, "declarations in a switch condition are not supported");
    }
    const SValue selector = EmitExpr(pSwitch->getCond());
    if (Is64(selector.eElement))
    {
        Refuse(pSwitch, "switch on a 64-bit value is not supported");
    }
    const auto* pBody = llvm::dyn_cast<clang::CompoundStmt>(pSwitch->getBody());
    if (pBody == nullptr)
    {
        Refuse(pSwitch, "a switch needs a compound statement as its body");
    }
    Emit("switch " + LaneSource(Materialize(selector), 0));
    m_vBreakables.push_back(SBreakable{false, nullptr});
    bool bReturns = false;
    size_t i = 0;
    for (const clang::Stmt* pStmt : pBody->body())
    {
        ++i;
        while (true)
        {
            if (const auto* pCase = llvm::dyn_cast<clang::CaseStmt>(pStmt))
            {
                if (pCase->getRHS() != nullptr)
                {
                    Refuse(pCase, "case ranges are not supported");
                }
                const llvm::APSInt value = pCase->getLHS()->EvaluateKnownConstInt(*m_pContext);
                Emit("case " + std::to_string(uint32_t(value.getExtValue())));
                pStmt = pCase->getSubStmt();
            }
            else if (const auto* pDefault = llvm::dyn_cast<clang::DefaultStmt>(pStmt))
            {
                Emit("default");
                pStmt = pDefault->getSubStmt();
            }
            else
            {
                break;
            }
        }
        if (EmitStatement(pStmt))
        {
            bReturns = true;
            if (i < pBody->size())
            {
                Emit("break_logicalnz r" + std::to_string(m_nReturnFlag) + ".x");
            }
        }
    }
    m_vBreakables.pop_back();
    Emit("endswitch");
    return bReturns;
}

bool CILGenerator::EmitReturn(const clang::ReturnStmt* pReturn)
{
    if (pReturn->getRetValue() != nullptr)
    {
        const SValue value = EmitExpr(pReturn->getRetValue());
        if (!m_pFunction->bKernel)
        {
            Copy(m_pFunction->result, value);
        }
    }
    if (m_nReturnFlag < 0)
    {
        return false;
    }
    Emit("mov r" + std::to_string(m_nReturnFlag) + ".x, " + Source(Literal(E_I32, 0xFFFFFFFFu), 0));
    if (!m_vBreakables.empty())
    {
        Emit("break");
    }
    return true;
}

void CILGenerator::EmitContinue(const clang::Stmt* pStmt)
{
    for (auto it = m_vBreakables.rbegin(); it != m_vBreakables.rend(); ++it)
    {
        if (!it->bLoop)
        {
            continue;
        }
        if (it->pIncrement != nullptr)
        {
            m_bDiscard = true;
            EmitExpr(it->pIncrement);
            m_bDiscard = false;
        }
        Emit("continue");
        return;
    }
    Refuse(pStmt, "continue outside a loop");
}

// The operand that is not zero when the condition holds.
std::string CILGenerator::Condition(const clang::Expr* pExpr)
{
    const SValue value = ToCondition(Materialize(EmitExpr(pExpr)));
    if (value.nLanes != 1)
    {
        Refuse(pExpr, "a vector can't be a condition");
    }
    return LaneDest(value, 0);
}

// ---------------------------------------------------------------------------------------------
// Expressions.

CILGenerator::SValue CILGenerator::EmitExpr(const clang::Expr* pExpr)
{
    const bool bDiscard = m_bDiscard;
    m_bDiscard = false;
    const clang::QualType type = pExpr->getType().getCanonicalType();
    // Constants fold to literals.
    if (!pExpr->isValueDependent() && (type->isIntegerType() || type->isRealFloatingType()) &&
        !pExpr->HasSideEffects(*m_pContext))
    {
        clang::Expr::EvalResult result;
        if (pExpr->EvaluateAsRValue(result, *m_pContext))
        {
            const EElement eElement = ElementOf(type, pExpr);
            if (result.Val.isInt())
            {
                const llvm::APSInt& value = result.Val.getInt();
                return Literal(eElement, IsSigned(eElement) ? uint64_t(value.getExtValue())
                                                            : value.getZExtValue());
            }
            if (result.Val.isFloat())
            {
                const llvm::APFloat& value = result.Val.getFloat();
                return eElement == E_F32 ? Literal(E_F32, FloatBits(value.convertToFloat()))
                                         : Literal(E_F64, DoubleBits(value.convertToDouble()));
            }
        }
    }
    if (const auto* pParen = llvm::dyn_cast<clang::ParenExpr>(pExpr))
    {
        m_bDiscard = bDiscard;
        return EmitExpr(pParen->getSubExpr());
    }
    if (const auto* pCast = llvm::dyn_cast<clang::CastExpr>(pExpr))
    {
        if (pCast->getCastKind() == clang::CK_ToVoid)
        {
            m_bDiscard = true;
            EmitExpr(pCast->getSubExpr());
            m_bDiscard = false;
            return Literal(E_I32, 0);
        }
        return EmitCast(pCast);
    }
    if (const auto* pUnary = llvm::dyn_cast<clang::UnaryOperator>(pExpr))
    {
        return EmitUnary(pUnary);
    }
    if (const auto* pBinary = llvm::dyn_cast<clang::BinaryOperator>(pExpr))
    {
        return EmitBinary(pBinary);
    }
    if (const auto* pConditional = llvm::dyn_cast<clang::ConditionalOperator>(pExpr))
    {
        return EmitConditional(pConditional);
    }
    if (const auto* pCall = llvm::dyn_cast<clang::CallExpr>(pExpr))
    {
        m_bAtomicUnused = bDiscard;
        return EmitCall(pCall);
    }
    if (const auto* pElement = llvm::dyn_cast<clang::ExtVectorElementExpr>(pExpr))
    {
        if (!pElement->getBase()->isLValue())
        {
            llvm::SmallVector<uint32_t, 16> vIndexes;
            pElement->getEncodedElementAccess(vIndexes);
            return Extract(Materialize(EmitExpr(pElement->getBase())),
                           std::vector<unsigned>(vIndexes.begin(), vIndexes.end()));
        }
        return Load(EmitLValue(pExpr), pExpr);
    }
    if (llvm::isa<clang::DeclRefExpr>(pExpr) || llvm::isa<clang::ArraySubscriptExpr>(pExpr) ||
        llvm::isa<clang::MemberExpr>(pExpr))
    {
        return Load(EmitLValue(pExpr), pExpr);
    }
    if (const auto* pInit = llvm::dyn_cast<clang::InitListExpr>(pExpr))
    {
        return EmitInitList(pInit, type);
    }
    if (const auto* pLiteral = llvm::dyn_cast<clang::CompoundLiteralExpr>(pExpr))
    {
        return EmitExpr(pLiteral->getInitializer());
    }
    if (const auto* pAsType = llvm::dyn_cast<clang::AsTypeExpr>(pExpr))
    {
        SValue value = Materialize(EmitExpr(pAsType->getSrcExpr()));
        const SValue shape = ShapeOf(type, pExpr);
        const unsigned int nFrom = ElementBytes(value.eElement);
        const unsigned int nTo = ElementBytes(shape.eElement);
        if (nFrom < 4 || nTo < 4)
        {
            Refuse(pExpr, "as_type between vectors of 8- or 16-bit elements and other types is "
                          "not supported");
        }
        // 32- and 64-bit lanes share a register layout: the bits stay where they are.
        value.eElement = shape.eElement;
        value.nLanes = shape.nLanes;
        return value;
    }
    if (llvm::isa<clang::StringLiteral>(pExpr))
    {
        Refuse(pExpr, "string literals are not supported");
    }
    Refuse(pExpr,
           std::string("expressions of kind ") + pExpr->getStmtClassName() + " are not supported");
}

CILGenerator::SLValue CILGenerator::EmitLValue(const clang::Expr* pExpr)
{
    if (const auto* pParen = llvm::dyn_cast<clang::ParenExpr>(pExpr))
    {
        return EmitLValue(pParen->getSubExpr());
    }
    SLValue lvalue;
    lvalue.type = pExpr->getType();
    if (const auto* pLiteral = llvm::dyn_cast<clang::CompoundLiteralExpr>(pExpr))
    {
        if (!pExpr->getType()->isVectorType() && !pExpr->getType()->isScalarType())
        {
            Refuse(pExpr, "compound literals of this type are not supported");
        }
        lvalue.value = Materialize(EmitExpr(pLiteral->getInitializer()));
        return lvalue;
    }
    if (const auto* pRef = llvm::dyn_cast<clang::DeclRefExpr>(pExpr))
    {
        const auto* pVar = llvm::dyn_cast<clang::VarDecl>(pRef->getDecl());
        auto it = pVar != nullptr ? m_Variables.find(pVar) : m_Variables.end();
        if (it == m_Variables.end())
        {
            Refuse(pExpr, "'" + pRef->getDecl()->getNameAsString() +
                              "' can't be used here: program-scope variables other than "
                              "scalar constants are not supported");
        }
        const SVariable& variable = it->second;
        lvalue.bMemory = variable.bMemory;
        if (variable.bMemory)
        {
            lvalue.eSpace = variable.eSpace;
            lvalue.value = Literal(E_U32, variable.nOffset);
        }
        else
        {
            lvalue.value = variable.value;
        }
        return lvalue;
    }
    if (const auto* pSubscript = llvm::dyn_cast<clang::ArraySubscriptExpr>(pExpr))
    {
        const clang::Expr* pBase = pSubscript->getBase();
        if (!pBase->getType()->isPointerType())
        {
            Refuse(pExpr, "subscripts of vectors are not supported; use .sN or .xyzw");
        }
        const SValue pointer = EmitExpr(pBase);
        lvalue.bMemory = true;
        lvalue.eSpace = SpaceOf(pBase->getType()->getPointeeType());
        lvalue.value =
            PointerArithmetic(clang::BO_Add, pBase, pointer, EmitExpr(pSubscript->getIdx()), pExpr);
        return lvalue;
    }
    if (const auto* pMember = llvm::dyn_cast<clang::MemberExpr>(pExpr))
    {
        const auto* pField = llvm::dyn_cast<clang::FieldDecl>(pMember->getMemberDecl());
        if (pField == nullptr || pField->isBitField())
        {
            Refuse(pExpr, "this member can't be accessed (bit-fields are not supported)");
        }
        SLValue base;
        if (pMember->isArrow())
        {
            base.bMemory = true;
            base.eSpace = SpaceOf(pMember->getBase()->getType()->getPointeeType());
            base.value = EmitExpr(pMember->getBase());
        }
        else
        {
            base = EmitLValue(pMember->getBase());
        }
        const clang::ASTRecordLayout& layout = m_pContext->getASTRecordLayout(pField->getParent());
        lvalue.bMemory = true;
        lvalue.eSpace = base.eSpace;
        lvalue.value =
            AddressAddConstant(MemoryAddress(base, pExpr),
                               int64_t(layout.getFieldOffset(pField->getFieldIndex()) / 8));
        return lvalue;
    }
    if (const auto* pUnary = llvm::dyn_cast<clang::UnaryOperator>(pExpr))
    {
        if (pUnary->getOpcode() == clang::UO_Deref)
        {
            lvalue.bMemory = true;
            lvalue.eSpace = SpaceOf(pUnary->getSubExpr()->getType()->getPointeeType());
            lvalue.value = EmitExpr(pUnary->getSubExpr());
            return lvalue;
        }
    }
    if (const auto* pElement = llvm::dyn_cast<clang::ExtVectorElementExpr>(pExpr))
    {
        if (pElement->isArrow())
        {
            Refuse(pExpr, "-> on a vector pointer is not supported");
        }
        SLValue base = EmitLValue(pElement->getBase());
        llvm::SmallVector<uint32_t, 16> vIndexes;
        pElement->getEncodedElementAccess(vIndexes);
        std::vector<unsigned> vLanes;
        for (uint32_t nIndex : vIndexes)
        {
            vLanes.push_back(base.vLanes.empty() ? nIndex : base.vLanes[nIndex]);
        }
        base.vLanes = vLanes;
        if (!base.vLanes.empty() && base.bMemory)
        {
            base.type = pElement->getBase()->getType();
        }
        if (!base.bMemory)
        {
            base.type = pExpr->getType();
        }
        return base;
    }
    Refuse(pExpr, std::string("expressions of kind ") + pExpr->getStmtClassName() +
                      " can't be assigned to or have their address taken");
}

CILGenerator::SValue CILGenerator::EmitCast(const clang::CastExpr* pCast)
{
    const clang::Expr* pSub = pCast->getSubExpr();
    const clang::QualType type = pCast->getType().getCanonicalType();
    switch (pCast->getCastKind())
    {
    case clang::CK_LValueToRValue:
        return Load(EmitLValue(pSub), pCast);
    case clang::CK_NoOp:
    case clang::CK_BitCast:
    case clang::CK_AddressSpaceConversion:
    {
        SValue value = EmitExpr(pSub);
        if (pCast->getCastKind() != clang::CK_NoOp &&
            !(type->isPointerType() && pSub->getType()->isPointerType() &&
              SpaceOf(type->getPointeeType()) == SpaceOf(pSub->getType()->getPointeeType())))
        {
            Refuse(pCast, "this conversion is not supported");
        }
        return value;
    }
    case clang::CK_ArrayToPointerDecay:
        return MemoryAddress(EmitLValue(pSub), pCast);
    case clang::CK_IntegralCast:
    case clang::CK_IntegralToFloating:
    case clang::CK_FloatingToIntegral:
    case clang::CK_FloatingCast:
    case clang::CK_IntegralToPointer:
    case clang::CK_PointerToIntegral:
        return Convert(EmitExpr(pSub), ElementOf(type, pCast), pCast);
    case clang::CK_IntegralToBoolean:
    case clang::CK_FloatingToBoolean:
    case clang::CK_PointerToBoolean:
    {
        const SValue condition = ToCondition(Materialize(EmitExpr(pSub)));
        return CompareResult(Apply("ine", E_I32, {condition, Literal(E_I32, 0)}), type);
    }
    case clang::CK_BooleanToSignedIntegral:
        return Convert(Apply("inegate", E_I32, {EmitExpr(pSub)}), ElementOf(type, pCast), pCast);
    case clang::CK_VectorSplat:
        return Splat(EmitExpr(pSub), LanesOf(type));
    case clang::CK_NullToPointer:
    case clang::CK_ZeroToOCLOpaqueType:
        return Literal(ElementOf(type, pCast), 0);
    default:
        Refuse(pCast,
               std::string("the conversion ") + pCast->getCastKindName() + " is not supported");
    }
}

CILGenerator::SValue CILGenerator::EmitUnary(const clang::UnaryOperator* pUnary)
{
    const clang::Expr* pSub = pUnary->getSubExpr();
    const clang::QualType type = pUnary->getType().getCanonicalType();
    switch (pUnary->getOpcode())
    {
    case clang::UO_Plus:
        return EmitExpr(pSub);
    case clang::UO_Minus:
    {
        const SValue value = EmitExpr(pSub);
        if (value.eElement == E_F32)
        {
            SValue result = Temp(E_F32, value.nLanes);
            for (unsigned int c = 0; c < Chunks(result); ++c)
            {
                Emit("mov " + Dest(result, c) + ", -" + Source(value, c));
            }
            return result;
        }
        if (value.eElement == E_F64)
        {
            SValue result =
                Apply("ixor", E_U32, {AsWords(value), Literal(E_U64, 0x8000000000000000ull)});
            result.eElement = E_F64;
            result.nLanes = value.nLanes;
            return result;
        }
        return Normalize(
            Apply(Is64(value.eElement) ? "i64negate" : "inegate", value.eElement, {value}));
    }
    case clang::UO_Not:
    {
        const SValue value = EmitExpr(pSub);
        SValue result = Apply("ixor", E_U32, {AsWords(value), Literal(E_U32, 0xFFFFFFFFu)});
        result.eElement = value.eElement;
        result.nLanes = value.nLanes;
        return Normalize(result);
    }
    case clang::UO_LNot:
    {
        const SValue condition = ToCondition(Materialize(EmitExpr(pSub)));
        return CompareResult(Apply("ieq", E_I32, {condition, Literal(E_I32, 0)}), type);
    }
    case clang::UO_PreInc:
    case clang::UO_PreDec:
    case clang::UO_PostInc:
    case clang::UO_PostDec:
        return IncrementDecrement(pUnary);
    case clang::UO_Deref:
        return Load(EmitLValue(pUnary), pUnary);
    case clang::UO_AddrOf:
        return MemoryAddress(EmitLValue(pSub), pUnary);
    default:
        Refuse(pUnary, "this operator is not supported");
    }
}

CILGenerator::SValue CILGenerator::IncrementDecrement(const clang::UnaryOperator* pUnary)
{
    const SLValue lvalue = EmitLValue(pUnary->getSubExpr());
    const SValue current = Load(lvalue, pUnary);
    SValue old = Temp(current.eElement, current.nLanes);
    Copy(old, current);
    const bool bIncrement = pUnary->isIncrementOp();
    const clang::QualType type = pUnary->getSubExpr()->getType().getCanonicalType();
    SValue updated;
    if (type->isPointerType())
    {
        updated = PointerArithmetic(bIncrement ? clang::BO_Add : clang::BO_Sub,
                                    pUnary->getSubExpr(), old, Literal(E_I32, 1), pUnary);
    }
    else
    {
        const EElement eElement = old.eElement;
        const SValue one = eElement == E_F32   ? Literal(E_F32, FloatBits(1.0f))
                           : eElement == E_F64 ? Literal(E_F64, DoubleBits(1.0))
                                               : Literal(eElement, 1);
        updated = Arithmetic(bIncrement ? clang::BO_Add : clang::BO_Sub, old, one, type, pUnary);
    }
    Store(lvalue, updated, pUnary);
    return pUnary->isPrefix() ? updated : old;
}

CILGenerator::SValue CILGenerator::EmitBinary(const clang::BinaryOperator* pBinary)
{
    const clang::BinaryOperatorKind eOp = pBinary->getOpcode();
    const clang::Expr* pLeft = pBinary->getLHS();
    const clang::Expr* pRight = pBinary->getRHS();
    if (eOp == clang::BO_Assign)
    {
        return EmitAssignment(pBinary);
    }
    if (eOp == clang::BO_Comma)
    {
        m_bDiscard = true;
        EmitExpr(pLeft);
        m_bDiscard = false;
        return EmitExpr(pRight);
    }
    if (eOp == clang::BO_LAnd || eOp == clang::BO_LOr)
    {
        return EmitLogical(pBinary);
    }
    if (const auto* pCompound = llvm::dyn_cast<clang::CompoundAssignOperator>(pBinary))
    {
        const SLValue lvalue = EmitLValue(pLeft);
        const SValue current = Load(lvalue, pBinary);
        const SValue right = EmitExpr(pRight);
        const clang::BinaryOperatorKind eBase =
            clang::BinaryOperator::getOpForCompoundAssignment(eOp);
        SValue result;
        if (pLeft->getType()->isPointerType())
        {
            result = PointerArithmetic(eBase, pLeft, current, right, pBinary);
        }
        else
        {
            const clang::QualType computation = pCompound->getComputationLHSType();
            SValue left = Convert(current, ElementOf(computation, pBinary), pBinary);
            if (left.nLanes < right.nLanes)
            {
                left = Splat(left, right.nLanes);
            }
            result = Arithmetic(eBase, left, right, pCompound->getComputationResultType(), pBinary);
            result = Convert(result, ElementOf(pLeft->getType(), pBinary), pBinary);
        }
        Store(lvalue, result, pBinary);
        return result;
    }
    const bool bLeftPointer = pLeft->getType()->isPointerType();
    const bool bRightPointer = pRight->getType()->isPointerType();
    if ((eOp == clang::BO_Add || eOp == clang::BO_Sub) && bLeftPointer && !bRightPointer)
    {
        const SValue pointer = EmitExpr(pLeft);
        return PointerArithmetic(eOp, pLeft, pointer, EmitExpr(pRight), pBinary);
    }
    if (eOp == clang::BO_Add && bRightPointer && !bLeftPointer)
    {
        const SValue index = EmitExpr(pLeft);
        return PointerArithmetic(eOp, pRight, EmitExpr(pRight), index, pBinary);
    }
    if (eOp == clang::BO_Sub && bLeftPointer && bRightPointer)
    {
        const SValue left = EmitExpr(pLeft);
        const SValue right = EmitExpr(pRight);
        const EElement eElement = Is64(left.eElement) ? E_I64 : E_I32;
        SValue difference = Apply(Is64(left.eElement) ? "i64sub" : "isub", eElement, {left, right});
        const uint64_t nSize = std::max<uint64_t>(1, TypeSize(pLeft->getType()->getPointeeType()));
        difference = Apply(Is64(eElement) ? "i64div" : "idiv", eElement,
                           {difference, Literal(eElement, nSize)});
        return Convert(difference, ElementOf(pBinary->getType(), pBinary), pBinary);
    }
    const SValue left = EmitExpr(pLeft);
    SValue right = EmitExpr(pRight);
    return Arithmetic(eOp, left, right, pBinary->getType(), pBinary);
}

CILGenerator::SValue CILGenerator::EmitAssignment(const clang::BinaryOperator* pBinary)
{
    const clang::QualType type = pBinary->getLHS()->getType().getCanonicalType();
    if (type->isRecordType())
    {
        const SLValue dest = EmitLValue(pBinary->getLHS());
        const SLValue source = EmitLValue(pBinary->getRHS()->IgnoreParenImpCasts());
        if (!dest.bMemory || !source.bMemory)
        {
            Refuse(pBinary, "this struct assignment is not supported");
        }
        CopyMemory(dest, source, TypeSize(type));
        return Literal(E_I32, 0);
    }
    const SValue value = EmitExpr(pBinary->getRHS());
    const SLValue lvalue = EmitLValue(pBinary->getLHS());
    Store(lvalue, value, pBinary);
    return value;
}

CILGenerator::SValue CILGenerator::Arithmetic(clang::BinaryOperatorKind eOp, const SValue& a,
                                              const SValue& bIn, clang::QualType resultType,
                                              const clang::Stmt* pWhere)
{
    const EElement e = a.eElement;
    SValue b = bIn;
    const bool b64 = Is64(e);
    const bool bSigned = IsSigned(e);
    auto pick = [e, b64, bSigned](const char* pFloat, const char* pDouble, const char* p64Signed,
                                  const char* p64Unsigned, const char* pSigned,
                                  const char* pUnsigned)
    {
        if (e == E_F32)
        {
            return pFloat;
        }
        if (e == E_F64)
        {
            return pDouble;
        }
        if (b64)
        {
            return bSigned ? p64Signed : p64Unsigned;
        }
        return bSigned ? pSigned : pUnsigned;
    };
    auto bits = [this, &a, &b, e](const char* pOp)
    {
        SValue result = Apply(pOp, E_U32, {AsWords(a), AsWords(b)});
        result.eElement = e;
        result.nLanes = a.nLanes;
        return result;
    };
    auto compare = [this, &resultType](const char* pOp, const SValue& x, const SValue& y,
                                       bool b64Mask) {
        return CompareResult(Apply(pOp, b64Mask ? E_I64 : E_I32, {x, y}), resultType);
    };
    switch (eOp)
    {
    case clang::BO_Add:
        return Normalize(Apply(pick("add", "dadd", "i64add", "i64add", "iadd", "iadd"), e, {a, b}));
    case clang::BO_Sub:
        return Normalize(Apply(pick("sub", "dsub", "i64sub", "i64sub", "isub", "isub"), e, {a, b}));
    case clang::BO_Mul:
        return Normalize(Apply(pick("mul", "dmul", "i64mul", "u64mul", "imul", "umul"), e, {a, b}));
    case clang::BO_Div:
        return Normalize(Apply(pick("div", "ddiv", "i64div", "u64div", "idiv", "udiv"), e, {a, b}));
    case clang::BO_Rem:
        if (IsFloat(e))
        {
            Refuse(pWhere, "% of floating point values");
        }
        return Normalize(Apply(pick("", "", "i64mod", "u64mod", "imod", "umod"), e, {a, b}));
    case clang::BO_And:
        return bits("iand");
    case clang::BO_Or:
        return bits("ior");
    case clang::BO_Xor:
        return bits("ixor");
    case clang::BO_Shl:
    case clang::BO_Shr:
    {
        b = Convert(b, e, pWhere);
        if (ElementBytes(e) < 4)
        {
            b = Apply("iand", e, {b, Literal(E_U32, ElementBytes(e) * 8 - 1)});
        }
        if (eOp == clang::BO_Shl)
        {
            return Normalize(Apply(b64 ? "i64shl" : "ishl", e, {a, b}));
        }
        return Apply(pick("", "", "i64shr", "u64shr", "ishr", "ushr"), e, {a, b});
    }
    case clang::BO_LT:
        return compare(pick("lt", "dlt", "i64lt", "u64lt", "ilt", "ult"), a, b, b64);
    case clang::BO_GT:
        return compare(pick("lt", "dlt", "i64lt", "u64lt", "ilt", "ult"), b, a, b64);
    case clang::BO_LE:
        return compare(pick("ge", "dge", "i64ge", "u64ge", "ige", "uge"), b, a, b64);
    case clang::BO_GE:
        return compare(pick("ge", "dge", "i64ge", "u64ge", "ige", "uge"), a, b, b64);
    case clang::BO_EQ:
        return compare(pick("eq", "deq", "i64eq", "i64eq", "ieq", "ieq"), a, b, b64);
    case clang::BO_NE:
        return compare(pick("ne", "dne", "i64ne", "i64ne", "ine", "ine"), a, b, b64);
    default:
        Refuse(pWhere, "this operator is not supported");
    }
}

CILGenerator::SValue CILGenerator::PointerArithmetic(clang::BinaryOperatorKind eOp,
                                                     const clang::Expr* pPointer,
                                                     const SValue& pointer, const SValue& index,
                                                     const clang::Stmt* pWhere)
{
    const clang::QualType pointee = pPointer->getType()->getPointeeType();
    const uint64_t nSize = pointee->isVoidType() ? 1 : TypeSize(pointee);
    const EElement eAddress = pointer.eElement;
    const bool b64 = Is64(eAddress);
    SValue offset;
    if (index.bLiteral)
    {
        const int64_t nIndex =
            IsSigned(index.eElement)
                ? (Is64(index.eElement) ? int64_t(index.nBits) : int64_t(int32_t(index.nBits)))
                : int64_t(index.nBits);
        const int64_t nBytes = nIndex * int64_t(nSize);
        return AddressAddConstant(pointer, eOp == clang::BO_Sub ? -nBytes : nBytes);
    }
    const bool bPowerOfTwo = nSize > 1 && nSize < (uint64_t(1) << 32) && (nSize & (nSize - 1)) == 0;
    if (b64 && bPowerOfTwo && (index.eElement == E_I32 || index.eElement == E_U32))
    {
        // A 32-bit index times a power of two is its two halves shifted apart: two 32-bit
        // shifts instead of a widening and a 64-bit multiply.
        const unsigned int nShift = unsigned(__builtin_ctzll(nSize));
        const SValue low = Literal(E_U32, nShift);
        const SValue high = Literal(E_U32, 32 - nShift);
        offset = Temp(eAddress, index.nLanes);
        for (unsigned int l = 0; l < index.nLanes; ++l)
        {
            const std::string strIndex = ", " + LaneSource(index, l) + ", ";
            Emit("ishl " + WordDest(offset, l, false) + strIndex + LaneSource(low, 0));
            Emit(std::string(IsSigned(index.eElement) ? "ishr " : "ushr ") +
                 WordDest(offset, l, true) + strIndex + LaneSource(high, 0));
        }
        return Apply(eOp == clang::BO_Sub ? "i64sub" : "i64add", eAddress, {pointer, offset});
    }
    offset = Convert(index, b64 ? (IsSigned(index.eElement) ? E_I64 : E_U64) : E_U32, pWhere);
    offset.eElement = eAddress;
    if (nSize != 1)
    {
        offset = Apply(b64 ? "i64mul" : "imul", eAddress, {offset, Literal(eAddress, nSize)});
    }
    return Apply(eOp == clang::BO_Sub ? (b64 ? "i64sub" : "isub") : (b64 ? "i64add" : "iadd"),
                 eAddress, {pointer, offset});
}

CILGenerator::SValue CILGenerator::EmitLogical(const clang::BinaryOperator* pBinary)
{
    const bool bAnd = pBinary->getOpcode() == clang::BO_LAnd;
    const clang::QualType type = pBinary->getType();
    if (LanesOf(type) > 1)
    {
        const SValue left = ToCondition(EmitExpr(pBinary->getLHS()));
        const SValue right = ToCondition(EmitExpr(pBinary->getRHS()));
        const SValue leftMask = Apply("ine", E_I32, {left, Literal(E_I32, 0)});
        const SValue rightMask = Apply("ine", E_I32, {right, Literal(E_I32, 0)});
        return CompareResult(Apply(bAnd ? "iand" : "ior", E_I32, {leftMask, rightMask}), type);
    }
    const SValue result = Temp(E_I32, 1);
    Emit("mov " + LaneDest(result, 0) + ", " + Source(Literal(E_I32, bAnd ? 0 : 1), 0));
    Emit(std::string(bAnd ? "if_logicalnz " : "if_logicalz ") + Condition(pBinary->getLHS()));
    const std::string strRight = Condition(pBinary->getRHS());
    Emit("ine " + LaneDest(result, 0) + ", " + strRight + ", " + Source(Literal(E_I32, 0), 0));
    Emit("iand " + LaneDest(result, 0) + ", " + LaneDest(result, 0) + ", " +
         Source(Literal(E_I32, 1), 0));
    Emit("endif");
    return Convert(result, ElementOf(type, pBinary), pBinary);
}

CILGenerator::SValue CILGenerator::EmitConditional(const clang::ConditionalOperator* pConditional)
{
    const clang::QualType type = pConditional->getType().getCanonicalType();
    const clang::Expr* pCond = pConditional->getCond();
    if (LanesOf(pCond->getType()) > 1)
    {
        const SValue condition = ToCondition(EmitExpr(pCond));
        const SValue whenTrue = EmitExpr(pConditional->getTrueExpr());
        const SValue whenFalse = EmitExpr(pConditional->getFalseExpr());
        if (Is64(whenTrue.eElement))
        {
            Refuse(pConditional, "?: with a vector condition on 64-bit elements is not supported");
        }
        return Apply("cmov_logical", whenTrue.eElement, {condition, whenTrue, whenFalse});
    }
    if (type->isVoidType() || type->isRecordType())
    {
        Refuse(pConditional, "?: of this type is not supported");
    }
    const SValue shape = ShapeOf(type, pConditional);
    const SValue result = Temp(shape.eElement, shape.nLanes);
    Emit("if_logicalnz " + Condition(pCond));
    Copy(result, EmitExpr(pConditional->getTrueExpr()));
    Emit("else");
    Copy(result, EmitExpr(pConditional->getFalseExpr()));
    Emit("endif");
    return result;
}

CILGenerator::SValue CILGenerator::EmitInitList(const clang::InitListExpr* pInit,
                                                clang::QualType type)
{
    if (!type->isVectorType())
    {
        if (pInit->getNumInits() == 1 && (type->isScalarType()))
        {
            return EmitExpr(pInit->getInit(0));
        }
        Refuse(pInit, "this initialiser is not supported here");
    }
    const SValue shape = ShapeOf(type, pInit);
    if (pInit->getNumInits() == 1 && LanesOf(pInit->getInit(0)->getType()) == 1)
    {
        return Splat(Convert(EmitExpr(pInit->getInit(0)), shape.eElement, pInit), shape.nLanes);
    }
    const SValue result = Temp(shape.eElement, shape.nLanes);
    unsigned int nLane = 0;
    for (const clang::Expr* pPart : pInit->inits())
    {
        const SValue part = Convert(EmitExpr(pPart), shape.eElement, pPart);
        for (unsigned int l = 0; l < part.nLanes && nLane < shape.nLanes; ++l, ++nLane)
        {
            Emit("mov " + LaneDest(result, nLane) + ", " + LaneSource(part, l));
        }
    }
    return result;
}

// ---------------------------------------------------------------------------------------------
// Calls: the program's own functions take their arguments in their parameter registers and
// leave their result in a register of their own; built-in functions are lowered in place.

CILGenerator::SValue CILGenerator::EmitCall(const clang::CallExpr* pCall)
{
    const bool bUnused = m_bAtomicUnused;
    m_bAtomicUnused = false;
    const clang::FunctionDecl* pCallee = pCall->getDirectCallee();
    if (pCallee == nullptr)
    {
        Refuse(pCall, "calls through function pointers are not supported");
    }
    const clang::FunctionDecl* pDefinition = DefinitionOf(pCallee);
    auto it = pDefinition != nullptr ? m_Functions.find(pDefinition) : m_Functions.end();
    if (it == m_Functions.end())
    {
        m_bAtomicUnused = bUnused;
        return EmitBuiltin(pCall, pCallee->getNameAsString());
    }
    const SFunction& function = it->second;
    for (unsigned int i = 0; i < pCall->getNumArgs(); ++i)
    {
        Copy(function.vParameters[i], EmitExpr(pCall->getArg(i)));
    }
    Emit("call " + std::to_string(function.nLabel));
    if (pCallee->getReturnType()->isVoidType())
    {
        return Literal(E_I32, 0);
    }
    const SValue result = Temp(function.result.eElement, function.result.nLanes);
    Copy(result, function.result);
    return result;
}

CILGenerator::SValue CILGenerator::WorkItem(const std::string& strName,
                                            const clang::CallExpr* pCall)
{
    const clang::QualType type = pCall->getType();
    SValue value = Temp(E_U32, 1);
    const std::string strDest = LaneDest(value, 0);
    if (strName == "get_work_dim")
    {
        Emit("mov " + strDest + ", cb0[0].wwww");
        return Convert(value, ElementOf(type, pCall), pCall);
    }
    clang::Expr::EvalResult dimension;
    if (pCall->getNumArgs() != 1 || !pCall->getArg(0)->EvaluateAsInt(dimension, *m_pContext))
    {
        Refuse(pCall, strName + " needs a constant dimension");
    }
    const uint64_t nDimension = dimension.Val.getInt().getZExtValue();
    const bool bSize =
        strName == "get_global_size" || strName == "get_local_size" || strName == "get_num_groups";
    if (nDimension > 2)
    {
        return Literal(ElementOf(type, pCall), bSize ? 1 : 0);
    }
    const std::string strC(4, COMPONENTS[nDimension]);
    if (strName == "get_global_id")
    {
        Emit("iadd " + strDest + ", vAbsTid0." + strC + ", cb0[6]." + strC);
    }
    else if (strName == "get_local_id")
    {
        Emit("mov " + strDest + ", vTidInGrp0." + strC);
    }
    else if (strName == "get_group_id")
    {
        Emit("mov " + strDest + ", vThreadGrpId0." + strC);
    }
    else if (strName == "get_global_size")
    {
        Emit("mov " + strDest + ", cb0[0]." + strC);
    }
    else if (strName == "get_local_size")
    {
        Emit("mov " + strDest + ", cb0[1]." + strC);
    }
    else if (strName == "get_num_groups")
    {
        Emit("mov " + strDest + ", cb0[2]." + strC);
    }
    else
    {
        Emit("mov " + strDest + ", cb0[6]." + strC);
    }
    return Convert(value, ElementOf(type, pCall), pCall);
}

CILGenerator::SValue CILGenerator::Atomic(const std::string& strName, const clang::CallExpr* pCall)
{
    const bool bUnused = m_bAtomicUnused;
    m_bAtomicUnused = false;
    std::string strOp = strName.substr(strName.find('_') + 1);
    const clang::QualType pointee = pCall->getArg(0)->getType()->getPointeeType();
    const EElement eElement = ElementOf(pointee, pCall);
    const ESpace eSpace = SpaceOf(pointee);
    if (eSpace == S_Private)
    {
        Refuse(pCall, "atomics on private memory are not supported");
    }
    const SValue address = Materialize(EmitExpr(pCall->getArg(0)));
    if (Is64(eElement))
    {
        return Atomic64(strOp, pCall, eElement, eSpace, address);
    }
    SValue operand = Literal(E_U32, 1);
    SValue compare;
    if (strOp == "cmpxchg")
    {
        compare = Materialize(EmitExpr(pCall->getArg(1)));
        operand = Materialize(EmitExpr(pCall->getArg(2)));
        strOp = "cmp_xchg";
    }
    else if (strOp == "inc" || strOp == "dec")
    {
        strOp = strOp == "inc" ? "add" : "sub";
    }
    else
    {
        operand = Materialize(EmitExpr(pCall->getArg(1)));
        if ((strOp == "min" || strOp == "max") && !IsSigned(eElement))
        {
            strOp = "u" + strOp;
        }
    }
    const bool bReturn = !bUnused || strOp == "xchg";
    const std::string strNonReturning = strOp == "cmp_xchg" ? "cmp" : strOp;
    const std::string strGlobal = bReturn ? "uav_read_" + strOp : "uav_" + strNonReturning;
    const std::string strLocal = bReturn ? "lds_read_" + strOp : "lds_" + strNonReturning;
    SValue result = Temp(eElement, 1);
    std::string strLine = MemoryOp(strGlobal.c_str(), strLocal.c_str(), eSpace) + " ";
    if (bReturn)
    {
        strLine += LaneDest(result, 0) + ", ";
    }
    strLine += AddressOperand(address) + ", " + LaneSource(operand, 0);
    if (strOp == "cmp_xchg")
    {
        strLine += ", " + LaneSource(compare, 0);
    }
    Emit(strLine);
    return result;
}

// The work-items of the group share the elements, each taking every group-size-th from its flat
// local id on, so the copy is done when the call returns; wait_group_events is the barrier
// after which the whole group sees it.
// The IL has no 64-bit atomics: the device's lock word, whose address a launch puts in cb0[15],
// guards a plain read, change and write. The lanes of a group take the lock in turn, one per
// pass of the loop; between groups the compare-exchange on the lock decides.
CILGenerator::SValue CILGenerator::Atomic64(const std::string& strOp, const clang::CallExpr* pCall,
                                            EElement eElement, ESpace eSpace, const SValue& address)
{
    SValue operand = Literal(eElement, 1);
    SValue compare;
    if (strOp == "cmpxchg")
    {
        compare = Materialize(EmitExpr(pCall->getArg(1)));
        operand = Materialize(EmitExpr(pCall->getArg(2)));
    }
    else if (strOp != "inc" && strOp != "dec")
    {
        operand = Materialize(EmitExpr(pCall->getArg(1)));
    }
    const SValue lock = Temp(AddressElement(S_Global), 1);
    Emit("mov " + LaneDest(lock, 0) + ", cb0[" + std::to_string(LOCK_ROW) + "]" +
         (Is64(lock.eElement) ? ".xyxy" : ".xxxx"));
    const SValue done = Temp(E_I32, 1);
    const SValue taken = Temp(E_U32, 1);
    Copy(done, Literal(E_I32, 0));
    Emit("whileloop");
    Emit("break_logicalnz " + LaneSource(done, 0));
    const std::string strLockOp = MemoryOp("uav_read_cmp_xchg", "", S_Global) + " " +
                                  LaneDest(taken, 0) + ", " + AddressOperand(lock) + ", ";
    Emit(strLockOp + Source(Literal(E_U32, 1), 0) + ", " + Source(Literal(E_U32, 0), 0));
    Emit("if_logicalz " + LaneSource(taken, 0));
    const SValue old = LoadMemory(eSpace, address, eElement, 1);
    const bool bSigned = IsSigned(eElement);
    static const std::map<std::string, const char*> s_Ops = {
        {"add", "i64add"}, {"inc", "i64add"}, {"sub", "i64sub"}, {"dec", "i64sub"},
        {"and", "iand"},   {"or", "ior"},     {"xor", "ixor"}};
    SValue changed = operand;
    if (s_Ops.count(strOp) != 0)
    {
        changed = Apply(s_Ops.at(strOp), eElement, {old, operand});
    }
    else if (strOp == "min" || strOp == "max")
    {
        changed = Apply(strOp == "min" ? (bSigned ? "i64min" : "u64min")
                                       : (bSigned ? "i64max" : "u64max"),
                        eElement, {old, operand});
    }
    else if (strOp == "cmpxchg")
    {
        changed =
            Apply("cmov_logical", eElement, {Apply("i64eq", E_U64, {old, compare}), operand, old});
    }
    else if (strOp != "xchg")
    {
        Refuse(pCall, "the 64-bit atomic " + strOp + " is not supported");
    }
    StoreMemory(eSpace, address, Materialize(changed));
    // Releasing the lock is atomic too, so that the other groups see it.
    Emit(MemoryOp("uav_read_xchg", "", S_Global) + " " + LaneDest(taken, 0) + ", " +
         AddressOperand(lock) + ", " + Source(Literal(E_U32, 0), 0));
    Copy(done, Literal(E_I32, -1));
    Emit("endif");
    Emit("endloop");
    return old;
}

// printf appends a record to the launch's printf buffer: the call's number, then each argument
// as the call passes it (after C's promotions), each padded to whole words. The format, with
// %s of literal strings already filled in, and the arguments' sizes are a ";printf_fn" line of
// the kernels' metadata, from which the runtime prints the records when the kernel has run. A
// record that doesn't fit is dropped, and printf returns -1.
CILGenerator::SValue CILGenerator::Printf(const clang::CallExpr* pCall)
{
    const auto* pFormat =
        llvm::dyn_cast<clang::StringLiteral>(pCall->getArg(0)->IgnoreParenImpCasts());
    if (pFormat == nullptr)
    {
        Refuse(pCall, "printf needs a literal string as its format");
    }
    const std::string strFormat = pFormat->getString().str();
    std::string strSiteFormat;
    std::vector<SValue> vArgs;
    std::vector<uint32_t> vSizes;
    unsigned int nArg = 1;
    for (size_t i = 0; i < strFormat.size(); ++i)
    {
        if (strFormat[i] != '%')
        {
            strSiteFormat += strFormat[i];
            continue;
        }
        const size_t nConversion = strFormat.find_first_of("diouxXfFeEgGaAcsp%", i + 1);
        if (nConversion == std::string::npos)
        {
            Refuse(pCall, "printf: the format ends inside a conversion");
        }
        const std::string strConversion = strFormat.substr(i, nConversion - i + 1);
        i = nConversion;
        // Flags, width, precision, a vector size and a length: never an argument's '*'.
        if (strConversion.find_first_not_of("-+ #0123456789.vhl", 1) != strConversion.size() - 1)
        {
            Refuse(pCall, "printf: the conversion " + strConversion + " is not supported");
        }
        if (strConversion == "%%")
        {
            strSiteFormat += strConversion;
            continue;
        }
        if (nArg >= pCall->getNumArgs())
        {
            Refuse(pCall, "printf: the format converts more arguments than the call has");
        }
        const clang::Expr* pArg = pCall->getArg(nArg++);
        if (strConversion.back() == 's')
        {
            // Strings can only be literals: they are printed into the format now.
            const auto* pString = llvm::dyn_cast<clang::StringLiteral>(pArg->IgnoreParenImpCasts());
            if (pString == nullptr)
            {
                Refuse(pArg, "printf: %s needs a literal string");
            }
            const std::string strValue = pString->getString().str();
            std::vector<char> vText(strValue.size() + strConversion.size() + 512);
            std::snprintf(vText.data(), vText.size(), strConversion.c_str(), strValue.c_str());
            for (const char c : std::string(vText.data()))
            {
                strSiteFormat += c == '%' ? std::string("%%") : std::string(1, c);
            }
            continue;
        }
        strSiteFormat += strConversion;
        const clang::QualType type = pArg->getType().getCanonicalType();
        const SValue value = Materialize(EmitExpr(pArg));
        vArgs.push_back(value);
        vSizes.push_back(
            uint32_t(TypeSize(type) / (LanesOf(type) == 3 ? 4 : 1) * (LanesOf(type) == 3 ? 3 : 1)));
    }
    uint32_t nRecordBytes = 4;
    for (uint32_t nSize : vSizes)
    {
        nRecordBytes += (nSize + 3) / 4 * 4;
    }
    const uint32_t nSite = uint32_t(m_vPrintfSites.size());
    std::string strSite =
        ";printf_fn:" + std::to_string(nSite) + ":" + std::to_string(vSizes.size());
    for (uint32_t nSize : vSizes)
    {
        strSite += ":" + std::to_string(nSize);
    }
    m_vPrintfSites.push_back(strSite + ":" + std::to_string(strSiteFormat.size()) + ":" +
                             EscapeFormat(strSiteFormat) + "\n");

    const SValue buffer = Temp(AddressElement(S_Global), 1);
    Emit("mov " + LaneDest(buffer, 0) + ", cb0[" + std::to_string(PRINTF_ROW) + "]" +
         (Is64(buffer.eElement) ? ".xyxy" : ".xxxx"));
    // Launches without a buffer have a size of 0: no room, and no access to address 0.
    const SValue capacity = Temp(E_U32, 1);
    Emit("mov " + LaneDest(capacity, 0) + ", cb0[" + std::to_string(PRINTF_ROW) + "].zzzz");
    const SValue offset = Temp(E_U32, 1);
    Copy(offset, capacity);
    Emit("if_logicalnz " + LaneSource(capacity, 0));
    Emit(MemoryOp("uav_read_add", "", S_Global) + " " + LaneDest(offset, 0) + ", " +
         AddressOperand(buffer) + ", " + Source(Literal(E_U32, nRecordBytes), 0));
    Emit("endif");
    const SValue full = Apply(
        "ult", E_U32, {capacity, Apply("iadd", E_U32, {offset, Literal(E_U32, nRecordBytes)})});
    Emit("if_logicalz " + LaneSource(full, 0));
    const SValue record = AddressAdd(buffer, Convert(offset, buffer.eElement, pCall));
    StoreMemory(S_Global, record, Literal(E_U32, nSite));
    uint32_t nAt = 4;
    for (size_t a = 0; a < vArgs.size(); ++a)
    {
        StoreMemory(S_Global, AddressAddConstant(record, nAt), vArgs[a]);
        nAt += (vSizes[a] + 3) / 4 * 4;
    }
    Emit("endif");
    return Apply("cmov_logical", E_I32, {full, Literal(E_I32, uint64_t(-1)), Literal(E_I32, 0)});
}

CILGenerator::SValue CILGenerator::AsyncCopy(const clang::CallExpr* pCall, bool bStrided)
{
    const clang::Expr* pDest = pCall->getArg(0);
    const clang::Expr* pSource = pCall->getArg(1);
    const SValue dest = Materialize(EmitExpr(pDest));
    const SValue source = Materialize(EmitExpr(pSource));
    const SValue count = Materialize(Convert(EmitExpr(pCall->getArg(2)), E_U32, pCall));
    const SValue stride = bStrided ? Materialize(Convert(EmitExpr(pCall->getArg(3)), E_U32, pCall))
                                   : Literal(E_U32, 1);
    const SValue event = EmitExpr(pCall->getArg(bStrided ? 4 : 3));
    const clang::QualType element = pDest->getType()->getPointeeType();
    const bool bToLocal = SpaceOf(element) == S_Local;
    const SValue index = Temp(E_U32, 1);
    const SValue groupSize = Temp(E_U32, 1);
    Emit("imad " + LaneDest(index, 0) + ", vTidInGrp0.zzzz, cb0[1].yyyy, vTidInGrp0.yyyy");
    Emit("imad " + LaneDest(index, 0) + ", " + LaneSource(index, 0) +
         ", cb0[1].xxxx, vTidInGrp0.xxxx");
    Emit("imul " + LaneDest(groupSize, 0) + ", cb0[1].xxxx, cb0[1].yyyy");
    Emit("imul " + LaneDest(groupSize, 0) + ", " + LaneSource(groupSize, 0) + ", cb0[1].zzzz");
    Emit("whileloop");
    Emit("break_logicalz " + LaneSource(Apply("ult", E_U32, {index, count}), 0));
    const SValue strided = Apply("imul", E_U32, {index, stride});
    const SValue from =
        PointerArithmetic(clang::BO_Add, pSource, source, bToLocal ? strided : index, pCall);
    const SValue to =
        PointerArithmetic(clang::BO_Add, pDest, dest, bToLocal ? index : strided, pCall);
    const SValue shape = ShapeOf(element, pCall);
    StoreMemory(SpaceOf(element), to,
                LoadMemory(SpaceOf(pSource->getType()->getPointeeType()), from, shape.eElement,
                           shape.nLanes));
    Emit("iadd " + LaneDest(index, 0) + ", " + LaneSource(index, 0) + ", " +
         LaneSource(groupSize, 0));
    Emit("endloop");
    return event;
}

CILGenerator::SValue CILGenerator::EmitBuiltin(const clang::CallExpr* pCall,
                                               const std::string& strName)
{
    static const std::set<std::string> s_WorkItem = {
        "get_global_id",  "get_local_id",   "get_group_id",      "get_global_size",
        "get_local_size", "get_num_groups", "get_global_offset", "get_work_dim"};
    if (s_WorkItem.count(strName) != 0)
    {
        return WorkItem(strName, pCall);
    }
    if (strName.compare(0, 10, "read_image") == 0 || strName.compare(0, 11, "write_image") == 0 ||
        strName.compare(0, 10, "get_image_") == 0)
    {
        return ImageBuiltin(strName, pCall);
    }
    if (strName == "barrier" || strName == "work_group_barrier")
    {
        Emit("fence_threads_lds_memory");
        return Literal(E_I32, 0);
    }
    if (strName == "mem_fence" || strName == "read_mem_fence" || strName == "write_mem_fence")
    {
        Emit("fence_lds_memory");
        return Literal(E_I32, 0);
    }
    if (strName.compare(0, 7, "atomic_") == 0 || strName.compare(0, 5, "atom_") == 0)
    {
        return Atomic(strName, pCall);
    }
    if (strName == "async_work_group_copy" || strName == "async_work_group_strided_copy")
    {
        return AsyncCopy(pCall, strName == "async_work_group_strided_copy");
    }
    if (strName == "wait_group_events")
    {
        Emit("fence_threads_lds_memory");
        return Literal(E_I32, 0);
    }
    if (strName == "prefetch")
    {
        return Literal(E_I32, 0);
    }
    const clang::QualType type = pCall->getType().getCanonicalType();
    if (strName.compare(0, 5, "vload") == 0 && pCall->getNumArgs() == 2)
    {
        const SValue shape = ShapeOf(type, pCall);
        const clang::Expr* pPointer = pCall->getArg(1);
        const SValue offset =
            Apply(Is64(ElementOf(pCall->getArg(0)->getType(), pCall)) ? "i64mul" : "imul",
                  ElementOf(pCall->getArg(0)->getType(), pCall),
                  {EmitExpr(pCall->getArg(0)),
                   Literal(ElementOf(pCall->getArg(0)->getType(), pCall), shape.nLanes)});
        const SValue address =
            PointerArithmetic(clang::BO_Add, pPointer, EmitExpr(pPointer), offset, pCall);
        return LoadMemory(SpaceOf(pPointer->getType()->getPointeeType()), address, shape.eElement,
                          shape.nLanes);
    }
    if (strName.compare(0, 6, "vstore") == 0 && pCall->getNumArgs() == 3)
    {
        const SValue data = Materialize(EmitExpr(pCall->getArg(0)));
        const clang::Expr* pPointer = pCall->getArg(2);
        const EElement eOffset = ElementOf(pCall->getArg(1)->getType(), pCall);
        const SValue offset = Apply(Is64(eOffset) ? "i64mul" : "imul", eOffset,
                                    {EmitExpr(pCall->getArg(1)), Literal(eOffset, data.nLanes)});
        const SValue address =
            PointerArithmetic(clang::BO_Add, pPointer, EmitExpr(pPointer), offset, pCall);
        StoreMemory(SpaceOf(pPointer->getType()->getPointeeType()), address, data);
        return Literal(E_I32, 0);
    }
    if (strName.compare(0, 8, "convert_") == 0)
    {
        const std::string strSuffix = strName.substr(
            strName.find('_', 8) == std::string::npos ? strName.size() : strName.find('_', 8));
        SValue value = EmitExpr(pCall->getArg(0));
        const EElement eTo = ElementOf(type, pCall);
        const ERounding eRounding = strSuffix.find("_rte") != std::string::npos   ? R_Even
                                    : strSuffix.find("_rtp") != std::string::npos ? R_Up
                                    : strSuffix.find("_rtn") != std::string::npos ? R_Down
                                                                                  : R_Zero;
        if (IsFloat(value.eElement) && !IsFloat(eTo) && eRounding != R_Zero)
        {
            static const char* const s_FloatRounding[] = {"round_nearest", "round_plusinf",
                                                          "round_neginf"};
            value = value.eElement == E_F32 ? Apply(s_FloatRounding[eRounding], E_F32, {value})
                                            : RoundDouble(value, eRounding);
        }
        else if (strSuffix.find("_rt") != std::string::npos &&
                 strSuffix.find("_rte") == std::string::npos && IsFloat(eTo))
        {
            Refuse(pCall, strName + ": only round-to-nearest-even conversions to floating point "
                                    "are supported");
        }
        if (strSuffix.find("_sat") != std::string::npos && ElementBytes(eTo) < 4 && !IsFloat(eTo))
        {
            const int64_t nMax =
                (int64_t(1) << (ElementBytes(eTo) * 8 - (IsSigned(eTo) ? 1 : 0))) - 1;
            const int64_t nMin = IsSigned(eTo) ? -nMax - 1 : 0;
            if (value.eElement == E_F32)
            {
                value = Apply("max", E_F32, {value, Literal(E_F32, FloatBits(float(nMin)))});
                value = Apply("min", E_F32, {value, Literal(E_F32, FloatBits(float(nMax)))});
            }
            else if (!Is64(value.eElement) && !IsFloat(value.eElement))
            {
                const bool bSigned = IsSigned(value.eElement);
                value = Apply(bSigned ? "imax" : "umax", value.eElement,
                              {value, Literal(E_I32, uint64_t(nMin))});
                value = Apply(bSigned ? "imin" : "umin", value.eElement,
                              {value, Literal(E_I32, uint64_t(nMax))});
            }
            else
            {
                Refuse(pCall, strName + " is not supported");
            }
        }
        else if (strSuffix.find("_sat") != std::string::npos && !IsFloat(eTo) &&
                 !IsFloat(value.eElement) && IsSigned(value.eElement) != IsSigned(eTo))
        {
            Refuse(pCall, strName + " is not supported");
        }
        return Convert(value, eTo, pCall);
    }
    if (strName == "printf")
    {
        return Printf(pCall);
    }
    std::vector<SValue> vArgs;
    for (const clang::Expr* pArg : pCall->arguments())
    {
        if (pArg->getType()->isPointerType())
        {
            Refuse(pCall, "the built-in function " + strName + " is not supported");
        }
        vArgs.push_back(EmitExpr(pArg));
    }
    return Math(strName, vArgs, pCall);
}

// The math, integer, common, geometric and relational built-ins, lane by lane. Scalar
// arguments of vector forms (clamp(v, 0.0f, 1.0f)) are spread over the lanes first.
CILGenerator::SValue CILGenerator::Math(const std::string& strFullName,
                                        const std::vector<SValue>& vArgsIn,
                                        const clang::CallExpr* pCall)
{
    std::string strName = strFullName;
    for (const char* pPrefix : {"native_", "half_"})
    {
        if (strName.compare(0, std::strlen(pPrefix), pPrefix) == 0)
        {
            strName = strName.substr(std::strlen(pPrefix));
        }
    }
    const clang::QualType type = pCall->getType().getCanonicalType();
    unsigned int nLanes = 1;
    for (const SValue& arg : vArgsIn)
    {
        nLanes = std::max(nLanes, arg.nLanes);
    }
    std::vector<SValue> v;
    for (const SValue& arg : vArgsIn)
    {
        v.push_back(arg.nLanes < nLanes && !arg.bLiteral ? Splat(arg, nLanes) : arg);
    }
    auto unsupported = [&]() -> SValue
    { Refuse(pCall, "the built-in function " + strFullName + " is not supported"); };
    if (v.empty())
    {
        return unsupported();
    }
    const EElement e = v[0].eElement;
    const bool bFloat = e == E_F32;
    const bool bDouble = e == E_F64;
    auto apply = [&](const char* pOp, const std::vector<SValue>& vSources)
    {
        SValue result = Apply(pOp, e, vSources);
        result.nLanes = nLanes;
        return result;
    };
    auto constant = [&](double d)
    { return bDouble ? Literal(E_F64, DoubleBits(d)) : Literal(E_F32, FloatBits(float(d))); };
    const std::size_t nArgs = v.size();

    if (bFloat)
    {
        static const std::map<std::string, const char*> s_Unary = {
            {"sqrt", "sqrt"},     {"rsqrt", "rsq"},          {"recip", "rcp"},
            {"fabs", "abs"},      {"floor", "flr"},          {"ceil", "round_plusinf"},
            {"trunc", "round_z"}, {"rint", "round_nearest"}, {"exp2", "exp_vec"},
            {"log2", "log_vec"},  {"sin", "sin_vec"},        {"cos", "cos_vec"}};
        static const std::map<std::string, const char*> s_Binary = {
            {"fmin", "min"}, {"fmax", "max"}, {"min", "min"}, {"max", "max"}, {"divide", "div"}};
        if (nArgs == 1 && s_Unary.count(strName) != 0)
        {
            return apply(s_Unary.at(strName), v);
        }
        if (nArgs == 2 && s_Binary.count(strName) != 0)
        {
            return apply(s_Binary.at(strName), v);
        }
        if (nArgs == 3 && (strName == "mad" || strName == "fma"))
        {
            return apply(strName == "mad" ? "mad" : "fma", v);
        }
        if (nArgs == 1 && (strName == "exp" || strName == "exp10"))
        {
            const double dLog2 = strName == "exp" ? 1.4426950408889634 : 3.3219280948873622;
            return Exp2Precise(Apply(
                "dmul", E_F64, {Convert(v[0], E_F64, pCall), Literal(E_F64, DoubleBits(dLog2))}));
        }
        if (nArgs == 1 && strName == "log")
        {
            return apply("mul", {apply("log_vec", v), constant(0.6931471805599453)});
        }
        if (nArgs == 1 && strName == "log10")
        {
            return apply("mul", {apply("log_vec", v), constant(0.3010299956639812)});
        }
        if (nArgs == 1 && strName == "tan")
        {
            return apply("div", {apply("sin_vec", v), apply("cos_vec", v)});
        }
        if (nArgs == 2 && (strName == "pow" || strName == "powr"))
        {
            return Power(Materialize(v[0]), Materialize(v[1]), strName == "powr");
        }
        if (nArgs == 1 && (strName == "degrees" || strName == "radians"))
        {
            return apply("mul", {v[0], constant(strName == "degrees" ? 57.29577951308232
                                                                     : 0.017453292519943295)});
        }
        if (nArgs == 3 && strName == "clamp")
        {
            return apply("min", {apply("max", {v[0], v[1]}), v[2]});
        }
        if (nArgs == 3 && strName == "mix")
        {
            return apply("mad", {apply("sub", {v[1], v[0]}), v[2], v[0]});
        }
        if (nArgs == 2 && strName == "step")
        {
            // 0.0 where x < edge, else 1.0.
            const SValue below = apply("lt", {v[1], v[0]});
            return apply("cmov_logical", {below, constant(0.0), constant(1.0)});
        }
        if (nArgs == 2 && strName == "hypot")
        {
            return apply("sqrt", {apply("mad", {v[0], v[0], apply("mul", {v[1], v[1]})})});
        }
        if (nArgs == 1 && strName == "round")
        {
            const SValue truncated = apply("round_z", v);
            const SValue fraction = apply("abs", {apply("sub", {v[0], truncated})});
            const SValue half = apply("ge", {fraction, constant(0.5)});
            const SValue sign = apply("cmov_logical", {apply("lt", {v[0], constant(0.0)}),
                                                       constant(-1.0), constant(1.0)});
            return apply("add", {truncated, apply("cmov_logical", {half, sign, constant(0.0)})});
        }
        if (nArgs == 2 && strName == "copysign")
        {
            SValue magnitude = Apply("iand", E_U32, {v[0], Literal(E_U32, 0x7FFFFFFFu)});
            SValue sign = Apply("iand", E_U32, {v[1], Literal(E_U32, 0x80000000u)});
            SValue result = Apply("ior", E_U32, {magnitude, sign});
            result.eElement = E_F32;
            return result;
        }
        if (nArgs == 1 && strName == "sign")
        {
            const SValue positive = apply("lt", {constant(0.0), v[0]});
            const SValue negative = apply("lt", {v[0], constant(0.0)});
            return apply("cmov_logical",
                         {positive, constant(1.0),
                          apply("cmov_logical", {negative, constant(-1.0), constant(0.0)})});
        }
        if (strName == "dot" || strName == "length" || strName == "distance" ||
            strName == "normalize" || strName == "fast_length" || strName == "fast_distance" ||
            strName == "fast_normalize")
        {
            SValue x = v[0];
            if (strName == "distance" || strName == "fast_distance")
            {
                x = apply("sub", {v[0], v[1]});
            }
            const SValue y = strName == "dot" ? v[1] : x;
            const SValue products = apply("mul", {x, y});
            SValue sum = Temp(E_F32, 1);
            Emit("mov " + LaneDest(sum, 0) + ", " + LaneSource(products, 0));
            for (unsigned int l = 1; l < nLanes; ++l)
            {
                Emit("add " + LaneDest(sum, 0) + ", " + LaneSource(sum, 0) + ", " +
                     LaneSource(products, l));
            }
            if (strName == "dot")
            {
                return sum;
            }
            if (strName.find("normalize") != std::string::npos)
            {
                const SValue scale = Splat(Apply("rsq", E_F32, {sum}), nLanes);
                return apply("mul", {x, scale});
            }
            return Apply("sqrt", E_F32, {sum});
        }
        if (nArgs == 2 && strName == "cross" && (nLanes == 3 || nLanes == 4))
        {
            const SValue a = v[0];
            const SValue b = v[1];
            const SValue result = Temp(E_F32, nLanes);
            for (unsigned int l = 0; l < 3; ++l)
            {
                const unsigned int n1 = (l + 1) % 3;
                const unsigned int n2 = (l + 2) % 3;
                const SValue t = Temp(E_F32, 1);
                Emit("mul " + LaneDest(t, 0) + ", " + LaneSource(a, n2) + ", " + LaneSource(b, n1));
                Emit("mad " + LaneDest(result, l) + ", " + LaneSource(a, n1) + ", " +
                     LaneSource(b, n2) + ", -" + LaneSource(t, 0));
            }
            if (nLanes == 4)
            {
                Emit("mov " + LaneDest(result, 3) + ", " + Source(constant(0.0), 0));
            }
            return result;
        }
    }
    if (bDouble)
    {
        static const std::map<std::string, const char*> s_Double = {
            {"sqrt", "dsqrt"}, {"fmin", "dmin"}, {"fmax", "dmax"}, {"min", "dmin"},
            {"max", "dmax"},   {"fma", "dfma"},  {"mad", "dmad"}};
        if (s_Double.count(strName) != 0)
        {
            return apply(s_Double.at(strName), v);
        }
        if (nArgs == 1 && strName == "fabs")
        {
            return DoubleMagnitude(v[0]);
        }
        if (nArgs == 3 && strName == "clamp")
        {
            return apply("dmin", {apply("dmax", {v[0], v[1]}), v[2]});
        }
    }
    if (!bFloat && !bDouble)
    {
        const bool bSigned = IsSigned(e);
        const bool b64 = Is64(e);
        const char* pMin = b64 ? (bSigned ? "i64min" : "u64min") : (bSigned ? "imin" : "umin");
        const char* pMax = b64 ? (bSigned ? "i64max" : "u64max") : (bSigned ? "imax" : "umax");
        if (nArgs == 2 && (strName == "min" || strName == "max"))
        {
            return apply(strName == "min" ? pMin : pMax, v);
        }
        if (nArgs == 3 && strName == "clamp")
        {
            return apply(pMin, {apply(pMax, {v[0], v[1]}), v[2]});
        }
        if (nArgs == 1 && strName == "abs")
        {
            SValue result =
                bSigned ? apply(pMax, {v[0], apply(b64 ? "i64negate" : "inegate", v)}) : v[0];
            result.eElement = ElementOf(type, pCall);
            return Normalize(result);
        }
        if (!b64 && nArgs == 2 && (strName == "mul24" || strName == "mul_hi"))
        {
            return Normalize(apply(strName == "mul24" ? "imul"
                                   : bSigned          ? "imul_high"
                                                      : "umul_high",
                                   v));
        }
        if (!b64 && nArgs == 3 && strName == "mad24")
        {
            return Normalize(apply("imad", v));
        }
        if (!b64 && ElementBytes(e) == 4 && nArgs == 1 && strName == "popcount")
        {
            return apply("icbits", v);
        }
        if (!b64 && ElementBytes(e) == 4 && nArgs == 1 && strName == "clz")
        {
            const SValue first = apply("ffb_control(1)", v);
            const SValue zero = apply("ieq", {v[0], Literal(E_U32, 0)});
            return apply("cmov_logical", {zero, Literal(E_U32, 32), first});
        }
        if (!b64 && ElementBytes(e) == 4 && nArgs == 2 && strName == "rotate")
        {
            const SValue left = apply("ishl", v);
            const SValue count = apply("isub", {Literal(E_U32, 32), v[1]});
            return apply("ior", {left, apply("ushr", {v[0], count})});
        }
        if (nArgs == 3 && strName == "select" && !b64)
        {
            const SValue mask = nLanes > 1 ? Apply("ilt", E_I32, {v[2], Literal(E_I32, 0)})
                                           : Apply("ine", E_I32, {v[2], Literal(E_I32, 0)});
            return apply("cmov_logical", {mask, v[1], v[0]});
        }
        if (nArgs == 1 && (strName == "any" || strName == "all"))
        {
            SValue folded = Temp(E_U32, 1);
            Emit("mov " + LaneDest(folded, 0) + ", " + LaneSource(v[0], 0));
            for (unsigned int l = 1; l < nLanes; ++l)
            {
                Emit(std::string(strName == "any" ? "ior " : "iand ") + LaneDest(folded, 0) + ", " +
                     LaneSource(folded, 0) + ", " + LaneSource(v[0], l));
            }
            return Convert(Apply("ushr", E_U32, {folded, Literal(E_U32, 31)}),
                           ElementOf(type, pCall), pCall);
        }
    }
    if (nArgs == 3 && strName == "select" && !Is64(e))
    {
        const SValue mask = v[2].nLanes > 1 ? Apply("ilt", E_I32, {v[2], Literal(E_I32, 0)})
                                            : Apply("ine", E_I32, {v[2], Literal(E_I32, 0)});
        return apply("cmov_logical", {mask, v[1], v[0]});
    }
    if (nArgs == 3 && strName == "bitselect" && !Is64(e))
    {
        return apply("bfi", {v[2], v[1], v[0]});
    }
    if (bFloat && nArgs == 1 &&
        (strName == "isnan" || strName == "isinf" || strName == "isfinite" || strName == "signbit"))
    {
        const SValue magnitude = apply("abs", v);
        const SValue infinity = Literal(E_F32, 0x7F800000u);
        SValue mask;
        if (strName == "isnan")
        {
            mask = Apply("ne", E_I32, {v[0], v[0]});
        }
        else if (strName == "isinf")
        {
            mask = Apply("eq", E_I32, {magnitude, infinity});
        }
        else if (strName == "isfinite")
        {
            mask = Apply("lt", E_I32, {magnitude, infinity});
        }
        else
        {
            mask = Apply("ishr", E_I32, {v[0], Literal(E_U32, 31)});
        }
        return CompareResult(mask, type);
    }
    if (bFloat && nArgs == 2 &&
        (strName == "isequal" || strName == "isnotequal" || strName == "isgreater" ||
         strName == "isgreaterequal" || strName == "isless" || strName == "islessequal"))
    {
        const bool bSwap = strName == "isgreater" || strName == "islessequal";
        const char* pOp = strName == "isequal"                              ? "eq"
                          : strName == "isnotequal"                         ? "ne"
                          : (strName == "isgreater" || strName == "isless") ? "lt"
                                                                            : "ge";
        return CompareResult(Apply(pOp, E_I32, {bSwap ? v[1] : v[0], bSwap ? v[0] : v[1]}), type);
    }
    return unsupported();
}
} // namespace XAN_Platform
