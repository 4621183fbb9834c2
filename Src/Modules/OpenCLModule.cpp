#include "Modules/OpenCLModule.h"

#include <cstring>
#include <dlfcn.h>

namespace
{
#define XAN_OPENCL_SLOT_NAME(name) #name,
const char* const s_Names0To108[] = {XAN_OPENCL_SLOTS_0_108(XAN_OPENCL_SLOT_NAME)};
const char* const s_Names123To135[] = {XAN_OPENCL_SLOTS_123_135(XAN_OPENCL_SLOT_NAME)};
const char* const s_Names136To164[] = {XAN_OPENCL_SLOTS_136_164(XAN_OPENCL_SLOT_NAME)};
#undef XAN_OPENCL_SLOT_NAME

static_assert(sizeof(s_Names0To108) / sizeof(s_Names0To108[0]) == 109, "slots 0 to 108");
static_assert(sizeof(s_Names123To135) / sizeof(s_Names123To135[0]) == 13, "slots 123 to 135");
static_assert(sizeof(s_Names136To164) / sizeof(s_Names136To164[0]) == 29, "slots 136 to 164");
static_assert(sizeof(OpenCLFunctionTable) == OpenCLModule::NUM_SLOTS * sizeof(void*),
              "the table is an array of pointers");
static_assert(offsetof(OpenCLFunctionTable, clCreateFromGLTexture) == 108 * sizeof(void*),
              "slot 108");
static_assert(offsetof(OpenCLFunctionTable, clCreateCommandQueueWithProperties) ==
                  123 * sizeof(void*),
              "slot 123");
static_assert(offsetof(OpenCLFunctionTable, clGetPlaneFromImageXAN) == 164 * sizeof(void*),
              "slot 164");

// The slots that are bound from the library and cross the boundary.
bool IsTableSlot(size_t nSlot)
{
    return nSlot <= 108 || (nSlot >= 123 && nSlot <= 135);
}

const size_t FIRST_EXTENSION_SLOT = 136;

void* ReadPointer(const void* pTable, size_t nSlot)
{
    void* pFunction = NULL;
    memcpy(&pFunction, static_cast<const char*>(pTable) + nSlot * sizeof(void*), sizeof(void*));
    return pFunction;
}

void WritePointer(void* pTable, size_t nSlot, void* pFunction)
{
    memcpy(static_cast<char*>(pTable) + nSlot * sizeof(void*), &pFunction, sizeof(void*));
}
} // namespace

// Loaded during static initialisation, before any export can run.
OpenCLModule g_OpenCLModule("libOpenCL.so.1");
OpenCLModule g_DeviceOpenCLModule("libOpenCL.so.1");

OpenCLModule::OpenCLModule(const std::string& strFileName) : m_hModule(NULL)
{
    ClearTable();
    LoadModule(strFileName);
}

OpenCLModule::OpenCLModule(const std::vector<std::string>& vFileNames) : m_hModule(NULL)
{
    ClearTable();
    for (const std::string& strFileName : vFileNames)
    {
        if (LoadModule(strFileName) != OpenCL_None)
        {
            break;
        }
    }
}

OpenCLModule::~OpenCLModule()
{
    UnloadModule();
}

OpenCLModule::OpenCLVersion OpenCLModule::LoadModule(const std::string& strFileName)
{
    UnloadModule();
    m_hModule = dlopen(strFileName.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (m_hModule == NULL)
    {
        return OpenCL_None;
    }
    for (size_t nSlot = 0; nSlot < FIRST_EXTENSION_SLOT; ++nSlot)
    {
        if (IsTableSlot(nSlot))
        {
            SetSlot(nSlot, dlsym(m_hModule, GetSlotName(nSlot)));
        }
    }
    return GetVersion();
}

void OpenCLModule::UnloadModule()
{
    if (m_hModule != NULL)
    {
        dlclose(m_hModule);
        m_hModule = NULL;
    }
    ClearTable();
}

OpenCLModule::OpenCLVersion OpenCLModule::GetVersion() const
{
    if (!AreSlotsBound(0, 73))
    {
        return OpenCL_None;
    }
    if (!AreSlotsBound(81, 88))
    {
        return OpenCL_1_0;
    }
    if (!AreSlotsBound(93, 108))
    {
        return OpenCL_1_1;
    }
    if (!AreSlotsBound(123, 135))
    {
        return OpenCL_1_2;
    }
    return OpenCL_2_0;
}

void OpenCLModule::GetTable(void* pTable) const
{
    for (size_t nSlot = 0; nSlot < NUM_DISPATCH_SLOTS; ++nSlot)
    {
        if (IsTableSlot(nSlot))
        {
            WritePointer(pTable, nSlot, GetSlot(nSlot));
        }
    }
}

void OpenCLModule::SetTable(const void* pTable)
{
    for (size_t nSlot = 0; nSlot < NUM_DISPATCH_SLOTS; ++nSlot)
    {
        if (IsTableSlot(nSlot))
        {
            SetSlot(nSlot, ReadPointer(pTable, nSlot));
        }
    }
}

bool OpenCLModule::LoadExtensions(cl_platform_id platform)
{
    if (clGetExtensionFunctionAddressForPlatform == NULL && clGetExtensionFunctionAddress == NULL)
    {
        return false;
    }
    for (size_t nSlot = FIRST_EXTENSION_SLOT; nSlot < NUM_SLOTS; ++nSlot)
    {
        void* pFunction =
            clGetExtensionFunctionAddressForPlatform != NULL
                ? clGetExtensionFunctionAddressForPlatform(platform, GetSlotName(nSlot))
                : clGetExtensionFunctionAddress(GetSlotName(nSlot));
        SetSlot(nSlot, pFunction);
    }
    return true;
}

bool OpenCLModule::HasExtensionGroup(int nGroup) const
{
    switch (nGroup)
    {
    case 1:
        return AreSlotsBound(75, 80);
    case 2:
        return AreSlotsBound(89, 91);
    case 3:
        return AreSlotsBound(92, 92);
    default:
        return false;
    }
}

const char* OpenCLModule::GetSlotName(size_t nSlot)
{
    if (nSlot <= 108)
    {
        return s_Names0To108[nSlot];
    }
    if (nSlot >= 123 && nSlot <= 135)
    {
        return s_Names123To135[nSlot - 123];
    }
    if (nSlot >= FIRST_EXTENSION_SLOT && nSlot < NUM_SLOTS)
    {
        return s_Names136To164[nSlot - FIRST_EXTENSION_SLOT];
    }
    return NULL;
}

void OpenCLModule::PrintTable(std::ostream& stream, const void* pTable, size_t nSlots)
{
    for (size_t nSlot = 0; nSlot < nSlots && nSlot < NUM_SLOTS; ++nSlot)
    {
        const char* pName = GetSlotName(nSlot);
        if (pName != NULL)
        {
            stream << pName + 2 << " = " << ReadPointer(pTable, nSlot) << "\n";
        }
    }
}

void* OpenCLModule::GetSlot(size_t nSlot) const
{
    if (nSlot >= NUM_SLOTS)
    {
        return NULL;
    }
    return ReadPointer(static_cast<const OpenCLFunctionTable*>(this), nSlot);
}

void OpenCLModule::SetSlot(size_t nSlot, void* pFunction)
{
    if (nSlot < NUM_SLOTS)
    {
        WritePointer(static_cast<OpenCLFunctionTable*>(this), nSlot, pFunction);
    }
}

bool OpenCLModule::AreSlotsBound(size_t nFirst, size_t nLast) const
{
    for (size_t nSlot = nFirst; nSlot <= nLast; ++nSlot)
    {
        if (GetSlot(nSlot) == NULL)
        {
            return false;
        }
    }
    return true;
}

void OpenCLModule::ClearTable()
{
    for (size_t nSlot = 0; nSlot < NUM_SLOTS; ++nSlot)
    {
        SetSlot(nSlot, NULL);
    }
}

std::ostream& operator<<(std::ostream& stream, const OpenCLModule& module)
{
    OpenCLModule::PrintTable(stream, static_cast<const OpenCLFunctionTable*>(&module),
                             OpenCLModule::NUM_SLOTS);
    return stream;
}
