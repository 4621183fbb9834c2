#include "CTpfDecoder.h"

namespace XAN_Platform
{
namespace
{
// Relative operands nest; real programs use one level, and the limit keeps a hostile stream
// from exhausting the stack.
const unsigned int MAX_RELATIVE_DEPTH = 8;
} // namespace

unsigned int TpfOperand::GetComponentMask() const
{
    if (nForm == 1)
    {
        return 1;
    }
    if (nForm != 2)
    {
        return 0;
    }
    switch (nMode)
    {
    case 0:
        return nSelect & 0xF;
    case 1:
        return (1u << (nSelect & 3)) | (1u << ((nSelect >> 2) & 3)) | (1u << ((nSelect >> 4) & 3)) |
               (1u << ((nSelect >> 6) & 3));
    case 2:
        return 1u << (nSelect & 3);
    default:
        return 0;
    }
}

std::vector<const TpfOperand*> TpfInstruction::GetOperands() const
{
    std::vector<const TpfOperand*> vOperands;
    for (const TpfItem& item : vItems)
    {
        if (item.cShape == 'd' || item.cShape == 's')
        {
            vOperands.push_back(&item.operand);
        }
    }
    return vOperands;
}

bool CTpfDecoder::Fail(const std::string& strMessage)
{
    m_strError = strMessage;
    return false;
}

bool CTpfDecoder::DecodeProgram(const std::uint32_t* pTokens, size_t nTokens, TpfProgram& program)
{
    program = TpfProgram();
    if (nTokens < 2)
    {
        return Fail("a program needs its version and length tokens");
    }
    program.nVersionToken = pTokens[0];
    if (pTokens[1] < 2 || pTokens[1] > nTokens)
    {
        return Fail("the length token " + std::to_string(pTokens[1]) + " doesn't fit " +
                    std::to_string(nTokens) + " tokens");
    }
    const size_t nEnd = pTokens[1];
    for (size_t nOffset = 2; nOffset < nEnd;)
    {
        TpfInstruction instruction;
        if (!DecodeInstruction(pTokens, nEnd, nOffset, instruction))
        {
            return false;
        }
        nOffset += instruction.vTokens.size();
        program.vInstructions.push_back(std::move(instruction));
    }
    return true;
}

bool CTpfDecoder::DecodeInstruction(const std::uint32_t* pTokens, size_t nTokens, size_t nOffset,
                                    TpfInstruction& instruction)
{
    instruction = TpfInstruction();
    instruction.nOffset = static_cast<unsigned int>(nOffset);
    const std::string strWhere = "instruction at token " + std::to_string(nOffset);
    if (nOffset >= nTokens)
    {
        return Fail(strWhere + ": past the end");
    }
    const std::uint32_t nToken0 = pTokens[nOffset];
    instruction.nOpcode = nToken0 & TPF_OPCODE_MASK;
    size_t nLength = (nToken0 >> TPF_LENGTH_SHIFT) & TPF_LENGTH_MASK;
    if (instruction.nOpcode == TPF_OPCODE_CUSTOMDATA)
    {
        // The block's length stands in the token behind its opcode and counts both.
        if (nTokens - nOffset < 2)
        {
            return Fail(strWhere + ": customdata without its length");
        }
        nLength = pTokens[nOffset + 1];
        instruction.nCustomDataClass = nToken0 >> 11;
    }
    if (nLength == 0 || nLength > nTokens - nOffset)
    {
        return Fail(strWhere + ": length " + std::to_string(nLength) + " doesn't fit");
    }
    instruction.vTokens.assign(pTokens + nOffset, pTokens + nOffset + nLength);
    if (instruction.nOpcode != TPF_OPCODE_CUSTOMDATA)
    {
        while (instruction.nOpcodeTokens < nLength &&
               (instruction.vTokens[instruction.nOpcodeTokens - 1] & TPF_EXTENDED_BIT) != 0)
        {
            ++instruction.nOpcodeTokens;
        }
    }
    instruction.pInfo = FindTpfOpcode(instruction.nOpcode);
    instruction.bDecoded = instruction.pInfo != nullptr && DecodeItems(instruction);
    if (!instruction.bDecoded)
    {
        instruction.vItems.clear();
    }
    return true;
}

bool CTpfDecoder::DecodeItems(TpfInstruction& instruction)
{
    const std::vector<std::uint32_t>& vTokens = instruction.vTokens;
    if (instruction.nOpcode == TPF_OPCODE_CUSTOMDATA)
    {
        // Extended opcode tokens have no place in a block whose second token is its length.
        return vTokens.size() >= 2 && (vTokens[0] & TPF_EXTENDED_BIT) == 0;
    }
    if ((vTokens[instruction.nOpcodeTokens - 1] & TPF_EXTENDED_BIT) != 0)
    {
        return false;
    }
    size_t nPos = instruction.nOpcodeTokens;
    for (const char* pShape = instruction.pInfo->pShape; *pShape != '\0'; ++pShape)
    {
        TpfItem item;
        item.cShape = *pShape;
        const size_t nLeft = vTokens.size() - nPos;
        if (item.cShape == 'd' || item.cShape == 's')
        {
            if (!DecodeOperand(vTokens.data() + nPos, nLeft, item.operand))
            {
                return false;
            }
            item.operand.nOffset = static_cast<unsigned int>(nPos);
            nPos += item.operand.nLength;
        }
        else
        {
            const size_t nWords = item.cShape == 'X' ? 2 : 1;
            if (nLeft < nWords)
            {
                return false;
            }
            item.nWord = vTokens[nPos];
            item.nWord2 = nWords == 2 ? vTokens[nPos + 1] : 0;
            nPos += nWords;
        }
        instruction.vItems.push_back(item);
    }
    return nPos == vTokens.size();
}

bool CTpfDecoder::DecodeOperand(const std::uint32_t* pTokens, size_t nTokens, TpfOperand& operand)
{
    operand = TpfOperand();
    if (nTokens == 0)
    {
        return Fail("operand past the end");
    }
    size_t nPos = 0;
    operand.nToken = pTokens[nPos++];
    operand.nForm = operand.nToken & 3;
    operand.nMode = (operand.nToken >> 2) & 3;
    operand.nSelect = (operand.nToken >> 4) & 0xFF;
    operand.nType = (operand.nToken >> TPF_OPERAND_TYPE_SHIFT) & 0xFF;
    operand.bExtended = (operand.nToken & TPF_EXTENDED_BIT) != 0;
    if (operand.bExtended)
    {
        if (nPos >= nTokens)
        {
            return Fail("extended operand token past the end");
        }
        operand.nExtendedToken = pTokens[nPos++];
    }
    if (operand.nType == TPF_OPERAND_TYPE_IMM32 || operand.nType == TPF_OPERAND_TYPE_IMM64)
    {
        const size_t nCount = operand.nForm == 2 ? 4 : operand.nForm;
        const size_t nWords = operand.nType == TPF_OPERAND_TYPE_IMM64 ? 2 : 1;
        if (operand.nForm == 3 || nCount * nWords > nTokens - nPos)
        {
            return Fail("immediate past the end");
        }
        for (size_t n = 0; n < nCount; ++n, nPos += nWords)
        {
            operand.vImmediates.push_back(
                nWords == 2
                    ? (pTokens[nPos] | (static_cast<std::uint64_t>(pTokens[nPos + 1]) << 32))
                    : pTokens[nPos]);
        }
    }
    const unsigned int nDims = (operand.nToken >> TPF_OPERAND_DIMS_SHIFT) & 3;
    for (unsigned int nDim = 0; nDim < nDims; ++nDim)
    {
        TpfIndex index;
        index.nRep = (operand.nToken >> (22 + 3 * nDim)) & 7;
        if (index.nRep > TPF_INDEX_IMM64_RELATIVE)
        {
            return Fail("undefined index representation " + std::to_string(index.nRep));
        }
        const bool bImm64 = index.nRep == TPF_INDEX_IMM64 || index.nRep == TPF_INDEX_IMM64_RELATIVE;
        if (index.nRep != TPF_INDEX_RELATIVE)
        {
            const size_t nWords = bImm64 ? 2 : 1;
            if (nWords > nTokens - nPos)
            {
                return Fail("index past the end");
            }
            // The high word of a 64-bit index comes first.
            index.nImmediate =
                bImm64 ? ((static_cast<std::uint64_t>(pTokens[nPos]) << 32) | pTokens[nPos + 1])
                       : pTokens[nPos];
            nPos += nWords;
        }
        if (index.nRep >= TPF_INDEX_RELATIVE)
        {
            if (m_nDepth >= MAX_RELATIVE_DEPTH)
            {
                return Fail("relative operands nested too deep");
            }
            TpfOperand relative;
            ++m_nDepth;
            const bool bRead = DecodeOperand(pTokens + nPos, nTokens - nPos, relative);
            --m_nDepth;
            if (!bRead)
            {
                return false;
            }
            relative.nOffset = static_cast<unsigned int>(nPos);
            nPos += relative.nLength;
            index.vRelative.push_back(std::move(relative));
        }
        operand.vIndices.push_back(std::move(index));
    }
    operand.nLength = static_cast<unsigned int>(nPos);
    return true;
}
} // namespace XAN_Platform
