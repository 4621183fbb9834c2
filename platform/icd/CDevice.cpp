#include "CDevice.h"

#include "CDiagnostics.h"
#include "CInfoWriter.h"
#include "CPlatform.h"

#include <CL/cl_ext.h>

#include <thread>
#include <vector>

namespace XAN_Platform
{
namespace
{
const cl_ulong GLOBAL_MEMORY_64 = 4ull << 30;
const cl_ulong GLOBAL_MEMORY_32 = 2ull << 30;
const size_t IMAGE2D_MAX = 16384;
const size_t IMAGE3D_MAX = 2048;
const size_t IMAGE_ARRAY_MAX = 2048;
const size_t IMAGE_BUFFER_MAX = 65536;
} // namespace

CDevice::CDevice(CPlatform* pPlatform, cl_device_type nType, const std::string& strName,
                 bool b64Bit, const std::string& strVersion, const std::string& strExtensions,
                 const std::string& strBuild)
    : CCLObject(OT_Device, false), m_pPlatform(pPlatform), m_nType(nType), m_strName(strName),
      m_b64Bit(b64Bit), m_strVersion(strVersion), m_strExtensions(strExtensions),
      m_strBuild(strBuild)
{
    Register();
}

CDevice::~CDevice() = default;

cl_ulong CDevice::GetMaxAllocation() const
{
    return (m_b64Bit ? GLOBAL_MEMORY_64 : GLOBAL_MEMORY_32) / 4;
}

cl_int CDevice::GetInfo(cl_device_info nParam, CInfoWriter& writer) const
{
    const cl_device_fp_config nFloatConfig = CL_FP_DENORM | CL_FP_INF_NAN | CL_FP_ROUND_TO_NEAREST |
                                             CL_FP_ROUND_TO_ZERO | CL_FP_ROUND_TO_INF | CL_FP_FMA;
    switch (nParam)
    {
    case CL_DEVICE_TYPE:
        return writer.Value(m_nType);
    case CL_DEVICE_VENDOR_ID:
        return writer.Value(cl_uint(0x4E56));
    case CL_DEVICE_MAX_COMPUTE_UNITS:
        return writer.Value(cl_uint(std::max(1u, std::thread::hardware_concurrency())));
    case CL_DEVICE_MAX_WORK_ITEM_DIMENSIONS:
        return writer.Value(cl_uint(3));
    case CL_DEVICE_MAX_WORK_ITEM_SIZES:
        return writer.Array(std::vector<size_t>(3, MAX_WORK_GROUP_SIZE));
    case CL_DEVICE_MAX_WORK_GROUP_SIZE:
        return writer.Value(size_t(MAX_WORK_GROUP_SIZE));
    case CL_DEVICE_PREFERRED_VECTOR_WIDTH_CHAR:
    case CL_DEVICE_NATIVE_VECTOR_WIDTH_CHAR:
        return writer.Value(cl_uint(4));
    case CL_DEVICE_PREFERRED_VECTOR_WIDTH_SHORT:
    case CL_DEVICE_NATIVE_VECTOR_WIDTH_SHORT:
        return writer.Value(cl_uint(2));
    case CL_DEVICE_PREFERRED_VECTOR_WIDTH_INT:
    case CL_DEVICE_PREFERRED_VECTOR_WIDTH_LONG:
    case CL_DEVICE_PREFERRED_VECTOR_WIDTH_FLOAT:
    case CL_DEVICE_PREFERRED_VECTOR_WIDTH_DOUBLE:
    case CL_DEVICE_NATIVE_VECTOR_WIDTH_INT:
    case CL_DEVICE_NATIVE_VECTOR_WIDTH_LONG:
    case CL_DEVICE_NATIVE_VECTOR_WIDTH_FLOAT:
    case CL_DEVICE_NATIVE_VECTOR_WIDTH_DOUBLE:
        return writer.Value(cl_uint(1));
    case CL_DEVICE_PREFERRED_VECTOR_WIDTH_HALF:
    case CL_DEVICE_NATIVE_VECTOR_WIDTH_HALF:
        return writer.Value(cl_uint(0));
    case CL_DEVICE_MAX_CLOCK_FREQUENCY:
        return writer.Value(cl_uint(1000));
    case CL_DEVICE_ADDRESS_BITS:
        return writer.Value(cl_uint(m_b64Bit ? 64 : 32));
    case CL_DEVICE_MAX_READ_IMAGE_ARGS:
        return writer.Value(cl_uint(128));
    case CL_DEVICE_MAX_WRITE_IMAGE_ARGS:
        return writer.Value(cl_uint(8));
    case CL_DEVICE_MAX_MEM_ALLOC_SIZE:
        return writer.Value(GetMaxAllocation());
    case CL_DEVICE_IMAGE2D_MAX_WIDTH:
    case CL_DEVICE_IMAGE2D_MAX_HEIGHT:
        return writer.Value(IMAGE2D_MAX);
    case CL_DEVICE_IMAGE3D_MAX_WIDTH:
    case CL_DEVICE_IMAGE3D_MAX_HEIGHT:
    case CL_DEVICE_IMAGE3D_MAX_DEPTH:
        return writer.Value(IMAGE3D_MAX);
    case CL_DEVICE_IMAGE_MAX_BUFFER_SIZE:
        return writer.Value(IMAGE_BUFFER_MAX);
    case CL_DEVICE_IMAGE_MAX_ARRAY_SIZE:
        return writer.Value(IMAGE_ARRAY_MAX);
    case CL_DEVICE_IMAGE_SUPPORT:
    case CL_DEVICE_ENDIAN_LITTLE:
    case CL_DEVICE_AVAILABLE:
    case CL_DEVICE_COMPILER_AVAILABLE:
    case CL_DEVICE_PREFERRED_INTEROP_USER_SYNC:
        return writer.Value(cl_bool(CL_TRUE));
    case CL_DEVICE_ERROR_CORRECTION_SUPPORT:
    case CL_DEVICE_HOST_UNIFIED_MEMORY:
    case CL_DEVICE_LINKER_AVAILABLE:
        return writer.Value(cl_bool(CL_FALSE));
    case CL_DEVICE_MAX_SAMPLERS:
        return writer.Value(cl_uint(16));
    case CL_DEVICE_MAX_PARAMETER_SIZE:
        return writer.Value(size_t(1024));
    case CL_DEVICE_MEM_BASE_ADDR_ALIGN:
        return writer.Value(cl_uint(SUB_BUFFER_ALIGNMENT * 8));
    case CL_DEVICE_MIN_DATA_TYPE_ALIGN_SIZE:
        return writer.Value(cl_uint(128));
    case CL_DEVICE_SINGLE_FP_CONFIG:
    case CL_DEVICE_DOUBLE_FP_CONFIG:
        return writer.Value(nFloatConfig);
    case CL_DEVICE_HALF_FP_CONFIG:
        return writer.Value(cl_device_fp_config(0));
    case CL_DEVICE_GLOBAL_MEM_CACHE_TYPE:
        return writer.Value(cl_device_mem_cache_type(CL_NONE));
    case CL_DEVICE_GLOBAL_MEM_CACHELINE_SIZE:
        return writer.Value(cl_uint(0));
    case CL_DEVICE_GLOBAL_MEM_CACHE_SIZE:
        return writer.Value(cl_ulong(0));
    case CL_DEVICE_GLOBAL_MEM_SIZE:
        return writer.Value(m_b64Bit ? GLOBAL_MEMORY_64 : GLOBAL_MEMORY_32);
    case CL_DEVICE_MAX_CONSTANT_BUFFER_SIZE:
        return writer.Value(cl_ulong(65536));
    case CL_DEVICE_MAX_CONSTANT_ARGS:
        return writer.Value(cl_uint(8));
    case CL_DEVICE_LOCAL_MEM_TYPE:
        return writer.Value(cl_device_local_mem_type(CL_LOCAL));
    case CL_DEVICE_LOCAL_MEM_SIZE:
        return writer.Value(LOCAL_MEMORY_BYTES);
    case CL_DEVICE_PROFILING_TIMER_RESOLUTION:
        return writer.Value(size_t(1));
    case CL_DEVICE_EXECUTION_CAPABILITIES:
        return writer.Value(cl_device_exec_capabilities(CL_EXEC_KERNEL));
    case CL_DEVICE_QUEUE_PROPERTIES:
        return writer.Value(cl_command_queue_properties(CL_QUEUE_OUT_OF_ORDER_EXEC_MODE_ENABLE |
                                                        CL_QUEUE_PROFILING_ENABLE));
    case CL_DEVICE_PLATFORM:
        return writer.Value(static_cast<cl_platform_id>(m_pPlatform->GetHandle()));
    case CL_DEVICE_NAME:
        return writer.String(m_strName);
    case CL_DEVICE_VENDOR:
        return writer.String(m_pPlatform->GetVendor());
    case CL_DRIVER_VERSION:
        return writer.String(m_strBuild);
    case CL_DEVICE_PROFILE:
        return writer.String("FULL_PROFILE");
    case CL_DEVICE_VERSION:
        return writer.String(m_strVersion);
    case CL_DEVICE_OPENCL_C_VERSION:
        return writer.String("OpenCL C 1.2 ");
    case CL_DEVICE_EXTENSIONS:
        return writer.String(m_strExtensions);
    case CL_DEVICE_BUILT_IN_KERNELS:
        return writer.String("");
    case CL_DEVICE_PRINTF_BUFFER_SIZE:
        return writer.Value(size_t(1 << 20));
    case CL_DEVICE_PARENT_DEVICE:
        return writer.Value(cl_device_id(nullptr));
    case CL_DEVICE_PARTITION_MAX_SUB_DEVICES:
        return writer.Value(cl_uint(0));
    case CL_DEVICE_PARTITION_PROPERTIES:
        return writer.Value(cl_device_partition_property(0));
    case CL_DEVICE_PARTITION_AFFINITY_DOMAIN:
        return writer.Value(cl_device_affinity_domain(0));
    case CL_DEVICE_PARTITION_TYPE:
        return writer.Bytes(nullptr, 0);
    case CL_DEVICE_REFERENCE_COUNT:
        return writer.Value(cl_uint(1));
    case CL_DEVICE_IMAGE_PITCH_ALIGNMENT:
    case CL_DEVICE_IMAGE_BASE_ADDRESS_ALIGNMENT:
        return writer.Value(cl_uint(1));
    default:
        return CDiagnostics::Refuse(CL_INVALID_VALUE, "param_name", "unknown");
    }
}
} // namespace XAN_Platform
