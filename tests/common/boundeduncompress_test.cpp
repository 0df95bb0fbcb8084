/*
 * boundeduncompress_test.cpp: inflating qCompress's form with a limit: what
 * qCompress wrote comes back whole, a claimed length over the limit is
 * refused before anything is allocated, and a stream that inflates past its
 * claim is refused as soon as it does, in bounded time and memory.
 */
#include <MVShared/BoundedUncompress.h>

#include <compressedbytes.h>

#include <QtCore/QElapsedTimer>
#include <QtCore/QList>

#include <gtest/gtest.h>

using Morvane::boundedUncompress;

namespace {

constexpr int kMiB = 1024 * 1024;
constexpr qint64 kPromptMs = 2000;
constexpr long kMaxGrowthKb = 64 * 1024;

QByteArray inflated(const QByteArray& compressed, int limit)
{
    return boundedUncompress(compressed.constData(), compressed.size(), limit);
}

QByteArray patterned(int size)
{
    QByteArray bytes(size, '\0');
    for (int i = 0; i < size; ++i)
        bytes[i] = static_cast<char>(i % 251);
    return bytes;
}

/* Inflates and checks that it took neither long nor much memory. */
QByteArray inflatedPromptly(const QByteArray& compressed, int limit)
{
    const long peakBefore = mvtest::peakResidentKb();
    QElapsedTimer clock;
    clock.start();
    const QByteArray result = inflated(compressed, limit);
    EXPECT_LT(clock.elapsed(), kPromptMs);
    EXPECT_LT(mvtest::peakResidentKb() - peakBefore, kMaxGrowthKb);
    return result;
}

} // namespace

TEST(BoundedUncompress, GivesBackWhatQCompressWrote)
{
    for (const int size : { 1, 100, 64 * 1024, 64 * 1024 + 1, 3 * kMiB + 17 }) {
        const QByteArray data = patterned(size);
        EXPECT_EQ(inflated(qCompress(data), 4 * kMiB), data) << size;
    }
}

TEST(BoundedUncompress, ClaimAtTheLimitIsInflatedOneOverIsNot)
{
    const QByteArray data = patterned(kMiB);
    EXPECT_EQ(inflated(qCompress(data), kMiB), data);
    EXPECT_TRUE(inflated(qCompress(data), kMiB - 1).isEmpty());
}

TEST(BoundedUncompress, ClaimOfTwoGigabytesIsRefusedBeforeAnyAllocation)
{
    const QByteArray compressed = mvtest::withClaim(qCompress(QByteArray("relay settings")), 2000000000u);
    EXPECT_TRUE(inflatedPromptly(compressed, 64 * kMiB).isEmpty());
    EXPECT_TRUE(inflatedPromptly(mvtest::withClaim(compressed, 0xFFFFFFFFu), 64 * kMiB).isEmpty());
}

TEST(BoundedUncompress, StreamInflatingToAGigabyteIsRefusedByItsClaim)
{
    const QByteArray gigabyte = mvtest::compressedZeros(1024);
    ASSERT_LT(gigabyte.size(), 2 * kMiB);
    EXPECT_TRUE(inflatedPromptly(gigabyte, 64 * kMiB).isEmpty());
}

TEST(BoundedUncompress, StreamInflatingPastAClaimUnderTheLimitIsRefused)
{
    const QByteArray gigabyte = mvtest::compressedZeros(1024);
    for (const quint32 claim : { 1u, 4096u, quint32(kMiB), quint32(16 * kMiB) })
        EXPECT_TRUE(inflatedPromptly(mvtest::withClaim(gigabyte, claim), 64 * kMiB).isEmpty()) << claim;
    // One byte past its claim is enough.
    const QByteArray data = patterned(1000);
    EXPECT_TRUE(inflated(mvtest::withClaim(qCompress(data), 999), kMiB).isEmpty());
}

// What qUncompress does too: the claim bounds the output, it need not match.
TEST(BoundedUncompress, StreamEndingShortOfItsClaimGivesWhatItHolds)
{
    const QByteArray data = patterned(5000);
    EXPECT_EQ(inflated(mvtest::withClaim(qCompress(data), 20 * kMiB), 64 * kMiB), data);
}

TEST(BoundedUncompress, ZerosAfterAHeadComeBackWhole)
{
    const QByteArray head("HEAD");
    const QByteArray result = inflated(mvtest::compressedZeros(3, head), 4 * kMiB);
    ASSERT_EQ(result.size(), 3 * kMiB + head.size());
    EXPECT_TRUE(result.startsWith(head));
    EXPECT_EQ(result.count('\0'), 3 * kMiB);
}

TEST(BoundedUncompress, BytesAfterTheStreamAreIgnored)
{
    const QByteArray data = patterned(300);
    EXPECT_EQ(inflated(qCompress(data) + QByteArray("trailing"), kMiB), data);
}

TEST(BoundedUncompress, WhatIsNotACompleteStreamGivesNothing)
{
    const QByteArray compressed = qCompress(patterned(10000));
    const QList<QByteArray> broken{
        QByteArray(),
        QByteArray("\x00\x00\x00\x05", 4),
        QByteArray("\x00\x00\x00\x00", 4) + compressed.mid(4),   // claims nothing
        QByteArray("\x00\x00\x00\x10", 4) + QByteArray("not a zlib stream"),
        compressed.left(compressed.size() / 2),                   // cut short
        compressed.left(compressed.size() - 1),                   // its checksum cut
    };
    for (const QByteArray& bytes : broken)
        EXPECT_TRUE(inflated(bytes, kMiB).isEmpty()) << bytes.toHex().left(40).toStdString();
    EXPECT_TRUE(boundedUncompress(nullptr, 100, kMiB).isEmpty());
    EXPECT_TRUE(inflated(compressed, 0).isEmpty());
    EXPECT_TRUE(inflated(compressed, -1).isEmpty());
}

// Every inflation checks the stream's Adler-32: bytes changed on the way are
// refused, not handed on as changes.
TEST(BoundedUncompress, AStreamWhoseChecksumDoesNotMatchItsBytesGivesNothing)
{
    const QByteArray data = patterned(10000);
    const QByteArray compressed = qCompress(data);
    ASSERT_EQ(inflated(compressed, kMiB), data);
    for (const int fromEnd : { 1, 2, 3, 4 }) {
        QByteArray damaged = compressed;
        damaged[damaged.size() - fromEnd] = static_cast<char>(damaged[damaged.size() - fromEnd] ^ 0x01);
        EXPECT_TRUE(inflated(damaged, kMiB).isEmpty()) << fromEnd;
    }
    // A literal changed inside the stream: it still inflates, to other bytes.
    const QByteArray stored = qCompress(patterned(300), 0);
    QByteArray changed = stored;
    changed[20] = static_cast<char>(changed[20] ^ 0x40);
    EXPECT_TRUE(inflated(changed, kMiB).isEmpty());
}
