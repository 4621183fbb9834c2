#include "CCLObject.h"

#include "CDiagnostics.h"

#include <unordered_map>
#include <vector>

namespace XAN_Platform
{
namespace
{
typedef void(CL_CALLBACK* PFNValueDestructor)(void*);

struct SRegistry
{
    std::mutex mutex;
    std::unordered_map<const void*, CCLObject*> objects;
};

// Never destroyed: worker threads may release objects while the process exits.
SRegistry& Registry()
{
    static SRegistry* pRegistry = new SRegistry;
    return *pRegistry;
}

struct SKeys
{
    std::mutex mutex;
    std::vector<PFNValueDestructor> destructors; // key n is element n - 1
};

SKeys& Keys()
{
    static SKeys* pKeys = new SKeys;
    return *pKeys;
}

PFNValueDestructor GetKeyDestructor(cl_key_xan nKey)
{
    SKeys& keys = Keys();
    std::lock_guard<std::mutex> lock(keys.mutex);
    return keys.destructors[nKey - 1];
}

bool IsKnownKey(cl_key_xan nKey)
{
    SKeys& keys = Keys();
    std::lock_guard<std::mutex> lock(keys.mutex);
    return nKey != 0 && nKey <= keys.destructors.size();
}
} // namespace

CCLObject::CCLObject(EObjectType eType, bool bCounted)
    : m_Handle{&g_Dispatch}, m_eType(eType), m_bCounted(bCounted), m_nRefCount(1)
{
}

CCLObject::~CCLObject() = default;

void CCLObject::Register()
{
    SRegistry& registry = Registry();
    std::lock_guard<std::mutex> lock(registry.mutex);
    registry.objects[&m_Handle] = this;
}

void CCLObject::Retain()
{
    if (m_bCounted)
    {
        ++m_nRefCount;
    }
}

void CCLObject::Release()
{
    if (!m_bCounted || --m_nRefCount != 0)
    {
        return;
    }
    {
        SRegistry& registry = Registry();
        std::lock_guard<std::mutex> lock(registry.mutex);
        registry.objects.erase(&m_Handle);
    }
    RunValueDestructors();
    Destroy();
}

void CCLObject::Destroy()
{
    delete this;
}

std::map<EObjectType, size_t> CCLObject::CountLiveObjects()
{
    std::map<EObjectType, size_t> counts;
    SRegistry& registry = Registry();
    std::lock_guard<std::mutex> lock(registry.mutex);
    for (const auto& entry : registry.objects)
    {
        if (entry.second->m_bCounted)
        {
            ++counts[entry.second->m_eType];
        }
    }
    return counts;
}

CCLObject* CCLObject::Find(const void* pHandle)
{
    if (pHandle == nullptr)
    {
        return nullptr;
    }
    SRegistry& registry = Registry();
    std::lock_guard<std::mutex> lock(registry.mutex);
    auto it = registry.objects.find(pHandle);
    return it != registry.objects.end() ? it->second : nullptr;
}

cl_key_xan CCLObject::CreateKey(PFNValueDestructor pfnDestructor)
{
    SKeys& keys = Keys();
    std::lock_guard<std::mutex> lock(keys.mutex);
    keys.destructors.push_back(pfnDestructor);
    return cl_key_xan(keys.destructors.size());
}

cl_int CCLObject::SetValueForKey(cl_key_xan nKey, void* pValue)
{
    if (!IsKnownKey(nKey))
    {
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "key", "no key of this platform");
    }
    std::lock_guard<std::mutex> lock(m_ValuesMutex);
    m_Values[nKey] = pValue;
    return CL_SUCCESS;
}

cl_int CCLObject::GetValueForKey(cl_key_xan nKey, void** ppValue)
{
    if (ppValue == nullptr || !IsKnownKey(nKey))
    {
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "key",
                                    "no key of this platform, or nowhere to answer");
    }
    std::lock_guard<std::mutex> lock(m_ValuesMutex);
    auto it = m_Values.find(nKey);
    *ppValue = it != m_Values.end() ? it->second : nullptr;
    return CL_SUCCESS;
}

void CCLObject::RunValueDestructors()
{
    std::map<cl_key_xan, void*> values;
    {
        std::lock_guard<std::mutex> lock(m_ValuesMutex);
        values.swap(m_Values);
    }
    for (const auto& entry : values)
    {
        PFNValueDestructor pfnDestructor = GetKeyDestructor(entry.first);
        if (pfnDestructor != nullptr && entry.second != nullptr)
        {
            pfnDestructor(entry.second);
        }
    }
}
} // namespace XAN_Platform
