#include "ShaderUtils/DataBlob.h"

#include <cstdlib>
#include <cstring>
#include <new>

CDataBlob::~CDataBlob()
{
    Clear();
}

bool CDataBlob::Allocate(size_t nSize)
{
    Clear();
    // malloc(0) may give null; a blob of no bytes still needs a valid pointer.
    m_pData = static_cast<uint8_t*>(std::malloc(nSize == 0 ? 1 : nSize));
    if (m_pData == NULL)
    {
        return false;
    }
    m_nSize = nSize;
    return true;
}

int CDataBlob::Clear()
{
    std::free(m_pData);
    m_pData = NULL;
    m_nSize = 0;
    return 0;
}

IBlob* CreateBlob(size_t nSize)
{
    CDataBlob* pBlob = new (std::nothrow) CDataBlob();
    if (pBlob == NULL)
    {
        return NULL;
    }
    if (!pBlob->Allocate(nSize))
    {
        delete pBlob;
        return NULL;
    }
    return pBlob;
}

IBlob* CreateBlobFromData(const void* pData, size_t nSize)
{
    IBlob* pBlob = CreateBlob(nSize);
    if (pBlob != NULL && pData != NULL && nSize != 0)
    {
        std::memcpy(pBlob->GetData(), pData, nSize);
    }
    return pBlob;
}
