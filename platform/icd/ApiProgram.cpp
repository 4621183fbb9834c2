#include "CContext.h"
#include "CDevice.h"
#include "CKernel.h"
#include "CProgram.h"
#include "ICDApi.h"

#include <functional>

namespace XAN_Platform
{
namespace Api
{
namespace
{
cl_kernel MakeKernel(CProgram* pProgram, const std::string& strName, cl_int& nError)
{
    CKernel::Images vImages;
    nError = pProgram->FindKernel(strName, vImages);
    if (nError != CL_SUCCESS)
    {
        return nullptr;
    }
    return static_cast<cl_kernel>(CCLObject::New<CKernel>(pProgram, strName, vImages)->GetHandle());
}

// The devices of a list, each of the context; an empty list stands for all.
cl_int GetDevices(const CContext* pContext, cl_uint nCount, const cl_device_id* pList,
                  std::vector<CDevice*>& vDevices)
{
    if ((nCount == 0) != (pList == nullptr))
    {
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "device_list",
                                    "the count and the list disagree on being empty");
    }
    for (cl_uint i = 0; i < nCount; ++i)
    {
        CDevice* pDevice = CCLObject::Find<CDevice>(pList[i]);
        if (pDevice == nullptr || !pContext->HasDevice(pDevice))
        {
            return CDiagnostics::Refuse(CL_INVALID_DEVICE, "device_list",
                                        "a device that isn't in the context");
        }
        vDevices.push_back(pDevice);
    }
    return CL_SUCCESS;
}

// clBuildProgram and clCompileProgram: the program, the notification and the devices are
// checked, fnBuild builds for the devices (an empty list: all of the program's), and the
// notification says that the build is done when the call returns.
cl_int BuildProgram(cl_program program, cl_uint nCount, const cl_device_id* pList,
                    PFNProgramNotify pfnNotify, void* pUserData,
                    const std::function<cl_int(CProgram&, const std::vector<CDevice*>&)>& fnBuild)
{
    CProgram* pProgram = CCLObject::Find<CProgram>(program);
    if (pProgram == nullptr)
    {
        return BadHandle(CL_INVALID_PROGRAM, "program", program);
    }
    if (pfnNotify == nullptr && pUserData != nullptr)
    {
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "user_data", "given without pfn_notify");
    }
    return Guarded(
        [&]
        {
            std::vector<CDevice*> vDevices;
            cl_int nError = GetDevices(pProgram->GetContext(), nCount, pList, vDevices);
            for (const CDevice* pDevice : vDevices)
            {
                if (nError == CL_SUCCESS && !pProgram->HasDevice(pDevice))
                {
                    nError = CDiagnostics::Refuse(CL_INVALID_DEVICE, "device_list",
                                                  "a device the program isn't for");
                }
            }
            if (nError != CL_SUCCESS)
            {
                return nError;
            }
            nError = fnBuild(*pProgram, vDevices);
            if (pfnNotify != nullptr)
            {
                pfnNotify(program, pUserData);
            }
            return nError;
        });
}
} // namespace

cl_program clCreateProgramWithSource(cl_context context, cl_uint count, const char** strings,
                                     const size_t* lengths, cl_int* errcode_ret)
{
    return GuardedCreate(
        errcode_ret,
        [&]() -> cl_program
        {
            CContext* pContext =
                FindOr<CContext>(context, CL_INVALID_CONTEXT, "context", errcode_ret);
            if (pContext == nullptr)
            {
                return nullptr;
            }
            if (count == 0 || strings == nullptr)
            {
                SetError(errcode_ret,
                         CDiagnostics::Refuse(CL_INVALID_VALUE, "strings", "no strings"));
                return nullptr;
            }
            std::string strSource;
            for (cl_uint i = 0; i < count; ++i)
            {
                if (strings[i] == nullptr)
                {
                    SetError(errcode_ret,
                             CDiagnostics::Refuse(CL_INVALID_VALUE, "strings", "a null string"));
                    return nullptr;
                }
                strSource += lengths != nullptr && lengths[i] != 0
                                 ? std::string(strings[i], lengths[i])
                                 : std::string(strings[i]);
            }
            SetError(errcode_ret, CL_SUCCESS);
            return static_cast<cl_program>(
                CProgram::CreateWithSource(pContext, strSource)->GetHandle());
        });
}

cl_program clCreateProgramWithBinary(cl_context context, cl_uint num_devices,
                                     const cl_device_id* device_list, const size_t* lengths,
                                     const unsigned char** binaries, cl_int* binary_status,
                                     cl_int* errcode_ret)
{
    return GuardedCreate(
        errcode_ret,
        [&]() -> cl_program
        {
            CContext* pContext =
                FindOr<CContext>(context, CL_INVALID_CONTEXT, "context", errcode_ret);
            if (pContext == nullptr)
            {
                return nullptr;
            }
            std::vector<CDevice*> vDevices;
            cl_int nError = GetDevices(pContext, num_devices, device_list, vDevices);
            if (nError == CL_SUCCESS &&
                (vDevices.empty() || lengths == nullptr || binaries == nullptr))
            {
                nError = CDiagnostics::Refuse(CL_INVALID_VALUE, "binaries",
                                              "no devices, lengths or binaries");
            }
            std::vector<std::vector<char>> vBinaries;
            for (cl_uint i = 0; nError == CL_SUCCESS && i < num_devices; ++i)
            {
                if (lengths[i] == 0 || binaries[i] == nullptr)
                {
                    nError = CDiagnostics::Refuse(CL_INVALID_VALUE, "binaries",
                                                  "an empty or null binary");
                    break;
                }
                vBinaries.emplace_back(binaries[i], binaries[i] + lengths[i]);
            }
            if (nError != CL_SUCCESS)
            {
                SetError(errcode_ret, nError);
                return nullptr;
            }
            CProgram* pProgram =
                CProgram::CreateWithBinary(pContext, vDevices, vBinaries, binary_status, nError);
            SetError(errcode_ret, nError);
            return pProgram != nullptr ? static_cast<cl_program>(pProgram->GetHandle()) : nullptr;
        });
}

cl_int clRetainProgram(cl_program program)
{
    return RetainObject<CProgram>("program", program, CL_INVALID_PROGRAM);
}

cl_int clReleaseProgram(cl_program program)
{
    return ReleaseObject<CProgram>("program", program, CL_INVALID_PROGRAM);
}

cl_int clBuildProgram(cl_program program, cl_uint num_devices, const cl_device_id* device_list,
                      const char* options,
                      void(CL_CALLBACK* pfn_notify)(cl_program program, void* user_data),
                      void* user_data)
{
    return BuildProgram(program, num_devices, device_list, pfn_notify, user_data,
                        [options](CProgram& built, const std::vector<CDevice*>& vDevices)
                        { return built.Build(vDevices, options); });
}

cl_int clCompileProgram(cl_program program, cl_uint num_devices, const cl_device_id* device_list,
                        const char* options, cl_uint num_input_headers,
                        const cl_program* input_headers, const char** header_include_names,
                        void(CL_CALLBACK* pfn_notify)(cl_program program, void* user_data),
                        void* user_data)
{
    return BuildProgram(
        program, num_devices, device_list, pfn_notify, user_data,
        [&](CProgram& compiled, const std::vector<CDevice*>& vDevices)
        {
            if ((num_input_headers == 0) != (input_headers == nullptr) ||
                (num_input_headers == 0) != (header_include_names == nullptr))
            {
                return CDiagnostics::Refuse(CL_INVALID_VALUE, "input_headers",
                                            "the count, the headers and their names disagree "
                                            "on being empty");
            }
            std::vector<std::pair<std::string, CProgram*>> vHeaders;
            for (cl_uint i = 0; i < num_input_headers; ++i)
            {
                CProgram* pHeader = CCLObject::Find<CProgram>(input_headers[i]);
                if (pHeader == nullptr || pHeader->GetContext() != compiled.GetContext())
                {
                    return CDiagnostics::Refuse(CL_INVALID_VALUE, "input_headers",
                                                "a header that is no program of the context");
                }
                if (header_include_names[i] == nullptr || *header_include_names[i] == '\0')
                {
                    return CDiagnostics::Refuse(CL_INVALID_VALUE, "header_include_names",
                                                "a null or empty name");
                }
                vHeaders.emplace_back(header_include_names[i], pHeader);
            }
            return compiled.Compile(vDevices, options, vHeaders);
        });
}

cl_program clLinkProgram(cl_context context, cl_uint num_devices, const cl_device_id* device_list,
                         const char* options, cl_uint num_input_programs,
                         const cl_program* input_programs,
                         void(CL_CALLBACK* pfn_notify)(cl_program program, void* user_data),
                         void* user_data, cl_int* errcode_ret)
{
    return GuardedCreate(
        errcode_ret,
        [&]() -> cl_program
        {
            CContext* pContext =
                FindOr<CContext>(context, CL_INVALID_CONTEXT, "context", errcode_ret);
            if (pContext == nullptr)
            {
                return nullptr;
            }
            cl_int nError = CL_SUCCESS;
            if (pfn_notify == nullptr && user_data != nullptr)
            {
                nError =
                    CDiagnostics::Refuse(CL_INVALID_VALUE, "user_data", "given without pfn_notify");
            }
            else if (num_input_programs == 0 || input_programs == nullptr)
            {
                nError = CDiagnostics::Refuse(CL_INVALID_VALUE, "input_programs", "none given");
            }
            std::vector<CProgram*> vInputs;
            for (cl_uint i = 0; nError == CL_SUCCESS && i < num_input_programs; ++i)
            {
                CProgram* pInput = CCLObject::Find<CProgram>(input_programs[i]);
                if (pInput == nullptr || pInput->GetContext() != pContext)
                {
                    nError = CDiagnostics::Refuse(CL_INVALID_PROGRAM, "input_programs",
                                                  "a program that isn't of the context");
                }
                vInputs.push_back(pInput);
            }
            std::vector<CDevice*> vDevices;
            if (nError == CL_SUCCESS)
            {
                nError = GetDevices(pContext, num_devices, device_list, vDevices);
            }
            CProgram* pProgram = nError == CL_SUCCESS
                                     ? CProgram::Link(pContext, vDevices, options, vInputs, nError)
                                     : nullptr;
            SetError(errcode_ret, nError);
            cl_program linked =
                pProgram != nullptr ? static_cast<cl_program>(pProgram->GetHandle()) : nullptr;
            if (linked != nullptr && pfn_notify != nullptr)
            {
                pfn_notify(linked, user_data);
            }
            return linked;
        });
}

cl_int clGetProgramInfo(cl_program program, cl_program_info param_name, size_t param_value_size,
                        void* param_value, size_t* param_value_size_ret)
{
    return QueryInfo<CProgram>("program", program, CL_INVALID_PROGRAM, param_name, param_value_size,
                               param_value, param_value_size_ret);
}

cl_int clGetProgramBuildInfo(cl_program program, cl_device_id device,
                             cl_program_build_info param_name, size_t param_value_size,
                             void* param_value, size_t* param_value_size_ret)
{
    CProgram* pProgram = CCLObject::Find<CProgram>(program);
    if (pProgram == nullptr)
    {
        return BadHandle(CL_INVALID_PROGRAM, "program", program);
    }
    const CDevice* pDevice = CCLObject::Find<CDevice>(device);
    if (pDevice == nullptr)
    {
        return BadHandle(CL_INVALID_DEVICE, "device", device);
    }
    CInfoWriter writer(param_value_size, param_value, param_value_size_ret);
    return Guarded([&] { return pProgram->GetBuildInfo(pDevice, param_name, writer); });
}

cl_kernel clCreateKernel(cl_program program, const char* kernel_name, cl_int* errcode_ret)
{
    return GuardedCreate(errcode_ret,
                         [&]() -> cl_kernel
                         {
                             CProgram* pProgram = FindOr<CProgram>(program, CL_INVALID_PROGRAM,
                                                                   "program", errcode_ret);
                             if (pProgram == nullptr)
                             {
                                 return nullptr;
                             }
                             if (kernel_name == nullptr)
                             {
                                 SetError(errcode_ret, CDiagnostics::Refuse(CL_INVALID_VALUE,
                                                                            "kernel_name", "null"));
                                 return nullptr;
                             }
                             cl_int nError = CL_SUCCESS;
                             cl_kernel kernel = MakeKernel(pProgram, kernel_name, nError);
                             SetError(errcode_ret, nError);
                             return kernel;
                         });
}

cl_int clCreateKernelsInProgram(cl_program program, cl_uint num_kernels, cl_kernel* kernels,
                                cl_uint* num_kernels_ret)
{
    CProgram* pProgram = CCLObject::Find<CProgram>(program);
    if (pProgram == nullptr)
    {
        return BadHandle(CL_INVALID_PROGRAM, "program", program);
    }
    return Guarded(
        [&]
        {
            std::vector<std::string> vNames;
            cl_int nError = pProgram->GetKernelNames(vNames);
            if (nError != CL_SUCCESS)
            {
                return nError;
            }
            if (kernels != nullptr && num_kernels < vNames.size())
            {
                return CDiagnostics::Refuse(CL_INVALID_VALUE, "num_kernels",
                                            "fewer than the program's kernels");
            }
            for (size_t i = 0; kernels != nullptr && i < vNames.size(); ++i)
            {
                kernels[i] = MakeKernel(pProgram, vNames[i], nError);
            }
            if (num_kernels_ret != nullptr)
            {
                *num_kernels_ret = cl_uint(vNames.size());
            }
            return CL_SUCCESS;
        });
}

cl_int clRetainKernel(cl_kernel kernel)
{
    return RetainObject<CKernel>("kernel", kernel, CL_INVALID_KERNEL);
}

cl_int clReleaseKernel(cl_kernel kernel)
{
    return ReleaseObject<CKernel>("kernel", kernel, CL_INVALID_KERNEL);
}

cl_int clSetKernelArg(cl_kernel kernel, cl_uint arg_index, size_t arg_size, const void* arg_value)
{
    CKernel* pKernel = CCLObject::Find<CKernel>(kernel);
    if (pKernel == nullptr)
    {
        return BadHandle(CL_INVALID_KERNEL, "kernel", kernel);
    }
    return Guarded([&] { return pKernel->SetArg(arg_index, arg_size, arg_value); });
}

cl_int clGetKernelInfo(cl_kernel kernel, cl_kernel_info param_name, size_t param_value_size,
                       void* param_value, size_t* param_value_size_ret)
{
    return QueryInfo<CKernel>("kernel", kernel, CL_INVALID_KERNEL, param_name, param_value_size,
                              param_value, param_value_size_ret);
}

cl_int clGetKernelArgInfo(cl_kernel kernel, cl_uint arg_indx, cl_kernel_arg_info param_name,
                          size_t param_value_size, void* param_value, size_t* param_value_size_ret)
{
    const CKernel* pKernel = CCLObject::Find<CKernel>(kernel);
    if (pKernel == nullptr)
    {
        return BadHandle(CL_INVALID_KERNEL, "kernel", kernel);
    }
    CInfoWriter writer(param_value_size, param_value, param_value_size_ret);
    return Guarded([&] { return pKernel->GetArgInfo(arg_indx, param_name, writer); });
}

cl_int clGetKernelWorkGroupInfo(cl_kernel kernel, cl_device_id device,
                                cl_kernel_work_group_info param_name, size_t param_value_size,
                                void* param_value, size_t* param_value_size_ret)
{
    CKernel* pKernel = CCLObject::Find<CKernel>(kernel);
    if (pKernel == nullptr)
    {
        return BadHandle(CL_INVALID_KERNEL, "kernel", kernel);
    }
    const CDevice* pDevice = nullptr;
    if (device != nullptr && (pDevice = CCLObject::Find<CDevice>(device)) == nullptr)
    {
        return CDiagnostics::Refuse(CL_INVALID_DEVICE, "device", "no device of this platform");
    }
    CInfoWriter writer(param_value_size, param_value, param_value_size_ret);
    return Guarded([&] { return pKernel->GetWorkGroupInfo(pDevice, param_name, writer); });
}
} // namespace Api
} // namespace XAN_Platform
