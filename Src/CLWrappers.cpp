#include "CLWrappers.h"

#include "APIUsageLog.h"
#include "CLInfo.h"
#include "ElfUtils.h"
#include "KernelBinary/CLMetadata.h"
#include "Modules/OpenCLModule.h"

#include <XANOpenCLDebug.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

std::map<cl_kernel, KernelInfo> g_mapKernelToInfo;
boost::mutex g_mapKernelToInfoMutex;

namespace
{
typedef boost::unique_lock<boost::mutex> KernelMapLock;

// The kind and resource id of one metadata argument; false for a pointer to a memory that a
// kernel argument can't point to.
bool FillArgFromEntry(const CCLMetadataEntry* pEntry, CLKernelArg& arg)
{
    const std::string strType = pEntry->GetEntryType();
    if (const CCLMetadataImageEntry* pImage = dynamic_cast<const CCLMetadataImageEntry*>(pEntry))
    {
        arg.nKind = CLKernelArg::KIND_IMAGE;
        arg.strName = pImage->GetName();
        arg.nResourceID = pImage->GetResourceId();
    }
    else if (const CCLMetadataPointerEntry* pPointer =
                 dynamic_cast<const CCLMetadataPointerEntry*>(pEntry))
    {
        const std::string strMemory = pPointer->GetMemoryType();
        if (strMemory == "uav" || strMemory == "g" || strMemory == "c" || strMemory == "hc" ||
            strMemory == "uc")
        {
            arg.nKind = CLKernelArg::KIND_GLOBAL_POINTER;
        }
        else if (strMemory == "hl" || strMemory == "l")
        {
            arg.nKind = CLKernelArg::KIND_LOCAL_POINTER;
        }
        else
        {
            CLD_Break("Pointer argument to unsupported memory type");
            return false;
        }
        arg.strName = pPointer->GetName();
        arg.nResourceID = pPointer->GetResourceId();
    }
    else if (const CCLMetadataValueEntry* pValue =
                 dynamic_cast<const CCLMetadataValueEntry*>(pEntry))
    {
        arg.nKind = CLKernelArg::KIND_VALUE;
        arg.strName = pValue->GetName();
        arg.nResourceID = 0;
    }
    else if (const CCLMetadataCounterEntry* pCounter =
                 dynamic_cast<const CCLMetadataCounterEntry*>(pEntry))
    {
        arg.nKind = CLKernelArg::KIND_COUNTER;
        arg.strName = pCounter->GetName();
    }
    return true;
}

// Names, kinds and resource ids from the metadata of the kernel in the first binary; the
// metadata lists the arguments in the kernel's order.
bool FillArgsFromMetadata(const std::string& strKernelName,
                          const std::vector<std::vector<char>>& vvBinaries,
                          std::vector<CLKernelArg>& vArgs)
{
    if (vvBinaries.empty())
    {
        return false;
    }
    std::string strMetadata;
    if (!XAN_ElfUtils::ExtractMetadataFromElf(vvBinaries.front(), strKernelName, strMetadata))
    {
        return false;
    }
    CCLMetadata metadata;
    if (!metadata.Parse(strMetadata) ||
        metadata.GetFunctionName() != "__OpenCL_" + strKernelName + "_kernel")
    {
        return false;
    }
    std::vector<CCLMetadataEntry*> vEntries;
    metadata.GetArguments(vEntries);
    for (size_t i = 0; i < vEntries.size() && i < vArgs.size(); ++i)
    {
        if (!FillArgFromEntry(vEntries[i], vArgs[i]))
        {
            return false;
        }
    }
    return true;
}

// Whether any device of the program is a GPU.
bool HasGPUDevice(const std::vector<cl_device_id>& vDevices)
{
    for (cl_device_id device : vDevices)
    {
        cl_device_type type = 0;
        if (GetCLInfo(g_DeviceOpenCLModule.clGetDeviceInfo, device, CL_DEVICE_TYPE, type) ==
                CL_SUCCESS &&
            type == CL_DEVICE_TYPE_GPU)
        {
            return true;
        }
    }
    return false;
}

bool AddKernelToMapLocked(cl_program program, cl_kernel kernel)
{
    g_mapKernelToInfo.erase(kernel);
    cl_uint nNumArgs = 0;
    if (GetCLInfo(g_DeviceOpenCLModule.clGetKernelInfo, kernel, CL_KERNEL_NUM_ARGS, nNumArgs) !=
        CL_SUCCESS)
    {
        return false;
    }
    KernelInfo& info = g_mapKernelToInfo[kernel] = KernelInfo(nNumArgs);

    std::vector<cl_device_id> vDevices;
    std::vector<std::vector<char>> vvAllBinaries;
    if (GetCLInfoArray(g_DeviceOpenCLModule.clGetProgramInfo, program, CL_PROGRAM_DEVICES,
                       vDevices) != CL_SUCCESS)
    {
        return true;
    }
    info.SetHasGPUDevice(HasGPUDevice(vDevices));
    if (!info.HasGPUDevice())
    {
        return true;
    }
    std::string strKernelName;
    GetCLInfoText(g_DeviceOpenCLModule.clGetKernelInfo, kernel, CL_KERNEL_FUNCTION_NAME,
                  strKernelName);
    std::vector<std::vector<char>> vvBinaries;
    if (GetProgramBinaries(g_DeviceOpenCLModule, program, vDevices, vvAllBinaries) == CL_SUCCESS)
    {
        for (size_t i = 0; i < vDevices.size(); ++i)
        {
            if (!vvAllBinaries[i].empty() && HasGPUDevice({vDevices[i]}))
            {
                vvBinaries.push_back(vvAllBinaries[i]);
            }
        }
    }
    // A kernel whose metadata can't be read keeps arguments without names: it can still run,
    // only not be debugged.
    FillArgsFromMetadata(strKernelName, vvBinaries, info.GetArgInfo());
    return true;
}
} // namespace

cl_int GetProgramBinaries(const OpenCLModule& module, cl_program program,
                          std::vector<cl_device_id>& vDevices,
                          std::vector<std::vector<char>>& vvBinaries)
{
    vvBinaries.clear();
    cl_int ret = GetCLInfoArray(module.clGetProgramInfo, program, CL_PROGRAM_DEVICES, vDevices);
    std::vector<size_t> vSizes;
    if (ret == CL_SUCCESS)
    {
        ret = GetCLInfoArray(module.clGetProgramInfo, program, CL_PROGRAM_BINARY_SIZES, vSizes);
    }
    if (ret != CL_SUCCESS)
    {
        return ret;
    }
    if (vSizes.size() != vDevices.size())
    {
        return CL_INVALID_PROGRAM;
    }
    vvBinaries.resize(vDevices.size());
    std::vector<unsigned char*> vPointers(vDevices.size(), NULL);
    for (size_t i = 0; i < vDevices.size(); ++i)
    {
        vvBinaries[i].resize(vSizes[i]);
        vPointers[i] =
            vSizes[i] != 0 ? reinterpret_cast<unsigned char*>(vvBinaries[i].data()) : NULL;
    }
    return module.clGetProgramInfo(program, CL_PROGRAM_BINARIES,
                                   vPointers.size() * sizeof(unsigned char*), vPointers.data(),
                                   NULL);
}

bool AddKernelToMap(cl_program program, cl_kernel kernel)
{
    try
    {
        KernelMapLock lock(g_mapKernelToInfoMutex);
        return AddKernelToMapLocked(program, kernel);
    }
    catch (const std::bad_alloc&)
    {
        // No half-filled entry stays behind.
        KernelMapLock lock(g_mapKernelToInfoMutex);
        g_mapKernelToInfo.erase(kernel);
        return false;
    }
}

bool RemoveKernelFromMap(cl_kernel kernel)
{
    KernelMapLock lock(g_mapKernelToInfoMutex);
    std::map<cl_kernel, KernelInfo>::iterator iter = g_mapKernelToInfo.find(kernel);
    CLD_Assert(iter != g_mapKernelToInfo.end());
    if (iter == g_mapKernelToInfo.end())
    {
        return false;
    }
    g_mapKernelToInfo.erase(iter);
    return true;
}

namespace
{
// The tracked argument, or a status for an untracked kernel or an index beyond its arguments.
cl_int FindArg(cl_kernel kernel, cl_uint arg_index, const CLKernelArg** ppArg)
{
    std::map<cl_kernel, KernelInfo>::const_iterator iter = g_mapKernelToInfo.find(kernel);
    if (iter == g_mapKernelToInfo.end())
    {
        return CL_INVALID_KERNEL;
    }
    if (arg_index >= iter->second.GetArgInfo().size())
    {
        return CL_INVALID_ARG_INDEX;
    }
    *ppArg = &iter->second.GetArgInfo()[arg_index];
    return CL_SUCCESS;
}

const char* GetKindText(uint32_t nKind)
{
    switch (nKind)
    {
    case CLKernelArg::KIND_IMAGE:
        return "image";
    case CLKernelArg::KIND_VALUE:
        return "value";
    case CLKernelArg::KIND_GLOBAL_POINTER:
        return "globalpointer";
    case CLKernelArg::KIND_LOCAL_POINTER:
        return "localpointer";
    case CLKernelArg::KIND_COUNTER:
        return "counter";
    default:
        return "unknown";
    }
}

// Copies as much of the text as fits, always terminated, and gives the size it took.
void CopyInfoText(const std::string& strText, size_t param_value_size, void* param_value,
                  size_t* param_value_size_ret)
{
    size_t nSize = strText.size() + 1;
    if (param_value != NULL)
    {
        nSize = std::min(nSize, param_value_size);
        if (param_value_size != 0)
        {
            memcpy(param_value, strText.data(), std::min(strText.size(), param_value_size));
            static_cast<char*>(param_value)[std::min(strText.size(), param_value_size - 1)] = 0;
        }
    }
    if (param_value_size_ret != NULL)
    {
        *param_value_size_ret = nSize;
    }
}
} // namespace

cl_int clGetKernelArg(cl_kernel kernel, cl_uint arg_index, const void** arg_value, size_t* arg_size)
{
    KernelMapLock lock(g_mapKernelToInfoMutex);
    const CLKernelArg* pArg = NULL;
    const cl_int ret = FindArg(kernel, arg_index, &pArg);
    if (ret != CL_SUCCESS)
    {
        return ret;
    }
    if (arg_value != NULL)
    {
        *arg_value = pArg->GetValue();
    }
    if (arg_size != NULL)
    {
        *arg_size = pArg->nSize;
    }
    return CL_SUCCESS;
}

cl_int clGetKernelArgInfo(cl_kernel kernel, cl_uint arg_index, cl_uint param_name,
                          size_t param_value_size, void* param_value, size_t* param_value_size_ret)
{
    try
    {
        KernelMapLock lock(g_mapKernelToInfoMutex);
        const CLKernelArg* pArg = NULL;
        const cl_int ret = FindArg(kernel, arg_index, &pArg);
        if (ret != CL_SUCCESS)
        {
            return ret;
        }
        switch (param_name)
        {
        case XAN_KERNEL_ARG_NAME:
            CopyInfoText(pArg->strName, param_value_size, param_value, param_value_size_ret);
            return CL_SUCCESS;
        case XAN_KERNEL_ARG_KIND:
            CopyInfoText(GetKindText(pArg->nKind), param_value_size, param_value,
                         param_value_size_ret);
            return CL_SUCCESS;
        case XAN_KERNEL_ARG_RESOURCE_ID:
            if (param_value_size_ret != NULL)
            {
                *param_value_size_ret = sizeof(uint32_t);
            }
            if (param_value_size != sizeof(uint32_t) || param_value == NULL)
            {
                return CL_INVALID_VALUE;
            }
            memcpy(param_value, &pArg->nResourceID, sizeof(uint32_t));
            return CL_SUCCESS;
        case XAN_KERNEL_ARG_RESERVED_0:
        case XAN_KERNEL_ARG_RESERVED_1:
        case XAN_KERNEL_ARG_RESERVED_2:
            return XAN_KERNEL_ARG_INFO_RESERVED;
        default:
            return CL_INVALID_VALUE;
        }
    }
    catch (const std::bad_alloc&)
    {
        return CL_OUT_OF_HOST_MEMORY;
    }
}

XANCL_API cl_kernel xanclInterceptCreateKernel(cl_program program, const char* kernel_name,
                                               cl_int* errcode_ret)
{
    cl_int myErr = CL_SUCCESS;
    cl_kernel kernel = g_DeviceOpenCLModule.clCreateKernel(program, kernel_name, &myErr);
    if (kernel != NULL && !AddKernelToMap(program, kernel))
    {
        g_DeviceOpenCLModule.clReleaseKernel(kernel);
        kernel = NULL;
        myErr = CL_OUT_OF_HOST_MEMORY;
    }
    if (errcode_ret != NULL)
    {
        *errcode_ret = myErr;
    }
    return kernel;
}

XANCL_API cl_int xanclInterceptCreateKernelsInProgram(cl_program program, cl_uint num_kernels,
                                                      cl_kernel* kernels, cl_uint* num_kernels_ret)
{
    cl_uint nNumKernels = 0;
    cl_int ret =
        g_DeviceOpenCLModule.clCreateKernelsInProgram(program, num_kernels, kernels, &nNumKernels);
    if (num_kernels_ret != NULL)
    {
        *num_kernels_ret = nNumKernels;
    }
    if (ret != CL_SUCCESS || kernels == NULL)
    {
        return ret;
    }
    const cl_uint nCount = std::min(num_kernels, nNumKernels);
    cl_uint nAdded = 0;
    while (nAdded < nCount && AddKernelToMap(program, kernels[nAdded]))
    {
        ++nAdded;
    }
    if (nAdded == nCount)
    {
        return CL_SUCCESS;
    }
    for (cl_uint i = 0; i < nCount; ++i)
    {
        if (i < nAdded)
        {
            RemoveKernelFromMap(kernels[i]);
        }
        g_DeviceOpenCLModule.clReleaseKernel(kernels[i]);
        kernels[i] = NULL;
    }
    return CL_OUT_OF_HOST_MEMORY;
}

XANCL_API cl_int xanclInterceptRetainKernel(cl_kernel kernel)
{
    // The entry lives as long as the kernel, so a reference more changes nothing here.
    return g_DeviceOpenCLModule.clRetainKernel(kernel);
}

XANCL_API cl_int xanclInterceptReleaseKernel(cl_kernel kernel)
{
    cl_uint nReferenceCount = 0;
    if (GetCLInfo(g_DeviceOpenCLModule.clGetKernelInfo, kernel, CL_KERNEL_REFERENCE_COUNT,
                  nReferenceCount) != CL_SUCCESS)
    {
        nReferenceCount = 0;
    }
    const cl_int ret = g_DeviceOpenCLModule.clReleaseKernel(kernel);
    if (ret == CL_SUCCESS && nReferenceCount == 1)
    {
        RemoveKernelFromMap(kernel);
    }
    return ret;
}

XANCL_API cl_int xanclInterceptSetKernelArg(cl_kernel kernel, cl_uint arg_index, size_t arg_size,
                                            const void* arg_value)
{
    // Only what the runtime accepted is recorded.
    const cl_int ret = g_DeviceOpenCLModule.clSetKernelArg(kernel, arg_index, arg_size, arg_value);
    if (ret != CL_SUCCESS)
    {
        return ret;
    }
    try
    {
        KernelMapLock lock(g_mapKernelToInfoMutex);
        std::map<cl_kernel, KernelInfo>::iterator iter = g_mapKernelToInfo.find(kernel);
        CLD_Assert(iter != g_mapKernelToInfo.end());
        if (iter == g_mapKernelToInfo.end())
        {
            return ret;
        }
        CLD_Assert(arg_index < iter->second.GetArgInfo().size());
        if (arg_index >= iter->second.GetArgInfo().size())
        {
            return ret;
        }
        CLKernelArg& arg = iter->second.GetArgInfo()[arg_index];
        arg.nSize = arg_size;
        const unsigned char* pBytes = static_cast<const unsigned char*>(arg_value);
        if (arg_value != NULL && arg_size != 0)
        {
            arg.vValue.assign(pBytes, pBytes + arg_size);
        }
        else
        {
            arg.vValue.clear();
        }
        return ret;
    }
    catch (const std::bad_alloc&)
    {
        return CL_OUT_OF_HOST_MEMORY;
    }
}
