#include "Modules/LibraryModule.h"

#include <cstring>
#include <dlfcn.h>

LibraryModule::LibraryModule(const std::string& strFileName, const char* const* ppNames,
                             size_t nFunctions, void* pTable)
    : m_strFileName(strFileName), m_ppNames(ppNames), m_nFunctions(nFunctions), m_pTable(pTable),
      m_hModule(NULL), m_bLoaded(false)
{
    ClearTable();
}

LibraryModule::~LibraryModule()
{
    UnloadModule();
}

void LibraryModule::UnloadModule()
{
    if (m_hModule != NULL)
    {
        dlclose(m_hModule);
        m_hModule = NULL;
    }
    m_bLoaded = false;
    ClearTable();
}

const char* LibraryModule::GetFunctionName(size_t nIndex) const
{
    return nIndex < m_nFunctions ? m_ppNames[nIndex] : NULL;
}

void* LibraryModule::GetFunction(size_t nIndex) const
{
    void* pFunction = NULL;
    if (nIndex < m_nFunctions)
    {
        memcpy(&pFunction, static_cast<const char*>(m_pTable) + nIndex * sizeof(void*),
               sizeof(void*));
    }
    return pFunction;
}

bool LibraryModule::BindLibrary(const std::string& strFileName)
{
    UnloadModule();
    m_hModule = dlopen(strFileName.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (m_hModule == NULL)
    {
        return false;
    }
    for (size_t nIndex = 0; nIndex < m_nFunctions; ++nIndex)
    {
        void* pFunction = dlsym(m_hModule, m_ppNames[nIndex]);
        memcpy(static_cast<char*>(m_pTable) + nIndex * sizeof(void*), &pFunction, sizeof(void*));
    }
    return true;
}

bool LibraryModule::AreAllFunctionsBound() const
{
    for (size_t nIndex = 0; nIndex < m_nFunctions; ++nIndex)
    {
        if (GetFunction(nIndex) == NULL)
        {
            return false;
        }
    }
    return true;
}

bool LibraryModule::LoadComplete(const std::string& strFileName)
{
    if (BindLibrary(strFileName) && AreAllFunctionsBound())
    {
        m_bLoaded = true;
    }
    else
    {
        UnloadModule();
    }
    return m_bLoaded;
}

void LibraryModule::ClearTable()
{
    memset(m_pTable, 0, m_nFunctions * sizeof(void*));
}
