#include "CDeviceMemory.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace XAN_Platform;

TEST(CDeviceMemory, AddressesAreAlignedApartAndInTheFamilysRange)
{
    for (bool b64 : {false, true})
    {
        CDeviceMemory memory(b64);
        auto pFirst = memory.Allocate(100);
        auto pSecond = memory.Allocate(256);
        auto pThird = memory.Allocate(1);
        ASSERT_TRUE(pFirst && pSecond && pThird);
        for (const auto& pBuffer : {pFirst, pSecond, pThird})
        {
            EXPECT_NE(0u, pBuffer->GetAddress());
            EXPECT_EQ(0u, pBuffer->GetAddress() % CDeviceMemory::ALIGNMENT);
            EXPECT_EQ(b64, pBuffer->GetAddress() >= (1ull << 32));
            EXPECT_TRUE(std::all_of(pBuffer->GetData(), pBuffer->GetData() + pBuffer->GetSize(),
                                    [](uint8_t n) { return n == 0; }));
        }
        // An unmapped gap lies behind every buffer.
        EXPECT_GT(pSecond->GetAddress(), pFirst->GetAddress() + 256);
        EXPECT_GT(pThird->GetAddress(), pSecond->GetAddress() + 256);
        EXPECT_EQ(pSecond, memory.Find(pSecond->GetAddress() + 255));
        EXPECT_FALSE(memory.Find(pSecond->GetAddress() + 256));
        EXPECT_FALSE(memory.Find(pFirst->GetAddress() - 1));
    }
}

TEST(CDeviceMemory, ReleasedAddressesAreReusedWhileSnapshotsKeepTheStorage)
{
    CDeviceMemory memory(true);
    auto pFirst = memory.Allocate(1000);
    auto pSecond = memory.Allocate(1000);
    const uint64_t nAddress = pFirst->GetAddress();
    pFirst->GetData()[5] = 42;
    const auto vSnapshot = memory.Snapshot();
    memory.Release(pFirst);
    EXPECT_FALSE(memory.Find(nAddress));
    ASSERT_EQ(2u, vSnapshot.size());
    EXPECT_EQ(42, vSnapshot[0]->GetData()[5]);
    auto pReused = memory.Allocate(500);
    EXPECT_EQ(nAddress, pReused->GetAddress());
    EXPECT_EQ(0, pReused->GetData()[5]);
    memory.Release(nullptr);
    memory.Release(pFirst); // a second release changes nothing
    EXPECT_EQ(pReused, memory.Find(nAddress));
}

TEST(CDeviceMemory, SizesThatCantBeMapped)
{
    CDeviceMemory memory(false);
    EXPECT_FALSE(memory.Allocate(0));
    EXPECT_FALSE(memory.Allocate(size_t(1) << 33)); // more than a 32-bit space holds
    EXPECT_TRUE(memory.Snapshot().empty());
}
