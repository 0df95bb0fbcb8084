// packetbomb_test.cpp: a running operator application's receiver, sent
// packets by another client that inflate into far more than a packet may
// make (a few bytes of item that would each become a whole change record,
// bodies of 2 MB, 64 MB and 1 GB, and length prefixes that lie), refuses
// each one, announces it, emits no change for it, keeps its memory bounded
// and delivers the next honest packet. On the embedded server and on Redis.
#include "changeeventfixture.h"
#include "sanitizers.h"

#include <compressedbytes.h>

#include <MVShared/BoundedUncompress.h>

#include <QtCore/QDataStream>
#include <QtCore/QObject>
#include <QtCore/QtEndian>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <map>
#include <mutex>
#include <thread>

namespace changeeventtest {
namespace {

constexpr int kMiB = 1 << 20;
// What all the bombs together may add to the process's resident memory, at
// its peak and afterwards. The largest body the inflater accepts is 64 MB,
// so a receiver that makes no record of a bomb stays well within.
constexpr long kMostGrowthKb = 200 * 1024;

// The size of one item as the stream writes it: a 4-byte length, the tag and
// three bytes of record. Read, it would become a whole record of its kind.
constexpr int kItemBytes = 8;

// One MiB of identical items of the tag.
QByteArray itemBlock(int tag)
{
    QByteArray item;
    QDataStream stream(&item, QIODevice::WriteOnly);
    stream << packetItem(tag, QByteArray(kItemBytes - 5, '\x01'));
    QByteArray block;
    block.reserve(kMiB);
    while (block.size() < kMiB)
        block += item;
    return block;
}

struct Bomb {
    std::string what;
    QByteArray bytes;   // the packet record's raw value
};

// The bombs of one kind of item, each made with zlib's streaming (the
// compressed form of a MiB of items repeated), so that a gigabyte of body
// takes a megabyte here and a moment to make.
std::vector<Bomb> bombsOf(int tag, const std::string& kind)
{
    const QByteArray block = itemBlock(tag);
    const QByteArray twoMegabytes = mvtest::compressedRepeats(block, 2);
    const QByteArray gigabyte = mvtest::compressedRepeats(block, 1024);
    return {
        {kind + " items, a 2 MB body", twoMegabytes},
        {kind + " items, a 64 MB body", mvtest::compressedRepeats(block, 64)},
        {kind + " items, a 1 GB body", gigabyte},
        {kind + " items, a 1 GB body whose prefix says 2 MB", mvtest::withClaim(gigabyte, 2 * kMiB)},
        {kind + " items, a 2 MB body whose prefix says 64 MB", mvtest::withClaim(twoMegabytes, 64 * kMiB)},
    };
}

// Publishes packets as another process's client would.
class Publisher
{
public:
    Publisher()
        : m_client(DravoPlus::NewClient())
    {
        DravoPlus::UseClient(m_client);
        m_connected = DravoPlus::ConnectMid(nullptr);
        DravoPlus::UseClient(nullptr);
    }
    ~Publisher()
    {
        DravoPlus::UseClient(m_client);
        DravoPlus::DisConnectMid(nullptr);
        DravoPlus::UseClient(nullptr);
        DravoPlus::FreeClient(m_client);
    }
    Publisher(const Publisher&) = delete;
    Publisher& operator=(const Publisher&) = delete;

    int connectResult() const { return m_connected; }
    int send(const DravoData& packet)
    {
        DravoData copy = packet;
        DravoData* records[] = {&copy};
        DravoPlus::UseClient(m_client);
        const int result = DravoPlus::SendEventN(kPacketKind, records, 1, 1, nullptr, nullptr);
        DravoPlus::UseClient(nullptr);
        return result;
    }

private:
    DravoClient* m_client;
    int m_connected = -1;
};

// What a running receiver told its application, by direct connection (so on
// the receiving thread, hence the lock): the packets refused, every other
// loss, how many times each change signal was emitted and the records of the
// list signals. Stops the receiver when it goes away, before its
// connections do.
class ReceiverWatch
{
public:
    explicit ReceiverWatch(MorvaneChangeEvent* receiver)
        : m_receiver(receiver)
    {
        QObject::connect(
            receiver, &MorvaneChangeEvent::changesLost, &m_context,
            [this](int count, MorvaneChangeEvent::LossReason reason) {
                std::lock_guard<std::mutex> lock(m_mutex);
                if (reason == MorvaneChangeEvent::PacketRefused)
                    m_refused += count;
                else
                    ++m_otherLosses;
            },
            Qt::DirectConnection);
        using ListSignal = void (MorvaneChangeEvent::*)(const QList<DravoData>&);
        using MapSignal = void (MorvaneChangeEvent::*)(const mapEvent&);
        const std::pair<const char*, ListSignal> lists[] = {
            {"dataChanged", &MorvaneChangeEvent::dataChanged},
            {"statusChanged", &MorvaneChangeEvent::statusChanged},
            {"analogChanged", &MorvaneChangeEvent::analogChanged},
            {"textChanged", &MorvaneChangeEvent::textChanged},
            {"nonPointdataChanged", &MorvaneChangeEvent::nonPointdataChanged}};
        const std::pair<const char*, MapSignal> maps[] = {
            {"statusChangedMap", &MorvaneChangeEvent::statusChangedMap},
            {"analogChangedMap", &MorvaneChangeEvent::analogChangedMap},
            {"textChangedMap", &MorvaneChangeEvent::textChangedMap}};
        for (const auto& list : lists) {
            const std::string name = list.first;
            QObject::connect(
                receiver, list.second, &m_context,
                [this, name](const QList<DravoData>& records) {
                    std::lock_guard<std::mutex> lock(m_mutex);
                    ++m_emitted[name];
                    m_records[name].insert(m_records[name].end(), records.begin(), records.end());
                },
                Qt::DirectConnection);
        }
        for (const auto& map : maps) {
            const std::string name = map.first;
            QObject::connect(
                receiver, map.second, &m_context,
                [this, name](const mapEvent&) {
                    std::lock_guard<std::mutex> lock(m_mutex);
                    ++m_emitted[name];
                },
                Qt::DirectConnection);
        }
    }
    ~ReceiverWatch() { m_receiver->shutDown(); }
    ReceiverWatch(const ReceiverWatch&) = delete;
    ReceiverWatch& operator=(const ReceiverWatch&) = delete;

    int refused() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_refused;
    }
    int otherLosses() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_otherLosses;
    }
    // Emissions of all eight change signals together.
    int emissions() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        int sum = 0;
        for (const auto& emitted : m_emitted)
            sum += emitted.second;
        return sum;
    }
    std::vector<DravoData> records(const std::string& signal) const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto it = m_records.find(signal);
        return it == m_records.end() ? std::vector<DravoData>() : it->second;
    }

private:
    MorvaneChangeEvent* m_receiver;
    QObject m_context;
    mutable std::mutex m_mutex;
    int m_refused = 0;
    int m_otherLosses = 0;
    std::map<std::string, int> m_emitted;
    std::map<std::string, std::vector<DravoData>> m_records;
};

// The highest resident memory of the process while it runs, sampled every
// few milliseconds on a thread of its own.
class ResidentPeak
{
public:
    ResidentPeak()
        : m_peakKb(mvtest::residentKb())
        , m_thread([this] {
            while (!m_stop.load()) {
                const long now = mvtest::residentKb();
                long peak = m_peakKb.load();
                while (now > peak && !m_peakKb.compare_exchange_weak(peak, now)) {
                }
                std::this_thread::sleep_for(2ms);
            }
        })
    {
    }
    ~ResidentPeak() { stop(); }
    ResidentPeak(const ResidentPeak&) = delete;
    ResidentPeak& operator=(const ResidentPeak&) = delete;

    long stop()
    {
        m_stop.store(true);
        if (m_thread.joinable())
            m_thread.join();
        return m_peakKb.load();
    }

private:
    std::atomic<bool> m_stop{false};
    std::atomic<long> m_peakKb;
    std::thread m_thread;
};

void report(const char* what, long kb)
{
    std::printf("[ memory   ] %s: %ld MB\n", what, kb / 1024);
    ::testing::Test::RecordProperty(what, static_cast<int>(kb / 1024));
}

// Once per backend; no plant is loaded, as a client-mode receiver reads its
// packets without asking the point database anything.
class PacketBombTest : public ChangeEventTest, public ::testing::WithParamInterface<std::string>
{
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(useBackend(GetParam()));
        ChangeEventTest::SetUp();
    }

    // A running client-mode receiver, sent one kind's bombs one after the
    // other by another client: each is refused and announced once, no change
    // comes of any, the process's memory stays bounded, and an honest packet
    // sent afterwards arrives whole.
    void expectBombsRefusedAndLaterChangesDelivered(int tag, const std::string& kind)
    {
        const std::vector<Bomb> bombs = bombsOf(tag, kind);
        Publisher publisher;
        ASSERT_EQ(publisher.connectResult(), DRAVO_OK);
        ProbedChangeEvent* receiver = newReceiver();
        ReceiverWatch watch(receiver);
        receiver->init();
        receiver->start();
        ASSERT_TRUE(waitUntil([&] { return receiver->isRunning(); }));

        const long before = mvtest::residentKb();
        ASSERT_GT(before, 0) << "cannot read VmRSS";
        ResidentPeak peak;
        for (std::size_t i = 0; i < bombs.size(); ++i) {
            SCOPED_TRACE(bombs[i].what);
            ASSERT_EQ(publisher.send(namelessRecord(bombs[i].bytes)), DRAVO_OK);
            EXPECT_TRUE(waitUntil([&] { return watch.refused() >= static_cast<int>(i) + 1; }))
                << "refused " << watch.refused();
            EXPECT_EQ(watch.refused(), static_cast<int>(i) + 1) << "one announcement per packet";
            EXPECT_EQ(watch.emissions(), 0) << "a refused packet gives no change";
            EXPECT_TRUE(receiver->isRunning());
        }
        const long peakKb = peak.stop();
        const long after = mvtest::residentKb();
        report("rss_before_mb", before);
        report("rss_peak_mb", peakKb);
        report("rss_after_mb", after);
        if (mvtest::kNativeAllocator) {
            EXPECT_LT(peakKb - before, kMostGrowthKb) << "resident memory at its peak, KiB";
            EXPECT_LT(after - before, kMostGrowthKb) << "resident memory afterwards, KiB";
        }

        const DravoData status = patternedChange("CHANGED_STATUS", 100001, 11);
        const DravoData analog = patternedChange("CHANGED_ANALOG", 200001, 12);
        const DravoData text = patternedChange("CHANGED_TEXT", 3000001, 13);
        ASSERT_EQ(publisher.send(packetOf({packetItem(0, status), packetItem(1, analog), packetItem(2, text)})),
                  DRAVO_OK);
        EXPECT_TRUE(waitUntil([&] { return !watch.records("textChanged").empty(); }));
        const std::pair<const char*, const DravoData*> expected[] = {
            {"statusChanged", &status}, {"analogChanged", &analog}, {"textChanged", &text}};
        for (const auto& [signal, change] : expected) {
            SCOPED_TRACE(signal);
            const std::vector<DravoData> delivered = watch.records(signal);
            ASSERT_EQ(delivered.size(), 1u);
            EXPECT_EQ(std::string(delivered[0].GetTypeName()), std::string(change->GetTypeName()));
            EXPECT_EQ(rawBytes(delivered[0]), rawBytes(*change)) << "every byte as sent";
        }
        EXPECT_EQ(pidsOf(watch.records("dataChanged")), (std::vector<int>{100001, 3000001}));
        EXPECT_EQ(watch.refused(), static_cast<int>(bombs.size())) << "the honest packet is not refused";
        EXPECT_EQ(watch.otherLosses(), 0);
    }
};

TEST_P(PacketBombTest, TextItemBombsAreRefusedWithinBoundedMemoryAndLaterChangesArrive)
{
    expectBombsRefusedAndLaterChangesDelivered(2, "text");
}

TEST_P(PacketBombTest, StatusItemBombsAreRefusedWithinBoundedMemoryAndLaterChangesArrive)
{
    expectBombsRefusedAndLaterChangesDelivered(0, "status");
}

TEST_P(PacketBombTest, AnalogItemBombsAreRefusedWithinBoundedMemoryAndLaterChangesArrive)
{
    expectBombsRefusedAndLaterChangesDelivered(1, "analog");
}

INSTANTIATE_TEST_SUITE_P(Backends, PacketBombTest, ::testing::Values(std::string("embedded"), std::string("redis")),
                         backendTestName);

// The bombs are what they claim: their streams really inflate to their full
// size of items (checked with zlib alone), and the 64 MB body is the largest
// the receiver's inflater accepts, so that it is the count of its items that
// refuses it.
TEST(PacketBombMaking, BombBodiesInflateToTheirFullSizeOfItems)
{
    const std::vector<Bomb> bombs = bombsOf(2, "text");
    ASSERT_EQ(bombs.size(), 5u);
    const std::pair<std::size_t, int> sizes[] = {{0, 2 * kMiB}, {1, 64 * kMiB}};
    for (const auto& [index, size] : sizes) {
        SCOPED_TRACE(bombs[index].what);
        std::string body;
        ASSERT_TRUE(inflatePacket(namelessRecord(bombs[index].bytes), body));
        ASSERT_EQ(body.size(), static_cast<std::size_t>(size));
        const std::string item("\0\0\0\x04\x02\x01\x01\x01", kItemBytes);
        for (std::size_t at : {std::size_t{0}, body.size() / 2, body.size() - kItemBytes})
            EXPECT_EQ(body.substr(at, kItemBytes), item) << at;
    }
    EXPECT_EQ(Morvane::boundedUncompress(bombs[1].bytes.constData(), bombs[1].bytes.size(), 64 * kMiB).size(),
              64 * kMiB);
    EXPECT_EQ(qFromBigEndian<quint32>(bombs[2].bytes.constData()), 1024u * kMiB);
    EXPECT_LT(bombs[2].bytes.size(), 2 * kMiB) << "a gigabyte of items compresses to about a megabyte";
    EXPECT_EQ(qFromBigEndian<quint32>(bombs[3].bytes.constData()), 2u * kMiB);
    EXPECT_EQ(bombs[3].bytes.mid(4), bombs[2].bytes.mid(4));
    EXPECT_EQ(qFromBigEndian<quint32>(bombs[4].bytes.constData()), 64u * kMiB);
}

} // namespace
} // namespace changeeventtest
