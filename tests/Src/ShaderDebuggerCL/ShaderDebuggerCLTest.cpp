// The OpenCL back-end on the emulated platform, reached through the ICD loader as an
// application reaches it: arguments of every kind, patched corpus kernels checked against the
// engine's execution trace, the global memory the kernel sees, the private queue, the release of
// every object, and the failure paths.

#include "CExecutionTrace.h"
#include "ShaderDebuggerBuffer.h"
#include "ShaderDebuggerCL/ShaderDebuggerDeviceBufferCL.h"
#include "ShaderDebuggerCL/ShaderDebuggerDeviceCL.h"
#include "ShaderDebuggerHostCL.h"
#include "Src/LogTail.h"
#include "cl_xan_ext.h"
#include "support/CorpusKernels.h"
#include "support/CorpusProgram.h"
#include "support/PatchDoubles.h"
#include "support/TestDebugger.h"
#include "support/TestSupport.h"
#include "xan_execution_trace.h"
#include "xan_live_objects.h"

#include <XANOpenCLDebug.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>

namespace
{
using namespace XAN_ShaderDebugger;
using ShaderUtils::SUBuffer;
using XAN_Test::CNordvaneDevice;

const char* const LOG_FILE = "XANOpenCLDebug.log";
const size_t ITEMS = 64;
const char* const STRAIGHT = "straight";

// One argument of every kind; the body leaves them all alone.
const std::string KINDS_IL = XAN_Test::ReadFile(XAN_TEST_DATA_DIR "/kinds.il");

// The platform's test entries, found in the library that the loader uses.
void* FindPlatformEntry(const char* pName)
{
    std::ifstream icd(std::string(XAN_ICD_VENDORS_DIR) + "/nordvane.icd");
    std::string strPath;
    std::getline(icd, strPath);
    void* pLibrary = dlopen(strPath.c_str(), RTLD_NOW | RTLD_LOCAL);
    return pLibrary != nullptr ? dlsym(pLibrary, pName) : nullptr;
}

size_t CountLiveObjects()
{
    static const PFN_xanPlatformCountLiveObjects pfnCount =
        reinterpret_cast<PFN_xanPlatformCountLiveObjects>(
            FindPlatformEntry(XAN_COUNT_LIVE_OBJECTS_NAME));
    EXPECT_NE(nullptr, pfnCount);
    return pfnCount != nullptr ? pfnCount() : 0;
}

// Files of the current directory whose names begin and end so.
size_t CountFiles(const std::string& strPrefix, const std::string& strSuffix)
{
    size_t nCount = 0;
    for (const std::filesystem::directory_entry& entry : std::filesystem::directory_iterator("."))
    {
        const std::string strName = entry.path().filename().string();
        nCount += strName.size() >= strPrefix.size() + strSuffix.size() &&
                          strName.compare(0, strPrefix.size(), strPrefix) == 0 &&
                          strName.compare(strName.size() - strSuffix.size(), strSuffix.size(),
                                          strSuffix) == 0
                      ? 1
                      : 0;
    }
    return nCount;
}

std::vector<uint8_t> Bytes(const SUBuffer& buffer)
{
    const uint8_t* pData = buffer.GetSubResource(0);
    return pData != nullptr ? std::vector<uint8_t>(pData, pData + buffer.GetDataSize())
                            : std::vector<uint8_t>();
}

std::vector<uint8_t> Pattern(size_t nSize, uint8_t nSeed)
{
    std::vector<uint8_t> vBytes(nSize);
    for (size_t i = 0; i < nSize; ++i)
    {
        vBytes[i] = static_cast<uint8_t>(nSeed + 7 * i);
    }
    return vBytes;
}

// A debugger that holds the global results the host reads, and the position that names the
// dumps of patched kernels.
class CResultsDebugger : public XAN_Test::CTestDebugger
{
public:
    using CTestDebugger::CTestDebugger;

    SUBuffer* GetGlobalResultsBuffer(const varID& request) override
    {
        auto it = m_Globals.find(request.strName);
        return request.nKind == 2 && it != m_Globals.end() ? it->second.get() : nullptr;
    }

    std::map<std::string, std::unique_ptr<CShaderDebuggerBuffer>> m_Globals;
};

class ShaderDebuggerCLTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { setenv("OCL_ICD_VENDORS", XAN_ICD_VENDORS_DIR, 0); }

    void SetUp() override { ASSERT_TRUE(m_Device.IsValid()); }

    void TearDown() override
    {
        m_vBuffers.clear();
        delete m_pHost;
        for (cl_mem mem : m_vMems)
        {
            clReleaseMemObject(mem);
        }
        if (m_Kernel != nullptr)
        {
            xanclInterceptReleaseKernel(m_Kernel);
        }
    }

    // A kernel tracked by the interception, from IL text or a program binary.
    cl_kernel MakeKernel(const std::string& strSource, const std::vector<char>& vBinary,
                         const std::string& strName, const char* pOptions = "-g")
    {
        std::string strLog;
        cl_program program = vBinary.empty() ? m_Device.Build(strSource, pOptions, strLog)
                                             : m_Device.Build(vBinary, pOptions, strLog);
        EXPECT_NE(nullptr, program) << strLog;
        cl_int nError = CL_SUCCESS;
        m_Kernel = program != nullptr
                       ? xanclInterceptCreateKernel(program, strName.c_str(), &nError)
                       : nullptr;
        clReleaseProgram(program);
        EXPECT_EQ(CL_SUCCESS, nError);
        return m_Kernel;
    }

    // The corpus kernel STRAIGHT, tracked, with its output buffer bound.
    void MakeStraight()
    {
        ASSERT_NE(nullptr, MakeKernel("", XAN_Test::ReadCorpusBinary(STRAIGHT), STRAIGHT, ""));
        const cl_mem out = MakeBuffer(std::vector<uint8_t>(4 * ITEMS));
        ASSERT_EQ(CL_SUCCESS, xanclInterceptSetKernelArg(m_Kernel, 0, sizeof(cl_mem), &out));
    }

    // The kernel run by the platform, its execution trace recorded.
    void RunTraced(XAN_Platform::CExecutionTrace& trace)
    {
        const PFN_xanPlatformRunTracedKernel pfnRun =
            reinterpret_cast<PFN_xanPlatformRunTracedKernel>(
                FindPlatformEntry(XAN_RUN_TRACED_KERNEL_NAME));
        ASSERT_NE(nullptr, pfnRun);
        const size_t nItems = ITEMS;
        ASSERT_EQ(CL_SUCCESS,
                  pfnRun(m_Device.GetQueue(), m_Kernel, 1, nullptr, &nItems, nullptr, &trace));
    }

    cl_mem Keep(cl_mem mem)
    {
        EXPECT_NE(nullptr, mem);
        m_vMems.push_back(mem);
        return mem;
    }

    cl_mem MakeBuffer(const std::vector<uint8_t>& vData, cl_mem_flags nFlags = CL_MEM_READ_WRITE)
    {
        cl_int nError = CL_SUCCESS;
        return Keep(clCreateBuffer(m_Device.GetContext(), nFlags | CL_MEM_COPY_HOST_PTR,
                                   vData.size(), const_cast<uint8_t*>(vData.data()), &nError));
    }

    cl_mem MakeImage(cl_mem_object_type nType, cl_channel_order nOrder, cl_channel_type nChannel,
                     size_t nWidth, size_t nHeight, size_t nDepth, std::vector<uint8_t>& vData,
                     cl_mem_flags nFlags = CL_MEM_READ_WRITE)
    {
        const cl_image_format format = {nOrder, nChannel};
        cl_image_desc desc = {};
        desc.image_type = nType;
        desc.image_width = nWidth;
        desc.image_height = nHeight;
        desc.image_depth = nDepth;
        cl_int nError = CL_SUCCESS;
        cl_mem image =
            clCreateImage(m_Device.GetContext(), nFlags, &format, &desc, nullptr, &nError);
        EXPECT_EQ(CL_SUCCESS, nError);
        size_t nElement = 0;
        clGetImageInfo(image, CL_IMAGE_ELEMENT_SIZE, sizeof(nElement), &nElement, nullptr);
        vData = Pattern(nElement * nWidth * nHeight * nDepth, static_cast<uint8_t>(nOrder));
        const size_t origin[3] = {0, 0, 0};
        const size_t region[3] = {nWidth, nHeight, nDepth};
        if ((nFlags & CL_MEM_HOST_NO_ACCESS) == 0)
        {
            EXPECT_EQ(CL_SUCCESS,
                      clEnqueueWriteImage(m_Device.GetQueue(), image, CL_TRUE, origin, region, 0, 0,
                                          vData.data(), 0, nullptr, nullptr));
        }
        return Keep(image);
    }

    // What the application reads back from a buffer or image.
    std::vector<uint8_t> Read(cl_mem mem)
    {
        cl_mem_object_type nType = 0;
        clGetMemObjectInfo(mem, CL_MEM_TYPE, sizeof(nType), &nType, nullptr);
        size_t nSize = 0;
        clGetMemObjectInfo(mem, CL_MEM_SIZE, sizeof(nSize), &nSize, nullptr);
        std::vector<uint8_t> vData(nSize);
        if (nType == CL_MEM_OBJECT_BUFFER)
        {
            EXPECT_EQ(CL_SUCCESS, clEnqueueReadBuffer(m_Device.GetQueue(), mem, CL_TRUE, 0, nSize,
                                                      vData.data(), 0, nullptr, nullptr));
            return vData;
        }
        size_t region[3] = {1, 1, 1};
        clGetImageInfo(mem, CL_IMAGE_WIDTH, sizeof(size_t), &region[0], nullptr);
        clGetImageInfo(mem, CL_IMAGE_HEIGHT, sizeof(size_t), &region[1], nullptr);
        clGetImageInfo(mem, CL_IMAGE_DEPTH, sizeof(size_t), &region[2], nullptr);
        size_t nElement = 0;
        clGetImageInfo(mem, CL_IMAGE_ELEMENT_SIZE, sizeof(nElement), &nElement, nullptr);
        for (size_t& n : region)
        {
            n = std::max<size_t>(n, 1);
        }
        vData.resize(nElement * region[0] * region[1] * region[2]);
        const size_t origin[3] = {0, 0, 0};
        EXPECT_EQ(CL_SUCCESS, clEnqueueReadImage(m_Device.GetQueue(), mem, CL_TRUE, origin, region,
                                                 0, 0, vData.data(), 0, nullptr, nullptr));
        return vData;
    }

    // A host over the kernel with a debugger that holds global results; the log goes to
    // LOG_FILE.
    CShaderDebuggerHostCL& MakeHost(cl_kernel kernel, size_t nItems = ITEMS)
    {
        m_pHost = new CShaderDebuggerHostCL(
            kernel, m_Device.GetQueue(), new CShaderDebuggerDeviceCL(kernel, m_Device.GetQueue()),
            LOG_FILE);
        m_pDebugger = new CResultsDebugger(m_pHost);
        m_pHost->RegisterDebugger(m_pDebugger);
        EXPECT_TRUE(m_pHost->SetEnqueueData(1, nullptr, &nItems, nullptr));
        return *m_pHost;
    }

    CShaderDebuggerDeviceCL& Device() { return *m_pHost->GetDeviceCL(); }

    // A device buffer of the debugger, bound to an argument of the patched kernel.
    CShaderDebuggerDeviceBufferCL* Bind(uint32_t nIndex, const BufferDesc& desc)
    {
        CShaderDebuggerDeviceBuffer* pBuffer = Device().CreateDeviceBuffer(desc);
        EXPECT_NE(nullptr, pBuffer);
        m_vBuffers.emplace_back(pBuffer);
        EXPECT_TRUE(Device().SetDeviceBuffer(0, nIndex, pBuffer));
        return static_cast<CShaderDebuggerDeviceBufferCL*>(pBuffer);
    }

    static BufferDesc Desc(BufferType type, BufferFormat format, uint32_t nWidth,
                           uint32_t nHeight = 0, uint32_t nDepth = 0, uint64_t nSize = 0)
    {
        BufferDesc desc;
        desc.m_Type = type;
        desc.m_Format = format;
        desc.m_nWidth = nWidth;
        desc.m_nHeight = nHeight;
        desc.m_nDepth = nDepth;
        desc.m_nSize = nSize;
        desc.m_nArraySize = 1;
        return desc;
    }

    // Runs a patched image of a corpus kernel on the private queue with the kernel's argument,
    // the result records and the flags bound; gives the records and the flags.
    void RunPatched(const std::vector<char>& vImage, size_t nResultRows,
                    std::vector<uint8_t>& vResults, std::vector<uint8_t>& vFlags)
    {
        ASSERT_TRUE(Device().SetShader(0, vImage.data(), vImage.size()));
        std::unique_ptr<CShaderDebuggerDeviceBuffer> pOut(Device().GetDeviceBuffer(0, 0));
        ASSERT_TRUE(Device().SetDeviceBuffer(0, 0, pOut.get()));
        CShaderDebuggerDeviceBufferCL* pResults =
            Bind(1, Desc(BT_Buffer, BF_Bytes, 0, 0, 1, 16 * nResultRows));
        CShaderDebuggerDeviceBufferCL* pFlags =
            Bind(2, Desc(BT_Buffer, BF_Bytes, 0, 0, 1, 4 * ITEMS));
        CShaderDebuggerDeviceBufferCL* pSelector = Bind(3, Desc(BT_Value, BF_Unknown, 0, 0, 0, 4));
        const uint32_t nSelector = 0;
        EXPECT_TRUE(pSelector->UpdateData(&nSelector, sizeof(nSelector)));
        EXPECT_TRUE(Device().SetDeviceBuffer(0, 3, pSelector));
        EXPECT_TRUE(pFlags->UpdateData(std::vector<uint8_t>(4 * ITEMS).data(), 4 * ITEMS));
        ASSERT_TRUE(m_pHost->ExecuteShader());
        std::unique_ptr<CShaderDebuggerBuffer> pResultData(pResults->GetDataBuffer(nullptr));
        std::unique_ptr<CShaderDebuggerBuffer> pFlagData(pFlags->GetDataBuffer(nullptr));
        ASSERT_TRUE(pResultData && pFlagData);
        vResults = Bytes(*pResultData);
        vFlags = Bytes(*pFlagData);
    }

    CNordvaneDevice m_Device;
    cl_kernel m_Kernel = nullptr;
    std::vector<cl_mem> m_vMems;
    CShaderDebuggerHostCL* m_pHost = nullptr;
    CResultsDebugger* m_pDebugger = nullptr;
    std::vector<std::unique_ptr<CShaderDebuggerDeviceBuffer>> m_vBuffers;
};
} // namespace

TEST_F(ShaderDebuggerCLTest, EveryArgumentKindSurvivesSnapshotModificationAndRestore)
{
    cl_kernel kernel = MakeKernel(KINDS_IL, {}, "kinds");
    ASSERT_NE(nullptr, kernel);
    std::map<uint32_t, std::vector<uint8_t>> contents;
    contents[0] = Pattern(256, 1);
    contents[1] = Pattern(64, 2);
    const cl_mem out = MakeBuffer(contents[0]);
    const cl_mem in = MakeBuffer(contents[1], CL_MEM_READ_ONLY);
    const cl_mem none = nullptr;
    const uint32_t k = 0x12345678;
    const float v[4] = {1.5f, -2.0f, 3.25f, 0.0f};
    const cl_mem rgba =
        MakeImage(CL_MEM_OBJECT_IMAGE2D, CL_RGBA, CL_UNORM_INT8, 5, 3, 1, contents[6]);
    const cl_mem r = MakeImage(CL_MEM_OBJECT_IMAGE2D, CL_R, CL_FLOAT, 4, 4, 1, contents[7]);
    const cl_mem volume =
        MakeImage(CL_MEM_OBJECT_IMAGE3D, CL_RG, CL_UNSIGNED_INT16, 3, 2, 2, contents[8]);
    const struct
    {
        size_t nSize;
        const void* pValue;
        BufferType type;
    } args[] = {{sizeof(cl_mem), &out, BT_Buffer},
                {sizeof(cl_mem), &in, BT_Buffer},
                {sizeof(cl_mem), &none, BT_Buffer},
                {256, nullptr, BT_LocalBuffer},
                {sizeof(k), &k, BT_Value},
                {sizeof(v), v, BT_Value},
                {sizeof(cl_mem), &rgba, BT_Image2D},
                {sizeof(cl_mem), &r, BT_Image2D},
                {sizeof(cl_mem), &volume, BT_Image3D}};
    for (uint32_t i = 0; i < 9; ++i)
    {
        ASSERT_EQ(CL_SUCCESS, xanclInterceptSetKernelArg(kernel, i, args[i].nSize, args[i].pValue));
    }
    CShaderDebuggerHostCL& host = MakeHost(kernel);
    ASSERT_EQ(9u, Device().GetNumDeviceBuffers(0));
    const std::vector<unsigned char>& vImage = host.GetKernelBinary();
    ASSERT_FALSE(vImage.empty());
    ASSERT_TRUE(Device().SetShader(0, vImage.data(), vImage.size()));

    for (uint32_t i = 0; i < 9; ++i)
    {
        SCOPED_TRACE("argument " + std::to_string(i));
        BufferDesc desc;
        ASSERT_TRUE(Device().GetDeviceBufferDesc(0, static_cast<int32_t>(i), &desc));
        EXPECT_EQ(args[i].type, desc.m_Type);
        std::unique_ptr<CShaderDebuggerDeviceBufferCL> pApp(
            static_cast<CShaderDebuggerDeviceBufferCL*>(Device().GetDeviceBuffer(0, i)));
        std::unique_ptr<CShaderDebuggerDeviceBufferCL> pCopy(
            static_cast<CShaderDebuggerDeviceBufferCL*>(Device().CreateDeviceBuffer(desc)));
        ASSERT_TRUE(pApp && pCopy);
        EXPECT_EQ(args[i].nSize, pApp->GetArgumentSize());
        EXPECT_EQ(args[i].nSize, pCopy->GetArgumentSize());

        if (desc.m_Type == BT_Value)
        {
            EXPECT_EQ(0, memcmp(args[i].pValue, pApp->GetDeviceBuffer(), args[i].nSize));
            EXPECT_TRUE(pCopy->UpdateData(pApp->GetDeviceBuffer(), args[i].nSize));
            EXPECT_EQ(0, memcmp(args[i].pValue, pCopy->GetDeviceBuffer(), args[i].nSize));
        }
        else if (desc.m_Type == BT_LocalBuffer)
        {
            EXPECT_EQ(nullptr, pApp->GetDeviceBuffer());
            EXPECT_EQ(nullptr, pCopy->GetDeviceBuffer());
        }
        else if (args[i].pValue == &none)
        {
            // A null buffer stays a null argument and has nothing to read or write.
            std::unique_ptr<CShaderDebuggerBuffer> pSnapshot(pApp->GetDataBuffer(nullptr));
            ASSERT_TRUE(pSnapshot);
            EXPECT_EQ(0u, pSnapshot->GetDataSize());
            EXPECT_EQ(nullptr, *static_cast<const cl_mem*>(pCopy->GetDeviceBuffer()));
            EXPECT_TRUE(pCopy->UpdateData(nullptr, 0));
        }
        else
        {
            const cl_mem mem = *static_cast<const cl_mem*>(args[i].pValue);
            std::unique_ptr<CShaderDebuggerBuffer> pSnapshot(pApp->GetDataBuffer(nullptr));
            ASSERT_TRUE(pSnapshot);
            const std::vector<uint8_t> vSnapshot = Bytes(*pSnapshot);
            EXPECT_EQ(contents[i], vSnapshot);
            // The working copy takes the snapshot and gives it back unchanged.
            EXPECT_TRUE(pCopy->UpdateData(vSnapshot.data(), vSnapshot.size()));
            std::unique_ptr<CShaderDebuggerBuffer> pCopyData(pCopy->GetDataBuffer(nullptr));
            ASSERT_TRUE(pCopyData);
            EXPECT_EQ(vSnapshot, Bytes(*pCopyData));
            // The application's object changes, and the snapshot restores it byte for byte.
            EXPECT_TRUE(pApp->Clear());
            EXPECT_EQ(std::vector<uint8_t>(vSnapshot.size(), 0xAA), Read(mem));
            EXPECT_TRUE(pApp->UpdateData(vSnapshot.data(), vSnapshot.size()));
            EXPECT_EQ(contents[i], Read(mem));
        }
        // The working copies stand in for the arguments of a run.
        EXPECT_TRUE(Device().SetDeviceBuffer(0, i, pCopy.get()));
        m_vBuffers.emplace_back(pCopy.release());
    }
    EXPECT_TRUE(host.ExecuteShader());
}

TEST_F(ShaderDebuggerCLTest, NewBuffersStartFilledAndNullDescriptorsMakeNullArguments)
{
    ASSERT_NE(nullptr, MakeKernel(KINDS_IL, {}, "kinds"));
    MakeHost(m_Kernel);
    const struct
    {
        BufferDesc desc;
        size_t nArgumentSize;
        uint64_t nDataSize;
        bool bZeroedOnTheDevice;
    } cases[] = {
        {Desc(BT_Buffer, BF_RGBA8, 3, 1, 1), sizeof(cl_mem), 12, true},
        {Desc(BT_Buffer, BF_Bytes, 0, 0, 1, 40), sizeof(cl_mem), 40, true},
        {Desc(BT_Buffer, BF_Bytes, 0, 0, 1, 7), sizeof(cl_mem), 7, true},
        {Desc(BT_Image2D, BF_RGBA32, 4, 2, 1), sizeof(cl_mem), 128, false},
        {Desc(BT_Image3D, BF_R16, 2, 3, 2), sizeof(cl_mem), 24, false},
        {Desc(BT_Value, BF_Unknown, 0, 0, 0, 12), 12, 12, false},
        {Desc(BT_LocalBuffer, BF_Unknown, 0, 0, 0, 64), 64, 0, false},
        // No extents and no size: a null buffer argument.
        {Desc(BT_Buffer, BF_Bytes, 0, 0, 0), sizeof(cl_mem), 0, false},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE("type " + std::to_string(c.desc.m_Type) + " format " +
                     std::to_string(c.desc.m_Format));
        std::unique_ptr<CShaderDebuggerDeviceBufferCL> pBuffer(
            static_cast<CShaderDebuggerDeviceBufferCL*>(Device().CreateDeviceBuffer(c.desc)));
        ASSERT_TRUE(pBuffer);
        EXPECT_EQ(c.nArgumentSize, pBuffer->GetArgumentSize());
        const uint8_t* pValue = static_cast<const uint8_t*>(pBuffer->GetDeviceBuffer());
        if (c.desc.m_Type == BT_Value)
        {
            EXPECT_EQ(std::vector<uint8_t>(12, 0xAA), std::vector<uint8_t>(pValue, pValue + 12));
        }
        else if (c.desc.m_Type == BT_LocalBuffer)
        {
            EXPECT_EQ(nullptr, pValue);
        }
        else
        {
            std::unique_ptr<CShaderDebuggerBuffer> pData(pBuffer->GetDataBuffer(nullptr));
            ASSERT_TRUE(pData);
            EXPECT_EQ(std::vector<uint8_t>(c.nDataSize, 0xAA), Bytes(*pData));
            EXPECT_EQ(c.nDataSize == 0, *reinterpret_cast<const cl_mem*>(pValue) == nullptr);
            // Zeroes are filled in on the device where it can; a second read goes into the
            // buffer of the first.
            EXPECT_EQ(c.bZeroedOnTheDevice, pBuffer->ZeroData());
            EXPECT_EQ(pData.get(), pBuffer->GetDataBuffer(pData.get()));
            EXPECT_EQ(std::vector<uint8_t>(c.nDataSize, c.bZeroedOnTheDevice ? 0 : 0xAA),
                      Bytes(*pData));
        }
        if (c.desc.m_Type == BT_Value || c.desc.m_Type == BT_LocalBuffer)
        {
            EXPECT_FALSE(pBuffer->ZeroData());
        }
    }
    // A buffer's size follows its format and extents, a height and depth of 0 counting as 1.
    std::unique_ptr<CShaderDebuggerDeviceBufferCL> pBuffer(
        static_cast<CShaderDebuggerDeviceBufferCL*>(
            Device().CreateDeviceBuffer(Desc(BT_Buffer, BF_RGBA8, 3, 0, 0))));
    ASSERT_TRUE(pBuffer);
    EXPECT_EQ(12u, pBuffer->GetDesc().m_nSize);
}

TEST_F(ShaderDebuggerCLTest, HostInaccessibleMemoryIsReachedThroughStaging)
{
    ASSERT_NE(nullptr, MakeKernel(KINDS_IL, {}, "kinds"));
    MakeHost(m_Kernel);
    const std::vector<uint8_t> vOriginal = Pattern(32, 9);
    const cl_mem hidden = MakeBuffer(vOriginal, CL_MEM_READ_WRITE | CL_MEM_HOST_NO_ACCESS);
    const BufferDesc desc = Desc(BT_Buffer, BF_Bytes, 0, 0, 1, 32);
    std::vector<uint8_t> vValue(sizeof(cl_mem));
    memcpy(vValue.data(), &hidden, sizeof(cl_mem));
    CShaderDebuggerDeviceBufferCL wrapper(&Device(), m_Device.GetDevice(), m_Device.GetContext(),
                                          m_pHost->GetCommandQueue(), vValue, sizeof(cl_mem), false,
                                          desc);
    std::unique_ptr<CShaderDebuggerBuffer> pData(wrapper.GetDataBuffer(nullptr));
    ASSERT_TRUE(pData);
    EXPECT_EQ(vOriginal, Bytes(*pData));
    const std::vector<uint8_t> vChanged = Pattern(32, 77);
    EXPECT_TRUE(wrapper.UpdateData(vChanged.data(), vChanged.size()));
    pData.reset(wrapper.GetDataBuffer(nullptr));
    ASSERT_TRUE(pData);
    EXPECT_EQ(vChanged, Bytes(*pData));
    // A size that differs writes what fits and reports the difference; through a staging
    // object the rest of the object takes the staging object's bytes.
    std::unique_ptr<CShaderDebuggerDeviceBuffer> pCopy(Device().CreateDeviceBuffer(desc));
    ASSERT_TRUE(pCopy);
    EXPECT_FALSE(pCopy->UpdateData(vOriginal.data(), 16));
    pData.reset(pCopy->GetDataBuffer(nullptr));
    ASSERT_TRUE(pData);
    std::vector<uint8_t> vExpected(vOriginal.begin(), vOriginal.begin() + 16);
    vExpected.resize(32, 0xAA);
    EXPECT_EQ(vExpected, Bytes(*pData));
}

TEST_F(ShaderDebuggerCLTest, APatchedCorpusKernelReturnsTheTracedValues)
{
    ASSERT_NO_FATAL_FAILURE(MakeStraight());
    XAN_Platform::CExecutionTrace trace;
    ASSERT_NO_FATAL_FAILURE(RunTraced(trace));
    std::map<uint32_t, std::map<uint32_t, const XAN_Platform::STraceRecord*>> records;
    for (const XAN_Platform::STraceRecord& record : trace.GetRecords())
    {
        records[record.nInstruction][record.nFlatIndex] = &record;
    }

    MakeHost(m_Kernel);
    XAN_Test::CPatchKernel patch(STRAIGHT, XAN_Test::LoadDebugBinary(STRAIGHT));
    size_t nChecked = 0;
    for (const char* pInstruction : {"imul r1.x, r0.xxxx, l0.xxxx", "ixor r1.x, r1.xxxx, r1.yyyy"})
    {
        SCOPED_TRACE(pInstruction);
        const ProgramCounter pc(patch.At(pInstruction));
        m_pDebugger->m_CurrentInstruction = pc;
        ASSERT_TRUE(patch.m_pShader->SwitchShader(
            pc, std::vector<Register>(1, patch.m_pShader->GetRegisterOutput(pc))));
        std::vector<uint8_t> vResults;
        std::vector<uint8_t> vFlags;
        RunPatched(patch.m_Host.m_vShaders.back(), ITEMS, vResults, vFlags);
        ASSERT_EQ(16 * ITEMS, vResults.size());
        for (uint32_t i = 0; i < ITEMS; ++i)
        {
            const XAN_Platform::STraceRecord& record = *records.at(pc.m_nPos).at(i);
            EXPECT_EQ(1u, reinterpret_cast<const uint32_t*>(vFlags.data())[i]);
            EXPECT_EQ(0, memcmp(record.vValue, vResults.data() + 16 * i, 16)) << "work-item " << i;
        }
        // Each patched kernel leaves its image, named by the counter and the position.
        char suffix[32];
        std::snprintf(suffix, sizeof(suffix), ".%03u.000.elf", pc.m_nPos);
        EXPECT_EQ(1u, CountFiles("patched.SetShader.", suffix));
        ++nChecked;
    }
    EXPECT_EQ(2u, nChecked);
}

TEST_F(ShaderDebuggerCLTest, RegionsAndGlobalMemoryAreWhatTheKernelSees)
{
    ASSERT_NO_FATAL_FAILURE(MakeStraight());
    CShaderDebuggerHostCL& host = MakeHost(m_Kernel);
    ASSERT_TRUE(host.InitDevice(nullptr, 0, nullptr, nullptr, 0));
    EXPECT_TRUE(host.IsTidalReefs());

    // The application's kernel on the private queue: the debugger's copy of its buffer.
    ASSERT_TRUE(host.ExecuteShader());
    std::unique_ptr<CShaderDebuggerDeviceBuffer> pOut(Device().GetDeviceBuffer(0, 0));
    m_pDebugger->m_Globals["m0"].reset(pOut->GetDataBuffer(nullptr));
    // The dump kernel's record: constant buffer 1 as the kernel reads it.
    XAN_Test::CPatchKernel patch(STRAIGHT, XAN_Test::LoadDebugBinary(STRAIGHT));
    void* pDump = nullptr;
    size_t nDumpSize = 0;
    ASSERT_TRUE(patch.m_pShader->CreateCBDumpShader(&pDump, &nDumpSize));
    const std::vector<char> vDump(static_cast<char*>(pDump), static_cast<char*>(pDump) + nDumpSize);
    std::free(pDump);
    std::vector<uint8_t> vCB1;
    std::vector<uint8_t> vFlags;
    RunPatched(vDump, 1, vCB1, vFlags);
    m_pDebugger->m_Globals["cb1"].reset(new CShaderDebuggerBuffer(m_pHost));
    ASSERT_TRUE(m_pDebugger->m_Globals["cb1"]->Create(
        Desc(BT_Buffer, BF_Bytes, 0, 0, 1, vCB1.size()), vCB1.data()));
    ASSERT_TRUE(host.InitKernelArgInfo(m_Kernel));

    size_t nRegions = 0;
    ASSERT_TRUE(host.GetValidGlobalMemoryRegions(0, nullptr, &nRegions));
    ASSERT_EQ(1u, nRegions);
    xanclDebugMemoryRegion region;
    ASSERT_TRUE(host.GetValidGlobalMemoryRegions(1, &region, &nRegions));
    EXPECT_EQ(11u, region.uavID);
    EXPECT_EQ(region.start + 4 * ITEMS - 1, region.end);
    EXPECT_FALSE(host.GetValidGlobalMemoryRegions(0, &region, &nRegions));

    // The address of each work-item's store, from the trace, holds what the kernel stored.
    XAN_Platform::CExecutionTrace trace;
    ASSERT_NO_FATAL_FAILURE(RunTraced(trace));
    const uint32_t nAddress = patch.At("i64add r2.zw, cb1[0].xyxy, r2.x0x0");
    const uint32_t nValue = patch.At("ixor r1.x, r1.xxxx, r1.yyyy");
    std::map<uint32_t, uint64_t> addresses;
    std::map<uint32_t, uint32_t> values;
    for (const XAN_Platform::STraceRecord& record : trace.GetRecords())
    {
        if (record.nInstruction == nAddress)
        {
            addresses[record.nFlatIndex] = record.vValue[2] | (uint64_t(record.vValue[3]) << 32);
        }
        if (record.nInstruction == nValue)
        {
            values[record.nFlatIndex] = record.vValue[0];
        }
    }
    ASSERT_EQ(ITEMS, addresses.size());
    EXPECT_EQ(region.start, addresses[0]);
    for (uint32_t i = 0; i < ITEMS; ++i)
    {
        uint32_t nSeen = 0;
        size_t nRead = 0;
        ASSERT_TRUE(host.GetGlobalMemory(11, addresses[i], 4, &nSeen, &nRead));
        EXPECT_EQ(4u, nRead);
        EXPECT_EQ(values[i], nSeen) << "work-item " << i;
    }
    // Past the region's end only its bytes come back; outside it nothing; without an output the
    // size of the buffer.
    uint8_t tail[8];
    size_t nRead = 0;
    EXPECT_TRUE(host.GetGlobalMemory(11, region.end - 1, sizeof(tail), tail, &nRead));
    EXPECT_EQ(2u, nRead);
    EXPECT_FALSE(host.GetGlobalMemory(11, region.end + 1, 4, tail, &nRead));
    EXPECT_FALSE(host.GetGlobalMemory(12, region.start, 4, tail, &nRead));
    EXPECT_TRUE(host.GetGlobalMemory(11, region.start + 8, 4, nullptr, &nRead));
    EXPECT_EQ(4 * ITEMS, nRead);
}

// The intercept callback of the test: runs a re-execution on the host's private queue while
// the application's command waits on the runtime's thread.
std::atomic<CShaderDebuggerHostCL*> g_pInterceptHost(nullptr);
std::atomic<int> g_nInterceptRuns(0);

bool CL_CALLBACK RunOnPrivateQueue(cl_event, cl_int* pStatus)
{
    CShaderDebuggerHostCL* pHost = g_pInterceptHost.load();
    if (pHost != nullptr && pHost->ExecuteShader() && pHost->ExecuteShader())
    {
        ++g_nInterceptRuns;
    }
    *pStatus = CL_SUCCESS;
    return true;
}

TEST_F(ShaderDebuggerCLTest, ThePrivateQueueRunsWhileTheApplicationQueueIsBlocked)
{
    cl_device_id device = m_Device.GetDevice();
    const cl_context_properties properties[] = {
        CL_CONTEXT_INTERCEPT_CALLBACK_XAN,
        reinterpret_cast<cl_context_properties>(RunOnPrivateQueue), 0};
    cl_int nError = CL_SUCCESS;
    cl_context context = clCreateContext(properties, 1, &device, nullptr, nullptr, &nError);
    ASSERT_EQ(CL_SUCCESS, nError);
    cl_command_queue queue = clCreateCommandQueue(context, device, CL_QUEUE_INTERCEPT_XAN, &nError);
    ASSERT_EQ(CL_SUCCESS, nError);
    const std::vector<char> vBinary = XAN_Test::ReadCorpusBinary(STRAIGHT);
    const unsigned char* pBinary = reinterpret_cast<const unsigned char*>(vBinary.data());
    const size_t nLength = vBinary.size();
    cl_program program =
        clCreateProgramWithBinary(context, 1, &device, &nLength, &pBinary, nullptr, &nError);
    ASSERT_EQ(CL_SUCCESS, clBuildProgram(program, 1, &device, "", nullptr, nullptr));
    m_Kernel = xanclInterceptCreateKernel(program, STRAIGHT, &nError);
    clReleaseProgram(program);
    cl_mem out = clCreateBuffer(context, CL_MEM_READ_WRITE, 4 * ITEMS, nullptr, &nError);
    m_vMems.push_back(out);
    ASSERT_EQ(CL_SUCCESS, xanclInterceptSetKernelArg(m_Kernel, 0, sizeof(cl_mem), &out));

    m_pHost = new CShaderDebuggerHostCL(m_Kernel, queue,
                                        new CShaderDebuggerDeviceCL(m_Kernel, queue), "");
    const size_t nItems = ITEMS;
    ASSERT_TRUE(m_pHost->SetEnqueueData(1, nullptr, &nItems, nullptr));
    ASSERT_NE(nullptr, m_pHost->GetCommandQueue());
    g_pInterceptHost = m_pHost;
    ASSERT_EQ(CL_SUCCESS, clEnqueueNDRangeKernel(queue, m_Kernel, 1, nullptr, &nItems, nullptr, 0,
                                                 nullptr, nullptr));
    EXPECT_EQ(CL_SUCCESS, clFinish(queue));
    g_pInterceptHost = nullptr;
    EXPECT_EQ(1, g_nInterceptRuns.load());
    clReleaseCommandQueue(queue);
    clReleaseContext(context);
}

TEST_F(ShaderDebuggerCLTest, EveryObjectTheBackEndCreatesIsReleased)
{
    ASSERT_NO_FATAL_FAILURE(MakeStraight());
    clFinish(m_Device.GetQueue());
    const size_t nBefore = CountLiveObjects();
    {
        MakeHost(m_Kernel);
        XAN_Test::CPatchKernel patch(STRAIGHT, XAN_Test::LoadDebugBinary(STRAIGHT));
        const ProgramCounter pc(patch.At("ixor r1.x, r1.xxxx, r1.yyyy"));
        ASSERT_TRUE(patch.m_pShader->SwitchShader(
            pc, std::vector<Register>(1, patch.m_pShader->GetRegisterOutput(pc))));
        std::vector<uint8_t> vResults;
        std::vector<uint8_t> vFlags;
        // Two builds, so that the first patched kernel is released by the second.
        RunPatched(patch.m_Host.m_vShaders.back(), ITEMS, vResults, vFlags);
        RunPatched(patch.m_Host.m_vShaders.back(), ITEMS, vResults, vFlags);
        EXPECT_GT(CountLiveObjects(), nBefore);
        m_vBuffers.clear();
        delete m_pHost;
        m_pHost = nullptr;
    }
    EXPECT_EQ(nBefore, CountLiveObjects());
}

TEST_F(ShaderDebuggerCLTest, FailuresReachTheLogWithTheirCodes)
{
    // A kernel built without debug IL gives no binary.
    ASSERT_NE(nullptr, MakeKernel(KINDS_IL, {}, "kinds", ""));
    CShaderDebuggerHostCL& host = MakeHost(m_Kernel);
    XAN_Test::CLogTail<APIUsageLog> usage("XANOpenCLDebugAPIUsage.log");
    const size_t nLogStart = XAN_Test::ReadFile(LOG_FILE).size();
    EXPECT_TRUE(host.GetKernelBinary().empty());
    EXPECT_FALSE(host.InitDevice(nullptr, 0, nullptr, nullptr, 0));

    // A patched image that the platform refuses: its build log reaches the debugger log.
    xanclInterceptReleaseKernel(m_Kernel);
    delete m_pHost;
    m_pHost = nullptr;
    ASSERT_NE(nullptr, MakeKernel(KINDS_IL, {}, "kinds"));
    MakeHost(m_Kernel);
    std::vector<char> vImage(m_pHost->GetKernelBinary().begin(), m_pHost->GetKernelBinary().end());
    ASSERT_TRUE(XAN_ElfUtils::FindAndReplaceInDebugIL(vImage, "ret", "no_such_op"));
    EXPECT_FALSE(Device().SetShader(0, vImage.data(), vImage.size()));
    // The kernel left is the application's.
    EXPECT_EQ(m_Kernel, Device().GetShader(0));
    // Kernels have no shader handles: creating, binding and releasing one are refused.
    void* pHandle = nullptr;
    EXPECT_FALSE(Device().CreateShader(0, vImage.data(), 0, &pHandle));
    EXPECT_EQ(nullptr, pHandle);
    EXPECT_FALSE(Device().SetShader(0, m_Kernel, 0));
    Device().ReleaseShader(m_Kernel);
    EXPECT_EQ(m_Kernel, Device().GetShader(0));

    // An allocation the platform can't give.
    EXPECT_EQ(nullptr, Device().CreateDeviceBuffer(Desc(BT_Buffer, BF_Bytes, 0, 0, 1, 1ull << 50)));
    // A work-group above the kernel's limit.
    const size_t nGlobal = 4096;
    const size_t nLocal = 4096;
    ASSERT_TRUE(m_pHost->SetEnqueueData(1, nullptr, &nGlobal, &nLocal));
    EXPECT_FALSE(m_pHost->ExecuteShader());

    const std::string strLog = XAN_Test::ReadFile(LOG_FILE).substr(nLogStart);
    for (const char* pText :
         {"Error:   XAN_ShaderDebugger::CShaderDebuggerDeviceCL::GetShaderData(), ",
          "Failed to get metadata from ELF", "no_such_op", "Error: clBuildProgram() failed.",
          "Could not allocate CL memory", "Assert:  shouldn't be using this function"})
    {
        EXPECT_NE(std::string::npos, strLog.find(pText)) << pText << " in\n" << strLog;
    }
    EXPECT_EQ(1u, usage.Count("CLD_Break( \"Error: Local group size is too large.\" )"));

    // A host made by the factory with a type that has no debugger is still a host; the log
    // ends with its closing banner.
    std::unique_ptr<CShaderDebuggerHostCL> pBare(CShaderDebuggerHostCL::CreateShaderDebuggerHostCL(
        6, m_Kernel, m_Device.GetQueue(), std::string()));
    ASSERT_TRUE(pBare);
    EXPECT_EQ(0u, pBare->GetLogLevel());
    delete m_pHost;
    m_pHost = nullptr;
    const std::string strEnd = XAN_Test::ReadFile(LOG_FILE).substr(nLogStart + strLog.size());
    EXPECT_EQ(0u, strEnd.find("\n***********************************\nLog ended: "));
    EXPECT_EQ(0u, XAN_Test::ReadFile(LOG_FILE).find(
                      "\n*************************************\nLog started: "));
}

TEST(ShaderDebuggerDeviceCLTest, TheRuntimeBuildIsTheNumberInTheLastBrackets)
{
    const struct
    {
        const char* pVersion;
        int32_t nBuild;
    } cases[] = {{"OpenCL 1.2 XAN (1445.5)", 1445},
                 {"OpenCL 1.2 (1499)", 1499},
                 {"OpenCL 1.2 (x) (1500.1)", 1500},
                 {"OpenCL 1.2 XAN", 0},
                 {"OpenCL 1.2 ()", 0},
                 {"OpenCL 1.2 )2000(", 0}};
    for (const auto& c : cases)
    {
        EXPECT_EQ(c.nBuild, CShaderDebuggerDeviceCL::GetRuntimeBuild(c.pVersion)) << c.pVersion;
    }
}
