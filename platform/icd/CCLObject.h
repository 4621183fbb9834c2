#ifndef XAN_PLATFORM_CCLOBJECT_H
#define XAN_PLATFORM_CCLOBJECT_H

#include "cl_xan_ext.h"

#include <CL/cl_icd.h>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace XAN_Platform
{
enum EObjectType
{
    OT_Platform,
    OT_Device,
    OT_Context,
    OT_CommandQueue,
    OT_MemObject,
    OT_Sampler,
    OT_Program,
    OT_Kernel,
    OT_Event,
};

// What the ICD loader sees of every object: a pointer to the dispatch table, first.
struct SICDHandle
{
    const cl_icd_dispatch* pDispatch;
};

// The dispatch table all objects share.
extern const cl_icd_dispatch g_Dispatch;

// The base of every OpenCL object. The handle given to the application is a small header
// inside the object, so that the object itself may have virtual functions. Live objects are
// registered by handle: a handle that isn't (a stale or foreign pointer, another type) is
// refused without ever being read.
class CCLObject
{
public:
    CCLObject(const CCLObject&) = delete;
    CCLObject& operator=(const CCLObject&) = delete;

    EObjectType GetObjectType() const { return m_eType; }
    void* GetHandle() { return &m_Handle; }

    void Retain();
    // Destroys the object when the count reaches 0.
    void Release();
    cl_uint GetReferenceCount() const { return m_nRefCount; }

    // The counted objects alive now, by type: those the application may still release.
    static std::map<EObjectType, size_t> CountLiveObjects();

    // The live object behind a handle, of any type, or null.
    static CCLObject* Find(const void* pHandle);
    // The live object of type T behind a handle, or null.
    template <class T> static T* Find(const void* pHandle)
    {
        CCLObject* pObject = Find(pHandle);
        return pObject != nullptr && pObject->m_eType == T::OBJECT_TYPE ? static_cast<T*>(pObject)
                                                                        : nullptr;
    }

    // Creates an object and makes its handle known.
    template <class T, class... TArgs> static T* New(TArgs&&... args)
    {
        T* pObject = new T(std::forward<TArgs>(args)...);
        pObject->Register();
        return pObject;
    }

    // Deletes an object that was never handed out.
    struct SDeleter
    {
        void operator()(CCLObject* pObject) const { delete pObject; }
    };

    // Object metadata: process-wide keys, one value per object and key. A value's destructor
    // runs when its object is destroyed.
    static cl_key_xan CreateKey(void(CL_CALLBACK* pfnDestructor)(void*));
    cl_int SetValueForKey(cl_key_xan nKey, void* pValue);
    cl_int GetValueForKey(cl_key_xan nKey, void** ppValue);

protected:
    // Objects that live as long as the library (platforms, devices) ignore the count.
    CCLObject(EObjectType eType, bool bCounted);
    virtual ~CCLObject();
    // Called once the count reaches 0 and the handle is no longer found; deletes by default.
    virtual void Destroy();
    // Makes the handle known; objects that live as long as the library call it themselves.
    void Register();

private:
    void RunValueDestructors();

    SICDHandle m_Handle;
    EObjectType m_eType;
    bool m_bCounted;
    std::atomic<cl_uint> m_nRefCount;
    std::mutex m_ValuesMutex;
    std::map<cl_key_xan, void*> m_Values;
};

// An object under construction, deleted unless it is released to its creator.
template <class T> using Owned = std::unique_ptr<T, CCLObject::SDeleter>;

// A counted reference: retains on copy, releases on destruction.
template <class T> class CRef
{
public:
    CRef() = default;
    explicit CRef(T* pObject) : m_pObject(pObject)
    {
        if (m_pObject != nullptr)
        {
            m_pObject->Retain();
        }
    }
    CRef(const CRef& other) : CRef(other.m_pObject) {}
    CRef(CRef&& other) noexcept : m_pObject(other.m_pObject) { other.m_pObject = nullptr; }
    CRef& operator=(CRef other) noexcept
    {
        std::swap(m_pObject, other.m_pObject);
        return *this;
    }
    ~CRef()
    {
        if (m_pObject != nullptr)
        {
            m_pObject->Release();
        }
    }

    T* Get() const { return m_pObject; }
    T* operator->() const { return m_pObject; }
    explicit operator bool() const { return m_pObject != nullptr; }

private:
    T* m_pObject = nullptr;
};
} // namespace XAN_Platform

#endif
