// receiverlog_test.cpp: a receiver in trouble writes one line per kind of
// trouble per interval, and the next line says how many were held back.
#include "receiverlog.h"

#include <gtest/gtest.h>

namespace changeeventtest {
namespace {

constexpr qint64 kStart = 1'000'000;

TEST(ReceiverLogTest, FirstTroubleOfAKindIsWrittenAsItIs)
{
    ReceiverLog log;
    EXPECT_EQ(log.next("refused", "Packet refused", kStart), "Packet refused");
}

TEST(ReceiverLogTest, SameTroubleWithinTheIntervalIsHeldBack)
{
    ReceiverLog log;
    ASSERT_FALSE(log.next("refused", "Packet refused", kStart).isEmpty());
    EXPECT_TRUE(log.next("refused", "Packet refused", kStart + 1).isEmpty());
    EXPECT_TRUE(log.next("refused", "Packet refused", kStart + ReceiverLog::kIntervalMs - 1).isEmpty());
}

TEST(ReceiverLogTest, LineAfterTheIntervalCountsWhatWasHeldBack)
{
    ReceiverLog log;
    log.next("refused", "Packet refused", kStart);
    for (int i = 1; i <= 3; ++i)
        log.next("refused", "Packet refused", kStart + i);
    EXPECT_EQ(log.next("refused", "Packet refused", kStart + ReceiverLog::kIntervalMs),
              "Packet refused (3 more times since the last report)");
    // The count starts again from the line just written.
    EXPECT_EQ(log.next("refused", "Packet refused", kStart + 2 * ReceiverLog::kIntervalMs), "Packet refused");
}

TEST(ReceiverLogTest, KindsOfTroubleAreHeldBackEachOnItsOwn)
{
    ReceiverLog log;
    ASSERT_FALSE(log.next("refused", "Packet refused", kStart).isEmpty());
    EXPECT_EQ(log.next("damaged", "Box damaged", kStart + 1), "Box damaged");
    EXPECT_TRUE(log.next("refused", "Packet refused", kStart + 2).isEmpty());
}

} // namespace
} // namespace changeeventtest
