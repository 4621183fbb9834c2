// OpenCL C kernels of the kinds real applications contain, compiled from source by the platform
// and run through the ICD loader, against host references; where PoCL is installed the same
// source and inputs run there too and must agree.
#include "ICDTestSupport.h"
#include "support/TestSupport.h"

#include <CL/cl.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>

using namespace XAN_Test;

namespace
{
std::string ReadCorpus(const std::string& strName)
{
    return ReadFile(std::string(XAN_CLC_CORPUS_DIR) + "/" + strName);
}

template <class T> std::vector<uint8_t> Bytes(const std::vector<T>& v)
{
    std::vector<uint8_t> vBytes(v.size() * sizeof(T));
    std::memcpy(vBytes.data(), v.data(), vBytes.size());
    return vBytes;
}

template <class T> std::vector<T> Values(const std::vector<uint8_t>& vBytes)
{
    std::vector<T> v(vBytes.size() / sizeof(T));
    std::memcpy(v.data(), vBytes.data(), v.size() * sizeof(T));
    return v;
}

// One argument of a launch: a buffer with its initial bytes, a value, or local memory.
struct SArg
{
    enum EKind
    {
        AK_Buffer,
        AK_Value,
        AK_Local
    } eKind;
    std::vector<uint8_t> vBytes;
    size_t nLocalBytes = 0;
};

template <class T> SArg Buffer(const std::vector<T>& v)
{
    return SArg{SArg::AK_Buffer, Bytes(v), 0};
}

template <class T> SArg Value(T value)
{
    return SArg{SArg::AK_Value, Bytes(std::vector<T>{value}), 0};
}

SArg Local(size_t nBytes)
{
    return SArg{SArg::AK_Local, {}, nBytes};
}

struct SLaunch
{
    std::string strFile;
    std::string strKernel;
    std::vector<SArg> vArgs;
    std::vector<size_t> vGlobal;
    std::vector<size_t> vLocal;
    std::string strOptions;
};

// Builds the corpus file on the platform's first device, runs the kernel once and returns the
// contents of every buffer argument afterwards (empty ones for the other arguments).
bool RunLaunch(cl_platform_id platform, const SLaunch& launch,
               std::vector<std::vector<uint8_t>>& vOut, std::string& strLog)
{
    cl_device_id device = FirstDevice(platform, CL_DEVICE_TYPE_ALL);
    cl_int nError = CL_SUCCESS;
    cl_context context = clCreateContext(nullptr, 1, &device, nullptr, nullptr, &nError);
    cl_command_queue queue = clCreateCommandQueue(context, device, 0, &nError);
    const std::string strSource = ReadCorpus(launch.strFile);
    const char* pText = strSource.c_str();
    cl_program program = clCreateProgramWithSource(context, 1, &pText, nullptr, &nError);
    bool bOk = clBuildProgram(program, 1, &device, launch.strOptions.c_str(), nullptr, nullptr) ==
               CL_SUCCESS;
    size_t nSize = 0;
    clGetProgramBuildInfo(program, device, CL_PROGRAM_BUILD_LOG, 0, nullptr, &nSize);
    strLog.assign(nSize, '\0');
    clGetProgramBuildInfo(program, device, CL_PROGRAM_BUILD_LOG, nSize, &strLog[0], nullptr);
    cl_kernel kernel = bOk ? clCreateKernel(program, launch.strKernel.c_str(), &nError) : nullptr;
    bOk = bOk && kernel != nullptr;
    std::vector<cl_mem> vBuffers;
    for (cl_uint i = 0; bOk && i < launch.vArgs.size(); ++i)
    {
        const SArg& arg = launch.vArgs[i];
        if (arg.eKind == SArg::AK_Buffer)
        {
            cl_mem buffer =
                clCreateBuffer(context, CL_MEM_READ_WRITE | CL_MEM_COPY_HOST_PTR, arg.vBytes.size(),
                               const_cast<uint8_t*>(arg.vBytes.data()), &nError);
            vBuffers.push_back(buffer);
            bOk = clSetKernelArg(kernel, i, sizeof(cl_mem), &buffer) == CL_SUCCESS;
        }
        else
        {
            vBuffers.push_back(nullptr);
            bOk =
                arg.eKind == SArg::AK_Value
                    ? clSetKernelArg(kernel, i, arg.vBytes.size(), arg.vBytes.data()) == CL_SUCCESS
                    : clSetKernelArg(kernel, i, arg.nLocalBytes, nullptr) == CL_SUCCESS;
        }
    }
    bOk = bOk && clEnqueueNDRangeKernel(queue, kernel, cl_uint(launch.vGlobal.size()), nullptr,
                                        launch.vGlobal.data(),
                                        launch.vLocal.empty() ? nullptr : launch.vLocal.data(), 0,
                                        nullptr, nullptr) == CL_SUCCESS;
    vOut.assign(launch.vArgs.size(), {});
    for (size_t i = 0; bOk && i < vBuffers.size(); ++i)
    {
        if (vBuffers[i] != nullptr)
        {
            vOut[i].resize(launch.vArgs[i].vBytes.size());
            bOk = clEnqueueReadBuffer(queue, vBuffers[i], CL_TRUE, 0, vOut[i].size(),
                                      vOut[i].data(), 0, nullptr, nullptr) == CL_SUCCESS;
        }
    }
    for (cl_mem buffer : vBuffers)
    {
        if (buffer != nullptr)
        {
            clReleaseMemObject(buffer);
        }
    }
    if (kernel != nullptr)
    {
        clReleaseKernel(kernel);
    }
    clReleaseProgram(program);
    clReleaseCommandQueue(queue);
    clReleaseContext(context);
    return bOk;
}

// How the results of two implementations may differ: not at all for integers, by a relative
// error for floating point (the built-ins' error bounds, summed over the kernel's operations).
enum ECompare
{
    CMP_Exact,
    CMP_Float,
    CMP_Double,
    CMP_Host // depends on the order in which atomics ran: checked against the host reference only
};

void ExpectClose(const std::vector<uint8_t>& vExpected, const std::vector<uint8_t>& vActual,
                 ECompare eCompare, const std::string& strWhat)
{
    ASSERT_EQ(vExpected.size(), vActual.size()) << strWhat;
    if (eCompare == CMP_Host)
    {
        return;
    }
    if (eCompare == CMP_Exact)
    {
        EXPECT_TRUE(vExpected == vActual) << strWhat;
        return;
    }
    auto check = [&strWhat](auto expected, auto actual)
    {
        for (size_t i = 0; i < expected.size(); ++i)
        {
            // Equal infinities, and NaN against NaN whatever its bits, agree.
            if (expected[i] == actual[i] || (std::isnan(expected[i]) && std::isnan(actual[i])))
            {
                continue;
            }
            const double dTolerance = 1e-5 * std::max(1.0, std::fabs(double(expected[i])));
            ASSERT_NEAR(double(expected[i]), double(actual[i]), dTolerance)
                << strWhat << " element " << i;
        }
    };
    if (eCompare == CMP_Float)
    {
        check(Values<float>(vExpected), Values<float>(vActual));
    }
    else
    {
        check(Values<double>(vExpected), Values<double>(vActual));
    }
}

// Runs the launch here, and on PoCL if it is there; vCompare says how each buffer compares.
std::vector<std::vector<uint8_t>> RunEverywhere(const SLaunch& launch,
                                                const std::vector<ECompare>& vCompare)
{
    std::vector<std::vector<uint8_t>> vOut;
    std::string strLog;
    cl_platform_id platform = NordvanePlatform();
    EXPECT_NE(nullptr, platform);
    if (platform == nullptr || !RunLaunch(platform, launch, vOut, strLog))
    {
        ADD_FAILURE() << launch.strFile << ": " << strLog;
        return {};
    }
    cl_platform_id pocl = PoclPlatform();
    if (pocl == nullptr)
    {
        return vOut;
    }
    std::vector<std::vector<uint8_t>> vPocl;
    EXPECT_TRUE(RunLaunch(pocl, launch, vPocl, strLog)) << "PoCL: " << strLog;
    for (size_t i = 0; i < vPocl.size() && i < vOut.size(); ++i)
    {
        ExpectClose(vPocl[i], vOut[i], i < vCompare.size() ? vCompare[i] : CMP_Exact,
                    launch.strKernel + " argument " + std::to_string(i) + " against PoCL");
    }
    return vOut;
}

template <class T> std::vector<T> RandomValues(size_t nCount, T low, T high, unsigned nSeed)
{
    std::mt19937 engine(nSeed);
    std::vector<T> v(nCount);
    for (T& x : v)
    {
        if constexpr (std::is_floating_point<T>::value)
        {
            x = std::uniform_real_distribution<T>(low, high)(engine);
        }
        else
        {
            x = T(std::uniform_int_distribution<int64_t>(int64_t(low), int64_t(high))(engine));
        }
    }
    return v;
}
// A conversion with saturation: NaN to 0, the ends of the range beyond it.
template <class T> T Saturated(double x)
{
    if (std::isnan(x))
    {
        return 0;
    }
    if (x >= std::ldexp(1.0, std::numeric_limits<T>::digits))
    {
        return std::numeric_limits<T>::max();
    }
    return x < double(std::numeric_limits<T>::min()) ? std::numeric_limits<T>::min() : T(x);
}

// What sort8 leaves: each run of eight values sorted.
std::vector<int32_t> SortedByEights(std::vector<int32_t> v)
{
    for (size_t i = 0; i < v.size(); i += 8)
    {
        std::sort(v.begin() + long(i), v.begin() + long(i) + 8);
    }
    return v;
}
} // namespace

TEST(CLCCorpusTest, VectorAddWithEarlyReturn)
{
    const int n = 1000;
    const std::vector<float> a = RandomValues<float>(1024, -10, 10, 1);
    const std::vector<float> b = RandomValues<float>(1024, -10, 10, 2);
    const auto vOut =
        RunEverywhere({"arith.cl",
                       "vadd",
                       {Buffer(a), Buffer(b), Buffer(std::vector<float>(1024, -1.0f)), Value(n)},
                       {1024},
                       {64},
                       ""},
                      {CMP_Exact, CMP_Exact, CMP_Exact});
    ASSERT_EQ(4u, vOut.size());
    const std::vector<float> c = Values<float>(vOut[2]);
    for (int i = 0; i < 1024; ++i)
    {
        ASSERT_EQ(i < n ? a[i] + b[i] : -1.0f, c[i]) << i;
    }
}

TEST(CLCCorpusTest, Saxpy)
{
    const std::vector<float> x = RandomValues<float>(512, -1, 1, 3);
    const std::vector<float> y = RandomValues<float>(512, -1, 1, 4);
    const auto vOut = RunEverywhere(
        {"arith.cl", "saxpy", {Value(2.5f), Buffer(x), Buffer(y)}, {512}, {}, "-cl-mad-enable"},
        {CMP_Exact, CMP_Exact, CMP_Float});
    ASSERT_EQ(3u, vOut.size());
    const std::vector<float> result = Values<float>(vOut[2]);
    for (size_t i = 0; i < x.size(); ++i)
    {
        ASSERT_NEAR(2.5f * x[i] + y[i], result[i], 1e-6f) << i;
    }
}

TEST(CLCCorpusTest, ReductionInLocalMemory)
{
    const uint32_t n = 1000;
    const std::vector<uint32_t> in = RandomValues<uint32_t>(1024, 0, 100000, 5);
    const auto vOut = RunEverywhere(
        {"reduce.cl",
         "reduce",
         {Buffer(in), Buffer(std::vector<uint32_t>(16, 7)), Local(64 * sizeof(uint32_t)), Value(n)},
         {1024},
         {64},
         ""},
        {});
    ASSERT_EQ(4u, vOut.size());
    const std::vector<uint32_t> sums = Values<uint32_t>(vOut[1]);
    for (size_t g = 0; g < 16; ++g)
    {
        uint32_t nSum = 0;
        for (size_t i = g * 64; i < (g + 1) * 64 && i < n; ++i)
        {
            nSum += in[i];
        }
        EXPECT_EQ(nSum, sums[g]) << "group " << g;
    }
}

TEST(CLCCorpusTest, TiledMatrixMultiply)
{
    const int n = 32;
    const std::vector<float> a = RandomValues<float>(n * n, -1, 1, 6);
    const std::vector<float> b = RandomValues<float>(n * n, -1, 1, 7);
    const auto vOut =
        RunEverywhere({"matmul.cl",
                       "matmul",
                       {Buffer(a), Buffer(b), Buffer(std::vector<float>(n * n)), Value(n)},
                       {size_t(n), size_t(n)},
                       {8, 8},
                       "-DTILE=8"},
                      {CMP_Exact, CMP_Exact, CMP_Float});
    ASSERT_EQ(4u, vOut.size());
    const std::vector<float> c = Values<float>(vOut[2]);
    for (int row = 0; row < n; ++row)
    {
        for (int col = 0; col < n; ++col)
        {
            float fSum = 0.0f;
            for (int k = 0; k < n; ++k)
            {
                fSum += a[row * n + k] * b[k * n + col];
            }
            ASSERT_NEAR(fSum, c[row * n + col], 1e-4f) << row << "," << col;
        }
    }
}

TEST(CLCCorpusTest, HistogramWithAtomics)
{
    const int n = 1000;
    const std::vector<uint8_t> data = RandomValues<uint8_t>(1024, 0, 255, 8);
    std::vector<uint32_t> expected(16, 0);
    std::vector<uint32_t> expectedHigh(16, 0);
    for (int i = 0; i < 1024; ++i)
    {
        expected[data[i] % 16] += i < n ? 1 : 0;
        expectedHigh[data[i] >> 4] += 1;
    }
    auto vOut = RunEverywhere({"histogram.cl",
                               "histogram",
                               {Buffer(data), Buffer(std::vector<uint32_t>(16)), Value(n)},
                               {1024},
                               {},
                               ""},
                              {});
    ASSERT_EQ(3u, vOut.size());
    EXPECT_EQ(expected, Values<uint32_t>(vOut[1]));

    vOut = RunEverywhere(
        {"histogram.cl",
         "histogram_local",
         {Buffer(data), Buffer(std::vector<uint32_t>(16)), Buffer(std::vector<uint32_t>(16))},
         {1024},
         {128},
         ""},
        {});
    ASSERT_EQ(3u, vOut.size());
    EXPECT_EQ(expectedHigh, Values<uint32_t>(vOut[1]));
    // The returned old values: the largest running total of each bin is the bin's total.
    EXPECT_EQ(expectedHigh, Values<uint32_t>(vOut[2]));
}

namespace
{
int Classify(int v)
{
    switch (v & 7)
    {
    case 0:
        return 11;
    case 1:
        return 1;
    case 2:
    case 3:
        return 20;
    default:
        return -v;
    }
}
} // namespace

TEST(CLCCorpusTest, SwitchLoopsAndReturns)
{
    const auto vOut = RunEverywhere(
        {"control.cl", "control", {Buffer(std::vector<int32_t>(64))}, {64}, {}, ""}, {});
    ASSERT_EQ(1u, vOut.size());
    const std::vector<int32_t> out = Values<int32_t>(vOut[0]);
    for (int i = 0; i < 64; ++i)
    {
        int nAcc = 0;
        for (int j = 0; j < 8; ++j)
        {
            if (j == i % 5)
            {
                continue;
            }
            for (int k = 0; k <= j; ++k)
            {
                nAcc += Classify(i + j + k);
            }
            if (nAcc > 500 + i)
            {
                break;
            }
        }
        int d = 0;
        do
        {
            d += 3;
        } while (d < i);
        const int nMultiple = (i + 6) / 7 * 7;
        EXPECT_EQ(nAcc * 1000 + d + nMultiple * 100000, out[i]) << i;
    }
}

TEST(CLCCorpusTest, StructsInBuffers)
{
    struct SItem
    {
        float x;
        int32_t n;
        float v[2];
    };
    std::vector<SItem> items(64);
    for (int i = 0; i < 64; ++i)
    {
        items[i] = SItem{float(i) * 0.25f, i * 3, {1.0f, 0.5f}};
    }
    const auto vOut = RunEverywhere(
        {"structs.cl", "structs", {Buffer(items), Buffer(std::vector<float>(64))}, {64}, {}, ""},
        {CMP_Exact, CMP_Float});
    ASSERT_EQ(2u, vOut.size());
    const std::vector<SItem> after = Values<SItem>(vOut[0]);
    const std::vector<float> out = Values<float>(vOut[1]);
    for (int i = 0; i < 64; ++i)
    {
        EXPECT_EQ(items[i].n + i, after[i].n) << i;
        EXPECT_EQ(items[i].x, after[i].x) << i;
        EXPECT_EQ(items[i].x * 2.0f + 0.5f + float(items[i].n), out[i]) << i;
    }
}

TEST(CLCCorpusTest, VectorsSwizzlesAndVloadVstore)
{
    const std::vector<float> a = RandomValues<float>(64 * 4, 0, 1, 9);
    const std::vector<float> packed = RandomValues<float>(64 * 3, 0, 1, 10);
    const auto vOut = RunEverywhere({"vectors.cl",
                                     "vectors",
                                     {Buffer(a), Buffer(std::vector<float>(64 * 4)),
                                      Buffer(std::vector<int32_t>(64)), Buffer(packed)},
                                     {64},
                                     {},
                                     ""},
                                    {CMP_Exact, CMP_Float, CMP_Exact, CMP_Float});
    ASSERT_EQ(4u, vOut.size());
    const std::vector<float> b = Values<float>(vOut[1]);
    const std::vector<int32_t> c = Values<int32_t>(vOut[2]);
    const std::vector<float> stored = Values<float>(vOut[3]);
    for (int i = 0; i < 64; ++i)
    {
        const float* v = &a[i * 4];
        float w[4] = {v[3] * 2 + 1, v[2] * 2 + 2, v[1] * 2 + 3, v[0] * 2 + 4};
        std::swap(w[0], w[1]);
        const float fDot = ((v[0] * v[0] + v[1] * v[1]) + v[2] * v[2]) + v[3] * v[3];
        int nMask = 0;
        for (int l = 0; l < 4; ++l)
        {
            EXPECT_NEAR(w[l] + fDot, b[i * 4 + l], 1e-5f) << i << "." << l;
            nMask -= v[l] > 0.5f ? (1 << l) : 0;
        }
        EXPECT_EQ(nMask, c[i]) << i;
        for (int l = 0; l < 3; ++l)
        {
            EXPECT_EQ(w[l] + packed[i * 3 + l], stored[i * 3 + l]) << i << "." << l;
        }
    }
}

TEST(CLCCorpusTest, IntegerWidthsDoublesAndBits)
{
    const std::vector<int64_t> a =
        RandomValues<int64_t>(64, -(int64_t(1) << 40), int64_t(1) << 40, 11);
    const std::vector<double> d = RandomValues<double>(64, 0, 1000, 12);
    const std::vector<uint8_t> c = RandomValues<uint8_t>(64, 0, 255, 13);
    const auto vOut =
        RunEverywhere({"types.cl",
                       "types",
                       {Buffer(a), Buffer(d), Buffer(c), Buffer(std::vector<int64_t>(64)),
                        Buffer(std::vector<double>(64)), Buffer(std::vector<int16_t>(64)),
                        Buffer(std::vector<uint32_t>(64))},
                       {64},
                       {},
                       ""},
                      {CMP_Exact, CMP_Exact, CMP_Exact, CMP_Exact, CMP_Double});
    ASSERT_EQ(7u, vOut.size());
    const std::vector<int64_t> outl = Values<int64_t>(vOut[3]);
    const std::vector<double> outd = Values<double>(vOut[4]);
    const std::vector<int16_t> outs = Values<int16_t>(vOut[5]);
    const std::vector<uint32_t> outu = Values<uint32_t>(vOut[6]);
    for (int i = 0; i < 64; ++i)
    {
        const int64_t x = a[i];
        EXPECT_EQ((x * 3 - (x >> 2)) / 7 + int64_t(c[i]) + (x ^ 0x5555) % 1000, outl[i]) << i;
        EXPECT_EQ(std::sqrt(d[i]) * 2.0 + double(i), outd[i]) << i;
        EXPECT_EQ(int16_t(c[i] * 300), outs[i]) << i;
        const float f = float(c[i]);
        uint32_t u = 0;
        std::memcpy(&u, &f, sizeof(u));
        const uint32_t nRotated = (u << 5) | (u >> 27);
        const uint32_t nClz = u == 0 ? 32u : uint32_t(__builtin_clz(u));
        EXPECT_EQ(nRotated ^ uint32_t(__builtin_popcount(u)) ^ (nClz << 24) ^
                      uint32_t(int32_t(int8_t(c[i]))),
                  outu[i])
            << i;
    }
}

TEST(CLCCorpusTest, PointersMovedBySignedUnsignedAndNegativeIndexes)
{
    const std::vector<int16_t> s = RandomValues<int16_t>(64, -30000, 30000, 21);
    const std::vector<int64_t> l = RandomValues<int64_t>(64, -100000, 100000, 22);
    const std::vector<float> v = RandomValues<float>(4 * 64, -1000, 1000, 23);
    const auto vOut =
        RunEverywhere({"indexing.cl",
                       "indexing",
                       {Buffer(s), Buffer(l), Buffer(v), Buffer(std::vector<int32_t>(5 * 64))},
                       {64},
                       {},
                       ""},
                      {});
    ASSERT_EQ(4u, vOut.size());
    const std::vector<int32_t> out = Values<int32_t>(vOut[3]);
    for (int i = 0; i < 64; ++i)
    {
        const std::vector<int32_t> vExpected = {s[63 - i], int32_t(l[i]), s[i], 2 * s[63 - i],
                                                int32_t(v[4 * i + 1])};
        EXPECT_EQ(vExpected, std::vector<int32_t>(out.begin() + 5 * i, out.begin() + 5 * i + 5))
            << i;
    }
}

TEST(CLCCorpusTest, PrivateArraySort)
{
    const std::vector<int32_t> in = RandomValues<int32_t>(32 * 8, -1000, 1000, 14);
    const auto vOut = RunEverywhere(
        {"sort.cl", "sort8", {Buffer(in), Buffer(std::vector<int32_t>(32 * 8))}, {32}, {}, ""}, {});
    ASSERT_EQ(2u, vOut.size());
    EXPECT_EQ(SortedByEights(in), Values<int32_t>(vOut[1]));
}

TEST(CLCCorpusTest, WideCharDoubleAndLongVectors)
{
    const int n = 16;
    const std::vector<float> a = RandomValues<float>(n * 8, 0, 1, 15);
    const auto vOut =
        RunEverywhere({"wide.cl",
                       "wide",
                       {Buffer(a), Buffer(std::vector<float>(n * 8)),
                        Buffer(std::vector<int32_t>(n * 16)), Buffer(std::vector<int8_t>(n * 4)),
                        Buffer(std::vector<double>(n * 2)), Buffer(std::vector<int64_t>(n * 2))},
                       {size_t(n)},
                       {},
                       ""},
                      {CMP_Exact, CMP_Float, CMP_Exact, CMP_Exact, CMP_Double, CMP_Exact});
    ASSERT_EQ(6u, vOut.size());
    const std::vector<float> b = Values<float>(vOut[1]);
    const std::vector<int32_t> c = Values<int32_t>(vOut[2]);
    const std::vector<int8_t> d = Values<int8_t>(vOut[3]);
    const std::vector<double> e = Values<double>(vOut[4]);
    const std::vector<int64_t> f = Values<int64_t>(vOut[5]);
    for (int i = 0; i < n; ++i)
    {
        for (int l = 0; l < 8; ++l)
        {
            const float fExpected =
                l == 1 ? (i > 5 ? 100.0f : -100.0f) : a[i * 8 + 7 - l] * 2.0f + a[i * 8] * 3.0f;
            EXPECT_EQ(fExpected, b[i * 8 + l]) << i << "." << l;
        }
        for (int l = 0; l < 16; ++l)
        {
            const int w = i + l;
            EXPECT_EQ(w * w - (w >> 1), c[i * 16 + l]) << i << "." << l;
        }
        const int8_t vChars[4] = {int8_t(i), int8_t(i * 3), int8_t(-i), 100};
        for (int l = 0; l < 4; ++l)
        {
            EXPECT_EQ(int8_t(vChars[l] + vChars[l]), d[i * 4 + l]) << i << "." << l;
        }
        EXPECT_EQ(double(i) * double(i) + 1.0, e[i * 2]);
        EXPECT_EQ(0.25 + 2.0, e[i * 2 + 1]);
        EXPECT_EQ((int64_t(i) << 40) + 3, f[i * 2]);
        EXPECT_EQ(-int64_t(i) + 4, f[i * 2 + 1]);
    }
}

TEST(CLCCorpusTest, ConversionsBetween64BitIntegersAndFloatingPoint)
{
    // Around the places where rounding goes wrong: beyond 2^53, where bits below a double's
    // precision still decide a float's rounding, halves, the ends of the ranges.
    const std::vector<int64_t> l = {0,
                                    -1,
                                    (int64_t(1) << 53) + 1,
                                    (int64_t(1) << 62) + (int64_t(1) << 38) + 1,
                                    -((int64_t(1) << 62) + (int64_t(1) << 38)),
                                    (int64_t(1) << 24) + 1,
                                    INT64_MIN,
                                    INT64_MAX,
                                    123456789012345,
                                    -987654321,
                                    (int64_t(1) << 40) + (int64_t(1) << 16),
                                    (int64_t(1) << 40) + (int64_t(1) << 16) + 1,
                                    7,
                                    -7,
                                    INT64_MAX - 1023,
                                    -(int64_t(1) << 55) - 3};
    const std::vector<uint64_t> u = {0,
                                     1,
                                     UINT64_MAX,
                                     (uint64_t(1) << 63) + (uint64_t(1) << 39) + 1,
                                     (uint64_t(1) << 63) + (uint64_t(1) << 39),
                                     (uint64_t(1) << 53) + 1,
                                     (uint64_t(1) << 32) - 1,
                                     uint64_t(1) << 32,
                                     12345678901234567890u,
                                     (uint64_t(1) << 24) + 1,
                                     42,
                                     (uint64_t(1) << 54) + 3,
                                     (uint64_t(1) << 40) + (uint64_t(1) << 16) + 1,
                                     UINT64_MAX - 2048,
                                     999,
                                     uint64_t(1) << 63};
    const std::vector<double> d = {
        0.0,   2.5,        -2.5,        3.5,    -3.5,    0.49999999999999994,
        -0.75, 1e15 + 0.5, -1e15 - 0.5, 9.0e18, -9.0e18, 4503599627370497.0,
        1.25,  -1.25,      123.5,       -1e-300};
    const std::vector<float> f = {0.0f,        2.5f,   -3.5f, 0.75f, 1.7e19f, -1.7e19f,
                                  123456.7f,   -1e-3f, 1e9f,  -1e9f, 5.5f,    -5.5f,
                                  16777216.0f, 3e18f,  -0.5f, 1.5f};
    const size_t n = l.size();
    const auto vOut =
        RunEverywhere({"convert64.cl",
                       "convert64",
                       {Buffer(l), Buffer(u), Buffer(d), Buffer(f),
                        Buffer(std::vector<float>(2 * n)), Buffer(std::vector<double>(2 * n)),
                        Buffer(std::vector<int64_t>(2 * n)), Buffer(std::vector<uint64_t>(2 * n)),
                        Buffer(std::vector<int64_t>(4 * n)), Buffer(std::vector<int32_t>(4 * n))},
                       {n},
                       {},
                       ""},
                      {});
    ASSERT_EQ(10u, vOut.size());
    const std::vector<float> lf = Values<float>(vOut[4]);
    const std::vector<double> ld = Values<double>(vOut[5]);
    const std::vector<int64_t> dl = Values<int64_t>(vOut[6]);
    const std::vector<uint64_t> du = Values<uint64_t>(vOut[7]);
    const std::vector<int64_t> rounded = Values<int64_t>(vOut[8]);
    const std::vector<int32_t> ri = Values<int32_t>(vOut[9]);
    for (size_t i = 0; i < n; ++i)
    {
        EXPECT_EQ(float(l[i]), lf[2 * i]) << i;
        EXPECT_EQ(float(u[i]), lf[2 * i + 1]) << i;
        EXPECT_EQ(double(l[i]), ld[2 * i]) << i;
        EXPECT_EQ(double(u[i]), ld[2 * i + 1]) << i;
        EXPECT_EQ(int64_t(d[i]), dl[2 * i]) << i;
        EXPECT_EQ(Saturated<int64_t>(f[i] * 1e10f), dl[2 * i + 1]) << i;
        EXPECT_EQ(Saturated<uint64_t>(d[i]), du[2 * i]) << i;
        EXPECT_EQ(uint64_t(std::fabs(f[i])), du[2 * i + 1]) << i;
        EXPECT_EQ(int64_t(std::nearbyint(d[i])), rounded[4 * i]) << i;
        EXPECT_EQ(int64_t(std::ceil(d[i])), rounded[4 * i + 1]) << i;
        EXPECT_EQ(int64_t(std::floor(d[i])), rounded[4 * i + 2]) << i;
        EXPECT_EQ(Saturated<int64_t>(std::nearbyint(f[i])), rounded[4 * i + 3]) << i;
        const double vInts[4] = {d[i], -d[i], d[i] * 0.5, double(i) + 0.5};
        for (int k = 0; k < 4; ++k)
        {
            EXPECT_EQ(Saturated<int32_t>(std::nearbyint(vInts[k])), ri[4 * i + k]) << i << "." << k;
        }
    }
}

TEST(CLCCorpusTest, AsyncCopiesBetweenGlobalAndLocalMemory)
{
    const int nGroups = 4;
    const int nSize = 16;
    const std::vector<float> in = RandomValues<float>(nGroups * nSize, -10, 10, 21);
    auto vOut = RunEverywhere({"async.cl",
                               "async_tile",
                               {Buffer(in), Buffer(std::vector<float>(in.size())),
                                Buffer(std::vector<float>(nGroups * nSize)),
                                Local(nSize * sizeof(float)), Value<int32_t>(nGroups)},
                               {size_t(nGroups * nSize)},
                               {size_t(nSize)},
                               ""},
                              {CMP_Exact, CMP_Float, CMP_Float});
    ASSERT_EQ(5u, vOut.size());
    const std::vector<float> out = Values<float>(vOut[1]);
    const std::vector<float> columns = Values<float>(vOut[2]);
    for (int g = 0; g < nGroups; ++g)
    {
        for (int l = 0; l < nSize; ++l)
        {
            const float* pRow = &in[size_t(g * nSize)];
            const float fLeft = l > 0 ? pRow[l - 1] : 0.0f;
            const float fRight = l + 1 < nSize ? pRow[l + 1] : 0.0f;
            const float fExpected = fLeft + pRow[l] * 2.0f + fRight;
            EXPECT_EQ(fExpected, out[size_t(g * nSize + l)]) << g << "." << l;
            // The strided copy puts a group's element l at l * width + group.
            EXPECT_EQ(fExpected, columns[size_t(l * nGroups + g)]) << g << "." << l;
        }
    }

    const std::vector<int32_t> pairs = RandomValues<int32_t>(nGroups * nSize * 4, -1000, 1000, 22);
    vOut = RunEverywhere({"async.cl",
                          "async_gather",
                          {Buffer(pairs), Buffer(std::vector<int32_t>(nGroups * nSize * 2)),
                           Local(nSize * 2 * sizeof(int32_t))},
                          {size_t(nGroups * nSize)},
                          {size_t(nSize)},
                          ""},
                         {});
    ASSERT_EQ(3u, vOut.size());
    const std::vector<int32_t> gathered = Values<int32_t>(vOut[1]);
    for (int g = 0; g < nGroups; ++g)
    {
        for (int l = 0; l < nSize; ++l)
        {
            const size_t nFrom = size_t((g * nSize * 2 + (nSize - 1 - l) * 2) * 2);
            const size_t nTo = size_t((g * nSize + l) * 2);
            EXPECT_EQ(pairs[nFrom] * 3, gathered[nTo]) << g << "." << l;
            EXPECT_EQ(pairs[nFrom + 1] * 3, gathered[nTo + 1]) << g << "." << l;
        }
    }
}

TEST(CLCCorpusTest, ExponentialsLogarithmsAndPowersWithinTheirErrorBounds)
{
    const size_t n = 256;
    std::vector<float> x = RandomValues<float>(n, -80.0f, 80.0f, 23);
    std::vector<float> y = RandomValues<float>(n, -1000.0f, 1000.0f, 24);
    // Small magnitudes, where the logarithms' relative error shows, and values close to 1.
    for (size_t i = 0; i < 32; ++i)
    {
        y[i] = std::ldexp(y[i], -int(i) * 4);
        y[i + 32] = 1.0f + y[i + 32] * 1e-6f;
    }
    const auto vOut = RunEverywhere({"precision.cl",
                                     "precision",
                                     {Buffer(x), Buffer(y), Buffer(std::vector<float>(7 * n))},
                                     {n},
                                     {},
                                     ""},
                                    {CMP_Exact, CMP_Exact, CMP_Float});
    ASSERT_EQ(3u, vOut.size());
    const std::vector<float> out = Values<float>(vOut[2]);
    // The distance from the exact result in units of the last place of the float nearest it.
    const auto ulps = [](float fActual, double dExact)
    {
        const float fNearest = float(dExact);
        if (std::isinf(fNearest))
        {
            return fActual == fNearest ? 0.0 : INFINITY;
        }
        const double dUlp =
            double(std::nextafter(std::fabs(fNearest), INFINITY)) - double(std::fabs(fNearest));
        return std::fabs(double(fActual) - dExact) / dUlp;
    };
    struct SBound
    {
        const char* pName;
        double dUlps;
    };
    const SBound bounds[] = {{"exp", 3},   {"exp10", 3}, {"log", 3},
                             {"log10", 3}, {"pow", 16},  {"pow with an integer exponent", 16},
                             {"exp2", 3}};
    for (size_t i = 0; i < n; ++i)
    {
        const double a = x[i];
        const double b = y[i];
        const double vExact[7] = {std::exp(a),
                                  std::pow(10.0, double(x[i] * 0.375f)),
                                  std::log(std::fabs(b)),
                                  std::log10(std::fabs(b)),
                                  std::pow(std::fabs(b), double(x[i] * 0.125f)),
                                  std::pow(b, double(int(i % 9) - 4)),
                                  std::exp2(a)};
        for (size_t k = 0; k < 7; ++k)
        {
            EXPECT_LE(ulps(out[7 * i + k], vExact[k]), bounds[k].dUlps)
                << bounds[k].pName << " at " << x[i] << ", " << y[i] << ": " << out[7 * i + k];
        }
    }
}

TEST(CLCCorpusTest, PowSpecialCases)
{
    const float fInf = INFINITY;
    const float fNaN = NAN;
    const std::vector<std::pair<float, float>> vCases = {
        {0.0f, -1.0f},        {-0.0f, -1.0f}, {-0.0f, -2.0f}, {-0.0f, 3.0f}, {-2.0f, 3.0f},
        {-2.0f, 0.5f},        {1.0f, fNaN},   {fNaN, 0.0f},   {-1.0f, fInf}, {0.5f, -fInf},
        {2.0f, -fInf},        {-fInf, -3.0f}, {-fInf, 3.0f},  {-fInf, 0.5f}, {fInf, -1.0f},
        {-8.0f, 1.0f / 3.0f}, {4.0f, 0.5f},   {2.0f, 10.0f},  {fNaN, 1.0f},  {-3.0f, -2.0f}};
    std::vector<float> x;
    std::vector<float> y;
    for (const auto& c : vCases)
    {
        x.push_back(c.first);
        y.push_back(c.second);
    }
    const auto vOut = RunEverywhere({"precision.cl",
                                     "pow_cases",
                                     {Buffer(x), Buffer(y), Buffer(std::vector<float>(x.size()))},
                                     {x.size() / 4},
                                     {},
                                     ""},
                                    {CMP_Exact, CMP_Exact, CMP_Exact});
    ASSERT_EQ(3u, vOut.size());
    const std::vector<float> out = Values<float>(vOut[2]);
    for (size_t i = 0; i < x.size(); ++i)
    {
        const float fExpected = std::pow(x[i], y[i]);
        if (std::isnan(fExpected))
        {
            EXPECT_TRUE(std::isnan(out[i])) << "pow(" << x[i] << ", " << y[i] << ") = " << out[i];
        }
        else
        {
            uint32_t nExpected = 0;
            uint32_t nActual = 0;
            std::memcpy(&nExpected, &fExpected, sizeof(nExpected));
            std::memcpy(&nActual, &out[i], sizeof(nActual));
            EXPECT_EQ(nExpected, nActual) << "pow(" << x[i] << ", " << y[i] << ") = " << out[i];
        }
    }
}

TEST(CLCCorpusTest, SixtyFourBitAtomicsOnGlobalAndLocalMemory)
{
    const size_t n = 512;
    const size_t nGroup = 64;
    std::vector<int64_t> in = RandomValues<int64_t>(n, -(int64_t(1) << 50), int64_t(1) << 50, 25);
    in[3] = INT64_MAX / 4;
    std::vector<int64_t> totals(11, 0);
    totals[1] = INT64_MIN;
    totals[2] = INT64_MAX;
    totals[5] = -1;
    const auto vOut = RunEverywhere(
        {"atomics64.cl",
         "atomics64",
         {Buffer(in), Buffer(totals), Buffer(std::vector<uint64_t>(n)), Local(2 * sizeof(int64_t))},
         {n},
         {nGroup},
         ""},
        {CMP_Exact, CMP_Exact, CMP_Host});
    ASSERT_EQ(4u, vOut.size());
    const std::vector<int64_t> out = Values<int64_t>(vOut[1]);
    std::vector<uint64_t> tickets = Values<uint64_t>(vOut[2]);
    uint64_t nSum = 0;
    int64_t nXor = 0;
    int64_t nOr = 0;
    int64_t nAnd = -1;
    uint64_t nShifted = 0;
    for (int64_t x : in)
    {
        nSum += uint64_t(x);
        nXor ^= x;
        nOr |= x & 0x0F0F0F0F0F0F0F0FLL;
        nAnd &= x | 0x00FF00FF00FF00FFLL;
        nShifted += uint64_t(x >> 8);
    }
    EXPECT_EQ(int64_t(nSum), out[0]);
    EXPECT_EQ(*std::max_element(in.begin(), in.end()), out[1]);
    EXPECT_EQ(*std::min_element(in.begin(), in.end()), out[2]);
    EXPECT_EQ(nXor, out[3]);
    EXPECT_EQ(nOr, out[4]);
    EXPECT_EQ(nAnd, out[5]);
    EXPECT_EQ(-int64_t(nSum), out[6]);
    EXPECT_EQ(int64_t(n), out[7]);
    EXPECT_EQ(int64_t(nShifted), out[8]);
    EXPECT_EQ(int64_t(nSum), out[9]);
    EXPECT_EQ(out[1], out[10]);
    // Every work-item drew a ticket of its own.
    std::sort(tickets.begin(), tickets.end());
    for (size_t i = 0; i < n; ++i)
    {
        ASSERT_EQ(i, tickets[i]);
    }
}

// With -g the binary carries the IL with the source lines marked.
TEST_F(CLFixture, DebugBuildCarriesSourceLines)
{
    for (const bool bDebug : {false, true})
    {
        cl_program program = Build(ReadCorpus("returns.cl"), bDebug ? "-g" : "");
        ASSERT_NE(nullptr, program);
        const std::vector<char> vBinary = ProgramBinary(program);
        const std::string strBinary(vBinary.begin(), vBinary.end());
        EXPECT_EQ(bDebug, strBinary.find(";@program.cl:20") != std::string::npos);
        EXPECT_EQ(bDebug, strBinary.find(".debugil") != std::string::npos);
    }
}

// The debugger's way back in: the -g binary of an OpenCL C program rebuilds one kernel from its
// debug IL, and that kernel computes what the source says.
TEST_F(CLFixture, CompiledBinaryRebuildsFromItsDebugIL)
{
    cl_program program = Build(ReadCorpus("arith.cl"), "-g");
    ASSERT_NE(nullptr, program);
    cl_program rebuilt = FromBinary(ProgramBinary(program));
    ASSERT_EQ(CL_SUCCESS, clBuildProgram(rebuilt, 1, &m_Device, "-use-debugil -just-kernel=saxpy",
                                         nullptr, nullptr))
        << BuildLog(rebuilt);
    EXPECT_EQ(CL_INVALID_KERNEL_NAME, ErrorOf(clCreateKernel, rebuilt, "vadd"));
    cl_kernel kernel = CreateKernel(rebuilt, "saxpy");
    ASSERT_NE(nullptr, kernel);
    const std::vector<float> x = RandomValues<float>(256, -1, 1, 16);
    const std::vector<float> y = RandomValues<float>(256, -1, 1, 17);
    cl_mem bufferX = MakeBuffer(x.size() * sizeof(float), x.data());
    cl_mem bufferY = MakeBuffer(y.size() * sizeof(float), y.data());
    const float fAlpha = -1.5f;
    SetArgs(kernel, fAlpha, bufferX, bufferY);
    ASSERT_EQ(CL_SUCCESS, Launch(kernel, x.size()));
    const std::vector<float> result = Read<float>(bufferY, y.size());
    for (size_t i = 0; i < x.size(); ++i)
    {
        EXPECT_EQ(fAlpha * x[i] + y[i], result[i]) << i;
    }
}

// The older family keeps private memory in the indexed temp x1.
TEST(CLCCorpusTest, PrivateArraySortOnTheOlderFamily)
{
    EXPECT_EQ(0, RunInChild("Child.PrivateArraySort", {{"NORDVANE_OCL_DEVICE", "fennel"}}));
}

XAN_CHILD_TEST(PrivateArraySort)
{
    ASSERT_EQ("Fennel", DeviceString(FirstDevice(NordvanePlatform()), CL_DEVICE_NAME));
    const std::vector<int32_t> in = RandomValues<int32_t>(32 * 8, -1000, 1000, 18);
    std::vector<std::vector<uint8_t>> vOut;
    std::string strLog;
    ASSERT_TRUE(RunLaunch(
        NordvanePlatform(),
        {"sort.cl", "sort8", {Buffer(in), Buffer(std::vector<int32_t>(32 * 8))}, {32}, {}, ""},
        vOut, strLog))
        << strLog;
    EXPECT_EQ(SortedByEights(in), Values<int32_t>(vOut[1]));
}
