#include "CSDBGScenario.h"

#include "TpfFormat.h"

#include <cerrno>
#include <cstdlib>
#include <sstream>

namespace XAN_Platform
{
namespace
{
struct NamedCode
{
    const char* pName;
    uint32_t nCode;
};

const NamedCode g_Types[] = {{"VOID", 0}, {"BOOL", 1}, {"INT", 2}, {"FLOAT", 3}, {"UINT", 19}};

const NamedCode g_RegisterKinds[] = {{"v", 0}, {"o", 1}, {"r", 4}, {"s", 7}};

bool ParseNumber(const std::string& strWord, uint32_t& nValue)
{
    if (strWord.empty() || strWord[0] < '0' || strWord[0] > '9')
    {
        return false;
    }
    char* pEnd = nullptr;
    errno = 0;
    const unsigned long nParsed = std::strtoul(strWord.c_str(), &pEnd, 0);
    if (*pEnd != '\0' || errno != 0 || nParsed > 0xFFFFFFFFul)
    {
        return false;
    }
    nValue = static_cast<uint32_t>(nParsed);
    return true;
}

template <size_t N>
bool ParseCode(const NamedCode (&table)[N], const std::string& strWord, uint32_t& nCode)
{
    for (const NamedCode& entry : table)
    {
        if (strWord == entry.pName)
        {
            nCode = entry.nCode;
            return true;
        }
    }
    return ParseNumber(strWord, nCode);
}

// An opcode by the toolkit's name or by number.
bool ParseOpcode(const std::string& strWord, uint32_t& nOpcode)
{
    unsigned int nCount = 0;
    const TpfOpcodeInfo* pOpcodes = GetTpfOpcodes(nCount);
    for (unsigned int i = 0; i < nCount; ++i)
    {
        if (strWord == pOpcodes[i].pName)
        {
            nOpcode = pOpcodes[i].nOpcode;
            return true;
        }
    }
    return ParseNumber(strWord, nOpcode);
}

// The comment-free words of a line.
std::vector<std::string> SplitWords(const std::string& strLine)
{
    std::istringstream stream(strLine.substr(0, strLine.find('#')));
    std::vector<std::string> vWords;
    for (std::string strWord; stream >> strWord;)
    {
        vWords.push_back(strWord);
    }
    return vWords;
}
} // namespace

bool CSDBGScenario::Parse(const std::string& strText)
{
    *this = CSDBGScenario();
    std::istringstream stream(strText);
    std::string strLine;
    // The text of an open "source" or "program" block.
    std::string* pBlock = nullptr;
    while (std::getline(stream, strLine))
    {
        ++m_nLine;
        if (pBlock != nullptr)
        {
            if (strLine == "end")
            {
                pBlock = nullptr;
            }
            else
            {
                *pBlock += strLine + "\n";
            }
            continue;
        }
        const std::vector<std::string> vWords = SplitWords(strLine);
        if (vWords.size() == 2 && vWords[0] == "source")
        {
            m_vFiles.push_back(SDBGFile{vWords[1], ""});
            pBlock = &m_vFiles.back().strSource;
        }
        else if (vWords.size() == 1 && vWords[0] == "program")
        {
            pBlock = &m_strProgram;
        }
        else if (!vWords.empty() && !ParseStatement(vWords))
        {
            return false;
        }
    }
    return pBlock == nullptr || Fail("block without \"end\"");
}

bool CSDBGScenario::ParseStatement(const std::vector<std::string>& vWords)
{
    const std::string& strKeyword = vWords[0];
    if (strKeyword == "entry" && vWords.size() == 2)
    {
        m_strEntry = vWords[1];
        return true;
    }
    if (strKeyword == "entrytoken" && vWords.size() == 2)
    {
        uint32_t nToken = 0;
        return ParsePosition(vWords[1], m_strEntry, nToken);
    }
    if (strKeyword == "scope" && vWords.size() == 3)
    {
        SDBGScope scope;
        scope.strName = vWords[2];
        m_vScopes.push_back(scope);
        return ParseNumber(vWords[1], m_vScopes.back().nKind) ||
               Fail("bad scope kind '" + vWords[1] + "'");
    }
    if (strKeyword == "var")
    {
        return ParseVariable(vWords);
    }
    if (strKeyword == "inst")
    {
        return ParseInstruction(vWords);
    }
    return Fail("unknown statement '" + strKeyword + "'");
}

bool CSDBGScenario::ParseVariable(const std::vector<std::string>& vWords)
{
    SDBGScopeVariable scopeVariable;
    uint32_t nType = 0;
    if ((vWords.size() != 4 && vWords.size() != 6) || !ParseCode(g_Types, vWords[2], nType) ||
        !ParseNumber(vWords[3], scopeVariable.nElements) || scopeVariable.nElements == 0 ||
        (vWords.size() == 6 &&
         (vWords[4] != "class" || !ParseNumber(vWords[5], scopeVariable.nClass))))
    {
        return Fail("expected: var NAME TYPE COUNT [class N]");
    }
    scopeVariable.nColumns = scopeVariable.nElements < 4 ? scopeVariable.nElements : 4;
    const uint32_t nToken = AddToken(0, 1, vWords[1]);
    const uint32_t nScopeVariable = static_cast<uint32_t>(m_vScopeVariables.size());
    m_vScopeVariables.push_back(scopeVariable);
    for (uint32_t nComponent = 0; nComponent < scopeVariable.nElements; ++nComponent)
    {
        m_vVariables.push_back(SDBGVariable{nToken, nType, nScopeVariable, nComponent});
    }
    return true;
}

bool CSDBGScenario::ParseInstruction(const std::vector<std::string>& vWords)
{
    SDBGInstruction instruction;
    if (vWords.size() < 3 || !ParseOpcode(vWords[1], instruction.nOpcode))
    {
        return Fail("expected: inst OPCODE FILE:LINE ...");
    }
    if (!ParsePosition(vWords[2], "", instruction.nToken))
    {
        return false;
    }
    size_t nWord = 3;
    if (nWord + 1 < vWords.size() && vWords[nWord] == "scopes")
    {
        std::istringstream list(vWords[nWord + 1]);
        for (std::string strScope; std::getline(list, strScope, ',');)
        {
            uint32_t nScope = 0;
            if (!ParseNumber(strScope, nScope) || nScope >= m_vScopes.size())
            {
                return Fail("bad scope '" + strScope + "'");
            }
            instruction.vScopes.push_back(nScope);
        }
        nWord += 2;
    }
    for (; nWord < vWords.size(); ++nWord)
    {
        if (instruction.vDestinations.empty() || vWords[nWord] == "|")
        {
            if (instruction.vDestinations.size() == 2)
            {
                return Fail("more than two destinations");
            }
            instruction.vDestinations.emplace_back();
            if (vWords[nWord] == "|")
            {
                continue;
            }
        }
        if (!ParseComponent(vWords[nWord], instruction.vDestinations.back()))
        {
            return false;
        }
    }
    m_vInstructions.push_back(instruction);
    return true;
}

// "r0.y=a.1": temp 0, component y, holds component 1 of a; "r0.y" holds nothing.
bool CSDBGScenario::ParseComponent(const std::string& strWord, SDBGDestination& destination)
{
    static const std::string s_Components = "xyzw";
    const size_t nDot = strWord.find('.');
    const size_t nEquals = strWord.find('=');
    uint32_t nKind = 0;
    uint32_t nNumber = 0;
    if (nDot == std::string::npos || nDot < 2 || nDot + 2 > strWord.size() ||
        s_Components.find(strWord[nDot + 1]) == std::string::npos ||
        !ParseCode(g_RegisterKinds, strWord.substr(0, 1), nKind) ||
        !ParseNumber(strWord.substr(1, nDot - 1), nNumber) ||
        (nEquals != std::string::npos && nEquals != nDot + 2) ||
        (nEquals == std::string::npos && nDot + 2 != strWord.size()))
    {
        return Fail("bad component '" + strWord + "'");
    }
    SDBGComponent& component = destination.components[s_Components.find(strWord[nDot + 1])];
    component.nKind = nKind;
    component.nNumber = nNumber;
    if (nEquals == std::string::npos)
    {
        return true;
    }
    const std::string strVariable = strWord.substr(nEquals + 1);
    const size_t nVariableDot = strVariable.rfind('.');
    uint32_t nComponent = 0;
    if (nVariableDot != std::string::npos &&
        ParseNumber(strVariable.substr(nVariableDot + 1), nComponent))
    {
        const std::string strName = strVariable.substr(0, nVariableDot);
        for (size_t i = 0; i < m_vVariables.size(); ++i)
        {
            if (m_vTokens[m_vVariables[i].nToken].strText == strName &&
                m_vVariables[i].nComponent == nComponent)
            {
                component.nVariable = static_cast<uint32_t>(i);
                return true;
            }
        }
    }
    return Fail("unknown variable component '" + strVariable + "'");
}

bool CSDBGScenario::ParsePosition(const std::string& strWord, const std::string& strText,
                                  uint32_t& nToken)
{
    const size_t nColon = strWord.find(':');
    uint32_t nFile = 0;
    uint32_t nLine = 0;
    if (nColon == std::string::npos || !ParseNumber(strWord.substr(0, nColon), nFile) ||
        !ParseNumber(strWord.substr(nColon + 1), nLine))
    {
        return Fail("bad position '" + strWord + "', expected FILE:LINE");
    }
    nToken = AddToken(nFile, nLine, strText);
    return true;
}

uint32_t CSDBGScenario::AddToken(uint32_t nFile, uint32_t nLine, const std::string& strText)
{
    for (size_t i = 0; i < m_vTokens.size(); ++i)
    {
        const SDBGToken& token = m_vTokens[i];
        if (token.nFile == nFile && token.nLine == nLine && token.strText == strText)
        {
            return static_cast<uint32_t>(i);
        }
    }
    m_vTokens.push_back(SDBGToken{nFile, nLine, strText});
    return static_cast<uint32_t>(m_vTokens.size() - 1);
}

bool CSDBGScenario::Fail(const std::string& strMessage)
{
    m_strError = "line " + std::to_string(m_nLine) + ": " + strMessage;
    return false;
}
} // namespace XAN_Platform
