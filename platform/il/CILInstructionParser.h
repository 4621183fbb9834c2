#ifndef XAN_PLATFORM_CIL_INSTRUCTION_PARSER_H
#define XAN_PLATFORM_CIL_INSTRUCTION_PARSER_H

#include "ILTextForms.h"

#include <string>
#include <string_view>
#include <vector>

namespace XAN_Platform
{
// Parses the statement of one IL text line, an instruction or declaration
// without its comments, into its tokens.
class CILInstructionParser
{
public:
    // Replaces vTokens with the instruction's tokens. On failure GetErrorWhere()
    // is the offending part of the statement.
    bool Parse(std::string_view statement, std::vector<unsigned int>& vTokens);

    // Parses a header such as il_cs_2_0 into its version token.
    bool ParseHeader(std::string_view word, unsigned int& nVersion);

    std::string_view GetErrorWhere() const { return m_errorWhere; }
    const std::string& GetErrorMessage() const { return m_strError; }

private:
    // What the mnemonic and its suffixes say.
    struct Mnemonic
    {
        std::string_view word;
        const char* pName = nullptr;
        const ILTextForm* pForm = nullptr;
        unsigned int nOpcodeToken = 0;
        unsigned int nPri = 0;
        unsigned int nSec = 0;
        unsigned int nOutputs = 0;
        unsigned int nInputs = 0;
        unsigned int nTrailing[2] = {0, 0};
        unsigned int nTrailingGiven = 0; // a bit per named trailing token
    };

    // An operand token with the tokens that follow it, in their order.
    struct Operand
    {
        unsigned int nToken = 0;
        unsigned int nModifier = 0;
        unsigned int nAddress[2] = {0, 0}; // dimension, relative or index tokens
        unsigned int nAddressCount = 0;
        unsigned int nImmediate = 0;
        unsigned int nExtension = 0;
    };

    bool ParseMnemonic(std::string_view word, Mnemonic& mnemonic);
    bool ParseSuffixes(std::string_view text, Mnemonic& mnemonic);
    bool ParseSuffix(std::string_view key, std::string_view value, bool bHasValue,
                     Mnemonic& mnemonic);
    bool ParseOperands(std::string_view text, const Mnemonic& mnemonic,
                       std::vector<unsigned int>& vTokens);
    bool ParseMcallOperands(std::string_view text, std::vector<unsigned int>& vTokens);
    bool ParseOperand(std::string_view text, bool bDest, const ILTextForm& form,
                      std::vector<unsigned int>& vTokens);
    bool ParseRegisterName(std::string_view& text, unsigned int& nToken);
    bool ParseIndex(std::string_view text, const ILTextForm& form, Operand& operand);
    bool ParseIndexRegister(std::string_view text, Operand& operand);
    bool ParseDestComponents(std::string_view& text, Operand& operand);
    bool ParseSwizzle(std::string_view& text, Operand& operand);
    bool ParseOperandSuffixes(std::string_view& text, bool bDest, bool bIndexRegister,
                              Operand& operand);
    bool ParseValue(std::string_view text, bool bBitPattern, unsigned int& nValue);
    bool ParseNumber(std::string_view text, long long nMin, long long nMax, long long& nValue);
    bool Fail(std::string_view where, const std::string& strMessage);

    std::string_view m_errorWhere;
    std::string m_strError;
};
} // namespace XAN_Platform

#endif
