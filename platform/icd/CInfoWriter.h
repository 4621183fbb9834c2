#ifndef XAN_PLATFORM_CINFOWRITER_H
#define XAN_PLATFORM_CINFOWRITER_H

#include "CDiagnostics.h"

#include <CL/cl.h>

#include <cstring>
#include <string>
#include <vector>

namespace XAN_Platform
{
// The answer of a clGet*Info call: the value goes to the caller's memory when there is room,
// and its size to the size pointer, following the OpenCL rules for both.
class CInfoWriter
{
public:
    CInfoWriter(size_t nValueSize, void* pValue, size_t* pSizeRet)
        : m_nValueSize(nValueSize), m_pValue(pValue), m_pSizeRet(pSizeRet)
    {
    }

    cl_int Bytes(const void* pData, size_t nSize)
    {
        const cl_int nError = Reserve(nSize);
        if (nError == CL_SUCCESS && m_pValue != nullptr && nSize != 0)
        {
            std::memcpy(m_pValue, pData, nSize);
        }
        return nError;
    }
    // Reports the size of a value that the caller writes itself, once there is room for it.
    cl_int Reserve(size_t nSize)
    {
        if (m_pValue != nullptr && m_nValueSize < nSize)
        {
            return CDiagnostics::Refuse(CL_INVALID_VALUE, "param_value_size",
                                        std::to_string(m_nValueSize) + " bytes, the value takes " +
                                            std::to_string(nSize));
        }
        if (m_pSizeRet != nullptr)
        {
            *m_pSizeRet = nSize;
        }
        return CL_SUCCESS;
    }
    template <class T> cl_int Value(const T& value) { return Bytes(&value, sizeof(value)); }
    cl_int String(const std::string& str) { return Bytes(str.c_str(), str.size() + 1); }
    template <class T> cl_int Array(const std::vector<T>& vValues)
    {
        return Bytes(vValues.data(), vValues.size() * sizeof(T));
    }

    // The caller's memory, which a value too long for it never reaches.
    void* GetValue() const { return m_pValue; }

private:
    size_t m_nValueSize;
    void* m_pValue;
    size_t* m_pSizeRet;
};
} // namespace XAN_Platform

#endif
