#ifndef LIBRARY_MODULE_H
#define LIBRARY_MODULE_H

#include <cstddef>
#include <string>

// A module's table is written once as a list X(type, name); these give its members and names.
#define XAN_MODULE_SLOT(type, name) type name;
#define XAN_MODULE_SLOT_NAME(type, name) #name,

// A library bound by name at run time into a table of function pointers, which the deriving
// module lays out as its own members. The table and its names are the deriving module's; this
// part opens and frees the library and fills or clears the table.
class LibraryModule
{
public:
    LibraryModule(const LibraryModule&) = delete;
    LibraryModule& operator=(const LibraryModule&) = delete;

    bool IsLoaded() const { return m_bLoaded; }
    // Frees the library and empties the table.
    void UnloadModule();

    // The name that the module was constructed with.
    const std::string& GetFileName() const { return m_strFileName; }
    size_t GetNumFunctions() const { return m_nFunctions; }
    const char* GetFunctionName(size_t nIndex) const;
    void* GetFunction(size_t nIndex) const;

protected:
    // pTable is an array of nFunctions pointers, bound by the names of ppNames.
    LibraryModule(const std::string& strFileName, const char* const* ppNames, size_t nFunctions,
                  void* pTable);
    ~LibraryModule();

    // Unloads, opens the library and looks every name up; false if the library doesn't open.
    bool BindLibrary(const std::string& strFileName);
    bool AreAllFunctionsBound() const;
    // Binds the library, which counts as loaded only when every function is bound; otherwise it
    // is freed again and the table left empty.
    bool LoadComplete(const std::string& strFileName);
    void SetLoaded(bool bLoaded) { m_bLoaded = bLoaded; }

private:
    void ClearTable();

    std::string m_strFileName;
    const char* const* m_ppNames;
    size_t m_nFunctions;
    void* m_pTable;
    void* m_hModule;
    bool m_bLoaded;
};

// A library that counts as loaded only when every function of its table TTable is bound.
template <typename TTable> class CompleteLibraryModule : public TTable, public LibraryModule
{
public:
    static const size_t NUM_FUNCTIONS = sizeof(TTable) / sizeof(void*);

    // Unloads first if loaded; a library that lacks a function is freed again.
    bool LoadModule(const std::string& strFileName) { return LoadComplete(strFileName); }

protected:
    CompleteLibraryModule(const std::string& strFileName, const char* const* ppNames)
        : TTable(), LibraryModule(strFileName, ppNames, NUM_FUNCTIONS, static_cast<TTable*>(this))
    {
        LoadModule(strFileName);
    }
};

#endif
