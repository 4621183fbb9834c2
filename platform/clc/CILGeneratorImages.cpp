// Images and samplers: image arguments are bound by the platform to resource ids (read) or UAV
// ids (written) and described in constant buffer 1; samplers select one of the sampler ids,
// which the platform fills from a sampler argument or from the kernel's constant samplers.
#include "CILGenerator.h"

#include <clang/AST/Expr.h>

#include <algorithm>
#include <sstream>

namespace XAN_Platform
{
namespace
{
// Ids below the private UAV, so that a written image never shares its UAV id.
const uint32_t MAX_IMAGES = 8;
const uint32_t MAX_SAMPLERS = 16;
} // namespace

bool CILGenerator::IsImageArgument(clang::QualType type)
{
    return type->isImageType() || type->isSamplerT();
}

// Images take two rows of constant buffer 1, samplers one for their bits.
uint32_t CILGenerator::BindImageArgument(const clang::ParmVarDecl* pParameter, uint32_t nRow)
{
    const clang::QualType type = pParameter->getType().getCanonicalType();
    if (type->isSamplerT())
    {
        m_SamplerArgs[pParameter] = m_nSamplerArgs++;
        return 1;
    }
    const std::string strType = type.getAsString();
    if (strType.find("read_write") != std::string::npos)
    {
        Refuse(pParameter, "__read_write images are not supported");
    }
    if (strType.find("image1d_buffer") != std::string::npos)
    {
        Refuse(pParameter, "image1d_buffer_t arguments are not supported");
    }
    if (m_nImageArgs == MAX_IMAGES)
    {
        Refuse(pParameter, "a kernel can take at most " + std::to_string(MAX_IMAGES) + " images");
    }
    SImageArg& image = m_ImageArgs[pParameter];
    image.nId = m_nImageArgs++;
    image.nRow = nRow;
    image.bWrite = strType.find("write_only") != std::string::npos;
    return 2;
}

std::string CILGenerator::ImageMetadata(const clang::ParmVarDecl* pParameter,
                                        uint32_t& nOffset) const
{
    const std::string strName = pParameter->getNameAsString();
    std::ostringstream line;
    if (pParameter->getType()->isSamplerT())
    {
        line << ";value:" << strName << ":u32:1:1:" << nOffset << "\n";
        nOffset += 16;
        return line.str();
    }
    const std::string strType = pParameter->getType().getCanonicalType().getAsString();
    const std::string strDimension = strType.find("image1d_array") != std::string::npos   ? "1DA"
                                     : strType.find("image2d_array") != std::string::npos ? "2DA"
                                     : strType.find("image1d") != std::string::npos       ? "1D"
                                     : strType.find("image3d") != std::string::npos       ? "3D"
                                                                                          : "2D";
    const SImageArg& image = m_ImageArgs.at(pParameter);
    line << ";image:" << strName << ":" << strDimension << ":" << (image.bWrite ? "WO" : "RO")
         << ":" << image.nId << ":1:" << nOffset << "\n";
    nOffset += 32;
    return line.str();
}

std::string CILGenerator::SamplerMetadata(const SFunction& function) const
{
    std::ostringstream lines;
    uint32_t nArguments = 0;
    for (const clang::ParmVarDecl* pParameter : function.pDecl->parameters())
    {
        auto it = m_SamplerArgs.find(pParameter);
        if (it != m_SamplerArgs.end())
        {
            lines << ";sampler:" << pParameter->getNameAsString() << ":" << it->second << ":1:0\n";
            ++nArguments;
        }
    }
    for (size_t i = 0; i < function.vConstantSamplers.size(); ++i)
    {
        lines << ";sampler:_sampler" << nArguments + i << ":" << nArguments + i
              << ":0:" << function.vConstantSamplers[i] << "\n";
    }
    return lines.str();
}

const CILGenerator::SImageArg& CILGenerator::ImageOf(const clang::Expr* pExpr,
                                                     const clang::CallExpr* pCall) const
{
    const auto* pRef = llvm::dyn_cast<clang::DeclRefExpr>(pExpr->IgnoreParenImpCasts());
    const auto* pParameter =
        pRef != nullptr ? llvm::dyn_cast<clang::ParmVarDecl>(pRef->getDecl()) : nullptr;
    auto it = m_ImageArgs.find(pParameter);
    if (it == m_ImageArgs.end() || !m_pFunction->bKernel)
    {
        Refuse(pCall, "images can only be used as arguments of the kernel itself");
    }
    return it->second;
}

// A sampler argument's id, or the id of a constant sampler with the expression's bits.
uint32_t CILGenerator::SamplerId(const clang::Expr* pExpr, const clang::CallExpr* pCall)
{
    const clang::Expr* pValue = pExpr->IgnoreParenImpCasts();
    if (const auto* pRef = llvm::dyn_cast<clang::DeclRefExpr>(pValue))
    {
        if (const auto* pParameter = llvm::dyn_cast<clang::ParmVarDecl>(pRef->getDecl()))
        {
            auto it = m_SamplerArgs.find(pParameter);
            if (it == m_SamplerArgs.end() || !m_pFunction->bKernel)
            {
                Refuse(pCall, "samplers can only be passed as arguments of the kernel itself");
            }
            return it->second;
        }
        const auto* pVar = llvm::dyn_cast<clang::VarDecl>(pRef->getDecl());
        if (pVar == nullptr || pVar->getInit() == nullptr)
        {
            Refuse(pCall, "a sampler needs a constant value");
        }
        pValue = pVar->getInit()->IgnoreParenImpCasts();
    }
    clang::Expr::EvalResult bits;
    if (!pValue->EvaluateAsInt(bits, *m_pContext))
    {
        Refuse(pCall, "a sampler needs a constant value");
    }
    const uint32_t nBits = uint32_t(bits.Val.getInt().getZExtValue());
    std::vector<uint32_t>& vConstants = m_pFunction->vConstantSamplers;
    const auto it = std::find(vConstants.begin(), vConstants.end(), nBits);
    const uint32_t nId = m_nSamplerArgs + uint32_t(it - vConstants.begin());
    if (nId >= MAX_SAMPLERS)
    {
        Refuse(pCall, "a kernel can use at most " + std::to_string(MAX_SAMPLERS) + " samplers");
    }
    if (it == vConstants.end())
    {
        vConstants.push_back(nBits);
    }
    return nId;
}

CILGenerator::SValue CILGenerator::ImageBuiltin(const std::string& strName,
                                                const clang::CallExpr* pCall)
{
    const SImageArg& image = ImageOf(pCall->getArg(0), pCall);
    const std::string strId = std::to_string(image.nId);
    const clang::QualType type = pCall->getType().getCanonicalType();
    if (strName.compare(0, 10, "get_image_") == 0)
    {
        // Row 0: width, height, depth, layers; row 1: channel type, channel order.
        static const char* const s_Fields[] = {
            "width", "height", "depth", "array_size", "channel_data_type", "channel_order"};
        const std::string strField = strName.substr(10);
        if (strField == "dim")
        {
            const SValue dim = Temp(E_I32, LanesOf(type));
            Emit("mov " + Dest(dim, 0) + ", cb1[" + std::to_string(image.nRow) + "].xyzz");
            return dim;
        }
        const auto* pField = std::find(std::begin(s_Fields), std::end(s_Fields), strField);
        if (pField == std::end(s_Fields))
        {
            Refuse(pCall, strName + " is not supported");
        }
        const size_t nField = size_t(pField - std::begin(s_Fields));
        const SValue value = Temp(E_I32, 1);
        Emit("mov " + LaneDest(value, 0) + ", cb1[" + std::to_string(image.nRow + nField / 4) +
             "]." + std::string(4, "xyzw"[nField % 4]));
        return Convert(value, ElementOf(type, pCall), pCall);
    }
    const bool bSampler = pCall->getNumArgs() == 3 && strName[0] == 'r';
    const clang::Expr* pCoord = pCall->getArg(bSampler ? 2 : 1);
    SValue coord = EmitExpr(pCoord);
    if (strName[0] == 'w')
    {
        if (!image.bWrite)
        {
            Refuse(pCall, strName + " needs a __write_only image");
        }
        const SValue color = Materialize(EmitExpr(pCall->getArg(2)));
        coord = Materialize(Convert(coord, E_I32, pCall));
        Emit("uav_store_id(" + strId + ") " + Source(coord, 0) + ", " + Source(color, 0));
        return Literal(E_I32, 0);
    }
    if (image.bWrite)
    {
        Refuse(pCall, strName + " needs a __read_only image");
    }
    const SValue result = Temp(ElementOf(type, pCall), 4);
    if (bSampler)
    {
        const uint32_t nSampler = SamplerId(pCall->getArg(1), pCall);
        coord = Materialize(Convert(coord, E_F32, pCall));
        Emit("sample_resource(" + strId + ")_sampler(" + std::to_string(nSampler) + ") " +
             Dest(result, 0) + ", " + Source(coord, 0));
    }
    else
    {
        coord = Materialize(Convert(coord, E_I32, pCall));
        Emit("load_resource(" + strId + ") " + Dest(result, 0) + ", " + Source(coord, 0));
    }
    return result;
}
} // namespace XAN_Platform
