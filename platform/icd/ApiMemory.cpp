#include "CContext.h"
#include "CImageFormat.h"
#include "CInfoWriter.h"
#include "CMemObject.h"
#include "CSampler.h"
#include "ICDApi.h"

namespace XAN_Platform
{
namespace Api
{
namespace
{
cl_mem HandleOf(CMemObject* pMem)
{
    return pMem != nullptr ? static_cast<cl_mem>(pMem->GetHandle()) : nullptr;
}

// Runs fnCreate(pContext, nError) for a live context and hands out what it made.
template <class F> cl_mem CreateMemory(cl_context context, cl_int* errcode_ret, F&& fnCreate)
{
    return GuardedCreate(errcode_ret,
                         [&]() -> cl_mem
                         {
                             CContext* pContext = FindOr<CContext>(context, CL_INVALID_CONTEXT,
                                                                   "context", errcode_ret);
                             if (pContext == nullptr)
                             {
                                 return nullptr;
                             }
                             cl_int nError = CL_SUCCESS;
                             CMemObject* pMem = fnCreate(pContext, nError);
                             SetError(errcode_ret, nError);
                             return HandleOf(pMem);
                         });
}

cl_sampler MakeSampler(cl_context context, const cl_sampler_properties* pProperties,
                       cl_int* errcode_ret)
{
    CContext* pContext = FindOr<CContext>(context, CL_INVALID_CONTEXT, "context", errcode_ret);
    if (pContext == nullptr)
    {
        return nullptr;
    }
    cl_int nError = CL_SUCCESS;
    CSampler* pSampler = CSampler::Create(pContext, pProperties, nError);
    SetError(errcode_ret, nError);
    return pSampler != nullptr ? static_cast<cl_sampler>(pSampler->GetHandle()) : nullptr;
}
} // namespace

cl_mem clCreateBuffer(cl_context context, cl_mem_flags flags, size_t size, void* host_ptr,
                      cl_int* errcode_ret)
{
    return CreateMemory(
        context, errcode_ret,
        [&](CContext* pContext, cl_int& nError)
        { return CMemObject::CreateBuffer(pContext, flags, size, host_ptr, nError); });
}

cl_mem clCreateSubBuffer(cl_mem buffer, cl_mem_flags flags,
                         cl_buffer_create_type buffer_create_type, const void* buffer_create_info,
                         cl_int* errcode_ret)
{
    return GuardedCreate(
        errcode_ret,
        [&]() -> cl_mem
        {
            CMemObject* pParent =
                FindOr<CMemObject>(buffer, CL_INVALID_MEM_OBJECT, "buffer", errcode_ret);
            if (pParent == nullptr)
            {
                return nullptr;
            }
            if (buffer_create_type != CL_BUFFER_CREATE_TYPE_REGION || buffer_create_info == nullptr)
            {
                SetError(errcode_ret,
                         CDiagnostics::Refuse(CL_INVALID_VALUE, "buffer_create_type",
                                              "not CL_BUFFER_CREATE_TYPE_REGION, or no region"));
                return nullptr;
            }
            const cl_buffer_region* pRegion =
                static_cast<const cl_buffer_region*>(buffer_create_info);
            cl_int nError = CL_SUCCESS;
            CMemObject* pBuffer =
                CMemObject::CreateSubBuffer(pParent, flags, pRegion->origin, pRegion->size, nError);
            SetError(errcode_ret, nError);
            return HandleOf(pBuffer);
        });
}

cl_mem clCreateImage(cl_context context, cl_mem_flags flags, const cl_image_format* image_format,
                     const cl_image_desc* image_desc, void* host_ptr, cl_int* errcode_ret)
{
    return CreateMemory(context, errcode_ret,
                        [&](CContext* pContext, cl_int& nError) {
                            return CMemObject::CreateImage(pContext, flags, image_format,
                                                           image_desc, host_ptr, nError);
                        });
}

cl_mem clCreateImage2D(cl_context context, cl_mem_flags flags, const cl_image_format* image_format,
                       size_t image_width, size_t image_height, size_t image_row_pitch,
                       void* host_ptr, cl_int* errcode_ret)
{
    cl_image_desc desc = {};
    desc.image_type = CL_MEM_OBJECT_IMAGE2D;
    desc.image_width = image_width;
    desc.image_height = image_height;
    desc.image_row_pitch = image_row_pitch;
    return Api::clCreateImage(context, flags, image_format, &desc, host_ptr, errcode_ret);
}

cl_mem clCreateImage3D(cl_context context, cl_mem_flags flags, const cl_image_format* image_format,
                       size_t image_width, size_t image_height, size_t image_depth,
                       size_t image_row_pitch, size_t image_slice_pitch, void* host_ptr,
                       cl_int* errcode_ret)
{
    cl_image_desc desc = {};
    desc.image_type = CL_MEM_OBJECT_IMAGE3D;
    desc.image_width = image_width;
    desc.image_height = image_height;
    desc.image_depth = image_depth;
    desc.image_row_pitch = image_row_pitch;
    desc.image_slice_pitch = image_slice_pitch;
    return Api::clCreateImage(context, flags, image_format, &desc, host_ptr, errcode_ret);
}

cl_int clRetainMemObject(cl_mem memobj)
{
    return RetainObject<CMemObject>("memobj", memobj, CL_INVALID_MEM_OBJECT);
}

cl_int clReleaseMemObject(cl_mem memobj)
{
    return ReleaseObject<CMemObject>("memobj", memobj, CL_INVALID_MEM_OBJECT);
}

cl_int clGetSupportedImageFormats(cl_context context, cl_mem_flags flags,
                                  cl_mem_object_type image_type, cl_uint num_entries,
                                  cl_image_format* image_formats, cl_uint* num_image_formats)
{
    (void)flags;
    if (CCLObject::Find<CContext>(context) == nullptr)
    {
        return CDiagnostics::Refuse(CL_INVALID_CONTEXT, "context", "no context of this platform");
    }
    if (image_type < CL_MEM_OBJECT_IMAGE2D || image_type > CL_MEM_OBJECT_IMAGE1D_BUFFER ||
        (num_entries == 0 && image_formats != nullptr))
    {
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "image_type",
                                    "no image type, or formats given with 0 entries");
    }
    const std::vector<cl_image_format>& vFormats = CImageFormat::GetSupported();
    for (cl_uint i = 0; image_formats != nullptr && i < num_entries && i < vFormats.size(); ++i)
    {
        image_formats[i] = vFormats[i];
    }
    if (num_image_formats != nullptr)
    {
        *num_image_formats = cl_uint(vFormats.size());
    }
    return CL_SUCCESS;
}

cl_int clGetMemObjectInfo(cl_mem memobj, cl_mem_info param_name, size_t param_value_size,
                          void* param_value, size_t* param_value_size_ret)
{
    return QueryInfo<CMemObject>("memobj", memobj, CL_INVALID_MEM_OBJECT, param_name,
                                 param_value_size, param_value, param_value_size_ret);
}

cl_int clGetImageInfo(cl_mem image, cl_image_info param_name, size_t param_value_size,
                      void* param_value, size_t* param_value_size_ret)
{
    const CMemObject* pImage = CCLObject::Find<CMemObject>(image);
    if (pImage == nullptr || !pImage->IsImage())
    {
        return CDiagnostics::Refuse(CL_INVALID_MEM_OBJECT, "image",
                                    "not an image of this platform");
    }
    CInfoWriter writer(param_value_size, param_value, param_value_size_ret);
    return pImage->GetImageInfo(param_name, writer);
}

cl_int clSetMemObjectDestructorCallback(
    cl_mem memobj, void(CL_CALLBACK* pfn_notify)(cl_mem memobj, void* user_data), void* user_data)
{
    CMemObject* pMem = CCLObject::Find<CMemObject>(memobj);
    if (pMem == nullptr)
    {
        return BadHandle(CL_INVALID_MEM_OBJECT, "memobj", memobj);
    }
    return Guarded([&] { return pMem->AddDestructorCallback(pfn_notify, user_data); });
}

cl_sampler clCreateSampler(cl_context context, cl_bool normalized_coords,
                           cl_addressing_mode addressing_mode, cl_filter_mode filter_mode,
                           cl_int* errcode_ret)
{
    const cl_sampler_properties vProperties[] = {CL_SAMPLER_NORMALIZED_COORDS,
                                                 normalized_coords,
                                                 CL_SAMPLER_ADDRESSING_MODE,
                                                 addressing_mode,
                                                 CL_SAMPLER_FILTER_MODE,
                                                 filter_mode,
                                                 0};
    return Api::clCreateSamplerWithProperties(context, vProperties, errcode_ret);
}

cl_sampler clCreateSamplerWithProperties(cl_context context,
                                         const cl_sampler_properties* sampler_properties,
                                         cl_int* errcode_ret)
{
    return GuardedCreate(errcode_ret,
                         [&] { return MakeSampler(context, sampler_properties, errcode_ret); });
}

cl_int clRetainSampler(cl_sampler sampler)
{
    return RetainObject<CSampler>("sampler", sampler, CL_INVALID_SAMPLER);
}

cl_int clReleaseSampler(cl_sampler sampler)
{
    return ReleaseObject<CSampler>("sampler", sampler, CL_INVALID_SAMPLER);
}

cl_int clGetSamplerInfo(cl_sampler sampler, cl_sampler_info param_name, size_t param_value_size,
                        void* param_value, size_t* param_value_size_ret)
{
    return QueryInfo<CSampler>("sampler", sampler, CL_INVALID_SAMPLER, param_name, param_value_size,
                               param_value, param_value_size_ret);
}
} // namespace Api
} // namespace XAN_Platform
