// freememory_test.cpp: memory freed by the program leaves its resident size
// when it is given back, where the C library's allocator is in use.
#include "compressedbytes.h"
#include "sanitizers.h"

#include <MVShared/FreeMemory.h>

#include <DravoPlus/DravoPlus.h>
#include <DravoPlus/DravoPlusTesting.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

TEST(FreeMemoryTest, FreedHeapMemoryLeavesTheResidentSizeWhenGivenBack)
{
    if (!mvtest::kNativeAllocator) {
        EXPECT_FALSE(Morvane::returnFreeMemory()) << "nothing to do under another allocator";
        return;
    }
    // 64 MB of small blocks, written to, and one more block behind them so
    // that the allocator cannot simply shorten its heap when they are freed.
    constexpr std::size_t kBlock = 32 * 1024;
    constexpr std::size_t kBlocks = 2048;
    std::vector<char*> blocks;
    for (std::size_t i = 0; i < kBlocks; ++i) {
        blocks.push_back(static_cast<char*>(std::malloc(kBlock)));
        ASSERT_NE(blocks.back(), nullptr);
        std::memset(blocks.back(), 1, kBlock);
    }
    char* pin = static_cast<char*>(std::malloc(kBlock));
    ASSERT_NE(pin, nullptr);
    std::memset(pin, 1, kBlock);
    for (char* block : blocks)
        std::free(block);

    const long before = mvtest::residentKb();
    EXPECT_TRUE(Morvane::returnFreeMemory());
    const long after = mvtest::residentKb();
    std::free(pin);
    EXPECT_LT(after, before - 32 * 1024) << "resident KiB before " << before << ", after " << after;
}

// A program that gives memory back after a burst gives back the blocks
// kept for large records too, under any allocator.
TEST(FreeMemoryTest, TheBlocksKeptForLargeRecordsAreGivenBackToo)
{
    {
        std::vector<DravoData> texts;
        for (int pid = 1; pid <= 100; ++pid)
            texts.emplace_back("TEXT", "TX.FREED");
    }
    ASSERT_GT(DravoPlus::LargeRecordMemory().spare, 0u);
    Morvane::returnFreeMemory();
    EXPECT_EQ(DravoPlus::LargeRecordMemory().spare, 0u);
}

} // namespace
