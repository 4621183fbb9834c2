#ifndef CL_INFO_H
#define CL_INFO_H

#include <CL/cl.h>

#include <string>
#include <vector>

// Reads of the OpenCL info queries (clGet*Info), through whichever bound function is given.

// A value of fixed size.
template <typename TValue, typename TFunction, typename TObject>
cl_int GetCLInfo(TFunction pfnGetInfo, TObject object, cl_uint nParam, TValue& value)
{
    return pfnGetInfo(object, nParam, sizeof(TValue), &value, NULL);
}

// An array: its size first, then its elements.
template <typename TElement, typename TFunction, typename TObject>
cl_int GetCLInfoArray(TFunction pfnGetInfo, TObject object, cl_uint nParam,
                      std::vector<TElement>& vValues)
{
    size_t nSize = 0;
    cl_int ret = pfnGetInfo(object, nParam, 0, NULL, &nSize);
    if (ret != CL_SUCCESS)
    {
        return ret;
    }
    vValues.assign(nSize / sizeof(TElement), TElement());
    return vValues.empty() ? CL_SUCCESS
                           : pfnGetInfo(object, nParam, vValues.size() * sizeof(TElement),
                                        vValues.data(), NULL);
}

// A text, without its terminating zero.
template <typename TFunction, typename TObject>
cl_int GetCLInfoText(TFunction pfnGetInfo, TObject object, cl_uint nParam, std::string& strText)
{
    std::vector<char> vText;
    const cl_int ret = GetCLInfoArray(pfnGetInfo, object, nParam, vText);
    strText = ret == CL_SUCCESS ? std::string(vText.data(), vText.size()) : std::string();
    strText.resize(strText.find('\0') == std::string::npos ? strText.size() : strText.find('\0'));
    return ret;
}

#endif
