#ifndef SU_DATA_BLOB_H
#define SU_DATA_BLOB_H

#include <cstddef>
#include <cstdint>

// A sized block of bytes: the form in which a rebuilt shader container leaves the library.
class IBlob
{
public:
    virtual ~IBlob() {}
    virtual int Clear() = 0;
    virtual void* GetData() = 0;
    virtual size_t GetSize() = 0;
};

class CDataBlob : public IBlob
{
public:
    CDataBlob() : m_pData(NULL), m_nSize(0) {}
    ~CDataBlob() override;
    CDataBlob(const CDataBlob&) = delete;
    CDataBlob& operator=(const CDataBlob&) = delete;

    // Takes nSize bytes of uninitialised memory; false when they can't be had.
    bool Allocate(size_t nSize);
    int Clear() override;
    void* GetData() override { return m_pData; }
    size_t GetSize() override { return m_nSize; }

private:
    uint8_t* m_pData;
    uint64_t m_nSize;
};

// A new blob of nSize uninitialised bytes, owned by the caller; null on failure.
IBlob* CreateBlob(size_t nSize);
// A new blob holding a copy of nSize bytes at pData; a null pData leaves the bytes uninitialised.
IBlob* CreateBlobFromData(const void* pData, size_t nSize);

#endif
