#include "ConvertRegister.h"

#include "APIUsageLog.h"
#include "ShaderUtils/IL/ILFormat.h"

#include <XANOpenCLDebug.h>

#include <cstring>
#include <new>
#include <sstream>

namespace
{
// The names that locators add to the IL's own: 29 has no IL name.
const char* const g_pDLRegTypeVPrim = "vPrim";
const char* const g_pDLRegTypePrivateUAVAccess = "PrivateUAVAccess";
const DLRegType DL_REGTYPE_V_PRIM = 29;

bool IsIndexedDLRegType(DLRegType type)
{
    return type == DL_REGTYPE_INDEXABLE_TEMP || type == DL_REGTYPE_CONST_BUFF ||
           type == DL_REGTYPE_PRIVATE_UAV_ACCESS;
}

// A decimal number at the start of the text; 0 when there is none.
cl_ulong ReadDecimal(const std::string& strNumber)
{
    cl_ulong nValue = 0;
    std::istringstream(strNumber) >> nValue;
    return nValue;
}
} // namespace

std::string DLRegTypeToString(DLRegType type)
{
    if (type == DL_REGTYPE_V_PRIM)
    {
        return g_pDLRegTypeVPrim;
    }
    if (type == DL_REGTYPE_PRIVATE_UAV_ACCESS)
    {
        return g_pDLRegTypePrivateUAVAccess;
    }
    const char* pName = ShaderUtils::GetILRegTypeName(type);
    if (pName == NULL)
    {
        CLD_Break("Invalid register type");
        return "!!!invalidRegType!!!";
    }
    return pName;
}

DLRegType StringToDLRegType(const std::string& strType)
{
    // "vPrim" names a type but has no parse.
    if (strType == g_pDLRegTypePrivateUAVAccess)
    {
        return DL_REGTYPE_PRIVATE_UAV_ACCESS;
    }
    const unsigned int nILType = ShaderUtils::ParseILRegTypeName(strType);
    if (nILType == ShaderUtils::IL_REGTYPE_LAST)
    {
        CLD_Break("Invalid register type");
        return DL_REGTYPE_UNKNOWN;
    }
    return nILType;
}

std::string debugRegisterLocatorToString(cl_ulong locator)
{
    if (locator < DL_LOCATOR_CONST_BUFF)
    {
        return "r" + std::to_string(locator);
    }
    if (locator < 2 * DL_LOCATOR_CONST_BUFF)
    {
        return "cb" + std::to_string((locator >> 12) & 0xF) + "[" +
               std::to_string(locator & 0xFFF) + "]";
    }
    if (locator < DL_LOCATOR_GENERAL)
    {
        CLD_Break("Unrecognized register");
        return std::string();
    }
    const DLRegType type = static_cast<DLRegType>(locator & 0xFF);
    std::string strName = DLRegTypeToString(type) + std::to_string((locator >> 8) & 0xFFFF);
    if (IsIndexedDLRegType(type))
    {
        strName += "[" + std::to_string((locator >> 24) & 0xFFFFFFFF) + "]";
    }
    return strName;
}

cl_ulong stringToDebugRegisterLocator(const std::string& strRegName)
{
    const std::string::size_type nDigit = strRegName.find_first_of("1234567890");
    if (nDigit == std::string::npos)
    {
        return DL_LOCATOR_INVALID;
    }
    const std::string strRegType = strRegName.substr(0, nDigit);
    std::string strRegNum = strRegName.substr(nDigit);
    std::string strRegIndex;

    const std::string::size_type nOpen = strRegNum.find('[');
    const DLRegType type = StringToDLRegType(strRegType);
    if (IsIndexedDLRegType(type))
    {
        if (nOpen == std::string::npos)
        {
            return DL_LOCATOR_INVALID;
        }
        const std::string::size_type nClose = strRegNum.find(']', nOpen);
        if (nClose == std::string::npos)
        {
            return DL_LOCATOR_INVALID;
        }
        strRegIndex = strRegNum.substr(nOpen + 1, nClose - nOpen - 1);
        strRegNum.erase(nOpen);
    }
    else if (nOpen != std::string::npos)
    {
        return DL_LOCATOR_INVALID;
    }

    const cl_ulong nRegNum = ReadDecimal(strRegNum);
    const cl_ulong nRegIndex = ReadDecimal(strRegIndex);
    if (strRegType == "r")
    {
        return nRegNum & 0xFFFF;
    }
    if (strRegType == "cb")
    {
        return DL_LOCATOR_CONST_BUFF + ((nRegNum & 0xF) << 12) + (nRegIndex & 0xFFF);
    }
    // The type is looked up once more here, so an unknown name is reported twice.
    return DL_LOCATOR_GENERAL | (StringToDLRegType(strRegType) & 0xFF) | ((nRegNum & 0xFFFF) << 8) |
           ((nRegIndex & 0xFFFFFFFF) << 24);
}

extern "C" XANCL_API xanclDebugStatus xanclDebugUtilStringToDebugRegisterLocator(const char* pName,
                                                                                 cl_ulong* pLocator)
{
    try
    {
        APIUsageLog::GetInstance()
            << "xanclDebugUtilStringToDebugRegisterLocator( " << static_cast<const void*>(pName)
            << ", " << static_cast<const void*>(pLocator) << " )\n";
        if (pName == NULL || pLocator == NULL)
        {
            return LogReturn(__func__, XANCLDEBUG_ERROR_NULL_ARGUMENT);
        }
        *pLocator = stringToDebugRegisterLocator(pName);
        APIUsageLog::GetInstance() << "Register name = " << pName << "\n"
                                   << "Register locator = " << *pLocator << "\n";
        return LogReturn(__func__, XANCLDEBUG_SUCCESS);
    }
    catch (const std::bad_alloc&)
    {
        return LogReturn(__func__, XANCLDEBUG_ERROR_OUT_OF_MEMORY);
    }
}

extern "C" XANCL_API xanclDebugStatus xanclDebugUtilDebugRegisterLocatorToString(cl_ulong locator,
                                                                                 size_t nBufferSize,
                                                                                 char* pBuffer,
                                                                                 size_t* pLength)
{
    try
    {
        APIUsageLog::GetInstance()
            << "xanclDebugUtilDebugRegisterLocatorToString( " << locator << ", " << nBufferSize
            << ", " << static_cast<const void*>(pBuffer) << ", "
            << static_cast<const void*>(pLength) << " )\n";
        if (nBufferSize > 0 && pBuffer == NULL)
        {
            return LogReturn(__func__, XANCLDEBUG_ERROR_NULL_ARGUMENT);
        }
        const std::string strILRegName = debugRegisterLocatorToString(locator);
        const size_t nLength = strILRegName.size() + 1;
        APIUsageLog::GetInstance()
            << "Register name = " << strILRegName << ", Length = " << nLength << "\n";
        if (pLength != NULL)
        {
            *pLength = nLength;
        }
        if (pBuffer != NULL)
        {
            if (nBufferSize < nLength)
            {
                return LogReturn(__func__, XANCLDEBUG_ERROR_BUFFER_TOO_SMALL);
            }
            std::memcpy(pBuffer, strILRegName.c_str(), nLength);
        }
        return LogReturn(__func__, XANCLDEBUG_SUCCESS);
    }
    catch (const std::bad_alloc&)
    {
        return LogReturn(__func__, XANCLDEBUG_ERROR_OUT_OF_MEMORY);
    }
}
