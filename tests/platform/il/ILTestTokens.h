#ifndef XAN_TEST_IL_TEST_TOKENS_H
#define XAN_TEST_IL_TEST_TOKENS_H

// Hand-built tokens for the tests of IL text.

#include "ShaderUtils/IL/ILFormat.h"

namespace XAN_Test
{
// The version token of il_cs_2_0.
const unsigned int HEADER_CS_2_0 = 0x00030200;

inline unsigned int Operand(unsigned int nType, unsigned int nNumber, unsigned int nFlags = 0)
{
    return (nType << ShaderUtils::IL_REG_TYPE_SHIFT) | nNumber | nFlags;
}

const unsigned int R0 = Operand(ShaderUtils::IL_REGTYPE_TEMP, 0);
const unsigned int R1 = Operand(ShaderUtils::IL_REGTYPE_TEMP, 1);
const unsigned int R2 = Operand(ShaderUtils::IL_REGTYPE_TEMP, 2);
} // namespace XAN_Test

#endif
