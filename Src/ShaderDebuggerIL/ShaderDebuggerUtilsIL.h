#ifndef SHADER_DEBUGGER_UTILS_IL_H
#define SHADER_DEBUGGER_UTILS_IL_H

#include "ConsistencyAssert.h"
#include "ShaderDebuggerShader.h"

#include <string>

namespace XAN_ShaderDebugger
{
// The IL register type of an operand token as an RT_* value; RT_Unknown for a type that the IL
// doesn't have.
RegisterType ILtoSDRegisterType(unsigned int nILType);

// The IL register type of an RT_* value; IL_REGTYPE_LAST for a type that the IL doesn't have.
unsigned int SDtoILRegisterType(RegisterType regType);

// The text name of an IL register type; "!!!invalidRegType!!!" for a type that has none.
std::string GetILRegisterType(unsigned int nILType);

// The IL register type of a text name, exact and with case; "v" is 5 and "o" is 11.
// IL_REGTYPE_LAST for an unknown name.
unsigned int ParseILRegisterType(const std::string& strType);

// The name of a register, such as "r7", "cb1[4]" or "x0[3]". bIndex adds the index of an
// indexed type. This name keys results and tracking lists.
std::string GetILRegisterName(const RegisterID& id, bool bIndex);

// The register of a name as GetILRegisterName writes it with its index; the default RegisterID
// for a name of the wrong form.
RegisterID ParseILRegisterName(const std::string& strName);

// How GetILSrcMod fills the components that the mask doesn't select.
enum ILSrcModFill : unsigned int
{
    IL_FILL_FIRST = 0, // the swizzle of the first selected component
    IL_FILL_LAST = 1,  // the swizzle of the last one (of the third when there are more)
    IL_FILL_ZERO = 2,  // 0.0
    IL_FILL_ONE = 3    // 1.0
};

// A source modifier that reads the components of mask into the low end of the swizzle and
// fills the rest by nFillMode. mask must have one component, or be COMP_xy, COMP_zw, COMP_xyz
// or COMP_All; 0 otherwise.
unsigned int GetILSrcMod(unsigned short mask, unsigned int nFillMode);

// The components that a destination modifier writes.
unsigned short GetDestMask(unsigned int dstModifier);

// The one component that a source modifier reads: the lowest one that any swizzle selects.
// 0 with negation or a further modifier, and when only 0.0 and 1.0 are read.
unsigned short GetSrcMask(unsigned int srcModifier);

// Stores the low six bits of nILType in an operand token's type field.
void SetRegisterType(unsigned int& token, unsigned int nILType);

// Stores the low 16 bits of nNumber in an operand token; for a temp also its sign.
void SetRegisterNumber(unsigned int& token, unsigned int nNumber);
} // namespace XAN_ShaderDebugger

#endif
