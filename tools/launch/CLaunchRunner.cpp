#include "CLaunchRunner.h"

#include <cstring>

namespace XAN_Launch
{
namespace
{
struct SNamedValue
{
    const char* pName;
    cl_uint nValue;
};

const SNamedValue CHANNEL_ORDERS[] = {
    {"R", CL_R},
    {"A", CL_A},
    {"INTENSITY", CL_INTENSITY},
    {"LUMINANCE", CL_LUMINANCE},
    {"RG", CL_RG},
    {"RA", CL_RA},
    {"Rx", CL_Rx},
    {"RGB", CL_RGB},
    {"RGx", CL_RGx},
    {"RGBA", CL_RGBA},
    {"BGRA", CL_BGRA},
    {"ARGB", CL_ARGB},
};

const SNamedValue CHANNEL_TYPES[] = {
    {"SNORM_INT8", CL_SNORM_INT8},
    {"SNORM_INT16", CL_SNORM_INT16},
    {"UNORM_INT8", CL_UNORM_INT8},
    {"UNORM_INT16", CL_UNORM_INT16},
    {"UNORM_SHORT_565", CL_UNORM_SHORT_565},
    {"UNORM_SHORT_555", CL_UNORM_SHORT_555},
    {"UNORM_INT_101010", CL_UNORM_INT_101010},
    {"SIGNED_INT8", CL_SIGNED_INT8},
    {"SIGNED_INT16", CL_SIGNED_INT16},
    {"SIGNED_INT32", CL_SIGNED_INT32},
    {"UNSIGNED_INT8", CL_UNSIGNED_INT8},
    {"UNSIGNED_INT16", CL_UNSIGNED_INT16},
    {"UNSIGNED_INT32", CL_UNSIGNED_INT32},
    {"HALF_FLOAT", CL_HALF_FLOAT},
    {"FLOAT", CL_FLOAT},
};

const SNamedValue ADDRESSING_MODES[] = {
    {"none", CL_ADDRESS_NONE},
    {"clamp_to_edge", CL_ADDRESS_CLAMP_TO_EDGE},
    {"clamp", CL_ADDRESS_CLAMP},
    {"repeat", CL_ADDRESS_REPEAT},
    {"mirrored_repeat", CL_ADDRESS_MIRRORED_REPEAT},
};

// The value of a name the launch file's parser already accepted.
template <size_t N> cl_uint ValueOf(const SNamedValue (&vTable)[N], const std::string& strName)
{
    for (const SNamedValue& entry : vTable)
    {
        if (strName == entry.pName)
        {
            return entry.nValue;
        }
    }
    return 0;
}

} // namespace

CLaunchRunner::~CLaunchRunner()
{
    Release();
}

void CLaunchRunner::Release()
{
    if (m_Kernel != nullptr)
    {
        m_Calls.releaseKernel(m_Kernel);
        m_Kernel = nullptr;
    }
    if (m_Program != nullptr)
    {
        clReleaseProgram(m_Program);
        m_Program = nullptr;
    }
    for (cl_mem memory : m_vMemory)
    {
        clReleaseMemObject(memory);
    }
    m_vMemory.clear();
    for (cl_sampler sampler : m_vSamplers)
    {
        clReleaseSampler(sampler);
    }
    m_vSamplers.clear();
}

bool CLaunchRunner::Check(cl_int nError, const std::string& strCall, std::string& strError)
{
    if (nError != CL_SUCCESS && strError.empty())
    {
        strError = strCall + " failed with error " + std::to_string(nError);
    }
    return nError == CL_SUCCESS;
}

bool CLaunchRunner::Run(const CLaunchDescription& launch, Contents& vContents,
                        std::string& strError)
{
    Release();
    strError.clear();
    cl_int nError = CL_SUCCESS;
    const char* pText = launch.GetProgramText().c_str();
    m_Program = clCreateProgramWithSource(m_Context, 1, &pText, nullptr, &nError);
    if (!Check(nError, "clCreateProgramWithSource", strError))
    {
        return false;
    }
    nError = clBuildProgram(m_Program, 1, &m_Device, launch.GetOptions().c_str(), nullptr, nullptr);
    if (nError != CL_SUCCESS)
    {
        size_t nSize = 0;
        clGetProgramBuildInfo(m_Program, m_Device, CL_PROGRAM_BUILD_LOG, 0, nullptr, &nSize);
        std::string strLog(nSize, '\0');
        clGetProgramBuildInfo(m_Program, m_Device, CL_PROGRAM_BUILD_LOG, nSize, &strLog[0],
                              nullptr);
        Check(nError, "clBuildProgram", strError);
        strError += ":\n" + strLog.substr(0, strLog.find('\0'));
        return false;
    }
    m_Kernel = m_Calls.createKernel(m_Program, launch.GetKernel().c_str(), &nError);
    if (!Check(nError, "clCreateKernel(" + launch.GetKernel() + ")", strError))
    {
        return false;
    }
    const std::vector<SLaunchArg>& vArgs = launch.GetArgs();
    vContents.assign(vArgs.size(), std::vector<uint8_t>());
    std::vector<cl_mem> vArgMemory(vArgs.size(), nullptr);
    for (size_t i = 0; i < vArgs.size(); ++i)
    {
        const SLaunchArg& arg = vArgs[i];
        const std::string strSet = "clSetKernelArg(" + arg.strName + ")";
        const cl_mem_flags nAccess = arg.bReadOnly ? CL_MEM_READ_ONLY : CL_MEM_READ_WRITE;
        void* pContents = const_cast<uint8_t*>(arg.vBytes.data());
        switch (arg.eKind)
        {
        case AK_Scalar:
            nError =
                m_Calls.setKernelArg(m_Kernel, cl_uint(i), arg.vBytes.size(), arg.vBytes.data());
            break;
        case AK_Local:
            nError = m_Calls.setKernelArg(m_Kernel, cl_uint(i), size_t(arg.nLocalSize), nullptr);
            break;
        case AK_Sampler:
        {
            cl_sampler sampler = clCreateSampler(
                m_Context, arg.bNormalizedCoords ? CL_TRUE : CL_FALSE,
                ValueOf(ADDRESSING_MODES, arg.strAddressing),
                arg.strFilter == "linear" ? CL_FILTER_LINEAR : CL_FILTER_NEAREST, &nError);
            if (!Check(nError, "clCreateSampler(" + arg.strName + ")", strError))
            {
                return false;
            }
            m_vSamplers.push_back(sampler);
            nError = m_Calls.setKernelArg(m_Kernel, cl_uint(i), sizeof(sampler), &sampler);
            break;
        }
        case AK_Buffer:
        case AK_Image:
        {
            cl_mem memory = nullptr;
            if (arg.eKind == AK_Buffer)
            {
                memory = clCreateBuffer(m_Context, nAccess | CL_MEM_COPY_HOST_PTR,
                                        arg.vBytes.size(), pContents, &nError);
            }
            else
            {
                const cl_image_format format = {ValueOf(CHANNEL_ORDERS, arg.strChannelOrder),
                                                ValueOf(CHANNEL_TYPES, arg.strChannelType)};
                static const cl_mem_object_type s_Types[] = {
                    CL_MEM_OBJECT_IMAGE1D, CL_MEM_OBJECT_IMAGE2D, CL_MEM_OBJECT_IMAGE3D};
                cl_image_desc desc = {};
                desc.image_type = s_Types[arg.nImageDimensions - 1];
                desc.image_width = size_t(arg.vImageSize[0]);
                desc.image_height = size_t(arg.vImageSize[1]);
                desc.image_depth = size_t(arg.vImageSize[2]);
                memory = clCreateImage(m_Context, nAccess | CL_MEM_COPY_HOST_PTR, &format, &desc,
                                       pContents, &nError);
            }
            if (!Check(nError,
                       (arg.eKind == AK_Buffer ? "clCreateBuffer(" : "clCreateImage(") +
                           arg.strName + ")",
                       strError))
            {
                return false;
            }
            m_vMemory.push_back(memory);
            vArgMemory[i] = memory;
            nError = m_Calls.setKernelArg(m_Kernel, cl_uint(i), sizeof(memory), &memory);
            break;
        }
        }
        if (!Check(nError, strSet, strError))
        {
            return false;
        }
    }
    nError = m_Calls.enqueue(m_Queue, m_Kernel, launch.GetDimensions(), launch.GetOffset(),
                             launch.GetGlobalSize(), launch.GetLocalSize());
    if (!Check(nError, "enqueueing the kernel", strError))
    {
        return false;
    }
    for (size_t i = 0; i < vArgs.size(); ++i)
    {
        const SLaunchArg& arg = vArgs[i];
        if (vArgMemory[i] == nullptr)
        {
            continue;
        }
        vContents[i].resize(arg.vBytes.size());
        if (arg.eKind == AK_Buffer)
        {
            nError = clEnqueueReadBuffer(m_Queue, vArgMemory[i], CL_TRUE, 0, vContents[i].size(),
                                         vContents[i].data(), 0, nullptr, nullptr);
        }
        else
        {
            const size_t vOrigin[3] = {0, 0, 0};
            const size_t vRegion[3] = {size_t(arg.vImageSize[0]), size_t(arg.vImageSize[1]),
                                       size_t(arg.vImageSize[2])};
            nError = clEnqueueReadImage(m_Queue, vArgMemory[i], CL_TRUE, vOrigin, vRegion, 0, 0,
                                        vContents[i].data(), 0, nullptr, nullptr);
        }
        if (!Check(nError, "reading " + arg.strName + " back", strError))
        {
            return false;
        }
    }
    return true;
}

std::string CLaunchRunner::Compare(const CLaunchDescription& launch, const Contents& vContents)
{
    Contents vExpected(launch.GetArgs().size());
    for (size_t i = 0; i < vExpected.size(); ++i)
    {
        vExpected[i] = launch.GetArgs()[i].vExpected;
    }
    return Compare(launch, vContents, vExpected);
}

std::string CLaunchRunner::Compare(const CLaunchDescription& launch, const Contents& vContents,
                                   const Contents& vReference)
{
    std::string strReport;
    const std::vector<SLaunchArg>& vArgs = launch.GetArgs();
    for (size_t i = 0; i < vArgs.size() && i < vContents.size() && i < vReference.size(); ++i)
    {
        const SLaunchArg& arg = vArgs[i];
        const std::vector<uint8_t>& vExpected = vReference[i];
        if (vExpected.empty() || vContents[i] == vExpected)
        {
            continue;
        }
        const size_t nStride = arg.type.GetSize();
        size_t nDiffering = 0;
        size_t nFirst = 0;
        for (size_t e = 0; e * nStride < vExpected.size(); ++e)
        {
            if (e * nStride + nStride > vContents[i].size() ||
                std::memcmp(&vContents[i][e * nStride], &vExpected[e * nStride], nStride) != 0)
            {
                nFirst = nDiffering++ == 0 ? e : nFirst;
            }
        }
        strReport += arg.strName + ": " + std::to_string(nDiffering) + " of " +
                     std::to_string(vExpected.size() / nStride) +
                     " elements differ; the first, element " + std::to_string(nFirst) + ", is " +
                     (nFirst * nStride + nStride <= vContents[i].size()
                          ? arg.type.Format(&vContents[i][nFirst * nStride])
                          : std::string("missing")) +
                     ", expected " + arg.type.Format(&vExpected[nFirst * nStride]) + "\n";
    }
    return strReport;
}
} // namespace XAN_Launch
