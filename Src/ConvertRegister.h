#ifndef CONVERT_REGISTER_H
#define CONVERT_REGISTER_H

#include <CL/cl.h>

#include <string>

// The register type of a locator: 0 to 62 are the IL's own types, 63 the pseudo register through
// which private memory is read on the newer GPU family, 64 an unknown type.
typedef unsigned int DLRegType;

enum : DLRegType
{
    DL_REGTYPE_INDEXABLE_TEMP = 30,
    DL_REGTYPE_CONST_BUFF = 31,
    DL_REGTYPE_PRIVATE_UAV_ACCESS = 63,
    DL_REGTYPE_UNKNOWN = 64
};

// A locator names a register in one 64-bit value, in one of three forms told apart by range:
// below 0x10000 a temp register, up to 0x1FFFF an element of a constant buffer, and from bit 63
// on any register with type, number and index.
const cl_ulong DL_LOCATOR_CONST_BUFF = 0x10000;
const cl_ulong DL_LOCATOR_GENERAL = 0x8000000000000000ULL;
// What a name that can't be parsed gives.
const cl_ulong DL_LOCATOR_INVALID = ~0ULL;

// The name of a type; "!!!invalidRegType!!!" from 64 on.
std::string DLRegTypeToString(DLRegType type);

// The type of a name, which must match exactly; DL_REGTYPE_UNKNOWN for any other text.
DLRegType StringToDLRegType(const std::string& strType);

// The name of the register that a locator stands for, such as "r12", "cb2[5]" or "x1[3]"; an
// empty text for a value that isn't a locator.
std::string debugRegisterLocatorToString(cl_ulong locator);

// The locator of a register name; DL_LOCATOR_INVALID for a name of the wrong form.
cl_ulong stringToDebugRegisterLocator(const std::string& strRegName);

#endif
