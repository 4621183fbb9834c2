#include "CILAssembler.h"

#include "ShaderUtils/IL/ILFormat.h"

#include <algorithm>

using namespace ShaderUtils;

namespace XAN_Platform
{
namespace
{
// Comment text per comment element. Longer comments become several
// elements, so that no instruction passes the decoder's limit.
const std::size_t MAX_COMMENT_BYTES = 16000;
const std::size_t MAX_SHOWN_WORD = 60;

// The word as it can be shown on a terminal: text that is no text (a binary
// given as IL) shows its bytes as "\xNN".
std::string Printable(const std::string& strWord)
{
    static const char HEX[] = "0123456789abcdef";
    std::string strShown;
    for (char c : strWord)
    {
        const unsigned char n = static_cast<unsigned char>(c);
        if (n >= 0x20 && n < 0x7F && c != '\\')
        {
            strShown += c;
        }
        else
        {
            strShown += {'\\', 'x', HEX[n >> 4], HEX[n & 0xF]};
        }
    }
    return strShown;
}
} // namespace

std::string ILAsmError::ToString() const
{
    std::string strText =
        "line " + std::to_string(nLine) + ", column " + std::to_string(nColumn) + ": " + strMessage;
    if (!strWord.empty())
    {
        strText += " '" + Printable(strWord) + "'";
    }
    return strText;
}

bool CILAssembler::Assemble(std::string_view strText, std::vector<unsigned int>& vTokens,
                            std::vector<unsigned int>* pvElementLines)
{
    m_vTokens.clear();
    m_vElementLines.clear();
    m_state = STATE_BEFORE_HEADER;
    m_error = ILAsmError();
    m_nLine = 0;
    strText = strText.substr(0, strText.find('\0'));
    std::size_t nStart = 0;
    while (true)
    {
        std::size_t nEnd = strText.find('\n', nStart);
        if (nEnd == std::string_view::npos)
        {
            nEnd = strText.size();
        }
        ++m_nLine;
        m_line = strText.substr(nStart, nEnd - nStart);
        if (!AssembleLine(m_line))
        {
            return false;
        }
        if (nEnd == strText.size())
        {
            break;
        }
        nStart = nEnd + 1;
    }
    if (m_state != STATE_PROGRAM)
    {
        return Fail(std::string_view(), m_state == STATE_LEADING_MACRO
                                            ? "the text ends inside a macro, without mend"
                                            : "the text has no header, such as il_cs_2_0");
    }
    vTokens = std::move(m_vTokens);
    if (pvElementLines != nullptr)
    {
        *pvElementLines = std::move(m_vElementLines);
    }
    return true;
}

bool CILAssembler::AssembleLine(std::string_view line)
{
    // Every ';' starts a comment of its own, which follows the statement.
    std::size_t nSemicolon = line.find(';');
    const std::string_view statement = TrimILBlanks(line.substr(0, nSemicolon));
    if (!statement.empty())
    {
        if (statement.substr(0, 3) == "il_")
        {
            if (!AssembleHeader(statement))
            {
                return false;
            }
        }
        else if (!m_parser.Parse(statement, m_vInstruction))
        {
            return Fail(m_parser.GetErrorWhere(), m_parser.GetErrorMessage());
        }
        else if (!AddElement(statement))
        {
            return false;
        }
    }
    while (nSemicolon != std::string_view::npos)
    {
        const std::size_t nNext = line.find(';', nSemicolon + 1);
        const std::size_t nEnd = nNext == std::string_view::npos ? line.size() : nNext;
        if (!AssembleComment(line.substr(nSemicolon + 1, nEnd - nSemicolon - 1)))
        {
            return false;
        }
        nSemicolon = nNext;
    }
    return true;
}

bool CILAssembler::AssembleHeader(std::string_view word)
{
    unsigned int nVersion = 0;
    if (!m_parser.ParseHeader(word, nVersion))
    {
        return Fail(m_parser.GetErrorWhere(), m_parser.GetErrorMessage());
    }
    if (m_state != STATE_BEFORE_HEADER)
    {
        return Fail(word, m_state == STATE_PROGRAM ? "a second header:"
                                                   : "the header can't stand inside a macro:");
    }
    m_state = STATE_PROGRAM;
    m_vTokens.push_back(0);
    m_vTokens.push_back(nVersion);
    m_vElementLines.push_back(m_nLine);
    return true;
}

bool CILAssembler::AssembleComment(std::string_view text)
{
    while (!text.empty() && IsILBlank(text.back()))
    {
        text.remove_suffix(1);
    }
    // The converter's preparation rewrites every "dcl_wavesize" to the line's
    // end, which would change such a comment into other elements.
    const std::size_t nWavesize = text.find("dcl_wavesize");
    if (nWavesize != std::string_view::npos)
    {
        return Fail(text.substr(nWavesize, 12), "a comment can't contain");
    }
    std::size_t nPos = 0;
    do
    {
        std::size_t nCount = std::min(MAX_COMMENT_BYTES, text.size() - nPos);
        if (nPos + nCount < text.size())
        {
            // A piece must not end in blanks, which reading it back would trim.
            while (nCount > 0 && IsILBlank(text[nPos + nCount - 1]))
            {
                --nCount;
            }
            if (nCount == 0)
            {
                nPos += MAX_COMMENT_BYTES;
                continue;
            }
        }
        const std::size_t nTextTokens = (nCount + 1 + 3) / 4;
        m_vInstruction.assign(2 + nTextTokens, 0);
        m_vInstruction[0] = IL_OP_COMMENT;
        m_vInstruction[1] = static_cast<unsigned int>(nTextTokens);
        for (std::size_t i = 0; i < nCount; ++i)
        {
            // A carriage return inside a comment would end its line for the
            // converter's preparation; it is a blank here.
            const char c = text[nPos + i] == '\r' ? ' ' : text[nPos + i];
            m_vInstruction[2 + i / 4] |= static_cast<unsigned int>(static_cast<unsigned char>(c))
                                         << (8 * (i % 4));
        }
        if (!AddElement(text))
        {
            return false;
        }
        nPos += nCount;
    } while (nPos < text.size());
    return true;
}

bool CILAssembler::AddElement(std::string_view where)
{
    const unsigned int nOpCode = GetILOpCode(m_vInstruction[0]);
    if (m_state == STATE_BEFORE_HEADER)
    {
        if (nOpCode != IL_OP_MDEF)
        {
            return Fail(where, nOpCode == IL_OP_COMMENT
                                   ? "only macros stand before the header; found the comment"
                                   : "only macros stand before the header (such as il_cs_2_0); "
                                     "found");
        }
        m_state = STATE_LEADING_MACRO;
    }
    else if (m_state == STATE_LEADING_MACRO && nOpCode == IL_OP_MEND)
    {
        m_state = STATE_BEFORE_HEADER;
    }
    m_vTokens.insert(m_vTokens.end(), m_vInstruction.begin(), m_vInstruction.end());
    m_vElementLines.push_back(m_nLine);
    return true;
}

bool CILAssembler::Fail(std::string_view where, const std::string& strMessage)
{
    m_error.nLine = m_nLine;
    const bool bInLine = where.data() != nullptr && where.data() >= m_line.data() &&
                         where.data() <= m_line.data() + m_line.size();
    m_error.nColumn = bInLine ? static_cast<unsigned int>(where.data() - m_line.data()) + 1 : 1;
    m_error.strWord = std::string(where.substr(0, MAX_SHOWN_WORD));
    if (where.size() > MAX_SHOWN_WORD)
    {
        m_error.strWord += "...";
    }
    m_error.strMessage = strMessage;
    // A message written to lead into its word loses the colon without one.
    if (m_error.strWord.empty() && !m_error.strMessage.empty() && m_error.strMessage.back() == ':')
    {
        m_error.strMessage.pop_back();
    }
    return false;
}
} // namespace XAN_Platform
