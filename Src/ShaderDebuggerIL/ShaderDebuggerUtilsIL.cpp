#include "ShaderDebuggerIL/ShaderDebuggerUtilsIL.h"

#include "ShaderUtils/IL/ILFormat.h"

#include <sstream>

namespace XAN_ShaderDebugger
{
using ShaderUtils::IL_REGTYPE_LAST;

namespace
{
// The RT_* value of each IL register type, by its number. Type 29 doesn't exist.
const RegisterType g_ILRegisterTypes[IL_REGTYPE_LAST] = {RT_ConstBool,
                                                         RT_ConstFloat,
                                                         RT_ConstInt,
                                                         RT_Addr,
                                                         RT_Temp,
                                                         RT_LegacyInput,
                                                         RT_vIndex,
                                                         RT_vObjIndex,
                                                         RT_vBaryCoord,
                                                         RT_vPrimIndex,
                                                         RT_vQuadIndex,
                                                         RT_LegacyOutput,
                                                         RT_vPixIn,
                                                         RT_oSprite,
                                                         RT_oPos,
                                                         RT_Interp,
                                                         RT_Fog,
                                                         RT_TexCoord,
                                                         RT_PriColor,
                                                         RT_SecColor,
                                                         RT_vSpriteCoord,
                                                         RT_vFace,
                                                         RT_vWinCoord,
                                                         RT_vPrimCoord,
                                                         RT_vPrimType,
                                                         RT_oC,
                                                         RT_oDepth,
                                                         RT_oStencil,
                                                         RT_oClip,
                                                         RT_Unknown,
                                                         RT_IndexableTemp,
                                                         RT_CONST_BUFF,
                                                         RT_LITERAL,
                                                         RT_Input,
                                                         RT_Output,
                                                         RT_ImmConstBuffer,
                                                         RT_oMask,
                                                         RT_Persistent,
                                                         RT_Global,
                                                         RT_oPsFog,
                                                         RT_Shared,
                                                         RT_vTidInGrp,
                                                         RT_vTidInGrpFlat,
                                                         RT_vAbsTid,
                                                         RT_vAbsTidFlat,
                                                         RT_vThreadGrpId,
                                                         RT_vThreadGrpIdFlat,
                                                         RT_Mem,
                                                         RT_vicp,
                                                         RT_vpc,
                                                         RT_vDomain,
                                                         RT_vocp,
                                                         RT_vOutputControlPointID,
                                                         RT_vInstanceID,
                                                         RT_This,
                                                         RT_oEdgeFlag,
                                                         RT_oDepthLE,
                                                         RT_oDepthGE,
                                                         RT_vCoverageMask,
                                                         RT_Tmr,
                                                         RT_vLineStipple,
                                                         RT_In,
                                                         RT_Out};

// The swizzle of a source modifier that reads the components of mask from the low end; one of
// the masks that GetILSrcMod takes.
unsigned int GetBaseSwizzle(unsigned short mask)
{
    switch (mask)
    {
    case COMP_x:
        return 0x0;
    case COMP_y:
        return 0x1;
    case COMP_xy:
        return 0x10;
    case COMP_z:
        return 0x2;
    case COMP_xyz:
        return 0x210;
    case COMP_w:
        return 0x3;
    case COMP_zw:
        return 0x32;
    default:
        return 0x3210;
    }
}

unsigned int CountComponents(unsigned short mask)
{
    unsigned int nCount = 0;
    for (unsigned int nComponent = 0; nComponent < 4; ++nComponent)
    {
        if ((mask & GetComponent(nComponent)) != 0)
        {
            ++nCount;
        }
    }
    return nCount;
}
} // namespace

RegisterType ILtoSDRegisterType(unsigned int nILType)
{
    const RegisterType rtRegType =
        nILType < IL_REGTYPE_LAST ? g_ILRegisterTypes[nILType] : RT_Unknown;
    SDU_ConsistencyAssert(!(rtRegType == RT_Unknown));
    return rtRegType;
}

unsigned int SDtoILRegisterType(RegisterType rtType)
{
    unsigned int regType = IL_REGTYPE_LAST;
    for (unsigned int nILType = 0; nILType < IL_REGTYPE_LAST; ++nILType)
    {
        if (rtType != RT_Unknown && g_ILRegisterTypes[nILType] == rtType)
        {
            regType = nILType;
            break;
        }
    }
    SDU_ConsistencyAssert(!(regType == IL_REGTYPE_LAST));
    return regType;
}

std::string GetILRegisterType(unsigned int nILType)
{
    const char* pName = ShaderUtils::GetILRegTypeName(nILType);
    const std::string strRegType = pName != NULL ? pName : "!!!invalidRegType!!!";
    SDU_ConsistencyAssert(!(strRegType == "!!!invalidRegType!!!"));
    return strRegType;
}

unsigned int ParseILRegisterType(const std::string& strType)
{
    const unsigned int nILType = ShaderUtils::ParseILRegTypeName(strType);
    const std::string fauxString = nILType == IL_REGTYPE_LAST ? "Invalid register type" : strType;
    SDU_ConsistencyAssert(!(fauxString == "Invalid register type"));
    return nILType;
}

std::string GetILRegisterName(const RegisterID& id, bool bIndex)
{
    std::string strName = id.type == RT_PrivateUAVAccess
                              ? std::string("PrivateUAVAccess")
                              : GetILRegisterType(SDtoILRegisterType(id.type));
    strName += std::to_string(id.number);
    if (bIndex && IsIndexedRegisterType(id.type))
    {
        strName += "[" + std::to_string(id.index) + "]";
    }
    return strName;
}

RegisterID ParseILRegisterName(const std::string& strName)
{
    std::string::size_type pos = strName.find_first_of("0123456789");
    const std::string strType = strName.substr(0, pos);
    std::string strNumber = pos != std::string::npos ? strName.substr(pos) : std::string();
    std::string strIndex;

    pos = strNumber.find('[');
    const unsigned int nType = ParseILRegisterType(strType);
    if (nType == ShaderUtils::IL_REGTYPE_CONST_BUFF ||
        nType == ShaderUtils::IL_REGTYPE_INDEXABLE_TEMP)
    {
        SDU_ConsistencyAssert(!(pos == std::string::npos));
        if (pos == std::string::npos)
        {
            return RegisterID();
        }
        const std::string::size_type pos2 = strNumber.find(']', pos);
        SDU_ConsistencyAssert(!(pos2 == std::string::npos));
        if (pos2 == std::string::npos)
        {
            return RegisterID();
        }
        strIndex = strNumber.substr(pos + 1, pos2 - pos - 1);
        strNumber.erase(pos);
    }
    else
    {
        SDU_ConsistencyAssert(!(pos != std::string::npos));
        if (pos != std::string::npos)
        {
            return RegisterID();
        }
    }

    int number = 0;
    unsigned int index = 0;
    std::istringstream(strNumber) >> number;
    std::istringstream(strIndex) >> index;
    return RegisterID(ILtoSDRegisterType(nType), number, index, NULL);
}

unsigned int GetILSrcMod(unsigned short mask, unsigned int nFillMode)
{
    const unsigned int nNumCompsSet = CountComponents(mask);
    SDU_ConsistencyAssert(nNumCompsSet == 1 || mask == COMP_All || mask == COMP_xyz ||
                          mask == COMP_xy || mask == COMP_zw);
    SDU_ConsistencyAssert(nFillMode <= IL_FILL_ONE);
    if (!(nNumCompsSet == 1 || mask == COMP_All || mask == COMP_xyz || mask == COMP_xy ||
          mask == COMP_zw) ||
        nFillMode > IL_FILL_ONE)
    {
        return 0;
    }

    unsigned int nSwizzle[4];
    const unsigned int nBase = GetBaseSwizzle(mask);
    for (unsigned int nComponent = 0; nComponent < 4; ++nComponent)
    {
        nSwizzle[nComponent] = ShaderUtils::GetILSwizzle(nBase, nComponent);
    }

    unsigned int f = ShaderUtils::IL_COMPSEL_1;
    switch (nFillMode)
    {
    case IL_FILL_FIRST:
        f = nSwizzle[0];
        break;
    case IL_FILL_LAST:
        f = nSwizzle[nNumCompsSet >= 3 ? 2 : nNumCompsSet - 1];
        break;
    case IL_FILL_ZERO:
        f = ShaderUtils::IL_COMPSEL_0;
        break;
    default:
        break;
    }
    const unsigned int g = nFillMode == IL_FILL_FIRST && nNumCompsSet >= 2 ? nSwizzle[1] : f;

    if (nNumCompsSet < 2)
    {
        nSwizzle[1] = g;
    }
    if (nNumCompsSet < 3)
    {
        nSwizzle[2] = f;
    }
    if (nNumCompsSet < 4)
    {
        nSwizzle[3] = nNumCompsSet == 3 ? f : g;
    }

    unsigned int nModifier = 0;
    for (unsigned int nComponent = 0; nComponent < 4; ++nComponent)
    {
        nModifier |= nSwizzle[nComponent] << (nComponent * ShaderUtils::IL_SRC_COMPONENT_SHIFT);
    }
    return nModifier;
}

unsigned short GetDestMask(unsigned int dstModifier)
{
    unsigned short mask = 0;
    for (unsigned int nComponent = 0; nComponent < 4; ++nComponent)
    {
        if (ShaderUtils::GetILDstComponent(dstModifier, nComponent) == ShaderUtils::IL_DSTMOD_WRITE)
        {
            mask |= GetComponent(nComponent);
        }
    }
    return mask;
}

unsigned short GetSrcMask(unsigned int srcModifier)
{
    if ((srcModifier & ShaderUtils::IL_SRC_MODIFIER_MASK) != 0)
    {
        return 0;
    }
    for (unsigned int nSelected = ShaderUtils::IL_COMPSEL_X; nSelected <= ShaderUtils::IL_COMPSEL_W;
         ++nSelected)
    {
        for (unsigned int nComponent = 0; nComponent < 4; ++nComponent)
        {
            if (ShaderUtils::GetILSwizzle(srcModifier, nComponent) == nSelected)
            {
                return GetComponent(nSelected);
            }
        }
    }
    return 0;
}

void SetRegisterType(unsigned int& token, unsigned int nILType)
{
    token = (token & ~(ShaderUtils::IL_REG_TYPE_MASK << ShaderUtils::IL_REG_TYPE_SHIFT)) |
            ((nILType & ShaderUtils::IL_REG_TYPE_MASK) << ShaderUtils::IL_REG_TYPE_SHIFT);
}

void SetRegisterNumber(unsigned int& token, unsigned int nNumber)
{
    token = ShaderUtils::SetILRegNumber(token, static_cast<int>(nNumber));
}
} // namespace XAN_ShaderDebugger
