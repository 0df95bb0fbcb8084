// largerecord_test.cpp: large records (a text point's, some 15 KB) live in
// memory of their own, away from the heap; freed ones are kept for reuse up
// to a limit and given back on request, and the records behave as every
// other record does.
#include <DravoPlus/DravoPlus.h>
#include <DravoPlus/DravoPlusTesting.h>

#include "largeblocks.h"
#include "sanitizers.h"

#include <gtest/gtest.h>

#include <malloc.h>

#include <algorithm>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

long heapInUse()
{
    const struct mallinfo2 heap = mallinfo2();
    return static_cast<long>(heap.uordblks + heap.hblkhd);
}

DravoData textRecord(int pid, const std::string& text)
{
    DravoData record("TEXT", ("TX." + std::to_string(pid)).c_str());
    record.PutValue("pid", pid);
    record.PutValue("lastvalue", text.data(), static_cast<int>(text.size()));
    return record;
}

std::string textOf(const DravoData& record)
{
    std::string text;
    record.GetValue("lastvalue", text);
    return text.c_str();   // the field's text, without its zero padding
}

TEST(LargeRecordTest, TextRecordsTakeMemoryOfTheirOwnNotTheHeap)
{
    constexpr int kRecords = 500;
    const std::size_t before = DravoPlus::LargeRecordMemory().inUse;
    const long heapBefore = heapInUse();
    std::vector<DravoData> texts;
    texts.reserve(kRecords);
    for (int pid = 1; pid <= kRecords; ++pid)
        texts.push_back(textRecord(pid, "text " + std::to_string(pid)));
    const long heapGrown = heapInUse() - heapBefore;
    const std::size_t held = DravoPlus::LargeRecordMemory().inUse - before;

    const auto recordBytes = static_cast<std::size_t>(texts.front().GetBufferSize());
    ASSERT_GE(recordBytes, dravo::kLargeRecord);
    EXPECT_GE(held, kRecords * recordBytes);
    if (mvtest::kNativeAllocator) {
        EXPECT_LT(heapGrown, 256L * 1024) << "the text records were made on the heap";
    }
    EXPECT_EQ(textOf(texts.back()), "text 500");
    texts.clear();
    EXPECT_EQ(DravoPlus::LargeRecordMemory().inUse, before);
}

TEST(LargeRecordTest, StatusRecordsStayOnTheHeap)
{
    const std::size_t before = DravoPlus::LargeRecordMemory().inUse;
    std::vector<DravoData> statuses;
    for (int pid = 1; pid <= 100; ++pid) {
        statuses.emplace_back("STATUS", ("ST." + std::to_string(pid)).c_str());
        statuses.back().PutValue("pid", pid);
    }
    EXPECT_EQ(DravoPlus::LargeRecordMemory().inUse, before);
}

TEST(LargeRecordTest, ARecordMadeInAReusedBlockStartsAllZero)
{
    {
        DravoData dirty("TEXT", "TX.DIRTY");
        std::fill_n(dirty.GetRawValue(), dirty.GetBufferSize(), '\xff');
    }
    ASSERT_GT(DravoPlus::LargeRecordMemory().spare, 0u) << "the freed block was not kept for reuse";

    const DravoData fresh("TEXT", "TX.FRESH");
    const char* raw = fresh.GetRawValue();
    EXPECT_TRUE(std::all_of(raw, raw + fresh.GetBufferSize(), [](char c) { return c == 0; }));

    DravoData shortValue("TEXT", "TX.SHORT");
    std::fill_n(shortValue.GetRawValue(), shortValue.GetBufferSize(), '\xff');
    ASSERT_EQ(shortValue.SetRawValue("ab", 2), DRAVO_OK);
    const char* value = std::as_const(shortValue).GetRawValue();
    EXPECT_EQ(std::string(value, 2), "ab");
    EXPECT_TRUE(std::all_of(value + 2, value + shortValue.GetBufferSize(), [](char c) { return c == 0; }));
}

TEST(LargeRecordTest, FreedBlocksAreKeptUpToALimitAndGivenBackOnRequest)
{
    DravoPlus::ReleaseSpareRecordMemory();
    ASSERT_EQ(DravoPlus::LargeRecordMemory().spare, 0u);
    {
        // 2,000 text records are some 30 MB, twice what is kept.
        std::vector<DravoData> burst;
        for (int pid = 1; pid <= 2000; ++pid)
            burst.push_back(textRecord(pid, "burst"));
    }
    const std::size_t spare = DravoPlus::LargeRecordMemory().spare;
    EXPECT_GT(spare, dravo::kSpareLargeBlockBytes / 2);
    EXPECT_LE(spare, dravo::kSpareLargeBlockBytes);

    const std::size_t inUse = DravoPlus::LargeRecordMemory().inUse;
    const DravoData reused = textRecord(1, "again");
    EXPECT_LT(DravoPlus::LargeRecordMemory().spare, spare) << "a new record did not take a kept block";
    EXPECT_GT(DravoPlus::LargeRecordMemory().inUse, inUse);

    const std::size_t kept = DravoPlus::LargeRecordMemory().spare;
    EXPECT_EQ(DravoPlus::ReleaseSpareRecordMemory(), kept);
    EXPECT_EQ(DravoPlus::LargeRecordMemory().spare, 0u);
    EXPECT_EQ(textOf(reused), "again");
}

TEST(LargeRecordTest, CopiesOfATextRecordShareItUntilOneChanges)
{
    const DravoData original = textRecord(7, "original");
    DravoData copy = original;
    EXPECT_EQ(std::as_const(copy).GetRawValue(), original.GetRawValue());

    copy.PutValue("lastvalue", "changed", 7);
    EXPECT_NE(std::as_const(copy).GetRawValue(), original.GetRawValue());
    EXPECT_EQ(textOf(copy), "changed");
    EXPECT_EQ(textOf(original), "original");

    // A value longer than the type outgrows the record's block.
    std::string longer(static_cast<std::size_t>(original.GetBufferSize()) + 100, 'z');
    ASSERT_EQ(copy.SetRawValue(longer.data(), static_cast<int>(longer.size())), DRAVO_OK);
    EXPECT_EQ(std::string(std::as_const(copy).GetRawValue(), longer.size()), longer);
    EXPECT_EQ(textOf(original), "original");
}

TEST(LargeRecordTest, TextRecordsMadeAndFreedOnManyThreadsStayTheirOwn)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 300;
    std::vector<int> wrong(kThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &wrong] {
            std::vector<DravoData> kept;
            for (int round = 0; round < kRounds; ++round) {
                const std::string text = "thread " + std::to_string(t) + " round " + std::to_string(round);
                DravoData record = textRecord(t * kRounds + round, text);
                if (round % 3 == 0)
                    kept.push_back(record);
                if (round % 50 == 0)
                    DravoPlus::ReleaseSpareRecordMemory();
                if (textOf(record) != text)
                    ++wrong[static_cast<std::size_t>(t)];
            }
            for (std::size_t i = 0; i < kept.size(); ++i)
                if (textOf(kept[i]) != "thread " + std::to_string(t) + " round " + std::to_string(i * 3))
                    ++wrong[static_cast<std::size_t>(t)];
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, std::vector<int>(kThreads, 0));
}

} // namespace
