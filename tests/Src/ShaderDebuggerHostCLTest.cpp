#include "ShaderDebuggerHostCL.h"

#include "Src/FakeShaderDebugger.h"

#include <gtest/gtest.h>

using XAN_Test::CFakeHostCL;
using XAN_Test::CUsageLogTail;

namespace
{
cl_kernel const KERNEL = reinterpret_cast<cl_kernel>(0x10);

struct Geometry
{
    uint32_t nNumDim = 99;
    const size_t* pOffset = NULL;
    const size_t* pGlobal = NULL;
    const size_t* pLocal = NULL;
};

Geometry Read(CFakeHostCL& host)
{
    Geometry geometry;
    EXPECT_TRUE(host.GetEnqueueData(&geometry.nNumDim, &geometry.pOffset, &geometry.pGlobal,
                                    &geometry.pLocal));
    return geometry;
}
} // namespace

TEST(ShaderDebuggerHostCLTest, StoresTheGeometryOfUsedDimensions)
{
    CFakeHostCL host(KERNEL, NULL);
    EXPECT_EQ(KERNEL, host.GetKernel());
    const size_t offset[3] = {1, 2, 3};
    const size_t global[3] = {64, 32, 7};
    EXPECT_TRUE(host.SetEnqueueData(2, offset, global, NULL));

    const Geometry geometry = Read(host);
    EXPECT_EQ(2u, geometry.nNumDim);
    EXPECT_EQ(1u, geometry.pOffset[0]);
    EXPECT_EQ(2u, geometry.pOffset[1]);
    EXPECT_EQ(0u, geometry.pOffset[2]);
    EXPECT_EQ(64u, geometry.pGlobal[0]);
    EXPECT_EQ(32u, geometry.pGlobal[1]);
    EXPECT_EQ(0u, geometry.pGlobal[2]);
    // No local size given: all zero.
    EXPECT_EQ(0u, geometry.pLocal[0] + geometry.pLocal[1] + geometry.pLocal[2]);

    // Null out-pointers are skipped.
    uint32_t nNumDim = 0;
    EXPECT_TRUE(host.GetEnqueueData(&nNumDim, NULL, NULL, NULL));
    EXPECT_EQ(2u, nNumDim);
}

TEST(ShaderDebuggerHostCLTest, RejectedGeometryLeavesEverythingZero)
{
    CFakeHostCL host(KERNEL, NULL);
    const size_t global[3] = {8, 8, 8};
    const size_t local[3] = {4, 4, 4};
    ASSERT_TRUE(host.SetEnqueueData(3, NULL, global, local));

    CUsageLogTail tail;
    EXPECT_FALSE(host.SetEnqueueData(0, NULL, global, local));
    EXPECT_FALSE(host.SetEnqueueData(1, NULL, NULL, local));
    EXPECT_FALSE(host.SetEnqueueData(4, NULL, global, local));
    EXPECT_EQ("Assert: SetEnqueueData CLD_Assert( nNumDim != 0 )\n"
              "Assert: SetEnqueueData CLD_Assert( nGlobalSize != NULL )\n"
              "Assert: SetEnqueueData CLD_Assert( nNumDim <= MAX_DIMENSIONS )\n",
              tail.Text());

    const Geometry geometry = Read(host);
    EXPECT_EQ(0u, geometry.nNumDim);
    EXPECT_EQ(0u, geometry.pGlobal[0]);
    EXPECT_EQ(0u, geometry.pLocal[0]);
}

TEST(ShaderDebuggerHostCLTest, NullKernelIsReported)
{
    CUsageLogTail tail;
    CFakeHostCL host(NULL, NULL);
    EXPECT_EQ("Assert: CShaderDebuggerHostCL CLD_Assert( kernel != 0 )\n", tail.Text());
}
